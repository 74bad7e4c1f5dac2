#include <qel/containers/DataBuffer.h>

#include <cstdlib>
#include <cstring>

#include <gtest/gtest.h>

#include <qel/core/qelMem.h>

// The first four bytes.
static uint32_t Word(const qelDataBuffer& buffer) {
  uint32_t word;
  memcpy(&word, buffer.data(), sizeof word);
  return word;
}

TEST(DataBufferConstruction, BeginsWithARealBlockOfNoBytes) {
  const qelDataBuffer empty;
  EXPECT_NE(empty.data(), nullptr);
  EXPECT_EQ(empty.size(), 0u);
}

TEST(DataBufferConstruction, TakesASizeOfEveryIntegerType) {
  EXPECT_EQ(qelDataBuffer(0).size(), 0u);
  EXPECT_EQ(qelDataBuffer(5).size(), 5u);
  EXPECT_EQ(qelDataBuffer(5u).size(), 5u);
  EXPECT_EQ(qelDataBuffer(5L).size(), 5u);
  qelDataBuffer sized(size_t(16));
  EXPECT_EQ(sized.size(), 16u);
  memset(sized.data(), 1, sized.size());
}

TEST(DataBufferConstruction, CopiesBytes) {
  char bytes[] = "a\0b";
  const qelDataBuffer buffer(bytes, 3);
  bytes[0] = 'x';
  EXPECT_EQ(buffer.size(), 3u);
  EXPECT_EQ(memcmp(buffer.data(), "a\0b", 3), 0);
  const qelDataBuffer none(nullptr, 0);
  EXPECT_NE(none.data(), nullptr);
  EXPECT_EQ(none.size(), 0u);
}

TEST(DataBufferConstruction, CopiesATextWithItsTerminator) {
  const qelDataBuffer buffer("ab");
  EXPECT_EQ(buffer.size(), 3u);
  EXPECT_STREQ(static_cast<const char*>(buffer.data()), "ab");
  EXPECT_EQ(qelDataBuffer("").size(), 1u);
}

TEST(DataBufferSet, AdoptsTheBlock) {
  qelDataBuffer buffer("old");
  char* block = qelMem_StrDup("new text");
  buffer.Set(block, 9);
  EXPECT_EQ(buffer.data(), block);
  EXPECT_EQ(buffer.size(), 9u);
  buffer.Set(nullptr, 0);
  EXPECT_EQ(buffer.data(), nullptr);
}

TEST(DataBufferRealloc, KeepsTheBytesThatFit) {
  qelDataBuffer buffer("abcdefg");
  const uint32_t word = Word(buffer);
  buffer.Realloc(100000);
  EXPECT_EQ(buffer.size(), 100000u);
  EXPECT_EQ(Word(buffer), word);
  buffer.Realloc(4);
  EXPECT_EQ(buffer.size(), 4u);
  EXPECT_EQ(Word(buffer), word);
}

TEST(DataBufferRealloc, ReleasesTheBlockForSizeZero) {
  qelDataBuffer buffer("ab");
  buffer.Realloc(0);
  EXPECT_EQ(buffer.data(), nullptr);
  EXPECT_EQ(buffer.size(), 0u);
  buffer.Realloc(0);
  EXPECT_EQ(buffer.data(), nullptr);
  buffer.Realloc(4);
  EXPECT_NE(buffer.data(), nullptr);
}

TEST(DataBufferTakeOwnership, HandsTheBlockOver) {
  qelDataBuffer buffer("ab");
  void* const before = buffer.data();
  void* const block = buffer.TakeOwnership();
  EXPECT_EQ(block, before);
  EXPECT_EQ(buffer.data(), nullptr);
  EXPECT_EQ(buffer.size(), 0u);
  EXPECT_EQ(buffer.TakeOwnership(), nullptr);
  free(block);
}

TEST(DataBufferTakeOwnership, TakesTheBlockOfAnother) {
  qelDataBuffer source("ab");
  void* const block = source.data();
  qelDataBuffer target(nullptr, 0);
  free(target.TakeOwnership());
  target.TakeOwnership(source);
  EXPECT_EQ(target.data(), block);
  EXPECT_EQ(target.size(), 3u);
  EXPECT_EQ(source.data(), nullptr);
  EXPECT_EQ(source.size(), 0u);
}

TEST(DataBufferTakeOwnership, LeavesTheOwnBlockAlone) {
  qelDataBuffer source("ab");
  qelDataBuffer target("old");
  char* const old = static_cast<char*>(target.data());
  target.TakeOwnership(source);
  EXPECT_STREQ(old, "old");
  EXPECT_STREQ(static_cast<const char*>(target.data()), "ab");
  free(old);
}

TEST(DataBufferCopy, SharesTheBlockUntilOneGivesItUp) {
  qelDataBuffer first("ab");
  qelDataBuffer second;
  free(second.TakeOwnership());
  second = first;
  EXPECT_EQ(second.data(), first.data());
  EXPECT_EQ(second.size(), 3u);
  const qelDataBuffer third(first);
  EXPECT_EQ(third.data(), first.data());
  first.TakeOwnership();
  second.TakeOwnership();
  EXPECT_EQ(third.size(), 3u);
}

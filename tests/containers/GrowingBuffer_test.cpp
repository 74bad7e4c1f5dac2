#include <qel/containers/GrowingBuffer.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include <gtest/gtest.h>

// The fields in the order of the object.
struct Fields {
  char* buffer;
  uint64_t capacity;
  uint64_t length;
};

static size_t Capacity(const qelGrowingBuffer& buffer) {
  static_assert(sizeof(Fields) == sizeof buffer, "three fields");
  Fields fields;
  memcpy(&fields, static_cast<const void*>(&buffer), sizeof fields);
  EXPECT_EQ(fields.buffer, buffer.buffer());
  EXPECT_EQ(fields.length, buffer.length());
  return fields.capacity;
}

static std::string Bytes(const qelGrowingBuffer& buffer) {
  return std::string(buffer.buffer(), buffer.length());
}

TEST(GrowingBufferConstruction, BeginsWithRoomFor128Bytes) {
  const qelGrowingBuffer buffer;
  EXPECT_EQ(Capacity(buffer), 128u);
  EXPECT_NE(buffer.buffer(), nullptr);
  EXPECT_EQ(buffer.length(), 0u);
}

TEST(GrowingBufferConstruction, AllocatesNothingForZero) {
  qelGrowingBuffer buffer(0);
  EXPECT_EQ(buffer.buffer(), nullptr);
  EXPECT_EQ(Capacity(buffer), 0u);
  buffer.Append(nullptr, 0);
  EXPECT_EQ(buffer.length(), 0u);
  buffer.Append("ab", 2);
  EXPECT_EQ(Bytes(buffer), "ab");
  EXPECT_EQ(Capacity(buffer), 4u);
}

TEST(GrowingBufferAppend, GrowsToTwiceTheLengthWhenFull) {
  qelGrowingBuffer buffer(10);
  buffer.Append("012345678", 9);
  EXPECT_EQ(Capacity(buffer), 10u);
  buffer.Append("9", 1);
  EXPECT_EQ(Capacity(buffer), 20u) << "the capacity was reached exactly";
  buffer.Append("0123456789012345", 16);
  EXPECT_EQ(Capacity(buffer), 52u);
  EXPECT_EQ(Bytes(buffer), "01234567890123456789012345");
}

TEST(GrowingBufferAppend, TakesZeroBytes) {
  qelGrowingBuffer buffer;
  buffer.Append("a\0b", 3);
  EXPECT_EQ(Bytes(buffer), std::string("a\0b", 3));
}

TEST(GrowingBufferAppend, OfNothingGrowsAFullBlock) {
  qelGrowingBuffer buffer(4);
  buffer.SetPosition(4);
  memcpy(buffer.buffer(), "abcd", 4);
  buffer.Append("", 0);
  EXPECT_EQ(Capacity(buffer), 8u);
  EXPECT_EQ(Bytes(buffer), "abcd");
}

TEST(GrowingBufferPlus, AppendsTextWithoutItsTerminator) {
  qelGrowingBuffer buffer;
  (buffer += "ab") += "";
  buffer += "c";
  EXPECT_EQ(Bytes(buffer), "abc");
}

TEST(GrowingBufferPlus, AppendsDecimalDigits) {
  qelGrowingBuffer buffer;
  buffer += 4294967295UL;
  EXPECT_EQ(Bytes(buffer), "4294967295");
  buffer += "/";
  buffer += 0;
  buffer += qelULong(12);
  buffer += size_t(3);
  EXPECT_EQ(Bytes(buffer), "4294967295/0123");
}

TEST(GrowingBufferPlus, TakesNumbersAs32UnsignedBits) {
  qelGrowingBuffer buffer;
  buffer += -1;
  buffer += ' ';
  EXPECT_EQ(Bytes(buffer), "429496729532") << "a character is a number too";
  qelGrowingBuffer large;
  large += 4294967297ULL;
  EXPECT_EQ(Bytes(large), "1");
}

TEST(GrowingBufferSetPosition, MakesRoomExactly) {
  qelGrowingBuffer buffer(10);
  buffer += "abc";
  buffer.SetPosition(10);
  EXPECT_EQ(Capacity(buffer), 10u);
  EXPECT_EQ(buffer.length(), 10u);
  buffer.SetPosition(11);
  EXPECT_EQ(Capacity(buffer), 11u);
  buffer.SetPosition(2);
  EXPECT_EQ(Capacity(buffer), 11u);
  EXPECT_EQ(Bytes(buffer), "ab");
  buffer += "X";
  EXPECT_EQ(Bytes(buffer), "abX") << "written at the position";
}

TEST(GrowingBufferReduce, GivesTheBlockThatSize) {
  qelGrowingBuffer buffer;
  buffer += "abcdef";
  buffer.Reduce(3);
  EXPECT_EQ(Capacity(buffer), 3u);
  EXPECT_EQ(Bytes(buffer), "abc");
  buffer.Reduce(0);
  EXPECT_EQ(buffer.buffer(), nullptr);
  EXPECT_EQ(Capacity(buffer), 0u);
  buffer += "x";
  EXPECT_EQ(Bytes(buffer), "x");
}

TEST(GrowingBufferTakeOwnership, ShrinksTheBlock) {
  qelGrowingBuffer buffer;
  buffer += "abc";
  size_t n = 99;
  char* block = buffer.TakeOwnership(true, &n);
  EXPECT_EQ(n, 3u);
  EXPECT_EQ(std::string(block, n), "abc");
  EXPECT_EQ(buffer.length(), 0u);
  EXPECT_EQ(buffer.buffer(), nullptr);
  EXPECT_EQ(Capacity(buffer), 0u);
  free(block);
}

TEST(GrowingBufferTakeOwnership, KeepsTheBlockWithoutShrinking) {
  qelGrowingBuffer buffer;
  buffer += "abc";
  char* const before = buffer.buffer();
  char* block = buffer.TakeOwnership(false, nullptr);
  EXPECT_EQ(block, before);
  memset(block, 0, 128);
  free(block);
  buffer += "again";
  EXPECT_EQ(Bytes(buffer), "again");
}

TEST(GrowingBufferTakeOwnership, GivesNullForAnEmptyBufferThatShrinks) {
  qelGrowingBuffer buffer;
  size_t n = 99;
  EXPECT_EQ(buffer.TakeOwnership(true, &n), nullptr);
  EXPECT_EQ(n, 0u);
  qelGrowingBuffer other;
  char* block = other.TakeOwnership(false, &n);
  EXPECT_NE(block, nullptr);
  free(block);
}

TEST(GrowingBufferCopy, SharesTheBlockUntilOneGivesItUp) {
  qelGrowingBuffer first;
  first += "abc";
  qelGrowingBuffer second(0);
  second = first;
  EXPECT_EQ(second.buffer(), first.buffer());
  EXPECT_EQ(Capacity(second), 128u);
  qelGrowingBuffer third(second);
  EXPECT_EQ(Bytes(third), "abc");
  first.TakeOwnership(false, nullptr);
  second.TakeOwnership(false, nullptr);
}

TEST(GrowingBufferModel, HoldsWhatWasWritten) {
  std::mt19937 random(25);
  qelGrowingBuffer buffer(random() % 4);
  std::string model;
  size_t capacity = Capacity(buffer);
  for (int step = 0; step < 20000; ++step) {
    const size_t n = random() % 50;
    const std::string bytes(n, static_cast<char>(random() % 256));
    switch (random() % 8) {
    case 0: {
      const size_t size = random() % (model.size() + 1);
      buffer.Reduce(size);
      model.resize(size);
      capacity = size;
      break;
    }
    case 1: {
      const size_t size = random() % (model.size() + 1);
      buffer.SetPosition(size);
      model.resize(size);
      break;
    }
    case 2:
      buffer += qelULong(step);
      model += std::to_string(step);
      break;
    default:
      buffer.Append(bytes.data(), n);
      model += bytes;
    }
    if (Capacity(buffer) != capacity) {
      ASSERT_EQ(Capacity(buffer), 2 * model.size());
      capacity = Capacity(buffer);
    }
    ASSERT_EQ(Bytes(buffer), model);
  }
}

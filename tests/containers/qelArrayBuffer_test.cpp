#include <qel/containers/qelArrayBuffer.h>

#include <cstdlib>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace {

struct Buffer {
  qelArrayBuffer_t* b;
  explicit Buffer(size_t capacity) : b(qelArrayBuffer_New(capacity)) {}
  ~Buffer() { qelArrayBuffer_Delete(b); }
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;

  std::string Text() const { return std::string(b->block, b->used); }
};

} // namespace

TEST(qelArrayBufferNew, HasItsCapacityAndNothingInUse) {
  Buffer buffer(4);
  EXPECT_NE(buffer.b->block, nullptr);
  EXPECT_EQ(buffer.b->capacity, 4u);
  EXPECT_EQ(buffer.b->used, 0u);
}

TEST(qelArrayBufferDelete, AcceptsNull) {
  qelArrayBuffer_Delete(nullptr);
}

TEST(qelArrayBufferResize, SetsTheCapacityAndKeepsTheBytes) {
  Buffer buffer(4);
  qelArrayBuffer_Append(buffer.b, "ab", 2);
  qelArrayBuffer_Resize(buffer.b, 100);
  EXPECT_EQ(buffer.b->capacity, 100u);
  EXPECT_EQ(buffer.Text(), "ab");
}

TEST(qelArrayBufferAppend, KeepsTheBlockWhileThereIsAByteToSpare) {
  Buffer buffer(4);
  qelArrayBuffer_Append(buffer.b, "abc", 3);
  EXPECT_EQ(buffer.b->capacity, 4u);
  EXPECT_EQ(buffer.Text(), "abc");
}

TEST(qelArrayBufferAppend, GrowsToTwiceTheNeedAtAnExactFit) {
  Buffer buffer(4);
  qelArrayBuffer_Append(buffer.b, "abcd", 4);
  EXPECT_EQ(buffer.b->capacity, 8u);
  qelArrayBuffer_Append(buffer.b, "0123456789", 10);
  EXPECT_EQ(buffer.b->capacity, 28u);
  EXPECT_EQ(buffer.Text(), "abcd0123456789");
}

TEST(qelArrayBufferAppend, TakesZeroBytesAndNothing) {
  Buffer buffer(0);
  qelArrayBuffer_Append(buffer.b, "", 0);
  EXPECT_EQ(buffer.b->used, 0u);
  qelArrayBuffer_Append(buffer.b, "a\0b", 3);
  EXPECT_EQ(buffer.Text(), std::string("a\0b", 3));
}

TEST(qelArrayBufferAppendString, LeavesTheTerminatorOut) {
  Buffer buffer(16);
  qelArrayBuffer_AppendString(buffer.b, "text");
  qelArrayBuffer_AppendString(buffer.b, "");
  qelArrayBuffer_AppendString(buffer.b, "!");
  EXPECT_EQ(buffer.Text(), "text!");
}

TEST(qelArrayBufferAppendDecimal, WritesUnsignedThirtyTwoBits) {
  Buffer buffer(4);
  qelArrayBuffer_AppendDecimal(buffer.b, 0);
  qelArrayBuffer_AppendString(buffer.b, ",");
  qelArrayBuffer_AppendDecimal(buffer.b, 4294967295u);
  EXPECT_EQ(buffer.Text(), "0,4294967295");
}

TEST(qelArrayBufferAppendHex, WritesEightUpperCaseDigits) {
  Buffer buffer(4);
  qelArrayBuffer_AppendHex(buffer.b, 0xBEEF);
  qelArrayBuffer_AppendHex(buffer.b, 0xFFFFFFFFu);
  qelArrayBuffer_AppendHex(buffer.b, 0);
  EXPECT_EQ(buffer.Text(), "0000BEEFFFFFFFFF00000000");
}

TEST(qelArrayBufferDetach, HandsTheBlockOverAndZeroesTheRecord) {
  Buffer buffer(100);
  qelArrayBuffer_AppendString(buffer.b, "abc");
  char* before = buffer.b->block;
  size_t size = 0;
  char* block = qelArrayBuffer_Detach(buffer.b, /*shrink=*/0, &size);
  EXPECT_EQ(block, before);
  EXPECT_EQ(size, 3u);
  EXPECT_EQ(buffer.b->block, nullptr);
  EXPECT_EQ(buffer.b->capacity, 0u);
  EXPECT_EQ(buffer.b->used, 0u);
  free(block);
}

TEST(qelArrayBufferDetach, ShrinksToTheBytesInUse) {
  Buffer buffer(100);
  qelArrayBuffer_AppendString(buffer.b, "abc");
  char* block = qelArrayBuffer_Detach(buffer.b, /*shrink=*/1, nullptr);
  EXPECT_EQ(std::string(block, 3), "abc");
  free(block);
}

TEST(qelArrayBufferDetach, GivesNullForAnEmptyShrunkBlock) {
  Buffer buffer(100);
  size_t size = 9;
  EXPECT_EQ(qelArrayBuffer_Detach(buffer.b, /*shrink=*/1, &size), nullptr);
  EXPECT_EQ(size, 0u);
}

TEST(qelArrayBufferDetach, LeavesABufferThatCanBeFilledAgain) {
  Buffer buffer(4);
  free(qelArrayBuffer_Detach(buffer.b, /*shrink=*/0, nullptr));
  qelArrayBuffer_AppendString(buffer.b, "again");
  EXPECT_EQ(buffer.Text(), "again");
}

TEST(qelArrayBufferModel, AgreesWithAString) {
  std::mt19937 random(30);
  Buffer buffer(7);
  std::string model;
  size_t capacity = 7;
  for (int step = 0; step != 3000; ++step) {
    const std::string piece(random() % 20, static_cast<char>(random() % 256));
    qelArrayBuffer_Append(buffer.b, piece.data(), piece.size());
    model += piece;
    if (model.size() >= capacity)
      capacity = 2 * model.size();
    ASSERT_EQ(buffer.b->capacity, capacity);
    ASSERT_EQ(buffer.b->used, model.size());
  }
  EXPECT_EQ(buffer.Text(), model);
}

TEST(qelIsDottedNumber, TakesDigitsAndExactlyThreeDots) {
  const struct {
    const char* text;
    int expected;
  } cases[] = {
      {"1.2.3", 0},      {"1.2.3.4", 1},  {"1.2.3.x", 0},  {"...", 1},
      {"", 0},           {"1.2.3.4.", 0}, {"1234", 0},     {"255.255.255.255", 1},
      {"1.2.3.-4", 0},   {" 1.2.3.4", 0}, {"1.2.3.4 ", 0}, {"999999.0.0.0", 1},
      {"1.2.3.\xB2", 0}, {"....", 0},     {"1..2.", 1},
  };
  for (const auto& c : cases)
    EXPECT_EQ(qelIsDottedNumber(c.text), c.expected) << c.text;
}

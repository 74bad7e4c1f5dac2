#include <qel/serialize/qelPackedText.h>

#include <cstring>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/support/LogCapture.h>
#include <tests/support/PropertyLists.h>

namespace {

// The text of a block, without the recorder's frame around it.
std::string TextOf(const std::string& block) {
  qelPackedData_t* data = qelPackedData_OpenCopy(block.data());
  EventLog log;
  EXPECT_EQ(qelPackedText_Write(data, log), 0);
  qelPackedData_Delete(data);
  return log.text.substr(5, log.text.size() - 7);
}

std::string Escaped(const std::string& bytes) {
  std::string text;
  char digits[4];
  for (const char byte : bytes) {
    snprintf(digits, sizeof digits, "%%%02x", static_cast<unsigned char>(byte));
    text += digits;
  }
  return text;
}

TEST(PackedSafeChars, LeaveAlonePrintableBytesButThree) {
  for (int byte = 0; byte < 128; ++byte) {
    const bool safe = byte >= 0x20 && byte <= 0x7E && byte != '"' && byte != '%' && byte != '\\';
    EXPECT_EQ(qelPackedSafeChars[byte] != 0, safe) << byte;
  }
}

TEST(PackedTextWrite, WritesEveryZeroByteOfABlock) {
  EXPECT_EQ(TextOf(BlockWith("ABC")),
            "%16%00%00%00%01%00%00%00%0C%00%00%00%01%00%03%00%07%00ABC%00");
}

TEST(PackedTextWrite, EscapesWhatIsNotSafeAndPassesHighBytes) {
  const std::string text = TextOf(BlockWith("\x1F \"%\\\x7E\x7F\x80\xFF"));
  EXPECT_THAT(text, testing::EndsWith("%07%00%1F %22%25%5C~%7F\x80\xFF%00"));
}

TEST(PackedTextWrite, IsTheEmptyTextWithoutBlock) {
  EventLog log;
  EXPECT_EQ(qelPackedText_Write(nullptr, log), 0);
  qelPackedData_t* detached = qelPackedData_New(0);
  free(qelPackedData_Detach(detached));
  EXPECT_EQ(qelPackedText_Write(detached, log), 0);
  qelPackedData_Delete(detached);
  EXPECT_EQ(log.text, "text<> text<> ");
}

TEST(PackedTextWrite, GivesTheStatusOfTheTarget) {
  EventLog refusing(1);
  EXPECT_EQ(qelPackedText_Write(nullptr, refusing), 42);
  qelPackedData_t* data = qelPackedData_New(0);
  EventLog refusingBlock(1);
  EXPECT_EQ(qelPackedText_Write(data, refusingBlock), 42);
  qelPackedData_Delete(data);
}

TEST(PackedTextWrite, FinishesAnUnfinishedBlock) {
  qelPackedData_t* data = qelPackedData_New(0);
  EventLog log;
  qelPackedText_Write(data, log);
  qelPackedData_Delete(data);
  EXPECT_EQ(log.text, "text<%08%00%00%00%00%00%00%00> ");
}

TEST(PackedTextRead, GivesTheBlockThatWasWritten) {
  for (size_t size = 0; size < 600; ++size) {
    std::string payload;
    for (size_t i = 0; i < size; ++i)
      payload += static_cast<char>(i * 7 + size);
    const std::string block = BlockWith(payload);
    if (block.size() % 256 == 0)
      continue;
    qelPackedData_t* data = qelPackedText_Read(TextOf(block).c_str());
    ASSERT_NE(data, nullptr) << size;
    EXPECT_EQ(BytesOf(data), block);
    qelPackedData_Delete(data);
  }
}

TEST(PackedTextRead, TakesDigitsOfEitherCase) {
  const std::string block = BlockWith("ABC");
  for (const std::string& text : {Escaped(block), TextOf(block)}) {
    qelPackedData_t* data = qelPackedText_Read(text.c_str());
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(BytesOf(data), block);
    qelPackedData_Delete(data);
  }
}

TEST(PackedTextRead, GivesABlockOfNoSlots) {
  qelPackedData_t* data = qelPackedText_Read("%08%00%00%00%00%00%00%00");
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(qelPackedData_GetSlotCount(data), 0u);
  qelPackedData_Delete(data);
}

TEST(PackedTextRead, TakesEmptyTextsForNone) {
  LogCapture capture;
  for (const char* text : {"", "%", "%1", "%GG", "%G1%1G"})
    EXPECT_EQ(qelPackedText_Read(text), nullptr) << text;
  EXPECT_THAT(capture.Lines(), testing::IsEmpty());
}

TEST(PackedTextRead, TakesABlockOfAMultipleOf256BytesForNone) {
  LogCapture capture;
  for (const size_t size : {256, 512, 1024}) {
    const std::string block = BlockWith(std::string(size - 18, 'x'));
    ASSERT_EQ(block.size(), size);
    EXPECT_EQ(qelPackedText_Read(Escaped(block).c_str()), nullptr);
  }
  EXPECT_THAT(capture.Lines(), testing::IsEmpty());
}

TEST(PackedTextRead, TakesABlockLongerThanItSays) {
  const std::string block = BlockWith("ABC");
  qelPackedData_t* data = qelPackedText_Read(Escaped(block + "more").c_str());
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(BytesOf(data), block);
  qelPackedData_Delete(data);
}

TEST(PackedTextRead, RefusesWhatIsNotAValidBlock) {
  const std::string good = BlockWith("ABC");
  std::string longer = good, farSlot = good, manySlots = good, manyChunks = good, bigChunk = good;
  longer[0] = 0x17;
  farSlot[8] = 0x15;
  manySlots[5] = 0x40;
  manyChunks[12] = 2;
  bigChunk[14] = 5;
  const struct {
    const char* label;
    std::string block;
  } cases[] = {
      {"one byte", good.substr(0, 1)},
      {"three bytes", good.substr(0, 3)},
      {"half a header", good.substr(0, 7)},
      {"no table", good.substr(0, 8)},
      {"no record", good.substr(0, 12)},
      {"cut by one byte", good.substr(0, 21)},
      {"a size beyond the end", longer},
      {"a slot beyond the end", farSlot},
      {"a table beyond the end", manySlots},
      {"a chunk too many", manyChunks},
      {"a chunk beyond the end", bigChunk},
      {"the largest size", std::string(4, '\xFF') + good.substr(4)},
      {"a size within the header", "\x04" + good.substr(1)},
  };
  for (const auto& item : cases) {
    LogCapture capture;
    EXPECT_EQ(qelPackedText_Read(Escaped(item.block).c_str()), nullptr) << item.label;
    EXPECT_EQ(capture.Lines().size(), 1u) << item.label;
  }
}

} // namespace

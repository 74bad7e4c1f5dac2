#include <qel/core/CharBuffer.h>

#include <cstdlib>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include <qel/core/qelMem.h>

static qelCharBuffer Passed(qelCharBuffer buffer) {
  return buffer;
}

static std::u16string Units(const qelWChar* text) {
  std::u16string units;
  for (; *text != 0; ++text)
    units.push_back(static_cast<char16_t>(*text));
  return units;
}

TEST(CharBuffer, IsOnePointerWide) {
  EXPECT_EQ(sizeof(qelCharBuffer), sizeof(char*));
  EXPECT_EQ(sizeof(qelWCharBuffer), sizeof(qelWChar*));
}

TEST(CharBuffer, HoldsNullForANullText) {
  EXPECT_EQ(qelCharBuffer(nullptr, true).data(), nullptr);
  EXPECT_EQ(qelCharBuffer(nullptr, false).data(), nullptr);
}

TEST(CharBuffer, CopiesTheTextWhenAsked) {
  char text[] = "abc";
  const qelCharBuffer buffer(text, true);
  text[0] = 'x';
  EXPECT_STREQ(buffer.data(), "abc");
}

TEST(CharBuffer, AdoptsTheBlockWhenNotAskedToCopy) {
  char* block = qelMem_StrDup("abc");
  const qelCharBuffer buffer(block, false);
  EXPECT_EQ(buffer.data(), block);
}

TEST(CharBuffer, TerminatesASizedBlockBehindItsUnits) {
  qelCharBuffer buffer(3);
  EXPECT_EQ(buffer[3], '\0');
  buffer.data()[0] = 'a';
  buffer.data()[1] = 'b';
  buffer.data()[2] = 'c';
  EXPECT_STREQ(buffer, "abc");
  EXPECT_EQ(buffer[1], 'b');
  EXPECT_STREQ(qelCharBuffer(static_cast<size_t>(0)), "");
}

TEST(CharBufferCopy, LeavesTheSourceHoldingNull) {
  const qelCharBuffer source("abc", true);
  const char* block = source.data();
  const qelCharBuffer copy(source);
  EXPECT_EQ(copy.data(), block);
  EXPECT_EQ(source.data(), nullptr);
}

TEST(CharBufferCopy, PassesOneBlockThroughByValue) {
  qelCharBuffer source("abc", true);
  const char* block = source.data();
  const qelCharBuffer result = Passed(source);
  EXPECT_EQ(result.data(), block);
  EXPECT_EQ(source.data(), nullptr);
}

TEST(CharBufferAssign, TransfersAndFreesTheOwnBlock) {
  const qelCharBuffer source("abc", true);
  qelCharBuffer target("old", true);
  target = source;
  EXPECT_STREQ(target, "abc");
  EXPECT_EQ(source.data(), nullptr);
}

TEST(CharBufferAssign, KeepsItsTextWhenAssignedToItself) {
  qelCharBuffer buffer("abc", true);
  const qelCharBuffer& same = buffer;
  buffer = same;
  EXPECT_STREQ(buffer, "abc");
}

TEST(CharBufferAssign, StoresACopyOfAText) {
  qelCharBuffer buffer("old", true);
  const char text[] = "abc";
  buffer = text;
  EXPECT_STREQ(buffer, "abc");
  EXPECT_NE(buffer.data(), text);
}

TEST(CharBufferAssign, TakesItsOwnTextAsAText) {
  qelCharBuffer buffer("abcdef", true);
  buffer = buffer.data() + 2;
  EXPECT_STREQ(buffer, "cdef");
}

TEST(CharBufferAssign, HoldsNullForANullText) {
  qelCharBuffer buffer("abc", true);
  buffer = static_cast<const char*>(nullptr);
  EXPECT_EQ(buffer.data(), nullptr);
}

TEST(CharBufferRelease, HandsTheBlockToTheCaller) {
  const qelCharBuffer buffer("abc", true);
  char* block = buffer.release();
  EXPECT_STREQ(block, "abc");
  EXPECT_EQ(buffer.data(), nullptr);
  EXPECT_EQ(buffer.release(), nullptr);
  free(block);
}

TEST(WCharBuffer, HoldsNullForANullText) {
  EXPECT_EQ(qelWCharBuffer(nullptr, true).data(), nullptr);
  EXPECT_EQ(qelWCharBuffer(nullptr, false).data(), nullptr);
}

TEST(WCharBuffer, CopiesOrAdoptsTheText) {
  qelWChar text[] = {'a', 'b', 0};
  const qelWCharBuffer copy(text, true);
  EXPECT_NE(copy.data(), text);
  EXPECT_EQ(Units(copy), u"ab");
  qelWChar* block = qelMem_WStrDup(text);
  const qelWCharBuffer adopted(block, false);
  EXPECT_EQ(adopted.data(), block);
}

TEST(WCharBuffer, TerminatesASizedBlockBehindItsUnits) {
  qelWCharBuffer buffer(2);
  EXPECT_EQ(buffer[2], 0);
  buffer.data()[0] = 'a';
  buffer.data()[1] = 0x20AC;
  EXPECT_EQ(Units(buffer), u"a\u20AC");
}

TEST(WCharBufferCopy, LeavesTheSourceHoldingNull) {
  const qelWCharBuffer source(QEL_W("abc"), true);
  const qelWChar* block = source.data();
  const qelWCharBuffer copy(source);
  EXPECT_EQ(copy.data(), block);
  EXPECT_EQ(source.data(), nullptr);
}

TEST(WCharBufferAssign, TransfersAndFreesTheOwnBlock) {
  const qelWCharBuffer source(QEL_W("abc"), true);
  qelWCharBuffer target(QEL_W("old"), true);
  target = source;
  EXPECT_EQ(Units(target), u"abc");
  EXPECT_EQ(source.data(), nullptr);
}

TEST(WCharBufferAssign, LosesItsTextWhenAssignedToItself) {
  qelWCharBuffer buffer(QEL_W("abc"), true);
  const qelWCharBuffer& same = buffer;
  buffer = same;
  EXPECT_EQ(buffer.data(), nullptr);
}

TEST(WCharBufferAssign, StoresACopyOfAText) {
  qelWCharBuffer buffer(QEL_W("old"), true);
  buffer = QEL_W("abc");
  EXPECT_EQ(Units(buffer), u"abc");
  buffer = buffer.data() + 1;
  EXPECT_EQ(Units(buffer), u"bc");
  buffer = static_cast<const qelWChar*>(nullptr);
  EXPECT_EQ(buffer.data(), nullptr);
}

TEST(WCharBufferRelease, HandsTheBlockToTheCaller) {
  const qelWCharBuffer buffer(QEL_W("abc"), true);
  qelWChar* block = buffer.release();
  EXPECT_EQ(Units(block), u"abc");
  EXPECT_EQ(buffer.data(), nullptr);
  free(block);
}

#include <qel/core/CString.h>
#include <qel/core/String.h>

#include <climits>
#include <string>

#include <gtest/gtest.h>

#include <qel/core/CharBuffer.h>
#include <qel/core/Convert.h>

static std::u16string Units(const qelString& text) {
  return std::u16string(text.c_str(), text.c_str() + text.length());
}

// Buffers ----------------------------------------------------------------------

TEST(CStringFromBuffer, CopiesTheBuffersText) {
  const qelCharBuffer buffer("abc", true);
  const qelCString text(buffer);
  EXPECT_STREQ(text.c_str(), "abc");
  EXPECT_STREQ(buffer.data(), "abc");
}

TEST(CStringFromBuffer, IsEmptyForABufferWithoutText) {
  const qelCharBuffer buffer(nullptr, false);
  EXPECT_EQ(qelCString(buffer).c_str(), qelEmptyCString);
  qelCString text("old");
  text = buffer;
  EXPECT_EQ(text.length(), 0u);
}

TEST(CStringFromBuffer, TakesTheResultOfAConversion) {
  qelCString text(qelConvUTF8.ToUTF8(QEL_W("abc")));
  EXPECT_STREQ(text.c_str(), "abc");
  text = qelConvUTF8.ToUTF8(QEL_W("de"));
  EXPECT_STREQ(text.c_str(), "de");
}

TEST(StringFromBuffer, CopiesTheBuffersText) {
  const qelWCharBuffer buffer(QEL_W("abc"), true);
  EXPECT_EQ(Units(qelString(buffer)), u"abc");
  qelString text(QEL_W("old"));
  text = buffer;
  EXPECT_EQ(Units(text), u"abc");
}

TEST(StringFromBuffer, HasLengthZeroForABufferWithoutText) {
  const qelWCharBuffer buffer(nullptr, false);
  EXPECT_EQ(qelString(buffer).length(), 0u);
  qelString text(QEL_W("old"));
  text = buffer;
  EXPECT_EQ(text.length(), 0u);
}

// ToAscii ----------------------------------------------------------------------

TEST(StringToAscii, GivesAnUnderlineForUnitsAbove127) {
  EXPECT_STREQ(qelString(QEL_W("a\x20AC"
                               "b"))
                   .ToAscii(),
               "a_b");
  EXPECT_STREQ(qelString(QEL_W("\x7F\x80\xFFFF")).ToAscii(), "\x7F__");
}

TEST(StringToAscii, EndsAtAZeroUnitInsideTheText) {
  const qelString text(QEL_W("ab\0cd"), 5);
  ASSERT_EQ(text.length(), 5u);
  EXPECT_STREQ(text.ToAscii(), "ab");
}

TEST(StringToAscii, GivesTheEmptyTextForTheEmptyString) {
  EXPECT_STREQ(qelString().ToAscii(), "");
}

// Numbers ----------------------------------------------------------------------

TEST(CStringNumbers, AreTrueOnlyForAWholeNumber) {
  qelLong s = 7;
  qelULong u = 7;
  EXPECT_TRUE(qelCString(" -12").ToInt32(&s, 10));
  EXPECT_EQ(s, -12);
  EXPECT_FALSE(qelCString("12x").ToLong(&s, 10));
  EXPECT_EQ(s, 12);
  EXPECT_FALSE(qelCString("").ToLong(&s, 10));
  EXPECT_EQ(s, 0);
  EXPECT_FALSE(qelCString("9999999999").ToInt32(&s, 10));
  EXPECT_EQ(s, INT32_MAX);
  EXPECT_TRUE(qelCString("0x1F").ToUInt32(&u, 0));
  EXPECT_EQ(u, 31u);
  EXPECT_TRUE(qelCString("1F").ToULong(&u, 16));
  EXPECT_EQ(u, 31u);
  EXPECT_FALSE(qelCString("-1").ToULong(&u, 10));
  EXPECT_EQ(u, 0u);
  EXPECT_FALSE(qelCString("4294967296").ToULong(&u, 10));
  EXPECT_EQ(u, UINT32_MAX);
}

TEST(CStringNumbers, HaveThirtyTwoBitsInBothNativeTypes) {
  int i = 7;
  long l = 7;
  unsigned ui = 7;
  unsigned long ul = 7;
  EXPECT_TRUE(qelCString("-2147483648").ToInt32(&i));
  EXPECT_TRUE(qelCString("-2147483648").ToLong(&l));
  EXPECT_TRUE(qelCString("4294967295").ToUInt32(&ui));
  EXPECT_TRUE(qelCString("4294967295").ToULong(&ul));
  EXPECT_EQ(i, INT32_MIN);
  EXPECT_EQ(l, INT32_MIN);
  EXPECT_EQ(ui, UINT32_MAX);
  EXPECT_EQ(ul, UINT32_MAX);
  EXPECT_FALSE(qelCString("99999999999").ToLong(&l));
  EXPECT_EQ(l, INT32_MAX);
  EXPECT_FALSE(qelString(QEL_W("99999999999")).ToULong(&ul));
  EXPECT_EQ(ul, UINT32_MAX);
}

TEST(CStringNumbers, ReadDoubles) {
  double d = 7;
  EXPECT_TRUE(qelCString("-1.5e2").ToDouble(&d));
  EXPECT_EQ(d, -150.0);
  EXPECT_FALSE(qelCString("1.5x").ToDouble(&d));
  EXPECT_EQ(d, 1.5);
  EXPECT_FALSE(qelCString("x").ToDouble(&d));
  EXPECT_EQ(d, 0.0);
}

TEST(StringNumbers, ReadAsTheNarrowForms) {
  qelLong s = 7;
  qelULong u = 7;
  double d = 7;
  EXPECT_TRUE(qelString(QEL_W("-12")).ToInt32(&s, 10));
  EXPECT_EQ(s, -12);
  EXPECT_TRUE(qelString(QEL_W("-12")).ToLong(&s, 10));
  EXPECT_TRUE(qelString(QEL_W("ff")).ToUInt32(&u, 16));
  EXPECT_EQ(u, 255u);
  EXPECT_TRUE(qelString(QEL_W("010")).ToULong(&u, 0));
  EXPECT_EQ(u, 8u);
  EXPECT_TRUE(qelString(QEL_W("2.5")).ToDouble(&d));
  EXPECT_EQ(d, 2.5);
}

TEST(StringNumbers, EndAtAUnitAbove127) {
  qelLong s = 7;
  qelULong u = 7;
  double d = 7;
  const qelString text(QEL_W("12\x0663"
                             "4"));
  EXPECT_FALSE(text.ToInt32(&s, 10));
  EXPECT_EQ(s, 12);
  EXPECT_FALSE(text.ToUInt32(&u, 10));
  EXPECT_EQ(u, 12u);
  EXPECT_FALSE(text.ToDouble(&d));
  EXPECT_EQ(d, 12.0);
}

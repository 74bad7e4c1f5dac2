#include <qel/core/qelChar.h>

#include <cstring>

#include <gtest/gtest.h>

// The ASCII values of which a test is to hold, and no other int from -300 to 70000.
static void ExpectOnly(int (*test)(int), const char* members) {
  for (int c = -300; c < 70000; ++c) {
    const bool member = c > 0 && c < 128 && strchr(members, c) != nullptr;
    ASSERT_EQ(member, test(c) != 0) << c;
  }
}

TEST(Char, SpaceIsSixValues) {
  ExpectOnly(qelChar_IsSpace, "\t\n\v\f\r ");
}

TEST(Char, DigitsAreASCII) {
  ExpectOnly(qelChar_IsDigit, "0123456789");
}

TEST(Char, HexDigitsAreASCIIInBothCases) {
  ExpectOnly(qelChar_IsHexDigit, "0123456789abcdefABCDEF");
}

TEST(Char, AlnumIsASCII) {
  ExpectOnly(qelChar_IsAlnum, "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ");
}

TEST(Char, PlainCharsFrom128UpFailAllTests) {
  for (int value = 128; value < 256; ++value) {
    const char c = static_cast<char>(value);
    EXPECT_FALSE(qelChar_IsSpace(c) || qelChar_IsDigit(c) || qelChar_IsHexDigit(c) ||
                 qelChar_IsAlnum(c));
  }
}

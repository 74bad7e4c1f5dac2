#include <qel/core/qelNum.h>

#include <cctype>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include <qel/core/UInt64.h>
#include <qel/core/qelULongLong.h>

static int64_t Native(const qelint64& value) {
  return static_cast<int64_t>(static_cast<uint64_t>(value.low) |
                              static_cast<uint64_t>(static_cast<uint32_t>(value.high)) << 32);
}

static uint64_t Native(const qelULongLong& value) {
  return value.low | static_cast<uint64_t>(value.high) << 32;
}

// Integers of 32 bits ----------------------------------------------------------

struct U32Row {
  const char* text;
  int base;
  int result;
  uint32_t out;
};

TEST(NumToU32, ReadsOnTheScale) {
  const U32Row kRows[] = {
      {"0", 10, 0, 0},
      {"12", 10, 0, 12},
      {"0012", 10, 0, 12},
      {" \t\n\v\f\r12", 10, 0, 12},
      {"+12", 10, 0, 12},
      {" +0x10", 0, 0, 16},
      {"12x", 10, 2, 12},
      {" 12 ", 10, 3, 12},
      {"12.5", 10, 2, 12},
      {"4294967295", 10, 0, 4294967295u},
      {"4294967296", 10, -1, 4294967295u},
      {"4294967296x", 10, -1, 4294967295u}, // the overflow hides what stands behind
      {"99999999999999999999999999", 10, -1, 4294967295u},
      {"-1", 10, -3, 0},
      {"-0", 10, -3, 0},
      {"++1", 10, -3, 0},
      {"+ 1", 10, -3, 0},
      {"+", 10, -3, 0},
      {"", 10, -3, 0},
      {"  ", 10, -3, 0},
      {"x", 10, -3, 0},
      {"\xB2", 10, -3, 0},
      {nullptr, 10, -3, 0},
      {"12", 1, -3, 0},
      {"12", 37, -3, 0},
      {"12", -1, -3, 0},
      {"101", 2, 0, 5},
      {"102", 2, 2, 2},
      {"zZ", 36, 0, 35 * 36 + 35},
      {"1f", 16, 0, 31},
      {"1F", 16, 0, 31},
      {"1g", 16, 1, 1},
      {"0x1f", 16, 0, 31},
      {"0X1F", 16, 0, 31},
      {"0x", 16, 1, 0},
      {"0xg", 16, 1, 0},
      {"0x1f", 10, 1, 0},
      {"0x1f", 36, 0, 33 * 36 * 36 + 36 + 15},
      {"010", 0, 0, 8},
      {"08", 0, 1, 0},
      {"0", 0, 0, 0},
      {"10", 0, 0, 10},
      {"0x", 0, 1, 0},
      {"0x0x1", 0, 3, 0},
      {"ffffffff", 16, 0, 0xFFFFFFFFu},
      {"100000000", 16, -1, 0xFFFFFFFFu},
      {"10", 8, 0, 8},
  };
  for (const U32Row& row : kRows) {
    qelULong out = 77;
    EXPECT_EQ(qelNum_ToU32(row.text, &out, row.base), row.result) << row.text << " " << row.base;
    EXPECT_EQ(out, row.out) << row.text << " " << row.base;
  }
}

TEST(NumParseU32, SetsTheEndToTheTextWithoutANumber) {
  for (const char* text : {"", "  ", " +", " -1", "x", " z"}) {
    const char* end = nullptr;
    int status = 9;
    EXPECT_EQ(qelNum_ParseU32(text, &end, 10, &status), 0u);
    EXPECT_EQ(status, -3) << text;
    EXPECT_EQ(end, text);
  }
}

TEST(NumParseU32, LeavesTheStatusAtZeroForATextBehind) {
  const char* end = nullptr;
  int status = 9;
  const char text[] = "12x";
  EXPECT_EQ(qelNum_ParseU32(text, &end, 10, &status), 12u);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(end, text + 2);
  EXPECT_EQ(qelNum_ParseU32(text, nullptr, 10, &status), 12u);
  EXPECT_EQ(status, 0);
}

TEST(NumParseU32, ReadsTheDigitsBehindAnOverflow) {
  const char* end = nullptr;
  int status = 9;
  const char text[] = "9999999999999999x";
  EXPECT_EQ(qelNum_ParseU32(text, &end, 10, &status), UINT32_MAX);
  EXPECT_EQ(status, -1);
  EXPECT_EQ(end, text + 16);
}

struct S32Row {
  const char* text;
  int base;
  int result;
  int32_t out;
};

TEST(NumToS32, ReadsOnTheScale) {
  const S32Row kRows[] = {
      {"0", 10, 0, 0},
      {"-0", 10, 0, 0},
      {"12", 10, 0, 12},
      {"-12", 10, 0, -12},
      {"+12", 10, 0, 12},
      {" -12", 10, 0, -12},
      {"12x", 10, 2, 12},
      {" -12x", 10, 4, -12},
      {"- 5", 10, -3, 0},
      {"--5", 10, -3, 0},
      {"-+5", 10, -3, 0},
      {"+-5", 10, -3, 0},
      {"-", 10, -3, 0},
      {"-x", 10, -3, 0},
      {"", 10, -3, 0},
      {"  ", 10, -3, 0},
      {nullptr, 10, -3, 0},
      {"5", 1, -3, 0},
      {"2147483646", 10, 0, 2147483646},
      {"2147483647", 10, 0, 2147483647},
      {"2147483648", 10, -1, 2147483647},
      {"2147483649", 10, -1, 2147483647},
      {"4294967295", 10, -1, 2147483647},
      {"4294967296", 10, -1, 2147483647},
      {"-2147483646", 10, 0, -2147483646},
      {"-2147483647", 10, 0, INT32_MIN},
      {"-2147483648", 10, 0, INT32_MIN},
      {"-2147483649", 10, -2, INT32_MIN},
      {"-4294967295", 10, -2, INT32_MIN},
      {"-4294967296", 10, -1, INT32_MIN}, // "too large" on this side as well
      {"-2147483648x", 10, 11, INT32_MIN},
      {"-0x10", 0, 0, -16},
      {"-0x10", 16, 0, -16},
      {"-ff", 16, 0, -255},
      {"-010", 0, 0, -8},
  };
  for (const S32Row& row : kRows) {
    qelLong out = 77;
    EXPECT_EQ(qelNum_ToS32(row.text, &out, row.base), row.result) << row.text << " " << row.base;
    EXPECT_EQ(out, row.out) << row.text << " " << row.base;
  }
}

TEST(NumParseS32, ReadsMinus2147483647AsTheSmallestValue) {
  qelLong out = 0;
  EXPECT_EQ(qelNum_ToS32Dec("-2147483647", &out), 0);
  EXPECT_EQ(out, INT32_MIN);
}

TEST(NumParseS32, CallsAMagnitudeBeyond32BitsTooLarge) {
  const char text[] = "-4294967296x";
  const char* end = nullptr;
  int status = 9;
  EXPECT_EQ(qelNum_ParseS32("-4294967295", nullptr, 10, &status), INT32_MIN);
  EXPECT_EQ(status, -2);
  EXPECT_EQ(qelNum_ParseS32(text, &end, 10, &status), INT32_MIN);
  EXPECT_EQ(status, -1);
  EXPECT_EQ(end, text + 11);
}

TEST(NumParseS32, SetsTheEndToTheTextWithoutANumber) {
  for (const char* text : {"", " -", " - 5", "-x", " x"}) {
    const char* end = nullptr;
    int status = 9;
    EXPECT_EQ(qelNum_ParseS32(text, &end, 10, &status), 0);
    EXPECT_EQ(status, -3) << text;
    EXPECT_EQ(end, text);
  }
}

TEST(NumParseS32, LeavesTheStatusAtZeroForATextBehind) {
  const char* end = nullptr;
  int status = 9;
  const char text[] = " -12x";
  EXPECT_EQ(qelNum_ParseS32(text, &end, 10, &status), -12);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(end, text + 4);
  EXPECT_EQ(qelNum_ParseS32(text, nullptr, 10, &status), -12);
}

TEST(NumDecimal, ReadsInBaseTen) {
  qelLong s = 77;
  qelULong u = 77;
  EXPECT_EQ(qelNum_ToS32Dec("12x", &s), 2);
  EXPECT_EQ(s, 12);
  EXPECT_EQ(qelNum_ToS32Dec("", &s), -3);
  EXPECT_EQ(qelNum_ToS32Dec("  ", &s), -3);
  EXPECT_EQ(qelNum_ToS32Dec("- 5", &s), -3);
  EXPECT_EQ(qelNum_ToS32Dec("010", &s), 0);
  EXPECT_EQ(s, 10);
  EXPECT_EQ(qelNum_ToU32Dec("4294967296", &u), -1);
  EXPECT_EQ(u, 0xFFFFFFFFu);
  EXPECT_EQ(qelNum_ToU32Dec("0x10", &u), 1);
  EXPECT_EQ(u, 0u);
  EXPECT_EQ(qelNum_ToU32Dec(nullptr, &u), -3);
}

TEST(NumToHex32, ReadsInBaseSixteen) {
  qelULong out = 77;
  EXPECT_EQ(qelNum_ToHex32("10", &out), 0);
  EXPECT_EQ(out, 16u);
  EXPECT_EQ(qelNum_ToHex32("0xAbC", &out), 0);
  EXPECT_EQ(out, 0xABCu);
  EXPECT_EQ(qelNum_ToHex32("fg", &out), 1);
  EXPECT_EQ(out, 15u);
  EXPECT_EQ(qelNum_ToHex32(nullptr, &out), -3);
}

TEST(NumSpans, ReadNothingBehindTheLength) {
  qelLong s = 77;
  qelULong u = 77;
  EXPECT_EQ(qelNum_ToS32N("-1234", 3, &s), 0);
  EXPECT_EQ(s, -12);
  EXPECT_EQ(qelNum_ToS32N("12x4", 4, &s), 2);
  EXPECT_EQ(s, 12);
  EXPECT_EQ(qelNum_ToU32N("1234", 2, &u), 0);
  EXPECT_EQ(u, 12u);
  EXPECT_EQ(qelNum_ToHex32N("ffff", 2, &u), 0);
  EXPECT_EQ(u, 255u);
}

TEST(NumSpans, GiveNoNumberForNullOrLengthZero) {
  qelLong s = 77;
  qelULong u = 77;
  EXPECT_EQ(qelNum_ToS32N(nullptr, 3, &s), -3);
  EXPECT_EQ(s, 0);
  s = 77;
  EXPECT_EQ(qelNum_ToS32N("12", 0, &s), -3);
  EXPECT_EQ(s, 0);
  EXPECT_EQ(qelNum_ToU32N(nullptr, 3, &u), -3);
  EXPECT_EQ(u, 0u);
  u = 77;
  EXPECT_EQ(qelNum_ToHex32N("12", 0, &u), -3);
  EXPECT_EQ(u, 0u);
}

TEST(NumToS16, ClampsByTheValue) {
  const struct {
    const char* text;
    int result;
    int16_t out;
  } kRows[] = {
      {"0", 0, 0},
      {"32767", 0, 32767},
      {"32768", -1, 32767},
      {"-32768", 0, -32768},
      {"-32769", -2, -32768},
      {"12x", 2, 12},
      {"40000x", -1, 32767},
      {"9999999999", -1, 32767},
      {"-9999999999", -2, -32768},
      {"", -3, 0},
      {nullptr, -3, 0},
      {"x", -3, 0},
      {"-2147483648", -2, -32768},
  };
  for (const auto& row : kRows) {
    int16_t out = 77;
    EXPECT_EQ(qelNum_ToS16(row.text, &out), row.result) << row.text;
    EXPECT_EQ(out, row.out) << row.text;
  }
}

TEST(NumToU16, ClampsByTheValue) {
  const struct {
    const char* text;
    int result;
    uint16_t out;
  } kRows[] = {
      {"0", 0, 0},    {"65535", 0, 65535},   {"65536", -1, 65535}, {"99999999999", -1, 65535},
      {"12x", 2, 12}, {"70000x", -1, 65535}, {"-1", -3, 0},        {nullptr, -3, 0},
  };
  for (const auto& row : kRows) {
    uint16_t out = 77;
    EXPECT_EQ(qelNum_ToU16(row.text, &out), row.result) << row.text;
    EXPECT_EQ(out, row.out) << row.text;
  }
}

// Integers of 64 bits ----------------------------------------------------------

TEST(NumParseU64, ReadsOnTheScale) {
  const struct {
    const char* text;
    int base;
    int status;
    uint64_t out;
  } kRows[] = {
      {"0", 10, 0, 0},
      {" +12", 10, 0, 12},
      {"12x", 10, 2, 12},
      {" 12 ", 10, 3, 12},
      {"18446744073709551615", 10, 0, UINT64_MAX},
      {"18446744073709551616", 10, -1, UINT64_MAX},
      {"18446744073709551620", 10, -1, UINT64_MAX},
      {"99999999999999999999999", 10, -1, UINT64_MAX},
      {"ffffffffffffffff", 16, 0, UINT64_MAX},
      {"0x10000000000000000", 0, -1, UINT64_MAX},
      {"010", 0, 0, 8},
      {"0x", 0, 1, 0},
      {"3w5e11264sgsf", 36, 0, UINT64_MAX},
      {"3w5e11264sgsg", 36, -1, UINT64_MAX},
      {"-1", 10, -3, 0},
      {"", 10, -3, 0},
      {" ", 10, -3, 0},
      {nullptr, 10, -3, 0},
      {"1", 1, -3, 0},
      {"1", 37, -3, 0},
  };
  for (const auto& row : kRows) {
    const char* end = nullptr;
    int status = 9;
    qelULongLong record = {7, 7};
    qeluint64 value = 7;
    EXPECT_EQ(qelNum_ParseU64(row.text, &end, row.base, &status, &record), row.status) << row.text;
    EXPECT_EQ(status, row.status) << row.text;
    EXPECT_EQ(Native(record), row.out) << row.text;
    EXPECT_EQ(qelNum_ParseU64(row.text, &end, row.base, &status, &value), row.status) << row.text;
    EXPECT_EQ(value.GetValue(), row.out) << row.text;
  }
}

TEST(NumParseU64, StopsAtTheDigitThatOverflows) {
  const char text[] = "184467440737095516169x";
  const char* end = nullptr;
  int status = 9;
  qelULongLong out = {0, 0};
  qelNum_ParseU64(text, &end, 10, &status, &out);
  EXPECT_EQ(status, -1);
  EXPECT_EQ(end, text + 19);
}

TEST(NumParseU64, LooksBehindTheDigitsOnlyWithAnEnd) {
  int status = 9;
  qelULongLong out = {0, 0};
  EXPECT_EQ(qelNum_ParseU64("1 2", nullptr, 10, &status, &out), 0);
  EXPECT_EQ(Native(out), 1u);
  const char* end = nullptr;
  EXPECT_EQ(qelNum_ParseU64("1 2", &end, 10, &status, &out), 1);
}

TEST(NumParseS64, ReadsOnTheScale) {
  const struct {
    const char* text;
    int base;
    int status;
    int64_t out;
  } kRows[] = {
      {"0", 10, 0, 0},
      {"-12", 10, 0, -12},
      {"+12", 10, 0, 12},
      {" -12x", 10, 4, -12},
      {"9223372036854775807", 10, 0, INT64_MAX},
      {"9223372036854775808", 10, -1, INT64_MAX},
      {"-9223372036854775807", 10, 0, -INT64_MAX}, // no oddity here
      {"-9223372036854775808", 10, 0, INT64_MIN},
      {"-9223372036854775809", 10, -2, INT64_MIN},
      {"-99999999999999999999999", 10, -2, INT64_MIN},
      {"99999999999999999999999", 10, -1, INT64_MAX},
      {"-0x8000000000000000", 0, 0, INT64_MIN},
      {"-0x10", 16, 0, -16},
      {"- 5", 10, -3, 0}, // the sign is taken, and no digit follows
      {"--5", 10, -3, 0},
      {"-+5", 10, -3, 0},
      {"-", 10, -3, 0},
      {"", 10, -3, 0},
      {"  ", 10, -3, 0},
      {nullptr, 10, -3, 0},
      {"1", 1, -3, 0},
  };
  for (const auto& row : kRows) {
    const char* end = nullptr;
    int status = 9;
    qelint64 out = {7, 7};
    EXPECT_EQ(qelNum_ParseS64(row.text, &end, row.base, &status, &out), row.status) << row.text;
    EXPECT_EQ(status, row.status) << row.text;
    EXPECT_EQ(Native(out), row.out) << row.text;
    if (row.status == -3) {
      EXPECT_EQ(end, row.text);
    }
  }
}

TEST(NumParseS64, StopsAtTheDigitThatOverflows) {
  const char text[] = "-92233720368547758099x";
  const char* end = nullptr;
  int status = 9;
  qelint64 out = {0, 0};
  EXPECT_EQ(qelNum_ParseS64(text, &end, 10, &status, &out), -2);
  EXPECT_EQ(end, text + 19);
}

TEST(NumParseS64, LooksBehindTheDigitsOnlyWithAnEnd) {
  int status = 9;
  qelint64 out = {0, 0};
  EXPECT_EQ(qelNum_ParseS64("-1 2", nullptr, 10, &status, &out), 0);
  EXPECT_EQ(Native(out), -1);
  const char* end = nullptr;
  EXPECT_EQ(qelNum_ParseS64("-1 2", &end, 10, &status, &out), 2);
}

TEST(NumDecimal64, DoesNotLookAtWhatStandsBehindTheDigits) {
  qelint64 s = {7, 7};
  qelULongLong u = {7, 7};
  qeluint64 v = 7;
  EXPECT_EQ(qelNum_ToS64Dec("-12x", &s), 0);
  EXPECT_EQ(Native(s), -12);
  EXPECT_EQ(qelNum_ToU64Dec("12 13", &u), 0);
  EXPECT_EQ(Native(u), 12u);
  EXPECT_EQ(qelNum_ToU64Dec("12 13", &v), 0);
  EXPECT_EQ(v.GetValue(), 12u);
  EXPECT_EQ(qelNum_ToS64Dec("x", &s), -3);
  EXPECT_EQ(Native(s), 0);
  EXPECT_EQ(qelNum_ToU64Dec("", &u), -3);
  EXPECT_EQ(Native(u), 0u);
  EXPECT_EQ(qelNum_ToU64Dec("18446744073709551616", &v), -1);
  EXPECT_EQ(v.GetValue(), UINT64_MAX);
}

// Beside the runtime library ---------------------------------------------------

// Random text that looks like numbers.
static std::string RandomNumberText(std::mt19937& random) {
  static const char* const kPieces[] = {"0", "1", "7", "9",  "a",  "f",    "g",    "z",   "x",
                                        "-", "+", " ", "0x", "0X", "2147", "4836", "9999"};
  std::string text;
  for (size_t n = random() % 8; n != 0; --n)
    text += kPieces[random() % (sizeof kPieces / sizeof kPieces[0])];
  return text;
}

// Runtime libraries disagree about a "0x" that no hexadecimal digit follows.
static bool HasBarePrefix(const std::string& text) {
  const size_t x = text.find_first_of("xX");
  return x != text.npos && !isxdigit(static_cast<unsigned char>(text.c_str()[x + 1]));
}

static const char* SkipBlanks(const std::string& text) {
  return text.c_str() + text.find_first_not_of(' ') * (text.find_first_not_of(' ') != text.npos);
}

TEST(NumBesideTheRuntimeLibrary, ReadsSignedNumbersAsStrtollDoes) {
  std::mt19937 random(60);
  const int kBases[] = {0, 2, 8, 10, 16, 36};
  int compared = 0;
  for (int round = 0; round < 200000; ++round) {
    const std::string text = RandomNumberText(random);
    const int base = kBases[random() % 6];
    if (HasBarePrefix(text))
      continue;
    char* libraryEnd = nullptr;
    errno = 0;
    const long long expected = strtoll(text.c_str(), &libraryEnd, base);
    const bool outOfRange = errno == ERANGE;
    const char* end = nullptr;
    int status = 9;
    qelint64 out = {7, 7};
    qelNum_ParseS64(text.c_str(), &end, base, &status, &out);
    ASSERT_EQ(Native(out), expected) << text << " " << base;
    ASSERT_EQ(status == -3, libraryEnd == text.c_str()) << text << " " << base;
    ASSERT_EQ(status == -1 || status == -2, outOfRange) << text << " " << base;
    if (status >= 0) {
      ASSERT_EQ(end, libraryEnd) << text << " " << base;
      ASSERT_EQ(status, *end != '\0' ? static_cast<int>(end - text.c_str()) : 0);
      ++compared;
    }
  }
  EXPECT_GT(compared, 50000);
}

TEST(NumBesideTheRuntimeLibrary, ReadsUnsignedNumbersAsStrtoullDoesButForTheMinusSign) {
  std::mt19937 random(61);
  const int kBases[] = {0, 2, 8, 10, 16, 36};
  for (int round = 0; round < 200000; ++round) {
    const std::string text = RandomNumberText(random);
    const int base = kBases[random() % 6];
    if (HasBarePrefix(text))
      continue;
    if (*SkipBlanks(text) == '-') {
      qelULong out = 7;
      ASSERT_EQ(qelNum_ToU32(text.c_str(), &out, base), -3) << text;
      continue;
    }
    char* libraryEnd = nullptr;
    errno = 0;
    const unsigned long long expected = strtoull(text.c_str(), &libraryEnd, base);
    const bool fits64 = errno != ERANGE;
    const bool fits32 = fits64 && expected <= UINT32_MAX;
    const char* end = nullptr;
    int status = 9;
    ASSERT_EQ(qelNum_ParseU32(text.c_str(), &end, base, &status), fits32 ? expected : UINT32_MAX);
    ASSERT_EQ(end, libraryEnd) << text << " " << base;
    ASSERT_EQ(status, libraryEnd == text.c_str() ? -3 : fits32 ? 0 : -1) << text << " " << base;
    qelULongLong out = {7, 7};
    qelNum_ParseU64(text.c_str(), nullptr, base, &status, &out);
    ASSERT_EQ(Native(out), fits64 ? expected : UINT64_MAX) << text << " " << base;
  }
}

TEST(NumBesideTheRuntimeLibrary, DiffersOnPurpose) {
  const struct {
    const char* text;
    const char* why;
    int32_t library; // strtol, saturated to 32 bits
    int32_t out;
    int result;
  } kRows[] = {
      {"-2147483647", "the smallest value comes one early", -2147483647, INT32_MIN, 0},
      {"- 5", "a minus sign wants a letter or a digit behind it", 0, 0, -3},
      {"-4294967296", "too large instead of too small", INT32_MIN, INT32_MIN, -1},
      {"12 ", "blanks behind the number are not part of it", 12, 12, 2},
      {"", "no digits are an error", 0, 0, -3},
  };
  for (const auto& row : kRows) {
    const long long wide = strtoll(row.text, nullptr, 10);
    EXPECT_EQ(wide < INT32_MIN ? INT32_MIN : static_cast<int32_t>(wide), row.library) << row.why;
    qelLong out = 7;
    EXPECT_EQ(qelNum_ToS32Dec(row.text, &out), row.result) << row.why;
    EXPECT_EQ(out, row.out) << row.why;
  }
}

TEST(NumBesideTheRuntimeLibrary, ReadsDoublesCloseToStrtod) {
  std::mt19937 random(62);
  for (int round = 0; round < 100000; ++round) {
    std::string text = random() % 3 == 0 ? "-" : "";
    for (size_t n = 1 + random() % 12; n != 0; --n)
      text += static_cast<char>('0' + random() % 10);
    if (random() % 2 != 0) {
      text += '.';
      for (size_t n = random() % 8; n != 0; --n)
        text += static_cast<char>('0' + random() % 10);
    }
    if (random() % 2 != 0)
      text += "e" + std::to_string(static_cast<int>(random() % 500) - 250);
    const double expected = strtod(text.c_str(), nullptr);
    double out = 7;
    ASSERT_EQ(qelNum_ToDouble(text.c_str(), &out), 0) << text;
    // Rounding at each power may cost some last places; the runtime library rounds once.
    ASSERT_LE(std::fabs(out - expected), std::fabs(expected) * 1e-13) << text;
  }
}

TEST(NumBesideTheRuntimeLibrary, ReadsPlainDecimalsExactly) {
  for (const char* text : {"0", "1", "1.5", "-0.25", "44100", "3.75", "1e3", "123456789", "0.5"}) {
    double out = 7;
    EXPECT_EQ(qelNum_ToDouble(text, &out), 0) << text;
    EXPECT_EQ(out, strtod(text, nullptr)) << text;
  }
}

TEST(NumBesideTheRuntimeLibrary, HasNoOtherFormsOfDoubles) {
  const struct {
    const char* text; // strtod takes each of these whole
    int result;
  } kRows[] = {{"inf", -3}, {"nan", -3}, {"infinity", -3}, {"0x10", 1}, {"0x1p3", 1}};
  for (const auto& row : kRows) {
    char* end = nullptr;
    strtod(row.text, &end);
    EXPECT_EQ(*end, '\0') << row.text;
    double out = 7;
    EXPECT_EQ(qelNum_ToDouble(row.text, &out), row.result) << row.text;
    EXPECT_EQ(out, 0.0) << row.text;
  }
}

// Floating point ---------------------------------------------------------------

TEST(NumToDouble, ReadsOnTheScale) {
  const struct {
    const char* text;
    int result;
    double out;
  } kRows[] = {
      {"1", 0, 1.0},
      {" \t-1.5", 0, -1.5},
      {"+.5", 0, 0.5},
      {"5.", 0, 5.0},
      {".", -3, 0.0},
      {"-", -3, 0.0},
      {"-.", -3, 0.0},
      {"e5", -3, 0.0},
      {".e5", -3, 0.0},
      {"--1", -3, 0.0},
      {"- 1", -3, 0.0},
      {"1.2.3", 3, 1.2},
      {"1..", 2, 1.0},
      {"12x", 2, 12.0},
      {" 12 ", 3, 12.0},
      {"1,5", 1, 1.0},
      {"1e2", 0, 100.0},
      {"1E+2", 0, 100.0},
      {"1e-2", 0, 0.01},
      {"1.5e3x", 5, 1500.0},
      {"1e", 0, 1.0}, // the "e" and its sign are used without digits too
      {"1e+", 0, 1.0},
      {"1e-x", 3, 1.0},
      {"1e1024", -1, 0.0}, // infinite
      {"1e1025", -1, 0.0}, // the exponent alone decides
      {"0e1025", -1, 0.0},
      {"1e-1021", 0, 0.0}, // becomes 0 by division
      {"1e-1022", -2, 0.0},
      {"1.5e-1021", -2, 0.0}, // the digit behind the point counts
      {"0.1e1025", -1, 0.0},
      {"1e99999999999999999999", -1, 0.0},
      {"1e-99999999999999999999", -2, 0.0},
      {"1e2000x", 6, 0.0}, // the offset wins over "too large"
      {"", -3, 0.0},
      {"  ", -3, 0.0},
      {"x", -3, 0.0},
      {nullptr, -3, 0.0},
  };
  for (const auto& row : kRows) {
    double out = 7;
    EXPECT_EQ(qelNum_ToDouble(row.text, &out), row.result) << row.text;
    EXPECT_DOUBLE_EQ(out, row.out) << row.text;
  }
}

TEST(NumToDouble, KeepsTheSignOfZero) {
  double out = 7;
  EXPECT_EQ(qelNum_ToDouble("-0", &out), 0);
  EXPECT_TRUE(std::signbit(out));
}

TEST(NumToDouble, CountsManyDigitsBehindThePoint) {
  double out = 7;
  EXPECT_EQ(qelNum_ToDouble(("0." + std::string(1021, '0')).c_str(), &out), 0);
  EXPECT_EQ(qelNum_ToDouble(("0." + std::string(1022, '0')).c_str(), &out), -2);
  EXPECT_EQ(qelNum_ToDouble(("1" + std::string(400, '0')).c_str(), &out), -1);
  EXPECT_EQ(out, 0.0);
}

TEST(NumParseDouble, GivesNegativeInfinityAsAResult) {
  int status = 9;
  EXPECT_EQ(qelNum_ParseDouble("-1e1000", nullptr, &status), -HUGE_VAL);
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(std::isnan(qelNum_ParseDouble("0e600", nullptr, &status)));
  EXPECT_EQ(status, 0);
}

TEST(NumParseDouble, RefusesAnExponentAbove1024ByItself) {
  int status = 9;
  EXPECT_EQ(qelNum_ParseDouble("-1e1024", nullptr, &status), -HUGE_VAL);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(qelNum_ParseDouble("-1e1025", nullptr, &status), 0.0);
  EXPECT_EQ(status, -1);
}

TEST(NumParseDouble, SetsTheEnd) {
  const char* end = nullptr;
  int status = 9;
  const char text[] = " 1.5e2x";
  EXPECT_EQ(qelNum_ParseDouble(text, &end, &status), 150.0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(end, text + 6);
  const char none[] = " -.x";
  EXPECT_EQ(qelNum_ParseDouble(none, &end, &status), 0.0);
  EXPECT_EQ(status, -3);
  EXPECT_EQ(end, none);
  const char large[] = "1e2000x";
  EXPECT_EQ(qelNum_ParseDouble(large, &end, &status), 0.0);
  EXPECT_EQ(status, -1);
  EXPECT_EQ(end, large + 6);
}

// Pointers ---------------------------------------------------------------------

TEST(NumToPointer, ChoosesTheBaseByThePrefix) {
  const struct {
    const char* text;
    int result;
    uint64_t out;
  } kRows[] = {
      {"0x7f00", 0, 0x7F00},
      {"0X7F00", 0, 0x7F00},
      {" +0xff", 0, 255},
      {"100", 0, 100},
      {"010", 0, 10},
      {"0x", 1, 0},
      {"0xg", 1, 0},
      {"ff", -3, 0},
      {"0xffffffffffffffff", 0, UINT64_MAX},
      {"0x10000000000000000", -1, UINT64_MAX},
      {"12 ", 2, 12},
      {"-1", -3, 0},
      {"", -3, 0},
      {nullptr, -3, 0},
  };
  for (const auto& row : kRows) {
    void* out = &out;
    EXPECT_EQ(qelNum_ToPointer(row.text, &out), row.result) << row.text;
    EXPECT_EQ(reinterpret_cast<uintptr_t>(out), row.out) << row.text;
  }
}

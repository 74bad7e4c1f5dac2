#include <qel/core/qelUTF8.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

// Wide text in tests is std::u16string on every system.
static std::vector<qelWChar> Wide(const std::u16string& text) {
  return std::vector<qelWChar>(text.c_str(), text.c_str() + text.size() + 1);
}

static std::u16string Units(const qelWChar* text, size_t n) {
  std::u16string units;
  for (size_t i = 0; i < n; ++i)
    units.push_back(static_cast<char16_t>(text[i]));
  return units;
}

static std::string Encoded(const std::u16string& text) {
  const std::vector<qelWChar> wide = Wide(text);
  std::vector<char> bytes(text.size() * 5 + 1, 'x');
  const size_t n = qelUTF8_Encode(bytes.data(), wide.data(), bytes.size());
  EXPECT_EQ(bytes[n], '\0');
  return std::string(bytes.data(), n);
}

static std::u16string Decoded(const std::string& text) {
  std::vector<qelWChar> units(text.size() + 1, 'x');
  const int64_t n = qelUTF8_Decode(units.data(), text.c_str(), units.size());
  EXPECT_GE(n, 0) << text;
  if (n < 0)
    return u"";
  EXPECT_EQ(units[static_cast<size_t>(n)], 0);
  return Units(units.data(), static_cast<size_t>(n));
}

// An independent encoder of one code point.
static std::string Reference8(uint32_t c) {
  std::string s;
  if (c < 0x80) {
    s += static_cast<char>(c);
  } else if (c < 0x800) {
    s += static_cast<char>(0xC0 | c >> 6);
    s += static_cast<char>(0x80 | (c & 63));
  } else if (c < 0x10000) {
    s += static_cast<char>(0xE0 | c >> 12);
    s += static_cast<char>(0x80 | (c >> 6 & 63));
    s += static_cast<char>(0x80 | (c & 63));
  } else {
    s += static_cast<char>(0xF0 | c >> 18);
    s += static_cast<char>(0x80 | (c >> 12 & 63));
    s += static_cast<char>(0x80 | (c >> 6 & 63));
    s += static_cast<char>(0x80 | (c & 63));
  }
  return s;
}

static std::u16string Reference16(uint32_t c) {
  if (c < 0x10000)
    return std::u16string(1, static_cast<char16_t>(c));
  const char16_t pair[] = {static_cast<char16_t>(0xD800 + ((c - 0x10000) / 0x400)),
                           static_cast<char16_t>(0xDC00 + ((c - 0x10000) % 0x400)), 0};
  return pair;
}

// Decode -----------------------------------------------------------------------

TEST(UTF8Decode, GivesEveryCodePointTheUnitsOfUTF16) {
  for (uint32_t c = 1; c < 0x110000; ++c) {
    const std::string text = Reference8(c);
    qelWChar units[3] = {9, 9, 9};
    const std::u16string expected = Reference16(c);
    ASSERT_EQ(qelUTF8_Decode(units, text.c_str(), 3), static_cast<int64_t>(expected.size())) << c;
    ASSERT_EQ(Units(units, expected.size()), expected) << c;
    ASSERT_EQ(qelUTF8_Decode(nullptr, text.c_str(), 0), static_cast<int64_t>(expected.size()));
  }
}

TEST(UTF8Decode, RefusesMalformedText) {
  const struct {
    const char* text;
    const char* why;
  } kRows[] = {
      {"\x80", "a stray continuation byte"},
      {"a\xBF", "a stray continuation byte behind a character"},
      {"\xC3", "a sequence of two cut after one"},
      {"\xE2\x82", "a sequence of three cut after two"},
      {"\xF0\x9F\x98", "a sequence of four cut after three"},
      {"\xC3(", "a second byte that continues nothing"},
      {"\xE2(\xAC", "a second byte of three that continues nothing"},
      {"\xE2\x82(", "a third byte that continues nothing"},
      {"\xC3\xC3", "a lead byte in place of a continuation"},
      {"\xC0\x80", "zero in two bytes"},
      {"\xC1\xBF", "0x7F in two bytes"},
      {"\xE0\x80\x80", "zero in three bytes"},
      {"\xE0\x9F\xBF", "0x7FF in three bytes"},
      {"\xF0\x80\x80\x80", "zero in four bytes"},
      {"\xF0\x8F\xBF\xBF", "0xFFFF in four bytes"},
      {"\xF4\x90\x80\x80", "0x110000"},
      {"\xF7\xBF\xBF\xBF", "0x1FFFFF"},
      {"\xF8\x80\x80\x80\x80", "an overlong form of five bytes"},
      {"\xF8\x88\x80\x80\x80", "0x200000 in five bytes"},
      {"\xFC\x84\x80\x80\x80\x80", "0x4000000 in six bytes"},
      {"\xFD\xBF\xBF\xBF\xBF\xBF", "0x7FFFFFFF in six bytes"},
      {"\xFE\x82\x80\x80\x80\x80\x80", "seven bytes"},
      {"\xFF\xBF\xBF\xBF\xBF\xBF\xBF\xBF", "eight bytes"},
      {"\xFF", "a lead byte of eight, cut"},
  };
  for (const auto& row : kRows) {
    qelWChar units[16];
    EXPECT_EQ(qelUTF8_Decode(nullptr, row.text, 0), -1) << row.why;
    EXPECT_EQ(qelUTF8_Decode(units, row.text, 16), -1) << row.why;
    EXPECT_EQ(qelUTF8_ToWide(row.text), nullptr) << row.why;
    EXPECT_EQ(qelUTF8_ToWStr(row.text), nullptr) << row.why;
  }
}

TEST(UTF8Decode, AcceptsTheSmallestAndLargestValueOfEachLength) {
  EXPECT_EQ(Decoded("\x01\x7F"), u"\x0001\x007F");
  EXPECT_EQ(Decoded("\xC2\x80\xDF\xBF"), u"\x0080\x07FF");
  EXPECT_EQ(Decoded("\xE0\xA0\x80\xEF\xBF\xBF"), u"\x0800\xFFFF");
  EXPECT_EQ(Decoded("\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"), u"\xD800\xDC00\xDBFF\xDFFF");
}

TEST(UTF8Decode, PassesEncodedSurrogatesAsSingleUnits) {
  EXPECT_EQ(Decoded("\xED\xA0\x80"), u"\xD800");
  EXPECT_EQ(Decoded("\xED\xBF\xBF"), u"\xDFFF");
  EXPECT_EQ(Decoded("\xED\xA0\xBD\xED\xB8\x80"), u"\xD83D\xDE00");
}

TEST(UTF8Decode, StopsWhenTheDestinationIsFullWithoutATerminator) {
  qelWChar units[4] = {9, 9, 9, 9};
  EXPECT_EQ(qelUTF8_Decode(units, "abcdef", 3), 3);
  EXPECT_EQ(Units(units, 4), u"abc\x0009");
}

TEST(UTF8Decode, WritesTheTerminatorOnlyIfThereIsRoom) {
  qelWChar units[4] = {9, 9, 9, 9};
  EXPECT_EQ(qelUTF8_Decode(units, "ab", 2), 2);
  EXPECT_EQ(units[2], 9);
  EXPECT_EQ(qelUTF8_Decode(units, "ab", 3), 2);
  EXPECT_EQ(units[2], 0);
}

TEST(UTF8Decode, CountsACutPairAsTwoUnits) {
  qelWChar units[3] = {9, 9, 9};
  EXPECT_EQ(qelUTF8_Decode(units, "a\xF0\x9F\x98\x80z", 2), 3);
  EXPECT_EQ(units[1], 0xD83D);
  EXPECT_EQ(units[2], 9);
}

TEST(UTF8Decode, DoesNotLookBehindAFullDestination) {
  qelWChar units[1] = {9};
  EXPECT_EQ(qelUTF8_Decode(units, "a\xFF", 1), 1);
  EXPECT_EQ(qelUTF8_Decode(units, "\xFF", 0), 0);
}

TEST(UTF8Decode, GivesNothingForTheEmptyText) {
  qelWChar units[1] = {9};
  EXPECT_EQ(qelUTF8_Decode(nullptr, "", 0), 0);
  EXPECT_EQ(qelUTF8_Decode(units, "", 1), 0);
  EXPECT_EQ(units[0], 0);
}

// Encode -----------------------------------------------------------------------

TEST(UTF8Encode, GivesEveryCodePointItsShortestForm) {
  for (uint32_t c = 1; c < 0x110000; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF)
      continue;
    ASSERT_EQ(Encoded(Reference16(c)), Reference8(c)) << c;
  }
}

TEST(UTF8Encode, WritesACodePointZeroForALoneSurrogateAtTheStart) {
  EXPECT_EQ(Encoded(u"\xD800"), std::string("\0", 1));
  EXPECT_EQ(Encoded(u"\xDC00"), std::string("\0", 1));
  EXPECT_EQ(Encoded(u"\xD800z"), std::string("\0z", 2));
  EXPECT_EQ(Encoded(u"\xD800\xD800z"), std::string("\0\0z", 3));
}

TEST(UTF8Encode, RepeatsTheCharacterBeforeALoneSurrogate) {
  EXPECT_EQ(Encoded(u"a\xD800z"), "aaz");
  EXPECT_EQ(Encoded(u"a\xDC00z"), "aaz");
  EXPECT_EQ(Encoded(u"a\xD800"), "aa");
  EXPECT_EQ(Encoded(u"\x20AC\xD800\xD801"), "\xE2\x82\xAC\xE2\x82\xAC\xE2\x82\xAC");
  EXPECT_EQ(Encoded(u"\xD83D\xDE00\xD83Dz"), "\xF0\x9F\x98\x80\xF0\x9F\x98\x80z");
  EXPECT_EQ(Encoded(u"a\xD83D\xD83D\xDE00"), "aa\xF0\x9F\x98\x80");
}

TEST(UTF8Encode, TakesTwoLowSurrogatesForAPair) {
  EXPECT_EQ(Encoded(u"\xDC00\xDC00"), "\xF4\x90\x80\x80");       // 0x110000
  EXPECT_EQ(Encoded(u"\xDFBF\xDFFF"), "\xF7\xBF\xBF\xBF");       // 0x1FFFFF
  EXPECT_EQ(Encoded(u"\xDFC0\xDC00"), "\xF8\x88\x80\x80\x80");   // 0x200000, in five bytes
  EXPECT_EQ(Encoded(u"a\xDFFF\xDFFF"), "a\xF8\x88\x8F\xBF\xBF"); // 0x20FFFF
}

TEST(UTF8Encode, WritesOneZeroByteForTheEmptyText) {
  const qelWChar empty[] = {0};
  char bytes[2] = {'x', 'x'};
  EXPECT_EQ(qelUTF8_Encode(bytes, empty, 2), 0u);
  EXPECT_EQ(bytes[0], '\0');
  EXPECT_EQ(bytes[1], 'x');
  EXPECT_EQ(qelUTF8_Encode(bytes + 1, empty, 0), 0u);
  EXPECT_EQ(bytes[1], 'x');
  EXPECT_EQ(qelUTF8_Encode(nullptr, empty, 0), 0u);
}

TEST(UTF8Encode, CountsOneMoreThanANonEmptyTextNeeds) {
  EXPECT_EQ(qelUTF8_Encode(nullptr, Wide(u"a").data(), 0), 2u);
  EXPECT_EQ(qelUTF8_Encode(nullptr, Wide(u"a\x20AC").data(), 0), 5u);
  EXPECT_EQ(qelUTF8_Encode(nullptr, Wide(u"\xD83D\xDE00").data(), 0), 5u);
  EXPECT_EQ(qelUTF8_Encode(nullptr, Wide(u"\xD800").data(), 0), 2u);
}

TEST(UTF8Encode, StopsWhenTheDestinationIsFullWithoutATerminator) {
  char bytes[5] = "xxxx";
  EXPECT_EQ(qelUTF8_Encode(bytes, Wide(u"abcdef").data(), 3), 3u);
  EXPECT_STREQ(bytes, "abcx");
  EXPECT_EQ(qelUTF8_Encode(bytes, Wide(u"abcd").data(), 5), 4u);
  EXPECT_STREQ(bytes, "abcd");
}

TEST(UTF8Encode, CutsACharacterThatFitsOnlyInPart) {
  char bytes[5] = "xxxx";
  EXPECT_EQ(qelUTF8_Encode(bytes, Wide(u"a\x20ACz").data(), 3), 4u);
  EXPECT_STREQ(bytes, "a\xE2\x82x");
}

TEST(UTF8Encode, TakesAPairForCutWithRoomForOneByte) {
  char bytes[5] = "xxxx";
  EXPECT_EQ(qelUTF8_Encode(bytes, Wide(u"a\xD83D\xDE00").data(), 2), 2u);
  EXPECT_STREQ(bytes, "aaxx");
}

// Blocks -----------------------------------------------------------------------

TEST(UTF8FromWide, GivesTheTextInANewBlock) {
  char* block = qelUTF8_FromWide(Wide(u"a\x00E4\x20AC\xD83D\xDE00").data());
  EXPECT_STREQ(block, "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
  free(block);
}

TEST(UTF8FromWide, GivesTheEmptyTextForTheEmptyText) {
  char* block = qelUTF8_FromWide(Wide(u"").data());
  EXPECT_STREQ(block, "");
  free(block);
}

TEST(UTF8ToWide, GivesNullForNull) {
  EXPECT_EQ(qelUTF8_ToWide(nullptr), nullptr);
  EXPECT_EQ(qelUTF8_ToWStr(nullptr), nullptr);
}

TEST(UTF8ToWide, GivesTheTextInANewBlock) {
  qelWChar* block = qelUTF8_ToWide("a\xF0\x9F\x98\x80");
  EXPECT_EQ(Units(block, 4), std::u16string(u"a\xD83D\xDE00\0", 4));
  free(block);
}

TEST(UTF8ToWStr, HasTheExactCapacityAndLength) {
  for (const char* text : {"", "abc", "a\xF0\x9F\x98\x80"}) {
    const std::u16string expected = Decoded(text);
    qelWStr wide = qelUTF8_ToWStr(text);
    EXPECT_EQ(qelWStr_GetLength(wide), expected.size());
    EXPECT_EQ((reinterpret_cast<qelWStrHeader*>(wide) - 1)->capacity, expected.size());
    EXPECT_EQ(Units(wide, expected.size() + 1), expected + std::u16string(1, 0));
    qelWStr_Free(wide);
  }
}

// Units ------------------------------------------------------------------------

TEST(UTF16Put, WritesOneUnitOrAPair) {
  qelWChar units[2] = {9, 9};
  EXPECT_EQ(qelUTF16_Put(0xFFFF, units, 2), 1);
  EXPECT_EQ(Units(units, 2), u"\xFFFF\x0009");
  EXPECT_EQ(qelUTF16_Put(0x10000, units, 2), 2);
  EXPECT_EQ(Units(units, 2), u"\xD800\xDC00");
  EXPECT_EQ(qelUTF16_Put(0x10FFFF, units, 2), 2);
  EXPECT_EQ(Units(units, 2), u"\xDBFF\xDFFF");
}

TEST(UTF16Put, WritesAsManyUnitsAsFit) {
  qelWChar units[2] = {9, 9};
  EXPECT_EQ(qelUTF16_Put('a', units, 0), 1);
  EXPECT_EQ(qelUTF16_Put(0x1F600, units, 0), 2);
  EXPECT_EQ(Units(units, 2), u"\x0009\x0009");
  EXPECT_EQ(qelUTF16_Put(0x1F600, units, 1), 2);
  EXPECT_EQ(Units(units, 2), u"\xD83D\x0009");
  EXPECT_EQ(qelUTF16_Put(0x1F600, nullptr, 2), 2);
}

TEST(UTF16Put, RefusesWhatUTF16HasNoFormFor) {
  EXPECT_EQ(qelUTF16_Put(0x110000, nullptr, 0), -1);
  EXPECT_EQ(qelUTF16_Put(0xFFFFFFFF, nullptr, 0), -1);
}

TEST(UTF16Get, ReadsOneUnitOrAPair) {
  uint32_t c = 9;
  EXPECT_EQ(qelUTF16_Get(Wide(u"a").data(), 1, &c), 1);
  EXPECT_EQ(c, 'a');
  EXPECT_EQ(qelUTF16_Get(Wide(u"\xD83D\xDE00").data(), 2, &c), 2);
  EXPECT_EQ(c, 0x1F600u);
  EXPECT_EQ(qelUTF16_Get(Wide(u"\xD83D\xDE00").data(), 2, nullptr), 2);
  EXPECT_EQ(qelUTF16_Get(Wide(u"\xE000").data(), 1, &c), 1);
  EXPECT_EQ(c, 0xE000u);
}

TEST(UTF16Get, LeavesTheCodePointAloneWithoutAResult) {
  uint32_t c = 9;
  EXPECT_EQ(qelUTF16_Get(Wide(u"a").data(), 0, &c), 0);
  EXPECT_EQ(qelUTF16_Get(Wide(u"\xD83Dz").data(), 2, &c), -1);
  EXPECT_EQ(qelUTF16_Get(Wide(u"\xD83D\xD83D").data(), 2, &c), -1);
  EXPECT_EQ(qelUTF16_Get(Wide(u"\xD83D\xDE00").data(), 1, &c), -2);
  EXPECT_EQ(qelUTF16_Get(Wide(u"\xDE00").data(), 1, &c), -2);
  EXPECT_EQ(c, 9u);
}

// Random -----------------------------------------------------------------------

TEST(UTF8RoundTrip, GivesBackRandomText) {
  std::mt19937 random(20);
  for (int round = 0; round < 3000; ++round) {
    std::string narrow;
    std::u16string wide;
    for (size_t n = random() % 40; n != 0; --n) {
      const uint32_t limits[] = {0x80, 0x800, 0xD800, 0x110000};
      const uint32_t c = static_cast<uint32_t>(1 + random() % (limits[random() % 4] - 1));
      if (c >= 0xD800 && c <= 0xDFFF)
        continue;
      narrow += Reference8(c);
      wide += Reference16(c);
    }
    ASSERT_EQ(Encoded(wide), narrow);
    ASSERT_EQ(Decoded(narrow), wide);
    char* block = qelUTF8_FromWide(Wide(wide).data());
    ASSERT_EQ(block, narrow);
    free(block);
  }
}

TEST(UTF8RoundTrip, NeverWritesBeyondTheSize) {
  std::mt19937 random(21);
  for (int round = 0; round < 20000; ++round) {
    std::u16string wide;
    for (size_t n = random() % 8; n != 0; --n) {
      const char16_t kinds[] = {u'a', u'\x00E4', u'\x20AC', u'\xD83D', u'\xDE00', u'\xDFFF'};
      wide += kinds[random() % 6];
    }
    const size_t size = random() % 12;
    std::vector<char> bytes(size + 1, 'x');
    const size_t written = qelUTF8_Encode(bytes.data(), Wide(wide).data(), size);
    ASSERT_EQ(bytes[size], 'x');
    ASSERT_LE(written, size + 4); // the last character counts whole
    if (written < size) {
      ASSERT_EQ(bytes[written], '\0');
    }
  }
}

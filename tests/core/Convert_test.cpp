#include <qel/core/Convert.h>

#include <clocale>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

static std::u16string Units(const qelWCharBuffer& buffer) {
  std::u16string units;
  for (const qelWChar* at = buffer; *at != 0; ++at)
    units.push_back(static_cast<char16_t>(*at));
  return units;
}

static const char kNarrow[] = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80";
static const qelWChar kWide[] = {'a', 0xE4, 0x20AC, 0xD83D, 0xDE00, 0};
static const std::u16string kUnits = u"a\u00E4\u20AC\U0001F600";

TEST(Convert, ObjectsHaveNoFieldsAndNoVirtualOperations) {
  EXPECT_TRUE(std::is_empty<qelUTF8Convert>::value);
  EXPECT_TRUE(std::is_empty<qelLibCConvert>::value);
}

// UTF-8 ------------------------------------------------------------------------

TEST(UTF8Convert, EncodesUnderEveryNameThatGivesMultiByteText) {
  EXPECT_STREQ(qelConvUTF8.ToUTF8(kWide), kNarrow);
  EXPECT_STREQ(qelConvUTF8.cWC2MB(kWide), kNarrow);
  EXPECT_STREQ(qelConvUTF8.cWX2MB(kWide), kNarrow);
  EXPECT_STREQ(qelConvUTF8.cQEL2MB(kWide), kNarrow);
}

TEST(UTF8Convert, DecodesUnderEveryNameThatTakesNarrowText) {
  EXPECT_EQ(Units(qelConvUTF8.ToString(kNarrow)), kUnits);
  EXPECT_EQ(Units(qelConvUTF8.cMB2WC(kNarrow)), kUnits);
  EXPECT_EQ(Units(qelConvUTF8.cMB2WX(kNarrow)), kUnits);
  EXPECT_EQ(Units(qelConvUTF8.cMB2QEL(kNarrow)), kUnits);
  EXPECT_EQ(Units(qelConvUTF8.cWX2WC(kNarrow)), kUnits);
  EXPECT_EQ(Units(qelConvUTF8.cQEL2WC(kNarrow)), kUnits);
}

TEST(UTF8Convert, GivesBackItsArgumentBetweenWideForms) {
  EXPECT_EQ(qelConvUTF8.cWC2WX(kWide), kWide);
  EXPECT_EQ(qelConvUTF8.cWC2QEL(kWide), kWide);
  EXPECT_EQ(qelConvUTF8.cWX2WC(kWide), kWide);
  EXPECT_EQ(qelConvUTF8.cQEL2WC(kWide), kWide);
  const qelWChar* none = nullptr;
  EXPECT_EQ(qelConvUTF8.cWC2WX(none), nullptr);
}

TEST(UTF8Convert, HoldsNullForNullAndMalformedText) {
  EXPECT_EQ(qelConvUTF8.ToString(nullptr).data(), nullptr);
  EXPECT_EQ(qelConvUTF8.ToString("\xC0\x80").data(), nullptr);        // an overlong zero
  EXPECT_EQ(qelConvUTF8.ToString("abc\xF0\x9F\x98").data(), nullptr); // cut
  EXPECT_EQ(qelConvUTF8.cMB2QEL("\xFF").data(), nullptr);
}

TEST(UTF8Convert, GivesASurrogatePairForFourBytes) {
  const qelWCharBuffer wide = qelConvUTF8.ToString("\xF0\x9F\x98\x80");
  EXPECT_EQ(wide[0], 0xD83D);
  EXPECT_EQ(wide[1], 0xDE00);
  EXPECT_EQ(wide[2], 0);
}

TEST(UTF8Convert, RepeatsACharacterForALoneSurrogateAndStaysValid) {
  const qelWChar behind[] = {'a', 0xD800, 'z', 0};
  EXPECT_STREQ(qelConvUTF8.ToUTF8(behind), "aaz");
  const qelWChar ahead[] = {0xD800, 'z', 0};
  const qelCharBuffer narrow = qelConvUTF8.ToUTF8(ahead);
  EXPECT_EQ(narrow[0], '\0'); // the initial code point
  EXPECT_EQ(narrow[1], 'z');
  EXPECT_EQ(narrow[2], '\0');
}

TEST(UTF8Convert, GivesEmptyTextForEmptyText) {
  EXPECT_STREQ(qelConvUTF8.ToUTF8(QEL_W("")), "");
  EXPECT_EQ(Units(qelConvUTF8.ToString("")), u"");
}

// The C library's locale -------------------------------------------------------

TEST(LibCConvert, ConvertsPlainTextUnderEveryName) {
  EXPECT_EQ(Units(qelConvLibC.cMB2QEL("abc")), u"abc");
  EXPECT_EQ(Units(qelConvLibC.cMB2WC("abc")), u"abc");
  EXPECT_EQ(Units(qelConvLibC.cMB2WX("abc")), u"abc");
  EXPECT_STREQ(qelConvLibC.cQEL2MB(QEL_W("abc")), "abc");
  EXPECT_STREQ(qelConvLibC.cWX2MB(QEL_W("abc")), "abc");
}

TEST(LibCConvert, GivesTwoZeroUnitsForNull) {
  const qelWCharBuffer wide = qelConvLibC.cMB2QEL(nullptr);
  ASSERT_NE(wide.data(), nullptr);
  EXPECT_EQ(wide[0], 0);
  EXPECT_EQ(wide[1], 0);
  const qelCharBuffer narrow = qelConvLibC.cQEL2MB(nullptr);
  ASSERT_NE(narrow.data(), nullptr);
  EXPECT_EQ(narrow[0], 0);
  EXPECT_EQ(narrow[1], 0);
}

TEST(LibCConvert, GivesTheEmptyTextForTheEmptyText) {
  EXPECT_EQ(Units(qelConvLibC.cMB2QEL("")), u"");
  EXPECT_STREQ(qelConvLibC.cQEL2MB(QEL_W("")), "");
}

TEST(LibCConvert, HasAUnitToSpareBehindTheText) {
  EXPECT_EQ(qelConvLibC.cMB2QEL("abc")[4], 0);
  EXPECT_EQ(qelConvLibC.cQEL2MB(QEL_W("abc"))[4], '\0');
}

TEST(LibCConvert, GivesTwoZeroUnitsForWhatTheLocaleCantConvert) {
  const qelWChar euro[] = {'a', 0x20AC, 0};
  const qelCharBuffer narrow = qelConvLibC.cQEL2MB(euro); // the "C" locale
  ASSERT_NE(narrow.data(), nullptr);
  EXPECT_EQ(narrow[0], 0);
  EXPECT_EQ(narrow[1], 0);
}

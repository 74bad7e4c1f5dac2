// The C library's locale with multi-byte text, which only this system has by name.

#include <qel/core/Convert.h>

#include <clocale>
#include <string>

#include <gtest/gtest.h>

namespace {
class LibCConvertInUTF8 : public testing::Test {
protected:
  void SetUp() override { ASSERT_NE(setlocale(LC_ALL, "C.UTF-8"), nullptr); }
  void TearDown() override { setlocale(LC_ALL, "C"); }
};
} // namespace

TEST_F(LibCConvertInUTF8, JoinsAndSplitsSurrogatePairs) {
  const char narrow[] = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80z";
  const std::u16string wide = u"a\u00E4\u20AC\U0001F600z";
  EXPECT_EQ(std::u16string(qelConvLibC.cMB2QEL(narrow).data()), wide);
  EXPECT_STREQ(qelConvLibC.cQEL2MB(wide.c_str()), narrow);
}

TEST_F(LibCConvertInUTF8, GivesTwoZeroUnitsForMalformedText) {
  const qelWCharBuffer wide = qelConvLibC.cMB2QEL("a\xFF");
  ASSERT_NE(wide.data(), nullptr);
  EXPECT_EQ(wide[0], 0);
  EXPECT_EQ(wide[1], 0);
}

TEST_F(LibCConvertInUTF8, GivesTwoZeroUnitsForALoneSurrogate) {
  for (const std::u16string& text :
       {std::u16string(u"a\xD83D"), std::u16string(u"a\xD83Dz"), std::u16string(u"\xDE00\xDE00")}) {
    const qelCharBuffer narrow = qelConvLibC.cQEL2MB(text.c_str());
    EXPECT_EQ(narrow[0], 0);
    EXPECT_EQ(narrow[1], 0);
  }
}

TEST_F(LibCConvertInUTF8, ReadsTheLocaleAtEachCall) {
  EXPECT_EQ(std::u16string(qelConvLibC.cMB2QEL("\xC3\xA4").data()), u"\u00E4");
  setlocale(LC_ALL, "C");
  EXPECT_NE(std::u16string(qelConvLibC.cMB2QEL("\xC3\xA4").data()), u"\u00E4");
}

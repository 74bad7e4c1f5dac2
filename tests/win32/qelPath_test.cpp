//===----------------------------------------------------------------------===//
// What of the path layer only this system has: volumes, network names, prefixes
// for long paths.
//===----------------------------------------------------------------------===//

#include <qel/multiplatform/qelPath.h>

#include <string>

#include <gtest/gtest.h>

#include <tests/support/LogCapture.h>
#include <tests/support/PathText.h>

namespace {

const int kNone = 0;
const int kNative = qelPathFlagNative;
const int kLong = qelPathFlagLongPath;
const int kBoth = qelPathFlagNative | qelPathFlagLongPath;

std::string Normalized(const char* text, int flags, bool strip = false) {
  return Taken(qelPath_Normalize(text, strip ? 1 : 0, flags, nullptr));
}

TEST(QelPathIsAbsolute, FollowsTheRulesOfDriveLetters) {
  const struct {
    const char* text;
    int isAbsolute;
  } rows[] = {
      {"C:", 1},      {"C:/", 1}, {"c:x", 1},         {"::", 1},     {"\\\\", 1},
      {"\\\\srv", 1}, {"/:", 1},  {"1:", 1},          {".:", 0},     {".\\\\", 0},
      {"/x", 0},      {"//x", 0}, {"//srv/share", 0}, {"\\x", 0},    {"\\", 0},
      {"/", 0},       {"x", 0},   {"ab:", 0},         {"\\/srv", 0},
  };
  for (const auto& row : rows)
    EXPECT_EQ(qelPath_IsAbsolute(row.text), row.isAbsolute) << row.text;
}

TEST(QelPathNormalize, GivesEachFormItsSeparatorsAndPrefix) {
  const struct {
    const char* text;
    int flags;
    const char* expected;
  } rows[] = {
      {"C:\\a/b\\c", kNone, "C:/a/b/c"},
      {"C:\\a/b\\c", kNative, "C:\\a\\b\\c"},
      {"C:\\a/b\\c", kLong, "\\\\?\\C:/a/b/c"},
      {"C:\\a/b\\c", kBoth, "\\\\?\\C:\\a\\b\\c"},
      {"\\\\srv\\share/x", kNone, "\\\\srv/share/x"},
      {"\\\\srv\\share/x", kNative, "\\\\srv\\share\\x"},
      {"\\\\srv\\share/x", kLong, "\\\\?\\UNC\\srv/share/x"},
      {"\\\\srv\\share/x", kBoth, "\\\\?\\UNC\\srv\\share\\x"},
      {"\\\\?\\C:\\a/b", kNative, "\\\\?\\C:\\a\\b"},
      {"\\\\?\\C:\\a/b", kBoth, "\\\\?\\C:\\a\\b"},
      {"\\\\?\\UNC\\srv/x", kBoth, "\\\\?\\UNC\\srv\\x"},
      {"\\\\", kNone, "\\\\"},
      {"\\\\", kNative, "\\\\"},
      {"\\\\", kBoth, "\\\\?\\UNC\\"},
      {"\\\\?", kNone, "\\\\?"},
      {"", kNone, ""},
      {"", kBoth, "\\\\?\\"},
      {"C:/\xC3\xA9\\x", kNative, "C:\\\xC3\xA9\\x"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(Normalized(row.text, row.flags), row.expected) << row.text << " " << row.flags;
}

TEST(QelPathNormalize, ConvertsAPrefixThatCameIn) {
  EXPECT_EQ(Normalized("\\\\?\\C:\\a", kNone), "//?/C:/a");
  EXPECT_EQ(Normalized("\\\\?\\C:\\a", kLong), "//?/C:/a");
}

TEST(QelPathNormalize, KeepsTheSeparatorOfAVolumeWithoutAPrefix) {
  EXPECT_EQ(Normalized("C:/", kNone, /*strip=*/true), "C:/");
  EXPECT_EQ(Normalized("C:/", kNative, /*strip=*/true), "C:\\");
  EXPECT_EQ(Normalized("C:\\\\/", kNative, /*strip=*/true), "C:\\");
  EXPECT_EQ(Normalized("C:/a/", kNative, /*strip=*/true), "C:\\a");
  EXPECT_EQ(Normalized("\\\\srv\\x\\", kNone, /*strip=*/true), "\\\\srv/x");
  // With a prefix the text is longer, and the separator goes like any other.
  EXPECT_EQ(Normalized("C:/", kBoth, /*strip=*/true), "\\\\?\\C:");
}

TEST(QelPathNormalize, AnchorsATextWithALeadingSlashToo) {
  EXPECT_EQ(Taken(qelPath_Normalize("/x", 0, kNone, "C:/a/")), "C:/a//x");
  EXPECT_EQ(Taken(qelPath_Normalize("\\x", 0, kNone, "C:/a/")), "C:/a//x");
  EXPECT_EQ(Taken(qelPath_Normalize("x", 0, kNone, "\\\\srv\\a\\")), "\\\\srv/a/x");
}

TEST(QelPathGetApplicationName, ComesWithItsEnding) {
  EXPECT_EQ(Taken(qelPath_GetApplicationName(0)), "win32_qelPath_test.exe");
  EXPECT_EQ(Taken(qelPath_GetApplicationName(1)), "win32_qelPath_test");
}

TEST(QelPathGetDriveKind, LooksAtTheDriveLetterAlone) {
  const int kind = qelPath_GetDriveKind("C:/");
  EXPECT_NE(kind, 0);
  EXPECT_EQ(qelPath_GetDriveKind("c:\\no\\such\\place"), kind);
  EXPECT_EQ(qelPath_GetDriveKind("C:"), kind);
}

TEST(QelPathGetDriveKind, IsUnknownWithoutADrive) {
  EXPECT_EQ(qelPath_GetDriveKind("\\\\srv\\share"), 0);
  EXPECT_EQ(qelPath_GetDriveKind("?:/"), 0);
}

} // namespace

#include <qel/multiplatform/qelPath.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <companions/toolslog/qelixToolsLog.h>
#include <qel/core/qelMem.h>
#include <qel/multiplatform/qelPlatform.h>
#include <tests/support/LogCapture.h>
#include <tests/support/PathText.h>
#include <tests/support/TempDir.h>

using testing::AnyOf;
using testing::Eq;
using testing::HasSubstr;

namespace {

std::string Normalized(const std::string& text, const char* anchor, bool strip = false) {
  return Taken(qelPath_Normalize(text.c_str(), strip ? 1 : 0, 0, anchor));
}

std::string Expanded(const std::string& text) {
  return Taken(qelPath_ExpandSpecialFolders(text.c_str()));
}

std::string Folder(int number) {
  return Taken(qelPath_GetSpecialFolder(number));
}

bool IsDirectory(const std::string& path) {
  return std::filesystem::is_directory(TempDir::Native(path));
}

// Absolute texts ---------------------------------------------------------------

TEST(QelPathIsAbsolute, SaysNoForNullAndYesForTheEmptyText) {
  EXPECT_EQ(qelPath_IsAbsolute(nullptr), 0);
  EXPECT_EQ(qelPath_IsAbsolute(""), 1);
}

TEST(QelPathIsAbsolute, SaysNoForTextsWithoutARoot) {
  for (const char* text :
       {".", "..", "./a", ".\\a", "../a", "a", "a/b", "a\\b", " /a", "<MyMusic>"})
    EXPECT_EQ(qelPath_IsAbsolute(text), 0) << text;
}

TEST(QelPathIsAbsolute, SaysYesForARootedText) {
  EXPECT_EQ(qelPath_IsAbsolute((Volume() + "/").c_str()), 1);
  EXPECT_EQ(qelPath_IsAbsolute((Volume() + "/a/b").c_str()), 1);
  EXPECT_EQ(qelPath_IsAbsolute((Volume() + "\\a").c_str()), 1);
}

// Special folders --------------------------------------------------------------

TEST(QelPathExpandSpecialFolders, GivesNullForNull) {
  EXPECT_EQ(qelPath_ExpandSpecialFolders(nullptr), nullptr);
}

TEST(QelPathExpandSpecialFolders, LeavesTextWithoutAnOpeningBracketAlone) {
  for (const char* text : {"", "a/b", ">", "a>b>", "C:\\x", "./"})
    EXPECT_EQ(Expanded(text), text);
}

TEST(QelPathExpandSpecialFolders, KnowsEachName) {
  const struct {
    const char* name;
    int folder;
  } rows[] = {
      {"MyAppData", 0x1A},      {"MyMusic", 0x0D},       {"MyPictures", 0x27},
      {"MyVideos", 0x0E},       {"AllUsersMusic", 0x35}, {"AllUsersPictures", 0x36},
      {"AllUsersVideos", 0x37},
  };
  for (const auto& row : rows) {
    EXPECT_NE(Folder(row.folder), "(null)") << row.name;
    EXPECT_EQ(Expanded(std::string("<") + row.name + ">"), Folder(row.folder)) << row.name;
  }
}

TEST(QelPathExpandSpecialFolders, TakesTheFirstRowThatAShortNameBegins) {
  const struct {
    const char* name;
    const char* meant;
  } rows[] = {
      {"M", "MyAppData"},
      {"My", "MyAppData"},
      {"MyA", "MyAppData"},
      {"MyM", "MyMusic"},
      {"MyMusi", "MyMusic"},
      {"MyP", "MyPictures"},
      {"MyV", "MyVideos"},
      {"A", "AllUsersMusic"},
      {"All", "AllUsersMusic"},
      {"AllUsers", "AllUsersMusic"},
      {"AllUsersP", "AllUsersPictures"},
      {"AllUsersV", "AllUsersVideos"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(Expanded(std::string("<") + row.name + ">"),
              Expanded(std::string("<") + row.meant + ">"))
        << row.name;
}

TEST(QelPathExpandSpecialFolders, KeepsWhatStandsAround) {
  const std::string music = Folder(qelPathFolderMusic);
  const std::string videos = Folder(qelPathFolderVideos);
  EXPECT_EQ(Expanded("<MyMusic>/x"), music + "/x");
  EXPECT_EQ(Expanded("a<MyMusic>b<MyVideos>c"), "a" + music + "b" + videos + "c");
  EXPECT_EQ(Expanded("<MyMusic><MyMusic>"), music + music);
  EXPECT_EQ(Expanded("x><MyMusic>>"), "x>" + music + ">");
}

TEST(QelPathExpandSpecialFolders, FailsWithoutALogLine) {
  LogCapture log;
  for (const char* text :
       {"<Nope>", "<>", "<>x>", "<", "a<b", "<MyMusic", "<mymusic>", "<MyMusicX>", "< MyMusic>",
        "<MyMusic>/<", "<MyMusic><>", "<<MyMusic>>", "<MyMusic>/<Nope>"})
    EXPECT_EQ(Expanded(text), "(null)") << text;
  EXPECT_EQ(log.All(), "");
}

// Normalisation ----------------------------------------------------------------

TEST(QelPathNormalize, GivesNullForNull) {
  LogCapture log;
  EXPECT_EQ(qelPath_Normalize(nullptr, 0, 0, nullptr), nullptr);
  EXPECT_EQ(qelPath_Normalize(nullptr, 1, qelPathFlagNative, "/a/"), nullptr);
  EXPECT_EQ(log.All(), "");
}

TEST(QelPathNormalize, JoinsARelativeTextToItsAnchorByConcatenation) {
  const std::string anchor = Volume() + "/an/chor/";
  const struct {
    const char* text;
    const char* tail;
  } rows[] = {
      {"x.txt", "x.txt"}, {"a/b", "a/b"}, {"a\\b", "a/b"},
      {".", ""},          {"./", ""},     {".\\", ""},
      {"./a", "a"},       {".\\a", "a"},  {"././a", "./a"},
      {".//a", "/a"},     {"..", ".."},   {"../a", "../a"},
      {"..\\a", "../a"},  {"...", "..."}, {".a", ".a"},
      {"./.", "."},       {"./..", ".."}, {"a/./b/..", "a/./b/.."},
      {" ", " "},         {"a/", "a/"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(Normalized(row.text, anchor.c_str()), anchor + row.tail) << row.text;
}

TEST(QelPathNormalize, AddsNoSeparatorToAnAnchor) {
  const std::string anchor = Volume() + "/a/file";
  EXPECT_EQ(Normalized("b", anchor.c_str()), anchor + "b");
  EXPECT_EQ(Normalized("./b", anchor.c_str()), anchor + "b");
}

TEST(QelPathNormalize, LeavesTheTextRelativeToAnEmptyAnchor) {
  EXPECT_EQ(Normalized("a\\b", ""), "a/b");
  EXPECT_EQ(Normalized("./a", ""), "a");
  EXPECT_EQ(Normalized(".", ""), "");
}

TEST(QelPathNormalize, AnchorsOnTheProgramsDirectoryWithoutAnAnchor) {
  EXPECT_EQ(Normalized("x.txt", nullptr), ProgramDirectory() + "x.txt");
  EXPECT_EQ(Normalized(".", nullptr), ProgramDirectory());
  EXPECT_EQ(Normalized("..\\x", nullptr), ProgramDirectory() + "../x");
}

TEST(QelPathNormalize, IgnoresTheAnchorOfAnAbsoluteText) {
  EXPECT_EQ(Normalized(Volume() + "\\a\\b", "x/"), Volume() + "/a/b");
  EXPECT_EQ(Normalized("", "x/"), "");
}

TEST(QelPathNormalize, ExpandsSpecialFoldersFirst) {
  EXPECT_EQ(Normalized("<MyMusic>\\x", "anchor/"), Folder(qelPathFolderMusic) + "/x");
  EXPECT_EQ(Normalized("<Nope>/x", "anchor/"), "(null)");
  EXPECT_EQ(Normalized("<>/x", nullptr), "(null)");
}

TEST(QelPathNormalize, StripsTrailingSeparatorsOnlyWhenAsked) {
  const std::string v = Volume();
  const struct {
    std::string text;
    std::string stripped;
  } rows[] = {
      {v + "/a", v + "/a"},
      {v + "/a/", v + "/a"},
      {v + "/a\\", v + "/a"},
      {v + "/a/\\//", v + "/a"},
      {v + "/a/b//", v + "/a/b"},
      {"", ""},
      {v + "/", v.empty() ? "/" : "C:/"},
      {v + "///", v.empty() ? "/" : "C:/"},
      {v + "/a /", v + "/a "},
      {v + "/./", v + "/."},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Normalized(row.text, nullptr, /*strip=*/true), row.stripped) << row.text;
    std::string kept = row.text;
    for (char& c : kept)
      c = c == '\\' ? '/' : c;
    EXPECT_EQ(Normalized(row.text, nullptr), kept);
  }
}

// A three-character text keeps its separator only behind a ":".
TEST(QelPathNormalize, StripsAShortTextWithoutAColon) {
  EXPECT_EQ(Normalized("ab/", "", /*strip=*/true), "ab");
  EXPECT_EQ(Normalized("a/", "", /*strip=*/true), "a");
  EXPECT_EQ(Normalized("//", "", /*strip=*/true), "/");
}

// The program -------------------------------------------------------------------

TEST(QelPathGetApplicationFileName, NamesTheRunningProgram) {
  const std::string name = Taken(qelPath_GetApplicationFileName());
  EXPECT_EQ(name.find('\\'), std::string::npos);
  EXPECT_THAT(name, HasSubstr("/multiplatform_qelPath_test"));
  EXPECT_TRUE(std::filesystem::is_regular_file(TempDir::Native(name)));
}

TEST(QelPathGetApplicationDirectory, EndsBehindTheLastSeparator) {
  const std::string name = Taken(qelPath_GetApplicationFileName());
  EXPECT_EQ(ProgramDirectory(), name.substr(0, name.rfind('/') + 1));
}

TEST(QelPathGetApplicationName, CutsTheExtensionOnlyWhenAsked) {
  const std::string full = Taken(qelPath_GetApplicationFileName());
  const std::string name = full.substr(full.rfind('/') + 1);
  EXPECT_EQ(Taken(qelPath_GetApplicationName(0)), name);
  EXPECT_EQ(Taken(qelPath_GetApplicationName(1)), "multiplatform_qelPath_test");
}

TEST(QelPathGetCurrentDirectoryText, IsAlwaysDotSlash) {
  EXPECT_EQ(Taken(qelPath_GetCurrentDirectoryText()), "./");
}

int ownAddress = 0;

TEST(QelPathGetModuleFileName, NamesTheModuleThatHoldsAnAddress) {
  EXPECT_EQ(Taken(qelPath_GetModuleFileName(&ownAddress)), Taken(qelPath_GetApplicationFileName()));
  const std::string library =
      Taken(qelPath_GetModuleFileName(reinterpret_cast<const void*>(&qelLog_Begin)));
  EXPECT_EQ(library.find('\\'), std::string::npos);
  EXPECT_THAT(library, HasSubstr("toolslog"));
  EXPECT_TRUE(std::filesystem::is_regular_file(TempDir::Native(library))) << library;
}

TEST(QelPathGetModuleFileName, GivesNullOutsideOfAnyModule) {
  EXPECT_EQ(qelPath_GetModuleFileName(nullptr), nullptr);
  char* heap = qelMem_StrDup("x");
  EXPECT_EQ(qelPath_GetModuleFileName(heap), nullptr);
  free(heap);
}

// Folders -----------------------------------------------------------------------

TEST(QelPathGetSpecialFolder, GivesAnAbsolutePathWithSlashes) {
  for (int folder : {0x1A, 0x0D, 0x27, 0x0E, 0x35, 0x36, 0x37}) {
    const std::string path = Folder(folder);
    EXPECT_EQ(qelPath_IsAbsolute(path.c_str()), 1) << path;
    EXPECT_EQ(path.find('\\'), std::string::npos) << path;
  }
}

TEST(QelPathGetSpecialFolder, GivesNullForANumberThatNobodyKnows) {
  EXPECT_EQ(qelPath_GetSpecialFolder(-1), nullptr);
  EXPECT_EQ(qelPath_GetSpecialFolder(0x7E), nullptr);
}

TEST(QelPathGetApplicationDataDirectory, IsThereAfterwards) {
  // Where this variable has a meaning it keeps the test out of the user's own folders.
  TempDir dir;
  qelPlatform_SetEnvironment("XDG_DATA_HOME", dir.Path("data").c_str());
  const std::string path = Taken(qelPath_GetApplicationDataDirectory());
  EXPECT_EQ(path, Folder(qelPathFolderAppData));
  EXPECT_TRUE(IsDirectory(path)) << path;
}

TEST(QelPathGetFontsDirectory, IsADirectoryIfThereIsOne) {
  const std::string path = Taken(qelPath_GetFontsDirectory());
  EXPECT_TRUE(path == "(null)" || IsDirectory(path)) << path;
}

// Text --------------------------------------------------------------------------

TEST(QelPathReplaceRange, PutsTheMiddleBetweenHeadAndSuffix) {
  const struct {
    const char* prefix;
    size_t length;
    const char* middle;
    const char* suffix;
    const char* expected;
  } rows[] = {
      {"abcdef", 3, "-", "xyz", "abc-xyz"},
      {"abcdef", 0, "-", "", "-"},
      {"abcdef", 6, "", "", "abcdef"},
      {"", 0, "", "", ""},
      {"", 0, "m", "s", "ms"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(
        Taken(qelPath_ReplaceRange(qelMem_StrDup(row.prefix), row.length, row.middle, row.suffix)),
        row.expected);
}

TEST(QelPathReplaceRange, MayTakeItsSuffixFromThePrefix) {
  char* text = qelMem_StrDup("a<b>c");
  EXPECT_EQ(Taken(qelPath_ReplaceRange(text, 1, "XYZ", text + 4)), "aXYZc");
}

// Drives ------------------------------------------------------------------------

TEST(QelPathGetDriveKind, IsUnknownForNoPath) {
  EXPECT_EQ(qelPath_GetDriveKind(nullptr), 0);
  EXPECT_EQ(qelPath_GetDriveKind(""), 0);
  EXPECT_EQ(qelPath_GetDriveKind("<Nope>"), 0);
}

TEST(QelPathGetDriveKind, IsKnownForThePlaceOfTheProgram) {
  const int kind = qelPath_GetDriveKind(ProgramDirectory().c_str());
  if (kind == 0)
    GTEST_SKIP() << "the system names no mount for this place, as in a changed root";
  EXPECT_THAT(kind, AnyOf(Eq(1), Eq(2), Eq(3)));
  // A relative text lies beside the program, and need not exist.
  EXPECT_EQ(qelPath_GetDriveKind("no/such/file"), kind);
  EXPECT_EQ(qelPath_GetDriveKind("."), kind);
}

} // namespace

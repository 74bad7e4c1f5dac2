#include <qel/files/PathName.h>

#include <algorithm>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <qel/multiplatform/qelPath.h>
#include <qel/multiplatform/qelPlatform.h>
#include <tests/support/PathText.h>
#include <tests/support/TempDir.h>

namespace {

// All that an object is made of: "kind|path|name|extension".
std::string Parts(const qelPathName& path) {
  return std::to_string(path.GetKind()) + "|" + Text(path.GetPath()) + "|" +
         Text(path.GetFileName()) + "|" + Text(path.GetExtension());
}

const char kInvalid[] = "0|||";

std::string Dir(const std::string& path) {
  return "2|" + path + "||";
}

std::string File(const std::string& path, const std::string& name, const std::string& extension) {
  return "1|" + path + "|" + name + "|" + extension;
}

// "C:" or nothing: the tests below hold on every system.
const std::string v = Volume();

qelPathName MakeFile(const std::string& path) {
  return qelPathName::MakeFilePath(path.c_str());
}

qelPathName MakeDir(const std::string& path) {
  return qelPathName::MakeDirPath(path.c_str());
}

// Construction -----------------------------------------------------------------

TEST(QelPathName, IsInvalidByDefault) {
  const qelPathName path;
  EXPECT_EQ(Parts(path), kInvalid);
  EXPECT_FALSE(path.IsValid());
  EXPECT_FALSE(path.IsDirPath());
  EXPECT_FALSE(path.IsFilePath());
  EXPECT_EQ(path.GetKind(), qelPathKindInvalid);
  EXPECT_STREQ(path.c_str(), "");
}

TEST(QelPathName, HasNoVirtualOperation) {
  EXPECT_FALSE(std::is_polymorphic<qelPathName>::value);
}

TEST(QelPathNameMakeFilePath, CutsOneText) {
  const struct {
    std::string text;
    std::string parts;
  } rows[] = {
      {v + "\\a\\b.tar.gz", File(v + "/a/", "b.tar", "gz")},
      {v + "/a/b", File(v + "/a/", "b", "")},
      {v + "/b.txt", File(v + "/", "b", "txt")},
      {v + "/a/.ini", File(v + "/a/", "", "ini")},
      {v + "/a.d/b", File(v + "/a.d/", "b", "")},
      {v + "//a//b.c", File(v + "//a//", "b", "c")},
      {v + "/a/./../b.c", File(v + "/a/./../", "b", "c")},
      {v + "/a/ b .c ", File(v + "/a/", " b ", "c ")},
      {v + "/a/b.", File(v + "/a/", "b", "")},
      {v + "/a/..", File(v + "/a/", ".", "")},
      {v + "/\xC3\xA9/\xC3\xBC.\xC3\xB1", File(v + "/\xC3\xA9/", "\xC3\xBC", "\xC3\xB1")},
      // The text ends in a separator, or its name is nothing but a dot.
      {v + "\\a\\", kInvalid},
      {v + "/", kInvalid},
      {v + "/a/.", kInvalid},
      {"", kInvalid},
      {".", kInvalid},
      {"<Nope>/x", kInvalid},
      {"<>/x", kInvalid},
      {"a<b", kInvalid},
  };
  for (const auto& row : rows)
    EXPECT_EQ(Parts(MakeFile(row.text)), row.parts) << row.text;
  EXPECT_EQ(Parts(qelPathName::MakeFilePath(nullptr)), kInvalid);
}

TEST(QelPathNameMakeFilePath, LiesBesideTheProgramWhenRelative) {
  const std::string program = ProgramDirectory();
  EXPECT_EQ(Parts(MakeFile("x.txt")), File(program, "x", "txt"));
  EXPECT_EQ(Parts(MakeFile("./x.txt")), File(program, "x", "txt"));
  EXPECT_EQ(Parts(MakeFile("a\\x.txt")), File(program + "a/", "x", "txt"));
  // The dots stay.
  EXPECT_EQ(Parts(MakeFile("..\\x.txt")), File(program + "../", "x", "txt"));
}

TEST(QelPathNameMakeFilePath, JoinsADirectoryAndAFullName) {
  const struct {
    std::string dir;
    const char* name;
    std::string parts;
  } rows[] = {
      {v + "/a", "b.c", File(v + "/a/", "b", "c")},
      {v + "\\a\\", "b", File(v + "/a/", "b", "")},
      {v + "/a", "b.c.d", File(v + "/a/", "b.c", "d")},
      {v + "/a", ".ini", File(v + "/a/", "", "ini")},
      {v + "/a", "b/c", File(v + "/a/", "b/c", "")},
      {v + "/a", "b.", File(v + "/a/", "b", "")},
      {v + "/a", ".", Dir(v + "/a/")},
      {"", "b.c", kInvalid},
      {"<Nope>", "b.c", kInvalid},
  };
  for (const auto& row : rows)
    EXPECT_EQ(Parts(qelPathName::MakeFilePath(row.dir.c_str(), row.name)), row.parts) << row.name;
}

TEST(QelPathNameMakeFilePath, JoinsADirectoryANameAndAnExtension) {
  const struct {
    std::string dir;
    const char* name;
    const char* extension;
    std::string parts;
  } rows[] = {
      {v + "/a", "b", "c", File(v + "/a/", "b", "c")},
      {v + "/a", "b", "", File(v + "/a/", "b", "")},
      {v + "/a", "", "c", File(v + "/a/", "", "c")},
      {v + "/a", "b.c", "d.e", File(v + "/a/", "b.c", "d.e")},
      {v + "/a", "b", ".c", File(v + "/a/", "b", ".c")},
      {"", "b", "c", kInvalid},
      {"<>", "b", "c", kInvalid},
  };
  for (const auto& row : rows)
    EXPECT_EQ(Parts(qelPathName::MakeFilePath(row.dir.c_str(), row.name, row.extension)), row.parts)
        << row.name;
}

TEST(QelPathNameMakeFilePath, IsADirectoryForAnEmptyFullNameButInvalidForTwoEmptyParts) {
  const std::string dir = v + "/a";
  EXPECT_EQ(Parts(qelPathName::MakeFilePath(dir.c_str(), "")), Dir(v + "/a/"));
  EXPECT_EQ(Parts(qelPathName::MakeFilePath(dir.c_str(), nullptr)), Dir(v + "/a/"));
  EXPECT_EQ(Parts(qelPathName::MakeFilePath(dir.c_str(), "", "")), kInvalid);
  EXPECT_EQ(Parts(qelPathName::MakeFilePath(dir.c_str(), nullptr, nullptr)), kInvalid);
}

TEST(QelPathNameMakeDirPath, EndsInOneSeparator) {
  const struct {
    std::string text;
    std::string parts;
  } rows[] = {
      {v + "\\a\\\\", Dir(v + "/a/")},
      {v + "/a", Dir(v + "/a/")},
      {v + "/a/b.c", Dir(v + "/a/b.c/")},
      {v + "/", Dir(v + "/")},
      {v + "///", Dir(v + "/")},
      {v + "/a//b/", Dir(v + "/a//b/")},
      {v + "/a/../b", Dir(v + "/a/../b/")},
      {"", kInvalid},
      {"<Nope>/x", kInvalid},
      {"<>/x", kInvalid},
  };
  for (const auto& row : rows)
    EXPECT_EQ(Parts(MakeDir(row.text)), row.parts) << row.text;
  EXPECT_EQ(Parts(qelPathName::MakeDirPath(nullptr)), kInvalid);
}

TEST(QelPathNameMakeDirPath, LiesBesideTheProgramWhenRelative) {
  const std::string program = ProgramDirectory();
  EXPECT_EQ(Parts(MakeDir(".")), Dir(program));
  EXPECT_EQ(Parts(MakeDir("./")), Dir(program));
  EXPECT_EQ(Parts(MakeDir("x")), Dir(program + "x/"));
  EXPECT_EQ(Parts(MakeDir("..")), Dir(program + "../"));
}

TEST(QelPathNameMakeDirPath, ExpandsSpecialFolders) {
  const std::string music = Taken(qelPath_GetSpecialFolder(qelPathFolderMusic));
  EXPECT_EQ(Parts(MakeDir("<MyMusic>/x")), Dir(music + "/x/"));
  EXPECT_EQ(Parts(MakeDir("<MyMusic>")), Dir(music + "/"));
}

// Combined paths ---------------------------------------------------------------

std::string CombinedFile(const std::string& anchor, const char* rel) {
  return Parts(qelPathName::MakeCombinedFilePath(MakeDir(anchor), rel));
}

std::string CombinedDir(const std::string& anchor, const char* rel) {
  return Parts(qelPathName::MakeCombinedDirPath(MakeDir(anchor), rel));
}

TEST(QelPathNameMakeCombinedFilePath, ResolvesDots) {
  const struct {
    const char* rel;
    std::string parts;
  } rows[] = {
      {"../c.txt", File(v + "/a/", "c", "txt")},
      {"c.txt", File(v + "/a/b/", "c", "txt")},
      {"./c.txt", File(v + "/a/b/", "c", "txt")},
      {"..\\..\\c.txt", File(v + "/", "c", "txt")},
      {"x/./y/../c", File(v + "/a/b/x/", "c", "")},
      {"x//y///c", File(v + "/a/b/x/y/", "c", "")},
      {"../../../c.txt", kInvalid},
      {"x/../../../../c", kInvalid},
      {"", kInvalid},
      {".", kInvalid},
      {"x/", kInvalid},
      {"<Nope>", kInvalid},
      // File name and extension are not looked at.
      {"..", File(v + "/a/b/", ".", "")},
  };
  for (const auto& row : rows)
    EXPECT_EQ(CombinedFile(v + "/a/b", row.rel), row.parts) << row.rel;
}

TEST(QelPathNameMakeCombinedFilePath, GluesTheTextToAnAnchorThatIsAFile) {
  const qelPathName anchor = MakeFile(v + "/a/b.txt");
  EXPECT_EQ(Parts(qelPathName::MakeCombinedFilePath(anchor, "c")), File(v + "/a/", "b", "txtc"));
}

TEST(QelPathNameMakeCombinedFilePath, StaysRelativeToAnInvalidAnchor) {
  const qelPathName none;
  EXPECT_EQ(Parts(qelPathName::MakeCombinedFilePath(none, "a/c.txt")), File("a/", "c", "txt"));
  EXPECT_EQ(Parts(qelPathName::MakeCombinedFilePath(none, "a/../b/c")), kInvalid);
  EXPECT_EQ(Parts(qelPathName::MakeCombinedFilePath(none, "c.txt")), kInvalid);
  EXPECT_EQ(Parts(qelPathName::MakeCombinedDirPath(none, "a/b/..")), Dir("a/"));
}

TEST(QelPathNameMakeCombinedFilePath, TakesAnAbsoluteTextAsItIs) {
  EXPECT_EQ(CombinedFile(v + "/a/b", (v + "/x/../y/c").c_str()), File(v + "/y/", "c", ""));
}

TEST(QelPathNameMakeCombinedDirPath, ResolvesDots) {
  const struct {
    const char* rel;
    std::string parts;
  } rows[] = {
      {"..", Dir(v + "/a/")},      {"../", Dir(v + "/a/")},       {".", Dir(v + "/a/b/")},
      {"./.", Dir(v + "/a/b/")},   {"c", Dir(v + "/a/b/c/")},     {"../..", Dir(v + "/")},
      {"c/..", Dir(v + "/a/b/")},  {"...", Dir(v + "/a/b/.../")}, {"..c", Dir(v + "/a/b/..c/")},
      {".c", Dir(v + "/a/b/.c/")}, {"../../..", kInvalid},        {"", kInvalid},
  };
  for (const auto& row : rows)
    EXPECT_EQ(CombinedDir(v + "/a/b", row.rel), row.parts) << row.rel;
}

// What the dot removal is to give: the parts, dots resolved; "" for a path that would be left.
std::string SimplifiedByModel(const std::string& text) {
  const bool isRooted = text[0] == '/';
  std::vector<std::string> kept;
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find('/', at), text.size());
    const std::string part = text.substr(at, end - at);
    at = end + 1;
    if (part == "..") {
      if (kept.empty() || (kept.size() == 1 && !isRooted))
        return "";
      kept.pop_back();
    } else if (!part.empty() && part != ".") {
      kept.push_back(part);
    }
  }
  std::string result = isRooted || kept.empty() ? "/" : "";
  for (const std::string& part : kept)
    result += part + "/";
  return result;
}

// Through an invalid anchor any text reaches the dot removal as it stands.
std::string Simplified(const std::string& text) {
  const qelPathName path = qelPathName::MakeCombinedDirPath(qelPathName(), text.c_str());
  EXPECT_EQ(path.IsValid(), !path.GetPath().IsEmpty());
  return Text(path.GetPath());
}

TEST(QelPathNameSimplifyPath, ResolvesDotsWithinAVolumeAndBelowARoot) {
  const struct {
    const char* text;
    const char* expected;
  } rows[] = {
      {"C:/a/../b", "C:/b/"},
      {"C:/a/..", "C:/"},
      {"C:/..", ""},
      {"C:/a/../..", ""},
      {"C:/", "C:/"},
      {"C:/./.", "C:/"},
      {"C://a", "C:/a/"},
      {"C:/.../a", "C:/.../a/"},
      {"C:/a./b..", "C:/a./b../"},
      {"/a/../b", "/b/"},
      {"/a/..", "/"},
      {"/a/../..", ""},
      {"/..", ""},
      {"/", "/"},
      {"/.", "/"},
      {"///a///b///", "/a/b/"},
      {"a", "a/"},
      {"a/b/..", "a/"},
      {"a/..", ""},
      {"..", ""},
      {"..a/b", "..a/b/"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Simplified(row.text), row.expected) << row.text;
    EXPECT_EQ(SimplifiedByModel(row.text), row.expected) << row.text;
  }
}

TEST(QelPathNameSimplifyPath, AgreesWithAModelOnRandomTexts) {
  const char* const pieces[] = {"/", "/", "/", ".", "..", "a", "bc", "C:", "...", "/../", "/./"};
  std::mt19937 random(20240611);
  size_t valid = 0;
  for (int round = 0; round < 60000; ++round) {
    // The leading piece keeps ahead of what normalisation does to a text.
    std::string text = random() % 2 == 0 ? "/" : "d";
    for (size_t count = random() % 12; count > 0; --count)
      text += pieces[random() % (sizeof pieces / sizeof pieces[0])];
    // A volume's ":" would not make a text absolute here: it never stands second.
    const std::string expected = SimplifiedByModel(text);
    ASSERT_EQ(Simplified(text), expected) << text;
    valid += expected.empty() ? 0 : 1;
  }
  EXPECT_GT(valid, 10000u);
}

// Reading ----------------------------------------------------------------------

TEST(QelPathNameGetFullPath, IsWhatThePartsMake) {
  const qelPathName file = MakeFile(v + "/a/b.tar.gz");
  EXPECT_EQ(Text(file.GetFullName()), "b.tar.gz");
  EXPECT_EQ(Text(file.GetFullPath()), v + "/a/b.tar.gz");
  EXPECT_STREQ(file.c_str(), (v + "/a/b.tar.gz").c_str());
  EXPECT_STREQ(static_cast<const char*>(file), file.c_str());
  EXPECT_EQ(Text(MakeFile(v + "/a/.ini").GetFullName()), ".ini");
  EXPECT_EQ(Text(MakeFile(v + "/a/b").GetFullName()), "b");
  const qelPathName dir = MakeDir(v + "/a");
  EXPECT_EQ(Text(dir.GetFullName()), "");
  EXPECT_EQ(Text(dir.GetFullPath()), v + "/a/");
  EXPECT_EQ(Text(qelPathName().GetFullPath()), "");
}

TEST(QelPathNameCStr, FollowsEveryChange) {
  qelPathName path = MakeFile(v + "/a/b.c");
  EXPECT_STREQ(path.c_str(), (v + "/a/b.c").c_str());
  path.SetFileName("d");
  EXPECT_STREQ(path.c_str(), (v + "/a/d.c").c_str());
  path.Reset();
  EXPECT_STREQ(path.c_str(), "");
}

TEST(QelPathNameAssignment, LeavesTheTargetsTextAsItWas) {
  qelPathName target = MakeFile(v + "/a/b.c");
  const char* text = target.c_str();
  const qelPathName source = MakeDir(v + "/x");
  target = source;
  EXPECT_STREQ(text, (v + "/a/b.c").c_str());
  EXPECT_EQ(Parts(target), Parts(source));
  EXPECT_STREQ(target.c_str(), (v + "/x/").c_str());
}

TEST(QelPathNameAssignment, SurvivesItself) {
  qelPathName path = MakeFile(v + "/a/b.c");
  const qelPathName& self = path;
  path = self;
  EXPECT_EQ(Parts(path), File(v + "/a/", "b", "c"));
}

TEST(QelPathNameCopy, IsIndependentOfItsSource) {
  qelPathName source = MakeFile(v + "/a/b.c");
  qelPathName copy(source);
  source.Reset();
  EXPECT_EQ(Parts(copy), File(v + "/a/", "b", "c"));
  EXPECT_STREQ(copy.c_str(), (v + "/a/b.c").c_str());
}

TEST(QelPathNameGetPathPart, CountsFromTheVolume) {
  const qelPathName path = MakeFile(v + "/a/b/c.d");
  EXPECT_EQ(path.GetPathCount(), 3u);
  EXPECT_EQ(Text(path.GetPathPart(0)), v);
  EXPECT_EQ(Text(path.GetPathPart(1)), "a");
  EXPECT_EQ(Text(path.GetPathPart(2)), "b");
  EXPECT_EQ(Text(path.GetPathPart(3)), "");
  EXPECT_EQ(Text(path.GetPathPart(99)), "");
  EXPECT_EQ(Text(path.GetPathPart(static_cast<size_t>(-1))), "");
  EXPECT_EQ(Text(path.GetDirName()), "b");
}

TEST(QelPathNameGetPathPart, IsEmptyOnAnInvalidPathAndBetweenTwoSeparators) {
  EXPECT_EQ(qelPathName().GetPathCount(), 0u);
  EXPECT_EQ(Text(qelPathName().GetPathPart(0)), "");
  EXPECT_EQ(Text(qelPathName().GetPathPart(99)), "");
  EXPECT_EQ(Text(qelPathName().GetDirName()), "");
  const qelPathName path = MakeDir(v + "/a//b");
  EXPECT_EQ(path.GetPathCount(), 4u);
  EXPECT_EQ(Text(path.GetPathPart(2)), "");
  EXPECT_EQ(Text(path.GetPathPart(3)), "b");
}

TEST(QelPathNameGetDirName, IsTheVolumeAtTheTop) {
  EXPECT_EQ(Text(MakeDir(v + "/").GetDirName()), v);
  EXPECT_EQ(Text(MakeDir(v + "/a").GetDirName()), "a");
}

TEST(QelPathNameGetVolume, EndsInASeparator) {
  EXPECT_EQ(Text(MakeFile(v + "/a/b").GetVolume()), v + "/");
  EXPECT_EQ(Text(MakeDir(v + "/").GetVolume()), v + "/");
  EXPECT_EQ(Text(qelPathName().GetVolume()), "");
}

TEST(QelPathNameGetParentPath, IsTheDirectoryThatHoldsIt) {
  EXPECT_EQ(Parts(MakeFile(v + "/a/b/x.txt").GetParentPath()), Dir(v + "/a/b/"));
  EXPECT_EQ(Parts(MakeDir(v + "/a/b/").GetParentPath()), Dir(v + "/a/"));
  EXPECT_EQ(Parts(MakeDir(v + "/a/b/../").GetParentPath()), Dir(v + "/a/b/"));
}

TEST(QelPathNameGetParentPath, IsInvalidAboveTheVolume) {
  EXPECT_EQ(Parts(MakeDir(v + "/").GetParentPath()), kInvalid);
  EXPECT_EQ(Parts(qelPathName().GetParentPath()), kInvalid);
}

TEST(QelPathNameGetParentPath, IsInvalidRightBelowARootWithoutAVolume) {
  EXPECT_EQ(Parts(MakeDir(v + "/a/").GetParentPath()), v.empty() ? kInvalid : Dir("C:/"));
  EXPECT_EQ(Parts(MakeFile(v + "/a").GetParentPath()), v.empty() ? kInvalid : Dir("C:/"));
}

// Changing ---------------------------------------------------------------------

TEST(QelPathNameAppendPathPart, AddsTheTextAsItStands) {
  const struct {
    const char* part;
    std::string path;
  } rows[] = {
      {"b", v + "/a/b/"},       {"b/", v + "/a/b/"},  {"b/c", v + "/a/b/c/"},
      {"b\\c", v + "/a/b\\c/"}, {"/b", v + "/a//b/"}, {"..", v + "/a/../"},
      {"<My>", v + "/a/<My>/"}, {"", v + "/a/"},      {"b//", v + "/a/b//"},
  };
  for (const auto& row : rows) {
    qelPathName path = MakeDir(v + "/a");
    path.AppendPathPart(row.part);
    EXPECT_EQ(Parts(path), Dir(row.path)) << row.part;
  }
  qelPathName file = MakeFile(v + "/a/x.y");
  file.AppendPathPart("b");
  file.AppendPathPart(nullptr);
  EXPECT_EQ(Parts(file), File(v + "/a/b/", "x", "y"));
}

TEST(QelPathNameAppendPathPart, SetsAnEmptyPath) {
  qelPathName path;
  path.AppendPathPart("");
  path.AppendPathPart(nullptr);
  EXPECT_EQ(Parts(path), kInvalid);
  path.AppendPathPart((v + "\\a").c_str());
  EXPECT_EQ(Parts(path), Dir(v + "/a/"));
  qelPathName relative;
  relative.AppendPathPart("x");
  EXPECT_EQ(Parts(relative), Dir(ProgramDirectory() + "x/"));
}

TEST(QelPathNameSetPath, KeepsTheNameOfAFile) {
  qelPathName path = MakeFile(v + "/a/x.y");
  path.SetPath((v + "\\b\\c").c_str());
  EXPECT_EQ(Parts(path), File(v + "/b/c/", "x", "y"));
  path.SetPath(path.GetPath().c_str());
  EXPECT_EQ(Parts(path), File(v + "/b/c/", "x", "y"));
  // A name without a directory is discarded.
  path.SetPath("");
  EXPECT_EQ(Parts(path), kInvalid);
  path.SetPath((v + "/d").c_str());
  EXPECT_EQ(Parts(path), Dir(v + "/d/"));
  path.SetPath(nullptr);
  EXPECT_EQ(Parts(path), kInvalid);
}

TEST(QelPathNameSetFileName, ChangesTheKindWithIt) {
  qelPathName path = MakeDir(v + "/a");
  path.SetFileName("b.c");
  EXPECT_EQ(Parts(path), File(v + "/a/", "b.c", ""));
  path.SetFileName("");
  EXPECT_EQ(Parts(path), Dir(v + "/a/"));
  qelPathName none;
  none.SetFileName("b");
  EXPECT_EQ(Parts(none), kInvalid);
}

TEST(QelPathNameSetExtension, KeepsAFileOnlyWhileItHasAName) {
  qelPathName path = MakeFile(v + "/a/b.c");
  path.SetExtension("");
  EXPECT_EQ(Parts(path), File(v + "/a/", "b", ""));
  path.SetExtension("d");
  EXPECT_EQ(Parts(path), File(v + "/a/", "b", "d"));
  qelPathName hidden = MakeFile(v + "/a/.ini");
  hidden.SetExtension("");
  EXPECT_EQ(Parts(hidden), Dir(v + "/a/"));
  qelPathName none;
  none.SetExtension("d");
  EXPECT_EQ(Parts(none), kInvalid);
}

TEST(QelPathNameSetFullName, CutsAtTheLastDot) {
  const struct {
    const char* text;
    std::string parts;
  } rows[] = {
      {"x.y.z", File(v + "/a/", "x.y", "z")},
      {"x", File(v + "/a/", "x", "")},
      {".x", File(v + "/a/", "", "x")},
      {"x.", File(v + "/a/", "x", "")},
      {"..", File(v + "/a/", ".", "")},
      {"", Dir(v + "/a/")},
      {".", Dir(v + "/a/")},
  };
  for (const auto& row : rows) {
    qelPathName path = MakeFile(v + "/a/b.c");
    path.SetFullName(row.text);
    EXPECT_EQ(Parts(path), row.parts) << row.text;
  }
}

TEST(QelPathNameToDirPath, DropsTheName) {
  qelPathName path = MakeFile(v + "/a/b.c");
  path.ToDirPath();
  EXPECT_EQ(Parts(path), Dir(v + "/a/"));
  qelPathName none;
  none.ToDirPath();
  EXPECT_EQ(Parts(none), kInvalid);
}

TEST(QelPathNameReset, EmptiesEverything) {
  qelPathName path = MakeFile(v + "/a/b.c");
  path.Reset();
  EXPECT_EQ(Parts(path), kInvalid);
}

// The file system --------------------------------------------------------------

TEST(QelPathNameExists, AsksForItsOwnKindOnly) {
  TempDir dir;
  const std::string file = dir.Write("f.x");
  const std::string sub = dir.MakeDir("d");
  EXPECT_TRUE(MakeFile(file).FileExists());
  EXPECT_FALSE(MakeFile(file).DirExists());
  EXPECT_TRUE(MakeDir(sub).DirExists());
  EXPECT_FALSE(MakeDir(sub).FileExists());
  EXPECT_FALSE(MakeDir(file).DirExists());
  EXPECT_FALSE(MakeFile(sub).FileExists());
  EXPECT_FALSE(MakeFile(dir.Path("none")).FileExists());
  EXPECT_FALSE(MakeDir(dir.Path("none")).DirExists());
  EXPECT_FALSE(qelPathName().FileExists());
  EXPECT_FALSE(qelPathName().DirExists());
}

TEST(QelPathNameExists, TakesTexts) {
  TempDir dir;
  const std::string file = dir.Write("f.x");
  EXPECT_TRUE(qelPathName::FileExists(qelCString(file.c_str())));
  EXPECT_FALSE(qelPathName::FileExists(qelCString(dir.Path().c_str())));
  EXPECT_TRUE(qelPathName::DirExists(qelCString(dir.Path().c_str())));
  EXPECT_FALSE(qelPathName::DirExists(qelCString(file.c_str())));
  EXPECT_FALSE(qelPathName::DirExists(qelCString()));
  EXPECT_FALSE(qelPathName::FileExists(qelCString()));
}

TEST(QelPathNameMakeExistingPath, HasTheKindOfWhatIsThere) {
  TempDir dir;
  const std::string file = dir.Write("f.x");
  EXPECT_EQ(Parts(qelPathName::MakeExistingPath(qelCString(file.c_str()))),
            File(dir.Path() + "/", "f", "x"));
  EXPECT_EQ(Parts(qelPathName::MakeExistingPath(qelCString(dir.Path().c_str()))),
            Dir(dir.Path() + "/"));
  EXPECT_EQ(Parts(qelPathName::MakeExistingPath(qelCString(dir.Path("none").c_str()))), kInvalid);
  EXPECT_EQ(Parts(qelPathName::MakeExistingPath(qelCString())), kInvalid);
}

TEST(QelPathNameMakeTempDirPath, IsTheApplicationDataDirectory) {
  // Where this variable has a meaning it keeps the test out of the user's own folders.
  TempDir dir;
  qelPlatform_SetEnvironment("XDG_DATA_HOME", dir.Path("data").c_str());
  const qelPathName path = qelPathName::MakeTempDirPath();
  EXPECT_EQ(Parts(path), Dir(Taken(qelPath_GetApplicationDataDirectory()) + "/"));
  EXPECT_TRUE(path.DirExists());
}

TEST(QelPathNameIsAbsolute, IsThatOfThePathLayer) {
  EXPECT_TRUE(qelPathName::IsAbsolute(""));
  EXPECT_FALSE(qelPathName::IsAbsolute(nullptr));
  EXPECT_FALSE(qelPathName::IsAbsolute("a"));
  EXPECT_TRUE(qelPathName::IsAbsolute((v + "/a").c_str()));
}

TEST(QelPathNameIsPathOnRemovableDrive, FollowsTheKindOfDrive) {
  EXPECT_FALSE(qelPathName::IsPathOnRemovableDrive(nullptr));
  EXPECT_FALSE(qelPathName::IsPathOnRemovableDrive(""));
  const std::string program = ProgramDirectory();
  EXPECT_EQ(qelPathName::IsPathOnRemovableDrive(program.c_str()),
            qelPath_GetDriveKind(program.c_str()) == qelPathDriveRemovable);
}

} // namespace

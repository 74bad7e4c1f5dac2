// The plain layer of directories, as far as it is the same on all systems.

#include <qel/multiplatform/qelDir.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/multiplatform/qelTime.h>
#include <tests/support/Hidden.h>
#include <tests/support/LogCapture.h>
#include <tests/support/LogShape.h>
#include <tests/support/TempDir.h>

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

namespace {

constexpr int kFiles = qelDirFilterFiles;
constexpr int kDirs = qelDirFilterDirs;
constexpr int kHidden = qelDirFilterHidden;
constexpr int kDots = qelDirFilterDots;

const char kInvalidName[] = "<Nope>/x";

// A record, deleted at the end of its life.
struct Record {
  qelOSDir* dir;
  int error = 0;

  explicit Record(const std::string& path) : dir(qelDir_New(path.c_str())) {}
  ~Record() { qelDir_Delete(dir); }
  Record(const Record&) = delete;
  Record& operator=(const Record&) = delete;

  // All names of an enumeration, in order of the text.
  std::set<std::string> List(const std::string& pattern, int filter) {
    std::set<std::string> names;
    for (const qelDirEntry_t* entry = qelDir_GetFirst(dir, pattern.c_str(), filter, &error);
         entry != nullptr; entry = qelDir_GetNext(dir, &error))
      EXPECT_TRUE(names.insert(entry->name).second) << entry->name << " comes twice";
    return names;
  }
};

typedef std::set<std::string> Names;

class DirTest : public ::testing::Test {
protected:
  TempDir m_dir;
  LogCapture m_log;
};

using qelDirEnumeration = DirTest;
using qelDirExists = DirTest;
using qelDirIsLink = DirTest;
using qelDirRemove = DirTest;
using qelDirCreate = DirTest;
using qelDirCreateRecursively = DirTest;
using qelDirGetTimes = DirTest;
using qelDirGetRoots = DirTest;
using qelDirNativeName = DirTest;

} // namespace

TEST(qelDirConstants, HaveTheirFixedValues) {
  EXPECT_EQ(qelDirFilterFiles, 0x01);
  EXPECT_EQ(qelDirFilterDirs, 0x02);
  EXPECT_EQ(qelDirFilterHidden, 0x04);
  EXPECT_EQ(qelDirFilterDots, 0x08);
}

// Enumeration -------------------------------------------------------------------------

TEST_F(qelDirEnumeration, YieldsWhatEachFilterLetsPass) {
  m_dir.Write("file");
  m_dir.MakeDir("sub");
  MakeHidden(m_dir.Write("hiddenfile"));
  MakeHidden(m_dir.MakeDir("hiddensub"));
  struct Kind {
    bool isDir, isHidden, isDots;
  };
  const std::map<std::string, Kind> entries = {{"file", {false, false, false}},
                                               {"sub", {true, false, false}},
                                               {".hiddenfile", {false, true, false}},
                                               {".hiddensub", {true, true, false}},
                                               {".", {true, false, true}},
                                               {"..", {true, false, true}}};
  Record record(m_dir.Path());
  for (int filter = 0; filter < 16; ++filter) {
    SCOPED_TRACE(filter);
    Names expected;
    for (const auto& [name, kind] : entries)
      if ((filter & (kind.isDir ? kDirs : kFiles)) != 0 &&
          (!kind.isHidden || (filter & kHidden) != 0) && (!kind.isDots || (filter & kDots) != 0))
        expected.insert(name);
    EXPECT_EQ(record.List("*", filter), expected);
    EXPECT_EQ(record.error, 0);
  }
}

TEST_F(qelDirEnumeration, TellsDirectoriesAndHiddenEntries) {
  m_dir.Write("file");
  m_dir.MakeDir("sub");
  MakeHidden(m_dir.Write("hiddenfile"));
  Record record(m_dir.Path());
  std::map<std::string, std::pair<int, int>> found;
  for (const qelDirEntry_t* entry = qelDir_GetFirst(record.dir, "*", 15, &record.error);
       entry != nullptr; entry = qelDir_GetNext(record.dir, &record.error))
    found[entry->name] = {entry->isDir, entry->isHidden};
  const std::map<std::string, std::pair<int, int>> expected = {
      {".", {1, 0}}, {"..", {1, 0}}, {"file", {0, 0}}, {"sub", {1, 0}}, {".hiddenfile", {0, 1}}};
  EXPECT_EQ(found, expected);
}

TEST_F(qelDirEnumeration, MatchesPatterns) {
  for (const char* name : {"a", "ab", "abc", "abcabc", "a.txt", "b.txt", "txt", "a.tar.gz", "x y"})
    m_dir.Write(name);
  m_dir.MakeDir("sub.txt");
  const Names all = {"a",     "ab",  "abc",      "abcabc", "a.txt",
                     "b.txt", "txt", "a.tar.gz", "x y",    "sub.txt"};
  const struct {
    const char* pattern;
    Names expected;
  } rows[] = {
      {"*", all},
      {"", all},
      {"*.*", all}, // also names without a dot
      {"abc", {"abc"}},
      {"a*", {"a", "ab", "abc", "abcabc", "a.txt", "a.tar.gz"}},
      {"*.txt", {"a.txt", "b.txt", "sub.txt"}},
      {"a?c", {"abc"}},
      {"?.txt", {"a.txt", "b.txt"}},
      {"a*c", {"abc", "abcabc"}},
      {"*b*b*", {"abcabc"}},
      {"*bc", {"abc", "abcabc"}},
      {"a*a*r*z", {"a.tar.gz"}},
      {"x y", {"x y"}},
      {"*nothing*", {}},
      {"nothing", {}},
  };
  Record record(m_dir.Path());
  for (const auto& row : rows) {
    SCOPED_TRACE(row.pattern);
    EXPECT_EQ(record.List(row.pattern, kFiles | kDirs), row.expected);
    EXPECT_EQ(record.error, 0);
  }
  EXPECT_EQ(record.List("*.txt", kDirs), Names{"sub.txt"});
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(qelDirEnumeration, IsEmptyForAnEmptyDirectory) {
  Record record(m_dir.Path());
  EXPECT_EQ(record.List("*", 7), Names());
  EXPECT_EQ(record.error, 0);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(qelDirEnumeration, ReportsAMissingDirectoryAndAFile) {
  m_dir.Write("file");
  for (const char* name : {"missing", "missing/sub", "file"}) {
    SCOPED_TRACE(name);
    Record record(m_dir.Path(name));
    EXPECT_EQ(record.List("*", 7), Names());
    EXPECT_NE(record.error, 0);
    const std::vector<CapturedLine> lines = m_log.Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0].text, StartsWith("qelFile: Cannot enumerate files in directory '"));
    EXPECT_THAT(LogShape(lines[0].text), EndsWith("' (error = #)\n"));
    EXPECT_EQ(lines[0].level, 1u);
    EXPECT_EQ(lines[0].module, 43u);
    EXPECT_THAT(lines[0].file, HasSubstr("\\qelDir."));
    m_log.Clear();
  }
}

TEST_F(qelDirEnumeration, RefusesAnInvalidNameOrPattern) {
  qelOSDir* invalid = qelDir_New(kInvalidName);
  qelOSDir* null = qelDir_New(nullptr);
  int error = 0;
  EXPECT_EQ(qelDir_GetFirst(invalid, "*", 7, &error), nullptr);
  EXPECT_NE(error, 0);
  EXPECT_EQ(qelDir_GetNext(invalid, &error), nullptr);
  EXPECT_EQ(error, 0);
  EXPECT_EQ(qelDir_GetFirst(null, "a", 7, &error), nullptr);
  EXPECT_NE(error, 0);
  EXPECT_THAT(
      m_log.Texts(),
      ElementsAre("qelDir: Cannot enumerate files in directory '(null)' using specified '*'\n",
                  "qelDir: Cannot enumerate files in directory '(null)' using specified 'a'\n"));
  m_log.Clear();
  Record record(m_dir.Path());
  EXPECT_EQ(qelDir_GetFirst(record.dir, nullptr, 7, &error), nullptr);
  EXPECT_NE(error, 0);
  EXPECT_THAT(m_log.All(), EndsWith("' using specified '(null)'\n"));
  qelDir_Delete(invalid);
  qelDir_Delete(null);
  qelDir_Delete(nullptr);
}

TEST_F(qelDirEnumeration, GivesNothingWhenNoneRuns) {
  m_dir.Write("file");
  Record record(m_dir.Path());
  EXPECT_EQ(qelDir_GetNext(record.dir, &record.error), nullptr);
  ASSERT_NE(qelDir_GetFirst(record.dir, "*", 7, &record.error), nullptr);
  qelDir_EndEnumeration(record.dir);
  qelDir_EndEnumeration(record.dir);
  record.error = 5;
  EXPECT_EQ(qelDir_GetNext(record.dir, &record.error), nullptr);
  EXPECT_EQ(record.error, 0);
}

TEST_F(qelDirEnumeration, StartsAfreshWithGetFirst) {
  m_dir.Write("a");
  m_dir.Write("b");
  Record record(m_dir.Path());
  ASSERT_NE(qelDir_GetFirst(record.dir, "*", 7, &record.error), nullptr);
  EXPECT_EQ(record.List("*", 7), (Names{"a", "b"}));
  m_dir.Write("c");
  EXPECT_EQ(record.List("*", 7), (Names{"a", "b", "c"}));
}

TEST_F(qelDirEnumeration, RecoversWhenTheDirectoryAppears) {
  Record record(m_dir.Path("sub"));
  EXPECT_EQ(record.List("*", 7), Names());
  EXPECT_NE(record.error, 0);
  m_dir.MakeDir("sub");
  m_dir.Write("sub/x");
  EXPECT_EQ(record.List("*", 7), Names{"x"});
  EXPECT_EQ(record.error, 0);
}

TEST_F(qelDirEnumeration, GivesNamesInUTF8) {
  const std::string name = "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80.txt"; // 2, 3 and 4 bytes
  m_dir.Write(name);
  Record record(m_dir.Path());
  EXPECT_EQ(record.List("*", 7), Names{name});
  EXPECT_EQ(record.List("\xC3\xA4*", 7), Names{name});
  EXPECT_EQ(record.List("??\xF0\x9F\x98\x80.txt", 7), Names{name});
}

TEST_F(qelDirEnumeration, YieldsEveryEntryOfALargeDirectory) {
  Names expected;
  for (int i = 0; i < 1000; ++i) {
    const std::string name = "entry with a name of some length " + std::to_string(i);
    m_dir.Write(name);
    expected.insert(name);
  }
  Record record(m_dir.Path());
  EXPECT_EQ(record.List("*", 7), expected);
  EXPECT_EQ(record.error, 0);
}

TEST_F(qelDirEnumeration, ListsADirectoryThatIsNamedWithSeparatorsAtItsEnd) {
  m_dir.Write("x");
  EXPECT_EQ(Record(m_dir.Path() + "/").List("*", 7), Names{"x"});
  EXPECT_EQ(Record(m_dir.Path() + "/\\//").List("*", 7), Names{"x"});
}

// By name -----------------------------------------------------------------------------

TEST_F(qelDirExists, IsOneForDirectoriesAlone) {
  m_dir.Write("file");
  m_dir.MakeDir("sub");
  EXPECT_EQ(qelDir_Exists(m_dir.Path("sub").c_str()), 1);
  EXPECT_EQ(qelDir_Exists(m_dir.Path("sub///").c_str()), 1);
  EXPECT_EQ(qelDir_Exists(m_dir.Path("file").c_str()), 0);
  EXPECT_EQ(qelDir_Exists(m_dir.Path("missing").c_str()), 0);
  EXPECT_EQ(qelDir_Exists(m_dir.Path("missing/sub").c_str()), 0);
  EXPECT_EQ(qelDir_Exists("."), 1); // the program's own
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(qelDirExists, RefusesAnInvalidName) {
  EXPECT_EQ(qelDir_Exists(nullptr), 0);
  EXPECT_EQ(qelDir_Exists(kInvalidName), 0);
  EXPECT_THAT(m_log.Texts(),
              ElementsAre("qelDir: Cannot check directory '(null)' exists (invalid name)\n",
                          "qelDir: Cannot check directory '<Nope>/x' exists (invalid name)\n"));
}

TEST_F(qelDirIsLink, IsZeroForWhatIsNone) {
  EXPECT_EQ(qelDir_IsLink(m_dir.Path().c_str()), 0);
  EXPECT_EQ(qelDir_IsLink(m_dir.Write("x").c_str()), 0);
  EXPECT_EQ(qelDir_IsLink(m_dir.Path("missing").c_str()), 0);
  EXPECT_EQ(qelDir_IsLink(nullptr), 0);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(qelDirRemove, RemovesAnEmptyDirectoryAndCountsAMissingOneAsRemoved) {
  const std::string name = m_dir.MakeDir("sub");
  EXPECT_EQ(qelDir_Remove((name + "/").c_str()), 0);
  EXPECT_FALSE(m_dir.Has("sub"));
  EXPECT_EQ(qelDir_Remove(name.c_str()), 0);
  EXPECT_EQ(qelDir_Remove(m_dir.Path("no/such/way").c_str()), 0);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(qelDirRemove, ReportsWhatIsNotEmptyOrNoDirectory) {
  const std::string full = m_dir.MakeDir("full");
  m_dir.Write("full/x");
  const std::string file = m_dir.Write("file");
  EXPECT_EQ(qelDir_Remove(full.c_str()), -1);
  EXPECT_EQ(qelDir_Remove(file.c_str()), -1);
  EXPECT_TRUE(m_dir.Has("full/x"));
  EXPECT_TRUE(m_dir.Has("file"));
  EXPECT_THAT(TakeShapes(m_log),
              ElementsAre("qelDir: Cannot remove directory '" + full + "' (errno = #)\n",
                          "qelDir: Cannot remove directory '" + file + "' (errno = #)\n"));
}

TEST_F(qelDirRemove, RefusesAnInvalidName) {
  EXPECT_EQ(qelDir_Remove(nullptr), -1);
  EXPECT_EQ(qelDir_Remove(kInvalidName), -1);
  EXPECT_THAT(m_log.Texts(),
              ElementsAre("qelDir: Cannot remove directory: '(null)' (invalid name)\n",
                          "qelDir: Cannot remove directory: '<Nope>/x' (invalid name)\n"));
}

TEST_F(qelDirCreate, MakesOneLevel) {
  EXPECT_EQ(qelDir_Create(m_dir.Path("sub/").c_str()), 0);
  EXPECT_TRUE(std::filesystem::is_directory(TempDir::Native(m_dir.Path("sub"))));
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(qelDirCreate, ReportsWhatExistsAndAMissingWay) {
  const std::string existing = m_dir.MakeDir("sub");
  const std::string file = m_dir.Write("file");
  const std::string deep = m_dir.Path("no/way");
  EXPECT_EQ(qelDir_Create(existing.c_str()), -1);
  EXPECT_EQ(qelDir_Create(file.c_str()), -1);
  EXPECT_EQ(qelDir_Create(deep.c_str()), -1);
  EXPECT_FALSE(m_dir.Has("no"));
  EXPECT_THAT(TakeShapes(m_log),
              ElementsAre("qelDir: Cannot create directory '" + existing + "' (error = #)\n",
                          "qelDir: Cannot create directory '" + file + "' (error = #)\n",
                          "qelDir: Cannot create directory '" + deep + "' (error = #)\n"));
}

TEST_F(qelDirCreate, RefusesAnInvalidName) {
  EXPECT_EQ(qelDir_Create(nullptr), -1);
  EXPECT_EQ(qelDir_Create(kInvalidName), -1);
  EXPECT_THAT(m_log.Texts(),
              ElementsAre("qelDir: Cannot create directory: '(null)' (invalid name)\n",
                          "qelDir: Cannot create directory: '<Nope>/x' (invalid name)\n"));
}

TEST_F(qelDirCreateRecursively, MakesAllLevels) {
  EXPECT_EQ(qelDir_CreateRecursively(m_dir.Path("a/b\\c/d//").c_str()), 1);
  EXPECT_TRUE(std::filesystem::is_directory(TempDir::Native(m_dir.Path("a/b/c/d"))));
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(qelDirCreateRecursively, LeavesAnExistingPathAlone) {
  m_dir.MakeDir("a/b");
  m_dir.Write("a/b/x", "1");
  EXPECT_EQ(qelDir_CreateRecursively(m_dir.Path("a/b").c_str()), 1);
  EXPECT_EQ(qelDir_CreateRecursively(m_dir.Path("a").c_str()), 1);
  EXPECT_EQ(m_dir.Read("a/b/x"), "1");
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(qelDirCreateRecursively, FailsAtAFileThatStandsInTheWay) {
  m_dir.Write("file", "1");
  EXPECT_EQ(qelDir_CreateRecursively(m_dir.Path("file/b/c").c_str()), 0);
  EXPECT_EQ(m_dir.Read("file"), "1");
  ASSERT_EQ(m_log.Texts().size(), 1u);
  EXPECT_THAT(m_log.All(), StartsWith("qelDir: Cannot create directory path part: '"));
  EXPECT_THAT(m_log.All(), HasSubstr("file' (path size = "));
}

TEST_F(qelDirCreateRecursively, FailsAtAFileInLastPlace) {
  EXPECT_EQ(qelDir_CreateRecursively(m_dir.Write("file").c_str()), 0);
  EXPECT_THAT(m_log.All(), HasSubstr("file' (path size = "));
}

TEST_F(qelDirCreateRecursively, RefusesAnInvalidName) {
  EXPECT_EQ(qelDir_CreateRecursively(nullptr), 0);
  EXPECT_EQ(qelDir_CreateRecursively(kInvalidName), 0);
  EXPECT_THAT(m_log.Texts(),
              ElementsAre("qelDir: Cannot create directory path: '(null)' (invalid path)\n",
                          "qelDir: Cannot create directory path: '<Nope>/x' (invalid path)\n"));
}

TEST_F(qelDirCreateRecursively, MakesRandomPathsTwiceOver) {
  std::mt19937 random(99);
  for (int round = 0; round < 200; ++round) {
    std::string path = m_dir.Path();
    for (size_t level = 0; level < 1 + random() % 6; ++level)
      path += std::string(1, random() % 2 ? '/' : '\\') +
              std::string(1, static_cast<char>('a' + random() % 3));
    ASSERT_EQ(qelDir_CreateRecursively(path.c_str()), 1) << path;
    ASSERT_EQ(qelDir_Exists(path.c_str()), 1) << path;
    ASSERT_EQ(qelDir_CreateRecursively(path.c_str()), 1) << path;
  }
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(qelDirGetTimes, GivesTheMomentOfCreationWriteAndRead) {
  const int64_t now = time(nullptr);
  const std::string name = m_dir.MakeDir("sub");
  qeltimeval access{};
  qeltimeval modification{};
  qeltimeval creation{};
  ASSERT_EQ(qelDir_GetTimes((name + "/").c_str(), &access, &modification, &creation), 0);
  for (const qeltimeval* stamp : {&access, &modification, &creation}) {
    EXPECT_NEAR(static_cast<double>(stamp->seconds), static_cast<double>(now), 3);
    EXPECT_EQ(stamp->microseconds % 1000, 0);
  }
  EXPECT_EQ(qelDir_GetTimes(name.c_str(), nullptr, nullptr, nullptr), 0);
}

TEST_F(qelDirGetTimes, IsSilentForAMissingDirectoryAndRefusesAnInvalidName) {
  qeltimeval stamp{1, 2};
  EXPECT_EQ(qelDir_GetTimes(m_dir.Path("missing").c_str(), &stamp, &stamp, &stamp), -1);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
  EXPECT_EQ(qelDir_GetTimes(nullptr, &stamp, &stamp, &stamp), -1);
  EXPECT_EQ(qelDir_GetTimes(kInvalidName, &stamp, &stamp, &stamp), -1);
  EXPECT_EQ(stamp.seconds, 1);
  EXPECT_THAT(
      m_log.Texts(),
      ElementsAre(
          "qelDir: Cannot get modification time for directory: '(null)' (invalid name)\n",
          "qelDir: Cannot get modification time for directory: '<Nope>/x' (invalid name)\n"));
}

TEST_F(qelDirGetRoots, GivesTextsThatEndInASlashAndAnEmptyOneBehindThem) {
  char* roots = qelDir_GetRoots();
  ASSERT_NE(roots, nullptr);
  size_t count = 0;
  for (const char* root = roots; *root != '\0'; root += strlen(root) + 1, ++count)
    EXPECT_EQ(root[strlen(root) - 1], '/') << root;
  EXPECT_GE(count, 1u);
  free(roots);
}

TEST_F(qelDirNativeName, IsNullForAnInvalidName) {
  for (const int longPath : {0, 1}) {
    EXPECT_EQ(qelDir_NativeName(nullptr, longPath), nullptr);
    EXPECT_EQ(qelDir_NativeName(kInvalidName, longPath), nullptr);
  }
}

// What only the POSIX back-end of directories has.

#include <qel/multiplatform/qelDir.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <fcntl.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/files/Dir.h>
#include <qel/multiplatform/qelPath.h>
#include <qel/multiplatform/qelTime.h>
#include <tests/posix/Permissions.h>
#include <tests/support/LogCapture.h>
#include <tests/support/LogShape.h>
#include <tests/support/TempDir.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

namespace {

typedef std::set<std::string> Names;

class PosixDirTest : public ::testing::Test {
protected:
  // The names that the plain layer yields.
  Names List(const std::string& pattern, int filter = 15) const {
    Names names;
    qelOSDir* dir = qelDir_New(m_dir.Path().c_str());
    int error = 0;
    for (const qelDirEntry_t* entry = qelDir_GetFirst(dir, pattern.c_str(), filter, &error);
         entry != nullptr; entry = qelDir_GetNext(dir, &error))
      if (strcmp(entry->name, ".") != 0 && strcmp(entry->name, "..") != 0)
        names.insert(entry->name);
    EXPECT_EQ(error, 0);
    qelDir_Delete(dir);
    return names;
  }
  // The paths that the class yields, without the directory's own.
  Names Paths(const std::string& name = "") const {
    Names names;
    const std::string base = m_dir.Path() + "/" + name;
    qelDir dir(base.c_str());
    qelPathName entry;
    for (bool more = dir.GetFirst(entry, "*", 7); more; more = dir.GetNext(entry))
      names.insert(std::string(entry.c_str()).substr(base.size()));
    EXPECT_FALSE(dir.Error());
    return names;
  }
  void Link(const std::string& target, const std::string& name) const {
    ASSERT_EQ(::symlink(target.c_str(), m_dir.Path(name).c_str()), 0);
  }
  std::string Skipped(const std::string& name, const std::string& directory = "") const {
    return "qelDir: Skipping entry '" + name + "' of directory '" + m_dir.Path() + "/" + directory +
           "' (its path would name another one)\n";
  }

  TempDir m_dir;
  LogCapture m_log;
};

using qelDirPatternPosix = PosixDirTest;
using qelDirEnumerationPosix = PosixDirTest;
using qelDirLinksPosix = PosixDirTest;
using qelDirNamesPosix = PosixDirTest;
using qelDirByNamePosix = PosixDirTest;
using qelDirCreateRecursivelyPosix = PosixDirTest;
using qelDirGetTimesPosix = PosixDirTest;
using qelDirRemoveRecursivelyPosix = PosixDirTest;

// The meaning of a pattern, by recursion, on names cut into characters.
bool OracleMatches(const std::vector<std::string>& pattern, size_t p,
                   const std::vector<std::string>& name, size_t n) {
  if (p == pattern.size())
    return n == name.size();
  if (pattern[p] == "*")
    return OracleMatches(pattern, p + 1, name, n) ||
           (n < name.size() && OracleMatches(pattern, p, name, n + 1));
  return n < name.size() && (pattern[p] == "?" || pattern[p] == name[n]) &&
         OracleMatches(pattern, p + 1, name, n + 1);
}

std::string Join(const std::vector<std::string>& pieces) {
  std::string text;
  for (const std::string& piece : pieces)
    text += piece;
  return text;
}

} // namespace

// Patterns ----------------------------------------------------------------------------

TEST_F(qelDirPatternPosix, RegardsCaseAndKnowsStarAndQuestionMarkAlone) {
  for (const char* name : {"abc", "ABC", "[a]", "a", ".abc", "a+b", "{x}"})
    m_dir.Write(name);
  EXPECT_EQ(List("abc"), Names{"abc"});
  EXPECT_EQ(List("A*"), Names{"ABC"});
  EXPECT_EQ(List("[a]"), Names{"[a]"});
  EXPECT_EQ(List("*bc"), (Names{"abc", ".abc"})); // the filter alone decides on hidden entries
  EXPECT_EQ(List("*bc", 3), Names{"abc"});
  EXPECT_EQ(List("?"), Names{"a"});
  EXPECT_EQ(List("a?"), Names()); // exactly one character
  EXPECT_EQ(List("{?}"), Names{"{x}"});
  EXPECT_EQ(List("a/*"), Names());
}

TEST_F(qelDirPatternPosix, TakesOneCharacterOrOneStrayByteForAQuestionMark) {
  const std::string euro = "\xE2\x82\xAC";
  const std::string broken = "\x82\x82";
  for (const std::string& name : {euro, euro + "x", broken, std::string("\xFF")})
    m_dir.Write(name);
  EXPECT_EQ(List("?"), (Names{euro, "\xFF"}));
  EXPECT_EQ(List("?x"), Names{euro + "x"});
  EXPECT_EQ(List("??"), (Names{euro + "x", broken}));
}

TEST_F(qelDirPatternPosix, EndsACharacterWhereItsLeadByteSays) {
  const std::string more = "\xC3\xA4\x82";     // a character and a byte too many
  const std::string less = "\xF0\x9F\x98";     // the fourth byte is missing
  const std::string cut = "\xE2\x82y";         // the third byte is missing
  const std::string none = "\xFE\x82\x82\x82"; // no lead byte of UTF-8
  for (const std::string& name : {more, less, cut, none})
    m_dir.Write(name);
  EXPECT_EQ(List("?"), Names());
  EXPECT_EQ(List("??"), Names{more});
  EXPECT_EQ(List("???"), (Names{less, cut}));
  EXPECT_EQ(List("????"), Names{none});
  EXPECT_EQ(List("*??y"), Names{cut});
}

TEST_F(qelDirPatternPosix, MeansWhatAPlainReadingOfItGives) {
  std::mt19937 random(5150);
  const std::vector<std::string> characters = {"a", "b", ".", "\xC3\xA4", "\xF0\x9F\x98\x80"};
  std::vector<std::vector<std::string>> names;
  for (int i = 0; i < 60; ++i) {
    std::vector<std::string> name(1 + random() % 6);
    for (std::string& piece : name)
      piece = characters[random() % characters.size()];
    if (Join(name) == "." || Join(name) == "..")
      continue;
    m_dir.Write(Join(name));
    names.push_back(name);
  }
  for (int i = 0; i < 400; ++i) {
    std::vector<std::string> pattern(random() % 7);
    for (std::string& piece : pattern)
      piece = random() % 3 == 0   ? "*"
              : random() % 4 == 0 ? "?"
                                  : characters[random() % characters.size()];
    const std::string text = Join(pattern);
    Names expected;
    for (const std::vector<std::string>& name : names)
      if (text.empty() || text == "*.*" || OracleMatches(pattern, 0, name, 0))
        expected.insert(Join(name));
    ASSERT_EQ(List(text), expected) << text;
  }
}

TEST_F(qelDirPatternPosix, IsQuickForManyStars) {
  m_dir.Write(std::string(250, 'a'));
  std::string pattern;
  for (int i = 0; i < 5000; ++i)
    pattern += "*a";
  EXPECT_EQ(List(pattern), Names());
  EXPECT_EQ(List(pattern.substr(0, 400) + "b"), Names());
  EXPECT_EQ(List(pattern.substr(0, 500)), Names{std::string(250, 'a')});
}

// Enumeration -------------------------------------------------------------------------

TEST_F(qelDirEnumerationPosix, LogsFromItsOwnSourceWithTheSystemsError) {
  qelDir dir(m_dir.Path("missing").c_str());
  qelPathName entry;
  EXPECT_FALSE(dir.GetFirst(entry, "*", 7));
  ASSERT_EQ(m_log.Lines().size(), 1u);
  EXPECT_EQ(m_log.Lines()[0].file, "..\\..\\posix\\qelDir.posix");
  EXPECT_EQ(m_log.Lines()[0].text, "qelFile: Cannot enumerate files in directory '" +
                                       m_dir.Path("missing") +
                                       "' (error = " + std::to_string(ENOENT) + ")\n");
}

TEST_F(qelDirEnumerationPosix, IsRefusedWithoutPermission) {
  const std::string name = m_dir.MakeDir("closed");
  ASSERT_EQ(::chmod(name.c_str(), 0), 0);
  {
    AsNobody nobody;
    qelDir dir(name.c_str());
    qelPathName entry;
    EXPECT_FALSE(dir.GetFirst(entry, "*", 7));
    EXPECT_TRUE(dir.Error());
  }
  EXPECT_EQ(m_log.All(), "qelFile: Cannot enumerate files in directory '" + name +
                             "' (error = " + std::to_string(EACCES) + ")\n");
}

TEST_F(qelDirEnumerationPosix, TakesALinkForWhatItLeadsTo) {
  m_dir.Write("file");
  m_dir.MakeDir("sub");
  Link("file", "tofile");
  Link("sub", "tosub");
  Link("nothing", "dangling");
  Link("circle", "circle");
  Link(".", "self");
  EXPECT_EQ(List("*", qelDirFilterFiles), (Names{"file", "tofile", "dangling", "circle"}));
  EXPECT_EQ(List("*", qelDirFilterDirs), (Names{"sub", "tosub", "self"}));
}

TEST_F(qelDirEnumerationPosix, TakesPipesAndSocketsForFiles) {
  ASSERT_EQ(::mkfifo(m_dir.Path("pipe").c_str(), 0600), 0);
  EXPECT_EQ(List("*", qelDirFilterFiles), Names{"pipe"});
}

TEST_F(qelDirNamesPosix, PassesBytesThatAreNotUTF8) {
  m_dir.Write("\xFF.\xFE");
  m_dir.MakeDir("\xC3");
  m_dir.Write("\xC3/\xE2\x82");
  EXPECT_EQ(Paths(), (Names{"\xFF.\xFE", "\xC3/"}));
  EXPECT_EQ(Paths("\xC3/"), Names{"\xE2\x82"});
  EXPECT_TRUE(qelDir::RemoveRecursively(m_dir.Path("\xC3").c_str(), 1));
  EXPECT_FALSE(m_dir.Has("\xC3"));
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

// Such a path would be taken for another one as soon as it is handed to any operation.
TEST_F(qelDirNamesPosix, SkipsEntriesWhosePathsWouldNameOthers) {
  m_dir.Write("plain");
  const std::vector<std::string> files = {"x.",     "...", "a\\b", "..\\..\\x", "\\",       "<My>",
                                          "<Nope>", "<>",  "a<b",  ".a.",       "<MyMusic>"};
  for (const std::string& name : files)
    m_dir.Write(name);
  EXPECT_EQ(Paths(), Names{"plain"});
  std::vector<std::string> lines;
  for (const std::string& name : files)
    lines.push_back(Skipped(name));
  EXPECT_THAT(m_log.Texts(), ::testing::UnorderedElementsAreArray(lines));
  EXPECT_EQ(m_log.Lines()[0].file, "..\\..\\Dir");
  EXPECT_EQ(m_log.Lines()[0].module, 43u);
  EXPECT_EQ(m_log.Lines()[0].level, 1u);
}

TEST_F(qelDirNamesPosix, SkipsDirectoriesInTheSameWayButForDots) {
  for (const char* name : {"x.", "...", ".a.", "a\\b", "<My>", "..\\sub"})
    m_dir.MakeDir(name);
  EXPECT_EQ(Paths(), (Names{"x./", ".../", ".a./"}));
  EXPECT_THAT(m_log.Texts(),
              UnorderedElementsAre(Skipped("a\\b"), Skipped("<My>"), Skipped("..\\sub")));
}

TEST_F(qelDirNamesPosix, SkippedEntriesCountForNothing) {
  m_dir.Write("x.");
  qelDir dir(m_dir.Path().c_str());
  EXPECT_FALSE(dir.HasFiles("*"));
  EXPECT_EQ(dir.GetCount("*", 7), 0u);
  EXPECT_FALSE(dir.Error());
}

// By name -----------------------------------------------------------------------------

TEST_F(qelDirByNamePosix, GivesTheSameNativeNameWithAndWithoutLongPaths) {
  const struct {
    const char* name;
    const char* expected;
  } rows[] = {{"/a/b/", "/a/b"}, {"/a//b///", "/a//b"}, {"\\a\\", "/a"}, {"/", "/"}, {"//", "/"},
              {"", ""},          {"/\xFF", "/\xFF"}};
  for (const auto& row : rows)
    for (const int longPath : {0, 1}) {
      char* name = qelDir_NativeName(row.name, longPath);
      EXPECT_STREQ(name, row.expected);
      free(name);
    }
}

TEST_F(qelDirByNamePosix, HasOneRoot) {
  char* roots = qelDir_GetRoots();
  EXPECT_EQ(std::string(roots, 3), std::string("/\0", 3));
  free(roots);
  EXPECT_EQ(qelDir_Exists("/"), 1);
  EXPECT_EQ(qelDir_Exists(""), 0);
}

TEST_F(qelDirByNamePosix, CreatesUnderTheUmask) {
  const mode_t old = ::umask(027);
  EXPECT_EQ(qelDir_Create(m_dir.Path("a").c_str()), 0);
  EXPECT_EQ(qelDir_CreateRecursively(m_dir.Path("b/c").c_str()), 1);
  ::umask(old);
  for (const char* name : {"a", "b", "b/c"}) {
    struct stat status {};
    ASSERT_EQ(::stat(m_dir.Path(name).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0750u) << name;
  }
}

TEST_F(qelDirByNamePosix, TellsTheSystemsErrorNumbers) {
  const std::string file = m_dir.Write("file");
  const std::string full = m_dir.MakeDir("full");
  m_dir.Write("full/x");
  EXPECT_EQ(qelDir_Create(file.c_str()), -1);
  EXPECT_EQ(qelDir_Remove(file.c_str()), -1);
  EXPECT_EQ(qelDir_Remove(full.c_str()), -1);
  EXPECT_THAT(m_log.Texts(), ElementsAre("qelDir: Cannot create directory '" + file +
                                             "' (error = " + std::to_string(EEXIST) + ")\n",
                                         "qelDir: Cannot remove directory '" + file +
                                             "' (errno = " + std::to_string(ENOTDIR) + ")\n",
                                         "qelDir: Cannot remove directory '" + full +
                                             "' (errno = " + std::to_string(ENOTEMPTY) + ")\n"));
}

TEST_F(qelDirByNamePosix, TakesAFileOnTheWayAsGone) {
  m_dir.Write("file");
  EXPECT_EQ(qelDir_Remove(m_dir.Path("file/x").c_str()), 0);
  EXPECT_EQ(qelDir_Remove(m_dir.Path("file/x/y").c_str()), 0);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(qelDirByNamePosix, IsRefusedWithoutPermission) {
  const std::string sub = m_dir.MakeDir("sub");
  ASSERT_EQ(::chmod(sub.c_str(), 0555), 0);
  ASSERT_EQ(::chmod(m_dir.Path().c_str(), 0555), 0);
  {
    AsNobody nobody;
    EXPECT_EQ(qelDir_Create(m_dir.Path("new").c_str()), -1);
    EXPECT_EQ(qelDir_Remove(sub.c_str()), -1);
    EXPECT_EQ(qelDir_CreateRecursively((sub + "/a").c_str()), 0);
  }
  ASSERT_EQ(::chmod(m_dir.Path().c_str(), 0755), 0);
  EXPECT_EQ(m_log.Texts().size(), 3u);
}

TEST_F(qelDirLinksPosix, ToDirectoriesCountAsDirectoriesAndAreRemovedThemselves) {
  m_dir.MakeDir("sub");
  m_dir.Write("sub/x", "1");
  m_dir.Write("file");
  Link("sub", "tosub");
  Link("file", "tofile");
  Link("nothing", "dangling");
  EXPECT_EQ(qelDir_Exists(m_dir.Path("tosub").c_str()), 1);
  EXPECT_EQ(qelDir_Exists(m_dir.Path("tofile").c_str()), 0);
  EXPECT_EQ(qelDir_Exists(m_dir.Path("dangling").c_str()), 0);
  for (const char* name : {"tosub", "tosub/", "tofile", "dangling"})
    EXPECT_EQ(qelDir_IsLink(m_dir.Path(name).c_str()), 1) << name;
  EXPECT_EQ(qelDir_IsLink(m_dir.Path("tosub/x").c_str()), 0);
  EXPECT_EQ(qelDir_Remove(m_dir.Path("tofile").c_str()), -1);
  EXPECT_EQ(qelDir_Remove(m_dir.Path("dangling").c_str()), -1);
  EXPECT_EQ(qelDir_Remove(m_dir.Path("tosub/").c_str()), 0);
  EXPECT_FALSE(m_dir.Has("tosub"));
  EXPECT_EQ(m_dir.Read("sub/x"), "1");
}

TEST_F(qelDirCreateRecursivelyPosix, TellsTheLevelThatFailed) {
  const std::string file = m_dir.Write("file");
  EXPECT_EQ(qelDir_CreateRecursively((file + "/a/b").c_str()), 0);
  EXPECT_EQ(m_log.All(), "qelDir: Cannot create directory path part: '" + file +
                             "' (path size = " + std::to_string(file.size()) + ")\n");
}

TEST_F(qelDirCreateRecursivelyPosix, TakesRunsOfSeparatorsAndDots) {
  EXPECT_EQ(qelDir_CreateRecursively(m_dir.Path("a//b/./c/../d").c_str()), 1);
  EXPECT_TRUE(m_dir.Has("a/b/c"));
  EXPECT_TRUE(m_dir.Has("a/b/d"));
}

TEST_F(qelDirCreateRecursivelyPosix, NeedsNothingForTheRootAndRefusesTheEmptyText) {
  EXPECT_EQ(qelDir_CreateRecursively("/"), 1);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
  EXPECT_EQ(qelDir_CreateRecursively(""), 0);
  EXPECT_EQ(m_log.All(), "qelDir: Cannot analyze directory path: '' (invalid path)\n");
}

TEST_F(qelDirCreateRecursivelyPosix, AnchorsARelativePathOnTheProgramsDirectory) {
  char* directory = qelPath_GetApplicationDirectory();
  const std::string name = "qel-relative-" + std::to_string(::getpid());
  const std::string whole = directory + name;
  free(directory);
  EXPECT_EQ(qelDir_CreateRecursively((name + "/a").c_str()), 1);
  EXPECT_TRUE(std::filesystem::is_directory(whole + "/a"));
  EXPECT_TRUE(qelDir::RemoveRecursively(name.c_str(), 1));
  EXPECT_FALSE(std::filesystem::exists(whole));
}

TEST_F(qelDirGetTimesPosix, GivesEachStampToTheMillisecond) {
  const std::string name = m_dir.MakeDir("sub");
  const timespec stamps[2] = {{1000000000, 123456789}, {1111111111, 999999999}};
  ASSERT_EQ(::utimensat(AT_FDCWD, name.c_str(), stamps, 0), 0);
  qeltimeval access{};
  qeltimeval modification{};
  ASSERT_EQ(qelDir_GetTimes(name.c_str(), &access, &modification, nullptr), 0);
  EXPECT_EQ(access.seconds, 1000000000);
  EXPECT_EQ(access.microseconds, 123000);
  EXPECT_EQ(modification.seconds, 1111111111);
  EXPECT_EQ(modification.microseconds, 999000);
}

TEST_F(qelDirGetTimesPosix, StopsAtTheFirstStampThatHasNoValue) {
  const std::string name = m_dir.MakeDir("sub");
  const timespec stamps[2] = {{1000000000, 0}, {-86400 * 400, 0}}; // last changed in 1968
  ASSERT_EQ(::utimensat(AT_FDCWD, name.c_str(), stamps, 0), 0);
  qeltimeval access{};
  qeltimeval modification{1, 2};
  qeltimeval creation{3, 4};
  EXPECT_EQ(qelDir_GetTimes(name.c_str(), &access, &modification, &creation), -1);
  EXPECT_EQ(access.seconds, 1000000000);
  EXPECT_EQ(creation.seconds, 3);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

// Removal of trees --------------------------------------------------------------------

TEST_F(qelDirRemoveRecursivelyPosix, RemovesLinksAndNeverEntersThem) {
  m_dir.MakeDir("outside/sub");
  m_dir.Write("outside/x", "1");
  m_dir.MakeDir("tree/a");
  Link("../outside", "tree/tooutside");
  Link("../../outside/x", "tree/a/tofile");
  Link("..", "tree/a/up");
  Link("circle", "tree/a/circle");
  Link("nothing", "tree/dangling");
  EXPECT_TRUE(qelDir::RemoveRecursively(m_dir.Path("tree").c_str(), 1));
  EXPECT_FALSE(m_dir.Has("tree"));
  EXPECT_EQ(m_dir.Read("outside/x"), "1");
  EXPECT_TRUE(m_dir.Has("outside/sub"));
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(qelDirRemoveRecursivelyPosix, RemovesALinkThatItIsCalledOn) {
  m_dir.MakeDir("outside");
  m_dir.Write("outside/x", "1");
  Link("outside", "link");
  EXPECT_TRUE(qelDir::RemoveRecursively(m_dir.Path("link/").c_str(), 2));
  EXPECT_FALSE(m_dir.Has("link"));
  EXPECT_EQ(m_dir.Read("outside/x"), "1");
}

TEST_F(qelDirRemoveRecursivelyPosix, RemovesEveryKindOfEntry) {
  m_dir.MakeDir("tree/.hidden/.deep");
  ASSERT_EQ(::mkfifo(m_dir.Path("tree/pipe").c_str(), 0600), 0);
  m_dir.Write("tree/.hidden/.x");
  m_dir.Write("tree/\xFF\xFE");
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  strcpy(address.sun_path, m_dir.Path("tree/socket").c_str());
  ASSERT_EQ(::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ::close(fd);
  EXPECT_TRUE(qelDir::RemoveRecursively(m_dir.Path("tree").c_str(), 1));
  EXPECT_FALSE(m_dir.Has("tree"));
}

TEST_F(qelDirRemoveRecursivelyPosix, TouchesNothingThatAnOddNameSeemsToName) {
  m_dir.Write("victim", "1");
  m_dir.Write("tree.x", "2");
  m_dir.MakeDir("tree/sub");
  for (const char* name : {"..\\victim", "...", "sub\\..\\..\\victim", "<MyMusic>"})
    m_dir.Write(std::string("tree/") + name);
  m_dir.Write("tree/x", "plain");
  m_dir.Write("tree/x.", "odd");
  EXPECT_FALSE(qelDir::RemoveRecursively(m_dir.Path("tree").c_str(), 1));
  EXPECT_EQ(m_dir.Read("victim"), "1");
  EXPECT_EQ(m_dir.Read("tree.x"), "2");
  EXPECT_FALSE(m_dir.Has("tree/x"));
  EXPECT_FALSE(m_dir.Has("tree/sub"));
  EXPECT_EQ(m_dir.Read("tree/x."), "odd"); // it stays, and with it the tree
}

TEST_F(qelDirRemoveRecursivelyPosix, MakesAsManyAttemptsAsItIsGiven) {
  m_dir.MakeDir("tree/sub");
  const std::string file = m_dir.Write("tree/sub/x");
  const std::string locked = m_dir.Path("tree/sub");
  ASSERT_EQ(::chmod(locked.c_str(), 0555), 0);
  {
    AsNobody nobody;
    EXPECT_FALSE(qelDir::RemoveRecursively(m_dir.Path("tree").c_str(), 3));
  }
  const std::string line =
      "qelFile: Cannot remove file '" + file + "' (error = " + std::to_string(EACCES) + ")\n";
  EXPECT_THAT(m_log.Texts(), ElementsAre(line, line, line));
  ASSERT_EQ(::chmod(locked.c_str(), 0755), 0);
}

TEST_F(qelDirRemoveRecursivelyPosix, ReportsADirectoryThatItCannotList) {
  m_dir.MakeDir("tree/closed");
  m_dir.Write("tree/closed/x");
  ASSERT_EQ(::chmod(m_dir.Path("tree").c_str(), 0777), 0);
  ASSERT_EQ(::chmod(m_dir.Path("tree/closed").c_str(), 0), 0);
  {
    AsNobody nobody;
    EXPECT_FALSE(qelDir::RemoveRecursively(m_dir.Path("tree").c_str(), 1));
  }
  EXPECT_THAT(TakeShapes(m_log), ElementsAre("qelFile: Cannot enumerate files in directory '" +
                                                 m_dir.Path("tree/closed") + "' (error = #)\n",
                                             "qelDir: Cannot remove directory '" +
                                                 m_dir.Path("tree/closed/") + "' (errno = #)\n"));
  ASSERT_EQ(::chmod(m_dir.Path("tree/closed").c_str(), 0755), 0);
}

namespace {

struct DeepRemoval {
  std::string path;
  bool removed;
};

void* RemoveDeep(void* argument) {
  DeepRemoval* removal = static_cast<DeepRemoval*>(argument);
  removal->removed = qelDir::RemoveRecursively(removal->path.c_str(), 1);
  return nullptr;
}

} // namespace

TEST_F(qelDirRemoveRecursivelyPosix, NeedsNoStackForDepth) {
  std::string deep = m_dir.Path("tree");
  const size_t limit = 4000; // what a path may have on the systems that have the least
  while (deep.size() + 2 < limit)
    deep += "/d";
  ASSERT_EQ(qelDir_CreateRecursively(deep.c_str()), 1);
  DeepRemoval removal = {m_dir.Path("tree"), false};
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, 128 * 1024), 0);
  pthread_t thread;
  ASSERT_EQ(pthread_create(&thread, &attributes, &RemoveDeep, &removal), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
  EXPECT_TRUE(removal.removed);
  EXPECT_FALSE(m_dir.Has("tree"));
}

#include <qel/files/Dir.h>

#include <atomic>
#include <ctime>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/core/DateTime.h>
#include <tests/support/Hidden.h>
#include <tests/support/LogCapture.h>
#include <tests/support/LogShape.h>
#include <tests/support/TempDir.h>

using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::StartsWith;

namespace {

typedef std::set<std::string> Names;

// Opens the protected Close.
class ClosableDir : public qelDir {
public:
  using qelDir::Close;
  using qelDir::qelDir;
};

class DirClassTest : public ::testing::Test {
protected:
  // The full paths of an enumeration without the directory's own.
  Names List(qelDir& dir, const char* pattern, int filter) const {
    Names names;
    const std::string base = m_dir.Path() + "/";
    qelPathName entry;
    for (bool more = dir.GetFirst(entry, pattern, filter); more; more = dir.GetNext(entry)) {
      const std::string path = entry.GetFullPath().c_str();
      EXPECT_THAT(path, StartsWith(base));
      EXPECT_EQ(entry.IsDirPath(), path.back() == '/');
      EXPECT_TRUE(names.insert(path.substr(base.size())).second) << path << " comes twice";
    }
    return names;
  }
  Names List(const char* pattern, int filter) const {
    qelDir dir(m_dir.Path().c_str());
    return List(dir, pattern, filter);
  }

  TempDir m_dir;
  LogCapture m_log;
};

using qelDirObject = DirClassTest;
using qelDirOpen = DirClassTest;
using qelDirGetFirst = DirClassTest;
using qelDirGetNext = DirClassTest;
using qelDirHas = DirClassTest;
using qelDirGetCount = DirClassTest;
using qelDirStatic = DirClassTest;
using qelDirRemoveRecursively = DirClassTest;
using qelDirModel = DirClassTest;

} // namespace

// The object --------------------------------------------------------------------------

TEST_F(qelDirObject, HasNoVirtualOperations) {
  EXPECT_FALSE(std::is_polymorphic_v<qelDir>);
}

TEST_F(qelDirObject, IsClosedAtFirst) {
  qelDir dir;
  qelPathName entry;
  EXPECT_FALSE(dir.IsOpened());
  EXPECT_FALSE(dir.Error());
  EXPECT_FALSE(dir.GetPathName().IsValid());
  EXPECT_FALSE(dir.GetFirst(entry, "*", 7));
  EXPECT_FALSE(dir.GetNext(entry));
  EXPECT_FALSE(dir.HasFiles("*"));
  EXPECT_FALSE(dir.HasDirs("*"));
  EXPECT_EQ(dir.GetCount("*", 7), 0u);
  dir.Rewind();
  EXPECT_FALSE(dir.IsOpened());
  EXPECT_FALSE(dir.Error());
}

TEST_F(qelDirObject, CloseForgetsPathAndError) {
  ClosableDir dir(m_dir.Path("missing").c_str());
  qelPathName entry;
  EXPECT_FALSE(dir.GetFirst(entry, "*", 7));
  EXPECT_TRUE(dir.Error());
  dir.Close();
  EXPECT_FALSE(dir.IsOpened());
  EXPECT_FALSE(dir.Error());
  EXPECT_FALSE(dir.GetPathName().IsValid());
  EXPECT_FALSE(dir.GetFirst(entry, "*", 7));
}

TEST_F(qelDirObject, CopiesShareTheEnumeration) {
  m_dir.Write("x");
  m_dir.Write("y");
  ClosableDir dir(m_dir.Path().c_str());
  qelPathName entry;
  ASSERT_TRUE(dir.GetFirst(entry, "*", 7));
  ClosableDir copy(dir);
  EXPECT_TRUE(copy.IsOpened());
  EXPECT_EQ(copy.GetPathName().GetFullPath(), dir.GetPathName().GetFullPath());
  EXPECT_TRUE(copy.GetNext(entry));
  EXPECT_FALSE(dir.GetNext(entry));
  copy.Close();
  dir = copy; // forgets the record, which is gone
  EXPECT_FALSE(dir.IsOpened());
}

TEST_F(qelDirOpen, IsTrueForAMissingDirectory) {
  qelDir dir;
  EXPECT_TRUE(dir.Open(m_dir.Path("missing").c_str()));
  EXPECT_TRUE(dir.IsOpened());
  EXPECT_FALSE(dir.Error());
  EXPECT_THAT(m_log.Texts(), IsEmpty());
  qelPathName entry;
  EXPECT_FALSE(dir.GetFirst(entry, "*", 7));
  EXPECT_TRUE(dir.Error());
  EXPECT_FALSE(entry.IsValid());
  EXPECT_THAT(m_log.All(), StartsWith("qelFile: Cannot enumerate files in directory '"));
  dir.Rewind();
  EXPECT_FALSE(dir.Error());
  EXPECT_TRUE(dir.IsOpened());
}

TEST_F(qelDirOpen, IsTrueForANameThatMakesNoPath) {
  qelDir dir;
  EXPECT_TRUE(dir.Open("<Nope>/x"));
  EXPECT_TRUE(dir.IsOpened());
  EXPECT_FALSE(dir.GetPathName().IsValid());
  qelPathName entry;
  EXPECT_FALSE(dir.GetFirst(entry, "*", 7));
  EXPECT_TRUE(dir.Error());
}

TEST_F(qelDirOpen, TakesTheDirectoryPathAndClearsTheError) {
  qelDir dir(m_dir.Path("missing").c_str());
  qelPathName entry;
  EXPECT_FALSE(dir.GetFirst(entry, "*", 7));
  EXPECT_TRUE(dir.Open((m_dir.Path() + "//").c_str()));
  EXPECT_FALSE(dir.Error());
  EXPECT_EQ(dir.GetPathName().GetFullPath(), (m_dir.Path() + "/").c_str());
  EXPECT_TRUE(dir.GetPathName().IsDirPath());
}

TEST_F(qelDirOpen, TakesItsOwnPath) {
  m_dir.Write("x");
  qelDir dir(m_dir.Path().c_str());
  EXPECT_TRUE(dir.Open(dir.GetPathName().c_str()));
  EXPECT_EQ(List(dir, "*", 7), Names{"x"});
}

// Enumeration -------------------------------------------------------------------------

TEST_F(qelDirGetFirst, GivesPathsOfTheRightKind) {
  m_dir.Write("a.tar.gz");
  qelDir dir(m_dir.Path().c_str());
  qelPathName entry;
  ASSERT_TRUE(dir.GetFirst(entry, "*", 7));
  EXPECT_EQ(entry.GetKind(), qelPathKindFile);
  EXPECT_EQ(entry.GetPath(), (m_dir.Path() + "/").c_str());
  EXPECT_EQ(entry.GetFileName(), "a.tar");
  EXPECT_EQ(entry.GetExtension(), "gz");
  EXPECT_FALSE(dir.GetNext(entry));
  m_dir.MakeDir("sub.dir");
  ASSERT_TRUE(dir.GetFirst(entry, "*", qelDirFilterDirs));
  EXPECT_EQ(entry.GetKind(), qelPathKindDir);
  EXPECT_EQ(entry.GetFullPath(), m_dir.Path("sub.dir/").c_str());
}

TEST_F(qelDirGetFirst, GivesNamesOfEveryShape) {
  const Names names = {"plain", ".ini", "a.b.c", "with blank", ".a.b",
                       "a..b",  "-x",   "$y",    "\xC3\xA4"};
  for (const std::string& name : names)
    m_dir.Write(name);
  EXPECT_EQ(List("*", 7), names);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(qelDirGetFirst, TellsAnEmptyResultFromAnError) {
  m_dir.Write("x");
  qelDir dir(m_dir.Path().c_str());
  qelPathName entry = qelPathName::MakeFilePath("C:/kept");
  const qelCString kept = entry.GetFullPath();
  EXPECT_FALSE(dir.GetFirst(entry, "*.none", 7));
  EXPECT_FALSE(dir.Error());
  EXPECT_EQ(entry.GetFullPath(), kept);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(qelDirGetFirst, LeavesHiddenEntriesOutUnlessTheFilterHasThem) {
  m_dir.Write("x");
  MakeHidden(m_dir.Write("y"));
  EXPECT_EQ(List("*", 3), Names{"x"});
  EXPECT_EQ(List("*", 7), (Names{"x", ".y"}));
}

TEST_F(qelDirGetFirst, YieldsTheDotsForTheirBitAlone) {
  m_dir.MakeDir("sub");
  EXPECT_EQ(List("*", 2), Names{"sub/"});
  EXPECT_EQ(List("*", 10), (Names{"sub/", "./", "../"}));
  EXPECT_EQ(List("*", 8), Names());
}

TEST_F(qelDirGetFirst, TakesAnEmptyPatternAsAStar) {
  m_dir.Write("x");
  m_dir.MakeDir("sub");
  EXPECT_EQ(List("", 7), (Names{"x", "sub/"}));
  EXPECT_EQ(List("", 7), List("*", 7));
  EXPECT_EQ(List("*.*", 7), List("*", 7));
}

TEST_F(qelDirGetNext, GivesNothingBeforeGetFirstOrAfterRewindOrAtTheEnd) {
  m_dir.Write("x");
  m_dir.Write("y");
  qelDir dir(m_dir.Path().c_str());
  qelPathName entry;
  EXPECT_FALSE(dir.GetNext(entry));
  EXPECT_TRUE(dir.GetFirst(entry, "*", 7));
  dir.Rewind();
  EXPECT_FALSE(dir.GetNext(entry));
  EXPECT_TRUE(dir.GetFirst(entry, "*", 7));
  EXPECT_TRUE(dir.GetNext(entry));
  EXPECT_FALSE(dir.GetNext(entry));
  EXPECT_FALSE(dir.GetNext(entry));
  EXPECT_FALSE(dir.Error());
  EXPECT_TRUE(dir.IsOpened());
}

TEST_F(qelDirGetNext, KeepsThePatternAndFilterOfItsEnumeration) {
  m_dir.Write("a1");
  m_dir.Write("a2");
  m_dir.Write("b");
  m_dir.MakeDir("a3");
  EXPECT_EQ(List("a*", qelDirFilterFiles), (Names{"a1", "a2"}));
}

TEST_F(qelDirHas, CountsHiddenFilesAndNoHiddenDirectories) {
  qelDir dir(m_dir.Path().c_str());
  EXPECT_FALSE(dir.HasFiles("*"));
  EXPECT_FALSE(dir.HasDirs("*"));
  MakeHidden(m_dir.Write("x"));
  MakeHidden(m_dir.MakeDir("sub"));
  EXPECT_TRUE(dir.HasFiles("*"));
  EXPECT_FALSE(dir.HasDirs("*"));
  m_dir.MakeDir("shown");
  EXPECT_TRUE(dir.HasDirs("*"));
  EXPECT_FALSE(dir.HasDirs("x*"));
  EXPECT_FALSE(dir.HasFiles("shown"));
}

TEST_F(qelDirGetCount, CountsWhatPasses) {
  qelDir dir(m_dir.Path().c_str());
  EXPECT_EQ(dir.GetCount("*", 7), 0u);
  for (const char* name : {"a", "b", "c.txt"})
    m_dir.Write(name);
  m_dir.MakeDir("sub");
  MakeHidden(m_dir.Write("h"));
  EXPECT_EQ(dir.GetCount("*", 7), 5u);
  EXPECT_EQ(dir.GetCount("*", 3), 4u);
  EXPECT_EQ(dir.GetCount("*", 2), 1u);
  EXPECT_EQ(dir.GetCount("*.txt", 7), 1u);
  EXPECT_EQ(dir.GetCount("*", 0), 0u);
  EXPECT_EQ(dir.GetCount("*", 15), 7u);
}

TEST_F(qelDirGetCount, DisturbsTheEnumerationUnderWay) {
  m_dir.Write("a");
  m_dir.Write("b");
  qelDir dir(m_dir.Path().c_str());
  qelPathName entry;
  EXPECT_TRUE(dir.GetFirst(entry, "*", 7));
  EXPECT_EQ(dir.GetCount("*", 7), 2u);
  EXPECT_FALSE(dir.GetNext(entry));
}

// Static operations -------------------------------------------------------------------

TEST_F(qelDirStatic, ExistsForDirectoriesAlone) {
  EXPECT_TRUE(qelDir::Exists(m_dir.Path().c_str()));
  EXPECT_FALSE(qelDir::Exists(m_dir.Write("x").c_str()));
  EXPECT_FALSE(qelDir::Exists(m_dir.Path("missing").c_str()));
}

TEST_F(qelDirStatic, CreateFailsForWhatExistsAndCreateRecursivelyDoesNot) {
  const std::string name = m_dir.Path("a");
  EXPECT_TRUE(qelDir::Create(name.c_str()));
  EXPECT_FALSE(qelDir::Create(name.c_str()));
  EXPECT_TRUE(qelDir::CreateRecursively(name.c_str()));
  EXPECT_TRUE(qelDir::CreateRecursively((name + "/b/c").c_str()));
  EXPECT_TRUE(m_dir.Has("a/b/c"));
  EXPECT_FALSE(qelDir::CreateRecursively(m_dir.Write("x").c_str()));
}

TEST_F(qelDirStatic, RemoveTakesEmptyAndMissingDirectories) {
  const std::string name = m_dir.MakeDir("a/b");
  EXPECT_FALSE(qelDir::Remove(m_dir.Path("a").c_str()));
  EXPECT_THAT(LogShape(m_log.All()), EndsWith("(errno = #)\n"));
  EXPECT_TRUE(qelDir::Remove(name.c_str()));
  EXPECT_TRUE(qelDir::Remove(name.c_str()));
  EXPECT_FALSE(m_dir.Has("a/b"));
}

TEST_F(qelDirStatic, GetRootDirListOwnsItsTexts) {
  qelPtrList* roots = qelDir::GetRootDirList();
  ASSERT_NE(roots, nullptr);
  EXPECT_GE(qelPtrList_GetCount(roots), 1u);
  for (size_t i = 0; i < qelPtrList_GetCount(roots); ++i) {
    const char* root = static_cast<const char*>(qelPtrListNode_GetData(qelPtrList_GetAt(roots, i)));
    EXPECT_THAT(root, EndsWith("/"));
    EXPECT_TRUE(qelDir::Exists(root)) << root;
  }
  qelPtrList_Delete(roots);
}

TEST_F(qelDirStatic, GetTimesStoresThoseThatAreAskedFor) {
  const qelLong now = static_cast<qelLong>(time(nullptr));
  qelDateTime access;
  qelDateTime modification;
  qelDateTime creation;
  EXPECT_TRUE(qelDir::GetTimes(m_dir.Path().c_str(), &access, &modification, &creation));
  for (const qelDateTime* stamp : {&access, &modification, &creation}) {
    EXPECT_TRUE(stamp->IsValid());
    EXPECT_NEAR(stamp->GetTicks(), now, 3);
  }
  EXPECT_TRUE(qelDir::GetTimes(m_dir.Path().c_str(), nullptr, nullptr, nullptr));
  qelDateTime untouched;
  EXPECT_FALSE(qelDir::GetTimes(m_dir.Path("missing").c_str(), &untouched, &untouched, &untouched));
  EXPECT_FALSE(untouched.IsValid());
}

// Removal of trees --------------------------------------------------------------------

TEST_F(qelDirRemoveRecursively, RemovesATreeWithHiddenFiles) {
  m_dir.MakeDir("tree/a/b");
  m_dir.MakeDir("tree/c");
  m_dir.Write("tree/x");
  m_dir.Write("tree/a/b/y");
  MakeHidden(m_dir.Write("tree/a/hidden"));
  MakeHidden(m_dir.MakeDir("tree/c/hidden"));
  m_dir.Write("beside");
  EXPECT_TRUE(qelDir::RemoveRecursively(m_dir.Path("tree").c_str(), 1));
  EXPECT_FALSE(m_dir.Has("tree"));
  EXPECT_TRUE(m_dir.Has("beside"));
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(qelDirRemoveRecursively, IsTrueForAMissingPathAndForNoTries) {
  m_dir.MakeDir("tree/a");
  EXPECT_TRUE(qelDir::RemoveRecursively(m_dir.Path("missing").c_str(), 3));
  EXPECT_TRUE(qelDir::RemoveRecursively(m_dir.Path("tree").c_str(), 0));
  EXPECT_TRUE(m_dir.Has("tree/a"));
}

TEST_F(qelDirRemoveRecursively, LeavesAFileAlone) {
  const std::string name = m_dir.Write("file");
  EXPECT_TRUE(qelDir::RemoveRecursively(name.c_str(), 3)); // no such directory
  EXPECT_TRUE(m_dir.Has("file"));
}

TEST_F(qelDirRemoveRecursively, TakesAPathWithSeparatorsAtItsEnd) {
  m_dir.MakeDir("tree/a");
  EXPECT_TRUE(qelDir::RemoveRecursively(m_dir.Path("tree//").c_str(), 1));
  EXPECT_FALSE(m_dir.Has("tree"));
}

TEST_F(qelDirRemoveRecursively, RemovesManyEntriesOfOneDirectory) {
  m_dir.MakeDir("tree");
  for (int i = 0; i < 600; ++i)
    m_dir.Write("tree/file " + std::to_string(i));
  EXPECT_TRUE(qelDir::RemoveRecursively(m_dir.Path("tree").c_str(), 1));
  EXPECT_FALSE(m_dir.Has("tree"));
}

// Another program may remove the same tree: what is gone counts as removed.
TEST_F(qelDirRemoveRecursively, CopesWithEntriesThatVanish) {
  for (int round = 0; round < 10; ++round) {
    m_dir.MakeDir("tree");
    for (int i = 0; i < 20; ++i) {
      const std::string sub = "tree/" + std::to_string(i);
      m_dir.MakeDir(sub);
      for (int j = 0; j < 10; ++j)
        m_dir.Write(sub + "/" + std::to_string(j));
    }
    std::atomic<bool> started{false};
    std::thread other([this, &started] {
      started = true;
      std::error_code ignored;
      for (int i = 19; i >= 0; --i) {
        const std::string sub = m_dir.Path("tree/" + std::to_string(i));
        for (int j = 9; j >= 0; --j)
          std::filesystem::remove(TempDir::Native(sub + "/" + std::to_string(j)), ignored);
        std::filesystem::remove(TempDir::Native(sub), ignored);
      }
    });
    while (!started)
      std::this_thread::yield();
    // Systems differ in how an entry looks while it is vanishing, so one attempt may not be enough.
    qelDir::RemoveRecursively(m_dir.Path("tree").c_str(), 3);
    other.join();
    EXPECT_TRUE(qelDir::RemoveRecursively(m_dir.Path("tree").c_str(), 1));
    EXPECT_FALSE(m_dir.Has("tree"));
  }
}

// Random trees ------------------------------------------------------------------------

TEST_F(qelDirModel, WalksTheSameTreeAsTheRuntimeLibrary) {
  std::mt19937 random(31337);
  std::vector<std::string> dirs = {""};
  Names expected;
  for (int i = 0; i < 400; ++i) {
    const std::string name = dirs[random() % dirs.size()] + std::to_string(random() % 50) +
                             (random() % 3 == 0 ? ".x" : "");
    if (m_dir.Has(name))
      continue;
    if (random() % 4 == 0) {
      m_dir.MakeDir(name);
      dirs.push_back(name + "/");
      expected.insert(name + "/");
    } else {
      m_dir.Write(name);
      expected.insert(name);
    }
  }
  Names found;
  std::vector<qelPathName> open = {qelPathName::MakeDirPath(m_dir.Path().c_str())};
  while (!open.empty()) {
    qelDir dir(open.back().c_str());
    open.pop_back();
    qelPathName entry;
    for (bool more = dir.GetFirst(entry, "*", 7); more; more = dir.GetNext(entry)) {
      found.insert(std::string(entry.c_str()).substr(m_dir.Path().size() + 1));
      if (entry.IsDirPath())
        open.push_back(entry);
    }
  }
  EXPECT_EQ(found, expected);
  EXPECT_TRUE(qelDir::RemoveRecursively(m_dir.Path().c_str(), 1));
  EXPECT_FALSE(std::filesystem::exists(TempDir::Native(m_dir.Path())));
}

#include <filesystem>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include <examples/mediaquery/FolderWalk.h>
#include <tests/support/LogCapture.h>
#include <tests/support/TempDir.h>

using namespace mediaquery;

namespace {

// The walked files' paths below the root.
class Walked {
public:
  explicit Walked(const TempDir& dir) : m_root(dir.Path() + "/") {}

  FolderWalk::Visitor Visitor() {
    return [this](const qelPathName& file) {
      const std::string path = file.GetFullPath().c_str();
      EXPECT_EQ(path.compare(0, m_root.size(), m_root), 0) << path;
      names.insert(path.substr(m_root.size()));
      ++count;
      return true;
    };
  }

  std::set<std::string> names;
  int count = 0;

private:
  std::string m_root;
};

qelPathName Root(const TempDir& dir) {
  return qelPathName::MakeDirPath(dir.Path().c_str());
}

} // namespace

TEST(FolderWalk, VisitsEveryFileOnce) {
  const TempDir dir;
  dir.MakeDir("a/b/c");
  dir.MakeDir("empty");
  for (const char* name : {"1.png", "noextension", "a/2.png", "a/b/c/3.txt", "a/b/c/4"})
    dir.Write(name);
  Walked walked(dir);
  FolderWalk walk(walked.Visitor());
  EXPECT_TRUE(walk.Run(Root(dir)));
  EXPECT_EQ(walked.names,
            (std::set<std::string>{"1.png", "noextension", "a/2.png", "a/b/c/3.txt", "a/b/c/4"}));
  EXPECT_EQ(walked.count, 5);
  EXPECT_EQ(walk.UnreadableFolders(), 0u);
  EXPECT_EQ(walk.RepeatedFolders(), 0u);
}

TEST(FolderWalk, StopsWhenTheVisitorSaysSo) {
  const TempDir dir;
  for (const char* name : {"1", "2", "3", "4"})
    dir.Write(name);
  int count = 0;
  FolderWalk walk([&count](const qelPathName&) { return ++count < 2; });
  EXPECT_TRUE(walk.Run(Root(dir)));
  EXPECT_EQ(count, 2);
}

TEST(FolderWalk, FailsWhenTheRootIsMissing) {
  LogCapture log;
  const TempDir dir;
  FolderWalk walk([](const qelPathName&) { return true; });
  EXPECT_FALSE(walk.Run(qelPathName::MakeDirPath(dir.Path("missing").c_str())));
}

TEST(FolderWalk, PassesByFoldersThatVanishWhileItWalks) {
  LogCapture log;
  const TempDir dir;
  dir.Write("first");
  for (int i = 0; i < 10; ++i)
    dir.Write(dir.MakeDir(std::to_string(i)).substr(dir.Path().size() + 1) + "/file");
  int count = 0;
  FolderWalk walk([&](const qelPathName&) {
    ++count;
    for (int i = 0; i < 10; ++i)
      std::filesystem::remove_all(TempDir::Native(dir.Path(std::to_string(i))));
    return true;
  });
  EXPECT_TRUE(walk.Run(Root(dir)));
  EXPECT_EQ(count, 1);
  EXPECT_LE(walk.UnreadableFolders(), 10u);
}

TEST(FolderWalk, KeepsNoFolderOpenWhileItGoesDeeper) {
  const TempDir dir;
  std::string deep = "d";
  for (int i = 0; i < 60; ++i)
    deep += "/d";
  dir.MakeDir(deep);
  dir.Write(deep + "/file");
  Walked walked(dir);
  FolderWalk walk(walked.Visitor());
  EXPECT_TRUE(walk.Run(Root(dir)));
  EXPECT_EQ(walked.names, (std::set<std::string>{deep + "/file"}));
}

#include <qel/cache/FileCacheManager.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/core/DateTime.h>
#include <tests/cache/FileCacheFixture.h>
#include <qel/multiplatform/qelFilePrivate.h>
#include <qel/multiplatform/qelPath.h>
#include <tests/support/Clock.h>
#include <tests/support/Gate.h>
#include <tests/support/LogCapture.h>
#include <tests/support/RunProgram.h>
#include <tests/support/Stress.h>
#include <tests/support/TempDir.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class FileCacheNew : public FileCacheTest {};
class FileCacheOpenCachedFile : public FileCacheTest {};
class FileCacheSetCachedFileState : public FileCacheTest {};
class FileCacheRemoveTempFile : public FileCacheTest {};
class FileCacheEviction : public FileCacheTest {};
class FileCacheEmpty : public FileCacheTest {};
class FileCacheStress : public FileCacheTest {};

// Shows the operations of subclasses.
class OpenManager : public qelFileCacheManager {
public:
  explicit OpenManager(const qelPathName& base)
      : qelFileCacheManager(100, base, qelCString(), qelCString()) {}
  using qelFileCacheManager::Cache_Build;
  using qelFileCacheManager::Cache_CheckMaxSize;
  using qelFileCacheManager::Cache_Clear;
  using qelFileCacheManager::Cache_FileAdded;
  using qelFileCacheManager::Cache_FileRemoved;
  using qelFileCacheManager::CreateCachedFile;
  using qelFileCacheManager::CreateSubDirectory;
  using qelFileCacheManager::FetchInfoForFile;
};

} // namespace

TEST_F(FileCacheNew, CreatesBothSubDirectories) {
  ASSERT_NE(Make(100), nullptr);
  EXPECT_TRUE(std::filesystem::is_directory(TempDir::Native(FolderPath())));
}

TEST_F(FileCacheNew, TakesTheUsersFolderForAnEmptyBase) {
  const std::string name = "qel-test-" + std::to_string(std::random_device()());
  const ManagerPtr cache(qelFileCacheManager::New(100, "", name.c_str(), ""));
  ASSERT_NE(cache, nullptr);
  const std::string base = qelPathName::MakeTempDirPath().c_str();
  EXPECT_EQ(cache->GetFullPath("a").c_str(), base + name + "/a");
  EXPECT_TRUE(cache->Empty(true));
}

TEST_F(FileCacheNew, IgnoresTheSecondSubDirectoryWithoutTheFirst) {
  const ManagerPtr cache(qelFileCacheManager::New(100, m_dir.Path().c_str(), "", "two"));
  ASSERT_NE(cache, nullptr);
  EXPECT_EQ(cache->GetFullPath("a").c_str(), m_dir.Path() + "/a");
  EXPECT_FALSE(std::filesystem::exists(TempDir::Native(m_dir.Path() + "/two")));
}

TEST_F(FileCacheNew, FailsWithoutItsBaseDirectory) {
  LogCapture log;
  EXPECT_EQ(qelFileCacheManager::New(1, (m_dir.Path() + "/none").c_str(), "a", ""), nullptr);
  ASSERT_EQ(log.Lines().size(), 1u);
  EXPECT_EQ(log.Lines()[0].text,
            "Cannot create temporary directory, base directory is unspecified\n");
  EXPECT_EQ(log.Lines()[0].module, 36u);
  EXPECT_EQ(log.Lines()[0].level, 1u);
}

TEST_F(FileCacheNew, FailsWhenASubDirectoryCannotBeMade) {
  std::ofstream(TempDir::Native(m_dir.Path() + "/file")) << "x";
  const std::string base = m_dir.Path() + "/";
  struct Row {
    const char* one;
    const char* two;
    const char* refused;
    const char* shown;
  };
  for (const Row& row : {Row{"file", "", "file", "/file"}, Row{"file", "b", "file", "/file/b"}}) {
    LogCapture log;
    EXPECT_EQ(qelFileCacheManager::New(1, m_dir.Path().c_str(), row.one, row.two), nullptr);
    const std::vector<std::string> texts = log.Texts();
    ASSERT_GE(texts.size(), 2u);
    EXPECT_EQ(texts[texts.size() - 2],
              "Cannot create sub directory '" + std::string(row.refused) + "'\n");
    EXPECT_EQ(texts.back(), "Cannot create temporary directory '" + base + row.shown + "'\n");
  }
}

TEST_F(FileCacheNew, TakesOverWhatStandsInTheDirectory) {
  Add(*Make(1000), "a.b", 30);
  std::filesystem::create_directory(Native("folder"));
  Write("late", std::string(40, 'x'));
  Write(".hidden", std::string(20, 'x'));
  const ManagerPtr cache = Make(95);
  EXPECT_TRUE(Has(*cache, "a.b"));
  EXPECT_TRUE(Has(*cache, "late"));
  EXPECT_TRUE(Has(*cache, ".hidden"));
  // 90 bytes were counted: six more pass the limit.
  Add(*cache, "new", 6);
  EXPECT_EQ(Listing().size(), 4u);
  EXPECT_TRUE(std::filesystem::is_directory(Native("folder")));
}

TEST_F(FileCacheNew, StampsFilesWithTheirLastAccess) {
  Make(1000);
  Write("old", "1234");
  OpenManager cache(qelPathName::MakeDirPath(FolderPath().c_str()));
  int64_t size = 0;
  int64_t time = 0;
  qelDateTime access;
  ASSERT_TRUE(qelFile::GetTimes(FilePath("old").c_str(), &access, nullptr, nullptr));
  EXPECT_TRUE(cache.FetchInfoForFile("old", &size, &time));
  EXPECT_EQ(size, 4);
  EXPECT_EQ(time, access.GetTicks());
  EXPECT_FALSE(cache.FetchInfoForFile("none", &size, &time));
  std::filesystem::create_directory(Native("folder"));
  EXPECT_FALSE(cache.FetchInfoForFile("folder", &size, &time));
}

struct ModeRow {
  int mode;
  bool newWrites;      // a new file can be written
  bool existingWrites; // an existing one can
};

TEST_F(FileCacheOpenCachedFile, OpensByTheTableOfModes) {
  LogCapture log;
  const ManagerPtr cache = Make(1000);
  for (const ModeRow& row :
       {ModeRow{1, false, false}, ModeRow{2, false, true}, ModeRow{0, true, false},
        ModeRow{4, true, false}, ModeRow{-1, true, false}}) {
    const std::string name = "m" + std::to_string(row.mode);
    bool created = false;
    FilePtr file = Open(*cache, name, row.mode, &created);
    ASSERT_NE(file, nullptr);
    EXPECT_TRUE(created);
    EXPECT_EQ(file->Write("x", 1) == 1, row.newWrites) << row.mode;
    cache->SetCachedFileState(name.c_str(), file.get(), true);
    file = Open(*cache, name, row.mode, &created);
    ASSERT_NE(file, nullptr);
    EXPECT_FALSE(created);
    EXPECT_EQ(file->Write("y", 1) == 1, row.existingWrites) << row.mode;
    char byte = 0;
    EXPECT_GE(file->Seek(0, 0), 0);
    EXPECT_GE(file->Read(&byte, 1), 0) << row.mode;
  }
}

TEST_F(FileCacheOpenCachedFile, AsksForANewFileOnlyWithModeThree) {
  const ManagerPtr cache = Make(1000);
  Add(*cache, "a", 5);
  bool created = true;
  EXPECT_EQ(cache->OpenCachedFile("a", &created, 3), nullptr);
  EXPECT_FALSE(created);
  EXPECT_TRUE(Has(*cache, "a"));
}

TEST_F(FileCacheOpenCachedFile, MakesAVanishedFileAnew) {
  const ManagerPtr cache = Make(1000);
  Removals removals(*cache);
  Add(*cache, "a", 5);
  std::filesystem::remove(Native("a"));
  bool created = false;
  const FilePtr file = Open(*cache, "a", 0, &created);
  ASSERT_NE(file, nullptr);
  EXPECT_TRUE(created);
  EXPECT_EQ(file->Length(), 0);
  EXPECT_THAT(removals.names, ElementsAre("a"));
}

// Mode 3 is refused by the record alone.
TEST_F(FileCacheOpenCachedFile, RefusesModeThreeEvenForAVanishedFile) {
  const ManagerPtr cache = Make(1000);
  Add(*cache, "a", 5);
  std::filesystem::remove(Native("a"));
  bool created = true;
  EXPECT_EQ(cache->OpenCachedFile("a", &created, 3), nullptr);
  EXPECT_FALSE(created);
}

TEST_F(FileCacheOpenCachedFile, FailsOnAFileThatItDoesNotKnow) {
  LogCapture log;
  const ManagerPtr cache = Make(1000);
  Write("stranger", "x");
  bool created = true;
  EXPECT_EQ(cache->OpenCachedFile("stranger", &created, 1), nullptr);
  EXPECT_FALSE(created);
  EXPECT_TRUE(OnDisk("stranger"));
}

TEST_F(FileCacheOpenCachedFile, RefusesNamesThatLeadElsewhere) {
  const ManagerPtr cache = Make(1000);
  std::ofstream(TempDir::Native(m_dir.Path() + "/one/out")) << "x";
  for (const char* name : {"", ".", "..", "../out", "a/b", "a\\b", "..\\out", "a.", "/etc", "a/"}) {
    LogCapture log;
    bool created = true;
    EXPECT_EQ(cache->OpenCachedFile(name, &created, 0), nullptr) << name;
    EXPECT_FALSE(created) << name;
    EXPECT_FALSE(cache->RemoveTempFile(name)) << name;
    ASSERT_EQ(log.Lines().size(), 2u) << name;
    EXPECT_EQ(log.Texts()[0], "No name for a cached file: '" + std::string(name) + "'\n");
    EXPECT_EQ(log.Lines()[0].module, 36u);
  }
  EXPECT_TRUE(std::filesystem::exists(TempDir::Native(m_dir.Path() + "/one/out")));
  EXPECT_THAT(Listing(), IsEmpty());
}

TEST_F(FileCacheOpenCachedFile, TakesNamesThatOnlyLookOdd) {
  const ManagerPtr cache = Make(1000);
  for (const char* name : {".a", "a..b", "a b", "%41", "caf\xC3\xA9.x.y"}) {
    Add(*cache, name, 3);
    EXPECT_TRUE(OnDisk(name)) << name;
    EXPECT_EQ(cache->GetFullPath(name).c_str(), FilePath(name)) << name;
    EXPECT_TRUE(Has(*cache, name)) << name;
  }
}

TEST_F(FileCacheOpenCachedFile, LetsAReaderWaitForTheWriter) {
  const ManagerPtr cache = Make(1000);
  bool created = false;
  const FilePtr writer = Open(*cache, "a", 3, &created);
  ASSERT_TRUE(created);
  std::atomic<bool> ended{false};
  std::string text(10, '?');
  bool readerCreated = true;
  std::thread reader([&] {
    const FilePtr file = Open(*cache, "a", 1, &readerCreated);
    EXPECT_TRUE(ended);
    if (file != nullptr)
      text.resize(static_cast<size_t>(file->Read(&text[0], text.size())));
  });
  EXPECT_EQ(writer->Write("whole", 5), 5u);
  ended = true;
  cache->SetCachedFileState("a", writer.get(), true);
  reader.join();
  EXPECT_FALSE(readerCreated);
  EXPECT_EQ(text, "whole");
}

TEST_F(FileCacheOpenCachedFile, LetsAWaitingReaderWriteWhenTheWriterGaveUp) {
  const ManagerPtr cache = Make(1000);
  bool created = false;
  const FilePtr writer = Open(*cache, "a", 3, &created);
  ASSERT_TRUE(created);
  bool readerCreated = false;
  std::thread reader([&] { Open(*cache, "a", 0, &readerCreated); });
  cache->SetCachedFileState("a", writer.get(), false);
  reader.join();
  EXPECT_TRUE(readerCreated);
}

TEST_F(FileCacheOpenCachedFile, RefusesModeThreeOnceTheWriterIsDone) {
  const ManagerPtr cache = Make(1000);
  bool created = false;
  const FilePtr writer = Open(*cache, "a", 3, &created);
  std::atomic<bool> ended{false};
  bool secondCreated = true;
  std::thread second([&] {
    EXPECT_EQ(Open(*cache, "a", 3, &secondCreated), nullptr);
    EXPECT_TRUE(ended);
  });
  ended = true;
  cache->SetCachedFileState("a", writer.get(), true);
  second.join();
  EXPECT_FALSE(secondCreated);
}

TEST_F(FileCacheOpenCachedFile, LetsOneOfManyThreadsCreateTheFile) {
  const ManagerPtr cache = Make(1000);
  const int count = 4;
  Gate gate(count);
  std::atomic<int> writers{0};
  std::atomic<int> readers{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i)
    threads.emplace_back([&] {
      gate.Pass();
      bool created = false;
      const FilePtr file = Open(*cache, "a", 0, &created);
      char bytes[8];
      if (created) {
        ++writers;
        EXPECT_EQ(file->Write("whole", 5), 5u);
        cache->SetCachedFileState("a", file.get(), true);
      } else if (file != nullptr && file->Read(bytes, sizeof bytes) == 5) {
        ++readers;
      }
    });
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(writers, 1);
  EXPECT_EQ(readers, count - 1);
}

TEST_F(FileCacheSetCachedFileState, ClosesAndRemovesWhatIsNotComplete) {
  const ManagerPtr cache = Make(1000);
  Removals removals(*cache);
  bool created = false;
  const FilePtr file = Open(*cache, "a", 3, &created);
  EXPECT_EQ(file->Write("x", 1), 1u);
  cache->SetCachedFileState("a", file.get(), false);
  EXPECT_FALSE(file->IsOpened());
  EXPECT_FALSE(OnDisk("a"));
  EXPECT_THAT(removals.names, ElementsAre("a"));
  EXPECT_NE(Open(*cache, "a", 3, &created), nullptr);
  EXPECT_TRUE(created);
}

TEST_F(FileCacheSetCachedFileState, LeavesACompleteFileOpen) {
  const ManagerPtr cache = Make(1000);
  bool created = false;
  const FilePtr file = Open(*cache, "a", 3, &created);
  cache->SetCachedFileState("a", file.get(), true);
  EXPECT_TRUE(file->IsOpened());
  EXPECT_EQ(file->Write("x", 1), 1u);
}

TEST_F(FileCacheSetCachedFileState, ChangesNothingForAnUnknownName) {
  const ManagerPtr cache = Make(1000);
  Write("b", "x");
  qelFile file(FilePath("b").c_str(), qelFileModeRead);
  cache->SetCachedFileState("b", &file, false);
  EXPECT_TRUE(file.IsOpened());
  EXPECT_TRUE(OnDisk("b"));
}

TEST_F(FileCacheSetCachedFileState, CountsAFileAgainThatIsEndedAgain) {
  ScopedClock clock(1000);
  const ManagerPtr cache = Make(10);
  bool created = false;
  FilePtr file = Open(*cache, "a", 3, &created);
  ASSERT_EQ(file->Write("xxxx", 4), 4u);
  cache->SetCachedFileState("a", file.get(), true);
  cache->SetCachedFileState("a", file.get(), true);
  file.reset();
  clock.Set(1001);
  Add(*cache, "b", 2);
  EXPECT_THAT(Listing(), ElementsAre("a", "b"));
  clock.Set(1002);
  Add(*cache, "c", 1);
  EXPECT_THAT(Listing(), ElementsAre("b", "c"));
}

TEST_F(FileCacheSetCachedFileState, CountsFromTheEndOfTheWritingOnAndAsANewUse) {
  ScopedClock clock(1000);
  const ManagerPtr cache = Make(10);
  bool created = false;
  FilePtr file = Open(*cache, "slow", 3, &created);
  ASSERT_EQ(file->Write("xxxxxxx", 7), 7u);
  clock.Set(1001);
  Add(*cache, "quick", 5);
  // Seven bytes are on the disk, and none of them counts yet.
  EXPECT_THAT(Listing(), ElementsAre("quick", "slow"));
  clock.Set(1002);
  cache->SetCachedFileState("slow", file.get(), true);
  EXPECT_THAT(Listing(), ElementsAre("slow"));
}

TEST_F(FileCacheSetCachedFileState, ChangesNothingForANameOfNoFile) {
  const ManagerPtr cache = Make(1000);
  Write("b", "x");
  qelFile file(FilePath("b").c_str(), qelFileModeRead);
  for (const char* name : {"", "..", "a/b"})
    cache->SetCachedFileState(name, &file, false);
  EXPECT_TRUE(file.IsOpened());
}

TEST_F(FileCacheRemoveTempFile, RemovesFileAndRecord) {
  const ManagerPtr cache = Make(1000);
  Removals removals(*cache);
  Add(*cache, "a", 5);
  EXPECT_TRUE(cache->RemoveTempFile("a"));
  EXPECT_FALSE(OnDisk("a"));
  EXPECT_THAT(removals.names, ElementsAre("a"));
  EXPECT_FALSE(Has(*cache, "a"));
}

TEST_F(FileCacheRemoveTempFile, RemovesAFileWithoutARecordInSilence) {
  const ManagerPtr cache = Make(1000);
  Removals removals(*cache);
  Write("stranger", "x");
  EXPECT_TRUE(cache->RemoveTempFile("stranger"));
  EXPECT_FALSE(OnDisk("stranger"));
  EXPECT_TRUE(cache->RemoveTempFile("none"));
  EXPECT_THAT(removals.names, IsEmpty());
}

TEST_F(FileCacheRemoveTempFile, KeepsASumThatTheFileAloneMadeUp) {
  ScopedClock clock(1000);
  const ManagerPtr cache = Make(10);
  Add(*cache, "a", 8);
  EXPECT_TRUE(cache->RemoveTempFile("a"));
  Add(*cache, "b", 2);
  EXPECT_TRUE(OnDisk("b"));
  // The eight bytes still count, so one more passes the limit.
  clock.Set(1001);
  Add(*cache, "c", 1);
  EXPECT_THAT(Listing(), ElementsAre("c"));
}

TEST_F(FileCacheRemoveTempFile, TakesTheBytesOfOneOfSeveralOffTheSum) {
  const ManagerPtr cache = Make(10);
  Add(*cache, "a", 4);
  Add(*cache, "b", 4);
  EXPECT_TRUE(cache->RemoveTempFile("a"));
  Add(*cache, "c", 6);
  EXPECT_THAT(Listing(), ElementsAre("b", "c"));
}

TEST_F(FileCacheRemoveTempFile, LetsTheCallbackEmptyTheCache) {
  const ManagerPtr cache = Make(1000);
  Add(*cache, "a", 5);
  Add(*cache, "b", 5);
  cache->SetFileRemovedCallBack(
      [](void* context, const char*) { static_cast<qelFileCacheManager*>(context)->Empty(false); },
      cache.get());
  EXPECT_TRUE(cache->RemoveTempFile("a"));
  EXPECT_THAT(Listing(), IsEmpty());
}

// The calls that take no lock go on in another thread while the callback holds it.
TEST_F(FileCacheRemoveTempFile, CallsBackInItsThreadWithTheLockHeld) {
  const ManagerPtr cache = Make(1000);
  Add(*cache, "a", 5);
  struct Scene {
    qelFileCacheManager* cache;
    std::thread::id thread;
    std::string path;
    bool onDisk;
    std::string folder;
  } scene = {cache.get(), {}, "", true, FolderPath()};
  cache->SetFileRemovedCallBack(
      [](void* context, const char* name) {
        Scene* seen = static_cast<Scene*>(context);
        seen->thread = std::this_thread::get_id();
        seen->onDisk = std::filesystem::exists(TempDir::Native(seen->folder + "/" + name));
        std::thread([seen] {
          seen->path = seen->cache->GetFullPath("b").c_str();
          seen->cache->SetFileRemovedCallBack(nullptr, nullptr);
        }).join();
      },
      &scene);
  EXPECT_TRUE(cache->RemoveTempFile("a"));
  EXPECT_EQ(scene.thread, std::this_thread::get_id());
  EXPECT_EQ(scene.path, FilePath("b"));
  EXPECT_FALSE(scene.onDisk);
  Add(*cache, "a", 5);
  EXPECT_TRUE(cache->RemoveTempFile("a"));
}

TEST_F(FileCacheEviction, RemovesTheFilesThatWereUsedLongestAgo) {
  ScopedClock clock(1000);
  const ManagerPtr cache = Make(30);
  Removals removals(*cache);
  for (int i = 0; i < 3; ++i) {
    clock.Set(1000 + i);
    Add(*cache, std::string(1, static_cast<char>('a' + i)), 10);
  }
  EXPECT_THAT(removals.names, IsEmpty());
  clock.Set(1010);
  EXPECT_TRUE(Has(*cache, "a"));
  clock.Set(1011);
  Add(*cache, "d", 15);
  EXPECT_THAT(removals.names, ElementsAre("b", "c"));
  EXPECT_THAT(Listing(), ElementsAre("a", "d"));
}

TEST_F(FileCacheEviction, SparesFilesThatAreBeingWritten) {
  ScopedClock clock(1000);
  const ManagerPtr cache = Make(10);
  bool created = false;
  const FilePtr writer = Open(*cache, "w", 3, &created);
  clock.Set(2000);
  Add(*cache, "a", 6);
  clock.Set(2001);
  Add(*cache, "b", 6);
  EXPECT_THAT(Listing(), ElementsAre("b", "w"));
  EXPECT_EQ(writer->Write("x", 1), 1u);
  cache->SetCachedFileState("w", writer.get(), true);
  EXPECT_THAT(Listing(), ElementsAre("b", "w"));
}

// A file as large as all together leaves the sum as it is, so the check comes to the file in writing.
TEST_F(FileCacheEviction, StopsAtAFileThatIsBeingWrittenAboveTheLimitToo) {
  const LogCapture log;
  const ManagerPtr cache = Make(10);
  Removals removals(*cache);
  bool created = false;
  const FilePtr writer = Open(*cache, "w", 3, &created);
  Add(*cache, "big", 20);
  EXPECT_TRUE(OnDisk("w"));
  EXPECT_EQ(std::count(removals.names.begin(), removals.names.end(), "w"), 0);
}

TEST_F(FileCacheEmpty, DeletesAllFilesWithoutTheCallback) {
  const ManagerPtr cache = Make(1000);
  Removals removals(*cache);
  Add(*cache, "a", 5);
  Write("stranger", "x");
  EXPECT_TRUE(cache->Empty(false));
  EXPECT_THAT(Listing(), IsEmpty());
  EXPECT_THAT(removals.names, IsEmpty());
  // Nothing of it is known any more.
  bool created = false;
  EXPECT_NE(Open(*cache, "a", 3, &created), nullptr);
  EXPECT_TRUE(created);
}

TEST_F(FileCacheEmpty, StartsTheSumAfresh) {
  ScopedClock clock(1000);
  const ManagerPtr cache = Make(10);
  Add(*cache, "a", 9);
  EXPECT_TRUE(cache->Empty(false));
  Removals removals(*cache);
  Add(*cache, "b", 10);
  EXPECT_THAT(Listing(), ElementsAre("b"));
  EXPECT_THAT(removals.names, IsEmpty());
}

// More entries than a system hands out in one piece.
TEST_F(FileCacheEmpty, DeletesALargeDirectory) {
  const ManagerPtr cache = Make(1000);
  for (int i = 0; i < 400; ++i)
    Write("file with a name that takes some room " + std::to_string(i), "");
  EXPECT_TRUE(cache->Empty(false));
  EXPECT_THAT(Listing(), IsEmpty());
}

TEST_F(FileCacheEmpty, RemovesTheDirectoryWhenAsked) {
  LogCapture log;
  const ManagerPtr cache = Make(1000);
  Add(*cache, "a", 5);
  EXPECT_TRUE(cache->Empty(true));
  EXPECT_FALSE(std::filesystem::exists(TempDir::Native(FolderPath())));
}

TEST_F(FileCacheEmpty, FailsOnADirectoryThatIsNotEmpty) {
  LogCapture log;
  const ManagerPtr cache = Make(1000);
  std::filesystem::create_directory(Native("folder"));
  EXPECT_TRUE(cache->Empty(false));
  EXPECT_FALSE(cache->Empty(true));
  EXPECT_TRUE(std::filesystem::is_directory(Native("folder")));
}

TEST(FileCacheManager, ForgetsAFileWithoutTouchingTheDisk) {
  TempDir dir;
  OpenManager cache(qelPathName::MakeDirPath(dir.Path().c_str()));
  Removals removals(cache);
  cache.Cache_FileAdded("a");
  cache.Cache_FileRemoved("a");
  LogCapture log;
  cache.Cache_FileRemoved("a");
  EXPECT_THAT(log.Texts(), ElementsAre("Cannot find file to remove 'a' in cache information\n"));
  EXPECT_THAT(removals.names, IsEmpty());
}

TEST(FileCacheManager, KeepsItsFilesWhenItIsDeleted) {
  TempDir dir;
  ManagerPtr cache(qelFileCacheManager::New(100, dir.Path().c_str(), "", ""));
  bool created = false;
  const FilePtr file(cache->OpenCachedFile("a", &created, 3));
  cache.reset();
  EXPECT_TRUE(std::filesystem::exists(TempDir::Native(dir.Path() + "/a")));
}

// What another process does with the directory that it is started in: takes over what is there, looks
// for "first" and writes what it found, adds "second" and removes "shared".
TEST(FileCacheProcessChild, DISABLED_SharesADirectory) {
  const std::string folder = std::filesystem::current_path().u8string();
  const ManagerPtr cache(qelFileCacheManager::New(1000, folder.c_str(), "cache", ""));
  ASSERT_NE(cache, nullptr);
  bool created = true;
  FilePtr file(cache->OpenCachedFile("first", &created, 1));
  ASSERT_NE(file, nullptr);
  ASSERT_FALSE(created);
  char bytes[8] = "";
  ASSERT_EQ(file->Read(bytes, sizeof bytes), 3);
  file.reset(cache->OpenCachedFile("second", &created, 3));
  ASSERT_TRUE(created);
  ASSERT_EQ(file->Write(bytes, 3), 3u);
  cache->SetCachedFileState("second", file.get(), true);
  ASSERT_TRUE(cache->RemoveTempFile("shared"));
}

// Takes the directory over, changes it and starts anew, a number of times.
TEST(FileCacheProcessChild, DISABLED_RestartsOverAndOver) {
  const std::string folder = std::filesystem::current_path().u8string();
  const LogCapture log; // the other process is in the way at times
  std::mt19937 random(std::random_device{}());
  for (int i = 0; i < 30; ++i) {
    const ManagerPtr cache(qelFileCacheManager::New(300, folder.c_str(), "cache", ""));
    ASSERT_NE(cache, nullptr);
    for (int k = 0; k < 10; ++k) {
      const std::string name(1, static_cast<char>('a' + random() % 6));
      bool created = false;
      const FilePtr file(cache->OpenCachedFile(name.c_str(), &created, 0));
      if (created) {
        ASSERT_EQ(file->Write(std::string(100, name[0]).data(), 100), 100u);
        cache->SetCachedFileState(name.c_str(), file.get(), k % 4 != 0);
      } else if (file == nullptr) {
        cache->RemoveTempFile(name.c_str()); // the other process's, or one that vanished
      }
    }
  }
}

namespace {

// Runs a test of this program in a process of its own, in a directory.
ProgramResult RunChild(const std::string& test, const std::string& folder) {
  const qelOwnedText program(qelPath_GetApplicationFileName());
  return RunProgram(
      program.get(),
      {"--gtest_also_run_disabled_tests", "--gtest_filter=FileCacheProcessChild.DISABLED_" + test},
      folder);
}

} // namespace

TEST(FileCacheProcess, FindsWhatAnotherLeftAndOutlivesWhatItTook) {
  const TempDir dir;
  const auto start = [&] {
    return ManagerPtr(qelFileCacheManager::New(1000, dir.Path().c_str(), "cache", ""));
  };
  const ManagerPtr cache = start();
  bool created = false;
  for (const char* name : {"first", "shared"}) {
    const FilePtr file(cache->OpenCachedFile(name, &created, 3));
    ASSERT_EQ(file->Write("one", 3), 3u);
    cache->SetCachedFileState(name, file.get(), true);
  }
  const ProgramResult child = RunChild("SharesADirectory", dir.Path());
  ASSERT_EQ(child.status, 0) << child.out << child.err;

  // A file that the other one took is made anew; one that it made is not known before a restart.
  EXPECT_NE(FilePtr(cache->OpenCachedFile("shared", &created, 1)), nullptr);
  EXPECT_TRUE(created);
  {
    const LogCapture log;
    EXPECT_EQ(cache->OpenCachedFile("second", &created, 1), nullptr);
  }
  const ManagerPtr restarted = start();
  const FilePtr file(restarted->OpenCachedFile("second", &created, 1));
  ASSERT_NE(file, nullptr);
  EXPECT_FALSE(created);
  EXPECT_EQ(file->Length(), 3);
}

TEST(FileCacheProcess, RestartsOnADirectoryThatAnotherChanges) {
  const TempDir dir;
  ProgramResult results[2];
  std::thread other([&] { results[1] = RunChild("RestartsOverAndOver", dir.Path()); });
  results[0] = RunChild("RestartsOverAndOver", dir.Path());
  other.join();
  for (const ProgramResult& result : results)
    EXPECT_EQ(result.status, 0) << result.out << result.err;
  // What is left can be taken over, and emptied.
  const ManagerPtr cache(qelFileCacheManager::New(300, dir.Path().c_str(), "cache", ""));
  EXPECT_TRUE(cache->Empty(true));
  EXPECT_FALSE(std::filesystem::exists(TempDir::Native(dir.Path("cache"))));
}

TEST_F(FileCacheStress, GivesEachThreadWholeFiles) {
  const ManagerPtr cache = Make(400);
  std::atomic<int> opened{0};
  const int rounds = StressRounds();
  const auto use = [&](unsigned seed) {
    std::mt19937 random(seed);
    for (int i = 0; i < rounds; ++i) {
      const std::string name(1, static_cast<char>('a' + random() % 8));
      bool created = false;
      const FilePtr file(cache->OpenCachedFile(name.c_str(), &created, 0));
      if (file == nullptr)
        continue;
      ++opened;
      const std::string bytes(100, name[0]);
      if (created) {
        EXPECT_EQ(file->Write(bytes.data(), bytes.size()), bytes.size());
        cache->SetCachedFileState(name.c_str(), file.get(), i % 5 != 0);
      } else {
        std::string read(101, '?');
        const int count = file->Read(&read[0], read.size());
        EXPECT_EQ(read.substr(0, static_cast<size_t>(std::max(count, 0))), bytes);
      }
    }
  };
  std::vector<std::thread> threads;
  for (unsigned seed = 1; seed <= 3; ++seed)
    threads.emplace_back(use, seed);
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_GT(opened, rounds);
}

// Files are taken from under writers and readers, so only the bookkeeping is looked at.
TEST_F(FileCacheStress, KeepsItsRecordsWhateverIsRemoved) {
  const LogCapture log;
  const ManagerPtr cache = Make(250);
  std::atomic<int> removed{0};
  cache->SetFileRemovedCallBack(
      [](void* context, const char*) { ++*static_cast<std::atomic<int>*>(context); }, &removed);
  const int rounds = StressRounds();
  const auto use = [&](unsigned seed) {
    std::mt19937 random(seed);
    for (int i = 0; i < rounds; ++i) {
      const std::string name(1, static_cast<char>('a' + random() % 6));
      if (random() % 4 == 0) {
        cache->RemoveTempFile(name.c_str());
        EXPECT_EQ(cache->GetFullPath(name.c_str()).c_str(), FilePath(name));
      } else if (random() % 16 == 0) {
        cache->Empty(false);
      } else {
        bool created = false;
        const FilePtr file(cache->OpenCachedFile(name.c_str(), &created, 0));
        if (!created)
          continue;
        const std::string bytes(100, name[0]);
        EXPECT_EQ(file->Write(bytes.data(), bytes.size()), bytes.size());
        cache->SetCachedFileState(name.c_str(), file.get(), i % 5 != 0);
      }
    }
  };
  std::vector<std::thread> threads;
  for (unsigned seed = 1; seed <= 3; ++seed)
    threads.emplace_back(use, seed);
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_GT(removed, 0);
  EXPECT_TRUE(cache->Empty(false));
  EXPECT_THAT(Listing(), IsEmpty());
  Add(*cache, "a", 100);
  Add(*cache, "b", 100);
  EXPECT_THAT(Listing(), ElementsAre("a", "b"));
}

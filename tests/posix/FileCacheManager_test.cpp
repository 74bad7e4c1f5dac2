// What the file cache does with faults of the system, and what only POSIX systems have. The linker
// puts the functions below in place of the system's.

#include <qel/cache/FileCacheManager.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/cache/FileCacheFixture.h>
#include <tests/posix/OwnMount.h>
#include <tests/posix/Permissions.h>
#include <tests/support/Clock.h>
#include <tests/support/LogCapture.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

struct Faults {
  std::function<void(qelULong)> sleep; // in place of a thread's sleep
  bool isOvertaken = false; // another one makes each directory just ahead of this process
  bool hasNoStamps = false;
};
Faults faults;

} // namespace

extern "C" {
void __real__Z17qelOSThread_Sleepj(qelULong ms);
void __wrap__Z17qelOSThread_Sleepj(qelULong ms) {
  if (faults.sleep)
    faults.sleep(ms);
  else
    __real__Z17qelOSThread_Sleepj(ms);
}
int __real_mkdir(const char*, mode_t);
int __wrap_mkdir(const char* name, mode_t mode) {
  const int result = __real_mkdir(name, mode);
  if (!faults.isOvertaken || result != 0)
    return result;
  errno = EEXIST;
  return -1;
}
int __real_statx(int, const char*, int, unsigned, struct statx*);
int __wrap_statx(int dir, const char* name, int flags, unsigned mask, struct statx* status) {
  if (!faults.hasNoStamps)
    return __real_statx(dir, name, flags, mask, status);
  errno = EIO;
  return -1;
}
}

namespace {

class FileCachePosix : public FileCacheTest {
protected:
  ~FileCachePosix() override { faults = Faults(); }
};

// Nothing can be deleted from the directory while this object lives.
class LockedFolder {
public:
  explicit LockedFolder(const std::string& path) : m_path(path), m_isLocked(Set(path, 0555)) {}
  ~LockedFolder() { Set(m_path, 0755); }
  bool IsLocked() const { return m_isLocked; }

private:
  static bool Set(const std::string& path, mode_t mode) { return ::chmod(path.c_str(), mode) == 0; }
  std::string m_path;
  bool m_isLocked;
  LogCapture m_log;    // deletions that fail are lines
  AsNobody m_asNobody; // ends first
};

} // namespace

TEST_F(FileCachePosix, RemovesEachFileAtOnceWithoutRoom) {
  const ManagerPtr cache = Make(0);
  Removals removals(*cache);
  Add(*cache, "a", 1);
  EXPECT_FALSE(OnDisk("a"));
  EXPECT_THAT(removals.names, ElementsAre("a"));
}

TEST_F(FileCachePosix, EvictsAFileThatAReaderReadsOn) {
  ScopedClock clock(1000);
  const ManagerPtr cache = Make(10);
  Removals removals(*cache);
  Add(*cache, "a", 5);
  bool created = true;
  const FilePtr reader = Open(*cache, "a", 1, &created);
  ASSERT_NE(reader, nullptr);
  clock.Set(1001);
  Add(*cache, "b", 8);
  EXPECT_THAT(removals.names, ElementsAre("a"));
  EXPECT_FALSE(OnDisk("a"));
  char bytes[8];
  EXPECT_EQ(reader->Read(bytes, sizeof bytes), 5);
}

TEST_F(FileCachePosix, PassesOverPipesAndLinksToNowhere) {
  Make(100);
  ASSERT_EQ(::mkfifo(FilePath("pipe").c_str(), 0600), 0);
  ASSERT_EQ(::symlink("nowhere", FilePath("link").c_str()), 0);
  Write("file", "x");
  const ManagerPtr cache = Make(100);
  EXPECT_TRUE(Has(*cache, "file"));
  LogCapture log;
  bool created = true;
  EXPECT_EQ(cache->OpenCachedFile("pipe", &created, 1), nullptr);
  EXPECT_FALSE(created);
}

TEST_F(FileCachePosix, TakesTheFileJustCompletedLast) {
  ScopedClock clock(1000);
  const ManagerPtr cache = Make(10);
  Add(*cache, "a", 5);
  clock.Set(1001);
  Removals removals(*cache);
  Add(*cache, "big", 20);
  EXPECT_THAT(removals.names, ElementsAre("a", "big"));
  EXPECT_THAT(Listing(), IsEmpty());
}

// Against a model: names with sizes and times, the sum as it is told.
TEST_F(FileCachePosix, FollowsAModelUnderRandomOperations) {
  struct Entry {
    int64_t size;
    int64_t time;
  };
  const int64_t limit = 100;
  ScopedClock clock(0);
  const ManagerPtr cache = Make(static_cast<qelULong>(limit));
  std::map<std::string, Entry> model;
  int64_t sum = 0;
  const auto forget = [&](const std::string& name) {
    if (sum > model[name].size)
      sum -= model[name].size;
    model.erase(name);
  };
  std::mt19937 random(6);
  for (int step = 1; step <= 1500; ++step) {
    clock.Set(step);
    const std::string name(1, static_cast<char>('a' + random() % 12));
    if (random() % 6 == 0) {
      EXPECT_TRUE(cache->RemoveTempFile(name.c_str()));
      if (model.count(name) != 0)
        forget(name);
    } else if (model.count(name) != 0) {
      EXPECT_TRUE(Has(*cache, name));
      model[name].time = step;
    } else {
      const int64_t size = random() % 60;
      Add(*cache, name, static_cast<size_t>(size));
      model[name] = {size, step};
      sum += size;
      while (sum > limit && !model.empty())
        forget(std::min_element(model.begin(), model.end(), [](const auto& a, const auto& b) {
                 return a.second.time < b.second.time;
               })->first);
    }
    std::vector<std::string> names;
    for (const auto& entry : model)
      names.push_back(entry.first);
    ASSERT_EQ(Listing(), names) << "step " << step;
  }
}

TEST_F(FileCachePosix, WaitsForTheWriterInStepsWithoutTheLock) {
  const ManagerPtr cache = Make(100);
  bool created = false;
  const FilePtr writer = Open(*cache, "a", 3, &created);
  ASSERT_TRUE(created);
  int steps = 0;
  faults.sleep = [&](qelULong ms) {
    EXPECT_EQ(ms, 100u);
    if (++steps == 3)
      std::thread([&] { cache->SetCachedFileState("a", writer.get(), true); }).join();
  };
  EXPECT_NE(Open(*cache, "a", 1, &created), nullptr);
  EXPECT_FALSE(created);
  EXPECT_EQ(steps, 3);
}

TEST_F(FileCachePosix, CreatesAFileWhoseWriterLostIt) {
  const ManagerPtr cache = Make(100);
  bool created = false;
  const FilePtr writer = Open(*cache, "a", 3, &created);
  EXPECT_EQ(writer->Write("x", 1), 1u);
  faults.sleep = [&](qelULong) { EXPECT_TRUE(cache->RemoveTempFile("a")); };
  EXPECT_NE(Open(*cache, "a", 3, &created), nullptr);
  EXPECT_TRUE(created);
}

TEST_F(FileCachePosix, TakesADirectoryThatAnotherProcessMakesFirst) {
  const LogCapture log;
  faults.isOvertaken = true;
  EXPECT_NE(Make(100), nullptr);
}

TEST_F(FileCachePosix, EvictsByTheStampsOfTheDiskAfterARestart) {
  Make(100);
  const time_t stamps[] = {3000, 1000, 2000};
  for (int i = 0; i < 3; ++i) {
    const std::string name(1, static_cast<char>('a' + i));
    Write(name, std::string(10, 'x'));
    const timespec times[2] = {{stamps[i], 0}, {5000 - stamps[i], 0}}; // access, modification
    ASSERT_EQ(::utimensat(AT_FDCWD, FilePath(name).c_str(), times, 0), 0);
  }
  ScopedClock clock(4000);
  const ManagerPtr cache = Make(30);
  Removals removals(*cache);
  Add(*cache, "new", 20);
  EXPECT_THAT(removals.names, ElementsAre("b", "c"));
}

TEST_F(FileCachePosix, StampsWithThePresentMomentWhatHasNoStamps) {
  ScopedClock clock(1000);
  Make(100);
  Write("a", std::string(5, 'x'));
  faults.hasNoStamps = true;
  const LogCapture log;
  const ManagerPtr cache = Make(12);
  faults.hasNoStamps = false;
  Removals removals(*cache);
  clock.Set(999);
  Add(*cache, "b", 5);
  clock.Set(1001);
  Add(*cache, "c", 10);
  EXPECT_THAT(removals.names, ElementsAre("b", "a"));
}

TEST_F(FileCachePosix, CountsNothingForAFileThatCannotBeOpened) {
  Make(100);
  Write("a", std::string(50, 'x'));
  ASSERT_EQ(::chmod(FilePath("a").c_str(), 0), 0);
  ManagerPtr cache;
  {
    const LogCapture log;
    const AsNobody nobody;
    cache = Make(100);
  }
  ASSERT_NE(cache, nullptr);
  Add(*cache, "b", 100);
  EXPECT_THAT(Listing(), ElementsAre("a", "b"));
  bool created = false;
  EXPECT_EQ(Open(*cache, "a", 3, &created), nullptr); // it is known all the same
}

TEST_F(FileCachePosix, DoesNotCountAFailedOpenAsAUse) {
  ScopedClock clock(1000);
  const ManagerPtr cache = Make(10);
  Removals removals(*cache);
  Add(*cache, "a", 4);
  clock.Set(1001);
  Add(*cache, "b", 4);
  ASSERT_EQ(::chmod(FilePath("a").c_str(), 0), 0);
  clock.Set(1002);
  {
    const LogCapture log;
    const AsNobody nobody;
    bool created = true;
    EXPECT_EQ(Open(*cache, "a", 1, &created), nullptr);
    EXPECT_FALSE(created);
  }
  Add(*cache, "c", 4);
  EXPECT_THAT(removals.names, ElementsAre("a"));
}

TEST_F(FileCachePosix, OpensNoPipeInAFilesPlace) {
  const ManagerPtr cache = Make(100);
  Add(*cache, "a", 4);
  ASSERT_EQ(::unlink(FilePath("a").c_str()), 0);
  ASSERT_EQ(::mkfifo(FilePath("a").c_str(), 0600), 0);
  bool created = true;
  EXPECT_EQ(Open(*cache, "a", 1, &created), nullptr);
  EXPECT_FALSE(created);
}

TEST_F(FileCachePosix, CountsWhatItCannotDeleteAndTriesItFirst) {
  ScopedClock clock(1000);
  const ManagerPtr cache = Make(20);
  Removals removals(*cache);
  Add(*cache, "a", 5);
  clock.Set(1001);
  Add(*cache, "b", 5);
  {
    const LockedFolder locked(FolderPath());
    ASSERT_TRUE(locked.IsLocked());
    EXPECT_FALSE(cache->RemoveTempFile("b"));
    for (const int mode : {1, 3}) {
      bool created = true;
      EXPECT_EQ(Open(*cache, "b", mode, &created), nullptr);
      EXPECT_FALSE(created);
    }
  }
  EXPECT_THAT(removals.names, IsEmpty());
  clock.Set(1002);
  Add(*cache, "c", 11);
  EXPECT_THAT(removals.names, ElementsAre("b"));
}

TEST_F(FileCachePosix, StepsOverFilesThatItCannotDelete) {
  ScopedClock clock(1000);
  const ManagerPtr cache = Make(10);
  Removals removals(*cache);
  Add(*cache, "a", 5);
  clock.Set(1001);
  bool created = false;
  FilePtr file = Open(*cache, "b", 3, &created);
  EXPECT_EQ(file->Write("xxxxxxxx", 8), 8u);
  {
    const LockedFolder locked(FolderPath());
    ASSERT_TRUE(locked.IsLocked());
    cache->SetCachedFileState("b", file.get(), true);
  }
  EXPECT_THAT(Listing(), ElementsAre("a", "b"));
  clock.Set(1002);
  Add(*cache, "c", 1);
  EXPECT_THAT(removals.names, ElementsAre("a"));
  // The next open removes what still waits for it.
  file = Open(*cache, "b", 3, &created);
  EXPECT_TRUE(created);
  EXPECT_THAT(removals.names, ElementsAre("a", "b"));
}

// Also what was being written goes by its age, which counts from its creation.
TEST_F(FileCachePosix, RemovesTheOldestFirstOfWhatItCouldNotDelete) {
  ScopedClock clock(1000);
  const ManagerPtr cache = Make(10);
  Removals removals(*cache);
  Add(*cache, "a", 5);
  clock.Set(1001);
  bool created = false;
  const FilePtr writer = Open(*cache, "w", 3, &created);
  {
    const LockedFolder locked(FolderPath());
    ASSERT_TRUE(locked.IsLocked());
    EXPECT_FALSE(cache->RemoveTempFile("a"));
    EXPECT_FALSE(cache->RemoveTempFile("w"));
  }
  clock.Set(1002);
  Add(*cache, "b", 7);
  EXPECT_THAT(removals.names, ElementsAre("a"));
}

TEST_F(FileCachePosix, ReportsADirectoryThatItCannotEmpty) {
  const ManagerPtr cache = Make(20);
  Add(*cache, "a", 15);
  {
    const LockedFolder locked(FolderPath());
    ASSERT_TRUE(locked.IsLocked());
    EXPECT_FALSE(cache->Empty(false));
    EXPECT_FALSE(cache->Empty(true));
  }
  EXPECT_THAT(Listing(), ElementsAre("a"));
  EXPECT_TRUE(Has(*cache, "a")); // known anew
}

// Media ----------------------------------------------------------------------------------------

namespace {

// What a cache does on a medium of 64 KiB.
struct FullMedium {
  bool created;     // a file could be created
  size_t written;   // of 96 KiB, what went into it
  int status;       // of the write that failed
  bool isLeft;      // it stands there when the writer has given up
  int completed;    // of ten files of 16 KiB under a limit of 32, those that were written whole
  int files;        // small files created until the medium took no more
  bool lastCreated; // the last one was told to be created
  bool goesOn;      // once a file is removed, the one that failed can be created
};

bool AddWhole(qelFileCacheManager& cache, const char* name, size_t size) {
  bool created = false;
  const FilePtr file(cache.OpenCachedFile(name, &created, 3));
  if (file == nullptr)
    return false;
  const std::string bytes(size, 'x');
  const bool isWhole = size == 0 || file->Write(bytes.data(), size) == size;
  cache.SetCachedFileState(name, file.get(), isWhole);
  return isWhole;
}

FullMedium PlayOnFullMedium(const std::string& root) {
  const LogCapture log;
  FullMedium result = {};
  const ManagerPtr cache(qelFileCacheManager::New(32768, root.c_str(), "one", ""));
  const FilePtr file(cache->OpenCachedFile("large", &result.created, 3));
  const std::string bytes(4096, 'x');
  for (int i = 0; i < 24 && !file->Error(); ++i)
    result.written += file->Write(bytes.data(), bytes.size());
  result.status = file->GetErrorCode();
  cache->SetCachedFileState("large", file.get(), false);
  result.isLeft = ::access((root + "/one/large").c_str(), F_OK) == 0;
  for (int i = 0; i < 10; ++i)
    result.completed += AddWhole(*cache, ("whole" + std::to_string(i)).c_str(), 16384);

  cache->Empty(false);
  result.lastCreated = true;
  while (result.files < 100) {
    const std::string name = std::to_string(result.files);
    const FilePtr small(cache->OpenCachedFile(name.c_str(), &result.lastCreated, 3));
    if (small == nullptr)
      break;
    cache->SetCachedFileState(name.c_str(), small.get(), true);
    ++result.files;
  }
  result.goesOn =
      cache->RemoveTempFile("0") && AddWhole(*cache, std::to_string(result.files).c_str(), 0);
  return result;
}

// The files that are left of two as large as can be when a third comes.
int PlayWithHugeFiles(const std::string& root) {
  const LogCapture log;
  for (const char* name : {"/a", "/b"})
    if (::close(::open((root + name).c_str(), O_WRONLY | O_CREAT, 0600)) != 0 ||
        ::truncate((root + name).c_str(), INT64_MAX) != 0)
      _exit(1);
  const ManagerPtr cache(qelFileCacheManager::New(100, root.c_str(), "", ""));
  AddWhole(*cache, "c", 1);
  return (::access((root + "/a").c_str(), F_OK) == 0) +
         (::access((root + "/b").c_str(), F_OK) == 0);
}

} // namespace

TEST_F(FileCachePosix, GoesOnWhenTheMediumWasFull) {
  FullMedium result = {};
  if (!PlayOnOwnMount(m_dir.Path(), "size=64k,nr_inodes=12", &PlayOnFullMedium, &result))
    GTEST_SKIP() << "this process may not mount a file system";
  EXPECT_TRUE(result.created);
  EXPECT_LE(result.written, 65536u);
  EXPECT_EQ(result.status, -5);
  EXPECT_FALSE(result.isLeft);
  EXPECT_EQ(result.completed, 10);
  EXPECT_GT(result.files, 0);
  EXPECT_LT(result.files, 12);
  EXPECT_FALSE(result.lastCreated);
  EXPECT_TRUE(result.goesOn);
}

TEST_F(FileCachePosix, HoldsSizesThatNoSumCanHold) {
  int left = -1;
  if (!PlayOnOwnMount(m_dir.Path(), "size=64k", &PlayWithHugeFiles, &left))
    GTEST_SKIP() << "this process may not mount a file system";
  EXPECT_EQ(left, 0);
}

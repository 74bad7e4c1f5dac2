// What files and directories do when a system call fails, is interrupted or does part of its work.
// The linker puts the functions below in place of the system's.

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <set>
#include <string>

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/files/Dir.h>
#include <qel/files/File.h>
#include <qel/multiplatform/qelTime.h>
#include <tests/support/LogCapture.h>
#include <tests/support/LogShape.h>
#include <tests/support/TempDir.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// What a system call is to do: work `skip` times, then fail `times` times with `error`.
struct Fault {
  int skip = 0;
  int times = 0;
  int error = 0;
  size_t limit = SIZE_MAX; // the most bytes that one call moves
  bool isPoor = false;     // gives less information than it could
  int calls = 0;           // how often it has been called

  void Set(int failWith, int count = 1, int after = 0) {
    error = failWith;
    times = count;
    skip = after;
    calls = 0;
  }
  bool Fails() {
    ++calls;
    if (skip > 0) {
      --skip;
      return false;
    }
    if (times == 0)
      return false;
    --times;
    errno = error;
    return true;
  }
};

struct Faults {
  Fault open, fstat, read, write, lseek, close, ftruncate, renameat2, unlink, statx, readdir, mkdir;
};
Faults faults;

} // namespace

extern "C" {
int __real_open(const char*, int, ...);
int __wrap_open(const char* name, int flags, ...) {
  va_list args;
  va_start(args, flags);
  const unsigned mode = va_arg(args, unsigned);
  va_end(args);
  return faults.open.Fails() ? -1 : __real_open(name, flags, mode);
}
int __real_fstat(int, struct stat*);
int __wrap_fstat(int fd, struct stat* status) {
  return faults.fstat.Fails() ? -1 : __real_fstat(fd, status);
}
ssize_t __real_read(int, void*, size_t);
ssize_t __wrap_read(int fd, void* buffer, size_t count) {
  return faults.read.Fails() ? -1 : __real_read(fd, buffer, std::min(count, faults.read.limit));
}
ssize_t __real_write(int, const void*, size_t);
ssize_t __wrap_write(int fd, const void* buffer, size_t count) {
  return faults.write.Fails() ? -1 : __real_write(fd, buffer, std::min(count, faults.write.limit));
}
off_t __real_lseek(int, off_t, int);
off_t __wrap_lseek(int fd, off_t offset, int whence) {
  return faults.lseek.Fails() ? -1 : __real_lseek(fd, offset, whence);
}
int __real_close(int);
int __wrap_close(int fd) {
  const bool fails = faults.close.Fails(); // the descriptor is gone in any case
  const int error = errno;
  const int result = __real_close(fd);
  errno = error;
  return fails ? -1 : result;
}
int __real_ftruncate(int, off_t);
int __wrap_ftruncate(int fd, off_t size) {
  return faults.ftruncate.Fails() ? -1 : __real_ftruncate(fd, size);
}
int __real_renameat2(int, const char*, int, const char*, unsigned);
int __wrap_renameat2(int fromDir, const char* from, int toDir, const char* to, unsigned flags) {
  return faults.renameat2.Fails() ? -1 : __real_renameat2(fromDir, from, toDir, to, flags);
}
int __real_unlink(const char*);
int __wrap_unlink(const char* name) {
  return faults.unlink.Fails() ? -1 : __real_unlink(name);
}
int __real_statx(int, const char*, int, unsigned, struct statx*);
int __wrap_statx(int dir, const char* name, int flags, unsigned mask, struct statx* status) {
  if (faults.statx.Fails())
    return -1;
  const int result = __real_statx(dir, name, flags, mask, status);
  if (faults.statx.isPoor) {
    status->stx_mask &= ~static_cast<unsigned>(STATX_BTIME);
    status->stx_btime = {};
  }
  return result;
}
dirent* __real_readdir(DIR*);
dirent* __wrap_readdir(DIR* handle) {
  if (faults.readdir.Fails())
    return nullptr;
  dirent* entry = __real_readdir(handle);
  if (entry != nullptr && faults.readdir.isPoor)
    entry->d_type = DT_UNKNOWN;
  return entry;
}
int __real_mkdir(const char*, mode_t);
int __wrap_mkdir(const char* name, mode_t mode) {
  const bool fails = faults.mkdir.Fails();
  const int error = errno;
  const int result = fails && error != EEXIST ? -1 : __real_mkdir(name, mode);
  errno = error; // EEXIST: another program was faster
  return fails ? -1 : result;
}
}

namespace {

class FaultTest : public ::testing::Test {
protected:
  FaultTest() { faults = Faults(); }
  ~FaultTest() override { faults = Faults(); }

  // A file with this content, open for read and write.
  void OpenFile(const std::string& content) {
    ASSERT_TRUE(m_file.Open(m_dir.Write("x", content).c_str(), 3, 0));
    faults = Faults();
    m_log.Clear();
  }

  TempDir m_dir;
  LogCapture m_log;
  qelFile m_file;
};

using qelFileFaults = FaultTest;
using qelDirFaults = FaultTest;

} // namespace

// Files -------------------------------------------------------------------------------

TEST_F(qelFileFaults, OpenGoesOnAfterAnInterruption) {
  const std::string name = m_dir.Write("x");
  faults.open.Set(EINTR, 3);
  EXPECT_TRUE(m_file.Open(name.c_str(), 1, 0));
  EXPECT_EQ(faults.open.calls, 4);
}

TEST_F(qelFileFaults, OpenClosesWhatItCannotLookAt) {
  const std::string name = m_dir.Write("x");
  faults.fstat.Set(EIO);
  EXPECT_FALSE(m_file.Open(name.c_str(), 1, 0));
  EXPECT_EQ(m_file.GetErrorCode(), -1);
  EXPECT_EQ(faults.close.calls, 1);
}

TEST_F(qelFileFaults, OpenGivesTheStatusOfASeekThatFailed) {
  const std::string name = m_dir.Write("x");
  faults.lseek.Set(ENOSPC);
  EXPECT_FALSE(m_file.Open(name.c_str(), 9, 0));
  EXPECT_EQ(m_file.GetErrorCode(), -5);
  EXPECT_FALSE(m_file.IsOpened());
  EXPECT_EQ(faults.close.calls, 1);
}

TEST_F(qelFileFaults, ReadGoesOnAfterInterruptionsAndShortTransfers) {
  OpenFile("0123456789");
  faults.read.limit = 3;
  faults.read.Set(EINTR, 2, 1);
  char buffer[16] = "";
  EXPECT_EQ(m_file.Read(buffer, 8), 8);
  EXPECT_STREQ(buffer, "01234567");
  EXPECT_EQ(faults.read.calls, 5); // 3, two interruptions, 3, 2
  EXPECT_EQ(m_file.Read(buffer, 16), 2);
}

TEST_F(qelFileFaults, ReadFailsWhenItsSecondTransferFails) {
  OpenFile("0123456789");
  faults.read.limit = 3;
  faults.read.Set(EIO, 1, 1);
  char buffer[16];
  EXPECT_EQ(m_file.Read(buffer, 8), -1);
  EXPECT_EQ(m_file.GetErrorCode(), -1);
  EXPECT_THAT(TakeShapes(m_log), ElementsAre("qelFile: cannot read 8 bytes (fd = #) (error = #)\n",
                                             "Read: Cannot read from file descriptor #\n"));
}

TEST_F(qelFileFaults, WriteGoesOnAfterInterruptionsAndShortTransfers) {
  OpenFile("");
  faults.write.limit = 3;
  faults.write.Set(EINTR, 2, 1);
  EXPECT_EQ(m_file.Write("01234567", 8), 8u);
  EXPECT_EQ(faults.write.calls, 5);
  EXPECT_EQ(m_dir.Read("x"), "01234567");
}

TEST_F(qelFileFaults, WriteGivesEachErrorItsStatus) {
  const struct {
    int error;
    int status;
  } rows[] = {{ENOSPC, -5}, {EDQUOT, -5}, {EROFS, -2}, {EIO, -1}, {EFBIG, -1}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.error);
    OpenFile("");
    faults.write.limit = 3;
    faults.write.Set(row.error, 1, 1); // behind the first three bytes
    EXPECT_EQ(m_file.Write("01234567", 8), 0u);
    EXPECT_EQ(m_file.GetErrorCode(), row.status);
    EXPECT_EQ(m_log.Texts().size(), 2u);
    EXPECT_EQ(m_file.Tell(), 3);
  }
}

TEST_F(qelFileFaults, WriteEndsWhenTheSystemTakesNothing) {
  OpenFile("");
  faults.write.limit = 0;
  EXPECT_EQ(m_file.Write("01234567", 8), 0u);
  EXPECT_EQ(m_file.GetErrorCode(), 0);
  EXPECT_EQ(faults.write.calls, 1);
}

TEST_F(qelFileFaults, CloseIsNeverRepeated) {
  OpenFile("");
  faults.close.Set(EINTR, 2);
  EXPECT_FALSE(m_file.Close());
  EXPECT_EQ(faults.close.calls, 1);
  EXPECT_FALSE(m_file.IsOpened());
}

TEST_F(qelFileFaults, CloseGivesItsErrorAStatus) {
  OpenFile("");
  faults.close.Set(EDQUOT); // some network file systems tell it as late as that
  EXPECT_FALSE(m_file.Close());
  EXPECT_EQ(m_file.GetErrorCode(), -5);
  EXPECT_THAT(TakeShapes(m_log), ElementsAre("qelFile: Cannot close file (fd = #) (error = #)\n",
                                             "Close: Cannot close file descriptor #\n"));
}

TEST_F(qelFileFaults, OpenAdoptsTheNewFileThoughTheOldOneDoesNotClose) {
  OpenFile("old");
  const std::string name = m_dir.Write("y", "new");
  faults.close.Set(EIO);
  EXPECT_TRUE(m_file.Open(name.c_str(), 1, 0));
  EXPECT_EQ(m_file.GetErrorCode(), 0);
  char buffer[3];
  EXPECT_EQ(m_file.Read(buffer, 3), 3);
  EXPECT_EQ(std::string(buffer, 3), "new");
}

TEST_F(qelFileFaults, EndOfFileTellsWhichStepFailed) {
  const char* const rows[] = {" (getting original position)\n", " (seeking to end)\n",
                              " (restoring original position)\n"};
  for (int step = 0; step < 3; ++step) {
    SCOPED_TRACE(step);
    OpenFile("0123456789");
    faults.lseek.Set(EIO, 1, step);
    EXPECT_FALSE(m_file.EndOfFile());
    EXPECT_EQ(m_file.GetErrorCode(), -1);
    EXPECT_EQ(faults.lseek.calls, step + 1);
    EXPECT_THAT(
        TakeShapes(m_log),
        ElementsAre(std::string("qelFile: Cannot check EOF (fd = #) (error = #)") + rows[step]));
  }
}

TEST_F(qelFileFaults, LengthTellsWhichStepFailedAndKeepsTheFirstStatus) {
  const std::string tell = "qelFile: Cannot tell (fd = #) (error = #)\n";
  const std::string seek = "qelFile: Cannot seek (fd = #) (error = #)\n";
  const struct {
    int step;
    int64_t length;
    std::string plain;
    std::string line;
    int calls;
  } rows[] = {
      {0, -1, tell, "Length: Cannot get initial position\n", 1},
      {1, -1, seek, "Length: Cannot seek to end of file\n", 2},
      {2, -1, tell, "Length: Cannot get file length\n", 4}, // the position is still put back
      {3, 10, seek, "Length: Cannot restore initial position\n", 4}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.step);
    OpenFile("0123456789");
    faults.lseek.Set(ENOSPC, 1, row.step);
    EXPECT_EQ(m_file.Length(), row.length);
    EXPECT_EQ(m_file.GetErrorCode(), -5);
    EXPECT_EQ(faults.lseek.calls, row.calls);
    EXPECT_THAT(TakeShapes(m_log), ElementsAre(row.plain, row.line));
    EXPECT_EQ(m_file.Tell(), row.step == 3 ? 10 : 0);
  }
}

TEST_F(qelFileFaults, LengthLogsBothOfItsLastSteps) {
  OpenFile("0123456789");
  faults.lseek.Set(EIO, 2, 2);
  EXPECT_EQ(m_file.Length(), -1);
  EXPECT_EQ(m_file.GetErrorCode(), -1);
  EXPECT_THAT(TakeShapes(m_log), ElementsAre("qelFile: Cannot tell (fd = #) (error = #)\n",
                                             "Length: Cannot get file length\n",
                                             "qelFile: Cannot seek (fd = #) (error = #)\n",
                                             "Length: Cannot restore initial position\n"));
}

TEST_F(qelFileFaults, ChangeSizeGoesOnAfterAnInterruption) {
  OpenFile("0123456789");
  faults.ftruncate.Set(EINTR, 2);
  EXPECT_TRUE(m_file.ChangeSize(4));
  EXPECT_EQ(faults.ftruncate.calls, 3);
  EXPECT_EQ(m_dir.Read("x"), "0123");
}

TEST_F(qelFileFaults, ChangeSizeGivesMinusOneForEveryError) {
  OpenFile("0123456789");
  m_file.Seek(3, 0);
  faults.ftruncate.Set(ENOSPC);
  EXPECT_FALSE(m_file.ChangeSize(20));
  EXPECT_EQ(m_file.GetErrorCode(), -1);
  EXPECT_EQ(m_file.Tell(), 3);
  EXPECT_EQ(m_dir.Read("x"), "0123456789");
}

TEST_F(qelFileFaults, ChangeSizeTellsThatThePositionIsLost) {
  OpenFile("0123456789");
  faults.ftruncate.Set(EIO);
  faults.lseek.Set(EIO, 1, 2);
  EXPECT_FALSE(m_file.ChangeSize(4));
  EXPECT_EQ(m_file.GetErrorCode(), -1);
  EXPECT_THAT(TakeShapes(m_log),
              ElementsAre("qelFile: ChangeSize: Cannot truncate/extend (fd = #) (error = #)\n",
                          "qelFile: ChangeSize: Cannot restore file pointer (fd = #) (error = #)\n",
                          "ChangeSize: Cannot truncate/extend file\n"));
}

TEST_F(qelFileFaults, SetSizeClosesTheFileWhenAStepFails) {
  const std::string name = m_dir.Write("x", "0123456789");
  faults = Faults();
  faults.ftruncate.Set(EDQUOT);
  EXPECT_EQ(qelFile_SetSize(name.c_str(), 4), EDQUOT);
  faults.lseek.Set(EIO);
  EXPECT_EQ(qelFile_SetSize(name.c_str(), 4), EIO);
  EXPECT_EQ(faults.close.calls, 2);
  EXPECT_EQ(m_dir.Read("x"), "0123456789");
}

TEST_F(qelFileFaults, AccessWaitsForALease) {
  const std::string name = m_dir.Write("x");
  faults.open.Set(EWOULDBLOCK);
  EXPECT_TRUE(qelFile::Access(name.c_str(), 1));
  EXPECT_EQ(faults.open.calls, 2);
}

// Where the file system can't refuse a target by itself.
TEST_F(qelFileFaults, RenameFallsBackToASecondLink) {
  for (const int error : {ENOSYS, EINVAL}) {
    SCOPED_TRACE(error);
    const std::string from = m_dir.Write("from", "1");
    const std::string to = m_dir.Write("to", "2");
    const std::string free = m_dir.Path("free");
    faults.renameat2.Set(error, 2);
    EXPECT_EQ(qelFile_Rename(from.c_str(), to.c_str()), -4);
    EXPECT_EQ(m_dir.Read("from"), "1");
    EXPECT_EQ(m_dir.Read("to"), "2");
    EXPECT_EQ(qelFile_Rename(from.c_str(), free.c_str()), 0);
    EXPECT_FALSE(m_dir.Has("from"));
    EXPECT_EQ(m_dir.Read("free"), "1");
    EXPECT_EQ(qelFile_Remove(free.c_str()), 0);
  }
}

TEST_F(qelFileFaults, RenameTakesTheSecondLinkBackWhenTheFirstStays) {
  const std::string from = m_dir.Write("from", "1");
  faults.renameat2.Set(ENOSYS);
  faults.unlink.Set(EROFS);
  EXPECT_EQ(qelFile_Rename(from.c_str(), m_dir.Path("to").c_str()), -2);
  EXPECT_EQ(m_dir.Read("from"), "1");
  EXPECT_FALSE(m_dir.Has("to"));
}

TEST_F(qelFileFaults, RenameDoesNotFallBackForOtherErrors) {
  const std::string from = m_dir.Write("from", "1");
  faults.renameat2.Set(EDQUOT);
  EXPECT_EQ(qelFile_Rename(from.c_str(), m_dir.Path("to").c_str()), -5);
  EXPECT_EQ(m_dir.Read("from"), "1");
}

TEST_F(qelFileFaults, GetTimesGivesTheModificationWhereNoCreationIsKept) {
  const std::string name = m_dir.Write("x");
  const timespec stamps[2] = {{1000000000, 0}, {1111111111, 0}};
  ASSERT_EQ(::utimensat(AT_FDCWD, name.c_str(), stamps, 0), 0);
  faults.statx.isPoor = true;
  qeltimeval creation{};
  EXPECT_EQ(qelFile_GetTimes(name.c_str(), nullptr, nullptr, &creation), 0);
  EXPECT_EQ(creation.seconds, 1111111111);
  creation = {};
  EXPECT_EQ(qelDir_GetTimes(name.c_str(), nullptr, nullptr, &creation), 0);
  EXPECT_EQ(creation.seconds, 1111111111);
}

TEST_F(qelFileFaults, GetTimesMapsItsError) {
  const std::string name = m_dir.Write("x");
  qeltimeval stamp{};
  faults.statx.Set(ENOTDIR);
  EXPECT_EQ(qelFile_GetTimes(name.c_str(), &stamp, nullptr, nullptr), -3);
  faults.statx.Set(EACCES);
  EXPECT_EQ(qelFile_GetTimes(name.c_str(), &stamp, nullptr, nullptr), -1);
  EXPECT_EQ(m_log.All(), "qelFile_GetTimes: Could not get attributes for file: " + name +
                             "\nqelFile_GetTimes: Could not get attributes for file: " + name +
                             "\n");
}

// Directories -------------------------------------------------------------------------

TEST_F(qelDirFaults, EnumerationReportsAFailureOnItsWay) {
  for (const char* name : {"a", "b", "c"})
    m_dir.Write(name);
  qelDir dir(m_dir.Path().c_str());
  qelPathName entry;
  faults.readdir.Set(EIO, 1, 4); // three entries and the dots; the order is not known
  int seen = 0;
  for (bool more = dir.GetFirst(entry, "*", 15); more; more = dir.GetNext(entry))
    ++seen;
  EXPECT_EQ(seen, 4);
  EXPECT_TRUE(dir.Error());
  EXPECT_EQ(m_log.All(), "qelDir: Cannot continue enumerating files in directory (error = 5)\n");
  EXPECT_EQ(dir.GetCount("*", 7), 3u); // a fresh start clears it
  EXPECT_FALSE(dir.Error());
}

TEST_F(qelDirFaults, EnumerationKeepsItsErrorThoughTheSystemGoesOn) {
  m_dir.Write("a");
  qelDir dir(m_dir.Path().c_str());
  qelPathName entry;
  faults.readdir.Set(EIO, 1, 1);
  EXPECT_TRUE(dir.GetFirst(entry, "*", 15));
  EXPECT_FALSE(dir.GetNext(entry));
  EXPECT_TRUE(dir.GetNext(entry));
  EXPECT_TRUE(dir.Error());
  EXPECT_TRUE(dir.GetNext(entry));
  EXPECT_FALSE(dir.GetNext(entry));
  EXPECT_TRUE(dir.Error());
  dir.Rewind();
  EXPECT_FALSE(dir.Error());
}

TEST_F(qelDirFaults, EnumerationReportsAFailureAtItsStart) {
  m_dir.Write("a");
  qelDir dir(m_dir.Path().c_str());
  qelPathName entry;
  faults.readdir.Set(EIO);
  EXPECT_FALSE(dir.GetFirst(entry, "*", 7));
  EXPECT_TRUE(dir.Error());
  dir.Rewind();
  EXPECT_FALSE(dir.Error());
}

TEST_F(qelDirFaults, EnumerationLooksForItselfWhereTheSystemTellsNoKinds) {
  m_dir.Write("file");
  m_dir.MakeDir("sub");
  ASSERT_EQ(::symlink("sub", m_dir.Path("link").c_str()), 0);
  faults.readdir.isPoor = true;
  std::set<std::string> names;
  qelDir dir(m_dir.Path().c_str());
  qelPathName entry;
  for (bool more = dir.GetFirst(entry, "*", 3); more; more = dir.GetNext(entry))
    names.insert(std::string(entry.c_str()).substr(m_dir.Path().size() + 1));
  EXPECT_THAT(names, ElementsAre("file", "link/", "sub/"));
}

TEST_F(qelDirFaults, CreateRecursivelyTakesALevelThatAnotherProgramMakes) {
  faults.mkdir.Set(EEXIST, 2);
  EXPECT_TRUE(qelDir::CreateRecursively(m_dir.Path("a/b/c").c_str()));
  EXPECT_TRUE(m_dir.Has("a/b/c"));
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(qelDirFaults, CreateRecursivelyStopsAtTheFirstLevelThatFails) {
  faults.mkdir.Set(ENOSPC, 1, 1);
  EXPECT_FALSE(qelDir::CreateRecursively(m_dir.Path("a/b/c").c_str()));
  EXPECT_EQ(faults.mkdir.calls, 2);
  EXPECT_TRUE(m_dir.Has("a"));
  EXPECT_FALSE(m_dir.Has("a/b"));
}

TEST_F(qelDirFaults, RemoveRecursivelyEndsItsAttemptAtTheFirstFailureAndTriesAgain) {
  m_dir.MakeDir("tree/sub");
  m_dir.Write("tree/sub/x");
  faults.unlink.Set(EBUSY, 2);
  EXPECT_FALSE(qelDir::RemoveRecursively(m_dir.Path("tree").c_str(), 1));
  EXPECT_TRUE(m_dir.Has("tree/sub/x"));
  EXPECT_EQ(m_log.Texts().size(), 1u); // no attempt at the directories
  EXPECT_TRUE(qelDir::RemoveRecursively(m_dir.Path("tree").c_str(), 2));
  EXPECT_FALSE(m_dir.Has("tree"));
  EXPECT_EQ(faults.unlink.calls, 3);
}

// What only the POSIX back-end of files has.

#include <qel/multiplatform/qelFile.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/files/File.h>
#include <qel/multiplatform/qelTime.h>
#include <tests/posix/OwnMount.h>
#include <tests/posix/Permissions.h>
#include <tests/support/LogCapture.h>
#include <tests/support/LogShape.h>
#include <tests/support/TempDir.h>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

constexpr int kRead = qelFileModeRead;
constexpr int kWrite = qelFileModeWrite;
constexpr int kAppend = qelFileModeAppend;
constexpr int kCreate = qelFileModeCreate;
constexpr int kExclusive = qelFileModeExclusive;

class PosixFileTest : public ::testing::Test {
protected:
  // Opens and closes; the status.
  static int StatusOfOpen(const std::string& name, int mode, int permissions = 0) {
    void* fd = nullptr;
    const int status = qelFile_Open(name.c_str(), mode, permissions, &fd);
    if (status == 0) {
      EXPECT_EQ(qelFile_Close(fd), 0);
    }
    return status;
  }
  static mode_t ModeOf(const std::string& name) {
    struct stat status {};
    EXPECT_EQ(::stat(name.c_str(), &status), 0);
    return status.st_mode & 07777;
  }
  static size_t OpenDescriptors() {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                                             std::filesystem::directory_iterator()));
  }

  TempDir m_dir;
  LogCapture m_log;
};

using qelFileMapErrorPosix = PosixFileTest;
using qelFileNativeNamePosix = PosixFileTest;
using qelFileOpenPosix = PosixFileTest;
using qelFileTransferPosix = PosixFileTest;
using qelFilePositionPosix = PosixFileTest;
using qelFileLinksPosix = PosixFileTest;
using qelFileAccessPosix = PosixFileTest;
using qelFileHasAttributePosix = PosixFileTest;
using qelFileGetTimesPosix = PosixFileTest;
using qelFileRemovePosix = PosixFileTest;
using qelFileRenamePosix = PosixFileTest;
using qelFileSetSizePosix = PosixFileTest;
using qelFileReadOnlyMediumPosix = PosixFileTest;

} // namespace

// Errors and names --------------------------------------------------------------------

TEST_F(qelFileMapErrorPosix, KnowsSixNumbersAndTakesAllOthersAsGeneric) {
  const std::map<int, int> known = {{0, 0},       {EROFS, -2},  {ENOENT, -3}, {ENOTDIR, -3},
                                    {EEXIST, -4}, {ENOSPC, -5}, {EDQUOT, -5}};
  for (int error = -2; error < 300; ++error) {
    const auto row = known.find(error);
    EXPECT_EQ(qelFile_MapError(error), row != known.end() ? row->second : -1) << error;
  }
}

TEST_F(qelFileNativeNamePosix, PassesBytesAndTurnsBackslashes) {
  const struct {
    const char* name;
    const char* expected;
  } rows[] = {{"/a/b.c", "/a/b.c"}, {"/a//b/", "/a//b/"},
              {"\\a\\b", "/a/b"},   {"/\xFF\xC0\x80/\xED\xA0\x80", "/\xFF\xC0\x80/\xED\xA0\x80"},
              {"/", "/"},           {"", ""}};
  for (const auto& row : rows) {
    char* name = qelFile_NativeName(row.name);
    EXPECT_STREQ(name, row.expected);
    free(name);
  }
}

TEST_F(qelFileNativeNamePosix, LeavesNamesThatAreNotUTF8Alone) {
  const std::string name = "\xFFx\xE4.\xC3";
  EXPECT_EQ(StatusOfOpen(m_dir.Path(name), kWrite | kCreate), 0);
  EXPECT_TRUE(m_dir.Has(name));
  EXPECT_EQ(qelFile_Exists(m_dir.Path(name).c_str()), 1);
  EXPECT_EQ(qelFile_Rename(m_dir.Path(name).c_str(), m_dir.Path("\xFE").c_str()), 0);
  EXPECT_TRUE(m_dir.Has("\xFE"));
  EXPECT_EQ(qelFile_Remove(m_dir.Path("\xFE").c_str()), 0);
  EXPECT_EQ(m_dir.Count(), 0u);
}

// Opening -----------------------------------------------------------------------------

TEST_F(qelFileOpenPosix, LogsFromItsOwnSource) {
  const std::string name = m_dir.Path("missing");
  EXPECT_EQ(StatusOfOpen(name, kRead), -3);
  ASSERT_EQ(m_log.Lines().size(), 1u);
  EXPECT_EQ(m_log.Lines()[0].file, "..\\..\\posix\\qelFile.posix");
  EXPECT_EQ(m_log.Lines()[0].text, "qelFile: Cannot open file: '" + name +
                                       "' (OpenMode = 0x01) (error = " + std::to_string(ENOENT) +
                                       ")\n");
}

TEST_F(qelFileOpenPosix, GivesANewFileItsPermissionsUnderTheUmask) {
  const struct {
    int permissions;
    mode_t expected;
  } rows[] = {{0, 0666}, {1, 0444}, {2, 0666}, {3, 0666}, {4, 0444}, {7, 0666}};
  for (const mode_t mask : {mode_t{0}, mode_t{027}}) {
    for (const auto& row : rows) {
      SCOPED_TRACE(row.permissions);
      const std::string name = m_dir.Path("x");
      const mode_t old = ::umask(mask);
      EXPECT_EQ(StatusOfOpen(name, kWrite | kCreate | kExclusive, row.permissions), 0);
      ::umask(old);
      EXPECT_EQ(ModeOf(name), row.expected & ~mask);
      EXPECT_EQ(qelFile_Remove(name.c_str()), 0);
    }
  }
}

TEST_F(qelFileOpenPosix, LeavesThePermissionsOfAnExistingFileAlone) {
  const std::string name = m_dir.Write("x");
  ASSERT_EQ(::chmod(name.c_str(), 0640), 0);
  EXPECT_EQ(StatusOfOpen(name, kWrite | kCreate, 1), 0);
  EXPECT_EQ(ModeOf(name), 0640u);
}

TEST_F(qelFileOpenPosix, IsNotInheritedByOtherPrograms) {
  qelFile file(m_dir.Write("x").c_str(), kRead);
  const int descriptor = static_cast<int>(reinterpret_cast<intptr_t>(file.GetFD()));
  EXPECT_NE(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(qelFileOpenPosix, NeverLocksAFile) {
  qelFile writer;
  ASSERT_TRUE(writer.Open(m_dir.Path("x").c_str(), kWrite | kCreate | kExclusive, 0));
  qelFile other(m_dir.Path("x").c_str(), kRead | kWrite);
  EXPECT_TRUE(other.IsOpened());
}

TEST_F(qelFileOpenPosix, TakesAFileOnTheWayAsNotFound) {
  m_dir.Write("file");
  EXPECT_EQ(StatusOfOpen(m_dir.Path("file/x"), kRead), -3);
  EXPECT_EQ(StatusOfOpen(m_dir.Path("file/x"), kWrite | kCreate), -3);
  EXPECT_THAT(m_log.All(), HasSubstr("(error = " + std::to_string(ENOTDIR) + ")"));
}

TEST_F(qelFileOpenPosix, TellsADirectoryByItsError) {
  EXPECT_EQ(StatusOfOpen(m_dir.Path(), kRead), -1);
  EXPECT_THAT(m_log.All(), HasSubstr("(error = " + std::to_string(EISDIR) + ")"));
  const size_t before = OpenDescriptors();
  EXPECT_EQ(StatusOfOpen(m_dir.Path(), kRead), -1);
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(qelFileOpenPosix, IsRefusedWithoutPermission) {
  const std::string secret = m_dir.Write("secret", "1");
  const std::string frozen = m_dir.Write("frozen", "1");
  ASSERT_EQ(::chmod(secret.c_str(), 0), 0);
  ASSERT_EQ(::chmod(frozen.c_str(), 0444), 0);
  ASSERT_EQ(::chmod(m_dir.Path().c_str(), 0555), 0);
  {
    AsNobody nobody;
    EXPECT_EQ(StatusOfOpen(secret, kRead), -1);
    EXPECT_EQ(StatusOfOpen(frozen, kRead), 0);
    EXPECT_EQ(StatusOfOpen(frozen, kWrite), -1);
    EXPECT_EQ(StatusOfOpen(m_dir.Path("new"), kWrite | kCreate), -1);
    EXPECT_EQ(qelFile_Access(frozen.c_str(), 1), 1);
    EXPECT_EQ(qelFile_Access(frozen.c_str(), 2), 0);
    EXPECT_EQ(qelFile_Access(frozen.c_str(), 3), 0);
    EXPECT_EQ(qelFile_Access(secret.c_str(), 1), 0);
    EXPECT_EQ(qelFile_Access(secret.c_str(), 0), 1); // it is there
    EXPECT_EQ(qelFile_Exists(secret.c_str()), 1);
    m_log.Clear();
    EXPECT_EQ(qelFile_Remove(frozen.c_str()), -1);
    EXPECT_EQ(qelFile_Rename(frozen.c_str(), m_dir.Path("new").c_str()), -1);
    EXPECT_EQ(qelFile_SetSize(frozen.c_str(), 0), EACCES);
  }
  ASSERT_EQ(::chmod(m_dir.Path().c_str(), 0755), 0);
  const std::string denied = "(error = " + std::to_string(EACCES) + ")\n";
  EXPECT_THAT(m_log.Texts(), ElementsAre("qelFile: Cannot remove file '" + frozen + "' " + denied,
                                         "qelFile: Cannot rename file: '" + frozen + "' to '" +
                                             m_dir.Path("new") + "' " + denied,
                                         "qelFile: Cannot set size of file '" + frozen +
                                             "', cannot open/create file " + denied));
}

TEST_F(qelFileOpenPosix, TakesANameThatIsTooLongAsGeneric) {
  EXPECT_EQ(StatusOfOpen(m_dir.Path(std::string(300, 'x')), kWrite | kCreate), -1);
  EXPECT_EQ(StatusOfOpen("/" + std::string(5000, 'x'), kRead), -1);
}

// A pipe opens for read and write at once, but has no end to go to.
TEST_F(qelFileOpenPosix, ClosesAgainWhenThereIsNoEndToAppendAt) {
  const std::string name = m_dir.Path("pipe");
  ASSERT_EQ(::mkfifo(name.c_str(), 0600), 0);
  const size_t before = OpenDescriptors();
  void* fd = &m_dir;
  EXPECT_EQ(qelFile_Open(name.c_str(), kRead | kAppend, 0, &fd), -1);
  EXPECT_EQ(fd, &m_dir);
  EXPECT_EQ(OpenDescriptors(), before);
  EXPECT_THAT(m_log.Texts(),
              ElementsAre("qelFile: Cannot seek at end of file: '" + name +
                          "' (OpenMode = 0x0b) (error = " + std::to_string(ESPIPE) + ")\n"));
}

TEST_F(qelFileOpenPosix, TakesDescriptorZeroAsAnyOther) {
  const int saved = ::fcntl(0, F_DUPFD_CLOEXEC, 3);
  ::close(0);
  {
    qelFile file(m_dir.Write("x", "abc").c_str(), kRead);
    EXPECT_EQ(file.GetFD(), nullptr);
    EXPECT_TRUE(file.IsOpened());
    EXPECT_EQ(file.Length(), 3);
  }
  EXPECT_EQ(qelFile_SetSize(m_dir.Path("x").c_str(), 1), 0);
  EXPECT_EQ(m_dir.Read("x"), "a");
  if (saved >= 0) {
    ::dup2(saved, 0);
    ::close(saved);
  }
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

// Reading and writing -----------------------------------------------------------------

TEST_F(qelFileTransferPosix, TellsAFullDisk) {
  if (::access("/dev/full", W_OK) != 0)
    GTEST_SKIP() << "there is no /dev/full";
  qelFile file("/dev/full", kWrite);
  ASSERT_TRUE(file.IsOpened());
  EXPECT_EQ(file.Write("abc", 3), 0u);
  EXPECT_EQ(file.GetErrorCode(), qelFileErrorDiskFull);
  EXPECT_THAT(TakeShapes(m_log), ElementsAre("qelFile: Write (fd = #) (error = #)\n",
                                             "Write: Cannot write to file descriptor #\n"));
  EXPECT_EQ(qelFile_Write(file.GetFD(), "abc", 3), -5);
  EXPECT_THAT(m_log.All(), HasSubstr("(error = " + std::to_string(ENOSPC) + ")"));
}

TEST_F(qelFileTransferPosix, MovesAtMost2147483647BytesPerCall) {
  const size_t size = size_t{3} << 30;
  void* region =
      ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (region == MAP_FAILED)
    GTEST_SKIP() << "no room for a region of 3 GiB";
  void* fd = nullptr;
  ASSERT_EQ(qelFile_Open("/dev/null", kWrite, 0, &fd), 0);
  // The system itself moves 4 KiB less than that at once.
  EXPECT_EQ(qelFile_Write(fd, region, size), 0x7FFFFFFF);
  EXPECT_EQ(qelFile_Write(fd, region, size_t{0x7FFFFFFF}), 0x7FFFFFFF);
  EXPECT_EQ(qelFile_Write(fd, region, size_t{0x7FFFFFFE}), 0x7FFFFFFE);
  EXPECT_EQ(qelFile_Close(fd), 0);
  ::munmap(region, size);
}

TEST_F(qelFileTransferPosix, CompletesShortReadsOfAPipe) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  std::thread writer([&ends] {
    for (const char* piece : {"one ", "two ", "three"})
      EXPECT_EQ(::write(ends[1], piece, strlen(piece)), static_cast<ssize_t>(strlen(piece)));
    ::close(ends[1]);
  });
  qelFile reader(reinterpret_cast<void*>(static_cast<intptr_t>(ends[0])));
  char buffer[100] = "";
  EXPECT_EQ(reader.Read(buffer, 8), 8);
  EXPECT_STREQ(buffer, "one two ");
  EXPECT_EQ(reader.Read(buffer, 100), 5);
  EXPECT_EQ(reader.Read(buffer, 100), 0);
  writer.join();
}

// Positions ---------------------------------------------------------------------------

TEST_F(qelFilePositionPosix, ReportsAPipe) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  qelFile reader(reinterpret_cast<void*>(static_cast<intptr_t>(ends[0])));
  qelFile writer(reinterpret_cast<void*>(static_cast<intptr_t>(ends[1])));
  EXPECT_EQ(reader.Tell(), -1);
  EXPECT_EQ(reader.Seek(0, 0), -1);
  EXPECT_EQ(reader.Length(), -1);
  EXPECT_FALSE(reader.EndOfFile());
  EXPECT_EQ(reader.GetErrorCode(), -1);
  EXPECT_FALSE(reader.ChangeSize(0));
  EXPECT_THAT(
      TakeShapes(m_log),
      ElementsAre(
          "qelFile: Cannot tell (fd = #) (error = #)\n", "Tell: Cannot get position\n",
          "qelFile: Cannot seek (fd = #) (error = #)\n", "Seek: Cannot seek on file descriptor #\n",
          "qelFile: Cannot tell (fd = #) (error = #)\n", "Length: Cannot get initial position\n",
          "qelFile: Cannot check EOF (fd = #) (error = #) (getting original position)\n",
          "qelFile: ChangeSize: Cannot tell (fd = #) (error = #)\n",
          "ChangeSize: Cannot truncate/extend file\n"));
}

// Files that the system makes up as they are read have a position but no end.
TEST_F(qelFilePositionPosix, ReportsAFileWithoutAnEnd) {
  qelFile file("/proc/self/status", kRead);
  ASSERT_TRUE(file.IsOpened());
  EXPECT_FALSE(file.EndOfFile());
  EXPECT_EQ(file.GetErrorCode(), -1);
  EXPECT_EQ(file.Length(), -1);
  EXPECT_EQ(file.GetErrorCode(), -1);
  EXPECT_EQ(file.Tell(), 0);
  EXPECT_THAT(TakeShapes(m_log),
              ElementsAre("qelFile: Cannot check EOF (fd = #) (error = #) (seeking to end)\n",
                          "qelFile: Cannot seek (fd = #) (error = #)\n",
                          "Length: Cannot seek to end of file\n"));
}

// By name -----------------------------------------------------------------------------

TEST_F(qelFileLinksPosix, AreFollowedButRemovedAndRenamedThemselves) {
  m_dir.Write("target", "content");
  m_dir.MakeDir("sub");
  ASSERT_EQ(::symlink("target", m_dir.Path("link").c_str()), 0);
  ASSERT_EQ(::symlink("sub", m_dir.Path("dirlink").c_str()), 0);
  ASSERT_EQ(::symlink("nothing", m_dir.Path("dangling").c_str()), 0);
  ASSERT_EQ(::symlink("circle", m_dir.Path("circle").c_str()), 0);
  EXPECT_EQ(qelFile_Exists(m_dir.Path("link").c_str()), 1);
  EXPECT_EQ(qelFile_Exists(m_dir.Path("dirlink").c_str()), 0);
  EXPECT_EQ(qelFile_Exists(m_dir.Path("dangling").c_str()), 0);
  EXPECT_EQ(qelFile_Exists(m_dir.Path("circle").c_str()), 0);
  EXPECT_EQ(StatusOfOpen(m_dir.Path("link"), kRead), 0);
  EXPECT_EQ(StatusOfOpen(m_dir.Path("dangling"), kRead), -3);
  EXPECT_EQ(StatusOfOpen(m_dir.Path("dangling"), kWrite | kCreate | kExclusive), -4);
  EXPECT_EQ(StatusOfOpen(m_dir.Path("circle"), kRead), -1);
  EXPECT_EQ(qelFile_Rename(m_dir.Path("link").c_str(), m_dir.Path("dangling").c_str()), -4);
  EXPECT_EQ(qelFile_Rename(m_dir.Path("link").c_str(), m_dir.Path("moved").c_str()), 0);
  EXPECT_EQ(qelFile_Remove(m_dir.Path("moved").c_str()), 0);
  EXPECT_EQ(qelFile_Remove(m_dir.Path("dangling").c_str()), 0);
  EXPECT_EQ(qelFile_Remove(m_dir.Path("circle").c_str()), 0);
  EXPECT_EQ(qelFile_Remove(m_dir.Path("dirlink").c_str()), 0);
  EXPECT_EQ(m_dir.Read("target"), "content");
  EXPECT_EQ(m_dir.Count(), 2u);
}

TEST_F(qelFileAccessPosix, DoesNotWaitForTheOtherEndOfAPipe) {
  const std::string name = m_dir.Path("pipe");
  ASSERT_EQ(::mkfifo(name.c_str(), 0600), 0);
  EXPECT_EQ(qelFile_Access(name.c_str(), 1), 1);
  EXPECT_EQ(qelFile_Access(name.c_str(), 2), 0); // nobody reads
}

TEST_F(qelFileAccessPosix, LogsTheErrorNumberZero) {
  const std::string name = m_dir.Write("x");
  EXPECT_EQ(qelFile_Access(name.c_str(), 1), 1);
  EXPECT_THAT(m_log.Texts(),
              ElementsAre("qelFile: Cannot check access for file: '" + name + "' (error = 0)\n"));
}

TEST_F(qelFileHasAttributePosix, TakesALeadingDotAsHidden) {
  m_dir.Write(".hidden");
  m_dir.Write("shown.x");
  m_dir.MakeDir(".hiddendir");
  ASSERT_EQ(::symlink("nothing", m_dir.Path(".link").c_str()), 0);
  const struct {
    const char* name;
    int expected;
  } rows[] = {{".hidden", 1},      {"shown.x", 0},      {".hiddendir", 1},
              {".link", 1},        {".missing", 0},     {".", 0},
              {"..", 0},           {".hiddendir/x", 0}, {".hiddendir/", 1},
              {".hiddendir//", 1}, {"./", 0},           {".hidden/", 0}};
  for (const auto& row : rows)
    EXPECT_EQ(qelFile_HasAttribute(m_dir.Path(row.name).c_str(), 1), row.expected) << row.name;
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(qelFileGetTimesPosix, GivesEachStampToTheMillisecond) {
  const std::string name = m_dir.Write("x");
  const timespec stamps[2] = {{1000000000, 123456789}, {1111111111, 999999999}};
  ASSERT_EQ(::utimensat(AT_FDCWD, name.c_str(), stamps, 0), 0);
  qeltimeval access{};
  qeltimeval modification{};
  qeltimeval creation{};
  ASSERT_EQ(qelFile_GetTimes(name.c_str(), &access, &modification, &creation), 0);
  EXPECT_EQ(access.seconds, 1000000000);
  EXPECT_EQ(access.microseconds, 123000);
  EXPECT_EQ(modification.seconds, 1111111111);
  EXPECT_EQ(modification.microseconds, 999000);
  struct statx status {};
  ASSERT_EQ(::statx(AT_FDCWD, name.c_str(), 0, STATX_BTIME, &status), 0);
  const int64_t born = (status.stx_mask & STATX_BTIME) != 0 ? status.stx_btime.tv_sec : 1111111111;
  EXPECT_EQ(creation.seconds, born);
}

TEST_F(qelFileGetTimesPosix, ReportsAStampThatHasNoValueUnlessItIsNotAskedFor) {
  const std::string name = m_dir.Write("x");
  const timespec stamps[2] = {{-86400 * 400, 0}, {1111111111, 0}}; // last read in 1968
  ASSERT_EQ(::utimensat(AT_FDCWD, name.c_str(), stamps, 0), 0);
  qeltimeval access{1, 2};
  qeltimeval modification{};
  EXPECT_EQ(qelFile_GetTimes(name.c_str(), &access, &modification, nullptr), -1);
  EXPECT_EQ(modification.seconds, 1111111111); // it was converted first
  EXPECT_THAT(m_log.Texts(),
              ElementsAre("qelFile_GetTimes: Could not get all creation/modification/access times "
                          "for file: " +
                          name + "\n"));
  EXPECT_EQ(qelFile_GetTimes(name.c_str(), nullptr, &modification, nullptr), 0);
}

TEST_F(qelFileGetTimesPosix, FollowsALink) {
  const std::string name = m_dir.Write("x");
  const timespec stamps[2] = {{1000000000, 0}, {1111111111, 0}};
  ASSERT_EQ(::utimensat(AT_FDCWD, name.c_str(), stamps, 0), 0);
  ASSERT_EQ(::symlink("x", m_dir.Path("link").c_str()), 0);
  qeltimeval modification{};
  EXPECT_EQ(qelFile_GetTimes(m_dir.Path("link").c_str(), nullptr, &modification, nullptr), 0);
  EXPECT_EQ(modification.seconds, 1111111111);
}

TEST_F(qelFileRemovePosix, TakesAFileOnTheWayAsGone) {
  m_dir.Write("file");
  EXPECT_EQ(qelFile_Remove(m_dir.Path("file/x").c_str()), 0);
  EXPECT_TRUE(m_dir.Has("file"));
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(qelFileRenamePosix, KeepsBothNamesOfOneFile) {
  const std::string name = m_dir.Write("x", "1");
  ASSERT_EQ(::link(name.c_str(), m_dir.Path("y").c_str()), 0);
  EXPECT_EQ(qelFile_Rename(name.c_str(), m_dir.Path("y").c_str()), -4);
  EXPECT_EQ(qelFile_Rename(name.c_str(), name.c_str()), -4);
  EXPECT_EQ(m_dir.Count(), 2u);
}

TEST_F(qelFileRenamePosix, ReportsAFileOnTheWayAsNotFound) {
  m_dir.Write("file");
  m_dir.Write("x");
  EXPECT_EQ(qelFile_Rename(m_dir.Path("x").c_str(), m_dir.Path("file/y").c_str()), -3);
  EXPECT_TRUE(m_dir.Has("x"));
}

TEST_F(qelFileRenamePosix, FailsAcrossFileSystems) {
  struct stat here {};
  struct stat there {};
  const std::string name = m_dir.Write("x", "1");
  if (::stat(name.c_str(), &here) != 0 || ::stat("/dev/shm", &there) != 0 ||
      here.st_dev == there.st_dev || ::access("/dev/shm", W_OK) != 0)
    GTEST_SKIP() << "there is no second file system";
  const std::string target = "/dev/shm/qel-test-" + std::to_string(::getpid());
  EXPECT_EQ(qelFile_Rename(name.c_str(), target.c_str()), -1);
  EXPECT_EQ(m_dir.Read("x"), "1");
  EXPECT_EQ(qelFile_Exists(target.c_str()), 0);
}

TEST_F(qelFileSetSizePosix, TellsAFailedOpenByTheSystemsNumber) {
  const struct {
    std::string name;
    int error;
  } rows[] = {{m_dir.MakeDir("sub"), EISDIR}, {m_dir.Path("no/way"), ENOENT}};
  for (const auto& row : rows) {
    EXPECT_EQ(qelFile_SetSize(row.name.c_str(), 5), row.error);
    EXPECT_THAT(m_log.Texts(), ElementsAre("qelFile: Cannot set size of file '" + row.name +
                                           "', cannot open/create file (error = " +
                                           std::to_string(row.error) + ")\n"));
    m_log.Clear();
  }
}

TEST_F(qelFileSetSizePosix, TellsAnEndThatCannotBeSet) {
  EXPECT_EQ(qelFile_SetSize("/dev/null", 5), EINVAL);
  EXPECT_THAT(m_log.Texts(),
              ElementsAre("qelFile: Cannot set size of file '/dev/null', cannot set EOF (error = " +
                          std::to_string(EINVAL) + ")\n"));
}

// A medium that can't be written ------------------------------------------------------

namespace {

// What the operations give on the file system at root, which holds the file "x" and is made read-only.
std::array<int, 8> StatusOnReadOnlyMedium(const std::string& root) {
  const std::string name = root + "/x";
  const std::string other = root + "/y";
  if (::close(::open(name.c_str(), O_WRONLY | O_CREAT, 0666)) != 0 ||
      ::mount(nullptr, root.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) != 0)
    _exit(1);
  void* fd = nullptr;
  std::array<int, 8> results = {qelFile_Open(name.c_str(), kRead | kWrite, 0, &fd),
                                qelFile_Open(other.c_str(), kWrite | kCreate, 0, &fd),
                                qelFile_Open(name.c_str(), kRead, 0, &fd),
                                qelFile_Remove(name.c_str()),
                                qelFile_Rename(name.c_str(), other.c_str()),
                                qelFile_SetSize(name.c_str(), 0),
                                qelFile_Access(name.c_str(), 1),
                                qelFile_Access(name.c_str(), 2)};
  return results;
}

} // namespace

TEST_F(qelFileReadOnlyMediumPosix, IsWriteProtected) {
  std::array<int, 8> results{};
  if (!PlayOnOwnMount(m_dir.Path(), "", &StatusOnReadOnlyMedium, &results))
    GTEST_SKIP() << "this process may not mount a read-only file system";
  EXPECT_THAT(results, ElementsAre(-2, -2, 0, -2, -2, EROFS, 1, 0));
}

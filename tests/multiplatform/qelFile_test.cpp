// The plain layer of files, as far as it is the same on all systems.

#include <qel/multiplatform/qelFile.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/multiplatform/qelPath.h>
#include <qel/multiplatform/qelTime.h>
#include <tests/support/LogCapture.h>
#include <tests/support/LogShape.h>
#include <tests/support/TempDir.h>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

constexpr int kRead = qelFileModeRead;
constexpr int kWrite = qelFileModeWrite;
constexpr int kExclusive = qelFileModeExclusive;
constexpr int kAppend = qelFileModeAppend;
constexpr int kCreate = qelFileModeCreate;
constexpr int kTruncate = qelFileModeTruncate;

constexpr int64_t kFiveGiB = INT64_C(5) << 30;

// An open descriptor, closed at the end of its life.
struct Open {
  void* fd = qelFile_ClosedFD();
  int status;

  Open(const std::string& name, int mode, int permissions = 0) {
    status = qelFile_Open(name.c_str(), mode, permissions, &fd);
  }
  ~Open() {
    if (fd != qelFile_ClosedFD())
      qelFile_Close(fd);
  }
  Open(const Open&) = delete;
  Open& operator=(const Open&) = delete;

  int64_t Position() const {
    int64_t position = -1;
    EXPECT_EQ(qelFile_Tell(fd, &position), 0);
    return position;
  }
  std::string Read(size_t count) const {
    std::string buffer(count, '\0');
    const int got = qelFile_Read(fd, &buffer[0], count);
    if (got < 0)
      return "(status " + std::to_string(got) + ")";
    buffer.resize(static_cast<size_t>(got));
    return buffer;
  }
  int Write(const std::string& text) const { return qelFile_Write(fd, text.data(), text.size()); }
};

class FileTest : public ::testing::Test {
protected:
  TempDir m_dir;
  LogCapture m_log;
};

using qelFileOpen = FileTest;
using qelFileClose = FileTest;
using qelFileRead = FileTest;
using qelFileWrite = FileTest;
using qelFileSeek = FileTest;
using qelFileTell = FileTest;
using qelFileIsEOF = FileTest;
using qelFileTruncate = FileTest;
using qelFileExists = FileTest;
using qelFileAccess = FileTest;
using qelFileHasAttribute = FileTest;
using qelFileGetTimes = FileTest;
using qelFileRemove = FileTest;
using qelFileRename = FileTest;
using qelFileSetSize = FileTest;
using qelFileNativeName = FileTest;
using qelFileModel = FileTest;

// A text that no name can be made of, and what log lines show of it.
const char kInvalidName[] = "<Nope>/x";

} // namespace

// Constants ---------------------------------------------------------------------------

TEST(qelFileConstants, HaveTheirFixedValues) {
  EXPECT_EQ(qelFileModeRead, 0x01);
  EXPECT_EQ(qelFileModeWrite, 0x02);
  EXPECT_EQ(qelFileModeExclusive, 0x04);
  EXPECT_EQ(qelFileModeAppend, 0x08);
  EXPECT_EQ(qelFileModeCreate, 0x10);
  EXPECT_EQ(qelFileModeTruncate, 0x20);
  EXPECT_EQ(qelFileErrorNone, 0);
  EXPECT_EQ(qelFileErrorGeneric, -1);
  EXPECT_EQ(qelFileErrorWriteProtected, -2);
  EXPECT_EQ(qelFileErrorNotFound, -3);
  EXPECT_EQ(qelFileErrorExists, -4);
  EXPECT_EQ(qelFileErrorDiskFull, -5);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(qelFile_ClosedFD()), UINTPTR_MAX);
}

// Opening -----------------------------------------------------------------------------

TEST_F(qelFileOpen, RefusesANullDescriptorPointerAheadOfAllElse) {
  EXPECT_EQ(qelFile_Open(nullptr, 0, 0, nullptr), -1);
  EXPECT_EQ(qelFile_Open("x", kRead, 0, nullptr), -1);
  EXPECT_THAT(m_log.Texts(),
              ElementsAre("qelFile: Cannot open file: '(null)' (invalid file descriptor pointer)\n",
                          "qelFile: Cannot open file: 'x' (invalid file descriptor pointer)\n"));
}

TEST_F(qelFileOpen, RefusesAnInvalidNameAheadOfTheMode) {
  void* fd = &m_dir;
  EXPECT_EQ(qelFile_Open(nullptr, 0, 0, &fd), -1);
  EXPECT_EQ(qelFile_Open(kInvalidName, 0, 0, &fd), -1);
  EXPECT_EQ(fd, &m_dir);
  EXPECT_THAT(m_log.Texts(), ElementsAre("qelFile: Cannot open file: '(null)' (invalid name)\n",
                                         "qelFile: Cannot open file: '<Nope>/x' (invalid name)\n"));
}

TEST_F(qelFileOpen, TellsEachRefusedMode) {
  const std::string name = m_dir.Path("new");
  const std::string truncate =
      " because truncate mode can only be used on a file open for writing\n";
  const std::string append = " because append and create modes cannot be used together\n";
  const std::string together = " because truncate and exclusive modes cannot be used together\n";
  const std::string exclusive = " because exclusive modes can only be used with the create mode\n";
  const struct {
    int mode;
    std::string reason;
  } rows[] = {
      {0, " because no mode is specified\n"},
      {kCreate | kTruncate | kExclusive, " because no mode is specified\n"},
      {kRead | kTruncate, truncate},
      {kRead | kTruncate | kCreate, truncate},
      {kRead | kTruncate | kExclusive, truncate},
      {kAppend | kCreate, append},
      {kAppend | kRead | kCreate | kTruncate | kExclusive, append},
      {kWrite | kCreate | kTruncate | kExclusive, together},
      {kRead | kExclusive, exclusive},
      {kWrite | kExclusive | kTruncate, exclusive},
      {kAppend | kExclusive, exclusive},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.mode);
    void* fd = &m_dir;
    EXPECT_EQ(qelFile_Open(name.c_str(), row.mode, 0, &fd), -1);
    EXPECT_EQ(fd, &m_dir);
    EXPECT_THAT(TakeShapes(m_log),
                ElementsAre("qelFile: Cannot open file: '" + name + "'" + row.reason));
  }
  EXPECT_EQ(m_dir.Count(), 0u);
}

// Every mode, on a missing and on an existing file, against the tables of access and disposition.
TEST_F(qelFileOpen, GivesEachModeItsAccessDispositionAndPosition) {
  for (int mode = 0; mode < 64; ++mode) {
    for (const bool exists : {false, true}) {
      SCOPED_TRACE("mode " + std::to_string(mode) + (exists ? ", existing" : ", missing"));
      const std::string name = m_dir.Path("file");
      qelFile_Remove(name.c_str());
      if (exists)
        m_dir.Write("file", "content");
      const bool append = (mode & kAppend) != 0;
      const bool write = append || (mode & kWrite) != 0;
      const bool read = (mode & kRead) != 0;
      const bool create = (mode & kCreate) != 0;
      const bool exclusive = (mode & kExclusive) != 0;
      const bool truncate = (mode & kTruncate) != 0;
      const bool refused = (!read && !write) || (!write && truncate) || (create && append) ||
                           (create && truncate && exclusive) || (!create && exclusive);
      const int expected = refused                         ? -1
                           : !exists && !create            ? -3
                           : exists && create && exclusive ? -4
                                                           : 0;
      {
        Open file(name, mode);
        ASSERT_EQ(file.status, expected);
        if (expected == 0) {
          const bool isEmpty = !exists || truncate;
          EXPECT_EQ(file.Position(), append && !isEmpty ? 7 : 0);
          EXPECT_EQ(qelFile_Seek(file.fd, 0, 0), 0);
          EXPECT_EQ(file.Read(100), !read ? "(status -1)" : isEmpty ? "" : "content");
          EXPECT_EQ(file.Write("x"), write ? 1 : -1);
        } else {
          EXPECT_EQ(file.fd, qelFile_ClosedFD());
        }
      }
      EXPECT_EQ(m_dir.Has("file"), exists || expected == 0);
      if (exists && expected != 0) {
        EXPECT_EQ(m_dir.Read("file"), "content");
      }
    }
  }
}

TEST_F(qelFileOpen, TellsTheModeWithWriteForcedOnAndTheSystemsError) {
  const std::string name = m_dir.Path("missing");
  EXPECT_EQ(Open(name, kRead | kAppend).status, -3);
  EXPECT_EQ(Open(name, kRead).status, -3);
  EXPECT_THAT(
      TakeShapes(m_log),
      ElementsAre("qelFile: Cannot open file: '" + name + "' (OpenMode = 0x0b) (error = #)\n",
                  "qelFile: Cannot open file: '" + name + "' (OpenMode = 0x01) (error = #)\n"));
}

TEST_F(qelFileOpen, WritesItsLinesAsErrorsOfItsOwnModule) {
  Open missing(m_dir.Path("missing"), kRead);
  ASSERT_EQ(m_log.Lines().size(), 1u);
  EXPECT_EQ(m_log.Lines()[0].level, 1u);
  EXPECT_EQ(m_log.Lines()[0].module, 42u);
  EXPECT_THAT(m_log.Lines()[0].file, HasSubstr("\\qelFile."));
  EXPECT_GT(m_log.Lines()[0].line, 0u);
}

TEST_F(qelFileOpen, TellsMissingFilesAndMissingDirectoriesAlike) {
  m_dir.Write("file");
  EXPECT_EQ(Open(m_dir.Path("none"), kRead).status, -3);
  EXPECT_EQ(Open(m_dir.Path("none/x"), kWrite | kCreate).status, -3);
  EXPECT_EQ(Open("", kRead).status, -3);
}

TEST_F(qelFileOpen, OpensNoDirectory) {
  const std::string name = m_dir.MakeDir("sub");
  for (const int mode : {kRead, kWrite, kRead | kWrite, kRead | kCreate, kAppend}) {
    SCOPED_TRACE(mode);
    EXPECT_EQ(Open(name, mode).status, -1);
  }
}

TEST_F(qelFileOpen, AnchorsARelativeNameOnTheProgramsDirectory) {
  char* directory = qelPath_GetApplicationDirectory();
  ASSERT_NE(directory, nullptr);
  const std::string name = "qel-relative-" + std::to_string(std::random_device()());
  const std::string whole = directory + name;
  free(directory);
  {
    Open file(name, kWrite | kCreate | kExclusive);
    ASSERT_EQ(file.status, 0);
    EXPECT_EQ(file.Write("x"), 1);
  }
  EXPECT_TRUE(std::filesystem::exists(TempDir::Native(whole)));
  EXPECT_EQ(qelFile_Exists(("./" + name).c_str()), 1);
  EXPECT_EQ(qelFile_Remove(name.c_str()), 0);
  EXPECT_FALSE(std::filesystem::exists(TempDir::Native(whole)));
}

TEST_F(qelFileOpen, TakesBackslashesAsSeparators) {
  m_dir.MakeDir("sub");
  m_dir.Write("sub/x", "1");
  EXPECT_EQ(Open(m_dir.Path() + "\\sub\\x", kRead).Read(9), "1");
}

TEST_F(qelFileOpen, TakesNamesInUTF8) {
  const std::string name = "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80.txt"; // 2, 3 and 4 bytes
  EXPECT_EQ(Open(m_dir.Path(name), kWrite | kCreate | kExclusive).Write("x"), 1);
  EXPECT_EQ(m_dir.Read(name), "x");
}

// Closing -----------------------------------------------------------------------------

TEST_F(qelFileClose, ReportsADescriptorThatIsNotOpen) {
  void* fd = nullptr;
  ASSERT_EQ(qelFile_Open(m_dir.Write("x").c_str(), kRead, 0, &fd), 0);
  EXPECT_EQ(qelFile_Close(fd), 0);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
  EXPECT_EQ(qelFile_Close(fd), -1);
  EXPECT_EQ(qelFile_Read(fd, nullptr, 0), -1);
  EXPECT_THAT(TakeShapes(m_log),
              ElementsAre("qelFile: Cannot close file (fd = #) (error = #)\n",
                          "qelFile: cannot read 0 bytes (fd = #) (error = #)\n"));
}

// Reading and writing -----------------------------------------------------------------

TEST_F(qelFileRead, GivesWhatIsThereAndZeroAtTheEnd) {
  Open file(m_dir.Write("x", std::string("a\0b\r\nc\x1A\xFF", 8)), kRead);
  EXPECT_EQ(file.Read(3), std::string("a\0b", 3));
  EXPECT_EQ(file.Read(0), "");
  EXPECT_EQ(file.Read(100), "\r\nc\x1A\xFF");
  EXPECT_EQ(file.Read(100), "");
  EXPECT_EQ(file.Read(100), "");
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(qelFileRead, LeavesTheBufferBehindTheBytesAlone) {
  Open file(m_dir.Write("x", "ab"), kRead);
  char buffer[] = "zzzz";
  EXPECT_EQ(qelFile_Read(file.fd, buffer, 4), 2);
  EXPECT_STREQ(buffer, "abzz");
}

TEST_F(qelFileRead, CutsTheCountOfOneCall) {
  EXPECT_EQ(qelFile_Read(qelFile_ClosedFD(), nullptr, SIZE_MAX), -1);
  EXPECT_EQ(qelFile_Read(qelFile_ClosedFD(), nullptr, size_t{0x80000000}), -1);
  EXPECT_EQ(qelFile_Read(qelFile_ClosedFD(), nullptr, size_t{0x100000005}), -1);
  EXPECT_EQ(qelFile_Read(qelFile_ClosedFD(), nullptr, 77), -1);
  const std::string cut = "qelFile: cannot read 2147483647 bytes (fd = #) (error = #)\n";
  EXPECT_THAT(TakeShapes(m_log),
              ElementsAre(cut, cut, cut, "qelFile: cannot read 77 bytes (fd = #) (error = #)\n"));
}

TEST_F(qelFileRead, ReportsADescriptorThatIsOpenForWritingOnly) {
  Open file(m_dir.Write("x", "ab"), kWrite);
  EXPECT_EQ(file.Read(2), "(status -1)");
  EXPECT_THAT(TakeShapes(m_log),
              ElementsAre("qelFile: cannot read 2 bytes (fd = #) (error = #)\n"));
}

TEST_F(qelFileWrite, PutsBytesAtThePositionAndExtendsTheFile) {
  Open file(m_dir.Write("x", "abcdef"), kRead | kWrite);
  ASSERT_EQ(qelFile_Seek(file.fd, 4, 0), 0);
  EXPECT_EQ(file.Write(std::string("X\0\r\nY", 5)), 5);
  EXPECT_EQ(file.Write(""), 0);
  EXPECT_EQ(m_dir.Read("x"), std::string("abcdX\0\r\nY", 9));
}

TEST_F(qelFileWrite, IsUnbufferedSoAnotherReaderSeesItAtOnce) {
  Open writer(m_dir.Path("x"), kWrite | kCreate);
  Open reader(m_dir.Path("x"), kRead);
  EXPECT_EQ(writer.Write("now"), 3);
  EXPECT_EQ(qelFile_Flush(), 0);
  EXPECT_EQ(reader.Read(9), "now");
}

TEST_F(qelFileWrite, ReportsADescriptorThatIsOpenForReadingOnly) {
  Open file(m_dir.Write("x", "ab"), kRead);
  EXPECT_EQ(file.Write("c"), -1);
  EXPECT_THAT(TakeShapes(m_log), ElementsAre("qelFile: Write (fd = #) (error = #)\n"));
  EXPECT_EQ(m_dir.Read("x"), "ab");
}

// Positions and size ------------------------------------------------------------------

TEST_F(qelFileSeek, TakesTheOriginAsStartCurrentOrEndAndAnyOtherAsStart) {
  Open file(m_dir.Write("x", "0123456789"), kRead);
  const struct {
    int64_t offset;
    int origin;
    int64_t position;
  } rows[] = {{3, 0, 3},  {2, 1, 5}, {-4, 1, 1}, {-1, 2, 9}, {0, 2, 10},
              {5, 2, 15}, {4, 3, 4}, {6, -1, 6}, {7, 99, 7}, {0, 1, 7}};
  for (const auto& row : rows) {
    EXPECT_EQ(qelFile_Seek(file.fd, row.offset, row.origin), 0);
    EXPECT_EQ(file.Position(), row.position) << row.offset << ", " << row.origin;
  }
}

TEST_F(qelFileSeek, RefusesAPositionAheadOfTheStartAndStays) {
  Open file(m_dir.Write("x", "0123456789"), kRead);
  ASSERT_EQ(qelFile_Seek(file.fd, 6, 0), 0);
  EXPECT_EQ(qelFile_Seek(file.fd, -1, 0), -1);
  EXPECT_EQ(qelFile_Seek(file.fd, -7, 1), -1);
  EXPECT_EQ(qelFile_Seek(file.fd, -11, 2), -1);
  EXPECT_EQ(file.Position(), 6);
  const std::string line = "qelFile: Cannot seek (fd = #) (error = #)\n";
  EXPECT_THAT(TakeShapes(m_log), ElementsAre(line, line, line));
}

TEST_F(qelFileSeek, ReachesBeyondFourGibibytes) {
  Open file(m_dir.Path("x"), kRead | kWrite | kCreate);
  ASSERT_EQ(qelFile_Seek(file.fd, kFiveGiB, 0), 0);
  EXPECT_EQ(file.Position(), kFiveGiB);
  EXPECT_EQ(file.Write("end"), 3);
  EXPECT_EQ(file.Position(), kFiveGiB + 3);
  EXPECT_EQ(qelFile_IsEOF(file.fd), 1);
  EXPECT_EQ(qelFile_Seek(file.fd, -4, 2), 0);
  EXPECT_EQ(file.Read(9), std::string("\0end", 4));
  EXPECT_EQ(qelFile_Seek(file.fd, -kFiveGiB, 1), 0);
  EXPECT_EQ(file.Position(), 3);
  EXPECT_EQ(qelFile_Truncate(file.fd, kFiveGiB - 1), 0);
  EXPECT_EQ(file.Position(), kFiveGiB - 1);
  EXPECT_EQ(std::filesystem::file_size(TempDir::Native(m_dir.Path("x"))),
            static_cast<uintmax_t>(kFiveGiB - 1));
}

TEST_F(qelFileTell, ReportsADescriptorThatIsNotOpenAndLeavesThePositionAlone) {
  int64_t position = 77;
  EXPECT_EQ(qelFile_Tell(qelFile_ClosedFD(), &position), -1);
  EXPECT_EQ(position, 77);
  EXPECT_EQ(qelFile_Seek(qelFile_ClosedFD(), 0, 0), -1);
  EXPECT_THAT(TakeShapes(m_log), ElementsAre("qelFile: Cannot tell (fd = #) (error = #)\n",
                                             "qelFile: Cannot seek (fd = #) (error = #)\n"));
}

TEST_F(qelFileIsEOF, IsOneAtTheEndOnlyAndKeepsThePosition) {
  Open file(m_dir.Write("x", "abc"), kRead | kWrite);
  const struct {
    int64_t position;
    int expected;
  } rows[] = {{0, 0}, {2, 0}, {3, 1}, {4, 0}}; // behind the end is not the end
  for (const auto& row : rows) {
    ASSERT_EQ(qelFile_Seek(file.fd, row.position, 0), 0);
    EXPECT_EQ(qelFile_IsEOF(file.fd), row.expected) << row.position;
    EXPECT_EQ(file.Position(), row.position);
  }
  EXPECT_EQ(qelFile_IsEOF(Open(m_dir.Write("empty"), kRead).fd), 1);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(qelFileIsEOF, ReportsADescriptorThatIsNotOpen) {
  EXPECT_EQ(qelFile_IsEOF(qelFile_ClosedFD()), -1);
  EXPECT_THAT(
      TakeShapes(m_log),
      ElementsAre("qelFile: Cannot check EOF (fd = #) (error = #) (getting original position)\n"));
}

TEST_F(qelFileTruncate, CutsAndExtendsAndStaysAtTheNewEnd) {
  Open file(m_dir.Write("x", "0123456789"), kRead | kWrite);
  ASSERT_EQ(qelFile_Seek(file.fd, 2, 0), 0);
  EXPECT_EQ(qelFile_Truncate(file.fd, 4), 0);
  EXPECT_EQ(file.Position(), 4);
  EXPECT_EQ(qelFile_Truncate(file.fd, 6), 0);
  EXPECT_EQ(file.Position(), 6);
  EXPECT_EQ(m_dir.Read("x"), std::string("0123\0\0", 6));
  EXPECT_EQ(qelFile_Truncate(file.fd, 0), 0);
  EXPECT_EQ(file.Position(), 0);
  EXPECT_EQ(m_dir.Read("x"), "");
}

TEST_F(qelFileTruncate, PutsThePositionBackWhenTheEndCannotBeSet) {
  Open file(m_dir.Write("x", "0123456789"), kRead);
  ASSERT_EQ(qelFile_Seek(file.fd, 7, 0), 0);
  EXPECT_EQ(qelFile_Truncate(file.fd, 3), -1);
  EXPECT_EQ(file.Position(), 7);
  EXPECT_EQ(m_dir.Read("x"), "0123456789");
  EXPECT_THAT(TakeShapes(m_log),
              ElementsAre("qelFile: ChangeSize: Cannot truncate/extend (fd = #) (error = #)\n"));
}

TEST_F(qelFileTruncate, TellsWhichStepFailed) {
  Open file(m_dir.Write("x", "0123456789"), kRead | kWrite);
  ASSERT_EQ(qelFile_Seek(file.fd, 7, 0), 0);
  EXPECT_EQ(qelFile_Truncate(qelFile_ClosedFD(), 3), -1);
  EXPECT_EQ(qelFile_Truncate(file.fd, -3), -1);
  EXPECT_EQ(file.Position(), 7);
  EXPECT_THAT(TakeShapes(m_log),
              ElementsAre("qelFile: ChangeSize: Cannot tell (fd = #) (error = #)\n",
                          "qelFile: ChangeSize: Cannot move pointer (fd = #) (error = #)\n"));
}

// By name -----------------------------------------------------------------------------

TEST_F(qelFileExists, IsOneForWhatIsThereAndNoDirectory) {
  m_dir.MakeDir("sub");
  EXPECT_EQ(qelFile_Exists(m_dir.Write("x").c_str()), 1);
  EXPECT_EQ(qelFile_Exists(m_dir.Path("y").c_str()), 0);
  EXPECT_EQ(qelFile_Exists(m_dir.Path("y/x").c_str()), 0);
  EXPECT_EQ(qelFile_Exists(m_dir.Path("sub").c_str()), 0);
  EXPECT_EQ(qelFile_Exists(""), 0);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(qelFileExists, RefusesAnInvalidName) {
  EXPECT_EQ(qelFile_Exists(nullptr), 0);
  EXPECT_EQ(qelFile_Exists(kInvalidName), 0);
  EXPECT_THAT(m_log.Texts(),
              ElementsAre("qelFile: Cannot check if file '(null)' exists, (invalid name)\n",
                          "qelFile: Cannot check if file '<Nope>/x' exists, (invalid name)\n"));
}

TEST_F(qelFileAccess, LogsWhenTheFileCanBeOpenedAndIsSilentWhenNot) {
  const std::string name = m_dir.Write("x", "content");
  for (int mode = 0; mode < 4; ++mode) {
    SCOPED_TRACE(mode);
    EXPECT_EQ(qelFile_Access(name.c_str(), mode), 1);
    EXPECT_THAT(TakeShapes(m_log),
                ElementsAre("qelFile: Cannot check access for file: '" + name + "' (error = #)\n"));
    EXPECT_EQ(qelFile_Access(m_dir.Path("missing").c_str(), mode), 0);
    EXPECT_EQ(qelFile_Access(m_dir.Path().c_str(), mode), 0); // a directory
    EXPECT_THAT(m_log.Texts(), IsEmpty());
  }
  EXPECT_EQ(m_dir.Read("x"), "content");
  EXPECT_EQ(m_dir.Count(), 1u);
}

TEST_F(qelFileAccess, RefusesAnInvalidName) {
  EXPECT_EQ(qelFile_Access(nullptr, 1), 0);
  EXPECT_EQ(qelFile_Access(kInvalidName, 1), 0);
  EXPECT_THAT(m_log.Texts(),
              ElementsAre("qelFile: Cannot check access for file: '(null)' (invalid name)\n",
                          "qelFile: Cannot check access for file: '<Nope>/x' (invalid name)\n"));
}

TEST_F(qelFileHasAttribute, KnowsTheHiddenBitAlone) {
  const std::string name = m_dir.Write("x");
  for (const qelULong bits : {qelULong{0}, qelULong{2}, qelULong{3}, qelULong{0xFFFFFFFF}}) {
    EXPECT_EQ(qelFile_HasAttribute(name.c_str(), bits), 0);
    EXPECT_THAT(TakeShapes(m_log), ElementsAre("qelFile: Invalid attribute to check: '" +
                                               std::to_string(bits) + "'\n"));
  }
  EXPECT_EQ(qelFile_HasAttribute(name.c_str(), qelFileAttributeHidden), 0);
  EXPECT_EQ(qelFile_HasAttribute(m_dir.Path("missing").c_str(), qelFileAttributeHidden), 0);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(qelFileHasAttribute, RefusesAnInvalidName) {
  EXPECT_EQ(qelFile_HasAttribute(nullptr, 1), 0);
  EXPECT_EQ(qelFile_HasAttribute(kInvalidName, 2), 0);
  EXPECT_THAT(m_log.Texts(),
              ElementsAre("qelFile: Cannot check attribute for file '(null)', (invalid name)\n",
                          "qelFile: Cannot check attribute for file '<Nope>/x', (invalid name)\n"));
}

TEST_F(qelFileGetTimes, GivesTheMomentOfCreationWriteAndRead) {
  const int64_t before = time(nullptr);
  const std::string name = m_dir.Write("x", "content");
  const int64_t after = time(nullptr);
  qeltimeval access{};
  qeltimeval modification{};
  qeltimeval creation{};
  ASSERT_EQ(qelFile_GetTimes(name.c_str(), &access, &modification, &creation), 0);
  for (const qeltimeval* stamp : {&access, &modification, &creation}) {
    EXPECT_GE(stamp->seconds, before - 2); // file systems count in up to 2 seconds
    EXPECT_LE(stamp->seconds, after + 2);
    EXPECT_GE(stamp->microseconds, 0);
    EXPECT_LT(stamp->microseconds, 1000000);
    EXPECT_EQ(stamp->microseconds % 1000, 0);
  }
}

TEST_F(qelFileGetTimes, TellsModificationFromCreation) {
  const std::string name = m_dir.Write("x");
  qeltimeval creation{};
  ASSERT_EQ(qelFile_GetTimes(name.c_str(), nullptr, nullptr, &creation), 0);
  const auto aDay = std::chrono::hours(24);
  std::filesystem::last_write_time(TempDir::Native(name),
                                   std::filesystem::file_time_type::clock::now() - aDay);
  qeltimeval modification{};
  ASSERT_EQ(qelFile_GetTimes(name.c_str(), nullptr, &modification, nullptr), 0);
  EXPECT_NEAR(static_cast<double>(modification.seconds), static_cast<double>(time(nullptr) - 86400),
              3);
}

TEST_F(qelFileGetTimes, TakesNoPointerAtAll) {
  EXPECT_EQ(qelFile_GetTimes(m_dir.Write("x").c_str(), nullptr, nullptr, nullptr), 0);
}

TEST_F(qelFileGetTimes, ReportsAMissingFileAndAnInvalidName) {
  qeltimeval stamp{1, 2};
  EXPECT_EQ(qelFile_GetTimes(m_dir.Path("missing").c_str(), &stamp, &stamp, &stamp), -3);
  EXPECT_EQ(qelFile_GetTimes(nullptr, &stamp, nullptr, nullptr), -1);
  EXPECT_EQ(qelFile_GetTimes(kInvalidName, &stamp, nullptr, nullptr), -1);
  EXPECT_EQ(stamp.seconds, 1);
  EXPECT_EQ(stamp.microseconds, 2);
  const std::vector<std::string> texts = m_log.Texts();
  ASSERT_EQ(texts.size(), 3u);
  EXPECT_THAT(texts[0], HasSubstr("qelFile_GetTimes: Could not get attributes for file: "));
  EXPECT_THAT(texts[0], HasSubstr("missing\n"));
  EXPECT_EQ(texts[1],
            "qelFile_GetTimes: Cannot get modification time for file '(null)', (invalid name)\n");
  EXPECT_EQ(texts[2],
            "qelFile_GetTimes: Cannot get modification time for file '<Nope>/x', (invalid name)\n");
}

TEST_F(qelFileRemove, RemovesAFileAndCountsAMissingOneAsRemoved) {
  const std::string name = m_dir.Write("x");
  EXPECT_EQ(qelFile_Remove(name.c_str()), 0);
  EXPECT_FALSE(m_dir.Has("x"));
  EXPECT_EQ(qelFile_Remove(name.c_str()), 0);
  EXPECT_EQ(qelFile_Remove(m_dir.Path("no/such/way").c_str()), 0);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(qelFileRemove, ReportsADirectoryAndAnInvalidName) {
  const std::string name = m_dir.MakeDir("sub");
  EXPECT_EQ(qelFile_Remove(name.c_str()), -1);
  EXPECT_TRUE(m_dir.Has("sub"));
  EXPECT_EQ(qelFile_Remove(nullptr), -1);
  EXPECT_EQ(qelFile_Remove(kInvalidName), -1);
  EXPECT_THAT(TakeShapes(m_log),
              ElementsAre("qelFile: Cannot remove file '" + name + "' (error = #)\n",
                          "qelFile: Cannot remove file: '(null)' (invalid name)\n",
                          "qelFile: Cannot remove file: '<Nope>/x' (invalid name)\n"));
}

TEST_F(qelFileRename, MovesAFileOrADirectory) {
  m_dir.MakeDir("sub");
  m_dir.MakeDir("target");
  EXPECT_EQ(qelFile_Rename(m_dir.Write("x", "1").c_str(), m_dir.Path("sub/y").c_str()), 0);
  EXPECT_EQ(m_dir.Read("sub/y"), "1");
  EXPECT_FALSE(m_dir.Has("x"));
  EXPECT_EQ(qelFile_Rename(m_dir.Path("sub").c_str(), m_dir.Path("target/moved").c_str()), 0);
  EXPECT_EQ(m_dir.Read("target/moved/y"), "1");
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(qelFileRename, NeverReplacesATarget) {
  const std::string from = m_dir.Write("x", "from");
  const std::string to = m_dir.Write("y", "to");
  const std::string dir = m_dir.MakeDir("sub");
  EXPECT_EQ(qelFile_Rename(from.c_str(), to.c_str()), -4);
  EXPECT_EQ(qelFile_Rename(from.c_str(), dir.c_str()), -4);
  EXPECT_EQ(m_dir.Read("x"), "from");
  EXPECT_EQ(m_dir.Read("y"), "to");
  EXPECT_THAT(
      TakeShapes(m_log),
      ElementsAre("qelFile: Cannot rename file: '" + from + "' to '" + to + "' (error = #)\n",
                  "qelFile: Cannot rename file: '" + from + "' to '" + dir + "' (error = #)\n"));
}

TEST_F(qelFileRename, ReportsAMissingSourceAndInvalidNames) {
  const std::string from = m_dir.Path("missing");
  const std::string to = m_dir.Path("y");
  EXPECT_EQ(qelFile_Rename(from.c_str(), to.c_str()), -3);
  EXPECT_EQ(qelFile_Rename(nullptr, to.c_str()), -1);
  EXPECT_EQ(qelFile_Rename(from.c_str(), nullptr), -1);
  EXPECT_EQ(qelFile_Rename(from.c_str(), kInvalidName), -1);
  EXPECT_THAT(
      TakeShapes(m_log),
      ElementsAre("qelFile: Cannot rename file: '" + from + "' to '" + to + "' (error = #)\n",
                  "qelFile: Cannot rename file '(null)' to '" + to + "' (invalid file name)\n",
                  "qelFile: Cannot rename file '" + from + "' to '(null)' (invalid file name)\n",
                  "qelFile: Cannot rename file '" + from +
                      "' to '<Nope>/x' (invalid file name)\n"));
}

TEST_F(qelFileSetSize, CutsExtendsAndCreates) {
  const std::string name = m_dir.Write("x", "0123456789");
  EXPECT_EQ(qelFile_SetSize(name.c_str(), 4), 0);
  EXPECT_EQ(m_dir.Read("x"), "0123");
  EXPECT_EQ(qelFile_SetSize(name.c_str(), 6), 0);
  EXPECT_EQ(m_dir.Read("x"), std::string("0123\0\0", 6));
  EXPECT_EQ(qelFile_SetSize(m_dir.Path("new").c_str(), kFiveGiB), 0);
  EXPECT_EQ(std::filesystem::file_size(TempDir::Native(m_dir.Path("new"))),
            static_cast<uintmax_t>(kFiveGiB));
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(qelFileSetSize, GivesTheSystemsOwnErrorNumber) {
  const std::string name = m_dir.Write("x", "0123456789");
  EXPECT_GT(qelFile_SetSize(name.c_str(), -1), 0);
  EXPECT_EQ(m_dir.Read("x"), "0123456789");
  EXPECT_EQ(qelFile_SetSize(nullptr, 0), -1);
  EXPECT_EQ(qelFile_SetSize(kInvalidName, 0), -1);
  EXPECT_THAT(TakeShapes(m_log),
              ElementsAre("qelFile: Cannot set size of file '" + name +
                              "', cannot move pointer (error = #)\n",
                          "qelFile: Cannot set size of file '(null)', (invalid name)\n",
                          "qelFile: Cannot set size of file '<Nope>/x', (invalid name)\n"));
}

TEST_F(qelFileNativeName, IsNullForAnInvalidName) {
  EXPECT_EQ(qelFile_NativeName(nullptr), nullptr);
  EXPECT_EQ(qelFile_NativeName(kInvalidName), nullptr);
  EXPECT_EQ(qelFile_NativeName("a<b"), nullptr);
  EXPECT_EQ(qelFile_NativeName("a<>b"), nullptr);
}

// Random operations, against a vector of bytes ----------------------------------------

TEST_F(qelFileModel, BehavesAsAVectorOfBytesWithAPosition) {
  std::mt19937 random(20240607);
  const auto below = [&random](size_t n) { return static_cast<size_t>(random() % n); };
  std::string bytes;
  int64_t position = 0;
  Open file(m_dir.Path("x"), kRead | kWrite | kCreate);
  ASSERT_EQ(file.status, 0);
  for (int step = 0; step < 20000; ++step) {
    SCOPED_TRACE(step);
    const int64_t length = static_cast<int64_t>(bytes.size());
    switch (below(6)) {
    case 0: { // write, a gap before it filled with zero bytes
      const std::string text(below(40), static_cast<char>(random()));
      ASSERT_EQ(file.Write(text), static_cast<int>(text.size()));
      if (!text.empty()) {
        const size_t end = static_cast<size_t>(position) + text.size();
        bytes.resize(std::max(bytes.size(), end));
        bytes.replace(static_cast<size_t>(position), text.size(), text);
        position += static_cast<int64_t>(text.size());
      }
      break;
    }
    case 1: { // read
      const size_t count = below(60);
      const std::string expected =
          position < length ? bytes.substr(static_cast<size_t>(position), count) : "";
      ASSERT_EQ(file.Read(count), expected);
      position += static_cast<int64_t>(expected.size());
      break;
    }
    case 2: { // seek
      const int origin = static_cast<int>(below(4));
      const int64_t base = origin == 1 ? position : origin == 2 ? length : 0;
      const int64_t offset = static_cast<int64_t>(below(1200)) - 600;
      const bool isLegal = base + offset >= 0 && base + offset < 4000;
      if (base + offset >= 4000)
        break;
      ASSERT_EQ(qelFile_Seek(file.fd, offset, origin), isLegal ? 0 : -1);
      position = isLegal ? base + offset : position;
      break;
    }
    case 3: // size
      if (below(4) == 0) {
        const int64_t size = static_cast<int64_t>(below(2000));
        ASSERT_EQ(qelFile_Truncate(file.fd, size), 0);
        bytes.resize(static_cast<size_t>(size));
        position = size;
      }
      break;
    case 4:
      ASSERT_EQ(qelFile_IsEOF(file.fd), position == length ? 1 : 0);
      break;
    default:
      if (below(200) == 0) {
        ASSERT_EQ(m_dir.Read("x"), bytes);
      }
      break;
    }
    ASSERT_EQ(file.Position(), position);
  }
  EXPECT_EQ(m_dir.Read("x"), bytes);
}

#include <qel/files/File.h>

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/core/DateTime.h>
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
constexpr int64_t kFiveGiB = INT64_C(5) << 30;

class FileClassTest : public ::testing::Test {
protected:
  std::string Name(const std::string& name) const { return m_dir.Path(name); }

  static std::string ReadAll(qelFile& file) {
    char buffer[256];
    const int count = file.Read(buffer, sizeof buffer);
    return count < 0 ? "(failed)" : std::string(buffer, static_cast<size_t>(count));
  }

  TempDir m_dir;
  LogCapture m_log;
};

using qelFileObject = FileClassTest;
using qelFileOpen = FileClassTest;
using qelFileCreate = FileClassTest;
using qelFileClose = FileClassTest;
using qelFileAttach = FileClassTest;
using qelFileDetach = FileClassTest;
using qelFileRead = FileClassTest;
using qelFileWrite = FileClassTest;
using qelFileFlush = FileClassTest;
using qelFileTell = FileClassTest;
using qelFileSeek = FileClassTest;
using qelFileLength = FileClassTest;
using qelFileEndOfFile = FileClassTest;
using qelFileChangeSize = FileClassTest;
using qelFileStatic = FileClassTest;
using qelFileModel = FileClassTest;

const char kNotOpen[] = "qelFile: Cannot tell (fd = #) (error = #)\n";

} // namespace

// The object --------------------------------------------------------------------------

TEST_F(qelFileObject, IsADescriptorAndAStatusWithoutVirtualOperations) {
  EXPECT_FALSE(std::is_polymorphic_v<qelFile>);
  EXPECT_EQ(sizeof(qelFile), 2 * sizeof(void*));
}

TEST_F(qelFileObject, IsClosedWithoutAnErrorAtFirst) {
  qelFile file;
  EXPECT_FALSE(file.IsOpened());
  EXPECT_EQ(file.GetFD(), qelFile_ClosedFD());
  EXPECT_FALSE(file.Error());
  EXPECT_EQ(file.GetErrorCode(), 0);
}

TEST_F(qelFileObject, TakesOverADescriptor) {
  void* fd = nullptr;
  ASSERT_EQ(qelFile_Open(m_dir.Write("x", "abc").c_str(), kRead, 0, &fd), 0);
  {
    qelFile file(fd);
    EXPECT_TRUE(file.IsOpened());
    EXPECT_EQ(file.GetErrorCode(), 0);
    EXPECT_EQ(ReadAll(file), "abc");
  }
  char byte;
  EXPECT_EQ(qelFile_Read(fd, &byte, 1), -1); // the destructor has closed it
}

TEST_F(qelFileObject, OpensInItsConstructor) {
  qelFile file(m_dir.Write("x", "abc").c_str(), kRead);
  EXPECT_TRUE(file.IsOpened());
  EXPECT_EQ(ReadAll(file), "abc");
  qelFile missing(Name("missing").c_str(), kRead);
  EXPECT_FALSE(missing.IsOpened());
  EXPECT_EQ(missing.GetErrorCode(), -3);
}

TEST_F(qelFileObject, CopiesNameTheSameDescriptor) {
  qelFile file(m_dir.Write("x", "abcdef").c_str(), kRead);
  qelFile copy;
  copy = file;
  char buffer[3];
  EXPECT_EQ(copy.GetFD(), file.GetFD());
  EXPECT_EQ(copy.Read(buffer, 3), 3);
  EXPECT_EQ(file.Tell(), 3);
  copy.Detach();
}

// Opening and closing -----------------------------------------------------------------

TEST_F(qelFileOpen, RefusesNoModeWithTwoLogLines) {
  qelFile file;
  EXPECT_FALSE(file.Open("x", 0, 0));
  EXPECT_EQ(file.GetErrorCode(), -1);
  EXPECT_TRUE(file.Error());
  EXPECT_THAT(m_log.Texts(),
              ElementsAre("qelFile: Cannot open file: 'x' because no mode is specified\n",
                          "Open: Cannot open file 'x'\n"));
}

TEST_F(qelFileOpen, WritesItsOwnLineFromItsOwnSource) {
  qelFile file;
  file.Open("x", 0, 0);
  ASSERT_EQ(m_log.Lines().size(), 2u);
  EXPECT_THAT(m_log.Lines()[0].file, HasSubstr("\\qelFile."));
  EXPECT_EQ(m_log.Lines()[1].file, "..\\..\\File");
  for (const CapturedLine& line : m_log.Lines()) {
    EXPECT_EQ(line.level, 1u);
    EXPECT_EQ(line.module, 42u);
  }
}

TEST_F(qelFileOpen, RefusesReadWithTruncate) {
  qelFile file;
  EXPECT_FALSE(file.Open(m_dir.Write("x", "abc").c_str(), kRead | qelFileModeTruncate, 0));
  EXPECT_EQ(file.GetErrorCode(), -1);
  EXPECT_EQ(m_dir.Read("x"), "abc");
}

TEST_F(qelFileOpen, CreatesAnEmptyFileForReading) {
  qelFile file;
  EXPECT_TRUE(file.Open(Name("x").c_str(), kRead | kCreate, 0));
  EXPECT_EQ(m_dir.Read("x"), "");
  EXPECT_EQ(ReadAll(file), "");
  EXPECT_EQ(file.Write("a", 1), 0u);
}

TEST_F(qelFileOpen, OpensForReadAndWriteAtTheEndForReadWithAppend) {
  qelFile file;
  EXPECT_TRUE(file.Open(m_dir.Write("x", "abc").c_str(), kRead | kAppend, 0));
  EXPECT_EQ(file.Tell(), 3);
  EXPECT_EQ(file.Write("d", 1), 1u);
  EXPECT_EQ(file.Seek(0, 0), 0);
  EXPECT_EQ(ReadAll(file), "abcd");
  EXPECT_EQ(file.Seek(1, 0), 1); // only the first position is the end
  EXPECT_EQ(file.Write("B", 1), 1u);
  EXPECT_EQ(m_dir.Read("x"), "aBcd");
}

TEST_F(qelFileOpen, KeepsTheOldFileUsableWhenItFails) {
  qelFile file(m_dir.Write("x", "abc").c_str(), kRead);
  void* fd = file.GetFD();
  EXPECT_FALSE(file.Open(Name("missing").c_str(), kRead, 0));
  EXPECT_EQ(file.GetErrorCode(), -3);
  EXPECT_TRUE(file.IsOpened());
  EXPECT_EQ(file.GetFD(), fd);
  EXPECT_EQ(ReadAll(file), "abc");
  EXPECT_EQ(file.GetErrorCode(), -3); // a read that succeeds leaves it alone
}

TEST_F(qelFileOpen, ClosesTheOldFileWhenItSucceeds) {
  qelFile file(m_dir.Write("x", "abc").c_str(), kRead);
  file.Open(Name("missing").c_str(), kRead, 0);
  void* old = file.GetFD();
  m_log.Clear();
  EXPECT_TRUE(file.Open(m_dir.Write("y", "new").c_str(), kRead, 0));
  EXPECT_EQ(file.GetErrorCode(), 0);
  EXPECT_EQ(ReadAll(file), "new");
  EXPECT_NE(file.GetFD(), old); // the new file was open before the old one was closed
  char byte;
  EXPECT_EQ(qelFile_Read(old, &byte, 1), -1);
}

TEST_F(qelFileOpen, ShowsANullName) {
  qelFile file;
  EXPECT_FALSE(file.Open(nullptr, kRead, 0));
  EXPECT_FALSE(file.Create(nullptr, true, 0));
  EXPECT_THAT(m_log.Texts(), ElementsAre("qelFile: Cannot open file: '(null)' (invalid name)\n",
                                         "Open: Cannot open file '(null)'\n",
                                         "qelFile: Cannot open file: '(null)' (invalid name)\n",
                                         "Create: Cannot create file '(null)'\n"));
}

TEST_F(qelFileCreate, RefusesAnExistingFileUnlessItTruncates) {
  const std::string name = m_dir.Write("x", "abc");
  qelFile file;
  EXPECT_FALSE(file.Create(name.c_str(), false, 0));
  EXPECT_EQ(file.GetErrorCode(), -4);
  EXPECT_EQ(m_dir.Read("x"), "abc");
  EXPECT_THAT(TakeShapes(m_log), ElementsAre("qelFile: Cannot open file: '" + name +
                                                 "' (OpenMode = 0x17) (error = #)\n",
                                             "Create: Cannot create file '" + name + "'\n"));
  EXPECT_TRUE(file.Create(name.c_str(), true, 0));
  EXPECT_EQ(file.GetErrorCode(), 0);
  EXPECT_EQ(m_dir.Read("x"), "");
}

TEST_F(qelFileCreate, OpensForReadAndWrite) {
  for (const bool truncate : {false, true}) {
    qelFile file;
    ASSERT_TRUE(file.Create(Name(truncate ? "x" : "y").c_str(), truncate, 3));
    EXPECT_EQ(file.Write("abc", 3), 3u);
    EXPECT_EQ(file.Seek(0, 0), 0);
    EXPECT_EQ(ReadAll(file), "abc");
  }
}

TEST_F(qelFileCreate, TellsItsModeWhenItTruncates) {
  const std::string name = Name("no/way");
  qelFile file;
  EXPECT_FALSE(file.Create(name.c_str(), true, 0));
  EXPECT_EQ(file.GetErrorCode(), -3);
  EXPECT_THAT(TakeShapes(m_log), ElementsAre("qelFile: Cannot open file: '" + name +
                                                 "' (OpenMode = 0x33) (error = #)\n",
                                             "Create: Cannot create file '" + name + "'\n"));
}

TEST_F(qelFileClose, IsTrueOnAClosedObjectAndClearsTheStatus) {
  qelFile file(Name("missing").c_str(), kRead);
  EXPECT_TRUE(file.Error());
  EXPECT_TRUE(file.Close());
  EXPECT_FALSE(file.Error());
}

TEST_F(qelFileClose, ClosesEvenWhenTheSystemRefuses) {
  qelFile file(m_dir.Write("x").c_str(), kRead);
  qelFile_Close(file.GetFD()); // behind its back
  EXPECT_FALSE(file.Close());
  EXPECT_EQ(file.GetErrorCode(), -1);
  EXPECT_FALSE(file.IsOpened());
  EXPECT_THAT(TakeShapes(m_log), ElementsAre("qelFile: Cannot close file (fd = #) (error = #)\n",
                                             "Close: Cannot close file descriptor #\n"));
  EXPECT_TRUE(file.Close());
}

TEST_F(qelFileAttach, ClosesWhatWasOpenAndTakesOver) {
  qelFile file(m_dir.Write("x", "old").c_str(), kRead);
  qelFile other(m_dir.Write("y", "new").c_str(), kRead);
  void* old = file.GetFD();
  file.Attach(other.Detach());
  EXPECT_EQ(ReadAll(file), "new");
  EXPECT_FALSE(other.IsOpened());
  char byte;
  EXPECT_EQ(qelFile_Read(old, &byte, 1), -1);
}

TEST_F(qelFileAttach, ClearsTheStatus) {
  qelFile file(Name("missing").c_str(), kRead);
  file.Attach(qelFile_ClosedFD());
  EXPECT_EQ(file.GetErrorCode(), 0);
  EXPECT_FALSE(file.IsOpened());
}

TEST_F(qelFileDetach, HandsOutTheDescriptorOpen) {
  void* fd = nullptr;
  {
    qelFile file(m_dir.Write("x", "abc").c_str(), kRead);
    file.EndOfFile();
    fd = file.Detach();
    EXPECT_FALSE(file.IsOpened());
    EXPECT_EQ(file.GetErrorCode(), 0);
    EXPECT_EQ(file.Detach(), qelFile_ClosedFD());
  }
  char buffer[3];
  EXPECT_EQ(qelFile_Read(fd, buffer, 3), 3);
  EXPECT_EQ(qelFile_Close(fd), 0);
}

// Reading and writing -----------------------------------------------------------------

TEST_F(qelFileRead, GivesZeroAtTheEnd) {
  qelFile file(m_dir.Write("x", "abc").c_str(), kRead);
  char buffer[8];
  EXPECT_EQ(file.Read(buffer, 2), 2);
  EXPECT_EQ(file.Read(buffer, 8), 1);
  EXPECT_EQ(file.Read(buffer, 8), 0);
  EXPECT_FALSE(file.Error());
}

TEST_F(qelFileRead, ReportsAFailureWithTwoLogLines) {
  qelFile file(m_dir.Write("x", "abc").c_str(), kWrite);
  char buffer[3];
  EXPECT_EQ(file.Read(buffer, 3), -1);
  EXPECT_EQ(file.GetErrorCode(), -1);
  EXPECT_THAT(TakeShapes(m_log), ElementsAre("qelFile: cannot read 3 bytes (fd = #) (error = #)\n",
                                             "Read: Cannot read from file descriptor #\n"));
}

TEST_F(qelFileRead, LeavesAnEarlierStatusAlone) {
  qelFile file(m_dir.Write("x", "abc").c_str(), kRead);
  EXPECT_EQ(file.Write("z", 1), 0u);
  char buffer[1];
  EXPECT_EQ(file.Read(buffer, 1), 1);
  EXPECT_EQ(file.GetErrorCode(), -1);
  EXPECT_EQ(file.Tell(), 1); // the others overwrite it
  EXPECT_EQ(file.GetErrorCode(), 0);
}

TEST_F(qelFileWrite, GivesTheBytesWritten) {
  qelFile file;
  ASSERT_TRUE(file.Create(Name("x").c_str(), true, 0));
  EXPECT_EQ(file.Write("a\0b", 3), 3u);
  EXPECT_EQ(file.Write("", 0), 0u);
  EXPECT_FALSE(file.Error());
  EXPECT_EQ(m_dir.Read("x"), std::string("a\0b", 3));
}

TEST_F(qelFileWrite, ReportsAFailureWithTwoLogLines) {
  qelFile file(m_dir.Write("x", "abc").c_str(), kRead);
  EXPECT_EQ(file.Write("z", 1), 0u);
  EXPECT_EQ(file.GetErrorCode(), -1);
  EXPECT_THAT(TakeShapes(m_log), ElementsAre("qelFile: Write (fd = #) (error = #)\n",
                                             "Write: Cannot write to file descriptor #\n"));
}

TEST_F(qelFileWrite, LeavesAnEarlierStatusAlone) {
  qelFile file(m_dir.Write("x", "abc").c_str(), kWrite);
  char buffer[1];
  EXPECT_EQ(file.Read(buffer, 1), -1);
  EXPECT_EQ(file.Write("z", 1), 1u);
  EXPECT_EQ(file.GetErrorCode(), -1);
}

TEST_F(qelFileFlush, ClearsTheStatusOpenOrClosed) {
  qelFile file(Name("missing").c_str(), kRead);
  EXPECT_TRUE(file.Flush());
  EXPECT_EQ(file.GetErrorCode(), 0);
  ASSERT_TRUE(file.Open(m_dir.Write("x").c_str(), kRead, 0));
  EXPECT_TRUE(file.EndOfFile());
  EXPECT_TRUE(file.Flush());
  EXPECT_EQ(file.GetErrorCode(), 0);
}

// Positions and size ------------------------------------------------------------------

TEST_F(qelFileTell, ReportsAClosedFile) {
  qelFile file;
  EXPECT_EQ(file.Tell(), -1);
  EXPECT_EQ(file.GetErrorCode(), -1);
  EXPECT_THAT(TakeShapes(m_log), ElementsAre(kNotOpen, "Tell: Cannot get position\n"));
}

TEST_F(qelFileSeek, GivesTheNewPosition) {
  qelFile file(m_dir.Write("x", "0123456789").c_str(), kRead);
  EXPECT_EQ(file.Seek(4, 0), 4);
  EXPECT_EQ(file.Seek(2, 1), 6);
  EXPECT_EQ(file.Seek(-1, 2), 9);
  EXPECT_EQ(file.Seek(kFiveGiB, 2), kFiveGiB + 10);
  EXPECT_EQ(file.Seek(3, 17), 3);
  EXPECT_EQ(file.GetErrorCode(), 0);
}

TEST_F(qelFileSeek, ReportsARefusedPosition) {
  qelFile file(m_dir.Write("x", "0123456789").c_str(), kRead);
  file.Seek(4, 0);
  EXPECT_EQ(file.Seek(-5, 1), -1);
  EXPECT_EQ(file.GetErrorCode(), -1);
  EXPECT_EQ(file.Tell(), 4);
  EXPECT_THAT(TakeShapes(m_log), ElementsAre("qelFile: Cannot seek (fd = #) (error = #)\n",
                                             "Seek: Cannot seek on file descriptor #\n"));
}

TEST_F(qelFileLength, LeavesThePositionInTheMiddle) {
  qelFile file(m_dir.Write("x", "0123456789").c_str(), kRead);
  for (const int64_t position : {0, 5, 10, 20}) {
    file.Seek(position, 0);
    EXPECT_EQ(file.Length(), 10);
    EXPECT_EQ(file.GetErrorCode(), 0);
    EXPECT_EQ(file.Tell(), position);
  }
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(qelFileLength, CountsBeyondFourGibibytes) {
  ASSERT_TRUE(qelFile::ChangeSize(Name("x").c_str(), kFiveGiB));
  EXPECT_EQ(qelFile(Name("x").c_str(), kRead).Length(), kFiveGiB);
}

TEST_F(qelFileLength, ReportsAClosedFile) {
  qelFile file;
  EXPECT_EQ(file.Length(), -1);
  EXPECT_EQ(file.GetErrorCode(), -1);
  EXPECT_THAT(TakeShapes(m_log), ElementsAre(kNotOpen, "Length: Cannot get initial position\n"));
}

TEST_F(qelFileEndOfFile, LeavesOneInTheStatusAtTheEnd) {
  qelFile file(m_dir.Write("x", "abc").c_str(), kRead);
  EXPECT_FALSE(file.EndOfFile());
  EXPECT_EQ(file.GetErrorCode(), 0);
  EXPECT_EQ(ReadAll(file), "abc");
  EXPECT_TRUE(file.EndOfFile());
  EXPECT_EQ(file.GetErrorCode(), 1);
  EXPECT_TRUE(file.Error());
}

TEST_F(qelFileEndOfFile, IsFalseForAClosedFile) {
  qelFile file;
  EXPECT_FALSE(file.EndOfFile());
  EXPECT_EQ(file.GetErrorCode(), -1);
}

TEST_F(qelFileChangeSize, EndsAtTheNewSize) {
  qelFile file(m_dir.Write("x", "0123456789").c_str(), kRead | kWrite);
  EXPECT_TRUE(file.ChangeSize(12));
  EXPECT_EQ(file.Tell(), 12);
  EXPECT_EQ(file.Length(), 12);
  EXPECT_TRUE(file.ChangeSize(3));
  EXPECT_EQ(file.Tell(), 3);
  EXPECT_EQ(m_dir.Read("x"), "012");
}

TEST_F(qelFileChangeSize, ReportsAFailureWithTwoLogLines) {
  qelFile file(m_dir.Write("x", "0123456789").c_str(), kRead);
  EXPECT_FALSE(file.ChangeSize(3));
  EXPECT_EQ(file.GetErrorCode(), -1);
  EXPECT_THAT(TakeShapes(m_log),
              ElementsAre("qelFile: ChangeSize: Cannot truncate/extend (fd = #) (error = #)\n",
                          "ChangeSize: Cannot truncate/extend file\n"));
}

// Static operations -------------------------------------------------------------------

TEST_F(qelFileStatic, ExistsForFilesAndNotForDirectories) {
  EXPECT_TRUE(qelFile::Exists(m_dir.Write("x").c_str()));
  EXPECT_FALSE(qelFile::Exists(Name("missing").c_str()));
  EXPECT_FALSE(qelFile::Exists(m_dir.Path().c_str()));
}

TEST_F(qelFileStatic, RemoveOfAMissingFileIsTrue) {
  EXPECT_TRUE(qelFile::Remove(m_dir.Write("x").c_str()));
  EXPECT_FALSE(m_dir.Has("x"));
  EXPECT_TRUE(qelFile::Remove(Name("x").c_str()));
  EXPECT_FALSE(qelFile::Remove(m_dir.Path().c_str()));
}

TEST_F(qelFileStatic, RenameOntoAnExistingFileIsFalse) {
  m_dir.Write("x", "1");
  m_dir.Write("y", "2");
  EXPECT_FALSE(qelFile::Rename(Name("x").c_str(), Name("y").c_str()));
  EXPECT_EQ(m_dir.Read("y"), "2");
  EXPECT_TRUE(qelFile::Rename(Name("x").c_str(), Name("z").c_str()));
  EXPECT_EQ(m_dir.Read("z"), "1");
}

TEST_F(qelFileStatic, ChangeSizeCreatesAMissingFile) {
  EXPECT_TRUE(qelFile::ChangeSize(Name("x").c_str(), 2));
  EXPECT_EQ(m_dir.Read("x"), std::string(2, '\0'));
  EXPECT_FALSE(qelFile::ChangeSize(Name("x").c_str(), -1));
  EXPECT_FALSE(qelFile::ChangeSize(nullptr, 2));
}

TEST_F(qelFileStatic, AccessTellsWhetherTheFileCanBeOpened) {
  EXPECT_TRUE(qelFile::Access(m_dir.Write("x").c_str(), 3));
  EXPECT_FALSE(qelFile::Access(Name("missing").c_str(), 1));
}

TEST_F(qelFileStatic, GetTimesStoresThoseThatAreAskedFor) {
  const std::string name = m_dir.Write("x");
  const qelLong now = static_cast<qelLong>(time(nullptr));
  qelDateTime access;
  qelDateTime modification;
  qelDateTime creation;
  EXPECT_TRUE(qelFile::GetTimes(name.c_str(), &access, &modification, &creation));
  for (const qelDateTime* stamp : {&access, &modification, &creation}) {
    EXPECT_TRUE(stamp->IsValid());
    EXPECT_NEAR(stamp->GetTicks(), now, 3);
  }
  qelDateTime alone;
  EXPECT_TRUE(qelFile::GetTimes(name.c_str(), nullptr, &alone, nullptr));
  EXPECT_EQ(alone, modification);
  EXPECT_TRUE(qelFile::GetTimes(name.c_str(), nullptr, nullptr, nullptr));
}

TEST_F(qelFileStatic, GetTimesOfAMissingFileStoresNothing) {
  qelDateTime stamp;
  EXPECT_FALSE(qelFile::GetTimes(Name("missing").c_str(), &stamp, &stamp, &stamp));
  EXPECT_FALSE(stamp.IsValid());
}

// Random operations, against the bytes of one file that stays open and one that is reopened ------

TEST_F(qelFileModel, KeepsItsContentOverReopening) {
  std::mt19937 random(4711);
  const auto below = [&random](size_t n) { return static_cast<size_t>(random() % n); };
  std::string bytes;
  qelFile file;
  ASSERT_TRUE(file.Create(Name("x").c_str(), true, 0));
  for (int step = 0; step < 5000; ++step) {
    SCOPED_TRACE(step);
    switch (below(5)) {
    case 0: { // append by a fresh open
      const std::string text(1 + below(30), static_cast<char>('a' + below(26)));
      ASSERT_TRUE(file.Close()); // one writer does not share with another on every system
      ASSERT_TRUE(file.Open(Name("x").c_str(), kRead | kAppend, 0));
      ASSERT_EQ(file.Write(text.data(), text.size()), text.size());
      bytes += text;
      break;
    }
    case 1: { // overwrite in the middle
      const size_t at = below(bytes.size() + 1);
      ASSERT_EQ(file.Seek(static_cast<int64_t>(at), 0), static_cast<int64_t>(at));
      ASSERT_EQ(file.Write("ABC", 3), 3u);
      bytes.resize(std::max(bytes.size(), at + 3));
      bytes.replace(at, 3, "ABC");
      break;
    }
    case 2: { // read anywhere
      const size_t at = below(bytes.size() + 1);
      char buffer[64];
      ASSERT_EQ(file.Seek(static_cast<int64_t>(at), 0), static_cast<int64_t>(at));
      const int count = file.Read(buffer, sizeof buffer);
      ASSERT_GE(count, 0);
      ASSERT_EQ(std::string(buffer, static_cast<size_t>(count)), bytes.substr(at, sizeof buffer));
      ASSERT_EQ(file.EndOfFile(), at + static_cast<size_t>(count) == bytes.size());
      break;
    }
    case 3:
      if (bytes.size() > 2000) {
        const size_t size = below(100);
        ASSERT_TRUE(below(2) == 0
                        ? file.ChangeSize(static_cast<int64_t>(size))
                        : file.Close() &&
                              qelFile::ChangeSize(Name("x").c_str(), static_cast<int64_t>(size)));
        bytes.resize(size);
      }
      if (!file.IsOpened()) {
        ASSERT_TRUE(file.Open(Name("x").c_str(), kRead | kWrite, 0));
      }
      break;
    default:
      ASSERT_EQ(file.Length(), static_cast<int64_t>(bytes.size()));
      break;
    }
  }
  ASSERT_TRUE(file.Close());
  EXPECT_EQ(m_dir.Read("x"), bytes);
}

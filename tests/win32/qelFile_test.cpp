// What only the Windows back-end of files has.

#include <qel/multiplatform/qelFile.h>

#include <cstdlib>
#include <map>
#include <string>

#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/files/File.h>
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
constexpr int kCreate = qelFileModeCreate;
constexpr int kExclusive = qelFileModeExclusive;

class WindowsFileTest : public ::testing::Test {
protected:
  static std::wstring Wide(const std::string& path) { return TempDir::Native(path).wstring(); }

  TempDir m_dir;
  LogCapture m_log;
};

using qelFileMapErrorWin32 = WindowsFileTest;
using qelFileNativeNameWin32 = WindowsFileTest;
using qelFileOpenWin32 = WindowsFileTest;
using qelFileAccessWin32 = WindowsFileTest;
using qelFileHasAttributeWin32 = WindowsFileTest;
using qelFileGetTimesWin32 = WindowsFileTest;
using qelFileRemoveWin32 = WindowsFileTest;
using qelFileRenameWin32 = WindowsFileTest;
using qelFileSetSizeWin32 = WindowsFileTest;
using qelFileWriteWin32 = WindowsFileTest;

} // namespace

// Errors and names --------------------------------------------------------------------

TEST_F(qelFileMapErrorWin32, KnowsNineNumbersAndTakesAllOthersAsGeneric) {
  const std::map<int, int> known = {{0, 0},   {19, -2},  {29, -2}, {2, -3},  {3, -3},
                                    {80, -4}, {183, -4}, {39, -5}, {112, -5}};
  for (int error = -2; error < 2000; ++error) {
    const auto row = known.find(error);
    EXPECT_EQ(qelFile_MapError(error), row != known.end() ? row->second : -1) << error;
  }
}

TEST_F(qelFileNativeNameWin32, IsWideWithBackslashesAndWithoutALongPathPrefix) {
  const struct {
    const char* name;
    const wchar_t* expected;
  } rows[] = {{"C:/a/b.c", L"C:\\a\\b.c"},
              {"C:/a//b/", L"C:\\a\\\\b\\"},
              {"\\\\srv/share/x", L"\\\\srv\\share\\x"},
              {"C:/\xC3\xA4\xF0\x9F\x98\x80", L"C:\\\u00E4\xD83D\xDE00"},
              {"", L""}};
  for (const auto& row : rows) {
    wchar_t* name = qelFile_NativeName(row.name);
    EXPECT_STREQ(name, row.expected);
    free(name);
  }
}

TEST_F(qelFileNativeNameWin32, IsNullForTextThatIsNotUTF8) {
  EXPECT_EQ(qelFile_NativeName("C:/\xFF"), nullptr);
  EXPECT_EQ(qelFile_NativeName("C:/\xC3"), nullptr);
  void* fd = nullptr;
  EXPECT_EQ(qelFile_Open("C:/\xFF", kRead, 0, &fd), -1);
  EXPECT_EQ(m_log.All(), "qelFile: Cannot open file: 'C:/\xFF' (invalid name)\n");
}

// Opening -----------------------------------------------------------------------------

TEST_F(qelFileOpenWin32, LogsFromItsOwnSource) {
  const std::string name = m_dir.Path("missing");
  void* fd = nullptr;
  EXPECT_EQ(qelFile_Open(name.c_str(), kRead, 0, &fd), -3);
  ASSERT_EQ(m_log.Lines().size(), 1u);
  EXPECT_EQ(m_log.Lines()[0].file, "..\\..\\win32\\qelFile.win32");
  EXPECT_EQ(m_log.Lines()[0].text,
            "qelFile: Cannot open file: '" + name + "' (OpenMode = 0x01) (error = 2)\n");
}

TEST_F(qelFileOpenWin32, SharesReadersWithAllAndWritersWithReaders) {
  const struct {
    int first;
    int second;
    bool isShared;
  } rows[] = {
      {kRead, kRead, true},
      {kRead, kWrite, true},
      {kRead, kRead | kWrite, true},
      {kWrite, kRead, true},
      {kRead | kWrite, kRead, true},
      {kWrite, kWrite, false},
      {kWrite, kRead | kWrite, false},
      {kRead | kWrite, kWrite, false},
      {kRead | kExclusive | kCreate, kRead, false},
      {kWrite | kExclusive | kCreate, kRead, false},
      {kRead | kWrite | kExclusive | kCreate, kWrite, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.first) + ", " + std::to_string(row.second));
    const std::string name = m_dir.Path("x");
    qelFile_Remove(name.c_str());
    if ((row.first & kCreate) == 0)
      m_dir.Write("x");
    qelFile first;
    qelFile second;
    ASSERT_TRUE(first.Open(name.c_str(), row.first, 0));
    EXPECT_EQ(second.Open(name.c_str(), row.second, 0), row.isShared);
    EXPECT_EQ(second.GetErrorCode(), row.isShared ? 0 : -1);
  }
}

TEST_F(qelFileOpenWin32, IsRefusedForAReadOnlyFile) {
  const std::string name = m_dir.Write("x", "1");
  ASSERT_TRUE(::SetFileAttributesW(Wide(name).c_str(), FILE_ATTRIBUTE_READONLY));
  EXPECT_EQ(qelFile_Remove(name.c_str()), -1);
  qelFile file;
  EXPECT_TRUE(file.Open(name.c_str(), kRead, 0));
  const bool isOpen = file.Open(name.c_str(), kWrite, 0);
  const int status = file.GetErrorCode();
  const bool canWrite = qelFile::Access(name.c_str(), 2);
  file.Close();
  EXPECT_TRUE(::SetFileAttributesW(Wide(name).c_str(), FILE_ATTRIBUTE_NORMAL));
  if (isOpen)
    GTEST_SKIP() << "under Wine the host's root may write to every file";
  EXPECT_EQ(status, -1);
  EXPECT_FALSE(canWrite);
}

TEST_F(qelFileAccessWin32, SharesWithEverybodyItself) {
  const std::string name = m_dir.Write("x");
  qelFile writer(name.c_str(), kWrite);
  EXPECT_EQ(qelFile_Access(name.c_str(), 1), 1);
  EXPECT_EQ(qelFile_Access(name.c_str(), 2), 0); // the writer does not share with writers
  writer.Close();
  EXPECT_EQ(qelFile_Access(name.c_str(), 3), 1);
}

TEST_F(qelFileHasAttributeWin32, ReadsTheSystemsAttribute) {
  const std::string name = m_dir.Write("x");
  m_dir.Write(".dot");
  EXPECT_EQ(qelFile_HasAttribute(name.c_str(), 1), 0);
  EXPECT_EQ(qelFile_HasAttribute(m_dir.Path(".none").c_str(), 1), 0);
  ASSERT_TRUE(::SetFileAttributesW(Wide(name).c_str(), FILE_ATTRIBUTE_HIDDEN));
  EXPECT_EQ(qelFile_HasAttribute(name.c_str(), 1), 1);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

namespace {

// A moment as the system keeps it, in tenths of a microsecond since 1601.
FILETIME FileTime(int64_t seconds, int64_t microseconds) {
  const int64_t ticks = INT64_C(116444736000000000) + seconds * 10000000 + microseconds * 10;
  FILETIME time;
  time.dwLowDateTime = static_cast<DWORD>(ticks & 0xFFFFFFFF);
  time.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
  return time;
}

void SetStamps(const std::wstring& name, const FILETIME* access, const FILETIME* modification) {
  const HANDLE file = ::CreateFileW(name.c_str(), FILE_WRITE_ATTRIBUTES, 7, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_TRUE(::SetFileTime(file, nullptr, access, modification));
  ::CloseHandle(file);
}

} // namespace

TEST_F(qelFileGetTimesWin32, GivesEachStampToTheMillisecond) {
  const std::string name = m_dir.Write("x");
  // In winter, for the conversion to local time takes today's daylight saving.
  const FILETIME modification = FileTime(1111111111, 999000);
  SetStamps(Wide(name), nullptr, &modification);
  qeltimeval found{};
  ASSERT_EQ(qelFile_GetTimes(name.c_str(), nullptr, &found, nullptr), 0);
  EXPECT_NEAR(found.seconds, 1111111111, 3600);
  EXPECT_EQ(found.seconds % 60, 1111111111 % 60);
  EXPECT_EQ(found.microseconds, 999000);
}

TEST_F(qelFileGetTimesWin32, ReportsAStampThatHasNoValueUnlessItIsNotAskedFor) {
  const std::string name = m_dir.Write("x");
  const FILETIME access = FileTime(-86400 * 400, 0); // 1968
  const FILETIME modification = FileTime(1111111111, 0);
  SetStamps(Wide(name), &access, &modification);
  qeltimeval stamp{};
  EXPECT_EQ(qelFile_GetTimes(name.c_str(), &stamp, &stamp, nullptr), -1);
  EXPECT_THAT(m_log.All(), HasSubstr("qelFile_GetTimes: Could not get all "
                                     "creation/modification/access times for file: "));
  EXPECT_EQ(qelFile_GetTimes(name.c_str(), nullptr, &stamp, nullptr), 0);
}

TEST_F(qelFileGetTimesWin32, TellsTheNativeName) {
  qeltimeval stamp{};
  EXPECT_EQ(qelFile_GetTimes("C:/no/such/file", &stamp, nullptr, nullptr), -3);
  EXPECT_EQ(m_log.All(),
            "qelFile_GetTimes: Could not get attributes for file: C:\\no\\such\\file\n");
  m_log.Clear();
  EXPECT_EQ(qelFile_GetTimes("C:/n\xC3\xB6.\xE2\x82\xAC", &stamp, nullptr, nullptr), -3);
  EXPECT_EQ(m_log.All(), "qelFile_GetTimes: Could not get attributes for file: C:\\n?.?\n");
}

TEST_F(qelFileRemoveWin32, ReportsAFileThatIsOpen) {
  const std::string name = m_dir.Write("x");
  qelFile file(name.c_str(), kRead);
  EXPECT_EQ(qelFile_Remove(name.c_str()), -1);
  EXPECT_EQ(m_log.All(), "qelFile: Cannot remove file '" + name + "' (error = 32)\n");
  EXPECT_TRUE(m_dir.Has("x"));
}

TEST_F(qelFileRenameWin32, RegardsNamesThatDifferInCaseAsOne) {
  m_dir.Write("x", "1");
  m_dir.Write("y", "2");
  EXPECT_EQ(qelFile_Rename(m_dir.Path("x").c_str(), m_dir.Path("Y").c_str()), -4);
  EXPECT_EQ(m_dir.Read("y"), "2");
}

TEST_F(qelFileSetSizeWin32, ReportsAFailedOpenAtTheNextStep) {
  const std::string name = m_dir.MakeDir("sub");
  EXPECT_EQ(qelFile_SetSize(name.c_str(), 5), ERROR_INVALID_HANDLE);
  EXPECT_EQ(m_log.All(),
            "qelFile: Cannot set size of file '" + name + "', cannot move pointer (error = 6)\n");
}

TEST_F(qelFileSetSizeWin32, SharesWithEverybodyItself) {
  const std::string name = m_dir.Write("x", "0123456789");
  qelFile reader(name.c_str(), kRead);
  EXPECT_EQ(qelFile_SetSize(name.c_str(), 4), 0);
  EXPECT_EQ(reader.Length(), 4);
}

TEST_F(qelFileWriteWin32, TellsAFullDisk) {
  // Under Wine the host's device of that kind; Windows itself has none.
  qelFile file("Z:/dev/full", kWrite);
  if (!file.IsOpened())
    GTEST_SKIP() << "there is no file that stands for a full disk";
  m_log.Clear();
  EXPECT_EQ(file.Write("abc", 3), 0u);
  EXPECT_EQ(file.GetErrorCode(), qelFileErrorDiskFull);
  EXPECT_THAT(TakeShapes(m_log), ElementsAre("qelFile: Write (fd = #) (error = #)\n",
                                             "Write: Cannot write to file descriptor #\n"));
}

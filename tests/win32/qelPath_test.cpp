//===----------------------------------------------------------------------===//
// What of the path layer only this system has: volumes, network names, prefixes
// for long paths. Four calls of the library come through here: the pointers that
// it makes them by are defined below, ahead of the system's own.
//===----------------------------------------------------------------------===//

#include <qel/multiplatform/qelPath.h>

#include <string>

#include <windows.h>
#include <shlobj.h>

#include <gtest/gtest.h>

#include <tests/support/LogCapture.h>
#include <tests/support/PathText.h>

namespace {

// What the calls shall do; as the system does by default.
struct Script {
  DWORD nameLength = 0;       // of the program's name: "C:\\xxx...", or what the system says
  bool hasName = true;        // false: the program's name can't be told
  HRESULT folderError = S_OK; // of the application data folder
  UINT driveType = 0xFFFF;    // of every drive
  bool hasMedium = true;      // every drive has one
  DWORD errorMode = 0;        // gets the mode at the question for a volume
};

Script script;

// The system's own function.
template <typename Function>
Function* Original(const char* library, const char* name) {
  return reinterpret_cast<Function*>(
      reinterpret_cast<void*>(::GetProcAddress(::LoadLibraryA(library), name)));
}

DWORD WINAPI FakeGetModuleFileNameW(HMODULE module, WCHAR* name, DWORD size) {
  static auto* const original =
      Original<DWORD WINAPI(HMODULE, WCHAR*, DWORD)>("kernel32.dll", "GetModuleFileNameW");
  if (!script.hasName)
    return 0;
  if (script.nameLength == 0)
    return original(module, name, size);
  const std::wstring text = L"C:\\" + std::wstring(script.nameLength - 3, L'x');
  // As the system does it: a name that does not fit is cut, with its terminator.
  const DWORD length = script.nameLength < size ? script.nameLength : size - 1;
  text.copy(name, length);
  name[length] = L'\0';
  return script.nameLength < size ? length : size;
}

HRESULT WINAPI FakeSHGetFolderPathW(HWND owner, int folder, HANDLE token, DWORD flags,
                                    WCHAR* path) {
  static auto* const original =
      Original<HRESULT WINAPI(HWND, int, HANDLE, DWORD, WCHAR*)>("shell32.dll", "SHGetFolderPathW");
  return script.folderError != S_OK ? script.folderError
                                    : original(owner, folder, token, flags, path);
}

UINT WINAPI FakeGetDriveTypeA(const char* root) {
  static auto* const original = Original<UINT WINAPI(const char*)>("kernel32.dll", "GetDriveTypeA");
  return script.driveType != 0xFFFF ? script.driveType : original(root);
}

BOOL WINAPI FakeGetVolumeInformationA(const char* root, char* name, DWORD nameSize, DWORD* serial,
                                      DWORD* longest, DWORD* flags, char* type, DWORD typeSize) {
  static auto* const original =
      Original<BOOL WINAPI(const char*, char*, DWORD, DWORD*, DWORD*, DWORD*, char*, DWORD)>(
          "kernel32.dll", "GetVolumeInformationA");
  script.errorMode = ::GetThreadErrorMode();
  return script.hasMedium ? original(root, name, nameSize, serial, longest, flags, type, typeSize)
                          : FALSE;
}

const int kNone = 0;
const int kNative = qelPathFlagNative;
const int kLong = qelPathFlagLongPath;
const int kBoth = qelPathFlagNative | qelPathFlagLongPath;

std::string Normalized(const char* text, int flags, bool strip = false) {
  return Taken(qelPath_Normalize(text, strip ? 1 : 0, flags, nullptr));
}

class Scripted : public testing::Test {
protected:
  Scripted() { script = Script(); }
  ~Scripted() override { script = Script(); }

  static void ExpectLine(const CapturedLine& line, const std::string& text) {
    EXPECT_EQ(line.text, text);
    EXPECT_EQ(line.level, 1u);
    EXPECT_EQ(line.module, 57u);
    EXPECT_EQ(line.file, "..\\..\\win32\\qelPath.win32");
  }
};

using QelPathGetApplicationFileName = Scripted;
using QelPathGetApplicationDataDirectory = Scripted;
using QelPathGetDriveKindOfADrive = Scripted;

TEST(QelPathIsAbsolute, FollowsTheRulesOfDriveLetters) {
  const struct {
    const char* text;
    int isAbsolute;
  } rows[] = {
      {"C:", 1},      {"C:/", 1}, {"c:x", 1},         {"::", 1},     {"\\\\", 1},
      {"\\\\srv", 1}, {"/:", 1},  {"1:", 1},          {".:", 0},     {".\\\\", 0},
      {"/x", 0},      {"//x", 0}, {"//srv/share", 0}, {"\\x", 0},    {"\\", 0},
      {"/", 0},       {"x", 0},   {"ab:", 0},         {"\\/srv", 0},
  };
  for (const auto& row : rows)
    EXPECT_EQ(qelPath_IsAbsolute(row.text), row.isAbsolute) << row.text;
}

TEST(QelPathNormalize, GivesEachFormItsSeparatorsAndPrefix) {
  const struct {
    const char* text;
    int flags;
    const char* expected;
  } rows[] = {
      {"C:\\a/b\\c", kNone, "C:/a/b/c"},
      {"C:\\a/b\\c", kNative, "C:\\a\\b\\c"},
      {"C:\\a/b\\c", kLong, "\\\\?\\C:/a/b/c"},
      {"C:\\a/b\\c", kBoth, "\\\\?\\C:\\a\\b\\c"},
      {"\\\\srv\\share/x", kNone, "\\\\srv/share/x"},
      {"\\\\srv\\share/x", kNative, "\\\\srv\\share\\x"},
      {"\\\\srv\\share/x", kLong, "\\\\?\\UNC\\srv/share/x"},
      {"\\\\srv\\share/x", kBoth, "\\\\?\\UNC\\srv\\share\\x"},
      {"\\\\?\\C:\\a/b", kNative, "\\\\?\\C:\\a\\b"},
      {"\\\\?\\C:\\a/b", kBoth, "\\\\?\\C:\\a\\b"},
      {"\\\\?\\UNC\\srv/x", kBoth, "\\\\?\\UNC\\srv\\x"},
      {"\\\\", kNone, "\\\\"},
      {"\\\\", kNative, "\\\\"},
      {"\\\\", kBoth, "\\\\?\\UNC\\"},
      {"\\\\?", kNone, "\\\\?"},
      {"", kNone, ""},
      {"", kBoth, "\\\\?\\"},
      {"C:/\xC3\xA9\\x", kNative, "C:\\\xC3\xA9\\x"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(Normalized(row.text, row.flags), row.expected) << row.text << " " << row.flags;
}

TEST(QelPathNormalize, ConvertsAPrefixThatCameIn) {
  EXPECT_EQ(Normalized("\\\\?\\C:\\a", kNone), "//?/C:/a");
  EXPECT_EQ(Normalized("\\\\?\\C:\\a", kLong), "//?/C:/a");
}

TEST(QelPathNormalize, KeepsTheSeparatorOfAVolumeWithoutAPrefix) {
  EXPECT_EQ(Normalized("C:/", kNone, /*strip=*/true), "C:/");
  EXPECT_EQ(Normalized("C:/", kNative, /*strip=*/true), "C:\\");
  EXPECT_EQ(Normalized("C:\\\\/", kNative, /*strip=*/true), "C:\\");
  EXPECT_EQ(Normalized("C:/a/", kNative, /*strip=*/true), "C:\\a");
  EXPECT_EQ(Normalized("\\\\srv\\x\\", kNone, /*strip=*/true), "\\\\srv/x");
  // With a prefix the text is longer, and the separator goes like any other.
  EXPECT_EQ(Normalized("C:/", kBoth, /*strip=*/true), "\\\\?\\C:");
}

TEST(QelPathNormalize, AnchorsATextWithALeadingSlashToo) {
  EXPECT_EQ(Taken(qelPath_Normalize("/x", 0, kNone, "C:/a/")), "C:/a//x");
  EXPECT_EQ(Taken(qelPath_Normalize("\\x", 0, kNone, "C:/a/")), "C:/a//x");
  EXPECT_EQ(Taken(qelPath_Normalize("x", 0, kNone, "\\\\srv\\a\\")), "\\\\srv/a/x");
}

const char kNoNameLine[] = "qelPath: Cannot get application file name (buffer too small)\n";

TEST_F(QelPathGetApplicationFileName, FitsWithOneUnitToSpare) {
  LogCapture log;
  script.nameLength = 1039;
  EXPECT_EQ(Taken(qelPath_GetApplicationFileName()), "C:/" + std::string(1036, 'x'));
  EXPECT_EQ(log.All(), "");
  for (DWORD length : {1040u, 1041u, 5000u}) {
    log.Clear();
    script.nameLength = length;
    EXPECT_EQ(qelPath_GetApplicationFileName(), nullptr) << length;
    ASSERT_EQ(log.Lines().size(), 1u);
    ExpectLine(log.Lines()[0], kNoNameLine);
  }
}

TEST_F(QelPathGetApplicationFileName, LeavesNoAnchorWhenItFails) {
  script.hasName = false;
  LogCapture log;
  EXPECT_EQ(qelPath_GetApplicationDirectory(), nullptr);
  EXPECT_EQ(qelPath_GetApplicationName(1), nullptr);
  log.Clear();
  EXPECT_EQ(qelPath_Normalize("a/x", 0, kNone, nullptr), nullptr);
  ASSERT_EQ(log.Lines().size(), 2u);
  ExpectLine(log.Lines()[0], kNoNameLine);
  ExpectLine(log.Lines()[1], "qelPath: Cannot get an anchor path (or none specified) to build an "
                             "absolute path for 'a/x'\n");
  log.Clear();
  EXPECT_EQ(Taken(qelPath_Normalize("a", 0, kNone, "C:/x/")), "C:/x/a");
  EXPECT_EQ(log.All(), "");
}

TEST_F(QelPathGetApplicationDataDirectory, LogsWhyThereIsNone) {
  LogCapture log;
  script.folderError = E_FAIL;
  EXPECT_EQ(qelPath_GetApplicationDataDirectory(), nullptr);
  ASSERT_EQ(log.Lines().size(), 1u);
  ExpectLine(log.Lines()[0], "qelPath: Cannot get application specific data directory name (error "
                             "= '" +
                                 std::to_string(static_cast<int>(E_FAIL)) + "')\n");
}

TEST(QelPathGetApplicationName, ComesWithItsEnding) {
  EXPECT_EQ(Taken(qelPath_GetApplicationName(0)), "win32_qelPath_test.exe");
  EXPECT_EQ(Taken(qelPath_GetApplicationName(1)), "win32_qelPath_test");
}

TEST(QelPathGetDriveKind, LooksAtTheDriveLetterAlone) {
  const int kind = qelPath_GetDriveKind("C:/");
  EXPECT_NE(kind, 0);
  EXPECT_EQ(qelPath_GetDriveKind("c:\\no\\such\\place"), kind);
  EXPECT_EQ(qelPath_GetDriveKind("C:"), kind);
}

TEST_F(QelPathGetDriveKindOfADrive, FollowsTheSystemsType) {
  const struct {
    UINT type;
    int kind;
  } rows[] = {
      {DRIVE_UNKNOWN, 0}, {DRIVE_NO_ROOT_DIR, 0}, {DRIVE_REMOVABLE, 3}, {DRIVE_FIXED, 2},
      {DRIVE_REMOTE, 1},  {DRIVE_CDROM, 3},       {DRIVE_RAMDISK, 3},
  };
  for (const auto& row : rows) {
    script.driveType = row.type;
    EXPECT_EQ(qelPath_GetDriveKind("C:/x"), row.kind) << row.type;
  }
}

TEST_F(QelPathGetDriveKindOfADrive, IsUnknownWithoutAMediumAndDoesNotAskForOne) {
  const DWORD mode = ::GetThreadErrorMode();
  script.hasMedium = false;
  script.driveType = DRIVE_REMOVABLE;
  EXPECT_EQ(qelPath_GetDriveKind("C:/x"), 0);
  EXPECT_EQ(script.errorMode, mode | SEM_FAILCRITICALERRORS);
  EXPECT_EQ(::GetThreadErrorMode(), mode);
}

TEST(QelPathGetDriveKind, IsUnknownWithoutADrive) {
  EXPECT_EQ(qelPath_GetDriveKind("\\\\srv\\share"), 0);
  EXPECT_EQ(qelPath_GetDriveKind("?:/"), 0);
}

} // namespace

extern "C" {
void* __imp_GetModuleFileNameW = reinterpret_cast<void*>(&FakeGetModuleFileNameW);
void* __imp_SHGetFolderPathW = reinterpret_cast<void*>(&FakeSHGetFolderPathW);
void* __imp_GetVolumeInformationA = reinterpret_cast<void*>(&FakeGetVolumeInformationA);
void* __imp_GetDriveTypeA = reinterpret_cast<void*>(&FakeGetDriveTypeA);
}

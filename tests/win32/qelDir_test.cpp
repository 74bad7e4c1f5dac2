// What only the Windows back-end of directories has.

#include <qel/multiplatform/qelDir.h>

#include <cstdlib>
#include <cstring>
#include <set>
#include <string>

#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/files/Dir.h>
#include <qel/files/File.h>
#include <qel/multiplatform/qelTime.h>
#include <tests/support/LogCapture.h>
#include <tests/support/LogShape.h>
#include <tests/support/TempDir.h>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

typedef std::set<std::string> Names;

class WindowsDirTest : public ::testing::Test {
protected:
  // The wide name with the prefix behind which the system takes every text as it is.
  std::wstring Literal(const std::wstring& name) const {
    return L"\\\\?\\" + TempDir::Native(m_dir.Path()).make_preferred().wstring() + L"\\" + name;
  }
  bool MakeFile(const std::wstring& name) const {
    const HANDLE file = ::CreateFileW(Literal(name).c_str(), GENERIC_WRITE, 0, nullptr,
                                      CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
      return false;
    ::CloseHandle(file);
    return true;
  }
  Names Paths(const std::string& pattern = "*") const {
    Names names;
    qelDir dir(m_dir.Path().c_str());
    qelPathName entry;
    for (bool more = dir.GetFirst(entry, pattern.c_str(), 7); more; more = dir.GetNext(entry))
      names.insert(std::string(entry.c_str()).substr(m_dir.Path().size() + 1));
    EXPECT_FALSE(dir.Error());
    return names;
  }

  TempDir m_dir;
  LogCapture m_log;
};

using qelDirNativeNameWin32 = WindowsDirTest;
using qelDirExistsWin32 = WindowsDirTest;
using qelDirEnumerationWin32 = WindowsDirTest;
using qelDirCreateRecursivelyWin32 = WindowsDirTest;
using qelDirLongPathsWin32 = WindowsDirTest;
using qelDirNamesWin32 = WindowsDirTest;
using qelDirLinksWin32 = WindowsDirTest;
using qelDirGetRootsWin32 = WindowsDirTest;
using qelDirGetTimesWin32 = WindowsDirTest;
using qelDirRemoveRecursivelyWin32 = WindowsDirTest;

} // namespace

TEST_F(qelDirNativeNameWin32, HasTheLongPathPrefixIfItIsAskedFor) {
  const struct {
    const char* name;
    const wchar_t* brief;
    const wchar_t* prefixed;
  } rows[] = {{"C:/a/b/", L"C:\\a\\b", L"\\\\?\\C:\\a\\b"},
              {"C:/", L"C:\\", L"\\\\?\\C:"},
              {"C:", L"C:", L"\\\\?\\C:"},
              {"\\\\srv/share/x/", L"\\\\srv\\share\\x", L"\\\\?\\UNC\\srv\\share\\x"},
              {"C:/\xC3\xA4", L"C:\\\u00E4", L"\\\\?\\C:\\\u00E4"}};
  for (const auto& row : rows) {
    wchar_t* brief = qelDir_NativeName(row.name, 0);
    wchar_t* prefixed = qelDir_NativeName(row.name, 1);
    EXPECT_STREQ(brief, row.brief);
    EXPECT_STREQ(prefixed, row.prefixed);
    free(brief);
    free(prefixed);
  }
  EXPECT_EQ(qelDir_NativeName("C:/\xFF", 0), nullptr);
}

TEST_F(qelDirExistsWin32, AsksForTheDriveOfABareDrive) {
  EXPECT_EQ(qelDir_Exists("C:"), 1);
  EXPECT_EQ(qelDir_Exists("C:/"), 1);
  EXPECT_EQ(qelDir_Exists("C:\\"), 1);
  EXPECT_EQ(qelDir_Exists("C:/no such directory"), 0);
  const DWORD drives = ::GetLogicalDrives();
  for (char letter = 'A'; letter <= 'Z'; ++letter) {
    const std::string name = std::string(1, letter) + ":/";
    EXPECT_EQ(qelDir_Exists(name.c_str()), static_cast<int>(drives >> (letter - 'A') & 1)) << name;
  }
}

TEST_F(qelDirGetRootsWin32, ListsEveryDriveInOrder) {
  std::string expected;
  const DWORD drives = ::GetLogicalDrives();
  for (char letter = 'A'; letter <= 'Z'; ++letter)
    if ((drives >> (letter - 'A') & 1) != 0)
      expected += std::string(1, letter) + ":/|";
  char* roots = qelDir_GetRoots();
  std::string found;
  for (const char* root = roots; *root != '\0'; root += strlen(root) + 1)
    found += std::string(root) + "|";
  free(roots);
  EXPECT_EQ(found, expected);
}

TEST_F(qelDirEnumerationWin32, LogsFromItsOwnSourceWithTheNativeName) {
  qelDir dir("C:/no such directory/");
  qelPathName entry;
  EXPECT_FALSE(dir.GetFirst(entry, "*", 7));
  EXPECT_TRUE(dir.Error());
  ASSERT_EQ(m_log.Lines().size(), 1u);
  EXPECT_EQ(m_log.Lines()[0].file, "..\\..\\win32\\qelDir.win32");
  EXPECT_EQ(m_log.Lines()[0].text, "qelFile: Cannot enumerate files in directory "
                                   "'C:\\no such directory' (error = 3)\n");
}

TEST_F(qelDirEnumerationWin32, RefusesAPatternThatIsNotUTF8) {
  qelOSDir* dir = qelDir_New("C:/");
  int error = 0;
  EXPECT_EQ(qelDir_GetFirst(dir, "\xFF*", 7, &error), nullptr);
  EXPECT_NE(error, 0);
  EXPECT_EQ(m_log.All(), "qelDir: Cannot enumerate files in directory 'C:\\' using specified "
                         "'\xFF*'\n");
  qelDir_Delete(dir);
}

TEST_F(qelDirEnumerationWin32, IgnoresCaseInPatterns) {
  m_dir.Write("Abc.TXT");
  EXPECT_EQ(Paths("aBC.*"), Names{"Abc.TXT"});
}

TEST_F(qelDirEnumerationWin32, ListsARoot) {
  qelDir dir("C:/");
  EXPECT_GT(dir.GetCount("*", 7), 0u);
  EXPECT_FALSE(dir.Error());
}

TEST_F(qelDirCreateRecursivelyWin32, NeedsNothingForAVolume) {
  EXPECT_EQ(qelDir_CreateRecursively("C:"), 1);
  EXPECT_EQ(qelDir_CreateRecursively("C:/"), 1);
  EXPECT_EQ(qelDir_CreateRecursively("Q:/"), 1); // whether it is there or not
  EXPECT_EQ(qelDir_CreateRecursively(""), 1);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(qelDirCreateRecursivelyWin32, TakesTheServerOfANetworkPathForADirectory) {
  EXPECT_EQ(qelDir_CreateRecursively("\\\\no-such-server/share/x"), 0);
  EXPECT_EQ(m_log.All(), "qelDir: Cannot create directory path part: '\\\\?\\UNC\\no-such-server' "
                         "(path size = 22)\n");
}

TEST_F(qelDirCreateRecursivelyWin32, TellsTheLevelThatFailed) {
  m_dir.Write("file");
  EXPECT_EQ(qelDir_CreateRecursively(m_dir.Path("file/a/b").c_str()), 0);
  std::string native = "\\\\?\\" + m_dir.Path("file");
  for (char& c : native)
    c = c == '/' ? '\\' : c;
  EXPECT_EQ(m_log.All(), "qelDir: Cannot create directory path part: '" + native +
                             "' (path size = " + std::to_string(native.size()) + ")\n");
}

TEST_F(qelDirLongPathsWin32, AreCreatedListedAndRemoved) {
  const std::string level = "/a level with a name of forty-two characters";
  std::string deep = m_dir.Path("tree");
  for (int i = 0; i < 20; ++i)
    deep += level;
  EXPECT_EQ(qelDir_CreateRecursively(deep.c_str()), 1);
  EXPECT_EQ(qelDir_Exists(deep.c_str()), 1);
  EXPECT_EQ(qelDir_Create((deep + "/more").c_str()), 0);
  qelDir dir(deep.c_str());
  qelPathName entry;
  ASSERT_TRUE(dir.GetFirst(entry, "*", 7));
  EXPECT_EQ(entry.GetFullPath(), (deep + "/more/").c_str());
  dir.Rewind(); // a directory that is being listed can't be removed
  EXPECT_TRUE(qelDir::GetTimes(deep.c_str(), nullptr, nullptr, nullptr));
  EXPECT_EQ(qelDir_Remove((deep + "/more").c_str()), 0);
  EXPECT_TRUE(qelDir::RemoveRecursively(m_dir.Path("tree").c_str(), 1));
  EXPECT_FALSE(m_dir.Has("tree"));
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

// Only the long-path prefix makes such names.
TEST_F(qelDirNamesWin32, SkipsFilesWhosePathsWouldNameOthers) {
  m_dir.Write("x");
  if (!MakeFile(L"x.") || !MakeFile(L"..."))
    GTEST_SKIP() << "this system makes no such names";
  EXPECT_EQ(Paths(), Names{"x"});
  EXPECT_THAT(m_log.All(), HasSubstr("qelDir: Skipping entry 'x.' of directory '" + m_dir.Path() +
                                     "/' (its path would name another one)\n"));
  EXPECT_THAT(m_log.All(), HasSubstr("qelDir: Skipping entry '...' of directory '"));
  ::DeleteFileW(Literal(L"x.").c_str());
  ::DeleteFileW(Literal(L"...").c_str());
}

TEST_F(qelDirNamesWin32, SkipsNamesWithHalfASurrogatePair) {
  m_dir.Write("aa");
  if (!MakeFile(L"a\xD800"))
    GTEST_SKIP() << "this system makes no such names";
  EXPECT_EQ(Paths(), Names{"aa"});
  EXPECT_THAT(m_log.All(), HasSubstr("(its name has no UTF-8 form)\n"));
  ::DeleteFileW(Literal(L"a\xD800").c_str());
}

namespace {

bool IsWine() {
  return ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

// The host's name of a file behind Wine, or an empty text.
std::wstring HostName(const std::wstring& name) {
  typedef char*(CDECL * GetUnixName)(const WCHAR*);
  FARPROC found = ::GetProcAddress(::GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name");
  if (found == nullptr)
    return L"";
  GetUnixName unixName;
  memcpy(&unixName, &found, sizeof unixName);
  char* text = unixName(name.c_str());
  if (text == nullptr)
    return L"";
  const std::wstring result(text, text + strlen(text));
  ::HeapFree(::GetProcessHeap(), 0, text);
  return result;
}

// Runs a program of the host behind Wine, and waits until `name` is there, or is gone.
void RunHost(std::wstring command, const std::wstring& name, bool isThere) {
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process;
  if (!::CreateProcessW(nullptr, &command[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &process))
    return;
  ::CloseHandle(process.hThread);
  ::CloseHandle(process.hProcess);
  // A host's program gives no sign of its end.
  for (int i = 0; i < 500; ++i) {
    if ((::GetFileAttributesW(name.c_str()) != INVALID_FILE_ATTRIBUTES) == isThere)
      return;
    ::Sleep(10);
  }
}

// Makes a link beside its target. False if this system or user can't.
bool MakeLink(const std::string& target, const std::string& link) {
  const std::wstring wideLink = TempDir::Native(link).make_preferred().wstring();
  const std::wstring wideTarget = TempDir::Native(target).filename().wstring();
  if (IsWine())
    RunHost(L"Z:\\bin\\ln -s " + wideTarget + L" " + HostName(wideLink), wideLink, true);
  else
    ::CreateSymbolicLinkW(wideLink.c_str(), wideTarget.c_str(),
                          SYMBOLIC_LINK_FLAG_DIRECTORY | 2 /* without privileges */);
  const DWORD attributes = ::GetFileAttributesW(wideLink.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

} // namespace

TEST_F(qelDirLinksWin32, AreNeverEnteredByARemoval) {
  m_dir.MakeDir("outside");
  m_dir.Write("outside/x", "1");
  if (!MakeLink(m_dir.Path("outside"), m_dir.Path("link")))
    GTEST_SKIP() << "links can't be made here";
  EXPECT_EQ(qelDir_IsLink(m_dir.Path("link").c_str()), 1);
  EXPECT_EQ(qelDir_IsLink(m_dir.Path("link/").c_str()), 1);
  EXPECT_EQ(qelDir_IsLink(m_dir.Path("outside").c_str()), 0);
  EXPECT_EQ(qelDir_Exists(m_dir.Path("link").c_str()), 1);
  const bool removed = qelDir::RemoveRecursively(m_dir.Path("link").c_str(), 1);
  EXPECT_EQ(m_dir.Read("outside/x"), "1");
  if (IsWine()) {
    const std::wstring link = TempDir::Native(m_dir.Path("link")).make_preferred().wstring();
    RunHost(L"Z:\\bin\\rm " + HostName(link), link, false);
    return; // Wine removes what a link leads to, if that is empty, and never the link
  }
  EXPECT_TRUE(removed);
  EXPECT_FALSE(m_dir.Has("link"));
}

TEST_F(qelDirGetTimesWin32, StopsAtTheFirstStampThatHasNoValue) {
  const std::string name = m_dir.MakeDir("sub");
  const FILETIME valid = {0x5B2DB980, 0x01C0E7B2}; // in June 2001
  const FILETIME none = {0, 0x01900000};           // in 1957
  const HANDLE handle = ::CreateFileW(TempDir::Native(name).c_str(), FILE_WRITE_ATTRIBUTES, 7,
                                      nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  ASSERT_NE(handle, INVALID_HANDLE_VALUE);
  EXPECT_TRUE(::SetFileTime(handle, nullptr, &valid, &none));
  ::CloseHandle(handle);
  qeltimeval access{};
  qeltimeval modification{1, 2};
  qeltimeval creation{3, 4};
  EXPECT_EQ(qelDir_GetTimes(name.c_str(), &access, &modification, &creation), -1);
  EXPECT_GT(access.seconds, 900000000);
  EXPECT_EQ(creation.seconds, 3);
  EXPECT_EQ(qelDir_GetTimes(name.c_str(), &access, nullptr, nullptr), 0);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(qelDirRemoveRecursivelyWin32, MakesAsManyAttemptsAsItIsGiven) {
  m_dir.MakeDir("tree");
  const std::string name = m_dir.Write("tree/x");
  qelFile file(name.c_str(), qelFileModeRead); // such a file can't be removed
  EXPECT_FALSE(qelDir::RemoveRecursively(m_dir.Path("tree").c_str(), 3));
  const std::string line = "qelFile: Cannot remove file '" + name + "' (error = 32)\n";
  EXPECT_THAT(m_log.Texts(), ElementsAre(line, line, line));
  EXPECT_TRUE(m_dir.Has("tree/x"));
  file.Close();
  EXPECT_TRUE(qelDir::RemoveRecursively(m_dir.Path("tree").c_str(), 1));
}

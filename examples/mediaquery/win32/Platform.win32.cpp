#include "../Platform.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include <atomic>

namespace mediaquery {

static std::string ToUTF8(const wchar_t* text) {
  const int size = ::WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
  if (size <= 1)
    return std::string();
  std::string result(static_cast<size_t>(size), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, text, -1, &result[0], size, nullptr, nullptr);
  result.pop_back(); // the terminator
  return result;
}

static std::wstring ToWide(const std::string& text) {
  const int size = ::MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, nullptr, 0);
  if (size <= 1)
    return std::wstring();
  std::wstring result(static_cast<size_t>(size), L'\0');
  ::MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, &result[0], size);
  result.pop_back();
  return result;
}

// The name in the form that may be longer than 260 characters. REQUIRES: the name is absolute.
static std::wstring NativeName(const char* path) {
  std::wstring name = ToWide(path);
  for (wchar_t& c : name)
    if (c == L'/')
      c = L'\\';
  if (name.compare(0, 2, L"\\\\") == 0)
    return L"\\\\?\\UNC\\" + name.substr(2);
  return L"\\\\?\\" + name;
}

std::vector<std::string> GetArguments(int, char**) {
  std::vector<std::string> arguments;
  int count = 0;
  LPWSTR* texts = ::CommandLineToArgvW(::GetCommandLineW(), &count);
  for (int i = 1; texts != nullptr && i < count; ++i)
    arguments.push_back(ToUTF8(texts[i]));
  ::LocalFree(texts);
  return arguments;
}

void PrepareOutput() {
  ::_setmode(::_fileno(stdout), _O_BINARY);
  ::SetConsoleOutputCP(CP_UTF8);
}

bool IsTerminal(std::FILE* stream) {
  return ::_isatty(::_fileno(stream)) != 0;
}

OutputToError::OutputToError() {
  std::fflush(stdout);
  m_output = ::_dup(::_fileno(stdout));
  ::_dup2(::_fileno(stderr), ::_fileno(stdout));
}

OutputToError::~OutputToError() {
  std::fflush(stdout);
  if (m_output < 0) {
    ::_close(::_fileno(stdout));
    return;
  }
  ::_dup2(m_output, ::_fileno(stdout));
  ::_close(m_output);
}

// A pipe does not tell whether it takes anything.
bool WaitForOutput() {
  return true;
}

// What the handler uses, which the system calls on a thread of its own.
static HANDLE g_interrupted = nullptr; // an event that one wait takes
static HANDLE g_waitEnded = nullptr;   // an event that stays
static std::atomic<int> g_interrupts{0};

static BOOL WINAPI HandleInterrupt(DWORD kind) {
  if (g_interrupts.fetch_add(1) != 0)
    ::TerminateProcess(::GetCurrentProcess(), kInterruptedStatus);
  ::SetEvent(g_interrupted);
  // When a window is closed or a user leaves, the system ends the program as soon as this returns.
  if (kind != CTRL_C_EVENT && kind != CTRL_BREAK_EVENT)
    ::Sleep(INFINITE);
  return TRUE;
}

bool CatchInterrupts() {
  if (g_interrupted != nullptr)
    return false;
  g_interrupted = ::CreateEventW(nullptr, /*manual=*/FALSE, /*set=*/FALSE, nullptr);
  g_waitEnded = ::CreateEventW(nullptr, /*manual=*/TRUE, /*set=*/FALSE, nullptr);
  return g_interrupted != nullptr && g_waitEnded != nullptr &&
         ::SetConsoleCtrlHandler(HandleInterrupt, TRUE) != 0;
}

bool WaitForInterrupt() {
  const HANDLE events[] = {g_interrupted, g_waitEnded};
  return ::WaitForMultipleObjects(2, events, /*all=*/FALSE, INFINITE) == WAIT_OBJECT_0;
}

void EndWaitForInterrupt() {
  ::SetEvent(g_waitEnded);
}

bool GetAbsoluteFolder(const std::string& folder, std::string* absolute) {
  const std::wstring name = ToWide(folder);
  const DWORD size = ::GetFullPathNameW(name.c_str(), 0, nullptr, nullptr);
  if (size == 0)
    return false;
  std::wstring path(size, L'\0');
  const DWORD length = ::GetFullPathNameW(name.c_str(), size, &path[0], nullptr);
  if (length == 0 || length >= size)
    return false;
  path.resize(length);
  *absolute = ToUTF8(path.c_str());
  FolderIdentity identity;
  return IdentifyFolder(absolute->c_str(), &identity);
}

bool IdentifyFolder(const char* path, FolderIdentity* identity) {
  const HANDLE folder = ::CreateFileW(NativeName(path).c_str(), 0,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (folder == INVALID_HANDLE_VALUE)
    return false;
  BY_HANDLE_FILE_INFORMATION info;
  const bool known = ::GetFileInformationByHandle(folder, &info) != 0;
  ::CloseHandle(folder);
  if (!known || (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
    return false;
  identity->volume = info.dwVolumeSerialNumber;
  identity->index = static_cast<uint64_t>(info.nFileIndexHigh) << 32 | info.nFileIndexLow;
  return true;
}

bool IsRegularFile(const char* path) {
  const DWORD attributes = ::GetFileAttributesW(NativeName(path).c_str());
  return attributes != INVALID_FILE_ATTRIBUTES &&
         (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE)) == 0;
}

// The native form of a name that may be relative; empty if there is none.
static std::wstring NativeFileName(const std::string& name) {
  const std::wstring wide = ToWide(name);
  const DWORD size = ::GetFullPathNameW(wide.c_str(), 0, nullptr, nullptr);
  std::wstring path(size, L'\0');
  const DWORD length = size == 0 ? 0 : ::GetFullPathNameW(wide.c_str(), size, &path[0], nullptr);
  if (length == 0 || length >= size)
    return std::wstring();
  path.resize(length);
  return NativeName(ToUTF8(path.c_str()).c_str());
}

FileKind GetFileKind(const std::string& name) {
  const DWORD attributes = ::GetFileAttributesW(NativeFileName(name).c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES)
    return kFileMissing;
  const DWORD other = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE;
  return (attributes & other) == 0 ? kFileRegular : kFileOther;
}

std::FILE* OpenFileForReading(const std::string& name) {
  return ::_wfopen(NativeFileName(name).c_str(), L"rb");
}

std::FILE* CreateNewFile(const std::string& name) {
  RemoveFile(name);
  return ::_wfopen(NativeFileName(name).c_str(), L"wb");
}

bool PutInPlace(const std::string& from, const std::string& to) {
  return ::MoveFileExW(NativeFileName(from).c_str(), NativeFileName(to).c_str(),
                       MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
}

void RemoveFile(const std::string& name) {
  ::DeleteFileW(NativeFileName(name).c_str());
}

} // namespace mediaquery

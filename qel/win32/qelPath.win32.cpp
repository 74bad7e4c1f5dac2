#define QEL_LOG_MODULE 57
#define QEL_LOG_FILE "..\\..\\win32\\qelPath.win32"

#include <qel/multiplatform/qelPath.h>

#include <qel/core/Log.h>
#include <qel/core/qelMem.h>
#include <qel/core/qelUTF8.h>
#include <qel/multiplatform/qelPathBackend.h>

#include <cstdlib>
#include <cstring>

#include <windows.h>
#include <shlobj.h>

const char* const qelPath_LogFile = QEL_LOG_FILE;

// Room for the name of a program or module, terminator included.
static const DWORD kNameSize = 1040;

static void ReplaceAll(char* text, char from, char to) {
  for (; *text != '\0'; ++text)
    if (*text == from)
      *text = to;
}

// A new text with "/" between its parts.
static char* FromSystem(const WCHAR* name) {
  char* text = qelUTF8_FromWide(name);
  ReplaceAll(text, '\\', '/');
  return text;
}

// The file name of a loaded module, of the program for null, or null.
static char* ModuleName(HMODULE module) {
  WCHAR name[kNameSize];
  const DWORD length = ::GetModuleFileNameW(module, name, kNameSize);
  return length != 0 && length < kNameSize ? FromSystem(name) : nullptr;
}

// Text --------------------------------------------------------------------------

// INTENDED: "/x" and "//x" are relative, and the empty text is absolute, so it needs no anchor.
// Pinned by QelPathIsAbsolute.FollowsTheRulesOfDriveLetters.
int qelPath_IsAbsolute(const char* text) {
  if (text == nullptr)
    return 0;
  if (text[0] == '\0')
    return 1;
  if (text[0] == '.')
    return 0;
  return text[1] == ':' || (text[0] == '\\' && text[1] == '\\') ? 1 : 0;
}

// INTENDED: the prefix of a text that came in with one is converted like the rest, so it becomes
// "//?/" without qelPathFlagNative, while a prefix that is added here stays.
// Pinned by QelPathNormalize.ConvertsAPrefixThatCameIn.
char* qelPath_ApplyForm(char* text, int flags) {
  static const char longPrefix[] = "\\\\?\\";
  static const char networkPrefix[] = "\\\\?\\UNC\\";
  const bool isNetwork = strncmp(text, "\\\\", 2) == 0;
  const bool isPrefixed = strncmp(text, longPrefix, 4) == 0;
  size_t start = isNetwork && !isPrefixed ? 2 : 0;
  if ((flags & qelPathFlagLongPath) != 0 && !isPrefixed) {
    const char* prefix = isNetwork ? networkPrefix : longPrefix;
    char* prefixed = qelMem_Concat(prefix, text + start);
    free(text);
    text = prefixed;
    start = strlen(prefix);
  }
  if ((flags & qelPathFlagNative) != 0)
    ReplaceAll(text + start, '/', '\\');
  else
    ReplaceAll(text + start, '\\', '/');
  return text;
}

// The program and its modules ---------------------------------------------------

char* qelPath_GetApplicationFileName() {
  char* name = ModuleName(nullptr);
  if (name == nullptr)
    QEL_LOG(1, "qelPath: Cannot get application file name (buffer too small)\n");
  return name;
}

char* qelPath_GetModuleFileName(const void* address) {
  HMODULE module = nullptr;
  // The system would take null for the program itself.
  if (address == nullptr || !::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                                      GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                                                  static_cast<const WCHAR*>(address), &module))
    return nullptr;
  return ModuleName(module);
}

// Folders -----------------------------------------------------------------------

char* qelPath_GetApplicationDataDirectory() {
  WCHAR name[MAX_PATH + 1];
  const HRESULT error = ::SHGetFolderPathW(nullptr, CSIDL_APPDATA | CSIDL_FLAG_CREATE, nullptr,
                                           SHGFP_TYPE_CURRENT, name);
  if (error != S_OK) {
    QEL_LOG(1, "qelPath: Cannot get application specific data directory name (error = '%d')\n",
            static_cast<int>(error));
    return nullptr;
  }
  return FromSystem(name);
}

char* qelPath_GetFontsDirectory() {
  return qelPath_GetSpecialFolder(CSIDL_FONTS);
}

char* qelPath_GetSpecialFolder(int folder) {
  WCHAR name[MAX_PATH + 1];
  if (!::SHGetSpecialFolderPathW(nullptr, name, folder, /*fCreate=*/FALSE))
    return nullptr;
  return FromSystem(name);
}

// Drives ------------------------------------------------------------------------

static int KindOfDriveType(UINT type) {
  switch (type) {
  case DRIVE_REMOVABLE:
  case DRIVE_CDROM:
  case DRIVE_RAMDISK:
    return qelPathDriveRemovable;
  case DRIVE_FIXED:
    return qelPathDriveFixed;
  case DRIVE_REMOTE:
    return qelPathDriveRemote;
  default: // unknown, or no such root
    return qelPathDriveUnknown;
  }
}

// Whether a drive has a volume; one without a medium has none. The system would ask the user to put
// one in.
static bool HasVolume(const char* root) {
  DWORD mode = 0;
  ::SetThreadErrorMode(::GetThreadErrorMode() | SEM_FAILCRITICALERRORS, &mode);
  const BOOL found =
      ::GetVolumeInformationA(root, nullptr, 0, nullptr, nullptr, nullptr, nullptr, 0);
  ::SetThreadErrorMode(mode, nullptr);
  return found != FALSE;
}

int qelPath_GetDriveKind(const char* text) {
  char* path = qelPath_Normalize(text, /*stripTrailing=*/1, qelPathFlagNative, /*anchor=*/nullptr);
  if (path == nullptr || path[0] == '\0' || !qelPath_IsAbsolute(path)) {
    free(path);
    return qelPathDriveUnknown;
  }
  const char root[] = {path[0], ':', '\\', '\0'};
  free(path);
  return HasVolume(root) ? KindOfDriveType(::GetDriveTypeA(root)) : qelPathDriveUnknown;
}

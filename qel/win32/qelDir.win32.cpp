#define QEL_LOG_MODULE 43
#define QEL_LOG_FILE "..\\..\\win32\\qelDir.win32"

#include <qel/multiplatform/qelDir.h>

#include <cstdlib>
#include <cstring>
#include <cwchar>

#include <qel/core/Log.h>
#include <qel/core/qelMem.h>
#include <qel/core/qelUTF8.h>
#include <qel/core/qelWStr.h>
#include <qel/multiplatform/qelFilePrivate.h>
#include <qel/multiplatform/qelPath.h>
#include <qel/multiplatform/qelTime.h>

#include <windows.h>

struct qelOSDir {
  WIN32_FIND_DATAW data; // what the system found last
  HANDLE handle;         // INVALID_HANDLE_VALUE when no enumeration runs
  bool isHeld;           // data is an entry that has not been looked at
  qelDirEntry_t entry;   // the current entry; its name is owned
  char* directory;       // null for a name that does not normalise; owned
  int filter;            // of the running enumeration
};

static int LastError() {
  return static_cast<int>(::GetLastError());
}

// Names ------------------------------------------------------------------------

constexpr WCHAR kLongPrefix[] = L"\\\\?\\";
constexpr size_t kLongPrefixLength = 4;

// "\\?\C:", a drive without a directory.
static bool IsBareDrive(const WCHAR* nativeName) {
  return wcslen(nativeName) == 6 && nativeName[5] == L':';
}

static bool DriveExists(WCHAR letter) {
  const WCHAR root[] = {letter, L':', L'\\', L'\0'};
  const UINT type = ::GetDriveTypeW(root);
  return type != DRIVE_UNKNOWN && type != DRIVE_NO_ROOT_DIR;
}

static bool IsDirectory(const WCHAR* nativeName) {
  const DWORD attributes = ::GetFileAttributesW(nativeName);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// Enumeration ------------------------------------------------------------------

// The UTF-8 form of a name, or null if it has none: half a surrogate pair would come out as another
// name.
static char* ToUTF8(const WCHAR* name) {
  qelOwnedText text(qelUTF8_FromWide(name));
  const qelOwnedName back(qelUTF8_ToWide(text.get()));
  return back != nullptr && wcscmp(back.get(), name) == 0 ? text.release() : nullptr;
}

// What FindFirstFileW looks for: directory, backslash, pattern.
static qelWStr SearchText(const WCHAR* directory, const WCHAR* pattern) {
  qelWStr text = qelWStr_New(directory);
  const size_t length = qelWStr_GetLength(text);
  if (length == 0 || text[length - 1] != L'\\')
    text = qelWStr_Append(text, L"\\");
  return qelWStr_Append(text, pattern);
}

// Takes over the name, which may be null.
static void SetEntry(qelOSDir* dir, char* name, int isDir, int isHidden) {
  free(dir->entry.name);
  dir->entry.name = name;
  dir->entry.isDir = isDir;
  dir->entry.isHidden = isHidden;
}

qelOSDir* qelDir_New(const char* name) {
  qelOSDir* dir = static_cast<qelOSDir*>(qelMem_AllocZero(sizeof(qelOSDir)));
  const qelOwnedName nativeName(qelDir_NativeName(name, /*longPath=*/0));
  dir->directory = nativeName != nullptr ? qelUTF8_FromWide(nativeName.get()) : nullptr;
  dir->handle = INVALID_HANDLE_VALUE;
  dir->filter = qelDirFilterFiles | qelDirFilterDirs | qelDirFilterHidden;
  return dir;
}

void qelDir_Delete(qelOSDir* dir) {
  if (dir == nullptr)
    return;
  qelDir_EndEnumeration(dir);
  free(dir->directory);
  free(dir);
}

const qelDirEntry_t* qelDir_GetFirst(qelOSDir* dir, const char* pattern, int filter, int* error) {
  qelDir_EndEnumeration(dir);
  *error = 0;
  const qelOwnedName nativeName(qelDir_NativeName(dir->directory, /*longPath=*/1));
  const qelOwnedName nativePattern(
      pattern != nullptr ? qelUTF8_ToWide(qelDir_EffectivePattern(pattern)) : nullptr);
  if (nativeName == nullptr || nativePattern == nullptr) {
    QEL_LOG(1, "qelDir: Cannot enumerate files in directory '%s' using specified '%s'\n",
            qelFile_ShownName(dir->directory), qelFile_ShownName(pattern));
    *error = ERROR_INVALID_NAME;
    return nullptr;
  }
  const qelWStr search = SearchText(nativeName.get(), nativePattern.get());
  dir->handle = ::FindFirstFileW(search, &dir->data);
  const int found = dir->handle != INVALID_HANDLE_VALUE ? 0 : LastError();
  qelWStr_Free(search);
  if (found == ERROR_FILE_NOT_FOUND || found == ERROR_NO_MORE_FILES)
    return nullptr;
  if (found != 0) {
    *error = found;
    // INTENDED: the line bears the name of the file layer, by which log filters know it. Pinned by
    // qelDirEnumeration.ReportsAMissingDirectoryAndAFile.
    QEL_LOG(1, "qelFile: Cannot enumerate files in directory '%s' (error = %d)\n", dir->directory,
            *error);
    return nullptr;
  }
  dir->isHeld = true;
  dir->filter = filter;
  return qelDir_GetNext(dir, error);
}

// Makes the found entry the current one if it passes the filter.
static bool TakeFound(qelOSDir* dir) {
  const int isDir = (dir->data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  const int isHidden = (dir->data.dwFileAttributes & FILE_ATTRIBUTE_HIDDEN) != 0;
  qelOwnedText name(ToUTF8(dir->data.cFileName));
  if (name == nullptr) {
    QEL_LOG(1, "qelDir: Skipping an entry of directory '%s' (its name has no UTF-8 form)\n",
            dir->directory);
    return false;
  }
  if (!qelDir_PassesFilter(dir->filter, name.get(), isDir, isHidden))
    return false;
  SetEntry(dir, name.release(), isDir, isHidden);
  return true;
}

const qelDirEntry_t* qelDir_GetNext(qelOSDir* dir, int* error) {
  *error = 0;
  if (dir->handle == INVALID_HANDLE_VALUE)
    return nullptr;
  for (;;) {
    if (!dir->isHeld && !::FindNextFileW(dir->handle, &dir->data)) {
      const int found = LastError();
      *error = found != ERROR_NO_MORE_FILES ? found : 0;
      if (*error != 0)
        QEL_LOG(1, "qelDir: Cannot continue enumerating files in directory (error = %d)\n", *error);
      return nullptr;
    }
    dir->isHeld = false;
    if (TakeFound(dir))
      return &dir->entry;
  }
}

void qelDir_EndEnumeration(qelOSDir* dir) {
  if (dir->handle != INVALID_HANDLE_VALUE)
    ::FindClose(dir->handle);
  dir->handle = INVALID_HANDLE_VALUE;
  dir->isHeld = false;
  SetEntry(dir, nullptr, 0, 0);
}

// By name ----------------------------------------------------------------------

int qelDir_Exists(const char* name) {
  const qelOwnedName nativeName(qelDir_NativeName(name, /*longPath=*/1));
  if (nativeName == nullptr) {
    QEL_LOG(1, "qelDir: Cannot check directory '%s' exists (invalid name)\n",
            qelFile_ShownName(name));
    return 0;
  }
  if (IsBareDrive(nativeName.get()))
    return DriveExists(nativeName.get()[kLongPrefixLength]);
  return IsDirectory(nativeName.get());
}

int qelDir_IsLink(const char* name) {
  const qelOwnedName nativeName(qelDir_NativeName(name, /*longPath=*/1));
  const DWORD attributes =
      nativeName != nullptr ? ::GetFileAttributesW(nativeName.get()) : INVALID_FILE_ATTRIBUTES;
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0)
    return 0;
  // Only the tag tells a link or junction from what is compressed or kept elsewhere. A system that
  // gives no tag is taken at its worst: nothing is lost by not entering a directory.
  WIN32_FIND_DATAW data;
  const HANDLE handle = ::FindFirstFileW(nativeName.get(), &data);
  if (handle == INVALID_HANDLE_VALUE)
    return 0;
  ::FindClose(handle);
  return data.dwReserved0 == 0 || IsReparseTagNameSurrogate(data.dwReserved0);
}

static bool IsGone(int error) {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

// Removes a directory, or a link to one. Returns 0, also if there is nothing, or the system's error.
static int RemoveNative(const WCHAR* nativeName) {
  if (::RemoveDirectoryW(nativeName))
    return 0;
  const int error = LastError();
  return IsGone(error) ? 0 : error;
}

int qelDir_Remove(const char* name) {
  const qelOwnedName nativeName(qelDir_NativeName(name, /*longPath=*/1));
  if (nativeName == nullptr) {
    QEL_LOG(1, "qelDir: Cannot remove directory: '%s' (invalid name)\n", qelFile_ShownName(name));
    return -1;
  }
  const int error = RemoveNative(nativeName.get());
  if (error == 0)
    return 0;
  QEL_LOG(1, "qelDir: Cannot remove directory '%s' (errno = %ld)\n", name,
          static_cast<long>(error));
  return -1;
}

int qelDir_Create(const char* name) {
  const qelOwnedName nativeName(qelDir_NativeName(name, /*longPath=*/1));
  if (nativeName == nullptr) {
    QEL_LOG(1, "qelDir: Cannot create directory: '%s' (invalid name)\n", qelFile_ShownName(name));
    return -1;
  }
  if (::CreateDirectoryW(nativeName.get(), nullptr))
    return 0;
  const int error = LastError();
  QEL_LOG(1, "qelDir: Cannot create directory '%s' (error = %ld)\n", name,
          static_cast<long>(error));
  return -1;
}

// Makes sure of one level; a level that another program makes meanwhile is fine.
static bool CreateLevel(const WCHAR* nativeName) {
  return IsDirectory(nativeName) || ::CreateDirectoryW(nativeName, nullptr) ||
         IsDirectory(nativeName);
}

static void LogFailedPart(const WCHAR* part, size_t size) {
  const qelOwnedText text(qelUTF8_FromWide(part));
  QEL_LOG(1, "qelDir: Cannot create directory path part: '%s' (path size = %d)\n", text.get(),
          static_cast<int>(size));
}

int qelDir_CreateRecursively(const char* name) {
  const qelOwnedName nativeName(qelDir_NativeName(name, /*longPath=*/1));
  if (nativeName == nullptr) {
    QEL_LOG(1, "qelDir: Cannot create directory path: '%s' (invalid path)\n",
            qelFile_ShownName(name));
    return 0;
  }
  WCHAR* path = nativeName.get();
  const bool isPrefixed = wcsncmp(path, kLongPrefix, kLongPrefixLength) == 0;
  if (!isPrefixed && wcsncmp(path, L"\\\\", 2) != 0) {
    QEL_LOG(1, "qelDir: Cannot analyze directory path: '%s' (invalid path)\n", name);
    return 0;
  }
  // INTENDED: of a network path, "\\?\UNC\server\share", "UNC" counts as the volume and the server as
  // a directory to create, which fails: no tree is made on another machine. Pinned by
  // qelDirCreateRecursivelyWin32.TakesTheServerOfANetworkPathForADirectory.
  const size_t start = isPrefixed ? kLongPrefixLength + 1 : 2;
  WCHAR* volumeEnd = wcslen(path) > start ? wcschr(path + start, L'\\') : nullptr;
  if (volumeEnd == nullptr) // a volume needs nothing
    return 1;
  for (WCHAR* end = volumeEnd + 1;; ++end) {
    if (*end != L'/' && *end != L'\\' && *end != L'\0')
      continue;
    const WCHAR separator = *end;
    *end = L'\0';
    if (!CreateLevel(path)) {
      LogFailedPart(path, static_cast<size_t>(end - path));
      return 0;
    }
    *end = separator;
    if (separator == L'\0')
      return 1;
  }
}

int qelDir_GetTimes(const char* name, qeltimeval* access, qeltimeval* modification,
                    qeltimeval* creation) {
  const qelOwnedName nativeName(qelDir_NativeName(name, /*longPath=*/1));
  if (nativeName == nullptr) {
    QEL_LOG(1, "qelDir: Cannot get modification time for directory: '%s' (invalid name)\n",
            qelFile_ShownName(name));
    return -1;
  }
  WIN32_FIND_DATAW data;
  const HANDLE handle = ::FindFirstFileW(nativeName.get(), &data);
  if (handle == INVALID_HANDLE_VALUE)
    return -1;
  ::FindClose(handle);
  // INTENDED: the reverse of the order of qelFile_GetTimes; what precedes a failure has been stored.
  // Pinned by qelDirGetTimesWin32.StopsAtTheFirstStampThatHasNoValue.
  if ((access != nullptr && qelTime_FromFileTime(&data.ftLastAccessTime, access) != 0) ||
      (modification != nullptr && qelTime_FromFileTime(&data.ftLastWriteTime, modification) != 0) ||
      (creation != nullptr && qelTime_FromFileTime(&data.ftCreationTime, creation) != 0))
    return -1;
  return 0;
}

char* qelDir_GetRoots() {
  const DWORD size = ::GetLogicalDriveStringsW(0, nullptr);
  if (size == 0)
    return nullptr;
  const qelOwnedName wide(static_cast<WCHAR*>(qelMem_AllocZero((size + 1) * sizeof(WCHAR))));
  const DWORD length = ::GetLogicalDriveStringsW(size, wide.get());
  if (length == 0 || length > size)
    return nullptr;
  // A root is a letter and two ASCII characters, so units become bytes.
  char* roots = static_cast<char*>(qelMem_AllocZero(size + 1));
  for (DWORD i = 0; i < length; ++i)
    roots[i] = wide.get()[i] == L'\\' ? '/' : static_cast<char>(wide.get()[i]);
  return roots;
}

qelOSChar* qelDir_NativeName(const char* name, int longPath) {
  if (name == nullptr)
    return nullptr;
  const int flags = qelPathFlagNative | (longPath ? qelPathFlagLongPath : 0);
  const qelOwnedText normalised(
      qelPath_Normalize(name, /*stripTrailing=*/1, flags, /*anchor=*/nullptr));
  return qelUTF8_ToWide(normalised.get());
}

#define QEL_LOG_MODULE 42
#define QEL_LOG_FILE "..\\..\\win32\\qelFile.win32"

#include <qel/multiplatform/qelFile.h>

#include <algorithm>

#include <qel/core/Log.h>
#include <qel/core/qelMem.h>
#include <qel/core/qelUTF8.h>
#include <qel/multiplatform/qelFilePrivate.h>
#include <qel/multiplatform/qelPath.h>
#include <qel/multiplatform/qelTime.h>

#include <windows.h>

// Errors -----------------------------------------------------------------------

namespace {

struct ErrorRow {
  int osError;
  int status;
};

// clang-format off
const ErrorRow kErrorMap[] = {
    {ERROR_SUCCESS,          qelFileErrorNone},
    {ERROR_WRITE_PROTECT,    qelFileErrorWriteProtected},
    {ERROR_WRITE_FAULT,      qelFileErrorWriteProtected},
    {ERROR_FILE_NOT_FOUND,   qelFileErrorNotFound},
    {ERROR_PATH_NOT_FOUND,   qelFileErrorNotFound},
    {ERROR_FILE_EXISTS,      qelFileErrorExists},
    {ERROR_ALREADY_EXISTS,   qelFileErrorExists},
    {ERROR_HANDLE_DISK_FULL, qelFileErrorDiskFull},
    {ERROR_DISK_FULL,        qelFileErrorDiskFull},
};
// clang-format on

} // namespace

static int LastError() {
  return static_cast<int>(::GetLastError());
}

// Descriptors ------------------------------------------------------------------

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// Moves the position. Returns 0 or the system's error; position may be null.
static int MoveTo(void* fd, int64_t offset, DWORD method, int64_t* position) {
  LARGE_INTEGER distance;
  LARGE_INTEGER moved;
  distance.QuadPart = offset;
  if (!::SetFilePointerEx(fd, distance, &moved, method))
    return LastError();
  if (position != nullptr)
    *position = moved.QuadPart;
  return 0;
}

// The end of file becomes the current position.
static int SetEnd(void* fd) {
  return ::SetEndOfFile(fd) ? 0 : LastError();
}

// Open and close ---------------------------------------------------------------

static DWORD DesiredAccess(int mode) {
  DWORD access = (mode & qelFileModeRead) != 0 ? GENERIC_READ : 0;
  return access | ((mode & qelFileModeWrite) != 0 ? GENERIC_WRITE : 0);
}

static DWORD Sharing(int mode) {
  if ((mode & qelFileModeExclusive) != 0)
    return 0;
  return (mode & qelFileModeWrite) != 0 ? FILE_SHARE_READ : FILE_SHARE_READ | FILE_SHARE_WRITE;
}

static DWORD Disposition(int mode) {
  const bool truncate = (mode & qelFileModeTruncate) != 0;
  if ((mode & qelFileModeCreate) == 0)
    return truncate ? TRUNCATE_EXISTING : OPEN_EXISTING;
  if ((mode & qelFileModeExclusive) != 0)
    return CREATE_NEW;
  return truncate ? CREATE_ALWAYS : OPEN_ALWAYS;
}

// Opens what is no directory. Returns 0 or the system's error.
static int OpenNative(const WCHAR* nativeName, int mode, void** fd) {
  const HANDLE handle = ::CreateFileW(nativeName, DesiredAccess(mode), Sharing(mode), nullptr,
                                      Disposition(mode), FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE)
    return LastError();
  *fd = handle;
  return 0;
}

int qelFile_Open(const char* name, int mode, int /*permissions*/, void** fd) {
  const char* shown = qelFile_ShownName(name);
  if (fd == nullptr) {
    QEL_LOG(1, "qelFile: Cannot open file: '%s' (invalid file descriptor pointer)\n", shown);
    return qelFileErrorGeneric;
  }
  const qelOwnedName nativeName(qelFile_NativeName(name));
  if (nativeName == nullptr) {
    QEL_LOG(1, "qelFile: Cannot open file: '%s' (invalid name)\n", shown);
    return qelFileErrorGeneric;
  }
  const char* refusal = qelFile_CheckMode(&mode);
  if (refusal != nullptr) {
    QEL_LOG(1, refusal, shown);
    return qelFileErrorGeneric;
  }

  void* opened = nullptr;
  int error = OpenNative(nativeName.get(), mode, &opened);
  if (error != 0) {
    QEL_LOG(1, "qelFile: Cannot open file: '%s' (OpenMode = 0x%02x) (error = %d)\n", shown,
            static_cast<unsigned>(mode), error);
    return qelFile_MapError(error);
  }
  if ((mode & qelFileModeAppend) != 0)
    error = MoveTo(opened, 0, FILE_END, nullptr);
  if (error != 0) {
    QEL_LOG(1, "qelFile: Cannot seek at end of file: '%s' (OpenMode = 0x%02x) (error = %d)\n",
            shown, static_cast<unsigned>(mode), error);
    ::CloseHandle(opened);
    return qelFile_MapError(error);
  }
  *fd = opened;
  return qelFileErrorNone;
}

int qelFile_Close(void* fd) {
  if (::CloseHandle(fd))
    return qelFileErrorNone;
  const int error = LastError();
  QEL_LOG(1, "qelFile: Cannot close file (fd = %p) (error = %d)\n", fd, error);
  return qelFile_MapError(error);
}

// Read and write ---------------------------------------------------------------

int qelFile_Read(void* fd, void* buffer, size_t count) {
  const DWORD wanted = static_cast<DWORD>(std::min<size_t>(count, qelFileMaxTransfer));
  DWORD done = 0;
  if (!::ReadFile(fd, buffer, wanted, &done, nullptr)) {
    const int error = LastError();
    QEL_LOG(1, "qelFile: cannot read %lu bytes (fd = %p) (error = %d)\n",
            static_cast<unsigned long>(wanted), fd, error);
    return qelFile_MapError(error);
  }
  return static_cast<int>(done);
}

int qelFile_Write(void* fd, const void* buffer, size_t count) {
  const DWORD wanted = static_cast<DWORD>(std::min<size_t>(count, qelFileMaxTransfer));
  DWORD done = 0;
  if (!::WriteFile(fd, buffer, wanted, &done, nullptr)) {
    const int error = LastError();
    QEL_LOG(1, "qelFile: Write (fd = %p) (error = %d)\n", fd, error);
    return qelFile_MapError(error);
  }
  return static_cast<int>(done);
}

// Positions and size -----------------------------------------------------------

int qelFile_Seek(void* fd, int64_t offset, int origin) {
  const DWORD method = origin == 1 ? FILE_CURRENT : origin == 2 ? FILE_END : FILE_BEGIN;
  const int error = MoveTo(fd, offset, method, nullptr);
  if (error != 0)
    QEL_LOG(1, "qelFile: Cannot seek (fd = %p) (error = %d)\n", fd, error);
  return qelFile_MapError(error);
}

int qelFile_Tell(void* fd, int64_t* position) {
  const int error = MoveTo(fd, 0, FILE_CURRENT, position);
  if (error != 0)
    QEL_LOG(1, "qelFile: Cannot tell (fd = %p) (error = %d)\n", fd, error);
  return qelFile_MapError(error);
}

int qelFile_IsEOF(void* fd) {
  int64_t position = 0;
  int64_t end = 0;
  int error = MoveTo(fd, 0, FILE_CURRENT, &position);
  if (error != 0) {
    QEL_LOG(1, "qelFile: Cannot check EOF (fd = %p) (error = %d) (getting original position)\n", fd,
            error);
    return qelFile_MapError(error);
  }
  error = MoveTo(fd, 0, FILE_END, &end);
  if (error != 0) {
    QEL_LOG(1, "qelFile: Cannot check EOF (fd = %p) (error = %d) (seeking to end)\n", fd, error);
    return qelFile_MapError(error);
  }
  if (position == end)
    return 1;
  error = MoveTo(fd, position, FILE_BEGIN, nullptr);
  if (error != 0)
    QEL_LOG(1, "qelFile: Cannot check EOF (fd = %p) (error = %d) (restoring original position)\n",
            fd, error);
  return qelFile_MapError(error);
}

int qelFile_Flush() {
  return qelFileErrorNone;
}

int qelFile_Truncate(void* fd, int64_t size) {
  int64_t position = 0;
  int error = MoveTo(fd, 0, FILE_CURRENT, &position);
  if (error != 0) {
    QEL_LOG(1, "qelFile: ChangeSize: Cannot tell (fd = %p) (error = %d)\n", fd, error);
    return qelFileErrorGeneric;
  }
  error = MoveTo(fd, size, FILE_BEGIN, nullptr);
  if (error != 0) {
    QEL_LOG(1, "qelFile: ChangeSize: Cannot move pointer (fd = %p) (error = %d)\n", fd, error);
    return qelFileErrorGeneric;
  }
  error = SetEnd(fd);
  // INTENDED: the position stays at the new end, and every failure is -1, whatever the system's error
  // maps to. Pinned by qelFileTruncate.CutsAndExtendsAndStaysAtTheNewEnd.
  if (error == 0)
    return qelFileErrorNone;
  QEL_LOG(1, "qelFile: ChangeSize: Cannot truncate/extend (fd = %p) (error = %d)\n", fd, error);
  error = MoveTo(fd, position, FILE_BEGIN, nullptr);
  if (error != 0)
    QEL_LOG(1, "qelFile: ChangeSize: Cannot restore file pointer (fd = %p) (error = %d)\n", fd,
            error);
  return qelFileErrorGeneric;
}

// By name ----------------------------------------------------------------------

// A wide name for a log line, with "?" for what is not ASCII: a character that the locale does not have
// would end the line.
static qelOwnedName Printable(const WCHAR* nativeName) {
  qelOwnedName name(qelMem_WStrDup(nativeName));
  for (WCHAR* at = name.get(); *at != L'\0'; ++at)
    if (*at > 0x7E)
      *at = L'?';
  return name;
}

int qelFile_Exists(const char* name) {
  const qelOwnedName nativeName(qelFile_NativeName(name));
  if (nativeName == nullptr) {
    QEL_LOG(1, "qelFile: Cannot check if file '%s' exists, (invalid name)\n",
            qelFile_ShownName(name));
    return 0;
  }
  const DWORD attributes = ::GetFileAttributesW(nativeName.get());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

int qelFile_IsRegular(const char* name) {
  const qelOwnedName nativeName(qelFile_NativeName(name));
  if (nativeName == nullptr)
    return 0;
  const DWORD attributes = ::GetFileAttributesW(nativeName.get());
  return attributes != INVALID_FILE_ATTRIBUTES &&
         (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE)) == 0;
}

int qelFile_Access(const char* name, int mode) {
  const qelOwnedName nativeName(qelFile_NativeName(name));
  if (nativeName == nullptr) {
    QEL_LOG(1, "qelFile: Cannot check access for file: '%s' (invalid name)\n",
            qelFile_ShownName(name));
    return 0;
  }
  void* const fd = ::CreateFileW(nativeName.get(), DesiredAccess(mode), kShareAll, nullptr,
                                 OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  const int error = LastError();
  if (fd == INVALID_HANDLE_VALUE)
    return 0;
  // INTENDED: the line stands on success, and a failure is silent. Log filters of programs know it
  // so. Pinned by qelFileAccess.LogsWhenTheFileCanBeOpenedAndIsSilentWhenNot.
  QEL_LOG(1, "qelFile: Cannot check access for file: '%s' (error = %d)\n", name, error);
  ::CloseHandle(fd);
  return 1;
}

int qelFile_HasAttribute(const char* name, qelULong attributes) {
  const qelOwnedName nativeName(qelFile_NativeName(name));
  if (nativeName == nullptr) {
    QEL_LOG(1, "qelFile: Cannot check attribute for file '%s', (invalid name)\n",
            qelFile_ShownName(name));
    return 0;
  }
  if (attributes != qelFileAttributeHidden) {
    QEL_LOG(1, "qelFile: Invalid attribute to check: '%lu'\n",
            static_cast<unsigned long>(attributes));
    return 0;
  }
  const DWORD found = ::GetFileAttributesW(nativeName.get());
  return found != INVALID_FILE_ATTRIBUTES && (found & FILE_ATTRIBUTE_HIDDEN) != 0;
}

int qelFile_GetTimes(const char* name, qeltimeval* access, qeltimeval* modification,
                     qeltimeval* creation) {
  const qelOwnedName nativeName(qelFile_NativeName(name));
  if (nativeName == nullptr) {
    QEL_LOG(1, "qelFile_GetTimes: Cannot get modification time for file '%s', (invalid name)\n",
            qelFile_ShownName(name));
    return qelFileErrorGeneric;
  }
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (!::GetFileAttributesExW(nativeName.get(), GetFileExInfoStandard, &data)) {
    const int error = LastError();
    QEL_LOG(1, "qelFile_GetTimes: Could not get attributes for file: %ls\n",
            Printable(nativeName.get()).get());
    return qelFile_MapError(error);
  }
  if ((creation != nullptr && qelTime_FromFileTime(&data.ftCreationTime, creation) != 0) ||
      (modification != nullptr && qelTime_FromFileTime(&data.ftLastWriteTime, modification) != 0) ||
      (access != nullptr && qelTime_FromFileTime(&data.ftLastAccessTime, access) != 0)) {
    QEL_LOG(1,
            "qelFile_GetTimes: Could not get all creation/modification/access times for file: "
            "%ls\n",
            Printable(nativeName.get()).get());
    return qelFileErrorGeneric;
  }
  return qelFileErrorNone;
}

int qelFile_Remove(const char* name) {
  const qelOwnedName nativeName(qelFile_NativeName(name));
  if (nativeName == nullptr) {
    QEL_LOG(1, "qelFile: Cannot remove file: '%s' (invalid name)\n", qelFile_ShownName(name));
    return qelFileErrorGeneric;
  }
  const int error = ::DeleteFileW(nativeName.get()) ? 0 : LastError();
  const int status = qelFile_MapError(error);
  if (status == qelFileErrorNone || status == qelFileErrorNotFound)
    return qelFileErrorNone;
  QEL_LOG(1, "qelFile: Cannot remove file '%s' (error = %d)\n", name, error);
  return status;
}

int qelFile_Rename(const char* from, const char* to) {
  const qelOwnedName nativeFrom(qelFile_NativeName(from));
  const qelOwnedName nativeTo(qelFile_NativeName(to));
  if (nativeFrom == nullptr || nativeTo == nullptr) {
    QEL_LOG(1, "qelFile: Cannot rename file '%s' to '%s' (invalid file name)\n",
            qelFile_ShownName(from), qelFile_ShownName(to));
    return qelFileErrorGeneric;
  }
  const int error = ::MoveFileW(nativeFrom.get(), nativeTo.get()) ? 0 : LastError();
  if (error != 0)
    QEL_LOG(1, "qelFile: Cannot rename file: '%s' to '%s' (error = %d)\n", from, to, error);
  return qelFile_MapError(error);
}

int qelFile_SetSize(const char* name, int64_t size) {
  const qelOwnedName nativeName(qelFile_NativeName(name));
  if (nativeName == nullptr) {
    QEL_LOG(1, "qelFile: Cannot set size of file '%s', (invalid name)\n", qelFile_ShownName(name));
    return qelFileErrorGeneric;
  }
  void* const fd = ::CreateFileW(nativeName.get(), GENERIC_WRITE, kShareAll, nullptr, OPEN_ALWAYS,
                                 FILE_ATTRIBUTE_NORMAL, nullptr);
  // INTENDED: a failed open gives no null handle, so it shows at the next step, with that step's
  // error number. Pinned by qelFileSetSizeWin32.ReportsAFailedOpenAtTheNextStep.
  if (fd == nullptr) {
    const int error = LastError();
    QEL_LOG(1, "qelFile: Cannot set size of file '%s', cannot open/create file (error = %d)\n",
            name, error);
    return error;
  }
  int error = MoveTo(fd, size, FILE_BEGIN, nullptr);
  if (error != 0) {
    QEL_LOG(1, "qelFile: Cannot set size of file '%s', cannot move pointer (error = %d)\n", name,
            error);
  } else {
    error = SetEnd(fd);
    if (error != 0)
      QEL_LOG(1, "qelFile: Cannot set size of file '%s', cannot set EOF (error = %d)\n", name,
              error);
  }
  if (fd != INVALID_HANDLE_VALUE)
    ::CloseHandle(fd);
  // INTENDED: the system's own number, not a status; programs show it. Pinned by
  // qelFileSetSize.GivesTheSystemsOwnErrorNumber.
  return error;
}

int qelFile_MapError(int osError) {
  for (const ErrorRow& row : kErrorMap)
    if (row.osError == osError)
      return row.status;
  return qelFileErrorGeneric;
}

qelOSChar* qelFile_NativeName(const char* name) {
  if (name == nullptr)
    return nullptr;
  const qelOwnedText normalised(
      qelPath_Normalize(name, /*stripTrailing=*/0, qelPathFlagNative, /*anchor=*/nullptr));
  return qelUTF8_ToWide(normalised.get());
}

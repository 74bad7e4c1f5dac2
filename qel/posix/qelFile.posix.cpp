#define QEL_LOG_MODULE 42
#define QEL_LOG_FILE "..\\..\\posix\\qelFile.posix"

#include <qel/multiplatform/qelFile.h>

#include <algorithm>
#include <cstring>

#include <qel/core/Log.h>
#include <qel/multiplatform/qelFilePrivate.h>
#include <qel/multiplatform/qelPath.h>
#include <qel/multiplatform/qelTime.h>
#include <qel/posix/qelFilePrivate.posix.h>

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

// Errors -----------------------------------------------------------------------

namespace {

struct ErrorRow {
  int osError;
  int status;
};

// clang-format off
const ErrorRow kErrorMap[] = {
    {0,       qelFileErrorNone},
    {EROFS,   qelFileErrorWriteProtected},
    {ENOENT,  qelFileErrorNotFound},
    {ENOTDIR, qelFileErrorNotFound},
    {EEXIST,  qelFileErrorExists},
    {ENOSPC,  qelFileErrorDiskFull},
    {EDQUOT,  qelFileErrorDiskFull},
};
// clang-format on

} // namespace

// Descriptors ------------------------------------------------------------------

static int Descriptor(void* fd) {
  return static_cast<int>(reinterpret_cast<intptr_t>(fd));
}

static void* FromDescriptor(int descriptor) {
  return reinterpret_cast<void*>(static_cast<intptr_t>(descriptor));
}

static_assert(sizeof(off_t) == sizeof(int64_t), "a file may be larger than 2 GiB");

// Moves the position. Returns 0 or the system's error; position may be null.
static int MoveTo(void* fd, int64_t offset, int whence, int64_t* position) {
  const off_t moved = ::lseek(Descriptor(fd), static_cast<off_t>(offset), whence);
  if (moved < 0)
    return errno;
  if (position != nullptr)
    *position = moved;
  return 0;
}

static int SetEnd(void* fd, int64_t size) {
  const int result = qelPosix_Retry([=] { return ::ftruncate(Descriptor(fd), size); });
  return result == 0 ? 0 : errno;
}

// Open and close ---------------------------------------------------------------

static int OpenFlags(int mode) {
  const int access = mode & (qelFileModeRead | qelFileModeWrite);
  int flags = O_CLOEXEC | O_NOCTTY;
  flags |= access == qelFileModeRead ? O_RDONLY : access == qelFileModeWrite ? O_WRONLY : O_RDWR;
  flags |= (mode & qelFileModeCreate) != 0 ? O_CREAT : 0;
  flags |= (mode & qelFileModeExclusive) != 0 ? O_EXCL : 0;
  flags |= (mode & qelFileModeTruncate) != 0 ? O_TRUNC : 0;
  return flags;
}

static mode_t FilePermissions(int permissions) {
  return permissions == 0 || (permissions & 2) != 0 ? 0666 : 0444;
}

// Opens what is no directory. Returns 0 or the system's error.
static int OpenNative(const char* nativeName, int flags, mode_t permissions, void** fd) {
  const int descriptor = qelPosix_Retry([=] { return ::open(nativeName, flags, permissions); });
  if (descriptor < 0)
    return errno;
  struct stat status;
  int error = ::fstat(descriptor, &status) == 0 ? 0 : errno;
  if (error == 0 && S_ISDIR(status.st_mode)) // the system opens a directory for reading
    error = EISDIR;
  if (error != 0)
    ::close(descriptor);
  else
    *fd = FromDescriptor(descriptor);
  return error;
}

int qelFile_Open(const char* name, int mode, int permissions, void** fd) {
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
  int error = OpenNative(nativeName.get(), OpenFlags(mode), FilePermissions(permissions), &opened);
  if (error != 0) {
    QEL_LOG(1, "qelFile: Cannot open file: '%s' (OpenMode = 0x%02x) (error = %d)\n", shown,
            static_cast<unsigned>(mode), error);
    return qelFile_MapError(error);
  }
  if ((mode & qelFileModeAppend) != 0)
    error = MoveTo(opened, 0, SEEK_END, nullptr);
  if (error != 0) {
    QEL_LOG(1, "qelFile: Cannot seek at end of file: '%s' (OpenMode = 0x%02x) (error = %d)\n",
            shown, static_cast<unsigned>(mode), error);
    ::close(Descriptor(opened));
    return qelFile_MapError(error);
  }
  *fd = opened;
  return qelFileErrorNone;
}

int qelFile_Close(void* fd) {
  if (::close(Descriptor(fd)) == 0)
    return qelFileErrorNone;
  const int error = errno;
  QEL_LOG(1, "qelFile: Cannot close file (fd = %p) (error = %d)\n", fd, error);
  return qelFile_MapError(error);
}

// Read and write ---------------------------------------------------------------

int qelFile_Read(void* fd, void* buffer, size_t count) {
  const size_t wanted = std::min<size_t>(count, qelFileMaxTransfer);
  char* to = static_cast<char*>(buffer);
  size_t done = 0;
  ssize_t moved;
  do {
    moved = qelPosix_Retry([=] { return ::read(Descriptor(fd), to + done, wanted - done); });
    if (moved < 0) {
      const int error = errno;
      QEL_LOG(1, "qelFile: cannot read %lu bytes (fd = %p) (error = %d)\n",
              static_cast<unsigned long>(wanted), fd, error);
      return qelFile_MapError(error);
    }
    done += static_cast<size_t>(moved);
  } while (moved > 0 && done < wanted);
  return static_cast<int>(done);
}

int qelFile_Write(void* fd, const void* buffer, size_t count) {
  const size_t wanted = std::min<size_t>(count, qelFileMaxTransfer);
  const char* from = static_cast<const char*>(buffer);
  size_t done = 0;
  ssize_t moved;
  do {
    moved = qelPosix_Retry([=] { return ::write(Descriptor(fd), from + done, wanted - done); });
    if (moved < 0) {
      const int error = errno;
      QEL_LOG(1, "qelFile: Write (fd = %p) (error = %d)\n", fd, error);
      return qelFile_MapError(error);
    }
    done += static_cast<size_t>(moved);
  } while (moved > 0 && done < wanted);
  return static_cast<int>(done);
}

// Positions and size -----------------------------------------------------------

int qelFile_Seek(void* fd, int64_t offset, int origin) {
  const int whence = origin == 1 ? SEEK_CUR : origin == 2 ? SEEK_END : SEEK_SET;
  const int error = MoveTo(fd, offset, whence, nullptr);
  if (error != 0)
    QEL_LOG(1, "qelFile: Cannot seek (fd = %p) (error = %d)\n", fd, error);
  return qelFile_MapError(error);
}

int qelFile_Tell(void* fd, int64_t* position) {
  const int error = MoveTo(fd, 0, SEEK_CUR, position);
  if (error != 0)
    QEL_LOG(1, "qelFile: Cannot tell (fd = %p) (error = %d)\n", fd, error);
  return qelFile_MapError(error);
}

int qelFile_IsEOF(void* fd) {
  int64_t position = 0;
  int64_t end = 0;
  int error = MoveTo(fd, 0, SEEK_CUR, &position);
  if (error != 0) {
    QEL_LOG(1, "qelFile: Cannot check EOF (fd = %p) (error = %d) (getting original position)\n", fd,
            error);
    return qelFile_MapError(error);
  }
  error = MoveTo(fd, 0, SEEK_END, &end);
  if (error != 0) {
    QEL_LOG(1, "qelFile: Cannot check EOF (fd = %p) (error = %d) (seeking to end)\n", fd, error);
    return qelFile_MapError(error);
  }
  if (position == end)
    return 1;
  error = MoveTo(fd, position, SEEK_SET, nullptr);
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
  int error = MoveTo(fd, 0, SEEK_CUR, &position);
  if (error != 0) {
    QEL_LOG(1, "qelFile: ChangeSize: Cannot tell (fd = %p) (error = %d)\n", fd, error);
    return qelFileErrorGeneric;
  }
  error = MoveTo(fd, size, SEEK_SET, nullptr);
  if (error != 0) {
    QEL_LOG(1, "qelFile: ChangeSize: Cannot move pointer (fd = %p) (error = %d)\n", fd, error);
    return qelFileErrorGeneric;
  }
  error = SetEnd(fd, size);
  // INTENDED: the position stays at the new end, and every failure is -1, whatever the system's error
  // maps to. Pinned by qelFileTruncate.CutsAndExtendsAndStaysAtTheNewEnd.
  if (error == 0)
    return qelFileErrorNone;
  QEL_LOG(1, "qelFile: ChangeSize: Cannot truncate/extend (fd = %p) (error = %d)\n", fd, error);
  error = MoveTo(fd, position, SEEK_SET, nullptr);
  if (error != 0)
    QEL_LOG(1, "qelFile: ChangeSize: Cannot restore file pointer (fd = %p) (error = %d)\n", fd,
            error);
  return qelFileErrorGeneric;
}

// By name ----------------------------------------------------------------------

// The last part of a name, whose trailing separators are cut off.
static const char* LastPart(char* nativeName) {
  size_t length = strlen(nativeName);
  while (length > 0 && nativeName[length - 1] == '/')
    nativeName[--length] = '\0';
  const char* slash = strrchr(nativeName, '/');
  return slash != nullptr ? slash + 1 : nativeName;
}

int qelFile_Exists(const char* name) {
  const qelOwnedName nativeName(qelFile_NativeName(name));
  if (nativeName == nullptr) {
    QEL_LOG(1, "qelFile: Cannot check if file '%s' exists, (invalid name)\n",
            qelFile_ShownName(name));
    return 0;
  }
  struct stat status;
  return ::stat(nativeName.get(), &status) == 0 && !S_ISDIR(status.st_mode);
}

int qelFile_IsRegular(const char* name) {
  const qelOwnedName nativeName(qelFile_NativeName(name));
  struct stat status;
  return nativeName != nullptr && ::stat(nativeName.get(), &status) == 0 && S_ISREG(status.st_mode);
}

int qelFile_Access(const char* name, int mode) {
  const qelOwnedName nativeName(qelFile_NativeName(name));
  if (nativeName == nullptr) {
    QEL_LOG(1, "qelFile: Cannot check access for file: '%s' (invalid name)\n",
            qelFile_ShownName(name));
    return 0;
  }
  // Without access asked for, O_PATH opens what exists. A pipe that nobody serves must not block.
  const int access = mode & (qelFileModeRead | qelFileModeWrite);
  const int flags = access == 0 ? O_PATH | O_CLOEXEC : OpenFlags(access);
  void* fd = nullptr;
  int error = OpenNative(nativeName.get(), flags | O_NONBLOCK, 0, &fd);
  if (error == EWOULDBLOCK) // another program holds a lease, which only an open that waits breaks
    error = OpenNative(nativeName.get(), flags, 0, &fd);
  if (error != 0)
    return 0;
  // INTENDED: the line stands on success, and a failure is silent. Log filters of programs know it
  // so. Pinned by qelFileAccess.LogsWhenTheFileCanBeOpenedAndIsSilentWhenNot.
  QEL_LOG(1, "qelFile: Cannot check access for file: '%s' (error = %d)\n", name, error);
  ::close(Descriptor(fd));
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
  struct stat status;
  return ::lstat(nativeName.get(), &status) == 0 &&
         qelPosix_IsHiddenName(LastPart(nativeName.get()));
}

int qelFile_GetTimes(const char* name, qeltimeval* access, qeltimeval* modification,
                     qeltimeval* creation) {
  const qelOwnedName nativeName(qelFile_NativeName(name));
  if (nativeName == nullptr) {
    QEL_LOG(1, "qelFile_GetTimes: Cannot get modification time for file '%s', (invalid name)\n",
            qelFile_ShownName(name));
    return qelFileErrorGeneric;
  }
  qelPosixStamps stamps;
  const int error = qelPosix_GetStamps(nativeName.get(), &stamps);
  if (error != 0) {
    QEL_LOG(1, "qelFile_GetTimes: Could not get attributes for file: %s\n", nativeName.get());
    return qelFile_MapError(error);
  }
  if ((creation != nullptr && qelTime_FromFileTime(&stamps.creation, creation) != 0) ||
      (modification != nullptr && qelTime_FromFileTime(&stamps.modification, modification) != 0) ||
      (access != nullptr && qelTime_FromFileTime(&stamps.access, access) != 0)) {
    QEL_LOG(1,
            "qelFile_GetTimes: Could not get all creation/modification/access times for file: "
            "%s\n",
            nativeName.get());
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
  const int error = ::unlink(nativeName.get()) == 0 ? 0 : errno;
  const int status = qelFile_MapError(error);
  if (status == qelFileErrorNone || status == qelFileErrorNotFound)
    return qelFileErrorNone;
  QEL_LOG(1, "qelFile: Cannot remove file '%s' (error = %d)\n", name, error);
  return status;
}

// Moves without replacing. Returns 0 or the system's error.
static int RenameNative(const char* from, const char* to) {
  if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0)
    return 0;
  int error = errno;
  if (error != ENOSYS && error != EINVAL)
    return error;
  // The file system can't refuse a target by itself; a second link to the file does.
  if (::link(from, to) != 0)
    return errno;
  if (::unlink(from) == 0)
    return 0;
  error = errno;
  ::unlink(to);
  return error;
}

int qelFile_Rename(const char* from, const char* to) {
  const qelOwnedName nativeFrom(qelFile_NativeName(from));
  const qelOwnedName nativeTo(qelFile_NativeName(to));
  if (nativeFrom == nullptr || nativeTo == nullptr) {
    QEL_LOG(1, "qelFile: Cannot rename file '%s' to '%s' (invalid file name)\n",
            qelFile_ShownName(from), qelFile_ShownName(to));
    return qelFileErrorGeneric;
  }
  const int error = RenameNative(nativeFrom.get(), nativeTo.get());
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
  // Here a failed open is found at once; descriptor 0 is as good as any other.
  void* fd = nullptr;
  int error = OpenNative(nativeName.get(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOCTTY, 0666, &fd);
  if (error != 0) {
    QEL_LOG(1, "qelFile: Cannot set size of file '%s', cannot open/create file (error = %d)\n",
            name, error);
    return error;
  }
  error = MoveTo(fd, size, SEEK_SET, nullptr);
  if (error != 0) {
    QEL_LOG(1, "qelFile: Cannot set size of file '%s', cannot move pointer (error = %d)\n", name,
            error);
  } else {
    error = SetEnd(fd, size);
    if (error != 0)
      QEL_LOG(1, "qelFile: Cannot set size of file '%s', cannot set EOF (error = %d)\n", name,
              error);
  }
  ::close(Descriptor(fd));
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
  return qelPath_Normalize(name, /*stripTrailing=*/0, qelPathFlagNative, /*anchor=*/nullptr);
}

// Shared with directories ------------------------------------------------------

int qelPosix_GetStamps(const char* name, qelPosixStamps* stamps) {
  struct statx status;
  if (::statx(AT_FDCWD, name, 0, STATX_BASIC_STATS | STATX_BTIME, &status) != 0)
    return errno;
  const auto stamp = [](const statx_timestamp& from) {
    return timespec{static_cast<time_t>(from.tv_sec), static_cast<long>(from.tv_nsec)};
  };
  stamps->access = stamp(status.stx_atime);
  stamps->modification = stamp(status.stx_mtime);
  stamps->creation = stamp((status.stx_mask & STATX_BTIME) != 0 ? status.stx_btime //
                                                                : status.stx_mtime);
  return 0;
}

bool qelPosix_IsHiddenName(const char* name) {
  return name[0] == '.' && strcmp(name, ".") != 0 && strcmp(name, "..") != 0;
}

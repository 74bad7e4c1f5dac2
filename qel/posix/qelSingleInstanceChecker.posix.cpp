#include <qel/multiplatform/qelSingleInstanceCheckerBackend.h>

#include <cstdio>
#include <cstring>
#include <string>

#include <qel/posix/qelFilePrivate.posix.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// One file stands for each name. A record holds a shared lock on it; whoever gets the exclusive lock
// first, for a moment, is alone. The locks belong to the open file, not to the process, so two records
// of one process see each other, and changing the exclusive lock into a shared one leaves no gap.

const char* const qelSingleInstance_LogFile = "..\\..\\posix\\qelSingleInstanceChecker.posix";

// The lock file --------------------------------------------------------------

// The first directory in which every user may make files and none may remove another's.
static const char* LockDirectory() {
  for (const char* directory : {"/run/lock", "/var/lock"}) {
    struct stat status;
    if (::stat(directory, &status) == 0 && S_ISDIR(status.st_mode) &&
        (status.st_mode & (S_ISVTX | S_IWOTH)) == (S_ISVTX | S_IWOTH))
      return directory;
  }
  return "/tmp";
}

// FNV-1a, 64 bits.
static uint64_t Hash(const qelWChar* name) {
  uint64_t hash = UINT64_C(0xCBF29CE484222325);
  for (; *name != 0; ++name)
    for (const unsigned byte : {*name & 0xFFu, *name >> 8 & 0xFFu})
      hash = (hash ^ byte) * UINT64_C(0x100000001B3);
  return hash;
}

static std::string LockName(const qelWChar* name) {
  char text[64];
  snprintf(text, sizeof text, "/qel-%016llx.lock", static_cast<unsigned long long>(Hash(name)));
  return LockDirectory() + std::string(text);
}

// Opens what another user may have put there, so nothing but an ordinary file will do. Returns a
// descriptor, or -1 with errno.
static int OpenExisting(const char* fileName) {
  const int flags = O_RDWR | O_CLOEXEC | O_NOCTTY | O_NOFOLLOW | O_NONBLOCK;
  const int file = qelPosix_Retry([=] { return ::open(fileName, flags); });
  struct stat status;
  if (file < 0 || (::fstat(file, &status) == 0 && S_ISREG(status.st_mode)))
    return file;
  ::close(file);
  errno = EPERM;
  return -1;
}

// Makes the file, unless it is there. It appears under its name with the rights that all users need,
// whatever the umask. Returns 0 or the system's error.
static int CreateForAll(const std::string& fileName) {
  std::string scratch = fileName + ".XXXXXX";
  const int file = ::mkostemp(&scratch[0], O_CLOEXEC);
  if (file < 0)
    return errno;
  const bool made = ::fchmod(file, 0666) == 0 && ::link(scratch.c_str(), fileName.c_str()) == 0;
  const int error = made || errno == EEXIST ? 0 : errno;
  ::unlink(scratch.c_str());
  ::close(file);
  return error;
}

// Opening comes first: some systems let nobody open another user's file with the wish to create it.
static int OpenLockFile(const std::string& fileName) {
  const int file = OpenExisting(fileName.c_str());
  if (file >= 0 || errno != ENOENT)
    return file;
  const int error = CreateForAll(fileName);
  if (error == 0)
    return OpenExisting(fileName.c_str());
  errno = error;
  return -1;
}

// Locks ----------------------------------------------------------------------

// Sets a lock on the whole file, without waiting. Returns 0 or the system's error.
static int Lock(int file, short type) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  return qelPosix_Retry([&] { return ::fcntl(file, F_OFD_SETLK, &lock); }) == 0 ? 0 : errno;
}

// Returns 0 with the shared lock held, or the system's error.
static int TakeShared(int file, bool* existed) {
  // An exclusive lock is held for a moment only, however busy the machine; who holds one for a second
  // means harm, and is waited for no longer.
  static const timespec nap = {0, 1000000};
  int error = EAGAIN;
  for (int attempt = 0; error == EAGAIN && attempt < 1000; ++attempt) {
    if (attempt != 0)
      ::nanosleep(&nap, nullptr);
    *existed = Lock(file, F_WRLCK) != 0;
    error = Lock(file, F_RDLCK);
  }
  return error;
}

int qelSingleInstance_Take(const qelWChar* name, void** handle, bool* existed) {
  static const size_t prefixLength = 7; // "Global\"
  for (const qelWChar* unit = name + prefixLength; *unit != 0; ++unit)
    if (*unit == '\\') // separates name spaces elsewhere, and there is only one
      return ENOENT;
  const int file = OpenLockFile(LockName(name));
  if (file < 0)
    return errno;
  const int error = TakeShared(file, existed);
  if (error != 0)
    ::close(file);
  else
    *handle = reinterpret_cast<void*>(static_cast<intptr_t>(file) + 1); // 0 is a descriptor, too
  return error;
}

int qelSingleInstance_Release(void* handle) {
  return ::close(static_cast<int>(reinterpret_cast<intptr_t>(handle) - 1)) == 0 ? 0 : errno;
}

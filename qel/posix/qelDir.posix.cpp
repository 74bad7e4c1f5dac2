#define QEL_LOG_MODULE 43
#define QEL_LOG_FILE "..\\..\\posix\\qelDir.posix"

#include <qel/multiplatform/qelDir.h>

#include <cstdlib>
#include <cstring>

#include <qel/core/Log.h>
#include <qel/core/qelMem.h>
#include <qel/multiplatform/qelFilePrivate.h>
#include <qel/multiplatform/qelPath.h>
#include <qel/multiplatform/qelTime.h>
#include <qel/posix/qelFilePrivate.posix.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

struct qelOSDir {
  DIR* handle;         // null when no enumeration runs
  char* pattern;       // of the running enumeration, owned
  qelDirEntry_t entry; // the current entry; its name is owned
  char* directory;     // null for a name that does not normalise; owned
  int filter;          // of the running enumeration
};

// Names ------------------------------------------------------------------------

static bool IsDirectory(const char* nativeName) {
  struct stat status;
  return ::stat(nativeName, &status) == 0 && S_ISDIR(status.st_mode);
}

// Enumeration ------------------------------------------------------------------

// The character behind the one at text: a lead byte and the continuation bytes that it announces, or a
// single byte if they are not all there.
static const char* NextCharacter(const char* text) {
  const int lead = static_cast<unsigned char>(*text);
  const int announced = lead < 0xC0 || lead >= 0xF8 ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
  for (int i = 1; i <= announced; ++i)
    if ((text[i] & 0xC0) != 0x80)
      return text + 1;
  return text + 1 + announced;
}

// Matches a name with "*" and "?". One star is open at a time, so the cost is at most the product of
// the two lengths.
static bool Matches(const char* pattern, const char* name) {
  const char* starPattern = nullptr; // behind the last star
  const char* starName = nullptr;    // where that star's text ends so far
  while (*name != '\0') {
    if (*pattern == '*') {
      starPattern = ++pattern;
      starName = name;
    } else if (*pattern == '?') {
      ++pattern;
      name = NextCharacter(name);
    } else if (*pattern == *name) {
      ++pattern;
      ++name;
    } else if (starPattern != nullptr) {
      pattern = starPattern;
      name = starName = NextCharacter(starName);
    } else {
      return false;
    }
  }
  while (*pattern == '*')
    ++pattern;
  return *pattern == '\0';
}

// Whether the entry is a directory or leads to one.
static int LeadsToDirectory(DIR* handle, const dirent* found) {
  if (found->d_type != DT_UNKNOWN && found->d_type != DT_LNK)
    return found->d_type == DT_DIR;
  struct stat status;
  return ::fstatat(::dirfd(handle), found->d_name, &status, 0) == 0 && S_ISDIR(status.st_mode);
}

static void SetEntry(qelOSDir* dir, const char* name, int isDir, int isHidden) {
  qelMem_SetStr(&dir->entry.name, name);
  dir->entry.isDir = isDir;
  dir->entry.isHidden = isHidden;
}

qelOSDir* qelDir_New(const char* name) {
  qelOSDir* dir = static_cast<qelOSDir*>(qelMem_AllocZero(sizeof(qelOSDir)));
  dir->directory = qelDir_NativeName(name, /*longPath=*/0);
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
  if (nativeName == nullptr || pattern == nullptr) {
    QEL_LOG(1, "qelDir: Cannot enumerate files in directory '%s' using specified '%s'\n",
            qelFile_ShownName(dir->directory), qelFile_ShownName(pattern));
    *error = EINVAL;
    return nullptr;
  }
  dir->handle = ::opendir(nativeName.get());
  if (dir->handle == nullptr) {
    *error = errno;
    // INTENDED: the line bears the name of the file layer, by which log filters know it. Pinned by
    // qelDirEnumeration.ReportsAMissingDirectoryAndAFile.
    QEL_LOG(1, "qelFile: Cannot enumerate files in directory '%s' (error = %d)\n", dir->directory,
            *error);
    return nullptr;
  }
  dir->pattern = qelMem_StrDup(qelDir_EffectivePattern(pattern));
  dir->filter = filter;
  return qelDir_GetNext(dir, error);
}

const qelDirEntry_t* qelDir_GetNext(qelOSDir* dir, int* error) {
  *error = 0;
  if (dir->handle == nullptr)
    return nullptr;
  for (;;) {
    errno = 0;
    const dirent* found = ::readdir(dir->handle);
    if (found == nullptr) {
      *error = errno;
      if (*error != 0)
        QEL_LOG(1, "qelDir: Cannot continue enumerating files in directory (error = %d)\n", *error);
      return nullptr;
    }
    if (!Matches(dir->pattern, found->d_name))
      continue;
    const int isDir = LeadsToDirectory(dir->handle, found);
    const int isHidden = qelPosix_IsHiddenName(found->d_name);
    if (!qelDir_PassesFilter(dir->filter, found->d_name, isDir, isHidden))
      continue;
    SetEntry(dir, found->d_name, isDir, isHidden);
    return &dir->entry;
  }
}

void qelDir_EndEnumeration(qelOSDir* dir) {
  if (dir->handle != nullptr)
    ::closedir(dir->handle);
  dir->handle = nullptr;
  qelMem_SetStr(&dir->pattern, nullptr);
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
  return IsDirectory(nativeName.get());
}

int qelDir_IsLink(const char* name) {
  const qelOwnedName nativeName(qelDir_NativeName(name, /*longPath=*/1));
  struct stat status;
  return nativeName != nullptr && ::lstat(nativeName.get(), &status) == 0 &&
         S_ISLNK(status.st_mode);
}

static bool IsGone(int error) {
  return error == ENOENT || error == ENOTDIR;
}

// Removes a directory, or a link to one. Returns 0, also if there is nothing, or the system's error.
static int RemoveNative(const char* nativeName) {
  if (::rmdir(nativeName) == 0)
    return 0;
  int error = errno;
  if (error != ENOTDIR)
    return IsGone(error) ? 0 : error;
  // Something that is no directory stands at the end of the way, or on it.
  struct stat status;
  if (::lstat(nativeName, &status) != 0) {
    error = errno;
    return IsGone(error) ? 0 : error;
  }
  if (!S_ISLNK(status.st_mode) || !IsDirectory(nativeName))
    return ENOTDIR;
  return ::unlink(nativeName) == 0 ? 0 : errno;
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
  if (::mkdir(nativeName.get(), 0777) == 0)
    return 0;
  const int error = errno;
  QEL_LOG(1, "qelDir: Cannot create directory '%s' (error = %ld)\n", name,
          static_cast<long>(error));
  return -1;
}

// Makes sure of one level; a level that another program makes meanwhile is fine.
static bool CreateLevel(const char* nativeName) {
  return IsDirectory(nativeName) || ::mkdir(nativeName, 0777) == 0 || IsDirectory(nativeName);
}

int qelDir_CreateRecursively(const char* name) {
  const qelOwnedName nativeName(qelDir_NativeName(name, /*longPath=*/1));
  if (nativeName == nullptr) {
    QEL_LOG(1, "qelDir: Cannot create directory path: '%s' (invalid path)\n",
            qelFile_ShownName(name));
    return 0;
  }
  char* path = nativeName.get();
  if (path[0] != '/') {
    QEL_LOG(1, "qelDir: Cannot analyze directory path: '%s' (invalid path)\n", name);
    return 0;
  }
  for (char* end = path + 1;; ++end) {
    if (*end != '/' && *end != '\0')
      continue;
    const char separator = *end;
    *end = '\0';
    if (!CreateLevel(path)) {
      QEL_LOG(1, "qelDir: Cannot create directory path part: '%s' (path size = %d)\n", path,
              static_cast<int>(end - path));
      return 0;
    }
    *end = separator;
    if (separator == '\0')
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
  qelPosixStamps stamps;
  if (qelPosix_GetStamps(nativeName.get(), &stamps) != 0)
    return -1;
  // INTENDED: the reverse of the order of qelFile_GetTimes; what precedes a failure has been stored.
  // Pinned by qelDirGetTimesPosix.StopsAtTheFirstStampThatHasNoValue.
  if ((access != nullptr && qelTime_FromFileTime(&stamps.access, access) != 0) ||
      (modification != nullptr && qelTime_FromFileTime(&stamps.modification, modification) != 0) ||
      (creation != nullptr && qelTime_FromFileTime(&stamps.creation, creation) != 0))
    return -1;
  return 0;
}

char* qelDir_GetRoots() {
  return qelMem_StrNDup("/\0", 2);
}

qelOSChar* qelDir_NativeName(const char* name, int longPath) {
  if (name == nullptr)
    return nullptr;
  const int flags = qelPathFlagNative | (longPath ? qelPathFlagLongPath : 0);
  return qelPath_Normalize(name, /*stripTrailing=*/1, flags, /*anchor=*/nullptr);
}

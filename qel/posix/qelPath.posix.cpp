#define QEL_LOG_MODULE 57
#define QEL_LOG_FILE "..\\..\\posix\\qelPath.posix"

#include <qel/multiplatform/qelPath.h>

#include <qel/core/Log.h>
#include <qel/core/qelMem.h>
#include <qel/multiplatform/qelPathBackend.h>
#include <qel/posix/qelMountTable.h>
#include <qel/posix/qelUserDirs.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include <dlfcn.h>
#include <limits.h>
#include <link.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

const char* const qelPath_LogFile = QEL_LOG_FILE;

// Room for the name of the program, terminator included.
static const size_t kNameSize = PATH_MAX;

// The most that is read of a text file of the system or of the user's desktop.
static const size_t kTextLimit = 1u << 20;

static void ReplaceAll(char* text, char from, char to) {
  for (; *text != '\0'; ++text)
    if (*text == from)
      *text = to;
}

// A new text with "/" between its parts.
static char* FromSystem(const char* name) {
  char* text = qelMem_StrDup(name);
  ReplaceAll(text, '\\', '/');
  return text;
}

// The first kTextLimit bytes of a file as a new text, or null.
static char* ReadText(const char* name) {
  FILE* file = fopen(name, "re");
  if (file == nullptr)
    return nullptr;
  size_t length = 0;
  size_t capacity = 4096;
  char* text = static_cast<char*>(qelMem_Alloc(capacity + 1));
  for (size_t got = 1; got != 0 && length < kTextLimit; length += got) {
    if (length == capacity)
      text = static_cast<char*>(qelMem_Realloc(text, (capacity *= 2) + 1));
    got = fread(text + length, 1, capacity - length, file);
  }
  fclose(file);
  text[length] = '\0';
  return text;
}

static bool IsDirectory(const char* path) {
  struct stat info;
  return ::stat(path, &info) == 0 && S_ISDIR(info.st_mode);
}

// Text --------------------------------------------------------------------------

int qelPath_IsAbsolute(const char* text) {
  if (text == nullptr)
    return 0;
  return text[0] == '\0' || text[0] == '/' || text[0] == '\\' ? 1 : 0;
}

char* qelPath_ApplyForm(char* text, int) {
  ReplaceAll(text, '\\', '/');
  return text;
}

// The program and its modules ---------------------------------------------------

// The system marks the name of a program whose file was removed, as an update does.
static void CutRemovedMark(char* name) {
  static const char mark[] = " (deleted)";
  const size_t length = strlen(name);
  const size_t markLength = sizeof mark - 1;
  if (length > markLength && strcmp(name + length - markLength, mark) == 0 &&
      ::access(name, F_OK) != 0)
    name[length - markLength] = '\0';
}

// The file name of the program, or null.
static char* ProgramName() {
  char name[kNameSize];
  const ssize_t length = ::readlink("/proc/self/exe", name, kNameSize);
  if (length <= 0 || static_cast<size_t>(length) >= kNameSize)
    return nullptr;
  name[length] = '\0';
  CutRemovedMark(name);
  return FromSystem(name);
}

char* qelPath_GetApplicationFileName() {
  char* name = ProgramName();
  if (name == nullptr)
    QEL_LOG(1, "qelPath: Cannot get application file name (buffer too small)\n");
  return name;
}

char* qelPath_GetModuleFileName(const void* address) {
  Dl_info info;
  void* module = nullptr;
  if (::dladdr1(address, &info, &module, RTLD_DL_LINKMAP) == 0 || module == nullptr)
    return nullptr;
  const char* name = static_cast<const link_map*>(module)->l_name;
  // The program itself has no name there.
  if (name[0] == '\0')
    return ProgramName();
  char* resolved = ::realpath(name, nullptr);
  char* text = resolved != nullptr ? FromSystem(resolved) : nullptr;
  free(resolved);
  return text;
}

// Folders -----------------------------------------------------------------------

// A new text without "/" at its end; the root comes out empty.
static char* WithoutTrailingSlashes(const char* path) {
  size_t length = strlen(path);
  while (length > 0 && path[length - 1] == '/')
    --length;
  return qelMem_StrNDup(path, length);
}

// The user's home directory as the account tells, or null.
static char* HomeOfAccount() {
  char buffer[16384];
  passwd account;
  passwd* found = nullptr;
  if (::getpwuid_r(::getuid(), &account, buffer, sizeof buffer, &found) != 0 || found == nullptr)
    return nullptr;
  return found->pw_dir[0] == '/' ? WithoutTrailingSlashes(found->pw_dir) : nullptr;
}

// The value of a variable that names an absolute path, without "/" at its end (the root is empty), or
// null.
static char* PathFromEnvironment(const char* variable) {
  const char* value = ::secure_getenv(variable);
  return value != nullptr && value[0] == '/' ? WithoutTrailingSlashes(value) : nullptr;
}

// The user's home directory in the same form.
static char* Home() {
  char* home = PathFromEnvironment("HOME");
  return home != nullptr ? home : HomeOfAccount();
}

// The folder of a variable, else the one at `fallback`, such as "/.config", below home; null if
// neither can be named.
static char* BaseFolder(const char* variable, const char* home, const char* fallback) {
  char* folder = PathFromEnvironment(variable);
  if (folder == nullptr)
    return home != nullptr ? qelMem_Concat(home, fallback) : nullptr;
  if (folder[0] == '\0')
    qelMem_SetStr(&folder, "/");
  return folder;
}

// The folder that the user's desktop keeps under key, else the one at `fallback` below home.
static char* DesktopFolder(const char* key, const char* home, const char* fallback) {
  char* config = BaseFolder("XDG_CONFIG_HOME", home, "/.config");
  if (config == nullptr || home == nullptr) {
    free(config);
    return nullptr;
  }
  char* name = qelMem_Concat(config, "/user-dirs.dirs");
  char* text = ReadText(name);
  char* folder = text != nullptr ? qelUserDirs_Find(text, key, home) : nullptr;
  free(text);
  free(name);
  free(config);
  return folder != nullptr ? folder : qelMem_Concat(home, fallback);
}

// Makes a directory and those above it, for this user alone. Returns 0 or the system's error
// number.
static int MakeDirectories(char* path) {
  for (char* p = path + 1; *p != '\0'; ++p) {
    if (*p != '/')
      continue;
    *p = '\0';
    ::mkdir(path, 0700);
    *p = '/';
  }
  if (::mkdir(path, 0700) == 0)
    return 0;
  const int error = errno;
  return IsDirectory(path) ? 0 : error;
}

char* qelPath_GetApplicationDataDirectory() {
  char* folder = qelPath_GetSpecialFolder(qelPathFolderAppData);
  const int error = folder != nullptr ? MakeDirectories(folder) : ENOENT;
  if (error != 0) {
    QEL_LOG(1, "qelPath: Cannot get application specific data directory name (error = '%d')\n",
            error);
    free(folder);
    return nullptr;
  }
  return folder;
}

char* qelPath_GetFontsDirectory() {
  static const char folder[] = "/usr/share/fonts";
  return IsDirectory(folder) ? qelMem_StrDup(folder) : nullptr;
}

static char* UserFolder(int folder, const char* home) {
  switch (folder) {
  case qelPathFolderAppData:
    return BaseFolder("XDG_DATA_HOME", home, "/.local/share");
  case qelPathFolderMusic:
    return DesktopFolder("XDG_MUSIC_DIR", home, "/Music");
  case qelPathFolderPictures:
    return DesktopFolder("XDG_PICTURES_DIR", home, "/Pictures");
  case qelPathFolderVideos:
    return DesktopFolder("XDG_VIDEOS_DIR", home, "/Videos");
  default:
    return nullptr;
  }
}

char* qelPath_GetSpecialFolder(int folder) {
  switch (folder) {
  case qelPathFolderAllUsersMusic:
    return qelMem_StrDup("/srv/media/Music");
  case qelPathFolderAllUsersPictures:
    return qelMem_StrDup("/srv/media/Pictures");
  case qelPathFolderAllUsersVideos:
    return qelMem_StrDup("/srv/media/Videos");
  default:
    break;
  }
  char* home = Home();
  char* path = UserFolder(folder, home);
  free(home);
  return path;
}

// Drives ------------------------------------------------------------------------

// The place of an absolute path without links, or of the nearest directory above it that exists.
// Takes path over.
static char* ResolvedPlace(char* path) {
  char* resolved = ::realpath(path, nullptr);
  for (char* last = strrchr(path, '/'); resolved == nullptr && last != nullptr;
       last = strrchr(path, '/')) {
    *last = '\0';
    resolved = ::realpath(last != path ? path : "/", nullptr);
  }
  free(path);
  return resolved;
}

// Whether a device can be taken out, or holds a medium that can. A partition asks its disk.
static bool IsRemovableDevice(unsigned deviceMajor, unsigned deviceMinor) {
  static const unsigned opticalMajor = 11;
  if (deviceMajor == opticalMajor)
    return true;
  for (const char* above : {"", "/.."}) {
    char name[128];
    snprintf(name, sizeof name, "/sys/dev/block/%u:%u%s/removable", deviceMajor, deviceMinor,
             above);
    FILE* file = fopen(name, "re");
    const int flag = file != nullptr ? fgetc(file) : EOF;
    if (file != nullptr)
      fclose(file);
    if (flag != EOF)
      return flag == '1';
  }
  return false;
}

static int KindOfMount(const qelMount* mount) {
  if (qelMountTable_IsRemote(mount))
    return qelPathDriveRemote;
  if (qelMountTable_IsInMemory(mount))
    return qelPathDriveRemovable;
  // Some file systems show a number of their own, while their source names the device.
  struct stat info;
  const bool hasDevice = ::stat(mount->source, &info) == 0 && S_ISBLK(info.st_mode);
  const bool isRemovable = hasDevice ? IsRemovableDevice(major(info.st_rdev), minor(info.st_rdev))
                                     : IsRemovableDevice(mount->deviceMajor, mount->deviceMinor);
  return isRemovable ? qelPathDriveRemovable : qelPathDriveFixed;
}

int qelPath_GetDriveKind(const char* text) {
  char* path = qelPath_Normalize(text, /*stripTrailing=*/1, qelPathFlagNative, /*anchor=*/nullptr);
  if (path == nullptr || path[0] == '\0' || !qelPath_IsAbsolute(path)) {
    free(path);
    return qelPathDriveUnknown;
  }
  char* place = ResolvedPlace(path);
  char* table = place != nullptr ? ReadText("/proc/self/mountinfo") : nullptr;
  qelMount mount;
  const bool found = table != nullptr && qelMountTable_Find(table, place, &mount) != 0;
  free(table);
  free(place);
  return found ? KindOfMount(&mount) : qelPathDriveUnknown;
}

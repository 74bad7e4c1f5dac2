//===----------------------------------------------------------------------===//
// What of the path layer only this system has. The program is linked so that the
// library's readlink and fopen come through here.
//===----------------------------------------------------------------------===//

#include <qel/multiplatform/qelPath.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include <pwd.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <tests/support/LogCapture.h>
#include <tests/support/PathText.h>
#include <tests/support/TempDir.h>

// What the link to the program shall say: null for the truth, else this text; "!" for a failure.
static const char* programLink = nullptr;

extern "C" ssize_t __real_readlink(const char* path, char* buffer, size_t size);
extern "C" ssize_t __wrap_readlink(const char* path, char* buffer, size_t size) {
  if (programLink == nullptr)
    return __real_readlink(path, buffer, size);
  if (programLink[0] == '!') {
    errno = EACCES;
    return -1;
  }
  const size_t length = strnlen(programLink, size);
  memcpy(buffer, programLink, length);
  return static_cast<ssize_t>(length);
}

// The text files of the system as they shall be, by name, or null for the truth. What is missing
// can't be opened.
static const std::map<std::string, std::string>* systemFiles = nullptr;

extern "C" FILE* __real_fopen(const char* name, const char* mode);
extern "C" FILE* __wrap_fopen(const char* name, const char* mode) {
  if (systemFiles == nullptr)
    return __real_fopen(name, mode);
  const auto found = systemFiles->find(name);
  if (found == systemFiles->end()) {
    errno = ENOENT;
    return nullptr;
  }
  const std::string& text = found->second;
  return fmemopen(const_cast<char*>(text.data()), text.size(), "r");
}

namespace {

std::string Normalized(const std::string& text, int flags) {
  return Taken(qelPath_Normalize(text.c_str(), 0, flags, nullptr));
}

std::string Folder(int number) {
  return Taken(qelPath_GetSpecialFolder(number));
}

class WithHome : public testing::Test {
protected:
  WithHome() {
    Set("HOME", home.Path().c_str());
    Set("XDG_DATA_HOME", nullptr);
    Set("XDG_CONFIG_HOME", nullptr);
  }
  static void Set(const char* name, const char* value) {
    if (value != nullptr)
      setenv(name, value, 1);
    else
      unsetenv(name);
  }
  void WriteUserDirs(const std::string& text) {
    home.MakeDir(".config");
    home.Write(".config/user-dirs.dirs", text);
  }
  TempDir home;
};

using QelPathGetSpecialFolder = WithHome;
using QelPathGetApplicationDataDirectory = WithHome;
using QelPathExpandSpecialFolders = WithHome;

class QelPathGetApplicationFileName : public testing::Test {
protected:
  ~QelPathGetApplicationFileName() override { programLink = nullptr; }
};

// Text --------------------------------------------------------------------------

TEST(QelPathIsAbsolute, AsksForASeparatorAtTheStart) {
  const struct {
    const char* text;
    int isAbsolute;
  } rows[] = {
      {"/", 1},    {"/a", 1}, {"//a", 1}, {"\\", 1}, {"\\a", 1}, {"\\\\srv\\x", 1}, {"/..", 1},
      {"C:/a", 0}, {"C:", 0}, {"a:", 0},  {"./", 0}, {"~/a", 0}, {":/", 0},
  };
  for (const auto& row : rows)
    EXPECT_EQ(qelPath_IsAbsolute(row.text), row.isAbsolute) << row.text;
}

TEST(QelPathNormalize, IsTheSameForEveryFlag) {
  for (int flags = 0; flags < 4; ++flags) {
    EXPECT_EQ(Normalized("/a\\b/c", flags), "/a/b/c");
    EXPECT_EQ(Normalized("\\\\srv\\share\\x", flags), "//srv/share/x");
    EXPECT_EQ(Normalized("\\\\?\\C:\\x", flags), "//?/C:/x");
    EXPECT_EQ(Normalized("\\a", flags), "/a");
  }
}

TEST(QelPathNormalize, PassesBytesThatAreNoUTF8) {
  EXPECT_EQ(Normalized("/a/\xFF\xFE\x80\\\xC3", 0), "/a/\xFF\xFE\x80/\xC3");
}

TEST(QelPathNormalize, KeepsADirectoryNamedLikeAVolume) {
  EXPECT_EQ(Taken(qelPath_Normalize("/:/", 1, 0, nullptr)), "/:/");
  EXPECT_EQ(Taken(qelPath_Normalize("/a:/", 1, 0, nullptr)), "/a:");
}

// The program -------------------------------------------------------------------

TEST_F(QelPathGetApplicationFileName, LogsAFailure) {
  programLink = "!";
  LogCapture log;
  EXPECT_EQ(qelPath_GetApplicationFileName(), nullptr);
  ASSERT_EQ(log.Lines().size(), 1u);
  const CapturedLine line = log.Lines()[0];
  EXPECT_EQ(line.text, "qelPath: Cannot get application file name (buffer too small)\n");
  EXPECT_EQ(line.level, 1u);
  EXPECT_EQ(line.module, 57u);
  EXPECT_EQ(line.file, "..\\..\\posix\\qelPath.posix");
}

TEST_F(QelPathGetApplicationFileName, LogsANameThatFillsTheBuffer) {
  const std::string longName = "/" + std::string(8000, 'x');
  programLink = longName.c_str();
  LogCapture log;
  EXPECT_EQ(qelPath_GetApplicationFileName(), nullptr);
  EXPECT_EQ(log.All(), "qelPath: Cannot get application file name (buffer too small)\n");
}

TEST_F(QelPathGetApplicationFileName, LeavesNoAnchorWhenItFails) {
  programLink = "!";
  LogCapture log;
  EXPECT_EQ(qelPath_GetApplicationDirectory(), nullptr);
  EXPECT_EQ(qelPath_GetApplicationName(0), nullptr);
  EXPECT_EQ(qelPath_GetApplicationName(1), nullptr);
  log.Clear();
  EXPECT_EQ(qelPath_Normalize("a/x", 0, 0, nullptr), nullptr);
  ASSERT_EQ(log.Lines().size(), 2u);
  const CapturedLine line = log.Lines()[1];
  EXPECT_EQ(line.text,
            "qelPath: Cannot get an anchor path (or none specified) to build an absolute "
            "path for 'a/x'\n");
  EXPECT_EQ(line.level, 1u);
  EXPECT_EQ(line.module, 57u);
  EXPECT_EQ(line.file, "..\\..\\posix\\qelPath.posix");
  // Neither an anchor nor an absolute text needs the program's name.
  log.Clear();
  EXPECT_EQ(Taken(qelPath_Normalize("a", 0, 0, "/x/")), "/x/a");
  EXPECT_EQ(Taken(qelPath_Normalize("/a", 0, 0, nullptr)), "/a");
  EXPECT_EQ(log.All(), "");
}

TEST_F(QelPathGetApplicationFileName, TurnsBackslashesIntoSlashes) {
  programLink = "/opt\\x/prog.EXE";
  EXPECT_EQ(Taken(qelPath_GetApplicationFileName()), "/opt/x/prog.EXE");
  EXPECT_EQ(Taken(qelPath_GetApplicationDirectory()), "/opt/x/");
}

TEST_F(QelPathGetApplicationFileName, ForgetsThatTheProgramsFileWasRemoved) {
  programLink = "/no/such/prog (deleted)";
  EXPECT_EQ(Taken(qelPath_GetApplicationFileName()), "/no/such/prog");
  // A file that really has such a name keeps it.
  TempDir dir;
  const std::string name = dir.Write("prog (deleted)");
  programLink = name.c_str();
  EXPECT_EQ(Taken(qelPath_GetApplicationFileName()), name);
}

TEST_F(QelPathGetApplicationFileName, LosesItsExeEndingInAnyCase) {
  const struct {
    const char* link;
    const char* name;
    const char* cut;
  } rows[] = {
      {"/a/prog.exe", "prog.exe", "prog"},
      {"/a/prog.EXE", "prog.EXE", "prog"},
      {"/a/prog.eXe", "prog.eXe", "prog"},
      {"/a/.exe", ".exe", ""},
      {"/a/exe", "exe", "exe"},
      {"/a/prog.exe.exe", "prog.exe.exe", "prog.exe"},
      {"/a/progexe", "progexe", "progexe"},
      {"/a/prog.ex", "prog.ex", "prog.ex"},
      {"/a.exe/b", "b", "b"},
  };
  for (const auto& row : rows) {
    programLink = row.link;
    EXPECT_EQ(Taken(qelPath_GetApplicationName(0)), row.name);
    EXPECT_EQ(Taken(qelPath_GetApplicationName(1)), row.cut);
  }
}

// A name without any separator gives a program but no directory.
TEST_F(QelPathGetApplicationFileName, MayHaveNoDirectory) {
  programLink = "prog";
  EXPECT_EQ(qelPath_GetApplicationDirectory(), nullptr);
  EXPECT_EQ(Taken(qelPath_GetApplicationName(0)), "prog");
}

// Folders -----------------------------------------------------------------------

TEST_F(QelPathGetSpecialFolder, LiesBelowHomeByDefault) {
  EXPECT_EQ(Folder(qelPathFolderAppData), home.Path(".local/share"));
  EXPECT_EQ(Folder(qelPathFolderMusic), home.Path("Music"));
  EXPECT_EQ(Folder(qelPathFolderPictures), home.Path("Pictures"));
  EXPECT_EQ(Folder(qelPathFolderVideos), home.Path("Videos"));
}

TEST_F(QelPathGetSpecialFolder, HasTheSharedOnesInOnePlace) {
  Set("HOME", nullptr);
  EXPECT_EQ(Folder(qelPathFolderAllUsersMusic), "/srv/media/Music");
  EXPECT_EQ(Folder(qelPathFolderAllUsersPictures), "/srv/media/Pictures");
  EXPECT_EQ(Folder(qelPathFolderAllUsersVideos), "/srv/media/Videos");
}

TEST_F(QelPathGetSpecialFolder, FollowsTheVariables) {
  Set("XDG_DATA_HOME", "/data/of/me//");
  EXPECT_EQ(Folder(qelPathFolderAppData), "/data/of/me");
  Set("XDG_DATA_HOME", "/");
  EXPECT_EQ(Folder(qelPathFolderAppData), "/");
  Set("XDG_DATA_HOME", "relative/counts/as/unset");
  EXPECT_EQ(Folder(qelPathFolderAppData), home.Path(".local/share"));
  Set("XDG_DATA_HOME", "");
  EXPECT_EQ(Folder(qelPathFolderAppData), home.Path(".local/share"));
  Set("HOME", "/");
  EXPECT_EQ(Folder(qelPathFolderAppData), "/.local/share");
}

TEST_F(QelPathGetSpecialFolder, FollowsTheDesktopsFile) {
  WriteUserDirs("# places\nXDG_MUSIC_DIR=\"$HOME/My Music\"\nXDG_PICTURES_DIR=\"/data/p\"\n");
  EXPECT_EQ(Folder(qelPathFolderMusic), home.Path("My Music"));
  EXPECT_EQ(Folder(qelPathFolderPictures), "/data/p");
  EXPECT_EQ(Folder(qelPathFolderVideos), home.Path("Videos"));
}

TEST_F(QelPathGetSpecialFolder, FindsTheDesktopsFileByItsVariable) {
  home.MakeDir("conf");
  home.Write("conf/user-dirs.dirs", "XDG_VIDEOS_DIR=\"$HOME/Films\"\n");
  WriteUserDirs("XDG_VIDEOS_DIR=\"/wrong\"\n");
  Set("XDG_CONFIG_HOME", home.Path("conf").c_str());
  EXPECT_EQ(Folder(qelPathFolderVideos), home.Path("Films"));
}

TEST_F(QelPathGetSpecialFolder, AsksTheAccountWithoutAHome) {
  const passwd* account = getpwuid(getuid());
  if (account == nullptr)
    GTEST_SKIP() << "this user has no account";
  std::string ofAccount = account->pw_dir;
  while (!ofAccount.empty() && ofAccount.back() == '/')
    ofAccount.pop_back();
  for (const char* value : {static_cast<const char*>(nullptr), "relative", ""}) {
    Set("HOME", value);
    EXPECT_EQ(Folder(qelPathFolderAppData), ofAccount + "/.local/share");
  }
}

// The home directory may have a "<" in its name: what a folder inserts is not expanded again.
TEST_F(QelPathExpandSpecialFolders, GoesOnBehindAFolderWithABracketInItsName) {
  Set("HOME", "/home/<MyMusic>");
  EXPECT_EQ(Taken(qelPath_ExpandSpecialFolders("<MyMusic>/x")), "/home/<MyMusic>/Music/x");
  EXPECT_EQ(Taken(qelPath_ExpandSpecialFolders("<MyMusic>/<MyVideos>")),
            "/home/<MyMusic>/Music//home/<MyMusic>/Videos");
  Set("HOME", "/home/<");
  EXPECT_EQ(Taken(qelPath_ExpandSpecialFolders("<MyMusic>/x")), "/home/</Music/x");
}

TEST_F(QelPathGetApplicationDataDirectory, IsMadeForItsOwnerAlone) {
  const std::string path = Taken(qelPath_GetApplicationDataDirectory());
  EXPECT_EQ(path, home.Path(".local/share"));
  struct stat info;
  ASSERT_EQ(stat(path.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777u, 0700u);
  EXPECT_EQ(Taken(qelPath_GetApplicationDataDirectory()), path);
}

TEST_F(QelPathGetApplicationDataDirectory, LogsWhyItCannotBeMade) {
  const std::string file = home.Write("file");
  for (const std::string& blocked : {file, file + "/below"}) {
    Set("XDG_DATA_HOME", blocked.c_str());
    LogCapture log;
    EXPECT_EQ(qelPath_GetApplicationDataDirectory(), nullptr);
    ASSERT_EQ(log.Lines().size(), 1u);
    const CapturedLine line = log.Lines()[0];
    const int error = blocked == file ? EEXIST : ENOTDIR;
    EXPECT_EQ(line.text, "qelPath: Cannot get application specific data directory name (error = '" +
                             std::to_string(error) + "')\n");
    EXPECT_EQ(line.level, 1u);
    EXPECT_EQ(line.module, 57u);
  }
}

// Drives ------------------------------------------------------------------------

TEST(QelPathGetDriveKind, FollowsLinksAndPlacesThatDoNotExist) {
  TempDir dir;
  const int kind = qelPath_GetDriveKind(dir.Path().c_str());
  EXPECT_EQ(qelPath_GetDriveKind(dir.Path("no/such/place").c_str()), kind);
  ASSERT_EQ(symlink(dir.Path().c_str(), dir.Path("link").c_str()), 0);
  EXPECT_EQ(qelPath_GetDriveKind(dir.Path("link/x").c_str()), kind);
  ASSERT_EQ(symlink("/proc", dir.Path("proc").c_str()), 0);
  EXPECT_EQ(qelPath_GetDriveKind(dir.Path("proc/self").c_str()), qelPath_GetDriveKind("/proc"));
}

TEST(QelPathGetDriveKind, FollowsTheMountTableAndTheDevice) {
  const std::string removable = "/sys/dev/block/8:17/removable";
  const std::string aboveRemovable = "/sys/dev/block/8:17/../removable";
  const struct {
    std::string mount; // what stands behind the mount's numbers and place
    std::map<std::string, std::string> files;
    int kind;
  } rows[] = {
      {"nfs4 nas:/export", {}, qelPathDriveRemote},
      {"cifs //srv/share", {{removable, "1\n"}}, qelPathDriveRemote},
      {"tmpfs tmpfs", {}, qelPathDriveRemovable},
      {"ext4 /dev/ram0", {}, qelPathDriveRemovable},
      {"vfat none", {{removable, "1\n"}}, qelPathDriveRemovable},
      {"vfat none", {{removable, "0\n"}}, qelPathDriveFixed},
      {"vfat none", {{aboveRemovable, "1\n"}}, qelPathDriveRemovable},
      {"vfat none", {{aboveRemovable, "0\n"}}, qelPathDriveFixed},
      {"vfat none", {{removable, "0\n"}, {aboveRemovable, "1\n"}}, qelPathDriveFixed},
      {"ext4 none", {}, qelPathDriveFixed},
      {"overlay overlay", {}, qelPathDriveFixed},
  };
  for (const auto& row : rows) {
    std::map<std::string, std::string> files = row.files;
    files["/proc/self/mountinfo"] = "22 1 8:17 / / rw shared:1 - " + row.mount + " rw\n";
    systemFiles = &files;
    EXPECT_EQ(qelPath_GetDriveKind("/x"), row.kind) << row.mount;
    systemFiles = nullptr;
  }
}

TEST(QelPathGetDriveKind, TakesAnOpticalDriveForRemovable) {
  const std::map<std::string, std::string> files = {
      {"/proc/self/mountinfo", "22 1 11:0 / / ro - iso9660 none ro\n"}};
  systemFiles = &files;
  EXPECT_EQ(qelPath_GetDriveKind("/x"), qelPathDriveRemovable);
  systemFiles = nullptr;
}

TEST(QelPathGetDriveKind, IsUnknownWithoutAMount) {
  const std::map<std::string, std::string> noTable;
  systemFiles = &noTable;
  EXPECT_EQ(qelPath_GetDriveKind("/x"), qelPathDriveUnknown);
  const std::map<std::string, std::string> noMount = {
      {"/proc/self/mountinfo", "22 1 8:1 / /no/such/place rw - ext4 none rw\n"}};
  systemFiles = &noMount;
  EXPECT_EQ(qelPath_GetDriveKind("/x"), qelPathDriveUnknown);
  systemFiles = nullptr;
}

// Whether the mount table names the root: a process in a changed root that is no mount has none.
static bool RootIsMounted() {
  std::ifstream table("/proc/self/mountinfo");
  std::string line;
  while (std::getline(table, line)) {
    std::istringstream fields(line);
    std::string field;
    for (int i = 0; i < 5; ++i)
      fields >> field;
    if (field == "/")
      return true;
  }
  return false;
}

TEST(QelPathGetDriveKind, KnowsTheRoot) {
  if (!RootIsMounted()) {
    EXPECT_EQ(qelPath_GetDriveKind("/"), 0);
    return;
  }
  EXPECT_NE(qelPath_GetDriveKind("/"), 0);
  EXPECT_NE(qelPath_GetDriveKind("/no/such/place"), 0);
}

} // namespace

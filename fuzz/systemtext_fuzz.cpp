// The texts of a POSIX system that the path layer reads: the desktop's list of folders and the mount
// table.

#include <cstring>

#include <fuzz/FuzzInput.h>
#include <qel/posix/qelMountTable.h>
#include <qel/posix/qelUserDirs.h>

static void CheckUserDirs(const char* text) {
  char* folder = qelUserDirs_Find(text, "XDG_MUSIC_DIR", "/home/u");
  if (folder != nullptr) {
    const size_t length = strlen(folder);
    FUZZ_CHECK(folder[0] == '/');
    FUZZ_CHECK(length == 1 || folder[length - 1] != '/');
    FUZZ_CHECK(strchr(folder, '\n') == nullptr);
  }
  free(folder);
}

static void CheckMountTable(const char* text, const char* path) {
  qelMount mount;
  if (!qelMountTable_Find(text, path, &mount))
    return;
  FUZZ_CHECK(strlen(mount.type) < sizeof mount.type);
  FUZZ_CHECK(strlen(mount.source) < sizeof mount.source);
  FUZZ_CHECK(!qelMountTable_IsRemote(&mount) || mount.type[0] != '\0');
  qelMountTable_IsInMemory(&mount);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  const std::vector<char> path = input.TakeText(input.TakeByte() % 32);
  const std::vector<char> text = input.TakeText();
  CheckUserDirs(text.data());
  CheckMountTable(text.data(), path.data());
  CheckMountTable(text.data(), "/media/My Disk/x");
  return 0;
}

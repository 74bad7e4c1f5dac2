#include <qel/posix/qelMountTable.h>

#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include <qel/core/qelMem.h>

namespace {

const char kTable[] =
    "22 1 8:2 / / rw,relatime shared:1 - ext4 /dev/sda2 rw\n"
    "23 22 0:21 / /proc rw - proc proc rw\n"
    "24 22 0:5 / /dev/shm rw shared:3 master:1 propagate_from:2 - tmpfs tmpfs rw\n"
    "25 22 0:44 / /mnt/nas rw,nosuid - nfs4 nas:/export rw,vers=4.2\n"
    "26 22 8:17 / /media/My\\040Disk rw - vfat /dev/sdb1 rw\n"
    "27 22 8:17 /sub /media/My\\040Disk/inner rw - ext3 /dev/sdc1 rw\n"
    "28 22 8:33 / /covered rw - ext2 /dev/sdd1 rw\n"
    "29 22 0:50 / /covered rw - cifs //srv/share rw\n"
    "30 22 0:51 / /back\\134slash rw - ext4 /dev/sde1 rw\n";

// The type of the mount that holds a path, or "(none)".
std::string TypeAt(const char* path, const char* table = kTable) {
  qelMount mount;
  return qelMountTable_Find(table, path, &mount) ? mount.type : "(none)";
}

TEST(QelMountTableFind, TakesTheLongestPlaceThatHoldsThePath) {
  const struct {
    const char* path;
    const char* type;
  } rows[] = {
      {"/", "ext4"},
      {"/home/u", "ext4"},
      {"/proc", "proc"},
      {"/proc/self", "proc"},
      {"/process", "ext4"},
      {"/dev", "ext4"},
      {"/dev/shm/x", "tmpfs"},
      {"/mnt", "ext4"},
      {"/mnt/nas/film.mpg", "nfs4"},
      {"/mnt/nas2", "ext4"},
      {"/media/My Disk", "vfat"},
      {"/media/My Disk/a", "vfat"},
      {"/media/My Disk/inner/a", "ext3"},
      {"/media/My\\040Disk", "ext4"},
      {"/back\\slash/a", "ext4"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(TypeAt(row.path), row.type) << row.path;
}

TEST(QelMountTableFind, TakesTheLastOfTwoThatCoverEachOther) {
  EXPECT_EQ(TypeAt("/covered/a"), "cifs");
}

TEST(QelMountTableFind, ReadsDeviceAndSource) {
  qelMount mount;
  ASSERT_EQ(qelMountTable_Find(kTable, "/media/My Disk/x", &mount), 1);
  EXPECT_EQ(mount.deviceMajor, 8u);
  EXPECT_EQ(mount.deviceMinor, 17u);
  EXPECT_STREQ(mount.type, "vfat");
  EXPECT_STREQ(mount.source, "/dev/sdb1");
}

TEST(QelMountTableFind, FindsNothingWithoutAMount) {
  EXPECT_EQ(TypeAt("/a", ""), "(none)");
  EXPECT_EQ(TypeAt("/a", "25 22 0:44 / /mnt/nas rw - nfs4 nas:/export rw\n"), "(none)");
}

TEST(QelMountTableFind, PassesOverLinesOfAnotherForm) {
  for (const char* line : {"22", "22 1 8:2", "22 1 8 / / rw - ext4 /dev/sda2 rw", "22 1 8:2 / /",
                           "22 1 8:2 / / rw shared:1", "22 1 8:2 / / rw -",
                           "22 1 8:2 / / rw - ext4", "x x x x x x x x x", "\n\n"})
    EXPECT_EQ(TypeAt("/a", line), "(none)") << line;
  // The next line is not taken for the rest of a broken one.
  EXPECT_EQ(TypeAt("/a", "22 1 8:2 / / rw\n23 1 8:2 / /b rw - ext4 x rw\n"), "(none)");
}

TEST(QelMountTableFind, StopsAtTheEndOfThePath) {
  const std::string line = "22 1 8:2 / /a\\000\\000\\000\\000 rw - ext4 /dev/sda2 rw\n";
  char* path = qelMem_StrDup("/a");
  EXPECT_EQ(TypeAt(path, line.c_str()), "(none)");
  free(path);
}

TEST(QelMountTableFind, CutsTextsThatAreTooLong) {
  const std::string line =
      "22 1 8:2 / / rw - " + std::string(500, 't') + " " + std::string(5000, 's') + " rw\n";
  qelMount mount;
  ASSERT_EQ(qelMountTable_Find(line.c_str(), "/a", &mount), 1);
  EXPECT_EQ(std::string(mount.type), std::string(sizeof mount.type - 1, 't'));
  EXPECT_EQ(std::string(mount.source), std::string(sizeof mount.source - 1, 's'));
}

qelMount MountOf(const char* type, const char* source) {
  qelMount mount = {};
  std::string(type).copy(mount.type, sizeof mount.type - 1);
  std::string(source).copy(mount.source, sizeof mount.source - 1);
  return mount;
}

TEST(QelMountTableIsRemote, KnowsTheFileSystemsOfANetwork) {
  for (const char* type : {"nfs", "nfs4", "cifs", "smb3", "fuse.sshfs", "9p", "ceph"}) {
    const qelMount mount = MountOf(type, "x");
    EXPECT_EQ(qelMountTable_IsRemote(&mount), 1) << type;
  }
  for (const char* type : {"ext4", "fuse", "fuseblk", "tmpfs", "nfsd", ""}) {
    const qelMount mount = MountOf(type, "x");
    EXPECT_EQ(qelMountTable_IsRemote(&mount), 0) << type;
  }
}

TEST(QelMountTableIsInMemory, KnowsFileSystemsAndDisksInMemory) {
  const struct {
    const char* type;
    const char* source;
    int isInMemory;
  } rows[] = {
      {"tmpfs", "tmpfs", 1},     {"ramfs", "none", 1},     {"ext4", "/dev/ram0", 1},
      {"ext4", "/dev/zram1", 1}, {"ext4", "/dev/sda1", 0}, {"overlay", "overlay", 0},
  };
  for (const auto& row : rows) {
    const qelMount mount = MountOf(row.type, row.source);
    EXPECT_EQ(qelMountTable_IsInMemory(&mount), row.isInMemory) << row.type << row.source;
  }
}

} // namespace

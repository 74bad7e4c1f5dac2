#ifndef QEL_POSIX_QELMOUNTTABLE_H
#define QEL_POSIX_QELMOUNTTABLE_H
//===----------------------------------------------------------------------===//
// Reader of the system's mount table, in the form of /proc/self/mountinfo. Pure
// text work; private to this folder.
//
//   36 35 8:17 / /media/My\040Disk rw,noatime shared:1 - vfat /dev/sdb1 rw
//            ^ device   ^ place, escaped in octal         ^ type  ^ source
//
// A line that has another form is passed over.
//===----------------------------------------------------------------------===//

struct qelMount {
  unsigned deviceMajor; // the device's number, 0 for a file system without a device
  unsigned deviceMinor; // its second half
  char type[64];        // the file system's type, cut to this size
  char source[256];     // what is mounted, such as "/dev/sdb1", cut to this size
};

// Finds the mount that an absolute path without ".", ".." and links lies on: the longest place
// wins, and of equal ones the last, which covers the others. Returns 1, or 0 if there is none.
int qelMountTable_Find(const char* table, const char* path, qelMount* mount);

// Whether the file system is reached over a network, or lives in memory.
int qelMountTable_IsRemote(const qelMount* mount);
int qelMountTable_IsInMemory(const qelMount* mount);

#endif

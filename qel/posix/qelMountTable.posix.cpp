#include <qel/posix/qelMountTable.h>

#include <cstddef>
#include <cstdio>
#include <cstring>

namespace {

// One blank-separated field of a line.
struct Field {
  const char* text;
  size_t length; // 0: the line has no such field
};

} // namespace

// The field at *p, which is moved behind it. Stays within the line.
static Field NextField(const char** p) {
  const char* text = *p + strspn(*p, " ");
  const size_t length = strcspn(text, " \n");
  *p = text + length;
  return {text, length};
}

static bool Is(Field field, const char* text) {
  return field.length == strlen(text) && memcmp(field.text, text, field.length) == 0;
}

static void CopyField(Field field, char* to, size_t size) {
  const size_t length = field.length < size ? field.length : size - 1;
  memcpy(to, field.text, length);
  to[length] = '\0';
}

static bool IsOctal(char c) {
  return c >= '0' && c <= '7';
}

// The byte at text[*at], an escape like \040 taken as one; *at is moved behind it.
static char UnescapedByte(Field field, size_t* at) {
  const char* p = field.text + *at;
  if (p[0] == '\\' && field.length - *at >= 4 && IsOctal(p[1]) && IsOctal(p[2]) && IsOctal(p[3])) {
    *at += 4;
    return static_cast<char>((p[1] - '0') * 64 + (p[2] - '0') * 8 + (p[3] - '0'));
  }
  *at += 1;
  return p[0];
}

// The length of a mount's place if path lies at or below it, otherwise 0. The root counts 1.
static size_t MatchedLength(Field place, const char* path) {
  size_t length = 0;
  for (size_t at = 0; at < place.length; ++length)
    if (path[length] == '\0' || UnescapedByte(place, &at) != path[length])
      return 0;
  const bool isRoot = length == 1 && path[0] == '/';
  return isRoot || path[length] == '/' || path[length] == '\0' ? length : 0;
}

// Reads the line at p into *mount. Returns the length of the path that its place covers, or 0.
static size_t ReadLine(const char* p, const char* path, qelMount* mount) {
  NextField(&p); // the mount's number
  NextField(&p); // its parent's
  char device[32];
  CopyField(NextField(&p), device, sizeof device);
  if (sscanf(device, "%u:%u", &mount->deviceMajor, &mount->deviceMinor) != 2)
    return 0;
  NextField(&p); // the part of the file system that is mounted
  const size_t matched = MatchedLength(NextField(&p), path);
  if (matched == 0)
    return 0;
  Field field = NextField(&p); // options, then any number of tags, then "-"
  while (field.length != 0 && !Is(field, "-"))
    field = NextField(&p);
  const Field type = NextField(&p);
  const Field source = NextField(&p);
  if (source.length == 0)
    return 0;
  CopyField(type, mount->type, sizeof mount->type);
  CopyField(source, mount->source, sizeof mount->source);
  return matched;
}

int qelMountTable_Find(const char* table, const char* path, qelMount* mount) {
  size_t longest = 0;
  for (const char* line = table; line != nullptr;) {
    qelMount candidate;
    const size_t matched = ReadLine(line, path, &candidate);
    if (matched != 0 && matched >= longest) {
      longest = matched;
      *mount = candidate;
    }
    line = strchr(line, '\n');
    line = line != nullptr ? line + 1 : nullptr;
  }
  return longest != 0 ? 1 : 0;
}

int qelMountTable_IsRemote(const qelMount* mount) {
  static const char* const types[] = {
      "9p",
      "afs",
      "ceph",
      "cifs",
      "coda",
      "fuse.ceph-fuse",
      "fuse.curlftpfs",
      "davfs",
      "fuse.davfs",
      "fuse.glusterfs",
      "fuse.gvfsd-fuse",
      "fuse.rclone",
      "fuse.s3fs",
      "fuse.sshfs",
      "glusterfs",
      "lustre",
      "ncpfs",
      "nfs",
      "nfs4",
      "orangefs",
      "smb3",
      "smbfs",
  };
  for (const char* type : types)
    if (strcmp(mount->type, type) == 0)
      return 1;
  return 0;
}

int qelMountTable_IsInMemory(const qelMount* mount) {
  return strcmp(mount->type, "tmpfs") == 0 || strcmp(mount->type, "ramfs") == 0 ||
                 strncmp(mount->source, "/dev/ram", 8) == 0 ||
                 strncmp(mount->source, "/dev/zram", 9) == 0
             ? 1
             : 0;
}

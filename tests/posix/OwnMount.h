#ifndef QEL_TESTS_POSIX_OWNMOUNT_H
#define QEL_TESTS_POSIX_OWNMOUNT_H
//===----------------------------------------------------------------------===//
// Plays a scene in a child process that has a file system in memory of its own,
// for media that are full or read-only.
//===----------------------------------------------------------------------===//

#include <string>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

inline bool WriteSetting(const char* name, const std::string& text) {
  const int fd = ::open(name, O_WRONLY | O_CLOEXEC);
  const bool isWritten =
      fd >= 0 && ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  ::close(fd);
  return isWritten;
}

// Gives this process mounts of its own; a user without privileges becomes root of them alone.
inline bool UnshareMounts() {
  if (::unshare(CLONE_NEWNS) == 0)
    return true;
  const std::string user = std::to_string(::geteuid());
  const std::string group = std::to_string(::getegid());
  return ::unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 &&
         WriteSetting("/proc/self/setgroups", "deny") &&
         WriteSetting("/proc/self/uid_map", "0 " + user + " 1") &&
         WriteSetting("/proc/self/gid_map", "0 " + group + " 1");
}

// Mounts a tmpfs with these options on the directory `root` and stores what scene(root) gives; all of
// it in a child process, so the result is copied as bytes. False if this process may not mount, or if
// the scene ended the child with a status.
template <class Result>
bool PlayOnOwnMount(const std::string& root, const char* options,
                    Result (*scene)(const std::string& root), Result* result) {
  int ends[2];
  if (::pipe(ends) != 0)
    return false;
  const pid_t child = ::fork();
  if (child == 0) {
    if (!UnshareMounts() || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("tmpfs", root.c_str(), "tmpfs", 0, options) != 0)
      _exit(1);
    const Result found = scene(root);
    _exit(::write(ends[1], &found, sizeof found) == sizeof found ? 0 : 2);
  }
  ::close(ends[1]);
  const bool isRead = ::read(ends[0], result, sizeof *result) == sizeof *result;
  ::close(ends[0]);
  int status = 0;
  return child > 0 && ::waitpid(child, &status, 0) == child && status == 0 && isRead;
}

#endif

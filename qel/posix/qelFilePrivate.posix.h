#ifndef QEL_POSIX_QELFILEPRIVATE_POSIX_H
#define QEL_POSIX_QELFILEPRIVATE_POSIX_H
//===----------------------------------------------------------------------===//
// What the POSIX sources of files and directories share.
//
// THREADS: any; no state.
//===----------------------------------------------------------------------===//

#include <cerrno>
#include <ctime>

// Calls until the call is not interrupted by a signal; the result of the last call. Not for close,
// which has released the descriptor by then.
template <class Call>
inline auto qelPosix_Retry(Call call) -> decltype(call()) {
  for (;;) {
    const auto result = call();
    if (result != -1 || errno != EINTR)
      return result;
  }
}

// The three stamps of a file.
struct qelPosixStamps {
  timespec access;
  timespec modification;
  timespec creation; // the modification stamp where the file system keeps no other
};

// Reads the stamps of what name leads to. Returns 0 or the system's error.
int qelPosix_GetStamps(const char* name, qelPosixStamps* stamps);

// True if a file of this name is hidden: it begins with "." and is not "." or "..".
bool qelPosix_IsHiddenName(const char* name);

#endif

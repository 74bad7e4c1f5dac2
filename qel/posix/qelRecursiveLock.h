#ifndef QEL_POSIX_QELRECURSIVELOCK_H
#define QEL_POSIX_QELRECURSIVELOCK_H
//===----------------------------------------------------------------------===//
// What the two recursive locks of this system share. Private to this folder.
//===----------------------------------------------------------------------===//

#include <pthread.h>

// Makes *lock a recursive lock that nobody holds. Returns 0 or the system's error number.
inline int qelRecursiveLock_Init(pthread_mutex_t* lock) {
  pthread_mutexattr_t attributes;
  int error = ::pthread_mutexattr_init(&attributes);
  if (error != 0)
    return error;
  error = ::pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  if (error == 0)
    error = ::pthread_mutex_init(lock, &attributes);
  ::pthread_mutexattr_destroy(&attributes);
  return error;
}

#endif

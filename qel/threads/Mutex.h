#ifndef QEL_THREADS_MUTEX_H
#define QEL_THREADS_MUTEX_H
//===----------------------------------------------------------------------===//
// qelMutex, the recursive lock of the library, and its scope locker.
//
// ERRORS: a lock that can't be made ends the process ("os:mutex").
// OWNERSHIP: a copy shares the system's record with its source and nothing counts
// the sharing, so only one of the two may be destroyed.
// THREADS: any.
//===----------------------------------------------------------------------===//

#include <qel/core/Export.h>

struct qelOSMutex;

class QEL_EXPORT qelMutex {
public:
  qelMutex();
  ~qelMutex();
  qelMutex(const qelMutex&) = default;
  qelMutex& operator=(const qelMutex&) = default;

  // Takes the lock, waiting without limit; the thread that holds it may take it again, and unlocks
  // as often. Returns 0.
  int Lock();

  // Gives back one hold. Returns 0.
  // REQUIRES: the calling thread holds the lock.
  int Unlock();

  // A place for checking builds to hook in; does nothing.
  void AssertLocked();

protected:
  friend class qelConditionExt;

  qelOSMutex* m_mutex; // the system's record
  int m_lockCount;     // holds at present, for diagnosis; written under the lock
};

// Holds a qelMutex during its own life.
// REQUIRES: the mutex is not null and outlives the locker.
class QEL_EXPORT qelMutexLocker {
public:
  explicit qelMutexLocker(qelMutex* mutex);
  ~qelMutexLocker();

private:
  qelMutex* m_mutex; // not owned
};

#endif

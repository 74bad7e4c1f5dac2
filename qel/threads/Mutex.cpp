#include <qel/threads/Mutex.h>

#include <qel/core/qelFatalError.h>
#include <qel/multiplatform/qelMutex.h>

qelMutex::qelMutex() : m_mutex(qelOSMutex_New()), m_lockCount(0) {
  if (m_mutex == nullptr)
    qelFatalError("os:mutex");
}

qelMutex::~qelMutex() {
  qelOSMutex_Delete(m_mutex);
}

int qelMutex::Lock() {
  const int result = qelOSMutex_Lock(m_mutex);
  if (result == 0)
    m_lockCount += 1;
  return result;
}

int qelMutex::Unlock() {
  // Ahead of the release, while the lock still guards the count.
  m_lockCount -= 1;
  const int result = qelOSMutex_Unlock(m_mutex);
  if (result != 0)
    m_lockCount += 1;
  return result;
}

void qelMutex::AssertLocked() {}

qelMutexLocker::qelMutexLocker(qelMutex* mutex) : m_mutex(mutex) {
  m_mutex->Lock();
}

qelMutexLocker::~qelMutexLocker() {
  m_mutex->Unlock();
}

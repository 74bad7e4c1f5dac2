#define QEL_LOG_MODULE 7
#define QEL_LOG_FILE "..\\..\\posix\\qelSemaphore.posix"

#include <qel/multiplatform/qelSemaphore.h>

#include <qel/core/Log.h>
#include <qel/posix/qelDeadline.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>

#include <semaphore.h>
#include <time.h>

// The system's semaphore has no maximum to set, so the count is kept beside it. A count under a mutex
// with a condition variable would need no second one, but condition variables of glibc below 2.41
// can lose a wake-up when several threads wait, and a wait without limit would then never end.
struct qelOSSemaphore {
  sem_t posts;            // what waits take
  std::atomic<int> count; // raised ahead of a post and lowered behind a wait; at most the maximum
};

// Prepares the record's fields. Returns 0 or the system's error number; then nothing is held.
static int Create(qelOSSemaphore* semaphore, int count) {
  if (count < 0 || count > qelOSSemaphoreMaxCount)
    return EINVAL;
  semaphore->count.store(count, std::memory_order_relaxed);
  return ::sem_init(&semaphore->posts, /*pshared=*/0, static_cast<unsigned>(count)) == 0 ? 0
                                                                                         : errno;
}

// Takes a post, waiting for it at most ms milliseconds. Returns 0, ETIMEDOUT or another error number
// of the system.
static int TakePost(sem_t* posts, qelULong ms) {
  if (::sem_trywait(posts) == 0)
    return 0;
  if (ms == 0)
    return errno == EAGAIN ? ETIMEDOUT : errno;
  const bool limited = ms != qelOSWaitForever;
  const timespec deadline = limited ? qelDeadline_After(ms) : timespec();
  int result = 0;
  do
    result = limited ? ::sem_clockwait(posts, CLOCK_MONOTONIC, &deadline) : ::sem_wait(posts);
  while (result != 0 && errno == EINTR);
  return result == 0 ? 0 : errno;
}

// Reserves a place for one more post. False at the maximum.
static bool ReservePost(qelOSSemaphore* semaphore) {
  int count = semaphore->count.load(std::memory_order_relaxed);
  do {
    if (count >= qelOSSemaphoreMaxCount)
      return false;
  } while (!semaphore->count.compare_exchange_weak(count, count + 1, std::memory_order_acq_rel,
                                                   std::memory_order_relaxed));
  return true;
}

// Life -------------------------------------------------------------------------

qelOSSemaphore* qelOSSemaphore_New(int count) {
  void* block = malloc(sizeof(qelOSSemaphore));
  qelOSSemaphore* semaphore = block != nullptr ? new (block) qelOSSemaphore : nullptr;
  if (semaphore == nullptr) {
    QEL_LOG(1, "qelOSSemaphore: Cannot allocate memory for a semaphore\n");
    return nullptr;
  }
  const int error = Create(semaphore, count);
  if (error != 0) {
    QEL_LOG(1, "qelOSSemaphore: CreateSemaphore failed (error = %ld)\n", static_cast<long>(error));
    free(semaphore);
    return nullptr;
  }
  return semaphore;
}

void qelOSSemaphore_Delete(qelOSSemaphore* semaphore) {
  if (semaphore == nullptr)
    return;
  if (::sem_destroy(&semaphore->posts) != 0) {
    const int error = errno;
    QEL_LOG(1, "qelOSSemaphore: CloseHandle failed (error = %ld)\n", static_cast<long>(error));
  }
  free(semaphore);
}

// Counting ---------------------------------------------------------------------

int qelOSSemaphore_Post(qelOSSemaphore* semaphore) {
  int error = EOVERFLOW;
  if (ReservePost(semaphore)) {
    // The last that is done with the record, for a waiter that is woken may delete it.
    if (::sem_post(&semaphore->posts) == 0)
      return 0;
    error = errno;
    semaphore->count.fetch_sub(1, std::memory_order_relaxed);
  }
  QEL_LOG(1, "qelOSSemaphore: ReleaseSemaphore failed (error = %ld)\n", static_cast<long>(error));
  return 2;
}

int qelOSSemaphore_Wait(qelOSSemaphore* semaphore) {
  return qelOSSemaphore_WaitTimeout(semaphore, qelOSWaitForever);
}

int qelOSSemaphore_WaitTimeout(qelOSSemaphore* semaphore, qelULong ms) {
  const int error = TakePost(&semaphore->posts, ms);
  if (error == 0) {
    semaphore->count.fetch_sub(1, std::memory_order_acq_rel);
    return 0;
  }
  if (error == ETIMEDOUT)
    return 1;
  QEL_LOG(1, "qelOSSemaphore: WaitForSingleObject(%lu) returned %ld (error = %ld)\n",
          static_cast<unsigned long>(ms), -1L, static_cast<long>(error));
  return 2;
}

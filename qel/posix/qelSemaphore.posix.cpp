#define QEL_LOG_MODULE 7
#define QEL_LOG_FILE "..\\..\\posix\\qelSemaphore.posix"

#include <qel/multiplatform/qelSemaphore.h>

#include <qel/core/Log.h>

#include <cerrno>
#include <cstdlib>

#include <pthread.h>
#include <time.h>

// The system's own semaphore knows neither this maximum nor, everywhere, the monotonic clock.
struct qelOSSemaphore {
  pthread_mutex_t lock;  // guards count
  pthread_cond_t raised; // on it waiters sleep; its clock is the monotonic one
  int count;             // 0 to qelOSSemaphoreMaxCount
};

// Prepares the condition variable. Returns 0 or the system's error number.
static int InitRaised(pthread_cond_t* raised) {
  pthread_condattr_t attributes;
  int error = ::pthread_condattr_init(&attributes);
  if (error != 0)
    return error;
  error = ::pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
  if (error == 0)
    error = ::pthread_cond_init(raised, &attributes);
  ::pthread_condattr_destroy(&attributes);
  return error;
}

// Prepares the record's fields. Returns 0 or the system's error number; then nothing is held.
static int Create(qelOSSemaphore* semaphore, int count) {
  if (count < 0 || count > qelOSSemaphoreMaxCount)
    return EINVAL;
  semaphore->count = count;
  int error = ::pthread_mutex_init(&semaphore->lock, nullptr);
  if (error != 0)
    return error;
  error = InitRaised(&semaphore->raised);
  if (error != 0)
    ::pthread_mutex_destroy(&semaphore->lock);
  return error;
}

// The moment that lies ms milliseconds ahead.
static timespec Deadline(qelULong ms) {
  timespec moment;
  ::clock_gettime(CLOCK_MONOTONIC, &moment);
  moment.tv_sec += static_cast<time_t>(ms / 1000);
  moment.tv_nsec += static_cast<long>(ms % 1000) * 1000000L;
  if (moment.tv_nsec >= 1000000000L) {
    moment.tv_nsec -= 1000000000L;
    moment.tv_sec += 1;
  }
  return moment;
}

// Sleeps, with the lock held, until the count is above 0, at most ms milliseconds. Returns 0,
// ETIMEDOUT or another error number of the system.
static int Sleep(qelOSSemaphore* semaphore, qelULong ms) {
  if (semaphore->count > 0)
    return 0;
  if (ms == 0)
    return ETIMEDOUT;
  const bool limited = ms != qelOSWaitForever;
  const timespec deadline = limited ? Deadline(ms) : timespec();
  int error = 0;
  while (semaphore->count == 0 && error == 0)
    error = limited ? ::pthread_cond_timedwait(&semaphore->raised, &semaphore->lock, &deadline)
                    : ::pthread_cond_wait(&semaphore->raised, &semaphore->lock);
  // A post that meets the end of the time counts: its wake-up went to nobody else.
  return semaphore->count > 0 ? 0 : error;
}

// Life -------------------------------------------------------------------------

qelOSSemaphore* qelOSSemaphore_New(int count) {
  qelOSSemaphore* semaphore = static_cast<qelOSSemaphore*>(malloc(sizeof(qelOSSemaphore)));
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
  ::pthread_cond_destroy(&semaphore->raised);
  const int error = ::pthread_mutex_destroy(&semaphore->lock);
  if (error != 0)
    QEL_LOG(1, "qelOSSemaphore: CloseHandle failed (error = %ld)\n", static_cast<long>(error));
  free(semaphore);
}

// Counting ---------------------------------------------------------------------

int qelOSSemaphore_Post(qelOSSemaphore* semaphore) {
  ::pthread_mutex_lock(&semaphore->lock);
  const int error = semaphore->count < qelOSSemaphoreMaxCount ? 0 : EOVERFLOW;
  if (error == 0) {
    semaphore->count += 1;
    // Inside the lock, so that a waiter that was woken may delete the semaphore.
    ::pthread_cond_signal(&semaphore->raised);
  }
  ::pthread_mutex_unlock(&semaphore->lock);
  if (error == 0)
    return 0;
  QEL_LOG(1, "qelOSSemaphore: ReleaseSemaphore failed (error = %ld)\n", static_cast<long>(error));
  return 2;
}

int qelOSSemaphore_Wait(qelOSSemaphore* semaphore) {
  return qelOSSemaphore_WaitTimeout(semaphore, qelOSWaitForever);
}

int qelOSSemaphore_WaitTimeout(qelOSSemaphore* semaphore, qelULong ms) {
  ::pthread_mutex_lock(&semaphore->lock);
  const int error = Sleep(semaphore, ms);
  if (error == 0)
    semaphore->count -= 1;
  ::pthread_mutex_unlock(&semaphore->lock);
  if (error == 0)
    return 0;
  if (error == ETIMEDOUT)
    return 1;
  QEL_LOG(1, "qelOSSemaphore: WaitForSingleObject(%lu) returned %ld (error = %ld)\n",
          static_cast<unsigned long>(ms), -1L, static_cast<long>(error));
  return 2;
}

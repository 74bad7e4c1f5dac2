#include <qel/multiplatform/qelCondition.h>

#include <qel/core/qelFatalError.h>

#include <climits>
#include <cstdlib>

// A wait on the waiters' semaphore. Returns 0 or 1; an error of the system ends the process, since
// nobody could tell any more how many posts are on their way.
static int AwaitPost(qelOSCondition* condition, qelULong ms) {
  const int result = ms != qelOSWaitForever ? qelOSSemaphore_WaitTimeout(condition->waitSem, ms)
                                            : qelOSSemaphore_Wait(condition->waitSem);
  if (result == 2)
    qelFatalError("os:condition: WaitTimeout returned an error");
  return result;
}

static void BeginWait(qelOSCondition* condition) {
  qelOSMutex_Lock(condition->lock);
  condition->waiting += 1;
  qelOSMutex_Unlock(condition->lock);
}

// Whether this waiter is the one to acknowledge: it was woken, or its time ran out while a signal
// was on its way and the post is still there. Another waiter may have taken that post and be
// waiting for `lock`, which is held here, so the timed-out one looks and never sleeps.
static bool TakesSignal(qelOSCondition* condition, int result) {
  if (condition->signals == 0)
    return false;
  return result == 0 || AwaitPost(condition, /*ms=*/0) == 0;
}

static void EndWait(qelOSCondition* condition, int result) {
  qelOSMutex_Lock(condition->lock);
  if (TakesSignal(condition, result)) {
    qelOSSemaphore_Post(condition->doneSem);
    condition->signals -= 1;
  }
  condition->waiting -= 1;
  qelOSMutex_Unlock(condition->lock);
}

// Hands out at most `limit` wake-ups to waiters that have none yet, and returns when as many have
// been acknowledged.
static void Wake(qelOSCondition* condition, int limit) {
  qelOSMutex_Lock(condition->lock);
  const int sleeping = condition->waiting - condition->signals;
  const int count = sleeping < limit ? sleeping : limit;
  condition->signals += count;
  for (int i = 0; i < count; ++i)
    qelOSSemaphore_Post(condition->waitSem);
  qelOSMutex_Unlock(condition->lock);
  for (int i = 0; i < count; ++i)
    qelOSSemaphore_Wait(condition->doneSem);
}

qelOSCondition* qelOSCondition_New() {
  qelOSCondition* condition = static_cast<qelOSCondition*>(malloc(sizeof(qelOSCondition)));
  if (condition == nullptr)
    return nullptr;
  condition->lock = qelOSMutex_New();
  condition->waitSem = qelOSSemaphore_New(/*count=*/0);
  condition->doneSem = qelOSSemaphore_New(/*count=*/0);
  condition->waiting = 0;
  condition->signals = 0;
  if (condition->lock == nullptr || condition->waitSem == nullptr ||
      condition->doneSem == nullptr) {
    qelOSCondition_Delete(condition);
    return nullptr;
  }
  return condition;
}

void qelOSCondition_Delete(qelOSCondition* condition) {
  if (condition == nullptr)
    return;
  qelOSSemaphore_Delete(condition->waitSem);
  qelOSSemaphore_Delete(condition->doneSem);
  qelOSMutex_Delete(condition->lock);
  free(condition);
}

int qelOSCondition_Signal(qelOSCondition* condition) {
  Wake(condition, /*limit=*/1);
  return 0;
}

int qelOSCondition_Broadcast(qelOSCondition* condition) {
  Wake(condition, /*limit=*/INT_MAX);
  return 0;
}

int qelOSCondition_Wait(qelOSCondition* condition, qelOSMutex* outer) {
  return qelOSCondition_WaitTimeout(condition, outer, qelOSWaitForever);
}

int qelOSCondition_WaitTimeout(qelOSCondition* condition, qelOSMutex* outer, qelULong ms) {
  BeginWait(condition);
  qelOSMutex_Unlock(outer);
  const int result = AwaitPost(condition, ms);
  EndWait(condition, result);
  qelOSMutex_Lock(outer);
  return result;
}

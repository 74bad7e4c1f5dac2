#define QEL_LOG_MODULE 7
#define QEL_LOG_FILE qelThread_LogFile

#include <qel/multiplatform/qelThread.h>

#include <qel/core/Log.h>
#include <qel/multiplatform/qelThreadBackend.h>

#include <cassert>
#include <cstdlib>
#include <new>

// The record with its start parameters, held by its owner and by the thread to come; or null.
static qelOSThread* NewRecord(const qelOSThread_Data* data) {
  void* block = malloc(sizeof(qelOSThread));
  qelOSThread* thread = block != nullptr ? new (block) qelOSThread : nullptr;
  if (thread == nullptr)
    return nullptr;
  const bool detached = data->detached == 1;
  thread->handle = nullptr;
  thread->entry = data->entry;
  thread->exitCallback = detached ? data->exitCallback : nullptr;
  thread->arg = data->arg;
  thread->state = qelOSThreadStateBuilding;
  thread->detached = detached ? qelOSThreadDetached : qelOSThreadJoinable;
  thread->holders = 2;
  thread->released = false;
  return thread;
}

// The bytes to ask of the back-end, 0 for the system's default.
static uint64_t StackBytes(uint64_t stackSize) {
  if (stackSize == qelOSThreadStackUsual)
    return qelOSThreadUsualStack;
  if (stackSize == qelOSThreadStackSystem)
    return 0;
  return stackSize > qelOSThreadSmallestStack ? stackSize : qelOSThreadSmallestStack;
}

// A holder lets go; the last one releases the record.
static void LetGo(qelOSThread* thread) {
  if (thread->holders.fetch_sub(1) > 1)
    return;
  if (thread->handle != nullptr) {
    const int error = qelThread_CloseHandle(thread->handle);
    if (error != 0)
      QEL_LOG(1, "qelOSThread: CloseHandle on Thread handle failed (error = %ld)\n",
              static_cast<long>(error));
  }
  thread->~qelOSThread();
  free(thread);
}

// A thread that was never let go would stand at its gate for ever: it runs out without its body, and
// tells nobody, since its owner is the one that ends it.
static void AbandonUnstarted(qelOSThread* thread) {
  if (thread->released.exchange(true))
    return;
  thread->state = qelOSThreadStateJoined;
  thread->exitCallback = nullptr;
  qelThread_ReleaseHandle(thread->handle);
}

// The callback often deletes the object that owns the record, and so comes back here by way of
// qelOSThread_Delete: it is taken out of the record ahead of its call, and the second pass only lets
// the owner's hold go.
static void TellOfTheEnd(qelOSThread* thread) {
  if (thread->detached != qelOSThreadDetachedEnded)
    return;
  const qelOSThread_Function callback = thread->exitCallback.exchange(nullptr);
  if (callback != nullptr)
    callback(thread->arg);
}

// The thread's side ------------------------------------------------------------

void qelThread_RunBody(qelOSThread* thread) {
  if (thread->state != qelOSThreadStateJoined)
    thread->entry(thread->arg);
}

void qelThread_End(qelOSThread* thread) {
  if (thread->detached == qelOSThreadDetached)
    thread->detached = qelOSThreadDetachedEnded;
  TellOfTheEnd(thread);
  LetGo(thread);
}

// The owner's side -------------------------------------------------------------

qelOSThread* qelOSThread_Create(const qelOSThread_Data* data) {
  qelOSThread* thread = NewRecord(data);
  if (thread == nullptr) {
    QEL_LOG(1, "qelOSThread: Cannot allocate memory for a thread\n");
    return nullptr;
  }
  const int error = qelThread_CreateHandle(thread, StackBytes(data->stackSize));
  if (error != 0) {
    QEL_LOG(1, "qelOSThread: Cannot create thread (error = %ld)\n", static_cast<long>(error));
    thread->~qelOSThread();
    free(thread);
    return nullptr;
  }
  thread->state = qelOSThreadStateCreated;
  return thread;
}

// The state is raised ahead of the release, since the record may be gone behind it; a thread joined
// already stays joined.
int qelOSThread_Start(qelOSThread* thread) {
  assert(thread != nullptr);
  int created = qelOSThreadStateCreated;
  const bool raised = thread->state.compare_exchange_strong(created, qelOSThreadStateStarted);
  const bool first = !thread->released.exchange(true);
  if (qelThread_ReleaseHandle(thread->handle))
    return 0;
  if (raised)
    thread->state = qelOSThreadStateCreated;
  if (first)
    thread->released = false;
  QEL_LOG(1, "qelOSThread: cannot start thread\n");
  return 1;
}

// INTENDED: a refused wait is logged, and the thread counts as joined all the same. An owner that
// waits for the end can do nothing else, and must not wait twice.
// Pinned by QelOSThreadFaults.JoinCountsAsJoinedWhenTheWaitFails.
int qelOSThread_Join(qelOSThread* thread) {
  if (thread == nullptr || thread->detached != qelOSThreadJoinable)
    return 1;
  if (thread->state == qelOSThreadStateJoined)
    return 0;
  if (thread->state != qelOSThreadStateCreated) {
    int error = 0;
    const int result = qelThread_WaitHandle(thread->handle, &error);
    if (result != 0)
      QEL_LOG(1, "qelOSThread: Failed to join a thread (error = %ld, errorcode = %ld)\n",
              static_cast<long>(result), static_cast<long>(error));
  }
  thread->state = qelOSThreadStateJoined;
  return 0;
}

void qelOSThread_Delete(qelOSThread* thread) {
  if (thread == nullptr)
    return;
  AbandonUnstarted(thread);
  TellOfTheEnd(thread);
  LetGo(thread);
}

// Priority ---------------------------------------------------------------------

// INTENDED: a priority above 100 is the normal one. One out of range never raises a thread.
// Pinned by QelOSThreadSetPriority.FallsOnFiveLevels.
static int LevelOf(unsigned short priority) {
  if (priority > 100)
    return 0;
  if (priority <= 20)
    return -2;
  return (priority - 1) / 20 - 2;
}

int qelOSThread_SetPriority(qelOSThread* thread, unsigned short priority) {
  const int level = LevelOf(priority);
  const int error = qelThread_SetLevel(thread->handle, level);
  if (error == 0)
    return 0;
  QEL_LOG(1, "qelOSThread: Cannot set thread priority to %d for thread %p (error = %ld)\n", level,
          static_cast<void*>(thread), static_cast<long>(error));
  return 1;
}

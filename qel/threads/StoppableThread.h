#ifndef QEL_THREADS_STOPPABLETHREAD_H
#define QEL_THREADS_STOPPABLETHREAD_H
//===----------------------------------------------------------------------===//
// qelStoppableThread: base of classes that run a thread. A subclass overrides
// OnRun and lets its owner go through the life of the thread:
//
//   owner                     state            thread
//   ThreadCreate              0 to 1           suspended
//   Go                        1 to 2           released
//                             2 to 3           Entry, then OnRun
//   ThreadCancel              to 5             OnRun sees TestExit and returns
//                             to 6 (kind 1: 7) Entry
//   ThreadWaitTerminate       to 7             has ended
//   destructor
//
// Stopping is always cooperative: OnRun polls TestExit, and nothing is ever
// killed.
//
// ERRORS: ThreadCreate gives -1; it and ThreadWaitTerminate write level-1 lines of
// module 44.
// OWNERSHIP: kind 0: the owner joins the thread ahead of the destructor. Other
// kinds are detached; with a positive kind the thread deletes the object in the
// end. A copy shares name and thread with its source, so only one of the two may
// be destroyed.
// THREADS: the owner's, but for Entry, OnRun and TestExit, which are the thread's.
// State and cancellation are atomic and may be looked at from any.
//===----------------------------------------------------------------------===//

#include <atomic>

#include <qel/core/Export.h>

struct qelOSThread;
struct qelOSThread_Data;

class QEL_EXPORT qelStoppableThread {
public:
  // An empty name and kind 0.
  qelStoppableThread();

  // Copies the name, which a debugger will see.
  qelStoppableThread(const char* name, int kind);

  qelStoppableThread(const qelStoppableThread& other);
  qelStoppableThread& operator=(const qelStoppableThread& other);

  // Neither cancels nor joins: the owner has ended the thread before.
  virtual ~qelStoppableThread();

  // Lets the thread run, and returns once the state is at least minState, at which it looks every 10
  // milliseconds: Go(3) returns when the thread is running, Go(0) at once. A failed release is not
  // seen; a minState above 2 is then never reached.
  // REQUIRES: ThreadCreate has succeeded.
  virtual void Go(int minState);

  // 0 not created, 1 created, 2 released, 3 running, 4 free for a subclass's OnRun, 5 asked to stop,
  // 6 OnRun has returned, 7 finished.
  int GetThreadState() const;
  int GetThreadKind() const;

  // Sleeps; -1 is for ever.
  static void ThreadSleep(int ms);

protected:
  // Whether OnRun shall return: the thread is cancelled, or its state is 5 or more. Raises the state
  // of a cancelled thread to 5.
  virtual bool TestExit();

  // What the thread does. Empty here.
  virtual void OnRun();

  // Asks the thread to stop. A thread not yet released can't be cancelled: nothing happens.
  virtual void ThreadCancel();

  // Fills in the start parameters; an override may then choose another stack size.
  virtual void ThreadSetData(qelOSThread_Data* data);

  // Makes the thread, suspended. Returns 0, or -1 after a log line; then the state stays 0.
  int ThreadCreate();

  // Waits without limit for the end of a released thread; a detached one is not waited for, which is
  // logged. The state is 7 afterwards, also of a thread never released. The second time there is
  // nothing to wait for; where no thread was ever made, that is logged.
  void ThreadWaitTerminate();

  // 0 to 100; see qelOSThread_SetPriority. A failure stands in the log only.
  // REQUIRES: ThreadCreate has succeeded.
  void ThreadSetPriority(unsigned short priority);

  // Always false: no thread identity is kept.
  bool InThreadContext();

private:
  // Runs on the new thread: its name, the state 3, OnRun, the last state. Returns 0.
  virtual int Entry();

  static void RunEntry(void* self);
  static void DeleteSelf(void* self);
  void RaiseToStop();

protected:
  int m_kind;                    // 0 joinable, others detached; a positive one deletes itself
  std::atomic<int> m_state;      // as GetThreadState says
  char* m_name;                  // a private copy
  qelOSThread* m_thread;         // null until ThreadCreate
  std::atomic<bool> m_cancelled; // ThreadCancel was called, for good
};

#endif

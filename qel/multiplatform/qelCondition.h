#ifndef QEL_MULTIPLATFORM_QELCONDITION_H
#define QEL_MULTIPLATFORM_QELCONDITION_H
//===----------------------------------------------------------------------===//
// A condition without a state of its own, made of one recursive lock and two
// counting semaphores, so that a system needs to supply no more than those.
//
// A signal with nobody waiting leaves no trace. A signal with somebody waiting
// returns only when one waiter has acknowledged it:
//
//   signaller                        waiter (holds outer)
//                                    waiting + 1, outer unlocked
//   signals + 1, post waitSem  --->  wait on waitSem
//   wait on doneSem            <---  post doneSem, signals - 1, waiting - 1
//                                    outer locked again
//
// A waiter acknowledges before it takes the outer lock back, so a signaller may
// hold that lock.
//
// INVARIANTS: signals never exceeds waiting. The outer lock is taken first, then
// `lock`, and `lock` is never held across a wait.
// OWNERSHIP: a record belongs to whoever made it and is released with
// qelOSCondition_Delete, when no thread is inside one of its functions.
// THREADS: any.
//===----------------------------------------------------------------------===//

#include <qel/core/Types.h>
#include <qel/multiplatform/qelMutex.h>
#include <qel/multiplatform/qelSemaphore.h>

struct qelOSCondition {
  qelOSMutex* lock;        // guards the two counters
  qelOSSemaphore* waitSem; // on it waiters sleep
  qelOSSemaphore* doneSem; // by it a woken waiter acknowledges
  int waiting;             // threads inside a wait
  int signals;             // wake-ups handed out and not yet acknowledged
};

// A new condition, or null; what a part of it logged stands in the log.
qelOSCondition* qelOSCondition_New();

// Releases the condition. Null is ignored.
void qelOSCondition_Delete(qelOSCondition* condition);

// Wakes one waiter, if there is one that has not been woken yet, and returns when a waiter has
// acknowledged. Returns 0.
int qelOSCondition_Signal(qelOSCondition* condition);

// The same for all waiters at once. Returns 0.
int qelOSCondition_Broadcast(qelOSCondition* condition);

// Unlocks outer, waits for a signal without limit and locks outer again. Returns 0. An error of the
// system ends the process.
// REQUIRES: the calling thread holds outer, exactly once.
int qelOSCondition_Wait(qelOSCondition* condition, qelOSMutex* outer);

// The same for at most ms milliseconds; 0xFFFFFFFF is no limit. Returns 0, or 1 when the time ran
// out. A waiter whose time runs out while a signal is on its way may acknowledge that signal, and
// returns 1 all the same.
int qelOSCondition_WaitTimeout(qelOSCondition* condition, qelOSMutex* outer, qelULong ms);

#endif

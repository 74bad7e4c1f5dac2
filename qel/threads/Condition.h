#ifndef QEL_THREADS_CONDITION_H
#define QEL_THREADS_CONDITION_H
//===----------------------------------------------------------------------===//
// Two conditions with a flag, so that a signal that comes first is not lost:
// qelCondition brings its own lock, qelConditionExt works with the caller's.
//
// The flag is looked at before a wait only: a woken thread does not look again.
// A signal wakes one of the threads that sleep, also in manual-reset mode, and
// returns when a waiter has acknowledged it.
//
// ERRORS: a part that can't be made ends the process ("os:condition",
// "os:mutex"), and so does an error of the system during a wait. Waits give 0
// signalled, 1 timed out.
// OWNERSHIP: a copy shares the system's records with its source and nothing
// counts the sharing, so only one of the two may be destroyed.
//===----------------------------------------------------------------------===//

#include <qel/core/Export.h>
#include <qel/core/Types.h>

class qelMutex;
struct qelOSCondition;
struct qelOSMutex;

// THREADS: any.
class QEL_EXPORT qelCondition {
public:
  // Auto-reset and not signalled.
  qelCondition();
  qelCondition(bool manualReset, bool initialState);
  ~qelCondition();
  qelCondition(const qelCondition&) = default;
  qelCondition& operator=(const qelCondition&) = default;

  // Passes at once if the flag is set, otherwise waits for a signal without limit. In auto-reset
  // mode the flag is then clear. Returns 0.
  int Wait();

  // The same for at most ms milliseconds; 0xFFFFFFFF is no limit. Returns 0, or 1 when the time ran
  // out. In auto-reset mode the flag is clear also after a time-out.
  int WaitTimeout(qelULong ms);

  // Sets the flag and wakes one waiter. Returns 0.
  int Signal();

  // Clears the flag. Returns 0.
  int Reset();

protected:
  qelOSCondition* m_condition; // where threads sleep
  qelOSMutex* m_mutex;         // guards the flag; its own
  bool m_signalled;            // the state flag
  bool m_manualReset;          // waits leave the flag alone
};

// Always auto-reset, and clear at first.
// THREADS: any thread that holds the mutex, exactly once, around each call. The mutex's own count
// of holds does not see that a wait releases it.
class QEL_EXPORT qelConditionExt {
public:
  // Works with the caller's mutex, and deletes it in the end if ownsMutex is set. A null mutex ends
  // the process: none is made here.
  qelConditionExt(qelMutex* mutex, bool ownsMutex);
  ~qelConditionExt();
  qelConditionExt(const qelConditionExt&) = default;
  qelConditionExt& operator=(const qelConditionExt&) = default;

  // As for qelCondition; the flag is clear afterwards in every case.
  int Wait();
  int WaitTimeout(qelULong ms);

  // Sets the flag and wakes one waiter; takes no lock. Returns 0.
  int Signal();

protected:
  qelOSCondition* m_condition; // where threads sleep
  qelMutex* m_mutex;           // the caller's, or owned
  bool m_signalled;            // the state flag
  bool m_ownsMutex;            // the destructor deletes the mutex
};

#endif

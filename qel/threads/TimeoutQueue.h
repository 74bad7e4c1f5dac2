#ifndef QEL_THREADS_TIMEOUTQUEUE_H
#define QEL_THREADS_TIMEOUTQUEUE_H
//===----------------------------------------------------------------------===//
// qelTimeoutQueue keeps timeouts in the order in which they expire.
//
//        +--------------------------------------------------+
//        v                                                  |
//   queue's links <-> timeout <-> timeout <-> timeout <-----+
//                     expires first
//
// The queue has no thread and no clock: it is asked. Its owner looks at
// FirstExpiringTimeout to know how long it may sleep, and calls
// HandleExpiredTimeouts when it wakes.
//
// The order is that of rising Remaining as it was measured at each insertion. An
// element is in one queue at most, and an expired one stays until it is taken off.
//
// COST: TimeoutStart is linear in the queue; all else constant. Nothing is
// allocated.
// OWNERSHIP: elements are embedded in their owners. The end of a queue does not
// touch them: they are cancelled or ended first.
// ERRORS: none.
// THREADS: a queue and its elements belong to one thread.
//===----------------------------------------------------------------------===//

#include <qel/core/Export.h>
#include <qel/core/Types.h>

class qelTimeout;

class QEL_EXPORT qelTimeoutQueue {
public:
  // Base of what stands in a circular list, and by itself the list's own end of the circle.
  struct Links {
    Links* m_next; // the following element, or the list; null: in no list
    Links* m_prev; // the preceding element, or the list; null: in no list
  };

  // Empty.
  qelTimeoutQueue();

  // INTENDED: the copy's two links are the original's, so it is no queue of its own: its walk ends at
  // the original, and even the copy of an empty queue does not close its circle. A member-wise copy
  // is what the class promises. Pinned by qelTimeoutQueueCopy.TakesTheLinksOfTheOriginal.
  qelTimeoutQueue(const qelTimeoutQueue&) = default;
  qelTimeoutQueue& operator=(const qelTimeoutQueue&) = default;

  virtual ~qelTimeoutQueue();

  // Starts the timeout now and puts it at its place, behind those that expire at the same moment;
  // one that is in a queue already is moved. The clock is read anew for each comparison.
  void TimeoutStart(qelTimeout* t, qelULong ms);

  // Takes the timeout out of its queue, which need not be this one; nothing if it is in none.
  void TimeoutCancel(qelTimeout* t);

  // The first element, null in an empty queue.
  virtual qelTimeout* FirstExpiringTimeout();

  // Calls OnTimeouts once if the timeout that FirstExpiringTimeout gives has expired.
  void HandleExpiredTimeouts();

private:
  // Something has expired. Takes the expired elements off by FirstExpiringTimeout, IsExpired and
  // TimeoutCancel, or restarts them; for those that stay, the next HandleExpiredTimeouts calls again.
  virtual void OnTimeouts() = 0;

  Links m_links; // m_next is the first element, m_prev the last; empty: both are m_links itself
};

#endif

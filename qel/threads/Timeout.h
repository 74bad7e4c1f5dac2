#ifndef QEL_THREADS_TIMEOUT_H
#define QEL_THREADS_TIMEOUT_H
//===----------------------------------------------------------------------===//
// qelTimeout, a stopwatch on the system's 32-bit millisecond tick, and an element
// of a qelTimeoutQueue.
//
// The tick wraps around every 49.7 days. A single wrap does no harm, but nothing
// remembers that a timeout has expired: one that is forgotten for a whole period
// of the tick counts down again.
//
// OWNERSHIP: the end of a timeout takes it out of its queue. A copy takes all
// fields over, the links too, and so claims a place in a queue that it does not
// have: only timeouts that are in no queue are copied.
// ERRORS: none.
// THREADS: one at a time, the thread of its queue.
//===----------------------------------------------------------------------===//

#include <qel/core/Export.h>
#include <qel/core/Types.h>
#include <qel/threads/TimeoutQueue.h>

class QEL_EXPORT qelTimeout : private qelTimeoutQueue::Links {
public:
  // In no queue. How much remains is undefined before the first start.
  qelTimeout();

  // INTENDED: the copy of an element takes the original's neighbours for its own, and its end joins
  // them past the original. A member-wise copy is what the class promises. Pinned by
  // qelTimeoutCopy.TakesTheOriginalOutOfTheWalkAtItsEnd.
  qelTimeout(const qelTimeout&) = default;
  qelTimeout& operator=(const qelTimeout&) = default;

  virtual ~qelTimeout();

  // Starts now, for ms milliseconds.
  // INTENDED: an element that is in a queue keeps its place there, be it wrong from now on; only
  // qelTimeoutQueue::TimeoutStart sorts. Pinned by qelTimeoutStart.LeavesThePlaceInTheQueue.
  void Start(qelULong ms);

  // Milliseconds until the timeout expires; 0 if it has.
  qelULong Remaining() const;

  // Whether nothing remains.
  bool IsExpired() const { return Remaining() == 0; }

protected:
  // Milliseconds since the system's start, the low 32 bits.
  static qelULong GetSysMSTickCount();

private:
  friend class qelTimeoutQueue;

  qelULong m_startTick; // tick at the start
  qelULong m_duration;  // in milliseconds
};

#endif

#ifndef QEL_THREADS_SEMAPHORE_H
#define QEL_THREADS_SEMAPHORE_H
//===----------------------------------------------------------------------===//
// qelSemaphore, a counting semaphore whose count stays within 0 and 32768.
//
// ERRORS: one that can't be made, as with an initial count out of that range, ends
// the process ("os:semaphore"). Otherwise 0 done, 1 timed out, 2 an error of the
// system, after a level-1 log line.
// OWNERSHIP: a copy shares the system's record with its source and nothing counts
// the sharing, so only one of the two may be destroyed.
// THREADS: any.
//===----------------------------------------------------------------------===//

#include <qel/core/Export.h>
#include <qel/core/Types.h>

struct qelOSSemaphore;

class QEL_EXPORT qelSemaphore {
public:
  explicit qelSemaphore(int count = 1);
  ~qelSemaphore();
  qelSemaphore(const qelSemaphore&) = default;
  qelSemaphore& operator=(const qelSemaphore&) = default;

  // Adds 1 to the count. Returns 0, or 2 when the count stands at 32768 already.
  int Post();

  // Waits without limit until the count is above 0 and takes 1 off it. Returns 0 or 2.
  int Wait();

  // The same for at most ms milliseconds; 0 only looks, 0xFFFFFFFF is no limit. Returns 0, 1 or 2.
  int WaitTimeout(qelULong ms);

protected:
  qelOSSemaphore* m_semaphore; // the system's record
};

#endif

#ifndef QEL_MULTIPLATFORM_QELSEMAPHORE_H
#define QEL_MULTIPLATFORM_QELSEMAPHORE_H
//===----------------------------------------------------------------------===//
// A counting semaphore whose count stays within 0 and 32768.
//
// OWNERSHIP: a record belongs to whoever made it and is released with
// qelOSSemaphore_Delete, when no thread waits on it.
// ERRORS: 0 done, 1 timed out, 2 an error of the system, after a level-1 log
// line that carries the system's error number.
// THREADS: any.
//===----------------------------------------------------------------------===//

#include <qel/core/Types.h>

struct qelOSSemaphore;

// The highest count of every semaphore.
constexpr int qelOSSemaphoreMaxCount = 32768;

// The time limit that means none.
constexpr qelULong qelOSWaitForever = 0xFFFFFFFFu;

// A new semaphore with an initial count, or null after a log line. A count outside 0 to 32768
// fails.
qelOSSemaphore* qelOSSemaphore_New(int count);

// Releases the semaphore and its record. Null is ignored; an error of the system is logged, and the
// record is released all the same.
void qelOSSemaphore_Delete(qelOSSemaphore* semaphore);

// Adds 1 to the count. Returns 0, or 2 when the count stands at 32768 already.
int qelOSSemaphore_Post(qelOSSemaphore* semaphore);

// Waits without limit until the count is above 0 and takes 1 off it. Returns 0 or 2.
int qelOSSemaphore_Wait(qelOSSemaphore* semaphore);

// The same for at most ms milliseconds: 0 only looks, 0xFFFFFFFF is no limit.
// Returns 0 when it took 1 off the count, 1 when the time ran out, 2 on an error.
// POSIX: the time is that of the monotonic clock.
int qelOSSemaphore_WaitTimeout(qelOSSemaphore* semaphore, qelULong ms);

#endif

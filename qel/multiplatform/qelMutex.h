#ifndef QEL_MULTIPLATFORM_QELMUTEX_H
#define QEL_MULTIPLATFORM_QELMUTEX_H
//===----------------------------------------------------------------------===//
// The recursive lock of a system, with a note of who took it last.
//
// OWNERSHIP: a record belongs to whoever made it and is released with
// qelOSMutex_Delete, when no thread holds it or waits for it.
// ERRORS: only qelOSMutex_New can fail; locking always succeeds.
// THREADS: any.
//===----------------------------------------------------------------------===//

struct qelOSMutex;

// A new lock that nobody holds, or null after a level-1 log line.
qelOSMutex* qelOSMutex_New();

// Releases the lock and its record. Null is ignored.
void qelOSMutex_Delete(qelOSMutex* mutex);

// Takes the lock, waiting for it without limit; the thread that holds it may take it again.
// Returns 0.
int qelOSMutex_Lock(qelOSMutex* mutex);

// Gives back one hold. Returns 0.
// REQUIRES: the calling thread holds the lock.
int qelOSMutex_Unlock(qelOSMutex* mutex);

// 1 if the calling thread took the lock last and nothing has been unlocked since, otherwise 0. A
// diagnosis only: the inner unlock of a nested hold makes it 0 as well.
int qelOSMutex_IsOwner(const qelOSMutex* mutex);

#endif

#ifndef QEL_MULTIPLATFORM_QELCRITICALSECTION_H
#define QEL_MULTIPLATFORM_QELCRITICALSECTION_H
//===----------------------------------------------------------------------===//
// The recursive lock of a system and nothing else: qelOSMutex without an owner.
//
// OWNERSHIP: a record belongs to whoever made it and is released with
// qelOSCriticalSection_Delete, when no thread is inside or waits to enter.
// ERRORS: only qelOSCriticalSection_New can fail.
// THREADS: any.
//===----------------------------------------------------------------------===//

struct qelOSCriticalSection;

// A new critical section with nobody inside, or null after a level-1 log line.
qelOSCriticalSection* qelOSCriticalSection_New();

// Releases the record. Null is ignored.
void qelOSCriticalSection_Delete(qelOSCriticalSection* section);

// Enters, waiting without limit; the thread inside may enter again. Returns 0.
int qelOSCriticalSection_Enter(qelOSCriticalSection* section);

// Takes back one entry. Returns 0.
// REQUIRES: the calling thread is inside.
int qelOSCriticalSection_Leave(qelOSCriticalSection* section);

#endif

#ifndef QEL_MULTIPLATFORM_QELTHREADBACKEND_H
#define QEL_MULTIPLATFORM_QELTHREADBACKEND_H
//===----------------------------------------------------------------------===//
// What the portable half of qelThread needs of its back-end, besides the
// functions of qelThread.h, and what the back-end's threads run. Private to the
// two halves.
//
// ERRORS: 0, or the system's error number.
//===----------------------------------------------------------------------===//

#include <cstdint>

struct qelOSThread;

// The file literal of the back-end's log lines. The portable half logs under it, so that one module
// has one name in the log.
extern const char* const qelThread_LogFile;

// Makes a suspended thread that runs qelThread_RunBody, then qelThread_End, and sets the record's
// handle. stackSize is in bytes, 0 for the system's default.
int qelThread_CreateHandle(qelOSThread* thread, uint64_t stackSize);

// Lets a suspended thread go. False if it was not suspended, or can't be let go.
bool qelThread_ReleaseHandle(void* handle);

// Waits without limit until the thread has ended. Returns the wait's result, 0 when it has ended;
// *error is the system's error number.
int qelThread_WaitHandle(void* handle, int* error);

// Lets the handle go; the thread itself goes on.
int qelThread_CloseHandle(void* handle);

// Sets the priority to a level of -2 to 2.
int qelThread_SetLevel(void* handle, int level);

// The first that a thread does after its release: the body, unless the record is joined already.
void qelThread_RunBody(qelOSThread* thread);

// The last that a thread does: it lets its record go.
void qelThread_End(qelOSThread* thread);

#endif

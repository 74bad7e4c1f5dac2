#ifndef QEL_MULTIPLATFORM_QELTHREAD_H
#define QEL_MULTIPLATFORM_QELTHREAD_H
//===----------------------------------------------------------------------===//
// Threads of the system: made suspended, released once, joined or detached.
//
//   qelOSThread_Create   1 created and suspended
//   qelOSThread_Start    2 started: the body may run
//   qelOSThread_Join     3 joined: the body has ended, or will never run
//
// No code of the body runs ahead of qelOSThread_Start. Nothing ever ends a thread
// by force.
//
// ERRORS: 0 or 1, as each function says; what the system refuses writes a level-1
// line of module 7.
// OWNERSHIP: a record has two holders, its owner and its thread, and the last of
// them releases it. The owner lets go with qelOSThread_Delete, also of a detached
// thread; the thread does when its body has ended.
// THREADS: Sleep and SetName any. The rest belongs to the owner; one thread at a
// time may join.
//===----------------------------------------------------------------------===//

#include <atomic>
#include <cstdint>

#include <qel/core/Types.h>

// A thread's body, or what is called when a detached thread has ended.
typedef void (*qelOSThread_Function)(void* arg);

// Values of qelOSThread_Data::stackSize that are no size.
constexpr uint64_t qelOSThreadStackUsual = 0;  // qelOSThreadUsualStack bytes
constexpr uint64_t qelOSThreadStackSystem = 1; // as many as the system gives by default

constexpr uint64_t qelOSThreadUsualStack = 0x20000;    // bytes
constexpr uint64_t qelOSThreadSmallestStack = 0x10000; // bytes; a smaller size is raised to it

// qelOSThread::state.
constexpr int qelOSThreadStateBuilding = 0; // being built
constexpr int qelOSThreadStateCreated = 1;  // created and suspended
constexpr int qelOSThreadStateStarted = 2;  // started
constexpr int qelOSThreadStateJoined = 3;   // joined

// qelOSThread::detached.
constexpr int qelOSThreadJoinable = 0;      // its owner joins it
constexpr int qelOSThreadDetached = 1;      // nobody joins it
constexpr int qelOSThreadDetachedEnded = 2; // the same, and its body has ended

// The start parameters.
struct qelOSThread_Data {
  qelOSThread_Function entry;        // the body
  qelOSThread_Function exitCallback; // called when a detached thread has ended; null for none
  void* arg;                         // the argument of both
  uint64_t stackSize;                // bytes, or one of the two values above
  uint32_t detached;                 // 1 for a detached thread
  uint32_t reserved;                 // nothing reads it
};

// What is shared by a thread and its owner.
struct qelOSThread {
  void* handle;               // Windows: the thread's handle. POSIX: a block of the back-end
  qelOSThread_Function entry; // the body
  std::atomic<qelOSThread_Function>
      exitCallback;           // of a detached thread; null for none, and once called
  void* arg;                  // the argument of both
  std::atomic<int> state;     // qelOSThreadState...
  std::atomic<int> detached;  // qelOSThreadJoinable...
  std::atomic<int> holders;   // its owner and its thread; the last one releases it
  std::atomic<bool> released; // the thread was let go, to run its body or to run out without it
};

// A new thread, suspended, or null after a log line. When this returns the thread has its identity:
// a priority may be set ahead of its start.
// Windows: a size is a reservation.
// POSIX: what the system and the program's thread-local objects need comes on top of a size.
qelOSThread* qelOSThread_Create(const qelOSThread_Data* data);

// Lets the thread run its body. Returns 0, or 1 after a log line: it was started already, or the
// system refuses. A record joined ahead of its start never runs its body: its thread runs out.
// This does not touch the record once the thread is let go.
int qelOSThread_Start(qelOSThread* thread);

// Waits without limit until the thread has ended. Returns 0, also when the system refuses the wait,
// which is logged; 1, at once, for a detached thread and for null. A thread joined already gives 0 at
// once. One never started counts as joined from then on, without a wait.
// REQUIRES: the caller is not the thread itself.
int qelOSThread_Join(qelOSThread* thread);

// The owner's farewell; null is ignored. A thread never started runs out without its body. One that
// still runs goes on, and keeps the record until its end.
void qelOSThread_Delete(qelOSThread* thread);

// Sleeps for ms milliseconds; 0xFFFFFFFF is for ever.
// POSIX: the time is that of the monotonic clock.
void qelOSThread_Sleep(qelULong ms);

// Names the calling thread for a debugger; null is the empty name.
// POSIX: the first 15 bytes; the system shows them as well.
void qelOSThread_SetName(const char* name);

// Sets the priority, 0 to 100, which falls on one of five levels; above 100 is the normal level.
// Returns 0, or 1 after a log line: the system refuses.
// Windows: the level -2 to 2 of the thread. POSIX: its nice value, 10, 5, 0, -5, -10; an ordinary user
// may be refused a lower one than before, and a thread that has ended is refused.
int qelOSThread_SetPriority(qelOSThread* thread, unsigned short priority);

#endif

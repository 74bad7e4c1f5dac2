#define QEL_LOG_MODULE 44
#define QEL_LOG_FILE "..\\..\\StoppableThread"

#include <qel/threads/StoppableThread.h>

#include <qel/core/Log.h>
#include <qel/core/qelMem.h>
#include <qel/multiplatform/qelThread.h>

#include <cstdlib>
#include <cstring>

// The states that this class enters.
static constexpr int kStateNone = 0;
static constexpr int kStateCreated = 1;
static constexpr int kStateReleased = 2;
static constexpr int kStateRunning = 3;
static constexpr int kStateStopping = 5;
static constexpr int kStateReturned = 6;
static constexpr int kStateFinished = 7;

// Life -------------------------------------------------------------------------

qelStoppableThread::qelStoppableThread() : qelStoppableThread("", /*kind=*/0) {}

qelStoppableThread::qelStoppableThread(const char* name, int kind)
    : m_kind(kind), m_state(kStateNone), m_name(qelMem_StrDup(name != nullptr ? name : "")),
      m_thread(nullptr), m_cancelled(false) {}

qelStoppableThread::qelStoppableThread(const qelStoppableThread& other)
    : m_kind(other.m_kind), m_state(other.m_state.load()), m_name(other.m_name),
      m_thread(other.m_thread), m_cancelled(other.m_cancelled.load()) {}

qelStoppableThread& qelStoppableThread::operator=(const qelStoppableThread& other) {
  m_kind = other.m_kind;
  m_state = other.m_state.load();
  m_name = other.m_name;
  m_thread = other.m_thread;
  m_cancelled = other.m_cancelled.load();
  return *this;
}

qelStoppableThread::~qelStoppableThread() {
  qelOSThread_Delete(m_thread);
  free(m_name);
}

// The owner's side -------------------------------------------------------------

int qelStoppableThread::ThreadCreate() {
  qelOSThread_Data data;
  ThreadSetData(&data);
  m_thread = qelOSThread_Create(&data);
  if (m_thread == nullptr) {
    QEL_LOG(1, "Cannot create thread '%s'\n", m_name);
    return -1;
  }
  m_state = kStateCreated;
  return 0;
}

void qelStoppableThread::ThreadSetData(qelOSThread_Data* data) {
  memset(data, 0, sizeof(*data));
  data->entry = &qelStoppableThread::RunEntry;
  data->exitCallback = m_kind > 0 ? &qelStoppableThread::DeleteSelf : nullptr;
  data->arg = this;
  data->stackSize = qelOSThreadStackUsual;
  data->detached = m_kind != 0 ? 1 : 0;
}

// The state is 2 ahead of the release, so that the thread's own 3 comes later. It is not looked at
// when it can't be below minState: an object that deletes itself may be gone by then.
void qelStoppableThread::Go(int minState) {
  m_state = kStateReleased;
  qelOSThread_Start(m_thread);
  if (minState <= kStateReleased)
    return;
  while (m_state < minState)
    qelOSThread_Sleep(/*ms=*/10);
}

void qelStoppableThread::ThreadCancel() {
  if (m_state < kStateReleased)
    return;
  m_cancelled = true;
  RaiseToStop();
}

void qelStoppableThread::ThreadWaitTerminate() {
  if (m_state >= kStateReleased) {
    const int result = qelOSThread_Join(m_thread);
    if (result != 0)
      QEL_LOG(1, "Error waiting termination of thread '%s' (Error = %d)\n", m_name, result);
  }
  m_state = kStateFinished;
}

void qelStoppableThread::ThreadSetPriority(unsigned short priority) {
  qelOSThread_SetPriority(m_thread, priority);
}

int qelStoppableThread::GetThreadState() const {
  return m_state;
}

int qelStoppableThread::GetThreadKind() const {
  return m_kind;
}

// INTENDED: false on the thread itself too. No thread identity is kept.
// Pinned by QelStoppableThreadInThreadContext.IsAlwaysFalse.
bool qelStoppableThread::InThreadContext() {
  return false;
}

void qelStoppableThread::ThreadSleep(int ms) {
  qelOSThread_Sleep(static_cast<qelULong>(ms));
}

// The thread's side ------------------------------------------------------------

void qelStoppableThread::RunEntry(void* self) {
  static_cast<qelStoppableThread*>(self)->Entry();
}

void qelStoppableThread::DeleteSelf(void* self) {
  delete static_cast<qelStoppableThread*>(self);
}

// INTENDED: 3 is written also over the 5 of an early cancel. The cancellation itself is kept, and
// the first TestExit raises the state again.
// Pinned by QelStoppableThreadEntry.WritesThreeAlsoAfterAnEarlyCancel.
// INTENDED: kind 1 alone ends in 7; other detached threads end in 6, as joinable ones do.
// Pinned by QelStoppableThreadEntry.EndsInSevenForKindOneAlone.
int qelStoppableThread::Entry() {
  qelOSThread_SetName(m_name);
  m_state = kStateRunning;
  OnRun();
  m_state = m_kind == 1 ? kStateFinished : kStateReturned;
  return 0;
}

void qelStoppableThread::OnRun() {}

bool qelStoppableThread::TestExit() {
  if (!m_cancelled)
    return m_state >= kStateStopping;
  RaiseToStop();
  return true;
}

// Owner and thread both come here, while the thread may be about to say that it has ended: what is
// above 5 is never overwritten.
void qelStoppableThread::RaiseToStop() {
  int state = m_state;
  while (state < kStateStopping && !m_state.compare_exchange_weak(state, kStateStopping)) {
  }
}

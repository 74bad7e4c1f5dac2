#define QEL_LOG_MODULE 25
#define QEL_LOG_FILE "..\\..\\Select"

#include <qel/threads/Select.h>

#include <atomic>
#include <thread>
#include <utility>

#include <qel/core/Log.h>
#include <qel/multiplatform/qelSocket.h>
#include <qel/multiplatform/qelSocketSelect.h>

namespace {

// Guards the pointers of all objects for the moment in which a thread takes hold of a record or takes
// the pointer away: between the two, the record could be released. The object itself has room for
// nothing but its pointer, and the moment is a few instructions long.
class PointerLock {
public:
  PointerLock() {
    while (s_isTaken.test_and_set(std::memory_order_acquire))
      std::this_thread::yield();
  }
  ~PointerLock() { s_isTaken.clear(std::memory_order_release); }
  PointerLock(const PointerLock&) = delete;
  PointerLock& operator=(const PointerLock&) = delete;

private:
  static std::atomic_flag s_isTaken;
};

std::atomic_flag PointerLock::s_isTaken = ATOMIC_FLAG_INIT;

} // namespace

// The record with one holder more, or null.
static qelSocketSelect* Hold(qelSocketSelect* const& pointer) {
  const PointerLock lock;
  if (pointer != nullptr)
    qelSocketSelect_Retain(pointer);
  return pointer;
}

// Takes the record away from its object.
static qelSocketSelect* Exchange(qelSocketSelect*& pointer, qelSocketSelect* next) {
  const PointerLock lock;
  return std::exchange(pointer, next);
}

qelSelect::~qelSelect() {
  Terminate();
}

int qelSelect::Setup() {
  qelSocketSelect* const select = qelSocketSelect_New();
  if (select == nullptr) {
    QEL_LOG(1, "Failed to create qelSocketSelect object\n");
    return -1;
  }
  qelSocketSelect_Delete(Exchange(m_select, select));
  return 0;
}

int qelSelect::Select(fd_set* read, fd_set* write, fd_set* except, int nfds, timeval* timeout,
                      bool* signalled) {
  int isSignalled = 0;
  int result = -1;
  if (qelSocketSelect* const select = Hold(m_select)) {
    result = qelSocketSelect_Select(select, read, write, except, nfds, timeout, &isSignalled);
    // The last one out closes the sockets, which clears the last error.
    const int error = qelSocket_GetLastError();
    qelSocketSelect_Delete(select);
    qelSocket_SetLastError(error);
  }
  if (signalled != nullptr)
    *signalled = isSignalled != 0;
  return result;
}

void qelSelect::Signal() {
  if (qelSocketSelect* const select = Hold(m_select)) {
    qelSocketSelect_Trigger(select);
    qelSocketSelect_Delete(select);
  }
}

void qelSelect::Terminate() {
  qelSocketSelect* const select = Exchange(m_select, nullptr);
  if (select == nullptr)
    return;
  qelSocketSelect_Trigger(select);
  qelSocketSelect_Delete(select);
}

#include "Interrupt.h"

#include <utility>

#include "Platform.h"

namespace mediaquery {

Interrupt::Interrupt() : qelStoppableThread("mediaquery interrupt", /*kind=*/0) {}

Interrupt::~Interrupt() {
  if (!m_started)
    return;
  EndWaitForInterrupt();
  ThreadWaitTerminate();
}

bool Interrupt::Start() {
  if (!CatchInterrupts() || ThreadCreate() != 0)
    return false;
  m_started = true;
  Go(/*minState=*/0);
  return true;
}

void Interrupt::SetWaker(std::function<void()> waker) {
  qelMutexLocker locker(&m_mutex);
  m_waker = std::move(waker);
  if (m_requested && m_waker)
    m_waker();
}

void Interrupt::OnRun() {
  // The second interrupt ends the program, so this goes on once at most.
  while (WaitForInterrupt()) {
    qelMutexLocker locker(&m_mutex);
    m_requested = true;
    if (m_waker)
      m_waker();
  }
}

} // namespace mediaquery

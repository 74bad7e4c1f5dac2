#ifndef EXAMPLES_MEDIAQUERY_INTERRUPT_H
#define EXAMPLES_MEDIAQUERY_INTERRUPT_H
//===----------------------------------------------------------------------===//
// Ctrl-C, or a request to end the program, as a flag that work polls and a call
// that ends what blocks. The system's own notice allows nearly nothing; so a thread
// waits for it, and what it calls may lock, signal and close as it likes.
//
// THREADS: IsRequested from any, the rest is the owner's.
//===----------------------------------------------------------------------===//

#include <atomic>
#include <functional>

#include <qel/threads/Mutex.h>
#include <qel/threads/StoppableThread.h>

namespace mediaquery {

// At most one at a time.
class Interrupt : private qelStoppableThread {
public:
  Interrupt();
  ~Interrupt() override;
  Interrupt(const Interrupt&) = delete;
  Interrupt& operator=(const Interrupt&) = delete;

  // Begins to wait. False: interrupts are as they were.
  bool Start();

  bool IsRequested() const { return m_requested; }

  // Chooses what is called when the interrupt comes, on another thread, or at once if it has come; an
  // empty one is nothing. A call that is under way has returned afterwards.
  void SetWaker(std::function<void()> waker);

private:
  void OnRun() override;

  std::atomic<bool> m_requested{false};
  bool m_started = false;
  qelMutex m_mutex; // guards m_waker and its calls
  std::function<void()> m_waker;
};

} // namespace mediaquery

#endif

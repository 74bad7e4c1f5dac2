#ifndef QEL_TESTS_SUPPORT_GATE_H
#define QEL_TESTS_SUPPORT_GATE_H
//===----------------------------------------------------------------------===//
// Meeting points of threads, so that no test has to sleep to be right.
//===----------------------------------------------------------------------===//

#include <condition_variable>
#include <mutex>
#include <thread>

#include <qel/multiplatform/qelCondition.h>

// Returns once ready() holds, giving the processor away meanwhile.
template <typename Ready>
void AwaitThat(Ready ready) {
  while (!ready())
    std::this_thread::yield();
}

// Lets `count` threads go on together, any number of times.
class Gate {
public:
  explicit Gate(int count) : m_count(count) {}
  void Pass() {
    std::unique_lock<std::mutex> lock(m_mutex);
    const int round = m_round;
    if (++m_arrived == m_count) {
      m_arrived = 0;
      m_round += 1;
      m_opened.notify_all();
      return;
    }
    m_opened.wait(lock, [&] { return m_round != round; });
  }

private:
  const int m_count;
  std::mutex m_mutex;
  std::condition_variable m_opened;
  int m_arrived = 0;
  int m_round = 0;
};

// The threads inside a wait on the condition.
inline int WaitingOn(qelOSCondition* condition) {
  qelOSMutex_Lock(condition->lock);
  const int waiting = condition->waiting;
  qelOSMutex_Unlock(condition->lock);
  return waiting;
}

#endif

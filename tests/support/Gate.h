#ifndef QEL_TESTS_SUPPORT_GATE_H
#define QEL_TESTS_SUPPORT_GATE_H
//===----------------------------------------------------------------------===//
// Meeting points of threads, so that no test has to sleep to be right.
//===----------------------------------------------------------------------===//

#include <atomic>
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
    const int round = m_round.load();
    if (m_arrived.fetch_add(1) + 1 == m_count) {
      m_arrived.store(0);
      m_round.fetch_add(1);
      return;
    }
    AwaitThat([&] { return m_round.load() != round; });
  }

private:
  const int m_count;
  std::atomic<int> m_arrived{0};
  std::atomic<int> m_round{0};
};

// The threads inside a wait on the condition.
inline int WaitingOn(qelOSCondition* condition) {
  qelOSMutex_Lock(condition->lock);
  const int waiting = condition->waiting;
  qelOSMutex_Unlock(condition->lock);
  return waiting;
}

#endif

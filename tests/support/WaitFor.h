#ifndef QEL_TESTS_SUPPORT_WAITFOR_H
#define QEL_TESTS_SUPPORT_WAITFOR_H
//===----------------------------------------------------------------------===//
// Waits for what another process must bring about.
//===----------------------------------------------------------------------===//

#include <chrono>
#include <thread>

// False if it has not come about within a minute.
template <class Condition>
inline bool WaitFor(Condition condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end)
      return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

#endif

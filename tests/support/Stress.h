#ifndef QEL_TESTS_SUPPORT_STRESS_H
#define QEL_TESTS_SUPPORT_STRESS_H
//===----------------------------------------------------------------------===//
// How often a stress test plays its scene. Such tests belong to suites whose
// names end in "Stress", so that a soak can pick them out.
//===----------------------------------------------------------------------===//

#include <cstdlib>

// 200, or what the environment variable QEL_STRESS_ROUNDS says.
inline int StressRounds() {
  const char* rounds = std::getenv("QEL_STRESS_ROUNDS");
  const int count = rounds != nullptr ? std::atoi(rounds) : 0;
  return count > 0 ? count : 200;
}

#endif

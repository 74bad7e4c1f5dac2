#ifndef QEL_TESTS_SUPPORT_CLOCK_H
#define QEL_TESTS_SUPPORT_CLOCK_H
//===----------------------------------------------------------------------===//
// A clock and a tick count that stand still until they are set. One at a time.
//===----------------------------------------------------------------------===//

#include <cstdint>

#include <qel/multiplatform/qelTime.h>
#include <qel/multiplatform/qelTimeSystem.h>

class ScopedClock {
public:
  explicit ScopedClock(int32_t seconds, int32_t microseconds = 0) {
    Set(seconds, microseconds);
    qelTime_SetClockForTest([](qeltimeval* now) { *now = Now(); });
  }
  ~ScopedClock() { qelTime_SetClockForTest(nullptr); }
  ScopedClock(const ScopedClock&) = delete;
  ScopedClock& operator=(const ScopedClock&) = delete;

  void Set(int32_t seconds, int32_t microseconds = 0) { Now() = {seconds, microseconds}; }

private:
  static qeltimeval& Now() {
    static qeltimeval now;
    return now;
  }
};

class ScopedTickCount {
public:
  explicit ScopedTickCount(uint32_t tick) {
    Set(tick);
    qelTime_SetTickCountForTest([] { return Tick(); });
  }
  ~ScopedTickCount() { qelTime_SetTickCountForTest(nullptr); }
  ScopedTickCount(const ScopedTickCount&) = delete;
  ScopedTickCount& operator=(const ScopedTickCount&) = delete;

  void Set(uint32_t tick) { Tick() = tick; }

private:
  static uint32_t& Tick() {
    static uint32_t tick;
    return tick;
  }
};

#endif

#ifndef QEL_POSIX_QELDEADLINE_H
#define QEL_POSIX_QELDEADLINE_H
//===----------------------------------------------------------------------===//
// When a wait or a sleep ends. Private to this folder.
//===----------------------------------------------------------------------===//

#include <time.h>

#include <qel/core/Types.h>

// The moment of the monotonic clock that lies ms milliseconds ahead.
inline timespec qelDeadline_After(qelULong ms) {
  timespec moment;
  ::clock_gettime(CLOCK_MONOTONIC, &moment);
  moment.tv_sec += static_cast<time_t>(ms / 1000);
  moment.tv_nsec += static_cast<long>(ms % 1000) * 1000000L;
  if (moment.tv_nsec >= 1000000000L) {
    moment.tv_nsec -= 1000000000L;
    moment.tv_sec += 1;
  }
  return moment;
}

#endif

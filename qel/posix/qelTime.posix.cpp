#include <qel/multiplatform/qelTime.h>

#include <qel/multiplatform/qelTimeSystem.h>

#include <ctime>

#include <time.h>

// Clocks -------------------------------------------------------------------------

void qelTimeSystem_GetTimeOfDay(qeltimeval* tv) {
  struct timespec now;
  ::clock_gettime(CLOCK_REALTIME, &now);
  tv->seconds = static_cast<int32_t>(static_cast<uint32_t>(now.tv_sec));
  tv->microseconds = static_cast<int32_t>(now.tv_nsec / 1000);
}

uint32_t qelTimeSystem_GetTickCount() {
  struct timespec now;
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint32_t>(static_cast<uint64_t>(now.tv_sec) * 1000u +
                               static_cast<uint64_t>(now.tv_nsec / 1000000));
}

// Calendar -----------------------------------------------------------------------

int64_t qelTimeSystem_MakeTime(struct tm* fields) {
  return ::mktime(fields);
}

int qelTimeSystem_LocalTime(int64_t moment, struct tm* out) {
  const time_t seconds = moment;
  ::tzset(); // the reentrant form need not look at TZ by itself
  return ::localtime_r(&seconds, out) != nullptr ? 0 : -1;
}

int qelTimeSystem_GMTime(int64_t moment, struct tm* out) {
  const time_t seconds = moment;
  return ::gmtime_r(&seconds, out) != nullptr ? 0 : -1;
}

// Zones --------------------------------------------------------------------------

int qelTime_GetTimeZone(qeltimeval* tv) {
  tv->seconds = 0;
  tv->microseconds = 0;
  const int32_t now = qelTime_Get(nullptr);
  struct tm local = {};
  if (now < 0 || qelTimeSystem_LocalTime(now, &local) != 0)
    return -1;
  const long standard = local.tm_isdst > 0 ? -::timezone : local.tm_gmtoff;
  tv->seconds = static_cast<int32_t>(standard / 60);
  tv->microseconds = static_cast<int32_t>((local.tm_gmtoff - standard) / 60);
  return 0;
}

// The system's stamp is in UTC already, and a way through local fields would lose an hour where the
// clocks are put back. The calendar's limits hold all the same.
int qelTime_FromFileTime(const void* filetime, qeltimeval* tv) {
  const struct timespec* stamp = static_cast<const struct timespec*>(filetime);
  struct tm local = {};
  if (stamp->tv_sec < 0 || qelTimeSystem_LocalTime(stamp->tv_sec, &local) != 0)
    return -1;
  const int32_t seconds = static_cast<int32_t>(static_cast<uint32_t>(stamp->tv_sec));
  if (seconds == -1 || local.tm_year < 1970 - 1900 || local.tm_year > 3000 - 1900)
    return -1;
  tv->seconds = seconds;
  tv->microseconds = static_cast<int32_t>(stamp->tv_nsec / 1000000 * 1000);
  return 0;
}

#include <qel/multiplatform/qelTime.h>

#include <qel/multiplatform/qelTimeSystem.h>

#include <ctime>

#include <windows.h>

// Clocks -------------------------------------------------------------------------

// The system counts 100 ns from 1601; this is its count at the start of 1970.
static const uint64_t kTicksAt1970 = 116444736000000000u;

void qelTimeSystem_GetTimeOfDay(qeltimeval* tv) {
  FILETIME now;
  ::GetSystemTimeAsFileTime(&now);
  const uint64_t ticks = static_cast<uint64_t>(now.dwHighDateTime) << 32 | now.dwLowDateTime;
  const uint64_t micros = (ticks - kTicksAt1970) / 10;
  tv->seconds = static_cast<int32_t>(static_cast<uint32_t>(micros / 1000000));
  tv->microseconds = static_cast<int32_t>(micros % 1000000);
}

uint32_t qelTimeSystem_GetTickCount() {
  return ::GetTickCount();
}

// Calendar -----------------------------------------------------------------------

int64_t qelTimeSystem_MakeTime(struct tm* fields) {
  return ::_mktime64(fields);
}

int qelTimeSystem_LocalTime(int64_t moment, struct tm* out) {
  const __time64_t seconds = moment;
  const struct tm* local = ::_localtime64(&seconds); // storage of the thread
  if (local == nullptr)
    return -1;
  *out = *local;
  return 0;
}

int qelTimeSystem_GMTime(int64_t moment, struct tm* out) {
  const __time64_t seconds = moment;
  const struct tm* utc = ::_gmtime64(&seconds); // storage of the thread
  if (utc == nullptr)
    return -1;
  *out = *utc;
  return 0;
}

// Zones --------------------------------------------------------------------------

int qelTime_GetTimeZone(qeltimeval* tv) {
  tv->seconds = 0;
  tv->microseconds = 0;
  TIME_ZONE_INFORMATION zone;
  const DWORD season = ::GetTimeZoneInformation(&zone);
  tv->seconds = static_cast<int32_t>(-zone.Bias);
  if (season == TIME_ZONE_ID_STANDARD)
    tv->seconds -= static_cast<int32_t>(zone.StandardBias);
  else if (season == TIME_ZONE_ID_DAYLIGHT)
    tv->microseconds = static_cast<int32_t>(-zone.DaylightBias);
  else
    return -1;
  return 0;
}

int qelTime_FromFileTime(const void* filetime, qeltimeval* tv) {
  FILETIME local;
  SYSTEMTIME broken;
  if (!::FileTimeToLocalFileTime(static_cast<const FILETIME*>(filetime), &local) ||
      !::FileTimeToSystemTime(&local, &broken))
    return -1;
  qeltm fields = {};
  fields.sec = broken.wSecond;
  fields.min = broken.wMinute;
  fields.hour = broken.wHour;
  fields.mday = broken.wDay;
  fields.mon = broken.wMonth - 1;
  fields.year = broken.wYear - 1900;
  fields.isdst = -1;
  const int32_t seconds = qelTime_MakeTime(&fields);
  if (seconds == -1)
    return -1;
  tv->seconds = seconds;
  tv->microseconds = broken.wMilliseconds * 1000;
  return 0;
}

#ifndef QEL_MULTIPLATFORM_QELTIME_H
#define QEL_MULTIPLATFORM_QELTIME_H
//===----------------------------------------------------------------------===//
// The system's clocks and calendar, and arithmetic on times of seconds and
// microseconds.
//
// A time counts from 1970-01-01 00:00:00 UTC in 32 bits. On every system the
// calendar refuses moments before that, and local years below 1970 or above 3000.
//
// ERRORS: told by the result; only qelTime_GetLocalTimeMS logs.
// THREADS: any, no lock; the time zone may not be changed meanwhile.
//===----------------------------------------------------------------------===//

#include <cstdint>

#include <qel/core/Types.h>

class qeluint64;

struct qeltimeval {
  int32_t seconds;      // since 1970-01-01 00:00:00 UTC
  int32_t microseconds; // 0 to 999999
};

// The order of the fields is not that of the runtime library's tm.
struct qeltm {
  int32_t sec;   // 0 to 59
  int32_t min;   // 0 to 59
  int32_t hour;  // 0 to 23
  int32_t mday;  // day of the month, from 1
  int32_t mon;   // 0 for January
  int32_t year;  // since 1900
  int32_t isdst; // daylight saving: above 0 in effect, 0 not, -1 unknown
  int32_t wday;  // 0 for Sunday
  int32_t yday;  // day of the year, from 0
  int32_t msec;  // milliseconds
};

// Clocks -------------------------------------------------------------------------

// The system clock, to the microsecond. A null argument does nothing.
void qelTime_GetTimeOfDay(qeltimeval* tv);

// The seconds of the system clock, stored if the argument is not null, and returned.
int32_t qelTime_Get(int32_t* seconds);

// The system clock in milliseconds since 1970. An overflow, which a clock past January 2038 causes,
// is logged, and the result is what the arithmetic gives modulo 2^64.
void qelTime_GetLocalTimeMS(qeluint64* out);

// Milliseconds since the system's start, the low 32 bits; wraps around every 49.7 days.
uint32_t qelTime_GetTickCount();

// Calendar -----------------------------------------------------------------------

// The moment of local fields, which may be out of range and are carried over; wday and yday are not
// read. On success the normalised fields are written back, but for msec, which is neither read nor
// written. Returns the low 32 bits of the moment; -1 on failure, with the fields as they were.
int32_t qelTime_MakeTime(qeltm* fields);

// The local fields of a moment; msec becomes 0. Returns out, or null if the moment is before 1970;
// out is then untouched.
qeltm* qelTime_LocalTime(const int32_t* seconds, qeltm* out);

// The same in UTC; msec is left alone.
qeltm* qelTime_GMTime(const int32_t* seconds, qeltm* out);

// Arithmetic ---------------------------------------------------------------------

// 1 if a is earlier than b, else 0.
int qelTime_IsBefore(const qeltimeval* a, const qeltimeval* b);

// 1 if a is later than b, -1 if it is earlier, 0 if they are equal.
int qelTime_Compare(const qeltimeval* a, const qeltimeval* b);

// a - b, with microseconds from 0 up to 1000000: (1 s, 0) - (1 s, 500000) is (-1 s, 500000).
// Returns 1 if a is before b, else 0. b is changed on the way: seconds and microseconds are
// carried, so it stays the same time.
int qelTime_Subtract(qeltimeval* result, const qeltimeval* a, qeltimeval* b);

// Adds milliseconds and normalises the microseconds. Returns the seconds that were added, with the
// carry.
int32_t qelTime_AddMS(qeltimeval* tv, uint32_t ms);

// Now and ms milliseconds.
void qelTime_SetFromNow(qeltimeval* tv, uint32_t ms);

// Milliseconds from now until tv, the low 32 bits; 0 if tv is past.
uint32_t qelTime_RemainingMS(const qeltimeval* tv);

// Text and zones -----------------------------------------------------------------

// The current time as "Sun, 06 Nov 1994 08:49:37 GMT", in a new text that the caller frees.
char* qelTime_FormatHTTPDate();

// The local zone now. Despite the names of the fields the values are minutes: seconds holds the
// standard offset east of UTC, microseconds what daylight saving adds to it at present, 0 in
// standard time. Returns 0, or -1 if the system does not tell which of the two holds; microseconds
// is then 0.
// Windows: a zone without daylight saving gives -1.
// POSIX: a zone without daylight saving counts as standard time.
int qelTime_GetTimeZone(qeltimeval* tv);

// A file's time stamp, to the millisecond. Returns 0, or -1 if the calendar refuses it; tv is then
// untouched.
// Windows: `filetime` is a FILETIME, made local by the zone's present offset and read back in its
// own season, so a stamp of the other season is an hour off.
// POSIX: `filetime` is a timespec, and the moment stays what it is.
int qelTime_FromFileTime(const void* filetime, qeltimeval* tv);

#endif

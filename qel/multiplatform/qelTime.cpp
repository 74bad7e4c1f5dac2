#define QEL_LOG_MODULE 58
#define QEL_LOG_FILE "..\\..\\qelTime"

#include <qel/multiplatform/qelTime.h>

#include <atomic>
#include <ctime>

#include <trio.h>

#include <qel/multiplatform/qelTimeSystem.h>

#include <qel/core/Log.h>
#include <qel/core/UInt64.h>
#include <qel/core/qelULongLong.h>

static const int64_t kMicrosPerSecond = 1000000;
static const int64_t kMicrosPerMilli = 1000;

static std::atomic<void (*)(qeltimeval*)> s_clockForTest{nullptr};
static std::atomic<uint32_t (*)()> s_tickForTest{nullptr};

// The fields of a time have 32 bits and wrap around.
static int32_t Low32(int64_t value) {
  return static_cast<int32_t>(static_cast<uint32_t>(value));
}

// All but msec, which the runtime library does not know.
static void FromSystem(const struct tm& system, qeltm* fields) {
  fields->sec = system.tm_sec;
  fields->min = system.tm_min;
  fields->hour = system.tm_hour;
  fields->mday = system.tm_mday;
  fields->mon = system.tm_mon;
  fields->year = system.tm_year;
  fields->isdst = system.tm_isdst;
  fields->wday = system.tm_wday;
  fields->yday = system.tm_yday;
}

static struct tm ToSystem(const qeltm& fields) {
  struct tm system = {};
  system.tm_sec = fields.sec;
  system.tm_min = fields.min;
  system.tm_hour = fields.hour;
  system.tm_mday = fields.mday;
  system.tm_mon = fields.mon;
  system.tm_year = fields.year;
  system.tm_isdst = fields.isdst;
  return system;
}

// Clocks -------------------------------------------------------------------------

void qelTime_GetTimeOfDay(qeltimeval* tv) {
  if (tv == nullptr)
    return;
  if (auto clock = s_clockForTest.load(std::memory_order_relaxed))
    clock(tv);
  else
    qelTimeSystem_GetTimeOfDay(tv);
}

int32_t qelTime_Get(int32_t* seconds) {
  qeltimeval now;
  qelTime_GetTimeOfDay(&now);
  if (seconds != nullptr)
    *seconds = now.seconds;
  return now.seconds;
}

void qelTime_GetLocalTimeMS(qeluint64* out) {
  qeltimeval now;
  qelTime_GetTimeOfDay(&now);
  const qelULongLong thousand = {1000, 0};
  qelULongLong ms = qeluint64(now.seconds).ToULongLong();
  if (qelULongLong_Mul(&ms, &thousand) != 0)
    QEL_LOG(1, "qelTime: qelTime_GetLocalTimeMS overflow 1\n");
  if (qelULongLong_AddU32(&ms, static_cast<uint32_t>(now.microseconds / kMicrosPerMilli)) != 0)
    QEL_LOG(1, "qelTime: qelTime_GetLocalTimeMS overflow 2\n");
  *out = qeluint64(ms);
}

uint32_t qelTime_GetTickCount() {
  if (auto tick = s_tickForTest.load(std::memory_order_relaxed))
    return tick();
  return qelTimeSystem_GetTickCount();
}

// Calendar -----------------------------------------------------------------------

int32_t qelTime_MakeTime(qeltm* fields) {
  struct tm local = ToSystem(*fields);
  const int64_t moment = qelTimeSystem_MakeTime(&local);
  const int64_t year = int64_t(local.tm_year) + 1900;
  // West of Greenwich the year 1969 has moments that are not negative.
  if (moment < 0 || year < 1970 || year > 3000)
    return -1;
  FromSystem(local, fields);
  return Low32(moment);
}

qeltm* qelTime_LocalTime(const int32_t* seconds, qeltm* out) {
  struct tm local = {};
  if (*seconds < 0 || qelTimeSystem_LocalTime(*seconds, &local) != 0)
    return nullptr;
  FromSystem(local, out);
  out->msec = 0;
  return out;
}

qeltm* qelTime_GMTime(const int32_t* seconds, qeltm* out) {
  struct tm utc = {};
  if (*seconds < 0 || qelTimeSystem_GMTime(*seconds, &utc) != 0)
    return nullptr;
  FromSystem(utc, out);
  return out;
}

// Arithmetic ---------------------------------------------------------------------

int qelTime_IsBefore(const qeltimeval* a, const qeltimeval* b) {
  return qelTime_Compare(a, b) < 0;
}

int qelTime_Compare(const qeltimeval* a, const qeltimeval* b) {
  if (a->seconds != b->seconds)
    return a->seconds > b->seconds ? 1 : -1;
  return (a->microseconds > b->microseconds) - (a->microseconds < b->microseconds);
}

int qelTime_Subtract(qeltimeval* result, const qeltimeval* a, qeltimeval* b) {
  const qeltimeval from = *a; // result may be a
  const int64_t lead = int64_t(from.microseconds) - b->microseconds;
  int64_t carry = 0; // seconds that b takes from its microseconds, or gives them
  if (lead < 0)
    carry = -lead / kMicrosPerSecond + 1;
  else if (lead > kMicrosPerSecond)
    carry = -(lead / kMicrosPerSecond);
  b->seconds = Low32(b->seconds + carry);
  b->microseconds = Low32(b->microseconds - carry * kMicrosPerSecond);
  const qeltimeval minus = *b; // result may be b
  result->seconds = Low32(int64_t(from.seconds) - minus.seconds);
  result->microseconds = Low32(int64_t(from.microseconds) - minus.microseconds);
  return from.seconds < minus.seconds;
}

int32_t qelTime_AddMS(qeltimeval* tv, uint32_t ms) {
  const int64_t micros = tv->microseconds + ms * kMicrosPerMilli;
  int64_t added = micros / kMicrosPerSecond;
  int64_t rest = micros % kMicrosPerSecond;
  if (rest < 0) { // only microseconds that were negative come to this
    --added;
    rest += kMicrosPerSecond;
  }
  tv->seconds = Low32(tv->seconds + added);
  tv->microseconds = static_cast<int32_t>(rest);
  return static_cast<int32_t>(added);
}

void qelTime_SetFromNow(qeltimeval* tv, uint32_t ms) {
  qelTime_GetTimeOfDay(tv);
  qelTime_AddMS(tv, ms);
}

uint32_t qelTime_RemainingMS(const qeltimeval* tv) {
  qeltimeval now;
  qeltimeval left;
  qelTime_GetTimeOfDay(&now);
  if (qelTime_Subtract(&left, tv, &now) != 0)
    return 0;
  return static_cast<uint32_t>(left.seconds) * 1000u +
         static_cast<uint32_t>(left.microseconds / kMicrosPerMilli);
}

// Text and zones -----------------------------------------------------------------

char* qelTime_FormatHTTPDate() {
  static const char kDays[7][4] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  static const char kMonths[12][4] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const int32_t now = qelTime_Get(nullptr);
  qeltm utc = {};
  qelTime_GMTime(&now, &utc); // a clock before 1970 leaves fields of 0
  return trio_aprintf("%s, %02d %s %04d %02d:%02d:%02d GMT", kDays[utc.wday], utc.mday,
                      kMonths[utc.mon], utc.year + 1900, utc.hour, utc.min, utc.sec);
}

// Tests --------------------------------------------------------------------------

void qelTime_SetClockForTest(void (*clock)(qeltimeval* now)) {
  s_clockForTest.store(clock, std::memory_order_relaxed);
}

void qelTime_SetTickCountForTest(uint32_t (*tick)()) {
  s_tickForTest.store(tick, std::memory_order_relaxed);
}

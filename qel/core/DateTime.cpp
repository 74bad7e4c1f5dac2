#include <qel/core/DateTime.h>

#include <cstdio>

static const qelLong kCurrentYear = -32768;
static const int32_t kNone = -1; // both fields of an invalid value

// By Month, plus 12 in a leap year.
static const uint8_t kDaysOfMonth[24] = {
    31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31, // a common year
    31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31, // a leap year
};

static int32_t Low32(int64_t value) {
  return static_cast<int32_t>(static_cast<uint32_t>(value));
}

// Setting ------------------------------------------------------------------------

qelDateTime::qelDateTime() : m_seconds(kNone), m_microseconds(kNone) {}

qelDateTime::qelDateTime(const qeltimeval& time) {
  Set(time);
}

qelDateTime::qelDateTime(const qeltm& fields) {
  Set(fields);
}

qelDateTime::qelDateTime(uint16_t day, Month month, int year, uint16_t hour, uint16_t minute,
                         uint16_t second, uint16_t ms) {
  Set(day, month, year, hour, minute, second, ms);
}

qelDateTime::qelDateTime(uint16_t hour, uint16_t minute, uint16_t second, uint16_t ms)
    : m_seconds(0), m_microseconds(0) {
  Set(hour, minute, second, ms);
}

qelDateTime& qelDateTime::operator=(const qeltm& fields) {
  Set(fields);
  return *this;
}

void qelDateTime::Set(const qeltimeval& time) {
  m_seconds = time.seconds;
  m_microseconds = time.microseconds;
}

void qelDateTime::Set(const qeltm& fields) {
  qeltm copy = fields; // the argument is not normalised
  m_seconds = qelTime_MakeTime(&copy);
  m_microseconds = m_seconds == -1 ? kNone : Low32(int64_t(fields.msec) * 1000);
}

void qelDateTime::Set(uint16_t day, Month month, int year, uint16_t hour, uint16_t minute,
                      uint16_t second, uint16_t ms) {
  m_seconds = kNone;
  m_microseconds = kNone;
  if (year < 1970 || year > 2037)
    return;
  qeltm fields = {};
  fields.sec = second;
  fields.min = minute;
  fields.hour = hour;
  fields.mday = day;
  fields.mon = month;
  fields.year = year - 1900;
  fields.isdst = -1;
  Set(fields);
  if (IsValid())
    m_microseconds = ms * 1000;
}

void qelDateTime::Set(uint16_t hour, uint16_t minute, uint16_t second, uint16_t ms) {
  qeltm fields;
  FetchTM(fields);
  fields.hour = hour;
  fields.min = minute;
  fields.sec = second;
  qeltm copy = fields; // tells whether daylight saving is in effect at the new clock time
  qelTime_MakeTime(&copy);
  fields.isdst = copy.isdst;
  Set(fields);
  // INTENDED: set although the value may just have become invalid, which then looks valid, with
  // seconds of -1. Pinned by DateTimeSetClock.LooksValidAfterwardsWhateverItWas.
  m_microseconds = ms * 1000;
}

void qelDateTime::Set(const qeluint64& ms) {
  SetMilliseconds(ms.ToFileOffset()); // what does not fit is beyond the seconds in any case
}

void qelDateTime::Reset() {
  m_seconds = 0;
  m_microseconds = 0;
}

void qelDateTime::ResetTime() {
  qeltm fields;
  FetchTM(fields);
  fields.hour = 0;
  fields.min = 0;
  fields.sec = 0;
  fields.msec = 0;
  // INTENDED: the daylight flag stays, here and in the setters below, so on the day of a change the
  // result can be an hour off. Pinned by DateTimeResetTime.KeepsTheDaylightFlagThatTheValueHad.
  Set(fields);
}

void qelDateTime::SetYear(int yearsSince1900) {
  qeltm fields;
  FetchTM(fields);
  // INTENDED: not the full year, unlike GetYear. Pinned by DateTimeSetYear.CountsFrom1900.
  fields.year = yearsSince1900;
  Set(fields);
}

void qelDateTime::SetMonth(Month month) {
  qeltm fields;
  FetchTM(fields);
  fields.mon = month;
  Set(fields);
}

void qelDateTime::SetDay(uint16_t day) {
  qeltm fields;
  FetchTM(fields);
  fields.mday = day;
  Set(fields);
}

void qelDateTime::SetHour(uint16_t hour) {
  qeltm fields;
  FetchTM(fields);
  fields.hour = hour;
  Set(fields);
}

void qelDateTime::SetMinute(uint16_t minute) {
  qeltm fields;
  FetchTM(fields);
  fields.min = minute;
  Set(fields);
}

void qelDateTime::SetSecond(uint16_t second) {
  qeltm fields;
  FetchTM(fields);
  fields.sec = second;
  Set(fields);
}

void qelDateTime::SetMillisecond(uint16_t ms) {
  m_microseconds = ms * 1000;
}

// Reading ------------------------------------------------------------------------

bool qelDateTime::IsValid() const {
  return m_microseconds != kNone;
}

qelLong qelDateTime::GetTicks() const {
  return IsValid() ? m_seconds : -1;
}

qeluint64 qelDateTime::GetValue() const {
  if (!IsValid())
    return qeluint64::kqeluint64_Max;
  return qeluint64(m_seconds) * 1000 + m_microseconds / 1000;
}

bool qelDateTime::FetchTM(qeltm& fields) const {
  fields = qeltm();
  if (qelTime_LocalTime(&m_seconds, &fields) == nullptr)
    return false;
  fields.msec = m_microseconds / 1000;
  return true;
}

int qelDateTime::GetYear() const {
  qeltm fields;
  FetchTM(fields);
  return fields.year + 1900;
}

int qelDateTime::GetMonth() const {
  qeltm fields;
  FetchTM(fields);
  // INTENDED: January is 1 here and 0 in Month. Pinned by
  // DateTimeGetMonth.CountsFromOneUnlikeSetMonth.
  return fields.mon + 1;
}

int qelDateTime::GetDay() const {
  qeltm fields;
  FetchTM(fields);
  return fields.mday;
}

int qelDateTime::GetHour() const {
  qeltm fields;
  FetchTM(fields);
  return fields.hour;
}

int qelDateTime::GetMinute() const {
  qeltm fields;
  FetchTM(fields);
  return fields.min;
}

int qelDateTime::GetSecond() const {
  qeltm fields;
  FetchTM(fields);
  return fields.sec;
}

bool qelDateTime::operator==(const qelDateTime& other) const {
  return m_seconds == other.m_seconds && m_microseconds == other.m_microseconds;
}

bool qelDateTime::operator!=(const qelDateTime& other) const {
  return !(*this == other);
}

bool qelDateTime::operator<(const qelDateTime& other) const {
  return m_seconds != other.m_seconds ? m_seconds < other.m_seconds
                                      : m_microseconds < other.m_microseconds;
}

bool qelDateTime::operator<=(const qelDateTime& other) const {
  return !(other < *this);
}

bool qelDateTime::operator>(const qelDateTime& other) const {
  return other < *this;
}

bool qelDateTime::operator>=(const qelDateTime& other) const {
  return !(*this < other);
}

bool qelDateTime::IsSameDate(const qelDateTime& other) const {
  qeltm a;
  qeltm b;
  FetchTM(a);
  other.FetchTM(b);
  return a.year == b.year && a.mon == b.mon && a.mday == b.mday;
}

bool qelDateTime::IsSameTime(const qelDateTime& other) const {
  qeltm a;
  qeltm b;
  FetchTM(a);
  other.FetchTM(b);
  return a.hour == b.hour && a.min == b.min && a.sec == b.sec && a.msec == b.msec;
}

qelCString qelDateTime::FormatISODate() const {
  qeltm fields;
  FetchTM(fields);
  return qelCString::Format("%04d-%02d-%02d", fields.year + 1900, fields.mon + 1, fields.mday);
}

qelCString qelDateTime::FormatISOTime() const {
  qeltm fields;
  FetchTM(fields);
  return qelCString::Format("%02d:%02d:%02d", fields.hour, fields.min, fields.sec);
}

qelCString qelDateTime::FormatTime() const {
  qeltm fields;
  FetchTM(fields);
  return qelCString::Format("%02d:%02d:%02d.%03d", fields.hour, fields.min, fields.sec,
                            fields.msec);
}

qelCString qelDateTime::FormatISO() const {
  return FormatISODate() + "T" + FormatISOTime();
}

bool qelDateTime::ParseISODate(const qelCString& text) {
  if (m_microseconds == kNone)
    Reset();
  qeltm fields;
  if (!FetchTM(fields))
    return false;
  int year = 0;
  int month = 0;
  int day = 0;
  const bool isDate = sscanf(text.c_str(), "%4d-%2d-%2d", &year, &month, &day) == 3;
  // INTENDED: the day has no upper limit; the calendar carries it over. Pinned by
  // DateTimeParseISODate.CarriesADayBeyondTheMonthOver.
  if (!isDate || year < 1900 || month < 1 || month > 12 || day < 1) {
    *this = qelDateTime();
    return false;
  }
  fields.year = year - 1900;
  fields.mon = month - 1;
  fields.mday = day;
  Set(fields);
  return IsValid();
}

bool qelDateTime::ParseISOTime(const qelCString& text) {
  if (m_microseconds == kNone)
    Reset();
  qeltm fields;
  if (!FetchTM(fields))
    return false;
  int hour = 0;
  int minute = 0;
  int second = 0;
  const bool isTime = sscanf(text.c_str(), "%2d:%2d:%2d", &hour, &minute, &second) == 3;
  if (!isTime || hour < 0 || hour > 24 || minute < 0 || minute > 59 || second < 0 || second > 59) {
    *this = qelDateTime();
    return false;
  }
  fields.hour = hour;
  fields.min = minute;
  fields.sec = second;
  Set(fields);
  return IsValid();
}

void qelDateTime::ToUTC() {
  qeltm fields = {};
  qelTime_LocalTime(&m_seconds, &fields);
  // INTENDED: the season is the old reading's, and the fields are read back as standard time, so
  // the UTC clock is missed by an hour where the season changes between the two. Pinned by
  // DateTimeToUTC.IsAnHourOffBesideAChangeOfTheSeason.
  const int32_t standard = fields.isdst > 0 ? m_seconds - 3600 : m_seconds;
  fields = qeltm();
  qelTime_GMTime(&standard, &fields);
  fields.msec = m_microseconds / 1000;
  Set(fields);
}

// Time and calendar ----------------------------------------------------------------

qelDateTime qelDateTime::Now() {
  return qelDateTime(qelTime_Get(nullptr));
}

qelDateTime qelDateTime::UNow() {
  qeltimeval now;
  qelTime_GetTimeOfDay(&now);
  return qelDateTime(now);
}

int qelDateTime::GetCurrentYear() {
  return Now().GetYear();
}

bool qelDateTime::IsLeapYear(qelLong year) {
  if (year == kCurrentYear)
    year = GetCurrentYear();
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

int qelDateTime::GetNumberOfDays(Month month, qelLong year) {
  if (month < January || month > December)
    return 0;
  return kDaysOfMonth[month + (IsLeapYear(year) ? 12 : 0)];
}

// Private --------------------------------------------------------------------------

void qelDateTime::SetSeconds(int32_t seconds) {
  m_seconds = seconds;
  m_microseconds = 0;
}

// INTENDED: the rest is divided by 1000 where a multiplication would make microseconds of it, so
// the milliseconds are dropped. Pinned by DateTimeSetMilliseconds.DropsTheMilliseconds.
void qelDateTime::SetMilliseconds(int64_t ms) {
  *this = qelDateTime();
  if (ms / 1000 <= INT32_MAX) {
    m_seconds = Low32(ms / 1000);
    m_microseconds = static_cast<int32_t>(ms % 1000 / 1000);
  }
}

#ifndef QEL_CORE_DATETIME_H
#define QEL_CORE_DATETIME_H
//===----------------------------------------------------------------------===//
// qelDateTime: a moment, in seconds since 1970 (32 bits) and microseconds, that is
// seen in local time; or no moment at all.
//
// A value is invalid when its microseconds are -1. Bad input makes it invalid.
// Getters and formatters do not test: of an invalid value they show fields of 0,
// so ask IsValid first.
//
// Integers: a constructor or `=` takes seconds, whatever the type, and keeps the
// low 32 bits. Set takes seconds from a type of up to 32 bits, and milliseconds
// from a type of 64 bits, on every system. So a std::time_t is seconds in a
// constructor, and for Set it is Set(static_cast<qelLong>(time)).
//
// THREADS: a plain value; the time zone may not be changed meanwhile.
//===----------------------------------------------------------------------===//

#include <cstdint>
#include <type_traits>

#include <qel/core/CString.h>
#include <qel/core/Export.h>
#include <qel/core/Types.h>
#include <qel/core/UInt64.h>
#include <qel/multiplatform/qelTime.h>

class QEL_EXPORT qelDateTime {
public:
  enum Month : int32_t {
    January,
    February,
    March,
    April,
    May,
    June,
    July,
    August,
    September,
    October,
    November,
    December
  };

  // Setting ------------------------------------------------------------------------

  qelDateTime(); // invalid
  qelDateTime(const qeltimeval& time);
  qelDateTime(const qeltm& fields);
  qelDateTime(uint16_t day, Month month, int year, uint16_t hour, uint16_t minute, uint16_t second,
              uint16_t ms);
  // The clock time on the local day of 1970-01-01 00:00:00 UTC. Where that is before 1970, as it
  // always is west of Greenwich, the value is not usable, though IsValid is then true.
  qelDateTime(uint16_t hour, uint16_t minute, uint16_t second, uint16_t ms);

  template <class Integer, class = std::enable_if_t<std::is_integral_v<Integer>>>
  qelDateTime(Integer seconds) {
    SetSeconds(static_cast<int32_t>(seconds));
  }

  template <class Integer, class = std::enable_if_t<std::is_integral_v<Integer>>>
  qelDateTime& operator=(Integer seconds) {
    SetSeconds(static_cast<int32_t>(seconds));
    return *this;
  }
  qelDateTime& operator=(const qeltm& fields);

  // Seconds, of a type of up to 32 bits; milliseconds, of a type of 64 bits, as Set(qeluint64)
  // reads them, a negative number counting backward.
  template <class Integer, class = std::enable_if_t<std::is_integral_v<Integer>>>
  void Set(const Integer& value) {
    if constexpr (sizeof(Integer) <= sizeof(int32_t))
      SetSeconds(static_cast<int32_t>(value));
    else if constexpr (std::is_signed_v<Integer>)
      SetMilliseconds(value);
    else
      Set(qeluint64(value));
  }

  // A floating point number or an enumerator does not tell which of the two it is.
  template <class Other,
            std::enable_if_t<std::is_floating_point_v<Other> || std::is_enum_v<Other>, int> = 0>
  void Set(const Other& value) = delete;

  // Both fields are copied.
  void Set(const qeltimeval& time);

  // Local fields, which may be out of range and are carried over. Before 1970: invalid. Beyond
  // January 2038 the seconds wrap around.
  void Set(const qeltm& fields);

  // A year below 1970 or above 2037 makes the value invalid; other arguments may be out of range
  // and are carried over.
  void Set(uint16_t day, Month month, int year, uint16_t hour, uint16_t minute, uint16_t second,
           uint16_t ms);

  // The clock time on the local day that the value has. An invalid value does not become a usable
  // one, though IsValid is then true.
  void Set(uint16_t hour, uint16_t minute, uint16_t second, uint16_t ms);

  // Milliseconds since 1970. Their part below a second is dropped. Beyond January 2038: invalid.
  void Set(const qeluint64& ms);

  void Reset();     // 1970, a valid value
  void ResetTime(); // 00:00:00 of the same local day, with the old daylight flag

  // Replace one local field and keep the others, the daylight flag included: where it does not hold
  // for the new time, the clock shows an hour more or less.
  // SetYear counts from 1900 and SetMonth from 0, where GetYear gives the full year and GetMonth
  // counts from 1.
  void SetYear(int yearsSince1900);
  void SetMonth(Month month);
  void SetDay(uint16_t day);
  void SetHour(uint16_t hour);
  void SetMinute(uint16_t minute);
  void SetSecond(uint16_t second);
  void SetMillisecond(uint16_t ms);

  // Reading ------------------------------------------------------------------------

  bool IsValid() const;

  // Seconds since 1970; -1 if invalid.
  qelLong GetTicks() const;

  // Milliseconds since 1970; all bits set if invalid.
  qeluint64 GetValue() const;

  // The local fields. Returns false, with all fields 0, if the seconds are before 1970.
  bool FetchTM(qeltm& fields) const;

  int GetYear() const;  // the full year
  int GetMonth() const; // from 1: one more than the Month
  int GetDay() const;
  int GetHour() const;
  int GetMinute() const;
  int GetSecond() const;

  // By seconds, then microseconds, as signed numbers. Invalid values take part like others.
  bool operator==(const qelDateTime& other) const;
  bool operator!=(const qelDateTime& other) const;
  bool operator<(const qelDateTime& other) const;
  bool operator<=(const qelDateTime& other) const;
  bool operator>(const qelDateTime& other) const;
  bool operator>=(const qelDateTime& other) const;

  // By local year, month and day; by local hour, minute, second and millisecond.
  bool IsSameDate(const qelDateTime& other) const;
  bool IsSameTime(const qelDateTime& other) const;

  qelCString FormatISODate() const; // "2021-02-03"
  qelCString FormatISOTime() const; // "04:05:06"
  qelCString FormatTime() const;    // "04:05:06.007"
  qelCString FormatISO() const;     // "2021-02-03T04:05:06", with no zone

  // Reads "YYYY-MM-DD" and keeps the clock time and the daylight flag; an invalid value counts as
  // 1970-01-01 00:00:00 UTC beforehand. Years from 1970, months from 1 to 12, days from 1;
  // "2021-02-31" is the third of March. Text behind is ignored. On failure returns false, and the
  // value is invalid, or, before 1970, what it was.
  bool ParseISODate(const qelCString& text);

  // Reads "HH:MM:SS" and keeps the date and the daylight flag, likewise. Hours up to 24, which is
  // the next day.
  bool ParseISOTime(const qelCString& text);

  // Turns a local reading into its UTC reading: afterwards GetHour and its like show the UTC clock.
  // Where daylight saving begins or ends between the two readings they are an hour off, and a
  // reading that falls before 1970 makes the value invalid.
  void ToUTC();

  // Time and calendar ----------------------------------------------------------------

  static qelDateTime Now();  // with microseconds 0
  static qelDateTime UNow(); // with microseconds
  static int GetCurrentYear();

  // The year -32768 is the current one.
  static bool IsLeapYear(qelLong year);
  static int GetNumberOfDays(Month month, qelLong year); // 0 for what is no month

private:
  void SetSeconds(int32_t seconds);
  void SetMilliseconds(int64_t ms);

  int32_t m_seconds;
  int32_t m_microseconds; // -1: invalid
};

#endif

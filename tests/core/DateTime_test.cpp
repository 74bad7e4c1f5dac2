#include <qel/core/DateTime.h>

#include <climits>
#include <cstring>
#include <ctime>
#include <random>
#include <string>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include <qel/core/CString.h>
#include <qel/core/UInt64.h>

#include <tests/support/Clock.h>
#include <tests/support/Zone.h>

static const int32_t kJuly = 1625140800;    // 2021-07-01 12:00:00 UTC
static const int32_t kJanuary = 1610020800; // 2021-01-07 12:00:00 UTC

static const char* const kZones[] = {"UTC0",     "EST5EDT",    "CET-1CEST",  "PST8PDT",
                                     "IST-5:30", "NST3:30NDT", "NZST-12NZDT"};

static qelDateTime At(int32_t seconds, int32_t microseconds = 0) {
  return qelDateTime(qeltimeval{seconds, microseconds});
}

// "seconds.microseconds" for a valid value.
static std::string Shown(const qelDateTime& date) {
  if (!date.IsValid())
    return "invalid";
  for (int32_t ms = 0; ms < 1000; ++ms) // the fields have no reader of their own
    for (int32_t rest : {0, 1, 456, 999})
      if (date == At(date.GetTicks(), ms * 1000 + rest))
        return std::to_string(date.GetTicks()) + "." + std::to_string(ms * 1000 + rest);
  return "unknown";
}

static std::string ISO(const qelDateTime& date) {
  return date.IsValid() ? date.FormatISO().c_str() : "invalid";
}

static qeltm Fields(int year, int month, int day, int hour, int minute, int second, int isdst) {
  qeltm fields = {};
  fields.year = year - 1900;
  fields.mon = month - 1;
  fields.mday = day;
  fields.hour = hour;
  fields.min = minute;
  fields.sec = second;
  fields.isdst = isdst;
  return fields;
}

static qelDateTime::Month M(int zeroBased) {
  return static_cast<qelDateTime::Month>(zeroBased);
}

// Shape --------------------------------------------------------------------------

TEST(DateTimeShape, HasTwoFieldsOf32BitsAndNoVirtualOperations) {
  EXPECT_EQ(sizeof(qelDateTime), 8u);
  EXPECT_FALSE(std::is_polymorphic_v<qelDateTime>);
  EXPECT_EQ(sizeof(qeltimeval), 8u);
  EXPECT_EQ(sizeof(qeltm), 40u);
}

TEST(DateTimeShape, HasTheFieldsOfABrokenDownTimeInTheirOwnOrder) {
  const size_t offsets[] = {offsetof(qeltm, sec),   offsetof(qeltm, min),  offsetof(qeltm, hour),
                            offsetof(qeltm, mday),  offsetof(qeltm, mon),  offsetof(qeltm, year),
                            offsetof(qeltm, isdst), offsetof(qeltm, wday), offsetof(qeltm, yday),
                            offsetof(qeltm, msec)};
  for (size_t i = 0; i < 10; ++i)
    EXPECT_EQ(offsets[i], i * 4);
  EXPECT_EQ(offsetof(qeltimeval, seconds), 0u);
  EXPECT_EQ(offsetof(qeltimeval, microseconds), 4u);
}

TEST(DateTimeShape, NumbersTheMonthsFromZero) {
  EXPECT_EQ(qelDateTime::January, 0);
  EXPECT_EQ(qelDateTime::December, 11);
}

// Setting ------------------------------------------------------------------------

TEST(DateTimeDefault, IsInvalid) {
  const qelDateTime date;
  EXPECT_FALSE(date.IsValid());
  EXPECT_EQ(date.GetTicks(), -1);
  EXPECT_EQ(date.GetValue(), qeluint64::kqeluint64_Max);
  EXPECT_TRUE(date == At(-1, -1));
}

TEST(DateTimeDefault, FetchesNoFields) {
  qeltm fields = Fields(2021, 2, 3, 4, 5, 6, 1);
  fields.msec = 7;
  EXPECT_FALSE(qelDateTime().FetchTM(fields));
  const int32_t* field = &fields.sec;
  for (int i = 0; i < 10; ++i)
    EXPECT_EQ(field[i], 0) << i;
}

// That this compiles without ambiguity is half of the test.
template <class T>
static void TakesSeconds() {
  const T value = static_cast<T>(100);
  EXPECT_TRUE(qelDateTime(value) == At(100));
  const qelDateTime implicit = value;
  EXPECT_TRUE(implicit == At(100));
  qelDateTime date;
  date = value;
  EXPECT_TRUE(date == At(100));
}

template <class T>
static void SetsFromIntegers(int32_t expected) {
  const T value = static_cast<T>(100000);
  qelDateTime date;
  date.Set(value);
  EXPECT_TRUE(date == At(expected));
}

TEST(DateTimeIntegers, AreSecondsInAConstructorAndAnAssignment) {
  TakesSeconds<signed char>();
  TakesSeconds<unsigned char>();
  TakesSeconds<short>();
  TakesSeconds<unsigned short>();
  TakesSeconds<int>();
  TakesSeconds<unsigned int>();
  TakesSeconds<long>();
  TakesSeconds<unsigned long>();
  TakesSeconds<long long>();
  TakesSeconds<unsigned long long>();
  TakesSeconds<size_t>();
  TakesSeconds<std::time_t>();
  TakesSeconds<qelLong>();
  TakesSeconds<qelULong>();
}

TEST(DateTimeIntegers, AreSecondsOf32BitsAndMillisecondsOf64BitsInSet) {
  SetsFromIntegers<int>(100000);
  SetsFromIntegers<unsigned int>(100000);
  SetsFromIntegers<qelLong>(100000);
  SetsFromIntegers<qelULong>(100000);
  SetsFromIntegers<long>(sizeof(long) == 4 ? 100000 : 100);
  SetsFromIntegers<unsigned long>(sizeof(long) == 4 ? 100000 : 100);
  SetsFromIntegers<long long>(100);
  SetsFromIntegers<unsigned long long>(100);
  SetsFromIntegers<int64_t>(100);
  SetsFromIntegers<uint64_t>(100);
  SetsFromIntegers<size_t>(100);
  SetsFromIntegers<std::time_t>(100);
}

template <class T, class = void>
struct CanSet : std::false_type {};
template <class T>
struct CanSet<T, std::void_t<decltype(std::declval<qelDateTime&>().Set(std::declval<T>()))>>
    : std::true_type {};

TEST(DateTimeIntegers, AreTheOnlyNumbersThatSetTakes) {
  EXPECT_TRUE(CanSet<char>::value);
  EXPECT_TRUE(CanSet<bool>::value);
  EXPECT_TRUE(CanSet<const long&>::value);
  EXPECT_TRUE(CanSet<qeluint64>::value);
  EXPECT_TRUE(CanSet<qelULongLong>::value);
  EXPECT_FALSE(CanSet<float>::value);
  EXPECT_FALSE(CanSet<double>::value);
  EXPECT_FALSE(CanSet<qelDateTime::Month>::value);
}

TEST(DateTimeIntegers, KeepTheLow32BitsOfSeconds) {
  EXPECT_TRUE(qelDateTime(0x100000005LL) == At(5));
  EXPECT_TRUE(qelDateTime(0x80000000u) == At(INT32_MIN));
}

TEST(DateTimeSetTimeval, CopiesBothFields) {
  EXPECT_EQ(Shown(qelDateTime(qeltimeval{12, 123456})), "12.123456");
  qelDateTime date;
  date.Set(qeltimeval{13, 999999});
  EXPECT_EQ(Shown(date), "13.999999");
  date.Set(qeltimeval{13, -1});
  EXPECT_FALSE(date.IsValid());
  EXPECT_EQ(date.GetTicks(), -1);
}

TEST(DateTimeSetFields, LeavesTheArgumentAsItIs) {
  qeltm fields = Fields(2021, 2, 31, 25, 0, 0, -1);
  fields.msec = 123;
  qelDateTime date;
  date.Set(fields);
  EXPECT_EQ(Shown(date), "1614819600.123000");
  EXPECT_EQ(fields.mday, 31);
  EXPECT_EQ(fields.mon, 1);
  EXPECT_EQ(fields.hour, 25);
  EXPECT_EQ(fields.isdst, -1);
  EXPECT_EQ(Shown(qelDateTime(fields)), "1614819600.123000");
  qelDateTime assigned;
  assigned = fields;
  EXPECT_TRUE(assigned == date);
}

TEST(DateTimeSetFields, IsInvalidBefore1970) {
  qeltm fields = Fields(1969, 12, 31, 23, 59, 59, -1);
  fields.msec = 5;
  EXPECT_TRUE(qelDateTime(fields) == At(-1, -1));
}

TEST(DateTimeSetFields, WrapsAroundFrom2038On) {
  EXPECT_TRUE(qelDateTime(Fields(2038, 1, 19, 3, 14, 7, -1)) == At(INT32_MAX));
  EXPECT_TRUE(qelDateTime(Fields(2038, 1, 19, 3, 14, 8, -1)) == At(INT32_MIN));
  EXPECT_TRUE(qelDateTime(Fields(2106, 2, 7, 6, 28, 15, -1)) == At(-1, -1)); // reads as a failure
  EXPECT_TRUE(qelDateTime(Fields(2106, 2, 7, 6, 28, 16, -1)) == At(0));
}

struct DateCase {
  int day, month, year, hour, minute, second, ms;
  const char* shown;
};

TEST(DateTimeSetDate, CarriesOverWhatIsOutOfRange) {
  const DateCase cases[] = {
      {3, 1, 2021, 4, 5, 6, 7, "2021-02-03T04:05:06"},
      {31, 1, 2021, 0, 0, 0, 0, "2021-03-03T00:00:00"},
      {29, 1, 2021, 0, 0, 0, 0, "2021-03-01T00:00:00"},
      {29, 1, 2024, 0, 0, 0, 0, "2024-02-29T00:00:00"},
      {0, 1, 2021, 0, 0, 0, 0, "2021-01-31T00:00:00"},
      {1, 12, 2021, 0, 0, 0, 0, "2022-01-01T00:00:00"},
      {1, 100, 2021, 0, 0, 0, 0, "2029-05-01T00:00:00"},
      {1, -1, 2021, 0, 0, 0, 0, "2020-12-01T00:00:00"},
      {31, 11, 2021, 24, 0, 0, 0, "2022-01-01T00:00:00"},
      {1, 0, 2021, 0, 90, 125, 0, "2021-01-01T01:32:05"},
      {31, 11, 2037, 23, 59, 59, 999, "2037-12-31T23:59:59"},
      {1, 0, 1970, 0, 0, 0, 0, "1970-01-01T00:00:00"},
      {31, 11, 1969, 23, 59, 59, 0, "invalid"},
      {1, 0, 2038, 0, 0, 0, 0, "invalid"},
      {1, 0, -32768, 0, 0, 0, 0, "invalid"},
      {1, 0, 0, 0, 0, 0, 0, "invalid"},
      {1, 0, INT_MAX, 0, 0, 0, 0, "invalid"},
      {0, 0, 1970, 0, 0, 0, 0, "invalid"}, // the calendar refuses it
  };
  for (const DateCase& c : cases) {
    const auto narrow = [](int value) { return static_cast<uint16_t>(value); };
    const qelDateTime date(narrow(c.day), M(c.month), c.year, narrow(c.hour), narrow(c.minute),
                           narrow(c.second), narrow(c.ms));
    EXPECT_EQ(ISO(date), c.shown);
    qelDateTime set(5);
    set.Set(narrow(c.day), M(c.month), c.year, narrow(c.hour), narrow(c.minute), narrow(c.second),
            narrow(c.ms));
    EXPECT_TRUE(set == date) << c.shown;
    if (date.IsValid())
      EXPECT_TRUE(date == At(date.GetTicks(), c.ms * 1000)) << c.shown;
    else
      EXPECT_TRUE(date == At(-1, -1)) << c.shown;
  }
}

TEST(DateTimeSetDate, AcceptsTheLargestValuesOfItsArguments) {
  const uint16_t most = 0xFFFF;
  const qelDateTime date(most, qelDateTime::January, 1970, most, most, most, most);
  const int64_t seconds = 65534LL * 86400 + 65535LL * 3600 + 65535LL * 60 + 65535LL;
  EXPECT_TRUE(date == At(static_cast<int32_t>(static_cast<uint32_t>(seconds)), 65535000));
}

TEST(DateTimeSetDate, FindsTheSeasonOfTheDate) {
  ScopedZone zone("EST5EDT");
  EXPECT_EQ(qelDateTime(1, qelDateTime::July, 2021, 8, 0, 0, 0).GetTicks(), kJuly);
  EXPECT_EQ(qelDateTime(7, qelDateTime::January, 2021, 7, 0, 0, 0).GetTicks(), kJanuary);
}

TEST(DateTimeSetClock, ReplacesTheClockTimeOfTheLocalDay) {
  ScopedZone zone("EST5EDT");
  qelDateTime date = At(kJuly, 999999);
  date.Set(23, 58, 57, 56);
  EXPECT_EQ(ISO(date), "2021-07-01T23:58:57");
  EXPECT_EQ(Shown(date).substr(10), ".56000");
  date.Set(24, 0, 0, 0);
  EXPECT_EQ(ISO(date), "2021-07-02T00:00:00");
}

TEST(DateTimeSetClock, TakesTheDaylightFlagOfTheNewClockTime) {
  ScopedZone zone("EST5EDT");
  qelDateTime date(14, qelDateTime::March, 2021, 0, 30, 0, 0); // the clocks go forward at 2:00
  date.Set(12, 0, 0, 0);
  EXPECT_EQ(ISO(date), "2021-03-14T12:00:00");
  EXPECT_EQ(date.GetTicks(), 1615737600);
}

TEST(DateTimeSetClock, LooksValidAfterwardsWhateverItWas) {
  qelDateTime date;
  date.Set(1, 2, 3, 4);
  EXPECT_TRUE(date.IsValid());
  EXPECT_TRUE(date == At(-1, 4000));
  qeltm fields;
  EXPECT_FALSE(date.FetchTM(fields));
}

TEST(DateTimeClockConstructor, StandsOnTheDayOfThe1stOfJanuary1970) {
  EXPECT_TRUE(qelDateTime(4, 5, 6, 7) == At(4 * 3600 + 5 * 60 + 6, 7000));
  ScopedZone zone("EST5EDT"); // where that moment is still in 1969
  EXPECT_TRUE(qelDateTime(4, 5, 6, 7) == At(-1, 7000));
}

TEST(DateTimeSetMilliseconds, DropsTheMilliseconds) {
  qelDateTime date;
  date.Set(qeluint64(1500));
  EXPECT_TRUE(date == At(1, 0));
  date.Set(int64_t(1999));
  EXPECT_TRUE(date == At(1, 0));
  date.Set(uint64_t(999));
  EXPECT_TRUE(date == At(0, 0));
}

TEST(DateTimeSetMilliseconds, TakesARecordOfHalves) {
  qelDateTime date;
  date.Set(qelULongLong{705032704, 1}); // 5,000,000,000
  EXPECT_TRUE(date == At(5000000, 0));
}

TEST(DateTimeSetMilliseconds, IsInvalidBeyondTheSecondsOf32Bits) {
  const uint64_t last = uint64_t(INT32_MAX) * 1000 + 999;
  qelDateTime date;
  date.Set(qeluint64(last));
  EXPECT_TRUE(date == At(INT32_MAX));
  date.Set(qeluint64(last + 1));
  EXPECT_TRUE(date == At(-1, -1));
  date.Set(static_cast<int64_t>(last));
  EXPECT_TRUE(date == At(INT32_MAX));
  date.Set(static_cast<int64_t>(last + 1));
  EXPECT_TRUE(date == At(-1, -1));
  date = 5;
  date.Set(qeluint64::kqeluint64_Max);
  EXPECT_TRUE(date == At(-1, -1));
  date = 5;
  date.Set(INT64_MAX);
  EXPECT_TRUE(date == At(-1, -1));
  date = 5;
  date.Set(UINT64_MAX);
  EXPECT_TRUE(date == At(-1, -1));
  date = 5;
  date.Set(uint64_t(1) << 63);
  EXPECT_TRUE(date == At(-1, -1));
}

TEST(DateTimeSetMilliseconds, CountsBackwardFromANegativeNumber) {
  qelDateTime date;
  date.Set(int64_t(-5500));
  EXPECT_TRUE(date == At(-5, 0));
}

TEST(DateTimeSetMilliseconds, TakesAValueBackToTheSecond) {
  const qelDateTime date = At(kJuly, 123456);
  qelDateTime back;
  back.Set(date.GetValue());
  EXPECT_TRUE(back == At(kJuly, 0));
}

TEST(DateTimeReset, IsThe1stOfJanuary1970AndValid) {
  qelDateTime date;
  date.Reset();
  EXPECT_TRUE(date.IsValid());
  EXPECT_TRUE(date == At(0, 0));
}

TEST(DateTimeResetTime, GoesToMidnightOfTheLocalDay) {
  qelDateTime date = At(kJuly + 3661, 123456);
  date.ResetTime();
  EXPECT_TRUE(date == At(kJuly - 12 * 3600, 0));
  ScopedZone zone("IST-5:30");
  date = At(kJuly, 5);
  date.ResetTime();
  EXPECT_EQ(ISO(date), "2021-07-01T00:00:00");
  EXPECT_TRUE(date == At(kJuly - 17 * 3600 - 1800, 0));
}

TEST(DateTimeResetTime, KeepsTheDaylightFlagThatTheValueHad) {
  ScopedZone zone("EST5EDT");
  qelDateTime date(14, qelDateTime::March, 2021, 12, 0, 0, 0); // the clocks went forward at 2:00
  date.ResetTime();
  EXPECT_EQ(ISO(date), "2021-03-13T23:00:00");
  date = qelDateTime(7, qelDateTime::November, 2021, 12, 0, 0, 0); // and went back
  date.ResetTime();
  EXPECT_EQ(ISO(date), "2021-11-07T01:00:00");
}

TEST(DateTimeResetTime, KeepsAnInvalidValueInvalid) {
  qelDateTime date;
  date.ResetTime();
  EXPECT_FALSE(date.IsValid());
}

TEST(DateTimeSetYear, CountsFrom1900) {
  qelDateTime date(3, qelDateTime::February, 2021, 4, 5, 6, 0);
  date.SetYear(124);
  EXPECT_EQ(date.GetYear(), 2024);
  EXPECT_EQ(ISO(date), "2024-02-03T04:05:06");
  date.SetYear(2024);
  EXPECT_FALSE(date.IsValid());
}

TEST(DateTimeGetMonth, CountsFromOneUnlikeSetMonth) {
  qelDateTime date(3, qelDateTime::February, 2021, 4, 5, 6, 0);
  EXPECT_EQ(date.GetMonth(), 2);
  date.SetMonth(qelDateTime::January);
  EXPECT_EQ(date.GetMonth(), 1);
  date.SetMonth(M(date.GetMonth()));
  EXPECT_EQ(ISO(date), "2021-02-03T04:05:06");
}

TEST(DateTimeSetters, ReplaceOneFieldAndKeepTheOthers) {
  const qelDateTime start(3, qelDateTime::February, 2021, 4, 5, 6, 7);
  qelDateTime date = start;
  date.SetDay(28);
  EXPECT_EQ(ISO(date), "2021-02-28T04:05:06");
  date.SetDay(31);
  EXPECT_EQ(ISO(date), "2021-03-03T04:05:06");
  date = start;
  date.SetHour(23);
  EXPECT_EQ(ISO(date), "2021-02-03T23:05:06");
  date.SetMinute(59);
  EXPECT_EQ(ISO(date), "2021-02-03T23:59:06");
  date.SetSecond(58);
  EXPECT_EQ(ISO(date), "2021-02-03T23:59:58");
  date.SetSecond(62);
  EXPECT_EQ(ISO(date), "2021-02-04T00:00:02");
  EXPECT_EQ(Shown(date).substr(10), ".7000");
}

TEST(DateTimeSetters, WorkOnFieldsOfZeroInAnInvalidValue) {
  qelDateTime date;
  date.SetHour(12);
  EXPECT_TRUE(date == At(-1, -1));
  date.SetYear(121);
  EXPECT_EQ(ISO(date), "2020-12-31T00:00:00"); // the day before the first of January
}

TEST(DateTimeSetters, CutTheMicrosecondsToMilliseconds) {
  qelDateTime date = At(kJuly, 123456);
  date.SetMinute(1);
  EXPECT_EQ(Shown(date), "1625140860.123000");
}

TEST(DateTimeSetters, KeepTheDaylightFlagThatTheValueHad) {
  ScopedZone zone("EST5EDT");
  qelDateTime date(14, qelDateTime::March, 2021, 0, 30, 0, 0); // still standard time
  date.SetHour(12);
  EXPECT_EQ(ISO(date), "2021-03-14T13:30:00");
}

TEST(DateTimeSetMillisecond, SetsTheMicrosecondsOfAnyValue) {
  qelDateTime date = At(kJuly, 123456);
  date.SetMillisecond(7);
  EXPECT_TRUE(date == At(kJuly, 7000));
  date = qelDateTime();
  date.SetMillisecond(7);
  EXPECT_TRUE(date == At(-1, 7000));
}

// Reading ------------------------------------------------------------------------

TEST(DateTimeGetValue, GivesMilliseconds) {
  EXPECT_EQ(At(kJuly, 123999).GetValue().GetValue(), 1625140800123u);
  EXPECT_EQ(At(0, 999).GetValue().GetValue(), 0u);
  EXPECT_EQ(At(-2, 0).GetValue(), qeluint64(-2000));
}

TEST(DateTimeGetTicks, GivesTheSecondsOfAValidValue) {
  EXPECT_EQ(At(kJuly, 5).GetTicks(), kJuly);
  EXPECT_EQ(At(kJuly, -1).GetTicks(), -1);
  EXPECT_EQ(At(-5, 0).GetTicks(), -5);
}

TEST(DateTimeFetchTM, GivesLocalFieldsWithMilliseconds) {
  ScopedZone zone("EST5EDT");
  qeltm fields;
  EXPECT_TRUE(At(kJuly, 123999).FetchTM(fields));
  EXPECT_EQ(fields.sec, 0);
  EXPECT_EQ(fields.min, 0);
  EXPECT_EQ(fields.hour, 8);
  EXPECT_EQ(fields.mday, 1);
  EXPECT_EQ(fields.mon, 6);
  EXPECT_EQ(fields.year, 121);
  EXPECT_EQ(fields.isdst, 1);
  EXPECT_EQ(fields.wday, 4);
  EXPECT_EQ(fields.yday, 181);
  EXPECT_EQ(fields.msec, 123);
}

TEST(DateTimeFetchTM, LooksAtTheSecondsAlone) {
  qeltm fields;
  EXPECT_TRUE(At(kJuly, -1).FetchTM(fields));
  EXPECT_EQ(fields.msec, 0);
  EXPECT_FALSE(At(-1, 0).FetchTM(fields));
  EXPECT_FALSE(At(INT32_MIN, 0).FetchTM(fields));
}

TEST(DateTimeGetters, ReadLocalFields) {
  ScopedZone zone("NST3:30NDT");
  const qelDateTime date = At(kJuly + 7, 0);
  EXPECT_EQ(date.GetYear(), 2021);
  EXPECT_EQ(date.GetMonth(), 7);
  EXPECT_EQ(date.GetDay(), 1);
  EXPECT_EQ(date.GetHour(), 9);
  EXPECT_EQ(date.GetMinute(), 30);
  EXPECT_EQ(date.GetSecond(), 7);
}

TEST(DateTimeGetters, ShowFieldsOfZeroForAnInvalidValue) {
  const qelDateTime date;
  EXPECT_EQ(date.GetYear(), 1900);
  EXPECT_EQ(date.GetMonth(), 1);
  EXPECT_EQ(date.GetDay(), 0);
  EXPECT_EQ(date.GetHour(), 0);
  EXPECT_EQ(date.GetMinute(), 0);
  EXPECT_EQ(date.GetSecond(), 0);
}

TEST(DateTimeCompare, OrdersBySecondsThenMicroseconds) {
  const qelDateTime ascending[] = {At(INT32_MIN), At(-1, -1), At(-1, 0),       At(0, -1),
                                   At(0, 0),      At(0, 1),   At(kJuly, 5000), At(INT32_MAX)};
  const int count = sizeof ascending / sizeof ascending[0];
  for (int i = 0; i < count; ++i) {
    for (int j = 0; j < count; ++j) {
      const qelDateTime& a = ascending[i];
      const qelDateTime& b = ascending[j];
      EXPECT_EQ(a == b, i == j);
      EXPECT_EQ(a != b, i != j);
      EXPECT_EQ(a < b, i < j);
      EXPECT_EQ(a <= b, i <= j);
      EXPECT_EQ(a > b, i > j);
      EXPECT_EQ(a >= b, i >= j);
    }
  }
}

TEST(DateTimeIsSameDate, ComparesTheLocalDay) {
  const qelDateTime evening(1, qelDateTime::July, 2021, 23, 59, 59, 0);
  const qelDateTime morning(1, qelDateTime::July, 2021, 0, 0, 0, 0);
  const qelDateTime next(2, qelDateTime::July, 2021, 0, 0, 0, 0);
  EXPECT_TRUE(evening.IsSameDate(morning));
  EXPECT_FALSE(evening.IsSameDate(next));
  EXPECT_FALSE(morning.IsSameDate(qelDateTime(1, qelDateTime::August, 2021, 0, 0, 0, 0)));
  EXPECT_FALSE(morning.IsSameDate(qelDateTime(1, qelDateTime::July, 2020, 0, 0, 0, 0)));
  EXPECT_TRUE(qelDateTime().IsSameDate(qelDateTime()));
  ScopedZone zone("EST5EDT");
  EXPECT_TRUE(evening.IsSameDate(next)); // both in the evening there
  EXPECT_FALSE(evening.IsSameDate(morning));
}

TEST(DateTimeIsSameTime, ComparesTheLocalClockToTheMillisecond) {
  const qelDateTime date = At(kJuly, 123000);
  EXPECT_TRUE(date.IsSameTime(At(kJuly + 86400, 123999)));
  EXPECT_FALSE(date.IsSameTime(At(kJuly, 124000)));
  EXPECT_FALSE(date.IsSameTime(At(kJuly + 1, 123000)));
  EXPECT_FALSE(date.IsSameTime(At(kJuly + 60, 123000)));
  EXPECT_FALSE(date.IsSameTime(At(kJuly + 3600, 123000)));
  EXPECT_TRUE(date.IsSameTime(At(kJanuary, 123000)));
  ScopedZone zone("EST5EDT");
  EXPECT_FALSE(date.IsSameTime(At(kJanuary, 123000))); // another season
}

TEST(DateTimeFormat, WritesLocalFields) {
  const qelDateTime date(3, qelDateTime::February, 2021, 4, 5, 6, 7);
  EXPECT_STREQ(date.FormatISODate().c_str(), "2021-02-03");
  EXPECT_STREQ(date.FormatISOTime().c_str(), "04:05:06");
  EXPECT_STREQ(date.FormatTime().c_str(), "04:05:06.007");
  EXPECT_STREQ(date.FormatISO().c_str(), "2021-02-03T04:05:06");
  ScopedZone zone("NST3:30NDT");
  EXPECT_STREQ(At(kJuly, 999999).FormatTime().c_str(), "09:30:00.999");
}

TEST(DateTimeFormat, ShowsFieldsOfZeroForAnInvalidValue) {
  EXPECT_STREQ(qelDateTime().FormatISO().c_str(), "1900-01-00T00:00:00");
  EXPECT_STREQ(qelDateTime().FormatTime().c_str(), "00:00:00.000");
}

// Parsing ------------------------------------------------------------------------

struct ParseCase {
  const char* text;
  const char* shown; // "invalid" for a failure
};

TEST(DateTimeParseISODate, ReadsADateAndKeepsTheClock) {
  const ParseCase cases[] = {
      {"2021-02-03", "2021-02-03T04:05:06"},
      {"2021-02-03T23:59:59", "2021-02-03T04:05:06"},
      {"2021-02-03 and more", "2021-02-03T04:05:06"},
      {" 2021- 2- 3", "2021-02-03T04:05:06"},
      {"2021-2-3", "2021-02-03T04:05:06"},
      {"2021-02-031", "2021-02-03T04:05:06"},
      {"1970-01-01", "1970-01-01T04:05:06"},
      {"2037-12-31", "2037-12-31T04:05:06"},
      {"1969-12-31", "invalid"},
      {"1900-01-01", "invalid"},
      {"1899-12-31", "invalid"},
      {"3001-01-01", "invalid"},
      {"2021-00-03", "invalid"},
      {"2021-13-03", "invalid"},
      {"2021-02-00", "invalid"},
      {"2021-02--3", "invalid"},
      {"2021--2-03", "invalid"},
      {"-021-02-03", "invalid"},
      {"2021-02", "invalid"},
      {"2021/02/03", "invalid"},
      {"20210203", "invalid"},
      {"12021-02-03", "invalid"},
      {"02-03-2021", "invalid"},
      {"x", "invalid"},
      {"", "invalid"},
  };
  for (const ParseCase& c : cases) {
    qelDateTime date(17, qelDateTime::May, 2020, 4, 5, 6, 7);
    const bool valid = strcmp(c.shown, "invalid") != 0;
    EXPECT_EQ(date.ParseISODate(c.text), valid) << c.text;
    EXPECT_EQ(ISO(date), c.shown) << c.text;
    if (valid)
      EXPECT_TRUE(date == At(date.GetTicks(), 7000)) << c.text;
    else
      EXPECT_TRUE(date == At(-1, -1)) << c.text;
  }
}

TEST(DateTimeParseISODate, CarriesADayBeyondTheMonthOver) {
  const ParseCase cases[] = {
      {"2021-02-31", "2021-03-03T00:00:00"},
      {"2021-02-29", "2021-03-01T00:00:00"},
      {"2021-12-32", "2022-01-01T00:00:00"},
      {"2021-01-99", "2021-04-09T00:00:00"},
  };
  for (const ParseCase& c : cases) {
    qelDateTime date;
    EXPECT_TRUE(date.ParseISODate(c.text)) << c.text;
    EXPECT_EQ(ISO(date), c.shown) << c.text;
  }
}

TEST(DateTimeParseISODate, GivesAnInvalidValueTheClockOf1970) {
  qelDateTime date;
  EXPECT_TRUE(date.ParseISODate("2021-01-07"));
  EXPECT_EQ(ISO(date), "2021-01-07T00:00:00");
  ScopedZone zone("CET-1CEST");
  date = qelDateTime();
  EXPECT_TRUE(date.ParseISODate("2021-01-07"));
  EXPECT_EQ(ISO(date), "2021-01-07T01:00:00");
  SetZoneForTest("EST5EDT"); // where that clock is still in 1969
  date = qelDateTime();
  EXPECT_TRUE(date.ParseISODate("2021-01-07"));
  EXPECT_EQ(ISO(date), "2021-01-07T19:00:00");
}

TEST(DateTimeParseISODate, KeepsTheDaylightFlagOfTheOldDate) {
  ScopedZone zone("CET-1CEST");
  qelDateTime date;
  EXPECT_TRUE(date.ParseISODate("2021-07-01")); // read as 01:00 in standard time
  EXPECT_EQ(ISO(date), "2021-07-01T02:00:00");
}

TEST(DateTimeParseISODate, LeavesAValueBefore1970AsItIs) {
  qelDateTime date = At(-5, 7);
  EXPECT_FALSE(date.ParseISODate("2021-02-03"));
  EXPECT_TRUE(date == At(-5, 7));
  EXPECT_FALSE(date.ParseISOTime("01:02:03"));
  EXPECT_TRUE(date == At(-5, 7));
}

TEST(DateTimeParseISODate, ReadsWhatFormatISODateWrites) {
  std::mt19937 random(5);
  for (int i = 0; i < 500; ++i) {
    const qelDateTime date(static_cast<int32_t>(random() >> 1));
    qelDateTime back;
    ASSERT_TRUE(back.ParseISODate(date.FormatISODate()));
    ASSERT_TRUE(back.ParseISOTime(date.FormatISOTime()));
    ASSERT_TRUE(back == date) << ISO(date);
  }
}

TEST(DateTimeParseISOTime, ReadsAClockTimeAndKeepsTheDate) {
  const ParseCase cases[] = {
      {"01:02:03", "2020-05-17T01:02:03"},
      {"1:2:3", "2020-05-17T01:02:03"},
      {" 01: 02: 03.999", "2020-05-17T01:02:03"},
      {"00:00:00", "2020-05-17T00:00:00"},
      {"23:59:59", "2020-05-17T23:59:59"},
      {"24:00:00", "2020-05-18T00:00:00"},
      {"24:59:59", "2020-05-18T00:59:59"},
      {"25:00:00", "invalid"},
      {"12:60:00", "invalid"},
      {"12:00:60", "invalid"},
      {"-1:00:00", "invalid"},
      {"12:-1:00", "invalid"},
      {"12:00:-1", "invalid"},
      {"12:00", "invalid"},
      {"120000", "invalid"},
      {"123:00:00", "invalid"},
      {"", "invalid"},
      {"x", "invalid"},
  };
  for (const ParseCase& c : cases) {
    qelDateTime date(17, qelDateTime::May, 2020, 4, 5, 6, 7);
    const bool valid = strcmp(c.shown, "invalid") != 0;
    EXPECT_EQ(date.ParseISOTime(c.text), valid) << c.text;
    EXPECT_EQ(ISO(date), c.shown) << c.text;
    if (valid)
      EXPECT_TRUE(date == At(date.GetTicks(), 7000)) << c.text;
    else
      EXPECT_TRUE(date == At(-1, -1)) << c.text;
  }
}

TEST(DateTimeParseISOTime, GivesAnInvalidValueTheDateOf1970) {
  qelDateTime date;
  EXPECT_TRUE(date.ParseISOTime("01:02:03"));
  EXPECT_TRUE(date == At(3723, 0));
  ScopedZone zone("EST5EDT"); // where that date is in 1969
  date = qelDateTime();
  EXPECT_FALSE(date.ParseISOTime("01:02:03"));
  EXPECT_TRUE(date == At(-1, -1));
}

TEST(DateTimeToUTC, ShowsTheUTCClockAfterwards) {
  for (const char* name : kZones) {
    ScopedZone zone(name);
    for (int32_t seconds : {kJuly, kJanuary, kJuly + 9 * 3600, kJanuary - 9 * 3600}) {
      const qelDateTime utc(seconds);
      const std::time_t moment = seconds;
      const std::tm expected = *std::gmtime(&moment);
      qelDateTime date = At(seconds, 123456);
      date.ToUTC();
      EXPECT_EQ(date.GetYear(), expected.tm_year + 1900) << name;
      EXPECT_EQ(date.GetMonth(), expected.tm_mon + 1) << name;
      EXPECT_EQ(date.GetDay(), expected.tm_mday) << name;
      EXPECT_EQ(date.GetHour(), expected.tm_hour) << name;
      EXPECT_EQ(date.GetMinute(), expected.tm_min) << name;
      EXPECT_TRUE(date == At(date.GetTicks(), 123000)) << name;
    }
  }
}

TEST(DateTimeToUTC, MovesByTheStandardOffset) {
  ScopedZone zone("EST5EDT");
  qelDateTime date(kJuly);
  date.ToUTC();
  EXPECT_EQ(date.GetTicks(), kJuly + 4 * 3600); // of which an hour is the season's
  date = kJanuary;
  date.ToUTC();
  EXPECT_EQ(date.GetTicks(), kJanuary + 5 * 3600);
}

TEST(DateTimeToUTC, IsAnHourOffBesideAChangeOfTheSeason) {
  ScopedZone zone("EST5EDT");
  qelDateTime date = At(1615703400); // 01:30 on the 14th of March 2021, and 06:30 in UTC
  date.ToUTC();
  EXPECT_EQ(ISO(date), "2021-03-14T07:30:00");
  EXPECT_EQ(date.GetTicks(), 1615703400 + 5 * 3600);
}

TEST(DateTimeToUTC, IsInvalidForAReadingBefore1970) {
  ScopedZone zone("CET-1CEST");
  qelDateTime date = At(1800); // 01:30 there
  date.ToUTC();
  EXPECT_TRUE(date == At(-1, -1));
}

TEST(DateTimeToUTC, ChangesNothingInUTCAndKeepsAnInvalidValueInvalid) {
  qelDateTime date = At(kJuly, 123000);
  date.ToUTC();
  EXPECT_TRUE(date == At(kJuly, 123000));
  date = qelDateTime();
  date.ToUTC();
  EXPECT_FALSE(date.IsValid());
}

// Time and calendar ----------------------------------------------------------------

TEST(DateTimeNow, HasNoMicroseconds) {
  ScopedClock clock(kJuly, 123456);
  EXPECT_TRUE(qelDateTime::Now() == At(kJuly, 0));
}

TEST(DateTimeNow, IsTheSystemsTime) {
  const std::time_t before = std::time(nullptr);
  const qelDateTime now = qelDateTime::Now();
  EXPECT_TRUE(now.IsValid());
  EXPECT_GE(now.GetTicks() + 1, before);
  EXPECT_LE(now.GetTicks(), std::time(nullptr) + 1);
}

TEST(DateTimeUNow, HasMicroseconds) {
  ScopedClock clock(kJuly, 123456);
  EXPECT_TRUE(qelDateTime::UNow() == At(kJuly, 123456));
}

TEST(DateTimeGetCurrentYear, IsTheLocalYear) {
  ScopedClock clock(1704067200); // 2024-01-01 00:00:00 UTC
  EXPECT_EQ(qelDateTime::GetCurrentYear(), 2024);
  ScopedZone zone("EST5EDT");
  EXPECT_EQ(qelDateTime::GetCurrentYear(), 2023);
}

TEST(DateTimeIsLeapYear, DividesBy4And100And400) {
  const struct {
    qelLong year;
    bool leap;
  } cases[] = {{2000, true},  {1900, false}, {2024, true},  {2023, false},
               {2100, false}, {2400, true},  {1970, false}, {0, true},
               {-4, true},    {-1, false},   {-100, false}, {4, true}};
  for (const auto& c : cases)
    EXPECT_EQ(qelDateTime::IsLeapYear(c.year), c.leap) << c.year;
}

TEST(DateTimeIsLeapYear, SpeaksOfTheCurrentYearForMinus32768) {
  ScopedClock clock(1704067200 + 86400); // 2024
  EXPECT_TRUE(qelDateTime::IsLeapYear(-32768));
  EXPECT_EQ(qelDateTime::GetNumberOfDays(qelDateTime::February, -32768), 29);
  clock.Set(kJuly); // 2021
  EXPECT_FALSE(qelDateTime::IsLeapYear(-32768));
  EXPECT_EQ(qelDateTime::GetNumberOfDays(qelDateTime::February, -32768), 28);
}

TEST(DateTimeGetNumberOfDays, ReadsTheTable) {
  const int common[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  for (int month = 0; month < 12; ++month) {
    EXPECT_EQ(qelDateTime::GetNumberOfDays(M(month), 2023), common[month]) << month;
    EXPECT_EQ(qelDateTime::GetNumberOfDays(M(month), 2024), common[month] + (month == 1)) << month;
  }
}

TEST(DateTimeGetNumberOfDays, KnowsTheCenturies) {
  EXPECT_EQ(qelDateTime::GetNumberOfDays(qelDateTime::February, 1900), 28);
  EXPECT_EQ(qelDateTime::GetNumberOfDays(qelDateTime::February, 2000), 29);
}

TEST(DateTimeGetNumberOfDays, IsZeroForWhatIsNoMonth) {
  EXPECT_EQ(qelDateTime::GetNumberOfDays(M(12), 2024), 0);
  EXPECT_EQ(qelDateTime::GetNumberOfDays(M(-1), 2024), 0);
  EXPECT_EQ(qelDateTime::GetNumberOfDays(M(INT_MAX), 2024), 0);
}

// Against the runtime library ------------------------------------------------------

TEST(DateTimeModel, ShowsWhatTheRuntimeLibraryShows) {
  std::mt19937 random(9);
  for (const char* name : kZones) {
    ScopedZone zone(name);
    for (int i = 0; i < 500; ++i) {
      const int32_t seconds = static_cast<int32_t>(random() >> 1);
      const std::time_t moment = seconds;
      const std::tm expected = *std::localtime(&moment);
      const qelDateTime date(seconds);
      ASSERT_EQ(date.GetYear(), expected.tm_year + 1900) << name << " " << seconds;
      ASSERT_EQ(date.GetMonth(), expected.tm_mon + 1) << name << " " << seconds;
      ASSERT_EQ(date.GetDay(), expected.tm_mday) << name << " " << seconds;
      ASSERT_EQ(date.GetHour(), expected.tm_hour) << name << " " << seconds;
      ASSERT_EQ(date.GetMinute(), expected.tm_min) << name << " " << seconds;
      ASSERT_EQ(date.GetSecond(), expected.tm_sec) << name << " " << seconds;
      char text[40];
      std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &expected);
      ASSERT_STREQ(date.FormatISO().c_str(), text) << name;
    }
  }
}

TEST(DateTimeModel, MakesWhatTheRuntimeLibraryMakes) {
  std::mt19937 random(10);
  const auto below = [&random](int bound) { return static_cast<int>(random() % unsigned(bound)); };
  for (const char* name : kZones) {
    ScopedZone zone(name);
    for (int i = 0; i < 500; ++i) {
      std::tm fields = {};
      fields.tm_mday = below(60);
      fields.tm_mon = below(14);
      fields.tm_year = 71 + below(66);
      fields.tm_hour = below(30);
      fields.tm_min = below(70);
      fields.tm_sec = below(70);
      fields.tm_isdst = -1;
      const qelDateTime date(static_cast<uint16_t>(fields.tm_mday), M(fields.tm_mon),
                             fields.tm_year + 1900, static_cast<uint16_t>(fields.tm_hour),
                             static_cast<uint16_t>(fields.tm_min),
                             static_cast<uint16_t>(fields.tm_sec), 7);
      ASSERT_TRUE(date == At(static_cast<int32_t>(std::mktime(&fields)), 7000)) << name;
    }
  }
}

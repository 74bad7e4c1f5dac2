#include <qel/multiplatform/qelTime.h>

#include <atomic>
#include <climits>
#include <cstdlib>
#include <ctime>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/core/UInt64.h>
#include <qel/multiplatform/qelTimeSystem.h>

#include <tests/support/Clock.h>
#include <tests/support/LogCapture.h>
#include <tests/support/Zone.h>

using testing::ElementsAre;
using testing::IsEmpty;

static const char* const kZones[] = {"UTC0",     "EST5EDT",    "CET-1CEST",  "PST8PDT",
                                     "IST-5:30", "NST3:30NDT", "NZST-12NZDT"};

static qeltm Fields(int year, int month, int day, int hour, int minute, int second, int isdst) {
  qeltm fields = {};
  fields.year = year - 1900;
  fields.mon = month - 1;
  fields.mday = day;
  fields.hour = hour;
  fields.min = minute;
  fields.sec = second;
  fields.isdst = isdst;
  fields.wday = 99;
  fields.yday = 99;
  fields.msec = 77;
  return fields;
}

static std::string Shown(const qeltm& fields) {
  char text[120];
  snprintf(text, sizeof text, "%d-%d-%d %d:%d:%d dst %d wday %d yday %d msec %d",
           fields.year + 1900, fields.mon + 1, fields.mday, fields.hour, fields.min, fields.sec,
           fields.isdst, fields.wday, fields.yday, fields.msec);
  return text;
}

static std::string Shown(const std::tm& fields) {
  qeltm same = Fields(fields.tm_year + 1900, fields.tm_mon + 1, fields.tm_mday, fields.tm_hour,
                      fields.tm_min, fields.tm_sec, fields.tm_isdst);
  same.wday = fields.tm_wday;
  same.yday = fields.tm_yday;
  same.msec = 0;
  return Shown(same);
}

// Clocks -------------------------------------------------------------------------

TEST(TimeGetTimeOfDay, ReadsTheSystemClock) {
  const std::time_t before = std::time(nullptr);
  qeltimeval now = {-1, -1};
  qelTime_GetTimeOfDay(&now);
  const std::time_t after = std::time(nullptr);
  EXPECT_GE(now.seconds + 1, before); // the coarse clock may be late
  EXPECT_LE(now.seconds, after + 1);
  EXPECT_GE(now.microseconds, 0);
  EXPECT_LT(now.microseconds, 1000000);
}

TEST(TimeGetTimeOfDay, DoesNothingForANullArgument) {
  static int readings = 0;
  qelTime_SetClockForTest([](qeltimeval*) { ++readings; });
  qelTime_GetTimeOfDay(nullptr);
  qelTime_SetClockForTest(nullptr);
  EXPECT_EQ(readings, 0);
}

TEST(TimeGet, ReturnsAndStoresTheSeconds) {
  ScopedClock clock(1234, 999999);
  int32_t seconds = 0;
  EXPECT_EQ(qelTime_Get(&seconds), 1234);
  EXPECT_EQ(seconds, 1234);
  EXPECT_EQ(qelTime_Get(nullptr), 1234);
}

TEST(TimeGetLocalTimeMS, CountsMillisecondsSince1970) {
  ScopedClock clock(1625140800, 123999);
  LogCapture log;
  qeluint64 ms;
  qelTime_GetLocalTimeMS(&ms);
  EXPECT_EQ(ms.GetValue(), 1625140800123u);
  clock.Set(INT32_MAX, 999999);
  qelTime_GetLocalTimeMS(&ms);
  EXPECT_EQ(ms.GetValue(), 2147483647999u);
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST(TimeGetLocalTimeMS, LogsAnOverflowOfTheProductAndGoesOn) {
  ScopedClock clock(INT32_MIN, 5000); // where a clock of 32 bits stands after January 2038
  LogCapture log;
  qeluint64 ms;
  qelTime_GetLocalTimeMS(&ms);
  EXPECT_EQ(static_cast<int64_t>(ms.GetValue()), int64_t(INT32_MIN) * 1000 + 5);
  EXPECT_THAT(log.Texts(), ElementsAre("qelTime: qelTime_GetLocalTimeMS overflow 1\n"));
  EXPECT_EQ(log.Lines()[0].level, 1u);
  EXPECT_EQ(log.Lines()[0].module, 58u);
  EXPECT_EQ(log.Lines()[0].file, "..\\..\\qelTime");
}

TEST(TimeGetLocalTimeMS, LogsAnOverflowOfTheSumAndGoesOn) {
  ScopedClock clock(-1, 1001000); // no system's clock does that
  LogCapture log;
  qeluint64 ms;
  qelTime_GetLocalTimeMS(&ms);
  EXPECT_EQ(ms.GetValue(), 1u);
  EXPECT_THAT(log.Texts(), ElementsAre("qelTime: qelTime_GetLocalTimeMS overflow 1\n",
                                       "qelTime: qelTime_GetLocalTimeMS overflow 2\n"));
  EXPECT_EQ(log.Lines()[1].level, 1u);
  EXPECT_EQ(log.Lines()[1].module, 58u);
  EXPECT_EQ(log.Lines()[1].file, "..\\..\\qelTime");
}

TEST(TimeGetTickCount, DoesNotRunBackward) {
  const uint32_t first = qelTime_GetTickCount();
  const uint32_t second = qelTime_GetTickCount();
  EXPECT_LT(second - first, 0x80000000u);
}

TEST(TimeGetTickCount, ComesFromTheTestsTickWhileThatStands) {
  ScopedTickCount tick(0xFFFFFFF0);
  EXPECT_EQ(qelTime_GetTickCount(), 0xFFFFFFF0u);
  tick.Set(8);
  EXPECT_EQ(qelTime_GetTickCount(), 8u);
}

// Calendar -----------------------------------------------------------------------

TEST(TimeMakeTime, NormalisesTheFields) {
  const struct {
    qeltm given;
    const char* shown;
    int32_t seconds;
  } cases[] = {
      {Fields(1970, 1, 1, 0, 0, 0, -1), "1970-1-1 0:0:0 dst 0 wday 4 yday 0 msec 77", 0},
      {Fields(2021, 2, 31, 0, 0, 0, -1), "2021-3-3 0:0:0 dst 0 wday 3 yday 61 msec 77", 1614729600},
      {Fields(2021, 12, 31, 24, 0, 0, -1), "2022-1-1 0:0:0 dst 0 wday 6 yday 0 msec 77",
       1640995200},
      {Fields(2021, 15, 1, 0, 0, 0, 0), "2022-3-1 0:0:0 dst 0 wday 2 yday 59 msec 77", 1646092800},
      {Fields(2021, 0, 1, 0, 0, 0, -1), "2020-12-1 0:0:0 dst 0 wday 2 yday 335 msec 77",
       1606780800},
      {Fields(2021, 3, 0, 0, 0, -1, -1), "2021-2-27 23:59:59 dst 0 wday 6 yday 57 msec 77",
       1614470399},
      {Fields(2038, 1, 19, 3, 14, 8, -1), "2038-1-19 3:14:8 dst 0 wday 2 yday 18 msec 77",
       INT32_MIN},
  };
  ScopedZone zone("UTC0");
  for (const auto& c : cases) {
    qeltm fields = c.given;
    EXPECT_EQ(qelTime_MakeTime(&fields), c.seconds) << c.shown;
    EXPECT_EQ(Shown(fields), c.shown);
  }
}

TEST(TimeMakeTime, ReturnsTheLow32BitsOfAMomentUpToTheYear3000) {
  ScopedZone zone("UTC0");
  qeltm fields = Fields(3000, 12, 31, 12, 0, 0, -1);
  EXPECT_EQ(qelTime_MakeTime(&fields), static_cast<int32_t>(32535172800u & 0xFFFFFFFF));
  EXPECT_EQ(fields.wday, 3);
}

TEST(TimeMakeTime, FailsOutsideTheCalendarAndLeavesTheFields) {
  const struct {
    const char* zone;
    qeltm fields;
    const char* why;
  } cases[] = {
      {"UTC0", Fields(1969, 12, 31, 23, 59, 59, -1), "before 1970"},
      {"UTC0", Fields(1970, 1, 0, 12, 0, 0, -1), "before 1970 by the day"},
      {"UTC0", Fields(1900, 1, 0, 0, 0, 0, 0), "fields of 0"},
      {"CET-1CEST", Fields(1970, 1, 1, 0, 59, 59, -1), "before 1970 in UTC"},
      {"EST5EDT", Fields(1969, 12, 31, 20, 0, 0, -1), "a local year of 1969"},
      {"UTC0", Fields(3001, 1, 1, 0, 0, 0, -1), "above 3000"},
      {"UTC0", Fields(3000, 13, 1, 0, 0, 0, -1), "above 3000 by the month"},
      {"UTC0", Fields(INT_MAX - 10, 1, 1, 0, 0, 0, -1), "far above 3000"},
      {"UTC0", Fields(2021, INT_MAX, 1, 0, 0, 0, -1), "far above 3000 by the month"},
      {"UTC0", Fields(2021, -INT_MAX, 1, 0, 0, 0, -1), "far below 1970 by the month"},
  };
  for (const auto& c : cases) {
    ScopedZone zone(c.zone);
    qeltm fields = c.fields;
    EXPECT_EQ(qelTime_MakeTime(&fields), -1) << c.why;
    EXPECT_EQ(Shown(fields), Shown(c.fields)) << c.why;
  }
}

TEST(TimeMakeTime, ObeysTheDaylightFlag) {
  ScopedZone zone("EST5EDT");
  const struct {
    int isdst;
    int32_t seconds;
    const char* shown;
  } cases[] = {
      {-1, 1625155200, "2021-7-1 12:0:0 dst 1 wday 4 yday 181 msec 77"},
      {1, 1625155200, "2021-7-1 12:0:0 dst 1 wday 4 yday 181 msec 77"},
      {0, 1625158800, "2021-7-1 13:0:0 dst 1 wday 4 yday 181 msec 77"},
  };
  for (const auto& c : cases) {
    qeltm fields = Fields(2021, 7, 1, 12, 0, 0, c.isdst);
    EXPECT_EQ(qelTime_MakeTime(&fields), c.seconds) << c.isdst;
    EXPECT_EQ(Shown(fields), c.shown);
  }
}

TEST(TimeLocalTime, FailsBefore1970AndLeavesTheFields) {
  for (const char* name : kZones) {
    ScopedZone zone(name);
    for (int32_t seconds : {-1, -86400, INT32_MIN}) {
      qeltm fields = Fields(2021, 2, 3, 4, 5, 6, 0);
      const std::string before = Shown(fields);
      EXPECT_EQ(qelTime_LocalTime(&seconds, &fields), nullptr);
      EXPECT_EQ(qelTime_GMTime(&seconds, &fields), nullptr);
      EXPECT_EQ(Shown(fields), before);
    }
  }
}

TEST(TimeLocalTime, ClearsTheMilliseconds) {
  ScopedZone zone("EST5EDT");
  const int32_t seconds = 1625140800;
  qeltm fields = Fields(1, 1, 1, 1, 1, 1, 1);
  EXPECT_EQ(qelTime_LocalTime(&seconds, &fields), &fields);
  EXPECT_EQ(Shown(fields), "2021-7-1 8:0:0 dst 1 wday 4 yday 181 msec 0");
}

TEST(TimeLocalTime, ShowsTheYear1969WestOfGreenwich) {
  ScopedZone zone("EST5EDT");
  const int32_t seconds = 0;
  qeltm fields;
  ASSERT_NE(qelTime_LocalTime(&seconds, &fields), nullptr);
  EXPECT_EQ(Shown(fields), "1969-12-31 19:0:0 dst 0 wday 3 yday 364 msec 0");
}

TEST(TimeGMTime, LeavesTheMillisecondsAlone) {
  ScopedZone zone("EST5EDT");
  const int32_t seconds = 1625140800;
  qeltm fields = Fields(1, 1, 1, 1, 1, 1, 1);
  EXPECT_EQ(qelTime_GMTime(&seconds, &fields), &fields);
  EXPECT_EQ(Shown(fields), "2021-7-1 12:0:0 dst 0 wday 4 yday 181 msec 77");
}

TEST(TimeCalendar, AgreesWithTheRuntimeLibraryInManyZones) {
  std::mt19937 random(20210203);
  for (const char* name : kZones) {
    ScopedZone zone(name);
    for (int i = 0; i < 3000; ++i) {
      // Moments of the system's own calendar, and some that wander with the clocks' changes.
      const int32_t seconds = static_cast<int32_t>(random() >> 1) / 900 * 900;
      const std::time_t moment = seconds;
      qeltm fields;
      qeltm utc = {};
      ASSERT_NE(qelTime_LocalTime(&seconds, &fields), nullptr);
      ASSERT_EQ(Shown(fields), Shown(*std::localtime(&moment))) << name << " " << seconds;
      ASSERT_NE(qelTime_GMTime(&seconds, &utc), nullptr);
      ASSERT_EQ(Shown(utc), Shown(*std::gmtime(&moment))) << seconds;
      if (fields.year >= 70) {
        qeltm again = fields;
        ASSERT_EQ(qelTime_MakeTime(&again), seconds) << name << " " << Shown(fields);
        ASSERT_EQ(Shown(again), Shown(fields));
      }
    }
  }
}

TEST(TimeCalendar, MakesTheTimesThatTheRuntimeLibraryMakes) {
  std::mt19937 random(7);
  const auto below = [&random](int bound) { return static_cast<int>(random() % unsigned(bound)); };
  for (const char* name : kZones) {
    ScopedZone zone(name);
    for (int i = 0; i < 3000; ++i) {
      qeltm fields = Fields(1971 + below(66), below(30) - 8, below(80) - 20, below(60) - 20,
                            below(150) - 50, below(150) - 50, below(3) - 1);
      std::tm same = {};
      same.tm_year = fields.year;
      same.tm_mon = fields.mon;
      same.tm_mday = fields.mday;
      same.tm_hour = fields.hour;
      same.tm_min = fields.min;
      same.tm_sec = fields.sec;
      same.tm_isdst = fields.isdst;
      const std::time_t moment = std::mktime(&same);
      const std::string given = Shown(fields);
      if (moment < 0 || same.tm_year < 70) {
        ASSERT_EQ(qelTime_MakeTime(&fields), -1) << name << " " << given;
        continue;
      }
      ASSERT_EQ(qelTime_MakeTime(&fields), static_cast<int32_t>(moment)) << name << " " << given;
      fields.msec = 0;
      ASSERT_EQ(Shown(fields), Shown(same)) << name << " " << given;
    }
  }
}

TEST(TimeCalendar, KeepsTheFieldsOfSeveralThreadsApart) {
  ScopedZone zone("EST5EDT");
  std::vector<std::thread> threads;
  std::atomic<int> mixedUp{0};
  for (int day = 1; day <= 4; ++day)
    threads.emplace_back([day, &mixedUp] {
      const int32_t seconds = 1625140800 + day * 86400;
      for (int i = 0; i < 5000; ++i) {
        qeltm local = {};
        qeltm utc = {};
        qelTime_LocalTime(&seconds, &local);
        qelTime_GMTime(&seconds, &utc);
        if (local.mday != day + 1 || local.hour != 8 || utc.mday != day + 1 || utc.hour != 12 ||
            qelTime_MakeTime(&local) != seconds)
          ++mixedUp;
      }
    });
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(mixedUp, 0);
}

// Arithmetic ---------------------------------------------------------------------

TEST(TimeCompare, OrdersBySecondsThenMicroseconds) {
  const struct {
    qeltimeval a;
    qeltimeval b;
    int order;
  } cases[] = {
      {{1, 0}, {2, 0}, -1},
      {{2, 0}, {1, 999999}, 1},
      {{1, 5}, {1, 6}, -1},
      {{1, 6}, {1, 5}, 1},
      {{1, 5}, {1, 5}, 0},
      {{-1, 0}, {0, 0}, -1},
      {{INT32_MIN, 0}, {INT32_MAX, 0}, -1},
      {{0, -1}, {0, 0}, -1},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(qelTime_Compare(&c.a, &c.b), c.order);
    EXPECT_EQ(qelTime_IsBefore(&c.a, &c.b), c.order < 0);
    EXPECT_EQ(qelTime_Compare(&c.b, &c.a), -c.order);
  }
}

static int64_t Total(const qeltimeval& tv) {
  return int64_t(tv.seconds) * 1000000 + tv.microseconds;
}

TEST(TimeSubtract, NormalisesTheMicrosecondsAndCarriesInTheSubtrahend) {
  const struct {
    qeltimeval a;
    qeltimeval b;
    qeltimeval result;
    qeltimeval carried;
    int before;
  } cases[] = {
      {{3, 500000}, {1, 200000}, {2, 300000}, {1, 200000}, 0},
      {{3, 200000}, {1, 500000}, {1, 700000}, {2, -500000}, 0},
      {{1, 0}, {1, 500000}, {-1, 500000}, {2, -500000}, 1},
      {{1, 0}, {3, 0}, {-2, 0}, {3, 0}, 1},
      {{1, 0}, {1, 0}, {0, 0}, {1, 0}, 0},
      {{5, 0}, {1, 1000000}, {2, 1000000}, {3, -1000000}, 0},
      {{5, 0}, {1, 2500000}, {1, 500000}, {4, -500000}, 0},
      {{5, 1000000}, {1, 0}, {4, 1000000}, {1, 0}, 0}, // not more than a second
      {{5, 1000001}, {1, 0}, {5, 1}, {0, 1000000}, 0},
      {{5, 3500000}, {9, 0}, {-1, 500000}, {6, 3000000}, 1},
  };
  for (const auto& c : cases) {
    qeltimeval b = c.b;
    qeltimeval result = {77, 77};
    EXPECT_EQ(qelTime_Subtract(&result, &c.a, &b), c.before) << Total(c.a) << " - " << Total(c.b);
    EXPECT_EQ(result.seconds, c.result.seconds) << Total(c.a) << " - " << Total(c.b);
    EXPECT_EQ(result.microseconds, c.result.microseconds) << Total(c.a) << " - " << Total(c.b);
    EXPECT_EQ(b.seconds, c.carried.seconds) << Total(c.a) << " - " << Total(c.b);
    EXPECT_EQ(b.microseconds, c.carried.microseconds) << Total(c.a) << " - " << Total(c.b);
  }
}

TEST(TimeSubtract, KeepsTheTotalsOfTheDifferenceAndOfTheSubtrahend) {
  std::mt19937 random(3);
  for (int i = 0; i < 20000; ++i) {
    const qeltimeval a = {static_cast<int32_t>(random() >> 2),
                          static_cast<int32_t>(random() % 5000000) - 2000000};
    const qeltimeval b = {static_cast<int32_t>(random() >> 2),
                          static_cast<int32_t>(random() % 5000000) - 2000000};
    qeltimeval carried = b;
    qeltimeval result;
    const int before = qelTime_Subtract(&result, &a, &carried);
    ASSERT_EQ(Total(result), Total(a) - Total(b));
    ASSERT_EQ(Total(carried), Total(b));
    ASSERT_GE(result.microseconds, 0);
    ASSERT_LE(result.microseconds, 1000000);
    ASSERT_EQ(before, a.seconds < carried.seconds);
    if (result.microseconds < 1000000) { // a whole second in the microseconds hides the order
      ASSERT_EQ(before, Total(a) < Total(b));
    }
  }
}

TEST(TimeSubtract, AcceptsTheResultInPlaceOfAnOperand) {
  qeltimeval a = {3, 200000};
  qeltimeval b = {1, 500000};
  EXPECT_EQ(qelTime_Subtract(&a, &a, &b), 0);
  EXPECT_EQ(Total(a), 1700000);
  a = {3, 200000};
  b = {1, 500000};
  EXPECT_EQ(qelTime_Subtract(&b, &a, &b), 0);
  EXPECT_EQ(Total(b), 1700000);
}

TEST(TimeAddMS, NormalisesAndReturnsTheSecondsWithTheCarry) {
  const struct {
    qeltimeval before;
    uint32_t ms;
    qeltimeval after;
    int32_t added;
  } cases[] = {
      {{10, 0}, 0, {10, 0}, 0},
      {{10, 0}, 999, {10, 999000}, 0},
      {{10, 0}, 1000, {11, 0}, 1},
      {{10, 999999}, 1, {11, 999}, 1},
      {{10, 999999}, 1999, {12, 998999}, 2},
      {{10, 0}, 0xFFFFFFFF, {4294977, 295000}, 4294967},
      {{10, 2000000}, 1, {12, 1000}, 2},
      {{10, -1}, 0, {9, 999999}, -1},
      {{INT32_MAX, 0}, 1000, {INT32_MIN, 0}, 1},
  };
  for (const auto& c : cases) {
    qeltimeval tv = c.before;
    EXPECT_EQ(qelTime_AddMS(&tv, c.ms), c.added) << Total(c.before) << " + " << c.ms;
    EXPECT_EQ(tv.seconds, c.after.seconds) << Total(c.before) << " + " << c.ms;
    EXPECT_EQ(tv.microseconds, c.after.microseconds) << Total(c.before) << " + " << c.ms;
  }
}

TEST(TimeSetFromNow, AddsToTheClock) {
  ScopedClock clock(100, 999000);
  qeltimeval tv = {-5, -5};
  qelTime_SetFromNow(&tv, 1002);
  EXPECT_EQ(tv.seconds, 102);
  EXPECT_EQ(tv.microseconds, 1000);
}

TEST(TimeRemainingMS, CountsDownToZeroAndStaysThere) {
  ScopedClock clock(100, 999000);
  qeltimeval tv;
  qelTime_SetFromNow(&tv, 1500);
  const struct {
    int32_t seconds;
    int32_t microseconds;
    uint32_t left;
  } cases[] = {
      {100, 999000, 1500}, {100, 999001, 1499}, {101, 999000, 500}, {102, 498999, 0},
      {102, 499000, 0},    {102, 499001, 0},    {200, 0, 0},        {0, 0, 102499},
  };
  for (const auto& c : cases) {
    clock.Set(c.seconds, c.microseconds);
    EXPECT_EQ(qelTime_RemainingMS(&tv), c.left) << c.seconds << "." << c.microseconds;
  }
  EXPECT_EQ(Total(tv), 102499000); // the argument is not carried
}

TEST(TimeRemainingMS, HoldsTheLongestTimeThatCanBeSet) {
  ScopedClock clock(100);
  qeltimeval tv;
  qelTime_SetFromNow(&tv, 0xFFFFFFFF);
  EXPECT_EQ(qelTime_RemainingMS(&tv), 0xFFFFFFFFu);
}

// Text and zones -----------------------------------------------------------------

static std::string HTTPDate() {
  char* text = qelTime_FormatHTTPDate();
  const std::string copy(text);
  free(text);
  return copy;
}

TEST(TimeFormatHTTPDate, WritesTheCurrentTimeInUTC) {
  const struct {
    int32_t seconds;
    const char* text;
  } cases[] = {
      {0, "Thu, 01 Jan 1970 00:00:00 GMT"},          {784111777, "Sun, 06 Nov 1994 08:49:37 GMT"},
      {951782400, "Tue, 29 Feb 2000 00:00:00 GMT"},  {1615939200, "Wed, 17 Mar 2021 00:00:00 GMT"},
      {1618617600, "Sat, 17 Apr 2021 00:00:00 GMT"}, {1621209600, "Mon, 17 May 2021 00:00:00 GMT"},
      {1623888000, "Thu, 17 Jun 2021 00:00:00 GMT"}, {1625140800, "Thu, 01 Jul 2021 12:00:00 GMT"},
      {1629158400, "Tue, 17 Aug 2021 00:00:00 GMT"}, {1631836800, "Fri, 17 Sep 2021 00:00:00 GMT"},
      {1634428800, "Sun, 17 Oct 2021 00:00:00 GMT"}, {1639699200, "Fri, 17 Dec 2021 00:00:00 GMT"},
      {INT32_MAX, "Tue, 19 Jan 2038 03:14:07 GMT"},
  };
  ScopedClock clock(0);
  for (const char* name : {"UTC0", "EST5EDT", "NZST-12NZDT"}) {
    ScopedZone zone(name);
    for (const auto& c : cases) {
      clock.Set(c.seconds, 999999);
      EXPECT_EQ(HTTPDate(), c.text) << name;
    }
  }
}

TEST(TimeFormatHTTPDate, SurvivesAClockBefore1970) {
  ScopedClock clock(-1);
  EXPECT_EQ(HTTPDate(), "Sun, 00 Jan 1900 00:00:00 GMT");
}

TEST(TimeGetTimeZone, ClearsBothFieldsFirst) {
  qeltimeval zone = {123456, 123456};
  const int result = qelTime_GetTimeZone(&zone);
  EXPECT_TRUE(result == 0 || result == -1);
  EXPECT_LE(std::abs(zone.seconds), 26 * 60); // minutes
  EXPECT_LE(std::abs(zone.microseconds), 120);
}

#include <qel/multiplatform/qelTime.h>

#include <climits>
#include <cstdlib>
#include <ctime>
#include <random>

#include <gtest/gtest.h>

#include <qel/core/DateTime.h>

#include <tests/support/Clock.h>
#include <tests/support/Zone.h>

#include <time.h>

// Zones of many kinds: half hours, half an hour of daylight saving, daylight saving in winter, changes
// of the standard offset, and none at all. Where the system has no zone files they all are UTC.
static const char* const kZones[] = {
    "Europe/Berlin",     "Europe/London",     "Europe/Dublin",       "Europe/Moscow",
    "America/New_York",  "America/St_Johns",  "America/Los_Angeles", "America/Caracas",
    "America/Sao_Paulo", "Asia/Kolkata",      "Asia/Kathmandu",      "Asia/Tokyo",
    "Asia/Pyongyang",    "Africa/Casablanca", "Australia/Sydney",    "Australia/Lord_Howe",
    "Pacific/Chatham",   "Pacific/Apia",      "Pacific/Kiritimati",  "UTC"};

TEST(TimePosixCalendar, AgreesWithTheRuntimeLibraryInNamedZones) {
  std::mt19937 random(11);
  for (const char* name : kZones) {
    ScopedZone zone(name);
    for (int i = 0; i < 2000; ++i) {
      const int32_t seconds = static_cast<int32_t>(random() >> 1);
      const time_t moment = seconds;
      struct tm expected;
      ASSERT_NE(::localtime_r(&moment, &expected), nullptr);
      const qelDateTime date(seconds);
      qeltm fields;
      ASSERT_TRUE(date.FetchTM(fields));
      ASSERT_EQ(fields.year, expected.tm_year) << name << " " << seconds;
      ASSERT_EQ(fields.mon, expected.tm_mon) << name << " " << seconds;
      ASSERT_EQ(fields.mday, expected.tm_mday) << name << " " << seconds;
      ASSERT_EQ(fields.hour, expected.tm_hour) << name << " " << seconds;
      ASSERT_EQ(fields.min, expected.tm_min) << name << " " << seconds;
      ASSERT_EQ(fields.sec, expected.tm_sec) << name << " " << seconds;
      ASSERT_EQ(fields.isdst, expected.tm_isdst) << name << " " << seconds;
      ASSERT_EQ(fields.wday, expected.tm_wday) << name << " " << seconds;
      ASSERT_EQ(fields.yday, expected.tm_yday) << name << " " << seconds;
    }
  }
}

TEST(TimePosixCalendar, FollowsAChangeOfTheZone) {
  const qelDateTime date(1625140800);
  ::setenv("TZ", "EST5EDT", 1); // without telling the runtime library
  EXPECT_EQ(date.GetHour(), 8);
  ::setenv("TZ", "IST-5:30", 1);
  EXPECT_EQ(date.GetHour(), 17);
  SetZoneForTest("UTC0");
  EXPECT_EQ(date.GetHour(), 12);
}

TEST(TimePosixCalendar, HasNoUTCReadingOfTheFirstHourInDaylightTime) {
  ScopedZone zone("AEST-10AEDT,M10.1.0,M4.1.0/3"); // summer in January
  qelDateTime date(3599);
  EXPECT_EQ(date.GetHour(), 11);
  date.ToUTC(); // takes the season's hour off first
  EXPECT_FALSE(date.IsValid());
}

TEST(TimePosixGetTickCount, CountsTheMillisecondsOfTheMonotonicClock) {
  struct timespec before;
  struct timespec after;
  ::clock_gettime(CLOCK_MONOTONIC, &before);
  const uint32_t tick = qelTime_GetTickCount();
  ::clock_gettime(CLOCK_MONOTONIC, &after);
  const auto ms = [](const struct timespec& time) {
    return static_cast<uint32_t>(time.tv_sec * 1000 + time.tv_nsec / 1000000);
  };
  EXPECT_LE(tick - ms(before), ms(after) - ms(before));
}

TEST(TimePosixGetTimeZone, GivesMinutesEastAndWhatDaylightSavingAdds) {
  const int32_t january = 1610000000;
  const int32_t july = 1625140800;
  const struct {
    const char* zone;
    int32_t now;
    int32_t standard;
    int32_t daylight;
  } cases[] = {
      {"UTC0", july, 0, 0},
      {"EST5EDT", january, -300, 0},
      {"EST5EDT", july, -300, 60},
      {"CET-1CEST,M3.5.0,M10.5.0/3", january, 60, 0},
      {"CET-1CEST,M3.5.0,M10.5.0/3", july, 60, 60},
      {"IST-5:30", january, 330, 0}, // a zone without daylight saving counts as standard time
      {"IST-5:30", july, 330, 0},
      {"NST3:30NDT", july, -210, 60},
      {"AEST-10AEDT,M10.1.0,M4.1.0/3", january, 600, 60},
      {"AEST-10AEDT,M10.1.0,M4.1.0/3", july, 600, 0},
      {"LHST-10:30LHDT-11,M10.1.0,M4.1.0", january, 630, 30},
  };
  ScopedClock clock(0);
  for (const auto& c : cases) {
    ScopedZone zone(c.zone);
    clock.Set(c.now);
    qeltimeval tv = {99, 99};
    EXPECT_EQ(qelTime_GetTimeZone(&tv), 0) << c.zone;
    EXPECT_EQ(tv.seconds, c.standard) << c.zone;
    EXPECT_EQ(tv.microseconds, c.daylight) << c.zone;
  }
}

TEST(TimePosixGetTimeZone, AddsUpToTheOffsetInNamedZones) {
  ScopedClock clock(0);
  for (const char* name : kZones) {
    ScopedZone zone(name);
    for (int32_t now = 1672531200; now < 1704067200; now += 86400) { // the days of 2023
      clock.Set(now);
      const time_t moment = now;
      struct tm local;
      ::localtime_r(&moment, &local);
      qeltimeval tv;
      ASSERT_EQ(qelTime_GetTimeZone(&tv), 0);
      ASSERT_EQ(tv.seconds + tv.microseconds, local.tm_gmtoff / 60) << name << " " << now;
      ASSERT_EQ(tv.microseconds != 0, local.tm_isdst > 0) << name << " " << now;
    }
  }
}

TEST(TimePosixGetTimeZone, FailsWithAClockBefore1970) {
  ScopedClock clock(-1);
  qeltimeval tv = {99, 99};
  EXPECT_EQ(qelTime_GetTimeZone(&tv), -1);
  EXPECT_EQ(tv.seconds, 0);
  EXPECT_EQ(tv.microseconds, 0);
}

TEST(TimePosixFromFileTime, KeepsTheMomentToTheMillisecond) {
  const struct {
    const char* zone;
    int64_t seconds;
    long nanoseconds;
    int32_t microseconds;
  } cases[] = {
      {"UTC0", 0, 0, 0},
      {"UTC0", 1625140800, 123456789, 123000},
      {"UTC0", 1625140800, 999999999, 999000},
      {"EST5EDT", 1625140800, 0, 0},
      {"EST5EDT", 1636263000, 0, 0}, // 01:30 for the first time on the day of the change
      {"EST5EDT", 1636266600, 0, 0}, // and for the second time
      {"UTC0", INT32_MAX, 0, 0},
  };
  for (const auto& c : cases) {
    ScopedZone zone(c.zone);
    struct timespec stamp = {};
    stamp.tv_sec = c.seconds;
    stamp.tv_nsec = c.nanoseconds;
    qeltimeval tv = {-5, -5};
    EXPECT_EQ(qelTime_FromFileTime(&stamp, &tv), 0) << c.seconds;
    EXPECT_EQ(tv.seconds, static_cast<int32_t>(c.seconds));
    EXPECT_EQ(tv.microseconds, c.microseconds) << c.seconds;
  }
}

TEST(TimePosixFromFileTime, FailsOutsideTheCalendar) {
  const struct {
    const char* zone;
    int64_t seconds;
  } cases[] = {
      {"UTC0", -1},          {"UTC0", INT64_MIN},
      {"UTC0", INT64_MAX},   {"EST5EDT", 3600}, // a local year of 1969
      {"UTC0", 32535216000},                    // 3001
      {"UTC0", 4294967295},                     // reads as -1
  };
  for (const auto& c : cases) {
    ScopedZone zone(c.zone);
    struct timespec stamp = {};
    stamp.tv_sec = c.seconds;
    qeltimeval tv = {-5, -5};
    EXPECT_EQ(qelTime_FromFileTime(&stamp, &tv), -1) << c.seconds;
    EXPECT_EQ(tv.seconds, -5) << c.seconds;
    EXPECT_EQ(tv.microseconds, -5) << c.seconds;
  }
}

#include <qel/multiplatform/qelTime.h>

#include <gtest/gtest.h>

#include <tests/support/Zone.h>

#include <windows.h>

static const uint64_t kTicksAt1970 = 116444736000000000u;

static FILETIME Stamp(uint64_t ticks) {
  FILETIME stamp;
  stamp.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
  stamp.dwLowDateTime = static_cast<DWORD>(ticks);
  return stamp;
}

// What the system takes off a UTC stamp at present to make it local, in seconds.
static int32_t LocalBias() {
  const FILETIME utc = Stamp(kTicksAt1970 * 2);
  FILETIME local;
  ::FileTimeToLocalFileTime(&utc, &local);
  const uint64_t ticks = static_cast<uint64_t>(local.dwHighDateTime) << 32 | local.dwLowDateTime;
  return static_cast<int32_t>(
      (static_cast<int64_t>(kTicksAt1970 * 2) - static_cast<int64_t>(ticks)) / 10000000);
}

TEST(TimeWindowsGetTickCount, IsTheSystems) {
  const DWORD before = ::GetTickCount();
  const uint32_t tick = qelTime_GetTickCount();
  const DWORD after = ::GetTickCount();
  EXPECT_LE(tick - before, after - before);
}

TEST(TimeWindowsGetTimeZone, TellsTheSystemsZoneInMinutes) {
  TIME_ZONE_INFORMATION zone;
  const DWORD season = ::GetTimeZoneInformation(&zone);
  qeltimeval tv = {99, 99};
  const int result = qelTime_GetTimeZone(&tv);
  if (season == TIME_ZONE_ID_STANDARD) {
    EXPECT_EQ(result, 0);
    EXPECT_EQ(tv.seconds, -zone.Bias - zone.StandardBias);
    EXPECT_EQ(tv.microseconds, 0);
  } else if (season == TIME_ZONE_ID_DAYLIGHT) {
    EXPECT_EQ(result, 0);
    EXPECT_EQ(tv.seconds, -zone.Bias);
    EXPECT_EQ(tv.microseconds, -zone.DaylightBias);
  } else {
    EXPECT_EQ(result, -1); // a zone without daylight saving
    EXPECT_EQ(tv.seconds, -zone.Bias);
    EXPECT_EQ(tv.microseconds, 0);
  }
}

// The runtime library is in UTC here, so what the system makes local stays as it is.
TEST(TimeWindowsFromFileTime, MakesSecondsOfTheLocalFields) {
  ScopedZone zone("UTC0");
  const FILETIME stamp = Stamp(kTicksAt1970 + 1625140800u * uint64_t(10000000) + 1239999);
  qeltimeval tv = {-5, -5};
  EXPECT_EQ(qelTime_FromFileTime(&stamp, &tv), 0);
  EXPECT_EQ(tv.seconds, 1625140800 - LocalBias());
  EXPECT_EQ(tv.microseconds, 123000);
}

TEST(TimeWindowsFromFileTime, LetsTheRuntimeLibraryFindTheSeason) {
  ScopedZone zone("EST5EDT");
  const FILETIME stamp = Stamp(kTicksAt1970 + 1625140800u * uint64_t(10000000));
  qeltimeval tv = {-5, -5};
  EXPECT_EQ(qelTime_FromFileTime(&stamp, &tv), 0);
  EXPECT_EQ(tv.seconds, 1625140800 - LocalBias() + 4 * 3600);
}

TEST(TimeWindowsFromFileTime, FailsOutsideTheCalendar) {
  ScopedZone zone("UTC0");
  for (uint64_t ticks : {uint64_t(0), kTicksAt1970 - 2 * 864000000000u, ~uint64_t(0),
                         uint64_t(0x7FFFFFFFFFFFFFFF), kTicksAt1970 + 40000000000u * 10000000u}) {
    const FILETIME stamp = Stamp(ticks);
    qeltimeval tv = {-5, -5};
    EXPECT_EQ(qelTime_FromFileTime(&stamp, &tv), -1) << ticks;
    EXPECT_EQ(tv.seconds, -5) << ticks;
    EXPECT_EQ(tv.microseconds, -5) << ticks;
  }
}

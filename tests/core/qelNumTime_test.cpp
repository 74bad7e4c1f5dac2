#include <qel/core/qelNum.h>

#include <string>

#include <gtest/gtest.h>

// Dates ------------------------------------------------------------------------

static std::string ISOFields(const char* text) {
  int fields[9] = {7, 7, 7, 7, 7, 7, 7, 7, 7};
  const int result = qelNum_ParseISODateTime(text, fields);
  std::string shown = result == 0 ? "" : std::to_string(result) + ":";
  for (int field : fields)
    shown += (shown.empty() || shown.back() == ':' ? "" : " ") + std::to_string(field);
  return shown;
}

TEST(NumParseISODateTime, FillsTheFields) {
  const struct {
    const char* text;
    const char* fields;
  } kRows[] = {
      {"2021-02", "2021 2 0 0 0 0 0 0 0"},
      {"2021-02-03", "2021 2 3 0 0 0 0 0 0"},
      {"2021-02-03T04", "2021 2 3 4 0 0 0 0 0"},
      {"2021-02-03T04:05", "2021 2 3 4 5 0 0 0 0"},
      {"2021-02-03T04:05:06", "2021 2 3 4 5 6 0 0 0"},
      {"2021-02-03T04:05:06Z", "2021 2 3 4 5 6 0 0 0"},
      {"2021-02-03T04:05:06.7", "2021 2 3 4 5 6 7 0 0"},
      {"2021-02-03T04:05:06.789Z", "2021 2 3 4 5 6 789 0 0"},
      {"2021-02-03T04:05:06.7+01:30", "2021 2 3 4 5 6 7 1 30"},
      {"2021-02-03T04:05:06.7-01:30", "2021 2 3 4 5 6 7 -1 30"},
      {"2021-02-03T04:05:06+01:30", "2021 2 3 4 5 6 0 1 30"},
      {"2021-02-03T04:05:06-01:30", "2021 2 3 4 5 6 0 -1 30"},
      {"2021-02-03T04:05:06-01", "2021 2 3 4 5 6 0 -1 0"},
      {"2021-02-03T04:05:06-00:30", "2021 2 3 4 5 6 0 0 30"},
      {"2021-02-03T04:05:06.7:01", "2021 2 3 4 5 6 7 1 0"}, // any delimiter but "Z" begins the zone
      {"2021-02-03T04:05:06.7T01", "2021 2 3 4 5 6 7 1 0"},
      {"2021-02-03T04:05:06.7.01", "2021 2 3 4 5 6 7 1 0"},
      {"0-1", "0 1 0 0 0 0 0 0 0"},
      {"9999-12-31T23:59:59.999+23:59", "9999 12 31 23 59 59 999 23 59"},
      {"00002021-002", "2021 2 0 0 0 0 0 0 0"},
      {" 2021- 2", "2021 2 0 0 0 0 0 0 0"},
  };
  for (const auto& row : kRows)
    EXPECT_EQ(ISOFields(row.text), row.fields) << row.text;
}

TEST(NumParseISODateTime, ClearsTheFieldsOfAMalformedText) {
  for (const char* text : {
           "",
           "2021",
           "x",
           "-",
           "2021-",
           "-02",
           "2021-02-",
           "2021--02",
           "2021-0",
           "2021-13",
           "2021-02-0",
           "2021-02-32",
           "10000-02",
           "2021-02-03T24",
           "2021-02-03T04:60",
           "2021-02-03T04:05:60",
           "2021-02-03T04:05:06.1000",
           "2021-02-03T04:05:06+24",
           "2021-02-03T04:05:06+01:60",
           "2021:02",
           "2021-02T03",
           "2021-02-03 04:05",
           "2021-02-03-04",
           "2021-02-03T04-05",
           "2021-02-03T04:05Z",
           "2021-02-03Z",
           "2021-02-03T",
           "2021-02-03T04:05:",
           "2021-02-03T04:05:06.",
           "2021-02-03T04:05:06+",
           "2021-02-03T04:05:06:07",
           "2021-02-03T04:05:06T07",
           "2021-02-03T04:05:06ZZ",
           "2021-02-03T04:05:06Z1",
           "2021-02-03T04:05:06Z-",
           "2021-02-03T04:05:06.7Z01:30",
           "2021-02-03T04:05:06+01-30",
           "2021-02-03T04:05:06+01:30Z",
           "2021-02-03T04:05:06.7+01:30Z", // ten pieces
           "2021-02-03t04",
           "2021-02x",
           "2021 -02",
           "99999999999-02",
       })
    EXPECT_EQ(ISOFields(text), "-3:0 0 0 0 0 0 0 0 0") << text;
  EXPECT_EQ(ISOFields(nullptr), "-3:0 0 0 0 0 0 0 0 0");
}

// Clock times ------------------------------------------------------------------

typedef int (*ClockReader)(const char*, qelULong*, qelULong*);

struct ClockRow {
  const char* text;
  int result;
  uint32_t seconds;
  uint32_t milliseconds;
};

static void ExpectClock(ClockReader reader, const ClockRow& row) {
  qelULong seconds = 7;
  qelULong milliseconds = 7;
  EXPECT_EQ(reader(row.text, &seconds, &milliseconds), row.result) << row.text;
  EXPECT_EQ(seconds, row.seconds) << row.text;
  EXPECT_EQ(milliseconds, row.milliseconds) << row.text;
  seconds = 7;
  EXPECT_EQ(reader(row.text, &seconds, nullptr), row.result) << row.text;
  EXPECT_EQ(seconds, row.seconds) << row.text;
}

TEST(NumParseClock, ReadsSecondsMinutesAndHours) {
  const ClockRow kRows[] = {
      {"7", 0, 7, 0},
      {"59", 0, 59, 0},
      {"1:02", 0, 62, 0},
      {"01:02:03", 0, 3723, 0},
      {"1:02:03.500", 0, 3723, 500},
      {"7.5", 0, 7, 5},
      {"1:02.999", 0, 62, 999},
      {"00007.00999", 0, 7, 999},
      {"99999:59:59.999", 0, 359999999, 999},
      {"0", 0, 0, 0},
  };
  for (const ClockRow& row : kRows)
    ExpectClock(qelNum_ParseClock, row);
}

TEST(NumParseClock, RefusesAnythingElse) {
  for (const char* text : {static_cast<const char*>(nullptr),
                           "",
                           ":",
                           ".",
                           "60",
                           "1:60",
                           "60:00",
                           "1:60:00",
                           "1:2:60",
                           "100000:00:00",
                           "000001",
                           "1.1000",
                           "1.000500",
                           "1:2:3:4",
                           "1:2:3:4.5",
                           "1.2.3",
                           "1.2:3",
                           ".5",
                           "5.",
                           ":5",
                           "5:",
                           "1::2",
                           "a",
                           "1a",
                           "1:a",
                           " 1",
                           "1 ",
                           "+1",
                           "-1",
                           "1,5"})
    ExpectClock(qelNum_ParseClock, {text, -3, 0, 0});
}

TEST(NumParseNPT, ReadsHoursMinutesAndSeconds) {
  const ClockRow kRows[] = {
      {"0:00:01", 0, 1, 0},
      {"1:02:03", 0, 3723, 0},
      {"01:02:03.500", 0, 3723, 500},
      {"0:00:01.1/2", 0, 1, 500},
      {"0:00:01.1/3", 0, 1, 333},
      {"0:00:01.0/1", 0, 1, 0},
      {"0:00:01.999.9", 0, 1, 999}, // the number may have a point of its own
      {"0:00:01.5", 0, 1, 5},
      {"0:00:01. 5", 0, 1, 5},
      {":00:01", 0, 1, 0}, // no hours
      {"999999:59:59", 0, 3599999999u, 0},
      {"0:00:01.-0.5", 0, 1, 0},
  };
  for (const ClockRow& row : kRows)
    ExpectClock(qelNum_ParseNPT, row);
}

TEST(NumParseNPT, RefusesAnythingElse) {
  for (const char* text : {static_cast<const char*>(nullptr),
                           "",
                           "1",
                           "00:01",
                           "1:2:03",
                           "1:02:3",
                           "1:002:03",
                           "1:02:003",
                           "1:60:00",
                           "1:00:60",
                           "1000000:00:00",
                           "0000001:00:00",
                           "1:02:03:04",
                           "::",
                           ":::",
                           "0:00:",
                           "0::01",
                           "0:00:01.",
                           "0:00:01.x",
                           "0:00:01.1000",
                           "0:00:01.1/1",
                           "0:00:01.5/2",
                           "0:00:01.1/0",
                           "0:00:01.-1",
                           "0:00:01.-5/4",
                           "0:00:01.nan",
                           "0:00:01.inf",
                           "0:00:01.1e99",
                           "0:00:01.1:2",
                           "0:00:01 ",
                           " 0:00:01",
                           "0:00:01x",
                           "a:00:01",
                           "-1:00:01",
                           "0.5:00:01"})
    ExpectClock(qelNum_ParseNPT, {text, -3, 0, 0});
}

TEST(NumParseSeconds, ReadsOnTheScale) {
  const ClockRow kRows[] = {
      {"5", 0, 5, 0},
      {" +5", 0, 5, 0},
      {"5.250", 0, 5, 250},
      {"5.2", 0, 5, 2},
      {"5.999", 0, 5, 999},
      {"90000", 0, 90000, 0},
      {"4294967295.1", 0, UINT32_MAX, 1},
      {"4294967296", -1, UINT32_MAX, 0},
      {"4294967296.5", -1, UINT32_MAX, 0},
      {"5x", 1, 5, 0},
      {"5.25x", 4, 5, 25},
      {"5.2.3", 3, 5, 2},
      {"5.1000", -3, 0, 0},
      {"5.99999999999", -3, 0, 0},
      {"5.", -3, 0, 0},
      {"5.x", -3, 0, 0},
      {".5", -3, 0, 0},
      {"-5", -3, 0, 0},
      {"", -3, 0, 0},
      {nullptr, -3, 0, 0},
  };
  for (const ClockRow& row : kRows)
    ExpectClock(qelNum_ParseSeconds, row);
}

#define QEL_LOG_MODULE 42
#define QEL_LOG_FILE "..\\..\\core\\Log_test"

#include <cstddef>

#include <gtest/gtest.h>

#include <qel/core/Log.h>

#include <tests/support/LogCapture.h>

// The record is shared with the log library, so its layout is fixed.
static_assert(offsetof(qelLogRecord, file) == 8, "behind the log library's own");
static_assert(offsetof(qelLogRecord, line) == 16, "behind the file");
static_assert(sizeof(qelLogRecord::line) == 4, "32 bits");
static_assert(sizeof(_qelLog_Level) == 2, "a 16-bit threshold");

static int Counted(int* count) {
  return ++*count;
}

TEST(LogSite, StoresLevelModuleFileAndLine) {
  LogCapture log;
  QEL_LOG(1, "qelFile: text %d\n", 7);
  const uint32_t line = __LINE__ - 1;
  ASSERT_EQ(1u, log.Lines().size());
  const CapturedLine written = log.Lines()[0];
  EXPECT_EQ(1u, written.level);
  EXPECT_EQ(42u, written.module);
  EXPECT_EQ("..\\..\\core\\Log_test", written.file);
  EXPECT_EQ(line, written.line);
  EXPECT_EQ("qelFile: text 7\n", written.text);
}

TEST(LogSite, IsLiveBelowTheThresholdOnly) {
  static const struct {
    uint16_t threshold;
    int level;
    bool live;
  } kRows[] = {{0, 0, false}, {0, 1, false}, {1, 1, false},    {2, 1, true},
               {4, 4, false}, {5, 4, true},  {65535, 4, true}, {1, 0, true}};
  for (const auto& row : kRows) {
    LogCapture log(row.threshold);
    QEL_LOG(row.level, "x\n");
    EXPECT_EQ(row.live ? 1u : 0u, log.Lines().size()) << row.threshold << row.level;
  }
}

TEST(LogSite, EvaluatesNoArgumentOfADisabledLine) {
  LogCapture log(1);
  int count = 0;
  QEL_LOG(1, "%d\n", Counted(&count));
  EXPECT_EQ(0, count);
}

TEST(LogSite, EvaluatesEachArgumentOfALiveLineOnce) {
  LogCapture log(2);
  int count = 0;
  QEL_LOG(1, "%d\n", Counted(&count));
  EXPECT_EQ(1, count);
}

TEST(LogSite, EvaluatesNoArgumentOfAModuleThatIsNotWanted) {
  LogCapture log(2);
  int count = 0;
  ASSERT_EQ(0, qelToolsLog_SetModules("-42"));
  QEL_LOG(1, "%d\n", Counted(&count));
  qelToolsLog_SetModules(nullptr);
  EXPECT_EQ(0, count);
  EXPECT_TRUE(log.Lines().empty());
}

TEST(LogSite, IsOneStatement) {
  LogCapture log(2);
  if (log.Lines().empty())
    QEL_LOG(1, "first\n");
  else
    QEL_LOG(1, "second\n");
  EXPECT_EQ("first\n", log.All());
}

#include <companions/toolslog/qelixToolsLog.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/LogCapture.h"

namespace {

void WriteLine(uint32_t level, uint32_t module, const char* text) {
  qelLogRecord* record = qelLog_Begin(level, module);
  if (record == nullptr)
    return;
  record->file = "site";
  record->line = 7;
  qelLog_Append_F("%s", text);
  qelLog_End(record);
}

std::string ReadWhole(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

TEST(ToolsLog, LevelsBelowTheThresholdAreLive) {
  LogCapture capture(/*threshold=*/2);
  WriteLine(1, 0, "error\n");
  WriteLine(2, 0, "warning\n");
  EXPECT_THAT(capture.Texts(), testing::ElementsAre("error\n"));
}

TEST(ToolsLog, LineCarriesLevelModuleAndSite) {
  LogCapture capture;
  WriteLine(1, 42, "x\n");
  ASSERT_EQ(capture.Lines().size(), 1u);
  const CapturedLine line = capture.Lines()[0];
  EXPECT_EQ(line.level, 1u);
  EXPECT_EQ(line.module, 42u);
  EXPECT_EQ(line.file, "site");
  EXPECT_EQ(line.line, 7u);
}

TEST(ToolsLog, SiteMayAppendSeveralTimes) {
  LogCapture capture;
  qelLogRecord* record = qelLog_Begin(1, 0);
  ASSERT_NE(record, nullptr);
  qelLog_Append_F("a%d", 1);
  qelLog_Append_F("b%s\n", std::string(2000, 'x').c_str());
  qelLog_End(record);
  EXPECT_THAT(capture.Texts(), testing::ElementsAre("a1b" + std::string(2000, 'x') + "\n"));
}

TEST(ToolsLog, LineWrittenInsideAnotherComesOutOnItsOwn) {
  LogCapture capture;
  qelLogRecord* outer = qelLog_Begin(1, 0);
  qelLog_Append_F("outer ");
  WriteLine(1, 0, "inner\n");
  qelLog_Append_F("end\n");
  qelLog_End(outer);
  EXPECT_THAT(capture.Texts(), testing::ElementsAre("inner\n", "outer end\n"));
}

TEST(ToolsLog, AppendWithoutAnOpenLineDoesNothing) {
  LogCapture capture;
  qelLog_Append_F("lost\n");
  EXPECT_THAT(capture.Texts(), testing::IsEmpty());
}

TEST(ToolsLog, ModuleFilterListsRangesAndInverts) {
  LogCapture capture;
  ASSERT_EQ(qelToolsLog_SetModules("21,40-43"), 0);
  EXPECT_NE(qelLog_WillLog(1, 21), 0);
  EXPECT_NE(qelLog_WillLog(1, 43), 0);
  EXPECT_EQ(qelLog_WillLog(1, 44), 0);
  EXPECT_EQ(qelLog_Begin(1, 44), nullptr);
  ASSERT_EQ(qelToolsLog_SetModules("-21"), 0);
  EXPECT_EQ(qelLog_WillLog(1, 21), 0);
  EXPECT_NE(qelLog_WillLog(1, 22), 0);
  ASSERT_EQ(qelToolsLog_SetModules(nullptr), 0);
  EXPECT_NE(qelLog_WillLog(1, 21), 0);
}

TEST(ToolsLog, BadModuleFilterIsRefusedAndTheOldOneStays) {
  LogCapture capture;
  ASSERT_EQ(qelToolsLog_SetModules("5"), 0);
  for (const char* bad : {"x", "5,", ",5", "7-3", "5 6", "4294967296", "-"})
    EXPECT_EQ(qelToolsLog_SetModules(bad), 1) << bad;
  EXPECT_NE(qelLog_WillLog(1, 5), 0);
  EXPECT_EQ(qelLog_WillLog(1, 6), 0);
  ASSERT_EQ(qelToolsLog_SetModules(""), 0);
}

TEST(ToolsLog, CallbackThatLogsDoesNotDeadlock) {
  struct Local {
    static void OnLine(const qelToolsLogLine*, void* context) {
      ++*static_cast<int*>(context);
      WriteLine(1, 0, "from the callback\n");
    }
  };
  LogCapture quiet;
  int calls = 0;
  qelToolsLog_SetCallback(&Local::OnLine, &calls);
  WriteLine(1, 0, "x\n");
  EXPECT_EQ(calls, 1);
}

TEST(ToolsLog, FileSinkRotatesAndKeepsEveryLine) {
  const std::string path = testing::TempDir() + "qel_toolslog_test.log";
  const std::string older = testing::TempDir() + "qel_toolslog_test.1.log";
  std::remove(path.c_str());
  std::remove(older.c_str());
  LogCapture capture;
  ASSERT_EQ(qelToolsLog_SetFile(path.c_str(), /*maxBytes=*/200, /*maxFiles=*/1), 0);
  for (int i = 0; i < 6; ++i)
    WriteLine(1, 42, ("line " + std::to_string(i) + "\n").c_str());
  ASSERT_EQ(qelToolsLog_SetFile(nullptr, 0, 0), 0);
  const std::string all = ReadWhole(older) + ReadWhole(path);
  for (int i = 0; i < 6; ++i)
    EXPECT_THAT(all, testing::HasSubstr("L1 M42 site:7 line " + std::to_string(i)));
  EXPECT_THAT(ReadWhole(older), testing::Not(testing::IsEmpty()));
  std::remove(path.c_str());
  std::remove(older.c_str());
}

TEST(ToolsLog, FileThatCantBeOpenedIsReported) {
  EXPECT_EQ(qelToolsLog_SetFile(testing::TempDir().c_str(), 400, 1), 1);
}

TEST(ToolsLog, LinesOfTwoThreadsAreNeverMixed) {
  LogCapture capture;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([t] {
      for (int i = 0; i < 200; ++i) {
        qelLogRecord* record = qelLog_Begin(1, 0);
        for (int n = 0; n < 8; ++n)
          qelLog_Append_F("%d", t);
        qelLog_End(record);
      }
    });
  for (std::thread& thread : threads)
    thread.join();
  ASSERT_EQ(capture.Lines().size(), 800u);
  for (const std::string& text : capture.Texts())
    EXPECT_EQ(text, std::string(8, text[0]));
}

} // namespace

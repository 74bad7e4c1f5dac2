#include <companions/toolslog/qelixToolsLog.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/multiplatform/qelPlatform.h>

#include <tests/support/LogCapture.h>
#include <tests/support/RunProgram.h>
#include <tests/support/TempDir.h>

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

// Writes lines until a sink of three files has dropped the oldest, and gives what the files hold.
std::vector<std::string> RotateThreeFiles(const std::vector<std::string>& names) {
  const TempDir directory;
  LogCapture capture;
  EXPECT_EQ(qelToolsLog_SetFile(directory.Path(names[0]).c_str(), /*maxBytes=*/1, /*maxFiles=*/2),
            0);
  for (const char* text : {"first\n", "second\n", "third\n", "fourth\n"})
    WriteLine(1, 0, text);
  qelToolsLog_SetFile(nullptr, 0, 0);
  std::vector<std::string> contents;
  for (const std::string& name : names) {
    const std::string whole = ReadWhole(directory.Path(name));
    const size_t at = whole.find("site:7 ");
    contents.push_back(at != std::string::npos ? whole.substr(at + 7, 5) : whole);
  }
  return contents;
}

TEST(ToolsLog, OlderFilesAreNumberedAheadOfTheExtensionTheYoungestFirst) {
  const auto shown = testing::ElementsAre("fourt", "third", "secon", "");
  EXPECT_THAT(RotateThreeFiles({"app.log", "app.1.log", "app.2.log", "app.3.log"}), shown);
  EXPECT_THAT(RotateThreeFiles({"app", "app.1", "app.2", "app.3"}), shown);
}

TEST(ToolsLog, FileSinkContinuesAnExistingFile) {
  const TempDir directory;
  const std::string path = directory.Path("app.log");
  LogCapture capture;
  for (const char* text : {"first\n", "second\n"}) {
    ASSERT_EQ(qelToolsLog_SetFile(path.c_str(), /*maxBytes=*/10000, /*maxFiles=*/1), 0);
    WriteLine(1, 0, text);
    ASSERT_EQ(qelToolsLog_SetFile(nullptr, 0, 0), 0);
  }
  EXPECT_THAT(ReadWhole(path), testing::AllOf(testing::HasSubstr("site:7 first"),
                                              testing::HasSubstr("site:7 second")));
}

TEST(ToolsLog, FileThatCantBeOpenedIsReported) {
  EXPECT_EQ(qelToolsLog_SetFile(testing::TempDir().c_str(), 400, 1), 1);
}

TEST(ToolsLog, FileWithoutRoomOrWithTooManyOlderOnesIsRefused) {
  const TempDir directory;
  const std::string path = directory.Path("app.log");
  EXPECT_EQ(qelToolsLog_SetFile(path.c_str(), /*maxBytes=*/0, 1), 1);
  EXPECT_EQ(qelToolsLog_SetFile(path.c_str(), 400, /*maxFiles=*/200001), 1);
}

// Run in a program of its own by the tests behind it.
TEST(ToolsLogEnvironment, DISABLED_Child) {
  WriteLine(1, 42, "error\n");
  WriteLine(4, 42, "trace\n");
  WriteLine(1, 43, "other\n");
}

// What a program shows on standard error that is started with these variables.
std::string ShownWith(const char* level, const char* modules) {
  qelPlatform_SetEnvironment("QEL_LOG_LEVEL", level);
  qelPlatform_SetEnvironment("QEL_LOG_MODULES", modules);
  const ProgramResult result =
      RunProgram(testing::internal::GetArgvs()[0],
                 {"--gtest_also_run_disabled_tests", "--gtest_filter=*DISABLED_Child"});
  EXPECT_EQ(result.status, 0);
  qelPlatform_SetEnvironment("QEL_LOG_LEVEL", "");
  qelPlatform_SetEnvironment("QEL_LOG_MODULES", "");
  return result.err;
}

TEST(ToolsLogEnvironment, SetsLevelAndModulesWhenTheLibraryIsLoaded) {
  static const struct {
    const char *level, *modules;
    bool error, trace, other;
  } kRows[] = {
      {"", "", true, false, true},      {"5", "", true, true, true},
      {"1", "", false, false, false},   {"5", "42", true, true, false},
      {"2", "-42", false, false, true}, {"5x", "", true, false, true},
      {"65536", "", true, false, true},
  };
  for (const auto& row : kRows) {
    const std::string shown = ShownWith(row.level, row.modules);
    EXPECT_EQ(row.error, shown.find("L1 M42 site:7 error\n") != std::string::npos) << shown;
    EXPECT_EQ(row.trace, shown.find("L4 M42 site:7 trace\n") != std::string::npos) << shown;
    EXPECT_EQ(row.other, shown.find("L1 M43 site:7 other\n") != std::string::npos) << shown;
  }
}

TEST(ToolsLogEnvironment, AFaultyListOfModulesIsReportedAndAllLog) {
  const std::string shown = ShownWith("", "5,");
  EXPECT_THAT(shown, testing::HasSubstr("qelixToolsLog: QEL_LOG_MODULES is not a list"));
  EXPECT_THAT(shown, testing::HasSubstr("L1 M43 site:7 other\n"));
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

#include <qel/core/qelFatalError.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <trio.h>

#include <companions/toolslog/qelixToolsLog.h>
#include <qel/multiplatform/qelPlatform.h>

#include <tests/support/Fatal.h>
#include <tests/support/LogCapture.h>

// A child process that dies shows, on standard error and in their order, what it prints on standard
// output, its log lines as "{level,module,line:text}", and what its callback prints.

static const char kVariable[] = "QEL_FATALERROR_CALLBACK";

static void ShowLogLine(const qelToolsLogLine* line, void*) {
  fprintf(stderr, "{%lu,%lu,%lu:%s}", static_cast<unsigned long>(line->level),
          static_cast<unsigned long>(line->module), static_cast<unsigned long>(line->line),
          line->text);
}

static void StartChild(uint16_t logLevel = 2) {
  setvbuf(stdout, nullptr, _IONBF, 0);
  setvbuf(stderr, nullptr, _IONBF, 0);
  dup2(2, 1);
  qelToolsLog_SetStandardError(0);
  qelToolsLog_SetCallback(&ShowLogLine, nullptr);
  qelToolsLog_SetLevel(logLevel);
}

static std::string WithoutReturns(std::string text) {
  text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
  return text;
}

// Whether the child ended with exactly this on its output.
#define EXPECT_DEATH_SHOWS(statement, status, shown)                                               \
  do {                                                                                             \
    GTEST_FLAG_SET(death_test_style, "threadsafe");                                                \
    EXPECT_EXIT(statement, status,                                                                 \
                testing::ResultOf(WithoutReturns, testing::EndsWith(std::string(shown))));         \
  } while (0)

// The whole report of a reason, with " (size=...)" or the like behind it.
static std::string Report(const std::string& reason, const std::string& argument) {
  return "qelFatalError\nqelFatalError: " + reason + "{1,0,449:Fatal Error '" + reason + "'}" +
         argument + "\n{1,0,449:" + argument + "\n}";
}

static void ShowReason(const char* reason) {
  fprintf(stderr, "callback<%s>", reason != nullptr ? reason : "null");
}

static void EndItself(const char*) {
  _Exit(7);
}

static const uint32_t kSize = 4000000000u;

TEST(FatalError, ReportsAPlainReason) {
  EXPECT_DEATH_SHOWS((StartChild(), qelFatalError("os:mutex")), ExitedWithMinusOne,
                     Report("os:mutex", ""));
}

TEST(FatalError, ReportsTheSizeOfAMemoryReason) {
  EXPECT_DEATH_SHOWS((StartChild(), qelFatalError("memory:malloc", kSize, kSize)),
                     ExitedWithMinusOne, Report("memory:malloc", " (size=4000000000)"));
  EXPECT_DEATH_SHOWS((StartChild(), qelFatalError("memory:realloc", kSize, kSize)),
                     ExitedWithMinusOne, Report("memory:realloc", " (size=4000000000)"));
  EXPECT_DEATH_SHOWS((StartChild(), qelFatalError("memory:strdup", kSize, kSize)),
                     ExitedWithMinusOne, Report("memory:strdup", " (size=4000000000)"));
  EXPECT_DEATH_SHOWS((StartChild(), qelFatalError("memory:wcsdup", kSize, kSize)),
                     ExitedWithMinusOne, Report("memory:wcsdup", " (size=4000000000)"));
}

TEST(FatalError, ReportsTheTextOfAnAssert) {
  EXPECT_DEATH_SHOWS((StartChild(), qelFatalError("assert", "a > b", "a > b")), ExitedWithMinusOne,
                     Report("assert", " (reason='a > b')"));
}

TEST(FatalError, LogLineTakesTheFollowingArgument) {
  const std::string shown = "qelFatalError\nqelFatalError: memory:malloc"
                            "{1,0,449:Fatal Error 'memory:malloc'} (size=5)\n"
                            "{1,0,449: (size=6)\n}";
  EXPECT_DEATH_SHOWS((StartChild(), qelFatalError("memory:malloc", 5u, 6u)), ExitedWithMinusOne,
                     shown);
  EXPECT_DEATH_SHOWS((StartChild(), qelFatalError("assert", "first", "second")), ExitedWithMinusOne,
                     " (reason='first')\n{1,0,449: (reason='second')\n}");
}

TEST(FatalError, OnlyTheWholeReasonHasAnArgument) {
  EXPECT_DEATH_SHOWS((StartChild(), qelFatalError("memory:mallocs")), ExitedWithMinusOne,
                     Report("memory:mallocs", ""));
  EXPECT_DEATH_SHOWS((StartChild(), qelFatalError("memory:")), ExitedWithMinusOne,
                     Report("memory:", ""));
}

TEST(FatalError, ANullReasonIsAnUnknownOne) {
  EXPECT_DEATH_SHOWS((StartChild(), qelFatalError(nullptr)), ExitedWithMinusOne,
                     Report("unknown reason", ""));
}

TEST(FatalError, AllocationPassesTheLowHalfOfItsSize) {
  EXPECT_DEATH_SHOWS((StartChild(), qelFatalError("memory:malloc", uint32_t(0x100000005ull),
                                                  uint32_t(0x100000005ull))),
                     ExitedWithMinusOne, Report("memory:malloc", " (size=5)"));
}

TEST(FatalError, PrintsEvenWhenTheLogIsSilent) {
  EXPECT_DEATH_SHOWS((StartChild(1), qelFatalError("os:mutex")), ExitedWithMinusOne,
                     "qelFatalError\nqelFatalError: os:mutex\n");
}

static void ExitHandler() {
  fprintf(stderr, "handler");
}

struct Unwound {
  ~Unwound() { fprintf(stderr, "unwound"); }
};

TEST(FatalError, RunsNoHandlerAndUnwindsNothing) {
  EXPECT_DEATH_SHOWS(
      {
        StartChild();
        atexit(&ExitHandler);
        Unwound unwound;
        qelFatalError("os:mutex");
      },
      ExitedWithMinusOne, Report("os:mutex", ""));
}

// The callback -----------------------------------------------------------------

static void SetVariable(const std::string& value) {
  qelPlatform_SetEnvironment(kVariable, value.c_str());
}

// The callback's address: "%p" in hexadecimal, "%lu" in decimal.
static std::string AddressOf(qelFatalErrorCallback callback, const char* format) {
  char text[100];
  trio_snprintf(text, sizeof text, format, reinterpret_cast<void*>(callback));
  return text;
}

TEST(FatalErrorCallback, IsCalledWithTheReasonAndDoesNotStopTheExit) {
  EXPECT_DEATH_SHOWS(
      (StartChild(), qelFatalError_SetCallback(&ShowReason), qelFatalError("os:mutex")),
      ExitedWithMinusOne, Report("os:mutex", "") + "callback<os:mutex>");
}

TEST(FatalErrorCallback, MayEndTheProcessItself) {
  EXPECT_DEATH_SHOWS(
      (StartChild(), qelFatalError_SetCallback(&EndItself), qelFatalError("os:mutex")),
      testing::ExitedWithCode(7), Report("os:mutex", ""));
}

TEST(FatalErrorCallback, GetsANullReasonAsItIs) {
  EXPECT_DEATH_SHOWS((StartChild(), qelFatalError_SetCallback(&ShowReason), qelFatalError(nullptr)),
                     ExitedWithMinusOne, Report("unknown reason", "") + "callback<null>");
}

TEST(FatalErrorCallback, TheLastOneCounts) {
  EXPECT_DEATH_SHOWS((StartChild(), qelFatalError_SetCallback(&EndItself),
                      qelFatalError_SetCallback(&ShowReason), qelFatalError("os:mutex")),
                     ExitedWithMinusOne, "callback<os:mutex>");
}

TEST(FatalErrorCallback, NullMeansNone) {
  EXPECT_DEATH_SHOWS((StartChild(), qelFatalError_SetCallback(&EndItself),
                      qelFatalError_SetCallback(nullptr), qelFatalError("os:mutex")),
                     ExitedWithMinusOne, Report("os:mutex", ""));
}

TEST(FatalErrorCallback, LivesInTheEnvironmentAsHexadecimalText) {
  char text[40] = "";
  qelFatalError_SetCallback(&ShowReason);
  const size_t length = qelPlatform_GetEnvironment(kVariable, text, sizeof text);
  EXPECT_EQ(strlen(text), length);
  EXPECT_EQ(AddressOf(&ShowReason, "%p"), text);
  EXPECT_EQ(0, strncmp("0x", text, 2));
  EXPECT_EQ(reinterpret_cast<uintptr_t>(&ShowReason), strtoull(text, nullptr, 16));
  qelFatalError_SetCallback(nullptr);
}

TEST(FatalErrorCallback, IsReadAsHexadecimalOrDecimalText) {
  const std::string hexadecimal = AddressOf(&ShowReason, "%p");
  const std::string decimal =
      std::to_string(static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(&ShowReason)));
  EXPECT_DEATH_SHOWS((StartChild(), SetVariable(AddressOf(&ShowReason, "%p")), qelFatalError("x")),
                     ExitedWithMinusOne, "callback<x>");
  EXPECT_DEATH_SHOWS((StartChild(), SetVariable("0X" + AddressOf(&ShowReason, "%p").substr(2)),
                      qelFatalError("x")),
                     ExitedWithMinusOne, "callback<x>");
  EXPECT_DEATH_SHOWS((StartChild(), SetVariable(decimal), qelFatalError("x")), ExitedWithMinusOne,
                     "callback<x>");
  EXPECT_EQ(18u, hexadecimal.size());
}

TEST(FatalErrorCallback, OfAMalformedTextIsNotCalled) {
  const std::string address = AddressOf(&EndItself, "%p");
  const std::string kTexts[] = {
      "",   "zzz", address + "z",           address + " ",         "0x",
      "-1", "0xg", address.substr(2) + "x", "0x1ffffffffffffffff", "99999999999999999999999"};
  for (const std::string& text : kTexts) {
    SCOPED_TRACE(text);
    EXPECT_DEATH_SHOWS((StartChild(), SetVariable(text), qelFatalError("x")), ExitedWithMinusOne,
                       Report("x", ""));
  }
}

TEST(FatalErrorCallback, OfMoreThan39CharactersIsNotCalled) {
  const std::string address = AddressOf(&ShowReason, "%p").substr(2);
  const std::string longest = "0x" + std::string(37 - address.size(), '0') + address;
  ASSERT_EQ(39u, longest.size());
  EXPECT_DEATH_SHOWS((StartChild(), SetVariable(longest), qelFatalError("x")), ExitedWithMinusOne,
                     "callback<x>");
  EXPECT_DEATH_SHOWS((StartChild(), SetVariable("0x0" + longest.substr(2)), qelFatalError("x")),
                     ExitedWithMinusOne, Report("x", ""));
}

// The log ------------------------------------------------------------------------

TEST(FatalErrorLog, WritesALineOfLevelOneAndModuleZero) {
  LogCapture log;
  qelFatalError_Log("text %d %s\n", 7, "x");
  ASSERT_EQ(1u, log.Lines().size());
  EXPECT_EQ(1u, log.Lines()[0].level);
  EXPECT_EQ(0u, log.Lines()[0].module);
  EXPECT_EQ(449u, log.Lines()[0].line);
  EXPECT_EQ("..\\..\\core\\Log.h", log.Lines()[0].file);
  EXPECT_EQ("text 7 x\n", log.Lines()[0].text);
}

TEST(FatalErrorLog, WritesNothingBelowTheThreshold) {
  LogCapture log(1);
  qelFatalError_Log("text\n");
  EXPECT_TRUE(log.Lines().empty());
}

TEST(FatalErrorLog, WritesNothingForAModuleThatIsNotWanted) {
  LogCapture log;
  ASSERT_EQ(0, qelToolsLog_SetModules("-0"));
  qelFatalError_Log("text\n");
  qelToolsLog_SetModules(nullptr);
  EXPECT_TRUE(log.Lines().empty());
}

// The system's part ---------------------------------------------------------------

TEST(Platform, ReadsAVariableThatFits) {
  char text[5];
  ASSERT_EQ(0, qelPlatform_SetEnvironment("QEL_TEST_VARIABLE", "1234"));
  EXPECT_EQ(4u, qelPlatform_GetEnvironment("QEL_TEST_VARIABLE", text, sizeof text));
  EXPECT_STREQ("1234", text);
  ASSERT_EQ(0, qelPlatform_SetEnvironment("QEL_TEST_VARIABLE", "12345"));
  EXPECT_EQ(0u, qelPlatform_GetEnvironment("QEL_TEST_VARIABLE", text, sizeof text));
  EXPECT_EQ(0u, qelPlatform_GetEnvironment("QEL_TEST_NO_VARIABLE", text, sizeof text));
}

TEST(Platform, RefusesAVariableWithoutAName) {
  EXPECT_EQ(1, qelPlatform_SetEnvironment("", "x"));
}

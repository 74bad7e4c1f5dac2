#include <qel/multiplatform/qelPlatform.h>

#include <string>
#include <vector>

#include <windows.h>

#include <gtest/gtest.h>

#include <tests/support/LogCapture.h>

// What a debugger saw of a child.
struct Debugged {
  std::vector<std::string> texts; // on the debugger's output channel
  int breaks;                     // behind the one with which a program starts
  DWORD status;
};

// The text of the child's address space, which is ASCII here.
static std::string ReadText(HANDLE process, const void* address, size_t bytes, bool wide) {
  std::vector<char> raw(bytes);
  SIZE_T done = 0;
  ::ReadProcessMemory(process, address, raw.data(), bytes, &done);
  std::string text;
  for (size_t i = 0; i < done && raw[i] != '\0'; i += wide ? 2 : 1)
    text += raw[i];
  return text;
}

// Runs a disabled test of this program under a debugger, which is this process.
static Debugged RunUnderDebugger(const char* test) {
  char program[MAX_PATH];
  ::GetModuleFileNameA(nullptr, program, sizeof program);
  std::string command = std::string("\"") + program +
                        "\" --gtest_also_run_disabled_tests --gtest_catch_exceptions=0"
                        " --gtest_filter=" +
                        test;
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION child = {};
  Debugged seen = {{}, -1, 0};
  EXPECT_TRUE(::CreateProcessA(nullptr, &command[0], nullptr, nullptr, FALSE,
                               DEBUG_ONLY_THIS_PROCESS, nullptr, nullptr, &startup, &child));
  DEBUG_EVENT event;
  while (::WaitForDebugEvent(&event, 60000)) {
    DWORD answer = DBG_CONTINUE;
    if (event.dwDebugEventCode == OUTPUT_DEBUG_STRING_EVENT) {
      const OUTPUT_DEBUG_STRING_INFO& info = event.u.DebugString;
      const bool wide = info.fUnicode != 0;
      seen.texts.push_back(ReadText(child.hProcess, info.lpDebugStringData,
                                    info.nDebugStringLength * (wide ? 2u : 1u), wide));
    } else if (event.dwDebugEventCode == EXCEPTION_DEBUG_EVENT) {
      const DWORD code = event.u.Exception.ExceptionRecord.ExceptionCode;
      if (code == EXCEPTION_BREAKPOINT)
        ++seen.breaks;
      else // a wide text comes as one too; the narrow form follows if nobody handles it
        answer = DBG_EXCEPTION_NOT_HANDLED;
    } else if (event.dwDebugEventCode == EXIT_PROCESS_DEBUG_EVENT) {
      seen.status = event.u.ExitProcess.dwExitCode;
      ::ContinueDebugEvent(event.dwProcessId, event.dwThreadId, DBG_CONTINUE);
      break;
    }
    ::ContinueDebugEvent(event.dwProcessId, event.dwThreadId, answer);
  }
  ::CloseHandle(child.hThread);
  ::CloseHandle(child.hProcess);
  return seen;
}

TEST(DebugBreak, GoesOnWithoutADebugger) {
  qelDebug_Break("text");
  SUCCEED();
}

TEST(DebugBreak, DISABLED_ShortText) {
  qelDebug_Break("text");
}
TEST(DebugBreak, DISABLED_LongText) {
  qelDebug_Break(std::string(300, 'x').c_str());
}

TEST(DebugBreak, ShowsTheTextAndStopsUnderADebugger) {
  const Debugged seen = RunUnderDebugger("DebugBreak.DISABLED_ShortText");
  ASSERT_EQ(1u, seen.texts.size());
  EXPECT_EQ("text\n", seen.texts[0]);
  EXPECT_EQ(1, seen.breaks);
  EXPECT_EQ(0u, seen.status);
}

TEST(DebugBreak, ShowsAtMost254Bytes) {
  const Debugged seen = RunUnderDebugger("DebugBreak.DISABLED_LongText");
  ASSERT_EQ(1u, seen.texts.size());
  EXPECT_EQ(std::string(254, 'x') + "\n", seen.texts[0]);
}

TEST(LaunchApplicationWindows, FailsForAProgramWithoutWindows) {
  LogCapture log;
  EXPECT_EQ(-1, qelLaunchApplication("C:/windows/system32/cmd.exe", "/c exit 0"));
  ASSERT_EQ(1u, log.Lines().size());
  const std::string text = log.Lines()[0].text;
  EXPECT_EQ(0u, text.find("The application '\"C:\\windows\\system32\\cmd.exe\" /c exit 0' has not "
                          "started before the 5 seconds timeout (Error = -1, "))
      << text;
  EXPECT_EQ(7u, log.Lines()[0].module);
}

TEST(LaunchApplicationWindows, CantStartAMalformedName) {
  LogCapture log;
  EXPECT_EQ(-1, qelLaunchApplication("C:/a\xFFz.exe", nullptr));
  EXPECT_EQ("Unable to launch 'C:\\a\xFFz.exe' (Error = 1113)\n", log.All());
}

TEST(EnvironmentVariables, AreUTF8AndMalformedTextIsRefused) {
  ::SetEnvironmentVariableA("QEL_TEST_X", nullptr);
  ASSERT_EQ(0, qelSetEnvironmentVariable("QEL_TEST_X", "\xC3\xA9"));
  wchar_t value[8] = L"";
  EXPECT_EQ(1u, ::GetEnvironmentVariableW(L"QEL_TEST_X", value, 8));
  EXPECT_EQ(L'\xE9', value[0]);
  LogCapture log;
  EXPECT_EQ(-1, qelSetEnvironmentVariable("QEL_TEST_X", "\xFF"));
  EXPECT_EQ("qelPlatform: Unable to set environment variable 'QEL_TEST_X=\xFF'. Error = -1\n",
            log.All());
  EXPECT_EQ(nullptr, qelGetEnvironmentVariable("QEL_TEST_\xFF"));
}

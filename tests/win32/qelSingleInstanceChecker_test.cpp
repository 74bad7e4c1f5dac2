#include <qel/multiplatform/qelSingleInstanceChecker.h>

#include <string>

#include <windows.h>

#include <gtest/gtest.h>

#include <tests/support/TempDir.h>
#include <tests/support/WaitFor.h>

// What a new record of the name says.
static bool IsTaken(const char* name) {
  qelOSSingleInstanceChecker* checker = qelOSSingleInstanceChecker_New(name);
  const bool isTaken = qelOSSingleInstanceChecker_IsAnotherRunning(checker) != 0;
  qelOSSingleInstanceChecker_Delete(checker);
  return isTaken;
}

TEST(SingleInstanceWindows, ANameIsFreeAgainAfterAKill) {
  const TempDir files;
  const std::string name = "qel-test-kill-" + std::to_string(::GetCurrentProcessId());
  std::wstring line = L"\"" + TempDir::Native(INSTANCE_PROGRAM).make_preferred().wstring() +
                      L"\" " + TempDir::Native(name).wstring() + L" \"" +
                      TempDir::Native(files.Path("state")).wstring() + L"\"";
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process = {};
  ASSERT_TRUE(::CreateProcessW(nullptr, &line[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                               &startup, &process));
  EXPECT_TRUE(WaitFor([&] { return files.Has("state"); }));
  EXPECT_EQ("first", files.Read("state"));
  EXPECT_TRUE(IsTaken(name.c_str()));
  EXPECT_TRUE(::TerminateProcess(process.hProcess, 1));
  EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(process.hProcess, 60000));
  ::CloseHandle(process.hThread);
  ::CloseHandle(process.hProcess);
  EXPECT_FALSE(IsTaken(name.c_str()));
}

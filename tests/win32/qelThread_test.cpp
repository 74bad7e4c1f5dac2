//===----------------------------------------------------------------------===//
// What of the threads only this system has: suspensions, names as a debugger
// sees them, levels, reservations of stacks, and the system's errors.
//===----------------------------------------------------------------------===//

#include <qel/multiplatform/qelThread.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/support/Gate.h>
#include <tests/support/LogCapture.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

struct Scene {
  std::function<void()> body;

  static void Run(void* arg) {
    Scene* scene = static_cast<Scene*>(arg);
    if (scene->body)
      scene->body();
  }
  qelOSThread* Create(uint64_t stackSize = 0) {
    qelOSThread_Data data = {&Scene::Run, nullptr, this, stackSize, 0, 0};
    return qelOSThread_Create(&data);
  }
};

// Runs the body on a thread of its own, to its end.
void RunOnThread(std::function<void()> body, uint64_t stackSize = 0) {
  Scene scene;
  scene.body = std::move(body);
  qelOSThread* thread = scene.Create(stackSize);
  qelOSThread_Start(thread);
  qelOSThread_Join(thread);
  qelOSThread_Delete(thread);
}

TEST(QelOSThreadStart, EndsTheOneSuspensionOfTheStart) {
  Scene scene;
  Gate gate(2);
  scene.body = [&] { gate.Pass(); };
  qelOSThread* thread = scene.Create();
  EXPECT_EQ(::SuspendThread(thread->handle), 1u);
  // Suspended twice: the start takes one away and says that the thread does not run.
  LogCapture log;
  EXPECT_EQ(qelOSThread_Start(thread), 1);
  EXPECT_EQ(thread->state.load(), 1);
  EXPECT_THAT(log.Texts(), ElementsAre("qelOSThread: cannot start thread\n"));
  EXPECT_EQ(qelOSThread_Start(thread), 0);
  EXPECT_EQ(thread->state.load(), 2);
  gate.Pass();
  EXPECT_EQ(qelOSThread_Join(thread), 0);
  qelOSThread_Delete(thread);
}

TEST(QelOSThreadSetPriority, FallsOnFiveLevels) {
  const struct {
    unsigned short priority;
    int level;
  } rows[] = {{0, -2}, {20, -2}, {21, -1}, {40, -1}, {41, 0},  {60, 0},   {61, 1},
              {80, 1}, {81, 2},  {100, 2}, {101, 0}, {200, 0}, {65535, 0}};
  Scene scene;
  qelOSThread* thread = scene.Create();
  for (const auto& row : rows) {
    EXPECT_EQ(qelOSThread_SetPriority(thread, row.priority), 0);
    EXPECT_EQ(::GetThreadPriority(thread->handle), row.level) << row.priority;
  }
  qelOSThread_Delete(thread);
}

// The bytes that the system has reserved for the calling thread's stack.
uint64_t StackReservation() {
  MEMORY_BASIC_INFORMATION region = {};
  ::VirtualQuery(&region, &region, sizeof(region));
  const NT_TIB* tib = reinterpret_cast<const NT_TIB*>(::NtCurrentTeb());
  return reinterpret_cast<uintptr_t>(tib->StackBase) -
         reinterpret_cast<uintptr_t>(region.AllocationBase);
}

TEST(QelOSThreadCreate, ReservesTheStackThatWasAskedFor) {
  uint64_t usual = 0;
  std::function<void()> look = [&] { usual = StackReservation(); };
  HANDLE plain = ::CreateThread(
      nullptr, 0,
      [](void* arg) -> DWORD {
        (*static_cast<std::function<void()>*>(arg))();
        return 0;
      },
      &look, 0, nullptr);
  ::WaitForSingleObject(plain, INFINITE);
  ::CloseHandle(plain);
  const struct {
    uint64_t asked;
    uint64_t given;
  } rows[] = {{0, 0x20000},       {1, usual},         {2, 0x10000},        {0x8000, 0x10000},
              {0x10000, 0x10000}, {0x40000, 0x40000}, {0x300000, 0x300000}};
  for (const auto& row : rows) {
    uint64_t reserved = 0;
    RunOnThread([&] { reserved = StackReservation(); }, row.asked);
    // The system never gives less than it needs itself.
    EXPECT_GE(reserved, row.given) << row.asked;
    EXPECT_LE(reserved, row.given < 0x100000 ? 0x100000 : row.given) << row.asked;
  }
}

// The exceptions that name a thread, as a handler of the program's own sees them.
std::vector<EXCEPTION_RECORD> named;
std::vector<std::string> names;

LONG CALLBACK WatchNames(EXCEPTION_POINTERS* exception) {
  const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
  if (record.ExceptionCode == 0x406D1388) {
    named.push_back(record);
    names.push_back(reinterpret_cast<const char*>(record.ExceptionInformation[1]));
  }
  return EXCEPTION_CONTINUE_SEARCH;
}

TEST(QelOSThreadSetName, RaisesTheDebuggersExceptionAndGoesOn) {
  void* watch = ::AddVectoredExceptionHandler(/*First=*/1, &WatchNames);
  DWORD id = 0;
  bool behind = false;
  RunOnThread([&] {
    id = ::GetCurrentThreadId();
    qelOSThread_SetName("a name of more than fifteen bytes");
    qelOSThread_SetName(nullptr);
    behind = true;
  });
  ::RemoveVectoredExceptionHandler(watch);
  EXPECT_TRUE(behind);
  EXPECT_THAT(names, ElementsAre("a name of more than fifteen bytes", ""));
  ASSERT_EQ(named.size(), 2u);
  for (const EXCEPTION_RECORD& record : named) {
    EXPECT_EQ(record.ExceptionFlags, 0u);
    EXPECT_EQ(record.NumberParameters, 6u);
    EXPECT_EQ(static_cast<uint32_t>(record.ExceptionInformation[0]), 0x1000u);
    EXPECT_EQ(record.ExceptionInformation[2], id); // the flags, 0, are its upper half
    for (int unused = 3; unused < 6; ++unused)
      EXPECT_EQ(record.ExceptionInformation[unused], 0u);
  }
}

// Run under a debugger by the test below.
TEST(QelOSThreadSetName, DISABLED_NamesAThread) {
  RunOnThread([] { qelOSThread_SetName("seen from outside"); });
}

// The text of the child's address space.
std::string ReadText(HANDLE process, ULONG_PTR address) {
  std::string text;
  char byte = '\0';
  SIZE_T done = 0;
  while (::ReadProcessMemory(process, reinterpret_cast<const void*>(address + text.size()), &byte,
                             1, &done) &&
         byte != '\0')
    text += byte;
  return text;
}

TEST(QelOSThreadSetName, IsSeenByADebugger) {
  char program[MAX_PATH];
  ::GetModuleFileNameA(nullptr, program, sizeof program);
  std::string command = std::string("\"") + program +
                        "\" --gtest_also_run_disabled_tests --gtest_catch_exceptions=0"
                        " --gtest_filter=*DISABLED_NamesAThread";
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION child = {};
  ASSERT_TRUE(::CreateProcessA(nullptr, &command[0], nullptr, nullptr, FALSE,
                               DEBUG_ONLY_THIS_PROCESS, nullptr, nullptr, &startup, &child));
  std::vector<std::string> seen;
  DWORD status = 1;
  DEBUG_EVENT event;
  while (::WaitForDebugEvent(&event, 60000)) {
    DWORD answer = DBG_CONTINUE;
    if (event.dwDebugEventCode == EXIT_PROCESS_DEBUG_EVENT)
      status = event.u.ExitProcess.dwExitCode;
    if (event.dwDebugEventCode == EXCEPTION_DEBUG_EVENT) {
      const EXCEPTION_RECORD& record = event.u.Exception.ExceptionRecord;
      if (record.ExceptionCode == 0x406D1388) {
        EXPECT_EQ(static_cast<DWORD>(record.ExceptionInformation[2]), event.dwThreadId);
        seen.push_back(ReadText(child.hProcess, record.ExceptionInformation[1]));
      }
      if (record.ExceptionCode != EXCEPTION_BREAKPOINT)
        answer = DBG_EXCEPTION_NOT_HANDLED;
    }
    ::ContinueDebugEvent(event.dwProcessId, event.dwThreadId, answer);
    if (event.dwDebugEventCode == EXIT_PROCESS_DEBUG_EVENT)
      break;
  }
  ::CloseHandle(child.hThread);
  ::CloseHandle(child.hProcess);
  EXPECT_EQ(status, 0u);
  EXPECT_THAT(seen, ElementsAre("seen from outside"));
}

// A record holds one handle; these tests put one in its place that is none.
class QelOSThreadFaults : public testing::Test {
protected:
  QelOSThreadFaults() : thread(scene.Create()), kept(thread->handle) {}

  void ExpectLine(const std::string& text) {
    ASSERT_EQ(log.Lines().size(), 1u);
    const CapturedLine line = log.Lines()[0];
    EXPECT_EQ(line.text, text);
    EXPECT_EQ(line.level, 1u);
    EXPECT_EQ(line.module, 7u);
    EXPECT_EQ(line.file, "..\\..\\win32\\qelThread.win32");
  }

  Scene scene;
  qelOSThread* thread;
  HANDLE kept;
  LogCapture log;
};

// No handle of any process.
const HANDLE kNoHandle = reinterpret_cast<HANDLE>(static_cast<uintptr_t>(0x7FFFFFF0));

TEST_F(QelOSThreadFaults, LogAFailedStart) {
  thread->handle = kNoHandle;
  EXPECT_EQ(qelOSThread_Start(thread), 1);
  EXPECT_EQ(thread->state.load(), 1);
  ExpectLine("qelOSThread: cannot start thread\n");
  thread->handle = kept;
  EXPECT_EQ(qelOSThread_Start(thread), 0);
  EXPECT_EQ(qelOSThread_Join(thread), 0);
  qelOSThread_Delete(thread);
}

TEST_F(QelOSThreadFaults, JoinCountsAsJoinedWhenTheWaitFails) {
  EXPECT_EQ(qelOSThread_Start(thread), 0);
  thread->handle = kNoHandle;
  EXPECT_EQ(qelOSThread_Join(thread), 0);
  EXPECT_EQ(thread->state.load(), 3);
  ExpectLine("qelOSThread: Failed to join a thread (error = -1, errorcode = 6)\n");
  thread->handle = kept;
  EXPECT_EQ(qelOSThread_Join(thread), 0);
  ::WaitForSingleObject(kept, INFINITE);
  qelOSThread_Delete(thread);
}

TEST_F(QelOSThreadFaults, LogARefusedPriority) {
  thread->handle = kNoHandle;
  EXPECT_EQ(qelOSThread_SetPriority(thread, 90), 1);
  thread->handle = kept;
  const std::vector<std::string> texts = log.Texts();
  ASSERT_EQ(texts.size(), 1u);
  EXPECT_THAT(texts[0], testing::StartsWith("qelOSThread: Cannot set thread priority to 2 for "));
  EXPECT_THAT(texts[0], testing::EndsWith(" (error = 6)\n"));
  qelOSThread_Delete(thread);
}

TEST_F(QelOSThreadFaults, LogAHandleThatCannotBeClosed) {
  EXPECT_EQ(qelOSThread_Start(thread), 0);
  EXPECT_EQ(qelOSThread_Join(thread), 0);
  ::CloseHandle(kept);
  thread->handle = kNoHandle;
  qelOSThread_Delete(thread);
  ExpectLine("qelOSThread: CloseHandle on Thread handle failed (error = 6)\n");
}

} // namespace

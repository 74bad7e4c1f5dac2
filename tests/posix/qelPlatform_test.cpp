#include <qel/multiplatform/qelPlatform.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <signal.h>
#include <sys/auxv.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <companions/toolslog/qelixToolsLog.h>
#include <qel/core/qelFatalError.h>
#include <qel/core/qelMem.h>

#include <tests/support/LogCapture.h>
#include <tests/support/TempDir.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
static const bool kSanitized = true;
#else
static const bool kSanitized = false;
#endif

// What a child wrote to the descriptor, and the status it ended with.
struct Ended {
  std::string output;
  int status;
};

template <class Body>
static Ended RunChild(int descriptor, Body body) {
  int ends[2];
  EXPECT_EQ(0, ::pipe(ends));
  fflush(nullptr);
  const pid_t child = ::fork();
  if (child == 0) {
    ::dup2(ends[1], descriptor);
    ::close(ends[0]);
    ::close(ends[1]);
    qelToolsLog_SetStandardError(0);
    body();
    _exit(0);
  }
  ::close(ends[1]);
  Ended ended = {"", 0};
  char buffer[4096];
  for (ssize_t n; (n = ::read(ends[0], buffer, sizeof buffer)) > 0;)
    ended.output.append(buffer, static_cast<size_t>(n));
  ::close(ends[0]);
  EXPECT_EQ(child, ::waitpid(child, &ended.status, 0));
  return ended;
}

// Fatal path -------------------------------------------------------------------

TEST(FatalErrorPipe, ItsTextIsNotLost) {
  const Ended ended = RunChild(1, [] { qelFatalError("os:mutex"); });
  EXPECT_EQ("qelFatalError\nqelFatalError: os:mutex\n", ended.output);
  ASSERT_TRUE(WIFEXITED(ended.status));
  EXPECT_EQ(255, WEXITSTATUS(ended.status));
}

// Lets the system refuse to store a variable.
static bool g_refuseVariables = false;
extern "C" int __real_setenv(const char* name, const char* value, int overwrite);
extern "C" int __wrap_setenv(const char* name, const char* value, int overwrite) {
  if (!g_refuseVariables)
    return __real_setenv(name, value, overwrite);
  errno = ENOMEM;
  return -1;
}

TEST(FatalErrorCallback, ThatCantBeStoredIsLogged) {
  LogCapture log;
  g_refuseVariables = true;
  qelFatalError_SetCallback([](const char*) {});
  g_refuseVariables = false;
  ASSERT_EQ(1u, log.Lines().size());
  EXPECT_EQ(1u, log.Lines()[0].level);
  EXPECT_EQ(0u, log.Lines()[0].module);
  EXPECT_EQ("qelFatalError: Cannot store callback address (fatal error callback will not be "
            "called)\n",
            log.Lines()[0].text);
}

// Takes away all memory that the process does not have yet.
static void ForbidMemory() {
  const rlimit limit = {0, 0};
  ::setrlimit(RLIMIT_AS, &limit);
}

TEST(MemStrDup, ExhaustionIsFatalWithTheLength) {
  if (kSanitized)
    GTEST_SKIP() << "the sanitizer's own memory would be forbidden too";
  const Ended ended = RunChild(1, [] {
    const std::string text(100000000, 'x');
    setvbuf(stdout, nullptr, _IONBF, 0);
    ForbidMemory();
    free(qelMem_StrDup(text.c_str()));
  });
  EXPECT_EQ("qelFatalError\nqelFatalError: memory:strdup (size=100000000)\n", ended.output);
}

TEST(MemWStrDup, ExhaustionIsFatalAsOfAllocation) {
  if (kSanitized)
    GTEST_SKIP() << "the sanitizer's own memory would be forbidden too";
  const Ended ended = RunChild(1, [] {
    const std::u16string text(50000000, u'x');
    setvbuf(stdout, nullptr, _IONBF, 0);
    ForbidMemory();
    free(qelMem_WStrDup(text.c_str()));
  });
  EXPECT_EQ("qelFatalError\nqelFatalError: memory:malloc (size=100000002)\n", ended.output);
}

// Run in a program of its own by the test behind it.
TEST(FatalErrorSetID, DISABLED_Child) {
  if (::getauxval(AT_SECURE) == 0)
    _exit(77);
  qelToolsLog_SetStandardError(0);
  qelFatalError("os:mutex");
}

TEST(FatalErrorSetID, NeverCallsAnAddressFromTheEnvironment) {
  if (::geteuid() != 0)
    GTEST_SKIP() << "only root can make a program of another group";
  TempDir directory;
  const std::string program = directory.Path() + "/program";
  const std::string copy = "cp /proc/" + std::to_string(::getpid()) + "/exe " + program;
  ASSERT_EQ(0, system(copy.c_str()));
  ASSERT_EQ(0, ::chown(program.c_str(), 0, 65534));
  ASSERT_EQ(0, ::chmod(program.c_str(), 02755));
  const Ended ended = RunChild(1, [&program] {
    ::setenv("QEL_FATALERROR_CALLBACK", "0x10", 1); // which would crash
    ::execl(program.c_str(), program.c_str(), "--gtest_also_run_disabled_tests",
            "--gtest_filter=FatalErrorSetID.DISABLED_Child", static_cast<char*>(nullptr));
  });
  if (WIFEXITED(ended.status) && WEXITSTATUS(ended.status) == 77)
    GTEST_SKIP() << "this system gives a program no other group";
  EXPECT_NE(std::string::npos, ended.output.find("qelFatalError: os:mutex\n")) << ended.output;
  ASSERT_TRUE(WIFEXITED(ended.status));
  EXPECT_EQ(255, WEXITSTATUS(ended.status));
}

TEST(FatalErrorSetID, AnOrdinaryProgramDoesCallIt) {
  const Ended ended = RunChild(1, [] {
    ::signal(SIGSEGV, SIG_DFL);
    ::setenv("QEL_FATALERROR_CALLBACK", "0x10", 1);
    qelFatalError("os:mutex");
  });
  EXPECT_TRUE(WIFSIGNALED(ended.status));
}

// Debugger ---------------------------------------------------------------------

TEST(DebugBreak, WritesTheTextToStandardErrorAndGoesOn) {
  const Ended ended = RunChild(2, [] { qelDebug_Break("text"); });
  EXPECT_EQ("text\n", ended.output);
  EXPECT_TRUE(WIFEXITED(ended.status) && WEXITSTATUS(ended.status) == 0);
}

TEST(DebugBreak, ShowsAtMost254Bytes) {
  const Ended ended = RunChild(2, [] { qelDebug_Break(std::string(300, 'x').c_str()); });
  EXPECT_EQ(std::string(254, 'x') + "\n", ended.output);
}

TEST(DebugBreak, StopsUnderATracer) {
  fflush(nullptr);
  const pid_t child = ::fork();
  if (child == 0) {
    if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
      _exit(77);
    ::close(2);
    qelDebug_Break("text");
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(child, ::waitpid(child, &status, 0));
  if (WIFEXITED(status) && WEXITSTATUS(status) == 77)
    GTEST_SKIP() << "this system lets nobody trace";
  ASSERT_TRUE(WIFSTOPPED(status));
  EXPECT_EQ(SIGTRAP, WSTOPSIG(status));
  ::ptrace(PTRACE_CONT, child, nullptr, nullptr); // without the signal
  ASSERT_EQ(child, ::waitpid(child, &status, 0));
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

#include <qel/multiplatform/qelPlatform.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/auxv.h>
#include <sys/mman.h>
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
#include <tests/support/WaitFor.h>

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

// Environment ------------------------------------------------------------------

TEST(GetEnvironmentVariablePosix, GivesTheEmptyTextOfAVariableWithoutAny) {
  ::setenv("QEL_TEST_EMPTY", "", 1);
  char* value = qelGetEnvironmentVariable("QEL_TEST_EMPTY");
  EXPECT_STREQ("", value);
  free(value);
  EXPECT_EQ(0, qelSetEnvironmentVariable("QEL_TEST_EMPTY", ""));
  EXPECT_EQ(nullptr, qelGetEnvironmentVariable("QEL_TEST_EMPTY"));
}

// Launching --------------------------------------------------------------------

namespace {

// What the attendant of a launch, a process of its own, had when it began to wait.
struct Attended {
  int descriptors; // open above 2
  timespec grace;
};

} // namespace

static Attended* g_attended = nullptr; // in memory that is shared with the attendant
static bool g_waitsForEnd = false; // the grace is as long as the program, however slow the machine

extern "C" int __real_sigtimedwait(const sigset_t* set, siginfo_t* info, const timespec* limit);
extern "C" int __wrap_sigtimedwait(const sigset_t* set, siginfo_t* info, const timespec* limit) {
  if (g_attended != nullptr) {
    for (int i = 3; i < 1024; ++i)
      g_attended->descriptors += ::fcntl(i, F_GETFD) >= 0 ? 1 : 0;
    g_attended->grace = *limit;
  }
  const timespec minute = {60, 0};
  return __real_sigtimedwait(set, info, g_waitsForEnd ? &minute : limit);
}

// Launches a program that ends at once.
static int LaunchEnding(const char* program, const char* arguments) {
  g_waitsForEnd = true;
  const int result = qelLaunchApplication(program, arguments);
  g_waitsForEnd = false;
  return result;
}

// The report of the program, which was launched as told.
static std::string LaunchReport(const TempDir& files, const char* program, const char* arguments) {
  ::setenv("QEL_TEST_REPORT", files.Path("report").c_str(), 1);
  EXPECT_EQ(0, qelLaunchApplication(program, arguments));
  EXPECT_TRUE(WaitFor([&] { return files.Has("report"); }));
  return files.Read("report");
}

TEST(LaunchApplicationPosix, GivesTheProgramOnlyTheStandardDescriptors) {
  const TempDir files;
  const int open = ::dup(1);
  const std::string report = LaunchReport(files, LAUNCHED_PROGRAM, nullptr);
  EXPECT_NE(std::string::npos, report.find("descriptors 0 1 2\n")) << report;
  ::close(open);
}

TEST(LaunchApplicationPosix, LeavesNoDescriptorsInThisProgram) {
  const TempDir files;
  const int before = ::dup(1);
  ::close(before);
  LaunchReport(files, LAUNCHED_PROGRAM, "a");
  LogCapture log;
  EXPECT_EQ(-1, qelLaunchApplication(files.Path("missing").c_str(), "a"));
  const int after = ::dup(1);
  ::close(after);
  EXPECT_EQ(before, after);
}

TEST(LaunchApplicationPosix, KeepsNoDescriptorOpenWhileItWatches) {
  const TempDir files;
  void* shared =
      ::mmap(nullptr, sizeof(Attended), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(MAP_FAILED, shared);
  g_attended = static_cast<Attended*>(shared);
  const int low = ::dup(1);
  const int high = ::fcntl(1, F_DUPFD, 900);
  LaunchReport(files, LAUNCHED_PROGRAM, nullptr);
  ::close(low);
  ::close(high);
  EXPECT_EQ(1, g_attended->descriptors); // for its report
  EXPECT_EQ(0, g_attended->grace.tv_sec);
  EXPECT_EQ(250000000, g_attended->grace.tv_nsec);
  g_attended = nullptr;
  ::munmap(shared, sizeof(Attended));
}

TEST(LaunchApplicationPosix, WorksWithoutStandardDescriptors) {
  const TempDir files;
  const std::string program = LAUNCHED_PROGRAM;
  ::setenv("QEL_TEST_REPORT", files.Path("report").c_str(), 1);
  const int result = 900;
  const Ended ended = RunChild(result, [&program] {
    for (int i = 0; i < 3; ++i)
      ::close(i);
    const bool isLaunched = qelLaunchApplication(program.c_str(), nullptr) == 0;
    ::_exit(::write(result, isLaunched ? "y" : "n", 1) == 1 ? 0 : 1);
  });
  EXPECT_EQ("y", ended.output);
  EXPECT_TRUE(WaitFor([&] { return files.Has("report"); }));
  EXPECT_EQ("descriptors\n", files.Read("report").substr(0, 12));
}

TEST(LaunchApplicationPosix, LeavesNoChildToWaitFor) {
  const TempDir files;
  LaunchReport(files, LAUNCHED_PROGRAM, nullptr);
  LogCapture log;
  EXPECT_EQ(-1, LaunchEnding("/bin/true", nullptr));
  EXPECT_EQ(-1, qelLaunchApplication(files.Path("missing").c_str(), nullptr));
  EXPECT_EQ(-1, ::waitpid(-1, nullptr, WNOHANG));
  EXPECT_EQ(ECHILD, errno);
}

TEST(LaunchApplicationPosix, FailsForAProgramThatEndsAtOnce) {
  const TempDir files;
  ::setenv("QEL_TEST_REPORT", files.Path("report").c_str(), 1);
  ::setenv("QEL_TEST_LEAVE", "1", 1);
  LogCapture log;
  EXPECT_EQ(-1, LaunchEnding(LAUNCHED_PROGRAM, "x"));
  EXPECT_EQ("The application '\"" LAUNCHED_PROGRAM
            "\" x' has not started before the 5 seconds timeout (Error = -1, " +
                std::to_string(ESRCH) + ")\n",
            log.All());
  EXPECT_EQ(7u, log.Lines()[0].module);
  EXPECT_TRUE(files.Has("report"));
  ::unsetenv("QEL_TEST_LEAVE");
}

TEST(LaunchApplicationPosix, WorksForAProgramThatIgnoresItsChildren) {
  const TempDir files;
  ::signal(SIGCHLD, SIG_IGN);
  LaunchReport(files, LAUNCHED_PROGRAM, nullptr);
  LogCapture log;
  EXPECT_EQ(-1, LaunchEnding("/bin/true", nullptr));
  EXPECT_EQ(
      "The application '/bin/true' has not started before the 5 seconds timeout (Error = -1, " +
          std::to_string(ESRCH) + ")\n",
      log.All());
  ::signal(SIGCHLD, SIG_DFL);
}

TEST(LaunchApplicationPosix, GivesTheProgramNoneOfThisOnesSignals) {
  const TempDir files;
  sigset_t some;
  sigset_t before;
  ::sigemptyset(&some);
  ::sigaddset(&some, SIGUSR1);
  ::sigaddset(&some, SIGTERM);
  ::sigprocmask(SIG_BLOCK, &some, &before);
  ::signal(SIGPIPE, SIG_IGN);
  const std::string report = LaunchReport(files, LAUNCHED_PROGRAM, nullptr);
  EXPECT_NE(std::string::npos, report.find("signals\n")) << report;
  sigset_t after;
  ::sigprocmask(SIG_SETMASK, &before, &after);
  EXPECT_EQ(1, ::sigismember(&after, SIGUSR1));
  EXPECT_EQ(0, ::sigismember(&after, SIGINT));
  ::signal(SIGPIPE, SIG_DFL);
}

TEST(LaunchApplicationPosix, KeepsTheCallbacksAddressFromTheProgram) {
  const TempDir files;
  ::setenv("QEL_FATALERROR_CALLBACK", "0x10", 1);
  ::setenv("QEL_FATALERROR_CALLBACK_", "other", 1);
  const std::string report = LaunchReport(files, LAUNCHED_PROGRAM, nullptr);
  EXPECT_NE(std::string::npos, report.find("callback \n")) << report;
  EXPECT_STREQ("0x10", ::getenv("QEL_FATALERROR_CALLBACK"));
  ::unsetenv("QEL_FATALERROR_CALLBACK");
  ::unsetenv("QEL_FATALERROR_CALLBACK_");
}

TEST(LaunchApplicationPosix, LooksInThePathOnlyWithArguments) {
  const TempDir files;
  const std::string program = LAUNCHED_PROGRAM;
  const size_t slash = program.rfind('/');
  const std::string before = ::getenv("PATH");
  ::setenv("PATH", (before + ":" + program.substr(0, slash)).c_str(), 1);
  const char* name = program.c_str() + slash + 1;
  EXPECT_EQ("[x]\n", LaunchReport(files, name, "x").substr(0, 4));
  LogCapture log;
  EXPECT_EQ(-1, qelLaunchApplication(name, nullptr));
  EXPECT_EQ(std::string("Unable to launch '") + name + "' (Error = 2)\n", log.All());
  ::setenv("PATH", before.c_str(), 1);
}

TEST(LaunchApplicationPosix, TakesBackslashesForSeparators) {
  const TempDir files;
  std::string program = LAUNCHED_PROGRAM;
  for (char& c : program)
    c = c == '/' ? '\\' : c;
  LaunchReport(files, program.c_str(), nullptr);
}

TEST(LaunchApplicationPosix, NeverAsksAShell) {
  const TempDir files;
  const std::string script = files.Write("script", "sleep 60\n");
  ::chmod(script.c_str(), 0755);
  LogCapture log;
  EXPECT_EQ(-1, qelLaunchApplication(script.c_str(), "x"));
  EXPECT_EQ(-1, qelLaunchApplication(script.c_str(), nullptr));
  const std::string error = "(Error = " + std::to_string(ENOEXEC) + ")\n";
  EXPECT_EQ("Unable to launch '\"" + script + "\" x' " + error + //
                "Unable to launch '" + script + "' " + error,
            log.All());
}

// What the system is to refuse while a program is launched.
static bool g_nothingIsReported = false;
static bool g_refusePipes = false;
static bool g_refuseChildren = false;

extern "C" int __real_poll(pollfd* files, nfds_t count, int limit);
extern "C" int __wrap_poll(pollfd* files, nfds_t count, int limit) {
  if (!g_nothingIsReported)
    return __real_poll(files, count, limit);
  EXPECT_EQ(5000, limit);
  return 0;
}

extern "C" int __real_pipe2(int* ends, int flags);
extern "C" int __wrap_pipe2(int* ends, int flags) {
  if (!g_refusePipes)
    return __real_pipe2(ends, flags);
  errno = EMFILE;
  return -1;
}

extern "C" pid_t __real_fork();
extern "C" pid_t __wrap_fork() {
  if (!g_refuseChildren)
    return __real_fork();
  errno = EAGAIN;
  return -1;
}

TEST(LaunchApplicationPosix, LeavesAProgramAloneThatTakesTooLong) {
  const TempDir files;
  ::setenv("QEL_TEST_REPORT", files.Path("report").c_str(), 1);
  LogCapture log;
  g_nothingIsReported = true;
  EXPECT_EQ(-1, qelLaunchApplication(LAUNCHED_PROGRAM, nullptr));
  g_nothingIsReported = false;
  EXPECT_EQ("The application '" LAUNCHED_PROGRAM
            "' has not started before the 5 seconds timeout (Error = 258, " +
                std::to_string(ETIMEDOUT) + ")\n",
            log.All());
  EXPECT_TRUE(WaitFor([&] { return files.Has("report"); }));
  EXPECT_EQ(-1, ::waitpid(-1, nullptr, WNOHANG)); // nor is there a child
}

TEST(LaunchApplicationPosix, LogsWhatKeepsItFromStarting) {
  LogCapture log;
  g_refusePipes = true;
  EXPECT_EQ(-1, qelLaunchApplication("/bin/true", nullptr));
  g_refusePipes = false;
  g_refuseChildren = true;
  EXPECT_EQ(-1, qelLaunchApplication("/bin/true", nullptr));
  g_refuseChildren = false;
  EXPECT_EQ("Unable to launch '/bin/true' (Error = " + std::to_string(EMFILE) +
                ")\nUnable to launch '/bin/true' (Error = " + std::to_string(EAGAIN) + ")\n",
            log.All());
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

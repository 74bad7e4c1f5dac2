#include <qel/multiplatform/qelPlatform.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>

#include <qel/core/qelFatalError.h>
#include <qel/core/qelMem.h>
#include <qel/multiplatform/qelFilePrivate.h>
#include <qel/multiplatform/qelPlatformBackend.h>
#include <qel/posix/qelArguments.h>
#include <qel/posix/qelFilePrivate.posix.h>

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

const char* const qelPlatform_LogFile = "..\\..\\posix\\qelPlatform.posix";

// Environment ------------------------------------------------------------------

size_t qelPlatform_GetEnvironment(const char* name, char* buffer, size_t size) {
  const char* value = ::secure_getenv(name);
  const size_t length = value != nullptr ? strlen(value) : 0;
  if (length == 0 || length >= size)
    return 0;
  memcpy(buffer, value, length + 1);
  return length;
}

int qelPlatform_SetEnvironment(const char* name, const char* value) {
  return ::setenv(name, value, /*overwrite=*/1) == 0 ? 0 : 1;
}

char* qelGetEnvironmentVariable(const char* name) {
  return qelMem_StrDup(::getenv(name));
}

int qelPlatform_PutEnvironment(const char* text) {
  const qelOwnedText name(qelMem_StrNDup(text, strcspn(text, "=")));
  const char* value = text + strlen(name.get()) + 1;
  return value[0] == '\0' ? ::unsetenv(name.get()) : ::setenv(name.get(), value, /*overwrite=*/1);
}

// Launching --------------------------------------------------------------------
//
// The program is started by an attendant, which is a child's child and so nobody's to
// wait for. It watches the program for a moment, reports through a pipe and ends;
// the program then belongs to the system.

// A program that lives longer than this has settled.
static const timespec kGrace = {0, 250000000};

static const int kWaitTimedOut = 258;
static const int kHasEnded = -1;

typedef std::unique_ptr<char*, qelFreeText> OwnedTexts;

namespace {

// All that the attendant needs, made ahead of it: between fork and exec no memory is allocated.
struct Start {
  const char* program;
  char** arguments;
  char** environment;
  bool isSearched; // for in $PATH
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
};

} // namespace

// The environment without the callback's address, which would be a wild one in another process.
static char** EnvironmentForOthers() {
  size_t count = 0;
  while (environ != nullptr && environ[count] != nullptr)
    ++count;
  char** kept = static_cast<char**>(qelMem_AllocZero((count + 1) * sizeof(char*)));
  const size_t length = sizeof qelFatalErrorCallbackVariable - 1;
  for (size_t i = 0, n = 0; i < count; ++i)
    if (strncmp(environ[i], qelFatalErrorCallbackVariable, length) != 0 ||
        environ[i][length] != '=')
      kept[n++] = environ[i];
  return kept;
}

// Whether a child ends within the grace. Its end raises SIGCHLD, which is blocked.
static bool EndsAtOnce(pid_t child) {
  sigset_t ended;
  ::sigemptyset(&ended);
  ::sigaddset(&ended, SIGCHLD);
  qelPosix_Retry([&] { return ::sigtimedwait(&ended, nullptr, &kGrace); });
  return ::waitpid(child, nullptr, WNOHANG) == child;
}

// Closes all descriptors but the standard ones and one more. What this program closes meanwhile, such
// as a lock, must not live on in the attendant.
static void CloseOthers(int kept) {
  const unsigned first = STDERR_FILENO + 1;
  const unsigned middle = static_cast<unsigned>(kept);
  if (middle > first)
    ::close_range(first, middle - 1, 0);
  ::close_range(std::max(first, middle + 1), ~0u, 0);
}

// The attendant's whole life.
[[noreturn]] static void Attend(const Start& start, int report) {
  CloseOthers(report);
  struct sigaction action = {};
  action.sa_handler = SIG_DFL;
  action.sa_flags = SA_NOCLDSTOP;
  ::sigaction(SIGCHLD, &action, nullptr);
  qelLaunch launch = {};
  pid_t child = 0;
  launch.startError = (start.isSearched ? ::posix_spawnp : ::posix_spawn)(
      &child, start.program, &start.actions, &start.attributes, start.arguments, start.environment);
  if (launch.startError == 0 && EndsAtOnce(child)) {
    launch.waitResult = kHasEnded;
    launch.waitError = ESRCH;
  }
  const ssize_t written = ::write(report, &launch, sizeof launch);
  ::_exit(written == sizeof launch ? 0 : 1);
}

// Starts the attendant. Returns 0 or the system's error.
static int StartAttendant(const Start& start, int report) {
  const pid_t child = ::fork();
  if (child < 0)
    return errno;
  if (child == 0) {
    const pid_t attendant = ::fork();
    if (attendant == 0)
      Attend(start, report);
    ::_exit(attendant < 0 ? errno : 0);
  }
  int status = 0;
  // If somebody else took the status, the report tells enough.
  const bool known = qelPosix_Retry([&] { return ::waitpid(child, &status, 0); }) == child;
  return known && WIFEXITED(status) ? WEXITSTATUS(status) : 0;
}

static qelLaunch TakeReport(int report, int limit) {
  qelLaunch launch = {};
  pollfd readable = {report, POLLIN, 0};
  const int ready = qelPosix_Retry([&] { return ::poll(&readable, 1, limit); });
  if (ready == 0) {
    launch.waitResult = kWaitTimedOut;
    launch.waitError = ETIMEDOUT;
  } else if (::read(report, &launch, sizeof launch) != sizeof launch) { // the attendant was ended
    launch = {};
    launch.startError = ECHILD;
  }
  return launch;
}

static qelLaunch Run(const Start& start, int limit) {
  qelLaunch launch = {};
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) {
    launch.startError = errno;
    return launch;
  }
  launch.startError = StartAttendant(start, ends[1]);
  ::close(ends[1]);
  if (launch.startError == 0)
    launch = TakeReport(ends[0], limit);
  ::close(ends[0]);
  return launch;
}

// Runs with all signals blocked: this program's handlers are not to run in the attendant, nor to cut
// a wait.
static qelLaunch RunUndisturbed(const Start& start, int limit) {
  sigset_t all;
  sigset_t before;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, &before);
  const qelLaunch launch = Run(start, limit);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return launch;
}

// What the program starts with: no other descriptors than the standard ones, all signals free and
// handled as by default. Returns 0 or the system's error.
static int SetAttributes(Start* start) {
  sigset_t none;
  sigset_t all;
  ::sigemptyset(&none);
  ::sigfillset(&all);
  int error = ::posix_spawn_file_actions_addclosefrom_np(&start->actions, STDERR_FILENO + 1);
  if (error == 0)
    error = ::posix_spawnattr_setsigmask(&start->attributes, &none);
  if (error == 0)
    error = ::posix_spawnattr_setsigdefault(&start->attributes, &all);
  if (error == 0)
    error = ::posix_spawnattr_setflags(&start->attributes,
                                       POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  return error;
}

qelLaunch qelPlatform_Launch(const char* program, const char* arguments, const char*, int limit) {
  const OwnedTexts split(
      qelArguments_Split(arguments != nullptr ? arguments : "", /*reserved=*/1, nullptr));
  split.get()[0] = const_cast<char*>(program);
  const OwnedTexts environment(EnvironmentForOthers());
  Start start = {};
  start.program = program;
  start.arguments = split.get();
  start.environment = environment.get();
  start.isSearched = arguments != nullptr;
  ::posix_spawn_file_actions_init(&start.actions);
  ::posix_spawnattr_init(&start.attributes);
  qelLaunch launch = {};
  launch.startError = SetAttributes(&start);
  if (launch.startError == 0)
    launch = RunUndisturbed(start, limit);
  ::posix_spawn_file_actions_destroy(&start.actions);
  ::posix_spawnattr_destroy(&start.attributes);
  return launch;
}

// Fatal path -------------------------------------------------------------------

void qelFatalError_PlatformHook(int) {
  fflush(stdout);
}

// Debugger ---------------------------------------------------------------------

// A tracer's process number stands in the status file of the process; 0 means none.
static bool IsTraced() {
  FILE* status = fopen("/proc/self/status", "re");
  if (status == nullptr)
    return false;
  char line[256];
  long tracer = 0;
  while (fgets(line, sizeof line, status) != nullptr)
    if (sscanf(line, "TracerPid: %ld", &tracer) == 1)
      break;
  fclose(status);
  return tracer != 0;
}

void qelDebug_Break(const char* text) {
  fprintf(stderr, "%.254s\n", text);
  if (IsTraced())
    ::raise(SIGTRAP);
}

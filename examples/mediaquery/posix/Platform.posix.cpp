#include "../Platform.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mediaquery {

std::vector<std::string> GetArguments(int argc, char** argv) {
  std::vector<std::string> arguments;
  for (int i = 1; i < argc; ++i)
    arguments.emplace_back(argv[i]);
  return arguments;
}

void PrepareOutput() {}

bool IsTerminal(std::FILE* stream) {
  return ::isatty(::fileno(stream)) == 1;
}

OutputToError::OutputToError() {
  std::fflush(stdout);
  m_output = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  ::dup2(STDERR_FILENO, STDOUT_FILENO);
}

OutputToError::~OutputToError() {
  std::fflush(stdout);
  if (m_output < 0) {
    ::close(STDOUT_FILENO);
    return;
  }
  ::dup2(m_output, STDOUT_FILENO);
  ::close(m_output);
}

bool WaitForOutput() {
  struct pollfd output = {STDOUT_FILENO, POLLOUT, 0};
  const int ready = ::poll(&output, 1, /*timeout=*/100);
  // What is wrong with it, the write will tell.
  return ready > 0 || (ready < 0 && errno != EINTR);
}

// What the signal handler uses: it may do no more than count and write to a pipe.
static int g_interruptPipe[2] = {-1, -1};
static std::atomic<int> g_interrupts{0};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler takes no lock");

static void WakeWaiter(char why) {
  while (::write(g_interruptPipe[1], &why, 1) < 0 && errno == EINTR) {
  }
}

static void HandleInterrupt(int) {
  const int error = errno;
  if (g_interrupts.fetch_add(1) != 0)
    ::_exit(kInterruptedStatus);
  WakeWaiter('i');
  errno = error;
}

static bool CatchSignal(int number) {
  struct sigaction action;
  if (::sigaction(number, nullptr, &action) != 0)
    return false;
  // Programs in the background of a script are started with SIGINT ignored.
  if (action.sa_handler == SIG_IGN)
    return true;
  // A call that is interrupted ends early: that of the thread that waits, for the others block them.
  action = {};
  action.sa_handler = HandleInterrupt;
  ::sigemptyset(&action.sa_mask);
  return ::sigaction(number, &action, nullptr) == 0;
}

// Whether this thread, and those that it makes from now on, are interrupted by the signals.
static bool AdmitSignals(bool admit) {
  sigset_t signals;
  ::sigemptyset(&signals);
  ::sigaddset(&signals, SIGINT);
  ::sigaddset(&signals, SIGTERM);
  return ::pthread_sigmask(admit ? SIG_UNBLOCK : SIG_BLOCK, &signals, nullptr) == 0;
}

// The signals are for the thread that waits for them; all others work undisturbed.
bool CatchInterrupts() {
  if (g_interruptPipe[0] >= 0 || ::pipe2(g_interruptPipe, O_CLOEXEC) != 0)
    return false;
  return AdmitSignals(false) && CatchSignal(SIGINT) && CatchSignal(SIGTERM);
}

bool WaitForInterrupt() {
  AdmitSignals(true);
  // Race detectors hold signals back in a read, but not in a poll.
  struct pollfd pipe = {g_interruptPipe[0], POLLIN, 0};
  while (::poll(&pipe, 1, /*timeout=*/-1) < 0 && errno == EINTR) {
  }
  char why = 0;
  while (::read(g_interruptPipe[0], &why, 1) < 0 && errno == EINTR) {
  }
  return why == 'i';
}

void EndWaitForInterrupt() {
  WakeWaiter('e');
}

bool GetAbsoluteFolder(const std::string& folder, std::string* absolute) {
  char* path = ::realpath(folder.c_str(), nullptr);
  if (path == nullptr)
    return false;
  *absolute = path;
  std::free(path);
  struct stat info;
  return ::stat(absolute->c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool IdentifyFolder(const char* path, FolderIdentity* identity) {
  struct stat info;
  if (::stat(path, &info) != 0 || !S_ISDIR(info.st_mode))
    return false;
  identity->volume = info.st_dev;
  identity->index = info.st_ino;
  return true;
}

bool IsRegularFile(const char* path) {
  struct stat info;
  return ::stat(path, &info) == 0 && S_ISREG(info.st_mode);
}

FileKind GetFileKind(const std::string& name) {
  struct stat info;
  if (::stat(name.c_str(), &info) != 0)
    return kFileMissing;
  return S_ISREG(info.st_mode) ? kFileRegular : kFileOther;
}

std::FILE* OpenFileForReading(const std::string& name) {
  return std::fopen(name.c_str(), "rb");
}

std::FILE* CreateNewFile(const std::string& name) {
  ::unlink(name.c_str());
  const int fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  std::FILE* file = fd < 0 ? nullptr : ::fdopen(fd, "wb");
  if (fd >= 0 && file == nullptr)
    ::close(fd);
  return file;
}

bool PutInPlace(const std::string& from, const std::string& to) {
  return ::rename(from.c_str(), to.c_str()) == 0;
}

void RemoveFile(const std::string& name) {
  ::unlink(name.c_str());
}

} // namespace mediaquery

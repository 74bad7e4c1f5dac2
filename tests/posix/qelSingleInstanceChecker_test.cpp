#include <qel/multiplatform/qelSingleInstanceChecker.h>

#include <algorithm>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <tests/support/LogCapture.h>

// A block of this size is refused.
static size_t g_refusedSize = 0;

extern "C" void* __real_malloc(size_t size);
extern "C" void* __wrap_malloc(size_t size) {
  return size != 0 && size == g_refusedSize ? nullptr : __real_malloc(size);
}

// Runs while a lock is waited for.
static std::function<void()> g_atNap;

extern "C" int __real_nanosleep(const timespec* time, timespec* rest);
extern "C" int __wrap_nanosleep(const timespec* time, timespec* rest) {
  if (g_atNap != nullptr)
    g_atNap();
  return __real_nanosleep(time, rest);
}

namespace {

struct DeleteChecker {
  void operator()(qelOSSingleInstanceChecker* checker) const {
    qelOSSingleInstanceChecker_Delete(checker);
  }
};
typedef std::unique_ptr<qelOSSingleInstanceChecker, DeleteChecker> Checker;

// A name that nobody has, and the lock file behind it, which is removed at the end.
class LockFileTest : public ::testing::Test {
protected:
  LockFileTest() {
    const Checker checker = New();
    char link[64];
    snprintf(link, sizeof link, "/proc/self/fd/%d", Descriptor(checker.get()));
    char target[4096];
    const ssize_t length = ::readlink(link, target, sizeof target);
    m_file.assign(target, length > 0 ? static_cast<size_t>(length) : 0);
  }
  ~LockFileTest() override { ::unlink(m_file.c_str()); }

  Checker New() const { return Checker(qelOSSingleInstanceChecker_New(m_name.c_str())); }

  static int Descriptor(const qelOSSingleInstanceChecker* checker) {
    return static_cast<int>(reinterpret_cast<intptr_t>(checker->mutex) - 1);
  }

  // What a process of its own ends with: 0 first, 1 another, 2 error.
  template <class Before>
  int InChild(Before before) const {
    const pid_t child = ::fork();
    if (child == 0) {
      before();
      const Checker checker = New();
      ::_exit(checker->error != 0 ? 2 : checker->anotherRunning);
    }
    int status = -1;
    EXPECT_EQ(child, ::waitpid(child, &status, 0));
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  const std::string m_name = "qel-test-posix-" + std::to_string(::getpid());
  std::string m_file;
};

} // namespace

static void BecomeNobody() {
  if (::setgid(65534) != 0 || ::setuid(65534) != 0)
    ::_exit(77);
}

using SingleInstanceLock = LockFileTest;

TEST(SingleInstance, WithoutMemoryForItsNameIsAnError) {
  const std::string name(3210, 'x');
  LogCapture log;
  g_refusedSize = sizeof "Global\\" + name.size();
  const Checker checker(qelOSSingleInstanceChecker_New(name.c_str()));
  g_refusedSize = 0;
  EXPECT_EQ(nullptr, checker->mutex);
  EXPECT_EQ(1, checker->anotherRunning);
  EXPECT_EQ(1, checker->error);
  EXPECT_EQ("qelOSSingleInstanceChecker: Cannot create checker: name '" + name +
                "' may be invalid\n",
            log.All());
}

TEST_F(SingleInstanceLock, IsAFileOfAMachineWideDirectory) {
  EXPECT_TRUE(m_file.rfind("/run/lock/qel-", 0) == 0 || m_file.rfind("/tmp/qel-", 0) == 0 ||
              m_file.rfind("/var/lock/qel-", 0) == 0)
      << m_file;
  struct stat status;
  ASSERT_EQ(0, ::stat(m_file.c_str(), &status));
  EXPECT_EQ(0666u, status.st_mode & 07777);
  EXPECT_EQ(0, status.st_size);
}

TEST_F(SingleInstanceLock, IsNotInheritedByPrograms) {
  const Checker checker = New();
  const int descriptor = Descriptor(checker.get());
  EXPECT_EQ(FD_CLOEXEC, ::fcntl(descriptor, F_GETFD));
}

TEST_F(SingleInstanceLock, IsGoneWithAKilledProcess) {
  int ends[2];
  ASSERT_EQ(0, ::pipe(ends));
  const pid_t child = ::fork();
  if (child == 0) {
    qelOSSingleInstanceChecker* checker = qelOSSingleInstanceChecker_New(m_name.c_str());
    const char state = checker->anotherRunning != 0 ? 'a' : 'f';
    if (::write(ends[1], &state, 1) == 1)
      ::pause();
    ::_exit(1);
  }
  char state = 0;
  EXPECT_EQ(1, ::read(ends[0], &state, 1));
  EXPECT_EQ('f', state);
  EXPECT_EQ(1, New()->anotherRunning);
  ::kill(child, SIGKILL);
  ASSERT_EQ(child, ::waitpid(child, nullptr, 0));
  EXPECT_EQ(0, New()->anotherRunning);
  ::close(ends[0]);
  ::close(ends[1]);
}

TEST_F(SingleInstanceLock, IsFreedAlthoughAChildThatRunsAnotherProgramLives) {
  Checker checker = New();
  int ends[2];
  ASSERT_EQ(0, ::pipe2(ends, O_CLOEXEC));
  const pid_t child = ::fork();
  if (child == 0) {
    ::execl("/bin/sleep", "sleep", "60", static_cast<char*>(nullptr));
    ::_exit(1);
  }
  ::close(ends[1]);
  char none;
  EXPECT_EQ(0, ::read(ends[0], &none, 1)); // the program runs, as its end of the pipe is closed
  checker.reset();
  EXPECT_EQ(0, New()->anotherRunning);
  ::kill(child, SIGKILL);
  ASSERT_EQ(child, ::waitpid(child, nullptr, 0));
  ::close(ends[0]);
}

TEST_F(SingleInstanceLock, OfOneUserWorksForAnother) {
  if (::geteuid() != 0)
    GTEST_SKIP() << "only root can be two users";
  EXPECT_EQ(0, InChild(BecomeNobody));
  const Checker checker = New();
  EXPECT_EQ(1, InChild(BecomeNobody));
}

TEST_F(SingleInstanceLock, MadeByAnotherUserWorksForThisOne) {
  if (::geteuid() != 0)
    GTEST_SKIP() << "only root can be two users";
  ASSERT_EQ(0, ::unlink(m_file.c_str()));
  EXPECT_EQ(0, InChild([] {
              ::umask(0777);
              BecomeNobody();
            }));
  struct stat status;
  ASSERT_EQ(0, ::stat(m_file.c_str(), &status));
  EXPECT_EQ(65534u, status.st_uid);
  EXPECT_EQ(0666u, status.st_mode & 07777);
  EXPECT_EQ(0, New()->anotherRunning);
  const Checker checker = New();
  EXPECT_EQ(1, InChild(BecomeNobody));
}

TEST_F(SingleInstanceLock, TakesNothingButAnOrdinaryFile) {
  LogCapture log;
  ASSERT_EQ(0, ::unlink(m_file.c_str()));
  ASSERT_EQ(0, ::symlink("/dev/null", m_file.c_str()));
  EXPECT_EQ(1, New()->error);
  ASSERT_EQ(0, ::unlink(m_file.c_str()));
  ASSERT_EQ(0, ::mkfifo(m_file.c_str(), 0666));
  EXPECT_EQ(1, New()->error);
  ASSERT_EQ(0, ::unlink(m_file.c_str()));
  ASSERT_EQ(0, ::mkdir(m_file.c_str(), 0777));
  EXPECT_EQ(1, New()->error);
  ASSERT_EQ(0, ::rmdir(m_file.c_str()));
  EXPECT_EQ(0, New()->error);
  EXPECT_EQ(3u, log.Texts().size());
}

TEST_F(SingleInstanceLock, IsNotWaitedForLongWhileSomebodyKeepsItForHimself) {
  const int file = ::open(m_file.c_str(), O_RDWR | O_CLOEXEC);
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  ASSERT_EQ(0, ::fcntl(file, F_OFD_SETLK, &lock));
  LogCapture log;
  const Checker checker = New();
  EXPECT_EQ(1, checker->error);
  EXPECT_EQ(1, checker->anotherRunning);
  EXPECT_EQ("qelOSSingleInstanceChecker: CreateMutex failed (error = " + std::to_string(EAGAIN) +
                ")\n",
            log.All());
  ::close(file);
}

// Another instance that is put off between its two locks.
TEST_F(SingleInstanceLock, IsWaitedForWhileAnotherBecomesTheFirst) {
  const int file = ::open(m_file.c_str(), O_RDWR | O_CLOEXEC);
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  ASSERT_EQ(0, ::fcntl(file, F_OFD_SETLK, &lock));
  g_atNap = [&] {
    lock.l_type = F_RDLCK;
    EXPECT_EQ(0, ::fcntl(file, F_OFD_SETLK, &lock));
  };
  const Checker checker = New();
  g_atNap = nullptr;
  EXPECT_EQ(F_RDLCK, lock.l_type);
  EXPECT_EQ(0, checker->error);
  EXPECT_EQ(1, checker->anotherRunning);
  ::close(file);
}

TEST_F(SingleInstanceLock, LeavesNoDescriptorBehind) {
  const int before = ::dup(0);
  ::close(before);
  for (int i = 0; i < 3; ++i) {
    New();
    LogCapture log;
    ::unlink(m_file.c_str());
    ::mkfifo(m_file.c_str(), 0666);
    New();
    ::unlink(m_file.c_str());
  }
  const int after = ::dup(0);
  ::close(after);
  EXPECT_EQ(before, after);
}

TEST_F(SingleInstanceLock, GivesOneOfManyThatStartTogetherTheFirstPlace) {
  for (int round = 0; round < 20; ++round) {
    const int count = 8;
    int gate[2];
    int states[2];
    ASSERT_EQ(0, ::pipe(gate));
    ASSERT_EQ(0, ::pipe(states));
    std::vector<pid_t> children;
    for (int i = 0; i < count; ++i) {
      const pid_t child = ::fork();
      if (child == 0) {
        ::close(gate[1]);
        char none;
        const bool open = ::read(gate[0], &none, 1) == 0;
        qelOSSingleInstanceChecker* checker = qelOSSingleInstanceChecker_New(m_name.c_str());
        const char state = !open || checker->error != 0   ? 'e'
                           : checker->anotherRunning != 0 ? 'a'
                                                          : 'f';
        if (::write(states[1], &state, 1) == 1)
          ::pause();
        ::_exit(1);
      }
      children.push_back(child);
    }
    ::close(gate[0]);
    ::close(gate[1]);
    std::string all;
    for (int i = 0; i < count; ++i) {
      char state = '?';
      EXPECT_EQ(1, ::read(states[0], &state, 1));
      all += state;
    }
    EXPECT_EQ(1, std::count(all.begin(), all.end(), 'f')) << all;
    EXPECT_EQ(count - 1, std::count(all.begin(), all.end(), 'a')) << all;
    for (const pid_t child : children) {
      ::kill(child, SIGKILL);
      EXPECT_EQ(child, ::waitpid(child, nullptr, 0));
    }
    ::close(states[0]);
    ::close(states[1]);
  }
}

//===----------------------------------------------------------------------===//
// What of the semaphore only this system has: interrupted waits and the system's
// errors. The program is linked so that the library's calls come through here.
//===----------------------------------------------------------------------===//

#include <qel/multiplatform/qelSemaphore.h>

#include <cerrno>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <semaphore.h>
#include <time.h>

#include <tests/support/LogCapture.h>

namespace {

// What the calls of the library shall do.
struct Script {
  int failing = 0;                 // the error number of every call, or 0
  int interrupts = 0;              // how many waits a signal interrupts
  std::vector<timespec> deadlines; // of the waits with a limit
};

Script script;

// Whether a call fails; errno says why.
bool Fails() {
  errno = script.failing;
  return script.failing != 0;
}

bool IsInterrupted() {
  if (script.interrupts == 0)
    return false;
  script.interrupts -= 1;
  errno = EINTR;
  return true;
}

} // namespace

extern "C" {
int __real_sem_init(sem_t* semaphore, int shared, unsigned count);
int __wrap_sem_init(sem_t* semaphore, int shared, unsigned count) {
  return Fails() ? -1 : __real_sem_init(semaphore, shared, count);
}

int __real_sem_destroy(sem_t* semaphore);
int __wrap_sem_destroy(sem_t* semaphore) {
  return Fails() ? -1 : __real_sem_destroy(semaphore);
}

int __real_sem_post(sem_t* semaphore);
int __wrap_sem_post(sem_t* semaphore) {
  return Fails() ? -1 : __real_sem_post(semaphore);
}

int __real_sem_trywait(sem_t* semaphore);
int __wrap_sem_trywait(sem_t* semaphore) {
  return Fails() ? -1 : __real_sem_trywait(semaphore);
}

int __real_sem_wait(sem_t* semaphore);
int __wrap_sem_wait(sem_t* semaphore) {
  if (!IsInterrupted())
    return Fails() ? -1 : __real_sem_wait(semaphore);
  // The post comes meanwhile.
  if (script.interrupts == 0)
    __real_sem_post(semaphore);
  return -1;
}

int __real_sem_clockwait(sem_t* semaphore, clockid_t clock, const timespec* deadline);
int __wrap_sem_clockwait(sem_t* semaphore, clockid_t clock, const timespec* deadline) {
  EXPECT_EQ(clock, CLOCK_MONOTONIC);
  script.deadlines.push_back(*deadline);
  if (IsInterrupted())
    return -1;
  return Fails() ? -1 : __real_sem_clockwait(semaphore, clock, deadline);
}
}

namespace {

class QelOSSemaphoreFaults : public testing::Test {
protected:
  QelOSSemaphoreFaults() { script = Script(); }
  ~QelOSSemaphoreFaults() override {
    script = Script();
    qelOSSemaphore_Delete(semaphore);
  }

  void ExpectLine(const std::string& text) {
    ASSERT_EQ(log.Lines().size(), 1u);
    const CapturedLine line = log.Lines()[0];
    EXPECT_EQ(line.text, text);
    EXPECT_EQ(line.level, 1u);
    EXPECT_EQ(line.module, 7u);
    EXPECT_EQ(line.file, "..\\..\\posix\\qelSemaphore.posix");
  }

  LogCapture log;
  qelOSSemaphore* semaphore = qelOSSemaphore_New(0);
};

using QelOSSemaphoreWaitTimeout = QelOSSemaphoreFaults;

TEST_F(QelOSSemaphoreWaitTimeout, GoesOnWhenASignalInterruptsIt) {
  script.interrupts = 3;
  EXPECT_EQ(qelOSSemaphore_Wait(semaphore), 0);
  EXPECT_EQ(script.interrupts, 0);
  EXPECT_EQ(log.All(), "");
}

TEST_F(QelOSSemaphoreWaitTimeout, KeepsItsDeadlineWhenASignalInterruptsIt) {
  script.interrupts = 3;
  EXPECT_EQ(qelOSSemaphore_WaitTimeout(semaphore, 20), 1);
  ASSERT_EQ(script.deadlines.size(), 4u);
  for (const timespec& deadline : script.deadlines) {
    EXPECT_EQ(deadline.tv_sec, script.deadlines[0].tv_sec);
    EXPECT_EQ(deadline.tv_nsec, script.deadlines[0].tv_nsec);
  }
  EXPECT_EQ(log.All(), "");
}

TEST_F(QelOSSemaphoreWaitTimeout, EndsAsManyMillisecondsAhead) {
  // The wait itself is refused, so that even the longest limit ends at once.
  for (qelULong ms : {1u, 999u, 1000u, 1001u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFEu}) {
    script = Script();
    script.failing = EINVAL;
    timespec before;
    timespec after;
    clock_gettime(CLOCK_MONOTONIC, &before);
    EXPECT_EQ(qelOSSemaphore_WaitTimeout(semaphore, ms), 2);
    clock_gettime(CLOCK_MONOTONIC, &after);
    ASSERT_EQ(script.deadlines.size(), 1u);
    const timespec deadline = script.deadlines[0];
    EXPECT_GE(deadline.tv_nsec, 0);
    EXPECT_LT(deadline.tv_nsec, 1000000000);
    const auto nanoseconds = [](const timespec& time) {
      return static_cast<int64_t>(time.tv_sec) * 1000000000 + time.tv_nsec;
    };
    EXPECT_GE(nanoseconds(deadline) - nanoseconds(before), ms * INT64_C(1000000)) << ms;
    EXPECT_LE(nanoseconds(deadline) - nanoseconds(after), ms * INT64_C(1000000)) << ms;
  }
}

TEST_F(QelOSSemaphoreFaults, LogAFailedWait) {
  const struct {
    qelULong ms;
    const char* text;
  } rows[] = {
      {0, "WaitForSingleObject(0) returned -1 (error = 22)"},
      {5, "WaitForSingleObject(5) returned -1 (error = 22)"},
      {0xFFFFFFFFu, "WaitForSingleObject(4294967295) returned -1 (error = 22)"},
  };
  for (const auto& row : rows) {
    log.Clear();
    script.failing = EINVAL;
    EXPECT_EQ(qelOSSemaphore_WaitTimeout(semaphore, row.ms), 2);
    ExpectLine(std::string("qelOSSemaphore: ") + row.text + "\n");
  }
}

TEST_F(QelOSSemaphoreFaults, LogAPostAtTheHighestCount) {
  for (int i = 0; i < qelOSSemaphoreMaxCount; ++i)
    EXPECT_EQ(qelOSSemaphore_Post(semaphore), 0);
  EXPECT_EQ(qelOSSemaphore_Post(semaphore), 2);
  ExpectLine("qelOSSemaphore: ReleaseSemaphore failed (error = " + std::to_string(EOVERFLOW) +
             ")\n");
}

TEST_F(QelOSSemaphoreFaults, LeaveTheCountWhenAPostFails) {
  script.failing = EINVAL;
  EXPECT_EQ(qelOSSemaphore_Post(semaphore), 2);
  ExpectLine("qelOSSemaphore: ReleaseSemaphore failed (error = 22)\n");
  script = Script();
  EXPECT_EQ(qelOSSemaphore_WaitTimeout(semaphore, 0), 1);
  for (int i = 0; i < qelOSSemaphoreMaxCount; ++i)
    EXPECT_EQ(qelOSSemaphore_Post(semaphore), 0);
  EXPECT_EQ(qelOSSemaphore_Post(semaphore), 2);
}

TEST_F(QelOSSemaphoreFaults, LogAFailedCreation) {
  script.failing = ENOSYS;
  EXPECT_EQ(qelOSSemaphore_New(0), nullptr);
  ExpectLine("qelOSSemaphore: CreateSemaphore failed (error = " + std::to_string(ENOSYS) + ")\n");
}

TEST_F(QelOSSemaphoreFaults, ReleaseTheRecordAlsoWhenItsEndFails) {
  script.failing = EINVAL;
  qelOSSemaphore_Delete(semaphore);
  semaphore = nullptr;
  ExpectLine("qelOSSemaphore: CloseHandle failed (error = 22)\n");
}

} // namespace

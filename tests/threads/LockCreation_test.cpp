//===----------------------------------------------------------------------===//
// What happens when there is no memory for a lock. The program is linked so that
// every malloc of the library comes through here.
//===----------------------------------------------------------------------===//

#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include <qel/multiplatform/qelCondition.h>
#include <qel/multiplatform/qelCriticalSection.h>
#include <qel/threads/Condition.h>
#include <qel/threads/CriticalSection.h>
#include <qel/threads/MessageQueue.h>
#include <qel/threads/Mutex.h>
#include <qel/threads/Semaphore.h>
#include <tests/support/Fatal.h>
#include <tests/support/LogCapture.h>

// Which malloc of this thread fails, from 1; 0 for none.
static thread_local int failing = 0;

extern "C" void* __real_malloc(size_t size);
extern "C" void* __wrap_malloc(size_t size) {
  if (failing != 0 && --failing == 0)
    return nullptr;
  return __real_malloc(size);
}

namespace {

const char kMutexLine[] = "qelOSMutex: Cannot allocate memory for a mutex\n";
const char kSectionLine[] = "qelOSCriticalSection: Cannot allocate memory for a critical section\n";
const char kSemaphoreLine[] = "qelOSSemaphore: Cannot allocate memory for a semaphore\n";

TEST(LockCreation, LogsAndGivesNullWithoutMemory) {
  LogCapture log;
  failing = 1;
  EXPECT_EQ(qelOSMutex_New(), nullptr);
  failing = 1;
  EXPECT_EQ(qelOSCriticalSection_New(), nullptr);
  failing = 1;
  EXPECT_EQ(qelOSSemaphore_New(0), nullptr);
  EXPECT_EQ(log.All(), std::string(kMutexLine) + kSectionLine + kSemaphoreLine);
  for (const CapturedLine& line : log.Lines()) {
    EXPECT_EQ(line.level, 1u);
    EXPECT_EQ(line.module, 7u);
  }
}

TEST(LockCreation, KeepsNothingOfAConditionWithoutMemory) {
  const std::string lines[] = {"", kMutexLine, kSemaphoreLine, kSemaphoreLine};
  for (int i = 0; i < 4; ++i) {
    LogCapture log;
    failing = i + 1;
    EXPECT_EQ(qelOSCondition_New(), nullptr) << i;
    EXPECT_EQ(failing, 0);
    EXPECT_EQ(log.All(), lines[i]) << i;
  }
}

TEST(LockCreation, EndsTheProcessInAClassWithoutMemory) {
  EXPECT_FATAL(
      {
        failing = 1;
        qelMutex();
      },
      "os:mutex");
  EXPECT_FATAL(
      {
        failing = 1;
        qelCriticalSection();
      },
      "os:criticalsection");
  EXPECT_FATAL(
      {
        failing = 1;
        qelSemaphore();
      },
      "os:semaphore");
  EXPECT_FATAL(
      {
        failing = 1;
        qelCondition();
      },
      "os:condition");
  EXPECT_FATAL(
      {
        failing = 5;
        qelCondition();
      },
      "os:mutex");
  qelMutex mutex;
  EXPECT_FATAL(
      {
        failing = 4;
        qelConditionExt(&mutex, false);
      },
      "os:condition");
}

// Its own lock is the first record, the condition and its three parts are the others.
TEST(LockCreation, LeavesAMessageQueueEmptyAndWithoutItsLocks) {
  class OpenQueue : public qelMessageQueue {
  public:
    using qelMessageQueue::m_condition;
    using qelMessageQueue::m_mutex;
  };
  const std::string lines[] = {kMutexLine, "", kMutexLine, kSemaphoreLine, kSemaphoreLine};
  for (int i = 0; i < 5; ++i) {
    LogCapture log;
    failing = i + 1;
    OpenQueue queue;
    EXPECT_EQ(failing, 0);
    EXPECT_EQ(queue.m_mutex == nullptr, i == 0);
    EXPECT_EQ(queue.m_condition == nullptr, i != 0);
    EXPECT_TRUE(queue.IsEmpty());
    EXPECT_EQ(log.All(), lines[i]) << i;
  }
}

} // namespace

#include <qel/multiplatform/qelMutex.h>

#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/Gate.h>

namespace {

class QelOSMutexTest : public testing::Test {
protected:
  ~QelOSMutexTest() override { qelOSMutex_Delete(mutex); }
  qelOSMutex* mutex = qelOSMutex_New();
};

using QelOSMutexLock = QelOSMutexTest;
using QelOSMutexIsOwner = QelOSMutexTest;

TEST(QelOSMutexDelete, IgnoresNull) {
  qelOSMutex_Delete(nullptr);
}

TEST_F(QelOSMutexLock, GivesZeroAndSoDoesUnlock) {
  EXPECT_EQ(qelOSMutex_Lock(mutex), 0);
  EXPECT_EQ(qelOSMutex_Unlock(mutex), 0);
}

TEST_F(QelOSMutexLock, KeepsOtherThreadsOut) {
  int counter = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&] {
      for (int j = 0; j < 5000; ++j) {
        qelOSMutex_Lock(mutex);
        counter += 1;
        qelOSMutex_Unlock(mutex);
      }
    });
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(counter, 20000);
}

TEST_F(QelOSMutexLock, IsHeldUntilTheLastOfTwoUnlocks) {
  std::atomic<bool> isNear{false};
  std::atomic<bool> isDone{false};
  bool sawDone = false;
  qelOSMutex_Lock(mutex);
  qelOSMutex_Lock(mutex);
  std::thread other([&] {
    isNear = true;
    qelOSMutex_Lock(mutex);
    sawDone = isDone;
    qelOSMutex_Unlock(mutex);
  });
  AwaitThat([&] { return isNear.load(); });
  qelOSMutex_Unlock(mutex);
  for (int i = 0; i < 1000; ++i)
    std::this_thread::yield();
  isDone = true;
  qelOSMutex_Unlock(mutex);
  other.join();
  EXPECT_TRUE(sawDone);
}

TEST_F(QelOSMutexIsOwner, SaysWhetherTheCallerTookItLast) {
  EXPECT_EQ(qelOSMutex_IsOwner(mutex), 0);
  qelOSMutex_Lock(mutex);
  EXPECT_EQ(qelOSMutex_IsOwner(mutex), 1);
  qelOSMutex_Lock(mutex);
  EXPECT_EQ(qelOSMutex_IsOwner(mutex), 1);
  qelOSMutex_Unlock(mutex);
  qelOSMutex_Unlock(mutex);
  EXPECT_EQ(qelOSMutex_IsOwner(mutex), 0);
}

TEST_F(QelOSMutexIsOwner, SaysNoToAnotherThread) {
  qelOSMutex_Lock(mutex);
  int isOwner = -1;
  std::thread([&] { isOwner = qelOSMutex_IsOwner(mutex); }).join();
  EXPECT_EQ(isOwner, 0);
  EXPECT_EQ(qelOSMutex_IsOwner(mutex), 1);
  qelOSMutex_Unlock(mutex);
}

TEST_F(QelOSMutexIsOwner, SaysNoAfterAnInnerUnlock) {
  qelOSMutex_Lock(mutex);
  qelOSMutex_Lock(mutex);
  qelOSMutex_Unlock(mutex);
  EXPECT_EQ(qelOSMutex_IsOwner(mutex), 0);
  qelOSMutex_Unlock(mutex);
}

} // namespace

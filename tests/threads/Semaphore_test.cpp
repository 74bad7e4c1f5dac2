#include <qel/threads/Semaphore.h>

#include <new>
#include <thread>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/support/Fatal.h>
#include <tests/support/LogCapture.h>

using testing::HasSubstr;

namespace {

TEST(QelSemaphore, HasCountOneByDefault) {
  qelSemaphore semaphore;
  EXPECT_EQ(semaphore.Wait(), 0);
  EXPECT_EQ(semaphore.WaitTimeout(0), 1);
}

TEST(QelSemaphore, HasTheCountThatIsGiven) {
  qelSemaphore semaphore(2);
  EXPECT_EQ(semaphore.WaitTimeout(0), 0);
  EXPECT_EQ(semaphore.WaitTimeout(0), 0);
  EXPECT_EQ(semaphore.WaitTimeout(0), 1);
  qelSemaphore none(0);
  EXPECT_EQ(none.WaitTimeout(1), 1);
}

TEST(QelSemaphore, EndsTheProcessForACountOutOfItsRange) {
  EXPECT_FATAL(qelSemaphore(-1), "os:semaphore");
  EXPECT_FATAL(qelSemaphore(32769), "os:semaphore");
}

TEST(QelSemaphorePost, FailsBeyondTheHighestCount) {
  qelSemaphore semaphore(32768);
  LogCapture log;
  EXPECT_EQ(semaphore.Post(), 2);
  EXPECT_THAT(log.All(), HasSubstr("qelOSSemaphore: ReleaseSemaphore failed"));
  EXPECT_EQ(semaphore.Wait(), 0);
  EXPECT_EQ(semaphore.Post(), 0);
}

TEST(QelSemaphorePost, WakesAWaiterInAnotherThread) {
  qelSemaphore request(0);
  qelSemaphore answer(0);
  std::thread other([&] {
    EXPECT_EQ(request.Wait(), 0);
    EXPECT_EQ(answer.Post(), 0);
  });
  EXPECT_EQ(request.Post(), 0);
  EXPECT_EQ(answer.WaitTimeout(0xFFFFFFFFu), 0);
  other.join();
}

// Only one of the two is destroyed: the copy lies in raw storage and its destructor never runs.
TEST(QelSemaphoreCopy, SharesTheSystemsSemaphore) {
  qelSemaphore source(0);
  alignas(qelSemaphore) unsigned char storage[sizeof(qelSemaphore)];
  qelSemaphore* copy = new (storage) qelSemaphore(source);
  EXPECT_EQ(copy->Post(), 0);
  EXPECT_EQ(source.WaitTimeout(0), 0);
  EXPECT_EQ(copy->WaitTimeout(0), 1);
  EXPECT_TRUE(std::is_trivially_copy_assignable<qelSemaphore>::value);
}

TEST(QelSemaphoreShape, HasNoVirtualOperation) {
  EXPECT_FALSE(std::is_polymorphic<qelSemaphore>::value);
}

} // namespace

#include <qel/multiplatform/qelSemaphore.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/support/LogCapture.h>

using testing::EndsWith;
using testing::StartsWith;

namespace {

// How many waits pass at once.
int Drained(qelOSSemaphore* semaphore) {
  int count = 0;
  while (qelOSSemaphore_WaitTimeout(semaphore, 0) == 0)
    count += 1;
  return count;
}

TEST(QelOSSemaphoreNew, StartsWithTheGivenCount) {
  for (int count : {0, 1, 2, 7, 32767, 32768}) {
    qelOSSemaphore* semaphore = qelOSSemaphore_New(count);
    ASSERT_NE(semaphore, nullptr) << count;
    EXPECT_EQ(Drained(semaphore), count);
    qelOSSemaphore_Delete(semaphore);
  }
}

TEST(QelOSSemaphoreNew, FailsOutsideItsRangeWithALogLine) {
  for (int count : {-1, INT_MIN, 32769, 32770, INT_MAX}) {
    LogCapture log;
    EXPECT_EQ(qelOSSemaphore_New(count), nullptr) << count;
    ASSERT_EQ(log.Lines().size(), 1u);
    const CapturedLine line = log.Lines()[0];
    EXPECT_THAT(line.text, StartsWith("qelOSSemaphore: CreateSemaphore failed (error = "));
    EXPECT_THAT(line.text, EndsWith(")\n"));
    EXPECT_EQ(line.level, 1u);
    EXPECT_EQ(line.module, 7u);
  }
}

TEST(QelOSSemaphoreDelete, IgnoresNull) {
  LogCapture log;
  qelOSSemaphore_Delete(nullptr);
  EXPECT_EQ(log.All(), "");
}

TEST(QelOSSemaphorePost, FailsBeyondTheHighestCountWithALogLine) {
  qelOSSemaphore* semaphore = qelOSSemaphore_New(32767);
  LogCapture log;
  EXPECT_EQ(qelOSSemaphore_Post(semaphore), 0);
  EXPECT_EQ(log.All(), "");
  EXPECT_EQ(qelOSSemaphore_Post(semaphore), 2);
  EXPECT_THAT(log.All(), StartsWith("qelOSSemaphore: ReleaseSemaphore failed (error = "));
  EXPECT_THAT(log.All(), EndsWith(")\n"));
  EXPECT_EQ(Drained(semaphore), 32768);
  EXPECT_EQ(qelOSSemaphore_Post(semaphore), 0);
  qelOSSemaphore_Delete(semaphore);
}

TEST(QelOSSemaphoreWaitTimeout, OnlyLooksForALimitOfZero) {
  qelOSSemaphore* semaphore = qelOSSemaphore_New(1);
  EXPECT_EQ(qelOSSemaphore_WaitTimeout(semaphore, 0), 0);
  EXPECT_EQ(qelOSSemaphore_WaitTimeout(semaphore, 0), 1);
  qelOSSemaphore_Delete(semaphore);
}

TEST(QelOSSemaphoreWaitTimeout, GivesOneWhenTheTimeHasRunOut) {
  using std::chrono::milliseconds;
  using std::chrono::steady_clock;
  qelOSSemaphore* semaphore = qelOSSemaphore_New(0);
  const steady_clock::time_point start = steady_clock::now();
  EXPECT_EQ(qelOSSemaphore_WaitTimeout(semaphore, 60), 1);
  // A system may count in ticks of 16 ms.
  EXPECT_GE(steady_clock::now() - start, milliseconds(60 - 16));
  qelOSSemaphore_Delete(semaphore);
}

// The longest limits are long, not negative or over at once.
TEST(QelOSSemaphoreWaitTimeout, IsWokenByAPostUnderAnyLimit) {
  for (uint32_t limit : {0xFFFFFFFFu, 0xFFFFFFFEu, 0x80000000u, 0x7FFFFFFFu, 3600000u}) {
    qelOSSemaphore* semaphore = qelOSSemaphore_New(0);
    std::thread poster([&] { qelOSSemaphore_Post(semaphore); });
    EXPECT_EQ(qelOSSemaphore_WaitTimeout(semaphore, limit), 0) << limit;
    poster.join();
    EXPECT_EQ(qelOSSemaphore_WaitTimeout(semaphore, 0), 1);
    qelOSSemaphore_Delete(semaphore);
  }
}

TEST(QelOSSemaphoreWait, TakesEachPostOnce) {
  qelOSSemaphore* semaphore = qelOSSemaphore_New(0);
  std::atomic<int> taken{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      for (int j = 0; j < 2000; ++j)
        if (qelOSSemaphore_Wait(semaphore) == 0)
          taken += 1;
    });
    threads.emplace_back([&] {
      for (int j = 0; j < 2000; ++j)
        EXPECT_EQ(qelOSSemaphore_Post(semaphore), 0);
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(taken.load(), 6000);
  EXPECT_EQ(Drained(semaphore), 0);
  qelOSSemaphore_Delete(semaphore);
}

// A time-out that meets a post either takes it or leaves it, and never loses it.
TEST(QelOSSemaphoreWaitTimeout, NeitherLosesNorDoublesAPostThatItMeets) {
  qelOSSemaphore* semaphore = qelOSSemaphore_New(0);
  std::atomic<int> taken{0};
  std::vector<std::thread> threads;
  const int rounds = 3000;
  for (int i = 0; i < 2; ++i)
    threads.emplace_back([&, i] {
      for (int j = 0; j < rounds; ++j)
        if (qelOSSemaphore_WaitTimeout(semaphore, static_cast<qelULong>((i + j) % 2)) == 0)
          taken += 1;
    });
  std::thread poster([&] {
    for (int j = 0; j < rounds; ++j)
      qelOSSemaphore_Post(semaphore);
  });
  for (std::thread& thread : threads)
    thread.join();
  poster.join();
  EXPECT_EQ(taken.load() + Drained(semaphore), rounds);
  qelOSSemaphore_Delete(semaphore);
}

// The waiter may delete the semaphore as soon as it was woken.
TEST(QelOSSemaphorePost, IsDoneWithTheSemaphoreWhenItsWaiterReturns) {
  for (int i = 0; i < 2000; ++i) {
    qelOSSemaphore* semaphore = qelOSSemaphore_New(0);
    std::thread poster([semaphore] { qelOSSemaphore_Post(semaphore); });
    EXPECT_EQ(qelOSSemaphore_Wait(semaphore), 0);
    qelOSSemaphore_Delete(semaphore);
    poster.join();
  }
}

} // namespace

#include <qel/threads/Timeout.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>

#include <gtest/gtest.h>

#include <tests/support/Clock.h>

namespace {

// Shows what subclasses see.
struct Timeout : qelTimeout {
  using qelTimeout::GetSysMSTickCount;
};

// A queue that cares for nothing.
struct Queue : qelTimeoutQueue {
  void OnTimeouts() override {}
};

} // namespace

TEST(qelTimeout, HasLinksTickAndDurationBehindItsVirtualDestructor) {
  EXPECT_EQ(sizeof(qelTimeout), 3 * sizeof(void*) + 8);
  EXPECT_TRUE(std::has_virtual_destructor_v<qelTimeout>);
  ScopedTickCount tick(0x11223344);
  qelTimeout timeout;
  timeout.Start(0x55667788);
  uint32_t fields[2];
  memcpy(fields, reinterpret_cast<const char*>(&timeout) + 3 * sizeof(void*), sizeof fields);
  EXPECT_EQ(fields[0], 0x11223344u);
  EXPECT_EQ(fields[1], 0x55667788u);
}

TEST(qelTimeout, IsInNoQueueAtFirst) {
  Queue queue;
  qelTimeout timeout;
  queue.TimeoutCancel(&timeout);
  EXPECT_EQ(queue.FirstExpiringTimeout(), nullptr);
}

TEST(qelTimeoutStart, LeavesThePlaceInTheQueue) {
  ScopedTickCount tick(0);
  Queue queue;
  qelTimeout first, second;
  queue.TimeoutStart(&first, 10);
  queue.TimeoutStart(&second, 20);
  first.Start(100);
  EXPECT_EQ(queue.FirstExpiringTimeout(), &first);
  EXPECT_EQ(first.Remaining(), 100u);
  second.Start(0);
  EXPECT_EQ(queue.FirstExpiringTimeout(), &first);
  queue.TimeoutStart(&first, 100);
  EXPECT_EQ(queue.FirstExpiringTimeout(), &second);
}

TEST(qelTimeoutStart, BeginsAgainFromNow) {
  ScopedTickCount tick(1000);
  qelTimeout timeout;
  timeout.Start(50);
  tick.Set(1040);
  timeout.Start(50);
  EXPECT_EQ(timeout.Remaining(), 50u);
  tick.Set(1090);
  EXPECT_EQ(timeout.Remaining(), 0u);
}

TEST(qelTimeoutRemaining, CountsDownToNothing) {
  ScopedTickCount tick(5);
  qelTimeout timeout;
  timeout.Start(3);
  for (uint32_t passed = 0; passed < 10; ++passed) {
    tick.Set(5 + passed);
    EXPECT_EQ(timeout.Remaining(), passed < 3 ? 3 - passed : 0);
    EXPECT_EQ(timeout.IsExpired(), passed >= 3);
  }
}

TEST(qelTimeoutRemaining, IsNothingAtOnceForNoDuration) {
  ScopedTickCount tick(77);
  qelTimeout timeout;
  timeout.Start(0);
  EXPECT_EQ(timeout.Remaining(), 0u);
  EXPECT_TRUE(timeout.IsExpired());
}

TEST(qelTimeoutRemaining, GoesOnAcrossTheWrapOfTheTick) {
  ScopedTickCount tick(0xFFFFFFF0);
  qelTimeout timeout;
  timeout.Start(0x20);
  EXPECT_EQ(timeout.Remaining(), 0x20u);
  tick.Set(0xFFFFFFFF);
  EXPECT_EQ(timeout.Remaining(), 0x11u);
  tick.Set(0);
  EXPECT_EQ(timeout.Remaining(), 0x10u);
  tick.Set(8);
  EXPECT_EQ(timeout.Remaining(), 8u);
  tick.Set(0x0F);
  EXPECT_FALSE(timeout.IsExpired());
  tick.Set(0x10);
  EXPECT_TRUE(timeout.IsExpired());
}

TEST(qelTimeoutRemaining, HoldsForTheLongestDuration) {
  ScopedTickCount tick(100);
  qelTimeout timeout;
  timeout.Start(0xFFFFFFFF);
  EXPECT_EQ(timeout.Remaining(), 0xFFFFFFFFu);
  tick.Set(98);
  EXPECT_EQ(timeout.Remaining(), 1u);
  tick.Set(99);
  EXPECT_TRUE(timeout.IsExpired());
}

TEST(qelTimeoutRemaining, CountsDownAgainAfterAWholePeriodOfTheTick) {
  ScopedTickCount tick(100);
  qelTimeout timeout;
  timeout.Start(10);
  tick.Set(99);
  EXPECT_TRUE(timeout.IsExpired());
  tick.Set(100);
  EXPECT_EQ(timeout.Remaining(), 10u);
  tick.Set(103);
  EXPECT_EQ(timeout.Remaining(), 7u);
}

TEST(qelTimeoutGetSysMSTickCount, IsTheTickOfTheSystem) {
  ScopedTickCount tick(0x89ABCDEF);
  EXPECT_EQ(Timeout::GetSysMSTickCount(), 0x89ABCDEFu);
}

TEST(qelTimeoutDestructor, LeavesTheQueue) {
  ScopedTickCount tick(0);
  Queue queue;
  qelTimeout first, last;
  auto middle = std::make_unique<qelTimeout>();
  queue.TimeoutStart(&first, 1);
  queue.TimeoutStart(middle.get(), 2);
  queue.TimeoutStart(&last, 3);
  middle.reset();
  EXPECT_EQ(queue.FirstExpiringTimeout(), &first);
  queue.TimeoutCancel(&first);
  EXPECT_EQ(queue.FirstExpiringTimeout(), &last);
  queue.TimeoutCancel(&last);
  EXPECT_EQ(queue.FirstExpiringTimeout(), nullptr);
}

TEST(qelTimeoutCopy, RunsOnByItselfWhenInNoQueue) {
  ScopedTickCount tick(10);
  qelTimeout source;
  source.Start(20);
  qelTimeout copy(source), assigned;
  assigned = source;
  source.Start(5);
  tick.Set(15);
  EXPECT_EQ(copy.Remaining(), 15u);
  EXPECT_EQ(assigned.Remaining(), 15u);
  EXPECT_EQ(source.Remaining(), 0u);
}

TEST(qelTimeoutCopy, TakesTheOriginalOutOfTheWalkAtItsEnd) {
  ScopedTickCount tick(0);
  Queue queue;
  qelTimeout first, second, third;
  queue.TimeoutStart(&first, 1);
  queue.TimeoutStart(&second, 2);
  queue.TimeoutStart(&third, 3);
  { qelTimeout copy(second); }
  queue.TimeoutCancel(&first);
  EXPECT_EQ(queue.FirstExpiringTimeout(), &third);
}

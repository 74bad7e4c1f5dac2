#include <qel/threads/TimeoutQueue.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/threads/Timeout.h>
#include <tests/support/Clock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Queue : public qelTimeoutQueue {
public:
  // Takes the elements off, in order.
  std::vector<qelTimeout*> Drain() {
    std::vector<qelTimeout*> order;
    while (qelTimeout* first = FirstExpiringTimeout()) {
      order.push_back(first);
      TimeoutCancel(first);
    }
    return order;
  }

  int calls = 0;                    // of OnTimeouts
  bool takesOff = false;            // OnTimeouts cancels what has expired
  std::vector<qelTimeout*> expired; // what it has cancelled

private:
  void OnTimeouts() override {
    calls += 1;
    while (takesOff && FirstExpiringTimeout() != nullptr && FirstExpiringTimeout()->IsExpired()) {
      expired.push_back(FirstExpiringTimeout());
      TimeoutCancel(FirstExpiringTimeout());
    }
  }
};

// A tick that moves on with each look at it.
uint32_t g_movingTick = 0;
uint32_t MovingTick() {
  return g_movingTick++;
}

} // namespace

TEST(qelTimeoutQueue, HasTwoLinksBehindItsVirtualOperations) {
  EXPECT_EQ(sizeof(qelTimeoutQueue), 3 * sizeof(void*));
  EXPECT_TRUE(std::has_virtual_destructor_v<qelTimeoutQueue>);
  EXPECT_TRUE(std::is_abstract_v<qelTimeoutQueue>);
}

TEST(qelTimeoutQueue, IsEmptyAtFirst) {
  Queue queue;
  EXPECT_EQ(queue.FirstExpiringTimeout(), nullptr);
}

TEST(qelTimeoutQueueDestructor, DoesNotTouchTheElements) {
  ScopedTickCount tick(0);
  auto queue = std::make_unique<Queue>();
  qelTimeout timeout;
  queue->TimeoutStart(&timeout, 5);
  queue->TimeoutCancel(&timeout);
  queue.reset();
  EXPECT_EQ(timeout.Remaining(), 5u);
}

TEST(qelTimeoutQueueCopy, TakesTheLinksOfTheOriginal) {
  ScopedTickCount tick(0);
  Queue original;
  qelTimeout first, second;
  original.TimeoutStart(&first, 10);
  original.TimeoutStart(&second, 20);
  Queue copy(original), assigned;
  assigned = original;
  EXPECT_EQ(copy.FirstExpiringTimeout(), &first);
  EXPECT_EQ(assigned.FirstExpiringTimeout(), &first);
  // The elements know of the original alone.
  original.TimeoutCancel(&first);
  EXPECT_EQ(original.FirstExpiringTimeout(), &second);
  EXPECT_EQ(copy.FirstExpiringTimeout(), &first);
  original.TimeoutCancel(&second);
  // What is empty is only the original, to whose links the copy's lead.
  const Queue copyOfNone(original);
  const void* links[2];
  memcpy(links, reinterpret_cast<const char*>(&copyOfNone) + sizeof(void*), sizeof links);
  const void* const own = reinterpret_cast<const char*>(&original) + sizeof(void*);
  EXPECT_EQ(links[0], own);
  EXPECT_EQ(links[1], own);
}

TEST(qelTimeoutQueueTimeoutStart, StartsTheTimeoutNow) {
  ScopedTickCount tick(1000);
  Queue queue;
  qelTimeout timeout;
  queue.TimeoutStart(&timeout, 30);
  tick.Set(1012);
  EXPECT_EQ(timeout.Remaining(), 18u);
}

TEST(qelTimeoutQueueTimeoutStart, SortsByWhatRemains) {
  ScopedTickCount tick(0);
  Queue queue;
  qelTimeout a, b, c, d;
  queue.TimeoutStart(&a, 30);
  queue.TimeoutStart(&b, 10);
  queue.TimeoutStart(&c, 40);
  tick.Set(5); // 25, 5 and 35 remain
  queue.TimeoutStart(&d, 26);
  EXPECT_THAT(queue.Drain(), ElementsAre(&b, &a, &d, &c));
}

TEST(qelTimeoutQueueTimeoutStart, KeepsTheOrderOfStartingAmongEquals) {
  ScopedTickCount tick(0);
  Queue queue;
  qelTimeout a, b, c, d;
  queue.TimeoutStart(&a, 10);
  queue.TimeoutStart(&b, 10);
  queue.TimeoutStart(&c, 10);
  tick.Set(4);
  queue.TimeoutStart(&d, 6);
  EXPECT_THAT(queue.Drain(), ElementsAre(&a, &b, &c, &d));
}

TEST(qelTimeoutQueueTimeoutStart, PutsNoDurationBehindWhatHasExpired) {
  ScopedTickCount tick(0);
  Queue queue;
  qelTimeout expired, pending, none;
  queue.TimeoutStart(&expired, 3);
  queue.TimeoutStart(&pending, 20);
  tick.Set(10);
  queue.TimeoutStart(&none, 0);
  EXPECT_THAT(queue.Drain(), ElementsAre(&expired, &none, &pending));
}

TEST(qelTimeoutQueueTimeoutStart, MovesAnElementThatIsQueued) {
  ScopedTickCount tick(0);
  Queue queue;
  qelTimeout a, b;
  queue.TimeoutStart(&a, 10);
  queue.TimeoutStart(&b, 20);
  queue.TimeoutStart(&a, 30);
  EXPECT_EQ(a.Remaining(), 30u);
  EXPECT_THAT(queue.Drain(), ElementsAre(&b, &a));
}

TEST(qelTimeoutQueueTimeoutStart, MovesAnElementBehindItsEquals) {
  ScopedTickCount tick(0);
  Queue queue;
  qelTimeout a, b;
  queue.TimeoutStart(&a, 10);
  queue.TimeoutStart(&b, 10);
  queue.TimeoutStart(&a, 10);
  EXPECT_THAT(queue.Drain(), ElementsAre(&b, &a));
}

TEST(qelTimeoutQueueTimeoutStart, TakesAnElementOutOfAnotherQueue) {
  ScopedTickCount tick(0);
  Queue from, to;
  qelTimeout timeout;
  from.TimeoutStart(&timeout, 10);
  to.TimeoutStart(&timeout, 10);
  EXPECT_EQ(from.FirstExpiringTimeout(), nullptr);
  EXPECT_EQ(to.FirstExpiringTimeout(), &timeout);
  to.TimeoutCancel(&timeout);
}

TEST(qelTimeoutQueueTimeoutStart, SortsAcrossTheWrapOfTheTick) {
  ScopedTickCount tick(0xFFFFFFF0);
  Queue queue;
  qelTimeout before, behind, late;
  queue.TimeoutStart(&behind, 0x20);
  queue.TimeoutStart(&before, 0x08);
  tick.Set(8); // behind: 8 remain
  queue.TimeoutStart(&late, 7);
  EXPECT_THAT(queue.Drain(), ElementsAre(&before, &late, &behind));
}

TEST(qelTimeoutQueueTimeoutStart, ReadsTheClockAnewForEachComparison) {
  Queue queue;
  qelTimeout a, b, c;
  g_movingTick = 0;
  qelTime_SetTickCountForTest(&MovingTick);
  queue.TimeoutStart(&a, 100); // one look for the start
  queue.TimeoutStart(&b, 200); // another, and two for the comparison with a
  EXPECT_EQ(g_movingTick, 1u + 3u);
  queue.TimeoutStart(&c, 300);
  EXPECT_EQ(g_movingTick, 1u + 3u + 5u);
  queue.TimeoutStart(&c, 50);
  EXPECT_EQ(g_movingTick, 1u + 3u + 5u + 3u);
  qelTime_SetTickCountForTest(nullptr);
  EXPECT_THAT(queue.Drain(), ElementsAre(&c, &a, &b));
}

TEST(qelTimeoutQueueTimeoutCancel, LeavesAnIdleElementAlone) {
  ScopedTickCount tick(0);
  Queue queue;
  qelTimeout queued, idle;
  queue.TimeoutStart(&queued, 10);
  idle.Start(5);
  queue.TimeoutCancel(&idle);
  EXPECT_EQ(idle.Remaining(), 5u);
  EXPECT_THAT(queue.Drain(), ElementsAre(&queued));
  queue.TimeoutCancel(&queued);
  EXPECT_THAT(queue.Drain(), IsEmpty());
}

TEST(qelTimeoutQueueTimeoutCancel, TakesAnElementOutOfWhicheverQueueItIsIn) {
  ScopedTickCount tick(0);
  Queue mine, other;
  qelTimeout a, b;
  mine.TimeoutStart(&a, 10);
  mine.TimeoutStart(&b, 20);
  other.TimeoutCancel(&a);
  EXPECT_THAT(mine.Drain(), ElementsAre(&b));
}

TEST(qelTimeoutQueueTimeoutCancel, LetsTheTimeGoOn) {
  ScopedTickCount tick(0);
  Queue queue;
  qelTimeout timeout;
  queue.TimeoutStart(&timeout, 10);
  queue.TimeoutCancel(&timeout);
  tick.Set(4);
  EXPECT_EQ(timeout.Remaining(), 6u);
}

TEST(qelTimeoutQueueHandleExpiredTimeouts, DoesNothingInAnEmptyQueue) {
  Queue queue;
  queue.HandleExpiredTimeouts();
  EXPECT_EQ(queue.calls, 0);
}

TEST(qelTimeoutQueueHandleExpiredTimeouts, DoesNothingBeforeTheFirstHasExpired) {
  ScopedTickCount tick(0);
  Queue queue;
  qelTimeout timeout;
  queue.TimeoutStart(&timeout, 10);
  tick.Set(9);
  queue.HandleExpiredTimeouts();
  EXPECT_EQ(queue.calls, 0);
  tick.Set(10);
  queue.HandleExpiredTimeouts();
  EXPECT_EQ(queue.calls, 1);
  queue.TimeoutCancel(&timeout);
}

TEST(qelTimeoutQueueHandleExpiredTimeouts, CallsOnceForManyAndAgainForWhatStays) {
  ScopedTickCount tick(0);
  Queue queue;
  qelTimeout a, b;
  queue.TimeoutStart(&a, 0);
  queue.TimeoutStart(&b, 0);
  queue.HandleExpiredTimeouts();
  EXPECT_EQ(queue.calls, 1);
  queue.HandleExpiredTimeouts();
  EXPECT_EQ(queue.calls, 2);
  EXPECT_THAT(queue.Drain(), ElementsAre(&a, &b));
}

TEST(qelTimeoutQueueHandleExpiredTimeouts, LooksAtTheFirstElementOnly) {
  ScopedTickCount tick(0);
  Queue queue;
  qelTimeout first, second;
  queue.TimeoutStart(&first, 10);
  queue.TimeoutStart(&second, 20);
  second.Start(0); // expired, but not first
  queue.HandleExpiredTimeouts();
  EXPECT_EQ(queue.calls, 0);
  queue.Drain();
}

TEST(qelTimeoutQueueHandleExpiredTimeouts, LetsTheOwnerTakeOffWhatHasExpired) {
  ScopedTickCount tick(0);
  Queue queue;
  queue.takesOff = true;
  qelTimeout a, b, c;
  queue.TimeoutStart(&a, 10);
  queue.TimeoutStart(&b, 20);
  queue.TimeoutStart(&c, 30);
  tick.Set(20);
  queue.HandleExpiredTimeouts();
  queue.HandleExpiredTimeouts();
  EXPECT_EQ(queue.calls, 1);
  EXPECT_THAT(queue.expired, ElementsAre(&a, &b));
  EXPECT_THAT(queue.Drain(), ElementsAre(&c));
}

TEST(qelTimeoutQueueHandleExpiredTimeouts, AsksTheOverriddenFirstTimeout) {
  struct Merged : Queue {
    qelTimeout* FirstExpiringTimeout() override { return other; }
    qelTimeout* other = nullptr;
  };
  ScopedTickCount tick(0);
  Merged queue;
  qelTimeout own, other;
  queue.TimeoutStart(&own, 0);
  queue.HandleExpiredTimeouts();
  EXPECT_EQ(queue.calls, 0);
  other.Start(0);
  queue.other = &other;
  queue.HandleExpiredTimeouts();
  EXPECT_EQ(queue.calls, 1);
  queue.TimeoutCancel(&own);
}

// The queue as a plain vector, and each timeout as two numbers.
namespace {

class QueueModel {
public:
  explicit QueueModel(size_t count) : m_starts(count), m_durations(count) {}

  void Start(size_t timeout, uint32_t ms, uint32_t now) {
    m_starts[timeout] = now;
    m_durations[timeout] = ms;
  }
  void Cancel(size_t timeout) {
    m_order.erase(std::remove(m_order.begin(), m_order.end(), timeout), m_order.end());
  }
  void Insert(size_t timeout, uint32_t now) {
    const auto later = [&](size_t other) {
      return Remaining(timeout, now) < Remaining(other, now);
    };
    m_order.insert(std::find_if(m_order.begin(), m_order.end(), later), timeout);
  }
  // What remains, by a counter that is wide enough not to wrap.
  uint32_t Remaining(size_t timeout, uint32_t now) const {
    uint64_t wideNow = now;
    if (now < m_starts[timeout])
      wideNow += uint64_t(1) << 32;
    const uint64_t end = uint64_t(m_starts[timeout]) + m_durations[timeout];
    return wideNow < end ? static_cast<uint32_t>(end - wideNow) : 0;
  }
  const std::vector<size_t>& Order() const { return m_order; }

private:
  std::vector<uint32_t> m_starts;
  std::vector<uint32_t> m_durations;
  std::vector<size_t> m_order;
};

} // namespace

TEST(qelTimeoutQueue, AgreesWithAModelOverRandomOperations) {
  constexpr size_t kTimeouts = 12;
  std::mt19937 random(35);
  const auto below = [&](uint32_t end) { return static_cast<uint32_t>(random() % end); };
  for (int round = 0; round < 60; ++round) {
    uint32_t now = below(2) != 0 ? below(1000) : 0xFFFFFFFF - below(1000);
    ScopedTickCount tick(now);
    Queue queue;
    std::vector<std::unique_ptr<qelTimeout>> timeouts(kTimeouts);
    QueueModel model(kTimeouts);
    for (size_t i = 0; i < kTimeouts; ++i) {
      timeouts[i] = std::make_unique<qelTimeout>();
      timeouts[i]->Start(0);
      model.Start(i, 0, now);
    }
    for (int step = 0; step < 400; ++step) {
      const size_t i = below(kTimeouts);
      const uint32_t ms = below(8) == 0 ? static_cast<uint32_t>(random()) : below(30);
      switch (below(8)) {
      case 0:
      case 1:
      case 2:
        queue.TimeoutStart(timeouts[i].get(), ms);
        model.Cancel(i);
        model.Start(i, ms, now);
        model.Insert(i, now);
        break;
      case 3:
        queue.TimeoutCancel(timeouts[i].get());
        model.Cancel(i);
        break;
      case 4:
        timeouts[i]->Start(ms);
        model.Start(i, ms, now);
        break;
      case 5:
        timeouts[i] = std::make_unique<qelTimeout>();
        timeouts[i]->Start(ms);
        model.Cancel(i);
        model.Start(i, ms, now);
        break;
      default:
        now += below(10);
        tick.Set(now);
      }
      const std::vector<size_t>& order = model.Order();
      qelTimeout* first = order.empty() ? nullptr : timeouts[order.front()].get();
      ASSERT_EQ(queue.FirstExpiringTimeout(), first) << round << " " << step;
      for (size_t k = 0; k < kTimeouts; ++k)
        ASSERT_EQ(timeouts[k]->Remaining(), model.Remaining(k, now)) << round << " " << step;
      const int calls = queue.calls;
      queue.HandleExpiredTimeouts();
      const bool due = !order.empty() && model.Remaining(order.front(), now) == 0;
      ASSERT_EQ(queue.calls - calls, due ? 1 : 0) << round << " " << step;
    }
    std::vector<qelTimeout*> expected;
    for (size_t i : model.Order())
      expected.push_back(timeouts[i].get());
    ASSERT_EQ(queue.Drain(), expected) << round;
  }
}

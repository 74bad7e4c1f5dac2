#include <qel/multiplatform/qelCondition.h>

#include <atomic>
#include <chrono>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/Gate.h>
#include <tests/support/Stress.h>

namespace {

class QelOSConditionTest : public testing::Test {
protected:
  ~QelOSConditionTest() override {
    qelOSCondition_Delete(condition);
    qelOSMutex_Delete(outer);
  }

  int LockedWait(qelULong ms) {
    qelOSMutex_Lock(outer);
    const int result = qelOSCondition_WaitTimeout(condition, outer, ms);
    qelOSMutex_Unlock(outer);
    return result;
  }

  // Nobody is inside, and nothing is left that would wake somebody by mistake.
  void ExpectAtRest() {
    EXPECT_EQ(condition->waiting, 0);
    EXPECT_EQ(condition->signals, 0);
    EXPECT_EQ(qelOSSemaphore_WaitTimeout(condition->waitSem, 0), 1);
    EXPECT_EQ(qelOSSemaphore_WaitTimeout(condition->doneSem, 0), 1);
  }

  void Await(int waiting) {
    AwaitThat([=] { return WaitingOn(condition) == waiting; });
  }

  // A signal that comes when so many wait, and that dawdles ahead of and behind its post, with the
  // condition's lock. False if nobody waits any more.
  bool SlowSignal(int waiting, int before, int after) {
    for (int i = 0; i < 1000 && WaitingOn(condition) < waiting; ++i)
      std::this_thread::yield();
    qelOSMutex_Lock(condition->lock);
    const bool isHandedOut = condition->waiting > condition->signals;
    if (isHandedOut) {
      Dawdle(before);
      condition->signals += 1;
      qelOSSemaphore_Post(condition->waitSem);
      Dawdle(after);
    }
    qelOSMutex_Unlock(condition->lock);
    if (isHandedOut)
      qelOSSemaphore_Wait(condition->doneSem);
    return isHandedOut;
  }

  static void Dawdle(int milliseconds) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(milliseconds);
    AwaitThat([=] { return Clock::now() >= end; });
  }

  qelOSCondition* condition = qelOSCondition_New();
  qelOSMutex* outer = qelOSMutex_New();
};

using QelOSConditionSignal = QelOSConditionTest;
using QelOSConditionBroadcast = QelOSConditionTest;
using QelOSConditionWaitTimeout = QelOSConditionTest;
using QelOSConditionStress = QelOSConditionTest;

TEST(QelOSConditionDelete, IgnoresNull) {
  qelOSCondition_Delete(nullptr);
}

TEST_F(QelOSConditionSignal, LeavesNoTraceWithNobodyWaiting) {
  EXPECT_EQ(qelOSCondition_Signal(condition), 0);
  EXPECT_EQ(qelOSCondition_Broadcast(condition), 0);
  ExpectAtRest();
  EXPECT_EQ(LockedWait(0), 1);
}

TEST_F(QelOSConditionWaitTimeout, GivesOneWhenTheTimeHasRunOut) {
  EXPECT_EQ(LockedWait(0), 1);
  EXPECT_EQ(LockedWait(5), 1);
  ExpectAtRest();
}

TEST_F(QelOSConditionSignal, WakesOneOfTheWaiters) {
  std::atomic<int> woken{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i)
    threads.emplace_back([&] {
      EXPECT_EQ(LockedWait(qelOSWaitForever), 0);
      woken += 1;
    });
  for (int left = 3; left > 0; --left) {
    Await(left);
    EXPECT_EQ(qelOSCondition_Signal(condition), 0);
    // The signaller comes back when one waiter has acknowledged, and that one only.
    EXPECT_EQ(WaitingOn(condition), left - 1);
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(woken.load(), 3);
  ExpectAtRest();
}

TEST_F(QelOSConditionSignal, MayHoldTheOuterLock) {
  std::thread waiter([&] { EXPECT_EQ(LockedWait(qelOSWaitForever), 0); });
  Await(1);
  qelOSMutex_Lock(outer);
  EXPECT_EQ(qelOSCondition_Signal(condition), 0);
  EXPECT_EQ(WaitingOn(condition), 0);
  qelOSMutex_Unlock(outer);
  waiter.join();
  ExpectAtRest();
}

TEST_F(QelOSConditionWaitTimeout, HoldsTheOuterLockAgainAfterwards) {
  std::thread waiter([&] {
    qelOSMutex_Lock(outer);
    EXPECT_EQ(qelOSCondition_Wait(condition, outer), 0);
    EXPECT_EQ(qelOSMutex_IsOwner(outer), 1);
    EXPECT_EQ(qelOSCondition_WaitTimeout(condition, outer, 0), 1);
    EXPECT_EQ(qelOSMutex_IsOwner(outer), 1);
    qelOSMutex_Unlock(outer);
  });
  Await(1);
  qelOSCondition_Signal(condition);
  waiter.join();
}

TEST_F(QelOSConditionBroadcast, WakesAllWhoWait) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 5; ++i)
    threads.emplace_back([&] { EXPECT_EQ(LockedWait(qelOSWaitForever), 0); });
  Await(5);
  EXPECT_EQ(qelOSCondition_Broadcast(condition), 0);
  EXPECT_EQ(WaitingOn(condition), 0);
  for (std::thread& thread : threads)
    thread.join();
  ExpectAtRest();
}

// A signal is under way, and another waiter has taken its post already: the one whose time runs out
// neither waits for that post nor acknowledges in the other's place.
TEST_F(QelOSConditionWaitTimeout, LeavesASignalAloneWhosePostIsTaken) {
  qelOSMutex_Lock(condition->lock);
  condition->waiting = 1;
  condition->signals = 1;
  qelOSMutex_Unlock(condition->lock);
  EXPECT_EQ(LockedWait(1), 1);
  EXPECT_EQ(condition->waiting, 1);
  EXPECT_EQ(condition->signals, 1);
  condition->waiting = 0;
  condition->signals = 0;
  ExpectAtRest();
}

// One waiter with a limit and one signaller set off together, so the two cross in every way.
TEST_F(QelOSConditionWaitTimeout, LeavesNothingBehindWhenItCrossesASignal) {
  const int rounds = 4000;
  Gate gate(2);
  std::thread signaller([&] {
    for (int i = 0; i < rounds; ++i) {
      gate.Pass();
      if (i % 4 < 2)
        std::this_thread::yield();
      qelOSCondition_Signal(condition);
      gate.Pass();
    }
  });
  for (int i = 0; i < rounds; ++i) {
    gate.Pass();
    EXPECT_LE(LockedWait(static_cast<qelULong>(i % 2)), 1);
    gate.Pass();
    EXPECT_EQ(condition->waiting, 0);
    EXPECT_EQ(condition->signals, 0);
  }
  signaller.join();
  ExpectAtRest();
}

// The same with a signaller that is held up between its steps until the waiter's time has run out: the
// waiter takes the signal back and acknowledges it. On a busy machine the time may run out before the
// signaller looks, so the time grows until enough of them have met.
TEST_F(QelOSConditionWaitTimeout, AcknowledgesASignalThatCameTooLate) {
  const int enough = 50;
  int crossings = 0;
  int limit = 0; // 0 sends the waiter home
  int result = -1;
  Gate gate(2);
  std::thread waiter([&] {
    for (gate.Pass(); limit != 0; gate.Pass()) {
      result = LockedWait(static_cast<qelULong>(limit));
      gate.Pass();
    }
  });
  for (int i = 0; i < 2000 && crossings < enough; ++i) {
    limit = 1 + i / 100;
    gate.Pass();
    const bool isHandedOut = SlowSignal(/*waiting=*/1, /*before=*/limit + 1, /*after=*/0);
    gate.Pass();
    EXPECT_EQ(condition->waiting, 0);
    EXPECT_EQ(condition->signals, 0);
    crossings += isHandedOut && result == 1 ? 1 : 0;
  }
  limit = 0;
  gate.Pass();
  waiter.join();
  EXPECT_EQ(crossings, enough);
  ExpectAtRest();
}

// Here a second waiter takes the post, and both meet at the lock. Whichever comes first, the signal is
// acknowledged once, and the one whose time ran out does not wait for a post that is gone.
TEST_F(QelOSConditionWaitTimeout, DoesNotWaitForAPostThatAnotherWaiterTook) {
  const int rounds = 300;
  std::atomic<int> woken{0};
  std::atomic<int> returned{0};
  Gate gate(3);
  const auto wait = [&](qelULong limit) {
    for (int i = 0; i < rounds; ++i) {
      gate.Pass();
      if (LockedWait(limit) == 0)
        woken += 1;
      returned += 1;
      gate.Pass();
    }
  };
  std::thread impatient(wait, 1);
  std::thread patient(wait, qelOSWaitForever);
  for (int i = 0; i < rounds; ++i) {
    gate.Pass();
    SlowSignal(/*waiting=*/2, /*before=*/i % 2, /*after=*/2);
    // Whoever sleeps on gets a signal of its own.
    AwaitThat([&] {
      qelOSCondition_Signal(condition);
      return returned == 2 * (i + 1);
    });
    gate.Pass();
    EXPECT_EQ(condition->waiting, 0);
    EXPECT_EQ(condition->signals, 0);
  }
  impatient.join();
  patient.join();
  EXPECT_GE(woken.load(), rounds);
  ExpectAtRest();
}

// Many of both at once, with limits from nothing to two milliseconds.
TEST_F(QelOSConditionWaitTimeout, SurvivesAnyNumberOfCrossings) {
  std::atomic<bool> stop{false};
  std::vector<std::thread> signallers;
  for (int i = 0; i < 3; ++i)
    signallers.emplace_back([&, i] {
      while (!stop) {
        if (i == 2)
          qelOSCondition_Broadcast(condition);
        else
          qelOSCondition_Signal(condition);
        std::this_thread::yield();
      }
    });
  std::vector<std::thread> waiters;
  for (unsigned seed = 1; seed <= 4; ++seed)
    waiters.emplace_back([&, seed] {
      std::mt19937 random(seed);
      for (int i = 0; i < 3000; ++i)
        EXPECT_LE(LockedWait(static_cast<qelULong>(random() % 3)), 1);
    });
  for (std::thread& waiter : waiters)
    waiter.join();
  stop = true;
  for (std::thread& signaller : signallers)
    signaller.join();
  ExpectAtRest();
}

// The way of a message queue: the signal is given with the outer lock held, and a consumer waits once
// when there is nothing.
TEST_F(QelOSConditionSignal, LosesNoWakeUpOfAConsumer) {
  const int items = 3000;
  int stored = 0;
  int taken = 0;
  std::thread consumer([&] {
    while (taken < 3 * items) {
      qelOSMutex_Lock(outer);
      if (stored == 0)
        qelOSCondition_Wait(condition, outer);
      taken += stored;
      stored = 0;
      qelOSMutex_Unlock(outer);
    }
  });
  std::vector<std::thread> producers;
  for (int i = 0; i < 3; ++i)
    producers.emplace_back([&] {
      for (int j = 0; j < items; ++j) {
        qelOSMutex_Lock(outer);
        stored += 1;
        qelOSCondition_Signal(condition);
        qelOSMutex_Unlock(outer);
      }
    });
  for (std::thread& producer : producers)
    producer.join();
  consumer.join();
  EXPECT_EQ(taken, 3 * items);
  ExpectAtRest();
}

// Three waiters whose time runs out and two signallers set off together. A wait that gives 0 has had a
// signal of its own, and nothing is left for the next round.
TEST_F(QelOSConditionStress, LeavesNothingBehindWhenTimeOutsCrossSignals) {
  const int rounds = StressRounds();
  Gate gate(5 + 1);
  std::atomic<int> woken{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 5; ++i)
    threads.emplace_back([&, i] {
      for (int round = 0; round < rounds; ++round) {
        gate.Pass();
        if (i < 2)
          qelOSCondition_Signal(condition);
        else
          woken += LockedWait(static_cast<qelULong>((i + round) % 2)) == 0 ? 1 : 0;
        gate.Pass();
      }
    });
  for (int round = 0; round < rounds; ++round) {
    woken = 0;
    gate.Pass();
    gate.Pass();
    EXPECT_LE(woken.load(), 2);
    ExpectAtRest();
  }
  for (std::thread& thread : threads)
    thread.join();
}

// What three producers put in, three consumers take out, though the time of a wait runs out now and
// then.
TEST_F(QelOSConditionStress, LosesNoItemOfSeveralProducersAndConsumers) {
  const int items = 10 * StressRounds();
  int stored = 0;
  int taken = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      for (int item = 0; item < items; ++item) {
        qelOSMutex_Lock(outer);
        stored += 1;
        qelOSCondition_Signal(condition);
        qelOSMutex_Unlock(outer);
      }
    });
    threads.emplace_back([&] {
      qelOSMutex_Lock(outer);
      while (taken < 3 * items) {
        // Who comes after the last item is woken by nobody.
        if (stored == 0)
          qelOSCondition_WaitTimeout(condition, outer, /*ms=*/2);
        taken += stored;
        stored = 0;
      }
      qelOSMutex_Unlock(outer);
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(taken, 3 * items);
  ExpectAtRest();
}

} // namespace

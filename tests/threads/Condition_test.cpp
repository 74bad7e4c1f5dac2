#include <qel/threads/Condition.h>

#include <atomic>
#include <new>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <qel/threads/Mutex.h>
#include <tests/support/Gate.h>

namespace {

// Show where the threads sleep.
class OpenCondition : public qelCondition {
public:
  using qelCondition::m_condition;
  using qelCondition::qelCondition;
};

class OpenConditionExt : public qelConditionExt {
public:
  using qelConditionExt::m_condition;
  using qelConditionExt::qelConditionExt;
};

class OpenMutex : public qelMutex {
public:
  using qelMutex::m_lockCount;
};

void Await(qelOSCondition* condition, int waiting) {
  AwaitThat([=] { return WaitingOn(condition) == waiting; });
}

TEST(QelConditionWait, PassesAtOnceAfterASignalAndBlocksTheNextTime) {
  qelCondition condition;
  EXPECT_EQ(condition.Signal(), 0);
  EXPECT_EQ(condition.Wait(), 0);
  EXPECT_EQ(condition.WaitTimeout(0), 1);
}

TEST(QelConditionWait, TakesTwoSignalsForOne) {
  qelCondition condition;
  condition.Signal();
  condition.Signal();
  EXPECT_EQ(condition.WaitTimeout(0), 0);
  EXPECT_EQ(condition.WaitTimeout(0), 1);
}

TEST(QelConditionWait, PassesOnceWithAnInitialStateOfSet) {
  qelCondition condition(/*manualReset=*/false, /*initialState=*/true);
  EXPECT_EQ(condition.Wait(), 0);
  EXPECT_EQ(condition.WaitTimeout(0), 1);
}

TEST(QelConditionWait, PassesInManualResetModeUntilReset) {
  qelCondition condition(/*manualReset=*/true, /*initialState=*/false);
  EXPECT_EQ(condition.WaitTimeout(0), 1);
  condition.Signal();
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(condition.Wait(), 0);
  std::thread([&] { EXPECT_EQ(condition.Wait(), 0); }).join();
  EXPECT_EQ(condition.Reset(), 0);
  EXPECT_EQ(condition.WaitTimeout(0), 1);
}

TEST(QelConditionWaitTimeout, GivesOneOnAClearCondition) {
  qelCondition automatic;
  qelCondition manual(/*manualReset=*/true, /*initialState=*/false);
  for (qelULong ms : {0u, 1u, 20u}) {
    EXPECT_EQ(automatic.WaitTimeout(ms), 1);
    EXPECT_EQ(manual.WaitTimeout(ms), 1);
  }
}

TEST(QelConditionReset, ForgetsASignal) {
  qelCondition condition;
  condition.Signal();
  EXPECT_EQ(condition.Reset(), 0);
  EXPECT_EQ(condition.WaitTimeout(0), 1);
}

TEST(QelConditionSignal, WakesASleeper) {
  OpenCondition condition;
  std::thread sleeper([&] { EXPECT_EQ(condition.Wait(), 0); });
  Await(condition.m_condition, 1);
  condition.Signal();
  sleeper.join();
  EXPECT_EQ(condition.WaitTimeout(0), 1);
}

TEST(QelConditionSignal, WakesOneSleeperAlsoInManualResetMode) {
  OpenCondition condition(/*manualReset=*/true, /*initialState=*/false);
  std::atomic<int> woken{0};
  std::vector<std::thread> sleepers;
  for (int i = 0; i < 3; ++i)
    sleepers.emplace_back([&] {
      EXPECT_EQ(condition.Wait(), 0);
      woken += 1;
    });
  Await(condition.m_condition, 3);
  condition.Signal();
  // One has acknowledged. The flag is set, and the other two sleep on.
  EXPECT_EQ(WaitingOn(condition.m_condition), 2);
  EXPECT_EQ(condition.WaitTimeout(0), 0);
  EXPECT_EQ(WaitingOn(condition.m_condition), 2);
  EXPECT_LE(woken.load(), 1);
  condition.Signal();
  condition.Signal();
  for (std::thread& sleeper : sleepers)
    sleeper.join();
  EXPECT_EQ(woken.load(), 3);
}

// Each waits for the other's signal, with no wake-up lost however the two meet.
TEST(QelConditionSignal, PassesATurnBackAndForth) {
  qelCondition ping;
  qelCondition pong;
  const int turns = 5000;
  std::thread other([&] {
    for (int i = 0; i < turns; ++i) {
      EXPECT_EQ(ping.Wait(), 0);
      pong.Signal();
    }
  });
  for (int i = 0; i < turns; ++i) {
    ping.Signal();
    EXPECT_EQ(pong.Wait(), 0);
  }
  other.join();
}

// However a time-out and a signal cross, what is left is a flag and nothing more.
TEST(QelConditionWaitTimeout, LeavesNothingBehindWhenItCrossesASignal) {
  OpenCondition condition;
  const int rounds = 3000;
  Gate gate(2);
  std::thread signaller([&] {
    for (int i = 0; i < rounds; ++i) {
      gate.Pass();
      condition.Signal();
      gate.Pass();
    }
  });
  for (int i = 0; i < rounds; ++i) {
    gate.Pass();
    const int result = condition.WaitTimeout(static_cast<qelULong>(i % 2));
    EXPECT_LE(result, 1);
    gate.Pass();
    EXPECT_EQ(condition.m_condition->waiting, 0);
    EXPECT_EQ(condition.m_condition->signals, 0);
    EXPECT_EQ(qelOSSemaphore_WaitTimeout(condition.m_condition->waitSem, 0), 1);
    condition.Reset();
    EXPECT_EQ(condition.WaitTimeout(0), 1);
  }
  signaller.join();
}

TEST(QelConditionExtWait, PassesAtOnceAfterASignalWithNobodyWaiting) {
  qelMutex mutex;
  qelConditionExt condition(&mutex, /*ownsMutex=*/false);
  qelMutexLocker locker(&mutex);
  EXPECT_EQ(condition.Signal(), 0);
  EXPECT_EQ(condition.Wait(), 0);
  EXPECT_EQ(condition.WaitTimeout(0), 1);
  condition.Signal();
  EXPECT_EQ(condition.WaitTimeout(0), 0);
  EXPECT_EQ(condition.WaitTimeout(1), 1);
}

TEST(QelConditionExtWait, LetsTheOutsideMutexGoWithoutCountingIt) {
  OpenMutex mutex;
  OpenConditionExt condition(&mutex, /*ownsMutex=*/false);
  std::thread sleeper([&] {
    qelMutexLocker locker(&mutex);
    EXPECT_EQ(condition.Wait(), 0);
    EXPECT_EQ(mutex.m_lockCount, 1);
  });
  Await(condition.m_condition, 1);
  mutex.Lock();
  EXPECT_EQ(mutex.m_lockCount, 2);
  EXPECT_EQ(condition.Signal(), 0);
  mutex.Unlock();
  sleeper.join();
  EXPECT_EQ(mutex.m_lockCount, 0);
}

TEST(QelConditionExtWait, ServesSeveralConditionsOnOneMutex) {
  qelMutex mutex;
  qelConditionExt notEmpty(&mutex, /*ownsMutex=*/false);
  qelConditionExt notFull(&mutex, /*ownsMutex=*/false);
  const int items = 3000;
  int stored = 0;
  std::thread producer([&] {
    for (int i = 0; i < items; ++i) {
      qelMutexLocker locker(&mutex);
      while (stored == 1)
        notFull.Wait();
      stored = 1;
      notEmpty.Signal();
    }
  });
  for (int i = 0; i < items; ++i) {
    qelMutexLocker locker(&mutex);
    while (stored == 0)
      notEmpty.Wait();
    stored = 0;
    notFull.Signal();
  }
  producer.join();
  EXPECT_EQ(stored, 0);
}

TEST(QelConditionExt, DeletesAMutexThatItOwns) {
  qelMutex* mutex = new qelMutex;
  qelConditionExt condition(mutex, /*ownsMutex=*/true);
  qelMutexLocker locker(mutex);
  EXPECT_EQ(condition.WaitTimeout(0), 1);
}

// Only one of the two is destroyed: the copies lie in raw storage and no destructor of theirs runs.
TEST(QelConditionCopy, SharesTheRecordsButNotTheFlag) {
  OpenCondition source;
  alignas(OpenCondition) unsigned char storage[sizeof(OpenCondition)];
  OpenCondition* copy = new (storage) OpenCondition(source);
  EXPECT_EQ(copy->m_condition, source.m_condition);
  EXPECT_EQ(copy->Signal(), 0);
  EXPECT_EQ(source.WaitTimeout(0), 1);
  EXPECT_EQ(copy->WaitTimeout(0), 0);
  qelMutex mutex;
  OpenConditionExt sourceExt(&mutex, /*ownsMutex=*/false);
  alignas(OpenConditionExt) unsigned char storageExt[sizeof(OpenConditionExt)];
  EXPECT_EQ((new (storageExt) OpenConditionExt(sourceExt))->m_condition, sourceExt.m_condition);
  EXPECT_TRUE(std::is_trivially_copy_assignable<qelCondition>::value);
  EXPECT_TRUE(std::is_trivially_copy_assignable<qelConditionExt>::value);
}

TEST(QelConditionShape, HasNoVirtualOperation) {
  EXPECT_FALSE(std::is_polymorphic<qelCondition>::value);
  EXPECT_FALSE(std::is_polymorphic<qelConditionExt>::value);
}

} // namespace

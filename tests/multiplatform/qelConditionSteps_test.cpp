//===----------------------------------------------------------------------===//
// The condition's steps, one by one, in one thread. This program brings its own
// locks and semaphores, which write down each call and let a test do at a sleep
// what another thread would do.
//===----------------------------------------------------------------------===//

#include <functional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/multiplatform/qelCondition.h>
#include <qel/threads/Condition.h>
#include <qel/threads/Mutex.h>
#include <tests/support/Fatal.h>

using testing::ElementsAre;
using testing::IsEmpty;

struct qelOSMutex {
  std::string name;
  int holds = 0;
};

struct qelOSSemaphore {
  std::string name;
  int count = 0;
};

namespace {

// What the replaced back-end shares with the tests.
struct Script {
  std::vector<std::string> calls;       // every call but the creations
  std::function<int(qelULong)> onSleep; // stands for a wait that would block; gives its result
  std::vector<std::string> names;       // for the objects to come, in the order of creation
  size_t failing = 0;                   // which creation fails, from 1; 0 for none
  size_t created = 0;                   // creations so far
  int alive = 0;                        // objects not yet deleted
  int lockResult = 0;                   // of every lock and unlock
};

Script script;

// Whether this creation goes well; *name gets the object's name.
bool Create(std::string* name) {
  script.created += 1;
  if (script.created == script.failing)
    return false;
  script.alive += 1;
  const size_t index = script.created - 1;
  *name = index < script.names.size() ? script.names[index] : "?";
  return true;
}

template <typename Object>
Object* CreateObject() {
  std::string name;
  if (!Create(&name))
    return nullptr;
  Object* object = new Object;
  object->name = name;
  return object;
}

template <typename Object>
void DeleteObject(Object* object) {
  if (object != nullptr)
    script.alive -= 1;
  delete object;
}

} // namespace

qelOSMutex* qelOSMutex_New() {
  return CreateObject<qelOSMutex>();
}

void qelOSMutex_Delete(qelOSMutex* mutex) {
  DeleteObject(mutex);
}

int qelOSMutex_Lock(qelOSMutex* mutex) {
  mutex->holds += 1;
  script.calls.push_back("lock " + mutex->name);
  return script.lockResult;
}

int qelOSMutex_Unlock(qelOSMutex* mutex) {
  mutex->holds -= 1;
  script.calls.push_back("unlock " + mutex->name);
  return script.lockResult;
}

int qelOSMutex_IsOwner(const qelOSMutex* mutex) {
  return mutex->holds > 0;
}

qelOSSemaphore* qelOSSemaphore_New(int count) {
  qelOSSemaphore* semaphore = CreateObject<qelOSSemaphore>();
  if (semaphore != nullptr)
    semaphore->count = count;
  return semaphore;
}

void qelOSSemaphore_Delete(qelOSSemaphore* semaphore) {
  DeleteObject(semaphore);
}

int qelOSSemaphore_Post(qelOSSemaphore* semaphore) {
  semaphore->count += 1;
  script.calls.push_back("post " + semaphore->name);
  return 0;
}

int qelOSSemaphore_Wait(qelOSSemaphore* semaphore) {
  return qelOSSemaphore_WaitTimeout(semaphore, qelOSWaitForever);
}

int qelOSSemaphore_WaitTimeout(qelOSSemaphore* semaphore, qelULong ms) {
  script.calls.push_back("wait " + semaphore->name + " " +
                         (ms == qelOSWaitForever ? "forever" : std::to_string(ms)));
  if (semaphore->count == 0 && ms != 0 && script.onSleep) {
    const int result = script.onSleep(ms);
    if (result != 0)
      return result;
  }
  if (semaphore->count == 0)
    return 1;
  semaphore->count -= 1;
  return 0;
}

namespace {

class Steps : public testing::Test {
protected:
  Steps() {
    script = Script();
    script.names = {"L", "W", "D"};
  }
};

class QelOSConditionSteps : public Steps {
protected:
  QelOSConditionSteps() : condition(qelOSCondition_New()) { outer.name = "outer"; }
  ~QelOSConditionSteps() override { qelOSCondition_Delete(condition); }

  // What a signaller has done by the time it waits for the acknowledgement.
  void BeginSignal() {
    condition->signals += 1;
    condition->waitSem->count += 1;
  }

  qelOSCondition* condition;
  qelOSMutex outer;
};

TEST_F(QelOSConditionSteps, OfAWokenWaiterAcknowledgeBeforeTheOuterLock) {
  script.onSleep = [&](qelULong) {
    EXPECT_EQ(condition->waiting, 1);
    BeginSignal();
    return 0;
  };
  EXPECT_EQ(qelOSCondition_Wait(condition, &outer), 0);
  EXPECT_THAT(script.calls, ElementsAre("lock L", "unlock L", "unlock outer", "wait W forever",
                                        "lock L", "post D", "unlock L", "lock outer"));
  EXPECT_EQ(condition->waiting, 0);
  EXPECT_EQ(condition->signals, 0);
  EXPECT_EQ(condition->waitSem->count, 0);
  EXPECT_EQ(condition->doneSem->count, 1);
}

TEST_F(QelOSConditionSteps, OfATimeOutTouchNothing) {
  EXPECT_EQ(qelOSCondition_WaitTimeout(condition, &outer, 7), 1);
  EXPECT_THAT(script.calls, ElementsAre("lock L", "unlock L", "unlock outer", "wait W 7", "lock L",
                                        "unlock L", "lock outer"));
  EXPECT_EQ(condition->waiting, 0);
  EXPECT_EQ(condition->doneSem->count, 0);
}

TEST_F(QelOSConditionSteps, OfATimeOutTakeAndAcknowledgeAPendingSignal) {
  script.onSleep = [&](qelULong) {
    BeginSignal();
    return 1;
  };
  EXPECT_EQ(qelOSCondition_WaitTimeout(condition, &outer, 7), 1);
  EXPECT_THAT(script.calls, ElementsAre("lock L", "unlock L", "unlock outer", "wait W 7", "lock L",
                                        "wait W 0", "post D", "unlock L", "lock outer"));
  EXPECT_EQ(condition->signals, 0);
  EXPECT_EQ(condition->waitSem->count, 0);
}

TEST_F(QelOSConditionSteps, OfATimeOutLeaveASignalWhosePostIsTaken) {
  condition->waiting = 1;
  script.onSleep = [&](qelULong) {
    condition->signals += 1;
    return 1;
  };
  EXPECT_EQ(qelOSCondition_WaitTimeout(condition, &outer, 7), 1);
  EXPECT_THAT(script.calls, ElementsAre("lock L", "unlock L", "unlock outer", "wait W 7", "lock L",
                                        "wait W 0", "unlock L", "lock outer"));
  EXPECT_EQ(condition->waiting, 1);
  EXPECT_EQ(condition->signals, 1);
  EXPECT_EQ(condition->doneSem->count, 0);
}

TEST_F(QelOSConditionSteps, OfAnErrorEndTheProcess) {
  script.onSleep = [](qelULong) { return 2; };
  EXPECT_FATAL(qelOSCondition_Wait(condition, &outer),
               "os:condition: WaitTimeout returned an error");
  EXPECT_FATAL(qelOSCondition_WaitTimeout(condition, &outer, 7),
               "os:condition: WaitTimeout returned an error");
}

TEST_F(QelOSConditionSteps, OfASignalWaitForTheAcknowledgementOutsideTheLock) {
  condition->waiting = 2;
  condition->signals = 1;
  condition->doneSem->count = 1;
  EXPECT_EQ(qelOSCondition_Signal(condition), 0);
  EXPECT_THAT(script.calls, ElementsAre("lock L", "post W", "unlock L", "wait D forever"));
  EXPECT_EQ(condition->signals, 2);
}

TEST_F(QelOSConditionSteps, OfASignalEndWhenEachWaiterHasOne) {
  condition->waiting = 2;
  condition->signals = 2;
  EXPECT_EQ(qelOSCondition_Signal(condition), 0);
  EXPECT_EQ(qelOSCondition_Broadcast(condition), 0);
  EXPECT_THAT(script.calls, ElementsAre("lock L", "unlock L", "lock L", "unlock L"));
  EXPECT_EQ(condition->signals, 2);
}

TEST_F(QelOSConditionSteps, OfABroadcastPostForEachWhoHasNone) {
  condition->waiting = 4;
  condition->signals = 1;
  condition->doneSem->count = 3;
  EXPECT_EQ(qelOSCondition_Broadcast(condition), 0);
  EXPECT_THAT(script.calls, ElementsAre("lock L", "post W", "post W", "post W", "unlock L",
                                        "wait D forever", "wait D forever", "wait D forever"));
  EXPECT_EQ(condition->signals, 4);
}

using QelOSConditionNew = Steps;

TEST_F(QelOSConditionNew, StartsWithNobodyInside) {
  qelOSCondition* condition = qelOSCondition_New();
  EXPECT_EQ(condition->lock->name, "L");
  EXPECT_EQ(condition->waitSem->name, "W");
  EXPECT_EQ(condition->doneSem->name, "D");
  EXPECT_EQ(condition->waitSem->count, 0);
  EXPECT_EQ(condition->doneSem->count, 0);
  EXPECT_EQ(condition->waiting, 0);
  EXPECT_EQ(condition->signals, 0);
  qelOSCondition_Delete(condition);
  EXPECT_EQ(script.alive, 0);
}

TEST_F(QelOSConditionNew, GivesNullAndKeepsNothingWhenAPartFails) {
  for (size_t failing = 1; failing <= 3; ++failing) {
    script.created = 0;
    script.failing = failing;
    EXPECT_EQ(qelOSCondition_New(), nullptr) << failing;
    EXPECT_EQ(script.alive, 0) << failing;
  }
}

// Shows the fields and the records.
class OpenCondition : public qelCondition {
public:
  using qelCondition::m_condition;
  using qelCondition::m_signalled;
  using qelCondition::qelCondition;
};

class OpenConditionExt : public qelConditionExt {
public:
  using qelConditionExt::m_condition;
  using qelConditionExt::m_signalled;
  using qelConditionExt::qelConditionExt;
};

class QelConditionSteps : public Steps {
protected:
  QelConditionSteps() { script.names = {"L", "W", "D", "own"}; }
};

TEST_F(QelConditionSteps, OfAWaitWithTheFlagSetTouchTheOwnLockOnly) {
  OpenCondition condition(/*manualReset=*/false, /*initialState=*/true);
  EXPECT_EQ(condition.WaitTimeout(5), 0);
  EXPECT_THAT(script.calls, ElementsAre("lock own", "unlock own"));
}

TEST_F(QelConditionSteps, OfAWaitSleepOutsideTheOwnLock) {
  OpenCondition condition;
  EXPECT_EQ(condition.WaitTimeout(0xFFFFFFFEu), 1);
  EXPECT_THAT(script.calls,
              ElementsAre("lock own", "lock L", "unlock L", "unlock own", "wait W 4294967294",
                          "lock L", "unlock L", "lock own", "unlock own"));
}

TEST_F(QelConditionSteps, OfAWaitWithoutLimitHaveNone) {
  OpenCondition condition;
  script.onSleep = [&](qelULong ms) {
    EXPECT_EQ(ms, 0xFFFFFFFFu);
    condition.m_condition->signals += 1;
    condition.m_condition->waitSem->count += 1;
    return 0;
  };
  EXPECT_EQ(condition.Wait(), 0);
  EXPECT_EQ(condition.WaitTimeout(0xFFFFFFFFu), 0);
}

TEST_F(QelConditionSteps, OfASignalHoldTheOwnLockThroughout) {
  OpenCondition condition;
  condition.m_condition->waiting = 1;
  condition.m_condition->doneSem->count = 1;
  EXPECT_EQ(condition.Signal(), 0);
  EXPECT_TRUE(condition.m_signalled);
  EXPECT_THAT(script.calls, ElementsAre("lock own", "lock L", "post W", "unlock L",
                                        "wait D forever", "unlock own"));
}

TEST_F(QelConditionSteps, OfAResetTouchTheOwnLockOnly) {
  OpenCondition condition(/*manualReset=*/true, /*initialState=*/true);
  EXPECT_EQ(condition.Reset(), 0);
  EXPECT_FALSE(condition.m_signalled);
  EXPECT_THAT(script.calls, ElementsAre("lock own", "unlock own"));
}

using QelConditionWaitTimeout = QelConditionSteps;

// The flag is set while the thread sleeps, and its time runs out all the same.
TEST_F(QelConditionWaitTimeout, ClearsAnAutoResetFlagAlsoAfterATimeOut) {
  OpenCondition condition;
  script.onSleep = [&](qelULong) {
    condition.m_signalled = true;
    return 1;
  };
  EXPECT_EQ(condition.WaitTimeout(5), 1);
  EXPECT_FALSE(condition.m_signalled);
}

TEST_F(QelConditionWaitTimeout, LeavesAManualResetFlagAlone) {
  OpenCondition condition(/*manualReset=*/true, /*initialState=*/false);
  script.onSleep = [&](qelULong) {
    condition.m_signalled = true;
    return 1;
  };
  EXPECT_EQ(condition.WaitTimeout(5), 1);
  EXPECT_TRUE(condition.m_signalled);
}

// The flag is reset while the thread sleeps and a signal wakes it: it does not go back to sleep.
TEST_F(QelConditionWaitTimeout, DoesNotLookAtTheFlagAgain) {
  OpenCondition condition(/*manualReset=*/true, /*initialState=*/false);
  int sleeps = 0;
  script.onSleep = [&](qelULong) {
    sleeps += 1;
    condition.m_signalled = false;
    condition.m_condition->signals += 1;
    condition.m_condition->waitSem->count += 1;
    return 0;
  };
  EXPECT_EQ(condition.Wait(), 0);
  EXPECT_EQ(sleeps, 1);
}

class QelConditionExtSteps : public Steps {
protected:
  QelConditionExtSteps() { script.names = {"outside", "L", "W", "D"}; }
};

TEST_F(QelConditionExtSteps, OfAWaitReleaseTheOutsideMutex) {
  qelMutex mutex;
  OpenConditionExt condition(&mutex, /*ownsMutex=*/false);
  EXPECT_EQ(condition.WaitTimeout(3), 1);
  EXPECT_THAT(script.calls, ElementsAre("lock L", "unlock L", "unlock outside", "wait W 3",
                                        "lock L", "unlock L", "lock outside"));
}

TEST_F(QelConditionExtSteps, OfAWaitWithTheFlagSetTouchNothing) {
  qelMutex mutex;
  OpenConditionExt condition(&mutex, /*ownsMutex=*/false);
  condition.m_signalled = true;
  EXPECT_EQ(condition.Wait(), 0);
  EXPECT_THAT(script.calls, IsEmpty());
  EXPECT_FALSE(condition.m_signalled);
}

TEST_F(QelConditionExtSteps, OfATimeOutClearTheFlag) {
  qelMutex mutex;
  OpenConditionExt condition(&mutex, /*ownsMutex=*/false);
  script.onSleep = [&](qelULong) {
    condition.m_signalled = true;
    return 1;
  };
  EXPECT_EQ(condition.WaitTimeout(3), 1);
  EXPECT_FALSE(condition.m_signalled);
}

TEST_F(QelConditionExtSteps, OfASignalDoNotTouchTheOutsideMutex) {
  qelMutex mutex;
  OpenConditionExt condition(&mutex, /*ownsMutex=*/false);
  condition.m_condition->waiting = 1;
  condition.m_condition->doneSem->count = 1;
  EXPECT_EQ(condition.Signal(), 0);
  EXPECT_THAT(script.calls, ElementsAre("lock L", "post W", "unlock L", "wait D forever"));
  EXPECT_TRUE(condition.m_signalled);
}

TEST_F(QelConditionExtSteps, OfTheEndDeleteAnOwnedMutexOnly) {
  qelMutex kept;
  { OpenConditionExt condition(&kept, /*ownsMutex=*/false); }
  EXPECT_EQ(script.alive, 1);
  { OpenConditionExt condition(new qelMutex, /*ownsMutex=*/true); }
  EXPECT_EQ(script.alive, 1);
}

using QelMutexLockCount = Steps;

class OpenMutex : public qelMutex {
public:
  using qelMutex::m_lockCount;
};

TEST_F(QelMutexLockCount, FollowsWhatSucceedsOnly) {
  OpenMutex mutex;
  script.lockResult = 2;
  EXPECT_EQ(mutex.Lock(), 2);
  EXPECT_EQ(mutex.m_lockCount, 0);
  script.lockResult = 0;
  EXPECT_EQ(mutex.Lock(), 0);
  EXPECT_EQ(mutex.m_lockCount, 1);
  script.lockResult = 2;
  EXPECT_EQ(mutex.Unlock(), 2);
  EXPECT_EQ(mutex.m_lockCount, 1);
  script.lockResult = 0;
  EXPECT_EQ(mutex.Unlock(), 0);
  EXPECT_EQ(mutex.m_lockCount, 0);
}

using QelConditionCreation = Steps;

TEST_F(QelConditionCreation, EndsTheProcessWhenAPartFails) {
  for (size_t failing = 1; failing <= 3; ++failing) {
    script.failing = failing;
    EXPECT_FATAL(qelCondition(), "os:condition");
    EXPECT_FATAL(qelCondition(true, true), "os:condition");
  }
  script.failing = 4;
  EXPECT_FATAL(qelCondition(), "os:mutex");
  EXPECT_FATAL(qelCondition(true, true), "os:mutex");
}

TEST_F(QelConditionCreation, NeedsAMutexFromOutside) {
  EXPECT_FATAL(qelConditionExt(nullptr, false), "os:mutex");
  EXPECT_FATAL(qelConditionExt(nullptr, true), "os:mutex");
  // The condition comes first.
  script.failing = 2;
  EXPECT_FATAL(qelConditionExt(nullptr, false), "os:condition");
}

} // namespace

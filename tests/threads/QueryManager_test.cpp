//===----------------------------------------------------------------------===//
// The queue of delayed work. The program is linked so that every timed wait of the
// library comes through here: a test may play the wait instead of sleeping.
//===----------------------------------------------------------------------===//

#include <qel/threads/QueryManager.h>

#include <atomic>
#include <functional>
#include <new>
#include <random>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <qel/multiplatform/qelCondition.h>
#include <qel/threads/Query.h>
#include <tests/support/Clock.h>
#include <tests/support/Gate.h>
#include <tests/support/Stress.h>

// What this thread does instead of waiting; null: it waits.
static thread_local const std::function<void(qelULong ms)>* t_playWait = nullptr;
// Threads that are about to sleep or do so, with the condition's lock in their hands until then.
static std::atomic<int> s_sleepers{0};

extern "C" int REAL_WAIT(qelOSCondition* condition, qelOSMutex* outer, qelULong ms);
extern "C" int WRAPPED_WAIT(qelOSCondition* condition, qelOSMutex* outer, qelULong ms);
extern "C" int WRAPPED_WAIT(qelOSCondition* condition, qelOSMutex* outer, qelULong ms) {
  if (t_playWait != nullptr) {
    qelOSMutex_Unlock(outer);
    (*t_playWait)(ms);
    qelOSMutex_Lock(outer);
    return 1;
  }
  s_sleepers += 1;
  const int result = REAL_WAIT(condition, outer, ms);
  s_sleepers -= 1;
  return result;
}

namespace {

const qelULong kNoLimit = 0xFFFFFFFF;

// How often a lock is held, and what works inside of the two.
class OpenMutex : public qelMutex {
public:
  static int Holds(const qelMutex& mutex) { return mutex.*(&OpenMutex::m_lockCount); }
  static const qelOSMutex* System(const qelMutex& mutex) { return mutex.*(&OpenMutex::m_mutex); }
};
class OpenCondition : public qelCondition {
public:
  static const qelOSCondition* System(const qelCondition& condition) {
    return condition.*(&OpenCondition::m_condition);
  }
};

class TestQuery : public qelQuery {
public:
  explicit TestQuery(int number = 0, qelULong delay = 0) : id(number) {
    made += 1;
    if (delay != 0)
      SetDelay(delay);
  }
  void Done() override {
    done += 1;
    if (onDone)
      onDone();
    qelQuery::Done();
  }
  using qelQuery::m_delay;
  using qelQuery::m_executed;
  using qelQuery::m_keepAlive;
  using qelQuery::m_mark;
  using qelQuery::m_next;
  using qelQuery::m_readyTime;

  // The end of a query that Done has spared.
  static void Delete(TestQuery* query) { delete query; }

  int id;
  std::function<void()> onDone;
  static std::atomic<int> made;
  static std::atomic<int> done;
  static std::atomic<int> gone;

protected:
  ~TestQuery() override { gone += 1; }
};
std::atomic<int> TestQuery::made{0};
std::atomic<int> TestQuery::done{0};
std::atomic<int> TestQuery::gone{0};

int IdOf(const qelQuery* query) {
  return query != nullptr ? static_cast<const TestQuery*>(query)->id : -1;
}

class TestManager : public qelQueryManager {
public:
  using qelQueryManager::FindQuery;
  using qelQueryManager::LockQueries;
  using qelQueryManager::m_head;
  using qelQueryManager::m_queryCondition;
  using qelQueryManager::m_queryMutex;
  using qelQueryManager::m_stopped;
  using qelQueryManager::m_tail;
  using qelQueryManager::PushBackQuery;
  using qelQueryManager::UnlockQueries;

  TestQuery* Add(int id, qelULong delay = 0) {
    TestQuery* query = new TestQuery(id, delay);
    AddQuery(query);
    return query;
  }
  // Takes a ready query and ends it; its number, or -1.
  int Take() {
    qelQuery* query = GetQuery();
    const int id = IdOf(query);
    if (query != nullptr)
      query->Done();
    return id;
  }
  // The numbers of the chain in order, once its ends were found to be right.
  std::vector<int> Ids() {
    std::vector<int> ids;
    LockQueries();
    TestQuery* last = nullptr;
    for (qelQuery* at = m_head; at != nullptr; at = last->m_next) {
      last = static_cast<TestQuery*>(at);
      ids.push_back(last->id);
    }
    EXPECT_EQ(m_tail, last);
    UnlockQueries();
    return ids;
  }

  std::vector<int> prepared;   // what InitQuery saw
  std::atomic<int> signals{0}; // of SignalQueryToProcess
  std::function<void(qelQuery*)> onInit;
  std::function<void()> onSignal;

protected:
  void InitQuery(qelQuery* query) override {
    prepared.push_back(IdOf(query));
    if (onInit)
      onInit(query);
  }
  void SignalQueryToProcess() override {
    signals += 1;
    if (onSignal)
      onSignal();
    qelQueryManager::SignalQueryToProcess();
  }
};

// A clock that stands still, but for waits, which pass at once and are written down.
class FakeTime {
public:
  FakeTime() : m_clock(kSecond), m_play([this](qelULong ms) { Wait(ms); }) { t_playWait = &m_play; }
  ~FakeTime() { t_playWait = nullptr; }
  FakeTime(const FakeTime&) = delete;
  FakeTime& operator=(const FakeTime&) = delete;

  void Advance(int64_t ms) {
    m_ms += ms;
    m_clock.Set(static_cast<int32_t>(m_ms / 1000), static_cast<int32_t>(m_ms % 1000 * 1000));
  }
  int64_t Now() const { return m_ms; }

  std::vector<qelULong> waits;
  std::function<void()> onWait; // called in place of the passing of time

private:
  static const int32_t kSecond = 1000000000;

  void Wait(qelULong ms) {
    waits.push_back(ms);
    if (onWait)
      onWait();
    else
      Advance(ms);
  }

  ScopedClock m_clock;
  int64_t m_ms = int64_t(kSecond) * 1000;
  const std::function<void(qelULong)> m_play;
};

typedef std::vector<int> Ids;
typedef std::vector<qelULong> Waits;

bool IsOdd(qelQuery* query, void*) {
  return IdOf(query) % 2 != 0;
}
bool IsNumber(qelQuery* query, void* number) {
  return IdOf(query) == *static_cast<int*>(number);
}
bool IsSame(qelQuery* query, void* other) {
  return query == other;
}
bool Never(qelQuery*, void*) {
  return false;
}

// Queries ------------------------------------------------------------------------

TEST(QelQuery, IsReadyAndAloneAtFirst) {
  TestQuery* query = new TestQuery;
  EXPECT_EQ(query->m_next, nullptr);
  EXPECT_EQ(query->m_keepAlive, nullptr);
  EXPECT_EQ(query->m_delay, 0u);
  EXPECT_FALSE(query->HasBeenExecuted());
  query->Done();
}

TEST(QelQueryDone, DeletesTheQuery) {
  const int gone = TestQuery::gone;
  (new TestQuery)->Done();
  EXPECT_EQ(TestQuery::gone, gone + 1);
}

TEST(QelQueryDone, SparesAQueryThatIsKeptAlive) {
  const int gone = TestQuery::gone;
  TestQuery* query = new TestQuery;
  query->m_keepAlive = query;
  query->Done();
  EXPECT_EQ(TestQuery::gone, gone);
  TestQuery::Delete(query);
}

TEST(QelQuerySetDelay, StoresTheDelayAndTheMoment) {
  FakeTime time;
  TestQuery* query = new TestQuery;
  query->SetDelay(250);
  EXPECT_EQ(query->m_delay, 250u);
  EXPECT_EQ(query->m_readyTime, qeluint64(time.Now() + 250));
  query->SetDelay(0xFFFFFFFF);
  EXPECT_EQ(query->m_delay, 0xFFFFFFFFu);
  EXPECT_EQ(query->m_readyTime, qeluint64(time.Now() + 0xFFFFFFFF));
  query->SetDelay(0);
  EXPECT_EQ(query->m_delay, 0u);
  query->Done();
}

TEST(QelQueryAssignment, CopiesAllFields) {
  TestQuery* from = new TestQuery(0, 7);
  TestQuery* to = new TestQuery;
  from->m_mark = true;
  from->m_executed = true;
  from->m_next = to;
  from->m_keepAlive = to;
  static_cast<qelQuery&>(*to) = *from;
  EXPECT_EQ(to->m_keepAlive, to);
  from->m_keepAlive = to->m_keepAlive = nullptr;
  EXPECT_TRUE(to->m_mark);
  EXPECT_TRUE(to->m_executed);
  EXPECT_EQ(to->m_next, to);
  EXPECT_EQ(to->m_delay, 7u);
  EXPECT_EQ(to->m_readyTime, from->m_readyTime);
  from->Done();
  to->Done();
}

// Adding and taking ----------------------------------------------------------------

TEST(QelQueryManagerAddQuery, AppendsPreparesAndSignals) {
  TestManager manager;
  for (int id : {1, 2, 3})
    manager.Add(id);
  EXPECT_EQ(manager.Ids(), (Ids{1, 2, 3}));
  EXPECT_EQ(manager.prepared, (Ids{1, 2, 3}));
  EXPECT_EQ(manager.signals, 3);
}

TEST(QelQueryManagerAddQuery, PreparesAheadOfTheSignalAndUnderTheLock) {
  TestManager manager;
  manager.onInit = [&](qelQuery* query) {
    EXPECT_EQ(manager.signals, 0);
    EXPECT_EQ(manager.m_tail, query);
    EXPECT_EQ(OpenMutex::Holds(manager.m_queryMutex), 1);
    EXPECT_TRUE(manager.HasPendingQuery()); // the same thread may call back
  };
  manager.onSignal = [&] { EXPECT_EQ(OpenMutex::Holds(manager.m_queryMutex), 1); };
  manager.Add(1);
  EXPECT_EQ(manager.signals, 1);
  EXPECT_EQ(OpenMutex::Holds(manager.m_queryMutex), 0);
}

TEST(QelQueryManagerAddQuery, EndsTheChainWithTheNewQuery) {
  TestManager manager;
  TestQuery* query = new TestQuery(1);
  query->m_next = query;
  manager.AddQuery(query);
  EXPECT_EQ(manager.Ids(), Ids{1});
}

TEST(QelQueryManagerAddQuery, EndsTheQueryAtOnceAfterStop) {
  TestManager manager;
  manager.Stop();
  const int done = TestQuery::done;
  manager.Add(1);
  EXPECT_EQ(TestQuery::done, done + 1);
  EXPECT_EQ(manager.Ids(), Ids{});
  EXPECT_EQ(manager.prepared, Ids{});
  EXPECT_EQ(manager.signals, 1); // that of Stop
}

TEST(QelQueryManagerAddQuery, LetsInitQueryStopTheManager) {
  TestManager manager;
  manager.onInit = [&](qelQuery*) { manager.Stop(); };
  const int done = TestQuery::done;
  manager.Add(1);
  EXPECT_EQ(TestQuery::done, done + 1);
  EXPECT_EQ(manager.Ids(), Ids{});
}

// Stop comes while a producer waits for the lock, so that its first look at the flag said nothing.
TEST(QelQueryManagerAddQuery, EndsAQueryThatWaitedForTheLockDuringStop) {
  const int done = TestQuery::done;
  TestManager manager;
  manager.LockQueries();
  std::atomic<bool> begun{false};
  std::thread producer([&] {
    TestQuery* query = new TestQuery(1);
    begun = true;
    manager.AddQuery(query);
  });
  AwaitThat([&] { return begun.load(); });
  // Whether the producer has come as far as the lock can't be told; mostly it has by now.
  for (int i = 0; i < 100; ++i)
    std::this_thread::yield();
  manager.Stop();
  manager.UnlockQueries();
  producer.join();
  EXPECT_EQ(TestQuery::done, done + 1);
  EXPECT_EQ(manager.Ids(), Ids{});
}

TEST(QelQueryManagerGetQuery, GivesQueriesInOrderAndMarksThem) {
  TestManager manager;
  EXPECT_EQ(manager.GetQuery(), nullptr);
  manager.Add(1);
  manager.Add(2);
  TestQuery* query = static_cast<TestQuery*>(manager.GetQuery());
  EXPECT_EQ(IdOf(query), 1);
  EXPECT_TRUE(query->HasBeenExecuted());
  EXPECT_EQ(query->m_next, nullptr);
  EXPECT_EQ(manager.Ids(), Ids{2});
  query->Done();
  EXPECT_EQ(manager.Take(), 2);
  EXPECT_EQ(manager.Take(), -1);
  EXPECT_EQ(manager.Ids(), Ids{});
}

TEST(QelQueryManagerGetQuery, GivesNullWithOnlyDelayedQueries) {
  TestManager manager;
  manager.Add(1, 1000);
  manager.Add(2, 1);
  EXPECT_EQ(manager.GetQuery(), nullptr);
  EXPECT_FALSE(manager.HasPendingQuery());
  EXPECT_EQ(manager.Ids(), (Ids{1, 2}));
}

TEST(QelQueryManagerGetQuery, LeavesADelayedQueryAheadInItsPlace) {
  TestManager manager;
  manager.Add(1, 1000);
  manager.Add(2);
  EXPECT_TRUE(manager.HasPendingQuery());
  EXPECT_EQ(manager.Take(), 2);
  EXPECT_EQ(manager.Ids(), Ids{1});
  manager.Add(3, 1000);
  EXPECT_EQ(manager.Ids(), (Ids{1, 3}));
}

// Time alone makes nothing ready; WaitForQuery does.
TEST(QelQueryManagerGetQuery, DoesNotLookAtTheClock) {
  FakeTime time;
  TestManager manager;
  manager.Add(1, 10);
  time.Advance(1000);
  EXPECT_EQ(manager.GetQuery(), nullptr);
  EXPECT_FALSE(manager.HasPendingQuery());
}

TEST(QelQueryManagerPushBackQuery, GoesToTheFrontAndSignalsNobody) {
  FakeTime time;
  TestManager manager;
  manager.Add(1);
  manager.Add(2);
  qelQuery* query = manager.GetQuery();
  manager.PushBackQuery(query);
  EXPECT_EQ(manager.Ids(), (Ids{1, 2}));
  EXPECT_EQ(manager.signals, 2);
  EXPECT_EQ(manager.prepared, (Ids{1, 2}));
  EXPECT_TRUE(query->HasBeenExecuted());
  EXPECT_EQ(manager.Take(), 1);
  EXPECT_EQ(manager.Take(), 2);
  manager.WaitForQuery(10); // takes the signal of the additions
  TestQuery* last = new TestQuery;
  manager.PushBackQuery(last);
  EXPECT_EQ(manager.GetQuery(), last);
  manager.WaitForQuery(10);
  EXPECT_EQ(time.waits, Waits{10});
  last->Done();
}

TEST(QelQueryManagerPushBackQuery, MakesTheTailOfAnEmptyChain) {
  TestManager manager;
  manager.Add(1);
  manager.PushBackQuery(manager.GetQuery());
  manager.Add(2);
  EXPECT_EQ(manager.Ids(), (Ids{1, 2}));
}

TEST(QelQueryManagerPushBackQuery, LeavesTheQueryWithTheCallerAfterStop) {
  TestManager manager;
  manager.Add(1);
  qelQuery* query = manager.GetQuery();
  manager.Stop();
  const int done = TestQuery::done;
  manager.PushBackQuery(query);
  EXPECT_EQ(TestQuery::done, done);
  EXPECT_EQ(manager.Ids(), Ids{});
  query->Done();
}

TEST(QelQueryManagerFindQuery, GivesTheFirstMatchAndTakesNothing) {
  TestManager manager;
  for (int id : {2, 3, 5})
    manager.Add(id);
  manager.LockQueries();
  EXPECT_EQ(IdOf(manager.FindQuery(IsOdd, nullptr)), 3);
  EXPECT_EQ(manager.FindQuery(Never, nullptr), nullptr);
  manager.UnlockQueries();
  EXPECT_EQ(manager.Ids(), (Ids{2, 3, 5}));
}

// Clearing -----------------------------------------------------------------------

TEST(QelQueryManagerClearSelectedQueries, LeavesAChainThatIsSpared) {
  TestManager manager;
  for (int id : {1, 2, 3})
    manager.Add(id);
  manager.ClearSelectedQueries(Never, nullptr);
  EXPECT_EQ(manager.Ids(), (Ids{1, 2, 3}));
}

TEST(QelQueryManagerClearSelectedQueries, RemovesAnywhereAndMendsBothEnds) {
  for (int gone : {1, 2, 3}) {
    TestManager manager;
    for (int id : {1, 2, 3})
      manager.Add(id);
    const int done = TestQuery::done;
    manager.ClearSelectedQueries(IsNumber, &gone);
    EXPECT_EQ(TestQuery::done, done + 1);
    manager.Add(4);
    Ids left;
    for (int id : {1, 2, 3, 4})
      if (id != gone)
        left.push_back(id);
    EXPECT_EQ(manager.Ids(), left);
  }
}

TEST(QelQueryManagerClearSelectedQueries, TakesDelayedAndReadyOnes) {
  TestManager manager;
  for (int id : {1, 2, 3, 4, 5})
    manager.Add(id, id % 3 != 0 ? 1000 : 0);
  manager.ClearSelectedQueries(IsOdd, nullptr);
  EXPECT_EQ(manager.Ids(), (Ids{2, 4}));
}

TEST(QelQueryManagerClearQueries, EndsEveryQuery) {
  TestManager manager;
  manager.ClearQueries();
  for (int id : {1, 2, 3})
    manager.Add(id, id == 2 ? 1000 : 0);
  const int done = TestQuery::done;
  manager.ClearQueries();
  EXPECT_EQ(TestQuery::done, done + 3);
  EXPECT_EQ(manager.Ids(), Ids{});
  manager.Add(4);
  EXPECT_EQ(manager.Take(), 4);
}

TEST(QelQueryManagerClearQueries, UnlinksAQueryThatIsKeptAlive) {
  TestManager manager;
  TestQuery* query = manager.Add(1);
  manager.Add(2);
  query->m_keepAlive = query;
  manager.ClearQueries();
  EXPECT_EQ(query->m_next, nullptr);
  TestQuery::Delete(query);
}

TEST(QelQueryManagerClearQueries, LetsDoneCallBack) {
  TestManager manager;
  // A new query behind the last one stays: the walk has read its end.
  manager.Add(1)->onDone = [&] { manager.Add(2); };
  manager.ClearQueries();
  EXPECT_EQ(manager.Ids(), Ids{2});
  // What Done takes out itself is not taken again.
  const int made = TestQuery::made;
  const int done = TestQuery::done;
  manager.Add(3);
  manager.Add(5)->onDone = [&] { manager.Stop(); };
  for (int id : {6, 7, 9})
    manager.Add(id);
  manager.ClearSelectedQueries(IsOdd, nullptr);
  EXPECT_EQ(manager.Ids(), Ids{});
  EXPECT_EQ(TestQuery::done - done, TestQuery::made - made + 1);
}

TEST(QelQueryManagerClearQueries, EndsWhatStandsBehindAQueryThatDoneTakesOut) {
  TestManager manager;
  manager.Add(1)->onDone = [&] { EXPECT_EQ(manager.Take(), 2); };
  for (int id : {2, 3, 4})
    manager.Add(id);
  const int done = TestQuery::done;
  manager.ClearQueries();
  EXPECT_EQ(TestQuery::done, done + 4);
  EXPECT_EQ(manager.Ids(), Ids{});
}

TEST(QelQueryManagerClearSelectedQueries, CallsBackUnderTheLock) {
  TestManager manager;
  manager.Add(1)->onDone = [&] { EXPECT_EQ(OpenMutex::Holds(manager.m_queryMutex), 1); };
  manager.ClearSelectedQueries(
      [](qelQuery*, void* context) {
        EXPECT_EQ(OpenMutex::Holds(static_cast<TestManager*>(context)->m_queryMutex), 1);
        return true;
      },
      &manager);
  EXPECT_EQ(manager.Ids(), Ids{});
}

// A selector that calls the manager back once and writes down what it is asked about.
struct CallingBack {
  static bool Select(qelQuery* query, void* context) {
    CallingBack* self = static_cast<CallingBack*>(context);
    const int id = IdOf(query);
    self->asked.push_back(id);
    if (id == self->at)
      self->call();
    return id == self->chosen;
  }
  int at, chosen; // where it calls, and what it chooses
  std::function<void()> call;
  Ids asked;
};

TEST(QelQueryManagerClearSelectedQueries, GoesOnBehindWhatTheSelectorTakesOut) {
  TestManager manager;
  for (int id : {1, 2, 3, 4, 5})
    manager.Add(id, id < 3 ? 1000 : 0);
  CallingBack selector = {2, 5, [&] { EXPECT_EQ(manager.Take(), 3); }, {}};
  manager.ClearSelectedQueries(&CallingBack::Select, &selector);
  EXPECT_EQ(selector.asked, (Ids{1, 2, 4, 5}));
  EXPECT_EQ(manager.Ids(), (Ids{1, 2, 4}));
}

TEST(QelQueryManagerClearSelectedQueries, LetsTheSelectorTakeOutItsOwnQuery) {
  for (int chosen : {2, 3}) {
    TestManager manager;
    for (int id : {1, 2, 3})
      manager.Add(id, id != 2 ? 1000 : 0);
    CallingBack selector = {2, chosen, [&] { EXPECT_EQ(manager.Take(), 2); }, {}};
    const int done = TestQuery::done;
    manager.ClearSelectedQueries(&CallingBack::Select, &selector);
    EXPECT_EQ(selector.asked, (Ids{1, 2, 3}));
    EXPECT_EQ(manager.Ids(), (chosen == 2 ? Ids{1, 3} : Ids{1}));
    EXPECT_EQ(TestQuery::done - done, chosen == 2 ? 1 : 2);
  }
}

TEST(QelQueryManagerClearSelectedQueries, EndsWhenTheSelectorEmptiesTheChain) {
  for (bool stops : {false, true}) {
    TestManager manager;
    for (int id : {1, 2, 3})
      manager.Add(id);
    CallingBack selector = {2, 3, [&] { stops ? manager.Stop() : manager.ClearQueries(); }, {}};
    const int done = TestQuery::done;
    manager.ClearSelectedQueries(&CallingBack::Select, &selector);
    EXPECT_EQ(selector.asked, (Ids{1, 2}));
    EXPECT_EQ(TestQuery::done, done + 3);
  }
}

// The walk has lost its place, and asks again.
TEST(QelQueryManagerClearSelectedQueries, BeginsAgainWhenItsPlaceHasGone) {
  TestManager manager;
  for (int id : {1, 2, 3, 4})
    manager.Add(id);
  CallingBack selector = {2, 4, [&] { manager.ClearSelectedQueries(IsOdd, nullptr); }, {}};
  manager.ClearSelectedQueries(&CallingBack::Select, &selector);
  EXPECT_EQ(selector.asked, (Ids{1, 2, 4})); // behind 2, which stays
  EXPECT_EQ(manager.Ids(), Ids{2});
  manager.ClearQueries();
  for (int id : {11, 12, 13, 14})
    manager.Add(id, id == 11 ? 1000 : 0);
  selector = {12, 0, [&] { EXPECT_EQ(manager.Take() + manager.Take(), 25); }, {}};
  manager.ClearSelectedQueries(&CallingBack::Select, &selector);
  EXPECT_EQ(selector.asked, (Ids{11, 12, 11, 14}));
}

bool AddThenSelect(qelQuery* query, void* context) {
  TestManager* manager = static_cast<TestManager*>(context);
  if (IdOf(query) >= 10)
    return false;
  manager->Add(IdOf(query) + 10);
  manager->PushBackQuery(new TestQuery(IdOf(query) + 20));
  return true;
}

TEST(QelQueryManagerClearSelectedQueries, LetsTheSelectorAddQueries) {
  TestManager manager;
  manager.Add(1);
  manager.Add(2);
  manager.ClearSelectedQueries(AddThenSelect, &manager);
  EXPECT_EQ(manager.Ids(), (Ids{22, 21, 11, 12}));
}

TEST(QelQueryManager, EndsItsQueriesWhenItDies) {
  const int done = TestQuery::done;
  {
    TestManager manager;
    manager.Add(1);
    manager.Add(2, 1000);
  }
  EXPECT_EQ(TestQuery::done, done + 2);
}

// The moment between the flag and the end of the chain.
TEST(QelQueryManagerStop, GivesNoQueryWhileItClears) {
  TestManager manager;
  manager.Add(1)->onDone = [&] {
    EXPECT_EQ(manager.GetQuery(), nullptr);
    EXPECT_TRUE(manager.HasPendingQuery());
    EXPECT_EQ(manager.Ids(), Ids{2});
  };
  manager.Add(2);
  manager.Stop();
  EXPECT_EQ(manager.Ids(), Ids{});
}

TEST(QelQueryManagerStop, ClearsAndThenSignals) {
  TestManager manager;
  manager.Add(1)->onDone = [&] {
    EXPECT_TRUE(manager.m_stopped);
    EXPECT_EQ(manager.signals, 1);
  };
  manager.Stop();
  EXPECT_EQ(manager.signals, 2);
  EXPECT_EQ(manager.GetQuery(), nullptr);
  EXPECT_FALSE(manager.HasPendingQuery());
  manager.WaitForQuery(kNoLimit);
  manager.Stop();
}

// Waiting -------------------------------------------------------------------------

TEST(QelQueryManagerWaitForQuery, PollsAnEmptyChainOnceWithoutTime) {
  FakeTime time;
  TestManager manager;
  manager.WaitForQuery(0);
  EXPECT_EQ(time.waits, Waits{0});
}

TEST(QelQueryManagerWaitForQuery, WaitsOnAnEmptyChainForItsTime) {
  FakeTime time;
  TestManager manager;
  manager.WaitForQuery(500);
  EXPECT_EQ(time.waits, Waits{500});
}

TEST(QelQueryManagerWaitForQuery, ReturnsAtOnceForAReadyQuery) {
  FakeTime time;
  TestManager manager;
  manager.Add(1, 5);
  manager.Add(2);
  manager.WaitForQuery(kNoLimit);
  EXPECT_EQ(time.waits, Waits{});
  EXPECT_EQ(manager.Take(), 2);
}

TEST(QelQueryManagerWaitForQuery, ReturnsWhenADelayedQueryIsDue) {
  for (qelULong ms : {qelULong(30), qelULong(100), kNoLimit}) {
    FakeTime time;
    TestManager manager;
    manager.Add(1, 30);
    manager.WaitForQuery(0);
    EXPECT_EQ(manager.Take(), -1);
    EXPECT_EQ(time.waits, Waits{});
    // The signal of the addition was kept and ends a first wait before it begins.
    manager.WaitForQuery(ms);
    EXPECT_EQ(time.waits, Waits{30});
    EXPECT_EQ(manager.Take(), 1);
  }
}

TEST(QelQueryManagerWaitForQuery, ReturnsAtItsLimitBeforeADelayedQueryIsDue) {
  FakeTime time;
  TestManager manager;
  manager.Add(1, 200);
  manager.WaitForQuery(100);
  EXPECT_EQ(time.waits, Waits{100});
  EXPECT_EQ(manager.Take(), -1);
  manager.WaitForQuery(100);
  EXPECT_EQ(time.waits, (Waits{100, 100}));
  EXPECT_EQ(manager.Take(), 1);
}

TEST(QelQueryManagerWaitForQuery, ReadiesOneQueryOnly) {
  FakeTime time;
  TestManager manager;
  manager.Add(1, 30);
  manager.Add(2, 20);
  manager.Add(3, 20);
  time.Advance(50);
  // The earliest, and of two the one ahead.
  for (int id : {2, 3, 1}) {
    manager.WaitForQuery(0);
    EXPECT_EQ(manager.Take(), id);
    EXPECT_EQ(manager.Take(), -1);
  }
  EXPECT_EQ(time.waits, Waits{});
}

TEST(QelQueryManagerWaitForQuery, WaitsForTheEarliestOfSeveral) {
  FakeTime time;
  TestManager manager;
  for (qelULong delay : {70, 40, 90, 40})
    manager.Add(static_cast<int>(manager.Ids().size()), delay);
  manager.WaitForQuery(kNoLimit);
  EXPECT_EQ(time.waits, Waits{40});
  EXPECT_EQ(manager.Take(), 1);
}

TEST(QelQueryManagerWaitForQuery, EndsEarlyForAQueryThatIsAddedMeanwhile) {
  FakeTime time;
  TestManager manager;
  manager.Add(1, 100);
  time.onWait = [&] { manager.Add(2); };
  manager.WaitForQuery(1000);
  EXPECT_EQ(time.waits, Waits{100});
  EXPECT_EQ(manager.Take(), 2);
}

TEST(QelQueryManagerWaitForQuery, LooksAgainWhenItIsWokenEarly) {
  FakeTime time;
  TestManager manager;
  manager.Add(1, 100);
  time.onWait = [&] {
    time.Advance(30);
    if (time.waits.size() == 1)
      manager.Add(2, 20);
  };
  manager.WaitForQuery(1000);
  EXPECT_EQ(time.waits, (Waits{100, 20}));
  EXPECT_EQ(manager.Take(), 2);
}

TEST(QelQueryManagerWaitForQuery, ReturnsWithALimitWhenTheChainIsEmptiedMeanwhile) {
  FakeTime time;
  TestManager manager;
  manager.Add(1, 50);
  time.onWait = [&] { manager.ClearQueries(); };
  manager.WaitForQuery(1000);
  EXPECT_EQ(time.waits, Waits{50});
}

TEST(QelQueryManagerWaitForQuery, WaitsOnWithoutALimitWhenTheChainIsEmptiedMeanwhile) {
  FakeTime time;
  TestManager manager;
  manager.Add(1, 50);
  time.onWait = [&] {
    if (time.waits.size() == 1)
      manager.ClearQueries();
    else if (time.waits.size() == 3)
      manager.Stop();
  };
  manager.WaitForQuery(kNoLimit);
  EXPECT_EQ(time.waits, (Waits{50, kNoLimit, kNoLimit}));
}

TEST(QelQueryManagerWaitForQuery, ReturnsWithALimitWhenItIsWokenForNothing) {
  FakeTime time;
  TestManager manager;
  manager.Add(1);
  EXPECT_EQ(manager.Take(), 1);
  // The signal was kept: no wait at all.
  manager.WaitForQuery(1000);
  EXPECT_EQ(time.waits, Waits{});
  manager.WaitForQuery(1000);
  EXPECT_EQ(time.waits, Waits{1000});
}

TEST(QelQueryManagerWaitForQuery, NeverTakesALongDelayForNoLimit) {
  FakeTime time;
  TestManager manager;
  manager.Add(1, 0xFFFFFFFF);
  manager.WaitForQuery(kNoLimit);
  EXPECT_EQ(time.waits, (Waits{0xFFFFFFFE, 1}));
  EXPECT_EQ(manager.Take(), 1);
}

TEST(QelQueryManagerWaitForQuery, HasALongestLimit) {
  FakeTime time;
  TestManager manager;
  manager.Add(1, 0xFFFFFFFF);
  manager.WaitForQuery(0xFFFFFFFE);
  EXPECT_EQ(time.waits, Waits{0xFFFFFFFE});
  EXPECT_EQ(manager.Take(), -1);
}

// A clock that was set back makes a span of more than 32 bits, of which the low ones count.
TEST(QelQueryManagerWaitForQuery, CutsASpanToThirtyTwoBits) {
  FakeTime time;
  TestManager manager;
  manager.Add(1, 10);
  time.Advance(-(int64_t(1) << 32));
  time.onWait = [&] {
    // A wait of no time takes a millisecond all the same.
    time.Advance(time.waits.back() != 0 ? time.waits.back() : 1);
  };
  manager.WaitForQuery(kNoLimit);
  EXPECT_EQ(time.waits, (Waits{10, 0, 0xFFFFFFFE, 1}));
  EXPECT_EQ(manager.Take(), 1);
}

TEST(QelQueryManagerWaitForQuery, ReturnsWhenStoppedMeanwhile) {
  FakeTime time;
  TestManager manager;
  time.onWait = [&] { manager.Stop(); };
  manager.WaitForQuery(kNoLimit);
  EXPECT_EQ(time.waits, Waits{kNoLimit});
  manager.WaitForQuery(kNoLimit);
  manager.WaitForQuery(100);
  EXPECT_EQ(time.waits, Waits{kNoLimit});
}

TEST(QelQueryManagerWaitForQuery, LooksAtTheFlagOfStopBeforeTheChain) {
  FakeTime time;
  TestManager manager;
  time.onWait = [&] {
    manager.Add(1, 1000);
    manager.m_stopped = true; // and the chain is not cleared yet
  };
  manager.WaitForQuery(5000);
  EXPECT_EQ(time.waits, Waits{5000});
  EXPECT_EQ(manager.Ids(), Ids{1});
}

// With threads ---------------------------------------------------------------------

TEST(QelQueryManagerWaitForQuery, IsWokenByAnAddition) {
  TestManager manager;
  std::thread consumer([&] {
    manager.WaitForQuery(kNoLimit);
    EXPECT_EQ(manager.Take(), 1);
  });
  AwaitThat([] { return s_sleepers == 1; });
  manager.Add(1);
  consumer.join();
}

TEST(QelQueryManagerStop, WakesAllThatWait) {
  TestManager manager;
  std::vector<std::thread> consumers;
  for (int i = 0; i < 3; ++i)
    consumers.emplace_back([&] { manager.WaitForQuery(kNoLimit); });
  AwaitThat([] { return s_sleepers == 3; });
  manager.Stop();
  for (std::thread& consumer : consumers)
    consumer.join();
  EXPECT_EQ(s_sleepers, 0);
}

// The one test that takes real time: 20 milliseconds.
TEST(QelQueryManagerWaitForQuery, FollowsTheSystemClock) {
  TestManager manager;
  TestQuery* query = manager.Add(1, 20);
  const qeluint64 due = query->m_readyTime;
  manager.WaitForQuery(60000);
  qeluint64 now;
  qelTime_GetLocalTimeMS(&now);
  EXPECT_LE(due, now);
  EXPECT_EQ(manager.Take(), 1);
}

// A simple model --------------------------------------------------------------------

struct ModelQuery {
  int id;
  bool delayed;
  int64_t readyTime;
};

class Model {
public:
  Ids All() const {
    Ids ids;
    for (const ModelQuery& query : chain)
      ids.push_back(query.id);
    return ids;
  }
  // The position of the first ready query, or the size.
  size_t FirstReady() const {
    size_t at = 0;
    while (at != chain.size() && chain[at].delayed)
      ++at;
    return at;
  }
  // The query that is readied by a wait without time.
  void Wait(int64_t now) {
    if (chain.empty() || FirstReady() != chain.size())
      return;
    size_t earliest = 0;
    for (size_t at = 1; at != chain.size(); ++at)
      if (chain[at].readyTime < chain[earliest].readyTime)
        earliest = at;
    if (chain[earliest].readyTime <= now)
      chain[earliest].delayed = false;
  }
  std::vector<ModelQuery> chain;
};

void PlayModel(unsigned seed) {
  std::mt19937 random(seed);
  FakeTime time;
  TestManager manager;
  Model model;
  int nextId = 0;
  for (int step = 0; step < 400; ++step) {
    switch (random() % 8) {
    case 0:
    case 1: {
      const auto delay = static_cast<qelULong>(random() % 3 == 0 ? 0 : random() % 40);
      manager.Add(nextId, delay);
      model.chain.push_back({nextId++, delay != 0, time.Now() + delay});
      break;
    }
    case 2:
      time.Advance(random() % 20);
      break;
    case 3:
    case 4:
      manager.WaitForQuery(0);
      model.Wait(time.Now());
      break;
    case 5:
    case 6: {
      const size_t at = model.FirstReady();
      qelQuery* query = manager.GetQuery();
      ASSERT_EQ(IdOf(query), at == model.chain.size() ? -1 : model.chain[at].id);
      if (query == nullptr)
        break;
      ModelQuery taken = model.chain[at];
      model.chain.erase(model.chain.begin() + static_cast<std::ptrdiff_t>(at));
      if (random() % 3 != 0) {
        query->Done();
        break;
      }
      const auto delay = static_cast<qelULong>(random() % 2 * 10);
      query->SetDelay(delay);
      taken.delayed = delay != 0;
      taken.readyTime = time.Now() + delay;
      manager.PushBackQuery(query);
      model.chain.insert(model.chain.begin(), taken);
      break;
    }
    default:
      if (random() % 4 == 0) {
        manager.ClearSelectedQueries(IsOdd, nullptr);
        std::vector<ModelQuery> left;
        for (const ModelQuery& query : model.chain)
          if (query.id % 2 == 0)
            left.push_back(query);
        model.chain = left;
      }
    }
    ASSERT_EQ(manager.Ids(), model.All()) << seed << ' ' << step;
    ASSERT_EQ(manager.HasPendingQuery(), model.FirstReady() != model.chain.size());
  }
}

TEST(QelQueryManagerModel, AgreesOnRandomOperations) {
  const int balance = TestQuery::made - TestQuery::done;
  for (unsigned seed = 0; seed < 50 && !testing::Test::HasFatalFailure(); ++seed)
    PlayModel(seed);
  EXPECT_EQ(TestQuery::made - TestQuery::done, balance);
}

// Stress ------------------------------------------------------------------------------

// Takes queries until the manager is stopped. Every fifth goes back once, and if Stop was faster it
// is ended here.
void Consume(TestManager& manager, qelULong limit, std::atomic<int>& taken) {
  while (!manager.m_stopped) {
    manager.WaitForQuery(limit);
    while (TestQuery* query = static_cast<TestQuery*>(manager.GetQuery())) {
      if (query->id % 5 == 0) {
        query->id += 1;
        manager.LockQueries();
        manager.PushBackQuery(query);
        const bool accepted = manager.FindQuery(IsSame, query) != nullptr;
        manager.UnlockQueries();
        if (accepted)
          continue;
      }
      taken += 1;
      query->Done();
    }
  }
}

void Produce(TestManager& manager, int count, int first) {
  for (int i = 0; i < count; ++i)
    manager.AddQuery(new TestQuery(first + i, static_cast<qelULong>(i % 3)));
}

TEST(QelQueryManagerStress, EndsEveryQueryOnce) {
  for (int round = 0; round < StressRounds(); ++round) {
    const int made = TestQuery::made;
    const int done = TestQuery::done;
    const int gone = TestQuery::gone;
    {
      // The hooks of TestManager are called under the lock, and so need none of their own.
      TestManager manager;
      std::atomic<int> taken{0};
      Gate gate(5);
      std::vector<std::thread> threads;
      for (int first : {0, 1000})
        threads.emplace_back([&, first] {
          gate.Pass();
          Produce(manager, /*count=*/20, first);
        });
      for (int i = 0; i < 2; ++i)
        threads.emplace_back([&] {
          gate.Pass();
          Consume(manager, round % 2 == 0 ? kNoLimit : 2, taken);
        });
      gate.Pass();
      // Every third round lets all be taken first; the others clear and stop in the midst of it.
      if (round % 3 == 0) {
        AwaitThat([&] { return taken == 40; });
      } else {
        manager.ClearSelectedQueries(IsOdd, nullptr);
        std::this_thread::yield();
      }
      manager.Stop();
      for (std::thread& thread : threads)
        thread.join();
      EXPECT_EQ(manager.Ids(), Ids{});
      EXPECT_LE(taken, 40);
    }
    ASSERT_EQ(TestQuery::made - made, 40);
    ASSERT_EQ(TestQuery::done - done, 40);
    ASSERT_EQ(TestQuery::gone - gone, 40);
  }
}

TEST(QelQueryManagerStress, LosesNothingThatIsPushedBack) {
  for (int round = 0; round < StressRounds(); ++round) {
    TestManager manager;
    Gate gate(3);
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
      threads.emplace_back([&] {
        gate.Pass();
        for (int id = 0; id < 10; ++id)
          manager.PushBackQuery(new TestQuery(id));
      });
    for (std::thread& thread : threads)
      thread.join();
    ASSERT_EQ(manager.Ids().size(), 30u);
  }
}

// Shape -------------------------------------------------------------------------------

struct OpenManager : qelQueryManager {
  static bool Stopped(const qelQueryManager& manager) { return manager.*(&OpenManager::m_stopped); }
  static const qelMutex& Mutex(const qelQueryManager& manager) {
    return manager.*(&OpenManager::m_queryMutex);
  }
  static const qelCondition& Condition(const qelQueryManager& manager) {
    return manager.*(&OpenManager::m_queryCondition);
  }
};

void ExpectSharedParts(const qelQueryManager& copy, const qelQueryManager& source) {
  EXPECT_EQ(OpenManager::Stopped(copy), OpenManager::Stopped(source));
  EXPECT_EQ(OpenMutex::System(OpenManager::Mutex(copy)),
            OpenMutex::System(OpenManager::Mutex(source)));
  EXPECT_EQ(OpenCondition::System(OpenManager::Condition(copy)),
            OpenCondition::System(OpenManager::Condition(source)));
}

// Only one of the two is destroyed: the copy lies in raw storage and its destructor does not run.
TEST(QelQueryManagerCopy, TakesAllFields) {
  TestManager source;
  source.Add(1);
  alignas(qelQueryManager) unsigned char storage[sizeof(qelQueryManager)];
  qelQueryManager* copy = new (storage) qelQueryManager(source);
  EXPECT_TRUE(copy->HasPendingQuery());
  ExpectSharedParts(*copy, source);
  qelQuery* query = copy->GetQuery();
  EXPECT_EQ(IdOf(query), 1);
  source.m_head = nullptr;
  source.m_tail = nullptr;
  query->Done();
  source.Stop();
  TestManager other;
  static_cast<qelQueryManager&>(*copy) = other;
  ExpectSharedParts(*copy, other);
  copy->AddQuery(new TestQuery(2));
  EXPECT_TRUE(copy->HasPendingQuery());
  EXPECT_FALSE(other.HasPendingQuery());
  copy->ClearQueries();
  other.m_head = nullptr;
  other.m_tail = nullptr;
  static_cast<qelQueryManager&>(*copy) = source; // which is stopped
  ExpectSharedParts(*copy, source);
  new (storage) qelQueryManager(source);
  ExpectSharedParts(*copy, source);
}

TEST(QelQueryManagerShape, HasItsFieldsInOrder) {
  TestManager manager;
  const void* const fields[] = {&manager.m_stopped, &manager.m_head, &manager.m_tail,
                                &manager.m_queryMutex, &manager.m_queryCondition};
  for (int i = 1; i < 5; ++i)
    EXPECT_LT(fields[i - 1], fields[i]);
  EXPECT_TRUE(std::has_virtual_destructor<qelQueryManager>::value);
}

TEST(QelQueryShape, HasItsFieldsInOrder) {
  TestQuery* query = new TestQuery;
  const void* const fields[] = {&query->m_next,  &query->m_keepAlive, &query->m_mark,
                                &query->m_delay, &query->m_readyTime, &query->m_executed};
  for (int i = 1; i < 6; ++i)
    EXPECT_LT(fields[i - 1], fields[i]);
  EXPECT_FALSE(std::is_destructible<qelQuery>::value);
  query->Done();
}

} // namespace

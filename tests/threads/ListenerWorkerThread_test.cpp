#include <qel/threads/ListenerWorkerThread.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/threads/Listener.h>
#include <tests/support/Gate.h>
#include <tests/support/LogCapture.h>
#include <tests/support/Stress.h>

struct qelOSThread;
struct qelOSThread_Data;

static thread_local bool noMemory = false; // allocations that may fail do so
static thread_local bool noThread = false; // the system gives no thread
static std::atomic<int> g_joins{0};        // joins that have begun
static std::atomic<int> g_refusals{0};     // allocations that have failed

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  if (!noMemory)
    return ::operator new(size);
  g_refusals += 1;
  return nullptr;
}

// The program is linked so that every qelOSThread_Join and qelOSThread_Create comes through here.
extern "C" int __real__Z16qelOSThread_JoinP11qelOSThread(qelOSThread* thread);
extern "C" int __wrap__Z16qelOSThread_JoinP11qelOSThread(qelOSThread* thread) {
  g_joins += 1;
  return __real__Z16qelOSThread_JoinP11qelOSThread(thread);
}

extern "C" qelOSThread*
__real__Z18qelOSThread_CreatePK16qelOSThread_Data(const qelOSThread_Data* data);
extern "C" qelOSThread*
__wrap__Z18qelOSThread_CreatePK16qelOSThread_Data(const qelOSThread_Data* data) {
  return noThread ? nullptr : __real__Z18qelOSThread_CreatePK16qelOSThread_Data(data);
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

thread_local bool onWorker = false;

// Shows what is protected. Hooks run behind each TestExit, with its result.
class Worker : public qelListenerWorkerThread {
public:
  using Hook = std::function<void(bool exit)>;

  bool TestExit() override {
    const bool exit = qelListenerWorkerThread::TestExit();
    const Hook& hook = onWorker ? m_hook : m_clientHook;
    if (hook)
      hook(exit);
    return exit;
  }
  void OnRun() override {
    onWorker = true;
    qelListenerWorkerThread::OnRun();
    m_runs += 1;
  }
  void HookTheWorker(Hook hook) { m_hook = std::move(hook); }
  void HookClients(Hook hook) { m_clientHook = std::move(hook); }
  int Runs() const { return m_runs; }
  void AwaitSleep() {
    struct OpenQueue : qelMessageQueue {
      using qelMessageQueue::m_condition;
    };
    qelOSCondition* condition = m_jobs.*(&OpenQueue::m_condition);
    AwaitThat([=] { return WaitingOn(condition) == 1; });
  }

  using qelListenerWorkerThread::m_cancelled;
  using qelListenerWorkerThread::m_jobs;
  using qelListenerWorkerThread::m_name;
  using qelListenerWorkerThread::m_processPendingJobs;
  using qelListenerWorkerThread::m_thread;
  using qelListenerWorkerThread::ThreadCancel;
  using qelListenerWorkerThread::ThreadCreate;

private:
  Hook m_hook;
  Hook m_clientHook;
  std::atomic<int> m_runs{0};
};

// Starts without the wait for the thread to run, which goes by steps of 10 milliseconds.
class HastyWorker : public Worker {
public:
  void Go(int /*minState*/) override { Worker::Go(/*minState=*/0); }
};

// Notes the messages, then does as told.
class Hearer : public qelListener {
public:
  using Deed = std::function<void(qelLong message, void* data)>;

  void ListenToMessage(qelLong message, void* data) override {
    EXPECT_TRUE(onWorker);
    {
      std::lock_guard<std::mutex> lock(m_mutex);
      m_messages.push_back(message);
    }
    if (m_deed)
      m_deed(message, data);
  }
  void Do(Deed deed) { m_deed = std::move(deed); }
  std::vector<qelLong> Messages() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_messages;
  }
  void AwaitMessages(size_t count) const {
    AwaitThat([=] {
      std::lock_guard<std::mutex> lock(m_mutex);
      return m_messages.size() >= count;
    });
  }

private:
  mutable std::mutex m_mutex;
  std::vector<qelLong> m_messages;
  Deed m_deed;
};

// Returns when a Stop has done all but wait for the thread's end.
class Stopping {
public:
  Stopping() : m_joins(g_joins) {}
  void Await() const {
    AwaitThat([this] { return g_joins > m_joins; });
  }

private:
  const int m_joins;
};

std::vector<qelLong> From1To(int count) {
  std::vector<qelLong> numbers;
  for (qelLong i = 1; i <= count; ++i)
    numbers.push_back(i);
  return numbers;
}

TEST(QelListenerWorkerThread, HasItsNameAndKindZero) {
  Worker worker;
  EXPECT_STREQ(worker.m_name, "qelListenerWorkerThread");
  EXPECT_EQ(worker.GetThreadKind(), 0);
  EXPECT_EQ(worker.GetThreadState(), 0);
  EXPECT_TRUE(worker.m_processPendingJobs);
}

TEST(QelListenerWorkerThreadStart, ReturnsWithTheThreadRunning) {
  Worker worker;
  EXPECT_EQ(worker.Start(), 0);
  EXPECT_EQ(worker.GetThreadState(), 3);
  worker.Stop();
  EXPECT_EQ(worker.GetThreadState(), 7);
  EXPECT_EQ(worker.Runs(), 1);
}

TEST(QelListenerWorkerThreadStart, GoesThroughTheVirtualGo) {
  class Going : public Worker {
  public:
    void Go(int minState) override {
      EXPECT_EQ(minState, 3);
      went += 1;
      Worker::Go(minState);
    }
    int went = 0;
  };
  Going worker;
  EXPECT_EQ(worker.Start(), 0);
  EXPECT_EQ(worker.went, 1);
  worker.Stop();
}

TEST(QelListenerWorkerThreadStart, GivesOneWithoutAThread) {
  LogCapture log;
  Worker worker;
  noThread = true;
  const int result = worker.Start();
  noThread = false;
  EXPECT_EQ(result, 1);
  EXPECT_EQ(worker.GetThreadState(), 0);
  EXPECT_EQ(log.All(), "Cannot create thread 'qelListenerWorkerThread'\n");
}

TEST(QelListenerWorkerThreadOnRun, GoesOnWhenTheQueueIsCancelled) {
  Worker worker;
  Hearer hearer;
  std::atomic<int> passes{0};
  worker.HookTheWorker([&](bool) { passes += 1; });
  worker.Start();
  for (int pass = 1; pass <= 3; ++pass) {
    worker.AwaitSleep();
    EXPECT_EQ(passes.load(), pass);
    worker.m_jobs.Cancel();
    AwaitThat([&] { return passes > pass; });
  }
  EXPECT_EQ(worker.Runs(), 0);
  EXPECT_EQ(worker.AddJob(&hearer, 1, nullptr), 0);
  worker.Stop();
  EXPECT_THAT(hearer.Messages(), ElementsAre(1));
}

TEST(QelListenerWorkerThreadAddJob, IsDeliveredOnTheWorkersThreadInOrder) {
  Worker worker;
  Hearer hearer;
  int data[3] = {};
  std::atomic<int> right{0};
  hearer.Do([&](qelLong message, void* got) { right += got == &data[message - 1] ? 1 : 0; });
  worker.Start();
  for (qelLong message = 1; message <= 3; ++message)
    EXPECT_EQ(worker.AddJob(&hearer, message, &data[message - 1]), 0);
  hearer.AwaitMessages(3);
  worker.Stop();
  EXPECT_THAT(hearer.Messages(), ElementsAre(1, 2, 3));
  EXPECT_EQ(right.load(), 3);
}

TEST(QelListenerWorkerThreadAddJob, MayComeAheadOfTheStart) {
  Worker worker;
  Hearer hearer;
  EXPECT_EQ(worker.AddJob(&hearer, 1, nullptr), 0);
  worker.Start();
  worker.Stop();
  EXPECT_THAT(hearer.Messages(), ElementsAre(1));
}

TEST(QelListenerWorkerThreadAddJob, MayComeFromADelivery) {
  Worker worker;
  Hearer hearer;
  hearer.Do([&](qelLong message, void*) {
    if (message < 5) {
      EXPECT_EQ(worker.AddJob(&hearer, message + 1, nullptr), 0);
    }
  });
  worker.Start();
  worker.AddJob(&hearer, 1, nullptr);
  hearer.AwaitMessages(5);
  worker.Stop();
  EXPECT_THAT(hearer.Messages(), ElementsAre(1, 2, 3, 4, 5));
}

TEST(QelListenerWorkerThreadAddJob, OfANullListenerCallsNobody) {
  Worker worker;
  Hearer hearer;
  EXPECT_EQ(worker.AddJob(nullptr, 1, nullptr), 0);
  EXPECT_EQ(worker.AddJob(&hearer, 2, nullptr), 0);
  worker.Start();
  worker.Stop();
  EXPECT_THAT(hearer.Messages(), ElementsAre(2));
  EXPECT_TRUE(worker.m_jobs.IsEmpty());
}

TEST(QelListenerWorkerThreadAddJob, PassesByAListenerThatDoesNotListenAtItsTurn) {
  Worker worker;
  Hearer first, second;
  first.Do([&](qelLong message, void*) {
    if (message == 1)
      second.StopListening();
    else
      second.StartListening();
  });
  for (qelLong message = 1; message <= 2; ++message) {
    worker.AddJob(&first, message, nullptr);
    worker.AddJob(&second, message, nullptr);
  }
  worker.Start();
  worker.Stop();
  EXPECT_THAT(first.Messages(), ElementsAre(1, 2));
  EXPECT_THAT(second.Messages(), ElementsAre(2));
}

TEST(QelListenerWorkerThreadAddJob, GivesOneAtOnceAfterACancel) {
  Worker worker;
  Hearer hearer;
  worker.Start();
  worker.ThreadCancel();
  EXPECT_EQ(worker.AddJob(&hearer, 1, nullptr), 1);
  worker.Stop();
  EXPECT_EQ(worker.AddJob(&hearer, 2, nullptr), 1);
  EXPECT_THAT(hearer.Messages(), IsEmpty());
}

TEST(QelListenerWorkerThreadAddJob, AsksTheVirtualTestExit) {
  class Refusing : public Worker {
  public:
    bool TestExit() override { return true; }
  };
  Refusing worker;
  Hearer hearer;
  EXPECT_EQ(worker.AddJob(&hearer, 1, nullptr), 1);
  EXPECT_TRUE(worker.m_jobs.IsEmpty());
}

TEST(QelListenerWorkerThreadAddJob, GivesOneWithoutMemory) {
  Worker worker;
  Hearer hearer;
  noMemory = true;
  const int result = worker.AddJob(&hearer, 1, nullptr);
  noMemory = false;
  EXPECT_EQ(result, 1);
  EXPECT_TRUE(worker.m_jobs.IsEmpty());
}

// The first delivery lasts until the stop has done all that it does.
TEST(QelListenerWorkerThreadStop, DeliversAllThatIsPendingInOrder) {
  Worker worker;
  Hearer hearer;
  const Stopping stopping;
  hearer.Do([&](qelLong, void*) {
    stopping.Await();
    EXPECT_EQ(worker.AddJob(&hearer, 9, nullptr), 1);
  });
  worker.Start();
  for (qelLong message = 1; message <= 4; ++message)
    EXPECT_EQ(worker.AddJob(&hearer, message, nullptr), 0);
  worker.Stop();
  EXPECT_THAT(hearer.Messages(), ElementsAre(1, 2, 3, 4));
  EXPECT_TRUE(worker.m_jobs.IsEmpty());
}

TEST(QelListenerWorkerThreadStop, DropsWhatIsPendingWhereThatWasChosen) {
  Worker worker;
  Hearer hearer;
  const Stopping stopping;
  hearer.Do([&](qelLong, void*) { stopping.Await(); });
  worker.ProcessPendingJobsAtExit(false);
  worker.Start();
  for (qelLong message = 1; message <= 4; ++message)
    EXPECT_EQ(worker.AddJob(&hearer, message, nullptr), 0);
  hearer.AwaitMessages(1);
  worker.Stop();
  EXPECT_THAT(hearer.Messages(), ElementsAre(1));
  EXPECT_TRUE(worker.m_jobs.IsEmpty());
}

TEST(QelListenerWorkerThreadStop, WakesAWorkerThatSleeps) {
  Worker worker;
  worker.Start();
  worker.AwaitSleep();
  worker.Stop();
  EXPECT_EQ(worker.Runs(), 1);
}

TEST(QelListenerWorkerThreadStop, WakesAWorkerThatSleepsWithoutMemory) {
  Worker worker;
  worker.Start();
  worker.AwaitSleep();
  noMemory = true;
  worker.Stop();
  noMemory = false;
  EXPECT_EQ(worker.Runs(), 1);
}

// The worker is in the gap, as below, and the job that would reach it can't be made.
TEST(QelListenerWorkerThreadStop, ReachesAWorkerBetweenTestExitAndGetWithoutMemory) {
  Worker worker;
  std::atomic<bool> held{false};
  const int refusals = g_refusals;
  worker.HookTheWorker([&](bool exit) {
    if (exit)
      return;
    held = true;
    // The first cancel has met nobody.
    AwaitThat([&] { return g_refusals >= refusals + 2; });
  });
  worker.Start();
  AwaitThat([&] { return held.load(); });
  noMemory = true;
  worker.Stop();
  noMemory = false;
  EXPECT_EQ(worker.Runs(), 1);
  EXPECT_EQ(worker.GetThreadState(), 7);
}

// The worker has seen TestExit false and is not yet in Get while the stop does all but wait for its
// end. It is held there on its way to the job number `pass`, with `jobs` queued.
TEST(QelListenerWorkerThreadStop, ReachesAWorkerBetweenTestExitAndGet) {
  for (const bool process : {true, false}) {
    for (int jobs = 0; jobs <= 3; ++jobs) {
      for (int pass = 1; pass <= jobs + 1; ++pass) {
        Worker worker;
        Hearer hearer;
        const Stopping stopping;
        std::atomic<bool> held{false};
        int passes = 0;
        worker.ProcessPendingJobsAtExit(process);
        worker.HookTheWorker([&](bool exit) {
          passes += 1;
          if (passes != pass)
            return;
          EXPECT_FALSE(exit);
          held = true;
          stopping.Await();
        });
        for (qelLong message = 1; message <= jobs; ++message)
          worker.AddJob(&hearer, message, nullptr);
        worker.Start();
        AwaitThat([&] { return held.load(); });
        worker.Stop();
        EXPECT_EQ(worker.Runs(), 1);
        // Behind the gap it takes one job more without a look at the stop.
        EXPECT_EQ(hearer.Messages(), From1To(process ? jobs : std::min(jobs, pass)));
        EXPECT_TRUE(worker.m_jobs.IsEmpty());
      }
    }
  }
}

TEST(QelListenerWorkerThreadStop, OfAWorkerNeverStartedPostsAndWaitsForNothing) {
  for (const bool created : {false, true}) {
    Worker worker;
    Hearer hearer;
    worker.AddJob(&hearer, 1, nullptr);
    if (created) {
      EXPECT_EQ(worker.ThreadCreate(), 0);
    }
    const int joins = g_joins;
    worker.Stop();
    EXPECT_EQ(g_joins, joins);
    EXPECT_EQ(worker.GetThreadState(), 7);
    EXPECT_FALSE(worker.m_cancelled);
    EXPECT_EQ(worker.Runs(), 0);
    qelMessage job;
    EXPECT_EQ(worker.m_jobs.Get(&job), 0);
    EXPECT_TRUE(worker.m_jobs.IsEmpty());
    EXPECT_EQ(worker.AddJob(&hearer, 2, nullptr), 1);
    EXPECT_THAT(hearer.Messages(), IsEmpty());
  }
}

// A subclass may have other consumers of the jobs. With no thread to reach, the cancel is all.
TEST(QelListenerWorkerThreadStop, CancelsTheQueueAlsoOfAWorkerNeverStarted) {
  Worker worker;
  std::thread consumer([&] { EXPECT_EQ(worker.m_jobs.Get(), nullptr); });
  worker.AwaitSleep();
  worker.Stop();
  consumer.join();
}

TEST(QelListenerWorkerThreadStop, MayBeRepeated) {
  LogCapture log;
  Worker worker;
  worker.Start();
  worker.Stop();
  worker.Stop();
  EXPECT_EQ(worker.GetThreadState(), 7);
  EXPECT_TRUE(worker.m_jobs.IsEmpty()); // an ended worker gets no job
  EXPECT_EQ(log.All(), "");
}

// Its owner need not remember that there was no start, or that it failed.
TEST(QelListenerWorkerThreadStop, MayBeRepeatedWithoutAThread) {
  for (const bool failed : {false, true}) {
    LogCapture log;
    Worker worker;
    if (failed) {
      noThread = true;
      EXPECT_EQ(worker.Start(), 1);
      noThread = false;
      log.Clear();
    }
    worker.Stop();
    EXPECT_EQ(log.All(), "");
    worker.Stop();
    EXPECT_EQ(worker.GetThreadState(), 7);
    EXPECT_EQ(log.All(), "Error waiting termination of thread 'qelListenerWorkerThread' "
                         "(Error = 1)\n");
  }
}

TEST(QelListenerWorkerThreadStop, GoesThroughTheVirtualThreadCancel) {
  class Cancelled : public Worker {
  public:
    void ThreadCancel() override {
      cancels += 1;
      Worker::ThreadCancel();
    }
    int cancels = 0;
  };
  Cancelled worker;
  worker.Start();
  worker.Stop();
  EXPECT_EQ(worker.cancels, 1);
}

// A client that has passed TestExit posts when the thread is gone and the queue was flushed with jobs
// in it. The job is freed with the worker, as the leak check of the sanitizers sees.
TEST(QelListenerWorkerThreadAddJob, IsAcceptedAndDroppedWhenItComesTooLate) {
  Worker worker;
  Hearer hearer;
  worker.ProcessPendingJobsAtExit(false);
  std::atomic<bool> passed{false};
  std::atomic<bool> stopped{false};
  const Stopping stopping;
  hearer.Do([&](qelLong, void*) { stopping.Await(); });
  worker.Start();
  for (qelLong message = 1; message <= 3; ++message)
    worker.AddJob(&hearer, message, nullptr);
  worker.HookClients([&](bool exit) {
    EXPECT_FALSE(exit);
    passed = true;
    AwaitThat([&] { return stopped.load(); });
  });
  std::thread client([&] { EXPECT_EQ(worker.AddJob(&hearer, 4, nullptr), 0); });
  AwaitThat([&] { return passed.load(); });
  hearer.AwaitMessages(1);
  worker.Stop();
  EXPECT_TRUE(worker.m_jobs.IsEmpty());
  stopped = true;
  client.join();
  EXPECT_FALSE(worker.m_jobs.IsEmpty());
  EXPECT_THAT(hearer.Messages(), ElementsAre(1));
}

// Only one of the two is destroyed: the copies lie in raw storage and no destructor of theirs runs.
TEST(QelListenerWorkerThreadCopy, SharesThreadAndJobs) {
  class Plain : public qelListenerWorkerThread {
  public:
    using qelListenerWorkerThread::m_jobs;
    using qelListenerWorkerThread::m_name;
    using qelListenerWorkerThread::m_processPendingJobs;
    using qelListenerWorkerThread::m_thread;
  };
  Plain source;
  source.AddJob(nullptr, 5, nullptr);
  source.ProcessPendingJobsAtExit(false);
  alignas(Plain) unsigned char storage[2][sizeof(Plain)];
  Plain* copy = new (storage[0]) Plain(source);
  EXPECT_EQ(copy->m_name, source.m_name);
  EXPECT_EQ(copy->m_thread, source.m_thread);
  EXPECT_FALSE(copy->m_processPendingJobs);
  EXPECT_FALSE(copy->m_jobs.IsEmpty());
  Plain original;
  Plain* target = new (storage[1]) Plain(original);
  *target = source;
  EXPECT_EQ(target->m_name, source.m_name);
  EXPECT_FALSE(target->m_processPendingJobs);
  EXPECT_FALSE(target->m_jobs.IsEmpty());
}

TEST(QelListenerWorkerThreadStress, StartsAndStopsAsFastAsItGoes) {
  for (int round = 0; round < StressRounds(); ++round) {
    Worker worker;
    Hearer hearer;
    const int jobs = round % 4;
    ASSERT_EQ(worker.Start(), 0);
    for (qelLong message = 1; message <= jobs; ++message)
      EXPECT_EQ(worker.AddJob(&hearer, message, nullptr), 0);
    worker.Stop();
    EXPECT_EQ(hearer.Messages(), From1To(jobs));
    EXPECT_EQ(worker.Runs(), 1);
  }
}

// The stop finds the worker anywhere between its release and its sleep.
TEST(QelListenerWorkerThreadStress, IsStoppedWhereverItStands) {
  for (int round = 0; round < 10 * StressRounds(); ++round) {
    HastyWorker worker;
    Hearer hearer;
    ASSERT_EQ(worker.Start(), 0);
    const int jobs = round % 3;
    for (qelLong message = 1; message <= jobs; ++message)
      EXPECT_EQ(worker.AddJob(&hearer, message, nullptr), 0);
    worker.Stop();
    EXPECT_EQ(hearer.Messages(), From1To(jobs));
    EXPECT_EQ(worker.Runs(), 1);
    EXPECT_EQ(worker.GetThreadState(), 7);
  }
}

// Clients add jobs while the worker is stopped. What was accepted is delivered, in each client's order,
// but perhaps for its very last job, which may have passed TestExit ahead of the stop.
TEST(QelListenerWorkerThreadStress, DeliversWhatClientsAddUntilItStops) {
  const size_t clients = 3;
  for (int round = 0; round < StressRounds(); ++round) {
    HastyWorker worker;
    std::vector<Hearer> hearers(clients);
    std::vector<qelLong> accepted(clients);
    ASSERT_EQ(worker.Start(), 0);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < clients; ++i)
      threads.emplace_back([&, i] {
        while (accepted[i] < 500 && worker.AddJob(&hearers[i], accepted[i] + 1, nullptr) == 0)
          accepted[i] += 1;
      });
    hearers[static_cast<size_t>(round) % clients].AwaitMessages(static_cast<size_t>(round % 5));
    worker.Stop();
    for (std::thread& thread : threads)
      thread.join();
    for (size_t i = 0; i < clients; ++i) {
      const std::vector<qelLong> messages = hearers[i].Messages();
      EXPECT_EQ(messages, From1To(static_cast<int>(messages.size())));
      EXPECT_GE(accepted[i], static_cast<qelLong>(messages.size()));
      EXPECT_LE(accepted[i], static_cast<qelLong>(messages.size()) + 1);
    }
  }
}

// Counts in equal counts out when all is added ahead of the stop.
TEST(QelListenerWorkerThreadStress, DeliversAllThatManyClientsAddedAheadOfTheStop) {
  const int each = 20;
  for (int round = 0; round < StressRounds(); ++round) {
    HastyWorker worker;
    std::vector<Hearer> hearers(3);
    ASSERT_EQ(worker.Start(), 0);
    std::vector<std::thread> threads;
    for (Hearer& hearer : hearers)
      threads.emplace_back([&] {
        for (qelLong message = 1; message <= each; ++message)
          EXPECT_EQ(worker.AddJob(&hearer, message, nullptr), 0);
      });
    for (std::thread& thread : threads)
      thread.join();
    worker.Stop();
    for (const Hearer& hearer : hearers)
      EXPECT_EQ(hearer.Messages(), From1To(each));
  }
}

} // namespace

#include <qel/threads/StoppableThread.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <functional>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/multiplatform/qelThread.h>
#include <tests/support/Gate.h>
#include <tests/support/LogCapture.h>
#include <tests/support/Stress.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// What stands in for the calls that the class makes of the plain layer; where there is nothing, they
// go through. Only one test at a time has some, as long as no thread of another one is left.
struct Calls {
  std::function<void(qelULong)> sleep;
  std::function<int(qelOSThread*)> start;
  std::function<int(qelOSThread*)> join;
  std::function<void(const char*)> setName;
  std::function<int(qelOSThread*, unsigned short)> setPriority;
};

Calls calls;

// Takes them away in the end.
struct CallsOfThisTest {
  ~CallsOfThisTest() { calls = Calls(); }
};

} // namespace

// The program is linked so that these calls come through here.
extern "C" {
void REAL_SLEEP(qelULong ms);
void WRAPPED_SLEEP(qelULong ms) {
  calls.sleep ? calls.sleep(ms) : REAL_SLEEP(ms);
}

int __real__Z17qelOSThread_StartP11qelOSThread(qelOSThread* thread);
int __wrap__Z17qelOSThread_StartP11qelOSThread(qelOSThread* thread) {
  return calls.start ? calls.start(thread) : __real__Z17qelOSThread_StartP11qelOSThread(thread);
}

int __real__Z16qelOSThread_JoinP11qelOSThread(qelOSThread* thread);
int __wrap__Z16qelOSThread_JoinP11qelOSThread(qelOSThread* thread) {
  return calls.join ? calls.join(thread) : __real__Z16qelOSThread_JoinP11qelOSThread(thread);
}

void __real__Z19qelOSThread_SetNamePKc(const char* name);
void __wrap__Z19qelOSThread_SetNamePKc(const char* name) {
  calls.setName ? calls.setName(name) : __real__Z19qelOSThread_SetNamePKc(name);
}

int __real__Z23qelOSThread_SetPriorityP11qelOSThreadt(qelOSThread* thread, unsigned short priority);
int __wrap__Z23qelOSThread_SetPriorityP11qelOSThreadt(qelOSThread* thread,
                                                      unsigned short priority) {
  return calls.setPriority ? calls.setPriority(thread, priority)
                           : __real__Z23qelOSThread_SetPriorityP11qelOSThreadt(thread, priority);
}
}

namespace {

// Runs a function of the test and shows what a subclass sees.
class OpenThread : public qelStoppableThread {
public:
  explicit OpenThread(int kind = 0, const char* name = "worker") : qelStoppableThread(name, kind) {}
  ~OpenThread() override {
    if (m_onDelete)
      m_onDelete(GetThreadState());
  }

  using qelStoppableThread::InThreadContext;
  using qelStoppableThread::m_cancelled;
  using qelStoppableThread::m_name;
  using qelStoppableThread::m_state;
  using qelStoppableThread::m_thread;
  using qelStoppableThread::TestExit;
  using qelStoppableThread::ThreadCancel;
  using qelStoppableThread::ThreadCreate;
  using qelStoppableThread::ThreadSetPriority;
  using qelStoppableThread::ThreadWaitTerminate;

  std::function<void(OpenThread*)> m_body;      // stands for OnRun
  std::function<void(int)> m_onDelete;          // is told the last state
  std::function<void(qelOSThread_Data*)> m_set; // changes the start parameters
  qelOSThread_Data m_data = {};                 // as they were set, ahead of that

protected:
  void OnRun() override {
    if (m_body)
      m_body(this);
  }
  void ThreadSetData(qelOSThread_Data* data) override {
    memset(static_cast<void*>(data), 0xEE, sizeof(*data));
    qelStoppableThread::ThreadSetData(data);
    m_data = *data;
    if (m_set)
      m_set(data);
  }
};

// Polls TestExit until it is true.
void RunUntilAsked(OpenThread* self) {
  AwaitThat([=] { return self->TestExit(); });
}

// Ends the thread and waits until it is gone.
void Finish(OpenThread* thread) {
  thread->ThreadCancel();
  thread->ThreadWaitTerminate();
}

// A stack that no system gives.
void AskTooMuch(qelOSThread_Data* data) {
  data->stackSize = UINT64_C(1) << 62;
}

TEST(QelStoppableThread, StartsWithNothing) {
  OpenThread thread(/*kind=*/-3, "name");
  EXPECT_EQ(thread.GetThreadState(), 0);
  EXPECT_EQ(thread.GetThreadKind(), -3);
  EXPECT_EQ(thread.m_thread, nullptr);
  EXPECT_FALSE(thread.m_cancelled);
  EXPECT_STREQ(thread.m_name, "name");
}

TEST(QelStoppableThread, HasAnEmptyNameAndKindZeroByDefault) {
  class Plain : public qelStoppableThread {
  public:
    using qelStoppableThread::m_name;
  };
  Plain thread;
  EXPECT_STREQ(thread.m_name, "");
  EXPECT_EQ(thread.GetThreadKind(), 0);
  EXPECT_EQ(thread.GetThreadState(), 0);
}

TEST(QelStoppableThread, CopiesItsName) {
  std::string name = "before";
  OpenThread thread(0, name.c_str());
  name = "after!";
  EXPECT_STREQ(thread.m_name, "before");
}

TEST(QelStoppableThread, TakesANullNameForAnEmptyOne) {
  OpenThread thread(0, nullptr);
  EXPECT_STREQ(thread.m_name, "");
}

TEST(QelStoppableThread, GoesUpThroughItsStates) {
  OpenThread thread;
  std::atomic<int> inBody{0};
  thread.m_body = [&](OpenThread* self) {
    inBody = self->GetThreadState();
    RunUntilAsked(self);
  };
  EXPECT_EQ(thread.ThreadCreate(), 0);
  EXPECT_EQ(thread.GetThreadState(), 1);
  thread.Go(3);
  EXPECT_GE(thread.GetThreadState(), 3);
  AwaitThat([&] { return inBody != 0; });
  EXPECT_EQ(inBody.load(), 3);
  thread.ThreadCancel();
  EXPECT_GE(thread.GetThreadState(), 5);
  AwaitThat([&] { return thread.GetThreadState() == 6; });
  thread.ThreadWaitTerminate();
  EXPECT_EQ(thread.GetThreadState(), 7);
}

TEST(QelStoppableThread, IsDeletedWithoutAJoin) {
  CallsOfThisTest cleanup;
  int joins = 0;
  calls.join = [&](qelOSThread*) { return joins += 1; };
  {
    OpenThread thread;
    EXPECT_EQ(thread.ThreadCreate(), 0);
    thread.Go(6);
  }
  EXPECT_EQ(joins, 0);
}

TEST(QelStoppableThread, CanBeDeletedWithoutAThread) {
  OpenThread created;
  created.m_body = [](OpenThread*) { ADD_FAILURE() << "ran without Go"; };
  EXPECT_EQ(created.ThreadCreate(), 0);
  OpenThread untouched;
}

TEST(QelStoppableThread, TellsNobodyWhenADetachedOneIsDeletedAheadOfGo) {
  int deletions = 0;
  OpenThread* thread = new OpenThread(/*kind=*/1);
  thread->m_onDelete = [&](int) { deletions += 1; };
  EXPECT_EQ(thread->ThreadCreate(), 0);
  delete thread;
  EXPECT_EQ(deletions, 1);
}

TEST(QelStoppableThreadCopy, TakesAllFieldsAsTheyStand) {
  OpenThread source(/*kind=*/0, "shared");
  EXPECT_EQ(source.ThreadCreate(), 0);
  source.m_state = 4;
  source.m_cancelled = true;
  // Only one of the two is destroyed: the copies lie in raw storage and no destructor of theirs runs.
  class Shown : public qelStoppableThread {
  public:
    explicit Shown(const qelStoppableThread& other) : qelStoppableThread(other) {}
    using qelStoppableThread::m_cancelled;
    using qelStoppableThread::m_name;
    using qelStoppableThread::m_thread;
  };
  alignas(Shown) unsigned char storage[2][sizeof(Shown)];
  Shown* copies[2];
  copies[0] = new (storage[0]) Shown(source);
  OpenThread empty(/*kind=*/-1, "");
  copies[1] = new (storage[1]) Shown(empty);
  char* const emptyName = copies[1]->m_name;
  static_cast<qelStoppableThread&>(*copies[1]) = source;
  for (Shown* copy : copies) {
    EXPECT_EQ(copy->GetThreadKind(), 0);
    EXPECT_EQ(copy->GetThreadState(), 4);
    EXPECT_EQ(copy->m_name, source.m_name);
    EXPECT_EQ(copy->m_thread, source.m_thread);
    EXPECT_TRUE(copy->m_cancelled);
  }
  EXPECT_EQ(emptyName, empty.m_name);
}

TEST(QelStoppableThreadThreadCreate, LogsAndLeavesTheStateWhenItFails) {
  OpenThread thread(/*kind=*/0, "too big");
  thread.m_set = AskTooMuch;
  LogCapture log;
  EXPECT_EQ(thread.ThreadCreate(), -1);
  EXPECT_EQ(thread.GetThreadState(), 0);
  EXPECT_EQ(thread.m_thread, nullptr);
  const std::vector<CapturedLine> lines = log.Lines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].module, 7u);
  EXPECT_EQ(lines[1].module, 44u);
  EXPECT_EQ(lines[1].level, 1u);
  EXPECT_EQ(lines[1].text, "Cannot create thread 'too big'\n");
}

TEST(QelStoppableThreadThreadSetData, FollowsTheKind) {
  const struct {
    int kind;
    bool callback;
    uint32_t detached;
  } rows[] = {{0, false, 0}, {-1, false, 1}, {-7, false, 1}, {1, true, 1}, {2, true, 1}};
  for (const auto& row : rows) {
    OpenThread thread(row.kind);
    EXPECT_EQ(thread.ThreadCreate(), 0);
    EXPECT_NE(thread.m_data.entry, nullptr);
    EXPECT_EQ(thread.m_data.exitCallback != nullptr, row.callback) << row.kind;
    EXPECT_EQ(thread.m_data.arg, &thread);
    EXPECT_EQ(thread.m_data.stackSize, 0u);
    EXPECT_EQ(thread.m_data.detached, row.detached) << row.kind;
    EXPECT_EQ(thread.m_data.reserved, 0u);
  }
}

TEST(QelStoppableThreadThreadSetData, LetsASubclassChooseAStackSize) {
  OpenThread thread;
  thread.m_set = [](qelOSThread_Data* data) { data->stackSize = 0x400000; };
  std::atomic<int> sum{0};
  thread.m_body = [&](OpenThread*) {
    volatile char room[0x300000];
    for (size_t i = 0; i < sizeof(room); i += 0x1000)
      room[i] = 1;
    for (size_t i = 0; i < sizeof(room); i += 0x1000)
      sum += room[i];
  };
  EXPECT_EQ(thread.ThreadCreate(), 0);
  thread.Go(0);
  thread.ThreadWaitTerminate();
  EXPECT_EQ(sum.load(), 0x300);
}

TEST(QelStoppableThreadGo, RaisesTheStateAheadOfTheRelease) {
  CallsOfThisTest cleanup;
  OpenThread thread;
  qelOSThread* released = nullptr;
  int state = -1;
  calls.start = [&](qelOSThread* started) {
    released = started;
    state = thread.GetThreadState();
    return __real__Z17qelOSThread_StartP11qelOSThread(started);
  };
  EXPECT_EQ(thread.ThreadCreate(), 0);
  thread.Go(0);
  thread.ThreadWaitTerminate();
  EXPECT_EQ(released, thread.m_thread);
  EXPECT_EQ(state, 2);
}

TEST(QelStoppableThreadGo, ReturnsAtOnceWithAStateUpToTwo) {
  CallsOfThisTest cleanup;
  calls.sleep = [](qelULong) { ADD_FAILURE() << "slept"; };
  for (int minState : {-1, 0, 1, 2}) {
    OpenThread thread;
    Gate gate(2);
    thread.m_body = [&](OpenThread*) { gate.Pass(); };
    EXPECT_EQ(thread.ThreadCreate(), 0);
    thread.Go(minState);
    EXPECT_LE(thread.GetThreadState(), 3);
    EXPECT_GE(thread.GetThreadState(), 2);
    gate.Pass();
    thread.ThreadWaitTerminate();
  }
}

TEST(QelStoppableThreadGo, WaitsUntilTheStateIsReached) {
  OpenThread thread;
  thread.m_body = [](OpenThread* self) {
    self->m_state = 4;
    RunUntilAsked(self);
  };
  EXPECT_EQ(thread.ThreadCreate(), 0);
  thread.Go(4);
  EXPECT_EQ(thread.GetThreadState(), 4);
  Finish(&thread);
}

TEST(QelStoppableThreadGo, LooksEveryTenMilliseconds) {
  CallsOfThisTest cleanup;
  OpenThread thread;
  std::atomic<bool> inside{false};
  thread.m_body = [&](OpenThread* self) {
    inside = true;
    RunUntilAsked(self);
  };
  std::vector<qelULong> sleeps;
  calls.sleep = [&](qelULong ms) {
    sleeps.push_back(ms);
    if (sleeps.size() < 4)
      return;
    AwaitThat([&] { return inside.load(); }); // its own 3 is written
    thread.m_state = 4;
  };
  EXPECT_EQ(thread.ThreadCreate(), 0);
  thread.Go(4);
  EXPECT_THAT(sleeps, ElementsAre(10u, 10u, 10u, 10u));
  Finish(&thread);
}

TEST(QelStoppableThreadGo, WaitsForTheEndWithSix) {
  OpenThread thread;
  std::atomic<bool> ran{false};
  thread.m_body = [&](OpenThread*) { ran = true; };
  EXPECT_EQ(thread.ThreadCreate(), 0);
  thread.Go(6);
  EXPECT_TRUE(ran);
  EXPECT_EQ(thread.GetThreadState(), 6);
  thread.ThreadWaitTerminate();
}

TEST(QelStoppableThreadGo, IgnoresAFailedRelease) {
  OpenThread thread;
  thread.m_body = RunUntilAsked;
  EXPECT_EQ(thread.ThreadCreate(), 0);
  thread.Go(3);
  LogCapture log;
  thread.Go(0);
  EXPECT_THAT(log.Texts(), ElementsAre("qelOSThread: cannot start thread\n"));
  EXPECT_EQ(thread.GetThreadState(), 2);
  Finish(&thread);
}

TEST(QelStoppableThreadGo, LooksOnAfterAFailedRelease) {
  CallsOfThisTest cleanup;
  OpenThread thread;
  thread.m_body = [](OpenThread*) { ADD_FAILURE() << "ran without a release"; };
  int sleeps = 0;
  calls.start = [](qelOSThread*) { return 1; };
  calls.sleep = [&](qelULong) {
    if (++sleeps == 100)
      thread.m_state = 3;
  };
  EXPECT_EQ(thread.ThreadCreate(), 0);
  thread.Go(3);
  EXPECT_EQ(sleeps, 100);
}

TEST(QelStoppableThreadThreadCancel, DoesNothingAheadOfGo) {
  OpenThread thread;
  thread.ThreadCancel();
  EXPECT_EQ(thread.GetThreadState(), 0);
  EXPECT_FALSE(thread.m_cancelled);
  EXPECT_EQ(thread.ThreadCreate(), 0);
  thread.ThreadCancel();
  EXPECT_EQ(thread.GetThreadState(), 1);
  EXPECT_FALSE(thread.m_cancelled);
  EXPECT_FALSE(thread.TestExit());
}

TEST(QelStoppableThreadThreadCancel, RaisesTheStateToFiveOnly) {
  for (int state = 2; state <= 7; ++state) {
    OpenThread thread;
    thread.m_state = state;
    thread.ThreadCancel();
    EXPECT_EQ(thread.GetThreadState(), state < 5 ? 5 : state);
    EXPECT_TRUE(thread.m_cancelled);
  }
}

TEST(QelStoppableThreadTestExit, FollowsTheStateOfAThreadNotCancelled) {
  for (int state = 0; state <= 7; ++state) {
    OpenThread thread;
    thread.m_state = state;
    EXPECT_EQ(thread.TestExit(), state >= 5) << state;
    EXPECT_EQ(thread.GetThreadState(), state);
  }
}

TEST(QelStoppableThreadTestExit, StaysTrueWhenASubclassLowersTheState) {
  for (int state = 0; state <= 7; ++state) {
    OpenThread thread;
    thread.m_state = 3;
    thread.ThreadCancel();
    thread.m_state = state;
    EXPECT_TRUE(thread.TestExit());
    EXPECT_EQ(thread.GetThreadState(), state < 5 ? 5 : state);
    EXPECT_TRUE(thread.m_cancelled);
  }
}

TEST(QelStoppableThreadEntry, PublishesTheNameAheadOfThree) {
  CallsOfThisTest cleanup;
  OpenThread thread(/*kind=*/0, "published");
  std::string name;
  int state = -1;
  calls.setName = [&](const char* text) {
    name = text;
    state = thread.GetThreadState();
  };
  EXPECT_EQ(thread.ThreadCreate(), 0);
  thread.Go(0);
  thread.ThreadWaitTerminate();
  EXPECT_EQ(name, "published");
  EXPECT_EQ(state, 2);
}

// The thread is held ahead of its own first write, so that the cancellation comes in between.
TEST(QelStoppableThreadEntry, WritesThreeAlsoAfterAnEarlyCancel) {
  static Gate* gate = nullptr;
  Gate released(2);
  gate = &released;
  static qelOSThread_Function entry = nullptr;
  OpenThread thread;
  thread.m_set = [](qelOSThread_Data* data) {
    entry = data->entry;
    data->entry = [](void* arg) {
      gate->Pass();
      entry(arg);
    };
  };
  int first = 0;
  bool exit = false;
  thread.m_body = [&](OpenThread* self) {
    first = self->GetThreadState();
    exit = self->TestExit();
  };
  EXPECT_EQ(thread.ThreadCreate(), 0);
  thread.Go(0);
  thread.ThreadCancel();
  EXPECT_EQ(thread.GetThreadState(), 5);
  released.Pass();
  thread.ThreadWaitTerminate();
  EXPECT_EQ(first, 3);
  EXPECT_TRUE(exit);
}

TEST(QelStoppableThreadEntry, EndsInSevenForKindOneAlone) {
  for (int kind : {1, 2, 3}) {
    std::atomic<int> last{0};
    OpenThread* thread = new OpenThread(kind);
    thread->m_onDelete = [&](int state) { last = state; };
    EXPECT_EQ(thread->ThreadCreate(), 0);
    thread->Go(0);
    AwaitThat([&] { return last != 0; });
    EXPECT_EQ(last.load(), kind == 1 ? 7 : 6);
  }
  OpenThread kept(/*kind=*/-1);
  EXPECT_EQ(kept.ThreadCreate(), 0);
  kept.Go(6);
  EXPECT_EQ(kept.GetThreadState(), 6);
}

TEST(QelStoppableThreadOnRun, IsEmptyByDefault) {
  class Plain : public qelStoppableThread {
  public:
    using qelStoppableThread::ThreadCreate;
    using qelStoppableThread::ThreadWaitTerminate;
  };
  Plain thread;
  EXPECT_EQ(thread.ThreadCreate(), 0);
  thread.Go(6);
  EXPECT_EQ(thread.GetThreadState(), 6);
  thread.ThreadWaitTerminate();
}

TEST(QelStoppableThreadThreadWaitTerminate, DoesNotWaitForAThreadNeverReleased) {
  OpenThread created;
  created.m_body = [](OpenThread*) { ADD_FAILURE() << "ran without Go"; };
  LogCapture log;
  EXPECT_EQ(created.ThreadCreate(), 0);
  created.ThreadWaitTerminate();
  EXPECT_EQ(created.GetThreadState(), 7);
  EXPECT_EQ(created.m_thread->state.load(), 1);
  OpenThread none;
  none.ThreadWaitTerminate();
  EXPECT_EQ(none.GetThreadState(), 7);
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST(QelStoppableThreadThreadWaitTerminate, ReturnsAtOnceTheSecondTime) {
  OpenThread thread;
  LogCapture log;
  EXPECT_EQ(thread.ThreadCreate(), 0);
  thread.Go(0);
  thread.ThreadWaitTerminate();
  EXPECT_EQ(thread.m_thread->state.load(), 3);
  thread.ThreadWaitTerminate();
  EXPECT_EQ(thread.GetThreadState(), 7);
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST(QelStoppableThreadThreadWaitTerminate, MayBeRepeatedWithoutAThread) {
  OpenThread thread(/*kind=*/0, "none");
  LogCapture log;
  thread.ThreadWaitTerminate();
  EXPECT_THAT(log.Texts(), IsEmpty());
  thread.ThreadWaitTerminate();
  EXPECT_EQ(thread.GetThreadState(), 7);
  EXPECT_THAT(log.Texts(), ElementsAre("Error waiting termination of thread 'none' (Error = 1)\n"));
}

// It doesn't wait for a detached thread, whose own last write then stands.
TEST(QelStoppableThreadThreadWaitTerminate, LogsThatADetachedThreadIsNotWaitedFor) {
  OpenThread thread(/*kind=*/-1, "free");
  Gate gate(2);
  thread.m_body = [&](OpenThread*) { gate.Pass(); };
  EXPECT_EQ(thread.ThreadCreate(), 0);
  thread.Go(3);
  LogCapture log;
  thread.ThreadWaitTerminate();
  EXPECT_EQ(thread.GetThreadState(), 7);
  const std::vector<CapturedLine> lines = log.Lines();
  gate.Pass();
  AwaitThat([&] { return thread.GetThreadState() == 6; });
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].text, "Error waiting termination of thread 'free' (Error = 1)\n");
  EXPECT_EQ(lines[0].module, 44u);
  EXPECT_EQ(lines[0].level, 1u);
}

TEST(QelStoppableThreadInThreadContext, IsAlwaysFalse) {
  OpenThread thread;
  std::atomic<bool> inside{true};
  thread.m_body = [&](OpenThread* self) { inside = self->InThreadContext(); };
  EXPECT_FALSE(thread.InThreadContext());
  EXPECT_EQ(thread.ThreadCreate(), 0);
  thread.Go(0);
  thread.ThreadWaitTerminate();
  EXPECT_FALSE(inside);
}

TEST(QelStoppableThreadThreadSetPriority, ReachesTheThreadAheadOfGo) {
  CallsOfThisTest cleanup;
  OpenThread thread;
  EXPECT_EQ(thread.ThreadCreate(), 0);
  std::vector<int> priorities;
  calls.setPriority = [&](qelOSThread* asked, unsigned short priority) {
    EXPECT_EQ(asked, thread.m_thread);
    priorities.push_back(priority);
    return __real__Z23qelOSThread_SetPriorityP11qelOSThreadt(asked, priority);
  };
  LogCapture log;
  thread.ThreadSetPriority(10);
  EXPECT_THAT(log.Texts(), IsEmpty());
  // What the plain layer says of it goes no further.
  calls.setPriority = [&](qelOSThread*, unsigned short priority) {
    priorities.push_back(priority);
    return 1;
  };
  thread.ThreadSetPriority(65535);
  EXPECT_THAT(log.Texts(), IsEmpty());
  EXPECT_THAT(priorities, ElementsAre(10, 65535));
}

TEST(QelStoppableThreadThreadSleep, PassesItsTime) {
  const auto start = std::chrono::steady_clock::now();
  qelStoppableThread::ThreadSleep(0);
  qelStoppableThread::ThreadSleep(20);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(15));
}

// Each is asked to stop at once, wherever it is on its way.
TEST(QelStoppableThreadStress, StartsAndStopsAsFastAsItCan) {
  for (int round = 0; round < StressRounds(); ++round) {
    OpenThread thread;
    std::atomic<int> ran{0};
    thread.m_body = [&](OpenThread* self) {
      RunUntilAsked(self);
      ran += 1;
    };
    EXPECT_EQ(thread.ThreadCreate(), 0);
    thread.Go(round % 3);
    thread.ThreadCancel();
    thread.ThreadWaitTerminate();
    EXPECT_EQ(ran.load(), 1);
    EXPECT_EQ(thread.GetThreadState(), 7);
  }
}

// The owner's step to 5 meets the thread's own last step, which it must not undo.
TEST(QelStoppableThreadStress, KeepsTheLastStateWhenACancelMeetsIt) {
  for (int round = 0; round < StressRounds(); ++round) {
    OpenThread thread(/*kind=*/round % 2 == 0 ? 0 : -1);
    Gate gate(2);
    thread.m_body = [&](OpenThread*) { gate.Pass(); };
    EXPECT_EQ(thread.ThreadCreate(), 0);
    thread.Go(0);
    gate.Pass();
    thread.ThreadCancel();
    AwaitThat([&] { return thread.GetThreadState() == 6; });
    if (thread.GetThreadKind() == 0)
      thread.ThreadWaitTerminate();
  }
}

TEST(QelStoppableThreadStress, DeletesEachObjectOnce) {
  std::atomic<int> deleted{0};
  const int rounds = StressRounds();
  for (int round = 0; round < rounds; ++round) {
    OpenThread* thread = new OpenThread(/*kind=*/1 + round % 2);
    thread->m_onDelete = [&](int state) { deleted += state >= 6 ? 1 : 0; };
    EXPECT_EQ(thread->ThreadCreate(), 0);
    thread->Go(round % 3);
  }
  AwaitThat([&] { return deleted == rounds; });
}

// Several owners at once, each with threads of its own.
TEST(QelStoppableThreadStress, ServesManyOwners) {
  std::atomic<int> ran{0};
  std::vector<std::thread> owners;
  const int rounds = StressRounds();
  for (int owner = 0; owner < 4; ++owner)
    owners.emplace_back([&] {
      for (int round = 0; round < rounds; round += 4) {
        OpenThread first;
        OpenThread second;
        for (OpenThread* thread : {&first, &second}) {
          thread->m_body = [&](OpenThread* self) {
            RunUntilAsked(self);
            ran += 1;
          };
          EXPECT_EQ(thread->ThreadCreate(), 0);
          thread->Go(0);
        }
        Finish(&second);
        Finish(&first);
      }
    });
  for (std::thread& owner : owners)
    owner.join();
  EXPECT_EQ(ran.load(), 4 * 2 * ((rounds + 3) / 4));
}

} // namespace

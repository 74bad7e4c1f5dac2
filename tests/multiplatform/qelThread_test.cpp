#include <qel/multiplatform/qelThread.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/support/Gate.h>
#include <tests/support/LogCapture.h>
#include <tests/support/Stress.h>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

// Whether the mallocs of this thread fail.
static thread_local bool noMemory = false;

// The program is linked so that every malloc of the library comes through here.
extern "C" void* __real_malloc(size_t size);
extern "C" void* __wrap_malloc(size_t size) {
  return noMemory ? nullptr : __real_malloc(size);
}

namespace {

// What a thread shall do, and what became of it.
struct Scene {
  std::function<void()> body;
  std::atomic<int> ran{0};   // how often the body ran
  std::atomic<int> ended{0}; // how often the callback came

  static void Run(void* arg) {
    Scene* scene = static_cast<Scene*>(arg);
    if (scene->body)
      scene->body();
    scene->ran += 1;
  }
  static void End(void* arg) { static_cast<Scene*>(arg)->ended += 1; }

  qelOSThread* Create(uint64_t stackSize = 0, uint32_t detached = 0) {
    qelOSThread_Data data = {&Scene::Run, &Scene::End, this, stackSize, detached, 0};
    return qelOSThread_Create(&data);
  }
  qelOSThread* CreateDetached() { return Create(/*stackSize=*/0, /*detached=*/1); }
};

// Nobody but the caller holds the record: its thread has let go.
void AwaitLetGo(qelOSThread* thread) {
  AwaitThat([=] { return thread->holders == 1; });
}

TEST(QelOSThreadCreate, KeepsTheStartParameters) {
  Scene scene;
  qelOSThread* joinable = scene.Create();
  qelOSThread* detached = scene.CreateDetached();
  for (qelOSThread* thread : {joinable, detached}) {
    EXPECT_NE(thread->handle, nullptr);
    EXPECT_EQ(thread->entry, &Scene::Run);
    EXPECT_EQ(thread->arg, &scene);
    EXPECT_EQ(thread->state.load(), 1);
  }
  EXPECT_EQ(joinable->detached.load(), 0);
  EXPECT_EQ(detached->detached.load(), 1);
  // Only a detached thread has a use for the callback.
  EXPECT_EQ(joinable->exitCallback.load(), nullptr);
  EXPECT_EQ(detached->exitCallback.load(), &Scene::End);
  qelOSThread_Delete(joinable);
  qelOSThread_Delete(detached);
}

TEST(QelOSThreadCreate, RunsNothingAheadOfTheStart) {
  Scene scene;
  for (int i = 0; i < 20; ++i) {
    qelOSThread* thread = scene.Create();
    qelOSThread_Sleep(1);
    EXPECT_EQ(scene.ran.load(), i);
    EXPECT_EQ(qelOSThread_Start(thread), 0);
    EXPECT_EQ(qelOSThread_Join(thread), 0);
    EXPECT_EQ(scene.ran.load(), i + 1);
    qelOSThread_Delete(thread);
  }
}

TEST(QelOSThreadCreate, LogsThatThereIsNoMemory) {
  Scene scene;
  LogCapture log;
  noMemory = true;
  qelOSThread* thread = scene.Create();
  noMemory = false;
  EXPECT_EQ(thread, nullptr);
  const std::vector<CapturedLine> lines = log.Lines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].text, "qelOSThread: Cannot allocate memory for a thread\n");
  EXPECT_EQ(lines[0].module, 7u);
  EXPECT_EQ(lines[0].level, 1u);
}

TEST(QelOSThreadCreate, LogsAStackThatNoSystemGives) {
  Scene scene;
  for (uint64_t size : {UINT64_C(1) << 62, ~UINT64_C(0), ~UINT64_C(0xFFF)}) {
    LogCapture log;
    EXPECT_EQ(scene.Create(size), nullptr) << size;
    const std::vector<CapturedLine> lines = log.Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0].text, StartsWith("qelOSThread: Cannot create thread (error = "));
    EXPECT_EQ(lines[0].module, 7u);
    EXPECT_EQ(lines[0].level, 1u);
  }
}

// Touches that many bytes of the stack.
template <size_t size>
int UseStack() {
  volatile char room[size];
  int sum = 0;
  for (size_t i = 0; i < size; i += 0x400) {
    room[i] = 1;
    sum += room[i];
  }
  return sum;
}

TEST(QelOSThreadCreate, GivesTheStackThatWasAskedFor) {
  const struct {
    uint64_t size;
    int (*use)();
    int sum;
  } rows[] = {
      {0, &UseStack<0x20000 - 0x4000>, 0x70},
      {1, &UseStack<0x80000>, 0x200},
      {2, &UseStack<0x10000 - 0x4000>, 0x30},
      {0x8000, &UseStack<0x10000 - 0x4000>, 0x30},
      {0x10001, &UseStack<0x10000 - 0x4000>, 0x30},
      {0x800000, &UseStack<0x800000 - 0x10000>, 0x1FC0},
  };
  for (const auto& row : rows) {
    Scene scene;
    std::atomic<int> sum{0};
    scene.body = [&] { sum = row.use(); };
    qelOSThread* thread = scene.Create(row.size);
    qelOSThread_Start(thread);
    qelOSThread_Join(thread);
    qelOSThread_Delete(thread);
    EXPECT_EQ(sum.load(), row.sum) << row.size;
  }
}

TEST(QelOSThreadStart, StartsOnce) {
  Scene scene;
  Gate gate(2);
  scene.body = [&] { gate.Pass(); };
  qelOSThread* thread = scene.Create();
  EXPECT_EQ(qelOSThread_Start(thread), 0);
  EXPECT_EQ(thread->state.load(), 2);
  LogCapture log;
  EXPECT_EQ(qelOSThread_Start(thread), 1);
  EXPECT_EQ(thread->state.load(), 2);
  gate.Pass();
  EXPECT_EQ(qelOSThread_Join(thread), 0);
  EXPECT_EQ(qelOSThread_Start(thread), 1);
  EXPECT_EQ(thread->state.load(), 3);
  qelOSThread_Delete(thread);
  EXPECT_EQ(scene.ran.load(), 1);
  EXPECT_THAT(log.Texts(), ElementsAre("qelOSThread: cannot start thread\n",
                                       "qelOSThread: cannot start thread\n"));
}

TEST(QelOSThreadStart, RunsNoBodyOfARecordJoinedAhead) {
  Scene scene;
  LogCapture log;
  qelOSThread* thread = scene.Create();
  EXPECT_EQ(qelOSThread_Join(thread), 0);
  EXPECT_EQ(thread->state.load(), 3);
  EXPECT_EQ(qelOSThread_Start(thread), 0);
  EXPECT_EQ(thread->state.load(), 3);
  AwaitLetGo(thread);
  EXPECT_EQ(scene.ran.load(), 0);
  qelOSThread_Delete(thread);
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST(QelOSThreadJoin, WaitsForTheEnd) {
  Scene scene;
  std::atomic<bool> done{false};
  scene.body = [&] {
    qelOSThread_Sleep(5);
    done = true;
  };
  qelOSThread* thread = scene.Create();
  qelOSThread_Start(thread);
  EXPECT_EQ(qelOSThread_Join(thread), 0);
  EXPECT_TRUE(done);
  EXPECT_EQ(thread->state.load(), 3);
  // The second time there is nothing to wait for.
  EXPECT_EQ(qelOSThread_Join(thread), 0);
  qelOSThread_Delete(thread);
  EXPECT_EQ(scene.ended.load(), 0);
}

TEST(QelOSThreadJoin, GivesOneAtOnceForADetachedThread) {
  Scene scene;
  Gate gate(2);
  scene.body = [&] { gate.Pass(); };
  qelOSThread* thread = scene.CreateDetached();
  EXPECT_EQ(qelOSThread_Join(thread), 1);
  EXPECT_EQ(thread->state.load(), 1);
  EXPECT_EQ(qelOSThread_Start(thread), 0);
  EXPECT_EQ(qelOSThread_Join(thread), 1);
  gate.Pass();
  AwaitLetGo(thread);
  EXPECT_EQ(thread->detached.load(), 2);
  EXPECT_EQ(qelOSThread_Join(thread), 1);
  EXPECT_EQ(thread->state.load(), 2);
  qelOSThread_Delete(thread);
}

TEST(QelOSThreadJoin, GivesOneForNull) {
  LogCapture log;
  EXPECT_EQ(qelOSThread_Join(nullptr), 1);
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST(QelOSThreadDelete, IgnoresNull) {
  qelOSThread_Delete(nullptr);
}

TEST(QelOSThreadDelete, LetsARunningThreadGoOn) {
  Scene scene;
  Gate gate(2);
  scene.body = [&] { gate.Pass(); };
  qelOSThread* thread = scene.Create();
  qelOSThread_Start(thread);
  qelOSThread_Delete(thread);
  gate.Pass();
  AwaitThat([&] { return scene.ran == 1; });
}

TEST(QelOSThreadDelete, RunsNoBodyOfAThreadNeverStarted) {
  Scene scene;
  for (bool joined : {false, true}) {
    for (uint32_t detached : {0u, 1u}) {
      qelOSThread* thread = scene.Create(/*stackSize=*/0, detached);
      if (joined) {
        EXPECT_EQ(qelOSThread_Join(thread), static_cast<int>(detached));
      }
      // A third holder shows that the thread runs out.
      thread->holders += 1;
      qelOSThread_Delete(thread);
      AwaitLetGo(thread);
      qelOSThread_Delete(thread);
    }
  }
  EXPECT_EQ(scene.ran.load(), 0);
  EXPECT_EQ(scene.ended.load(), 0);
}

TEST(QelOSThreadExitCallback, ComesOnceWhenADetachedThreadHasEnded) {
  Scene scene;
  Gate gate(2);
  scene.body = [&] { gate.Pass(); };
  qelOSThread* thread = scene.CreateDetached();
  qelOSThread_Start(thread);
  EXPECT_EQ(scene.ended.load(), 0);
  gate.Pass();
  AwaitLetGo(thread);
  EXPECT_EQ(scene.ended.load(), 1);
  EXPECT_EQ(scene.ran.load(), 1);
  EXPECT_EQ(thread->exitCallback.load(), nullptr);
  qelOSThread_Delete(thread);
  EXPECT_EQ(scene.ended.load(), 1);
}

// The way of an object that owns its record and deletes itself.
TEST(QelOSThreadExitCallback, MayLetTheRecordGo) {
  struct Owner {
    qelOSThread* thread;
    std::atomic<int>* deleted;
  };
  std::atomic<int> deleted{0};
  Owner* owner = new Owner{nullptr, &deleted};
  qelOSThread_Data data = {};
  data.entry = [](void*) {};
  data.exitCallback = [](void* arg) {
    Owner* self = static_cast<Owner*>(arg);
    std::atomic<int>* count = self->deleted;
    qelOSThread_Delete(self->thread);
    delete self;
    *count += 1;
  };
  data.arg = owner;
  data.detached = 1;
  owner->thread = qelOSThread_Create(&data);
  qelOSThread_Start(owner->thread);
  AwaitThat([&] { return deleted == 1; });
}

TEST(QelOSThreadSetPriority, WorksAheadOfTheStart) {
  Scene scene;
  LogCapture log;
  qelOSThread* thread = scene.Create();
  // The lowest level, which nobody is refused.
  EXPECT_EQ(qelOSThread_SetPriority(thread, 10), 0);
  qelOSThread_Delete(thread);
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST(QelOSThreadSetName, TakesAnyText) {
  Scene scene;
  scene.body = [] {
    for (const char* name : {"", "short", "a name of more than fifteen bytes", "", "\xE2\x82\xAC"})
      qelOSThread_SetName(name);
    qelOSThread_SetName(nullptr);
  };
  qelOSThread* thread = scene.Create();
  qelOSThread_Start(thread);
  qelOSThread_Join(thread);
  qelOSThread_Delete(thread);
  EXPECT_EQ(scene.ran.load(), 1);
}

TEST(QelOSThreadSleep, PassesItsTime) {
  const auto start = std::chrono::steady_clock::now();
  qelOSThread_Sleep(0);
  qelOSThread_Sleep(30);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(25));
}

// Threads come and go as fast as they can, in every way that a record may end.
TEST(QelOSThreadStress, LosesNoThreadHoweverItEnds) {
  for (int round = 0; round < StressRounds(); ++round) {
    Scene scene;
    qelOSThread* joined = scene.Create();
    qelOSThread* left = scene.Create();
    qelOSThread* detached = scene.CreateDetached();
    qelOSThread* unstarted = scene.Create();
    for (qelOSThread* thread : {joined, left, detached})
      EXPECT_EQ(qelOSThread_Start(thread), 0);
    qelOSThread_Delete(left);
    qelOSThread_Delete(unstarted);
    EXPECT_EQ(qelOSThread_Join(joined), 0);
    qelOSThread_Delete(joined);
    qelOSThread_Delete(detached);
    // Whether the owner or the thread was first to let go: the callback comes once.
    AwaitThat([&] { return scene.ran == 3 && scene.ended == 1; });
  }
}

// A priority may be set until the very end; it reaches the thread or nobody.
TEST(QelOSThreadStress, SetsThePriorityOfAThreadThatEnds) {
  LogCapture quiet;
  for (int round = 0; round < StressRounds(); ++round) {
    Scene scene;
    qelOSThread* thread = scene.Create();
    EXPECT_EQ(qelOSThread_SetPriority(thread, 10), 0);
    qelOSThread_Start(thread);
    while (scene.ran == 0)
      EXPECT_LE(qelOSThread_SetPriority(thread, 10), 1);
    EXPECT_LE(qelOSThread_SetPriority(thread, 10), 1);
    qelOSThread_Join(thread);
    qelOSThread_Delete(thread);
  }
}

} // namespace

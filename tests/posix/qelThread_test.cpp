//===----------------------------------------------------------------------===//
// What of the threads only this system has: names, nice values, stacks at the
// system's own word, and the system's errors. The program is linked so that the
// library's calls come through here.
//===----------------------------------------------------------------------===//

#include <qel/multiplatform/qelThread.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <pthread.h>
#include <semaphore.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include <qel/threads/StoppableThread.h>
#include <tests/support/Gate.h>
#include <tests/support/LogCapture.h>

using testing::IsEmpty;

namespace {

// What the calls of the library shall do, and what they were asked.
struct Script {
  int failing = 0;            // the error number of the calls below, or 0
  bool heldBack = false;      // nice values are written down, not set
  std::map<id_t, int> nice;   // what was asked, by thread
  int interrupts = 0;         // how many sleeps a signal interrupts
  std::vector<timespec> ends; // of the sleeps
  int pauses = 0;             // how often a sleep for ever was begun
};

Script script;

thread_local int failingMalloc = 0; // which malloc of this thread fails, from 1; 0 for none
int failingCreate = 0;              // the error number of a new thread, or 0
std::atomic<int> waits{0};          // how many waits for a semaphore were begun
std::atomic<int> waitInterrupts{0}; // how many of those to come a signal interrupts

} // namespace

extern "C" {
void* __real_malloc(size_t size);
void* __wrap_malloc(size_t size) {
  if (failingMalloc != 0 && --failingMalloc == 0)
    return nullptr;
  return __real_malloc(size);
}

int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                          void* arg);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                          void* arg) {
  return failingCreate != 0 ? failingCreate : __real_pthread_create(thread, attributes, body, arg);
}

int __real_sem_wait(sem_t* semaphore);
int __wrap_sem_wait(sem_t* semaphore) {
  waits += 1;
  if (waitInterrupts.fetch_sub(1) <= 0)
    return __real_sem_wait(semaphore);
  errno = EINTR;
  return -1;
}

int __real_pthread_join(pthread_t thread, void** result);
int __wrap_pthread_join(pthread_t thread, void** result) {
  return script.failing != 0 ? script.failing : __real_pthread_join(thread, result);
}

int __real_pthread_detach(pthread_t thread);
int __wrap_pthread_detach(pthread_t thread) {
  const int error = __real_pthread_detach(thread);
  return script.failing != 0 ? script.failing : error;
}

int __real_pthread_attr_init(pthread_attr_t* attributes);
int __wrap_pthread_attr_init(pthread_attr_t* attributes) {
  return script.failing != 0 ? script.failing : __real_pthread_attr_init(attributes);
}

int __real_setpriority(int which, id_t who, int value);
int __wrap_setpriority(int which, id_t who, int value) {
  EXPECT_EQ(which, PRIO_PROCESS);
  script.nice[who] = value;
  if (script.failing != 0) {
    errno = script.failing;
    return -1;
  }
  return script.heldBack ? 0 : __real_setpriority(which, who, value);
}

// Signals interrupt the first two; the third one ends the test.
int __wrap_pause() {
  script.pauses += 1;
  if (script.pauses == 3)
    throw script.pauses;
  return -1;
}

int __real_clock_nanosleep(clockid_t clock, int flags, const timespec* end, timespec* rest);
int __wrap_clock_nanosleep(clockid_t clock, int flags, const timespec* end, timespec* rest) {
  EXPECT_EQ(clock, CLOCK_MONOTONIC);
  EXPECT_EQ(flags, TIMER_ABSTIME);
  script.ends.push_back(*end);
  if (script.interrupts > 0) {
    script.interrupts -= 1;
    return EINTR;
  }
  return script.failing != 0 ? script.failing : __real_clock_nanosleep(clock, flags, end, rest);
}
}

namespace {

struct Scene {
  std::function<void()> body;

  static void Run(void* arg) {
    Scene* scene = static_cast<Scene*>(arg);
    if (scene->body)
      scene->body();
  }
  qelOSThread* Create(uint64_t stackSize = 0) {
    qelOSThread_Data data = {&Scene::Run, nullptr, this, stackSize, 0, 0};
    return qelOSThread_Create(&data);
  }
};

// Runs the body on a thread of its own, to its end.
void RunOnThread(std::function<void()> body, uint64_t stackSize = 0) {
  Scene scene;
  scene.body = std::move(body);
  qelOSThread* thread = scene.Create(stackSize);
  qelOSThread_Start(thread);
  qelOSThread_Join(thread);
  qelOSThread_Delete(thread);
}

class QelOSThreadPosix : public testing::Test {
protected:
  QelOSThreadPosix() { script = Script(); }
  ~QelOSThreadPosix() override { script = Script(); }

  void ExpectLine(const std::string& text) {
    ASSERT_EQ(log.Lines().size(), 1u);
    const CapturedLine line = log.Lines()[0];
    EXPECT_EQ(line.text, text);
    EXPECT_EQ(line.level, 1u);
    EXPECT_EQ(line.module, 7u);
    EXPECT_EQ(line.file, "..\\..\\posix\\qelThread.posix");
  }

  LogCapture log;
};

using QelOSThreadFaults = QelOSThreadPosix;

TEST_F(QelOSThreadFaults, JoinCountsAsJoinedWhenTheWaitFails) {
  Scene scene;
  qelOSThread* thread = scene.Create();
  qelOSThread_Start(thread);
  script.failing = EDEADLK;
  EXPECT_EQ(qelOSThread_Join(thread), 0);
  EXPECT_EQ(thread->state.load(), 3);
  ExpectLine("qelOSThread: Failed to join a thread (error = 35, errorcode = 35)\n");
  script.failing = 0;
  EXPECT_EQ(qelOSThread_Join(thread), 0);
  AwaitThat([=] { return thread->holders == 1; });
  qelOSThread_Delete(thread);
}

TEST_F(QelOSThreadFaults, LogAFailedCreation) {
  Scene scene;
  script.failing = ENOMEM;
  EXPECT_EQ(scene.Create(), nullptr);
  ExpectLine("qelOSThread: Cannot create thread (error = 12)\n");
}

TEST_F(QelOSThreadFaults, LogAThreadThatTheSystemRefuses) {
  Scene scene;
  failingCreate = EAGAIN;
  EXPECT_EQ(scene.Create(), nullptr);
  failingCreate = 0;
  ExpectLine("qelOSThread: Cannot create thread (error = 11)\n");
}

TEST_F(QelOSThreadFaults, LogAThreadWithoutMemoryForItsHandle) {
  Scene scene;
  failingMalloc = 2;
  EXPECT_EQ(scene.Create(), nullptr);
  EXPECT_EQ(failingMalloc, 0);
  ExpectLine("qelOSThread: Cannot create thread (error = 12)\n");
}

TEST_F(QelOSThreadFaults, LogAHandleThatCannotBeClosed) {
  Scene scene;
  qelOSThread* thread = scene.Create();
  qelOSThread_Start(thread);
  AwaitThat([=] { return thread->holders == 1; });
  script.failing = EINVAL;
  qelOSThread_Delete(thread);
  ExpectLine("qelOSThread: CloseHandle on Thread handle failed (error = 22)\n");
}

TEST_F(QelOSThreadFaults, LogARefusedPriority) {
  Scene scene;
  qelOSThread* thread = scene.Create();
  script.failing = EACCES;
  EXPECT_EQ(qelOSThread_SetPriority(thread, 90), 1);
  char pointer[32];
  snprintf(pointer, sizeof(pointer), "%p", static_cast<void*>(thread));
  ExpectLine(std::string("qelOSThread: Cannot set thread priority to 2 for thread ") + pointer +
             " (error = 13)\n");
  script.failing = 0;
  // Not left to run out by itself, which may be while the next test writes its script.
  qelOSThread_Start(thread);
  qelOSThread_Join(thread);
  qelOSThread_Delete(thread);
}

using QelOSThreadSetName = QelOSThreadPosix;

TEST_F(QelOSThreadSetName, ShowsFifteenBytes) {
  const struct {
    const char* name;
    const char* shown;
  } rows[] = {{"media", "media"},
              {"fifteen bytes..", "fifteen bytes.."},
              {"sixteen bytes...", "sixteen bytes.."},
              {"a name of many more bytes", "a name of many "},
              {"", ""},
              {nullptr, ""}};
  for (const auto& row : rows) {
    char shown[64] = "?";
    RunOnThread([&] {
      qelOSThread_SetName(row.name);
      pthread_getname_np(pthread_self(), shown, sizeof(shown));
    });
    EXPECT_STREQ(shown, row.shown);
  }
  EXPECT_THAT(log.Texts(), IsEmpty());
}

using QelOSThreadSetPriority = QelOSThreadPosix;

TEST_F(QelOSThreadSetPriority, FallsOnFiveLevels) {
  script.heldBack = true;
  const struct {
    unsigned short priority;
    int nice;
  } rows[] = {{0, 10},  {20, 10}, {21, 5},   {40, 5},    {41, 0},  {60, 0},
              {61, -5}, {80, -5}, {81, -10}, {100, -10}, {101, 0}, {65535, 0}};
  Scene scene;
  pid_t id = 0;
  scene.body = [&] { id = gettid(); };
  qelOSThread* thread = scene.Create();
  for (const auto& row : rows) {
    script.nice.clear();
    EXPECT_EQ(qelOSThread_SetPriority(thread, row.priority), 0);
    ASSERT_EQ(script.nice.size(), 1u);
    EXPECT_EQ(script.nice.begin()->second, row.nice) << row.priority;
  }
  qelOSThread_Start(thread);
  qelOSThread_Join(thread);
  qelOSThread_Delete(thread);
  EXPECT_EQ(script.nice.count(static_cast<id_t>(id)), 1u);
  EXPECT_NE(id, getpid());
}

TEST_F(QelOSThreadSetPriority, ChangesThatThreadAlone) {
  const int before = getpriority(PRIO_PROCESS, 0);
  Scene scene;
  int inside = -100;
  scene.body = [&] { inside = getpriority(PRIO_PROCESS, 0); };
  qelOSThread* thread = scene.Create();
  EXPECT_EQ(qelOSThread_SetPriority(thread, 10), 0);
  qelOSThread_Start(thread);
  qelOSThread_Join(thread);
  EXPECT_EQ(inside, 10);
  EXPECT_EQ(getpriority(PRIO_PROCESS, 0), before);
  // Its number may belong to another thread by now.
  script.nice.clear();
  EXPECT_EQ(qelOSThread_SetPriority(thread, 50), 1);
  EXPECT_THAT(script.nice, IsEmpty());
  qelOSThread_Delete(thread);
}

using QelOSThreadCreate = QelOSThreadPosix;

// The bytes between the lowest address of the calling thread's stack and this frame.
uint64_t StackBelow() {
  pthread_attr_t attributes;
  void* lowest = nullptr;
  size_t size = 0;
  pthread_getattr_np(pthread_self(), &attributes);
  pthread_attr_getstack(&attributes, &lowest, &size);
  pthread_attr_destroy(&attributes);
  return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(__builtin_frame_address(0)) -
                               reinterpret_cast<uintptr_t>(lowest));
}

TEST_F(QelOSThreadCreate, GivesTheBodyThatMuchStack) {
  const struct {
    uint64_t asked;
    uint64_t given;
  } rows[] = {{0, 0x20000},       {2, 0x10000},       {0x8000, 0x10000},  {0xFFFF, 0x10000},
              {0x10000, 0x10000}, {0x10001, 0x10001}, {0x54321, 0x54321}, {0x200000, 0x200000}};
  for (const auto& row : rows) {
    uint64_t below = 0;
    RunOnThread([&] { below = StackBelow(); }, row.asked);
    EXPECT_GE(below, row.given) << row.asked;
    // What comes on top is the system's and, at most, a sanitizer's.
    EXPECT_LE(below, row.given + 0x80000) << row.asked;
  }
}

TEST_F(QelOSThreadCreate, GivesTheSystemsStackForOne) {
  pthread_attr_t attributes;
  size_t usual = 0;
  pthread_getattr_default_np(&attributes);
  pthread_attr_getstacksize(&attributes, &usual);
  pthread_attr_destroy(&attributes);
  uint64_t below = 0;
  RunOnThread([&] { below = StackBelow(); }, /*stackSize=*/1);
  EXPECT_GT(below, usual / 2);
}

// Neither side takes a signal for the other's post: the creation's wait and the thread's own at its
// gate are begun again.
TEST_F(QelOSThreadCreate, WaitsOnWhenASignalInterruptsIt) {
  std::atomic<bool> started{false};
  bool early = true;
  Scene scene;
  scene.body = [&] { early = !started; };
  waits = 0;
  waitInterrupts = 6;
  qelOSThread* thread = scene.Create();
  started = true;
  EXPECT_EQ(qelOSThread_Start(thread), 0);
  EXPECT_EQ(qelOSThread_Join(thread), 0);
  qelOSThread_Delete(thread);
  EXPECT_FALSE(early);
  EXPECT_EQ(waits.load(), 6 + 2);
}

using QelOSThreadSleep = QelOSThreadPosix;

TEST_F(QelOSThreadSleep, KeepsItsEndWhenASignalInterruptsIt) {
  script.interrupts = 3;
  qelOSThread_Sleep(5);
  ASSERT_EQ(script.ends.size(), 4u);
  for (const timespec& end : script.ends) {
    EXPECT_EQ(end.tv_sec, script.ends[0].tv_sec);
    EXPECT_EQ(end.tv_nsec, script.ends[0].tv_nsec);
  }
}

// The sleep itself is refused, so that even the longest one ends at once.
TEST_F(QelOSThreadSleep, TakesTheLongestLimit) {
  script.failing = EINVAL;
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  qelOSThread_Sleep(0xFFFFFFFEu);
  ASSERT_EQ(script.ends.size(), 1u);
  EXPECT_GE(script.ends[0].tv_sec - now.tv_sec, 4294967);
  EXPECT_LE(script.ends[0].tv_sec - now.tv_sec, 4294969);
}

TEST_F(QelOSThreadSleep, IsForEverWithoutALimit) {
  EXPECT_THROW(qelOSThread_Sleep(0xFFFFFFFFu), int);
  EXPECT_EQ(script.pauses, 3);
  EXPECT_THAT(script.ends, IsEmpty());
  script.pauses = 0;
  EXPECT_THROW(qelStoppableThread::ThreadSleep(-1), int);
}

} // namespace

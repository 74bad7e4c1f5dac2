//===----------------------------------------------------------------------===//
// Every schedule of the condition: an explorer walks all interleavings of some
// signallers and waiters and looks at each state that can be reached.
//
// This program brings its own locks and semaphores, so what is explored is the
// library's own code, as it lies in the archive. A call of one of them is where
// threads may change places; what stands between two calls belongs to the first.
// Nothing runs in parallel: to take one step of a thread, the explorer runs its
// code from the start, answers each call as it was answered before, lets the
// step's call have its effect, and stops the code at the call behind it. So a
// state is plain data, which can be copied, compared and kept in a set.
//
// Beside the code stands a model of it, Model below, which names the steps. The
// same explorer walks it, checks that code and model agree in each step of each
// schedule, and shows on broken models that it finds faults.
//===----------------------------------------------------------------------===//

#include <algorithm>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <qel/multiplatform/qelCondition.h>

// Nothing is in them: where they stand is part of the explored state.
struct qelOSMutex {
  int id;
};

struct qelOSSemaphore {
  int id;
};

namespace {

// What a thread may change places at --------------------------------------------

enum class Act : uint8_t { Lock, Unlock, Post, Wait };

qelOSMutex outerLock = {0}; // the lock that waiters hold
qelOSMutex innerLock = {1}; // the condition's `lock`
qelOSSemaphore waitSem = {0};
qelOSSemaphore doneSem = {1};
qelOSCondition condition = {&innerLock, &waitSem, &doneSem, 0, 0};

struct Call {
  Act act = Act::Lock;
  int8_t id = 0;   // of the lock or the semaphore
  qelULong ms = 0; // of a wait
  bool operator==(const Call& other) const {
    return act == other.act && id == other.id && ms == other.ms;
  }
};

// The counters of a thread that does not hold the condition's lock: what it reads there tells it
// nothing, so the code's own variables depend on nothing but its answers.
constexpr int8_t kHidden = 77;

// How a call was answered, and the counters that the thread saw then.
struct Answer {
  int8_t result = 0;
  int8_t waiting = 0;
  int8_t signals = 0;
};

// Ends a run of a thread's code at the call that it makes next.
struct Frontier {
  Call call;
};

// The run at hand.
const std::vector<Answer>* answers = nullptr;
size_t answered = 0;

int Reach(Act act, int id, qelULong ms) {
  if (answered == answers->size())
    throw Frontier{{act, static_cast<int8_t>(id), ms}};
  const Answer& answer = (*answers)[answered++];
  condition.waiting = answer.waiting;
  condition.signals = answer.signals;
  return answer.result;
}

} // namespace

int qelOSMutex_Lock(qelOSMutex* mutex) {
  return Reach(Act::Lock, mutex->id, 0);
}

int qelOSMutex_Unlock(qelOSMutex* mutex) {
  return Reach(Act::Unlock, mutex->id, 0);
}

int qelOSSemaphore_Post(qelOSSemaphore* semaphore) {
  return Reach(Act::Post, semaphore->id, 0);
}

int qelOSSemaphore_Wait(qelOSSemaphore* semaphore) {
  return Reach(Act::Wait, semaphore->id, qelOSWaitForever);
}

int qelOSSemaphore_WaitTimeout(qelOSSemaphore* semaphore, qelULong ms) {
  return Reach(Act::Wait, semaphore->id, ms);
}

// The explored functions make and delete nothing.
qelOSMutex* qelOSMutex_New() {
  return nullptr;
}

void qelOSMutex_Delete(qelOSMutex*) {}

int qelOSMutex_IsOwner(const qelOSMutex*) {
  return 0;
}

qelOSSemaphore* qelOSSemaphore_New(int) {
  return nullptr;
}

void qelOSSemaphore_Delete(qelOSSemaphore*) {}

namespace {

// The model ---------------------------------------------------------------------

// What a broken model does wrong.
enum class Flaw {
  None,
  NoAcknowledgement,       // a woken waiter does not post doneSem
  SignalDoesNotWait,       // a signaller does not wait on doneSem
  SignalIgnoresTheSecond,  // a signaller hands out nothing while another signal is on its way
  SignalWithoutALook,      // a signaller hands out a signal that nobody waits for
  TimeOutLeavesThePost,    // a waiter whose time ran out does not look at signals
  TimeOutSleepsForThePost, // it waits for the pending post without limit, holding `lock`
  TimeOutOnlyTakes,        // it takes the pending post and does not acknowledge
  TimeOutOnlyAcknowledges, // it acknowledges and leaves the post
  OuterLockFirst,          // a waiter takes the outer lock back before it acknowledges
  SignalLooksTooEarly,     // a signaller counts the sleepers before it holds `lock`
  WaitLooksTooEarly,       // a waiter looks at signals before it holds `lock`
};

// The condition as steps. Each statement that makes a call is one, with what follows it up to the
// next call; the comments name the functions of qelCondition.cpp where it stands.
struct Model {
  Flaw flaw = Flaw::None;

  // qelOSCondition_Signal and _Broadcast: both are Wake.
  void Wake(int limit) const {
    const int early = condition.waiting - condition.signals;
    qelOSMutex_Lock(&innerLock); // S1, and the count of those to wake
    const int sleeping = condition.waiting - condition.signals;
    int count = std::min(flaw == Flaw::SignalLooksTooEarly ? early : sleeping, limit);
    if (flaw == Flaw::SignalIgnoresTheSecond && condition.signals > 0)
      count = 0;
    if (flaw == Flaw::SignalWithoutALook)
      count = 1;
    condition.signals += count;
    for (int i = 0; i < count; ++i)
      qelOSSemaphore_Post(&waitSem); // S2, `count` times
    qelOSMutex_Unlock(&innerLock);   // S3
    for (int i = 0; i < count && flaw != Flaw::SignalDoesNotWait; ++i)
      qelOSSemaphore_Wait(&doneSem); // S4, `count` times
  }

  // qelOSCondition_WaitTimeout.
  int Wait(qelULong ms) const {
    qelOSMutex_Lock(&innerLock); // W1, BeginWait
    condition.waiting += 1;
    qelOSMutex_Unlock(&innerLock);                               // W2, BeginWait
    qelOSMutex_Unlock(&outerLock);                               // W3
    const int result = qelOSSemaphore_WaitTimeout(&waitSem, ms); // W4, AwaitPost
    if (flaw == Flaw::OuterLockFirst)
      qelOSMutex_Lock(&outerLock);
    const int early = condition.signals;
    qelOSMutex_Lock(&innerLock); // W5, EndWait, and the look at signals in TakesSignal
    if ((flaw == Flaw::WaitLooksTooEarly ? early : condition.signals) > 0 && Takes(result)) {
      if (!Forgets(result))
        qelOSSemaphore_Post(&doneSem); // W7, EndWait
      condition.signals -= 1;
    }
    condition.waiting -= 1;
    qelOSMutex_Unlock(&innerLock); // W8, EndWait
    if (flaw != Flaw::OuterLockFirst)
      qelOSMutex_Lock(&outerLock); // W9
    return result;
  }

  // TakesSignal, behind its look at signals.
  bool Takes(int result) const {
    if (result == 0)
      return true;
    if (flaw == Flaw::TimeOutLeavesThePost)
      return false;
    if (flaw == Flaw::TimeOutOnlyAcknowledges)
      return true;
    const qelULong ms = flaw == Flaw::TimeOutSleepsForThePost ? qelOSWaitForever : 0;
    return qelOSSemaphore_WaitTimeout(&waitSem, ms) == 0; // W6, AwaitPost
  }

  bool Forgets(int result) const {
    return flaw == Flaw::NoAcknowledgement || (flaw == Flaw::TimeOutOnlyTakes && result == 1);
  }
};

// The scenes --------------------------------------------------------------------

enum class Role {
  Wait,        // waits without limit
  WaitLimited, // waits with a limit, which may pass at any moment
  Signal,
  SignalLocked, // the same with the outer lock held
  SignalTwice,
  Broadcast,
};

bool IsWaiter(Role role) {
  return role == Role::Wait || role == Role::WaitLimited;
}

// The functions that are explored: the code's, or the model's.
struct Functions {
  std::function<int(qelULong)> wait;
  std::function<void()> signal;
  std::function<void()> broadcast;
};

Functions FunctionsOfCode() {
  return {[](qelULong ms) { return qelOSCondition_WaitTimeout(&condition, &outerLock, ms); },
          [] { qelOSCondition_Signal(&condition); }, [] { qelOSCondition_Broadcast(&condition); }};
}

Functions FunctionsOf(const Model& model) {
  return {[=](qelULong ms) { return model.Wait(ms); }, [=] { model.Wake(1); },
          [=] { model.Wake(1000); }};
}

// What a thread of that role does.
void Play(Role role, const Functions& functions) {
  if (IsWaiter(role)) {
    qelOSMutex_Lock(&outerLock);
    functions.wait(role == Role::Wait ? qelOSWaitForever : 7);
    qelOSMutex_Unlock(&outerLock);
    return;
  }
  if (role == Role::SignalLocked)
    qelOSMutex_Lock(&outerLock);
  if (role == Role::Broadcast)
    functions.broadcast();
  else
    functions.signal();
  if (role == Role::SignalTwice)
    functions.signal();
  if (role == Role::SignalLocked)
    qelOSMutex_Unlock(&outerLock);
}

// The states --------------------------------------------------------------------

struct Thread {
  std::vector<Answer> answers; // of the calls so far
  std::string knows;           // what of them its code can still tell, for the state's key
  Call next;                   // the call that it makes next
  bool finished = false;
};

struct State {
  int8_t holders[2] = {-1, -1}; // of the two locks; -1 for nobody
  int8_t counts[2] = {0, 0};    // of the two semaphores
  int8_t waiting = 0;
  int8_t signals = 0;
  int8_t owed = 0; // signals that found a sleeper, less those that have reached one
  std::vector<Thread> threads;

  bool HoldsInnerLock(size_t index) const {
    return holders[innerLock.id] == static_cast<int>(index);
  }

  // What tells two states apart. Threads of one role may be exchanged for each other, so they come
  // in the order of what they know; whose a lock is belongs to that.
  std::string Key(const std::vector<Role>& roles) const {
    std::vector<std::string> parts;
    for (size_t i = 0; i < threads.size(); ++i) {
      const Thread& thread = threads[i];
      std::string part(1, static_cast<char>(roles[i]));
      if (!thread.finished) {
        for (int8_t holder : holders)
          part += holder == static_cast<int>(i) ? 'h' : '-';
        part += thread.knows;
        part += static_cast<char>(thread.next.act);
        part += static_cast<char>(thread.next.id);
        part += static_cast<char>(0x7F);
      }
      parts.push_back(part);
    }
    std::sort(parts.begin(), parts.end());
    std::string key;
    for (int value : {+counts[0], +counts[1], +waiting, +signals, +owed})
      key += static_cast<char>(value);
    for (const std::string& part : parts)
      key += part + '|';
    return key;
  }
};

// The explorer ------------------------------------------------------------------

class Explorer {
public:
  Explorer(std::vector<Role> roles, Functions functions)
      : m_roles(std::move(roles)), m_functions(std::move(functions)) {}

  // A second implementation, which has to take the same steps.
  void CompareWith(Functions functions) { m_other = std::move(functions); }

  // Tells states apart by all that a thread has seen, whether its code needs it still or not.
  void ForgetNothing() { m_forgets = false; }

  // Walks everything. Returns the first fault, with the schedule that leads to it, or "".
  std::string Walk() {
    State start;
    start.threads.resize(m_roles.size());
    for (size_t i = 0; i < m_roles.size(); ++i)
      Run(&start, i);
    Visit(start);
    return m_fault;
  }

  size_t States() const { return m_seen.size(); }
  // How many waiters sleep on, in some end.
  const std::set<size_t>& Asleep() const { return m_asleep; }

private:
  void Fail(const std::string& what) {
    if (!m_fault.empty())
      return;
    m_fault = what + ":";
    for (const std::string& step : m_path)
      m_fault += " " + step;
  }

  // Runs the code of a thread through its answers to its next call.
  void RunCode(const Functions& functions, State* state, size_t index) {
    Thread* thread = &state->threads[index];
    answers = &thread->answers;
    answered = 0;
    condition.waiting = kHidden;
    condition.signals = kHidden;
    thread->finished = false;
    try {
      Play(m_roles[index], functions);
      thread->finished = true;
    } catch (const Frontier& frontier) {
      thread->next = frontier.call;
    }
    if (state->HoldsInnerLock(index)) {
      state->waiting = static_cast<int8_t>(condition.waiting);
      state->signals = static_cast<int8_t>(condition.signals);
    } else if (condition.waiting != kHidden || condition.signals != kHidden) {
      Fail("counters changed without the lock");
    }
  }

  void Run(State* state, size_t index) {
    State twin = *state;
    RunCode(m_functions, state, index);
    if (!m_other.wait)
      return;
    RunCode(m_other, &twin, index);
    const Thread& thread = state->threads[index];
    const Thread& other = twin.threads[index];
    if (other.finished != thread.finished || twin.waiting != state->waiting ||
        twin.signals != state->signals || (!thread.finished && !(other.next == thread.next)))
      Fail("different steps");
  }

  // Whether a call can go on, with which result.
  static bool CanTake(const State& state, const Call& call, int result) {
    if (call.act == Act::Lock)
      return result == 0 && state.holders[call.id] == -1;
    if (call.act != Act::Wait)
      return result == 0;
    if (result == 0)
      return state.counts[call.id] > 0;
    // A limit may pass although a post is there: it was for another sleeper, who has yet to take it.
    // A poll fails only when none is.
    return call.ms != qelOSWaitForever && (call.ms != 0 || state.counts[call.id] == 0);
  }

  // The effect of the thread's next call.
  void Take(State* state, size_t index, int result) {
    Thread* thread = &state->threads[index];
    const Call call = thread->next;
    const bool waiter = IsWaiter(m_roles[index]);
    if (call.act == Act::Lock)
      state->holders[call.id] = static_cast<int8_t>(index);
    if (call.act == Act::Unlock) {
      if (state->holders[call.id] != static_cast<int>(index))
        Fail("unlocked by another");
      state->holders[call.id] = -1;
    }
    if (call.act == Act::Post)
      state->counts[call.id] = static_cast<int8_t>(state->counts[call.id] + 1);
    if (call.act == Act::Wait && result == 0) {
      state->counts[call.id] = static_cast<int8_t>(state->counts[call.id] - 1);
      if (call.id == waitSem.id)
        state->owed = static_cast<int8_t>(state->owed - 1);
    }
    if (call.act == Act::Lock && call.id == innerLock.id && !waiter) {
      const int limit = m_roles[index] == Role::Broadcast ? 1000 : 1;
      state->owed =
          static_cast<int8_t>(state->owed + std::min(state->waiting - state->signals, limit));
    }
    const bool sees = state->HoldsInnerLock(index);
    thread->answers.push_back({static_cast<int8_t>(result), sees ? state->waiting : kHidden,
                               sees ? state->signals : kHidden});
    // The code's own variables: the result of a wait, and how many a signaller is to wake. What a
    // waiter sees of the counters it uses up ahead of its next call, so it may be forgotten.
    thread->knows += static_cast<char>(result);
    if (m_forgets ? !waiter && call.act == Act::Lock : sees)
      thread->knows +=
          std::string{static_cast<char>(state->waiting), static_cast<char>(state->signals)};
  }

  static std::string StepName(size_t index, const Call& call, int result) {
    static const char* const acts[] = {"lock", "unlock", "post", "wait"};
    static const char* const objects[][2] = {
        {"outer", "inner"}, {"outer", "inner"}, {"waitSem", "doneSem"}, {"waitSem", "doneSem"}};
    const size_t act = static_cast<size_t>(call.act);
    return std::to_string(index) + "-" + acts[act] + "-" + objects[act][call.id] +
           (result != 0 ? "-timeout" : "");
  }

  void Visit(const State& state) {
    if (!m_fault.empty() || !m_seen.insert(state.Key(m_roles)).second)
      return;
    CheckState(state);
    bool any = false;
    for (size_t i = 0; i < state.threads.size(); ++i) {
      const Call call = state.threads[i].next;
      for (int result = 0; !state.threads[i].finished && result <= 1; ++result) {
        if (!CanTake(state, call, result))
          continue;
        any = true;
        m_path.push_back(StepName(i, call, result));
        State next = state;
        Take(&next, i, result);
        Run(&next, i);
        Visit(next);
        m_path.pop_back();
      }
    }
    if (!any)
      CheckEnd(state);
  }

  void CheckState(const State& state) {
    if (state.holders[innerLock.id] != -1)
      return;
    if (state.signals < 0 || state.signals > state.waiting)
      Fail("more signals than waiters");
    if (state.counts[waitSem.id] > state.signals)
      Fail("stale post");
  }

  // Nobody can go on. That is an end if all that is left are waiters without a limit, asleep because
  // no signal came for them.
  void CheckEnd(const State& state) {
    size_t asleep = 0;
    for (const Thread& thread : state.threads) {
      if (thread.finished)
        continue;
      if (!(thread.next == Call{Act::Wait, static_cast<int8_t>(waitSem.id), qelOSWaitForever}))
        return Fail("deadlock");
      asleep += 1;
    }
    if (state.holders[0] != -1 || state.holders[1] != -1)
      return Fail("deadlock");
    if (state.counts[0] != 0 || state.counts[1] != 0)
      return Fail("stale post");
    if (state.owed != 0 || state.signals != 0 || static_cast<size_t>(state.waiting) != asleep)
      return Fail("lost signal");
    m_asleep.insert(asleep);
  }

  std::vector<Role> m_roles;
  Functions m_functions;
  Functions m_other;
  bool m_forgets = true;
  std::unordered_set<std::string> m_seen; // keys of the states
  std::vector<std::string> m_path;        // the schedule that led here
  std::string m_fault;
  std::set<size_t> m_asleep;
};

// All mixtures of waiters with and without a limit, for these signallers.
std::vector<std::vector<Role>> Scenes(const std::vector<Role>& signallers, int waiters) {
  std::vector<std::vector<Role>> scenes;
  for (int limited = 0; limited <= waiters; ++limited) {
    std::vector<Role> roles = signallers;
    for (int i = 0; i < waiters; ++i)
      roles.push_back(i < limited ? Role::WaitLimited : Role::Wait);
    scenes.push_back(roles);
  }
  return scenes;
}

// Every state of every scene is sound, and each step of the code is one of the model's.
void ExpectSound(const std::vector<Role>& signallers, int waiters) {
  for (const std::vector<Role>& roles : Scenes(signallers, waiters)) {
    Explorer explorer(roles, FunctionsOfCode());
    explorer.CompareWith(FunctionsOf(Model()));
    EXPECT_EQ(explorer.Walk(), "");
    // There is more than one way through it.
    EXPECT_GT(explorer.States(), 100u);
  }
}

TEST(QelOSConditionSchedules, OfTwoSignallersAndThreeWaitersAreSound) {
  ExpectSound({Role::Signal, Role::Signal}, 3);
}

TEST(QelOSConditionSchedules, AreSoundAlsoByAllThatThreadsHaveSeen) {
  for (const std::vector<Role>& roles : Scenes({Role::Signal, Role::Signal}, 2)) {
    Explorer explorer(roles, FunctionsOfCode());
    explorer.CompareWith(FunctionsOf(Model()));
    explorer.ForgetNothing();
    EXPECT_EQ(explorer.Walk(), "");
    Explorer forgetful(roles, FunctionsOfCode());
    EXPECT_EQ(forgetful.Walk(), "");
    EXPECT_GT(explorer.States(), forgetful.States());
    EXPECT_EQ(explorer.Asleep(), forgetful.Asleep());
  }
}

TEST(QelOSConditionSchedules, OfSignallersThatHoldTheOuterLockAreSound) {
  ExpectSound({Role::SignalLocked, Role::SignalLocked}, 3);
  ExpectSound({Role::SignalLocked, Role::Signal}, 3);
}

TEST(QelOSConditionSchedules, OfSignallersThatSignalTwiceAreSound) {
  ExpectSound({Role::SignalTwice, Role::SignalTwice}, 2);
}

TEST(QelOSConditionSchedules, OfBroadcastsAreSound) {
  ExpectSound({Role::Broadcast, Role::Signal}, 3);
  ExpectSound({Role::Broadcast, Role::Broadcast}, 2);
}

// With nobody's time running out, each signal that found a sleeper ended one wait, so what is left
// asleep tells how many signals came too early.
TEST(QelOSConditionSchedules, WakeAsManyAsSignalsFindAsleep) {
  Explorer explorer({Role::Signal, Role::Signal, Role::Wait, Role::Wait, Role::Wait},
                    FunctionsOfCode());
  EXPECT_EQ(explorer.Walk(), "");
  EXPECT_EQ(explorer.Asleep(), (std::set<size_t>{1, 2, 3}));
  Explorer broadcast({Role::Broadcast, Role::Wait, Role::Wait, Role::Wait}, FunctionsOfCode());
  EXPECT_EQ(broadcast.Walk(), "");
  EXPECT_EQ(broadcast.Asleep(), (std::set<size_t>{0, 1, 2, 3}));
}

TEST(QelOSConditionSchedules, EndAllWaitsThatHaveALimit) {
  Explorer explorer({Role::Signal, Role::Signal, Role::WaitLimited, Role::WaitLimited},
                    FunctionsOfCode());
  EXPECT_EQ(explorer.Walk(), "");
  EXPECT_EQ(explorer.Asleep(), (std::set<size_t>{0}));
}

// The explorer itself: it finds what is broken.

// The kind of the first fault that the walk of a broken model finds.
std::string FaultOf(Flaw flaw, const std::vector<Role>& roles) {
  const std::string fault = Explorer(roles, FunctionsOf(Model{flaw})).Walk();
  return fault.substr(0, fault.find(':'));
}

TEST(QelOSConditionExplorer, ReportsBrokenModels) {
  const Role limited = Role::WaitLimited;
  const struct {
    Flaw flaw;
    std::vector<Role> roles;
    const char* fault;
  } rows[] = {
      {Flaw::None, {Role::Signal, limited, limited}, ""},
      {Flaw::NoAcknowledgement, {Role::Signal, Role::Wait}, "deadlock"},
      {Flaw::SignalDoesNotWait, {Role::Signal, Role::Wait}, "stale post"},
      {Flaw::SignalIgnoresTheSecond,
       {Role::Signal, Role::Signal, Role::Wait, Role::Wait},
       "lost signal"},
      {Flaw::SignalWithoutALook, {Role::Signal, Role::Wait}, "more signals than waiters"},
      {Flaw::TimeOutLeavesThePost, {Role::Signal, limited}, "more signals than waiters"},
      {Flaw::TimeOutSleepsForThePost, {Role::Signal, limited, limited}, "deadlock"},
      {Flaw::TimeOutOnlyTakes, {Role::Signal, limited}, "deadlock"},
      {Flaw::TimeOutOnlyAcknowledges, {Role::Signal, limited}, "stale post"},
      {Flaw::OuterLockFirst, {Role::SignalLocked, Role::Wait}, "deadlock"},
      {Flaw::SignalLooksTooEarly, {Role::Signal, Role::Wait}, "lost signal"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(FaultOf(row.flaw, row.roles), row.fault) << static_cast<int>(row.flaw);
}

TEST(QelOSConditionExplorer, ReportsAStepThatTheModelDoesNotTake) {
  const Flaw flaws[] = {
      Flaw::NoAcknowledgement,       Flaw::SignalDoesNotWait,       Flaw::SignalIgnoresTheSecond,
      Flaw::SignalWithoutALook,      Flaw::TimeOutLeavesThePost,    Flaw::TimeOutOnlyTakes,
      Flaw::TimeOutOnlyAcknowledges, Flaw::TimeOutSleepsForThePost, Flaw::OuterLockFirst,
      Flaw::SignalLooksTooEarly,     Flaw::WaitLooksTooEarly};
  for (Flaw flaw : flaws) {
    Explorer explorer({Role::Signal, Role::Signal, Role::WaitLimited, Role::WaitLimited},
                      FunctionsOfCode());
    explorer.CompareWith(FunctionsOf(Model{flaw}));
    const std::string fault = explorer.Walk();
    EXPECT_EQ(fault.substr(0, fault.find(':')), "different steps") << static_cast<int>(flaw);
  }
}

TEST(QelOSConditionExplorer, ReportsALockThatAnotherHolds) {
  const auto careless = [] {
    qelOSMutex_Lock(&innerLock);
    qelOSMutex_Unlock(&innerLock);
    qelOSMutex_Unlock(&innerLock);
  };
  Explorer explorer({Role::Signal}, {nullptr, careless, nullptr});
  EXPECT_EQ(explorer.Walk(), "unlocked by another: 0-lock-inner 0-unlock-inner 0-unlock-inner");
}

TEST(QelOSConditionExplorer, ReportsCountersChangedWithoutTheLock) {
  const auto careless = [] {
    qelOSMutex_Lock(&innerLock);
    qelOSMutex_Unlock(&innerLock);
    condition.signals += 1;
    qelOSSemaphore_Post(&waitSem);
  };
  Explorer explorer({Role::Signal}, {nullptr, careless, nullptr});
  EXPECT_EQ(explorer.Walk(), "counters changed without the lock: 0-lock-inner 0-unlock-inner");
}

} // namespace

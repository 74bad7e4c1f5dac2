#include <qel/threads/Applet.h>

#include <algorithm>
#include <deque>
#include <functional>
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

constexpr qelULong kForEver = 0xFFFFFFFF;

// What was slept: the linker puts these in the place of qelOSThread_Sleep, one for each way in which
// a 32-bit type is spelled in the name.
std::vector<qelULong> g_sleeps;
std::function<void(qelULong)> g_onSleep;

void NoteSleep(qelULong ms) {
  g_sleeps.push_back(ms);
  if (g_onSleep)
    g_onSleep(ms);
}

} // namespace

extern "C" void __wrap__Z17qelOSThread_Sleepj(qelULong ms) {
  NoteSleep(ms);
}
extern "C" void __wrap__Z17qelOSThread_Sleepm(qelULong ms) {
  NoteSleep(ms);
}

namespace {

// An applet that shows its state and plays the body that it is given.
class Node : public qelApplet {
public:
  explicit Node(std::string called = "") : name(std::move(called)) {}
  ~Node() override {
    if (onEnd)
      onEnd();
  }

  bool Woken() const { return m_woken; }
  bool ChildWoken() const { return m_childWoken; }
  bool HadChild() const { return m_hadChild; }
  qelApplet* Parent() const { return m_parent; }
  qelAppletMsg LastMsg() const { return m_lastMsg; }
  qelAppletOptions Options() const { return m_options; }
  qelTimeout* First() { return FirstExpiringTimeout(); }
  std::vector<const void*> Fields() const {
    return {&m_woken, &m_childWoken, &m_parent, &m_options, &m_childs, &m_lastMsg, &m_hadChild};
  }

  // Everything that can be seen of the two marks: "-", "w", "c" or "wc".
  std::string Marks() const {
    return m_woken || m_childWoken ? std::string(m_woken ? "w" : "") + (m_childWoken ? "c" : "")
                                   : "-";
  }

  const std::string name;
  std::function<qelAppletMsg(qelAppletMsg)> body; // none: the default one
  std::function<void(qelULong)> onWait;           // played in WaitWakeUpSignal
  std::function<void()> onTimeouts;               // played in OnTimeouts
  std::function<void()> onEnd;                    // played in the destructor
  std::vector<int> messages;                      // that the body was called with
  std::vector<qelULong> waits;                    // that WaitWakeUpSignal was called with
  int raised = 0;                                 // calls of RaiseWakeUpSignal
  int timeouts = 0;                               // calls of OnTimeouts
  std::vector<std::string>* trace = nullptr;      // gets the name at each run of the body

protected:
  qelAppletMsg AppletLoop(qelAppletMsg msg) override {
    messages.push_back(msg);
    if (trace != nullptr)
      trace->push_back(name);
    return body ? body(msg) : qelApplet::AppletLoop(msg);
  }
  void RaiseWakeUpSignal() override { raised += 1; }
  void WaitWakeUpSignal(qelULong ms) override {
    waits.push_back(ms);
    if (onWait)
      onWait(ms);
  }

private:
  void OnTimeouts() override {
    timeouts += 1;
    if (onTimeouts)
      onTimeouts();
  }
};

std::function<qelAppletMsg(qelAppletMsg)> Returning(qelAppletMsg result) {
  return [result](qelAppletMsg) { return result; };
}

// root - middle - leaf, run once so that nothing is marked. Each body returns None.
struct Chain {
  Chain() {
    for (Node* node : {&root, &middle, &leaf}) {
      node->body = Returning(qelAppletMsgNone);
      node->trace = &trace;
    }
    root.AppletAttach(&middle, 0);
    middle.AppletAttach(&leaf, 0);
    root.AppletRun(qelAppletMsgNone);
    trace.clear();
  }
  std::string Marks() const { return root.Marks() + " " + middle.Marks() + " " + leaf.Marks(); }

  std::vector<std::string> trace;
  Node root{"root"}, middle{"middle"}, leaf{"leaf"};
};

// Sleeps are noted anew in each of these tests.
struct SleepTest : testing::Test {
  SleepTest() { g_sleeps.clear(); }
  ~SleepTest() override { g_onSleep = nullptr; }
};
struct qelAppletSelfWait : SleepTest {};
struct qelAppletWaitWakeUpSignal : SleepTest {};
struct qelAppletTree : SleepTest {};
struct qelAppletModel : SleepTest {};

} // namespace

TEST(qelApplet, HasItsFieldsBehindTheQueue) {
  EXPECT_EQ(sizeof(qelApplet), sizeof(qelTimeoutQueue) + 8 * sizeof(void*));
  EXPECT_TRUE((std::is_base_of_v<qelTimeoutQueue, qelApplet>));
  Node node;
  const std::vector<const void*> fields = node.Fields();
  EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end(), std::less<const void*>()));
  EXPECT_FALSE(std::is_copy_constructible_v<qelApplet>);
}

TEST(qelApplet, NumbersMessagesAndOptions) {
  EXPECT_EQ(qelAppletMsgNone, 0);
  EXPECT_EQ(qelAppletMsgQuit, 1);
  EXPECT_EQ(qelAppletMsgRunAgain, 2);
  EXPECT_EQ(qelAppletOptionWakeUpSignal, 1u);
  EXPECT_EQ(qelAppletOptionDeleteOnDetach, 2u);
}

TEST(qelApplet, IsAsleepAndAloneAtFirst) {
  Node node;
  EXPECT_EQ(node.Marks(), "-");
  EXPECT_EQ(node.Parent(), nullptr);
  EXPECT_EQ(node.Options(), 0u);
  EXPECT_EQ(node.LastMsg(), qelAppletMsgNone);
  EXPECT_FALSE(node.HadChild());
  EXPECT_EQ(node.First(), nullptr);
}

TEST(qelAppletRun, DoesNothingOnASleepingNode) {
  ScopedTickCount tick(0);
  Node node;
  qelTimeout timeout;
  node.TimeoutStart(&timeout, 1);
  EXPECT_EQ(node.AppletRun(qelAppletMsgNone), qelAppletMsgNone);
  EXPECT_THAT(node.messages, IsEmpty());
  EXPECT_EQ(node.Marks(), "-");
}

TEST(qelAppletRun, IsForcedByAnyMessage) {
  Node node;
  node.body = Returning(qelAppletMsgNone);
  for (int msg : {1, 2, 3, -1})
    EXPECT_EQ(node.AppletRun(static_cast<qelAppletMsg>(msg)), qelAppletMsgNone);
  EXPECT_THAT(node.messages, ElementsAre(1, 2, 3, -1));
  EXPECT_EQ(node.Marks(), "-");
}

TEST(qelAppletRun, RunsAWokenNodeOnce) {
  Node node;
  node.AppletWakeUp();
  EXPECT_EQ(node.AppletRun(qelAppletMsgNone), qelAppletMsgNone);
  EXPECT_EQ(node.AppletRun(qelAppletMsgNone), qelAppletMsgNone);
  EXPECT_THAT(node.messages, ElementsAre(0));
}

TEST(qelAppletRun, RunsANodeWhoseTimeoutHasExpired) {
  ScopedTickCount tick(0xFFFFFFFE);
  Node node;
  qelTimeout timeout;
  node.TimeoutStart(&timeout, 5);
  tick.Set(2);
  node.AppletRun(qelAppletMsgNone);
  EXPECT_THAT(node.messages, IsEmpty());
  tick.Set(3);
  node.AppletRun(qelAppletMsgNone);
  node.AppletRun(qelAppletMsgNone); // the timeout is still there
  EXPECT_THAT(node.messages, ElementsAre(0, 0));
  node.TimeoutCancel(&timeout);
}

TEST(qelAppletRun, ReachesTheNodeBelowWhoseTimeoutHasExpired) {
  ScopedTickCount tick(0);
  Chain tree;
  Node other("other");
  other.trace = &tree.trace;
  tree.root.AppletAttach(&other, 0);
  tree.root.AppletRun(qelAppletMsgNone);
  tree.trace.clear();
  qelTimeout timeout;
  tree.leaf.TimeoutStart(&timeout, 10);
  tick.Set(9);
  tree.root.AppletRun(qelAppletMsgNone);
  EXPECT_THAT(tree.trace, IsEmpty());
  tick.Set(10);
  tree.root.AppletRun(qelAppletMsgNone);
  EXPECT_THAT(tree.trace, ElementsAre("root", "middle", "leaf"));
  EXPECT_EQ(tree.Marks(), "- - -");
}

TEST(qelAppletRun, LooksAtNoTimeoutWhenTheNodeRunsAnyway) {
  ScopedTickCount tick(0);
  Chain tree;
  qelTimeout timeout;
  tree.leaf.TimeoutStart(&timeout, 0);
  tree.root.AppletRun(qelAppletMsgRunAgain);
  EXPECT_THAT(tree.trace, ElementsAre("root")); // it was told something
  tree.root.AppletWakeUp();
  tree.root.AppletRun(qelAppletMsgNone);
  EXPECT_THAT(tree.trace, ElementsAre("root", "root")); // it was woken
  tree.root.AppletRun(qelAppletMsgNone);
  EXPECT_THAT(tree.trace, ElementsAre("root", "root", "root", "middle", "leaf"));
}

TEST(qelAppletRun, AsksEachChildOfAMarkedNodeForItsTimeout) {
  ScopedTickCount tick(0);
  std::vector<std::string> trace;
  Node root("root"), woken("woken"), due("due"), idle("idle");
  for (Node* node : {&root, &woken, &due, &idle}) {
    node->trace = &trace;
    node->body = Returning(qelAppletMsgNone);
    if (node != &root)
      root.AppletAttach(node, 0);
  }
  qelTimeout timeout;
  due.TimeoutStart(&timeout, 0);
  woken.AppletWakeUp();
  root.AppletRun(qelAppletMsgNone);
  EXPECT_THAT(trace, ElementsAre("root", "woken", "due"));
}

TEST(qelAppletRun, ReturnsNoneWheneverNothingRuns) {
  Node node;
  node.body = Returning(static_cast<qelAppletMsg>(3));
  EXPECT_EQ(node.AppletRun(qelAppletMsgRunAgain), 3);
  EXPECT_EQ(node.AppletRun(qelAppletMsgNone), qelAppletMsgNone);
  EXPECT_EQ(node.LastMsg(), 3);
}

TEST(qelAppletRun, RunsNoChildThatIsNotMarked) {
  Chain tree;
  EXPECT_EQ(tree.root.AppletRun(qelAppletMsgRunAgain), qelAppletMsgNone);
  EXPECT_THAT(tree.trace, ElementsAre("root"));
}

TEST(qelAppletRun, RunsMarkedChildrenInTheOrderOfAttachment) {
  std::vector<std::string> trace;
  Node root("root"), a("a"), b("b"), c("c");
  for (Node* node : {&root, &a, &b, &c})
    node->trace = &trace;
  for (Node* node : {&a, &b, &c})
    root.AppletAttach(node, 0);
  c.AppletWakeUp();
  a.AppletWakeUp();
  root.AppletRun(qelAppletMsgRunAgain);
  EXPECT_THAT(trace, ElementsAre("root", "a", "c"));
  EXPECT_THAT(root.messages, ElementsAre(2));
  EXPECT_THAT(a.messages, ElementsAre(0)); // whatever the root was told
}

TEST(qelAppletRun, ReturnsItsOwnResultAndDropsThoseOfTheChildren) {
  Chain tree;
  tree.middle.body = Returning(qelAppletMsgRunAgain);
  tree.middle.AppletWakeUp();
  EXPECT_EQ(tree.root.AppletRun(qelAppletMsgNone), qelAppletMsgNone);
  EXPECT_EQ(tree.root.LastMsg(), qelAppletMsgNone);
  EXPECT_EQ(tree.middle.LastMsg(), qelAppletMsgRunAgain);
}

TEST(qelAppletRun, ClearsTheMarkBeforeTheBodyRuns) {
  Chain tree;
  std::string during;
  tree.leaf.body = [&](qelAppletMsg) {
    during = tree.Marks();
    tree.leaf.AppletWakeUp();
    return qelAppletMsgNone;
  };
  tree.leaf.AppletWakeUp();
  EXPECT_EQ(tree.Marks(), "wc wc w");
  tree.root.AppletRun(qelAppletMsgNone);
  EXPECT_EQ(during, "- - -");
  EXPECT_EQ(tree.Marks(), "wc wc w");
  tree.leaf.body = nullptr;
  tree.root.AppletRun(qelAppletMsgNone);
  EXPECT_EQ(tree.leaf.messages.size(), 2u);
  EXPECT_EQ(tree.Marks(), "- - -");
}

TEST(qelAppletRun, RunsAgainInTheNextPassWhenTheBodyAsksForIt) {
  Chain tree;
  tree.leaf.body = Returning(qelAppletMsgRunAgain);
  tree.leaf.AppletWakeUp();
  for (size_t pass = 1; pass <= 3; ++pass) {
    tree.root.AppletRun(qelAppletMsgNone);
    EXPECT_EQ(tree.leaf.messages.size(), pass);
    EXPECT_EQ(tree.Marks(), "wc wc w");
    tree.root.SelfWait(); // returns at once: a wait would need a timeout
  }
  EXPECT_THAT(tree.root.waits, IsEmpty());
}

TEST(qelAppletRun, IsFinalAfterQuit) {
  ScopedTickCount tick(0);
  Node node;
  qelTimeout timeout;
  EXPECT_EQ(node.AppletRun(qelAppletMsgQuit), qelAppletMsgQuit);
  node.TimeoutStart(&timeout, 0);
  node.AppletWakeUp();
  for (qelAppletMsg msg : {qelAppletMsgNone, qelAppletMsgRunAgain, qelAppletMsgQuit})
    EXPECT_EQ(node.AppletRun(msg), qelAppletMsgQuit);
  EXPECT_THAT(node.messages, ElementsAre(1));
  EXPECT_EQ(node.Marks(), "w");
  node.TimeoutCancel(&timeout);
}

TEST(qelAppletRun, RunsMarkedChildrenOfANodeThatEnds) {
  Chain tree;
  tree.root.body = Returning(qelAppletMsgQuit);
  tree.leaf.AppletWakeUp();
  EXPECT_EQ(tree.root.AppletRun(qelAppletMsgNone), qelAppletMsgQuit);
  EXPECT_THAT(tree.trace, ElementsAre("root", "middle", "leaf"));
  tree.leaf.AppletWakeUp();
  EXPECT_EQ(tree.root.AppletRun(qelAppletMsgNone), qelAppletMsgQuit);
  EXPECT_EQ(tree.trace.size(), 3u);
}

TEST(qelAppletRun, DetachesAChildThatEnds) {
  Chain tree;
  tree.leaf.body = Returning(qelAppletMsgQuit);
  tree.leaf.AppletWakeUp();
  tree.root.AppletRun(qelAppletMsgNone);
  EXPECT_EQ(tree.leaf.Parent(), nullptr);
  EXPECT_EQ(tree.Marks(), "wc w -"); // the detachment has woken the container
}

TEST(qelAppletRun, DetachesAnEndedChildAgainThatHasLeftByItself) {
  Chain tree;
  tree.leaf.body = [&](qelAppletMsg) {
    tree.middle.AppletDetach(&tree.leaf);
    return qelAppletMsgQuit;
  };
  tree.leaf.AppletWakeUp();
  tree.root.AppletRun(qelAppletMsgNone);
  EXPECT_EQ(tree.leaf.Parent(), nullptr);
  EXPECT_EQ(tree.Marks(), "wc w -");
}

TEST(qelAppletRun, DeletesEndedChildrenOnTheWay) {
  std::vector<std::string> ended;
  Node root;
  for (const char* name : {"a", "b", "c"}) {
    Node* child = new Node(name);
    child->onEnd = [&ended, name] { ended.push_back(name); };
    child->body = Returning(name[0] == 'b' ? qelAppletMsgNone : qelAppletMsgQuit);
    root.AppletAttach(child, qelAppletOptionDeleteOnDetach);
    child->AppletWakeUp();
  }
  root.AppletRun(qelAppletMsgNone);
  EXPECT_THAT(ended, ElementsAre("a", "c"));
  EXPECT_EQ(root.Marks(), "w");
}

TEST(qelAppletRun, LeavesAChildThatTheLastOneAddsForTheNextPass) {
  std::vector<std::string> trace;
  Node root("root"), first("first"), last("last"), added("added");
  for (Node* node : {&root, &first, &last, &added})
    node->trace = &trace;
  root.AppletAttach(&first, 0);
  root.AppletAttach(&last, 0);
  last.body = [&](qelAppletMsg) {
    if (added.Parent() == nullptr) {
      root.AppletAttach(&added, 0);
      added.AppletWakeUp();
    }
    return qelAppletMsgNone;
  };
  last.AppletWakeUp();
  root.AppletRun(qelAppletMsgNone);
  EXPECT_THAT(trace, ElementsAre("root", "last"));
  root.AppletRun(qelAppletMsgNone);
  EXPECT_THAT(trace, ElementsAre("root", "last", "root", "added"));
}

TEST(qelAppletLoop, OfALeafEchoesItsMessage) {
  qelApplet leaf;
  leaf.AppletWakeUp();
  EXPECT_EQ(leaf.AppletRun(qelAppletMsgNone), qelAppletMsgNone);
  EXPECT_EQ(leaf.AppletRun(qelAppletMsgRunAgain), qelAppletMsgRunAgain);
  EXPECT_EQ(leaf.AppletRun(qelAppletMsgQuit), qelAppletMsgQuit);
}

TEST(qelAppletLoop, OfAContainerIgnoresQuit) {
  qelApplet root, child;
  root.AppletAttach(&child, 0);
  EXPECT_EQ(root.AppletRun(qelAppletMsgQuit), qelAppletMsgNone);
  EXPECT_EQ(root.AppletRun(qelAppletMsgRunAgain), qelAppletMsgNone);
  root.AppletDetach(&child);
  EXPECT_EQ(root.AppletRun(qelAppletMsgNone), qelAppletMsgQuit);
}

TEST(qelAppletLoop, OfAContainerWithoutChildrenEndsUpTheTree) {
  Chain tree;
  tree.root.body = tree.middle.body = nullptr;
  tree.leaf.body = Returning(qelAppletMsgQuit);
  tree.leaf.AppletWakeUp();
  EXPECT_EQ(tree.root.AppletRun(qelAppletMsgNone), qelAppletMsgNone); // the leaf ends
  tree.root.SelfWait();
  EXPECT_EQ(tree.root.AppletRun(qelAppletMsgNone), qelAppletMsgNone); // the middle
  EXPECT_EQ(tree.middle.LastMsg(), qelAppletMsgQuit);
  EXPECT_EQ(tree.middle.Parent(), nullptr);
  tree.root.SelfWait();
  EXPECT_EQ(tree.root.AppletRun(qelAppletMsgNone), qelAppletMsgQuit);
  EXPECT_THAT(tree.root.waits, IsEmpty());
}

TEST(qelAppletWakeUp, MarksTheWayToTheRoot) {
  Chain tree;
  tree.leaf.AppletWakeUp();
  EXPECT_EQ(tree.Marks(), "wc wc w");
}

TEST(qelAppletWakeUp, MarksNothingBelow) {
  Chain tree;
  tree.middle.AppletWakeUp();
  EXPECT_EQ(tree.Marks(), "wc w -");
}

TEST(qelAppletWakeUp, StopsAtAWokenAncestor) {
  Chain tree;
  tree.root.AppletSetOptions(qelAppletOptionWakeUpSignal);
  tree.root.AppletWakeUp();
  EXPECT_EQ(tree.root.raised, 1);
  tree.leaf.AppletWakeUp();
  EXPECT_EQ(tree.Marks(), "wc wc w");
  EXPECT_EQ(tree.root.raised, 1);
}

TEST(qelAppletWakeUp, StopsInTheMiddleOfTheWay) {
  // A middle that is marked without its root, as when it was woken before it was attached.
  Node middle, leaf, root;
  middle.AppletAttach(&leaf, 0);
  root.AppletSetOptions(qelAppletOptionWakeUpSignal);
  root.AppletAttach(&middle, 0);
  root.AppletRun(qelAppletMsgNone);
  const int raised = root.raised;
  leaf.AppletWakeUp();
  EXPECT_EQ(leaf.Marks() + " " + middle.Marks() + " " + root.Marks(), "w wc -");
  EXPECT_EQ(root.raised, raised);
}

TEST(qelAppletWakeUp, RaisesTheSignalOncePerPass) {
  Chain tree;
  tree.root.AppletSetOptions(qelAppletOptionWakeUpSignal);
  for (int pass = 1; pass <= 3; ++pass) {
    tree.leaf.AppletWakeUp();
    tree.leaf.AppletWakeUp();
    tree.middle.AppletWakeUp();
    tree.root.AppletWakeUp();
    EXPECT_EQ(tree.root.raised, pass);
    tree.root.AppletRun(qelAppletMsgNone);
  }
  EXPECT_EQ(tree.leaf.raised + tree.middle.raised, 0);
}

TEST(qelAppletWakeUp, RaisesNoSignalWithoutTheRootsOption) {
  Chain tree;
  tree.leaf.AppletSetOptions(qelAppletOptionWakeUpSignal);
  tree.leaf.AppletWakeUp();
  EXPECT_EQ(tree.root.raised + tree.leaf.raised, 0);
}

TEST(qelAppletAttach, WakesTheParentAndNotTheChild) {
  Node root, child;
  root.AppletAttach(&child, 0);
  EXPECT_EQ(root.Marks(), "w");
  EXPECT_EQ(child.Marks(), "-");
  EXPECT_EQ(child.Parent(), &root);
  EXPECT_TRUE(root.HadChild());
  EXPECT_FALSE(child.HadChild());
  root.AppletRun(qelAppletMsgNone);
  EXPECT_THAT(root.messages, ElementsAre(0));
  EXPECT_THAT(child.messages, IsEmpty());
}

TEST(qelAppletAttach, DoesNotRunAChildThatWasWokenEarlier) {
  ScopedTickCount tick(0);
  Node root, child;
  child.AppletWakeUp();
  root.AppletAttach(&child, 0);
  EXPECT_EQ(root.Marks(), "w");
  root.AppletRun(qelAppletMsgNone);
  child.AppletWakeUp();
  EXPECT_EQ(root.Marks(), "-");
  root.AppletRun(qelAppletMsgNone);
  EXPECT_THAT(child.messages, IsEmpty());
  qelTimeout timeout;
  root.TimeoutStart(&timeout, 0);
  root.AppletRun(qelAppletMsgNone);
  EXPECT_THAT(child.messages, ElementsAre(0));
  root.TimeoutCancel(&timeout);
}

TEST(qelAppletAttach, HandsTheSignalOptionDown) {
  Node plain, signalled, a, b, c;
  signalled.AppletSetOptions(qelAppletOptionWakeUpSignal | qelAppletOptionDeleteOnDetach);
  plain.AppletAttach(&a, qelAppletOptionWakeUpSignal);
  EXPECT_EQ(a.Options(), 0u);
  a.AppletAttach(&c, 0);
  signalled.AppletAttach(&b, 0);
  EXPECT_EQ(b.Options(), qelAppletOptionWakeUpSignal);
  plain.AppletDetach(&a);
  signalled.AppletAttach(&a, 0);
  EXPECT_EQ(a.Options(), qelAppletOptionWakeUpSignal);
  EXPECT_EQ(c.Options(), 0u); // only the child itself
}

TEST(qelAppletAttach, TakesDeletionAloneFromItsOptions) {
  Node root;
  Node* child = new Node;
  root.AppletAttach(child, 0xFFFFFFFF);
  EXPECT_EQ(child->Options(), qelAppletOptionDeleteOnDetach);
  root.AppletDetach(child);
}

TEST(qelAppletAttach, LeavesTheChildsOwnOptions) {
  Node root, child;
  child.AppletSetOptions(qelAppletOptionWakeUpSignal);
  root.AppletAttach(&child, 0);
  EXPECT_EQ(child.Options(), qelAppletOptionWakeUpSignal);
}

TEST(qelAppletDetach, FreesTheChildAndWakesTheParent) {
  ScopedTickCount tick(0);
  Chain tree;
  qelTimeout timeout;
  tree.leaf.TimeoutStart(&timeout, 5);
  EXPECT_EQ(tree.root.First(), &timeout);
  tree.middle.AppletDetach(&tree.leaf);
  EXPECT_EQ(tree.Marks(), "wc w -");
  EXPECT_EQ(tree.leaf.Parent(), nullptr);
  EXPECT_TRUE(tree.middle.HadChild());
  EXPECT_EQ(tree.root.First(), nullptr);
  tree.leaf.AppletWakeUp();
  EXPECT_EQ(tree.leaf.Marks(), "w");
  tree.root.AppletAttach(&tree.leaf, 0);
  EXPECT_EQ(tree.leaf.Parent(), &tree.root);
  EXPECT_EQ(tree.root.First(), &timeout);
  tree.leaf.TimeoutCancel(&timeout);
}

TEST(qelAppletDetach, DeletesAChildThatHasTheOption) {
  int ended = 0;
  Node root;
  for (int how = 0; how < 2; ++how) {
    Node* child = new Node;
    child->onEnd = [&] {
      ended += 1;
      EXPECT_EQ(root.Marks(), "-"); // the wake-up comes last
      EXPECT_EQ(child->Parent(), nullptr);
    };
    const qelAppletOptions option = qelAppletOptionDeleteOnDetach;
    if (how == 0)
      child->AppletSetOptions(option);
    root.AppletAttach(child, how == 0 ? 0 : option);
    root.AppletRun(qelAppletMsgNone);
    root.AppletDetach(child);
    EXPECT_EQ(ended, how + 1);
    EXPECT_EQ(root.Marks(), "w");
  }
}

TEST(qelAppletDetach, DeletesANodeOfNoTreeToo) {
  int ended = 0;
  Node root;
  Node* child = new Node;
  child->onEnd = [&] { ended += 1; };
  child->AppletSetOptions(qelAppletOptionDeleteOnDetach);
  root.AppletDetach(child);
  EXPECT_EQ(ended, 1);
  EXPECT_EQ(root.Marks(), "w");
}

TEST(qelAppletDetach, KeepsTheOrderOfTheOthers) {
  std::vector<std::string> trace;
  Node root, a("a"), b("b"), c("c");
  for (Node* node : {&a, &b, &c}) {
    node->trace = &trace;
    root.AppletAttach(node, 0);
  }
  root.AppletDetach(&a);
  root.AppletAttach(&a, 0);
  for (Node* node : {&a, &b, &c})
    node->AppletWakeUp();
  root.AppletRun(qelAppletMsgNone);
  EXPECT_THAT(trace, ElementsAre("b", "c", "a"));
}

TEST(qelAppletOptions, AreSetClearedAndTold) {
  Node node;
  EXPECT_EQ(node.AppletSetOptions(qelAppletOptionWakeUpSignal), 1u);
  EXPECT_EQ(node.AppletSetOptions(qelAppletOptionDeleteOnDetach), 3u);
  EXPECT_EQ(node.AppletSetOptions(0x80000000), 0x80000003u);
  EXPECT_EQ(node.AppletClearOptions(qelAppletOptionWakeUpSignal | 4), 0x80000002u);
  EXPECT_EQ(node.AppletClearOptions(0), 0x80000002u);
  EXPECT_EQ(node.Options(), 0x80000002u);
}

TEST(qelAppletDestructor, LeavesTheTree) {
  Node root;
  auto child = std::make_unique<Node>();
  root.AppletAttach(child.get(), 0);
  root.AppletRun(qelAppletMsgNone);
  child.reset();
  EXPECT_EQ(root.Marks(), "w");
  EXPECT_EQ(root.AppletRun(qelAppletMsgNone), qelAppletMsgQuit); // no child is left
}

TEST(qelAppletDestructor, DetachesItsChildren) {
  std::vector<std::string> ended;
  Node kept("kept");
  {
    Node root;
    root.AppletSetOptions(qelAppletOptionWakeUpSignal);
    for (const char* name : {"a", "b"}) {
      Node* child = new Node(name);
      child->onEnd = [&ended, name] { ended.push_back(name); };
      root.AppletAttach(child, qelAppletOptionDeleteOnDetach);
      if (name[0] == 'a')
        root.AppletAttach(&kept, 0);
    }
  }
  EXPECT_THAT(ended, ElementsAre("a", "b"));
  EXPECT_EQ(kept.Parent(), nullptr);
  kept.AppletWakeUp();
  EXPECT_EQ(kept.raised, 1); // a root of its own, with the option that it was given
}

TEST(qelAppletDestructor, DeletesWholeSubtrees) {
  int ended = 0;
  Node root;
  std::vector<Node*> chain = {&root};
  for (int level = 0; level < 500; ++level) {
    Node* child = new Node;
    child->onEnd = [&] { ended += 1; };
    chain.back()->AppletAttach(child, qelAppletOptionDeleteOnDetach);
    chain.push_back(child);
  }
  root.AppletDetach(chain[1]);
  EXPECT_EQ(ended, 500);
}

TEST(qelAppletFirstExpiringTimeout, IsTheEarliestOfTheSubtree) {
  ScopedTickCount tick(0);
  Chain tree;
  qelTimeout a, b, c, d;
  tree.root.TimeoutStart(&a, 30);
  EXPECT_EQ(tree.root.First(), &a);
  tree.leaf.TimeoutStart(&b, 20);
  EXPECT_EQ(tree.root.First(), &b);
  tree.leaf.TimeoutStart(&c, 10);
  EXPECT_EQ(tree.root.First(), &c);
  tree.middle.TimeoutStart(&d, 15);
  EXPECT_EQ(tree.root.First(), &c);
  tree.leaf.TimeoutCancel(&c);
  EXPECT_EQ(tree.root.First(), &d);
  EXPECT_EQ(tree.leaf.First(), &b);
}

TEST(qelAppletFirstExpiringTimeout, PrefersItsOwnAmongEquals) {
  ScopedTickCount tick(0);
  Chain tree;
  qelTimeout own, below;
  tree.leaf.TimeoutStart(&below, 10);
  tree.root.TimeoutStart(&own, 10);
  EXPECT_EQ(tree.root.First(), &own);
  tick.Set(20); // both have expired
  EXPECT_EQ(tree.root.First(), &own);
}

TEST(qelAppletFirstExpiringTimeout, PrefersTheEarlierChildAmongEquals) {
  ScopedTickCount tick(0);
  Node root, first, second;
  root.AppletAttach(&first, 0);
  root.AppletAttach(&second, 0);
  qelTimeout a, b;
  second.TimeoutStart(&b, 10);
  first.TimeoutStart(&a, 10);
  EXPECT_EQ(root.First(), &a);
  tick.Set(1);
  first.TimeoutStart(&a, 10);
  EXPECT_EQ(root.First(), &b);
}

TEST(qelAppletFirstExpiringTimeout, AsksWhatAChildOverrides) {
  struct Other : Node {
    qelTimeout* FirstExpiringTimeout() override { return &timeout; }
    qelTimeout timeout;
  };
  ScopedTickCount tick(0);
  Node root;
  Other child;
  child.timeout.Start(7);
  root.AppletAttach(&child, 0);
  EXPECT_EQ(root.First(), &child.timeout);
}

TEST(qelAppletHandleExpiredTimeouts, SeesTheWholeSubtree) {
  ScopedTickCount tick(0);
  Chain tree;
  qelTimeout timeout;
  tree.leaf.TimeoutStart(&timeout, 10);
  tree.root.HandleExpiredTimeouts();
  EXPECT_EQ(tree.root.timeouts, 0);
  tick.Set(10);
  tree.root.HandleExpiredTimeouts();
  EXPECT_EQ(tree.root.timeouts, 1); // though only the leaf's timeout is due
  EXPECT_EQ(tree.leaf.timeouts, 0);
}

TEST(qelAppletHandleExpiredTimeouts, DoesNothingByDefault) {
  ScopedTickCount tick(0);
  qelApplet node;
  qelTimeoutQueue& queue = node;
  qelTimeout timeout;
  queue.TimeoutStart(&timeout, 0);
  queue.HandleExpiredTimeouts();
  queue.HandleExpiredTimeouts();
  EXPECT_EQ(queue.FirstExpiringTimeout(), &timeout);
}

TEST_F(qelAppletSelfWait, ReturnsAtOnceWhenWoken) {
  Node node; // with no timeout, and no signal
  node.AppletWakeUp();
  node.SelfWait();
  EXPECT_EQ(node.Marks(), "w");
  EXPECT_THAT(g_sleeps, IsEmpty());
}

TEST_F(qelAppletSelfWait, SleepsUntilTheFirstTimeout) {
  ScopedTickCount tick(0xFFFFFFF0);
  Chain tree;
  qelTimeout timeout;
  tree.leaf.TimeoutStart(&timeout, 0x20);
  tick.Set(8);
  tree.root.SelfWait();
  EXPECT_THAT(g_sleeps, ElementsAre(8));
  EXPECT_THAT(tree.root.waits, IsEmpty());
  EXPECT_EQ(tree.root.Marks(), "w"); // though the sleep has not moved the tick
}

TEST_F(qelAppletSelfWait, WaitsForTheSignalUntilTheFirstTimeout) {
  ScopedTickCount tick(100);
  Chain tree;
  tree.root.AppletSetOptions(qelAppletOptionWakeUpSignal);
  qelTimeout timeout;
  tree.leaf.TimeoutStart(&timeout, 25);
  tick.Set(105);
  tree.root.SelfWait();
  EXPECT_THAT(tree.root.waits, ElementsAre(20));
  EXPECT_THAT(g_sleeps, IsEmpty());
  EXPECT_EQ(tree.root.Marks(), "w");
}

TEST_F(qelAppletSelfWait, WaitsForTheSignalAloneWithoutTimeouts) {
  Chain tree;
  tree.root.AppletSetOptions(qelAppletOptionWakeUpSignal);
  tree.root.SelfWait();
  EXPECT_THAT(tree.root.waits, ElementsAre(kForEver));
  EXPECT_EQ(tree.root.Marks(), "w");
  tree.root.AppletRun(qelAppletMsgNone);
  EXPECT_THAT(tree.trace, ElementsAre("root")); // whatever has ended the wait
}

TEST_F(qelAppletSelfWait, MarksTheChildrenWhenATimeoutHasExpired) {
  ScopedTickCount tick(0);
  for (bool signalled : {false, true}) {
    uint32_t now = 0;
    tick.Set(now);
    Chain tree;
    if (signalled)
      tree.root.AppletSetOptions(qelAppletOptionWakeUpSignal);
    tree.root.onWait = g_onSleep = [&](qelULong ms) { tick.Set(now += ms); };
    qelTimeout timeout;
    tree.leaf.TimeoutStart(&timeout, 10);
    tree.root.SelfWait();
    EXPECT_EQ(tree.root.Marks(), "wc");
    tree.root.AppletRun(qelAppletMsgNone);
    EXPECT_THAT(tree.trace, ElementsAre("root", "middle", "leaf"));
    tree.trace.clear();
    tree.root.SelfWait(); // the timeout is still there
    EXPECT_EQ(tree.root.Marks(), "wc");
    g_onSleep = nullptr;
  }
  EXPECT_THAT(g_sleeps, ElementsAre(10, 0));
}

TEST_F(qelAppletSelfWait, LooksAgainAtWhatTheWaitHasLeft) {
  ScopedTickCount tick(0);
  Chain tree;
  tree.root.AppletSetOptions(qelAppletOptionWakeUpSignal);
  auto timeout = std::make_unique<qelTimeout>();
  tree.leaf.TimeoutStart(timeout.get(), 10);
  tree.root.onWait = [&](qelULong ms) {
    tick.Set(ms);
    timeout.reset(); // what has been the first
  };
  tree.root.SelfWait();
  EXPECT_EQ(tree.root.Marks(), "w");
}

TEST_F(qelAppletSelfWait, LetsAnOwnersLoopEnd) {
  ScopedTickCount tick(0xFFFFFF00);
  uint32_t now = 0xFFFFFF00;
  g_onSleep = [&](qelULong ms) { tick.Set(now += ms); };
  Chain tree;
  tree.root.body = tree.middle.body = nullptr;
  qelTimeout timeout;
  tree.leaf.TimeoutStart(&timeout, 300);
  tree.leaf.body = [&](qelAppletMsg) {
    return timeout.IsExpired() ? qelAppletMsgQuit : qelAppletMsgNone;
  };
  int passes = 1;
  while (passes < 100 && tree.root.AppletRun(qelAppletMsgNone) != qelAppletMsgQuit) {
    tree.root.SelfWait();
    passes += 1;
  }
  EXPECT_EQ(passes, 4); // nothing due, the leaf ends, the middle, the root
  EXPECT_THAT(g_sleeps, ElementsAre(300));
  EXPECT_EQ(tree.leaf.messages.size(), 1u);
}

TEST_F(qelAppletWaitWakeUpSignal, SleepsByDefault) {
  struct Plain : qelApplet {
    using qelApplet::RaiseWakeUpSignal;
    using qelApplet::WaitWakeUpSignal;
  };
  Plain node;
  node.WaitWakeUpSignal(12);
  node.RaiseWakeUpSignal();
  node.AppletSetOptions(qelAppletOptionWakeUpSignal);
  node.SelfWait();
  EXPECT_THAT(g_sleeps, ElementsAre(12, kForEver));
}

namespace {

constexpr int kWidth = 100;

// A node that counts the runs of its body, its living fellows and itself.
class Counted : public qelApplet {
public:
  Counted() { living += 1; }
  ~Counted() override { living -= 1; }

  static int living;
  static int runs;

protected:
  qelAppletMsg AppletLoop(qelAppletMsg msg) override {
    runs += 1;
    return qelApplet::AppletLoop(msg);
  }
};
int Counted::living = 0;
int Counted::runs = 0;

// Restarts its timeout until it has expired three times, and ends.
class Leaf : public Counted {
public:
  explicit Leaf(qelULong ms) : m_ms(ms) { TimeoutStart(&m_timeout, ms); }
  static int fired;

protected:
  qelAppletMsg AppletLoop(qelAppletMsg) override {
    runs += 1;
    HandleExpiredTimeouts();
    return m_times == 3 ? qelAppletMsgQuit : qelAppletMsgNone;
  }

private:
  void OnTimeouts() override {
    fired += 1;
    m_times += 1;
    TimeoutStart(&m_timeout, m_ms);
  }

  const qelULong m_ms;
  qelTimeout m_timeout;
  int m_times = 0;
};
int Leaf::fired = 0;

// 100 containers with 100 leaves each, made by the given function, all deleted by their parents.
// Runs the containers once, so that nothing is marked.
void Plant(Node* root, const std::function<Counted*()>& newLeaf) {
  for (int i = 0; i < kWidth; ++i) {
    Counted* container = new Counted;
    root->AppletAttach(container, qelAppletOptionDeleteOnDetach);
    for (int k = 0; k < kWidth; ++k)
      container->AppletAttach(newLeaf(), qelAppletOptionDeleteOnDetach);
  }
  root->AppletRun(qelAppletMsgNone);
  Counted::runs = 0;
  Leaf::fired = 0;
}

} // namespace

TEST_F(qelAppletTree, CostsNoBodyCallWhileItIsIdle) {
  ScopedTickCount tick(0);
  Node root;
  Plant(&root, [] { return new Leaf(10); });
  ASSERT_EQ(Counted::living, kWidth * kWidth + kWidth);
  root.messages.clear();
  for (uint32_t now = 0; now < 10; ++now) {
    tick.Set(now);
    EXPECT_EQ(root.AppletRun(qelAppletMsgNone), qelAppletMsgNone);
  }
  EXPECT_EQ(Counted::runs, 0);
  EXPECT_THAT(root.messages, IsEmpty());
}

TEST_F(qelAppletTree, RunsTheWayToOneNodeOfMany) {
  Node root;
  Counted* last = nullptr;
  Plant(&root, [&] { return last = new Counted; });
  last->AppletWakeUp();
  root.AppletRun(qelAppletMsgNone);
  EXPECT_EQ(Counted::runs, 2); // a container and its leaf
}

TEST_F(qelAppletTree, FiresEveryTimeoutAndEndsAcrossTheWrapOfTheTick) {
  uint32_t now = 0xFFFFFFFF - 150;
  ScopedTickCount tick(now);
  {
    Node root;
    root.AppletSetOptions(qelAppletOptionWakeUpSignal);
    root.onWait = [&](qelULong ms) {
      EXPECT_NE(ms, kForEver);
      tick.Set(now += ms);
    };
    std::mt19937 random(36);
    Plant(&root, [&] { return new Leaf(static_cast<qelULong>(10 + random() % 10 * 10)); });
    int passes = 0;
    while (passes < 1000 && root.AppletRun(qelAppletMsgNone) != qelAppletMsgQuit) {
      root.SelfWait();
      passes += 1;
    }
    EXPECT_EQ(root.LastMsg(), qelAppletMsgQuit);
    // The moments at which something is due: 10, 20, 30 ... 100, then up to 300.
    EXPECT_THAT(root.waits, testing::Each(testing::Lt(100u)));
    EXPECT_LE(passes, 32);
  }
  EXPECT_EQ(Leaf::fired, 3 * kWidth * kWidth);
  EXPECT_EQ(Counted::living, 0);
  EXPECT_EQ(now, 300u - 151u);
  EXPECT_THAT(g_sleeps, IsEmpty());
}

TEST_F(qelAppletTree, WakesUpFromAnyDepth) {
  constexpr int kDepth = 10000;
  std::deque<Node> chain(kDepth); // the root ends first
  chain.front().AppletSetOptions(qelAppletOptionWakeUpSignal);
  for (int i = 1; i < kDepth; ++i)
    chain[i - 1].AppletAttach(&chain[i], 0);
  chain.front().AppletRun(qelAppletMsgNone);
  for (Node& node : chain) {
    node.messages.clear();
    ASSERT_EQ(node.Marks(), "-");
  }
  const int raised = chain.front().raised;
  chain.back().AppletWakeUp();
  EXPECT_EQ(chain.front().raised, raised + 1);
  EXPECT_EQ(chain.back().Marks(), "w");
  for (int i = 0; i + 1 < kDepth; ++i)
    ASSERT_EQ(chain[i].Marks(), "wc");
  chain.front().AppletRun(qelAppletMsgNone);
  for (Node& node : chain) {
    ASSERT_EQ(node.Marks(), "-");
    ASSERT_THAT(node.messages, ElementsAre(0));
  }
  EXPECT_EQ(chain.front().First(), nullptr);
}

namespace {

constexpr int kTimeoutsPerNode = 2;

// What a body does at its nth run, the same in the tree and in its model.
struct Deed {
  Deed(int id, int run) {
    std::mt19937 random(static_cast<uint32_t>(id * 1000 + run));
    kind = static_cast<int>(random() % 6);
    number = static_cast<int>(random() % 1000);
    result = static_cast<int>(random() % 24);
  }
  int kind;   // 0 start a timeout, 1 wake a node, 2 detach a child, else nothing
  int number; // of the node; the milliseconds
  int result; // 0 quit, 1 and 2 run again, 3 what the default body returns, else none
};

// A wait of this many milliseconds ends after that many.
uint32_t Waited(qelULong ms) {
  return std::min<qelULong>(ms, 20);
}

// The trees as tables: nodes are numbers, and the first timeout is the least of a flat list.
class Model {
public:
  struct Item {
    bool alive = true, woken = false, childWoken = false, hadChild = false;
    int parent = -1, lastMsg = 0, runs = 0, timeouts = 0, raised = 0;
    qelAppletOptions options = 0;
    std::vector<int> children;
    std::vector<int> queue; // timeouts in the order of expiry
  };

  uint32_t Remaining(int t) const {
    const uint32_t elapsed = now - starts[t];
    return elapsed < durations[t] ? durations[t] - elapsed : 0;
  }
  int Add() {
    items.emplace_back();
    starts.resize(items.size() * kTimeoutsPerNode);
    durations.resize(starts.size());
    return static_cast<int>(items.size()) - 1;
  }
  void Start(int t, uint32_t ms) {
    Cancel(t);
    starts[t] = now;
    durations[t] = ms;
    std::vector<int>& queue = items[t / kTimeoutsPerNode].queue;
    size_t place = 0;
    while (place < queue.size() && Remaining(queue[place]) <= ms)
      ++place;
    queue.insert(queue.begin() + static_cast<ptrdiff_t>(place), t);
  }
  void Cancel(int t) { Drop(&items[t / kTimeoutsPerNode].queue, t); }

  int First(int i) const {
    std::vector<int> heads;
    Collect(i, &heads);
    int best = -1;
    for (int t : heads)
      best = best < 0 || Remaining(t) < Remaining(best) ? t : best;
    return best;
  }
  bool IsDue(int i) const { return First(i) >= 0 && Remaining(First(i)) == 0; }

  void WakeUp(int i) {
    Item& item = items[i];
    if (item.woken)
      return;
    item.woken = true;
    if (item.parent >= 0) {
      items[item.parent].childWoken = true;
      WakeUp(item.parent);
    } else if ((item.options & 1) != 0 && item.alive) {
      item.raised += 1;
    }
  }
  void Attach(int parent, int child, qelAppletOptions options) {
    items[child].options |= (items[parent].options & 1) | (options & 2);
    items[child].parent = parent;
    items[parent].children.push_back(child);
    items[parent].hadChild = true;
    WakeUp(parent);
  }
  void Detach(int child) {
    const int parent = items[child].parent;
    items[child].parent = -1;
    Drop(&items[parent].children, child);
    if ((items[child].options & 2) != 0)
      End(child);
    WakeUp(parent);
  }
  void End(int i) {
    items[i].alive = false;
    items[i].queue.clear();
    if (items[i].parent >= 0) {
      items[i].options &= ~qelAppletOptions(2);
      Detach(i);
    }
    while (!items[i].children.empty())
      Detach(items[i].children.front());
  }
  int Run(int i, int msg) {
    if (items[i].lastMsg == 1)
      return 1;
    const bool due = !items[i].woken && msg == 0 && IsDue(i);
    if (!items[i].woken && msg == 0 && !due)
      return 0;
    items[i].woken = false;
    items[i].childWoken |= due;
    const int result = Body(i, msg);
    items[i].lastMsg = result;
    if (result == 2)
      WakeUp(i);
    if (items[i].childWoken) {
      items[i].childWoken = false;
      for (int child : std::vector<int>(items[i].children)) {
        if (Run(child, 0) == 1)
          Detach(child);
      }
    }
    return result;
  }
  void Wait(int i) {
    if (items[i].woken)
      return;
    const qelULong ms = First(i) < 0 ? kForEver : Remaining(First(i));
    ((items[i].options & 1) != 0 ? waits : sleeps).push_back(ms);
    now += Waited(ms);
    items[i].woken = true;
    items[i].childWoken |= IsDue(i);
  }

  std::vector<Item> items;
  std::vector<uint32_t> starts, durations;
  std::vector<qelULong> waits, sleeps;
  uint32_t now = 0;

private:
  static void Drop(std::vector<int>* list, int what) {
    list->erase(std::remove(list->begin(), list->end(), what), list->end());
  }
  void Collect(int i, std::vector<int>* heads) const {
    if (!items[i].queue.empty())
      heads->push_back(items[i].queue.front());
    for (int child : items[i].children)
      Collect(child, heads);
  }
  int Body(int i, int msg) {
    const Deed deed(i, ++items[i].runs);
    if (IsDue(i)) {
      items[i].timeouts += 1;
      for (int t = i * kTimeoutsPerNode; t < (i + 1) * kTimeoutsPerNode; ++t) {
        if (Remaining(t) == 0)
          Cancel(t);
      }
    }
    const int other = deed.number % static_cast<int>(items.size());
    if (deed.kind == 0)
      Start(i * kTimeoutsPerNode, static_cast<uint32_t>(deed.number % 40));
    else if (deed.kind == 1 && items[other].alive)
      WakeUp(other);
    else if (deed.kind == 2 && !items[i].children.empty())
      Detach(*std::min_element(items[i].children.begin(), items[i].children.end()));
    if (deed.result == 3)
      return !items[i].hadChild ? msg : items[i].children.empty() ? 1 : 0;
    return deed.result == 0 ? 1 : deed.result <= 2 ? 2 : 0;
  }
};

class Tree;

// The trees themselves, whose bodies do what the model's do. A node that has ended is null.
struct Forest {
  void Advance(uint32_t ms) { tick.Set(now += ms); }
  int LowestChildOf(const qelApplet* parent) const;

  uint32_t now = 0;
  ScopedTickCount tick{0};
  std::vector<Tree*> nodes;
  std::vector<qelULong> waits;
};

class Tree : public Node {
public:
  explicit Tree(Forest* forest)
      : timers(kTimeoutsPerNode), m_forest(forest), m_id(static_cast<int>(forest->nodes.size())) {
    forest->nodes.push_back(this);
    for (qelTimeout& timer : timers)
      timer.Start(0);
    onWait = [this](qelULong ms) {
      m_forest->waits.push_back(ms);
      m_forest->Advance(Waited(ms));
    };
    onTimeouts = [this] {
      for (qelTimeout& timer : timers) {
        if (timer.IsExpired())
          TimeoutCancel(&timer);
      }
    };
    body = [this](qelAppletMsg msg) { return Play(msg); };
  }
  ~Tree() override { m_forest->nodes[m_id] = nullptr; }

  std::deque<qelTimeout> timers;

private:
  qelAppletMsg Play(qelAppletMsg msg) {
    const Deed deed(m_id, static_cast<int>(messages.size()));
    HandleExpiredTimeouts();
    Tree* other = m_forest->nodes[deed.number % m_forest->nodes.size()];
    const int child = m_forest->LowestChildOf(this);
    if (deed.kind == 0)
      TimeoutStart(&timers[0], static_cast<qelULong>(deed.number % 40));
    else if (deed.kind == 1 && other != nullptr)
      other->AppletWakeUp();
    else if (deed.kind == 2 && child >= 0)
      AppletDetach(m_forest->nodes[child]);
    if (deed.result == 3)
      return qelApplet::AppletLoop(msg);
    if (deed.result == 0)
      return qelAppletMsgQuit;
    return deed.result <= 2 ? qelAppletMsgRunAgain : qelAppletMsgNone;
  }

  Forest* const m_forest;
  const int m_id;
};

int Forest::LowestChildOf(const qelApplet* parent) const {
  for (size_t i = 0; i < nodes.size(); ++i) {
    if (nodes[i] != nullptr && nodes[i]->Parent() == parent)
      return static_cast<int>(i);
  }
  return -1;
}

// One line for each node, in the tree's words and in the model's.
std::string Describe(const Forest& forest, const Model& model, bool real) {
  std::string text;
  for (size_t i = 0; i < model.items.size(); ++i) {
    Tree* node = forest.nodes[i];
    const Model::Item& item = model.items[i];
    std::vector<int> facts;
    if (real && node != nullptr) {
      const qelTimeout* first = node->First();
      int number = -1, parent = -1;
      for (size_t k = 0; k < forest.nodes.size(); ++k) {
        if (forest.nodes[k] != nullptr && forest.nodes[k] == node->Parent())
          parent = static_cast<int>(k);
        for (int t = 0; forest.nodes[k] != nullptr && t < kTimeoutsPerNode; ++t) {
          if (&forest.nodes[k]->timers[t] == first)
            number = static_cast<int>(k) * kTimeoutsPerNode + t;
        }
      }
      facts = {node->Woken(),   node->ChildWoken(), parent, static_cast<int>(node->Options()),
               node->LastMsg(), node->HadChild(),   number, static_cast<int>(node->messages.size()),
               node->timeouts,  node->raised};
    } else if (!real && item.alive) {
      facts = {item.woken,
               item.childWoken,
               item.parent,
               static_cast<int>(item.options),
               item.lastMsg,
               item.hadChild,
               model.First(static_cast<int>(i)),
               item.runs,
               item.timeouts,
               item.raised};
    }
    text += std::to_string(i) + ":";
    for (int fact : facts)
      text += " " + std::to_string(fact);
    text += "\n";
  }
  return text;
}

} // namespace

TEST_F(qelAppletModel, AgreesOverRandomOperations) {
  std::mt19937 random(37);
  const auto below = [&](size_t end) { return static_cast<int>(random() % end); };
  int runs = 0;
  for (int round = 0; round < 30; ++round) {
    Forest forest;
    Model model;
    g_sleeps.clear();
    g_onSleep = [&](qelULong ms) { forest.Advance(Waited(ms)); };
    model.now = round % 2 == 0 ? 0 : 0xFFFFFF00;
    forest.Advance(model.now);
    for (int step = 0; step < 400; ++step) {
      if (forest.nodes.size() < 6 || (forest.nodes.size() < 40 && below(8) == 0)) {
        new Tree(&forest);
        const int id = model.Add();
        for (int t = 0; t < kTimeoutsPerNode; ++t)
          model.starts[id * kTimeoutsPerNode + t] = model.now;
      }
      const int i = below(forest.nodes.size());
      const int other = below(forest.nodes.size());
      Tree* node = forest.nodes[i];
      if (node == nullptr)
        continue;
      const Model::Item item = model.items[i];
      const int t = below(kTimeoutsPerNode);
      const int number = below(50);
      switch (below(12)) {
      case 0:
        node->AppletWakeUp();
        model.WakeUp(i);
        break;
      case 1:
        node->TimeoutStart(&node->timers[t], static_cast<qelULong>(number));
        model.Start(i * kTimeoutsPerNode + t, static_cast<uint32_t>(number));
        break;
      case 2:
        node->TimeoutCancel(&node->timers[t]);
        model.Cancel(i * kTimeoutsPerNode + t);
        break;
      case 3:
      case 4: { // a root below a node that is not below that root
        int top = other;
        while (model.items[top].parent >= 0)
          top = model.items[top].parent;
        if (item.parent >= 0 || top == i || !model.items[other].alive)
          break;
        forest.nodes[other]->AppletAttach(node, static_cast<qelAppletOptions>(number % 4));
        model.Attach(other, i, static_cast<qelAppletOptions>(number % 4));
        break;
      }
      case 5:
        if (item.parent < 0 || number % 3 != 0)
          break;
        forest.nodes[item.parent]->AppletDetach(node);
        model.Detach(i);
        break;
      case 6:
        if ((item.parent >= 0 && (item.options & 2) != 0) || number % 8 != 0)
          break;
        delete node;
        model.End(i);
        break;
      case 7:
        if (number % 2 == 0) {
          EXPECT_EQ(node->AppletSetOptions(1), item.options | 1);
          model.items[i].options |= 1;
        } else {
          EXPECT_EQ(node->AppletClearOptions(3), item.options & ~3u);
          model.items[i].options &= ~3u;
        }
        break;
      case 8:
        forest.Advance(static_cast<uint32_t>(number % 10));
        model.now += static_cast<uint32_t>(number % 10);
        break;
      case 9:
        if ((item.options & 1) != 0 || item.woken || model.First(i) >= 0) {
          node->SelfWait();
          model.Wait(i);
        }
        break;
      default: {
        const int msg = number % 10 == 0 ? 2 : 0;
        ASSERT_EQ(node->AppletRun(static_cast<qelAppletMsg>(msg)), model.Run(i, msg));
      }
      }
      ASSERT_EQ(Describe(forest, model, true), Describe(forest, model, false))
          << "round " << round << " step " << step;
      ASSERT_EQ(forest.waits, model.waits);
      ASSERT_EQ(g_sleeps, model.sleeps);
      ASSERT_EQ(forest.now, model.now);
    }
    for (const Model::Item& item : model.items)
      runs += item.runs;
    for (Tree* node : forest.nodes) {
      if (node != nullptr)
        node->AppletClearOptions(qelAppletOptionDeleteOnDetach);
    }
    for (size_t i = 0; i < forest.nodes.size(); ++i)
      delete forest.nodes[i];
  }
  EXPECT_GT(runs, 1000);
}

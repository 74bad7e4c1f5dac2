#ifndef QEL_THREADS_APPLET_H
#define QEL_THREADS_APPLET_H
//===----------------------------------------------------------------------===//
// qelApplet: a cooperative task in a tree of tasks that share one thread.
//
// A subclass's AppletLoop is the body. It does a little and returns, and runs again
// only when its node was woken or a timeout has expired, so an idle tree costs
// nothing. A wake-up climbs from a node to the root and marks the way; a run
// descends along the marks.
//
//   after AppletWakeUp on c:   root   woken, childWoken
//                              +- a
//                              +- b   woken, childWoken
//                                 +- c   woken
//
// The owner of a root drives the tree:
//
//   qelAppletMsg msg = qelAppletMsgNone;          // or the message at hand
//   while (root.AppletRun(msg) != qelAppletMsgQuit)
//     root.SelfWait();
//
// A body that uses timeouts calls HandleExpiredTimeouts.
//
// A node is asleep, woken, running (inside of AppletLoop; no longer marked, so that
// a wake-up from now on counts for the next pass) or, once its body has returned
// qelAppletMsgQuit, final. A final child is detached by its parent at once.
//
// COST: a wake-up climbs in a loop, as far as the first node that is marked already.
// A run and a wait search the subtree for its first timeout. A run, that search and
// the end of nodes that delete each other take stack for each level that they
// descend. Nothing is allocated.
// OWNERSHIP: nodes belong to the client, and leave their tree when they end. A child
// with qelAppletOptionDeleteOnDetach belongs to its parent, which deletes it when it
// is detached; it is never deleted directly while it is attached.
// ERRORS: none is reported.
// THREADS: a tree belongs to one thread, and no operation here is safe from another
// one. A subclass may give other threads a way to end the root's WaitWakeUpSignal;
// the thread of the tree does the rest.
//===----------------------------------------------------------------------===//

#include <cstdint>

#include <qel/core/Export.h>
#include <qel/core/Types.h>
#include <qel/threads/TimeoutQueue.h>

enum qelAppletMsg : int32_t {
  qelAppletMsgNone = 0,    // to a run: only if woken or due; from a body: nothing special
  qelAppletMsgQuit = 1,    // to a run: end; from a body: it has ended, which is final
  qelAppletMsgRunAgain = 2 // to a run: run now; from a body: once more in the next pass, no wait
};

// Bits of qelAppletOptions.
enum : uint32_t {
  // The root waits by WaitWakeUpSignal and is woken by RaiseWakeUpSignal; without it, it sleeps until
  // its first timeout. A child takes this over from its parent when it is attached.
  qelAppletOptionWakeUpSignal = 1,
  // A child is deleted when it is detached.
  qelAppletOptionDeleteOnDetach = 2
};
typedef uint32_t qelAppletOptions;

class QEL_EXPORT qelApplet : public qelTimeoutQueue, private qelTimeoutQueue::Links {
public:
  // A root and leaf, asleep, with no options.
  qelApplet();

  qelApplet(const qelApplet&) = delete;
  qelApplet& operator=(const qelApplet&) = delete;

  // Detaches the node from its parent, then its children from it.
  // REQUIRES: if the node has qelAppletOptionDeleteOnDetach, it is in no tree.
  ~qelApplet() override;

  // One step of this node and of what is marked below it. The body runs if the node is woken, if msg
  // is not qelAppletMsgNone or, failing both, if a timeout of the subtree has expired, which marks the
  // children too. Then, if they are marked, the children run with qelAppletMsgNone, in the order of
  // attachment, and those that have ended are detached. Returns what the body has returned,
  // qelAppletMsgNone if it did not run, and for ever qelAppletMsgQuit, without a call, once the body
  // has returned that.
  // INTENDED: a node that is woken or told something looks at no timeout, so that a child of it whose
  // timeout has expired may have to wait for the next pass. What makes a node run is asked in that
  // order, and the first answer counts. Pinned by
  // qelAppletRun.LooksAtNoTimeoutWhenTheNodeRunsAnyway.
  // REQUIRES: no body destroys its own node or one above it, nor detaches or destroys the sibling
  // behind it.
  qelAppletMsg AppletRun(qelAppletMsg msg);

  // Waits until the first timeout of the tree expires or, with qelAppletOptionWakeUpSignal, until a
  // signal ends the wait; returns at once if the node is woken. The next run then runs the body,
  // whatever ended the wait, and the children too if a timeout has expired.
  // REQUIRES: without qelAppletOptionWakeUpSignal there is a timeout in the tree.
  void SelfWait();

  // Marks this node and the way to the root, as far as that is not marked yet. A root that is marked
  // by this and has qelAppletOptionWakeUpSignal raises its signal.
  void AppletWakeUp();

  // Appends a child, which gets qelAppletOptionWakeUpSignal if this node has it, and
  // qelAppletOptionDeleteOnDetach if it is in options; no other bit of those counts. Wakes this node.
  // INTENDED: the child is not marked, and does not run before it wakes by itself or a timeout in the
  // tree expires. If it was woken earlier, its own wake-ups climb no higher, since it is marked
  // already: an attachment takes the child as it comes.
  // Pinned by qelAppletAttach.DoesNotRunAChildThatWasWokenEarlier.
  // REQUIRES: the child is in no tree.
  void AppletAttach(qelApplet* child, qelAppletOptions options);

  // Takes a child out, deletes it if it has qelAppletOptionDeleteOnDetach, and wakes this node. A
  // node that is in no tree is deleted as well if it has the option.
  // REQUIRES: the node is no child of another one.
  void AppletDetach(qelApplet* child);

  // Set and clear the bits that are in options. Return all options of the node.
  qelAppletOptions AppletSetOptions(qelAppletOptions options);
  qelAppletOptions AppletClearOptions(qelAppletOptions options);

protected:
  // The first timeout to expire of the whole subtree, null if there is none. Among equals the node's
  // own goes ahead of its children's, an earlier child's ahead of a later one's.
  qelTimeout* FirstExpiringTimeout() override;

  // The body. msg is what AppletRun was called with; a child gets qelAppletMsgNone.
  // Here: a node that never had a child returns msg. A container returns qelAppletMsgQuit once it
  // has no child left, qelAppletMsgNone before.
  // INTENDED: a container passes over qelAppletMsgQuit: it ends with its last child, and it is the
  // children that must be told. Pinned by qelAppletLoop.OfAContainerIgnoresQuit.
  virtual qelAppletMsg AppletLoop(qelAppletMsg msg);

  // Ends the root's wait in WaitWakeUpSignal, or the next one if there is none. Here: nothing.
  virtual void RaiseWakeUpSignal();

  // Waits for the signal for at most ms milliseconds; 0xFFFFFFFF is no limit. Here: sleeps, to the
  // end, so that a subclass that uses qelAppletOptionWakeUpSignal overrides both.
  virtual void WaitWakeUpSignal(qelULong ms);

  // The base's links are the node's place among its siblings.
  bool m_woken;                    // this node is to run
  bool m_childWoken;               // some child below is to run
  qelApplet* m_parent;             // not owned; null: a root, or detached
  qelAppletOptions m_options;      // bits
  qelTimeoutQueue::Links m_childs; // m_next is the first child, m_prev the last; empty: itself
  qelAppletMsg m_lastMsg;          // what the body has returned last
  bool m_hadChild;                 // a child was attached at least once

private:
  // Does nothing. HandleExpiredTimeouts calls it for a timeout anywhere in the subtree; a child's is
  // the child's affair, which runs behind its parent.
  void OnTimeouts() override;

  // Runs the body.
  qelAppletMsg _DoRun(qelAppletMsg msg);

  // Stores a body's message and does what it asks for. Returns it.
  qelAppletMsg _HandleUpstreamMsg(qelAppletMsg msg);

  void _RunChilds();

  // Whether a timeout of the subtree has expired.
  bool IsDue();

  // A child is to run, and therefore this node.
  void AppletWakeUpFromChild();
};

#endif

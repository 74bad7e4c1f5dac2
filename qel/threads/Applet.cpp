#include <qel/threads/Applet.h>

#include <cassert>

#include <qel/multiplatform/qelThread.h>
#include <qel/threads/CircularLinks.h>
#include <qel/threads/Timeout.h>

qelApplet::qelApplet()
    : m_woken(false), m_childWoken(false), m_parent(nullptr), m_options(0),
      m_lastMsg(qelAppletMsgNone), m_hadChild(false) {
  qelLinks_InitElement(this);
  qelLinks_InitList(&m_childs);
}

qelApplet::~qelApplet() {
  if (m_parent != nullptr) {
    assert((m_options & qelAppletOptionDeleteOnDetach) == 0 && "the parent would delete it again");
    m_parent->AppletDetach(this);
  }
  while (!qelLinks_IsEmpty(&m_childs))
    AppletDetach(static_cast<qelApplet*>(m_childs.m_next));
}

qelAppletMsg qelApplet::AppletRun(qelAppletMsg msg) {
  if (m_lastMsg == qelAppletMsgQuit)
    return qelAppletMsgQuit;
  if (!m_woken) {
    if (msg != qelAppletMsgNone) {
      m_woken = true;
    } else if (IsDue()) {
      m_woken = true;
      m_childWoken = true; // the timeout may be a child's
    }
  }
  if (!m_woken)
    return qelAppletMsgNone;
  m_woken = false; // ahead of the body, whose own wake-ups count for the next pass
  const qelAppletMsg result = _DoRun(msg);
  if (m_childWoken) {
    m_childWoken = false;
    _RunChilds();
  }
  return result;
}

void qelApplet::SelfWait() {
  if (m_woken)
    return;
  const qelTimeout* first = FirstExpiringTimeout();
  if ((m_options & qelAppletOptionWakeUpSignal) != 0) {
    WaitWakeUpSignal(first != nullptr ? first->Remaining() : 0xFFFFFFFF);
  } else {
    assert(first != nullptr && "a root that can't be signalled needs a timeout");
    qelOSThread_Sleep(first->Remaining());
  }
  // The next run finds the node woken and looks at no timeout, so the children are marked here: one
  // whose timeout has expired would else never run, and this wait would never wait again.
  m_woken = true;
  if (IsDue())
    m_childWoken = true;
}

void qelApplet::AppletWakeUp() {
  if (m_woken)
    return;
  m_woken = true;
  if (m_parent != nullptr)
    m_parent->AppletWakeUpFromChild();
  else if ((m_options & qelAppletOptionWakeUpSignal) != 0)
    RaiseWakeUpSignal();
}

void qelApplet::AppletAttach(qelApplet* child, qelAppletOptions options) {
  assert(child->m_parent == nullptr && "one tree at a time");
  child->m_options |= m_options & qelAppletOptionWakeUpSignal;
  qelLinks_InsertBefore(child, &m_childs);
  child->m_parent = this;
  child->m_options |= options & qelAppletOptionDeleteOnDetach;
  m_hadChild = true;
  AppletWakeUp(); // for a container's body
}

void qelApplet::AppletDetach(qelApplet* child) {
  child->m_parent = nullptr; // so that its destructor does not come here again
  qelLinks_Remove(child);
  if ((child->m_options & qelAppletOptionDeleteOnDetach) != 0)
    delete child;
  AppletWakeUp();
}

qelAppletOptions qelApplet::AppletSetOptions(qelAppletOptions options) {
  m_options |= options;
  return m_options;
}

qelAppletOptions qelApplet::AppletClearOptions(qelAppletOptions options) {
  m_options &= ~options;
  return m_options;
}

qelTimeout* qelApplet::FirstExpiringTimeout() {
  qelTimeout* best = qelTimeoutQueue::FirstExpiringTimeout();
  for (qelTimeoutQueue::Links* at = m_childs.m_next; at != &m_childs; at = at->m_next) {
    qelTimeout* first = static_cast<qelApplet*>(at)->FirstExpiringTimeout();
    if (best == nullptr || (first != nullptr && first->Remaining() < best->Remaining()))
      best = first;
  }
  return best;
}

void qelApplet::OnTimeouts() {}

qelAppletMsg qelApplet::AppletLoop(qelAppletMsg msg) {
  if (!m_hadChild)
    return msg;
  return qelLinks_IsEmpty(&m_childs) ? qelAppletMsgQuit : qelAppletMsgNone;
}

void qelApplet::RaiseWakeUpSignal() {}

void qelApplet::WaitWakeUpSignal(qelULong ms) {
  qelOSThread_Sleep(ms);
}

qelAppletMsg qelApplet::_DoRun(qelAppletMsg msg) {
  return _HandleUpstreamMsg(AppletLoop(msg));
}

qelAppletMsg qelApplet::_HandleUpstreamMsg(qelAppletMsg msg) {
  m_lastMsg = msg;
  if (msg == qelAppletMsgRunAgain)
    AppletWakeUp();
  return msg;
}

void qelApplet::_RunChilds() {
  qelTimeoutQueue::Links* next;
  for (qelTimeoutQueue::Links* at = m_childs.m_next; at != &m_childs; at = next) {
    next = at->m_next; // ahead of the call, behind which the child may be gone
    qelApplet* child = static_cast<qelApplet*>(at);
    if (child->AppletRun(qelAppletMsgNone) == qelAppletMsgQuit)
      AppletDetach(child);
  }
}

bool qelApplet::IsDue() {
  const qelTimeout* first = FirstExpiringTimeout();
  return first != nullptr && first->IsExpired();
}

void qelApplet::AppletWakeUpFromChild() {
  // A loop, since a tree may be deep. It ends at a node that is marked already, or at the root, and
  // to both AppletWakeUp does what is left.
  qelApplet* node = this;
  node->m_childWoken = true;
  while (!node->m_woken && node->m_parent != nullptr) {
    node->m_woken = true;
    node = node->m_parent;
    node->m_childWoken = true;
  }
  node->AppletWakeUp();
}

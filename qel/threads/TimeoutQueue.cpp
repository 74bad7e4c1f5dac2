#include <qel/threads/TimeoutQueue.h>

#include <qel/threads/CircularLinks.h>
#include <qel/threads/Timeout.h>

qelTimeoutQueue::qelTimeoutQueue() {
  qelLinks_InitList(&m_links);
}

qelTimeoutQueue::~qelTimeoutQueue() = default;

void qelTimeoutQueue::TimeoutStart(qelTimeout* t, qelULong ms) {
  TimeoutCancel(t);
  t->Start(ms);
  Links* at = m_links.m_next;
  for (; at != &m_links; at = at->m_next) {
    const qelULong remaining = t->Remaining();
    if (remaining < static_cast<qelTimeout*>(at)->Remaining())
      break;
  }
  qelLinks_InsertBefore(t, at);
}

void qelTimeoutQueue::TimeoutCancel(qelTimeout* t) {
  qelLinks_Remove(t);
}

qelTimeout* qelTimeoutQueue::FirstExpiringTimeout() {
  return qelLinks_IsEmpty(&m_links) ? nullptr : static_cast<qelTimeout*>(m_links.m_next);
}

void qelTimeoutQueue::HandleExpiredTimeouts() {
  const qelTimeout* first = FirstExpiringTimeout();
  if (first != nullptr && first->IsExpired())
    OnTimeouts();
}

#include <qel/threads/MessageQueue.h>

#include <new>

#include <qel/multiplatform/qelCondition.h>
#include <qel/multiplatform/qelMutex.h>

qelMessageQueue::qelMessageQueue()
    : m_mutex(qelOSMutex_New()), m_condition(qelOSCondition_New()), m_head(nullptr),
      m_tail(nullptr) {}

qelMessageQueue::~qelMessageQueue() {
  if (m_head.load() != nullptr)
    Flush();
  qelOSMutex_Delete(m_mutex);
  qelOSCondition_Delete(m_condition);
}

qelMessageQueue::qelMessageQueue(const qelMessageQueue& other)
    : m_mutex(other.m_mutex), m_condition(other.m_condition), m_head(other.m_head.load()),
      m_tail(other.m_tail) {}

qelMessageQueue& qelMessageQueue::operator=(const qelMessageQueue& other) {
  m_mutex = other.m_mutex;
  m_condition = other.m_condition;
  m_head.store(other.m_head.load());
  m_tail = other.m_tail;
  return *this;
}

int qelMessageQueue::Post(qelLong id, void* param1, void* param2) {
  qelMessage* message = new (std::nothrow) qelMessage(id, param1, param2);
  if (message == nullptr)
    return 1;
  if (qelOSMutex_Lock(m_mutex) != 0) {
    delete message;
    return 1;
  }
  if (m_head.load() == nullptr)
    m_head.store(message);
  if (m_tail != nullptr)
    m_tail->next = message;
  m_tail = message;
  // A consumer acknowledges ahead of taking the mutex back, so the signal may be given under it.
  qelOSCondition_Signal(m_condition);
  qelOSMutex_Unlock(m_mutex);
  return 0;
}

// INTENDED: one wait and no loop. Whatever woke the thread, it looks at the queue once more and goes,
// so that Cancel needs no mark of its own; consumers loop around Get. Pinned by
// QelMessageQueueGet.GivesNullWhenAnotherConsumerWasFaster.
qelMessage* qelMessageQueue::Get() {
  qelOSMutex_Lock(m_mutex);
  if (m_head.load() == nullptr)
    qelOSCondition_Wait(m_condition, m_mutex);
  qelMessage* message = m_head.load();
  if (message != nullptr)
    m_head.store(message->next);
  if (m_head.load() == nullptr)
    m_tail = nullptr;
  qelOSMutex_Unlock(m_mutex);
  return message;
}

// INTENDED: the link of the queue is copied with the rest. A message's fields travel as they are.
// Pinned by QelMessageQueueGet.CopiesAllFieldsTheLinkToo.
int qelMessageQueue::Get(qelMessage* out) {
  qelMessage* message = Get();
  if (message == nullptr)
    return 1;
  *out = *message;
  delete message;
  return 0;
}

// INTENDED: a cancel that meets nobody asleep is lost. Whoever must not miss it posts a message.
// Pinned by QelMessageQueueCancel.IsForgottenWhenNobodySleeps.
void qelMessageQueue::Cancel() {
  qelOSMutex_Lock(m_mutex);
  qelOSCondition_Signal(m_condition);
  qelOSMutex_Unlock(m_mutex);
}

void qelMessageQueue::Flush() {
  qelOSMutex_Lock(m_mutex);
  while (qelMessage* message = m_head.load()) {
    m_head.store(message->next);
    delete message;
  }
  m_tail = nullptr; // a later Post would write through it
  qelOSMutex_Unlock(m_mutex);
}

bool qelMessageQueue::IsEmpty() const {
  return m_head.load() == nullptr;
}

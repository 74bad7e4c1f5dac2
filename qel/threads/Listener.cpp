#include <qel/threads/Listener.h>

#include <qel/threads/Broadcaster.h>

qelListener::qelListener() : m_listening(true) {}

qelListener::~qelListener() {
  // Each call comes back as RemoveBroadcaster and takes the item from under the iterator.
  qelListIterator<void*> it(&m_broadcasters);
  while (it.Next())
    static_cast<qelBroadcaster*>(it.GetValue())->RemoveListener(this);
}

// INTENDED: a copy is registered with nobody, as for a broadcaster. Pinned by
// QelListenerCopy.TakesTheFlagAndNoRegistration.
qelListener::qelListener(const qelListener& other) : m_listening(other.IsListening()) {}

// INTENDED: the target forgets its broadcasters and does not tell them, as for a broadcaster. Pinned by
// QelListenerAssignment.EmptiesItsOwnSideAlone.
qelListener& qelListener::operator=(const qelListener& other) {
  m_listening = other.IsListening();
  m_broadcasters.erase();
  return *this;
}

void qelListener::ListenToMessage(qelLong /*message*/, void* /*data*/) {}

void qelListener::StartListening() {
  m_listening = true;
}

void qelListener::StopListening() {
  m_listening = false;
}

bool qelListener::IsListening() const {
  return m_listening;
}

void qelListener::AddBroadcaster(qelBroadcaster* broadcaster) {
  m_broadcasters.push_back(broadcaster);
}

void qelListener::RemoveBroadcaster(qelBroadcaster* broadcaster) {
  m_broadcasters.pop(static_cast<void*>(broadcaster));
}

#include <qel/threads/Broadcaster.h>

#include <qel/threads/Listener.h>

static qelListener* AsListener(void* value) {
  return static_cast<qelListener*>(value);
}

// The item that holds the listener, or null.
static qelListItem<void*>* Find(const qelList<void*>& listeners, const qelListener* listener) {
  for (qelBaseListItem* item = listeners.GetBegin(); item != nullptr; item = item->GetNext()) {
    auto* found = static_cast<qelListItem<void*>*>(item);
    if (found->value == listener)
      return found;
  }
  return nullptr;
}

qelBroadcaster::qelBroadcaster() : m_broadcasting(true) {}

qelBroadcaster::~qelBroadcaster() {
  qelBroadcaster::BroadcastMessage(/*message=*/0, this);
  qelListIterator<void*> it(&m_listeners);
  while (it.Next())
    AsListener(it.GetValue())->RemoveBroadcaster(this);
}

// INTENDED: a copy has no listeners. A registration joins two objects, and nobody registered with this
// one. Pinned by QelBroadcasterCopy.TakesTheFlagAndNoListeners.
qelBroadcaster::qelBroadcaster(const qelBroadcaster& other)
    : m_broadcasting(other.m_broadcasting) {}

// INTENDED: the target forgets its listeners and does not tell them, so they go on to know it.
// Assignment copies no registration and undoes its own side alone. Pinned by
// QelBroadcasterAssignment.EmptiesItsOwnSideAlone.
qelBroadcaster& qelBroadcaster::operator=(const qelBroadcaster& other) {
  m_broadcasting = other.m_broadcasting;
  m_listeners.erase();
  return *this;
}

void qelBroadcaster::AddListener(qelListener* listener) {
  if (Find(m_listeners, listener) != nullptr)
    return;
  m_listeners.push_back(listener);
  listener->AddBroadcaster(this);
}

void qelBroadcaster::RemoveListener(qelListener* listener) {
  qelListItem<void*>* item = Find(m_listeners, listener);
  if (item == nullptr)
    return;
  m_listeners.pop(*item);
  listener->RemoveBroadcaster(this);
}

void qelBroadcaster::BroadcastMessage(qelLong message, void* data) {
  if (!m_broadcasting)
    return;
  // A callback may end this object, so nothing but the iterator is touched from here on.
  qelListIterator<void*> it(&m_listeners);
  while (it.Next()) {
    qelListener* listener = AsListener(it.GetValue());
    if (listener->IsListening())
      listener->ListenToMessage(message, data);
  }
}

void qelBroadcaster::StartBroadcasting() {
  m_broadcasting = true;
}

void qelBroadcaster::StopBroadcasting() {
  m_broadcasting = false;
}

bool qelBroadcaster::IsBroadcasting() const {
  return m_broadcasting;
}

#include <qel/cache/Cache.h>

static const uint64_t kNoLimit = ~uint64_t(0);

static qelCachedBase* Pointer(qelCachedBase* value) {
  return value;
}

static qelCachedBase* Pointer(const qelRef<qelCachedBase>& value) {
  return value.Get();
}

// The first item that holds the object, or null. It compares pointers: a reference made for a comparison
// would end an object of count 0, such as one that is being destroyed.
template <class T>
static qelListItem<T>* Find(const qelList<T>& list, const qelCachedBase* object) {
  for (qelBaseListItem* item = list.GetBegin(); item != nullptr; item = item->GetNext()) {
    auto* found = static_cast<qelListItem<T>*>(item);
    if (Pointer(found->value) == object)
      return found;
  }
  return nullptr;
}

template <class T>
static void RemoveFirst(qelList<T>& list, const qelCachedBase* object) {
  qelListItem<T>* item = Find(list, object);
  if (item != nullptr)
    list.pop(*item);
}

// Nothing for an object that is not in the list. The head is left in place, so that a walk that stands
// on it goes on behind it and does not begin again.
static void MoveToFront(qelList<qelCachedBase*>& recent, const qelCachedBase* object) {
  qelListItem<qelCachedBase*>* item = Find(recent, object);
  if (item == nullptr || item == recent.GetBegin())
    return;
  recent.Detach(item);
  recent.PushFront(item);
}

static bool IsForgettable(const qelCachedBase& object) {
  return object.GetLockCount() == 0 && (object.IsAvailable() || object.IsUnavailable());
}

qelCache::qelCache() : qelCache(kNoLimit, kNoLimit) {}

qelCache::qelCache(uint64_t maxSize, uint64_t maxCount)
    : m_maxSize(maxSize), m_maxCount(maxCount), m_running(false) {}

qelCache::~qelCache() {
  qelListIterator<qelCachedBase*> it(&m_recent);
  while (it.Next())
    it.GetValue()->m_cache = nullptr;
  // Objects that end here may call this cache back as long as it is registered with others, so the lists
  // are emptied while they are whole.
  m_recent.erase();
  m_available.erase();
}

void qelCache::Attach(qelCachedBase* object) {
  object->AddListener(this);
  object->m_cache = this;
  m_recent.push_back(object);
  if (!object->IsAvailable())
    return;
  m_available.push_back(object);
  Run();
}

void qelCache::Detach(qelCachedBase* object) {
  RemoveFirst(m_recent, object);
  object->RemoveListener(this);
  object->m_cache = nullptr;
  // This may end the object, which then knows no cache any more.
  if (object->IsAvailable())
    RemoveFirst(m_available, object);
}

void qelCache::SetLimits(uint64_t maxSize, uint64_t maxCount) {
  const bool lower = maxSize < m_maxSize || maxCount < m_maxCount;
  m_maxSize = maxSize;
  m_maxCount = maxCount;
  if (lower)
    Run();
}

void qelCache::Dump() {
  qelListIterator<qelRef<qelCachedBase>> available(&m_available);
  while (available.Next())
    const qelRef<qelCachedBase> object(available.GetValue());
  qelListIterator<qelCachedBase*> recent(&m_recent);
  while (recent.Next())
    const qelRef<qelCachedBase> object(recent.GetValue());
}

bool qelCache::_PassKept(qelListIterator<qelCachedBase*>& it) {
  uint64_t count = 0;
  uint64_t total = 0;
  while (total <= m_maxSize && count <= m_maxCount) {
    if (!it.Next())
      return false;
    const qelRef<qelCachedBase> object(it.GetValue());
    if (object->IsAvailable()) {
      count += 1;
      total += object->Size();
    }
  }
  return true;
}

void qelCache::Run() {
  if (m_running)
    return;
  m_running = true;
  qelListIterator<qelCachedBase*> it(&m_recent);
  if (_PassKept(it)) {
    while (it.Next()) {
      const qelRef<qelCachedBase> object(it.GetValue());
      if (IsForgettable(*object.Get()))
        object->Forget();
    }
  }
  Dump();
  m_running = false;
}

void qelCache::OnReadAccess(const qelRef<qelCachedBase>& object) {
  MoveToFront(m_recent, object.Get());
  object->Want();
}

void qelCache::ListenToMessage(qelLong message, void* object) {
  auto* cached = static_cast<qelCachedBase*>(object);
  switch (message) {
  case qelCachedStateUnavailable:
    RemoveFirst(m_available, cached);
    break;
  case qelCachedStateAvailable:
    MoveToFront(m_recent, cached);
    m_available.push_back(cached);
    Run();
    break;
  default: // such as 0, whose data is no qelCachedBase any more
    break;
  }
}

#include <qel/cache/CachedBase.h>

#include <qel/cache/Cache.h>

// In all of this file a broadcast may end the object, as may a Forget and a SetWanted, which lead to one:
// each is the last thing that is done with it.

qelCachedBase::qelCachedBase()
    : m_state(qelCachedStateUnavailable), m_targetState(qelCachedStateUnavailable), m_lockCount(0),
      m_cache(nullptr), m_size(0) {}

qelCachedBase::~qelCachedBase() {
  if (m_cache != nullptr)
    m_cache->Detach(this);
}

qelCachedBase::qelCachedBase(const qelCachedBase& other) = default;

qelCachedBase& qelCachedBase::operator=(const qelCachedBase& other) = default;

unsigned int qelCachedBase::GetState() const {
  return m_state;
}

unsigned int qelCachedBase::State() const {
  return m_state;
}

bool qelCachedBase::IsAvailable() const {
  return m_state == qelCachedStateAvailable;
}

bool qelCachedBase::IsUnavailable() const {
  return m_state == qelCachedStateUnavailable;
}

int qelCachedBase::GetLockCount() const {
  return m_lockCount;
}

uint64_t qelCachedBase::Size() const {
  return m_size;
}

void qelCachedBase::Want() {
  if (IsUnavailable())
    SetWanted();
}

void qelCachedBase::Prefetch() {
  OnReadAccess();
}

void qelCachedBase::Forget() {
  if (!IsUnavailable())
    SetNotWanted();
}

void qelCachedBase::SetWanted() {
  SetFetching();
}

void qelCachedBase::SetNotWanted() {
  m_targetState = qelCachedStateUnavailable;
  switch (m_state) {
  case qelCachedStateWanted:
    break;
  case qelCachedStateFetching:
    CancelFetch();
    break;
  case qelCachedStateAvailable:
    Trash();
    break;
  default:
    return;
  }
  SetState(qelCachedStateUnavailable);
}

void qelCachedBase::OnReadAccess() {
  if (m_cache != nullptr)
    return m_cache->OnReadAccess(qelRef<qelCachedBase>(this));
  Want();
}

void qelCachedBase::SetFetching() {
  FetchDone(Fetch());
}

bool qelCachedBase::Fetch() {
  return false;
}

void qelCachedBase::Trash() {}

void qelCachedBase::CancelFetch() {}

const char* qelCachedBase::GetID() {
  return "";
}

void qelCachedBase::SetState(unsigned int state) {
  m_state = state;
  if (state == qelCachedStateAvailable || state == qelCachedStateUnavailable)
    BroadcastMessage(static_cast<qelLong>(state), this);
}

void qelCachedBase::FetchDone(bool ok) {
  if (ok)
    return SetState(qelCachedStateAvailable);
  Trash(); // a failed fetch may leave a part of the contents
  if (m_targetState == qelCachedStateAvailable)
    return SetWanted();
  SetState(qelCachedStateUnavailable);
}

#include <qel/containers/RefCounted.h>

qelRefCounted::qelRefCounted() : m_refCount(0) {}

qelRefCounted::qelRefCounted(const qelRefCounted& other) : m_refCount(other._GetRefCount()) {}

qelRefCounted& qelRefCounted::operator=(const qelRefCounted& other) {
  m_refCount.store(other._GetRefCount(), std::memory_order_relaxed);
  return *this;
}

qelRefCounted::~qelRefCounted() = default;

void qelRefCounted::Retain() const {
  m_refCount.fetch_add(1);
}

void qelRefCounted::Release() const {
  // The step itself tells who reached 0; a second reading could tell two threads so, or none.
  if (m_refCount.fetch_sub(1) == 1)
    const_cast<qelRefCounted*>(this)->NotifyRefCountIsNull();
}

int32_t qelRefCounted::_GetRefCount() const {
  return m_refCount.load(std::memory_order_relaxed);
}

void qelRefCounted::NotifyRefCountIsNull() {
  delete this;
}

#include <qel/containers/Ref.h>

qelRefAny::qelRefAny() : m_object(nullptr) {}

qelRefAny::qelRefAny(int) : m_object(nullptr) {}

qelRefAny::qelRefAny(qelRefCounted* object) : m_object(object) {
  if (m_object != nullptr)
    m_object->Retain();
}

qelRefAny::qelRefAny(const qelRefAny& other) : qelRefAny(other.m_object) {}

qelRefAny::~qelRefAny() {
  if (m_object != nullptr)
    m_object->Release();
}

qelRefAny& qelRefAny::operator=(const qelRefAny& other) {
  if (&other == this)
    return *this;
  // INTENDED: released first, then retained. Clients see the old object's end ahead of the new
  // object's count. Pinned by qelRefAnyAssignment.ReleasesBeforeItRetains.
  if (m_object != nullptr)
    m_object->Release();
  m_object = other.m_object;
  if (m_object != nullptr)
    m_object->Retain();
  return *this;
}

void qelRefAny::NullPointerAccess() const {}

void qelRefAny::BadInitValue() const {}

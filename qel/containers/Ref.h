#ifndef QEL_CONTAINERS_REF_H
#define QEL_CONTAINERS_REF_H
//===----------------------------------------------------------------------===//
// qelRefAny holds one counted reference to a qelRefCounted, and qelRef<T> is its
// typed form. Each is as large as a pointer.
//
// OWNERSHIP: a reference that is not null holds one count of its object, from the
// moment it takes the pointer to its end or its next assignment.
// ERRORS: none is reported. A null reference gives its null pointer, untested.
// THREADS: any number of threads may hold references to one object. One reference
// is a plain value: nobody may write it while another thread reads it.
//===----------------------------------------------------------------------===//

#include <type_traits>

#include <qel/containers/RefCounted.h>
#include <qel/core/Export.h>

class QEL_EXPORT qelRefAny {
public:
  // Null.
  qelRefAny();

  // INTENDED: null whatever the value, so that a literal 0 of any integer type stands for a null
  // reference. Pinned by qelRefAnyConstructor.IsNullFromNothingAndFromAnyInt.
  qelRefAny(int);
  template <class Integer, class = std::enable_if_t<std::is_integral_v<Integer>>>
  qelRefAny(Integer) : qelRefAny() {}

  // Takes the object, which may be null, and retains it.
  qelRefAny(qelRefCounted* object);
  qelRefAny(const qelRefAny& other);

  // Releases the object.
  ~qelRefAny();

  // Releases the old object, then takes and retains the other's. Onto itself nothing happens.
  // REQUIRES: `other` does not live inside the old object, whose release may end it.
  qelRefAny& operator=(const qelRefAny& other);

  // The object or null.
  qelRefCounted* Get() const { return m_object; }
  qelRefCounted* operator->() const { return m_object; }

  bool IsNull() const { return m_object == nullptr; }

  // 1 or 0: whether both hold the same object, or not.
  int operator==(const qelRefAny& other) const { return m_object == other.m_object ? 1 : 0; }
  int operator!=(const qelRefAny& other) const { return m_object != other.m_object ? 1 : 0; }

protected:
  // The pointer, and an overwriting of it that changes no count.
  qelRefCounted* _GetPointedObject() const { return m_object; }
  void _SetPointedObject(qelRefCounted* object) { m_object = object; }

  // Places for checking builds to hook in, at a dereference of null and at a value other than 0 for
  // the constructor from int. They do nothing and are never called.
  void NullPointerAccess() const;
  void BadInitValue() const;

private:
  qelRefCounted* m_object; // one count is held; null: no object
};

// REQUIRES: T derives from qelRefCounted; it need not be complete where a reference is only copied,
// compared or destroyed.
template <class T>
class qelRef : public qelRefAny {
public:
  qelRef();
  qelRef(int value);
  template <class Integer, class = std::enable_if_t<std::is_integral_v<Integer>>>
  qelRef(Integer) : qelRef() {}
  qelRef(T* object);
  qelRef(const qelRef& other);
  ~qelRef();
  qelRef& operator=(const qelRef& other);

  T* Get() const { return static_cast<T*>(qelRefAny::Get()); }
  T* operator->() const { return Get(); }
  bool IsNull() const { return qelRefAny::IsNull(); }

  // INTENDED: one gives bool, the other int, which is what clients are built against. Pinned by
  // qelRef.ComparesAsBoolAndAsInt.
  bool operator==(const qelRef& other) const { return qelRefAny::operator==(other) != 0; }
  int operator!=(const qelRef& other) const { return qelRefAny::operator!=(other); }

protected:
  T* _GetPointedObject() const { return Get(); }
  void _SetPointedObject(T* object) { qelRefAny::_SetPointedObject(object); }
};

// Made out of line, so that an exported instantiation has them.
template <class T>
qelRef<T>::qelRef() = default;

template <class T>
qelRef<T>::qelRef(int value) : qelRefAny(value) {}

template <class T>
qelRef<T>::qelRef(T* object) : qelRefAny(static_cast<qelRefCounted*>(object)) {}

template <class T>
qelRef<T>::qelRef(const qelRef& other) = default;

template <class T>
qelRef<T>::~qelRef() = default;

template <class T>
qelRef<T>& qelRef<T>::operator=(const qelRef& other) = default;

#endif

#ifndef QEL_CONTAINERS_REFCOUNTED_H
#define QEL_CONTAINERS_REFCOUNTED_H
//===----------------------------------------------------------------------===//
// qelRefCounted: base of objects that live as long as somebody holds them. It has
// the one atomic count of the library's value types.
//
// A new object has the count 0: the first qelRef that takes it makes it 1. When a
// Release makes the count 0, the object is told; it deletes itself by default,
// and a class that overrides NotifyRefCountIsNull may keep it instead, to hand it
// out again.
//
// ERRORS: none is reported; a count below 0 is not caught.
// THREADS: Retain and Release from any; exactly one thread sees the count reach 0,
// and sees all that the others did ahead of their Release. The rest is the
// owner's.
//===----------------------------------------------------------------------===//

#include <atomic>
#include <cstdint>

#include <qel/core/Export.h>

class QEL_EXPORT qelRefCounted {
public:
  // A count of 0.
  qelRefCounted();

  // INTENDED: a copy takes the count of its source with the rest, and so does the target of an
  // assignment. Whoever copies a counted object hands out the references it is born with. Pinned by
  // qelRefCountedCopy.StartsWithTheCountOfItsSource.
  qelRefCounted(const qelRefCounted& other);
  qelRefCounted& operator=(const qelRefCounted& other);

  virtual ~qelRefCounted();

  // Counts one reference more.
  void Retain() const;

  // Counts one reference less; at 0 NotifyRefCountIsNull is called.
  void Release() const;

  // The count at this moment, which another thread may change at once: for diagnosis.
  int32_t _GetRefCount() const;

protected:
  // Called by the Release that made the count 0. Deletes the object.
  virtual void NotifyRefCountIsNull();

private:
  mutable std::atomic<int32_t> m_refCount; // references to this object
};

#endif

#ifndef QEL_CONTAINERS_LIST_H
#define QEL_CONTAINERS_LIST_H
//===----------------------------------------------------------------------===//
// qelList<T>: a doubly linked list of values whose iterators survive removals.
//
//   qelListIterator<void*> it(&list);
//   while (it.Next()) {
//     if (IsDone(it.GetValue()))
//       list.pop(it);              // the next step reaches the item behind
//   }
//
// What qelBaseList says of costs, ownership, copies, errors and threads holds
// here. Memory comes from the global new.
//
// The library exports three instantiations, named below, with their items and
// iterators; any other T is made where it is used.
//===----------------------------------------------------------------------===//

#include <cstdint>

#include <qel/containers/BaseList.h>
#include <qel/containers/Ref.h>
#include <qel/core/Export.h>

// An item that holds a value.
template <class T>
class qelListItem : public qelBaseListItem {
public:
  explicit qelListItem(const T& newValue);
  ~qelListItem() override;

  T value; // the client's to read and change
};

// Walks a qelList<T> from head to tail by Next.
template <class T>
class qelListIterator;

template <class T>
class qelList : public qelBaseList {
public:
  // An empty list.
  qelList();
  ~qelList() override;

  // Share the items; see qelBaseList.
  qelList(const qelList&);
  qelList& operator=(const qelList&);

  // Append or prepend a copy of the value.
  void push_back(const T& value);
  void push_front(const T& value);

  // Insert a copy of the value behind or ahead of an item of this list.
  void push_after(const T& value, qelListItem<T>& after);
  void push_before(const T& value, qelListItem<T>& before);

  // Remove the first or the last item. REQUIRES: the list is not empty.
  void pop_front();
  void pop_back();

  // Removes the first item whose value equals this one; O(n). Nothing if there is none.
  void pop(const T& value);

  // Removes that item.
  void pop(qelListItem<T>& item);

  // Removes the item that the iterator stands on; the iterator then stands on the predecessor, or on
  // none, and its next step reaches the item behind. REQUIRES: it stands on an item of this list.
  void pop(qelListIterator<T>& iterator);

  // Removes all items from the head on. Iterators stay attached and end on none.
  void erase();

  // The first and the last value. REQUIRES: the list is not empty.
  const T& front() const;
  const T& back() const;

  // The number of items.
  uint64_t size() const;
};

template <class T>
class qelListIterator : public qelBaseListForwardIterator {
public:
  // Stands on no item; the first Next reaches the head. REQUIRES: the list is not null.
  explicit qelListIterator(qelList<T>* list);
  ~qelListIterator() override;

  // The item, or null where the iterator stands on none.
  qelListItem<T>* GetItem() const;

  // The item's value. REQUIRES: the iterator stands on an item.
  T& GetValue() const;
};

// What could be made inside the classes stands here where the exported instantiations have it.
template <class T>
qelListItem<T>::qelListItem(const T& newValue) : value(newValue) {}

template <class T>
qelListItem<T>::~qelListItem() = default;

template <class T>
qelList<T>::qelList() = default;

template <class T>
qelList<T>::~qelList() = default;

template <class T>
qelList<T>::qelList(const qelList&) = default;

template <class T>
qelList<T>& qelList<T>::operator=(const qelList&) = default;

template <class T>
void qelList<T>::push_back(const T& value) {
  PushBack(new qelListItem<T>(value));
}

template <class T>
void qelList<T>::push_front(const T& value) {
  PushFront(new qelListItem<T>(value));
}

template <class T>
void qelList<T>::push_after(const T& value, qelListItem<T>& after) {
  PushAfter(new qelListItem<T>(value), &after);
}

template <class T>
void qelList<T>::push_before(const T& value, qelListItem<T>& before) {
  PushBefore(new qelListItem<T>(value), &before);
}

template <class T>
void qelList<T>::pop_front() {
  Remove(m_head);
}

template <class T>
void qelList<T>::pop_back() {
  Remove(m_tail);
}

template <class T>
void qelList<T>::pop(const T& value) {
  for (qelBaseListItem* item = m_head; item != nullptr; item = item->GetNext()) {
    if (static_cast<qelListItem<T>*>(item)->value == value)
      return Remove(item);
  }
}

template <class T>
void qelList<T>::pop(qelListItem<T>& item) {
  Remove(&item);
}

template <class T>
void qelList<T>::pop(qelListIterator<T>& iterator) {
  Remove(iterator.GetItem());
}

template <class T>
void qelList<T>::erase() {
  while (m_head != nullptr)
    Remove(m_head);
}

template <class T>
const T& qelList<T>::front() const {
  return static_cast<const qelListItem<T>*>(m_head)->value;
}

template <class T>
const T& qelList<T>::back() const {
  return static_cast<const qelListItem<T>*>(m_tail)->value;
}

template <class T>
uint64_t qelList<T>::size() const {
  return m_count;
}

template <class T>
qelListIterator<T>::qelListIterator(qelList<T>* list) : qelBaseListForwardIterator(list) {}

template <class T>
qelListIterator<T>::~qelListIterator() = default;

template <class T>
qelListItem<T>* qelListIterator<T>::GetItem() const {
  return static_cast<qelListItem<T>*>(m_current);
}

template <class T>
T& qelListIterator<T>::GetValue() const {
  return GetItem()->value;
}

class qelCachedBase; // of qel/cache, which alone needs to know more of it

extern template class QEL_EXPORT qelListItem<void*>;
extern template class QEL_EXPORT qelListItem<qelCachedBase*>;
extern template class QEL_EXPORT qelListItem<qelRef<qelCachedBase>>;
extern template class QEL_EXPORT qelListIterator<void*>;
extern template class QEL_EXPORT qelListIterator<qelCachedBase*>;
extern template class QEL_EXPORT qelListIterator<qelRef<qelCachedBase>>;
extern template class QEL_EXPORT qelList<void*>;
extern template class QEL_EXPORT qelList<qelCachedBase*>;
extern template class QEL_EXPORT qelList<qelRef<qelCachedBase>>;

#endif

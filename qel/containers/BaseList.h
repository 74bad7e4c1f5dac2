#ifndef QEL_CONTAINERS_BASELIST_H
#define QEL_CONTAINERS_BASELIST_H
//===----------------------------------------------------------------------===//
// qelBaseList: a doubly linked list of items that carry their own links, and that
// knows every iterator open on it. qelList<T> puts values on top.
//
//   iterators --> it --> it                 newest first; each may stand on an item
//                 |      |
//   head -------> item <-> item <-> item <------- tail
//
// A removal moves the iterators that stand on the removed item to its
// predecessor, so a walk may remove any item, the current one included. The end
// of the list disarms the iterators that outlive it.
//
// COST: pushes O(1); Remove and Detach O(1) and one step for each open iterator;
// the end of an iterator one step for each that was opened after it.
// OWNERSHIP: the list owns its items and deletes them through their virtual
// destructor. A COPY OF A LIST SHARES THE ITEMS AND THE ITERATORS without any
// count, and an iterator goes on to know the first list only: whoever copies has
// no iterator open and sees to it that only one of the two objects is destroyed.
// ERRORS: none is reported. An item that is null or stands in another list is the
// caller's error and is not caught.
// THREADS: one at a time; the client locks over every walk and every change, the
// making and the end of iterators included.
//===----------------------------------------------------------------------===//

#include <cstdint>

#include <qel/core/Export.h>

class qelBaseList;

// Base of all items. An item is in one list at most and does not know in which.
class QEL_EXPORT qelBaseListItem {
public:
  // Does not unlink the item.
  virtual ~qelBaseListItem();
  qelBaseListItem(const qelBaseListItem&) = delete;
  qelBaseListItem& operator=(const qelBaseListItem&) = delete;

  // Takes the item out of the list: its neighbours are joined, the list's ends and count follow. The
  // item keeps its own links, and iterators that stand on it are left there: lists only.
  void Remove(qelBaseList* list);

  qelBaseListItem* GetNext() const { return m_next; }
  qelBaseListItem* GetPrev() const { return m_prev; }

protected:
  qelBaseListItem();

private:
  friend class qelBaseList;
  friend class qelBaseListForwardIterator;
  friend class qelBaseListReverseIterator;

  qelBaseListItem* m_next; // the following item; null: the tail, or in no list
  qelBaseListItem* m_prev; // the preceding item; null: the head, or in no list
};

// Base of the iterators: attached to its list from its making to its own end or the list's.
class QEL_EXPORT qelBaseListIterator {
public:
  virtual ~qelBaseListIterator();
  qelBaseListIterator(const qelBaseListIterator&) = delete;
  qelBaseListIterator& operator=(const qelBaseListIterator&) = delete;

protected:
  // REQUIRES: the list is not null.
  explicit qelBaseListIterator(qelBaseList* list);

  // The list is gone: no item and no list from here on.
  void ListDeleted();

  friend class qelBaseList;

  qelBaseListItem* m_current; // where it stands; null: before the first step, or off the end
  qelBaseListIterator* m_nextIterator; // link in the list's chain; null: the last one
  qelBaseList* m_list;                 // not owned; null: the list was destroyed
};

// Walks from head to tail.
class QEL_EXPORT qelBaseListForwardIterator : public qelBaseListIterator {
public:
  ~qelBaseListForwardIterator() override;

  // Steps to the next item, or to the head from no item, as a new iterator, one that ran off the end
  // and one whose head was removed have it. False at the end, and for ever once the list is gone.
  bool Next();

protected:
  // REQUIRES: the list is not null.
  explicit qelBaseListForwardIterator(qelBaseList* list);
};

// Walks from tail to head.
class QEL_EXPORT qelBaseListReverseIterator : public qelBaseListIterator {
public:
  ~qelBaseListReverseIterator() override;

  // Steps to the preceding item, or to the tail from no item. False ahead of the head, and for ever
  // once the list is gone.
  // INTENDED: a removal moves this iterator to the predecessor as well, so after the current item was
  // removed a step passes that predecessor by, and begins again at the tail if the item was the head.
  // Remove in forward walks. Pinned by qelBaseListReverseIteratorPrev.SkipsOneItemAfterARemoval.
  bool Prev();

protected:
  // REQUIRES: the list is not null.
  explicit qelBaseListReverseIterator(qelBaseList* list);
};

class QEL_EXPORT qelBaseList {
public:
  // An empty list.
  qelBaseList();

  // Disarms the open iterators, then deletes the items from the head on.
  virtual ~qelBaseList();

  // Share the items; see OWNERSHIP. What the target of an assignment held is not deleted.
  qelBaseList(const qelBaseList&) = default;
  qelBaseList& operator=(const qelBaseList&) = default;

  // The first and the last item, null in an empty list. GetEnd is no position behind the last item.
  qelBaseListItem* GetBegin() const { return m_head; }
  qelBaseListItem* GetEnd() const { return m_tail; }

  // Link an item at an end; the list owns it from here on. Iterators stay where they are, here and
  // below. REQUIRES: the item's links are clear, as in a new or detached item.
  void PushFront(qelBaseListItem* item);
  void PushBack(qelBaseListItem* item);

  // Link an item behind or ahead of one of this list; where that is null, at the back or at the front.
  void PushAfter(qelBaseListItem* item, qelBaseListItem* after);
  void PushBefore(qelBaseListItem* item, qelBaseListItem* before);

  // Unlinks the item, moves the iterators that stand on it to its predecessor, and deletes it.
  virtual void Remove(qelBaseListItem* item);

  // The same, but the item is the caller's, with clear links, and can be pushed to any list at once.
  virtual void Detach(qelBaseListItem* item);

protected:
  friend class qelBaseListItem;
  friend class qelBaseListIterator;
  friend class qelBaseListForwardIterator;
  friend class qelBaseListReverseIterator;

  // Adds an iterator at the head of the chain.
  void AttachIterator(qelBaseListIterator* iterator);

  // Takes an iterator out of the chain; one that is not in it is ignored.
  void DetachIterator(qelBaseListIterator* iterator);

  // Moves the iterators that stand on an unlinked item to the predecessor that it still names.
  void ItemRemoved(qelBaseListItem* item);

  // Disarms all iterators and empties the chain.
  void CloseIterators();

  qelBaseListIterator* m_iterators; // head of the chain, not owned; null: none is open
  qelBaseListItem* m_head;          // first item; null: the list is empty
  qelBaseListItem* m_tail;          // last item; null: the list is empty
  uint64_t m_count;                 // items in the list
};

#endif

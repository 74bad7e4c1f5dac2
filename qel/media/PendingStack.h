#ifndef QEL_MEDIA_PENDINGSTACK_H
#define QEL_MEDIA_PENDINGSTACK_H
//===----------------------------------------------------------------------===//
// Private to this folder: what a walk of a tree has still to do, last in first
// out. It takes the place of recursion, so the depth of a tree costs heap and
// never stack. The trees of ordinary searches fit into the object itself.
//===----------------------------------------------------------------------===//

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include <qel/core/qelMem.h>

template <typename T>
class qelPendingStack {
  static_assert(std::is_trivially_copyable<T>::value, "items are moved as bytes");

public:
  qelPendingStack() : m_items(m_inline), m_count(0), m_capacity(InlineCapacity) {}
  ~qelPendingStack() {
    if (m_items != m_inline)
      free(m_items);
  }
  qelPendingStack(const qelPendingStack&) = delete;
  qelPendingStack& operator=(const qelPendingStack&) = delete;

  bool IsEmpty() const { return m_count == 0; }
  size_t GetCount() const { return m_count; }

  void Push(T item) {
    if (m_count == m_capacity)
      Grow();
    m_items[m_count++] = item;
  }

  // REQUIRES: the stack is not empty.
  T Pop() { return m_items[--m_count]; }

private:
  static constexpr size_t InlineCapacity = 32;

  void Grow() {
    m_capacity *= 2;
    if (m_items != m_inline) {
      m_items = static_cast<T*>(qelMem_Realloc(m_items, m_capacity * sizeof(T)));
      return;
    }
    m_items = static_cast<T*>(qelMem_Alloc(m_capacity * sizeof(T)));
    memcpy(m_items, m_inline, sizeof m_inline);
  }

  T m_inline[InlineCapacity]; // in use until it is full
  T* m_items;                 // m_inline or an allocated block
  size_t m_count;             // items in use
  size_t m_capacity;          // items that fit
};

#endif

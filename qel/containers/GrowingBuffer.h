#ifndef QEL_CONTAINERS_GROWINGBUFFER_H
#define QEL_CONTAINERS_GROWINGBUFFER_H
//===----------------------------------------------------------------------===//
// qelGrowingBuffer: a sink of bytes that grows as it is written and hands its
// block over at the end. The bytes carry no terminator.
//
//   block: | length bytes in use | free bytes |      length <= capacity
//
// COST: an append is amortised O(n): a block that is too small, or exactly as
//   large as needed, grows to twice the need.
// INVALIDATES: every append, and whatever else changes the size, may move the block.
// OWNERSHIP: the buffer owns its block, one of the guarded family, until
//   TakeOwnership. A COPY SHARES THE BLOCK without any count: one of the two
//   objects must give it up by TakeOwnership before both are destroyed.
// ERRORS: none. Exhausted memory ends the process.
// THREADS: one at a time; the client locks.
//===----------------------------------------------------------------------===//

#include <type_traits>

#include <qel/containers/qelArrayBuffer.h>
#include <qel/core/Export.h>
#include <qel/core/Types.h>

class QEL_EXPORT qelGrowingBuffer {
public:
  // Capacity 128.
  qelGrowingBuffer();
  // Capacity n; no block for 0.
  explicit qelGrowingBuffer(size_t n);
  // Shares the block; see OWNERSHIP.
  qelGrowingBuffer(const qelGrowingBuffer& other) = default;
  // Shares the block; see OWNERSHIP. The own block is not released.
  qelGrowingBuffer& operator=(const qelGrowingBuffer& other) = default;
  ~qelGrowingBuffer();

  // Appends p[0..n-1]. REQUIRES: p is not in the block.
  void Append(const char* p, size_t n);
  // Appends the text without its terminator.
  qelGrowingBuffer& operator+=(const char* text);
  // Appends the value as decimal text.
  qelGrowingBuffer& operator+=(qelULong value);
  // The same for the other integer types, as 32 unsigned bits.
  template <class Integer, class = typename std::enable_if<std::is_integral<Integer>::value>::type>
  qelGrowingBuffer& operator+=(Integer value) {
    return *this += static_cast<qelULong>(value);
  }

  // Sets the length, with room for it; new bytes are not set.
  void SetPosition(size_t n);
  // Gives the block exactly n bytes, all in use. 0 releases it.
  void Reduce(size_t n);

  // Hands the block to the caller, who frees it with free; its length goes to *size unless that is
  // null. With shrink the block has exactly that length, and is null for 0. The buffer has no block
  // afterwards and may be used again.
  char* TakeOwnership(bool shrink, size_t* size);

  // The block, null for none; it stays the buffer's.
  char* buffer() const { return m_bytes.block; }
  // Bytes in use.
  size_t length() const { return m_bytes.used; }

protected:
  // Gives the block exactly n bytes. The length stays.
  void Realloc(size_t n);

private:
  qelArrayBuffer_t m_bytes; // block, capacity and length
};

#endif

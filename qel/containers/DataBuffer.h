#ifndef QEL_CONTAINERS_DATABUFFER_H
#define QEL_CONTAINERS_DATABUFFER_H
//===----------------------------------------------------------------------===//
// qelDataBuffer: an owned block of bytes and its size.
//
// OWNERSHIP: the buffer owns its block, which is one of the guarded family, until
//   TakeOwnership hands it over. A COPY SHARES THE BLOCK without any count: one of
//   the two objects must give it up by TakeOwnership before both are destroyed.
// ERRORS: none. Exhausted memory ends the process.
// THREADS: one at a time; the client locks.
//===----------------------------------------------------------------------===//

#include <type_traits>

#include <qel/core/Export.h>
#include <qel/core/Types.h>

class QEL_EXPORT qelDataBuffer {
public:
  // 0 bytes, in a block all the same.
  qelDataBuffer();
  // n bytes, not set.
  explicit qelDataBuffer(size_t n);
  // The same for the other integer types.
  template <class Integer, class = typename std::enable_if<std::is_integral<Integer>::value>::type>
  explicit qelDataBuffer(Integer n) : qelDataBuffer(static_cast<size_t>(n)) {}
  // A copy of p[0..n-1].
  qelDataBuffer(const void* p, size_t n);
  // A copy of the text and its terminator. REQUIRES: the text is not null.
  explicit qelDataBuffer(const char* text);
  // Shares the block; see OWNERSHIP.
  qelDataBuffer(const qelDataBuffer& other) = default;
  // Shares the block; see OWNERSHIP. The own block is not released.
  qelDataBuffer& operator=(const qelDataBuffer& other) = default;
  ~qelDataBuffer();

  // Releases the own block and adopts p[0..n-1], a block of the guarded family or null. REQUIRES: p
  // is not the own block.
  void Set(const void* p, size_t n);
  // Gives the block n bytes; new ones are not set. Size 0 releases it and leaves null.
  void Realloc(size_t n);

  // The block, null for none; it stays the buffer's.
  void* data() const { return m_data; }
  // Bytes.
  size_t size() const { return m_size; }

  // Hands the block to the caller, who frees it with free; the buffer has none afterwards.
  void* TakeOwnership();
  // Takes the other's block and leaves it with none. The own block is not released. REQUIRES: other
  // is another buffer.
  void TakeOwnership(qelDataBuffer& other);

private:
  void* m_data;    // owned; null for none
  uint64_t m_size; // bytes
};

#endif

#ifndef QEL_CORE_CHARBUFFER_H
#define QEL_CORE_CHARBUFFER_H
//===----------------------------------------------------------------------===//
// qelCharBuffer and qelWCharBuffer: the owning results of a text conversion.
//
// A buffer holds one block of the guarded family (qelMem.h) or null, and knows no
// length. It is passed by value, and every copy transfers: the source is left
// with null, although it is declared const.
//
// OWNERSHIP: the destructor frees the block; release hands it to the caller, who
//   frees it with the C library's free.
// ERRORS: none. A failed conversion shows as a null data().
// THREADS: one owner at a time.
//===----------------------------------------------------------------------===//

#include <cstddef>

#include <qel/core/Export.h>
#include <qel/core/Types.h>

class QEL_EXPORT qelCharBuffer {
public:
  // With copy, holds a copy of text. Without it, adopts text, which must be a block of the guarded
  // family. A null text gives a buffer that holds null.
  qelCharBuffer(const char* text, bool copy);

  // A block of length + 1 bytes with a terminator at [length]; [0..length-1] are not set.
  explicit qelCharBuffer(size_t length);

  // Takes the other buffer's block and leaves it with null.
  qelCharBuffer(const qelCharBuffer& other);
  ~qelCharBuffer();

  // Frees the own block and takes the other's. Assigning a buffer to itself changes nothing.
  qelCharBuffer& operator=(const qelCharBuffer& other);

  // Frees the own block and holds a copy of text, or null for null. The text may be the buffer's
  // own.
  qelCharBuffer& operator=(const char* text);

  // The text, or null. It stays the buffer's.
  char* data() { return m_text; }
  const char* data() const { return m_text; }
  operator const char*() const { return m_text; }

  // The byte at that index. REQUIRES: the block reaches that far.
  char operator[](size_t index) const { return m_text[index]; }

  // Hands the block to the caller, who frees it with free; the buffer holds null afterwards.
  char* release() const;

private:
  mutable char* m_text; // owned; null for none
};

// The twin for 16-bit units.
class QEL_EXPORT qelWCharBuffer {
public:
  qelWCharBuffer(const qelWChar* text, bool copy);
  explicit qelWCharBuffer(size_t length);
  qelWCharBuffer(const qelWCharBuffer& other);
  ~qelWCharBuffer();

  // Frees the own block and takes the other's. Unlike the narrow buffer, one that is assigned to
  // itself loses its text and holds null.
  qelWCharBuffer& operator=(const qelWCharBuffer& other);
  qelWCharBuffer& operator=(const qelWChar* text);

  qelWChar* data() { return m_text; }
  const qelWChar* data() const { return m_text; }
  operator const qelWChar*() const { return m_text; }
  qelWChar operator[](size_t index) const { return m_text[index]; }
  qelWChar* release() const;

private:
  mutable qelWChar* m_text; // owned; null for none
};

#endif

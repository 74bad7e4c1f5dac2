#ifndef QEL_CONTAINERS_QELARRAYBUFFER_H
#define QEL_CONTAINERS_QELARRAYBUFFER_H
//===----------------------------------------------------------------------===//
// A growing byte buffer, the sink of qelArray_Serialize.
//
//   block: | used bytes | free bytes |      used <= capacity
//
// COST: an append is amortised O(n): a buffer that is too small, or exactly as
// large as needed, grows to twice the need.
// INVALIDATES: every append and resize may move the block.
// OWNERSHIP: the buffer owns its block until qelArrayBuffer_Detach hands it over.
// ERRORS: none; exhausted memory is fatal.
// THREADS: one at a time; the client locks.
//===----------------------------------------------------------------------===//

#include <cstddef>

#include <qel/core/Types.h>

struct qelArrayBuffer_t {
  char* block;     // owned; null after a detach
  size_t capacity; // bytes of the block
  size_t used;     // bytes in use
};

// A new empty buffer of so many bytes. Released by qelArrayBuffer_Delete.
qelArrayBuffer_t* qelArrayBuffer_New(size_t capacity);

// Releases block and record. Null does nothing.
void qelArrayBuffer_Delete(qelArrayBuffer_t* buffer);

// Gives the block exactly so many bytes. `used` stays.
void qelArrayBuffer_Resize(qelArrayBuffer_t* buffer, size_t capacity);

// Appends data[0..n-1].
void qelArrayBuffer_Append(qelArrayBuffer_t* buffer, const void* data, size_t n);

// Appends the text's bytes without its terminator.
void qelArrayBuffer_AppendString(qelArrayBuffer_t* buffer, const char* text);

// Appends the value as decimal text, no terminator.
void qelArrayBuffer_AppendDecimal(qelArrayBuffer_t* buffer, qelULong value);

// Appends the value as eight upper-case hexadecimal digits, no terminator.
void qelArrayBuffer_AppendHex(qelArrayBuffer_t* buffer, qelULong value);

// Hands the block over and zeroes the record. A nonzero `shrink` first cuts the block to the bytes in
// use, which makes an empty one null. The number of bytes in use goes to *size unless that is null.
// The caller releases the block with free.
char* qelArrayBuffer_Detach(qelArrayBuffer_t* buffer, int shrink, size_t* size);

// 1 if the text consists of ASCII digits and exactly three dots, with nothing said of where the dots
// stand ("..." is one); else 0, as for the empty text.
int qelIsDottedNumber(const char* text);

#endif

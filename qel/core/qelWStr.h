#ifndef QEL_CORE_QELWSTR_H
#define QEL_CORE_QELWSTR_H
//===----------------------------------------------------------------------===//
// qelWStr: a counted wide text behind a plain pointer. The back-ends build the
// wide forms of names with it.
//
//   | capacity (8 bytes) | length (8 bytes) | text: capacity + 1 units |
//                                           ^ the qelWStr points here
//
// The text is terminated, so that the pointer can be handed to a function that
// wants a terminated wide text. A function that returns a qelWStr may have moved
// the block: the pointer that was passed in is no longer valid.
//
// OWNERSHIP: the caller's, until qelWStr_Free.
// ERRORS: none; exhausted memory is fatal.
// THREADS: one owner at a time.
//===----------------------------------------------------------------------===//

#include <cstddef>
#include <cstdint>

#include <qel/core/Types.h>

typedef qelWChar* qelWStr;

struct qelWStrHeader {
  uint64_t capacity; // units of text that the block holds, without the terminator
  uint64_t length;   // units in use, without the terminator
};

// A block of the exact size of text. REQUIRES: text is not null.
qelWStr qelWStr_New(const qelWChar* text);

// Null is allowed.
void qelWStr_Free(qelWStr text);

// A block for n units. Length and text stay as they were, as far as the block holds them. A null
// text makes a new, empty block.
qelWStr qelWStr_Resize(qelWStr text, size_t n);

// Sets the length and writes the terminator there. REQUIRES: n is not above the capacity.
void qelWStr_SetLength(qelWStr text, size_t n);

size_t qelWStr_GetLength(const qelWChar* text);

// The text with tail behind it. REQUIRES: tail does not lie inside text.
qelWStr qelWStr_Append(qelWStr text, const qelWChar* tail);

// The text with head ahead of it, in a new block of the exact size; an empty head leaves the text
// as it is.
qelWStr qelWStr_Prepend(qelWStr text, const qelWChar* head);

// Whether the capacity is 0: a text that has been made empty but keeps its block is not.
bool qelWStr_IsEmpty(const qelWChar* text);

// As wcsncmp: below 0, 0 or above 0.
int qelWStr_Compare(const qelWChar* a, const qelWChar* b, size_t n);

// 1 if text has, at some position p, a unit whose low byte is that of unit, and part ends one unit
// ahead of p (at p - 1 minus the length of part), 0 otherwise.
int qelWStr_ContainsAfter(const qelWChar* text, qelWChar unit, const qelWChar* part);

// A new narrow block, released with free: units above 255 become ".".
char* qelWStr_ToLatin1(const qelWChar* text);

#endif

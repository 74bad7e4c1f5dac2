#ifndef QEL_CORE_QELMEM_H
#define QEL_CORE_QELMEM_H
//===----------------------------------------------------------------------===//
// Guarded allocation: every function gives memory or ends the process through
// qelFatalError, so no caller tests a result.
//
// OWNERSHIP: a result is the caller's and is released with the C library's free.
// ERRORS: none is returned. A null result means a null argument, as told below.
// THREADS: any.
//===----------------------------------------------------------------------===//

#include <cstddef>

#include <qel/core/Types.h>

// size bytes, unset; size 0 gives a block all the same. Exhausted: "memory:malloc".
void* qelMem_Alloc(size_t size);

// size bytes, all zero.
void* qelMem_AllocZero(size_t size);

// The block moved to a new size. A null block with size 0 gives null at once; a live block with size 0
// is released and the result is null. Exhausted: "memory:realloc".
void* qelMem_Realloc(void* block, size_t size);

// A copy of a terminated text; null gives null. Exhausted: "memory:strdup".
char* qelMem_StrDup(const char* text);

// A copy with toupper on each byte; null gives null.
char* qelMem_StrDupUpper(const char* text);

// A copy of exactly text[0..n-1], zero bytes included, and a terminator; null gives null.
char* qelMem_StrNDup(const char* text, size_t n);

// The wide twins. Exhausted: "memory:malloc".
qelWChar* qelMem_WStrDup(const qelWChar* text);
qelWChar* qelMem_WStrNDup(const qelWChar* text, size_t n);

// Replaces the text that *slot owns (or null) by a copy of text, and returns it. A null text leaves
// null in the slot. The text may be the slot's own or lie inside it.
char* qelMem_SetStr(char** slot, const char* text);

// The same with a copy of exactly text[0..n-1].
char* qelMem_SetStrN(char** slot, const char* text, size_t n);

// Appends text to the one that *slot owns. An empty slot gets a copy of text (null for null);
// otherwise a null text counts as empty. Returns the slot's new text. The text may be the slot's own.
char* qelMem_AppendStr(char** slot, const char* text);

// A new block with a, then b. REQUIRES: both are not null.
char* qelMem_Concat(const char* a, const char* b);

#endif

#ifndef QEL_CORE_QELUTF8_H
#define QEL_CORE_QELUTF8_H
//===----------------------------------------------------------------------===//
// The UTF-8 and UTF-16 codec.
//
// OWNERSHIP: new blocks are the caller's, from the guarded family; a qelWStr is
//   released with qelWStr_Free, the others with free.
// ERRORS: malformed UTF-8 fails the whole conversion. Malformed UTF-16 never
//   fails; see qelUTF8_Encode. Nothing is logged.
// THREADS: any; all functions are pure.
//===----------------------------------------------------------------------===//

#include <cstddef>
#include <cstdint>

#include <qel/core/Types.h>
#include <qel/core/qelWStr.h>

// A new block with the UTF-8 form of text. The block may be a byte larger than the text needs.
// REQUIRES: text is not null.
char* qelUTF8_FromWide(const qelWChar* text);

// A new block with the UTF-16 form of text, or null if text is null or malformed.
qelWChar* qelUTF8_ToWide(const char* text);

// The same as a counted wide text, or null: test it before use.
qelWStr qelUTF8_ToWStr(const char* text);

// Decodes text into dst[0..size-1]; a null dst only counts. Returns the units of the whole text
// without terminator (null dst) or the units written, or -1 for malformed text: a stray or missing
// continuation byte, an overlong form, or a value of 0x110000 and above. Encoded surrogates pass as
// single units. A pair of which only the first unit fits counts as 2. The terminator is written
// only if there is room for it.
int64_t qelUTF8_Decode(qelWChar* dst, const char* text, size_t size);

// Encodes text into dst[0..size-1] and returns the bytes written; the terminator is written only if
// there is room for it. A character that fits only in part is cut, and counts whole.
//
// A null dst counts. With size 0 the count of a non-empty text is one more than the text needs.
//
// A unit of 0xD800 to 0xDFFF that begins no pair is replaced by the character before it, which is
// written once more; at the start of the text that character is the code point 0.
size_t qelUTF8_Encode(char* dst, const qelWChar* text, size_t size);

// Writes code point as one or two units to dst[0..size-1], as many of them as fit; dst may be null.
// Returns 1 or 2, or -1 for a code point of 0x110000 and above.
int qelUTF16_Put(uint32_t codePoint, qelWChar* dst, size_t size);

// Reads one code point from text[0..available-1] into *codePoint, which may be null and is set only
// for a result above 0. Returns the units read (1 or 2), 0 if available is 0, -1 if the second unit
// of a pair is no low surrogate, -2 if the pair is cut. Any unit of 0xD800 to 0xDFFF begins a pair.
int qelUTF16_Get(const qelWChar* text, size_t available, uint32_t* codePoint);

#endif

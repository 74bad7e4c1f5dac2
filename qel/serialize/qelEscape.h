#ifndef QEL_SERIALIZE_QELESCAPE_H
#define QEL_SERIALIZE_QELESCAPE_H
//===----------------------------------------------------------------------===//
// Bytes as text in which unwanted bytes stand as an escape character and two
// hexadecimal digits, as in "a%25b".
//
// The caller chooses the escape character and a table of 128 flags, not 0 for
// the bytes below 128 that pass as they are. Only text whose table has 0 for the
// escape character itself can be read back.
//
// OWNERSHIP: results are the caller's, released with free.
// ERRORS: none; malformed escapes are dropped. Exhausted memory is fatal.
// THREADS: any.
//===----------------------------------------------------------------------===//

#include <cstddef>

// Writes data[0..size-1]. Bytes from 128 up are escaped if `high` is not 0 and pass otherwise. With
// a `terminator` not 0 a zero byte ends the text. The bytes written, the terminator included, are
// counted in *outSize unless it is null.
char* qelEscape_Bytes(const void* data, size_t size, int terminator, const unsigned char* table,
                      char escape, int high, size_t* outSize);

// The bytes behind text[0..length-1], digits of either case, with `terminator` and *outSize as
// above. An escape with something else than two digits vanishes together with the two bytes behind
// it; one with fewer than two bytes behind it ends the text.
char* qelUnescape_Bytes(const char* text, size_t length, int terminator, char escape,
                        size_t* outSize);

// The same on a whole terminated text, with a terminator behind the result.
char* qelEscape_String(const char* string, const unsigned char* table, char escape, int high);
char* qelUnescape_String(const char* string, char escape);

#endif

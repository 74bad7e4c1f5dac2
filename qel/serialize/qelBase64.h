#ifndef QEL_SERIALIZE_QELBASE64_H
#define QEL_SERIALIZE_QELBASE64_H
//===----------------------------------------------------------------------===//
// Base64 with the standard alphabet and padding (RFC 4648), without line breaks.
//
// THREADS: any.
//===----------------------------------------------------------------------===//

#include <cstddef>
#include <cstdint>

// Writes data[0..length-1] as a terminated text to *out, which the caller releases with free; null
// when memory is exhausted. A length of 0 means that data is a terminated text, which is measured.
void qelBase64_Encode(const void* data, size_t length, char** out);

// Reads a terminated text into `out`, puts a zero byte behind the data and returns the data's size
// without it. Reading ends behind the first run of "=". -1 with nothing written: the characters up to
// there are no multiple of 4, or the run is longer than three.
// REQUIRES: out has room for a byte more than three for each four characters of the text.
// A character that is not of the alphabet is no error: see qelBase64_DecodeQuad.
int64_t qelBase64_Decode(const char* text, void* out);

// Reads in[0..3] into out[0..2]. A "=" counts as six bits of 0. Any other character that is not of
// the alphabet counts as no bits at all, so what stands ahead of it moves six bits down.
void qelBase64_DecodeQuad(unsigned char* out, const char* in);

#endif

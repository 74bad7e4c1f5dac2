#ifndef QEL_SERIALIZE_QELRC4_H
#define QEL_SERIALIZE_QELRC4_H
//===----------------------------------------------------------------------===//
// The RC4 stream cipher: an obfuscation and nothing more.
//
// It keeps a text from being read in passing. It protects no secret: RC4 is
// broken, the start of its stream gives the key away over many texts, the same
// key gives the same stream every time, and nothing notices a changed text.
//
// OWNERSHIP: the state is the caller's record.
// ERRORS: none.
// THREADS: any; one at a time on one state.
//===----------------------------------------------------------------------===//

#include <cstddef>

struct qelRC4_t {
  unsigned char permutation[256]; // of 0 to 255
  unsigned char i;                // walks through the permutation
  unsigned char j;                // jumps through it
};

// Sets the state up. No more than the first 256 bytes of the key count. REQUIRES: length is not 0.
void qelRC4_Init(const void* key, size_t length, qelRC4_t* state);

// Encrypts or decrypts data[0..length-1] in place. The next call goes on in the stream.
void qelRC4_Crypt(void* data, size_t length, qelRC4_t* state);

// Exchanges two bytes, which may be the same one.
void qelRC4_SwapBytes(unsigned char* a, unsigned char* b);

#endif

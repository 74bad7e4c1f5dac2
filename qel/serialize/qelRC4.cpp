#include <qel/serialize/qelRC4.h>

#include <cstdint>

void qelRC4_Init(const void* key, size_t length, qelRC4_t* state) {
  const unsigned char* bytes = static_cast<const unsigned char*>(key);
  for (int position = 0; position != 256; ++position)
    state->permutation[position] = static_cast<unsigned char>(position);
  state->i = 0;
  state->j = 0;

  uint8_t j = 0;
  uint8_t k = 0; // INTENDED: a byte. A longer key starts anew after 256 bytes. Pinned by
                 // qelRC4Init.TakesTheFirst256BytesOfAKey.
  for (int position = 0; position != 256; ++position) {
    j = static_cast<uint8_t>(j + state->permutation[position] + bytes[k]);
    qelRC4_SwapBytes(&state->permutation[position], &state->permutation[j]);
    k = static_cast<uint8_t>((k + size_t{1}) % length);
  }
}

void qelRC4_Crypt(void* data, size_t length, qelRC4_t* state) {
  unsigned char* bytes = static_cast<unsigned char*>(data);
  unsigned char* permutation = state->permutation;
  uint8_t i = state->i;
  uint8_t j = state->j;
  for (size_t n = 0; n != length; ++n) {
    i = static_cast<uint8_t>(i + 1);
    const uint8_t a = permutation[i];
    j = static_cast<uint8_t>(j + a);
    const uint8_t b = permutation[j];
    permutation[i] = b;
    permutation[j] = a;
    bytes[n] = static_cast<unsigned char>(bytes[n] ^ permutation[static_cast<uint8_t>(a + b)]);
  }
  state->i = i;
  state->j = j;
}

void qelRC4_SwapBytes(unsigned char* a, unsigned char* b) {
  const unsigned char kept = *a;
  *a = *b;
  *b = kept;
}

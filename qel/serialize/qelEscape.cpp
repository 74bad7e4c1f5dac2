#include <qel/serialize/qelEscape.h>

#include <cstdint>
#include <cstring>

#include <qel/core/qelMem.h>
#include <qel/serialize/qelHex.h>

static const char kDigits[] = "0123456789ABCDEF";
static const unsigned char kFirstHigh = 128; // the table ends ahead of it

// The bytes that so many take at most. More than memory has addresses is exhaustion, not a small block.
static size_t EscapedSize(size_t size) {
  return size <= (SIZE_MAX - 1) / 3 ? size * 3 : SIZE_MAX / 2;
}

static char* Finish(char* text, char* end, int terminator, size_t* outSize) {
  if (terminator != 0)
    *end++ = '\0';
  if (outSize != nullptr)
    *outSize = static_cast<size_t>(end - text);
  return text;
}

char* qelEscape_Bytes(const void* data, size_t size, int terminator, const unsigned char* table,
                      char escape, int high, size_t* outSize) {
  const unsigned char* bytes = static_cast<const unsigned char*>(data);
  char* text = static_cast<char*>(qelMem_Alloc(EscapedSize(size) + (terminator != 0 ? 1 : 0)));
  char* end = text;
  for (size_t i = 0; i != size; ++i) {
    const unsigned char byte = bytes[i];
    if (byte < kFirstHigh ? table[byte] != 0 : high == 0) {
      *end++ = static_cast<char>(byte);
      continue;
    }
    *end++ = escape;
    *end++ = kDigits[byte >> 4];
    *end++ = kDigits[byte & 15];
  }
  return Finish(text, end, terminator, outSize);
}

char* qelUnescape_Bytes(const char* text, size_t length, int terminator, char escape,
                        size_t* outSize) {
  char* data = static_cast<char*>(qelMem_Alloc(length + (terminator != 0 ? 1 : 0)));
  char* end = data;
  for (size_t i = 0; i != length; ++i) {
    if (text[i] != escape) {
      *end++ = text[i];
      continue;
    }
    // INTENDED: a malformed escape vanishes without a word, so that no text is refused as a whole.
    // Pinned by qelUnescapeBytes.DropsMalformedEscapes.
    if (length - i <= 2)
      break;
    unsigned char high = 0;
    unsigned char low = 0;
    if (qelHex_DigitValue(text[i + 1], &high) && qelHex_DigitValue(text[i + 2], &low))
      *end++ = static_cast<char>(high << 4 | low);
    i += 2;
  }
  return Finish(data, end, terminator, outSize);
}

char* qelEscape_String(const char* string, const unsigned char* table, char escape, int high) {
  return qelEscape_Bytes(string, strlen(string), /*terminator=*/1, table, escape, high, nullptr);
}

char* qelUnescape_String(const char* string, char escape) {
  return qelUnescape_Bytes(string, strlen(string), /*terminator=*/1, escape, nullptr);
}

#include <qel/core/qelUTF8.h>

#include <qel/core/qelMem.h>

static const uint32_t kCodePointEnd = 0x110000; // first value that UTF-16 can't express
static const int64_t kMalformed = -1;

// Decoding ---------------------------------------------------------------------

// The number of one bits ahead of the first zero bit.
static int LeadingOnes(unsigned char byte) {
  int count = 0;
  for (; count < 8 && (byte & 0x80 >> count) != 0; ++count)
    ;
  return count;
}

// Reads the sequence at text whose lead byte is 128 or above. Returns its length in bytes, or -1.
static int ReadSequence(const char* text, uint32_t* codePoint) {
  // The largest value that a sequence shorter by one byte carries, by length. A sequence of five
  // bytes and more carries only values that UTF-16 has no form for, or an overlong form.
  static const uint32_t kOverlongLimit[] = {0, 0, 0x7F, 0x7FF, 0xFFFF};

  const unsigned char lead = static_cast<unsigned char>(*text);
  const int length = LeadingOnes(lead);
  if (length < 2 || length > 4)
    return -1;
  uint32_t value = lead & 63u >> (length - 1);
  for (int i = 1; i < length; ++i) {
    const unsigned char next = static_cast<unsigned char>(text[i]);
    if ((next & 0xC0) != 0x80) // a terminator fails here too
      return -1;
    value = value << 6 | (next & 63u);
  }
  if (value <= kOverlongLimit[length])
    return -1;
  *codePoint = value;
  return length;
}

// Encoding ---------------------------------------------------------------------

// Writes the sequence of the value, as far as it fits in dst[0..room-1]; dst may be null. Returns
// the length of the whole sequence. Two low surrogates in a row are read as one value above
// 0x10FFFF, so the length can be 5.
static size_t WriteSequence(uint32_t value, char* dst, size_t room) {
  static const uint32_t kLargest[] = {0x7F, 0x7FF, 0xFFFF, 0x1FFFFF, 0x3FFFFFF, 0x7FFFFFFF};
  unsigned more = 0; // continuation bytes
  while (value > kLargest[more])
    ++more;
  for (unsigned i = 0; dst != nullptr && i <= more && i < room; ++i) {
    const uint32_t bits = value >> 6 * (more - i);
    const uint32_t lead = more == 0 ? bits : (bits & 63u >> more) | 0xFF80u >> more;
    dst[i] = static_cast<char>(i == 0 ? lead : 0x80 | (bits & 63));
  }
  return more + 1;
}

// INTENDED: what begins no pair is passed over by one unit and codePoint keeps its value, so that
// the character before it is written once more. There is no replacement character. Pinned by
// UTF8Encode.RepeatsTheCharacterBeforeALoneSurrogate.
static size_t ReadOrRepeat(const qelWChar* text, size_t available, uint32_t* codePoint) {
  const int read = qelUTF16_Get(text, available, codePoint);
  return read >= 0 ? static_cast<size_t>(read) : 1;
}

// Blocks -----------------------------------------------------------------------

char* qelUTF8_FromWide(const qelWChar* text) {
  const size_t size = qelUTF8_Encode(nullptr, text, 0);
  char* block = static_cast<char*>(qelMem_Alloc(size + 1));
  qelUTF8_Encode(block, text, size + 1);
  return block;
}

qelWChar* qelUTF8_ToWide(const char* text) {
  const int64_t count = text != nullptr ? qelUTF8_Decode(nullptr, text, 0) : kMalformed;
  if (count < 0)
    return nullptr;
  const size_t size = static_cast<size_t>(count) + 1;
  qelWChar* block = static_cast<qelWChar*>(qelMem_Alloc(size * sizeof(qelWChar)));
  qelUTF8_Decode(block, text, size);
  return block;
}

qelWStr qelUTF8_ToWStr(const char* text) {
  const int64_t count = text != nullptr ? qelUTF8_Decode(nullptr, text, 0) : kMalformed;
  if (count < 0)
    return nullptr;
  const size_t capacity = static_cast<size_t>(count);
  qelWStr wide = qelWStr_Resize(nullptr, capacity);
  qelWStr_SetLength(wide, static_cast<size_t>(qelUTF8_Decode(wide, text, capacity + 1)));
  return wide;
}

// Codec ------------------------------------------------------------------------

int64_t qelUTF8_Decode(qelWChar* dst, const char* text, size_t size) {
  size_t units = 0;
  while (*text != '\0' && (dst == nullptr || units < size)) {
    if (static_cast<unsigned char>(*text) < 0x80) {
      if (dst != nullptr)
        dst[units] = static_cast<qelWChar>(*text);
      ++units;
      ++text;
      continue;
    }
    uint32_t codePoint = 0;
    const int bytes = ReadSequence(text, &codePoint);
    if (bytes < 0)
      return kMalformed;
    const int put = dst != nullptr ? qelUTF16_Put(codePoint, dst + units, size - units)
                                   : qelUTF16_Put(codePoint, nullptr, 0);
    if (put < 0)
      return kMalformed;
    units += static_cast<size_t>(put);
    text += bytes;
  }
  if (dst != nullptr && units < size)
    dst[units] = 0;
  return static_cast<int64_t>(units);
}

size_t qelUTF8_Encode(char* dst, const qelWChar* text, size_t size) {
  uint32_t codePoint = 0;
  size_t bytes = 0;
  if (dst == nullptr && size == 0 && *text != 0)
    // INTENDED: the first look at the text finds no room, and counts the initial code point, so that
    // the count is an upper bound. Pinned by UTF8Encode.CountsOneMoreThanANonEmptyTextNeeds.
    bytes = 1;
  while (*text != 0 && (dst == nullptr || bytes < size)) {
    if (*text < 0x80) {
      codePoint = *text++;
      if (dst != nullptr)
        dst[bytes] = static_cast<char>(codePoint);
      ++bytes;
      continue;
    }
    // The room in bytes stands for the units that may be read: a pair needs four bytes in any case.
    const size_t room = dst != nullptr ? size - bytes : SIZE_MAX;
    text += ReadOrRepeat(text, room, &codePoint);
    bytes += WriteSequence(codePoint, dst != nullptr ? dst + bytes : nullptr, room);
  }
  if (dst != nullptr && bytes < size)
    dst[bytes] = '\0';
  return bytes;
}

// UTF-16 -----------------------------------------------------------------------

int qelUTF16_Put(uint32_t codePoint, qelWChar* dst, size_t size) {
  if (codePoint >= kCodePointEnd)
    return -1;
  if (codePoint < 0x10000) {
    if (dst != nullptr && size > 0)
      dst[0] = static_cast<qelWChar>(codePoint);
    return 1;
  }
  if (dst != nullptr && size > 0)
    dst[0] = static_cast<qelWChar>((codePoint >> 10) + 0xD7C0);
  if (dst != nullptr && size > 1)
    dst[1] = static_cast<qelWChar>((codePoint & 0x3FF) + 0xDC00);
  return 2;
}

int qelUTF16_Get(const qelWChar* text, size_t available, uint32_t* codePoint) {
  if (available == 0)
    return 0;
  const uint32_t first = text[0];
  uint32_t value = first;
  int units = 1;
  if (first >= 0xD800 && first <= 0xDFFF) {
    // INTENDED: a low surrogate begins a pair too, so two of them are one value above 0x10FFFF, which
    // is encoded as it is. Pinned by UTF8Encode.TakesTwoLowSurrogatesForAPair.
    if (available < 2)
      return -2;
    const uint32_t second = text[1];
    if (second < 0xDC00 || second > 0xDFFF)
      return -1;
    value = (first << 10) + second - 0x35FDC00;
    units = 2;
  }
  if (codePoint != nullptr)
    *codePoint = value;
  return units;
}

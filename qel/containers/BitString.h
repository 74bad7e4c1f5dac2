#ifndef QEL_CONTAINERS_BITSTRING_H
#define QEL_CONTAINERS_BITSTRING_H
//===----------------------------------------------------------------------===//
// qelBitString: reads fields of 1 to 32 bits, most significant bit first, from a
// block of bytes; and integers of either byte order from raw memory.
//
//   pointer - 1     pointer
//   | x x x x b b b | next byte | ...     b: the unread bits of the current byte
//
// COST: a read is a few shifts; there is no loop over bits.
// OWNERSHIP: the block stays the caller's and outlives the reading.
// ERRORS: reading past the end gives 0; nothing is reported.
// THREADS: one at a time; the static functions any.
//===----------------------------------------------------------------------===//

#include <qel/core/Export.h>
#include <qel/core/Types.h>
#include <qel/core/UInt64.h>

class QEL_EXPORT qelBitString {
public:
  // No block.
  qelBitString();
  // As SetBuffer.
  qelBitString(const unsigned char* p, size_t bytes);
  qelBitString(const qelBitString& other) = default;
  qelBitString& operator=(const qelBitString& other) = default;

  // Begins to read p[0..bytes-1]; a marker is gone.
  void SetBuffer(const unsigned char* p, size_t bytes);

  // The next n bits, the last one lowest. With fewer than n left: 0, and what is left is only the
  // unread part of the current byte. Otherwise an n above 32 gives 0 and reads nothing.
  qelULong Get(unsigned char n);
  // The next n bits, as Get, without reading on. A marker that was set is gone.
  qelULong Peek(unsigned char n);
  // Passes over n bits. With fewer than n left, nothing is left.
  void Skip(unsigned char n);
  // Passes over the unread part of the current byte.
  void ByteAlign();
  // True marks this place; false goes back to the place that was last saved, here or by Peek.
  // REQUIRES for false: a place was saved since the block was set; otherwise nothing is left to
  // read.
  void ToggleMarker(bool set);

  // Bits that are not read.
  size_t GetRemainingBitCount() const;
  // How many bytes were begun.
  size_t GetByteOffset() const;

  // Integers from memory, at any alignment. The first four are big-endian.
  static unsigned char Get1(const unsigned char* p);
  static unsigned char Get1(const char* p);
  static uint16_t Get2(const unsigned char* p);
  static uint16_t Get2(const char* p);
  static qelULong Get3(const unsigned char* p);
  static qelULong Get3(const char* p);
  static qelULong Get4(const unsigned char* p);
  static qelULong Get4(const char* p);
  static uint16_t BigEndianTouint16(const unsigned char* p);
  static uint32_t BigEndianTouint32(const unsigned char* p);
  static int16_t BigEndianToint16(const unsigned char* p);
  static int32_t BigEndianToint32(const unsigned char* p);
  static uint16_t LittleEndianTouint16(const unsigned char* p);
  static uint32_t LittleEndianTouint32(const unsigned char* p);
  static int16_t LittleEndianToint16(const unsigned char* p);
  static int32_t LittleEndianToint32(const unsigned char* p);
  static qeluint64 LittleEndianTouint64(const unsigned char* p);

  // The value whose bytes in memory are those of v, lowest first.
  static uint16_t uint16ToLittleEndian(uint16_t v);
  static uint32_t uint32ToLittleEndian(uint32_t v);
  // Whether this machine keeps the highest byte first.
  static bool IsBigEndianPlatform();

private:
  // Loads the next byte as the current one. REQUIRES: one is left.
  void LoadByte();
  // The current place as the saved one, and back.
  void Save();
  void Restore();

  const unsigned char* m_pointer;      // next byte to load; not owned
  uint64_t m_bitsLeft;                 // bits not yet loaded
  uint64_t m_totalBits;                // of the block
  uint8_t m_current;                   // the byte being read
  uint8_t m_bitsInCurrent;             // its unread bits, 0 to 7, at its low end
  bool m_marked;                       // the following four hold a place
  const unsigned char* m_savedPointer; // the place that was saved
  uint64_t m_savedBitsLeft;
  uint8_t m_savedCurrent;
  uint8_t m_savedBitsInCurrent;
};

#endif

#include <qel/containers/BitString.h>

#include <cstring>

#include <qel/core/qelBytes.h>

// At k the value with the k low bits set.
static const qelULong kMasks[33] = {
    0x00000000, 0x00000001, 0x00000003, 0x00000007, 0x0000000F, 0x0000001F, 0x0000003F,
    0x0000007F, 0x000000FF, 0x000001FF, 0x000003FF, 0x000007FF, 0x00000FFF, 0x00001FFF,
    0x00003FFF, 0x00007FFF, 0x0000FFFF, 0x0001FFFF, 0x0003FFFF, 0x0007FFFF, 0x000FFFFF,
    0x001FFFFF, 0x003FFFFF, 0x007FFFFF, 0x00FFFFFF, 0x01FFFFFF, 0x03FFFFFF, 0x07FFFFFF,
    0x0FFFFFFF, 0x1FFFFFFF, 0x3FFFFFFF, 0x7FFFFFFF, 0xFFFFFFFF};

qelBitString::qelBitString() : qelBitString(nullptr, 0) {}

qelBitString::qelBitString(const unsigned char* p, size_t bytes) {
  SetBuffer(p, bytes);
}

// The saved place goes too, so that no later call can lead back into another block.
void qelBitString::SetBuffer(const unsigned char* p, size_t bytes) {
  m_pointer = p;
  m_bitsLeft = uint64_t(bytes) * 8;
  m_totalBits = m_bitsLeft;
  m_current = 0;
  m_bitsInCurrent = 0;
  m_marked = false;
  m_savedPointer = nullptr;
  m_savedBitsLeft = 0;
  m_savedCurrent = 0;
  m_savedBitsInCurrent = 0;
}

// INTENDED: reading too far keeps the unread bits of the current byte, while Skip drops them.
// Pinned by BitStringGet.KeepsTheBitsOfTheCurrentByteAtTheEnd.
qelULong qelBitString::Get(unsigned char n) {
  if (n > m_bitsLeft + m_bitsInCurrent) {
    m_bitsLeft = 0;
    return 0;
  }
  if (n > 32)
    return 0;
  if (n <= m_bitsInCurrent) {
    m_bitsInCurrent = static_cast<uint8_t>(m_bitsInCurrent - n);
    return qelULong(m_current) >> m_bitsInCurrent & kMasks[n];
  }
  unsigned rest = unsigned(n) - m_bitsInCurrent;
  qelULong value = rest < 32 ? qelULong(m_current) << rest : 0;
  for (; rest > 8; rest -= 8) {
    value |= qelULong(*m_pointer++) << (rest - 8);
    m_bitsLeft -= 8;
  }
  LoadByte();
  m_bitsInCurrent = static_cast<uint8_t>(8 - rest);
  value |= qelULong(m_current) >> m_bitsInCurrent & kMasks[rest];
  return value & kMasks[n];
}

// INTENDED: shares the saved place with ToggleMarker, whose mark is gone. Pinned by
// BitStringPeek.WipesTheMarker.
qelULong qelBitString::Peek(unsigned char n) {
  Save();
  const qelULong value = Get(n);
  Restore();
  return value;
}

void qelBitString::Skip(unsigned char n) {
  if (n > m_bitsLeft + m_bitsInCurrent) {
    m_bitsLeft = 0;
    m_bitsInCurrent = 0;
    return;
  }
  if (n <= m_bitsInCurrent) {
    m_bitsInCurrent = static_cast<uint8_t>(m_bitsInCurrent - n);
    return;
  }
  const unsigned rest = unsigned(n) - m_bitsInCurrent;
  const unsigned whole = (rest - 1) / 8;
  m_pointer += whole;
  m_bitsLeft -= whole * 8;
  LoadByte();
  m_bitsInCurrent = static_cast<uint8_t>(8 - (rest - whole * 8));
}

void qelBitString::ByteAlign() {
  if (m_bitsInCurrent != 0)
    Get(m_bitsInCurrent);
}

void qelBitString::ToggleMarker(bool set) {
  if (set)
    Save();
  else
    Restore();
}

size_t qelBitString::GetRemainingBitCount() const {
  return m_bitsLeft + m_bitsInCurrent;
}

size_t qelBitString::GetByteOffset() const {
  return (m_totalBits - m_bitsLeft) / 8;
}

unsigned char qelBitString::Get1(const unsigned char* p) {
  return *p;
}

unsigned char qelBitString::Get1(const char* p) {
  return Get1(reinterpret_cast<const unsigned char*>(p));
}

uint16_t qelBitString::Get2(const unsigned char* p) {
  return BigEndianTouint16(p);
}

uint16_t qelBitString::Get2(const char* p) {
  return Get2(reinterpret_cast<const unsigned char*>(p));
}

qelULong qelBitString::Get3(const unsigned char* p) {
  return qelULong(p[0]) << 16 | BigEndianTouint16(p + 1);
}

qelULong qelBitString::Get3(const char* p) {
  return Get3(reinterpret_cast<const unsigned char*>(p));
}

qelULong qelBitString::Get4(const unsigned char* p) {
  return BigEndianTouint32(p);
}

qelULong qelBitString::Get4(const char* p) {
  return Get4(reinterpret_cast<const unsigned char*>(p));
}

uint16_t qelBitString::BigEndianTouint16(const unsigned char* p) {
  return static_cast<uint16_t>(p[0] << 8 | p[1]);
}

uint32_t qelBitString::BigEndianTouint32(const unsigned char* p) {
  return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
}

int16_t qelBitString::BigEndianToint16(const unsigned char* p) {
  return static_cast<int16_t>(BigEndianTouint16(p));
}

int32_t qelBitString::BigEndianToint32(const unsigned char* p) {
  return static_cast<int32_t>(BigEndianTouint32(p));
}

uint16_t qelBitString::LittleEndianTouint16(const unsigned char* p) {
  return static_cast<uint16_t>(p[1] << 8 | p[0]);
}

uint32_t qelBitString::LittleEndianTouint32(const unsigned char* p) {
  return uint32_t(p[3]) << 24 | uint32_t(p[2]) << 16 | uint32_t(p[1]) << 8 | p[0];
}

int16_t qelBitString::LittleEndianToint16(const unsigned char* p) {
  return static_cast<int16_t>(LittleEndianTouint16(p));
}

int32_t qelBitString::LittleEndianToint32(const unsigned char* p) {
  return static_cast<int32_t>(LittleEndianTouint32(p));
}

qeluint64 qelBitString::LittleEndianTouint64(const unsigned char* p) {
  return uint64_t(LittleEndianTouint32(p + 4)) << 32 | LittleEndianTouint32(p);
}

uint16_t qelBitString::uint16ToLittleEndian(uint16_t v) {
  return IsBigEndianPlatform() ? qelBytes_Swap16(v) : v;
}

uint32_t qelBitString::uint32ToLittleEndian(uint32_t v) {
  return IsBigEndianPlatform() ? qelBytes_Swap32(v) : v;
}

bool qelBitString::IsBigEndianPlatform() {
  const uint16_t one = 1;
  unsigned char first;
  memcpy(&first, &one, 1);
  return first == 0;
}

void qelBitString::LoadByte() {
  m_current = *m_pointer++;
  m_bitsLeft -= m_bitsLeft < 8 ? m_bitsLeft : 8;
}

void qelBitString::Save() {
  m_savedPointer = m_pointer;
  m_savedBitsLeft = m_bitsLeft;
  m_savedCurrent = m_current;
  m_savedBitsInCurrent = m_bitsInCurrent;
  m_marked = true;
}

void qelBitString::Restore() {
  m_pointer = m_savedPointer;
  m_bitsLeft = m_savedBitsLeft;
  m_current = m_savedCurrent;
  m_bitsInCurrent = m_savedBitsInCurrent;
  m_marked = false;
}

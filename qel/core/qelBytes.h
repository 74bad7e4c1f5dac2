#ifndef QEL_CORE_QELBYTES_H
#define QEL_CORE_QELBYTES_H
//===----------------------------------------------------------------------===//
// Byte order helpers. Pure; any thread.
//===----------------------------------------------------------------------===//

#include <cstdint>

// The value with its four bytes reversed.
inline uint32_t qelBytes_Swap32(uint32_t value) {
  return value >> 24 | (value >> 8 & 0xFF00u) | (value << 8 & 0xFF0000u) | value << 24;
}

// The value with its two bytes reversed.
inline uint16_t qelBytes_Swap16(uint16_t value) {
  return static_cast<uint16_t>(value >> 8 | value << 8);
}

#endif

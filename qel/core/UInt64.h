#ifndef QEL_CORE_UINT64_H
#define QEL_CORE_UINT64_H
//===----------------------------------------------------------------------===//
// qeluint64: the unsigned 64-bit value of counts, sizes and times.
//
// Every native integer type has a constructor of its own, and the operators take
// a qeluint64, so an operand of any integer type works on every system and keeps
// its value: signed ones are sign-extended (x + (-1) counts down), unsigned ones
// are not.
//
// ERRORS: arithmetic wraps around. Division by zero is the caller's error and is
// not guarded.
// THREADS: a plain value.
//===----------------------------------------------------------------------===//

#include <cstdint>

#include <qel/core/CString.h>
#include <qel/core/Export.h>
#include <qel/core/String.h>
#include <qel/core/Types.h>
#include <qel/core/qelULongLong.h>

class QEL_EXPORT qeluint64 {
public:
  static const qeluint64 kqeluint64_0;
  static const qeluint64 kqeluint64_Max; // all bits set

  constexpr qeluint64() : m_value(0) {}
  constexpr qeluint64(short value) : m_value(static_cast<uint64_t>(value)) {}
  constexpr qeluint64(unsigned short value) : m_value(value) {}
  constexpr qeluint64(int value) : m_value(static_cast<uint64_t>(value)) {}
  constexpr qeluint64(unsigned int value) : m_value(value) {}
  constexpr qeluint64(long value) : m_value(static_cast<uint64_t>(value)) {}
  constexpr qeluint64(unsigned long value) : m_value(value) {}
  constexpr qeluint64(long long value) : m_value(static_cast<uint64_t>(value)) {}
  constexpr qeluint64(unsigned long long value) : m_value(value) {}

  // From halves.
  constexpr qeluint64(qelULong high, qelULong low)
      : m_value(static_cast<uint64_t>(high) << 32 | static_cast<uint32_t>(low)) {}

  // Truncates toward zero; a negative number counts down from 2^64. What is below -2^63, at or
  // above 2^64 or no number gives 2^63.
  qeluint64(double value);

  constexpr qeluint64(const qelULongLong& value) : qeluint64(value.high, value.low) {}
  qeluint64(const qelULongLong* value);
  constexpr qeluint64(const qeluint64&) = default;

  // INTENDED: assignment returns a copy, so (a = b) += c leaves a at b. Pinned by
  // UInt64Assignment.ReturnsACopy.
  constexpr qeluint64 operator=(const qeluint64& other) {
    m_value = other.m_value;
    return *this;
  }

  constexpr qeluint64 operator+(const qeluint64& other) const { return m_value + other.m_value; }
  constexpr qeluint64 operator-(const qeluint64& other) const { return m_value - other.m_value; }
  constexpr qeluint64 operator*(const qeluint64& other) const { return m_value * other.m_value; }
  constexpr qeluint64 operator/(const qeluint64& other) const { return m_value / other.m_value; }
  constexpr qeluint64 operator%(const qeluint64& other) const { return m_value % other.m_value; }

  constexpr qeluint64& operator+=(const qeluint64& other) {
    m_value += other.m_value;
    return *this;
  }
  constexpr qeluint64& operator-=(const qeluint64& other) {
    m_value -= other.m_value;
    return *this;
  }

  // The count is taken modulo 64.
  constexpr qeluint64 operator<<(int count) const { return m_value << (count & 63); }
  constexpr qeluint64 operator>>(int count) const { return m_value >> (count & 63); }

  constexpr bool operator==(const qeluint64& other) const { return m_value == other.m_value; }
  constexpr bool operator!=(const qeluint64& other) const { return m_value != other.m_value; }
  constexpr bool operator<(const qeluint64& other) const { return m_value < other.m_value; }
  constexpr bool operator<=(const qeluint64& other) const { return m_value <= other.m_value; }
  constexpr bool operator>(const qeluint64& other) const { return m_value > other.m_value; }
  constexpr bool operator>=(const qeluint64& other) const { return m_value >= other.m_value; }

  constexpr uint64_t GetValue() const { return m_value; }
  constexpr uint32_t ToUInt32() const { return static_cast<uint32_t>(m_value); } // the low half

  // A value with the top bit set gives 0x7FFFFFFFFFFFFFFF.
  int64_t ToFileOffset() const;

  qelULongLong ToULongLong() const;

  // Decimal.
  qelCString ToCString() const;
  qelString ToString() const;

  // Reads a decimal number; what stands behind the digits is ignored. A null or empty text, no
  // digits or a number out of range gives the fallback.
  static qeluint64 FromString(const char* text, const qeluint64& fallback);
  static qeluint64 FromString(const qelString& text, const qeluint64& fallback);

protected:
  void Init(const qelULongLong& value);
  void Init(qelULong high, qelULong low);

private:
  uint64_t m_value;
};

#endif

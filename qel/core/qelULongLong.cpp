#include <qel/core/qelULongLong.h>

#include <cmath>
#include <cstdlib>

#include <qel/core/qelMem.h>
#include <qel/core/qelNum.h>

// The work is done on native values: they give the same results, and only the flags need care.

static uint64_t Native(const qelULongLong* value) {
  return static_cast<uint64_t>(value->high) << 32 | value->low;
}

static uint64_t Bits(const qelint64* value) {
  return static_cast<uint64_t>(static_cast<uint32_t>(value->high)) << 32 | value->low;
}

static int64_t Native(const qelint64* value) {
  return static_cast<int64_t>(Bits(value));
}

// The lost bits of a shift to the left. The high half is only looked at while it stays in part.
static int ShiftLosesBits(uint32_t high, uint32_t low, uint32_t n) {
  if (n == 0 || n == 32)
    return 0;
  if (n < 32)
    return high >> (32 - n) != 0;
  return n < 64 ? low >> (64 - n) != 0 : low != 0;
}

static uint64_t ShiftLeft(uint64_t value, uint32_t n) {
  return n < 64 ? value << n : 0;
}

// Unsigned ---------------------------------------------------------------------

void qelULongLong_Set(qelULongLong* value, uint32_t high, uint32_t low) {
  value->low = low;
  value->high = high;
}

void qelULongLong_FromU64(qelULongLong* value, uint64_t native) {
  qelULongLong_Set(value, static_cast<uint32_t>(native >> 32), static_cast<uint32_t>(native));
}

int qelULongLong_Add(qelULongLong* value, const qelULongLong* other) {
  const uint64_t a = Native(value);
  const uint64_t sum = a + Native(other);
  qelULongLong_FromU64(value, sum);
  return sum < a;
}

int qelULongLong_AddU32(qelULongLong* value, uint32_t other) {
  const qelULongLong wide = {other, 0};
  return qelULongLong_Add(value, &wide);
}

void qelULongLong_Sub(qelULongLong* value, const qelULongLong* other) {
  qelULongLong_FromU64(value, Native(value) - Native(other));
}

void qelULongLong_SubU32(qelULongLong* value, uint32_t other) {
  qelULongLong_FromU64(value, Native(value) - other);
}

int qelULongLong_ShiftLeft(qelULongLong* value, uint32_t n) {
  // INTENDED: from 32 up the bits of the high half are lost without a word. The readers of numbers
  // shift by less. Pinned by ULongLongShiftLeft.DropsTheHighHalfUntestedFrom32Up.
  const int lost = ShiftLosesBits(value->high, value->low, n);
  qelULongLong_FromU64(value, ShiftLeft(Native(value), n));
  return lost;
}

void qelULongLong_ShiftRight(qelULongLong* value, uint32_t n) {
  qelULongLong_FromU64(value, n < 64 ? Native(value) >> n : 0);
}

int qelULongLong_Less(const qelULongLong* a, const qelULongLong* b) {
  return Native(a) < Native(b);
}

int qelULongLong_LessOrEqual(const qelULongLong* a, const qelULongLong* b) {
  return Native(a) <= Native(b);
}

int qelULongLong_Equal(const qelULongLong* a, const qelULongLong* b) {
  return Native(a) == Native(b);
}

int qelULongLong_Mul(qelULongLong* value, const qelULongLong* other) {
  uint64_t multiplier = Native(other);
  qelULongLong multiplicand = *value;
  qelULongLong product = {0, 0};
  int flag = 0;
  for (; multiplier != 0; multiplier >>= 1) {
    if ((multiplier & 1) != 0)
      flag |= qelULongLong_Add(&product, &multiplicand);
    // INTENDED: the last doubling is not needed, and its flag counts all the same. Pinned by
    // ULongLongMul.FlagsTheLastDoublingThoughTheProductFits.
    flag |= qelULongLong_ShiftLeft(&multiplicand, 1);
  }
  *value = product;
  return flag;
}

void qelULongLong_DivMod(const qelULongLong* a, const qelULongLong* b, qelULongLong* quotient,
                         qelULongLong* remainder) {
  const uint64_t dividend = Native(a);
  const uint64_t divisor = Native(b);
  qelULongLong_FromU64(quotient, divisor != 0 ? dividend / divisor : 0);
  qelULongLong_FromU64(remainder, divisor != 0 ? dividend % divisor : 0);
}

void qelULongLong_Div(qelULongLong* value, const qelULongLong* other) {
  qelULongLong remainder;
  qelULongLong_DivMod(value, other, value, &remainder);
}

void qelULongLong_Mod(qelULongLong* value, const qelULongLong* other) {
  qelULongLong quotient;
  qelULongLong_DivMod(value, other, &quotient, value);
}

void qelULongLong_ModU32(qelULongLong* value, uint32_t other) {
  const qelULongLong wide = {other, 0};
  qelULongLong_Mod(value, &wide);
}

char* qelULongLong_ToDecimal(const qelULongLong* value) {
  char digits[20]; // 2^64 - 1 has twenty
  char* const end = digits + sizeof digits;
  char* first = end;
  uint64_t rest = Native(value);
  do {
    *--first = static_cast<char>('0' + rest % 10);
    rest /= 10;
  } while (rest != 0);
  return qelMem_StrNDup(first, static_cast<size_t>(end - first));
}

int qelULongLong_FromString(qelULongLong* value, const char* text) {
  int status = 0;
  qelULongLong number = {0, 0};
  qelNum_ParseU64(text, /*end=*/nullptr, /*base=*/10, &status, &number);
  *value = status == 0 ? number : qelULongLong{0, 0}; // the reader leaves the bound in an overflow
  return status == 0;
}

int qelULongLong_FromStringN(qelULongLong* value, const char* text, size_t length) {
  *value = {0, 0};
  if (text == nullptr || length == 0)
    return 0;
  char* copy = qelMem_StrNDup(text, length);
  const int done = qelULongLong_FromString(value, copy);
  free(copy);
  return done;
}

// Signed -----------------------------------------------------------------------

static const int64_t kSmallest = INT64_MIN;
static const uint64_t kMagnitudeShortcut = 0xFFFFFFFF00000000u; // a divisor, see qelint64_DivMod

void qelint64_Set(qelint64* value, int32_t high, uint32_t low) {
  value->low = low;
  value->high = high;
}

void qelint64_FromNative(qelint64* value, int64_t native) {
  const uint64_t bits = static_cast<uint64_t>(native);
  qelint64_Set(value, static_cast<int32_t>(bits >> 32), static_cast<uint32_t>(bits));
}

static void FromBits(qelint64* value, uint64_t bits) {
  qelint64_FromNative(value, static_cast<int64_t>(bits));
}

void qelint64_FromS32(qelint64* value, int32_t native) {
  qelint64_FromNative(value, native);
}

int qelint64_Add(qelint64* value, const qelint64* other) {
  const int64_t highSum = static_cast<int64_t>(value->high) + other->high;
  const bool carry = static_cast<uint32_t>(value->low + other->low) < value->low;
  FromBits(value, Bits(value) + Bits(other));
  // INTENDED: the carry is not counted against two negative high halves, so a sum that it brings
  // back into the range is flagged too. Pinned by
  // Int64Add.FlagsTwoNegativeHighHalvesBeforeTheCarry.
  return highSum > INT32_MAX || highSum < INT32_MIN || (carry && highSum == INT32_MAX);
}

int qelint64_AddS32(qelint64* value, int32_t other) {
  qelint64 wide;
  qelint64_FromS32(&wide, other);
  return qelint64_Add(value, &wide);
}

int qelint64_AddU32(qelint64* value, uint32_t other) {
  const qelint64 wide = {other, 0};
  return qelint64_Add(value, &wide);
}

int qelint64_Sub(qelint64* value, const qelint64* other) {
  const int64_t a = Native(value);
  const int64_t b = Native(other);
  FromBits(value, Bits(value) - Bits(other));
  return b < 0 ? a > INT64_MAX + b : a < INT64_MIN + b;
}

int qelint64_SubS32(qelint64* value, int32_t other) {
  qelint64 wide;
  qelint64_FromS32(&wide, other);
  return qelint64_Sub(value, &wide);
}

int qelint64_SubU32(qelint64* value, uint32_t other) {
  const qelint64 wide = {other, 0};
  return qelint64_Sub(value, &wide);
}

int qelint64_ShiftLeft(qelint64* value, uint32_t n) {
  const int lost = ShiftLosesBits(static_cast<uint32_t>(value->high), value->low, n);
  FromBits(value, ShiftLeft(Bits(value), n));
  return lost;
}

void qelint64_ShiftRight(qelint64* value, uint32_t n) {
  const uint64_t bits = Bits(value);
  const uint64_t sign = value->high < 0 ? ~uint64_t(0) : 0;
  if (n >= 64)
    FromBits(value, 0);
  else if (n != 0)
    FromBits(value, bits >> n | sign << (64 - n));
}

int qelint64_Less(const qelint64* a, const qelint64* b) {
  return Native(a) < Native(b);
}

int qelint64_Equal(const qelint64* a, const qelint64* b) {
  return Bits(a) == Bits(b);
}

int qelint64_Mul(qelint64* value, const qelint64* other) {
  uint64_t multiplier = Bits(other);
  qelint64 multiplicand = *value;
  qelint64 product = {0, 0};
  int flag = 0;
  for (; multiplier != 0; multiplier >>= 1) {
    if ((multiplier & 1) != 0)
      flag |= qelint64_Add(&product, &multiplicand);
    // INTENDED: the flag of the doubling is dropped, so 2^62 times 4 is 0 without a flag, and a
    // negative multiplier flags its partial sums. Pinned by Int64Mul.CollectsTheFlagsOfTheAddsOnly.
    qelint64_ShiftLeft(&multiplicand, 1);
  }
  *value = product;
  return flag;
}

// The division of operands that are neither 0 nor told apart beforehand. Returns the last
// negation's flag.
static int DivideByMagnitudes(qelint64 a, qelint64 b, qelint64* quotient, qelint64* remainder) {
  const bool negativeA = a.high < 0;
  const bool negativeB = b.high < 0;
  const bool wasSmallest = Native(&a) == kSmallest;
  if (wasSmallest)
    qelint64_AddU32(&a, 1);
  qelint64_Abs(&a);
  qelint64_Abs(&b);
  const uint64_t dividend = Bits(&a);
  const uint64_t divisor = Bits(&b); // the smallest value stays what it is, 2^63 without a sign
  FromBits(quotient, dividend / divisor);
  FromBits(remainder, dividend % divisor);
  int flag = 0;
  if (negativeA != negativeB)
    flag = qelint64_Negate(quotient);
  if (negativeA)
    flag = qelint64_Negate(remainder);
  // INTENDED: only the remainder is corrected, so the smallest value by 2 gives -(2^62 - 1) and -2.
  // Pinned by Int64DivMod.DividesTheSmallestValueAsTheOneAboveIt.
  if (wasSmallest)
    qelint64_SubU32(remainder, 1);
  return flag;
}

int qelint64_DivMod(const qelint64* a, const qelint64* b, qelint64* quotient, qelint64* remainder) {
  const qelint64 dividend = *a;
  const qelint64 divisor = *b;
  qelint64_Set(quotient, 0, 0);
  qelint64_Set(remainder, 0, 0);
  if (Bits(&divisor) == 0)
    return 0;
  if (Bits(&divisor) == 1) {
    *quotient = dividend;
    return 0;
  }
  // INTENDED: this one divisor gives the dividend's magnitude, whatever the true quotient is.
  // Pinned by Int64DivMod.GivesTheMagnitudeForTheDivisorWithLowHalfZeroAndHighHalfAllOnes.
  if (Bits(&divisor) == kMagnitudeShortcut) {
    *quotient = dividend;
    return qelint64_Abs(quotient);
  }
  if (Bits(&dividend) == Bits(&divisor)) {
    qelint64_Set(quotient, 0, 1);
    return 0;
  }
  return DivideByMagnitudes(dividend, divisor, quotient, remainder);
}

int qelint64_Div(qelint64* value, const qelint64* other) {
  qelint64 remainder;
  return qelint64_DivMod(value, other, value, &remainder);
}

int qelint64_Mod(qelint64* value, const qelint64* other) {
  qelint64 quotient;
  return qelint64_DivMod(value, other, &quotient, value);
}

int qelint64_ModU32(qelint64* value, uint32_t other) {
  const qelint64 wide = {other, 0};
  return qelint64_Mod(value, &wide);
}

int qelint64_Negate(qelint64* value) {
  FromBits(value, 0 - Bits(value));
  return Native(value) == kSmallest;
}

int qelint64_Abs(qelint64* value) {
  return value->high < 0 ? qelint64_Negate(value) : 0;
}

char* qelint64_ToDecimal(const qelint64* value) {
  char digits[21]; // 2^63 has nineteen, and there is the sign
  char* const end = digits + sizeof digits;
  char* first = end;
  int64_t rest = Native(value);
  const bool negative = rest < 0;
  do {
    const int digit = static_cast<int>(rest % 10); // not above 0 for a negative value
    *--first = static_cast<char>('0' + (negative ? -digit : digit));
    rest /= 10;
  } while (rest != 0);
  if (negative)
    *--first = '-';
  return qelMem_StrNDup(first, static_cast<size_t>(end - first));
}

double qelint64_ToDouble(const qelint64* value) {
  const bool negative = value->high < 0;
  const uint64_t magnitude = negative ? 0 - Bits(value) : Bits(value);
  const double number = static_cast<double>(magnitude >> 32) * 4294967296.0 +
                        static_cast<double>(magnitude & 0xFFFFFFFFu);
  return negative ? -number : number;
}

void qelint64_FromDouble(qelint64* value, double number) {
  const double magnitude = std::fabs(number);
  if (!(magnitude < 9223372036854775808.0)) { // out of range, or no number
    const bool isNumber = magnitude == magnitude;
    qelint64_FromNative(value, !isNumber ? 0 : number < 0 ? INT64_MIN : INT64_MAX);
    return;
  }
  const uint32_t high = static_cast<uint32_t>(magnitude * (1.0 / 4294967296.0));
  const uint32_t low = static_cast<uint32_t>(magnitude - high * 4294967296.0);
  FromBits(value, static_cast<uint64_t>(high) << 32 | low);
  if (number < 0)
    qelint64_Negate(value);
}

int qelint64_FromString(qelint64* value, const char* text) {
  int status = 0;
  qelint64 number = {0, 0};
  qelNum_ParseS64(text, /*end=*/nullptr, /*base=*/10, &status, &number);
  *value = status == 0 ? number : qelint64{0, 0};
  return status == 0;
}

// Range-checked conversions ------------------------------------------------------

int qelSaturate_U64ToU32(uint64_t value, uint32_t* out) {
  if (value <= UINT32_MAX) {
    *out = static_cast<uint32_t>(value);
    return 1;
  }
  // INTENDED: a value with the top bit set counts as a negative one and saturates to 0. Pinned by
  // SaturateU64ToU32.GivesZeroWithTheTopBitSet.
  *out = value >> 63 != 0 ? 0 : UINT32_MAX;
  return 0;
}

int qelSaturate_S64ToS32(int64_t value, int32_t* out) {
  const bool fits = value >= INT32_MIN && value <= INT32_MAX;
  *out = fits ? static_cast<int32_t>(value) : value < 0 ? INT32_MIN : INT32_MAX;
  return fits;
}

int qelSaturate_S64ToU64(int64_t value, uint64_t* out) {
  *out = value >= 0 ? static_cast<uint64_t>(value) : 0;
  return value >= 0;
}

int qelSaturate_U64ToS64(uint64_t value, int64_t* out) {
  const bool fits = value <= static_cast<uint64_t>(INT64_MAX);
  // INTENDED: -1 and not the largest value. Pinned by SaturateU64ToS64.GivesMinusOneFrom2To63Up.
  *out = fits ? static_cast<int64_t>(value) : -1;
  return fits;
}

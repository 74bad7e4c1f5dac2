#include <qel/core/qelNum.h>

#include <cmath>
#include <cstdlib>

#include <qel/core/qelNumPrivate.h>

#include <qel/core/UInt64.h>
#include <qel/core/qelChar.h>
#include <qel/core/qelMem.h>
#include <qel/core/qelULongLong.h>

// Shared pieces ----------------------------------------------------------------

static void SetEnd(const char** end, const char* stop) {
  if (end != nullptr)
    *end = stop;
}

// A digit's value, letters counting from 10 on; 255 for what is no digit in any base.
static unsigned DigitValue(char c) {
  if (qelChar_IsDigit(c))
    return static_cast<unsigned>(c - '0');
  return qelChar_IsAlnum(c) ? static_cast<unsigned>((c | 0x20) - 'a' + 10) : 255;
}

static bool IsBase(int base) {
  return base == 0 || (base >= 2 && base <= 36);
}

static bool HasHexPrefix(const char* at) {
  return at[0] == '0' && (at[1] == 'x' || at[1] == 'X') && qelChar_IsHexDigit(at[2]);
}

// Settles base 0 and steps over "0x": at[0] is the first digit afterwards, if there is one.
static const char* EnterBase(const char* at, int* base) {
  if ((*base == 0 || *base == 16) && HasHexPrefix(at)) {
    *base = 16;
    return at + 2;
  }
  if (*base == 0)
    *base = *at == '0' ? 8 : 10;
  return at;
}

// A copy of start[0..length-1] that ends with a terminator, or null if there is nothing to read.
static char* SpanText(const char* start, size_t length) {
  return length != 0 ? qelMem_StrNDup(start, length) : nullptr;
}

// Integers of 32 bits ----------------------------------------------------------

qelULong qelNum_ParseU32(const char* text, const char** end, int base, int* status) {
  *status = kNoNumber;
  SetEnd(end, text);
  if (text == nullptr || !IsBase(base))
    return 0;
  const char* at = SkipSpace(text);
  if (*at == '+')
    ++at;
  at = EnterBase(at, &base);
  const char* const first = at;
  uint64_t value = 0;
  bool overflow = false;
  for (; DigitValue(*at) < static_cast<unsigned>(base); ++at) {
    value = value * static_cast<unsigned>(base) + DigitValue(*at);
    if (value > UINT32_MAX) { // the rest of the digits is read, and changes nothing
      overflow = true;
      value = UINT32_MAX;
    }
  }
  if (at == first)
    return 0;
  SetEnd(end, at);
  *status = overflow ? kTooLarge : kWhole;
  return static_cast<qelULong>(value);
}

// The value of a signed number whose magnitude fits in 32 bits.
static qelLong ApplySign(qelULong magnitude, bool negative, int* status) {
  if (!negative) {
    if (magnitude <= INT32_MAX)
      return static_cast<qelLong>(magnitude);
    *status = kTooLarge;
    return INT32_MAX;
  }
  if (magnitude > 0x80000000u)
    *status = kTooSmall;
  // INTENDED: a magnitude of 0x7FFFFFFF already gives the smallest value, one less than was
  // written, and without an error. Pinned by NumParseS32.ReadsMinus2147483647AsTheSmallestValue.
  return magnitude < INT32_MAX ? -static_cast<qelLong>(magnitude) : INT32_MIN;
}

qelLong qelNum_ParseS32(const char* text, const char** end, int base, int* status) {
  const char* at = text != nullptr ? SkipSpace(text) : nullptr;
  const bool negative = at != nullptr && *at == '-' && qelChar_IsAlnum(at[1]);
  const char* stop = nullptr;
  const qelULong magnitude = qelNum_ParseU32(negative ? at + 1 : at, &stop, base, status);
  SetEnd(end, *status == kNoNumber ? text : stop);
  if (*status == kNoNumber)
    return 0;
  // INTENDED: a magnitude beyond 32 bits is "too large" on the negative side as well, while a smaller
  // one below the range is "too small". Pinned by NumParseS32.CallsAMagnitudeBeyond32BitsTooLarge.
  if (*status == kTooLarge)
    return negative ? INT32_MIN : INT32_MAX;
  return ApplySign(magnitude, negative, status);
}

// Integers of 64 bits ----------------------------------------------------------

// Reads digits up to the first that would bring the value above limit. Returns the stop.
static const char* ReadDigits64(const char* at, int base, uint64_t limit, uint64_t* value,
                                bool* overflow) {
  const unsigned radix = static_cast<unsigned>(base);
  for (unsigned digit = 0; (digit = DigitValue(*at)) < radix; ++at) {
    if (*value > (limit - digit) / radix) {
      *overflow = true;
      break;
    }
    *value = *value * radix + digit;
  }
  return at;
}

// What both 64-bit readers share behind the sign, which ends ahead of at. Returns the status.
static int ParseMagnitude64(const char* text, const char* at, const char** end, int base,
                            uint64_t limit, uint64_t* value) {
  at = EnterBase(at, &base);
  bool overflow = false;
  const char* stop = ReadDigits64(at, base, limit, value, &overflow);
  if (stop == at)
    return kNoNumber;
  SetEnd(end, stop);
  if (overflow)
    return kTooLarge;
  return end != nullptr ? WholeResult(text, stop, kWhole) : kWhole;
}

static int ParseNative64(const char* text, const char** end, int base, uint64_t* value) {
  *value = 0;
  SetEnd(end, text);
  if (IsEmptyText(text) || !IsBase(base))
    return kNoNumber;
  const char* at = SkipSpace(text);
  if (*at == '+')
    ++at;
  const int status = ParseMagnitude64(text, at, end, base, UINT64_MAX, value);
  if (status == kTooLarge)
    *value = UINT64_MAX;
  return status;
}

int qelNum_ParseU64(const char* text, const char** end, int base, int* status, qelULongLong* out) {
  uint64_t value = 0;
  *status = ParseNative64(text, end, base, &value);
  qelULongLong_FromU64(out, value);
  return *status;
}

int qelNum_ParseU64(const char* text, const char** end, int base, int* status, qeluint64* out) {
  uint64_t value = 0;
  *status = ParseNative64(text, end, base, &value);
  *out = qeluint64(value);
  return *status;
}

static int ParseSignedNative64(const char* text, const char** end, int base, int64_t* value) {
  *value = 0;
  SetEnd(end, text);
  if (IsEmptyText(text) || !IsBase(base))
    return kNoNumber;
  const char* at = SkipSpace(text);
  const bool negative = *at == '-';
  if (*at == '+' || *at == '-')
    ++at;
  const uint64_t largest = INT64_MAX;
  uint64_t magnitude = 0;
  const int status =
      ParseMagnitude64(text, at, end, base, negative ? largest + 1 : largest, &magnitude);
  if (status == kTooLarge) {
    *value = negative ? INT64_MIN : INT64_MAX;
    return negative ? kTooSmall : kTooLarge;
  }
  *value = static_cast<int64_t>(negative ? 0 - magnitude : magnitude);
  return status;
}

int qelNum_ParseS64(const char* text, const char** end, int base, int* status, qelint64* out) {
  int64_t value = 0;
  *status = ParseSignedNative64(text, end, base, &value);
  qelint64_FromNative(out, value);
  return *status;
}

// Floating point ---------------------------------------------------------------

// Reads digits with at most one "." among them. Returns the stop, or null if there is no digit;
// *exponent is the negative count of the digits behind the point.
static const char* ReadMantissa(const char* at, double* value, int64_t* exponent) {
  int64_t digits = 0;
  bool behindPoint = false;
  for (;; ++at) {
    if (*at == '.' && !behindPoint) {
      behindPoint = true;
      continue;
    }
    if (!qelChar_IsDigit(*at))
      break;
    *value = *value * 10.0 + (*at - '0');
    ++digits;
    if (behindPoint)
      --*exponent;
  }
  return digits != 0 ? at : nullptr;
}

// Reads what follows an "e". Digits may be missing: the "e" and its sign are used all the same.
static const char* ReadExponent(const char* at, int64_t* exponent) {
  const int64_t kEnough = 1000000000000; // more than any count of digits behind a point
  const bool negative = *at == '-';
  if (*at == '-' || *at == '+')
    ++at;
  int64_t value = 0;
  for (; qelChar_IsDigit(*at); ++at)
    if (value < kEnough)
      value = value * 10 + (*at - '0');
  *exponent += negative ? -value : value;
  return at;
}

static double Scale(double value, int exponent) {
  double power = 10.0;
  for (unsigned left = static_cast<unsigned>(exponent < 0 ? -exponent : exponent); left != 0;
       left >>= 1, power *= power)
    if ((left & 1) != 0)
      value = exponent < 0 ? value / power : value * power;
  return value;
}

double qelNum_ParseDouble(const char* text, const char** end, int* status) {
  *status = kNoNumber;
  SetEnd(end, text);
  if (IsEmptyText(text))
    return 0.0;
  const char* at = SkipSpace(text);
  const bool negative = *at == '-';
  if (*at == '+' || *at == '-')
    ++at;
  double value = 0.0;
  int64_t exponent = 0;
  at = ReadMantissa(at, &value, &exponent);
  if (at == nullptr)
    return 0.0;
  if (negative)
    value = -value;
  if (*at == 'e' || *at == 'E')
    at = ReadExponent(at + 1, &exponent);
  SetEnd(end, at);
  *status = exponent > 1024 ? kTooLarge : exponent < -1021 ? kTooSmall : kWhole;
  if (*status != kWhole)
    return 0.0;
  // INTENDED: only the positive infinity counts as too large. A negative one is a result, and so is
  // what is no number, as "0e600". Pinned by NumParseDouble.GivesNegativeInfinityAsAResult.
  value = Scale(value, static_cast<int>(exponent));
  if (value != HUGE_VAL)
    return value;
  *status = kTooLarge;
  return 0.0;
}

// Whole texts ------------------------------------------------------------------

int qelNum_ToS32(const char* text, qelLong* out, int base) {
  const char* stop = nullptr;
  int status = 0;
  *out = qelNum_ParseS32(text, &stop, base, &status);
  return WholeResult(text, stop, status);
}

int qelNum_ToU32(const char* text, qelULong* out, int base) {
  const char* stop = nullptr;
  int status = 0;
  *out = qelNum_ParseU32(text, &stop, base, &status);
  return WholeResult(text, stop, status);
}

int qelNum_ToS32Dec(const char* text, qelLong* out) {
  return qelNum_ToS32(text, out, 10);
}

int qelNum_ToU32Dec(const char* text, qelULong* out) {
  return qelNum_ToU32(text, out, 10);
}

int qelNum_ToS64Dec(const char* text, qelint64* out) {
  int status = 0;
  return qelNum_ParseS64(text, /*end=*/nullptr, 10, &status, out);
}

int qelNum_ToU64Dec(const char* text, qelULongLong* out) {
  int status = 0;
  return qelNum_ParseU64(text, /*end=*/nullptr, 10, &status, out);
}

int qelNum_ToU64Dec(const char* text, qeluint64* out) {
  int status = 0;
  return qelNum_ParseU64(text, /*end=*/nullptr, 10, &status, out);
}

int qelNum_ToHex32(const char* text, qelULong* out) {
  return qelNum_ToU32(text, out, 16);
}

int qelNum_ToS32N(const char* start, size_t length, qelLong* out) {
  char* text = SpanText(start, length);
  const int result = qelNum_ToS32Dec(text, out);
  free(text);
  return result;
}

int qelNum_ToU32N(const char* start, size_t length, qelULong* out) {
  char* text = SpanText(start, length);
  const int result = qelNum_ToU32Dec(text, out);
  free(text);
  return result;
}

int qelNum_ToHex32N(const char* start, size_t length, qelULong* out) {
  char* text = SpanText(start, length);
  const int result = qelNum_ToHex32(text, out);
  free(text);
  return result;
}

int qelNum_ToS16(const char* text, int16_t* out) {
  qelLong value = 0;
  const int result = qelNum_ToS32Dec(text, &value);
  const qelLong clamped = value < INT16_MIN ? INT16_MIN : value > INT16_MAX ? INT16_MAX : value;
  *out = static_cast<int16_t>(clamped);
  if (value != clamped)
    return value < clamped ? kTooSmall : kTooLarge;
  return result;
}

int qelNum_ToU16(const char* text, uint16_t* out) {
  qelULong value = 0;
  const int result = qelNum_ToU32Dec(text, &value);
  *out = static_cast<uint16_t>(value > UINT16_MAX ? UINT16_MAX : value);
  return value > UINT16_MAX ? kTooLarge : result;
}

int qelNum_ToDouble(const char* text, double* out) {
  const char* stop = nullptr;
  int status = 0;
  *out = 0.0;
  const double value = qelNum_ParseDouble(text, &stop, &status);
  if (stop == text)
    return kNoNumber;
  const int result = *stop != '\0' ? OffsetResult(stop - text) : status;
  if (result >= 0)
    *out = value;
  return result;
}

int qelNum_ToPointer(const char* text, void** out) {
  const char* stop = nullptr;
  uint64_t value = 0;
  int base = 10;
  if (text != nullptr) {
    const char* at = SkipSpace(text);
    if (*at == '+')
      ++at;
    if (HasHexPrefix(at))
      base = 16;
  }
  const int result = ParseNative64(text, &stop, base, &value);
  *out = reinterpret_cast<void*>(static_cast<uintptr_t>(value));
  return result;
}

#include <qel/core/qelNum.h>

#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <trio.h>

#include <qel/core/UInt64.h>
#include <qel/core/qelChar.h>
#include <qel/core/qelMem.h>
#include <qel/core/qelULongLong.h>

// The scale of results.
static const int kWhole = 0;
static const int kTooLarge = -1;
static const int kTooSmall = -2;
static const int kNoNumber = -3;

// Shared pieces ----------------------------------------------------------------

static const char* SkipSpace(const char* text) {
  while (qelChar_IsSpace(*text))
    ++text;
  return text;
}

static bool IsEmptyText(const char* text) {
  return text == nullptr || *text == '\0';
}

static void SetEnd(const char** end, const char* stop) {
  if (end != nullptr)
    *end = stop;
}

// Where a reading stopped, as a result: the offset of the first byte that was not used.
static int OffsetOf(const char* text, const char* stop) {
  const ptrdiff_t offset = stop - text;
  return offset < INT_MAX ? static_cast<int>(offset) : INT_MAX;
}

// The status of a Parse function as the result for a whole text.
static int WholeResult(const char* text, const char* stop, int status) {
  return status == 0 && *stop != '\0' ? OffsetOf(text, stop) : status;
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
  if (*status == kTooLarge) // stays "too large" on the negative side as well
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
  const int result = *stop != '\0' ? OffsetOf(text, stop) : status;
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

// Fractions --------------------------------------------------------------------

static bool IsWholeNumber(double value) {
  return fmod(value, 1.0) == 0.0; // false for an infinity and for no number
}

// A number that was read wide, as the 32-bit one that is meant.
static double Saturate32(long long value) {
  return static_cast<double>(value < INT32_MIN ? INT32_MIN : value > INT32_MAX ? INT32_MAX : value);
}

// Reads a fraction out of text, which ends with the sentinel.
static bool ReadFraction(const char* text, char sentinel, double* out) {
  double x = 0.0;
  char c1 = 0;
  char c2 = 0;
  char c3 = 0;
  long long first = 0;
  long long second = 0;
  const int fields = sscanf(text, " %lf%c %lld %c %lld %c", &x, &c1, &first, &c2, &second, &c3);
  const double a = Saturate32(first);
  const double b = Saturate32(second);
  if (fields == 2 && c1 == sentinel) {
    *out = x;
    return true;
  }
  if (fields == 4 && c1 == '/' && c2 == sentinel && IsWholeNumber(x) && a >= 1) {
    *out = x / a;
    return true;
  }
  if (fields == 6 && (c1 == ' ' || c1 == '-') && c2 == '/' && c3 == sentinel && IsWholeNumber(x) &&
      a >= 0 && a < b) {
    *out = *SkipSpace(text) == '-' ? x - a / b : x + a / b; // "-0 1/2" is negative too
    return true;
  }
  return false;
}

int qelNum_ParseFraction(const char* text, size_t length, double* out) {
  const char kSentinel = 7;
  if (text == nullptr)
    return 1;
  char* copy = static_cast<char*>(qelMem_Alloc(length + 2));
  memcpy(copy, text, length);
  copy[length] = kSentinel;
  copy[length + 1] = '\0';
  const bool valid = ReadFraction(copy, kSentinel, out);
  free(copy);
  return valid ? 0 : 1;
}

int qelNum_ParseFractionZ(const char* text, double* out) {
  return text != nullptr ? qelNum_ParseFraction(text, strlen(text), out) : 1;
}

// Reads a piece of a text, which begins at offset in that text, as a whole number.
static int ReadPiece64(const char* piece, ptrdiff_t offset, int64_t* value) {
  const char* stop = nullptr;
  const int status = ParseSignedNative64(piece, &stop, 10, value);
  return status > 0 ? OffsetOf(piece - offset, stop) : status;
}

// The parts of a mixed number ahead of its "/"; copy is that part of the text, which begins at
// offset in it.
static int ReadNumerator(char* copy, ptrdiff_t offset, int64_t denominator, double* out) {
  char* blank = strchr(copy, ' ');
  char* numeratorText = copy;
  if (blank != nullptr) {
    *blank = '\0';
    numeratorText = blank + 1;
  }
  int64_t numerator = 0;
  int64_t whole = 0;
  int result = ReadPiece64(numeratorText, offset + (numeratorText - copy), &numerator);
  if (result == 0 && blank != nullptr)
    result = ReadPiece64(copy, offset, &whole);
  const double fraction = static_cast<double>(numerator) / static_cast<double>(denominator);
  // A whole part of "-0" is not negative.
  const double value = static_cast<double>(whole) + (whole < 0 ? -fraction : fraction);
  *out = result == 0 ? value : 0.0;
  return result;
}

int qelNum_ParseMixed(const char* text, double* out) {
  const char* start = text != nullptr ? SkipSpace(text) : nullptr;
  const char* slash = start != nullptr ? strchr(start, '/') : nullptr;
  if (slash == nullptr) {
    const int result = qelNum_ToDouble(text, out);
    if (result != 0)
      *out = 0.0;
    return result;
  }
  int64_t denominator = 0;
  const int result = ReadPiece64(slash + 1, slash + 1 - text, &denominator);
  if (result != 0) {
    *out = 0.0;
    return result;
  }
  // INTENDED: nothing is divided by 0, and yet this is no error: the caller's value stands. Pinned
  // by NumParseMixed.LeavesTheOutputAsItWasForADenominatorOfZero.
  if (denominator == 0)
    return kWhole;
  char* copy = qelMem_StrNDup(start, static_cast<size_t>(slash - start));
  const int read = ReadNumerator(copy, start - text, denominator, out);
  free(copy);
  return read;
}

// Dates ------------------------------------------------------------------------

namespace {
enum ISOField {
  kYear,        // awaits "-"
  kMonth,       // awaits "-"
  kDay,         // awaits "T"
  kHour,        // awaits ":"
  kMinute,      // awaits ":"
  kSecond,      // "." begins the fraction, "+" or "-" the zone, "Z" ends the fields
  kFraction,    // "Z" ends the fields, any other delimiter begins the zone
  kZoneHours,   // awaits ":"
  kZoneMinutes, // nothing may follow
  kDone,        // behind "Z": nothing may follow
  kWrong        // the delimiter is not the one that is awaited
};

struct ISORange {
  int minimum;
  int maximum;
};
} // namespace

static const char kISODelimiters[] = "-:.TZ+";
static const int kISOFields = 9;

static const ISORange kISORanges[kISOFields] = {
    {0, 9999}, // kYear
    {1, 12},   // kMonth
    {1, 31},   // kDay
    {0, 23},   // kHour
    {0, 59},   // kMinute
    {0, 59},   // kSecond
    {0, 999},  // kFraction
    {0, 23},   // kZoneHours
    {0, 59},   // kZoneMinutes
};

// The field behind a delimiter.
static ISOField NextISOField(ISOField field, char delimiter) {
  switch (field) {
  case kYear:
    return delimiter == '-' ? kMonth : kWrong;
  case kMonth:
    return delimiter == '-' ? kDay : kWrong;
  case kDay:
    return delimiter == 'T' ? kHour : kWrong;
  case kHour:
    return delimiter == ':' ? kMinute : kWrong;
  case kMinute:
    return delimiter == ':' ? kSecond : kWrong;
  case kSecond:
    if (delimiter == '.')
      return kFraction;
    if (delimiter == '+' || delimiter == '-')
      return kZoneHours;
    return delimiter == 'Z' ? kDone : kWrong;
  case kFraction:
    return delimiter == 'Z' ? kDone : kZoneHours;
  case kZoneHours:
    return delimiter == ':' ? kZoneMinutes : kWrong;
  case kZoneMinutes:
  case kDone:
  case kWrong:
    break;
  }
  return kWrong;
}

static bool ReadISOField(const char* piece, ISOField field, int* out) {
  qelLong value = 0;
  if (qelNum_ToS32Dec(piece, &value) != 0)
    return false;
  if (value < kISORanges[field].minimum || value > kISORanges[field].maximum)
    return false;
  *out = static_cast<int>(value);
  return true;
}

// Reads the pieces of text, which is cut into them. Fields may have been set when it returns false.
static bool ReadISOPieces(char* text, int fields[kISOFields]) {
  ISOField field = kYear;
  char before = '\0'; // delimiter ahead of the piece
  for (char* piece = text;;) {
    char* stop = piece + strcspn(piece, kISODelimiters);
    const char delimiter = *stop;
    *stop = '\0';
    if (field == kDone)
      return *piece == '\0' && delimiter == '\0';
    if (!ReadISOField(piece, field, &fields[field]))
      return false;
    if (field == kZoneHours && before == '-')
      fields[field] = -fields[field];
    if (delimiter == '\0')
      return true;
    field = NextISOField(field, delimiter);
    if (field == kWrong)
      return false;
    before = delimiter;
    piece = stop + 1;
  }
}

static int CountISOPieces(const char* text) {
  int pieces = 1;
  for (text = strpbrk(text, kISODelimiters); text != nullptr && pieces <= kISOFields;
       text = strpbrk(text + 1, kISODelimiters))
    ++pieces;
  return pieces;
}

int qelNum_ParseISODateTime(const char* text, int fields[9]) {
  memset(fields, 0, kISOFields * sizeof fields[0]);
  if (IsEmptyText(text))
    return kNoNumber;
  const int pieces = CountISOPieces(text);
  if (pieces < 2 || pieces > kISOFields)
    return kNoNumber;
  char* copy = qelMem_StrDup(text);
  const bool valid = ReadISOPieces(copy, fields);
  free(copy);
  if (valid)
    return kWhole;
  memset(fields, 0, kISOFields * sizeof fields[0]);
  return kNoNumber;
}

// Clock times ------------------------------------------------------------------

// Stores the outputs of a clock reader, 0 for what is not valid, and gives its result.
static int StoreClock(bool valid, qelULong readSeconds, qelULong readMilliseconds,
                      qelULong* seconds, qelULong* milliseconds) {
  *seconds = valid ? readSeconds : 0;
  if (milliseconds != nullptr)
    *milliseconds = valid ? readMilliseconds : 0;
  return valid ? kWhole : kNoNumber;
}

// Reads a run of digits and steps over it. False if it is longer than maxDigits.
static bool ReadDigits(const char** at, size_t maxDigits, size_t* digits, qelULong* value) {
  *digits = 0;
  *value = 0;
  for (; qelChar_IsDigit(**at); ++*at) {
    if (++*digits > maxDigits)
      return false;
    *value = *value * 10 + static_cast<qelULong>(**at - '0');
  }
  return true;
}

// Reads the pieces of a clock text: pieces[0..*count-1] ahead of the ".", *milliseconds behind it.
static bool ReadClockPieces(const char* at, qelULong pieces[3], size_t* count,
                            qelULong* milliseconds) {
  *count = 0;
  *milliseconds = 0;
  for (bool fraction = false;; ++at) {
    size_t digits = 0;
    qelULong value = 0;
    if (!ReadDigits(&at, 5, &digits, &value) || digits == 0)
      return false;
    if (fraction) {
      *milliseconds = value;
      return value <= 999 && *at == '\0';
    }
    if (*count == 3)
      return false;
    pieces[(*count)++] = value;
    if (*at == '\0')
      return true;
    if (*at != ':' && *at != '.')
      return false;
    fraction = *at == '.';
  }
}

int qelNum_ParseClock(const char* text, qelULong* seconds, qelULong* milliseconds) {
  static const qelULong kLimits[] = {99999, 59, 59};
  static const qelULong kWeights[] = {3600, 60, 1};
  qelULong pieces[3] = {0, 0, 0};
  size_t count = 0;
  qelULong fraction = 0;
  bool valid = text != nullptr && ReadClockPieces(text, pieces, &count, &fraction);
  qelULong sum = 0;
  for (size_t i = 0; valid && i < count; ++i) {
    const size_t place = 3 - count + i; // aligned to the right: the last piece is the seconds
    valid = pieces[i] <= kLimits[place];
    sum += pieces[i] * kWeights[place];
  }
  return StoreClock(valid, sum, fraction, seconds, milliseconds);
}

// Milliseconds out of what stands behind the "." of a play time.
static bool ReadNPTFraction(const char* text, qelULong* milliseconds) {
  double value = 0.0;
  if (qelNum_ParseFractionZ(text, &value) != 0)
    return false;
  if (strchr(text, '/') != nullptr)
    value *= 1000.0;
  if (!(value > -1.0 && value < 1000.0)) // also what is no number
    return false;
  *milliseconds = static_cast<qelULong>(static_cast<qelLong>(value));
  return true;
}

// Reads exactly two digits of at most 59.
static bool ReadSixtieth(const char** at, qelULong* value) {
  size_t digits = 0;
  return ReadDigits(at, 2, &digits, value) && digits == 2 && *value <= 59;
}

static bool ReadNPT(const char* at, qelULong* seconds, qelULong* milliseconds) {
  size_t digits = 0; // the hours may have none
  qelULong hours = 0;
  qelULong minutes = 0;
  qelULong last = 0;
  *milliseconds = 0;
  if (!ReadDigits(&at, 6, &digits, &hours) || *at++ != ':')
    return false;
  if (!ReadSixtieth(&at, &minutes) || *at++ != ':')
    return false;
  if (!ReadSixtieth(&at, &last))
    return false;
  *seconds = hours * 3600 + minutes * 60 + last;
  return *at == '\0' || (*at == '.' && ReadNPTFraction(at + 1, milliseconds));
}

int qelNum_ParseNPT(const char* text, qelULong* seconds, qelULong* milliseconds) {
  qelULong readSeconds = 0;
  qelULong readMilliseconds = 0;
  const bool valid = text != nullptr && ReadNPT(text, &readSeconds, &readMilliseconds);
  return StoreClock(valid, readSeconds, readMilliseconds, seconds, milliseconds);
}

int qelNum_ParseSeconds(const char* text, qelULong* seconds, qelULong* milliseconds) {
  const char* stop = nullptr;
  int status = 0;
  const qelULong whole = qelNum_ParseU32(text, &stop, 10, &status);
  if (status == kNoNumber)
    return StoreClock(false, 0, 0, seconds, milliseconds);
  qelULong fraction = 0;
  if (status == kWhole && *stop == '.') {
    const char* const fractionText = stop + 1;
    fraction = qelNum_ParseU32(fractionText, &stop, 10, &status);
    if (status != kWhole || fraction > 999)
      return StoreClock(false, 0, 0, seconds, milliseconds);
  }
  StoreClock(true, whole, fraction, seconds, milliseconds);
  return WholeResult(text, stop, status);
}

// Fractions as text ------------------------------------------------------------

namespace {
struct Fraction {
  double numerator;
  double denominator;
};
} // namespace

// The first convergent of rest's continued fraction that is within tolerance, or the last whose
// denominator is within maximum. rest is in [0, 1).
static Fraction Approximate(double rest, double maximum, double tolerance) {
  Fraction last = {1.0, 0.0};
  Fraction now = {0.0, 1.0};
  double left = rest;
  while (left > 0.0 && !(fabs(now.numerator / now.denominator - rest) <= tolerance)) {
    const double reciprocal = 1.0 / left;
    const double quotient = floor(reciprocal);
    const Fraction next = {quotient * now.numerator + last.numerator,
                           quotient * now.denominator + last.denominator};
    if (!(next.denominator <= maximum))
      break;
    last = now;
    now = next;
    left = reciprocal - quotient;
  }
  return now;
}

int qelNum_FractionToText(double value, qelLong maxDenominator, double tolerance, char** out) {
  *out = nullptr;
  const double magnitude = fabs(value);
  if (!(magnitude < 18446744073709551616.0)) // 2^64; also what is no number
    return kNoNumber;
  double whole = floor(magnitude);
  const Fraction fraction = Approximate(magnitude - whole, maxDenominator, tolerance);
  bool hasFraction = fraction.numerator > 0.0;
  if (hasFraction && fraction.numerator >= fraction.denominator) { // 0.9999 as 1, not as 1/1
    whole += 1.0;
    hasFraction = false;
  }
  const char* sign = value < 0.0 ? "-" : "";
  const unsigned long long shownWhole = static_cast<unsigned long long>(whole);
  const unsigned long numerator = static_cast<unsigned long>(fraction.numerator);
  const unsigned long denominator = static_cast<unsigned long>(fraction.denominator);
  char text[64]; // a sign, 20 digits, a blank, and twice 10 digits around a "/"
  if (!hasFraction)
    trio_snprintf(text, sizeof text, "%s%llu", sign, shownWhole);
  else if (whole > 0.0)
    trio_snprintf(text, sizeof text, "%s%llu %lu/%lu", sign, shownWhole, numerator, denominator);
  else
    trio_snprintf(text, sizeof text, "%s%lu/%lu", sign, numerator, denominator);
  *out = qelMem_StrDup(text);
  return kWhole;
}

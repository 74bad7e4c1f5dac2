// Fractions, out of text and as text.

#include <qel/core/qelNum.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <trio.h>

#include <qel/core/qelNumPrivate.h>

#include <qel/core/qelMem.h>
#include <qel/core/qelULongLong.h>

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
static int ReadPiece(const char* piece, ptrdiff_t offset, double* value) {
  const char* stop = nullptr;
  int status = 0;
  qelint64 number = {0, 0};
  qelNum_ParseS64(piece, &stop, 10, &status, &number);
  *value = qelint64_ToDouble(&number);
  return status > 0 ? OffsetResult(offset + (stop - piece)) : status;
}

// The parts of a mixed number ahead of its "/"; copy is that part of the text, which begins at
// offset in it.
static int ReadNumerator(char* copy, ptrdiff_t offset, double denominator, double* out) {
  char* blank = strchr(copy, ' ');
  char* numeratorText = copy;
  if (blank != nullptr) {
    *blank = '\0';
    numeratorText = blank + 1;
  }
  double numerator = 0.0;
  double whole = 0.0;
  int result = ReadPiece(numeratorText, offset + (numeratorText - copy), &numerator);
  if (result == 0 && blank != nullptr)
    result = ReadPiece(copy, offset, &whole);
  const double fraction = numerator / denominator;
  // A whole part of "-0" is not negative.
  *out = result == 0 ? whole + (whole < 0.0 ? -fraction : fraction) : 0.0;
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
  double denominator = 0.0;
  const int result = ReadPiece(slash + 1, slash + 1 - text, &denominator);
  if (result != 0) {
    *out = 0.0;
    return result;
  }
  // INTENDED: nothing is divided by 0, and yet this is no error: the caller's value stands. Pinned
  // by NumParseMixed.LeavesTheOutputAsItWasForADenominatorOfZero.
  if (denominator == 0.0)
    return kWhole;
  char* copy = qelMem_StrNDup(start, static_cast<size_t>(slash - start));
  const int read = ReadNumerator(copy, start - text, denominator, out);
  free(copy);
  return read;
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

// Dates and clock times out of text.

#include <qel/core/qelNum.h>

#include <cstdlib>
#include <cstring>

#include <qel/core/qelNumPrivate.h>

#include <qel/core/qelChar.h>
#include <qel/core/qelMem.h>

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

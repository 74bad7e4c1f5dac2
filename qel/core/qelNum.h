#ifndef QEL_CORE_QELNUM_H
#define QEL_CORE_QELNUM_H
//===----------------------------------------------------------------------===//
// Numbers, fractions, clock times and dates out of text.
//
// One scale of results holds for all readers:
//     0   the whole text is a valid number
//   n>0   a number was read, and text[n] is the first byte that was not used;
//         the output holds the number
//    -1   too large; the output holds the greatest value
//    -2   too small; the output holds the smallest value
//    -3   no number: null, empty or malformed text; the output is 0
//
// The Parse functions report through *status, and through *end where the reading
// stopped; end may be null. They skip whitespace (qelChar_IsSpace) ahead of the
// number. Bases are 2 to 36, or 0: "0x" and a hexadecimal digit begin a number in
// base 16, another "0" one in base 8, all else one in base 10. "0x" is skipped in
// base 16 as well.
//
// OWNERSHIP: nothing is kept. FractionToText returns a block of the caller's.
// ERRORS: the scale. Nothing is logged; exhausted memory is fatal.
// THREADS: any. ParseFraction sees the C library's locale.
//===----------------------------------------------------------------------===//

#include <cstddef>
#include <cstdint>

#include <qel/core/Types.h>

struct qelULongLong;
struct qelint64;
class qeluint64;

// Unsigned: one "+" may stand ahead, a "-" is no number. Status 0, -1 or -3; a stop ahead of the
// terminator shows in *end alone. Digits behind an overflow are read as well.
qelULong qelNum_ParseU32(const char* text, const char** end, int base, int* status);

// Signed: a "-" is a sign only if a letter or a digit follows. Magnitudes above 32 bits give -1 and
// the bound of that side; -2147483648 is exact, and "-2147483647" gives it too.
qelLong qelNum_ParseS32(const char* text, const char** end, int base, int* status);

// 64 bits. The first digit that overflows stops the reading. If end is given, a stop ahead of the
// terminator gives a positive status; without it, what stands behind the digits is not looked at.
// Both return *status.
int qelNum_ParseU64(const char* text, const char** end, int base, int* status, qelULongLong* out);
int qelNum_ParseU64(const char* text, const char** end, int base, int* status, qeluint64* out);

// A sign is taken at once, whatever follows it.
int qelNum_ParseS64(const char* text, const char** end, int base, int* status, qelint64* out);

// Decimal digits with a "." among them and an exponent, which alone decides about -1 and -2, but for
// the positive infinity, which is -1 too: these come with the value 0. A negative infinity is a
// result, and so is the NaN that a mantissa of 0 or of too many digits gives with a large exponent.
double qelNum_ParseDouble(const char* text, const char** end, int* status);

// Whole texts.
int qelNum_ToS32(const char* text, qelLong* out, int base);
int qelNum_ToU32(const char* text, qelULong* out, int base);
int qelNum_ToS32Dec(const char* text, qelLong* out);
int qelNum_ToU32Dec(const char* text, qelULong* out);

// Decimal. What stands behind the digits is not looked at.
int qelNum_ToS64Dec(const char* text, qelint64* out);
int qelNum_ToU64Dec(const char* text, qelULongLong* out);
int qelNum_ToU64Dec(const char* text, qeluint64* out);

// Whole text, base 16.
int qelNum_ToHex32(const char* text, qelULong* out);

// The same of the span start[0..length-1]: base 10, 10 and 16.
int qelNum_ToS32N(const char* start, size_t length, qelLong* out);
int qelNum_ToU32N(const char* start, size_t length, qelULong* out);
int qelNum_ToHex32N(const char* start, size_t length, qelULong* out);

// Whole text, base 10, clamped to 16 bits: -1 or -2 if the value was clamped.
int qelNum_ToS16(const char* text, int16_t* out);
int qelNum_ToU16(const char* text, uint16_t* out);

// Whole text. What stands behind the number is told even if the number is out of range; a positive
// result keeps the number.
int qelNum_ToDouble(const char* text, double* out);

// Whole text: a pointer's value, in base 16 if "0x" or "0X" and a hexadecimal digit stand behind
// blanks and a "+", in base 10 otherwise. Allocates nothing.
int qelNum_ToPointer(const char* text, void** out);

// "1.5", "3/4", "1 3/4", "1-3/4", with a sign ahead. 0 for success; 1 for anything else, and *out
// stays as it was. The first form reads text[0..length-1]. The C library reads the first number, so
// the forms of infinities and hexadecimal numbers that it knows are valid as well.
int qelNum_ParseFraction(const char* text, size_t length, double* out);
int qelNum_ParseFractionZ(const char* text, double* out);

// "3/4", "1 3/4" or a plain number, on the scale; any other result than 0 leaves 0 in *out. A
// denominator of 0 gives 0 and leaves *out as it was.
int qelNum_ParseMixed(const char* text, double* out);

// "YYYY-MM-DDTHH:MM:SS.fff+HH:MM" or its beginning from "YYYY-MM" on; "Z" may stand for the zone.
// Gives 0, or -3 with all fields 0.
//   fields  0 year, 1 month (1 to 12), 2 day, 3 hour, 4 minute, 5 second, 6 fraction as the number
//           that is written (0 to 999), 7 zone hours (negative behind "-"), 8 zone minutes
// What the text does not name is 0.
int qelNum_ParseISODateTime(const char* text, int fields[9]);

// "SS", "MM:SS", "HH:MM:SS", each with ".mmm". Gives 0, or -3 with the outputs 0. milliseconds may
// be null.
int qelNum_ParseClock(const char* text, qelULong* seconds, qelULong* milliseconds);

// "H:MM:SS", "H:MM:SS.mmm", "H:MM:SS.F0/F1". Gives 0, or -3 with the outputs 0. milliseconds may be
// null.
int qelNum_ParseNPT(const char* text, qelULong* seconds, qelULong* milliseconds);

// "S", "S.mmm", on the scale. Milliseconds above 999 give -3. milliseconds may be null.
int qelNum_ParseSeconds(const char* text, qelULong* seconds, qelULong* milliseconds);

// Writes value as "1 3/4", "3/4" or "1" to a new block *out. The fraction is the first convergent
// of the continued fraction whose error is within tolerance, or the last whose denominator is
// within maxDenominator. Gives 0; or -3 and null for a value that is not finite, or whose whole
// part needs more than 64 bits.
int qelNum_FractionToText(double value, qelLong maxDenominator, double tolerance, char** out);

#endif

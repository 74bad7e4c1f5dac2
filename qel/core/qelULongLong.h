#ifndef QEL_CORE_QELULONGLONG_H
#define QEL_CORE_QELULONGLONG_H
//===----------------------------------------------------------------------===//
// 64-bit numbers as records of two 32-bit halves, unsigned and signed, with
// arithmetic that reports overflow. The number readers and the date code work
// with these; the value class that is passed around is qeluint64.
//
// The first argument is the record that is changed or read. Any two arguments
// may be the same record. None may be null, unless told otherwise.
//
// ERRORS: where a function returns an int, it is a flag: 1 for an overflow or
// lost bits, 0 otherwise; the record holds the result modulo 2^64 in both cases.
// Comparisons return 1 for true, 0 for false.
// OWNERSHIP: a text that is returned is the caller's, who releases it with free.
// THREADS: pure; any thread.
//===----------------------------------------------------------------------===//

#include <cstddef>
#include <cstdint>

#include <qel/core/Types.h>

// On a little-endian machine the records have the layout of a 64-bit integer.
struct qelULongLong {
  uint32_t low;  // bits 0 to 31
  uint32_t high; // bits 32 to 63
};

struct qelint64 {
  uint32_t low; // bits 0 to 31
  int32_t high; // bits 32 to 63, with the sign
};

// Unsigned ---------------------------------------------------------------------

void qelULongLong_Set(qelULongLong* value, uint32_t high, uint32_t low);
void qelULongLong_FromU64(qelULongLong* value, uint64_t native);

int qelULongLong_Add(qelULongLong* value, const qelULongLong* other);
int qelULongLong_AddU32(qelULongLong* value, uint32_t other);

// Wraps around and reports nothing.
void qelULongLong_Sub(qelULongLong* value, const qelULongLong* other);
void qelULongLong_SubU32(qelULongLong* value, uint32_t other);

// n from 64 up gives 0. Below 32 the flag tells of any bit that was lost. From 32 up the high half
// goes without being looked at: the flag tells of the low half's bits, and is 0 for exactly 32.
int qelULongLong_ShiftLeft(qelULongLong* value, uint32_t n);

// n from 64 up gives 0.
void qelULongLong_ShiftRight(qelULongLong* value, uint32_t n);

int qelULongLong_Less(const qelULongLong* a, const qelULongLong* b);
int qelULongLong_LessOrEqual(const qelULongLong* a, const qelULongLong* b);
int qelULongLong_Equal(const qelULongLong* a, const qelULongLong* b);

// The flag is cautious: it is set when the significant bits of both factors together are more than
// 64, so 2^62 times 2 sets it although the product fits.
int qelULongLong_Mul(qelULongLong* value, const qelULongLong* other);

// a / b and a % b. A zero divisor gives 0 and 0. The results may be records of the operands.
void qelULongLong_DivMod(const qelULongLong* a, const qelULongLong* b, qelULongLong* quotient,
                         qelULongLong* remainder);
void qelULongLong_Div(qelULongLong* value, const qelULongLong* other);
void qelULongLong_Mod(qelULongLong* value, const qelULongLong* other);
void qelULongLong_ModU32(qelULongLong* value, uint32_t other);

// A new decimal text.
char* qelULongLong_ToDecimal(const qelULongLong* value);

// Reads a decimal number as qelNum_ParseU64 does; what stands behind the digits is ignored.
// Returns 1. A null text, no digits or a number out of range: returns 0, and the value is 0.
int qelULongLong_FromString(qelULongLong* value, const char* text);

// The same on text[0..length-1], which needs no terminator.
int qelULongLong_FromStringN(qelULongLong* value, const char* text, size_t length);

// Signed -----------------------------------------------------------------------

void qelint64_Set(qelint64* value, int32_t high, uint32_t low);
void qelint64_FromNative(qelint64* value, int64_t native);
void qelint64_FromS32(qelint64* value, int32_t native);

// The overflow test looks at the high halves: two negative ones whose sum is too small set the flag
// even if the carry of the low halves brings the result back into the range. So every negative
// number that carries, such as -1, sets it within 2^32 above the smallest value.
int qelint64_Add(qelint64* value, const qelint64* other);
int qelint64_AddS32(qelint64* value, int32_t other);
int qelint64_AddU32(qelint64* value, uint32_t other);

int qelint64_Sub(qelint64* value, const qelint64* other);
int qelint64_SubS32(qelint64* value, int32_t other);
int qelint64_SubU32(qelint64* value, uint32_t other);

// As the unsigned form: the flag tells of lost bits, so every negative value sets it for an n from
// 1 to 31.
int qelint64_ShiftLeft(qelint64* value, uint32_t n);

// Keeps the sign up to n = 63; n from 64 up gives 0.
void qelint64_ShiftRight(qelint64* value, uint32_t n);

int qelint64_Less(const qelint64* a, const qelint64* b);
int qelint64_Equal(const qelint64* a, const qelint64* b);

// The flag collects what the partial sums report, value being added once per bit of other. It is
// dependable for small factors; a negative other sets it as a rule, and a doubling that runs over
// is not seen.
int qelint64_Mul(qelint64* value, const qelint64* other);

// Truncates toward zero; the remainder has the dividend's sign. A zero divisor gives 0 and 0.
// The divisor 0xFFFFFFFF00000000 gives the dividend's magnitude and the remainder 0.
// The smallest value is divided as the one above it, and its remainder is lowered by 1.
// Returns the flag of the last negation that was done.
int qelint64_DivMod(const qelint64* a, const qelint64* b, qelint64* quotient, qelint64* remainder);
int qelint64_Div(qelint64* value, const qelint64* other);
int qelint64_Mod(qelint64* value, const qelint64* other);
int qelint64_ModU32(qelint64* value, uint32_t other);

// The smallest value stays as it is and sets the flag.
int qelint64_Negate(qelint64* value);
int qelint64_Abs(qelint64* value);

// A new decimal text.
char* qelint64_ToDecimal(const qelint64* value);

double qelint64_ToDouble(const qelint64* value);

// Truncates toward zero. Beyond the range: the smallest or the largest value; no number: 0.
void qelint64_FromDouble(qelint64* value, double number);

// As qelULongLong_FromString, by qelNum_ParseS64.
int qelint64_FromString(qelint64* value, const char* text);

// Range-checked conversions ------------------------------------------------------

// Each returns 1 if the value fits, and stores it. Otherwise it returns 0, and stores
//   U64ToU32   0 if the top bit of the value is set, else 0xFFFFFFFF
//   S64ToS32   the smallest or the largest 32-bit value, by the sign
//   S64ToU64   0
//   U64ToS64   -1
int qelSaturate_U64ToU32(uint64_t value, uint32_t* out);
int qelSaturate_S64ToS32(int64_t value, int32_t* out);
int qelSaturate_S64ToU64(int64_t value, uint64_t* out);
int qelSaturate_U64ToS64(uint64_t value, int64_t* out);

#endif

#ifndef QEL_SERIALIZE_QELHEX_H
#define QEL_SERIALIZE_QELHEX_H
//===----------------------------------------------------------------------===//
// Bytes as hexadecimal text, in words of 1, 2 or 4 bytes.
//
// Words can be turned around: 01 02 03 04 is "01020304", and "04030201" as one
// swapped word of 4. Both directions keep the order of bytes for order 0 and
// swap for 1 and 2; any further order keeps when encoding and swaps when
// decoding.
//
// OWNERSHIP: results are the caller's, released with free.
// ERRORS: 0, or -3 for malformed input. Exhausted memory is fatal.
// THREADS: any.
//===----------------------------------------------------------------------===//

#include <cstddef>

// Writes data[0..size-1] as a terminated text of lower-case digits to *out. -3 with a null *out if
// size is not a multiple of wordSize. A word size other than 1, 2 and 4 gives the empty text and 0;
// for 0 no size is refused.
int qelHex_Encode(const void* data, size_t size, size_t wordSize, int order, char** out);

// Reads text[0..length-1], digits of either case, with or without "0x" or "0X" ahead. *out gets a
// block of as many bytes as there are pairs of digits and *outSize their number.
//
// -3 with a null *out and size 0: the digits are not an even number or not a multiple of wordSize,
// or some character is no digit. The multiple is counted in digits, so half a word can be left over:
// it is read, and its bytes in the block are 0. A word size other than 1, 2 and 4 stores no word at
// all; for 0 no multiple is asked. A null text gives a null *out, size 0 and 0.
int qelHex_Decode(const char* text, size_t length, size_t wordSize, int order, void** out,
                  size_t* outSize);

// 1 with the value of a digit of either case in *value; 0 with *value untouched for any other
// character.
int qelHex_DigitValue(char digit, unsigned char* value);

#endif

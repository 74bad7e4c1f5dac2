#ifndef QEL_CORE_QELWIDEPRINT_H
#define QEL_CORE_QELWIDEPRINT_H
//===----------------------------------------------------------------------===//
// The formatted print into 16-bit units, over a printf that has no wide form.
//
//   directive   "%", flags "-+ #0'", width, ".precision", modifier, conversion
//   width       digits or "*"; a negative argument means "-" and its magnitude
//   precision   digits, "*" or nothing for 0; a negative argument means none
//   modifier    h hh l ll q j z Z t L I8 I16 I32 I64, where the conversion has such a form
//
//   d i o u x X b B     a number of the modifier's type
//   e E f F g G a A     a double, with L a long double
//   p m                 a pointer; the text of errno
//   s                   narrow UTF-8; with l, and as S, a text of units
//   c                   a narrow character; with l, and as C, a unit
//   %                   a "%", only if nothing stands between
//
// Width and precision count units. A null text prints as the narrow printf shows it.
//
// ERRORS: a negative result, with what was printed before the faulty directive in
// the buffer: for any other conversion (n too), an argument number such as "1$",
// narrow text that is not UTF-8, and a text of more than 0x7FFFFFFF units.
// THREADS: any.
//===----------------------------------------------------------------------===//

#include <cstdarg>
#include <cstddef>

#include <qel/core/Types.h>

// Prints at most size - 1 units to buffer[0..size-1] and always a terminator, unless size is 0.
// Returns the length that the whole text has, or a negative value.
int qelWidePrint_VSNPrintf(qelWChar* buffer, size_t size, const qelWChar* format, va_list args);

#endif

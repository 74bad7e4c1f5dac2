#ifndef QEL_CORE_TYPES_H
#define QEL_CORE_TYPES_H
//===----------------------------------------------------------------------===//
// The basic types of every interface of the library.
//
// The reference platform has a 32-bit `long` and a 16-bit `wchar_t`. A signature
// that says qelLong or qelULong there means 32 bits on every system, and text of
// qelWChar is UTF-16 on every system.
//===----------------------------------------------------------------------===//

#include <cstddef>
#include <cstdint>

#if defined(_WIN32)

typedef long qelLong;           // 32 bits, signed
typedef unsigned long qelULong; // 32 bits, unsigned
typedef int qelOtherLong;       // the one of `int` and `long` that qelLong is not
typedef unsigned qelOtherULong; // the one of the unsigned pair that qelULong is not
typedef wchar_t qelWChar;       // one UTF-16 unit
typedef wchar_t qelOSChar;      // one unit of a file name as the system takes it
#define QEL_W(text) L##text     // literal of qelWChar: QEL_W("text"), QEL_W('c')

#else

typedef int32_t qelLong;
typedef uint32_t qelULong;
typedef long qelOtherLong;
typedef unsigned long qelOtherULong;
typedef char16_t qelWChar;
typedef char qelOSChar;
#define QEL_W(text) u##text

#endif

static_assert(sizeof(qelLong) == 4 && sizeof(qelULong) == 4, "a signature's long has 32 bits");
static_assert(sizeof(qelWChar) == 2, "wide text has units of 16 bits");
static_assert(sizeof(void*) == 8, "sizes and positions have 64 bits");

// Marks a function whose arguments are a printf format (position `format_at`, from 1) and its
// arguments (from position `first`; 0 for a va_list).
#if defined(__GNUC__) && !defined(_WIN32)
#define QEL_PRINTF_LIKE(format_at, first) __attribute__((__format__(__printf__, format_at, first)))
#elif defined(__GNUC__)
#define QEL_PRINTF_LIKE(format_at, first)                                                          \
  __attribute__((__format__(__gnu_printf__, format_at, first)))
#else
#define QEL_PRINTF_LIKE(format_at, first)
#endif

#endif

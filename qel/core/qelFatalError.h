#ifndef QEL_CORE_QELFATALERROR_H
#define QEL_CORE_QELFATALERROR_H
//===----------------------------------------------------------------------===//
// The one way for the library to end the process.
//
// The process environment variable QEL_FATALERROR_CALLBACK holds the address of
// an application's callback as text, so that every module of the process, each
// with a copy of this code, reaches the same callback.
//
// THREADS: any, no lock is taken. The environment is the only shared state.
//===----------------------------------------------------------------------===//

#include <cstdarg>

#include <qel/core/Types.h>

// The variable that holds the callback's address. It means nothing to any other process.
constexpr char qelFatalErrorCallbackVariable[] = "QEL_FATALERROR_CALLBACK";

// Gets the reason's text. It may end the process itself; if it returns, the process ends anyway.
typedef void (*qelFatalErrorCallback)(const char* reason);

// Reports the reason on standard output, in the log and to the callback, and ends the process with
// the status -1: no unwinding, no destructors, no handlers at exit.
//
//   reason                                     arguments behind it
//   "memory:malloc", "memory:realloc",
//   "memory:strdup", "memory:wcsdup"           the size as uint32_t, twice
//   "assert"                                   a text, twice
//   any other, or null                         none
//
// The arguments are read twice, first for standard output and then, from the place where the first
// reading ended, for the log line: pass them twice.
[[noreturn]] void qelFatalError(const char* reason, ...);

// Stores the callback's address for every module of the process; null stores an address that calls
// nothing. On failure a level-1 line is written and no callback will be called.
void qelFatalError_SetCallback(qelFatalErrorCallback callback);

// Writes one level-1, module-0 line.
void qelFatalError_Log(const char* format, ...) QEL_PRINTF_LIKE(1, 2);

#endif

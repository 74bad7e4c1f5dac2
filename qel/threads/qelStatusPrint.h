#ifndef QEL_THREADS_QELSTATUSPRINT_H
#define QEL_THREADS_QELSTATUSPRINT_H
//===----------------------------------------------------------------------===//
// Where qelStatusManager prints to. There is no sink at first, and what is printed
// without one is discarded; a program puts its own in place:
//
//   static void Print(const char* format, va_list args, void* file) {
//     vfprintf(static_cast<FILE*>(file), format, args);
//   }
//   const qelStatusPrint_Sink sink = {Print, stderr};
//   qelStatusPrint_SetSink(&sink);
//
// One call of the sink is not one line: a line may come in two pieces.
//
// OWNERSHIP: a sink stays the program's, and must live until another one is in place
// and no manager prints to it any more. It must not call the manager that prints.
// ERRORS: none.
// THREADS: any. Each call of the sink comes from the thread that prints, under the
// lock of its manager.
//===----------------------------------------------------------------------===//

#include <cstdarg>

#include <qel/core/Types.h>

struct qelStatusPrint_Sink {
  void (*print)(const char* format, va_list args, void* context); // printf arguments; never null
  void* context;                                                  // the program's; passed on
};

// Puts a sink in place, or none for null, and returns the one that was there.
const qelStatusPrint_Sink* qelStatusPrint_SetSink(const qelStatusPrint_Sink* sink);

// Hands a piece of text to the sink.
void qelStatusPrint_Print(const char* format, ...) QEL_PRINTF_LIKE(1, 2);

#endif

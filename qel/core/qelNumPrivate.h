#ifndef QEL_CORE_QELNUMPRIVATE_H
#define QEL_CORE_QELNUMPRIVATE_H
//===----------------------------------------------------------------------===//
// What the readers of number text share. Not for clients.
//
// THREADS: any; no state.
//===----------------------------------------------------------------------===//

#include <climits>
#include <cstddef>

#include <qel/core/qelChar.h>

// The scale of results.
constexpr int kWhole = 0;
constexpr int kTooLarge = -1;
constexpr int kTooSmall = -2;
constexpr int kNoNumber = -3;

inline const char* SkipSpace(const char* text) {
  while (qelChar_IsSpace(*text))
    ++text;
  return text;
}

inline bool IsEmptyText(const char* text) {
  return text == nullptr || *text == '\0';
}

// Where a reading stopped, as a result: the offset of the first byte that was not used.
inline int OffsetResult(ptrdiff_t offset) {
  return offset < INT_MAX ? static_cast<int>(offset) : INT_MAX;
}

// The status of a Parse function as the result for a whole text.
inline int WholeResult(const char* text, const char* stop, int status) {
  return status == 0 && *stop != '\0' ? OffsetResult(stop - text) : status;
}

#endif

#ifndef QEL_CORE_QELCHAR_H
#define QEL_CORE_QELCHAR_H
//===----------------------------------------------------------------------===//
// Character tests. They know ASCII only and no locale. A plain `char` is handed
// over as it is: bytes from 128 up arrive negative and fail every test. A wide
// unit is handed over as an unsigned value.
//
// Each gives non-zero for true. Pure; any thread.
//===----------------------------------------------------------------------===//

// The library's whitespace: the values 9 to 13 and 32.
inline int qelChar_IsSpace(int c) {
  return (c >= 9 && c <= 13) || c == 32;
}

// '0' to '9'.
inline int qelChar_IsDigit(int c) {
  return c >= '0' && c <= '9';
}

// '0' to '9', 'a' to 'f', 'A' to 'F'.
inline int qelChar_IsHexDigit(int c) {
  return qelChar_IsDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// '0' to '9', 'a' to 'z', 'A' to 'Z'.
inline int qelChar_IsAlnum(int c) {
  return qelChar_IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

#endif

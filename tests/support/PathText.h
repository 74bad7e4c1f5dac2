#ifndef QEL_TESTS_SUPPORT_PATHTEXT_H
#define QEL_TESTS_SUPPORT_PATHTEXT_H
//===----------------------------------------------------------------------===//
// What tests of paths share.
//===----------------------------------------------------------------------===//

#include <cstdlib>
#include <string>

#include <qel/core/CString.h>
#include <qel/multiplatform/qelPath.h>

// What stands ahead of the first "/" of an absolute path: "C:" where there are volumes, else nothing.
inline std::string Volume() {
  return qelPath_IsAbsolute("C:/") ? "C:" : "";
}

// The text, which is released; "(null)" for none.
inline std::string Taken(char* text) {
  const std::string copy = text != nullptr ? text : "(null)";
  free(text);
  return copy;
}

inline std::string Text(const qelCString& text) {
  return std::string(text.c_str(), text.length());
}

// The directory of the running test, with its "/".
inline std::string ProgramDirectory() {
  return Taken(qelPath_GetApplicationDirectory());
}

#endif

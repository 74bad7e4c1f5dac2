#ifndef QEL_TESTS_SUPPORT_LOGSHAPE_H
#define QEL_TESTS_SUPPORT_LOGSHAPE_H
//===----------------------------------------------------------------------===//
// Log texts without what differs from run to run or between systems.
//===----------------------------------------------------------------------===//

#include <string>
#include <vector>

#include <tests/support/LogCapture.h>

// The text with "#" for the error number and the descriptor.
inline std::string LogShape(std::string text) {
  for (const char* ahead : {"(error = ", "(errno = ", "(fd = ", "file descriptor "}) {
    size_t at = text.find(ahead);
    if (at == std::string::npos)
      continue;
    at += std::string(ahead).size();
    text.replace(at, text.find_first_of(")\n", at) - at, "#");
  }
  return text;
}

// The shapes of all captured lines; the capture is empty afterwards.
inline std::vector<std::string> TakeShapes(LogCapture& log) {
  std::vector<std::string> shapes;
  for (const std::string& text : log.Texts())
    shapes.push_back(LogShape(text));
  log.Clear();
  return shapes;
}

#endif

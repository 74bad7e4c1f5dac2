#ifndef QEL_CORE_LOG_H
#define QEL_CORE_LOG_H
//===----------------------------------------------------------------------===//
// The one way to write a log line: QEL_LOG(level, format, ...).
//
// A source defines, ahead of its first include,
//   QEL_LOG_MODULE  the fixed number of its module, and
//   QEL_LOG_FILE    its literal, such as "..\\..\\win32\\qelFile.win32".
//
// Level 1 is for errors, level 4 for traffic traces. A level is live when it is
// less than _qelLog_Level, so 0 and 1 silence the library and 2 lets errors
// through. A disabled line costs one load and one compare and evaluates none of
// its arguments. Texts end in "\n".
//
// ERRORS: failing to log is never an error; a line that the log library does not
// want is dropped.
// THREADS: any thread, no lock of its own; the log library keeps the lines of
// two threads apart.
//===----------------------------------------------------------------------===//

#include <companions/toolslog/qelixToolsLog.h>

#define QEL_LOG_ENABLED(level) (static_cast<uint16_t>(level) < _qelLog_Level)

#define QEL_LOG(level, ...)                                                                        \
  do {                                                                                             \
    if (QEL_LOG_ENABLED(level)) {                                                                  \
      qelLogRecord* qelLogSite_ = qelLog_Begin(level, QEL_LOG_MODULE);                             \
      if (qelLogSite_ != nullptr) {                                                                \
        qelLogSite_->line = __LINE__;                                                              \
        qelLogSite_->file = QEL_LOG_FILE;                                                          \
        qelLog_Append_F(__VA_ARGS__);                                                              \
        qelLog_End(qelLogSite_);                                                                   \
      }                                                                                            \
    }                                                                                              \
  } while (0)

#endif

#ifndef EXAMPLES_MEDIAQUERY_QUIETLOG_H
#define EXAMPLES_MEDIAQUERY_QUIETLOG_H
//===----------------------------------------------------------------------===//
// The library logs every failure. Where the program expects one, or tells of it
// itself, it turns the log off for so long.
//
// THREADS: the log's level is the process's: only while no other thread works.
//===----------------------------------------------------------------------===//

#include <companions/toolslog/qelixToolsLog.h>

namespace mediaquery {

class QuietLog {
public:
  QuietLog() : m_level(_qelLog_Level) { qelToolsLog_SetLevel(0); }
  ~QuietLog() { qelToolsLog_SetLevel(m_level); }
  QuietLog(const QuietLog&) = delete;
  QuietLog& operator=(const QuietLog&) = delete;

private:
  uint16_t m_level;
};

} // namespace mediaquery

#endif

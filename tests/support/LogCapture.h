#ifndef QEL_TESTS_SUPPORT_LOGCAPTURE_H
#define QEL_TESTS_SUPPORT_LOGCAPTURE_H
//===----------------------------------------------------------------------===//
// Catches the log lines that are written during its life, by the log library's
// callback sink. Standard error stays quiet meanwhile. One at a time.
//===----------------------------------------------------------------------===//

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include <companions/toolslog/qelixToolsLog.h>

struct CapturedLine {
  uint32_t level;
  uint32_t module;
  std::string file; // the site's file literal
  uint32_t line;
  std::string text; // with its "\n"
};

class LogCapture {
public:
  // `threshold` 2 catches errors, 5 catches traces as well.
  explicit LogCapture(uint16_t threshold = 2) : m_oldLevel(_qelLog_Level) {
    qelToolsLog_SetStandardError(0);
    qelToolsLog_SetCallback(&LogCapture::OnLine, this);
    qelToolsLog_SetLevel(threshold);
  }
  ~LogCapture() {
    qelToolsLog_SetLevel(m_oldLevel);
    qelToolsLog_SetCallback(nullptr, nullptr);
    qelToolsLog_SetStandardError(1);
  }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // What has been written so far, oldest first.
  std::vector<CapturedLine> Lines() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_lines;
  }
  std::vector<std::string> Texts() const {
    std::vector<std::string> texts;
    for (const CapturedLine& line : Lines())
      texts.push_back(line.text);
    return texts;
  }
  // All texts one behind the other.
  std::string All() const {
    std::string all;
    for (const CapturedLine& line : Lines())
      all += line.text;
    return all;
  }
  void Clear() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_lines.clear();
  }

private:
  static void OnLine(const qelToolsLogLine* line, void* context) {
    LogCapture* self = static_cast<LogCapture*>(context);
    std::lock_guard<std::mutex> lock(self->m_mutex);
    self->m_lines.push_back({line->level, line->module, line->file != nullptr ? line->file : "",
                             line->line, std::string(line->text, line->length)});
  }

  uint16_t m_oldLevel;
  mutable std::mutex m_mutex;
  std::vector<CapturedLine> m_lines;
};

#endif

#include <companions/toolslog/qelixToolsLog.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <pthread.h>

#include <spdlog/details/os.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

extern "C" {
uint16_t _qelLog_Level = 2;
}

namespace {

const char kPattern[] = "%Y-%m-%d %H:%M:%S.%e [%t] %v";

// Which modules may log: a list of ranges, or all but those.
struct ModuleFilter {
  std::vector<std::pair<uint32_t, uint32_t>> ranges; // first and last module number
  bool inverted = true;                              // with no ranges: all modules

  bool Allows(uint32_t module) const {
    for (const auto& range : ranges)
      if (module >= range.first && module <= range.second)
        return !inverted;
    return inverted;
  }
};

// Reads one module number at *text and moves past it.
bool ParseNumber(const char** text, uint32_t* out) {
  if (**text < '0' || **text > '9')
    return false;
  uint64_t value = 0;
  for (; **text >= '0' && **text <= '9'; ++*text) {
    value = value * 10 + static_cast<uint64_t>(**text - '0');
    if (value > 0xFFFFFFFFu)
      return false;
  }
  *out = static_cast<uint32_t>(value);
  return true;
}

// list: ["-"] item {"," item};  item: number ["-" number]
bool ParseFilter(const char* text, ModuleFilter* out) {
  ModuleFilter filter;
  if (text == nullptr || *text == '\0') {
    *out = filter;
    return true;
  }
  filter.inverted = *text == '-';
  if (filter.inverted)
    ++text;
  for (;;) {
    uint32_t first = 0;
    if (!ParseNumber(&text, &first))
      return false;
    uint32_t last = first;
    if (*text == '-') {
      ++text;
      if (!ParseNumber(&text, &last) || last < first)
        return false;
    }
    filter.ranges.emplace_back(first, last);
    if (*text == '\0')
      break;
    if (*text != ',')
      return false;
    ++text;
  }
  *out = std::move(filter);
  return true;
}

// All that is shared between threads. One object, never destroyed: lines may be
// written by destructors that run after this library's own.
struct LogState {
  std::mutex mutex; // guards all below
  ModuleFilter filter;
  std::shared_ptr<spdlog::sinks::sink> standardError;
  std::shared_ptr<spdlog::sinks::sink> file;
  qelToolsLogCallback callback = nullptr;
  void* context = nullptr;

  LogState() { SetStandardError(true); }

  void SetStandardError(bool on) {
    standardError.reset();
    if (on) {
      standardError = std::make_shared<spdlog::sinks::stderr_sink_st>();
      standardError->set_pattern(kPattern);
    }
  }
};

LogState& State() {
  static LogState* state = new LogState;
  return *state;
}

void SetLevel(uint16_t level) {
  // The sites read the variable without synchronisation; a stale value costs or saves one line.
  __atomic_store_n(&_qelLog_Level, level, __ATOMIC_RELAXED);
}

// Reads the environment when the library is loaded.
struct EnvironmentReader {
  EnvironmentReader() {
    const char* level = std::getenv("QEL_LOG_LEVEL");
    uint32_t value = 0;
    if (level != nullptr && ParseNumber(&level, &value) && *level == '\0' && value <= 0xFFFF)
      SetLevel(static_cast<uint16_t>(value));
    ModuleFilter filter;
    if (ParseFilter(std::getenv("QEL_LOG_MODULES"), &filter))
      State().filter = std::move(filter);
    else
      std::fputs("qelixToolsLog: QEL_LOG_MODULES is not a list of module numbers, such as "
                 "\"21,25,40-43\"; all modules log\n",
                 stderr);
  }
};
const EnvironmentReader environmentReader;

// A line that its thread has begun and not yet ended.
struct OpenLine {
  qelLogRecord record{};
  uint32_t level = 0;
  uint32_t module = 0;
  std::string text;
};

// The open lines of a thread, innermost last: an argument of one line may write another.
struct ThreadLines {
  std::vector<std::unique_ptr<OpenLine>> open;
  std::unique_ptr<OpenLine> spare; // kept for its buffer
  bool inCallback = false;
};

// A key with a destructor instead of a thread_local object: mingw-w64 frees a thread's local
// variables ahead of their destructors.
class ThreadLinesKey {
public:
  ThreadLinesKey() {
    if (pthread_key_create(&m_key, [](void* lines) { delete static_cast<ThreadLines*>(lines); }) !=
        0)
      std::abort(); // a thread-specific key is taken once, when the library is loaded
  }
  ThreadLines& Get() const {
    void* lines = pthread_getspecific(m_key);
    if (lines == nullptr) {
      lines = new ThreadLines;
      pthread_setspecific(m_key, lines);
    }
    return *static_cast<ThreadLines*>(lines);
  }

private:
  pthread_key_t m_key;
};

ThreadLines& Mine() {
  static const ThreadLinesKey key;
  return key.Get();
}

spdlog::level::level_enum SpdlogLevel(uint32_t level) {
  return level <= 1 ? spdlog::level::err : spdlog::level::trace;
}

// REQUIRES: the state's mutex is held.
void WriteToSinks(LogState& state, const OpenLine& line) {
  std::string text =
      fmt::format("L{} M{} {}:{} ", line.level, line.module,
                  line.record.file != nullptr ? line.record.file : "?", line.record.line);
  text += line.text;
  if (!text.empty() && text.back() == '\n')
    text.pop_back();
  const spdlog::details::log_msg message("qel", SpdlogLevel(line.level), text);
  for (const auto& sink : {state.standardError, state.file}) {
    if (sink == nullptr)
      continue;
    try {
      sink->log(message);
      sink->flush();
    } catch (const std::exception& error) {
      std::fprintf(stderr, "qelixToolsLog: a line could not be written: %s\n", error.what());
    }
  }
}

// REQUIRES: the state's mutex is held.
void WriteToCallback(LogState& state, const OpenLine& line) {
  if (state.callback == nullptr)
    return;
  qelToolsLogLine finished{};
  finished.level = line.level;
  finished.module = line.module;
  finished.file = line.record.file;
  finished.line = line.record.line;
  finished.text = line.text.c_str();
  finished.length = line.text.size();
  finished.thread = spdlog::details::os::thread_id();
  Mine().inCallback = true;
  state.callback(&finished, state.context);
  Mine().inCallback = false;
}

} // namespace

extern "C" {

qelLogRecord* qelLog_Begin(uint32_t level, uint32_t module) {
  if (!qelLog_WillLog(level, module))
    return nullptr;
  ThreadLines& mine = Mine();
  std::unique_ptr<OpenLine> line = std::move(mine.spare);
  if (line == nullptr)
    line = std::make_unique<OpenLine>();
  line->record = qelLogRecord{};
  line->level = level;
  line->module = module;
  line->text.clear();
  qelLogRecord* record = &line->record;
  mine.open.push_back(std::move(line));
  return record;
}

void qelLog_Append_F(const char* format, ...) {
  va_list args;
  va_start(args, format);
  qelLog_Append_VF(format, args);
  va_end(args);
}

void qelLog_Append_VF(const char* format, va_list args) {
  ThreadLines& mine = Mine();
  if (mine.open.empty())
    return;
  std::string& text = mine.open.back()->text;
  va_list again;
  va_copy(again, args);
  char small[512];
  const int length = std::vsnprintf(small, sizeof small, format, args);
  if (length > 0 && static_cast<size_t>(length) < sizeof small) {
    text.append(small, static_cast<size_t>(length));
  } else if (length > 0) {
    const size_t old = text.size();
    text.resize(old + static_cast<size_t>(length) + 1);
    std::vsnprintf(&text[old], static_cast<size_t>(length) + 1, format, again);
    text.resize(old + static_cast<size_t>(length));
  }
  va_end(again);
}

void qelLog_End(qelLogRecord* record) {
  auto& open = Mine().open;
  if (record == nullptr || open.empty() || &open.back()->record != record)
    return;
  std::unique_ptr<OpenLine> line = std::move(open.back());
  open.pop_back();
  {
    LogState& state = State();
    std::lock_guard<std::mutex> lock(state.mutex);
    WriteToCallback(state, *line);
    WriteToSinks(state, *line);
  }
  Mine().spare = std::move(line);
}

int qelLog_WillLog(uint32_t level, uint32_t module) {
  if (level >= __atomic_load_n(&_qelLog_Level, __ATOMIC_RELAXED))
    return 0;
  if (Mine().inCallback)
    return 0; // the mutex is this thread's already
  LogState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  return state.filter.Allows(module) ? 1 : 0;
}

void qelToolsLog_SetLevel(uint16_t level) {
  SetLevel(level);
}

int qelToolsLog_SetModules(const char* modules) {
  ModuleFilter filter;
  if (!ParseFilter(modules, &filter))
    return 1;
  LogState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  state.filter = std::move(filter);
  return 0;
}

void qelToolsLog_SetStandardError(int on) {
  LogState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  state.SetStandardError(on != 0);
}

int qelToolsLog_SetFile(const char* path, size_t maxBytes, size_t maxFiles) {
  LogState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  state.file.reset();
  if (path == nullptr)
    return 0;
  try {
    state.file = std::make_shared<spdlog::sinks::rotating_file_sink_st>(path, maxBytes, maxFiles);
    state.file->set_pattern(kPattern);
  } catch (const std::exception&) {
    return 1;
  }
  return 0;
}

void qelToolsLog_SetCallback(qelToolsLogCallback callback, void* context) {
  LogState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  state.callback = callback;
  state.context = context;
}

void qelToolsLog_Flush(void) {
  LogState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  for (const auto& sink : {state.standardError, state.file})
    if (sink != nullptr)
      sink->flush();
}

} // extern "C"

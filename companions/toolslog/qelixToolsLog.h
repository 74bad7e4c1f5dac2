#ifndef QELIX_TOOLSLOG_H
#define QELIX_TOOLSLOG_H
//===----------------------------------------------------------------------===//
// The log library behind qel's log lines: the six names that qel imports, and
// the calls by which a program sets it up. A product may replace this library
// with one of its own that offers the six names.
//
// The environment is read once, when the library is loaded:
//   QEL_LOG_LEVEL    threshold, 0 to 65535; a level is live when it is less (default 2: errors)
//   QEL_LOG_MODULES  comma-separated module numbers and ranges that may log ("21,25,40-43");
//                    a leading "-" inverts the list; unset or empty: all modules
//
// Lines go to standard error until a program says otherwise.
//
// THREADS: every function may be called from any thread. A line belongs to the
// thread that began it; lines of two threads are never mixed.
//===----------------------------------------------------------------------===//

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#if defined(QEL_TOOLSLOG_BUILDING)
#define QEL_TOOLSLOG_API __declspec(dllexport)
#else
#define QEL_TOOLSLOG_API __declspec(dllimport)
#endif
#define QEL_TOOLSLOG_PRINTF(format_at, first)                                                      \
  __attribute__((__format__(__gnu_printf__, format_at, first)))
#else
#define QEL_TOOLSLOG_API __attribute__((visibility("default")))
#define QEL_TOOLSLOG_PRINTF(format_at, first)                                                      \
  __attribute__((__format__(__printf__, format_at, first)))
#endif

#ifdef __cplusplus
extern "C" {
#endif

// One open line. The site fills in file and line; the rest is the log library's.
typedef struct qelLogRecord {
  uint64_t reserved; // the log library's own
  const char* file;  // literal of the site, never copied by the site
  uint32_t line;     // line number of the site
} qelLogRecord;

// What a log site uses -------------------------------------------------------

// The threshold, read directly at every site.
extern QEL_TOOLSLOG_API uint16_t _qelLog_Level;

// Opens a line for this thread. Null: the line is not wanted, and the site does nothing further.
QEL_TOOLSLOG_API qelLogRecord* qelLog_Begin(uint32_t level, uint32_t module);

// Appends to the line that this thread opened; may be called several times.
// Without an open line it does nothing. The format is that of the C library's printf.
QEL_TOOLSLOG_API void qelLog_Append_F(const char* format, ...) QEL_TOOLSLOG_PRINTF(1, 2);
QEL_TOOLSLOG_API void qelLog_Append_VF(const char* format, va_list args) QEL_TOOLSLOG_PRINTF(1, 0);

// Closes the line and hands it to the sinks.
QEL_TOOLSLOG_API void qelLog_End(qelLogRecord* record);

// Non-zero if the module would log at this level.
QEL_TOOLSLOG_API int qelLog_WillLog(uint32_t level, uint32_t module);

// What a program uses --------------------------------------------------------

// One finished line, as a callback sink sees it. The pointers hold during the call only.
typedef struct qelToolsLogLine {
  uint32_t level;   // level of the line
  uint32_t module;  // module number of the line
  const char* file; // file literal of the site, or null if the site stored none
  uint32_t line;    // line number of the site
  const char* text; // text[0..length-1], terminated; as appended, with its "\n" if it has one
  size_t length;    // bytes of text
  uint64_t thread;  // the system's number of the thread that wrote it
} qelToolsLogLine;

typedef void (*qelToolsLogCallback)(const qelToolsLogLine* line, void* context);

// Sets the threshold: levels below it are live.
QEL_TOOLSLOG_API void qelToolsLog_SetLevel(uint16_t level);

// Sets the module filter, in the form of QEL_LOG_MODULES. Null or "": all modules.
// Returns 0, or 1 for a text that is not understood (the filter then stays as it was).
QEL_TOOLSLOG_API int qelToolsLog_SetModules(const char* modules);

// Turns the sink on standard error on (non-zero, the state at start) or off (0).
QEL_TOOLSLOG_API void qelToolsLog_SetStandardError(int on);

// Makes a rotating file the file sink, in place of one set before; a null path removes it.
//
//   path        the file in use; an existing one is continued, missing folders are made.
//               Windows: in the system's code page
//   maxBytes    a line that would take the file beyond this size goes to a new file, so that only a
//               single longer line ever passes it
//   maxFiles    how many older files are kept, 0 to 200000. Their number goes ahead of the
//               extension, 1 for the youngest: "app.log", then "app.1.log", "app.2.log"; without an
//               extension "app", then "app.1", "app.2"
//
// Returns 0, or 1 if the file can't be opened, maxBytes is 0 or maxFiles is too large; there is no
// file sink then.
QEL_TOOLSLOG_API int qelToolsLog_SetFile(const char* path, size_t maxBytes, size_t maxFiles);

// Sets the callback sink; null removes it. The callback runs in the thread that
// ends the line, one call at a time. Log lines that it writes itself are dropped. It must not call
// a function that sets up a sink or the filter: they wait for the line to be done.
QEL_TOOLSLOG_API void qelToolsLog_SetCallback(qelToolsLogCallback callback, void* context);

// Writes what is buffered in the sinks.
QEL_TOOLSLOG_API void qelToolsLog_Flush(void);

#ifdef __cplusplus
}
#endif

#endif

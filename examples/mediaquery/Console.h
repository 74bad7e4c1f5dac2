#ifndef EXAMPLES_MEDIAQUERY_CONSOLE_H
#define EXAMPLES_MEDIAQUERY_CONSOLE_H
//===----------------------------------------------------------------------===//
// --console: a telnet session in which criteria are typed and hits come back.
//
// The library's console has one client and does not replace it. So when the client
// goes, the console is ended and begun again, and waits for the next one; "quit"
// ends the program.
//
// THREADS: the console belongs to the thread of Run, and to the search's worker
// while that thread waits for it. An interrupt closes what either is blocked on.
//===----------------------------------------------------------------------===//

#include <cstdint>
#include <string>

#include <qel/threads/ActivityManager.h>
#include <qel/threads/Mutex.h>
#include <qel/threads/StatusManager.h>

#include "Interrupt.h"
#include "Options.h"
#include "Output.h"
#include "Search.h"

struct qelTelnet;
struct qelTelnetConnection;

namespace mediaquery {

// A line of this many bytes or more ends the session.
constexpr size_t kMaxConsoleLine = 1 << 16;

class Console : private HitSink {
public:
  Console(const Options& options, Interrupt* interrupt);

  // Serves one client after another, until one quits, an interrupt or a fault. Returns the exit
  // status: 0, kInterruptedStatus, or 2 with the fault told.
  int Run();

private:
  enum Outcome { kQuit, kGone, kInterrupted, kFailed };

  Outcome ServeNext();
  Outcome ServeClient();
  // True ends the session.
  bool Obey(const std::string& line);

  void SearchFor(const std::string& criteria);
  void Count(const Totals& totals);
  bool Take(qelMediaInfo& item, std::string* fault) override;

  void ShowHelp();
  void ShowStatus();

  // Make known what an interrupt has to close; null is nothing.
  void SetServer(qelTelnet* telnet);
  void SetClient(qelTelnetConnection* connection);
  void CloseAll();

  const Options& m_options;
  Interrupt* m_interrupt;
  HitFormatter m_formatter;
  bool m_announced = false;

  qelActivityManager m_activities;
  qelStatusManager m_status;
  Totals m_totals; // of all searches
  uint64_t m_queries = 0;
  uint64_t m_refused = 0; // criteria with a fault

  qelMutex m_mutex;                            // guards the two below, which the interrupt reads
  qelTelnet* m_telnet = nullptr;               // the console's
  qelTelnetConnection* m_connection = nullptr; // likewise
};

} // namespace mediaquery

#endif

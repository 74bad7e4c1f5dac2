#include "Console.h"

#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <vector>

#include <qel/multiplatform/qelConsole.h>
#include <qel/multiplatform/qelSocket.h>
#include <qel/multiplatform/qelTelnet.h>
#include <qel/threads/qelStatusPrint.h>

#include "Criteria.h"
#include "Platform.h"

namespace mediaquery {

static const char kHelp[] =
    "Type criteria such as  dc:title contains \"sea\"  or  *  for everything.\n"
    "Hits come back as JSON, one object a line, and then a line of totals.\n"
    "  help    this text\n"
    "  status  what is running, and what has been done\n"
    "  quit    ends the session and the program\n";

// What the activity manager knows.
static const char kSession[] = "session";
static const char kSearch[] = "search";

// Texts for the client -----------------------------------------------------------

// The text with line ends as telnet has them.
static std::string ToTelnet(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '\n')
      result += '\r';
    result += c;
  }
  return result;
}

static void Say(const std::string& text) {
  qelConsole_Printf("%s", ToTelnet(text).c_str());
}

// Where the status manager prints to.
static void PrintStatus(const char* format, va_list arguments, void*) {
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, again);
  va_end(again);
  if (length < 0)
    return;
  std::vector<char> text(static_cast<size_t>(length) + 1);
  std::vsnprintf(text.data(), text.size(), format, arguments);
  Say(text.data());
}

static const qelStatusPrint_Sink kStatusSink = {PrintStatus, nullptr};

// Sessions -----------------------------------------------------------------------

Console::Console(const Options& options, Interrupt* interrupt)
    : m_options(options), m_interrupt(interrupt), m_formatter(options.human),
      m_status("mediaquery") {
  m_totals.fromCatalogue = !options.from.empty();
}

int Console::Run() {
  if (qelSocket_Startup() != 0) {
    std::fprintf(stderr, "mediaquery: the system's sockets can't be started\n");
    return kExitError;
  }
  const qelStatusPrint_Sink* const sink = qelStatusPrint_SetSink(&kStatusSink);
  m_interrupt->SetWaker([this] { CloseAll(); });
  Outcome outcome = kGone;
  while (outcome == kGone)
    outcome = ServeNext();
  m_interrupt->SetWaker({});
  qelStatusPrint_SetSink(sink);
  if (outcome == kFailed) {
    std::fprintf(stderr, "mediaquery: no telnet client can be served at %s:%u\n",
                 m_options.consoleAddress.c_str(), m_options.consolePort);
    return kExitError;
  }
  const std::string closing = FormatCount(m_queries, "query", "queries") + " run, " +
                              FormatCount(m_totals.hits, "hit", "hits") +
                              (outcome == kInterrupted ? "; interrupted" : "");
  std::fprintf(stderr, "%s\n", closing.c_str());
  return outcome == kInterrupted ? kInterruptedStatus : kExitHits;
}

Console::Outcome Console::ServeNext() {
  const int result =
      qelConsole_Init(m_options.consoleAddress.c_str(), m_options.consolePort, /*useTelnet=*/1);
  Outcome outcome = kFailed;
  if (result == 0) {
    SetServer(qelConsole_GetState()->telnet);
    outcome = ServeClient();
    SetClient(nullptr);
    SetServer(nullptr);
  }
  qelConsole_Term();
  return m_interrupt->IsRequested() && outcome != kQuit ? kInterrupted : outcome;
}

Console::Outcome Console::ServeClient() {
  if (!m_announced)
    std::fprintf(stderr, "mediaquery: telnet %s %u\n", m_options.consoleAddress.c_str(),
                 m_options.consolePort);
  m_announced = true;
  qelConsole_Accept();
  SetClient(qelConsole_GetState()->connection);
  if (qelConsole_GetState()->connection == nullptr)
    return kFailed;
  m_activities.SetModuleActivity(kSession, true);
  Say("mediaquery: type criteria, help, status or quit\n");
  Outcome outcome = kGone;
  std::vector<char> line(kMaxConsoleLine);
  while (outcome == kGone && qelConsole_GetLine("> ", line.data(), line.size(), nullptr) == 0) {
    const std::string text = line.data();
    // The console fills up a line in whose middle the client failed; so a full one can't be trusted.
    if (text.size() + 1 >= line.size()) {
      Say("mediaquery: this line is too long, the session ends\n");
      break;
    }
    if (Obey(text))
      outcome = kQuit;
  }
  m_activities.SetModuleActivity(kSession, false);
  return outcome;
}

bool Console::Obey(const std::string& line) {
  const size_t start = line.find_first_not_of(" \t");
  if (start == std::string::npos)
    return false;
  const std::string word = line.substr(start, line.find_last_not_of(" \t") + 1 - start);
  if (word == "quit")
    return true;
  if (word == "help")
    ShowHelp();
  else if (word == "status")
    ShowStatus();
  else
    SearchFor(word);
  return false;
}

// Searches -----------------------------------------------------------------------

void Console::SearchFor(const std::string& text) {
  const qelCString criteriaText(text.c_str());
  CriteriaParser criteria(criteriaText);
  if (!criteria.Parse()) {
    ++m_refused;
    Say("mediaquery: bad criteria, " +
        FormatCriteriaFault(criteriaText, FindCriteriaFault(criteriaText)) + "\n");
    return;
  }
  ++m_queries;
  m_activities.IncrementModuleActivity(kSearch);
  const auto start = std::chrono::steady_clock::now();
  Search search(m_options, &criteria, this, m_interrupt);
  std::string fault;
  const bool done = search.Run(&fault);
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  m_activities.DecrementModuleActivity(kSearch);
  Count(search.totals);
  Say(done ? FormatTotals(search.totals, time.count()) + "\n" : "mediaquery: " + fault + "\n");
}

void Console::Count(const Totals& totals) {
  m_totals.files += totals.files;
  m_totals.items += totals.items;
  m_totals.hits += totals.hits;
}

// The console's own print does not tell whether the client is still there, and a search for nobody
// would go on to its end.
bool Console::Take(qelMediaInfo& item, std::string*) {
  const std::string text = ToTelnet(m_formatter.Format(item));
  return qelTelnet_Send(m_connection, text.data(), text.size()) == static_cast<int>(text.size());
}

// Words --------------------------------------------------------------------------

void Console::ShowHelp() {
  Say(kHelp);
}

void Console::ShowStatus() {
  for (const char* module : {kSession, kSearch})
    m_status.UpdateStatus("running", module, m_activities.IsModuleActive(module) ? "yes" : "no");
  m_status.UpdateStatus("done", "queries run", std::to_string(m_queries).c_str());
  m_status.UpdateStatus("done", "queries refused", std::to_string(m_refused).c_str());
  m_status.UpdateStatus("done", m_totals.fromCatalogue ? "lines read" : "files seen",
                        std::to_string(m_totals.files).c_str());
  m_status.UpdateStatus("done", "media items", std::to_string(m_totals.items).c_str());
  m_status.UpdateStatus("done", "hits", std::to_string(m_totals.hits).c_str());
  m_status.Log();
}

// Interrupts ---------------------------------------------------------------------

// Whichever comes later, the interrupt or the pointer, sees the other.
void Console::SetServer(qelTelnet* telnet) {
  qelMutexLocker locker(&m_mutex);
  m_telnet = telnet;
  if (telnet != nullptr && m_interrupt->IsRequested())
    qelTelnet_Close(telnet);
}

void Console::SetClient(qelTelnetConnection* connection) {
  qelMutexLocker locker(&m_mutex);
  m_connection = connection;
  if (connection != nullptr && m_interrupt->IsRequested())
    qelTelnet_ConnectionClose(connection);
}

void Console::CloseAll() {
  qelMutexLocker locker(&m_mutex);
  if (m_telnet != nullptr)
    qelTelnet_Close(m_telnet);
  if (m_connection != nullptr)
    qelTelnet_ConnectionClose(m_connection);
}

} // namespace mediaquery

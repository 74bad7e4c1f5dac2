//===----------------------------------------------------------------------===//
// mediaquery: finds the media files below a folder that match search criteria, and
// prints them as JSON. It shows how a program uses the library's main parts:
//
//   Options      qelCommandLineParser: the arguments by a table
//   Settings     qelConfig and qelConfigConfig: settings files, found and saved
//   Readers      qelPluginLoader and qelPluginHandler: modules that read other kinds of files
//   FolderWalk   qelDir and qelPathName: one walk over a tree of folders
//   MediaItem    qelFile and qelMediaInfo: the description of one file
//   Catalogue    qelMediaInfoSerializer and property lists: items as lines of a file
//   Criteria     qelExpressionParser: text to search tree, and the place of faults
//   Properties   qelSearchExpressionEvaluator: the search asks about an item
//   Output       qelJSONFormatter: hits as JSON
//   Worker       qelListenerWorkerThread and qelSemaphore: headers are read beside the walk
//   Search       all of these in one search
//   Watch        qelQueryManager: a search again and again
//   Console      qelConsole, qelStatusManager, qelActivityManager: searches by telnet
//   Interrupt    qelStoppableThread: Ctrl-C ends all of it in good order
//===----------------------------------------------------------------------===//

#include <chrono>
#include <cstdio>
#include <string>

#include "Console.h"
#include "Criteria.h"
#include "Interrupt.h"
#include "Options.h"
#include "Output.h"
#include "Platform.h"
#include "Readers.h"
#include "Search.h"
#include "Settings.h"
#include "Watch.h"

namespace mediaquery {

static int Fail(const std::string& message) {
  std::fprintf(stderr, "mediaquery: %s\n", message.c_str());
  return kExitError;
}

// An empty message: the fault has been told.
static int FailWithUsage(const std::string& message) {
  if (!message.empty())
    Fail(message);
  std::fputs(GetUsage().c_str(), stderr);
  return kExitError;
}

namespace {

// Prints hits on standard output.
class HitPrinter : public HitSink {
public:
  HitPrinter(bool human, const Interrupt* interrupt) : m_formatter(human), m_interrupt(interrupt) {}

  bool Take(qelMediaInfo& item, std::string* fault) override {
    return WriteOutput(m_formatter.Format(item), *m_interrupt, fault);
  }

private:
  HitFormatter m_formatter;
  const Interrupt* m_interrupt;
};

} // namespace

static int RunSearch(const Options& options, CriteriaParser* criteria, Interrupt* interrupt) {
  const auto start = std::chrono::steady_clock::now();
  HitPrinter printer(options.human, interrupt);
  Search search(options, criteria, &printer, interrupt);
  std::string fault;
  if (!search.Run(&fault))
    return Fail(fault);
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  std::fprintf(stderr, "%s\n", FormatTotals(search.totals, time.count()).c_str());
  if (search.totals.interrupted)
    return kInterruptedStatus;
  return search.totals.hits != 0 ? kExitHits : kExitNoHits;
}

// A port in the settings is for a program that is asked nothing else.
static bool WantsConsole(const Options& options) {
  const bool asked = options.criteria != "*" || options.watchSeconds != 0;
  return options.consolePort != 0 && (options.consoleGiven || !asked);
}

static int Run(const Options& options) {
  Interrupt interrupt;
  if (!interrupt.Start())
    return Fail("a thread can't be started");
  if (WantsConsole(options))
    return Console(options, &interrupt).Run();
  const qelCString text(options.criteria.c_str());
  CriteriaParser criteria(text);
  if (!criteria.Parse())
    return Fail("bad criteria, " + FormatCriteriaFault(text, FindCriteriaFault(text)));
  if (options.watchSeconds != 0)
    return RunWatch(options, &criteria, &interrupt);
  return RunSearch(options, &criteria, &interrupt);
}

// Settings and plug-ins, ahead of a search.
static void SetUp(Options* options, Readers* readers) {
  SettingsPlace place;
  Settings settings;
  if (FindSettings(&place))
    LoadSettings(place, &settings);
  ApplySettings(settings, options);
  std::vector<std::string> complaints;
  readers->Load(settings.pluginFolder, &complaints);
  for (const std::string& complaint : complaints)
    Fail(complaint);
  ApplyExtensions(settings);
}

static int SaveOneSetting(const Options& options) {
  SettingsPlace place;
  std::string file;
  std::string fault;
  if (!FindSettings(&place))
    return Fail(
        "there is no ConfigPath.ini beside the program, which tells where settings are kept");
  if (!SaveSetting(place, options.setKey, options.setValue, &file, &fault))
    return Fail(options.setKey + ": " + fault);
  std::printf("%s is saved in %s\n", options.setKey.c_str(), file.c_str());
  return kExitHits;
}

static int Main(int argc, char** argv) {
  PrepareOutput();
  Options options;
  std::string fault;
  if (!ParseOptions(GetArguments(argc, argv), &options, &fault))
    return FailWithUsage(fault);
  if (options.help) {
    std::fputs(GetUsage().c_str(), stdout);
    return kExitHits;
  }
  if (options.set)
    return SaveOneSetting(options);
  Readers readers;
  SetUp(&options, &readers);
  if (options.from.empty() && options.folders.empty())
    return FailWithUsage("no folder is given");
  return Run(options);
}

} // namespace mediaquery

int main(int argc, char** argv) {
  return mediaquery::Main(argc, argv);
}

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
//===----------------------------------------------------------------------===//

#include <chrono>
#include <cstdio>
#include <string>

#include <qel/files/PathName.h>

#include "Catalogue.h"
#include "Criteria.h"
#include "FolderWalk.h"
#include "MediaItem.h"
#include "Options.h"
#include "Output.h"
#include "Platform.h"
#include "Properties.h"
#include "Readers.h"
#include "Settings.h"

namespace mediaquery {

enum ExitStatus { kExitHits = 0, kExitNoHits = 1, kExitError = 2 };

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

// The library takes a relative name from the program's folder; here it is meant from the working
// directory. A name that begins with one of the library's special folders ("<MyMusic>") is left to it.
static bool FindRoot(const std::string& folder, qelPathName* root, std::string* fault) {
  std::string absolute = folder;
  const bool special = !folder.empty() && folder[0] == '<';
  if (!special && !GetAbsoluteFolder(folder, &absolute)) {
    *fault = folder + ": there is no such folder";
    return false;
  }
  *root = qelPathName::MakeDirPath(absolute.c_str());
  FolderIdentity named;
  FolderIdentity meant;
  if (!root->IsValid() || !IdentifyFolder(root->GetFullPath().c_str(), &named)) {
    *fault = folder + ": there is no such folder, or its name is none for the library";
    return false;
  }
  // The library reads "\" as "/", and "<" as the start of a special folder.
  if (!special && (!IdentifyFolder(absolute.c_str(), &meant) || !(named == meant))) {
    *fault = folder + ": the library reads this name as that of another folder";
    return false;
  }
  return true;
}

namespace {

// One search: every file that the walk brings, or every item of a catalogue, goes through here.
class Search {
public:
  Search(const Options& options, CriteriaParser* criteria)
      : m_options(options), m_criteria(criteria), m_writer(options.human) {}

  // False ends the walk. Every item goes to `store` too, unless that is null.
  bool TakeFile(const qelPathName& file, const qelPathName& root, CatalogueWriter* store) {
    ++totals.files;
    m_progress.Show(totals);
    const MediaType* type = FindMediaType(file.GetExtension().c_str());
    if (type == nullptr)
      return true;
    qelMediaInfo item;
    if (!DescribeFile(file, root, *type, &item)) {
      ++totals.unreadableFiles;
      return true;
    }
    if (store != nullptr && !store->Add(item, &fault))
      return false;
    return TakeItem(item);
  }

  // Goes through the whole catalogue. Malformed lines are reported and passed over.
  void TakeCatalogue(CatalogueReader* reader) {
    totals.fromCatalogue = true;
    for (bool more = true; more;) {
      qelMediaInfo item;
      std::string problem;
      const CatalogueReader::Outcome outcome = reader->Next(&item, &problem);
      if (outcome == CatalogueReader::kUnreadable)
        fault = problem;
      if (outcome == CatalogueReader::kEnd || outcome == CatalogueReader::kUnreadable)
        return;
      ++totals.files;
      m_progress.Show(totals);
      if (outcome == CatalogueReader::kItem)
        more = TakeItem(item);
      else
        ReportLine(problem);
    }
  }

  void End() { m_progress.Clear(); }

  Totals totals;
  std::string fault; // what ended the search ahead of its time; empty: nothing did

private:
  void ReportLine(const std::string& problem) {
    ++totals.malformedLines;
    m_progress.Clear();
    Fail(problem);
  }

  // False ends the search.
  bool TakeItem(qelMediaInfo& item) {
    ++totals.items;
    ItemEvaluator evaluator(&item);
    return !m_criteria->Evaluate(&evaluator) || TakeHit(item);
  }

  bool TakeHit(qelMediaInfo& item) {
    ++totals.hits;
    m_progress.Clear();
    if (!m_writer.Write(item))
      fault = "standard output can't be written";
    totals.limited = totals.hits == m_options.limit;
    return fault.empty() && !totals.limited;
  }

  const Options& m_options;
  CriteriaParser* m_criteria;
  HitWriter m_writer;
  Progress m_progress;
};

} // namespace

// Both: false, and *fault says what is wrong, if the search came to no good end.
static bool SearchFolder(const Options& options, Search* search, std::string* fault) {
  qelPathName root;
  if (!FindRoot(options.folder, &root, fault))
    return false;
  CatalogueWriter writer;
  CatalogueWriter* store = options.store.empty() ? nullptr : &writer;
  if (store != nullptr && !store->Open(options.store, fault))
    return false;
  FolderWalk walk([&](const qelPathName& file) { return search->TakeFile(file, root, store); });
  const bool readable = walk.Run(root);
  search->End();
  *fault = readable ? search->fault : options.folder + ": this folder can't be read";
  search->totals.unreadableFolders = walk.UnreadableFolders();
  search->totals.repeatedFolders = walk.RepeatedFolders();
  return fault->empty() && (store == nullptr || store->Finish(fault));
}

static bool SearchCatalogue(const Options& options, Search* search, std::string* fault) {
  CatalogueReader reader;
  if (!reader.Open(options.from, fault))
    return false;
  search->TakeCatalogue(&reader);
  search->End();
  *fault = search->fault;
  return fault->empty();
}

static int RunSearch(const Options& options) {
  const qelCString text(options.criteria.c_str());
  CriteriaParser criteria(text);
  if (!criteria.Parse())
    return Fail("bad criteria, " + FormatCriteriaFault(text, FindCriteriaFault(text)));
  const auto start = std::chrono::steady_clock::now();
  Search search(options, &criteria);
  std::string fault;
  const bool done = options.from.empty() ? SearchFolder(options, &search, &fault)
                                         : SearchCatalogue(options, &search, &fault);
  if (!done)
    return Fail(fault);
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  std::fprintf(stderr, "%s\n", FormatTotals(search.totals, time.count()).c_str());
  return search.totals.hits != 0 ? kExitHits : kExitNoHits;
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
  options->folder = options->folders.empty() ? "" : options->folders[0];
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
  return RunSearch(options);
}

} // namespace mediaquery

int main(int argc, char** argv) {
  return mediaquery::Main(argc, argv);
}

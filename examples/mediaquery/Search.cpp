#include "Search.h"

#include <cstdio>

#include "FolderWalk.h"
#include "MediaItem.h"
#include "Platform.h"
#include "Properties.h"

namespace mediaquery {

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

Search::Search(const Options& options, CriteriaParser* criteria, HitSink* sink,
               const Interrupt* interrupt)
    : m_options(options), m_criteria(criteria), m_sink(sink), m_interrupt(interrupt) {}

bool Search::Run(std::string* fault) {
  return m_options.from.empty() ? SearchFolders(fault) : SearchCatalogue(fault);
}

// Folders ----------------------------------------------------------------------

bool Search::SearchFolders(std::string* fault) {
  std::vector<qelPathName> roots;
  for (const std::string& folder : m_options.folders) {
    qelPathName root;
    folderMissing = !FindRoot(folder, &root, fault);
    if (folderMissing)
      return false;
    roots.push_back(root);
    // A path of its own, from the bytes.
    m_roots.push_back(qelPathName::MakeDirPath(root.GetFullPath().c_str()));
  }
  CatalogueWriter writer;
  if (!m_options.store.empty() && !writer.Open(m_options.store, fault))
    return false;
  m_store = m_options.store.empty() ? nullptr : &writer;
  const bool done = WalkFolders(roots, fault);
  m_progress.Clear();
  // What is not finished is taken away with the writer.
  return done && (m_store == nullptr || totals.interrupted || writer.Finish(fault));
}

bool Search::WalkFolders(const std::vector<qelPathName>& roots, std::string* fault) {
  Pipeline pipeline([this](const FileBatch& batch) { TakeBatch(batch); });
  if (!pipeline.Start()) {
    *fault = "a thread can't be started";
    return false;
  }
  WalkCounts counts;
  size_t root = 0;
  bool memory = true;
  FolderWalk* walking = nullptr;
  const auto visit = [&](const qelPathName& file) {
    ++counts.files;
    counts.unreadableFolders = walking->UnreadableFolders();
    counts.repeatedFolders = walking->RepeatedFolders();
    const MediaType* type = FindMediaType(file.GetExtension().c_str());
    memory = pipeline.Add({file.GetFullPath().c_str(), root, type, counts});
    return memory;
  };
  FolderWalk walk(visit, [this] { return ShallEnd(); });
  walking = &walk;
  while (root != roots.size() && memory && !ShallEnd() && walk.Run(roots[root]))
    ++root;
  folderMissing = root != roots.size() && memory && !ShallEnd();
  counts.unreadableFolders = walk.UnreadableFolders();
  counts.repeatedFolders = walk.RepeatedFolders();
  memory = pipeline.Finish(counts) && memory;
  totals.interrupted = WasInterrupted();
  *fault = m_fault;
  if (folderMissing)
    *fault = m_options.folders[root] + ": this folder can't be read";
  else if (!memory)
    *fault = "memory is exhausted";
  return fault->empty();
}

void Search::SetCounts(const WalkCounts& counts) {
  totals.files = counts.files;
  totals.unreadableFolders = counts.unreadableFolders;
  totals.repeatedFolders = counts.repeatedFolders;
  m_progress.Show(totals);
}

void Search::TakeBatch(const FileBatch& batch) {
  for (const FoundFile& file : batch.files) {
    if (ShallEnd())
      return;
    SetCounts(file.counts);
    if (!TakeFile(file))
      m_ended = true;
  }
  if (!ShallEnd())
    SetCounts(batch.counts);
}

bool Search::TakeFile(const FoundFile& file) {
  qelMediaInfo item;
  if (!DescribeFile(qelPathName::MakeFilePath(file.path.c_str()), m_roots[file.root], *file.type,
                    &item)) {
    ++totals.unreadableFiles;
    return true;
  }
  if (m_store != nullptr && !m_store->Add(item, &m_fault))
    return false;
  return TakeItem(item);
}

// Catalogues -------------------------------------------------------------------

// Malformed lines are reported and passed over.
bool Search::SearchCatalogue(std::string* fault) {
  CatalogueReader reader;
  if (!reader.Open(m_options.from, fault))
    return false;
  totals.fromCatalogue = true;
  while (!ShallEnd()) {
    qelMediaInfo item;
    std::string problem;
    const CatalogueReader::Outcome outcome = reader.Next(&item, &problem);
    if (outcome == CatalogueReader::kUnreadable)
      m_fault = problem;
    if (outcome == CatalogueReader::kEnd || outcome == CatalogueReader::kUnreadable)
      break;
    ++totals.files;
    m_progress.Show(totals);
    if (outcome == CatalogueReader::kMalformed)
      ReportLine(problem);
    else if (!TakeItem(item))
      m_ended = true;
  }
  totals.interrupted = WasInterrupted();
  m_progress.Clear();
  *fault = m_fault;
  return fault->empty();
}

void Search::ReportLine(const std::string& problem) {
  ++totals.malformedLines;
  m_progress.Clear();
  std::fprintf(stderr, "mediaquery: %s\n", problem.c_str());
}

// Items ------------------------------------------------------------------------

// False ends the search.
bool Search::TakeItem(qelMediaInfo& item) {
  ++totals.items;
  ItemEvaluator evaluator(&item);
  if (!m_criteria->Evaluate(&evaluator))
    return true;
  m_progress.Clear();
  if (!m_sink->Take(item, &m_fault))
    return false;
  ++totals.hits;
  totals.limited = totals.hits == m_options.limit;
  return !totals.limited;
}

} // namespace mediaquery

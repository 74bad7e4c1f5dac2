#ifndef EXAMPLES_MEDIAQUERY_SEARCH_H
#define EXAMPLES_MEDIAQUERY_SEARCH_H
//===----------------------------------------------------------------------===//
// One search, of folders or of a catalogue. Hits go to a HitSink as they are found.
//
// Of folders: this thread walks, another one reads headers, evaluates the criteria,
// writes the catalogue and calls the sink. The sink's calls come one at a time, and
// all of them have returned when Run does.
//===----------------------------------------------------------------------===//

#include <atomic>
#include <string>
#include <vector>

#include <qel/files/PathName.h>
#include <qel/media/MediaInfo.h>

#include "Catalogue.h"
#include "Criteria.h"
#include "Interrupt.h"
#include "Options.h"
#include "Output.h"
#include "Worker.h"

namespace mediaquery {

class HitSink {
public:
  virtual ~HitSink() = default;

  // False ends the search: *fault says why, or is left empty if an interrupt is the reason.
  virtual bool Take(qelMediaInfo& item, std::string* fault) = 0;
};

class Search {
public:
  // All four must outlive the search. The criteria are parsed.
  Search(const Options& options, CriteriaParser* criteria, HitSink* sink,
         const Interrupt* interrupt);

  // Goes through all the folders, or the catalogue, once. False: *fault says why it came to no good end.
  // An interrupt is a good end, which totals.interrupted tells.
  bool Run(std::string* fault);

  Totals totals;
  bool folderMissing = false; // why Run failed: a folder is not there, or can't be read

private:
  bool SearchFolders(std::string* fault);
  bool WalkFolders(const std::vector<qelPathName>& roots, std::string* fault);
  bool SearchCatalogue(std::string* fault);

  // On the worker.
  void TakeBatch(const FileBatch& batch);
  bool TakeFile(const FoundFile& file);

  bool TakeItem(qelMediaInfo& item);
  void ReportLine(const std::string& problem);
  void SetCounts(const WalkCounts& counts);
  bool ShallEnd() const { return m_ended || m_interrupt->IsRequested(); }
  // REQUIRES: the worker has ended.
  bool WasInterrupted() const {
    return m_interrupt->IsRequested() && !totals.limited && m_fault.empty();
  }

  const Options& m_options;
  CriteriaParser* m_criteria;
  HitSink* m_sink;
  const Interrupt* m_interrupt;
  Progress m_progress;
  CatalogueWriter* m_store = nullptr; // null: none is written
  std::vector<qelPathName> m_roots;   // the searched folders; the worker's own
  std::atomic<bool> m_ended{false};   // the limit is reached, or a fault was met
  std::string m_fault;                // the worker's, until it has ended
};

} // namespace mediaquery

#endif

#ifndef EXAMPLES_MEDIAQUERY_FOLDERWALK_H
#define EXAMPLES_MEDIAQUERY_FOLDERWALK_H
//===----------------------------------------------------------------------===//
// Visits every file below a folder, hidden ones left out.
//
// Links to folders are followed, but no folder is entered twice by whatever name,
// so a circle of links ends. A folder that can't be read, or that vanishes while
// the walk is under way, is counted and passed by.
//
// One folder is open at a time. What is kept is the names of the folders still to
// be visited, and sixteen bytes for each one that has been.
//===----------------------------------------------------------------------===//

#include <cstdint>
#include <functional>
#include <unordered_set>
#include <vector>

#include <qel/core/CString.h>
#include <qel/files/PathName.h>

#include "Platform.h"

namespace mediaquery {

class FolderWalk {
public:
  // Gets each file's path; false ends the walk.
  using Visitor = std::function<bool(const qelPathName& file)>;

  // Looked at ahead of each folder and each entry; true ends the walk.
  using Stop = std::function<bool()>;

  explicit FolderWalk(Visitor visitor, Stop stop = {})
      : m_visitor(std::move(visitor)), m_stop(std::move(stop)) {}

  // Walks the whole tree. False: the root itself can't be read.
  bool Run(const qelPathName& root);

  uint64_t UnreadableFolders() const { return m_unreadable; }
  uint64_t RepeatedFolders() const { return m_repeated; } // met again by a link and left out

private:
  struct IdentityHash {
    size_t operator()(const FolderIdentity& identity) const {
      return static_cast<size_t>(identity.index * 0x9E3779B97F4A7C15u ^ identity.volume);
    }
  };

  enum Outcome { kVisited, kUnreadable, kStopped };

  bool IsFirstVisit(const FolderIdentity& folder) { return m_visited.insert(folder).second; }
  bool ShallStop() const { return m_stop && m_stop(); }
  Outcome VisitFolder(const qelCString& folder);

  Visitor m_visitor;
  Stop m_stop;                       // may be empty
  std::vector<qelCString> m_pending; // folders still to be visited, the next one last
  std::unordered_set<FolderIdentity, IdentityHash> m_visited;
  uint64_t m_unreadable = 0;
  uint64_t m_repeated = 0;
};

} // namespace mediaquery

#endif

#include "FolderWalk.h"

#include <qel/files/Dir.h>

namespace mediaquery {

FolderWalk::Outcome FolderWalk::VisitFolder(const qelCString& folder) {
  qelDir dir(folder.c_str());
  qelPathName entry;
  for (bool found = dir.GetFirst(entry, "*", qelDirFilterFiles | qelDirFilterDirs); found;
       found = dir.GetNext(entry)) {
    if (ShallStop())
      return kStopped;
    if (entry.IsDirPath())
      m_pending.push_back(entry.GetFullPath());
    else if (!m_visitor(entry))
      return kStopped;
  }
  return dir.Error() ? kUnreadable : kVisited;
}

bool FolderWalk::Run(const qelPathName& root) {
  m_pending.push_back(root.GetFullPath());
  for (bool isRoot = true; !m_pending.empty() && !ShallStop(); isRoot = false) {
    const qelCString folder = m_pending.back();
    m_pending.pop_back();
    FolderIdentity identity;
    const bool known = IdentifyFolder(folder.c_str(), &identity);
    if (known && !IsFirstVisit(identity)) {
      ++m_repeated;
      continue;
    }
    const Outcome outcome = known ? VisitFolder(folder) : kUnreadable;
    if (outcome == kStopped)
      return true;
    if (outcome == kUnreadable && isRoot)
      return false;
    m_unreadable += outcome == kUnreadable ? 1 : 0;
  }
  return true;
}

} // namespace mediaquery

#ifndef QEL_THREADS_STATUSMANAGER_H
#define QEL_THREADS_STATUSMANAGER_H
//===----------------------------------------------------------------------===//
// qelStatusManager: a tree of named status values of a program, by chapter.
//
// A key is a path of parts split by "/". Log prints the name, the chapters, and the
// paths of each as a tree, to the sink of qelStatusPrint.h:
//
//   Server                 the name
//       network            a chapter
//           clients: '3'   the key "clients"
//           port           the key "port/tcp", whose first part has no value of its own
//               tcp: '80'
//
// ORDER: chapters as the table walks them, the entries of one by strcmp of their keys.
// COST: an update is O(log n) comparisons and O(n) moves, n being the chapter's entries.
// ERRORS: a new chapter whose hash is that of another one is refused with a level-1 line
// and nothing changes.
// OWNERSHIP: the manager owns its chapters and entries; all texts are copied. A COPY
// SHARES THE TABLE AND THE LOCK, so only one of the two may be destroyed.
// THREADS: any, for what is declared here but LogChapter. What comes from the base takes
// no lock.
//===----------------------------------------------------------------------===//

#include <qel/containers/StringHashMap.h>
#include <qel/containers/qelArray.h>
#include <qel/core/CString.h>
#include <qel/core/Export.h>
#include <qel/core/Types.h>
#include <qel/threads/Mutex.h>

struct qelqelStatusManagerEntry {
  char* key;   // a path of parts split by "/"; owned
  char* value; // null: none; owned
};

class QEL_EXPORT qelStatusManager : public qelStringHashMap<qelArray_t*> {
public:
  // No chapters. The name is the title of what Log prints.
  explicit qelStatusManager(const char* name);
  qelStatusManager(const qelStatusManager&) = default;            // see OWNERSHIP
  qelStatusManager& operator=(const qelStatusManager&) = default; // likewise; the old table is lost
  ~qelStatusManager() override;

  // Sets the value of a key, which is entered if it is new, and so is the chapter. A null value
  // is none. Neither chapter nor key may be null.
  void UpdateStatus(const char* chapter, const char* key, const char* value);

  // The same with a decimal number.
  void UpdateStatus(const char* chapter, const char* key, qelULong value);

  // Removes the key and all keys below it. The chapter stays. If the key is there, and a key such as
  // "key-2" stands between it and those below it, the latter stay.
  void RemoveStatus(const char* chapter, const char* key);

  // Prints the name and all chapters.
  void Log();

  // Prints one chapter. REQUIRES: the array holds entries, and nothing else prints meanwhile.
  void LogChapter(const char* chapter, const qelArray_t* entries);

protected:
  // A new entry with copies of both texts; a null value stays null.
  qelqelStatusManagerEntry* NewEntry(const char* key, const char* value);

  // Prints those parts of the entry's path that it does not share with the path printed last, and
  // the value behind the last part.
  void LogEntry(qelqelStatusManagerEntry* entry);

  qelCString m_name;     // the title
  qelCString m_indent;   // one step of indent, four blanks
  qelCString m_lastPath; // the path printed last, with a "/" behind each part
  qelMutex m_mutex;      // guards all of it

private:
  // The chapter's entries, an empty array if it is new; null if it is refused.
  qelArray_t* OpenChapter(const char* chapter);
};

#endif

#ifndef QEL_FILES_DIR_H
#define QEL_FILES_DIR_H
//===----------------------------------------------------------------------===//
// A directory: enumeration by pattern and kind, and static operations by name.
//
// ERRORS: by result, and Error() for an enumeration. Causes are level-1 lines of
// module 43.
// OWNERSHIP: the object owns its enumeration record. A copy shares the record,
// and each of the two frees it: a copy must not outlive the object that it was
// made from, nor be destroyed beside it.
// THREADS: no locks; an object is for one thread at a time.
//===----------------------------------------------------------------------===//

#include <cstddef>

#include <qel/containers/qelPtrList.h>
#include <qel/core/CString.h>
#include <qel/core/Export.h>
#include <qel/core/Types.h>
#include <qel/files/PathName.h>
#include <qel/multiplatform/qelDir.h>

class qelDateTime;

class QEL_EXPORT qelDir {
public:
  // Closed.
  qelDir();
  // Open(path).
  qelDir(const char* path);
  ~qelDir();
  qelDir(const qelDir&) = default;
  qelDir& operator=(const qelDir&) = default;

  // Closes what was open and names a directory. Always true: a directory that is not there shows
  // only when an enumeration is started.
  bool Open(const char* path);

  // Ends the running enumeration and clears the error.
  void Rewind();

  bool IsOpened() const;
  bool Error() const; // an enumeration failed
  const qelPathName& GetPathName() const;

  // Starts an enumeration and stores its first entry: a directory path ending in "/", or a file path
  // with its extension split. False: nothing passes, or Error(); entry is then left alone.
  // The pattern knows "*" and "?"; "" and "*.*" mean "*". The filter is a mask of qelDirFilterFiles
  // and so on. An entry whose path would name another file once it is normalised again (on POSIX a
  // file called "x." or "a\b") is left out, with a log line.
  bool GetFirst(qelPathName& entry, const qelCString& pattern, int filter);

  // The next entry. False at the end, or Error().
  bool GetNext(qelPathName& entry);

  // These three run on the object's own enumeration and disturb one that is under way.
  bool HasFiles(const qelCString& pattern); // hidden ones too
  bool HasDirs(const qelCString& pattern);  // hidden ones do not count
  qelULong GetCount(const qelCString& pattern, int filter);

  // Whether the directory exists.
  static bool Exists(const char* path);

  // Creates one directory; false when it exists.
  static bool Create(const char* path);

  // Creates all missing directories; true when they all exist.
  static bool CreateRecursively(const char* path);

  // Removes one empty directory. One that is not there counts as removed.
  static bool Remove(const char* path);

  // Removes a directory and all that is in it, in up to `tries` attempts, as others may be adding to it.
  // True if the path does not exist, and for 0 tries. Links and junctions are removed themselves and
  // never entered. Depth costs heap, not stack.
  static bool RemoveRecursively(const char* path, size_t tries);

  // The roots of all drives as texts ("C:/"; POSIX: "/"), in the system's order. The caller frees the
  // list with qelPtrList_Delete, which frees the texts. Empty on failure.
  static qelPtrList* GetRootDirList();

  // The stamps of a directory; each pointer may be null. On failure nothing is stored.
  static bool GetTimes(const char* path, qelDateTime* access, qelDateTime* modification,
                       qelDateTime* creation);

protected:
  void Close();

private:
  bool TakeEntry(const qelDirEntry_t* found, qelPathName& entry);

  qelPathName m_pathName; // the open directory
  qelOSDir* m_osDir;      // owned, null when closed
  int m_state;            // 0 closed, 1 open with no enumeration running, 3 enumerating
  int m_error;            // not 0 after an enumeration failed
};

#endif

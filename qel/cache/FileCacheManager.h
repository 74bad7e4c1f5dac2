#ifndef QEL_CACHE_FILECACHEMANAGER_H
#define QEL_CACHE_FILECACHEMANAGER_H
//===----------------------------------------------------------------------===//
// A directory of temporary files that the threads of one process share: a file is
// created under a name, written once, read many times, and removed when the sizes
// of all pass a limit, the one that was used longest ago first. What stands in the
// directory at start is taken over, so the cache survives a restart.
//
//   absent -- OpenCachedFile --> being written -- SetCachedFileState(true) --> complete
//      ^                              |                                           |
//      +---- SetCachedFileState(false), RemoveTempFile, eviction -----------------+
//
// A file that can't be deleted is marked, and goes first at the next eviction.
//
// ERRORS: null or false; what the result does not tell is a level-1 line of module 36.
// A name that would lead out of the directory, or to another name (one with "/" or
// "\", or with a "." at its end), is refused with a line.
// OWNERSHIP: a manager is its creator's and leaves the files where they are when it
// is deleted. Files that it opens are the caller's, to be deleted by them.
// THREADS: any thread, but SetFileRemovedCallBack, which takes no lock. The callback
// runs in the thread that removes, with the manager's lock held.
//===----------------------------------------------------------------------===//

#include <cstdint>

#include <qel/core/CString.h>
#include <qel/core/Export.h>
#include <qel/core/Types.h>
#include <qel/files/File.h>
#include <qel/files/PathName.h>
#include <qel/threads/Mutex.h>

struct qelArray_t;
struct qelByteKeyMap_t;

// What a cached file is.
constexpr int32_t qelCachedFileComplete = 0;
constexpr int32_t qelCachedFileWriting = 1;
constexpr int32_t qelCachedFileToRemove = 2; // it could not be deleted

struct qelCachedFileInfo {
  int64_t size;  // bytes; 0 while it is being written
  int64_t time;  // seconds since 1970: the last use
  char* name;    // without the directory; owned
  int32_t state; // qelCachedFileComplete and so on
};

class QEL_EXPORT qelFileCacheManager {
public:
  // A manager of baseDir/subDir1/subDir2, whose sub-directories are created when they are missing. An
  // empty baseDir stands for the user's folder of temporary items. Without subDir1 there is no subDir2
  // either. maxSize is the limit in bytes. Null, after a log line, without the base directory, or when
  // a sub-directory can't be created.
  static qelFileCacheManager* New(qelULong maxSize, const qelCString& baseDir,
                                  const qelCString& subDir1, const qelCString& subDir2);
  virtual ~qelFileCacheManager();
  qelFileCacheManager(const qelFileCacheManager&) = delete;
  qelFileCacheManager& operator=(const qelFileCacheManager&) = delete;

  // Opens a complete file, or creates one, which the caller then writes; while another thread writes
  // it, waits for that to end, in steps of 100 ms and without limit. *created tells which of the two it
  // was. Null: it can't be opened or created.
  //
  //   mode    opens an existing file to    and a new one to
  //   1       read                         read
  //   2       read and write               read
  //   3       never: null                  read and write
  //   other   read                         read and write
  //
  // Who gets a new file ends the writing with SetCachedFileState.
  qelFile* OpenCachedFile(const qelCString& name, bool* created, int mode);

  // Ends the writing of a file that is still open. Complete: it is counted, and files are evicted when
  // the limit is passed, this one after all others. Not complete: it is closed and deleted. A name
  // that is not in the cache changes nothing.
  void SetCachedFileState(const qelCString& name, qelFile* file, bool complete);

  // Deletes a file and forgets it. True: nothing of it is left on the disk.
  bool RemoveTempFile(const qelCString& name);

  // Deletes all files and, if asked and none is left, the directory. True: no file is left, and the
  // directory is gone if asked. What could not be deleted is counted anew. No callback is called.
  bool Empty(bool removeDirectory);

  // The path that a file of this name has in the cache. Takes no lock.
  qelCString GetFullPath(const qelCString& name);

  // Sets what is called with the context and a file's name when the file was removed; null: nothing.
  void SetFileRemovedCallBack(void (*callback)(void* context, const char* name), void* context);

protected:
  qelFileCacheManager(qelULong maxSize, const qelPathName& base, const qelCString& subDir1,
                      const qelCString& subDir2);

  // What follows is called with the lock held.

  // Takes over what stands in the directory, in the place of all that was known.
  void Cache_Build();
  // Forgets all files.
  void Cache_Clear();
  // Enters a file that is being written.
  void Cache_FileAdded(const qelCString& name);
  // Forgets a file; a line if it is not known.
  void Cache_FileRemoved(const qelCString& name);
  // Removes files until the limit holds.
  void Cache_CheckMaxSize();
  // A new file, opened with openMode and entered, or null. One that exists already is not opened.
  qelFile* CreateCachedFile(const qelPathName& path, int openMode);
  // Appends a sub-directory to the directory and creates it when it is missing. For the constructor.
  bool CreateSubDirectory(const qelCString& name);
  // The file's size and its last access in seconds since 1970. False: there is no such ordinary file.
  bool FetchInfoForFile(const qelCString& name, int64_t* size, int64_t* time);

private:
  qelPathName GetFilePath(const char* name) const;
  qelCachedFileInfo* FindFile(const char* name) const;
  qelCachedFileInfo* AddFile(const char* name);
  void CountBytes(qelCachedFileInfo* info, int64_t length);
  void ForgetFile(qelCachedFileInfo* info);
  qelFile* OpenComplete(qelCachedFileInfo* info, int mode);
  // One look, with the lock held. False: the file is being written; otherwise *file is the result.
  bool TryToOpen(const qelCString& name, bool* created, int mode, qelFile** file);

  qelPathName m_directory;  // with the sub-directories
  qelULong m_maxSize;       // bytes
  bool m_valid;             // all directories exist; otherwise the next two are null
  qelByteKeyMap_t* m_files; // name to record; the records are the list's
  qelArray_t* m_fileList;   // the records, owned; in order of eviction after a sort
  int64_t m_totalSize;      // bytes of all records
  qelMutex m_mutex;         // guards the records
  void (*m_fileRemovedCallback)(void* context, const char* name); // null: none
  void* m_fileRemovedContext;
  char* m_directoryText; // the directory's bytes, which threads may read at once; owned
};

#endif

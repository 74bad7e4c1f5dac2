#ifndef QEL_FILES_FILE_H
#define QEL_FILES_FILE_H
//===----------------------------------------------------------------------===//
// An unbuffered binary file.
//
// ERRORS: an operation that fails says so by its result, keeps the status for
// GetErrorCode (0, -1 generic, -2 write protected, -3 not found, -4 exists,
// -5 disk full) and writes a level-1 line of module 42. Read and Write leave the
// status alone when they succeed, so that an earlier failure stays readable; all
// others overwrite it.
// OWNERSHIP: the object owns its descriptor and closes it. A copy names the same
// descriptor, and each of the two will close it: copies are the caller's risk.
// THREADS: no locks; an object is for one thread at a time. Length, Tell and
// EndOfFile are const, but change the status, and the position for a moment.
//===----------------------------------------------------------------------===//

#include <cstddef>
#include <cstdint>

#include <qel/core/Export.h>
#include <qel/multiplatform/qelFile.h>

class qelDateTime;

class QEL_EXPORT qelFile {
public:
  // Closed, status 0.
  qelFile();
  // Takes over a descriptor, status 0.
  qelFile(void* fd);
  // Open(name, mode, 0).
  qelFile(const char* name, int mode);
  ~qelFile();
  qelFile(const qelFile&) = default;
  qelFile& operator=(const qelFile&) = default;

  // Opens a file by the rules of qelFile_Open and closes the one that was open. On failure that one
  // stays open and usable.
  bool Open(const char* name, int mode, int permissions);

  // Opens for read and write: a new or emptied file (truncate), or a file that must not exist yet.
  bool Create(const char* name, bool truncate, int permissions);

  // True, with status 0, if nothing is open. The object is closed afterwards in any case.
  bool Close();

  // Closes what is open and takes over a descriptor.
  void Attach(void* fd);

  // Hands out the descriptor, which the caller now owns. The object is closed afterwards.
  void* Detach();

  void* GetFD() const;
  bool IsOpened() const;
  bool Error() const; // the status is not 0
  int GetErrorCode() const;

  // Reads up to count bytes into buffer[0..count-1]. Returns the number of bytes, 0 at the end of the
  // file, or -1. One call reads at most 0x7FFFFFFF bytes.
  int Read(void* buffer, size_t count);

  // Writes buffer[0..count-1]. Returns the number of bytes, or 0 on failure. One call writes at most
  // 0x7FFFFFFF bytes.
  size_t Write(const void* buffer, size_t count);

  // Does nothing, since writes are unbuffered.
  bool Flush();

  // The position in bytes from the start, or -1.
  int64_t Tell() const;

  // Moves the position by offset from the start (0), the current position (1) or the end (2). Returns
  // the new position, or -1.
  int64_t Seek(int64_t offset, int origin);

  // The size in bytes, or -1. The position is the same afterwards.
  int64_t Length() const;

  // Whether the position is the end of the file. A true answer leaves 1 in the status: test the
  // result alone.
  bool EndOfFile() const;

  // Cuts or extends the file to size bytes; the position is then its end.
  bool ChangeSize(int64_t size);

  // Whether the name exists and is no directory.
  static bool Exists(const char* name);

  // A file that is not there counts as removed.
  static bool Remove(const char* name);

  // Never replaces an existing target.
  static bool Rename(const char* from, const char* to);

  // Cuts or extends a file, creating it when it is missing.
  static bool ChangeSize(const char* name, int64_t size);

  // Whether the existing file can be opened for reading (bit 0 of mode) and writing (bit 1).
  static bool Access(const char* name, int mode);

  // The stamps of a file; each pointer may be null. On failure nothing is stored.
  static bool GetTimes(const char* name, qelDateTime* access, qelDateTime* modification,
                       qelDateTime* creation);

private:
  void* m_fd;              // the system's descriptor, all bits set when closed
  mutable int m_errorCode; // result of the last operation that sets it
};

#endif

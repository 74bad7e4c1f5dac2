#ifndef QEL_MULTIPLATFORM_QELFILE_H
#define QEL_MULTIPLATFORM_QELFILE_H
//===----------------------------------------------------------------------===//
// Unbuffered binary files: open, read, write, position, size, and what can be
// done to a file by its name.
//
// NAMES: every name is normalised first (qelPath_Normalize, separators kept
// native, no anchor): a relative name is taken relative to the program's
// directory, and named special folders work. A null name is an invalid name.
// Windows: names are UTF-8 and cross in UTF-16; no long-path prefix is used, so
// the system's limit of 260 units holds.
// POSIX: names are bytes; what is not UTF-8 passes through unchanged.
//
// ERRORS: a status is 0 or one of the qelFileError codes. Every failure writes a
// level-1 line of module 42, with the system's own error number.
// OWNERSHIP: a descriptor belongs to whoever opened it, until qelFile_Close.
// THREADS: no locks. A descriptor is for one thread at a time, since several
// operations move its position for a moment.
//===----------------------------------------------------------------------===//

#include <cstddef>
#include <cstdint>

#include <qel/core/Types.h>

struct qeltimeval;

// Open mode, a bit mask.
constexpr int qelFileModeRead = 0x01;      // read access
constexpr int qelFileModeWrite = 0x02;     // write access
constexpr int qelFileModeExclusive = 0x04; // no sharing; with create: the file must not exist yet
constexpr int qelFileModeAppend = 0x08;   // write access, and the position at the end after opening
constexpr int qelFileModeCreate = 0x10;   // create the file when it is missing
constexpr int qelFileModeTruncate = 0x20; // empty the file on opening

// Status of an operation.
constexpr int qelFileErrorNone = 0;
constexpr int qelFileErrorGeneric = -1;        // any other error, a refused mode, an invalid name
constexpr int qelFileErrorWriteProtected = -2; // the medium can't be written
constexpr int qelFileErrorNotFound = -3;       // the file or a directory on its way is missing
constexpr int qelFileErrorExists = -4;         // the file exists
constexpr int qelFileErrorDiskFull = -5;       // no room left

// Attribute of qelFile_HasAttribute.
// Windows: the system's attribute. POSIX: the name begins with ".", but for "." and "..".
constexpr int qelFileAttributeHidden = 0x01;

// The most bytes that one qelFile_Read or qelFile_Write moves; a greater count is cut to it.
constexpr int qelFileMaxTransfer = 0x7FFFFFFF;

// The value of a descriptor that is not open: all bits set.
inline void* qelFile_ClosedFD() {
  return reinterpret_cast<void*>(static_cast<intptr_t>(-1));
}

// Opens a file. On success *fd is the descriptor; on failure *fd is left alone.
// Refused, with status -1 and nothing opened: a null fd, an invalid name, neither read nor write,
// read alone with truncate, create with append, create with truncate and exclusive, exclusive
// without create. A directory does not open as a file.
// Windows: permissions take no part. Readers share with readers and writers, writers with readers;
// exclusive shares with nobody.
// POSIX: a new file gets 0666 for permissions 0 or with the value 2 in them, 0444 otherwise, under
// the umask. Nothing is ever locked: exclusive means only that create must make the file.
int qelFile_Open(const char* name, int mode, int permissions, void** fd);

// Closes the descriptor. Whatever the status, it must not be used any more.
int qelFile_Close(void* fd);

// Reads up to count bytes into buffer[0..count-1]. Returns the number of bytes, 0 at the end of the
// file, or a negative status.
// POSIX: goes on after a short transfer until count bytes are there or the file ends.
int qelFile_Read(void* fd, void* buffer, size_t count);

// Writes buffer[0..count-1]. Returns the number of bytes, or a negative status.
// POSIX: goes on after a short transfer; a failure on the way fails the call.
int qelFile_Write(void* fd, const void* buffer, size_t count);

// Moves the position by offset bytes from the start (origin 0 and unknown values), the current
// position (1) or the end (2). On failure the position stays.
int qelFile_Seek(void* fd, int64_t offset, int origin);

// Stores the position, in bytes from the start. On failure *position is left alone.
int qelFile_Tell(void* fd, int64_t* position);

// 1 if the position is the end of the file, 0 if not, or a negative status.
int qelFile_IsEOF(void* fd);

// Always 0: writes are unbuffered, there is nothing to do.
int qelFile_Flush();

// Cuts or extends the file to size bytes. On success the position is the new end; on failure the
// status is -1, never another, and the position is the old one.
int qelFile_Truncate(void* fd, int64_t size);

// 1 if the name exists and is no directory, otherwise 0.
// POSIX: links are followed.
int qelFile_Exists(const char* name);

// 1 if the existing file can be opened as asked (bit 0 of mode: read, bit 1: write), otherwise 0.
int qelFile_Access(const char* name, int mode);

// 1 if the file has the attribute, otherwise 0. Only qelFileAttributeHidden is known; any other value
// is refused.
int qelFile_HasAttribute(const char* name, qelULong attributes);

// Stores the stamps of a file; each pointer may be null. A failed conversion gives -1, and the stamps
// that precede it in the order creation, modification, access have been stored.
// POSIX: a file system that keeps no creation time gives the modification time in its place.
int qelFile_GetTimes(const char* name, qeltimeval* access, qeltimeval* modification,
                     qeltimeval* creation);

// Removes a file. A file that is not there, or a missing directory on its way, counts as removed.
// POSIX: a link is removed itself.
int qelFile_Remove(const char* name);

// Gives a file or directory another name. An existing target is never replaced.
// Windows: a file may move to another volume.
// POSIX: a move to another file system fails.
int qelFile_Rename(const char* from, const char* to);

// Cuts or extends a file by its name, creating it when it is missing. Returns the system's own error
// number, not a status; -1 for an invalid name.
int qelFile_SetSize(const char* name, int64_t size);

// The status that a system error number stands for: 0 for 0, -1 for every number without a status
// of its own.
int qelFile_MapError(int osError);

// The normalised name as the system takes it, or null for an invalid name. The caller frees it with
// free.
qelOSChar* qelFile_NativeName(const char* name);

#endif

#ifndef QEL_MULTIPLATFORM_QELDIR_H
#define QEL_MULTIPLATFORM_QELDIR_H
//===----------------------------------------------------------------------===//
// Directories: enumeration, test, creation, removal.
//
// NAMES: every name is normalised first (qelPath_Normalize, trailing separators
// stripped, no anchor). A null name is an invalid name.
// Windows: names are UTF-8 and cross in UTF-16 with the long-path prefix.
// POSIX: names are bytes; what is not UTF-8 passes through unchanged.
//
// ERRORS: a failure writes a level-1 line of module 43.
// OWNERSHIP: an enumeration record belongs to whoever made it, until
// qelDir_Delete. Its entry is the record's own and holds until the next step.
// THREADS: no locks. A record is for one thread at a time.
//===----------------------------------------------------------------------===//

#include <qel/core/Types.h>

struct qeltimeval;

// Which entries an enumeration yields, a bit mask. Without Files and Dirs nothing passes.
constexpr int qelDirFilterFiles = 0x01;  // what is no directory
constexpr int qelDirFilterDirs = 0x02;   // directories
constexpr int qelDirFilterHidden = 0x04; // hidden entries too
constexpr int qelDirFilterDots = 0x08;   // the entries "." and ".." too

// One entry of a directory.
struct qelDirEntry_t {
  char* name;   // the entry's name, without its directory
  int isDir;    // 1 for a directory; a link counts as what it leads to
  int isHidden; // 1 for a hidden entry. Windows: the attribute; POSIX: a leading ".", but for "."
                // and ".."
};

// An enumeration of one directory: the system's handle and data, the current entry, the directory's
// text and the filter.
struct qelOSDir;

// A record for the directory, with the filter 7 and no enumeration running. The directory is not
// looked at; a name that does not normalise shows when an enumeration starts.
qelOSDir* qelDir_New(const char* name);

// Ends the enumeration and frees the record; null is allowed.
void qelDir_Delete(qelOSDir* dir);

// Starts an enumeration, ending a running one, and returns the first entry that passes. Null: there is
// none (*error is 0), or the directory can't be enumerated (*error is not 0). A directory that is missing
// is an error, a pattern that nothing matches is not.
// The pattern knows "*" and "?"; "" and "*.*" mean "*". The order is the system's.
// Windows: matching ignores case.
// POSIX: matching regards case; "?" stands for one character of UTF-8, or for one byte of what is
// not UTF-8.
const qelDirEntry_t* qelDir_GetFirst(qelOSDir* dir, const char* pattern, int filter, int* error);

// The next entry that passes. Null: no more entries or no enumeration running (*error is 0), or the
// directory can't be read on (*error is not 0).
const qelDirEntry_t* qelDir_GetNext(qelOSDir* dir, int* error);

// Ends a running enumeration.
void qelDir_EndEnumeration(qelOSDir* dir);

// 1 if the directory exists, otherwise 0.
// POSIX: links are followed.
// Windows: a drive without a directory ("C:") exists if there is such a drive.
int qelDir_Exists(const char* name);

// 1 if the name itself is a link or a junction, whatever it leads to, otherwise 0.
int qelDir_IsLink(const char* name);

// Removes one empty directory, or a link to a directory (the link itself, its target stays). Returns 0,
// or -1 on failure. A directory that is not there, or a missing one on its way, counts as removed; a
// file is a failure.
int qelDir_Remove(const char* name);

// Creates one directory. Returns 0, or -1 on failure; a directory that exists is a failure.
int qelDir_Create(const char* name);

// Creates all missing directories of the path. Returns 1 if they all exist now, 0 on failure.
// Windows: a network path always fails, since its server is taken for a directory to create.
int qelDir_CreateRecursively(const char* name);

// Stores the stamps of a directory; each pointer may be null. Returns 0, or -1 on failure; the stamps
// that precede a failed one in the order access, modification, creation have been stored.
int qelDir_GetTimes(const char* name, qeltimeval* access, qeltimeval* modification,
                    qeltimeval* creation);

// The roots of all drives, each terminated, an empty text behind the last one; null on failure. The
// caller frees the block with free.
// Windows: "C:/" and so on. POSIX: "/".
char* qelDir_GetRoots();

// The normalised name as the system takes it, with the long-path prefix if longPath is not 0, or null
// for an invalid name. The caller frees it with free.
qelOSChar* qelDir_NativeName(const char* name, int longPath);

#endif

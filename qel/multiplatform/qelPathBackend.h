#ifndef QEL_MULTIPLATFORM_QELPATHBACKEND_H
#define QEL_MULTIPLATFORM_QELPATHBACKEND_H
//===----------------------------------------------------------------------===//
// What the portable half of qelPath needs of its back-end, besides the functions
// of qelPath.h. Private to the two halves.
//===----------------------------------------------------------------------===//

// The file literal of the back-end's log lines. The portable half logs under it, so that one module
// has one name in the log.
extern const char* const qelPath_LogFile;

// Gives an absolute text the form that flags ask for: prefixes and separators. Takes text over and
// returns the result, which may be the same block.
// Windows: a network name keeps its two backslashes. A text that already carries the long-path
// prefix gets no other one, and without qelPathFlagNative its prefix becomes "//?/".
// POSIX: each "\" becomes "/", whatever the flags.
char* qelPath_ApplyForm(char* text, int flags);

#endif

#ifndef QEL_MULTIPLATFORM_QELSINGLEINSTANCECHECKERBACKEND_H
#define QEL_MULTIPLATFORM_QELSINGLEINSTANCECHECKERBACKEND_H
//===----------------------------------------------------------------------===//
// What the portable half of qelSingleInstanceChecker needs of its back-end: names
// that any number of handles may hold, on the whole machine. Private to the two
// halves.
//===----------------------------------------------------------------------===//

#include <qel/core/Types.h>

// The file literal of the back-end's log lines. The portable half logs under it, so that one module
// has one name in the log.
extern const char* const qelSingleInstance_LogFile;

// Takes hold of a name that begins with "Global\". Returns 0, and then *handle is not null and *existed
// tells whether the name was held already, by this process or another; or the system's error.
int qelSingleInstance_Take(const qelWChar* name, void** handle, bool* existed);

// Gives a hold up. Returns 0 or the system's error.
int qelSingleInstance_Release(void* handle);

#endif

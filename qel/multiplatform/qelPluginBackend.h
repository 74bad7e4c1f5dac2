#ifndef QEL_MULTIPLATFORM_QELPLUGINBACKEND_H
#define QEL_MULTIPLATFORM_QELPLUGINBACKEND_H
//===----------------------------------------------------------------------===//
// What the two halves of qelPlugin need of each other. Private to them.
//===----------------------------------------------------------------------===//

// The file literal of the back-end's log lines. The portable half logs under it, so that one module
// has one name in the log.
extern const char* const qelPlugin_LogFile;

// The name of a module as the system is to look for it. Null for a name that can't be one, such as
// the empty one. The caller frees it with free.
char* qelPlugin_NativeName(const char* file);

#endif

#ifndef QEL_MULTIPLATFORM_QELSINGLEINSTANCECHECKER_H
#define QEL_MULTIPLATFORM_QELSINGLEINSTANCECHECKER_H
//===----------------------------------------------------------------------===//
// A check that no other instance of a program runs on the machine, in any
// session and of any user. A name is taken for as long as any record asks for it,
// in any process; it is free again when they are deleted or their processes have
// ended, however they ended.
//
// Windows: a named mutex of the system, which is never locked.
// POSIX: locks on a file in /run/lock, else /var/lock, else /tmp, the first of them
// that everybody may write to. The file stays behind, empty; only the locks count.
// A child made by fork that runs no other program shares its parent's.
//
// ERRORS: a record that could not take its name says both that there was an error
// and that another instance runs, after a level-1 line of module 7.
// OWNERSHIP: a record belongs to whoever made it, until
// qelOSSingleInstanceChecker_Delete.
// THREADS: no locks; a record is for one thread at a time.
//===----------------------------------------------------------------------===//

struct qelOSSingleInstanceChecker {
  void* mutex;        // the system's handle of the name; null when there is none
  int anotherRunning; // 1: the name was already taken, or there was an error
  int error;          // 1: the name could not be asked for
};

// Asks for a name; never null. An error: an empty name, a name that is not UTF-8, one with a "\", one
// that the system does not take, no memory for the name.
qelOSSingleInstanceChecker* qelOSSingleInstanceChecker_New(const char* name);

// 1 if another instance was running when the record was made, otherwise 0.
int qelOSSingleInstanceChecker_IsAnotherRunning(const qelOSSingleInstanceChecker* checker);

// 1 if the record could not be made, otherwise 0.
int qelOSSingleInstanceChecker_Error(const qelOSSingleInstanceChecker* checker);

// Gives the name up and frees the record. Null is ignored.
void qelOSSingleInstanceChecker_Delete(qelOSSingleInstanceChecker* checker);

#endif

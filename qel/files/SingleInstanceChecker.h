#ifndef QEL_FILES_SINGLEINSTANCECHECKER_H
#define QEL_FILES_SINGLEINSTANCECHECKER_H
//===----------------------------------------------------------------------===//
// A check that no other instance of a program runs on the machine; the name is
// taken as long as the object lives. qelSingleInstanceChecker.h tells the rules.
//
// ERRORS: a checker that fails says that another instance is running; Error()
// tells the two apart. The cause is a level-1 line of module 7.
// OWNERSHIP: the object owns its record. A copy shares it, and each of the two
// frees it: only one of them may be destroyed.
// THREADS: no locks; an object is for one thread at a time.
//===----------------------------------------------------------------------===//

#include <qel/core/Export.h>

struct qelOSSingleInstanceChecker;

class QEL_EXPORT qelSingleInstanceChecker {
public:
  // Asks for the name, or, with a suffix, for name, "-" and suffix.
  qelSingleInstanceChecker(const char* name, const char* suffix);
  ~qelSingleInstanceChecker();
  qelSingleInstanceChecker(const qelSingleInstanceChecker&) = default;
  qelSingleInstanceChecker& operator=(const qelSingleInstanceChecker&) = default;

  // Whether the name was taken when the object was made; true after an error.
  bool IsAnotherRunning() const;

  // Whether the name could not be asked for.
  bool Error() const;

private:
  qelOSSingleInstanceChecker* m_checker; // owned
};

#endif

#ifndef QEL_THREADS_CRITICALSECTION_H
#define QEL_THREADS_CRITICALSECTION_H
//===----------------------------------------------------------------------===//
// qelCriticalSection, a recursive lock without any diagnosis, and its locker.
//
// ERRORS: one that can't be made ends the process ("os:criticalsection").
// OWNERSHIP: a copy shares the system's record with its source and nothing counts
// the sharing, so only one of the two may be destroyed.
// THREADS: any.
//===----------------------------------------------------------------------===//

#include <qel/core/Export.h>

struct qelOSCriticalSection;

class QEL_EXPORT qelCriticalSection {
public:
  qelCriticalSection();
  ~qelCriticalSection();
  qelCriticalSection(const qelCriticalSection&) = default;
  qelCriticalSection& operator=(const qelCriticalSection&) = default;

  // Enters, waiting without limit; the thread inside may enter again, and leaves as often. Returns
  // 0.
  int Enter();

  // Takes back one entry. Returns 0.
  // REQUIRES: the calling thread is inside.
  int Leave();

protected:
  qelOSCriticalSection* m_section; // the system's record
};

// Stays inside a qelCriticalSection during its own life.
// REQUIRES: the section is not null and outlives the locker.
class QEL_EXPORT qelCriticalSectionLocker {
public:
  explicit qelCriticalSectionLocker(qelCriticalSection* section);
  ~qelCriticalSectionLocker();

private:
  qelCriticalSection* m_section; // not owned
};

#endif

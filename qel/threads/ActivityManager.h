#ifndef QEL_THREADS_ACTIVITYMANAGER_H
#define QEL_THREADS_ACTIVITYMANAGER_H
//===----------------------------------------------------------------------===//
// qelActivityManager: tells from named counters whether anything in a program is
// busy, in one read.
//
// Names are case-sensitive, and stay in the table with a count of 0.
//
// INVARIANTS: no count is below 0; between two calls IsActive is true if and only if
// some count is not 0.
// ERRORS: a name whose hash is that of another known name is refused with a
// level-1 line: nothing changes, and it stays unknown.
// OWNERSHIP: a copy shares the table and the lock, so only one of the two may be
// destroyed.
// THREADS: any. IsActive takes no lock.
//===----------------------------------------------------------------------===//

#include <atomic>

#include <qel/core/Export.h>
#include <qel/core/Types.h>
#include <qel/threads/Mutex.h>

struct qelCustomHashTable_t;

class QEL_EXPORT qelActivityManager {
public:
  // Knows no module; nothing is active.
  qelActivityManager();
  qelActivityManager(const qelActivityManager& other);            // see OWNERSHIP
  qelActivityManager& operator=(const qelActivityManager& other); // likewise; the old table is lost
  virtual ~qelActivityManager();

  // Makes the module's count 1 or 0, whatever it was.
  void SetModuleActivity(const char* module, bool active);

  // Count up or down by one, from 0 for an unknown module, and never below 0.
  void IncrementModuleActivity(const char* module);
  void DecrementModuleActivity(const char* module);

  // Whether the module's count is not 0; an unknown module is not active.
  bool IsModuleActive(const char* module);

  // Whether some module is active.
  bool IsActive();

protected:
  // Adds delta to the module's count and stops at 0; an unknown module is entered.
  void IncDecModuleActivity(const char* module, qelLong delta);

  // Works m_active out from all counts. REQUIRES: the caller holds the lock.
  void UpdateActivityFlag();

  qelMutex m_mutex;                // guards the table
  qelCustomHashTable_t* m_modules; // module name to a 32-bit count; owned
  std::atomic<bool> m_active;      // at least one module is active; written under the lock

private:
  // Stores the module's new count and brings m_active up to date. REQUIRES: the caller holds the
  // lock.
  void Store(const char* module, uint32_t count);
};

static_assert(sizeof(std::atomic<bool>) == sizeof(bool), "a flag is one byte");

#endif

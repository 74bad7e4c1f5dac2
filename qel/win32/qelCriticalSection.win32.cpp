#define QEL_LOG_MODULE 7
#define QEL_LOG_FILE "..\\..\\win32\\qelCriticalSection.win32"

#include <qel/multiplatform/qelCriticalSection.h>

#include <qel/core/Log.h>

#include <cstdlib>

#include <windows.h>

struct qelOSCriticalSection {
  CRITICAL_SECTION lock; // recursive
};

// Life -------------------------------------------------------------------------

qelOSCriticalSection* qelOSCriticalSection_New() {
  qelOSCriticalSection* section =
      static_cast<qelOSCriticalSection*>(malloc(sizeof(qelOSCriticalSection)));
  if (section == nullptr) {
    QEL_LOG(1, "qelOSCriticalSection: Cannot allocate memory for a critical section\n");
    return nullptr;
  }
  ::InitializeCriticalSection(&section->lock);
  return section;
}

void qelOSCriticalSection_Delete(qelOSCriticalSection* section) {
  if (section == nullptr)
    return;
  ::DeleteCriticalSection(&section->lock);
  free(section);
}

// Locking ----------------------------------------------------------------------

int qelOSCriticalSection_Enter(qelOSCriticalSection* section) {
  ::EnterCriticalSection(&section->lock);
  return 0;
}

int qelOSCriticalSection_Leave(qelOSCriticalSection* section) {
  ::LeaveCriticalSection(&section->lock);
  return 0;
}

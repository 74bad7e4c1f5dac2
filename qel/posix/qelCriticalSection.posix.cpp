#define QEL_LOG_MODULE 7
#define QEL_LOG_FILE "..\\..\\posix\\qelCriticalSection.posix"

#include <qel/multiplatform/qelCriticalSection.h>

#include <qel/core/Log.h>
#include <qel/posix/qelRecursiveLock.h>

#include <cstdlib>

#include <pthread.h>

struct qelOSCriticalSection {
  pthread_mutex_t lock; // recursive
};

// Life -------------------------------------------------------------------------

qelOSCriticalSection* qelOSCriticalSection_New() {
  qelOSCriticalSection* section =
      static_cast<qelOSCriticalSection*>(malloc(sizeof(qelOSCriticalSection)));
  if (section == nullptr || qelRecursiveLock_Init(&section->lock) != 0) {
    QEL_LOG(1, "qelOSCriticalSection: Cannot allocate memory for a critical section\n");
    free(section);
    return nullptr;
  }
  return section;
}

void qelOSCriticalSection_Delete(qelOSCriticalSection* section) {
  if (section == nullptr)
    return;
  ::pthread_mutex_destroy(&section->lock);
  free(section);
}

// Locking ----------------------------------------------------------------------

int qelOSCriticalSection_Enter(qelOSCriticalSection* section) {
  ::pthread_mutex_lock(&section->lock);
  return 0;
}

int qelOSCriticalSection_Leave(qelOSCriticalSection* section) {
  ::pthread_mutex_unlock(&section->lock);
  return 0;
}

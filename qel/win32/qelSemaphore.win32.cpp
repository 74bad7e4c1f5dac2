#define QEL_LOG_MODULE 7
#define QEL_LOG_FILE "..\\..\\win32\\qelSemaphore.win32"

#include <qel/multiplatform/qelSemaphore.h>

#include <qel/core/Log.h>

#include <cstdlib>

#include <windows.h>

struct qelOSSemaphore {
  HANDLE handle; // of the kernel's semaphore, or null
};

// Life -------------------------------------------------------------------------

qelOSSemaphore* qelOSSemaphore_New(int count) {
  qelOSSemaphore* semaphore = static_cast<qelOSSemaphore*>(malloc(sizeof(qelOSSemaphore)));
  if (semaphore == nullptr) {
    QEL_LOG(1, "qelOSSemaphore: Cannot allocate memory for a semaphore\n");
    return nullptr;
  }
  semaphore->handle = ::CreateSemaphoreW(nullptr, count, qelOSSemaphoreMaxCount, nullptr);
  if (semaphore->handle == nullptr) {
    const DWORD error = ::GetLastError();
    QEL_LOG(1, "qelOSSemaphore: CreateSemaphore failed (error = %ld)\n", static_cast<long>(error));
    free(semaphore);
    return nullptr;
  }
  return semaphore;
}

void qelOSSemaphore_Delete(qelOSSemaphore* semaphore) {
  if (semaphore == nullptr)
    return;
  if (semaphore->handle != nullptr && !::CloseHandle(semaphore->handle)) {
    const DWORD error = ::GetLastError();
    QEL_LOG(1, "qelOSSemaphore: CloseHandle failed (error = %ld)\n", static_cast<long>(error));
  }
  free(semaphore);
}

// Counting ---------------------------------------------------------------------

int qelOSSemaphore_Post(qelOSSemaphore* semaphore) {
  if (::ReleaseSemaphore(semaphore->handle, 1, nullptr))
    return 0;
  const DWORD error = ::GetLastError();
  QEL_LOG(1, "qelOSSemaphore: ReleaseSemaphore failed (error = %ld)\n", static_cast<long>(error));
  return 2;
}

int qelOSSemaphore_Wait(qelOSSemaphore* semaphore) {
  return qelOSSemaphore_WaitTimeout(semaphore, qelOSWaitForever);
}

int qelOSSemaphore_WaitTimeout(qelOSSemaphore* semaphore, qelULong ms) {
  static_assert(INFINITE == qelOSWaitForever, "the limit that means none is the system's");
  const DWORD result = ::WaitForSingleObject(semaphore->handle, ms);
  if (result == WAIT_OBJECT_0)
    return 0;
  if (result == WAIT_TIMEOUT)
    return 1;
  const DWORD error = ::GetLastError();
  QEL_LOG(1, "qelOSSemaphore: WaitForSingleObject(%lu) returned %ld (error = %ld)\n", ms,
          static_cast<long>(result), static_cast<long>(error));
  return 2;
}

#include <qel/threads/Semaphore.h>

#include <qel/core/qelFatalError.h>
#include <qel/multiplatform/qelSemaphore.h>

qelSemaphore::qelSemaphore(int count) : m_semaphore(qelOSSemaphore_New(count)) {
  if (m_semaphore == nullptr)
    qelFatalError("os:semaphore");
}

qelSemaphore::~qelSemaphore() {
  qelOSSemaphore_Delete(m_semaphore);
}

int qelSemaphore::Post() {
  return qelOSSemaphore_Post(m_semaphore);
}

int qelSemaphore::Wait() {
  return WaitTimeout(qelOSWaitForever);
}

int qelSemaphore::WaitTimeout(qelULong ms) {
  return qelOSSemaphore_WaitTimeout(m_semaphore, ms);
}

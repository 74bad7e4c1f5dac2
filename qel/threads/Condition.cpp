#include <qel/threads/Condition.h>

#include <qel/core/qelFatalError.h>
#include <qel/multiplatform/qelCondition.h>
#include <qel/threads/Mutex.h>

// A new condition, or the end of the process.
static qelOSCondition* NewCondition() {
  qelOSCondition* condition = qelOSCondition_New();
  if (condition == nullptr)
    qelFatalError("os:condition");
  return condition;
}

// qelCondition -----------------------------------------------------------------

qelCondition::qelCondition() : qelCondition(/*manualReset=*/false, /*initialState=*/false) {}

qelCondition::qelCondition(bool manualReset, bool initialState)
    : m_condition(NewCondition()), m_mutex(qelOSMutex_New()), m_signalled(initialState),
      m_manualReset(manualReset) {
  if (m_mutex == nullptr)
    qelFatalError("os:mutex");
}

qelCondition::~qelCondition() {
  qelOSCondition_Delete(m_condition);
  qelOSMutex_Delete(m_mutex);
}

int qelCondition::Wait() {
  return WaitTimeout(qelOSWaitForever);
}

// INTENDED: one pass and no loop. A woken thread does not look at the flag again, and a time-out
// clears the flag of an auto-reset condition too, so that a waiter always leaves the same state.
// Pinned by QelConditionWaitTimeout.ClearsAnAutoResetFlagAlsoAfterATimeOut.
int qelCondition::WaitTimeout(qelULong ms) {
  qelOSMutex_Lock(m_mutex);
  int result = 0;
  if (!m_signalled)
    result = qelOSCondition_WaitTimeout(m_condition, m_mutex, ms);
  if (!m_manualReset)
    m_signalled = false;
  qelOSMutex_Unlock(m_mutex);
  return result;
}

// INTENDED: no broadcast in manual-reset mode. The set flag lets later threads pass; of those that
// sleep already one wakes. Pinned by QelConditionSignal.WakesOneSleeperAlsoInManualResetMode.
int qelCondition::Signal() {
  qelOSMutex_Lock(m_mutex);
  m_signalled = true;
  qelOSCondition_Signal(m_condition);
  qelOSMutex_Unlock(m_mutex);
  return 0;
}

int qelCondition::Reset() {
  qelOSMutex_Lock(m_mutex);
  m_signalled = false;
  qelOSMutex_Unlock(m_mutex);
  return 0;
}

// qelConditionExt --------------------------------------------------------------

qelConditionExt::qelConditionExt(qelMutex* mutex, bool ownsMutex)
    : m_condition(NewCondition()), m_mutex(mutex), m_signalled(false), m_ownsMutex(ownsMutex) {
  if (m_mutex == nullptr)
    qelFatalError("os:mutex");
}

qelConditionExt::~qelConditionExt() {
  qelOSCondition_Delete(m_condition);
  if (m_ownsMutex) {
    delete m_mutex;
    m_mutex = nullptr;
  }
}

int qelConditionExt::Wait() {
  return WaitTimeout(qelOSWaitForever);
}

int qelConditionExt::WaitTimeout(qelULong ms) {
  int result = 0;
  // The wait works on the system's lock itself, so the mutex's count of holds stays as it is.
  if (!m_signalled)
    result = qelOSCondition_WaitTimeout(m_condition, m_mutex->m_mutex, ms);
  m_signalled = false;
  return result;
}

int qelConditionExt::Signal() {
  m_signalled = true;
  qelOSCondition_Signal(m_condition);
  return 0;
}

#include <qel/threads/CriticalSection.h>

#include <qel/core/qelFatalError.h>
#include <qel/multiplatform/qelCriticalSection.h>

qelCriticalSection::qelCriticalSection() : m_section(qelOSCriticalSection_New()) {
  if (m_section == nullptr)
    qelFatalError("os:criticalsection");
}

qelCriticalSection::~qelCriticalSection() {
  qelOSCriticalSection_Delete(m_section);
}

int qelCriticalSection::Enter() {
  return qelOSCriticalSection_Enter(m_section);
}

int qelCriticalSection::Leave() {
  return qelOSCriticalSection_Leave(m_section);
}

qelCriticalSectionLocker::qelCriticalSectionLocker(qelCriticalSection* section)
    : m_section(section) {
  m_section->Enter();
}

qelCriticalSectionLocker::~qelCriticalSectionLocker() {
  m_section->Leave();
}

#include <qel/threads/Timeout.h>

#include <qel/multiplatform/qelTime.h>
#include <qel/threads/CircularLinks.h>

qelTimeout::qelTimeout() : m_startTick(0), m_duration(0) {
  qelLinks_InitElement(this);
}

qelTimeout::~qelTimeout() {
  qelLinks_Remove(this);
}

void qelTimeout::Start(qelULong ms) {
  m_startTick = GetSysMSTickCount();
  m_duration = ms;
}

qelULong qelTimeout::Remaining() const {
  // The difference is right across a wrap of the tick, which a comparison of ticks would not be.
  const qelULong elapsed = GetSysMSTickCount() - m_startTick;
  return elapsed < m_duration ? m_duration - elapsed : 0;
}

qelULong qelTimeout::GetSysMSTickCount() {
  return qelTime_GetTickCount();
}

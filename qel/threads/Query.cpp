#include <qel/threads/Query.h>

#include <qel/multiplatform/qelTime.h>

qelQuery::qelQuery()
    : m_next(nullptr), m_keepAlive(nullptr), m_mark(false), m_delay(0), m_executed(false) {}

qelQuery::~qelQuery() {}

void qelQuery::SetDelay(qelULong ms) {
  m_delay = ms;
  qelTime_GetLocalTimeMS(&m_readyTime);
  m_readyTime += ms;
}

void qelQuery::Done() {
  if (m_keepAlive == nullptr)
    delete this;
}

bool qelQuery::HasBeenExecuted() {
  return m_executed;
}

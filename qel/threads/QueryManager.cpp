#include <qel/threads/QueryManager.h>

#include <qel/core/UInt64.h>
#include <qel/multiplatform/qelSemaphore.h>
#include <qel/multiplatform/qelTime.h>
#include <qel/threads/Query.h>

static const qelULong kLongestWait = 0xFFFFFFFE; // one more would be no limit

// Queries that have left a chain, of any manager. A walk that sees no change has a whole chain.
static std::atomic<uint32_t> s_removals{0};

static qeluint64 Now() {
  qeluint64 now;
  qelTime_GetLocalTimeMS(&now);
  return now;
}

// The low 32 bits of the span, which must not come to mean "no limit".
static qelULong SpanOf(const qeluint64& from, const qeluint64& to) {
  const qelULong ms = (to - from).ToUInt32();
  return ms <= kLongestWait ? ms : kLongestWait;
}

qelQueryManager::qelQueryManager() : m_stopped(false), m_head(nullptr), m_tail(nullptr) {}

// INTENDED: copies share the chain and the locks. A manager is handed over this way, and one of the
// two objects then never dies. Pinned by QelQueryManagerCopy.TakesAllFields.
qelQueryManager::qelQueryManager(const qelQueryManager& other)
    : m_stopped(other.m_stopped.load()), m_head(other.m_head), m_tail(other.m_tail),
      m_queryMutex(other.m_queryMutex), m_queryCondition(other.m_queryCondition) {}

qelQueryManager& qelQueryManager::operator=(const qelQueryManager& other) {
  m_stopped = other.m_stopped.load();
  m_head = other.m_head;
  m_tail = other.m_tail;
  m_queryMutex = other.m_queryMutex;
  m_queryCondition = other.m_queryCondition;
  return *this;
}

qelQueryManager::~qelQueryManager() {
  ClearQueries();
}

void qelQueryManager::AddQuery(qelQuery* query) {
  if (!m_stopped) {
    qelMutexLocker locker(&m_queryMutex);
    // Stop may have cleared the chain since, and nothing would end a query that came behind it.
    if (!m_stopped) {
      query->m_next = nullptr;
      (m_tail == nullptr ? m_head : m_tail->m_next) = query;
      m_tail = query;
      InitQuery(query);
      SignalQueryToProcess();
      return;
    }
  }
  query->Done();
}

qelQuery* qelQueryManager::GetQuery() {
  qelMutexLocker locker(&m_queryMutex);
  qelQuery* query = m_stopped ? nullptr : FirstReady();
  if (query == nullptr)
    return nullptr;
  Unlink(query);
  query->m_delay = 0;
  query->m_executed = true;
  return query;
}

bool qelQueryManager::HasPendingQuery() {
  qelMutexLocker locker(&m_queryMutex);
  return FirstReady() != nullptr;
}

void qelQueryManager::WaitForQuery(qelULong ms) {
  const bool limited = ms != qelOSWaitForever;
  const qeluint64 limit = limited ? Now() + ms : qeluint64::kqeluint64_Max;

  while (!PassStopOn()) {
    LockQueries();
    if (m_head == nullptr) {
      UnlockQueries();
      m_queryCondition.WaitTimeout(ms);
      if (PassStopOn())
        return;
      LockQueries();
    }
    const bool empty = m_head == nullptr;
    qelULong span = 0;
    const bool ends = !empty && !NeedsWait(limit, &span);
    UnlockQueries();
    if (ends)
      return;
    if (!empty)
      m_queryCondition.WaitTimeout(span);
    if (limited && IsEmpty())
      return;
  }
}

void qelQueryManager::ClearSelectedQueries(bool (*select)(qelQuery* query, void* context),
                                           void* context) {
  qelMutexLocker locker(&m_queryMutex);
  const qelQuery* spared = nullptr;
  for (qelQuery *query = m_head, *next; query != nullptr; query = next) {
    next = query->m_next;
    const uint32_t removals = s_removals;
    if (select != nullptr && !select(query, context))
      spared = query;
    else if (Unlink(query))
      query->Done();
    // What was called may have taken the next one out, and the last one spared as well.
    if (next != nullptr && s_removals != removals && !IsChained(next))
      next = IsChained(spared) ? spared->m_next : m_head;
  }
}

void qelQueryManager::ClearQueries() {
  ClearSelectedQueries(/*select=*/nullptr, /*context=*/nullptr);
}

void qelQueryManager::Stop() {
  m_stopped = true;
  ClearQueries();
  SignalQueryToProcess();
}

// INTENDED: the front and no signal. The name means back into the queue: a query that could not be
// finished has the next turn, and its consumer is awake. Pinned by
// QelQueryManagerPushBackQuery.GoesToTheFrontAndSignalsNobody.
void qelQueryManager::PushBackQuery(qelQuery* query) {
  qelMutexLocker locker(&m_queryMutex);
  if (m_stopped)
    return;
  query->m_next = m_head;
  m_head = query;
  if (m_tail == nullptr)
    m_tail = query;
}

qelQuery* qelQueryManager::FindQuery(bool (*match)(qelQuery* query, void* context), void* context) {
  qelQuery* query = m_head;
  while (query != nullptr && !match(query, context))
    query = query->m_next;
  return query;
}

void qelQueryManager::LockQueries() {
  m_queryMutex.Lock();
}

void qelQueryManager::UnlockQueries() {
  m_queryMutex.Unlock();
}

void qelQueryManager::SignalQueryToProcess() {
  m_queryCondition.Signal();
}

void qelQueryManager::InitQuery(qelQuery*) {}

// The chain ---------------------------------------------------------------------

bool qelQueryManager::IsEmpty() {
  qelMutexLocker locker(&m_queryMutex);
  return m_head == nullptr;
}

bool qelQueryManager::IsChained(const qelQuery* query) const {
  const qelQuery* at = m_head;
  while (at != nullptr && at != query)
    at = at->m_next;
  return at != nullptr;
}

qelQuery* qelQueryManager::FirstReady() const {
  qelQuery* query = m_head;
  while (query != nullptr && query->m_delay != 0)
    query = query->m_next;
  return query;
}

qelQuery* qelQueryManager::Earliest() const {
  qelQuery* earliest = m_head;
  for (qelQuery* query = m_head->m_next; query != nullptr; query = query->m_next)
    if (query->m_readyTime < earliest->m_readyTime)
      earliest = query;
  return earliest;
}

bool qelQueryManager::NeedsWait(const qeluint64& limit, qelULong* span) {
  if (FirstReady() != nullptr)
    return false;
  qelQuery* earliest = Earliest();
  const qeluint64 now = Now();
  // INTENDED: only one query is made ready, also when several are due; the next call finds the
  // next. Pinned by QelQueryManagerWaitForQuery.ReadiesOneQueryOnly.
  if (earliest->m_readyTime <= now) {
    earliest->m_delay = 0;
    return false;
  }
  if (limit <= now)
    return false;
  *span = SpanOf(now, limit <= earliest->m_readyTime ? limit : earliest->m_readyTime);
  return true;
}

bool qelQueryManager::Unlink(qelQuery* query) {
  qelQuery* previous = nullptr;
  qelQuery* at = m_head;
  while (at != nullptr && at != query) {
    previous = at;
    at = at->m_next;
  }
  if (at == nullptr)
    return false;
  (previous == nullptr ? m_head : previous->m_next) = query->m_next;
  if (m_tail == query)
    m_tail = previous;
  query->m_next = nullptr;
  s_removals += 1;
  return true;
}

bool qelQueryManager::PassStopOn() {
  if (!m_stopped)
    return false;
  // One signal wakes one thread, and there may be several in WaitForQuery.
  m_queryCondition.Signal();
  return true;
}

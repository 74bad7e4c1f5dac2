#define QEL_LOG_MODULE 0
#define QEL_LOG_FILE "..\\..\\ActivityManager"

#include <qel/threads/ActivityManager.h>

#include <qel/containers/qelCustomHashTable.h>
#include <qel/core/Log.h>

// A count stands in the place of a pointer.
static void* ToValue(uint32_t count) {
  return reinterpret_cast<void*>(static_cast<uintptr_t>(count));
}

static uint32_t ToCount(const void* value) {
  return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(value));
}

// Never below 0. The sum is wide, so that no delta is too large to be negated.
static uint32_t Sum(uint32_t count, qelLong delta) {
  const int64_t sum = int64_t(count) + delta;
  return sum > 0 ? static_cast<uint32_t>(sum) : 0;
}

static void AddCount(const void*, const void* value, void* sum) {
  *static_cast<uint64_t*>(sum) += ToCount(value);
}

qelActivityManager::qelActivityManager()
    : m_modules(qelCustomHashTable_NewStringInt()), m_active(false) {}

qelActivityManager::qelActivityManager(const qelActivityManager& other)
    : m_mutex(other.m_mutex), m_modules(other.m_modules), m_active(other.m_active.load()) {}

qelActivityManager& qelActivityManager::operator=(const qelActivityManager& other) {
  m_mutex = other.m_mutex;
  m_modules = other.m_modules;
  m_active = other.m_active.load();
  return *this;
}

qelActivityManager::~qelActivityManager() {
  qelCustomHashTable_Delete(m_modules);
}

void qelActivityManager::SetModuleActivity(const char* module, bool active) {
  qelMutexLocker locker(&m_mutex);
  Store(module, active ? 1 : 0);
}

void qelActivityManager::IncrementModuleActivity(const char* module) {
  IncDecModuleActivity(module, 1);
}

void qelActivityManager::DecrementModuleActivity(const char* module) {
  IncDecModuleActivity(module, -1);
}

bool qelActivityManager::IsModuleActive(const char* module) {
  qelMutexLocker locker(&m_mutex);
  return ToCount(qelCustomHashTable_GetValue(m_modules, module)) != 0;
}

bool qelActivityManager::IsActive() {
  return m_active;
}

void qelActivityManager::IncDecModuleActivity(const char* module, qelLong delta) {
  qelMutexLocker locker(&m_mutex);
  // An unknown module has no value, which counts as 0.
  Store(module, Sum(ToCount(qelCustomHashTable_GetValue(m_modules, module)), delta));
}

void qelActivityManager::UpdateActivityFlag() {
  uint64_t sum = 0;
  qelCustomHashTable_ForEach(m_modules, AddCount, &sum);
  m_active = sum != 0;
}

void qelActivityManager::Store(const char* module, uint32_t count) {
  // The table's removal never ends when it meets two keys of one hash.
  if (qelCustomHashTable_HasCollidingKey(m_modules, module) != 0) {
    QEL_LOG(1, "qelActivityManager: Refused the module '%s' (its hash is that of another module)\n",
            module);
    return;
  }
  qelCustomHashTable_Add(m_modules, module, ToValue(count));
  if (count != 0)
    m_active = true;
  else
    UpdateActivityFlag();
}

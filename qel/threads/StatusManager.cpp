#define QEL_LOG_MODULE 0
#define QEL_LOG_FILE "..\\..\\StatusManager"

#include <qel/threads/StatusManager.h>

#include <cstdlib>
#include <cstring>

#include <qel/core/Log.h>
#include <qel/core/qelMem.h>
#include <qel/threads/qelStatusPrint.h>

// Entries ------------------------------------------------------------------------

static const qelqelStatusManagerEntry* ToEntry(const void* item) {
  return static_cast<const qelqelStatusManagerEntry*>(item);
}

static int CompareEntries(const void* a, const void* b) {
  return strcmp(ToEntry(a)->key, ToEntry(b)->key);
}

// The array releases null slots too.
static void FreeEntry(void* item) {
  if (item == nullptr)
    return;
  free(ToEntry(item)->key);
  free(ToEntry(item)->value);
  free(item);
}

static void DeleteEntries(void* entries) {
  qelArray_Delete(static_cast<qelArray_t*>(entries));
}

static qelArray_t* NewEntries() {
  qelArray_t* entries = qelArray_New();
  qelArray_SetFreeFunction(entries, FreeEntry);
  qelArray_SetCompare(entries, CompareEntries, /*sorted=*/1);
  return entries;
}

static const char* KeyAt(const qelArray_t* entries, size_t index) {
  return ToEntry(qelArray_GetAt(entries, index))->key;
}

static bool IsBelow(const qelArray_t* entries, size_t index, const qelCString& prefix) {
  return strncmp(KeyAt(entries, index), prefix.c_str(), prefix.length()) == 0;
}

// Removes the entry of exactly this key. Gives its index, or the count if there is none.
static size_t RemoveEntry(qelArray_t* entries, const char* key) {
  const qelqelStatusManagerEntry probe = {const_cast<char*>(key), nullptr};
  const size_t count = qelArray_GetCount(entries);
  const size_t index = qelArray_FindInsertPosition(entries, &probe);
  if (index == count || strcmp(KeyAt(entries, index), key) != 0)
    return count;
  qelArray_RemoveRange(entries, index, 1);
  return index;
}

// The manager --------------------------------------------------------------------

qelStatusManager::qelStatusManager(const char* name)
    : qelStringHashMap<qelArray_t*>({nullptr, DeleteEntries}), m_name(name), m_indent("    ") {}

qelStatusManager::~qelStatusManager() {}

void qelStatusManager::UpdateStatus(const char* chapter, const char* key, const char* value) {
  qelMutexLocker locker(&m_mutex);
  qelArray_t* entries = OpenChapter(chapter);
  if (entries == nullptr)
    return;
  // The copies come first, since the texts may be those of the old entry.
  qelqelStatusManagerEntry* entry = NewEntry(key, value);
  RemoveEntry(entries, entry->key);
  qelArray_SortedInsert(entries, entry);
}

void qelStatusManager::UpdateStatus(const char* chapter, const char* key, qelULong value) {
  UpdateStatus(chapter, key, qelCString::Format("%lu", static_cast<unsigned long>(value)).c_str());
}

void qelStatusManager::RemoveStatus(const char* chapter, const char* key) {
  qelMutexLocker locker(&m_mutex);
  qelArray_t* entries = nullptr;
  if (!Find(chapter, entries))
    return;
  qelCString prefix(key);
  prefix += '/';
  // INTENDED: behind a key that was there, only its very neighbours are looked at: with "a", "a-b"
  // and "a/c" in the array "a/c" stays, since "-" sorts ahead of "/". Pinned by
  // QelStatusManagerRemoveStatus.LeavesWhatStandsBehindASiblingThatSortsAheadOfTheSlash.
  const size_t count = qelArray_GetCount(entries);
  size_t index = RemoveEntry(entries, key);
  if (index == count) {
    index = 0;
    while (index != count && !IsBelow(entries, index, prefix))
      ++index;
  }
  while (index < qelArray_GetCount(entries) && IsBelow(entries, index, prefix))
    qelArray_RemoveRange(entries, index, 1);
}

// Printing -----------------------------------------------------------------------

static void LogOneChapter(const char* chapter, const void* entries, void* manager) {
  static_cast<qelStatusManager*>(manager)->LogChapter(chapter,
                                                      static_cast<const qelArray_t*>(entries));
}

void qelStatusManager::Log() {
  qelMutexLocker locker(&m_mutex);
  qelStatusPrint_Print("%s\n", m_name.c_str());
  ForEach(LogOneChapter, this);
}

void qelStatusManager::LogChapter(const char* chapter, const qelArray_t* entries) {
  m_lastPath.Empty();
  qelStatusPrint_Print("%s%s\n", m_indent.c_str(), chapter);
  for (size_t index = 0; index != qelArray_GetCount(entries); ++index)
    LogEntry(static_cast<qelqelStatusManagerEntry*>(qelArray_GetAt(entries, index)));
}

qelqelStatusManagerEntry* qelStatusManager::NewEntry(const char* key, const char* value) {
  auto* entry =
      static_cast<qelqelStatusManagerEntry*>(qelMem_Alloc(sizeof(qelqelStatusManagerEntry)));
  entry->key = qelMem_StrDup(key);
  entry->value = qelMem_StrDup(value);
  return entry;
}

// INTENDED: behind a part that differs, the later parts are still compared with what the last path
// goes on with, so that below "a/b" the key "x/a" shows no "a" under "x". Pinned by
// QelStatusManagerLogEntry.HidesAPartThatTheLastPathGoesOnWithAfterADifference.
void qelStatusManager::LogEntry(qelqelStatusManagerEntry* entry) {
  const bool hasValue = entry->value != nullptr && *entry->value != '\0';
  qelCString rest(entry->key);
  const char* previous = m_lastPath.c_str();
  qelCString newPath;
  qelCString pad(m_indent);
  while (!rest.IsEmpty()) {
    const qelCString part = rest.BeforeFirst('/');
    const qelCString step = part + '/';
    newPath += step;
    pad += m_indent;
    rest = rest.AfterFirst('/');
    if (strncmp(previous, step.c_str(), step.length()) == 0) {
      previous += step.length();
      continue;
    }
    qelStatusPrint_Print("%s%s", pad.c_str(), part.c_str());
    if (rest.IsEmpty() && hasValue)
      qelStatusPrint_Print(": '%s'\n", entry->value);
    else
      qelStatusPrint_Print("\n");
  }
  m_lastPath = newPath;
}

qelArray_t* qelStatusManager::OpenChapter(const char* chapter) {
  qelArray_t* entries = nullptr;
  if (Find(chapter, entries))
    return entries;
  // The table's removal never ends when it meets two keys of one hash.
  if (qelCustomHashTable_HasCollidingKey(m_table, chapter) != 0) {
    QEL_LOG(1, "qelStatusManager: Refused the chapter '%s' (its hash is that of another chapter)\n",
            chapter);
    return nullptr;
  }
  entries = NewEntries();
  Add(chapter, entries);
  return entries;
}

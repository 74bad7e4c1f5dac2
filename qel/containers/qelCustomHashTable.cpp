#include <qel/containers/qelCustomHashTable.h>

#include <cstdlib>
#include <cstring>

#include <qel/core/Types.h>
#include <qel/core/qelMem.h>

// Callback sets ------------------------------------------------------------------

static void* CopyText(const void* text) {
  return qelMem_StrDup(static_cast<const char*>(text));
}

static void* CopyWideText(const void* text) {
  return qelMem_WStrDup(static_cast<const qelWChar*>(text));
}

static void FreeText(void* text) {
  free(text);
}

static int CompareText(const void* probe, const void* stored) {
  return strcmp(static_cast<const char*>(probe), static_cast<const char*>(stored));
}

static int CompareWideText(const void* probe, const void* stored) {
  const qelWChar* a = static_cast<const qelWChar*>(probe);
  const qelWChar* b = static_cast<const qelWChar*>(stored);
  while (*a != 0 && *a == *b) {
    ++a;
    ++b;
  }
  return static_cast<int>(*a) - static_cast<int>(*b);
}

static uint32_t HashText(const void* key) {
  uint32_t hash = 0;
  for (const unsigned char* at = static_cast<const unsigned char*>(key); *at != 0; ++at)
    hash = hash * 31 + *at + 1;
  return hash;
}

static uint32_t HashWideText(const void* key) {
  uint32_t hash = 0;
  for (const qelWChar* at = static_cast<const qelWChar*>(key); *at != 0; ++at)
    hash = hash * 31 + static_cast<uint16_t>(*at) + 1;
  return hash;
}

static uint32_t HashInt(const void* key) {
  return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(key));
}

static void* SameValue(const void* value) {
  return const_cast<void*>(value);
}

const qelCustomHashTable_HelperFunctions_Key qelHashKeyFunctions_String = {CopyText, FreeText,
                                                                           CompareText, HashText};
const qelCustomHashTable_HelperFunctions_Key qelHashKeyFunctions_WString = {
    CopyWideText, FreeText, CompareWideText, HashWideText};
const qelCustomHashTable_HelperFunctions_Key qelHashKeyFunctions_Int = {nullptr, nullptr, nullptr,
                                                                        HashInt};
const qelCustomHashTable_HelperFunctions_Value qelHashValueFunctions_String = {CopyText, FreeText};
const qelCustomHashTable_HelperFunctions_Value qelHashValueFunctions_WString = {CopyWideText,
                                                                                FreeText};
const qelCustomHashTable_HelperFunctions_Value qelHashValueFunctions_Plain = {nullptr, nullptr};
const qelCustomHashTable_HelperFunctions_Value qelHashValueFunctions_Int = {SameValue, nullptr};

// Entries ------------------------------------------------------------------------

static uint32_t BucketOf(uint32_t hash) {
  return hash % kqelCustomHashTable_BucketCount;
}

static bool SameKey(const qelCustomHashTable_t* table, const void* probe, const void* stored) {
  const auto compare = table->keyFunctions.compare;
  return compare != nullptr ? compare(probe, stored) == 0 : probe == stored;
}

static void ReleaseEntry(const qelCustomHashTable_t* table, qelCustomHashTable_Entry* entry) {
  if (table->keyFunctions.free != nullptr)
    table->keyFunctions.free(entry->key);
  if (table->valueFunctions.free != nullptr)
    table->valueFunctions.free(entry->value);
  free(entry);
}

static qelCustomHashTable_Entry* NewEntry(const qelCustomHashTable_t* table, const void* key,
                                          const void* value) {
  const auto copyKey = table->keyFunctions.copy;
  const auto copyValue = table->valueFunctions.copy;
  auto* entry =
      static_cast<qelCustomHashTable_Entry*>(qelMem_Alloc(sizeof(qelCustomHashTable_Entry)));
  entry->hash = qelCustomHashTable_HashKey(table, key);
  entry->key = copyKey != nullptr ? copyKey(key) : const_cast<void*>(key);
  entry->value = copyValue != nullptr ? copyValue(value) : const_cast<void*>(value);
  return entry;
}

// Takes the entry that *link points at out of its chain.
static qelCustomHashTable_Entry* Unlink(qelCustomHashTable_t* table,
                                        qelCustomHashTable_Entry** link) {
  qelCustomHashTable_Entry* entry = *link;
  *link = entry->next;
  --table->bucketCounts[BucketOf(entry->hash)];
  --table->count;
  return entry;
}

static const qelCustomHashTable_Entry* FindEntry(const qelCustomHashTable_t* table,
                                                 const void* key) {
  const uint32_t hash = qelCustomHashTable_HashKey(table, key);
  const qelCustomHashTable_Entry* entry = table->buckets[BucketOf(hash)];
  while (entry != nullptr && !(entry->hash == hash && SameKey(table, key, entry->key)))
    entry = entry->next;
  return entry;
}

namespace {

// Entries that are out of their chain and wait for their release, oldest wait first.
struct HeldEntries {
  qelCustomHashTable_Entry* first = nullptr;
  qelCustomHashTable_Entry* last = nullptr;

  void Append(qelCustomHashTable_Entry* entry) {
    entry->next = nullptr;
    (first == nullptr ? first : last->next) = entry;
    last = entry;
  }

  void ReleaseAll(const qelCustomHashTable_t* table) {
    while (qelCustomHashTable_Entry* entry = first) {
      first = entry->next;
      ReleaseEntry(table, entry);
    }
  }
};

} // namespace

// The table ----------------------------------------------------------------------

qelCustomHashTable_t*
qelCustomHashTable_New(qelCustomHashTable_HelperFunctions_Key keyFunctions,
                       qelCustomHashTable_HelperFunctions_Value valueFunctions) {
  auto* table = static_cast<qelCustomHashTable_t*>(qelMem_AllocZero(sizeof(qelCustomHashTable_t)));
  table->keyFunctions = keyFunctions;
  table->valueFunctions = valueFunctions;
  return table;
}

void qelCustomHashTable_Delete(qelCustomHashTable_t* table) {
  if (table == nullptr)
    return;
  qelCustomHashTable_Clear(table);
  free(table);
}

void qelCustomHashTable_SetMultiValue(qelCustomHashTable_t* table) {
  table->multiValue = 1;
}

uint32_t qelCustomHashTable_HashKey(const qelCustomHashTable_t* table, const void* key) {
  return table->keyFunctions.hash(key);
}

int qelCustomHashTable_Add(qelCustomHashTable_t* table, const void* key, const void* value) {
  qelCustomHashTable_Entry* entry = NewEntry(table, key, value);
  if (entry->key == nullptr || (entry->value == nullptr && value != nullptr)) {
    ReleaseEntry(table, entry);
    return 0;
  }
  if (table->multiValue == 0)
    qelCustomHashTable_Remove(table, key);
  const uint32_t bucket = BucketOf(entry->hash);
  entry->next = table->buckets[bucket];
  table->buckets[bucket] = entry;
  ++table->bucketCounts[bucket];
  ++table->count;
  return 1;
}

int qelCustomHashTable_AddTakingKeyAndValue(qelCustomHashTable_t* table, void* key, void* value) {
  const auto copyKey = table->keyFunctions.copy;
  const auto copyValue = table->valueFunctions.copy;
  table->keyFunctions.copy = nullptr;
  table->valueFunctions.copy = nullptr;
  const int added = qelCustomHashTable_Add(table, key, value);
  table->keyFunctions.copy = copyKey;
  table->valueFunctions.copy = copyValue;
  return added;
}

void qelCustomHashTable_AddTakingValue(qelCustomHashTable_t* table, const void* key, void* value) {
  const auto copyValue = table->valueFunctions.copy;
  table->valueFunctions.copy = nullptr;
  qelCustomHashTable_Add(table, key, value);
  table->valueFunctions.copy = copyValue;
}

void qelCustomHashTable_Remove(qelCustomHashTable_t* table, const void* key) {
  const uint32_t hash = qelCustomHashTable_HashKey(table, key);
  // The link is volatile so that the endless scan below stays one for every compiler.
  qelCustomHashTable_Entry* volatile* link = &table->buckets[BucketOf(hash)];
  HeldEntries held;
  while (qelCustomHashTable_Entry* entry = *link) {
    if (entry->hash != hash) {
      link = &entry->next;
      continue;
    }
    // INTENDED: an equal hash with a different key does not advance, so the scan stays here until
    // the compare callback says equal. Keys of one table must not collide in the full hash; whoever
    // takes keys from outside asks HasCollidingKey first. Pinned by
    // qelCustomHashTableRemove.ComparesACollidingEntryAgainAndAgain.
    if (!SameKey(table, key, entry->key))
      continue;
    Unlink(table, const_cast<qelCustomHashTable_Entry**>(link));
    if (table->multiValue == 0) {
      ReleaseEntry(table, entry);
      break;
    }
    // The scan goes on, and must not compare with a key that it has released: from the entry that
    // owns the probe on, as its key or as its value, releases wait for its end.
    if (entry->key == key || entry->value == key || held.first != nullptr)
      held.Append(entry);
    else
      ReleaseEntry(table, entry);
  }
  held.ReleaseAll(table);
}

int qelCustomHashTable_Find(const qelCustomHashTable_t* table, const void* key, void** value) {
  const qelCustomHashTable_Entry* entry = FindEntry(table, key);
  if (value != nullptr)
    *value = entry != nullptr ? entry->value : nullptr;
  return entry != nullptr;
}

void* qelCustomHashTable_GetValue(const qelCustomHashTable_t* table, const void* key) {
  void* value = nullptr;
  qelCustomHashTable_Find(table, key, &value);
  return value;
}

int qelCustomHashTable_Contains(const qelCustomHashTable_t* table, const void* key) {
  return qelCustomHashTable_Find(table, key, /*value=*/nullptr);
}

int qelCustomHashTable_HasCollidingKey(const qelCustomHashTable_t* table, const void* key) {
  const uint32_t hash = qelCustomHashTable_HashKey(table, key);
  const qelCustomHashTable_Entry* entry = table->buckets[BucketOf(hash)];
  while (entry != nullptr && !(entry->hash == hash && !SameKey(table, key, entry->key)))
    entry = entry->next;
  return entry != nullptr;
}

uint64_t qelCustomHashTable_GetCount(const qelCustomHashTable_t* table) {
  return table->count;
}

const void* qelCustomHashTable_GetKeyAt(const qelCustomHashTable_t* table, uint64_t position) {
  if (position >= table->count)
    return nullptr;
  size_t bucket = 0;
  while (position >= table->bucketCounts[bucket])
    position -= table->bucketCounts[bucket++];
  const qelCustomHashTable_Entry* entry = table->buckets[bucket];
  for (; position != 0; --position)
    entry = entry->next;
  return entry->key;
}

void qelCustomHashTable_ForEach(const qelCustomHashTable_t* table,
                                qelCustomHashTable_Visitor visitor, void* context) {
  for (const qelCustomHashTable_Entry* entry : table->buckets)
    for (; entry != nullptr; entry = entry->next)
      visitor(entry->key, entry->value, context);
}

void qelCustomHashTable_Clear(qelCustomHashTable_t* table) {
  while (const void* key = qelCustomHashTable_GetKeyAt(table, 0))
    qelCustomHashTable_Remove(table, key);
}

static void AddToDuplicate(const void* key, const void* value, void* duplicate) {
  qelCustomHashTable_Add(static_cast<qelCustomHashTable_t*>(duplicate), key, value);
}

qelCustomHashTable_t* qelCustomHashTable_Duplicate(const qelCustomHashTable_t* table) {
  if (table == nullptr)
    return nullptr;
  qelCustomHashTable_t* duplicate =
      qelCustomHashTable_New(table->keyFunctions, table->valueFunctions);
  duplicate->multiValue = table->multiValue;
  qelCustomHashTable_ForEach(table, AddToDuplicate, duplicate);
  return duplicate;
}

// Presets ------------------------------------------------------------------------

qelCustomHashTable_t*
qelCustomHashTable_NewWStringCustom(qelCustomHashTable_HelperFunctions_Value valueFunctions) {
  return qelCustomHashTable_New(qelHashKeyFunctions_WString, valueFunctions);
}

qelCustomHashTable_t* qelCustomHashTable_NewStringWString() {
  return qelCustomHashTable_New(qelHashKeyFunctions_String, qelHashValueFunctions_WString);
}

qelCustomHashTable_t* qelCustomHashTable_NewWStringWString() {
  return qelCustomHashTable_New(qelHashKeyFunctions_WString, qelHashValueFunctions_WString);
}

qelCustomHashTable_t*
qelCustomHashTable_NewStringCustom(qelCustomHashTable_HelperFunctions_Value valueFunctions) {
  return qelCustomHashTable_New(qelHashKeyFunctions_String, valueFunctions);
}

qelCustomHashTable_t*
qelCustomHashTable_NewIntCustom(qelCustomHashTable_HelperFunctions_Value valueFunctions) {
  return qelCustomHashTable_New(qelHashKeyFunctions_Int, valueFunctions);
}

qelCustomHashTable_t* qelCustomHashTable_NewStringString() {
  return qelCustomHashTable_New(qelHashKeyFunctions_String, qelHashValueFunctions_String);
}

qelCustomHashTable_t* qelCustomHashTable_NewStringPlain() {
  return qelCustomHashTable_New(qelHashKeyFunctions_String, qelHashValueFunctions_Plain);
}

qelCustomHashTable_t* qelCustomHashTable_NewIntPlain() {
  return qelCustomHashTable_New(qelHashKeyFunctions_Int, qelHashValueFunctions_Plain);
}

qelCustomHashTable_t* qelCustomHashTable_NewStringInt() {
  return qelCustomHashTable_New(qelHashKeyFunctions_String, qelHashValueFunctions_Int);
}

#ifndef QEL_CONTAINERS_QELCUSTOMHASHTABLE_H
#define QEL_CONTAINERS_QELCUSTOMHASHTABLE_H
//===----------------------------------------------------------------------===//
// A chained hash table with eleven fixed buckets, for tens of keys. Two records
// of callbacks say what a key and what a value is; keys and values are
// pointer-sized.
//
//   table
//   +-----------+     +-------+     +-------+
//   | buckets 0 | --> | entry | --> | entry | --> null    newest entry first
//   |         1 | --> null
//   |       ... |     an entry holds its full hash, key and value
//   |        10 | --> | entry | --> null
//   +-----------+
//
// INVARIANTS: an entry stands in bucket (full hash modulo 11); bucketCounts[i] is
// the length of chain i; count is the sum of the bucketCounts; no stored key is
// null.
// ORDER: every walk goes through buckets 0 to 10, and in each from its newest
// entry to its oldest. It is not the order of insertion.
// COST: with n entries, every operation on a key is O(n / 11) and one call of the
// hash callback (two for an insertion into a single-value table). The bucket
// count never changes.
// INVALIDATES: removing or replacing an entry ends the life of its key and value
// as the callbacks say; no other entry moves.
// OWNERSHIP: the table owns its entries, and what the copy callbacks made; it
// gives keys and values back through the free callbacks.
// COLLISIONS: two different keys of one table must never have the same full
// hash, see qelCustomHashTable_Remove and qelCustomHashTable_HasCollidingKey.
// ERRORS: exhausted memory is fatal; the only reported failure is the refusal of
// an insertion. Only qelCustomHashTable_Delete and qelCustomHashTable_Duplicate
// accept a null table; keys go to the callbacks unchecked.
// THREADS: one at a time; the client locks.
//===----------------------------------------------------------------------===//

#include <cstddef>
#include <cstdint>

enum { kqelCustomHashTable_BucketCount = 11 };

// How a table treats its keys. Any callback but `hash` may be null.
struct qelCustomHashTable_HelperFunctions_Key {
  void* (*copy)(const void* key); // makes the table's own copy; null: the pointer itself is stored
  void (*free)(void* key);        // releases a stored key; null: nothing is released
  int (*compare)(const void* probe, const void* stored); // 0: equal; null: identity decides
  uint32_t (*hash)(const void* key);                     // never null
};

// How a table treats its values. Either callback may be null.
struct qelCustomHashTable_HelperFunctions_Value {
  void* (*copy)(const void* value); // makes the table's own copy; null: stored as it stands
  void (*free)(void* value);        // releases a stored value; null: nothing is released
};

struct qelCustomHashTable_Entry {
  uint32_t hash;                  // full hash of the key
  void* key;                      // never null
  void* value;                    // null is a legal value
  qelCustomHashTable_Entry* next; // next older entry of the bucket; null: the last one
};

struct qelCustomHashTable_t {
  qelCustomHashTable_Entry* buckets[kqelCustomHashTable_BucketCount]; // heads; null: empty
  uint64_t bucketCounts[kqelCustomHashTable_BucketCount];             // entries in each bucket
  uint64_t count;                                                     // entries in the table
  qelCustomHashTable_HelperFunctions_Key keyFunctions;
  qelCustomHashTable_HelperFunctions_Value valueFunctions;
  int32_t multiValue; // 0: at most one entry for a key; else several may share it
};

// Called by a walk. It must not change the table.
typedef void (*qelCustomHashTable_Visitor)(const void* key, const void* value, void* context);

// Narrow text: duplicated, released, compared by bytes, hashed h * 31 + byte + 1 from h = 0.
extern const qelCustomHashTable_HelperFunctions_Key qelHashKeyFunctions_String;
// Wide text: the same by 16-bit units.
extern const qelCustomHashTable_HelperFunctions_Key qelHashKeyFunctions_WString;
// Integers in the place of the pointer, compared whole, hashed by their low 32 bits. The key 0 is
// always refused, since it is a null pointer.
extern const qelCustomHashTable_HelperFunctions_Key qelHashKeyFunctions_Int;
// Narrow and wide text: duplicated and released.
extern const qelCustomHashTable_HelperFunctions_Value qelHashValueFunctions_String;
extern const qelCustomHashTable_HelperFunctions_Value qelHashValueFunctions_WString;
// Pointers that belong to the client, or integers in the place of a pointer.
extern const qelCustomHashTable_HelperFunctions_Value qelHashValueFunctions_Plain;
extern const qelCustomHashTable_HelperFunctions_Value qelHashValueFunctions_Int;

// A new empty single-value table; both records are copied. Released by qelCustomHashTable_Delete.
qelCustomHashTable_t*
qelCustomHashTable_New(qelCustomHashTable_HelperFunctions_Key keyFunctions,
                       qelCustomHashTable_HelperFunctions_Value valueFunctions);

// Clears the table and releases it. Null does nothing.
void qelCustomHashTable_Delete(qelCustomHashTable_t* table);

// From now on several entries may share a key. There is no way back.
void qelCustomHashTable_SetMultiValue(qelCustomHashTable_t* table);

// What the hash callback says of the key.
uint32_t qelCustomHashTable_HashKey(const qelCustomHashTable_t* table, const void* key);

// Enters copies of key and value at the head of the key's bucket. In a single-value table an older
// entry of that key goes, after the copies exist, so the key may be the table's own.
// Returns 1; or 0, with both copies handed to the free callbacks (a null one too) and the table
// unchanged, if the stored key is null, or the stored value is though the given one is not.
// REQUIRES: no different key of the same full hash is in a single-value table.
int qelCustomHashTable_Add(qelCustomHashTable_t* table, const void* key, const void* value);

// The same, with the very pointers adopted: the table releases them by its free callbacks, at once
// if it refuses them. Both copy callbacks are cleared for the length of the call.
int qelCustomHashTable_AddTakingKeyAndValue(qelCustomHashTable_t* table, void* key, void* value);

// The same, with the key copied and the value adopted. A refusal is not reported.
void qelCustomHashTable_AddTakingValue(qelCustomHashTable_t* table, const void* key, void* value);

// Removes the entry of the key, or all of them from a multi-value table: the key free callback runs,
// then the value's. A key that is not there changes nothing. The key may be the table's own.
// REQUIRES: no different key of the same full hash is in the table. The scan never gets past one, so
// the call would not return.
void qelCustomHashTable_Remove(qelCustomHashTable_t* table, const void* key);

// Looks the key up; the newest of several entries counts. Returns 1 with the stored value in *value,
// or 0 with null in it. `value` may be null.
int qelCustomHashTable_Find(const qelCustomHashTable_t* table, const void* key, void** value);

// The stored value, or null. A stored null and a missing key look alike.
void* qelCustomHashTable_GetValue(const qelCustomHashTable_t* table, const void* key);

// 1 if the key is in the table, else 0.
int qelCustomHashTable_Contains(const qelCustomHashTable_t* table, const void* key);

// 1 if a different key with the same full hash is in the table, else 0. Whoever takes keys from
// outside asks this before it adds or removes one, and refuses the key if the answer is 1: with such
// a pair in one table, qelCustomHashTable_Remove and the removal inside qelCustomHashTable_Add would
// not end. It is easily made on purpose: "Aa" and "BB" hash alike.
int qelCustomHashTable_HasCollidingKey(const qelCustomHashTable_t* table, const void* key);

// The number of entries.
uint64_t qelCustomHashTable_GetCount(const qelCustomHashTable_t* table);

// The key at a position of the walking order, from 0; null at or behind the count. It stays the
// table's. COST: whole buckets are skipped in constant time.
const void* qelCustomHashTable_GetKeyAt(const qelCustomHashTable_t* table, uint64_t position);

// Calls visitor(key, value, context) for every entry in walking order.
void qelCustomHashTable_ForEach(const qelCustomHashTable_t* table,
                                qelCustomHashTable_Visitor visitor, void* context);

// Removes every entry in walking order, by its key. The table can be used again.
void qelCustomHashTable_Clear(qelCustomHashTable_t* table);

// A new table with the same callbacks and mode, and copies of all entries, entered in walking order:
// each chain of the copy stands in reverse order of the source's. Null gives null.
qelCustomHashTable_t* qelCustomHashTable_Duplicate(const qelCustomHashTable_t* table);

// Presets of qelCustomHashTable_New: ...New<Key><Value>, "Custom" being the argument.
qelCustomHashTable_t*
qelCustomHashTable_NewWStringCustom(qelCustomHashTable_HelperFunctions_Value valueFunctions);
qelCustomHashTable_t* qelCustomHashTable_NewStringWString();
qelCustomHashTable_t* qelCustomHashTable_NewWStringWString();
qelCustomHashTable_t*
qelCustomHashTable_NewStringCustom(qelCustomHashTable_HelperFunctions_Value valueFunctions);
qelCustomHashTable_t*
qelCustomHashTable_NewIntCustom(qelCustomHashTable_HelperFunctions_Value valueFunctions);
qelCustomHashTable_t* qelCustomHashTable_NewStringString();
qelCustomHashTable_t* qelCustomHashTable_NewStringPlain();
qelCustomHashTable_t* qelCustomHashTable_NewIntPlain();
qelCustomHashTable_t* qelCustomHashTable_NewStringInt();

#endif

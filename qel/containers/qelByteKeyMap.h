#ifndef QEL_CONTAINERS_QELBYTEKEYMAP_H
#define QEL_CONTAINERS_QELBYTEKEYMAP_H
//===----------------------------------------------------------------------===//
// An association list from byte strings to pointer-sized values.
//
//   map --> sentinel <--> node <--> node --> null     in order of first insertion
//
// COST: every operation on a key is O(n): the chain is one, and the hash only
// spares comparing bytes.
// ORDER: entries stay in order of first insertion.
// INVALIDATES: a removed node ends the life of its key copy and of an iterator
// that stands on it; qelByteKeyMap_Clear ends all of them.
// OWNERSHIP: the map owns nodes and key copies, never a value.
// ERRORS: none; exhausted memory is fatal.
// THREADS: one at a time; the client locks. The map's own mutex is created and
// deleted with it, and no operation takes it.
//===----------------------------------------------------------------------===//

#include <cstddef>
#include <cstdint>

struct qelOSMutex;

struct qelByteKeyMap_Node {
  qelByteKeyMap_Node* next;     // null: the last one
  qelByteKeyMap_Node* previous; // null: the sentinel
  uint32_t hash;                // qelByteKeyMap_Hash of the key; 0 in the sentinel
  char* key;                    // owned copy, a zero byte behind it; null: the sentinel
  size_t keyLength;             // bytes, without that zero byte; 0: the sentinel
  void* value;                  // the client's
};

struct qelByteKeyMap_t {
  qelByteKeyMap_Node* sentinel; // begins the chain; never null
  qelOSMutex* mutex;            // taken by no operation
};

struct qelByteKeyMap_Iterator {
  qelByteKeyMap_Node* current; // the sentinel at first; null: at the end
};

// A new empty map. Released by qelByteKeyMap_Delete.
qelByteKeyMap_t* qelByteKeyMap_New();

// Releases the mutex, nodes, key copies and the record; values stay the caller's. Null does nothing.
void qelByteKeyMap_Delete(qelByteKeyMap_t* map);

// Removes all entries; values stay the caller's.
void qelByteKeyMap_Clear(qelByteKeyMap_t* map);

// 1 if key[0..length-1] is in the map, else 0. An empty key never is.
int qelByteKeyMap_Contains(const qelByteKeyMap_t* map, const void* key, size_t length);

// Enters the value under the key, or overwrites the key's value, which is not released.
// REQUIRES: the key is not empty. An empty one changes nothing.
void qelByteKeyMap_Set(qelByteKeyMap_t* map, const void* key, size_t length, void* value);

// The key's value, or null.
void* qelByteKeyMap_Get(const qelByteKeyMap_t* map, const void* key, size_t length);

// Removes the key's entry; a missing key changes nothing.
void qelByteKeyMap_Remove(qelByteKeyMap_t* map, const void* key, size_t length);

// The hash of bytes[0..length-1]: up to 4 bytes are the little-endian word that they make, padded with
// zeros; of more, the first word xor the last, and from 10 on xor the word at length / 2.
uint32_t qelByteKeyMap_Hash(const void* bytes, size_t length);

// An iterator ahead of the first entry. Released by qelByteKeyMap_DeleteIterator.
qelByteKeyMap_Iterator* qelByteKeyMap_NewIterator(const qelByteKeyMap_t* map);

// Releases the iterator. Null does nothing.
void qelByteKeyMap_DeleteIterator(qelByteKeyMap_Iterator* iterator);

// Moves one entry on. Returns 0 on an entry, 1 at the end, where the iterator stays.
int qelByteKeyMap_Next(qelByteKeyMap_Iterator* iterator);

// Key, length and value of the current entry; each out argument may be null. The key stays the map's.
// Ahead of the first entry and at the end: null, 0, null.
void qelByteKeyMap_GetCurrent(const qelByteKeyMap_Iterator* iterator, const void** key,
                              size_t* length, void** value);

#endif

#include <qel/containers/qelByteKeyMap.h>

#include <cstdlib>
#include <cstring>

#include <qel/core/qelMem.h>
#include <qel/multiplatform/qelMutex.h>

static const size_t kWordSize = 4;
static const size_t kMiddleWordFrom = 10; // length from which the hash takes a third word

static qelByteKeyMap_Node* NewNode() {
  return static_cast<qelByteKeyMap_Node*>(qelMem_AllocZero(sizeof(qelByteKeyMap_Node)));
}

static void ReleaseChain(qelByteKeyMap_Node* node) {
  while (node != nullptr) {
    qelByteKeyMap_Node* next = node->next;
    free(node->key);
    free(node);
    node = next;
  }
}

// The key's node. Without one: null, or with `create` a new node at the end. An empty key has none.
static qelByteKeyMap_Node* FindNode(const qelByteKeyMap_t* map, const void* key, size_t length,
                                    bool create) {
  if (length == 0)
    return nullptr;
  const uint32_t hash = qelByteKeyMap_Hash(key, length);
  qelByteKeyMap_Node* node = map->sentinel;
  while (node->next != nullptr) {
    node = node->next;
    if (node->hash == hash && node->keyLength == length && memcmp(node->key, key, length) == 0)
      return node;
  }
  if (!create)
    return nullptr;

  qelByteKeyMap_Node* added = NewNode();
  added->previous = node;
  added->hash = hash;
  added->key = qelMem_StrNDup(static_cast<const char*>(key), length);
  added->keyLength = length;
  node->next = added;
  return added;
}

// The first n bytes, at most four, as a little-endian word.
static uint32_t Word(const unsigned char* bytes, size_t n) {
  uint32_t word = 0;
  for (size_t index = 0; index != n; ++index)
    word |= static_cast<uint32_t>(bytes[index]) << 8 * index;
  return word;
}

qelByteKeyMap_t* qelByteKeyMap_New() {
  auto* map = static_cast<qelByteKeyMap_t*>(qelMem_Alloc(sizeof(qelByteKeyMap_t)));
  map->mutex = qelOSMutex_New();
  map->sentinel = NewNode();
  return map;
}

void qelByteKeyMap_Delete(qelByteKeyMap_t* map) {
  if (map == nullptr)
    return;
  qelOSMutex_Delete(map->mutex);
  ReleaseChain(map->sentinel);
  free(map);
}

void qelByteKeyMap_Clear(qelByteKeyMap_t* map) {
  ReleaseChain(map->sentinel);
  map->sentinel = NewNode();
}

int qelByteKeyMap_Contains(const qelByteKeyMap_t* map, const void* key, size_t length) {
  return FindNode(map, key, length, /*create=*/false) != nullptr;
}

void qelByteKeyMap_Set(qelByteKeyMap_t* map, const void* key, size_t length, void* value) {
  qelByteKeyMap_Node* node = FindNode(map, key, length, /*create=*/true);
  if (node != nullptr)
    node->value = value;
}

void* qelByteKeyMap_Get(const qelByteKeyMap_t* map, const void* key, size_t length) {
  const qelByteKeyMap_Node* node = FindNode(map, key, length, /*create=*/false);
  return node != nullptr ? node->value : nullptr;
}

void qelByteKeyMap_Remove(qelByteKeyMap_t* map, const void* key, size_t length) {
  qelByteKeyMap_Node* node = FindNode(map, key, length, /*create=*/false);
  if (node == nullptr)
    return;
  node->previous->next = node->next;
  if (node->next != nullptr)
    node->next->previous = node->previous;
  free(node->key);
  free(node);
}

uint32_t qelByteKeyMap_Hash(const void* bytes, size_t length) {
  const unsigned char* at = static_cast<const unsigned char*>(bytes);
  if (length <= kWordSize)
    return Word(at, length);
  uint32_t hash = Word(at, kWordSize) ^ Word(at + length - kWordSize, kWordSize);
  if (length >= kMiddleWordFrom)
    hash ^= Word(at + length / 2, kWordSize);
  return hash;
}

qelByteKeyMap_Iterator* qelByteKeyMap_NewIterator(const qelByteKeyMap_t* map) {
  auto* iterator =
      static_cast<qelByteKeyMap_Iterator*>(qelMem_Alloc(sizeof(qelByteKeyMap_Iterator)));
  iterator->current = map->sentinel;
  return iterator;
}

void qelByteKeyMap_DeleteIterator(qelByteKeyMap_Iterator* iterator) {
  free(iterator);
}

int qelByteKeyMap_Next(qelByteKeyMap_Iterator* iterator) {
  if (iterator->current != nullptr)
    iterator->current = iterator->current->next;
  return iterator->current == nullptr;
}

void qelByteKeyMap_GetCurrent(const qelByteKeyMap_Iterator* iterator, const void** key,
                              size_t* length, void** value) {
  // The sentinel's fields are what an iterator ahead of the first entry tells.
  const qelByteKeyMap_Node* node = iterator->current;
  if (key != nullptr)
    *key = node != nullptr ? node->key : nullptr;
  if (length != nullptr)
    *length = node != nullptr ? node->keyLength : 0;
  if (value != nullptr)
    *value = node != nullptr ? node->value : nullptr;
}

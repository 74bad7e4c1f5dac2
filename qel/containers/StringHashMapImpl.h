#ifndef QEL_CONTAINERS_STRINGHASHMAPIMPL_H
#define QEL_CONTAINERS_STRINGHASHMAPIMPL_H
//===----------------------------------------------------------------------===//
// The bodies of qelStringHashMap<T>, for code that is built together with the
// library and wants another T than qelArray_t*. They call the plain layer, which
// the shared library does not offer.
//===----------------------------------------------------------------------===//

#include <cstring>
#include <type_traits>

#include <qel/containers/StringHashMap.h>

// A T in the place of a pointer, and back. A T that is narrower leaves zeros behind it, so that only
// its zero is a null pointer.
template <class T>
void* qelStringHashMap_ToPointer(const T& value) {
  static_assert(sizeof(T) <= sizeof(void*) && std::is_trivially_copyable<T>::value,
                "a value of a string hash map stands in the place of a pointer");
  void* pointer = nullptr;
  memcpy(&pointer, &value, sizeof value);
  return pointer;
}

template <class T>
T qelStringHashMap_FromPointer(const void* pointer) {
  T value;
  memcpy(&value, &pointer, sizeof value);
  return value;
}

template <class T>
qelStringHashMap<T>::qelStringHashMap() : m_table(qelCustomHashTable_NewStringPlain()) {}

template <class T>
qelStringHashMap<T>::qelStringHashMap(qelCustomHashTable_HelperFunctions_Value valueFunctions)
    : m_table(qelCustomHashTable_NewStringCustom(valueFunctions)) {}

// INTENDED: copies share the table without a count. A map is handed over this way, and one of the two
// objects then never dies. Pinned by qelStringHashMapCopy.SharesTheTable.
template <class T>
qelStringHashMap<T>::qelStringHashMap(const qelStringHashMap& other) : m_table(other.m_table) {}

template <class T>
qelStringHashMap<T>& qelStringHashMap<T>::operator=(const qelStringHashMap& other) {
  m_table = other.m_table;
  return *this;
}

template <class T>
qelStringHashMap<T>::~qelStringHashMap() {
  qelCustomHashTable_Delete(m_table);
}

template <class T>
void qelStringHashMap<T>::Add(const char* key, const T& value) {
  qelCustomHashTable_Add(m_table, key, qelStringHashMap_ToPointer(value));
}

template <class T>
void qelStringHashMap<T>::Remove(const char* key) {
  qelCustomHashTable_Remove(m_table, key);
}

template <class T>
bool qelStringHashMap<T>::Find(const char* key, T& value) {
  void* found = nullptr;
  if (qelCustomHashTable_Find(m_table, key, &found) == 0)
    return false;
  value = qelStringHashMap_FromPointer<T>(found);
  return true;
}

template <class T>
T qelStringHashMap<T>::operator[](const char* key) const {
  return qelStringHashMap_FromPointer<T>(qelCustomHashTable_GetValue(m_table, key));
}

template <class T>
size_t qelStringHashMap<T>::GetCount() const {
  return qelCustomHashTable_GetCount(m_table);
}

template <class T>
void qelStringHashMap<T>::Clear() {
  qelCustomHashTable_Clear(m_table);
}

template <class T>
void qelStringHashMap<T>::ForEach(void (*callback)(const char* key, const void* value,
                                                   void* context),
                                  void* context) {
  qelStringHashMap_Pair pair = {callback, context};
  qelCustomHashTable_ForEach(m_table, qelStringHashMap_ForEach, &pair);
}

#endif

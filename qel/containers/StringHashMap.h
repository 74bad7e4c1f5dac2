#ifndef QEL_CONTAINERS_STRINGHASHMAP_H
#define QEL_CONTAINERS_STRINGHASHMAP_H
//===----------------------------------------------------------------------===//
// qelStringHashMap<T>: a hash table from narrow text to a pointer-sized T. Each
// member forwards to qelCustomHashTable, whose order, costs and warning about
// colliding keys hold here too.
//
// The library exports qelStringHashMap<qelArray_t*>. Code that is built together
// with the library gets any other T by including StringHashMapImpl.h as well.
//
// OWNERSHIP: the map owns its table. A COPY SHARES THE TABLE without any count:
// whoever copies sees to it that only one of the two objects is destroyed.
// ERRORS: none is reported but a missing key. REQUIRES: no key is null.
// THREADS: one at a time; the client locks.
//===----------------------------------------------------------------------===//

#include <cstddef>

#include <qel/containers/qelArray.h>
#include <qel/containers/qelCustomHashTable.h>
#include <qel/core/Export.h>

// Called by ForEach with each key and value. It must not change the map.
typedef void (*qelStringHashMap_Callback)(const char* key, const void* value, void* context);

// What ForEach hands through the table: the callback and its context.
struct qelStringHashMap_Pair {
  qelStringHashMap_Callback callback; // never null
  void* context;                      // the caller's; passed on as it stands
};

// The visitor behind ForEach: calls the callback of `pair`, a qelStringHashMap_Pair, with key, value
// and the pair's context.
QEL_EXPORT void qelStringHashMap_ForEach(const void* key, const void* value, void* pair);

template <class T>
class qelStringHashMap {
public:
  // An empty map whose values belong to the client.
  qelStringHashMap();

  // An empty map whose values are copied and released by the two callbacks.
  explicit qelStringHashMap(qelCustomHashTable_HelperFunctions_Value valueFunctions);

  // Shares the other map's table; see OWNERSHIP.
  qelStringHashMap(const qelStringHashMap& other);

  // Shares the other map's table. The table that this map held is neither cleared nor released.
  qelStringHashMap& operator=(const qelStringHashMap& other);

  // Releases the table and its entries.
  virtual ~qelStringHashMap();

  // Enters a value under a copy of the key; an older value of that key goes.
  void Add(const char* key, const T& value);

  // Removes the key's entry; a missing key changes nothing.
  void Remove(const char* key);

  // True with the value in `value`; or false with `value` left as it was.
  bool Find(const char* key, T& value);

  // The value, or T's zero if the key is missing.
  T operator[](const char* key) const;

  // The number of entries.
  size_t GetCount() const;

  // Removes all entries.
  void Clear();

  // Calls callback(key, value, context) for every entry in the table's walking order.
  void ForEach(void (*callback)(const char* key, const void* value, void* context), void* context);

protected:
  qelCustomHashTable_t* m_table; // owned; see OWNERSHIP
};

extern template class QEL_EXPORT qelStringHashMap<qelArray_t*>;

#endif

#include <qel/containers/StringHashMap.h>

#include <qel/containers/StringHashMapImpl.h>

void qelStringHashMap_ForEach(const void* key, const void* value, void* pair) {
  const qelStringHashMap_Pair* target = static_cast<const qelStringHashMap_Pair*>(pair);
  return target->callback(static_cast<const char*>(key), value, target->context);
}

template class qelStringHashMap<qelArray_t*>;

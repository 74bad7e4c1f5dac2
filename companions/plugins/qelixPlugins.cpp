#include <companions/plugins/qelixPlugins.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

// The record of a packed block is all that this library knows of qel; it calls none of its functions.
#include <qel/serialize/qelPackedData.h>

namespace {

std::atomic<size_t> g_lists{0};
std::atomic<size_t> g_properties{0};

// The whole of a list: what everyone reads, then the count.
struct List : qelPropertyList {
  std::atomic<size_t> holds; // the list is freed when it falls to 0
};

// The whole of a property.
struct Property : qelProperty {
  uint32_t room; // values allocated, at least count
};

} // namespace

static_assert(offsetof(qelData, value) == 8 && sizeof(qelData) == 16, "a kind, then 8 bytes");

static void* Realloc(void* block, size_t size) {
  void* moved = realloc(block, size);
  if (moved == nullptr)
    abort();
  return moved;
}

static void* CopyOf(const void* bytes, size_t size) {
  return memcpy(Realloc(nullptr, size), bytes, size);
}

static size_t LengthOf(const qelPluginsWChar* text) {
  size_t length = 0;
  while (text[length] != 0)
    ++length;
  return length;
}

// The copy is a finished block, whatever state the original is in; that one is not touched.
static qelPackedData_t* CopyOf(const qelPackedData_t* data) {
  qelPackedData_t* copy = static_cast<qelPackedData_t*>(CopyOf(data, sizeof *data));
  copy->block = static_cast<char*>(CopyOf(data->block, data->used));
  copy->header = reinterpret_cast<uint32_t*>(copy->block);
  copy->header[0] = static_cast<uint32_t>(data->used);
  copy->capacity = data->used;
  return copy;
}

static void Delete(qelPackedData_t* data) {
  if (data == nullptr)
    return;
  free(data->block);
  free(data);
}

static void Clear(qelData& value) {
  if (value.own != 0) {
    if (value.kind == QEL_DATA_CHARPTR)
      free(const_cast<char*>(value.value.text));
    else if (value.kind == QEL_DATA_WCHARPTR)
      free(const_cast<qelPluginsWChar*>(value.value.wide));
    else if (value.kind == QEL_DATA_PACKEDDATA)
      Delete(value.value.packed);
  }
  value = qelData();
  value.kind = QEL_DATA_NONE;
}

// Puts the new value into its place and frees the old one, which may have been the source of a copy.
static void Replace(qelProperty* property, uint32_t index, const qelData& value) {
  Clear(property->values[index]);
  property->values[index] = value;
}

static bool Holds(const qelProperty* property, uint32_t index) {
  return property != nullptr && index < property->count;
}

static void DeleteProperty(qelProperty* property) {
  for (uint32_t i = 0; i < property->count; ++i)
    Clear(property->values[i]);
  free(property->values);
  free(const_cast<char*>(property->key));
  free(static_cast<Property*>(property));
  g_properties.fetch_sub(1, std::memory_order_relaxed);
}

static void DeleteList(List* list) {
  for (qelProperty* property = list->first; property != nullptr;) {
    qelProperty* next = property->next;
    DeleteProperty(property);
    property = next;
  }
  list->~List();
  free(list);
  g_lists.fetch_sub(1, std::memory_order_relaxed);
}

qelPropertyList* qelPropertyList_New(void) {
  List* list = new (Realloc(nullptr, sizeof(List))) List();
  list->first = nullptr;
  list->holds.store(1, std::memory_order_relaxed);
  g_lists.fetch_add(1, std::memory_order_relaxed);
  return list;
}

qelProperty* qelPropertyList_Take(qelPropertyList* list, const char* key) {
  if (list == nullptr)
    return nullptr;
  qelProperty* found = nullptr;
  if (key != nullptr) {
    for (found = list->first; found != nullptr && strcmp(found->key, key) != 0;)
      found = found->next;
    if (found == nullptr)
      return nullptr;
  }
  static_cast<List*>(list)->holds.fetch_add(1, std::memory_order_relaxed);
  return found;
}

void qelPropertyList_Release(qelPropertyList* list) {
  if (list == nullptr)
    return;
  // Whoever lets go last must see all that the others did with the list.
  if (static_cast<List*>(list)->holds.fetch_sub(1, std::memory_order_acq_rel) == 1)
    DeleteList(static_cast<List*>(list));
}

qelProperty* qelProperty_New(const char* key, uint32_t count) {
  if (key == nullptr)
    key = "";
  Property* property = new (Realloc(nullptr, sizeof(Property))) Property();
  property->key = static_cast<char*>(CopyOf(key, strlen(key) + 1));
  g_properties.fetch_add(1, std::memory_order_relaxed);
  qelProperty_Resize(property, count);
  return property;
}

void qelProperty_Resize(qelProperty* property, uint32_t count) {
  if (property == nullptr)
    return;
  for (uint32_t i = count; i < property->count; ++i)
    Clear(property->values[i]);

  Property* whole = static_cast<Property*>(property);
  if (count > whole->room) {
    // Half as much again, so that growth by one value is cheap.
    const uint64_t wanted = uint64_t(whole->room) + whole->room / 2;
    whole->room = wanted > count && wanted <= 0xFFFFFFFFu ? static_cast<uint32_t>(wanted) : count;
    whole->values = static_cast<qelData*>(Realloc(whole->values, whole->room * sizeof(qelData)));
  }
  for (uint32_t i = property->count; i < count; ++i) {
    property->values[i] = qelData();
    property->values[i].kind = QEL_DATA_NONE;
  }
  property->count = count;
}

void qelProperty_Set_charPtr(qelProperty* property, const char* text, int copy, uint32_t index) {
  if (!Holds(property, index))
    return;
  qelData data = qelData();
  data.kind = QEL_DATA_CHARPTR;
  data.own = copy != 0 && text != nullptr;
  data.value.text = data.own ? static_cast<char*>(CopyOf(text, strlen(text) + 1)) : text;
  Replace(property, index, data);
}

void qelProperty_Set_wcharPtr(qelProperty* property, const qelPluginsWChar* text, int copy,
                              uint32_t index) {
  if (!Holds(property, index))
    return;
  qelData data = qelData();
  data.kind = QEL_DATA_WCHARPTR;
  data.own = copy != 0 && text != nullptr;
  data.value.wide = text;
  if (data.own) {
    const size_t size = (LengthOf(text) + 1) * sizeof *text;
    data.value.wide = static_cast<qelPluginsWChar*>(CopyOf(text, size));
  }
  Replace(property, index, data);
}

void qelProperty_Set_packedData(qelProperty* property, qelPackedData_t* packed, int copy,
                                uint32_t index) {
  if (!Holds(property, index))
    return;
  if (packed != nullptr && packed->block == nullptr)
    packed = nullptr;
  qelData data = qelData();
  data.kind = QEL_DATA_PACKEDDATA;
  data.own = copy != 0 && packed != nullptr;
  data.value.packed = data.own ? CopyOf(packed) : packed;
  Replace(property, index, data);
}

void qelProperty_Set_uint32(qelProperty* property, uint32_t value, uint32_t index) {
  if (!Holds(property, index))
    return;
  qelData data = qelData();
  data.kind = QEL_DATA_UINT32;
  data.value.u32 = value;
  Replace(property, index, data);
}

void qelProperty_Set_uint64(qelProperty* property, uint64_t value, uint32_t index) {
  if (!Holds(property, index))
    return;
  qelData data = qelData();
  data.kind = QEL_DATA_UINT64;
  data.value.u64 = value;
  Replace(property, index, data);
}

void qelProperty_Set_double(qelProperty* property, double value, uint32_t index) {
  if (!Holds(property, index))
    return;
  qelData data = qelData();
  data.kind = QEL_DATA_DOUBLE;
  data.value.number = value;
  Replace(property, index, data);
}

size_t qelPlugins_CountLists(void) {
  return g_lists.load(std::memory_order_relaxed);
}

size_t qelPlugins_CountProperties(void) {
  return g_properties.load(std::memory_order_relaxed);
}

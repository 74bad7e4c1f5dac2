#include <qel/containers/qelArray.h>

#include <cstdlib>
#include <cstring>

#include <qel/core/qelMem.h>

static const size_t kFirstCapacity = 512;
static const size_t kSmallStep = 512; // of a capacity below itself
static const size_t kLargestStep = 2048;
static const size_t kCountSize = 4; // bytes of the count ahead of a serialised array

static size_t Smaller(size_t a, size_t b) {
  return a < b ? a : b;
}

static size_t Greater(size_t a, size_t b) {
  return a > b ? a : b;
}

qelArray_t* qelArray_New() {
  auto* array = static_cast<qelArray_t*>(qelMem_AllocZero(sizeof(qelArray_t)));
  qelArray_Reserve(array, kFirstCapacity);
  return array;
}

void qelArray_Delete(qelArray_t* array) {
  if (array == nullptr)
    return;
  qelArray_RemoveRange(array, 0, array->count);
  free(array->items);
  free(array);
}

size_t qelArray_GetCount(const qelArray_t* array) {
  return array->count;
}

void* qelArray_GetAt(const qelArray_t* array, size_t index) {
  return array->items[index];
}

void qelArray_SetAt(qelArray_t* array, size_t index, void* value) {
  // INTENDED: a null item goes through the release callback too, as in SortedInsert's fresh slot; a
  // callback accepts null. Pinned by qelArraySetAt.ReleasesANullItemToo.
  if (array->freeItem != nullptr)
    array->freeItem(array->items[index]);
  array->items[index] = value;
}

void qelArray_Append(qelArray_t* array, void* value) {
  qelArray_Reserve(array, 1);
  array->items[array->count++] = value;
}

void qelArray_InsertSlots(qelArray_t* array, size_t index, size_t n) {
  if (n == 0)
    return;
  qelArray_Reserve(array, n);
  void** gap = array->items + index;
  memmove(gap + n, gap, (array->count - index) * sizeof *gap);
  memset(gap, 0, n * sizeof *gap);
  array->count += n;
}

size_t qelArray_SortedInsert(qelArray_t* array, void* value) {
  const size_t index = qelArray_FindInsertPosition(array, value);
  qelArray_InsertSlots(array, index, 1);
  qelArray_SetAt(array, index, value);
  return index;
}

void qelArray_RemoveRange(qelArray_t* array, size_t start, size_t n) {
  if (array->freeItem != nullptr)
    for (size_t index = start; index != start + n; ++index)
      array->freeItem(array->items[index]);
  if (n == 0)
    return;
  void** gap = array->items + start;
  memmove(gap, gap + n, (array->count - start - n) * sizeof *gap);
  array->count -= n;
}

void qelArray_Remove(qelArray_t* array, const void* value) {
  const int64_t index = qelArray_IndexOf(array, value);
  if (index >= 0)
    qelArray_RemoveRange(array, static_cast<size_t>(index), 1);
}

void qelArray_Clear(qelArray_t* array) {
  if (array->count != 0)
    qelArray_RemoveRange(array, 0, array->count);
}

int64_t qelArray_IndexOf(const qelArray_t* array, const void* value) {
  for (size_t index = 0; index != array->count; ++index)
    if (array->items[index] == value)
      return static_cast<int64_t>(index);
  return -1;
}

int32_t qelArray_FindIf(const qelArray_t* array, const void* value, qelArray_Predicate predicate) {
  for (size_t index = 0; index != array->count; ++index)
    if (predicate(array->items[index], value) != 0)
      return static_cast<int32_t>(index);
  return -1;
}

void qelArray_SetFreeFunction(qelArray_t* array, qelArray_Free freeItem) {
  array->freeItem = freeItem;
}

void qelArray_SetCompare(qelArray_t* array, qelArray_Compare compare, int sorted) {
  array->compare = compare;
  array->sorted = sorted;
  if (compare != nullptr)
    qelArray_Sort(array);
}

void qelArray_Sort(qelArray_t* array) {
  if (array->compare != nullptr && array->count > 1)
    qsort(array->items, array->count, sizeof *array->items, array->compare);
}

size_t qelArray_FindInsertPosition(const qelArray_t* array, const void* probe) {
  if (array->compare == nullptr || array->sorted == 0)
    return array->count;
  size_t low = 0;
  size_t high = array->count;
  while (low != high) {
    const size_t mid = (low + high) / 2;
    const int order = array->compare(probe, array->items[mid]);
    if (order == 0)
      return mid;
    if (order < 0)
      high = mid;
    else
      low = mid + 1;
  }
  return low;
}

void qelArray_Reserve(qelArray_t* array, size_t n) {
  const size_t capacity = array->capacity;
  // INTENDED: a full array grows even for n 0. Pinned by
  // qelArrayReserve.GrowsAFullArrayEvenForNothing.
  if (capacity != array->count && n <= capacity - array->count)
    return;
  if (capacity == 0) {
    qelArray_SetCapacity(array, Greater(kFirstCapacity, n));
    return;
  }
  const size_t step = capacity < kSmallStep ? kSmallStep : Smaller(capacity / 2, kLargestStep);
  const size_t growth = Greater(step, n);
  qelArray_SetCapacity(array, growth <= SIZE_MAX - capacity ? capacity + growth : SIZE_MAX);
}

void qelArray_SetCapacity(qelArray_t* array, size_t capacity) {
  // More slots than memory has addresses is exhaustion, not a small block.
  const size_t size =
      capacity <= SIZE_MAX / sizeof(void*) ? capacity * sizeof(void*) : SIZE_MAX / 2;
  array->items = static_cast<void**>(qelMem_Realloc(array->items, size));
  array->capacity = capacity;
}

// Byte form ----------------------------------------------------------------------

char* qelArray_Serialize(const qelArray_t* array, size_t* size, qelArray_ItemWriter writer) {
  unsigned char count[kCountSize];
  for (size_t byte = 0; byte != kCountSize; ++byte)
    count[byte] = static_cast<unsigned char>(array->count >> 8 * byte & 0xFF);

  qelArrayBuffer_t* buffer = qelArrayBuffer_New(kCountSize);
  qelArrayBuffer_Append(buffer, count, kCountSize);
  for (size_t index = 0; index != array->count; ++index)
    writer(buffer, array->items[index], index);
  char* block = qelArrayBuffer_Detach(buffer, /*shrink=*/1, size);
  qelArrayBuffer_Delete(buffer);
  return block;
}

qelArray_t* qelArray_Deserialize(const void* data, size_t, qelArray_ItemReader reader) {
  const unsigned char* bytes = static_cast<const unsigned char*>(data);
  uint32_t count = 0;
  for (size_t byte = kCountSize; byte != 0; --byte)
    count = count << 8 | bytes[byte - 1];

  qelArray_t* array = qelArray_New();
  const char* position = static_cast<const char*>(data) + kCountSize;
  for (size_t index = 0; index != count; ++index)
    position += reader(array, position, index);
  return array;
}

void qelArray_SerializeString(qelArrayBuffer_t* buffer, const void* item, size_t) {
  const char* text = item != nullptr ? static_cast<const char*>(item) : "";
  qelArrayBuffer_Append(buffer, text, strlen(text) + 1);
}

size_t qelArray_DeserializeString(qelArray_t* array, const char* position, size_t) {
  qelArray_Append(array, qelMem_StrDup(position));
  return strlen(position) + 1;
}

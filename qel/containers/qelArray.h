#ifndef QEL_CONTAINERS_QELARRAY_H
#define QEL_CONTAINERS_QELARRAY_H
//===----------------------------------------------------------------------===//
// A growable array of pointer-sized items, with an optional release callback, an
// optional order, and a byte form.
//
//   items: | 0 | 1 | ... | count - 1 | unset ... |      count <= capacity
//
// COST: access O(1); append amortised O(1), though growth is bounded: 512 slots at
// once, then by half of the capacity, by 2048 slots at most; insertion, removal
// and IndexOf O(n); FindInsertPosition O(log n).
// INVALIDATES: growth moves the slots, so no pointer to a slot outlives it.
// ORDER: that of the indexes.
// OWNERSHIP: the array owns its slots. With a release callback it owns its items
// too, and the callback gets each item that leaves, once, before slots move.
// ERRORS: none; exhausted memory is fatal. Indexes are never checked.
// THREADS: one at a time; the client locks.
//===----------------------------------------------------------------------===//

#include <cstddef>
#include <cstdint>

#include <qel/containers/qelArrayBuffer.h>
#include <qel/core/Types.h>

// The order of items: below 0, 0 or above 0.
// INTENDED: it is called in two ways. qelArray_Sort hands it the ADDRESSES of two slots,
// qelArray_FindInsertPosition the probe and the item THEMSELVES. Who uses both on one array gets
// nonsense from one of them; a client that keeps an array sorted sets the order while it is empty.
// Pinned by qelArraySort.HandsAddressesOfSlots and
// qelArrayFindInsertPosition.HandsTheProbeAndTheItemThemselves.
typedef int (*qelArray_Compare)(const void* a, const void* b);

// Releases an item.
typedef void (*qelArray_Free)(void* item);

// Not 0 for the item that is looked for.
typedef int (*qelArray_Predicate)(const void* item, const void* value);

struct qelArray_t {
  void** items;             // the slots; owned
  size_t count;             // items in use
  size_t capacity;          // slots allocated
  qelArray_Compare compare; // null: no order
  qelArray_Free freeItem;   // null: nothing is released
  int32_t sorted;           // not 0, and a compare callback: SortedInsert keeps the order
};

// Appends one item's byte form to the buffer.
typedef void (*qelArray_ItemWriter)(qelArrayBuffer_t* buffer, const void* item, size_t index);

// Reads one item at `position`, appends it to the array and returns the bytes that it took.
typedef size_t (*qelArray_ItemReader)(qelArray_t* array, const char* position, size_t index);

// A new empty array with 512 slots. Released by qelArray_Delete.
qelArray_t* qelArray_New();

// Releases all items, the slots and the record. Null does nothing.
void qelArray_Delete(qelArray_t* array);

// The number of items.
size_t qelArray_GetCount(const qelArray_t* array);

// The item at the index.
void* qelArray_GetAt(const qelArray_t* array, size_t index);

// Releases the old item, also when it is null, and stores the new one.
void qelArray_SetAt(qelArray_t* array, size_t index, void* value);

// Stores the value behind the last item.
void qelArray_Append(qelArray_t* array, void* value);

// Moves the items from index on up by n and fills the gap with null; n 0 does nothing.
void qelArray_InsertSlots(qelArray_t* array, size_t index, size_t n);

// Inserts the value at qelArray_FindInsertPosition and returns its index. The release callback is
// called once with null, for the fresh slot.
size_t qelArray_SortedInsert(qelArray_t* array, void* value);

// Releases the n items from start on in ascending order, then closes the gap.
void qelArray_RemoveRange(qelArray_t* array, size_t start, size_t n);

// Removes and releases the first item that is this very pointer; none changes nothing.
void qelArray_Remove(qelArray_t* array, const void* value);

// Removes and releases all items; the capacity stays.
void qelArray_Clear(qelArray_t* array);

// The index of the first item that is this very pointer, or -1.
int64_t qelArray_IndexOf(const qelArray_t* array, const void* value);

// The index of the first item for which predicate(item, value) is not 0, or -1.
int32_t qelArray_FindIf(const qelArray_t* array, const void* value, qelArray_Predicate predicate);

// Sets the release callback; null: items are the client's.
void qelArray_SetFreeFunction(qelArray_t* array, qelArray_Free freeItem);

// Sets the order and whether SortedInsert keeps it, and sorts at once unless compare is null.
void qelArray_SetCompare(qelArray_t* array, qelArray_Compare compare, int sorted);

// Sorts with the C library's qsort, so equal items may change places. No effect without an order.
void qelArray_Sort(qelArray_t* array);

// Where SortedInsert would put the probe: the count, if the array has no order or is not kept sorted;
// otherwise the place that a binary search meets, which is ahead of the equal item that it hits.
size_t qelArray_FindInsertPosition(const qelArray_t* array, const void* probe);

// Makes room for n more items. An array that is exactly full grows even for n 0.
void qelArray_Reserve(qelArray_t* array, size_t n);

// Gives the array exactly so many slots. The count is not touched.
void qelArray_SetCapacity(qelArray_t* array, size_t capacity);

// The array as one block: the count in four little-endian bytes, then what the writer appends for
// each item in order of index. The block's size goes to *size; the caller releases it with free.
char* qelArray_Serialize(const qelArray_t* array, size_t* size, qelArray_ItemWriter writer);

// A new array from such a block. The reader is called for as many items as the block tells.
// REQUIRES: the block is well-formed. `size` is not consulted and nothing here bounds the walk, so a
// block from outside is checked before it comes here.
qelArray_t* qelArray_Deserialize(const void* data, size_t size, qelArray_ItemReader reader);

// Writer and reader of items that are narrow text: the bytes with the terminator. A null item is
// written as the empty text and comes back as that. The reader's text is a duplicate, released with
// free by the client or by a release callback.
void qelArray_SerializeString(qelArrayBuffer_t* buffer, const void* item, size_t index);
size_t qelArray_DeserializeString(qelArray_t* array, const char* position, size_t index);

#endif

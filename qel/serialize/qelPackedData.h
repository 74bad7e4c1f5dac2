#ifndef QEL_SERIALIZE_QELPACKEDDATA_H
#define QEL_SERIALIZE_QELPACKEDDATA_H
//===----------------------------------------------------------------------===//
// A small database of tagged values in one flat block that can be moved, stored
// and read in place: a fixed table of slots, in each a chain of chunks, each
// chunk an id and up to 65,534 bytes.
//
//   block   | size | slotCount | offset of slot 0 | offset of slot 1 | ... | records ... |
//             4 bytes each, 0xFFFFFFFF for a slot that was never begun
//   record  | chunkCount | chunk | chunk | ...     2 bytes, then the chunks
//   chunk   | size | id | payload | pad |          2 bytes each, pad: 1 byte after an odd size
//
// Offsets count from the start of the block. The words of the header and of the
// table are little-endian words of the machine, what stands in the records is
// little-endian bytes without alignment. The pad byte is undefined. The size is
// 0 or the capacity while a block is built, and right in what GetData and Detach
// hand out.
//
// A block is built slot by slot: New, then for each slot BeginSlot and AddChunk,
// then Detach or GetData. A slot that is not the last one begun ("open") is
// changed through InsertChunk and UpdateChunk, which move all that lies behind.
// An opened block can be written on; its last slot in use is the open one.
//
// COST: look-up walks the chunks of one slot and allocates nothing. AddChunk is
// amortised O(size) for slots alike; insertion and update are O(block).
// INVALIDATES: every writer may move the block, and with it all payloads. Data
// that is handed to a writer must not lie in the block.
// OWNERSHIP: the record owns its block, until Detach.
// ERRORS: bad slots are refused, by all but BeginSlot. Readers trust the block: one
// that comes from outside passes qelPackedData_IsValidBlock first. Exhausted
// memory is fatal, in qelPackedData_New it gives null.
// THREADS: one at a time; readers alone may share.
//===----------------------------------------------------------------------===//

#include <cstddef>
#include <cstdint>

#include <qel/containers/qelArray.h>

struct qelPackedData_t {
  uint32_t begunSlots; // slots begun so far; the open one is begunSlots - 1
  uint32_t slotCount;  // copy of the header word
  uint64_t capacity;   // bytes allocated; of an opened block, its size
  char* block;         // owned; null after a detach
  uint32_t* header;    // the block as words; equal to block
  uint64_t used;       // bytes in use
  uint64_t tail;       // of them, those behind the open slot's last chunk
};

// Creation and release ---------------------------------------------------------

// An empty block of so many slots, none begun. Null when memory is exhausted. Released by
// qelPackedData_Delete.
qelPackedData_t* qelPackedData_New(uint32_t slotCount);

// A finished block of no slots, 8 bytes. Null when memory is exhausted. The caller releases it with
// free.
char* qelPackedData_NewEmptyBlock();

// 1 if block[0..size-1] can be opened and read: no read of it through this module leaves it. Else 0,
// with a log line that tells why. The test for every block from outside, ahead of opening it.
//
// Refused are a declared size beyond `size` (more bytes than declared are allowed), a table that does
// not fit, offsets that leave the block, do not ascend or lie in the record ahead, and chunks that
// leave the block or are larger than a chunk can be. The block needs no alignment.
int qelPackedData_IsValidBlock(const void* block, size_t size);

// A record that adopts the block, which must come from malloc. REQUIRES: the block is valid.
qelPackedData_t* qelPackedData_Open(void* block);

// A record with a copy of the block. REQUIRES: the block is valid.
qelPackedData_t* qelPackedData_OpenCopy(const void* block);

// Release the record's block and take another, as Open and OpenCopy do. A copy may be one of the
// record's own block; SetBlock REQUIRES another one.
void qelPackedData_SetBlock(qelPackedData_t* data, void* block);
void qelPackedData_SetBlockCopy(qelPackedData_t* data, const void* block);

// Releases block and record. Null does nothing.
void qelPackedData_Delete(qelPackedData_t* data);

// A record with a copy of the block; null for null. Of an unfinished block that has grown, the copy
// has the whole capacity in use, with the free bytes as a tail; GetData ahead of Duplicate gives a
// copy of just what is in use.
qelPackedData_t* qelPackedData_Duplicate(qelPackedData_t* data);

// Finishes the block and hands it over, cut to its size. The caller releases it with free; the record
// is good for SetBlock, SetBlockCopy and Delete only.
char* qelPackedData_Detach(qelPackedData_t* data);

// Finishes the block, reports its size in *size unless that is null, and returns it. It stays the
// record's.
const char* qelPackedData_GetData(qelPackedData_t* data, size_t* size);

// The bytes allocated; of an opened block, its size.
uint64_t qelPackedData_GetSize(const qelPackedData_t* data);

// The number of slots, begun or not.
uint32_t qelPackedData_GetSlotCount(const qelPackedData_t* data);

// Reading ----------------------------------------------------------------------

// The payload of the slot's first chunk with this id, and its size in *size unless that is null. Null
// and size 0 if there is none. A chunk of size 0 is one: its result is not null.
const char* qelPackedData_FindChunk(const qelPackedData_t* data, uint32_t slot, uint16_t id,
                                    size_t* size);

// The same with the empty text instead of null.
const char* qelPackedData_GetChunkOrEmpty(const qelPackedData_t* data, uint32_t slot, uint16_t id,
                                          size_t* size);

// The first four or two bytes of the payload as a little-endian number; 0 if there is no such chunk.
// The chunk's size is not looked at: of a shorter one the bytes behind it count, and 0 for those past
// the bytes in use.
uint32_t qelPackedData_GetU32(const qelPackedData_t* data, uint32_t slot, uint16_t id);
uint16_t qelPackedData_GetU16(const qelPackedData_t* data, uint32_t slot, uint16_t id);

// The number of chunks in the slot; 0 for one that is out of range or was never begun.
uint32_t qelPackedData_GetChunkCount(const qelPackedData_t* data, uint32_t slot);

// A new array of the items in the chunk that AddArray wrote, an empty one if there is none or it has
// fewer than four bytes. Released by qelArray_Delete. The reader sees a copy of the payload with a
// zero byte behind it and is called no more once that is used up, whatever count it tells. A reader
// of items that are not terminated texts makes its own checks.
qelArray_t* qelPackedData_GetArray(const qelPackedData_t* data, uint32_t slot, uint16_t id,
                                   qelArray_ItemReader reader);

// Walks all slots and logs each that leaves the allocated bytes. Changes nothing; null does nothing.
void qelPackedData_Check(const qelPackedData_t* data);

// Writing ----------------------------------------------------------------------

// Begins the next slot and returns the offset of its record. REQUIRES: fewer than slotCount slots
// have been begun.
uint32_t qelPackedData_BeginSlot(qelPackedData_t* data);

// Appends a chunk to the open slot; nothing if no slot is begun. One of more than 65,534 bytes, or
// beyond 65,535 chunks in the slot, is refused with a log line.
void qelPackedData_AddChunk(qelPackedData_t* data, uint16_t id, const void* bytes, size_t size);

// Appends the array's byte form as one chunk, of size 0 for an array without items.
void qelPackedData_AddArray(qelPackedData_t* data, uint16_t id, const qelArray_t* array,
                            qelArray_ItemWriter writer);

// Adds a chunk behind the others of the slot. 1, or 0 if the slot is out of range or was never begun,
// or if the chunk is refused as in AddChunk.
int qelPackedData_InsertChunk(qelPackedData_t* data, uint32_t slot, uint16_t id, const void* bytes,
                              size_t size);

// Replaces the payload of the slot's first chunk with this id. If there is none, `create` not 0
// inserts it. 1, or 0 as for InsertChunk, and for a missing chunk without `create`.
int qelPackedData_UpdateChunk(qelPackedData_t* data, uint32_t slot, uint16_t id, const void* bytes,
                              size_t size, int create);

#endif

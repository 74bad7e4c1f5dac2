#define QEL_LOG_MODULE 99
#define QEL_LOG_FILE "..\\..\\qelPackedData"

#include <qel/serialize/qelPackedData.h>

#include <cstdlib>
#include <cstring>

#include <qel/core/Log.h>
#include <qel/core/qelMem.h>

static const uint32_t kUnset = 0xFFFFFFFF;      // table entry of a slot that was never begun
static const uint32_t kLastOffset = 0xFFFFFFFD; // entries above it are no offsets
static const uint32_t kWord = 4;                // bytes of a word of the header or the table
static const uint32_t kHeaderWords = 2;         // ahead of the table
static const uint32_t kCountSize = 2;           // bytes of a record's chunkCount
static const uint32_t kChunkHeader = 4;         // bytes of size and id
static const size_t kLargestChunk = 65534;
static const uint32_t kMostChunks = 65535;
static const uint64_t kBytesPerSlot = 128; // of a new block
static const uint64_t kGrowthSlack = 128;

// Words and fields -------------------------------------------------------------

static uint32_t ReadField(const char* at) {
  const unsigned char* bytes = reinterpret_cast<const unsigned char*>(at);
  return bytes[0] | static_cast<uint32_t>(bytes[1]) << 8;
}

static void WriteField(char* at, uint32_t value) {
  at[0] = static_cast<char>(value & 255);
  at[1] = static_cast<char>(value >> 8 & 255);
}

static uint32_t Padded(uint32_t size) {
  return (size + 1) & 0xFFFE;
}

static uint32_t ChunkSize(const char* chunk) {
  return ReadField(chunk);
}

static uint32_t ChunkId(const char* chunk) {
  return ReadField(chunk + 2);
}

// From one chunk to the next.
static uint32_t ChunkStep(const char* chunk) {
  return kChunkHeader + ((ChunkSize(chunk) + 1) & ~1u);
}

static uint32_t* TableEntry(const qelPackedData_t* data, uint32_t slot) {
  return data->header + kHeaderWords + slot;
}

// Whether the slot is in the table and was begun.
static bool IsSet(const qelPackedData_t* data, uint32_t slot) {
  return slot < data->header[1] && *TableEntry(data, slot) != kUnset;
}

static char* SlotRecord(const qelPackedData_t* data, uint32_t slot) {
  return data->block + *TableEntry(data, slot);
}

// The slot's first chunk with the id, or null. The walk stays among the bytes in use, so that a corrupt
// block does not lead it astray.
static char* FindChunkOfSlot(const qelPackedData_t* data, uint32_t slot, uint16_t id) {
  uint32_t count = ReadField(SlotRecord(data, slot));
  uint64_t position = uint64_t{*TableEntry(data, slot)} + kCountSize;
  for (; count != 0 && position + kChunkHeader <= data->used; --count) {
    char* chunk = data->block + position;
    if (ChunkId(chunk) == id)
      return position + kChunkHeader + ChunkSize(chunk) <= data->used ? chunk : nullptr;
    position += ChunkStep(chunk);
  }
  return nullptr;
}

// Where a record ends whose chunks are well-formed and lie ahead of `end`, or 0.
static uint64_t RecordEnd(const char* block, uint64_t offset, uint64_t end) {
  if (offset > end || end - offset < kCountSize)
    return 0;
  uint32_t count = ReadField(block + offset);
  offset += kCountSize;
  for (; count != 0; --count) {
    if (end - offset < kChunkHeader)
      return 0;
    const char* chunk = block + offset;
    if (ChunkSize(chunk) > kLargestChunk || end - offset < ChunkStep(chunk))
      return 0;
    offset += ChunkStep(chunk);
  }
  return offset;
}

// Creation and release ---------------------------------------------------------

qelPackedData_t* qelPackedData_New(uint32_t slotCount) {
  const uint64_t capacity = (uint64_t{slotCount} + 1) * kBytesPerSlot;
  if (capacity > SIZE_MAX)
    return nullptr;
  auto* data = static_cast<qelPackedData_t*>(calloc(1, sizeof(qelPackedData_t)));
  if (data == nullptr)
    return nullptr;
  // Pad bytes are never written and leave with the block: they must not show old memory.
  data->block = static_cast<char*>(calloc(1, static_cast<size_t>(capacity)));
  if (data->block == nullptr) {
    free(data);
    return nullptr;
  }
  data->slotCount = slotCount;
  data->capacity = capacity;
  data->used = (uint64_t{slotCount} + kHeaderWords) * kWord;
  data->header = reinterpret_cast<uint32_t*>(data->block);
  data->header[1] = slotCount;
  memset(TableEntry(data, 0), 0xFF, size_t{slotCount} * kWord);
  return data;
}

char* qelPackedData_NewEmptyBlock() {
  qelPackedData_t* data = qelPackedData_New(0);
  if (data == nullptr)
    return nullptr;
  char* block = qelPackedData_Detach(data);
  qelPackedData_Delete(data);
  return block;
}

static uint32_t WordAt(const char* block, uint64_t index) {
  uint32_t word;
  memcpy(&word, block + index * kWord, kWord);
  return word;
}

static int RefuseBlock(const char* reason, uint64_t at) {
  QEL_LOG(1, "qelPackedData: Block refused: %s (%lu)\n", reason, static_cast<unsigned long>(at));
  return 0;
}

int qelPackedData_IsValidBlock(const void* block, size_t size) {
  const char* bytes = static_cast<const char*>(block);
  if (bytes == nullptr || size < kHeaderWords * kWord)
    return RefuseBlock("too short for a header", size);
  const uint64_t end = WordAt(bytes, 0);
  if (end > size)
    return RefuseBlock("shorter than it says", end);
  const uint64_t slotCount = WordAt(bytes, 1);
  uint64_t recordEnd = (slotCount + kHeaderWords) * kWord;
  if (recordEnd > end)
    return RefuseBlock("too short for its slots", slotCount);

  for (uint64_t slot = 0; slot != slotCount; ++slot) {
    const uint32_t offset = WordAt(bytes, kHeaderWords + slot);
    if (offset == kUnset)
      continue;
    if (offset < recordEnd || offset > end)
      return RefuseBlock("slot out of place", slot);
    recordEnd = RecordEnd(bytes, offset, end);
    if (recordEnd == 0)
      return RefuseBlock("chunk out of place", slot);
  }
  return 1;
}

// Points the record at a block that it owns.
static void Adopt(qelPackedData_t* data, char* block) {
  data->block = block;
  data->header = reinterpret_cast<uint32_t*>(block);
  data->capacity = data->header[0];
  data->used = data->header[0];
  data->slotCount = data->header[1];
  data->begunSlots = data->slotCount;
  while (data->begunSlots != 0 && *TableEntry(data, data->begunSlots - 1) == kUnset)
    --data->begunSlots;
  data->tail = 0;
  if (data->begunSlots != 0) {
    const uint64_t end = RecordEnd(block, *TableEntry(data, data->begunSlots - 1), data->used);
    data->tail = end != 0 ? data->used - end : 0;
  }
}

static char* CopyBlock(const void* block) {
  const uint32_t size = WordAt(static_cast<const char*>(block), 0);
  char* copy = static_cast<char*>(qelMem_Alloc(size));
  memcpy(copy, block, size);
  return copy;
}

qelPackedData_t* qelPackedData_Open(void* block) {
  auto* data = static_cast<qelPackedData_t*>(qelMem_AllocZero(sizeof(qelPackedData_t)));
  Adopt(data, static_cast<char*>(block));
  return data;
}

qelPackedData_t* qelPackedData_OpenCopy(const void* block) {
  return qelPackedData_Open(CopyBlock(block));
}

void qelPackedData_SetBlock(qelPackedData_t* data, void* block) {
  free(data->block);
  Adopt(data, static_cast<char*>(block));
}

void qelPackedData_SetBlockCopy(qelPackedData_t* data, const void* block) {
  qelPackedData_SetBlock(data, CopyBlock(block)); // copied first: it may be the record's own
}

void qelPackedData_Delete(qelPackedData_t* data) {
  if (data == nullptr)
    return;
  free(data->block);
  free(data);
}

qelPackedData_t* qelPackedData_Duplicate(qelPackedData_t* data) {
  if (data == nullptr)
    return nullptr;
  // INTENDED: of a block that has grown the word is the capacity, so the copy carries the tail. Pinned
  // by qelPackedDataDuplicate.CarriesTheTailOfAGrownBlock.
  // Below `used` the word is 0, or left from a GetData before later writing: either way it would cut
  // the copy short.
  if (data->header[0] < data->used)
    data->header[0] = static_cast<uint32_t>(data->used);
  return qelPackedData_OpenCopy(data->block);
}

char* qelPackedData_Detach(qelPackedData_t* data) {
  data->header[0] = static_cast<uint32_t>(data->used);
  void* block = qelMem_Realloc(data->block, static_cast<size_t>(data->used));
  data->block = nullptr;
  data->header = nullptr;
  return static_cast<char*>(block);
}

const char* qelPackedData_GetData(qelPackedData_t* data, size_t* size) {
  // A finished block is only read, so that several threads may ask for it at once.
  if (data->header[0] != static_cast<uint32_t>(data->used))
    data->header[0] = static_cast<uint32_t>(data->used);
  if (size != nullptr)
    *size = static_cast<size_t>(data->used);
  return data->block;
}

uint64_t qelPackedData_GetSize(const qelPackedData_t* data) {
  return data->capacity;
}

uint32_t qelPackedData_GetSlotCount(const qelPackedData_t* data) {
  return data->header[1];
}

// Reading ----------------------------------------------------------------------

const char* qelPackedData_FindChunk(const qelPackedData_t* data, uint32_t slot, uint16_t id,
                                    size_t* size) {
  if (size != nullptr)
    *size = 0;
  if (!IsSet(data, slot))
    return nullptr;
  const char* chunk = FindChunkOfSlot(data, slot, id);
  if (chunk == nullptr)
    return nullptr;
  if (size != nullptr)
    *size = ChunkSize(chunk);
  return chunk + kChunkHeader;
}

const char* qelPackedData_GetChunkOrEmpty(const qelPackedData_t* data, uint32_t slot, uint16_t id,
                                          size_t* size) {
  const char* payload = qelPackedData_FindChunk(data, slot, id, size);
  return payload != nullptr ? payload : "";
}

// The first `width` bytes of the payload. INTENDED: its size is not looked at, so what lies behind a
// shorter one counts as well, and who stored a number need not say how wide it was. Pinned by
// qelPackedDataGetU32.ReadsLittleEndianBytesWhateverTheSize.
static uint32_t GetNumber(const qelPackedData_t* data, uint32_t slot, uint16_t id, uint32_t width) {
  const char* payload = qelPackedData_FindChunk(data, slot, id, nullptr);
  if (payload == nullptr)
    return 0;
  const char* end = data->block + data->used;
  uint32_t value = 0;
  for (uint32_t i = 0; i != width && payload + i != end; ++i)
    value |= static_cast<uint32_t>(static_cast<unsigned char>(payload[i])) << 8 * i;
  return value;
}

uint32_t qelPackedData_GetU32(const qelPackedData_t* data, uint32_t slot, uint16_t id) {
  return GetNumber(data, slot, id, 4);
}

uint16_t qelPackedData_GetU16(const qelPackedData_t* data, uint32_t slot, uint16_t id) {
  return static_cast<uint16_t>(GetNumber(data, slot, id, 2));
}

uint32_t qelPackedData_GetChunkCount(const qelPackedData_t* data, uint32_t slot) {
  return IsSet(data, slot) ? ReadField(SlotRecord(data, slot)) : 0;
}

qelArray_t* qelPackedData_GetArray(const qelPackedData_t* data, uint32_t slot, uint16_t id,
                                   qelArray_ItemReader reader) {
  const size_t kArrayCount = 4; // bytes of the number of items
  size_t size = 0;
  const char* payload = qelPackedData_FindChunk(data, slot, id, &size);
  qelArray_t* array = qelArray_New();
  if (payload == nullptr || size < kArrayCount)
    return array;
  // As qelArray_Deserialize, which trusts its block: here the text of the last item may lack its
  // terminator, and the number of items may be a lie.
  char* copy = qelMem_StrNDup(payload, size);
  const uint32_t count = ReadField(copy) | ReadField(copy + 2) << 16;
  size_t position = kArrayCount;
  for (uint32_t index = 0; index != count && position < size; ++index)
    position += reader(array, copy + position, index);
  free(copy);
  return array;
}

// Whether a walk of the slot's chunks stays within the capacity, as far as the heads of chunks go.
static bool StaysWithin(const qelPackedData_t* data, uint32_t slot) {
  uint64_t position = *TableEntry(data, slot);
  if (position + kCountSize > data->capacity)
    return false;
  uint32_t count = ReadField(data->block + position);
  position += kCountSize;
  for (; count != 0; --count) {
    if (position + kChunkHeader > data->capacity)
      return false;
    position += ChunkStep(data->block + position);
  }
  return true;
}

void qelPackedData_Check(const qelPackedData_t* data) {
  if (data == nullptr || data->block == nullptr)
    return;
  const uint32_t slotCount = data->header[1];
  for (uint32_t slot = 0; slot != slotCount; ++slot) {
    const bool hasEntry = (uint64_t{slot} + kHeaderWords + 1) * kWord <= data->capacity;
    if (hasEntry && (!IsSet(data, slot) || StaysWithin(data, slot)))
      continue;
    QEL_LOG(1, "qelPackedData corrupted !\n");
    if (!hasEntry)
      return; // nor has any slot behind it
  }
}

// Writing ----------------------------------------------------------------------

// Makes room for n more bytes. INTENDED: a block is never filled to its last byte. Pinned by
// qelPackedDataReserve.NeverFillsTheLastByte.
static void qelPackedData_Reserve(qelPackedData_t* data, uint64_t n) {
  if (n + data->used < data->capacity)
    return;
  // The slots to come are expected to take what those so far took on average.
  uint64_t extra = 0;
  if (data->begunSlots != 0)
    extra =
        (uint64_t{data->slotCount} - data->begunSlots + 1) * (data->capacity / data->begunSlots);
  const uint64_t old = data->capacity;
  data->capacity += extra + n + kGrowthSlack;
  // More than memory has addresses is exhaustion, not a small block.
  const uint64_t size = data->capacity <= SIZE_MAX ? data->capacity : SIZE_MAX / 2;
  data->block = static_cast<char*>(qelMem_Realloc(data->block, static_cast<size_t>(size)));
  memset(data->block + old, 0, static_cast<size_t>(data->capacity - old)); // for the pad bytes
  data->header = reinterpret_cast<uint32_t*>(data->block);
  data->header[0] = static_cast<uint32_t>(data->capacity);
}

static bool IsTooLarge(size_t size) {
  if (size <= kLargestChunk)
    return false;
  QEL_LOG(1, "qelPackedData: Chunk too large (size = %lu)\n", static_cast<unsigned long>(size));
  return true;
}

static bool IsFull(const qelPackedData_t* data, uint32_t slot) {
  if (ReadField(SlotRecord(data, slot)) < kMostChunks)
    return false;
  QEL_LOG(1, "qelPackedData: Too many chunks (slot = %lu)\n", static_cast<unsigned long>(slot));
  return true;
}

// The pad byte is left as it is.
static void WriteChunk(char* chunk, uint16_t id, const void* bytes, uint32_t size) {
  WriteField(chunk, size);
  WriteField(chunk + 2, id);
  if (size != 0)
    memcpy(chunk + kChunkHeader, bytes, size);
}

static void CountChunk(const qelPackedData_t* data, uint32_t slot) {
  char* record = SlotRecord(data, slot);
  WriteField(record, ReadField(record) + 1);
}

// Moves what lies from `at` up to the end of the bytes in use by delta, and the offsets with it.
static void qelPackedData_Shift(qelPackedData_t* data, uint32_t at, int32_t delta) {
  const uint32_t change = static_cast<uint32_t>(delta); // wraps around for a move down
  memmove(data->block + static_cast<uint32_t>(at + change), data->block + at,
          static_cast<size_t>(data->used - at));
  data->used = static_cast<uint32_t>(static_cast<uint32_t>(data->used) + change);
  for (uint32_t slot = 0; slot != data->header[1]; ++slot) {
    uint32_t* entry = TableEntry(data, slot);
    if (*entry >= at && *entry <= kLastOffset)
      *entry += change;
  }
}

uint32_t qelPackedData_BeginSlot(qelPackedData_t* data) {
  ++data->begunSlots;
  qelPackedData_Reserve(data, kCountSize);
  const uint32_t offset = static_cast<uint32_t>(data->used);
  WriteField(data->block + offset, 0);
  *TableEntry(data, data->begunSlots - 1) = offset;
  data->used += kCountSize;
  data->tail = 0;
  return offset;
}

// 1, or 0 for a chunk that is refused.
static int AppendToOpenSlot(qelPackedData_t* data, uint16_t id, const void* bytes, size_t size) {
  if (IsTooLarge(size))
    return 0;
  const uint32_t slot = data->begunSlots - 1;
  if (*TableEntry(data, slot) > kLastOffset)
    *TableEntry(data, slot) = static_cast<uint32_t>(data->used - kCountSize);
  if (IsFull(data, slot))
    return 0;
  const uint32_t chunkSize = static_cast<uint32_t>(size);
  const uint32_t needed = kChunkHeader + Padded(chunkSize);
  qelPackedData_Reserve(data, needed);
  const uint64_t place = data->used - data->tail;
  if (data->tail != 0) // which stays behind
    qelPackedData_Shift(data, static_cast<uint32_t>(place), static_cast<int32_t>(needed));
  else
    data->used += needed;
  WriteChunk(data->block + place, id, bytes, chunkSize);
  CountChunk(data, slot);
  return 1;
}

void qelPackedData_AddChunk(qelPackedData_t* data, uint16_t id, const void* bytes, size_t size) {
  if (data->begunSlots != 0)
    AppendToOpenSlot(data, id, bytes, size);
}

void qelPackedData_AddArray(qelPackedData_t* data, uint16_t id, const qelArray_t* array,
                            qelArray_ItemWriter writer) {
  if (qelArray_GetCount(array) == 0) {
    qelPackedData_AddChunk(data, id, nullptr, 0);
    return;
  }
  size_t size = 0;
  char* bytes = qelArray_Serialize(array, &size, writer);
  qelPackedData_AddChunk(data, id, bytes, size);
  free(bytes);
}

int qelPackedData_InsertChunk(qelPackedData_t* data, uint32_t slot, uint16_t id, const void* bytes,
                              size_t size) {
  if (slot >= data->header[1])
    return 0;
  if (data->begunSlots != 0 && slot == data->begunSlots - 1)
    return AppendToOpenSlot(data, id, bytes, size);
  if (!IsSet(data, slot) || IsTooLarge(size) || IsFull(data, slot))
    return 0;
  const uint32_t chunkSize = static_cast<uint32_t>(size);
  const uint32_t needed = kChunkHeader + Padded(chunkSize);
  // Mostly the next slot's record; behind the own chunks also where a block from outside has a gap.
  const uint64_t end = RecordEnd(data->block, *TableEntry(data, slot), data->used);
  if (end == 0) {
    QEL_LOG(1, "qelPackedData corrupted !\n");
    return 0;
  }
  const uint32_t place = static_cast<uint32_t>(end);
  CountChunk(data, slot);
  qelPackedData_Reserve(data, needed);
  qelPackedData_Shift(data, place, static_cast<int32_t>(needed));
  WriteChunk(data->block + place, id, bytes, chunkSize);
  return 1;
}

int qelPackedData_UpdateChunk(qelPackedData_t* data, uint32_t slot, uint16_t id, const void* bytes,
                              size_t size, int create) {
  if (!IsSet(data, slot))
    return 0;
  const char* found = FindChunkOfSlot(data, slot, id);
  if (found == nullptr)
    return create != 0 ? qelPackedData_InsertChunk(data, slot, id, bytes, size) : 0;
  if (IsTooLarge(size))
    return 0;
  const uint32_t chunkSize = static_cast<uint32_t>(size);
  const uint32_t chunk = static_cast<uint32_t>(found - data->block);
  const uint32_t oldPadded = Padded(ChunkSize(found));
  const int32_t delta = static_cast<int32_t>(Padded(chunkSize)) - static_cast<int32_t>(oldPadded);
  if (delta > 0)
    qelPackedData_Reserve(data, static_cast<uint64_t>(delta));
  // From four bytes ahead of the chunk's end, so also for a payload of no bytes: its head is moved
  // along or given up, and is written anew below.
  if (delta != 0)
    qelPackedData_Shift(data, chunk + oldPadded, delta);
  WriteChunk(data->block + chunk, id, bytes, chunkSize);
  return 1;
}

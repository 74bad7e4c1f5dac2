// Packed blocks from outside, raw and as escaped text: what the check accepts can be read, copied and
// written on without a step beyond the block.
//
// The first byte chooses: bit 0 escaped text, bit 1 the size word is made right. The rest is the block.

#include <cstdlib>
#include <cstring>
#include <vector>

#include <fuzz/FuzzInput.h>
#include <qel/serialize/qelEscape.h>
#include <qel/serialize/qelPackedData.h>

// Every slot and chunk, by an own walk; and the look-up of each chunk.
static void Read(const qelPackedData_t* data) {
  const char* end = data->block + data->used;
  const uint32_t slotCount = qelPackedData_GetSlotCount(data);
  for (uint32_t slot = 0; slot != slotCount; ++slot) {
    const uint32_t count = qelPackedData_GetChunkCount(data, slot);
    const char* chunk = data->block + data->header[2 + slot] + 2;
    for (uint32_t i = 0; i != count && i != 64; ++i) {
      const auto* head = reinterpret_cast<const unsigned char*>(chunk);
      const uint32_t size = head[0] | static_cast<uint32_t>(head[1]) << 8;
      const uint16_t id = static_cast<uint16_t>(head[2] | head[3] << 8);
      size_t found = 0;
      const char* payload = qelPackedData_FindChunk(data, slot, id, &found);
      FUZZ_CHECK(payload != nullptr && payload <= chunk + 4 && payload + found <= end);
      qelPackedData_GetU32(data, slot, id);
      qelPackedData_GetU16(data, slot, id);
      qelArray_t* array = qelPackedData_GetArray(data, slot, id, qelArray_DeserializeString);
      FUZZ_CHECK(qelArray_GetCount(array) <= found);
      qelArray_SetFreeFunction(array, free);
      qelArray_Delete(array);
      chunk += 4 + (size + 1) / 2 * 2;
      FUZZ_CHECK(chunk <= end);
    }
    FUZZ_CHECK(count != 0 || qelPackedData_FindChunk(data, slot, 0, nullptr) == nullptr);
  }
  qelPackedData_Check(data);
}

// Small changes in a few slots. The forecast of room would make large blocks of tables of many
// unused slots.
static void Write(qelPackedData_t* data) {
  const uint32_t slotCount = qelPackedData_GetSlotCount(data);
  if (slotCount > 64)
    return;
  if (data->begunSlots != 0) {
    const uint32_t open = data->begunSlots - 1;
    const uint32_t count = qelPackedData_GetChunkCount(data, open);
    qelPackedData_AddChunk(data, 1, "added", 5);
    FUZZ_CHECK(count == 65535 || qelPackedData_FindChunk(data, open, 1, nullptr) != nullptr);
  }
  for (uint32_t slot = 0; slot != slotCount; ++slot) {
    const bool inserted = qelPackedData_InsertChunk(data, slot, 2, "inserted", 8) != 0;
    FUZZ_CHECK(!inserted || qelPackedData_FindChunk(data, slot, 2, nullptr) != nullptr);
    qelPackedData_UpdateChunk(data, slot, 1, "", 0, 0);
    if (qelPackedData_UpdateChunk(data, slot, 2, "larger than before", 18, 1) != 0)
      FUZZ_CHECK(memcmp(qelPackedData_FindChunk(data, slot, 2, nullptr), "larger", 6) == 0);
  }
  if (data->begunSlots < slotCount) {
    qelPackedData_BeginSlot(data);
    qelPackedData_AddChunk(data, 3, "last", 4);
    FUZZ_CHECK(qelPackedData_InsertChunk(data, 0, 4, "", 0) == 0 ||
               qelPackedData_FindChunk(data, 0, 4, nullptr) != nullptr);
  }
  size_t size = 0;
  const char* block = qelPackedData_GetData(data, &size);
  FUZZ_CHECK(qelPackedData_IsValidBlock(block, size));
  Read(data);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t bytesSize) {
  FuzzInput input(bytes, bytesSize);
  const uint8_t choice = input.TakeByte();
  const std::vector<char> rest = input.TakeBytes(input.Left());
  size_t size = rest.size();
  char* block = nullptr;
  if (choice & 1) {
    block = qelUnescape_Bytes(rest.data(), rest.size(), 0, '%', &size);
  } else {
    block = static_cast<char*>(malloc(size != 0 ? size : 1));
    if (size != 0)
      memcpy(block, rest.data(), size);
  }
  const uint32_t word = static_cast<uint32_t>(size);
  if ((choice & 2) && size >= 4)
    memcpy(block, &word, 4);
  // Cut to the bytes that count, so that a step beyond them shows.
  if (size != 0)
    block = static_cast<char*>(realloc(block, size));

  if (!qelPackedData_IsValidBlock(block, size)) {
    free(block);
    return 0;
  }
  qelPackedData_t* copy = qelPackedData_OpenCopy(block);
  Read(copy);
  qelPackedData_t* data = qelPackedData_Open(block);
  qelPackedData_t* duplicate = qelPackedData_Duplicate(data);
  Read(duplicate);
  Write(data);
  qelPackedData_Delete(qelPackedData_Duplicate(data));
  free(qelPackedData_Detach(data));
  qelPackedData_Delete(data);
  qelPackedData_Delete(copy);
  qelPackedData_Delete(duplicate);
  return 0;
}

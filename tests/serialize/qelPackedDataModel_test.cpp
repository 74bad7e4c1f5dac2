// Random operations on a block and on a plain model of it, held against each other all along.

#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <qel/serialize/qelPackedData.h>
#include <tests/support/LogCapture.h>

namespace {

struct Chunk {
  uint16_t id;
  std::string bytes;
};
using Slot = std::vector<Chunk>;

class Pair {
public:
  explicit Pair(unsigned seed) : m_random(seed), m_slotCount(m_random() % 8) {
    m_data = qelPackedData_New(m_slotCount);
  }
  ~Pair() { qelPackedData_Delete(m_data); }
  Pair(const Pair&) = delete;
  Pair& operator=(const Pair&) = delete;

  void Step() {
    switch (m_random() % 12) {
    case 0:
      return Begin();
    case 1:
    case 2:
    case 3:
      return Add();
    case 4:
    case 5:
      return Insert();
    case 6:
    case 7:
    case 8:
      return Update();
    case 9:
      return GoOnWithADuplicate();
    case 10:
      return Reopen();
    default:
      qelPackedData_GetData(m_data, nullptr);
    }
  }

  void Compare() {
    ASSERT_EQ(m_data->begunSlots, m_slots.size());
    ASSERT_EQ(qelPackedData_GetSlotCount(m_data), m_slotCount);
    ASSERT_LE(m_data->used, m_data->capacity);
    size_t used = (m_slotCount + 2) * 4;
    for (uint32_t slot = 0; slot != m_slotCount + 2; ++slot) {
      if (slot >= m_slots.size()) {
        ASSERT_EQ(qelPackedData_GetChunkCount(m_data, slot), 0u);
        continue;
      }
      used += m_gaps[slot];
      ASSERT_EQ(m_data->header[2 + slot], used);
      CompareSlot(slot, used);
    }
    ASSERT_EQ(m_data->used, used + m_tail);
    ASSERT_EQ(m_data->tail, m_slots.empty() ? 0 : m_tail);
  }

  // The bytes of the finished block, pad bytes taken for 0.
  void CompareBytes() {
    size_t size = 0;
    const char* block = qelPackedData_GetData(m_data, &size);
    ASSERT_EQ(qelPackedData_IsValidBlock(block, size), 1);
    if (m_hadTail)
      return;
    std::string expected;
    PutWord(expected, static_cast<uint32_t>(size));
    PutWord(expected, m_slotCount);
    std::string actual(block, size);
    std::string records;
    for (uint32_t slot = 0; slot != m_slotCount; ++slot) {
      if (slot >= m_slots.size()) {
        PutWord(expected, 0xFFFFFFFF);
        continue;
      }
      PutWord(expected, static_cast<uint32_t>((m_slotCount + 2) * 4 + records.size()));
      PutField(records, m_slots[slot].size());
      for (const Chunk& chunk : m_slots[slot]) {
        PutField(records, chunk.bytes.size());
        PutField(records, chunk.id);
        records += chunk.bytes;
        if (chunk.bytes.size() % 2 == 0)
          continue;
        actual[(m_slotCount + 2) * 4 + records.size()] = '\0';
        records += '\0';
      }
    }
    ASSERT_EQ(actual, expected + records);
  }

private:
  static void PutWord(std::string& out, uint32_t word) {
    out.append(reinterpret_cast<const char*>(&word), 4);
  }
  static void PutField(std::string& out, size_t field) {
    out += static_cast<char>(field & 255);
    out += static_cast<char>(field >> 8 & 255);
  }

  void CompareSlot(uint32_t slot, size_t& used) {
    const Slot& model = m_slots[slot];
    ASSERT_EQ(qelPackedData_GetChunkCount(m_data, slot), model.size());
    used += 2;
    for (uint16_t id = 0; id != 7; ++id) {
      size_t size = 0;
      const char* payload = qelPackedData_FindChunk(m_data, slot, id, &size);
      const Chunk* chunk = FindInModel(slot, id);
      ASSERT_EQ(payload != nullptr, chunk != nullptr);
      ASSERT_EQ(std::string(payload != nullptr ? payload : "", size),
                chunk != nullptr ? chunk->bytes : "");
    }
    for (const Chunk& chunk : model)
      used += 4 + (chunk.bytes.size() + 1) / 2 * 2;
  }

  Chunk* FindInModel(uint32_t slot, uint16_t id) {
    for (Chunk& chunk : m_slots[slot]) {
      if (chunk.id == id)
        return &chunk;
    }
    return nullptr;
  }

  uint16_t AnyId() { return static_cast<uint16_t>(m_random() % 6); }
  uint32_t AnySlot() { return static_cast<uint32_t>(m_random() % (m_slotCount + 2)); }

  std::string AnyBytes() {
    const size_t largest = m_random() % 50 == 0 ? 65535 : m_random() % 10 == 0 ? 2000 : 12;
    std::string bytes(m_random() % largest, '\0');
    for (char& byte : bytes)
      byte = static_cast<char>(m_random());
    return bytes;
  }

  void Begin() {
    if (m_slots.size() == m_slotCount)
      return;
    qelPackedData_BeginSlot(m_data);
    m_slots.emplace_back();
    m_gaps.push_back(m_tail);
    m_tail = 0;
  }

  void Add() {
    const uint16_t id = AnyId();
    const std::string bytes = AnyBytes();
    qelPackedData_AddChunk(m_data, id, bytes.data(), bytes.size());
    if (!m_slots.empty())
      m_slots.back().push_back({id, bytes});
  }

  void Insert() {
    const uint32_t slot = AnySlot();
    const uint16_t id = AnyId();
    const std::string bytes = AnyBytes();
    const int done = qelPackedData_InsertChunk(m_data, slot, id, bytes.data(), bytes.size());
    ASSERT_EQ(done, slot < m_slots.size() ? 1 : 0);
    if (done)
      m_slots[slot].push_back({id, bytes});
  }

  void Update() {
    const uint32_t slot = AnySlot();
    const uint16_t id = AnyId();
    const std::string bytes = AnyBytes();
    const int create = static_cast<int>(m_random() % 2);
    const int done =
        qelPackedData_UpdateChunk(m_data, slot, id, bytes.data(), bytes.size(), create);
    Chunk* chunk = slot < m_slots.size() ? FindInModel(slot, id) : nullptr;
    ASSERT_EQ(done, slot < m_slots.size() && (chunk != nullptr || create != 0) ? 1 : 0);
    if (chunk != nullptr)
      chunk->bytes = bytes;
    else if (done)
      m_slots[slot].push_back({id, bytes});
  }

  void GoOnWithADuplicate() {
    if (m_random() % 4 != 0)
      qelPackedData_GetData(m_data, nullptr);
    qelPackedData_t* copy = qelPackedData_Duplicate(m_data);
    m_tail += static_cast<size_t>(copy->used - m_data->used);
    m_hadTail = m_hadTail || m_tail != 0;
    qelPackedData_Delete(m_data);
    m_data = copy;
  }

  void Reopen() {
    char* block = qelPackedData_Detach(m_data);
    if (m_random() % 2 == 0) {
      qelPackedData_SetBlock(m_data, block);
      return;
    }
    qelPackedData_Delete(m_data);
    m_data = qelPackedData_Open(block);
  }

  std::mt19937 m_random;
  uint32_t m_slotCount;
  qelPackedData_t* m_data = nullptr;
  std::vector<Slot> m_slots;  // those begun
  std::vector<size_t> m_gaps; // bytes ahead of each of their records
  size_t m_tail = 0;          // bytes in use behind the last record
  bool m_hadTail = false;     // some duplicate carried one
};

TEST(qelPackedDataModel, AgreesUnderRandomOperations) {
  LogCapture log;
  for (unsigned seed = 0; seed != 150; ++seed) {
    Pair pair(seed);
    for (int step = 0; step != 120; ++step) {
      pair.Step();
      pair.Compare();
      if (HasFatalFailure())
        FAIL() << "seed " << seed << " step " << step;
    }
    pair.CompareBytes();
  }
  EXPECT_EQ(log.All(), "");
}

} // namespace

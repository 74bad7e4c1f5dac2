// The program is linked so that every calloc and realloc of the library comes through here.

#include <qel/serialize/qelPackedData.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <qel/serialize/qelEscape.h>
#include <tests/support/Fatal.h>
#include <tests/support/LogCapture.h>

// Which calloc of this thread fails, from 1; 0 for none. The same for realloc.
static thread_local int failing = 0;
static thread_local int failingRealloc = 0;

extern "C" void* __real_calloc(size_t count, size_t size);
extern "C" void* __wrap_calloc(size_t count, size_t size) {
  if (failing != 0 && --failing == 0)
    return nullptr;
  return __real_calloc(count, size);
}

extern "C" void* __real_realloc(void* block, size_t size);
extern "C" void* __wrap_realloc(void* block, size_t size) {
  if (failingRealloc != 0 && --failingRealloc == 0)
    return nullptr;
  return __real_realloc(block, size);
}

namespace {

struct Deleter {
  void operator()(qelPackedData_t* data) const { qelPackedData_Delete(data); }
};
using Data = std::unique_ptr<qelPackedData_t, Deleter>;

Data New(uint32_t slotCount) {
  return Data(qelPackedData_New(slotCount));
}

void Add(const Data& data, uint16_t id, const std::string& bytes) {
  qelPackedData_AddChunk(data.get(), id, bytes.data(), bytes.size());
}

int Insert(const Data& data, uint32_t slot, uint16_t id, const std::string& bytes) {
  return qelPackedData_InsertChunk(data.get(), slot, id, bytes.data(), bytes.size());
}

int Update(const Data& data, uint32_t slot, uint16_t id, const std::string& bytes, int create = 0) {
  return qelPackedData_UpdateChunk(data.get(), slot, id, bytes.data(), bytes.size(), create);
}

// The chunk's bytes, "(none)" for a miss.
std::string Find(const Data& data, uint32_t slot, uint16_t id) {
  size_t size = 99;
  const char* payload = qelPackedData_FindChunk(data.get(), slot, id, &size);
  if (payload == nullptr) {
    EXPECT_EQ(size, 0u);
    return "(none)";
  }
  return std::string(payload, size);
}

std::string Block(const Data& data) {
  size_t size = 0;
  const char* block = qelPackedData_GetData(data.get(), &size);
  return std::string(block, size);
}

uint32_t TableEntry(const Data& data, uint32_t slot) {
  return data->header[2 + slot];
}

std::string Words(std::initializer_list<uint32_t> words) {
  std::string bytes;
  for (const uint32_t word : words)
    bytes.append(reinterpret_cast<const char*>(&word), 4);
  return bytes;
}

// A block on the heap of exactly that many bytes.
char* OnHeap(const std::string& bytes) {
  char* block = static_cast<char*>(malloc(bytes.size()));
  memcpy(block, bytes.data(), bytes.size());
  return block;
}

// Slot 0: 7 "ABC", 8 "". Slot 1: 9 "wxyz". Slot 2 was never begun.
Data Sample() {
  Data data = New(3);
  qelPackedData_BeginSlot(data.get());
  Add(data, 7, "ABC");
  Add(data, 8, "");
  qelPackedData_BeginSlot(data.get());
  Add(data, 9, "wxyz");
  return data;
}

const char kWorked[] = "\x16\0\0\0\x01\0\0\0\x0C\0\0\0\x01\0\x03\0\x07\0ABC";

TEST(qelPackedDataNew, HasNoSlotBegun) {
  const Data none = New(0);
  EXPECT_EQ(none->capacity, 128u);
  EXPECT_EQ(none->used, 8u);
  const Data data = New(2);
  EXPECT_EQ(data->begunSlots, 0u);
  EXPECT_EQ(data->slotCount, 2u);
  EXPECT_EQ(data->capacity, 384u);
  EXPECT_EQ(data->used, 16u);
  EXPECT_EQ(static_cast<void*>(data->header), data->block);
  EXPECT_EQ(std::string(data->block, 16), Words({0, 2, 0xFFFFFFFF, 0xFFFFFFFF}));
  EXPECT_EQ(qelPackedData_GetSize(data.get()), 384u);
  EXPECT_EQ(qelPackedData_GetSlotCount(data.get()), 2u);
}

TEST(qelPackedDataNew, GivesNullWithoutMemory) {
  for (const int which : {1, 2}) {
    failing = which;
    EXPECT_EQ(qelPackedData_New(3), nullptr);
    EXPECT_EQ(failing, 0);
    failing = which;
    EXPECT_EQ(qelPackedData_NewEmptyBlock(), nullptr);
    failing = 0;
  }
}

TEST(qelPackedDataNewEmptyBlock, GivesEightBytes) {
  char* block = qelPackedData_NewEmptyBlock();
  EXPECT_EQ(std::string(block, 8), Words({8, 0}));
  const Data data(qelPackedData_Open(block));
  EXPECT_EQ(data->begunSlots, 0u);
  EXPECT_EQ(Block(data), Words({8, 0}));
}

TEST(qelPackedDataDetach, GivesTheWorkedBlock) {
  Data data = New(1);
  EXPECT_EQ(qelPackedData_BeginSlot(data.get()), 12u);
  Add(data, 7, "ABC");
  char* block = qelPackedData_Detach(data.get());
  EXPECT_EQ(data->block, nullptr);
  data.reset(); // and the block lives on
  EXPECT_EQ(std::string(block, 21), std::string(kWorked, 21));
  EXPECT_EQ(qelPackedData_IsValidBlock(block, 22), 1);
  free(block);
}

TEST(qelPackedDataGetData, StoresTheRealSizeAndKeepsTheBlock) {
  const Data data = Sample();
  EXPECT_EQ(data->header[0], 0u);
  size_t size = 0;
  const char* block = qelPackedData_GetData(data.get(), &size);
  EXPECT_EQ(block, data->block);
  EXPECT_EQ(size, data->used);
  EXPECT_EQ(data->header[0], size);
  EXPECT_EQ(qelPackedData_GetData(data.get(), nullptr), block);
  EXPECT_EQ(qelPackedData_GetSize(data.get()), 512u);
}

void ExpectSample(const Data& data) {
  EXPECT_EQ(qelPackedData_GetSlotCount(data.get()), 3u);
  EXPECT_EQ(data->slotCount, 3u);
  EXPECT_EQ(data->begunSlots, 2u);
  EXPECT_EQ(Find(data, 0, 7), "ABC");
  EXPECT_EQ(Find(data, 0, 8), "");
  EXPECT_EQ(Find(data, 1, 9), "wxyz");
  EXPECT_EQ(Find(data, 2, 9), "(none)");
}

TEST(qelPackedDataOpen, FindsTheLastSlotInUse) {
  const std::string bytes = Block(Sample());
  const Data data(qelPackedData_Open(OnHeap(bytes)));
  EXPECT_EQ(data->capacity, bytes.size());
  EXPECT_EQ(data->used, bytes.size());
  EXPECT_EQ(qelPackedData_GetSize(data.get()), bytes.size());
  ExpectSample(data);
  const Data none(qelPackedData_OpenCopy(Block(New(5)).data()));
  EXPECT_EQ(none->begunSlots, 0u);
}

TEST(qelPackedDataOpen, GoesOnInTheOpenSlot) {
  const Data data(qelPackedData_OpenCopy(Block(Sample()).data()));
  Add(data, 10, "more");
  EXPECT_EQ(Find(data, 1, 10), "more");
  qelPackedData_BeginSlot(data.get());
  Add(data, 11, "last");
  EXPECT_EQ(Find(data, 2, 11), "last");
  EXPECT_EQ(Find(data, 0, 7), "ABC");
}

TEST(qelPackedDataOpenCopy, LeavesTheBlockAlone) {
  std::string bytes = Block(Sample());
  const Data data(qelPackedData_OpenCopy(bytes.data()));
  EXPECT_EQ(Update(data, 0, 7, "xyz"), 1);
  EXPECT_EQ(bytes, Block(Sample()));
  // A block need not be aligned to be copied.
  const std::string shifted = "#" + bytes;
  ExpectSample(Data(qelPackedData_OpenCopy(shifted.data() + 1)));
}

TEST(qelPackedDataSetBlock, ReplacesTheBlock) {
  const std::string bytes = Block(Sample());
  const Data data = New(1);
  qelPackedData_SetBlock(data.get(), OnHeap(bytes));
  ExpectSample(data);
  qelPackedData_SetBlockCopy(data.get(), Words({8, 0}).data());
  EXPECT_EQ(data->begunSlots, 0u);
  EXPECT_EQ(qelPackedData_GetSlotCount(data.get()), 0u);
  qelPackedData_SetBlockCopy(data.get(), bytes.data());
  ExpectSample(data);
  qelPackedData_SetBlockCopy(data.get(), data->block);
  ExpectSample(data);
  free(qelPackedData_Detach(data.get()));
  qelPackedData_SetBlock(data.get(), OnHeap(bytes));
  ExpectSample(data);
}

TEST(qelPackedDataDelete, AcceptsNull) {
  qelPackedData_Delete(nullptr);
  EXPECT_EQ(qelPackedData_Duplicate(nullptr), nullptr);
}

TEST(qelPackedDataDuplicate, CopiesWhatIsInUseOfAFreshBlock) {
  const Data data = Sample();
  const Data copy(qelPackedData_Duplicate(data.get()));
  EXPECT_EQ(data->header[0], data->used);
  EXPECT_EQ(copy->capacity, data->used);
  ExpectSample(copy);
  EXPECT_EQ(Update(copy, 0, 7, "xyz"), 1);
  EXPECT_EQ(Find(data, 0, 7), "ABC");
}

TEST(qelPackedDataDuplicate, CarriesTheTailOfAGrownBlock) {
  const Data data = Sample();
  Add(data, 10, std::string(1000, 'x'));
  ASSERT_EQ(data->header[0], data->capacity);
  const Data copy(qelPackedData_Duplicate(data.get()));
  EXPECT_EQ(copy->used, data->capacity);
  ExpectSample(copy);
  EXPECT_EQ(Find(copy, 1, 10), std::string(1000, 'x'));
  EXPECT_EQ(qelPackedData_IsValidBlock(copy->block, copy->used), 1);
  qelPackedData_GetData(data.get(), nullptr);
  const Data exact(qelPackedData_Duplicate(data.get()));
  EXPECT_EQ(exact->used, data->used);
}

TEST(qelPackedDataDuplicate, IsNotCutShortByAnEarlierSize) {
  const Data data = Sample();
  qelPackedData_GetData(data.get(), nullptr);
  Add(data, 10, "later");
  ASSERT_LT(data->header[0], data->used);
  const Data copy(qelPackedData_Duplicate(data.get()));
  EXPECT_EQ(Find(copy, 1, 10), "later");
}

TEST(qelPackedDataDuplicate, CanBeWrittenOnWithItsTail) {
  const Data data = New(3);
  qelPackedData_BeginSlot(data.get());
  Add(data, 1, std::string(600, '\xFE')); // what stays behind in the tail looks like large chunks
  qelPackedData_BeginSlot(data.get());
  Add(data, 2, std::string(600, '\xFE'));
  ASSERT_EQ(Update(data, 1, 2, "x"), 1);
  ASSERT_GT(data->header[0], data->used);
  const Data copy(qelPackedData_Duplicate(data.get()));
  ASSERT_EQ(copy->tail, copy->used - data->used);
  Add(copy, 3, "added");
  EXPECT_EQ(Update(copy, 1, 2, "larger"), 1);
  EXPECT_EQ(Find(copy, 1, 3), "added");
  EXPECT_EQ(Find(copy, 1, 2), "larger");
  qelPackedData_BeginSlot(copy.get()); // behind the tail, which is a gap from now on
  Add(copy, 4, "last");
  EXPECT_EQ(Insert(copy, 0, 5, "y"), 1);
  EXPECT_EQ(Insert(copy, 1, 5, "z"), 1);
  EXPECT_EQ(Find(copy, 0, 5), "y");
  EXPECT_EQ(Find(copy, 1, 5), "z");
  EXPECT_EQ(Find(copy, 1, 3), "added");
  EXPECT_EQ(Find(copy, 2, 4), "last");
  EXPECT_EQ(qelPackedData_IsValidBlock(Block(copy).data(), copy->used), 1);
}

TEST(qelPackedDataFindChunk, MissesWhatIsNotThere) {
  const Data data = New(2);
  qelPackedData_BeginSlot(data.get());
  EXPECT_EQ(Find(data, 0, 1), "(none)");
  EXPECT_EQ(Find(data, 1, 1), "(none)");
  EXPECT_EQ(Find(data, 2, 1), "(none)");
  EXPECT_EQ(Find(data, 0xFFFFFFFF, 1), "(none)");
  EXPECT_EQ(qelPackedData_FindChunk(data.get(), 0, 1, nullptr), nullptr);
}

TEST(qelPackedDataFindChunk, GivesTheFirstOfSeveral) {
  const Data data = New(1);
  qelPackedData_BeginSlot(data.get());
  Add(data, 1, "odd");
  Add(data, 2, "first");
  Add(data, 2, "second");
  Add(data, 0xFFFF, "last");
  Add(data, 0, "");
  EXPECT_EQ(Find(data, 0, 2), "first");
  EXPECT_EQ(Find(data, 0, 0xFFFF), "last");
  EXPECT_EQ(Find(data, 0, 0), "");
  EXPECT_NE(qelPackedData_FindChunk(data.get(), 0, 0, nullptr), nullptr);
  EXPECT_EQ(qelPackedData_GetChunkCount(data.get(), 0), 5u);
}

TEST(qelPackedDataGetChunkOrEmpty, GivesTheEmptyTextForAMiss) {
  const Data data = Sample();
  size_t size = 99;
  EXPECT_STREQ(qelPackedData_GetChunkOrEmpty(data.get(), 0, 1, &size), "");
  EXPECT_EQ(size, 0u);
  EXPECT_STREQ(qelPackedData_GetChunkOrEmpty(data.get(), 7, 1, nullptr), "");
  EXPECT_EQ(std::string(qelPackedData_GetChunkOrEmpty(data.get(), 1, 9, &size), 4), "wxyz");
  EXPECT_EQ(size, 4u);
}

TEST(qelPackedDataGetU32, ReadsLittleEndianBytesWhateverTheSize) {
  const Data data = New(2);
  qelPackedData_BeginSlot(data.get());
  Add(data, 1, "\xFE\xDC\xBA\x98\x76");
  Add(data, 2, "\x11\x22");
  Add(data, 0x4433, "");
  Add(data, 3, "\x81\x82");
  EXPECT_EQ(qelPackedData_GetU32(data.get(), 0, 1), 0x98BADCFEu);
  EXPECT_EQ(qelPackedData_GetU16(data.get(), 0, 1), 0xDCFEu);
  EXPECT_EQ(qelPackedData_GetU32(data.get(), 0, 2), 0x00002211u) << "the next chunk's size";
  EXPECT_EQ(qelPackedData_GetU32(data.get(), 0, 0x4433), 0x00030002u) << "the next chunk's head";
  EXPECT_EQ(qelPackedData_GetU32(data.get(), 0, 3), 0x00008281u) << "0 past the bytes in use";
  EXPECT_EQ(qelPackedData_GetU32(data.get(), 0, 9), 0u);
  EXPECT_EQ(qelPackedData_GetU16(data.get(), 1, 1), 0u);
  EXPECT_EQ(qelPackedData_GetU16(data.get(), 2, 1), 0u);
}

TEST(qelPackedDataGetU32, TakesZeroPastTheEndOfAShortLastChunk) {
  const Data data = New(1);
  qelPackedData_BeginSlot(data.get());
  Add(data, 1, "");
  const Data opened(qelPackedData_Open(qelPackedData_Detach(data.get())));
  EXPECT_EQ(qelPackedData_GetU32(opened.get(), 0, 1), 0u);
  EXPECT_EQ(qelPackedData_GetU16(opened.get(), 0, 1), 0u);
}

TEST(qelPackedDataGetChunkCount, IsZeroWhereNothingWasBegun) {
  const Data data = Sample();
  EXPECT_EQ(qelPackedData_GetChunkCount(data.get(), 0), 2u);
  EXPECT_EQ(qelPackedData_GetChunkCount(data.get(), 1), 1u);
  EXPECT_EQ(qelPackedData_GetChunkCount(data.get(), 2), 0u);
  EXPECT_EQ(qelPackedData_GetChunkCount(data.get(), 3), 0u);
}

using Strings = std::vector<std::string>;

Strings TakeStrings(qelArray_t* array) {
  Strings strings;
  for (size_t i = 0; i != qelArray_GetCount(array); ++i)
    strings.push_back(static_cast<const char*>(qelArray_GetAt(array, i)));
  qelArray_SetFreeFunction(array, free);
  qelArray_Delete(array);
  return strings;
}

Strings GetStrings(const Data& data, uint16_t id) {
  return TakeStrings(qelPackedData_GetArray(data.get(), 0, id, qelArray_DeserializeString));
}

void AddStrings(const Data& data, uint16_t id, const Strings& strings) {
  qelArray_t* array = qelArray_New();
  for (const std::string& text : strings)
    qelArray_Append(array, const_cast<char*>(text.c_str()));
  qelPackedData_AddArray(data.get(), id, array, qelArray_SerializeString);
  qelArray_Delete(array);
}

TEST(qelPackedDataGetArray, GivesBackWhatAddArrayWrote) {
  const Data data = New(1);
  qelPackedData_BeginSlot(data.get());
  AddStrings(data, 1, {"one", "", "three"});
  AddStrings(data, 2, {});
  EXPECT_EQ(Find(data, 0, 1), std::string("\x03\0\0\0one\0\0three\0", 15));
  EXPECT_EQ(Find(data, 0, 2), "");
  EXPECT_EQ(GetStrings(data, 1), (Strings{"one", "", "three"}));
  EXPECT_EQ(GetStrings(data, 2), Strings{});
  EXPECT_EQ(GetStrings(data, 3), Strings{});
}

TEST(qelPackedDataGetArray, StopsAtTheChunksSize) {
  const struct {
    std::string chunk;
    Strings strings;
  } kCases[] = {
      {"", {}},
      {std::string("\1\0\0", 3), {}},
      {std::string("\1\0\0\0", 4), {}},
      {std::string("\xFF\xFF\xFF\xFFone\0two\0", 12), {"one", "two"}},
      {std::string("\2\0\0\0one\0tw", 10), {"one", "tw"}}, // no terminator
      {std::string("\0\1\0\0x\0", 6), {"x"}},
      {std::string("\1\0\0\0x\0y\0", 8), {"x"}},
  };
  for (const auto& row : kCases) {
    const Data data = New(1);
    qelPackedData_BeginSlot(data.get());
    Add(data, 1, row.chunk);
    const Data opened(qelPackedData_Open(qelPackedData_Detach(data.get())));
    EXPECT_EQ(GetStrings(opened, 1), row.strings);
  }
}

TEST(qelPackedDataCheck, SaysNothingOfASoundBlock) {
  LogCapture log;
  qelPackedData_Check(nullptr);
  qelPackedData_Check(New(0).get());
  qelPackedData_Check(New(4).get());
  qelPackedData_Check(Sample().get());
  qelPackedData_Check(Data(qelPackedData_OpenCopy(Block(Sample()).data())).get());
  EXPECT_EQ(log.All(), "");
}

// The block's bytes go as they are into a record of exactly that capacity.
std::string CheckBytes(const std::string& bytes) {
  const Data data = New(0);
  qelPackedData_SetBlock(data.get(), OnHeap(Words({8, 0})));
  free(data->block);
  data->block = OnHeap(bytes);
  data->header = reinterpret_cast<uint32_t*>(data->block);
  data->capacity = data->used = bytes.size();
  LogCapture log;
  qelPackedData_Check(data.get());
  EXPECT_EQ(std::string(data->block, bytes.size()), bytes);
  for (const CapturedLine& line : log.Lines()) {
    EXPECT_EQ(line.level, 1u);
    EXPECT_EQ(line.module, 99u);
  }
  return log.All();
}

TEST(qelPackedDataCheck, LogsEachSlotThatLeavesTheBlock) {
  const std::string line = "qelPackedData corrupted !\n";
  const std::string worked = std::string(kWorked, 22);
  EXPECT_EQ(CheckBytes(worked), "");
  std::string bytes = worked;
  bytes[12] = 2; // a second chunk, behind the end
  EXPECT_EQ(CheckBytes(bytes), line);
  bytes = worked;
  bytes[8] = 22; // a record behind the end
  EXPECT_EQ(CheckBytes(bytes), line);
  bytes = worked;
  bytes[11] = 0x7F; // and far behind it
  EXPECT_EQ(CheckBytes(bytes), line);
  bytes = worked;
  bytes[4] = 9; // more slots than there is room for: two strange entries, and the block's end
  EXPECT_EQ(CheckBytes(bytes), line + line + line);
  // Only the head of the last chunk is looked at, and it may end with the block.
  bytes = worked;
  bytes[14] = 0x7F;
  EXPECT_EQ(CheckBytes(bytes), "");
  EXPECT_EQ(CheckBytes(worked.substr(0, 18)), "");
  EXPECT_EQ(CheckBytes(worked.substr(0, 17)), line);
  EXPECT_EQ(CheckBytes(worked.substr(0, 13)), line);
}

TEST(qelPackedDataBeginSlot, BeginsSlotsInOrder) {
  const Data data = New(2);
  EXPECT_EQ(qelPackedData_BeginSlot(data.get()), 16u);
  EXPECT_EQ(qelPackedData_BeginSlot(data.get()), 18u);
  EXPECT_EQ(TableEntry(data, 0), 16u);
  EXPECT_EQ(TableEntry(data, 1), 18u);
  EXPECT_EQ(data->used, 20u);
  EXPECT_EQ(data->begunSlots, 2u);
}

TEST(qelPackedDataReserve, NeverFillsTheLastByte) {
  const Data one = New(1);
  qelPackedData_BeginSlot(one.get()); // 14 of 256 bytes
  Add(one, 1, std::string(236, 'x')); // 240 more are 254
  EXPECT_EQ(one->capacity, 256u);
  EXPECT_EQ(one->header[0], 0u);
  const Data full = New(1);
  qelPackedData_BeginSlot(full.get());
  Add(full, 1, std::string(238, 'x')); // 242 more would be 256
  EXPECT_EQ(full->capacity, 256u + 256 + 242 + 128);
  EXPECT_EQ(full->header[0], full->capacity);
}

TEST(qelPackedDataReserve, ForecastsTheSlotsToCome) {
  const Data data = New(10); // 1408 bytes
  qelPackedData_BeginSlot(data.get());
  qelPackedData_BeginSlot(data.get());
  qelPackedData_BeginSlot(data.get());
  Add(data, 1, std::string(2000, 'x'));
  EXPECT_EQ(data->capacity, 1408u + 8 * (1408 / 3) + 2004 + 128);
}

TEST(qelPackedDataReserve, CountsASlotThatBegins) {
  const Data data = New(2); // 384 bytes
  qelPackedData_BeginSlot(data.get());
  Add(data, 1, std::string(360, 'x'));
  ASSERT_EQ(data->used, 382u);
  ASSERT_EQ(data->capacity, 384u);
  EXPECT_EQ(qelPackedData_BeginSlot(data.get()), 382u);
  EXPECT_EQ(data->capacity, 384u + 1 * (384 / 2) + 2 + 128);
}

TEST(qelPackedDataReserve, CountsWhatAnInsertionOrUpdateNeeds) {
  const std::string bytes = Block(Sample()); // two of three slots
  ASSERT_EQ(bytes.size(), 44u);
  const Data inserted(qelPackedData_OpenCopy(bytes.data()));
  EXPECT_EQ(Insert(inserted, 0, 20, "a"), 1);
  EXPECT_EQ(inserted->capacity, 44u + 2 * (44 / 2) + 6 + 128);
  const Data updated(qelPackedData_OpenCopy(bytes.data()));
  EXPECT_EQ(Update(updated, 0, 7, "abcde"), 1);
  EXPECT_EQ(updated->capacity, 44u + 2 * (44 / 2) + 2 + 128);
  const Data same(qelPackedData_OpenCopy(bytes.data()));
  EXPECT_EQ(Update(same, 0, 7, "abcd"), 1);
  EXPECT_EQ(same->capacity, 44u);
}

TEST(qelPackedDataReserve, IsFatalWithoutMemory) {
  const Data data(qelPackedData_OpenCopy(Block(Sample()).data()));
  EXPECT_FATAL((failingRealloc = 1, Add(data, 1, "x")), "memory:realloc");
  EXPECT_FATAL((failingRealloc = 1, Insert(data, 0, 1, "x")), "memory:realloc");
  EXPECT_FATAL((failingRealloc = 1, Update(data, 0, 7, "larger")), "memory:realloc");
  EXPECT_FATAL((failingRealloc = 1, qelPackedData_BeginSlot(data.get())), "memory:realloc");
}

TEST(qelPackedDataAddChunk, TakesTheLastTwoBytesForTheRecordOfASlotThatIsNotSet) {
  const Data data = New(1);
  EXPECT_EQ(qelPackedData_BeginSlot(data.get()), 12u);
  for (const uint32_t unset : {0xFFFFFFFEu, 0xFFFFFFFFu}) {
    data->header[2] = unset;
    data->used = 14;
    data->block[12] = 0;
    Add(data, 1, "x");
    EXPECT_EQ(TableEntry(data, 0), 12u);
    EXPECT_EQ(Find(data, 0, 1), "x");
  }
}

TEST(qelPackedDataAddChunk, DoesNothingWithoutASlot) {
  const Data data = New(1);
  Add(data, 1, "x");
  EXPECT_EQ(data->used, 12u);
}

TEST(qelPackedDataAddChunk, LeavesThePadByteAlone) {
  const Data data = New(1);
  qelPackedData_BeginSlot(data.get());
  Add(data, 1, "wxyz");
  ASSERT_EQ(Update(data, 0, 1, "abc"), 1);
  EXPECT_EQ(Block(data).substr(18), "abcz");
}

TEST(qelPackedDataAddChunk, TakesTheLargestChunkAndRefusesLargerOnes) {
  const std::string largest(65534, 'x');
  for (const size_t tooLarge : {size_t{65535}, size_t{65536}, size_t{70000}}) {
    const std::string large(tooLarge, 'y');
    const Data data = Sample();
    Add(data, 10, largest);
    const std::string before = Block(data);
    LogCapture log;
    Add(data, 11, large);
    EXPECT_EQ(Insert(data, 0, 11, large), 0);
    EXPECT_EQ(Insert(data, 1, 11, large), 0);
    EXPECT_EQ(Update(data, 0, 7, large), 0);
    EXPECT_EQ(Update(data, 1, 11, large, 1), 0);
    const std::string line =
        "qelPackedData: Chunk too large (size = " + std::to_string(tooLarge) + ")\n";
    EXPECT_EQ(log.Texts(), std::vector<std::string>(5, line));
    EXPECT_EQ(log.Lines()[0].module, 99u);
    EXPECT_EQ(Block(data), before);
    EXPECT_EQ(Find(data, 1, 10), largest);
  }
}

TEST(qelPackedDataAddChunk, RefusesAChunkThatCannotBeCounted) {
  const Data data = New(2);
  qelPackedData_BeginSlot(data.get());
  for (int i = 0; i != 65535; ++i)
    Add(data, 1, "");
  EXPECT_EQ(qelPackedData_GetChunkCount(data.get(), 0), 65535u);
  const std::string before = Block(data);
  LogCapture log;
  Add(data, 2, "");
  EXPECT_EQ(Block(data), before);
  qelPackedData_BeginSlot(data.get());
  EXPECT_EQ(Insert(data, 0, 2, "x"), 0);
  EXPECT_EQ(log.Texts(),
            std::vector<std::string>(2, "qelPackedData: Too many chunks (slot = 0)\n"));
  EXPECT_EQ(Find(data, 0, 2), "(none)");
}

TEST(qelPackedDataInsertChunk, MovesTheSlotsBehind) {
  const Data data = Sample();
  const uint32_t second = TableEntry(data, 1);
  EXPECT_EQ(Insert(data, 0, 20, "inserted!"), 1);
  EXPECT_EQ(TableEntry(data, 1), second + 14);
  EXPECT_EQ(TableEntry(data, 2), 0xFFFFFFFFu);
  EXPECT_EQ(Find(data, 0, 20), "inserted!");
  ExpectSample(data);
  EXPECT_EQ(Insert(data, 1, 21, "open"), 1);
  EXPECT_EQ(Find(data, 1, 21), "open");
}

TEST(qelPackedDataInsertChunk, RefusesSlotsThatAreNotThere) {
  const Data data = Sample();
  const std::string before = Block(data);
  EXPECT_EQ(Insert(data, 2, 1, "x"), 0);
  EXPECT_EQ(Insert(data, 3, 1, "x"), 0);
  EXPECT_EQ(Insert(data, 0xFFFFFFFF, 1, "x"), 0);
  EXPECT_EQ(Insert(New(0), 0, 1, "x"), 0);
  EXPECT_EQ(Insert(New(1), 0, 1, "x"), 0);
  EXPECT_EQ(Block(data), before);
}

TEST(qelPackedDataInsertChunk, RefusesACorruptSlot) {
  const Data data = Sample();
  data->block[TableEntry(data, 0)] = 100; // more chunks than there are
  LogCapture log;
  EXPECT_EQ(Insert(data, 0, 20, "x"), 0);
  EXPECT_EQ(log.All(), "qelPackedData corrupted !\n");
}

TEST(qelPackedDataInsertChunk, FindsTheEndOfASlotAheadOfAnUnsetOne) {
  // Slot 0 and slot 2 are set, slot 1 is not.
  std::string bytes = Words({38, 3, 20, 0xFFFFFFFF, 30}) + std::string("\1\0\4\0\1\0abcd", 10) +
                      std::string("\1\0\2\0\2\0yz", 8);
  ASSERT_EQ(qelPackedData_IsValidBlock(bytes.data(), bytes.size()), 1);
  const Data data(qelPackedData_OpenCopy(bytes.data()));
  EXPECT_EQ(data->begunSlots, 3u);
  EXPECT_EQ(Insert(data, 1, 9, "x"), 0);
  EXPECT_EQ(Insert(data, 0, 9, "efg"), 1);
  EXPECT_EQ(TableEntry(data, 2), 38u);
  EXPECT_EQ(Find(data, 0, 1), "abcd");
  EXPECT_EQ(Find(data, 0, 9), "efg");
  EXPECT_EQ(Find(data, 2, 2), "yz");
}

TEST(qelPackedDataUpdateChunk, MovesTheTailByThePaddedDifference) {
  const struct {
    const char* from;
    const char* to;
    int delta;
  } kCases[] = {{"abc", "wxyz", 0}, {"wxyz", "ab", -2}, {"wxyz", "", -4}, {"", "a", 2},
                {"", "abcdefg", 8}, {"a", "", -2},      {"ab", "ab", 0},  {"", "", 0}};
  for (const auto& row : kCases) {
    const Data data = New(3);
    qelPackedData_BeginSlot(data.get());
    Add(data, 1, "before");
    Add(data, 2, row.from);
    Add(data, 3, "behind");
    qelPackedData_BeginSlot(data.get());
    Add(data, 4, "next");
    const uint64_t used = data->used;
    const uint32_t next = TableEntry(data, 1);
    EXPECT_EQ(Update(data, 0, 2, row.to), 1);
    EXPECT_EQ(static_cast<int64_t>(data->used - used), row.delta);
    EXPECT_EQ(static_cast<int32_t>(TableEntry(data, 1) - next), row.delta);
    EXPECT_EQ(TableEntry(data, 0), 20u);
    EXPECT_EQ(TableEntry(data, 2), 0xFFFFFFFFu);
    EXPECT_EQ(Find(data, 0, 1), "before");
    EXPECT_EQ(Find(data, 0, 2), row.to);
    EXPECT_EQ(Find(data, 0, 3), "behind");
    EXPECT_EQ(Find(data, 1, 4), "next");
    EXPECT_EQ(qelPackedData_GetChunkCount(data.get(), 0), 3u);
  }
}

TEST(qelPackedDataUpdateChunk, CreatesAMissingChunkWhenAsked) {
  const Data data = Sample();
  EXPECT_EQ(Update(data, 0, 30, "new"), 0);
  EXPECT_EQ(Update(data, 0, 30, "new", 1), 1);
  EXPECT_EQ(Update(data, 1, 30, "newer", 1), 1);
  EXPECT_EQ(Find(data, 0, 30), "new");
  EXPECT_EQ(Find(data, 1, 30), "newer");
  ExpectSample(data);
}

TEST(qelPackedDataUpdateChunk, RefusesSlotsThatAreNotThere) {
  const Data data = Sample();
  EXPECT_EQ(Update(data, 2, 9, "x", 1), 0);
  EXPECT_EQ(Update(data, 3, 9, "x", 1), 0);
}

// Validity ---------------------------------------------------------------------

// The check's answer and its log lines, on a heap block of exactly that many bytes.
std::pair<int, std::string> Validate(const std::string& bytes) {
  const std::unique_ptr<char, decltype(&free)> block(OnHeap(bytes), &free);
  LogCapture log;
  const int valid = qelPackedData_IsValidBlock(block.get(), bytes.size());
  for (const CapturedLine& line : log.Lines()) {
    EXPECT_EQ(line.level, 1u);
    EXPECT_EQ(line.module, 99u);
  }
  return {valid, log.All()};
}

void ExpectRefused(const std::string& bytes, const std::string& reason) {
  const auto got = Validate(bytes);
  EXPECT_EQ(got.first, 0);
  EXPECT_EQ(got.second, "qelPackedData: Block refused: " + reason + "\n");
}

void ExpectValid(const std::string& bytes) {
  EXPECT_EQ(Validate(bytes), std::make_pair(1, std::string()));
}

TEST(qelPackedDataIsValidBlock, AcceptsWhatTheWriterMakes) {
  ExpectValid(std::string(kWorked, 22));
  ExpectValid(Words({8, 0}));
  ExpectValid(Block(New(9)));
  ExpectValid(Block(Sample()));
}

TEST(qelPackedDataIsValidBlock, AcceptsMoreBytesThanDeclared) {
  ExpectValid(std::string(kWorked, 22) + "further bytes");
  // A tail that is declared, as a duplicate of a growing block has it.
  std::string tail = std::string(kWorked, 22) + std::string(10, '\xFF');
  tail[0] = 32;
  ExpectValid(tail);
}

TEST(qelPackedDataIsValidBlock, AcceptsSlotsNeverBegunAnywhere) {
  ExpectValid(Words({20, 3, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}));
  ExpectValid(Words({22, 3, 0xFFFFFFFF, 0xFFFFFFFF, 20}) + std::string(2, '\0'));
}

TEST(qelPackedDataIsValidBlock, RefusesTruncatedBlocks) {
  const std::string worked(kWorked, 22);
  for (size_t size = 0; size != worked.size(); ++size) {
    const auto got = Validate(worked.substr(0, size));
    EXPECT_EQ(got.first, 0) << size;
    EXPECT_EQ(got.second, "qelPackedData: Block refused: " +
                              (size < 8 ? "too short for a header (" + std::to_string(size) + ")\n"
                                        : std::string("shorter than it says (22)\n")));
  }
  LogCapture log;
  EXPECT_EQ(qelPackedData_IsValidBlock(nullptr, 22), 0);
  EXPECT_EQ(log.Lines().size(), 1u);
}

TEST(qelPackedDataIsValidBlock, RefusesTruncatedBlocksThatLieAboutIt) {
  for (size_t size = 8; size != 22; ++size) {
    std::string bytes(kWorked, size);
    bytes[0] = static_cast<char>(size);
    EXPECT_EQ(Validate(bytes).first, 0) << size;
  }
}

TEST(qelPackedDataIsValidBlock, RefusesLyingSizes) {
  ExpectRefused(Words({0, 0}), "too short for its slots (0)");
  ExpectRefused(Words({7, 0}), "too short for its slots (0)");
  ExpectRefused(Words({9, 0}), "shorter than it says (9)");
  ExpectRefused(Words({0xFFFFFFFF, 0}), "shorter than it says (4294967295)");
  ExpectRefused(Words({8, 1}), "too short for its slots (1)");
  ExpectRefused(Words({8, 0xFFFFFFFF}), "too short for its slots (4294967295)");
  ExpectRefused(Words({8, 0x3FFFFFFF}), "too short for its slots (1073741823)");
  ExpectRefused(Words({16, 0xC0000001, 0, 0}), "too short for its slots (3221225473)");
}

TEST(qelPackedDataIsValidBlock, RefusesSlotsOutOfPlace) {
  const std::string record = std::string(2, '\0');
  ExpectValid(Words({18, 2, 0xFFFFFFFF, 16}) + record);
  ExpectRefused(Words({18, 2, 0xFFFFFFFF, 17}) + record, "chunk out of place (1)");
  ExpectRefused(Words({18, 2, 0xFFFFFFFF, 18}) + record, "chunk out of place (1)");
  ExpectRefused(Words({18, 2, 0xFFFFFFFF, 19}) + record, "slot out of place (1)");
  ExpectRefused(Words({18, 2, 0xFFFFFFFE, 16}) + record, "slot out of place (0)");
  ExpectRefused(Words({18, 2, 15, 16}) + record, "slot out of place (0)");
  ExpectRefused(Words({18, 2, 0, 16}) + record, "slot out of place (0)");
  ExpectRefused(Words({20, 2, 18, 16}) + record + record, "slot out of place (1)");
  ExpectRefused(Words({20, 2, 16, 16}) + record + record, "slot out of place (1)");
  ExpectRefused(Words({20, 2, 16, 17}) + record + record, "slot out of place (1)");
  // The second record begins inside a chunk of the first.
  ExpectRefused(Words({26, 2, 16, 22}) + std::string("\1\0\4\0\1\0\0\0\0\0", 10),
                "slot out of place (1)");
}

TEST(qelPackedDataIsValidBlock, RefusesChunksOutOfPlace) {
  const std::string head = Words({0, 1, 12});
  const struct {
    std::string record;
    bool valid;
  } kCases[] = {
      {std::string("\1\0\0\0\1\0", 6), true},
      {std::string("\1\0\0\0\1", 5), false},                                 // a head cut short
      {std::string("\1\0", 2), false},                                       // no head at all
      {std::string("\1\0\2\0\1\0ab", 8), true},                              //
      {std::string("\1\0\2\0\1\0a", 7), false},                              // a payload cut short
      {std::string("\1\0\1\0\1\0a", 7), false},                              // without its pad byte
      {std::string("\2\0\2\0\1\0ab", 8), false},                             // one chunk too few
      {std::string("\1\0\xFF\xFF\1\0ab", 8), false},                         // far beyond the end
      {std::string("\xFF\xFF\0\0\0\0", 6), false},                           // too many to be there
      {std::string("\1\0\xFF\xFF\1\0", 6) + std::string(65536, 'x'), false}, // no such size
      {std::string("\1\0\xFE\xFF\1\0", 6) + std::string(65534, 'x'), true},  //
  };
  for (const auto& row : kCases) {
    std::string bytes = head + row.record;
    const uint32_t size = static_cast<uint32_t>(bytes.size());
    memcpy(&bytes[0], &size, 4);
    if (row.valid)
      ExpectValid(bytes);
    else
      ExpectRefused(bytes, "chunk out of place (0)");
  }
}

TEST(qelPackedDataIsValidBlock, NeedsNoAlignment) {
  const std::string shifted = "#" + std::string(kWorked, 22);
  EXPECT_EQ(qelPackedData_IsValidBlock(shifted.data() + 1, 22), 1);
}

TEST(qelPackedDataIsValidBlock, AcceptsAnEscapedBlockReadBack) {
  unsigned char table[128] = {};
  const std::string bytes = Block(Sample());
  char* text = qelEscape_Bytes(bytes.data(), bytes.size(), 1, table, '%', 0, nullptr);
  size_t size = 0;
  char* block = qelUnescape_Bytes(text, strlen(text), 0, '%', &size);
  free(text);
  ASSERT_EQ(std::string(block, size), bytes);
  ASSERT_EQ(qelPackedData_IsValidBlock(block, size), 1);
  ExpectSample(Data(qelPackedData_Open(block)));
}

} // namespace

#include <qel/containers/qelArray.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/core/qelMem.h>

#include <tests/support/Fatal.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Array {
  qelArray_t* a;
  Array() : a(qelArray_New()) {}
  explicit Array(qelArray_t* array) : a(array) {}
  ~Array() { qelArray_Delete(a); }
  Array(const Array&) = delete;
  Array& operator=(const Array&) = delete;
};

void* Int(uintptr_t value) {
  return reinterpret_cast<void*>(value);
}

uintptr_t Number(const void* item) {
  return reinterpret_cast<uintptr_t>(item);
}

void Fill(qelArray_t* array, std::initializer_list<uintptr_t> values) {
  for (uintptr_t value : values)
    qelArray_Append(array, Int(value));
}

std::vector<uintptr_t> Items(const qelArray_t* array) {
  std::vector<uintptr_t> items;
  for (size_t i = 0; i != qelArray_GetCount(array); ++i)
    items.push_back(Number(qelArray_GetAt(array, i)));
  return items;
}

std::vector<uintptr_t> g_released;
void Release(void* item) {
  g_released.push_back(Number(item));
}
std::vector<uintptr_t> TakeReleased() {
  return std::exchange(g_released, {});
}

// By the tens, so that 11 and 12 are equal.
int CompareTens(const void* a, const void* b) {
  return static_cast<int>(Number(a) / 10) - static_cast<int>(Number(b) / 10);
}

int CompareSlots(const void* a, const void* b) {
  return CompareTens(*static_cast<void* const*>(a), *static_cast<void* const*>(b));
}

} // namespace

TEST(qelArrayNew, IsEmptyWithRoomForFiveHundredAndTwelve) {
  Array array;
  EXPECT_EQ(array.a->count, 0u);
  EXPECT_EQ(array.a->capacity, 512u);
  EXPECT_EQ(array.a->compare, nullptr);
  EXPECT_EQ(array.a->freeItem, nullptr);
  EXPECT_EQ(array.a->sorted, 0);
}

TEST(qelArrayDelete, AcceptsNull) {
  qelArray_Delete(nullptr);
}

TEST(qelArrayDelete, ReleasesAllItemsInAscendingOrder) {
  qelArray_t* array = qelArray_New();
  qelArray_SetFreeFunction(array, Release);
  Fill(array, {1, 2, 3});
  qelArray_Delete(array);
  EXPECT_THAT(TakeReleased(), ElementsAre(1, 2, 3));
}

TEST(qelArraySetAt, ReleasesTheOldItemThenStores) {
  Array array;
  Fill(array.a, {1, 2});
  qelArray_SetFreeFunction(array.a, Release);
  qelArray_SetAt(array.a, 1, Int(5));
  EXPECT_THAT(TakeReleased(), ElementsAre(2));
  EXPECT_THAT(Items(array.a), ElementsAre(1, 5));
  qelArray_SetFreeFunction(array.a, nullptr);
}

TEST(qelArraySetAt, ReleasesANullItemToo) {
  Array array;
  qelArray_Append(array.a, nullptr);
  qelArray_SetFreeFunction(array.a, Release);
  qelArray_SetAt(array.a, 0, Int(5));
  EXPECT_THAT(TakeReleased(), ElementsAre(0));
  qelArray_SetFreeFunction(array.a, nullptr);
}

TEST(qelArrayAppend, GrowsToSevenHundredAndSixtyEightWithTheFiveHundredAndThirteenthItem) {
  Array array;
  for (uintptr_t i = 0; i != 512; ++i)
    qelArray_Append(array.a, Int(i));
  EXPECT_EQ(array.a->capacity, 512u);
  qelArray_Append(array.a, Int(512));
  EXPECT_EQ(array.a->capacity, 768u);
  for (uintptr_t i = 0; i != 513; ++i)
    ASSERT_EQ(qelArray_GetAt(array.a, i), Int(i));
}

TEST(qelArrayAppend, GrowsByHalfThenByTwoThousandAndFortyEight) {
  Array array;
  std::vector<size_t> capacities{array.a->capacity};
  while (array.a->count != 12000) {
    qelArray_Append(array.a, nullptr);
    if (array.a->capacity != capacities.back())
      capacities.push_back(array.a->capacity);
  }
  EXPECT_THAT(capacities,
              ElementsAre(512, 768, 1152, 1728, 2592, 3888, 5832, 7880, 9928, 11976, 14024));
}

TEST(qelArrayInsertSlots, OpensAGapOfNulls) {
  Array array;
  Fill(array.a, {1, 2, 3});
  qelArray_InsertSlots(array.a, 1, 2);
  EXPECT_THAT(Items(array.a), ElementsAre(1, 0, 0, 2, 3));
  qelArray_InsertSlots(array.a, 5, 1);
  EXPECT_THAT(Items(array.a), ElementsAre(1, 0, 0, 2, 3, 0));
  qelArray_InsertSlots(array.a, 0, 1);
  EXPECT_THAT(Items(array.a), ElementsAre(0, 1, 0, 0, 2, 3, 0));
}

TEST(qelArrayInsertSlots, DoesNothingForNoSlotsNotEvenGrow) {
  Array array;
  qelArray_InsertSlots(array.a, 0, 512);
  qelArray_InsertSlots(array.a, 3, 0);
  EXPECT_EQ(array.a->count, 512u);
  EXPECT_EQ(array.a->capacity, 512u);
}

TEST(qelArraySortedInsert, KeepsTheOrderAndReleasesOneNull) {
  Array array;
  qelArray_SetCompare(array.a, CompareTens, /*sorted=*/1);
  qelArray_SetFreeFunction(array.a, Release);
  EXPECT_EQ(qelArray_SortedInsert(array.a, Int(50)), 0u);
  EXPECT_EQ(qelArray_SortedInsert(array.a, Int(20)), 0u);
  EXPECT_EQ(qelArray_SortedInsert(array.a, Int(70)), 2u);
  EXPECT_EQ(qelArray_SortedInsert(array.a, Int(30)), 1u);
  EXPECT_THAT(Items(array.a), ElementsAre(20, 30, 50, 70));
  EXPECT_THAT(TakeReleased(), ElementsAre(0, 0, 0, 0));
  qelArray_SetFreeFunction(array.a, nullptr);
}

TEST(qelArraySortedInsert, LandsAheadOfTheEqualItemThatTheSearchHits) {
  Array array;
  qelArray_SetCompare(array.a, CompareTens, /*sorted=*/1);
  Fill(array.a, {10, 20, 21, 22, 30});
  EXPECT_EQ(qelArray_SortedInsert(array.a, Int(29)), 2u); // the middle of five
  EXPECT_THAT(Items(array.a), ElementsAre(10, 20, 29, 21, 22, 30));
}

TEST(qelArraySortedInsert, AppendsToAnArrayThatIsNotKeptSorted) {
  Array array;
  EXPECT_EQ(qelArray_SortedInsert(array.a, Int(50)), 0u);
  EXPECT_EQ(qelArray_SortedInsert(array.a, Int(20)), 1u);
  EXPECT_THAT(Items(array.a), ElementsAre(50, 20));
}

TEST(qelArrayRemoveRange, ReleasesAscendingAndClosesTheGap) {
  Array array;
  Fill(array.a, {1, 2, 3, 4, 5});
  qelArray_SetFreeFunction(array.a, Release);
  qelArray_RemoveRange(array.a, 1, 3);
  EXPECT_THAT(TakeReleased(), ElementsAre(2, 3, 4));
  EXPECT_THAT(Items(array.a), ElementsAre(1, 5));
  qelArray_RemoveRange(array.a, 1, 0);
  EXPECT_THAT(TakeReleased(), IsEmpty());
  EXPECT_THAT(Items(array.a), ElementsAre(1, 5));
  qelArray_SetFreeFunction(array.a, nullptr);
}

namespace {

qelArray_t* g_observed;
std::vector<uintptr_t> g_secondSlot;
void ObserveSecondSlot(void*) {
  g_secondSlot.push_back(Number(qelArray_GetAt(g_observed, 1)));
}

} // namespace

TEST(qelArrayRemoveRange, RunsTheReleaseCallbackBeforeSlotsMove) {
  Array array;
  Fill(array.a, {1, 2, 3});
  g_observed = array.a;
  qelArray_SetFreeFunction(array.a, ObserveSecondSlot);
  qelArray_RemoveRange(array.a, 0, 2);
  EXPECT_THAT(g_secondSlot, ElementsAre(2, 2));
  qelArray_SetFreeFunction(array.a, nullptr);
}

TEST(qelArrayRemove, RemovesTheFirstItemOfThatPointerOnly) {
  Array array;
  Fill(array.a, {1, 2, 1});
  qelArray_SetFreeFunction(array.a, Release);
  qelArray_Remove(array.a, Int(1));
  EXPECT_THAT(Items(array.a), ElementsAre(2, 1));
  EXPECT_THAT(TakeReleased(), ElementsAre(1));
  qelArray_Remove(array.a, Int(9));
  EXPECT_THAT(Items(array.a), ElementsAre(2, 1));
  EXPECT_THAT(TakeReleased(), IsEmpty());
  qelArray_SetFreeFunction(array.a, nullptr);
}

TEST(qelArrayClear, ReleasesAllAndKeepsTheCapacity) {
  Array array;
  qelArray_InsertSlots(array.a, 0, 600);
  const size_t capacity = array.a->capacity;
  qelArray_SetFreeFunction(array.a, Release);
  qelArray_Clear(array.a);
  EXPECT_EQ(TakeReleased().size(), 600u);
  EXPECT_EQ(array.a->count, 0u);
  EXPECT_EQ(array.a->capacity, capacity);
  qelArray_Clear(array.a);
  EXPECT_THAT(TakeReleased(), IsEmpty());
}

TEST(qelArrayIndexOf, GivesTheFirstIndexOrMinusOne) {
  Array array;
  Fill(array.a, {5, 6, 5});
  EXPECT_EQ(qelArray_IndexOf(array.a, Int(5)), 0);
  EXPECT_EQ(qelArray_IndexOf(array.a, Int(6)), 1);
  EXPECT_EQ(qelArray_IndexOf(array.a, Int(7)), -1);
}

namespace {

int IsMultipleOf(const void* item, const void* value) {
  return Number(item) % Number(value) == 0 ? -1 : 0;
}

} // namespace

TEST(qelArrayFindIf, GivesTheFirstIndexWithAPredicateThatIsNotZero) {
  Array array;
  Fill(array.a, {5, 6, 9});
  EXPECT_EQ(qelArray_FindIf(array.a, Int(3), IsMultipleOf), 1);
  EXPECT_EQ(qelArray_FindIf(array.a, Int(7), IsMultipleOf), -1);
}

TEST(qelArraySetCompare, SortsAtOnceWhateverTheFlag) {
  Array array;
  Fill(array.a, {30, 10, 20});
  qelArray_SetCompare(array.a, CompareSlots, /*sorted=*/0);
  EXPECT_THAT(Items(array.a), ElementsAre(10, 20, 30));
  EXPECT_EQ(array.a->sorted, 0);
}

TEST(qelArraySetCompare, StoresTheFlagAndDoesNotSortWithoutACompare) {
  Array array;
  Fill(array.a, {30, 10, 20});
  qelArray_SetCompare(array.a, nullptr, /*sorted=*/1);
  EXPECT_THAT(Items(array.a), ElementsAre(30, 10, 20));
  EXPECT_EQ(array.a->sorted, 1);
  EXPECT_EQ(qelArray_FindInsertPosition(array.a, Int(1)), 3u);
}

namespace {

std::vector<uintptr_t> g_slotValues;
int CompareSlotsAndNote(const void* a, const void* b) {
  // qsort may work on a copy of a slot, so the value is what tells an address.
  for (const void* slot : {a, b})
    g_slotValues.push_back(Number(*static_cast<void* const*>(slot)));
  return CompareSlots(a, b);
}

} // namespace

TEST(qelArraySort, HandsAddressesOfSlots) {
  Array array;
  Fill(array.a, {30, 10, 20});
  g_slotValues.clear();
  qelArray_SetCompare(array.a, CompareSlotsAndNote, /*sorted=*/0);
  EXPECT_THAT(g_slotValues, testing::Not(IsEmpty()));
  EXPECT_THAT(g_slotValues, testing::Each(testing::AnyOf(10, 20, 30)));
  EXPECT_THAT(Items(array.a), ElementsAre(10, 20, 30));
}

TEST(qelArraySort, DoesNothingWithoutACompare) {
  Array array;
  Fill(array.a, {3, 1, 2});
  qelArray_Sort(array.a);
  EXPECT_THAT(Items(array.a), ElementsAre(3, 1, 2));
}

TEST(qelArraySort, TakesAnEmptyArrayWithoutSlots) {
  Array array;
  qelArray_SetCapacity(array.a, 0);
  qelArray_SetCompare(array.a, CompareSlots, /*sorted=*/1);
  EXPECT_EQ(array.a->count, 0u);
}

namespace {

std::vector<std::pair<uintptr_t, uintptr_t>> g_compared;
int CompareAndNote(const void* probe, const void* item) {
  g_compared.emplace_back(Number(probe), Number(item));
  return CompareTens(probe, item);
}

} // namespace

TEST(qelArrayFindInsertPosition, HandsTheProbeAndTheItemThemselves) {
  Array array;
  qelArray_SetCompare(array.a, CompareAndNote, /*sorted=*/1);
  Fill(array.a, {10, 20, 30, 40});
  g_compared.clear();
  EXPECT_EQ(qelArray_FindInsertPosition(array.a, Int(15)), 0u);
  EXPECT_THAT(g_compared, ElementsAre(std::make_pair(15u, 30u), std::make_pair(15u, 20u),
                                      std::make_pair(15u, 10u)));
}

TEST(qelArrayFindInsertPosition, EndsAtTheFirstEqualItem) {
  Array array;
  qelArray_SetCompare(array.a, CompareAndNote, /*sorted=*/1);
  Fill(array.a, {10, 20, 30, 40});
  g_compared.clear();
  EXPECT_EQ(qelArray_FindInsertPosition(array.a, Int(30)), 2u);
  EXPECT_THAT(g_compared, ElementsAre(std::make_pair(30u, 30u)));
}

TEST(qelArrayFindInsertPosition, GivesTheCountWithTheFlagAtZero) {
  Array array;
  qelArray_SetCompare(array.a, CompareTens, /*sorted=*/0);
  Fill(array.a, {10, 20});
  EXPECT_EQ(qelArray_FindInsertPosition(array.a, Int(5)), 2u);
}

TEST(qelArrayReserve, GrowsAFullArrayEvenForNothing) {
  Array array;
  qelArray_InsertSlots(array.a, 0, 512);
  qelArray_Reserve(array.a, 0);
  EXPECT_EQ(array.a->capacity, 768u);
  qelArray_Reserve(array.a, 0);
  EXPECT_EQ(array.a->capacity, 768u);
}

TEST(qelArrayReserve, AddsWhatIsWantedWhenThatIsMoreThanTheStep) {
  Array array;
  qelArray_InsertSlots(array.a, 0, 512);
  qelArray_Reserve(array.a, 600);
  EXPECT_EQ(array.a->capacity, 1112u);
}

TEST(qelArrayReserve, DoesNothingWhileThereIsRoom) {
  Array array;
  Fill(array.a, {1});
  qelArray_Reserve(array.a, 511);
  EXPECT_EQ(array.a->capacity, 512u);
  qelArray_Reserve(array.a, 512);
  EXPECT_EQ(array.a->capacity, 1024u);
}

TEST(qelArrayReserve, StartsAnArrayWithoutSlotsAtFiveHundredAndTwelveOrMore) {
  Array array;
  qelArray_SetCapacity(array.a, 0);
  qelArray_Reserve(array.a, 3);
  EXPECT_EQ(array.a->capacity, 512u);
  qelArray_SetCapacity(array.a, 0);
  qelArray_Reserve(array.a, 700);
  EXPECT_EQ(array.a->capacity, 700u);
}

TEST(qelArrayReserve, AddsFiveHundredAndTwelveToASmallCapacity) {
  Array array;
  qelArray_SetCapacity(array.a, 10);
  qelArray_InsertSlots(array.a, 0, 10);
  qelArray_Reserve(array.a, 1);
  EXPECT_EQ(array.a->capacity, 522u);
}

// So that an impossible size comes back to the array under a sanitizer too.
extern "C" const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}
extern "C" const char* __tsan_default_options() {
  return "allocator_may_return_null=1";
}

TEST(qelArrayReserve, EndsTheProcessForMoreSlotsThanMemoryHas) {
  Array array;
  EXPECT_FATAL(qelArray_Reserve(array.a, SIZE_MAX), "memory:realloc");
  EXPECT_FATAL(qelArray_Reserve(array.a, SIZE_MAX - 100), "memory:realloc");
  EXPECT_FATAL(qelArray_InsertSlots(array.a, 0, SIZE_MAX / 8), "memory:realloc");
}

TEST(qelArraySetCapacity, TakesExactlyThatAndLeavesTheCount) {
  Array array;
  Fill(array.a, {1, 2});
  qelArray_SetCapacity(array.a, 3);
  EXPECT_EQ(array.a->capacity, 3u);
  EXPECT_THAT(Items(array.a), ElementsAre(1, 2));
}

// Byte form ----------------------------------------------------------------------

namespace {

std::string Serialized(const qelArray_t* array, qelArray_ItemWriter writer) {
  size_t size = 0;
  char* block = qelArray_Serialize(array, &size, writer);
  const std::string bytes(block, size);
  free(block);
  return bytes;
}

void WriteIndexAndItem(qelArrayBuffer_t* buffer, const void* item, size_t index) {
  qelArrayBuffer_AppendDecimal(buffer, static_cast<qelULong>(index));
  qelArrayBuffer_AppendString(buffer, "=");
  qelArrayBuffer_AppendDecimal(buffer, static_cast<qelULong>(Number(item)));
  qelArrayBuffer_AppendString(buffer, ";");
}

// One byte for an item; what follows it is skipped by the count that the byte gives.
size_t ReadSkipping(qelArray_t* array, const char* position, size_t index) {
  EXPECT_EQ(index, qelArray_GetCount(array));
  qelArray_Append(array, Int(static_cast<uintptr_t>(*position)));
  return static_cast<size_t>(*position);
}

} // namespace

TEST(qelArraySerialize, WritesFourZeroBytesForAnEmptyArray) {
  Array array;
  EXPECT_EQ(Serialized(array.a, WriteIndexAndItem), std::string(4, '\0'));
}

TEST(qelArraySerialize, WritesTheCountThenEachItemByIndex) {
  Array array;
  Fill(array.a, {7, 8});
  EXPECT_EQ(Serialized(array.a, WriteIndexAndItem), std::string("\2\0\0\0", 4) + "0=7;1=8;");
}

TEST(qelArraySerialize, WritesTheCountLittleEndian) {
  Array array;
  qelArray_InsertSlots(array.a, 0, 0x10203);
  const auto nothing = [](qelArrayBuffer_t*, const void*, size_t) {};
  EXPECT_EQ(Serialized(array.a, nothing), std::string("\x03\x02\x01\x00", 4));
}

TEST(qelArrayDeserialize, GivesAnEmptyArrayForFourZeroBytes) {
  Array array(qelArray_Deserialize("\0\0\0\0", 4, ReadSkipping));
  EXPECT_EQ(array.a->count, 0u);
  EXPECT_EQ(array.a->capacity, 512u);
}

TEST(qelArrayDeserialize, MovesOnByWhatTheReaderTook) {
  Array array(qelArray_Deserialize("\3\0\0\0\2x\3yy\1", 10, ReadSkipping));
  EXPECT_THAT(Items(array.a), ElementsAre(2, 3, 1));
}

TEST(qelArrayDeserialize, DoesNotConsultTheSize) {
  Array array(qelArray_Deserialize("\2\0\0\0\1\1", 0, ReadSkipping));
  EXPECT_THAT(Items(array.a), ElementsAre(1, 1));
}

TEST(qelArraySerializeString, WritesTheTerminatorAndOneZeroByteForNull) {
  Array array;
  char text[] = "ab";
  qelArray_Append(array.a, text);
  qelArray_Append(array.a, nullptr);
  EXPECT_EQ(Serialized(array.a, qelArray_SerializeString), std::string("\2\0\0\0ab\0\0", 8));
}

TEST(qelArrayDeserializeString, BringsTextsBackAndNullAsTheEmptyText) {
  Array array;
  char first[] = "first";
  char second[] = "";
  char third[] = "\xC3\xA9";
  for (char* text : {first, static_cast<char*>(nullptr), second, third})
    qelArray_Append(array.a, text);
  const std::string block = Serialized(array.a, qelArray_SerializeString);

  Array back(qelArray_Deserialize(block.data(), block.size(), qelArray_DeserializeString));
  qelArray_SetFreeFunction(back.a, free);
  ASSERT_EQ(back.a->count, 4u);
  EXPECT_STREQ(static_cast<char*>(back.a->items[0]), "first");
  EXPECT_STREQ(static_cast<char*>(back.a->items[1]), "");
  EXPECT_STREQ(static_cast<char*>(back.a->items[2]), "");
  EXPECT_STREQ(static_cast<char*>(back.a->items[3]), "\xC3\xA9");
}

// Against a model ------------------------------------------------------------------

namespace {

// A vector with the array's own rule of growth.
struct Model {
  std::vector<uintptr_t> items;
  size_t capacity = 512;

  void Reserve(size_t n) {
    if (capacity != items.size() && n <= capacity - items.size())
      return;
    const size_t step = capacity >= 512 ? std::min<size_t>(capacity / 2, 2048) : 512;
    capacity = capacity == 0 ? std::max<size_t>(512, n) : capacity + std::max(step, n);
  }
};

} // namespace

TEST(qelArrayModel, AgreesWithAVectorAndTheRuleOfGrowth) {
  std::mt19937 random(31);
  Array array;
  Model model;
  qelArray_SetFreeFunction(array.a, Release);
  std::vector<uintptr_t> released;
  for (int step = 0; step != 20000; ++step) {
    const size_t count = model.items.size();
    const size_t at = random() % (count + 1);
    const uintptr_t value = random() % 5000 + 1;
    switch (random() % 12) {
    case 0:
    case 1: {
      const size_t n = random() % 20 == 0 ? random() % 1500 : random() % 3;
      qelArray_InsertSlots(array.a, at, n);
      if (n != 0)
        model.Reserve(n);
      model.items.insert(model.items.begin() + static_cast<ptrdiff_t>(at), n, 0);
      break;
    }
    case 2: {
      const size_t n = std::min<size_t>(random() % 40, count - at);
      qelArray_RemoveRange(array.a, at, n);
      const auto first = model.items.begin() + static_cast<ptrdiff_t>(at);
      released.insert(released.end(), first, first + static_cast<ptrdiff_t>(n));
      model.items.erase(first, first + static_cast<ptrdiff_t>(n));
      break;
    }
    case 3: {
      qelArray_Remove(array.a, Int(value));
      const auto found = std::find(model.items.begin(), model.items.end(), value);
      if (found != model.items.end()) {
        released.push_back(value);
        model.items.erase(found);
      }
      break;
    }
    case 4:
      if (at == count)
        break;
      qelArray_SetAt(array.a, at, Int(value));
      released.push_back(std::exchange(model.items[at], value));
      break;
    case 5: {
      const size_t n = random() % 700;
      qelArray_Reserve(array.a, n);
      model.Reserve(n);
      break;
    }
    case 6:
      if (random() % 60 == 0) {
        qelArray_Clear(array.a);
        released.insert(released.end(), model.items.begin(), model.items.end());
        model.items.clear();
      } else if (random() % 20 == 0) {
        qelArray_SetCapacity(array.a, count);
        model.capacity = count;
      }
      break;
    default:
      qelArray_Append(array.a, Int(value));
      model.Reserve(1);
      model.items.push_back(value);
    }
    ASSERT_EQ(array.a->count, model.items.size());
    ASSERT_EQ(array.a->capacity, model.capacity);
    const auto found = std::find(model.items.begin(), model.items.end(), value);
    ASSERT_EQ(qelArray_IndexOf(array.a, Int(value)),
              found != model.items.end() ? found - model.items.begin() : -1);
    if (step % 100 == 0) {
      ASSERT_EQ(Items(array.a), model.items);
    }
  }
  EXPECT_EQ(Items(array.a), model.items);
  EXPECT_EQ(TakeReleased(), released);
  qelArray_SetFreeFunction(array.a, nullptr);
}

TEST(qelArrayModel, SortedInsertAgreesWithASortedVector) {
  std::mt19937 random(32);
  Array array;
  qelArray_SetCompare(array.a, CompareTens, /*sorted=*/1);
  std::vector<uintptr_t> model;
  for (int step = 0; step != 3000; ++step) {
    const uintptr_t value = random() % 20000;
    const size_t index = qelArray_SortedInsert(array.a, Int(value));
    ASSERT_EQ(qelArray_GetAt(array.a, index), Int(value));
    model.push_back(value / 10);
  }
  std::sort(model.begin(), model.end());
  std::vector<uintptr_t> tens;
  for (uintptr_t item : Items(array.a))
    tens.push_back(item / 10);
  EXPECT_EQ(tens, model);
}

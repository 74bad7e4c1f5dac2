#include <qel/containers/StringHashMap.h>

#include <cstdint>
#include <map>
#include <new>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include <qel/containers/StringHashMapImpl.h>

namespace {

typedef qelStringHashMap<qelArray_t*> ArrayMap;

void FreeArray(void* array) {
  qelArray_Delete(static_cast<qelArray_t*>(array));
}

// A pointer to compare; nothing reads through it.
qelArray_t* Fake(uintptr_t value) {
  return reinterpret_cast<qelArray_t*>(value);
}

void Collect(const char* key, const void* value, void* context) {
  (*static_cast<std::map<std::string, const void*>*>(context))[key] = value;
}

} // namespace

static_assert(std::has_virtual_destructor<ArrayMap>::value, "clients derive from the map");
static_assert(sizeof(ArrayMap) == 2 * sizeof(void*), "one table pointer beside the virtual table");

TEST(qelStringHashMap, StartsEmpty) {
  const ArrayMap map;
  EXPECT_EQ(map.GetCount(), 0u);
  EXPECT_EQ(map["key"], nullptr);
}

TEST(qelStringHashMap, ReplacesRemovesAndClears) {
  ArrayMap map;
  map.Add("a", Fake(1));
  map.Add("a", Fake(2));
  map.Add("b", Fake(3));
  EXPECT_EQ(map.GetCount(), 2u);
  EXPECT_EQ(map["a"], Fake(2));
  map.Remove("a");
  map.Remove("missing");
  EXPECT_EQ(map.GetCount(), 1u);
  EXPECT_EQ(map["a"], nullptr);
  map.Clear();
  EXPECT_EQ(map.GetCount(), 0u);
}

TEST(qelStringHashMapFind, LeavesTheVariableOnAMiss) {
  ArrayMap map;
  qelArray_t* value = Fake(7);
  EXPECT_FALSE(map.Find("key", value));
  EXPECT_EQ(value, Fake(7));
  map.Add("key", Fake(8));
  EXPECT_TRUE(map.Find("key", value));
  EXPECT_EQ(value, Fake(8));
}

TEST(qelStringHashMapFind, FindsANullValue) {
  ArrayMap map;
  map.Add("key", nullptr);
  qelArray_t* value = Fake(7);
  EXPECT_TRUE(map.Find("key", value));
  EXPECT_EQ(value, nullptr);
}

TEST(qelStringHashMap, CopiesItsKeys) {
  ArrayMap map;
  char key[] = "key";
  map.Add(key, Fake(1));
  key[0] = 'x';
  EXPECT_EQ(map["key"], Fake(1));
}

TEST(qelStringHashMap, ReleasesValuesByItsCallbacks) {
  ArrayMap map(qelCustomHashTable_HelperFunctions_Value{nullptr, FreeArray});
  map.Add("a", qelArray_New()); // the leak checker watches
  map.Add("a", qelArray_New());
  map.Add("b", qelArray_New());
  map.Remove("b");
  qelArray_t* value = nullptr;
  ASSERT_TRUE(map.Find("a", value));
  EXPECT_EQ(qelArray_GetCount(value), 0u);
}

TEST(qelStringHashMapForEach, HandsKeyValueAndContextToTheCallback) {
  ArrayMap map;
  map.Add("a", Fake(1));
  map.Add("b", Fake(2));
  std::map<std::string, const void*> seen;
  map.ForEach(Collect, &seen);
  EXPECT_EQ(seen, (std::map<std::string, const void*>{{"a", Fake(1)}, {"b", Fake(2)}}));
}

TEST(qelStringHashMapForEach, ForwardsThroughThePair) {
  std::map<std::string, const void*> seen;
  qelStringHashMap_Pair pair = {Collect, &seen};
  qelStringHashMap_ForEach("key", Fake(5), &pair);
  EXPECT_EQ(seen, (std::map<std::string, const void*>{{"key", Fake(5)}}));
}

TEST(qelStringHashMapCopy, SharesTheTable) {
  ArrayMap original;
  original.Add("a", Fake(1));
  // The copy is never destroyed: both objects hold the one table.
  alignas(ArrayMap) unsigned char place[sizeof(ArrayMap)];
  ArrayMap* copy = new (place) ArrayMap(original);
  EXPECT_EQ((*copy)["a"], Fake(1));
  copy->Add("b", Fake(2));
  EXPECT_EQ(original["b"], Fake(2));
}

TEST(qelStringHashMapCopy, AssignmentNeitherClearsNorReleasesTheOldTable) {
  ArrayMap first;
  ArrayMap second;
  first.Add("a", Fake(1));
  second.Add("b", Fake(2));
  alignas(ArrayMap) unsigned char place[sizeof(ArrayMap)];
  ArrayMap* handle = new (place) ArrayMap(first);
  *handle = second;
  EXPECT_EQ((*handle)["b"], Fake(2));
  EXPECT_EQ((*handle)["a"], nullptr);
  EXPECT_EQ(first["a"], Fake(1));
}

TEST(qelStringHashMapImpl, ServesOtherTypesOfCodeBuiltWithTheLibrary) {
  qelStringHashMap<int32_t> numbers;
  numbers.Add("minus", -1);
  numbers.Add("zero", 0);
  EXPECT_EQ(numbers["minus"], -1);
  int32_t value = 9;
  EXPECT_TRUE(numbers.Find("zero", value));
  EXPECT_EQ(value, 0);
  EXPECT_EQ(numbers["missing"], 0);

  qelStringHashMap<const char*> texts;
  texts.Add("key", "text");
  EXPECT_STREQ(texts["key"], "text");
}

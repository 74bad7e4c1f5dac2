#include <qel/containers/qelByteKeyMap.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/multiplatform/qelMutex.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

typedef std::pair<std::string, uintptr_t> Entry;

struct Map {
  qelByteKeyMap_t* m;
  Map() : m(qelByteKeyMap_New()) {}
  ~Map() { qelByteKeyMap_Delete(m); }
  Map(const Map&) = delete;
  Map& operator=(const Map&) = delete;

  void Set(const std::string& key, uintptr_t value) {
    qelByteKeyMap_Set(m, key.data(), key.size(), reinterpret_cast<void*>(value));
  }
  uintptr_t Get(const std::string& key) const {
    return reinterpret_cast<uintptr_t>(qelByteKeyMap_Get(m, key.data(), key.size()));
  }
  int Contains(const std::string& key) const {
    return qelByteKeyMap_Contains(m, key.data(), key.size());
  }
  void Remove(const std::string& key) { qelByteKeyMap_Remove(m, key.data(), key.size()); }

  std::vector<Entry> Walk() const {
    std::vector<Entry> walked;
    qelByteKeyMap_Iterator* iterator = qelByteKeyMap_NewIterator(m);
    while (qelByteKeyMap_Next(iterator) == 0) {
      const void* key = nullptr;
      size_t length = 0;
      void* value = nullptr;
      qelByteKeyMap_GetCurrent(iterator, &key, &length, &value);
      walked.emplace_back(std::string(static_cast<const char*>(key), length),
                          reinterpret_cast<uintptr_t>(value));
    }
    qelByteKeyMap_DeleteIterator(iterator);
    return walked;
  }
};

} // namespace

TEST(qelByteKeyMapNew, HasAZeroedSentinelAndAMutex) {
  Map map;
  ASSERT_NE(map.m->sentinel, nullptr);
  EXPECT_EQ(map.m->sentinel->next, nullptr);
  EXPECT_EQ(map.m->sentinel->previous, nullptr);
  EXPECT_EQ(map.m->sentinel->hash, 0u);
  EXPECT_EQ(map.m->sentinel->key, nullptr);
  EXPECT_EQ(map.m->sentinel->keyLength, 0u);
  ASSERT_NE(map.m->mutex, nullptr);
}

TEST(qelByteKeyMapNew, HasAMutexThatNoOperationTakes) {
  Map map;
  map.Set("a", 1);
  map.Remove("a");
  EXPECT_EQ(qelOSMutex_IsOwner(map.m->mutex), 0);
  qelOSMutex_Lock(map.m->mutex);
  map.Set("b", 2);
  EXPECT_EQ(qelOSMutex_IsOwner(map.m->mutex), 1);
  qelOSMutex_Unlock(map.m->mutex);
}

TEST(qelByteKeyMapDelete, AcceptsNull) {
  qelByteKeyMap_Delete(nullptr);
}

TEST(qelByteKeyMapClear, LeavesAMapThatCanBeUsedAgain) {
  Map map;
  map.Set("a", 1);
  map.Set("b", 2);
  qelByteKeyMap_Clear(map.m);
  EXPECT_THAT(map.Walk(), IsEmpty());
  map.Set("c", 3);
  EXPECT_THAT(map.Walk(), ElementsAre(Entry("c", 3)));
}

TEST(qelByteKeyMapSet, LeavesOneNodeWithTheNewerValue) {
  Map map;
  int older = 1; // on the stack: a release would be noticed
  qelByteKeyMap_Set(map.m, "key", 3, &older);
  map.Set("key", 2);
  EXPECT_THAT(map.Walk(), ElementsAre(Entry("key", 2)));
}

TEST(qelByteKeyMapSet, KeepsACopyOfTheKeyWithAZeroByteBehindIt) {
  Map map;
  char key[] = {'a', '\0', 'b'};
  qelByteKeyMap_Set(map.m, key, sizeof key, nullptr);
  key[0] = 'x';
  const qelByteKeyMap_Node* node = map.m->sentinel->next;
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(std::string(node->key, 4), std::string("a\0b\0", 4));
  EXPECT_EQ(node->keyLength, 3u);
  EXPECT_EQ(node->hash, qelByteKeyMap_Hash("a\0b", 3));
  EXPECT_EQ(node->previous, map.m->sentinel);
}

TEST(qelByteKeyMapSet, KeepsTheOrderOfFirstInsertion) {
  Map map;
  for (const char* key : {"c", "a", "b"})
    map.Set(key, 1);
  map.Set("c", 2);
  EXPECT_THAT(map.Walk(), ElementsAre(Entry("c", 2), Entry("a", 1), Entry("b", 1)));
}

TEST(qelByteKeyMapGet, TellsKeysApartByLengthAndBytes) {
  Map map;
  map.Set(std::string("ab"), 1);
  map.Set(std::string("ab\0", 3), 2); // the same hash
  map.Set(std::string("abcdXefgh"), 3);
  map.Set(std::string("abcdYefgh"), 4); // the same hash: the fifth byte takes no part
  EXPECT_EQ(qelByteKeyMap_Hash("abcdXefgh", 9), qelByteKeyMap_Hash("abcdYefgh", 9));
  EXPECT_EQ(map.Get("ab"), 1u);
  EXPECT_EQ(map.Get(std::string("ab\0", 3)), 2u);
  EXPECT_EQ(map.Get("abcdXefgh"), 3u);
  EXPECT_EQ(map.Get("abcdYefgh"), 4u);
  EXPECT_EQ(map.Get("abcdZefgh"), 0u);
  EXPECT_EQ(map.Contains("abcdYefgh"), 1);
  EXPECT_EQ(map.Contains("abcdZefgh"), 0);
}

TEST(qelByteKeyMapEmptyKey, IsNeverInTheMap) {
  Map map;
  map.Set("a", 1);
  EXPECT_EQ(map.Get(""), 0u);
  EXPECT_EQ(map.Contains(""), 0);
  map.Remove("");
  map.Set("", 2);
  EXPECT_THAT(map.Walk(), ElementsAre(Entry("a", 1)));
}

TEST(qelByteKeyMapRemove, UnlinksAnywhereAndMissesSilently) {
  Map map;
  for (const char* key : {"a", "b", "c", "d"})
    map.Set(key, 1);
  map.Remove("b");
  EXPECT_THAT(map.Walk(), ElementsAre(Entry("a", 1), Entry("c", 1), Entry("d", 1)));
  map.Remove("d");
  map.Remove("a");
  map.Remove("missing");
  EXPECT_THAT(map.Walk(), ElementsAre(Entry("c", 1)));
  EXPECT_EQ(map.m->sentinel->next->previous, map.m->sentinel);
}

TEST(qelByteKeyMapHash, PadsShortKeysWithZeros) {
  EXPECT_EQ(qelByteKeyMap_Hash("\x01\x02\x03", 3), 0x00030201u);
  EXPECT_EQ(qelByteKeyMap_Hash("\xFF", 1), 0xFFu);
  EXPECT_EQ(qelByteKeyMap_Hash("\x01\x02\x03\x84", 4), 0x84030201u);
  EXPECT_EQ(qelByteKeyMap_Hash("", 0), 0u);
}

TEST(qelByteKeyMapHash, XorsTheFirstAndTheLastWord) {
  EXPECT_EQ(qelByteKeyMap_Hash("\x01\x02\x03\x04\x05", 5), 0x04030201u ^ 0x05040302u);
  EXPECT_EQ(qelByteKeyMap_Hash("\x01\x02\x03\x04\x05\x06\x07\x08\x09", 9),
            0x04030201u ^ 0x09080706u);
}

TEST(qelByteKeyMapHash, XorsTheMiddleWordFromTenBytesOn) {
  EXPECT_EQ(qelByteKeyMap_Hash("\x01\x02\x03\x04\x05\x16\x27\x38\x49\x0A", 10),
            0x04030201u ^ 0x0A493827u ^ 0x49382716u);
  EXPECT_EQ(qelByteKeyMap_Hash("\x01\x02\x03\x04\x05\x06\x17\x28\x39\x4A\x5B\x6C\x7D", 13),
            0x04030201u ^ 0x7D6C5B4Au ^ 0x4A392817u);
}

TEST(qelByteKeyMapIterator, SaysNothingOnTheSentinelAndAtTheEnd) {
  Map map;
  map.Set("a", 1);
  qelByteKeyMap_Iterator* iterator = qelByteKeyMap_NewIterator(map.m);
  const auto expectNothing = [&] {
    const void* key = &map;
    size_t length = 9;
    void* value = &map;
    qelByteKeyMap_GetCurrent(iterator, &key, &length, &value);
    EXPECT_EQ(key, nullptr);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(value, nullptr);
  };
  expectNothing();
  EXPECT_EQ(qelByteKeyMap_Next(iterator), 0);
  EXPECT_EQ(qelByteKeyMap_Next(iterator), 1);
  expectNothing();
  EXPECT_EQ(qelByteKeyMap_Next(iterator), 1); // it stays at the end
  map.Set("b", 2);
  EXPECT_EQ(qelByteKeyMap_Next(iterator), 1);
  qelByteKeyMap_DeleteIterator(iterator);
}

TEST(qelByteKeyMapIterator, AcceptsNullOutArguments) {
  Map map;
  map.Set("key", 5);
  qelByteKeyMap_Iterator* iterator = qelByteKeyMap_NewIterator(map.m);
  qelByteKeyMap_GetCurrent(iterator, nullptr, nullptr, nullptr);
  qelByteKeyMap_Next(iterator);
  qelByteKeyMap_GetCurrent(iterator, nullptr, nullptr, nullptr);
  size_t length = 0;
  qelByteKeyMap_GetCurrent(iterator, nullptr, &length, nullptr);
  EXPECT_EQ(length, 3u);
  qelByteKeyMap_DeleteIterator(iterator);
  qelByteKeyMap_DeleteIterator(nullptr);
}

TEST(qelByteKeyMapModel, AgreesWithAnOrderedMapAndTheOrderOfInsertion) {
  std::mt19937 random(34);
  Map map;
  std::map<std::string, uintptr_t> model;
  std::vector<std::string> order;
  for (int step = 0; step != 10000; ++step) {
    std::string key(random() % 16 + 1, 'k');
    for (char& c : key)
      c = static_cast<char>(random() % 2);
    switch (random() % 5) {
    case 0:
    case 1:
      map.Remove(key);
      if (model.erase(key) != 0)
        order.erase(std::find(order.begin(), order.end(), key));
      break;
    case 2:
      if (random() % 300 == 0) {
        qelByteKeyMap_Clear(map.m);
        model.clear();
        order.clear();
      }
      break;
    default:
      map.Set(key, static_cast<uintptr_t>(step));
      if (model.count(key) == 0)
        order.push_back(key);
      model[key] = static_cast<uintptr_t>(step);
    }
    const auto found = model.find(key);
    ASSERT_EQ(map.Contains(key), found != model.end());
    ASSERT_EQ(map.Get(key), found != model.end() ? found->second : 0);
    if (step % 100 != 0)
      continue;
    std::vector<Entry> expected;
    for (const std::string& inserted : order)
      expected.emplace_back(inserted, model[inserted]);
    ASSERT_EQ(map.Walk(), expected);
  }
}

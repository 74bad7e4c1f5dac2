#include <companions/plugins/qelixPlugins.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/core/Types.h>
#include <qel/serialize/qelPackedData.h>

#include <tests/support/Gate.h>

namespace {

// Every test gives back all that it makes.
class PluginsTest : public testing::Test {
protected:
  void TearDown() override {
    EXPECT_EQ(qelPlugins_CountLists(), 0u);
    EXPECT_EQ(qelPlugins_CountProperties(), 0u);
  }

  // A property in a list, which the test's end releases.
  qelProperty* Linked(qelPropertyList* list, const char* key, uint32_t count) {
    qelProperty* property = qelProperty_New(key, count);
    property->next = list->first;
    list->first = property;
    return property;
  }
};

using PropertyList = PluginsTest;
using Property = PluginsTest;
using PropertyValue = PluginsTest;

// The 22 bytes of a finished block with one slot and one chunk.
const unsigned char kBlock[22] = {0x16, 0, 0, 0, 1, 0, 0, 0,    0x0C, 0,    0,
                                  0,    1, 0, 3, 0, 7, 0, 0x41, 0x42, 0x43, 0};

// A control record over a copy of the block, without a call to the library that knows it.
struct PackedRecord : qelPackedData_t {
  PackedRecord() {
    block = static_cast<char*>(malloc(64));
    memcpy(block, kBlock, sizeof kBlock);
    header = reinterpret_cast<uint32_t*>(block);
    begunSlots = slotCount = 1;
    used = sizeof kBlock;
    capacity = 64;
  }
  ~PackedRecord() { free(block); }
};

TEST(PluginsRecords, LieAsTheSerialisersReadThem) {
  EXPECT_EQ(offsetof(qelPropertyList, first), 0u);
  EXPECT_EQ(offsetof(qelProperty, key), 0u);
  EXPECT_EQ(offsetof(qelProperty, count), 8u);
  EXPECT_EQ(offsetof(qelProperty, values), 16u);
  EXPECT_EQ(offsetof(qelProperty, next), 24u);
  EXPECT_EQ(offsetof(qelData, kind), 0u);
  EXPECT_EQ(offsetof(qelData, value), 8u);
  EXPECT_EQ(sizeof(qelData), 16u);
}

TEST_F(PropertyList, IsEmptyWhenNew) {
  qelPropertyList* list = qelPropertyList_New();
  EXPECT_EQ(list->first, nullptr);
  EXPECT_EQ(qelPlugins_CountLists(), 1u);
  qelPropertyList_Release(list);
}

TEST_F(PropertyList, TakeFindsTheFirstPropertyOfTheKey) {
  qelPropertyList* list = qelPropertyList_New();
  Linked(list, "a", 1);
  qelProperty* second = Linked(list, "a", 1);
  qelProperty* other = Linked(list, "b", 1);
  EXPECT_EQ(qelPropertyList_Take(list, "a"), second);
  EXPECT_EQ(qelPropertyList_Take(list, "b"), other);
  for (int holds = 0; holds < 3; ++holds)
    qelPropertyList_Release(list);
}

TEST_F(PropertyList, TakeTellsCasesApart) {
  qelPropertyList* list = qelPropertyList_New();
  Linked(list, "a", 1);
  EXPECT_EQ(qelPropertyList_Take(list, "A"), nullptr);
  EXPECT_EQ(qelPropertyList_Take(list, ""), nullptr);
  EXPECT_EQ(qelPropertyList_Take(list, "ab"), nullptr);
  qelPropertyList_Release(list);
}

TEST_F(PropertyList, TakeWithoutKeyOnlyTakesHold) {
  qelPropertyList* list = qelPropertyList_New();
  Linked(list, "a", 1);
  EXPECT_EQ(qelPropertyList_Take(list, nullptr), nullptr);
  qelPropertyList_Release(list);
  EXPECT_EQ(qelPlugins_CountLists(), 1u);
  qelPropertyList_Release(list);
}

TEST_F(PropertyList, TakeHoldsOnAHit) {
  qelPropertyList* list = qelPropertyList_New();
  qelProperty* property = Linked(list, "a", 1);
  EXPECT_EQ(qelPropertyList_Take(list, "a"), property);
  qelPropertyList_Release(list);
  EXPECT_STREQ(list->first->key, "a");
  qelPropertyList_Release(list);
}

TEST_F(PropertyList, TakeHoldsNothingOnAMiss) {
  qelPropertyList* list = qelPropertyList_New();
  EXPECT_EQ(qelPropertyList_Take(list, "missing"), nullptr);
  qelPropertyList_Release(list);
  EXPECT_EQ(qelPlugins_CountLists(), 0u);
}

TEST_F(PropertyList, LastReleaseFreesEveryProperty) {
  qelPropertyList* list = qelPropertyList_New();
  for (int i = 0; i < 1000; ++i)
    qelProperty_Set_charPtr(Linked(list, "key", 2), "text", 1, 1);
  EXPECT_EQ(qelPlugins_CountProperties(), 1000u);
  qelPropertyList_Release(list);
  EXPECT_EQ(qelPlugins_CountProperties(), 0u);
}

TEST_F(PropertyList, NullIsNoList) {
  EXPECT_EQ(qelPropertyList_Take(nullptr, nullptr), nullptr);
  EXPECT_EQ(qelPropertyList_Take(nullptr, "a"), nullptr);
  qelPropertyList_Release(nullptr);
}

// The owner lets go while the others still read.
TEST_F(PropertyList, IsTakenAndReleasedByManyThreads) {
  const int kThreads = 8;
  qelPropertyList* list = qelPropertyList_New();
  qelProperty_Set_uint32(Linked(list, "a", 1), 7, 0);
  Gate gate(kThreads + 1);
  std::atomic<int> right{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    qelPropertyList_Take(list, nullptr); // this thread's hold
    threads.emplace_back([&] {
      gate.Pass();
      for (int round = 0; round < 1000; ++round) {
        const qelProperty* property = qelPropertyList_Take(list, "a");
        if (property != nullptr && property->values[0].value.u32 == 7)
          right.fetch_add(1);
        qelPropertyList_Take(list, "missing");
        qelPropertyList_Release(list);
      }
      qelPropertyList_Release(list);
    });
  }
  gate.Pass();
  qelPropertyList_Release(list);
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(right.load(), kThreads * 1000);
}

TEST_F(Property, HasItsKeyAndValuesWithoutContentWhenNew) {
  qelPropertyList* list = qelPropertyList_New();
  char key[] = "key";
  const qelProperty* property = Linked(list, key, 2);
  key[0] = 'x';
  EXPECT_STREQ(property->key, "key");
  ASSERT_EQ(property->count, 2u);
  EXPECT_EQ(property->values[0].kind, QEL_DATA_NONE);
  EXPECT_EQ(property->values[1].kind, QEL_DATA_NONE);
  qelPropertyList_Release(list);
}

TEST_F(Property, IsInNoListWhenNew) {
  qelProperty* property = qelProperty_New("a", 1);
  EXPECT_EQ(property->next, nullptr);
  qelPropertyList* list = qelPropertyList_New();
  list->first = property;
  qelPropertyList_Release(list);
}

TEST_F(Property, TakesANullKeyForTheEmptyOne) {
  qelPropertyList* list = qelPropertyList_New();
  qelProperty* property = Linked(list, nullptr, 0);
  EXPECT_STREQ(property->key, "");
  EXPECT_EQ(property->values, nullptr);
  EXPECT_EQ(qelPropertyList_Take(list, ""), property);
  qelPropertyList_Release(list);
  qelPropertyList_Release(list);
}

TEST_F(Property, KeepsItsValuesWhenItGrows) {
  qelPropertyList* list = qelPropertyList_New();
  qelProperty* property = Linked(list, "a", 1);
  for (uint32_t i = 0; i < 1000; ++i) {
    qelProperty_Resize(property, i + 1);
    ASSERT_EQ(property->values[i].kind, QEL_DATA_NONE);
    qelProperty_Set_charPtr(property, std::to_string(i).c_str(), 1, i);
  }
  ASSERT_EQ(property->count, 1000u);
  for (uint32_t i = 0; i < 1000; ++i)
    ASSERT_STREQ(property->values[i].value.text, std::to_string(i).c_str());
  qelPropertyList_Release(list);
}

TEST_F(Property, ForgetsTheValuesThatItShrinksBy) {
  qelPropertyList* list = qelPropertyList_New();
  qelProperty* property = Linked(list, "a", 3);
  for (uint32_t i = 0; i < 3; ++i)
    qelProperty_Set_charPtr(property, "text", 1, i);
  qelProperty_Resize(property, 1);
  EXPECT_EQ(property->count, 1u);
  qelProperty_Resize(property, 2);
  EXPECT_EQ(property->values[0].kind, QEL_DATA_CHARPTR);
  EXPECT_EQ(property->values[1].kind, QEL_DATA_NONE);
  qelProperty_Resize(property, 0);
  EXPECT_EQ(property->count, 0u);
  qelPropertyList_Release(list);
}

TEST_F(PropertyValue, IsANumberOfItsKind) {
  qelPropertyList* list = qelPropertyList_New();
  qelProperty* property = Linked(list, "a", 3);
  qelProperty_Set_uint32(property, 0xFFFFFFFFu, 0);
  qelProperty_Set_uint64(property, 0xFFFFFFFFFFFFFFFFu, 1);
  qelProperty_Set_double(property, -1.5, 2);
  EXPECT_EQ(property->values[0].kind, QEL_DATA_UINT32);
  EXPECT_EQ(property->values[0].value.u32, 0xFFFFFFFFu);
  EXPECT_EQ(property->values[1].kind, QEL_DATA_UINT64);
  EXPECT_EQ(property->values[1].value.u64, 0xFFFFFFFFFFFFFFFFu);
  EXPECT_EQ(property->values[2].kind, QEL_DATA_DOUBLE);
  EXPECT_EQ(property->values[2].value.number, -1.5);
  qelPropertyList_Release(list);
}

TEST_F(PropertyValue, CopiesText) {
  qelPropertyList* list = qelPropertyList_New();
  qelProperty* property = Linked(list, "a", 2);
  char text[] = "text";
  qelWChar wide[] = {'w', 0xD83D, 0xDE00, 0};
  qelProperty_Set_charPtr(property, text, 1, 0);
  qelProperty_Set_wcharPtr(property, wide, 1, 1);
  text[0] = 'x';
  wide[0] = 'x';
  EXPECT_EQ(property->values[0].kind, QEL_DATA_CHARPTR);
  EXPECT_STREQ(property->values[0].value.text, "text");
  EXPECT_EQ(property->values[1].kind, QEL_DATA_WCHARPTR);
  const qelWChar expected[] = {'w', 0xD83D, 0xDE00, 0};
  EXPECT_EQ(memcmp(property->values[1].value.wide, expected, sizeof expected), 0);
  qelPropertyList_Release(list);
}

TEST_F(PropertyValue, LeavesTheOriginalWithItsOwnerWhenNotCopied) {
  qelPropertyList* list = qelPropertyList_New();
  qelProperty* property = Linked(list, "a", 3);
  const char text[] = "text";
  const qelWChar wide[] = {'w', 0};
  PackedRecord record;
  qelProperty_Set_charPtr(property, text, 0, 0);
  qelProperty_Set_wcharPtr(property, wide, 0, 1);
  qelProperty_Set_packedData(property, &record, 0, 2);
  EXPECT_EQ(property->values[0].value.text, text);
  EXPECT_EQ(property->values[1].value.wide, wide);
  EXPECT_EQ(property->values[2].value.packed, &record);
  qelPropertyList_Release(list);
  EXPECT_EQ(memcmp(record.block, kBlock, sizeof kBlock), 0);
}

TEST_F(PropertyValue, KeepsNullAsNull) {
  qelPropertyList* list = qelPropertyList_New();
  qelProperty* property = Linked(list, "a", 3);
  qelProperty_Set_charPtr(property, nullptr, 1, 0);
  qelProperty_Set_wcharPtr(property, nullptr, 1, 1);
  qelProperty_Set_packedData(property, nullptr, 1, 2);
  EXPECT_EQ(property->values[0].kind, QEL_DATA_CHARPTR);
  EXPECT_EQ(property->values[0].value.text, nullptr);
  EXPECT_EQ(property->values[1].kind, QEL_DATA_WCHARPTR);
  EXPECT_EQ(property->values[1].value.wide, nullptr);
  EXPECT_EQ(property->values[2].kind, QEL_DATA_PACKEDDATA);
  EXPECT_EQ(property->values[2].value.packed, nullptr);
  qelPropertyList_Release(list);
}

TEST_F(PropertyValue, CopiesAPackedBlockWhole) {
  qelPropertyList* list = qelPropertyList_New();
  qelProperty* property = Linked(list, "a", 1);
  {
    PackedRecord record;
    qelProperty_Set_packedData(property, &record, 1, 0);
    memset(record.block, 0xEE, sizeof kBlock);
  }
  const qelPackedData_t* copy = property->values[0].value.packed;
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->used, sizeof kBlock);
  EXPECT_EQ(copy->capacity, sizeof kBlock);
  EXPECT_EQ(copy->slotCount, 1u);
  EXPECT_EQ(copy->begunSlots, 1u);
  EXPECT_EQ(reinterpret_cast<const char*>(copy->header), copy->block);
  EXPECT_EQ(memcmp(copy->block, kBlock, sizeof kBlock), 0);
  qelPropertyList_Release(list);
}

TEST_F(PropertyValue, FinishesTheCopyOfAnUnfinishedBlockOnly) {
  qelPropertyList* list = qelPropertyList_New();
  qelProperty* property = Linked(list, "a", 1);
  PackedRecord record;
  record.header[0] = 0;
  qelProperty_Set_packedData(property, &record, 1, 0);
  EXPECT_EQ(record.header[0], 0u);
  EXPECT_EQ(property->values[0].value.packed->header[0], sizeof kBlock);
  qelPropertyList_Release(list);
}

TEST_F(PropertyValue, TakesARecordWithoutBlockForNull) {
  qelPropertyList* list = qelPropertyList_New();
  qelProperty* property = Linked(list, "a", 1);
  qelPackedData_t detached = {};
  qelProperty_Set_packedData(property, &detached, 1, 0);
  EXPECT_EQ(property->values[0].value.packed, nullptr);
  qelPropertyList_Release(list);
}

TEST_F(PropertyValue, ReplacesWhateverStoodThere) {
  qelPropertyList* list = qelPropertyList_New();
  qelProperty* property = Linked(list, "a", 1);
  PackedRecord record;
  qelProperty_Set_charPtr(property, "text", 1, 0);
  qelProperty_Set_packedData(property, &record, 1, 0);
  qelProperty_Set_wcharPtr(property, QEL_W("wide"), 1, 0);
  qelProperty_Set_uint32(property, 1, 0);
  EXPECT_EQ(property->values[0].kind, QEL_DATA_UINT32);
  EXPECT_EQ(property->values[0].value.u64, 1u);
  qelPropertyList_Release(list);
}

TEST_F(PropertyValue, CanBeCopiedFromWhatStandsThere) {
  qelPropertyList* list = qelPropertyList_New();
  qelProperty* property = Linked(list, "a", 1);
  qelProperty_Set_charPtr(property, "text", 1, 0);
  qelProperty_Set_charPtr(property, property->values[0].value.text + 1, 1, 0);
  EXPECT_STREQ(property->values[0].value.text, "ext");
  PackedRecord record;
  qelProperty_Set_packedData(property, &record, 1, 0);
  qelProperty_Set_packedData(property, property->values[0].value.packed, 1, 0);
  EXPECT_EQ(property->values[0].value.packed->used, sizeof kBlock);
  qelPropertyList_Release(list);
}

TEST_F(PropertyValue, IsNotSetOutsideOfTheProperty) {
  qelPropertyList* list = qelPropertyList_New();
  qelProperty* property = Linked(list, "a", 1);
  PackedRecord record;
  for (qelProperty* place : {property, static_cast<qelProperty*>(nullptr)}) {
    qelProperty_Set_charPtr(place, "text", 1, 1);
    qelProperty_Set_wcharPtr(place, QEL_W("wide"), 1, 1);
    qelProperty_Set_packedData(place, &record, 1, 1);
    qelProperty_Set_uint32(place, 1, 1);
    qelProperty_Set_uint64(place, 1, 1);
    qelProperty_Set_double(place, 1, 1);
    qelProperty_Resize(nullptr, 3);
  }
  EXPECT_EQ(property->count, 1u);
  EXPECT_EQ(property->values[0].kind, QEL_DATA_NONE);
  qelPropertyList_Release(list);
}

} // namespace

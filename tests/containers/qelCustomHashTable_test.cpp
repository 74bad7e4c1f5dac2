#include <qel/containers/qelCustomHashTable.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/core/Types.h>
#include <qel/core/qelMem.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

typedef std::pair<std::string, std::string> TextPair;

// A table that dies with its scope.
struct Table {
  qelCustomHashTable_t* t;
  explicit Table(qelCustomHashTable_t* table) : t(table) {}
  ~Table() { qelCustomHashTable_Delete(t); }
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;
};

void* Int(uintptr_t value) {
  return reinterpret_cast<void*>(value);
}

uintptr_t Number(const void* pointer) {
  return reinterpret_cast<uintptr_t>(pointer);
}

std::string Shown(const void* text) {
  return text != nullptr ? static_cast<const char*>(text) : "(null)";
}

void CollectTexts(const void* key, const void* value, void* context) {
  static_cast<std::vector<TextPair>*>(context)->emplace_back(Shown(key), Shown(value));
}

std::vector<TextPair> TextWalk(const qelCustomHashTable_t* table) {
  std::vector<TextPair> walked;
  qelCustomHashTable_ForEach(table, CollectTexts, &walked);
  return walked;
}

void CollectInts(const void* key, const void* value, void* context) {
  static_cast<std::vector<std::pair<uintptr_t, uintptr_t>>*>(context)->emplace_back(Number(key),
                                                                                    Number(value));
}

std::vector<std::pair<uintptr_t, uintptr_t>> IntWalk(const qelCustomHashTable_t* table) {
  std::vector<std::pair<uintptr_t, uintptr_t>> walked;
  qelCustomHashTable_ForEach(table, CollectInts, &walked);
  return walked;
}

int AlwaysEqual(const void*, const void*) {
  return 0;
}

// A table with the colliding keys "Aa" and "BB". Only a multi-value table takes both, and not even
// that one could be cleared if they still differed then.
struct CollidingTable : Table {
  CollidingTable() : Table(qelCustomHashTable_NewStringString()) {
    qelCustomHashTable_SetMultiValue(t);
    qelCustomHashTable_Add(t, "Aa", "1");
    qelCustomHashTable_Add(t, "BB", "2");
  }
  ~CollidingTable() { t->keyFunctions.compare = AlwaysEqual; }
};

// Callbacks on integers in the place of pointers that write down each call.
std::vector<std::string> g_calls;

std::string Call(const char* name, const void* argument) {
  return std::string(name) + " " + std::to_string(Number(argument));
}

void* LogCopyKey(const void* key) {
  g_calls.push_back(Call("copy key", key));
  return Number(key) == 99 ? nullptr : Int(Number(key) + 1000); // 99 can't be copied
}
void LogFreeKey(void* key) {
  g_calls.push_back(Call("free key", key));
}
int LogCompare(const void* probe, const void* stored) {
  g_calls.push_back(Call("compare", probe) + " with " + std::to_string(Number(stored)));
  return Number(probe) % 1000 != Number(stored) % 1000;
}
uint32_t LogHash(const void* key) {
  g_calls.push_back(Call("hash", key));
  return static_cast<uint32_t>(Number(key) % 1000);
}
void* LogCopyValue(const void* value) {
  g_calls.push_back(Call("copy value", value));
  return Number(value) == 99 || value == nullptr ? nullptr : Int(Number(value) + 1000);
}
void LogFreeValue(void* value) {
  g_calls.push_back(Call("free value", value));
}

const qelCustomHashTable_HelperFunctions_Key kLogKeys = {LogCopyKey, LogFreeKey, LogCompare,
                                                         LogHash};
const qelCustomHashTable_HelperFunctions_Value kLogValues = {LogCopyValue, LogFreeValue};

std::vector<std::string> TakeCalls() {
  return std::exchange(g_calls, {});
}

struct LogTable : Table {
  LogTable() : Table(qelCustomHashTable_New(kLogKeys, kLogValues)) { g_calls.clear(); }
};

uint32_t RuleHash(const std::string& key) {
  uint32_t hash = 0;
  for (char c : key)
    hash = hash * 31 + static_cast<unsigned char>(c) + 1;
  return hash;
}

} // namespace

// Callback sets ------------------------------------------------------------------

TEST(qelHashKeyFunctionsString, AddsOneOnEveryStep) {
  const auto hash = qelHashKeyFunctions_String.hash;
  EXPECT_EQ(hash(""), 0u);
  EXPECT_EQ(hash("a"), 98u);
  EXPECT_EQ(hash("ab"), 3137u);
  EXPECT_EQ(hash("ab") % 11, 2u);
}

TEST(qelHashKeyFunctionsString, TakesBytesUnsigned) {
  EXPECT_EQ(qelHashKeyFunctions_String.hash("\xFF"), 256u);
  EXPECT_EQ(qelHashKeyFunctions_String.hash("\x80\x80"), 129u * 31 + 129);
}

TEST(qelHashKeyFunctionsString, WrapsAround32Bits) {
  const std::string key(200, '\xFE');
  EXPECT_EQ(qelHashKeyFunctions_String.hash(key.c_str()), RuleHash(key));
}

TEST(qelHashKeyFunctionsString, ComparesBytesWithTheirCase) {
  EXPECT_EQ(qelHashKeyFunctions_String.compare("abc", "abc"), 0);
  EXPECT_NE(qelHashKeyFunctions_String.compare("abc", "abC"), 0);
  EXPECT_NE(qelHashKeyFunctions_String.compare("abc", "ab"), 0);
}

TEST(qelHashKeyFunctionsString, CopiesTextAndReleasesNull) {
  const char text[] = "text";
  void* copy = qelHashKeyFunctions_String.copy(text);
  EXPECT_NE(copy, text);
  EXPECT_STREQ(static_cast<char*>(copy), text);
  qelHashKeyFunctions_String.free(copy);
  qelHashKeyFunctions_String.free(nullptr);
}

TEST(qelHashKeyFunctionsWString, HashesUnitsOfSixteenBits) {
  const auto hash = qelHashKeyFunctions_WString.hash;
  EXPECT_EQ(hash(QEL_W("")), 0u);
  EXPECT_EQ(hash(QEL_W("ab")), 3137u);
  EXPECT_EQ(hash(QEL_W("\x20AC")), 0x20ADu);
  EXPECT_EQ(hash(QEL_W("\xFFFF")), 0x10000u);
}

TEST(qelHashKeyFunctionsWString, ComparesUnits) {
  const auto compare = qelHashKeyFunctions_WString.compare;
  EXPECT_EQ(compare(QEL_W("\x20AC"), QEL_W("\x20AC")), 0);
  EXPECT_NE(compare(QEL_W("\x20AC"), QEL_W("\xAC")), 0);
  EXPECT_NE(compare(QEL_W("a"), QEL_W("A")), 0);
  EXPECT_LT(compare(QEL_W("a"), QEL_W("ab")), 0);
  EXPECT_GT(compare(QEL_W("ab"), QEL_W("a")), 0);
}

TEST(qelHashKeyFunctionsInt, HashesTheLowHalfAndComparesIdentity) {
  EXPECT_EQ(qelHashKeyFunctions_Int.hash(Int(0x123456789ABCDEFu)), 0x89ABCDEFu);
  EXPECT_EQ(qelHashKeyFunctions_Int.copy, nullptr);
  EXPECT_EQ(qelHashKeyFunctions_Int.free, nullptr);
  EXPECT_EQ(qelHashKeyFunctions_Int.compare, nullptr);
}

TEST(qelHashValueFunctions, CopyAndReleaseAsTheirNamesSay) {
  void* narrow = qelHashValueFunctions_String.copy("v");
  EXPECT_STREQ(static_cast<char*>(narrow), "v");
  qelHashValueFunctions_String.free(narrow);
  qelHashValueFunctions_String.free(nullptr);
  EXPECT_EQ(qelHashValueFunctions_String.copy(nullptr), nullptr);

  void* wide = qelHashValueFunctions_WString.copy(QEL_W("v\x20AC"));
  EXPECT_EQ(qelHashKeyFunctions_WString.compare(wide, QEL_W("v\x20AC")), 0);
  qelHashValueFunctions_WString.free(wide);

  EXPECT_EQ(qelHashValueFunctions_Plain.copy, nullptr);
  EXPECT_EQ(qelHashValueFunctions_Plain.free, nullptr);
  EXPECT_EQ(Number(qelHashValueFunctions_Int.copy(Int(7))), 7u);
  EXPECT_EQ(qelHashValueFunctions_Int.free, nullptr);
}

// Making and releasing -------------------------------------------------------------

TEST(qelCustomHashTableNew, IsEmptySingleValueAndKeepsTheCallbacks) {
  Table table(qelCustomHashTable_New(kLogKeys, kLogValues));
  for (int i = 0; i != 11; ++i) {
    EXPECT_EQ(table.t->buckets[i], nullptr);
    EXPECT_EQ(table.t->bucketCounts[i], 0u);
  }
  EXPECT_EQ(table.t->count, 0u);
  EXPECT_EQ(table.t->multiValue, 0);
  EXPECT_EQ(table.t->keyFunctions.copy, &LogCopyKey);
  EXPECT_EQ(table.t->keyFunctions.free, &LogFreeKey);
  EXPECT_EQ(table.t->keyFunctions.compare, &LogCompare);
  EXPECT_EQ(table.t->keyFunctions.hash, &LogHash);
  EXPECT_EQ(table.t->valueFunctions.copy, &LogCopyValue);
  EXPECT_EQ(table.t->valueFunctions.free, &LogFreeValue);
}

TEST(qelCustomHashTableDelete, AcceptsNull) {
  qelCustomHashTable_Delete(nullptr);
}

TEST(qelCustomHashTableDelete, ReleasesEveryKeyAndValue) {
  qelCustomHashTable_t* table = qelCustomHashTable_New(kLogKeys, kLogValues);
  qelCustomHashTable_Add(table, Int(1), Int(5));
  qelCustomHashTable_Add(table, Int(2), Int(6));
  g_calls.clear();
  qelCustomHashTable_Delete(table);
  std::vector<std::string> releases;
  for (const std::string& call : TakeCalls())
    if (call.rfind("free", 0) == 0)
      releases.push_back(call);
  EXPECT_THAT(releases,
              ElementsAre("free key 1001", "free value 1005", "free key 1002", "free value 1006"));
}

TEST(qelCustomHashTableHashKey, AppliesTheHashCallback) {
  Table table(qelCustomHashTable_NewStringPlain());
  EXPECT_EQ(qelCustomHashTable_HashKey(table.t, "ab"), 3137u);
}

// An empty table -------------------------------------------------------------------

TEST(qelCustomHashTableEmpty, HasNoKeyAtAnyPosition) {
  Table table(qelCustomHashTable_NewStringString());
  EXPECT_EQ(qelCustomHashTable_GetKeyAt(table.t, 0), nullptr);
  EXPECT_EQ(qelCustomHashTable_GetKeyAt(table.t, 1), nullptr);
  EXPECT_EQ(qelCustomHashTable_GetKeyAt(table.t, UINT64_MAX), nullptr);
}

TEST(qelCustomHashTableEmpty, CallsNoVisitorAndRemovesSilently) {
  Table table(qelCustomHashTable_NewStringString());
  EXPECT_THAT(TextWalk(table.t), IsEmpty());
  qelCustomHashTable_Remove(table.t, "a");
  qelCustomHashTable_Clear(table.t);
  EXPECT_EQ(qelCustomHashTable_GetCount(table.t), 0u);
}

// Adding ---------------------------------------------------------------------------

TEST(qelCustomHashTableAdd, HashesCopiesKeyThenValueThenRemovesTheOlderEntry) {
  LogTable table;
  EXPECT_EQ(qelCustomHashTable_Add(table.t, Int(1), Int(5)), 1);
  EXPECT_THAT(TakeCalls(), ElementsAre("hash 1", "copy key 1", "copy value 5", "hash 1"));
  EXPECT_EQ(qelCustomHashTable_Add(table.t, Int(1), Int(6)), 1);
  EXPECT_THAT(TakeCalls(), ElementsAre("hash 1", "copy key 1", "copy value 6", "hash 1",
                                       "compare 1 with 1001", "free key 1001", "free value 1005"));
}

TEST(qelCustomHashTableAdd, LeavesOneEntryWithTheNewerValue) {
  Table table(qelCustomHashTable_NewStringString());
  EXPECT_EQ(qelCustomHashTable_Add(table.t, "key", "old"), 1);
  EXPECT_EQ(qelCustomHashTable_Add(table.t, "key", "new"), 1);
  EXPECT_EQ(qelCustomHashTable_GetCount(table.t), 1u);
  EXPECT_STREQ(static_cast<char*>(qelCustomHashTable_GetValue(table.t, "key")), "new");
}

TEST(qelCustomHashTableAdd, StoresTheHashAndKeepsTheCounts) {
  Table table(qelCustomHashTable_NewStringString());
  qelCustomHashTable_Add(table.t, "ab", "v");
  ASSERT_NE(table.t->buckets[2], nullptr);
  EXPECT_EQ(table.t->buckets[2]->hash, 3137u);
  EXPECT_EQ(table.t->buckets[2]->next, nullptr);
  EXPECT_EQ(table.t->bucketCounts[2], 1u);
  EXPECT_EQ(table.t->count, 1u);
}

TEST(qelCustomHashTableAdd, StoresPointersAsTheyStandWithoutCopyCallbacks) {
  Table table(qelCustomHashTable_NewIntPlain());
  EXPECT_EQ(qelCustomHashTable_Add(table.t, Int(5), Int(77)), 1);
  EXPECT_EQ(qelCustomHashTable_GetKeyAt(table.t, 0), Int(5));
  EXPECT_EQ(qelCustomHashTable_GetValue(table.t, Int(5)), Int(77));
}

TEST(qelCustomHashTableAdd, TakesANullValueAsLegal) {
  Table table(qelCustomHashTable_NewStringString());
  EXPECT_EQ(qelCustomHashTable_Add(table.t, "key", nullptr), 1);
  void* value = Int(1);
  EXPECT_EQ(qelCustomHashTable_Find(table.t, "key", &value), 1);
  EXPECT_EQ(value, nullptr);
  EXPECT_EQ(qelCustomHashTable_GetValue(table.t, "key"), nullptr);
  EXPECT_EQ(qelCustomHashTable_Contains(table.t, "key"), 1);
}

TEST(qelCustomHashTableAdd, RefusesAKeyThatCopiesToNull) {
  LogTable table;
  EXPECT_EQ(qelCustomHashTable_Add(table.t, Int(99), Int(5)), 0);
  EXPECT_THAT(TakeCalls(), ElementsAre("hash 99", "copy key 99", "copy value 5", "free key 0",
                                       "free value 1005"));
  EXPECT_EQ(table.t->count, 0u);
}

TEST(qelCustomHashTableAdd, RefusesAValueThatCopiesToNullAndKeepsTheOlderEntry) {
  LogTable table;
  qelCustomHashTable_Add(table.t, Int(1), Int(5));
  g_calls.clear();
  EXPECT_EQ(qelCustomHashTable_Add(table.t, Int(1), Int(99)), 0);
  EXPECT_THAT(TakeCalls(), ElementsAre("hash 1", "copy key 1", "copy value 99", "free key 1001",
                                       "free value 0"));
  EXPECT_EQ(qelCustomHashTable_GetValue(table.t, Int(1)), Int(1005));
}

TEST(qelCustomHashTableAdd, RefusesTheKeyZeroOfAnIntegerTable) {
  Table table(qelCustomHashTable_NewIntPlain());
  EXPECT_EQ(qelCustomHashTable_Add(table.t, Int(0), Int(1)), 0);
  EXPECT_EQ(qelCustomHashTable_GetCount(table.t), 0u);
  EXPECT_EQ(qelCustomHashTable_Contains(table.t, Int(0)), 0);
}

TEST(qelCustomHashTableAdd, AcceptsTheTablesOwnKeyAndValue) {
  Table table(qelCustomHashTable_NewStringString());
  qelCustomHashTable_Add(table.t, "key", "value");
  const void* key = qelCustomHashTable_GetKeyAt(table.t, 0);
  const void* value = qelCustomHashTable_GetValue(table.t, key);
  EXPECT_EQ(qelCustomHashTable_Add(table.t, key, value), 1);
  EXPECT_THAT(TextWalk(table.t), ElementsAre(TextPair("key", "value")));
}

TEST(qelCustomHashTableAdd, KeepsIntegerKeysOfOneBucketApart) {
  Table table(qelCustomHashTable_NewIntPlain());
  qelCustomHashTable_Add(table.t, Int(11), Int(1));
  qelCustomHashTable_Add(table.t, Int(22), Int(2));
  EXPECT_EQ(table.t->bucketCounts[0], 2u);
  EXPECT_EQ(qelCustomHashTable_GetValue(table.t, Int(11)), Int(1));
  EXPECT_EQ(qelCustomHashTable_GetValue(table.t, Int(22)), Int(2));
  EXPECT_EQ(qelCustomHashTable_Contains(table.t, Int(33)), 0);
  qelCustomHashTable_Add(table.t, Int(11), Int(3));
  EXPECT_THAT(IntWalk(table.t), ElementsAre(std::make_pair(11u, 3u), std::make_pair(22u, 2u)));
  qelCustomHashTable_Remove(table.t, Int(33));
  EXPECT_EQ(qelCustomHashTable_GetCount(table.t), 2u);
  qelCustomHashTable_Remove(table.t, Int(22));
  EXPECT_THAT(IntWalk(table.t), ElementsAre(std::make_pair(11u, 3u)));
}

TEST(qelCustomHashTableAddTakingKeyAndValue, StoresAndLaterReleasesTheVeryPointers) {
  Table table(qelCustomHashTable_NewStringString());
  char* key = qelMem_StrDup("key"); // the leak checker tells whether the table releases them
  char* value = qelMem_StrDup("value");
  EXPECT_EQ(qelCustomHashTable_AddTakingKeyAndValue(table.t, key, value), 1);
  EXPECT_EQ(qelCustomHashTable_GetKeyAt(table.t, 0), key);
  EXPECT_EQ(qelCustomHashTable_GetValue(table.t, "key"), value);
}

TEST(qelCustomHashTableAddTakingKeyAndValue, CallsNoCopyCallbackAndPutsBothBack) {
  LogTable table;
  qelCustomHashTable_AddTakingKeyAndValue(table.t, Int(1), Int(5));
  EXPECT_THAT(TakeCalls(), ElementsAre("hash 1", "hash 1"));
  EXPECT_EQ(table.t->keyFunctions.copy, &LogCopyKey);
  EXPECT_EQ(table.t->valueFunctions.copy, &LogCopyValue);
  qelCustomHashTable_Remove(table.t, Int(1));
  EXPECT_THAT(TakeCalls(), ElementsAre("hash 1", "compare 1 with 1", "free key 1", "free value 5"));
}

TEST(qelCustomHashTableAddTakingKeyAndValue, ReleasesWhatItRefuses) {
  LogTable table;
  EXPECT_EQ(qelCustomHashTable_AddTakingKeyAndValue(table.t, nullptr, Int(5)), 0);
  EXPECT_THAT(TakeCalls(), ElementsAre("hash 0", "free key 0", "free value 5"));
  EXPECT_EQ(table.t->keyFunctions.copy, &LogCopyKey);
}

TEST(qelCustomHashTableAddTakingValue, CopiesTheKeyOnly) {
  LogTable table;
  qelCustomHashTable_AddTakingValue(table.t, Int(1), Int(5));
  EXPECT_THAT(TakeCalls(), ElementsAre("hash 1", "copy key 1", "hash 1"));
  EXPECT_EQ(table.t->valueFunctions.copy, &LogCopyValue);
  EXPECT_EQ(qelCustomHashTable_GetValue(table.t, Int(1)), Int(5));
}

// Several values for a key -----------------------------------------------------------

TEST(qelCustomHashTableMultiValue, KeepsBothEntriesFindsTheNewerAndRemovesBothAtOnce) {
  Table table(qelCustomHashTable_NewStringString());
  qelCustomHashTable_SetMultiValue(table.t);
  EXPECT_EQ(table.t->multiValue, 1);
  qelCustomHashTable_Add(table.t, "key", "old");
  qelCustomHashTable_Add(table.t, "other", "o");
  qelCustomHashTable_Add(table.t, "key", "new");
  EXPECT_EQ(qelCustomHashTable_GetCount(table.t), 3u);
  EXPECT_STREQ(static_cast<char*>(qelCustomHashTable_GetValue(table.t, "key")), "new");
  qelCustomHashTable_Remove(table.t, "key");
  EXPECT_THAT(TextWalk(table.t), ElementsAre(TextPair("other", "o")));
}

TEST(qelCustomHashTableMultiValue, AddsWithoutALookForOlderEntries) {
  LogTable table;
  qelCustomHashTable_SetMultiValue(table.t);
  qelCustomHashTable_Add(table.t, Int(1), Int(5));
  qelCustomHashTable_Add(table.t, Int(1), Int(6));
  EXPECT_THAT(TakeCalls(), ElementsAre("hash 1", "copy key 1", "copy value 5", "hash 1",
                                       "copy key 1", "copy value 6"));
}

TEST(qelCustomHashTableMultiValue, RemovesNewestFirst) {
  LogTable table;
  qelCustomHashTable_SetMultiValue(table.t);
  qelCustomHashTable_Add(table.t, Int(1), Int(5));
  qelCustomHashTable_Add(table.t, Int(1), Int(6));
  g_calls.clear();
  qelCustomHashTable_Remove(table.t, Int(1));
  EXPECT_THAT(TakeCalls(),
              ElementsAre("hash 1", "compare 1 with 1001", "free key 1001", "free value 1006",
                          "compare 1 with 1001", "free key 1001", "free value 1005"));
}

TEST(qelCustomHashTableMultiValue, ClearsEntriesThatShareAKeyWithoutReadingAReleasedOne) {
  Table table(qelCustomHashTable_NewStringString());
  qelCustomHashTable_SetMultiValue(table.t);
  for (const char* value : {"1", "2", "3"}) {
    qelCustomHashTable_Add(table.t, "key", value);
    qelCustomHashTable_Add(table.t, "other", value);
  }
  qelCustomHashTable_Clear(table.t); // the address sanitizer watches
  EXPECT_EQ(qelCustomHashTable_GetCount(table.t), 0u);
}

TEST(qelCustomHashTableMultiValue, RemovesByOneOfItsOwnValues) {
  Table table(qelCustomHashTable_NewStringString());
  qelCustomHashTable_SetMultiValue(table.t);
  for (int i = 0; i != 3; ++i)
    qelCustomHashTable_Add(table.t, "key", "key");
  // The address sanitizer watches.
  qelCustomHashTable_Remove(table.t, qelCustomHashTable_GetValue(table.t, "key"));
  EXPECT_EQ(qelCustomHashTable_GetCount(table.t), 0u);
}

TEST(qelCustomHashTableMultiValue, ReleasesInOrderWhenTheKeyIsItsOwn) {
  LogTable table;
  qelCustomHashTable_SetMultiValue(table.t);
  for (uintptr_t value : {5, 6, 7})
    qelCustomHashTable_AddTakingKeyAndValue(table.t, Int(1 + 1000 * value), Int(value));
  g_calls.clear();
  qelCustomHashTable_Remove(table.t, qelCustomHashTable_GetKeyAt(table.t, 1));
  std::vector<std::string> releases;
  for (const std::string& call : TakeCalls())
    if (call.rfind("free", 0) == 0)
      releases.push_back(call);
  EXPECT_THAT(releases, ElementsAre("free key 7001", "free value 7", "free key 6001",
                                    "free value 6", "free key 5001", "free value 5"));
  EXPECT_EQ(table.t->count, 0u);
}

// Removing ---------------------------------------------------------------------------

TEST(qelCustomHashTableRemove, ReleasesKeyThenValue) {
  LogTable table;
  qelCustomHashTable_Add(table.t, Int(1), Int(5));
  g_calls.clear();
  qelCustomHashTable_Remove(table.t, Int(1));
  EXPECT_THAT(TakeCalls(),
              ElementsAre("hash 1", "compare 1 with 1001", "free key 1001", "free value 1005"));
  EXPECT_EQ(table.t->count, 0u);
  EXPECT_EQ(table.t->bucketCounts[1], 0u);
}

TEST(qelCustomHashTableRemove, MissesSilentlyWithoutComparingOtherHashes) {
  LogTable table;
  qelCustomHashTable_Add(table.t, Int(1), Int(5));
  g_calls.clear();
  qelCustomHashTable_Remove(table.t, Int(12)); // the same bucket
  EXPECT_THAT(TakeCalls(), ElementsAre("hash 12"));
  EXPECT_EQ(table.t->count, 1u);
}

TEST(qelCustomHashTableRemove, AcceptsTheTablesOwnKey) {
  Table table(qelCustomHashTable_NewStringString());
  qelCustomHashTable_Add(table.t, "key", "value");
  qelCustomHashTable_Remove(table.t, qelCustomHashTable_GetKeyAt(table.t, 0));
  EXPECT_EQ(qelCustomHashTable_GetCount(table.t), 0u);
}

namespace {

// Says "different" a hundred times, then "equal", so that a scan that stands still comes to an end.
int g_comparisons;
std::string g_comparedWith;
int DifferentAHundredTimes(const void*, const void* stored) {
  if (g_comparisons == 0)
    g_comparedWith = Shown(stored);
  EXPECT_EQ(Shown(stored), g_comparedWith);
  return ++g_comparisons <= 100;
}

} // namespace

TEST(qelCustomHashTableRemove, ComparesACollidingEntryAgainAndAgain) {
  Table table(qelCustomHashTable_NewStringPlain());
  table.t->keyFunctions.compare = DifferentAHundredTimes;
  qelCustomHashTable_Add(table.t, "Aa", nullptr);
  g_comparisons = 0;
  qelCustomHashTable_Remove(table.t, "BB");
  EXPECT_EQ(g_comparisons, 101);
  EXPECT_EQ(g_comparedWith, "Aa");
  EXPECT_EQ(qelCustomHashTable_GetCount(table.t), 0u);
}

TEST(qelCustomHashTableHasCollidingKey, TellsADifferentKeyOfTheSameFullHash) {
  Table table(qelCustomHashTable_NewStringString());
  EXPECT_EQ(qelHashKeyFunctions_String.hash("Aa"), qelHashKeyFunctions_String.hash("BB"));
  EXPECT_EQ(qelCustomHashTable_HasCollidingKey(table.t, "BB"), 0);
  qelCustomHashTable_Add(table.t, "Aa", "1");
  EXPECT_EQ(qelCustomHashTable_HasCollidingKey(table.t, "BB"), 1);
  EXPECT_EQ(qelCustomHashTable_HasCollidingKey(table.t, "Aa"), 0);
  EXPECT_EQ(qelCustomHashTable_HasCollidingKey(table.t, "A"), 0);
}

TEST(qelCustomHashTableHasCollidingKey, LooksBehindEqualKeys) {
  CollidingTable table;
  EXPECT_EQ(qelCustomHashTable_HasCollidingKey(table.t, "Aa"), 1);
  EXPECT_EQ(qelCustomHashTable_HasCollidingKey(table.t, "BB"), 1);
}

TEST(qelCustomHashTableHasCollidingKey, ComparesIdentityWithoutACompareCallback) {
  Table table(qelCustomHashTable_NewIntPlain());
  qelCustomHashTable_Add(table.t, Int(5), Int(1));
  EXPECT_EQ(qelCustomHashTable_HasCollidingKey(table.t, Int(5)), 0);
  EXPECT_EQ(qelCustomHashTable_HasCollidingKey(table.t, Int(0x100000005u)), 1);
  EXPECT_EQ(qelCustomHashTable_HasCollidingKey(table.t, Int(16)), 0);
}

// Looking up -------------------------------------------------------------------------

TEST(qelCustomHashTableFind, ClearsTheOutArgumentOnAMiss) {
  Table table(qelCustomHashTable_NewStringString());
  void* value = Int(1);
  EXPECT_EQ(qelCustomHashTable_Find(table.t, "key", &value), 0);
  EXPECT_EQ(value, nullptr);
  EXPECT_EQ(qelCustomHashTable_Find(table.t, "key", nullptr), 0);
  EXPECT_EQ(qelCustomHashTable_GetValue(table.t, "key"), nullptr);
}

TEST(qelCustomHashTableFind, PassesDifferentKeysOfTheSameHash) {
  CollidingTable table;
  EXPECT_STREQ(static_cast<char*>(qelCustomHashTable_GetValue(table.t, "Aa")), "1");
  EXPECT_STREQ(static_cast<char*>(qelCustomHashTable_GetValue(table.t, "BB")), "2");
}

TEST(qelCustomHashTableFind, ComparesIdentityWithoutACompareCallback) {
  Table table(qelCustomHashTable_NewIntPlain());
  qelCustomHashTable_Add(table.t, Int(5), Int(1));
  EXPECT_EQ(qelCustomHashTable_Contains(table.t, Int(5)), 1);
  EXPECT_EQ(qelCustomHashTable_Contains(table.t, Int(0x100000005u)), 0);
}

TEST(qelCustomHashTableFind, HandsTheProbeFirst) {
  LogTable table;
  qelCustomHashTable_Add(table.t, Int(1), Int(5));
  g_calls.clear();
  qelCustomHashTable_Contains(table.t, Int(1));
  EXPECT_THAT(TakeCalls(), ElementsAre("hash 1", "compare 1 with 1001"));
}

// Walking ------------------------------------------------------------------------------

TEST(qelCustomHashTableWalk, GoesByBucketThenNewestFirst) {
  Table table(qelCustomHashTable_NewIntPlain());
  for (uintptr_t key : {10, 11, 1, 22, 12, 21})
    qelCustomHashTable_Add(table.t, Int(key), Int(key * 2));
  std::vector<uintptr_t> keys;
  for (const auto& entry : IntWalk(table.t)) {
    keys.push_back(entry.first);
    EXPECT_EQ(entry.second, entry.first * 2);
  }
  EXPECT_THAT(keys, ElementsAre(22, 11, 12, 1, 21, 10));
  for (size_t i = 0; i != keys.size(); ++i)
    EXPECT_EQ(qelCustomHashTable_GetKeyAt(table.t, i), Int(keys[i]));
  EXPECT_EQ(qelCustomHashTable_GetKeyAt(table.t, keys.size()), nullptr);
}

TEST(qelCustomHashTableClear, LeavesATableThatCanBeUsedAgain) {
  Table table(qelCustomHashTable_NewStringString());
  qelCustomHashTable_Add(table.t, "a", "1");
  qelCustomHashTable_Add(table.t, "b", "2");
  qelCustomHashTable_Clear(table.t);
  EXPECT_EQ(qelCustomHashTable_GetCount(table.t), 0u);
  EXPECT_THAT(TextWalk(table.t), IsEmpty());
  qelCustomHashTable_Add(table.t, "c", "3");
  EXPECT_THAT(TextWalk(table.t), ElementsAre(TextPair("c", "3")));
}

TEST(qelCustomHashTableClear, HashesAndComparesEachKeyAsARemovalDoes) {
  LogTable table;
  qelCustomHashTable_Add(table.t, Int(1), Int(5));
  g_calls.clear();
  qelCustomHashTable_Clear(table.t);
  EXPECT_THAT(TakeCalls(), ElementsAre("hash 1001", "compare 1001 with 1001", "free key 1001",
                                       "free value 1005"));
}

// Duplicates -----------------------------------------------------------------------------

TEST(qelCustomHashTableDuplicate, GivesNullForNull) {
  EXPECT_EQ(qelCustomHashTable_Duplicate(nullptr), nullptr);
}

TEST(qelCustomHashTableDuplicate, ReversesEachChain) {
  Table table(qelCustomHashTable_NewIntPlain());
  for (uintptr_t key : {11, 22, 33, 5, 16})
    qelCustomHashTable_Add(table.t, Int(key), Int(key));
  Table copy(qelCustomHashTable_Duplicate(table.t));
  std::vector<uintptr_t> keys;
  for (const auto& entry : IntWalk(copy.t))
    keys.push_back(entry.first);
  EXPECT_THAT(keys, ElementsAre(11, 22, 33, 5, 16));
  EXPECT_EQ(qelCustomHashTable_GetKeyAt(table.t, 0), Int(33));
}

TEST(qelCustomHashTableDuplicate, CopiesDeeplyAndTakesCallbacksAndMode) {
  Table table(qelCustomHashTable_NewStringString());
  qelCustomHashTable_SetMultiValue(table.t);
  qelCustomHashTable_Add(table.t, "key", "1");
  qelCustomHashTable_Add(table.t, "key", "2");
  Table copy(qelCustomHashTable_Duplicate(table.t));
  EXPECT_EQ(copy.t->multiValue, 1);
  EXPECT_EQ(memcmp(&copy.t->keyFunctions, &table.t->keyFunctions, sizeof copy.t->keyFunctions), 0);
  EXPECT_EQ(
      memcmp(&copy.t->valueFunctions, &table.t->valueFunctions, sizeof copy.t->valueFunctions), 0);
  EXPECT_THAT(TextWalk(copy.t), ElementsAre(TextPair("key", "1"), TextPair("key", "2")));
  EXPECT_NE(qelCustomHashTable_GetKeyAt(copy.t, 0), qelCustomHashTable_GetKeyAt(table.t, 1));
}

// Presets --------------------------------------------------------------------------------

namespace {

bool SameSet(const qelCustomHashTable_HelperFunctions_Key& a,
             const qelCustomHashTable_HelperFunctions_Key& b) {
  return a.copy == b.copy && a.free == b.free && a.compare == b.compare && a.hash == b.hash;
}

bool SameSet(const qelCustomHashTable_HelperFunctions_Value& a,
             const qelCustomHashTable_HelperFunctions_Value& b) {
  return a.copy == b.copy && a.free == b.free;
}

} // namespace

TEST(qelCustomHashTablePresets, TakeTheSetsOfTheirNames) {
  const struct {
    const char* name;
    qelCustomHashTable_t* table;
    const qelCustomHashTable_HelperFunctions_Key& keys;
    const qelCustomHashTable_HelperFunctions_Value& values;
  } presets[] = {
      {"WStringCustom", qelCustomHashTable_NewWStringCustom(kLogValues),
       qelHashKeyFunctions_WString, kLogValues},
      {"StringWString", qelCustomHashTable_NewStringWString(), qelHashKeyFunctions_String,
       qelHashValueFunctions_WString},
      {"WStringWString", qelCustomHashTable_NewWStringWString(), qelHashKeyFunctions_WString,
       qelHashValueFunctions_WString},
      {"StringCustom", qelCustomHashTable_NewStringCustom(kLogValues), qelHashKeyFunctions_String,
       kLogValues},
      {"IntCustom", qelCustomHashTable_NewIntCustom(kLogValues), qelHashKeyFunctions_Int,
       kLogValues},
      {"StringString", qelCustomHashTable_NewStringString(), qelHashKeyFunctions_String,
       qelHashValueFunctions_String},
      {"StringPlain", qelCustomHashTable_NewStringPlain(), qelHashKeyFunctions_String,
       qelHashValueFunctions_Plain},
      {"IntPlain", qelCustomHashTable_NewIntPlain(), qelHashKeyFunctions_Int,
       qelHashValueFunctions_Plain},
      {"StringInt", qelCustomHashTable_NewStringInt(), qelHashKeyFunctions_String,
       qelHashValueFunctions_Int},
  };
  for (const auto& preset : presets) {
    EXPECT_TRUE(SameSet(preset.table->keyFunctions, preset.keys)) << preset.name;
    EXPECT_TRUE(SameSet(preset.table->valueFunctions, preset.values)) << preset.name;
    EXPECT_EQ(preset.table->multiValue, 0) << preset.name;
    qelCustomHashTable_Delete(preset.table);
  }
}

TEST(qelCustomHashTablePresets, KeepWideTextByItsUnits) {
  Table table(qelCustomHashTable_NewWStringWString());
  qelCustomHashTable_Add(table.t, QEL_W("\x20AC"), QEL_W("euro"));
  qelCustomHashTable_Add(table.t, QEL_W("\x20AC"), QEL_W("Euro"));
  EXPECT_EQ(qelCustomHashTable_GetCount(table.t), 1u);
  const void* value = qelCustomHashTable_GetValue(table.t, QEL_W("\x20AC"));
  EXPECT_EQ(qelHashKeyFunctions_WString.compare(value, QEL_W("Euro")), 0);
}

// Against a model --------------------------------------------------------------------------

namespace {

// The table as it is described: eleven chains, newest first.
struct Model {
  std::vector<TextPair> chains[11];
  bool multiValue = false;

  std::vector<TextPair>& ChainOf(const std::string& key) { return chains[RuleHash(key) % 11]; }
  void Remove(const std::string& key) {
    std::vector<TextPair>& chain = ChainOf(key);
    chain.erase(std::remove_if(chain.begin(), chain.end(),
                               [&](const TextPair& entry) { return entry.first == key; }),
                chain.end());
  }
  void Add(const std::string& key, const std::string& value) {
    if (!multiValue)
      Remove(key);
    ChainOf(key).insert(ChainOf(key).begin(), {key, value});
  }
  const std::string* Find(const std::string& key) {
    for (const TextPair& entry : ChainOf(key))
      if (entry.first == key)
        return &entry.second;
    return nullptr;
  }
  std::vector<TextPair> Walk() const {
    std::vector<TextPair> walked;
    for (const auto& chain : chains)
      walked.insert(walked.end(), chain.begin(), chain.end());
    return walked;
  }
  Model Duplicate() const {
    Model copy;
    copy.multiValue = multiValue;
    for (const TextPair& entry : Walk())
      copy.Add(entry.first, entry.second);
    return copy;
  }
};

void ExpectLikeModel(const qelCustomHashTable_t* table, const Model& model) {
  const std::vector<TextPair> walked = model.Walk();
  ASSERT_EQ(TextWalk(table), walked);
  ASSERT_EQ(qelCustomHashTable_GetCount(table), walked.size());
  for (int i = 0; i != 11; ++i)
    ASSERT_EQ(table->bucketCounts[i], model.chains[i].size());
  for (size_t i = 0; i != walked.size(); ++i)
    ASSERT_EQ(Shown(qelCustomHashTable_GetKeyAt(table, i)), walked[i].first);
  ASSERT_EQ(qelCustomHashTable_GetKeyAt(table, walked.size()), nullptr);
}

void RunAgainstModel(bool multiValue, uint32_t seed) {
  std::mt19937 random(seed);
  qelCustomHashTable_t* table = qelCustomHashTable_NewStringString();
  Model model;
  model.multiValue = multiValue;
  if (multiValue)
    qelCustomHashTable_SetMultiValue(table);

  for (int step = 0; step != 5000; ++step) {
    const std::string key = "key" + std::to_string(random() % 60);
    const std::string value = std::to_string(step);
    switch (random() % 16) {
    case 0:
      if (random() % 8 == 0) {
        qelCustomHashTable_Clear(table);
        for (auto& chain : model.chains)
          chain.clear();
      }
      break;
    case 1: {
      qelCustomHashTable_t* copy = qelCustomHashTable_Duplicate(table);
      qelCustomHashTable_Delete(table);
      table = copy;
      model = model.Duplicate();
      break;
    }
    case 2:
    case 3:
    case 4:
    case 5:
    case 6:
      qelCustomHashTable_Remove(table, key.c_str());
      model.Remove(key);
      break;
    case 7:
      qelCustomHashTable_AddTakingKeyAndValue(table, qelMem_StrDup(key.c_str()),
                                              qelMem_StrDup(value.c_str()));
      model.Add(key, value);
      break;
    case 8:
      qelCustomHashTable_AddTakingValue(table, key.c_str(), qelMem_StrDup(value.c_str()));
      model.Add(key, value);
      break;
    default:
      ASSERT_EQ(qelCustomHashTable_Add(table, key.c_str(), value.c_str()), 1);
      model.Add(key, value);
    }
    const std::string* expected = model.Find(key);
    void* found = nullptr;
    ASSERT_EQ(qelCustomHashTable_Find(table, key.c_str(), &found), expected != nullptr);
    ASSERT_EQ(Shown(found), expected != nullptr ? *expected : "(null)");
    ASSERT_EQ(qelCustomHashTable_HasCollidingKey(table, key.c_str()), 0);
    if (step % 50 == 0) {
      ASSERT_NO_FATAL_FAILURE(ExpectLikeModel(table, model));
    }
  }
  ExpectLikeModel(table, model);
  qelCustomHashTable_Delete(table);
}

} // namespace

TEST(qelCustomHashTableModel, AgreesWithOneEntryForAKey) {
  RunAgainstModel(/*multiValue=*/false, 20);
}

TEST(qelCustomHashTableModel, AgreesWithSeveralEntriesForAKey) {
  RunAgainstModel(/*multiValue=*/true, 21);
}

TEST(qelCustomHashTableModel, AgreesWithAnOrderedMapOnWhatItHolds) {
  std::mt19937 random(22);
  Table table(qelCustomHashTable_NewIntPlain());
  std::map<uintptr_t, uintptr_t> model;
  for (int step = 0; step != 20000; ++step) {
    const uintptr_t key = random() % 200 + 1;
    const uintptr_t value = random();
    if (random() % 3 == 0) {
      qelCustomHashTable_Remove(table.t, Int(key));
      model.erase(key);
    } else {
      qelCustomHashTable_Add(table.t, Int(key), Int(value));
      model[key] = value;
    }
    ASSERT_EQ(qelCustomHashTable_GetCount(table.t), model.size());
  }
  auto walked = IntWalk(table.t);
  std::sort(walked.begin(), walked.end());
  EXPECT_TRUE(std::equal(
      walked.begin(), walked.end(), model.begin(), model.end(),
      [](const auto& a, const auto& b) { return a.first == b.first && a.second == b.second; }));
}

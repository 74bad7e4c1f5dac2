#ifndef QEL_TESTS_SUPPORT_PROPERTYLISTS_H
#define QEL_TESTS_SUPPORT_PROPERTYLISTS_H
//===----------------------------------------------------------------------===//
// What the tests of property lists share: lists by hand, blocks by hand, a
// recorder of events that can refuse one, and a fixture that sees that
// everything was released.
//===----------------------------------------------------------------------===//

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <companions/plugins/qelixPlugins.h>

#include <qel/core/Convert.h>
#include <qel/serialize/ISerialize.h>
#include <qel/serialize/qelPackedData.h>

// A list that the test holds.
class ListHold {
public:
  explicit ListHold(qelPropertyList* taken = qelPropertyList_New()) : list(taken) {}
  ~ListHold() { qelPropertyList_Release(list); }
  ListHold(const ListHold&) = delete;
  ListHold& operator=(const ListHold&) = delete;

  // Appends a property, so that the list reads as the test does.
  qelProperty* Add(const char* key, uint32_t count = 1) {
    qelProperty* property = qelProperty_New(key, count);
    qelProperty** end = &list->first;
    while (*end != nullptr)
      end = &(*end)->next;
    *end = property;
    return property;
  }

  // The keys from the first on, each with a blank behind it.
  std::string Keys() const {
    std::string keys;
    for (const qelProperty* at = list->first; at != nullptr; at = at->next)
      keys += std::string(at->key) + " ";
    return keys;
  }

  const qelProperty* Find(const std::string& key) const {
    const qelProperty* at = list->first;
    while (at != nullptr && key != at->key)
      at = at->next;
    return at;
  }

  qelPropertyList* const list;
};

// One slot with one chunk of id 7; 18 bytes and the payload, padded.
inline std::string BlockWith(const std::string& payload) {
  qelPackedData_t* data = qelPackedData_New(1);
  qelPackedData_BeginSlot(data);
  qelPackedData_AddChunk(data, 7, payload.data(), payload.size());
  size_t size = 0;
  char* block = const_cast<char*>(qelPackedData_GetData(data, &size));
  if (payload.size() % 2 != 0)
    block[size - 1] = 0; // the pad byte is undefined otherwise
  const std::string bytes(block, size);
  qelPackedData_Delete(data);
  return bytes;
}

inline std::string BytesOf(qelPackedData_t* data) {
  size_t size = 0;
  const char* block = qelPackedData_GetData(data, &size);
  return std::string(block, size);
}

// Writes each event down and returns 0; the event of number `refused` (from 1) gets 42.
class EventLog : public qelISerialize {
public:
  explicit EventLog(int refused = 0) : m_refused(refused) {}

  std::string text; // the events, each with a blank behind it

  int MapBegin() override { return Add("{"); }
  int MapKey(const char* key, bool raw) override { return Add(Quoted("key", key, raw)); }
  int MapEnd() override { return Add("}"); }
  int ArrayBegin() override { return Add("["); }
  int ArrayItemSeparator() override { return Add(","); }
  int ArrayEnd() override { return Add("]"); }
  int String(const qelWChar* value, bool raw) override {
    return Add(Quoted("wide", value != nullptr ? qelConvUTF8.ToUTF8(value).data() : nullptr, raw));
  }
  int String(const char* value, bool raw) override { return Add(Quoted("text", value, raw)); }
  int Boolean(bool value) override { return Add(value ? "true" : "false"); }
  int U32(qelULong value) override { return Add("u32:" + std::to_string(value)); }
  int S32(qelLong value) override { return Add("s32:" + std::to_string(value)); }
  int U64(unsigned long long value) override { return Add("u64:" + std::to_string(value)); }
  int S64(long long value) override { return Add("s64:" + std::to_string(value)); }
  int Float(double value) override { return Add("float:" + std::to_string(value)); }
  int Null() override { return Add("null"); }

private:
  int Add(const std::string& event) {
    text += event + " ";
    return ++m_count == m_refused ? 42 : 0;
  }
  static std::string Quoted(const char* event, const char* text, bool raw) {
    return std::string(event) + (raw ? "(raw)" : "") + "<" + (text != nullptr ? text : "null") +
           ">";
  }

  const int m_refused;
  int m_count = 0;
};

// Every list and property is released by the end of the test.
class PropertyListTest : public testing::Test {
protected:
  void TearDown() override {
    EXPECT_EQ(qelPlugins_CountLists(), 0u);
    EXPECT_EQ(qelPlugins_CountProperties(), 0u);
  }
};

#endif

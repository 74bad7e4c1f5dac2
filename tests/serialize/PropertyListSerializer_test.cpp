#include <qel/serialize/PropertyListSerializer.h>

#include <string>

#include <gtest/gtest.h>

#include <qel/core/Types.h>
#include <qel/serialize/JSONFormatter.h>
#include <tests/support/PropertyLists.h>

namespace {

using PropertyListSerializer = PropertyListTest;

std::string EventsOf(qelPropertyList* list) {
  EventLog log;
  qelPropertyListSerializer serializer;
  EXPECT_EQ(serializer.Serialize(list, log), 0);
  return log.text;
}

// One property of each kind that has an event, and several with more than one value.
void AddOfEverything(ListHold* hold) {
  qelProperty_Set_uint32(hold->Add("u"), 5, 0);
  qelProperty* two = hold->Add("two", 2);
  qelProperty_Set_charPtr(two, "a", 1, 0);
  qelProperty_Set_charPtr(two, "b", 1, 1);
  hold->Add("none", 0);
  qelProperty_Set_double(hold->Add("d"), 0.5, 0);
}
const char kOfEverything[] =
    "{ key<u> u32:5 key<two> [ text<a> text<b> ] key<none> key<d> float:0.500000 } ";

TEST_F(PropertyListSerializer, HasNoFields) {
  EXPECT_EQ(sizeof(qelPropertyListSerializer), sizeof(void*));
}

TEST_F(PropertyListSerializer, PlaysAnEmptyListAsAnEmptyMap) {
  ListHold hold;
  EXPECT_EQ(EventsOf(hold.list), "{ } ");
}

TEST_F(PropertyListSerializer, PlaysANullListAsAnEmptyMap) {
  EXPECT_EQ(EventsOf(nullptr), "{ } ");
}

TEST_F(PropertyListSerializer, PlaysPropertiesFromTheFirstOn) {
  ListHold hold;
  AddOfEverything(&hold);
  EXPECT_EQ(EventsOf(hold.list), kOfEverything);
}

TEST_F(PropertyListSerializer, PlaysEachKindOfValue) {
  ListHold hold;
  qelPackedData_t* data = qelPackedData_New(0);
  qelProperty* all = hold.Add("a", 9);
  qelProperty_Set_uint32(all, 0xFFFFFFFFu, 0);
  qelProperty_Set_double(all, -1.5, 1);
  qelProperty_Set_uint64(all, 0xFFFFFFFFFFFFFFFFu, 2);
  qelProperty_Set_charPtr(all, "\xC3\xA9", 1, 3);
  qelProperty_Set_wcharPtr(all, QEL_W("\xE9"), 1, 4);
  qelProperty_Set_packedData(all, data, 1, 5);
  qelProperty_Set_packedData(all, nullptr, 1, 6);
  all->values[8].kind = 77;
  EXPECT_EQ(EventsOf(hold.list),
            "{ key<a> [ u32:4294967295 float:-1.500000 u64:18446744073709551615 "
            "text<\xC3\xA9> wide<\xC3\xA9> null null null ] } ");
  qelPackedData_Delete(data);
}

TEST_F(PropertyListSerializer, TakesEveryUnknownKindForNull) {
  ListHold hold;
  qelProperty* property = hold.Add("a");
  for (const int kind : {0, 3, 5, 99, 102, 105, 65535}) {
    property->values[0].kind = static_cast<uint16_t>(kind);
    EXPECT_EQ(EventsOf(hold.list), "{ key<a> null } ") << kind;
  }
}

TEST_F(PropertyListSerializer, PlaysNoEventForAValueThatIsNotSet) {
  ListHold hold;
  hold.Add("a");
  hold.Add("b", 2);
  EXPECT_EQ(EventsOf(hold.list), "{ key<a> key<b> [ ] } ");
}

TEST_F(PropertyListSerializer, PlaysANullText) {
  ListHold hold;
  qelProperty_Set_charPtr(hold.Add("a"), nullptr, 1, 0);
  qelProperty_Set_wcharPtr(hold.Add("b"), nullptr, 1, 0);
  EXPECT_EQ(EventsOf(hold.list), "{ key<a> text<null> key<b> wide<null> } ");
  qelJSONFormatter json;
  EXPECT_EQ(qelPropertyListSerializer().Serialize(hold.list, json), 0);
  EXPECT_EQ(json.Result(), "{\"a\":\"\",\"b\":\"\",}");
}

TEST_F(PropertyListSerializer, SendsNoSeparatorBetweenValues) {
  ListHold hold;
  qelProperty* property = hold.Add("k", 2);
  qelProperty_Set_charPtr(property, "a", 1, 0);
  qelProperty_Set_charPtr(property, "b", 1, 1);
  qelJSONFormatter json;
  EXPECT_EQ(qelPropertyListSerializer().Serialize(hold.list, json), 0);
  EXPECT_EQ(json.Result(), "{\"k\":[\"a\"\"b\"],}");
  EventLog log;
  EXPECT_EQ(qelJSONFormatter::Parse(json.Result().c_str(), log), 8);
}

TEST_F(PropertyListSerializer, StopsAtTheFirstStatusOfTheTarget) {
  ListHold hold;
  AddOfEverything(&hold);
  const std::string all = kOfEverything;
  size_t end = 0;
  int event = 1;
  for (; (end = all.find(' ', end)) != std::string::npos; ++event) {
    EventLog log(event);
    EXPECT_EQ(qelPropertyListSerializer().Serialize(hold.list, log), 42) << event;
    EXPECT_EQ(log.text, all.substr(0, ++end)) << event;
  }
  EXPECT_EQ(event, 13); // twelve events
}

// Whoever holds the list may let go of it during the walk.
TEST_F(PropertyListSerializer, HoldsTheListDuringTheWalk) {
  class Releaser : public EventLog {
  public:
    qelPropertyList* list = nullptr;
    int MapBegin() override {
      qelPropertyList_Release(list);
      return EventLog::MapBegin();
    }
  } releaser;
  releaser.list = qelPropertyList_New();
  releaser.list->first = qelProperty_New("a", 1);
  EXPECT_EQ(qelPropertyListSerializer().Serialize(releaser.list, releaser), 0);
  EXPECT_EQ(releaser.text, "{ key<a> } ");
}

// A subclass that hides one property and doubles every number.
class Selective : public qelPropertyListSerializer {
protected:
  int SerializeProperty(qelProperty* property, qelISerialize& target) override {
    if (std::string(property->key) == "hidden")
      return 0;
    return qelPropertyListSerializer::SerializeProperty(property, target);
  }
  int SerializeData(qelData* data, qelISerialize& target) override {
    if (data->kind == QEL_DATA_UINT32)
      return target.U32(data->value.u32 * 2);
    return qelPropertyListSerializer::SerializeData(data, target);
  }
};

TEST_F(PropertyListSerializer, LetsASubclassStepIn) {
  ListHold hold;
  qelProperty_Set_uint32(hold.Add("a"), 5, 0);
  qelProperty_Set_uint32(hold.Add("hidden"), 6, 0);
  EventLog log;
  EXPECT_EQ(Selective().Serialize(hold.list, log), 0);
  EXPECT_EQ(log.text, "{ key<a> u32:10 } ");
}

} // namespace

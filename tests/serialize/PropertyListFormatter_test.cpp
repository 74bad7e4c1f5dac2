#include <qel/serialize/PropertyListFormatter.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qel/core/Types.h>
#include <qel/serialize/JSONFormatter.h>
#include <tests/support/PropertyLists.h>

namespace {

using PropertyListFormatter = PropertyListTest;
using PropertyListFormatterNestedMap = PropertyListTest;
using PropertyListFormatterReset = PropertyListTest;
using PropertyListFormatterWalk = PropertyListTest;

// The list in events, which the test compares.
std::string EventsOf(qelPropertyList* list) {
  EventLog log;
  EXPECT_EQ(qelPropertyListFormatter::Serialize(list, log), 0);
  return log.text;
}

// Builds the list of a text and gives its events.
std::string Built(const char* text) {
  qelPropertyListFormatter formatter;
  EXPECT_EQ(qelJSONFormatter::Parse(text, formatter), 0) << text;
  const ListHold hold(formatter.Reset());
  return hold.list != nullptr ? EventsOf(hold.list) : "no list";
}

// Opens what a test has to see, to release what nobody else can reach.
class OpenFormatter : public qelPropertyListFormatter {
public:
  using qelPropertyListFormatter::m_depth;
  using qelPropertyListFormatter::m_list;
  using qelPropertyListFormatter::m_property;
  using qelPropertyListFormatter::m_stack;
  using qelPropertyListFormatter::m_valueIndex;
  using qelPropertyListFormatter::Pop;
  using qelPropertyListFormatter::Push;
};

TEST_F(PropertyListFormatter, BuildsAnEmptyListFromAnEmptyMap) {
  EXPECT_EQ(Built("{}"), "{ } ");
}

TEST_F(PropertyListFormatter, PutsEachPropertyAtTheHead) {
  EXPECT_EQ(Built("{'a':1,'b':2,'c':3}"), "{ key<c> u32:3 key<b> u32:2 key<a> u32:1 } ");
}

TEST_F(PropertyListFormatter, ReversesAListThatIsPlayedAndBuiltAgain) {
  ListHold hold;
  for (const char* key : {"a", "b", "c"})
    qelProperty_Set_uint32(hold.Add(key), 1, 0);
  qelPropertyListFormatter formatter;
  EXPECT_EQ(qelPropertyListFormatter::Serialize(hold.list, formatter), 0);
  const ListHold once(formatter.Reset());
  EXPECT_EQ(once.Keys(), "c b a ");
  EXPECT_EQ(qelPropertyListFormatter::Serialize(once.list, formatter), 0);
  const ListHold twice(formatter.Reset());
  EXPECT_EQ(twice.Keys(), "a b c ");
}

TEST_F(PropertyListFormatter, KeepsEveryPropertyOfOneKey) {
  EXPECT_EQ(Built("{'a':1,'a':2}"), "{ key<a> u32:2 key<a> u32:1 } ");
}

TEST_F(PropertyListFormatter, KeepsValuesOfEveryKind) {
  qelPropertyListFormatter formatter;
  qelISerialize& events = formatter;
  events.MapBegin();
  events.MapKey("k", true);
  EXPECT_EQ(events.String(QEL_W("\xE9"), true), 0);
  EXPECT_EQ(events.String("text", true), 0);
  EXPECT_EQ(events.Boolean(true), 0);
  EXPECT_EQ(events.Boolean(false), 0);
  EXPECT_EQ(events.U32(4000000000u), 0);
  EXPECT_EQ(events.S32(-1), 0);
  EXPECT_EQ(events.U64(0x100000000u), 0);
  EXPECT_EQ(events.S64(-1), 0);
  EXPECT_EQ(events.Float(0.5), 0);
  EXPECT_EQ(events.Null(), 0);
  EXPECT_EQ(events.Identifier("name"), 0);
  events.MapEnd();
  const ListHold hold(formatter.Reset());
  EXPECT_EQ(EventsOf(hold.list),
            "{ key<k> [ wide<\xC3\xA9> text<text> u32:1 u32:0 u32:4000000000 u32:4294967295 "
            "u64:4294967296 u64:18446744073709551615 float:0.500000 text<name> ] } ");
}

TEST_F(PropertyListFormatter, CopiesTextsAndKeys) {
  qelPropertyListFormatter formatter;
  char key[] = "key", text[] = "text";
  qelWChar wide[] = {'w', 0};
  formatter.MapBegin();
  formatter.MapKey(key, false);
  formatter.String(text, false);
  formatter.String(wide, false);
  key[0] = text[0] = 'x';
  wide[0] = 'x';
  formatter.MapEnd();
  const ListHold hold(formatter.Reset());
  EXPECT_EQ(EventsOf(hold.list), "{ key<key> [ text<text> wide<w> ] } ");
}

TEST_F(PropertyListFormatter, PilesUpTheValuesOfArrays) {
  EXPECT_EQ(Built("{'a':[1,2,3]}"), "{ key<a> [ u32:1 u32:2 u32:3 ] } ");
  EXPECT_EQ(Built("{'a':[1,[2,'x'],[],[[3]]]}"), "{ key<a> [ u32:1 u32:2 text<x> u32:3 ] } ");
}

TEST_F(PropertyListFormatter, DoesNothingBetweenItemsOfAnArray) {
  qelPropertyListFormatter formatter;
  formatter.MapBegin();
  formatter.MapKey("a", false);
  EXPECT_EQ(formatter.ArrayBegin() | formatter.U32(1) | formatter.ArrayItemSeparator(), 0);
  EXPECT_EQ(formatter.U32(2) | formatter.ArrayEnd(), 0);
  formatter.MapEnd();
  const ListHold hold(formatter.Reset());
  EXPECT_EQ(EventsOf(hold.list), "{ key<a> [ u32:1 u32:2 ] } ");
}

TEST_F(PropertyListFormatter, SetsNoValueForNull) {
  EXPECT_EQ(Built("{'a':null}"), "{ key<a> } ");
  EXPECT_EQ(Built("{'a':[null,null]}"), "{ key<a> } ");
  EXPECT_EQ(Built("{'a':[null,1,null,2]}"), "{ key<a> [ u32:1 u32:2 ] } ");
}

TEST_F(PropertyListFormatter, SetsNoValueForAnEmptyArray) {
  EXPECT_EQ(Built("{'a':[]}"), "{ key<a> } ");
}

TEST_F(PropertyListFormatter, LeavesPackedBlocksAsText) {
  EXPECT_EQ(Built("{'md':'%08%00%00%00%00%00%00%00'}"),
            "{ key<md> text<%08%00%00%00%00%00%00%00> } ");
}

TEST_F(PropertyListFormatter, IgnoresValuesWithoutAKey) {
  EXPECT_EQ(Built("1 "), "no list");
  EXPECT_EQ(Built("'text'"), "no list");
  EXPECT_EQ(Built("[1,'a',1.5,true,null]"), "no list");
  qelPropertyListFormatter formatter;
  EXPECT_EQ(formatter.MapBegin(), 0);
  EXPECT_EQ(formatter.U32(1) | formatter.S32(1) | formatter.U64(1) | formatter.S64(1), 0);
  EXPECT_EQ(formatter.String("a", false) | formatter.String(QEL_W("a"), false), 0);
  EXPECT_EQ(formatter.Boolean(true) | formatter.Float(1) | formatter.Null(), 0);
  EXPECT_EQ(formatter.MapEnd(), 0);
  const ListHold hold(formatter.Reset());
  EXPECT_EQ(EventsOf(hold.list), "{ } ");
}

TEST_F(PropertyListFormatter, DropsAPropertyThatHasNoList) {
  qelPropertyListFormatter formatter;
  EXPECT_EQ(formatter.MapKey("a", false) | formatter.U32(1), 0);
  EXPECT_EQ(formatter.MapKey("b", false) | formatter.MapEnd(), 0);
  EXPECT_EQ(formatter.Reset(), nullptr);
}

TEST_F(PropertyListFormatter, TakesAnEndWithoutBegin) {
  qelPropertyListFormatter formatter;
  EXPECT_EQ(formatter.MapEnd() | formatter.ArrayEnd(), 0);
  EXPECT_EQ(formatter.Reset(), nullptr);
}

TEST_F(PropertyListFormatter, HasItsFieldsInOrder) {
  const OpenFormatter formatter;
  const auto at = [&](const void* field) {
    return static_cast<const char*>(field) - reinterpret_cast<const char*>(&formatter);
  };
  EXPECT_EQ(at(&formatter.m_property), 8);
  EXPECT_EQ(at(&formatter.m_stack), 16);
  EXPECT_EQ(at(&formatter.m_list), 24);
  EXPECT_EQ(at(&formatter.m_depth), 32);
  EXPECT_EQ(at(&formatter.m_valueIndex), 36);
}

TEST_F(PropertyListFormatter, CopiesItsFieldsAsTheyStand) {
  OpenFormatter formatter;
  formatter.MapBegin();
  formatter.MapBegin();
  formatter.MapKey("a", false);
  formatter.U32(1);
  OpenFormatter copy(formatter);
  OpenFormatter assigned;
  assigned = formatter;
  for (const OpenFormatter* other : {&copy, &assigned}) {
    EXPECT_EQ(other->m_property, formatter.m_property);
    EXPECT_EQ(other->m_stack, formatter.m_stack);
    EXPECT_EQ(other->m_list, formatter.m_list);
    EXPECT_EQ(other->m_depth, 1u);
    EXPECT_EQ(other->m_valueIndex, 1u);
  }
  formatter.m_stack = assigned.m_stack = nullptr; // one of the three may free it
  const ListHold inner(copy.m_list);
  copy.MapEnd();
  const ListHold outer(copy.Reset());
  EXPECT_EQ(EventsOf(inner.list), "{ key<a> u32:1 } ");
  EXPECT_EQ(EventsOf(outer.list), "{ } ");
}

// What the destructor leaves behind is still there for whoever knows of it.
TEST_F(PropertyListFormatter, FreesNeitherListNorPropertyWhenDestroyed) {
  qelPropertyList* outer = nullptr;
  qelPropertyList* inner = nullptr;
  {
    OpenFormatter formatter;
    formatter.MapBegin();
    outer = formatter.m_list;
    formatter.MapBegin();
    inner = formatter.m_list;
    formatter.MapKey("a", false);
    inner->first = formatter.m_property;
  }
  EXPECT_EQ(qelPlugins_CountLists(), 2u);
  EXPECT_EQ(qelPlugins_CountProperties(), 1u);
  qelPropertyList_Release(outer);
  qelPropertyList_Release(inner);
}

// A subclass that sees what becomes of the other numbers and of names.
class Numbers : public qelPropertyListFormatter {
public:
  using qelPropertyListFormatter::String;
  std::string seen;
  int U32(qelULong value) override {
    seen += "u32:" + std::to_string(value) + " ";
    return 32;
  }
  int U64(unsigned long long value) override {
    seen += "u64:" + std::to_string(value) + " ";
    return 64;
  }
  int String(const char* value, bool raw) override {
    seen += std::string(value) + (raw ? "(raw) " : " ");
    return 8;
  }
};

TEST_F(PropertyListFormatter, HandsNumbersAndTruthOnToASubclass) {
  Numbers formatter;
  EXPECT_EQ(formatter.Boolean(true), 32);
  EXPECT_EQ(formatter.Boolean(false), 32);
  EXPECT_EQ(formatter.S32(-1), 32);
  EXPECT_EQ(formatter.S64(-1), 64);
  EXPECT_EQ(formatter.Identifier("name"), 8);
  EXPECT_EQ(formatter.seen, "u32:1 u32:0 u32:4294967295 u64:18446744073709551615 name ");
}

TEST_F(PropertyListFormatter, PopsTheCurrentListAndStaysWithTheLastOne) {
  OpenFormatter formatter;
  formatter.Push();
  qelPropertyList* outer = formatter.m_list;
  EXPECT_EQ(formatter.m_depth, 0u);
  formatter.Push();
  EXPECT_EQ(formatter.m_depth, 1u);
  EXPECT_EQ(formatter.m_stack[0], outer);
  const ListHold inner(formatter.Pop());
  EXPECT_NE(inner.list, outer);
  EXPECT_EQ(formatter.m_list, outer);
  EXPECT_EQ(formatter.m_depth, 0u);
  EXPECT_EQ(formatter.Pop(), outer);
  EXPECT_EQ(formatter.m_list, outer);
  const ListHold hold(formatter.Reset());
  EXPECT_EQ(hold.list, outer);
}

// Takes each inner list at its end, which would be out of reach otherwise.
class Collector : public qelPropertyListFormatter {
public:
  std::vector<std::unique_ptr<ListHold>> inner;
  int MapEnd() override {
    qelPropertyList* list = m_depth != 0 ? m_list : nullptr;
    const int status = qelPropertyListFormatter::MapEnd();
    if (list != nullptr)
      inner.push_back(std::make_unique<ListHold>(list));
    return status;
  }
};

TEST_F(PropertyListFormatterNestedMap, VanishesWithItsMember) {
  Collector formatter;
  ASSERT_EQ(qelJSONFormatter::Parse("{'a':{'b':1,},}", formatter), 0);
  const ListHold hold(formatter.Reset());
  EXPECT_EQ(EventsOf(hold.list), "{ } ");
  ASSERT_EQ(formatter.inner.size(), 1u);
  EXPECT_EQ(EventsOf(formatter.inner[0]->list), "{ key<b> u32:1 key<a> } ");
}

TEST_F(PropertyListFormatterNestedMap, LeavesTheMembersAroundIt) {
  Collector formatter;
  ASSERT_EQ(qelJSONFormatter::Parse("{'a':1,'b':{'x':1,'y':{'z':1}},'c':2}", formatter), 0);
  const ListHold hold(formatter.Reset());
  EXPECT_EQ(EventsOf(hold.list), "{ key<c> u32:2 key<a> u32:1 } ");
  ASSERT_EQ(formatter.inner.size(), 2u);
  EXPECT_EQ(EventsOf(formatter.inner[0]->list), "{ key<z> u32:1 key<y> } ");
  EXPECT_EQ(EventsOf(formatter.inner[1]->list), "{ key<x> u32:1 key<b> } ");
}

TEST_F(PropertyListFormatterNestedMap, TakesThePendingPropertyAtItsEndWhenEmpty) {
  Collector formatter;
  ASSERT_EQ(qelJSONFormatter::Parse("{'a':{},'b':[1,{},2]}", formatter), 0);
  const ListHold hold(formatter.Reset());
  // The 2 behind the map has no property to go to.
  EXPECT_EQ(EventsOf(hold.list), "{ } ");
  ASSERT_EQ(formatter.inner.size(), 2u);
  EXPECT_EQ(EventsOf(formatter.inner[0]->list), "{ key<a> } ");
  EXPECT_EQ(EventsOf(formatter.inner[1]->list), "{ key<b> u32:1 } ");
}

TEST_F(PropertyListFormatterNestedMap, LeavesTheInnerListToWhoeverTookIt) {
  OpenFormatter formatter;
  formatter.MapBegin();
  formatter.MapBegin();
  const ListHold inner(formatter.m_list);
  formatter.MapEnd();
  EXPECT_EQ(qelPlugins_CountLists(), 2u);
  const ListHold outer(formatter.Reset());
  EXPECT_NE(outer.list, inner.list);
}

TEST_F(PropertyListFormatterNestedMap, KeepsTheFirstOfSeveralOnTheTopLevel) {
  Collector formatter;
  ASSERT_EQ(qelJSONFormatter::Parse("[{'a':1},{'b':2}]", formatter), 0);
  const ListHold hold(formatter.Reset());
  EXPECT_EQ(EventsOf(hold.list), "{ key<a> u32:1 } ");
  ASSERT_EQ(formatter.inner.size(), 1u);
  EXPECT_EQ(EventsOf(formatter.inner[0]->list), "{ key<b> u32:2 } ");
}

TEST_F(PropertyListFormatterReset, GivesNullAheadOfTheFirstMap) {
  qelPropertyListFormatter formatter;
  EXPECT_EQ(formatter.Reset(), nullptr);
}

TEST_F(PropertyListFormatterReset, ForgetsTheList) {
  qelPropertyListFormatter formatter;
  formatter.MapBegin();
  formatter.MapEnd();
  const ListHold hold(formatter.Reset());
  EXPECT_NE(hold.list, nullptr);
  EXPECT_EQ(formatter.Reset(), nullptr);
}

TEST_F(PropertyListFormatterReset, StartsTheNextList) {
  qelPropertyListFormatter formatter;
  for (int round = 0; round < 3; ++round) {
    ASSERT_EQ(qelJSONFormatter::Parse("{'a':1}", formatter), 0);
    const ListHold hold(formatter.Reset());
    EXPECT_EQ(EventsOf(hold.list), "{ key<a> u32:1 } ");
  }
}

TEST_F(PropertyListFormatterReset, LeavesThePendingPropertyPending) {
  qelPropertyListFormatter formatter;
  formatter.MapBegin();
  formatter.MapKey("a", false);
  formatter.U32(1);
  const ListHold first(formatter.Reset());
  EXPECT_EQ(EventsOf(first.list), "{ } ");
  formatter.MapBegin();
  formatter.U32(2);
  formatter.MapEnd();
  const ListHold second(formatter.Reset());
  EXPECT_EQ(EventsOf(second.list), "{ key<a> [ u32:1 u32:2 ] } ");
}

TEST_F(PropertyListFormatterReset, GivesTheInnermostListAndKeepsTheOutermost) {
  OpenFormatter formatter;
  formatter.MapBegin();
  qelPropertyList* outermost = formatter.m_list;
  formatter.MapBegin();
  const ListHold middle(formatter.m_list); // out of reach from here on
  formatter.MapBegin();
  qelPropertyList* innermost = formatter.m_list;
  EXPECT_EQ(formatter.m_depth, 2u);
  const ListHold first(formatter.Reset());
  EXPECT_EQ(first.list, innermost);
  EXPECT_EQ(formatter.m_depth, 0u);
  const ListHold second(formatter.Reset());
  EXPECT_EQ(second.list, outermost);
  EXPECT_EQ(formatter.Reset(), nullptr);
}

TEST_F(PropertyListFormatterWalk, WritesPackedBlocksAsText) {
  ListHold hold;
  qelPackedData_t* data = qelPackedData_New(0);
  qelProperty* property = hold.Add("any", 2);
  qelProperty_Set_packedData(property, data, 1, 0);
  qelProperty_Set_packedData(property, nullptr, 1, 1);
  qelPackedData_Delete(data);
  EXPECT_EQ(EventsOf(hold.list), "{ key<any> [ text<%08%00%00%00%00%00%00%00> text<> ] } ");
}

TEST_F(PropertyListFormatterWalk, TakesUnknownKindsForNull) {
  ListHold hold;
  hold.Add("a")->values[0].kind = 3;
  hold.Add("b");
  hold.Add("c", 0);
  EXPECT_EQ(EventsOf(hold.list), "{ key<a> null key<b> key<c> } ");
}

TEST_F(PropertyListFormatterWalk, PlaysANullListAsAnEmptyMap) {
  EXPECT_EQ(EventsOf(nullptr), "{ } ");
}

TEST_F(PropertyListFormatterWalk, StopsAtTheFirstStatusOfTheTarget) {
  ListHold hold;
  qelProperty* property = hold.Add("a", 2);
  qelProperty_Set_uint32(property, 1, 0);
  qelProperty_Set_packedData(property, nullptr, 1, 1);
  const std::string all = "{ key<a> [ u32:1 text<> ] } ";
  size_t end = 0;
  for (int event = 1; event <= 7; ++event) {
    EventLog log(event);
    EXPECT_EQ(qelPropertyListFormatter::Serialize(hold.list, log), 42) << event;
    end = all.find(' ', end) + 1;
    EXPECT_EQ(log.text, all.substr(0, end)) << event;
  }
}

// Lets go of the test's hold at one event, and sees whether that was the last one.
class Releaser : public EventLog {
public:
  Releaser(qelPropertyList* list, const std::string& event) : m_list(list), m_event(event) {}
  size_t lists = 99; // alive right behind the release
  int MapKey(const char* key, bool raw) override {
    ReleaseAt("MapKey");
    return EventLog::MapKey(key, raw);
  }
  int MapEnd() override {
    ReleaseAt("MapEnd");
    return EventLog::MapEnd();
  }

private:
  void ReleaseAt(const std::string& event) {
    if (event != m_event)
      return;
    qelPropertyList_Release(m_list);
    lists = qelPlugins_CountLists();
  }
  qelPropertyList* const m_list;
  const std::string m_event;
};

TEST_F(PropertyListFormatterWalk, TakesNoHoldOfAWholeList) {
  qelPropertyList* list = qelPropertyList_New();
  list->first = qelProperty_New("a", 1);
  Releaser releaser(list, "MapEnd");
  EXPECT_EQ(qelPropertyListFormatter::Serialize(list, releaser), 0);
  EXPECT_EQ(releaser.text, "{ key<a> } ");
  EXPECT_EQ(releaser.lists, 0u);
}

TEST_F(PropertyListFormatterWalk, HoldsTheListOfOneProperty) {
  qelPropertyList* list = qelPropertyList_New();
  list->first = qelProperty_New("a", 1);
  qelProperty_Set_uint32(list->first, 1, 0);
  Releaser releaser(list, "MapKey");
  EXPECT_EQ(qelPropertyListFormatter::SerializeKeyValue(list, "a", releaser), 0);
  EXPECT_EQ(releaser.text, "key<a> u32:1 ");
  EXPECT_EQ(releaser.lists, 1u);
}

TEST_F(PropertyListFormatterWalk, PlaysEachKindOfValueWithoutSeparator) {
  ListHold hold;
  qelProperty* all = hold.Add("a", 6);
  qelProperty_Set_uint32(all, 0xFFFFFFFFu, 0);
  qelProperty_Set_double(all, -1.5, 1);
  qelProperty_Set_uint64(all, 0xFFFFFFFFFFFFFFFFu, 2);
  qelProperty_Set_charPtr(all, "x", 1, 3);
  qelProperty_Set_wcharPtr(all, QEL_W("\xE9"), 1, 5);
  EXPECT_EQ(EventsOf(hold.list), "{ key<a> [ u32:4294967295 float:-1.500000 "
                                 "u64:18446744073709551615 text<x> wide<\xC3\xA9> ] } ");
}

TEST_F(PropertyListFormatterWalk, PlaysOnePropertyWithoutAMap) {
  ListHold hold;
  qelProperty_Set_uint32(hold.Add("a"), 1, 0);
  qelProperty* property = hold.Add("b", 2);
  qelProperty_Set_uint32(property, 2, 0);
  qelProperty_Set_packedData(property, nullptr, 1, 1);
  EventLog log;
  EXPECT_EQ(qelPropertyListFormatter::SerializeKeyValue(hold.list, "b", log), 0);
  EXPECT_EQ(log.text, "key<b> [ u32:2 text<> ] ");
}

TEST_F(PropertyListFormatterWalk, GivesTheStatusOfTheOneProperty) {
  ListHold hold;
  hold.Add("a");
  EventLog log(1);
  EXPECT_EQ(qelPropertyListFormatter::SerializeKeyValue(hold.list, "a", log), 42);
}

// The fixture would see a hold that stays.
TEST_F(PropertyListFormatterWalk, PlaysNothingForAKeyThatIsNotThere) {
  ListHold hold;
  hold.Add("a");
  EventLog log(1);
  EXPECT_EQ(qelPropertyListFormatter::SerializeKeyValue(hold.list, "b", log), 0);
  EXPECT_EQ(qelPropertyListFormatter::SerializeKeyValue(hold.list, nullptr, log), 0);
  EXPECT_EQ(qelPropertyListFormatter::SerializeKeyValue(nullptr, "a", log), 0);
  EXPECT_EQ(log.text, "");
}

// Random lists of flat values against a plain list of texts.
TEST_F(PropertyListFormatter, BuildsWhatAPlainModelBuilds) {
  std::mt19937 random(1);
  for (int round = 0; round < 300; ++round) {
    qelPropertyListFormatter formatter;
    std::vector<std::string> members;
    formatter.MapBegin();
    for (auto member = random() % 8; member != 0; --member) {
      const std::string key(1, static_cast<char>('a' + random() % 4));
      formatter.MapKey(key.c_str(), random() % 2 != 0);
      std::string values;
      const auto count = random() % 5;
      for (unsigned i = 0; i < count; ++i) {
        const qelULong value = static_cast<qelULong>(random());
        formatter.U32(value);
        values += "u32:" + std::to_string(value) + " ";
      }
      members.push_back("key<" + key + "> " + (count > 1 ? "[ " + values + "] " : values));
    }
    formatter.MapEnd();
    std::string expected = "{ ";
    for (size_t i = members.size(); i != 0; --i)
      expected += members[i - 1];
    const ListHold hold(formatter.Reset());
    EXPECT_EQ(EventsOf(hold.list), expected + "} ");
  }
}

} // namespace

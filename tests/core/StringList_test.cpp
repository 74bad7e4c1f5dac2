#include <qel/core/StringList.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

typedef std::vector<std::string> Texts;

static Texts Items(const qelStringList& list) {
  Texts items;
  for (size_t i = 0; i < list.GetCount(); ++i)
    items.push_back(list.GetAt(i));
  return items;
}

static Texts Cut(const char* text, char separator, char escape) {
  qelStringList list;
  list.Set(text, separator, escape);
  EXPECT_EQ(Items(qelStringList(text, separator, escape)), Items(list));
  return Items(list);
}

static qelStringList ListOf(const Texts& items) {
  qelStringList list(nullptr, ',', '\0');
  for (const std::string& item : items)
    list.Add(item.c_str());
  return list;
}

struct Row {
  const char* text;
  char separator;
  char escape;
  Texts expected;
};

TEST(StringListSet, CutsAtTheSeparator) {
  const Row rows[] = {
      {nullptr, ',', 0, {}},
      {"", ',', 0, {}},
      {"a", ',', 0, {"a"}},
      {",", ',', 0, {"", ""}},
      {"a,b", ',', 0, {"a", "b"}},
      {"a,b,", ',', 0, {"a", "b", ""}},
      {",a", ',', 0, {"", "a"}},
      {"a,,b", ',', 0, {"a", "", "b"}},
      {" a , b ", ',', 0, {" a ", " b "}},
      {"a;b,c", ';', 0, {"a", "b,c"}},
      {"a,b", 0, 0, {"a,b"}},
      {"a,b", 0, ',', {"a,b"}},
      {"a\\,b", ',', 0, {"a\\", "b"}},
      {"a\xE9"
       "b",
       '\xE9',
       0,
       {"a", "b"}},
  };
  for (const Row& row : rows)
    EXPECT_EQ(Cut(row.text, row.separator, row.escape), row.expected)
        << (row.text != nullptr ? row.text : "(null)");
}

TEST(StringListSet, KeepsEscapedSeparators) {
  const Row rows[] = {
      {"a,b\\,c,d", ',', '\\', {"a", "b,c", "d"}},
      {"\\,", ',', '\\', {","}},
      {"\\,,a", ',', '\\', {",", "a"}},
      {"a\\,\\,b", ',', '\\', {"a,,b"}},
      {"a\\,,\\,b", ',', '\\', {"a,", ",b"}},
      {"\\", ',', '\\', {"\\"}},
      {"a\\", ',', '\\', {"a\\"}},
      {"a\\b,c", ',', '\\', {"a\\b", "c"}}, // elsewhere it is ordinary
      {"a\\\\,b", ',', '\\', {"a\\,b"}},    // an escaped one escapes as well
      {"a\\\\\\,b", ',', '\\', {"a\\\\,b"}},
      {"\\\\a,\\,", ',', '\\', {"\\\\a", ","}},
      {"a,b\\,", ',', '\\', {"a", "b,"}},
  };
  for (const Row& row : rows)
    EXPECT_EQ(Cut(row.text, row.separator, row.escape), row.expected) << row.text;
}

TEST(StringListSet, LeavesTheRestToTheLastItemIfTheSeparatorIsTheEscape) {
  const Row rows[] = {
      {",", ',', ',', {"", ""}},          {"a,b", ',', ',', {"a", "b"}},
      {"a,,b", ',', ',', {"a", ",b"}},    {"a,,,b", ',', ',', {"a", ",,b"}},
      {",,", ',', ',', {"", ","}},        {"a,,b,c", ',', ',', {"a", "", "b,c"}},
      {",a,b", ',', ',', {"", "a", "b"}},
  };
  for (const Row& row : rows)
    EXPECT_EQ(Cut(row.text, row.separator, row.escape), row.expected) << row.text;
}

TEST(StringListSet, DoesNotLookAtTheByteAheadOfTheText) {
  const char text[] = "\\,a";
  EXPECT_EQ(Cut(text + 1, ',', '\\'), (Texts{"", "a"}));
}

TEST(StringListSet, KeepsTheSeparatorThatJoins) {
  qelStringList list;
  list.Set("a;b;c", ';', 0);
  EXPECT_EQ(Items(list), (Texts{"a", "b", "c"}));
  EXPECT_EQ(list.GetString(0), "a b c");
}

TEST(StringListSet, ReplacesTheItems) {
  qelStringList list("a,b,c", ',', 0);
  list.Set("d,e", ',', 0);
  EXPECT_EQ(Items(list), (Texts{"d", "e"}));
  list.Set(nullptr, ',', 0);
  EXPECT_EQ(list.GetCount(), 0u);
}

TEST(StringListSet, TakesAnItemOfTheListItself) {
  qelStringList list("a;b,c", ',', 0);
  list.Set(list.GetAt(0), ';', 0);
  EXPECT_EQ(Items(list), (Texts{"a", "b"}));
}

TEST(StringListCopy, HasItemsOfItsOwn) {
  qelStringList list("a;b", ';', 0);
  qelStringList copy(list);
  qelStringList assigned("x y", ' ', 0);
  assigned = list;
  list.Reset();
  EXPECT_EQ(Items(copy), (Texts{"a", "b"}));
  EXPECT_EQ(copy.GetString(0), "a;b");
  EXPECT_EQ(Items(assigned), (Texts{"a", "b"}));
  EXPECT_EQ(assigned.GetString(0), "a;b") << "the separator comes along";
}

TEST(StringListCopy, TakesDeadTextAlong) {
  qelStringList list("a,bb,c", ',', 0);
  list.Remove("bb");
  qelStringList copy(list);
  copy.Add("d");
  EXPECT_EQ(Items(copy), (Texts{"a", "c", "d"}));
  EXPECT_EQ(copy.GetAt(2) - copy.GetAt(0), 7) << "behind a, bb and c";
}

TEST(StringListCopy, MayBeEmpty) {
  const qelStringList empty;
  qelStringList copy(empty);
  EXPECT_EQ(copy.GetCount(), 0u);
  copy.Add("a");
  copy.Remove("a");
  qelStringList emptied(copy);
  EXPECT_EQ(emptied.GetCount(), 0u);
  emptied.Add("b");
  EXPECT_EQ(Items(emptied), Texts{"b"});
}

TEST(StringListReset, KeepsTheSeparator) {
  qelStringList list("a;b", ';', 0);
  list.Reset();
  EXPECT_EQ(list.GetCount(), 0u);
  EXPECT_EQ(list.GetString('\\'), "");
  list.Add("c");
  list.Add("d");
  EXPECT_EQ(list.GetString(0), "c;d");
}

TEST(StringListGetAt, GivesTheDefaultOutOfRange) {
  const qelStringList list("a,b", ',', 0);
  EXPECT_STREQ(list.GetAt(1, "x"), "b");
  EXPECT_STREQ(list.GetAt(2, "x"), "x");
  EXPECT_EQ(list.GetAt(SIZE_MAX, nullptr), nullptr);
}

TEST(StringListGetAtInt32, TakesWholeDecimalNumbersOnly) {
  const qelStringList list("1,,2x,-5, 6,0x10,2147483647,-2147483648,2147483648,a", ',', 0);
  const qelLong expected[] = {1, 7, 7, -5, 6, 7, 2147483647, INT_MIN, 7, 7};
  for (size_t i = 0; i < 10; ++i)
    EXPECT_EQ(list.GetAtInt32(i, 7), expected[i]) << list.GetAt(i);
  EXPECT_EQ(list.GetAtInt32(10, -9), -9);
}

TEST(StringListIndexOf, GivesTheFirstMatch) {
  const qelStringList list("a,B,b,,b", ',', 0);
  EXPECT_EQ(list.IndexOf("b"), 2u);
  EXPECT_EQ(list.IndexOf(""), 3u);
  EXPECT_EQ(list.IndexOf("c"), SIZE_MAX);
  EXPECT_TRUE(list.Has("B"));
  EXPECT_FALSE(list.Has("A"));
  EXPECT_EQ(qelStringList().IndexOf(""), SIZE_MAX);
}

TEST(StringListAdd, AppendsBehindDeadText) {
  qelStringList list("a,bb,c", ',', 0);
  EXPECT_TRUE(list.Remove("bb"));
  EXPECT_TRUE(list.Remove("c"));
  list.Add("d");
  EXPECT_EQ(Items(list), (Texts{"a", "d"}));
  EXPECT_EQ(list.GetAt(1) - list.GetAt(0), 7) << "behind a, bb and c";
}

TEST(StringListAdd, AppendsBehindTheRoomOfEscapeCharacters) {
  qelStringList list("a\\,b", ',', '\\');
  list.Add("c");
  EXPECT_EQ(Items(list), (Texts{"a,b", "c"}));
  EXPECT_EQ(list.GetAt(1) - list.GetAt(0), 5) << "the size is that of the text handed in";
}

TEST(StringListAdd, TakesAnItemOfTheListItself) {
  qelStringList list(std::string(1000, 'x').c_str(), ',', 0);
  for (int i = 0; i < 10; ++i)
    list.Add(list.GetAt(0) + i);
  EXPECT_EQ(list.GetAt(10), std::string(991, 'x'));
  EXPECT_EQ(list.GetCount(), 11u);
}

TEST(StringListAdd, DoesNotCut) {
  qelStringList list;
  list.Add("a b");
  list.Add("");
  EXPECT_EQ(Items(list), (Texts{"a b", ""}));
}

TEST(StringListRemove, TakesTheFirstMatchOnly) {
  qelStringList list("a,b,a", ',', 0);
  EXPECT_TRUE(list.Remove("a"));
  EXPECT_EQ(Items(list), (Texts{"b", "a"}));
  EXPECT_FALSE(list.Remove("c"));
  EXPECT_TRUE(list.Remove("a"));
  EXPECT_TRUE(list.Remove("b"));
  EXPECT_EQ(list.GetCount(), 0u);
  EXPECT_FALSE(list.Remove("b"));
}

TEST(StringListRemoveEmpty, KeepsEverySecondOfARow) {
  const std::pair<Texts, Texts> rows[] = {
      {{}, {}},
      {{""}, {}},
      {{"", ""}, {""}},
      {{"", "", ""}, {""}},
      {{"", "", "", ""}, {"", ""}},
      {{"a", "", "", "b"}, {"a", "", "b"}},
      {{"", "a", "", "b", ""}, {"a", "b"}},
      {{"a", "", "", "", "b", ""}, {"a", "", "b"}},
  };
  for (const auto& row : rows) {
    qelStringList list = ListOf(row.first);
    list.RemoveEmpty();
    EXPECT_EQ(Items(list), row.second);
  }
}

TEST(StringListRemoveEmpty, RemovesMoreWithASecondCall) {
  qelStringList list("a,,,b", ',', 0);
  list.RemoveEmpty();
  list.RemoveEmpty();
  EXPECT_EQ(Items(list), (Texts{"a", "b"}));
}

TEST(StringListGetString, EscapesTheSeparatorOnly) {
  const qelStringList list("a,b\\,c,d", ',', '\\');
  EXPECT_EQ(list.GetString('\\'), "a,b\\,c,d");
  EXPECT_EQ(list.GetString('#'), "a,b#,c,d");
  EXPECT_EQ(list.GetString(0), "a,b,c,d");
  EXPECT_EQ(ListOf({"\\", ",,", ""}).GetString('\\'), "\\,\\,\\,,");
}

TEST(StringListGetString, HasNoSeparatorAtTheEnd) {
  EXPECT_EQ(qelStringList().GetString('\\'), "");
  EXPECT_EQ(ListOf({""}).GetString('\\'), "");
  EXPECT_EQ(ListOf({"", ""}).GetString('\\'), ",");
  EXPECT_EQ(ListOf({"a"}).GetString('\\'), "a");
}

TEST(StringListConstruction, BeginsEmptyAndJoinsWithBlanks) {
  qelStringList list;
  EXPECT_EQ(list.GetCount(), 0u);
  list.Add("a b");
  list.Add("c");
  EXPECT_EQ(list.GetString('\\'), "a\\ b c");
}

TEST(CSVStringList, CutsAtCommas) {
  const qelCSVStringList list("1,,2", '\\');
  EXPECT_EQ(list.GetCount(), 3u);
  EXPECT_STREQ(list.GetAt(1), "");
  EXPECT_EQ(list.GetAtInt32(1, 7), 7);
  EXPECT_EQ(list.GetAtInt32(2, 7), 2);
  EXPECT_EQ(Items(qelCSVStringList("a\\,b,c", '\\')), (Texts{"a,b", "c"}));
  EXPECT_EQ(Items(qelCSVStringList("a\\,b,c", 0)), (Texts{"a\\", "b", "c"}));
}

TEST(CSVStringList, JoinsWithCommasWhateverCutIt) {
  qelCSVStringList empty;
  empty.Set("a;b", ';', '\\');
  EXPECT_EQ(Items(empty), (Texts{"a", "b"}));
  EXPECT_EQ(empty.GetString(0), "a,b");
  qelCSVStringList other('#');
  EXPECT_EQ(other.GetCount(), 0u);
  other = empty;
  const qelCSVStringList copy(other);
  other.Reset();
  EXPECT_EQ(copy.GetString(0), "a,b");
}

TEST(CSVStringList, IsReleasedThroughItsBase) {
  qelStringList* list = new qelCSVStringList("a,b", '\\');
  EXPECT_EQ(list->GetCount(), 2u);
  delete list;
}

// Cuts step by step, with the rest of the text moving down over each escape character.
static Texts CutBySteps(std::string text, char separator, char escape) {
  if (text.empty())
    return Texts();
  Texts items;
  size_t begin = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != separator)
      continue;
    if (escape != 0 && i != begin && text[i - 1] == escape) {
      text.erase(i - 1, 1);
      --i;
    } else {
      items.push_back(text.substr(begin, i - begin));
      begin = i + 1;
    }
  }
  items.push_back(text.substr(begin));
  return items;
}

static std::string JoinedBySteps(const Texts& items, char separator, char escape) {
  std::string joined;
  for (size_t i = 0; i < items.size(); ++i) {
    if (i != 0)
      joined += separator;
    for (char c : items[i]) {
      if (c == separator && escape != 0)
        joined += escape;
      joined += c;
    }
  }
  return joined;
}

static void RemoveEmptyBySteps(Texts& items) {
  for (size_t i = 0; i < items.size(); ++i)
    if (items[i].empty())
      items.erase(items.begin() + static_cast<std::ptrdiff_t>(i));
}

TEST(StringListModel, FollowsAListOfTexts) {
  std::mt19937 random(15);
  qelStringList list(nullptr, ',', 0);
  Texts model;
  for (int step = 0; step < 20000; ++step) {
    std::string text(random() % 6, ' ');
    for (char& c : text)
      c = "ab,\\;"[random() % 5];
    const char escape = "\\\\;"[random() % 3];
    const char escapes = random() % 4 != 0 ? escape : '\0';
    switch (random() % 8) {
    case 0:
      list.Set(text.c_str(), ',', escapes);
      model = CutBySteps(text, ',', escapes);
      break;
    case 1: {
      const auto found = std::find(model.begin(), model.end(), text);
      ASSERT_EQ(list.Remove(text.c_str()), found != model.end());
      if (found != model.end())
        model.erase(found);
      break;
    }
    case 2:
      list.RemoveEmpty();
      RemoveEmptyBySteps(model);
      break;
    case 3:
      list = qelStringList(list);
      break;
    default:
      list.Add(text.c_str());
      model.push_back(text);
    }
    ASSERT_EQ(Items(list), model) << "step " << step;
    ASSERT_EQ(list.GetString(escapes), JoinedBySteps(model, ',', escapes).c_str());
  }
}

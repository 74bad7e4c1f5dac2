#include <qel/threads/StatusManager.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <qel/threads/qelStatusPrint.h>
#include <tests/support/Gate.h>
#include <tests/support/LogCapture.h>
#include <tests/support/Stress.h>

namespace {

// Catches what is printed during its life. One at a time.
class PrintCapture {
public:
  PrintCapture() : m_sink{&PrintCapture::OnPrint, this} {
    EXPECT_EQ(qelStatusPrint_SetSink(&m_sink), nullptr);
  }
  ~PrintCapture() { EXPECT_EQ(qelStatusPrint_SetSink(nullptr), &m_sink); }
  PrintCapture(const PrintCapture&) = delete;
  PrintCapture& operator=(const PrintCapture&) = delete;

  // What was printed since the last call.
  std::string Take() {
    std::string text;
    text.swap(m_text);
    return text;
  }

private:
  static void OnPrint(const char* format, va_list args, void* self) {
    char text[1024];
    vsnprintf(text, sizeof text, format, args);
    static_cast<PrintCapture*>(self)->m_text += text;
  }

  const qelStatusPrint_Sink m_sink;
  std::string m_text;
};

class OpenStatus : public qelStatusManager {
public:
  OpenStatus() : qelStatusManager("Title") {}
  using qelStatusManager::LogEntry;
  using qelStatusManager::m_indent;
  using qelStatusManager::m_lastPath;
  using qelStatusManager::m_mutex;
  using qelStatusManager::m_name;
  using qelStatusManager::NewEntry;

  // "key=value;" of each entry in order; no "=" for a null value.
  std::string Entries(const char* chapter) {
    std::string all;
    qelArray_t* entries = (*this)[chapter];
    if (entries == nullptr)
      return "no such chapter";
    for (size_t i = 0; i != qelArray_GetCount(entries); ++i) {
      const auto* entry = static_cast<qelqelStatusManagerEntry*>(qelArray_GetAt(entries, i));
      all += entry->key;
      if (entry->value != nullptr)
        all += std::string("=") + entry->value;
      all += ';';
    }
    return all;
  }
};

std::string Printed(qelStatusManager& manager) {
  PrintCapture print;
  manager.Log();
  return print.Take();
}

TEST(QelStatusManagerUpdateStatus, KeepsOneEntryOfAKeyWithTheNewerValue) {
  OpenStatus manager;
  manager.UpdateStatus("c", "k", "old");
  manager.UpdateStatus("c", "k", "new");
  EXPECT_EQ(manager.Entries("c"), "k=new;");
  EXPECT_EQ(manager.GetCount(), 1u);
}

TEST(QelStatusManagerUpdateStatus, SortsByUnsignedBytes) {
  OpenStatus manager;
  for (const char* key : {"b", "a/b", "\xC3\xA9", "a-b", "B", "", "a"})
    manager.UpdateStatus("c", key, "1");
  EXPECT_EQ(manager.Entries("c"), "=1;B=1;a=1;a-b=1;a/b=1;b=1;\xC3\xA9=1;");
}

TEST(QelStatusManagerUpdateStatus, KeepsANullValueAndAnEmptyOne) {
  OpenStatus manager;
  manager.UpdateStatus("c", "null", nullptr);
  manager.UpdateStatus("c", "empty", "");
  EXPECT_EQ(manager.Entries("c"), "empty=;null;");
}

TEST(QelStatusManagerUpdateStatus, FormatsANumberWithoutASign) {
  OpenStatus manager;
  manager.UpdateStatus("c", "a", qelULong(0));
  manager.UpdateStatus("c", "b", qelULong(0xFFFFFFFF));
  EXPECT_EQ(manager.Entries("c"), "a=0;b=4294967295;");
}

TEST(QelStatusManagerUpdateStatus, CopiesItsTexts) {
  OpenStatus manager;
  char text[] = "k";
  manager.UpdateStatus(text, text, text);
  text[0] = 'x';
  EXPECT_EQ(manager.Entries("k"), "k=k;");
}

TEST(QelStatusManagerUpdateStatus, TakesTheTextsOfTheEntryItReplaces) {
  OpenStatus manager;
  manager.UpdateStatus("c", "k", "value");
  const auto* entry = static_cast<qelqelStatusManagerEntry*>(qelArray_GetAt(manager["c"], 0));
  manager.UpdateStatus("c", entry->key, entry->value);
  EXPECT_EQ(manager.Entries("c"), "k=value;");
}

TEST(QelStatusManagerUpdateStatus, KeepsChaptersApart) {
  OpenStatus manager;
  manager.UpdateStatus("c", "k", "1");
  manager.UpdateStatus("d", "k", "2");
  EXPECT_EQ(manager.Entries("c"), "k=1;");
  EXPECT_EQ(manager.Entries("d"), "k=2;");
}

// "Aa" and "BB" hash alike.
TEST(QelStatusManagerUpdateStatus, RefusesAChapterWhoseHashIsThatOfAnother) {
  OpenStatus manager;
  manager.UpdateStatus("Aa", "k", "1");
  LogCapture log;
  manager.UpdateStatus("BB", "k", "2");
  manager.UpdateStatus("BB", "k", qelULong(2));
  manager.RemoveStatus("BB", "k");
  const std::string line =
      "qelStatusManager: Refused the chapter 'BB' (its hash is that of another chapter)\n";
  EXPECT_EQ(log.All(), line + line);
  EXPECT_EQ(log.Lines().at(0).level, 1u);
  EXPECT_EQ(manager.GetCount(), 1u);
  EXPECT_EQ(manager.Entries("Aa"), "k=1;");
}

TEST(QelStatusManagerRemoveStatus, RemovesAKeyAndAllBelowIt) {
  OpenStatus manager;
  for (const char* key : {"a", "a/b", "a/b/c", "ab", "A"})
    manager.UpdateStatus("c", key, "1");
  manager.RemoveStatus("c", "a");
  EXPECT_EQ(manager.Entries("c"), "A=1;ab=1;");
}

TEST(QelStatusManagerRemoveStatus, RemovesWhatIsBelowAKeyWithoutAnEntry) {
  OpenStatus manager;
  for (const char* key : {"0", "a-b", "a/b", "a/b/c", "ab"})
    manager.UpdateStatus("c", key, "1");
  manager.RemoveStatus("c", "a");
  EXPECT_EQ(manager.Entries("c"), "0=1;a-b=1;ab=1;");
}

TEST(QelStatusManagerRemoveStatus, LeavesWhatStandsBehindASiblingThatSortsAheadOfTheSlash) {
  OpenStatus manager;
  for (const char* key : {"a", "a-b", "a/c"})
    manager.UpdateStatus("c", key, "1");
  manager.RemoveStatus("c", "a");
  EXPECT_EQ(manager.Entries("c"), "a-b=1;a/c=1;");
  manager.RemoveStatus("c", "a");
  EXPECT_EQ(manager.Entries("c"), "a-b=1;");
}

TEST(QelStatusManagerRemoveStatus, TakesTheTextOfTheEntryItRemoves) {
  OpenStatus manager;
  for (const char* key : {"a", "a/b", "b"})
    manager.UpdateStatus("c", key, "1");
  manager.RemoveStatus(
      "c", static_cast<qelqelStatusManagerEntry*>(qelArray_GetAt(manager["c"], 0))->key);
  EXPECT_EQ(manager.Entries("c"), "b=1;");
}

TEST(QelStatusManagerRemoveStatus, KeepsTheEmptyChapter) {
  OpenStatus manager;
  manager.UpdateStatus("c", "a", "1");
  manager.RemoveStatus("c", "a");
  EXPECT_EQ(manager.Entries("c"), "");
  EXPECT_EQ(Printed(manager), "Title\n    c\n");
}

TEST(QelStatusManagerRemoveStatus, LeavesAllForAnUnknownChapterOrKey) {
  OpenStatus manager;
  manager.UpdateStatus("c", "a/b", "1");
  manager.RemoveStatus("d", "a");
  for (const char* key : {"b", "a/b/c", "a/", "", "z"})
    manager.RemoveStatus("c", key);
  EXPECT_EQ(manager.Entries("c"), "a/b=1;");
  EXPECT_EQ(manager.GetCount(), 1u);
}

TEST(QelStatusManagerLog, PrintsTheNameAloneWithoutChapters) {
  qelStatusManager manager("My server");
  EXPECT_EQ(Printed(manager), "My server\n");
}

TEST(QelStatusManagerLog, PrintsNothingWithoutASink) {
  qelStatusManager manager("Title");
  manager.UpdateStatus("c", "a", "1");
  PrintCapture print;
  const qelStatusPrint_Sink* sink = qelStatusPrint_SetSink(nullptr);
  manager.Log();
  EXPECT_EQ(print.Take(), "");
  EXPECT_EQ(qelStatusPrint_SetSink(sink), nullptr);
  manager.Log();
  EXPECT_NE(print.Take(), "");
}

TEST(QelStatusManagerLog, ShowsASharedPartOnce) {
  qelStatusManager manager("Title");
  manager.UpdateStatus("c", "a/c", "2");
  manager.UpdateStatus("c", "a/b", "1");
  EXPECT_EQ(Printed(manager), "Title\n"
                              "    c\n"
                              "        a\n"
                              "            b: '1'\n"
                              "            c: '2'\n");
}

TEST(QelStatusManagerLog, ShowsValuesBehindLastPartsOnly) {
  qelStatusManager manager("Title");
  manager.UpdateStatus("c", "a", "1");
  manager.UpdateStatus("c", "a/b/c", "2");
  manager.UpdateStatus("c", "b", "");
  manager.UpdateStatus("c", "d", nullptr);
  manager.UpdateStatus("c", "e", "%s%n");
  EXPECT_EQ(Printed(manager), "Title\n"
                              "    c\n"
                              "        a: '1'\n"
                              "            b\n"
                              "                c: '2'\n"
                              "        b\n"
                              "        d\n"
                              "        e: '%s%n'\n");
}

TEST(QelStatusManagerLog, BeginsEachChapterAnew) {
  qelStatusManager manager("Title");
  manager.UpdateStatus("a", "x/y", "1");
  manager.UpdateStatus("b", "x/y", "2");
  const std::string tree = "        x\n            y: ";
  // The hash of one letter is its code and 1, so "b" (99) stands in bucket 0 and "a" (98) in 10.
  EXPECT_EQ(Printed(manager), "Title\n    b\n" + tree + "'2'\n    a\n" + tree + "'1'\n");
}

TEST(QelStatusManagerLog, ShowsASharedPartAgainBehindAnother) {
  qelStatusManager manager("Title");
  for (const char* key : {"a", "a-b", "a/b"})
    manager.UpdateStatus("c", key, "1");
  EXPECT_EQ(Printed(manager), "Title\n"
                              "    c\n"
                              "        a: '1'\n"
                              "        a-b: '1'\n"
                              "        a\n"
                              "            b: '1'\n");
}

TEST(QelStatusManagerLogChapter, PrintsTheArrayItIsGiven) {
  OpenStatus manager;
  manager.UpdateStatus("c", "a", "1");
  PrintCapture print;
  manager.LogChapter("other", manager["c"]);
  EXPECT_EQ(print.Take(), "    other\n        a: '1'\n");
}

// One entry on its own, behind a path printed before.
struct EntryCase {
  const char* lastPath;
  const char* key;
  const char* value;
  const char* printed;
  const char* newPath;
};

void ExpectEntry(const EntryCase& c) {
  OpenStatus manager;
  PrintCapture print;
  manager.m_lastPath = c.lastPath;
  char* key = const_cast<char*>(c.key);
  qelqelStatusManagerEntry entry = {key, const_cast<char*>(c.value)};
  manager.LogEntry(&entry);
  EXPECT_EQ(print.Take(), c.printed) << c.lastPath << " then " << c.key;
  EXPECT_STREQ(manager.m_lastPath.c_str(), c.newPath) << c.lastPath << " then " << c.key;
}

TEST(QelStatusManagerLogEntry, TakesOddPathsAsTheyAre) {
  const EntryCase cases[] = {
      {"", "", "v", "", ""},
      {"a/", "", "v", "", ""},
      {"", "a/", "v", "        a: 'v'\n", "a/"},
      {"", "/a", "v", "        \n            a: 'v'\n", "/a/"},
      {"", "/", "v", "        : 'v'\n", "/"},
      {"", "a//b", "v", "        a\n            \n                b: 'v'\n", "a//b/"},
      {"a//b/", "a//c", "v", "                c: 'v'\n", "a//c/"},
      // A whole path that was printed last is not shown again, nor is its value.
      {"a/b/", "a", "v", "", "a/"},
      {"a/", "a", "v", "", "a/"},
      // A part is compared with its slash.
      {"ab/", "a", "v", "        a: 'v'\n", "a/"},
      {"a/", "ab", "v", "        ab: 'v'\n", "ab/"},
  };
  for (const EntryCase& c : cases)
    ExpectEntry(c);
}

TEST(QelStatusManagerLogEntry, HidesAPartThatTheLastPathGoesOnWithAfterADifference) {
  ExpectEntry({"a/b/", "x/a", "v", "        x\n", "x/a/"});
  ExpectEntry({"a/b/", "x/a/b/c", "v", "        x\n                    c: 'v'\n", "x/a/b/c/"});
  ExpectEntry({"a/b/", "x/b", "v", "        x\n            b: 'v'\n", "x/b/"});
}

TEST(QelStatusManagerNewEntry, CopiesBothTexts) {
  OpenStatus manager;
  qelqelStatusManagerEntry* entry = manager.NewEntry("k", nullptr);
  EXPECT_STREQ(entry->key, "k");
  EXPECT_EQ(entry->value, nullptr);
  free(entry->key);
  free(entry);
}

// The model: sorted keys of one chapter, and the rules of removal and printing as they are told.
typedef std::map<std::string, std::string> Tree;

bool BeginsWith(const std::string& text, const std::string& begin) {
  return text.compare(0, begin.size(), begin) == 0;
}

void RemoveFromModel(Tree& tree, const std::string& key) {
  auto at = tree.find(key);
  if (at != tree.end()) {
    at = tree.erase(at);
  } else {
    at = tree.begin();
    while (at != tree.end() && !BeginsWith(at->first, key + "/"))
      ++at;
  }
  while (at != tree.end() && BeginsWith(at->first, key + "/"))
    at = tree.erase(at);
}

std::vector<std::string> Parts(const std::string& key) {
  std::vector<std::string> parts;
  size_t start = 0;
  while (start < key.size()) {
    const size_t slash = std::min(key.find('/', start), key.size());
    parts.push_back(key.substr(start, slash - start) + "/");
    start = slash + 1;
  }
  return parts;
}

std::string PrintModel(const Tree& tree) {
  std::string text;
  std::vector<std::string> last;
  for (const auto& entry : tree) {
    const std::vector<std::string> parts = Parts(entry.first);
    size_t shared = 0;
    for (size_t i = 0; i != parts.size(); ++i) {
      if (shared != last.size() && parts[i] == last[shared]) {
        ++shared;
        continue;
      }
      text += std::string(4 * (i + 2), ' ') + parts[i].substr(0, parts[i].size() - 1);
      const bool atEnd = i + 1 == parts.size();
      text += atEnd && !entry.second.empty() ? ": '" + entry.second + "'\n" : "\n";
    }
    last = parts;
  }
  return text;
}

TEST(QelStatusManagerModel, AgreesOnRandomTrees) {
  std::mt19937 random(11);
  const char* const parts[] = {"a", "b", "ab", "a-b", "b!", "c"};
  for (int run = 0; run < 40; ++run) {
    OpenStatus manager;
    Tree model;
    manager.UpdateStatus("c", "a", "first");
    model["a"] = "first";
    for (int step = 0; step < 120; ++step) {
      std::string key = parts[random() % 6];
      for (unsigned depth = random() % 4; depth != 0; --depth)
        key += std::string("/") + parts[random() % 6];
      if (random() % 4 == 0) {
        manager.RemoveStatus("c", key.c_str());
        RemoveFromModel(model, key);
      } else {
        const std::string value(random() % 3, 'v');
        manager.UpdateStatus("c", key.c_str(), value.c_str());
        model[key] = value;
      }
      ASSERT_EQ(Printed(manager), "Title\n    c\n" + PrintModel(model)) << run << ' ' << step;
    }
    std::string entries;
    for (const auto& entry : model)
      entries += entry.first + "=" + entry.second + ";";
    ASSERT_EQ(manager.Entries("c"), entries);
  }
}

TEST(QelStatusManagerStress, KeepsWhatManyThreadsEntered) {
  for (int round = 0; round < StressRounds(); ++round) {
    OpenStatus manager;
    PrintCapture print;
    Gate gate(3);
    std::vector<std::thread> threads;
    for (const char* own : {"a", "b", "c"})
      threads.emplace_back([&, own] {
        const std::string below = std::string(own) + "/x";
        gate.Pass();
        for (qelULong i = 0; i < 8; ++i) {
          manager.UpdateStatus("all", own, i);
          manager.UpdateStatus("all", below.c_str(), i);
          manager.UpdateStatus(own, "k", i);
          manager.Log();
          if (i != 7)
            manager.RemoveStatus("all", own);
        }
      });
    for (std::thread& thread : threads)
      thread.join();
    EXPECT_EQ(manager.Entries("all"), "a=7;a/x=7;b=7;b/x=7;c=7;c/x=7;");
    EXPECT_EQ(manager.Entries("a") + manager.Entries("b"), "k=7;k=7;");
    EXPECT_EQ(manager.GetCount(), 4u);
    const std::string all = print.Take();
    EXPECT_EQ(std::count(all.begin(), all.end(), 'T'), 24);
  }
}

// Only one of the two is destroyed: the copy lies in raw storage and its destructor does not run.
TEST(QelStatusManagerCopy, SharesTheTable) {
  OpenStatus source;
  source.UpdateStatus("c", "k", "1");
  alignas(OpenStatus) unsigned char storage[sizeof(OpenStatus)];
  OpenStatus* copy = new (storage) OpenStatus(source);
  EXPECT_EQ((*copy)["c"], source["c"]);
  copy->UpdateStatus("c", "k", "2");
  EXPECT_EQ(source.Entries("c"), "k=2;");
  EXPECT_EQ(Printed(*copy), Printed(source));
  // Its own texts go, the shared table and lock stay.
  copy->m_name.~qelCString();
  copy->m_indent.~qelCString();
  copy->m_lastPath.~qelCString();
}

TEST(QelStatusManagerShape, HasItsFieldsInOrder) {
  OpenStatus manager;
  const void* const fields[] = {&manager.m_name, &manager.m_indent, &manager.m_lastPath,
                                &manager.m_mutex};
  for (int i = 1; i < 4; ++i)
    EXPECT_LT(fields[i - 1], fields[i]);
  EXPECT_EQ(manager.m_name, "Title");
  EXPECT_EQ(manager.m_indent, "    ");
  EXPECT_EQ(manager.m_lastPath, "");
  EXPECT_TRUE((std::is_base_of<qelStringHashMap<qelArray_t*>, qelStatusManager>::value));
  EXPECT_TRUE(std::has_virtual_destructor<qelStatusManager>::value);
}

} // namespace

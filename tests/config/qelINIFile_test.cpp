// INI tables: the table itself, the reader, the writer and the access by section and key.

#include <qel/config/qelINIFile.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/config/INITable.h>
#include <tests/support/LogCapture.h>
#include <tests/support/TempDir.h>

using testing::ElementsAre;
using testing::Pair;

namespace {

std::string Repeat(size_t n, char c = 'x') {
  return std::string(n, c);
}

// The value of the only key of a line in "default".
std::string ValueOfLine(const std::string& line) {
  const INITable table(line);
  const INIEntries entries = table.Entries();
  return entries.size() == 2 && entries[0].first == "default" ? entries[1].second : "(no value)";
}

std::string Saved(const qelINIFile* table) {
  const TempDir dir;
  EXPECT_EQ(qelINIFile_Save(dir.Path("saved.ini").c_str(), table), 1);
  return dir.Read("saved.ini");
}

// The line of one value behind "k=".
std::string SavedValue(const std::string& value) {
  const INITable table;
  qelINIFile_SetValue(table, nullptr, "k", value.c_str());
  return Saved(table);
}

} // namespace

// Table --------------------------------------------------------------------------------

TEST(qelINIFileNew, HasRoomForAtLeast128EmptyEntries) {
  for (const size_t asked : {0u, 1u, 128u, 129u, 1000u}) {
    qelINIFile* table = qelINIFile_New(asked);
    EXPECT_EQ(table->capacity, asked < 128 ? 128 : asked);
    EXPECT_EQ(table->count, 0u);
    for (size_t i = 0; i != table->capacity; ++i) {
      EXPECT_STREQ(table->entries[i].key, "");
      EXPECT_STREQ(table->entries[i].value, "");
      EXPECT_EQ(table->entries[i].hash, 0u);
    }
    qelINIFile_Delete(table);
  }
}

TEST(qelINIFileDelete, TakesNull) {
  qelINIFile_Delete(nullptr);
}

TEST(qelINIFileHash, MixesEachSignedByte) {
  EXPECT_EQ(qelINIFile_Hash(""), 0u);
  EXPECT_EQ(qelINIFile_Hash("a"), 0xCA2E9442u); // the well-known values of this hash
  EXPECT_EQ(qelINIFile_Hash("The quick brown fox jumps over the lazy dog"), 0x519E91F5u);
  // One byte of -1 by hand: h = -1025, and on from there.
  uint32_t h = static_cast<uint32_t>(-1025);
  h ^= h >> 6;
  h *= 9;
  h ^= h >> 11;
  EXPECT_EQ(qelINIFile_Hash("\xFF"), h * 32769u);
}

TEST(qelINIFileStore, AddsAtTheEndAndReplacesInPlace) {
  const INITable table;
  qelINIFile_Store(table, "b", "1");
  qelINIFile_Store(table, "a", "2");
  qelINIFile_Store(table, "b", "3");
  qelINIFile_Store(table, "B", nullptr);
  EXPECT_THAT(table.Entries(), ElementsAre(Pair("b", "3"), Pair("a", "2"), Pair("B", "")));
  qelINIFile_Store(table, "a", nullptr);
  EXPECT_EQ(table.At("a"), "");
  qelINIFile_Store(table, "a", "once more");
  EXPECT_EQ(table.At("a"), "once more");
  qelINIFile* plain = table;
  EXPECT_EQ(plain->entries[1].hash, qelINIFile_Hash("a"));
}

TEST(qelINIFileStore, StoresNothingUnderAnEmptyKey) {
  const INITable table;
  qelINIFile_Store(table, "", "x");
  EXPECT_EQ(qelINIFile_Count(table), 0u);
}

TEST(qelINIFileStore, TakesTheEntrysOwnValue) {
  const INITable table;
  qelINIFile_Store(table, "a", "value");
  qelINIFile_Store(table, "a", qelINIFile_Find(table, "a", nullptr) + 2);
  EXPECT_EQ(table.At("a"), "lue");
}

TEST(qelINIFileStore, GrowsAFullTableBy128) {
  const INITable table;
  qelINIFile* plain = table;
  for (int i = 0; i != 128; ++i)
    qelINIFile_Store(table, ("k" + std::to_string(i)).c_str(), "v");
  EXPECT_EQ(plain->capacity, 128u);
  qelINIFile_Store(table, "k0", "replaced");
  EXPECT_EQ(plain->capacity, 128u);
  qelINIFile_Store(table, "one more", "v");
  EXPECT_EQ(plain->capacity, 256u);
  EXPECT_EQ(plain->count, 129u);
  for (size_t i = 129; i != 256; ++i) {
    EXPECT_STREQ(plain->entries[i].key, "");
    EXPECT_STREQ(plain->entries[i].value, "");
    EXPECT_EQ(plain->entries[i].hash, 0u);
  }
}

TEST(qelINIFileUnset, ClosesTheGap) {
  const INITable table;
  for (const char* key : {"a", "b", "c"})
    qelINIFile_Store(table, key, key);
  qelINIFile_Unset(table, "missing");
  qelINIFile_Unset(table, "a");
  EXPECT_THAT(table.Entries(), ElementsAre(Pair("b", "b"), Pair("c", "c")));
  qelINIFile_Unset(table, "c");
  EXPECT_THAT(table.Entries(), ElementsAre(Pair("b", "b")));
  const qelINIFile* plain = table;
  EXPECT_STREQ(plain->entries[1].key, "");
  EXPECT_EQ(plain->entries[1].hash, 0u);
  qelINIFile_Store(table, "d", "d");
  EXPECT_THAT(table.Entries(), ElementsAre(Pair("b", "b"), Pair("d", "d")));
}

TEST(qelINIFileFind, AsksForTheExactKey) {
  const INITable table("[Net]\nPort=1");
  EXPECT_STREQ(qelINIFile_Find(table, "net/port", "no"), "1");
  EXPECT_STREQ(qelINIFile_Find(table, "Net/Port", "no"), "no");
  EXPECT_EQ(qelINIFile_Find(table, "", nullptr), nullptr);
}

TEST(qelINIFileKeyAt, GivesEmptyTextsBehindTheLastEntry) {
  const INITable table("");
  EXPECT_STREQ(qelINIFile_KeyAt(table, 0), "default");
  EXPECT_STREQ(qelINIFile_KeyAt(table, 1), "");
  EXPECT_STREQ(qelINIFile_ValueAt(table, 1), "");
  EXPECT_STREQ(qelINIFile_KeyAt(table, 100000), "");
}

TEST(qelINIFile, BehavesLikeAListOfPairs) {
  std::mt19937 random(7);
  const INITable table;
  INIEntries model;
  for (int step = 0; step != 20000; ++step) {
    const std::string key = "k" + std::to_string(random() % 300);
    const auto same = [&](const auto& entry) { return entry.first == key; };
    const auto at = std::find_if(model.begin(), model.end(), same);
    if (random() % 3 != 0) {
      const std::string value = std::to_string(random() % 3);
      qelINIFile_Store(table, key.c_str(), value.c_str());
      if (at != model.end())
        at->second = value;
      else
        model.push_back({key, value});
    } else {
      qelINIFile_Unset(table, key.c_str());
      if (at != model.end())
        model.erase(at);
    }
    if (step % 500 == 0) {
      ASSERT_EQ(table.Entries(), model);
    }
  }
  EXPECT_EQ(table.Entries(), model);
}

// Parsing ------------------------------------------------------------------------------

TEST(qelINIFileParse, MakesDefaultOfAnEmptyFile) {
  const INITable table("");
  EXPECT_THAT(table.Entries(), ElementsAre(Pair("default", "")));
  EXPECT_EQ(qelINIFile_GetSectionCount(table), 1u);
  EXPECT_STREQ(qelINIFile_GetSectionName(table, 0), "");
}

TEST(qelINIFileParse, ReadsSectionsAndKeysInLowerCase) {
  const INITable table("First=One\r\n[Net]\rPort = 8080 ; comment\n\n[EMPTY]\n");
  EXPECT_THAT(table.Entries(),
              ElementsAre(Pair("default", ""), Pair("default/first", "One"), Pair("net", ""),
                          Pair("net/port", "8080"), Pair("empty", "")));
}

TEST(qelINIFileParse, LowersAsciiAlone) {
  const INITable table("\xC3\x84Z=\xC3\x84Z");
  EXPECT_EQ(table.At("default/\xC3\x84z"), "\xC3\x84Z");
}

TEST(qelINIFileParse, TakesEachLineForWhatItIs) {
  const struct {
    const char* line;
    INIEntries entries; // behind "default"
  } cases[] = {
      {"; a=b", {}},
      {"# a=b", {}},
      {" \t; a=b", {}},
      {" \v\f\t ", {}},
      {"= value", {}},
      {"  =value", {}},
      {"justakey", {{"default/justakey", ""}}},
      {"key ; no comment", {{"default/key ; no comment", ""}}},
      {"\"quoted\"", {{"default/\"quoted\"", ""}}},
      {"[open", {{"default/[open", ""}}},
      {"[open = x", {{"default/[open", "x"}}},
      {"[a] behind = 1", {{"a", ""}}},
      {"[ A b ]", {{"a b", ""}}},
      {"[a[b]c]", {{"a[b", ""}}},
      {"[]", {}},
      {"[ ]\nk=v", {{"default/k", "v"}}},
      {"[open = x]", {{"open = x", ""}}},
      {"a=b=c", {{"default/a", "b=c"}}},
      {"a;b = c", {{"default/a;b", "c"}}},
      {"a =", {{"default/a", ""}}},
      {"a\tb\t=\tc\td\t", {{"default/a\tb", "c\td"}}},
      {"A=1\na=2", {{"default/a", "2"}}},
      {"a/b=1", {{"default/a/b", "1"}}},
      {"[a/b]\nc=1", {{"a/b", ""}, {"a/b/c", "1"}}},
      {"a]=1", {{"default/a]", "1"}}},
  };
  for (const auto& c : cases) {
    INIEntries expected = c.entries;
    expected.insert(expected.begin(), {"default", ""});
    EXPECT_EQ(INITable(c.line).Entries(), expected) << c.line;
  }
}

TEST(qelINIFileParse, ReadsEachFormOfValue) {
  const struct {
    const char* line;
    const char* value;
  } cases[] = {
      {"k = a;b", "a"},
      {"k = a # b", "a"},
      {"k = ;", ""},
      {"k = a\\;b", "a\\"},
      {"k = \"a;b\" trailing", "a;b"},
      {"k = 'a#b';c", "a#b"},
      {"k = \" a \"", " a "},
      {"k = \"\"", ""},
      {"k = 'it\"s'", "it\"s"},
      {"k = \"it's\"", "it's"},
      {"k = 'it\\'s'", "it's"},
      {"k = \"a\\\\b\\n\\\"\"", "a\\bn\""},
      {"k = a\"b;c\"", "a\"b"},
      {"k = \"", ""},
      {"k = \"open", "open"},
      {"k = \"open ; no comment ", "open ; no comment"},
      {"k = \"mixed'", "mixed'"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(ValueOfLine(c.line), c.value) << c.line;
}

TEST(qelINIFileParse, DoublesTheEndOfAnUnterminatedQuotedValueForEachEscape) {
  EXPECT_EQ(ValueOfLine("k=\"a\\\"b"), "a\"bb");
  EXPECT_EQ(ValueOfLine("k=\"a\\\"b\\\"c"), "a\"b\"c\"c");
  EXPECT_EQ(ValueOfLine("k=\"a\\\""), "a\"\"");
  EXPECT_EQ(ValueOfLine("k='\\x\\y12345"), "xy1234545");
}

TEST(qelINIFileParse, StopsAtABackslashAtTheEndOfAQuotedValue) {
  EXPECT_EQ(ValueOfLine("k=\"ab\\"), "ab\\");
  EXPECT_EQ(ValueOfLine("k=\"a\\\"b\\"), "a\"bb\\");
  EXPECT_EQ(ValueOfLine("k=\"\\"), "\\");
}

TEST(qelINIFileParse, SkipsAByteOrderMarkOnTheFirstLineAlone) {
  EXPECT_EQ(INITable("\xEF\xBB\xBFName=x").At("default/name"), "x");
  EXPECT_THAT(INITable("\xEF\xBB\xBF").Entries(), ElementsAre(Pair("default", "")));
  EXPECT_THAT(INITable("\xEF\xBB").Entries(),
              ElementsAre(Pair("default", ""), Pair("default/\xEF\xBB", "")));
  EXPECT_EQ(INITable("a=1\n\xEF\xBB\xBFName=x").At("default/\xEF\xBB\xBFname"), "x");
  EXPECT_EQ(INITable("\n\xEF\xBB\xBFName=x").At("default/\xEF\xBB\xBFname"), "x");
}

TEST(qelINIFileParse, GoesOnWithALongLineAsTheNextOne) {
  // 1023 bytes are one line: "k=" and 1021 more. What follows is a key of its own.
  const INITable table("k=" + Repeat(1998, 'v'));
  EXPECT_EQ(table.At("default/k"), Repeat(1021, 'v'));
  EXPECT_EQ(table.At("default/" + Repeat(127, 'v')), "");
  EXPECT_EQ(qelINIFile_Count(table), 3u);
}

TEST(qelINIFileParse, TakesALineOf1023BytesWithAnyEnd) {
  for (const char* end : {"", "\n", "\r", "\r\n"}) {
    const INITable table("k=" + Repeat(1021, 'v') + end + "a=1");
    EXPECT_EQ(table.At("default/k"), Repeat(1021, 'v'));
    EXPECT_EQ(table.At("default/a"), "1");
    EXPECT_EQ(qelINIFile_Count(table), 3u);
  }
}

TEST(qelINIFileParse, CutsNamesTo127Bytes) {
  const INITable table("[" + Repeat(200, 'S') + "]\n" + Repeat(128, 'K') + "=v\n" +
                       Repeat(300, 'j'));
  const std::string section = Repeat(127, 's');
  EXPECT_THAT(table.Entries(), ElementsAre(Pair("default", ""), Pair(section, ""),
                                           Pair(section + "/" + Repeat(127, 'k'), "v"),
                                           Pair(section + "/" + Repeat(127, 'j'), "")));
}

TEST(qelINIFileParse, EndsALinesTextAtAZeroByte) {
  const INITable table(std::string("a=1\0 2\nb=3", 10));
  EXPECT_EQ(table.At("default/a"), "1");
  EXPECT_EQ(table.At("default/b"), "3");
}

TEST(qelINIFileParse, EmptiesTheKeyThatASectionsNameSpells) {
  EXPECT_EQ(INITable("[a]\nb=1\n[a/b]").At("a/b"), "");
}

TEST(qelINIFileLoadBuffer, AddsToWhatTheTableHolds) {
  INITable table("a=1\nb=2");
  EXPECT_EQ(table.Load("b=3\nc=4"), 1);
  EXPECT_THAT(table.Entries(), ElementsAre(Pair("default", ""), Pair("default/a", "1"),
                                           Pair("default/b", "3"), Pair("default/c", "4")));
}

// Files --------------------------------------------------------------------------------

TEST(qelINIFileLoadFile, ReadsFilesOfEachLengthAroundItsPieces) {
  const TempDir dir;
  for (const size_t length : {0u, 1u, 99u, 100u, 101u, 199u, 200u, 201u, 1000u}) {
    std::string text = "k=" + Repeat(900, 'v');
    text = (Repeat(length > 110 ? length - 110 : 0, '\n') + text).substr(0, length);
    const INITable table;
    EXPECT_EQ(qelINIFile_LoadFile(dir.Write("x.ini", text).c_str(), table), 1);
    EXPECT_EQ(table.Entries(), INITable(text).Entries()) << length;
  }
}

TEST(qelINIFileLoadFile, GivesZeroForAMissingFileOrADirectory) {
  LogCapture log;
  const TempDir dir;
  const INITable table;
  EXPECT_EQ(qelINIFile_LoadFile(dir.Path("missing").c_str(), table), 0);
  EXPECT_EQ(qelINIFile_LoadFile(dir.MakeDir("folder").c_str(), table), 0);
  EXPECT_EQ(qelINIFile_LoadFile(nullptr, table), 0);
  EXPECT_EQ(qelINIFile_Count(table), 0u);
}

TEST(qelINIFileSave, WritesSectionsInTableOrder) {
  const INITable table("[Net]\nb=2\n[Empty]\n[]\nz=26\n[Net]\na=1\n");
  EXPECT_EQ(Saved(table), "z=26\r\n\r\n[net]\r\nb=2\r\na=1\r\n\r\n[empty]\r\n");
}

TEST(qelINIFileSave, WritesNothingAheadOfTheFirstHeader) {
  EXPECT_EQ(Saved(INITable("[a]\n[b]\n")), "[a]\r\n\r\n[b]\r\n");
  EXPECT_EQ(Saved(INITable()), "");
  EXPECT_EQ(Saved(INITable("")), "");
}

TEST(qelINIFileSave, KeepsTheOrderOfALateDefaultSection) {
  const INITable table;
  qelINIFile_SetValue(table, "net", "a", "1");
  qelINIFile_SetValue(table, nullptr, "b", "2");
  const std::string text = Saved(table);
  EXPECT_EQ(text, "[net]\r\na=1\r\nb=2\r\n");
  EXPECT_EQ(INITable(text).At("net/b"), "2");
}

TEST(qelINIFileSave, QuotesWhatAReaderWouldTakeApart) {
  const struct {
    const char* value;
    const char* written;
  } cases[] = {
      {"", "k=\r\n"},           {"plain=[x]", "k=plain=[x]\r\n"},
      {"a b", "k=\"a b\"\r\n"}, {"it's", "k=\"it\\'s\"\r\n"},
      {"\"", "k=\"\\\"\"\r\n"}, {"a#b", "k=\"a#b\"\r\n"},
      {"a;b", "k=\"a;b\"\r\n"}, {"a\\b", "k=\"a\\\\b\"\r\n"},
      {"a\tb", "k=a\tb\r\n"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(SavedValue(c.value), c.written);
    EXPECT_EQ(INITable(c.written).At("default/k"), c.value);
  }
}

TEST(qelINIFileSave, CutsALongLineWithItsEnd) {
  for (const size_t length : {1018u, 1019u, 1020u, 1021u, 1022u, 2000u}) {
    const INITable table;
    qelINIFile_SetValue(table, nullptr, "k", Repeat(length, 'v').c_str());
    qelINIFile_SetValue(table, nullptr, "next", "1");
    const std::string text = Saved(table);
    EXPECT_EQ(text, ("k=" + Repeat(length, 'v') + "\r\n").substr(0, 1023) + "next=1\r\n");
    const INITable again(text);
    EXPECT_EQ(again.At("default/k"), Repeat(std::min<size_t>(length, 1021), 'v'));
    EXPECT_EQ(again.At("default/next"), "1");
  }
}

TEST(qelINIFileSave, ReplacesAFileAndGivesZeroWhenItCannotOpenIt) {
  LogCapture log;
  const TempDir dir;
  const INITable table("a=1");
  const std::string path = dir.Write("x.ini", Repeat(100));
  EXPECT_EQ(qelINIFile_Save(path.c_str(), table), 1);
  EXPECT_EQ(dir.Read("x.ini"), "a=1\r\n");
  EXPECT_EQ(qelINIFile_Save(dir.Path("no/x.ini").c_str(), table), 0);
  EXPECT_EQ(qelINIFile_Save(nullptr, table), 0);
  EXPECT_EQ(qelINIFile_SaveWhole(path.c_str(), table), 1);
  EXPECT_EQ(qelINIFile_SaveWhole(dir.Path("no/x.ini").c_str(), table), 0);
}

// By section and key -------------------------------------------------------------------

TEST(qelINIFileGetSectionName, CountsSectionsInTableOrder) {
  const INITable table("k=1\n[B]\nk=1\n[a]\n");
  EXPECT_EQ(qelINIFile_GetSectionCount(table), 3u);
  EXPECT_STREQ(qelINIFile_GetSectionName(table, 0), "");
  EXPECT_STREQ(qelINIFile_GetSectionName(table, 1), "b");
  EXPECT_STREQ(qelINIFile_GetSectionName(table, 2), "a");
  EXPECT_STREQ(qelINIFile_GetSectionName(table, 3), "");
}

TEST(qelINIFileGetKeyName, CountsKeysOfOneSectionInAnyCase) {
  const INITable table("top=1\n[Net]\nb=1\na/c=2\n[Network]\nx=3");
  EXPECT_EQ(qelINIFile_GetKeyCount(table, "NET"), 2u);
  EXPECT_STREQ(qelINIFile_GetKeyName(table, "NET", 0), "b");
  EXPECT_STREQ(qelINIFile_GetKeyName(table, "Net", 1), "a/c");
  EXPECT_STREQ(qelINIFile_GetKeyName(table, "Net", 2), "");
  for (const char* section : {static_cast<const char*>(nullptr), "", "Default"}) {
    EXPECT_EQ(qelINIFile_GetKeyCount(table, section), 1u);
    EXPECT_STREQ(qelINIFile_GetKeyName(table, section, 0), "top");
  }
  EXPECT_EQ(qelINIFile_GetKeyCount(table, "missing"), 0u);
  EXPECT_EQ(qelINIFile_GetSectionCount(table), 3u); // counting creates nothing
}

TEST(qelINIFileGetValue, GivesTheValueOrTheDefault) {
  const INITable table("[Net]\nPort=8080\nempty=");
  int found = -1;
  EXPECT_STREQ(qelINIFile_GetValue(table, "NET", "pORT", "no", &found), "8080");
  EXPECT_EQ(found, 1);
  EXPECT_STREQ(qelINIFile_GetValue(table, "net", "empty", "no", &found), "");
  EXPECT_EQ(found, 1);
  EXPECT_STREQ(qelINIFile_GetValue(table, "net", "missing", "no", &found), "no");
  EXPECT_EQ(found, 0);
  EXPECT_EQ(qelINIFile_GetValue(table, "net", "missing", nullptr, nullptr), nullptr);
}

TEST(qelINIFileGetValue, CreatesTheSectionThatItLooksIn) {
  const INITable table("");
  int found = -1;
  EXPECT_STREQ(qelINIFile_GetValue(table, "New", "key", "no", &found), "no");
  EXPECT_EQ(qelINIFile_GetSectionCount(table), 2u);
  EXPECT_EQ(Saved(table), "[new]\r\n");
  // The section "a/b" is the key b of a at the same time: reading from it clears the key.
  qelINIFile_SetValue(table, "a", "b", "1");
  qelINIFile_GetValue(table, "a/b", "c", nullptr, &found);
  EXPECT_EQ(table.At("a/b"), "");
}

TEST(qelINIFileGetValue, AsksForTheSectionsOwnEntryWithoutAKey) {
  const INITable table;
  int found = -1;
  EXPECT_STREQ(qelINIFile_GetValue(table, "Net", nullptr, "no", &found), "");
  EXPECT_EQ(found, 1); // it is there now
  EXPECT_THAT(table.Entries(), ElementsAre(Pair("net", "")));
}

TEST(qelINIFileSetValue, CreatesTheSectionFirst) {
  const INITable table;
  EXPECT_EQ(qelINIFile_SetValue(table, "Net", "Port", "Ab"), 1);
  EXPECT_EQ(qelINIFile_SetValue(table, "", "k", nullptr), 1);
  EXPECT_EQ(qelINIFile_SetValue(nullptr, "a", "b", "c"), 0);
  EXPECT_THAT(table.Entries(), ElementsAre(Pair("net", ""), Pair("net/port", "Ab"),
                                           Pair("default", ""), Pair("default/k", "")));
}

TEST(qelINIFileSetValue, SetsTheSectionsOwnEntryWithoutAKey) {
  const INITable table;
  qelINIFile_SetValue(table, "Net", nullptr, "own");
  EXPECT_EQ(table.At("net"), "own");
  qelINIFile_SetValue(table, "net", "k", "v");
  EXPECT_EQ(table.At("net"), "");
}

TEST(qelINIFileSetValue, BoundsNamesOfAnyLength) {
  const std::string section = Repeat(1000, 'S');
  const std::string key = Repeat(1000, 'K');
  const INITable table;
  EXPECT_EQ(qelINIFile_SetValue(table, section.c_str(), key.c_str(), "v"), 1);
  const std::string cut = Repeat(127, 's');
  EXPECT_THAT(table.Entries(), ElementsAre(Pair(cut, ""), Pair(cut + "/" + Repeat(127, 'k'), "v")));
  EXPECT_STREQ(qelINIFile_GetValue(table, section.c_str(), key.c_str(), "", nullptr), "v");
  EXPECT_EQ(qelINIFile_GetKeyCount(table, section.c_str()), 1u);
  EXPECT_EQ(qelINIFile_DeleteKey(table, section.c_str(), key.c_str()), 1);
  EXPECT_EQ(qelINIFile_GetKeyCount(table, section.c_str()), 0u);
  qelINIFile_SetValue(table, "a", key.c_str(), "v"); // a short section leaves more to the key
  EXPECT_EQ(table.At("a/" + Repeat(253, 'k')), "v");
  EXPECT_EQ(qelINIFile_DeleteSection(table, cut.c_str()), 1);
  EXPECT_EQ(table.At(cut), "(none)");
}

TEST(qelINIFileDeleteKey, RemovesInAnyCase) {
  const INITable table("[Net]\na=1\nb=2\n");
  EXPECT_EQ(qelINIFile_DeleteKey(table, "NET", "A"), 1);
  EXPECT_EQ(qelINIFile_DeleteKey(table, "NET", "missing"), 1);
  EXPECT_EQ(qelINIFile_DeleteKey(nullptr, "a", "b"), 0);
  EXPECT_THAT(table.Entries(),
              ElementsAre(Pair("default", ""), Pair("net", ""), Pair("net/b", "2")));
}

TEST(qelINIFileDeleteKey, LeavesTheKeysOfASectionWithoutItsEntry) {
  const INITable table("[Net]\na=1\n");
  EXPECT_EQ(qelINIFile_DeleteKey(table, "NET", nullptr), 1);
  EXPECT_THAT(table.Entries(), ElementsAre(Pair("default", ""), Pair("net/a", "1")));
  EXPECT_EQ(Saved(table), "");
  int found = 0;
  EXPECT_STREQ(qelINIFile_GetValue(table, "net", "a", "", &found), "1");
  EXPECT_EQ(Saved(table), "[net]\r\na=1\r\n");
}

TEST(qelINIFileDeleteSection, RemovesKeysAndEntry) {
  const INITable table("x=1\n[net]\na=1\n[network]\nb=2\n[Net]\nc=3\n");
  EXPECT_EQ(qelINIFile_DeleteSection(table, "net"), 1);
  EXPECT_EQ(qelINIFile_DeleteSection(nullptr, "net"), 0);
  EXPECT_THAT(table.Entries(), ElementsAre(Pair("default", ""), Pair("default/x", "1"),
                                           Pair("network", ""), Pair("network/b", "2")));
  EXPECT_EQ(qelINIFile_DeleteSection(table, nullptr), 1);
  EXPECT_THAT(table.Entries(), ElementsAre(Pair("network", ""), Pair("network/b", "2")));
  const qelINIFile* plain = table;
  for (size_t i = 2; i != 6; ++i) {
    EXPECT_STREQ(plain->entries[i].key, "");
    EXPECT_EQ(plain->entries[i].hash, 0u);
  }
}

TEST(qelINIFileDeleteSection, LeavesTheEntryOfASectionThatIsSpelledWithUpperCase) {
  const INITable table("[Net]\na=1\n");
  EXPECT_EQ(qelINIFile_DeleteSection(table, "Net"), 1);
  EXPECT_THAT(table.Entries(), ElementsAre(Pair("default", ""), Pair("net", "")));
  EXPECT_EQ(qelINIFile_DeleteSection(table, "net"), 1);
  EXPECT_THAT(table.Entries(), ElementsAre(Pair("default", "")));
}

TEST(qelINIFileDeleteSection, TakesTheTextOfAKeyThatGoes) {
  const INITable table("[a]\na=1\n");
  EXPECT_EQ(qelINIFile_DeleteSection(table, qelINIFile_GetKeyName(table, "a", 0)), 1);
  EXPECT_THAT(table.Entries(), ElementsAre(Pair("default", "")));
}

// Typed values -------------------------------------------------------------------------

TEST(qelINIFileGetBool, ReadsNumbersAndFirstLetters) {
  const struct {
    const char* text;
    int value;
  } cases[] = {
      {"0", 0},    {"00", 0},    {"1", 1},     {"-7", 1},   {"+0", 0},
      {"True", 1}, {"t", 1},     {"yes", 1},   {"Y", 1},    {"no", 0},
      {"N", 0},    {"FALSE", 0}, {"fnord", 0}, {"nope", 0}, {"tomato", 1},
  };
  for (const auto& c : cases) {
    for (const int other : {0, 1}) {
      LogCapture log;
      const INITable table(std::string("k=") + c.text);
      int found = -1;
      EXPECT_EQ(qelINIFile_GetBool(table, nullptr, "k", other, &found), c.value) << c.text;
      EXPECT_EQ(found, 1);
      EXPECT_EQ(log.All(), "");
    }
  }
}

TEST(qelINIFileGetBool, LogsWhatIsNoBooleanAndGivesTheDefault) {
  for (const char* text : {"maybe", "", "12x", "1.0", "99999999999", "-99999999999", "on"}) {
    LogCapture log;
    const INITable table(std::string("[s]\nk=") + text);
    int found = -1;
    EXPECT_EQ(qelINIFile_GetBool(table, "s", "k", 5, &found), 5) << text;
    EXPECT_EQ(found, 1);
    EXPECT_EQ(log.All(), std::string("qelINIFile: invalid value '") + text +
                             "' for a boolean for entry 's/k' (returning 5) \n");
    ASSERT_EQ(log.Lines().size(), 1u);
    EXPECT_EQ(log.Lines()[0].level, 1u);
    EXPECT_EQ(log.Lines()[0].module, 23u);
  }
}

TEST(qelINIFileGetBool, NamesTheDefaultSectionInItsLine) {
  LogCapture log;
  const INITable table;
  int found = -1;
  EXPECT_EQ(qelINIFile_GetBool(table, nullptr, nullptr, 1, &found), 1); // the section's own value
  EXPECT_EQ(found, 1);
  EXPECT_EQ(log.All(),
            "qelINIFile: invalid value '' for a boolean for entry 'default/' (returning 1) \n");
}

TEST(qelINIFileGetBool, GivesTheDefaultOfAMissingKeyQuietly) {
  LogCapture log;
  const INITable table;
  int found = -1;
  EXPECT_EQ(qelINIFile_GetBool(table, "s", "k", 7, &found), 7);
  EXPECT_EQ(found, 0);
  EXPECT_EQ(log.All(), "");
}

TEST(qelINIFileGetInt32, TakesWholeNumbersOfTheTypeAlone) {
  const struct {
    const char* text;
    qelLong number;
    qelULong unsignedNumber;
  } cases[] = {
      {"0", 0, 0},
      {"12", 12, 12},
      {"-12", -12, 77},
      {"2147483647", 2147483647, 2147483647},
      {"2147483648", 66, 2147483648u},
      {"4294967295", 66, 4294967295u},
      {"4294967296", 66, 77},
      {"-2147483648", INT32_MIN, 77},
      {"12x", 66, 77},
      {"0x10", 66, 77},
      {"\"1 2\"", 66, 77},
      {"", 66, 77},
  };
  for (const auto& c : cases) {
    LogCapture log;
    const INITable table(std::string("k=") + c.text);
    int found = -1;
    EXPECT_EQ(qelINIFile_GetInt32(table, nullptr, "k", 66, &found), c.number) << c.text;
    EXPECT_EQ(found, 1);
    EXPECT_EQ(qelINIFile_GetUInt32(table, nullptr, "k", 77, &found), c.unsignedNumber) << c.text;
    EXPECT_EQ(found, 1);
    EXPECT_EQ(log.All(), "");
  }
  const INITable table;
  int found = -1;
  EXPECT_EQ(qelINIFile_GetInt32(table, "s", "k", 66, &found), 66);
  EXPECT_EQ(found, 0);
  EXPECT_EQ(qelINIFile_GetUInt32(table, "s", "k", 77, &found), 77u);
  EXPECT_EQ(found, 0);
}

TEST(qelINIFileGetDouble, MakesANumberOfAnyText) {
  const INITable table("a=1.5\nb=nonsense\nc=-2e3x\nd=");
  int found = -1;
  EXPECT_EQ(qelINIFile_GetDouble(table, nullptr, "a", 9, &found), 1.5);
  EXPECT_EQ(found, 1);
  EXPECT_EQ(qelINIFile_GetDouble(table, nullptr, "b", 9, &found), 0.0);
  EXPECT_EQ(found, 1);
  EXPECT_EQ(qelINIFile_GetDouble(table, nullptr, "c", 9, &found), -2000.0);
  EXPECT_EQ(qelINIFile_GetDouble(table, nullptr, "d", 9, &found), 0.0);
  EXPECT_EQ(qelINIFile_GetDouble(table, nullptr, "e", 9, &found), 9.0);
  EXPECT_EQ(found, 0);
}

TEST(qelINIFileSetNumbers, StoreTheirText) {
  const INITable table;
  EXPECT_EQ(qelINIFile_SetBool(table, "s", "bool", 5), 1);
  EXPECT_EQ(qelINIFile_SetBool(table, "s", "no", 0), 1);
  EXPECT_EQ(qelINIFile_SetInt32(table, "s", "min", INT32_MIN), 1);
  EXPECT_EQ(qelINIFile_SetUInt32(table, "s", "max", UINT32_MAX), 1);
  EXPECT_EQ(qelINIFile_SetDouble(table, "s", "double", 0.1), 1);
  EXPECT_EQ(qelINIFile_SetDouble(table, "s", "big", 1234567.0), 1);
  EXPECT_THAT(table.Entries(),
              ElementsAre(Pair("s", ""), Pair("s/bool", "1"), Pair("s/no", "0"),
                          Pair("s/min", "-2147483648"), Pair("s/max", "4294967295"),
                          Pair("s/double", "0.1"), Pair("s/big", "1.23457e+06")));
  EXPECT_EQ(qelINIFile_SetBool(nullptr, "s", "k", 1), 0);
  EXPECT_EQ(qelINIFile_SetInt32(nullptr, "s", "k", 1), 0);
  EXPECT_EQ(qelINIFile_SetUInt32(nullptr, "s", "k", 1), 0);
  EXPECT_EQ(qelINIFile_SetDouble(nullptr, "s", "k", 1), 0);
}

TEST(qelINIFileGetValueWithSubstitution, ReplacesNamesInValuesAndDefaults) {
  const INITable table("a=\"<%name%> %% 100%\"");
  const auto upper = [](char* name, void*) -> char* {
    char* text = static_cast<char*>(malloc(100));
    snprintf(text, 100, "%c%s", name[0] - 32, name + 1);
    return text;
  };
  int found = -1;
  char* text = qelINIFile_GetValueWithSubstitution(table, nullptr, "a", "no", &found, upper);
  EXPECT_STREQ(text, "<Name> % 100%");
  EXPECT_EQ(found, 1);
  free(text);
  text = qelINIFile_GetValueWithSubstitution(table, nullptr, "b", "%x%%", &found, upper);
  EXPECT_STREQ(text, "X%");
  EXPECT_EQ(found, 0);
  free(text);
  text = qelINIFile_GetValueWithSubstitution(table, nullptr, "b", "a%unknown%b", &found, nullptr);
  EXPECT_STREQ(text, "ab");
  free(text);
  EXPECT_EQ(qelINIFile_GetValueWithSubstitution(table, "", "b", nullptr, &found, nullptr), nullptr);
}

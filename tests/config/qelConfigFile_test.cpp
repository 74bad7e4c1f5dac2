// Two layers of INI tables, and what a load makes of the three files of a save.

#include <qel/config/qelConfigFile.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/config/qelINIFile.h>
#include <qel/multiplatform/qelFile.h>
#include <tests/config/INITable.h>
#include <tests/support/LogCapture.h>
#include <tests/support/TempDir.h>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

namespace {

// A read-only file "ro.ini" and a read-write file "rw.ini" in a directory of its own.
class Layers {
public:
  // Writes the files; "(none)" writes none.
  explicit Layers(const std::string& readOnly, const std::string& readWrite = "(none)") {
    if (readOnly != "(none)")
      m_dir.Write("ro.ini", readOnly);
    if (readWrite != "(none)")
      m_dir.Write("rw.ini", readWrite);
    Open();
  }
  ~Layers() { qelConfigFile_Delete(m_config); }
  Layers(const Layers&) = delete;
  Layers& operator=(const Layers&) = delete;

  operator qelConfigFile*() const { return m_config; }
  const TempDir& Dir() const { return m_dir; }
  std::string ReadOnlyPath() const { return m_dir.Path("ro.ini"); }
  std::string Path() const { return m_dir.Path("rw.ini"); }
  void Open() {
    qelConfigFile_Delete(m_config);
    m_config = qelConfigFile_New(ReadOnlyPath().c_str(), Path().c_str());
  }
  std::string Get(const char* key) const {
    return qelConfigFile_GetValue(m_config, "s", key, "(default)");
  }

private:
  TempDir m_dir;
  qelConfigFile* m_config = nullptr;
};

// The lines of module 26 alone: what the file layer says beside them is its own affair.
std::string ConfigLines(const LogCapture& log) {
  std::string text;
  for (const CapturedLine& line : log.Lines()) {
    if (line.module != 26)
      continue;
    text += line.text;
    EXPECT_EQ(line.level, 1u);
    EXPECT_EQ(line.file, "..\\..\\qelConfigFile");
  }
  return text;
}

} // namespace

// Opening ------------------------------------------------------------------------------

TEST(qelConfigFileNew, LoadsBothFiles) {
  const Layers layers("[s]\na=1\n", "[s]\nb=2\n");
  qelConfigFile* config = layers;
  EXPECT_EQ(config->readOnlyPath, layers.ReadOnlyPath());
  EXPECT_EQ(config->readWritePath, layers.Path());
  EXPECT_THAT(EntriesOf(config->readOnlyTable),
              ElementsAre(Pair("default", ""), Pair("s", ""), Pair("s/a", "1")));
  EXPECT_THAT(EntriesOf(config->readWriteTable),
              ElementsAre(Pair("default", ""), Pair("s", ""), Pair("s/b", "2")));
}

TEST(qelConfigFileNew, GoesOnWithoutFiles) {
  LogCapture log;
  const Layers layers("(none)");
  EXPECT_EQ(ConfigLines(log),
            "Cannot load read-only config file '" + layers.ReadOnlyPath() + "'\n");
  EXPECT_EQ(layers.Get("a"), "(default)");
  EXPECT_EQ(qelConfigFile_SetValue(layers, "s", "a", "1"), 1);
  EXPECT_EQ(qelConfigFile_Save(layers), 1);
  EXPECT_EQ(layers.Dir().Read("rw.ini"), "[s]\r\na=1\r\n");
  EXPECT_EQ(layers.Dir().Count(), 1u);
}

TEST(qelConfigFileNew, TakesNullForEitherFile) {
  LogCapture log;
  qelConfigFile* config = qelConfigFile_New(nullptr, nullptr);
  EXPECT_EQ(config->readOnlyPath, nullptr);
  EXPECT_EQ(config->readWritePath, nullptr);
  EXPECT_NE(config->readOnlyTable, nullptr);
  EXPECT_EQ(config->readWriteTable, nullptr);
  EXPECT_EQ(qelConfigFile_SetValue(config, "s", "a", "1"), 0);
  EXPECT_EQ(qelConfigFile_SetInt32(config, "s", "a", 1), 0);
  EXPECT_EQ(qelConfigFile_SetUInt32(config, "s", "a", 1), 0);
  EXPECT_EQ(qelConfigFile_DeleteKey(config, "s", "a"), 0);
  EXPECT_EQ(qelConfigFile_DeleteSection(config, "s"), 0);
  EXPECT_EQ(qelConfigFile_GetSectionCount(config, 0), 0u);
  EXPECT_EQ(qelConfigFile_GetKeyCount(config, "s", 0), 0u);
  EXPECT_STREQ(qelConfigFile_GetSectionName(config, 0, 0), "");
  EXPECT_STREQ(qelConfigFile_GetKeyName(config, "s", 0, 0), "");
  EXPECT_STREQ(qelConfigFile_GetValue(config, "s", "a", "d"), "d");
  qelConfigFile_Reset(config);
  EXPECT_EQ(config->readWriteTable, nullptr);
  EXPECT_EQ(qelConfigFile_Save(config), 0);
  EXPECT_EQ(log.All(), "");
  qelConfigFile_Delete(config);
  qelConfigFile_Delete(nullptr);
}

TEST(qelConfigFileNew, KeepsATableForAPathThatCannotBeNormalised) {
  LogCapture log;
  qelConfigFile* config = qelConfigFile_New("<NoFolder>/a.ini", "<NoFolder>/b.ini");
  EXPECT_EQ(ConfigLines(log), "Cannot resolve read-only config file path for '<NoFolder>/a.ini'\n");
  EXPECT_EQ(config->readOnlyPath, nullptr);
  EXPECT_EQ(config->readWritePath, nullptr);
  EXPECT_NE(config->readWriteTable, nullptr);
  EXPECT_EQ(qelConfigFile_SetValue(config, "s", "a", "1"), 1);
  EXPECT_STREQ(qelConfigFile_GetValue(config, "s", "a", "d"), "1");
  EXPECT_EQ(qelConfigFile_Save(config), 0);
  qelConfigFile_Delete(config);
}

TEST(qelConfigFileNew, AnchorsARelativePath) {
  LogCapture log;
  qelConfigFile* config = qelConfigFile_New("no/such.ini", nullptr);
  ASSERT_NE(config->readOnlyPath, nullptr);
  EXPECT_GT(std::string(config->readOnlyPath).size(), std::string("no/such.ini").size());
  qelConfigFile_Delete(config);
}

// Recovery -----------------------------------------------------------------------------

TEST(qelConfigFileRecovery, TakesTheWholeFileThatASaveHasLeft) {
  const struct {
    const char* valid;      // content of P, null for none
    const char* unfinished; // of P.tmp
    const char* complete;   // of P.ok
    const char* loaded;
  } cases[] = {
      {nullptr, nullptr, nullptr, "(default)"},
      {"old", nullptr, nullptr, "old"},
      {nullptr, "tmp", nullptr, "(default)"},
      {"old", "tmp", nullptr, "old"},
      {nullptr, nullptr, "ok", "ok"},
      {"old", nullptr, "ok", "ok"},
      {nullptr, "tmp", "ok", "ok"},
      {"old", "tmp", "ok", "ok"},
  };
  for (const auto& c : cases) {
    LogCapture log;
    Layers layers("");
    const auto write = [&](const char* name, const char* value) {
      if (value != nullptr)
        layers.Dir().Write(name, std::string("[s]\r\na=") + value + "\r\n");
    };
    write("rw.ini", c.valid);
    write("rw.ini.tmp", c.unfinished);
    write("rw.ini.ok", c.complete);
    layers.Open();
    EXPECT_EQ(layers.Get("a"), c.loaded);
    EXPECT_FALSE(layers.Dir().Has("rw.ini.tmp"));
    EXPECT_FALSE(layers.Dir().Has("rw.ini.ok"));
    EXPECT_EQ(layers.Dir().Has("rw.ini"), c.valid != nullptr || c.complete != nullptr);
    EXPECT_EQ(ConfigLines(log), "");
  }
}

TEST(qelConfigFileRecovery, LeavesADirectoryOfAThirdNameAlone) {
  LogCapture log;
  Layers layers("", "[s]\na=old\n");
  layers.Dir().MakeDir("rw.ini.tmp/inner");
  layers.Open(); // a directory is no file that exists
  EXPECT_EQ(layers.Get("a"), "old");
  EXPECT_EQ(ConfigLines(log), "");
}

// Saving -------------------------------------------------------------------------------

TEST(qelConfigFileSave, ReplacesTheFileAndLeavesNoOther) {
  Layers layers("", "[s]\na=old\n");
  qelConfigFile_SetValue(layers, "s", "a", "new one");
  EXPECT_EQ(qelConfigFile_Save(layers), 1);
  EXPECT_EQ(layers.Dir().Read("rw.ini"), "[s]\r\na=\"new one\"\r\n");
  EXPECT_EQ(layers.Dir().Count(), 2u);
  layers.Open();
  EXPECT_EQ(layers.Get("a"), "new one");
}

TEST(qelConfigFileSave, WritesTheHeadersOfSectionsThatWereRead) {
  const Layers layers("[ro]\na=1\n", "[s]\na=old\n");
  qelConfigFile_GetInt32(layers, "Ro", "a", 0);
  qelConfigFile_GetBool(layers, "gone", "a", 0);
  EXPECT_EQ(qelConfigFile_Save(layers), 1);
  EXPECT_EQ(layers.Dir().Read("rw.ini"), "[s]\r\na=old\r\n\r\n[ro]\r\n\r\n[gone]\r\n");
  EXPECT_EQ(layers.Dir().Read("ro.ini"), "[ro]\na=1\n");
}

TEST(qelConfigFileSave, LogsWhenItCannotWrite) {
  LogCapture log;
  const Layers layers("", "[s]\na=old\n");
  layers.Dir().MakeDir("rw.ini.tmp/inner");
  EXPECT_EQ(qelConfigFile_Save(layers), 0);
  EXPECT_EQ(ConfigLines(log), "Cannot save file '" + layers.Path() + ".tmp'\n");
  EXPECT_EQ(layers.Dir().Read("rw.ini"), "[s]\na=old\n");
}

TEST(qelConfigFileSave, LogsWhatIsInTheWayOfTheCompleteFile) {
  LogCapture log;
  const Layers layers("", "[s]\na=old\n");
  layers.Dir().MakeDir("rw.ini.ok/inner"); // exists for no test, and can't be removed
  EXPECT_EQ(qelConfigFile_Save(layers), 0);
  EXPECT_EQ(ConfigLines(log),
            "Cannot save file: cannot rename temporary file '" + layers.Path() + ".tmp'\n");
  EXPECT_EQ(layers.Dir().Read("rw.ini"), "[s]\na=old\n");
}

TEST(qelConfigFileSave, LogsWhenThePlaceIsTaken) {
  LogCapture log;
  const Layers layers("");
  layers.Dir().MakeDir("rw.ini/inner");
  EXPECT_EQ(qelConfigFile_SetValue(layers, "s", "a", "new"), 1);
  EXPECT_EQ(qelConfigFile_Save(layers), 0);
  EXPECT_EQ(ConfigLines(log), "Cannot save file: cannot commit file '" + layers.Path() + ".ok'\n");
  EXPECT_EQ(layers.Dir().Read("rw.ini.ok"), "[s]\r\na=new\r\n");
}

TEST(qelConfigFileSave, MayBeRepeatedAfterAFailure) {
  LogCapture log;
  Layers layers("", "[s]\na=old\n");
  const std::string folder = layers.Dir().MakeDir("rw.ini.tmp");
  qelConfigFile_SetValue(layers, "s", "a", "new");
  EXPECT_EQ(qelConfigFile_Save(layers), 0);
  std::filesystem::remove(TempDir::Native(folder));
  EXPECT_EQ(qelConfigFile_Save(layers), 1);
  layers.Open();
  EXPECT_EQ(layers.Get("a"), "new");
}

TEST(qelConfigFileSave, TakesTheOnlyWholeFileToItsPlaceFirst) {
  LogCapture log;
  Layers layers("");
  layers.Dir().Write("rw.ini.ok", "[s]\na=complete\n"); // as a failed commit has left it
  qelConfigFile_SetValue(layers, "s", "a", "new");
  EXPECT_EQ(qelConfigFile_Save(layers), 1);
  EXPECT_EQ(layers.Dir().Read("rw.ini"), "[s]\r\na=new\r\n");
  EXPECT_EQ(layers.Dir().Count(), 2u);
  EXPECT_EQ(ConfigLines(log), "");
}

TEST(qelConfigFileDelete, LosesWhatWasNotSaved) {
  Layers layers("", "[s]\na=old\n");
  qelConfigFile_SetValue(layers, "s", "a", "new");
  layers.Open();
  EXPECT_EQ(layers.Get("a"), "old");
}

TEST(qelConfigFileReset, EmptiesTheReadWriteTableAlone) {
  const Layers layers("[s]\na=below\n", "[s]\na=above\n");
  EXPECT_EQ(layers.Get("a"), "above");
  qelConfigFile_Reset(layers);
  EXPECT_EQ(layers.Dir().Read("rw.ini"), "[s]\na=above\n");
  EXPECT_EQ(qelConfigFile_GetSectionCount(layers, 0), 0u);
  EXPECT_EQ(qelConfigFile_Save(layers), 1);
  EXPECT_EQ(layers.Dir().Read("rw.ini"), "");
  EXPECT_EQ(layers.Get("a"), "below"); // and its section is there again
  EXPECT_EQ(qelConfigFile_Save(layers), 1);
  EXPECT_EQ(layers.Dir().Read("rw.ini"), "[s]\r\n");
}

// Enumeration and deletion -------------------------------------------------------------

TEST(qelConfigFileGetSectionName, ChoosesTheTable) {
  const Layers layers("[A]\nx=1\n", "[B]\ny=1\nz=2\n[c]\n");
  EXPECT_EQ(qelConfigFile_GetSectionCount(layers, 1), 2u);
  EXPECT_EQ(qelConfigFile_GetSectionCount(layers, 0), 3u);
  EXPECT_STREQ(qelConfigFile_GetSectionName(layers, 1, 1), "a");
  EXPECT_STREQ(qelConfigFile_GetSectionName(layers, 1, 0), "b");
  EXPECT_EQ(qelConfigFile_GetKeyCount(layers, "A", 1), 1u);
  EXPECT_EQ(qelConfigFile_GetKeyCount(layers, "A", 0), 0u);
  EXPECT_EQ(qelConfigFile_GetKeyCount(layers, "B", 0), 2u);
  EXPECT_STREQ(qelConfigFile_GetKeyName(layers, "a", 0, 1), "x");
  EXPECT_STREQ(qelConfigFile_GetKeyName(layers, "b", 1, 0), "z");
}

TEST(qelConfigFileDeleteKey, WorksOnTheReadWriteTableAlone) {
  const Layers layers("[s]\na=below\n", "[s]\na=above\n[t]\nb=1\n");
  EXPECT_EQ(qelConfigFile_DeleteKey(layers, "s", "A"), 1);
  EXPECT_EQ(layers.Get("a"), "below");
  EXPECT_EQ(qelConfigFile_DeleteSection(layers, "t"), 1);
  EXPECT_EQ(qelConfigFile_GetSectionCount(layers, 0), 2u);
}

// Reading ------------------------------------------------------------------------------

TEST(qelConfigFileGetValue, FindsTheReadWriteValueFirst) {
  const Layers layers("[s]\na=below\nb=below\nc=below\n", "[s]\na=above\nb=\n");
  EXPECT_EQ(layers.Get("a"), "above");
  EXPECT_EQ(layers.Get("b"), "");
  EXPECT_EQ(layers.Get("c"), "below");
  EXPECT_EQ(layers.Get("d"), "(default)");
  EXPECT_EQ(qelConfigFile_GetValue(layers, "s", "d", nullptr), nullptr);
}

TEST(qelConfigFileGetValue, CreatesTheSectionInEachTableThatItAsks) {
  const Layers layers("[s]\na=1\n", "[s]\nb=2\n");
  EXPECT_EQ(layers.Get("b"), "2");
  qelConfigFile_GetValue(layers, "new", "a", "");
  EXPECT_EQ(qelConfigFile_GetSectionCount(layers, 0), 3u);
  EXPECT_EQ(qelConfigFile_GetSectionCount(layers, 1), 3u);
}

TEST(qelConfigFileGetBool, ReadsAnUnreadableBooleanAsFalse) {
  LogCapture log;
  const Layers layers("[s]\na=true\n", "[s]\na=maybe\n");
  EXPECT_EQ(qelConfigFile_GetBool(layers, "s", "a", 1), 0);
  EXPECT_THAT(log.All(), HasSubstr("qelINIFile: invalid value 'maybe' for a boolean for entry "
                                   "'s/a' (returning 0) \n"));
}

TEST(qelConfigFileGetBool, GivesTheDefaultForAMissingKeyAlone) {
  const Layers layers("[s]\nyes=1\nno=0\n", "[s]\n");
  for (const int other : {0, 1}) {
    EXPECT_EQ(qelConfigFile_GetBool(layers, "s", "yes", other), 1);
    EXPECT_EQ(qelConfigFile_GetBool(layers, "s", "no", other), 0);
    EXPECT_EQ(qelConfigFile_GetBool(layers, "s", "missing", other), other);
  }
}

TEST(qelConfigFileGetInt32, GivesTheDefaultForAnUnreadableNumberAtOnce) {
  const Layers layers("[s]\na=5\nb=6\n", "[s]\na=12x\n");
  EXPECT_EQ(qelConfigFile_GetInt32(layers, "s", "a", -1), -1);
  EXPECT_EQ(qelConfigFile_GetUInt32(layers, "s", "a", 77), 77u);
  EXPECT_EQ(qelConfigFile_GetInt32(layers, "s", "b", -1), 6);
  EXPECT_EQ(qelConfigFile_GetUInt32(layers, "s", "b", 77), 6u);
  EXPECT_EQ(qelConfigFile_GetInt32(layers, "s", "c", -1), -1);
  EXPECT_EQ(qelConfigFile_GetUInt32(layers, "s", "c", 77), 77u);
}

TEST(qelConfigFileGetUInt8, ChecksTheRange) {
  const struct {
    const char* text;
    uint8_t byte;
    uint16_t word;
  } cases[] = {
      {"0", 0, 0},   {"255", 255, 255},     {"256", 7, 256},      {"300", 7, 300},
      {"-1", 7, 8},  {"65535", 7, 65535},   {"65536", 7, 8},      {"2147483647", 7, 8},
      {"12x", 7, 8}, {"-2147483648", 7, 8}, {"4294967295", 7, 8},
  };
  for (const auto& c : cases) {
    const Layers layers("[s]\nk=1\n", std::string("[s]\nk=") + c.text);
    EXPECT_EQ(qelConfigFile_GetUInt8(layers, "s", "k", 7), c.byte) << c.text;
    EXPECT_EQ(qelConfigFile_GetUInt16(layers, "s", "k", 8), c.word) << c.text;
    EXPECT_EQ(qelConfigFile_GetUInt8(layers, "s", "missing", 7), 7);
    EXPECT_EQ(qelConfigFile_GetUInt16(layers, "s", "missing", 8), 8);
  }
}

TEST(qelConfigFileGetValueWithSubstitution, SubstitutesWhatIsFound) {
  const Layers layers("[s]\na=<%x%>\nb=(%x%)\n", "[s]\na=[%x%]\n");
  const auto answer = [](char* name, void* userData) -> char* {
    EXPECT_EQ(userData, nullptr);
    const std::string text = std::string(name) + "!";
    char* copy = static_cast<char*>(malloc(text.size() + 1));
    return strcpy(copy, text.c_str());
  };
  const auto get = [&](const char* key, const char* other) {
    char* text = qelConfigFile_GetValueWithSubstitution(layers, "s", key, other, answer);
    const std::string result = text != nullptr ? text : "(null)";
    free(text);
    return result;
  };
  EXPECT_EQ(get("a", "no"), "[x!]");
  EXPECT_EQ(get("b", "no"), "(x!)");
  EXPECT_EQ(get("c", "%d%"), "d!");
  EXPECT_EQ(get("c", nullptr), "(null)");
}

// Writing ------------------------------------------------------------------------------

TEST(qelConfigFileSetValue, ChangesTheReadWriteTableAlone) {
  const Layers layers("[s]\na=1\n", "");
  EXPECT_EQ(qelConfigFile_SetInt32(layers, "s", "a", -5), 1);
  EXPECT_EQ(qelConfigFile_SetUInt32(layers, "s", "b", 4000000000u), 1);
  EXPECT_EQ(qelConfigFile_SetValue(layers, "s", "c", "Text"), 1);
  EXPECT_EQ(layers.Get("a"), "-5");
  EXPECT_EQ(layers.Get("b"), "4000000000");
  EXPECT_EQ(layers.Get("c"), "Text");
  qelConfigFile* config = layers;
  EXPECT_THAT(EntriesOf(config->readOnlyTable),
              ElementsAre(Pair("default", ""), Pair("s", ""), Pair("s/a", "1")));
}

#include <qel/config/Config.h>

#include <cstdlib>
#include <fstream>
#include <limits>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include <qel/config/qelConfigFile.h>
#include <qel/core/Convert.h>
#include <qel/core/qelMem.h>
#include <tests/support/LogCapture.h>
#include <tests/support/TempDir.h>

namespace {

// A folder with the two files of a configuration that is called "a.ini".
class ConfigTest : public testing::Test {
protected:
  void WriteReadOnly(const std::string& text) { Write("a.ini", text); }
  void WriteReadWrite(const std::string& text) { Write("_a.ini", text); }

  std::string Read(const std::string& name) const {
    std::ifstream file(TempDir::Native(m_dir.Path() + "/" + name), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }

  qelCString Dir() const { return m_dir.Path().c_str(); }
  qelConfig Both() { return qelConfig(Dir(), Dir(), "a.ini"); }
  qelConfig ReadOnly() { return qelConfig(Dir(), "", "a.ini"); }

private:
  void Write(const std::string& name, const std::string& text) {
    std::ofstream file(TempDir::Native(m_dir.Path() + "/" + name), std::ios::binary);
    file << text;
  }

  LogCapture m_log; // a missing read-only file is a line
  TempDir m_dir;
};

std::string Text(const qelCString& text) {
  return std::string(text.c_str(), text.length());
}

// What answers the substitutions of the tests below.
char* AnswerColour(char* name, void* userData) {
  EXPECT_EQ(userData, nullptr);
  return std::string(name) == "colour" ? qelMem_StrDup("red") : nullptr;
}

} // namespace

struct PathRow {
  const char* label;
  const char* dir;
  const char* fileName;
  const char* prefix;
  const char* path;
};

TEST(ConfigGetValidPath, JoinsDirectoryPrefixAndFileName) {
  static const PathRow rows[] = {
      {"no directory", "", "a.ini", "", "./a.ini"},
      {"no directory, with a prefix", "", "a.ini", "_", "./_a.ini"},
      {"backslashes, a name with a folder", "C:\\cfg", "sub\\a.ini", "_", "C:/cfg/_a.ini"},
      {"a slash at the end stays one", "/etc/", "a.ini", "", "/etc/a.ini"},
      {"a backslash at the end becomes it", "C:\\cfg\\", "a.ini", "", "C:/cfg/a.ini"},
      {"the name can't lead out", "/etc", "../../root/a.ini", "", "/etc/a.ini"},
      {"a name that is a folder is none", "/etc", "sub/", "_", "/etc/_"},
      {"no name", "/etc", "", "", "/etc/"},
      {"neither", "", "", "", "./"},
      {"special folders stay", "<MyAppData>", "a.ini", "_", "<MyAppData>/_a.ini"},
      {"the prefix stays as it is", "d", "a", "\\x/", "d/\\x/a"},
  };
  for (const PathRow& row : rows)
    EXPECT_STREQ(qelConfig::GetValidPath(row.dir, row.fileName, row.prefix).c_str(), row.path)
        << row.label;
}

TEST_F(ConfigTest, NamesTheTwoFilesApartInOneDirectory) {
  qelConfig config = Both();
  const std::string dir = Text(Dir());
  EXPECT_EQ(config.GetConfigFile()->readOnlyPath, dir + "/a.ini");
  EXPECT_EQ(config.GetConfigFile()->readWritePath, dir + "/_a.ini");
}

TEST_F(ConfigTest, HasNoReadWriteFileWithoutItsDirectory) {
  WriteReadOnly("k=1\r\n");
  qelConfig config = ReadOnly();
  EXPECT_EQ(config.GetConfigFile()->readWritePath, nullptr);
  EXPECT_EQ(config.GetConfigFile()->readWriteTable, nullptr);
  EXPECT_FALSE(config.SetInt32("default", "k", 2));
  EXPECT_FALSE(config.SetUInt32("default", "k", 2));
  EXPECT_FALSE(config.SetString("default", "k", qelCString("2")));
  EXPECT_FALSE(config.SetString("default", "k", qelString(QEL_W("2"))));
  EXPECT_FALSE(config.DeleteKey("default", "k"));
  EXPECT_FALSE(config.DeleteSection("default"));
  EXPECT_FALSE(config.Save());
  EXPECT_EQ(config.GetInt32("default", "k", 0), 1);
}

TEST_F(ConfigTest, GivesDefaultsWithoutAnyFile) {
  qelConfig config = Both();
  EXPECT_TRUE(config.OptionIsSet("s", "k", true));
  EXPECT_FALSE(config.OptionIsSet("s", "k", false));
  EXPECT_EQ(config.GetInt8("s", "k", -3), -3);
  EXPECT_EQ(config.GetUInt8("s", "k", 200), 200);
  EXPECT_EQ(config.GetInt16("s", "k", -300), -300);
  EXPECT_EQ(config.GetUInt16("s", "k", 60000), 60000);
  EXPECT_EQ(config.GetInt32("s", "k", -70000), -70000);
  EXPECT_EQ(config.GetUInt32("s", "k", 4000000000u), 4000000000u);
  EXPECT_STREQ(config.GetCString("s", "k", "d").c_str(), "d");
  EXPECT_EQ(config.GetString("s", "k", QEL_W("d\x00E9")), qelString(QEL_W("d\x00E9")));
}

TEST_F(ConfigTest, ReadsTheReadWriteFileFirst) {
  WriteReadOnly("a=1\r\nb=2\r\n");
  WriteReadWrite("a=3\r\n");
  qelConfig config = Both();
  EXPECT_EQ(config.GetInt32("default", "a", 0), 3);
  EXPECT_EQ(config.GetInt32("default", "b", 0), 2);
}

TEST_F(ConfigTest, SavesWhatWasSetAndReadsItBack) {
  {
    qelConfig config = Both();
    EXPECT_TRUE(config.SetInt32("S", "Int", -5));
    EXPECT_TRUE(config.SetUInt32("S", "UInt", 4000000000u));
    EXPECT_TRUE(config.SetString("S", "Text", qelCString("As It Stands")));
    EXPECT_TRUE(config.SetString("S", "Wide", qelString(QEL_W("\x00E9\x20AC"))));
    EXPECT_TRUE(config.Save());
  }
  EXPECT_EQ(Read("a.ini"), "");
  qelConfig config = Both();
  EXPECT_EQ(config.GetInt32("s", "int", 0), -5);
  EXPECT_EQ(config.GetUInt32("s", "uint", 0), 4000000000u);
  EXPECT_STREQ(config.GetCString("s", "text", "").c_str(), "As It Stands");
  EXPECT_STREQ(config.GetCString("s", "wide", "").c_str(), "\xC3\xA9\xE2\x82\xAC");
  EXPECT_EQ(config.GetString("s", "wide", QEL_W("")), qelString(QEL_W("\x00E9\x20AC")));
}

TEST_F(ConfigTest, LosesWhatWasNotSaved) {
  {
    qelConfig config = Both();
    EXPECT_TRUE(config.SetInt32("s", "k", 1));
  }
  EXPECT_EQ(Both().GetInt32("s", "k", 7), 7);
}

TEST_F(ConfigTest, ForgetsWhatWasSetOnReset) {
  WriteReadOnly("k=1\r\n");
  WriteReadWrite("k=2\r\n");
  qelConfig config = Both();
  config.Reset();
  EXPECT_EQ(config.GetInt32("default", "k", 0), 1);
  EXPECT_EQ(Read("_a.ini"), "k=2\r\n");
}

TEST_F(ConfigTest, DeletesFromTheReadWriteTableAlone) {
  WriteReadOnly("k=1\r\n[s]\r\nj=2\r\n");
  WriteReadWrite("k=3\r\n[s]\r\nj=4\r\n");
  qelConfig config = Both();
  EXPECT_TRUE(config.DeleteKey("default", "k"));
  EXPECT_EQ(config.GetInt32("default", "k", 0), 1);
  EXPECT_TRUE(config.DeleteSection("s"));
  EXPECT_EQ(config.GetInt32("s", "j", 0), 2);
}

TEST_F(ConfigTest, ListsTheSectionsAndKeysOfEitherTable) {
  WriteReadOnly("[one]\r\na=1\r\nb=2\r\n[two]\r\nc=3\r\n");
  WriteReadWrite("[three]\r\n\xC3\xA9=4\r\n");
  qelConfig config = Both();
  ASSERT_EQ(config.GetSectionCount(/*readOnly=*/true), 3u);
  EXPECT_STREQ(config.GetSectionName(0, true).c_str(), ""); // the keys ahead of any section
  EXPECT_STREQ(config.GetSectionName(1, true).c_str(), "one");
  EXPECT_STREQ(config.GetSectionName(2, true).c_str(), "two");
  EXPECT_STREQ(config.GetSectionName(3, true).c_str(), "");
  EXPECT_EQ(config.GetKeyCount("one", true), 2u);
  EXPECT_STREQ(config.GetKeyNameCString("one", 1, true).c_str(), "b");
  EXPECT_EQ(config.GetKeyName("one", 0, true), qelString(QEL_W("a")));
  ASSERT_EQ(config.GetSectionCount(false), 2u);
  EXPECT_STREQ(config.GetSectionName(1, false).c_str(), "three");
  EXPECT_EQ(config.GetKeyName("three", 0, false), qelString(QEL_W("\x00E9")));
  EXPECT_STREQ(config.GetKeyNameCString("three", 1, false).c_str(), "");
}

TEST_F(ConfigTest, TreatsABadBooleanAsFalse) {
  WriteReadOnly("good=yes\r\nbad=yes\r\n");
  WriteReadWrite("bad=maybe\r\n");
  qelConfig config = Both();
  EXPECT_TRUE(config.OptionIsSet("default", "good", false));
  EXPECT_FALSE(config.OptionIsSet("default", "bad", true));
}

struct NumberRow {
  const char* text;
  int int8, uint8, int16, uint16; // 99 where the default is given
  int64_t int32, uint32;
};

TEST_F(ConfigTest, GivesTheDefaultForNumbersThatTheTypeLacks) {
  static const NumberRow rows[] = {
      {"0", 0, 0, 0, 0, 0, 0},
      {"127", 127, 127, 127, 127, 127, 127},
      {"128", 99, 128, 128, 128, 128, 128},
      {"-128", -128, 99, -128, 99, -128, 99},
      {"-129", 99, 99, -129, 99, -129, 99},
      {"255", 99, 255, 255, 255, 255, 255},
      {"256", 99, 99, 256, 256, 256, 256},
      {"32767", 99, 99, 32767, 32767, 32767, 32767},
      {"32768", 99, 99, 99, 32768, 32768, 32768},
      {"-32768", 99, 99, -32768, 99, -32768, 99},
      {"-32769", 99, 99, 99, 99, -32769, 99},
      {"65535", 99, 99, 99, 65535, 65535, 65535},
      {"65536", 99, 99, 99, 99, 65536, 65536},
      {"2147483647", 99, 99, 99, 99, 2147483647, 2147483647},
      {"2147483648", 99, 99, 99, 99, 99, 2147483648},
      {"4294967295", 99, 99, 99, 99, 99, 4294967295},
      {"12x", 99, 99, 99, 99, 99, 99},
  };
  qelConfig config = Both();
  for (const NumberRow& row : rows) {
    config.SetString("s", "k", qelCString(row.text));
    EXPECT_EQ(config.GetInt8("s", "k", 99), row.int8) << row.text;
    EXPECT_EQ(config.GetUInt8("s", "k", 99), row.uint8) << row.text;
    EXPECT_EQ(config.GetInt16("s", "k", 99), row.int16) << row.text;
    EXPECT_EQ(config.GetUInt16("s", "k", 99), row.uint16) << row.text;
    EXPECT_EQ(config.GetInt32("s", "k", 99), row.int32) << row.text;
    EXPECT_EQ(config.GetUInt32("s", "k", 99), row.uint32) << row.text;
  }
}

TEST_F(ConfigTest, GivesTheEmptyWideStringForMalformedUTF8) {
  WriteReadOnly("k=\xFF\xFE\r\n");
  qelConfig config = Both();
  EXPECT_EQ(config.GetString("default", "k", QEL_W("d")), qelString());
  EXPECT_STREQ(config.GetCString("default", "k", "d").c_str(), "\xFF\xFE");
}

TEST_F(ConfigTest, SubstitutesInValuesAndDefaults) {
  WriteReadOnly("k=a %colour% rose, 100%\r\n");
  qelConfig config = Both();
  EXPECT_STREQ(config.GetCStringWithSubstitution("default", "k", "d", AnswerColour).c_str(),
               "a red rose, 100%");
  EXPECT_STREQ(
      config.GetCStringWithSubstitution("default", "j", "%%%colour%", AnswerColour).c_str(),
      "%red");
  EXPECT_STREQ(config.GetCStringWithSubstitution("default", "j", "<%colour%>", nullptr).c_str(),
               "<>");
  EXPECT_STREQ(config.GetCString("default", "k", "d").c_str(), "a %colour% rose, 100%");
}

TEST_F(ConfigTest, SharesItsRecordWithACopyThatIsNotDestroyed) {
  qelConfig config = Both();
  alignas(qelConfig) unsigned char place[sizeof(qelConfig)];
  qelConfig* copy = new (place) qelConfig(config);
  EXPECT_EQ(copy->GetConfigFile(), config.GetConfigFile());
  EXPECT_TRUE(copy->SetInt32("s", "k", 6));
  EXPECT_EQ(config.GetInt32("s", "k", 0), 6);
}

TEST_F(ConfigTest, SharesItsRecordWithWhatItIsAssignedTo) {
  qelConfig config = Both();
  alignas(qelConfig) unsigned char place[sizeof(qelConfig)];
  qelConfig* other = new (place) qelConfig(ReadOnly());
  qelConfigFile* dropped = other->GetConfigFile();
  *other = config;
  EXPECT_EQ(other->GetConfigFile(), config.GetConfigFile());
  EXPECT_EQ(dropped->readWriteTable, nullptr); // still there
  qelConfigFile_Delete(dropped);
}

TEST(Config, IsOnePointerBehindItsVirtualDestructor) {
  EXPECT_EQ(sizeof(qelConfig), 2 * sizeof(void*));
  EXPECT_TRUE(std::has_virtual_destructor<qelConfig>::value);
}

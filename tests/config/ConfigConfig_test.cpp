#include <qel/config/ConfigConfig.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qel/config/qelConfigFile.h>
#include <qel/files/PathName.h>
#include <tests/support/LogCapture.h>
#include <tests/support/TempDir.h>

namespace {

// A bootstrap file beside this program, under a name of its own.
class BootstrapFile {
public:
  BootstrapFile() : m_name("bootstrap-" + std::to_string(std::random_device()()) + ".ini") {}
  ~BootstrapFile() { std::filesystem::remove(TempDir::Native(FullPath())); }

  void Write(const std::string& text) const {
    std::ofstream file(TempDir::Native(FullPath()), std::ios::binary);
    file << text;
  }
  bool Exists() const { return std::filesystem::exists(TempDir::Native(FullPath())); }
  const char* Name() const { return m_name.c_str(); }
  std::string FullPath() const {
    return qelPathName::MakeFilePath(("./" + m_name).c_str()).GetFullPath().c_str();
  }

private:
  std::string m_name;
};

class ConfigConfigTest : public testing::Test {
protected:
  LogCapture m_log;
  BootstrapFile m_file;
  TempDir m_dir;
  qelCString m_read = "old";
  qelCString m_write = "old";
};

bool IsThere(const std::string& path) {
  return std::filesystem::is_directory(TempDir::Native(path));
}

} // namespace

TEST_F(ConfigConfigTest, ReadsTheFileBesideTheProgram) {
  m_file.Write("ReadPath=a b\r\nWritePath=<MyAppData>/c\r\n");
  qelConfigConfig config(m_file.Name());
  EXPECT_EQ(config.GetConfigFile()->readOnlyPath, m_file.FullPath());
  EXPECT_TRUE(config.GetPaths(m_read, m_write));
  EXPECT_STREQ(m_read.c_str(), "a b");
  EXPECT_STREQ(m_write.c_str(), "<MyAppData>/c");
  EXPECT_TRUE(m_log.Texts().empty()) << m_log.All();
}

TEST_F(ConfigConfigTest, IsCalledConfigPathUnlessToldOtherwise) {
  qelConfigConfig config;
  const std::string path = config.GetConfigFile()->readOnlyPath;
  EXPECT_EQ(path, qelPathName::MakeFilePath("./ConfigPath.ini").GetFullPath().c_str());
}

TEST_F(ConfigConfigTest, NeverWritesToItsFile) {
  qelConfigConfig config(m_file.Name());
  EXPECT_EQ(config.GetConfigFile()->readWritePath, nullptr);
  EXPECT_FALSE(config.SetString("default", "ReadPath", qelCString("x")));
  EXPECT_FALSE(config.Save());
  EXPECT_FALSE(m_file.Exists());
}

struct PathsRow {
  const char* text;
  const char* read;
  const char* write;
};

TEST_F(ConfigConfigTest, GivesWhatItFoundWhenALocationIsMissing) {
  static const PathsRow rows[] = {
      {"", "", ""},
      {"ReadPath=r\r\n", "r", ""},
      {"WritePath=w\r\n", "", "w"},
      {"ReadPath=r\r\nWritePath=\r\n", "r", ""},
      {"[default]\r\nwritepath=w\r\n[paths]\r\nReadPath=r\r\n", "", "w"},
  };
  for (const PathsRow& row : rows) {
    m_file.Write(row.text);
    m_log.Clear();
    EXPECT_FALSE(qelConfigConfig(m_file.Name()).GetPaths(m_read, m_write)) << row.text;
    EXPECT_STREQ(m_read.c_str(), row.read) << row.text;
    EXPECT_STREQ(m_write.c_str(), row.write) << row.text;
    const std::vector<CapturedLine> lines = m_log.Lines();
    ASSERT_EQ(lines.size(), 1u) << row.text;
    EXPECT_EQ(lines[0].text, std::string("qelConfigConfig: Cannot get paths (RO = '") + row.read +
                                 "', RW = '" + row.write + "')\n");
    EXPECT_EQ(lines[0].level, 1u);
    EXPECT_EQ(lines[0].module, 26u);
    EXPECT_EQ(lines[0].file, "..\\..\\ConfigConfig");
  }
}

TEST_F(ConfigConfigTest, CreatesBothDirectories) {
  m_file.Write("ReadPath=" + m_dir.Path() + "/r/s\r\nWritePath=" + m_dir.Path() + "/w/x/\r\n");
  EXPECT_TRUE(qelConfigConfig(m_file.Name()).GetAndCheckPaths(m_read, m_write));
  EXPECT_EQ(m_read.c_str(), m_dir.Path() + "/r/s");
  EXPECT_EQ(m_write.c_str(), m_dir.Path() + "/w/x/");
  EXPECT_TRUE(IsThere(m_dir.Path() + "/r/s"));
  EXPECT_TRUE(IsThere(m_dir.Path() + "/w/x"));
  EXPECT_TRUE(m_log.Texts().empty()) << m_log.All();
}

TEST_F(ConfigConfigTest, TakesTheProgramsDirectoryWithoutAFile) {
  EXPECT_TRUE(qelConfigConfig::GetConfigPaths(m_read, m_write, m_file.Name()));
  EXPECT_STREQ(m_read.c_str(), "./");
  EXPECT_STREQ(m_write.c_str(), "./");
}

TEST_F(ConfigConfigTest, LeavesTheWritePathAloneBehindAReadPathThatFails) {
  std::ofstream(TempDir::Native(m_dir.Path() + "/file")) << "no directory";
  m_file.Write("ReadPath=" + m_dir.Path() + "/file/r\r\nWritePath=" + m_dir.Path() + "/w\r\n");
  EXPECT_FALSE(qelConfigConfig::GetConfigPaths(m_read, m_write, m_file.Name()));
  EXPECT_FALSE(IsThere(m_dir.Path() + "/w"));
  ASSERT_FALSE(m_log.Texts().empty());
  EXPECT_EQ(m_log.Texts().back(), "qelConfigConfig: Cannot get checked paths (RO = '" +
                                      m_dir.Path() + "/file/r', RW = '" + m_dir.Path() + "/w')\n");
}

TEST_F(ConfigConfigTest, FailsWhenTheWritePathCannotBeMade) {
  std::ofstream(TempDir::Native(m_dir.Path() + "/file")) << "no directory";
  m_file.Write("ReadPath=" + m_dir.Path() + "/r\r\nWritePath=" + m_dir.Path() + "/file/w\r\n");
  EXPECT_FALSE(qelConfigConfig::GetConfigPaths(m_read, m_write, m_file.Name()));
  EXPECT_TRUE(IsThere(m_dir.Path() + "/r"));
  ASSERT_FALSE(m_log.Lines().empty());
  const CapturedLine last = m_log.Lines().back();
  EXPECT_EQ(last.text, "qelConfigConfig: Cannot get checked paths (RO = '" + m_dir.Path() +
                           "/r', RW = '" + m_dir.Path() + "/file/w')\n");
  EXPECT_EQ(last.level, 1u);
  EXPECT_EQ(last.module, 26u);
}

TEST(ConfigConfig, AddsNothingToAConfig) {
  EXPECT_EQ(sizeof(qelConfigConfig), sizeof(qelConfig));
}

TEST_F(ConfigConfigTest, KnowsItsBrandWithoutAFile) {
  EXPECT_STREQ(qelConfigConfig::GetBrandInfo("Dorv", m_file.Name()).c_str(), "qelix");
  EXPECT_STREQ(qelConfigConfig::GetBrandInfo("Kelset", m_file.Name()).c_str(), "com.qelix.");
  EXPECT_STREQ(qelConfigConfig::GetBrandInfo("Other", m_file.Name()).c_str(), "");
  EXPECT_STREQ(qelConfigConfig::GetBrandInfo("dorv", m_file.Name()).c_str(), "");
  EXPECT_STREQ(qelConfigConfig::GetBrandInfo("", m_file.Name()).c_str(), "");
}

TEST_F(ConfigConfigTest, TakesTheBrandFromTheFile) {
  m_file.Write("[Brand]\r\nDorv=Hill\r\nOther=x\r\n");
  EXPECT_STREQ(qelConfigConfig::GetBrandInfo("Dorv", m_file.Name()).c_str(), "Hill");
  EXPECT_STREQ(qelConfigConfig::GetBrandInfo("Kelset", m_file.Name()).c_str(), "com.qelix.");
  EXPECT_STREQ(qelConfigConfig::GetBrandInfo("Other", m_file.Name()).c_str(), "");
}

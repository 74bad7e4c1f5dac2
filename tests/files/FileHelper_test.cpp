#include <qel/files/FileHelper.h>

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <qel/containers/DataBuffer.h>
#include <qel/files/File.h>
#include <qel/files/PathName.h>
#include <tests/support/LogCapture.h>
#include <tests/support/TempDir.h>

namespace {

class LoadInBufferTest : public ::testing::Test {
protected:
  qelError Load(const std::string& name, int flags, qelULong maxSize) {
    return qelFileHelper::LoadInBuffer(Path(name), m_buffer, flags, maxSize);
  }
  qelPathName Path(const std::string& name) const {
    return qelPathName::MakeFilePath(m_dir.Path(name).c_str());
  }
  std::string Full(const std::string& name) const { return Path(name).GetFullPath().c_str(); }
  std::string Content() const {
    return std::string(static_cast<const char*>(m_buffer.data()), m_buffer.size());
  }

  TempDir m_dir;
  qelDataBuffer m_buffer{"before"};
  const std::string m_before = std::string("before", 7);
};

} // namespace

using FileHelperLoadInBuffer = LoadInBufferTest;

TEST_F(FileHelperLoadInBuffer, ReplacesTheBuffersContent) {
  const std::string content("a\0b\r\n\xFF", 6);
  m_dir.Write("file.bin", content);
  LogCapture log;
  const qelError error = Load("file.bin", 0, 1000);
  EXPECT_EQ(0, error.GetErrorCode());
  EXPECT_STREQ("", error.GetErrorStr().c_str());
  EXPECT_EQ(content, Content());
  EXPECT_EQ("", log.All());
}

TEST_F(FileHelperLoadInBuffer, AddsAZeroByteThatCounts) {
  m_dir.Write("file", "text");
  EXPECT_EQ(0, Load("file", 1, 1000).GetErrorCode());
  EXPECT_EQ(std::string("text", 5), Content());
  EXPECT_EQ(0, Load("file", 3, 1000).GetErrorCode());
  EXPECT_EQ(5u, m_buffer.size());
  EXPECT_EQ(0, Load("file", 2, 1000).GetErrorCode()); // only the first bit means something
  EXPECT_EQ(4u, m_buffer.size());
}

TEST_F(FileHelperLoadInBuffer, LoadsAnEmptyFile) {
  m_dir.Write("empty");
  EXPECT_EQ(0, Load("empty", 1, 0).GetErrorCode());
  ASSERT_EQ(1u, m_buffer.size());
  EXPECT_EQ('\0', *static_cast<const char*>(m_buffer.data()));
  EXPECT_EQ(0, Load("empty", 0, 0).GetErrorCode());
  EXPECT_EQ(0u, m_buffer.size());
}

TEST_F(FileHelperLoadInBuffer, HasALimitThatIsInclusive) {
  m_dir.Write("file", "12345");
  EXPECT_EQ(0, Load("file", 1, 5).GetErrorCode());
  EXPECT_EQ(std::string("12345", 6), Content());
  const qelError error = Load("file", 1, 4);
  EXPECT_EQ(-1, error.GetErrorCode());
  EXPECT_EQ("File '" + Full("file") + "' is too large to be loaded", error.GetErrorStr().c_str());
  EXPECT_EQ(std::string("12345", 6), Content());
}

TEST_F(FileHelperLoadInBuffer, RefusesTwoGibibytesWhateverTheLimit) {
  ASSERT_TRUE(qelFile::ChangeSize(m_dir.Path("large").c_str(), INT64_C(1) << 31));
  const qelError error = Load("large", 0, 0xFFFFFFFF);
  EXPECT_EQ(-1, error.GetErrorCode());
  EXPECT_EQ("File '" + Full("large") + "' is too large to be loaded", error.GetErrorStr().c_str());
  EXPECT_EQ(m_before, Content());
}

TEST_F(FileHelperLoadInBuffer, NamesAFileThatCantBeOpened) {
  LogCapture log;
  const qelError error = Load("missing.txt", 1, 1000);
  EXPECT_EQ(-3, error.GetErrorCode());
  EXPECT_EQ("Unable to open file '" + Full("missing.txt") + "'", error.GetErrorStr().c_str());
  EXPECT_EQ(m_before, Content());
  EXPECT_EQ(2u, log.Texts().size());
}

TEST_F(FileHelperLoadInBuffer, OpensNoDirectoryAndNoInvalidPath) {
  LogCapture log;
  m_dir.MakeDir("dir");
  EXPECT_EQ(-1, Load("dir", 0, 1000).GetErrorCode());
  const qelError error = qelFileHelper::LoadInBuffer(qelPathName(), m_buffer, 0, 1000);
  EXPECT_NE(0, error.GetErrorCode());
  EXPECT_STREQ("Unable to open file ''", error.GetErrorStr().c_str());
  EXPECT_EQ(m_before, Content());
}

#include <qel/files/FileHelper.h>

#include <cerrno>
#include <string>

#include <sys/types.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <qel/containers/DataBuffer.h>
#include <qel/files/PathName.h>
#include <qel/files/TextFile.h>
#include <tests/support/LogCapture.h>
#include <tests/support/TempDir.h>

// What the system is to refuse: a block of this size, and reading.
static size_t g_refusedSize = 0;
static bool g_readFails = false;
static bool g_readEnds = false;

extern "C" void* __real_malloc(size_t size);
extern "C" void* __wrap_malloc(size_t size) {
  return size != 0 && size == g_refusedSize ? nullptr : __real_malloc(size);
}

extern "C" ssize_t __real_read(int file, void* buffer, size_t count);
extern "C" ssize_t __wrap_read(int file, void* buffer, size_t count) {
  if (g_readEnds)
    return 0;
  if (!g_readFails)
    return __real_read(file, buffer, count);
  errno = EIO;
  return -1;
}

static qelError Load(const std::string& path, qelDataBuffer& buffer) {
  return qelFileHelper::LoadInBuffer(qelPathName::MakeFilePath(path.c_str()), buffer, 1, 100000);
}

TEST(FileHelperLoadInBuffer, IsSilentWithoutMemory) {
  const TempDir dir;
  const std::string path = dir.Write("file", std::string(54321, 'x'));
  qelDataBuffer buffer("before");
  LogCapture log;
  g_refusedSize = 54322;
  const qelError error = Load(path, buffer);
  g_refusedSize = 0;
  EXPECT_EQ(0, error.GetErrorCode());
  EXPECT_STREQ("", error.GetErrorStr().c_str());
  EXPECT_STREQ("before", static_cast<const char*>(buffer.data()));
  EXPECT_EQ("", log.All());
  EXPECT_EQ(0, Load(path, buffer).GetErrorCode());
  EXPECT_EQ(54322u, buffer.size());
}

TEST(FileHelperLoadInBuffer, NamesAFileThatCantBeRead) {
  const TempDir dir;
  const std::string path = dir.Write("file", "text");
  qelDataBuffer buffer("before");
  LogCapture log;
  g_readFails = true;
  const qelError error = Load(path, buffer);
  g_readFails = false;
  EXPECT_EQ(-1, error.GetErrorCode());
  EXPECT_EQ("Unable to read requested size from file '" + path + "'", error.GetErrorStr().c_str());
  EXPECT_STREQ("before", static_cast<const char*>(buffer.data()));
  EXPECT_EQ(2u, log.Texts().size());
}

TEST(FileHelperLoadInBuffer, NamesAFileThatEndsTooEarly) {
  const TempDir dir;
  const std::string path = dir.Write("file", "text");
  qelDataBuffer buffer("before");
  g_readEnds = true;
  const qelError error = Load(path, buffer);
  g_readEnds = false;
  EXPECT_EQ(-1, error.GetErrorCode());
  EXPECT_EQ("Unable to read requested size from file '" + path + "'", error.GetErrorStr().c_str());
  EXPECT_STREQ("before", static_cast<const char*>(buffer.data()));
}

TEST(TextFileFailure, EndsTheLinesAndCanBeTriedAgain) {
  const TempDir dir;
  qelTextFile file(dir.Write("file", "ab\ncd\n").c_str(), 4);
  qelCString line("before");
  LogCapture log;
  g_readFails = true;
  EXPECT_FALSE(file.NextLine(line));
  g_readFails = false;
  EXPECT_STREQ("before", line.c_str());
  EXPECT_EQ(2u, log.Texts().size());
  EXPECT_TRUE(file.NextLine(line));
  EXPECT_STREQ("ab", line.c_str());
  g_readFails = true;
  EXPECT_FALSE(file.NextLine(line));
  g_readFails = false;
  EXPECT_STREQ("ab", line.c_str());
  EXPECT_TRUE(file.NextLine(line));
  EXPECT_STREQ("cd", line.c_str());
  EXPECT_FALSE(file.NextLine(line));
}

#include <qel/cache/FileCacheManager.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/cache/FileCacheFixture.h>
#include <tests/support/Clock.h>
#include <tests/support/LogCapture.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class FileCacheWin32 : public FileCacheTest {
protected:
  LogCapture m_log; // deletions that fail are lines
};

} // namespace

TEST_F(FileCacheWin32, KeepsTheCallersOpenFileUntilTheNextOpen) {
  const ManagerPtr cache = Make(0);
  Removals removals(*cache);
  bool created = false;
  FilePtr file = Open(*cache, "a", 3, &created);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->Write("x", 1), 1u);
  cache->SetCachedFileState("a", file.get(), true);
  EXPECT_TRUE(OnDisk("a"));
  EXPECT_THAT(removals.names, IsEmpty());
  // It is to be removed, and can't be yet.
  EXPECT_EQ(Open(*cache, "a", 1, &created), nullptr);
  EXPECT_FALSE(created);
  file.reset();
  file = Open(*cache, "a", 3, &created);
  EXPECT_NE(file, nullptr);
  EXPECT_TRUE(created);
  EXPECT_THAT(removals.names, ElementsAre("a"));
}

TEST_F(FileCacheWin32, StepsOverAFileThatAReaderHolds) {
  ScopedClock clock(1000);
  const ManagerPtr cache = Make(10);
  Removals removals(*cache);
  Add(*cache, "a", 5);
  clock.Set(1001);
  Add(*cache, "b", 4);
  clock.Set(1000);
  bool created = true;
  FilePtr reader = Open(*cache, "a", 1, &created);
  ASSERT_NE(reader, nullptr);
  clock.Set(1002);
  Add(*cache, "c", 3);
  // The reader's file was the oldest, but could not be deleted.
  EXPECT_TRUE(OnDisk("a"));
  EXPECT_FALSE(OnDisk("b"));
  reader.reset();
  clock.Set(1003);
  removals.names.clear();
  Add(*cache, "d", 5);
  ASSERT_FALSE(removals.names.empty());
  EXPECT_EQ(removals.names.front(), "a");
}

TEST_F(FileCacheWin32, KeepsADirectoryWithAnOpenFile) {
  const ManagerPtr cache = Make(100);
  Add(*cache, "a", 5);
  bool created = true;
  const FilePtr reader = Open(*cache, "a", 1, &created);
  ASSERT_NE(reader, nullptr);
  EXPECT_FALSE(cache->Empty(true));
  EXPECT_THAT(Listing(), ElementsAre("a"));
}

TEST_F(FileCacheWin32, CountsWhatItCannotDeleteAndTriesItFirst) {
  ScopedClock clock(1000);
  const ManagerPtr cache = Make(20);
  Removals removals(*cache);
  Add(*cache, "a", 5);
  clock.Set(1001);
  Add(*cache, "b", 5);
  bool created = true;
  FilePtr reader = Open(*cache, "b", 1, &created);
  ASSERT_NE(reader, nullptr);
  EXPECT_FALSE(cache->RemoveTempFile("b"));
  EXPECT_EQ(Open(*cache, "b", 1, &created), nullptr);
  EXPECT_FALSE(created);
  char bytes[8];
  EXPECT_EQ(reader->Read(bytes, sizeof bytes), 5);
  reader.reset();
  EXPECT_THAT(removals.names, IsEmpty());
  // It is the younger one.
  clock.Set(1002);
  Add(*cache, "c", 11);
  EXPECT_THAT(removals.names, ElementsAre("b"));
}

TEST_F(FileCacheWin32, KeepsAFileThatItsWriterCompletesWhileAnotherReads) {
  ScopedClock clock(1000);
  const ManagerPtr cache = Make(10);
  Removals removals(*cache);
  Add(*cache, "a", 5);
  bool created = true;
  const FilePtr reader = Open(*cache, "a", 1, &created);
  ASSERT_NE(reader, nullptr);
  FilePtr writer = Open(*cache, "w", 3, &created);
  ASSERT_NE(writer, nullptr);
  EXPECT_EQ(writer->Write("xxxxxxxx", 8), 8u);
  // Neither can be deleted, since both are open; the check steps over them and ends.
  cache->SetCachedFileState("w", writer.get(), true);
  EXPECT_THAT(Listing(), ElementsAre("a", "w"));
  writer.reset();
  EXPECT_TRUE(cache->RemoveTempFile("w"));
  EXPECT_THAT(removals.names, ElementsAre("w"));
}

#include <qel/cache/FileCacheManager.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/cache/FileCacheFixture.h>
#include <tests/support/Clock.h>
#include <tests/support/LogCapture.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class FileCachePosix : public FileCacheTest {};

} // namespace

TEST_F(FileCachePosix, RemovesEachFileAtOnceWithoutRoom) {
  const ManagerPtr cache = Make(0);
  Removals removals(*cache);
  Add(*cache, "a", 1);
  EXPECT_FALSE(OnDisk("a"));
  EXPECT_THAT(removals.names, ElementsAre("a"));
}

TEST_F(FileCachePosix, EvictsAFileThatAReaderReadsOn) {
  ScopedClock clock(1000);
  const ManagerPtr cache = Make(10);
  Removals removals(*cache);
  Add(*cache, "a", 5);
  bool created = true;
  const FilePtr reader = Open(*cache, "a", 1, &created);
  ASSERT_NE(reader, nullptr);
  clock.Set(1001);
  Add(*cache, "b", 8);
  EXPECT_THAT(removals.names, ElementsAre("a"));
  EXPECT_FALSE(OnDisk("a"));
  char bytes[8];
  EXPECT_EQ(reader->Read(bytes, sizeof bytes), 5);
}

TEST_F(FileCachePosix, PassesOverPipesAndLinksToNowhere) {
  Make(100);
  ASSERT_EQ(::mkfifo(FilePath("pipe").c_str(), 0600), 0);
  ASSERT_EQ(::symlink("nowhere", FilePath("link").c_str()), 0);
  Write("file", "x");
  const ManagerPtr cache = Make(100);
  EXPECT_TRUE(Has(*cache, "file"));
  LogCapture log;
  bool created = true;
  EXPECT_EQ(cache->OpenCachedFile("pipe", &created, 1), nullptr);
  EXPECT_FALSE(created);
}

TEST_F(FileCachePosix, TakesTheFileJustCompletedLast) {
  ScopedClock clock(1000);
  const ManagerPtr cache = Make(10);
  Add(*cache, "a", 5);
  clock.Set(1001);
  Removals removals(*cache);
  Add(*cache, "big", 20);
  EXPECT_THAT(removals.names, ElementsAre("a", "big"));
  EXPECT_THAT(Listing(), IsEmpty());
}

// Against a model: names with sizes and times, the sum as it is told.
TEST_F(FileCachePosix, FollowsAModelUnderRandomOperations) {
  struct Entry {
    int64_t size;
    int64_t time;
  };
  const int64_t limit = 100;
  ScopedClock clock(0);
  const ManagerPtr cache = Make(static_cast<qelULong>(limit));
  std::map<std::string, Entry> model;
  int64_t sum = 0;
  const auto forget = [&](const std::string& name) {
    if (sum > model[name].size)
      sum -= model[name].size;
    model.erase(name);
  };
  std::mt19937 random(6);
  for (int step = 1; step <= 1500; ++step) {
    clock.Set(step);
    const std::string name(1, static_cast<char>('a' + random() % 12));
    if (random() % 6 == 0) {
      EXPECT_TRUE(cache->RemoveTempFile(name.c_str()));
      if (model.count(name) != 0)
        forget(name);
    } else if (model.count(name) != 0) {
      EXPECT_TRUE(Has(*cache, name));
      model[name].time = step;
    } else {
      const int64_t size = random() % 60;
      Add(*cache, name, static_cast<size_t>(size));
      model[name] = {size, step};
      sum += size;
      while (sum > limit && !model.empty())
        forget(std::min_element(model.begin(), model.end(), [](const auto& a, const auto& b) {
                 return a.second.time < b.second.time;
               })->first);
    }
    std::vector<std::string> names;
    for (const auto& entry : model)
      names.push_back(entry.first);
    ASSERT_EQ(Listing(), names) << "step " << step;
  }
}

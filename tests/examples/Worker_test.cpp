#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <examples/mediaquery/Worker.h>
#include <tests/support/WaitFor.h>

using namespace mediaquery;

namespace {

const MediaType* const kType = FindMediaType("png");

WalkCounts Files(uint64_t files) {
  WalkCounts counts;
  counts.files = files;
  return counts;
}

} // namespace

TEST(Pipeline, HandsFilesOverInTheWalksOrderWithTheirCounts) {
  std::vector<std::string> paths;
  std::vector<uint64_t> files;
  uint64_t last = 0;
  Pipeline pipeline([&](const FileBatch& batch) {
    EXPECT_LE(batch.files.size(), 32u);
    for (const FoundFile& file : batch.files) {
      EXPECT_EQ(file.type, kType);
      paths.push_back(file.path);
      files.push_back(file.counts.files);
    }
    last = batch.counts.files;
  });
  ASSERT_TRUE(pipeline.Start());
  for (uint64_t i = 1; i <= 1000; ++i)
    ASSERT_TRUE(pipeline.Add({std::to_string(i), 0, kType, Files(i)}));
  ASSERT_TRUE(pipeline.Finish(Files(1001)));
  ASSERT_EQ(paths.size(), 1000u);
  for (uint64_t i = 1; i <= 1000; ++i) {
    EXPECT_EQ(paths[i - 1], std::to_string(i));
    EXPECT_EQ(files[i - 1], i);
  }
  EXPECT_EQ(last, 1001u);
}

TEST(Pipeline, HandsTheFirstFileOverWithoutWaitingForAnother) {
  std::atomic<int> taken{0};
  Pipeline pipeline([&](const FileBatch& batch) { taken += static_cast<int>(batch.files.size()); });
  ASSERT_TRUE(pipeline.Start());
  ASSERT_TRUE(pipeline.Add({"a", 0, kType, Files(1)}));
  EXPECT_TRUE(WaitFor([&] { return taken == 1; }));
  EXPECT_TRUE(pipeline.Finish(Files(1)));
}

TEST(Pipeline, CountsOtherFilesOnly) {
  size_t taken = 0;
  uint64_t counted = 0;
  Pipeline pipeline([&](const FileBatch& batch) {
    taken += batch.files.size();
    counted = batch.counts.files;
  });
  ASSERT_TRUE(pipeline.Start());
  for (uint64_t i = 1; i <= 100; ++i)
    ASSERT_TRUE(pipeline.Add({"a.txt", 0, nullptr, Files(i)}));
  ASSERT_TRUE(pipeline.Finish(Files(100)));
  EXPECT_EQ(taken, 0u);
  EXPECT_EQ(counted, 100u);
}

TEST(Pipeline, MakesTheWalkWaitWhileTheQueueIsFull) {
  // 16 batches of 32 files, one batch that is being filled, and the file that found it full.
  const int kMost = 16 * 32 + 32 + 1;
  std::atomic<int> added{0};
  std::atomic<int> taken{0};
  std::atomic<int> most{0}; // files between the walk and the worker
  std::atomic<bool> isOpen{false};
  Pipeline pipeline([&](const FileBatch& batch) {
    WaitFor([&] { return isOpen.load(); });
    most = std::max(most.load(), added - taken);
    taken += static_cast<int>(batch.files.size());
  });
  ASSERT_TRUE(pipeline.Start());
  std::thread walk([&] {
    for (int i = 0; i < 20000; ++i) {
      pipeline.Add({"a", 0, kType, Files(0)});
      ++added;
    }
  });
  // The worker stands in its first batch, so the walk comes as far as the queue takes.
  EXPECT_TRUE(WaitFor([&] { return added >= 15 * 32; }));
  isOpen = true;
  walk.join();
  EXPECT_TRUE(pipeline.Finish(Files(0)));
  EXPECT_EQ(taken, 20000);
  EXPECT_GE(most, 15 * 32);
  EXPECT_LE(most, kMost);
}

TEST(Pipeline, EndsWithoutFinish) {
  std::atomic<int> taken{0};
  {
    Pipeline pipeline(
        [&](const FileBatch& batch) { taken += static_cast<int>(batch.files.size()); });
    ASSERT_TRUE(pipeline.Start());
    ASSERT_TRUE(pipeline.Add({"a", 0, kType, Files(1)}));
  }
  EXPECT_EQ(taken, 1); // what was handed over is done; what is left in a batch is not
}

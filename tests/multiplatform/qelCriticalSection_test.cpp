#include <qel/multiplatform/qelCriticalSection.h>

#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

TEST(QelOSCriticalSectionDelete, IgnoresNull) {
  qelOSCriticalSection_Delete(nullptr);
}

TEST(QelOSCriticalSectionEnter, LetsTheThreadInsideEnterAgain) {
  qelOSCriticalSection* section = qelOSCriticalSection_New();
  EXPECT_EQ(qelOSCriticalSection_Enter(section), 0);
  EXPECT_EQ(qelOSCriticalSection_Enter(section), 0);
  EXPECT_EQ(qelOSCriticalSection_Leave(section), 0);
  EXPECT_EQ(qelOSCriticalSection_Leave(section), 0);
  qelOSCriticalSection_Delete(section);
}

TEST(QelOSCriticalSectionEnter, KeepsOtherThreadsOut) {
  qelOSCriticalSection* section = qelOSCriticalSection_New();
  int counter = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&] {
      for (int j = 0; j < 5000; ++j) {
        qelOSCriticalSection_Enter(section);
        counter += 1;
        qelOSCriticalSection_Leave(section);
      }
    });
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(counter, 20000);
  qelOSCriticalSection_Delete(section);
}

} // namespace

#include <qel/threads/CriticalSection.h>

#include <new>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

namespace {

TEST(QelCriticalSectionEnter, MayBeRepeatedAndIsUndoneAsOften) {
  qelCriticalSection section;
  EXPECT_EQ(section.Enter(), 0);
  EXPECT_EQ(section.Enter(), 0);
  EXPECT_EQ(section.Leave(), 0);
  EXPECT_EQ(section.Leave(), 0);
  std::thread([&] {
    EXPECT_EQ(section.Enter(), 0);
    EXPECT_EQ(section.Leave(), 0);
  }).join();
}

TEST(QelCriticalSectionLocker, StaysInsideDuringItsLife) {
  qelCriticalSection section;
  int counter = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&] {
      for (int j = 0; j < 5000; ++j) {
        qelCriticalSectionLocker outer(&section);
        qelCriticalSectionLocker inner(&section);
        counter += 1;
      }
    });
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(counter, 20000);
}

// Only one of the two is destroyed: the copy lies in raw storage and its destructor never runs.
TEST(QelCriticalSectionCopy, SharesTheSystemsLock) {
  qelCriticalSection source;
  alignas(qelCriticalSection) unsigned char storage[sizeof(qelCriticalSection)];
  qelCriticalSection* copy = new (storage) qelCriticalSection(source);
  EXPECT_EQ(source.Enter(), 0);
  EXPECT_EQ(copy->Leave(), 0);
  std::thread([&] {
    EXPECT_EQ(source.Enter(), 0);
    EXPECT_EQ(source.Leave(), 0);
  }).join();
  EXPECT_TRUE(std::is_trivially_copy_assignable<qelCriticalSection>::value);
}

TEST(QelCriticalSectionShape, HasNoVirtualOperation) {
  EXPECT_FALSE(std::is_polymorphic<qelCriticalSection>::value);
  EXPECT_FALSE(std::is_polymorphic<qelCriticalSectionLocker>::value);
}

} // namespace

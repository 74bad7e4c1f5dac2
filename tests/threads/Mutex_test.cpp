#include <qel/threads/Mutex.h>

#include <thread>
#include <type_traits>

#include <gtest/gtest.h>

#include <qel/multiplatform/qelMutex.h>

namespace {

// Shows the fields.
class OpenMutex : public qelMutex {
public:
  using qelMutex::m_lockCount;
  using qelMutex::m_mutex;
};

TEST(QelMutexLock, MayBeRepeatedAndIsUndoneAsOften) {
  OpenMutex mutex;
  EXPECT_EQ(mutex.m_lockCount, 0);
  EXPECT_EQ(mutex.Lock(), 0);
  EXPECT_EQ(mutex.m_lockCount, 1);
  EXPECT_EQ(mutex.Lock(), 0);
  EXPECT_EQ(mutex.m_lockCount, 2);
  EXPECT_EQ(mutex.Unlock(), 0);
  EXPECT_EQ(mutex.m_lockCount, 1);
  EXPECT_EQ(mutex.Unlock(), 0);
  EXPECT_EQ(mutex.m_lockCount, 0);
  // Nobody holds it now: another thread gets it.
  std::thread([&] {
    mutex.Lock();
    mutex.Unlock();
  }).join();
}

TEST(QelMutexLock, CountsUnderTheLock) {
  OpenMutex mutex;
  auto work = [&] {
    for (int i = 0; i < 5000; ++i) {
      mutex.Lock();
      EXPECT_EQ(mutex.m_lockCount, 1);
      mutex.Unlock();
    }
  };
  std::thread first(work);
  std::thread second(work);
  first.join();
  second.join();
  EXPECT_EQ(mutex.m_lockCount, 0);
}

TEST(QelMutexAssertLocked, DoesNothing) {
  OpenMutex mutex;
  mutex.AssertLocked();
  EXPECT_EQ(mutex.m_lockCount, 0);
  EXPECT_EQ(qelOSMutex_IsOwner(mutex.m_mutex), 0);
}

TEST(QelMutexLocker, HoldsTheMutexDuringItsLife) {
  OpenMutex mutex;
  {
    qelMutexLocker outer(&mutex);
    EXPECT_EQ(mutex.m_lockCount, 1);
    EXPECT_EQ(qelOSMutex_IsOwner(mutex.m_mutex), 1);
    qelMutexLocker inner(&mutex);
    EXPECT_EQ(mutex.m_lockCount, 2);
  }
  EXPECT_EQ(mutex.m_lockCount, 0);
  EXPECT_EQ(qelOSMutex_IsOwner(mutex.m_mutex), 0);
}

// Only one of the two is destroyed: the copy lies in raw storage and its destructor never runs.
TEST(QelMutexCopy, SharesTheSystemsLock) {
  OpenMutex source;
  source.Lock();
  alignas(OpenMutex) unsigned char storage[sizeof(OpenMutex)];
  OpenMutex* copy = new (storage) OpenMutex(source);
  EXPECT_EQ(copy->m_mutex, source.m_mutex);
  EXPECT_EQ(copy->m_lockCount, 1);
  EXPECT_EQ(qelOSMutex_IsOwner(copy->m_mutex), 1);
  source.Unlock();
}

TEST(QelMutexShape, HasNoVirtualOperation) {
  EXPECT_FALSE(std::is_polymorphic<qelMutex>::value);
  EXPECT_FALSE(std::is_polymorphic<qelMutexLocker>::value);
}

} // namespace

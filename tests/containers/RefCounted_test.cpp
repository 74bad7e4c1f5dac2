#include <qel/containers/RefCounted.h>

#include <atomic>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <qel/containers/Ref.h>
#include <tests/support/Gate.h>

namespace {

struct Object : qelRefCounted {
  explicit Object(bool* gone) : deleted(gone) {}
  ~Object() override { *deleted = true; }
  bool* deleted;
};

// Stays where its count reaches 0.
struct Pooled : qelRefCounted {
  void NotifyRefCountIsNull() override { returned += 1; }
  int returned = 0;
};

void RunThreads(int count, void (*body)(int index, void* context), void* context) {
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i)
    threads.emplace_back(body, i, context);
  for (std::thread& thread : threads)
    thread.join();
}

constexpr int kThreads = 4;

} // namespace

TEST(qelRefCounted, StartsAtZero) {
  Pooled object;
  EXPECT_EQ(object._GetRefCount(), 0);
  EXPECT_TRUE(std::has_virtual_destructor_v<qelRefCounted>);
}

TEST(qelRefCountedCopy, StartsWithTheCountOfItsSource) {
  Pooled source;
  source.Retain();
  source.Retain();
  Pooled copy(source);
  EXPECT_EQ(copy._GetRefCount(), 2);
  EXPECT_EQ(source._GetRefCount(), 2);
}

TEST(qelRefCountedCopy, AssignsTheCountOfItsSource) {
  Pooled source, target;
  source.Retain();
  target.Retain();
  target.Retain();
  Pooled& result = target = source;
  EXPECT_EQ(&result, &target);
  EXPECT_EQ(target._GetRefCount(), 1);
  EXPECT_EQ(target.returned, 0);
  const Pooled& self = target;
  target = self;
  EXPECT_EQ(target._GetRefCount(), 1);
}

TEST(qelRefCountedRelease, DeletesAnObjectThatNobodyElseHolds) {
  bool deleted = false;
  const qelRefCounted* object = new Object(&deleted);
  object->Retain();
  object->Retain();
  object->Release();
  EXPECT_FALSE(deleted);
  EXPECT_EQ(object->_GetRefCount(), 1);
  object->Release();
  EXPECT_TRUE(deleted);
}

TEST(qelRefCountedRelease, DeletesAnObjectThatWasRetainedOnceAndNeverReferred) {
  bool deleted = false;
  Object* object = new Object(&deleted);
  object->Retain();
  EXPECT_FALSE(deleted);
  object->Release();
  EXPECT_TRUE(deleted);
}

TEST(qelRefCountedRelease, TellsTheObjectWhichMayStayAndRiseAgain) {
  Pooled object;
  for (int round = 1; round <= 2; ++round) {
    object.Retain();
    object.Release();
    EXPECT_EQ(object.returned, round);
    EXPECT_EQ(object._GetRefCount(), 0);
  }
}

TEST(qelRefCountedRelease, CountsBelowZeroUntold) {
  Pooled object;
  object.Release();
  EXPECT_EQ(object._GetRefCount(), -1);
  EXPECT_EQ(object.returned, 0);
  object.Retain();
  EXPECT_EQ(object._GetRefCount(), 0);
  EXPECT_EQ(object.returned, 0);
}

TEST(qelRefCountedThreads, LoseNoCount) {
  Pooled object;
  object.Retain();
  RunThreads(
      kThreads,
      [](int, void* context) {
        for (int i = 0; i < 20000; ++i) {
          qelRefAny first(static_cast<Pooled*>(context));
          qelRefAny second(first);
          first = 0;
          first = second;
        }
      },
      &object);
  EXPECT_EQ(object._GetRefCount(), 1);
  EXPECT_EQ(object.returned, 0);
}

TEST(qelRefCountedThreads, RetainAndReleaseBalance) {
  Pooled object;
  RunThreads(
      kThreads,
      [](int index, void* context) {
        const Pooled* shared = static_cast<const Pooled*>(context);
        for (int i = 0; i < 20000 + index; ++i)
          shared->Retain();
      },
      &object);
  EXPECT_EQ(object._GetRefCount(), kThreads * 20000 + kThreads * (kThreads - 1) / 2);
}

namespace {

// Each thread writes its own slot and lets go; the one that ends the object reads them all.
struct Shared : qelRefCounted {
  explicit Shared(std::atomic<int>* counter) : ends(counter) {}
  ~Shared() override {
    int sum = 0;
    for (int slot : slots)
      sum += slot;
    EXPECT_EQ(sum, kThreads);
    ends->fetch_add(1);
  }
  std::atomic<int>* ends;
  int slots[kThreads] = {};
};

struct Rounds {
  Gate gate{kThreads};
  std::vector<Shared*> objects;
};

} // namespace

TEST(qelRefCountedThreads, ExactlyOneSeesZeroAndWhatTheOthersWrote) {
  std::atomic<int> ends(0);
  Rounds rounds;
  for (int i = 0; i < 500; ++i) {
    rounds.objects.push_back(new Shared(&ends));
    for (int thread = 0; thread < kThreads; ++thread)
      rounds.objects.back()->Retain();
  }
  RunThreads(
      kThreads,
      [](int index, void* context) {
        Rounds* all = static_cast<Rounds*>(context);
        for (Shared* object : all->objects) {
          all->gate.Pass();
          object->slots[index] = 1;
          object->Release();
        }
      },
      &rounds);
  EXPECT_EQ(ends.load(), 500);
}

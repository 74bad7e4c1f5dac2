#include <qel/containers/Ref.h>

#include <functional>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;

// Stays where its count reaches 0, and calls back.
struct Object : qelRefCounted {
  void NotifyRefCountIsNull() override {
    ended += 1;
    if (onEnd)
      onEnd();
  }
  int ended = 0;
  std::function<void()> onEnd;
};

// What only derived references reach.
struct OpenAny : qelRefAny {
  using qelRefAny::_GetPointedObject;
  using qelRefAny::_SetPointedObject;
  using qelRefAny::BadInitValue;
  using qelRefAny::NullPointerAccess;
  using qelRefAny::qelRefAny;
};

struct OpenRef : qelRef<Object> {
  using qelRef<Object>::qelRef;
  using qelRef<Object>::_GetPointedObject;
  using qelRef<Object>::_SetPointedObject;
};

struct Deleted : qelRefCounted {
  explicit Deleted(int* counter) : deleted(counter) {}
  ~Deleted() override { *deleted += 1; }
  int* deleted;
};

// Its counted part is not at its start.
struct Aside {
  virtual ~Aside() = default;
  long first = 1;
};
struct Second : Aside, qelRefCounted {
  int number = 7;
};

} // namespace

TEST(qelRefTypes, AreAsLargeAsAPointer) {
  EXPECT_EQ(sizeof(qelRefAny), sizeof(void*));
  EXPECT_EQ(sizeof(qelRef<Object>), sizeof(void*));
  EXPECT_FALSE(std::is_polymorphic_v<qelRefAny>);
  EXPECT_FALSE(std::is_polymorphic_v<qelRef<Object>>);
  EXPECT_TRUE((std::is_base_of_v<qelRefAny, qelRef<Object>>));
}

TEST(qelRefAnyConstructor, IsNullFromNothingAndFromAnyInt) {
  EXPECT_TRUE(qelRefAny().IsNull());
  EXPECT_TRUE(qelRefAny(0).IsNull());
  EXPECT_TRUE(qelRefAny(5).IsNull());
  EXPECT_TRUE(qelRefAny(-1).IsNull());
  EXPECT_TRUE(qelRefAny(nullptr).IsNull());
  EXPECT_EQ(qelRefAny(5).Get(), nullptr);
  EXPECT_EQ(qelRefAny().operator->(), nullptr);
}

// A zero of another type than int is a null pointer as much as an int.
TEST(qelRefAnyConstructor, IsNullFromAZeroOfAnyIntegerType) {
  EXPECT_TRUE(qelRefAny(0L).IsNull());
  EXPECT_TRUE(qelRefAny(0u).IsNull());
  EXPECT_TRUE(qelRefAny(0ull).IsNull());
  EXPECT_TRUE(qelRefAny(5ll).IsNull());
  EXPECT_TRUE(qelRef<Object>(0L).IsNull());
  EXPECT_TRUE(qelRef<Object>(5ull).IsNull());
  Object object;
  qelRef<Object> reference(&object);
  EXPECT_FALSE(reference == 0L);
  reference = 0u;
  EXPECT_TRUE(reference.IsNull());
  EXPECT_EQ(object.ended, 1);
}

TEST(qelRefAnyConstructor, RetainsTheObject) {
  Object object;
  {
    const qelRefAny first(&object);
    EXPECT_EQ(object._GetRefCount(), 1);
    const qelRefAny second(first);
    EXPECT_EQ(object._GetRefCount(), 2);
    EXPECT_EQ(second.Get(), &object);
    EXPECT_EQ(second->_GetRefCount(), 2);
    EXPECT_FALSE(second.IsNull());
  }
  EXPECT_EQ(object._GetRefCount(), 0);
  EXPECT_EQ(object.ended, 1);
}

TEST(qelRefAnyConstructor, CopiesANullReference) {
  const qelRefAny null;
  EXPECT_TRUE(qelRefAny(null).IsNull());
}

TEST(qelRefAnyAssignment, OntoItselfChangesNoCount) {
  Object object;
  qelRefAny reference(&object);
  const qelRefAny& same = reference;
  EXPECT_EQ(&(reference = same), &reference);
  EXPECT_EQ(object._GetRefCount(), 1);
  EXPECT_EQ(object.ended, 0);
}

TEST(qelRefAnyAssignment, OfAnotherReferenceToTheSameObjectKeepsIt) {
  Object object;
  qelRefAny first(&object), second(&object);
  first = second;
  EXPECT_EQ(object._GetRefCount(), 2);
  EXPECT_EQ(object.ended, 0);
}

TEST(qelRefAnyAssignment, ReleasesBeforeItRetains) {
  Object old, next;
  qelRefAny target(&old), source(&next);
  std::vector<int> seen;
  old.onEnd = [&] {
    seen.push_back(next._GetRefCount());
    seen.push_back(target.Get() == &old ? 1 : 0);
  };
  target = source;
  EXPECT_THAT(seen, ElementsAre(1, 1));
  EXPECT_EQ(next._GetRefCount(), 2);
  EXPECT_EQ(old.ended, 1);
}

TEST(qelRefAnyAssignment, ReadsTheSourceAfterTheRelease) {
  Object old, next, later;
  qelRefAny target(&old), source(&next);
  old.onEnd = [&] { source = qelRefAny(&later); };
  target = source;
  EXPECT_EQ(target.Get(), &later);
  EXPECT_EQ(later._GetRefCount(), 2);
  EXPECT_EQ(next._GetRefCount(), 0);
}

TEST(qelRefAnyAssignment, SharesANewObjectAndEndsAnOldOneOnce) {
  Object old, next;
  qelRefAny first(&old), second(&old), source(&next);
  first = source;
  EXPECT_EQ(old._GetRefCount(), 1);
  EXPECT_EQ(old.ended, 0);
  second = source;
  EXPECT_EQ(old.ended, 1);
  EXPECT_EQ(next._GetRefCount(), 3);
  EXPECT_EQ(first == second, 1);
}

TEST(qelRefAnyAssignment, TakesNullAndZero) {
  Object object;
  qelRefAny reference(&object);
  reference = 0;
  EXPECT_TRUE(reference.IsNull());
  EXPECT_EQ(object.ended, 1);
  reference = &object;
  EXPECT_EQ(object._GetRefCount(), 1);
  reference = nullptr;
  EXPECT_EQ(object.ended, 2);
}

TEST(qelRefAnyComparison, IsOneOrZeroByPointer) {
  Object a, b;
  const qelRefAny first(&a), same(&a), other(&b), null;
  EXPECT_TRUE((std::is_same_v<decltype(first == same), int>));
  EXPECT_TRUE((std::is_same_v<decltype(first != same), int>));
  EXPECT_EQ(first == same, 1);
  EXPECT_EQ(first == other, 0);
  EXPECT_EQ(first != same, 0);
  EXPECT_EQ(first != other, 1);
  EXPECT_EQ(null == 0, 1);
  EXPECT_EQ(first != 0, 1);
}

TEST(qelRefAnyPointedObject, IsReadAndOverwrittenWithoutACount) {
  Object a;
  OpenAny reference(&a);
  EXPECT_EQ(reference._GetPointedObject(), &a);
  reference._SetPointedObject(nullptr);
  EXPECT_TRUE(reference.IsNull());
  EXPECT_EQ(a._GetRefCount(), 1);
  reference._SetPointedObject(&a);
  EXPECT_EQ(a._GetRefCount(), 1);
}

TEST(qelRefAnyHooks, DoNothing) {
  Object a;
  const OpenAny reference(&a);
  reference.NullPointerAccess();
  reference.BadInitValue();
  EXPECT_EQ(reference.Get(), &a);
  EXPECT_EQ(a._GetRefCount(), 1);
}

TEST(qelRef, DeletesANewObjectWithItsOwnEnd) {
  int deleted = 0;
  {
    qelRef<Deleted> reference(new Deleted(&deleted));
    EXPECT_EQ(reference->_GetRefCount(), 1);
    EXPECT_EQ(deleted, 0);
  }
  EXPECT_EQ(deleted, 1);
}

TEST(qelRef, IsNullFromNothingAndFromAnyInt) {
  EXPECT_TRUE(qelRef<Object>().IsNull());
  EXPECT_TRUE(qelRef<Object>(5).IsNull());
  EXPECT_EQ(qelRef<Object>(0).Get(), nullptr);
  EXPECT_EQ(qelRef<Object>(nullptr).operator->(), nullptr);
}

TEST(qelRef, IsTypedAndCounts) {
  Object object;
  qelRef<Object> first = &object;
  qelRef<Object> second(first), third;
  third = second;
  EXPECT_TRUE((std::is_same_v<decltype(first.Get()), Object*>));
  EXPECT_EQ(object._GetRefCount(), 3);
  const qelRef<Object>& same = third;
  third = same;
  EXPECT_EQ(third->ended, 0);
  EXPECT_EQ(object._GetRefCount(), 3);
  third = 0;
  EXPECT_EQ(object._GetRefCount(), 2);
}

TEST(qelRef, FindsAnObjectWhoseCountIsNotAtItsStart) {
  Second* object = new Second;
  const qelRef<Second> reference(object);
  EXPECT_EQ(reference.Get(), object);
  EXPECT_EQ(reference->number, 7);
  EXPECT_EQ(object->_GetRefCount(), 1);
  EXPECT_EQ(qelRef<Second>().Get(), nullptr);
}

TEST(qelRef, ComparesAsBoolAndAsInt) {
  Object a, b;
  const qelRef<Object> first(&a), same(&a), other(&b);
  EXPECT_TRUE((std::is_same_v<decltype(first == same), bool>));
  EXPECT_TRUE((std::is_same_v<decltype(first != same), int>));
  EXPECT_TRUE(first == same);
  EXPECT_FALSE(first == other);
  EXPECT_EQ(first != same, 0);
  EXPECT_EQ(first != other, 1);
  EXPECT_FALSE(first == 0);
}

TEST(qelRef, ReadsAndOverwritesItsPointerWithoutACount) {
  Object a;
  OpenRef reference(&a);
  EXPECT_TRUE((std::is_same_v<decltype(reference._GetPointedObject()), Object*>));
  EXPECT_EQ(reference._GetPointedObject(), &a);
  reference._SetPointedObject(nullptr);
  EXPECT_TRUE(reference.IsNull());
  reference._SetPointedObject(&a);
  EXPECT_EQ(a._GetRefCount(), 1);
}

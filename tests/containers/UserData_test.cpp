#include <qel/containers/UserData.h>

#include <type_traits>

#include <gtest/gtest.h>

namespace {

// Tells of its own end.
struct Payload : qelUserData {
  explicit Payload(int* counter) : ended(counter) {}
  ~Payload() override { *ended += 1; }
  int* ended;
};

void RetainTimes(const qelRefCounted& object, int times) {
  for (int i = 0; i < times; ++i)
    object.Retain();
}

// A copy and an assigned object have the count of their source.
template <class T>
void ExpectCountsCopied(const T& source, T& target) {
  RetainTimes(source, 3);
  const T copy(source);
  EXPECT_EQ(copy._GetRefCount(), 3);
  EXPECT_EQ(&(target = source), &target);
  EXPECT_EQ(target._GetRefCount(), 3);
}

} // namespace

TEST(qelUserData, IsMadeAndEndedByItsSubclassesOnly) {
  EXPECT_FALSE(std::is_destructible_v<qelUserData>);
  EXPECT_FALSE(std::is_default_constructible_v<qelUserData>);
  EXPECT_EQ(sizeof(qelUserData), sizeof(qelRefCounted));
  EXPECT_TRUE(std::has_virtual_destructor_v<qelUserData_VoidPtr>);
}

TEST(qelUserData, EndsWithItsLastReference) {
  int ended = 0;
  {
    qelRef<qelUserData> first(new Payload(&ended));
    qelRef<qelUserData> second(first);
    first = 0;
    EXPECT_EQ(ended, 0);
    EXPECT_EQ(second->_GetRefCount(), 1);
  }
  EXPECT_EQ(ended, 1);
}

TEST(qelUserData_VoidPtr, LeavesItsPointerAlone) {
  int value = 5;
  {
    qelRef<qelUserData> reference(new qelUserData_VoidPtr(&value));
    EXPECT_EQ(static_cast<qelUserData_VoidPtr*>(reference.Get())->value, &value);
  }
  EXPECT_EQ(value, 5);
  EXPECT_EQ(qelUserData_VoidPtr(nullptr).value, nullptr);
}

TEST(qelUserData_VoidPtr, CopiesPointerAndCount) {
  int value = 0;
  qelUserData_VoidPtr source(&value), target(nullptr);
  ExpectCountsCopied(source, target);
  EXPECT_EQ(target.value, &value);
  EXPECT_EQ(qelUserData_VoidPtr(source).value, &value);
}

TEST(qelUserData_CString, SharesTheBlockOfItsText) {
  const qelCString text("a text");
  const qelUserData_CString data(text);
  EXPECT_EQ(data.value.c_str(), text.c_str());
  EXPECT_STREQ(data.value.c_str(), "a text");
}

TEST(qelUserData_CString, CopiesTextAndCount) {
  qelUserData_CString source(qelCString("a text")), target(qelCString("other"));
  ExpectCountsCopied(source, target);
  EXPECT_STREQ(target.value.c_str(), "a text");
  EXPECT_STREQ(qelUserData_CString(source).value.c_str(), "a text");
}

TEST(qelUserData_2CString, HoldsTwoTextsInOrder) {
  const qelCString first("first"), second("second");
  const qelUserData_2CString data(first, second);
  EXPECT_EQ(data.value1.c_str(), first.c_str());
  EXPECT_EQ(data.value2.c_str(), second.c_str());
  EXPECT_STREQ(data.value1.c_str(), "first");
  EXPECT_STREQ(data.value2.c_str(), "second");
}

TEST(qelUserData_2CString, CopiesTextsAndCount) {
  qelUserData_2CString source(qelCString("a"), qelCString("b"));
  qelUserData_2CString target(qelCString("c"), qelCString("d"));
  ExpectCountsCopied(source, target);
  EXPECT_STREQ(target.value1.c_str(), "a");
  EXPECT_STREQ(target.value2.c_str(), "b");
}

TEST(qelUserData_uint32, HoldsAllOf32Bits) {
  EXPECT_EQ(qelUserData_uint32(0).value, 0u);
  EXPECT_EQ(qelUserData_uint32(0xFFFFFFFFu).value, 0xFFFFFFFFu);
  EXPECT_EQ(sizeof(qelUserData_uint32::value), 4u);
}

TEST(qelUserData_uint32, CopiesNumberAndCount) {
  qelUserData_uint32 source(77), target(1);
  ExpectCountsCopied(source, target);
  EXPECT_EQ(target.value, 77u);
  const qelUserData_uint32 copy(source);
  EXPECT_EQ(copy.value, 77u);
  EXPECT_EQ(copy._GetRefCount(), 3);
}

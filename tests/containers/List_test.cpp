#include <qel/containers/List.h>

#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

template <class T>
std::vector<T> Values(qelList<T>& list) {
  std::vector<T> values;
  qelListIterator<T> it(&list);
  while (it.Next())
    values.push_back(it.GetValue());
  EXPECT_EQ(list.size(), values.size());
  return values;
}

template <class T>
qelListItem<T>& First(const qelList<T>& list) {
  return *static_cast<qelListItem<T>*>(list.GetBegin());
}

template <class T>
qelListItem<T>& Last(const qelList<T>& list) {
  return *static_cast<qelListItem<T>*>(list.GetEnd());
}

qelList<int>* Fill(qelList<int>* list, std::initializer_list<int> values) {
  for (int value : values)
    list->push_back(value);
  return list;
}

// A value that counts its living copies.
struct Counted {
  explicit Counted(int n) : number(n) { ++living; }
  Counted(const Counted& other) : number(other.number) { ++living; }
  ~Counted() { --living; }
  bool operator==(const Counted& other) const { return number == other.number; }
  int number;
  static int living;
};
int Counted::living = 0;

// Counts the calls of the virtual slots.
struct Watched : qelList<int> {
  void Remove(qelBaseListItem* item) override {
    removed += 1;
    qelList<int>::Remove(item);
  }
  int removed = 0;
};

} // namespace

TEST(qelList, AddsNoFieldToItsBase) {
  EXPECT_EQ(sizeof(qelList<void*>), sizeof(qelBaseList));
  EXPECT_TRUE(std::has_virtual_destructor_v<qelList<void*>>);
  EXPECT_TRUE((std::is_base_of_v<qelBaseListItem, qelListItem<int>>));
  EXPECT_TRUE((std::is_base_of_v<qelBaseListForwardIterator, qelListIterator<int>>));
}

TEST(qelList, StartsEmpty) {
  qelList<int> list;
  EXPECT_EQ(list.size(), 0u);
  EXPECT_EQ(list.GetBegin(), nullptr);
  EXPECT_EQ(list.GetEnd(), nullptr);
}

TEST(qelListDestructor, EndsItsValues) {
  {
    qelList<Counted> list;
    list.push_back(Counted(1));
    list.push_back(Counted(2));
    EXPECT_EQ(Counted::living, 2);
  }
  EXPECT_EQ(Counted::living, 0);
}

TEST(qelListDestructor, DisarmsIterators) {
  auto list = std::make_unique<qelList<int>>();
  list->push_back(1);
  qelListIterator<int> it(list.get());
  EXPECT_TRUE(it.Next());
  list.reset();
  EXPECT_FALSE(it.Next());
  EXPECT_EQ(it.GetItem(), nullptr);
}

TEST(qelListPush, AddsAtTheEnds) {
  qelList<int> list;
  list.push_back(2);
  list.push_back(3);
  list.push_front(1);
  EXPECT_THAT(Values(list), ElementsAre(1, 2, 3));
  EXPECT_EQ(list.front(), 1);
  EXPECT_EQ(list.back(), 3);
}

TEST(qelListPush, TakesAValueOfTheListItself) {
  qelList<std::string> list;
  list.push_back(std::string(100, 'a'));
  list.push_back(list.front());
  list.push_front(list.back());
  EXPECT_EQ(list.size(), 3u);
  EXPECT_EQ(list.back(), std::string(100, 'a'));
}

TEST(qelListPushAfter, AddsBehindTheItem) {
  qelList<int> list;
  Fill(&list, {1, 3});
  list.push_after(2, First(list));
  list.push_after(4, Last(list));
  EXPECT_THAT(Values(list), ElementsAre(1, 2, 3, 4));
}

TEST(qelListPushBefore, AddsAheadOfTheItem) {
  qelList<int> list;
  Fill(&list, {2, 4});
  list.push_before(3, Last(list));
  list.push_before(1, First(list));
  EXPECT_THAT(Values(list), ElementsAre(1, 2, 3, 4));
}

TEST(qelListPop, RemovesAtTheEnds) {
  qelList<int> list;
  Fill(&list, {1, 2, 3});
  list.pop_front();
  EXPECT_THAT(Values(list), ElementsAre(2, 3));
  list.pop_back();
  EXPECT_THAT(Values(list), ElementsAre(2));
  list.pop_back();
  EXPECT_THAT(Values(list), IsEmpty());
}

TEST(qelListPop, RemovesTheFirstEqualValueOnly) {
  qelList<int> list;
  Fill(&list, {1, 2, 1, 2});
  list.pop(2);
  EXPECT_THAT(Values(list), ElementsAre(1, 1, 2));
  list.pop(7);
  EXPECT_THAT(Values(list), ElementsAre(1, 1, 2));
}

TEST(qelListPop, TakesAValueOfTheListItself) {
  qelList<Counted> list;
  list.push_back(Counted(1));
  list.push_back(Counted(2));
  list.pop(list.back());
  EXPECT_EQ(list.back().number, 1);
  EXPECT_EQ(Counted::living, 1);
}

TEST(qelListPop, OfAValueInAnEmptyListDoesNothing) {
  qelList<int> list;
  list.pop(1);
  EXPECT_EQ(list.size(), 0u);
}

TEST(qelListPop, RemovesAnItem) {
  qelList<int> list;
  Fill(&list, {1, 1, 2});
  list.pop(Last(list));
  EXPECT_THAT(Values(list), ElementsAre(1, 1));
}

TEST(qelListPop, RemovesTheCurrentItemOfAnIterator) {
  qelList<int> list;
  Fill(&list, {1, 2, 3});
  qelListIterator<int> it(&list);
  it.Next();
  it.Next();
  list.pop(it);
  EXPECT_EQ(it.GetValue(), 1);
  EXPECT_TRUE(it.Next());
  EXPECT_EQ(it.GetValue(), 3);
  EXPECT_THAT(Values(list), ElementsAre(1, 3));
}

TEST(qelListPop, EmptiesAListInTheMiddleOfAWalk) {
  qelList<int> list;
  Fill(&list, {1, 2, 3});
  std::vector<int> seen;
  qelListIterator<int> it(&list);
  while (it.Next()) {
    seen.push_back(it.GetValue());
    list.pop(it);
  }
  EXPECT_THAT(seen, ElementsAre(1, 2, 3));
  EXPECT_EQ(list.size(), 0u);
}

TEST(qelListPop, GoesThroughTheVirtualRemove) {
  Watched list;
  Fill(&list, {1, 2, 3, 4, 5, 6});
  qelListIterator<int> it(&list);
  it.Next();
  list.pop(it);
  list.pop(First(list));
  list.pop(4);
  list.pop_front();
  list.pop_back();
  EXPECT_EQ(list.removed, 5);
  list.erase();
  EXPECT_EQ(list.removed, 6);
}

TEST(qelListErase, EmptiesAndKeepsIteratorsAttached) {
  qelList<int> list;
  Fill(&list, {1, 2, 3});
  qelListIterator<int> first(&list), last(&list);
  first.Next();
  while (last.GetItem() == nullptr || last.GetValue() != 3)
    last.Next();
  list.erase();
  EXPECT_EQ(list.size(), 0u);
  EXPECT_EQ(first.GetItem(), nullptr);
  EXPECT_EQ(last.GetItem(), nullptr);
  EXPECT_FALSE(first.Next());
  list.push_back(4);
  EXPECT_TRUE(first.Next());
  EXPECT_TRUE(last.Next());
  EXPECT_EQ(last.GetValue(), 4);
}

TEST(qelListErase, OfAnEmptyListDoesNothing) {
  qelList<int> list;
  list.erase();
  EXPECT_EQ(list.size(), 0u);
}

TEST(qelListIterator, GivesItemAndValueToChange) {
  qelList<int> list;
  list.push_back(1);
  qelListIterator<int> it(&list);
  EXPECT_EQ(it.GetItem(), nullptr);
  it.Next();
  EXPECT_EQ(it.GetItem(), list.GetBegin());
  it.GetValue() = 5;
  it.GetItem()->value += 1;
  EXPECT_EQ(list.front(), 6);
}

TEST(qelListOfPointers, ComparesAddresses) {
  int a = 0, b = 0;
  qelList<void*> list;
  list.push_back(&a);
  list.push_back(&b);
  list.pop(&a);
  EXPECT_THAT(Values(list), ElementsAre(static_cast<void*>(&b)));
}

TEST(qelListOfReferences, HoldsACountForEachItem) {
  struct Object : qelRefCounted {};
  qelRef<Object> object(new Object);
  qelList<qelRef<Object>> list;
  list.push_back(object);
  list.push_front(object);
  EXPECT_EQ(object->_GetRefCount(), 3);
  list.pop(object);
  EXPECT_EQ(object->_GetRefCount(), 2);
  list.erase();
  EXPECT_EQ(object->_GetRefCount(), 1);
}

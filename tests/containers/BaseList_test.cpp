#include <qel/containers/BaseList.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <new>
#include <optional>
#include <random>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<int> g_deleted;

std::vector<int> TakeDeleted() {
  return std::exchange(g_deleted, {});
}

struct Item : qelBaseListItem {
  explicit Item(int number) : id(number) {}
  ~Item() override { g_deleted.push_back(id); }
  const int id;
};

int Id(const qelBaseListItem* item) {
  return item != nullptr ? static_cast<const Item*>(item)->id : 0;
}

struct List : qelBaseList {
  using qelBaseList::AttachIterator;
  using qelBaseList::CloseIterators;
  using qelBaseList::DetachIterator;
  using qelBaseList::ItemRemoved;
  using qelBaseList::m_count;
  using qelBaseList::m_head;
  using qelBaseList::m_iterators;
  using qelBaseList::m_tail;

  List() = default;
  List(std::initializer_list<int> ids) {
    for (int id : ids)
      Add(id);
  }
  Item* Add(int id) {
    Item* item = new Item(id);
    PushBack(item);
    return item;
  }
  qelBaseListItem* At(size_t index) const {
    qelBaseListItem* item = GetBegin();
    while (index-- > 0)
      item = item->GetNext();
    return item;
  }
  size_t OpenIterators() const;
};

// The iterators of the tests: 0 stands for no item.
struct Forward : qelBaseListForwardIterator {
  using qelBaseListIterator::ListDeleted;
  using qelBaseListIterator::m_list;
  using qelBaseListIterator::m_nextIterator;

  explicit Forward(qelBaseList* list) : qelBaseListForwardIterator(list) {}
  int On() const { return Id(m_current); }
  qelBaseListItem* Get() const { return m_current; }
};

struct Reverse : qelBaseListReverseIterator {
  explicit Reverse(qelBaseList* list) : qelBaseListReverseIterator(list) {}
  int On() const { return Id(m_current); }
  qelBaseListItem* Get() const { return m_current; }
};

size_t List::OpenIterators() const {
  size_t open = 0;
  for (const qelBaseListIterator* it = m_iterators; it != nullptr;
       it = it->*(&Forward::m_nextIterator))
    ++open;
  return open;
}

// The ids from the head on, after a look at every link and the count.
std::vector<int> Ids(const List& list) {
  std::vector<int> ids;
  const qelBaseListItem* previous = nullptr;
  for (const qelBaseListItem* item = list.GetBegin(); item != nullptr; item = item->GetNext()) {
    EXPECT_EQ(item->GetPrev(), previous);
    ids.push_back(Id(item));
    previous = item;
  }
  EXPECT_EQ(list.GetEnd(), previous);
  EXPECT_EQ(list.m_count, ids.size());
  return ids;
}

// Its end takes another item out of the list.
struct Taker : Item {
  Taker(int number, qelBaseList* from, qelBaseListItem* other)
      : Item(number), list(from), victim(other) {}
  ~Taker() override { list->Remove(victim); }
  qelBaseList* list; // in its own end it is no more than this
  qelBaseListItem* victim;
};

class BaseList : public testing::Test {
protected:
  void SetUp() override { g_deleted.clear(); }
};
using qelBaseListPush = BaseList;
using qelBaseListRemove = BaseList;
using qelBaseListDetach = BaseList;
using qelBaseListDestructor = BaseList;
using qelBaseListCopy = BaseList;
using qelBaseListIterators = BaseList;
using qelBaseListForwardIteratorNext = BaseList;
using qelBaseListReverseIteratorPrev = BaseList;
using qelBaseListItemRemove = BaseList;
using qelBaseListModel = BaseList;

} // namespace

TEST(qelBaseListItem, StartsWithClearLinks) {
  Item item(1);
  EXPECT_EQ(item.GetNext(), nullptr);
  EXPECT_EQ(item.GetPrev(), nullptr);
}

TEST(qelBaseListTypes, HaveVirtualDestructors) {
  EXPECT_TRUE(std::has_virtual_destructor_v<qelBaseListItem>);
  EXPECT_TRUE(std::has_virtual_destructor_v<qelBaseList>);
  EXPECT_TRUE(std::has_virtual_destructor_v<qelBaseListIterator>);
  EXPECT_TRUE(std::has_virtual_destructor_v<qelBaseListForwardIterator>);
  EXPECT_TRUE(std::has_virtual_destructor_v<qelBaseListReverseIterator>);
  EXPECT_EQ(sizeof(qelBaseListForwardIterator), sizeof(qelBaseListIterator));
  EXPECT_EQ(sizeof(qelBaseListReverseIterator), sizeof(qelBaseListIterator));
}

TEST_F(qelBaseListItemRemove, UnlinksButKeepsItsLinksAndMovesNoIterator) {
  List list{1, 2, 3};
  qelBaseListItem* item = list.At(1);
  Forward it(&list);
  it.Next();
  it.Next();
  item->Remove(&list);
  EXPECT_THAT(Ids(list), ElementsAre(1, 3));
  EXPECT_EQ(Id(item->GetPrev()), 1);
  EXPECT_EQ(Id(item->GetNext()), 3);
  EXPECT_EQ(it.On(), 2);
  list.ItemRemoved(item);
  EXPECT_EQ(it.On(), 1);
  delete item;
}

TEST_F(qelBaseListItemRemove, MovesTheEnds) {
  List list{1, 2, 3};
  std::unique_ptr<qelBaseListItem> first(list.At(0));
  first->Remove(&list);
  EXPECT_THAT(Ids(list), ElementsAre(2, 3));
  std::unique_ptr<qelBaseListItem> last(list.At(1));
  last->Remove(&list);
  EXPECT_THAT(Ids(list), ElementsAre(2));
  std::unique_ptr<qelBaseListItem> only(list.At(0));
  only->Remove(&list);
  EXPECT_THAT(Ids(list), IsEmpty());
}

TEST(qelBaseListIteratorListDeleted, ForgetsListAndItem) {
  List list{1};
  Forward it(&list);
  it.Next();
  it.ListDeleted();
  EXPECT_EQ(it.m_list, nullptr);
  EXPECT_EQ(it.On(), 0);
  list.CloseIterators();
}

TEST_F(qelBaseListIterators, AttachAtTheHeadOfTheChain) {
  List list;
  Forward first(&list);
  EXPECT_EQ(list.m_iterators, &first);
  {
    Reverse second(&list);
    EXPECT_EQ(list.m_iterators, &second);
    EXPECT_EQ(list.OpenIterators(), 2u);
  }
  EXPECT_EQ(list.m_iterators, &first);
  EXPECT_EQ(first.m_nextIterator, nullptr);
}

TEST_F(qelBaseListIterators, DetachFromAnyPlaceInTheChain) {
  for (size_t place = 0; place < 3; ++place) {
    List list{1};
    std::unique_ptr<Forward> its[3];
    for (std::unique_ptr<Forward>& it : its)
      it = std::make_unique<Forward>(&list);
    its[place].reset();
    EXPECT_EQ(list.OpenIterators(), 2u);
    for (std::unique_ptr<Forward>& it : its)
      EXPECT_TRUE(it == nullptr || it->Next());
  }
}

TEST_F(qelBaseListIterators, IgnoreADetachOfAnUnknownOne) {
  List list, other;
  Forward it(&list);
  Forward stranger(&other);
  list.DetachIterator(&stranger);
  EXPECT_EQ(list.m_iterators, &it);
  EXPECT_EQ(other.m_iterators, &stranger);
  List empty;
  empty.DetachIterator(&stranger);
  EXPECT_EQ(empty.m_iterators, nullptr);
}

TEST_F(qelBaseListIterators, AreDisarmedByCloseIterators) {
  List list{1, 2};
  Forward forward(&list);
  Reverse reverse(&list);
  forward.Next();
  reverse.Prev();
  list.CloseIterators();
  EXPECT_EQ(list.m_iterators, nullptr);
  EXPECT_EQ(forward.On(), 0);
  EXPECT_EQ(reverse.On(), 0);
  EXPECT_FALSE(forward.Next());
  EXPECT_FALSE(reverse.Prev());
}

TEST_F(qelBaseListForwardIteratorNext, VisitsEveryItemAndStartsAgainBehindTheEnd) {
  List list{1, 2};
  Forward it(&list);
  EXPECT_EQ(it.On(), 0);
  for (int round = 0; round < 2; ++round) {
    EXPECT_TRUE(it.Next());
    EXPECT_EQ(it.On(), 1);
    EXPECT_TRUE(it.Next());
    EXPECT_EQ(it.On(), 2);
    EXPECT_FALSE(it.Next());
    EXPECT_EQ(it.On(), 0);
  }
}

TEST_F(qelBaseListForwardIteratorNext, IsFalseInAnEmptyListUntilItHasItems) {
  List list;
  Forward it(&list);
  EXPECT_FALSE(it.Next());
  EXPECT_FALSE(it.Next());
  list.Add(1);
  EXPECT_TRUE(it.Next());
}

TEST_F(qelBaseListForwardIteratorNext, VisitsEachOnceWhenTheCurrentItemIsRemovedAtEachStep) {
  List list{1, 2, 3, 4};
  std::vector<int> seen;
  Forward it(&list);
  while (it.Next()) {
    seen.push_back(it.On());
    list.Remove(it.Get());
  }
  EXPECT_THAT(seen, ElementsAre(1, 2, 3, 4));
  EXPECT_THAT(TakeDeleted(), ElementsAre(1, 2, 3, 4));
  EXPECT_THAT(Ids(list), IsEmpty());
}

TEST_F(qelBaseListForwardIteratorNext, VisitsEachOnceWhicheverItemIsRemovedFirst) {
  for (int first = 1; first <= 4; ++first) {
    List list{1, 2, 3, 4};
    std::vector<int> seen;
    Forward it(&list);
    while (it.Next()) {
      seen.push_back(it.On());
      if (it.On() >= first)
        list.Remove(it.Get());
    }
    EXPECT_THAT(seen, ElementsAre(1, 2, 3, 4)) << "first " << first;
    EXPECT_EQ(Ids(list).size(), static_cast<size_t>(first - 1));
  }
}

TEST_F(qelBaseListForwardIteratorNext, ReachesTheNewHeadAfterTheHeadWasRemoved) {
  List list{1, 2, 3};
  Forward it(&list);
  it.Next();
  list.Remove(list.GetBegin());
  EXPECT_EQ(it.On(), 0);
  EXPECT_TRUE(it.Next());
  EXPECT_EQ(it.On(), 2);
}

TEST_F(qelBaseListForwardIteratorNext, EndsAfterTheTailWasRemoved) {
  List list{1, 2};
  Forward it(&list);
  it.Next();
  it.Next();
  list.Remove(list.GetEnd());
  EXPECT_EQ(it.On(), 1);
  EXPECT_FALSE(it.Next());
}

TEST_F(qelBaseListForwardIteratorNext, MeetsWhatIsInsertedAheadOfItOnly) {
  List list{1, 2};
  Forward it(&list);
  it.Next();
  list.PushFront(new Item(8));
  list.PushAfter(new Item(9), it.Get());
  EXPECT_EQ(it.On(), 1);
  EXPECT_TRUE(it.Next());
  EXPECT_EQ(it.On(), 9);
  EXPECT_TRUE(it.Next());
  EXPECT_EQ(it.On(), 2);
}

TEST_F(qelBaseListReverseIteratorPrev, VisitsEveryItemAndStartsAgainAheadOfTheHead) {
  List list{1, 2};
  Reverse it(&list);
  for (int round = 0; round < 2; ++round) {
    EXPECT_TRUE(it.Prev());
    EXPECT_EQ(it.On(), 2);
    EXPECT_TRUE(it.Prev());
    EXPECT_EQ(it.On(), 1);
    EXPECT_FALSE(it.Prev());
    EXPECT_EQ(it.On(), 0);
  }
}

TEST_F(qelBaseListReverseIteratorPrev, IsFalseInAnEmptyList) {
  List list;
  Reverse it(&list);
  EXPECT_FALSE(it.Prev());
}

TEST_F(qelBaseListReverseIteratorPrev, SkipsOneItemAfterARemoval) {
  List list{1, 2, 3, 4};
  Reverse it(&list);
  it.Prev();
  it.Prev();
  list.Remove(it.Get());
  EXPECT_EQ(it.On(), 2);
  EXPECT_TRUE(it.Prev());
  EXPECT_EQ(it.On(), 1);
}

TEST_F(qelBaseListReverseIteratorPrev, StartsAgainAtTheTailAfterTheHeadWasRemoved) {
  List list{1, 2, 3};
  Reverse it(&list);
  while (it.On() != 1)
    it.Prev();
  list.Remove(list.GetBegin());
  EXPECT_EQ(it.On(), 0);
  EXPECT_TRUE(it.Prev());
  EXPECT_EQ(it.On(), 3);
}

TEST_F(qelBaseListReverseIteratorPrev, IsFalseAfterTheOnlyItemWasRemoved) {
  List list{1};
  Reverse it(&list);
  it.Prev();
  list.Remove(list.GetBegin());
  EXPECT_FALSE(it.Prev());
}

TEST(qelBaseListConstructor, ClearsAllFields) {
  List list;
  EXPECT_EQ(list.m_iterators, nullptr);
  EXPECT_EQ(list.GetBegin(), nullptr);
  EXPECT_EQ(list.GetEnd(), nullptr);
  EXPECT_EQ(list.m_count, 0u);
}

TEST_F(qelBaseListDestructor, DeletesItsItemsFromTheHeadOn) {
  { List list{1, 2, 3}; }
  EXPECT_THAT(TakeDeleted(), ElementsAre(1, 2, 3));
}

TEST_F(qelBaseListDestructor, DisarmsIteratorsThatOutliveIt) {
  auto list = std::make_unique<List>(std::initializer_list<int>{1, 2});
  Forward forward(list.get());
  Reverse reverse(list.get());
  forward.Next();
  reverse.Prev();
  list.reset();
  EXPECT_EQ(forward.On(), 0);
  for (int i = 0; i < 2; ++i) {
    EXPECT_FALSE(forward.Next());
    EXPECT_FALSE(reverse.Prev());
  }
}

TEST_F(qelBaseListDestructor, DisarmsIteratorsAheadOfTheFirstDelete) {
  struct Looker : qelBaseListItem {
    explicit Looker(Forward* it) : iterator(it) {}
    ~Looker() override { g_deleted.push_back(iterator->m_list == nullptr ? 1 : 0); }
    Forward* iterator;
  };
  auto list = std::make_unique<List>();
  Forward it(list.get());
  list->PushBack(new Looker(&it));
  list.reset();
  EXPECT_THAT(TakeDeleted(), ElementsAre(1));
}

TEST_F(qelBaseListDestructor, StepsTheHeadButLeavesTheCount) {
  struct Looker : qelBaseListItem {
    explicit Looker(List* l) : list(l) {}
    ~Looker() override {
      g_deleted.push_back(Id(list->GetBegin()));
      g_deleted.push_back(static_cast<int>(list->m_count));
    }
    List* list;
  };
  {
    List list{5};
    list.PushFront(new Looker(&list));
  }
  EXPECT_THAT(TakeDeleted(), ElementsAre(5, 2, 5));
}

// The list's own end walks on from what is left, too.
TEST_F(qelBaseListDestructor, AllowsARemovalInTheEndOfAnItem) {
  for (size_t victim = 0; victim < 3; ++victim) {
    {
      List list{1, 2, 3};
      list.PushFront(new Taker(9, &list, list.At(victim)));
    }
    std::vector<int> expected{1, 2, 3};
    expected.erase(expected.begin() + static_cast<std::ptrdiff_t>(victim));
    expected.insert(expected.begin(), {static_cast<int>(victim) + 1, 9});
    EXPECT_EQ(TakeDeleted(), expected);
  }
}

TEST_F(qelBaseListCopy, SharesTheItems) {
  List list{1, 2};
  // A copy that is never destroyed: its items have an owner already.
  alignas(List) unsigned char room[sizeof(List)];
  List* copy = new (room) List(list);
  EXPECT_EQ(copy->GetBegin(), list.GetBegin());
  EXPECT_EQ(copy->GetEnd(), list.GetEnd());
  EXPECT_EQ(copy->m_count, 2u);
  EXPECT_EQ(copy->m_iterators, nullptr);
  List* assigned = new (room) List();
  *assigned = list;
  EXPECT_EQ(assigned->GetBegin(), list.GetBegin());
  EXPECT_EQ(assigned->m_count, 2u);
}

TEST_F(qelBaseListPush, LinksAtTheEnds) {
  List list;
  list.PushBack(new Item(2));
  list.PushBack(new Item(3));
  list.PushFront(new Item(1));
  EXPECT_THAT(Ids(list), ElementsAre(1, 2, 3));
  List other;
  other.PushFront(new Item(2));
  other.PushFront(new Item(1));
  EXPECT_THAT(Ids(other), ElementsAre(1, 2));
}

TEST_F(qelBaseListPush, OnlyCountsWhereOneEndIsMissing) {
  List list{1};
  Item item(2);
  list.m_tail = nullptr;
  list.PushBack(&item);
  EXPECT_EQ(list.m_count, 2u);
  EXPECT_EQ(list.m_tail, nullptr);
  EXPECT_EQ(list.GetBegin()->GetNext(), nullptr);
  EXPECT_EQ(item.GetPrev(), nullptr);

  list.m_tail = std::exchange(list.m_head, nullptr);
  list.PushFront(&item);
  EXPECT_EQ(list.m_count, 3u);
  EXPECT_EQ(list.m_head, nullptr);
  EXPECT_EQ(list.GetEnd()->GetPrev(), nullptr);
  EXPECT_EQ(item.GetNext(), nullptr);
  list.m_head = list.m_tail;
}

TEST_F(qelBaseListPush, AfterTheTailOrNullIsPushBack) {
  List list;
  list.PushAfter(new Item(1), nullptr);
  list.PushAfter(new Item(2), list.GetEnd());
  list.PushAfter(new Item(3), nullptr);
  EXPECT_THAT(Ids(list), ElementsAre(1, 2, 3));
}

TEST_F(qelBaseListPush, AfterAnItemLinksBehindIt) {
  List list{1, 3};
  list.PushAfter(new Item(2), list.GetBegin());
  EXPECT_THAT(Ids(list), ElementsAre(1, 2, 3));
}

TEST_F(qelBaseListPush, BeforeTheHeadOrNullIsPushFront) {
  List list;
  list.PushBefore(new Item(3), nullptr);
  list.PushBefore(new Item(2), list.GetBegin());
  list.PushBefore(new Item(1), nullptr);
  EXPECT_THAT(Ids(list), ElementsAre(1, 2, 3));
}

TEST_F(qelBaseListPush, BeforeAnItemLinksAheadOfIt) {
  List list{1, 3};
  list.PushBefore(new Item(2), list.GetEnd());
  EXPECT_THAT(Ids(list), ElementsAre(1, 2, 3));
}

TEST_F(qelBaseListRemove, DeletesTheItem) {
  List list{1, 2, 3};
  list.Remove(list.At(1));
  EXPECT_THAT(TakeDeleted(), ElementsAre(2));
  EXPECT_THAT(Ids(list), ElementsAre(1, 3));
}

TEST_F(qelBaseListRemove, LeavesIteratorsOnOtherItems) {
  List list{1, 2, 3};
  Forward it(&list);
  it.Next();
  it.Next();
  list.Remove(list.GetBegin());
  list.Remove(list.GetEnd());
  EXPECT_EQ(it.On(), 2);
}

TEST_F(qelBaseListRemove, RepairsEveryIteratorOnTheItem) {
  List list{1, 2, 3};
  Forward one(&list), two(&list);
  Reverse three(&list);
  for (int i = 0; i < 2; ++i) {
    one.Next();
    two.Next();
    three.Prev();
  }
  list.Remove(one.Get());
  EXPECT_EQ(one.On(), 1);
  EXPECT_EQ(two.On(), 1);
  EXPECT_EQ(three.On(), 1);
}

TEST_F(qelBaseListRemove, RepairsIteratorsAheadOfTheDelete) {
  struct Looker : qelBaseListItem {
    Forward* iterator = nullptr;
    List* list = nullptr;
    ~Looker() override {
      g_deleted.push_back(iterator->On());
      g_deleted.push_back(static_cast<int>(list->m_count));
    }
  };
  List list{7};
  Looker* looker = new Looker;
  Forward it(&list);
  looker->iterator = &it;
  looker->list = &list;
  list.PushBack(looker);
  it.Next();
  it.Next();
  list.Remove(looker);
  EXPECT_THAT(TakeDeleted(), ElementsAre(7, 1));
}

TEST_F(qelBaseListRemove, AllowsARemovalInTheEndOfAnItem) {
  for (size_t victim = 0; victim < 3; ++victim) {
    g_deleted.clear();
    List list{1, 2, 3};
    Taker* taker = new Taker(9, &list, list.At(victim));
    list.PushAfter(taker, list.At(1));
    Forward onTaker(&list), onVictim(&list);
    while (onTaker.Get() != taker)
      onTaker.Next();
    while (onVictim.Get() != taker->victim)
      onVictim.Next();
    list.Remove(taker);
    EXPECT_EQ(TakeDeleted(), (std::vector<int>{static_cast<int>(victim) + 1, 9}));
    EXPECT_EQ(Ids(list).size(), 2u);
    EXPECT_EQ(onTaker.On(), victim == 1 ? 1 : 2);
    EXPECT_EQ(onVictim.On(), static_cast<int>(victim));
  }
}

TEST_F(qelBaseListDetach, HandsOutAnItemThatCanBePushedAtOnce) {
  List list{1, 2, 3}, other{9};
  Forward it(&list);
  it.Next();
  it.Next();
  qelBaseListItem* item = it.Get();
  list.Detach(item);
  EXPECT_EQ(item->GetNext(), nullptr);
  EXPECT_EQ(item->GetPrev(), nullptr);
  EXPECT_THAT(TakeDeleted(), IsEmpty());
  EXPECT_EQ(it.On(), 1);
  other.PushFront(item);
  EXPECT_THAT(Ids(list), ElementsAre(1, 3));
  EXPECT_THAT(Ids(other), ElementsAre(2, 9));
  EXPECT_TRUE(it.Next());
  EXPECT_EQ(it.On(), 3);
}

TEST_F(qelBaseListDetach, IsCalledThroughTheVirtualSlotsAsRemoveIs) {
  struct Counting : List {
    void Remove(qelBaseListItem* item) override {
      removed += 1;
      List::Remove(item);
    }
    void Detach(qelBaseListItem* item) override {
      detached += 1;
      List::Detach(item);
    }
    int removed = 0;
    int detached = 0;
  };
  Counting list;
  list.Add(1);
  qelBaseList* base = &list;
  std::unique_ptr<qelBaseListItem> item(base->GetBegin());
  base->Detach(item.get());
  base->PushBack(item.release());
  base->Remove(base->GetBegin());
  EXPECT_EQ(list.removed, 1);
  EXPECT_EQ(list.detached, 1);
}

namespace {

// Plain statements of what list and iterators hold: ids in order, and for each iterator the id that
// it stands on. 0 stands for no item.
struct ModelIterator {
  bool forward = true;
  bool open = true; // the list still lives
  int on = 0;

  void Step(const std::vector<int>& ids) {
    std::vector<int> way = ids;
    if (!forward)
      std::reverse(way.begin(), way.end());
    if (!open || way.empty()) {
      on = 0;
    } else if (on == 0) {
      on = way.front();
    } else {
      const auto next = std::next(std::find(way.begin(), way.end(), on));
      on = next == way.end() ? 0 : *next;
    }
  }
};

class Pair {
public:
  explicit Pair(unsigned seed) : m_random(seed), m_list(std::make_unique<List>()) {}

  void Act() {
    switch (Below(16)) {
    case 0:
    case 1:
    case 2:
      return Insert();
    case 3:
      return Remove(Below(m_ids.size()));
    case 4:
      return RemoveAtAnIterator();
    case 5:
      return Move();
    case 6:
      return Open();
    case 7:
      return Below(3) == 0 ? Close() : Open();
    case 8:
      return Below(40) == 0 ? EndList() : Insert();
    case 9:
      return Below(20) == 0 ? RemoveAll() : Insert();
    default:
      return Step();
    }
  }

  void Check() const {
    ASSERT_EQ(Ids(*m_list), m_ids);
    size_t open = 0;
    for (const Walk& walk : m_walks) {
      ASSERT_EQ(walk.forward != nullptr ? walk.forward->On() : walk.reverse->On(), walk.model.on);
      open += walk.model.open ? 1 : 0;
    }
    ASSERT_EQ(m_list->OpenIterators(), open);
    ASSERT_EQ(g_deleted, m_gone);
  }

private:
  struct Walk {
    std::unique_ptr<Forward> forward; // one of the two
    std::unique_ptr<Reverse> reverse;
    ModelIterator model;
    qelBaseListItem* Get() const { return forward != nullptr ? forward->Get() : reverse->Get(); }
  };

  size_t Below(size_t n) { return n == 0 ? 0 : m_random() % n; }

  void Insert() {
    m_lastId += 1;
    InsertItem(new Item(m_lastId), m_lastId);
  }

  void InsertItem(qelBaseListItem* item, int id) {
    const size_t at = Below(m_ids.size() + 1);
    const auto place = m_ids.begin() + static_cast<std::ptrdiff_t>(at);
    switch (Below(4)) {
    case 0:
      m_list->PushFront(item);
      m_ids.insert(m_ids.begin(), id);
      break;
    case 1:
      m_list->PushBack(item);
      m_ids.push_back(id);
      break;
    case 2:
      if (at == 0 && !m_ids.empty())
        return InsertItem(item, id);
      m_list->PushAfter(item, at == 0 ? nullptr : m_list->At(at - 1));
      m_ids.insert(place, id);
      break;
    default:
      if (at == m_ids.size() && !m_ids.empty())
        return InsertItem(item, id);
      m_list->PushBefore(item, m_ids.empty() ? nullptr : m_list->At(at));
      m_ids.insert(place, id);
    }
  }

  // The described repair: who stands on the item goes to the one ahead of it, or to none.
  void ForgetAt(size_t index) {
    for (Walk& walk : m_walks) {
      if (walk.model.on == m_ids[index])
        walk.model.on = index == 0 ? 0 : m_ids[index - 1];
    }
    m_ids.erase(m_ids.begin() + static_cast<std::ptrdiff_t>(index));
  }

  void Remove(size_t index) {
    if (m_ids.empty())
      return;
    m_list->Remove(m_list->At(index));
    m_gone.push_back(m_ids[index]);
    ForgetAt(index);
  }

  void RemoveAtAnIterator() {
    if (m_walks.empty())
      return;
    const Walk& walk = m_walks[Below(m_walks.size())];
    if (walk.model.on == 0)
      return;
    EXPECT_EQ(Id(walk.Get()), walk.model.on);
    const auto found = std::find(m_ids.begin(), m_ids.end(), walk.model.on);
    Remove(static_cast<size_t>(found - m_ids.begin()));
  }

  void Move() {
    if (m_ids.empty())
      return;
    const size_t index = Below(m_ids.size());
    const int id = m_ids[index];
    qelBaseListItem* item = m_list->At(index);
    m_list->Detach(item);
    ForgetAt(index);
    InsertItem(item, id);
  }

  void RemoveAll() {
    while (!m_ids.empty())
      Remove(0);
  }

  void Open() {
    if (m_walks.size() == 8)
      return Close();
    Walk walk;
    walk.model.forward = Below(2) == 0;
    if (walk.model.forward)
      walk.forward = std::make_unique<Forward>(m_list.get());
    else
      walk.reverse = std::make_unique<Reverse>(m_list.get());
    m_walks.push_back(std::move(walk));
  }

  void Close() {
    if (!m_walks.empty())
      m_walks.erase(m_walks.begin() + static_cast<std::ptrdiff_t>(Below(m_walks.size())));
  }

  void Step() {
    if (m_walks.empty())
      return Open();
    Walk& walk = m_walks[Below(m_walks.size())];
    walk.model.Step(m_ids);
    const bool stepped = walk.forward != nullptr ? walk.forward->Next() : walk.reverse->Prev();
    EXPECT_EQ(stepped, walk.model.on != 0);
  }

  void EndList() {
    m_list = std::make_unique<List>();
    m_gone.insert(m_gone.end(), m_ids.begin(), m_ids.end());
    m_ids.clear();
    for (Walk& walk : m_walks) {
      walk.model.open = false;
      walk.model.on = 0;
    }
  }

  std::mt19937 m_random;
  std::unique_ptr<List> m_list;
  std::vector<Walk> m_walks;
  std::vector<int> m_ids;
  std::vector<int> m_gone; // deleted items in the order of their ends
  int m_lastId = 0;
};

} // namespace

TEST_F(qelBaseListModel, HoldsForRandomOperationsWithOpenIterators) {
  for (unsigned seed = 1; seed <= 40; ++seed) {
    g_deleted.clear();
    Pair pair(seed);
    for (int step = 0; step < 1500; ++step) {
      pair.Act();
      ASSERT_NO_FATAL_FAILURE(pair.Check()) << "seed " << seed << " step " << step;
    }
  }
}

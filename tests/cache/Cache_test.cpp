#include <qel/cache/Cache.h>

#include <algorithm>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cache/CacheObjects.h"
#include "tests/support/Stress.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const uint64_t kNoLimit = ~uint64_t(0);

// A cache without limits and objects of size 1, held by the test.
class Cached : public testing::Test {
protected:
  void SetUp() override { cache = std::make_unique<OpenCache>(); }
  void TearDown() override {
    held.clear();
    cache.reset();
    EXPECT_TRUE(world.living.empty());
  }

  // A new object, which the test holds.
  Item* Make(int number, uint64_t size = 1, Item::Form form = Item::AtOnce) {
    held[number] = qelRef<Item>(new Item(&world, number, size, form));
    return held[number].Get();
  }
  // The same, attached, and available in the order of the calls.
  Item* Fill(int number, uint64_t size = 1) {
    Item* item = Make(number, size);
    cache->Attach(item);
    item->Prefetch();
    return item;
  }
  Item* Get(int number) { return held.at(number).Get(); }
  // From here on the cache alone may hold it.
  void Drop(int number) { held.erase(number); }
  std::vector<int> AvailableNow() {
    std::vector<int> numbers;
    for (const auto& [number, item] : world.living) {
      if (item->IsAvailable())
        numbers.push_back(number);
    }
    return numbers;
  }

  World world;
  Observer observer{&world};
  std::map<int, qelRef<Item>> held;
  std::unique_ptr<OpenCache> cache;
};
using QelCacheAttach = Cached;
using QelCacheDetach = Cached;
using QelCacheSetLimits = Cached;
using QelCacheRun = Cached;
using QelCacheDump = Cached;
using QelCacheOnReadAccess = Cached;
using QelCacheListenToMessage = Cached;
using QelCacheDestructor = Cached;
using QelCacheReentrance = Cached;

} // namespace

TEST(QelCache, StartsEmptyAndWithoutLimits) {
  OpenCache cache;
  EXPECT_EQ(cache.MaxSize(), kNoLimit);
  EXPECT_EQ(cache.MaxCount(), kNoLimit);
  EXPECT_FALSE(cache.IsRunning());
  EXPECT_THAT(cache.Recent(), IsEmpty());
  EXPECT_THAT(cache.Available(), IsEmpty());
  EXPECT_TRUE((std::is_base_of_v<qelListener, qelCache>));
  EXPECT_TRUE(std::has_virtual_destructor_v<qelCache>);
}

TEST(QelCache, StartsWithTheLimitsGiven) {
  OpenCache cache(5, 7);
  EXPECT_EQ(cache.MaxSize(), 5u);
  EXPECT_EQ(cache.MaxCount(), 7u);
}

TEST_F(QelCacheAttach, AppendsAtTheEndAndHoldsNothingUnavailable) {
  for (int number : {1, 2, 3})
    cache->Attach(Make(number));
  EXPECT_THAT(cache->Recent(), ElementsAre(1, 2, 3));
  EXPECT_THAT(cache->Available(), IsEmpty());
  EXPECT_EQ(Get(1)->AttachedTo(), cache.get());
  EXPECT_EQ(Get(1)->_GetRefCount(), 1);
  EXPECT_THAT(world.Take(), IsEmpty());
}

TEST_F(QelCacheAttach, HoldsAnAvailableObject) {
  Make(1)->Want();
  cache->Attach(Get(1));
  EXPECT_THAT(cache->Available(), ElementsAre(1));
  EXPECT_EQ(Get(1)->_GetRefCount(), 2);
  Drop(1);
  EXPECT_EQ(world.living.size(), 1u);
}

TEST_F(QelCacheAttach, CountsTheNewcomerAsTheLeastRecentlyUsed) {
  cache->SetLimits(kNoLimit, 0);
  Fill(1);
  Make(2)->Want();
  world.Take();
  cache->Attach(Get(2));
  EXPECT_THAT(cache->Recent(), ElementsAre(1, 2));
  EXPECT_THAT(cache->Available(), ElementsAre(1));
  EXPECT_THAT(world.Take(), ElementsAre("trash 2"));
}

TEST_F(QelCacheAttach, RunsForAnAvailableObjectAlone) {
  Item* loose = new Item(&world, 9); // which a pass would end, as nobody holds it
  cache->Attach(loose);
  cache->Attach(Make(1));
  EXPECT_EQ(world.living.count(9), 1u);
  Make(2)->Want();
  cache->Attach(Get(2));
  EXPECT_EQ(world.living.count(9), 0u);
}

TEST_F(QelCacheAttach, MayEndANewcomerThatNobodyHolds) {
  cache->SetLimits(kNoLimit, 0);
  Fill(1);
  auto* newcomer = new Item(&world, 2);
  newcomer->Want();
  world.Take();
  cache->Attach(newcomer);
  EXPECT_THAT(world.Take(), ElementsAre("trash 2", "end 2"));
  EXPECT_THAT(cache->Recent(), ElementsAre(1));
}

TEST_F(QelCacheDetach, LeavesContentsAndState) {
  Fill(1);
  world.Take();
  cache->Detach(Get(1));
  EXPECT_TRUE(Get(1)->IsAvailable());
  EXPECT_EQ(Get(1)->AttachedTo(), nullptr);
  EXPECT_EQ(Get(1)->_GetRefCount(), 1);
  EXPECT_THAT(cache->Recent(), IsEmpty());
  EXPECT_THAT(cache->Available(), IsEmpty());
  EXPECT_THAT(world.Take(), IsEmpty());

  Get(1)->Forget();
  Get(1)->Prefetch();
  EXPECT_THAT(cache->Available(), IsEmpty()) << "the cache no longer listens";
  cache->Attach(Get(1));
  EXPECT_THAT(cache->Recent(), ElementsAre(1));
  EXPECT_THAT(cache->Available(), ElementsAre(1));
}

TEST_F(QelCacheDetach, EndsAnObjectThatTheCacheAloneHeld) {
  Item* item = Fill(1);
  item->AddListener(&observer);
  Drop(1);
  world.Take();
  cache->Detach(item);
  EXPECT_THAT(world.Take(), ElementsAre("end 1", "somebody is 0"));
  EXPECT_THAT(cache->Recent(), IsEmpty());
}

TEST_F(QelCacheDetach, DoesNotEndAnUnavailableObjectThatNobodyHolds) {
  Item onTheStack(&world, 1);
  cache->Attach(&onTheStack);
  cache->Detach(&onTheStack);
  EXPECT_EQ(onTheStack._GetRefCount(), 0);
  EXPECT_THAT(world.Take(), IsEmpty());
}

TEST_F(QelCacheDetach, LeavesTheListsAloneForAStranger) {
  Fill(1);
  Make(2)->Want();
  cache->Detach(Get(2));
  EXPECT_THAT(cache->Recent(), ElementsAre(1));
  EXPECT_THAT(cache->Available(), ElementsAre(1));
}

TEST_F(QelCacheDetach, CanBeRepeatedWithAttachWithoutATrace) {
  Fill(1);
  Fill(2);
  for (int round = 0; round < 100; ++round) {
    Item* item = Get(1 + round % 2);
    cache->Detach(item);
    EXPECT_EQ(item->_GetRefCount(), 1);
    cache->Attach(item);
    EXPECT_EQ(item->_GetRefCount(), 2);
    EXPECT_EQ(cache->Recent().back(), item->Number());
    EXPECT_EQ(cache->Available().back(), item->Number());
  }
  EXPECT_EQ(cache->Recent().size(), 2u);
  EXPECT_EQ(cache->Available().size(), 2u);
}

TEST_F(QelCacheDetach, LetsAnObjectMoveToAnotherCache) {
  OpenCache other(kNoLimit, 0);
  Fill(1);
  cache->Detach(Get(1));
  other.Attach(Get(1));
  EXPECT_EQ(Get(1)->AttachedTo(), &other);
  EXPECT_THAT(other.Available(), ElementsAre(1));
  Get(1)->Forget();
  EXPECT_THAT(other.Available(), IsEmpty());
  Drop(1);
  EXPECT_THAT(other.Recent(), IsEmpty());
}

TEST_F(QelCacheSetLimits, RunsOnlyWhenOneWentDown) {
  struct {
    uint64_t maxSize, maxCount;
    bool runs;
  } const kRows[] = {
      {10, 10, false}, {11, 10, false}, {10, 11, false}, {11, 11, false},
      {9, 10, true},   {10, 9, true},   {9, 11, true},   {11, 9, true}, // each from 10 and 10
  };
  for (const auto& row : kRows) {
    OpenCache limited(10, 10);
    auto* loose = new Item(&world, 1); // which any pass ends, as nobody holds it
    limited.Attach(loose);
    limited.SetLimits(row.maxSize, row.maxCount);
    EXPECT_EQ(limited.MaxSize(), row.maxSize);
    EXPECT_EQ(limited.MaxCount(), row.maxCount);
    EXPECT_EQ(world.living.empty(), row.runs) << row.maxSize << " " << row.maxCount;
    if (!row.runs)
      delete loose;
  }
}

TEST_F(QelCacheSetLimits, ForgetsTheLeastRecentlyUsed) {
  for (int number : {1, 2, 3, 4, 5})
    Fill(number);
  Get(2)->Prefetch();
  world.Take();
  cache->SetLimits(kNoLimit, 2);
  EXPECT_THAT(cache->Recent(), ElementsAre(2, 5, 4, 3, 1));
  EXPECT_THAT(cache->Available(), ElementsAre(2, 4, 5)) << "in the order of becoming available";
  EXPECT_THAT(world.Take(), ElementsAre("trash 3", "trash 1"));
}

TEST_F(QelCacheRun, KeepsTheObjectThatCrossesTheCount) {
  cache->SetLimits(kNoLimit, 0);
  Fill(1);
  EXPECT_THAT(cache->Available(), ElementsAre(1));
  Fill(2);
  EXPECT_THAT(cache->Available(), ElementsAre(2)) << "the second pushes out the older";
  EXPECT_TRUE(Get(1)->IsUnavailable());

  cache->SetLimits(kNoLimit, 3);
  for (int number : {3, 4, 5, 6})
    Fill(number);
  EXPECT_THAT(cache->Available(), ElementsAre(3, 4, 5, 6)) << "one more than the limit";
}

TEST_F(QelCacheRun, KeepsTheObjectThatCrossesTheSize) {
  cache->SetLimits(10, kNoLimit);
  Fill(1, 5);
  Fill(2, 5);
  Fill(3, 5);
  EXPECT_THAT(cache->Available(), ElementsAre(1, 2, 3)) << "10 is within the limit, 15 crosses it";
  Fill(4, 1);
  EXPECT_THAT(cache->Available(), ElementsAre(2, 3, 4)) << "11 crosses it";
  Fill(5, 4);
  EXPECT_THAT(cache->Available(), ElementsAre(2, 3, 4, 5)) << "10 is within the limit again";
  Fill(6, 1000);
  EXPECT_THAT(cache->Available(), ElementsAre(6)) << "whatever the size of the one just used";
}

TEST_F(QelCacheRun, KeepsOneObjectAndThoseWithoutSizeUnderASizeOfNothing) {
  cache->SetLimits(0, kNoLimit);
  Fill(1, 0);
  Fill(2, 0);
  EXPECT_THAT(cache->Available(), ElementsAre(1, 2));
  Fill(3, 1);
  EXPECT_THAT(cache->Available(), ElementsAre(3));
}

TEST_F(QelCacheRun, NeverCrossesALimitOfAllBits) {
  cache->SetLimits(kNoLimit, kNoLimit);
  Fill(1, kNoLimit);
  Fill(2, 0);
  cache->Run();
  EXPECT_THAT(cache->Available(), ElementsAre(1, 2));
}

TEST_F(QelCacheRun, LeavesALockedObject) {
  cache->SetLimits(kNoLimit, 0);
  Fill(1)->SetLockCount(1);
  Fill(2)->SetLockCount(-1);
  Fill(3);
  Fill(4);
  EXPECT_THAT(cache->Available(), ElementsAre(1, 2, 4));
  Get(1)->SetLockCount(0);
  cache->Run();
  EXPECT_THAT(cache->Available(), ElementsAre(2, 4));
}

TEST_F(QelCacheRun, CountsALockedObjectAmongTheKept) {
  Fill(1);
  Fill(2);
  Fill(3)->SetLockCount(1);
  cache->SetLimits(kNoLimit, 1);
  EXPECT_THAT(cache->Available(), ElementsAre(2, 3));
}

TEST_F(QelCacheRun, LeavesAFetchAheadAlone) {
  cache->SetLimits(kNoLimit, 0);
  cache->Attach(Make(1, 1, Item::Deferred));
  cache->Attach(Make(2, 1, Item::Background));
  Get(1)->Want();
  Get(2)->Want();
  Fill(3);
  EXPECT_EQ(Get(1)->State(), qelCachedStateWanted);
  EXPECT_EQ(Get(2)->State(), qelCachedStateFetching);
  Get(2)->FetchDone(true);
  EXPECT_THAT(cache->Available(), ElementsAre(2));
  EXPECT_THAT(cache->Recent(), ElementsAre(2, 3, 1));
}

TEST_F(QelCacheRun, DoesNotCountTheUnavailable) {
  cache->SetLimits(0, 1);
  Fill(1, 0);
  Fill(2, 0);
  for (int number : {3, 4, 5}) {
    cache->Attach(Make(number, 100));
    Get(number)->failures = 1;
    Get(number)->Prefetch();
  }
  EXPECT_THAT(cache->Recent(), ElementsAre(5, 4, 3, 2, 1));
  cache->Run();
  EXPECT_THAT(cache->Available(), ElementsAre(1, 2));
}

TEST_F(QelCacheRun, AsksTheUnavailableToForgetBehindTheLimitToo) {
  class Asked : public Item {
  public:
    using Item::Item;
    void Forget() override {
      ++asked;
      Item::Forget();
    }
    int asked = 0;
  };
  cache->SetLimits(kNoLimit, 0);
  auto* behind = new Asked(&world, 2);
  const qelRef<Item> holder(behind);
  cache->Attach(behind);
  cache->Run();
  EXPECT_EQ(behind->asked, 0) << "no limit was crossed";
  Fill(1);
  EXPECT_EQ(behind->asked, 1);
  EXPECT_THAT(world.Take(), ElementsAre("fetch 1")) << "and nothing came of it";
  behind->SetLockCount(1);
  cache->Run();
  EXPECT_EQ(behind->asked, 1);
}

TEST_F(QelCacheRun, EndsForgottenObjectsThatTheCacheAloneHeld) {
  for (int number : {1, 2, 3, 4, 5})
    Fill(number)->AddListener(&observer);
  for (int number : {1, 2, 4})
    Drop(number);
  world.Take();
  cache->SetLimits(kNoLimit, 0);
  EXPECT_THAT(world.Take(),
              ElementsAre("trash 4", "4 is 21000", "end 4", "somebody is 0", "trash 3",
                          "3 is 21000", "trash 2", "2 is 21000", "end 2", "somebody is 0",
                          "trash 1", "1 is 21000", "end 1", "somebody is 0"));
  EXPECT_THAT(cache->Recent(), ElementsAre(5, 3));
}

TEST_F(QelCacheRun, EndsAnObjectThatNobodyHolds) {
  cache->Attach(new Item(&world, 1));
  cache->Attach(Make(2));
  cache->Attach(new Item(&world, 3));
  cache->Run();
  EXPECT_THAT(world.Take(), ElementsAre("end 1", "end 3"));
  EXPECT_THAT(cache->Recent(), ElementsAre(2));
}

TEST_F(QelCacheDump, LooksAtAllAndPrintsNothing) {
  Fill(1);
  cache->Attach(new Item(&world, 2));
  world.Take();
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  cache->Dump();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_THAT(world.Take(), ElementsAre("end 2")) << "by the reference of a moment";
  EXPECT_THAT(cache->Recent(), ElementsAre(1));
  EXPECT_THAT(cache->Available(), ElementsAre(1));
}

TEST_F(QelCacheOnReadAccess, MakesTheMostRecentAndFetches) {
  for (int number : {1, 2, 3})
    cache->Attach(Make(number));
  Get(2)->Prefetch();
  EXPECT_THAT(cache->Recent(), ElementsAre(2, 1, 3));
  EXPECT_THAT(world.Take(), ElementsAre("fetch 2"));
  Get(3)->Prefetch();
  Get(2)->Prefetch();
  Get(2)->Prefetch();
  EXPECT_THAT(cache->Recent(), ElementsAre(2, 3, 1));
  EXPECT_THAT(world.Take(), ElementsAre("fetch 3"));
  EXPECT_THAT(cache->Available(), ElementsAre(2, 3));
}

TEST_F(QelCacheOnReadAccess, MovesWhatIsUnderWayAndStartsNothing) {
  cache->Attach(Make(1));
  cache->Attach(Make(2, 1, Item::Background));
  Get(2)->Want();
  Get(2)->Prefetch();
  EXPECT_EQ(Get(2)->State(), qelCachedStateFetching);
  EXPECT_THAT(cache->Recent(), ElementsAre(2, 1));
}

TEST_F(QelCacheOnReadAccess, DoesNotTakeAStrangerIn) {
  Fill(1);
  cache->OnReadAccess(qelRef<qelCachedBase>(Make(2)));
  EXPECT_THAT(cache->Recent(), ElementsAre(1));
  EXPECT_TRUE(Get(2)->IsAvailable());
}

TEST_F(QelCacheOnReadAccess, EndsAnObjectThatNobodyHoldsWhenItsFetchFails) {
  auto* loose = new Item(&world, 1);
  loose->failures = 1;
  cache->Attach(loose);
  loose->Prefetch();
  EXPECT_THAT(world.Take(), ElementsAre("fetch 1", "trash 1", "end 1"));

  loose = new Item(&world, 2);
  cache->Attach(loose);
  loose->Prefetch();
  EXPECT_EQ(loose->_GetRefCount(), 1) << "the cache's";
}

TEST_F(QelCacheListenToMessage, MakesTheMostRecentAndHolds) {
  cache->Attach(Make(1));
  cache->Attach(Make(2));
  Get(2)->Want();
  EXPECT_THAT(cache->Recent(), ElementsAre(2, 1));
  EXPECT_THAT(cache->Available(), ElementsAre(2));
  EXPECT_EQ(Get(2)->_GetRefCount(), 2);
  Get(2)->Forget();
  EXPECT_THAT(cache->Recent(), ElementsAre(2, 1));
  EXPECT_THAT(cache->Available(), IsEmpty());
  EXPECT_EQ(Get(2)->_GetRefCount(), 1);
}

TEST_F(QelCacheListenToMessage, IgnoresAFailedFetch) {
  cache->Attach(Make(1));
  Fill(2);
  Get(1)->failures = 1;
  Get(1)->AddListener(&observer);
  world.Take();
  Get(1)->Prefetch();
  EXPECT_THAT(world.Take(), ElementsAre("fetch 1", "trash 1", "1 is 21000"));
  EXPECT_THAT(cache->Available(), ElementsAre(2));
  EXPECT_THAT(cache->Recent(), ElementsAre(1, 2));
}

TEST_F(QelCacheListenToMessage, IgnoresOtherNumbers) {
  Fill(1);
  Fill(2);
  for (qelLong message : {0, 1, -1, 20999, 21001, 21002, 21004})
    cache->ListenToMessage(message, static_cast<qelCachedBase*>(Get(1)));
  cache->ListenToMessage(0, nullptr);
  EXPECT_THAT(cache->Recent(), ElementsAre(2, 1));
  EXPECT_THAT(cache->Available(), ElementsAre(1, 2));
}

TEST_F(QelCacheListenToMessage, HoldsTheObjectOnceForEachMessage) {
  Fill(1)->SetState(qelCachedStateAvailable);
  EXPECT_THAT(cache->Available(), ElementsAre(1, 1));
  Get(1)->Forget();
  EXPECT_THAT(cache->Available(), ElementsAre(1));

  // A listener ahead of the cache forgets the object within the message that it is available.
  Make(2)->AddListener(&observer);
  observer.deed = [](qelLong message, Item* item) {
    if (message == 21003)
      item->Forget();
  };
  cache->Attach(Get(2));
  Get(2)->Want();
  EXPECT_TRUE(Get(2)->IsUnavailable());
  EXPECT_THAT(cache->Available(), ElementsAre(1, 2));
  Get(2)->FetchDone(false);
  EXPECT_THAT(cache->Available(), ElementsAre(1));
  Drop(2);
  EXPECT_THAT(cache->Recent(), ElementsAre(1));
}

TEST_F(QelCacheDestructor, LetsTheObjectsGo) {
  Fill(1);
  cache->Attach(Make(2));
  cache.reset();
  for (int number : {1, 2}) {
    EXPECT_EQ(Get(number)->AttachedTo(), nullptr);
    EXPECT_EQ(Get(number)->_GetRefCount(), 1);
  }
  EXPECT_TRUE(Get(1)->IsAvailable());
  Get(1)->Forget();
  Get(1)->Prefetch();
  Get(2)->Prefetch();
  EXPECT_TRUE(Get(2)->IsAvailable());
}

TEST_F(QelCacheDestructor, EndsWhatItAloneHeld) {
  for (int number : {1, 2, 3})
    Fill(number)->AddListener(&observer);
  Drop(1);
  Drop(3);
  world.Take();
  cache.reset();
  EXPECT_THAT(world.Take(), ElementsAre("end 1", "somebody is 0", "end 3", "somebody is 0"));
  EXPECT_EQ(Get(2)->_GetRefCount(), 1);
}

TEST_F(QelCacheDestructor, LeavesAnUnavailableObjectThatNobodyHolds) {
  auto* loose = new Item(&world, 1);
  cache->Attach(loose);
  cache.reset();
  EXPECT_EQ(loose->AttachedTo(), nullptr);
  delete loose;
}

// The ends of some objects change the state of others, whose messages still reach the cache.
TEST_F(QelCacheDestructor, EmptiesItsListsWhileTheirObjectsCallBack) {
  for (int number : {1, 2, 3, 4, 5})
    Fill(number);
  Make(6);
  cache->Attach(Get(6));
  Get(1)->onEnd = [this] {
    world.living.at(2)->Forget(); // which ends it, as the cache alone holds it
    Get(6)->Prefetch();
    Get(6)->Forget();
    Get(6)->Prefetch();
  };
  Get(3)->onEnd = [this] { world.living.at(5)->Forget(); };
  for (int number : {1, 2, 3, 4, 5})
    Drop(number);
  world.Take();
  cache.reset();
  EXPECT_THAT(world.Take(), ElementsAre("end 1", "trash 2", "end 2", "fetch 6", "trash 6",
                                        "fetch 6", "end 3", "trash 5", "end 5", "end 4"));
  EXPECT_EQ(Get(6)->_GetRefCount(), 1);
}

TEST_F(QelCacheDestructor, MayComeInTheMiddleOfADelivery) {
  Make(1)->AddListener(&observer);
  cache->Attach(Get(1));
  Observer last(&world);
  Get(1)->AddListener(&last);
  observer.deed = [this](qelLong, Item*) { cache.reset(); };
  Get(1)->Want();
  EXPECT_THAT(world.Take(), ElementsAre("fetch 1", "1 is 21003", "1 is 21003"));
  EXPECT_EQ(Get(1)->_GetRefCount(), 1);
}

TEST_F(QelCacheReentrance, RunsNoPassInAPass) {
  for (int number : {1, 2, 3, 4})
    Fill(number);
  int calls = 0;
  for (int number : {1, 2, 3, 4}) {
    Get(number)->onTrash = [this, &calls] {
      ++calls;
      EXPECT_TRUE(cache->IsRunning());
      const std::vector<int> before = AvailableNow();
      cache->Run();
      cache->SetLimits(kNoLimit, 0);
      EXPECT_EQ(AvailableNow(), before);
    };
  }
  cache->SetLimits(kNoLimit, 1);
  EXPECT_EQ(calls, 2);
  EXPECT_FALSE(cache->IsRunning());
  EXPECT_THAT(cache->Available(), ElementsAre(3, 4)) << "the pass had crossed its limit by then";
  Get(1)->onTrash = Get(2)->onTrash = Get(3)->onTrash = nullptr;
  cache->Run();
  EXPECT_THAT(cache->Available(), ElementsAre(4));
}

TEST_F(QelCacheReentrance, TakesNewObjectsInInAPass) {
  for (int number : {1, 2, 3})
    Fill(number);
  Get(1)->onTrash = [this] {
    Make(7)->Want();
    cache->Attach(Get(7)); // at the end, where the walk meets it
    Fill(8);               // at the front, which the walk has passed
  };
  cache->SetLimits(kNoLimit, 0);
  EXPECT_THAT(cache->Recent(), ElementsAre(8, 3, 2, 1, 7));
  EXPECT_THAT(cache->Available(), ElementsAre(3, 8));
}

TEST_F(QelCacheReentrance, LetsObjectsGoInAPass) {
  for (int number : {1, 2, 3, 4, 5})
    Fill(number);
  Get(4)->onTrash = [this] {
    cache->Detach(Get(4)); // the one under the walk,
    cache->Detach(Get(5)); // the one that it kept
    cache->Detach(Get(3)); // and the one ahead of it
  };
  cache->SetLimits(kNoLimit, 0);
  EXPECT_THAT(cache->Recent(), ElementsAre(2, 1));
  EXPECT_THAT(AvailableNow(), ElementsAre(3, 5)) << "2 was at the head then, and the walk went on";
  EXPECT_THAT(cache->Available(), IsEmpty());
}

TEST_F(QelCacheReentrance, EndsObjectsAheadOfAPass) {
  for (int number : {1, 2, 3, 4, 5})
    Fill(number);
  for (int number : {2, 3, 4, 5})
    Drop(number);
  world.living.at(4)->onTrash = [this] {
    for (int number : {2, 3, 5}) {
      const qelRef<Item> holder(world.living.at(number));
      holder->Forget();
    }
  };
  cache->SetLimits(kNoLimit, 0);
  EXPECT_THAT(cache->Recent(), ElementsAre(1));
  EXPECT_THAT(AvailableNow(), IsEmpty());
}

// Each forgotten object is asked for again at once: it goes to the front, where the walk does not meet
// it again, and the next pass brings the limits back.
TEST_F(QelCacheReentrance, MeetsEachObjectOnceThoughItIsWantedAgain) {
  for (int number : {1, 2, 3, 4})
    Fill(number)->AddListener(&observer);
  observer.deed = [](qelLong message, Item* item) {
    if (message == 21000)
      item->Prefetch();
  };
  world.Take();
  cache->SetLimits(kNoLimit, 1);
  EXPECT_THAT(world.Take(), ElementsAre("trash 2", "2 is 21000", "fetch 2", "2 is 21003", "trash 1",
                                        "1 is 21000", "fetch 1", "1 is 21003"));
  EXPECT_THAT(cache->Recent(), ElementsAre(1, 2, 4, 3));
  EXPECT_THAT(AvailableNow(), ElementsAre(1, 2, 3, 4));
  observer.deed = nullptr;
  cache->Run();
  EXPECT_THAT(AvailableNow(), ElementsAre(1, 2));
}

TEST_F(QelCacheReentrance, GoesOnBehindTheHeadThatIsWantedAgain) {
  Fill(1);
  Fill(2)->AddListener(&observer);
  Get(1)->AddListener(&observer);
  int calls = 0;
  observer.deed = [this, &calls](qelLong message, Item* item) {
    if (message != 21000 || ++calls > 3)
      return;
    if (Get(2)->AttachedTo() != nullptr)
      cache->Detach(Get(2)); // now the one under the walk is the head
    item->Prefetch();
  };
  world.Take();
  cache->SetLimits(kNoLimit, 0);
  EXPECT_THAT(world.Take(), ElementsAre("trash 1", "1 is 21000", "fetch 1", "1 is 21003"));
  EXPECT_EQ(calls, 1);
  EXPECT_THAT(cache->Recent(), ElementsAre(1));
}

TEST_F(QelCacheReentrance, LetsAFetchUseOtherObjects) {
  cache->SetLimits(kNoLimit, 1);
  for (int number : {1, 2, 3})
    cache->Attach(Make(number));
  Get(1)->onFetch = [this] { Get(2)->Prefetch(); };
  Get(2)->onFetch = [this] { Get(3)->Prefetch(); };
  Get(1)->Prefetch();
  EXPECT_THAT(world.Take(), ElementsAre("fetch 1", "fetch 2", "fetch 3", "trash 3"));
  EXPECT_THAT(cache->Recent(), ElementsAre(1, 2, 3));
  EXPECT_THAT(cache->Available(), ElementsAre(2, 1));
}

TEST_F(QelCacheReentrance, LetsAFetchLeaveTheCache) {
  cache->Attach(Make(1));
  Get(1)->onFetch = [this] { cache->Detach(Get(1)); };
  Get(1)->Prefetch();
  EXPECT_TRUE(Get(1)->IsAvailable());
  EXPECT_THAT(cache->Recent(), IsEmpty());
  EXPECT_THAT(cache->Available(), IsEmpty());
  EXPECT_EQ(Get(1)->_GetRefCount(), 1);
}

TEST_F(QelCacheReentrance, LetsAFetchDropTheLastReference) {
  cache->Attach(Make(1));
  Item* item = Get(1);
  item->onFetch = [this] { Drop(1); };
  item->Prefetch();
  EXPECT_EQ(item->_GetRefCount(), 1) << "the reference of the use bridged the gap to the cache's";
  item->Forget();
  EXPECT_THAT(world.Take(), ElementsAre("fetch 1", "trash 1", "end 1"));
}

TEST_F(QelCacheReentrance, LetsACancelCallTheCache) {
  cache->SetLimits(kNoLimit, 0);
  cache->Attach(Make(1, 1, Item::Background));
  Fill(2);
  Get(1)->Want();
  Get(1)->onCancel = [this] {
    Fill(3);
    cache->Detach(Get(2));
  };
  Get(1)->Forget();
  EXPECT_THAT(cache->Recent(), ElementsAre(3, 1));
  EXPECT_THAT(cache->Available(), ElementsAre(3));
  EXPECT_TRUE(Get(2)->IsUnavailable());
}

TEST_F(QelCacheReentrance, ServesTheListenersOfADyingObject) {
  for (int number : {1, 2, 3})
    Fill(number);
  Get(2)->AddListener(&observer);
  Drop(2);
  observer.deed = [this](qelLong message, Item*) {
    if (message != 0)
      return;
    Get(1)->Prefetch();
    cache->Detach(Get(3));
    Fill(4);
  };
  cache->SetLimits(kNoLimit, 0);
  EXPECT_THAT(cache->Recent(), ElementsAre(4, 1));
  EXPECT_THAT(AvailableNow(), ElementsAre(1, 3, 4)) << "1 was used again in the pass";
}

//===----------------------------------------------------------------------===//
// The described behaviour, on plain vectors
//===----------------------------------------------------------------------===//

namespace {

class Model {
public:
  struct Object {
    int number;
    Item::Form form;
    uint64_t size;
    unsigned int state = 21000;
    unsigned int target = 21000;
    int lock = 0;
    int refs = 0;
    int failures = 0;
    bool attached = false;
  };

  std::map<int, Object> objects;
  std::vector<int> recent;
  std::vector<int> available;
  uint64_t maxSize = kNoLimit;
  uint64_t maxCount = kNoLimit;
  std::vector<std::string> notes;

  void Release(int n) {
    if (--objects.at(n).refs == 0)
      End(n);
  }
  void End(int n) {
    Note("end", n);
    Erase(recent, n);
    notes.push_back("somebody is 0");
    objects.erase(n);
  }
  void Attach(int n) {
    Object& o = objects.at(n);
    o.attached = true;
    recent.push_back(n);
    if (o.state != 21003)
      return;
    available.push_back(n);
    ++o.refs;
    Run();
  }
  void Detach(int n) {
    Object& o = objects.at(n);
    o.attached = false;
    Erase(recent, n);
    if (o.state == 21003 && Erase(available, n))
      Release(n);
  }
  void SetLimits(uint64_t size, uint64_t count) {
    const bool lower = size < maxSize || count < maxCount;
    maxSize = size;
    maxCount = count;
    if (lower)
      Run();
  }
  void Prefetch(int n) {
    if (!objects.at(n).attached)
      return Want(n);
    ++objects.at(n).refs;
    ToFront(n);
    Want(n);
    Release(n);
  }
  void Want(int n) {
    if (objects.at(n).state == 21000)
      SetWanted(n);
  }
  void SetWanted(int n) {
    Object& o = objects.at(n);
    if (o.form == Item::Deferred) {
      Note("wanted", n);
      o.state = 21001;
      return;
    }
    SetFetching(n);
  }
  void SetFetching(int n) {
    Object& o = objects.at(n);
    if (o.form != Item::AtOnce) {
      o.state = 21002;
      return;
    }
    Note("fetch", n);
    const bool ok = o.failures == 0;
    if (!ok)
      --o.failures;
    FetchDone(n, ok);
  }
  void FetchDone(int n, bool ok) {
    if (ok)
      return Announce(n, 21003);
    Note("trash", n);
    if (objects.at(n).target == 21003)
      return SetWanted(n);
    Announce(n, 21000);
  }
  void Forget(int n) {
    Object& o = objects.at(n);
    if (o.state == 21000)
      return;
    o.target = 21000;
    if (o.state == 21002)
      Note("cancel", n);
    if (o.state == 21003)
      Note("trash", n);
    Announce(n, 21000);
  }
  void Run() {
    const std::vector<int> order =
        recent; // a pass takes out no other object than the one it looks at
    uint64_t total = 0;
    uint64_t count = 0;
    bool forgetting = false;
    for (int n : order) {
      Object& o = objects.at(n);
      ++o.refs;
      forgetting = forgetting || total > maxSize || count > maxCount;
      if (!forgetting && o.state == 21003) {
        total += o.size;
        count += 1;
      }
      if (forgetting && o.lock == 0 && (o.state == 21003 || o.state == 21000))
        Forget(n);
      Release(n);
    }
    Dump();
  }
  void Dump() {
    for (int n : std::vector<int>(recent)) {
      ++objects.at(n).refs;
      Release(n);
    }
  }
  void EndCache() {
    for (int n : recent)
      objects.at(n).attached = false;
    recent.clear();
    while (!available.empty()) {
      const int n = available.front();
      available.erase(available.begin());
      Release(n);
    }
  }

private:
  void Note(const char* what, int n) { notes.push_back(what + (" " + std::to_string(n))); }
  static bool Erase(std::vector<int>& list, int n) {
    const auto found = std::find(list.begin(), list.end(), n);
    if (found == list.end())
      return false;
    list.erase(found);
    return true;
  }
  void ToFront(int n) {
    Erase(recent, n);
    recent.insert(recent.begin(), n);
  }
  // The observer, who is there from the object's beginning, hears ahead of the cache.
  void Announce(int n, unsigned int state) {
    Object& o = objects.at(n);
    o.state = state;
    notes.push_back(std::to_string(n) + " is " + std::to_string(state));
    if (!o.attached)
      return;
    if (state == 21000) {
      if (Erase(available, n))
        Release(n);
      return;
    }
    ToFront(n);
    available.push_back(n);
    ++o.refs;
    Run();
  }
};

// Does the same to a cache and to the model.
class Pair {
public:
  explicit Pair(unsigned seed) : m_random(seed), m_cache(std::make_unique<OpenCache>()) {}
  ~Pair() {
    m_cache.reset();
    m_held.clear();
    while (!m_world.living.empty())
      delete m_world.living.begin()->second;
  }

  void Step() {
    const int kind = Pick(22);
    if (kind < 3 || m_model.objects.empty())
      return New();
    if (kind == 3)
      return SetLimits();
    if (kind == 4)
      return Pass();
    if (kind == 5 && Pick(20) == 0)
      return Restart();
    auto it = m_model.objects.begin();
    std::advance(it, Pick(int(m_model.objects.size())));
    Touch(kind, it->first, &it->second);
  }

  void Compare() {
    const std::vector<std::string> notes = m_world.Take();
    ASSERT_EQ(notes, std::exchange(m_model.notes, {}));
    for (const std::string& note : notes)
      seen.insert(note.substr(0, note.find(' ')));
    ASSERT_EQ(m_cache->Recent(), m_model.recent);
    ASSERT_EQ(m_cache->Available(), m_model.available);
    ASSERT_FALSE(m_cache->IsRunning());
    ASSERT_EQ(m_world.living.size(), m_model.objects.size());
    for (const auto& [number, object] : m_model.objects) {
      const Item* item = m_world.living.at(number);
      ASSERT_EQ(item->GetState(), object.state) << number;
      ASSERT_EQ(item->TargetState(), object.target) << number;
      ASSERT_EQ(const_cast<Item*>(item)->_GetRefCount(), object.refs) << number;
      ASSERT_EQ(item->AttachedTo(), object.attached ? m_cache.get() : nullptr) << number;
    }
  }

  std::multiset<std::string> seen; // first words of the notes

private:
  int Pick(int below) { return std::uniform_int_distribution<int>(0, below - 1)(m_random); }

  // Attached or not, held by us or by nobody.
  void New() {
    const int number = m_next++;
    const auto form = Item::Form(Pick(3) == 0 ? Pick(3) : 0);
    const uint64_t size = uint64_t(Pick(10));
    auto* item = new Item(&m_world, number, size, form);
    item->AddListener(&m_observer);
    m_model.objects[number] = {number, form, size};
    if (Pick(6) != 0) {
      m_held[number] = qelRef<Item>(item);
      m_model.objects[number].refs = 1;
    }
    if (Pick(4) == 0)
      return;
    m_cache->Attach(item);
    m_model.Attach(number);
  }

  void SetLimits() {
    const uint64_t size = Pick(3) == 0 ? kNoLimit : uint64_t(Pick(40));
    const uint64_t count = Pick(3) == 0 ? kNoLimit : uint64_t(Pick(6));
    m_cache->SetLimits(size, count);
    m_model.SetLimits(size, count);
  }

  void Pass() {
    if (Pick(4) == 0) {
      m_cache->Dump();
      return m_model.Dump();
    }
    m_cache->Run();
    m_model.Run();
  }

  void Restart() {
    const uint64_t size = m_model.maxSize;
    const uint64_t count = m_model.maxCount;
    m_cache.reset();
    m_cache = std::make_unique<OpenCache>(size, count);
    m_model.EndCache();
  }

  void Touch(int kind, int number, Model::Object* object) {
    Item* item = m_world.living.at(number);
    switch (kind) {
    case 5:
    case 6:
      if (m_held.count(number) != 0) {
        m_held.erase(number);
        return m_model.Release(number);
      }
      m_held[number] = qelRef<Item>(item);
      ++object->refs;
      return;
    case 7:
    case 8:
      if (object->attached) {
        m_cache->Detach(item);
        return m_model.Detach(number);
      }
      m_cache->Attach(item);
      return m_model.Attach(number);
    case 9:
      item->Forget();
      return m_model.Forget(number);
    case 10:
      object->lock = Pick(2);
      return item->SetLockCount(object->lock);
    case 11:
      object->size = uint64_t(Pick(12));
      return item->SetSize(object->size);
    case 12:
      object->failures = item->failures = Pick(3);
      return;
    case 13:
      object->target = Pick(2) == 0 ? 21000 : 21003;
      return item->SetTargetState(object->target);
    case 14:
      item->Want();
      return m_model.Want(number);
    default:
      return GoOn(number, item, object);
    }
  }

  // The next step of a fetch, or a use.
  void GoOn(int number, Item* item, const Model::Object* object) {
    if (object->state == 21001 && Pick(2) == 0) {
      item->SetFetching();
      return m_model.SetFetching(number);
    }
    if (object->state == 21002 && Pick(2) == 0) {
      const bool ok = Pick(3) != 0;
      item->FetchDone(ok);
      return m_model.FetchDone(number, ok);
    }
    item->Prefetch();
    m_model.Prefetch(number);
  }

  std::mt19937 m_random;
  int m_next = 1;
  World m_world;
  Observer m_observer{&m_world};
  std::map<int, qelRef<Item>> m_held;
  std::unique_ptr<OpenCache> m_cache;
  Model m_model;
};

} // namespace

TEST(QelCacheModel, AgreesAfterEachOfManyRandomOperations) {
  std::map<std::string, size_t> seen;
  for (unsigned seed = 0; seed < 60; ++seed) {
    Pair pair(seed);
    for (int step = 0; step < 500; ++step) {
      pair.Step();
      ASSERT_NO_FATAL_FAILURE(pair.Compare()) << "seed " << seed << ", step " << step;
    }
    for (const char* word : {"fetch", "trash", "cancel", "wanted", "end"})
      seen[word] += pair.seen.count(word);
  }
  for (const auto& [word, count] : seen)
    EXPECT_GT(count, 50u) << word;
}

//===----------------------------------------------------------------------===//
// Callbacks that do anything
//===----------------------------------------------------------------------===//

namespace {

// Objects and an observer whose callbacks do random operations in turn, as many as the budget of each
// outermost operation allows. Whoever calls an object holds it.
class Turmoil {
public:
  explicit Turmoil(unsigned seed) : m_random(seed) {
    m_observer.deed = [this](qelLong, Item*) { Deed(); };
    for (int i = 0; i < 6; ++i)
      New();
  }
  ~Turmoil() {
    m_budget = 0;
    m_cache.reset();
    m_held.clear();
    EXPECT_TRUE(m_world.living.empty());
  }

  void Step() {
    m_budget = 12;
    Act();
    m_budget = 0;
    m_world.notes.clear();
  }

  void Check() {
    ASSERT_FALSE(m_cache->IsRunning());
    std::multiset<int> attached;
    for (const auto& [number, item] : m_world.living) {
      if (item->AttachedTo() != nullptr)
        attached.insert(number);
    }
    const std::vector<int> recent = m_cache->Recent();
    ASSERT_EQ(std::multiset<int>(recent.begin(), recent.end()), attached);
    for (int number : m_cache->Available())
      ASSERT_EQ(m_world.living.count(number), 1u);
  }

  size_t Nested() const { return m_nested; }

private:
  int Pick(int below) { return std::uniform_int_distribution<int>(0, below - 1)(m_random); }

  void New() {
    const int number = m_next++;
    const qelRef<Item> item(new Item(&m_world, number, uint64_t(Pick(4)), Item::Form(Pick(3))));
    m_held[number] = item;
    item->onFetch = item->onTrash = item->onCancel = [this] { Deed(); };
    if (Pick(2) == 0)
      item->AddListener(&m_observer);
    m_cache->Attach(item.Get());
    if (Pick(2) == 0)
      item->AddListener(&m_observer);
  }

  void Deed() {
    if (m_budget == 0 || Pick(3) == 0)
      return;
    m_budget -= 1;
    m_nested += 1;
    Act();
  }

  void Act() {
    const int kind = Pick(16);
    if (kind == 0 || m_world.living.empty())
      return m_world.living.size() < 12 ? New() : LetGo();
    if (kind == 1)
      return m_cache->SetLimits(uint64_t(Pick(12)), uint64_t(Pick(5)));
    if (kind == 2)
      return m_cache->Run();
    if (kind == 3)
      return m_cache->Dump();
    auto it = m_world.living.begin();
    std::advance(it, Pick(int(m_world.living.size())));
    const qelRef<Item> item(it->second);
    Touch(kind, item.Get());
  }

  // The map is empty by the time that objects end, since their listeners change it.
  void LetGo() { const std::map<int, qelRef<Item>> gone = std::exchange(m_held, {}); }

  void Touch(int kind, Item* item) {
    switch (kind) {
    case 4:
    case 5:
      return item->AttachedTo() != nullptr ? m_cache->Detach(item) : m_cache->Attach(item);
    case 6:
    case 7:
      return item->Forget();
    case 8:
      m_held.erase(item->Number());
      return;
    case 9:
      return item->SetLockCount(Pick(2));
    case 10:
      item->failures = Pick(2);
      return;
    case 11:
      return item->IsUnavailable() ? item->Want() : item->SetState(qelCachedStateAvailable);
    default:
      if (item->State() == qelCachedStateWanted)
        return item->SetFetching();
      if (item->State() == qelCachedStateFetching)
        return item->FetchDone(Pick(3) != 0);
      return item->Prefetch();
    }
  }

  std::mt19937 m_random;
  int m_next = 1;
  int m_budget = 0;
  size_t m_nested = 0;
  World m_world;
  Observer m_observer{&m_world};
  std::map<int, qelRef<Item>> m_held;
  std::unique_ptr<OpenCache> m_cache = std::make_unique<OpenCache>(8, 3);
};

} // namespace

TEST(QelCacheStress, KeepsItsListsWhateverCallbacksDo) {
  size_t nested = 0;
  for (int seed = 0; seed < StressRounds(); ++seed) {
    Turmoil turmoil{unsigned(seed)};
    for (int step = 0; step < 100; ++step) {
      turmoil.Step();
      ASSERT_NO_FATAL_FAILURE(turmoil.Check()) << "seed " << seed << ", step " << step;
    }
    nested += turmoil.Nested();
  }
  EXPECT_GT(nested, size_t(StressRounds()) * 20) << "callbacks were at work";
}

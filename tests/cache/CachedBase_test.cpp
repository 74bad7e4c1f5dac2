#include <qel/cache/CachedBase.h>

#include <string>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cache/CacheObjects.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// One object, held, with an observer.
class Object : public testing::Test {
protected:
  void SetUp() override { Make(Item::AtOnce); }
  void TearDown() override {
    item = 0;
    EXPECT_TRUE(world.living.empty());
  }
  Item* Make(Item::Form form) {
    item = qelRef<Item>(new Item(&world, 1, 1, form));
    item->AddListener(&observer);
    world.Take();
    return item.Get();
  }

  World world;
  Observer observer{&world};
  qelRef<Item> item;
};
using QelCachedBaseWant = Object;
using QelCachedBasePrefetch = Object;
using QelCachedBaseForget = Object;
using QelCachedBaseSetNotWanted = Object;
using QelCachedBaseSetState = Object;
using QelCachedBaseFetchDone = Object;
using QelCachedBaseCopy = Object;
using QelCachedBaseDestructor = Object;

// Overrides nothing, and shows what there is.
class Plain : public qelCachedBase {
public:
  using qelCachedBase::CancelFetch;
  using qelCachedBase::Fetch;
  using qelCachedBase::GetID;
  using qelCachedBase::SetState;
  using qelCachedBase::Trash;
  unsigned int TargetState() const { return m_targetState; }
  qelCache* AttachedTo() const { return m_cache; }
};

// Tells which steps were taken by their slots.
class Steps : public qelCachedBase {
public:
  void OnReadAccess() override { steps += "r"; }
  void SetWanted() override {
    steps += "w";
    qelCachedBase::SetWanted();
  }
  void SetFetching() override {
    steps += "f";
    qelCachedBase::SetFetching();
  }
  void SetNotWanted() override { steps += "n"; }
  bool Fetch() override {
    steps += "F";
    return true;
  }
  std::string steps;
};

} // namespace

TEST(QelCachedState, HasTheNumbersOfMessages) {
  EXPECT_EQ(qelCachedStateUnavailable, 21000u);
  EXPECT_EQ(qelCachedStateWanted, 21001u);
  EXPECT_EQ(qelCachedStateFetching, 21002u);
  EXPECT_EQ(qelCachedStateAvailable, 21003u);
}

TEST(QelCachedBase, StartsUnavailableAndUnattached) {
  Plain object;
  EXPECT_EQ(object.GetState(), 21000u);
  EXPECT_EQ(object.State(), 21000u);
  EXPECT_EQ(object.TargetState(), 21000u);
  EXPECT_TRUE(object.IsUnavailable());
  EXPECT_FALSE(object.IsAvailable());
  EXPECT_EQ(object.GetLockCount(), 0);
  EXPECT_EQ(object.Size(), 0u);
  EXPECT_EQ(object.AttachedTo(), nullptr);
  EXPECT_EQ(object._GetRefCount(), 0);
}

TEST(QelCachedBase, HasTrivialHooks) {
  Plain object;
  EXPECT_FALSE(object.Fetch());
  EXPECT_STREQ(object.GetID(), "");
  object.SetState(qelCachedStateAvailable);
  object.Trash();
  object.CancelFetch();
  EXPECT_TRUE(object.IsAvailable());
}

TEST(QelCachedBase, IsACountedObjectThatBroadcasts) {
  EXPECT_TRUE((std::is_base_of_v<qelRefCounted, qelCachedBase>));
  EXPECT_TRUE((std::is_base_of_v<qelBroadcaster, qelCachedBase>));
  Plain object;
  qelCachedBase* base = &object;
  EXPECT_EQ(static_cast<void*>(static_cast<qelRefCounted*>(base)), base) << "the first base";
  EXPECT_TRUE(std::has_virtual_destructor_v<qelCachedBase>);
}

TEST(QelCachedBase, FailsToFetchByDefault) {
  Plain object;
  object.Want();
  EXPECT_TRUE(object.IsUnavailable());
}

TEST(QelCachedBase, TakesItsStepsByTheVirtualOperations) {
  Steps object;
  object.Prefetch();
  object.Want();
  object.Forget();
  EXPECT_EQ(object.steps, "rwfFn");
}

TEST_F(QelCachedBaseWant, FetchesAtOnceAndTells) {
  item->Want();
  EXPECT_THAT(world.Take(), ElementsAre("fetch 1", "1 is 21003"));
  EXPECT_TRUE(item->IsAvailable());
  EXPECT_FALSE(item->IsUnavailable());
}

TEST_F(QelCachedBaseWant, DoesNothingInAnyOtherState) {
  for (unsigned int state :
       {qelCachedStateWanted, qelCachedStateFetching, qelCachedStateAvailable}) {
    item->SetState(state);
    world.Take();
    item->Want();
    EXPECT_THAT(world.Take(), IsEmpty());
    EXPECT_EQ(item->State(), state);
  }
}

TEST_F(QelCachedBaseWant, StartsABackgroundFetchWithoutAWord) {
  Make(Item::Background)->Want();
  EXPECT_EQ(item->State(), qelCachedStateFetching);
  EXPECT_THAT(world.Take(), IsEmpty());
  item->FetchDone(true);
  EXPECT_THAT(world.Take(), ElementsAre("1 is 21003"));
}

TEST_F(QelCachedBaseWant, MayPutTheFetchOff) {
  Make(Item::Deferred)->Want();
  EXPECT_EQ(item->State(), qelCachedStateWanted);
  EXPECT_THAT(world.Take(), ElementsAre("wanted 1"));
  item->SetFetching();
  EXPECT_EQ(item->State(), qelCachedStateFetching);
  item->FetchDone(true);
  EXPECT_TRUE(item->IsAvailable());
}

TEST_F(QelCachedBasePrefetch, WantsTheContentsOfAnUnattachedObject) {
  item->Prefetch();
  EXPECT_THAT(world.Take(), ElementsAre("fetch 1", "1 is 21003"));
  item->Prefetch();
  EXPECT_THAT(world.Take(), IsEmpty());
}

TEST_F(QelCachedBasePrefetch, MakesNoReferenceToAnUnattachedObject) {
  Item onTheStack(&world, 2);
  onTheStack.Prefetch();
  EXPECT_TRUE(onTheStack.IsAvailable());
  EXPECT_EQ(onTheStack._GetRefCount(), 0);
}

TEST_F(QelCachedBaseForget, DoesNothingWhenUnavailable) {
  item->SetTargetState(qelCachedStateAvailable);
  item->Forget();
  EXPECT_THAT(world.Take(), IsEmpty());
  EXPECT_EQ(item->TargetState(), qelCachedStateAvailable);
}

TEST_F(QelCachedBaseForget, StopsWhatIsUnderWay) {
  Make(Item::Deferred)->Want();
  world.Take();
  item->Forget();
  EXPECT_THAT(world.Take(), ElementsAre("1 is 21000"));
  EXPECT_TRUE(item->IsUnavailable());

  item->Want();
  item->SetFetching();
  world.Take();
  item->Forget();
  EXPECT_THAT(world.Take(), ElementsAre("cancel 1", "1 is 21000"));
  EXPECT_TRUE(item->IsUnavailable());

  item->Want();
  item->SetFetching();
  item->FetchDone(true);
  world.Take();
  item->Forget();
  EXPECT_THAT(world.Take(), ElementsAre("trash 1", "1 is 21000"));
  EXPECT_TRUE(item->IsUnavailable());
}

TEST_F(QelCachedBaseForget, LeavesTheStateUntilTheContentsAreGone) {
  item->Want();
  item->onTrash = [this] { EXPECT_TRUE(item->IsAvailable()); };
  observer.deed = [](qelLong, Item* sender) { EXPECT_TRUE(sender->IsUnavailable()); };
  item->Forget();
  observer.deed = nullptr;
  EXPECT_THAT(world.Take(), ElementsAre("fetch 1", "1 is 21003", "trash 1", "1 is 21000"));
}

TEST_F(QelCachedBaseForget, OutlivesTheEndOfTheObjectInItsMessage) {
  item->Want();
  observer.deed = [this](qelLong message, Item*) {
    if (message == 21000)
      item = 0;
  };
  Item* raw = item.Get();
  world.Take();
  raw->Forget();
  EXPECT_THAT(world.Take(), ElementsAre("trash 1", "1 is 21000", "end 1", "somebody is 0"));
}

TEST_F(QelCachedBaseSetNotWanted, GivesTheAimUpInAnyStateAndKeepsQuietWhenUnavailable) {
  item->SetTargetState(qelCachedStateAvailable);
  item->SetNotWanted();
  EXPECT_EQ(item->TargetState(), qelCachedStateUnavailable);
  EXPECT_THAT(world.Take(), IsEmpty());

  item->Want();
  item->SetTargetState(qelCachedStateAvailable);
  item->SetNotWanted();
  EXPECT_EQ(item->TargetState(), qelCachedStateUnavailable);
}

TEST_F(QelCachedBaseSetNotWanted, LeavesAForeignState) {
  item->SetState(7);
  item->SetNotWanted();
  EXPECT_EQ(item->State(), 7u);
  EXPECT_THAT(world.Take(), IsEmpty());
}

TEST_F(QelCachedBaseSetState, TellsTheTwoEndsAlone) {
  for (unsigned int state : {21001u, 21003u, 21002u, 21000u, 21000u, 0u, ~0u}) {
    item->SetState(state);
    EXPECT_EQ(item->State(), state);
  }
  EXPECT_THAT(world.Take(), ElementsAre("1 is 21003", "1 is 21000", "1 is 21000"));
}

TEST_F(QelCachedBaseFetchDone, TrashesAfterAFailureAndTells) {
  item->failures = 1;
  item->Want();
  EXPECT_THAT(world.Take(), ElementsAre("fetch 1", "trash 1", "1 is 21000"));
  EXPECT_TRUE(item->IsUnavailable());

  Make(Item::Background)->Want();
  item->FetchDone(false);
  EXPECT_THAT(world.Take(), ElementsAre("trash 1", "1 is 21000"));
  EXPECT_TRUE(item->IsUnavailable());
}

TEST_F(QelCachedBaseFetchDone, TriesAgainWithoutABroadcastWhileTheAimIsAvailable) {
  item->SetTargetState(qelCachedStateAvailable);
  item->failures = 2;
  item->Want();
  EXPECT_THAT(world.Take(),
              ElementsAre("fetch 1", "trash 1", "fetch 1", "trash 1", "fetch 1", "1 is 21003"));
}

TEST_F(QelCachedBaseFetchDone, TriesAgainManyTimes) {
  item->SetTargetState(qelCachedStateAvailable);
  item->failures = 5000;
  item->Want();
  EXPECT_EQ(world.Take().size(), 2 * 5000u + 2);
  EXPECT_TRUE(item->IsAvailable());
}

TEST_F(QelCachedBaseFetchDone, StopsTryingOnceTheAimIsGivenUp) {
  item->SetTargetState(qelCachedStateAvailable);
  item->failures = 10;
  item->onTrash = [this] {
    if (item->failures == 7)
      item->SetTargetState(qelCachedStateUnavailable);
  };
  item->Want();
  EXPECT_EQ(item->failures, 7);
  EXPECT_EQ(world.Take().back(), "1 is 21000");
}

TEST_F(QelCachedBaseFetchDone, TriesAgainInTheBackground) {
  Make(Item::Deferred)->SetTargetState(qelCachedStateAvailable);
  item->Want();
  item->SetFetching();
  item->FetchDone(false);
  EXPECT_EQ(item->State(), qelCachedStateWanted);
  EXPECT_THAT(world.Take(), ElementsAre("wanted 1", "trash 1", "wanted 1"));
}

TEST_F(QelCachedBaseFetchDone, OutlivesTheEndOfTheObjectInItsMessage) {
  observer.deed = [this](qelLong message, Item*) {
    if (message != 0)
      item = 0;
  };
  for (bool ok : {true, false}) {
    Item* raw = Make(Item::Background);
    raw->Want();
    raw->FetchDone(ok);
    EXPECT_TRUE(world.living.empty());
  }
}

TEST_F(QelCachedBaseCopy, TakesTheFieldsTheCountAndTheCache) {
  OpenCache cache;
  cache.Attach(item.Get());
  item->Want();
  item->SetTargetState(qelCachedStateAvailable);
  item->SetLockCount(3);
  item->SetSize(9);
  item->StopBroadcasting();
  world.Take();
  {
    struct Copy : Plain {
      explicit Copy(const qelCachedBase& from) { static_cast<qelCachedBase&>(*this) = from; }
    };
    struct Direct : qelCachedBase {
      explicit Direct(const qelCachedBase& from) : qelCachedBase(from) {}
      unsigned int TargetState() const { return m_targetState; }
      qelCache* AttachedTo() const { return m_cache; }
    };
    const Direct copy(*item.Get());
    EXPECT_EQ(copy._GetRefCount(), 2) << "one here and one of the cache";
    EXPECT_FALSE(copy.IsBroadcasting());
    EXPECT_TRUE(copy.IsAvailable());
    EXPECT_EQ(copy.TargetState(), qelCachedStateAvailable);
    EXPECT_EQ(copy.GetLockCount(), 3);
    EXPECT_EQ(copy.Size(), 9u);
    EXPECT_EQ(copy.AttachedTo(), &cache);
    const Copy assigned(*item.Get());
    EXPECT_EQ(assigned._GetRefCount(), 2);
    EXPECT_EQ(assigned.AttachedTo(), &cache);
    EXPECT_THAT(cache.Recent(), ElementsAre(1)) << "the cache does not know the copies";
    EXPECT_THAT(cache.Available(), ElementsAre(1));
  }
  EXPECT_THAT(cache.Recent(), ElementsAre(1)) << "nor does it mind their end";
  EXPECT_THAT(cache.Available(), ElementsAre(1));
  item->StartBroadcasting();
}

TEST_F(QelCachedBaseCopy, CanBeDetachedAndUsedOnItsOwn) {
  class Copied : public Plain {
  public:
    bool Fetch() override { return true; }
  };
  OpenCache cache;
  {
    Copied original;
    original.Retain(); // it is no heap object: nobody may end it
    cache.Attach(&original);
    Copied copy(original);
    copy.Prefetch();
    EXPECT_TRUE(copy.IsAvailable());
    EXPECT_TRUE(original.IsUnavailable());
    EXPECT_EQ(copy._GetRefCount(), 1) << "the cache listens to the original alone";
    cache.Detach(&copy);
    EXPECT_EQ(copy.AttachedTo(), nullptr);
    EXPECT_EQ(original.AttachedTo(), &cache);
  }
}

TEST_F(QelCachedBaseDestructor, LeavesTheCacheAndTellsTheOthers) {
  OpenCache cache;
  cache.Attach(item.Get());
  item = 0;
  EXPECT_THAT(cache.Recent(), IsEmpty());
  EXPECT_THAT(world.Take(), ElementsAre("end 1", "somebody is 0"));
}

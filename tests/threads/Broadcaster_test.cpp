//===----------------------------------------------------------------------===//
// qelBroadcaster and qelListener, which are two sides of one matter.
//===----------------------------------------------------------------------===//

#include <qel/threads/Broadcaster.h>
#include <qel/threads/Listener.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<void*> Values(qelList<void*>& list) {
  std::vector<void*> values;
  qelListIterator<void*> it(&list);
  while (it.Next())
    values.push_back(it.GetValue());
  return values;
}

class OpenBroadcaster : public qelBroadcaster {
public:
  std::vector<void*> Listeners() { return Values(m_listeners); }
};

// Notes each call as "name:message", then does as told. The deed may be this listener's end.
class Hearer : public qelListener {
public:
  using Deed = std::function<void(qelLong message, void* data)>;

  Hearer(char name, std::vector<std::string>* calls) : m_name(name), m_calls(calls) {}
  void ListenToMessage(qelLong message, void* data) override {
    m_calls->push_back(m_name + (":" + std::to_string(message)));
    const Deed deed = m_deed;
    if (deed)
      deed(message, data);
  }
  void Do(Deed deed) { m_deed = std::move(deed); }
  std::vector<void*> Broadcasters() { return Values(m_broadcasters); }
  using qelListener::AddBroadcaster;
  using qelListener::RemoveBroadcaster;

private:
  const char m_name;
  std::vector<std::string>* const m_calls;
  Deed m_deed;
};

// A sender with the hearers a, b and c.
class Broadcast : public testing::Test {
protected:
  void SetUp() override {
    sender = std::make_unique<OpenBroadcaster>();
    for (std::unique_ptr<Hearer>* hearer : {&a, &b, &c}) {
      *hearer = New(hearer == &a ? 'a' : hearer == &b ? 'b' : 'c');
      sender->AddListener(hearer->get());
    }
  }
  // Without a last message: a deed may name what is gone by then.
  void TearDown() override {
    if (sender != nullptr)
      sender->StopBroadcasting();
    sender.reset();
  }

  std::unique_ptr<Hearer> New(char name) { return std::make_unique<Hearer>(name, &calls); }
  std::vector<std::string> TakeCalls() { return std::exchange(calls, {}); }

  std::vector<std::string> calls;
  std::unique_ptr<OpenBroadcaster> sender;
  std::unique_ptr<Hearer> a, b, c;
};
using QelBroadcasterAddListener = Broadcast;
using QelBroadcasterRemoveListener = Broadcast;
using QelBroadcasterBroadcastMessage = Broadcast;
using QelBroadcasterDestructor = Broadcast;
using QelBroadcasterCopy = Broadcast;
using QelBroadcasterAssignment = Broadcast;
using QelListenerStopListening = Broadcast;
using QelListenerAddBroadcaster = Broadcast;
using QelListenerDestructor = Broadcast;
using QelListenerCopy = Broadcast;
using QelListenerAssignment = Broadcast;

} // namespace

TEST(QelBroadcaster, StartsBroadcastingToNobody) {
  OpenBroadcaster broadcaster;
  EXPECT_TRUE(broadcaster.IsBroadcasting());
  EXPECT_THAT(broadcaster.Listeners(), IsEmpty());
  broadcaster.BroadcastMessage(1, nullptr);
  EXPECT_TRUE(std::has_virtual_destructor<qelBroadcaster>::value);
}

TEST(QelListener, StartsListeningToNobodyAndDoesNothing) {
  std::vector<std::string> calls;
  Hearer hearer('h', &calls);
  EXPECT_TRUE(hearer.IsListening());
  EXPECT_THAT(hearer.Broadcasters(), IsEmpty());
  qelBroadcaster broadcaster;
  qelListener plain;
  broadcaster.AddListener(&plain);
  broadcaster.BroadcastMessage(1, nullptr);
  EXPECT_TRUE(plain.IsListening());
  EXPECT_TRUE(std::has_virtual_destructor<qelListener>::value);
}

TEST_F(QelBroadcasterAddListener, RegistersOnBothSidesInOrder) {
  EXPECT_THAT(sender->Listeners(), ElementsAre(a.get(), b.get(), c.get()));
  EXPECT_THAT(a->Broadcasters(), ElementsAre(sender.get()));
  OpenBroadcaster other;
  other.AddListener(a.get());
  EXPECT_THAT(a->Broadcasters(), ElementsAre(sender.get(), &other));
}

TEST_F(QelBroadcasterAddListener, IgnoresOneThatIsThere) {
  sender->AddListener(a.get());
  sender->AddListener(c.get());
  EXPECT_THAT(sender->Listeners(), ElementsAre(a.get(), b.get(), c.get()));
  EXPECT_THAT(a->Broadcasters(), ElementsAre(sender.get()));
  sender->BroadcastMessage(1, nullptr);
  EXPECT_THAT(TakeCalls(), ElementsAre("a:1", "b:1", "c:1"));
}

TEST_F(QelBroadcasterRemoveListener, UndoesBothSides) {
  sender->RemoveListener(b.get());
  EXPECT_THAT(sender->Listeners(), ElementsAre(a.get(), c.get()));
  EXPECT_THAT(b->Broadcasters(), IsEmpty());
  sender->BroadcastMessage(1, nullptr);
  EXPECT_THAT(TakeCalls(), ElementsAre("a:1", "c:1"));
}

TEST_F(QelBroadcasterRemoveListener, IgnoresOneThatIsNotThere) {
  std::unique_ptr<Hearer> stranger = New('s');
  OpenBroadcaster other;
  other.AddListener(stranger.get());
  sender->RemoveListener(stranger.get());
  EXPECT_EQ(sender->Listeners().size(), 3u);
  EXPECT_THAT(stranger->Broadcasters(), ElementsAre(&other));
  sender->RemoveListener(nullptr);
  EXPECT_EQ(sender->Listeners().size(), 3u);
}

TEST_F(QelListenerAddBroadcaster, DoesNotLookForDoublesAndRemovesOneAtATime) {
  Hearer lone('l', &calls);
  qelBroadcaster first, second;
  lone.AddBroadcaster(&first);
  lone.AddBroadcaster(&second);
  lone.AddBroadcaster(&first);
  EXPECT_THAT(lone.Broadcasters(), ElementsAre(&first, &second, &first));
  lone.RemoveBroadcaster(&first);
  EXPECT_THAT(lone.Broadcasters(), ElementsAre(&second, &first));
  lone.RemoveBroadcaster(sender.get());
  lone.RemoveBroadcaster(&first);
  lone.RemoveBroadcaster(&first);
  EXPECT_THAT(lone.Broadcasters(), ElementsAre(&second));
  lone.RemoveBroadcaster(&second);
}

TEST_F(QelBroadcasterBroadcastMessage, CallsInTheOrderOfRegistrationWithTheData) {
  int data = 0;
  int right = 0;
  for (Hearer* hearer : {a.get(), b.get(), c.get()})
    hearer->Do([&](qelLong message, void* got) { right += message == -5 && got == &data ? 1 : 0; });
  sender->BroadcastMessage(-5, &data);
  EXPECT_EQ(right, 3);
  EXPECT_THAT(TakeCalls(), ElementsAre("a:-5", "b:-5", "c:-5"));
  sender->RemoveListener(a.get());
  sender->AddListener(a.get());
  a->Do(nullptr);
  sender->BroadcastMessage(0, nullptr);
  EXPECT_THAT(TakeCalls(), ElementsAre("b:0", "c:0", "a:0"));
}

TEST_F(QelBroadcasterBroadcastMessage, CallsNobodyWhileStopped) {
  sender->StopBroadcasting();
  EXPECT_FALSE(sender->IsBroadcasting());
  sender->BroadcastMessage(1, nullptr);
  EXPECT_THAT(TakeCalls(), IsEmpty());
  sender->StartBroadcasting();
  EXPECT_TRUE(sender->IsBroadcasting());
  sender->BroadcastMessage(2, nullptr);
  EXPECT_EQ(calls.size(), 3u);
}

TEST_F(QelBroadcasterBroadcastMessage, GoesOnWhenItIsStoppedInTheMiddle) {
  a->Do([&](qelLong, void*) { sender->StopBroadcasting(); });
  sender->BroadcastMessage(1, nullptr);
  sender->BroadcastMessage(2, nullptr);
  EXPECT_THAT(TakeCalls(), ElementsAre("a:1", "b:1", "c:1"));
}

TEST_F(QelListenerStopListening, StaysRegisteredAndGetsNothing) {
  b->StopListening();
  EXPECT_FALSE(b->IsListening());
  sender->BroadcastMessage(1, nullptr);
  EXPECT_THAT(TakeCalls(), ElementsAre("a:1", "c:1"));
  EXPECT_THAT(sender->Listeners(), ElementsAre(a.get(), b.get(), c.get()));
  b->StartListening();
  EXPECT_TRUE(b->IsListening());
  sender->BroadcastMessage(2, nullptr);
  EXPECT_THAT(TakeCalls(), ElementsAre("a:2", "b:2", "c:2"));
}

TEST_F(QelListenerStopListening, CountsAtOnceInADelivery) {
  c->StopListening();
  a->Do([&](qelLong, void*) {
    b->StopListening();
    c->StartListening();
  });
  sender->BroadcastMessage(1, nullptr);
  EXPECT_THAT(TakeCalls(), ElementsAre("a:1", "c:1"));
}

TEST_F(QelBroadcasterBroadcastMessage, ReachesTheNextWhenTheCalledOneRemovesItself) {
  for (std::unique_ptr<Hearer>* hearer : {&a, &b, &c})
    (*hearer)->Do([=](qelLong, void*) { sender->RemoveListener(hearer->get()); });
  sender->BroadcastMessage(1, nullptr);
  EXPECT_THAT(TakeCalls(), ElementsAre("a:1", "b:1", "c:1"));
  EXPECT_THAT(sender->Listeners(), IsEmpty());
}

TEST_F(QelBroadcasterBroadcastMessage, ReachesTheNextWhenTheCalledOneDies) {
  for (std::unique_ptr<Hearer>* hearer : {&a, &b, &c})
    (*hearer)->Do([=](qelLong, void*) { hearer->reset(); });
  sender->BroadcastMessage(1, nullptr);
  EXPECT_THAT(TakeCalls(), ElementsAre("a:1", "b:1", "c:1"));
  EXPECT_THAT(sender->Listeners(), IsEmpty());
}

TEST_F(QelBroadcasterBroadcastMessage, PassesByALaterOneThatWasRemovedOrDied) {
  a->Do([&](qelLong message, void*) {
    if (message == 1)
      sender->RemoveListener(b.get());
    else
      c.reset();
  });
  sender->BroadcastMessage(1, nullptr);
  EXPECT_THAT(TakeCalls(), ElementsAre("a:1", "c:1"));
  sender->BroadcastMessage(2, nullptr);
  EXPECT_THAT(TakeCalls(), ElementsAre("a:2"));
}

TEST_F(QelBroadcasterBroadcastMessage, GoesOnWhenAnEarlierOneDies) {
  b->Do([&](qelLong, void*) { a.reset(); });
  sender->BroadcastMessage(1, nullptr);
  EXPECT_THAT(TakeCalls(), ElementsAre("a:1", "b:1", "c:1"));
}

TEST_F(QelBroadcasterBroadcastMessage, GivesTheSameMessageToOneThatIsAdded) {
  std::unique_ptr<Hearer> late = New('l');
  c->Do([&](qelLong, void*) { sender->AddListener(late.get()); });
  sender->BroadcastMessage(1, nullptr);
  EXPECT_THAT(TakeCalls(), ElementsAre("a:1", "b:1", "c:1", "l:1"));
}

TEST_F(QelBroadcasterBroadcastMessage, GivesItAgainToOneThatIsRemovedAndAdded) {
  a->Do([&](qelLong, void*) {
    a->Do(nullptr);
    sender->RemoveListener(a.get());
    sender->AddListener(a.get());
  });
  sender->BroadcastMessage(1, nullptr);
  EXPECT_THAT(TakeCalls(), ElementsAre("a:1", "b:1", "c:1", "a:1"));
}

TEST_F(QelBroadcasterBroadcastMessage, Nests) {
  b->Do([&](qelLong message, void*) {
    if (message < 3)
      sender->BroadcastMessage(message + 1, nullptr);
  });
  sender->BroadcastMessage(1, nullptr);
  EXPECT_THAT(TakeCalls(),
              ElementsAre("a:1", "b:1", "a:2", "b:2", "a:3", "b:3", "c:3", "c:2", "c:1"));
}

TEST_F(QelBroadcasterBroadcastMessage, EndsWhenTheBroadcasterDies) {
  b->Do([&](qelLong message, void*) {
    if (message == 1)
      sender.reset();
  });
  sender->BroadcastMessage(1, nullptr);
  EXPECT_THAT(TakeCalls(), ElementsAre("a:1", "b:1", "a:0", "b:0", "c:0"));
  EXPECT_THAT(b->Broadcasters(), IsEmpty());
}

TEST_F(QelBroadcasterBroadcastMessage, EndsInAllNestsWhenTheBroadcasterDies) {
  b->Do([&](qelLong message, void*) {
    if (message == 1)
      sender->BroadcastMessage(2, nullptr);
    else if (message == 2)
      sender.reset();
  });
  sender->BroadcastMessage(1, nullptr);
  EXPECT_THAT(TakeCalls(), ElementsAre("a:1", "b:1", "a:2", "b:2", "a:0", "b:0", "c:0"));
}

TEST_F(QelBroadcasterDestructor, TellsEveryListenerOfItself) {
  void* told = nullptr;
  qelBroadcaster* const self = sender.get();
  b->Do([&](qelLong message, void* data) {
    EXPECT_EQ(message, 0);
    told = data;
  });
  sender.reset();
  EXPECT_EQ(told, self);
  EXPECT_THAT(TakeCalls(), ElementsAre("a:0", "b:0", "c:0"));
  for (Hearer* hearer : {a.get(), b.get(), c.get()})
    EXPECT_THAT(hearer->Broadcasters(), IsEmpty());
}

TEST_F(QelBroadcasterDestructor, SendsNothingWhileStopped) {
  sender->StopBroadcasting();
  sender.reset();
  EXPECT_THAT(TakeCalls(), IsEmpty());
  EXPECT_THAT(a->Broadcasters(), IsEmpty());
}

TEST_F(QelBroadcasterDestructor, UnregistersOneThatDoesNotListen) {
  a->StopListening();
  sender.reset();
  EXPECT_THAT(TakeCalls(), ElementsAre("b:0", "c:0"));
  EXPECT_THAT(a->Broadcasters(), IsEmpty());
}

TEST(QelBroadcasterDestructorOverride, UsesItsOwnBroadcast) {
  class Silent : public qelBroadcaster {
  public:
    void BroadcastMessage(qelLong, void*) override {}
  };
  std::vector<std::string> calls;
  Hearer hearer('h', &calls);
  {
    Silent silent;
    silent.AddListener(&hearer);
    silent.BroadcastMessage(1, nullptr);
    EXPECT_THAT(calls, IsEmpty());
  }
  EXPECT_THAT(calls, ElementsAre("h:0"));
}

TEST_F(QelBroadcasterDestructor, LetsListenersLeaveComeAndDieInTheLastMessage) {
  std::unique_ptr<Hearer> late = New('l');
  // The pointer of the fixture is clear while the object dies.
  OpenBroadcaster* dying = sender.release();
  a->Do([=](qelLong, void*) { dying->RemoveListener(a.get()); });
  b->Do([&, dying](qelLong, void*) {
    dying->AddListener(late.get());
    b.reset();
  });
  c->Do([=](qelLong message, void*) {
    if (message == 0)
      dying->BroadcastMessage(7, nullptr);
  });
  delete dying;
  EXPECT_THAT(TakeCalls(), ElementsAre("a:0", "b:0", "c:0", "c:7", "l:7", "l:0"));
  EXPECT_THAT(late->Broadcasters(), IsEmpty());
  EXPECT_THAT(c->Broadcasters(), IsEmpty());
}

TEST_F(QelListenerDestructor, TakesItselfOffEveryBroadcaster) {
  OpenBroadcaster second, third;
  second.AddListener(b.get());
  third.AddListener(b.get());
  third.AddListener(a.get());
  b.reset();
  EXPECT_THAT(sender->Listeners(), ElementsAre(a.get(), c.get()));
  EXPECT_THAT(second.Listeners(), IsEmpty());
  EXPECT_THAT(third.Listeners(), ElementsAre(a.get()));
}

TEST_F(QelListenerDestructor, CallsTheVirtualRemoveListener) {
  class Counting : public qelBroadcaster {
  public:
    void RemoveListener(qelListener* listener) override {
      removed.push_back(listener);
      qelBroadcaster::RemoveListener(listener);
    }
    std::vector<qelListener*> removed;
  };
  Counting counting[3];
  qelListener* const old = a.get();
  for (Counting& broadcaster : counting)
    broadcaster.AddListener(old);
  a.reset();
  for (Counting& broadcaster : counting)
    EXPECT_THAT(broadcaster.removed, ElementsAre(old));
}

TEST_F(QelBroadcasterCopy, TakesTheFlagAndNoListeners) {
  OpenBroadcaster copy(*sender);
  EXPECT_TRUE(copy.IsBroadcasting());
  EXPECT_THAT(copy.Listeners(), IsEmpty());
  EXPECT_EQ(sender->Listeners().size(), 3u);
  sender->StopBroadcasting();
  EXPECT_FALSE(OpenBroadcaster(*sender).IsBroadcasting());
}

TEST_F(QelListenerCopy, TakesTheFlagAndNoRegistration) {
  {
    Hearer copy(*a);
    EXPECT_TRUE(copy.IsListening());
    EXPECT_THAT(copy.Broadcasters(), IsEmpty());
    a->StopListening();
    EXPECT_FALSE(Hearer(*a).IsListening());
  }
  EXPECT_EQ(sender->Listeners().size(), 3u);
  EXPECT_THAT(a->Broadcasters(), ElementsAre(sender.get()));
}

TEST_F(QelBroadcasterAssignment, EmptiesItsOwnSideAlone) {
  OpenBroadcaster source;
  source.AddListener(c.get());
  source.StopBroadcasting();
  *sender = source;
  EXPECT_FALSE(sender->IsBroadcasting());
  EXPECT_THAT(sender->Listeners(), IsEmpty());
  EXPECT_THAT(source.Listeners(), ElementsAre(c.get()));
  EXPECT_THAT(a->Broadcasters(), ElementsAre(sender.get()));
  EXPECT_THAT(c->Broadcasters(), ElementsAre(sender.get(), &source));
  // A removal does not reach the other side, and adding again gives it a second entry.
  sender->RemoveListener(a.get());
  EXPECT_THAT(a->Broadcasters(), ElementsAre(sender.get()));
  sender->AddListener(a.get());
  EXPECT_THAT(a->Broadcasters(), ElementsAre(sender.get(), sender.get()));
  // The listeners go ahead of it: each asks it to be removed, as often as it knows it.
  a.reset();
  b.reset();
  c.reset();
  EXPECT_THAT(sender->Listeners(), IsEmpty());
}

TEST_F(QelListenerAssignment, EmptiesItsOwnSideAlone) {
  std::unique_ptr<Hearer> source = New('s');
  sender->AddListener(source.get());
  source->StopListening();
  static_cast<qelListener&>(*b) = *source;
  EXPECT_FALSE(b->IsListening());
  EXPECT_THAT(b->Broadcasters(), IsEmpty());
  EXPECT_THAT(source->Broadcasters(), ElementsAre(sender.get()));
  EXPECT_THAT(sender->Listeners(), ElementsAre(a.get(), b.get(), c.get(), source.get()));
  b->StartListening();
  sender->BroadcastMessage(1, nullptr);
  EXPECT_THAT(TakeCalls(), ElementsAre("a:1", "b:1", "c:1"));
  // The broadcaster still lists it, so adding does nothing; it is told by a removal.
  sender->AddListener(b.get());
  EXPECT_THAT(b->Broadcasters(), IsEmpty());
  sender->RemoveListener(b.get());
  EXPECT_THAT(sender->Listeners(), ElementsAre(a.get(), c.get(), source.get()));
}

TEST_F(QelBroadcasterAssignment, OntoItselfEmptiesItToo) {
  const OpenBroadcaster& same = *sender;
  *sender = same;
  EXPECT_TRUE(sender->IsBroadcasting());
  EXPECT_THAT(sender->Listeners(), IsEmpty());
  EXPECT_THAT(a->Broadcasters(), ElementsAre(sender.get()));
  a.reset();
  b.reset();
  c.reset();
}

TEST_F(QelListenerAssignment, OntoItselfEmptiesItToo) {
  const qelListener& same = *b;
  static_cast<qelListener&>(*b) = same;
  EXPECT_TRUE(b->IsListening());
  EXPECT_THAT(b->Broadcasters(), IsEmpty());
  EXPECT_THAT(sender->Listeners(), ElementsAre(a.get(), b.get(), c.get()));
  sender->RemoveListener(b.get());
}

TEST_F(QelBroadcasterAssignment, EndsADeliveryInTheMiddle) {
  a->Do([&](qelLong message, void*) {
    if (message == 1)
      static_cast<qelBroadcaster&>(*sender) = qelBroadcaster();
  });
  sender->BroadcastMessage(1, nullptr);
  EXPECT_THAT(TakeCalls(), ElementsAre("a:1"));
  a.reset();
  b.reset();
  c.reset();
}

//===----------------------------------------------------------------------===//
// Broadcasters and listeners that change each other in the middle of deliveries,
// beside a model: registrations stand in one ordered table, and a delivery calls
// whoever is the first behind the last one called, at that moment.
//===----------------------------------------------------------------------===//

namespace {

class World {
public:
  static constexpr int kBroadcasters = 3;
  static constexpr int kListeners = 5;

  World() : m_broadcasters(kBroadcasters), m_listeners(kListeners) {}
  ~World() {
    m_onCall = nullptr;
    for (int b = 0; b < kBroadcasters; ++b)
      EndBroadcaster(b);
    for (int l = 0; l < kListeners; ++l)
      EndListener(l);
  }
  World(const World&) = delete;
  World& operator=(const World&) = delete;

  // What happens in each call, behind the comparison.
  void OnCall(std::function<void()> deed) { m_onCall = std::move(deed); }

  void MakeBroadcaster(int b) {
    if (m_broadcasters[At(b)].real == nullptr)
      m_broadcasters[At(b)] = {new OpenBroadcaster, true, false};
  }
  void MakeListener(int l) {
    if (m_listeners[At(l)].real == nullptr)
      m_listeners[At(l)] = {new Subject(this, l), true};
  }

  void Add(int b, int l) {
    if (!Both(b, l))
      return;
    if (FindRegistration(b, l) == m_registrations.end())
      m_registrations[++m_lastSerial] = {b, l};
    m_broadcasters[At(b)].real->AddListener(m_listeners[At(l)].real);
  }

  void Remove(int b, int l) {
    if (!Both(b, l))
      return;
    const auto found = FindRegistration(b, l);
    if (found != m_registrations.end())
      m_registrations.erase(found);
    m_broadcasters[At(b)].real->RemoveListener(m_listeners[At(l)].real);
  }

  void SetListening(int l, bool on) {
    ListenerSide& side = m_listeners[At(l)];
    if (side.real == nullptr)
      return;
    side.listening = on;
    on ? side.real->StartListening() : side.real->StopListening();
  }

  void SetBroadcasting(int b, bool on) {
    BroadcasterSide& side = m_broadcasters[At(b)];
    if (side.real == nullptr)
      return;
    side.broadcasting = on;
    on ? side.real->StartBroadcasting() : side.real->StopBroadcasting();
  }

  void Send(int b, qelLong message, void* data) {
    OpenBroadcaster* real = m_broadcasters[At(b)].real;
    if (real == nullptr)
      return;
    const bool sent = Begin(b, message, data);
    real->BroadcastMessage(message, data);
    if (sent)
      Finish();
  }

  void EndListener(int l) {
    Subject* real = std::exchange(m_listeners[At(l)].real, nullptr);
    EraseIf([=](const Registration& registration) { return registration.listener == l; });
    delete real;
  }

  void EndBroadcaster(int b) {
    BroadcasterSide& side = m_broadcasters[At(b)];
    if (side.real == nullptr || side.dying)
      return;
    side.dying = true;
    OpenBroadcaster* real = side.real;
    const bool sent = Begin(b, 0, static_cast<qelBroadcaster*>(real));
    delete real;
    if (sent)
      Finish();
    side = {};
    EraseIf([=](const Registration& registration) { return registration.broadcaster == b; });
    for (Delivery& delivery : m_deliveries)
      delivery.ended = delivery.ended || delivery.broadcaster == b;
  }

  // How deep deliveries are nested at present.
  size_t Depth() const { return m_deliveries.size(); }
  int Calls() const { return m_calls; }

  // Compares both sides of all registrations. Not during the end of a broadcaster.
  void Check() {
    for (int b = 0; b < kBroadcasters; ++b) {
      std::vector<void*> listeners;
      for (const auto& entry : m_registrations) {
        if (entry.second.broadcaster == b)
          listeners.push_back(m_listeners[At(entry.second.listener)].Address());
      }
      if (m_broadcasters[At(b)].real != nullptr)
        ASSERT_EQ(m_broadcasters[At(b)].real->Listeners(), listeners);
      else
        ASSERT_THAT(listeners, IsEmpty());
    }
    for (int l = 0; l < kListeners; ++l) {
      std::vector<void*> broadcasters;
      for (const auto& entry : m_registrations) {
        if (entry.second.listener == l)
          broadcasters.push_back(m_broadcasters[At(entry.second.broadcaster)].Address());
      }
      if (m_listeners[At(l)].real != nullptr)
        ASSERT_EQ(m_listeners[At(l)].real->Broadcasters(), broadcasters);
      else
        ASSERT_THAT(broadcasters, IsEmpty());
    }
  }

private:
  class Subject : public qelListener {
  public:
    Subject(World* world, int number) : m_world(world), m_number(number) {}
    void ListenToMessage(qelLong message, void* data) override {
      m_world->Called(m_number, message, data); // this object may be gone afterwards
    }
    std::vector<void*> Broadcasters() { return Values(m_broadcasters); }

  private:
    World* const m_world;
    const int m_number;
  };

  struct BroadcasterSide {
    OpenBroadcaster* real = nullptr;
    bool broadcasting = false;
    bool dying = false;
    void* Address() const { return static_cast<qelBroadcaster*>(real); }
  };
  struct ListenerSide {
    Subject* real = nullptr;
    bool listening = false;
    void* Address() const { return static_cast<qelListener*>(real); }
  };
  struct Registration {
    int broadcaster;
    int listener;
  };
  struct Delivery {
    int broadcaster;
    int last; // serial of the last registration that was called
    bool ended;
    qelLong message;
    void* data;
  };
  using Registrations = std::map<int, Registration>;

  static size_t At(int index) { return static_cast<size_t>(index); }

  bool Both(int b, int l) const {
    return m_broadcasters[At(b)].real != nullptr && m_listeners[At(l)].real != nullptr;
  }

  Registrations::iterator FindRegistration(int b, int l) {
    return std::find_if(m_registrations.begin(), m_registrations.end(), [=](const auto& entry) {
      return entry.second.broadcaster == b && entry.second.listener == l;
    });
  }

  template <typename Condition>
  void EraseIf(Condition condition) {
    for (auto it = m_registrations.begin(); it != m_registrations.end();)
      it = condition(it->second) ? m_registrations.erase(it) : std::next(it);
  }

  // The registration that a delivery calls next.
  Registrations::iterator Next(const Delivery& delivery) {
    if (delivery.ended)
      return m_registrations.end();
    return std::find_if(m_registrations.upper_bound(delivery.last), m_registrations.end(),
                        [&](const auto& entry) {
                          return entry.second.broadcaster == delivery.broadcaster &&
                                 m_listeners[At(entry.second.listener)].listening;
                        });
  }

  bool Begin(int b, qelLong message, void* data) {
    if (!m_broadcasters[At(b)].broadcasting)
      return false;
    m_deliveries.push_back({b, 0, false, message, data});
    return true;
  }

  void Finish() {
    EXPECT_EQ(Next(m_deliveries.back()), m_registrations.end()) << "somebody was passed by";
    m_deliveries.pop_back();
  }

  void Called(int l, qelLong message, void* data) {
    m_calls += 1;
    ASSERT_FALSE(m_deliveries.empty());
    Delivery& delivery = m_deliveries.back();
    const auto expected = Next(delivery);
    ASSERT_NE(expected, m_registrations.end());
    EXPECT_EQ(expected->second.listener, l);
    EXPECT_EQ(delivery.message, message);
    EXPECT_EQ(delivery.data, data);
    delivery.last = expected->first;
    if (m_onCall)
      m_onCall();
  }

  std::vector<BroadcasterSide> m_broadcasters;
  std::vector<ListenerSide> m_listeners;
  Registrations m_registrations; // by serial, which is the order of registration on both sides
  std::vector<Delivery> m_deliveries;
  std::function<void()> m_onCall;
  int m_lastSerial = 0;
  int m_calls = 0;
};

// Ends the objects of an order, of which 0 and 1 are broadcasters and the others listeners.
void EndInOrder(World& world, const std::vector<int>& order, size_t count) {
  for (size_t i = 0; i < count; ++i)
    order[i] < 2 ? world.EndBroadcaster(order[i]) : world.EndListener(order[i] - 2);
}

// Two broadcasters and three listeners, all registered, in opposite orders.
void Furnish(World& world) {
  for (int b = 0; b < 2; ++b)
    world.MakeBroadcaster(b);
  for (int l = 0; l < 3; ++l)
    world.MakeListener(l);
  for (int l = 0; l < 3; ++l) {
    world.Add(0, l);
    world.Add(1, 2 - l);
  }
}

} // namespace

TEST(QelBroadcasterOrders, EndInAnyOrderOutsideADelivery) {
  std::vector<int> order{0, 1, 2, 3, 4};
  do {
    World world;
    Furnish(world);
    for (size_t count = 1; count <= order.size(); ++count) {
      EndInOrder(world, order, count);
      ASSERT_NO_FATAL_FAILURE(world.Check());
    }
  } while (std::next_permutation(order.begin(), order.end()));
}

// At each call of a delivery, with one and with two of them open, any number of the objects ends.
TEST(QelBroadcasterOrders, EndInAnyOrderInTheMiddleOfADelivery) {
  std::vector<int> order{0, 1, 2, 3, 4};
  do {
    for (size_t count = 1; count <= order.size(); ++count) {
      for (int when = 1; when <= 6; ++when) {
        World world;
        Furnish(world);
        world.OnCall([&] {
          if (world.Calls() == 2 && when > 2)
            world.Send(1, 6, nullptr);
          else if (world.Calls() == when)
            EndInOrder(world, order, count);
        });
        world.Send(0, 5, &world);
        ASSERT_NO_FATAL_FAILURE(world.Check());
        ASSERT_GE(world.Calls(), std::min(when, 3));
      }
    }
  } while (std::next_permutation(order.begin(), order.end()));
}

// In the last message of a broadcaster others end, too.
TEST(QelBroadcasterOrders, EndInAnyOrderInALastMessage) {
  std::vector<int> order{0, 1, 2, 3, 4};
  do {
    for (int when = 1; when <= 3; ++when) {
      World world;
      Furnish(world);
      world.OnCall([&] {
        if (world.Calls() == when)
          EndInOrder(world, order, order.size());
      });
      world.EndBroadcaster(1);
      ASSERT_NO_FATAL_FAILURE(world.Check());
    }
  } while (std::next_permutation(order.begin(), order.end()));
}

namespace {

// Random deeds, inside and outside of calls.
class Chaos {
public:
  explicit Chaos(unsigned seed) : m_random(seed) {
    m_world.OnCall([this] {
      for (auto deeds = m_random() % 3; deeds > 0; --deeds)
        Act();
    });
  }

  void Play(int steps) {
    for (int i = 0; i < steps; ++i) {
      m_budget = 60; // deeds until calls are left alone
      Act();
      ASSERT_NO_FATAL_FAILURE(m_world.Check()) << "step " << i;
    }
  }
  int Calls() const { return m_world.Calls(); }
  size_t Deepest() const { return m_deepest; }

private:
  void Act() {
    if (m_budget == 0)
      return;
    m_budget -= 1;
    m_deepest = std::max(m_deepest, m_world.Depth());
    const int b = static_cast<int>(m_random() % World::kBroadcasters);
    const int l = static_cast<int>(m_random() % World::kListeners);
    switch (m_random() % 24) {
    case 0:
      return m_world.EndBroadcaster(b);
    case 1:
      return m_world.EndListener(l);
    case 2:
      return m_world.SetBroadcasting(b, m_random() % 4 != 0);
    case 3:
      return m_world.SetListening(l, m_random() % 4 != 0);
    case 4:
      return m_world.Remove(b, l);
    case 5:
    case 6:
      return m_world.MakeBroadcaster(b);
    case 7:
    case 8:
      return m_world.MakeListener(l);
    case 9:
    case 10:
      m_world.Remove(b, l);
      return m_world.Add(b, l);
    case 11:
    case 12:
    case 13:
    case 14:
    case 15:
    case 16:
      return m_world.Add(b, l);
    default:
      if (m_world.Depth() < 5)
        m_world.Send(b, static_cast<qelLong>(m_random() % 100), this);
    }
  }

  std::mt19937 m_random;
  int m_budget = 0;
  size_t m_deepest = 0;
  World m_world;
};

} // namespace

TEST(QelBroadcasterModel, HoldsForRandomDeedsInTheMiddleOfDeliveries) {
  int calls = 0;
  size_t deepest = 0;
  for (unsigned seed = 1; seed <= 100; ++seed) {
    Chaos chaos(seed);
    ASSERT_NO_FATAL_FAILURE(chaos.Play(800)) << "seed " << seed;
    calls += chaos.Calls();
    deepest = std::max(deepest, chaos.Deepest());
  }
  // The scenes are worth their name.
  EXPECT_GT(calls, 10000);
  EXPECT_GE(deepest, 4u);
}

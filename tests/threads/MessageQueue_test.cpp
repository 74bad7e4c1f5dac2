#include <qel/threads/MessageQueue.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <functional>
#include <memory>
#include <new>
#include <random>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <qel/multiplatform/qelCondition.h>
#include <qel/multiplatform/qelMutex.h>
#include <tests/support/Gate.h>
#include <tests/support/Stress.h>

// What fails in this thread.
static thread_local bool noMemory = false;
static thread_local bool noLock = false;

// How many locks this thread has asked for.
static thread_local int locks = 0;

// The library's own allocations that may come back empty-handed.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return noMemory ? nullptr : ::operator new(size);
}

// The program is linked so that every lock of the library comes through here: qelOSMutex_Lock.
extern "C" int __real__Z15qelOSMutex_LockP10qelOSMutex(qelOSMutex* mutex);
extern "C" int __wrap__Z15qelOSMutex_LockP10qelOSMutex(qelOSMutex* mutex) {
  locks += 1;
  return noLock ? 1 : __real__Z15qelOSMutex_LockP10qelOSMutex(mutex);
}

namespace {

// Shows the fields, and who sleeps.
class OpenQueue : public qelMessageQueue {
public:
  using qelMessageQueue::m_condition;
  using qelMessageQueue::m_head;
  using qelMessageQueue::m_mutex;
  using qelMessageQueue::m_tail;

  void AwaitSleepers(int count) {
    AwaitThat([=] { return WaitingOn(m_condition) == count; });
  }
};

void* Pointer(uintptr_t number) {
  return reinterpret_cast<void*>(number);
}

uintptr_t Number(const void* pointer) {
  return reinterpret_cast<uintptr_t>(pointer);
}

TEST(QelMessage, StartsWithAllFieldsZero) {
  const qelMessage message;
  EXPECT_EQ(message.next, nullptr);
  EXPECT_EQ(message.id, 0);
  EXPECT_EQ(message.param1, nullptr);
  EXPECT_EQ(message.param2, nullptr);
  EXPECT_FALSE(std::is_polymorphic<qelMessage>::value);
  EXPECT_EQ(offsetof(qelMessage, next), 0u);
  EXPECT_LT(offsetof(qelMessage, id), offsetof(qelMessage, param1));
  EXPECT_LT(offsetof(qelMessage, param1), offsetof(qelMessage, param2));
}

TEST(QelMessage, TakesItsThreeValuesAndNoLink) {
  const qelMessage message(-7, Pointer(1), Pointer(2));
  EXPECT_EQ(message.next, nullptr);
  EXPECT_EQ(message.id, -7);
  EXPECT_EQ(message.param1, Pointer(1));
  EXPECT_EQ(message.param2, Pointer(2));
}

TEST(QelMessage, CopiesTheLinkToo) {
  qelMessage other;
  qelMessage source(INT32_MIN, Pointer(1), Pointer(2));
  source.next = &other;
  qelMessage target(1, nullptr, nullptr);
  target = source;
  const qelMessage copy(source);
  EXPECT_EQ(target.next, &other);
  EXPECT_EQ(target.id, INT32_MIN);
  EXPECT_EQ(target.param1, Pointer(1));
  EXPECT_EQ(target.param2, Pointer(2));
  EXPECT_EQ(copy.next, &other);
}

TEST(QelMessageQueue, StartsEmptyWithItsOwnLocks) {
  OpenQueue queue;
  EXPECT_NE(queue.m_mutex, nullptr);
  EXPECT_NE(queue.m_condition, nullptr);
  EXPECT_EQ(queue.m_head, nullptr);
  EXPECT_EQ(queue.m_tail, nullptr);
  EXPECT_TRUE(queue.IsEmpty());
  EXPECT_TRUE(std::has_virtual_destructor<qelMessageQueue>::value);
}

TEST(QelMessageQueue, HasItsFieldsInOrder) {
  OpenQueue queue;
  const std::vector<const void*> fields{&queue.m_mutex, &queue.m_condition, &queue.m_head,
                                        &queue.m_tail};
  EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end(), std::less<const void*>()));
  EXPECT_EQ(sizeof(qelMessageQueue), 5 * sizeof(void*));
}

TEST(QelMessageQueueIsEmpty, LooksWithoutTheLock) {
  OpenQueue queue;
  const int before = locks;
  EXPECT_TRUE(queue.IsEmpty());
  EXPECT_EQ(locks, before);
  queue.Post(1, nullptr, nullptr);
  EXPECT_EQ(locks, before + 2); // the queue's own, and the condition's
  EXPECT_FALSE(queue.IsEmpty());
  EXPECT_EQ(locks, before + 2);
}

TEST(QelMessageQueuePost, LinksBehindTheTail) {
  OpenQueue queue;
  EXPECT_EQ(queue.Post(1, nullptr, nullptr), 0);
  qelMessage* first = queue.m_head;
  EXPECT_EQ(first, queue.m_tail);
  EXPECT_FALSE(queue.IsEmpty());
  EXPECT_EQ(queue.Post(2, nullptr, nullptr), 0);
  EXPECT_EQ(queue.m_head, first);
  EXPECT_EQ(first->next, queue.m_tail);
  EXPECT_EQ(queue.m_tail->id, 2);
  EXPECT_EQ(queue.m_tail->next, nullptr);
}

TEST(QelMessageQueuePost, GivesOneWithoutMemory) {
  OpenQueue queue;
  queue.Post(1, nullptr, nullptr);
  noMemory = true;
  const int result = queue.Post(2, nullptr, nullptr);
  noMemory = false;
  EXPECT_EQ(result, 1);
  EXPECT_EQ(queue.m_head, queue.m_tail);
  EXPECT_EQ(queue.m_tail->id, 1);
}

// That the message is freed is seen by the leak check of the sanitizers.
TEST(QelMessageQueuePost, GivesOneWhenTheLockFails) {
  OpenQueue queue;
  noLock = true;
  const int result = queue.Post(2, nullptr, nullptr);
  noLock = false;
  EXPECT_EQ(result, 1);
  EXPECT_TRUE(queue.IsEmpty());
  EXPECT_EQ(queue.m_tail, nullptr);
}

TEST(QelMessageQueuePost, WakesASleepingConsumer) {
  OpenQueue queue;
  std::thread consumer([&] {
    std::unique_ptr<qelMessage> message(queue.Get());
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(message->id, 5);
    EXPECT_EQ(message->next, nullptr);
  });
  queue.AwaitSleepers(1);
  EXPECT_EQ(queue.Post(5, nullptr, nullptr), 0);
  // The consumer has acknowledged.
  EXPECT_EQ(WaitingOn(queue.m_condition), 0);
  consumer.join();
  EXPECT_TRUE(queue.IsEmpty());
}

TEST(QelMessageQueueGet, GivesMessagesInTheOrderOfPostWithoutAWait) {
  qelMessageQueue queue;
  for (qelLong id = 0; id < 100; ++id)
    queue.Post(id, Pointer(static_cast<uintptr_t>(id) + 1), Pointer(7));
  for (qelLong id = 0; id < 100; ++id) {
    std::unique_ptr<qelMessage> message(queue.Get());
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(message->id, id);
    EXPECT_EQ(Number(message->param1), static_cast<uintptr_t>(id) + 1);
    EXPECT_EQ(message->param2, Pointer(7));
  }
  EXPECT_TRUE(queue.IsEmpty());
}

TEST(QelMessageQueueGet, ClearsBothEndsWithTheLastMessage) {
  OpenQueue queue;
  qelMessage message;
  for (int round = 0; round < 2; ++round) {
    queue.Post(1, nullptr, nullptr);
    EXPECT_EQ(queue.m_head, queue.m_tail);
    EXPECT_NE(queue.m_head, nullptr);
    EXPECT_EQ(queue.Get(&message), 0);
    EXPECT_EQ(queue.m_head, nullptr);
    EXPECT_EQ(queue.m_tail, nullptr);
  }
}

TEST(QelMessageQueueGet, CopiesAllFieldsTheLinkToo) {
  OpenQueue queue;
  queue.Post(1, Pointer(2), Pointer(3));
  queue.Post(4, nullptr, nullptr);
  qelMessage message;
  EXPECT_EQ(queue.Get(&message), 0);
  EXPECT_EQ(message.id, 1);
  EXPECT_EQ(message.param1, Pointer(2));
  EXPECT_EQ(message.param2, Pointer(3));
  EXPECT_EQ(message.next, queue.m_head);
  EXPECT_NE(message.next, nullptr);
}

// The mutex is recursive: this thread holds it from ahead of the post until it has taken the message
// itself, and the woken consumer comes too late.
TEST(QelMessageQueueGet, GivesNullWhenAnotherConsumerWasFaster) {
  OpenQueue queue;
  std::thread consumer([&] { EXPECT_EQ(queue.Get(), nullptr); });
  queue.AwaitSleepers(1);
  qelOSMutex_Lock(queue.m_mutex);
  queue.Post(1, nullptr, nullptr);
  qelMessage message;
  EXPECT_EQ(queue.Get(&message), 0);
  qelOSMutex_Unlock(queue.m_mutex);
  consumer.join();
  EXPECT_EQ(message.id, 1);
}

// The consumer was woken by the cancel and comes to the queue behind a post that had nobody to wake.
TEST(QelMessageQueueGet, GivesAMessageThatCameBehindACancel) {
  OpenQueue queue;
  std::thread consumer([&] {
    qelMessage message;
    EXPECT_EQ(queue.Get(&message), 0);
    EXPECT_EQ(message.id, 6);
  });
  queue.AwaitSleepers(1);
  qelOSMutex_Lock(queue.m_mutex);
  queue.Cancel();
  queue.Post(6, nullptr, nullptr);
  qelOSMutex_Unlock(queue.m_mutex);
  consumer.join();
  EXPECT_TRUE(queue.IsEmpty());
}

TEST(QelMessageQueueCancel, GivesNullToTheThreadThatSleeps) {
  OpenQueue queue;
  std::thread consumer([&] { EXPECT_EQ(queue.Get(), nullptr); });
  queue.AwaitSleepers(1);
  queue.Cancel();
  consumer.join();
}

TEST(QelMessageQueueCancel, GivesOneToTheCopyingGetAndLeavesItsMessageAlone) {
  OpenQueue queue;
  qelMessage message(3, Pointer(1), Pointer(2));
  std::thread consumer([&] { EXPECT_EQ(queue.Get(&message), 1); });
  queue.AwaitSleepers(1);
  queue.Cancel();
  consumer.join();
  EXPECT_EQ(message.id, 3);
  EXPECT_EQ(message.param1, Pointer(1));
  EXPECT_EQ(message.param2, Pointer(2));
}

TEST(QelMessageQueueCancel, IsForgottenWhenNobodySleeps) {
  OpenQueue queue;
  for (int i = 0; i < 3; ++i)
    queue.Cancel();
  std::thread consumer([&] {
    qelMessage message;
    EXPECT_EQ(queue.Get(&message), 0);
    EXPECT_EQ(message.id, 9);
  });
  queue.AwaitSleepers(1);
  queue.Post(9, nullptr, nullptr);
  consumer.join();
}

TEST(QelMessageQueueCancel, LeavesQueuedMessagesAlone) {
  qelMessageQueue queue;
  queue.Post(1, nullptr, nullptr);
  queue.Cancel();
  qelMessage message;
  EXPECT_EQ(queue.Get(&message), 0);
  EXPECT_EQ(message.id, 1);
}

TEST(QelMessageQueueCancel, WakesOneThreadOnly) {
  OpenQueue queue;
  std::atomic<int> woken{0};
  std::vector<std::thread> consumers;
  for (int i = 0; i < 3; ++i)
    consumers.emplace_back([&] {
      EXPECT_EQ(queue.Get(), nullptr);
      woken += 1;
    });
  queue.AwaitSleepers(3);
  for (int asleep = 2; asleep >= 0; --asleep) {
    queue.Cancel();
    EXPECT_EQ(WaitingOn(queue.m_condition), asleep);
    EXPECT_LE(woken.load(), 3 - asleep);
  }
  for (std::thread& consumer : consumers)
    consumer.join();
  EXPECT_EQ(woken.load(), 3);
}

TEST(QelMessageQueueFlush, EmptiesTheQueueAndLeavesItUsable) {
  OpenQueue queue;
  queue.Flush();
  EXPECT_TRUE(queue.IsEmpty());
  for (qelLong id = 0; id < 5; ++id)
    queue.Post(id, nullptr, nullptr);
  queue.Flush();
  EXPECT_TRUE(queue.IsEmpty());
  EXPECT_EQ(queue.m_head, nullptr);
  EXPECT_EQ(queue.m_tail, nullptr);
  queue.Post(8, nullptr, nullptr);
  EXPECT_EQ(queue.m_head, queue.m_tail);
  qelMessage message;
  EXPECT_EQ(queue.Get(&message), 0);
  EXPECT_EQ(message.id, 8);
}

TEST(QelMessageQueueFlush, LetsAConsumerSleepOn) {
  OpenQueue queue;
  std::thread consumer([&] {
    qelMessage message;
    EXPECT_EQ(queue.Get(&message), 0);
    EXPECT_EQ(message.id, 4);
  });
  queue.AwaitSleepers(1);
  queue.Flush();
  EXPECT_EQ(WaitingOn(queue.m_condition), 1);
  queue.Post(4, nullptr, nullptr);
  consumer.join();
}

// The messages are seen by the leak check of the sanitizers.
TEST(QelMessageQueueDestructor, FreesWhatIsQueued) {
  std::unique_ptr<qelMessageQueue> queue = std::make_unique<qelMessageQueue>();
  for (qelLong id = 0; id < 5; ++id)
    EXPECT_EQ(queue->Post(id, nullptr, nullptr), 0);
}

// Only one of the two is destroyed: the copies lie in raw storage and no destructor of theirs runs.
TEST(QelMessageQueueCopy, SharesChainAndLocks) {
  OpenQueue source;
  source.Post(1, nullptr, nullptr);
  source.Post(2, nullptr, nullptr);
  alignas(OpenQueue) unsigned char storage[2][sizeof(OpenQueue)];
  OpenQueue* copy = new (storage[0]) OpenQueue(source);
  {
    OpenQueue original;
    OpenQueue* target = new (storage[1]) OpenQueue(original);
    *target = source;
    EXPECT_EQ(target->m_mutex, source.m_mutex);
    EXPECT_EQ(target->m_condition, source.m_condition);
    EXPECT_EQ(target->m_head, source.m_head);
    EXPECT_EQ(target->m_tail, source.m_tail);
  }
  EXPECT_EQ(copy->m_mutex, source.m_mutex);
  EXPECT_EQ(copy->m_condition, source.m_condition);
  EXPECT_EQ(copy->m_head, source.m_head);
  EXPECT_EQ(copy->m_tail, source.m_tail);
}

TEST(QelMessageQueueModel, HoldsForRandomOperations) {
  for (unsigned seed = 1; seed <= 50; ++seed) {
    std::mt19937 random(seed);
    OpenQueue queue;
    std::deque<qelLong> model;
    for (qelLong step = 0; step < 2000; ++step) {
      const unsigned action = random() % 64;
      qelMessage message;
      if (action == 0) {
        queue.Flush();
        model.clear();
      } else if (action == 1) {
        queue.Cancel();
      } else if (action < 34 || model.empty()) {
        noMemory = action == 2;
        ASSERT_EQ(queue.Post(step, Pointer(1), Pointer(2)), noMemory ? 1 : 0);
        if (!noMemory)
          model.push_back(step);
        noMemory = false;
      } else {
        ASSERT_EQ(queue.Get(&message), 0);
        ASSERT_EQ(message.id, model.front());
        model.pop_front();
      }
      std::vector<qelLong> chain;
      for (const qelMessage* queued = queue.m_head; queued != nullptr; queued = queued->next)
        chain.push_back(queued->id);
      ASSERT_TRUE(std::equal(chain.begin(), chain.end(), model.begin(), model.end()));
      ASSERT_EQ(queue.IsEmpty(), model.empty());
      ASSERT_EQ(queue.m_tail == nullptr, model.empty());
    }
  }
}

// Producers post numbers, consumers take them until all are there; a thread cancels all the time.
class Market {
public:
  Market(int producers, int consumers, int each)
      : m_consumers(consumers), m_each(each), m_expected(producers * each),
        m_start(producers + consumers + 1), m_seen(static_cast<size_t>(producers * each)) {
    for (int i = 0; i < producers; ++i)
      m_threads.emplace_back([=] { Produce(i); });
    for (int i = 0; i < consumers; ++i)
      m_threads.emplace_back([=] { Consume(i); });
  }

  // Plays the scene, and looks whether each number came out once.
  void Play() {
    m_start.Pass();
    AwaitThat([&] {
      m_queue.Cancel();
      return m_ended == m_consumers;
    });
    for (std::thread& thread : m_threads)
      thread.join();
    EXPECT_EQ(m_taken, m_expected);
    EXPECT_TRUE(m_queue.IsEmpty());
    for (const std::atomic<int>& seen : m_seen)
      EXPECT_EQ(seen, 1);
  }

private:
  void Produce(int producer) {
    m_start.Pass();
    for (int i = 0; i < m_each; ++i)
      EXPECT_EQ(m_queue.Post(i, Pointer(static_cast<uintptr_t>(producer)), nullptr), 0);
  }

  // Of each producer, a consumer sees ascending numbers. Every other one takes the messages themselves.
  void Consume(int consumer) {
    m_start.Pass();
    std::vector<int> last(m_seen.size(), -1);
    while (m_taken < m_expected) {
      qelMessage message;
      if (consumer % 2 == 0) {
        if (m_queue.Get(&message) != 0)
          continue;
      } else {
        const std::unique_ptr<qelMessage> taken(m_queue.Get());
        if (taken == nullptr)
          continue;
        message = *taken;
      }
      const size_t producer = Number(message.param1);
      EXPECT_LT(last[producer], message.id);
      last[producer] = message.id;
      m_seen[producer * static_cast<size_t>(m_each) + static_cast<size_t>(message.id)] += 1;
      m_taken += 1;
      m_queue.IsEmpty();
    }
    m_ended += 1;
  }

  const int m_consumers;
  const int m_each;
  const int m_expected;
  OpenQueue m_queue;
  Gate m_start;
  std::vector<std::atomic<int>> m_seen; // how often each number of each producer came out
  std::atomic<int> m_taken{0};
  std::atomic<int> m_ended{0};
  std::vector<std::thread> m_threads;
};

TEST(QelMessageQueueStress, LosesAndDoublesNothingAmongManyThreads) {
  for (int round = 0; round < StressRounds(); ++round) {
    Market market(/*producers=*/3, /*consumers=*/1 + round % 3, /*each=*/25);
    market.Play();
  }
}

TEST(QelMessageQueueStress, CancelsAConsumerHoweverTheTwoMeet) {
  OpenQueue queue;
  std::atomic<int> rounds{0};
  const int wanted = StressRounds();
  std::thread consumer([&] {
    while (rounds < wanted) {
      EXPECT_EQ(queue.Get(), nullptr);
      rounds += 1;
    }
  });
  AwaitThat([&] {
    queue.Cancel();
    return rounds >= wanted;
  });
  consumer.join();
  EXPECT_EQ(WaitingOn(queue.m_condition), 0);
  EXPECT_EQ(queue.m_condition->signals, 0);
}

TEST(QelMessageQueueStress, FlushesAgainstProducers) {
  for (int round = 0; round < StressRounds(); ++round) {
    OpenQueue queue;
    Gate start(3);
    std::vector<std::thread> producers;
    for (int i = 0; i < 2; ++i)
      producers.emplace_back([&] {
        start.Pass();
        for (qelLong id = 0; id < 20; ++id)
          EXPECT_EQ(queue.Post(id, nullptr, nullptr), 0);
      });
    start.Pass();
    for (int i = 0; i < 5; ++i)
      queue.Flush();
    for (std::thread& producer : producers)
      producer.join();
    int left = 0;
    for (const qelMessage* message = queue.m_head; message != nullptr; message = message->next)
      left += 1;
    EXPECT_LE(left, 40);
    EXPECT_EQ(queue.IsEmpty(), left == 0);
  }
}

} // namespace

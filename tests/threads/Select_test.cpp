#include <qel/threads/Select.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/support/Gate.h>
#include <tests/support/LogCapture.h>
#include <tests/support/Sockets.h>
#include <tests/support/Stress.h>

using ::testing::IsEmpty;

namespace {

struct Wait {
  int result = 0;
  bool signalled = false;
};

// Waits for the wake-up alone.
Wait WaitFor(qelSelect& select, int microseconds = -1) {
  Wait wait;
  timeval time = {microseconds / 1000000, microseconds % 1000000};
  wait.result = select.Select(nullptr, nullptr, nullptr, 0, microseconds < 0 ? nullptr : &time,
                              &wait.signalled);
  return wait;
}

TEST(QelSelect, IsOnePointerWide) {
  EXPECT_EQ(sizeof(qelSelect), sizeof(void*));
}

TEST(QelSelect, IsSafeWhenEmpty) {
  qelSelect select;
  select.Signal();
  select.Terminate();
  select.Terminate();
  EXPECT_EQ(WaitFor(select, 0).result, -1);
  EXPECT_FALSE(WaitFor(select, 0).signalled);
}

TEST(QelSelect, GoesFromEmptyToReadyAndBack) {
  LogCapture log;
  qelSelect select;
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(select.Setup(), 0);
    select.Signal();
    EXPECT_TRUE(WaitFor(select).signalled);
    select.Terminate();
    select.Signal();
    EXPECT_EQ(WaitFor(select, 0).result, -1);
  }
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST(QelSelectSelect, SleepsForItsTimeWithoutASignal) {
  qelSelect select;
  ASSERT_EQ(select.Setup(), 0);
  const auto start = std::chrono::steady_clock::now();
  const Wait wait = WaitFor(select, 30000);
  EXPECT_EQ(wait.result, 0);
  EXPECT_FALSE(wait.signalled);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(25));
}

TEST(QelSelectSelect, ReturnsAtOnceAfterASignal) {
  qelSelect select;
  ASSERT_EQ(select.Setup(), 0);
  select.Signal();
  const Wait wait = WaitFor(select);
  EXPECT_EQ(wait.result, 1);
  EXPECT_TRUE(wait.signalled);
}

TEST(QelSelectSelect, AbsorbsTenSignals) {
  qelSelect select;
  ASSERT_EQ(select.Setup(), 0);
  for (int i = 0; i < 10; ++i)
    select.Signal();
  EXPECT_TRUE(WaitFor(select).signalled);
  EXPECT_FALSE(WaitFor(select, 1000).signalled);
}

TEST(QelSelectSelect, AllowsANullSignalled) {
  qelSelect select;
  ASSERT_EQ(select.Setup(), 0);
  select.Signal();
  EXPECT_EQ(select.Select(nullptr, nullptr, nullptr, 0, nullptr, nullptr), 1);
}

TEST(QelSelectSelect, WatchesTheCallersSockets) {
  qelSelect select;
  ASSERT_EQ(select.Setup(), 0);
  const TestSocket socket = TestSocket::Bound(SOCK_DGRAM);
  socket.ConnectTo(socket.Port());
  ASSERT_EQ(SendText(socket, "x"), 1);
  fd_set read;
  FD_ZERO(&read);
  FD_SET(static_cast<qelSocketNative>(qelSocketHandle(socket)), &read);
  bool signalled = true;
  EXPECT_EQ(select.Select(&read, nullptr, nullptr, static_cast<int>(socket), nullptr, &signalled),
            1);
  EXPECT_FALSE(signalled);
  EXPECT_TRUE(FD_ISSET(static_cast<qelSocketNative>(qelSocketHandle(socket)), &read));
}

// The signals come ahead of the wait, inside it or just behind the one before: by turns as it happens.
TEST(QelSelectStress, LosesNoSignal) {
  qelSelect select;
  ASSERT_EQ(select.Setup(), 0);
  std::atomic<int> wanted{0};
  std::atomic<int> served{0};
  const int rounds = StressRounds() * 5;
  std::thread waiter([&] {
    while (served < rounds) {
      WaitFor(select); // without a limit: a lost signal hangs
      served = wanted.load();
    }
  });
  for (int i = 1; i <= rounds; ++i) {
    wanted = i;
    select.Signal();
    AwaitThat([&] { return served >= i; });
  }
  waiter.join();
  EXPECT_EQ(served, rounds);
}

TEST(QelSelectStress, LosesNoSignalOfManyThreads) {
  const int kThreads = 4;
  qelSelect select;
  ASSERT_EQ(select.Setup(), 0);
  const int rounds = StressRounds();
  std::atomic<int> wanted[kThreads] = {};
  std::atomic<int> served[kThreads] = {};
  std::atomic<int> running{kThreads};
  std::thread waiter([&] {
    while (running > 0) {
      WaitFor(select);
      for (int i = 0; i < kThreads; ++i)
        served[i] = wanted[i].load();
    }
  });
  std::vector<std::thread> senders;
  for (int me = 0; me < kThreads; ++me)
    senders.emplace_back([&, me] {
      for (int i = 1; i <= rounds; ++i) {
        wanted[me] = i;
        select.Signal();
        AwaitThat([&] { return served[me] >= i; });
      }
      --running;
      select.Signal();
    });
  for (std::thread& sender : senders)
    sender.join();
  waiter.join();
  for (int me = 0; me < kThreads; ++me)
    EXPECT_EQ(served[me], rounds);
}

TEST(QelSelectStress, TerminateWakesABlockedWait) {
  LogCapture log;
  for (int round = 0; round < StressRounds(); ++round) {
    qelSelect select;
    ASSERT_EQ(select.Setup(), 0);
    std::atomic<bool> isNear{false};
    Wait wait;
    std::thread waiter([&] {
      isNear = true;
      wait = WaitFor(select);
    });
    AwaitThat([&] { return isNear.load(); });
    if (round % 2 == 0)
      std::this_thread::yield();
    select.Terminate();
    waiter.join();
    // The waiter came too late, or was woken.
    if (wait.result == -1)
      EXPECT_FALSE(wait.signalled);
    else
      EXPECT_TRUE(wait.signalled);
  }
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST(QelSelectStress, SignalsMeetTerminate) {
  LogCapture log;
  for (int round = 0; round < StressRounds(); ++round) {
    qelSelect select;
    ASSERT_EQ(select.Setup(), 0);
    Gate gate(4);
    std::vector<std::thread> threads;
    threads.emplace_back([&] {
      gate.Pass();
      while (WaitFor(select).result != -1) {
      }
    });
    for (int i = 0; i < 2; ++i)
      threads.emplace_back([&] {
        gate.Pass();
        for (int j = 0; j < 5; ++j)
          select.Signal();
      });
    gate.Pass();
    select.Terminate();
    for (std::thread& thread : threads)
      thread.join();
  }
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST(QelSelectStress, OneTerminateOfSeveralReleases) {
  LogCapture log;
  for (int round = 0; round < StressRounds(); ++round) {
    qelSelect select;
    ASSERT_EQ(select.Setup(), 0);
    Gate gate(3);
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
      threads.emplace_back([&] {
        gate.Pass();
        select.Terminate();
      });
    for (std::thread& thread : threads)
      thread.join();
  }
  EXPECT_THAT(log.Texts(), IsEmpty());
}

} // namespace

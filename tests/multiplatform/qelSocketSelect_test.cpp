// select with a wake-up, as far as one thread can tell.

#include <qel/multiplatform/qelSocketSelect.h>

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/support/LogCapture.h>
#include <tests/support/Sockets.h>

using ::testing::IsEmpty;

namespace {

struct Set : fd_set {
  Set(std::initializer_list<qelSocketHandle> members) {
    FD_ZERO(this);
    for (const qelSocketHandle member : members)
      Add(member);
  }
  void Add(qelSocketHandle member) { FD_SET(static_cast<qelSocketNative>(member), this); }
  bool Has(qelSocketHandle member) {
    return FD_ISSET(static_cast<qelSocketNative>(member), this) != 0;
  }
};

class SocketSelectTest : public ::testing::Test {
protected:
  ~SocketSelectTest() override { qelSocketSelect_Delete(m_select); }

  // Its number, found as the callers of their own select find it.
  qelSocketHandle WakeUp() {
    Set set{};
    return qelSocketSelect_AddToSet(m_select, &set);
  }
  // Looks without waiting.
  int Poll(fd_set* read, int* signalled, int nfds = 0) {
    timeval none = {0, 0};
    return qelSocketSelect_Select(m_select, read, nullptr, nullptr, nfds, &none, signalled);
  }

  LogCapture m_log;
  qelSocketSelect* m_select = qelSocketSelect_New();
};

using QelSocketSelectNew = SocketSelectTest;
using QelSocketSelectDelete = SocketSelectTest;
using QelSocketSelectTrigger = SocketSelectTest;
using QelSocketSelectSelect = SocketSelectTest;
using QelSocketSelectAddToSet = SocketSelectTest;
using QelSocketSelectCheckAndDrain = SocketSelectTest;

TEST_F(QelSocketSelectNew, BindsToLoopbackAndHearsOneSenderOnly) {
  ASSERT_NE(m_select, nullptr);
  unsigned ip = 0;
  unsigned short port = 0;
  EXPECT_EQ(qelSocket_GetSockName(WakeUp(), &ip, &port, "here"), 0);
  EXPECT_EQ(ip, kLoopback);
  EXPECT_NE(port, 0);
  unsigned short sender = 0;
  EXPECT_EQ(qelSocket_GetPeerName(WakeUp(), &ip, &sender, "here"), 0);
  EXPECT_EQ(ip, kLoopback);
  EXPECT_NE(sender, port);

  const TestSocket stranger = TestSocket::UDP();
  const sockaddr_in to = LoopbackAddress(port);
  qelSocket_SendTo(stranger, "x", 1, 0, AsAddress(to), sizeof(to), "here");
  int signalled = 1;
  EXPECT_EQ(Poll(nullptr, &signalled), 0);
  EXPECT_EQ(signalled, 0);
}

TEST_F(QelSocketSelectDelete, IgnoresNullAndKeepsARecordThatIsHeld) {
  qelSocketSelect_Delete(nullptr);
  qelSocketSelect_Retain(m_select);
  qelSocketSelect_Delete(m_select);
  qelSocketSelect_Trigger(m_select);
  int signalled = 0;
  EXPECT_EQ(Poll(nullptr, &signalled), 1);
  EXPECT_EQ(signalled, 1);
}

TEST_F(QelSocketSelectDelete, ClosesTheSockets) {
  const qelSocketHandle wakeUp = WakeUp();
  qelSocketSelect_Delete(m_select);
  m_select = nullptr;
  EXPECT_EQ(qelSocket_GetSockName(wakeUp, nullptr, nullptr, "here"), -1);
}

TEST_F(QelSocketSelectTrigger, EndsTheNextWaitAtOnce) {
  qelSocketSelect_Trigger(m_select);
  const TestSocket socket = TestSocket::Bound(SOCK_DGRAM);
  Set read{socket};
  int signalled = 0;
  EXPECT_EQ(qelSocketSelect_Select(m_select, &read, nullptr, nullptr, static_cast<int>(socket),
                                   nullptr, &signalled),
            1);
  EXPECT_EQ(signalled, 1);
  EXPECT_FALSE(read.Has(WakeUp()));
  EXPECT_FALSE(read.Has(socket));
}

TEST_F(QelSocketSelectTrigger, IsAbsorbedByOneWaitHoweverOften) {
  for (const int count : {1, 10, 100}) {
    for (int i = 0; i < count; ++i)
      qelSocketSelect_Trigger(m_select);
    int signalled = 0;
    EXPECT_EQ(Poll(nullptr, &signalled), 1);
    EXPECT_EQ(signalled, 1);
    EXPECT_EQ(Poll(nullptr, &signalled), 0);
    EXPECT_EQ(signalled, 0);
  }
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(QelSocketSelectTrigger, OutlastsAFullBuffer) {
  for (int i = 0; i < 3000; ++i)
    qelSocketSelect_Trigger(m_select);
  int signalled = 0;
  EXPECT_EQ(Poll(nullptr, &signalled), 1);
  EXPECT_EQ(signalled, 1);
  EXPECT_EQ(Poll(nullptr, &signalled), 0);
}

TEST_F(QelSocketSelectSelect, EmptiesTheSetsWithoutAHighestHandle) {
  // Below the wake-up socket, where the wait would see it.
  qelSocketSelect_Delete(m_select);
  const TestSocket socket = TestSocket::Bound(SOCK_DGRAM);
  m_select = qelSocketSelect_New();
  ASSERT_NE(m_select, nullptr);
  for (const int nfds : {0, -1, -5}) {
    Set read{socket}, write{socket}, except{socket};
    timeval moment = {0, 1000};
    int signalled = 1;
    EXPECT_EQ(qelSocketSelect_Select(m_select, &read, &write, &except, nfds, &moment, &signalled),
              0);
    EXPECT_EQ(signalled, 0);
    EXPECT_FALSE(read.Has(socket) || write.Has(socket) || except.Has(socket));
    EXPECT_FALSE(read.Has(WakeUp()));
    EXPECT_EQ(moment.tv_usec, 1000);
  }
}

TEST_F(QelSocketSelectSelect, CountsTheWakeUpInItsResult) {
  const TestSocket socket = TestSocket::Bound(SOCK_DGRAM);
  socket.ConnectTo(socket.Port());
  ASSERT_EQ(SendText(socket, "x"), 1);
  qelSocketSelect_Trigger(m_select);
  Set read{socket}, write{socket};
  int signalled = 0;
  EXPECT_EQ(qelSocketSelect_Select(m_select, &read, &write, nullptr, static_cast<int>(socket),
                                   nullptr, &signalled),
            3);
  EXPECT_EQ(signalled, 1);
  EXPECT_TRUE(read.Has(socket));
  EXPECT_TRUE(write.Has(socket));
  EXPECT_FALSE(read.Has(WakeUp()));
}

TEST_F(QelSocketSelectSelect, TellsReadySocketsWithoutAWakeUp) {
  const TestSocket socket = TestSocket::Bound(SOCK_DGRAM);
  socket.ConnectTo(socket.Port());
  ASSERT_EQ(SendText(socket, "x"), 1);
  Set read{socket}, write{}, except{};
  int signalled = 1;
  EXPECT_EQ(qelSocketSelect_Select(m_select, &read, &write, &except, static_cast<int>(socket),
                                   nullptr, &signalled),
            1);
  EXPECT_EQ(signalled, 0);
  EXPECT_TRUE(read.Has(socket));
}

TEST_F(QelSocketSelectSelect, TakesNullForAllItsPointers) {
  qelSocketSelect_Trigger(m_select);
  EXPECT_EQ(qelSocketSelect_Select(m_select, nullptr, nullptr, nullptr, 0, nullptr, nullptr), 1);
}

TEST_F(QelSocketSelectSelect, KeepsAWakeUpOverAFailedWait) {
  const qelSocketHandle closed = ClosedSocket();
  Set read{closed};
  qelSocketSelect_Trigger(m_select);
  timeval timeout = {1, 1};
  int signalled = 1;
  EXPECT_EQ(qelSocketSelect_Select(m_select, &read, nullptr, nullptr, static_cast<int>(closed),
                                   &timeout, &signalled),
            -1);
  EXPECT_EQ(qelSocket_GetLastError(), qelSocketErrorClosed);
  EXPECT_EQ(signalled, 0);
  EXPECT_TRUE(read.Has(closed));
  EXPECT_FALSE(read.Has(WakeUp()));
  EXPECT_EQ(Poll(nullptr, &signalled), 1);
  EXPECT_EQ(signalled, 1);
}

// A set with this many sockets that nobody sends to.
struct Crowd {
  explicit Crowd(int count) {
    for (int i = 0; i < count; ++i) {
      sockets.push_back(TestSocket::Bound(SOCK_DGRAM));
      set.Add(sockets.back());
    }
  }
  int Highest() const { return static_cast<int>(qelSocketHandle(sockets.back())); }

  std::vector<TestSocket> sockets;
  Set set{};
};

TEST_F(QelSocketSelectSelect, CannotBeWokenWithAFullReadSet) {
  Crowd crowd(64);
  qelSocketSelect_Trigger(m_select);
  timeval moment = {0, 1000};
  int signalled = 1;
  EXPECT_EQ(qelSocketSelect_Select(m_select, &crowd.set, nullptr, nullptr, crowd.Highest(), &moment,
                                   &signalled),
            0);
  EXPECT_EQ(signalled, 0);
  EXPECT_EQ(Poll(nullptr, &signalled), 1) << "the wake-up waits for a set with room";
  EXPECT_EQ(signalled, 1);
}

TEST_F(QelSocketSelectAddToSet, LeavesASetOfSixtyFourAsItIs) {
  Crowd full(64);
  const qelSocketHandle wakeUp = qelSocketSelect_AddToSet(m_select, &full.set);
  EXPECT_FALSE(full.set.Has(wakeUp));
  for (const TestSocket& socket : full.sockets)
    EXPECT_TRUE(full.set.Has(socket));

  Crowd roomy(63);
  EXPECT_EQ(qelSocketSelect_AddToSet(m_select, &roomy.set), wakeUp);
  EXPECT_TRUE(roomy.set.Has(wakeUp));
  EXPECT_EQ(qelSocketSelect_AddToSet(m_select, &roomy.set), wakeUp) << "added once";
  EXPECT_EQ(qelSocketSelect_CheckAndDrain(m_select, &roomy.set), 1);
  EXPECT_FALSE(roomy.set.Has(wakeUp));
  for (const TestSocket& socket : roomy.sockets)
    EXPECT_TRUE(roomy.set.Has(socket));
}

TEST_F(QelSocketSelectCheckAndDrain, ServesASelectOfTheCallersOwn) {
  Set read{};
  EXPECT_EQ(qelSocketSelect_CheckAndDrain(m_select, &read), 0);
  for (int i = 0; i < 10; ++i)
    qelSocketSelect_Trigger(m_select);
  const qelSocketHandle wakeUp = qelSocketSelect_AddToSet(m_select, &read);
  EXPECT_EQ(qelSocket_Select(&read, nullptr, nullptr, static_cast<int>(wakeUp), nullptr), 1);
  EXPECT_EQ(qelSocketSelect_CheckAndDrain(m_select, &read), 1);
  EXPECT_FALSE(read.Has(wakeUp));
  qelSocketSelect_AddToSet(m_select, &read);
  timeval none = {0, 0};
  EXPECT_EQ(qelSocket_Select(&read, nullptr, nullptr, static_cast<int>(wakeUp), &none), 0);
}

} // namespace

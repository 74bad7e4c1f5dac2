// What only the POSIX back-end of sockets has: descriptors, signals, interfaces of a network of the
// test's own, neighbours.

#include <qel/multiplatform/qelSocket.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/multiplatform/qelSocketLog.h>
#include <qel/multiplatform/qelSocketSelect.h>
#include <qel/posix/qelNeighbourTable.h>
#include <qel/threads/Select.h>
#include <tests/support/Gate.h>
#include <tests/support/LogCapture.h>
#include <tests/support/Sockets.h>
#include <tests/support/TempDir.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

int Flags(qelSocketHandle socket) {
  return ::fcntl(static_cast<int>(socket), F_GETFL);
}

// Descriptors --------------------------------------------------------------------

TEST(QelSocketDescriptors, AreNotPassedOnToOtherPrograms) {
  const TestSocket udp = TestSocket::UDP();
  TestConnection connection;
  for (const qelSocketHandle socket : {qelSocketHandle(udp), qelSocketHandle(connection.client),
                                       qelSocketHandle(connection.server)})
    EXPECT_EQ(::fcntl(static_cast<int>(socket), F_GETFD), FD_CLOEXEC);
}

// Frees descriptor 0 for the life of the object.
struct WithoutInput {
  int saved = ::fcntl(0, F_DUPFD_CLOEXEC, 10);
  WithoutInput() { ::close(0); }
  ~WithoutInput() {
    if (saved != -1)
      ::dup2(saved, 0);
    ::close(saved);
  }
};

TEST(QelSocketDescriptors, AreNeverZero) {
  const WithoutInput closed;
  const TestSocket listener = TestSocket::Listening();
  EXPECT_GT(listener, 0);
  const TestSocket client = TestSocket::TCP();
  EXPECT_GT(client, 0);
  client.ConnectTo(listener.Port());
  const TestSocket server(qelSocket_Accept(listener, nullptr, nullptr, "here"));
  EXPECT_GT(server, 0);
  EXPECT_EQ(::fcntl(static_cast<int>(qelSocketHandle(server)), F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(::fcntl(0, F_GETFD), -1) << "0 is free again";
}

TEST(QelSocketSetBlockingPosix, SetsTheDescriptorsFlag) {
  const TestSocket socket = TestSocket::UDP();
  EXPECT_EQ(Flags(socket) & O_NONBLOCK, 0);
  EXPECT_EQ(qelSocket_SetBlocking(socket, 0, "here"), 0);
  EXPECT_EQ(Flags(socket) & O_NONBLOCK, O_NONBLOCK);
  EXPECT_EQ(qelSocket_SetBlocking(socket, 7, "here"), 0);
  EXPECT_EQ(Flags(socket) & O_NONBLOCK, 0);
}

TEST(QelSocketAcceptPosix, GivesABlockingSocketOfABlockingListener) {
  TestConnection connection;
  EXPECT_EQ(Flags(connection.server) & O_NONBLOCK, 0);
}

TEST(QelSocketSetTimeoutPosix, SetsWholeSecondsForEachDirection) {
  const auto limit = [](qelSocketHandle socket, int option) {
    timeval value = {-1, -1};
    socklen_t size = sizeof(value);
    ::getsockopt(static_cast<int>(socket), SOL_SOCKET, option, &value, &size);
    return value.tv_usec == 0 ? static_cast<int>(value.tv_sec) : -1;
  };
  const TestSocket socket = TestSocket::UDP();
  EXPECT_EQ(qelSocket_SetTimeout(socket, 5, 1, 0, "here"), 0);
  EXPECT_EQ(limit(socket, SO_SNDTIMEO), 5);
  EXPECT_EQ(limit(socket, SO_RCVTIMEO), 0);
  EXPECT_EQ(qelSocket_SetTimeout(socket, 7, 0, 1, "here"), 0);
  EXPECT_EQ(limit(socket, SO_SNDTIMEO), 5);
  EXPECT_EQ(limit(socket, SO_RCVTIMEO), 7);
}

TEST(QelSocketSetTTLPosix, RefusesZero) {
  LogCapture log;
  const TestSocket socket = TestSocket::UDP();
  EXPECT_EQ(qelSocket_SetTTL(socket, 0, "here"), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_THAT(log.Texts(), ElementsAre("Error setting TTL to '0' for socket " +
                                       std::to_string(qelSocketHandle(socket)) +
                                       ", Error = " + std::to_string(EINVAL) + " [here]\n"));
}

TEST(QelSocketSetTimeoutPosix, GivesWouldBlockWhenTheTimeIsOver) {
  const TestSocket socket = TestSocket::Bound(SOCK_DGRAM);
  const timeval moment = {0, 10000}; // less than the layer can ask for
  ASSERT_EQ(::setsockopt(static_cast<int>(qelSocketHandle(socket)), SOL_SOCKET, SO_RCVTIMEO,
                         &moment, sizeof(moment)),
            0);
  char byte;
  EXPECT_EQ(qelSocket_Recv(socket, &byte, 1, 0, "here"), -1);
  EXPECT_EQ(qelSocket_WouldBlock(), 1);
}

// Traffic files ------------------------------------------------------------------

// Five digits of port and of socket make more than forty characters.
TEST(QelSocketLogTrafficPosix, KeepsALongNameWhole) {
  const rlimit old = [] {
    rlimit limit = {};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    return limit;
  }();
  const int kNumber = 12345;
  const rlimit wanted = {std::max<rlim_t>(old.rlim_cur, kNumber + 1), old.rlim_max};
  const TestSocket socket = TestSocket::UDP();
  sockaddr_in address = LoopbackAddress(0);
  address.sin_addr.s_addr = htonl(0x7FFFFFFE); // 127.255.255.254
  ASSERT_EQ(qelSocket_Bind(socket, AsAddress(address), sizeof(address), "here"), 0);
  address.sin_port = htons(socket.Port());
  ASSERT_EQ(qelSocket_Connect(socket, AsAddress(address), sizeof(address), "here"), 0);
  ::setrlimit(RLIMIT_NOFILE, &wanted);
  const TestSocket high(
      ::fcntl(static_cast<int>(qelSocketHandle(socket)), F_DUPFD_CLOEXEC, kNumber));
  ::setrlimit(RLIMIT_NOFILE, &old);
  if (high != kNumber)
    GTEST_SKIP() << "the system does not grant descriptor " << kNumber;

  const TempDir dir;
  dir.MakeDir("socket");
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(TempDir::Native(dir.Path()));
  _Log_Buffer_Open(high);
  _Log_Buffer(high, "text", 4);
  _Log_Buffer_Close(high);
  std::filesystem::current_path(before);
  const std::string name =
      "socket/127.255.255.254-" + std::to_string(socket.Port()) + "-[12345].txt";
  EXPECT_GE(name.size(), 40u);
  EXPECT_EQ(dir.Read(name), "text");
}

// Peers and signals ----------------------------------------------------------------

// Without the protection the second send would end the program.
TEST(QelSocketSendPosix, ToAPeerThatHasGoneRaisesNoSignal) {
  TestConnection connection;
  ASSERT_EQ(SendText(connection.server, "unread"), 6);
  connection.client.Close();
  EXPECT_EQ(Receive(connection.server), "(error " + std::to_string(ECONNRESET) + ")");
  EXPECT_EQ(SendText(connection.server, "x"), -1);
  EXPECT_EQ(errno, EPIPE);
  EXPECT_EQ(qelSocket_SendTo(connection.server, "x", 1, 0, nullptr, 0, "here"), -1);
  EXPECT_EQ(errno, EPIPE);
}

TEST(QelSocketGetUDPSocketPosix, EndsWithAnInterfaceThatIsNotThere) {
  LogCapture log;
  unsigned short port = 7;
  EXPECT_EQ(qelSocket_GetUDPSocket(0xCB007163, &port), -1); // a documentation address
  EXPECT_EQ(errno, EADDRNOTAVAIL);
  EXPECT_EQ(port, 0);
}

std::atomic<int> signalsSeen{0};

// A handler without SA_RESTART: blocking calls end with EINTR.
struct Interruptions {
  struct sigaction old;
  Interruptions() {
    signalsSeen = 0;
    struct sigaction action = {};
    action.sa_handler = [](int) { ++signalsSeen; };
    ::sigaction(SIGUSR1, &action, &old);
  }
  ~Interruptions() { ::sigaction(SIGUSR1, &old, nullptr); }

  // Interrupts the thread some times; at least the later ones find it inside its call.
  static void Of(std::thread& thread) {
    for (int i = 0; i < 20; ++i) {
      ::pthread_kill(thread.native_handle(), SIGUSR1);
      AwaitThat([=] { return signalsSeen > i; });
    }
  }
};

TEST(QelSocketSelectPosix, GoesOnAfterASignal) {
  const Interruptions interruptions;
  qelSelect select;
  ASSERT_EQ(select.Setup(), 0);
  for (const bool hasTimeout : {false, true}) {
    signalsSeen = 0;
    int result = -5;
    timeval timeout = {3600, 1};
    bool signalled = false;
    std::atomic<bool> isNear{false};
    std::thread waiter([&] {
      isNear = true;
      result =
          select.Select(nullptr, nullptr, nullptr, 0, hasTimeout ? &timeout : nullptr, &signalled);
    });
    AwaitThat([&] { return isNear.load(); });
    Interruptions::Of(waiter);
    select.Signal();
    waiter.join();
    EXPECT_EQ(result, 1);
    EXPECT_TRUE(signalled);
    EXPECT_EQ(timeout.tv_sec, 3600);
  }
}

TEST(QelSocketRecvPosix, GoesOnAfterASignal) {
  const Interruptions interruptions;
  TestConnection connection;
  std::string received;
  std::atomic<bool> isNear{false};
  std::thread receiver([&] {
    isNear = true;
    received = Receive(connection.server);
  });
  AwaitThat([&] { return isNear.load(); });
  Interruptions::Of(receiver);
  EXPECT_EQ(SendText(connection.client, "late"), 4);
  receiver.join();
  EXPECT_EQ(received, "late");
}

TEST(QelSocketShutdownPosix, WakesABlockedReceiveAndAccept) {
  LogCapture log;
  TestConnection connection;
  std::string received = "?";
  qelSocketHandle accepted = 0;
  std::thread receiver([&] { received = Receive(connection.server); });
  std::thread acceptor(
      [&] { accepted = qelSocket_Accept(connection.listener, nullptr, nullptr, "here"); });
  EXPECT_EQ(qelSocket_Shutdown(connection.server, "here"), 0);
  EXPECT_EQ(qelSocket_Shutdown(connection.listener, "here"), 0);
  receiver.join();
  acceptor.join();
  EXPECT_EQ(received, "");
  EXPECT_EQ(accepted, -1);
}

// Sets -----------------------------------------------------------------------------

// Takes every descriptor below FD_SETSIZE for the life of the object.
struct Crowded {
  rlimit old = {};
  std::vector<int> taken;
  bool isReady = false;

  Crowded() {
    ::getrlimit(RLIMIT_NOFILE, &old);
    rlimit wanted = old;
    wanted.rlim_cur = FD_SETSIZE + 100;
    if (wanted.rlim_max < wanted.rlim_cur || ::setrlimit(RLIMIT_NOFILE, &wanted) != 0)
      return;
    for (int i = 0; i < FD_SETSIZE; ++i) {
      const int descriptor = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
      if (descriptor == -1)
        return;
      taken.push_back(descriptor);
      isReady = descriptor >= FD_SETSIZE - 1;
      if (isReady)
        return;
    }
  }
  ~Crowded() {
    for (const int descriptor : taken)
      ::close(descriptor);
    ::setrlimit(RLIMIT_NOFILE, &old);
  }
};

TEST(QelSocketSelectPosix, RefusesDescriptorsThatASetCannotHold) {
  LogCapture log;
  const Crowded crowded;
  if (!crowded.isReady)
    GTEST_SKIP() << "the system does not grant " << FD_SETSIZE + 100 << " descriptors";
  const TestSocket beyond = TestSocket::UDP();
  ASSERT_GE(beyond, FD_SETSIZE);
  fd_set read;
  FD_ZERO(&read);
  FD_SET(5, &read);
  timeval timeout = {0, 0};
  EXPECT_EQ(qelSocket_Select(&read, nullptr, nullptr, static_cast<int>(beyond), &timeout), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_FALSE(FD_ISSET(5, &read));

  EXPECT_EQ(qelSocketSelect_New(), nullptr);
  EXPECT_THAT(log.Texts(), ElementsAre("qelSocketSelect_New: Failed to get a pair of socket\n"));
  EXPECT_EQ(log.Lines()[0].module, 25u);
  log.Clear();
  qelSelect select;
  EXPECT_EQ(select.Setup(), -1);
  EXPECT_THAT(log.Texts(), ElementsAre("qelSocketSelect_New: Failed to get a pair of socket\n",
                                       "Failed to create qelSocketSelect object\n"));
  EXPECT_EQ(log.Lines()[1].module, 25u);
  select.Signal();
}

TEST(QelSocketSelectPosix, TakesTheHighestDescriptorThatASetCanHold) {
  const TestSocket socket = TestSocket::UDP();
  const int highest =
      ::fcntl(static_cast<int>(qelSocketHandle(socket)), F_DUPFD_CLOEXEC, FD_SETSIZE - 1);
  if (highest != FD_SETSIZE - 1)
    GTEST_SKIP() << "the system does not grant descriptor " << FD_SETSIZE - 1;
  const TestSocket owner(highest);
  fd_set write;
  FD_ZERO(&write);
  FD_SET(highest, &write);
  EXPECT_EQ(qelSocket_Select(nullptr, &write, nullptr, highest, nullptr), 1);
  EXPECT_TRUE(FD_ISSET(highest, &write));
}

// A network of the test's own --------------------------------------------------------

// Runs body(made) in a thread with a network of its own, which has nothing but a loopback interface.
template <typename Body>
bool InOwnNetwork(Body body) {
  bool isMade = false;
  std::thread thread([&] {
    isMade = ::unshare(CLONE_NEWNET) == 0;
    if (isMade)
      body();
  });
  thread.join();
  return isMade;
}

bool Command(const std::string& line) {
  return std::system((line + " >/dev/null 2>&1").c_str()) == 0;
}

std::vector<unsigned> Take(unsigned* list, int count) {
  const std::vector<unsigned> taken(list, list + count);
  free(list);
  return taken;
}

std::vector<unsigned> Addresses(int withLoopback) {
  unsigned* list = nullptr;
  const int count = qelSocketGetIPAddressList(nullptr, &list, withLoopback);
  return Take(list, count);
}

TEST(QelSocketOwnNetwork, WithoutAnInterfaceHasLoopbackAlone) {
  LogCapture log;
  const bool isMade = InOwnNetwork([] {
    for (const int withLoopback : {0, 1}) {
      EXPECT_THAT(Addresses(withLoopback), ElementsAre(htonl(kLoopback)));
      unsigned *list = nullptr, *masks = nullptr, *networks = nullptr;
      const int count =
          qelSocket_GetIPAddressListEx(nullptr, &list, &masks, &networks, withLoopback);
      EXPECT_THAT(Take(list, count), ElementsAre(htonl(kLoopback)));
      EXPECT_THAT(Take(masks, count), ElementsAre(htonl(0xFFFFFF00)));
      EXPECT_THAT(Take(networks, count), ElementsAre(htonl(0x7F000000)));
    }
    EXPECT_EQ(qelSocket_IsLocalAddress(htonl(kLoopback)), 1);
    EXPECT_EQ(qelSocket_IsLocalAddress(htonl(0x0A090807)), 0);
  });
  EXPECT_THAT(log.Texts(), IsEmpty());
  if (!isMade)
    GTEST_SKIP() << "the system does not grant a network of one's own";
}

// Two adapters, the first with two addresses, one of them down at last.
TEST(QelSocketOwnNetwork, ListsTheAddressesOfItsInterfaces) {
  bool hasInterfaces = false;
  const bool isMade = InOwnNetwork([&] {
    hasInterfaces = Command("ip link add qa type veth peer name qb") &&
                    Command("ip link set qa address 02:00:00:00:00:0a") &&
                    Command("ip link set qb address 02:00:00:00:00:0b") &&
                    Command("ip addr add 10.9.8.1/20 dev qa") &&
                    Command("ip addr add 10.9.9.1/20 dev qa") &&
                    Command("ip addr add 10.7.0.1/32 dev qb") && Command("ip link set qa up") &&
                    Command("ip neigh add 10.9.8.7 lladdr 02:aa:bb:cc:dd:ee dev qa nud permanent");
    if (!hasInterfaces)
      return;
    const unsigned a1 = htonl(0x0A090801), a2 = htonl(0x0A090901), b = htonl(0x0A070001);
    EXPECT_THAT(Addresses(0), ElementsAre(a1, a2)) << "an interface that is down does not count";
    ASSERT_TRUE(Command("ip link set qb up"));
    EXPECT_THAT(Addresses(0), ::testing::UnorderedElementsAre(a1, a2, b));
    const std::vector<unsigned> with = Addresses(1);
    ASSERT_EQ(with.size(), 4u);
    EXPECT_EQ(with[3], htonl(kLoopback));

    unsigned *list = nullptr, *masks = nullptr, *networks = nullptr;
    const int count = qelSocket_GetIPAddressListEx(nullptr, &list, &masks, &networks, 1);
    EXPECT_EQ(count, 4);
    const std::vector<unsigned> addresses = Take(list, count);
    const std::vector<unsigned> maskOf = Take(masks, count);
    const std::vector<unsigned> networkOf = Take(networks, count);
    EXPECT_EQ(addresses, with);
    for (size_t i = 0; i < addresses.size(); ++i) {
      // The first address of an adapter has the adapter's mask, every other one the usual mask.
      const unsigned mask = addresses[i] == a1  ? 0xFFFFF000
                            : addresses[i] == b ? 0xFFFFFFFF
                                                : 0xFFFFFF00;
      EXPECT_EQ(maskOf[i], htonl(mask));
      EXPECT_EQ(networkOf[i], addresses[i] & htonl(mask));
    }
    EXPECT_EQ(qelSocket_IsLocalAddress(a2), 1);
    EXPECT_EQ(qelSocket_MapLocalAddress(nullptr, b), htonl(kLoopback));
    EXPECT_EQ(qelSocket_MapLocalAddress(nullptr, htonl(0x0A090807)), htonl(0x0A090807));

    unsigned char mac[8];
    std::vector<int> last;
    int position = 0;
    // One result for each adapter; there are few.
    for (int i = 0; i < 10; ++i) {
      position = qelSocket_GetMACAddress(position, mac);
      if (position == -1)
        break;
      last.push_back(mac[5]);
    }
    EXPECT_THAT(last, ::testing::IsSupersetOf({0x0A, 0x0B}));

    unsigned ip = htonl(0x0A090807);
    unsigned size = 8;
    EXPECT_EQ(qelSocket_GetMACFromIP(&ip, mac, &size), 0);
    EXPECT_EQ(size, 6u);
    EXPECT_THAT(mac, ElementsAre(0x02, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF, 0xFF));
    size = 5;
    EXPECT_EQ(qelSocket_GetMACFromIP(&ip, mac, &size), ENOBUFS);
    EXPECT_EQ(mac[0], 0xFF);
    ip = htonl(0x0A090808);
    size = 6;
    EXPECT_EQ(qelSocket_GetMACFromIP(&ip, mac, &size), ENXIO);
  });
  if (!isMade || !hasInterfaces)
    GTEST_SKIP() << "the system does not grant a network of one's own with interfaces";
}

// Neighbours -------------------------------------------------------------------------

const char kTable[] =
    "IP address       HW type     Flags       HW address            Mask     Device\n"
    "10.0.0.1         0x1         0x2         02:fc:00:00:00:05     *        eth0\n"
    "10.0.0.2         0x1         0x0         00:00:00:00:00:00     *        eth0\n"
    "10.0.0.3         0x1         0x6         0A:0b:0C:0d:0E:ff     *        eth0\n"
    "\n"
    "10.0.0.4         0x1         0x2         02:fc:00\n"
    "10.0.0.400       0x1         0x2         02:fc:00:00:00:06     *        eth0\n"
    "10.0.0.5         0x1         0x2         02:fc:00:00:00:07     *        eth0";

TEST(QelNeighbourTableFind, ReadsCompleteEntriesAlone) {
  unsigned char mac[6] = {9, 9, 9, 9, 9, 9};
  const auto find = [&](const char* ip) {
    return qelNeighbourTable_Find(kTable, ::inet_addr(ip), mac);
  };
  for (const char* ip : {"10.0.0.2", "10.0.0.4", "10.0.0.40", "10.0.0.6", "0.0.0.0"})
    EXPECT_EQ(find(ip), 0) << ip;
  EXPECT_THAT(mac, ElementsAre(9, 9, 9, 9, 9, 9));
  EXPECT_EQ(find("10.0.0.1"), 1);
  EXPECT_THAT(mac, ElementsAre(0x02, 0xFC, 0, 0, 0, 5));
  EXPECT_EQ(find("10.0.0.3"), 1);
  EXPECT_THAT(mac, ElementsAre(0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0xFF));
  EXPECT_EQ(find("10.0.0.5"), 1);
  EXPECT_THAT(mac, ElementsAre(0x02, 0xFC, 0, 0, 0, 7));
  EXPECT_EQ(qelNeighbourTable_Find("", 0, mac), 0);
}

} // namespace

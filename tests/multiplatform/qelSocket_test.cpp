// Sockets: life, options, transfer, select. Everything stays on 127.0.0.1.

#include <qel/multiplatform/qelSocket.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/support/LogCapture.h>
#include <tests/support/Sockets.h>

using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

namespace {

const char kGroup[] = "239.255.77.1";

std::string N(int64_t number) {
  return std::to_string(number);
}

class SocketTest : public ::testing::Test {
protected:
  LogCapture m_log;
};

using QelSocketStartup = SocketTest;
using QelSocketValidate = SocketTest;
using QelSocketCreate = SocketTest;
using QelSocketNew = SocketTest;
using QelSocketShutdown = SocketTest;
using QelSocketClose = SocketTest;
using QelSocketFailures = SocketTest;
using QelSocketSetReuseAddr = SocketTest;
using QelSocketSetBlocking = SocketTest;
using QelSocketSetLinger = SocketTest;
using QelSocketSetTimeout = SocketTest;
using QelSocketBuffers = SocketTest;
using QelSocketTTL = SocketTest;
using QelSocketMulticast = SocketTest;
using QelSocketSetMulticastInterface = SocketTest;
using QelSocketBind = SocketTest;
using QelSocketListen = SocketTest;
using QelSocketAccept = SocketTest;
using QelSocketConnect = SocketTest;
using QelSocketTransfer = SocketTest;
using QelSocketDatagrams = SocketTest;
using QelSocketWouldBlock = SocketTest;
using QelSocketSelect = SocketTest;
using QelSocketFindBadSocket = SocketTest;

int Option(qelSocketHandle socket, int level, int option) {
  int value = 0;
  qelSocketLength size = sizeof(value);
  EXPECT_EQ(::getsockopt(static_cast<qelSocketNative>(socket), level, option,
                         reinterpret_cast<char*>(&value), &size),
            0);
  return size == 1 ? static_cast<unsigned char>(value) : value;
}

// A set with these members, and what select needs to know of it.
struct Set : fd_set {
  Set(std::initializer_list<qelSocketHandle> members) {
    FD_ZERO(this);
    for (const qelSocketHandle member : members)
      FD_SET(static_cast<qelSocketNative>(member), this);
  }
  bool Has(qelSocketHandle member) {
    return FD_ISSET(static_cast<qelSocketNative>(member), this) != 0;
  }
};

int Highest(std::initializer_list<qelSocketHandle> members) {
  qelSocketHandle highest = 0;
  for (const qelSocketHandle member : members)
    highest = std::max(highest, member);
  return static_cast<int>(highest);
}

// Life -------------------------------------------------------------------------

TEST_F(QelSocketStartup, GivesZero) {
  EXPECT_EQ(socketsStarted, 0);
  EXPECT_EQ(qelSocket_Startup(), 0);
}

TEST_F(QelSocketValidate, GivesTheSocketBack) {
  const TestSocket socket = TestSocket::TCP();
  EXPECT_EQ(qelSocket_Validate(socket), socket);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(QelSocketValidate, RefusesAndClosesWhatIsNoSocket) {
  const qelSocketHandle closed = ClosedSocket();
  EXPECT_EQ(qelSocket_Validate(closed), -1);
  EXPECT_THAT(m_log.Texts(), ElementsAre("Winsock returned invalid socket " + N(closed) +
                                         ", error -1 (firewall/antivirus/port listener issue)\n"));
  EXPECT_EQ(qelSocket_GetLastError(), qelSocketErrorClosed);
}

TEST_F(QelSocketCreate, ChoosesTheProtocolByTheType) {
  for (const int type : {SOCK_STREAM, SOCK_DGRAM}) {
    const TestSocket socket(qelSocket_Create(AF_INET, type, 0));
    ASSERT_NE(socket, -1);
    EXPECT_EQ(Option(socket, SOL_SOCKET, SO_TYPE), type);
  }
}

TEST_F(QelSocketCreate, KeepsAProtocolThatIsGiven) {
  EXPECT_EQ(qelSocket_Create(AF_INET, SOCK_STREAM, IPPROTO_UDP), -1);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(QelSocketNew, TellsAFailureAndKeepsTheLastError) {
  for (const int quiet : {0, 1}) {
    EXPECT_EQ(qelSocket_New(AF_INET, SOCK_STREAM, IPPROTO_UDP, "here", quiet), -1);
    const int error = qelSocket_GetLastError();
    EXPECT_NE(error, 0);
    EXPECT_THAT(m_log.Texts(),
                ElementsAre("Cannot create socket: error = " + N(error) + " [here]\n"));
    EXPECT_EQ(m_log.Lines()[0].module, 21u);
    EXPECT_EQ(m_log.Lines()[0].level, 1u);
    m_log.Clear();
  }
}

TEST_F(QelSocketShutdown, EndsBothDirections) {
  TestConnection connection;
  EXPECT_EQ(qelSocket_Shutdown(connection.client, "here"), 0);
  EXPECT_EQ(Receive(connection.server), "");
  EXPECT_EQ(SendText(connection.client, "x"), -1);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(QelSocketClose, LeavesNoErrorBehind) {
  const qelSocketHandle socket = TestSocket::TCP().Release();
  qelSocket_SetLastError(qelSocketErrorRefused);
  EXPECT_EQ(qelSocket_Close(socket, "here", 0), 0);
  EXPECT_EQ(qelSocket_GetLastError(), 0);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

// Failures -----------------------------------------------------------------------

// Every operation, with its name's text in the log: "#" stands for the socket, "!" for the error.
struct Operation {
  const char* about; // what an invalid socket says first; null: nothing
  std::vector<std::string> failure;
  std::function<int(qelSocketHandle)> run;
  int result = -1;
};

std::vector<Operation> Operations() {
  static const sockaddr_in address = LoopbackAddress(1);
  static const sockaddr* const any = AsAddress(address);
  const int size = sizeof(address);
  return {
      {"About to shutdown an invalid socket [here]\n",
       {"Cannot shutdown socket #: error = ! [here]\n"},
       [](qelSocketHandle s) { return qelSocket_Shutdown(s, "here"); }},
      {"About to close an invalid socket [here]\n",
       {"Cannot close socket #: error = ! [here]\n"},
       [](qelSocketHandle s) { return qelSocket_Close(s, "here", 0); }},
      {"About to close an invalid socket [here]\n",
       {"Cannot close socket #: error = ! [here]\n"},
       [](qelSocketHandle s) { return qelSocket_Close(s, "here", 1); }},
      {"About to perform setsockopt(SO_REUSEADDR) on an invalid socket [here]\n",
       {"setsockopt(SO_REUSEADDR) error = ! for socket # [here]\n"},
       [](qelSocketHandle s) { return qelSocket_SetReuseAddr(s, "here"); }},
      {"About to perform an ioctl(SETBLOCKING = 0) on an invalid socket [here]\n",
       {"ioctl(SETBLOCKING = 0) error = ! for socket # [here]\n"},
       [](qelSocketHandle s) { return qelSocket_SetBlocking(s, 0, "here"); }},
      {"About to perform an ioctl(SETBLOCKING = 1) on an invalid socket [here]\n",
       {"ioctl(SETBLOCKING = 1) error = ! for socket # [here]\n"},
       [](qelSocketHandle s) { return qelSocket_SetBlocking(s, 1, "here"); }},
      {nullptr,
       {"Cannot set timeout for socket #: error = ! [here]\n"},
       [](qelSocketHandle s) { return qelSocket_SetTimeout(s, 1, 1, 1, "here"); }},
      {nullptr,
       {"Cannot set timeout for socket #: error = ! [here]\n"},
       [](qelSocketHandle s) { return qelSocket_SetTimeout(s, 1, 0, 1, "here"); }},
      {nullptr,
       {"Cannot set send buffer for socket #: error = ! [here]\n"},
       [](qelSocketHandle s) { return qelSocket_SetSendBuffer(s, 9000, "here"); }},
      {nullptr,
       {"Cannot set receive buffer for socket #: error = ! [here]\n"},
       [](qelSocketHandle s) { return qelSocket_SetRecvBuffer(s, 9000, "here"); }},
      {nullptr,
       {"Error setting TTL to '3' for socket #, Error = ! [here]\n"},
       [](qelSocketHandle s) { return qelSocket_SetTTL(s, 3, "here"); }},
      {nullptr,
       {"Error setting TTL to '4294967295' for UDP socket #, Error = ! [here]\n"},
       [](qelSocketHandle s) { return qelSocket_SetMulticastTTL(s, 0xFFFFFFFFu, "here"); }},
      {nullptr,
       {"Error setting multicast loopback to '7' for UDP socket #, Error = ! [here]\n"},
       [](qelSocketHandle s) { return qelSocket_SetMulticastLoopback(s, 7, "here"); }},
      {nullptr,
       {"Error setting multicast for socket #: IP address = '", "127.0.0.1",
        "' error = ! [here]\n"},
       [](qelSocketHandle s) {
         return qelSocket_SetMulticastInterface(s, htonl(kLoopback), "here");
       }},
      {nullptr,
       {"Error adding IP address " + N(htonl(kLoopback)) +
        " to group '239.255.77.1' for UDP socket #, Error = ! [here]\n"},
       [](qelSocketHandle s) {
         return qelSocket_AddMembership(s, kGroup, htonl(kLoopback), "here");
       }},
      {nullptr,
       {"Error dropping IP address " + N(htonl(kLoopback)) +
        " from group '239.255.77.1' for UDP socket #, Error = ! [here]\n"},
       [](qelSocketHandle s) {
         return qelSocket_DropMembership(s, kGroup, htonl(kLoopback), "here");
       }},
      {"About to bind an invalid socket [here]\n",
       {"Cannot bind socket #: error = ! [here]\n"},
       [size](qelSocketHandle s) { return qelSocket_Bind(s, any, size, "here"); },
       -2},
      {"About to listen on an invalid socket [here]\n",
       {"Error listening on socket #: backlog = 9, error = ! [here]\n"},
       [](qelSocketHandle s) { return qelSocket_Listen(s, 9, "here"); }},
      {"About to accept on an invalid socket [here]\n",
       {"Cannot accept from socket #: error = ! [here]\n"},
       [](qelSocketHandle s) {
         return static_cast<int>(qelSocket_Accept(s, nullptr, nullptr, "here"));
       }},
      {nullptr,
       {"   Cannot connect socket #: error = ! [here]\n"},
       [size](qelSocketHandle s) { return qelSocket_Connect(s, any, size, "here"); }},
      {nullptr, {}, [](qelSocketHandle s) { return qelSocket_Send(s, "x", 1, 0, "here"); }},
      {nullptr,
       {},
       [](qelSocketHandle s) {
         char byte;
         return qelSocket_Recv(s, &byte, 1, 0, "here");
       }},
      {nullptr,
       {},
       [size](qelSocketHandle s) { return qelSocket_SendTo(s, "x", 1, 0, any, size, "here"); }},
      {nullptr,
       {},
       [](qelSocketHandle s) {
         char byte;
         return qelSocket_RecvFrom(s, &byte, 1, 0, nullptr, nullptr, "here");
       }},
      {nullptr,
       {"Cannot get peer name for socket #: error = ! [here]\n"},
       [](qelSocketHandle s) { return qelSocket_GetPeerName(s, nullptr, nullptr, "here"); }},
      {nullptr,
       {"Cannot get peer name for socket #: error = ! [here]\n"},
       [](qelSocketHandle s) { return qelSocket_GetSockName(s, nullptr, nullptr, "here"); }},
  };
}

std::vector<std::string> Expected(const Operation& operation, qelSocketHandle socket, int error) {
  std::vector<std::string> texts;
  if (socket == -1 && operation.about != nullptr)
    texts.push_back(operation.about);
  for (std::string text : operation.failure) {
    for (size_t at; (at = text.find('#')) != std::string::npos;)
      text.replace(at, 1, N(socket));
    for (size_t at; (at = text.find('!')) != std::string::npos;)
      text.replace(at, 1, N(error));
    texts.push_back(text);
  }
  return texts;
}

// Wine looks at the value of a multicast option ahead of the socket.
auto ClosedError() {
  return AnyOf(qelSocketErrorClosed, qelSocketErrorBadArgument);
}

TEST_F(QelSocketFailures, AreToldOfAClosedSocketWithTheLastErrorIntact) {
  const qelSocketHandle closed = ClosedSocket();
  for (const Operation& operation : Operations()) {
    SCOPED_TRACE(operation.failure.empty() ? "no text" : operation.failure[0]);
    qelSocket_SetLastError(0);
    EXPECT_EQ(operation.run(closed), operation.result);
    const int error = qelSocket_GetLastError();
    EXPECT_THAT(error, ClosedError());
    EXPECT_THAT(m_log.Texts(), ElementsAreArray(Expected(operation, closed, error)));
    for (const CapturedLine& line : m_log.Lines()) {
      EXPECT_EQ(line.module, 21u);
      EXPECT_EQ(line.level, 1u);
    }
    m_log.Clear();
  }
}

TEST_F(QelSocketFailures, OfAnInvalidSocketAreToldAheadOfTheCall) {
  for (const Operation& operation : Operations()) {
    SCOPED_TRACE(operation.failure.empty() ? "no text" : operation.failure[0]);
    qelSocket_SetLastError(0);
    EXPECT_EQ(operation.run(-1), operation.result);
    const int error = qelSocket_GetLastError();
    EXPECT_THAT(error, ClosedError());
    EXPECT_THAT(m_log.Texts(), ElementsAreArray(Expected(operation, -1, error)));
    m_log.Clear();
  }
}

TEST_F(QelSocketFailures, LeaveTheLastErrorIntactWithTheLogOff) {
  qelToolsLog_SetLevel(0);
  const qelSocketHandle closed = ClosedSocket();
  for (const Operation& operation : Operations()) {
    qelSocket_SetLastError(0);
    EXPECT_EQ(operation.run(closed), operation.result);
    EXPECT_THAT(qelSocket_GetLastError(), ClosedError());
  }
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

// Options ----------------------------------------------------------------------

TEST_F(QelSocketSetReuseAddr, SetsTheOption) {
  const TestSocket socket = TestSocket::TCP();
  EXPECT_EQ(qelSocket_SetReuseAddr(socket, "here"), 0);
  EXPECT_EQ(Option(socket, SOL_SOCKET, SO_REUSEADDR), 1);
}

TEST_F(QelSocketSetBlocking, DecidesWhetherACallWaits) {
  TestConnection connection;
  EXPECT_EQ(qelSocket_SetBlocking(connection.server, 0, "here"), 0);
  EXPECT_EQ(Receive(connection.server), "(error " + N(qelSocketErrorWouldBlock) + ")");
  EXPECT_EQ(qelSocket_WouldBlock(), 1);
  EXPECT_EQ(qelSocket_SetBlocking(connection.server, 1, "here"), 0);
  ASSERT_EQ(SendText(connection.client, "now"), 3);
  EXPECT_EQ(Receive(connection.server), "now");
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(QelSocketSetLinger, SetsNothing) {
  const TestSocket socket = TestSocket::TCP();
  const auto read = [&] {
    linger value = {};
    qelSocketLength size = sizeof(value);
    EXPECT_EQ(::getsockopt(static_cast<qelSocketNative>(qelSocketHandle(socket)), SOL_SOCKET,
                           SO_LINGER, reinterpret_cast<char*>(&value), &size),
              0);
    return std::make_pair(int(value.l_onoff), int(value.l_linger));
  };
  const auto before = read();
  EXPECT_EQ(qelSocket_SetLinger(socket, 5, "here"), 0);
  EXPECT_EQ(qelSocket_SetLinger(socket, 0, "here"), 0);
  EXPECT_EQ(read(), before);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(QelSocketSetLinger, TellsAnInvalidSocketAndSucceeds) {
  EXPECT_EQ(qelSocket_SetLinger(-1, 5, "here"), 0);
  EXPECT_THAT(m_log.Texts(),
              ElementsAre("About to perform SO_LINGER on an invalid socket [here]\n"));
}

TEST_F(QelSocketSetTimeout, EndsAReceiveThatGetsNothing) {
  const TestSocket socket = TestSocket::Bound(SOCK_DGRAM);
  EXPECT_EQ(qelSocket_SetTimeout(socket, 1, 0, 1, "here"), 0);
  const auto start = std::chrono::steady_clock::now();
  char byte;
  EXPECT_EQ(qelSocket_Recv(socket, &byte, 1, 0, "here"), -1);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(QelSocketSetTimeout, DoesNothingWithoutADirection) {
  EXPECT_EQ(qelSocket_SetTimeout(ClosedSocket(), 1, 0, 0, "here"), 0);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(QelSocketBuffers, AreAtLeastAsLargeAsAsked) {
  const TestSocket socket = TestSocket::UDP();
  EXPECT_EQ(qelSocket_SetSendBuffer(socket, 20000, "here"), 0);
  EXPECT_GE(Option(socket, SOL_SOCKET, SO_SNDBUF), 20000);
  EXPECT_EQ(qelSocket_SetRecvBuffer(socket, 30000, "here"), 0);
  EXPECT_GE(Option(socket, SOL_SOCKET, SO_RCVBUF), 30000);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(QelSocketTTL, IsTheLowByte) {
  const TestSocket socket = TestSocket::UDP();
  EXPECT_EQ(qelSocket_SetTTL(socket, 7, "here"), 0);
  EXPECT_EQ(Option(socket, IPPROTO_IP, IP_TTL), 7);
  EXPECT_EQ(qelSocket_SetTTL(socket, 0x109, "here"), 0);
  EXPECT_EQ(Option(socket, IPPROTO_IP, IP_TTL), 9);
  for (const qelULong ttl : {0u, 1u, 4u, 255u}) {
    EXPECT_EQ(qelSocket_SetMulticastTTL(socket, ttl, "here"), 0);
    EXPECT_EQ(Option(socket, IPPROTO_IP, IP_MULTICAST_TTL), static_cast<int>(ttl));
  }
  EXPECT_EQ(qelSocket_SetMulticastTTL(socket, 0x101, "here"), 0);
  EXPECT_EQ(Option(socket, IPPROTO_IP, IP_MULTICAST_TTL), 1);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(QelSocketMulticast, LoopbackIsOnForAnyNumberButZero) {
  const TestSocket socket = TestSocket::UDP();
  EXPECT_EQ(qelSocket_SetMulticastLoopback(socket, 0, "here"), 0);
  EXPECT_EQ(Option(socket, IPPROTO_IP, IP_MULTICAST_LOOP), 0);
  EXPECT_EQ(qelSocket_SetMulticastLoopback(socket, 256, "here"), 0);
  EXPECT_EQ(Option(socket, IPPROTO_IP, IP_MULTICAST_LOOP), 1);
}

TEST_F(QelSocketMulticast, ReachesTheMembersOfAGroupUntilTheyLeave) {
  const TestSocket receiver(qelSocket_GetUDPSocket(0, nullptr));
  ASSERT_EQ(qelSocket_AddMembership(receiver, kGroup, htonl(kLoopback), "here"), 0);
  const TestSocket sender = TestSocket::UDP();
  ASSERT_EQ(qelSocket_SetMulticastInterface(sender, htonl(kLoopback), "here"), 0);
  ASSERT_EQ(qelSocket_SetMulticastTTL(sender, 0, "here"), 0);
  ASSERT_EQ(qelSocket_SetMulticastLoopback(sender, 1, "here"), 0);
  sockaddr_in group = LoopbackAddress(receiver.Port());
  group.sin_addr.s_addr = qelSocket_InetAddr(kGroup);
  ASSERT_EQ(qelSocket_SendTo(sender, "hello", 5, 0, AsAddress(group), sizeof(group), "here"), 5);
  ASSERT_EQ(qelSocket_SetTimeout(receiver, 10, 0, 1, "here"), 0);
  EXPECT_EQ(Receive(receiver), "hello");

  EXPECT_EQ(qelSocket_DropMembership(receiver, kGroup, htonl(kLoopback), "here"), 0);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
  EXPECT_EQ(qelSocket_DropMembership(receiver, kGroup, htonl(kLoopback), "here"), -1);
  const int error = qelSocket_GetLastError();
  EXPECT_THAT(error, AnyOf(qelSocketErrorNoAddress, qelSocketErrorBadArgument));
  EXPECT_THAT(m_log.Texts(), ElementsAre("Error dropping IP address " + N(htonl(kLoopback)) +
                                         " from group '239.255.77.1' for UDP socket " +
                                         N(receiver) + ", Error = " + N(error) + " [here]\n"));
}

TEST_F(QelSocketMulticast, RefusesAGroupThatIsNone) {
  const TestSocket socket = TestSocket::UDP();
  EXPECT_EQ(qelSocket_AddMembership(socket, "127.0.0.1", htonl(kLoopback), "here"), -1);
  const int error = qelSocket_GetLastError();
  EXPECT_EQ(error, qelSocketErrorBadArgument);
  EXPECT_THAT(m_log.Texts(), ElementsAre("Error adding IP address " + N(htonl(kLoopback)) +
                                         " to group '127.0.0.1' for UDP socket " + N(socket) +
                                         ", Error = " + N(error) + " [here]\n"));
}

TEST_F(QelSocketSetMulticastInterface, TellsAFailureInThreeRecords) {
  const TestSocket socket = TestSocket::UDP();
  // A documentation address, which no machine has.
  EXPECT_EQ(qelSocket_SetMulticastInterface(socket, htonl(0xCB007163), "here"), -1);
  const int error = qelSocket_GetLastError();
  EXPECT_THAT(error, AnyOf(qelSocketErrorNoAddress, qelSocketErrorBadArgument));
  EXPECT_THAT(m_log.Texts(),
              ElementsAre("Error setting multicast for socket " + N(socket) + ": IP address = '",
                          "203.0.113.99", "' error = " + N(error) + " [here]\n"));
}

// Connecting and transfer --------------------------------------------------------

TEST_F(QelSocketBind, GivesMinusOneForAPortInUse) {
  const TestSocket holder = TestSocket::Listening();
  const TestSocket socket = TestSocket::TCP();
  const sockaddr_in address = LoopbackAddress(holder.Port());
  EXPECT_EQ(qelSocket_Bind(socket, AsAddress(address), sizeof(address), "here"), -1);
  EXPECT_EQ(qelSocket_GetLastError(), qelSocketErrorInUse);
  EXPECT_THAT(m_log.Texts(), ElementsAre("Cannot bind socket " + N(socket) +
                                         ": error = " + N(qelSocketErrorInUse) + " [here]\n"));
}

TEST_F(QelSocketListen, RefusesADatagramSocket) {
  const TestSocket socket = TestSocket::Bound(SOCK_DGRAM);
  EXPECT_EQ(qelSocket_Listen(socket, 3, "here"), -1);
  const int error = qelSocket_GetLastError();
  EXPECT_NE(error, 0);
  EXPECT_THAT(m_log.Texts(), ElementsAre("Error listening on socket " + N(socket) +
                                         ": backlog = 3, error = " + N(error) + " [here]\n"));
}

TEST_F(QelSocketAccept, StoresThePeersAddress) {
  const TestSocket listener = TestSocket::Listening();
  const TestSocket client = TestSocket::TCP();
  client.ConnectTo(listener.Port());
  sockaddr_in peer = {};
  int size = sizeof(peer);
  const TestSocket server(
      qelSocket_Accept(listener, reinterpret_cast<sockaddr*>(&peer), &size, "here"));
  EXPECT_NE(server, -1);
  EXPECT_EQ(size, static_cast<int>(sizeof(peer)));
  EXPECT_EQ(ntohl(peer.sin_addr.s_addr), kLoopback);
  EXPECT_EQ(ntohs(peer.sin_port), client.Port());
}

TEST_F(QelSocketAccept, GivesWouldBlockWhenNobodyComes) {
  const TestSocket listener = TestSocket::Listening();
  ASSERT_EQ(qelSocket_SetBlocking(listener, 0, "here"), 0);
  EXPECT_EQ(qelSocket_Accept(listener, nullptr, nullptr, "here"), -1);
  EXPECT_EQ(qelSocket_WouldBlock(), 1);
  EXPECT_THAT(m_log.Texts(), ElementsAre("Cannot accept from socket " + N(listener) +
                                         ": error = " + N(qelSocketErrorWouldBlock) + " [here]\n"));
}

TEST_F(QelSocketAccept, TakesOverTheBlockingModeOfTheListener) {
  const TestSocket listener = TestSocket::Listening();
  ASSERT_EQ(qelSocket_SetBlocking(listener, 0, "here"), 0);
  const TestSocket client = TestSocket::TCP();
  client.ConnectTo(listener.Port());
  // On 127.0.0.1 the connection is there when connect returns; Windows may need a moment.
  Set set{listener};
  ASSERT_EQ(qelSocket_Select(&set, nullptr, nullptr, Highest({listener}), nullptr), 1);
  const TestSocket server(qelSocket_Accept(listener, nullptr, nullptr, "here"));
  ASSERT_NE(server, -1);
  EXPECT_EQ(Receive(server), "(error " + N(qelSocketErrorWouldBlock) + ")");
}

TEST_F(QelSocketConnect, TellsARefusal) {
  const TestSocket silent = TestSocket::Bound(SOCK_STREAM);
  const sockaddr_in address = LoopbackAddress(silent.Port());
  const TestSocket socket = TestSocket::TCP();
  EXPECT_EQ(qelSocket_Connect(socket, AsAddress(address), sizeof(address), "here"), -1);
  EXPECT_EQ(qelSocket_GetLastError(), qelSocketErrorRefused);
  EXPECT_EQ(qelSocket_WouldBlock(), 0);
  EXPECT_THAT(m_log.Texts(), ElementsAre("   Cannot connect socket " + N(socket) +
                                         ": error = " + N(qelSocketErrorRefused) + " [here]\n"));
}

TEST_F(QelSocketConnect, IsSilentAboutAConnectionUnderWay) {
  const TestSocket listener = TestSocket::Listening();
  const TestSocket socket = TestSocket::TCP();
  ASSERT_EQ(qelSocket_SetBlocking(socket, 0, "here"), 0);
  const sockaddr_in address = LoopbackAddress(listener.Port());
  EXPECT_EQ(qelSocket_Connect(socket, AsAddress(address), sizeof(address), "here"), -1);
  EXPECT_EQ(qelSocket_GetLastError(), qelSocketErrorConnecting);
  EXPECT_EQ(qelSocket_WouldBlock(), 1);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
  Set set{socket};
  EXPECT_EQ(qelSocket_Select(nullptr, &set, nullptr, Highest({socket}), nullptr), 1);
  EXPECT_EQ(SendText(socket, "x"), 1);
}

TEST_F(QelSocketTransfer, MovesBytesBothWays) {
  TestConnection connection;
  EXPECT_EQ(SendText(connection.client, "there"), 5);
  EXPECT_EQ(Receive(connection.server), "there");
  EXPECT_EQ(SendText(connection.server, std::string("ba\0ck", 5)), 5);
  EXPECT_EQ(Receive(connection.client), std::string("ba\0ck", 5));
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(QelSocketTransfer, TakesFlags) {
  TestConnection connection;
  ASSERT_EQ(SendText(connection.client, "peek"), 4);
  char buffer[8];
  EXPECT_EQ(qelSocket_Recv(connection.server, buffer, 8, MSG_PEEK, "here"), 4);
  EXPECT_EQ(Receive(connection.server), "peek");
}

TEST_F(QelSocketTransfer, GivesZeroAfterThePeerHasClosed) {
  TestConnection connection;
  connection.client.Close();
  char byte;
  EXPECT_EQ(qelSocket_Recv(connection.server, &byte, 1, 0, "here"), 0);
}

// How a receive tells a reset differs: Wine takes it for an end. tests/posix has the exact number.
TEST_F(QelSocketTransfer, IsSilentAboutAReset) {
  TestConnection connection;
  // A peer that closes before it has read all breaks the connection off.
  ASSERT_EQ(SendText(connection.server, "unread"), 6);
  Set arrived{connection.client};
  ASSERT_EQ(qelSocket_Select(&arrived, nullptr, nullptr, Highest({connection.client}), nullptr), 1);
  connection.client.Close();
  char byte;
  EXPECT_LE(qelSocket_Recv(connection.server, &byte, 1, 0, "here"), 0);
  EXPECT_EQ(SendText(connection.server, "x"), -1);
  EXPECT_NE(qelSocket_GetLastError(), 0);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(QelSocketTransfer, GivesWouldBlockWhenTheBuffersAreFull) {
  TestConnection connection;
  ASSERT_EQ(qelSocket_SetBlocking(connection.client, 0, "here"), 0);
  const std::string block(65536, 'x');
  // Both buffers together hold less than this.
  int count = 0;
  for (int i = 0; i < 4096 && count >= 0; ++i)
    count = SendText(connection.client, block);
  EXPECT_EQ(count, -1);
  EXPECT_EQ(qelSocket_WouldBlock(), 1);
  EXPECT_EQ(qelSocket_GetLastError(), qelSocketErrorWouldBlock);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(QelSocketDatagrams, CarryTheSendersAddress) {
  const TestSocket a = TestSocket::Bound(SOCK_DGRAM);
  const TestSocket b = TestSocket::Bound(SOCK_DGRAM);
  const sockaddr_in to = LoopbackAddress(b.Port());
  EXPECT_EQ(qelSocket_SendTo(a, "data", 4, 0, AsAddress(to), sizeof(to), "here"), 4);
  char buffer[16];
  sockaddr_in from = {};
  int size = sizeof(from);
  EXPECT_EQ(qelSocket_RecvFrom(b, buffer, sizeof(buffer), 0, reinterpret_cast<sockaddr*>(&from),
                               &size, "here"),
            4);
  EXPECT_EQ(std::string(buffer, 4), "data");
  EXPECT_EQ(size, static_cast<int>(sizeof(from)));
  EXPECT_EQ(ntohs(from.sin_port), a.Port());
  EXPECT_EQ(ntohl(from.sin_addr.s_addr), kLoopback);
}

TEST_F(QelSocketWouldBlock, SpeaksOfTheLastErrorAlone) {
  for (const int error : {qelSocketErrorWouldBlock, qelSocketErrorConnecting}) {
    qelSocket_SetLastError(error);
    EXPECT_EQ(qelSocket_WouldBlock(), 1);
    EXPECT_EQ(qelSocket_GetLastError(), error);
  }
  for (const int error : {0, qelSocketErrorRefused, qelSocketErrorClosed}) {
    qelSocket_SetLastError(error);
    EXPECT_EQ(qelSocket_WouldBlock(), 0);
  }
}

// Select -----------------------------------------------------------------------

TEST_F(QelSocketSelect, TellsReadySocketsByTheSets) {
  TestConnection connection;
  ASSERT_EQ(SendText(connection.client, "x"), 1);
  Set read{connection.client, connection.server};
  Set write{connection.client};
  // The byte is on its way: wait for it alone first.
  Set server{connection.server};
  ASSERT_EQ(qelSocket_Select(&server, nullptr, nullptr, Highest({connection.server}), nullptr), 1);
  EXPECT_EQ(qelSocket_Select(&read, &write, nullptr,
                             Highest({connection.client, connection.server}), nullptr),
            2);
  EXPECT_FALSE(read.Has(connection.client));
  EXPECT_TRUE(read.Has(connection.server));
  EXPECT_TRUE(write.Has(connection.client));
}

TEST_F(QelSocketSelect, LeavesTheTimeoutAsItIs) {
  const TestSocket socket = TestSocket::Bound(SOCK_DGRAM);
  Set read{socket};
  timeval timeout = {0, 20000};
  EXPECT_EQ(qelSocket_Select(&read, nullptr, nullptr, Highest({socket}), &timeout), 0);
  EXPECT_FALSE(read.Has(socket));
  EXPECT_EQ(timeout.tv_sec, 0);
  EXPECT_EQ(timeout.tv_usec, 20000);
}

// Sets of a good and of a bad socket, and what a failed select makes of them.
struct Hunt {
  TestSocket good = TestSocket::Bound(SOCK_DGRAM);
  TestSocket other = TestSocket::Bound(SOCK_DGRAM);
  qelSocketHandle bad = ClosedSocket();
  Set read{good};
  Set write{good};
  Set except{good};
  timeval timeout = {1, 1};

  int Run(bool hasTimeout = true) {
    qelSocket_SetLastError(0);
    return qelSocket_Select(&read, &write, &except, Highest({good, other, bad}),
                            hasTimeout ? &timeout : nullptr);
  }
  std::string Left() {
    std::string left;
    for (Set* set : {&read, &write, &except}) {
      left += set->Has(good) ? "good " : "";
      left += set->Has(other) ? "other " : "";
      left += set->Has(bad) ? "bad " : "";
      left += "| ";
    }
    return left;
  }
};

TEST_F(QelSocketSelect, LeavesTheBadSocketAloneInTheReadSet) {
  Hunt hunt;
  hunt.read = Set{hunt.good, hunt.bad, hunt.other};
  EXPECT_EQ(hunt.Run(), -1);
  EXPECT_EQ(qelSocket_GetLastError(), qelSocketErrorClosed);
  EXPECT_EQ(hunt.Left(), "bad | | | ");
  EXPECT_EQ(Receive(hunt.bad), "(error " + N(qelSocketErrorClosed) + ")");
}

TEST_F(QelSocketSelect, LeavesTheBadSocketAloneInTheWriteSet) {
  Hunt hunt;
  hunt.write = Set{hunt.other, hunt.bad};
  EXPECT_EQ(hunt.Run(), -1);
  EXPECT_EQ(hunt.Left(), "| bad | | ");
}

TEST_F(QelSocketSelect, KeepsTheWriteSetWhenTheExceptSetHasTheBadSocket) {
  Hunt hunt;
  hunt.except = Set{hunt.bad, hunt.other};
  EXPECT_EQ(hunt.Run(), -1);
  EXPECT_EQ(hunt.Left(), "| good | | ");
}

TEST_F(QelSocketSelect, PrefersTheReadSet) {
  Hunt hunt;
  hunt.read = Set{hunt.bad};
  hunt.write = Set{hunt.bad};
  hunt.except = Set{hunt.bad};
  EXPECT_EQ(hunt.Run(), -1);
  EXPECT_EQ(hunt.Left(), "bad | | | ");
}

TEST_F(QelSocketSelect, HuntsOnlyWithSecondsAndMicroseconds) {
  for (const timeval timeout : {timeval{1, 0}, timeval{0, 1000}, timeval{0, 0}}) {
    Hunt hunt;
    hunt.timeout = timeout;
    hunt.read = Set{hunt.good, hunt.bad};
    EXPECT_EQ(hunt.Run(), -1);
    EXPECT_EQ(hunt.Left(), "| | | ");
  }
  Hunt hunt;
  hunt.write = Set{hunt.bad};
  EXPECT_EQ(hunt.Run(/*hasTimeout=*/false), -1);
  EXPECT_EQ(hunt.Left(), "| | | ");
}

TEST_F(QelSocketSelect, HuntsInNullSetsAsInEmptyOnes) {
  Hunt hunt;
  hunt.write = Set{hunt.bad};
  EXPECT_EQ(qelSocket_Select(nullptr, &hunt.write, nullptr, Highest({hunt.bad}), &hunt.timeout),
            -1);
  EXPECT_TRUE(hunt.write.Has(hunt.bad));
}

TEST_F(QelSocketFindBadSocket, FindsItForEachKind) {
  for (const int kind : {0, 1, 2}) {
    Hunt hunt;
    Set set{hunt.good, hunt.bad, hunt.other};
    EXPECT_EQ(qelSocket_FindBadSocket(&set, kind), 1);
    EXPECT_TRUE(set.Has(hunt.bad));
    EXPECT_FALSE(set.Has(hunt.good));
    EXPECT_FALSE(set.Has(hunt.other));
  }
}

TEST_F(QelSocketFindBadSocket, LeavesASetOfGoodOnesAsItIs) {
  Hunt hunt;
  for (const int kind : {0, 1, 2}) {
    Set set{hunt.good, hunt.other};
    EXPECT_EQ(qelSocket_FindBadSocket(&set, kind), 0);
    EXPECT_TRUE(set.Has(hunt.good));
    EXPECT_TRUE(set.Has(hunt.other));
  }
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(QelSocketFindBadSocket, FindsNothingInNothing) {
  Set empty{};
  EXPECT_EQ(qelSocket_FindBadSocket(&empty, 0), 0);
  EXPECT_EQ(qelSocket_FindBadSocket(nullptr, 1), 0);
}

} // namespace

// Free ports, names and addresses.

#include <qel/multiplatform/qelSocket.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <companions/toolslog/qelixToolsLog.h>
#include <tests/support/LogCapture.h>
#include <tests/support/Sockets.h>

using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

std::string N(int64_t number) {
  return std::to_string(number);
}

class SocketAddressTest : public ::testing::Test {
protected:
  LogCapture m_log;
};

using QelSocketGetTCPSocket = SocketAddressTest;
using QelSocketGetUDPSocket = SocketAddressTest;
using QelSocketGetPeerName = SocketAddressTest;
using QelSocketGetSockName = SocketAddressTest;
using QelSocketNames = SocketAddressTest;
using QelSocketGetHostName = SocketAddressTest;
using QelSocketAddressList = SocketAddressTest;
using QelSocketLocalAddress = SocketAddressTest;
using QelSocketAddressText = SocketAddressTest;
using QelSocketHardwareAddress = SocketAddressTest;
using QelSocketLogAddress = SocketAddressTest;

// Ports --------------------------------------------------------------------------

TEST_F(QelSocketGetTCPSocket, FindsARandomPortOnEveryInterface) {
  std::vector<unsigned> seen;
  for (int i = 0; i < 50; ++i) {
    unsigned short port = 0;
    const TestSocket socket(qelSocket_GetTCPSocket(0, &port));
    ASSERT_NE(socket, -1);
    EXPECT_GE(port, 50000u);
    EXPECT_LE(port, 65000u);
    unsigned ip = 1;
    unsigned short bound = 0;
    EXPECT_EQ(qelSocket_GetSockName(socket, &ip, &bound, "here"), 0);
    EXPECT_EQ(ip, 0u);
    EXPECT_EQ(bound, port);
    seen.push_back(port);
  }
  EXPECT_THAT(seen, ::testing::Contains(::testing::Ne(seen[0])));
}

TEST_F(QelSocketGetTCPSocket, TriesAnotherPortWhenOneIsTaken) {
  srand(20);
  unsigned short first = 0;
  const TestSocket holder(qelSocket_GetTCPSocket(0, &first));
  ASSERT_NE(holder, -1);
  ASSERT_EQ(qelSocket_Listen(holder, 1, "here"), 0);
  m_log.Clear();
  srand(20);
  unsigned short second = 0;
  const TestSocket socket(qelSocket_GetTCPSocket(0, &second));
  ASSERT_NE(socket, -1);
  EXPECT_NE(second, first);
  ASSERT_THAT(m_log.Texts(), ::testing::SizeIs(::testing::Ge(1u)));
  EXPECT_THAT(m_log.Texts()[0],
              AnyOf("Cannot bind socket " + N(socket) + ": error = " + N(qelSocketErrorInUse) +
                        " [qelSocket_GetTCPSocket 3]\n",
                    "Cannot bind socket " + N(socket) + ": error = " + N(qelSocketErrorAccess) +
                        " [qelSocket_GetTCPSocket 3]\n"));
}

TEST_F(QelSocketGetTCPSocket, LeavesTheChoiceToTheSystemWithoutAPort) {
  const TestSocket socket(qelSocket_GetTCPSocket(0, nullptr));
  ASSERT_NE(socket, -1);
  EXPECT_NE(socket.Port(), 0);
  const TestSocket loopback(qelSocket_GetTCPSocket(kLoopback, nullptr));
  ASSERT_NE(loopback, -1);
  EXPECT_NE(loopback.Port(), 0);
}

TEST_F(QelSocketGetTCPSocket, TellsNoPortOnOneInterface) {
  unsigned short port = 0;
  const TestSocket socket(qelSocket_GetTCPSocket(kLoopback, &port));
  ASSERT_NE(socket, -1);
  EXPECT_EQ(port, 0);
  unsigned ip = 0;
  unsigned short bound = 0;
  EXPECT_EQ(qelSocket_GetSockName(socket, &ip, &bound, "here"), 0);
  EXPECT_EQ(ip, kLoopback);
  EXPECT_NE(bound, 0);
}

TEST_F(QelSocketGetTCPSocket, TellsAnInterfaceThatIsNotThere) {
  unsigned short port = 0;
  EXPECT_EQ(qelSocket_GetTCPSocket(0xCB007163, &port), -1); // a documentation address
  EXPECT_EQ(qelSocket_GetLastError(), qelSocketErrorNoAddress);
  EXPECT_EQ(port, 0);
  ASSERT_THAT(m_log.Texts(), ::testing::SizeIs(2));
  const std::string bind = m_log.Texts()[0];
  const std::string number = bind.substr(19, bind.find(':') - 19);
  EXPECT_EQ(bind, "Cannot bind socket " + number + ": error = " + N(qelSocketErrorNoAddress) +
                      " [qelSocket_GetTCPSocket 2]\n");
  EXPECT_EQ(m_log.Texts()[1], "Error binding socket " + number + " [qelSocket_GetTCPSocket 2]\n");
}

TEST_F(QelSocketGetTCPSocket, TakesAFixedPortOrNone) {
  unsigned short port = 0;
  {
    TestSocket free = TestSocket::Bound(SOCK_STREAM);
    port = free.Port();
  }
  const unsigned short wanted = port;
  const TestSocket socket(qelSocket_GetTCPSocket(kLoopback, &port));
  ASSERT_NE(socket, -1);
  EXPECT_EQ(port, wanted);
  EXPECT_EQ(socket.Port(), wanted);
  ASSERT_EQ(qelSocket_Listen(socket, 1, "here"), 0);
  EXPECT_THAT(m_log.Texts(), IsEmpty());

  EXPECT_EQ(qelSocket_GetTCPSocket(kLoopback, &port), -1);
  const int error = qelSocket_GetLastError();
  EXPECT_THAT(error, AnyOf(qelSocketErrorInUse, qelSocketErrorAccess));
  EXPECT_EQ(port, wanted);
  ASSERT_THAT(m_log.Texts(), ::testing::SizeIs(1));
  EXPECT_THAT(m_log.Texts()[0],
              ::testing::EndsWith(": error = " + N(error) + " [qelSocket_GetTCPSocket 1]\n"));
}

TEST_F(QelSocketGetUDPSocket, FindsARandomPort) {
  for (int i = 0; i < 20; ++i) {
    unsigned short port = 7;
    const TestSocket socket(qelSocket_GetUDPSocket(kLoopback, &port));
    ASSERT_NE(socket, -1);
    EXPECT_GE(port, 50000u);
    EXPECT_LE(port, 65000u);
    EXPECT_EQ(socket.Port(), port);
  }
}

TEST_F(QelSocketGetUDPSocket, TriesAnotherPortWhenOneIsTaken) {
  srand(20);
  unsigned short first = 0;
  const TestSocket holder(qelSocket_GetUDPSocket(0, &first));
  srand(20);
  unsigned short second = 0;
  const TestSocket socket(qelSocket_GetUDPSocket(0, &second));
  ASSERT_NE(socket, -1);
  EXPECT_NE(second, first);
  ASSERT_THAT(m_log.Texts(), ::testing::SizeIs(::testing::Ge(1u)));
  EXPECT_EQ(m_log.Texts()[0], "Cannot bind socket " + N(socket) + ": error = " +
                                  N(qelSocketErrorInUse) + " [qelSocket_GetUDPSocket]\n");
}

TEST_F(QelSocketGetUDPSocket, LeavesTheChoiceToTheSystemWithoutAPort) {
  const TestSocket socket(qelSocket_GetUDPSocket(kLoopback, nullptr));
  ASSERT_NE(socket, -1);
  EXPECT_NE(socket.Port(), 0);
}

// Names --------------------------------------------------------------------------

TEST_F(QelSocketGetPeerName, GivesHostOrder) {
  TestConnection connection;
  unsigned ip = 0;
  unsigned short port = 0;
  EXPECT_EQ(qelSocket_GetPeerName(connection.client, &ip, &port, "here"), 0);
  EXPECT_EQ(ip, kLoopback);
  EXPECT_EQ(port, connection.listener.Port());
}

TEST_F(QelSocketGetPeerName, TellsThatThereIsNoPeer) {
  const TestSocket socket = TestSocket::Bound(SOCK_DGRAM);
  unsigned ip = 5;
  unsigned short port = 6;
  EXPECT_EQ(qelSocket_GetPeerName(socket, &ip, &port, "here"), -1);
  EXPECT_EQ(qelSocket_GetLastError(), qelSocketErrorNotConnected);
  EXPECT_EQ(ip, 5u);
  EXPECT_EQ(port, 6);
  EXPECT_THAT(m_log.Texts(),
              ElementsAre("Cannot get peer name for socket " + N(socket) +
                          ": error = " + N(qelSocketErrorNotConnected) + " [here]\n"));
}

TEST_F(QelSocketGetSockName, SpeaksOfThePeerNameInItsFailure) {
  const qelSocketHandle closed = ClosedSocket();
  EXPECT_EQ(qelSocket_GetSockName(closed, nullptr, nullptr, "here"), -1);
  EXPECT_THAT(m_log.Texts(), ElementsAre("Cannot get peer name for socket " + N(closed) +
                                         ": error = " + N(qelSocketErrorClosed) + " [here]\n"));
}

TEST_F(QelSocketNames, OfNumbersAreInNetworkOrder) {
  EXPECT_EQ(qelSocket_InetAddr("127.0.0.1"), htonl(kLoopback));
  EXPECT_EQ(qelSocket_InetAddr("1.2.3.4"), htonl(0x01020304));
  EXPECT_EQ(qelSocket_InetAddr("0.0.0.0"), 0u);
  EXPECT_EQ(qelSocket_InetAddr("255.255.255.255"), 0u);
  EXPECT_EQ(qelSocket_InetAddr("no address"), 0u);
  EXPECT_EQ(qelSocket_ResolveName("1.2.3.4"), htonl(0x01020304));
}

TEST_F(QelSocketNames, AreResolved) {
  EXPECT_EQ(qelSocket_ResolveName("localhost"), htonl(kLoopback));
  EXPECT_EQ(qelSocket_ResolveName("0.0.0.0"), 0u);
  unsigned address = 0;
  EXPECT_EQ(qelSocket_GetAddressByName("localhost", &address, "here"), 0);
  EXPECT_EQ(address, htonl(kLoopback));
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

// No resolver sends a label of more than 63 characters anywhere.
TEST_F(QelSocketNames, ThatCannotBeAreTold) {
  const std::string name(70, 'x');
  EXPECT_EQ(qelSocket_ResolveName(name.c_str()), 0u);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
  unsigned address = 5;
  const int error = qelSocket_GetAddressByName(name.c_str(), &address, "here");
  EXPECT_NE(error, 0);
  EXPECT_EQ(address, 5u);
  EXPECT_THAT(m_log.Texts(), ElementsAre("Error getting address for '" + name +
                                         "', Error = " + N(error) + " [here]\n"));
}

TEST_F(QelSocketGetHostName, GivesTheMachinesName) {
  char name[256];
  memset(name, 'x', sizeof(name));
  EXPECT_EQ(qelSocket_GetHostName(name, sizeof(name), "here"), 0);
  EXPECT_GT(strlen(name), 0u);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(QelSocketGetHostName, EndsANameThatIsTooLong) {
  char name[3] = {'x', 'x', 'x'};
  qelSocket_GetHostName(name, 2, "here");
  EXPECT_EQ(name[1], '\0');
  EXPECT_EQ(name[2], 'x');
}

TEST_F(QelSocketGetHostName, TellsThatTheBufferIsTooSmall) {
  char name[2] = {'x', 'x'};
  EXPECT_EQ(qelSocket_GetHostName(name, 1, "here"), -1);
  const int error = qelSocket_GetLastError();
  EXPECT_NE(error, 0);
  EXPECT_EQ(name[0], '\0');
  EXPECT_EQ(name[1], 'x');
  EXPECT_THAT(m_log.Texts(),
              ElementsAre("Error calling gethostname: Error = " + N(error) + " [here]\n"));
}

// Lists --------------------------------------------------------------------------

struct FreeList {
  void operator()(unsigned* list) const { free(list); }
};
typedef std::unique_ptr<unsigned, FreeList> List;

std::vector<unsigned> Addresses(int withLoopback) {
  unsigned* list = nullptr;
  const int count = qelSocketGetIPAddressList(nullptr, &list, withLoopback);
  const List owner(list);
  return std::vector<unsigned>(list, list + count);
}

TEST_F(QelSocketAddressList, EndsWithLoopbackWhenAsked) {
  const unsigned loopback = htonl(kLoopback);
  std::vector<unsigned> without = Addresses(0);
  const std::vector<unsigned> with = Addresses(1);
  ASSERT_GE(without.size(), 1u);
  if (without != std::vector<unsigned>{loopback}) {
    EXPECT_THAT(without, ::testing::Not(::testing::Contains(loopback)));
    without.push_back(loopback);
  }
  EXPECT_EQ(with, without);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(QelSocketAddressList, HasAMaskAndANetworkForEachAddress) {
  for (const int withLoopback : {0, 1}) {
    unsigned *list = nullptr, *masks = nullptr, *networks = nullptr;
    const int count = qelSocket_GetIPAddressListEx(nullptr, &list, &masks, &networks, withLoopback);
    const List ownList(list), ownMasks(masks), ownNetworks(networks);
    EXPECT_EQ(std::vector<unsigned>(list, list + count), Addresses(withLoopback));
    for (int i = 0; i < count; ++i) {
      EXPECT_EQ(networks[i], list[i] & masks[i]);
      const unsigned mask = ntohl(masks[i]);
      EXPECT_EQ(mask & (~mask >> 1), 0u) << "not a mask: " << mask;
      if (list[i] == htonl(kLoopback)) {
        EXPECT_EQ(masks[i], htonl(0xFFFFFF00));
        EXPECT_EQ(networks[i], htonl(0x7F000000));
      }
    }
  }
}

TEST_F(QelSocketAddressList, CanBeOfLoopbackAlone) {
  unsigned* list = nullptr;
  EXPECT_EQ(qelSocket_GetLoopbackList(nullptr, &list), 1);
  const List owner(list);
  EXPECT_EQ(list[0], htonl(kLoopback));
}

TEST_F(QelSocketLocalAddress, IsLoopbackOrOnTheList) {
  EXPECT_EQ(qelSocket_IsLocalAddress(htonl(kLoopback)), 1);
  EXPECT_EQ(qelSocket_IsLocalAddress(0xFFFFFFFF), 0);
  EXPECT_EQ(qelSocket_IsLocalAddress(0), 0);
  EXPECT_EQ(qelSocket_IsLocalAddress(htonl(0xCB007163)), 0);
  EXPECT_EQ(qelSocket_IsLocalAddress(kLoopback), 0) << "host order is another address";
  for (const unsigned address : Addresses(1)) {
    EXPECT_EQ(qelSocket_IsLocalAddress(address), 1);
    EXPECT_EQ(qelSocket_MapLocalAddress(nullptr, address), htonl(kLoopback));
  }
  EXPECT_EQ(qelSocket_MapLocalAddress(nullptr, htonl(0xCB007163)), htonl(0xCB007163));
}

// Text ---------------------------------------------------------------------------

TEST_F(QelSocketAddressText, TellsMulticastByItsFirstThreeCharacters) {
  const struct {
    const char* text;
    int isMulticast;
  } kTable[] = {
      {"239.255.255.250", 1},
      {"224.0.0.1", 1},
      {"230", 1},
      {"2390", 1},
      {"240.0.0.1", 0},
      {"223.0.0.1", 0},
      {"22.4.0.1", 0},
      {"", 0},
      {"192.168.0.1", 0},
      {"host", 0},
      {"2", 0},
      {" 24.0.0.1", 0},
      {"-24.", 0},
  };
  for (const auto& row : kTable)
    EXPECT_EQ(qelSocket_IsMulticastAddress(row.text), row.isMulticast) << row.text;
}

TEST_F(QelSocketAddressText, TellsDottedTextByDigitsAndThreeDots) {
  const struct {
    const char* text;
    int isDotted;
  } kTable[] = {
      {"1.2.3.4", 1}, {"999.999.999.999", 1}, {"...", 1},      {"1.2.3", 0},    {"1.2.3.4.", 0},
      {"", 0},        {"1.2.3.a", 0},         {"1.2.3. 4", 0}, {"-1.2.3.4", 0}, {"1234", 0},
  };
  for (const auto& row : kTable)
    EXPECT_EQ(qelSocket_IsDottedAddress(row.text), row.isDotted) << row.text;
}

TEST_F(QelSocketLogAddress, AppendsToTheOpenLine) {
  qelLogRecord* record = qelLog_Begin(1, 21);
  ASSERT_NE(record, nullptr);
  qelLog_Append_F("<");
  qelSocket_LogAddress(htonl(0x01FE0380));
  qelLog_Append_F(">\n");
  qelLog_End(record);
  EXPECT_THAT(m_log.Texts(), ElementsAre("<1.254.3.128>\n"));
  qelSocket_LogAddress(htonl(kLoopback));
  EXPECT_THAT(m_log.Texts(), ::testing::SizeIs(1));
}

// Hardware addresses -----------------------------------------------------------------

TEST_F(QelSocketHardwareAddress, OfAnUnknownNeighbourIsAllOnes) {
  // 127.0.0.2 is this machine, so nobody is asked.
  unsigned ip = htonl(0x7F000002);
  unsigned char mac[9] = {0, 0, 0, 0, 0, 0, 0, 0, 7};
  unsigned size = 6;
  EXPECT_NE(qelSocket_GetMACFromIP(&ip, mac, &size), 0);
  EXPECT_THAT(mac, ElementsAre(0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 7));
}

TEST_F(QelSocketHardwareAddress, IsFoundAtOrAfterAnIndex) {
  unsigned char mac[7];
  int position = 0;
  // Each result is the index to go on with; no machine has a thousand adapters.
  for (int i = 0; i < 1000 && position != -1; ++i) {
    memset(mac, 9, sizeof(mac));
    const int next = qelSocket_GetMACAddress(position, mac);
    EXPECT_EQ(mac[6], 9);
    EXPECT_TRUE(next == -1 || next > position);
    position = next;
  }
  EXPECT_EQ(position, -1);
  EXPECT_THAT(mac, ElementsAre(0, 0, 0, 0, 0, 0, 9));
  EXPECT_EQ(qelSocket_GetMACAddress(-3, mac), qelSocket_GetMACAddress(0, mac));
  memset(mac, 9, sizeof(mac));
  EXPECT_EQ(qelSocket_GetMACAddress(1000, mac), -1);
  EXPECT_THAT(mac, ElementsAre(0, 0, 0, 0, 0, 0, 9));
}

} // namespace

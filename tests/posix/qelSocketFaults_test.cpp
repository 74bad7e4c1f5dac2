// What sockets do when a system call fails. The linker puts the functions below in place of the
// system's.

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include <fcntl.h>
#include <ifaddrs.h>
#include <sys/time.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/multiplatform/qelMutex.h>
#include <qel/multiplatform/qelSocket.h>
#include <qel/multiplatform/qelSocketLog.h>
#include <qel/multiplatform/qelSocketSelect.h>
#include <qel/threads/Select.h>
#include <tests/support/LogCapture.h>
#include <tests/support/Sockets.h>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

// What a system call is to do: work `skip` times, then fail `times` times with `error`.
struct Fault {
  int skip = 0;
  int times = 0;
  int error = 0;
  int calls = 0; // how often it has been called

  void Set(int failWith, int count = 1, int after = 0) { *this = {after, count, failWith, 0}; }
  bool Fails() {
    ++calls;
    if (skip > 0) {
      --skip;
      return false;
    }
    if (times == 0)
      return false;
    --times;
    errno = error;
    return true;
  }
};

struct Faults {
  Fault socket, getsockopt, setsockopt, bind, connect, close, fcntl, getsockname, sendto;
  Fault getaddrinfo, getifaddrs, mutex, willLog, select;
  int protocol = -1;                 // what socket was asked for last
  std::vector<unsigned short> ports; // what bind was asked for, each call
  std::vector<int> numbers;          // what rand gives next; then its own
  addrinfo hints = {};               // what getaddrinfo was asked for last
  bool connectIsInterrupted = false; // after it has done its work
  int connectOutcome = 0;            // what a connection that is waited for comes to
  bool feedsForEver = false;         // every recvfrom has a byte
  int received = 0;                  // how often recvfrom has been called
  std::vector<int> limits;           // nfds of each select
  std::vector<timeval> times;        // the time of each select that has one
  std::function<void()> onSelect = [] {};
  std::function<addrinfo*()> resolved; // the list that a name gives
  std::function<void()> onClose = [] {};
} faults;

class SocketFaultsTest : public ::testing::Test {
protected:
  SocketFaultsTest() { faults = Faults(); }
  ~SocketFaultsTest() override { faults = Faults(); }
  LogCapture m_log;
};

std::string N(int64_t number) {
  return std::to_string(number);
}

} // namespace

extern "C" {
int __real_socket(int, int, int);
int __wrap_socket(int family, int type, int protocol) {
  faults.protocol = protocol;
  return faults.socket.Fails() ? -1 : __real_socket(family, type, protocol);
}
int __real_getsockopt(int, int, int, void*, socklen_t*);
int __wrap_getsockopt(int fd, int level, int option, void* value, socklen_t* size) {
  if (faults.getsockopt.Fails())
    return -1;
  const int result = __real_getsockopt(fd, level, option, value, size);
  if (option == SO_ERROR)
    *static_cast<int*>(value) = faults.connectOutcome;
  return result;
}
int __real_setsockopt(int, int, int, const void*, socklen_t);
int __wrap_setsockopt(int fd, int level, int option, const void* value, socklen_t size) {
  return faults.setsockopt.Fails() ? -1 : __real_setsockopt(fd, level, option, value, size);
}
int __real_bind(int, const sockaddr*, socklen_t);
int __wrap_bind(int fd, const sockaddr* address, socklen_t size) {
  faults.ports.push_back(ntohs(reinterpret_cast<const sockaddr_in*>(address)->sin_port));
  return faults.bind.Fails() ? -1 : __real_bind(fd, address, size);
}
int __real_connect(int, const sockaddr*, socklen_t);
int __wrap_connect(int fd, const sockaddr* address, socklen_t size) {
  if (faults.connect.Fails())
    return -1;
  const int result = __real_connect(fd, address, size);
  if (!faults.connectIsInterrupted)
    return result;
  errno = EINTR;
  return -1;
}
int __real_close(int);
int __wrap_close(int fd) {
  faults.onClose();
  return faults.close.Fails() ? (__real_close(fd), errno = faults.close.error, -1)
                              : __real_close(fd);
}
int __real_fcntl(int, int, ...);
int __wrap_fcntl(int fd, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  const long argument = va_arg(arguments, long);
  va_end(arguments);
  if (command == F_SETFL && faults.fcntl.Fails())
    return -1;
  return __real_fcntl(fd, command, argument);
}
int __real_getsockname(int, sockaddr*, socklen_t*);
int __wrap_getsockname(int fd, sockaddr* address, socklen_t* size) {
  return faults.getsockname.Fails() ? -1 : __real_getsockname(fd, address, size);
}
ssize_t __real_sendto(int, const void*, size_t, int, const sockaddr*, socklen_t);
ssize_t __wrap_sendto(int fd, const void* data, size_t n, int flags, const sockaddr* address,
                      socklen_t size) {
  return faults.sendto.Fails() ? -1 : __real_sendto(fd, data, n, flags, address, size);
}
int __real_getaddrinfo(const char*, const char*, const addrinfo*, addrinfo**);
int __wrap_getaddrinfo(const char* node, const char* service, const addrinfo* hints,
                       addrinfo** result) {
  faults.getaddrinfo.Fails();
  faults.hints = *hints;
  if (!faults.resolved)
    return __real_getaddrinfo(node, service, hints, result);
  *result = faults.resolved();
  return 0;
}
int __real_select(int, fd_set*, fd_set*, fd_set*, timeval*);
int __wrap_select(int limit, fd_set* read, fd_set* write, fd_set* except, timeval* timeout) {
  faults.limits.push_back(limit);
  if (timeout != nullptr)
    faults.times.push_back(*timeout);
  faults.onSelect();
  return faults.select.Fails() ? -1 : __real_select(limit, read, write, except, timeout);
}
ssize_t __real_recvfrom(int, void*, size_t, int, sockaddr*, socklen_t*);
ssize_t __wrap_recvfrom(int fd, void* data, size_t n, int flags, sockaddr* address,
                        socklen_t* size) {
  ++faults.received;
  return faults.feedsForEver ? 1 : __real_recvfrom(fd, data, n, flags, address, size);
}
int __real_rand();
int __wrap_rand() {
  if (faults.numbers.empty())
    return __real_rand();
  const int number = faults.numbers.front();
  faults.numbers.erase(faults.numbers.begin());
  return number;
}
int __real_getifaddrs(ifaddrs**);
int __wrap_getifaddrs(ifaddrs** list) {
  return faults.getifaddrs.Fails() ? -1 : __real_getifaddrs(list);
}
int __real_qelLog_WillLog(uint32_t, uint32_t);
int __wrap_qelLog_WillLog(uint32_t level, uint32_t module) {
  ++faults.willLog.calls;
  return __real_qelLog_WillLog(level, module);
}
qelOSMutex* __real__Z14qelOSMutex_Newv();
qelOSMutex* __wrap__Z14qelOSMutex_Newv() {
  return faults.mutex.Fails() ? nullptr : __real__Z14qelOSMutex_Newv();
}
}

namespace {

using QelSocketFaults = SocketFaultsTest;
using QelSocketPortFaults = SocketFaultsTest;
using QelSocketNameFaults = SocketFaultsTest;
using QelSocketListFaults = SocketFaultsTest;
using QelSocketSelectFaults = SocketFaultsTest;
using QelSocketLogFaults = SocketFaultsTest;

const char kInvalidTail[] = ", error -1 (firewall/antivirus/port listener issue)\n";

// Life and transfer ------------------------------------------------------------------

TEST_F(QelSocketFaults, ReplaceEveryHandleThatIsNoSocket) {
  faults.getsockopt.Set(ENOTSOCK, 3);
  const TestSocket socket(qelSocket_New(AF_INET, SOCK_STREAM, 0, "here", 1));
  EXPECT_GT(socket, 0);
  EXPECT_EQ(faults.socket.calls, 4);
  EXPECT_EQ(faults.close.calls, 3);
  ASSERT_THAT(m_log.Texts(), ::testing::SizeIs(3));
  for (const std::string& text : m_log.Texts()) {
    EXPECT_THAT(text, ::testing::StartsWith("Winsock returned invalid socket "));
    EXPECT_THAT(text, ::testing::EndsWith(kInvalidTail));
  }
}

TEST_F(QelSocketFaults, OfTheSystemEndTheCreation) {
  faults.socket.Set(EMFILE);
  EXPECT_EQ(qelSocket_New(AF_INET, SOCK_STREAM, 0, "here", 0), -1);
  EXPECT_EQ(errno, EMFILE);
  EXPECT_EQ(faults.socket.calls, 1);
  EXPECT_THAT(m_log.Texts(),
              ElementsAre("Cannot create socket: error = " + N(EMFILE) + " [here]\n"));
}

TEST_F(QelSocketFaults, RefuseAnAcceptedHandleThatIsNoSocket) {
  const TestSocket listener = TestSocket::Listening();
  const TestSocket client = TestSocket::TCP();
  client.ConnectTo(listener.Port());
  faults.getsockopt.Set(ENOTSOCK);
  EXPECT_EQ(qelSocket_Accept(listener, nullptr, nullptr, "here"), -1);
  EXPECT_EQ(errno, ENOTSOCK);
  ASSERT_THAT(m_log.Texts(), ::testing::SizeIs(2));
  EXPECT_THAT(m_log.Texts()[0], ::testing::EndsWith(kInvalidTail));
  EXPECT_EQ(m_log.Texts()[1],
            "Cannot accept from socket " + N(listener) + ": error = " + N(ENOTSOCK) + " [here]\n");
}

TEST_F(QelSocketFaults, OfAFailedAcceptAskForNoValidation) {
  const TestSocket listener = TestSocket::Listening();
  ASSERT_EQ(qelSocket_SetBlocking(listener, 0, "here"), 0);
  faults.getsockopt.calls = 0;
  EXPECT_EQ(qelSocket_Accept(listener, nullptr, nullptr, "here"), -1);
  EXPECT_EQ(faults.getsockopt.calls, 0);
}

TEST_F(QelSocketFaults, OfACloseKeepItsError) {
  const qelSocketHandle socket = TestSocket::TCP().Release();
  faults.close.Set(EIO);
  EXPECT_EQ(qelSocket_Close(socket, "here", 0), -1);
  EXPECT_EQ(errno, EIO);
  EXPECT_THAT(m_log.Texts(), ElementsAre("Cannot close socket " + N(socket) +
                                         ": error = " + N(EIO) + " [here]\n"));
}

TEST_F(QelSocketFaults, OfTheSendTimeoutSkipTheReceiveTimeout) {
  const TestSocket socket = TestSocket::TCP();
  faults.setsockopt.Set(EDOM);
  EXPECT_EQ(qelSocket_SetTimeout(socket, 1, 1, 1, "here"), -1);
  EXPECT_EQ(faults.setsockopt.calls, 1);
  faults.setsockopt.Set(EDOM, 1, 1);
  EXPECT_EQ(qelSocket_SetTimeout(socket, 1, 1, 1, "here"), -1);
  EXPECT_EQ(faults.setsockopt.calls, 2);
  EXPECT_EQ(errno, EDOM);
}

TEST_F(QelSocketFaults, OfAConnectAreToldUnlessItIsUnderWay) {
  const TestSocket socket = TestSocket::TCP();
  const sockaddr_in address = LoopbackAddress(1);
  faults.connect.Set(EINPROGRESS);
  EXPECT_EQ(qelSocket_Connect(socket, AsAddress(address), sizeof(address), "here"), -1);
  EXPECT_EQ(errno, EINPROGRESS);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
  faults.connect.Set(EAGAIN); // no local port left
  EXPECT_EQ(qelSocket_Connect(socket, AsAddress(address), sizeof(address), "here"), -1);
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_THAT(m_log.Texts(), ElementsAre("   Cannot connect socket " + N(socket) +
                                         ": error = " + N(EAGAIN) + " [here]\n"));
}

TEST_F(QelSocketFaults, WaitForAConnectThatASignalInterrupted) {
  const TestSocket listener = TestSocket::Listening();
  const TestSocket socket = TestSocket::TCP();
  const sockaddr_in address = LoopbackAddress(listener.Port());
  faults.connectIsInterrupted = true;
  EXPECT_EQ(qelSocket_Connect(socket, AsAddress(address), sizeof(address), "here"), 0);
  EXPECT_EQ(SendText(socket, "x"), 1);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(QelSocketFaults, OfAConnectThatASignalInterruptedAreTold) {
  const TestSocket listener = TestSocket::Listening();
  const sockaddr_in address = LoopbackAddress(listener.Port());
  const auto connect = [&] {
    const TestSocket socket = TestSocket::TCP();
    faults.connectIsInterrupted = true;
    const int result = qelSocket_Connect(socket, AsAddress(address), sizeof(address), "here");
    const int error = errno;
    EXPECT_THAT(m_log.Texts(), ElementsAre("   Cannot connect socket " + N(socket) +
                                           ": error = " + N(error) + " [here]\n"));
    m_log.Clear();
    return result == -1 ? error : 0;
  };
  faults.connectOutcome = ECONNREFUSED;
  EXPECT_EQ(connect(), ECONNREFUSED);
  faults.connectOutcome = 0;
  // The socket's own validation comes first.
  faults.getsockopt.Set(ENOBUFS, 1, 1);
  EXPECT_EQ(connect(), ENOBUFS);
}

TEST_F(QelSocketFaults, AreOfTheProtocolThatTheTypeHas) {
  const struct {
    int type, given, wanted;
  } kTable[] = {
      {SOCK_STREAM, 0, 6},
      {SOCK_DGRAM, 0, 17},
      {SOCK_RAW, 0, 17},
      {SOCK_STREAM, 5, 5},
  };
  for (const auto& row : kTable) {
    faults.socket.Set(EACCES);
    EXPECT_EQ(qelSocket_Create(AF_INET, row.type, row.given), -1);
    EXPECT_EQ(faults.protocol, row.wanted);
  }
}

// Ports --------------------------------------------------------------------------

TEST_F(QelSocketPortFaults, AreTriedFromTheFirstPortToTheLast) {
  const struct {
    std::vector<int> bytes;
    unsigned short port;
  } kTable[] = {
      {{0, 0, 0, 0}, 50000},         // 0
      {{0, 0, 0x3A, 0x98}, 65000},   // 15000
      {{0, 0, 0x3A, 0x99}, 50000},   // 15001
      {{255, 255, 255, 255}, 50983}, // 4294967295
      {{256, 511, 256, 257}, 50567}, // the low bytes 0, 255, 0, 1
  };
  for (const auto& row : kTable) {
    unsigned short port = 0;
    faults = Faults();
    faults.bind.Set(ENOMEM);
    faults.numbers = row.bytes;
    EXPECT_EQ(qelSocket_GetTCPSocket(0, &port), -1);
    faults.bind.Set(ENOMEM);
    faults.numbers = row.bytes;
    EXPECT_EQ(qelSocket_GetUDPSocket(0, &port), -1);
    EXPECT_THAT(faults.ports, ElementsAre(row.port, row.port));
    EXPECT_EQ(port, 0);
  }
}

// What a search for a port says of each call that can fail.
TEST_F(QelSocketPortFaults, NameTheirSteps) {
  unsigned short fixed = 50123;
  unsigned short open = 0;
  const struct {
    unsigned hostAddress;
    unsigned short* port;
    Fault* fault;
    const char* text;
  } kTable[] = {
      {0, &fixed, &faults.socket, "Cannot create socket: error = 5 [qelSocket_GetTCPSocket]\n"},
      {0, &fixed, &faults.setsockopt,
       "setsockopt(SO_REUSEADDR) error = 5 for socket # [qelSocket_GetTCPSocket 1]\n"},
      {0, &fixed, &faults.bind, "Cannot bind socket #: error = 5 [qelSocket_GetTCPSocket 1]\n"},
      {kLoopback, &open, &faults.setsockopt,
       "setsockopt(SO_REUSEADDR) error = 5 for socket # [qelSocket_GetTCPSocket 2]\n"
       "Error binding socket # [qelSocket_GetTCPSocket 2]\n"},
      {kLoopback, nullptr, &faults.bind,
       "Cannot bind socket #: error = 5 [qelSocket_GetTCPSocket 2]\n"
       "Error binding socket # [qelSocket_GetTCPSocket 2]\n"},
      {0, &open, &faults.setsockopt,
       "setsockopt(SO_REUSEADDR) error = 5 for socket # [qelSocket_GetTCPSocket 3]\n"},
      {0, nullptr, &faults.bind, "Cannot bind socket #: error = 5 [qelSocket_GetTCPSocket 3]\n"},
  };
  const std::string next = N(ClosedSocket()); // the lowest free number comes again
  for (const auto& row : kTable) {
    faults = Faults();
    row.fault->Set(EIO);
    faults.close.Set(EIO);
    std::string expected = row.text;
    if (row.fault != &faults.socket)
      expected += "Cannot close socket #: error = 5 [qelSocket_GetTCPSocket 2]\n";
    for (size_t at; (at = expected.find('#')) != std::string::npos;)
      expected.replace(at, 1, next);
    EXPECT_EQ(qelSocket_GetTCPSocket(row.hostAddress, row.port), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(m_log.All(), expected);
    m_log.Clear();
  }
  EXPECT_EQ(fixed, 50123);
  EXPECT_EQ(open, 0);
}

TEST_F(QelSocketPortFaults, NameTheStepsOfAReplacedHandleAndOfUDP) {
  const std::string next = N(ClosedSocket());
  faults.bind.Set(ENOTSOCK);
  faults.close.Set(EIO);
  const TestSocket socket(qelSocket_GetTCPSocket(0, nullptr));
  EXPECT_EQ(m_log.All(), "Cannot bind socket " + next + ": error = " + N(ENOTSOCK) +
                             " [qelSocket_GetTCPSocket 3]\nCannot close socket " + next +
                             ": error = 5 [qelSocket_GetTCPSocket 1]\n");
  m_log.Clear();
  faults.socket.Set(EIO);
  EXPECT_EQ(qelSocket_GetUDPSocket(0, nullptr), -1);
  EXPECT_EQ(m_log.All(), "Cannot create socket: error = 5 [qelSocket_GetUDPSocket]\n");
}

TEST_F(QelSocketPortFaults, OfUDPAreNotHelpedByReuse) {
  const TestSocket socket(qelSocket_GetUDPSocket(0, nullptr));
  EXPECT_GT(socket, 0);
  EXPECT_EQ(faults.setsockopt.calls, 0);
}

TEST_F(QelSocketPortFaults, ReplaceAHandleThatTurnsOutToBeNone) {
  faults.bind.Set(ENOTSOCK, 2);
  unsigned short port = 0;
  const TestSocket socket(qelSocket_GetTCPSocket(0, &port));
  ASSERT_GT(socket, 0);
  EXPECT_EQ(socket.Port(), port);
  EXPECT_EQ(faults.socket.calls, 3);
  EXPECT_EQ(faults.close.calls, 2);
  const std::string text = ": error = " + N(ENOTSOCK) + " [qelSocket_GetTCPSocket 3]\n";
  EXPECT_THAT(m_log.Texts(), ElementsAre(HasSubstr(text), HasSubstr(text)));
}

TEST_F(QelSocketPortFaults, EndTheSearchWhenThereIsNoOtherHandle) {
  faults.bind.Set(ENOTSOCK);
  faults.socket.Set(EMFILE, 1, 1);
  unsigned short port = 0;
  EXPECT_EQ(qelSocket_GetTCPSocket(0, &port), -1);
  EXPECT_EQ(port, 0);
  EXPECT_EQ(errno, EMFILE);
  EXPECT_THAT(
      m_log.Texts(),
      ElementsAre(HasSubstr("[qelSocket_GetTCPSocket 3]\n"),
                  "Cannot create socket: error = " + N(EMFILE) + " [qelSocket_GetTCPSocket 2]\n",
                  "About to close an invalid socket [qelSocket_GetTCPSocket 2]\n",
                  "Cannot close socket -1: error = " + N(EBADF) + " [qelSocket_GetTCPSocket 2]\n"));
}

TEST_F(QelSocketPortFaults, GoOnWhileAnotherPortMayDo) {
  for (const int error : {EADDRINUSE, EACCES}) {
    for (unsigned short* const port : {(unsigned short*)nullptr, new unsigned short(0)}) {
      faults.bind.Set(error, 5);
      const TestSocket tcp(qelSocket_GetTCPSocket(0, port));
      EXPECT_GT(tcp, 0);
      EXPECT_EQ(faults.bind.calls, 6);
      faults.bind.Set(error, 5);
      const TestSocket udp(qelSocket_GetUDPSocket(0, port));
      EXPECT_GT(udp, 0);
      EXPECT_EQ(faults.bind.calls, 6);
      delete port;
    }
    faults.setsockopt.Set(error, 2);
    faults.bind.Set(0, 0);
    const TestSocket tcp(qelSocket_GetTCPSocket(0, nullptr));
    EXPECT_GT(tcp, 0);
    EXPECT_EQ(faults.bind.calls, 1) << "a socket that can't be set up is not bound";
  }
}

TEST_F(QelSocketPortFaults, OfAnyOtherKindEndTheSearch) {
  unsigned short port = 0;
  faults.bind.Set(ENOMEM, 1);
  EXPECT_EQ(qelSocket_GetTCPSocket(0, &port), -1);
  EXPECT_EQ(errno, ENOMEM);
  faults.bind.Set(ENOMEM, 1);
  EXPECT_EQ(qelSocket_GetUDPSocket(0, &port), -1);
  EXPECT_EQ(errno, ENOMEM);
  faults.setsockopt.Set(ENOMEM, 1);
  EXPECT_EQ(qelSocket_GetTCPSocket(0, &port), -1);
  EXPECT_EQ(errno, ENOMEM);
  EXPECT_EQ(port, 0);
  faults.socket.Set(EMFILE, 2);
  EXPECT_EQ(qelSocket_GetTCPSocket(0, &port), -1);
  EXPECT_EQ(qelSocket_GetUDPSocket(0, &port), -1);
}

TEST_F(QelSocketPortFaults, OfAFixedPortTryNoOther) {
  unsigned short port = 50123;
  faults.bind.Set(EACCES);
  EXPECT_EQ(qelSocket_GetTCPSocket(0, &port), -1);
  EXPECT_EQ(faults.bind.calls, 1);
  EXPECT_EQ(port, 50123);
  faults.setsockopt.Set(ENOMEM);
  faults.bind.Set(0, 0);
  EXPECT_EQ(qelSocket_GetTCPSocket(0, &port), -1);
  EXPECT_EQ(faults.bind.calls, 0);
}

// Names and lists --------------------------------------------------------------------

TEST_F(QelSocketNameFaults, AskTheNameServiceForZeroAlone) {
  EXPECT_EQ(qelSocket_ResolveName("127.0.0.1"), htonl(kLoopback));
  EXPECT_EQ(faults.getaddrinfo.calls, 0);
  EXPECT_EQ(qelSocket_ResolveName("0.0.0.0"), 0u);
  EXPECT_EQ(faults.getaddrinfo.calls, 1);
}

// One entry of a resolver's list, as freeaddrinfo takes it.
addrinfo* Entry(int family, socklen_t length, unsigned address, addrinfo* next) {
  struct Block {
    addrinfo info;
    sockaddr_in name;
  };
  Block* block = static_cast<Block*>(calloc(1, sizeof(Block)));
  block->info.ai_family = family;
  block->info.ai_addrlen = length;
  block->info.ai_addr = reinterpret_cast<sockaddr*>(&block->name);
  block->info.ai_next = next;
  block->name.sin_addr.s_addr = address;
  return &block->info;
}

TEST_F(QelSocketNameFaults, PassOverEntriesOfAnotherKind) {
  faults.resolved = [] {
    return Entry(AF_INET6, 28, 1,
                 Entry(AF_INET, 7, 2, Entry(AF_INET, 8, 3, Entry(AF_INET, 16, 4, nullptr))));
  };
  unsigned address = 0;
  EXPECT_EQ(qelSocket_GetAddressByName("name", &address, "here"), 0);
  EXPECT_EQ(address, 3u);
  EXPECT_EQ(faults.hints.ai_family, AF_INET);
  EXPECT_EQ(faults.hints.ai_socktype, SOCK_STREAM);
  EXPECT_EQ(faults.hints.ai_protocol, IPPROTO_TCP);
  EXPECT_EQ(qelSocket_ResolveName("name"), 3u);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(QelSocketNameFaults, TellWhenNoEntryFits) {
  faults.resolved = [] { return Entry(AF_INET6, 28, 1, nullptr); };
  unsigned address = 5;
  EXPECT_EQ(qelSocket_GetAddressByName("name", &address, "here"), EAI_NONAME);
  EXPECT_EQ(address, 5u);
  EXPECT_EQ(qelSocket_ResolveName("name"), 0u);
  EXPECT_THAT(m_log.Texts(), ElementsAre("Error getting address for 'name', Error = " +
                                         N(EAI_NONAME) + " [here]\n"));
}

TEST_F(QelSocketListFaults, LeaveLoopbackAlone) {
  const std::string text = "WSAGetLastError = " + N(EMFILE) + " [qelSocketGetIPAddressList]\n";
  unsigned *list = nullptr, *masks = nullptr, *networks = nullptr;
  faults.getifaddrs.Set(EMFILE, 4);
  EXPECT_EQ(qelSocketGetIPAddressList(nullptr, &list, 1), 1);
  EXPECT_EQ(list[0], htonl(kLoopback));
  EXPECT_THAT(m_log.Texts(), ElementsAre(text));
  free(list);
  m_log.Clear();
  EXPECT_EQ(qelSocket_GetIPAddressListEx(nullptr, &list, &masks, &networks, 0), 1);
  EXPECT_EQ(list[0], htonl(kLoopback));
  EXPECT_EQ(masks[0], htonl(0xFFFFFF00));
  EXPECT_EQ(networks[0], htonl(0x7F000000));
  EXPECT_THAT(m_log.Texts(), ElementsAre(text));
  for (unsigned* block : {list, masks, networks})
    free(block);
  unsigned char mac[6];
  EXPECT_EQ(qelSocket_GetMACAddress(0, mac), -1);
}

// Select -----------------------------------------------------------------------

TEST_F(QelSocketSelectFaults, AreToldByTheStepThatFailed) {
  const struct {
    Fault* fault;
    int after;
    const char* text;
  } kTable[] = {
      {&faults.mutex, 0, "qelSocketSelect_New: Failed to create a semaphore\n"},
      {&faults.socket, 0, "qelSocketSelect_New: Failed to get a pair of socket\n"},
      {&faults.socket, 1, "qelSocketSelect_New: Failed to get a pair of socket\n"},
      {&faults.bind, 0, "qelSocketSelect_New: Failed to bind first socket\n"},
      {&faults.fcntl, 0, "qelSocketSelect_New: Failed to set first socket non blocking\n"},
      {&faults.getsockname, 0, "qelSocketSelect_New: getsockname failed\n"},
      {&faults.bind, 1, "qelSocketSelect_New: Failed to bind second socket\n"},
      {&faults.fcntl, 1, "qelSocketSelect_New: Failed to set second socket non blocking\n"},
      {&faults.getsockname, 1, "qelSocketSelect_New: Failed to connect first socket\n"},
      {&faults.connect, 0, "qelSocketSelect_New: Failed to connect first socket\n"},
  };
  for (const auto& row : kTable) {
    faults = Faults();
    row.fault->Set(ENOBUFS, 1, row.after);
    EXPECT_EQ(qelSocketSelect_New(), nullptr);
    ASSERT_FALSE(m_log.Texts().empty());
    EXPECT_EQ(m_log.Texts().back(), row.text);
    EXPECT_EQ(m_log.Lines().back().module, 25u);
    const int opened = faults.socket.calls - (row.fault == &faults.socket);
    EXPECT_EQ(faults.close.calls, opened) << row.text;
    m_log.Clear();
  }
}

TEST_F(QelSocketSelectFaults, NameTheSocketAndItsStep) {
  const struct {
    Fault* fault;
    int after;
    const char* label;
  } kTable[] = {
      {&faults.socket, 0, "[qelSocketSelect_New R]"},
      {&faults.socket, 1, "[qelSocketSelect_New W]"},
      {&faults.bind, 0, "[qelSocketSelect_New R]"},
      {&faults.bind, 1, "[qelSocketSelect_New W]"},
      {&faults.fcntl, 0, "[ILibStartChain R]"},
      {&faults.fcntl, 1, "[ILibStartChain W]"},
  };
  for (const auto& row : kTable) {
    faults = Faults();
    row.fault->Set(ENOBUFS, 1, row.after);
    EXPECT_EQ(qelSocketSelect_New(), nullptr);
    EXPECT_THAT(m_log.Texts()[0], HasSubstr(row.label));
    m_log.Clear();
  }
}

TEST_F(QelSocketSelectFaults, OfTheSetupLeaveTheObjectEmpty) {
  qelSelect select;
  faults.bind.Set(EADDRINUSE);
  EXPECT_EQ(select.Setup(), -1);
  EXPECT_EQ(m_log.Texts().back(), "Failed to create qelSocketSelect object\n");
  select.Signal();
  select.Terminate();
  EXPECT_EQ(select.Setup(), 0);
}

TEST_F(QelSocketSelectFaults, OfATriggerAreToldAndChangeNothing) {
  qelSocketSelect* select = qelSocketSelect_New();
  faults.sendto.Set(ENOBUFS);
  qelSocketSelect_Trigger(select);
  EXPECT_THAT(m_log.Texts(), ElementsAre("qelSocketSelect_Trigger: error\n"));
  EXPECT_EQ(m_log.Lines()[0].module, 25u);
  timeval none = {0, 0};
  int signalled = 1;
  EXPECT_EQ(qelSocketSelect_Select(select, nullptr, nullptr, nullptr, 0, &none, &signalled), 0);
  EXPECT_EQ(signalled, 0);
  qelSocketSelect_Trigger(select);
  EXPECT_EQ(qelSocketSelect_Select(select, nullptr, nullptr, nullptr, 0, &none, &signalled), 1);
  EXPECT_EQ(signalled, 1);
  qelSocketSelect_Delete(select);
}

TEST_F(QelSocketSelectFaults, OfItsClosesNameTheSocket) {
  qelSocketSelect* select = qelSocketSelect_New();
  faults.close.Set(EIO, 2);
  qelSocketSelect_Delete(select);
  EXPECT_THAT(m_log.Texts(), ElementsAre(HasSubstr("error = 5 [qelSocketSelect_Delete R]\n"),
                                         HasSubstr("error = 5 [qelSocketSelect_Delete W]\n")));
}

TEST_F(QelSocketSelectFaults, OfADrainThatNeverEndsDoNotHoldTheWait) {
  qelSocketSelect* select = qelSocketSelect_New();
  int signalled = 0;
  for (int i = 0; i < 10; ++i)
    qelSocketSelect_Trigger(select);
  EXPECT_EQ(qelSocketSelect_Select(select, nullptr, nullptr, nullptr, 0, nullptr, &signalled), 1);
  EXPECT_EQ(faults.received, 11) << "one for each wake-up and one that fails";
  qelSocketSelect_Trigger(select);
  faults.feedsForEver = true;
  EXPECT_EQ(qelSocketSelect_Select(select, nullptr, nullptr, nullptr, 0, nullptr, &signalled), 1);
  EXPECT_EQ(signalled, 1);
  qelSocketSelect_Delete(select);
}

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

TEST_F(QelSocketSelectFaults, OfASignalWaitForTheRestOfTheTime) {
  for (const timeval time : {timeval{0, 0}, timeval{0, 1000}, timeval{3600, 500000},
                             timeval{std::numeric_limits<time_t>::max(), 999999},
                             timeval{1, std::numeric_limits<suseconds_t>::max()}}) {
    faults = Faults();
    faults.select.Set(EINTR, 3);
    fd_set read;
    FD_ZERO(&read);
    const TestSocket socket = TestSocket::Bound(SOCK_DGRAM);
    socket.ConnectTo(socket.Port());
    ASSERT_EQ(SendText(socket, "x"), 1);
    FD_SET(static_cast<int>(socket), &read);
    timeval timeout = time;
    EXPECT_EQ(qelSocket_Select(&read, nullptr, nullptr, static_cast<int>(socket), &timeout), 1);
    EXPECT_EQ(timeout.tv_sec, time.tv_sec);
    EXPECT_EQ(timeout.tv_usec, time.tv_usec);
    ASSERT_THAT(faults.times, ::testing::SizeIs(4));
    for (size_t i = 1; i < 4; ++i) {
      EXPECT_LE(Seconds(faults.times[i]), Seconds(faults.times[i - 1]));
      EXPECT_LT(faults.times[i].tv_usec, 1000000);
      EXPECT_GE(faults.times[i].tv_sec, std::min<time_t>(time.tv_sec, 1000000) - 60);
    }
  }
}

TEST_F(QelSocketSelectFaults, AreHuntedForOneSocketAtATime) {
  const TestSocket a = TestSocket::Bound(SOCK_DGRAM);
  const TestSocket b = TestSocket::Bound(SOCK_DGRAM);
  fd_set set;
  FD_ZERO(&set);
  FD_SET(static_cast<int>(a), &set);
  FD_SET(static_cast<int>(b), &set);
  faults = Faults();
  EXPECT_EQ(qelSocket_FindBadSocket(&set, 0), 0);
  EXPECT_EQ(faults.getsockname.calls, 2);
  EXPECT_THAT(faults.limits, ElementsAre(a + 1, b + 1));
  ASSERT_THAT(faults.times, ::testing::SizeIs(2));
  for (const timeval& time : faults.times) {
    EXPECT_EQ(time.tv_sec, 0);
    EXPECT_EQ(time.tv_usec, 10);
  }
}

TEST_F(QelSocketSelectFaults, OutlastTheHunt) {
  const TestSocket socket = TestSocket::Bound(SOCK_DGRAM);
  fd_set read;
  FD_ZERO(&read);
  FD_SET(static_cast<int>(socket), &read);
  timeval timeout = {1, 1};
  faults.select.Set(ENOMEM);
  EXPECT_EQ(qelSocket_Select(&read, nullptr, nullptr, static_cast<int>(socket), &timeout), -1);
  EXPECT_EQ(errno, ENOMEM) << "the hunt has failures of its own";
  EXPECT_FALSE(FD_ISSET(static_cast<int>(socket), &read));
}

TEST_F(QelSocketSelectFaults, OfAHighestHandleBeyondAllNumbersAreTold) {
  fd_set read;
  FD_ZERO(&read);
  for (const int highest :
       {FD_SETSIZE, std::numeric_limits<int>::max(), -2, std::numeric_limits<int>::min()}) {
    EXPECT_EQ(qelSocket_Select(&read, nullptr, nullptr, highest, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
  }
  EXPECT_THAT(faults.limits, IsEmpty());
}

// The wait goes on over the end of the object, so its sockets stay until it is over.
TEST_F(QelSocketSelectFaults, TerminateReleasesNothingInsideAWait) {
  for (const int error : {0, ENOMEM}) {
    faults = Faults();
    qelSelect select;
    ASSERT_EQ(select.Setup(), 0);
    faults.select.Set(error, error != 0);
    int closedInside = -1;
    faults.onSelect = [&] {
      select.Terminate();
      closedInside = faults.close.calls;
    };
    bool signalled = false;
    EXPECT_EQ(select.Select(nullptr, nullptr, nullptr, 0, nullptr, &signalled), error ? -1 : 1);
    if (error != 0) {
      EXPECT_EQ(errno, error);
    }
    EXPECT_EQ(signalled, error == 0);
    EXPECT_EQ(closedInside, 0);
    EXPECT_EQ(faults.close.calls, 2);
    faults.onSelect = [] {};
    EXPECT_EQ(select.Select(nullptr, nullptr, nullptr, 0, nullptr, &signalled), -1);
  }
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

// Log ----------------------------------------------------------------------------

// Everything that has a hook.
void LiveOnce() {
  const TestSocket listener(qelSocket_GetTCPSocket(kLoopback, nullptr));
  ASSERT_EQ(qelSocket_Listen(listener, 1, "here"), 0);
  const qelSocketHandle client = qelSocket_New(AF_INET, SOCK_STREAM, 0, "here", 0);
  const sockaddr_in address = LoopbackAddress(listener.Port());
  ASSERT_EQ(qelSocket_Connect(client, AsAddress(address), sizeof(address), "here"), 0);
  const qelSocketHandle server = qelSocket_Accept(listener, nullptr, nullptr, "here");
  EXPECT_EQ(SendText(client, "x"), 1);
  EXPECT_EQ(Receive(server), "x");
  EXPECT_EQ(qelSocket_Close(client, "here", 0), 0);
  EXPECT_EQ(qelSocket_Close(server, "here", 0), 0);
}

TEST_F(QelSocketLogFaults, WithTheLogOffNobodyIsAsked) {
  for (const uint16_t level : {uint16_t(0), uint16_t(2), uint16_t(4)}) {
    qelToolsLog_SetLevel(level);
    faults.willLog.calls = 0;
    LiveOnce();
    EXPECT_EQ(faults.willLog.calls, 0) << level;
  }
  qelToolsLog_SetLevel(5);
  qelToolsLog_SetModules("7");
  LiveOnce();
  EXPECT_GT(faults.willLog.calls, 0);
  qelToolsLog_SetModules("");
}

TEST_F(QelSocketLogFaults, PortsThatAreKnownAreNotAskedForAgain) {
  qelToolsLog_SetLevel(5);
  qelToolsLog_SetModules("53");
  const TestSocket listener = TestSocket::Listening();
  const qelSocketHandle client = qelSocket_New(AF_INET, SOCK_STREAM, 0, "here", 0);
  const sockaddr_in address = LoopbackAddress(listener.Port());
  ASSERT_EQ(qelSocket_Connect(client, AsAddress(address), sizeof(address), "here"), 0);
  faults.getsockname.calls = 0;
  EXPECT_EQ(SendText(client, "x"), 1);
  EXPECT_EQ(faults.getsockname.calls, 0);
  EXPECT_EQ(qelSocket_Close(client, "here", 0), 0);
  qelToolsLog_SetModules("");
}

// A number that is closed is another thread's at once: its slot must be free by then.
TEST_F(QelSocketLogFaults, TheTrafficEndsAheadOfTheClose) {
  qelToolsLog_SetLevel(5);
  const qelSocketHandle socket = qelSocket_New(AF_INET, SOCK_DGRAM, 0, "here", 0);
  EXPECT_EQ(_Log_Buffer_CountOpen(), 1);
  int openAtClose = -1;
  faults.onClose = [&] { openAtClose = _Log_Buffer_CountOpen(); };
  EXPECT_EQ(qelSocket_Close(socket, "here", 0), 0);
  faults.onClose = [] {};
  EXPECT_EQ(openAtClose, 0);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

} // namespace

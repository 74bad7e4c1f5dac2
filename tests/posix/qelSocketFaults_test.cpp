// What sockets do when a system call fails. The linker puts the functions below in place of the
// system's.

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <ifaddrs.h>
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
  Fault getaddrinfo, getifaddrs, mutex, willLog;
  bool connectIsInterrupted = false;   // after it has done its work
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
  return faults.socket.Fails() ? -1 : __real_socket(family, type, protocol);
}
int __real_getsockopt(int, int, int, void*, socklen_t*);
int __wrap_getsockopt(int fd, int level, int option, void* value, socklen_t* size) {
  return faults.getsockopt.Fails() ? -1 : __real_getsockopt(fd, level, option, value, size);
}
int __real_setsockopt(int, int, int, const void*, socklen_t);
int __wrap_setsockopt(int fd, int level, int option, const void* value, socklen_t size) {
  return faults.setsockopt.Fails() ? -1 : __real_setsockopt(fd, level, option, value, size);
}
int __real_bind(int, const sockaddr*, socklen_t);
int __wrap_bind(int fd, const sockaddr* address, socklen_t size) {
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
  if (!faults.resolved)
    return __real_getaddrinfo(node, service, hints, result);
  *result = faults.resolved();
  return 0;
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

// Ports --------------------------------------------------------------------------

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

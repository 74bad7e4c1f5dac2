#ifndef QEL_TESTS_SUPPORT_SOCKETS_H
#define QEL_TESTS_SUPPORT_SOCKETS_H
//===----------------------------------------------------------------------===//
// Sockets for tests, all of them on 127.0.0.1. The system's sockets are started
// when the program is. What a test sets up here must work, or the test ends by
// an exception.
//===----------------------------------------------------------------------===//

#include <stdexcept>
#include <string>
#include <utility>

#include <qel/multiplatform/qelSocket.h>
#include <qel/multiplatform/qelSocketSystem.h>

inline const int socketsStarted = qelSocket_Startup();

constexpr unsigned kLoopback = 0x7F000001; // 127.0.0.1 in host order

inline sockaddr_in LoopbackAddress(unsigned short port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(kLoopback);
  address.sin_port = htons(port);
  return address;
}

inline const sockaddr* AsAddress(const sockaddr_in& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

// A socket that is closed at the end of its life.
class TestSocket {
public:
  explicit TestSocket(qelSocketHandle handle) : m_handle(handle) {}
  ~TestSocket() { Close(); }
  TestSocket(TestSocket&& other) noexcept
      : m_handle(std::exchange(other.m_handle, qelSocketInvalid)) {}
  TestSocket(const TestSocket&) = delete;
  TestSocket& operator=(const TestSocket&) = delete;

  static TestSocket Of(int type) {
    return TestSocket(Checked(qelSocket_New(AF_INET, type, 0, "test", /*quiet=*/1)));
  }
  static TestSocket TCP() { return Of(SOCK_STREAM); }
  static TestSocket UDP() { return Of(SOCK_DGRAM); }
  static TestSocket Bound(int type) {
    TestSocket socket = Of(type);
    const sockaddr_in address = LoopbackAddress(0);
    Require(qelSocket_Bind(socket, AsAddress(address), sizeof(address), "test"));
    return socket;
  }
  static TestSocket Listening() {
    TestSocket socket = Bound(SOCK_STREAM);
    Require(qelSocket_Listen(socket, 5, "test"));
    return socket;
  }

  operator qelSocketHandle() const { return m_handle; }
  unsigned short Port() const {
    unsigned short port = 0;
    Require(qelSocket_GetSockName(m_handle, nullptr, &port, "test"));
    return port;
  }
  void ConnectTo(unsigned short port) const {
    const sockaddr_in address = LoopbackAddress(port);
    Require(qelSocket_Connect(m_handle, AsAddress(address), sizeof(address), "test"));
  }
  qelSocketHandle Release() { return std::exchange(m_handle, qelSocketInvalid); }
  void Close() {
    if (m_handle != qelSocketInvalid)
      qelSocket_Close(Release(), "test", /*quiet=*/1);
  }

  static qelSocketHandle Checked(qelSocketHandle handle) {
    Require(handle == qelSocketInvalid ? -1 : 0);
    return handle;
  }
  static void Require(int result) {
    if (result != 0)
      throw std::runtime_error("socket error " + std::to_string(qelSocket_GetLastError()));
  }

private:
  qelSocketHandle m_handle;
};

// Two ends of a TCP connection.
struct TestConnection {
  TestSocket listener = TestSocket::Listening();
  TestSocket client = TestSocket::TCP();
  TestSocket server;

  TestConnection() : server(Connect()) {}

private:
  qelSocketHandle Connect() {
    client.ConnectTo(listener.Port());
    return TestSocket::Checked(qelSocket_Accept(listener, nullptr, nullptr, "test"));
  }
};

// A number that was a socket's and is nobody's now.
inline qelSocketHandle ClosedSocket() {
  TestSocket socket = TestSocket::TCP();
  const qelSocketHandle handle = socket;
  socket.Close();
  return handle;
}

// Receives what is there, as text; "(error N)" for a failure.
inline std::string Receive(qelSocketHandle socket) {
  char buffer[1024];
  const int count = qelSocket_Recv(socket, buffer, sizeof(buffer), 0, "test");
  if (count < 0)
    return "(error " + std::to_string(qelSocket_GetLastError()) + ")";
  return std::string(buffer, static_cast<size_t>(count));
}

inline int SendText(qelSocketHandle socket, const std::string& text) {
  return qelSocket_Send(socket, text.data(), static_cast<int>(text.size()), 0, "test");
}

#endif

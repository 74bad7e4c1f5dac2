#ifndef QEL_TESTS_SUPPORT_TELNETSCENE_H
#define QEL_TESTS_SUPPORT_TELNETSCENE_H
//===----------------------------------------------------------------------===//
// A telnet server on the loopback address, its one connection, and the client's
// end of it as a plain socket. Also what the server makes of received bytes, told
// by a simple model.
//===----------------------------------------------------------------------===//

#include <cstdint>
#include <cstdlib>
#include <string>

#include <qel/multiplatform/qelSocket.h>
#include <qel/multiplatform/qelSocketSystem.h>
#include <qel/multiplatform/qelTelnet.h>

// The port that a server listens on.
inline unsigned short PortOf(const qelTelnet* telnet) {
  unsigned address = 0;
  unsigned short port = 0;
  qelSocket_GetSockName(telnet->listenSocket, &address, &port, "PortOf");
  return port;
}

// The client's end of a connection.
class LoopbackClient {
public:
  explicit LoopbackClient(unsigned short port)
      : m_socket(qelSocket_New(AF_INET, SOCK_STREAM, 0, "LoopbackClient", /*quiet=*/0)) {
    sockaddr_in name = {};
    name.sin_family = AF_INET;
    name.sin_port = htons(port);
    name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (qelSocket_Connect(m_socket, reinterpret_cast<const sockaddr*>(&name), sizeof name,
                          "LoopbackClient") != 0)
      Close();
    else // A test that misses an answer fails; it does not hang.
      qelSocket_SetTimeout(m_socket, 60, /*send=*/1, /*receive=*/1, "LoopbackClient");
  }
  ~LoopbackClient() { Close(); }
  LoopbackClient(const LoopbackClient&) = delete;
  LoopbackClient& operator=(const LoopbackClient&) = delete;

  bool IsConnected() const { return m_socket != qelSocketInvalid; }

  // Whether all went out.
  bool Send(const std::string& bytes) {
    size_t sent = 0;
    while (sent < bytes.size()) {
      const int n = qelSocket_Send(m_socket, bytes.data() + sent,
                                   static_cast<int>(bytes.size() - sent), 0, "LoopbackClient");
      if (n <= 0)
        return false;
      sent += static_cast<size_t>(n);
    }
    return true;
  }
  // Exactly n bytes; fewer if the server ends the connection.
  std::string Receive(size_t n) {
    std::string bytes;
    char chunk[4096];
    while (bytes.size() < n) {
      const size_t room = n - bytes.size() < sizeof chunk ? n - bytes.size() : sizeof chunk;
      const int got = qelSocket_Recv(m_socket, chunk, static_cast<int>(room), 0, "LoopbackClient");
      if (got <= 0)
        break;
      bytes.append(chunk, static_cast<size_t>(got));
    }
    return bytes;
  }
  // All that comes until the server ends the connection.
  std::string ReceiveAll() { return Receive(SIZE_MAX); }

  // Ends the client's direction; the server's stays open.
  void EndSending() { ::shutdown(static_cast<qelSocketNative>(m_socket), 1); }
  void Close() {
    if (m_socket != qelSocketInvalid)
      qelSocket_Close(m_socket, "LoopbackClient", /*quiet=*/0);
    m_socket = qelSocketInvalid;
  }
  // Breaks off: what was not delivered is lost, and the server gets an error.
  void Reset() {
    linger hard = {};
    hard.l_onoff = 1;
    ::setsockopt(static_cast<qelSocketNative>(m_socket), SOL_SOCKET, SO_LINGER,
                 reinterpret_cast<const char*>(&hard), sizeof hard);
    Close();
  }

private:
  qelSocketHandle m_socket;
};

// A server that listens on a loopback port of the system's choice.
class TelnetServer {
public:
  TelnetServer() {
    qelSocket_Startup();
    telnet = qelTelnet_New();
    listening = qelTelnet_Listen(telnet, "127.0.0.1", 0) == 0;
  }
  ~TelnetServer() { qelTelnet_Delete(telnet); }
  TelnetServer(const TelnetServer&) = delete;
  TelnetServer& operator=(const TelnetServer&) = delete;

  qelTelnet* telnet;
  bool listening;
};

// Both ends of one connection.
class TelnetScene {
public:
  explicit TelnetScene(const TelnetServer& server)
      : client(PortOf(server.telnet)), connection(qelTelnet_AcceptConnection(server.telnet)) {}
  ~TelnetScene() { qelTelnet_ConnectionDelete(connection); }
  TelnetScene(const TelnetScene&) = delete;
  TelnetScene& operator=(const TelnetScene&) = delete;

  LoopbackClient client;
  qelTelnetConnection* connection;
};

// What the server makes of a client's bytes, one at a time.
class TelnetModel {
public:
  std::string data;    // delivered
  std::string replies; // sent to the client
  bool closed = false; // the client has interrupted

  void Take(const std::string& bytes) {
    for (const char c : bytes)
      Take(static_cast<unsigned char>(c));
  }
  void Take(unsigned char byte) {
    if (closed)
      return;
    if (m_pending.empty() && byte != 255) {
      data += static_cast<char>(byte);
      return;
    }
    m_pending += static_cast<char>(byte);
    if (m_pending.size() == 2)
      TakeCommand(byte);
    else if (m_pending.size() == 3)
      TakeOption(byte);
  }

private:
  void TakeCommand(unsigned char byte) {
    if (byte >= 251 && byte <= 254)
      return; // An option follows.
    m_pending.clear();
    if (byte == 255)
      data += static_cast<char>(byte);
    if (byte == 246)
      replies += "qelTelnet: I'm here\r\n";
    if (byte == 244)
      closed = true;
  }
  void TakeOption(unsigned char byte) {
    // WILL and WONT are answered by DONT, DO and DONT by WONT.
    const unsigned char command = static_cast<unsigned char>(m_pending[1]);
    replies += static_cast<char>(255);
    replies += static_cast<char>(command <= 252 ? 254 : 252);
    replies += static_cast<char>(byte);
    m_pending.clear();
  }

  std::string m_pending; // a command that is not whole yet
};

#endif

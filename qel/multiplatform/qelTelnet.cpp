#define QEL_LOG_MODULE 92
#define QEL_LOG_FILE "..\\..\\qelTelnet"

#include <qel/multiplatform/qelTelnet.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>

#include <trio.h>

#include <qel/core/Log.h>
#include <qel/core/qelMem.h>
#include <qel/multiplatform/qelSocket.h>
#include <qel/multiplatform/qelSocketSystem.h>
#include <qel/multiplatform/qelTelnetBackend.h>
#include <qel/multiplatform/qelThread.h>

namespace {

// A call on a socket that another thread may close: while it lives, the closing waits, see AwaitCalls.
// The number is read once the call is counted.
class BlockingCall {
public:
  BlockingCall(std::atomic<int>& blocked, const std::atomic<qelSocketHandle>& socket)
      : m_blocked(blocked) {
    m_blocked++;
    m_socket = socket;
  }
  ~BlockingCall() { m_blocked--; }
  BlockingCall(const BlockingCall&) = delete;
  BlockingCall& operator=(const BlockingCall&) = delete;

  qelSocketHandle Socket() const { return m_socket; }

private:
  std::atomic<int>& m_blocked;
  qelSocketHandle m_socket; // -1: closed meanwhile
};

} // namespace

// Ends the calls on a socket that is to be closed, and waits until they are out: once it is closed, its
// number can go to another socket, on which a call that is only just beginning would then work. A call
// may begin behind the ending, which is why that is repeated. Not for ever: a thread may stay in a log
// callback, for a lock that the closing one holds, or a network layer take no notice. Then the closing
// itself has to do.
static void AwaitCalls(qelSocketHandle socket, const std::atomic<int>& blocked) {
  // Yielding is mostly enough. Behind it, sleeps of 1, 2 ... 45 ms make a second.
  const qelULong kYields = 16;
  const qelULong kLongestMS = 45;
  for (qelULong i = 0; blocked != 0 && i < kYields + kLongestMS; i++) {
    qelTelnet_EndBlockedCalls(socket);
    qelOSThread_Sleep(i < kYields ? 0 : i - kYields + 1);
  }
}

// The number is taken away first, so that no call can begin on it any more.
static void CloseSocket(std::atomic<qelSocketHandle>& socket, std::atomic<int>& closing,
                        const std::atomic<int>& blocked, const char* label) {
  closing = 1;
  const qelSocketHandle closed = socket.exchange(qelSocketInvalid);
  if (closed != qelSocketInvalid)
    AwaitCalls(closed, blocked);
  qelSocket_Close(closed, label, /*quiet=*/0);
}

// Server -----------------------------------------------------------------------

qelTelnet* qelTelnet_New() {
  qelTelnet* const telnet = new (qelMem_Alloc(sizeof(qelTelnet))) qelTelnet;
  telnet->listenSocket = qelSocketInvalid;
  telnet->closing = 0;
  telnet->blocked = 0;
  return telnet;
}

void qelTelnet_Delete(qelTelnet* telnet) {
  if (telnet == nullptr)
    return;
  if (telnet->listenSocket != qelSocketInvalid)
    qelTelnet_Close(telnet);
  free(telnet);
}

// The address in network order; *resolved tells whether there is one.
static unsigned ListenAddress(const char* address, bool* resolved) {
  *resolved = true;
  if (address == nullptr || *address == '\0')
    return 0;
  unsigned number = qelSocket_InetAddr(address);
  if (number == 0)
    number = qelSocket_ResolveName(address);
  *resolved = number != 0;
  return number;
}

static int BindTo(qelSocketHandle socket, unsigned address, unsigned short port) {
  sockaddr_in name = {};
  name.sin_family = AF_INET;
  name.sin_port = htons(port);
  name.sin_addr.s_addr = address;
  return qelSocket_Bind(socket, reinterpret_cast<const sockaddr*>(&name), sizeof name,
                        "qelTelnet_Listen");
}

int qelTelnet_Listen(qelTelnet* telnet, const char* address, unsigned short port) {
  if (telnet->listenSocket != qelSocketInvalid) {
    QEL_LOG(
        1,
        "qelTelnet_Listen: [%p] Already listening. Ccurrent qelTelnet implementation can listen "
        "on one ip/port only.\n",
        static_cast<void*>(telnet));
    return 1;
  }
  const qelSocketHandle socket =
      qelSocket_New(AF_INET, SOCK_STREAM, IPPROTO_TCP, "qelTelnet_Listen", /*quiet=*/0);
  if (socket == qelSocketInvalid) {
    QEL_LOG(1, "qelTelnet_Listen: [%p] Could not create listen socket\n",
            static_cast<void*>(telnet));
    return 1;
  }
  qelSocket_SetReuseAddr(socket, "qelTelnet_Listen");
  bool resolved = false;
  const unsigned number = ListenAddress(address, &resolved);
  if (!resolved) {
    QEL_LOG(1, "qelTelnet_Listen: [%p] Could not resolve address '%s'\n",
            static_cast<void*>(telnet), address);
    qelSocket_Close(socket, "qelTelnet_Listen (resolve failed)", /*quiet=*/0);
    return 1;
  }
  if (BindTo(socket, number, port) != 0) {
    QEL_LOG(1, "qelTelnet_Listen: [%p] Could not bind listen socket to addr='%s' port=%d\n",
            static_cast<void*>(telnet), address != nullptr ? address : "", port);
    qelSocket_Close(socket, "qelTelnet_Listen (bind failed)", /*quiet=*/0);
    return 1;
  }
  // One console, one client.
  if (qelSocket_Listen(socket, /*backlog=*/1, "qelTelnet_Listen") != 0) {
    QEL_LOG(1, "qelTelnet_Listen: [%p] Could not listen on socket\n", static_cast<void*>(telnet));
    qelSocket_Close(socket, "qelTelnet_Listen (listen failed)", /*quiet=*/0);
    return 1;
  }
  telnet->listenSocket = socket;
  return 0;
}

void qelTelnet_Close(qelTelnet* telnet) {
  CloseSocket(telnet->listenSocket, telnet->closing, telnet->blocked, "qelTelnet_Close");
}

static qelSocketHandle AcceptSocket(qelTelnet* telnet) {
  const BlockingCall call(telnet->blocked, telnet->listenSocket);
  return qelSocket_Accept(call.Socket(), nullptr, nullptr, "qelTelnet_AcceptConnection");
}

qelTelnetConnection* qelTelnet_AcceptConnection(qelTelnet* telnet) {
  const qelSocketHandle socket = AcceptSocket(telnet);
  if (socket == qelSocketInvalid) {
    // Another thread may have closed it on purpose.
    if (telnet->closing == 0)
      QEL_LOG(1,
              "qelTelnet_AcceptConnection: [%p] Listen socket error, can not accept connections\n",
              static_cast<void*>(telnet));
    return nullptr;
  }
  void* const block = malloc(sizeof(qelTelnetConnection));
  if (block == nullptr) {
    QEL_LOG(1, "qelTelnet_AcceptConnection: [%p] Could not allocate memory\n",
            static_cast<void*>(telnet));
    qelSocket_Close(socket, "qelTelnet_AcceptConnection (out of memory)", /*quiet=*/0);
    return nullptr;
  }
  qelTelnetConnection* const connection = new (block) qelTelnetConnection;
  connection->socket = socket;
  connection->closing = 0;
  connection->state = qelTelnetStateData;
  connection->blocked = 0;
  return connection;
}

// Connection -------------------------------------------------------------------

void qelTelnet_ConnectionClose(qelTelnetConnection* connection) {
  CloseSocket(connection->socket, connection->closing, connection->blocked,
              "qelTelnet_ConnectionClose");
}

void qelTelnet_ConnectionDelete(qelTelnetConnection* connection) {
  if (connection == nullptr)
    return;
  if (connection->socket != qelSocketInvalid)
    qelTelnet_ConnectionClose(connection);
  free(connection);
}

int qelTelnet_Send(qelTelnetConnection* connection, const char* buffer, size_t size) {
  if (connection == nullptr)
    return -1;
  const BlockingCall call(connection->blocked, connection->socket);
  if (call.Socket() == qelSocketInvalid)
    return -1;
  return qelSocket_Send(call.Socket(), buffer,
                        static_cast<int>(std::min(size, static_cast<size_t>(INT_MAX))),
                        /*flags=*/0, "qelTelnet_Send (buffer)");
}

int qelTelnet_SendString(qelTelnetConnection* connection, const char* text) {
  return qelTelnet_Send(connection, text, strlen(text));
}

int qelTelnet_VPrintf(qelTelnetConnection* connection, const char* format, va_list arguments) {
  char* text = nullptr;
  if (trio_vasprintf(&text, format, arguments) < 0 || text == nullptr) {
    QEL_LOG(1, "qelTelnet_VPrintf: Could not allocate memory for a string\n");
    QEL_LOG(1, "qelTelnet_VPrintf:   aFormat: '%s'\n", format);
    free(text);
    return -1;
  }
  const int result = qelTelnet_SendString(connection, text);
  free(text);
  return result;
}

int qelTelnet_Printf(qelTelnetConnection* connection, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int result = qelTelnet_VPrintf(connection, format, arguments);
  va_end(arguments);
  return result;
}

int qelTelnet_SendCommand(qelTelnetConnection* connection, unsigned char command) {
  const unsigned char bytes[] = {qelTelnetIAC, command};
  const int sent = qelTelnet_Send(connection, reinterpret_cast<const char*>(bytes), sizeof bytes);
  return sent == sizeof bytes ? 0 : -1;
}

int qelTelnet_SendOption(qelTelnetConnection* connection, unsigned char command,
                         unsigned char option) {
  const unsigned char bytes[] = {qelTelnetIAC, command, option};
  const int sent = qelTelnet_Send(connection, reinterpret_cast<const char*>(bytes), sizeof bytes);
  return sent == sizeof bytes ? 0 : -1;
}

// The byte behind IAC. The commands that are not named are ignored.
static int ProcessBehindIAC(qelTelnetConnection* connection, unsigned char byte) {
  connection->state = qelTelnetStateData;
  switch (byte) {
  case qelTelnetIP:
    qelTelnet_ConnectionClose(connection);
    return 1;
  case qelTelnetAYT:
    qelTelnet_SendString(connection, "qelTelnet: I'm here\r\n");
    return 1;
  case qelTelnetWILL:
    connection->state = qelTelnetStateWILL;
    return 1;
  case qelTelnetWONT:
    connection->state = qelTelnetStateWONT;
    return 1;
  case qelTelnetDO:
    connection->state = qelTelnetStateDO;
    return 1;
  case qelTelnetDONT:
    connection->state = qelTelnetStateDONT;
    return 1;
  case qelTelnetIAC:
    return 0;
  case qelTelnetNOP:
  default:
    return 1;
  }
}

// INTENDED: a refusal is answered by a refusal too. A client that keeps to the protocol takes no notice
// of it. Pinned by qelTelnetProcessCommand.AnswersEachByteInEachStateByTheTable.
int qelTelnet_ProcessCommand(qelTelnetConnection* connection, unsigned char byte) {
  switch (connection->state) {
  case qelTelnetStateData:
    if (byte != qelTelnetIAC)
      return 0;
    connection->state = qelTelnetStateIAC;
    return 1;
  case qelTelnetStateIAC:
    return ProcessBehindIAC(connection, byte);
  case qelTelnetStateWILL:
  case qelTelnetStateWONT:
    qelTelnet_SendOption(connection, qelTelnetDONT, byte);
    connection->state = qelTelnetStateData;
    return 1;
  case qelTelnetStateDO:
  case qelTelnetStateDONT:
    qelTelnet_SendOption(connection, qelTelnetWONT, byte);
    connection->state = qelTelnetStateData;
    return 1;
  }
  QEL_LOG(1, "qelTelnet_ProcessCommand: Invalid telnet state %d\n", connection->state);
  return 1;
}

static int ReceiveByte(qelTelnetConnection* connection, unsigned char* byte) {
  const BlockingCall call(connection->blocked, connection->socket);
  return qelSocket_Recv(call.Socket(), byte, 1, /*flags=*/0, "qelTelnet_RecvChar");
}

int qelTelnet_RecvChar(qelTelnetConnection* connection, unsigned char* out) {
  if (connection == nullptr || connection->socket == qelSocketInvalid)
    return -1;
  for (;;) {
    unsigned char byte = 0;
    const int received = ReceiveByte(connection, &byte);
    if (received == 0)
      return 0;
    if (received < 0)
      return connection->closing != 0 ? 0 : -1;
    if (qelTelnet_ProcessCommand(connection, byte) == 0) {
      *out = byte;
      return received;
    }
  }
}

int64_t qelTelnet_ReadLine(qelTelnetConnection* connection, char* buffer, size_t size) {
  if (size == 0)
    return 0;
  // What a failure stands for; a carriage return, as at the start: nothing that could be repeated.
  unsigned char byte = '\r';
  size_t count = 0;
  while (count < size) {
    const int result = qelTelnet_RecvChar(connection, &byte);
    if (result == 0 || (result < 0 && byte == '\r'))
      return -1;
    if (byte == '\n' || byte == '\0') {
      buffer[count] = '\0';
      break;
    }
    if (byte != '\r')
      buffer[count++] = static_cast<char>(byte);
  }
  return static_cast<int64_t>(count);
}

char* qelTelnet_Gets(qelTelnetConnection* connection, char* buffer, size_t size) {
  return qelTelnet_ReadLine(connection, buffer, size) < 0 ? nullptr : buffer;
}

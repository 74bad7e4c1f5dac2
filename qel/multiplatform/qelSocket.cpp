#define QEL_LOG_MODULE 21
#define QEL_LOG_FILE "..\\..\\multiplatform\\qelSocket"

#include <qel/multiplatform/qelSocket.h>

#include <climits>

#include <qel/core/Log.h>
#include <qel/multiplatform/qelSocketLog.h>
#include <qel/multiplatform/qelSocketRaw.h>

typedef qelSocketKeptError KeptError;

static int Shown(qelSocketHandle socket) {
  return qelSocketRaw_Shown(socket);
}

// The calls themselves -----------------------------------------------------------

int qelSocketRaw_Shutdown(qelSocketHandle socket) {
  return ::shutdown(qelSocketRaw_Native(socket), qelSocketShutdownBoth);
}

int qelSocketRaw_SetOption(qelSocketHandle socket, int level, int option, const void* value,
                           size_t size) {
  return ::setsockopt(qelSocketRaw_Native(socket), level, option, static_cast<const char*>(value),
                      static_cast<qelSocketLength>(size));
}

int qelSocketRaw_SetMembership(qelSocketHandle socket, int option, const char* group,
                               unsigned interfaceAddress) {
  ip_mreq membership = {};
  membership.imr_multiaddr.s_addr = ::inet_addr(group);
  membership.imr_interface.s_addr = interfaceAddress;
  return qelSocketRaw_SetOption(socket, IPPROTO_IP, option, &membership, sizeof(membership));
}

int qelSocketRaw_Bind(qelSocketHandle socket, const sockaddr* address, int size) {
  const int result =
      ::bind(qelSocketRaw_Native(socket), address, static_cast<qelSocketLength>(size));
  if (result >= 0)
    return result;
  const int error = qelSocket_GetLastError();
  return error == qelSocketErrorNotSocket || error == qelSocketErrorClosed ? -2 : result;
}

int qelSocketRaw_Listen(qelSocketHandle socket, int backlog) {
  return ::listen(qelSocketRaw_Native(socket), backlog);
}

int qelSocketRaw_GetPeerName(qelSocketHandle socket, sockaddr_in* address) {
  qelSocketLength size = sizeof(*address);
  return ::getpeername(qelSocketRaw_Native(socket), reinterpret_cast<sockaddr*>(address), &size);
}

int qelSocketRaw_GetSockName(qelSocketHandle socket, sockaddr_in* address) {
  qelSocketLength size = sizeof(*address);
  return ::getsockname(qelSocketRaw_Native(socket), reinterpret_cast<sockaddr*>(address), &size);
}

// Life -------------------------------------------------------------------------

qelSocketHandle qelSocket_Validate(qelSocketHandle socket) {
  int type = 0;
  qelSocketLength size = sizeof(type);
  const int result = ::getsockopt(qelSocketRaw_Native(socket), SOL_SOCKET, SO_TYPE,
                                  reinterpret_cast<char*>(&type), &size);
  if (result == 0)
    return socket;
  const KeptError error;
  // INTENDED: the error shown is the call's own -1, not the last error. Readers of the log know the
  // line by that number. Pinned by QelSocketValidate.RefusesAndClosesWhatIsNoSocket.
  QEL_LOG(1,
          "Winsock returned invalid socket %d, error %d (firewall/antivirus/port listener issue)\n",
          Shown(socket), result);
  qelSocketRaw_Close(socket);
  return qelSocketInvalid;
}

qelSocketHandle qelSocket_Create(int family, int type, int protocol) {
  if (protocol == 0)
    protocol = type == SOCK_STREAM ? IPPROTO_TCP : IPPROTO_UDP;
  for (;;) {
    const qelSocketHandle socket = qelSocketRaw_Open(family, type, protocol);
    if (socket == qelSocketInvalid)
      return qelSocketInvalid;
    if (qelSocket_Validate(socket) != qelSocketInvalid)
      return socket;
  }
}

qelSocketHandle qelSocket_New(int family, int type, int protocol, const char* label, int quiet) {
  const qelSocketHandle socket = qelSocket_Create(family, type, protocol);
  if (socket == qelSocketInvalid) {
    const KeptError error;
    QEL_LOG(1, "Cannot create socket: error = %d [%s]\n", error.code, label);
    return socket;
  }
  if (!quiet && qelSocketLog_IsLive())
    qelSocketLog_TraceCreated(socket, label);
  return socket;
}

int qelSocket_Shutdown(qelSocketHandle socket, const char* label) {
  if (socket == qelSocketInvalid)
    QEL_LOG(1, "About to shutdown an invalid socket [%s]\n", label);
  const int result = qelSocketRaw_Shutdown(socket);
  if (result < 0) {
    const KeptError error;
    QEL_LOG(1, "Cannot shutdown socket %d: error = %d [%s]\n", Shown(socket), error.code, label);
  }
  return result;
}

int qelSocket_Close(qelSocketHandle socket, const char* label, int quiet) {
  if (socket == qelSocketInvalid)
    QEL_LOG(1, "About to close an invalid socket [%s]\n", label);
  else if (qelSocketLog_IsLive())
    qelSocketLog_TraceClosed(socket);
  // The traffic file ends whatever the outcome, but for a quiet success.
  const bool endsFirst = !quiet && qelSocketRaw_ReusesNumbersAtOnce;
  if (endsFirst && qelSocketLog_IsLive())
    qelSocketLog_TraceEnd(socket);
  const int result = qelSocketRaw_Close(socket);
  if (result >= 0) {
    if (!quiet && !endsFirst && qelSocketLog_IsLive())
      qelSocketLog_TraceEnd(socket);
    qelSocket_SetLastError(0);
    return result;
  }
  const KeptError error;
  QEL_LOG(1, "Cannot close socket %d: error = %d [%s]\n", Shown(socket), error.code, label);
  if (!endsFirst && qelSocketLog_IsLive())
    qelSocketLog_TraceEnd(socket);
  return result;
}

// Options ----------------------------------------------------------------------

int qelSocket_SetReuseAddr(qelSocketHandle socket, const char* label) {
  if (socket == qelSocketInvalid)
    QEL_LOG(1, "About to perform setsockopt(SO_REUSEADDR) on an invalid socket [%s]\n", label);
  const int on = 1;
  const int result = qelSocketRaw_SetOption(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
  if (result < 0) {
    const KeptError error;
    QEL_LOG(1, "setsockopt(SO_REUSEADDR) error = %d for socket %d [%s]\n", error.code,
            Shown(socket), label);
  }
  return result;
}

int qelSocket_SetBlocking(qelSocketHandle socket, int blocking, const char* label) {
  if (socket == qelSocketInvalid)
    QEL_LOG(1, "About to perform an ioctl(SETBLOCKING = %d) on an invalid socket [%s]\n", blocking,
            label);
  const int result = qelSocketRaw_SetBlocking(socket, blocking);
  if (result < 0) {
    const KeptError error;
    QEL_LOG(1, "ioctl(SETBLOCKING = %d) error = %d for socket %d [%s]\n", blocking, error.code,
            Shown(socket), label);
  }
  return result;
}

// INTENDED: the option is never set. A close must neither block nor break the connection off, whatever
// a caller asks for. Pinned by QelSocketSetLinger.SetsNothing.
int qelSocket_SetLinger(qelSocketHandle socket, int, const char* label) {
  if (socket == qelSocketInvalid)
    QEL_LOG(1, "About to perform SO_LINGER on an invalid socket [%s]\n", label);
  return 0;
}

int qelSocket_SetTimeout(qelSocketHandle socket, int seconds, int send, int receive,
                         const char* label) {
  int result = 0;
  if (send != 0)
    result = qelSocketRaw_SetTimeout(socket, SO_SNDTIMEO, seconds);
  if (result >= 0 && receive != 0)
    result = qelSocketRaw_SetTimeout(socket, SO_RCVTIMEO, seconds);
  if (result < 0) {
    const KeptError error;
    QEL_LOG(1, "Cannot set timeout for socket %d: error = %d [%s]\n", Shown(socket), error.code,
            label);
  }
  return result;
}

int qelSocket_SetSendBuffer(qelSocketHandle socket, int size, const char* label) {
  const int result = qelSocketRaw_SetOption(socket, SOL_SOCKET, SO_SNDBUF, &size, sizeof(size));
  if (result < 0) {
    const KeptError error;
    QEL_LOG(1, "Cannot set send buffer for socket %d: error = %d [%s]\n", Shown(socket), error.code,
            label);
  }
  return result;
}

int qelSocket_SetRecvBuffer(qelSocketHandle socket, int size, const char* label) {
  const int result = qelSocketRaw_SetOption(socket, SOL_SOCKET, SO_RCVBUF, &size, sizeof(size));
  if (result < 0) {
    const KeptError error;
    QEL_LOG(1, "Cannot set receive buffer for socket %d: error = %d [%s]\n", Shown(socket),
            error.code, label);
  }
  return result;
}

int qelSocket_SetTTL(qelSocketHandle socket, qelULong ttl, const char* label) {
  const unsigned char hops = static_cast<unsigned char>(ttl);
  const int result = qelSocketRaw_SetOption(socket, IPPROTO_IP, IP_TTL, &hops, sizeof(hops));
  if (result < 0) {
    const KeptError error;
    QEL_LOG(1, "Error setting TTL to '%lu' for socket %d, Error = %d [%s]\n",
            static_cast<unsigned long>(ttl), Shown(socket), error.code, label);
  }
  return result;
}

int qelSocket_SetMulticastTTL(qelSocketHandle socket, qelULong ttl, const char* label) {
  const unsigned char hops = static_cast<unsigned char>(ttl);
  const int result =
      qelSocketRaw_SetOption(socket, IPPROTO_IP, IP_MULTICAST_TTL, &hops, sizeof(hops));
  if (result < 0) {
    const KeptError error;
    QEL_LOG(1, "Error setting TTL to '%lu' for UDP socket %d, Error = %d [%s]\n",
            static_cast<unsigned long>(ttl), Shown(socket), error.code, label);
  }
  return result;
}

int qelSocket_SetMulticastLoopback(qelSocketHandle socket, qelULong on, const char* label) {
  const uint32_t value = on != 0 ? 1 : 0;
  const int result =
      qelSocketRaw_SetOption(socket, IPPROTO_IP, IP_MULTICAST_LOOP, &value, sizeof(value));
  if (result < 0) {
    const KeptError error;
    QEL_LOG(1, "Error setting multicast loopback to '%lu' for UDP socket %d, Error = %d [%s]\n",
            static_cast<unsigned long>(on), Shown(socket), error.code, label);
  }
  return result;
}

// The address as a log line of its own.
static void LogAddressLine(unsigned address) {
  if (!QEL_LOG_ENABLED(1))
    return;
  qelLogRecord* record = qelLog_Begin(1, QEL_LOG_MODULE);
  if (record == nullptr)
    return;
  record->line = __LINE__;
  record->file = QEL_LOG_FILE;
  qelSocket_LogAddress(address);
  qelLog_End(record);
}

int qelSocket_SetMulticastInterface(qelSocketHandle socket, unsigned address, const char* label) {
  const int result =
      qelSocketRaw_SetOption(socket, IPPROTO_IP, IP_MULTICAST_IF, &address, sizeof(address));
  if (result < 0) {
    const KeptError error;
    // INTENDED: one failure, three log records. Each part is a site of its own.
    // Pinned by QelSocketSetMulticastInterface.TellsAFailureInThreeRecords.
    QEL_LOG(1, "Error setting multicast for socket %d: IP address = '", Shown(socket));
    LogAddressLine(address);
    QEL_LOG(1, "' error = %d [%s]\n", error.code, label);
  }
  return result;
}

int qelSocket_AddMembership(qelSocketHandle socket, const char* group, unsigned interfaceAddress,
                            const char* label) {
  const int result = qelSocketRaw_SetMembership(socket, IP_ADD_MEMBERSHIP, group, interfaceAddress);
  if (result < 0) {
    const KeptError error;
    QEL_LOG(1, "Error adding IP address %lu to group '%s' for UDP socket %d, Error = %d [%s]\n",
            static_cast<unsigned long>(interfaceAddress), group, Shown(socket), error.code, label);
  }
  return result;
}

int qelSocket_DropMembership(qelSocketHandle socket, const char* group, unsigned interfaceAddress,
                             const char* label) {
  const int result =
      qelSocketRaw_SetMembership(socket, IP_DROP_MEMBERSHIP, group, interfaceAddress);
  if (result < 0) {
    const KeptError error;
    QEL_LOG(1, "Error dropping IP address %lu from group '%s' for UDP socket %d, Error = %d [%s]\n",
            static_cast<unsigned long>(interfaceAddress), group, Shown(socket), error.code, label);
  }
  return result;
}

// Connecting and transfer --------------------------------------------------------

int qelSocket_Bind(qelSocketHandle socket, const sockaddr* address, int size, const char* label) {
  if (socket == qelSocketInvalid)
    QEL_LOG(1, "About to bind an invalid socket [%s]\n", label);
  const int result = qelSocketRaw_Bind(socket, address, size);
  if (result < 0) {
    const KeptError error;
    QEL_LOG(1, "Cannot bind socket %d: error = %d [%s]\n", Shown(socket), error.code, label);
  }
  return result;
}

int qelSocket_Listen(qelSocketHandle socket, int backlog, const char* label) {
  if (socket == qelSocketInvalid)
    QEL_LOG(1, "About to listen on an invalid socket [%s]\n", label);
  const int result = qelSocketRaw_Listen(socket, backlog);
  if (result < 0) {
    const KeptError error;
    QEL_LOG(1, "Error listening on socket %d: backlog = %d, error = %d [%s]\n", Shown(socket),
            backlog, error.code, label);
  } else if (qelSocketLog_IsLive()) {
    qelSocketLog_TraceListening(socket);
  }
  return result;
}

qelSocketHandle qelSocket_Accept(qelSocketHandle socket, sockaddr* address, int* size,
                                 const char* label) {
  if (socket == qelSocketInvalid)
    QEL_LOG(1, "About to accept on an invalid socket [%s]\n", label);
  qelSocketHandle accepted = qelSocketRaw_Accept(socket, address, size);
  if (accepted != qelSocketInvalid)
    accepted = qelSocket_Validate(accepted);
  if (accepted == qelSocketInvalid) {
    const KeptError error;
    QEL_LOG(1, "Cannot accept from socket %d: error = %d [%s]\n", Shown(socket), error.code, label);
  } else if (qelSocketLog_IsLive()) {
    qelSocketLog_TraceAccepted(accepted, label);
  }
  return accepted;
}

int qelSocket_Connect(qelSocketHandle socket, const sockaddr* address, int size,
                      const char* label) {
  const int result = qelSocketRaw_Connect(socket, address, size);
  if (result < 0 && qelSocket_GetLastError() != qelSocketErrorConnecting) {
    const KeptError error;
    QEL_LOG(1, "   Cannot connect socket %d: error = %d [%s]\n", Shown(socket), error.code, label);
  } else if (qelSocketLog_IsLive()) {
    qelSocketLog_TraceConnected(socket);
  }
  return result;
}

int qelSocket_Send(qelSocketHandle socket, const void* buffer, int size, int flags, const char*) {
  const int count = qelSocketRaw_Send(socket, buffer, size, flags);
  if (count != -1 && qelSocketLog_IsLive())
    qelSocketLog_TraceSent(socket, buffer, count, size);
  return count;
}

int qelSocket_Recv(qelSocketHandle socket, void* buffer, int size, int flags, const char*) {
  const int count = qelSocketRaw_Recv(socket, buffer, size, flags);
  if (count != -1 && qelSocketLog_IsLive())
    qelSocketLog_TraceReceived(socket, buffer, count, size);
  return count;
}

int qelSocket_SendTo(qelSocketHandle socket, const void* buffer, int size, int flags,
                     const sockaddr* address, int addressSize, const char*) {
  return qelSocketRaw_SendTo(socket, buffer, size, flags, address, addressSize);
}

int qelSocket_RecvFrom(qelSocketHandle socket, void* buffer, int size, int flags, sockaddr* address,
                       int* addressSize, const char*) {
  return qelSocketRaw_RecvFrom(socket, buffer, size, flags, address, addressSize);
}

static void Empty(fd_set* set) {
  if (set != nullptr)
    FD_ZERO(set);
}

// Reduces the sets after a failed select, so that the caller's next operation fails on the bad socket
// and the caller drops it.
static void KeepBadSocket(fd_set* read, fd_set* write, fd_set* except, const timeval* timeout) {
  // INTENDED: the hunt is made only with a timeout whose both fields are above 0; one of whole seconds
  // does without. Callers that poll or wait for ever look after their sockets themselves.
  // Pinned by QelSocketSelect.HuntsOnlyWithSecondsAndMicroseconds.
  const bool hunts = timeout != nullptr && timeout->tv_sec != 0 && timeout->tv_usec != 0;
  if (!hunts) {
    Empty(read);
    Empty(write);
  } else if (qelSocket_FindBadSocket(read, 0)) {
    Empty(write);
  } else if (qelSocket_FindBadSocket(write, 1)) {
    Empty(read);
  } else {
    Empty(read);
    if (!qelSocket_FindBadSocket(except, 2))
      Empty(write);
  }
  Empty(except);
}

int qelSocket_Select(fd_set* read, fd_set* write, fd_set* except, int nfds, timeval* timeout) {
  // One more than the highest handle there can be is no number.
  const int limit = nfds < INT_MAX ? nfds + 1 : nfds;
  const int result = qelSocketRaw_Select(limit, read, write, except, timeout);
  if (result == -1) {
    const KeptError error;
    KeepBadSocket(read, write, except, timeout);
  }
  return result;
}

// Asks select about this socket alone.
static bool IsBadSocket(qelSocketHandle socket, int kind) {
  fd_set alone;
  FD_ZERO(&alone);
  FD_SET(qelSocketRaw_Native(socket), &alone);
  const timeval moment = {0, 10};
  return qelSocketRaw_Select(static_cast<int>(socket) + 1, kind == 0 ? &alone : nullptr,
                             kind == 1 ? &alone : nullptr, kind == 2 ? &alone : nullptr,
                             &moment) == -1;
}

int qelSocket_FindBadSocket(fd_set* set, int kind) {
  if (set == nullptr)
    return 0;
  qelSocketHandle members[FD_SETSIZE];
  const int count = qelSocketRaw_ListSet(set, members);
  for (int i = 0; i < count; ++i) {
    // Nothing depends on the two names: they show a debugger which connection it is.
    sockaddr_in name = {};
    qelSocketRaw_GetSockName(members[i], &name);
    qelSocketRaw_GetPeerName(members[i], &name);
    if (!IsBadSocket(members[i], kind))
      continue;
    FD_ZERO(set);
    FD_SET(qelSocketRaw_Native(members[i]), set);
    return 1;
  }
  return 0;
}

int qelSocket_WouldBlock() {
  const int error = qelSocket_GetLastError();
  return error == qelSocketErrorWouldBlock || error == qelSocketErrorConnecting ? 1 : 0;
}

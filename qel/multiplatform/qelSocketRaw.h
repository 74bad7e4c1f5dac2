#ifndef QEL_MULTIPLATFORM_QELSOCKETRAW_H
#define QEL_MULTIPLATFORM_QELSOCKETRAW_H
//===----------------------------------------------------------------------===//
// The calls themselves, without label and log: what the checked functions of
// qelSocket.h stand on. Private to the socket modules.
//
// ERRORS: the system's result; the reason is the last error.
// THREADS: any; no state.
//===----------------------------------------------------------------------===//

#include <cstddef>

#include <qel/multiplatform/qelSocket.h>
#include <qel/multiplatform/qelSocketSystem.h>

// A network adapter, loopback left out.
struct qelSocketAdapter {
  unsigned address;     // its first IPv4 address, in network order; 0: none
  unsigned mask;        // the mask of that address, in network order
  bool isEthernet;      // whether it has a hardware address of six bytes
  unsigned char mac[6]; // the hardware address; 0 without one
};

// Keeps the last error over a log line or a hook.
class qelSocketKeptError {
public:
  qelSocketKeptError() : code(qelSocket_GetLastError()) {}
  ~qelSocketKeptError() { qelSocket_SetLastError(code); }
  qelSocketKeptError(const qelSocketKeptError&) = delete;
  qelSocketKeptError& operator=(const qelSocketKeptError&) = delete;

  const int code;
};

inline qelSocketNative qelSocketRaw_Native(qelSocketHandle socket) {
  return static_cast<qelSocketNative>(socket);
}

// The number as the log shows it.
inline int qelSocketRaw_Shown(qelSocketHandle socket) {
  return static_cast<int>(socket);
}

// The same on all systems: qelSocket.cpp -------------------------------------------

int qelSocketRaw_Shutdown(qelSocketHandle socket);
int qelSocketRaw_SetOption(qelSocketHandle socket, int level, int option, const void* value,
                           size_t size);
int qelSocketRaw_SetMembership(qelSocketHandle socket, int option, const char* group,
                               unsigned interfaceAddress);

// -2: the handle is no socket.
int qelSocketRaw_Bind(qelSocketHandle socket, const sockaddr* address, int size);

int qelSocketRaw_Listen(qelSocketHandle socket, int backlog);
int qelSocketRaw_GetPeerName(qelSocketHandle socket, sockaddr_in* address);
int qelSocketRaw_GetSockName(qelSocketHandle socket, sockaddr_in* address);

// Each system's own: qelSocket.<system>.cpp ----------------------------------------

// Whether another thread may get a number again before the call that closes it returns, so that what
// is kept under the number has to be forgotten first.
extern const bool qelSocketRaw_ReusesNumbersAtOnce;

qelSocketHandle qelSocketRaw_Open(int family, int type, int protocol);
int qelSocketRaw_Close(qelSocketHandle socket);
int qelSocketRaw_SetBlocking(qelSocketHandle socket, int blocking);

// `option` is SO_SNDTIMEO or SO_RCVTIMEO.
int qelSocketRaw_SetTimeout(qelSocketHandle socket, int option, int seconds);

qelSocketHandle qelSocketRaw_Accept(qelSocketHandle socket, sockaddr* address, int* size);
int qelSocketRaw_Connect(qelSocketHandle socket, const sockaddr* address, int size);
int qelSocketRaw_Send(qelSocketHandle socket, const void* buffer, int size, int flags);
int qelSocketRaw_Recv(qelSocketHandle socket, void* buffer, int size, int flags);
int qelSocketRaw_SendTo(qelSocketHandle socket, const void* buffer, int size, int flags,
                        const sockaddr* address, int addressSize);
int qelSocketRaw_RecvFrom(qelSocketHandle socket, void* buffer, int size, int flags,
                          sockaddr* address, int* addressSize);

// `nfds` is one more than the highest handle. The timeout is not changed.
int qelSocketRaw_Select(int nfds, fd_set* read, fd_set* write, fd_set* except,
                        const timeval* timeout);

// Whether select can take the handle.
bool qelSocketRaw_FitsSet(qelSocketHandle socket);

// The members of a set in list[0..FD_SETSIZE-1], which may be null, and their count.
// Windows: in the order in which they came. POSIX: ascending.
int qelSocketRaw_ListSet(const fd_set* set, qelSocketHandle* list);

// The addresses of this machine, loopback ones left out, in network order in a new list. Returns the
// count, or -1 without a list.
int qelSocketRaw_ListAddresses(unsigned** list);

// The adapters in a new list. Returns the count, or -1 without a list.
int qelSocketRaw_ListAdapters(qelSocketAdapter** list);

#endif

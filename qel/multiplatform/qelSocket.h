#ifndef QEL_MULTIPLATFORM_QELSOCKET_H
#define QEL_MULTIPLATFORM_QELSOCKET_H
//===----------------------------------------------------------------------===//
// IPv4 sockets: the Berkeley calls with a log line for each failure, a guard
// against handles that are no sockets, the search for a free port, address
// lists, and a copy of the traffic for diagnosis (qelSocketLog.h).
//
// HANDLES: the system's own number, -1 for none. An operation on -1 says so in
// the log and then makes the call all the same, so the system's failure follows.
// POSIX: no handle is ever 0, none is passed on to another program, and a lost
// peer raises no signal. A call that a signal interrupts is made again.
//
// ADDRESSES: a sockaddr holds address and port in network order. A function that
// takes or gives an address as a number says which order it uses.
//
// LABELS: the `label` of an operation names its caller in the log. It is kept by
// the table of open sockets, so it is a literal.
//
// ERRORS: results are the system's (0 or a count, -1 for a failure) unless told
// otherwise. A failure writes a level-1 line of module 21, and the system's last
// error is that of the failed call afterwards.
// OWNERSHIP: a socket belongs to whoever made it, until qelSocket_Close. Lists
// are released with free.
// THREADS: any; no locks. qelSocket_Shutdown wakes a thread that is blocked on the
// socket. Windows: so does qelSocket_Close. POSIX: qelSocket_Close alone does not.
//===----------------------------------------------------------------------===//

#include <qel/core/Types.h>
#include <qel/multiplatform/qelSocketTypes.h>

// Life -------------------------------------------------------------------------

// Starts the system's sockets; a program calls it once before its first socket. Returns 0, or the
// system's error.
// POSIX: there is nothing to start; 0.
int qelSocket_Startup();

// The system's last error of this thread, and the way to set it.
int qelSocket_GetLastError();
void qelSocket_SetLastError(int error);

// The guard against firewalls that hand out a handle which is no socket: returns the socket, or closes
// it and returns -1.
qelSocketHandle qelSocket_Validate(qelSocketHandle socket);

// A new socket without any log of it; -1 if the system gives none. Protocol 0 becomes TCP for type 1
// (stream) and UDP for all others. A handle that fails qelSocket_Validate is replaced by another one,
// without a limit.
qelSocketHandle qelSocket_Create(int family, int type, int protocol);

// The same with its log: a failure's text, and, unless `quiet`, its place in the traffic log.
qelSocketHandle qelSocket_New(int family, int type, int protocol, const char* label, int quiet);

// Ends both directions.
int qelSocket_Shutdown(qelSocketHandle socket, const char* label);

// Closes the socket. The last error is 0 after a success. `quiet` leaves the traffic file without its
// closing mark, as suits a socket that was made quietly.
int qelSocket_Close(qelSocketHandle socket, const char* label, int quiet);

// Options ----------------------------------------------------------------------

// Lets the address be bound again.
// Windows: even while another socket listens on it.
// POSIX: not while another socket listens on it.
int qelSocket_SetReuseAddr(qelSocketHandle socket, const char* label);

// Whether calls on the socket wait. Sockets that qelSocket_Accept gives take over what holds for the
// listening one.
int qelSocket_SetBlocking(qelSocketHandle socket, int blocking, const char* label);

// Sets nothing at all and returns 0; only an invalid socket is told in the log.
int qelSocket_SetLinger(qelSocketHandle socket, int linger, const char* label);

// Limits how long a transfer waits, in seconds: sending if `send` is not 0, then receiving if `receive`
// is not 0. A failure of the first leaves the second as it is.
// Windows: a transfer whose time is over fails with WSAETIMEDOUT.
// POSIX: it fails with qelSocket_WouldBlock. A signal starts its time anew.
int qelSocket_SetTimeout(qelSocketHandle socket, int seconds, int send, int receive,
                         const char* label);

// Sizes of the system's buffers, in bytes.
int qelSocket_SetSendBuffer(qelSocketHandle socket, int size, const char* label);
int qelSocket_SetRecvBuffer(qelSocketHandle socket, int size, const char* label);

// How many hops a packet, a multicast packet lives; the low byte counts.
int qelSocket_SetTTL(qelSocketHandle socket, qelULong ttl, const char* label);
int qelSocket_SetMulticastTTL(qelSocketHandle socket, qelULong ttl, const char* label);

// Whether this machine hears what it sends to a group.
int qelSocket_SetMulticastLoopback(qelSocketHandle socket, qelULong on, const char* label);

// The interface that multicast leaves by: its address in network order.
int qelSocket_SetMulticastInterface(qelSocketHandle socket, unsigned address, const char* label);

// Joins, leaves a group, given as dotted text, on the interface with this address in network order.
int qelSocket_AddMembership(qelSocketHandle socket, const char* group, unsigned interfaceAddress,
                            const char* label);
int qelSocket_DropMembership(qelSocketHandle socket, const char* group, unsigned interfaceAddress,
                             const char* label);

// Connecting and transfer --------------------------------------------------------

// Binds to a local address. Returns 0, -2 if the handle is no socket, another negative number for any
// other failure.
int qelSocket_Bind(qelSocketHandle socket, const sockaddr* address, int size, const char* label);

int qelSocket_Listen(qelSocketHandle socket, int backlog, const char* label);

// Waits for a connection and returns its socket, or -1. The peer's address goes to *address, of *size
// bytes; both may be null.
qelSocketHandle qelSocket_Accept(qelSocketHandle socket, sockaddr* address, int* size,
                                 const char* label);

// A non-blocking socket whose connection is under way gives -1 with qelSocket_WouldBlock; nothing is
// logged then.
int qelSocket_Connect(qelSocketHandle socket, const sockaddr* address, int size, const char* label);

// Moves up to `size` bytes of buffer[0..size-1]. Return the count or -1; no failure is logged. Received
// 0 means that the peer has ended its direction.
int qelSocket_Send(qelSocketHandle socket, const void* buffer, int size, int flags,
                   const char* label);
int qelSocket_Recv(qelSocketHandle socket, void* buffer, int size, int flags, const char* label);

// The same for datagrams and their addresses, without any log. *addressSize is the room at `address`,
// then the size of the sender's address; both may be null.
int qelSocket_SendTo(qelSocketHandle socket, const void* buffer, int size, int flags,
                     const sockaddr* address, int addressSize, const char* label);
int qelSocket_RecvFrom(qelSocketHandle socket, void* buffer, int size, int flags, sockaddr* address,
                       int* addressSize, const char* label);

// Waits until a socket of the sets is ready; `nfds` is the highest of their handles, not one more. The
// timeout is not changed. On failure the sets are reduced so that the caller's next operation meets the
// cause: with a timeout whose fields are both above 0, the first bad socket is looked for in the read,
// the write and the except set, and the set of the first two in which it is found holds it alone; all
// else is emptied, the except set always.
// POSIX: handles at or above FD_SETSIZE are refused.
int qelSocket_Select(fd_set* read, fd_set* write, fd_set* except, int nfds, timeval* timeout);

// Looks for a socket of the set (`kind` 0: a read set, 1: write, 2: except) that select refuses. 1 if
// there is one, and the set then holds it alone; otherwise 0, and the set is unchanged. Null is an
// empty set.
int qelSocket_FindBadSocket(fd_set* set, int kind);

// 1 if the last error is that of an operation which would have had to wait, otherwise 0.
int qelSocket_WouldBlock();

// Ports --------------------------------------------------------------------------

// A TCP socket bound to hostAddress, which is in host order; 0 is every interface. Returns the socket
// or -1.
//   *port not 0              that port and no other, on hostAddress; *port stays
//   hostAddress not 0        a port of the system's choice, which is not told: *port becomes 0
//   otherwise, with `port`   a free port at random in 50000 to 65000, stored in *port; 0 on failure
//   otherwise                a port of the system's choice
qelSocketHandle qelSocket_GetTCPSocket(unsigned hostAddress, unsigned short* port);

// A UDP socket bound to hostAddress, in host order. With `port` a free port at random in 50000 to
// 65000, stored in *port; otherwise one of the system's choice. Returns the socket, or -1, with 0 in
// *port.
qelSocketHandle qelSocket_GetUDPSocket(unsigned hostAddress, unsigned short* port);

// Addresses ------------------------------------------------------------------------

// The address and port of the peer, of the socket itself, in host order. Return 0 or -1; *ip and *port
// are left alone then.
int qelSocket_GetPeerName(qelSocketHandle socket, unsigned* ip, unsigned short* port,
                          const char* label);
int qelSocket_GetSockName(qelSocketHandle socket, unsigned* ip, unsigned short* port,
                          const char* label);

// The address, in network order, of a numeric text; 0 if it is none.
unsigned qelSocket_InetAddr(const char* text);

// The address, in network order, of a numeric text or a name; 0 if there is none. A text that stands
// for 0 is looked up as a name.
unsigned qelSocket_ResolveName(const char* name);

// The first IPv4 address of a name, in network order. Returns 0, or the resolver's error, with
// *address left alone.
int qelSocket_GetAddressByName(const char* name, unsigned* address, const char* label);

// The machine's name in buffer[0..size-1], terminated. REQUIRES: size is above 0.
int qelSocket_GetHostName(char* buffer, int size, const char* label);

// The machine's addresses in network order, in a new list; returns their count, at least 1. Without
// any interface the list is 127.0.0.1; otherwise 127.0.0.1 is appended if withLoopback is not 0.
// `context` isn't used.
// POSIX: the addresses of the interfaces that are up, loopback interfaces left out.
int qelSocketGetIPAddressList(void* context, unsigned** list, int withLoopback);

// The same, with the network mask of each address (255.255.255.0 unless it is the first address of an
// adapter) and the network, address AND mask, in two more new lists.
int qelSocket_GetIPAddressListEx(void* context, unsigned** list, unsigned** masks,
                                 unsigned** networks, int withLoopback);

// A new list of 127.0.0.1 alone; returns 1.
int qelSocket_GetLoopbackList(void* context, unsigned** list);

// 127.0.0.1 for an address of this machine, any other as it is; in network order.
unsigned qelSocket_MapLocalAddress(void* context, unsigned address);

// 1 if the address, in network order, is one of this machine, otherwise 0.
int qelSocket_IsLocalAddress(unsigned address);

// 1 if the number in the first three characters lies in 224 to 239, otherwise 0.
int qelSocket_IsMulticastAddress(const char* text);

// 1 if the text is of digits and exactly three dots, otherwise 0.
int qelSocket_IsDottedAddress(const char* text);

// The hardware address of a neighbour, whose address is *ip in network order, in mac[0..7]: first all
// eight bytes become 0xFF. *size is the room that may be used, then the bytes stored. Returns 0 or an
// error.
// Windows: asks the network when it must.
// POSIX: looks into the system's table of neighbours and asks nobody.
int qelSocket_GetMACFromIP(unsigned* ip, unsigned char* mac, unsigned* size);

// The hardware address of the first Ethernet adapter at or after position `index` in the list of all
// adapters, in mac[0..5]: first all six bytes become 0. Returns that position + 1, which is the index
// to go on with, or -1 if there is none.
// POSIX: loopback interfaces are no adapters.
int qelSocket_GetMACAddress(int index, unsigned char* mac);

// Appends the address, in network order, to the log line that this thread has open, as "127.0.0.1".
void qelSocket_LogAddress(unsigned address);

#endif

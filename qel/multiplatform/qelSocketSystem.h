#ifndef QEL_MULTIPLATFORM_QELSOCKETSYSTEM_H
#define QEL_MULTIPLATFORM_QELSOCKETSYSTEM_H
//===----------------------------------------------------------------------===//
// The system's socket headers, and one name for each thing that Winsock and BSD
// sockets call differently. Only sources that fill in socket addresses or speak
// of error numbers need it; qelSocket.h does without.
//
// Windows: brings in <windows.h> with its macros.
//===----------------------------------------------------------------------===//

#if defined(_WIN32)

#include <winsock2.h>
#include <ws2tcpip.h>

typedef SOCKET qelSocketNative;  // what the system's calls take
typedef int qelSocketLength;     // the size of an address or an option
typedef int qelSocketNameLength; // the size of a host name's buffer

constexpr int qelSocketShutdownBoth = SD_BOTH; // shutdown: both directions
constexpr int qelSocketNoSignal = 0;           // send: a lost peer raises no signal

// Error numbers.
constexpr int qelSocketErrorWouldBlock = WSAEWOULDBLOCK;  // a transfer would block
constexpr int qelSocketErrorConnecting = WSAEWOULDBLOCK;  // a connection is under way
constexpr int qelSocketErrorNotSocket = WSAENOTSOCK;      // a handle that is no socket
constexpr int qelSocketErrorClosed = WSAENOTSOCK;         // a handle that is closed or never was
constexpr int qelSocketErrorInUse = WSAEADDRINUSE;        // the port is taken
constexpr int qelSocketErrorAccess = WSAEACCES;           // the port is not for this user
constexpr int qelSocketErrorRefused = WSAECONNREFUSED;    // nobody listens
constexpr int qelSocketErrorReset = WSAECONNRESET;        // the peer broke off
constexpr int qelSocketErrorNotConnected = WSAENOTCONN;   // there is no peer
constexpr int qelSocketErrorBadArgument = WSAEINVAL;      // an argument or a state that can't be
constexpr int qelSocketErrorNoAddress = WSAEADDRNOTAVAIL; // an address that is not the machine's

#else

#include <arpa/inet.h>
#include <cerrno>
#include <cstddef>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

typedef int qelSocketNative;
typedef socklen_t qelSocketLength;
typedef size_t qelSocketNameLength;

constexpr int qelSocketShutdownBoth = SHUT_RDWR;
constexpr int qelSocketNoSignal = MSG_NOSIGNAL;

constexpr int qelSocketErrorWouldBlock = EAGAIN;
constexpr int qelSocketErrorConnecting = EINPROGRESS;
constexpr int qelSocketErrorNotSocket = ENOTSOCK;
constexpr int qelSocketErrorClosed = EBADF;
constexpr int qelSocketErrorInUse = EADDRINUSE;
constexpr int qelSocketErrorAccess = EACCES;
constexpr int qelSocketErrorRefused = ECONNREFUSED;
constexpr int qelSocketErrorReset = ECONNRESET;
constexpr int qelSocketErrorNotConnected = ENOTCONN;
constexpr int qelSocketErrorBadArgument = EINVAL;
constexpr int qelSocketErrorNoAddress = EADDRNOTAVAIL;

static_assert(EAGAIN == EWOULDBLOCK, "one number tells that a transfer would block");

#endif

#endif

#ifndef QEL_MULTIPLATFORM_QELSOCKETTYPES_H
#define QEL_MULTIPLATFORM_QELSOCKETTYPES_H
//===----------------------------------------------------------------------===//
// What a signature needs to speak of sockets, without the system's socket
// headers: on Windows they bring macros that would rename a client's own calls.
//===----------------------------------------------------------------------===//

#include <cstdint>

#if defined(_WIN32)
struct fd_set;  // the set of sockets that select takes, and
struct timeval; // the time it waits: <winsock2.h> has both whole
#else
#include <sys/select.h>
#endif

struct sockaddr;

typedef int64_t qelSocketHandle; // the system's number of a socket

constexpr qelSocketHandle qelSocketInvalid = -1;

#endif

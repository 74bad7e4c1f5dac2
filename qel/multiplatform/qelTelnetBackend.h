#ifndef QEL_MULTIPLATFORM_QELTELNETBACKEND_H
#define QEL_MULTIPLATFORM_QELTELNETBACKEND_H
//===----------------------------------------------------------------------===//
// What the telnet server needs of each system beside its sockets.
//===----------------------------------------------------------------------===//

#include <atomic>

#include <qel/multiplatform/qelSocketTypes.h>

// To be called ahead of closing a socket that other threads may be blocked on; `blocked` counts those
// inside a call, and no further one enters. Ends their calls and returns when the last one has left.
// Windows: or after a second, since the closing ends what is left.
void qelTelnet_EndBlockedCalls(qelSocketHandle socket, const std::atomic<int>* blocked);

#endif

#ifndef QEL_MULTIPLATFORM_QELTELNETBACKEND_H
#define QEL_MULTIPLATFORM_QELTELNETBACKEND_H
//===----------------------------------------------------------------------===//
// What the telnet server needs of each system beside its sockets.
//===----------------------------------------------------------------------===//

#include <qel/multiplatform/qelSocketTypes.h>

// Ends the calls in which other threads are blocked on the socket at this moment.
// Windows: a call that begins later may block all the same.
// POSIX: one that begins later ends at once.
void qelTelnet_EndBlockedCalls(qelSocketHandle socket);

#endif

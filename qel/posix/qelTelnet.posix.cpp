#include <qel/multiplatform/qelTelnetBackend.h>

#include <sys/socket.h>

// A plain close wakes nobody.
void qelTelnet_EndBlockedCalls(qelSocketHandle socket) {
  ::shutdown(static_cast<int>(socket), SHUT_RDWR);
}

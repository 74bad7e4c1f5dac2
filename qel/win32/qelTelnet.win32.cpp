#include <qel/multiplatform/qelTelnetBackend.h>

#include <winsock2.h>

#include <windows.h>

// A listening socket takes no notice of the shutdown, which is why the call is cancelled too.
void qelTelnet_EndBlockedCalls(qelSocketHandle socket) {
  ::shutdown(static_cast<SOCKET>(socket), SD_BOTH);
  ::CancelIoEx(reinterpret_cast<HANDLE>(socket), nullptr);
}

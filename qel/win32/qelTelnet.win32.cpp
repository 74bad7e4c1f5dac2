#include <qel/multiplatform/qelTelnetBackend.h>

#include <winsock2.h>

#include <windows.h>

// Closing a socket ends the calls that are blocked on it, but its number can go to another socket at
// once, on which a call that is only just beginning would then work. So the number stays taken until
// all calls are out. A call may begin behind a cancellation, which is why that is repeated; if a
// network layer takes no notice of it, the closing has to do.
void qelTelnet_EndBlockedCalls(qelSocketHandle socket, const std::atomic<int>* blocked) {
  const int kMaxTries = 1000; // then a second has gone
  for (int i = 0; *blocked != 0 && i < kMaxTries; i++) {
    ::shutdown(static_cast<SOCKET>(socket), SD_BOTH);
    ::CancelIoEx(reinterpret_cast<HANDLE>(socket), nullptr);
    ::Sleep(i < 16 ? 0 : 1);
  }
}

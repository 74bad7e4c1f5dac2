#include <qel/multiplatform/qelTelnetBackend.h>

#include <sys/socket.h>

#include <thread>

// A plain close wakes nobody, and its number can go to another socket at once, on which a call that is
// only just beginning would then work. So the number stays taken until all calls are out; they are
// quick, since each finds the socket shut down.
void qelTelnet_EndBlockedCalls(qelSocketHandle socket, const std::atomic<int>* blocked) {
  if (*blocked == 0)
    return;
  ::shutdown(static_cast<int>(socket), SHUT_RDWR);
  while (*blocked != 0)
    std::this_thread::yield();
}

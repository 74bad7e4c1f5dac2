#define QEL_LOG_MODULE 21
#define QEL_LOG_FILE "..\\..\\posix\\qelSocket.posix"

#include <qel/multiplatform/qelSocket.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <qel/core/qelMem.h>
#include <qel/multiplatform/qelSocketRaw.h>
#include <qel/posix/qelFilePrivate.posix.h>
#include <qel/posix/qelNeighbourTable.h>

#include <fcntl.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netpacket/packet.h>
#include <poll.h>
#include <time.h>
#include <unistd.h>

// Start and errors -----------------------------------------------------------------

// There is nothing to start.
int qelSocket_Startup() {
  return 0;
}

int qelSocket_GetLastError() {
  return errno;
}

void qelSocket_SetLastError(int error) {
  errno = error;
}

// Handles ------------------------------------------------------------------------

// A closed number is the next that any thread gets.
const bool qelSocketRaw_ReusesNumbersAtOnce = true;

// Moves a descriptor away from 0, which the tables of the socket log take for a free place.
static int KeepOffZero(int descriptor) {
  if (descriptor != 0)
    return descriptor;
  const int moved = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 1);
  const qelSocketKeptError error;
  ::close(descriptor);
  return moved;
}

qelSocketHandle qelSocketRaw_Open(int family, int type, int protocol) {
  return KeepOffZero(::socket(family, type | SOCK_CLOEXEC, protocol));
}

int qelSocketRaw_Close(qelSocketHandle socket) {
  return ::close(qelSocketRaw_Native(socket));
}

// Options ------------------------------------------------------------------------

int qelSocketRaw_SetBlocking(qelSocketHandle socket, int blocking) {
  const int flags = ::fcntl(qelSocketRaw_Native(socket), F_GETFL);
  if (flags == -1)
    return -1;
  const int wanted = blocking ? flags & ~O_NONBLOCK : flags | O_NONBLOCK;
  return ::fcntl(qelSocketRaw_Native(socket), F_SETFL, wanted);
}

// The system takes a timeval.
int qelSocketRaw_SetTimeout(qelSocketHandle socket, int option, int seconds) {
  const timeval limit = {seconds, 0};
  return qelSocketRaw_SetOption(socket, SOL_SOCKET, option, &limit, sizeof(limit));
}

// Connecting and transfer ----------------------------------------------------------

// An accepted socket would block whatever the listening one does.
qelSocketHandle qelSocketRaw_Accept(qelSocketHandle socket, sockaddr* address, int* size) {
  const int native = qelSocketRaw_Native(socket);
  const int flags = ::fcntl(native, F_GETFL);
  const int mode = SOCK_CLOEXEC | (flags != -1 && (flags & O_NONBLOCK) != 0 ? SOCK_NONBLOCK : 0);
  socklen_t room = size != nullptr ? static_cast<socklen_t>(*size) : 0;
  const int accepted = qelPosix_Retry(
      [&] { return ::accept4(native, address, size != nullptr ? &room : nullptr, mode); });
  if (accepted != -1 && size != nullptr)
    *size = static_cast<int>(room);
  return KeepOffZero(accepted);
}

// An interrupted connect goes on by itself and may not be called again: wait for its outcome.
static int AwaitConnection(int native) {
  pollfd wanted = {native, POLLOUT, 0};
  if (qelPosix_Retry([&] { return ::poll(&wanted, 1, -1); }) == -1)
    return -1;
  int error = 0;
  socklen_t size = sizeof(error);
  if (::getsockopt(native, SOL_SOCKET, SO_ERROR, &error, &size) == -1)
    return -1;
  if (error == 0)
    return 0;
  errno = error;
  return -1;
}

int qelSocketRaw_Connect(qelSocketHandle socket, const sockaddr* address, int size) {
  const int native = qelSocketRaw_Native(socket);
  const int result = ::connect(native, address, static_cast<socklen_t>(size));
  return result == -1 && errno == EINTR ? AwaitConnection(native) : result;
}

int qelSocketRaw_Send(qelSocketHandle socket, const void* buffer, int size, int flags) {
  return static_cast<int>(qelPosix_Retry([=] {
    return ::send(qelSocketRaw_Native(socket), buffer, static_cast<size_t>(size),
                  flags | qelSocketNoSignal);
  }));
}

int qelSocketRaw_Recv(qelSocketHandle socket, void* buffer, int size, int flags) {
  return static_cast<int>(qelPosix_Retry([=] {
    return ::recv(qelSocketRaw_Native(socket), buffer, static_cast<size_t>(size), flags);
  }));
}

int qelSocketRaw_SendTo(qelSocketHandle socket, const void* buffer, int size, int flags,
                        const sockaddr* address, int addressSize) {
  return static_cast<int>(qelPosix_Retry([=] {
    return ::sendto(qelSocketRaw_Native(socket), buffer, static_cast<size_t>(size),
                    flags | qelSocketNoSignal, address, static_cast<socklen_t>(addressSize));
  }));
}

int qelSocketRaw_RecvFrom(qelSocketHandle socket, void* buffer, int size, int flags,
                          sockaddr* address, int* addressSize) {
  socklen_t room = addressSize != nullptr ? static_cast<socklen_t>(*addressSize) : 0;
  const ssize_t count = qelPosix_Retry([&] {
    return ::recvfrom(qelSocketRaw_Native(socket), buffer, static_cast<size_t>(size), flags,
                      address, addressSize != nullptr ? &room : nullptr);
  });
  if (count != -1 && addressSize != nullptr)
    *addressSize = static_cast<int>(room);
  return static_cast<int>(count);
}

// Sets ---------------------------------------------------------------------------

static int64_t NowInMicroseconds() {
  timespec now = {};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<int64_t>(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
}

// Callers stand for ever by the largest number that a field takes; some ten thousand years do as well.
static int64_t InMicroseconds(const timeval& time) {
  const int64_t kEver = 1000000000000000000;
  const int64_t seconds = std::min<int64_t>(time.tv_sec, kEver / 1000000);
  return seconds * 1000000 + std::min<int64_t>(time.tv_usec, kEver);
}

// The system reads and writes as many bits as nfds says, so nfds must not go beyond the sets. It
// changes the timeout that it is given, and what it leaves there after a signal is not told.
int qelSocketRaw_Select(int nfds, fd_set* read, fd_set* write, fd_set* except,
                        const timeval* timeout) {
  if (nfds < 0 || nfds > FD_SETSIZE) {
    errno = EINVAL;
    return -1;
  }
  if (timeout == nullptr)
    return qelPosix_Retry([=] { return ::select(nfds, read, write, except, nullptr); });
  timeval rest = *timeout;
  const int64_t start = NowInMicroseconds();
  for (;;) {
    const int result = ::select(nfds, read, write, except, &rest);
    if (result != -1 || errno != EINTR)
      return result;
    const int64_t left = InMicroseconds(*timeout) - (NowInMicroseconds() - start);
    rest.tv_sec = left > 0 ? left / 1000000 : 0;
    rest.tv_usec = left > 0 ? left % 1000000 : 0;
  }
}

bool qelSocketRaw_FitsSet(qelSocketHandle socket) {
  return socket >= 0 && socket < FD_SETSIZE;
}

int qelSocketRaw_ListSet(const fd_set* set, qelSocketHandle* list) {
  int count = 0;
  for (int descriptor = 0; descriptor < FD_SETSIZE; ++descriptor) {
    if (!FD_ISSET(descriptor, set))
      continue;
    if (list != nullptr)
      list[count] = descriptor;
    ++count;
  }
  return count;
}

// Interfaces and neighbours --------------------------------------------------------

static bool IsUsable(const ifaddrs* entry, int family) {
  return entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == family &&
         (entry->ifa_flags & IFF_LOOPBACK) == 0;
}

static unsigned AddressOf(const sockaddr* address) {
  return address != nullptr ? reinterpret_cast<const sockaddr_in*>(address)->sin_addr.s_addr : 0;
}

int qelSocketRaw_ListAddresses(unsigned** list) {
  ifaddrs* first = nullptr;
  if (::getifaddrs(&first) == -1)
    return -1;
  int count = 0;
  for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next)
    ++count;
  *list = static_cast<unsigned*>(qelMem_Alloc(static_cast<size_t>(count) * sizeof(unsigned)));
  count = 0;
  for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next)
    if (IsUsable(entry, AF_INET) && (entry->ifa_flags & IFF_UP) != 0)
      (*list)[count++] = AddressOf(entry->ifa_addr);
  ::freeifaddrs(first);
  return count;
}

// Adds the first IPv4 address of the adapter, if it has one.
static void AddAddress(const ifaddrs* first, const char* name, qelSocketAdapter* adapter) {
  for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
    if (!IsUsable(entry, AF_INET) || strcmp(entry->ifa_name, name) != 0)
      continue;
    adapter->address = AddressOf(entry->ifa_addr);
    adapter->mask = AddressOf(entry->ifa_netmask);
    return;
  }
}

// Every adapter has exactly one entry of the packet family.
int qelSocketRaw_ListAdapters(qelSocketAdapter** list) {
  ifaddrs* first = nullptr;
  if (::getifaddrs(&first) == -1)
    return -1;
  int count = 0;
  for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next)
    count += IsUsable(entry, AF_PACKET);
  *list = static_cast<qelSocketAdapter*>(
      qelMem_AllocZero(static_cast<size_t>(count) * sizeof(qelSocketAdapter)));
  count = 0;
  for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
    if (!IsUsable(entry, AF_PACKET))
      continue;
    qelSocketAdapter& adapter = (*list)[count++];
    const sockaddr_ll* hardware = reinterpret_cast<const sockaddr_ll*>(entry->ifa_addr);
    adapter.isEthernet =
        hardware->sll_hatype == ARPHRD_ETHER && hardware->sll_halen == sizeof(adapter.mac);
    if (adapter.isEthernet)
      memcpy(adapter.mac, hardware->sll_addr, sizeof(adapter.mac));
    AddAddress(first, entry->ifa_name, &adapter);
  }
  ::freeifaddrs(first);
  return count;
}

// The table is read a line at a time; it may be long.
int qelSocket_GetMACFromIP(unsigned* ip, unsigned char* mac, unsigned* size) {
  memset(mac, 0xFF, 8);
  if (*size < 6)
    return ENOBUFS;
  FILE* file = ::fopen("/proc/thread-self/net/arp", "re");
  if (file == nullptr)
    return errno;
  char* line = nullptr;
  size_t room = 0;
  int found = 0;
  while (!found && ::getline(&line, &room, file) > 0)
    found = qelNeighbourTable_Find(line, *ip, mac);
  free(line);
  ::fclose(file);
  if (!found)
    return ENXIO;
  *size = 6;
  return 0;
}

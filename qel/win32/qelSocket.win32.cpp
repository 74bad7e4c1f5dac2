#define QEL_LOG_MODULE 21
#define QEL_LOG_FILE "..\\..\\win32\\qelSocket.win32"

#include <qel/multiplatform/qelSocket.h>

#include <cstdlib>
#include <cstring>

#include <qel/core/qelMem.h>
#include <qel/multiplatform/qelSocketRaw.h>

#include <iphlpapi.h>

// Start and errors -----------------------------------------------------------------

int qelSocket_Startup() {
  WSADATA data;
  return ::WSAStartup(MAKEWORD(2, 0), &data);
}

int qelSocket_GetLastError() {
  return ::WSAGetLastError();
}

void qelSocket_SetLastError(int error) {
  ::WSASetLastError(error);
}

// Handles ------------------------------------------------------------------------

// The log of a socket outlives its handle for a moment.
const bool qelSocketRaw_ReusesNumbersAtOnce = false;

qelSocketHandle qelSocketRaw_Open(int family, int type, int protocol) {
  return static_cast<qelSocketHandle>(::socket(family, type, protocol));
}

int qelSocketRaw_Close(qelSocketHandle socket) {
  return ::closesocket(qelSocketRaw_Native(socket));
}

// Options ------------------------------------------------------------------------

int qelSocketRaw_SetBlocking(qelSocketHandle socket, int blocking) {
  u_long nonBlocking = blocking ? 0 : 1;
  return ::ioctlsocket(qelSocketRaw_Native(socket), static_cast<long>(FIONBIO), &nonBlocking);
}

// The system takes milliseconds.
int qelSocketRaw_SetTimeout(qelSocketHandle socket, int option, int seconds) {
  const DWORD limit = static_cast<DWORD>(seconds) * 1000;
  return qelSocketRaw_SetOption(socket, SOL_SOCKET, option, &limit, sizeof(limit));
}

// Connecting and transfer ----------------------------------------------------------

// An accepted socket blocks as the listening one does.
qelSocketHandle qelSocketRaw_Accept(qelSocketHandle socket, sockaddr* address, int* size) {
  return static_cast<qelSocketHandle>(::accept(qelSocketRaw_Native(socket), address, size));
}

int qelSocketRaw_Connect(qelSocketHandle socket, const sockaddr* address, int size) {
  return ::connect(qelSocketRaw_Native(socket), address, size);
}

int qelSocketRaw_Send(qelSocketHandle socket, const void* buffer, int size, int flags) {
  return ::send(qelSocketRaw_Native(socket), static_cast<const char*>(buffer), size, flags);
}

int qelSocketRaw_Recv(qelSocketHandle socket, void* buffer, int size, int flags) {
  return ::recv(qelSocketRaw_Native(socket), static_cast<char*>(buffer), size, flags);
}

int qelSocketRaw_SendTo(qelSocketHandle socket, const void* buffer, int size, int flags,
                        const sockaddr* address, int addressSize) {
  return ::sendto(qelSocketRaw_Native(socket), static_cast<const char*>(buffer), size, flags,
                  address, addressSize);
}

int qelSocketRaw_RecvFrom(qelSocketHandle socket, void* buffer, int size, int flags,
                          sockaddr* address, int* addressSize) {
  return ::recvfrom(qelSocketRaw_Native(socket), static_cast<char*>(buffer), size, flags, address,
                    addressSize);
}

// Sets ---------------------------------------------------------------------------

// The sets carry their own counts; nfds says nothing. The timeout is only read, whatever its type.
int qelSocketRaw_Select(int nfds, fd_set* read, fd_set* write, fd_set* except,
                        const timeval* timeout) {
  return ::select(nfds, read, write, except, const_cast<timeval*>(timeout));
}

bool qelSocketRaw_FitsSet(qelSocketHandle socket) {
  return socket != qelSocketInvalid;
}

int qelSocketRaw_ListSet(const fd_set* set, qelSocketHandle* list) {
  const int count = static_cast<int>(set->fd_count < FD_SETSIZE ? set->fd_count : FD_SETSIZE);
  for (int i = 0; list != nullptr && i < count; ++i)
    list[i] = static_cast<qelSocketHandle>(set->fd_array[i]);
  return count;
}

// Interfaces and neighbours --------------------------------------------------------

int qelSocketRaw_ListAddresses(unsigned** list) {
  alignas(SOCKET_ADDRESS_LIST) char buffer[384];
  const qelSocketHandle socket =
      qelSocket_New(AF_INET, SOCK_DGRAM, 0, "qelSocketGetIPAddressList", /*quiet=*/1);
  if (socket == qelSocketInvalid)
    return -1;
  DWORD used = 0;
  const int result = ::WSAIoctl(qelSocketRaw_Native(socket), SIO_ADDRESS_LIST_QUERY, nullptr, 0,
                                buffer, sizeof(buffer), &used, nullptr, nullptr);
  const qelSocketKeptError error;
  qelSocket_Close(socket, "qelSocketGetIPAddressList", /*quiet=*/1);
  if (result != 0)
    return -1;
  const SOCKET_ADDRESS_LIST* found = reinterpret_cast<const SOCKET_ADDRESS_LIST*>(buffer);
  *list = static_cast<unsigned*>(
      qelMem_Alloc(static_cast<size_t>(found->iAddressCount) * sizeof(unsigned)));
  int count = 0;
  for (int i = 0; i < found->iAddressCount; ++i) {
    // An adapter without an address may be listed with 0.0.0.0, which nobody can be reached at.
    const sockaddr* address = found->Address[i].lpSockaddr;
    const unsigned number = reinterpret_cast<const sockaddr_in*>(address)->sin_addr.s_addr;
    if (address->sa_family == AF_INET && number != 0)
      (*list)[count++] = number;
  }
  return count;
}

// The text of a dotted address; 0 for an adapter without one.
static unsigned AddressOf(const IP_ADDRESS_STRING& text) {
  return qelSocket_InetAddr(text.String);
}

int qelSocketRaw_ListAdapters(qelSocketAdapter** list) {
  alignas(IP_ADAPTER_INFO) char buffer[11264];
  IP_ADAPTER_INFO* first = reinterpret_cast<IP_ADAPTER_INFO*>(buffer);
  ULONG size = sizeof(buffer);
  ::GetAdaptersInfo(first, &size);
  size = sizeof(buffer);
  if (::GetAdaptersInfo(first, &size) != ERROR_SUCCESS)
    return -1;
  int count = 0;
  for (const IP_ADAPTER_INFO* entry = first; entry != nullptr; entry = entry->Next)
    ++count;
  *list = static_cast<qelSocketAdapter*>(
      qelMem_AllocZero(static_cast<size_t>(count) * sizeof(qelSocketAdapter)));
  count = 0;
  for (const IP_ADAPTER_INFO* entry = first; entry != nullptr; entry = entry->Next) {
    qelSocketAdapter& adapter = (*list)[count++];
    adapter.isEthernet = entry->Type == MIB_IF_TYPE_ETHERNET;
    memcpy(adapter.mac, entry->Address, sizeof(adapter.mac));
    adapter.address = AddressOf(entry->IpAddressList.IpAddress);
    adapter.mask = ::inet_addr(entry->IpAddressList.IpMask.String);
  }
  return count;
}

int qelSocket_GetMACFromIP(unsigned* ip, unsigned char* mac, unsigned* size) {
  memset(mac, 0xFF, 8);
  ULONG room = *size;
  const DWORD error = ::SendARP(*ip, 0, mac, &room);
  *size = room;
  return static_cast<int>(error);
}

#define QEL_LOG_MODULE 21
#define QEL_LOG_FILE "..\\..\\multiplatform\\qelSocketAddress"

// Free ports, names and addresses: the second half of qelSocket.h.

#include <qel/multiplatform/qelSocket.h>

#include <cstdlib>
#include <cstring>

#include <qel/core/Log.h>
#include <qel/core/qelMem.h>
#include <qel/multiplatform/qelSocketRaw.h>

typedef qelSocketKeptError KeptError;

static const unsigned kFirstPort = 50000; // of those that are tried at random
static const unsigned kLastPort = 65000;

// 127.0.0.1 and 255.255.255.0 in network order.
static unsigned Loopback() {
  return htonl(INADDR_LOOPBACK);
}
static unsigned DefaultMask() {
  return htonl(0xFFFFFF00u);
}

// Ports --------------------------------------------------------------------------

// hostAddress is in host order.
static int BindTo(qelSocketHandle socket, unsigned hostAddress, unsigned short port,
                  const char* label) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(hostAddress);
  address.sin_port = htons(port);
  return qelSocket_Bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address),
                        label);
}

static int ReuseAndBind(qelSocketHandle socket, unsigned hostAddress, unsigned short port,
                        const char* label) {
  const int result = qelSocket_SetReuseAddr(socket, label);
  return result < 0 ? result : BindTo(socket, hostAddress, port, label);
}

static unsigned short RandomPort() {
  uint32_t number = 0;
  for (int i = 0; i < 4; ++i)
    number = (number << 8) | static_cast<uint32_t>(rand() & 0xFF);
  return static_cast<unsigned short>(kFirstPort + number % (kLastPort - kFirstPort + 1));
}

// Whether another port may have more luck. Any other failure would come back for ever.
static bool AnotherPortMayDo() {
  const int error = qelSocket_GetLastError();
  return error == qelSocketErrorInUse || error == qelSocketErrorAccess;
}

// Binds *socket on every interface: to random ports until one is free, or, without `port`, to one of
// the system's choice. A handle that turns out to be no socket is replaced. Returns 0 or not.
static int ScanTCP(qelSocketHandle* socket, unsigned short* port) {
  for (;;) {
    const unsigned short candidate = port != nullptr ? RandomPort() : 0;
    const int result = ReuseAndBind(*socket, INADDR_ANY, candidate, "qelSocket_GetTCPSocket 3");
    if (result == 0) {
      if (port != nullptr)
        *port = candidate;
      return 0;
    }
    if (result == -2) {
      qelSocket_Close(*socket, "qelSocket_GetTCPSocket 1", /*quiet=*/0);
      *socket = qelSocket_New(AF_INET, SOCK_STREAM, 0, "qelSocket_GetTCPSocket 2", /*quiet=*/0);
      if (*socket == qelSocketInvalid)
        return result;
    } else if (!AnotherPortMayDo()) {
      return result;
    }
  }
}

qelSocketHandle qelSocket_GetTCPSocket(unsigned hostAddress, unsigned short* port) {
  qelSocketHandle socket =
      qelSocket_New(AF_INET, SOCK_STREAM, 0, "qelSocket_GetTCPSocket", /*quiet=*/0);
  if (socket == qelSocketInvalid)
    return qelSocketInvalid;
  int result;
  unsigned short bound = 0;
  if (port != nullptr && *port != 0) {
    bound = *port;
    result = ReuseAndBind(socket, hostAddress, *port, "qelSocket_GetTCPSocket 1");
  } else if (hostAddress != 0) {
    // INTENDED: the port that the system chose is not told, *port becomes 0. Callers that bind to one
    // interface ask qelSocket_GetSockName. Pinned by QelSocketGetTCPSocket.TellsNoPortOnOneInterface.
    result = ReuseAndBind(socket, hostAddress, 0, "qelSocket_GetTCPSocket 2");
    if (result < 0) {
      const KeptError error;
      QEL_LOG(1, "Error binding socket %d [qelSocket_GetTCPSocket 2]\n",
              qelSocketRaw_Shown(socket));
    }
  } else {
    result = ScanTCP(&socket, port != nullptr ? &bound : nullptr);
  }
  if (port != nullptr)
    *port = bound;
  if (result == 0)
    return socket;
  const KeptError error;
  qelSocket_Close(socket, "qelSocket_GetTCPSocket 2", /*quiet=*/0);
  return qelSocketInvalid;
}

qelSocketHandle qelSocket_GetUDPSocket(unsigned hostAddress, unsigned short* port) {
  static const char kLabel[] = "qelSocket_GetUDPSocket";
  if (port != nullptr)
    *port = 0;
  const qelSocketHandle socket = qelSocket_New(AF_INET, SOCK_DGRAM, 0, kLabel, /*quiet=*/0);
  if (socket == qelSocketInvalid)
    return qelSocketInvalid;
  do {
    const unsigned short candidate = port != nullptr ? RandomPort() : 0;
    if (BindTo(socket, hostAddress, candidate, kLabel) == 0) {
      if (port != nullptr)
        *port = candidate;
      return socket;
    }
  } while (AnotherPortMayDo());
  const KeptError error;
  qelSocket_Close(socket, kLabel, /*quiet=*/0);
  return qelSocketInvalid;
}

// Addresses ------------------------------------------------------------------------

// Stores what a name call gave, in host order, or logs its failure. Returns the call's result.
// INTENDED: the text speaks of the peer name for either call. Whoever searches a log knows it by that.
// Pinned by QelSocketGetSockName.SpeaksOfThePeerNameInItsFailure.
static int EndNameCall(int result, qelSocketHandle socket, const sockaddr_in& name, unsigned* ip,
                       unsigned short* port, const char* label) {
  if (result < 0) {
    const KeptError error;
    QEL_LOG(1, "Cannot get peer name for socket %d: error = %d [%s]\n", qelSocketRaw_Shown(socket),
            error.code, label);
    return result;
  }
  if (ip != nullptr)
    *ip = ntohl(name.sin_addr.s_addr);
  if (port != nullptr)
    *port = ntohs(name.sin_port);
  return result;
}

int qelSocket_GetPeerName(qelSocketHandle socket, unsigned* ip, unsigned short* port,
                          const char* label) {
  sockaddr_in name = {};
  const int result = qelSocketRaw_GetPeerName(socket, &name);
  return EndNameCall(result, socket, name, ip, port, label);
}

int qelSocket_GetSockName(qelSocketHandle socket, unsigned* ip, unsigned short* port,
                          const char* label) {
  sockaddr_in name = {};
  const int result = qelSocketRaw_GetSockName(socket, &name);
  return EndNameCall(result, socket, name, ip, port, label);
}

unsigned qelSocket_InetAddr(const char* text) {
  const unsigned address = ::inet_addr(text);
  return address != INADDR_NONE ? address : 0;
}

// The resolver's first IPv4 address. Returns 0 or the resolver's error.
static int LookUp(const char* name, unsigned* address) {
  addrinfo hints = {};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_protocol = IPPROTO_TCP;
  addrinfo* found = nullptr;
  int result = ::getaddrinfo(name, nullptr, &hints, &found);
  if (result != 0)
    return result;
  result = EAI_NONAME;
  for (const addrinfo* entry = found; entry != nullptr && result != 0; entry = entry->ai_next) {
    // The address is all that is read, and it stands in the first eight bytes.
    if (entry->ai_family != AF_INET || entry->ai_addrlen < 8)
      continue;
    memcpy(address, &reinterpret_cast<const sockaddr_in*>(entry->ai_addr)->sin_addr,
           sizeof(*address));
    result = 0;
  }
  ::freeaddrinfo(found);
  return result;
}

// INTENDED: "0.0.0.0" is looked up as a name. The number 0 means that there is no answer yet.
// Pinned by QelSocketNameFaults.AskTheNameServiceForZeroAlone.
unsigned qelSocket_ResolveName(const char* name) {
  unsigned address = qelSocket_InetAddr(name);
  if (address != 0)
    return address;
  return LookUp(name, &address) == 0 ? address : 0;
}

int qelSocket_GetAddressByName(const char* name, unsigned* address, const char* label) {
  const int result = LookUp(name, address);
  if (result != 0) {
    const KeptError error;
    QEL_LOG(1, "Error getting address for '%s', Error = %d [%s]\n", name, result, label);
  }
  return result;
}

int qelSocket_GetHostName(char* buffer, int size, const char* label) {
  buffer[0] = '\0';
  const int result = ::gethostname(buffer, static_cast<qelSocketNameLength>(size - 1));
  if (result < 0) {
    const KeptError error;
    QEL_LOG(1, "Error calling gethostname: Error = %d [%s]\n", error.code, label);
  }
  buffer[size - 1] = '\0'; // a name that is just too long may come without its end
  return result;
}

static unsigned* NewList(int count) {
  return static_cast<unsigned*>(qelMem_Alloc(static_cast<size_t>(count) * sizeof(unsigned)));
}

// The machine's own addresses in a new list with room for one more; the count, which may be 0.
static int ListOwnAddresses(unsigned** list) {
  unsigned* found = nullptr;
  int count = qelSocketRaw_ListAddresses(&found);
  if (count < 0) {
    const KeptError error;
    QEL_LOG(1, "WSAGetLastError = %d [qelSocketGetIPAddressList]\n", error.code);
    count = 0;
  }
  *list = static_cast<unsigned*>(
      qelMem_Realloc(found, (static_cast<size_t>(count) + 1) * sizeof(unsigned)));
  return count;
}

int qelSocketGetIPAddressList(void*, unsigned** list, int withLoopback) {
  int count = ListOwnAddresses(list);
  if (count == 0 || withLoopback)
    (*list)[count++] = Loopback();
  return count;
}

// Replaces the mask of each address that is the first of an adapter.
static void ApplyAdapterMasks(const unsigned* list, unsigned* masks, int count) {
  qelSocketAdapter* adapters = nullptr;
  const int adapterCount = qelSocketRaw_ListAdapters(&adapters);
  for (int i = 0; i < adapterCount; ++i)
    for (int at = 0; at < count; ++at)
      if (adapters[i].address != 0 && adapters[i].address == list[at])
        masks[at] = adapters[i].mask;
  free(adapters);
}

int qelSocket_GetIPAddressListEx(void*, unsigned** list, unsigned** masks, unsigned** networks,
                                 int withLoopback) {
  const int own = ListOwnAddresses(list);
  *masks = NewList(own + 1);
  for (int i = 0; i <= own; ++i)
    (*masks)[i] = DefaultMask();
  ApplyAdapterMasks(*list, *masks, own);
  int count = own;
  if (own == 0 || withLoopback)
    (*list)[count++] = Loopback();
  *networks = NewList(count);
  for (int i = 0; i < count; ++i)
    (*networks)[i] = (*list)[i] & (*masks)[i];
  return count;
}

int qelSocket_GetLoopbackList(void*, unsigned** list) {
  *list = NewList(1);
  **list = Loopback();
  return 1;
}

unsigned qelSocket_MapLocalAddress(void*, unsigned address) {
  return qelSocket_IsLocalAddress(address) ? Loopback() : address;
}

int qelSocket_IsLocalAddress(unsigned address) {
  if (address == Loopback())
    return 1;
  if (address == 0xFFFFFFFFu)
    return 0;
  unsigned* list = nullptr;
  const int count = qelSocketGetIPAddressList(nullptr, &list, /*withLoopback=*/0);
  int isLocal = 0;
  for (int i = 0; i < count; ++i)
    isLocal |= list[i] == address;
  free(list);
  return isLocal;
}

int qelSocket_IsMulticastAddress(const char* text) {
  char digits[4] = {};
  strncpy(digits, text, 3);
  const int number = atoi(digits);
  return number >= 224 && number <= 239;
}

int qelSocket_IsDottedAddress(const char* text) {
  int dots = 0;
  for (; *text != '\0'; ++text) {
    if (*text == '.')
      ++dots;
    else if (*text < '0' || *text > '9')
      return 0;
  }
  return dots == 3;
}

int qelSocket_GetMACAddress(int index, unsigned char* mac) {
  memset(mac, 0, sizeof(qelSocketAdapter::mac));
  qelSocketAdapter* adapters = nullptr;
  const int count = qelSocketRaw_ListAdapters(&adapters);
  int result = -1;
  for (int i = index < 0 ? 0 : index; i < count && result == -1; ++i) {
    if (!adapters[i].isEthernet)
      continue;
    memcpy(mac, adapters[i].mac, sizeof(adapters[i].mac));
    result = i + 1;
  }
  free(adapters);
  return result;
}

void qelSocket_LogAddress(unsigned address) {
  const unsigned long host = ntohl(address);
  qelLog_Append_F("%lu.%lu.%lu.%lu", (host >> 24) & 0xFF, (host >> 16) & 0xFF, (host >> 8) & 0xFF,
                  host & 0xFF);
}

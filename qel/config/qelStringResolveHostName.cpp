#include <cstring>

#include <qel/config/qelStringSubstitute.h>
#include <qel/core/qelMem.h>
#include <qel/multiplatform/qelSocket.h>

char* qelStringResolveHostName(char* name, void* /*userData*/) {
  if (std::strcmp(name, "hostname") != 0)
    return nullptr;
  // 63 bytes of a name and a terminator, whatever the system writes.
  char host[64] = {};
  qelSocket_GetHostName(host, sizeof host, "qelStringResolveHostName");
  if (!qelSocket_IsDottedAddress(host))
    host[std::strcspn(host, ".")] = '\0';
  return qelMem_StrDup(host);
}

#define QEL_LOG_MODULE 25
#define QEL_LOG_FILE "..\\..\\multiplatform\\qelSocketSelect"

#include <qel/multiplatform/qelSocketSelect.h>

#include <atomic>
#include <cstdlib>
#include <initializer_list>
#include <new>

#include <qel/core/Log.h>
#include <qel/core/qelMem.h>
#include <qel/multiplatform/qelMutex.h>
#include <qel/multiplatform/qelSocketRaw.h>

struct qelSocketSelect {
  qelOSMutex* mutex;           // over the sets' bookkeeping and the datagrams
  qelSocketHandle writeSocket; // sends the wake-ups
  qelSocketHandle readSocket;  // receives them; a member of every read set
  sockaddr_in readAddress;     // of readSocket
  std::atomic<int> holders;    // how many Delete calls are due
};

// More wake-ups than a socket's buffer holds. What one drain leaves ends the next wait.
static const int kMaxDrained = 4096;

static sockaddr* AsAddress(sockaddr_in* address) {
  return reinterpret_cast<sockaddr*>(address);
}

// Life ---------------------------------------------------------------------------

// The sockets of a new record, in the order of the steps. Null, or the log text of the step that failed.
static const char* OpenPair(qelSocketSelect* select) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  select->readSocket = qelSocket_New(AF_INET, SOCK_DGRAM, 0, "qelSocketSelect_New R", /*quiet=*/0);
  select->writeSocket = qelSocket_New(AF_INET, SOCK_DGRAM, 0, "qelSocketSelect_New W", /*quiet=*/0);
  if (!qelSocketRaw_FitsSet(select->readSocket) || !qelSocketRaw_FitsSet(select->writeSocket))
    return "qelSocketSelect_New: Failed to get a pair of socket\n";
  if (qelSocket_Bind(select->readSocket, AsAddress(&address), sizeof(address),
                     "qelSocketSelect_New R") != 0)
    return "qelSocketSelect_New: Failed to bind first socket\n";
  if (qelSocket_SetBlocking(select->readSocket, 0, "ILibStartChain R") != 0)
    return "qelSocketSelect_New: Failed to set first socket non blocking\n";
  if (qelSocketRaw_GetSockName(select->readSocket, &select->readAddress) != 0)
    return "qelSocketSelect_New: getsockname failed\n";
  if (qelSocket_Bind(select->writeSocket, AsAddress(&address), sizeof(address),
                     "qelSocketSelect_New W") != 0)
    return "qelSocketSelect_New: Failed to bind second socket\n";
  if (qelSocket_SetBlocking(select->writeSocket, 0, "ILibStartChain W") != 0)
    return "qelSocketSelect_New: Failed to set second socket non blocking\n";
  // A stranger on this machine could keep an open socket busy for ever.
  if (qelSocketRaw_GetSockName(select->writeSocket, &address) != 0 ||
      qelSocketRaw_Connect(select->readSocket, AsAddress(&address), sizeof(address)) != 0)
    return "qelSocketSelect_New: Failed to connect first socket\n";
  return nullptr;
}

qelSocketSelect* qelSocketSelect_New() {
  qelSocketSelect* select = new (qelMem_AllocZero(sizeof(qelSocketSelect))) qelSocketSelect();
  select->holders = 1;
  select->readSocket = qelSocketInvalid;
  select->writeSocket = qelSocketInvalid;
  select->mutex = qelOSMutex_New();
  // INTENDED: the text speaks of a semaphore, though it is a mutex. Readers of the log know it so.
  // Pinned by QelSocketSelectFaults.AreToldByTheStepThatFailed.
  const char* failure = select->mutex != nullptr
                            ? OpenPair(select)
                            : "qelSocketSelect_New: Failed to create a semaphore\n";
  if (failure == nullptr)
    return select;
  QEL_LOG(1, "%s", failure);
  qelSocketSelect_Delete(select);
  return nullptr;
}

void qelSocketSelect_Retain(qelSocketSelect* select) {
  select->holders.fetch_add(1, std::memory_order_relaxed);
}

void qelSocketSelect_Delete(qelSocketSelect* select) {
  if (select == nullptr || select->holders.fetch_sub(1, std::memory_order_acq_rel) != 1)
    return;
  if (select->readSocket != qelSocketInvalid)
    qelSocket_Close(select->readSocket, "qelSocketSelect_Delete R", /*quiet=*/0);
  if (select->writeSocket != qelSocketInvalid)
    qelSocket_Close(select->writeSocket, "qelSocketSelect_Delete W", /*quiet=*/0);
  qelOSMutex_Delete(select->mutex);
  free(select);
}

// Wake-up ------------------------------------------------------------------------

void qelSocketSelect_Trigger(qelSocketSelect* select) {
  qelOSMutex_Lock(select->mutex);
  const int sent = qelSocket_SendTo(select->writeSocket, " ", 1, 0, AsAddress(&select->readAddress),
                                    sizeof(select->readAddress), "qelSocketSelect_Trigger");
  qelOSMutex_Unlock(select->mutex);
  if (sent < 0)
    QEL_LOG(1, "qelSocketSelect_Trigger: error\n");
}

static void Drain(qelSocketSelect* select) {
  char byte;
  for (int i = 0; i < kMaxDrained; ++i)
    if (qelSocket_RecvFrom(select->readSocket, &byte, 1, 0, nullptr, nullptr,
                           "qelSocketSelect_Select") < 0)
      return;
}

// Wait ---------------------------------------------------------------------------

// An emptied set in place of none, so that only its members matter.
static fd_set* OrNull(fd_set* set) {
  return set != nullptr && qelSocketRaw_ListSet(set, nullptr) > 0 ? set : nullptr;
}

int qelSocketSelect_Select(qelSocketSelect* select, fd_set* read, fd_set* write, fd_set* except,
                           int nfds, timeval* timeout, int* signalled) {
  fd_set own;
  FD_ZERO(&own);
  qelOSMutex_Lock(select->mutex);
  // INTENDED: without a highest handle the caller's sets are emptied. The wait is then for the wake-up
  // alone. Pinned by QelSocketSelectSelect.EmptiesTheSetsWithoutAHighestHandle.
  if (nfds < 1) {
    for (fd_set* set : {read, write, except})
      if (set != nullptr)
        FD_ZERO(set);
    nfds = -1;
  }
  if (read == nullptr)
    read = &own;
  const int wakeUp = static_cast<int>(qelSocketSelect_AddToSet(select, read));
  write = OrNull(write);
  except = OrNull(except);
  qelOSMutex_Unlock(select->mutex);

  // INTENDED: the result counts the wake-up socket. Callers go by the sets.
  // Pinned by QelSocketSelectSelect.CountsTheWakeUpInItsResult.
  const int result = qelSocket_Select(read, write, except, nfds > wakeUp ? nfds : wakeUp, timeout);
  const qelSocketKeptError error;
  const int isSignalled = qelSocketSelect_CheckAndDrain(select, read);
  if (signalled != nullptr)
    *signalled = isSignalled;
  return result;
}

qelSocketHandle qelSocketSelect_AddToSet(qelSocketSelect* select, fd_set* set) {
  if (!FD_ISSET(qelSocketRaw_Native(select->readSocket), set) &&
      qelSocketRaw_ListSet(set, nullptr) < qelSocketSelectSetSize)
    FD_SET(qelSocketRaw_Native(select->readSocket), set);
  return select->readSocket;
}

int qelSocketSelect_CheckAndDrain(qelSocketSelect* select, fd_set* set) {
  qelOSMutex_Lock(select->mutex);
  const int isSet = FD_ISSET(qelSocketRaw_Native(select->readSocket), set) ? 1 : 0;
  if (isSet) {
    Drain(select);
    FD_CLR(qelSocketRaw_Native(select->readSocket), set);
  }
  qelOSMutex_Unlock(select->mutex);
  return isSet;
}

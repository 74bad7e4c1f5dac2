#define QEL_LOG_MODULE 55
#define QEL_LOG_FILE "..\\..\\multiplatform\\qelSocketLog"

#include <qel/multiplatform/qelSocketLog.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include <qel/multiplatform/qelMutex.h>
#include <qel/multiplatform/qelSocketRaw.h>

// What is wanted -----------------------------------------------------------------

static bool WantsStatus() {
  return qelSocketLog_IsLive() && qelLog_WillLog(4, 53);
}

static bool WantsTraffic() {
  return qelSocketLog_IsLive() && qelLog_WillLog(4, 21) && qelLog_WillLog(4, 55);
}

// Locks --------------------------------------------------------------------------

namespace {

// A lock that is made on first use and stays for the life of the process. If it can't be made, the
// table that it guards is left alone.
class TableLock {
public:
  explicit TableLock(qelOSMutex* mutex) : m_mutex(mutex) {
    if (m_mutex != nullptr)
      qelOSMutex_Lock(m_mutex);
  }
  ~TableLock() {
    if (m_mutex != nullptr)
      qelOSMutex_Unlock(m_mutex);
  }
  TableLock(const TableLock&) = delete;
  TableLock& operator=(const TableLock&) = delete;

  bool IsHeld() const { return m_mutex != nullptr; }

private:
  qelOSMutex* const m_mutex;
};

} // namespace

static qelOSMutex* StatusMutex() {
  static qelOSMutex* const mutex = qelOSMutex_New();
  return mutex;
}

static qelOSMutex* TrafficMutex() {
  static qelOSMutex* const mutex = qelOSMutex_New();
  return mutex;
}

// Status table -------------------------------------------------------------------

static qelSocketLogEntry entries[qelSocketLogEntries]; // guarded by StatusMutex

// Reads the ports that aren't known yet. Raw calls: a failure is no event, and no log line may be
// written under the lock.
static void LearnPorts(qelSocketLogEntry* entry) {
  sockaddr_in name = {};
  if (entry->localPort == 0 && qelSocketRaw_GetSockName(entry->socket, &name) == 0)
    entry->localPort = ntohs(name.sin_port);
  name = {};
  if (entry->peerPort == 0 && qelSocketRaw_GetPeerName(entry->socket, &name) == 0)
    entry->peerPort = ntohs(name.sin_port);
}

// Calls change(entry) for every record of the socket.
template <typename Change>
static void ForRecordsOf(qelSocketHandle socket, Change change) {
  const TableLock lock(StatusMutex());
  if (!lock.IsHeld() || socket == 0)
    return;
  for (qelSocketLogEntry& entry : entries)
    if (entry.socket == socket)
      change(&entry);
}

void qelSocketLog_Created(qelSocketHandle socket, int accepted, const char* label) {
  const TableLock lock(StatusMutex());
  if (!lock.IsHeld())
    return;
  for (qelSocketLogEntry& entry : entries) {
    if (entry.socket != 0)
      continue;
    entry = {};
    entry.socket = socket;
    entry.label = label;
    entry.state = qelSocketLogStateCreated;
    entry.accepted = static_cast<uint32_t>(accepted);
    return;
  }
}

static void SetState(qelSocketHandle socket, uint32_t state) {
  ForRecordsOf(socket, [state](qelSocketLogEntry* entry) {
    entry->state = state;
    LearnPorts(entry);
  });
}

void qelSocketLog_Connected(qelSocketHandle socket) {
  SetState(socket, qelSocketLogStateConnected);
}

void qelSocketLog_Listening(qelSocketHandle socket) {
  SetState(socket, qelSocketLogStateListening);
}

void qelSocketLog_Closed(qelSocketHandle socket) {
  ForRecordsOf(socket, [](qelSocketLogEntry* entry) {
    entry->socket = 0;
    entry->state = qelSocketLogStateClosed;
  });
}

// INTENDED: the counts are of the sizes asked for, not of the bytes that went through. They show what a
// caller wanted. Pinned by QelSocketLogStatus.CountsTheSizesThatWereAskedFor.
void qelSocketLog_Sent(qelSocketHandle socket, unsigned size) {
  ForRecordsOf(socket, [size](qelSocketLogEntry* entry) {
    LearnPorts(entry);
    entry->bytesSent += size;
  });
}

void qelSocketLog_Received(qelSocketHandle socket, unsigned size) {
  ForRecordsOf(socket, [size](qelSocketLogEntry* entry) {
    LearnPorts(entry);
    entry->bytesReceived += size;
  });
}

void qelSocketLog_GetEntries(qelSocketLogEntry* out) {
  const TableLock lock(StatusMutex());
  std::copy_n(entries, qelSocketLogEntries, out);
}

const char* qelSocketLog_StateLabel(uint32_t state) {
  static const char* const kLabels[] = {"Not Inited", "Created", "Connected", "Listening",
                                        "Closed"};
  return state < sizeof(kLabels) / sizeof(kLabels[0]) ? kLabels[state] : nullptr;
}

// Traffic files ------------------------------------------------------------------

namespace {

// Room for the longest name, "socket/255.255.255.255-65535-[4294967295].txt", and its end.
const size_t kFileNameSize = 48;

struct TrafficSlot {
  int64_t socket;               // the socket's number; 0: a free slot
  uint32_t index;               // running number, from 1; 0 in a free slot
  uint32_t written;             // 1: something went to the file
  char fileName[kFileNameSize]; // "": not known yet
};

// What went wrong, in the words of one direction.
struct DirectionTexts {
  const char* noIndex;
  const char* noSlot;
};

const DirectionTexts kReceived = {"_Log_Buffer Error 1\n", "_Log_Buffer Error 2\n"};
const DirectionTexts kSent = {"_Log_Buffer_Send Error 1\n", "_Log_Buffer_Send Error 2\n"};

const char kErrorMark[] = "\r\nERROR";
const char kClosingMark[] = "\r\n*** CLOSED ***\r\n";

} // namespace

// Guarded by TrafficMutex.
static TrafficSlot slots[qelSocketLogSlots];
static uint32_t nextIndex = 1;
static int openSlots = 0;

// REQUIRES: the lock is held.
static TrafficSlot* FindSlot(qelSocketHandle socket) {
  for (TrafficSlot& slot : slots)
    if (slot.socket == socket)
      return &slot;
  return nullptr;
}

void _Log_Buffer_Open(qelSocketHandle socket) {
  {
    const TableLock lock(TrafficMutex());
    TrafficSlot* slot = lock.IsHeld() ? FindSlot(0) : nullptr;
    if (slot != nullptr) {
      *slot = {};
      slot->socket = socket;
      slot->index = nextIndex++;
      ++openSlots;
      return;
    }
  }
  QEL_LOG(1, "_Log_Buffer_Open Error\n");
}

// Marks the socket's slot as written to and copies it. False if there is none.
static bool MarkSlot(qelSocketHandle socket, TrafficSlot* copy) {
  const TableLock lock(TrafficMutex());
  TrafficSlot* slot = lock.IsHeld() && socket != 0 ? FindSlot(socket) : nullptr;
  if (slot == nullptr)
    return false;
  slot->written = 1;
  *copy = *slot;
  return true;
}

// Makes the name of the socket's file and keeps it in the slot; it stays empty without a peer.
static void NameFile(TrafficSlot* copy) {
  unsigned ip = 0;
  unsigned short port = 0;
  if (qelSocket_GetPeerName(copy->socket, &ip, &port, "_Log_Buffer_GetFileName") < 0)
    return;
  const unsigned long address = ip;
  snprintf(copy->fileName, sizeof(copy->fileName), "socket/%lu.%lu.%lu.%lu-%u-[%u].txt",
           (address >> 24) & 0xFF, (address >> 16) & 0xFF, (address >> 8) & 0xFF, address & 0xFF,
           static_cast<unsigned>(port), static_cast<unsigned>(copy->socket));
  const TableLock lock(TrafficMutex());
  TrafficSlot* slot = lock.IsHeld() ? FindSlot(copy->socket) : nullptr;
  if (slot != nullptr && slot->index == copy->index)
    memcpy(slot->fileName, copy->fileName, sizeof(slot->fileName));
}

static void AppendToFile(const char* name, const void* data, size_t size) {
  FILE* file = fopen(name, "a+b");
  if (file == nullptr)
    return;
  fwrite(data, 1, size, file);
  fclose(file);
}

static void WriteTraffic(qelSocketHandle socket, const void* data, unsigned size,
                         const DirectionTexts& texts) {
  if (size >= static_cast<unsigned>(-2)) {
    data = kErrorMark;
    size = sizeof(kErrorMark) - 1;
  }
  TrafficSlot slot;
  if (!MarkSlot(socket, &slot)) {
    QEL_LOG(1, "%s", texts.noSlot);
    return;
  }
  if (slot.index == 0)
    QEL_LOG(1, "%s", texts.noIndex);
  if (slot.fileName[0] == '\0')
    NameFile(&slot);
  if (slot.fileName[0] != '\0')
    AppendToFile(slot.fileName, data, size);
}

void _Log_Buffer(qelSocketHandle socket, const void* data, unsigned size) {
  WriteTraffic(socket, data, size, kReceived);
}

void _Log_Buffer_Send(qelSocketHandle socket, const void* data, unsigned size) {
  WriteTraffic(socket, data, size, kSent);
}

// Whether there is a slot, and whether anything went to its file.
static bool IsOpen(qelSocketHandle socket, bool* written) {
  const TableLock lock(TrafficMutex());
  const TrafficSlot* slot = lock.IsHeld() && socket != 0 ? FindSlot(socket) : nullptr;
  if (slot == nullptr)
    return false;
  *written = slot->written != 0;
  return true;
}

void _Log_Buffer_Close(qelSocketHandle socket) {
  if (socket == qelSocketInvalid)
    return;
  bool written = false;
  if (!IsOpen(socket, &written)) {
    QEL_LOG(1, "_Log_Buffer_Close Error\n");
    return;
  }
  if (written && WantsTraffic())
    _Log_Buffer(socket, kClosingMark, sizeof(kClosingMark) - 1);
  const TableLock lock(TrafficMutex());
  TrafficSlot* slot = lock.IsHeld() ? FindSlot(socket) : nullptr;
  if (slot == nullptr)
    return;
  *slot = {};
  --openSlots;
}

int _Log_Buffer_CountOpen() {
  const TableLock lock(TrafficMutex());
  return openSlots;
}

void _Log_Buffer_SetNextIndexForTest(uint32_t index) {
  const TableLock lock(TrafficMutex());
  nextIndex = index;
}

// What the socket layer calls ------------------------------------------------------

void qelSocketLog_TraceCreated(qelSocketHandle socket, const char* label) {
  const qelSocketKeptError error;
  if (WantsTraffic())
    _Log_Buffer_Open(socket);
  if (WantsStatus())
    qelSocketLog_Created(socket, 0, label);
}

void qelSocketLog_TraceAccepted(qelSocketHandle socket, const char* label) {
  const qelSocketKeptError error;
  if (WantsTraffic())
    _Log_Buffer_Open(socket);
  if (!WantsStatus())
    return;
  qelSocketLog_Created(socket, 1, label);
  qelSocketLog_Connected(socket);
}

void qelSocketLog_TraceConnected(qelSocketHandle socket) {
  const qelSocketKeptError error;
  if (WantsStatus())
    qelSocketLog_Connected(socket);
}

void qelSocketLog_TraceListening(qelSocketHandle socket) {
  const qelSocketKeptError error;
  if (WantsStatus())
    qelSocketLog_Listening(socket);
}

void qelSocketLog_TraceClosed(qelSocketHandle socket) {
  const qelSocketKeptError error;
  if (WantsStatus())
    qelSocketLog_Closed(socket);
}

void qelSocketLog_TraceEnd(qelSocketHandle socket) {
  const qelSocketKeptError error;
  if (WantsTraffic())
    _Log_Buffer_Close(socket);
}

void qelSocketLog_TraceSent(qelSocketHandle socket, const void* buffer, int count, int size) {
  const qelSocketKeptError error;
  if (WantsTraffic())
    _Log_Buffer_Send(socket, buffer, static_cast<unsigned>(count));
  if (WantsStatus())
    qelSocketLog_Sent(socket, static_cast<unsigned>(size));
}

void qelSocketLog_TraceReceived(qelSocketHandle socket, const void* buffer, int count, int size) {
  const qelSocketKeptError error;
  if (WantsTraffic())
    _Log_Buffer(socket, buffer, static_cast<unsigned>(count));
  if (WantsStatus())
    qelSocketLog_Received(socket, static_cast<unsigned>(size));
}

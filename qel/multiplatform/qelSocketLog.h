#ifndef QEL_MULTIPLATFORM_QELSOCKETLOG_H
#define QEL_MULTIPLATFORM_QELSOCKETLOG_H
//===----------------------------------------------------------------------===//
// Diagnosis of sockets: a table of the open ones with their byte counts, and a
// copy of all traffic in files, one per peer.
//
// WHEN: only while the log's threshold is above 4. The table needs module 53 to
// log at level 4, the files need modules 21 and 55. Otherwise an operation on a
// socket costs one comparison more.
//
// FILES: "socket/A.B.C.D-PORT-[SOCKET].txt" in the working directory, the peer's
// address and port and the socket's number. The folder "socket" is not made here:
// without it nothing is written, silently. Both directions go into the same file,
// with nothing to tell them apart. A socket without a peer gets no file. Each
// write opens and closes the file, so that its content survives a crash.
//
// ERRORS: nothing here touches the operation that called it. A full table drops
// sockets; file errors are silent. Messages are level 1, module 55.
// THREADS: any. The tables have locks of their own, held neither over a log line
// nor over a file operation; writes of two threads to one file may come in either
// order.
//===----------------------------------------------------------------------===//

#include <cstdint>

#include <qel/core/Log.h>
#include <qel/multiplatform/qelSocketTypes.h>

constexpr int qelSocketLogEntries = 50; // sockets in the status table
constexpr int qelSocketLogSlots = 100;  // sockets in the traffic table

// The states of a socket, which are indices of their labels.
constexpr uint32_t qelSocketLogStateNotInited = 0;
constexpr uint32_t qelSocketLogStateCreated = 1;
constexpr uint32_t qelSocketLogStateConnected = 2;
constexpr uint32_t qelSocketLogStateListening = 3;
constexpr uint32_t qelSocketLogStateClosed = 4;

struct qelSocketLogEntry {
  int64_t socket;         // the socket's number; 0: a free record
  const char* label;      // who made it; not copied
  uint32_t bytesSent;     // the sizes asked for, not those that went through
  uint32_t bytesReceived; // likewise
  uint32_t state;         // one of the states above
  uint32_t accepted;      // 1: it came from an accept
  uint16_t localPort;     // in host order; 0: not known yet
  uint16_t peerPort;      // in host order; 0: not known yet
};

// The one comparison that every operation on a socket pays.
inline bool qelSocketLog_IsLive() {
  return QEL_LOG_ENABLED(4);
}

// What the socket layer calls while the log is live; each looks for itself which of the two tables is
// wanted. All keep the last error.
void qelSocketLog_TraceCreated(qelSocketHandle socket, const char* label);
void qelSocketLog_TraceAccepted(qelSocketHandle socket, const char* label);
void qelSocketLog_TraceConnected(qelSocketHandle socket);
void qelSocketLog_TraceListening(qelSocketHandle socket);
void qelSocketLog_TraceClosed(qelSocketHandle socket);
void qelSocketLog_TraceEnd(qelSocketHandle socket);

// `count` bytes of the buffer went through of the `size` that were asked for.
void qelSocketLog_TraceSent(qelSocketHandle socket, const void* buffer, int count, int size);
void qelSocketLog_TraceReceived(qelSocketHandle socket, const void* buffer, int count, int size);

// Status table -------------------------------------------------------------------

// Takes the first free record; with none nothing happens. `accepted` is 1 for a socket that came from
// an accept, otherwise 0.
void qelSocketLog_Created(qelSocketHandle socket, int accepted, const char* label);

// Set the state. A socket that isn't in the table is ignored.
void qelSocketLog_Connected(qelSocketHandle socket);
void qelSocketLog_Listening(qelSocketHandle socket);
void qelSocketLog_Closed(qelSocketHandle socket);

// Add the size that a transfer asked for.
void qelSocketLog_Sent(qelSocketHandle socket, unsigned size);
void qelSocketLog_Received(qelSocketHandle socket, unsigned size);

// Copies the table to entries[0..qelSocketLogEntries-1].
void qelSocketLog_GetEntries(qelSocketLogEntry* entries);

// The label of a state, such as "Connected"; null for any other number.
const char* qelSocketLog_StateLabel(uint32_t state);

// Traffic files ------------------------------------------------------------------

// Takes a slot for the socket, or says in the log that there is none.
void _Log_Buffer_Open(qelSocketHandle socket);

// Appends data[0..size-1], received or sent, to the socket's file. A size that is -1 or -2 as a signed
// number stands for a failure and appends "\r\nERROR".
void _Log_Buffer(qelSocketHandle socket, const void* data, unsigned size);
void _Log_Buffer_Send(qelSocketHandle socket, const void* data, unsigned size);

// Gives the slot back. If anything went to the file, a closing mark follows as its last line.
void _Log_Buffer_Close(qelSocketHandle socket);

// How many slots are taken.
int _Log_Buffer_CountOpen();

// The running number that the next slot takes. It starts at 1 and comes round to 0, which counts as a
// fault, only after more sockets than a test can open.
void _Log_Buffer_SetNextIndexForTest(uint32_t index);

#endif

#ifndef QEL_MULTIPLATFORM_QELTELNET_H
#define QEL_MULTIPLATFORM_QELTELNET_H
//===----------------------------------------------------------------------===//
// A telnet server for one client: a text console on a TCP port, for remote
// diagnosis. It speaks the least that a client needs: it refuses every option,
// answers the question whether it is there, ends at an interrupt, and delivers all
// other bytes. There is neither echo nor line editing; the client's own line mode
// has them.
//
//   server      New -> Listen -> AcceptConnection ... -> Close -> Delete
//   connection  AcceptConnection -> RecvChar, ReadLine, Gets, Send, Printf ...
//               -> ConnectionClose, also by the client's interrupt -> ConnectionDelete
//
// ERRORS: results as told; a failure of the server writes a level-1 line of module
// 92, and qelSocket writes what the system said.
// OWNERSHIP: the caller owns servers and connections.
// THREADS: every call blocks its caller. A record is for one thread, but for
// qelTelnet_Close and qelTelnet_ConnectionClose: called by another thread, they
// end a blocked call, wait until it is out, a second or so at most, and close the
// socket. The call returns without a log line of its own, though qelSocket tells
// of a failed accept. A record is deleted only once no thread is inside a call.
//===----------------------------------------------------------------------===//

#include <atomic>
#include <cstdarg>
#include <cstddef>

#include <qel/core/Types.h>
#include <qel/multiplatform/qelSocketTypes.h>

// Bytes of the telnet protocol.
constexpr unsigned char qelTelnetIAC = 255; // a command follows; twice: the data byte 255
constexpr unsigned char qelTelnetDONT = 254;
constexpr unsigned char qelTelnetDO = 253;
constexpr unsigned char qelTelnetWONT = 252;
constexpr unsigned char qelTelnetWILL = 251;
constexpr unsigned char qelTelnetAYT = 246; // are you there?
constexpr unsigned char qelTelnetIP = 244;  // interrupt the process
constexpr unsigned char qelTelnetNOP = 241;

// What a connection awaits.
constexpr int qelTelnetStateData = 0; // plain data; IAC leaves it
constexpr int qelTelnetStateIAC = 1;  // the command behind IAC
constexpr int qelTelnetStateWILL = 2; // the option behind IAC WILL; any byte leaves it
constexpr int qelTelnetStateWONT = 3; // the option behind IAC WONT; any byte leaves it
constexpr int qelTelnetStateDO = 4;   // the option behind IAC DO; any byte leaves it
constexpr int qelTelnetStateDONT = 5; // the option behind IAC DONT; any byte leaves it

struct qelTelnet {
  std::atomic<qelSocketHandle> listenSocket; // -1: not listening
  std::atomic<int> closing;                  // 1 once qelTelnet_Close was called
  std::atomic<int> blocked;                  // threads inside a call on the socket
};

struct qelTelnetConnection {
  std::atomic<qelSocketHandle> socket; // -1: closed
  std::atomic<int> closing;            // 1 once qelTelnet_ConnectionClose was called
  int state;                           // qelTelnetStateData and so on
  std::atomic<int> blocked;            // threads inside a call on the socket
};

// Server -----------------------------------------------------------------------

// A new server that does not listen.
qelTelnet* qelTelnet_New();

// Closes a listening server and releases it. Null does nothing.
void qelTelnet_Delete(qelTelnet* telnet);

// Listens for one client at a time. `address` is a numeric address or a name; null or empty: all
// interfaces. Port 0 is one of the system's choice. Returns 0 or, after a log line, 1. A server that
// listens already goes on as before.
// INTENDED: "0.0.0.0" can't be listened on, since the number 0 means no address. Pinned by
// qelTelnetListen.CantResolveTheNumberZero.
int qelTelnet_Listen(qelTelnet* telnet, const char* address, unsigned short port);

// Stops listening. From now on a failed accept has no log line of its own, even once the server listens
// again.
void qelTelnet_Close(qelTelnet* telnet);

// Waits for a client. Returns its connection, or null.
qelTelnetConnection* qelTelnet_AcceptConnection(qelTelnet* telnet);

// Connection -------------------------------------------------------------------

// Closes the connection. Sending and receiving give -1 afterwards.
void qelTelnet_ConnectionClose(qelTelnetConnection* connection);

// Closes an open connection and releases it. Null does nothing.
void qelTelnet_ConnectionDelete(qelTelnetConnection* connection);

// Send buffer[0..size-1], a text, a text printed by trio. Return the bytes sent; -1 on failure, and for
// a null or closed connection. 255 is sent as it is, not doubled.
int qelTelnet_Send(qelTelnetConnection* connection, const char* buffer, size_t size);
int qelTelnet_SendString(qelTelnetConnection* connection, const char* text);
int qelTelnet_VPrintf(qelTelnetConnection* connection, const char* format, va_list arguments)
    QEL_PRINTF_LIKE(2, 0);
int qelTelnet_Printf(qelTelnetConnection* connection, const char* format, ...)
    QEL_PRINTF_LIKE(2, 3);

// Send IAC and the command, and the option. 0, or -1 unless all bytes went.
int qelTelnet_SendCommand(qelTelnetConnection* connection, unsigned char command);
int qelTelnet_SendOption(qelTelnetConnection* connection, unsigned char command,
                         unsigned char option);

// Takes a received byte through the state machine and answers what is to be answered. 0: a data byte;
// 1: it was consumed.
int qelTelnet_ProcessCommand(qelTelnetConnection* connection, unsigned char byte);

// Waits for a data byte. 1 with the byte in *out; 0 if the client has gone, or the connection was
// closed on purpose meanwhile; -1 on failure, and for a null or closed connection. *out is only set
// with the result 1.
int qelTelnet_RecvChar(qelTelnetConnection* connection, unsigned char* out);

// Reads a line into buffer[0..size-1]: up to a line feed or a NUL, which is replaced by a terminator,
// without carriage returns. Returns the bytes ahead of the terminator, or -1 if the client goes first.
// A line that fills the buffer ends there, without a terminator. Size 0 reads nothing and gives 0.
// INTENDED: a failure in mid-line counts as the byte before it once more. Pinned by
// qelTelnetReadLine.CountsTheLastByteAgainOnAFailure. Where there is none, at the start and behind a
// carriage return, it is -1.
int64_t qelTelnet_ReadLine(qelTelnetConnection* connection, char* buffer, size_t size);

// The same; `buffer`, or null in place of -1.
char* qelTelnet_Gets(qelTelnetConnection* connection, char* buffer, size_t size);

#endif

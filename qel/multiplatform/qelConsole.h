#ifndef QEL_MULTIPLATFORM_QELCONSOLE_H
#define QEL_MULTIPLATFORM_QELCONSOLE_H
//===----------------------------------------------------------------------===//
// The process's text console: prompts and output go to the standard streams, or,
// in remote mode, to the one client of a telnet server (qelTelnet.h). Callers use
// the same calls and don't know which it is.
//
// Remote mode is entered by the first qelConsole_Init that asks for it and never
// left: behind the last qelConsole_Term, output is dropped and input has ended.
// In remote mode the first call that prints or reads waits for a client, however
// long that takes, and greets it. A client that goes is not replaced.
//
// ERRORS: a failed listen is the result of qelConsole_Init; nothing else is
// reported here, but what qelTelnet and qelSocket log.
// OWNERSHIP: the console owns its server and its connection; see qelConsole_Init.
// THREADS: one at a time; the state is plain globals without a lock. See
// qelConsole_GetState for what another thread may do.
//===----------------------------------------------------------------------===//

#include <cstddef>
#include <cstdio>

#include <qel/core/Types.h>

struct qelTelnet;
struct qelTelnetConnection;

struct qelConsoleState {
  int remote;                      // telnet mode is on
  int useCount;                    // calls of qelConsole_Init without their qelConsole_Term yet
  qelTelnet* telnet;               // the server; null: none
  qelTelnetConnection* connection; // the one client; null: none has come yet
};

// Counts a use of the console. useTelnet not 0 enters remote mode. In local mode that is all: 0, and
// nothing is counted. In remote mode a new server listens on the address and port, as qelTelnet_Listen
// tells, whose result is returned; the server is kept even if that failed.
// INTENDED: once in remote mode, useTelnet 0 listens as well, and a server from an earlier call is
// abandoned, neither closed nor released. Pinned by
// qelConsoleInit.AbandonsTheEarlierServerAndStaysRemote.
int qelConsole_Init(const char* address, unsigned short port, int useTelnet);

// Takes back one qelConsole_Init. The last one closes the connection and the server.
void qelConsole_Term();

// Waits for a client and greets it, if there is a server and no client yet.
void qelConsole_Accept();

// Prompts and reads one line into buffer[0..size-1], terminated and without its line end. A null or
// empty prompt prints nothing. Returns 0, or 1 at the end of input. With size 0 nothing is stored.
// Remote mode: the line is the client's and `stream` is not used; a line that fills the buffer loses
// its last byte to the terminator; at the end of input the buffer is empty.
// Local mode: as qelConsole_ReadLine.
int qelConsole_GetLine(const char* prompt, char* buffer, size_t size, FILE* stream);

// Reads one line of a stream, always locally; null means standard input, which is flushed first. At
// most size - 1 bytes are read, and what is left of a longer line comes with the next call. Returns
// 0, or 1 if the input ended; a last line without a line feed is stored and gives 1 as well.
// Windows: to flush standard input drops what has been read ahead.
int qelConsole_ReadLine(char* buffer, size_t size, FILE* stream);

// Prints.
void qelConsole_Printf(const char* format, ...) QEL_PRINTF_LIKE(1, 2);

// Local mode: flushes standard output. Remote mode: nothing.
void qelConsole_Flush();

// The state: for a thread that has to end a call of the console which blocks another one, by
// qelTelnet_Close or qelTelnet_ConnectionClose; and for tests, to look at and to put back. Its pointers
// are read by the thread that uses the console, or under a lock of the program's own.
qelConsoleState* qelConsole_GetState();

#endif

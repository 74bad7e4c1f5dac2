#include <qel/multiplatform/qelConsole.h>

#include <cstdarg>

#include <qel/multiplatform/qelTelnet.h>

static qelConsoleState g_console = {0, 0, nullptr, nullptr};

// Waits for the client, if there is a server and none has come yet.
// INTENDED: a client that has gone stays the client, so that nothing waits for another one. Pinned by
// qelConsoleRemote.DoesNotReplaceAClientThatHasGone.
static void Greet() {
  if (g_console.telnet == nullptr || g_console.connection != nullptr)
    return;
  g_console.connection = qelTelnet_AcceptConnection(g_console.telnet);
  qelTelnet_SendString(g_console.connection, "Greetings from qelConsole!\r\n");
}

int qelConsole_Init(const char* address, unsigned short port, int useTelnet) {
  if (useTelnet != 0)
    g_console.remote = 1;
  if (g_console.remote == 0)
    return 0;
  g_console.useCount += 1;
  g_console.telnet = qelTelnet_New();
  return qelTelnet_Listen(g_console.telnet, address, port);
}

void qelConsole_Term() {
  if (g_console.remote == 0 || g_console.useCount <= 0)
    return;
  g_console.useCount -= 1;
  if (g_console.useCount != 0)
    return;
  qelTelnet_ConnectionDelete(g_console.connection);
  g_console.connection = nullptr;
  qelTelnet_Delete(g_console.telnet);
  g_console.telnet = nullptr;
}

void qelConsole_Accept() {
  Greet();
}

static int GetRemoteLine(const char* prompt, char* buffer, size_t size) {
  Greet();
  if (prompt != nullptr && *prompt != '\0')
    qelTelnet_Printf(g_console.connection, "\r\n%s", prompt);
  if (qelTelnet_Gets(g_console.connection, buffer, size) == nullptr) {
    if (size > 0)
      buffer[0] = '\0';
    return 1;
  }
  // A line that fills the buffer comes without a terminator.
  if (size > 0)
    buffer[size - 1] = '\0';
  return 0;
}

int qelConsole_GetLine(const char* prompt, char* buffer, size_t size, FILE* stream) {
  if (g_console.remote != 0)
    return GetRemoteLine(prompt, buffer, size);
  if (prompt != nullptr && *prompt != '\0')
    printf("\n%s", prompt);
  fflush(stdout);
  return qelConsole_ReadLine(buffer, size, stream);
}

int qelConsole_ReadLine(char* buffer, size_t size, FILE* stream) {
  if (stream == nullptr) {
    stream = stdin;
    fflush(stdin);
  }
  if (size == 0)
    return 0;
  int result = 0;
  size_t count = 0;
  while (count < size - 1) {
    int c = getc(stream);
    if (c == EOF) {
      c = '\n';
      result = 1;
    }
    if (c == '\n')
      break;
    buffer[count++] = static_cast<char>(c);
  }
  buffer[count] = '\0';
  return result;
}

void qelConsole_Printf(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  if (g_console.remote != 0) {
    Greet();
    qelTelnet_VPrintf(g_console.connection, format, arguments);
  } else {
    vprintf(format, arguments);
  }
  va_end(arguments);
}

void qelConsole_Flush() {
  if (g_console.remote == 0)
    fflush(stdout);
}

qelConsoleState* qelConsole_GetState() {
  return &g_console;
}

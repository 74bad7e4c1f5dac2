// What the telnet server says when the system or the memory fails it. The link wraps socket, listen, close,
// malloc and trio_vasprintf, which fail on demand.

#include <cerrno>
#include <cstdarg>
#include <regex>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/support/LogCapture.h>
#include <tests/support/TelnetScene.h>

using testing::ElementsAre;

static bool g_socketFails = false;
static bool g_listenFails = false;
static int g_backlog = 0;         // of the last listen
static bool g_closeFails = false; // having closed
static size_t g_mallocFails = 0;  // the size whose allocation fails; 0: none
static bool g_printFails = false;

extern "C" {
int __real_socket(int family, int type, int protocol);
int __wrap_socket(int family, int type, int protocol) {
  if (!g_socketFails)
    return __real_socket(family, type, protocol);
  errno = EMFILE;
  return -1;
}
int __real_listen(int socket, int backlog);
int __wrap_listen(int socket, int backlog) {
  g_backlog = backlog;
  if (!g_listenFails)
    return __real_listen(socket, backlog);
  errno = EADDRINUSE;
  return -1;
}
int __real_close(int socket);
int __wrap_close(int socket) {
  const int result = __real_close(socket);
  if (!g_closeFails)
    return result;
  errno = EIO;
  return -1;
}
void* __real_malloc(size_t size);
void* __wrap_malloc(size_t size) {
  return size == g_mallocFails ? nullptr : __real_malloc(size);
}
int __real_trio_vasprintf(char** result, const char* format, va_list arguments);
int __wrap_trio_vasprintf(char** result, const char* format, va_list arguments) {
  return g_printFails ? -1 : __real_trio_vasprintf(result, format, arguments);
}
}

// The lines of the telnet server, with "#" for the record's address.
static std::vector<std::string> TelnetLines(const LogCapture& log) {
  std::vector<std::string> texts;
  for (const CapturedLine& line : log.Lines())
    if (line.module == 92)
      texts.push_back(std::regex_replace(line.text, std::regex("\\[[^\\]]*\\]"), "[#]"));
  return texts;
}

// What a failed close says, whose label tells the place.
static std::string CloseLine(const char* label) {
  return "Cannot close socket #: error = " + std::to_string(EIO) + " [" + label + "]\n";
}

// The last two lines: mostly what went wrong, and what the failed close behind it says. "#" stands for the
// record's address and for socket numbers.
static std::vector<std::string> LastLines(const LogCapture& log) {
  std::vector<std::string> texts;
  for (std::string text : log.Texts()) {
    text = std::regex_replace(text, std::regex("\\[0x[^\\]]*\\]"), "[#]");
    texts.push_back(std::regex_replace(text, std::regex("socket [0-9]+"), "socket #"));
  }
  if (texts.size() > 2)
    texts.erase(texts.begin(), texts.end() - 2);
  return texts;
}

TEST(qelTelnetListenFaults, TellsWhenNoSocketIsLeft) {
  qelTelnet* const telnet = qelTelnet_New();
  LogCapture log;
  g_socketFails = true;
  EXPECT_EQ(qelTelnet_Listen(telnet, "127.0.0.1", 0), 1);
  g_socketFails = false;
  EXPECT_EQ(telnet->listenSocket, -1);
  EXPECT_THAT(TelnetLines(log),
              ElementsAre("qelTelnet_Listen: [#] Could not create listen socket\n"));
  qelTelnet_Delete(telnet);
}

TEST(qelTelnetListenFaults, TellsWhenThePortIsInUse) {
  TelnetServer holder;
  const unsigned short port = PortOf(holder.telnet);
  qelTelnet* const telnet = qelTelnet_New();
  LogCapture log;
  EXPECT_EQ(qelTelnet_Listen(telnet, "127.0.0.1", port), 1);
  EXPECT_EQ(telnet->listenSocket, -1);
  EXPECT_THAT(TelnetLines(log), ElementsAre("qelTelnet_Listen: [#] Could not bind listen socket to "
                                            "addr='127.0.0.1' port=" +
                                            std::to_string(port) + "\n"));
  qelTelnet_Delete(telnet);
}

TEST(qelTelnetListenFaults, TellsWhenListeningFails) {
  qelTelnet* const telnet = qelTelnet_New();
  LogCapture log;
  g_listenFails = true;
  EXPECT_EQ(qelTelnet_Listen(telnet, "127.0.0.1", 0), 1);
  g_listenFails = false;
  EXPECT_EQ(telnet->listenSocket, -1);
  EXPECT_THAT(TelnetLines(log), ElementsAre("qelTelnet_Listen: [#] Could not listen on socket\n"));
  qelTelnet_Delete(telnet);
}

TEST(qelTelnetListenFaults, ClosesTheSocketBehindTheMessage) {
  qelTelnet* const telnet = qelTelnet_New();
  g_closeFails = true;
  {
    LogCapture log;
    EXPECT_EQ(qelTelnet_Listen(telnet, "0.0.0.0", 0), 1);
    EXPECT_THAT(LastLines(log),
                ElementsAre("qelTelnet_Listen: [#] Could not resolve address '0.0.0.0'\n",
                            CloseLine("qelTelnet_Listen (resolve failed)")));
  }
  {
    LogCapture log;
    EXPECT_EQ(qelTelnet_Listen(telnet, "192.0.2.1", 51234), 1);
    EXPECT_THAT(LastLines(log), ElementsAre("qelTelnet_Listen: [#] Could not bind listen socket to "
                                            "addr='192.0.2.1' port=51234\n",
                                            CloseLine("qelTelnet_Listen (bind failed)")));
  }
  {
    LogCapture log;
    g_listenFails = true;
    EXPECT_EQ(qelTelnet_Listen(telnet, "127.0.0.1", 0), 1);
    g_listenFails = false;
    EXPECT_THAT(LastLines(log), ElementsAre("qelTelnet_Listen: [#] Could not listen on socket\n",
                                            CloseLine("qelTelnet_Listen (listen failed)")));
  }
  g_closeFails = false;
  EXPECT_EQ(telnet->listenSocket, -1);
  qelTelnet_Delete(telnet);
}

TEST(qelTelnetListenFaults, LetsOneClientWait) {
  TelnetServer server;
  EXPECT_TRUE(server.listening);
  EXPECT_EQ(g_backlog, 1);
}

TEST(qelTelnetCloseFaults, LeavesNoSocketBehindAFailure) {
  TelnetServer server;
  TelnetScene scene(server);
  LogCapture log;
  g_closeFails = true;
  qelTelnet_ConnectionClose(scene.connection);
  qelTelnet_Close(server.telnet);
  g_closeFails = false;
  EXPECT_THAT(LastLines(log),
              ElementsAre(CloseLine("qelTelnet_ConnectionClose"), CloseLine("qelTelnet_Close")));
  EXPECT_EQ(scene.connection->socket, -1);
  EXPECT_EQ(server.telnet->listenSocket, -1);
}

TEST(qelTelnetAcceptFaults, DropsTheClientWithoutMemory) {
  TelnetServer server;
  LoopbackClient client(PortOf(server.telnet));
  LogCapture log;
  g_mallocFails = sizeof(qelTelnetConnection);
  g_closeFails = true;
  EXPECT_EQ(qelTelnet_AcceptConnection(server.telnet), nullptr);
  g_closeFails = false;
  g_mallocFails = 0;
  EXPECT_THAT(LastLines(log),
              ElementsAre("qelTelnet_AcceptConnection: [#] Could not allocate memory\n",
                          CloseLine("qelTelnet_AcceptConnection (out of memory)")));
  EXPECT_THAT(TelnetLines(log),
              ElementsAre("qelTelnet_AcceptConnection: [#] Could not allocate memory\n"));
  EXPECT_EQ(client.ReceiveAll(), "");
}

TEST(qelTelnetPrintfFaults, TellsTheFormatWithoutMemory) {
  TelnetServer server;
  TelnetScene scene(server);
  LogCapture log;
  g_printFails = true;
  EXPECT_EQ(qelTelnet_Printf(scene.connection, "%d lines\n", 3), -1);
  g_printFails = false;
  EXPECT_THAT(TelnetLines(log),
              ElementsAre("qelTelnet_VPrintf: Could not allocate memory for a string\n",
                          "qelTelnet_VPrintf:   aFormat: '%d lines\n'\n"));
}

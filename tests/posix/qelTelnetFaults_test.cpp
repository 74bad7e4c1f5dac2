// What the telnet server says when the system or the memory fails it. The link wraps socket, listen, malloc
// and trio_vasprintf, which fail on demand.

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
static size_t g_mallocFails = 0; // the size whose allocation fails; 0: none
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
  if (!g_listenFails)
    return __real_listen(socket, backlog);
  errno = EADDRINUSE;
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

TEST(qelTelnetAcceptFaults, DropsTheClientWithoutMemory) {
  TelnetServer server;
  LoopbackClient client(PortOf(server.telnet));
  LogCapture log;
  g_mallocFails = sizeof(qelTelnetConnection);
  EXPECT_EQ(qelTelnet_AcceptConnection(server.telnet), nullptr);
  g_mallocFails = 0;
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

#include <qel/multiplatform/qelTelnet.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <random>
#include <regex>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/support/Gate.h>
#include <tests/support/LogCapture.h>
#include <tests/support/Stress.h>
#include <tests/support/TelnetScene.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// The lines of the telnet server, with "#" for the record's address and for port numbers.
std::vector<std::string> TelnetLines(const LogCapture& log) {
  std::vector<std::string> texts;
  for (const CapturedLine& line : log.Lines()) {
    if (line.module != 92)
      continue;
    EXPECT_EQ(line.level, 1u);
    EXPECT_EQ(line.file, "..\\..\\qelTelnet");
    texts.push_back(std::regex_replace(line.text, std::regex("\\[[^\\]]*\\]"), "[#]"));
  }
  return texts;
}

// The lines of the sockets, with "#" for numbers, which differ between systems.
std::vector<std::string> SocketLines(const LogCapture& log) {
  std::vector<std::string> texts;
  for (const CapturedLine& line : log.Lines())
    if (line.module == 21)
      texts.push_back(std::regex_replace(line.text, std::regex("-?[0-9]+"), "#"));
  return texts;
}

std::string Bytes(std::initializer_list<int> values) {
  std::string bytes;
  for (const int value : values)
    bytes += static_cast<char>(value);
  return bytes;
}

// A line as qelTelnet_ReadLine gives it: its result, and the buffer as far as it was written; bytes that
// were not written are "#".
std::string ReadLine(qelTelnetConnection* connection, size_t size) {
  std::string buffer(size + 2, '#');
  const int64_t count = qelTelnet_ReadLine(connection, &buffer[0], size);
  EXPECT_EQ(buffer.substr(size), "##");
  for (char& c : buffer)
    if (c == '\0')
      c = '0';
  return std::to_string(count) + ":" + buffer.substr(0, size);
}

class qelTelnetTest : public testing::Test {
protected:
  void SetUp() override { ASSERT_TRUE(server.listening); }

  TelnetServer server;
};

typedef qelTelnetTest qelTelnetListen;
typedef qelTelnetTest qelTelnetAccept;
typedef qelTelnetTest qelTelnetSend;
typedef qelTelnetTest qelTelnetProcessCommand;
typedef qelTelnetTest qelTelnetRecvChar;
typedef qelTelnetTest qelTelnetReadLine;
typedef qelTelnetTest qelTelnetClose;
typedef qelTelnetTest qelTelnetStress;

} // namespace

// Server --------------------------------------------------------------------------

TEST(qelTelnetNew, GivesAServerThatDoesNotListen) {
  qelTelnet* const telnet = qelTelnet_New();
  EXPECT_EQ(telnet->listenSocket, -1);
  EXPECT_EQ(telnet->closing, 0);
  LogCapture log;
  qelTelnet_Delete(telnet);
  qelTelnet_Delete(nullptr);
  qelTelnet_ConnectionDelete(nullptr);
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(qelTelnetListen, KeepsTheFirstSocketOnASecondCall) {
  const qelSocketHandle first = server.telnet->listenSocket;
  LogCapture log;
  EXPECT_EQ(qelTelnet_Listen(server.telnet, "127.0.0.1", 0), 1);
  EXPECT_EQ(server.telnet->listenSocket, first);
  EXPECT_THAT(TelnetLines(log),
              ElementsAre("qelTelnet_Listen: [#] Already listening. Ccurrent qelTelnet "
                          "implementation can listen on one ip/port only.\n"));
  EXPECT_TRUE(LoopbackClient(PortOf(server.telnet)).IsConnected());
}

TEST_F(qelTelnetListen, TakesNamesAndAllInterfaces) {
  static const struct {
    const char* address;
    unsigned expected; // host order
  } kCases[] = {{"127.0.0.1", 0x7F000001}, {"localhost", 0x7F000001}, {"", 0}, {nullptr, 0}};
  for (const auto& item : kCases) {
    SCOPED_TRACE(item.address != nullptr ? item.address : "(null)");
    qelTelnet* const telnet = qelTelnet_New();
    EXPECT_EQ(qelTelnet_Listen(telnet, item.address, 0), 0);
    unsigned address = 1;
    unsigned short port = 0;
    EXPECT_EQ(qelSocket_GetSockName(telnet->listenSocket, &address, &port, "test"), 0);
    EXPECT_EQ(address, item.expected);
    EXPECT_TRUE(LoopbackClient(port).IsConnected());
    qelTelnet_Delete(telnet);
  }
}

TEST_F(qelTelnetListen, CantResolveTheNumberZero) {
  qelTelnet* const telnet = qelTelnet_New();
  LogCapture log;
  EXPECT_EQ(qelTelnet_Listen(telnet, "0.0.0.0", 0), 1);
  EXPECT_EQ(telnet->listenSocket, -1);
  EXPECT_THAT(TelnetLines(log),
              ElementsAre("qelTelnet_Listen: [#] Could not resolve address '0.0.0.0'\n"));
  qelTelnet_Delete(telnet);
}

TEST_F(qelTelnetListen, FailsOnAnAddressOfAnotherMachine) {
  qelTelnet* const telnet = qelTelnet_New();
  LogCapture log;
  EXPECT_EQ(qelTelnet_Listen(telnet, "192.0.2.1", 51234), 1);
  EXPECT_EQ(telnet->listenSocket, -1);
  EXPECT_THAT(TelnetLines(log), ElementsAre("qelTelnet_Listen: [#] Could not bind listen socket "
                                            "to addr='192.0.2.1' port=51234\n"));
  // It can try again.
  EXPECT_EQ(qelTelnet_Listen(telnet, "127.0.0.1", 0), 0);
  qelTelnet_Delete(telnet);
}

TEST_F(qelTelnetListen, LetsThePortBeTakenAgainAtOnce) {
  int on = 0;
  qelSocketLength size = sizeof on;
  const qelSocketHandle socket = server.telnet->listenSocket;
  EXPECT_EQ(::getsockopt(static_cast<qelSocketNative>(socket), SOL_SOCKET, SO_REUSEADDR,
                         reinterpret_cast<char*>(&on), &size),
            0);
  EXPECT_NE(on, 0);
}

TEST_F(qelTelnetListen, ListensAgainOnceClosed) {
  qelTelnet_Close(server.telnet);
  EXPECT_EQ(qelTelnet_Listen(server.telnet, "127.0.0.1", 0), 0);
  EXPECT_EQ(server.telnet->closing, 1); // It stays set, so failed accepts stay silent.
  TelnetScene scene(server);
  ASSERT_NE(scene.connection, nullptr);
  EXPECT_EQ(qelTelnet_SendString(scene.connection, "hello"), 5);
  EXPECT_EQ(scene.client.Receive(5), "hello");
}

TEST_F(qelTelnetAccept, GivesAConnectionThatAwaitsData) {
  TelnetScene scene(server);
  ASSERT_NE(scene.connection, nullptr);
  EXPECT_NE(scene.connection->socket, -1);
  EXPECT_EQ(scene.connection->closing, 0);
  EXPECT_EQ(scene.connection->state, 0);
}

TEST_F(qelTelnetAccept, TellsOfAServerThatDoesNotListen) {
  qelTelnet* const telnet = qelTelnet_New();
  LogCapture log;
  EXPECT_EQ(qelTelnet_AcceptConnection(telnet), nullptr);
  EXPECT_THAT(TelnetLines(log),
              ElementsAre("qelTelnet_AcceptConnection: [#] Listen socket error, can not accept "
                          "connections\n"));
  qelTelnet_Delete(telnet);
}

TEST_F(qelTelnetAccept, SaysNothingOfItsOwnOnceClosed) {
  qelTelnet_Close(server.telnet);
  EXPECT_EQ(server.telnet->listenSocket, -1);
  EXPECT_EQ(server.telnet->closing, 1);
  LogCapture log;
  EXPECT_EQ(qelTelnet_AcceptConnection(server.telnet), nullptr);
  EXPECT_THAT(TelnetLines(log), IsEmpty());
  EXPECT_THAT(SocketLines(log),
              ElementsAre("About to accept on an invalid socket [qelTelnet_AcceptConnection]\n",
                          "Cannot accept from socket #: error = # [qelTelnet_AcceptConnection]\n"));
}

TEST_F(qelTelnetAccept, TakesOneClientBehindTheOther) {
  for (int i = 0; i < 3; i++) {
    TelnetScene scene(server);
    ASSERT_NE(scene.connection, nullptr);
    EXPECT_EQ(qelTelnet_SendString(scene.connection, "hello"), 5);
    EXPECT_EQ(scene.client.Receive(5), "hello");
  }
}

TEST_F(qelTelnetAccept, OutlivesItsServer) {
  TelnetScene scene(server);
  qelTelnet_Close(server.telnet);
  EXPECT_TRUE(scene.client.Send("x\n"));
  EXPECT_EQ(ReadLine(scene.connection, 4), "1:x0##");
}

// Sending --------------------------------------------------------------------------

TEST_F(qelTelnetSend, SendsBytesTextsAndCommands) {
  TelnetScene scene(server);
  EXPECT_EQ(qelTelnet_Send(scene.connection, "a\0b", 3), 3);
  EXPECT_EQ(scene.client.Receive(3), std::string("a\0b", 3));
  EXPECT_EQ(qelTelnet_Send(scene.connection, "\xFF", 1), 1);
  EXPECT_EQ(scene.client.Receive(1), "\xFF");
  EXPECT_EQ(qelTelnet_SendString(scene.connection, "text"), 4);
  EXPECT_EQ(scene.client.Receive(4), "text");
  EXPECT_EQ(qelTelnet_Printf(scene.connection, "%s-%03d%%", "n", 7), 6);
  EXPECT_EQ(scene.client.Receive(6), "n-007%");
  EXPECT_EQ(qelTelnet_SendCommand(scene.connection, qelTelnetNOP), 0);
  EXPECT_EQ(scene.client.Receive(2), Bytes({255, 241}));
  EXPECT_EQ(qelTelnet_SendOption(scene.connection, qelTelnetWILL, 3), 0);
  EXPECT_EQ(scene.client.Receive(3), Bytes({255, 251, 3}));
}

TEST_F(qelTelnetSend, PrintsLongTextsWhole) {
  TelnetScene scene(server);
  const std::string text(20000, 'x');
  EXPECT_EQ(qelTelnet_Printf(scene.connection, "%s.", text.c_str()), 20001);
  EXPECT_EQ(scene.client.Receive(20001), text + ".");
}

TEST_F(qelTelnetSend, FailsWithoutAConnection) {
  TelnetScene scene(server);
  qelTelnet_ConnectionClose(scene.connection);
  EXPECT_EQ(scene.connection->socket, -1);
  EXPECT_EQ(scene.connection->closing, 1);
  for (qelTelnetConnection* connection : {scene.connection, (qelTelnetConnection*)nullptr}) {
    EXPECT_EQ(qelTelnet_Send(connection, "x", 1), -1);
    EXPECT_EQ(qelTelnet_SendString(connection, "x"), -1);
    EXPECT_EQ(qelTelnet_Printf(connection, "%d", 1), -1);
    EXPECT_EQ(qelTelnet_SendCommand(connection, qelTelnetNOP), -1);
    EXPECT_EQ(qelTelnet_SendOption(connection, qelTelnetDO, 1), -1);
    unsigned char byte = 7;
    EXPECT_EQ(qelTelnet_RecvChar(connection, &byte), -1);
    EXPECT_EQ(byte, 7);
  }
  EXPECT_EQ(scene.client.ReceiveAll(), "");
}

// The state machine ----------------------------------------------------------------

// Every state by every byte: what is delivered, the next state, the answer, whether it closes.
TEST_F(qelTelnetProcessCommand, AnswersEachByteInEachStateByTheTable) {
  struct Row {
    int result;
    int next;
    std::string answer;
  };
  const auto expected = [](int state, int byte) -> Row {
    if (state == 0)
      return byte == 255 ? Row{1, 1, ""} : Row{0, 0, ""};
    if (state == 2 || state == 3)
      return Row{1, 0, Bytes({255, 254, byte})};
    if (state == 4 || state == 5)
      return Row{1, 0, Bytes({255, 252, byte})};
    switch (byte) {
    case 246:
      return Row{1, 0, "qelTelnet: I'm here\r\n"};
    case 251:
      return Row{1, 2, ""};
    case 252:
      return Row{1, 3, ""};
    case 253:
      return Row{1, 4, ""};
    case 254:
      return Row{1, 5, ""};
    case 255:
      return Row{0, 0, ""};
    default:
      return Row{1, 0, ""};
    }
  };
  LogCapture log;
  TelnetScene scene(server);
  for (int state = 0; state < 6; state++)
    for (int byte = 0; byte < 256; byte++) {
      if (state == 1 && byte == 244)
        continue; // It closes: the next test.
      SCOPED_TRACE(testing::Message() << "state " << state << ", byte " << byte);
      const Row row = expected(state, byte);
      scene.connection->state = state;
      const int result =
          qelTelnet_ProcessCommand(scene.connection, static_cast<unsigned char>(byte));
      EXPECT_EQ(result, row.result);
      EXPECT_EQ(scene.connection->state, row.next);
      EXPECT_EQ(qelTelnet_SendString(scene.connection, "."), 1); // Nothing else stands ahead of it.
      EXPECT_EQ(scene.client.Receive(row.answer.size() + 1), row.answer + ".");
    }
  EXPECT_THAT(TelnetLines(log), IsEmpty());
}

TEST_F(qelTelnetProcessCommand, ClosesOnAnInterrupt) {
  TelnetScene scene(server);
  scene.connection->state = 1;
  EXPECT_EQ(qelTelnet_ProcessCommand(scene.connection, qelTelnetIP), 1);
  EXPECT_EQ(scene.connection->state, 0);
  EXPECT_EQ(scene.connection->socket, -1);
  EXPECT_EQ(scene.connection->closing, 1);
  EXPECT_EQ(scene.client.ReceiveAll(), "");
}

TEST_F(qelTelnetProcessCommand, ConsumesAByteInAnUnknownState) {
  TelnetScene scene(server);
  LogCapture log;
  for (const int state : {6, -1}) {
    scene.connection->state = state;
    EXPECT_EQ(qelTelnet_ProcessCommand(scene.connection, 'x'), 1);
  }
  EXPECT_THAT(TelnetLines(log), ElementsAre("qelTelnet_ProcessCommand: Invalid telnet state 6\n",
                                            "qelTelnet_ProcessCommand: Invalid telnet state -1\n"));
  scene.connection->state = 0;
}

// Receiving ------------------------------------------------------------------------

TEST_F(qelTelnetRecvChar, TakesTheSameTable) {
  static const std::string kWays[] = {
      "", Bytes({255}), Bytes({255, 251}), Bytes({255, 252}), Bytes({255, 253}), Bytes({255, 254})};
  TelnetScene scene(server);
  for (int state = 0; state < 6; state++)
    for (int byte = 0; byte < 256; byte++) {
      if (state == 1 && byte == 244)
        continue;
      SCOPED_TRACE(testing::Message() << "state " << state << ", byte " << byte);
      // Behind it, a byte that ends whatever it began, and a mark.
      const std::string bytes = kWays[state] + static_cast<char>(byte) + "x.";
      TelnetModel model;
      model.Take(bytes);
      ASSERT_EQ(model.data.back(), '.');
      EXPECT_TRUE(scene.client.Send(bytes));
      for (const char wanted : model.data) {
        unsigned char got = 0;
        EXPECT_EQ(qelTelnet_RecvChar(scene.connection, &got), 1);
        EXPECT_EQ(got, static_cast<unsigned char>(wanted));
      }
      EXPECT_EQ(scene.connection->state, 0);
      EXPECT_EQ(scene.client.Receive(model.replies.size()), model.replies);
    }
}

TEST_F(qelTelnetRecvChar, RefusesOptionsAndAnswersAreYouThere) {
  static const struct {
    const char* label;
    std::string bytes;
    std::string data;
    std::string replies;
  } kCases[] = {
      {"escaped 255", Bytes({255, 255}), "\xFF", ""},
      {"DO 1", Bytes({255, 253, 1}), "", Bytes({255, 252, 1})},
      {"WILL 3", Bytes({255, 251, 3}), "", Bytes({255, 254, 3})},
      {"WONT 3", Bytes({255, 252, 3}), "", Bytes({255, 254, 3})},
      {"DONT 1", Bytes({255, 254, 1}), "", Bytes({255, 252, 1})},
      {"option 255", Bytes({255, 253, 255}), "", Bytes({255, 252, 255})},
      {"AYT", Bytes({255, 246}), "", "qelTelnet: I'm here\r\n"},
      {"NOP", Bytes({255, 241}), "", ""},
      // Options have no parameters here, so those of one are data.
      {"SB 24 1 SE", Bytes({255, 250, 24, 1, 255, 240}), Bytes({24, 1}), ""},
      {"in the midst", "a" + Bytes({255, 241}) + "b" + Bytes({255, 246}) + "c", "abc",
       "qelTelnet: I'm here\r\n"},
  };
  for (const auto& item : kCases) {
    SCOPED_TRACE(item.label);
    TelnetScene scene(server);
    EXPECT_TRUE(scene.client.Send(item.bytes + "."));
    for (const char wanted : item.data + ".") {
      unsigned char got = 0;
      EXPECT_EQ(qelTelnet_RecvChar(scene.connection, &got), 1);
      EXPECT_EQ(got, static_cast<unsigned char>(wanted));
    }
    qelTelnet_ConnectionClose(scene.connection);
    EXPECT_EQ(scene.client.ReceiveAll(), item.replies);
  }
}

TEST_F(qelTelnetRecvChar, GivesZeroOnAnInterruptThenMinusOne) {
  TelnetScene scene(server);
  EXPECT_TRUE(scene.client.Send("a" + Bytes({255, 244}) + "b"));
  LogCapture log;
  unsigned char byte = 0;
  EXPECT_EQ(qelTelnet_RecvChar(scene.connection, &byte), 1);
  EXPECT_EQ(byte, 'a');
  EXPECT_EQ(qelTelnet_RecvChar(scene.connection, &byte), 0);
  EXPECT_EQ(byte, 'a');
  EXPECT_EQ(qelTelnet_RecvChar(scene.connection, &byte), -1);
  EXPECT_EQ(scene.connection->socket, -1);
  EXPECT_THAT(TelnetLines(log), IsEmpty());
}

TEST_F(qelTelnetRecvChar, GivesZeroWhenTheClientHasGone) {
  TelnetScene scene(server);
  scene.client.Close();
  unsigned char byte = 7;
  EXPECT_EQ(qelTelnet_RecvChar(scene.connection, &byte), 0);
  EXPECT_EQ(qelTelnet_RecvChar(scene.connection, &byte), 0);
  EXPECT_EQ(byte, 7);
  EXPECT_NE(scene.connection->socket, -1);
}

TEST_F(qelTelnetRecvChar, GivesMinusOneOnAFailure) {
  TelnetScene scene(server);
  EXPECT_EQ(qelSocket_SetBlocking(scene.connection->socket, 0, "test"), 0);
  unsigned char byte = 7;
  EXPECT_EQ(qelTelnet_RecvChar(scene.connection, &byte), -1); // Nothing is there yet.
  EXPECT_EQ(byte, 7);
}

// Each byte is waited for, taken alone and looked at, without waiting for the next one.
TEST_F(qelTelnetRecvChar, TakesOneByteAtATime) {
  const std::string bytes = "ab" + Bytes({255, 253, 1, 255, 255, 255, 251, 255, 255, 241}) +
                            "\r\n" + Bytes({255, 246, 255, 9, 255, 252, 0, 0, 255, 254, 1}) + "z";
  TelnetScene scene(server);
  TelnetModel model;
  std::string data;
  for (const char sent : bytes) {
    EXPECT_TRUE(scene.client.Send(std::string(1, sent)));
    model.Take(static_cast<unsigned char>(sent));
    char peeked = 0;
    EXPECT_EQ(qelSocket_Recv(scene.connection->socket, &peeked, 1, MSG_PEEK, "test"), 1);
    EXPECT_EQ(peeked, sent);
    EXPECT_EQ(qelSocket_SetBlocking(scene.connection->socket, 0, "test"), 0);
    unsigned char byte = 0;
    const int result = qelTelnet_RecvChar(scene.connection, &byte);
    EXPECT_EQ(qelSocket_SetBlocking(scene.connection->socket, 1, "test"), 0);
    if (result == 1)
      data += static_cast<char>(byte);
    else
      EXPECT_EQ(result, -1);
    EXPECT_EQ(data, model.data);
  }
  qelTelnet_ConnectionClose(scene.connection);
  EXPECT_EQ(scene.client.ReceiveAll(), model.replies);
}

TEST_F(qelTelnetRecvChar, AgreesWithTheModelOnRandomStreams) {
  std::mt19937 random(92);
  const int kLikely[] = {255, 254, 253, 252, 251, 246, 241, 240, 0, 13, 10, 'a'};
  for (int round = 0; round < 40; round++) {
    SCOPED_TRACE(round);
    TelnetScene scene(server);
    TelnetModel model;
    std::string bytes;
    for (size_t n = random() % 1500; n > 0; n--) {
      // Interrupts are rare, so that most streams go on for long.
      const int byte = random() % 800 == 0 ? 244
                       : random() % 8 != 0 ? kLikely[random() % 12]
                                           : static_cast<int>(random() % 244);
      bytes += static_cast<char>(byte);
    }
    model.Take(bytes);
    for (size_t at = 0; at < bytes.size();) {
      const std::string piece = bytes.substr(at, 1 + random() % 200);
      EXPECT_TRUE(scene.client.Send(piece));
      at += piece.size();
    }
    scene.client.EndSending();
    std::string data;
    unsigned char byte = 0;
    while (qelTelnet_RecvChar(scene.connection, &byte) == 1)
      data += static_cast<char>(byte);
    EXPECT_EQ(data, model.data);
    EXPECT_EQ(scene.connection->socket == -1, model.closed);
    if (!model.closed) { // An interrupted connection may be broken off, with the replies lost.
      qelTelnet_ConnectionClose(scene.connection);
      EXPECT_EQ(scene.client.ReceiveAll(), model.replies);
    }
  }
}

// Lines ------------------------------------------------------------------------------

TEST_F(qelTelnetReadLine, EndsAtALineFeedANulOrAFullBuffer) {
  static const struct {
    std::string bytes; // then the client ends
    size_t size;
    std::vector<std::string> lines;
  } kCases[] = {
      {"", 4, {"-1:####"}},
      {"ab\r\n", 6, {"2:ab0###", "-1:######"}},
      {"ab\n", 6, {"2:ab0###"}},
      {std::string("ab\0", 3), 6, {"2:ab0###"}},
      {std::string("ab\r\0c\n", 6), 6, {"2:ab0###", "1:c0####"}},
      {"ab\n", 3, {"2:ab0"}},
      {"ab\r\n", 2, {"2:ab", "0:0#", "-1:##"}},
      {"abc\n", 2, {"2:ab", "1:c0"}},
      {"a\n", 1, {"1:a", "0:0"}},
      {"\n\n", 4, {"0:0###", "0:0###", "-1:####"}},
      {"\r\r\n", 4, {"0:0###"}},
      {"a\rb\r\r\n", 6, {"2:ab0###"}},
      {"\x7F\x08\t\n", 6, {"3:\x7F\x08\t0##"}},
      {"a" + Bytes({255, 241}) + "b" + Bytes({255, 253, 10}) + "c\n", 6, {"3:abc0##"}},
      {Bytes({255, 255, '\n'}),
       4,
       {"1:\xFF"
        "0##"}},
      {"ab", 6, {"-1:ab####"}},
      {"ab\r", 6, {"-1:ab####"}},
      {"ab", 2, {"2:ab", "-1:##"}},
      {"ab" + Bytes({255, 244}) + "c\n", 6, {"-1:ab####", "-1:######"}},
      {"ab" + Bytes({255}), 6, {"-1:ab####"}},
  };
  for (const auto& item : kCases) {
    SCOPED_TRACE(testing::PrintToString(item.bytes));
    TelnetScene scene(server);
    EXPECT_TRUE(scene.client.Send(item.bytes));
    scene.client.EndSending();
    for (const std::string& line : item.lines)
      EXPECT_EQ(ReadLine(scene.connection, item.size), line);
  }
}

TEST_F(qelTelnetReadLine, ReadsNothingIntoABufferOfNoSize) {
  TelnetScene scene(server);
  EXPECT_TRUE(scene.client.Send("ab\n"));
  EXPECT_EQ(qelTelnet_ReadLine(scene.connection, nullptr, 0), 0);
  EXPECT_EQ(qelTelnet_ReadLine(nullptr, nullptr, 0), 0);
  EXPECT_EQ(ReadLine(scene.connection, 4), "2:ab0#");
}

TEST_F(qelTelnetReadLine, GivesMinusOneWithoutAConnection) {
  char buffer[4] = "old";
  EXPECT_EQ(qelTelnet_ReadLine(nullptr, buffer, sizeof buffer), -1);
  EXPECT_EQ(qelTelnet_Gets(nullptr, buffer, sizeof buffer), nullptr);
  EXPECT_STREQ(buffer, "old");
}

// On a socket that does not wait, a missing byte is a failure that can be had at will.
TEST_F(qelTelnetReadLine, CountsTheLastByteAgainOnAFailure) {
  static const struct {
    std::string bytes;
    const char* line;
  } kCases[] = {
      {"ab", "6:abbbbb"},
      {"a", "6:aaaaaa"},
      {"ab" + Bytes({255, 241}), "6:abbbbb"}, // A command is no byte of the line.
      {"\r", "-1:######"},
      {"ab\r", "-1:ab####"},
      {Bytes({255, 241}), "-1:######"},
  };
  for (const auto& item : kCases) {
    SCOPED_TRACE(testing::PrintToString(item.bytes));
    TelnetScene scene(server);
    EXPECT_TRUE(scene.client.Send(item.bytes));
    char peeked[8];
    const int n = static_cast<int>(item.bytes.size());
    AwaitThat([&] {
      return qelSocket_Recv(scene.connection->socket, peeked, sizeof peeked, MSG_PEEK, "test") == n;
    });
    EXPECT_EQ(qelSocket_SetBlocking(scene.connection->socket, 0, "test"), 0);
    EXPECT_EQ(ReadLine(scene.connection, 6), item.line);
    EXPECT_EQ(ReadLine(scene.connection, 6), "-1:######"); // Nothing to repeat any more.
  }
}

TEST_F(qelTelnetReadLine, IsGetsWithTheBufferAsItsResult) {
  TelnetScene scene(server);
  EXPECT_TRUE(scene.client.Send("ab\nlong\n"));
  char buffer[4] = "###";
  EXPECT_EQ(qelTelnet_Gets(scene.connection, buffer, 4), buffer);
  EXPECT_STREQ(buffer, "ab");
  EXPECT_EQ(qelTelnet_Gets(scene.connection, buffer, 4), buffer);
  EXPECT_EQ(memcmp(buffer, "long", 4), 0);
  EXPECT_EQ(qelTelnet_Gets(scene.connection, buffer, 4), buffer);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(qelTelnet_Gets(scene.connection, buffer, 0), buffer);
  scene.client.Close();
  EXPECT_EQ(qelTelnet_Gets(scene.connection, buffer, 4), nullptr);
}

// The whole lines of a text, without carriage returns.
static std::string WholeLines(const std::string& data) {
  std::string lines = data.substr(0, data.rfind('\n') + 1);
  lines.erase(std::remove(lines.begin(), lines.end(), '\r'), lines.end());
  return lines;
}

// A client that goes behind each byte of a talk: it ends its direction, closes, or breaks off.
TEST_F(qelTelnetReadLine, EndsWhenTheClientVanishesAtAnyPoint) {
  const std::string talk = "ab\r\n" + Bytes({255, 253, 1}) + "c" + Bytes({255, 255, 255, 241}) +
                           "d\r\n" + Bytes({255, 251, 3, 255, 246}) + "e\r\n" +
                           Bytes({255, 250, 24, 255, 240}) + "f" + Bytes({255, 244}) + "g\n";
  enum { kEnds, kCloses, kBreaksOff };
  for (size_t n = 0; n <= talk.size(); n++)
    for (const int way : {kEnds, kCloses, kBreaksOff}) {
      SCOPED_TRACE(testing::Message() << n << " bytes, way " << way);
      TelnetScene scene(server);
      ASSERT_NE(scene.connection, nullptr);
      TelnetModel model;
      model.Take(talk.substr(0, n));
      EXPECT_TRUE(scene.client.Send(talk.substr(0, n)));
      if (way == kEnds)
        scene.client.EndSending();
      else if (way == kCloses)
        scene.client.Close();
      else
        scene.client.Reset();
      std::string lines;
      char buffer[16] = "";
      size_t reads = 0;
      while (reads < 8 && qelTelnet_ReadLine(scene.connection, buffer, sizeof buffer) >= 0) {
        lines += std::string(buffer, strnlen(buffer, sizeof buffer)) + "\n";
        reads += 1;
      }
      EXPECT_LT(reads, 8u);
      // An answer to a client that has closed breaks off, and what came ahead of it may be lost. So is
      // what was not read when the client breaks off.
      if (way == kEnds || (way == kCloses && model.replies.empty())) {
        EXPECT_EQ(lines, WholeLines(model.data));
      }
      // Sending to nobody fails sooner or later, and does no harm.
      for (int i = 0; i < 3; i++)
        EXPECT_LE(qelTelnet_SendString(scene.connection, "x"), 1);
    }
}

TEST_F(qelTelnetAccept, SurvivesAClientThatHasGoneBefore) {
  LoopbackClient(PortOf(server.telnet)).Reset();
  TelnetScene next(server); // The one that has gone, or, where it is forgotten, the next one.
  ASSERT_NE(next.connection, nullptr);
  unsigned char byte = 0;
  next.client.Close();
  EXPECT_LE(qelTelnet_RecvChar(next.connection, &byte), 0);
}

// Closing ------------------------------------------------------------------------------

TEST_F(qelTelnetClose, TellsOfASecondCall) {
  TelnetScene scene(server);
  LogCapture log;
  qelTelnet_Close(server.telnet);
  qelTelnet_ConnectionClose(scene.connection);
  EXPECT_THAT(log.Texts(), IsEmpty());
  qelTelnet_Close(server.telnet);
  qelTelnet_ConnectionClose(scene.connection);
  EXPECT_THAT(SocketLines(log),
              ElementsAre("About to close an invalid socket [qelTelnet_Close]\n",
                          "Cannot close socket #: error = # [qelTelnet_Close]\n",
                          "About to close an invalid socket [qelTelnet_ConnectionClose]\n",
                          "Cannot close socket #: error = # [qelTelnet_ConnectionClose]\n"));
  EXPECT_EQ(log.Lines().size(), 4u);
}

// Closing from another thread ------------------------------------------------------------

TEST_F(qelTelnetClose, EndsABlockedAccept) {
  LogCapture log;
  qelTelnetConnection* connection = nullptr;
  std::thread waiter([&] { connection = qelTelnet_AcceptConnection(server.telnet); });
  AwaitThat([&] { return server.telnet->blocked == 1; });
  qelTelnet_Close(server.telnet);
  waiter.join();
  EXPECT_EQ(connection, nullptr);
  EXPECT_EQ(server.telnet->listenSocket, -1);
  EXPECT_THAT(TelnetLines(log), IsEmpty());
}

TEST_F(qelTelnetClose, EndsABlockedReceive) {
  TelnetScene scene(server);
  LogCapture log;
  int result = 7;
  unsigned char byte = 0;
  std::thread waiter([&] { result = qelTelnet_RecvChar(scene.connection, &byte); });
  AwaitThat([&] { return scene.connection->blocked == 1; });
  qelTelnet_ConnectionClose(scene.connection);
  waiter.join();
  EXPECT_EQ(result, 0);
  EXPECT_EQ(scene.connection->socket, -1);
  EXPECT_EQ(scene.client.ReceiveAll(), "");
  EXPECT_THAT(TelnetLines(log), IsEmpty());
}

TEST_F(qelTelnetClose, EndsABlockedLine) {
  TelnetScene scene(server);
  EXPECT_TRUE(scene.client.Send("ab" + Bytes({255, 246})));
  int64_t result = 7;
  char buffer[16];
  std::thread waiter([&] { result = qelTelnet_ReadLine(scene.connection, buffer, sizeof buffer); });
  // Once the answer is there, "ab" has been taken.
  EXPECT_EQ(scene.client.Receive(21), "qelTelnet: I'm here\r\n");
  qelTelnet_ConnectionClose(scene.connection);
  waiter.join();
  EXPECT_EQ(result, -1);
}

TEST_F(qelTelnetClose, EndsABlockedSend) {
  TelnetScene scene(server);
  LogCapture log;
  const std::string much(64u << 20,
                         'x'); // More than the system keeps for a client that does not read.
  int result = 7;
  std::thread sender([&] { result = qelTelnet_Send(scene.connection, much.data(), much.size()); });
  EXPECT_EQ(scene.client.Receive(1), "x");
  qelTelnet_ConnectionClose(scene.connection);
  sender.join();
  EXPECT_LT(result, static_cast<int>(much.size()));
  EXPECT_EQ(scene.connection->socket, -1);
  EXPECT_EQ(qelTelnet_SendString(scene.connection, "x"), -1);
  EXPECT_THAT(TelnetLines(log), IsEmpty());
}

// Such a callback may wait for a lock that the closing thread holds.
TEST_F(qelTelnetClose, DoesNotWaitForEverForALogCallback) {
  const LogCapture log;
  std::atomic<bool> closed{false};
  qelToolsLog_SetCallback(
      [](const qelToolsLogLine*, void* context) {
        AwaitThat([&] { return static_cast<std::atomic<bool>*>(context)->load(); });
      },
      &closed);
  std::thread waiter([&] { EXPECT_EQ(qelTelnet_AcceptConnection(server.telnet), nullptr); });
  AwaitThat([&] { return server.telnet->blocked == 1; });
  qelTelnet_Close(server.telnet);
  EXPECT_EQ(server.telnet->blocked, 1); // Its line is not done yet.
  EXPECT_EQ(server.telnet->listenSocket, -1);
  closed = true;
  waiter.join();
}

// The moment of the closing is left to chance.
TEST_F(qelTelnetStress, CloseMeetsAnAcceptAnywhere) {
  for (int round = 0; round < StressRounds(); round++) {
    LogCapture log;
    TelnetServer closed;
    Gate gate(2);
    qelTelnetConnection* connection = nullptr;
    std::thread waiter([&] {
      gate.Pass();
      connection = qelTelnet_AcceptConnection(closed.telnet);
    });
    gate.Pass();
    for (int i = round % 8; i > 0; i--)
      std::this_thread::yield();
    qelTelnet_Close(closed.telnet);
    waiter.join();
    EXPECT_EQ(connection, nullptr);
    EXPECT_THAT(TelnetLines(log), IsEmpty());
  }
}

TEST_F(qelTelnetStress, CloseMeetsATalkAnywhere) {
  for (int round = 0; round < StressRounds(); round++) {
    TelnetScene scene(server);
    Gate gate(2);
    std::string data;
    int last = 7;
    std::thread reader([&] {
      unsigned char byte = 0;
      gate.Pass();
      while ((last = qelTelnet_RecvChar(scene.connection, &byte)) == 1)
        data += static_cast<char>(byte);
    });
    gate.Pass();
    EXPECT_TRUE(scene.client.Send("abc" + Bytes({255, 246}) + "def"));
    for (int i = round % 8; i > 0; i--)
      std::this_thread::yield();
    qelTelnet_ConnectionClose(scene.connection);
    reader.join();
    EXPECT_TRUE(last == 0 || last == -1) << last; // -1: it was closed ahead of the call.
    EXPECT_EQ(data, std::string("abcdef").substr(0, data.size()));
    EXPECT_EQ(scene.connection->socket, -1);
  }
}

// A socket that another thread opens meanwhile gets the number at once; nobody may read from it.
TEST_F(qelTelnetStress, CloseNeverLeadsAReaderToAnotherSocket) {
  for (int round = 0; round < StressRounds(); round++) {
    TelnetScene scene(server);
    Gate gate(2);
    std::string data;
    std::thread reader([&] {
      unsigned char byte = 0;
      gate.Pass();
      while (qelTelnet_RecvChar(scene.connection, &byte) == 1)
        data += static_cast<char>(byte);
    });
    gate.Pass();
    qelTelnet_ConnectionClose(scene.connection);
    TelnetScene other(server);
    EXPECT_TRUE(other.client.Send("x"));
    unsigned char byte = 0;
    EXPECT_EQ(qelTelnet_RecvChar(other.connection, &byte), 1);
    EXPECT_EQ(byte, 'x');
    reader.join();
    EXPECT_EQ(data, "");
  }
}

// The table of open sockets and the copies of their traffic.

#include <qel/multiplatform/qelSocketLog.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/support/LogCapture.h>
#include <tests/support/Sockets.h>
#include <tests/support/TempDir.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

const char kClosingMark[] = "\r\n*** CLOSED ***\r\n";

std::string N(int64_t number) {
  return std::to_string(number);
}

// Works in a directory of its own that has a folder "socket".
class SocketLogTest : public ::testing::Test {
protected:
  SocketLogTest() : m_oldPath(std::filesystem::current_path()) {
    m_dir.MakeDir("socket");
    std::filesystem::current_path(TempDir::Native(m_dir.Path()));
  }
  ~SocketLogTest() override {
    qelToolsLog_SetModules("");
    std::filesystem::current_path(m_oldPath);
  }

  static std::string FileName(unsigned short peerPort, qelSocketHandle socket) {
    return "socket/127.0.0.1-" + N(peerPort) + "-[" + N(socket) + "].txt";
  }
  std::vector<std::string> Files() const {
    std::vector<std::string> names;
    if (!m_dir.Has("socket"))
      return names;
    for (const auto& entry :
         std::filesystem::directory_iterator(TempDir::Native(m_dir.Path("socket"))))
      names.push_back("socket/" + entry.path().filename().u8string());
    std::sort(names.begin(), names.end());
    return names;
  }

  uint64_t Size(const std::string& name) const {
    return std::filesystem::file_size(TempDir::Native(m_dir.Path(name)));
  }

  TempDir m_dir;
  std::filesystem::path m_oldPath;
  LogCapture m_log{5};
};

using QelSocketLogStatus = SocketLogTest;
using QelSocketLogEnabling = SocketLogTest;
using QelSocketLogTraffic = SocketLogTest;
using QelSocketLogSlots = SocketLogTest;

std::vector<qelSocketLogEntry> Entries() {
  std::vector<qelSocketLogEntry> entries(qelSocketLogEntries);
  qelSocketLog_GetEntries(entries.data());
  return entries;
}

int CountEntries() {
  int count = 0;
  for (const qelSocketLogEntry& entry : Entries())
    count += entry.socket != 0;
  return count;
}

qelSocketLogEntry EntryOf(qelSocketHandle socket) {
  for (const qelSocketLogEntry& entry : Entries())
    if (entry.socket == socket)
      return entry;
  return {};
}

// Closed with its log.
struct LoggedSocket {
  qelSocketHandle handle;

  explicit LoggedSocket(int type, const char* label = "mine")
      : handle(qelSocket_New(AF_INET, type, 0, label, 0)) {}
  explicit LoggedSocket(qelSocketHandle accepted) : handle(accepted) {}
  ~LoggedSocket() { Close(); }
  LoggedSocket(const LoggedSocket&) = delete;
  LoggedSocket& operator=(const LoggedSocket&) = delete;

  void Close() {
    if (handle != -1)
      qelSocket_Close(handle, "mine", 0);
    handle = -1;
  }
  void Bind() const {
    const sockaddr_in address = LoopbackAddress(0);
    TestSocket::Require(qelSocket_Bind(handle, AsAddress(address), sizeof(address), "mine"));
  }
  void Connect(unsigned short port) const {
    const sockaddr_in address = LoopbackAddress(port);
    TestSocket::Require(qelSocket_Connect(handle, AsAddress(address), sizeof(address), "mine"));
  }
  unsigned short Port() const {
    unsigned short port = 0;
    TestSocket::Require(qelSocket_GetSockName(handle, nullptr, &port, "mine"));
    return port;
  }
};

// Status table -------------------------------------------------------------------

TEST(QelSocketLogStateLabel, NamesEachState) {
  EXPECT_STREQ(qelSocketLog_StateLabel(0), "Not Inited");
  EXPECT_STREQ(qelSocketLog_StateLabel(1), "Created");
  EXPECT_STREQ(qelSocketLog_StateLabel(2), "Connected");
  EXPECT_STREQ(qelSocketLog_StateLabel(3), "Listening");
  EXPECT_STREQ(qelSocketLog_StateLabel(4), "Closed");
  EXPECT_EQ(qelSocketLog_StateLabel(5), nullptr);
}

TEST_F(QelSocketLogStatus, FollowsAConnectionFromCreationToClose) {
  qelToolsLog_SetModules("53");
  static const char kLabel[] = "client";
  LoggedSocket listener(SOCK_STREAM);
  EXPECT_EQ(EntryOf(listener.handle).state, 1u);
  EXPECT_EQ(EntryOf(listener.handle).accepted, 0u);
  EXPECT_EQ(EntryOf(listener.handle).localPort, 0u);
  listener.Bind();
  ASSERT_EQ(qelSocket_Listen(listener.handle, 1, "mine"), 0);
  EXPECT_EQ(EntryOf(listener.handle).state, 3u);
  EXPECT_EQ(EntryOf(listener.handle).localPort, listener.Port());
  EXPECT_EQ(EntryOf(listener.handle).peerPort, 0u);

  LoggedSocket client(SOCK_STREAM, kLabel);
  client.Connect(listener.Port());
  LoggedSocket server(qelSocket_Accept(listener.handle, nullptr, nullptr, "accepted"));
  EXPECT_EQ(EntryOf(client.handle).state, 2u);
  EXPECT_EQ(EntryOf(client.handle).label, kLabel);
  EXPECT_EQ(EntryOf(client.handle).localPort, client.Port());
  EXPECT_EQ(EntryOf(client.handle).peerPort, listener.Port());
  EXPECT_EQ(EntryOf(server.handle).state, 2u);
  EXPECT_EQ(EntryOf(server.handle).accepted, 1u);
  EXPECT_STREQ(EntryOf(server.handle).label, "accepted");
  EXPECT_EQ(EntryOf(server.handle).peerPort, client.Port());

  const qelSocketHandle number = client.handle;
  const std::vector<qelSocketLogEntry> before = Entries();
  const auto at =
      std::find_if(before.begin(), before.end(),
                   [&](const qelSocketLogEntry& entry) { return entry.socket == number; }) -
      before.begin();
  client.Close();
  EXPECT_EQ(Entries()[static_cast<size_t>(at)].socket, 0);
  EXPECT_EQ(Entries()[static_cast<size_t>(at)].state, 4u);
}

TEST_F(QelSocketLogStatus, CountsTheSizesThatWereAskedFor) {
  qelToolsLog_SetModules("53");
  LoggedSocket listener(SOCK_STREAM);
  listener.Bind();
  ASSERT_EQ(qelSocket_Listen(listener.handle, 1, "mine"), 0);
  LoggedSocket client(SOCK_STREAM);
  client.Connect(listener.Port());
  LoggedSocket server(qelSocket_Accept(listener.handle, nullptr, nullptr, "mine"));
  EXPECT_EQ(SendText(client.handle, "abc"), 3);
  EXPECT_EQ(SendText(client.handle, "de"), 2);
  char buffer[100];
  EXPECT_GT(qelSocket_Recv(server.handle, buffer, 100, 0, "mine"), 0);
  EXPECT_EQ(EntryOf(client.handle).bytesSent, 5u);
  EXPECT_EQ(EntryOf(client.handle).bytesReceived, 0u);
  EXPECT_EQ(EntryOf(server.handle).bytesSent, 0u);
  EXPECT_EQ(EntryOf(server.handle).bytesReceived, 100u);
  EXPECT_THAT(Files(), IsEmpty());
}

TEST_F(QelSocketLogStatus, LearnsThePortsOfAConnectionThatWasUnderWay) {
  qelToolsLog_SetModules("53");
  const TestSocket listener = TestSocket::Listening();
  LoggedSocket client(SOCK_STREAM);
  ASSERT_EQ(qelSocket_SetBlocking(client.handle, 0, "mine"), 0);
  const sockaddr_in address = LoopbackAddress(listener.Port());
  EXPECT_EQ(qelSocket_Connect(client.handle, AsAddress(address), sizeof(address), "mine"), -1);
  EXPECT_EQ(qelSocket_GetLastError(), qelSocketErrorConnecting);
  EXPECT_EQ(EntryOf(client.handle).state, 2u);
  fd_set set;
  FD_ZERO(&set);
  FD_SET(static_cast<qelSocketNative>(client.handle), &set);
  ASSERT_EQ(qelSocket_Select(nullptr, &set, nullptr, static_cast<int>(client.handle), nullptr), 1);
  ASSERT_EQ(SendText(client.handle, "x"), 1);
  EXPECT_EQ(EntryOf(client.handle).peerPort, listener.Port());
}

TEST_F(QelSocketLogStatus, LearnsThePortsWithEachTransfer) {
  for (const bool sends : {true, false}) {
    qelToolsLog_SetModules("53");
    LoggedSocket socket(SOCK_DGRAM);
    qelToolsLog_SetModules("7"); // the connection is not seen
    socket.Bind();
    socket.Connect(socket.Port());
    if (!sends) {
      ASSERT_EQ(SendText(socket.handle, "x"), 1);
    }
    qelToolsLog_SetModules("53");
    EXPECT_EQ(EntryOf(socket.handle).localPort, 0u);
    EXPECT_EQ(EntryOf(socket.handle).peerPort, 0u);
    if (sends) {
      ASSERT_EQ(SendText(socket.handle, "x"), 1);
    } else {
      ASSERT_EQ(Receive(socket.handle), "x");
    }
    EXPECT_EQ(EntryOf(socket.handle).localPort, socket.Port());
    EXPECT_EQ(EntryOf(socket.handle).peerPort, socket.Port());
    EXPECT_EQ(EntryOf(socket.handle).state, 1u);
  }
}

TEST_F(QelSocketLogStatus, StartsAnewInARecordThatWasUsed) {
  qelToolsLog_SetModules("53");
  ASSERT_EQ(CountEntries(), 0);
  LoggedSocket first(SOCK_DGRAM);
  first.Bind();
  first.Connect(first.Port());
  ASSERT_EQ(SendText(first.handle, "x"), 1);
  ASSERT_EQ(Receive(first.handle), "x");
  first.Close();
  const LoggedSocket second(SOCK_DGRAM, "second");
  const qelSocketLogEntry entry = Entries()[0];
  EXPECT_EQ(entry.socket, second.handle);
  EXPECT_STREQ(entry.label, "second");
  EXPECT_EQ(entry.bytesSent, 0u);
  EXPECT_EQ(entry.bytesReceived, 0u);
  EXPECT_EQ(entry.state, 1u);
  EXPECT_EQ(entry.localPort, 0u);
  EXPECT_EQ(entry.peerPort, 0u);
}

TEST_F(QelSocketLogStatus, HasNoPlaceForTheFiftyFirst) {
  qelToolsLog_SetModules("53");
  ASSERT_EQ(CountEntries(), 0);
  {
    std::vector<std::unique_ptr<LoggedSocket>> sockets;
    for (int i = 0; i < 51; ++i)
      sockets.push_back(std::make_unique<LoggedSocket>(SOCK_DGRAM));
    EXPECT_EQ(CountEntries(), 50);
    for (int i = 0; i < 50; ++i)
      EXPECT_EQ(EntryOf(sockets[static_cast<size_t>(i)]->handle).state, 1u);
    const LoggedSocket& last = *sockets[50];
    EXPECT_EQ(EntryOf(last.handle).socket, 0);
    last.Bind();
    last.Connect(last.Port());
    EXPECT_EQ(SendText(last.handle, "works"), 5);
    EXPECT_EQ(Receive(last.handle), "works");
    EXPECT_EQ(CountEntries(), 50);
    EXPECT_THAT(m_log.Texts(), IsEmpty());
    sockets[7]->Close();
    const LoggedSocket later(SOCK_DGRAM);
    EXPECT_EQ(Entries()[7].socket, later.handle) << "the first free record is taken";
  }
  EXPECT_EQ(CountEntries(), 0);
}

TEST_F(QelSocketLogStatus, IgnoresSocketsThatItDoesNotKnow) {
  qelToolsLog_SetModules("53");
  const auto free = Entries();
  for (const qelSocketHandle socket : {qelSocketHandle(987654), qelSocketHandle(0)}) {
    qelSocketLog_Connected(socket);
    qelSocketLog_Listening(socket);
    qelSocketLog_Sent(socket, 5);
    qelSocketLog_Received(socket, 5);
    qelSocketLog_Closed(socket);
  }
  const auto after = Entries();
  for (size_t i = 0; i < after.size(); ++i) {
    EXPECT_EQ(after[i].socket, free[i].socket);
    EXPECT_EQ(after[i].state, free[i].state);
    EXPECT_EQ(after[i].bytesSent, free[i].bytesSent);
  }
}

TEST_F(QelSocketLogStatus, DoesNotSeeQuietSockets) {
  qelToolsLog_SetModules("");
  const int before = CountEntries();
  const TestSocket socket = TestSocket::UDP();
  EXPECT_EQ(CountEntries(), before);
  EXPECT_EQ(_Log_Buffer_CountOpen(), 0);
}

// What enables what ----------------------------------------------------------------

TEST_F(QelSocketLogEnabling, NeedsAThresholdAboveFour) {
  for (const uint16_t level : {uint16_t(0), uint16_t(2), uint16_t(4)}) {
    qelToolsLog_SetLevel(level);
    LoggedSocket socket(SOCK_DGRAM);
    socket.Bind();
    socket.Connect(socket.Port());
    EXPECT_EQ(SendText(socket.handle, "x"), 1);
    EXPECT_EQ(Receive(socket.handle), "x");
    EXPECT_EQ(CountEntries(), 0);
    EXPECT_EQ(_Log_Buffer_CountOpen(), 0);
  }
  EXPECT_THAT(Files(), IsEmpty());
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(QelSocketLogEnabling, OfTheFilesNeedsBothModules) {
  const struct {
    const char* modules;
    int slots;
    int entries;
  } kTable[] = {
      {"21", 0, 0},    {"55", 0, 0},       {"53", 0, 1},
      {"21,55", 1, 0}, {"21,53,55", 1, 1}, {"21,53", 0, 1},
  };
  for (const auto& row : kTable) {
    qelToolsLog_SetModules(row.modules);
    const LoggedSocket socket(SOCK_DGRAM);
    EXPECT_EQ(_Log_Buffer_CountOpen(), row.slots) << row.modules;
    EXPECT_EQ(CountEntries(), row.entries) << row.modules;
  }
}

// Traffic files ------------------------------------------------------------------

TEST_F(QelSocketLogTraffic, HasTheBytesOfBothDirectionsAndTheClosingMark) {
  const TestSocket listener = TestSocket::Listening();
  LoggedSocket client(SOCK_STREAM);
  client.Connect(listener.Port());
  LoggedSocket server(qelSocket_Accept(listener, nullptr, nullptr, "mine"));
  const std::string clientFile = FileName(listener.Port(), client.handle);
  const std::string serverFile = FileName(client.Port(), server.handle);
  EXPECT_THAT(Files(), IsEmpty()) << "nothing has been carried";

  EXPECT_EQ(SendText(client.handle, std::string("a\0\r\n", 4)), 4);
  EXPECT_EQ(Receive(server.handle).size(), 4u);
  EXPECT_EQ(SendText(server.handle, "answer"), 6);
  EXPECT_EQ(Receive(client.handle), "answer");
  EXPECT_THAT(Files(), SizeIs(2));
  const std::string both = std::string("a\0\r\n", 4) + "answer";
  EXPECT_EQ(m_dir.Read(clientFile), both);
  EXPECT_EQ(m_dir.Read(serverFile), both);

  client.Close();
  EXPECT_EQ(m_dir.Read(clientFile), both + kClosingMark);
  EXPECT_EQ(Receive(server.handle), "") << "the peer's end is a transfer of nothing";
  EXPECT_EQ(m_dir.Read(serverFile), both);
  server.Close();
  EXPECT_EQ(m_dir.Read(serverFile), both + kClosingMark);
  EXPECT_EQ(_Log_Buffer_CountOpen(), 0);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(QelSocketLogTraffic, HasWhatWentThroughAndNotWhatWasAskedFor) {
  const TestSocket listener = TestSocket::Listening();
  ASSERT_EQ(qelSocket_SetRecvBuffer(listener, 8192, "mine"), 0);
  LoggedSocket client(SOCK_STREAM);
  ASSERT_EQ(qelSocket_SetSendBuffer(client.handle, 8192, "mine"), 0);
  client.Connect(listener.Port());
  const LoggedSocket server(qelSocket_Accept(listener, nullptr, nullptr, "mine"));
  ASSERT_EQ(qelSocket_SetBlocking(client.handle, 0, "mine"), 0);
  const std::string block(65536, 'x');
  size_t total = 0;
  int count = 0;
  // The buffers of both ends hold less than this.
  for (int i = 0; i < 4096; ++i) {
    count = SendText(client.handle, block);
    if (count < 0)
      break;
    total += static_cast<size_t>(count);
  }
  ASSERT_EQ(count, -1);
  EXPECT_EQ(qelSocket_WouldBlock(), 1) << "the failed transfer's error is kept";
  EXPECT_EQ(Size(FileName(listener.Port(), client.handle)), total);
  qelSocket_SetLastError(0);
  char byte;
  EXPECT_EQ(qelSocket_Recv(client.handle, &byte, 1, 0, "mine"), -1);
  EXPECT_EQ(qelSocket_WouldBlock(), 1);
  EXPECT_EQ(Size(FileName(listener.Port(), client.handle)), total)
      << "a failed receive writes nothing";
}

TEST_F(QelSocketLogTraffic, OfDatagramsIsKeptForAConnectedSocket) {
  LoggedSocket socket(SOCK_DGRAM);
  socket.Bind();
  socket.Connect(socket.Port());
  EXPECT_EQ(SendText(socket.handle, "ping"), 4);
  EXPECT_EQ(Receive(socket.handle), "ping");
  const std::string file = FileName(socket.Port(), socket.handle);
  EXPECT_EQ(m_dir.Read(file), "pingping");
  // sendto and recvfrom are not copied.
  EXPECT_EQ(qelSocket_SendTo(socket.handle, "to", 2, 0, nullptr, 0, "mine"), 2);
  char buffer[8];
  EXPECT_EQ(qelSocket_RecvFrom(socket.handle, buffer, 8, 0, nullptr, nullptr, "mine"), 2);
  EXPECT_EQ(m_dir.Read(file), "pingping");
}

TEST_F(QelSocketLogTraffic, WithoutAPeerGetsNoFile) {
  LoggedSocket socket(SOCK_DGRAM);
  socket.Bind();
  const TestSocket sender = TestSocket::UDP();
  const sockaddr_in to = LoopbackAddress(socket.Port());
  ASSERT_EQ(qelSocket_SendTo(sender, "x", 1, 0, AsAddress(to), sizeof(to), "mine"), 1);
  EXPECT_EQ(Receive(socket.handle), "x");
  const std::string text = "Cannot get peer name for socket " + N(socket.handle) +
                           ": error = " + N(qelSocketErrorNotConnected) +
                           " [_Log_Buffer_GetFileName]\n";
  EXPECT_THAT(m_log.Texts(), ElementsAre(text));
  EXPECT_THAT(Files(), IsEmpty());
  socket.Close();
  EXPECT_THAT(Files(), IsEmpty());
}

TEST_F(QelSocketLogTraffic, ThatWasNoneLeavesNothingAtTheClose) {
  const TestSocket listener = TestSocket::Listening();
  LoggedSocket client(SOCK_STREAM);
  client.Connect(listener.Port());
  client.Close();
  EXPECT_THAT(Files(), IsEmpty());
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

// An end that was received is a transfer of nothing, but a transfer.
TEST_F(QelSocketLogTraffic, ThatIsAnEndAloneLeavesTheClosingMark) {
  TestConnection connection;
  LoggedSocket server(connection.server.Release());
  const std::string file = FileName(connection.client.Port(), server.handle);
  connection.client.Close();
  EXPECT_EQ(Receive(server.handle), "");
  EXPECT_EQ(m_dir.Read(file), "");
  server.Close();
  EXPECT_EQ(m_dir.Read(file), kClosingMark);
}

TEST_F(QelSocketLogTraffic, WithoutTheFolderIsLostSilently) {
  std::filesystem::remove(TempDir::Native(m_dir.Path("socket")));
  const TestSocket listener = TestSocket::Listening();
  LoggedSocket client(SOCK_STREAM);
  client.Connect(listener.Port());
  EXPECT_EQ(SendText(client.handle, "lost"), 4);
  client.Close();
  EXPECT_FALSE(m_dir.Has("socket"));
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(QelSocketLogTraffic, ContinuesAFileThatIsThere) {
  LoggedSocket socket(SOCK_DGRAM);
  socket.Bind();
  socket.Connect(socket.Port());
  const std::string file = FileName(socket.Port(), socket.handle);
  m_dir.Write(file, "old ");
  EXPECT_EQ(SendText(socket.handle, "new"), 3);
  EXPECT_EQ(m_dir.Read(file), "old new");
}

TEST_F(QelSocketLogTraffic, GetsNoClosingMarkOnceItIsDisabled) {
  LoggedSocket socket(SOCK_DGRAM);
  socket.Bind();
  socket.Connect(socket.Port());
  const std::string file = FileName(socket.Port(), socket.handle);
  EXPECT_EQ(SendText(socket.handle, "x"), 1);
  qelToolsLog_SetModules("21");
  _Log_Buffer_Close(socket.handle);
  EXPECT_EQ(m_dir.Read(file), "x");
  EXPECT_EQ(_Log_Buffer_CountOpen(), 0);
}

TEST_F(QelSocketLogTraffic, ShowsAnErrorForASizeOfMinusOneOrTwo) {
  LoggedSocket socket(SOCK_DGRAM);
  socket.Bind();
  socket.Connect(socket.Port());
  _Log_Buffer(socket.handle, nullptr, static_cast<unsigned>(-1));
  _Log_Buffer_Send(socket.handle, nullptr, static_cast<unsigned>(-2));
  EXPECT_EQ(m_dir.Read(FileName(socket.Port(), socket.handle)), "\r\nERROR\r\nERROR");
}

// Slots --------------------------------------------------------------------------

TEST_F(QelSocketLogSlots, AreToldWhenTheyAreMissing) {
  _Log_Buffer(987654, "x", 1);
  _Log_Buffer_Send(987654, "x", 1);
  _Log_Buffer_Close(987654);
  EXPECT_THAT(m_log.Texts(), ElementsAre("_Log_Buffer Error 2\n", "_Log_Buffer_Send Error 2\n",
                                         "_Log_Buffer_Close Error\n"));
  for (const CapturedLine& line : m_log.Lines()) {
    EXPECT_EQ(line.module, 55u);
    EXPECT_EQ(line.level, 1u);
  }
  m_log.Clear();
  _Log_Buffer_Close(-1);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

// The running number comes round to 0 one day, which takes a slot for a free one but still writes.
TEST_F(QelSocketLogSlots, WithoutARunningNumberAreToldAndUsed) {
  LoggedSocket socket(SOCK_DGRAM);
  socket.Bind();
  socket.Connect(socket.Port());
  const std::string file = FileName(socket.Port(), socket.handle);
  _Log_Buffer_Close(socket.handle);
  _Log_Buffer_SetNextIndexForTest(0);
  _Log_Buffer_Open(socket.handle);
  EXPECT_EQ(SendText(socket.handle, "x"), 1);
  EXPECT_EQ(Receive(socket.handle), "x");
  EXPECT_THAT(m_log.Texts(), ElementsAre("_Log_Buffer_Send Error 1\n", "_Log_Buffer Error 1\n"));
  EXPECT_EQ(m_log.Lines()[0].module, 55u);
  EXPECT_EQ(m_log.Lines()[0].level, 1u);
  EXPECT_EQ(m_dir.Read(file), "xx");
  _Log_Buffer_Close(socket.handle);
  m_log.Clear();
  _Log_Buffer_Open(socket.handle);
  EXPECT_EQ(SendText(socket.handle, "y"), 1) << "the next number is 1";
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

TEST_F(QelSocketLogSlots, AreAHundred) {
  ASSERT_EQ(_Log_Buffer_CountOpen(), 0);
  for (int i = 0; i < 100; ++i)
    _Log_Buffer_Open(900000 + i);
  EXPECT_EQ(_Log_Buffer_CountOpen(), 100);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
  _Log_Buffer_Open(900100);
  EXPECT_THAT(m_log.Texts(), ElementsAre("_Log_Buffer_Open Error\n"));
  EXPECT_EQ(_Log_Buffer_CountOpen(), 100);
  m_log.Clear();

  LoggedSocket socket(SOCK_DGRAM); // works without a slot
  EXPECT_NE(socket.handle, -1);
  socket.Close();
  EXPECT_THAT(m_log.Texts(), ElementsAre("_Log_Buffer_Open Error\n", "_Log_Buffer_Close Error\n"));
  m_log.Clear();

  _Log_Buffer_Close(900050);
  _Log_Buffer_Open(900100);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
  for (int i = 0; i < 101; ++i)
    if (i != 50)
      _Log_Buffer_Close(900000 + i);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
  EXPECT_EQ(_Log_Buffer_CountOpen(), 0);
}

TEST_F(QelSocketLogSlots, AreGivenBackByACloseThatFails) {
  const qelSocketHandle closed = ClosedSocket();
  for (const int quiet : {0, 1}) {
    _Log_Buffer_Open(closed);
    EXPECT_EQ(qelSocket_Close(closed, "mine", quiet), -1);
    EXPECT_EQ(qelSocket_GetLastError(), qelSocketErrorClosed);
    EXPECT_EQ(_Log_Buffer_CountOpen(), 0);
    EXPECT_THAT(m_log.Texts(), ElementsAre("Cannot close socket " + N(closed) +
                                           ": error = " + N(qelSocketErrorClosed) + " [mine]\n"));
    m_log.Clear();
  }
}

TEST_F(QelSocketLogSlots, StayWithAQuietClose) {
  LoggedSocket socket(SOCK_DGRAM);
  const qelSocketHandle number = socket.handle;
  socket.handle = -1;
  EXPECT_EQ(qelSocket_Close(number, "mine", 1), 0);
  EXPECT_EQ(_Log_Buffer_CountOpen(), 1);
  _Log_Buffer_Close(number);
  EXPECT_EQ(_Log_Buffer_CountOpen(), 0);
}

TEST_F(QelSocketLogSlots, AndRecordsServeSeveralThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([] {
      for (int round = 0; round < 20; ++round) {
        LoggedSocket socket(SOCK_DGRAM);
        socket.Bind();
        socket.Connect(socket.Port());
        SendText(socket.handle, "x");
        Receive(socket.handle);
      }
    });
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(_Log_Buffer_CountOpen(), 0);
  EXPECT_EQ(CountEntries(), 0);
  EXPECT_THAT(m_log.Texts(), IsEmpty());
}

} // namespace

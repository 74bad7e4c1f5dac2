#include <qel/multiplatform/qelConsole.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include <sys/stat.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/support/LogCapture.h>
#include <tests/support/TelnetScene.h>
#include <tests/support/TempDir.h>

using testing::IsEmpty;

namespace {

const char kGreeting[] = "Greetings from qelConsole!\r\n";

// A file with this content, open for reading; binary, so that line feeds count alike on all systems.
class InputFile {
public:
  explicit InputFile(const std::string& content)
      : m_file(fopen(m_folder.Write("input", content).c_str(), "rb")) {}
  ~InputFile() {
    if (m_file != nullptr)
      fclose(m_file);
  }
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  FILE* File() const { return m_file; }

private:
  TempDir m_folder;
  FILE* m_file;
};

// A line's result and text, and the bytes of the buffer behind its terminator: "#", as they were.
std::string Shown(int result, const std::string& buffer) {
  std::string text = std::to_string(result) + ":" + buffer;
  for (char& c : text)
    if (c == '\0')
      c = '0';
  return text;
}

std::string ReadLine(FILE* stream, size_t size) {
  std::string buffer(size, '#');
  const int result = qelConsole_ReadLine(&buffer[0], size, stream);
  return Shown(result, buffer);
}

std::string GetLine(const char* prompt, FILE* stream, size_t size) {
  std::string buffer(size, '#');
  const int result = qelConsole_GetLine(prompt, &buffer[0], size, stream);
  return Shown(result, buffer);
}

// The bytes that have reached the file behind the captured standard output.
int64_t FlushedBytes() {
  struct stat file = {};
  EXPECT_EQ(fstat(fileno(stdout), &file), 0);
  return static_cast<int64_t>(file.st_size);
}

// Each test begins in local mode, with nothing counted.
class qelConsoleTest : public testing::Test {
protected:
  qelConsoleTest() : state(qelConsole_GetState()) {
    qelSocket_Startup();
    *state = {0, 0, nullptr, nullptr};
  }
  ~qelConsoleTest() override {
    while (state->useCount > 0)
      qelConsole_Term();
    state->remote = 0;
  }

  // The port that the console listens on.
  unsigned short Port() const { return PortOf(state->telnet); }

  qelConsoleState* state;
};

typedef qelConsoleTest qelConsoleInit;
typedef qelConsoleTest qelConsoleLocal;
typedef qelConsoleTest qelConsoleRemote;

} // namespace

// Local mode --------------------------------------------------------------------------

TEST_F(qelConsoleLocal, CountsNothing) {
  EXPECT_EQ(qelConsole_Init("127.0.0.1", 0, 0), 0);
  EXPECT_EQ(state->useCount, 0);
  EXPECT_EQ(state->remote, 0);
  EXPECT_EQ(state->telnet, nullptr);
  qelConsole_Term();
  qelConsole_Accept();
  EXPECT_EQ(state->useCount, 0);
  EXPECT_EQ(state->connection, nullptr);
}

TEST_F(qelConsoleLocal, PrintsOnStandardOutput) {
  testing::internal::CaptureStdout();
  qelConsole_Printf("%s %d%%\n", "text", 7);
  qelConsole_Flush();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "text 7%\n");
}

TEST_F(qelConsoleLocal, FlushesStandardOutput) {
  testing::internal::CaptureStdout();
  qelConsole_Printf("text");
  qelConsole_Flush();
  EXPECT_EQ(FlushedBytes(), 4);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "text");
}

TEST_F(qelConsoleLocal, FlushesThePromptAheadOfReading) {
  InputFile input("a\n");
  testing::internal::CaptureStdout();
  EXPECT_EQ(GetLine("name: ", input.File(), 4), "0:a0##");
  EXPECT_GE(FlushedBytes(), 7); // The line feed may count twice.
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "\nname: ");
}

TEST_F(qelConsoleLocal, ReadsLinesOfAStream) {
  static const struct {
    std::string content;
    size_t size;
    std::vector<std::string> lines;
  } kCases[] = {
      {"", 4, {"1:0###", "1:0###"}},
      {"ab\ncd\n", 6, {"0:ab0###", "0:cd0###", "1:0#####"}},
      // A last line without a line feed gives its text and the end.
      {"ab\ncd", 6, {"0:ab0###", "1:cd0###", "1:0#####"}},
      {"\n\n", 3, {"0:0##", "0:0##", "1:0##"}},
      // A carriage return stays, and so does a byte of 0.
      {"ab\r\n", 6, {"0:ab\r0##"}},
      {std::string("a\0b\n", 4), 6, {"0:a0b0##"}},
      {"\xFF\n",
       4,
       {"0:\xFF"
        "0##"}},
      // What does not fit comes next; so does a line feed that does not fit.
      {"abcdef\n", 4, {"0:abc0", "0:def0", "0:0###", "1:0###"}},
      {"ab\n", 4, {"0:ab0#"}},
      {"abc", 4, {"0:abc0", "1:0###"}},
      // No room for a byte: nothing is read; no room at all: nothing is stored.
      {"ab\n", 1, {"0:0", "0:0"}},
      {"ab\n", 0, {"0:"}},
  };
  for (const auto& item : kCases) {
    SCOPED_TRACE(testing::Message() << testing::PrintToString(item.content) << ", " << item.size);
    InputFile direct(item.content);
    for (const std::string& line : item.lines)
      EXPECT_EQ(ReadLine(direct.File(), item.size), line);
    InputFile prompted(item.content);
    for (const std::string& line : item.lines)
      EXPECT_EQ(GetLine("", prompted.File(), item.size), line);
  }
}

TEST_F(qelConsoleLocal, LeavesTheStreamAloneForABufferOfOneByte) {
  InputFile input("ab\n");
  EXPECT_EQ(ReadLine(input.File(), 1), "0:0");
  EXPECT_EQ(ReadLine(input.File(), 0), "0:");
  EXPECT_EQ(ReadLine(input.File(), 4), "0:ab0#");
}

TEST_F(qelConsoleLocal, PromptsOnALineOfItsOwn) {
  InputFile input("a\nb\nc\n");
  testing::internal::CaptureStdout();
  EXPECT_EQ(GetLine("name: %s", input.File(), 4), "0:a0##");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "\nname: %s");
  testing::internal::CaptureStdout();
  EXPECT_EQ(GetLine("", input.File(), 4), "0:b0##");
  EXPECT_EQ(GetLine(nullptr, input.File(), 4), "0:c0##");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(qelConsoleLocal, ReadsStandardInputForNoStream) {
  const TempDir folder;
  ASSERT_NE(freopen(folder.Write("input", "first\n").c_str(), "rb", stdin), nullptr);
  EXPECT_EQ(GetLine("", nullptr, 8), "0:first0##");
  EXPECT_EQ(ReadLine(nullptr, 8), "1:0#######");
  EXPECT_EQ(GetLine("", nullptr, 8), "1:0#######");
  fclose(stdin);
}

// Init and Term ----------------------------------------------------------------------

TEST_F(qelConsoleInit, ListensInRemoteMode) {
  EXPECT_EQ(qelConsole_Init("127.0.0.1", 0, 1), 0);
  EXPECT_EQ(state->remote, 1);
  EXPECT_EQ(state->useCount, 1);
  ASSERT_NE(state->telnet, nullptr);
  EXPECT_EQ(state->connection, nullptr);
  EXPECT_TRUE(LoopbackClient(Port()).IsConnected());
  qelConsole_Term();
  EXPECT_EQ(state->remote, 1);
  EXPECT_EQ(state->useCount, 0);
  EXPECT_EQ(state->telnet, nullptr);
}

TEST_F(qelConsoleInit, AbandonsTheEarlierServerAndStaysRemote) {
  EXPECT_EQ(qelConsole_Init("127.0.0.1", 0, 1), 0);
  qelTelnet* const first = state->telnet;
  EXPECT_EQ(qelConsole_Init("127.0.0.1", 0, 0), 0);
  EXPECT_EQ(state->remote, 1);
  EXPECT_EQ(state->useCount, 2);
  EXPECT_NE(state->telnet, first);
  EXPECT_NE(state->telnet->listenSocket, -1);
  // The abandoned one goes on listening, and nobody accepts.
  EXPECT_NE(first->listenSocket, -1);
  EXPECT_TRUE(LoopbackClient(PortOf(first)).IsConnected());
  // The first Term only counts.
  qelTelnet* const second = state->telnet;
  qelConsole_Term();
  EXPECT_EQ(state->useCount, 1);
  EXPECT_EQ(state->telnet, second);
  qelConsole_Term();
  EXPECT_EQ(state->telnet, nullptr);
  qelConsole_Term();
  EXPECT_EQ(state->useCount, 0);
  qelTelnet_Delete(first);
}

TEST_F(qelConsoleInit, KeepsAServerThatCantListen) {
  LogCapture log;
  EXPECT_EQ(qelConsole_Init("0.0.0.0", 0, 1), 1);
  EXPECT_EQ(state->useCount, 1);
  ASSERT_NE(state->telnet, nullptr);
  EXPECT_EQ(state->telnet->listenSocket, -1);
  log.Clear();
  // Each use tries to accept, logs that, and goes on without a client.
  qelConsole_Accept();
  qelConsole_Printf("dropped");
  EXPECT_EQ(GetLine("prompt", nullptr, 4), "1:0###");
  EXPECT_EQ(state->connection, nullptr);
  size_t failures = 0;
  for (const std::string& text : log.Texts())
    failures += text.find("Listen socket error, can not accept connections") != std::string::npos;
  EXPECT_EQ(failures, 3u);
}

// Remote mode --------------------------------------------------------------------------

TEST_F(qelConsoleRemote, GreetsTheClientAheadOfTheFirstText) {
  ASSERT_EQ(qelConsole_Init("127.0.0.1", 0, 1), 0);
  LoopbackClient client(Port());
  testing::internal::CaptureStdout();
  qelConsole_Printf("%s-%d\r\n", "text", 7);
  qelConsole_Printf("more");
  qelConsole_Flush();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  ASSERT_NE(state->connection, nullptr);
  qelConsole_Term();
  EXPECT_EQ(client.ReceiveAll(), std::string(kGreeting) + "text-7\r\nmore");
  EXPECT_EQ(state->connection, nullptr);
}

TEST_F(qelConsoleRemote, AcceptsOnceAndGreets) {
  ASSERT_EQ(qelConsole_Init("127.0.0.1", 0, 1), 0);
  LoopbackClient client(Port());
  qelConsole_Accept();
  const qelTelnetConnection* const connection = state->connection;
  ASSERT_NE(connection, nullptr);
  qelConsole_Accept();
  EXPECT_EQ(state->connection, connection);
  qelConsole_Term();
  EXPECT_EQ(client.ReceiveAll(), kGreeting);
}

TEST_F(qelConsoleRemote, PromptsAndReadsTheClientsLines) {
  ASSERT_EQ(qelConsole_Init("127.0.0.1", 0, 1), 0);
  LoopbackClient client(Port());
  EXPECT_TRUE(client.Send("one\r\ntwo\n\nabcdefgh\nlast"));
  InputFile unused("local\n");
  EXPECT_EQ(GetLine("name: %s", unused.File(), 6), "0:one0#0");
  EXPECT_EQ(GetLine("", unused.File(), 6), "0:two0#0");
  EXPECT_EQ(GetLine(nullptr, nullptr, 6), "0:0####0");
  // A line that fills the buffer is cut by its terminator; the rest comes next.
  EXPECT_EQ(GetLine("", nullptr, 4), "0:abc0");
  EXPECT_EQ(GetLine("", nullptr, 6), "0:efgh00");
  client.EndSending();
  EXPECT_EQ(GetLine("", nullptr, 6), "1:0ast##");
  EXPECT_EQ(ReadLine(unused.File(), 8), "0:local0##"); // Always local.
  qelConsole_Term();
  EXPECT_EQ(client.ReceiveAll(), std::string(kGreeting) + "\r\nname: %s");
}

TEST_F(qelConsoleRemote, StoresNothingInABufferOfNoSize) {
  ASSERT_EQ(qelConsole_Init("127.0.0.1", 0, 1), 0);
  LoopbackClient client(Port());
  EXPECT_TRUE(client.Send("ab\n"));
  char byte = '#';
  EXPECT_EQ(qelConsole_GetLine("?", &byte, 0, nullptr), 0);
  EXPECT_EQ(byte, '#');
  EXPECT_EQ(GetLine("", nullptr, 1), "0:0"); // One byte is read, and its place is the terminator's.
  EXPECT_EQ(GetLine("", nullptr, 4), "0:b0#0");
  qelConsole_Term();
  EXPECT_EQ(client.ReceiveAll(), std::string(kGreeting) + "\r\n?");
}

TEST_F(qelConsoleRemote, LeavesStandardOutputAlone) {
  ASSERT_EQ(qelConsole_Init("127.0.0.1", 0, 1), 0);
  testing::internal::CaptureStdout();
  EXPECT_EQ(printf("kept"), 4);
  qelConsole_Flush();
  EXPECT_EQ(FlushedBytes(), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "kept");
  EXPECT_EQ(state->connection, nullptr); // Nor does it wait for a client.
}

// A client that goes behind each byte of a talk: it ends its direction, closes, or breaks off.
TEST_F(qelConsoleRemote, EndsWhenTheClientVanishesAtAnyPoint) {
  const std::string talk = "ab\r\n\xFF\xFD\x01\xFF\xF6"
                           "c\n\xFF\xFF\n\xFF\xF4";
  enum { kEnds, kCloses, kBreaksOff };
  for (size_t n = 0; n <= talk.size(); n++)
    for (const int way : {kEnds, kCloses, kBreaksOff}) {
      SCOPED_TRACE(testing::Message() << n << " bytes, way " << way);
      EXPECT_EQ(qelConsole_Init("127.0.0.1", 0, 1), 0);
      LoopbackClient client(Port());
      EXPECT_TRUE(client.Send(talk.substr(0, n)));
      if (way == kEnds)
        client.EndSending();
      else if (way == kCloses)
        client.Close();
      else
        client.Reset();
      TelnetModel model;
      model.Take(talk.substr(0, n));
      std::string lines;
      char buffer[16] = "";
      size_t reads = 0;
      for (; reads < 8 && qelConsole_GetLine("?", buffer, sizeof buffer, nullptr) == 0; reads++)
        lines += std::string(buffer) + "\n";
      EXPECT_LT(reads, 8u);
      if (way == kEnds) {
        std::string whole = model.data.substr(0, model.data.rfind('\n') + 1);
        whole.erase(std::remove(whole.begin(), whole.end(), '\r'), whole.end());
        EXPECT_EQ(lines, whole);
      }
      qelConsole_Printf("dropped");
      qelConsole_Term();
      EXPECT_EQ(state->connection, nullptr);
    }
}

TEST_F(qelConsoleRemote, DoesNotReplaceAClientThatHasGone) {
  ASSERT_EQ(qelConsole_Init("127.0.0.1", 0, 1), 0);
  {
    LoopbackClient client(Port());
    qelConsole_Accept();
  }
  const qelTelnetConnection* const connection = state->connection;
  LoopbackClient next(Port());
  EXPECT_EQ(GetLine("?", nullptr, 4), "1:0###");
  qelConsole_Printf("dropped");
  qelConsole_Printf("dropped");
  EXPECT_EQ(state->connection, connection);
  qelConsole_Term();
  EXPECT_EQ(next.Receive(1), "");
}

TEST_F(qelConsoleRemote, EndsAtAnInterrupt) {
  ASSERT_EQ(qelConsole_Init("127.0.0.1", 0, 1), 0);
  LoopbackClient client(Port());
  EXPECT_TRUE(client.Send("ab\xFF\xF4"));
  EXPECT_EQ(GetLine("", nullptr, 4), "1:0b##");
  EXPECT_EQ(client.Receive(64), kGreeting);
  qelConsole_Printf("dropped");
}

TEST_F(qelConsoleRemote, DropsAllBehindTheLastTerm) {
  ASSERT_EQ(qelConsole_Init("127.0.0.1", 0, 1), 0);
  qelConsole_Term();
  LogCapture log;
  testing::internal::CaptureStdout();
  qelConsole_Printf("dropped %d", 1);
  qelConsole_Accept();
  qelConsole_Flush();
  EXPECT_EQ(GetLine("prompt", nullptr, 4), "1:0###");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_THAT(log.Texts(), IsEmpty());
  EXPECT_EQ(state->remote, 1);
}

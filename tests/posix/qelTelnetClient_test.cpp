// The telnet server met by a real client, the program "telnet" in a pseudo-terminal.

#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>

#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <tests/support/TelnetScene.h>

namespace {

const int kPatience = 20 * 1000; // milliseconds that an answer may take on a loaded machine

// The client program and its terminal.
class TelnetProgram {
public:
  // Starts "telnet" with these arguments.
  explicit TelnetProgram(const std::vector<std::string>& arguments) {
    std::vector<char*> texts = {const_cast<char*>("telnet")};
    for (const std::string& argument : arguments)
      texts.push_back(const_cast<char*>(argument.c_str()));
    texts.push_back(nullptr);
    m_child = ::forkpty(&m_terminal, nullptr, nullptr, nullptr);
    if (m_child == 0) {
      ::setenv("TERM", "dumb", 1);
      ::unsetenv("DISPLAY");
      ::execvp("telnet", texts.data());
      ::_exit(127);
    }
  }
  ~TelnetProgram() {
    if (m_child > 0) {
      ::kill(m_child, SIGKILL);
      ::waitpid(m_child, nullptr, 0);
    }
    if (m_terminal >= 0)
      ::close(m_terminal);
  }
  TelnetProgram(const TelnetProgram&) = delete;
  TelnetProgram& operator=(const TelnetProgram&) = delete;

  void Type(const std::string& keys) const {
    EXPECT_EQ(::write(m_terminal, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
  }
  // Reads the screen until the text has appeared behind what was awaited before.
  bool Await(const std::string& text) {
    for (;;) {
      const size_t at = m_screen.find(text);
      if (at != std::string::npos) {
        m_screen.erase(0, at + text.size());
        return true;
      }
      char chunk[1024];
      pollfd ready = {m_terminal, POLLIN, 0};
      const ssize_t got = ::poll(&ready, 1, kPatience) == 1 ? ::read(m_terminal, chunk, 1024) : 0;
      if (got <= 0) {
        ADD_FAILURE() << "\"" << text << "\" never came; the screen: " << m_screen;
        return false;
      }
      m_screen.append(chunk, static_cast<size_t>(got));
    }
  }
  // A command behind the escape character.
  void Command(const std::string& command) {
    Type("\x1D");
    Await("telnet> ");
    Type(command + "\r");
    Await(command);
  }
  // Its exit status, once it has ended.
  int AwaitEnd() {
    int status = 0;
    EXPECT_EQ(::waitpid(m_child, &status, 0), m_child);
    m_child = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

private:
  int m_terminal = -1;
  pid_t m_child = -1;
  std::string m_screen; // what it showed and nobody has awaited yet
};

// A server, the client program, and their connection.
class qelTelnetClient : public testing::Test {
protected:
  // "-" ahead of the port lets the client begin with its options.
  explicit qelTelnetClient(const std::string& ahead = "")
      : program({"--", "127.0.0.1", ahead + std::to_string(PortOf(server.telnet))}),
        connection(qelTelnet_AcceptConnection(server.telnet)) {
    qelSocket_SetTimeout(connection->socket, kPatience / 1000, /*send=*/1, /*receive=*/1, "test");
  }
  ~qelTelnetClient() override { qelTelnet_ConnectionDelete(connection); }

  void SetUp() override {
    ASSERT_TRUE(program.Await("Escape character is '^]'.\r\n"));
    Meet();
  }

  std::string ReadLine() {
    char line[256];
    const int64_t count = qelTelnet_ReadLine(connection, line, sizeof line);
    return count < 0 ? "(end)" : std::string(line, static_cast<size_t>(count));
  }
  void Say(const char* text) { EXPECT_GT(qelTelnet_SendString(connection, text), 0); }
  // Returns once the client shows what the server sends: it has taken all that was sent before, and is
  // done with its own commands, behind which it drops what was typed too early.
  void Meet() {
    Say("meet\r\n");
    EXPECT_TRUE(program.Await("meet\r\n"));
  }

  TelnetServer server;
  TelnetProgram program;
  qelTelnetConnection* connection;
};

class qelTelnetClientWithOptions : public qelTelnetClient {
protected:
  qelTelnetClientWithOptions() : qelTelnetClient("-") {}
};

} // namespace

TEST_F(qelTelnetClient, TalksInLines) {
  Say("Welcome\r\n");
  EXPECT_TRUE(program.Await("Welcome\r\n"));
  program.Type("hello there\r");
  EXPECT_TRUE(program.Await("hello there\r\n")); // The client's own echo.
  EXPECT_EQ(ReadLine(), "hello there");
  // Its line editing: the erase key works on the client's side.
  program.Type("wrong\x7F\x7F\x7F\x7F\x7Fright\r");
  EXPECT_EQ(ReadLine(), "right");
  program.Type("\r");
  EXPECT_EQ(ReadLine(), "");
  EXPECT_GT(qelTelnet_Printf(connection, "%d lines\r\n", 3), 0);
  EXPECT_TRUE(program.Await("3 lines\r\n"));
}

TEST_F(qelTelnetClient, GetsAnAnswerWhetherTheServerIsThere) {
  program.Command("send ayt");
  Meet();
  program.Type("line\r");
  EXPECT_EQ(ReadLine(), "line"); // The command is no part of it.
  EXPECT_TRUE(program.Await("qelTelnet: I'm here\r\n"));
}

TEST_F(qelTelnetClient, StaysInLineModeWhenCharacterModeIsRefused) {
  program.Command("mode character"); // Asks for two options, which are refused once they are read.
  Meet();
  program.Type("x\r");
  EXPECT_EQ(ReadLine(), "x");
  Meet();
  for (const char* command : {"send do status", "send will binary", "send nop"}) {
    program.Command(command);
    Meet();
  }
  program.Type("still here\r");
  EXPECT_EQ(ReadLine(), "still here");
  program.Command("status");
  EXPECT_TRUE(program.Await("obsolete linemode")); // The client's name for lines without an option.
}

TEST_F(qelTelnetClient, EndsByTheInterruptKey) {
  program.Type("lost\x03"); // IAC IP, and what the client asks for behind it
  EXPECT_EQ(ReadLine(), "(end)");
  EXPECT_EQ(connection->socket, -1);
  EXPECT_EQ(connection->closing, 1);
  EXPECT_TRUE(program.Await("Connection closed by foreign host."));
  program.AwaitEnd();
}

TEST_F(qelTelnetClient, EndsByTheInterruptCommand) {
  program.Command("send ip");
  EXPECT_EQ(ReadLine(), "(end)");
  EXPECT_EQ(connection->socket, -1);
}

TEST_F(qelTelnetClient, EndsWhenTheClientQuits) {
  program.Command("quit");
  EXPECT_EQ(ReadLine(), "(end)");
  EXPECT_NE(connection->socket, -1);
  EXPECT_EQ(connection->closing, 0);
  EXPECT_EQ(program.AwaitEnd(), 0);
}

TEST_F(qelTelnetClient, IsTakenOneBehindTheOther) {
  program.Type("first\r");
  EXPECT_EQ(ReadLine(), "first");
  qelTelnet_ConnectionClose(connection);
  EXPECT_TRUE(program.Await("Connection closed by foreign host."));
  TelnetProgram next({"--", "127.0.0.1", std::to_string(PortOf(server.telnet))});
  qelTelnetConnection* const second = qelTelnet_AcceptConnection(server.telnet);
  ASSERT_NE(second, nullptr);
  EXPECT_GT(qelTelnet_SendString(second, "again\r\n"), 0);
  EXPECT_TRUE(next.Await("again\r\n"));
  qelTelnet_ConnectionDelete(second);
}

// The client offers and asks for a dozen options at once, and each is refused.
TEST_F(qelTelnetClientWithOptions, RefusesThemAll) {
  Meet();
  program.Type("one\r"); // Ends in a carriage return and a NUL here.
  EXPECT_EQ(ReadLine(), "one");
  Meet();
  program.Type("two\r");
  EXPECT_EQ(ReadLine(), "two");
  Meet();
  program.Command("status");
  EXPECT_TRUE(program.Await("obsolete linemode"));
  Meet();
  program.Command("send ip");
  EXPECT_EQ(ReadLine(), "(end)");
}

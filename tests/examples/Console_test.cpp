// The console of mediaquery with a scripted client, all in this process.

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <examples/mediaquery/Console.h>
#include <tests/support/MediaFiles.h>
#include <tests/support/Sockets.h>
#include <tests/support/TelnetScene.h>
#include <tests/support/TempDir.h>
#include <tests/support/WaitFor.h>

using namespace mediaquery;
using testing::HasSubstr;
using testing::Not;

namespace {

const char kStart[] = "Greetings from qelConsole!\r\n"
                      "mediaquery: type criteria, help, status or quit\r\n";
const char kPrompt[] = "\r\n> ";

// What the client gets up to the prompt, which is left out.
std::string ReceiveAnswer(LoopbackClient* client) {
  const std::string prompt = kPrompt;
  std::string text;
  while (text.size() < prompt.size() ||
         text.compare(text.size() - prompt.size(), prompt.size(), prompt) != 0) {
    const std::string more = client->Receive(1);
    if (more.empty())
      return text + "(the connection has ended)";
    text += more;
  }
  return text.substr(0, text.size() - prompt.size());
}

std::string Ask(LoopbackClient* client, const std::string& line) {
  if (!client->Send(line + "\r\n"))
    return "(nothing can be sent)";
  return ReceiveAnswer(client);
}

// A console that serves until a client quits.
class ConsoleScene {
public:
  explicit ConsoleScene(const Options& given) : options(given) {
    options.consoleAddress = "127.0.0.1";
    options.consolePort = TestSocket::Bound(SOCK_STREAM).Port();
    m_thread = std::thread([this] {
      status = Console(options, &interrupt).Run();
      m_ended = true;
    });
  }
  ~ConsoleScene() {
    // A client that comes while the console turns from one client to the next is sent away.
    WaitFor([&] {
      const std::unique_ptr<LoopbackClient> client = m_ended ? nullptr : Connect();
      if (client != nullptr && client->Send("quit\r\n"))
        client->ReceiveAll();
      return m_ended.load();
    });
    if (m_thread.joinable())
      m_thread.join();
  }
  // A client that has been greeted, with that text in `greeting`. Null if there is none within a
  // minute.
  std::unique_ptr<LoopbackClient> Connect() {
    std::unique_ptr<LoopbackClient> client;
    const bool greeted = WaitFor([&] {
      client = std::make_unique<LoopbackClient>(options.consolePort);
      greeting = client->IsConnected() ? ReceiveAnswer(client.get()) : "";
      return m_ended || greeting.compare(0, 9, "Greetings") == 0;
    });
    return greeted && !m_ended ? std::move(client) : nullptr;
  }
  // The status after a client's "quit".
  int Join() {
    m_thread.join();
    return status;
  }

  Options options;
  Interrupt interrupt; // not started: there is none
  int status = -1;
  std::string greeting;

private:
  std::atomic<bool> m_ended{false};
  std::thread m_thread;
};

class MediaqueryConsole : public testing::Test {
protected:
  void SetUp() override {
    dir.Write("sea.png", MakePNG(640, 480));
    dir.Write("tone.wav", MakeWAV(2, 8000, 16, 200));
    dir.Write("readme.txt", "no media");
    options.folders = {dir.Path()};
  }

  TempDir dir;
  Options options;
};

} // namespace

TEST_F(MediaqueryConsole, GreetsAClientAndEndsAtQuit) {
  ConsoleScene scene(options);
  auto client = scene.Connect();
  ASSERT_NE(client, nullptr);
  EXPECT_EQ(scene.greeting, kStart);
  EXPECT_TRUE(client->Send("  quit \r\n"));
  EXPECT_EQ(client->ReceiveAll(), "");
  EXPECT_EQ(scene.Join(), 0);
}

TEST_F(MediaqueryConsole, SendsHitsAsLinesOfJSONAndThenTheTotals) {
  ConsoleScene scene(options);
  auto client = scene.Connect();
  ASSERT_NE(client, nullptr);
  const std::string answer = Ask(client.get(), "dc:title = \"sea\"");
  EXPECT_THAT(answer, testing::StartsWith("{\"@id\":\"sea.png\",\"@parentID\":\"0\","));
  EXPECT_THAT(answer, HasSubstr("}\r\n3 files seen, 2 media items, 1 hit, "));
  EXPECT_THAT(Ask(client.get(), "dc:title = \"lake\""),
              testing::StartsWith("3 files seen, 2 media items, 0 hits, "));
}

TEST_F(MediaqueryConsole, EndsEachSearchAtTheLimit) {
  options.limit = 1;
  ConsoleScene scene(options);
  auto client = scene.Connect();
  ASSERT_NE(client, nullptr);
  for (int i = 0; i < 2; ++i)
    EXPECT_THAT(Ask(client.get(), "*"), HasSubstr(", 1 hit, "));
}

TEST_F(MediaqueryConsole, ShowsThePlaceOfAFault) {
  ConsoleScene scene(options);
  auto client = scene.Connect();
  ASSERT_NE(client, nullptr);
  const std::string answer = Ask(client.get(), "dc:title equals \"sea\"");
  EXPECT_THAT(answer, testing::StartsWith("mediaquery: bad criteria, at character 10: an operator "
                                          "is missing here"));
  EXPECT_THAT(answer, testing::EndsWith("\r\n  dc:title equals \"sea\"\r\n           ^\r\n"));
}

TEST_F(MediaqueryConsole, TellsWhatRunsAndWhatHasBeenDone) {
  ConsoleScene scene(options);
  auto client = scene.Connect();
  ASSERT_NE(client, nullptr);
  Ask(client.get(), "*");
  Ask(client.get(), "upnp:class exists true");
  Ask(client.get(), "nonsense");
  const std::string answer = Ask(client.get(), "status");
  EXPECT_THAT(answer, testing::StartsWith("mediaquery\r\n"));
  for (const char* line :
       {"files seen: '6'", "hits: '4'", "media items: '4'", "queries refused: '1'",
        "queries run: '2'", "search: 'no'", "session: 'yes'"})
    EXPECT_THAT(answer, HasSubstr("        " + std::string(line) + "\r\n"));
}

TEST_F(MediaqueryConsole, ExplainsItself) {
  ConsoleScene scene(options);
  auto client = scene.Connect();
  ASSERT_NE(client, nullptr);
  EXPECT_THAT(Ask(client.get(), "help"), testing::StartsWith("Type criteria such as "));
}

TEST_F(MediaqueryConsole, AnswersAnEmptyLineWithThePromptAlone) {
  ConsoleScene scene(options);
  auto client = scene.Connect();
  ASSERT_NE(client, nullptr);
  EXPECT_EQ(Ask(client.get(), ""), "");
  EXPECT_EQ(Ask(client.get(), " \t "), "");
}

TEST_F(MediaqueryConsole, ServesTheNextClientWhenOneHasGone) {
  ConsoleScene scene(options);
  for (int i = 0; i < 3; ++i) {
    auto client = scene.Connect();
    ASSERT_NE(client, nullptr);
    EXPECT_EQ(scene.greeting, kStart);
    Ask(client.get(), "*");
    // Each goes in another way: closed, broken off, interrupted in the middle of a line.
    if (i == 1)
      client->Reset();
    if (i == 2) {
      EXPECT_TRUE(client->Send("dc:title\xFF\xF4"));
      client->ReceiveAll();
    }
  }
  auto client = scene.Connect();
  ASSERT_NE(client, nullptr);
  EXPECT_THAT(Ask(client.get(), "status"), HasSubstr("queries run: '3'"));
}

TEST_F(MediaqueryConsole, EndsASessionWithALineThatIsTooLong) {
  ConsoleScene scene(options);
  auto client = scene.Connect();
  ASSERT_NE(client, nullptr);
  EXPECT_TRUE(client->Send(std::string(kMaxConsoleLine, 'x')));
  EXPECT_EQ(client->ReceiveAll(), "mediaquery: this line is too long, the session ends\r\n");
}

TEST_F(MediaqueryConsole, TakesLongCriteria) {
  ConsoleScene scene(options);
  auto client = scene.Connect();
  ASSERT_NE(client, nullptr);
  const std::string value(kMaxConsoleLine - 100, 'x');
  EXPECT_THAT(Ask(client.get(), "dc:title = \"" + value + "\""), HasSubstr(" 0 hits, "));
}

TEST_F(MediaqueryConsole, TellsAFolderThatIsMissingToTheClient) {
  options.folders = {dir.Path("nowhere")};
  ConsoleScene scene(options);
  auto client = scene.Connect();
  ASSERT_NE(client, nullptr);
  EXPECT_EQ(Ask(client.get(), "*"),
            "mediaquery: " + options.folders[0] + ": there is no such folder\r\n");
}

TEST_F(MediaqueryConsole, FailsWhenItCanNotListen) {
  options.consoleAddress = "127.0.0.1";
  const TestSocket taken = TestSocket::Listening();
  options.consolePort = taken.Port();
  options.consoleAddress = "192.0.2.1"; // an address of nobody
  Interrupt interrupt;
  EXPECT_EQ(Console(options, &interrupt).Run(), 2);
}

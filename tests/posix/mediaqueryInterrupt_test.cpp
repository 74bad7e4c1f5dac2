// Interrupts of mediaquery, each sent to a real program: in a search, in a watch, in the console.

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/support/MediaFiles.h>
#include <tests/support/Sockets.h>
#include <tests/support/TelnetScene.h>
#include <tests/support/TempDir.h>
#include <tests/support/WaitFor.h>

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

// The program, while it runs. Its standard output is a pipe, its standard error a file.
class Child {
public:
  explicit Child(const std::vector<std::string>& arguments) {
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_CLOEXEC) != 0)
      return;
    m_output = ends[0];
    std::vector<char*> texts = {const_cast<char*>(MEDIAQUERY_PROGRAM)};
    for (const std::string& argument : arguments)
      texts.push_back(const_cast<char*>(argument.c_str()));
    texts.push_back(nullptr);
    const std::string err = m_files.Path("err");
    m_pid = ::fork();
    if (m_pid == 0) {
      const int errFile = ::open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      if (::dup2(ends[1], 1) == 1 && ::dup2(errFile, 2) == 2)
        ::execv(MEDIAQUERY_PROGRAM, texts.data());
      ::_exit(127);
    }
    ::close(ends[1]);
  }
  ~Child() {
    if (m_pid > 0) {
      ::kill(m_pid, SIGKILL);
      ::waitpid(m_pid, nullptr, 0);
    }
    ::close(m_output);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  void Signal(int number) const { ::kill(m_pid, number); }

  // Reads one line of standard output with its end; what there is of it at the end of the output.
  std::string ReadLine() {
    std::string line;
    char c = 0;
    while ((line.empty() || line.back() != '\n') && ::read(m_output, &c, 1) == 1)
      line += c;
    return line;
  }
  std::string ReadAll() {
    std::string text;
    char chunk[65536];
    for (ssize_t n = ::read(m_output, chunk, sizeof chunk); n > 0;
         n = ::read(m_output, chunk, sizeof chunk))
      text.append(chunk, static_cast<size_t>(n));
    return text;
  }
  // The exit status; 1000 and the number of the signal that ended it; -1 if it is still there after a
  // minute.
  int Join() {
    int status = 0;
    if (!WaitFor([&] { return ::waitpid(m_pid, &status, WNOHANG) == m_pid; }))
      return -1;
    m_pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
  }
  bool HasEnded() const {
    siginfo_t info = {};
    ::waitid(P_PID, static_cast<id_t>(m_pid), &info, WEXITED | WNOHANG | WNOWAIT);
    return info.si_pid == m_pid;
  }
  std::string Errors() const { return m_files.Read("err"); }

private:
  TempDir m_files;
  pid_t m_pid = -1;
  int m_output = -1;
};

// Whether the text is of whole lines, each an object.
bool IsWholeJSON(const std::string& text) {
  size_t start = 0;
  for (size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', start)) {
    if (end - start < 2 || text[start] != '{' || text[end - 1] != '}')
      return false;
    start = end + 1;
  }
  return start == text.size();
}

void MakeTree(const TempDir& dir, int folders, int files) {
  for (int folder = 0; folder < folders; ++folder) {
    const std::string name = std::to_string(folder);
    dir.MakeDir(name);
    for (int file = 0; file < files; ++file)
      dir.Write(name + "/" + std::to_string(file) + ".png", MakePNG(1, 1));
  }
}

// A port that is free.
std::string FreePort() {
  return std::to_string(TestSocket::Bound(SOCK_STREAM).Port());
}

// Whether the console has come to listen.
bool WaitForConsole(const Child& child) {
  return WaitFor([&] { return child.Errors().find("mediaquery: telnet ") != std::string::npos; });
}

} // namespace

TEST(MediaqueryInterrupt, EndsASearchInGoodOrderAtAnyMoment) {
  const TempDir dir;
  const TempDir results;
  MakeTree(dir, 10, 50);
  const std::string store = results.Path("c.cat");
  const std::vector<std::string> arguments = {"--store", store, "--", dir.Path()};
  const auto start = std::chrono::steady_clock::now();
  {
    Child child(arguments);
    const std::string out = child.ReadAll();
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 500);
    EXPECT_EQ(child.Join(), 0);
  }
  const auto whole = std::chrono::steady_clock::now() - start;
  const int kMoments = 16;
  int interrupted = 0;
  for (int i = 0; i < kMoments; ++i) {
    results.Write("c.cat", "old");
    Child child(arguments);
    // The moments differ; what holds at each of them is the same.
    std::thread interrupter([&] {
      std::this_thread::sleep_for(whole * i / kMoments);
      child.Signal(i % 2 == 0 ? SIGINT : SIGTERM);
    });
    const std::string out = child.ReadAll();
    interrupter.join();
    const int status = child.Join();
    EXPECT_TRUE(IsWholeJSON(out)) << out.substr(out.size() - std::min<size_t>(out.size(), 300));
    if (status > 1000) { // it had not come to catch interrupts yet
      EXPECT_EQ(out, "");
    } else if (status == 130) {
      ++interrupted;
      EXPECT_THAT(child.Errors(), EndsWith("; interrupted\n"));
    } else { // it was done
      EXPECT_EQ(status, 0);
      EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 500);
    }
    if (status == 0)
      EXPECT_THAT(results.Read("c.cat"), StartsWith("{"));
    else
      EXPECT_EQ(results.Read("c.cat"), "old");
    EXPECT_FALSE(results.Has("c.cat.tmp")) << status;
  }
  EXPECT_GT(interrupted, 0);
}

TEST(MediaqueryInterrupt, EndsASearchWhoseOutputNobodyReads) {
  const TempDir dir;
  MakeTree(dir, 10, 100); // more hits than a pipe holds
  Child child({"--", dir.Path()});
  const std::string first = child.ReadLine();
  child.Signal(SIGINT);
  EXPECT_EQ(child.Join(), 130);
  EXPECT_TRUE(IsWholeJSON(first + child.ReadAll()));
  EXPECT_THAT(child.Errors(), EndsWith("; interrupted\n"));
}

TEST(MediaqueryInterrupt, EndsAtOnceAtTheSecondOne) {
  // A hit that is longer than a pipe takes at a time holds the program up in its middle.
  const TempDir dir;
  std::string folder;
  for (int depth = 0; depth < 12; ++depth)
    folder += (depth == 0 ? "" : "/") + std::string(80, static_cast<char>('a' + depth)) +
              std::string(40, '#') + std::string(100, '%');
  dir.MakeDir(folder);
  for (int i = 0; i < 100; ++i)
    dir.Write(folder + "/" + std::to_string(i) + ".png", MakePNG(1, 1));
  Child child({"--", dir.Path()});
  EXPECT_GT(child.ReadLine().size(), 4096u);
  child.Signal(SIGINT);
  // Where it stands decides whether the first one is enough.
  for (int i = 0; i < 100 && !child.HasEnded(); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  child.Signal(SIGINT);
  EXPECT_EQ(child.Join(), 130);
}

TEST(MediaqueryInterrupt, IsLeftAloneWhereItWasIgnoredAtTheStart) {
  const TempDir dir;
  MakeTree(dir, 10, 100);
  ::signal(SIGINT, SIG_IGN);
  Child child({"--", dir.Path()});
  ::signal(SIGINT, SIG_DFL);
  const std::string first = child.ReadLine();
  child.Signal(SIGINT);
  const std::string out = first + child.ReadAll();
  EXPECT_EQ(child.Join(), 0);
  EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 1000);
}

TEST(MediaqueryInterrupt, EndsAWatchThatWaits) {
  const TempDir dir;
  dir.Write("a.png", MakePNG(1, 1));
  Child child({"--watch", "4000000", "--", dir.Path()});
  EXPECT_THAT(child.ReadLine(), StartsWith("{\"change\":\"added\",\"@id\":\"a.png\","));
  child.Signal(SIGINT);
  EXPECT_EQ(child.Join(), 130);
  EXPECT_EQ(child.ReadAll(), "");
  EXPECT_THAT(child.Errors(), StartsWith("1 look: 1 file seen, 1 media item, 1 hit, "));
  EXPECT_THAT(child.Errors(), EndsWith("; interrupted\n"));
}

TEST(MediaqueryInterrupt, EndsAWatchAtAnyMoment) {
  const TempDir dir;
  MakeTree(dir, 10, 100);
  for (int i = 0; i < 20; ++i) {
    Child child({"--watch", "1", "--", dir.Path()});
    std::string out;
    for (int line = 0; line < 50 * i; ++line)
      out += child.ReadLine();
    child.Signal(SIGTERM);
    out += child.ReadAll();
    const int status = child.Join();
    EXPECT_TRUE(status == 130 || (i == 0 && status == 1000 + SIGTERM)) << status;
    EXPECT_TRUE(IsWholeJSON(out));
    // A look that was cut short tells nothing as removed.
    EXPECT_THAT(out, Not(HasSubstr("removed")));
  }
}

TEST(MediaqueryWatch, TellsWhatChangesWhileItRuns) {
  const TempDir dir;
  dir.Write("a.png", MakePNG(1, 1));
  Child child({"--watch", "1", "--limit", "4", "--", dir.Path()});
  EXPECT_THAT(child.ReadLine(), StartsWith("{\"change\":\"added\",\"@id\":\"a.png\","));
  dir.Write("b.png", MakePNG(1, 1));
  EXPECT_THAT(child.ReadLine(), StartsWith("{\"change\":\"added\",\"@id\":\"b.png\","));
  // Where it is put in one step, no look sees half of it.
  dir.Write("new", MakePNG(2, 2) + "more");
  std::filesystem::rename(dir.Path("new"), dir.Path("a.png"));
  EXPECT_THAT(child.ReadLine(), StartsWith("{\"change\":\"changed\",\"@id\":\"a.png\","));
  std::filesystem::remove(dir.Path("b.png"));
  EXPECT_THAT(child.ReadLine(), StartsWith("{\"change\":\"removed\",\"@id\":\"b.png\","));
  EXPECT_EQ(child.Join(), 0);
  EXPECT_THAT(child.Errors(), HasSubstr("; stopped at the limit"));
}

TEST(MediaqueryWatch, GoesOnWhenTheFolderIsAwayForATime) {
  const TempDir dir;
  dir.MakeDir("in");
  dir.Write("in/a.png", MakePNG(1, 1));
  Child child({"--watch", "1", "--limit", "2", "--", dir.Path("in")});
  EXPECT_THAT(child.ReadLine(), StartsWith("{\"change\":\"added\",\"@id\":\"a.png\","));
  std::filesystem::rename(dir.Path("in"), dir.Path("away"));
  EXPECT_TRUE(WaitFor([&] { return child.Errors().find("there is no such folder") < 1000; }));
  dir.Write("away/b.png", MakePNG(1, 1));
  std::filesystem::rename(dir.Path("away"), dir.Path("in"));
  EXPECT_THAT(child.ReadLine(), StartsWith("{\"change\":\"added\",\"@id\":\"b.png\","));
  EXPECT_EQ(child.Join(), 0);
}

TEST(MediaqueryInterrupt, EndsAConsoleThatWaitsForAClient) {
  const TempDir dir;
  for (const int number : {SIGINT, SIGTERM}) {
    Child child({"--console", FreePort(), "--", dir.Path()});
    EXPECT_TRUE(WaitForConsole(child));
    child.Signal(number);
    EXPECT_EQ(child.Join(), 130);
    EXPECT_THAT(child.Errors(), EndsWith("0 queries run, 0 hits; interrupted\n"));
  }
}

TEST(MediaqueryInterrupt, EndsAConsoleWithASilentClient) {
  const TempDir dir;
  const std::string port = FreePort();
  Child child({"--console", port, "--", dir.Path()});
  ASSERT_TRUE(WaitForConsole(child));
  LoopbackClient client(static_cast<unsigned short>(std::stoi(port)));
  const std::string greeting = "Greetings from qelConsole!\r\n"
                               "mediaquery: type criteria, help, status or quit\r\n\r\n> ";
  EXPECT_EQ(client.Receive(greeting.size()), greeting);
  EXPECT_TRUE(client.Send("half a li"));
  child.Signal(SIGINT);
  EXPECT_EQ(child.Join(), 130);
  EXPECT_THAT(child.Errors(), EndsWith("0 queries run, 0 hits; interrupted\n"));
}

TEST(MediaqueryInterrupt, EndsAConsoleWhoseClientDoesNotReadItsHits) {
  const TempDir dir;
  MakeTree(dir, 10, 100);
  const std::string port = FreePort();
  Child child({"--console", port, "--", dir.Path()});
  ASSERT_TRUE(WaitForConsole(child));
  LoopbackClient client(static_cast<unsigned short>(std::stoi(port)));
  std::string questions;
  for (int i = 0; i < 100; ++i)
    questions += "*\r\n"; // some 30 million bytes of answers
  EXPECT_TRUE(client.Send(questions));
  EXPECT_EQ(client.Receive(9), "Greetings");
  child.Signal(SIGINT);
  EXPECT_EQ(child.Join(), 130);
  EXPECT_THAT(child.Errors(), EndsWith("; interrupted\n"));
}

TEST(MediaqueryInterrupt, EndsAConsoleAtAnyMoment) {
  const TempDir dir;
  MakeTree(dir, 3, 100);
  for (int i = 0; i < 20; ++i) {
    const std::string port = FreePort();
    Child child({"--console", port, "--", dir.Path()});
    EXPECT_TRUE(WaitForConsole(child));
    LoopbackClient client(static_cast<unsigned short>(std::stoi(port)));
    client.Send("*\r\n*\r\n*\r\n");
    client.Receive(static_cast<size_t>(5000 * i));
    child.Signal(SIGINT);
    EXPECT_EQ(child.Join(), 130);
  }
}

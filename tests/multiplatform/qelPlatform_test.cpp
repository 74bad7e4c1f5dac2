#include <qel/multiplatform/qelPlatform.h>

#include <cstdlib>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/multiplatform/qelFilePrivate.h>
#include <tests/support/LogCapture.h>
#include <tests/support/TempDir.h>
#include <tests/support/WaitFor.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

// Environment ------------------------------------------------------------------

static std::string Variable(const char* name) {
  const qelOwnedText value(qelGetEnvironmentVariable(name));
  return value != nullptr ? value.get() : "(null)";
}

TEST(GetEnvironmentVariable, IsNullForAnUnsetName) {
  LogCapture log;
  EXPECT_EQ(nullptr, qelGetEnvironmentVariable("QEL_TEST_UNSET"));
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST(GetEnvironmentVariable, GivesANewCopyEachTime) {
  ASSERT_EQ(0, qelSetEnvironmentVariable("QEL_TEST_A", "one"));
  const qelOwnedText first(qelGetEnvironmentVariable("QEL_TEST_A"));
  const qelOwnedText second(qelGetEnvironmentVariable("QEL_TEST_A"));
  EXPECT_NE(first.get(), second.get());
  first.get()[0] = 'x';
  EXPECT_STREQ("one", second.get());
  EXPECT_EQ("one", Variable("QEL_TEST_A"));
}

TEST(SetEnvironmentVariable, ReplacesAValueAndKeepsACopy) {
  std::string value = "first";
  ASSERT_EQ(0, qelSetEnvironmentVariable("QEL_TEST_B", value.c_str()));
  value = "other";
  EXPECT_EQ("first", Variable("QEL_TEST_B"));
  ASSERT_EQ(0, qelSetEnvironmentVariable("QEL_TEST_B", "second"));
  EXPECT_EQ("second", Variable("QEL_TEST_B"));
}

TEST(SetEnvironmentVariable, TakesTheVariableAwayWithAnEmptyValue) {
  ASSERT_EQ(0, qelSetEnvironmentVariable("QEL_TEST_C", "there"));
  for (int round = 0; round < 2; ++round) { // also one that is not there any more
    EXPECT_EQ(0, qelSetEnvironmentVariable("QEL_TEST_C", ""));
    EXPECT_EQ("(null)", Variable("QEL_TEST_C"));
  }
}

TEST(SetEnvironmentVariable, CarriesAnyTextOfUTF8) {
  const std::string value = "\xC3\xA9 \xE2\x82\xAC = \"x\" \xF0\x9F\x8E\xB5";
  ASSERT_EQ(0, qelSetEnvironmentVariable("QEL_TEST_D", value.c_str()));
  EXPECT_EQ(value, Variable("QEL_TEST_D"));
}

TEST(SetEnvironmentVariable, CutsTheNameAtTheFirstEqualsSign) {
  ASSERT_EQ(0, qelSetEnvironmentVariable("QEL_TEST_E=a", "b"));
  EXPECT_EQ("a=b", Variable("QEL_TEST_E"));
  ASSERT_EQ(0, qelSetEnvironmentVariable("QEL_TEST_E=c", ""));
  EXPECT_EQ("c=", Variable("QEL_TEST_E"));
}

TEST(SetEnvironmentVariable, LogsTheWholeTextOfAFailure) {
  LogCapture log;
  EXPECT_EQ(-1, qelSetEnvironmentVariable("", "value"));
  ASSERT_EQ(1u, log.Lines().size());
  EXPECT_EQ("qelPlatform: Unable to set environment variable '=value'. Error = -1\n",
            log.Lines()[0].text);
  EXPECT_EQ(1u, log.Lines()[0].level);
  EXPECT_EQ(7u, log.Lines()[0].module);
  EXPECT_THAT(log.Lines()[0].file, MatchesRegex(".*qelPlatform.*"));
}

// Launching --------------------------------------------------------------------

namespace {

// The launched program ends when this object takes its report away.
class LaunchTest : public ::testing::Test {
protected:
  LaunchTest() {
    qelSetEnvironmentVariable("QEL_TEST_REPORT", m_dir.Path("report").c_str());
    qelSetEnvironmentVariable("QEL_TEST_LEAVE", "");
  }

  ~LaunchTest() override {
    std::error_code ignored;
    std::filesystem::remove(TempDir::Native(m_dir.Path("report")), ignored);
  }

  // The first `lines` lines of the report.
  std::string Report(size_t lines) {
    if (!WaitFor([this] { return m_dir.Has("report"); }))
      return "(none)";
    const std::string text = m_dir.Read("report");
    size_t end = 0;
    for (size_t i = 0; i < lines && end != std::string::npos; ++i)
      end = text.find('\n', end) + 1;
    return text.substr(0, end);
  }

  // A command as log lines show it.
  static std::string Native(const std::string& path) {
    return TempDir::Native(path).make_preferred().u8string();
  }

  TempDir m_dir;
};

} // namespace

static const std::string kProgram = LAUNCHED_PROGRAM;

using LaunchApplication = LaunchTest;

TEST_F(LaunchApplication, IsZeroForAProgramThatStartsAndStays) {
  LogCapture log;
  EXPECT_EQ(0, qelLaunchApplication(kProgram.c_str(), "one two"));
  EXPECT_EQ("[one]\n[two]\n", Report(2));
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(LaunchApplication, HandsArgumentsOverExactly) {
  EXPECT_EQ(0, qelLaunchApplication(
                   kProgram.c_str(),
                   "\"a b\"  c\"d e\"f \"\" \\\"x\\\" \"p\\\\\" \"a\\\"b\" c:\\dir\\ $HOME * ;|&"));
  EXPECT_EQ("[a b]\n[cd ef]\n[]\n[\"x\"]\n[p\\]\n[a\"b]\n[c:\\dir\\]\n[$HOME]\n[*]\n[;|&]\n",
            Report(10));
}

TEST_F(LaunchApplication, TakesNullAndEmptyArgumentsForNone) {
  for (const char* none : {static_cast<const char*>(nullptr), ""}) {
    EXPECT_EQ(0, qelLaunchApplication(kProgram.c_str(), none));
    EXPECT_EQ("", Report(0)); // it has started
    std::filesystem::remove(TempDir::Native(m_dir.Path("report")));
  }
}

TEST_F(LaunchApplication, FindsAProgramWhoseNameHasBlanks) {
  const std::string program = m_dir.MakeDir("a b") + "/the program.exe";
  std::filesystem::copy_file(TempDir::Native(kProgram), TempDir::Native(program));
  for (const char* dll : {"libgcc_s_seh-1.dll", "libstdc++-6.dll", "libwinpthread-1.dll"}) {
    const auto from = TempDir::Native(kProgram).parent_path() / dll;
    if (std::filesystem::exists(from))
      std::filesystem::copy_file(from, TempDir::Native(program).parent_path() / dll);
  }
  EXPECT_EQ(0, qelLaunchApplication(program.c_str(), "x"));
  EXPECT_EQ("[x]\n", Report(1));
  std::filesystem::remove(TempDir::Native(m_dir.Path("report")));
  EXPECT_EQ(0, qelLaunchApplication(program.c_str(), nullptr));
  EXPECT_EQ("", Report(0));
  std::filesystem::remove(TempDir::Native(m_dir.Path("report")));
  // Some systems keep the file of a program that runs.
  EXPECT_TRUE(WaitFor([&] {
    std::error_code error;
    return std::filesystem::remove(TempDir::Native(program), error) || !error;
  }));
}

TEST_F(LaunchApplication, LogsTheCommandThatCantBeStarted) {
  LogCapture log;
  const std::string missing = m_dir.Path("x/y.exe");
  EXPECT_EQ(-1, qelLaunchApplication(missing.c_str(), "a b"));
  EXPECT_EQ(-1, qelLaunchApplication(missing.c_str(), ""));
  EXPECT_EQ(-1, qelLaunchApplication(m_dir.Path("y.exe").c_str(), nullptr));
  const std::vector<CapturedLine> lines = log.Lines();
  ASSERT_EQ(3u, lines.size());
  EXPECT_THAT(lines[0].text,
              StartsWith("Unable to launch '\"" + Native(missing) + "\" a b' (Error = "));
  EXPECT_THAT(lines[1].text, StartsWith("Unable to launch '" + Native(missing) + "' (Error = "));
  EXPECT_EQ("Unable to launch '" + Native(m_dir.Path("y.exe")) + "' (Error = 2)\n", lines[2].text);
  EXPECT_EQ(1u, lines[0].level);
  EXPECT_EQ(7u, lines[0].module);
}

TEST_F(LaunchApplication, CantStartWhatIsNoProgram) {
  LogCapture log;
  const std::string text = m_dir.Write("text.exe", "no program at all");
  EXPECT_EQ(-1, qelLaunchApplication(text.c_str(), ""));
  EXPECT_EQ(-1, qelLaunchApplication(m_dir.Path().c_str(), ""));
  ASSERT_EQ(2u, log.Texts().size());
  EXPECT_THAT(log.Texts()[0], StartsWith("Unable to launch '" + Native(text) + "' (Error = "));
}

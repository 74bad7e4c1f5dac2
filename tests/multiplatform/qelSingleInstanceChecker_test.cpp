#include <qel/multiplatform/qelSingleInstanceChecker.h>

#include <functional>
#include <memory>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/support/LogCapture.h>
#include <tests/support/RunProgram.h>
#include <tests/support/TempDir.h>
#include <tests/support/WaitFor.h>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

namespace {

struct DeleteChecker {
  void operator()(qelOSSingleInstanceChecker* checker) const {
    qelOSSingleInstanceChecker_Delete(checker);
  }
};
typedef std::unique_ptr<qelOSSingleInstanceChecker, DeleteChecker> Checker;

// Another process that holds a name, from the constructor on until End.
class Instance {
public:
  explicit Instance(const std::string& name) {
    const std::string file = m_dir.Path("state");
    m_thread = std::thread([=] { RunProgram(INSTANCE_PROGRAM, {name, file}); });
    m_hasStarted = WaitFor([this] { return m_dir.Has("state"); });
  }
  ~Instance() { End(); }

  std::string State() const { return m_hasStarted ? m_dir.Read("state") : "(none)"; }

  void End() {
    std::error_code ignored;
    std::filesystem::remove(TempDir::Native(m_dir.Path("state")), ignored);
    if (m_thread.joinable())
      m_thread.join();
  }

private:
  TempDir m_dir;
  std::thread m_thread;
  bool m_hasStarted = false;
};

} // namespace

// A name of this program's own. The same in every run, as systems may keep a trace of each.
static std::string Name(const std::string& name) {
  return "qel-test-" + std::to_string(std::hash<std::string>()(INSTANCE_PROGRAM)) + "-" + name;
}

static Checker New(const std::string& name) {
  return Checker(qelOSSingleInstanceChecker_New(name.c_str()));
}

static bool IsTaken(const std::string& name) {
  return qelOSSingleInstanceChecker_IsAnotherRunning(New(name).get()) != 0;
}

TEST(SingleInstance, TheFirstOfANameIsAlone) {
  LogCapture log;
  const Checker checker = New(Name("alone"));
  EXPECT_NE(nullptr, checker->mutex);
  EXPECT_EQ(0, checker->anotherRunning);
  EXPECT_EQ(0, checker->error);
  EXPECT_EQ(0, qelOSSingleInstanceChecker_IsAnotherRunning(checker.get()));
  EXPECT_EQ(0, qelOSSingleInstanceChecker_Error(checker.get()));
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST(SingleInstance, TheSecondOfANameSeesTheFirst) {
  Checker first = New(Name("two"));
  Checker second = New(Name("two"));
  EXPECT_EQ(0, first->anotherRunning);
  EXPECT_EQ(1, second->anotherRunning);
  EXPECT_EQ(0, second->error);
  first.reset();
  second.reset();
  EXPECT_FALSE(IsTaken(Name("two")));
}

TEST(SingleInstance, ANameIsTakenAsLongAsAnyRecordLives) {
  Checker first = New(Name("any"));
  Checker second = New(Name("any"));
  first.reset();
  EXPECT_TRUE(IsTaken(Name("any")));
  Checker third = New(Name("any"));
  second.reset();
  EXPECT_TRUE(IsTaken(Name("any")));
  third.reset();
  EXPECT_FALSE(IsTaken(Name("any")));
}

TEST(SingleInstance, OtherNamesAreOtherPrograms) {
  const Checker checker = New(Name("name"));
  EXPECT_FALSE(IsTaken(Name("nam")));
  EXPECT_FALSE(IsTaken(Name("NAME")));
  EXPECT_FALSE(IsTaken(Name("name ")));
  EXPECT_FALSE(IsTaken(Name("name/x")));
  EXPECT_FALSE(IsTaken(Name("\xC3\xA9")));
  EXPECT_TRUE(IsTaken(Name("name")));
}

TEST(SingleInstance, AnEmptyNameIsAnError) {
  LogCapture log;
  for (const char* name : {"", static_cast<const char*>(nullptr)}) {
    const Checker checker(qelOSSingleInstanceChecker_New(name));
    EXPECT_EQ(nullptr, checker->mutex);
    EXPECT_EQ(1, qelOSSingleInstanceChecker_IsAnotherRunning(checker.get()));
    EXPECT_EQ(1, qelOSSingleInstanceChecker_Error(checker.get()));
  }
  ASSERT_EQ(2u, log.Lines().size());
  EXPECT_EQ("qelOSSingleInstanceChecker: Cannot create checker: name '' may be invalid\n",
            log.Lines()[0].text);
  EXPECT_EQ(1u, log.Lines()[0].level);
  EXPECT_EQ(7u, log.Lines()[0].module);
  EXPECT_THAT(log.Lines()[0].file, MatchesRegex(".*qelSingleInstanceChecker.*"));
}

TEST(SingleInstance, ANameThatIsNotUTF8IsAnError) {
  LogCapture log;
  const Checker checker = New("a\xFFz");
  EXPECT_EQ(1, checker->anotherRunning);
  EXPECT_EQ(1, checker->error);
  EXPECT_THAT(log.Texts(), ElementsAre("qelOSSingleInstanceChecker: Cannot create wide char name "
                                       "'Global\\a\xFFz'\n"));
}

TEST(SingleInstance, ANameThatTheSystemRefusesIsAnError) {
  LogCapture log;
  const Checker checker = New("no such\\space");
  EXPECT_EQ(nullptr, checker->mutex);
  EXPECT_EQ(1, checker->anotherRunning);
  EXPECT_EQ(1, checker->error);
  ASSERT_EQ(1u, log.Texts().size());
  EXPECT_THAT(log.Texts()[0],
              HasSubstr("qelOSSingleInstanceChecker: CreateMutex failed (error = "));
}

TEST(SingleInstance, DeletingNullIsAllowed) {
  LogCapture log;
  qelOSSingleInstanceChecker_Delete(nullptr);
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST(SingleInstance, AHandleThatCantBeClosedIsLogged) {
  Checker checker = New(Name("closed"));
  void* const closed = checker->mutex;
  checker.reset();
  Checker broken = New(""); // an error's record holds no handle of its own
  broken->mutex = closed;
  LogCapture log;
  broken.reset();
  ASSERT_EQ(1u, log.Texts().size());
  EXPECT_THAT(log.Texts()[0],
              HasSubstr("qelOSSingleInstanceChecker: CloseHandle failed (error = "));
}

TEST(SingleInstanceProcesses, OneOfTwoIsFirst) {
  Instance other(Name("process"));
  EXPECT_EQ("first", other.State());
  EXPECT_TRUE(IsTaken(Name("process")));
  Instance third(Name("process"));
  EXPECT_EQ("another", third.State());
}

TEST(SingleInstanceProcesses, AProcessSeesThisOne) {
  const Checker checker = New(Name("own"));
  EXPECT_EQ(0, checker->anotherRunning);
  EXPECT_EQ("another", Instance(Name("own")).State());
}

TEST(SingleInstanceProcesses, ANameIsFreeAgainAfterASuddenEnd) {
  Instance other(Name("end"));
  EXPECT_EQ("first", other.State());
  EXPECT_TRUE(IsTaken(Name("end")));
  other.End();
  EXPECT_FALSE(IsTaken(Name("end")));
}

TEST(SingleInstanceProcesses, ANameOutlivesTheProcessThatHadItFirst) {
  Instance first(Name("heir"));
  EXPECT_EQ("first", first.State());
  Checker heir = New(Name("heir"));
  EXPECT_EQ(1, heir->anotherRunning);
  first.End();
  EXPECT_EQ("another", Instance(Name("heir")).State());
  heir.reset();
  EXPECT_EQ("first", Instance(Name("heir")).State());
}

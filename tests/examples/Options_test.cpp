#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <examples/mediaquery/Options.h>
#include <tests/support/LogCapture.h>

using namespace mediaquery;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

using Arguments = std::vector<std::string>;

// What a command line came to: the options, or what was said against it.
struct Outcome {
  bool good = false;
  Options options;
  std::string fault;    // of the program
  std::string printed;  // on standard error, by the parser
  std::string standard; // on standard output
};

Outcome Parse(const Arguments& arguments) {
  Outcome outcome;
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  outcome.good = ParseOptions(arguments, &outcome.options, &outcome.fault);
  outcome.printed = testing::internal::GetCapturedStderr();
  outcome.standard = testing::internal::GetCapturedStdout();
  return outcome;
}

Options ParseGood(const Arguments& arguments) {
  const Outcome outcome = Parse(arguments);
  EXPECT_TRUE(outcome.good) << testing::PrintToString(arguments) << outcome.printed
                            << outcome.fault;
  EXPECT_EQ(outcome.printed + outcome.standard + outcome.fault, "");
  return outcome.options;
}

} // namespace

TEST(ParseOptions, TakesAFolderAlone) {
  const Options options = ParseGood({"a"});
  EXPECT_THAT(options.folders, ElementsAre("a"));
  EXPECT_EQ(options.criteria, "*");
  EXPECT_FALSE(options.help);
  EXPECT_FALSE(options.human);
  EXPECT_FALSE(options.set);
  EXPECT_EQ(options.limit, 0u);
  EXPECT_EQ(options.watchSeconds, 0u);
  EXPECT_EQ(options.consolePort, 0u);
  EXPECT_EQ(options.store + options.from + options.consoleAddress, "");
}

TEST(ParseOptions, LeavesFoldersToTheSettings) {
  EXPECT_THAT(ParseGood({}).folders, IsEmpty());
  const Options options = ParseGood({"", "dc:title = \"x\""});
  EXPECT_THAT(options.folders, IsEmpty());
  EXPECT_EQ(options.criteria, "dc:title = \"x\"");
}

TEST(ParseOptions, TakesFolderAndCriteria) {
  const Options options = ParseGood({"a", "dc:title = \"-x\""});
  EXPECT_THAT(options.folders, ElementsAre("a"));
  EXPECT_EQ(options.criteria, "dc:title = \"-x\"");
}

TEST(ParseOptions, TakesEachFormOfANumber) {
  const Arguments forms[] = {
      {"--limit", "7", "a"},   {"-limit", "7", "a"}, {"/limit", "7", "a"},
      {"--limit=7", "a"},      {"-limit=7", "a"},    {"/limit=7", "a"},
      {"--limit:7", "a"},      {"-limit:7", "a"},    {"/limit:7", "a"},
      {"a", "--limit", "7"},   {"a", "/limit:7"},    {"/limit", "7", "--", "a"},
      {"--limit=7", "--", "a"}};
  for (const Arguments& form : forms) {
    const Options options = ParseGood(form);
    EXPECT_EQ(options.limit, 7u) << testing::PrintToString(form);
    EXPECT_THAT(options.folders, ElementsAre("a")) << testing::PrintToString(form);
  }
}

TEST(ParseOptions, TakesEachFormOfASwitch) {
  for (const char* form : {"--human", "-human", "/human"})
    EXPECT_TRUE(ParseGood({form, "a"}).human) << form;
}

TEST(ParseOptions, TakesEachFormOfAHelpRequestAndReadsNoFurther) {
  for (const char* form : {"--help", "-help", "/help"}) {
    const Outcome outcome = Parse({form, "--what"});
    EXPECT_TRUE(outcome.good) << form;
    EXPECT_TRUE(outcome.options.help) << form;
    EXPECT_EQ(outcome.printed + outcome.standard + outcome.fault, "") << form;
  }
}

TEST(ParseOptions, TakesNamesOfFiles) {
  EXPECT_EQ(ParseGood({"--store", "c.cat", "a"}).store, "c.cat");
  EXPECT_EQ(ParseGood({"/store:c.cat", "a"}).store, "c.cat");
  EXPECT_EQ(ParseGood({"--store=/tmp/c=d.cat", "a"}).store, "/tmp/c=d.cat");
  EXPECT_EQ(ParseGood({"--store", "/tmp/c.cat", "a"}).store, "/tmp/c.cat");
  const Options options = ParseGood({"-from", "c.cat", "dc:title = \"x\""});
  EXPECT_EQ(options.from, "c.cat");
  EXPECT_THAT(options.folders, IsEmpty());
  EXPECT_EQ(options.criteria, "dc:title = \"x\"");
}

TEST(ParseOptions, LeavesAValueAsItStands) {
  EXPECT_EQ(ParseGood({"--store", "--human", "a"}).store, "--human");
  EXPECT_EQ(ParseGood({"-store", "--", "a"}).store, "--");
  EXPECT_EQ(ParseGood({"/store", "/from", "a"}).store, "/from");
}

TEST(ParseOptions, TakesWhatFollowsTwoDashesForNoOption) {
  const Options options = ParseGood({"--human", "--", "/usr/share", "--limit"});
  EXPECT_TRUE(options.human);
  EXPECT_THAT(options.folders, ElementsAre("/usr/share"));
  EXPECT_EQ(options.criteria, "--limit");
  EXPECT_THAT(ParseGood({"--", "--", "x"}).folders, ElementsAre("--"));
}

TEST(ParseOptions, TakesAnArgumentOfOneCharacterForAFolder) {
  EXPECT_THAT(ParseGood({"-"}).folders, ElementsAre("-"));
  EXPECT_THAT(ParseGood({"/"}).folders, ElementsAre("/"));
}

TEST(ParseOptions, TakesWatchAndConsole) {
  EXPECT_EQ(ParseGood({"--watch", "60", "a"}).watchSeconds, 60u);
  const Options loopback = ParseGood({"--console", "4000", "a"});
  EXPECT_EQ(loopback.consoleAddress, "127.0.0.1");
  EXPECT_EQ(loopback.consolePort, 4000u);
  EXPECT_TRUE(loopback.consoleGiven);
  EXPECT_FALSE(ParseGood({"a"}).consoleGiven);
  EXPECT_TRUE(ParseGood({"--console=0", "a"}).consoleGiven);
  EXPECT_EQ(ParseGood({"--console=0", "a"}).consolePort, 0u);
  for (const Arguments& form :
       {Arguments{"--console", "127.0.0.2:23", "a"}, Arguments{"/console:127.0.0.2:23", "a"},
        Arguments{"--console=127.0.0.2:23", "a"}}) {
    const Options options = ParseGood(form);
    EXPECT_EQ(options.consoleAddress, "127.0.0.2");
    EXPECT_EQ(options.consolePort, 23u);
  }
}

TEST(ParseOptions, TakesASetting) {
  for (const Arguments& form :
       {Arguments{"--set", "Search/Limit", "5"}, Arguments{"/set:Search/Limit", "5"},
        Arguments{"--set=Search/Limit", "5"}, Arguments{"--set", "Search/Limit", "--", "5"}}) {
    const Options options = ParseGood(form);
    EXPECT_TRUE(options.set);
    EXPECT_EQ(options.setKey, "Search/Limit");
    EXPECT_EQ(options.setValue, "5");
  }
  EXPECT_EQ(ParseGood({"--set", "a/b", ""}).setValue, "");
  EXPECT_EQ(ParseGood({"--set", "a/b", "--", "/home/x"}).setValue, "/home/x");
}

TEST(ParseOptions, LeavesTheFaultsOfTheTableToTheParser) {
  const struct {
    Arguments arguments;
    const char* fault;
  } kCases[] = {
      {{"--what", "a"}, "Unknown option '--what'\n"},
      {{"-what", "a"}, "Unknown option 'what'\n"},
      {{"--limit5", "a"}, "Unknown option '--limit5'\n"},
      {{"-limit5", "a"}, "Separator expected after the option 'limit'\n"},
      {{"--limit"}, "Option 'limit' requires a value\n"},
      {{"--store"}, "Option 'store' requires a value\n"},
      {{"--limit", "x", "a"}, "'x' is not a correct numeric value for option 'limit'\n"},
      {{"--limit=", "a"}, "'' is not a correct numeric value for option 'limit'\n"},
      {{"--limit", "4294967296", "a"},
       "'4294967296' is not a correct numeric value for option 'limit'\n"},
      {{"a", "*", "b"}, "Unexpected parameter 'b'\n"},
  };
  for (const auto& row : kCases) {
    LogCapture log;
    const Outcome outcome = Parse(row.arguments);
    EXPECT_FALSE(outcome.good);
    EXPECT_EQ(outcome.printed, row.fault);
    EXPECT_EQ(outcome.standard, "") << row.fault;
    EXPECT_EQ(outcome.fault, "") << row.fault;
    EXPECT_EQ(log.All(), "") << row.fault;
  }
}

TEST(ParseOptions, TellsOfTheTwoDashesWhenAPathReadsAsAnOption) {
  for (const Arguments& arguments : {Arguments{"/usr/share"}, Arguments{"/usr/share", "*"},
                                     Arguments{"--human", "/usr/share"}}) {
    const Outcome outcome = Parse(arguments);
    EXPECT_FALSE(outcome.good);
    EXPECT_EQ(outcome.printed, "Unknown option 'usr'\n");
    EXPECT_EQ(outcome.fault, "a path that begins with \"/\" reads as an option, write \"--\" ahead "
                             "of it: -- /usr/share");
  }
  const Outcome outcome = Parse({"/fromage"});
  EXPECT_EQ(outcome.printed, "Separator expected after the option 'from'\n");
  EXPECT_THAT(outcome.fault, HasSubstr(": -- /fromage"));
  const Outcome setting = Parse({"--set", "Folders/Music", "/home/me"});
  EXPECT_EQ(setting.printed, "Unknown option 'home'\n");
  EXPECT_THAT(setting.fault, HasSubstr(": -- /home/me"));
}

TEST(ParseOptions, DoesNotSpeakOfPathsWhenNoneIsThere) {
  EXPECT_EQ(Parse({"-what"}).fault, "");
  EXPECT_EQ(Parse({"--store", "/tmp/x", "-what"}).fault, "");
  EXPECT_EQ(Parse({"/limit:5", "-what"}).fault, "");
  EXPECT_EQ(Parse({"-what", "--", "/tmp"}).fault, "");
}

TEST(ParseOptions, RefusesWhatTheTableCanNotTell) {
  const struct {
    Arguments arguments;
    const char* fault;
  } kCases[] = {
      {{"--limit", "0", "a"}, "--limit needs a number from 1 on, not 0"},
      {{"--limit", "-1", "a"}, "--limit needs a number from 1 on, not -1"},
      {{"--watch", "0", "a"}, "--watch needs a number from 1 on, not 0"},
      {{"--store=", "a"}, "--store needs the name of a file"},
      {{"--from", "", "*"}, "--from needs the name of a file"},
      {{"--store", "c", "--from", "d"}, "--store and --from do not go together"},
      {{"--store", "c", "--limit", "1", "a"},
       "--store needs the whole walk, which --limit would end"},
      {{"--watch", "5", "--from", "c"}, "--watch needs a folder, and --from searches none"},
      {{"--watch", "5", "--console", "1", "d"}, "--watch and --console do not go together"},
      {{"--console", "1", "d", "*"}, "--console takes its criteria from the client"},
      {{"--from", "c", "*", "*"},
       "too many arguments (criteria are one argument: put them in quotes)"},
      {{"--console", "65536", "a"}, "--console needs PORT or ADDRESS:PORT, not '65536'"},
      {{"--set", "", "v"}, "--set needs a key and a value, as in: --set Search/Limit 100"},
      {{"--set", "a/b"}, "--set needs a key and a value, as in: --set Search/Limit 100"},
      {{"--set", "a/b", "c", "d"}, "--set needs a key and a value, as in: --set Search/Limit 100"},
  };
  for (const auto& row : kCases) {
    const Outcome outcome = Parse(row.arguments);
    EXPECT_FALSE(outcome.good) << row.fault;
    EXPECT_EQ(outcome.fault, row.fault);
    EXPECT_EQ(outcome.printed + outcome.standard, "") << row.fault;
  }
}

TEST(ParseConsole, TakesPortsInTheirRange) {
  std::string address;
  uint16_t port = 0;
  EXPECT_TRUE(ParseConsole("1", &address, &port));
  EXPECT_EQ(port, 1u);
  EXPECT_TRUE(ParseConsole("localhost:65535", &address, &port));
  EXPECT_EQ(address, "localhost");
  EXPECT_EQ(port, 65535u);
}

TEST(ParseConsole, RefusesEverythingElseAndChangesNothing) {
  std::string address = "old";
  uint16_t port = 9;
  for (const char* text : {"", "65536", "4294967297", "99999999999999999999", "x", "1x", "-1", " 1",
                           ":1", "127.0.0.1:", "127.0.0.1:x", "127.0.0.1"})
    EXPECT_FALSE(ParseConsole(text, &address, &port)) << text;
  EXPECT_EQ(address, "old");
  EXPECT_EQ(port, 9u);
}

TEST(GetUsage, BeginsWithTheParsersOwnText) {
  const std::string usage = GetUsage();
  EXPECT_THAT(usage, StartsWith("Usage: "));
  EXPECT_THAT(usage, HasSubstr(" [/limit<num>] [/human] [/store<str>] [/from<str>] [/watch<num>] "
                               "[/console<str>] [/set<str>] [/help] [FOLDER] [CRITERIA]\n"));
  EXPECT_THAT(usage, HasSubstr("  /limit <num>  \tend after this many hits\n"));
  EXPECT_THAT(
      usage,
      HasSubstr(
          "Exit status: 0 there were hits, 1 there were none, 2 an error, 130 interrupted.\n"));
}

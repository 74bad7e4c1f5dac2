// The link wraps the operations that tell the program's name, so that they can fail.

#include <qel/config/CommandLineParser.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/support/LogCapture.h>
#include <tests/support/PathText.h>
#include <tests/support/TelnetScene.h>

#include <qel/multiplatform/qelConsole.h>

using testing::ElementsAre;
using testing::IsEmpty;

static bool g_nameless = false; // the program's name can't be told

extern "C" {
char* QEL_REAL_FILENAME();
char* QEL_WRAPPED_FILENAME() {
  return g_nameless ? nullptr : QEL_REAL_FILENAME();
}
char* QEL_REAL_NAME(int cutExtension);
char* QEL_WRAPPED_NAME(int cutExtension) {
  return g_nameless ? nullptr : QEL_REAL_NAME(cutExtension);
}
}

namespace {

const qelCommandLineParameterType kString = qelCommandLineParameterString;
const qelCommandLineParameterType kNumber = qelCommandLineParameterNumber;
const qelCommandLineDescription kEnd = {-1, nullptr, nullptr, kString, 0};

// What Printf leaves of a text: from 1024 bytes on the last one is missing.
const size_t kWhole = 1023;

class Parser : public qelCommandLineParser {
public:
  using qelCommandLineParser::AddOption;
  using qelCommandLineParser::AddParam;
  using qelCommandLineParser::AddSwitch;
  using qelCommandLineParser::GetTypeName;
  using qelCommandLineParser::GetUsageString;
  using qelCommandLineParser::qelCommandLineParser;
  using qelCommandLineParser::SetCommandLine;
  using qelCommandLineParser::SetDescription;

  void SetArguments(const std::vector<std::string>& arguments) {
    std::vector<std::string> copy = arguments;
    copy.insert(copy.begin(), "program");
    std::vector<char*> pointers;
    for (std::string& text : copy)
      pointers.push_back(&text[0]);
    SetCommandLine(static_cast<int>(pointers.size()), pointers.data());
  }
  std::vector<std::string> Parameters() {
    std::vector<std::string> all;
    for (size_t i = 0; i < GetParameterCount(); i++)
      all.push_back(Text(GetParameter(i)));
    return all;
  }
  qelLong Number(const char* name) const {
    qelLong value = -77;
    const bool found = Found(name, &value);
    EXPECT_TRUE(found || value == 0);
    return value;
  }
  std::string String(const char* name) const {
    qelCString value("old");
    const bool found = Found(name, &value);
    EXPECT_TRUE(found || value.IsEmpty());
    return Text(value);
  }
};

struct Reported {
  int result;
  std::string console;
  std::vector<std::string> log;
};

Reported ParseOf(qelCommandLineParser& parser, bool giveUsage) {
  Reported reported;
  LogCapture log;
  testing::internal::CaptureStdout();
  reported.result = parser.Parse(giveUsage);
  reported.console = testing::internal::GetCapturedStdout();
  for (const CapturedLine& line : log.Lines()) {
    EXPECT_EQ(line.level, 1u);
    EXPECT_EQ(line.module, 47u);
    EXPECT_EQ(line.file, "..\\..\\CommandLineParser");
    reported.log.push_back(line.text);
  }
  return reported;
}

// Parses without the usage text; the fault, which must stand in the log and on the console alike.
std::string FaultOf(qelCommandLineParser& parser) {
  const Reported reported = ParseOf(parser, /*giveUsage=*/false);
  EXPECT_EQ(reported.result, reported.console.empty() ? 0 : 1);
  if (reported.console.empty())
    EXPECT_THAT(reported.log, IsEmpty());
  else
    EXPECT_THAT(reported.log, ElementsAre(reported.console));
  return reported.console;
}

std::string FaultOf(Parser& parser, const std::vector<std::string>& arguments) {
  parser.SetArguments(arguments);
  return FaultOf(parser);
}

std::string ProgramName() {
  return Taken(qelPath_GetApplicationName(/*cutExtension=*/1));
}

// Everything may be left out.
const qelCommandLineDescription kTable[] = {
    {qelCommandLineSwitch, "a", "first", kString, 0},
    {qelCommandLineSwitch, "b", "second", kString, 0},
    {qelCommandLineSwitch, "verbose", "third", kString, 0},
    {qelCommandLineSwitch, "?", "help", kString, qelCommandLineHelp},
    {qelCommandLineOption, "n", "number", kNumber, 0},
    {qelCommandLineOption, "name", "text", kString, 0},
    {qelCommandLineOption, "sep", "apart", kNumber, qelCommandLineNeedSeparator},
    {qelCommandLineOption, "o_1", "odd type", static_cast<qelCommandLineParameterType>(7), 0},
    {qelCommandLineParam, "not read", "files", kString,
     qelCommandLineOptionalParam | qelCommandLineMultipleParam},
    kEnd,
};

// All that a parser has found in kTable, as one text.
std::string Summary(Parser& parser) {
  std::string text;
  for (const char* name : {"a", "b", "verbose", "?"})
    if (parser.Found(name))
      text += std::string(name) + " ";
  for (const char* name : {"n", "sep"})
    if (parser.Found(name))
      text += name + ("=" + std::to_string(parser.Number(name))) + " ";
  for (const char* name : {"name", "o_1"})
    if (parser.Found(name))
      text += name + ("='" + parser.String(name)) + "' ";
  for (const std::string& parameter : parser.Parameters())
    text += "[" + parameter + "]";
  return text;
}

} // namespace

// The table of arguments --------------------------------------------------------

TEST(CommandLineParserParse, ReadsEachFormOfAnArgument) {
  static const struct {
    std::vector<std::string> arguments;
    const char* fault;
    const char* found;
  } kCases[] = {
      {{}, "", ""},
      {{"x"}, "", "[x]"},
      {{""}, "", "[]"},
      {{"-a"}, "", "a "},
      {{"/a"}, "", "a "},
      {{"+a"}, "", "[+a]"},
      // Too short for an option; the end of all options.
      {{"-"}, "", "[-]"},
      {{"/"}, "", "[/]"},
      {{"--"}, "", ""},
      {{"--", "-a"}, "", "[-a]"},
      {{"--", "--"}, "", "[--]"},
      {{"--", "--", "/a", "-"}, "", "[--][/a][-]"},
      {{"-a", "--", "-b"}, "", "a [-b]"},
      // No long forms.
      {{"--help"}, "Unknown option '--help'\n", ""},
      {{"--a"}, "Unknown option '--a'\n", ""},
      {{"--n=5"}, "Unknown option '--n'\n", ""},
      {{"--=5"}, "Unknown option '--'\n", ""},
      {{"---"}, "Unknown option '--'\n", ""},
      // Names.
      {{"-q"}, "Unknown option 'q'\n", ""},
      {{"-quit=5"}, "Unknown option 'quit'\n", ""},
      {{"-Quit"}, "Unknown option 'Quit'\n", ""},
      {{"-A"}, "Unknown option 'A'\n", ""},
      {{"/home/x"}, "Unknown option 'home'\n", ""},
      {{"--", "/home/x"}, "", "[/home/x]"},
      {{"-/a"}, "Unknown option ''\n", ""},
      {{"/-a"}, "Unknown option ''\n", ""},
      {{"//"}, "Unknown option ''\n", ""},
      {{"-="}, "Unknown option ''\n", ""},
      {{"-\xC3\xA4"}, "Unknown option ''\n", ""},
      {{"-v"}, "Unknown option 'v'\n", ""},
      {{"-verbose"}, "", "verbose "},
      {{"-o_1x"}, "", "o_1='x' "},
      {{"-o_2"}, "Unknown option 'o_2'\n", ""},
      // The longest prefix.
      {{"-name", "x"}, "", "name='x' "},
      {{"-namex"}, "", "name='x' "},
      {{"-nam"}, "'am' is not a correct numeric value for option 'n'\n", ""},
      {{"-nam=5"}, "'am=5' is not a correct numeric value for option 'n'\n", ""},
      // Groups.
      {{"-ab"}, "", "a b "},
      {{"-ba"}, "", "a b "},
      {{"/ab"}, "", "a b "},
      {{"-aaab"}, "", "a b "},
      {{"-an5"}, "", "a n=5 "},
      {{"-averbose"}, "", "a verbose "},
      {{"-aname=x y"}, "", "a name='x y' "},
      {{"-aq"}, "Unknown option 'q'\n", "a "},
      {{"-a-b"}, "", "a "},
      {{"-a=5"}, "", "a "},
      {{"-a:b"}, "", "a "},
      {{"-ab=5"}, "", "a b "},
      // Values.
      {{"-n5"}, "", "n=5 "},
      {{"-n=5"}, "", "n=5 "},
      {{"-n:5"}, "", "n=5 "},
      {{"-n", "5"}, "", "n=5 "},
      {{"/n5"}, "", "n=5 "},
      {{"-n-5"}, "", "n=-5 "},
      {{"-n=-2147483648"}, "", "n=-2147483648 "},
      {{"-n=2147483647"}, "", "n=2147483647 "},
      {{"-n=2147483648"}, "'2147483648' is not a correct numeric value for option 'n'\n", ""},
      {{"-n5x"}, "'5x' is not a correct numeric value for option 'n'\n", ""},
      {{"-n=0x10"}, "'0x10' is not a correct numeric value for option 'n'\n", ""},
      {{"-n="}, "'' is not a correct numeric value for option 'n'\n", ""},
      {{"-n", ""}, "'' is not a correct numeric value for option 'n'\n", ""},
      {{"-n==5"}, "'=5' is not a correct numeric value for option 'n'\n", ""},
      {{"-n"}, "Option 'n' requires a value\n", ""},
      {{"-n5", "-n"}, "Option 'n' requires a value\n", "n=5 "},
      {{"-n5", "-nx"}, "'x' is not a correct numeric value for option 'n'\n", "n=5 "},
      {{"-n5", "-n6"}, "", "n=6 "},
      {{"-name"}, "Option 'name' requires a value\n", ""},
      {{"-name="}, "", "name='' "},
      {{"-name:"}, "", "name='' "},
      {{"-name=:x"}, "", "name=':x' "},
      {{"-name", "=x"}, "", "name='=x' "},
      {{"-name", ""}, "", "name='' "},
      {{"-name", "-a"}, "", "name='-a' "},
      {{"-name", "--", "-a"}, "", "a name='--' "},
      {{"-name/x"}, "", "name='/x' "},
      {{"-o_1=5"}, "", "o_1='5' "},
      // A separator is needed.
      {{"-sep5"}, "Separator expected after the option 'sep'\n", ""},
      {{"-sep.5"}, "Separator expected after the option 'sep'\n", ""},
      {{"-sep=5"}, "", "sep=5 "},
      {{"-sep:5"}, "", "sep=5 "},
      {{"-sep", "5"}, "", "sep=5 "},
      {{"-sep"}, "Option 'sep' requires a value\n", ""},
      // The first fault ends it.
      {{"-a", "-q", "-b", "x", "-z"}, "Unknown option 'q'\n", "a "},
      {{"x", "-b", "y", "-n5", "z"}, "", "b n=5 [x][y][z]"},
  };
  for (const auto& item : kCases) {
    SCOPED_TRACE(testing::PrintToString(item.arguments));
    Parser parser;
    parser.SetDescription(kTable);
    EXPECT_EQ(FaultOf(parser, item.arguments), item.fault);
    EXPECT_EQ(Summary(parser), item.found);
  }
}

TEST(CommandLineParserParse, LooksAtTheRestOfAGroupLast) {
  static const struct {
    std::vector<std::string> arguments;
    const char* fault;
    const char* found;
  } kCases[] = {
      // As a value, it is the next argument as any other.
      {{"-ab", "-name"}, "", "a name='-b' "},
      {{"-ab", "x", "-name"}, "", "a name='-b' [x]"},
      // Behind "--" it is a parameter.
      {{"-ab", "--", "x"}, "", "a [x][-b]"},
      // Its own rest goes behind other rests.
      {{"-abab", "-aname"}, "", "a b name='-ab' "},
      // A fault ahead of it leaves it unread.
      {{"-ab", "-q"}, "Unknown option 'q'\n", "a "},
      {{"-aq", "-z"}, "Unknown option 'z'\n", "a "},
      {{"-an", "5"}, "Option 'n' requires a value\n", "a [5]"},
  };
  for (const auto& item : kCases) {
    SCOPED_TRACE(testing::PrintToString(item.arguments));
    Parser parser;
    parser.SetDescription(kTable);
    EXPECT_EQ(FaultOf(parser, item.arguments), item.fault);
    EXPECT_EQ(Summary(parser), item.found);
  }
}

TEST(CommandLineParserParse, DropsWhatStandsBehindASwitch) {
  Parser parser;
  parser.SetDescription(kTable);
  EXPECT_EQ(FaultOf(parser, {"-verbose=5", "-a:x", "-b.n5"}), "");
  EXPECT_EQ(Summary(parser), "a b verbose ");
}

TEST(CommandLineParserParse, NeverTakesANamelessOption) {
  Parser parser;
  parser.AddSwitch("", "nameless", 0);
  parser.AddSwitch(nullptr, "nameless too", 0);
  parser.AddSwitch("a", "", 0);
  EXPECT_EQ(FaultOf(parser, {"-a"}), "");
  EXPECT_EQ(FaultOf(parser, {"-q"}), "Unknown option 'q'\n");
  EXPECT_EQ(FaultOf(parser, {"-="}), "Unknown option ''\n");
  EXPECT_FALSE(parser.Found(""));
}

TEST(CommandLineParserParse, TakesTheFirstOfTwoRowsOfOneName) {
  Parser parser;
  parser.AddSwitch("a", "", 0);
  parser.AddOption("a", "", kNumber, qelCommandLineMandatory);
  EXPECT_EQ(FaultOf(parser, {"-a5"}), "Unknown option '5'\n");
  EXPECT_TRUE(parser.Found("a"));
  EXPECT_EQ(FaultOf(parser, {"-a"}), "The value for the option 'a' must be specified\n");
}

TEST(CommandLineParserParse, TakesTheRestAsTheValueOfAShorterName) {
  const qelCommandLineDescription table[] = {
      {qelCommandLineOption, "n", "", kString, 0},
      {qelCommandLineOption, "name", "", kString, 0},
      kEnd,
  };
  Parser parser(table, 0, nullptr);
  EXPECT_EQ(FaultOf(parser, {"-nam"}), "");
  EXPECT_EQ(parser.String("n"), "am");
  EXPECT_FALSE(parser.Found("name"));
  EXPECT_EQ(FaultOf(parser, {"-namex"}), "");
  EXPECT_EQ(parser.String("name"), "x");
  EXPECT_FALSE(parser.Found("n"));
}

TEST(CommandLineParserParse, IgnoresArgumentZero) {
  Parser parser;
  parser.SetDescription(kTable);
  char program[] = "-a";
  char argument[] = "-b";
  char* arguments[] = {program, argument};
  parser.SetCommandLine(2, arguments);
  EXPECT_EQ(FaultOf(parser), "");
  EXPECT_EQ(Summary(parser), "b ");
  parser.SetCommandLine(0, nullptr);
  EXPECT_EQ(FaultOf(parser), "");
  EXPECT_EQ(Summary(parser), "");
}

// Parameters ----------------------------------------------------------------------

TEST(CommandLineParserParse, RefusesMoreParametersThanAreDeclared) {
  Parser none;
  EXPECT_EQ(FaultOf(none, {"x"}), "Unexpected parameter 'x'\n");
  EXPECT_EQ(FaultOf(none, {""}), "Unexpected parameter ''\n");
  Parser two;
  two.AddParam("from", kString, 0);
  two.AddParam("to", kNumber, 0);
  EXPECT_EQ(FaultOf(two, {"x", "y"}), "");
  EXPECT_THAT(two.Parameters(), ElementsAre("x", "y"));
  EXPECT_EQ(FaultOf(two, {"x", "y", "-"}), "Unexpected parameter '-'\n");
}

TEST(CommandLineParserParse, AsksForEveryParameterThatIsNotOptional) {
  static const struct {
    std::vector<int> flags; // of the parameters "p0", "p1" and so on
    std::vector<std::string> arguments;
    const char* fault;
  } kCases[] = {
      {{0}, {}, "The required parameter 'p0' was not specified\n"},
      {{0}, {"x"}, ""},
      {{0, 0}, {"x"}, "The required parameter 'p1' was not specified\n"},
      {{0, 0}, {}, "The required parameter 'p0' was not specified\n"},
      {{2}, {}, ""},
      {{2, 0}, {"x"}, "The required parameter 'p1' was not specified\n"},
      {{2, 0}, {}, "The required parameter 'p1' was not specified\n"},
      {{0, 2}, {"x"}, ""},
      {{4}, {}, "The required parameter 'p0' was not specified\n"},
      {{4}, {"x"}, ""},
      {{4}, {"x", "y", "z"}, ""},
      {{6}, {}, ""},
      {{0, 4}, {"x"}, "The required parameter 'p1' was not specified\n"},
      {{0, 4}, {"x", "y", "z"}, ""},
      // A multiple one that is not the last takes all, and what it took does not count.
      {{4, 0}, {"x", "y"}, "The required parameter 'p0' was not specified\n"},
      {{6, 0}, {"x", "y"}, "The required parameter 'p1' was not specified\n"},
      {{6, 2}, {"x", "y"}, ""},
      {{6, 4}, {"x"}, ""}, // What the first took counts for the last.
  };
  for (const auto& item : kCases) {
    SCOPED_TRACE(testing::PrintToString(item.flags) + testing::PrintToString(item.arguments));
    Parser parser;
    for (size_t i = 0; i < item.flags.size(); i++)
      parser.AddParam(("p" + std::to_string(i)).c_str(), kString, item.flags[i]);
    EXPECT_EQ(FaultOf(parser, item.arguments), item.fault);
    EXPECT_THAT(parser.Parameters(), testing::ElementsAreArray(item.arguments));
  }
}

TEST(CommandLineParserParse, AddsToTheParametersOfAnEarlierCall) {
  Parser parser;
  parser.SetDescription(kTable);
  EXPECT_EQ(FaultOf(parser, {"-ab", "x"}), "");
  EXPECT_EQ(Summary(parser), "a b [x]");
  EXPECT_EQ(FaultOf(parser), "");
  EXPECT_EQ(Summary(parser), "a b [x][x]");
  EXPECT_EQ(FaultOf(parser, {"-n5"}), "");
  EXPECT_EQ(Summary(parser), "n=5 [x][x]");
}

// Mandatory options and help -----------------------------------------------------

TEST(CommandLineParserParse, AsksForTheFirstMandatoryOptionThatIsMissing) {
  const qelCommandLineDescription table[] = {
      {qelCommandLineSwitch, "s", "", kString, qelCommandLineMandatory},
      {qelCommandLineOption, "n", "", kNumber, qelCommandLineMandatory},
      {qelCommandLineParam, nullptr, "file", kString, 0},
      kEnd,
  };
  Parser parser(table, 0, nullptr);
  EXPECT_EQ(FaultOf(parser, {}), "The value for the option 's' must be specified\n");
  EXPECT_EQ(FaultOf(parser, {"-s"}), "The value for the option 'n' must be specified\n");
  EXPECT_EQ(FaultOf(parser, {"-s", "-n0"}), "The required parameter 'file' was not specified\n");
  EXPECT_EQ(FaultOf(parser, {"-s", "-n0", "x"}), "");
  EXPECT_EQ(FaultOf(parser, {"-q"}), "Unknown option 'q'\n");
}

TEST(CommandLineParserParse, StopsAtAHelpSwitch) {
  Parser parser;
  parser.SetDescription(kTable);
  parser.AddOption("must", "", kString, qelCommandLineMandatory);
  parser.SetArguments({"-a", "-?", "-q", "-b", "x"});
  const Reported quiet = ParseOf(parser, /*giveUsage=*/false);
  EXPECT_EQ(quiet.result, -1);
  EXPECT_EQ(quiet.console, "");
  EXPECT_THAT(quiet.log, IsEmpty());
  EXPECT_EQ(Summary(parser), "a ? ");

  const Reported shown = ParseOf(parser, /*giveUsage=*/true);
  EXPECT_EQ(shown.result, -1);
  EXPECT_EQ(shown.console, Text(parser.GetUsageString()));
  EXPECT_THAT(shown.log, ElementsAre(shown.console));
}

TEST(CommandLineParserParse, TakesAHelpSwitchOutOfAGroup) {
  Parser parser;
  parser.SetDescription(kTable);
  parser.SetArguments({"-a?b", "x"});
  EXPECT_EQ(ParseOf(parser, false).result, -1);
  EXPECT_EQ(Summary(parser), "a ? [x]");
}

TEST(CommandLineParserParse, ReportsAFaultBehindTheUsageText) {
  Parser parser;
  parser.SetDescription(kTable);
  parser.SetArguments({"-q"});
  const Reported reported = ParseOf(parser, /*giveUsage=*/true);
  EXPECT_EQ(reported.result, 1);
  EXPECT_EQ(reported.console, Text(parser.GetUsageString()) + "Unknown option 'q'\n");
  EXPECT_THAT(reported.log, ElementsAre(reported.console));
}

TEST(CommandLineParserParse, IsSilentWhenAllIsGood) {
  Parser parser;
  parser.SetDescription(kTable);
  parser.SetArguments({"-a", "x"});
  for (const bool giveUsage : {false, true}) {
    const Reported reported = ParseOf(parser, giveUsage);
    EXPECT_EQ(reported.result, 0);
    EXPECT_EQ(reported.console, "");
    EXPECT_THAT(reported.log, IsEmpty());
  }
}

TEST(CommandLineParserParse, ReportsToTheClientOfARemoteConsole) {
  Parser parser;
  parser.SetDescription(kTable);
  parser.SetArguments({"-q"});
  qelConsoleState* const console = qelConsole_GetState();
  qelSocket_Startup();
  ASSERT_EQ(qelConsole_Init("127.0.0.1", 0, 1), 0);
  LoopbackClient client(PortOf(console->telnet));
  const Reported reported = ParseOf(parser, /*giveUsage=*/true);
  const std::string usage = Text(parser.GetUsageString());
  parser.Usage();
  qelConsole_Term();
  console->remote = 0;
  EXPECT_EQ(reported.console, ""); // Nothing on standard output.
  EXPECT_THAT(reported.log, ElementsAre(usage + "Unknown option 'q'\n"));
  EXPECT_EQ(client.ReceiveAll(),
            "Greetings from qelConsole!\r\n" + usage + "Unknown option 'q'\n" + usage);
}

TEST(CommandLineParserParse, PrintsTextsWithDirectivesAsTheyStand) {
  Parser parser;
  EXPECT_EQ(FaultOf(parser, {"%s%n%d"}), "Unexpected parameter '%s%n%d'\n");
  parser.AddSwitch("x", "100 %s", qelCommandLineMandatory);
  parser.SetArguments({});
  EXPECT_EQ(ParseOf(parser, true).console,
            "Usage: " + ProgramName() +
                " /x\n  /x\t100 %s\nThe value for the option 'x' must be specified\n");
}

TEST(CommandLineParserParse, LosesTheLastByteOfALongFault) {
  const std::string around = "Unexpected parameter ''\n";
  Parser parser;
  const std::string fits(kWhole - around.size(), 'x');
  EXPECT_EQ(FaultOf(parser, {fits}), "Unexpected parameter '" + fits + "'\n");
  EXPECT_EQ(FaultOf(parser, {fits + "y"}), "Unexpected parameter '" + fits + "y'");
}

TEST(CommandLineParserParse, LosesTheLastByteOfALongGroup) {
  Parser parser;
  parser.SetDescription(kTable);
  const std::string fits(kWhole - 6, 'x'); // behind "-name="
  EXPECT_EQ(FaultOf(parser, {"-aname=" + fits}), "");
  EXPECT_EQ(parser.String("name"), fits);
  EXPECT_EQ(FaultOf(parser, {"-aname=" + fits + "y"}), "");
  EXPECT_EQ(parser.String("name"), fits);
  EXPECT_EQ(FaultOf(parser, {"-name=" + fits + "yz"}), "");
  EXPECT_EQ(parser.String("name"), fits + "yz");
}

TEST(CommandLineParserParse, ReadsManyArgumentsAndLongGroups) {
  Parser parser;
  parser.SetDescription(kTable);
  EXPECT_EQ(FaultOf(parser, std::vector<std::string>(200000, "x")), "");
  EXPECT_EQ(parser.GetParameterCount(), 200000u);
  EXPECT_EQ(FaultOf(parser, {"-" + std::string(2000, 'a') + "b"}), "");
  EXPECT_TRUE(parser.Found("a"));
  // Lost while the group was longer than what Format keeps.
  EXPECT_FALSE(parser.Found("b"));
}

// What was found --------------------------------------------------------------------

TEST(CommandLineParserFound, TellsOfUnknownNamesByForm) {
  Parser parser;
  parser.SetDescription(kTable);
  qelLong number = 5;
  qelCString text("old");
  LogCapture log;
  EXPECT_FALSE(parser.Found("zz"));
  EXPECT_FALSE(parser.Found("zz", &number));
  EXPECT_FALSE(parser.Found("zz", &text));
  EXPECT_EQ(number, 0);
  EXPECT_TRUE(text.IsEmpty());
  EXPECT_THAT(log.Texts(), ElementsAre("Testing presence of an unknown option 'zz'\n",
                                       "Getting value of an unknown number option 'zz'\n",
                                       "Getting value of an unknown string option 'zz'\n"));
  for (const CapturedLine& line : log.Lines()) {
    EXPECT_EQ(line.level, 1u);
    EXPECT_EQ(line.module, 47u);
  }
  log.Clear();
  EXPECT_FALSE(parser.Found("a"));
  EXPECT_FALSE(parser.Found("n", &number));
  EXPECT_FALSE(parser.Found("name", &text));
  EXPECT_THAT(log.Texts(), IsEmpty());
  EXPECT_FALSE(parser.Found("A")); // Another name.
  EXPECT_EQ(log.Texts().size(), 1u);
}

TEST(CommandLineParserFound, GivesAnEmptyValueOfTheOtherType) {
  Parser parser;
  parser.SetDescription(kTable);
  EXPECT_EQ(FaultOf(parser, {"-n5", "-name=7", "-a"}), "");
  qelLong number = 9;
  qelCString text("old");
  EXPECT_TRUE(parser.Found("name", &number));
  EXPECT_EQ(number, 0);
  EXPECT_TRUE(parser.Found("n", &text));
  EXPECT_TRUE(text.IsEmpty());
  EXPECT_TRUE(parser.Found("a", &number));
  EXPECT_EQ(number, 0);
}

TEST(CommandLineParserReset, ForgetsOptionsAndKeepsParameters) {
  Parser parser;
  parser.SetDescription(kTable);
  EXPECT_EQ(FaultOf(parser, {"-a", "-n5", "-name=x", "y"}), "");
  parser.Reset();
  EXPECT_EQ(Summary(parser), "[y]");
  EXPECT_EQ(parser.Number("n"), 0);
  EXPECT_EQ(parser.String("name"), "");
}

TEST(CommandLineParserGetParameter, IsEmptyBehindTheLast) {
  Parser parser;
  EXPECT_EQ(parser.GetParameterCount(), 0u);
  EXPECT_EQ(Text(parser.GetParameter(0)), "");
  parser.SetDescription(kTable);
  EXPECT_EQ(FaultOf(parser, {"x"}), "");
  EXPECT_EQ(Text(parser.GetParameter(0)), "x");
  EXPECT_EQ(Text(parser.GetParameter(1)), "");
}

// Construction ------------------------------------------------------------------------

TEST(CommandLineParserConstructor, TakesTableAndArguments) {
  char program[] = "program", first[] = "-n", second[] = "12";
  char* arguments[] = {program, first, second, nullptr};
  Parser parser(kTable, 3, arguments);
  first[1] = 'q'; // The command line was copied.
  EXPECT_EQ(FaultOf(parser), "");
  EXPECT_EQ(Summary(parser), "n=12 ");
}

TEST(CommandLineParserConstructor, TakesTableAndLine) {
  Parser with(kTable, "program -n 12", /*hasProgramName=*/true);
  EXPECT_EQ(FaultOf(with), "");
  EXPECT_EQ(Summary(with), "n=12 ");
  Parser without(kTable, "-n 12", /*hasProgramName=*/false);
  EXPECT_EQ(FaultOf(without), "");
  EXPECT_EQ(Summary(without), "n=12 ");
}

TEST(CommandLineParserConstructor, TakesNoTableForNull) {
  Parser parser(nullptr, "program x", true);
  EXPECT_EQ(FaultOf(parser), "Unexpected parameter 'x'\n");
  parser.SetDescription(nullptr);
  EXPECT_EQ(FaultOf(parser), "Unexpected parameter 'x'\n");
  Parser empty;
  EXPECT_EQ(FaultOf(empty), "");
}

TEST(CommandLineParserSetDescription, EndsAtAnyOtherKindAndAddsToTheTable) {
  for (const int kind : {-1, 3, 99}) {
    const qelCommandLineDescription table[] = {
        {qelCommandLineSwitch, "a", "", kString, 0},
        {kind, "b", "", kString, 0},
        {qelCommandLineSwitch, "c", "", kString, 0},
    };
    Parser parser(table, 0, nullptr);
    parser.SetDescription(kTable + 8); // the parameter
    EXPECT_EQ(FaultOf(parser, {"-a", "x"}), "");
    EXPECT_EQ(FaultOf(parser, {"-b"}), "Unknown option 'b'\n");
    EXPECT_EQ(FaultOf(parser, {"-c"}), "Unknown option 'c'\n");
  }
}

// Splitting ------------------------------------------------------------------------------

TEST(CommandLineParserSplit, SplitsAtBlanksAndTabsOutsideQuotes) {
  static const struct {
    const char* line; // behind "program "
    std::vector<std::string> parameters;
  } kCases[] = {
      {"", {}},
      {" \t ", {}},
      {"a", {"a"}},
      {"  a \t b\t", {"a", "b"}},
      {"a\nb", {"a\nb"}},
      {"\"a b\" c", {"a b", "c"}},
      {"\"a\tb\"", {"a\tb"}},
      {"x\"a b\"y z", {"xa by", "z"}},
      {"\"\"", {""}},
      {"\"\" \"\"", {"", ""}},
      {"\"a", {"a"}},
      {"\"a b  ", {"a b  "}},
      {"a\"", {"a"}},
      {"'a b'", {"'a", "b'"}},
      // A backslash keeps a quote, and is kept itself.
      {"\\\"a b\\\"", {"\\\"a", "b\\\""}},
      {"\"a \\\" b\" c", {"a \\\" b", "c"}},
      {"a\\ b", {"a\\", "b"}},
      {"\\\\\"a b\"", {"\\\\\"a", "b"}}, // The quote in the end opens, and the text ends.
      {"\"C:\\dir\\\" x", {"C:\\dir\\\" x"}},
      {"\\", {"\\"}},
      {"\"-\"", {"-"}},
  };
  for (const auto& item : kCases) {
    SCOPED_TRACE(item.line);
    Parser with(kTable, qelCString("program ") + item.line, /*hasProgramName=*/true);
    EXPECT_EQ(FaultOf(with), "");
    EXPECT_THAT(with.Parameters(), testing::ElementsAreArray(item.parameters));
    Parser without(kTable, item.line, /*hasProgramName=*/false);
    EXPECT_EQ(FaultOf(without), "");
    EXPECT_THAT(without.Parameters(), testing::ElementsAreArray(item.parameters));
  }
}

TEST(CommandLineParserSplit, TakesAQuotedProgramName) {
  Parser parser;
  parser.SetDescription(kTable);
  parser.SetCommandLine("\"a b\" c", /*hasProgramName=*/true);
  EXPECT_EQ(FaultOf(parser), "");
  EXPECT_THAT(parser.Parameters(), ElementsAre("c"));
}

TEST(CommandLineParserSplit, ReadsOptionsInQuotes) {
  Parser parser(kTable, "program \"-name=a b\" -n\"5\" \"--\" -a", true);
  EXPECT_EQ(FaultOf(parser), "");
  EXPECT_EQ(Summary(parser), "n=5 name='a b' [-a]");
}

TEST(CommandLineParserSplit, ReplacesTheCommandLine) {
  Parser parser(kTable, "program -a x", true);
  parser.SetCommandLine("program -b", true);
  EXPECT_EQ(FaultOf(parser), "");
  EXPECT_EQ(Summary(parser), "b ");
  parser.SetCommandLine("", true);
  EXPECT_EQ(FaultOf(parser), "");
  EXPECT_EQ(Summary(parser), "");
}

TEST(CommandLineParserSplit, EndsAtAZeroByte) {
  const qelCString line("program a\0 b", 12);
  Parser parser(kTable, line, true);
  EXPECT_EQ(FaultOf(parser), "");
  EXPECT_THAT(parser.Parameters(), ElementsAre("a"));
}

TEST(CommandLineParserSplit, LosesTheLastByteOfALongLineWithoutProgramName) {
  const size_t around = Taken(qelPath_GetApplicationFileName()).size() + 3;
  const std::string fits(kWhole - around, 'x');
  Parser parser;
  parser.SetDescription(kTable);
  parser.SetCommandLine(fits.c_str(), false);
  EXPECT_EQ(FaultOf(parser), "");
  parser.SetCommandLine((fits + "y").c_str(), false);
  EXPECT_EQ(FaultOf(parser), "");
  parser.SetCommandLine(("program " + fits + "y").c_str(), true);
  EXPECT_EQ(FaultOf(parser), "");
  EXPECT_THAT(parser.Parameters(), ElementsAre(fits, fits, fits + "y"));
}

// The name is argument 0, which nobody sees, but its length counts.
TEST(CommandLineParserSplit, CallsAProgramWithoutANameUnknown) {
  const std::string around = "\"unknown\" ";
  const std::string fits(kWhole - around.size(), 'x');
  Parser parser;
  parser.SetDescription(kTable);
  g_nameless = true;
  parser.SetCommandLine(fits.c_str(), false);
  EXPECT_EQ(FaultOf(parser), "");
  parser.SetCommandLine((fits + "y").c_str(), false);
  EXPECT_EQ(FaultOf(parser), "");
  g_nameless = false;
  EXPECT_THAT(parser.Parameters(), ElementsAre(fits, fits));
}

TEST(CommandLineParserSplit, SplitsALongLine) {
  std::string line = "program";
  for (int i = 0; i < 100000; i++)
    line += " x\"\"";
  Parser parser(kTable, line.c_str(), true);
  EXPECT_EQ(FaultOf(parser), "");
  EXPECT_EQ(parser.GetParameterCount(), 100000u);
}

// Usage ------------------------------------------------------------------------------------

TEST(CommandLineParserUsage, ShowsTheWholeTable) {
  const qelCommandLineDescription table[] = {
      {qelCommandLineSwitch, "v", "verbose", kString, 0},
      {qelCommandLineOption, "n", "count", kNumber, 0},
      {qelCommandLineParam, nullptr, "file", kString, qelCommandLineOptionalParam},
      kEnd,
  };
  Parser parser(table, 0, nullptr);
  const std::string expected = "Usage: " + ProgramName() +
                               " [/v] [/n<num>] [file]\n"
                               "  /v      \tverbose\n"
                               "  /n <num>\tcount\n";
  EXPECT_EQ(Text(parser.GetUsageString()), expected);
  LogCapture log;
  testing::internal::CaptureStdout();
  parser.Usage();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), expected);
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST(CommandLineParserUsage, ShowsWhatMayBeLeftOutInBrackets) {
  const qelCommandLineDescription table[] = {
      {qelCommandLineOption, "m", "must", kString, qelCommandLineMandatory},
      {qelCommandLineSwitch, "s", nullptr, kString, qelCommandLineMandatory},
      {qelCommandLineOption, "odd", "type", static_cast<qelCommandLineParameterType>(9), 0},
      {qelCommandLineSwitch, nullptr, "no name", kString, 0},
      {qelCommandLineOption, "", "no name", kNumber, qelCommandLineMandatory},
      {qelCommandLineParam, nullptr, "one", kString, 0},
      {qelCommandLineParam, nullptr, "many", kString, qelCommandLineMultipleParam},
      {qelCommandLineParam, nullptr, "more", kNumber,
       qelCommandLineMultipleParam | qelCommandLineOptionalParam},
      kEnd,
  };
  Parser parser(table, 0, nullptr);
  EXPECT_EQ(Text(parser.GetUsageString()), "Usage: " + ProgramName() +
                                               " /m<str> /s [/odd<str>] [] <num>"
                                               " one many... [more...]\n"
                                               "  /m <str>  \tmust\n"
                                               "  /s        \t\n"
                                               "  /odd <str>\ttype\n"
                                               "  /         \tno name\n"
                                               "  / <num>   \tno name\n");
}

TEST(CommandLineParserUsage, IsTheProgramNameAloneWithoutATable) {
  Parser parser;
  EXPECT_EQ(Text(parser.GetUsageString()), "Usage: " + ProgramName() + "\n");
}

TEST(CommandLineParserUsage, BeginsWithoutANameThatCantBeTold) {
  Parser parser;
  parser.AddSwitch("v", "verbose", 0);
  g_nameless = true;
  const std::string usage = Text(parser.GetUsageString());
  g_nameless = false;
  EXPECT_EQ(usage, "Usage:  [/v]\n  /v\tverbose\n");
}

TEST(CommandLineParserUsage, IsWholeWhenItIsLong) {
  Parser parser;
  const std::string help(5000, 'h');
  parser.AddSwitch("v", help.c_str(), 0);
  const std::string expected = "Usage: " + ProgramName() + " [/v]\n  /v\t" + help + "\n";
  testing::internal::CaptureStdout();
  parser.Usage();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), expected);
  parser.SetArguments({"-?"});
  const Reported reported = ParseOf(parser, true);
  EXPECT_EQ(reported.console, expected + "Unknown option '?'\n");
  EXPECT_THAT(reported.log, ElementsAre(reported.console));
}

TEST(CommandLineParserGetTypeName, NamesEverythingButNumbersStr) {
  Parser parser;
  EXPECT_STREQ(parser.GetTypeName(kString), "str");
  EXPECT_STREQ(parser.GetTypeName(kNumber), "num");
  EXPECT_STREQ(parser.GetTypeName(static_cast<qelCommandLineParameterType>(2)), "str");
  EXPECT_STREQ(parser.GetTypeName(static_cast<qelCommandLineParameterType>(-1)), "str");
}

TEST(CommandLineParser, IsOnePointerWide) {
  EXPECT_EQ(sizeof(qelCommandLineParser), sizeof(void*));
}

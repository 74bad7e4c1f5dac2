// Command lines: splitting and parsing, by a table that the input chooses.
//
// The first byte chooses rows of the table, the second whether the line has the program's name and
// whether usage is given. The rest is the line.

#include <fuzz/FuzzInput.h>

#include <qel/config/CommandLineParser.h>
#include <qel/multiplatform/qelConsole.h>

#include <companions/toolslog/qelixToolsLog.h>

namespace {

const qelCommandLineParameterType kString = qelCommandLineParameterString;
const qelCommandLineParameterType kNumber = qelCommandLineParameterNumber;

const qelCommandLineDescription kRows[] = {
    {qelCommandLineSwitch, "a", "", kString, 0},
    {qelCommandLineSwitch, "ab", "", kString, qelCommandLineMandatory},
    {qelCommandLineSwitch, "", "nameless", kString, 0},
    {qelCommandLineSwitch, "?", "", kString, qelCommandLineHelp},
    {qelCommandLineOption, "n", "", kNumber, 0},
    {qelCommandLineOption, "name", "", kString, qelCommandLineNeedSeparator},
    {qelCommandLineParam, nullptr, "one", kString, 0},
    {qelCommandLineParam, nullptr, "more", kString,
     qelCommandLineOptionalParam | qelCommandLineMultipleParam},
};

class Parser : public qelCommandLineParser {
public:
  Parser(const qelCString& line, bool hasProgramName, uint8_t rows) {
    SetCommandLine(line, hasProgramName);
    for (size_t i = 0; i < 8; i++) {
      const qelCommandLineDescription table[] = {kRows[i], {-1, nullptr, nullptr, kString, 0}};
      if (rows >> i & 1)
        SetDescription(table);
    }
  }
  bool HasUsage() { return GetUsageString().length() > 0; }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  qelConsole_GetState()->remote = 1; // Without a server: what is printed is dropped.
  qelToolsLog_SetStandardError(0);
  FuzzInput input(data, size);
  const uint8_t rows = input.TakeByte();
  const uint8_t choices = input.TakeByte();
  const std::vector<char> text = input.TakeBytes(8192);
  const qelCString line(text.data(), text.size());

  Parser parser(line, choices & 1, rows), again(line, choices & 1, rows);
  const int result = parser.Parse(choices & 2);
  FUZZ_CHECK(result == again.Parse(false)); // The usage text changes nothing.
  FUZZ_CHECK(result == 0 || result == 1 || result == -1);
  FUZZ_CHECK(result != -1 || parser.Found("?"));
  FUZZ_CHECK(parser.HasUsage());
  const size_t count = parser.GetParameterCount();
  FUZZ_CHECK(count == again.GetParameterCount() && count <= line.length());
  FUZZ_CHECK(count == 0 || rows >> 6 != 0);
  FUZZ_CHECK(result != 0 || !(rows & 2) || parser.Found("ab"));
  FUZZ_CHECK(result != 0 || (rows >> 6) != 1 || count == 1);
  size_t bytes = 0;
  for (size_t i = 0; i < count; i++) {
    FUZZ_CHECK(parser.GetParameter(i) == again.GetParameter(i));
    bytes += parser.GetParameter(i).length();
  }
  // Groups that become parameters behind "--" are the one way to more than the line holds.
  FUZZ_CHECK(bytes <= line.length() || line.Contains("--"));
  qelLong number = 7;
  qelCString value("old");
  FUZZ_CHECK(parser.Found("n", &number) || number == 0);
  FUZZ_CHECK(parser.Found("name", &value) || value.IsEmpty());
  FUZZ_CHECK(!parser.Found("")); // A nameless switch can't be given.
  parser.Reset();
  FUZZ_CHECK(!parser.Found("a") && parser.GetParameterCount() == count);
  parser.Parse(false); // Over the arguments that the first run has added.
  return 0;
}

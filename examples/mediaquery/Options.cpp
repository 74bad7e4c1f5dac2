#include "Options.h"

#include <algorithm>

#include <qel/config/CommandLineParser.h>

#include "Platform.h"
#include "QuietLog.h"

namespace mediaquery {

const char kLoopbackAddress[] = "127.0.0.1";

// Values are parted from their options' names, so that a path such as "/fromage" is no value of /from.
static const int kValue = qelCommandLineNeedSeparator;

// clang-format off
static const qelCommandLineDescription kTable[] = {
    {qelCommandLineOption, "limit", "end after this many hits", qelCommandLineParameterNumber, kValue},
    {qelCommandLineSwitch, "human", "print each hit over several lines", qelCommandLineParameterString, 0},
    {qelCommandLineOption, "store", "write all that was described to this file, not the hits alone", qelCommandLineParameterString, kValue},
    {qelCommandLineOption, "from", "search the file that /store has written, and no folder", qelCommandLineParameterString, kValue},
    {qelCommandLineOption, "watch", "search again every so many seconds", qelCommandLineParameterNumber, kValue},
    {qelCommandLineOption, "console", "take criteria from a telnet client at this port, or ADDRESS:PORT; 0: none", qelCommandLineParameterString, kValue},
    {qelCommandLineOption, "set", "save a setting and end: /set KEY VALUE", qelCommandLineParameterString, kValue},
    {qelCommandLineSwitch, "help", "print this text", qelCommandLineParameterString, qelCommandLineHelp},
    {qelCommandLineParam, nullptr, "FOLDER", qelCommandLineParameterString, qelCommandLineOptionalParam},
    {qelCommandLineParam, nullptr, "CRITERIA", qelCommandLineParameterString, qelCommandLineOptionalParam},
    {-1, nullptr, nullptr, qelCommandLineParameterString, 0},
};
// clang-format on

static const char kExplanations[] =
    "\n"
    "Describes the picture, sound and video files below FOLDER and prints those that\n"
    "match CRITERIA as JSON, one object a line. Without CRITERIA it prints them all.\n"
    "\n"
    "Each option may also be written with \"-\" or \"--\": -limit 5, --limit=5, /limit:5.\n"
    "What follows a bare \"--\" is no option. An absolute path needs that, since it begins\n"
    "as an option does:\n"
    "\n"
    "  mediaquery --limit 5 -- /usr/share 'dc:title contains \"logo\" and res@size > \"1000\"'\n"
    "\n"
    "CRITERIA are tests such as dc:title contains \"sea\", joined by and, or and parentheses.\n"
    "  operators   = != < <= > >= contains doesNotContain derivedfrom like exists\n"
    "  properties  @id @parentID @refID dc:title dc:creator dc:date upnp:class upnp:album\n"
    "              upnp:genre res res@size res@resolution res@duration res@protocolInfo\n"
    "              res@nrAudioChannels res@sampleFrequency res@bitsPerSample\n"
    "\n"
    "Without FOLDER, or with an empty one, the folders of the settings are searched.\n"
    "\n"
    "Exit status: 0 there were hits, 1 there were none, 2 an error, 130 interrupted.\n";

namespace {

// The parser, with its usage text as a text.
class Parser : public qelCommandLineParser {
public:
  Parser(int argc, char** argv) : qelCommandLineParser(kTable, argc, argv) {}
  std::string UsageText() { return GetUsageString().c_str(); }
};

// The arguments as the parser takes them.
struct Prepared {
  std::vector<std::string> arguments; // the program's name first
  std::string path;                   // an argument that is a path rather than an option; or empty
};

} // namespace

// The row of the option that the argument names in full behind its option characters, with an end, ":"
// or "=" behind it; null if there is none.
static const qelCommandLineDescription* FindOption(const std::string& argument, size_t nameAt) {
  const size_t end = std::min(argument.find_first_of(":=", nameAt), argument.size());
  const std::string name = argument.substr(nameAt, end - nameAt);
  for (const qelCommandLineDescription& row : kTable)
    if (row.name != nullptr && name == row.name)
      return &row;
  return nullptr;
}

// Puts one dash in the place of two ahead of the program's options. The values of options, and what
// follows a bare "--", stay as they are.
static Prepared Prepare(const std::vector<std::string>& arguments) {
  Prepared prepared;
  prepared.arguments.push_back("mediaquery");
  bool optionsEnded = false;
  bool isValue = false; // of the option ahead
  for (const std::string& argument : arguments) {
    const bool asItStands = optionsEnded || isValue || argument.size() < 2 ||
                            (argument[0] != '-' && argument[0] != '/');
    const bool twoDashes = !asItStands && argument.compare(0, 2, "--") == 0;
    const qelCommandLineDescription* option =
        asItStands ? nullptr : FindOption(argument, twoDashes ? 2 : 1);
    prepared.arguments.push_back(twoDashes && option != nullptr ? argument.substr(1) : argument);
    if (!asItStands && option == nullptr && argument[0] == '/' && prepared.path.empty())
      prepared.path = argument;
    isValue = option != nullptr && option->kind == qelCommandLineOption &&
              argument.find_first_of(":=") == std::string::npos;
    optionsEnded = optionsEnded || (!asItStands && argument == "--");
  }
  return prepared;
}

static std::vector<char*> Pointers(std::vector<std::string>* texts) {
  std::vector<char*> pointers;
  for (std::string& text : *texts)
    pointers.push_back(&text[0]);
  return pointers;
}

std::string GetUsage() {
  return Parser(0, nullptr).UsageText() + kExplanations;
}

// A port, digits alone.
static bool ParsePort(const std::string& text, uint16_t* port) {
  uint32_t value = 0;
  for (const char c : text) {
    if (c < '0' || c > '9' || value > 65535)
      return false;
    value = 10 * value + static_cast<uint32_t>(c - '0');
  }
  if (text.empty() || value > 65535)
    return false;
  *port = static_cast<uint16_t>(value);
  return true;
}

bool ParseConsole(const std::string& text, std::string* address, uint16_t* port) {
  const size_t colon = text.rfind(':');
  const bool hasAddress = colon != std::string::npos;
  if (colon == 0 || !ParsePort(hasAddress ? text.substr(colon + 1) : text, port))
    return false;
  *address = hasAddress ? text.substr(0, colon) : kLoopbackAddress;
  return true;
}

// Fills in a number from 1 on, if the option is given. False: another number is given.
static bool TakeNumber(const Parser& parser, const char* name, uint32_t* number,
                       std::string* fault) {
  qelLong value = 0;
  if (parser.Found(name, &value) && value < 1)
    *fault = std::string("--") + name + " needs a number from 1 on, not " + std::to_string(value);
  else
    *number = static_cast<uint32_t>(value);
  return fault->empty();
}

// The same with the name of a file, which may not be empty.
static bool TakeFile(const Parser& parser, const char* name, std::string* file,
                     std::string* fault) {
  qelCString value;
  if (parser.Found(name, &value) && value.IsEmpty())
    *fault = std::string("--") + name + " needs the name of a file";
  *file = value.c_str();
  return fault->empty();
}

static bool TakeConsole(const Parser& parser, Options* options, std::string* fault) {
  qelCString value;
  options->consoleGiven = parser.Found("console", &value);
  if (options->consoleGiven &&
      !ParseConsole(value.c_str(), &options->consoleAddress, &options->consolePort))
    *fault = std::string("--console needs PORT or ADDRESS:PORT, not '") + value.c_str() + "'";
  return fault->empty();
}

static bool TakeOptions(const Parser& parser, Options* options, std::string* fault) {
  uint32_t limit = 0;
  options->human = parser.Found("human");
  const bool good = TakeNumber(parser, "limit", &limit, fault) &&
                    TakeNumber(parser, "watch", &options->watchSeconds, fault) &&
                    TakeFile(parser, "store", &options->store, fault) &&
                    TakeFile(parser, "from", &options->from, fault) &&
                    TakeConsole(parser, options, fault);
  options->limit = limit;
  return good;
}

// False: options that do not go together.
static bool CheckOptions(const Options& options, std::string* fault) {
  if (!options.store.empty() && !options.from.empty())
    *fault = "--store and --from do not go together";
  else if (!options.store.empty() && options.limit != 0)
    *fault = "--store needs the whole walk, which --limit would end";
  else if (options.watchSeconds != 0 && !options.from.empty())
    *fault = "--watch needs a folder, and --from searches none";
  else if (options.watchSeconds != 0 && options.consolePort != 0)
    *fault = "--watch and --console do not go together";
  return fault->empty();
}

// The folder, unless a catalogue is searched, and the criteria.
static bool TakeParameters(const std::vector<std::string>& given, Options* options,
                           std::string* fault) {
  std::vector<std::string> plain = given;
  if (!options->from.empty())
    plain.insert(plain.begin(), "");
  if (plain.size() > 2) {
    *fault = "too many arguments (criteria are one argument: put them in quotes)";
    return false;
  }
  if (plain.size() == 2 && options->consolePort != 0) {
    *fault = "--console takes its criteria from the client";
    return false;
  }
  if (!plain.empty() && !plain[0].empty())
    options->folders.push_back(plain[0]);
  if (plain.size() == 2)
    options->criteria = plain[1];
  return true;
}

// --set KEY VALUE: the value is what follows, as the only parameter.
static bool TakeSetting(const std::vector<std::string>& given, const qelCString& key,
                        Options* options, std::string* fault) {
  options->set = true;
  options->setKey = key.c_str();
  if (key.IsEmpty() || given.size() != 1)
    *fault = "--set needs a key and a value, as in: --set Search/Limit 100";
  else
    options->setValue = given[0];
  return fault->empty();
}

bool ParseOptions(const std::vector<std::string>& arguments, Options* options, std::string* fault) {
  Prepared prepared = Prepare(arguments);
  std::vector<char*> pointers = Pointers(&prepared.arguments);
  Parser parser(static_cast<int>(pointers.size()), pointers.data());
  int outcome = 0;
  {
    // The parser tells of a fault on the console, which is standard output, and in the log as well.
    const QuietLog quiet;
    const OutputToError redirected;
    outcome = parser.Parse(/*giveUsage=*/false);
  }
  fault->clear();
  if (outcome == 1 && !prepared.path.empty())
    *fault = "a path that begins with \"/\" reads as an option, write \"--\" ahead of it: -- " +
             prepared.path;
  options->help = outcome == -1;
  if (outcome != 0)
    return options->help;
  std::vector<std::string> given;
  for (size_t i = 0; i < parser.GetParameterCount(); ++i)
    given.push_back(parser.GetParameter(i).c_str());
  qelCString key;
  if (parser.Found("set", &key))
    return TakeSetting(given, key, options, fault);
  return TakeOptions(parser, options, fault) && CheckOptions(*options, fault) &&
         TakeParameters(given, options, fault);
}

} // namespace mediaquery

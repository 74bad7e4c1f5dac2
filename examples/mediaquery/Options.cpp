#include "Options.h"

#include <qel/core/CString.h>

namespace mediaquery {

const char kUsage[] =
    "Usage: mediaquery [--limit N] [--human] [--store FILE] FOLDER [CRITERIA]\n"
    "       mediaquery [--limit N] [--human] --from FILE [CRITERIA]\n"
    "\n"
    "Describes the picture, sound and video files below FOLDER and prints those that\n"
    "match CRITERIA as JSON, one object a line. Without CRITERIA it prints them all.\n"
    "\n"
    "  --limit N     end after N hits\n"
    "  --human       print each hit over several lines\n"
    "  --store FILE  write all that was described to FILE, not the hits alone\n"
    "  --from FILE   search what --store has written, and no folder\n"
    "  --help        print this text\n"
    "\n"
    "CRITERIA are tests such as dc:title contains \"sea\", joined by and, or and parentheses.\n"
    "  operators   = != < <= > >= contains doesNotContain derivedfrom like exists\n"
    "  properties  @id @parentID @refID dc:title dc:creator dc:date upnp:class upnp:album\n"
    "              upnp:genre res res@size res@resolution res@duration res@protocolInfo\n"
    "              res@nrAudioChannels res@sampleFrequency res@bitsPerSample\n"
    "\n"
    "  mediaquery /usr/share 'upnp:class derivedfrom \"object.item.imageItem\" and res@size > "
    "\"1000000\"'\n"
    "\n"
    "Exit status: 0 there were hits, 1 there were none, 2 an error.\n";

// A whole number from 1 on.
static bool ParseLimit(const std::string& text, Options* options, std::string* fault) {
  qelULong limit = 0;
  if (!qelCString(text.c_str()).ToUInt32(&limit, 10) || limit == 0) {
    *fault = "--limit needs a number from 1 on, not '" + text + "'";
    return false;
  }
  options->limit = limit;
  return true;
}

// Takes the name of a file for `option`, as "option NAME" or "option=NAME". False: the argument is
// another one. An empty name stands for a missing one.
static bool TakeFile(const std::vector<std::string>& arguments, size_t* i,
                     const std::string& option, std::string* name, bool* missing) {
  const std::string& argument = arguments[*i];
  if (argument == option)
    *name = ++*i < arguments.size() ? arguments[*i] : "";
  else if (argument.compare(0, option.size() + 1, option + "=") == 0)
    *name = argument.substr(option.size() + 1);
  else
    return false;
  *missing = *missing || name->empty();
  return true;
}

// False: options that do not go together.
static bool CheckOptions(const Options& options, bool missingFile, std::string* fault) {
  if (missingFile)
    *fault = "--store and --from need the name of a file";
  else if (!options.store.empty() && !options.from.empty())
    *fault = "--store and --from do not go together";
  else if (!options.store.empty() && options.limit != 0)
    *fault = "--store needs the whole walk, which --limit would end";
  return fault->empty();
}

bool ParseOptions(const std::vector<std::string>& arguments, Options* options, std::string* fault) {
  std::vector<std::string> plain; // folder and criteria
  bool onlyPlain = false;         // "--" was there
  bool missingFile = false;       // behind --store or --from
  for (size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (onlyPlain || argument.empty() || argument[0] != '-' || argument == "-") {
      plain.push_back(argument);
    } else if (argument == "--") {
      onlyPlain = true;
    } else if (argument == "--help") {
      options->help = true;
      return true;
    } else if (argument == "--human") {
      options->human = true;
    } else if (argument == "--limit") {
      const bool given = ++i < arguments.size();
      if (!ParseLimit(given ? arguments[i] : "", options, fault))
        return false;
    } else if (argument.compare(0, 8, "--limit=") == 0) {
      if (!ParseLimit(argument.substr(8), options, fault))
        return false;
    } else if (!TakeFile(arguments, &i, "--store", &options->store, &missingFile) &&
               !TakeFile(arguments, &i, "--from", &options->from, &missingFile)) {
      *fault = "there is no option " + argument;
      return false;
    }
  }
  fault->clear();
  if (!CheckOptions(*options, missingFile, fault))
    return false;
  if (!options->from.empty())
    plain.insert(plain.begin(), "");
  if (plain.empty() || plain.size() > 2) {
    *fault = plain.empty() ? "no folder is given"
                           : "too many arguments (criteria are one argument: put them in quotes)";
    return false;
  }
  options->folder = plain[0];
  if (plain.size() == 2)
    options->criteria = plain[1];
  return true;
}

} // namespace mediaquery

#ifndef EXAMPLES_MEDIAQUERY_OPTIONS_H
#define EXAMPLES_MEDIAQUERY_OPTIONS_H
//===----------------------------------------------------------------------===//
// The command line, by qelCommandLineParser: options begin with "-" or "/".
//
//   mediaquery [--limit N] [--human] [--store FILE] FOLDER [CRITERIA]
//   mediaquery [--limit N] [--human] --from FILE [CRITERIA]
//   mediaquery --set KEY VALUE
//
// That parser knows no names with two dashes. The program's own options are taken
// in that form too: they are handed to the parser with one dash.
//===----------------------------------------------------------------------===//

#include <cstdint>
#include <string>
#include <vector>

namespace mediaquery {

extern const char kLoopbackAddress[];

struct Options {
  bool help = false;                // the rest means nothing
  bool human = false;               // each hit over several lines
  uint64_t limit = 0;               // end after this many hits; 0: no limit
  std::string store;                // the catalogue to write; empty: none
  std::string from;                 // the catalogue to search; empty: a folder is searched
  std::vector<std::string> folders; // those to search: the one given, or those of the settings
  std::string criteria = "*";       // everything
  bool set = false;                 // a setting is saved, nothing is searched
  std::string setKey;               // its key, "section/key"
  std::string setValue;             // its value
  uint32_t watchSeconds = 0;        // search again so often; 0: once
  std::string consoleAddress;       // of the telnet console, 127.0.0.1 unless one is given
  uint16_t consolePort = 0;         // its port; 0: no console
  bool consoleGiven = false;        // the settings have no say in that
};

// The usage text: what the parser says of the options, and the program's explanations.
std::string GetUsage();

// False: the arguments can't be understood. *fault says why, unless the parser has said so on standard
// error itself; it is empty then.
bool ParseOptions(const std::vector<std::string>& arguments, Options* options, std::string* fault);

// "PORT" or "ADDRESS:PORT", the address kLoopbackAddress unless it is given. A port of 0 means no console.
// False: it is neither; nothing is changed.
bool ParseConsole(const std::string& text, std::string* address, uint16_t* port);

} // namespace mediaquery

#endif

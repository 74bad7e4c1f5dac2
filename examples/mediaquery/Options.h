#ifndef EXAMPLES_MEDIAQUERY_OPTIONS_H
#define EXAMPLES_MEDIAQUERY_OPTIONS_H
//===----------------------------------------------------------------------===//
// The command line: mediaquery [--limit N] [--human] [--store FILE] FOLDER [CRITERIA]
//                   mediaquery [--limit N] [--human] --from FILE [CRITERIA]
//===----------------------------------------------------------------------===//

#include <cstdint>
#include <string>
#include <vector>

namespace mediaquery {

extern const char kUsage[];

struct Options {
  bool help = false;          // the rest means nothing
  bool human = false;         // each hit over several lines
  uint64_t limit = 0;         // end after this many hits; 0: no limit
  std::string store;          // the catalogue to write; empty: none
  std::string from;           // the catalogue to search; empty: a folder is searched
  std::string folder;         // as given; empty with a catalogue to search
  std::string criteria = "*"; // everything
};

// False: the arguments can't be understood, *fault says why.
bool ParseOptions(const std::vector<std::string>& arguments, Options* options, std::string* fault);

} // namespace mediaquery

#endif

#ifndef EXAMPLES_MEDIAQUERY_OUTPUT_H
#define EXAMPLES_MEDIAQUERY_OUTPUT_H
//===----------------------------------------------------------------------===//
// What the program prints: hits as JSON on standard output; progress, if that is a
// terminal, and the closing line on standard error.
//===----------------------------------------------------------------------===//

#include <chrono>
#include <cstdint>
#include <string>

#include <qel/media/MediaInfo.h>
#include <qel/serialize/JSONFormatter.h>

namespace mediaquery {

struct Totals {
  uint64_t files = 0;             // seen
  uint64_t items = 0;             // media files that could be described
  uint64_t hits = 0;              // of those
  uint64_t unreadableFiles = 0;   // media files that could not
  uint64_t unreadableFolders = 0; // passed by
  uint64_t repeatedFolders = 0;   // met again by a link
  uint64_t malformedLines = 0;    // of a catalogue, passed over
  bool fromCatalogue = false;     // `files` counts its lines
  bool limited = false;           // the limit ended the walk
};

// Writes items as JSON objects with the properties that they have.
class HitWriter {
public:
  explicit HitWriter(bool human);

  // False: standard output does not take it.
  bool Write(qelMediaInfo& item);

private:
  qelJSONFormatter m_json;
};

// The line that is rewritten in place while the program works.
class Progress {
public:
  Progress();

  // Shows the numbers, a few times a second at most.
  void Show(const Totals& totals);

  // Takes the line away, so that something else can be printed.
  void Clear();

private:
  bool m_enabled;  // standard error is a terminal
  size_t m_length; // of the line that is shown
  std::chrono::steady_clock::time_point m_next;
};

// "12 files seen, 5 media items, 2 hits, 0.01 s", and what else there is to say.
std::string FormatTotals(const Totals& totals, double seconds);

} // namespace mediaquery

#endif

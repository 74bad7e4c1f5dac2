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

#include "Interrupt.h"

namespace mediaquery {

enum ExitStatus { kExitHits = 0, kExitNoHits = 1, kExitError = 2 }; // and kInterruptedStatus

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
  bool interrupted = false;       // an interrupt did
};

// Makes JSON objects of items, with the properties that they have.
class HitFormatter {
public:
  explicit HitFormatter(bool human);

  // The object with its line end. A `change` that is not null goes into the first member, "change".
  std::string Format(qelMediaInfo& item, const char* change = nullptr);

private:
  qelJSONFormatter m_json;
};

// Writes on standard output, all of the text or nothing. False: *fault says why; it is left empty if
// there was an interrupt while standard output took nothing.
// Windows: an interrupt does not end the wait.
bool WriteOutput(const std::string& text, const Interrupt& interrupt, std::string* fault);

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

// "1 hit", "2 hits".
std::string FormatCount(uint64_t count, const char* one, const char* many);

// "12 files seen, 5 media items, 2 hits, 0.01 s", and what else there is to say.
std::string FormatTotals(const Totals& totals, double seconds);

} // namespace mediaquery

#endif

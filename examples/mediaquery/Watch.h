#ifndef EXAMPLES_MEDIAQUERY_WATCH_H
#define EXAMPLES_MEDIAQUERY_WATCH_H
//===----------------------------------------------------------------------===//
// --watch: looks at the folder again and again, and prints what changed. Each look
// is a qelQuery; the next one is added with a delay, and this thread sleeps in the
// manager until then.
//===----------------------------------------------------------------------===//

#include <cstdint>
#include <map>
#include <string>

#include <qel/core/DateTime.h>

#include "Interrupt.h"
#include "Options.h"
#include "Output.h"
#include "Search.h"

namespace mediaquery {

// What the last look found, and the lines that tell the difference. "changed" is a hit whose size or
// date is another one; "removed" is one that is gone or is no hit any more.
class WatchList : public HitSink {
public:
  WatchList(const Options& options, const Interrupt* interrupt);

  // A hit of this look: prints it if it is new or has changed.
  bool Take(qelMediaInfo& item, std::string* fault) override;

  // Ends a look that was whole: prints, and forgets, the hits that it did not find again. The result
  // is that of Take.
  bool EndLook(std::string* fault);

  // Whether the limit of printed lines is reached.
  bool IsFull() const { return m_limit != 0 && m_lines >= m_limit; }

private:
  struct Record {
    uint64_t size;
    qelDateTime date;
    uint32_t look; // the last one that found it
    size_t idSize; // how much of the path's end is the "id"
  };

  bool Print(qelMediaInfo& item, const char* change, std::string* fault);
  bool PrintRemoved(const std::string& path, const Record& record, std::string* fault);

  HitFormatter m_formatter;
  const Interrupt* m_interrupt;
  uint64_t m_limit; // 0: none
  uint64_t m_lines = 0;
  uint32_t m_look = 0;
  std::map<std::string, Record> m_records; // by path
};

// Until an interrupt, a fault or the limit. Returns the exit status.
int RunWatch(const Options& options, CriteriaParser* criteria, Interrupt* interrupt);

} // namespace mediaquery

#endif

#include "Watch.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include <qel/threads/Query.h>
#include <qel/threads/QueryManager.h>

#include "MediaTypes.h"
#include "Platform.h"

namespace mediaquery {

// What changed -----------------------------------------------------------------

WatchList::WatchList(const Options& options, const Interrupt* interrupt)
    : m_formatter(options.human), m_interrupt(interrupt), m_limit(options.limit) {}

bool WatchList::Take(qelMediaInfo& item, std::string* fault) {
  const Record now = {item.GetUInt64("si", 0).GetValue(), item.date, m_look,
                      item.GetCString("id", "").length()};
  const auto [place, isNew] = m_records.insert({item.path.c_str(), now});
  const bool isSame = place->second.size == now.size && place->second.date == now.date;
  place->second = now;
  if (!isNew && isSame)
    return true;
  return Print(item, isNew ? "added" : "changed", fault);
}

bool WatchList::EndLook(std::string* fault) {
  for (auto place = m_records.begin(); place != m_records.end();) {
    if (place->second.look == m_look) {
      ++place;
      continue;
    }
    if (!PrintRemoved(place->first, place->second, fault))
      return false;
    place = m_records.erase(place);
  }
  ++m_look;
  return true;
}

bool WatchList::Print(qelMediaInfo& item, const char* change, std::string* fault) {
  if (!WriteOutput(m_formatter.Format(item, change), *m_interrupt, fault))
    return false;
  ++m_lines;
  return !IsFull();
}

// The file is gone: what is told is what the name and the record tell.
bool WatchList::PrintRemoved(const std::string& path, const Record& record, std::string* fault) {
  qelMediaInfo item;
  item.path = path.c_str();
  const qelCString id = item.path.Right(record.idSize);
  const qelCString parent = id.BeforeLast('/');
  item.date = record.date;
  item.Set("id", id, true);
  item.Set("pa", parent.IsEmpty() ? qelCString("0") : parent, true);
  item.Set("si", static_cast<unsigned long long>(record.size), true);
  const MediaType* type = FindMediaType(id.AfterLast('.').c_str());
  if (type != nullptr) {
    item.Set("cn", type->className.c_str(), true);
    item.Set("mt", type->mime.c_str(), true);
  }
  item.Finalize(/*keepEmptyTitle=*/false);
  return Print(item, "removed", fault);
}

// Looks ------------------------------------------------------------------------

namespace {

// The request to look at the folder. There is nothing to say about it but when.
class Look : public qelQuery {
public:
  explicit Look(uint32_t seconds) {
    // The delay is counted in 32 bits.
    const uint32_t most = 0xFFFFFFFFu / 1000;
    SetDelay(std::min(seconds, most) * 1000);
  }
};

class Watch {
public:
  Watch(const Options& options, CriteriaParser* criteria, const Interrupt* interrupt)
      : m_options(options), m_criteria(criteria), m_interrupt(interrupt),
        m_list(options, interrupt) {
    m_options.limit = 0; // it counts the lines of all looks
  }

  // False ends the watch; an empty fault() then tells that the limit is reached or of an interrupt.
  bool LookAgain() {
    Search search(m_options, m_criteria, &m_list, m_interrupt);
    const bool done = search.Run(&m_fault);
    m_totals = search.totals;
    const bool isFirst = m_looks++ == 0;
    if (!done && search.folderMissing && !isFirst) {
      // A folder on a medium that is away may come back: nothing is told as removed.
      std::fprintf(stderr, "mediaquery: %s\n", m_fault.c_str());
      m_fault.clear();
      return true;
    }
    if (!done || m_interrupt->IsRequested() || m_list.IsFull())
      return false;
    return m_list.EndLook(&m_fault);
  }

  const std::string& Fault() const { return m_fault; }

  // The closing line, without its end.
  std::string FormatEnd(double seconds) {
    m_totals.limited = m_list.IsFull();
    m_totals.interrupted = !m_totals.limited;
    return std::to_string(m_looks) + (m_looks == 1 ? " look: " : " looks, the last one: ") +
           FormatTotals(m_totals, seconds);
  }

  bool IsFull() const { return m_list.IsFull(); }

private:
  Options m_options;
  CriteriaParser* m_criteria;
  const Interrupt* m_interrupt;
  WatchList m_list;
  Totals m_totals; // of the last look
  uint64_t m_looks = 0;
  std::string m_fault;
};

} // namespace

int RunWatch(const Options& options, CriteriaParser* criteria, Interrupt* interrupt) {
  const auto start = std::chrono::steady_clock::now();
  Watch watch(options, criteria, interrupt);
  qelQueryManager looks;
  interrupt->SetWaker([&looks] { looks.Stop(); });
  looks.AddQuery(new Look(/*seconds=*/0));
  for (bool more = true; more && !interrupt->IsRequested();) {
    looks.WaitForQuery(0xFFFFFFFF);
    qelQuery* look = looks.GetQuery();
    if (look == nullptr)
      continue;
    more = watch.LookAgain();
    look->Done();
    looks.AddQuery(new Look(options.watchSeconds));
  }
  interrupt->SetWaker({});
  if (!watch.Fault().empty()) {
    std::fprintf(stderr, "mediaquery: %s\n", watch.Fault().c_str());
    return kExitError;
  }
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  std::fprintf(stderr, "%s\n", watch.FormatEnd(time.count()).c_str());
  return watch.IsFull() ? kExitHits : kInterruptedStatus;
}

} // namespace mediaquery

#include "Output.h"

#include <cstdio>
#include <cstring>

#include "Platform.h"
#include "Properties.h"
#include "Text.h"

namespace mediaquery {

HitFormatter::HitFormatter(bool human) {
  m_json.SetStrictMode(false); // slashes stay readable
  m_json.SetHumanMode(human, "  ");
}

static void WriteProperty(qelMediaInfo& item, const Property& property, qelJSONFormatter* json) {
  qelCString text;
  if (!property.read(item, &text))
    return;
  json->MapKey(property.name, false);
  if (property.kind == kPropertyNumber)
    json->Value(qeluint64::FromString(text.c_str(), 0).GetValue());
  else
    json->Value(ToValidUTF8(text).c_str());
}

// The formatter closes a map with a comma behind the last member, and in human mode opens it with a
// line feed. Without those two the text is JSON for any reader.
static std::string MakeStrict(const qelCString& object) {
  std::string text(object.c_str(), object.length());
  const size_t comma = text.rfind(',');
  text.erase(comma, 1);
  text.erase(0, text.find('{'));
  return text;
}

std::string HitFormatter::Format(qelMediaInfo& item, const char* change) {
  m_json.Reset();
  m_json.MapBegin();
  if (change != nullptr) {
    m_json.MapKey("change", false);
    m_json.Value(change);
  }
  for (size_t i = 0; i < GetPropertyCount(); ++i)
    WriteProperty(item, GetProperty(i), &m_json);
  m_json.MapEnd();
  return MakeStrict(m_json.Result()) + "\n";
}

bool WriteOutput(const std::string& text, const Interrupt& interrupt, std::string* fault) {
  while (!WaitForOutput())
    if (interrupt.IsRequested())
      return false;
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
    *fault = "standard output can't be written";
  return fault->empty();
}

std::string FormatCount(uint64_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

static std::string FormatCounts(const Totals& totals) {
  const std::string seen = totals.fromCatalogue
                               ? FormatCount(totals.files, "line", "lines") + " read, "
                               : FormatCount(totals.files, "file", "files") + " seen, ";
  return seen + FormatCount(totals.items, "media item", "media items") + ", " +
         FormatCount(totals.hits, "hit", "hits");
}

Progress::Progress() : m_enabled(IsTerminal(stderr)), m_length(0) {}

void Progress::Show(const Totals& totals) {
  if (!m_enabled)
    return;
  const auto now = std::chrono::steady_clock::now();
  if (now < m_next)
    return;
  m_next = now + std::chrono::milliseconds(100);
  Clear();
  const std::string line = FormatCounts(totals);
  std::fprintf(stderr, "%s\r", line.c_str());
  m_length = line.size();
  std::fflush(stderr);
}

void Progress::Clear() {
  if (m_length == 0)
    return;
  std::fprintf(stderr, "\r%*s\r", static_cast<int>(m_length), "");
  std::fflush(stderr);
  m_length = 0;
}

std::string FormatTotals(const Totals& totals, double seconds) {
  char time[32];
  std::snprintf(time, sizeof time, "%.2f s", seconds);
  std::string line = FormatCounts(totals) + ", " + time;
  if (totals.interrupted)
    line += "; interrupted";
  if (totals.limited)
    line += "; stopped at the limit";
  if (totals.malformedLines != 0)
    line += "; " + FormatCount(totals.malformedLines, "line", "lines") + " malformed";
  if (totals.unreadableFiles != 0)
    line +=
        "; " + FormatCount(totals.unreadableFiles, "media file", "media files") + " not readable";
  if (totals.unreadableFolders != 0)
    line += "; " + FormatCount(totals.unreadableFolders, "folder", "folders") + " not readable";
  if (totals.repeatedFolders != 0)
    line +=
        "; " + FormatCount(totals.repeatedFolders, "folder", "folders") + " met again and left out";
  return line;
}

} // namespace mediaquery

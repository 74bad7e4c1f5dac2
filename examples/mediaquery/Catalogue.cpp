#include "Catalogue.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <companions/plugins/qelixPlugins.h>

#include <qel/serialize/EmptySerialize.h>
#include <qel/serialize/JSONFormatter.h>
#include <qel/serialize/MediaInfoSerializer.h>
#include <qel/serialize/PropertyListFormatter.h>

#include "Platform.h"
#include "Text.h"

namespace mediaquery {

namespace {

enum FieldKind { kFieldText, kFieldNumber, kFieldDate };

struct Field {
  const char* key;
  FieldKind kind;
  qelCString qelMediaInfo::*member; // null: the value stands in the table, or is the date
};

// In the order of the text.
const Field kFields[] = {
    {"id", kFieldText, nullptr},
    {"pa", kFieldText, nullptr},
    {"ti", kFieldText, &qelMediaInfo::title},
    {"cr", kFieldText, &qelMediaInfo::creator},
    {"ge", kFieldText, &qelMediaInfo::genre},
    {"an", kFieldText, &qelMediaInfo::album},
    {"da", kFieldDate, nullptr},
    {"cn", kFieldText, nullptr},
    {"mt", kFieldText, nullptr},
    {"fp", kFieldText, &qelMediaInfo::path},
    {"si", kFieldNumber, nullptr},
    {"wi", kFieldNumber, nullptr},
    {"he", kFieldNumber, nullptr},
    {"du", kFieldNumber, nullptr},
    {"ch", kFieldNumber, nullptr},
    {"sr", kFieldNumber, nullptr},
    {"bs", kFieldNumber, nullptr},
};
constexpr size_t kFieldCount = sizeof kFields / sizeof *kFields;

// The place of a key in the table, kFieldCount if it is not there.
size_t FindField(const char* key) {
  size_t i = 0;
  while (i < kFieldCount && std::strcmp(kFields[i].key, key) != 0)
    ++i;
  return i;
}

// Escapes --------------------------------------------------------------------------

bool IsEscaped(const char* text, size_t length) {
  const unsigned char byte = static_cast<unsigned char>(*text);
  return length == 0 || (length == 1 && (byte < 0x20 || byte == 0x7F || byte == '%'));
}

std::string EscapeText(const qelCString& text) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string result;
  const char* bytes = text.c_str();
  for (size_t i = 0; i < text.length();) {
    const size_t length = GetCharacterLength(bytes + i, text.length() - i);
    if (IsEscaped(bytes + i, length)) {
      const unsigned char byte = static_cast<unsigned char>(bytes[i]);
      result += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    } else {
      result.append(bytes + i, length);
    }
    i += length == 0 ? 1 : length;
  }
  return result;
}

// The value of a hexadecimal digit in upper case, -1 for anything else.
int DigitValue(char c) {
  if (c >= '0' && c <= '9')
    return c - '0';
  return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

// False: an escape is none, or stands for the byte 0, which no name holds.
bool UnescapeText(const char* text, qelCString* result) {
  std::string bytes;
  for (const char* c = text; *c != '\0'; ++c) {
    if (*c != '%') {
      bytes += *c;
      continue;
    }
    const int high = DigitValue(c[1]);
    const int low = high < 0 ? -1 : DigitValue(c[2]);
    if (low < 0 || (high == 0 && low == 0))
      return false;
    bytes += static_cast<char>(high << 4 | low);
    c += 2;
  }
  *result = qelCString(bytes.c_str(), bytes.size());
  return true;
}

// Numbers and dates ----------------------------------------------------------------

bool AreDigits(const std::string& text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

// What fits 64 bits, written as the program does.
bool IsNumber(const std::string& text) {
  static const std::string kMax = "18446744073709551615";
  if (!AreDigits(text) || (text.size() > 1 && text[0] == '0'))
    return false;
  return text.size() < kMax.size() || (text.size() == kMax.size() && text <= kMax);
}

// The date shows its milliseconds, but comparisons see its microseconds: they are searched for.
std::string FormatDate(const qelDateTime& date) {
  const int32_t seconds = static_cast<int32_t>(date.GetTicks());
  int32_t microseconds = 0;
  for (int32_t step = 1 << 19; step != 0; step >>= 1)
    if (qelDateTime(qeltimeval{seconds, microseconds + step}) <= date)
      microseconds += step;
  const std::string digits = std::to_string(microseconds);
  return std::to_string(seconds) + "." + std::string(6 - std::min<size_t>(6, digits.size()), '0') +
         digits;
}

bool ParseDate(const std::string& text, qelDateTime* date) {
  const size_t point = text.find('.');
  if (point == std::string::npos || text.size() - point != 7 || point > 11)
    return false;
  const size_t sign = text[0] == '-' ? 1 : 0;
  if (!AreDigits(text.substr(sign, point - sign)) || !AreDigits(text.substr(point + 1)))
    return false;
  const long long seconds = std::strtoll(text.c_str(), nullptr, 10);
  if (seconds < INT32_MIN || seconds > INT32_MAX)
    return false;
  const long microseconds = std::strtol(text.c_str() + point + 1, nullptr, 10);
  *date =
      qelDateTime(qeltimeval{static_cast<int32_t>(seconds), static_cast<int32_t>(microseconds)});
  return true;
}

// Items ----------------------------------------------------------------------------

std::string GetField(const qelMediaInfo& item, const Field& field) {
  if (field.kind == kFieldDate)
    return item.date.IsValid() ? FormatDate(item.date) : std::string();
  return EscapeText(field.member != nullptr ? item.*field.member : item.GetCString(field.key, ""));
}

// False: the value is none for this field.
bool SetField(qelMediaInfo* item, const Field& field, const char* text) {
  if (field.kind == kFieldDate)
    return ParseDate(text, &item->date);
  if (field.kind == kFieldNumber && !IsNumber(text))
    return false;
  qelCString value;
  if (!UnescapeText(text, &value))
    return false;
  if (field.member != nullptr)
    item->*field.member = value;
  else
    item->Set(field.key, value, /*overwrite=*/true);
  return true;
}

// Stands behind the line when it is checked: what ends the line's own text early hides it.
constexpr qelLong kMark = 20011;

// Sees whether the items of an array are one map, without maps in it and with each key once, and the
// mark. The library's reader builds a list from much else, without a word.
class LineCheck : public qelEmptySerialize {
public:
  using qelEmptySerialize::String;

  int MapBegin() override {
    m_good = m_good && m_arrays == 1 && m_maps++ == 0;
    m_inMap = true;
    return 0;
  }
  int MapEnd() override {
    m_inMap = false;
    return 0;
  }
  int MapKey(const char* key, bool) override {
    const size_t field = FindField(key);
    m_good = m_good && (field == kFieldCount || !m_seen[field]);
    if (field != kFieldCount)
      m_seen[field] = true;
    return 0;
  }
  int ArrayBegin() override {
    m_good = m_good && (m_inMap || ++m_arrays == 1);
    return 0;
  }
  int S32(qelLong value) override {
    if (!m_inMap)
      m_marks += value == kMark && m_maps == 1 ? 1 : 2;
    return 0;
  }

  int String(const char*, bool) override { return TakeOther(); }
  int Boolean(bool) override { return TakeOther(); }
  int Float(double) override { return TakeOther(); }
  int Null() override { return TakeOther(); }

  bool IsGood() const { return m_good && m_maps == 1 && m_marks == 1; }

private:
  // Values that are not the mark have their place in the map.
  int TakeOther() {
    m_good = m_good && m_inMap;
    return 0;
  }

  bool m_good = true;
  bool m_inMap = false;
  int m_arrays = 0;
  int m_maps = 0;
  int m_marks = 0;
  bool m_seen[kFieldCount] = {};
};

bool CheckLine(const std::string& line, std::string* fault) {
  if (line.find('\0') != std::string::npos) {
    *fault = "there is a zero byte in it";
    return false;
  }
  LineCheck check;
  const std::string text = "[" + line + "\n," + std::to_string(kMark) + "]";
  const int code = qelJSONFormatter::Parse(text.c_str(), check);
  if (code != 0)
    *fault = "it can't be parsed (code " + std::to_string(code) + ")";
  else if (!check.IsGood())
    *fault = "it is not one map without maps in it, and with each key once";
  return fault->empty();
}

bool TakeList(const qelPropertyList* list, qelMediaInfo* item, std::string* fault) {
  for (const qelProperty* property = list->first; property != nullptr; property = property->next) {
    const size_t i = FindField(property->key);
    if (i == kFieldCount)
      continue;
    const bool isText = property->count == 1 && property->values[0].kind == QEL_DATA_CHARPTR;
    if (!isText || !SetField(item, kFields[i], property->values[0].value.text)) {
      *fault = std::string("the value of \"") + kFields[i].key + "\" is none for this key";
      return false;
    }
  }
  if (!item->Validate() || item->path.IsEmpty() || item->GetCString("id", "").IsEmpty())
    *fault = "one of \"cn\", \"mt\", \"fp\" and \"id\" is missing";
  return fault->empty();
}

} // namespace

// The formatter puts each property ahead of those before it, so the events come in reverse.
std::string FormatCatalogueLine(const qelMediaInfo& item) {
  qelPropertyListFormatter builder;
  builder.MapBegin();
  for (size_t i = kFieldCount; i-- > 0;) {
    const std::string value = GetField(item, kFields[i]);
    if (value.empty())
      continue;
    builder.MapKey(kFields[i].key, false);
    builder.String(value.c_str(), false);
  }
  builder.MapEnd();
  qelPropertyList* list = builder.Reset();
  const qelCString text = qelMediaInfoSerializer::Serialize(list);
  qelPropertyList_Release(list);
  return std::string(text.c_str(), text.length());
}

bool ParseCatalogueLine(const std::string& line, qelMediaInfo* item, std::string* fault) {
  fault->clear();
  if (!CheckLine(line, fault))
    return false;
  qelPropertyList* list =
      qelMediaInfoSerializer::Deserialize(qelCString(line.c_str(), line.size()));
  if (list == nullptr) {
    *fault = "it holds no list";
    return false;
  }
  const bool taken = TakeList(list, item, fault);
  qelPropertyList_Release(list);
  return taken;
}

// Writing --------------------------------------------------------------------------

CatalogueWriter::~CatalogueWriter() {
  if (m_file == nullptr)
    return;
  std::fclose(m_file);
  RemoveFile(m_temporary);
}

bool CatalogueWriter::FailToWrite(std::string* fault) {
  *fault = m_temporary + ", line " + std::to_string(m_lines) + ": it can't be written (" +
           std::strerror(errno) + ")";
  return false;
}

bool CatalogueWriter::Open(const std::string& name, std::string* fault) {
  m_name = name;
  m_temporary = name + ".tmp";
  if (GetFileKind(name) == kFileOther) {
    *fault = name + ": this is no ordinary file";
    return false;
  }
  m_file = CreateNewFile(m_temporary);
  if (m_file == nullptr)
    *fault = m_temporary + ": this file can't be made (" + std::strerror(errno) + ")";
  return m_file != nullptr;
}

bool CatalogueWriter::Add(const qelMediaInfo& item, std::string* fault) {
  ++m_lines;
  const std::string line = FormatCatalogueLine(item) + "\n";
  return std::fwrite(line.data(), 1, line.size(), m_file) == line.size() || FailToWrite(fault);
}

bool CatalogueWriter::Finish(std::string* fault) {
  if (std::fflush(m_file) != 0)
    return FailToWrite(fault);
  const bool closed = std::fclose(m_file) == 0;
  m_file = nullptr;
  if (closed && PutInPlace(m_temporary, m_name))
    return true;
  *fault = closed ? m_name + ": the new file can't be put in this place"
                  : m_temporary + ": it can't be written (" + std::strerror(errno) + ")";
  RemoveFile(m_temporary);
  return false;
}

// Reading --------------------------------------------------------------------------

CatalogueReader::~CatalogueReader() {
  if (m_file != nullptr)
    std::fclose(m_file);
}

bool CatalogueReader::Open(const std::string& name, std::string* fault) {
  m_name = name;
  if (GetFileKind(name) == kFileOther) {
    *fault = name + ": this is no ordinary file";
    return false;
  }
  m_file = OpenFileForReading(name);
  if (m_file == nullptr)
    *fault = name + ": this file can't be read (" + std::strerror(errno) + ")";
  return m_file != nullptr;
}

int CatalogueReader::ReadByte() {
  if (m_at == m_filled) {
    m_at = 0;
    m_filled = std::fread(m_buffer, 1, sizeof m_buffer, m_file);
    if (m_filled == 0)
      return EOF;
  }
  return static_cast<unsigned char>(m_buffer[m_at++]);
}

CatalogueReader::LineEnd CatalogueReader::ReadLine() {
  m_line.clear();
  ++m_number;
  bool empty = true;
  bool tooLong = false;
  for (int c = ReadByte(); c != '\n'; c = ReadByte()) {
    if (c == EOF)
      return empty ? kNoLine : kCut;
    empty = false;
    tooLong = tooLong || m_line.size() == kMaxCatalogueLine;
    if (!tooLong)
      m_line += static_cast<char>(c);
  }
  return tooLong ? kTooLong : kEnded;
}

CatalogueReader::Outcome CatalogueReader::Next(qelMediaInfo* item, std::string* fault) {
  const LineEnd end = ReadLine();
  const std::string place = m_name + ", line " + std::to_string(m_number) + ": ";
  if (std::ferror(m_file) != 0) {
    *fault = place + "it can't be read (" + std::strerror(errno) + ")";
    return kUnreadable;
  }
  if (end == kNoLine)
    return kEnd;
  std::string reason;
  if (end == kCut)
    reason = "the line has no end, the file is cut";
  else if (end == kTooLong)
    reason = "the line is longer than " + std::to_string(kMaxCatalogueLine) + " bytes";
  else if (ParseCatalogueLine(m_line, item, &reason))
    return kItem;
  *fault = place + reason + "; it is passed over";
  return kMalformed;
}

} // namespace mediaquery

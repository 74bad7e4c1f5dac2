#ifndef QEL_TESTS_CONFIG_INIHELD_H
#define QEL_TESTS_CONFIG_INIHELD_H
//===----------------------------------------------------------------------===//
// What a file can hold of a table, as the header of qelINIFile lists it, and in
// which order it is written. For names that are lower-cased.
//===----------------------------------------------------------------------===//

#include <string>

#include <tests/config/INITable.h>

inline bool HasAny(const std::string& text, const char* set) {
  return text.find_first_of(set) != std::string::npos;
}

inline bool HasBlankEnds(const std::string& text) {
  const auto isBlank = [](char c) { return c == ' ' || (c >= 9 && c <= 13); };
  return !text.empty() && (isBlank(text.front()) || isBlank(text.back()));
}

inline bool IsHeldSection(const std::string& name) {
  return !name.empty() && name.size() <= 127 && !HasAny(name, "]/\r\n") && !HasBlankEnds(name);
}

inline bool IsHeldPair(const std::string& key, const std::string& value) {
  std::string written = value;
  if (HasAny(value, " \"'#;\\")) {
    written = "\"";
    for (const char c : value)
      written += std::string(c == '"' || c == '\'' || c == '\\' ? "\\" : "") + c;
    written += '"';
  } else if (HasBlankEnds(value)) {
    return false;
  }
  return !HasAny(value, "\r\n") && !key.empty() && key.size() <= 127 && !HasAny(key, "=\r\n") &&
         !HasAny(key.substr(0, 1), "#;") && !HasBlankEnds(key) &&
         !(key[0] == '[' && HasAny(key + value, "]")) && key.size() + 1 + written.size() <= 1023;
}

// The first line of a file loses these bytes.
inline bool BeginsWithMark(const std::string& key) {
  return key.compare(0, 3, "\xEF\xBB\xBF") == 0;
}

// The table in the order in which it is written.
inline INIEntries WrittenOrder(const qelINIFile* table) {
  const INIEntries entries = EntriesOf(table);
  INIEntries written;
  for (const auto& section : entries) {
    if (section.first.find('/') != std::string::npos)
      continue;
    written.push_back(section);
    const std::string prefix = section.first + "/";
    for (const auto& key : entries)
      if (key.first.compare(0, prefix.size(), prefix) == 0)
        written.push_back(key);
  }
  return written;
}

#endif

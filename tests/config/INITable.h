#ifndef QEL_TESTS_CONFIG_INITABLE_H
#define QEL_TESTS_CONFIG_INITABLE_H
//===----------------------------------------------------------------------===//
// An INI table of a test's own, and what it holds as plain values.
//===----------------------------------------------------------------------===//

#include <string>
#include <utility>
#include <vector>

#include <qel/config/qelINIFile.h>

typedef std::vector<std::pair<std::string, std::string>> INIEntries;

// Keys and values in table order.
inline INIEntries EntriesOf(const qelINIFile* table) {
  INIEntries entries;
  for (size_t i = 0; i != qelINIFile_Count(table); ++i)
    entries.push_back({qelINIFile_KeyAt(table, i), qelINIFile_ValueAt(table, i)});
  return entries;
}

class INITable {
public:
  INITable() = default;
  explicit INITable(const std::string& text) { Load(text); }
  ~INITable() { qelINIFile_Delete(m_table); }
  INITable(const INITable&) = delete;
  INITable& operator=(const INITable&) = delete;

  operator qelINIFile*() const { return m_table; }
  int Load(const std::string& text) {
    return qelINIFile_LoadBuffer(text.data(), text.size(), m_table);
  }
  INIEntries Entries() const { return EntriesOf(m_table); }
  // A value as it is read; "(none)" without one. Creates no section.
  std::string At(const std::string& key) const {
    return qelINIFile_Find(m_table, key.c_str(), "(none)");
  }

private:
  qelINIFile* m_table = qelINIFile_New(0);
};

#endif

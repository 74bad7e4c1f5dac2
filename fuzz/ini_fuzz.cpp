// INI text: any text is read without harm and as the plain statement of the format reads it, and what
// has been written and read once is written the same from then on.

#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include <fuzz/FuzzInput.h>

#include <companions/toolslog/qelixToolsLog.h>
#include <qel/config/qelINIFile.h>
#include <tests/config/INIReader.h>
#include <tests/config/INITable.h>

static void CheckEntries(const INITable& table, const std::string& text) {
  const INIEntries entries = table.Entries();
  const std::map<std::string, std::string> values(entries.begin(), entries.end());
  FUZZ_CHECK(values.size() == entries.size() && values == INIReader(text).values);
}

// Each section and key can be named, read and removed.
static void CheckAccess(const INITable& table) {
  size_t keys = 0;
  const size_t sections = qelINIFile_GetSectionCount(table);
  for (size_t i = 0; i != sections; ++i) {
    const std::string section = qelINIFile_GetSectionName(table, i);
    const size_t count = qelINIFile_GetKeyCount(table, section.c_str());
    for (size_t k = 0; k != count; ++k) {
      const std::string key = qelINIFile_GetKeyName(table, section.c_str(), k);
      int found = 0;
      qelINIFile_GetValue(table, section.c_str(), key.c_str(), nullptr, &found);
      FUZZ_CHECK(found == 1);
      qelINIFile_GetBool(table, section.c_str(), key.c_str(), 0, &found);
      qelINIFile_GetInt32(table, section.c_str(), key.c_str(), 0, &found);
      qelINIFile_GetDouble(table, section.c_str(), key.c_str(), 0, &found);
      free(qelINIFile_GetValueWithSubstitution(table, section.c_str(), key.c_str(), "", &found,
                                               nullptr));
    }
    keys += count;
  }
  FUZZ_CHECK(qelINIFile_GetSectionCount(table) == sections);
  FUZZ_CHECK(keys <= qelINIFile_Count(table));
  for (size_t i = sections; i-- > 0;)
    qelINIFile_DeleteSection(table, std::string(qelINIFile_GetSectionName(table, i)).c_str());
  FUZZ_CHECK(qelINIFile_GetSectionCount(table) == 0);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  _qelLog_Level = 0; // values that are no booleans are no news here
  if (size > 8192)
    return 0;
  const std::vector<char> bytes = FuzzInput(data, size).TakeBytes(size);
  INITable table;
  FUZZ_CHECK(qelINIFile_LoadBuffer(bytes.data(), bytes.size(), table) == 1);
  CheckEntries(table, std::string(bytes.begin(), bytes.end()));
  CheckAccess(table);
  return 0;
}

// INI text: any text is read without harm and as the plain statement of the format reads it; so is the
// file that its table is saved to. A table that a file can hold comes back from it.

#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include <fuzz/FuzzInput.h>

#include <companions/toolslog/qelixToolsLog.h>
#include <qel/config/qelINIFile.h>
#include <tests/config/INIHeld.h>
#include <tests/config/INIReader.h>
#include <tests/config/INITable.h>
#include <tests/support/TempDir.h>

static void CheckEntries(const INITable& table, const std::string& text) {
  const INIEntries entries = table.Entries();
  const std::map<std::string, std::string> values(entries.begin(), entries.end());
  FUZZ_CHECK(values.size() == entries.size() && values == INIReader(text).values);
}

// True when a load of a save gives the table back.
static bool IsHeld(const qelINIFile* table) {
  for (const auto& entry : WrittenOrder(table)) {
    const size_t slash = entry.first.find('/');
    const std::string key = slash != std::string::npos ? entry.first.substr(slash + 1) : "";
    const bool isHeld = slash == std::string::npos
                            ? IsHeldSection(entry.first)
                            : IsHeldPair(key, entry.second) && !BeginsWithMark(key);
    if (!isHeld)
      return false;
  }
  return true;
}

static void CheckSave(const INITable& table) {
  static const TempDir dir;
  static const std::string path = dir.Path("x.ini");
  const INITable loaded;
  FUZZ_CHECK(qelINIFile_SaveWhole(path.c_str(), table) == 1);
  FUZZ_CHECK(qelINIFile_LoadFile(path.c_str(), loaded) == 1);
  CheckEntries(loaded, dir.Read("x.ini"));
  FUZZ_CHECK(!IsHeld(table) || loaded.Entries() == WrittenOrder(table));
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
  CheckSave(table);
  CheckAccess(table);
  return 0;
}

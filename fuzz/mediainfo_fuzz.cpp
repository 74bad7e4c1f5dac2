// The line form of media info: both readers and Peek take any text, and what is written is read back.

#include <cstring>
#include <map>
#include <memory>
#include <string>

#include <fuzz/FuzzInput.h>

#include <companions/toolslog/qelixToolsLog.h>
#include <qel/containers/qelCustomHashTable.h>
#include <qel/media/MediaInfo.h>

using Entries = std::map<std::string, std::string>;

static void Collect(const void* key, const void* value, void* context) {
  static_cast<Entries*>(context)->emplace(static_cast<const char*>(key),
                                          static_cast<const char*>(value));
}

static Entries GetEntries(const qelMediaInfo& info) {
  Entries entries;
  qelCustomHashTable_ForEach(info.properties, Collect, &entries);
  FUZZ_CHECK(entries.size() == qelCustomHashTable_GetCount(info.properties));
  return entries;
}

static bool HasLineEnd(const std::string& text) {
  return text.find_first_of("\r\n") != std::string::npos;
}

static void CheckLineReader(const char* text) {
  qelMediaInfo info;
  info.Set("stale", "1", true);
  info.GetMediaInfoAsString(text);
  const Entries entries = GetEntries(info);
  for (const auto& [key, value] : entries) {
    FUZZ_CHECK(!key.empty() && key.find_first_of("=\n") == std::string::npos);
    FUZZ_CHECK(value.find('\n') == std::string::npos);
  }
  qelMediaInfo again;
  again.GetMediaInfoAsString(info.GetSerializedInfo());
  FUZZ_CHECK(GetEntries(again) == entries);
}

static void CheckStreamReader(const char* text) {
  qelMediaInfo info;
  info.DeserializeInfo(text);
  const Entries entries = GetEntries(info);
  bool keysAreLines = true; // a key may hold line ends, and then does not come back
  for (const auto& [key, value] : entries) {
    FUZZ_CHECK(key.find('=') == std::string::npos);
    FUZZ_CHECK(!HasLineEnd(value));
    keysAreLines = keysAreLines && !HasLineEnd(key);
  }
  qelMediaInfo again;
  again.DeserializeInfo(info.GetSerializedInfo().c_str());
  FUZZ_CHECK(!keysAreLines || GetEntries(again) == entries);
}

static void CheckPeek(const char* info, const char* key) {
  char* value = qelMediaInfo::Peek(info, key);
  if (value == nullptr)
    return;
  FUZZ_CHECK(strstr(info, key) != nullptr);
  FUZZ_CHECK(strchr(value, '\n') == nullptr && strlen(value) <= strlen(info));
  free(value);
}

// Keys that collide and keys that don't, set and removed in any order.
static void CheckChanges(FuzzInput* input) {
  const char* const keys[] = {"Aa", "BB", "AaAa", "BBBB", "AaBB", "BBAa", "a", "ti", "cn", ""};
  qelMediaInfo info;
  for (int i = 0; i < 64 && input->Left() != 0; ++i) {
    const uint8_t choice = input->TakeByte();
    const char* key = keys[choice % (sizeof keys / sizeof *keys)];
    if (choice >= 128) {
      info.Remove(key);
      FUZZ_CHECK(qelCustomHashTable_Contains(info.properties, key) == 0);
    } else {
      info.Set(key, input->TakeText(8).data(), choice % 2 == 0);
    }
  }
  info.Finalize(false);
  FUZZ_CHECK(!info.title.IsEmpty());
  const std::unique_ptr<qelMediaInfo> copy(info.Duplicate());
  FUZZ_CHECK(GetEntries(*copy) == GetEntries(info));
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  _qelLog_Level = 0; // refused keys are no news here
  if (size > 4096)
    return 0;
  FuzzInput input(data, size);
  const std::vector<char> key = input.TakeText(input.TakeByte() % 4);
  FuzzInput changes = input;
  const std::vector<char> text = input.TakeText();
  CheckLineReader(text.data());
  CheckStreamReader(text.data());
  CheckPeek(text.data(), key.data());
  CheckChanges(&changes);
  return 0;
}

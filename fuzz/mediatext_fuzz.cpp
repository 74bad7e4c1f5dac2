// Media property lists as text: any text is read without harm, packed blocks included, nothing is left
// behind, and what can be read back comes back.

#include <cmath>
#include <cstring>
#include <string>

#include <fuzz/FuzzInput.h>

#include <companions/plugins/qelixPlugins.h>
#include <companions/toolslog/qelixToolsLog.h>
#include <qel/serialize/JSONFormatter.h>
#include <qel/serialize/MediaInfoSerializer.h>
#include <qel/serialize/PropertyListFormatter.h>
#include <qel/serialize/qelPackedText.h>

// Reads all that the readers reach.
static void CheckBlock(qelPackedData_t* data) {
  if (data == nullptr)
    return;
  unsigned sum = 0;
  for (uint32_t slot = 0; slot < qelPackedData_GetSlotCount(data); ++slot) {
    const uint32_t chunks = qelPackedData_GetChunkCount(data, slot);
    for (uint16_t id = 0; id < 260 && chunks != 0; ++id) {
      size_t size = 0;
      const char* payload = qelPackedData_FindChunk(data, slot, id, &size);
      for (size_t i = 0; i < size; ++i)
        sum += static_cast<unsigned char>(payload[i]);
      sum += qelPackedData_GetU32(data, slot, id) + qelPackedData_GetU16(data, slot, id);
    }
  }
  size_t size = 0;
  FUZZ_CHECK(qelPackedData_GetData(data, &size) != nullptr || sum != 0);
  FUZZ_CHECK(size >= 8 && size % 256 != 0);
}

// Whether the text of the value is read as what it was.
static bool ComesBack(const qelData& data) {
  switch (data.kind) {
  case QEL_DATA_UINT32:
    return true;
  case QEL_DATA_DOUBLE:
    return std::isfinite(data.value.number);
  case QEL_DATA_CHARPTR:
    return strchr(data.value.text, '\f') == nullptr; // "\f" is written and can't be read
  case QEL_DATA_PACKEDDATA:
    CheckBlock(data.value.packed);
    return true;
  default:
    FUZZ_CHECK(data.kind == QEL_DATA_NONE);
    return false;
  }
}

static bool ComesBack(const qelPropertyList& list) {
  bool comesBack = list.first != nullptr;
  for (const qelProperty* property = list.first; property != nullptr; property = property->next) {
    comesBack = comesBack && property->count == 1 && strchr(property->key, '\f') == nullptr;
    for (uint32_t i = 0; i < property->count; ++i)
      comesBack = ComesBack(property->values[i]) && comesBack;
  }
  return comesBack;
}

static qelCString Rewritten(const qelCString& text) {
  qelPropertyList* list = qelMediaInfoSerializer::Deserialize(text);
  const qelCString result = qelMediaInfoSerializer::Serialize(list);
  qelPropertyList_Release(list);
  return result;
}

static void CheckText(const qelCString& text) {
  qelPropertyList* list = qelMediaInfoSerializer::Deserialize(text);
  if (list != nullptr) {
    const qelCString written = qelMediaInfoSerializer::Serialize(list);
    if (ComesBack(*list))
      FUZZ_CHECK(Rewritten(Rewritten(written)) == written);

    qelJSONFormatter json; // the static walk writes the same
    FUZZ_CHECK(qelPropertyListFormatter::Serialize(list, json) == 0 && json.Result() == written);
    qelPropertyList_Release(list);
  }
  FUZZ_CHECK(qelPlugins_CountLists() == 0 && qelPlugins_CountProperties() == 0);
}

// The bytes as a block, whether they are one or not.
static void CheckBytes(const std::vector<char>& bytes) {
  static const char kDigits[] = "0123456789abcdef";
  std::string text = "{'rd':'";
  for (const char byte : bytes) {
    text += '%';
    text += kDigits[static_cast<unsigned char>(byte) >> 4];
    text += kDigits[byte & 15];
  }
  CheckText((text + "'}").c_str());
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  _qelLog_Level = 0; // refused blocks are no news here
  if (size > 4096)
    return 0;
  FuzzInput input(data, size);
  if (input.TakeByte() == 'b')
    CheckBytes(input.TakeBytes(size));
  else
    CheckText(input.TakeText().data());
  return 0;
}

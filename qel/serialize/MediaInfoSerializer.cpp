#define QEL_LOG_MODULE 0
#define QEL_LOG_FILE "..\\..\\MediaInfoSerializer"

#include <qel/serialize/MediaInfoSerializer.h>

#include <cstring>

#include <qel/core/Log.h>
#include <qel/serialize/JSONFormatter.h>
#include <qel/serialize/PropertyListFormatter.h>
#include <qel/serialize/qelMediaPropertyList.h>
#include <qel/serialize/qelPackedText.h>

namespace {

// Every key in quotes.
class qelMediaJSONFormatter : public qelJSONFormatter {
public:
  int MapKey(const char* key, bool /*raw*/) override {
    return qelJSONFormatter::MapKey(key, /*raw=*/false);
  }
};

// Packed blocks from text. The text may come from anywhere, and nobody else has hold of the lists, so
// those that don't reach the caller are released here.
class qelMediaPropertyListFormatter : public qelPropertyListFormatter {
public:
  using qelPropertyListFormatter::String;
  int String(const char* value, bool raw) override {
    if (!IsPacked())
      return qelPropertyListFormatter::String(value, raw);
    qelProperty_Resize(m_property, m_valueIndex + 1);
    qelPackedData_t* data = qelPackedText_Read(value);
    qelProperty_Set_packedData(m_property, data, /*copy=*/1, m_valueIndex++);
    qelPackedData_Delete(data);
    return 0;
  }

  int MapEnd() override {
    qelPropertyList* inner = m_depth != 0 ? m_list : nullptr;
    const int status = qelPropertyListFormatter::MapEnd();
    qelPropertyList_Release(inner);
    return status;
  }

  // The list as far as it was built. The others, and the property under way, are released.
  qelPropertyList* Finish() {
    for (uint32_t i = 1; i < m_depth; ++i)
      qelPropertyList_Release(m_stack[i]);
    qelPropertyList* list = Reset();
    // When the text ended in a map in a map, the outermost list is left, and takes the property along.
    qelPropertyListFormatter::MapEnd();
    qelPropertyList_Release(Reset());
    return list;
  }

private:
  bool IsPacked() const {
    return m_property != nullptr &&
           (strcmp(m_property->key, "md") == 0 || strcmp(m_property->key, "rd") == 0);
  }
};

} // namespace

qelCString qelMediaInfoSerializer::Serialize(qelPropertyList* list) {
  if (list == nullptr)
    return qelCString();
  qelMediaJSONFormatter formatter;
  const int status = qelMediaPropertyList_Serialize(list, formatter);
  if (status != 0)
    QEL_LOG(1, "Cannot serialize media info (error %d)\n", status);
  return formatter.Result();
}

qelPropertyList* qelMediaInfoSerializer::Deserialize(const qelCString& text) {
  qelMediaPropertyListFormatter formatter;
  if (text.IsEmpty())
    return nullptr;
  if (qelJSONFormatter::Parse(text.c_str(), formatter) != 0)
    QEL_LOG(1, "Cannot deserialize media info '%s'\n", text.c_str());
  return formatter.Finish();
}

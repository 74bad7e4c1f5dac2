#include <qel/serialize/qelMediaPropertyList.h>

#include <qel/serialize/qelPackedText.h>

namespace {

// Unnamed, since a DLL exports the type information of a named class that derives from its own.
class qelMediaPropertyListSerializer final : public qelPropertyListSerializer {
protected:
  int SerializeData(qelData* data, qelISerialize& target) override {
    if (data->kind == QEL_DATA_PACKEDDATA)
      return qelPackedText_Write(data->value.packed, target);
    return qelPropertyListSerializer::SerializeData(data, target);
  }

public:
  using qelPropertyListSerializer::SerializeProperty;
};

} // namespace

int qelMediaPropertyList_Serialize(qelPropertyList* list, qelISerialize& target) {
  return qelMediaPropertyListSerializer().Serialize(list, target);
}

int qelMediaPropertyList_SerializeProperty(qelProperty* property, qelISerialize& target) {
  return qelMediaPropertyListSerializer().SerializeProperty(property, target);
}

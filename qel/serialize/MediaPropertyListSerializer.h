#ifndef QEL_SERIALIZE_MEDIAPROPERTYLISTSERIALIZER_H
#define QEL_SERIALIZE_MEDIAPROPERTYLISTSERIALIZER_H
//===----------------------------------------------------------------------===//
// The walk behind the media text and behind the formatter's static operations.
// Private to this folder.
//===----------------------------------------------------------------------===//

#include <qel/serialize/PropertyListSerializer.h>
#include <qel/serialize/qelPackedText.h>

// Plays packed blocks as text, null ones as "".
class qelMediaPropertyListSerializer final : public qelPropertyListSerializer {
public:
  using qelPropertyListSerializer::SerializeProperty;

protected:
  int SerializeData(qelData* data, qelISerialize& target) override {
    if (data->kind == QEL_DATA_PACKEDDATA)
      return qelPackedText_Write(data->value.packed, target);
    return qelPropertyListSerializer::SerializeData(data, target);
  }
};

#endif

#ifndef QEL_SERIALIZE_PROPERTYLISTSERIALIZER_H
#define QEL_SERIALIZE_PROPERTYLISTSERIALIZER_H
//===----------------------------------------------------------------------===//
// Plays a property list as events. A subclass may step in for a property or for a
// single value.
//
// The values of a property with several of them stand between ArrayBegin and
// ArrayEnd. No ArrayItemSeparator is sent: as JSON text they stand side by side
// (["a""b"]), which no parser reads.
//
// ERRORS: the walk stops at the target's first status that is not 0 and returns it.
// THREADS: the list is held during the walk; an object has no state.
//===----------------------------------------------------------------------===//

#include <companions/plugins/qelixPlugins.h>

#include <qel/serialize/ISerialize.h>

class QEL_EXPORT qelPropertyListSerializer {
public:
  virtual ~qelPropertyListSerializer();

  // MapBegin, each property from the first on, MapEnd. A null list is played as an empty one.
  virtual int Serialize(qelPropertyList* list, qelISerialize& target);

protected:
  // MapKey and the values, of which there may be none.
  virtual int SerializeProperty(qelProperty* property, qelISerialize& target);

  // The event of the value's kind: none for one that is not set, Null for a packed block and for kinds
  // that are not known.
  virtual int SerializeData(qelData* data, qelISerialize& target);
};

#endif

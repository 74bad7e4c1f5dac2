#ifndef QEL_SERIALIZE_QELMEDIAPROPERTYLIST_H
#define QEL_SERIALIZE_QELMEDIAPROPERTYLIST_H
//===----------------------------------------------------------------------===//
// The walk behind the media text and behind the formatter's static operations:
// that of qelPropertyListSerializer, but a packed block goes out as escaped text
// and a null one as "". Private to this folder.
//
// ERRORS: a result is the first status of the target that is not 0.
//===----------------------------------------------------------------------===//

#include <qel/serialize/PropertyListSerializer.h>

// A map of the list's properties.
int qelMediaPropertyList_Serialize(qelPropertyList* list, qelISerialize& target);

// The property's key and its values.
int qelMediaPropertyList_SerializeProperty(qelProperty* property, qelISerialize& target);

#endif

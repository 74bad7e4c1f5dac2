#ifndef QEL_SERIALIZE_MEDIAINFOSERIALIZER_H
#define QEL_SERIALIZE_MEDIAINFOSERIALIZER_H
//===----------------------------------------------------------------------===//
// Media property lists as JSON text in one line, {"ti":"Song","md":"...",}.
//
// The values of the keys "md" and "rd" are packed blocks: their bytes as text, with
// "%" and two digits for those below 0x20, for 0x7F and for double quote, percent
// and backslash. "" is a value without a block. A reader takes a block whose size is
// a multiple of 256 for none.
//
// A list comes back in reverse order. Wide text comes back as UTF-8, a fraction with
// its six digits, a 64-bit number as its low 32 bits (of the largest signed one when
// it lies beyond that), and a block under another key as its text. A text with a
// property of several values, one without value, a form feed or a number that is none
// can be written but not read back; an empty list is read with a fault.
//
// ERRORS: neither operation fails; what goes wrong is logged.
// THREADS: any. The list is held during Serialize; several threads may write one list
// whose packed blocks are finished, as all copies in a property are.
//===----------------------------------------------------------------------===//

#include <companions/plugins/qelixPlugins.h>

#include <qel/core/CString.h>
#include <qel/core/Export.h>

class QEL_EXPORT qelMediaInfoSerializer {
public:
  // The list as text; "" for null. A packed block that is not finished yet is finished by it.
  static qelCString Serialize(qelPropertyList* list);

  // The list in a text, null for the empty text and for one that holds no map. Of a text with a fault the
  // result has the members ahead of the one that holds it; when the fault lies in a map in a map, it
  // is the inner one's list. A block that is not valid counts as none. The caller releases the list.
  static qelPropertyList* Deserialize(const qelCString& text);
};

#endif

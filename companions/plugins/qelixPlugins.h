#ifndef QELIX_PLUGINS_H
#define QELIX_PLUGINS_H
//===----------------------------------------------------------------------===//
// The property lists behind qel's serialisers: the records that qel reads, the
// eleven names that it imports, and two calls for a program's own checks. This is
// a stand-in: a product may replace this library with one of its own that offers
// the records as they lie here and the eleven names.
//
//   list --> property --> property --> null     a chain from the first property along next
//              key
//              values[0..count-1]               each of a kind of its own
//
// A property is added by hand: whoever fills a list links it in where it likes,
// most simply at the head (property->next = list->first; list->first = property).
// From then on the list owns it. The same key may stand in a list twice.
//
// OWNERSHIP: a list is shared by count. New gives the first hold to the caller, each
//   Take is one more, each Release one less; the last one frees the list, its
//   properties, their keys and all values that are the property's own.
// ERRORS: exhausted memory ends the process (abort). A value outside of a property
//   is not set. A null list or property is no list or property: nothing happens.
// THREADS: a list may be taken, read and released by any number of threads; each of
//   them must have a hold, or know of one that lasts. Filling it is for one thread,
//   before the others see it.
// COST: Take is linear in the number of properties; a property that grows by one
//   value at a time does so in amortised constant time.
//===----------------------------------------------------------------------===//

#include <stddef.h>
#include <stdint.h>
#if !defined(_WIN32) && !defined(__cplusplus)
#include <uchar.h>
#endif

#if defined(_WIN32)
#if defined(QEL_PLUGINS_BUILDING)
#define QEL_PLUGINS_API __declspec(dllexport)
#else
#define QEL_PLUGINS_API __declspec(dllimport)
#endif
#else
#define QEL_PLUGINS_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

// A unit of UTF-16.
#if defined(_WIN32)
typedef wchar_t qelPluginsWChar;
#else
typedef char16_t qelPluginsWChar;
#endif

// What a value is. Every other kind is no value either.
enum {
  QEL_DATA_UINT32 = 1,
  QEL_DATA_DOUBLE = 2,
  QEL_DATA_UINT64 = 4,
  QEL_DATA_CHARPTR = 100, // UTF-8 text
  QEL_DATA_NONE = 101,    // a value that has not been set
  QEL_DATA_PACKEDDATA = 103,
  QEL_DATA_WCHARPTR = 104
};

struct qelPackedData_t; // the control record of a packed block, <qel/serialize/qelPackedData.h>

typedef struct qelData {
  uint16_t kind; // QEL_DATA_...
  uint16_t own;  // this library's: not 0 if what the pointer leads to is freed with the value
  union {
    uint32_t u32;                   // QEL_DATA_UINT32
    uint64_t u64;                   // QEL_DATA_UINT64
    double number;                  // QEL_DATA_DOUBLE
    const char* text;               // QEL_DATA_CHARPTR; may be null
    const qelPluginsWChar* wide;    // QEL_DATA_WCHARPTR; may be null
    struct qelPackedData_t* packed; // QEL_DATA_PACKEDDATA; null for an empty block
  } value;
} qelData;

// Made by qelProperty_New alone, which keeps fields of its own behind these.
typedef struct qelProperty {
  const char* key;          // the property's own; never null
  uint32_t count;           // number of values
  qelData* values;          // values[0..count-1]; null if count is 0
  struct qelProperty* next; // the next one in the list, or null
} qelProperty;

// Made by qelPropertyList_New alone, which keeps fields of its own behind these.
typedef struct qelPropertyList {
  qelProperty* first; // null for an empty list
} qelPropertyList;

// What qel uses ----------------------------------------------------------------

// A new list without properties. The caller has its first hold.
QEL_PLUGINS_API qelPropertyList* qelPropertyList_New(void);

// Takes one hold of the list and returns its first property with that key, which stays the list's.
// No such key: null, and no hold. Null key: the hold alone is taken, and the result is null.
QEL_PLUGINS_API qelProperty* qelPropertyList_Take(qelPropertyList* list, const char* key);

// Lets go of one hold.
QEL_PLUGINS_API void qelPropertyList_Release(qelPropertyList* list);

// A new property in no list, with so many values of QEL_DATA_NONE and a copy of the key; a null key
// counts as the empty one. It is freed with the list that it is linked into.
QEL_PLUGINS_API qelProperty* qelProperty_New(const char* key, uint32_t count);

// Sets the number of values. Those that stay keep what they hold, new ones are QEL_DATA_NONE.
QEL_PLUGINS_API void qelProperty_Resize(qelProperty* property, uint32_t count);

// Each sets the value at `index`, whatever kind it had; the value that stood there is freed.
//
// With `copy` not 0 the property keeps a whole copy of its own, and what is passed may vanish at once.
// It may also be what the value holds now. With 0 it keeps the pointer: what that leads to stays the
// caller's and must outlive the property. Null is kept as null in any case.
QEL_PLUGINS_API void qelProperty_Set_charPtr(qelProperty* property, const char* text, int copy,
                                             uint32_t index);
QEL_PLUGINS_API void qelProperty_Set_wcharPtr(qelProperty* property, const qelPluginsWChar* text,
                                              int copy, uint32_t index);

// A copy has a block of its own, finished and cut to the bytes in use. A record without a block
// counts as null.
QEL_PLUGINS_API void qelProperty_Set_packedData(qelProperty* property, struct qelPackedData_t* data,
                                                int copy, uint32_t index);

QEL_PLUGINS_API void qelProperty_Set_uint32(qelProperty* property, uint32_t value, uint32_t index);
QEL_PLUGINS_API void qelProperty_Set_uint64(qelProperty* property, uint64_t value, uint32_t index);
QEL_PLUGINS_API void qelProperty_Set_double(qelProperty* property, double value, uint32_t index);

// What a program uses ------------------------------------------------------------

// The lists and the properties that are alive in this process, for a check that all were released.
QEL_PLUGINS_API size_t qelPlugins_CountLists(void);
QEL_PLUGINS_API size_t qelPlugins_CountProperties(void);

#ifdef __cplusplus
}
#endif

#endif

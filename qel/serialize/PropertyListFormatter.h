#ifndef QEL_SERIALIZE_PROPERTYLISTFORMATTER_H
#define QEL_SERIALIZE_PROPERTYLISTFORMATTER_H
//===----------------------------------------------------------------------===//
// Builds a property list from events, and plays a list as events by static walks.
//
//   MapBegin                     a new list
//   MapKey                       a new property, "pending" until the next key or the map's end
//   values, arrays of values     values of the pending property, one behind the other
//   MapEnd                       the list is whole; Reset hands it over
//
// Each property goes to the head of the list when the next one begins. A list thus
// has the reverse order of its events, and one that is played and built again is
// reversed again.
//
// Maps in maps are not supported. A member whose value is a map is not in the outer
// list, nor is anything of that map: the pending outer property goes into the inner
// list, which nothing refers to from its MapEnd on. That list is never released.
//
// OWNERSHIP: the list is the caller's from Reset on. The destructor frees neither a
//   list nor a pending property. A copy shares all of them, and the stack of open
//   maps: of an object that has seen a map in a map, only one copy may be destroyed.
// ERRORS: every event returns 0. A value without a pending property is ignored; a
//   pending property is dropped when there is no list to take it.
// THREADS: one at a time. The walks read the list without a lock.
//===----------------------------------------------------------------------===//

#include <cstdint>

#include <companions/plugins/qelixPlugins.h>

#include <qel/serialize/ISerialize.h>

class QEL_EXPORT qelPropertyListFormatter : public qelISerialize {
public:
  qelPropertyListFormatter();
  qelPropertyListFormatter(const qelPropertyListFormatter& other) = default;
  qelPropertyListFormatter& operator=(const qelPropertyListFormatter& other) = default;
  ~qelPropertyListFormatter() override; // frees the stack of open maps, nothing else

  int MapBegin() override;
  int MapKey(const char* key, bool raw) override; // raw makes no difference, here and in String
  int MapEnd() override;
  int ArrayBegin() override; // the events of arrays do nothing: values pile up
  int ArrayItemSeparator() override;
  int ArrayEnd() override;
  int String(const qelWChar* value, bool raw) override;
  int String(const char* value, bool raw) override;
  int Boolean(bool value) override; // U32 with 1 or 0
  int U32(qelULong value) override;
  int S32(qelLong value) override; // U32 with the same bits
  int U64(unsigned long long value) override;
  int S64(long long value) override; // U64 with the same bits
  int Float(double value) override;
  int Null() override; // no value: that of a key alone has the kind "none"

  // Returns the current list, or null, and forgets it. In the middle of a map in a map the current list
  // is the inner one, and the outermost becomes the next current one; the others between are lost. A
  // pending property is not in the list; it stays pending.
  qelPropertyList* Reset();

  // Plays the list: MapBegin, each property, MapEnd. Stops at the first status that is not 0 and
  // returns it. A packed block goes out as the escaped text of its bytes, an empty one as "". No
  // ArrayItemSeparator is sent. The caller holds the list. A null list is played as an empty one.
  static int Serialize(qelPropertyList* list, qelISerialize& target);

  // Takes the list and plays the one property with that key: MapKey and values, with no map around
  // them. No such key, or a null one: 0, and nothing is played.
  static int SerializeKeyValue(qelPropertyList* list, const char* key, qelISerialize& target);

protected:
  // The current list, if there is one, waits on the stack; a new list becomes the current one.
  void Push();

  // Returns the current list, which the caller owns if the stack has another to take its place. With an
  // empty stack it stays the current one.
  qelPropertyList* Pop();

  qelProperty* m_property;   // being filled, in no list yet; null between members
  qelPropertyList** m_stack; // m_stack[0..m_depth-1], outermost first; allocated, owned
  qelPropertyList* m_list;   // being filled; null ahead of the first map
  uint32_t m_depth;          // lists on the stack
  uint32_t m_valueIndex;     // index of the next value of the pending property

private:
  void LinkPending();
  bool MakeRoom();
};

#endif

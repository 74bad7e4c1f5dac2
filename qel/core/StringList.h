#ifndef QEL_CORE_STRINGLIST_H
#define QEL_CORE_STRINGLIST_H
//===----------------------------------------------------------------------===//
// qelStringList: a text cut at one separator character, once and for all.
// qelCSVStringList fixes the separator that joins the items to a comma.
//
//   buffer:  | item 0 \0 | item 1 \0 | dead text \0 | item 2 \0 |
//   offsets: 0, of item 1, of item 2
//
// The list remembers the separator of its constructor for GetString; Set cuts at
// the one that it is given and does not remember it. A removed item's text stays
// in the buffer until Reset.
//
// COST: GetAt O(1); IndexOf, Remove and RemoveEmpty O(n); Add a reallocation.
// INVALIDATES: Add, Set, Reset and assignment, all texts that were given out.
// OWNERSHIP: the list owns its items.
// ERRORS: none. Exhausted memory ends the process.
// THREADS: one at a time; the client locks.
//===----------------------------------------------------------------------===//

#include <qel/core/CString.h>
#include <qel/core/Export.h>
#include <qel/core/Types.h>

class QEL_EXPORT qelStringList {
public:
  // No items; joined with blanks.
  qelStringList();
  // The items of the text, as Set; joined with the separator.
  qelStringList(const char* text, char separator, char escape);
  qelStringList(const qelStringList& other);
  // REQUIRES: other is another list.
  qelStringList& operator=(const qelStringList& other);
  virtual ~qelStringList();

  // Removes all items and releases the memory.
  void Reset();
  // Replaces the items by the pieces of text between separators, empty ones too. A separator
  // directly behind the escape character, itself escaped or not, does not cut, and that escape
  // character goes; any other stays. Escape 0 is none. A null or empty text gives no item. With one
  // character for both, each separator cuts until there are as many items as separators that follow
  // no other, plus one; the last item keeps the rest.
  void Set(const char* text, char separator, char escape);

  size_t GetCount() const;
  // REQUIRES: i is below the count.
  const char* GetAt(size_t i) const;
  // defaultValue if there is no item i.
  const char* GetAt(size_t i, const char* defaultValue) const;
  // The item as a decimal number; defaultValue if there is no item i or it is not wholly a number.
  qelLong GetAtInt32(size_t i, qelLong defaultValue) const;

  // The first item that equals text, qelCString::npos if there is none. REQUIRES: text is not null,
  // here and below.
  size_t IndexOf(const char* text) const;
  bool Has(const char* text) const;
  // Appends one item, which may be a text of this list.
  void Add(const char* text);
  // Removes the first item that equals text; false if there is none.
  bool Remove(const char* text);
  // Removes empty items, but of several in a row every second one stays.
  void RemoveEmpty();

  // The items joined with the separator of the constructor, each separator within an item behind
  // the escape character. Escape 0 is none.
  qelCString GetString(char escape) const;

protected:
  // Releases the own items and copies the other's and its separator.
  void AssignCopy(const qelStringList& other);

private:
  char* m_buffer;        // all items, each terminated; owned; null for none
  char m_separator;      // of the constructor
  uint64_t* m_offsets;   // of each item in the buffer; owned; null for none
  uint64_t m_count;      // items
  uint64_t m_bufferSize; // bytes in use in the buffer, dead text included
};

class QEL_EXPORT qelCSVStringList : public qelStringList {
public:
  // No items; as the next with a backslash.
  qelCSVStringList();
  // No items; without a text the escape character has no effect.
  explicit qelCSVStringList(char escape);
  qelCSVStringList(const char* text, char escape);
  qelCSVStringList(const qelCSVStringList& other);
  // REQUIRES: other is another list.
  qelCSVStringList& operator=(const qelCSVStringList& other);
  virtual ~qelCSVStringList();

  // As in the base: cuts at this separator, while GetString keeps to the comma.
  void Set(const char* text, char separator, char escape);
};

#endif

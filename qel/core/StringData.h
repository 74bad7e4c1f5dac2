#ifndef QEL_CORE_STRINGDATA_H
#define QEL_CORE_STRINGDATA_H
//===----------------------------------------------------------------------===//
// The block behind a string of either width.
//
//   +----------+--------+----------+------------------------+---+
//   | refCount | length | capacity | text, capacity units   | 0 |
//   +----------+--------+----------+------------------------+---+
//                                  ^ what a string points at
//
//   refCount   the block is
//   -1         the static empty block: never freed, never written
//    0         write-locked: somebody holds GetWriteBuf
//    1         owned by one string
//   >1         shared by as many strings
//
// OWNERSHIP: blocks come from the qelMem family and are released with free.
// THREADS: refCount is a plain integer. Strings that share a block belong to one
// thread; only the static empty block needs no care.
//===----------------------------------------------------------------------===//

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <type_traits>

#include <qel/core/Types.h>

// What both widths have in front of their text.
struct qelStringHeader_t {
  int32_t refCount;  // see above
  uint64_t length;   // units of text, without the terminator
  uint64_t capacity; // units that the text area can hold, without the terminator

  // Whether this is the static empty block.
  bool IsEmpty() const { return refCount == -1; }
  bool IsShared() const { return refCount > 1; }
  // False while the block is write-locked.
  bool IsValid() const { return refCount != 0; }

  void Lock() {
    if (refCount != -1)
      ++refCount;
  }
  // Frees the block with its last reference. REQUIRES: it is not write-locked, or its count falls
  // to -1 and the block is never freed.
  void Unlock() {
    if (refCount != -1 && --refCount == 0)
      free(this);
  }
  // True: one owner. False: write-locked.
  void Validate(bool valid) { refCount = valid ? 1 : 0; }
};

// The header of a qelCString.
struct qelCStringData : qelStringHeader_t {
  char* data() const { return reinterpret_cast<char*>(const_cast<qelCStringData*>(this) + 1); }
};

// The header of a qelString.
struct qelStringData : qelStringHeader_t {
  qelWChar* data() const {
    return reinterpret_cast<qelWChar*>(const_cast<qelStringData*>(this) + 1);
  }
};

// Whether a value compares with a `String` as a text: a pointer or an array, or an object that
// converts to a pointer as they do, but no string and no null pointer literal.
template <class String, class Char, class Text>
using qelIfComparesAsText =
    std::enable_if_t<std::is_convertible_v<const Text&, const Char*> &&
                     !std::is_same_v<Text, std::nullptr_t> && !std::is_base_of_v<String, Text>>;

// Declares the comparisons of contents for one string class: with a string, with a terminated text
// (a null one counts as empty) or with nullptr or 0 on either side. The form for texts is a template
// so that it fits any of them better than the built-in comparison of addresses, which a string
// reaches through its conversion to `Char*`.
#define QEL_STRING_COMPARISON(String, Char, op)                                                    \
  inline bool operator op(const String& a, const String& b) {                                      \
    return a.Compare(b) op 0;                                                                      \
  }                                                                                                \
  template <class Text, class = qelIfComparesAsText<String, Char, Text>>                           \
  inline bool operator op(const String& a, const Text& b) {                                        \
    return a.Compare(static_cast<const Char*>(b)) op 0;                                            \
  }                                                                                                \
  template <class Text, class = qelIfComparesAsText<String, Char, Text>>                           \
  inline bool operator op(const Text& a, const String& b) {                                        \
    return 0 op b.Compare(static_cast<const Char*>(a));                                            \
  }                                                                                                \
  inline bool operator op(const String& a, std::nullptr_t) {                                       \
    return a.Compare(static_cast<const Char*>(nullptr)) op 0;                                      \
  }                                                                                                \
  inline bool operator op(std::nullptr_t, const String& b) {                                       \
    return 0 op b.Compare(static_cast<const Char*>(nullptr));                                      \
  }

#define QEL_STRING_COMPARISONS(String, Char)                                                       \
  QEL_STRING_COMPARISON(String, Char, ==)                                                          \
  QEL_STRING_COMPARISON(String, Char, !=)                                                          \
  QEL_STRING_COMPARISON(String, Char, <)                                                           \
  QEL_STRING_COMPARISON(String, Char, <=)                                                          \
  QEL_STRING_COMPARISON(String, Char, >)                                                           \
  QEL_STRING_COMPARISON(String, Char, >=)

#endif

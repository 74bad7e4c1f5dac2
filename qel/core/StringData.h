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

#include <cstdint>
#include <cstdlib>

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

// Declares the comparisons of contents for one string class: with a string or with a terminated
// text (null counts as empty) on either side. They are written for a plain pointer to `Char` as
// well, since the built-in comparison of addresses, which a string reaches through its conversion
// to `Char*`, would be as good a match otherwise.
#define QEL_STRING_COMPARISON(String, Char, op)                                                    \
  inline bool operator op(const String& a, const String& b) {                                      \
    return a.Compare(b) op 0;                                                                      \
  }                                                                                                \
  inline bool operator op(const String& a, const Char* b) {                                        \
    return a.Compare(b) op 0;                                                                      \
  }                                                                                                \
  inline bool operator op(const String& a, Char* b) {                                              \
    return a.Compare(b) op 0;                                                                      \
  }                                                                                                \
  inline bool operator op(const Char* a, const String& b) {                                        \
    return 0 op b.Compare(a);                                                                      \
  }                                                                                                \
  inline bool operator op(Char* a, const String& b) {                                              \
    return 0 op b.Compare(a);                                                                      \
  }

#define QEL_STRING_COMPARISONS(String, Char)                                                       \
  QEL_STRING_COMPARISON(String, Char, ==)                                                          \
  QEL_STRING_COMPARISON(String, Char, !=)                                                          \
  QEL_STRING_COMPARISON(String, Char, <)                                                           \
  QEL_STRING_COMPARISON(String, Char, <=)                                                          \
  QEL_STRING_COMPARISON(String, Char, >)                                                           \
  QEL_STRING_COMPARISON(String, Char, >=)

#endif

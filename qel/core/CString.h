#ifndef QEL_CORE_CSTRING_H
#define QEL_CORE_CSTRING_H
//===----------------------------------------------------------------------===//
// qelCString: a counted text of bytes, one pointer wide.
//
// The pointer is never null and stands at a terminated text, with the counts of
// its block in front (StringData.h). Text is a sequence of bytes, zero bytes
// included, with no encoding of its own; nearly all of the library keeps UTF-8
// in it.
//
// Only the copy constructor shares a block; assignment copies the bytes. All
// empty strings point at one static block, so that they allocate nothing.
// Positions and sizes are in bytes; npos means "not found" or "to the end".
//
// ERRORS: none is reported. Exhausted memory ends the process. A position is
// checked only where that is said. A null text counts as the empty text.
// OWNERSHIP: a string owns its block together with its copies.
// THREADS: none of it is protected, the reference count included. Hand text to
// another thread as a private block, by operator= into the receiver's string.
//===----------------------------------------------------------------------===//

#include <cstdarg>

#include <qel/core/Export.h>
#include <qel/core/StringData.h>
#include <qel/core/Types.h>

class qelCharBuffer;

// The text of the static empty block: what every empty string points at.
extern QEL_EXPORT const char* const qelEmptyCString;

class QEL_EXPORT qelCString {
public:
  static const size_t npos = static_cast<size_t>(-1);

  // Construction and assignment ------------------------------------------------

  qelCString() { Init(); }
  // Empty: the number only lets a 0 stand for "no string". Once per native type.
  qelCString(int) { Init(); }
  qelCString(unsigned) { Init(); }
  qelCString(long) { Init(); }
  qelCString(unsigned long) { Init(); }
  qelCString(long long) { Init(); }
  qelCString(unsigned long long) { Init(); }
  // Shares the source's block; a source of length 0 gives the static empty block.
  qelCString(const qelCString& source) : m_text(source.m_text) {
    if (source.length() == 0)
      Init();
    else
      GetStringData()->Lock();
  }
  qelCString(const char* text);
  // One byte, also when it is 0.
  qelCString(char c);
  // text[0..length-1], zero bytes included; npos: up to the terminator.
  qelCString(const char* text, size_t length);
  // text[start..start+length-1]; npos: up to the terminator.
  qelCString(const char* text, size_t start, size_t length);
  // A copy of the buffer's text; a buffer without one gives the empty string.
  qelCString(const qelCharBuffer& buffer);
  ~qelCString() { GetStringData()->Unlock(); }

  // Copies the bytes and never shares. A sole owner keeps its block where the capacity allows.
  qelCString& operator=(const qelCString& source);
  qelCString& operator=(const char* text);
  qelCString& operator=(char c);
  qelCString& operator=(const qelCharBuffer& buffer);

  // Reading --------------------------------------------------------------------

  size_t length() const { return GetStringData()->length; }
  bool IsEmpty() const { return length() == 0; }
  // Never null, terminated.
  const char* c_str() const { return m_text; }
  // The same pointer. Writing through it does not unshare the block.
  operator char*() const { return m_text; }

  // First or last byte, 0 for an empty string.
  char First() const { return *m_text; }
  char Last() const { return IsEmpty() ? '\0' : m_text[length() - 1]; }
  // Position of the first occurrence, -1 if there is none. The byte 0 is looked for in the text
  // only, not at its terminator.
  int First(char c) const;
  // Position of the first, or with fromEnd of the last occurrence; -1 if there is none.
  int Find(char c, bool fromEnd = false) const;
  // How many bytes equal c.
  int Freq(char c) const;
  // Whether every byte is within '0' to '9'; true for an empty string.
  bool HasOnlyNumbers() const;
  // Whether the text stands somewhere in the string. An empty one does only where the string has a
  // zero byte.
  bool Contains(const char* text) const;
  bool Contains(const qelCString& text) const;

  // By unsigned bytes, zero bytes included: negative, 0 or positive. Of two texts that agree as far
  // as the shorter one goes, the shorter is the lesser.
  int Compare(const qelCString& other) const;
  int Compare(const char* other) const;
  // The same with tolower on both sides and bytes taken as signed values: -1, 0 or 1.
  int CompareNoCase(const qelCString& other) const;
  int CompareNoCase(const char* other) const;

  // Searching ------------------------------------------------------------------

  // First position at or behind start where the text stands. npos if there is none, if start is not
  // within the string, and for an empty text.
  size_t Find(const qelCString& text, size_t start = 0) const;
  size_t FindFirstStr(const char* text, size_t start = 0) const;
  // Highest position where the text stands and ends at `end` at the latest; npos as `end` means the
  // length. npos if there is none or end is 0. An empty text gives `end`.
  size_t FindLastStr(const char* text, size_t end = npos) const;
  // As Find, with tolower on both sides.
  size_t FindNoCase(const qelCString& text, size_t start = 0) const;
  // First position at or behind start whose byte is in the set, or is not in it. npos if there is
  // none. A start beyond the length comes back unchanged.
  size_t FindFirstOf(const char* set, size_t start = 0) const;
  size_t FindFirstNotOf(const char* set, size_t start = 0) const;
  // Last position at or ahead of start whose byte is in the set, npos if there is none; npos as
  // start means the last byte. REQUIRES: start is npos or below the length, unless the string is
  // empty.
  size_t FindLastOf(const char* set, size_t start = npos) const;

  // Extraction: a new string, this one stays as it is ---------------------------

  // Not found: AfterFirst and BeforeLast give the empty string, BeforeFirst and AfterLast the
  // whole. The After forms end at a zero byte of the text.
  qelCString AfterFirst(char c) const;
  qelCString AfterFirst(const qelCString& text) const;
  qelCString BeforeFirst(char c) const;
  qelCString BeforeFirst(const qelCString& text) const;
  qelCString AfterLast(char c) const;
  qelCString AfterLast(const qelCString& text) const;
  qelCString BeforeLast(char c) const;
  qelCString BeforeLast(const qelCString& text) const;

  // The bytes from first on, at most count of them. A first beyond the length gives the empty
  // string.
  qelCString Mid(size_t first, size_t count = npos) const;
  // The first n bytes, the whole string if it has fewer.
  qelCString Left(size_t n) const;
  // The last n bytes, but the empty string if it has fewer.
  qelCString Right(size_t n) const;

  // A private copy with toupper or tolower on each byte as far as the first zero byte.
  qelCString Upper() const;
  qelCString Lower() const;
  // A private copy with each run of whitespace replaced by one blank, at both ends too. A zero byte
  // ends it.
  qelCString TrimTo1Space() const;

  // Changing -------------------------------------------------------------------

  // Append. The source may be the string itself or lie in it.
  qelCString& operator+=(const qelCString& text);
  qelCString& operator+=(const char* text);
  qelCString& operator+=(char c);
  // Puts text[0..n-1] in at pos; npos as n means up to the terminator. REQUIRES: pos is at most the
  // length, and the text does not lie in the string.
  void Insert(size_t pos, const char* text, size_t n = npos);
  // Takes out count bytes from pos on. REQUIRES: pos is at most the length.
  void Erase(size_t pos, size_t count = npos);
  // Erases from pos to the end. REQUIRES: pos is at most the length.
  void Truncate(size_t pos);
  // Both make the string the shared empty one.
  void Empty();
  void clear();
  // Replaces the first or all occurrences of `from`, replaced text not searched again; returns how
  // many. A zero byte at the start, or right behind a replacement, ends it.
  size_t Replace(const char* from, const char* to, bool all = true);
  // Takes away whitespace at the end, or at the start.
  void Trim(bool fromRight = true);
  void TrimLeftRight();
  // Appends count bytes c, or puts them in front.
  void Pad(size_t count, char c = ' ', bool fromRight = true);

  // Formatted print by trio; the old text is gone, so no argument may be it. Returns the new
  // length. A text of 1024 bytes or more loses its last byte. A format error leaves what was
  // written so far.
  int Printf(const char* format, ...) QEL_PRINTF_LIKE(2, 3);
  int PrintfV(const char* format, va_list args) QEL_PRINTF_LIKE(2, 0);
  static qelCString Format(const char* format, ...) QEL_PRINTF_LIKE(1, 2);

  // A copy of the text, which is then released with free.
  static qelCString FromAllocatedString(const char* text);

  // Gives room for n bytes and a terminator, to be written whole, and write-locks the string: until
  // UngetWriteBuf no other operation may be applied to it. The old text is lost.
  char* GetWriteBuf(size_t n);
  // Ends the writing; the length is that of the terminated text.
  void UngetWriteBuf();
  // Ends the writing with length n. REQUIRES: the caller has written the terminator at n.
  void UngetWriteBuf(size_t n);

  // Numbers --------------------------------------------------------------------

  // True if the whole text is a number in range. Otherwise *out holds the nearest bound for a
  // number out of range, the number read for one with text behind it, and 0 for no number. Base 0
  // takes "0x" and "0" prefixes. Each exists for both of `int` and `long`; the value always has 32
  // bits.
  bool ToInt32(qelLong* out, int base = 10) const;
  bool ToLong(qelLong* out, int base = 10) const;
  bool ToUInt32(qelULong* out, int base = 10) const;
  bool ToULong(qelULong* out, int base = 10) const;
  bool ToInt32(qelOtherLong* out, int base = 10) const;
  bool ToLong(qelOtherLong* out, int base = 10) const;
  bool ToUInt32(qelOtherULong* out, int base = 10) const;
  bool ToULong(qelOtherULong* out, int base = 10) const;
  bool ToDouble(double* out) const;

protected:
  // The block's header, in front of the text.
  qelCStringData* GetStringData() const { return reinterpret_cast<qelCStringData*>(m_text) - 1; }

  // Points at the static empty block; a block held before is not released.
  void Init() { m_text = const_cast<char*>(qelEmptyCString); }
  // Init, then a copy of text[start..start+n-1]; npos as n means up to the terminator.
  void InitWith(const char* text, size_t start, size_t n);
  // Releases the block and points at the static empty one.
  void Reinit() {
    GetStringData()->Unlock();
    Init();
  }
  // Points at a new block of length n, terminated, its text not set; a block held before is not
  // released.
  void AllocBuffer(size_t n);
  // Makes dest, which must hold no block, a copy of n bytes from start on.
  void AllocCopy(qelCString& dest, size_t n, size_t start) const;
  // Gives a private block with room for n bytes and length 0; the old text is not kept.
  void AllocBeforeWrite(size_t n);
  // Gives room for more than n bytes and keeps the text.
  void Alloc(size_t n);
  // Gives a private block with the same text.
  void CopyBeforeWrite();
  // Appends the lesser of n and max bytes.
  void ConcatSelf(size_t n, const char* source, size_t max);
  // Becomes a copy of source[0..n-1].
  void AssignCopy(size_t n, const char* source);
  // Exchanges the two texts.
  void Swap(qelCString& other);

  // Position of text[0..n-1] at or behind start, or npos. For n 0: of a zero byte.
  size_t FindStr(const char* text, size_t n, size_t start) const;
  // Puts text[0..n-1] in place of count bytes from pos on. REQUIRES: they are within the string.
  void Replace(size_t pos, size_t count, const char* text, size_t n);

private:
  friend qelCString operator+(const qelCString& a, const char* b);
  friend qelCString operator+(const char* a, const qelCString& b);

  // The empty string with room for both texts, then both appended.
  static qelCString Joined(const char* a, size_t lengthA, const char* b, size_t lengthB);
  // The length of a terminated text, 0 for null.
  static size_t LengthOf(const char* text);

  char* m_text; // in a block, or in the static empty one
};

static_assert(sizeof(qelCString) == sizeof(char*), "a string is one pointer");

// Lends a string's block for writing while it lives. THREADS: as the string.
class QEL_EXPORT qelCStringBuffer {
public:
  // Room for n bytes and a terminator, which the caller writes.
  qelCStringBuffer(qelCString& string, size_t n)
      : m_string(string), m_text(string.GetWriteBuf(n)) {}
  ~qelCStringBuffer() { m_string.UngetWriteBuf(); }
  qelCStringBuffer(const qelCStringBuffer&) = delete;
  qelCStringBuffer& operator=(const qelCStringBuffer&) = delete;

  operator char*() const { return m_text; }

private:
  qelCString& m_string;
  char* m_text; // the string's text
};

inline qelCString operator+(const qelCString& a, const qelCString& b) {
  qelCString result(a);
  result += b;
  return result;
}
inline qelCString operator+(const qelCString& a, char b) {
  qelCString result(a);
  result += b;
  return result;
}
inline qelCString operator+(char a, const qelCString& b) {
  qelCString result;
  result += a;
  result += b;
  return result;
}
inline qelCString operator+(const qelCString& a, const char* b) {
  return qelCString::Joined(a.m_text, a.length(), b, qelCString::LengthOf(b));
}
inline qelCString operator+(const char* a, const qelCString& b) {
  return qelCString::Joined(a, qelCString::LengthOf(a), b.m_text, b.length());
}

QEL_STRING_COMPARISONS(qelCString, char)

#endif

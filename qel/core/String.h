#ifndef QEL_CORE_STRING_H
#define QEL_CORE_STRING_H
//===----------------------------------------------------------------------===//
// qelString: a counted text of 16-bit units, one pointer wide; the wide twin of
// qelCString.
//
// The pointer is never null and stands at a terminated text, with the counts of
// its block in front (StringData.h). The system interfaces of files and paths
// take their text in this form. No operation looks at pairs of surrogates.
//
// Only the copy constructor shares a block; assignment copies the units. All
// empty strings point at one static block, so that they allocate nothing.
// Positions and sizes are in units; npos means "not found" or "to the end".
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
class qelWCharBuffer;

// The text of the static empty block: what every empty string points at.
extern QEL_EXPORT const qelWChar* const qelEmptyString;

class QEL_EXPORT qelString {
public:
  static const size_t npos = static_cast<size_t>(-1);

  // Construction and assignment ------------------------------------------------

  qelString() { Init(); }
  // Shares the source's block; a source of length 0 gives the static empty block.
  qelString(const qelString& source) : m_text(source.m_text) {
    if (source.length() == 0)
      Init();
    else
      GetStringData()->Lock();
  }
  qelString(const qelWChar* text);
  // One unit, also when it is 0.
  qelString(qelWChar c);
  // text[0..length-1], zero units included; npos: up to the terminator.
  qelString(const qelWChar* text, size_t length);
  // text[start..start+length-1]; npos: up to the terminator.
  qelString(const qelWChar* text, size_t start, size_t length);
  // A copy of the buffer's text; a buffer without one gives the empty string.
  qelString(const qelWCharBuffer& buffer);
  ~qelString() { GetStringData()->Unlock(); }

  // Copies the units and never shares. A sole owner keeps its block where the capacity allows.
  qelString& operator=(const qelString& source);
  qelString& operator=(const qelWChar* text);
  qelString& operator=(qelWChar c);
  qelString& operator=(const qelWCharBuffer& buffer);

  // Reading --------------------------------------------------------------------

  size_t length() const { return GetStringData()->length; }
  bool IsEmpty() const { return length() == 0; }
  // Never null, terminated.
  const qelWChar* c_str() const { return m_text; }
  // The same pointer. Writing through it does not unshare the block.
  operator qelWChar*() const { return m_text; }

  // First or last unit, 0 for an empty string.
  qelWChar First() const { return *m_text; }
  qelWChar Last() const { return IsEmpty() ? QEL_W('\0') : m_text[length() - 1]; }
  // Position of the first occurrence, -1 if there is none. The unit 0 is looked for in the text
  // only, not at its terminator.
  int First(qelWChar c) const;
  // Position of the first, or with fromEnd of the last occurrence; -1 if there is none.
  int Find(qelWChar c, bool fromEnd = false) const;
  // How many units equal c.
  int Freq(qelWChar c) const;
  // Whether every unit is within '0' to '9'; true for an empty string.
  bool HasOnlyNumbers() const;
  // Whether the text stands somewhere in the string. An empty one does only where the string has a
  // zero unit.
  bool Contains(const qelWChar* text) const;
  bool Contains(const qelString& text) const;

  // By units, zero units included: negative, 0 or positive. Of two texts that agree as far as
  // the shorter one goes, the shorter is the lesser.
  int Compare(const qelString& other) const;
  int Compare(const qelWChar* other) const;
  // The same with towlower on both sides: -1, 0 or 1.
  int CompareNoCase(const qelString& other) const;
  int CompareNoCase(const qelWChar* other) const;

  // Searching ------------------------------------------------------------------

  // First position at or behind start where the text stands. npos if there is none, if start is not
  // within the string, and for an empty text.
  size_t Find(const qelString& text, size_t start = 0) const;
  size_t FindFirstStr(const qelWChar* text, size_t start = 0) const;
  // Highest position where the text stands and ends at `end` at the latest; npos as `end` means the
  // length. npos if there is none or end is 0. An empty text gives `end`.
  size_t FindLastStr(const qelWChar* text, size_t end = npos) const;
  // As Find, with towlower on both sides.
  size_t FindNoCase(const qelString& text, size_t start = 0) const;
  // First position at or behind start whose unit is in the set, or is not in it. npos if there is
  // none. A start beyond the length comes back unchanged.
  size_t FindFirstOf(const qelWChar* set, size_t start = 0) const;
  size_t FindFirstNotOf(const qelWChar* set, size_t start = 0) const;
  // Last position at or ahead of start whose unit is in the set, npos if there is none; npos as
  // start means the last unit. REQUIRES: start is npos or below the length, unless the string is
  // empty.
  size_t FindLastOf(const qelWChar* set, size_t start = npos) const;

  // Extraction: a new string, this one stays as it is ---------------------------

  // Not found: AfterFirst and BeforeLast give the empty string, BeforeFirst and AfterLast the
  // whole. The After forms end at a zero unit of the text.
  qelString AfterFirst(qelWChar c) const;
  qelString AfterFirst(const qelString& text) const;
  qelString BeforeFirst(qelWChar c) const;
  qelString BeforeFirst(const qelString& text) const;
  qelString AfterLast(qelWChar c) const;
  qelString AfterLast(const qelString& text) const;
  qelString BeforeLast(qelWChar c) const;
  qelString BeforeLast(const qelString& text) const;

  // The units from first on, at most count of them. A first beyond the length gives the empty
  // string.
  qelString Mid(size_t first, size_t count = npos) const;
  // The first n units, the whole string if it has fewer.
  qelString Left(size_t n) const;
  // The last n units, but the empty string if it has fewer.
  qelString Right(size_t n) const;

  // A private copy with towupper or towlower of the runtime library on each unit, surrogates
  // excepted, as far as the first zero unit.
  qelString Upper() const;
  qelString Lower() const;
  // A private copy with each run of whitespace replaced by one blank, at both ends too. A zero unit
  // ends it.
  qelString TrimTo1Space() const;

  // Changing -------------------------------------------------------------------

  // Append. The source may be the string itself or lie in it.
  qelString& operator+=(const qelString& text);
  qelString& operator+=(const qelWChar* text);
  qelString& operator+=(qelWChar c);
  // Puts text[0..n-1] in at pos; npos as n means up to the terminator. REQUIRES: pos is at most the
  // length, and the text does not lie in the string.
  void Insert(size_t pos, const qelWChar* text, size_t n = npos);
  // Takes out count units from pos on. REQUIRES: pos is at most the length.
  void Erase(size_t pos, size_t count = npos);
  // Erases from pos to the end. REQUIRES: pos is at most the length.
  void Truncate(size_t pos);
  // Both make the string the shared empty one.
  void Empty();
  void clear();
  // Replaces the first or all occurrences of `from`, replaced text not searched again; returns how
  // many. A zero unit at the start, or right behind a replacement, ends it.
  size_t Replace(const qelWChar* from, const qelWChar* to, bool all = true);
  // Takes away whitespace at the end, or at the start.
  void Trim(bool fromRight = true);
  void TrimLeftRight();
  // Appends count units c, or puts them in front.
  void Pad(size_t count, qelWChar c = QEL_W(' '), bool fromRight = true);

  // Formatted print with trio's directives; the old text is gone, so no argument may be it. %s
  // takes narrow UTF-8, %ls and %S a text of units, %c a narrow character, %lc and %C a unit; width
  // and precision count units. Returns the new length. A text of exactly 1024, 2050, 4102 ...
  // units, each twice the one before plus 2, loses its last unit. An error in the format or in
  // narrow text, %n and numbered arguments end the print and leave what was written so far.
  int Printf(const qelWChar* format, ...);
  int PrintfV(const qelWChar* format, va_list args);
  static qelString Format(const qelWChar* format, ...);

  // A copy of the text, which is then released with free.
  static qelString FromAllocatedString(const qelWChar* text);

  // Gives room for n units and a terminator, to be written whole, and write-locks the string: until
  // UngetWriteBuf no other operation may be applied to it. The old text is lost.
  qelWChar* GetWriteBuf(size_t n);
  // Ends the writing; the length is that of the terminated text.
  void UngetWriteBuf();
  // Ends the writing with length n. REQUIRES: the caller has written the terminator at n.
  void UngetWriteBuf(size_t n);

  // Conversion and numbers -----------------------------------------------------

  // The text up to the first zero unit, with "_" for each unit above 127.
  qelCharBuffer ToAscii() const;

  // True if the whole text is a number in range. Otherwise *out holds the nearest bound for a
  // number out of range, the number read for one with text behind it, and 0 for no number. A unit
  // above 127 counts as text behind the number. Base 0 takes "0x" and "0" prefixes. Each exists for
  // both of `int` and `long`; the value always has 32 bits.
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
  qelStringData* GetStringData() const { return reinterpret_cast<qelStringData*>(m_text) - 1; }

  // Points at the static empty block; a block held before is not released.
  void Init() { m_text = const_cast<qelWChar*>(qelEmptyString); }
  // Init, then a copy of text[start..start+n-1]; npos as n means up to the terminator.
  void InitWith(const qelWChar* text, size_t start, size_t n);
  // Releases the block and points at the static empty one.
  void Reinit() {
    GetStringData()->Unlock();
    Init();
  }
  // Points at a new block of length n, terminated, its text not set; a block held before is not
  // released.
  void AllocBuffer(size_t n);
  // Makes dest, which must hold no block, a copy of n units from start on.
  void AllocCopy(qelString& dest, size_t n, size_t start) const;
  // Gives a private block with room for n units and length 0; the old text is not kept.
  void AllocBeforeWrite(size_t n);
  // Gives room for more than n units and keeps the text.
  void Alloc(size_t n);
  // Gives a private block with the same text.
  void CopyBeforeWrite();
  // Appends the lesser of n and max units.
  void ConcatSelf(size_t n, const qelWChar* source, size_t max);
  // Becomes a copy of source[0..n-1].
  void AssignCopy(size_t n, const qelWChar* source);
  // Exchanges the two texts.
  void Swap(qelString& other);

  // Position of text[0..n-1] at or behind start, or npos. For n 0: of a zero unit.
  size_t FindStr(const qelWChar* text, size_t n, size_t start) const;
  // Puts text[0..n-1] in place of count units from pos on. REQUIRES: they are within the string.
  void Replace(size_t pos, size_t count, const qelWChar* text, size_t n);

private:
  friend qelString operator+(const qelString& a, const qelWChar* b);
  friend qelString operator+(const qelWChar* a, const qelString& b);

  // The empty string with room for both texts, then both appended.
  static qelString Joined(const qelWChar* a, size_t lengthA, const qelWChar* b, size_t lengthB);
  // The length of a terminated text, 0 for null.
  static size_t LengthOf(const qelWChar* text);

  qelWChar* m_text; // in a block, or in the static empty one
};

static_assert(sizeof(qelString) == sizeof(qelWChar*), "a string is one pointer");

// Lends a string's block for writing while it lives. THREADS: as the string.
class QEL_EXPORT qelStringBuffer {
public:
  // Room for n units and a terminator, which the caller writes.
  qelStringBuffer(qelString& string, size_t n) : m_string(string), m_text(string.GetWriteBuf(n)) {}
  ~qelStringBuffer() { m_string.UngetWriteBuf(); }
  qelStringBuffer(const qelStringBuffer&) = delete;
  qelStringBuffer& operator=(const qelStringBuffer&) = delete;

  operator qelWChar*() const { return m_text; }

private:
  qelString& m_string;
  qelWChar* m_text; // the string's text
};

inline qelString operator+(const qelString& a, const qelString& b) {
  qelString result(a);
  result += b;
  return result;
}
inline qelString operator+(const qelString& a, qelWChar b) {
  qelString result(a);
  result += b;
  return result;
}
inline qelString operator+(qelWChar a, const qelString& b) {
  qelString result;
  result += a;
  result += b;
  return result;
}
inline qelString operator+(const qelString& a, const qelWChar* b) {
  return qelString::Joined(a.m_text, a.length(), b, qelString::LengthOf(b));
}
inline qelString operator+(const qelWChar* a, const qelString& b) {
  return qelString::Joined(a, qelString::LengthOf(a), b.m_text, b.length());
}

QEL_STRING_COMPARISONS(qelString, qelWChar)

#endif

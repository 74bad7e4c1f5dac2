#ifndef QEL_CORE_STRINGCORE_H
#define QEL_CORE_STRINGCORE_H
//===----------------------------------------------------------------------===//
// What both string classes do, written once over a traits record. Private to the
// sources of the two classes.
//
// `self` is a string's text pointer: never null, with its header in front.
// Functions that give a Char* give a new text, private or the static empty one.
//
// The traits name
//   Char, Data                the unit and the header
//   EmptyText()               text of the static empty block
//   Length(text)              units up to the terminator
//   FindChar(text, n, c)      the first c in text[0..n-1], or null
//   Compare(a, b, n)          sign of the first difference, as memcmp
//   Fold(c)                   lower case of a unit, as a number to compare
//   ToUpper(c), ToLower(c)    a unit in the other case
//===----------------------------------------------------------------------===//

#include <cstdint>
#include <cstring>

#include <qel/core/StringData.h>
#include <qel/core/qelChar.h>
#include <qel/core/qelMem.h>

template <class Traits>
struct qelStringCore {
  typedef typename Traits::Char Char;
  typedef typename Traits::Data Data;

  static const size_t npos = static_cast<size_t>(-1);

  // Units ----------------------------------------------------------------------

  static void Copy(Char* to, const Char* from, size_t n) {
    if (n != 0)
      memcpy(to, from, n * sizeof(Char));
  }
  static void Move(Char* to, const Char* from, size_t n) {
    if (n != 0)
      memmove(to, from, n * sizeof(Char));
  }
  static bool Equal(const Char* a, const Char* b, size_t n) {
    return n == 0 || memcmp(a, b, n * sizeof(Char)) == 0;
  }
  // Null counts as empty.
  static size_t LengthOf(const Char* text) { return text != nullptr ? Traits::Length(text) : 0; }
  // Whether the unit is in the set; the set's terminator is no member.
  static bool IsIn(const Char* set, size_t setLength, Char c) {
    return Traits::FindChar(set, setLength, c) != nullptr;
  }
  // A byte goes in signed, a wide unit unsigned.
  static bool IsSpace(Char c) { return qelChar_IsSpace(c) != 0; }

  // Blocks ---------------------------------------------------------------------

  static Data* DataOf(const Char* self) {
    return const_cast<Data*>(reinterpret_cast<const Data*>(self) - 1);
  }
  static size_t Length(const Char* self) { return DataOf(self)->length; }
  static void Release(const Char* self) { DataOf(self)->Unlock(); }

  // A size that no block can have becomes npos, so that its allocation fails.
  static size_t RoundedCapacity(size_t n) {
    const size_t tooLarge = (npos - sizeof(Data)) / sizeof(Char) - 20;
    return n < tooLarge ? n - n % 16 + 19 : npos;
  }
  static size_t BlockSize(size_t capacity) {
    return capacity != npos ? sizeof(Data) + (capacity + 1) * sizeof(Char) : npos;
  }
  // The length to round so that the capacity is what growth by single units up to n leaves behind:
  // the smallest 16 k + 3 that is at least n.
  static size_t SteppedLength(size_t n) { return n < 4 ? n : (n + 12) / 16 * 16 - 12; }

  // A new block of length n, terminated, its text not set.
  static Char* NewBlock(size_t n) {
    const size_t capacity = RoundedCapacity(n);
    Data* data = static_cast<Data*>(qelMem_Alloc(BlockSize(capacity)));
    data->refCount = 1;
    data->length = n;
    data->capacity = capacity;
    data->data()[n] = 0;
    return data->data();
  }
  static Char* NewText(const Char* source, size_t n) {
    if (n == 0)
      return Traits::EmptyText();
    Char* text = NewBlock(n);
    Copy(text, source, n);
    return text;
  }
  // A new text of two pieces.
  static Char* NewText(const Char* a, size_t lengthA, const Char* b, size_t lengthB) {
    if (lengthA + lengthB == 0)
      return Traits::EmptyText();
    Char* text = NewBlock(lengthA + lengthB);
    Copy(text, a, lengthA);
    Copy(text + lengthA, b, lengthB);
    return text;
  }
  static void SetLength(Char* self, size_t n) {
    self[n] = 0;
    DataOf(self)->length = n;
  }
  static void Grow(Char*& self, size_t n) {
    const size_t capacity = RoundedCapacity(n);
    Data* data = static_cast<Data*>(qelMem_Realloc(DataOf(self), BlockSize(capacity)));
    data->capacity = capacity;
    self = data->data();
  }

  static void AllocBeforeWrite(Char*& self, size_t n) {
    Data* data = DataOf(self);
    if (data->IsShared()) {
      data->Unlock();
      self = NewBlock(n);
    } else if (data->IsEmpty()) {
      self = NewBlock(n);
    } else if (n > data->capacity) {
      Grow(self, n);
    }
    DataOf(self)->length = 0;
  }

  // INTENDED: a capacity of exactly n grows, though it would do, and in AllocBeforeWrite it does.
  // Pinned by CStringBlocks.AllocGrowsAtEqualityAllocBeforeWriteDoesNot.
  static void Alloc(Char*& self, size_t n) {
    Data* data = DataOf(self);
    if (data->capacity > n)
      return;
    if (data->IsEmpty()) {
      self = NewBlock(n);
      SetLength(self, 0);
    } else if (data->IsShared()) {
      data->Unlock();
      self = NewBlock(n);
      Copy(self, data->data(), data->length + 1);
      DataOf(self)->length = data->length;
    } else {
      Grow(self, n);
    }
  }

  // Alloc, for a source that is about to be read and may lie in the text; gives where it is then.
  static const Char* AllocKeeping(Char*& self, size_t n, const Char* source) {
    const size_t offset = reinterpret_cast<uintptr_t>(source) - reinterpret_cast<uintptr_t>(self);
    const bool inside = offset <= Length(self) * sizeof(Char);
    Alloc(self, n);
    return inside ? self + offset / sizeof(Char) : source;
  }

  static void CopyBeforeWrite(Char*& self) {
    Data* data = DataOf(self);
    if (!data->IsShared())
      return;
    data->Unlock();
    self = NewBlock(data->length);
    Copy(self, data->data(), data->length);
  }

  // Assignment -----------------------------------------------------------------

  static void Reinit(Char*& self) {
    Release(self);
    self = Traits::EmptyText();
  }
  // Takes over a text that no string owns yet.
  static void Adopt(Char*& self, Char* text) {
    Release(self);
    self = text;
  }
  static void AssignCopy(Char*& self, size_t n, const Char* source) {
    if (n == 0) {
      Reinit(self);
      return;
    }
    AllocBeforeWrite(self, n);
    Move(self, source, n);
    SetLength(self, n);
  }
  // INTENDED: copies although it could share, so that a text may be handed to another thread.
  // Pinned by CStringAssignment.CopiesTheBytesOfASharedString.
  static void Assign(Char*& self, const Char* source) {
    if (self == source)
      return;
    if (DataOf(source)->IsEmpty())
      Reinit(self);
    else
      AssignCopy(self, Length(source), source);
  }
  static Char* InitialText(const Char* source, size_t start, size_t n) {
    if (source == nullptr)
      return Traits::EmptyText();
    return NewText(source + start, n != npos ? n : Traits::Length(source + start));
  }

  // Reading --------------------------------------------------------------------

  static size_t FindFirst(const Char* self, Char c) {
    const Char* found = Traits::FindChar(self, Length(self), c);
    return found != nullptr ? static_cast<size_t>(found - self) : npos;
  }
  static size_t FindLast(const Char* self, Char c) {
    size_t at = Length(self);
    while (at != 0 && self[at - 1] != c)
      --at;
    return at - 1; // npos for 0
  }
  static int Freq(const Char* self, Char c) {
    int count = 0;
    for (size_t i = 0; i < Length(self); ++i)
      count += self[i] == c;
    return count;
  }
  static bool HasOnlyNumbers(const Char* self) {
    for (size_t i = 0; i < Length(self); ++i)
      if (!qelChar_IsDigit(self[i]))
        return false;
    return true;
  }
  static int Compare(const Char* a, size_t lengthA, const Char* b, size_t lengthB) {
    const int sign = Traits::Compare(a, b, lengthA < lengthB ? lengthA : lengthB);
    if (lengthA == lengthB || sign != 0)
      return sign;
    return lengthA < lengthB ? -1 : 1;
  }
  static int CompareNoCase(const Char* a, size_t lengthA, const Char* b, size_t lengthB) {
    for (size_t i = 0; i < lengthA && i < lengthB; ++i) {
      const int foldedA = Traits::Fold(a[i]);
      const int foldedB = Traits::Fold(b[i]);
      if (foldedA != foldedB)
        return foldedA < foldedB ? -1 : 1;
    }
    return lengthA == lengthB ? 0 : lengthA < lengthB ? -1 : 1;
  }

  // Searching ------------------------------------------------------------------

  // An empty needle looks for its terminator, so it finds a zero unit inside the text.
  static size_t FindStr(const Char* self, const Char* text, size_t n, size_t start) {
    const size_t length = Length(self);
    const Char first = n != 0 ? *text : Char(0);
    while (start < length) {
      const Char* found = Traits::FindChar(self + start, length - start, first);
      if (found == nullptr)
        return npos;
      const size_t at = static_cast<size_t>(found - self);
      if (n > length - at)
        return npos;
      if (Equal(found, text, n))
        return at;
      start = at + 1;
    }
    return npos;
  }
  static size_t FindLastStr(const Char* self, const Char* text, size_t n, size_t end) {
    const size_t length = Length(self);
    if (end == npos)
      end = length;
    if (end == 0 || end < n)
      return npos;
    if (n == 0)
      return end;
    if (end > length)
      end = length;
    for (size_t at = end; at >= n; --at)
      if (Equal(self + at - n, text, n))
        return at - n;
    return npos;
  }
  static size_t FindNoCase(const Char* self, const Char* text, size_t n, size_t start) {
    const size_t length = Length(self);
    if (n == 0 || n > length)
      return npos;
    for (size_t at = start; at <= length - n; ++at)
      if (CompareNoCase(self + at, n, text, n) == 0)
        return at;
    return npos;
  }
  // INTENDED: only a scan that stops at the length itself gives npos, so a start beyond it comes
  // back. Pinned by CStringFindFirstOf.GivesBackAStartBeyondTheLength.
  static size_t FindFirstOf(const Char* self, const Char* set, size_t start, bool wanted) {
    const size_t length = Length(self);
    const size_t setLength = LengthOf(set);
    size_t at = start;
    while (at < length && IsIn(set, setLength, self[at]) != wanted)
      ++at;
    return at == length ? npos : at;
  }
  static size_t FindLastOf(const Char* self, const Char* set, size_t start) {
    const size_t length = Length(self);
    if (length == 0)
      return npos;
    const size_t setLength = LengthOf(set);
    size_t at = start != npos ? start : length - 1;
    while (!IsIn(set, setLength, self[at]))
      if (at-- == 0)
        return npos;
    return at;
  }

  // Extraction -----------------------------------------------------------------

  static Char* Mid(const Char* self, size_t first, size_t count) {
    const size_t length = Length(self);
    if (first > length)
      return Traits::EmptyText();
    return NewText(self + first, count < length - first ? count : length - first);
  }
  // As assigned from a terminated text, so it ends at a zero unit.
  static Char* After(const Char* self, size_t at) {
    return NewText(self + at, Traits::Length(self + at));
  }
  static Char* Changed(const Char* self, Char (*change)(Char)) {
    Char* text = NewText(self, Length(self));
    for (Char* at = text; *at != 0; ++at)
      *at = change(*at);
    return text;
  }
  // Writes the text with each run of whitespace as one blank, if `out` is given; gives its length.
  static size_t SingleSpaced(const Char* self, Char* out) {
    size_t n = 0;
    bool inSpace = false;
    for (size_t i = 0; i < Length(self); ++i) {
      const bool space = IsSpace(self[i]);
      if (!space || !inSpace) {
        if (out != nullptr)
          out[n] = space ? Char(' ') : self[i];
        ++n;
      }
      inSpace = space;
    }
    return n;
  }
  // INTENDED: an empty text gives a private block of length 0. Pinned by
  // CStringTrimTo1Space.GivesAPrivateBlockForAnEmptyString.
  static Char* TrimTo1Space(const Char* self) {
    const size_t n = SingleSpaced(self, nullptr);
    Char* text = Traits::EmptyText();
    SingleSpaced(self, GetWriteBuf(text, n + 1));
    text[n] = 0;
    UngetWriteBuf(text, Traits::Length(text));
    return text;
  }

  // Changing -------------------------------------------------------------------

  static void ConcatSelf(Char*& self, size_t n, const Char* source, size_t max) {
    const size_t count = n < max ? n : max;
    if (count == 0)
      return;
    Data* old = DataOf(self);
    const size_t length = old->length;
    if (old->IsShared()) {
      self = NewBlock(length + count);
      Copy(self, old->data(), length);
      old->Unlock();
    } else if (length + count > old->capacity) {
      source = AllocKeeping(self, length + count, source);
    }
    Move(self + length, source, count);
    SetLength(self, length + count);
  }
  static void Insert(Char*& self, size_t pos, const Char* source, size_t n) {
    if (n == npos)
      n = LengthOf(source);
    if (n == 0)
      return;
    const size_t length = Length(self);
    CopyBeforeWrite(self); // first: Alloc leaves a shared block alone that has the room
    source = AllocKeeping(self, length + n, source);
    Move(self + pos + n, self + pos, length - pos);
    Move(self + pos, source, n);
    SetLength(self, length + n);
  }
  static void Erase(Char*& self, size_t pos, size_t count) {
    const size_t length = Length(self);
    if (count > length - pos)
      count = length - pos;
    Adopt(self, NewText(self, pos, self + pos + count, length - pos - count));
  }
  static void ReplaceAt(Char*& self, size_t pos, size_t count, const Char* source, size_t n) {
    const size_t rest = pos + count;
    Char* text = NewText(self, pos, source, n);
    ConcatSelf(text, Length(self) - rest, self + rest, npos);
    Assign(self, text);
    Release(text);
  }

  // How many occurrences Replace takes: each search starts behind the one before, and a zero unit
  // there ends it.
  static size_t CountReplacements(const Char* self, const Char* from, size_t n, bool all) {
    size_t count = 0;
    size_t pos = 0;
    if (*self == 0)
      return 0;
    while ((pos = FindStr(self, from, n, pos)) != npos) {
      ++count;
      pos += n;
      if (!all || self[pos] == 0)
        break;
    }
    return count;
  }
  // The text with the first `count` occurrences replaced.
  static Char* Replaced(const Char* self, const Char* from, size_t fromLength, const Char* to,
                        size_t toLength, size_t count) {
    const size_t length = Length(self);
    const size_t newLength = length - count * fromLength + count * toLength;
    if (newLength == 0)
      return Traits::EmptyText();
    Char* text = NewBlock(newLength);
    Char* out = text;
    size_t pos = 0;
    for (; count != 0; --count) {
      const size_t found = FindStr(self, from, fromLength, pos);
      Copy(out, self + pos, found - pos);
      Copy(out + (found - pos), to, toLength);
      out += found - pos + toLength;
      pos = found + fromLength;
    }
    Copy(out, self + pos, length - pos);
    return text;
  }
  // The capacity that `count` replacements leave when each is assigned on its own.
  static size_t CapacityAfterReplacing(const Char* self, size_t fromLength, size_t toLength,
                                       size_t count) {
    const Data* data = DataOf(self);
    size_t length = data->length;
    size_t capacity = data->IsShared() ? 0 : data->capacity;
    for (; count != 0; --count) {
      length = length - fromLength + toLength;
      if (length > capacity)
        capacity = RoundedCapacity(length);
    }
    return capacity;
  }
  // All in one pass; the result and the capacity are those of one replacement after the other.
  static size_t Replace(Char*& self, const Char* from, const Char* to, bool all) {
    const size_t fromLength = LengthOf(from);
    const size_t toLength = LengthOf(to);
    const size_t count = CountReplacements(self, from, fromLength, all);
    if (count == 0)
      return 0;
    const size_t capacity = CapacityAfterReplacing(self, fromLength, toLength, count);
    Char* text = Replaced(self, from, fromLength, to, toLength, count);
    if (Length(text) != 0)
      AllocBeforeWrite(self, capacity - 4); // which rounds to this capacity
    Assign(self, text);
    Release(text);
    return count;
  }

  static void Trim(Char*& self, bool fromRight) {
    const size_t length = Length(self);
    size_t count = 0;
    if (fromRight) {
      while (count < length && IsSpace(self[length - 1 - count]))
        ++count;
    } else {
      while (IsSpace(self[count]))
        ++count;
    }
    if (count != 0)
      Erase(self, fromRight ? length - count : 0, count);
  }
  static void Pad(Char*& self, size_t count, Char c, bool fromRight) {
    Char* pad = Traits::EmptyText();
    if (count != 0)
      AllocBeforeWrite(pad, SteppedLength(count));
    for (size_t i = 0; i < count; ++i)
      pad[i] = c;
    if (count != 0)
      SetLength(pad, count);
    if (fromRight) {
      ConcatSelf(self, count, pad, npos);
      Release(pad);
    } else {
      ConcatSelf(pad, Length(self), self, npos);
      Adopt(self, pad);
    }
  }

  static Char* GetWriteBuf(Char*& self, size_t n) {
    AllocBeforeWrite(self, n);
    DataOf(self)->Validate(false);
    return self;
  }
  static void UngetWriteBuf(Char* self, size_t n) {
    DataOf(self)->length = n;
    DataOf(self)->Validate(true);
  }
};

#endif

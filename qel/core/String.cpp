#include <qel/core/String.h>

#include <cstdlib>
#include <cwctype>

#include <qel/core/StringCore.h>
#include <qel/core/qelWidePrint.h>

namespace {

struct EmptyBlock {
  qelStringData header;
  qelWChar text[1];
};

} // namespace

static_assert(sizeof(qelStringData) == 24 && offsetof(EmptyBlock, text) == sizeof(qelStringData),
              "the text stands right behind the header");

// Constant-initialised, since strings of other sources may be made before this one's turn.
static constexpr EmptyBlock kEmptyBlock = {{{-1, 0, 0}}, {0}};
const qelWChar* const qelEmptyString = kEmptyBlock.text;

const size_t qelString::npos;

namespace {

struct WideTraits {
  typedef qelWChar Char;
  typedef qelStringData Data;

  static qelWChar* EmptyText() { return const_cast<qelWChar*>(qelEmptyString); }
  static size_t Length(const qelWChar* text) {
    size_t n = 0;
    while (text[n] != 0)
      ++n;
    return n;
  }
  static const qelWChar* FindChar(const qelWChar* text, size_t n, qelWChar c) {
    for (size_t i = 0; i < n; ++i)
      if (text[i] == c)
        return text + i;
    return nullptr;
  }
  static int Compare(const qelWChar* a, const qelWChar* b, size_t n) {
    for (size_t i = 0; i < n; ++i)
      if (a[i] != b[i])
        return int(a[i]) - int(b[i]);
    return 0;
  }
  static int Fold(qelWChar c) { return ToLower(c); }
  static qelWChar ToUpper(qelWChar c) { return Changed(c, towupper(static_cast<wint_t>(c))); }
  static qelWChar ToLower(qelWChar c) { return Changed(c, towlower(static_cast<wint_t>(c))); }

private:
  // The unit in its other case, if that is one unit too. Half of a pair has no case.
  static qelWChar Changed(qelWChar c, uint32_t changed) {
    const bool surrogate = c >= 0xD800 && c <= 0xDFFF;
    return surrogate || changed > 0xFFFF ? c : static_cast<qelWChar>(changed);
  }
};

typedef qelStringCore<WideTraits> Core;

} // namespace

// Construction and assignment ----------------------------------------------------

qelString::qelString(const qelWChar* text) {
  InitWith(text, 0, npos);
}
qelString::qelString(qelWChar c) {
  InitWith(&c, 0, 1);
}
qelString::qelString(const qelWChar* text, size_t length) {
  InitWith(text, 0, length);
}
qelString::qelString(const qelWChar* text, size_t start, size_t length) {
  InitWith(text, start, length);
}

qelString& qelString::operator=(const qelString& source) {
  Core::Assign(m_text, source.m_text);
  return *this;
}
qelString& qelString::operator=(const qelWChar* text) {
  AssignCopy(LengthOf(text), text);
  return *this;
}
qelString& qelString::operator=(qelWChar c) {
  AssignCopy(1, &c);
  return *this;
}

// Reading ------------------------------------------------------------------------

int qelString::First(qelWChar c) const {
  return static_cast<int>(Core::FindFirst(m_text, c));
}
int qelString::Find(qelWChar c, bool fromEnd) const {
  return fromEnd ? static_cast<int>(Core::FindLast(m_text, c)) : First(c);
}
int qelString::Freq(qelWChar c) const {
  return Core::Freq(m_text, c);
}
bool qelString::HasOnlyNumbers() const {
  return Core::HasOnlyNumbers(m_text);
}
bool qelString::Contains(const qelWChar* text) const {
  return FindFirstStr(text, 0) != npos;
}
bool qelString::Contains(const qelString& text) const {
  return Find(text, 0) != npos;
}
int qelString::Compare(const qelString& other) const {
  return Core::Compare(m_text, length(), other.m_text, other.length());
}
int qelString::Compare(const qelWChar* other) const {
  return Core::Compare(m_text, length(), other, LengthOf(other));
}
int qelString::CompareNoCase(const qelString& other) const {
  return Core::CompareNoCase(m_text, length(), other.m_text, other.length());
}
int qelString::CompareNoCase(const qelWChar* other) const {
  return Core::CompareNoCase(m_text, length(), other, LengthOf(other));
}

// Searching ----------------------------------------------------------------------

size_t qelString::Find(const qelString& text, size_t start) const {
  return FindStr(text.m_text, text.length(), start);
}
size_t qelString::FindFirstStr(const qelWChar* text, size_t start) const {
  return FindStr(text, LengthOf(text), start);
}
size_t qelString::FindLastStr(const qelWChar* text, size_t end) const {
  return Core::FindLastStr(m_text, text, LengthOf(text), end);
}
size_t qelString::FindNoCase(const qelString& text, size_t start) const {
  return Core::FindNoCase(m_text, text.m_text, text.length(), start);
}
size_t qelString::FindFirstOf(const qelWChar* set, size_t start) const {
  return Core::FindFirstOf(m_text, set, start, /*wanted=*/true);
}
size_t qelString::FindFirstNotOf(const qelWChar* set, size_t start) const {
  return Core::FindFirstOf(m_text, set, start != npos ? start : length(), /*wanted=*/false);
}
size_t qelString::FindLastOf(const qelWChar* set, size_t start) const {
  return Core::FindLastOf(m_text, set, start);
}

// Extraction ---------------------------------------------------------------------

qelString qelString::AfterFirst(qelWChar c) const {
  qelString result;
  const size_t at = Core::FindFirst(m_text, c);
  if (at != npos)
    result.m_text = Core::After(m_text, at + 1);
  return result;
}
qelString qelString::AfterFirst(const qelString& text) const {
  qelString result;
  const size_t at = Find(text, 0);
  if (at != npos)
    result.m_text = Core::After(m_text, at + text.length());
  return result;
}
qelString qelString::BeforeFirst(qelWChar c) const {
  return Left(Core::FindFirst(m_text, c));
}
qelString qelString::BeforeFirst(const qelString& text) const {
  return Left(Find(text, 0));
}
// INTENDED: not found gives the whole text, while AfterFirst gives the empty one: it is the last part
// of a list, which may have only one. Pinned by StringAfterLast.GivesTheWholeTextWhenNotFound.
qelString qelString::AfterLast(qelWChar c) const {
  qelString result;
  result.m_text = Core::After(m_text, Core::FindLast(m_text, c) + 1); // npos + 1 is 0
  return result;
}
qelString qelString::AfterLast(const qelString& text) const {
  qelString result;
  const size_t at = Core::FindLastStr(m_text, text.m_text, text.length(), npos);
  result.m_text = Core::After(m_text, at != npos ? at + text.length() : 0);
  return result;
}
qelString qelString::BeforeLast(qelWChar c) const {
  const size_t at = Core::FindLast(m_text, c);
  return Left(at != npos ? at : 0);
}
qelString qelString::BeforeLast(const qelString& text) const {
  const size_t at = Core::FindLastStr(m_text, text.m_text, text.length(), npos);
  return Left(at != npos ? at : 0);
}
qelString qelString::Mid(size_t first, size_t count) const {
  qelString result;
  result.m_text = Core::Mid(m_text, first, count);
  return result;
}
qelString qelString::Left(size_t n) const {
  return Mid(0, n);
}
// INTENDED: an n beyond the length wraps past zero, and so gives the empty string where Left gives
// the whole one. Pinned by StringRight.GivesEmptyWhenLongerThanTheText.
qelString qelString::Right(size_t n) const {
  return Mid(length() - n, npos);
}
qelString qelString::Upper() const {
  qelString result;
  result.m_text = Core::Changed(m_text, WideTraits::ToUpper);
  return result;
}
qelString qelString::Lower() const {
  qelString result;
  result.m_text = Core::Changed(m_text, WideTraits::ToLower);
  return result;
}
qelString qelString::TrimTo1Space() const {
  qelString result;
  result.m_text = Core::TrimTo1Space(m_text);
  return result;
}

// Changing -----------------------------------------------------------------------

qelString& qelString::operator+=(const qelString& text) {
  ConcatSelf(text.length(), text.m_text, npos);
  return *this;
}
qelString& qelString::operator+=(const qelWChar* text) {
  ConcatSelf(LengthOf(text), text, npos);
  return *this;
}
qelString& qelString::operator+=(qelWChar c) {
  ConcatSelf(1, &c, npos);
  return *this;
}
void qelString::Insert(size_t pos, const qelWChar* text, size_t n) {
  Core::Insert(m_text, pos, text, n);
}
void qelString::Erase(size_t pos, size_t count) {
  Core::Erase(m_text, pos, count);
}
void qelString::Truncate(size_t pos) {
  Erase(pos, npos);
}
void qelString::Empty() {
  Erase(0, npos);
}
void qelString::clear() {
  Erase(0, npos);
}
size_t qelString::Replace(const qelWChar* from, const qelWChar* to, bool all) {
  return Core::Replace(m_text, from, to, all);
}
void qelString::Trim(bool fromRight) {
  Core::Trim(m_text, fromRight);
}
void qelString::TrimLeftRight() {
  Trim(false);
  Trim(true);
}
void qelString::Pad(size_t count, qelWChar c, bool fromRight) {
  Core::Pad(m_text, count, c, fromRight);
}

int qelString::Printf(const qelWChar* format, ...) {
  va_list args;
  va_start(args, format);
  const int result = PrintfV(format, args);
  va_end(args);
  return result;
}

// INTENDED: a text as long as the limit of a round (1024, 2050, 4102 ...) loses its last unit, and no
// other does: the limit grows in another way than that of the narrow class. Pinned by
// StringPrintf.LengthRules.
int qelString::PrintfV(const qelWChar* format, va_list args) {
  size_t limit = 1024;
  for (;;) {
    qelWChar* text = GetWriteBuf(limit + 1);
    text[0] = 0;
    va_list copy;
    va_copy(copy, args);
    const int result = qelWidePrint_VSNPrintf(text, limit, format, copy);
    va_end(copy);
    text[limit] = 0;
    UngetWriteBuf();
    if (result < 0 || static_cast<size_t>(result) <= limit)
      return static_cast<int>(length());
    limit = 2 * (limit + 1);
  }
}

qelString qelString::Format(const qelWChar* format, ...) {
  qelString result;
  va_list args;
  va_start(args, format);
  result.PrintfV(format, args);
  va_end(args);
  return result;
}

qelString qelString::FromAllocatedString(const qelWChar* text) {
  qelString result(text);
  free(const_cast<qelWChar*>(text));
  return result;
}

qelWChar* qelString::GetWriteBuf(size_t n) {
  return Core::GetWriteBuf(m_text, n);
}
void qelString::UngetWriteBuf() {
  Core::UngetWriteBuf(m_text, LengthOf(m_text));
}
void qelString::UngetWriteBuf(size_t n) {
  Core::UngetWriteBuf(m_text, n);
}

// Building blocks ----------------------------------------------------------------

void qelString::InitWith(const qelWChar* text, size_t start, size_t n) {
  m_text = Core::InitialText(text, start, n);
}
void qelString::AllocBuffer(size_t n) {
  m_text = Core::NewBlock(n);
}
void qelString::AllocCopy(qelString& dest, size_t n, size_t start) const {
  dest.m_text = Core::NewText(m_text + start, n);
}
void qelString::AllocBeforeWrite(size_t n) {
  Core::AllocBeforeWrite(m_text, n);
}
void qelString::Alloc(size_t n) {
  Core::Alloc(m_text, n);
}
void qelString::CopyBeforeWrite() {
  Core::CopyBeforeWrite(m_text);
}
void qelString::ConcatSelf(size_t n, const qelWChar* source, size_t max) {
  Core::ConcatSelf(m_text, n, source, max);
}
void qelString::AssignCopy(size_t n, const qelWChar* source) {
  Core::AssignCopy(m_text, n, source);
}
void qelString::Swap(qelString& other) {
  qelWChar* text = m_text;
  m_text = other.m_text;
  other.m_text = text;
}
size_t qelString::FindStr(const qelWChar* text, size_t n, size_t start) const {
  return Core::FindStr(m_text, text, n, start);
}
void qelString::Replace(size_t pos, size_t count, const qelWChar* text, size_t n) {
  Core::ReplaceAt(m_text, pos, count, text, n);
}

qelString qelString::Joined(const qelWChar* a, size_t lengthA, const qelWChar* b, size_t lengthB) {
  qelString result;
  result.Alloc(lengthA + lengthB);
  result.ConcatSelf(lengthA, a, npos);
  result.ConcatSelf(lengthB, b, npos);
  return result;
}
size_t qelString::LengthOf(const qelWChar* text) {
  return Core::LengthOf(text);
}

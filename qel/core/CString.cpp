#include <qel/core/CString.h>

#include <cctype>
#include <cstdlib>
#include <cstring>

#include <trio.h>

#include <qel/core/StringCore.h>

namespace {

struct EmptyBlock {
  qelCStringData header;
  char text[1];
};

} // namespace

static_assert(sizeof(qelCStringData) == 24 && offsetof(EmptyBlock, text) == sizeof(qelCStringData),
              "the text stands right behind the header");

// Constant-initialised, since strings of other sources may be made before this one's turn.
static constexpr EmptyBlock kEmptyBlock = {{{-1, 0, 0}}, {'\0'}};
const char* const qelEmptyCString = kEmptyBlock.text;

const size_t qelCString::npos;

namespace {

struct NarrowTraits {
  typedef char Char;
  typedef qelCStringData Data;

  static char* EmptyText() { return const_cast<char*>(qelEmptyCString); }
  static size_t Length(const char* text) { return strlen(text); }
  static const char* FindChar(const char* text, size_t n, char c) {
    return n != 0 ? static_cast<const char*>(memchr(text, c, n)) : nullptr;
  }
  static int Compare(const char* a, const char* b, size_t n) {
    return n != 0 ? memcmp(a, b, n) : 0;
  }
  // INTENDED: bytes compare as signed values, so those from 128 up come ahead of all others. Pinned
  // by CStringCompareNoCase.TakesBytesAsSigned.
  static int Fold(char c) { return static_cast<signed char>(ToLower(c)); }
  static char ToUpper(char c) { return static_cast<char>(toupper(static_cast<unsigned char>(c))); }
  static char ToLower(char c) { return static_cast<char>(tolower(static_cast<unsigned char>(c))); }
};

typedef qelStringCore<NarrowTraits> Core;

} // namespace

// Construction and assignment ----------------------------------------------------

qelCString::qelCString(const char* text) {
  InitWith(text, 0, npos);
}
qelCString::qelCString(char c) {
  InitWith(&c, 0, 1);
}
qelCString::qelCString(const char* text, size_t length) {
  InitWith(text, 0, length);
}
qelCString::qelCString(const char* text, size_t start, size_t length) {
  InitWith(text, start, length);
}

qelCString& qelCString::operator=(const qelCString& source) {
  Core::Assign(m_text, source.m_text);
  return *this;
}
qelCString& qelCString::operator=(const char* text) {
  AssignCopy(LengthOf(text), text);
  return *this;
}
qelCString& qelCString::operator=(char c) {
  AssignCopy(1, &c);
  return *this;
}

// Reading ------------------------------------------------------------------------

int qelCString::First(char c) const {
  return static_cast<int>(Core::FindFirst(m_text, c));
}
int qelCString::Find(char c, bool fromEnd) const {
  return fromEnd ? static_cast<int>(Core::FindLast(m_text, c)) : First(c);
}
int qelCString::Freq(char c) const {
  return Core::Freq(m_text, c);
}
bool qelCString::HasOnlyNumbers() const {
  return Core::HasOnlyNumbers(m_text);
}
bool qelCString::Contains(const char* text) const {
  return FindFirstStr(text, 0) != npos;
}
bool qelCString::Contains(const qelCString& text) const {
  return Find(text, 0) != npos;
}
int qelCString::Compare(const qelCString& other) const {
  return Core::Compare(m_text, length(), other.m_text, other.length());
}
int qelCString::Compare(const char* other) const {
  return Core::Compare(m_text, length(), other, LengthOf(other));
}
int qelCString::CompareNoCase(const qelCString& other) const {
  return Core::CompareNoCase(m_text, length(), other.m_text, other.length());
}
int qelCString::CompareNoCase(const char* other) const {
  return Core::CompareNoCase(m_text, length(), other, LengthOf(other));
}

// Searching ----------------------------------------------------------------------

size_t qelCString::Find(const qelCString& text, size_t start) const {
  return FindStr(text.m_text, text.length(), start);
}
size_t qelCString::FindFirstStr(const char* text, size_t start) const {
  return FindStr(text, LengthOf(text), start);
}
size_t qelCString::FindLastStr(const char* text, size_t end) const {
  return Core::FindLastStr(m_text, text, LengthOf(text), end);
}
size_t qelCString::FindNoCase(const qelCString& text, size_t start) const {
  return Core::FindNoCase(m_text, text.m_text, text.length(), start);
}
size_t qelCString::FindFirstOf(const char* set, size_t start) const {
  return Core::FindFirstOf(m_text, set, start, /*wanted=*/true);
}
size_t qelCString::FindFirstNotOf(const char* set, size_t start) const {
  return Core::FindFirstOf(m_text, set, start != npos ? start : length(), /*wanted=*/false);
}
size_t qelCString::FindLastOf(const char* set, size_t start) const {
  return Core::FindLastOf(m_text, set, start);
}

// Extraction ---------------------------------------------------------------------

qelCString qelCString::AfterFirst(char c) const {
  qelCString result;
  const size_t at = Core::FindFirst(m_text, c);
  if (at != npos)
    result.m_text = Core::After(m_text, at + 1);
  return result;
}
qelCString qelCString::AfterFirst(const qelCString& text) const {
  qelCString result;
  const size_t at = Find(text, 0);
  if (at != npos)
    result.m_text = Core::After(m_text, at + text.length());
  return result;
}
qelCString qelCString::BeforeFirst(char c) const {
  return Left(Core::FindFirst(m_text, c));
}
qelCString qelCString::BeforeFirst(const qelCString& text) const {
  return Left(Find(text, 0));
}
// INTENDED: not found gives the whole text, while AfterFirst gives the empty one: it is the last part
// of a list, which may have only one. Pinned by CStringAfterLast.GivesTheWholeTextWhenNotFound.
qelCString qelCString::AfterLast(char c) const {
  qelCString result;
  result.m_text = Core::After(m_text, Core::FindLast(m_text, c) + 1); // npos + 1 is 0
  return result;
}
qelCString qelCString::AfterLast(const qelCString& text) const {
  qelCString result;
  const size_t at = Core::FindLastStr(m_text, text.m_text, text.length(), npos);
  result.m_text = Core::After(m_text, at != npos ? at + text.length() : 0);
  return result;
}
qelCString qelCString::BeforeLast(char c) const {
  const size_t at = Core::FindLast(m_text, c);
  return Left(at != npos ? at : 0);
}
qelCString qelCString::BeforeLast(const qelCString& text) const {
  const size_t at = Core::FindLastStr(m_text, text.m_text, text.length(), npos);
  return Left(at != npos ? at : 0);
}
qelCString qelCString::Mid(size_t first, size_t count) const {
  qelCString result;
  result.m_text = Core::Mid(m_text, first, count);
  return result;
}
qelCString qelCString::Left(size_t n) const {
  return Mid(0, n);
}
// INTENDED: an n beyond the length wraps past zero, and so gives the empty string where Left gives
// the whole one. Pinned by CStringRight.GivesEmptyWhenLongerThanTheText.
qelCString qelCString::Right(size_t n) const {
  return Mid(length() - n, npos);
}
qelCString qelCString::Upper() const {
  qelCString result;
  result.m_text = Core::Changed(m_text, NarrowTraits::ToUpper);
  return result;
}
qelCString qelCString::Lower() const {
  qelCString result;
  result.m_text = Core::Changed(m_text, NarrowTraits::ToLower);
  return result;
}
qelCString qelCString::TrimTo1Space() const {
  qelCString result;
  result.m_text = Core::TrimTo1Space(m_text);
  return result;
}

// Changing -----------------------------------------------------------------------

qelCString& qelCString::operator+=(const qelCString& text) {
  ConcatSelf(text.length(), text.m_text, npos);
  return *this;
}
qelCString& qelCString::operator+=(const char* text) {
  ConcatSelf(LengthOf(text), text, npos);
  return *this;
}
qelCString& qelCString::operator+=(char c) {
  ConcatSelf(1, &c, npos);
  return *this;
}
void qelCString::Insert(size_t pos, const char* text, size_t n) {
  Core::Insert(m_text, pos, text, n);
}
void qelCString::Erase(size_t pos, size_t count) {
  Core::Erase(m_text, pos, count);
}
void qelCString::Truncate(size_t pos) {
  Erase(pos, npos);
}
void qelCString::Empty() {
  Erase(0, npos);
}
void qelCString::clear() {
  Erase(0, npos);
}
size_t qelCString::Replace(const char* from, const char* to, bool all) {
  return Core::Replace(m_text, from, to, all);
}
void qelCString::Trim(bool fromRight) {
  Core::Trim(m_text, fromRight);
}
void qelCString::TrimLeftRight() {
  Trim(false);
  Trim(true);
}
void qelCString::Pad(size_t count, char c, bool fromRight) {
  Core::Pad(m_text, count, c, fromRight);
}

int qelCString::Printf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int result = PrintfV(format, args);
  va_end(args);
  return result;
}

// INTENDED: a text of 1024 bytes or more loses its last byte: the loop ends as soon as the limit is
// the text's length, and the limit counts the terminator. Pinned by CStringPrintf.LengthRules.
int qelCString::PrintfV(const char* format, va_list args) {
  size_t limit = 1024;
  size_t room = limit + 1;
  for (;;) {
    char* text = GetWriteBuf(room);
    text[0] = '\0';
    va_list copy;
    va_copy(copy, args);
    const int result = trio_vsnprintf(text, limit, format, copy);
    va_end(copy);
    text[limit] = '\0';
    UngetWriteBuf();
    if (result < 0 || static_cast<size_t>(result) <= limit)
      return static_cast<int>(length());
    // A limit that grows by one a round ends here too, and leaves this capacity.
    limit = static_cast<size_t>(result);
    room = Core::SteppedLength(limit + 1);
  }
}

qelCString qelCString::Format(const char* format, ...) {
  qelCString result;
  va_list args;
  va_start(args, format);
  result.PrintfV(format, args);
  va_end(args);
  return result;
}

qelCString qelCString::FromAllocatedString(const char* text) {
  qelCString result(text);
  free(const_cast<char*>(text));
  return result;
}

char* qelCString::GetWriteBuf(size_t n) {
  return Core::GetWriteBuf(m_text, n);
}
void qelCString::UngetWriteBuf() {
  Core::UngetWriteBuf(m_text, strlen(m_text));
}
void qelCString::UngetWriteBuf(size_t n) {
  Core::UngetWriteBuf(m_text, n);
}

// Building blocks ----------------------------------------------------------------

void qelCString::InitWith(const char* text, size_t start, size_t n) {
  m_text = Core::InitialText(text, start, n);
}
void qelCString::AllocBuffer(size_t n) {
  m_text = Core::NewBlock(n);
}
void qelCString::AllocCopy(qelCString& dest, size_t n, size_t start) const {
  dest.m_text = Core::NewText(m_text + start, n);
}
void qelCString::AllocBeforeWrite(size_t n) {
  Core::AllocBeforeWrite(m_text, n);
}
void qelCString::Alloc(size_t n) {
  Core::Alloc(m_text, n);
}
void qelCString::CopyBeforeWrite() {
  Core::CopyBeforeWrite(m_text);
}
void qelCString::ConcatSelf(size_t n, const char* source, size_t max) {
  Core::ConcatSelf(m_text, n, source, max);
}
void qelCString::AssignCopy(size_t n, const char* source) {
  Core::AssignCopy(m_text, n, source);
}
void qelCString::Swap(qelCString& other) {
  char* text = m_text;
  m_text = other.m_text;
  other.m_text = text;
}
size_t qelCString::FindStr(const char* text, size_t n, size_t start) const {
  return Core::FindStr(m_text, text, n, start);
}
void qelCString::Replace(size_t pos, size_t count, const char* text, size_t n) {
  Core::ReplaceAt(m_text, pos, count, text, n);
}

qelCString qelCString::Joined(const char* a, size_t lengthA, const char* b, size_t lengthB) {
  qelCString result;
  result.Alloc(lengthA + lengthB);
  result.ConcatSelf(lengthA, a, npos);
  result.ConcatSelf(lengthB, b, npos);
  return result;
}
size_t qelCString::LengthOf(const char* text) {
  return Core::LengthOf(text);
}

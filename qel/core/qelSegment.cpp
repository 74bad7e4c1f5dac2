#include <qel/core/qelSegment.h>

#include <cstdlib>
#include <cstring>

#include <qel/core/qelChar.h>
#include <qel/core/qelMem.h>

static bool IsQuote(char c) {
  return c == '"' || c == '\'';
}

// Lists ------------------------------------------------------------------------

static qelSegmentList* NewList() {
  return static_cast<qelSegmentList*>(qelMem_AllocZero(sizeof(qelSegmentList)));
}

// Adds base[start..end-1] behind the last segment.
static void AddSegment(qelSegmentList* list, const char* base, size_t start, size_t end) {
  qelSegment* segment = static_cast<qelSegment*>(qelMem_Alloc(sizeof(qelSegment)));
  segment->start = const_cast<char*>(base) + start;
  segment->length = end > start ? end - start : 0;
  segment->next = nullptr;
  if (list->last != nullptr)
    list->last->next = segment;
  else
    list->first = segment;
  list->last = segment;
  ++list->count;
}

int qelSegment_MatchAt(const char* base, size_t position, size_t end, const char* needle,
                       size_t length) {
  if (position > end || length > end - position)
    return 0;
  return length == 0 || memcmp(base + position, needle, length) == 0 ? 1 : 0;
}

qelSegmentList* qelSegmentList_Split(const char* base, size_t start, size_t end, const char* needle,
                                     size_t length) {
  return qelSegmentList_SplitEscaped(base, start, end, needle, length, /*escape=*/'\0');
}

qelSegmentList* qelSegmentList_SplitEscaped(const char* base, size_t start, size_t end,
                                            const char* needle, size_t length, char escape) {
  qelSegmentList* list = NewList();
  size_t begin = start;
  for (size_t at = start; length != 0 && at < end;) {
    if (qelSegment_MatchAt(base, at, end, needle, length) == 0) {
      ++at;
      continue;
    }
    const bool escaped = escape != '\0' && at > start && base[at - 1] == escape;
    if (!escaped)
      AddSegment(list, base, begin, at);
    at += length;
    if (!escaped)
      begin = at;
  }
  AddSegment(list, base, begin, end);
  return list;
}

qelSegmentList* qelSegmentList_SplitQuoted(const char* base, size_t start, size_t end,
                                           const char* needle, size_t length) {
  qelSegmentList* list = NewList();
  size_t begin = start;
  char quote = '\0'; // decided by the first quote byte, for the rest of the text
  bool inside = false;
  for (size_t at = start; at < end;) {
    if (quote == '\0' && IsQuote(base[at])) {
      quote = base[at];
      inside = true;
    } else if (quote != '\0' && base[at] == quote) {
      inside = !inside;
    }
    if (inside || length == 0 || qelSegment_MatchAt(base, at, end, needle, length) == 0) {
      ++at;
      continue;
    }
    AddSegment(list, base, begin, at);
    at += length;
    begin = at;
  }
  AddSegment(list, base, begin, end);
  return list;
}

qelSegmentList* qelSegmentList_SplitCommas(const char* base, size_t start, size_t end) {
  qelSegmentList* list = qelSegmentList_SplitQuoted(base, start, end, ",", 1);
  for (qelSegment* segment = list->first; segment != nullptr; segment = segment->next) {
    qelSegment_Trim(segment);
    qelSegment_Unquote(segment);
  }
  return list;
}

void qelSegmentList_Free(qelSegmentList* list) {
  if (list == nullptr)
    return;
  for (qelSegment* segment = list->first; segment != nullptr;) {
    qelSegment* next = segment->next;
    free(segment);
    segment = next;
  }
  free(list);
}

// Segments ---------------------------------------------------------------------

// INTENDED: the count of the bytes taken off the left rises while the length falls, and the loop
// ends where they meet, so about half of a long run of blanks stays. Pinned by
// SegmentTrim.LeavesAboutHalfOfALongRunOfBlanksOnTheLeft.
void qelSegment_Trim(qelSegment* segment) {
  for (uint64_t taken = 0; taken < segment->length && qelChar_IsSpace(*segment->start); ++taken) {
    ++segment->start;
    --segment->length;
  }
  while (segment->length != 0 && qelChar_IsSpace(segment->start[segment->length - 1]))
    --segment->length;
}

void qelSegment_Unquote(qelSegment* segment) {
  if (segment->length < 2)
    return;
  const char quote = segment->start[0];
  if (!IsQuote(quote) || segment->start[segment->length - 1] != quote)
    return;
  ++segment->start;
  segment->length -= 2;
}

int qelSegmentList_HasToken(const char* text, const char* separator, const char* token) {
  const size_t length = strlen(token);
  qelSegmentList* list =
      qelSegmentList_SplitQuoted(text, 0, strlen(text), separator, strlen(separator));
  int found = 0;
  for (qelSegment* segment = list->first; segment != nullptr && found == 0;
       segment = segment->next) {
    qelSegment_Trim(segment);
    qelSegment_Unquote(segment);
    found = segment->length == length && memcmp(segment->start, token, length) == 0 ? 1 : 0;
  }
  qelSegmentList_Free(list);
  return found;
}

// Texts ------------------------------------------------------------------------

char* qelStr_DupTrimmed(const char* start, size_t length, int left, int right) {
  if (left != 0)
    for (; length != 0 && qelChar_IsSpace(*start); --length)
      ++start;
  if (right != 0)
    while (length != 0 && qelChar_IsSpace(start[length - 1]))
      --length;
  return qelMem_StrNDup(start, length);
}

int qelStr_IsDelimited(const char* text, size_t length, char open, char close, int allowInner) {
  if (text == nullptr || length < 2 || text[0] != open || text[length - 1] != close)
    return 0;
  return allowInner != 0 || memchr(text + 1, open, length - 2) == nullptr ? 1 : 0;
}

int qelStr_HasAnyOf(const char* text, size_t length, const char* set) {
  const size_t members = strlen(set); // the terminator is no member
  for (size_t i = 0; i < length; ++i)
    if (memchr(set, text[i], members) != nullptr)
      return 1;
  return 0;
}

char* qelStr_Quote(const char* text, size_t length, const char* set, int /*ignored*/, char open,
                   char close) {
  const size_t members = strlen(set);
  char* quoted = static_cast<char*>(qelMem_Alloc(2 * length + 3));
  char* at = quoted;
  *at++ = open;
  for (size_t i = 0; i < length; ++i) {
    if (memchr(set, text[i], members) != nullptr)
      *at++ = '\\';
    *at++ = text[i];
  }
  *at++ = close;
  *at = '\0';
  return quoted;
}

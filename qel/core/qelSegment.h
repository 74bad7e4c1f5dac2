#ifndef QEL_CORE_QELSEGMENT_H
#define QEL_CORE_QELSEGMENT_H
//===----------------------------------------------------------------------===//
// Spans of a text: splitting, trimming and quoting without copies.
//
// A text is given as a base pointer and two offsets, base[start..end-1]; it needs
// no terminator, and nothing outside it is read. Segments point into it.
//
// OWNERSHIP: a list and its segments are the caller's, until qelSegmentList_Free;
//   the text stays its owner's. New texts are released with free.
// ERRORS: none; exhausted memory is fatal.
// THREADS: any; one owner at a time for a list.
//===----------------------------------------------------------------------===//

#include <cstddef>
#include <cstdint>

struct qelSegment {
  char* start;      // first byte, in the text that was split
  uint64_t length;  // bytes
  qelSegment* next; // following segment; null at the end
};

struct qelSegmentList {
  qelSegment* first; // null if the list is empty
  qelSegment* last;  // null if the list is empty
  uint64_t count;    // segments
};

// 1 if needle[0..length-1] stands at position and ends within end, 0 otherwise. An empty needle
// matches.
int qelSegment_MatchAt(const char* base, size_t position, size_t end, const char* needle,
                       size_t length);

// The segments between the needles, empty ones too, in order; always at least one. An empty needle
// splits nothing.
qelSegmentList* qelSegmentList_Split(const char* base, size_t start, size_t end, const char* needle,
                                     size_t length);

// The same; a needle directly behind the byte escape does not split and stays in its segment. An
// escape of 0 stands for none.
qelSegmentList* qelSegmentList_SplitEscaped(const char* base, size_t start, size_t end,
                                            const char* needle, size_t length, char escape);

// The same; needles inside quotes do not split. The first " or ' of the text decides which of the
// two quotes, for all of the text. Quotes stay in their segments.
qelSegmentList* qelSegmentList_SplitQuoted(const char* base, size_t start, size_t end,
                                           const char* needle, size_t length);

// SplitQuoted on ",", and each segment trimmed and then unquoted.
qelSegmentList* qelSegmentList_SplitCommas(const char* base, size_t start, size_t end);

// Null is allowed.
void qelSegmentList_Free(qelSegmentList* list);

// Takes whitespace off both ends: on the right all of it, on the left only while the number of
// bytes taken is below the length that remains, about half of the span.
void qelSegment_Trim(qelSegment* segment);

// Drops a pair of equal quotes, " or ', around the segment.
void qelSegment_Unquote(qelSegment* segment);

// 1 if text, split with SplitQuoted on separator, has a trimmed and unquoted segment that equals
// token.
int qelSegmentList_HasToken(const char* text, const char* separator, const char* token);

// A new text: start[0..length-1] without whitespace at the left and at the right, where asked for.
char* qelStr_DupTrimmed(const char* start, size_t length, int left, int right);

// 1 if text[0..length-1] begins with open and ends with close; with allowInner 0 there must be no
// other open byte between the two. A null text or a length below 2 gives 0.
int qelStr_IsDelimited(const char* text, size_t length, char open, char close, int allowInner);

// 1 if a byte of text[0..length-1] is in the terminated set, 0 otherwise.
int qelStr_HasAnyOf(const char* text, size_t length, const char* set);

// A new text: open, text[0..length-1] with "\" ahead of each byte that is in the terminated set,
// close. The fourth argument has no effect.
char* qelStr_Quote(const char* text, size_t length, const char* set, int ignored, char open,
                   char close);

#endif

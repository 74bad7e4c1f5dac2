#ifndef QEL_CORE_QELMATCH_H
#define QEL_CORE_QELMATCH_H
//===----------------------------------------------------------------------===//
// Wildcard patterns.
//
//   *        any run of bytes, also none     ?       any one byte
//   [a-z]    one byte of a class             [^a-z]  one byte that is not in it
//   \c       the byte c                      other   itself
//
// A "]" or "-" directly behind "[" or "[^" is a member, so is a "-" directly
// ahead of the closing "]". A class without closing "]" matches nothing.
//
// A separator other than 0 ends the text as its terminator does: no element but
// a "*" at the pattern's end reaches it.
//
// ERRORS: none. Any pattern and any text end; no recursion, no memory; at most
//   the product of both lengths in steps.
// THREADS: any; all functions are pure.
//===----------------------------------------------------------------------===//

// 1 for a match, 0 otherwise. A pattern whose first byte is neither "*" nor "?" must begin with the
// text's first byte, as it stands: so "[" or "\" ahead match only a text that begins with that
// byte. foldCase has no effect on the result: bytes must be equal.
int qelMatch_Wildcard(const char* pattern, const char* text, int foldCase, char separator);

// The same with foldCase 1 and no separator.
int qelMatch_WildcardSimple(const char* pattern, const char* text);

// The matcher without the test of the first byte: 1 match, 0 no match, -1 the text was exhausted
// ahead of the pattern.
int qelMatch_Core(const char* text, const char* pattern, int foldCase, char separator);

#endif

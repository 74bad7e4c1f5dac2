#ifndef QEL_POSIX_QELARGUMENTS_H
#define QEL_POSIX_QELARGUMENTS_H
//===----------------------------------------------------------------------===//
// A command line's text taken apart, where a system wants its arguments one by
// one.
//
//   text                     arguments
//   a b<TAB>c                a, b, c
//   "a b" c"d e"f            a b, cd ef
//   ""                       one empty argument
//   a\b "c\d\\"              a\b, c\d\       a backslash is plain but ahead of "
//   \" \\"a b"               ", \a b         2n of them and ": n, and a quote;
//                                            2n+1 of them and ": n, and a " as text
//   "a""b" "a b              a"b, a b        "" within quotes is a " as text; the
//                                            end closes
//
// OWNERSHIP: the caller's.
// ERRORS: none; every text can be split.
// THREADS: any; no state.
//===----------------------------------------------------------------------===//

#include <cstddef>

// The arguments of text as new texts behind a new array, which ends with null and is released with
// one free. Its first `reserved` elements are left null for the caller to set. *count (null is
// allowed) is the number of arguments.
char** qelArguments_Split(const char* text, size_t reserved, size_t* count);

#endif

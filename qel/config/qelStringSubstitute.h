#ifndef QEL_CONFIG_QELSTRINGSUBSTITUTE_H
#define QEL_CONFIG_QELSTRINGSUBSTITUTE_H
//===----------------------------------------------------------------------===//
// Replaces names between delimiters, "%name%", by what they stand for.
//
// A callback gives the text of a name, allocated with the guarded allocator, or
// null for a name that it does not know; then "env.X" stands for the environment
// variable X. A name without an answer vanishes with its delimiters.
//
// OWNERSHIP: results are new texts of the caller's, released with free.
// ERRORS: none; exhausted memory is fatal.
// THREADS: any, as far as the callback and the environment are.
//===----------------------------------------------------------------------===//

// The most replacements that are scanned once more in one text. Further ones stay as they are, so
// that a name which stands for itself comes to an end.
constexpr int qelStringSubstituteMaxRescans = 1000;

// A copy of text in which each token is replaced. Two delimiters side by side give one; one without a
// second stays. With rescan not 0, what has been put in for a name is scanned in its turn; the one
// delimiter that two have given is text and begins nothing. Null gives null. A delimiter of "" gives a
// plain copy.
char* qelStringSubstitute(const char* text, const char* delimiter, int rescan,
                          char* (*callback)(char* name, void* userData), void* userData);

// The same with two texts around a name. Side by side they give one delimiter only when they are
// equal, otherwise the name is "". If either is empty, the result is a plain copy.
char* qelStringSubstituteDelimited(const char* text, const char* open, const char* close,
                                   int rescan, char* (*callback)(char* name, void* userData),
                                   void* userData);

// What a name stands for; null without an answer. The callback may be null.
char* qelStringResolveVariable(const char* name, char* (*callback)(char* name, void* userData),
                               void* userData);

// A callback that answers "hostname" with the machine's name: cut at its first ".", but whole when it
// is a dotted number. Null for any other name. "" when the system does not tell.
// Windows: sockets must have been started (qelSocket_Startup).
char* qelStringResolveHostName(char* name, void* userData);

#endif

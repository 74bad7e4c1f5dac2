#ifndef QEL_CORE_CSTRINGTOKENIZER_H
#define QEL_CORE_CSTRINGTOKENIZER_H
//===----------------------------------------------------------------------===//
// qelCStringTokenizer: hands out the pieces of a text between delimiter bytes,
// one by one, and consumes the text as it goes.
//
// What becomes of empty tokens is the mode's choice. "a,b," and ",," give:
//
//   mode                       "a,b,"         ",,"
//   qelTokenReturnEmpty        a | b          (one empty)
//   qelTokenReturnEmptyAll     a | b | ""     "" | "" | ""
//   qelTokenReturnDelimiters   a, | b,        (none)
//   qelTokenStrtok             a | b          (none)
//
// A zero byte in the text is an ordinary byte; one in the set ends the set.
//
// COST: a token costs its own length, so a walk costs that of the text. But where
//   a run of delimiters gives empty tokens, each of them looks over what is left
//   of the run. GetString copies what is left.
// ERRORS: none. Exhausted memory ends the process.
// THREADS: one at a time, and CountTokens changes the object although it is const.
//===----------------------------------------------------------------------===//

#include <qel/core/CString.h>
#include <qel/core/Export.h>
#include <qel/core/Types.h>

enum qelCStringTokenizerMode : int32_t {
  qelTokenInvalid = -1,         // of a default-constructed tokenizer
  qelTokenDefault = 0,          // Strtok if the delimiters are all whitespace, else ReturnEmpty
  qelTokenReturnEmpty = 1,      // empty tokens too, but for a last one behind a delimiter
  qelTokenReturnEmptyAll = 2,   // empty tokens too, the last one included
  qelTokenReturnDelimiters = 3, // each token keeps the delimiter that ends it
  qelTokenStrtok = 4            // no empty tokens
};

class QEL_EXPORT qelCStringTokenizer {
public:
  // No text, no delimiters, mode qelTokenInvalid.
  qelCStringTokenizer();
  // As SetString.
  qelCStringTokenizer(const qelCString& text, const qelCString& delimiters,
                      qelCStringTokenizerMode mode);
  qelCStringTokenizer(const qelCStringTokenizer& other) = default;
  qelCStringTokenizer& operator=(const qelCStringTokenizer& other) = default;

  // Begins anew with all three. qelTokenDefault is resolved here, by qelChar_IsSpace; an empty set
  // of delimiters counts as whitespace.
  void SetString(const qelCString& text, const qelCString& delimiters,
                 qelCStringTokenizerMode mode);
  // Begins anew with a text; delimiters and mode stay.
  void Reinit(const qelCString& text);

  // Whether GetNextToken would give one: true while a byte is left that is no delimiter. With only
  // delimiters, or nothing, left: in qelTokenReturnEmptyAll true until the last token was taken, in
  // qelTokenReturnEmpty true only ahead of the first, else false.
  bool HasMoreTokens() const;
  // The next token; the empty string if there is none.
  qelCString GetNextToken();
  // How many tokens are left. Sets the position to 0 and lets a last empty token be due again.
  size_t CountTokens() const;

  // What is left of the text.
  qelCString GetString() const;
  // How many bytes are consumed, delimiters included.
  uint64_t GetPosition() const;
  // Never qelTokenDefault.
  qelCStringTokenizerMode GetMode() const;

protected:
  // Whether text and mode were ever set.
  bool IsOk() const;

private:
  mutable qelCString m_text;      // what is left, behind m_position consumed bytes
  qelCString m_delimiters;        // a set
  mutable uint64_t m_position;    // bytes consumed
  qelCStringTokenizerMode m_mode; // resolved
  mutable bool m_lastEmpty;       // the text was not empty, and its last token is not taken yet
};

#endif

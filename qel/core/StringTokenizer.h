#ifndef QEL_CORE_STRINGTOKENIZER_H
#define QEL_CORE_STRINGTOKENIZER_H
//===----------------------------------------------------------------------===//
// qelStringTokenizer: the wide twin of qelCStringTokenizer (see there for the
// modes), on 16-bit units. It differs in what qelTokenDefault takes as
// whitespace: what the runtime library's iswspace does.
//
// COST: a token costs its own length, so a walk costs that of the text. But where
//   a run of delimiters gives empty tokens, each of them looks over what is left
//   of the run. GetString copies what is left.
// ERRORS: none. Exhausted memory ends the process.
// THREADS: one at a time, and CountTokens changes the object although it is const.
//===----------------------------------------------------------------------===//

#include <qel/core/CStringTokenizer.h>
#include <qel/core/Export.h>
#include <qel/core/String.h>
#include <qel/core/Types.h>

// The same values under the same names.
typedef qelCStringTokenizerMode qelStringTokenizerMode;

class QEL_EXPORT qelStringTokenizer {
public:
  // No text, no delimiters, mode qelTokenInvalid.
  qelStringTokenizer();
  // As SetString.
  qelStringTokenizer(const qelString& text, const qelString& delimiters,
                     qelStringTokenizerMode mode);
  qelStringTokenizer(const qelStringTokenizer& other) = default;
  qelStringTokenizer& operator=(const qelStringTokenizer& other) = default;

  // Begins anew with all three. qelTokenDefault is resolved here, by iswspace; an empty set of
  // delimiters counts as whitespace.
  void SetString(const qelString& text, const qelString& delimiters, qelStringTokenizerMode mode);
  // Begins anew with a text; delimiters and mode stay.
  void Reinit(const qelString& text);

  // Whether GetNextToken would give one, as in the narrow class.
  bool HasMoreTokens() const;
  // The next token; the empty string if there is none.
  qelString GetNextToken();
  // How many tokens are left. Sets the position to 0 and lets a last empty token be due again.
  size_t CountTokens() const;

  // What is left of the text.
  qelString GetString() const;
  // How many units are consumed, delimiters included.
  uint64_t GetPosition() const;
  // Never qelTokenDefault.
  qelStringTokenizerMode GetMode() const;

protected:
  // Whether text and mode were ever set.
  bool IsOk() const;

private:
  mutable qelString m_text;      // what is left, behind m_position consumed units
  qelString m_delimiters;        // a set
  mutable uint64_t m_position;   // units consumed
  qelStringTokenizerMode m_mode; // resolved
  mutable bool m_lastEmpty;      // the text was not empty, and its last token is not taken yet
};

#endif

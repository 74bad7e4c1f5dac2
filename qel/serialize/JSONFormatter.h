#ifndef QEL_SERIALIZE_JSONFORMATTER_H
#define QEL_SERIALIZE_JSONFORMATTER_H
//===----------------------------------------------------------------------===//
// Writes events as JSON text, compact or for human readers.
//
// The text is JSON but for the ends of maps: each map closes with a comma behind
// its last member, and an empty one is {,}. The order of events is not checked.
//
// ERRORS: every event returns 0. A null text counts as the empty one.
// THREADS: one at a time.
//===----------------------------------------------------------------------===//

#include <cstddef>
#include <cstdint>

#include <qel/core/CString.h>
#include <qel/serialize/ISerialize.h>

class QEL_EXPORT qelJSONFormatter : public qelISerialize {
public:
  // An empty text, strict and compact, four blanks as the indentation.
  qelJSONFormatter();

  // Starts the next document: no text, no indentation. Both modes stay.
  void Reset();

  // A copy of the text so far; also in the middle of a document.
  qelCString Result() const;

  // Strict: a slash is written as \/ too. Every other escape is written in any case.
  void SetStrictMode(bool strict);

  // Human: each map and member stands on its own line. `indent` is the text of one level, null for
  // four blanks.
  void SetHumanMode(bool human, const char* indent = nullptr);

  int MapBegin() override;
  int MapKey(const char* key, bool raw) override;
  int MapEnd() override;
  int ArrayBegin() override;
  int ArrayItemSeparator() override;
  int ArrayEnd() override;
  int String(const qelWChar* value, bool raw) override;
  int String(const char* value, bool raw) override;
  int Boolean(bool value) override;
  int U32(qelULong value) override;
  int S32(qelLong value) override;
  int U64(unsigned long long value) override;
  int S64(long long value) override;
  int Float(double value) override; // with "." and six digits in every locale
  int Null() override;

protected:
  // Appends the text with its escapes to `out`. True if anything needed one. Bytes from 0x7F up are
  // plain, so UTF-8 passes as it stands.
  bool Escape(const char* text, qelCString& out);

  // Human mode: a line feed and the indentation. Compact mode: nothing.
  void NewLine();

private:
  qelCString m_result;     // the text so far
  qelCString m_scratch;    // working text for keys and numbers
  bool m_strictEscapes;    // slashes are escaped too
  bool m_humanMode;        // lines and indentation
  int32_t m_indentLevel;   // depth of open maps; below 0 after an unbalanced MapEnd
  qelCString m_indentText; // one level of indentation
  bool m_firstInMap;       // no key has been written since the last MapBegin
};

#endif

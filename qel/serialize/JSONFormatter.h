#ifndef QEL_SERIALIZE_JSONFORMATTER_H
#define QEL_SERIALIZE_JSONFORMATTER_H
//===----------------------------------------------------------------------===//
// Writes events as JSON text, compact or for human readers, and reads JSON text
// back into events.
//
// What is written is JSON but for the ends of maps: each map closes with a comma
// behind its last member, and an empty one is {,}. The order of events is not
// checked. Parse takes more than JSON: comments, strings in single quotes, words
// in any case, commas behind the last member or item. It takes no form feed (\f),
// no upper-case digit in \u, no upper-case E, and no map of a comma alone.
//
// ERRORS: every event returns 0; Parse returns a code. A null text counts as the
// empty one.
// THREADS: one at a time. Parse is static and holds nothing between calls.
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

  // Replays text as events on target, in one pass and without a tree. What `target` returns is not
  // looked at. Parsing ends at the first thing behind the value that is neither blank nor comment,
  // whatever it is. A word or number at the top ends only at a byte behind it: "12" is incomplete,
  // "12 " is not.
  //
  // The target gets MapBegin, MapKey(key, true), MapEnd, ArrayBegin, ArrayEnd, String(text, false),
  // Boolean, S32, Float and Null; no separators. A whole number is read in 64 bits, with the nearest
  // bound for one beyond them, and its low 32 bits are delivered. A fraction has "." in every
  // locale. Each \u is a character of its own, halves of pairs too; \u0000 ends a text for those
  // who read it up to the terminator.
  //
  // Returns 0, or what is wrong; the events up to there have been delivered, and nothing closes
  // what was opened:
  //    1  the text ends before the value is complete
  //    2  too deep: 20 containers nest, and the innermost of 20 has to be empty
  //    4  no value begins like this
  //    5  begins like null and is not
  //    6  begins like true or false and is not
  //    7  a number that can't be converted
  //    8  neither "," nor "]" behind an item
  //    9  no quote where a key has to begin
  //   10  no ":" behind a key
  //   11  neither "," nor "}" behind a member
  //   12  a bad escape sequence
  //   13  a "/" that begins no comment
  // The last two arguments are for the place of the fault; neither is written so far.
  static int Parse(const char* text, qelISerialize& target, int& errorLine, int& errorColumn);
  static int Parse(const char* text, qelISerialize& target);

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

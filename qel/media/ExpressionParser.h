#ifndef QEL_MEDIA_EXPRESSIONPARSER_H
#define QEL_MEDIA_EXPRESSIONPARSER_H
//===----------------------------------------------------------------------===//
// Turns a media search criteria string, in the manner of the UPnP
// ContentDirectory service, into a tree of expressions:
//
//   dc:title contains "sea" and (dc:date >= "2005-01-01" or upnp:genre exists false)
//
// A program derives from the class to say which properties it knows
// (GetPropertyID) and which operators it allows (OperandSupported), parses, and
// evaluates the tree against each of its objects. "and" binds tighter than "or",
// both group from the left, with two limits that searches have come to rely on:
// - inside of a group ahead of a logic keyword the chain leans to the right, as
//   it is written: in (a and b or c) or d the group means a and (b or c);
// - a group that ends a chain behind "and" is tested against all that stands
//   ahead: a or b and (c) means (a or b) and (c), while a or (b and (c)) is what
//   it says.
//
// Spaces (the characters 9 to 13 and 32) are compulsory around every keyword.
// "*" alone matches everything and has no tree. The text may hold any bytes; its
// end is told by its length.
//
// Any input ends, in time and memory linear in its length and with a stack of
// fixed size. Groups nest up to MaxGroupDepth; a text that nests them deeper is
// not valid.
//
// OWNERSHIP: the parser owns the tree, tables stay the caller's. Copies are
// shallow: they share the tree, and only one of them may be destroyed.
// ERRORS: a syntax error makes the parser invalid, with no message and no place.
// THREADS: one thread at a time, evaluation too.
//===----------------------------------------------------------------------===//

#include <cstddef>

#include <qel/core/CString.h>
#include <qel/core/Export.h>
#include <qel/media/SearchExpression.h>

struct qelArray_t;
class qelSearchExpressionEvaluator;

// One row of an operator table. A row with a null name ends the table. Rows are tried in order, and
// a keyword needs no end of word, so "<=" must stand ahead of "<".
struct qelExpressionOperand {
  const char* name; // the keyword
  int id;           // the operator's number; 0: no operator
  int valueKind;    // what follows: 1 a quoted value, 2 "true" or "false", 3 nothing
};

// The default tables. The shared library does not export them: a program that links it writes down
// its own.
// "and" 11, "or" 12.
extern const qelExpressionOperand qelDefaultLogicOperands[];

// "=" 1, "!=" 2, "<=" 3, ">=" 4, ">" 5, "<" 6, "contains" 7, "doesNotContain" 8, "derivedfrom" 9,
// "exists" 10, "like" 13.
extern const qelExpressionOperand qelDefaultBinaryOperands[];

class QEL_EXPORT qelExpressionParser {
public:
  enum {
    MaxGroupDepth = 1000 // a group inside of this many others makes the text invalid
  };

  // Nothing is parsed yet. The tables are the default ones.
  explicit qelExpressionParser(const qelCString& text);
  qelExpressionParser(const qelExpressionParser& other);            // shares the tree
  qelExpressionParser& operator=(const qelExpressionParser& other); // likewise; the old tree stays
  ~qelExpressionParser();

  // Replace a table. To be done ahead of Parse; the table must outlive it.
  void SetLogicOperands(const qelExpressionOperand* table);
  void SetBinaryOperands(const qelExpressionOperand* table);

  // Parses the text, replacing any older tree, and regroups by precedence. Returns IsValid().
  // Parsing consumes: a second call works on what the first one left over.
  virtual bool Parse();

  // Whether the last Parse succeeded.
  bool IsValid() const;

  // Whether the object behind the evaluator matches: false if invalid, true for "*".
  bool Evaluate(qelSearchExpressionEvaluator* evaluator);

  // Whether the trees are the same, as qelSearchExpression::IsSameAs tells. False if one of the
  // parsers is invalid or without a tree.
  bool IsSameAs(qelExpressionParser* other);

  // Prints the tree, or "*", and a line feed on standard output; nothing if invalid.
  void Display();

  // The names of all properties that the tree tests, each followed by a comma; empty without a tree.
  // A failed Parse may leave a part of a tree, of which this speaks as well.
  qelCString GetSearchCriteriaList();

  // A new array of those relations (qelRelExpression*) which every match has to pass: the tests of
  // the topmost conjunction. Empty if invalid. The caller deletes the array with qelArray_Delete;
  // the relations stay the tree's.
  qelArray_t* GetDiscriminantCriteria();

  // The value of the occurrence-th relation, from 0, on exactly this property among the relations
  // that every match has to pass. False, with value untouched, if there is none.
  bool GetRelExpressionValue(const char* property, size_t occurrence, qelCString& value);

  // Makes groups of neighbours in the chain until the tree evaluates by precedence: first for "and",
  // then for "or". Nothing happens if invalid. Parse has done this already.
  void ManagePrecedence();

protected:
  // The number of a property, stored with each relation that names it. -1: not known, and so the
  // text is not valid. The base returns 0. Neither of these two may call Parse.
  virtual int GetPropertyID(const qelCString& property);

  // Whether the row of this name is to be seen in the tables. The base returns true.
  virtual bool OperandSupported(const char* name);

  // The scanners. Each works at the front of the text and consumes what it accepts; unless told
  // otherwise it consumes nothing on false.

  // The whole input, into m_root. On false the rest may be partly consumed, and m_root may hold what was
  // read so far.
  bool ParseExpression();

  // A group or a relation chain into *out; null there on false.
  bool ParseSearchExp(qelSearchExpression** out);

  // One relation into *out; null there on false.
  bool ParseRelExp(qelSearchExpression** out);

  // Spaces, a keyword of the table, spaces, and what has to follow that keyword. On false the
  // keyword may have been stored, and when it was followed by spaces but not by its value both it
  // and the spaces are consumed.
  bool ParseOperand(const qelExpressionOperand* table, qelCString& operatorText, int& operatorID,
                    qelCString& value);

  // One or more characters up to a space, a ")" or the end. On false word is empty.
  bool ParseWord(qelCString& word);

  // A text in double quotes; a backslash takes the next character as it is. On false value is empty.
  bool ParseQuotedValue(qelCString& value);

  // "true" or "false".
  bool ParseBoolValue(qelCString& value);

  // Exactly this keyword, stored in matched; whatever stands behind it. On false matched is
  // untouched.
  bool ParseKeyword(const char* keyword, qelCString& matched);

  // One or more spaces.
  bool ParseSpaces();

  // Optional spaces, then c.
  bool ParseSpacesChar(char c);

  // The same, then optional spaces.
  bool ParseSpacesCharSpaces(char c);

  // Optional spaces, then the end.
  bool ParseEOI();

  // Appends the relations of expression that every match has to pass to list.
  void GetDiscriminantCriteria(qelArray_t* list, qelSearchExpression* expression);

  // One walk down the right spine that regroups at most once, at the first link with this operator
  // whose right child is a link too. False if it did, so that the caller walks again. first: the
  // expression begins a chain; a chain of one pair is left as it is.
  bool ManagePrecedence(qelSearchExpression* expression, int operatorID, bool first);

  // What parsing has not consumed yet.
  qelCString RemainingText() const;

  bool m_valid; // the last Parse succeeded

private:
  qelCString m_text; // the input; its first bytes may be consumed already
  size_t m_consumed; // how many of them

protected:
  qelSearchExpression* m_root; // owned; null for the expression "*"

private:
  const qelExpressionOperand* m_logicOperands;  // table in use, not owned
  const qelExpressionOperand* m_binaryOperands; // table in use, not owned

  bool ParseSearchTree(qelSearchExpression** slot);
  bool ParseEndOfGroup(qelSearchExpression**& slot);
  bool ParseLogic(qelCString& operatorText, int& operatorID);
  const qelExpressionOperand* FindOperand(const qelExpressionOperand* table, qelCString& matched);
  void SkipSpaces();
};

#endif

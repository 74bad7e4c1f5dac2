#ifndef QEL_MEDIA_SEARCHEXPRESSION_H
#define QEL_MEDIA_SEARCHEXPRESSION_H
//===----------------------------------------------------------------------===//
// The tree of a parsed media search.
//
//   qelRelExpression        a leaf: one test of one property
//   qelLinearExpression     a link of a chain: left, "and" or "or", right
//   qelCompositeExpression  a group in parentheses
//
// A chain leans to the right. The right child of a link is the next link, or a
// group that ends the chain; the last link has no operator and no right child.
//
//   a = "1" and (b = "2" or c = "3")
//
//   link  left  rel a
//         "and"
//         right group  inner link  left  rel b
//                                  "or"
//                                  right link  left  rel c
//
// A tree may be as deep as its text is long, since grouping by precedence nests
// the links to the left. On every tree that a parser makes, each operation here
// runs in a stack of fixed size all the same, the destructors included, and in
// time linear in the tree. A caller's own walk of a tree had better not recurse
// either.
//
// A program may derive from these classes and build trees of its own objects. Its
// overrides are called wherever such an object stands, so links and groups of a
// derived class cost stack for each one that nests in another. Type information
// (RTTI) is not needed to derive.
//
// OWNERSHIP: a link or group owns its children and deletes them. Copies are
// shallow: copy construction and assignment copy the child pointers as they
// stand, and assignment leaves the former children alone. Only one of the
// objects that share children may be destroyed; set the pointers of the others
// to null first.
// ERRORS: none is reported.
// THREADS: one thread at a time, evaluation too: the first Match of a relation
// stores the type of its value.
//===----------------------------------------------------------------------===//

#include <qel/core/CString.h>
#include <qel/core/DateTime.h>
#include <qel/core/Export.h>
#include <qel/core/Types.h>

class qelSearchExpressionEvaluator;

class QEL_EXPORT qelSearchExpression {
public:
  qelSearchExpression();
  qelSearchExpression(const qelSearchExpression& other);
  qelSearchExpression& operator=(const qelSearchExpression& other);
  virtual ~qelSearchExpression();

  // Prints the expression on standard output, in the form in which it is parsed; quotes and
  // backslashes inside of values stand bare.
  virtual void Display() = 0;

  // list with the names of the properties that the expression tests, each followed by a comma, in
  // order of first appearance. A name is left out when it stands in list already, with its comma,
  // be it as the end of a longer name.
  virtual qelCString GetSearchCriteriaList(const qelCString& list) = 0;

  // Whether the object behind the evaluator passes. Short-circuit, in the order of the tree: the
  // right side of an "and" is not asked after false, that of an "or" not after true.
  virtual bool Evaluate(qelSearchExpressionEvaluator* evaluator) = 0;

  // Whether the object is a group, a relation, a link.
  virtual bool IsComposite();
  virtual bool IsRel();
  virtual bool IsLinear();

  // Whether other has the same shape, the same logic operators and the same values. This is no
  // equality: properties and relational operators do not count, and a value "*" on other's side
  // equals every value. A null other is never the same.
  virtual bool IsSameAs(qelSearchExpression* other) = 0;

  // 0 in a bare base, 1 relation, 2 group, 3 link.
  virtual int GetType();

protected:
  explicit qelSearchExpression(int kind);

  int type; // what GetType returns
};

class QEL_EXPORT qelRelExpression : public qelSearchExpression {
public:
  qelRelExpression();
  qelRelExpression(const qelRelExpression& other);
  qelRelExpression& operator=(const qelRelExpression& other);
  ~qelRelExpression() override;

  void Display() override;
  qelCString GetSearchCriteriaList(const qelCString& list) override;
  bool Evaluate(qelSearchExpressionEvaluator* evaluator) override;
  bool IsRel() override;
  bool IsSameAs(qelSearchExpression* other) override;

  // The tests that an evaluator chooses from, by the type of the property. The relation finds out
  // the type of its own value on the first call; a typed test is false unless the value has that
  // very type, so MatchDouble is false for the value "2", which is an integer. An "exists" relation
  // is answered by MatchString alone.

  // Text, null for an absent property. "=", "!=", "contains" and "doesNotContain" do not regard
  // case; "derivedfrom" (begins with) and "like" (wildcards) do. "<", "<=", ">" and ">=" are false.
  // contains "" and derivedfrom "" are false, doesNotContain "" is true.
  bool MatchString(const char* candidate);

  // The text of a decimal integer of 32 bits.
  bool MatchInt(const qelCString& candidate);

  // The text of a floating number.
  bool MatchDouble(const qelCString& candidate);

  // The text of an ISO date, at least year and month. Its time zone is not regarded.
  bool MatchDate(const qelCString& candidate);

  // A date. An invalid one takes part in the comparison like any other.
  bool MatchDate(const qelDateTime& candidate);

  qelCString property;     // the word on the left
  int propertyID;          // what the parser's GetPropertyID returned for it
  qelCString operatorText; // the keyword as written
  int operatorID;          // the keyword's number; 0: none
  qelCString value;        // the text between the quotes, unescaped; "true" or "false" for "exists"
  qelDateTime dateValue;   // value as a date, with valueKind 3
  qelLong longValue;       // value as an integer, with valueKind 1
  double doubleValue;      // value as a floating number, with valueKind 4
  int valueKind; // 0 not yet known, 1 integer, 2 plain text or "exists", 3 date, 4 floating

protected:
  // The gate of all Match operations: finds out the type of the value if that is not yet known,
  // then tells whether the test goes on. False when kind is neither 2 nor the value's type. For
  // "exists" the result is the whole test: the value "true" asks for a candidate that is not empty,
  // any other value for one that is null or empty.
  bool ValidateValue(int kind, const char* candidate);

  // Reads an ISO date; a part that is missing counts as 0, so "2005-01" is the last day of 2004.
  // False when text is none or date would be invalid.
  bool ConvertToDateTime(const char* text, qelDateTime& date);

private:
  void ClassifyValue();
};

class QEL_EXPORT qelLinearExpression : public qelSearchExpression {
public:
  qelLinearExpression();
  qelLinearExpression(const qelLinearExpression& other);            // shares the children
  qelLinearExpression& operator=(const qelLinearExpression& other); // likewise
  ~qelLinearExpression() override;

  void Display() override;
  qelCString GetSearchCriteriaList(const qelCString& list) override;
  // True without a left child. A link with an operator but no right child gives its left's result.
  bool Evaluate(qelSearchExpressionEvaluator* evaluator) override;
  bool IsLinear() override;
  bool IsSameAs(qelSearchExpression* other) override;

  // Groups this link's left child with that of the next link: A p B q T becomes (A p B) q T.
  // Nothing happens when the right child is not a link.
  void MakeComposite();

  qelSearchExpression* left;  // owned; null in an empty link
  qelCString operatorText;    // the keyword; empty if none
  int operatorID;             // 11 "and", 12 "or", 0 none
  qelSearchExpression* right; // owned; null at the end of the chain
};

class QEL_EXPORT qelCompositeExpression : public qelSearchExpression {
public:
  qelCompositeExpression();
  qelCompositeExpression(const qelCompositeExpression& other);            // shares the child
  qelCompositeExpression& operator=(const qelCompositeExpression& other); // likewise
  ~qelCompositeExpression() override;

  void Display() override;
  qelCString GetSearchCriteriaList(const qelCString& list) override;
  // What the inner expression gives; true without one.
  bool Evaluate(qelSearchExpressionEvaluator* evaluator) override;
  bool IsComposite() override;
  bool IsSameAs(qelSearchExpression* other) override;

  qelSearchExpression* inner; // owned
};

#endif

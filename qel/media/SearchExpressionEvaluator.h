#ifndef QEL_MEDIA_SEARCHEXPRESSIONEVALUATOR_H
#define QEL_MEDIA_SEARCHEXPRESSIONEVALUATOR_H
//===----------------------------------------------------------------------===//
// What a search needs of the program that runs it: the answer to one relational
// test of one object. The program derives from this class, finds the property
// that the relation names in its own object, and hands the value to that Match
// operation of the relation which suits the property's type:
//
//   bool PhotoEvaluator::EvaluateRelExpression(qelRelExpression* test) {
//     if (test->property.Compare("res@size") == 0)
//       return test->MatchInt(m_photo->sizeText);
//     return test->MatchString(m_photo->Find(test->property)); // null: absent
//   }
//
// OWNERSHIP: an evaluator is passed by pointer and stays the caller's.
// THREADS: one tree is evaluated by one thread at a time.
//===----------------------------------------------------------------------===//

#include <qel/core/Export.h>

class qelRelExpression;

class QEL_EXPORT qelSearchExpressionEvaluator {
public:
  qelSearchExpressionEvaluator();
  qelSearchExpressionEvaluator(const qelSearchExpressionEvaluator& other);
  qelSearchExpressionEvaluator& operator=(const qelSearchExpressionEvaluator& other);

  // Whether the object under test passes the relation.
  virtual bool EvaluateRelExpression(qelRelExpression* expression) = 0;
};

#endif

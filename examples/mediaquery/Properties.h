#ifndef EXAMPLES_MEDIAQUERY_PROPERTIES_H
#define EXAMPLES_MEDIAQUERY_PROPERTIES_H
//===----------------------------------------------------------------------===//
// The properties of an item by their ContentDirectory names: one table that the
// parser, the evaluator and the output share.
//===----------------------------------------------------------------------===//

#include <cstddef>

#include <qel/core/CString.h>
#include <qel/media/MediaInfo.h>
#include <qel/media/SearchExpression.h>
#include <qel/media/SearchExpressionEvaluator.h>

namespace mediaquery {

enum PropertyKind {
  kPropertyText,
  kPropertyNumber, // decimal digits
  kPropertyDate
};

struct Property {
  const char* name;  // as it stands in criteria and output
  PropertyKind kind; // which comparison suits it

  // The value as text. False: the item has no such property.
  bool (*read)(qelMediaInfo& item, qelCString* text);
};

size_t GetPropertyCount();

// REQUIRES: index is below the count.
const Property& GetProperty(size_t index);

// The place of a name in the table, -1 if it is not there. Case counts.
int FindProperty(const qelCString& name);

// Answers the tests of a search about one item at a time.
class ItemEvaluator : public qelSearchExpressionEvaluator {
public:
  explicit ItemEvaluator(qelMediaInfo* item) : m_item(item) {}

  bool EvaluateRelExpression(qelRelExpression* test) override;

private:
  qelMediaInfo* m_item; // not owned
};

} // namespace mediaquery

#endif

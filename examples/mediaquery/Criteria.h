#ifndef EXAMPLES_MEDIAQUERY_CRITERIA_H
#define EXAMPLES_MEDIAQUERY_CRITERIA_H
//===----------------------------------------------------------------------===//
// Search criteria: the parser with the program's properties, and the place of the
// fault in criteria that it does not take. The library's parser says only valid or
// not; the program works out where and why.
//===----------------------------------------------------------------------===//

#include <cstddef>
#include <string>

#include <qel/core/CString.h>
#include <qel/media/ExpressionParser.h>

namespace mediaquery {

// Knows the properties of the table. Every relation carries the property's place there.
class CriteriaParser : public qelExpressionParser {
public:
  explicit CriteriaParser(const qelCString& criteria);

protected:
  int GetPropertyID(const qelCString& property) override;
};

struct CriteriaFault {
  size_t offset;       // of the byte that could not be taken; the length at the end of the text
  std::string message; // what is wrong or missing there; empty: there is no fault
};

// The first place where the text can't be valid criteria any more.
CriteriaFault FindCriteriaFault(const qelCString& text);

// The fault for a reader, in three lines with no line end behind the last: its place in words, the text
// (cut to what stands around the place, if it is long), and a caret below the place.
std::string FormatCriteriaFault(const qelCString& text, const CriteriaFault& fault);

} // namespace mediaquery

#endif

#include <qel/media/SearchExpressionEvaluator.h>

// Out of line, so that the class's table of virtual operations stands in the library.
qelSearchExpressionEvaluator::qelSearchExpressionEvaluator() = default;
qelSearchExpressionEvaluator::qelSearchExpressionEvaluator(const qelSearchExpressionEvaluator&) =
    default;
qelSearchExpressionEvaluator&
qelSearchExpressionEvaluator::operator=(const qelSearchExpressionEvaluator&) = default;

// Search criteria over the length of the chain. A column that grows faster than the length shows
// something quadratic.

#include <memory>
#include <string>

#include <benchmark/benchmark.h>

#include <qel/containers/qelArray.h>
#include <qel/media/ExpressionParser.h>
#include <qel/media/SearchExpressionEvaluator.h>

namespace {

enum Shape { AllAnd, Alternating, Groups, ManyNames };

std::string MakeText(size_t count, Shape shape) {
  std::string text;
  for (size_t i = 0; i < count; i++) {
    const std::string name = shape == ManyNames ? "upnp:name" + std::to_string(i) : "dc:title";
    const std::string test = name + " contains \"sea\"";
    text += shape == Groups ? '(' + test + ')' : test;
    if (i + 1 < count)
      text += shape == Alternating && i % 2 == 0 ? " or " : " and ";
  }
  return text;
}

// Costs nothing, so that what is left is the walk of the tree.
class Answers : public qelSearchExpressionEvaluator {
public:
  bool EvaluateRelExpression(qelRelExpression*) override { return true; }
};

class Titles : public qelSearchExpressionEvaluator {
public:
  bool EvaluateRelExpression(qelRelExpression* test) override {
    return test->MatchString("The Old Man and the Sea");
  }
};

qelCString TextFor(const benchmark::State& state, Shape shape) {
  const std::string text = MakeText(static_cast<size_t>(state.range(0)), shape);
  return qelCString(text.data(), text.size());
}

void SetCount(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetComplexityN(state.range(0));
}

void Parse(benchmark::State& state, Shape shape) {
  const qelCString text = TextFor(state, shape);
  for (auto _ : state) {
    qelExpressionParser parser(text); // Destruction counts too.
    if (!parser.Parse())
      state.SkipWithError("the text does not parse");
  }
  SetCount(state);
}

void EvaluateWith(benchmark::State& state, Shape shape, qelSearchExpressionEvaluator& evaluator) {
  qelExpressionParser parser(TextFor(state, shape));
  parser.Parse();
  for (auto _ : state)
    benchmark::DoNotOptimize(parser.Evaluate(&evaluator));
  SetCount(state);
}

void Walk(benchmark::State& state, Shape shape) {
  Answers answers;
  EvaluateWith(state, shape, answers);
}

void Evaluate(benchmark::State& state, Shape shape) {
  Titles titles;
  EvaluateWith(state, shape, titles);
}

void List(benchmark::State& state, Shape shape) {
  qelExpressionParser parser(TextFor(state, shape));
  parser.Parse();
  for (auto _ : state)
    benchmark::DoNotOptimize(parser.GetSearchCriteriaList().length());
  SetCount(state);
}

void Compare(benchmark::State& state, Shape shape) {
  qelExpressionParser one(TextFor(state, shape)), other(TextFor(state, shape));
  one.Parse();
  other.Parse();
  for (auto _ : state)
    benchmark::DoNotOptimize(one.IsSameAs(&other));
  SetCount(state);
}

void Discriminants(benchmark::State& state, Shape shape) {
  qelExpressionParser parser(TextFor(state, shape));
  parser.Parse();
  for (auto _ : state)
    qelArray_Delete(parser.GetDiscriminantCriteria());
  SetCount(state);
}

// One relation against one candidate, its value's type being known.
void Match(benchmark::State& state, const char* text, const char* candidate, int kind) {
  qelRelExpression test;
  test.property = "p";
  test.operatorID = kind == 0 ? 7 : 4; // contains, >=
  test.value = text;
  const qelCString value(candidate);
  for (auto _ : state) {
    const bool matches = kind == 0   ? test.MatchString(candidate)
                         : kind == 1 ? test.MatchInt(value)
                         : kind == 3 ? test.MatchDate(value)
                                     : test.MatchDouble(value);
    benchmark::DoNotOptimize(matches);
  }
}

void Lengths(benchmark::internal::Benchmark* benchmark) {
  benchmark->RangeMultiplier(10)->Range(10, 100000)->Complexity(benchmark::oN);
}

} // namespace

BENCHMARK_CAPTURE(Parse, and, AllAnd)->Apply(Lengths);
BENCHMARK_CAPTURE(Parse, and_or, Alternating)->Apply(Lengths);
BENCHMARK_CAPTURE(Parse, groups, Groups)->Apply(Lengths);
BENCHMARK_CAPTURE(Walk, and, AllAnd)->Apply(Lengths);
BENCHMARK_CAPTURE(Evaluate, and, AllAnd)->Apply(Lengths);
BENCHMARK_CAPTURE(Evaluate, groups, Groups)->Apply(Lengths);
BENCHMARK_CAPTURE(List, one_name, AllAnd)->Apply(Lengths);
BENCHMARK_CAPTURE(List, many_names, ManyNames)->Apply(Lengths);
BENCHMARK_CAPTURE(Compare, and, AllAnd)->Apply(Lengths);
BENCHMARK_CAPTURE(Discriminants, and, AllAnd)->Apply(Lengths);
BENCHMARK_CAPTURE(Match, contains, "sea", "The Old Man and the Sea", 0);
BENCHMARK_CAPTURE(Match, integer, "1024", "2048", 1);
BENCHMARK_CAPTURE(Match, date, "2005-01-01", "2006-02-03T04:05:06", 3);
BENCHMARK_CAPTURE(Match, floating, "1.5", "44.1", 4);

// Search criteria: parse, evaluate, list, discriminants, comparison.
//
// The first byte chooses hooks and tables, the second how the tests answer. The rest is up to three
// lines: the criteria, criteria to compare with, a candidate value.

#include <cstring>

#include <fuzz/FuzzInput.h>

#include <qel/containers/qelArray.h>
#include <qel/media/ExpressionParser.h>
#include <qel/media/SearchExpressionEvaluator.h>

namespace {

enum Choices {
  Choice_RefuseProperty = 1, // names that begin with "r"
  Choice_HideOperator = 2,   // "or" and "like"
  Choice_OwnLogic = 4,
  Choice_Typed = 8, // tests are answered by the Match operations
};

// A keyword that wants a value, one that is the beginning of the next, and no operator at all.
const qelExpressionOperand kOwnLogic[] = {
    {"and", 11, 1}, {"o", 12, 3}, {"or", 12, 3}, {"then", 0, 3}, {nullptr, 0, 0},
};

class Parser : public qelExpressionParser {
public:
  Parser(const qelCString& text, uint8_t choices) : qelExpressionParser(text), m_choices(choices) {
    if (choices & Choice_OwnLogic)
      SetLogicOperands(kOwnLogic);
  }
  qelSearchExpression* Root() const { return m_root; }
  qelCString Rest() const { return RemainingText(); }

protected:
  int GetPropertyID(const qelCString& property) override {
    FUZZ_CHECK(!property.IsEmpty());
    return (m_choices & Choice_RefuseProperty) && property.First() == 'r' ? -1 : 3;
  }
  bool OperandSupported(const char* name) override {
    if (!(m_choices & Choice_HideOperator))
      return true;
    return strcmp(name, "or") != 0 && strcmp(name, "like") != 0;
  }

private:
  uint8_t m_choices;
};

class Evaluator : public qelSearchExpressionEvaluator {
public:
  Evaluator(uint8_t choices, uint8_t answers, const char* candidate, const qelCString& list)
      : m_choices(choices), m_answers(answers), m_candidate(candidate), m_list(list) {}

  bool EvaluateRelExpression(qelRelExpression* test) override {
    asked++;
    const qelCString listed = test->property + ',';
    FUZZ_CHECK(m_list.Find(listed, 0) != qelCString::npos);
    if (test == refused)
      return false;
    const bool matches = MatchAll(test);
    if (m_choices & Choice_Typed)
      return matches;
    return (m_answers >> (static_cast<unsigned char>(test->property.First()) % 8)) & 1;
  }

  size_t asked = 0;
  const qelRelExpression* refused = nullptr; // answered by false in any case

private:
  bool MatchAll(qelRelExpression* test) const {
    const qelCString text(m_candidate);
    const bool typed[] = {test->MatchInt(text), test->MatchDouble(text), test->MatchDate(text)};
    FUZZ_CHECK(test->valueKind >= 1 && test->valueKind <= 4);
    FUZZ_CHECK(typed[0] + typed[1] + typed[2] <= 1); // A value has one type.
    test->MatchDate(test->dateValue);
    test->MatchString(nullptr);
    return typed[0] || typed[1] || typed[2] || test->MatchString(m_candidate);
  }

  uint8_t m_choices;
  uint8_t m_answers;
  const char* m_candidate;
  const qelCString& m_list;
};

// The same by recursion, for texts that are short.
bool EvaluateByRecursion(qelSearchExpression* node, Evaluator& evaluator) {
  if (node->IsComposite())
    return EvaluateByRecursion(static_cast<qelCompositeExpression*>(node)->inner, evaluator);
  if (node->IsRel())
    return evaluator.EvaluateRelExpression(static_cast<qelRelExpression*>(node));
  const auto* link = static_cast<qelLinearExpression*>(node);
  const bool left = EvaluateByRecursion(link->left, evaluator);
  if (link->operatorID == 0 || link->right == nullptr || left == (link->operatorID == 12))
    return left;
  return EvaluateByRecursion(link->right, evaluator);
}

qelCString TakeLine(std::vector<char>& text) {
  if (text.empty())
    return qelCString();
  const void* end = memchr(text.data(), '\n', text.size());
  const size_t n = end != nullptr ? static_cast<size_t>(static_cast<const char*>(end) - text.data())
                                  : text.size();
  const qelCString line(text.data(), n);
  text.erase(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(n + (end != nullptr)));
  return line;
}

void CheckDiscriminants(Parser& parser, Evaluator& evaluator, bool regular) {
  qelArray_t* const list = parser.GetDiscriminantCriteria();
  FUZZ_CHECK(parser.IsValid() || qelArray_GetCount(list) == 0);
  for (size_t i = 0; i < qelArray_GetCount(list) && i < 8; i++) {
    auto* test = static_cast<qelRelExpression*>(qelArray_GetAt(list, i));
    FUZZ_CHECK(test->IsRel());
    qelCString value;
    FUZZ_CHECK(parser.GetRelExpressionValue(test->property, 0, value) ||
               memchr(test->property.c_str(), 0, test->property.length()) != nullptr);
    evaluator.refused = test;
    FUZZ_CHECK(!regular || !parser.Evaluate(&evaluator));
  }
  evaluator.refused = nullptr;
  qelArray_Delete(list);
}

void CheckEvaluation(Parser& parser, Evaluator& evaluator, bool isShort) {
  const bool result = parser.Evaluate(&evaluator);
  const size_t asked = evaluator.asked;
  evaluator.asked = 0;
  FUZZ_CHECK(parser.Evaluate(&evaluator) == result && evaluator.asked == asked);
  FUZZ_CHECK(parser.IsValid() || !result);
  if (!isShort || !parser.IsValid() || parser.Root() == nullptr)
    return;
  evaluator.asked = 0;
  FUZZ_CHECK(EvaluateByRecursion(parser.Root(), evaluator) == result && evaluator.asked == asked);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  const uint8_t choices = input.TakeByte();
  const uint8_t answers = input.TakeByte();
  std::vector<char> rest = input.TakeBytes(SIZE_MAX);
  const qelCString text = TakeLine(rest);
  const qelCString otherText = TakeLine(rest);
  const qelCString candidate = TakeLine(rest);

  Parser parser(text, choices), again(text, choices), other(otherText, choices);
  const bool valid = parser.Parse();
  FUZZ_CHECK(valid == parser.IsValid() && again.Parse() == valid);
  FUZZ_CHECK(!valid || parser.Rest().IsEmpty());
  other.Parse();

  const bool hasTree = valid && parser.Root() != nullptr;
  FUZZ_CHECK(parser.IsSameAs(&again) == hasTree);
  parser.IsSameAs(&other);
  other.IsSameAs(&parser);

  const qelCString list = parser.GetSearchCriteriaList();
  FUZZ_CHECK(list.length() <= text.length());
  Evaluator evaluator(choices, answers, candidate, list);
  CheckEvaluation(parser, evaluator, text.length() < 4096);
  CheckDiscriminants(parser, evaluator, !(choices & Choice_OwnLogic));

  parser.Parse(); // What was left over, if anything.
  return 0;
}

// A client that is built without type information derives from every class of the tree.

#include <qel/media/ExpressionParser.h>
#include <qel/media/SearchExpression.h>
#include <qel/media/SearchExpressionEvaluator.h>

#include <memory>

#include <gtest/gtest.h>

#ifdef __GXX_RTTI
#error "This file is to be compiled without type information."
#endif

namespace {

// Passes for a property of this name.
class NameEvaluator : public qelSearchExpressionEvaluator {
public:
  explicit NameEvaluator(const char* name) : m_name(name) {}
  bool EvaluateRelExpression(qelRelExpression* test) override {
    return test->property.Compare(m_name) == 0;
  }

private:
  qelCString m_name;
};

class StrictParser : public qelExpressionParser {
public:
  explicit StrictParser(const char* text) : qelExpressionParser(qelCString(text)) {}

protected:
  int GetPropertyID(const qelCString& property) override {
    return property.Compare("unknown") == 0 ? -1 : 0;
  }
};

class NotGroup : public qelCompositeExpression {
public:
  bool Evaluate(qelSearchExpressionEvaluator* evaluator) override {
    return !qelCompositeExpression::Evaluate(evaluator);
  }
};

class CountedRelation : public qelRelExpression {
public:
  CountedRelation(const char* name, int* alive) : m_alive(alive) {
    property = name;
    ++*m_alive;
  }
  ~CountedRelation() override { --*m_alive; }

private:
  int* m_alive;
};

class OwnLink : public qelLinearExpression {};

} // namespace

TEST(ClientWithoutTypeInformation, ParsesAndEvaluates) {
  StrictParser parser("a = \"1\" or b = \"2\" and (c = \"3\" or a = \"4\")");
  ASSERT_TRUE(parser.Parse());
  NameEvaluator a("a"), b("b");
  EXPECT_TRUE(parser.Evaluate(&a));
  EXPECT_FALSE(parser.Evaluate(&b));
  EXPECT_FALSE(StrictParser("unknown = \"1\"").Parse());
}

TEST(ClientWithoutTypeInformation, PutsItsOwnClassesIntoATree) {
  int alive = 0;
  auto* negated = new NotGroup;
  negated->inner = new CountedRelation("b", &alive);
  auto* own = new OwnLink;
  own->left = new CountedRelation("a", &alive);
  own->operatorID = 11;
  own->right = negated;
  auto tree = std::make_unique<qelCompositeExpression>();
  tree->inner = own;

  NameEvaluator a("a"), b("b");
  EXPECT_TRUE(tree->Evaluate(&a));
  EXPECT_FALSE(tree->Evaluate(&b));
  EXPECT_EQ(tree->GetSearchCriteriaList(qelCString()).Compare("a,b,"), 0);
  EXPECT_TRUE(tree->IsSameAs(tree.get()));
  EXPECT_EQ(alive, 2);
  tree.reset();
  EXPECT_EQ(alive, 0);
}

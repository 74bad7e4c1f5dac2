// Chains of a hundred thousand relations: each operation on them ends soon, keeps within a small
// stack, and gives exactly the tree that regrouping step by step gives.

#include <qel/media/ExpressionParser.h>

#include <memory>
#include <random>

#include <gtest/gtest.h>

#include <qel/containers/qelArray.h>

#include "SearchSupport.h"

namespace {

using std::string;

const size_t kLong = 100000;

// A chain without regard to what is in its groups: items and the keywords between them.
struct Chain {
  std::vector<string> items; // a relation, or a group with its parentheses
  std::vector<bool> isOr;    // items.size() - 1

  bool IsGroup(size_t i) const { return items[i][0] == '('; }

  string Text() const {
    string text;
    for (size_t i = 0; i < items.size(); i++) {
      text += items[i];
      if (i < isOr.size())
        text += isOr[i] ? " or " : " and ";
    }
    return text;
  }

  // As an inner item of the dump: groups hold one relation here.
  string Item(size_t i) const {
    return IsGroup(i) ? "([" + items[i].substr(1, items[i].size() - 2) + "])" : items[i];
  }
};

// ((a k b) k c) …, every pair a group: what regrouping makes of pieces joined by one keyword.
string Folded(const std::vector<string>& pieces, const string& keyword) {
  string text;
  for (size_t i = 1; i < pieces.size(); i++)
    text += "([";
  text += pieces[0];
  for (size_t i = 1; i < pieces.size(); i++)
    text += keyword + '[' + pieces[i] + "]])";
  return text;
}

// The tree of a chain, written down at once. Runs of "and" fold from the left, then all of them
// around "or". A chain of one pair keeps its two links. A group that ends the chain never folds in,
// so what stands ahead of it folds to its last piece, whatever the keyword between the two.
string ExpectedTree(const Chain& chain) {
  const size_t count = chain.items.size();
  const bool endsInGroup = chain.IsGroup(count - 1);
  if (count == 1)
    return endsInGroup ? chain.Item(0) : '[' + chain.Item(0) + ']';

  const bool lastIsOr = chain.isOr[count - 2];
  bool anyOr = false;
  for (const bool isOr : chain.isOr)
    anyOr = anyOr || isOr;
  // With relations alone, a last "and" belongs to its run unless the whole chain is that run.
  const bool lastStandsAlone = endsInGroup || !anyOr || lastIsOr;

  std::vector<string> runs, run;
  const size_t folded = lastStandsAlone ? count - 1 : count;
  for (size_t i = 0; i < folded; i++) {
    run.push_back(chain.Item(i));
    if (i + 1 == folded || chain.isOr[i]) {
      runs.push_back(Folded(run, " and "));
      run.clear();
    }
  }
  string last, keyword;
  if (lastStandsAlone) {
    last = chain.Item(count - 1);
    keyword = lastIsOr ? " or " : " and ";
  } else {
    last = runs.back();
    keyword = " or ";
    runs.pop_back();
  }
  if (!endsInGroup)
    last = '[' + last + ']';
  return '[' + Folded(runs, " or ") + keyword + last + ']';
}

string Relation(size_t i) {
  return "p" + std::to_string(i) + " = \"1\"";
}

enum Keywords { AllAnd, AllOr, Alternating, Random };

Chain MakeChain(size_t count, Keywords keywords, bool groups, unsigned seed) {
  std::mt19937 random(seed);
  Chain chain;
  for (size_t i = 0; i < count; i++) {
    const bool group = groups && random() % 3 == 0;
    chain.items.push_back(group ? '(' + Relation(i) + ')' : Relation(i));
    if (i + 1 < count)
      chain.isOr.push_back(keywords == AllOr || (keywords == Alternating && i % 2 == 0) ||
                           (keywords == Random && random() % 2 == 0));
  }
  return chain;
}

// A parser that tells how deep the stack is when it asks about a property.
class GaugedParser : public OpenParser {
public:
  GaugedParser(const string& text, StackGauge& gauge) : OpenParser(text), m_gauge(gauge) {}

protected:
  int GetPropertyID(const qelCString&) override {
    m_gauge.Mark();
    return 0;
  }

private:
  StackGauge& m_gauge;
};

// A leaf that marks the stack in whatever is done to it.
class GaugedLeaf : public qelSearchExpression {
public:
  explicit GaugedLeaf(StackGauge& gauge) : m_gauge(gauge) {}
  ~GaugedLeaf() override { m_gauge.Mark(); }
  void Display() override { m_gauge.Mark(); }
  qelCString GetSearchCriteriaList(const qelCString& list) override {
    m_gauge.Mark();
    return list;
  }
  bool Evaluate(qelSearchExpressionEvaluator*) override {
    m_gauge.Mark();
    return true;
  }
  bool IsSameAs(qelSearchExpression*) override {
    m_gauge.Mark();
    return true;
  }

private:
  StackGauge& m_gauge;
};

// A tree of the given depth that ends in the leaf: to the left through groups, or to the right.
qelSearchExpression* DeepTree(size_t depth, bool toTheRight, qelSearchExpression* leaf) {
  qelSearchExpression* tree = leaf;
  for (size_t i = 0; i < depth; i++) {
    auto* link = new qelLinearExpression;
    link->operatorText = "and";
    link->operatorID = 11;
    link->left = tree;
    link->right = new qelLinearExpression;
    if (toTheRight)
      std::swap(link->left, link->right);
    tree = link;
    if (!toTheRight) {
      auto* group = new qelCompositeExpression;
      group->inner = tree;
      tree = group;
    }
  }
  return tree;
}

size_t CountDiscriminants(qelExpressionParser& parser) {
  qelArray_t* const list = parser.GetDiscriminantCriteria();
  const size_t count = qelArray_GetCount(list);
  qelArray_Delete(list);
  return count;
}

} // namespace

TEST(ChainTree, IsWhatTheStepsGiveForShortChains) {
  for (unsigned seed = 0; seed < 4000; seed++) {
    const Chain chain = MakeChain(1 + seed % 9, Random, seed % 2 == 1, seed);
    OpenParser parser(chain.Text());
    ASSERT_TRUE(parser.Parse());
    ASSERT_EQ(Dump(parser.m_root), ExpectedTree(chain)) << chain.Text();
  }
}

TEST(LongChain, HasTheSameTreeAsAShortOne) {
  for (const Keywords keywords : {AllAnd, AllOr, Alternating, Random}) {
    SCOPED_TRACE(keywords);
    const Chain chain = MakeChain(kLong, keywords, keywords == Random, 77);
    OpenParser parser(chain.Text());
    ASSERT_TRUE(parser.Parse());
    EXPECT_TRUE(Dump(parser.m_root) == ExpectedTree(chain)); // Too long to print.
  }
}

TEST(LongChain, IsParsedAndEvaluatedInASmallStack) {
  for (const Keywords keywords : {AllAnd, AllOr, Alternating, Random}) {
    SCOPED_TRACE(keywords);
    StackGauge gauge;
    gauge.Mark();
    GaugedParser parser(MakeChain(kLong, keywords, true, 78).Text(), gauge);
    ASSERT_TRUE(parser.Parse());
    size_t asked = 0;
    bool answer = keywords != AllOr;
    AskingEvaluator evaluator([&](qelRelExpression*) {
      gauge.Mark();
      asked++;
      return answer;
    });
    EXPECT_EQ(parser.Evaluate(&evaluator), answer);
    if (keywords == AllAnd || keywords == AllOr) {
      EXPECT_EQ(asked, kLong);
      answer = !answer;
      EXPECT_EQ(parser.Evaluate(&evaluator), answer);
      EXPECT_EQ(asked, kLong + 1);
    }
    EXPECT_LT(gauge.Spread(), kSmallStack);
  }
}

TEST(LongChain, IsListedComparedAndPrinted) {
  for (const Keywords keywords : {AllAnd, Alternating}) {
    SCOPED_TRACE(keywords);
    const Chain chain = MakeChain(kLong, keywords, keywords == AllAnd, 79);
    OpenParser one(chain.Text()), two(chain.Text()), shorter(chain.Text() + " or x = \"1\"");
    ASSERT_TRUE(one.Parse());
    ASSERT_TRUE(two.Parse());
    ASSERT_TRUE(shorter.Parse());
    EXPECT_TRUE(one.IsSameAs(&two));
    EXPECT_FALSE(one.IsSameAs(&shorter));
    EXPECT_FALSE(shorter.IsSameAs(&one));

    string names;
    for (size_t i = 0; i < kLong; i++) {
      // Names of one length, the longest, are never the end of another's.
      names += "p" + std::to_string(i) + ',';
    }
    EXPECT_TRUE(ToStd(one.GetSearchCriteriaList()) == names);

    testing::internal::CaptureStdout();
    one.Display();
    const string printed = testing::internal::GetCapturedStdout();
    string relations = printed;
    for (const char c : {'(', ')', '\n'})
      relations.erase(std::remove(relations.begin(), relations.end(), c), relations.end());
    string expected = chain.Text();
    for (const char c : {'(', ')'})
      expected.erase(std::remove(expected.begin(), expected.end(), c), expected.end());
    EXPECT_TRUE(relations == expected);
  }
}

TEST(LongChain, GivesItsDiscriminants) {
  OpenParser all(MakeChain(kLong, AllAnd, true, 80).Text());
  ASSERT_TRUE(all.Parse());
  EXPECT_EQ(CountDiscriminants(all), kLong);
  qelCString value;
  EXPECT_TRUE(all.GetRelExpressionValue("p99999", 0, value));
  EXPECT_FALSE(all.GetRelExpressionValue("p99999", 1, value));
  OpenParser none(MakeChain(kLong, AllOr, false, 80).Text());
  ASSERT_TRUE(none.Parse());
  EXPECT_EQ(CountDiscriminants(none), 0u);
}

TEST(LongChain, SharesItsTreeWithACopyAtOnce) {
  OpenParser parser(MakeChain(kLong, Alternating, false, 81).Text());
  ASSERT_TRUE(parser.Parse());
  OpenParser copy(parser);
  EXPECT_EQ(copy.m_root, parser.m_root);
  qelLinearExpression link(*static_cast<qelLinearExpression*>(parser.m_root));
  EXPECT_EQ(link.left, static_cast<qelLinearExpression*>(parser.m_root)->left);
  EXPECT_TRUE(link.IsSameAs(parser.m_root));
  link.left = link.right = nullptr;
  copy.m_root = nullptr;
}

TEST(LongChain, IsGivenUpInOneGoWhenItFailsAtItsEnd) {
  const string text = MakeChain(kLong, Random, true, 82).Text();
  for (const char* end : {" and", " and (", " or x = \"", ")"}) {
    SCOPED_TRACE(end);
    OpenParser parser(text + end);
    EXPECT_FALSE(parser.Parse());
  }
}

TEST(LongChain, InGroupsUpToTheBoundHasItsTreeToo) {
  const size_t depth = qelExpressionParser::MaxGroupDepth;
  const Chain chain = MakeChain(kLong / 10, Random, false, 83);
  // The group ends the chain each time, so that every level is regrouped.
  string text = chain.Text(), tree = ExpectedTree(chain);
  for (size_t i = 0; i < depth; i++) {
    text = "a = \"1\" and b = \"1\" or (" + text + ')';
    tree = "[([a = \"1\" and [b = \"1\"]]) or (" + tree + ")]";
  }
  OpenParser parser(text);
  ASSERT_TRUE(parser.Parse());
  EXPECT_TRUE(Dump(parser.m_root) == tree);
}

TEST(DeepTree, IsWalkedAndDestroyedInASmallStack) {
  for (const bool toTheRight : {false, true}) {
    SCOPED_TRACE(toTheRight);
    StackGauge evaluating, listing, comparing, printing, destroying;
    const auto check = [](const StackGauge& gauge) {
      EXPECT_TRUE(gauge.IsMarked());
      EXPECT_LT(gauge.Spread(), kSmallStack);
    };
    const auto with = [&](StackGauge& gauge) {
      gauge.Mark();
      return DeepTree(kLong, toTheRight, new GaugedLeaf(gauge));
    };
    std::unique_ptr<qelSearchExpression> tree(with(evaluating));
    EXPECT_TRUE(tree->Evaluate(nullptr));
    check(evaluating);
    tree.reset(with(listing));
    EXPECT_EQ(ToStd(tree->GetSearchCriteriaList("a,")), "a,");
    check(listing);
    tree.reset(with(comparing));
    EXPECT_TRUE(tree->IsSameAs(tree.get()));
    check(comparing);
    tree.reset(with(printing));
    testing::internal::CaptureStdout();
    tree->Display();
    testing::internal::GetCapturedStdout();
    check(printing);
    tree.reset(with(destroying));
    tree.reset();
    check(destroying);
  }
}

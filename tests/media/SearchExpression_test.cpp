#include <qel/media/SearchExpression.h>

#include <memory>
#include <random>

#include <gtest/gtest.h>

#include <qel/media/CriteriaList.h>

#include "SearchSupport.h"

namespace {

using std::string;

enum {
  kEqual = 1,
  kNotEqual,
  kAtMost,
  kAtLeast,
  kGreater,
  kLess,
  kContains,
  kDoesNotContain,
  kDerivedFrom,
  kExists,
  kAnd,
  kOr,
  kLike
};

// A relation with its gate in the open.
class OpenRel : public qelRelExpression {
public:
  explicit OpenRel(const string& text, int op = kEqual, const string& name = "a") {
    property = ToQel(name);
    operatorID = op;
    value = ToQel(text);
  }
  using qelRelExpression::ConvertToDateTime;
  using qelRelExpression::ValidateValue;
};

qelRelExpression* NewRel(const string& name, const string& value = "1", int op = kEqual) {
  auto* rel = new qelRelExpression;
  rel->property = ToQel(name);
  rel->operatorText = "=";
  rel->operatorID = op;
  rel->value = ToQel(value);
  return rel;
}

qelLinearExpression* NewLink(qelSearchExpression* left, int op = 0,
                             qelSearchExpression* right = nullptr) {
  auto* link = new qelLinearExpression;
  link->left = left;
  link->operatorID = op;
  if (op != 0)
    link->operatorText = op == kAnd ? "and" : "or";
  link->right = right;
  return link;
}

qelCompositeExpression* NewGroup(qelSearchExpression* inner) {
  auto* group = new qelCompositeExpression;
  group->inner = inner;
  return group;
}

string Displayed(qelSearchExpression& expression) {
  testing::internal::CaptureStdout();
  expression.Display();
  return testing::internal::GetCapturedStdout();
}

// A leaf of a class that the library does not know, which counts its life and its calls.
class ForeignLeaf : public qelSearchExpression {
public:
  ForeignLeaf(bool result, int* alive) : m_result(result), m_alive(alive) { ++*m_alive; }
  ~ForeignLeaf() override { --*m_alive; }
  void Display() override { printf("leaf"); }
  qelCString GetSearchCriteriaList(const qelCString& list) override {
    return qelCString("<") + list + ">";
  }
  bool Evaluate(qelSearchExpressionEvaluator*) override { return m_result; }
  bool IsSameAs(qelSearchExpression* other) override { return other->GetType() == 0; }

private:
  bool m_result;
  int* m_alive;
};

// A group that means the opposite.
class NotGroup : public qelCompositeExpression {
public:
  bool Evaluate(qelSearchExpressionEvaluator* evaluator) override {
    return !qelCompositeExpression::Evaluate(evaluator);
  }
  void Display() override {
    printf("not ");
    qelCompositeExpression::Display();
  }
  qelCString GetSearchCriteriaList(const qelCString& list) override {
    return qelCompositeExpression::GetSearchCriteriaList(list) + "not,";
  }
  bool IsSameAs(qelSearchExpression*) override { return false; }
};

// A link that changes nothing but its class.
class OwnLink : public qelLinearExpression {};

bool AskByName(qelSearchExpression& expression, const string& trueOnes, string* asked = nullptr) {
  AskingEvaluator evaluator([&](qelRelExpression* rel) {
    if (asked != nullptr)
      *asked += ToStd(rel->property);
    return trueOnes.find(ToStd(rel->property)) != string::npos;
  });
  return expression.Evaluate(&evaluator);
}

} // namespace

TEST(SearchExpressionType, IsToldByTheVirtualOperations) {
  qelRelExpression rel;
  qelLinearExpression link;
  qelCompositeExpression group;
  int alive = 0;
  ForeignLeaf bare(true, &alive);
  EXPECT_EQ(bare.GetType(), 0);
  EXPECT_FALSE(bare.IsRel() || bare.IsComposite() || bare.IsLinear());
  EXPECT_EQ(rel.GetType(), 1);
  EXPECT_TRUE(rel.IsRel());
  EXPECT_FALSE(rel.IsComposite() || rel.IsLinear());
  EXPECT_EQ(group.GetType(), 2);
  EXPECT_TRUE(group.IsComposite());
  EXPECT_FALSE(group.IsRel() || group.IsLinear());
  EXPECT_EQ(link.GetType(), 3);
  EXPECT_TRUE(link.IsLinear());
  EXPECT_FALSE(link.IsRel() || link.IsComposite());
}

TEST(SearchExpressionType, StartsWithEmptyFields) {
  qelRelExpression rel;
  EXPECT_TRUE(rel.property.IsEmpty() && rel.operatorText.IsEmpty() && rel.value.IsEmpty());
  EXPECT_EQ(rel.propertyID, 0);
  EXPECT_EQ(rel.operatorID, 0);
  EXPECT_EQ(rel.valueKind, 0);
  EXPECT_FALSE(rel.dateValue.IsValid());
  qelLinearExpression link;
  EXPECT_EQ(link.left, nullptr);
  EXPECT_EQ(link.right, nullptr);
  EXPECT_EQ(link.operatorID, 0);
  EXPECT_EQ(qelCompositeExpression().inner, nullptr);
}

// Classification

TEST(ValidateValue, FindsOutTheTypeOfTheValueOnce) {
  const struct {
    const char* value;
    int kind; // 1 integer, 2 text, 3 date, 4 floating
  } rows[] = {
      {"0", 1},
      {"10", 1},
      {"010", 1},
      {" 7", 1},
      {"+5", 1},
      {"-5", 1},
      {"2147483647", 1},
      {"-2147483648", 1},
      {"2147483648", 4}, // Beyond 32 bits the integer reader gives up, the other does not.
      {"-2147483649", 4},
      {"1.5", 4},
      {"1.", 4},
      {".5", 4},
      {"1e3", 4},
      {"-0.0", 4},
      {"1e400", 2},
      {"", 2},
      {" ", 2},
      {"abc", 2},
      {"true", 2},
      {"10x", 2},
      {"10 ", 2},
      {"1,5", 2},
      {"0x10", 2},
      {"- 5", 2},
      {"2005-01-01", 3},
      {"2005-01", 3},
      {"1970-01", 2}, // Day 0 is in 1969.
      {"1970-02", 3},
      {"12-1", 2},
      {"2037-12-31", 3},
      {"2005-01-01T10:20:30", 3},
      {"2005-01-01T10:20:30.5Z", 3},
      {"2005-01-01T10:20:30+01:30", 3},
      {"2005", 1},
      {"2005-13-01", 2},
      {"2005-01-32", 2},
      {"2005-1-1x", 2},
      {"2005-01-01 ", 2},
      {"1969-12-31", 2},
      {"2038-01-01", 2},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.value);
    OpenRel rel(row.value);
    EXPECT_TRUE(rel.ValidateValue(2, nullptr));
    EXPECT_EQ(rel.valueKind, row.kind);
    for (const int kind : {1, 2, 3, 4})
      EXPECT_EQ(rel.ValidateValue(kind, ""), kind == 2 || kind == row.kind);
    rel.value = "something else"; // The type stays as it was found.
    EXPECT_TRUE(rel.ValidateValue(row.kind, nullptr));
  }
}

TEST(ValidateValue, StoresTheTypedValue) {
  OpenRel integer("-12"), floating("2.5"), date("2005-03-04T05:06:07.089");
  integer.ValidateValue(2, nullptr);
  floating.ValidateValue(2, nullptr);
  date.ValidateValue(2, nullptr);
  EXPECT_EQ(integer.longValue, -12);
  EXPECT_EQ(floating.doubleValue, 2.5);
  EXPECT_TRUE(date.dateValue == qelDateTime(4, qelDateTime::March, 2005, 5, 6, 7, 89));
}

TEST(ValidateValue, TakesThePresetTypeAsItIs) {
  OpenRel rel("10");
  rel.valueKind = 4;
  EXPECT_FALSE(rel.ValidateValue(1, ""));
  EXPECT_TRUE(rel.ValidateValue(4, ""));
}

TEST(ConvertToDateTime, BuildsALocalDateFromIsoText) {
  OpenRel rel("");
  qelDateTime date;
  ASSERT_TRUE(rel.ConvertToDateTime("2005-03-04T05:06:07.089Z", date));
  EXPECT_TRUE(date == qelDateTime(4, qelDateTime::March, 2005, 5, 6, 7, 89));
  ASSERT_TRUE(rel.ConvertToDateTime("2005-03-04T05:06:07+11:00", date));
  EXPECT_TRUE(date == qelDateTime(4, qelDateTime::March, 2005, 5, 6, 7, 0));
  ASSERT_TRUE(rel.ConvertToDateTime("2005-01", date)); // Day 0.
  EXPECT_TRUE(date == qelDateTime(31, qelDateTime::December, 2004, 0, 0, 0, 0));
  ASSERT_TRUE(rel.ConvertToDateTime("2005-02-31", date));
  EXPECT_TRUE(date == qelDateTime(3, qelDateTime::March, 2005, 0, 0, 0, 0));
}

TEST(ConvertToDateTime, IsFalseForWhatIsNoDate) {
  OpenRel rel("");
  qelDateTime date;
  for (const char* text : {"", "12", "2005", "2005-", "2005-00-01", "2005-01-01T24:00:00", "soon",
                           "1969-12-31", "2038-01-01", "0000-01-01"}) {
    SCOPED_TRACE(text);
    EXPECT_FALSE(rel.ConvertToDateTime(text, date));
  }
  EXPECT_FALSE(rel.ConvertToDateTime(nullptr, date));
}

// Match

TEST(MatchExists, AsksForACandidateOrForNone) {
  OpenRel present("true", kExists), absent("false", kExists), other("TRUE", kExists);
  EXPECT_FALSE(present.MatchString(""));
  EXPECT_FALSE(present.MatchString(nullptr));
  EXPECT_TRUE(present.MatchString("a"));
  EXPECT_TRUE(absent.MatchString(""));
  EXPECT_TRUE(absent.MatchString(nullptr));
  EXPECT_FALSE(absent.MatchString("a"));
  EXPECT_TRUE(other.MatchString("")); // Any value but "true" means absent.
  EXPECT_FALSE(other.MatchString("a"));
}

TEST(MatchExists, IsFalseForTypedCandidates) {
  for (const char* value : {"true", "false", "10", "1.5", "2005-01-01"}) {
    for (const char* candidate : {"", "true", "10", "1.5", "2005-01-01"}) {
      OpenRel rel(value, kExists);
      EXPECT_FALSE(rel.MatchInt(candidate));
      EXPECT_FALSE(rel.MatchDouble(candidate));
      EXPECT_FALSE(rel.MatchDate(qelCString(candidate)));
      EXPECT_FALSE(rel.MatchDate(qelDateTime()));
      EXPECT_FALSE(rel.MatchDate(qelDateTime(1, qelDateTime::May, 2005, 0, 0, 0, 0)));
      EXPECT_EQ(rel.valueKind, 2);
    }
  }
}

TEST(MatchExists, AnswersATypedTestWhoseTypeTheCallerHasSet) {
  OpenRel present("true", kExists);
  present.valueKind = 1;
  EXPECT_TRUE(present.MatchInt("x"));
  EXPECT_FALSE(present.MatchInt(""));
  present.valueKind = 4;
  EXPECT_TRUE(present.MatchDouble("x"));
  present.valueKind = 3;
  EXPECT_TRUE(present.MatchDate(qelCString("x")));
  EXPECT_TRUE(present.MatchDate(qelDateTime(1, qelDateTime::May, 2005, 0, 0, 0, 0)));
  EXPECT_FALSE(present.MatchDate(qelDateTime()));
}

TEST(MatchString, FollowsItsTable) {
  const struct {
    int op;
    const char* value;
    const char* candidate; // null: absent
    bool result;
  } rows[] = {
      {kEqual, "Abc", "aBC", true},
      {kEqual, "Abc", "abcd", false},
      {kEqual, "Abc", "ab", false},
      {kEqual, "", "", true},
      {kEqual, "", nullptr, true},
      {kEqual, "a", nullptr, false},
      {kEqual, "10", "010", false},
      {kEqual, "10", "10", true},
      {kNotEqual, "Abc", "aBC", false},
      {kNotEqual, "Abc", "abcd", true},
      {kNotEqual, "", nullptr, false},
      {kNotEqual, "a", nullptr, true},
      {kAtMost, "b", "a", false},
      {kAtMost, "b", "b", false},
      {kAtLeast, "b", "c", false},
      {kAtLeast, "b", "b", false},
      {kGreater, "b", "c", false},
      {kLess, "b", "a", false},
      {kContains, "AB", "xaby", true},
      {kContains, "ab", "AB", true},
      {kContains, "ab", "a b", false},
      {kContains, "", "x", false},
      {kContains, "", "", false},
      {kContains, "", nullptr, false},
      {kContains, "a", nullptr, false},
      {kDoesNotContain, "AB", "xaby", false},
      {kDoesNotContain, "ab", "a b", true},
      {kDoesNotContain, "", "x", true},
      {kDoesNotContain, "", nullptr, true},
      {kDoesNotContain, "a", nullptr, true},
      {kDerivedFrom, "a.b", "a.b.c", true},
      {kDerivedFrom, "a.b", "a.b", true},
      {kDerivedFrom, "a.b", "a.bc", true}, // A beginning of the text, not of a name in it.
      {kDerivedFrom, "a.b", "A.b.c", false},
      {kDerivedFrom, "a.b", "x.a.b", false},
      {kDerivedFrom, "a.b", "a.", false},
      {kDerivedFrom, "", "a", false},
      {kDerivedFrom, "", "", false},
      {kDerivedFrom, "a", nullptr, false},
      {kLike, "ab*", "abC", true},
      {kLike, "ab*", "ABC", false},
      {kLike, "*", "", true},
      {kLike, "*", nullptr, true},
      {kLike, "a?c", "abc", true},
      {kLike, "a?c", "abd", false},
      {kLike, "a[x-z]", "ay", true},
      {kLike, "", "", true},
      {kLike, "", "a", false},
      {0, "a", "a", false},
      {kAnd, "a", "a", false},
      {99, "a", "a", false},
      {-1, "a", "a", false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(string(row.value) + " against " + (row.candidate ? row.candidate : "null"));
    OpenRel rel(row.value, row.op);
    EXPECT_EQ(rel.MatchString(row.candidate), row.result) << "operator " << row.op;
  }
}

TEST(MatchString, RegardsCaseInDerivedFromAndLikeOnly) {
  EXPECT_TRUE(OpenRel("A", kEqual).MatchString("a"));
  EXPECT_FALSE(OpenRel("A", kNotEqual).MatchString("a"));
  EXPECT_TRUE(OpenRel("A", kContains).MatchString("a"));
  EXPECT_FALSE(OpenRel("A", kDoesNotContain).MatchString("a"));
  EXPECT_FALSE(OpenRel("A", kDerivedFrom).MatchString("a"));
  EXPECT_FALSE(OpenRel("A", kLike).MatchString("a"));
}

TEST(MatchString, FindsTheEmptyValueNowhere) {
  for (const char* candidate : {"", "a", static_cast<const char*>(nullptr)}) {
    EXPECT_FALSE(OpenRel("", kContains).MatchString(candidate));
    EXPECT_TRUE(OpenRel("", kDoesNotContain).MatchString(candidate));
    EXPECT_FALSE(OpenRel("", kDerivedFrom).MatchString(candidate));
  }
}

TEST(MatchString, IsLetThroughForValuesOfEveryType) {
  for (const char* value : {"10", "1.5", "2005-01-01", "text"}) {
    SCOPED_TRACE(value);
    OpenRel rel(value);
    EXPECT_TRUE(rel.MatchString(value));
    EXPECT_TRUE(rel.MatchString(value));
  }
}

TEST(MatchString, TakesZeroBytesOfTheValueAsBytes) {
  const string value("ab\0c", 4);
  EXPECT_FALSE(OpenRel(value, kEqual).MatchString("ab"));
  EXPECT_FALSE(OpenRel(value, kContains).MatchString("ab"));
  EXPECT_FALSE(OpenRel(value, kDerivedFrom).MatchString("ab"));
  EXPECT_FALSE(OpenRel(string("true\0", 5), kExists).MatchString("a"));
}

namespace {

// What the six comparisons say about a candidate below, at, above the value.
const struct {
  int op;
  bool below, same, above;
} kOrder[] = {
    {kEqual, false, true, false},
    {kNotEqual, true, false, true},
    {kAtMost, true, true, false},
    {kAtLeast, false, true, true},
    {kGreater, false, false, true},
    {kLess, true, false, false},
    {kContains, false, false, false},
    {kDoesNotContain, false, false, false},
    {kDerivedFrom, false, false, false},
    {kLike, false, false, false},
    {0, false, false, false},
    {99, false, false, false},
};

} // namespace

TEST(MatchInt, ComparesTheCandidateWithTheValue) {
  for (const auto& row : kOrder) {
    SCOPED_TRACE(row.op);
    OpenRel rel("10", row.op);
    EXPECT_EQ(rel.MatchInt("9"), row.below);
    EXPECT_EQ(rel.MatchInt("-2147483648"), row.below);
    EXPECT_EQ(rel.MatchInt("10"), row.same);
    EXPECT_EQ(rel.MatchInt("010"), row.same);
    EXPECT_EQ(rel.MatchInt(" +10"), row.same);
    EXPECT_EQ(rel.MatchInt("11"), row.above);
    EXPECT_EQ(rel.MatchInt("2147483647"), row.above);
  }
}

TEST(MatchInt, ReadsTheSmallestButOneAsTheSmallest) {
  for (const char* value : {"-2147483647", "-2147483648"}) {
    SCOPED_TRACE(value);
    OpenRel rel(value, kEqual);
    EXPECT_TRUE(rel.MatchInt("-2147483647"));
    EXPECT_TRUE(rel.MatchInt("-2147483648"));
    EXPECT_FALSE(rel.MatchInt("-2147483646"));
  }
}

TEST(MatchInt, IsFalseForACandidateThatIsNoInteger) {
  for (const char* candidate : {"", "x", "10x", "10 ", "10.0", "2147483648", "-2147483649"}) {
    SCOPED_TRACE(candidate);
    EXPECT_FALSE(OpenRel("10", kEqual).MatchInt(candidate));
    EXPECT_FALSE(OpenRel("10", kNotEqual).MatchInt(candidate));
    EXPECT_FALSE(OpenRel("10", kAtLeast).MatchInt(candidate));
  }
}

TEST(MatchInt, WantsAValueOfItsOwnType) {
  EXPECT_FALSE(OpenRel("1.5", kNotEqual).MatchInt("1"));
  EXPECT_FALSE(OpenRel("text", kNotEqual).MatchInt("1"));
  EXPECT_FALSE(OpenRel("2005-01-01", kGreater).MatchInt("2006"));
}

TEST(MatchDouble, ComparesTheCandidateWithTheValue) {
  for (const auto& row : kOrder) {
    SCOPED_TRACE(row.op);
    OpenRel rel("2.5", row.op);
    EXPECT_EQ(rel.MatchDouble("2.4999"), row.below);
    EXPECT_EQ(rel.MatchDouble("-1e300"), row.below);
    EXPECT_EQ(rel.MatchDouble("2.50"), row.same);
    EXPECT_EQ(rel.MatchDouble("25e-1"), row.same);
    EXPECT_EQ(rel.MatchDouble("3"), row.above);
  }
}

TEST(MatchDouble, WantsAFloatingValueAndCandidate) {
  EXPECT_FALSE(OpenRel("2", kEqual).MatchDouble("2")); // An integer.
  EXPECT_FALSE(OpenRel("10", kEqual).MatchDouble("10.0"));
  EXPECT_FALSE(OpenRel("text", kNotEqual).MatchDouble("1.5"));
  for (const char* candidate : {"", "x", "1.5x", "1.5 ", "1e999"}) {
    SCOPED_TRACE(candidate);
    EXPECT_FALSE(OpenRel("1.5", kNotEqual).MatchDouble(candidate));
  }
}

TEST(MatchDate, ComparesTheCandidateWithTheValue) {
  for (const auto& row : kOrder) {
    SCOPED_TRACE(row.op);
    OpenRel rel("2005-01-01T12:00:00.500", row.op);
    EXPECT_EQ(rel.MatchDate(qelCString("2005-01-01T12:00:00.499")), row.below);
    EXPECT_EQ(rel.MatchDate(qelCString("1999-01-01")), row.below);
    EXPECT_EQ(rel.MatchDate(qelCString("2005-01-01T12:00:00.500Z")), row.same);
    EXPECT_EQ(rel.MatchDate(qelCString("2005-01-01T12:00:00.500-05:00")), row.same);
    EXPECT_EQ(rel.MatchDate(qelCString("2005-01-02")), row.above);
    EXPECT_EQ(rel.MatchDate(qelDateTime(1, qelDateTime::January, 2005, 12, 0, 0, 499)), row.below);
    EXPECT_EQ(rel.MatchDate(qelDateTime(1, qelDateTime::January, 2005, 12, 0, 0, 500)), row.same);
    EXPECT_EQ(rel.MatchDate(qelDateTime(1, qelDateTime::January, 2005, 12, 0, 1, 0)), row.above);
  }
}

TEST(MatchDate, WantsADateOnBothSides) {
  for (const char* candidate : {"", "2005", "tomorrow", "2005-13-01", "1969-01-01"}) {
    SCOPED_TRACE(candidate);
    EXPECT_FALSE(OpenRel("2005-01-01", kNotEqual).MatchDate(qelCString(candidate)));
  }
  EXPECT_FALSE(OpenRel("2005", kNotEqual).MatchDate(qelCString("2005-01-01")));
  EXPECT_FALSE(OpenRel("text", kNotEqual).MatchDate(qelCString("2005-01-01")));
  EXPECT_FALSE(OpenRel("text", kNotEqual).MatchDate(qelDateTime::Now()));
}

TEST(MatchDate, ComparesAnInvalidDateLikeAnyOther) {
  const qelDateTime invalid; // Seconds -1.
  EXPECT_TRUE(OpenRel("2005-01-01", kLess).MatchDate(invalid));
  EXPECT_TRUE(OpenRel("2005-01-01", kNotEqual).MatchDate(invalid));
  EXPECT_FALSE(OpenRel("2005-01-01", kEqual).MatchDate(invalid));
}

TEST(MatchDate, TakesAMonthForTheLastDayBeforeIt) {
  OpenRel equal("2005-03", kEqual), less("2005-03-01", kLess);
  EXPECT_TRUE(equal.MatchDate(qelCString("2005-03")));
  EXPECT_TRUE(equal.MatchDate(qelCString("2005-02-28")));
  EXPECT_TRUE(equal.MatchDate(qelDateTime(28, qelDateTime::February, 2005, 0, 0, 0, 0)));
  EXPECT_FALSE(equal.MatchDate(qelCString("2005-03-01")));
  EXPECT_TRUE(less.MatchDate(qelCString("2005-03")));
  EXPECT_FALSE(OpenRel("2005-03-01", kNotEqual).MatchDate(qelCString("1970-01"))); // In 1969.
}

TEST(MatchDate, WorksWhereTheOthersDoNot) {
  OpenRel rel("2005-01-01", kLess);
  EXPECT_TRUE(rel.MatchDate(qelCString("2004-12-31")));
  EXPECT_FALSE(rel.MatchInt("2004"));
  EXPECT_FALSE(rel.MatchDouble("2004.5"));
  EXPECT_FALSE(rel.MatchString("2004-12-31"));
}

// Evaluate

TEST(RelExpressionEvaluate, AsksTheEvaluator) {
  qelRelExpression rel;
  const qelRelExpression* seen = nullptr;
  AskingEvaluator evaluator([&](qelRelExpression* asked) {
    seen = asked;
    return true;
  });
  EXPECT_TRUE(rel.Evaluate(&evaluator));
  EXPECT_EQ(seen, &rel);
}

TEST(LinearExpressionEvaluate, IsShortCircuitInTheOrderOfTheTree) {
  const struct {
    int op;
    const char* trueOnes;
    bool result;
    const char* asked;
  } rows[] = {
      {kAnd, "", false, "a"},   {kAnd, "a", false, "ab"}, {kAnd, "b", false, "a"},
      {kAnd, "ab", true, "ab"}, {kOr, "", false, "ab"},   {kOr, "a", true, "a"},
      {kOr, "b", true, "ab"},   {kOr, "ab", true, "a"},   {0, "b", false, "a"},
      {0, "a", true, "a"},      {7, "a", false, "ab"},    {7, "ab", true, "ab"},
      {7, "b", false, "a"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(string(row.trueOnes) + " with " + std::to_string(row.op));
    std::unique_ptr<qelSearchExpression> link(NewLink(NewRel("a"), row.op, NewLink(NewRel("b"))));
    string asked;
    EXPECT_EQ(AskByName(*link, row.trueOnes, &asked), row.result);
    EXPECT_EQ(asked, row.asked);
  }
}

TEST(LinearExpressionEvaluate, IsTrueWhenEmpty) {
  qelLinearExpression link;
  EXPECT_TRUE(link.Evaluate(nullptr));
  qelCompositeExpression group;
  EXPECT_TRUE(group.Evaluate(nullptr));
  std::unique_ptr<qelSearchExpression> tree(
      NewLink(NewGroup(NewLink(nullptr)), kAnd, NewGroup(NewGroup(nullptr))));
  EXPECT_TRUE(tree->Evaluate(nullptr));
}

TEST(LinearExpressionEvaluate, TakesADanglingOperatorForNone) {
  for (const int op : {int(kAnd), int(kOr), 7}) {
    std::unique_ptr<qelSearchExpression> link(NewLink(NewRel("a"), op));
    EXPECT_TRUE(AskByName(*link, "a"));
    EXPECT_FALSE(AskByName(*link, ""));
  }
}

TEST(CompositeExpressionEvaluate, GivesTheInnerResult) {
  std::unique_ptr<qelSearchExpression> group(NewGroup(NewGroup(NewRel("a"))));
  EXPECT_TRUE(AskByName(*group, "a"));
  EXPECT_FALSE(AskByName(*group, "b"));
}

TEST(DerivedExpressions, HaveTheirOverridesCalledInsideOfATree) {
  auto* negated = new NotGroup;
  negated->inner = NewRel("b");
  auto* own = new OwnLink;
  own->left = negated;
  own->operatorID = kOr;
  own->operatorText = "or";
  int alive = 0;
  own->right = NewLink(new ForeignLeaf(false, &alive));
  std::unique_ptr<qelSearchExpression> tree(NewLink(NewRel("a"), kAnd, NewGroup(own)));

  EXPECT_TRUE(AskByName(*tree, "a"));
  EXPECT_FALSE(AskByName(*tree, "ab"));
  EXPECT_EQ(Displayed(*tree), "a = \"1\" and (not (b = \"1\") or leaf)");
  EXPECT_EQ(ToStd(tree->GetSearchCriteriaList("")), "<a,b,not,>");
  EXPECT_FALSE(tree->IsSameAs(tree.get())); // NotGroup says so.
  EXPECT_EQ(alive, 1);
  tree.reset();
  EXPECT_EQ(alive, 0);
}

TEST(DerivedExpressions, GoOnWithWhatTheirOverrideMadeOfTheList) {
  int alive = 0;
  const string longName(400, 'x');
  std::unique_ptr<qelSearchExpression> tree(
      NewLink(NewRel(longName), kAnd,
              NewLink(new ForeignLeaf(true, &alive), kAnd,
                      NewLink(NewRel("x"), kAnd, NewLink(NewRel(longName + "y"))))));
  EXPECT_EQ(ToStd(tree->GetSearchCriteriaList("")),
            "<" + longName + ",>" + longName + "y,"); // "x," ends the long name.
}

// Lists

TEST(GetSearchCriteriaList, NamesEachPropertyOnceInOrder) {
  std::unique_ptr<qelSearchExpression> tree(
      NewLink(NewRel("b"), kAnd,
              NewLink(NewGroup(NewLink(NewRel("a"), kOr, NewLink(NewRel("b")))), kAnd,
                      NewLink(NewRel("c")))));
  EXPECT_EQ(ToStd(tree->GetSearchCriteriaList("")), "b,a,c,");
  EXPECT_EQ(ToStd(tree->GetSearchCriteriaList("c,")), "c,b,a,");
  EXPECT_EQ(ToStd(tree->GetSearchCriteriaList("no comma")), "no commab,a,c,");
  std::unique_ptr<qelSearchExpression> group(NewGroup(NewRel("a")));
  EXPECT_EQ(ToStd(group->GetSearchCriteriaList("")), "a,");
  EXPECT_EQ(ToStd(qelLinearExpression().GetSearchCriteriaList("x")), "x");
  EXPECT_EQ(ToStd(qelCompositeExpression().GetSearchCriteriaList("x")), "x");
}

TEST(GetSearchCriteriaList, TakesTheEndOfALongerNameForTheName) {
  EXPECT_EQ(ToStd(OpenRel("1", kEqual, "b").GetSearchCriteriaList("ab,")), "ab,");
  EXPECT_EQ(ToStd(OpenRel("1", kEqual, "a").GetSearchCriteriaList("ab,")), "ab,a,");
  EXPECT_EQ(ToStd(OpenRel("1", kEqual, "b,").GetSearchCriteriaList("ab,,")), "ab,,");
  EXPECT_EQ(ToStd(OpenRel("1", kEqual, "").GetSearchCriteriaList("a")), "a,");
  EXPECT_EQ(ToStd(OpenRel("1", kEqual, "").GetSearchCriteriaList("a,")), "a,");
  std::unique_ptr<qelSearchExpression> tree(
      NewLink(NewRel("ab"), kAnd, NewLink(NewRel("b"), kAnd, NewLink(NewRel("bc")))));
  EXPECT_EQ(ToStd(tree->GetSearchCriteriaList("")), "ab,bc,");
}

TEST(GetSearchCriteriaList, AgreesWithAScanForRandomNames) {
  std::mt19937 random(71);
  for (int round = 0; round < 60; round++) {
    // Few letters make many repeats, suffixes and commas; long lists have an index, short ones not.
    const int names = round < 30 ? 20 : 600;
    const char* const letters = round % 2 == 0 ? "ab," : "ab\0,cdefgh";
    const unsigned letterCount = round % 2 == 0 ? 3 : 10;
    string expected(round % 5 == 0 ? random() % 600 : 0, 'a');
    const string before = expected;
    qelSearchExpression* tree = nullptr;
    std::vector<string> order;
    for (int i = 0; i < names; i++) {
      string name;
      for (auto n = 1 + random() % (1 + random() % 12); n > 0; n--)
        name += letters[random() % letterCount];
      order.push_back(name);
    }
    for (size_t i = order.size(); i-- > 0;)
      tree = NewLink(NewRel(order[i]), tree != nullptr ? kAnd : 0, tree);
    for (const string& name : order) {
      if (expected.find(name + ',') == string::npos)
        expected += name + ',';
    }
    EXPECT_EQ(ToStd(tree->GetSearchCriteriaList(ToQel(before))), expected) << "round " << round;
    qelCString chained = ToQel(before); // Relation by relation, as the tree passes it on.
    for (const string& name : order)
      chained = OpenRel("1", kEqual, name).GetSearchCriteriaList(chained);
    EXPECT_EQ(ToStd(chained), expected) << "round " << round;
    delete tree;
  }
}

TEST(CriteriaList, StartsAgainWhenItIsReset) {
  qelCriteriaList list(qelCString("a,"));
  list.AddProperty("b");
  list.Reset(ToQel(string(1000, 'x')));
  list.AddProperty("a");
  list.AddProperty("xxx");
  list.AddProperty("a");
  EXPECT_EQ(ToStd(list.GetText()), string(1000, 'x') + "a,xxx,");
  list.Reset(qelCString());
  list.AddProperty("xxx");
  EXPECT_EQ(ToStd(list.GetText()), "xxx,");
}

// IsSameAs

TEST(RelExpressionIsSameAs, ComparesValuesAlone) {
  OpenRel one("1", kEqual, "a"), other("1", kNotEqual, "b"), two("2"), star("*");
  EXPECT_TRUE(one.IsSameAs(&other));
  EXPECT_FALSE(one.IsSameAs(&two));
  EXPECT_TRUE(one.IsSameAs(&star));
  EXPECT_FALSE(star.IsSameAs(&one)); // The star counts on the other side only.
  EXPECT_TRUE(star.IsSameAs(&star));
  OpenRel twoStars("**"), upper("A"), lower("a"), zero(string("1\0", 2)),
      starZero(string("*\0", 2));
  EXPECT_FALSE(one.IsSameAs(&twoStars));
  EXPECT_FALSE(upper.IsSameAs(&lower));
  EXPECT_FALSE(one.IsSameAs(&zero));
  EXPECT_FALSE(one.IsSameAs(&starZero));
}

TEST(RelExpressionIsSameAs, WantsARelation) {
  OpenRel rel("*");
  qelLinearExpression link;
  qelCompositeExpression group;
  EXPECT_FALSE(rel.IsSameAs(&link));
  EXPECT_FALSE(rel.IsSameAs(&group));
  EXPECT_FALSE(rel.IsSameAs(nullptr));
  EXPECT_FALSE(link.IsSameAs(&rel));
  EXPECT_FALSE(link.IsSameAs(&group));
  EXPECT_FALSE(link.IsSameAs(nullptr));
  EXPECT_FALSE(group.IsSameAs(&rel));
  EXPECT_FALSE(group.IsSameAs(&link));
  EXPECT_FALSE(group.IsSameAs(nullptr));
}

TEST(LinearExpressionIsSameAs, ComparesChildrenAndOperators) {
  const auto chain = [](const char* a, int op, const char* b) {
    return std::unique_ptr<qelSearchExpression>(
        NewLink(NewRel("x", a), op, b != nullptr ? NewLink(NewRel("y", b)) : nullptr));
  };
  const auto base = chain("1", kAnd, "2");
  EXPECT_TRUE(base->IsSameAs(base.get()));
  EXPECT_TRUE(base->IsSameAs(chain("1", kAnd, "2").get()));
  EXPECT_TRUE(base->IsSameAs(chain("*", kAnd, "*").get()));
  EXPECT_FALSE(base->IsSameAs(chain("1", kOr, "2").get()));
  EXPECT_FALSE(base->IsSameAs(chain("1", kAnd, "3").get()));
  EXPECT_FALSE(base->IsSameAs(chain("3", kAnd, "2").get()));
  EXPECT_FALSE(base->IsSameAs(chain("1", kAnd, nullptr).get()));
  EXPECT_FALSE(chain("1", kAnd, nullptr)->IsSameAs(base.get()));
}

TEST(LinearExpressionIsSameAs, LooksAtNothingElseWithoutALeft) {
  std::unique_ptr<qelSearchExpression> empty(NewLink(nullptr)),
      emptyWithMore(NewLink(nullptr, kOr, NewRel("a"))), full(NewLink(NewRel("a")));
  EXPECT_TRUE(empty->IsSameAs(emptyWithMore.get()));
  EXPECT_TRUE(emptyWithMore->IsSameAs(empty.get()));
  EXPECT_FALSE(empty->IsSameAs(full.get()));
  EXPECT_FALSE(full->IsSameAs(empty.get()));
}

TEST(CompositeExpressionIsSameAs, ComparesTheInner) {
  std::unique_ptr<qelSearchExpression> one(NewGroup(NewRel("a", "1"))),
      same(NewGroup(NewRel("b", "1"))), two(NewGroup(NewRel("a", "2"))), empty(NewGroup(nullptr));
  EXPECT_TRUE(one->IsSameAs(same.get()));
  EXPECT_FALSE(one->IsSameAs(two.get()));
  EXPECT_FALSE(one->IsSameAs(empty.get()));
  EXPECT_FALSE(empty->IsSameAs(one.get()));
  EXPECT_TRUE(empty->IsSameAs(empty.get()));
}

// Display

TEST(Display, PrintsEachKind) {
  OpenRel rel("v", kContains, "p");
  rel.operatorText = "contains";
  EXPECT_EQ(Displayed(rel), "p contains \"v\"");
  qelLinearExpression link;
  EXPECT_EQ(Displayed(link), "");
  link.operatorText = "and";
  EXPECT_EQ(Displayed(link), " and ");
  link.right = NewGroup(NewRel("a"));
  EXPECT_EQ(Displayed(link), " and (a = \"1\")");
  link.left = NewGroup(nullptr); // Prints nothing at all.
  EXPECT_EQ(Displayed(link), " and (a = \"1\")");
  std::unique_ptr<qelSearchExpression> group(
      NewGroup(NewLink(NewRel("a"), kOr, NewLink(NewRel("b")))));
  EXPECT_EQ(Displayed(*group), "(a = \"1\" or b = \"1\")");
}

// Shape and life

TEST(MakeComposite, GroupsTheLeftChildrenOfTwoLinks) {
  std::unique_ptr<qelLinearExpression> link(
      NewLink(NewRel("a"), kAnd, NewLink(NewRel("b"), kOr, NewLink(NewRel("c")))));
  qelSearchExpression* const second = link->right;
  qelSearchExpression* const rest = static_cast<qelLinearExpression*>(second)->right;
  link->MakeComposite();
  EXPECT_EQ(Dump(link.get()), "[([a = \"1\" and [b = \"1\"]]) or [c = \"1\"]]");
  EXPECT_EQ(link->operatorID, kOr);
  EXPECT_EQ(link->right, rest);
  auto* pair =
      static_cast<qelLinearExpression*>(static_cast<qelCompositeExpression*>(link->left)->inner);
  EXPECT_EQ(pair->operatorID, kAnd);
  EXPECT_EQ(pair->right, second);
  EXPECT_EQ(static_cast<qelLinearExpression*>(second)->operatorID, 0);
  EXPECT_TRUE(static_cast<qelLinearExpression*>(second)->operatorText.IsEmpty());
  EXPECT_EQ(static_cast<qelLinearExpression*>(second)->right, nullptr);
  link->MakeComposite();
  EXPECT_EQ(Dump(link.get()), "[([([a = \"1\" and [b = \"1\"]]) or [c = \"1\"]])]");
}

TEST(MakeComposite, DoesNothingWithoutANextLink) {
  std::unique_ptr<qelLinearExpression> single(NewLink(NewRel("a")));
  single->MakeComposite();
  EXPECT_EQ(Dump(single.get()), "[a = \"1\"]");
  std::unique_ptr<qelLinearExpression> group(NewLink(NewRel("a"), kAnd, NewGroup(NewRel("b"))));
  group->MakeComposite();
  EXPECT_EQ(Dump(group.get()), "[a = \"1\" and (b = \"1\")]");
}

TEST(ExpressionCopies, ShareTheirChildren) {
  std::unique_ptr<qelLinearExpression> link(NewLink(NewRel("a"), kAnd, NewLink(NewRel("b"))));
  qelLinearExpression copy(*link);
  EXPECT_EQ(copy.GetType(), 3);
  EXPECT_EQ(copy.left, link->left);
  EXPECT_EQ(copy.right, link->right);
  EXPECT_EQ(copy.operatorID, kAnd);
  EXPECT_EQ(ToStd(copy.operatorText), "and");
  copy.left = copy.right = nullptr;

  std::unique_ptr<qelCompositeExpression> group(NewGroup(NewRel("c")));
  qelCompositeExpression groupCopy(*group);
  EXPECT_EQ(groupCopy.inner, group->inner);
  groupCopy.inner = nullptr;
}

TEST(ExpressionCopies, LeaveTheFormerChildrenWhenAssigned) {
  int alive = 0;
  auto* former = new ForeignLeaf(true, &alive);
  qelLinearExpression link;
  link.left = former;
  link = qelLinearExpression();
  EXPECT_EQ(link.left, nullptr);
  EXPECT_EQ(alive, 1);
  qelCompositeExpression group;
  group.inner = former;
  group = qelCompositeExpression();
  EXPECT_EQ(group.inner, nullptr);
  EXPECT_EQ(alive, 1);
  delete former;
}

TEST(ExpressionCopies, HaveAllFieldsOfARelation) {
  OpenRel rel("12", kLess, "p");
  rel.propertyID = 4;
  rel.operatorText = "<";
  rel.ValidateValue(1, "");
  qelRelExpression copy(rel), assigned;
  assigned = rel;
  for (const qelRelExpression* other : {&copy, &assigned}) {
    EXPECT_EQ(ToStd(other->property), "p");
    EXPECT_EQ(other->propertyID, 4);
    EXPECT_EQ(ToStd(other->operatorText), "<");
    EXPECT_EQ(other->operatorID, kLess);
    EXPECT_EQ(ToStd(other->value), "12");
    EXPECT_EQ(other->longValue, 12);
    EXPECT_EQ(other->valueKind, 1);
  }
}

TEST(ExpressionDestruction, DeletesEveryChildOnce) {
  int alive = 0;
  const auto leaf = [&] { return new ForeignLeaf(true, &alive); };
  auto* derived = new NotGroup;
  derived->inner = NewLink(leaf(), kAnd, leaf());
  auto* own = new OwnLink;
  own->left = leaf();
  own->right = NewGroup(leaf());
  qelSearchExpression* tree = NewLink(
      NewGroup(NewLink(NewLink(leaf(), kAnd, derived), kOr, NewLink(nullptr, kOr, leaf()))), kAnd,
      NewLink(NewGroup(nullptr), kAnd, NewLink(own, kOr, NewGroup(NewGroup(leaf())))));
  EXPECT_EQ(alive, 7);
  delete tree;
  EXPECT_EQ(alive, 0);
}

#include <qel/media/ExpressionParser.h>

#include <memory>

#include <gtest/gtest.h>

#include <qel/containers/qelArray.h>

#include "SearchSupport.h"

namespace {

using std::string;

// A literal with its zero bytes.
template <size_t N>
string Zero(const char (&text)[N]) {
  return string(text, N - 1);
}

string Times(size_t n, const string& piece) {
  string all;
  all.reserve(n * piece.size());
  for (size_t i = 0; i < n; i++)
    all += piece;
  return all;
}

// The names of the relations that every match has to pass.
string Discriminants(qelExpressionParser& parser) {
  qelArray_t* const list = parser.GetDiscriminantCriteria();
  string names;
  for (size_t i = 0; i < qelArray_GetCount(list); i++)
    names += ToStd(static_cast<qelRelExpression*>(qelArray_GetAt(list, i))->property) + ' ';
  qelArray_Delete(list);
  return names;
}

// Evaluates with the properties whose names stand in `trueOnes` passing.
bool EvaluatesWith(qelExpressionParser& parser, const string& trueOnes) {
  AskingEvaluator evaluator(
      [&](qelRelExpression* rel) { return trueOnes.find(ToStd(rel->property)) != string::npos; });
  return parser.Evaluate(&evaluator);
}

struct GrammarRow {
  const char* label;
  string text;
  bool valid;
  string tree; // the whole tree, after regrouping if valid
  string rest; // what parsing leaves over
};

const GrammarRow kGrammar[] = {
    // Everything.
    {"star", "*", true, "null", ""},
    {"star in spaces", " * ", true, "null", ""},
    {"star with spaces behind", "*   ", true, "null", ""},
    {"star in all kinds of space", "\t\n\v*\f\r ", true, "null", ""},
    {"nothing", "", false, "null", ""},
    {"spaces alone", "   ", false, "null", "   "},
    {"star and a word", "* x", false, "null", "x"},
    {"star and spaces and a word", " *  x ", false, "null", "x "},
    {"two stars", "**", false, "null", "*"},
    {"star ahead of a relation", "*a = \"1\"", false, "null", "a = \"1\""},
    {"star and a zero byte", Zero("*\0"), false, "null", Zero("\0")},

    // Relations.
    {"one relation", "a = \"1\"", true, "[a = \"1\"]", ""},
    {"spaces behind", "a = \"1\" \t ", true, "[a = \"1\"]", ""},
    {"space ahead", " a = \"1\"", false, "null", " a = \"1\""},
    {"any amount and kind of space", "a\t\n=\v\f\r\"1\"", true, "[a = \"1\"]", ""},
    {"no space at all is one word", "a=\"1\"", false, "null", "a=\"1\""},
    {"no space behind the operator", "a =\"1\"", false, "null", "a =\"1\""},
    {"no space ahead of the operator", "a= \"1\"", false, "null", "a= \"1\""},
    {"word with operator bytes", "a=b<\"( = \"1\"", true, "[a=b<\"( = \"1\"]", ""},
    {"word alone", "a", false, "null", "a"},
    {"word and space", "a ", false, "null", "a "},
    {"word and operator", "a =", false, "null", "a ="},
    {"word, operator, space", "a = ", false, "null", "a = "},
    {"word ended by a parenthesis", "a) = \"1\"", false, "null", "a) = \"1\""},
    {"unknown operator", "a == \"1\"", false, "null", "a == \"1\""},
    {"operator in capitals", "a CONTAINS \"1\"", false, "null", "a CONTAINS \"1\""},
    {"operator cut short", "a contain \"1\"", false, "null", "a contain \"1\""},
    {"operator with more behind", "a containsx \"1\"", false, "null", "a containsx \"1\""},
    {"equal", "a = \"1\"", true, "[a = \"1\"]", ""},
    {"not equal", "a != \"1\"", true, "[a != \"1\"]", ""},
    {"at most", "a <= \"1\"", true, "[a <= \"1\"]", ""},
    {"at least", "a >= \"1\"", true, "[a >= \"1\"]", ""},
    {"greater", "a > \"1\"", true, "[a > \"1\"]", ""},
    {"less", "a < \"1\"", true, "[a < \"1\"]", ""},
    {"contains", "a contains \"1\"", true, "[a contains \"1\"]", ""},
    {"doesNotContain", "a doesNotContain \"1\"", true, "[a doesNotContain \"1\"]", ""},
    {"derivedfrom", "a derivedfrom \"1\"", true, "[a derivedfrom \"1\"]", ""},
    {"like", "a like \"1\"", true, "[a like \"1\"]", ""},
    {"exists true", "a exists true", true, "[a exists \"true\"]", ""},
    {"exists false", "a exists false", true, "[a exists \"false\"]", ""},
    {"exists with a quoted value", "a exists \"true\"", false, "null", "a exists \"true\""},
    {"exists with another word", "a exists maybe", false, "null", "a exists maybe"},
    {"exists in capitals", "a exists TRUE", false, "null", "a exists TRUE"},
    {"exists without a value", "dc:title exists", false, "null", "dc:title exists"},
    {"exists with a longer word", "a exists truest", false, "[a exists \"true\"]", "st"},
    {"a keyword as a property", "and = \"1\"", true, "[and = \"1\"]", ""},
    {"zero bytes in word and value", Zero("a\0b = \"1\0002\""), true, Zero("[a\0b = \"1\0002\"]"),
     ""},
    {"zero byte behind", Zero("a = \"1\"\0"), false, "[a = \"1\"]", Zero("\0")},
    {"zero byte in place of a space", Zero("a\0= \"1\""), false, "null", Zero("a\0= \"1\"")},
    {"bytes from 128 up are no space", "a\xa0\x85 = \"\xff\"", true, "[a\xa0\x85 = \"\xff\"]", ""},
    {"bytes 8, 14, 28 and 31 are no space", "\x08\x0e\x1c\x1f = \"1\"", true,
     "[\x08\x0e\x1c\x1f = \"1\"]", ""},

    // Values.
    {"empty value", "a = \"\"", true, "[a = \"\"]", ""},
    {"value with spaces and parentheses", "a = \" ) and ( \"", true, "[a = \" ) and ( \"]", ""},
    {"escaped quote", "title = \"a\\\"b\"", true, "[title = \"a\"b\"]", ""},
    {"escaped backslash", "a = \"\\\\\"", true, "[a = \"\\\"]", ""},
    {"n is just n", "a = \"\\n\\t\"", true, "[a = \"nt\"]", ""},
    {"escaped zero byte", Zero("a = \"\\\0\""), true, Zero("[a = \"\0\"]"), ""},
    {"unquoted value", "a = 1", false, "null", "a = 1"},
    {"single quotes", "a = '1'", false, "null", "a = '1'"},
    {"unterminated value", "title = \"abc", false, "null", "title = \"abc"},
    {"quote alone", "a = \"", false, "null", "a = \""},
    {"ends in a backslash", "title = \"a\\", false, "null", "title = \"a\\"},
    {"ends in an escaped quote", "a = \"a\\\"", false, "null", "a = \"a\\\""},
    {"ends in two backslashes", "a = \"\\\\", false, "null", "a = \"\\\\"},
    {"bytes behind the value", "a = \"1\"b", false, "[a = \"1\"]", "b"},
    {"a second value", "a = \"1\"\"2\"", false, "[a = \"1\"]", "\"2\""},

    // Chains.
    {"and", "a = \"1\" and b = \"2\"", true, "[a = \"1\" and [b = \"2\"]]", ""},
    {"or", "a = \"1\" or b = \"2\"", true, "[a = \"1\" or [b = \"2\"]]", ""},
    {"spaces of all kinds", "a = \"1\"\t\nand\r b = \"2\"", true, "[a = \"1\" and [b = \"2\"]]",
     ""},
    {"no logic keyword", "a = \"1\" b = \"2\"", false, "[a = \"1\"]", " b = \"2\""},
    {"no space ahead of and", "a = \"1\"and b = \"2\"", false, "[a = \"1\"]", "and b = \"2\""},
    {"no space behind and", "a = \"1\" and(b = \"2\")", false, "[a = \"1\" and]",
     " and(b = \"2\")"},
    {"and in capitals", "a = \"1\" AND b = \"2\"", false, "[a = \"1\"]", " AND b = \"2\""},
    {"longer keyword", "a = \"1\" andy = \"2\"", false, "[a = \"1\" and]", " andy = \"2\""},
    {"nothing behind and", "a = \"1\" and", false, "[a = \"1\" and]", " and"},
    {"a space behind and", "a = \"1\" and ", false, "null", "a = \"1\" and "},
    {"nothing ahead of and", "and dc:title = \"x\"", false, "null", "and dc:title = \"x\""},
    {"two keywords", "a = \"1\" and or b = \"2\"", false, "null", "a = \"1\" and or b = \"2\""},
    {"star in a chain", "a = \"1\" and *", false, "null", "a = \"1\" and *"},

    // Groups.
    {"group", "(a = \"1\")", true, "([a = \"1\"])", ""},
    {"group in spaces", "  (  a = \"1\"  )  ", true, "([a = \"1\"])", ""},
    {"group of a group", "((a = \"1\"))", true, "(([a = \"1\"]))", ""},
    {"group of a group in spaces", " ( ( a = \"1\" ) ) ", true, "(([a = \"1\"]))", ""},
    {"two groups", "(a = \"1\") and (b = \"2\")", true, "[([a = \"1\"]) and ([b = \"2\"])]", ""},
    {"group behind a relation", "a = \"1\" or (b = \"2\")", true, "[a = \"1\" or ([b = \"2\"])]",
     ""},
    {"group ahead of a relation", "(a = \"1\") or b = \"2\"", true,
     "[([a = \"1\"]) or [b = \"2\"]]", ""},
    {"no space between group and and", "(a = \"1\")and b = \"2\"", false, "([a = \"1\"])",
     "and b = \"2\""},
    {"no space between and and group", "(a = \"1\") and(b = \"2\")", false, "([a = \"1\"])",
     " and(b = \"2\")"},
    {"nothing behind a group's and", "(a = \"1\") and", false, "([a = \"1\"])", " and"},
    {"a space behind a group's and", "(a = \"1\") and ", false, "null", "(a = \"1\") and "},
    {"empty group", "()", false, "null", "()"},
    {"empty group in spaces", " ( ) ", false, "null", " ( ) "},
    {"star in a group", "(*)", false, "null", "(*)"},
    {"group not closed", "(a = \"1\"", false, "null", "(a = \"1\""},
    {"group not closed behind and", "(dc:title = \"a\" and", false, "null",
     "(dc:title = \"a\" and"},
    {"inner group not closed", "((a = \"1\")", false, "null", "((a = \"1\")"},
    {"closed twice", "(a = \"1\"))", false, "([a = \"1\"])", ")"},
    {"closed, never opened", "dc:title = \"a\" )", false, "[dc:title = \"a\"]", " )"},
    {"a parenthesis alone", ")", false, "null", ")"},
    {"an open parenthesis alone", "(", false, "null", "("},
    {"value ended by a parenthesis", "(a = \"1\"and)", false, "null", "(a = \"1\"and)"},
    {"two relations in a group", "(a = \"1\" b = \"2\")", false, "null", "(a = \"1\" b = \"2\")"},
    {"two groups without a keyword", "(a = \"1\") (b = \"2\")", false, "([a = \"1\"])",
     " (b = \"2\")"},
    {"spaces around a group are optional but a word's are not", "(a = \"1\") and ( b = \"2\" )",
     true, "[([a = \"1\"]) and ([b = \"2\"])]", ""},
    {"failure deep inside undoes all", "a = \"1\" and (b = \"2\" or (c = \"3\" and d = ))", false,
     "null", "a = \"1\" and (b = \"2\" or (c = \"3\" and d = ))"},
};

// Relations and their trees by letters alone: "a&b|(c)" is a = "1" and b = "1" or (c = "1").
string FromLetters(const string& letters) {
  string text;
  for (const char c : letters) {
    if (c == '&')
      text += " and ";
    else if (c == '|')
      text += " or ";
    else if (c == '(' || c == ')')
      text += c;
    else
      text += string(1, c) + " = \"1\"";
  }
  return text;
}

string ToLetters(string tree) {
  const auto replace = [&](const string& from, const string& to) {
    for (size_t at = 0; (at = tree.find(from, at)) != string::npos; at += to.size())
      tree.replace(at, from.size(), to);
  };
  replace(" = \"1\"", "");
  replace(" and ", "&");
  replace(" or ", "|");
  return tree;
}

} // namespace

TEST(Parse, TakesExactlyTheGrammarAndLeavesTheRest) {
  for (const GrammarRow& row : kGrammar) {
    SCOPED_TRACE(row.label);
    OpenParser parser(row.text);
    EXPECT_EQ(parser.Parse(), row.valid);
    EXPECT_EQ(parser.IsValid(), row.valid);
    EXPECT_EQ(Dump(parser.m_root), row.tree);
    EXPECT_EQ(parser.Rest(), row.rest);
  }
}

TEST(Parse, StoresWhatARelationSays) {
  OpenParser parser("dc:title doesNotContain \"a\\\"b\"");
  parser.propertyID = [](const string&) { return -7; };
  ASSERT_TRUE(parser.Parse());
  auto* link = static_cast<qelLinearExpression*>(parser.m_root);
  auto* rel = static_cast<qelRelExpression*>(link->left);
  EXPECT_EQ(ToStd(rel->property), "dc:title");
  EXPECT_EQ(rel->propertyID, -7);
  EXPECT_EQ(ToStd(rel->operatorText), "doesNotContain");
  EXPECT_EQ(rel->operatorID, 8);
  EXPECT_EQ(ToStd(rel->value), "a\"b");
  EXPECT_EQ(rel->valueKind, 0);
}

TEST(Parse, GivesEachOperatorItsNumber) {
  const std::pair<const char*, int> rows[] = {
      {"=", 1},     {"!=", 2},          {"<=", 3},       {">=", 4},
      {">", 5},     {"<", 6},           {"contains", 7}, {"doesNotContain", 8},
      {"like", 13}, {"derivedfrom", 9},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.first);
    OpenParser parser(string("a ") + row.first + " \"v\" or b exists false and c = \"1\"");
    ASSERT_TRUE(parser.Parse());
    auto* link = static_cast<qelLinearExpression*>(parser.m_root);
    EXPECT_EQ(link->operatorID, 12);
    EXPECT_EQ(static_cast<qelRelExpression*>(link->left)->operatorID, row.second);
    link = static_cast<qelLinearExpression*>(link->right);
    link =
        static_cast<qelLinearExpression*>(static_cast<qelCompositeExpression*>(link->left)->inner);
    EXPECT_EQ(link->operatorID, 11);
    EXPECT_EQ(static_cast<qelRelExpression*>(link->left)->operatorID, 10);
  }
}

TEST(Parse, IsInvalidBeforeItHasRun) {
  OpenParser parser("*");
  AskingEvaluator evaluator([](qelRelExpression*) { return true; });
  EXPECT_FALSE(parser.IsValid());
  EXPECT_FALSE(parser.Evaluate(&evaluator));
  EXPECT_FALSE(parser.IsSameAs(&parser));
  EXPECT_EQ(parser.m_root, nullptr);
  EXPECT_EQ(parser.Rest(), "*");
}

TEST(Parse, WorksASecondTimeOnWhatTheFirstLeft) {
  OpenParser twoStars("* *");
  EXPECT_FALSE(twoStars.Parse());
  EXPECT_EQ(twoStars.Rest(), "*");
  EXPECT_TRUE(twoStars.Parse());
  EXPECT_EQ(twoStars.Rest(), "");
  EXPECT_FALSE(twoStars.Parse());

  OpenParser groups("(a = \"1\")(b = \"2\")");
  EXPECT_FALSE(groups.Parse());
  EXPECT_EQ(Dump(groups.m_root), "([a = \"1\"])");
  EXPECT_TRUE(groups.Parse());
  EXPECT_EQ(Dump(groups.m_root), "([b = \"2\"])");
}

TEST(Parse, ReplacesAnOlderTreeAlsoByNone) {
  OpenParser parser("a = \"1\"");
  ASSERT_TRUE(parser.Parse());
  EXPECT_FALSE(parser.Parse());
  EXPECT_EQ(parser.m_root, nullptr);
  EXPECT_FALSE(parser.IsValid());
}

TEST(Parse, CallsOverridesThroughTheBase) {
  OpenParser open("a = \"1\"");
  open.propertyID = [](const string&) { return -1; };
  qelExpressionParser& parser = open;
  EXPECT_FALSE(parser.Parse());

  qelExpressionParser plain(qelCString("a = \"1\""));
  EXPECT_TRUE(plain.Parse());
}

TEST(GetPropertyID, RejectsWithMinusOneAlone) {
  for (const int id : {-1, -2, 0, 1, 2147483647, -2147483647 - 1}) {
    SCOPED_TRACE(id);
    OpenParser parser("a = \"1\" and b = \"2\"");
    parser.propertyID = [&](const string& name) { return name == "b" ? id : 5; };
    EXPECT_EQ(parser.Parse(), id != -1);
    if (id == -1) {
      EXPECT_EQ(parser.m_root, nullptr);
      EXPECT_EQ(parser.Rest(), "a = \"1\" and b = \"2\"");
      continue;
    }
    auto* second =
        static_cast<qelLinearExpression*>(static_cast<qelLinearExpression*>(parser.m_root)->right);
    EXPECT_EQ(static_cast<qelRelExpression*>(second->left)->propertyID, id);
  }
}

TEST(GetPropertyID, IsAskedForEachRelationInOrderAheadOfItsOperator) {
  std::vector<std::pair<char, string>> asked;
  OpenParser parser("(x >= \"1\") or y = \"2\"");
  parser.asked = &asked;
  ASSERT_TRUE(parser.Parse());
  const std::vector<std::pair<char, string>> expected = {
      {'P', "x"},   {'O', "="},  {'O', "!="}, {'O', "<="}, {'O', ">="}, // x's operator
      {'O', "and"}, {'O', "or"},                                        // x's logic, none
      {'O', "and"}, {'O', "or"},                                        // the group's
      {'P', "y"},   {'O', "="},
  };
  // Nothing is asked where no space stands, as behind x's value and behind y's.
  std::vector<std::pair<char, string>> without = expected;
  without.erase(without.begin() + 5, without.begin() + 7);
  EXPECT_EQ(asked, without);
}

TEST(OperandSupported, HidesARow) {
  OpenParser noAnd("a = \"1\" and b = \"2\"");
  noAnd.supported = [](const string& name) { return name != "and"; };
  EXPECT_FALSE(noAnd.Parse());
  EXPECT_EQ(Dump(noAnd.m_root), "[a = \"1\"]");
  EXPECT_EQ(noAnd.Rest(), " and b = \"2\"");

  OpenParser noEqual("a = \"1\"");
  noEqual.supported = [](const string& name) { return name != "="; };
  EXPECT_FALSE(noEqual.Parse());
  EXPECT_EQ(noEqual.m_root, nullptr);

  // Without "<=" the text's "<=" is "<" without its space.
  OpenParser noAtMost("a <= \"1\"");
  noAtMost.supported = [](const string& name) { return name != "<="; };
  EXPECT_FALSE(noAtMost.Parse());
}

TEST(SetOperands, ReplaceTheTables) {
  const qelExpressionOperand logic[] = {{"&", 11, 3}, {"|", 12, 3}, {nullptr, 0, 0}};
  const qelExpressionOperand binary[] = {
      {"is", 1, 1}, {"there", 10, 2}, {"ok", 77, 3}, {nullptr, 0, 0}};
  OpenParser parser("a is \"1\" | b there false & c ok ");
  parser.SetLogicOperands(logic);
  parser.SetBinaryOperands(binary);
  ASSERT_TRUE(parser.Parse());
  EXPECT_EQ(Dump(parser.m_root), "[a is \"1\" | [([b there \"false\" & [c ok \"\"]])]]");

  OpenParser old("a = \"1\"");
  old.SetBinaryOperands(binary);
  EXPECT_FALSE(old.Parse());
}

TEST(SetOperands, AcceptEmptyTables) {
  const qelExpressionOperand none[] = {{nullptr, 0, 0}};
  OpenParser noLogic("a = \"1\" and b = \"2\"");
  noLogic.SetLogicOperands(none);
  EXPECT_FALSE(noLogic.Parse());
  EXPECT_EQ(noLogic.Rest(), " and b = \"2\"");

  OpenParser noBinary("a = \"1\"");
  noBinary.SetBinaryOperands(nullptr);
  EXPECT_FALSE(noBinary.Parse());
}

TEST(SetOperands, TryRowsInTheirOrder) {
  const qelExpressionOperand binary[] = {{"<", 6, 1}, {"<=", 3, 1}, {nullptr, 0, 0}};
  OpenParser parser("a <= \"1\"");
  parser.SetBinaryOperands(binary);
  EXPECT_FALSE(parser.Parse()); // "<" is taken, and no space follows it.
}

TEST(SetOperands, KeepALinkWithANumberOfTheirOwnAsItIs) {
  const qelExpressionOperand logic[] = {
      {"and", 11, 3}, {"xor", 20, 3}, {"then", 0, 3}, {nullptr, 0, 0}};
  OpenParser parser("a = \"1\" xor b = \"1\" and c = \"1\" then d = \"1\"");
  parser.SetLogicOperands(logic);
  ASSERT_TRUE(parser.Parse());
  EXPECT_EQ(ToLetters(Dump(parser.m_root)), "[a xor [([b&[c]]) then [d]]]");
  // Any number but "or" goes on behind true only; 0 is no operator, so d is never asked.
  EXPECT_TRUE(EvaluatesWith(parser, "abc"));
  EXPECT_FALSE(EvaluatesWith(parser, "bc"));
  EXPECT_FALSE(EvaluatesWith(parser, "abd"));
  EXPECT_EQ(Discriminants(parser), "");
}

// Scanners

TEST(ParseExpression, LeavesThePartialTreeBehindAFailedEnd) {
  OpenParser parser("a = \"1\" and b = \"2\" c");
  EXPECT_FALSE(parser.ParseExpression());
  EXPECT_EQ(Dump(parser.m_root), "[a = \"1\" and [b = \"2\"]]");
  EXPECT_EQ(parser.Rest(), " c");
}

TEST(ParseExpression, DoesNotRegroup) {
  OpenParser parser("a = \"1\" and b = \"1\" or c = \"1\"");
  ASSERT_TRUE(parser.ParseExpression());
  EXPECT_EQ(ToLetters(Dump(parser.m_root)), "[a&[b|[c]]]");
}

TEST(ParseSearchExp, TakesOneSearchAndGivesNullOnFailure) {
  OpenParser parser(" (a = \"1\") )");
  qelSearchExpression* tree = nullptr;
  ASSERT_TRUE(parser.ParseSearchExp(&tree));
  EXPECT_EQ(Dump(tree), "([a = \"1\"])");
  EXPECT_EQ(parser.Rest(), " )");
  delete tree;
  EXPECT_FALSE(parser.ParseSearchExp(&tree));
  EXPECT_EQ(tree, nullptr);
  EXPECT_EQ(parser.Rest(), " )");
}

TEST(ParseRelExp, TakesOneRelationAndGivesNullOnFailure) {
  OpenParser parser("a = \"1\" and b");
  qelSearchExpression* tree = nullptr;
  ASSERT_TRUE(parser.ParseRelExp(&tree));
  EXPECT_TRUE(tree->IsRel());
  EXPECT_EQ(parser.Rest(), " and b");
  delete tree;
  EXPECT_FALSE(parser.ParseRelExp(&tree));
  EXPECT_EQ(tree, nullptr);
  EXPECT_EQ(parser.Rest(), " and b");
}

TEST(ParseOperand, StoresAKeywordThatNoSpaceFollowsAndGivesBackTheText) {
  OpenParser parser(" and(");
  qelCString keyword("old"), value("old");
  int id = -5;
  EXPECT_FALSE(parser.ParseOperand(qelDefaultLogicOperands, keyword, id, value));
  EXPECT_EQ(ToStd(keyword), "and");
  EXPECT_EQ(id, 11);
  EXPECT_EQ(ToStd(value), "old");
  EXPECT_EQ(parser.Rest(), " and(");
}

TEST(ParseOperand, KeepsTheKeywordOfAMissingValue) {
  OpenParser quoted(" = 1");
  qelCString keyword, value("old");
  int id = 0;
  EXPECT_FALSE(quoted.ParseOperand(qelDefaultBinaryOperands, keyword, id, value));
  EXPECT_EQ(ToStd(keyword), "=");
  EXPECT_EQ(id, 1);
  EXPECT_EQ(ToStd(value), "");
  EXPECT_EQ(quoted.Rest(), "1");

  OpenParser boolean(" exists maybe");
  EXPECT_FALSE(boolean.ParseOperand(qelDefaultBinaryOperands, keyword, id, value));
  EXPECT_EQ(id, 10);
  EXPECT_EQ(boolean.Rest(), "maybe");
}

// So a logic keyword of the caller's that wants a value may be all that stands behind a relation.
TEST(ParseOperand, LeavesALinkWithAnOperatorAndNothingToItsRight) {
  const qelExpressionOperand logic[] = {{"and", 11, 1}, {"or", 12, 1}, {nullptr, 0, 0}};
  for (const char* keyword : {"and", "or"}) {
    OpenParser parser(string("a = \"1\" ") + keyword + " ");
    parser.SetLogicOperands(logic);
    ASSERT_TRUE(parser.Parse());
    EXPECT_EQ(Dump(parser.m_root), string("[a = \"1\" ") + keyword + "]");
    EXPECT_TRUE(EvaluatesWith(parser, "a"));
    EXPECT_FALSE(EvaluatesWith(parser, "b"));
    EXPECT_EQ(ToStd(parser.GetSearchCriteriaList()), "a,");
    EXPECT_TRUE(parser.IsSameAs(&parser));
    EXPECT_EQ(Discriminants(parser), string(keyword) == "and" ? "a " : "");
  }
  OpenParser withValue("a = \"1\" and \"why\"b = \"2\"");
  withValue.SetLogicOperands(logic);
  ASSERT_TRUE(withValue.Parse());
  EXPECT_EQ(Dump(withValue.m_root), "[a = \"1\" and [b = \"2\"]]");
}

TEST(ParseOperand, WantsASpaceAheadAndARow) {
  qelCString keyword("old"), value;
  int id = -5;
  for (const char* text : {"and b", "", " ", " xor b", "  "}) {
    SCOPED_TRACE(text);
    OpenParser parser(text);
    EXPECT_FALSE(parser.ParseOperand(qelDefaultLogicOperands, keyword, id, value));
    EXPECT_EQ(parser.Rest(), text);
    EXPECT_EQ(ToStd(keyword), "old");
    EXPECT_EQ(id, -5);
  }
}

TEST(ParseWord, EndsAtSpaceParenthesisOrEnd) {
  const struct {
    const char* text;
    bool found;
    const char* word;
    const char* rest;
  } rows[] = {
      {"ab cd", true, "ab", " cd"}, {"ab)cd", true, "ab", ")cd"},
      {"ab", true, "ab", ""},       {"a(b\"c\\ ", true, "a(b\"c\\", " "},
      {"", false, "", ""},          {" a", false, "", " a"},
      {")", false, "", ")"},        {"\tx", false, "", "\tx"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    OpenParser parser(row.text);
    qelCString word("old");
    EXPECT_EQ(parser.ParseWord(word), row.found);
    EXPECT_EQ(ToStd(word), row.word);
    EXPECT_EQ(parser.Rest(), row.rest);
  }
}

TEST(ParseQuotedValue, UnescapesAndClearsOnFailure) {
  const struct {
    const char* text;
    bool found;
    const char* value;
    const char* rest;
  } rows[] = {
      {"\"ab\"c", true, "ab", "c"},
      {"\"\"", true, "", ""},
      {"\"\\\\\\\"\"x", true, "\\\"", "x"},
      {"\"\\a\\n\"", true, "an", ""},
      {"", false, "", ""},
      {"ab\"", false, "", "ab\""},
      {" \"a\"", false, "", " \"a\""},
      {"\"ab", false, "", "\"ab"},
      {"\"ab\\", false, "", "\"ab\\"},
      {"\"ab\\\"", false, "", "\"ab\\\""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    OpenParser parser(row.text);
    qelCString value("old");
    EXPECT_EQ(parser.ParseQuotedValue(value), row.found);
    EXPECT_EQ(ToStd(value), row.value);
    EXPECT_EQ(parser.Rest(), row.rest);
  }
}

TEST(ParseBoolValue, TakesTrueAndFalseOnly) {
  OpenParser parser("truefalseTrue");
  qelCString value;
  EXPECT_TRUE(parser.ParseBoolValue(value));
  EXPECT_EQ(ToStd(value), "true");
  EXPECT_TRUE(parser.ParseBoolValue(value));
  EXPECT_EQ(ToStd(value), "false");
  EXPECT_FALSE(parser.ParseBoolValue(value));
  EXPECT_EQ(ToStd(value), "false");
  EXPECT_EQ(parser.Rest(), "True");
}

TEST(ParseKeyword, TakesTheKeywordWhateverStandsBehind) {
  OpenParser parser("android");
  qelCString matched("old");
  EXPECT_FALSE(parser.ParseKeyword("androids", matched));
  EXPECT_FALSE(parser.ParseKeyword("And", matched));
  EXPECT_EQ(ToStd(matched), "old");
  EXPECT_EQ(parser.Rest(), "android");
  EXPECT_TRUE(parser.ParseKeyword("and", matched));
  EXPECT_EQ(ToStd(matched), "and");
  EXPECT_EQ(parser.Rest(), "roid");
}

TEST(ParseSpaces, TakesOneOrMore) {
  OpenParser parser(" \t\n\v\f\rx");
  EXPECT_TRUE(parser.ParseSpaces());
  EXPECT_EQ(parser.Rest(), "x");
  EXPECT_FALSE(parser.ParseSpaces());
  EXPECT_EQ(parser.Rest(), "x");
}

TEST(ParseSpacesChar, GivesBackTheSpacesWithoutItsCharacter) {
  OpenParser parser("  ;  ,");
  EXPECT_FALSE(parser.ParseSpacesChar(','));
  EXPECT_EQ(parser.Rest(), "  ;  ,");
  EXPECT_TRUE(parser.ParseSpacesChar(';'));
  EXPECT_EQ(parser.Rest(), "  ,");
  EXPECT_TRUE(parser.ParseSpacesChar(','));
  EXPECT_FALSE(parser.ParseSpacesChar(','));
  EXPECT_FALSE(parser.ParseSpacesChar('\0'));
}

TEST(ParseSpacesCharSpaces, TakesSpacesBehindToo) {
  OpenParser parser("  ;  ,");
  EXPECT_FALSE(parser.ParseSpacesCharSpaces(','));
  EXPECT_EQ(parser.Rest(), "  ;  ,");
  EXPECT_TRUE(parser.ParseSpacesCharSpaces(';'));
  EXPECT_EQ(parser.Rest(), ",");
  EXPECT_TRUE(parser.ParseSpacesCharSpaces(','));
  EXPECT_EQ(parser.Rest(), "");
}

TEST(ParseEOI, WantsNothingButSpaces) {
  OpenParser spaces("  ");
  EXPECT_TRUE(spaces.ParseEOI());
  EXPECT_EQ(spaces.Rest(), "");
  EXPECT_TRUE(spaces.ParseEOI());
  OpenParser more("  x");
  EXPECT_FALSE(more.ParseEOI());
  EXPECT_EQ(more.Rest(), "  x");
}

// Precedence

TEST(ManagePrecedence, BindsAndTighterThanOrFromTheLeft) {
  const struct {
    const char* text;
    const char* tree;
  } rows[] = {
      {"a", "[a]"},
      {"a&b", "[a&[b]]"},
      {"a|b", "[a|[b]]"},
      {"a&b|c", "[([a&[b]])|[c]]"},
      {"a|b&c", "[a|[([b&[c]])]]"},
      {"a&b&c", "[([a&[b]])&[c]]"},
      {"a|b|c", "[([a|[b]])|[c]]"},
      {"a&b&c&d", "[([([a&[b]])&[c]])&[d]]"},
      {"a&b|c&d", "[([a&[b]])|[([c&[d]])]]"},
      {"a|b&c|d", "[([a|[([b&[c]])]])|[d]]"},
      {"a|b&c&d", "[a|[([([b&[c]])&[d]])]]"},
      {"a|b|c&d", "[([a|[b]])|[([c&[d]])]]"},
      {"(a)", "([a])"},
      {"(a&b)", "([a&[b]])"},
      {"(a&b|c)", "([([a&[b]])|[c]])"},
      {"(a|b&c)", "([a|[([b&[c]])]])"},
      {"((a|b&c))", "(([a|[([b&[c]])]]))"},
      {"a&(b|c)", "[a&([b|[c]])]"},
      {"a&(b|c&d)", "[a&([b|[([c&[d]])]])]"},
      {"a&b&(c|d&e)", "[([a&[b]])&([c|[([d&[e]])]])]"},
      {"(a)&(b)", "[([a])&([b])]"},
      {"(a)&(b)&(c)", "[([([a])&[([b])]])&([c])]"},
      {"(a)|(b)|(c)", "[([([a])|[([b])]])|([c])]"},
      {"a&b|(c)", "[([a&[b]])|([c])]"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    OpenParser parser(FromLetters(row.text));
    ASSERT_TRUE(parser.Parse());
    EXPECT_EQ(ToLetters(Dump(parser.m_root)), row.tree);
  }
}

TEST(ManagePrecedence, LeavesAGroupToTheLeftAsParsed) {
  OpenParser parser(FromLetters("(a&b|c)|d"));
  ASSERT_TRUE(parser.Parse());
  EXPECT_EQ(ToLetters(Dump(parser.m_root)), "[([a&[b|[c]]])|[d]]");
  EXPECT_FALSE(EvaluatesWith(parser, "c")); // a and (b or c), or d
  EXPECT_TRUE(EvaluatesWith(parser, "ac"));
  EXPECT_TRUE(EvaluatesWith(parser, "d"));
}

TEST(ManagePrecedence, TestsAGroupBehindAndAgainstAllThatStandsAhead) {
  const struct {
    const char* text;
    const char* tree;
  } rows[] = {
      {"a|b&(c)", "[([a|[b]])&([c])]"},
      {"a|b&(c|d|e)", "[([a|[b]])&([([c|[d]])|[e]])]"},
      {"a|b|c&(d)", "[([([a|[b]])|[c]])&([d])]"},
      {"a|b&c&(d)", "[([a|[([b&[c]])]])&([d])]"},
      {"(a)|(b)&(c)", "[([([a])|[([b])]])&([c])]"},
      {"a|(b&(c))", "[a|([b&([c])])]"}, // Parentheses give the usual meaning.
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    OpenParser parser(FromLetters(row.text));
    ASSERT_TRUE(parser.Parse());
    EXPECT_EQ(ToLetters(Dump(parser.m_root)), row.tree);
  }
  OpenParser parser(FromLetters("a|b&(c)"));
  ASSERT_TRUE(parser.Parse());
  EXPECT_FALSE(EvaluatesWith(parser, "a"));
  EXPECT_TRUE(EvaluatesWith(parser, "ac"));
  EXPECT_TRUE(EvaluatesWith(parser, "bc"));
}

TEST(ManagePrecedence, GivesTheUsualMeaning) {
  OpenParser parser("a contains \"x\" and b = \"y\" or c < \"3\"");
  ASSERT_TRUE(parser.Parse());
  EXPECT_TRUE(EvaluatesWith(parser, "ab"));
  EXPECT_TRUE(EvaluatesWith(parser, "c"));
  EXPECT_FALSE(EvaluatesWith(parser, "a"));
  EXPECT_FALSE(EvaluatesWith(parser, "b"));
}

TEST(ManagePrecedence, DoesNothingAgainOrWhenInvalid) {
  OpenParser parser(FromLetters("a&b|c&d"));
  ASSERT_TRUE(parser.Parse());
  const string once = Dump(parser.m_root);
  parser.ManagePrecedence();
  EXPECT_EQ(Dump(parser.m_root), once);

  OpenParser invalid(FromLetters("a&b|c") + " x");
  EXPECT_FALSE(invalid.Parse());
  EXPECT_EQ(ToLetters(Dump(invalid.m_root)), "[a&[b|[c]]]");
  invalid.ManagePrecedence();
  EXPECT_EQ(ToLetters(Dump(invalid.m_root)), "[a&[b|[c]]]");
}

TEST(ManagePrecedence, RegroupsOnceInAWalk) {
  OpenParser parser(FromLetters("a&b&c|d"));
  ASSERT_TRUE(parser.ParseExpression());
  EXPECT_FALSE(parser.ManagePrecedence(parser.m_root, 11, true));
  EXPECT_EQ(ToLetters(Dump(parser.m_root)), "[([a&[b]])&[c|[d]]]");
  EXPECT_FALSE(parser.ManagePrecedence(parser.m_root, 11, true));
  EXPECT_EQ(ToLetters(Dump(parser.m_root)), "[([([a&[b]])&[c]])|[d]]");
  EXPECT_TRUE(parser.ManagePrecedence(parser.m_root, 11, true));
  EXPECT_TRUE(parser.ManagePrecedence(nullptr, 11, true));
}

TEST(ManagePrecedence, GroupsAPairThatIsNotFirst) {
  OpenParser parser(FromLetters("a&b"));
  ASSERT_TRUE(parser.ParseExpression());
  EXPECT_TRUE(parser.ManagePrecedence(parser.m_root, 11, true));
  EXPECT_EQ(ToLetters(Dump(parser.m_root)), "[a&[b]]");
  EXPECT_FALSE(parser.ManagePrecedence(parser.m_root, 11, false));
  EXPECT_EQ(ToLetters(Dump(parser.m_root)), "[([a&[b]])]");
  EXPECT_TRUE(parser.ManagePrecedence(static_cast<qelLinearExpression*>(parser.m_root)->left, 11,
                                      false)); // A group begins a chain of its own.
}

TEST(ManagePrecedence, StopsAtARelation) {
  qelRelExpression relation;
  OpenParser parser("*");
  EXPECT_TRUE(parser.ManagePrecedence(&relation, 0, false));
}

// The whole parser

TEST(ParserEvaluate, IsTrueForTheStarWithoutAsking) {
  OpenParser parser(" * ");
  ASSERT_TRUE(parser.Parse());
  EXPECT_TRUE(parser.Evaluate(nullptr));
  EXPECT_EQ(ToStd(parser.GetSearchCriteriaList()), "");
}

TEST(ParserEvaluate, IsFalseWhenInvalidWithoutAsking) {
  OpenParser parser("a = \"1\" x");
  EXPECT_FALSE(parser.Parse());
  EXPECT_FALSE(parser.Evaluate(nullptr));
}

TEST(ParserIsSameAs, WantsTwoValidTrees) {
  OpenParser a("a = \"1\""), b("b < \"1\""), star("*"), invalid("a = \"1\" x");
  a.Parse();
  b.Parse();
  star.Parse();
  invalid.Parse();
  EXPECT_TRUE(a.IsSameAs(&b));
  EXPECT_FALSE(a.IsSameAs(&star));
  EXPECT_FALSE(star.IsSameAs(&a));
  EXPECT_FALSE(star.IsSameAs(&star));
  EXPECT_FALSE(a.IsSameAs(&invalid));
  EXPECT_FALSE(invalid.IsSameAs(&a));
  EXPECT_FALSE(a.IsSameAs(nullptr));
}

TEST(ParserDisplay, PrintsTheTreeAndALineFeed) {
  const struct {
    const char* text;
    const char* output;
  } rows[] = {
      {"*", "*\n"},
      {"a = \"1\"", "a = \"1\"\n"},
      {"x", ""},
      {"a = \"1\" x", ""},
      {"a = \"1\" and b exists true or c < \"2\"",
       "(a = \"1\" and b exists \"true\") or c < \"2\"\n"},
      {"a = \"1\" and (b = \"\\\"\")", "a = \"1\" and (b = \"\"\")\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    OpenParser parser(row.text);
    parser.Parse();
    testing::internal::CaptureStdout();
    parser.Display();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), row.output);
  }
}

TEST(ParserGetSearchCriteriaList, SpeaksOfThePartialTreeToo) {
  OpenParser valid("b = \"1\" and (a = \"1\" or b = \"2\") or c = \"3\"");
  ASSERT_TRUE(valid.Parse());
  EXPECT_EQ(ToStd(valid.GetSearchCriteriaList()), "b,a,c,");

  OpenParser invalid("a = \"1\" or b = \"1\" x");
  EXPECT_EQ(ToStd(invalid.GetSearchCriteriaList()), "");
  EXPECT_FALSE(invalid.Parse());
  EXPECT_EQ(ToStd(invalid.GetSearchCriteriaList()), "a,b,");
}

TEST(GetDiscriminantCriteria, GivesTheTestsOfTheTopmostConjunction) {
  const struct {
    const char* text;
    const char* names;
  } rows[] = {
      {"a", "a "},
      {"a&b", "a b "},
      {"a&b&c", "a b c "},
      {"a|b", ""},
      {"a&b|c", ""},
      {"a|b&c", ""},
      {"a&(b|c)", "a "},
      {"(a|b)&c", "c "},
      {"(a|b)&c&(d|e)&f", "c f "},
      {"a&(b&c)", "a b c "},
      {"(a&b)&c", "a b c "},
      {"((a&(b|c)))&(d&e)", "a d e "},
      {"(a)", "a "},
      {"((a|b))", ""},
      {"(a&b|c)&d", "a d "}, // The group stays a and (b or c), an "or" behind a.
      {"a&a", "a a "},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    OpenParser parser(FromLetters(row.text));
    ASSERT_TRUE(parser.Parse());
    EXPECT_EQ(Discriminants(parser), row.names);
  }
}

TEST(GetDiscriminantCriteria, IsEmptyForTheStarAndWhenInvalid) {
  for (const char* text : {"*", "a = \"1\" x", ""}) {
    OpenParser parser(text);
    parser.Parse();
    EXPECT_EQ(Discriminants(parser), "");
  }
}

TEST(GetDiscriminantCriteria, AppendsToTheListOfASubclass) {
  OpenParser parser(FromLetters("a&b"));
  ASSERT_TRUE(parser.Parse());
  qelArray_t* const list = qelArray_New();
  parser.GetDiscriminantCriteria(list, parser.m_root);
  parser.GetDiscriminantCriteria(list, nullptr);
  parser.GetDiscriminantCriteria(list, static_cast<qelLinearExpression*>(parser.m_root)->right);
  EXPECT_EQ(qelArray_GetCount(list), 3u);
  qelRelExpression relation; // Neither group nor link.
  parser.GetDiscriminantCriteria(list, &relation);
  EXPECT_EQ(qelArray_GetCount(list), 3u);
  EXPECT_EQ(list->freeItem, nullptr);
  qelArray_Delete(list);
}

TEST(GetRelExpressionValue, FindsTheNthTestOfAProperty) {
  OpenParser parser("a = \"1\" and b = \"x\" and a < \"2\" and (a = \"3\" or b = \"y\")");
  ASSERT_TRUE(parser.Parse());
  qelCString value("old");
  EXPECT_TRUE(parser.GetRelExpressionValue("a", 0, value));
  EXPECT_EQ(ToStd(value), "1");
  EXPECT_TRUE(parser.GetRelExpressionValue("a", 1, value));
  EXPECT_EQ(ToStd(value), "2");
  EXPECT_FALSE(parser.GetRelExpressionValue("a", 2, value));
  EXPECT_FALSE(parser.GetRelExpressionValue("A", 0, value));
  EXPECT_FALSE(parser.GetRelExpressionValue("", 0, value));
  EXPECT_FALSE(parser.GetRelExpressionValue(nullptr, 0, value));
  EXPECT_FALSE(parser.GetRelExpressionValue("a", SIZE_MAX, value));
  EXPECT_EQ(ToStd(value), "2");
  EXPECT_TRUE(parser.GetRelExpressionValue("b", 0, value));
  EXPECT_EQ(ToStd(value), "x");
}

TEST(GetRelExpressionValue, IsFalseWhenInvalid) {
  OpenParser parser("a = \"1\" x");
  parser.Parse();
  qelCString value("old");
  EXPECT_FALSE(parser.GetRelExpressionValue("a", 0, value));
  EXPECT_EQ(ToStd(value), "old");
}

TEST(ParserCopy, SharesTheTree) {
  OpenParser parser("a = \"1\" x");
  parser.Parse();
  OpenParser copy(parser);
  EXPECT_EQ(copy.m_root, parser.m_root);
  EXPECT_EQ(copy.Rest(), " x");
  OpenParser assigned("b = \"2\"");
  assigned = parser;
  EXPECT_EQ(assigned.m_root, parser.m_root);
  EXPECT_EQ(assigned.Rest(), " x");
  copy.m_root = nullptr; // One of them deletes it.
  assigned.m_root = nullptr;
}

TEST(ParserCopy, LeavesTheFormerTreeOfTheTarget) {
  OpenParser parser("a = \"1\""), target("b = \"2\"");
  ASSERT_TRUE(parser.Parse());
  ASSERT_TRUE(target.Parse());
  std::unique_ptr<qelSearchExpression> former(target.m_root);
  target = parser;
  EXPECT_EQ(Dump(former.get()), "[b = \"2\"]");
  target.m_root = nullptr;
}

// Limits

TEST(ParserDepth, TakesGroupsUpToTheBound) {
  const size_t depth = qelExpressionParser::MaxGroupDepth;
  ASSERT_GE(depth, 1000u);
  OpenParser most(Times(depth, "(") + "a = \"1\"" + Times(depth, ")"));
  EXPECT_TRUE(most.Parse());
  EXPECT_EQ(Dump(most.m_root), Times(depth, "(") + "[a = \"1\"]" + Times(depth, ")"));
  EXPECT_TRUE(EvaluatesWith(most, "a"));
  EXPECT_EQ(ToStd(most.GetSearchCriteriaList()), "a,");
  EXPECT_TRUE(most.IsSameAs(&most));

  const string tooDeep = Times(depth + 1, "( ") + "a = \"1\"" + Times(depth + 1, " )");
  OpenParser over(tooDeep);
  EXPECT_FALSE(over.Parse());
  EXPECT_EQ(over.m_root, nullptr);
  EXPECT_EQ(over.Rest(), tooDeep);
}

TEST(ParserDepth, CountsOpenGroupsOnly) {
  const size_t depth = qelExpressionParser::MaxGroupDepth;
  const string deepest = Times(depth - 1, "(") + "a = \"1\"" + Times(depth - 1, ")");
  OpenParser chain("(" + deepest + " and " + deepest + ") or (" + deepest + ")");
  EXPECT_TRUE(chain.Parse());
  OpenParser right(Times(depth, "(b = \"1\" and ") + "a = \"1\"" + Times(depth, ")"));
  EXPECT_TRUE(right.Parse());
  OpenParser left(Times(depth, "(") + "a = \"1\"" + Times(depth, ") and b = \"1\""));
  EXPECT_TRUE(left.Parse());
}

TEST(ParserDepth, RefusesEndlessParenthesesAtOnce) {
  for (const char* piece : {"(", " (", "( ", "(a = \"1\" and "}) {
    SCOPED_TRACE(piece);
    OpenParser parser(Times(1000000, piece));
    EXPECT_FALSE(parser.Parse());
    EXPECT_EQ(parser.m_root, nullptr);
  }
  OpenParser closing(Times(1000000, ")"));
  EXPECT_FALSE(closing.Parse());
}

TEST(ParserLimits, EndsOnAMegabyteOfAnything) {
  const size_t n = 1 << 20;
  const struct {
    const char* label;
    string text;
    bool valid;
  } rows[] = {
      {"spaces", string(n, ' '), false},
      {"stars", string(n, '*'), false},
      {"a word", string(n, 'a'), false},
      {"quotes", string(n, '"'), false},
      {"backslashes", string(n, '\\'), false},
      {"zero bytes", string(n, '\0'), false},
      {"unterminated value", "a = \"" + string(n, 'x'), false},
      {"unterminated escapes", "a = \"" + string(n, '\\'), false},
      {"escaped quotes", "a = \"" + Times(n / 2, "\\\"") + "\"", true},
      {"long value", "a = \"" + string(n, 'x') + "\"", true},
      {"long word", string(n, 'a') + " = \"1\"", true},
      {"long spaces", "a" + string(n, ' ') + "=" + string(n, '\t') + "\"1\"" + string(n, '\n'),
       true},
      {"unterminated last value", Times(n / 12, "a = \"1\" and ") + "a = \"", false},
      {"keyword at the end", Times(n / 12, "a = \"1\" and ") + "a = \"1\" and", false},
      {"keywords alone", Times(n / 4, "and "), false},
      {"groups one behind the other", Times(n / 14, "(a = \"1\") or ") + "(a = \"1\")", true},
      {"nothing between groups", Times(n / 9, "(a = \"1\")"), false},
      {"value keyword over and over", "a " + Times(n / 7, "exists "), false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.label);
    OpenParser parser(row.text);
    EXPECT_EQ(parser.Parse(), row.valid);
    parser.GetSearchCriteriaList();
    Discriminants(parser);
    AskingEvaluator evaluator([](qelRelExpression*) { return true; });
    EXPECT_EQ(parser.Evaluate(&evaluator), row.valid);
  }
}

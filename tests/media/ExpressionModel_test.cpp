// The parser, the regrouping and the evaluation against models that are as simple as they can be:
// they recurse, cut the text and walk from the root again after every step. Random expressions from
// fixed seeds.

#include <qel/media/ExpressionParser.h>

#include <cstring>
#include <deque>
#include <memory>
#include <random>

#include <gtest/gtest.h>

#include <qel/containers/qelArray.h>

#include "SearchSupport.h"

namespace {

using std::string;
using Calls = std::vector<std::pair<char, string>>;

// A tree of the model --------------------------------------------------------------------------

struct ModelNode {
  char kind = 'l';           // 'r' relation, 'l' link, 'g' group
  ModelNode* left = nullptr; // of a link; the inner of a group
  ModelNode* right = nullptr;
  string property, keyword, value;
  int id = 0;
  int propertyID = 0;
};

string DumpModel(const ModelNode* node) {
  if (node == nullptr)
    return "null";
  if (node->kind == 'r')
    return node->property + ' ' + node->keyword + " \"" + node->value + '"';
  if (node->kind == 'g')
    return '(' + DumpModel(node->left) + ')';
  string text = '[' + DumpModel(node->left);
  if (node->id != 0 || !node->keyword.empty())
    text += ' ' + node->keyword;
  if (node->right != nullptr)
    text += ' ' + DumpModel(node->right);
  return text + ']';
}

// The parser of the model ----------------------------------------------------------------------

class ModelParser {
public:
  explicit ModelParser(string input) : text(std::move(input)) {}

  bool Parse() {
    valid = ParseExpression();
    if (valid) {
      while (!ManagePrecedence(root, 11, true)) {
      }
      while (!ManagePrecedence(root, 12, true)) {
      }
    }
    return valid;
  }

  bool valid = false;
  string text;
  ModelNode* root = nullptr;
  const qelExpressionOperand* logic = qelDefaultLogicOperands;
  const qelExpressionOperand* binary = qelDefaultBinaryOperands;
  std::function<int(const string&)> propertyID;
  std::function<bool(const string&)> supported;
  Calls asked;

private:
  static bool IsSpace(char c) { return c == ' ' || (c >= 9 && c <= 13); }

  ModelNode* New(char kind) {
    m_nodes.emplace_back();
    m_nodes.back().kind = kind;
    return &m_nodes.back();
  }

  bool ParseExpression() {
    root = nullptr;
    if (!ParseSpacesCharSpaces('*') && !ParseSearchExp(root))
      return false;
    const string saved = text;
    ParseSpaces();
    if (text.empty())
      return true;
    text = saved;
    return false;
  }

  bool ParseSearchExp(ModelNode*& out) {
    const string saved = text;
    if (ParseSearchExpOrFail(out))
      return true;
    out = nullptr;
    text = saved;
    return false;
  }

  bool ParseSearchExpOrFail(ModelNode*& out) {
    string ignored;
    if (ParseSpacesCharSpaces('(')) {
      out = New('g');
      if (!ParseSearchExp(out->left) || !ParseSpacesChar(')'))
        return false;
      string keyword;
      int id = 0;
      if (!ParseOperand(logic, keyword, id, ignored))
        return true;
      ModelNode* const link = New('l');
      link->left = out;
      link->keyword = keyword;
      link->id = id;
      out = link;
      return ParseSearchExp(link->right);
    }
    ModelNode* const link = out = New('l');
    if (!ParseRelExp(link->left))
      return false;
    if (!ParseOperand(logic, link->keyword, link->id, ignored))
      return true;
    return ParseSearchExp(link->right);
  }

  bool ParseRelExp(ModelNode*& out) {
    const string saved = text;
    ModelNode* const rel = out = New('r');
    size_t n = 0;
    while (n < text.size() && text[n] != ')' && !IsSpace(text[n]))
      n++;
    if (n != 0) {
      rel->property = text.substr(0, n);
      text.erase(0, n);
      asked.emplace_back('P', rel->property);
      rel->propertyID = propertyID(rel->property);
      if (rel->propertyID != -1 && ParseOperand(binary, rel->keyword, rel->id, rel->value))
        return true;
    }
    out = nullptr;
    text = saved;
    return false;
  }

  bool ParseOperand(const qelExpressionOperand* table, string& keyword, int& id, string& value) {
    const string saved = text;
    if (ParseSpaces()) {
      for (const qelExpressionOperand* row = table; row->name != nullptr; row++) {
        asked.emplace_back('O', row->name);
        if (!supported(row->name) || !ParseKeyword(row->name, keyword))
          continue;
        id = row->id;
        if (!ParseSpaces())
          break;
        if (row->valueKind == 1)
          return ParseQuotedValue(value);
        if (row->valueKind == 2)
          return ParseKeyword("true", value) || ParseKeyword("false", value);
        return true;
      }
    }
    text = saved;
    return false;
  }

  bool ParseQuotedValue(string& value) {
    value.clear();
    if (text.empty() || text[0] != '"')
      return false;
    for (size_t i = 1; i < text.size(); i++) {
      if (text[i] == '"') {
        text.erase(0, i + 1);
        return true;
      }
      if (text[i] == '\\' && ++i == text.size())
        break;
      value += text[i];
    }
    value.clear();
    return false;
  }

  bool ParseKeyword(const string& keyword, string& matched) {
    if (text.compare(0, keyword.size(), keyword) != 0)
      return false;
    matched = keyword;
    text.erase(0, keyword.size());
    return true;
  }

  bool ParseSpaces() {
    const size_t before = text.size();
    while (!text.empty() && IsSpace(text[0]))
      text.erase(0, 1);
    return text.size() != before;
  }

  bool ParseSpacesChar(char c) {
    const string saved = text;
    ParseSpaces();
    if (!text.empty() && text[0] == c) {
      text.erase(0, 1);
      return true;
    }
    text = saved;
    return false;
  }

  bool ParseSpacesCharSpaces(char c) {
    if (!ParseSpacesChar(c))
      return false;
    ParseSpaces();
    return true;
  }

  void MakeComposite(ModelNode* n) {
    ModelNode* const r = n->right;
    const string q = r->keyword;
    const int qID = r->id;
    ModelNode* const t = r->right;
    ModelNode* const m = New('l');
    m->left = n->left;
    m->keyword = n->keyword;
    m->id = n->id;
    m->right = r;
    r->keyword.clear();
    r->id = 0;
    r->right = nullptr;
    ModelNode* const g = New('g');
    g->left = m;
    n->left = g;
    n->keyword = q;
    n->id = qID;
    n->right = t;
  }

  bool ManagePrecedence(ModelNode* node, int id, bool first) {
    if (node == nullptr)
      return true;
    if (node->kind == 'g')
      return ManagePrecedence(node->left, id, true);
    if (node->kind != 'l')
      return true;
    if (node->right != nullptr && node->right->kind == 'l' && node->id == id &&
        (!first || node->right->id != 0)) {
      MakeComposite(node);
      return false;
    }
    return ManagePrecedence(node->right, id, false);
  }

  std::deque<ModelNode> m_nodes;
};

// The other operations of the model ------------------------------------------------------------

bool ModelEvaluate(const ModelNode* node, const std::function<bool(const ModelNode*)>& ask) {
  if (node->kind == 'r')
    return ask(node);
  if (node->kind == 'g')
    return ModelEvaluate(node->left, ask);
  if (node->left == nullptr)
    return true;
  const bool left = ModelEvaluate(node->left, ask);
  if (node->id == 0 || left == (node->id == 12) || node->right == nullptr)
    return left;
  return ModelEvaluate(node->right, ask);
}

void ModelList(const ModelNode* node, string& list) {
  if (node == nullptr)
    return;
  if (node->kind == 'r') {
    if (list.find(node->property + ',') == string::npos)
      list += node->property + ',';
    return;
  }
  ModelList(node->left, list);
  ModelList(node->right, list);
}

void ModelDiscriminants(const ModelNode* node, string& names) {
  while (node != nullptr) {
    if (node->kind == 'g') {
      node = node->left;
      continue;
    }
    if (node->id != 0 && node->id != 11)
      return;
    if (node->left->kind == 'r')
      names += node->left->property + ';';
    else
      ModelDiscriminants(node->left, names);
    node = node->right;
  }
}

bool ModelIsSameAs(const ModelNode* a, const ModelNode* b) {
  if (a->kind != b->kind)
    return false;
  if (a->kind == 'r')
    return b->value == "*" || a->value == b->value;
  if (a->kind == 'g')
    return ModelIsSameAs(a->left, b->left);
  if (a->id != b->id || !ModelIsSameAs(a->left, b->left))
    return false;
  if (a->right == nullptr || b->right == nullptr)
    return a->right == b->right;
  return ModelIsSameAs(a->right, b->right);
}

string ModelDisplay(const ModelNode* node) {
  if (node == nullptr)
    return "";
  if (node->kind == 'r')
    return node->property + ' ' + node->keyword + " \"" + node->value + '"';
  if (node->kind == 'g')
    return '(' + ModelDisplay(node->left) + ')';
  string text = ModelDisplay(node->left);
  if (!node->keyword.empty())
    text += ' ' + node->keyword + ' ';
  return text + ModelDisplay(node->right);
}

// Random text ----------------------------------------------------------------------------------

class Generator {
public:
  explicit Generator(unsigned seed) : m_random(seed) {}

  size_t Below(size_t n) { return m_random() % n; }
  bool OneIn(size_t n) { return Below(n) == 0; }
  template <size_t N>
  const char* OneOf(const char* const (&all)[N]) {
    return all[Below(N)];
  }

  string Relation() {
    static const char* const names[] = {"a", "b", "ab", "c", "dc:title", "x,", "upnp:class"};
    static const char* const ops[] = {
        "=", "!=", "<=", ">=", ">", "<", "contains", "doesNotContain", "derivedfrom", "like"};
    static const char* const values[] = {"1", "*", "", "a\\\"b", "x y", ")", "2005-01-01", "and"};
    string text = OneOf(names) + Space();
    if (OneIn(6))
      return text + "exists" + Space() + (OneIn(2) ? "true" : "false");
    return text + OneOf(ops) + Space() + '"' + OneOf(values) + '"';
  }

  string Search(unsigned depth) {
    string text;
    for (size_t n = 1 + Below(OneIn(4) ? 12 : 3); n > 0; n--) {
      if (depth > 0 && OneIn(4))
        text += OptionalSpace() + '(' + OptionalSpace() + Search(depth - 1) + OptionalSpace() + ')';
      else
        text += Relation();
      if (n > 1)
        text += Space() + (OneIn(2) ? "and" : "or") + Space();
    }
    return text;
  }

  // Takes out, doubles or replaces pieces.
  string Spoilt(string text) {
    static const char* const pieces[] = {"(",    ")",      "\"",  "\\",    " ",     "and",
                                         "or",   " and ",  "*",   "a",     "=",     "\t",
                                         "true", "exists", " = ", "\"1\"", ") or ("};
    for (size_t n = 1 + Below(3); n > 0; n--) {
      const size_t at = Below(text.size() + 1);
      const size_t length = OneIn(2) ? 0 : std::min(text.size() - at, 1 + Below(4));
      text.replace(at, length, OneIn(3) ? string() : string(OneOf(pieces)));
    }
    if (OneIn(8))
      text += '\0';
    return text;
  }

  string Tokens() {
    static const char* const pieces[] = {"(",      ")",    "a", "\"1\"", "and", "or",  "=",
                                         "exists", "true", "*", "\"",    "\\",  "like"};
    string text;
    for (size_t n = Below(14); n > 0; n--)
      text += string(OneOf(pieces)) + (OneIn(5) ? "" : " ");
    return text;
  }

private:
  string Space() {
    static const char* const spaces[] = {" ", " ", " ", "\t", "  ", " \n ", "\r\n"};
    return OneOf(spaces);
  }
  string OptionalSpace() { return OneIn(3) ? Space() : string(); }

  std::mt19937 m_random;
};

// What both parsers are asked about the names.
int PropertyID(const string& name) {
  return name == "c" ? 7 : static_cast<int>(name.size());
}

void ExpectSameBehaviour(const string& text, const std::function<bool(const string&)>& supported,
                         const std::function<int(const string&)>& propertyID,
                         const qelExpressionOperand* logic = nullptr) {
  SCOPED_TRACE(text);
  ModelParser model(text);
  Calls asked;
  OpenParser parser(text);
  parser.asked = &asked;
  model.supported = parser.supported = supported;
  model.propertyID = parser.propertyID = propertyID;
  if (logic != nullptr) {
    model.logic = logic;
    parser.SetLogicOperands(logic);
  }
  for (int round = 0; round < 2; round++) {
    ASSERT_EQ(parser.Parse(), model.Parse()) << "round " << round;
    EXPECT_EQ(Dump(parser.m_root), DumpModel(model.root)) << "round " << round;
    EXPECT_EQ(parser.Rest(), model.text) << "round " << round;
    EXPECT_EQ(asked, model.asked) << "round " << round;
    string list;
    ModelList(model.root, list);
    EXPECT_EQ(ToStd(parser.GetSearchCriteriaList()), list);
  }
}

std::unique_ptr<OpenParser> Parsed(const string& text) {
  auto parser = std::make_unique<OpenParser>(text);
  EXPECT_TRUE(parser->Parse()) << text;
  return parser;
}

bool Always(const string&) {
  return true;
}

} // namespace

TEST(ParserModel, AgreesOnRandomSearches) {
  Generator random(1);
  for (int i = 0; i < 3000; i++)
    ExpectSameBehaviour(random.Search(4), Always, PropertyID);
}

TEST(ParserModel, AgreesOnSpoiltSearches) {
  Generator random(2);
  for (int i = 0; i < 6000; i++)
    ExpectSameBehaviour(random.Spoilt(random.Search(3)), Always, PropertyID);
}

TEST(ParserModel, AgreesOnRandomTokens) {
  Generator random(3);
  for (int i = 0; i < 10000; i++)
    ExpectSameBehaviour(random.Tokens(), Always, PropertyID);
}

TEST(ParserModel, AgreesWithHooksThatRefuse) {
  Generator random(4);
  for (int i = 0; i < 2000; i++) {
    const string hidden = random.OneIn(2) ? "and" : random.OneIn(2) ? "=" : "exists";
    const bool refuses = random.OneIn(2);
    ExpectSameBehaviour(
        random.Search(3), [&](const string& name) { return name != hidden; },
        [&](const string& name) { return refuses && name == "ab" ? -1 : -2; });
  }
}

TEST(ParserModel, AgreesWithLogicTablesOfTheCallers) {
  const qelExpressionOperand tables[][5] = {
      {{"or", 11, 3}, {"and", 12, 3}, {nullptr, 0, 0}},
      {{"and", 11, 3}, {"or", 20, 3}, {nullptr, 0, 0}},
      {{"and", 0, 3}, {"or", 12, 3}, {nullptr, 0, 0}},
      {{"and", 11, 3}, {"or", 0, 3}, {nullptr, 0, 0}},
      {{"and", 11, 1}, {"or", 12, 2}, {nullptr, 0, 0}},
      {{"a", 11, 3}, {"an", 12, 3}, {"o", 12, 3}, {"or", 12, 3}, {nullptr, 0, 0}},
  };
  Generator random(5);
  for (int i = 0; i < 3000; i++)
    ExpectSameBehaviour(random.OneIn(3) ? random.Spoilt(random.Search(3)) : random.Search(3),
                        Always, PropertyID, tables[random.Below(6)]);
}

TEST(TreeModel, AgreesOnDiscriminantsAndDisplay) {
  Generator random(6);
  for (int i = 0; i < 1500; i++) {
    const string text = random.Search(4);
    SCOPED_TRACE(text);
    ModelParser model(text);
    model.supported = Always;
    model.propertyID = PropertyID;
    ASSERT_TRUE(model.Parse());
    const auto parser = Parsed(text);

    string expected, names;
    ModelDiscriminants(model.root, expected);
    qelArray_t* const list = parser->GetDiscriminantCriteria();
    for (size_t n = 0; n < qelArray_GetCount(list); n++)
      names += ToStd(static_cast<qelRelExpression*>(qelArray_GetAt(list, n))->property) + ';';
    qelArray_Delete(list);
    EXPECT_EQ(names, expected);

    testing::internal::CaptureStdout();
    parser->Display();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), ModelDisplay(model.root) + '\n');
  }
}

// Also with keywords that the evaluation knows nothing of: 20 goes on like "and", 0 does not.
TEST(TreeModel, AgreesOnResultsAndOrderOfEvaluation) {
  const qelExpressionOperand tables[][3] = {
      {{"and", 11, 3}, {"or", 12, 3}, {nullptr, 0, 0}},
      {{"and", 20, 3}, {"or", 12, 3}, {nullptr, 0, 0}},
      {{"and", 11, 3}, {"or", 0, 3}, {nullptr, 0, 0}},
  };
  Generator random(9);
  for (int i = 0; i < 3000; i++) {
    const string text = random.Search(4);
    SCOPED_TRACE(text);
    const qelExpressionOperand* table = tables[random.Below(3)];
    ModelParser model(text);
    model.supported = Always;
    model.propertyID = PropertyID;
    model.logic = table;
    ASSERT_TRUE(model.Parse());
    OpenParser parser(text);
    parser.SetLogicOperands(table);
    ASSERT_TRUE(parser.Parse());

    const size_t answers = random.Below(1 << 16);
    const auto answer = [&](const string& test) { return (answers >> (test.size() % 16)) & 1; };
    string expectedTests, tests;
    const bool expected = ModelEvaluate(model.root, [&](const ModelNode* rel) {
      expectedTests += rel->property + rel->keyword + rel->value + ';';
      return answer(rel->property + rel->keyword + rel->value);
    });
    AskingEvaluator evaluator([&](qelRelExpression* rel) {
      const string test = ToStd(rel->property) + ToStd(rel->operatorText) + ToStd(rel->value);
      tests += test + ';';
      return answer(test);
    });
    EXPECT_EQ(parser.Evaluate(&evaluator), expected);
    EXPECT_EQ(tests, expectedTests);
  }
}

TEST(TreeModel, AgreesOnComparison) {
  Generator random(7);
  size_t same = 0;
  for (int i = 0; i < 4000; i++) {
    string texts[2];
    texts[0] = random.Search(2);
    texts[1] = random.OneIn(3) ? random.Search(2) : texts[0];
    if (random.OneIn(2)) // Make one value of the second the star.
      texts[1].replace(texts[1].rfind('"') == string::npos ? 0 : texts[1].rfind('"'), 0, "*");
    if (random.OneIn(3)) {
      const size_t at = texts[1].find(" or ");
      if (at != string::npos)
        texts[1].replace(at, 4, " and ");
    }
    ModelParser models[2] = {ModelParser(texts[0]), ModelParser(texts[1])};
    OpenParser parsers[2] = {OpenParser(texts[0]), OpenParser(texts[1])};
    for (int n = 0; n < 2; n++) {
      models[n].supported = Always;
      models[n].propertyID = PropertyID;
      ASSERT_EQ(parsers[n].Parse(), models[n].Parse());
    }
    const bool expected = models[0].valid && models[1].valid && models[0].root != nullptr &&
                          models[1].root != nullptr &&
                          ModelIsSameAs(models[0].root, models[1].root);
    EXPECT_EQ(parsers[0].IsSameAs(&parsers[1]), expected) << texts[0] << "\n" << texts[1];
    same += expected;
  }
  EXPECT_GT(same, 500u);
}

// Evaluation -----------------------------------------------------------------------------------

namespace {

// The value texts of the searches, with what they are.
struct TypedValue {
  const char* text;
  int kind; // 1 integer, 2 text, 3 date, 4 floating
  double number;
};

// A date counts as its number of milliseconds on a calendar of equal months and days.
double DateNumber(int year, int month, int day, int hour, int minute, int ms) {
  return ((((year * 12.0 + month) * 31 + day) * 24 + hour) * 60 + minute) * 60000 + ms;
}

const TypedValue kValues[] = {
    {"0", 1, 0},
    {"10", 1, 10},
    {"-3", 1, -3},
    {"010", 1, 10},
    {"2147483648", 4, 2147483648.0},
    {"1.5", 4, 1.5},
    {"-2.25", 4, -2.25},
    {"1e1", 4, 10},
    {"2005-01-01", 3, DateNumber(2005, 1, 1, 0, 0, 0)},
    {"2005-01-01T12:30:00", 3, DateNumber(2005, 1, 1, 12, 30, 0)},
    {"2006-06-06T06:06:00.250Z", 3, DateNumber(2006, 6, 6, 6, 6, 250)},
    {"abc", 2, 0},
    {"Abcdef", 2, 0},
    {"a*", 2, 0},
    {"", 2, 0},
    {"true", 2, 0},
};
const size_t kValueCount = sizeof kValues / sizeof kValues[0];

// An object: what each property holds. Properties s are matched as text, i as integers, d as
// floating numbers, t as dates, each with one digit.
using Object = std::vector<std::pair<string, const TypedValue*>>;

const TypedValue* Lookup(const Object& object, const string& property) {
  for (const auto& entry : object) {
    if (entry.first == property)
      return entry.second;
  }
  return nullptr;
}

string Folded(string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z')
      c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

bool OrderHolds(const string& op, double candidate, double value) {
  return (op == "=" && candidate == value) || (op == "!=" && candidate != value) ||
         (op == "<=" && candidate <= value) || (op == ">=" && candidate >= value) ||
         (op == ">" && candidate > value) || (op == "<" && candidate < value);
}

bool TextHolds(const string& op, const string& candidate, const string& value) {
  const bool found = !value.empty() && Folded(candidate).find(Folded(value)) != string::npos;
  if (op == "=")
    return Folded(candidate) == Folded(value);
  if (op == "!=")
    return Folded(candidate) != Folded(value);
  if (op == "contains")
    return found;
  if (op == "doesNotContain")
    return !found;
  if (op == "derivedfrom")
    return !value.empty() && candidate.compare(0, value.size(), value) == 0;
  if (op != "like")
    return false;
  if (!value.empty() && value.back() == '*')
    return candidate.compare(0, value.size() - 1, value, 0, value.size() - 1) == 0;
  return candidate == value;
}

// One test of the search, known before it is parsed.
struct Test {
  string property, op;
  const TypedValue* value;
};

bool TestHolds(const Test& test, const Object& object) {
  const TypedValue* candidate = Lookup(object, test.property);
  if (test.op == "exists") // Typed matches are never true for it.
    return test.property[0] == 's' &&
           (candidate != nullptr && *candidate->text != '\0') == !strcmp(test.value->text, "true");
  const char* text = candidate != nullptr ? candidate->text : "";
  const int wanted = test.property[0] == 'i' ? 1 : test.property[0] == 'd' ? 4 : 3;
  if (test.property[0] == 's')
    return TextHolds(test.op, text, test.value->text);
  if (candidate == nullptr || test.value->kind != wanted)
    return false;
  // A candidate may be an integer where a floating number is wanted, not the other way round.
  const bool fits = candidate->kind == wanted || (wanted == 4 && candidate->kind == 1);
  return fits && OrderHolds(test.op, candidate->number, test.value->number);
}

// A search as it is meant, ahead of its text: a test, or items joined by "and" and "or".
struct Meaning {
  Test test;
  std::vector<Meaning> items; // more than none: a chain, in parentheses unless it is the whole
  std::vector<bool> isOr;     // between the items
};

// Mostly a value of the kind that the property's letter stands for.
const TypedValue* RandomValue(Generator& random, char type) {
  const int kind = type == 'i' ? 1 : type == 's' ? 2 : type == 't' ? 3 : 4;
  const TypedValue* value = nullptr;
  do {
    value = &kValues[random.Below(kValueCount)];
  } while (value->kind != kind && !random.OneIn(8));
  return value;
}

void FillTest(Generator& random, Test& test) {
  static const char* const ops[] = {
      "=",           "!=",   "<=",    ">=", ">", "<", "contains", "doesNotContain",
      "derivedfrom", "like", "exists"};
  static const char* const types[] = {"s", "i", "d", "t"};
  test.property = string(random.OneOf(types)) + char('0' + random.Below(3));
  test.op = random.OneOf(ops);
  test.value = RandomValue(random, test.property[0]);
  if (test.op == "exists") {
    static const TypedValue words[] = {{"true", 2, 0}, {"false", 2, 0}};
    test.value = &words[random.Below(2)];
  }
}

void FillChain(Generator& random, Meaning& chain, unsigned depth) {
  for (size_t n = 1 + random.Below(random.OneIn(5) ? 9 : 4); n > 0; n--) {
    chain.items.emplace_back();
    if (depth > 0 && random.OneIn(3))
      FillChain(random, chain.items.back(), depth - 1);
    else
      FillTest(random, chain.items.back().test);
    if (n > 1)
      chain.isOr.push_back(random.OneIn(2));
  }
}

string TextOf(const Meaning& meaning, bool whole) {
  if (meaning.items.empty()) {
    const string value = meaning.test.value->text;
    return meaning.test.property + ' ' + meaning.test.op + ' ' +
           (meaning.test.op == "exists" ? value : '"' + value + '"');
  }
  string text;
  for (size_t i = 0; i < meaning.items.size(); i++) {
    text += TextOf(meaning.items[i], false);
    if (i < meaning.isOr.size())
      text += meaning.isOr[i] ? " or " : " and ";
  }
  return whole ? text : '(' + text + ')';
}

// What a search means, with the tests that it asks, in order. A chain is read by precedence when it
// is the whole search, or the group that ends such a chain; any other group from the right.
bool Holds(const Meaning& meaning, bool byPrecedence, const Object& object, string& asked) {
  if (meaning.items.empty()) {
    asked += meaning.test.property + meaning.test.op + meaning.test.value->text + ';';
    return TestHolds(meaning.test, object);
  }
  const size_t count = meaning.items.size();
  const auto item = [&](size_t i) {
    return Holds(meaning.items[i], byPrecedence && i + 1 == count, object, asked);
  };
  if (!byPrecedence) {
    for (size_t i = 0;; i++) {
      const bool result = item(i);
      if (i + 1 == count || result == meaning.isOr[i])
        return result;
    }
  }
  // A group that ends the chain behind an "and" is tested against all that stands ahead of it.
  const bool endsInAndGroup =
      count > 1 && !meaning.items.back().items.empty() && !meaning.isOr.back();
  const size_t plain = endsInAndGroup ? count - 1 : count;
  bool result = false;
  for (size_t i = 0; i < plain && !result; i++) {
    result = item(i);
    for (; i + 1 < plain && !meaning.isOr[i]; i++)
      result = result && item(i + 1);
  }
  return endsInAndGroup ? result && item(plain) : result;
}

class ObjectEvaluator : public qelSearchExpressionEvaluator {
public:
  explicit ObjectEvaluator(const Object& object) : m_object(object) {}

  bool EvaluateRelExpression(qelRelExpression* rel) override {
    const string property = ToStd(rel->property);
    asked += property + ToStd(rel->operatorText) + ToStd(rel->value) + ';';
    const TypedValue* value = Lookup(m_object, property);
    const char* text = value != nullptr ? value->text : nullptr;
    switch (property[0]) {
    case 's':
      return rel->MatchString(text);
    case 'i':
      return rel->MatchInt(qelCString(text));
    case 'd':
      return rel->MatchDouble(qelCString(text));
    default:
      return rel->MatchDate(qelCString(text));
    }
  }

  string asked;

private:
  const Object& m_object;
};

Object RandomObject(Generator& random) {
  Object object;
  for (const char type : {'s', 'i', 'd', 't'}) {
    for (char digit = '0'; digit < '3'; digit++) {
      if (!random.OneIn(4))
        object.emplace_back(string(1, type) + digit, RandomValue(random, type));
    }
  }
  return object;
}

} // namespace

TEST(EvaluationModel, AgreesWithTheMeaningOfRandomSearches) {
  Generator random(8);
  size_t hits = 0;
  for (int i = 0; i < 1500; i++) {
    Meaning meaning;
    FillChain(random, meaning, 3);
    const string text = TextOf(meaning, true);
    SCOPED_TRACE(text);
    const auto parser = Parsed(text);
    for (int n = 0; n < 12; n++) {
      const Object object = RandomObject(random);
      string asked;
      const bool expected = Holds(meaning, true, object, asked);
      ObjectEvaluator evaluator(object);
      ASSERT_EQ(parser->Evaluate(&evaluator), expected);
      ASSERT_EQ(evaluator.asked, asked);
      hits += expected;
    }
  }
  EXPECT_GT(hits, 2000u);
  EXPECT_LT(hits, 16000u);
}

TEST(EvaluationModel, AgreesOnEveryTestAlone) {
  for (const char* type : {"s0", "i0", "d0", "t0"}) {
    for (const char* op :
         {"=", "!=", "<=", ">=", ">", "<", "contains", "doesNotContain", "derivedfrom", "like"}) {
      for (const TypedValue& value : kValues) {
        Meaning meaning;
        meaning.items.emplace_back();
        meaning.items[0].test = {type, op, &value};
        const auto parser = Parsed(TextOf(meaning, true));
        for (size_t n = 0; n <= kValueCount; n++) { // The last one is absent.
          Object object;
          if (n < kValueCount)
            object.emplace_back(type, &kValues[n]);
          string asked;
          ObjectEvaluator evaluator(object);
          EXPECT_EQ(parser->Evaluate(&evaluator), Holds(meaning, true, object, asked))
              << TextOf(meaning, true) << " with " << (n < kValueCount ? kValues[n].text : "none");
        }
      }
    }
  }
}

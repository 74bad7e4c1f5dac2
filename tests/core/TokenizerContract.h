#ifndef QEL_TESTS_CORE_TOKENIZERCONTRACT_H
#define QEL_TESTS_CORE_TOKENIZERCONTRACT_H
//===----------------------------------------------------------------------===//
// What both tokenizers keep to. The test that includes this names its classes
// first: Tokenizer, String, Char, and SUITE(name) for the names of its suites.
//===----------------------------------------------------------------------===//

#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

typedef std::vector<std::string> Texts;

static const qelCStringTokenizerMode kModes[] = {qelTokenReturnEmpty, qelTokenReturnEmptyAll,
                                                 qelTokenReturnDelimiters, qelTokenStrtok};

// Test texts are ASCII, so each character is one unit.
static String Text(const std::string& text) {
  const std::basic_string<Char> units(text.begin(), text.end());
  return String(units.data(), units.size());
}

static std::string Plain(const String& text) {
  const Char* units = text.c_str();
  return std::string(units, units + text.length());
}

static Tokenizer Make(const std::string& text, const std::string& delimiters,
                      qelCStringTokenizerMode mode) {
  return Tokenizer(Text(text), Text(delimiters), mode);
}

// All tokens. What is consumed and what is left make up the text at every step.
static Texts Walk(Tokenizer& tokenizer, const std::string& text) {
  Texts tokens;
  while (tokenizer.HasMoreTokens()) {
    tokens.push_back(Plain(tokenizer.GetNextToken()));
    EXPECT_EQ(Plain(tokenizer.GetString()), text.substr(tokenizer.GetPosition()));
  }
  const uint64_t end = tokenizer.GetPosition();
  EXPECT_EQ(Plain(tokenizer.GetNextToken()), "");
  EXPECT_EQ(tokenizer.GetPosition(), end) << "nothing is left to take";
  return tokens;
}

static Texts Tokens(const std::string& text, const std::string& delimiters,
                    qelCStringTokenizerMode mode) {
  Tokenizer tokenizer = Make(text, delimiters, mode);
  return Walk(tokenizer, text);
}

struct Row {
  const char* text;
  const char* delimiters;
  Texts expected[4]; // by kModes
};

static const Row kRows[] = {
    // text, delimiters, then ReturnEmpty, ReturnEmptyAll, ReturnDelimiters, Strtok
    {"", ",", {{}, {}, {}, {}}},
    {"", "", {{}, {}, {}, {}}},
    {"a", "", {{"a"}, {"a"}, {"a"}, {"a"}}},
    {"a", ",", {{"a"}, {"a"}, {"a"}, {"a"}}},
    {",", ",", {{""}, {"", ""}, {}, {}}},
    {",,", ",", {{""}, {"", "", ""}, {}, {}}},
    {"a,", ",", {{"a"}, {"a", ""}, {"a,"}, {"a"}}},
    {"a,b,", ",", {{"a", "b"}, {"a", "b", ""}, {"a,", "b,"}, {"a", "b"}}},
    {"a,,", ",", {{"a"}, {"a", "", ""}, {"a,"}, {"a"}}},
    {",a", ",", {{"", "a"}, {"", "a"}, {",", "a"}, {"a"}}},
    {",,a", ",", {{"", "", "a"}, {"", "", "a"}, {",", ",", "a"}, {"a"}}},
    {"a,b", ",", {{"a", "b"}, {"a", "b"}, {"a,", "b"}, {"a", "b"}}},
    {"a,,b", ",", {{"a", "", "b"}, {"a", "", "b"}, {"a,", ",", "b"}, {"a", "b"}}},
    {"ab;c,d", ",;", {{"ab", "c", "d"}, {"ab", "c", "d"}, {"ab;", "c,", "d"}, {"ab", "c", "d"}}},
    {"a;,b", ",;", {{"a", "", "b"}, {"a", "", "b"}, {"a;", ",", "b"}, {"a", "b"}}},
    {" a  b ",
     " \t",
     {{"", "a", "", "b"}, {"", "a", "", "b", ""}, {" ", "a ", " ", "b "}, {"a", "b"}}},
    {"a,b", ";", {{"a,b"}, {"a,b"}, {"a,b"}, {"a,b"}}},
};

TEST(SUITE(Modes), GiveTheirTokens) {
  for (const Row& row : kRows)
    for (int i = 0; i < 4; ++i) {
      SCOPED_TRACE(std::string("'") + row.text + "' mode " + std::to_string(kModes[i]));
      EXPECT_EQ(Tokens(row.text, row.delimiters, kModes[i]), row.expected[i]);
    }
}

TEST(SUITE(Modes), CountTheirTokens) {
  for (const Row& row : kRows)
    for (int i = 0; i < 4; ++i) {
      SCOPED_TRACE(std::string("'") + row.text + "' mode " + std::to_string(kModes[i]));
      Tokenizer tokenizer = Make(row.text, row.delimiters, kModes[i]);
      EXPECT_EQ(tokenizer.CountTokens(), row.expected[i].size());
      EXPECT_EQ(Walk(tokenizer, row.text), row.expected[i]) << "the count takes nothing";
    }
}

TEST(SUITE(Modes), HaveTheirValues) {
  EXPECT_EQ(qelTokenInvalid, -1);
  EXPECT_EQ(qelTokenDefault, 0);
  EXPECT_EQ(qelTokenReturnEmpty, 1);
  EXPECT_EQ(qelTokenReturnEmptyAll, 2);
  EXPECT_EQ(qelTokenReturnDelimiters, 3);
  EXPECT_EQ(qelTokenStrtok, 4);
}

TEST(SUITE(Modes), ResolveTheDefaultByTheDelimiters) {
  const std::pair<const char*, qelCStringTokenizerMode> rows[] = {
      {"", qelTokenStrtok},         {" ", qelTokenStrtok},        {" \t", qelTokenStrtok},
      {"\n\v\f\r", qelTokenStrtok}, {";", qelTokenReturnEmpty},   {" ;", qelTokenReturnEmpty},
      {"; ", qelTokenReturnEmpty},  {"\x08", qelTokenReturnEmpty}};
  for (const auto& row : rows)
    EXPECT_EQ(Make("a", row.first, qelTokenDefault).GetMode(), row.second) << row.first;
}

TEST(SUITE(Modes), StayAsGivenIfNotTheDefault) {
  for (qelCStringTokenizerMode mode : kModes) {
    EXPECT_EQ(Make("a", " ", mode).GetMode(), mode);
    EXPECT_EQ(Make("a", ";", mode).GetMode(), mode);
  }
}

// Tells whether the object was set.
struct Opened : Tokenizer {
  using Tokenizer::IsOk;
};

TEST(SUITE(Construction), BeginsInvalidAndEmpty) {
  Opened tokenizer;
  EXPECT_FALSE(tokenizer.IsOk());
  EXPECT_EQ(tokenizer.GetMode(), qelTokenInvalid);
  EXPECT_EQ(tokenizer.GetPosition(), 0u);
  EXPECT_EQ(Plain(tokenizer.GetString()), "");
  EXPECT_FALSE(tokenizer.HasMoreTokens());
  EXPECT_EQ(Plain(tokenizer.GetNextToken()), "");
  EXPECT_EQ(tokenizer.CountTokens(), 0u);
  tokenizer.SetString(Text("a"), Text(","), qelTokenDefault);
  EXPECT_TRUE(tokenizer.IsOk());
}

TEST(SUITE(Construction), CopiesTheStateInTheMiddleOfAWalk) {
  Tokenizer tokenizer = Make("a,b,", ",", qelTokenReturnEmptyAll);
  tokenizer.GetNextToken();
  Tokenizer copy(tokenizer);
  Tokenizer assigned;
  assigned = tokenizer;
  EXPECT_EQ(Walk(tokenizer, "a,b,"), (Texts{"b", ""}));
  EXPECT_EQ(Walk(copy, "a,b,"), (Texts{"b", ""}));
  EXPECT_EQ(Walk(assigned, "a,b,"), (Texts{"b", ""}));
  EXPECT_EQ(assigned.GetMode(), qelTokenReturnEmptyAll);
}

TEST(SUITE(SetString), BeginsAnew) {
  Tokenizer tokenizer = Make("a,b", ",", qelTokenReturnEmpty);
  tokenizer.GetNextToken();
  tokenizer.SetString(Text("c;d;"), Text(";"), qelTokenReturnEmptyAll);
  EXPECT_EQ(tokenizer.GetPosition(), 0u);
  EXPECT_EQ(Walk(tokenizer, "c;d;"), (Texts{"c", "d", ""}));
}

TEST(SUITE(Reinit), KeepsDelimitersAndMode) {
  Tokenizer tokenizer = Make("a,b", ",", qelTokenReturnEmptyAll);
  Walk(tokenizer, "a,b");
  tokenizer.Reinit(Text("c;,"));
  EXPECT_EQ(tokenizer.GetPosition(), 0u);
  EXPECT_EQ(tokenizer.GetMode(), qelTokenReturnEmptyAll);
  EXPECT_EQ(Walk(tokenizer, "c;,"), (Texts{"c;", ""}));
  tokenizer.Reinit(Text(""));
  EXPECT_FALSE(tokenizer.HasMoreTokens());
}

TEST(SUITE(Reinit), GivesTheWholeTextOfATokenizerThatWasNeverSet) {
  Tokenizer tokenizer;
  tokenizer.Reinit(Text("a,b"));
  EXPECT_EQ(tokenizer.GetMode(), qelTokenInvalid);
  EXPECT_EQ(Walk(tokenizer, "a,b"), (Texts{"a,b"}));
}

TEST(SUITE(Edges), GivesOneTokenOfDelimitersOnly) {
  Tokenizer tokenizer = Make(",,", ",", qelTokenReturnEmpty);
  EXPECT_TRUE(tokenizer.HasMoreTokens());
  EXPECT_EQ(Plain(tokenizer.GetNextToken()), "");
  EXPECT_EQ(tokenizer.GetPosition(), 1u);
  EXPECT_FALSE(tokenizer.HasMoreTokens());
  EXPECT_EQ(Plain(tokenizer.GetString()), ",");
}

TEST(SUITE(Edges), LeavesDelimitersThatEndTheText) {
  Tokenizer tokenizer = Make("a,,", ",", qelTokenStrtok);
  tokenizer.GetNextToken();
  EXPECT_EQ(tokenizer.GetPosition(), 2u);
  EXPECT_EQ(Plain(tokenizer.GetString()), ",");
}

TEST(SUITE(Edges), TakesAZeroInTheTextAsOrdinary) {
  const std::string text("a\0b,\0", 5);
  for (qelCStringTokenizerMode mode : {qelTokenReturnEmpty, qelTokenReturnEmptyAll, qelTokenStrtok})
    EXPECT_EQ(Tokens(text, ",", mode), (Texts{std::string("a\0b", 3), std::string(1, '\0')}));
}

TEST(SUITE(Edges), EndsTheSetAtAZero) {
  EXPECT_EQ(Tokens("a;b,c", std::string(",\0;", 3), qelTokenReturnEmpty), (Texts{"a;b", "c"}));
  EXPECT_EQ(Make("a", std::string(" \0;", 3), qelTokenDefault).GetMode(), qelTokenStrtok);
}

TEST(SUITE(CountTokens), BeginsThePositionAnew) {
  Tokenizer tokenizer = Make("a,b,,", ",", qelTokenReturnEmpty);
  tokenizer.GetNextToken();
  tokenizer.GetNextToken();
  EXPECT_EQ(tokenizer.GetPosition(), 4u);
  EXPECT_FALSE(tokenizer.HasMoreTokens());
  EXPECT_EQ(tokenizer.CountTokens(), 0u) << "counted by the old position";
  EXPECT_EQ(tokenizer.GetPosition(), 0u);
  EXPECT_EQ(Plain(tokenizer.GetString()), ",");
  EXPECT_TRUE(tokenizer.HasMoreTokens()) << "at position 0 the last delimiter gives a token";
  EXPECT_EQ(tokenizer.CountTokens(), 1u);
}

TEST(SUITE(CountTokens), DoesNotOfferTheLastTokenOfAnEmptyTextAgain) {
  Tokenizer tokenizer = Make("a,", ",", qelTokenReturnEmptyAll);
  tokenizer.GetNextToken();
  EXPECT_EQ(tokenizer.CountTokens(), 1u) << "the last empty one";
  EXPECT_FALSE(tokenizer.HasMoreTokens()) << "nothing is left, so the count took it away";
}

TEST(SUITE(CountTokens), LeavesACopyOfTheTextAlone) {
  const Tokenizer tokenizer = Make("a,b", ",", qelTokenReturnEmpty);
  const String before = tokenizer.GetString();
  EXPECT_EQ(tokenizer.CountTokens(), 2u);
  EXPECT_EQ(Plain(before), "a,b");
  EXPECT_EQ(Plain(tokenizer.GetString()), "a,b");
}

// The tokens told by the pieces of the text, not by steps.
static Texts Expected(const std::string& text, const std::string& delimiters,
                      qelCStringTokenizerMode mode) {
  Texts pieces(1);
  std::string ends; // the delimiter behind each piece but the last
  for (char c : text) {
    if (delimiters.find(c) == std::string::npos) {
      pieces.back() += c;
    } else {
      ends += c;
      pieces.emplace_back();
    }
  }
  if (text.empty())
    return Texts();
  if (mode == qelTokenReturnEmptyAll)
    return pieces;
  while (!pieces.empty() && pieces.back().empty())
    pieces.pop_back();
  if (mode == qelTokenReturnEmpty && pieces.empty())
    pieces.emplace_back();
  Texts tokens;
  for (size_t i = 0; i < pieces.size(); ++i) {
    if (mode == qelTokenStrtok && pieces[i].empty())
      continue;
    tokens.push_back(pieces[i]);
    if (mode == qelTokenReturnDelimiters && i < ends.size())
      tokens.back() += ends[i];
  }
  return tokens;
}

TEST(SUITE(Model), GivesThePiecesOfRandomTexts) {
  std::mt19937 random(20);
  const char* sets[] = {",", ",;", "", "ab,; ", " "};
  for (int round = 0; round < 4000; ++round) {
    std::string text(random() % 12, ' ');
    for (char& c : text)
      c = "ab,; "[random() % 5];
    const std::string set = sets[random() % 5];
    const qelCStringTokenizerMode mode = kModes[random() % 4];
    SCOPED_TRACE("'" + text + "' by '" + set + "' mode " + std::to_string(mode));
    const Texts expected = Expected(text, set, mode);
    Tokenizer tokenizer = Make(text, set, mode);
    ASSERT_EQ(tokenizer.CountTokens(), expected.size());
    ASSERT_EQ(Walk(tokenizer, text), expected);
  }
}

// The walk told by steps on a text that loses its front.
struct Steps {
  std::string text;
  std::string delimiters;
  qelCStringTokenizerMode mode;
  uint64_t position = 0;
  bool lastEmpty = !text.empty();

  bool HasMore() const {
    if (text.find_first_not_of(delimiters) != std::string::npos)
      return true;
    if (mode == qelTokenReturnEmptyAll)
      return lastEmpty;
    return mode == qelTokenReturnEmpty && lastEmpty && position == 0;
  }
  std::string Next() {
    std::string token;
    while (HasMore()) {
      const size_t at = text.find_first_of(delimiters);
      const size_t taken = at != std::string::npos ? at + 1 : text.size();
      token = text.substr(0, mode == qelTokenReturnDelimiters ? taken : at);
      text.erase(0, taken);
      position += taken;
      if (at == std::string::npos)
        lastEmpty = false;
      if (mode != qelTokenStrtok || !token.empty())
        break;
    }
    return token;
  }
  size_t Count() {
    const std::string saved = text;
    size_t count = 0;
    for (; HasMore(); ++count)
      Next();
    text = saved;
    position = 0;
    lastEmpty = !text.empty();
    return count;
  }
};

TEST(SUITE(Model), FollowsTheStepsOfAnyWalk) {
  std::mt19937 random(21);
  const char* sets[] = {",", ",;", "", "ab,; ", " "};
  for (int round = 0; round < 4000; ++round) {
    std::string text(random() % 16, ' ');
    for (char& c : text)
      c = "a,,; "[random() % 5];
    Steps model{text, sets[random() % 5], kModes[random() % 4]};
    Tokenizer tokenizer = Make(text, model.delimiters, model.mode);
    SCOPED_TRACE("'" + text + "' by '" + model.delimiters + "' mode " + std::to_string(model.mode));
    for (int step = 0; step < 20; ++step) {
      if (random() % 4 == 0) {
        ASSERT_EQ(tokenizer.CountTokens(), model.Count());
      } else {
        ASSERT_EQ(Plain(tokenizer.GetNextToken()), model.Next());
      }
      ASSERT_EQ(tokenizer.HasMoreTokens(), model.HasMore());
      ASSERT_EQ(tokenizer.GetPosition(), model.position);
      ASSERT_EQ(Plain(tokenizer.GetString()), model.text);
    }
  }
}

// Within the time limit only if a token costs nothing for the text behind it.
TEST(SUITE(Edges), WalksALongText) {
  const size_t n = 1000000;
  const std::string pair("a,");
  std::string text;
  for (size_t i = 0; i < n; ++i)
    text += pair;
  for (qelCStringTokenizerMode mode : kModes) {
    Tokenizer tokenizer = Make(text, ",", mode);
    const size_t expected = mode == qelTokenReturnEmptyAll ? n + 1 : n;
    EXPECT_EQ(tokenizer.CountTokens(), expected);
    size_t count = 0;
    for (; tokenizer.HasMoreTokens(); ++count)
      tokenizer.GetNextToken();
    EXPECT_EQ(count, expected);
    EXPECT_EQ(tokenizer.GetPosition(), 2 * n);
  }
}

TEST(SUITE(Edges), PassesOverALongRunOfDelimiters) {
  const std::string text = std::string(1000000, ',') + "a";
  EXPECT_EQ(Tokens(text, ",", qelTokenStrtok), Texts{"a"});
  Tokenizer all = Make(text, ",", qelTokenReturnEmptyAll);
  EXPECT_EQ(all.CountTokens(), 1000001u);
}

#endif

#include <qel/core/qelMatch.h>

#include <chrono>
#include <random>
#include <string>

#include <gtest/gtest.h>

// The matcher as it is told, with a call for each "*": slow and plain.
static int Reference(const unsigned char* text, const unsigned char* pattern, char separator) {
  const unsigned char stop = static_cast<unsigned char>(separator);
  for (; *pattern != 0; ++text, ++pattern) {
    if ((*text == 0 || *text == stop) && *pattern != '*')
      return -1;
    if (*pattern == '*') {
      while (*pattern == '*')
        ++pattern;
      if (*pattern == 0)
        return 1;
      for (; *text != 0; ++text) {
        const int result = Reference(text, pattern, separator);
        if (result != 0)
          return result;
      }
      return -1;
    }
    if (*pattern == '?')
      continue;
    if (*pattern == '[') {
      ++pattern;
      const bool negated = *pattern == '^';
      if (negated)
        ++pattern;
      bool member = false;
      const unsigned char* first = pattern;
      while (*pattern != 0 && (*pattern != ']' || pattern == first)) {
        if (pattern != first && *pattern == '-' && pattern[1] != ']' && pattern[1] != 0) {
          member = member || (*text >= pattern[-1] && *text <= pattern[1]);
          pattern += 2;
        } else {
          member = member || *text == *pattern;
          ++pattern;
        }
      }
      if (*pattern == 0 || member == negated)
        return 0;
      continue;
    }
    if (*pattern == '\\')
      ++pattern;
    if (*pattern != *text)
      return 0;
  }
  return *text == 0 || *text == stop ? 1 : 0;
}

static int Reference(const std::string& text, const std::string& pattern, char separator) {
  return Reference(reinterpret_cast<const unsigned char*>(text.c_str()),
                   reinterpret_cast<const unsigned char*>(pattern.c_str()), separator);
}

struct MatchRow {
  const char* pattern;
  const char* text;
  char separator;
  int expected;
};

static void ExpectWildcard(const MatchRow& row) {
  for (int foldCase = 0; foldCase <= 1; ++foldCase)
    EXPECT_EQ(qelMatch_Wildcard(row.pattern, row.text, foldCase, row.separator), row.expected)
        << row.pattern << " on " << row.text;
}

TEST(MatchWildcard, MatchesStarsAndQuestionMarks) {
  const MatchRow kRows[] = {
      {"", "", 0, 1},         {"", "a", 0, 0},          {"*", "", 0, 1},
      {"*", "abc", 0, 1},     {"**", "", 0, 1},         {"**", "abc", 0, 1},
      {"?", "", 0, 0},        {"?", "a", 0, 1},         {"?", "ab", 0, 0},
      {"a*c", "abbc", 0, 1},  {"a*c", "ac", 0, 1},      {"a*c", "abcd", 0, 0},
      {"a*c", "acc", 0, 1},   {"*b*", "abc", 0, 1},     {"*b*", "aac", 0, 0},
      {"a?c", "abc", 0, 1},   {"a?c", "ac", 0, 0},      {"*a", "aaa", 0, 1},
      {"*ab", "aab", 0, 1},   {"*?", "", 0, 0},         {"*?", "a", 0, 1},
      {"?*?", "ab", 0, 1},    {"?*?", "a", 0, 0},       {"a*b*c", "aXbXbXc", 0, 1},
      {"a*b*c", "acb", 0, 0}, {"*.txt", "a.txt", 0, 1}, {"*.txt", "a.tx", 0, 0},
  };
  for (const MatchRow& row : kRows)
    ExpectWildcard(row);
}

TEST(MatchWildcard, TakesTheSeparatorForTheEndOfTheText) {
  const MatchRow kRows[] = {
      {"a*c", "a/c", '/', 0},       {"a*c", "ac/x", '/', 1},  {"*.txt", "a.txt/b", '/', 1},
      {"*.txt", "a/b.txt", '/', 0}, {"?", "/", '/', 0},       {"a?c", "a/c", '/', 0},
      {"a/c", "a/c", '/', 0},       {"*", "a/b", '/', 1},     {"a*", "a/b", '/', 1},
      {"abc", "abc/def", '/', 1},   {"a[/]c", "a/c", '/', 0}, {"a*b", "ab/ab", '/', 1},
      {"a*b", "ax/b", '/', 0},      {"a*/b", "ax/b", '/', 0},
  };
  for (const MatchRow& row : kRows)
    ExpectWildcard(row);
}

TEST(MatchWildcard, ReadsClasses) {
  const MatchRow kRows[] = {
      {"?[abc]", "xb", 0, 1},     {"?[abc]", "xd", 0, 0},    {"?[^abc]", "xd", 0, 1},
      {"?[^abc]", "xa", 0, 0},    {"?[a-c]", "xb", 0, 1},    {"?[a-c]", "xd", 0, 0},
      {"?[a-c]", "x-", 0, 0},     {"?[]a]", "x]", 0, 1},     {"?[]a]", "xa", 0, 1},
      {"?[]a]", "xb", 0, 0},      {"?[^]a]", "x]", 0, 0},    {"?[^]a]", "xb", 0, 1},
      {"?[-a]", "x-", 0, 1},      {"?[-a]", "xa", 0, 1},     {"?[-a]", "xB", 0, 0},
      {"?[^-a]", "x-", 0, 0},     {"?[^-a]", "xb", 0, 1},    {"?[a-]", "x-", 0, 1},
      {"?[a-]", "xa", 0, 1},      {"?[a-]", "xb", 0, 0},     {"?[a^]", "x^", 0, 1},
      {"?[a-cx-z]", "xy", 0, 1},  {"?[a-cx-z]", "xd", 0, 0}, {"?[--0]", "x/", 0, 1},
      {"?[]-a]", "x^", 0, 1},     {"?[c-a]", "xb", 0, 0},    {"?[\\]]", "x\\]", 0, 1},
      {"?[*]", "x*", 0, 1},       {"?[?]", "xa", 0, 0},      {"*[0-9]", "track12", 0, 1},
      {"*[0-9]z", "a1b2z", 0, 1}, {"?[A-Z]", "xb", 0, 0},
  };
  for (const MatchRow& row : kRows)
    ExpectWildcard(row);
}

TEST(MatchWildcard, ComparesClassBytesAsUnsigned) {
  EXPECT_EQ(qelMatch_Wildcard("?[a-\xFF]", "x\xE4", 0, 0), 1);
  EXPECT_EQ(qelMatch_Wildcard("?[\x80-\xFF]", "x\xE4", 0, 0), 1);
  EXPECT_EQ(qelMatch_Wildcard("?[\x80-\xFF]", "xa", 0, 0), 0);
  EXPECT_EQ(qelMatch_Wildcard("?\xE4", "x\xE4", 0, 0), 1);
}

TEST(MatchWildcard, MatchesNothingWithAClassThatIsNotClosed) {
  for (const char* pattern :
       {"?[", "?[^", "?[a", "?[^b", "?[a-", "?[a-z", "?[]", "?[^]", "?[-", "*[", "*[^b", "*["})
    EXPECT_EQ(qelMatch_Wildcard(pattern, "xa", 0, 0), 0) << pattern;
}

TEST(MatchWildcard, TakesTheByteBehindABackslashAsItIs) {
  const MatchRow kRows[] = {
      {"a\\*b", "a*b", 0, 1}, {"a\\*b", "axb", 0, 0}, {"a\\?", "a?", 0, 1}, {"a\\?", "ab", 0, 0},
      {"a\\[", "a[", 0, 1},   {"a\\\\", "a\\", 0, 1}, {"a\\b", "ab", 0, 1}, {"a\\", "a", 0, 0},
      {"a\\", "a\\", 0, 0},   {"*\\", "abc", 0, 0},
  };
  for (const MatchRow& row : kRows)
    ExpectWildcard(row);
}

TEST(MatchWildcard, ComparesAnyFirstPatternByteButStarAndQuestionMarkAsItStands) {
  EXPECT_EQ(qelMatch_Core("abc", "[a]bc", 0, 0), 1);
  EXPECT_EQ(qelMatch_Wildcard("[a]bc", "abc", 0, 0), 0);
  EXPECT_EQ(qelMatch_Wildcard("[[]bc", "[bc", 0, 0), 1);
  EXPECT_EQ(qelMatch_Core("abc", "\\abc", 0, 0), 1);
  EXPECT_EQ(qelMatch_Wildcard("\\abc", "abc", 0, 0), 0);
  EXPECT_EQ(qelMatch_Wildcard("\\\\bc", "\\bc", 0, 0), 1);
  EXPECT_EQ(qelMatch_Core("/", "", 0, '/'), 1);
  EXPECT_EQ(qelMatch_Wildcard("", "/", 0, '/'), 0);
}

TEST(MatchFoldCase, NeverMakesAMatchSucceed) {
  EXPECT_EQ(qelMatch_Wildcard("abc", "ABC", 1, 0), 0);
  EXPECT_EQ(qelMatch_Wildcard("*B*", "abc", 1, 0), 0);
  EXPECT_EQ(qelMatch_Wildcard("?[a-z]", "xB", 1, 0), 0);
  EXPECT_EQ(qelMatch_Wildcard("a\\B", "ab", 1, 0), 0);
  EXPECT_EQ(qelMatch_Wildcard("*B*", "aBc", 1, 0), 1);
}

TEST(MatchWildcardSimple, KnowsNoSeparatorAndRegardsCase) {
  EXPECT_EQ(qelMatch_WildcardSimple("a*c", "a/c"), 1);
  EXPECT_EQ(qelMatch_WildcardSimple("a*c", "A/C"), 0);
  EXPECT_EQ(qelMatch_WildcardSimple("*", ""), 1);
}

TEST(MatchCore, TellsExhaustedTextFromNoMatch) {
  EXPECT_EQ(qelMatch_Core("ab", "ab", 0, 0), 1);
  EXPECT_EQ(qelMatch_Core("ab", "abc", 0, 0), -1);
  EXPECT_EQ(qelMatch_Core("ab", "ac", 0, 0), 0);
  EXPECT_EQ(qelMatch_Core("abc", "ab", 0, 0), 0);
  EXPECT_EQ(qelMatch_Core("", "?", 0, 0), -1);
  EXPECT_EQ(qelMatch_Core("", "*a", 0, 0), -1);
  EXPECT_EQ(qelMatch_Core("ab", "*c", 0, 0), -1);
  EXPECT_EQ(qelMatch_Core("a/c", "a*c", 0, '/'), -1);
  EXPECT_EQ(qelMatch_Core("a", "*", 0, 0), 1);
}

TEST(MatchCore, EqualsTheRecursiveSearchOnRandomPatterns) {
  std::mt19937 random(40);
  const std::string patternBytes = "aabb**?[]^-\\/c";
  const std::string textBytes = "aaabbbc/]-^";
  int results[3] = {0, 0, 0};
  for (int round = 0; round < 400000; ++round) {
    std::string pattern;
    std::string text;
    for (size_t n = random() % 10; n != 0; --n)
      pattern += patternBytes[random() % patternBytes.size()];
    for (size_t n = random() % 10; n != 0; --n)
      text += textBytes[random() % textBytes.size()];
    const char separator = random() % 2 != 0 ? '/' : '\0';
    const int expected = Reference(text, pattern, separator);
    ASSERT_EQ(
        qelMatch_Core(text.c_str(), pattern.c_str(), static_cast<int>(random() % 2), separator),
        expected)
        << pattern << " on " << text << " with " << static_cast<int>(separator);
    ++results[expected + 1];
  }
  for (int count : results) // each of the three occurs often enough to mean something
    EXPECT_GT(count, 10000);
}

TEST(MatchCore, EqualsTheRecursiveSearchWithManyStars) {
  std::mt19937 random(41);
  for (int round = 0; round < 100000; ++round) {
    std::string pattern;
    std::string text;
    for (size_t n = random() % 12; n != 0; --n)
      pattern += "ab**?"[random() % 5];
    for (size_t n = random() % 16; n != 0; --n)
      text += "ab"[random() % 2];
    ASSERT_EQ(qelMatch_Core(text.c_str(), pattern.c_str(), 0, 0), Reference(text, pattern, '\0'))
        << pattern << " on " << text;
  }
}

TEST(MatchCore, EndsSoonOnPatternsOfManyStars) {
  std::string pattern;
  for (int i = 0; i < 200; ++i)
    pattern += "*a";
  pattern += "*b";
  const std::string text(100000, 'a');
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(qelMatch_Core(text.c_str(), pattern.c_str(), 0, 0), -1);
  EXPECT_EQ(qelMatch_Core((text + "b").c_str(), pattern.c_str(), 0, 0), 1);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

TEST(MatchCore, NeedsNoStackForAMillionStars) {
  std::string pattern;
  for (int i = 0; i < 1000000; ++i)
    pattern += "*a";
  const std::string text(1000000, 'a');
  EXPECT_EQ(qelMatch_Core(text.c_str(), pattern.c_str(), 0, 0), 1);
  EXPECT_EQ(qelMatch_Core(text.c_str() + 1, pattern.c_str(), 0, 0), -1);
}

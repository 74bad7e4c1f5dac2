#include <qel/posix/qelArguments.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qel/multiplatform/qelFilePrivate.h>

typedef std::vector<std::string> Texts;

static Texts Split(const std::string& text, size_t reserved = 0) {
  size_t count = 0;
  char** arguments = qelArguments_Split(text.c_str(), reserved, &count);
  Texts texts;
  for (size_t i = 0; i < reserved; ++i)
    EXPECT_EQ(nullptr, arguments[i]);
  for (char** argument = arguments + reserved; *argument != nullptr; ++argument)
    texts.push_back(*argument);
  EXPECT_EQ(count, texts.size());
  free(arguments);
  return texts;
}

struct Row {
  const char* text;
  Texts expected;
};

TEST(ArgumentsSplit, FollowsTheRulesOfQuotesAndBackslashes) {
  const Row rows[] = {
      {"", {}},
      {" \t ", {}},
      {"a", {"a"}},
      {"  a \t b  ", {"a", "b"}},
      {"a\nb", {"a\nb"}},
      {"\"a b\" c", {"a b", "c"}},
      {"a\"b c\"d", {"ab cd"}},
      {"\"\"", {""}},
      {"\"\" \"\"", {"", ""}},
      {"a\"\"b", {"ab"}},
      {"\"a\"\"b\"", {"a\"b"}},
      {"\"\"\"\"", {"\""}},
      {"\"a b", {"a b"}},
      {"\"", {""}},
      {"a\\b\\\\c", {"a\\b\\\\c"}},
      {"a\\", {"a\\"}},
      {"a\\ b", {"a\\", "b"}},
      {"\\\"", {"\""}},
      {"\\\\\"a b\"", {"\\a b"}},
      {"\\\\\\\"a b", {"\\\"a", "b"}},
      {"\"a\\\\\" b", {"a\\", "b"}},
      {"\"a\\\" b\"", {"a\" b"}},
      {"\"a\\\\\"\"b\"", {"a\\\"b"}},
      {"'a b'", {"'a", "b'"}},
      {"$HOME `x` *", {"$HOME", "`x`", "*"}},
      {"\xC3\xA9 \xFF", {"\xC3\xA9", "\xFF"}},
  };
  for (const Row& row : rows)
    EXPECT_EQ(row.expected, Split(row.text)) << row.text;
}

TEST(ArgumentsSplit, LeavesRoomInFront) {
  EXPECT_EQ((Texts{"a", "b"}), Split("a b", 3));
  EXPECT_EQ(Texts(), Split("", 1));
}

// Puts an argument in quotes so that it must come out as it is.
static std::string Quote(const std::string& argument) {
  std::string quoted = "\"";
  size_t backslashes = 0;
  for (const char c : argument) {
    if (c == '"')
      quoted.append(backslashes + 1, '\\');
    backslashes = c == '\\' ? backslashes + 1 : 0;
    quoted += c;
  }
  quoted.append(backslashes, '\\');
  return quoted + "\"";
}

TEST(ArgumentsSplit, UndoesTheQuotingOfEveryShortArgument) {
  static const char alphabet[] = {'a', ' ', '\t', '"', '\\'};
  for (unsigned number = 0; number < 5 * 5 * 5 * 5 * 5 * 5; ++number) {
    std::string argument;
    for (unsigned rest = number; rest != 0; rest /= 5)
      argument += alphabet[rest % 5];
    EXPECT_EQ((Texts{argument, argument}), Split(Quote(argument) + " " + Quote(argument)));
  }
}

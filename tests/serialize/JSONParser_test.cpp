#include <qel/serialize/JSONFormatter.h>

#include <clocale>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qel/serialize/EmptySerialize.h>
#include <tests/support/JSONModel.h>

namespace {

struct Parsed {
  int code;
  std::vector<std::string> events;
};

// Parses a copy in a block of its exact size, so that the sanitizers see a step beyond it.
Parsed Parse(const std::string& text) {
  const std::vector<char> exact(text.c_str(), text.c_str() + text.size() + 1);
  JSONEvents events;
  const int code = qelJSONFormatter::Parse(exact.data(), events);
  return {code, events.list};
}

std::string Events(const std::string& text) {
  JSONEvents events;
  qelJSONFormatter::Parse(text.c_str(), events);
  return events.Joined();
}

int Code(const std::string& text) {
  return Parse(text).code;
}

// Whether the parser and the model say the same of a text.
testing::AssertionResult IsAsModelled(const std::string& text, JSONModel& model) {
  const int code = model.Parse(text.c_str());
  const Parsed parsed = Parse(text);
  if (parsed.code == code && parsed.events == model.events.list)
    return testing::AssertionSuccess();
  return testing::AssertionFailure()
         << testing::PrintToString(text) << " gives " << parsed.code << " "
         << testing::PrintToString(parsed.events) << ", expected " << code << " "
         << testing::PrintToString(model.events.list);
}

testing::AssertionResult IsAsModelled(const std::string& text) {
  JSONModel model;
  return IsAsModelled(text, model);
}

struct Case {
  const char* text;
  int code;
  const char* events;
};

void Check(const std::vector<Case>& cases) {
  for (const Case& one : cases) {
    EXPECT_EQ(Code(one.text), one.code) << one.text;
    EXPECT_EQ(Events(one.text), one.events) << one.text;
    EXPECT_TRUE(IsAsModelled(one.text));
  }
}

std::string Repeat(const std::string& text, size_t n) {
  const size_t size = text.size() * n;
  std::string all = text.substr(0, size);
  all.reserve(size);
  while (all.size() < size)
    all.append(all, 0, size - all.size());
  return all;
}

} // namespace

// What a text gives -----------------------------------------------------------------------

TEST(qelJSONFormatterParse, IsIncompleteWithoutAValue) {
  Check({{"", 1, ""}, {"   ", 1, ""}, {"\t\n\v\f\r", 1, ""}, {"// c", 1, ""}, {"/* c */", 1, ""}});
  JSONEvents events;
  EXPECT_EQ(qelJSONFormatter::Parse(nullptr, events), 1);
}

TEST(qelJSONFormatterParse, ReadsMaps) {
  Check({
      {"{}", 0, "{ }"},
      {" { } ", 0, "{ }"},
      {"{\"a\":1}", 0, "{ key raw <a> s32 1 }"},
      {"{\"a\":1,}", 0, "{ key raw <a> s32 1 }"},
      {"{'a' : 1 , \"b\" : {} }", 0, "{ key raw <a> s32 1 key raw <b> { } }"},
      {"{\"\":\"\"}", 0, "{ key raw <> string <> }"},
      {"{\"a\":1,\"a\":2}", 0, "{ key raw <a> s32 1 key raw <a> s32 2 }"},
      {"{,}", 9, "{"},
      {"{a:1}", 9, "{"},
      {"{1:1}", 9, "{"},
      {"{\"a\":1,,}", 9, "{ key raw <a> s32 1"},
      {"{\"a\" 1}", 10, "{ key raw <a>"},
      {"{\"a\"}", 10, "{ key raw <a>"},
      {"{\"a\":}", 4, "{ key raw <a>"},
      {"{\"a\":1 \"b\":2}", 11, "{ key raw <a> s32 1"},
      {"{\"a\":1]", 11, "{ key raw <a> s32 1"},
      {"{", 1, "{"},
      {"{\"a", 1, "{"},
      {"{\"a\"", 1, "{ key raw <a>"},
      {"{\"a\":", 1, "{ key raw <a>"},
      {"{\"a\":1", 1, "{ key raw <a>"},
      {"{\"a\":1,", 1, "{ key raw <a> s32 1"},
  });
}

TEST(qelJSONFormatterParse, ReadsArraysWithoutSeparators) {
  Check({
      {"[]", 0, "[ ]"},
      {"[1,2]", 0, "[ s32 1 s32 2 ]"},
      {"[1,2,]", 0, "[ s32 1 s32 2 ]"},
      {"['a']", 0, "[ string <a> ]"},
      {"[true,false,null]", 0, "[ true false null ]"},
      {"[[],{},[{}]]", 0, "[ [ ] { } [ { } ] ]"},
      {"[,]", 4, "["},
      {"[1,,2]", 4, "[ s32 1"},
      {"[1 2]", 8, "[ s32 1"},
      {"[1}", 8, "[ s32 1"},
      {"[", 1, "["},
      {"[1", 1, "["},
      {"[1 ", 1, "[ s32 1"},
      {"[1,", 1, "[ s32 1"},
  });
}

TEST(qelJSONFormatterParse, ReadsWordsInAnyCase) {
  Check({
      {"TRUE ", 0, "true"},
      {"fAlSe ", 0, "false"},
      {"nULL ", 0, "null"},
      {"truely", 0, "true"},
      {"falsey", 0, "false"},
      {"nullify", 0, "null"},
      {"null/**/", 0, "null"},
      {"null[", 0, "null"},
      {"[truefalse]", 8, "[ true"},
      {"Nux", 5, ""},
      {"nul ", 5, ""},
      {"nn", 5, ""},
      {"trux", 6, ""},
      {"fals ", 6, ""},
      {"talse ", 6, ""},
      {"frue ", 6, ""},
      {"N\x95LL ", 5, ""},
  });
}

TEST(qelJSONFormatterParse, NeedsAByteBehindAWordOrNumberAtTheTop) {
  Check({
      {"true", 1, ""},
      {"null", 1, ""},
      {"Nul", 1, ""},
      {"12", 1, ""},
      {"1.5", 1, ""},
      {"-", 1, ""},
      {"12 ", 0, "s32 12"},
      {"12\n", 0, "s32 12"},
      {"\"a\"", 0, "string <a>"},
  });
}

TEST(qelJSONFormatterParse, EndsAtWhatFollowsTheTopValue) {
  Check({
      {"\"a\" x", 0, "string <a>"},
      {"{}{}", 0, "{ }"},
      {"[]]", 0, "[ ]"},
      {"1 2 ", 0, "s32 1"},
      {"1E3 ", 0, "s32 1"},
      {"1,", 0, "s32 1"},
      {"\"a\"\"b\"", 0, "string <a>"},
  });
}

TEST(qelJSONFormatterParse, LooksForCommentsBehindTheTopValue) {
  Check({
      {"{}/x", 13, "{ }"},
      {"{}/", 1, "{ }"},
      {"{}//", 1, "{ }"},
      {"{}//\n", 0, "{ }"},
      {"{}/*", 1, "{ }"},
      {"{}/* */", 0, "{ }"},
      {"{}/* */x", 0, "{ }"},
      {"{} x/", 0, "{ }"},
      {"1/2 ", 13, "s32 1"},
  });
}

TEST(qelJSONFormatterParse, ReadsNumbers) {
  Check({
      {"0 ", 0, "s32 0"},
      {"-0 ", 0, "s32 0"},
      {"007 ", 0, "s32 7"},
      {"-12 ", 0, "s32 -12"},
      {"1-2 ", 0, "s32 1"},
      {"1+2 ", 0, "s32 1"},
      {"1.5e3 ", 0, "float 1500"},
      {"-1.5 ", 0, "float -1.5"},
      {"-.5 ", 0, "float -0.5"},
      {"1. ", 0, "float 1"},
      {"1e ", 0, "float 1"},
      {"1.5e+ ", 0, "float 1.5"},
      {"1e-2 ", 0, "float 0.01"},
      {"1e+2 ", 0, "float 100"},
      {"1.5.5 ", 0, "float 1.5"},
      {"1-2e3 ", 0, "float 1"},
      {"0x10 ", 0, "s32 0"},
      {"- ", 7, ""},
      {"-- ", 7, ""},
      {"-+1 ", 7, ""},
      {"-. ", 7, ""},
      {"-e1 ", 7, ""},
      {"+1", 4, ""},
      {".5 ", 4, ""},
      {"e1 ", 4, ""},
  });
}

TEST(qelJSONFormatterParse, DeliversTheLowHalfOfALargeNumber) {
  Check({
      {"2147483647 ", 0, "s32 2147483647"},
      {"2147483648 ", 0, "s32 -2147483648"},
      {"-2147483648 ", 0, "s32 -2147483648"},
      {"-2147483649 ", 0, "s32 2147483647"},
      {"4294967295 ", 0, "s32 -1"},
      {"4294967296 ", 0, "s32 0"},
      {"4294967301 ", 0, "s32 5"},
      {"9223372036854775806 ", 0, "s32 -2"},
      {"9223372036854775807 ", 0, "s32 -1"},
      {"9223372036854775808 ", 0, "s32 -1"},
      {"99999999999999999999 ", 0, "s32 -1"},
      {"-9223372036854775807 ", 0, "s32 1"},
      {"-9223372036854775808 ", 0, "s32 0"},
      {"-9223372036854775809 ", 0, "s32 0"},
      {"-99999999999999999999 ", 0, "s32 0"},
  });
}

TEST(qelJSONFormatterParse, ReadsFractionsBeyondTheRangeAsInfinityOrZero) {
  Check({
      {"1e308 ", 0, "float 1e+308"},
      {"1.7976931348623157e308 ", 0, "float 1.7976931348623157e+308"},
      {"1.7976931348623159e308 ", 0, "float inf"},
      {"1e309 ", 0, "float inf"},
      {"-1e309 ", 0, "float -inf"},
      {"1e99999999999999999999 ", 0, "float inf"},
      {"0.001e312 ", 0, "float inf"},
      {"0e99999 ", 0, "float 0"},
      {"4.9406564584124654e-324 ", 0, "float 4.9406564584124654e-324"},
      {"1e-400 ", 0, "float 0"},
      {"-1e-400 ", 0, "float -0"},
      {"1e-99999999999999999999 ", 0, "float 0"},
      {"100000e-400 ", 0, "float 0"},
  });
  const std::string many = "1" + Repeat("0", 400);
  EXPECT_EQ(Events(many + ".5 "), "float inf");
  EXPECT_EQ(Events(many + ".5.5e-999 "), "float inf");
  EXPECT_EQ(Events(many + "e-400 "), "float 1");
  EXPECT_EQ(Events("0." + Repeat("0", 400) + "1 "), "float 0");
  EXPECT_EQ(Events("0." + Repeat("0", 400) + "1e401 "), "float 1");
}

TEST(qelJSONFormatterParse, ReadsThePointInALocaleWithADecimalComma) {
  struct Last : qelEmptySerialize {
    double value = 0;
    int Float(double number) override {
      value = number;
      return 0;
    }
  } last;
  const std::string before = setlocale(LC_ALL, nullptr);
  bool found = false;
  for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "de_DE", "fr_FR.UTF-8",
                           "German_Germany.1252", "de-DE", "German"}) {
    if (setlocale(LC_ALL, name) != nullptr && localeconv()->decimal_point[0] == ',') {
      found = true;
      break;
    }
  }
  qelJSONFormatter::Parse("-1234.5 ", last);
  setlocale(LC_ALL, before.c_str());
  EXPECT_EQ(last.value, -1234.5);
  if (!found)
    GTEST_SKIP() << "no locale with a decimal comma on this machine";
}

TEST(qelJSONFormatterParse, ReadsStringsInEitherQuote) {
  Check({
      {"\"a\"", 0, "string <a>"},
      {"'a'", 0, "string <a>"},
      {"'\"'", 0, "string <\">"},
      {"\"'\"", 0, "string <'>"},
      {"\"a\n\r\t\x01\x7F\"", 0, "string <a\n\r\t\x01\x7F>"},
      {"\"\xC3\xA9\xFF\"", 0, "string <\xC3\xA9\xFF>"},
      {"\"/* // */\"", 0, "string </* // */>"},
      {"\"a'", 1, ""},
      {"\"a", 1, ""},
      {"\"a\\", 1, ""},
      {"\"a\\\"", 1, ""},
      {"\"\\u00", 1, ""},
  });
}

TEST(qelJSONFormatterParse, ReadsEscapes) {
  Check({
      {"\"\\\"\\/\\\\\\b\\n\\r\\t\"", 0, "string <\"/\\\b\n\r\t>"},
      {"{'\\n\\u0041':1}", 0, "{ key raw <\nA> s32 1 }"},
      {"\"\\u0041\\u007f\"", 0, "string <A\x7F>"},
      {"\"\\u0080\\u00e9\\u07ff\"", 0, "string <\xC2\x80\xC3\xA9\xDF\xBF>"},
      {"\"\\u0800\\uffff\"", 0, "string <\xE0\xA0\x80\xEF\xBF\xBF>"},
      {"\"\\u00412\"", 0, "string <A2>"},
      {"\"\\u00E9\"", 12, ""},
      {"\"\\u00g0\"", 12, ""},
      {"\"\\u00\"", 12, ""},
      {"\"\\f\"", 12, ""},
      {"'\\''", 12, ""},
      {"\"\\U0041\"", 12, ""},
      {"\"\\N\"", 12, ""},
      {"\"\\\xFF\"", 12, ""},
      {"{'\\f':1}", 12, "{"},
      {"[1,'\\x']", 12, "[ s32 1"},
  });
}

TEST(qelJSONFormatterParse, DoesNotJoinSurrogates) {
  Check({
      {"\"\\ud83d\\ude00\"", 0, "string <\xED\xA0\xBD\xED\xB8\x80>"},
      {"\"\\ude00\"", 0, "string <\xED\xB8\x80>"},
  });
}

TEST(qelJSONFormatterParse, PutsAZeroByteIntoTheTextThatIsDelivered) {
  struct Bytes : qelEmptySerialize {
    using qelEmptySerialize::String;
    std::string bytes;
    int String(const char* value, bool) override {
      bytes.assign(value, 4);
      return 0;
    }
  } target;
  EXPECT_EQ(qelJSONFormatter::Parse("\"a\\u0000b\"", target), 0);
  EXPECT_EQ(target.bytes, std::string("a\0b\0", 4));
  EXPECT_EQ(Events("\"a\\u0000b\""), "string <a>");
}

TEST(qelJSONFormatterParse, TakesCommentsWhereBlanksMayStand) {
  Check({
      {"// c\n[]", 0, "[ ]"},
      {"/* c */ 1 ", 0, "s32 1"},
      {"/**/[/*a*/1/*b*/,//c\n2]", 0, "[ s32 1 s32 2 ]"},
      {"{/**/'a'/**/:/**/1/**/,/**/}", 0, "{ key raw <a> s32 1 }"},
      {"/* / * // */[]", 0, "[ ]"},
      {"// a\r[]", 1, ""},
      {"/x", 13, ""},
      {"[/]", 13, "["},
      {"[1/]", 13, "[ s32 1"},
      {"/ /", 13, ""},
      {"[1,2// ]", 1, "[ s32 1 s32 2"},
  });
}

TEST(qelJSONFormatterParse, DoesNotEndACommentBehindTwoStars) {
  Check({
      {"/***/ 1 ", 1, ""},
      {"/* **/ 1 ", 1, ""},
      {"/***/ */1 ", 0, "s32 1"},
      {"/****/ 1 ", 0, "s32 1"},
  });
}

TEST(qelJSONFormatterParse, RefusesWhatBeginsNoValue) {
  for (int byte = 1; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    if (strchr("\t\n\v\f\r /\"'[{tTfFnN-0123456789", c) == nullptr) {
      EXPECT_EQ(Code(std::string(1, c) + " "), 4) << byte;
    }
  }
}

TEST(qelJSONFormatterParse, TakesNoByteAbove127ForABlank) {
  for (const char* blank : {"\x85", "\xA0", "\xC2\xA0", "\xEF\xBB\xBF"})
    EXPECT_EQ(Code(std::string(blank) + "[]"), 4);
}

TEST(qelJSONFormatterParse, NestsTwentyContainersIfTheInnermostIsEmpty) {
  const auto nested = [](size_t depth, const std::string& inner) {
    return Repeat("[", depth) + inner + Repeat("]", depth);
  };
  EXPECT_EQ(Code(nested(19, "1")), 0);
  EXPECT_EQ(Code(nested(20, "")), 0);
  EXPECT_EQ(Code(nested(19, "{}")), 0);
  EXPECT_EQ(Code(nested(20, "1")), 2);
  EXPECT_EQ(Code(nested(20, " /**/ ")), 0);
  EXPECT_EQ(Code(nested(20, "x")), 2);
  EXPECT_EQ(Code(nested(21, "")), 2);
  EXPECT_EQ(Code(nested(19, "[],[],1")), 0);

  const std::string maps = Repeat("{'a':", 19);
  EXPECT_EQ(Code(maps + "1" + Repeat("}", 19)), 0);
  EXPECT_EQ(Code(maps + "{}" + Repeat("}", 19)), 0);
  EXPECT_EQ(Code(maps + "{'b':1}" + Repeat("}", 19)), 2);
  EXPECT_EQ(Code(maps + "{'b':"), 1);
  EXPECT_EQ(Parse(maps + "{'b':1").events.back(), "key raw <b>");
  for (size_t depth = 17; depth < 23; ++depth) {
    EXPECT_TRUE(IsAsModelled(nested(depth, "1,2")));
    EXPECT_TRUE(IsAsModelled(Repeat("{'a':[", depth / 2) + "1" + Repeat("]}", depth / 2)));
  }
}

TEST(qelJSONFormatterParse, MayBeCalledByItsTarget) {
  struct Nested : JSONEvents {
    JSONEvents inner;
    int code = -1;
    int String(const char* value, bool raw) override {
      code = qelJSONFormatter::Parse(value, inner); // the value is what the outer one still holds
      return JSONEvents::String(value, raw);
    }
  } target;
  EXPECT_EQ(qelJSONFormatter::Parse("{'a':'[true,{\\\"b\\\":2}]','c':3}", target), 0);
  EXPECT_EQ(target.code, 0);
  EXPECT_EQ(target.inner.Joined(), "[ true { key raw <b> s32 2 } ]");
  EXPECT_EQ(target.Joined(), "{ key raw <a> string <[true,{\"b\":2}]> key raw <c> s32 3 }");
}

TEST(qelJSONFormatterParse, DoesNotWriteThePlaceOfAFault) {
  int line = -7;
  int column = -8;
  JSONEvents events;
  EXPECT_EQ(qelJSONFormatter::Parse("[\nx", events, line, column), 4);
  EXPECT_EQ(qelJSONFormatter::Parse("[]", events, line, column), 0);
  EXPECT_EQ(line, -7);
  EXPECT_EQ(column, -8);
}

// Against the model --------------------------------------------------------------------------

namespace {

// The beginnings of texts that bring each state ahead of the next byte, whatever that is.
const char* const kBeginnings[] = {
    "",         " ",        "[",        "[1,",     "[1",        "[\"\"",   "[[]",       "[{}",
    "{",        "{'a'",     "{'a':",    "{'a':1",  "{'a':1 ",   "{'a':1,", "{'a':{}",   "{}",
    "[]",       "\"\"",     "n",        "nu",      "nul",       "null",    "t",         "tr",
    "tru",      "true",     "f",        "fa",      "fal",       "fals",    "false",     "/",
    "/*",       "//",       "/**",      "/*/",     "[/",        "[/*",     "[//",       "[1/",
    "[1/**",    "\"",       "'",        "\"a",     "'a",        "\"\\",    "\"\\u",     "\"\\u0",
    "\"\\u00",  "\"\\u00e", "\"\\ud80", "{\"",     "{'",        "{\"\\",   "{\"\\u",    "{\"\\u00e",
    "-",        "0",        "12",       "1.",      "1.5",       "1e",      "1e-",       "1e5",
    "[-",       "[0.",      "[null",    "[true",   "{'a':null", "{'a':-",  "{'a':true", "{}/",
    "{}/*",     "{} ",      "[1 ",      "{'a' ",   "{'a': ",    "{ ",      "[ ",        "{'a':1 /*",
    "{'a':'b'", "{'a':[",   "{'a':[1",  "[{'a':1",
};
const char* const kEnds[] = {"",    " ",   "\"",  "'",   "]",    "}",     "1 ",    "1]",
                             "*/ ", "\n[", ",1]", ":1}", "':1}", "\"]\"", "ull }", "0041\""};

} // namespace

TEST(qelJSONFormatterParse, DoesInEveryStateWhatTheModelDoesWithEveryByte) {
  JSONModel all;
  for (const char* beginning : kBeginnings) {
    for (int byte = 1; byte < 256; ++byte) {
      for (const char* end : kEnds) {
        JSONModel model;
        const std::string text = beginning + std::string(1, static_cast<char>(byte)) + end;
        ASSERT_TRUE(IsAsModelled(text, model));
        for (int state = 0; state < JSONModel::kStates; ++state)
          all.seen[state][byte] |= model.seen[state][byte];
      }
    }
  }
  // These are entered with a byte that state 0 has let through: no blank and no slash.
  const std::string behindSkip = "\x01\x02\x0D\x0E\x0F\x10\x12\x13\x14\x15";
  for (int state = 0; state < JSONModel::kStates; ++state) {
    for (int byte = 1; byte < 256; ++byte) {
      const char c = static_cast<char>(byte);
      const bool skipped = strchr("\t\n\v\f\r /", c) != nullptr &&
                           behindSkip.find(static_cast<char>(state)) != std::string::npos;
      EXPECT_EQ(all.seen[state][byte], !skipped) << "state " << state << ", byte " << byte;
    }
  }
}

TEST(qelJSONFormatterParse, DoesWhatTheModelDoesWithRandomPieces) {
  static const char* const kPieces[] = {
      "[",   "]",    "{",    "}",       ",",     ":",  " ",        "\n",   "\"",    "'",
      "/",   "*",    "/*",   "*/",      "//",    "\\", "\\u",      "00e9", "\\n",   "a",
      "'a'", "1",    "-",    ".",       "e",     "E",  "+",        "0",    "99999", "1.5",
      "nul", "null", "true", "false",   "fal",   "x",  "\xC3\xA9", "'a':", "{'a':", ",'b':",
      "[],", "{}",   "1,",   "\"\\ud8", "'\\t'", "\t", "/**/",     "//\n", "[[[[",  "]]]]",
  };
  std::mt19937 random(82);
  for (int i = 0; i < 100000; ++i) {
    std::string text;
    for (size_t n = random() % 24; n != 0; --n)
      text += kPieces[random() % (sizeof kPieces / sizeof *kPieces)];
    ASSERT_TRUE(IsAsModelled(text));
  }
}

namespace {

class RandomDocument {
public:
  explicit RandomDocument(uint32_t seed) : m_random(seed) {}

  uint32_t Below(uint32_t n) { return static_cast<uint32_t>(m_random()) % n; }

  // A value that can be read, with blanks and comments.
  std::string Value(int depth) {
    switch (Below(depth > 0 ? 8 : 6)) {
    case 0:
      return Text();
    case 1:
      return Below(2) ? "TRUE" : "false";
    case 2:
      return "null";
    case 3:
      return std::to_string(static_cast<int32_t>(m_random()));
    case 4:
      return std::to_string(static_cast<int32_t>(m_random())) + "." + std::to_string(Below(1000));
    case 5:
      return std::to_string(Below(100)) + "e" + std::to_string(static_cast<int>(Below(700)) - 350);
    case 6:
      return List("[", "]", depth, false);
    default:
      return List("{", "}", depth, true);
    }
  }

  std::string Gap() {
    static const char* const kGaps[] = {"", "", "", "", " ", "\n", "\t ", "/* c */", "// c\n"};
    return kGaps[Below(sizeof kGaps / sizeof *kGaps)];
  }

private:
  std::string List(const char* begin, const char* end, int depth, bool keys) {
    std::string text = begin + Gap();
    for (uint32_t n = Below(5); n != 0; --n) {
      if (keys)
        text += Text() + Gap() + ":" + Gap();
      text += Value(depth - 1) + Gap();
      text += n > 1 || Below(2) ? "," + Gap() : "";
    }
    return text + end;
  }

  std::string Text() {
    static const char* const kPieces[] = {"a",       "bc",      " ",           "\\n",
                                          "\\\"",    "\\\\",    "\\/",         "\\u0001",
                                          "\\u20ac", "\\ud83d", "\xE2\x82\xAC"};
    const std::string quote = Below(2) ? "\"" : "'";
    std::string text = quote;
    for (uint32_t n = Below(6); n != 0; --n)
      text += kPieces[Below(sizeof kPieces / sizeof *kPieces)];
    return text + quote;
  }

  std::mt19937 m_random;
};

// Changes, takes out, puts in or doubles some bytes, or cuts the text.
void Mutate(std::string& text, RandomDocument& random) {
  static const char kBytes[] = "[]{},:\"'/*\\ \n-+.eE0129tfnulasrbx\x01\xFF";
  const uint32_t size = static_cast<uint32_t>(text.size());
  const uint32_t at = random.Below(size + 1);
  const char c = kBytes[random.Below(sizeof kBytes - 1)];
  switch (random.Below(5)) {
  case 0:
    text.insert(at, 1, c);
    break;
  case 1:
    text.erase(at, 1 + random.Below(3));
    break;
  case 2:
    text.resize(at);
    break;
  case 3:
    text.insert(at, text.substr(random.Below(size + 1), random.Below(20)));
    break;
  default:
    if (at < size)
      text[at] = c;
  }
}

} // namespace

TEST(qelJSONFormatterParse, ReadsRandomDocumentsAsTheModelDoes) {
  RandomDocument random(821);
  for (int i = 0; i < 5000; ++i) {
    const std::string text = random.Gap() + random.Value(5) + " ";
    ASSERT_EQ(Code(text), 0) << text;
    ASSERT_TRUE(IsAsModelled(text));
  }
}

TEST(qelJSONFormatterParse, ReadsMutatedDocumentsAsTheModelDoes) {
  RandomDocument random(822);
  for (int i = 0; i < 40000; ++i) {
    std::string text = random.Gap() + random.Value(4) + " ";
    for (uint32_t n = random.Below(4); n != 0; --n)
      Mutate(text, random);
    ASSERT_TRUE(IsAsModelled(text));
  }
}

// Large texts ----------------------------------------------------------------------------------

namespace {

class Counter : public qelEmptySerialize {
public:
  using qelEmptySerialize::String;
  int ArrayBegin() override {
    ++arrays;
    return 0;
  }
  int String(const char* value, bool) override {
    longest = strlen(value);
    return 0;
  }
  int S32(qelLong value) override {
    number = value;
    return 0;
  }
  int Float(double value) override {
    number = value;
    return 0;
  }

  size_t arrays = 0;
  size_t longest = 0;
  double number = 0;
};

const size_t kLarge = 100 * 1000 * 1000;

// Parses head, so many bytes of repetitions of `piece`, and tail.
int ParseLarge(const char* head, const char* piece, const char* tail, Counter& counter) {
  const std::string text = head + Repeat(piece, kLarge / strlen(piece)) + tail;
  return qelJSONFormatter::Parse(text.c_str(), counter);
}

} // namespace

TEST(qelJSONFormatterParse, ReadsTextsOfAHundredMegabytes) {
  struct {
    const char* head;
    const char* piece;
    const char* tail;
    int code;
  } const kTexts[] = {
      {"", "[", "", 2},      {"", "{", "", 9},      {"", "{'':", "", 2},   {"", "\"", "", 0},
      {"", "'", "", 0},      {"", "0", "", 1},      {"", "7", "", 1},      {"", "-", " ", 7},
      {"", " ", "", 1},      {"", "*/", "", 4},     {"/*", "*", "", 1},    {"/*", "/*", "", 4},
      {"", "/**/", "[]", 0}, {"", "//\n", "[]", 0}, {"[]", "/**/", "", 0}, {"/*", "**/", "", 1},
      {"\"", "a", "", 1},    {"//", "/", "", 1},    {"{\"", "a", "", 1},   {"[]", "]", "", 0},
      {"", "n", "", 5},
  };
  for (const auto& one : kTexts) {
    Counter counter;
    EXPECT_EQ(ParseLarge(one.head, one.piece, one.tail, counter), one.code)
        << one.head << " " << one.piece << " " << one.tail;
  }
}

TEST(qelJSONFormatterParse, ReadsLargeNumbersStringsAndArrays) {
  Counter counter;
  EXPECT_EQ(ParseLarge("", "7", " ", counter), 0);
  EXPECT_EQ(counter.number, -1);
  EXPECT_EQ(ParseLarge("0.", "7", " ", counter), 0);
  EXPECT_EQ(counter.number, 7.0 / 9);
  EXPECT_EQ(ParseLarge("1e", "9", " ", counter), 0);
  EXPECT_EQ(counter.number, std::numeric_limits<double>::infinity());
  EXPECT_EQ(ParseLarge("\"", "a", "\"", counter), 0);
  EXPECT_EQ(counter.longest, kLarge);
  EXPECT_EQ(ParseLarge("\"", "\\n", "\"", counter), 0);
  EXPECT_EQ(counter.longest, kLarge / 2);
  EXPECT_EQ(ParseLarge("[", "[[]],", "]", counter), 0);
  EXPECT_EQ(counter.arrays, 1 + 2 * kLarge / 5);
}

// There and back ---------------------------------------------------------------------------------

namespace {

// Sends one random document to the formatter and writes down what must come back.
class Writer {
public:
  Writer(uint32_t seed, bool strict, bool human) : m_random(seed) {
    m_formatter.SetStrictMode(strict);
    m_formatter.SetHumanMode(human);
  }

  // An array or a map, since words and numbers need a byte behind them.
  void Document() { m_random.Below(2) ? Map(4) : Array(4); }

  std::string Text() const { return m_formatter.Result().c_str(); }
  const std::vector<std::string>& Expected() const { return m_expected.list; }

private:
  void Value(int depth) {
    switch (m_random.Below(depth > 0 ? 9 : 7)) {
    case 0: {
      const std::string text = Bytes();
      m_formatter.String(text.c_str(), false);
      m_expected.String(text.c_str(), false);
      break;
    }
    case 1: {
      const bool value = m_random.Below(2) != 0;
      m_formatter.Boolean(value);
      m_expected.Boolean(value);
      break;
    }
    case 2:
      m_formatter.Null();
      m_expected.Null();
      break;
    case 3: {
      const qelLong value = static_cast<qelLong>(m_random.Below(UINT32_MAX));
      m_random.Below(2) ? m_formatter.S32(value) : m_formatter.S64(value);
      m_expected.S32(value);
      break;
    }
    case 4: {
      const uint32_t value = m_random.Below(0x80000000u);
      m_random.Below(2) ? m_formatter.U32(static_cast<qelULong>(value)) : m_formatter.U64(value);
      m_expected.S32(static_cast<qelLong>(value));
      break;
    }
    case 5: {
      const double value = (static_cast<double>(m_random.Below(1u << 30)) - (1 << 29)) / 64;
      m_formatter.Float(value);
      m_expected.Float(value);
      break;
    }
    case 6:
      m_formatter.Identifier("name");
      m_expected.String("name", false);
      break;
    case 7:
      Array(depth - 1);
      break;
    default:
      Map(depth - 1);
    }
  }

  void Array(int depth) {
    m_formatter.ArrayBegin();
    m_expected.ArrayBegin();
    for (uint32_t n = m_random.Below(5); n != 0; --n) {
      Value(depth);
      if (n > 1 || m_random.Below(2))
        m_formatter.ArrayItemSeparator();
    }
    m_formatter.ArrayEnd();
    m_expected.ArrayEnd();
  }

  void Map(int depth) {
    m_formatter.MapBegin();
    m_expected.MapBegin();
    for (uint32_t n = 1 + m_random.Below(4); n != 0; --n) {
      const std::string key = Bytes();
      m_formatter.MapKey(key.c_str(), false);
      m_expected.MapKey(key.c_str(), true);
      Value(depth);
    }
    m_formatter.MapEnd();
    m_expected.MapEnd();
  }

  // Any bytes but zero and the form feed.
  std::string Bytes() {
    std::string text;
    for (uint32_t n = m_random.Below(12); n != 0; --n) {
      const char c = static_cast<char>(1 + m_random.Below(m_random.Below(2) ? 255 : 0x2F));
      text += c == '\f' ? '/' : c;
    }
    return text;
  }

  RandomDocument m_random;
  qelJSONFormatter m_formatter;
  JSONEvents m_expected;
};

} // namespace

TEST(qelJSONFormatterParse, ReadsBackWhatTheFormatterWrites) {
  for (uint32_t seed = 0; seed < 8000; ++seed) {
    Writer writer(seed, (seed & 1) != 0, (seed & 2) != 0);
    writer.Document();
    const Parsed parsed = Parse(writer.Text());
    ASSERT_EQ(parsed.code, 0) << writer.Text();
    ASSERT_EQ(parsed.events, writer.Expected()) << writer.Text();
  }
}

TEST(qelJSONFormatterParse, CannotReadBackSomeThingsThatTheFormatterWrites) {
  struct {
    const char* what;
    void (*write)(qelJSONFormatter& json);
    int code;
    const char* events;
  } const kCases[] = {
      {"an empty map", [](qelJSONFormatter& json) { json.MapBegin(), json.MapEnd(); }, 9, "{"},
      {"a form feed", [](qelJSONFormatter& json) { json.String("\f", false); }, 12, ""},
      {"a number at the top", [](qelJSONFormatter& json) { json.S32(1); }, 1, ""},
      {"a word at the top", [](qelJSONFormatter& json) { json.Null(); }, 1, ""},
      {"a raw string", [](qelJSONFormatter& json) { json.String("a b", true); }, 4, ""},
      {"a raw key",
       [](qelJSONFormatter& json) {
         json.MapBegin(), json.MapKey("a", true), json.S32(1), json.MapEnd();
       },
       9, "{"},
      {"a large U32",
       [](qelJSONFormatter& json) { json.ArrayBegin(), json.U32(4294967295u), json.ArrayEnd(); }, 0,
       "[ s32 -1 ]"},
      {"a large S64",
       [](qelJSONFormatter& json) { json.ArrayBegin(), json.S64(4294967301), json.ArrayEnd(); }, 0,
       "[ s32 5 ]"},
      {"a seventh digit of a fraction",
       [](qelJSONFormatter& json) { json.ArrayBegin(), json.Float(0.0000001), json.ArrayEnd(); }, 0,
       "[ float 0 ]"},
      {"an infinity",
       [](qelJSONFormatter& json) { json.Float(std::numeric_limits<double>::infinity()); }, 4, ""},
      {"items without separators",
       [](qelJSONFormatter& json) { json.ArrayBegin(), json.Null(), json.Null(), json.ArrayEnd(); },
       8, "[ null"},
      {"separators",
       [](qelJSONFormatter& json) {
         json.ArrayBegin(), json.Null(), json.ArrayItemSeparator(), json.Null(), json.ArrayEnd();
       },
       0, "[ null null ]"},
      {"a wide string", [](qelJSONFormatter& json) { json.String(QEL_W("\xE9"), false); }, 0,
       "string <\xC3\xA9>"},
      {"a bare separator",
       [](qelJSONFormatter& json) {
         json.ArrayBegin(), json.ArrayItemSeparator(), json.ArrayEnd();
       },
       4, "["},
      {"depth",
       [](qelJSONFormatter& json) {
         for (int i = 0; i < 21; ++i)
           json.ArrayBegin();
         for (int i = 0; i < 21; ++i)
           json.ArrayEnd();
       },
       2, "[ [ [ [ [ [ [ [ [ [ [ [ [ [ [ [ [ [ [ ["},
  };
  for (const auto& one : kCases) {
    qelJSONFormatter formatter;
    one.write(formatter);
    const std::string text = formatter.Result().c_str();
    EXPECT_EQ(Code(text), one.code) << one.what;
    EXPECT_EQ(Events(text), one.events) << one.what;
  }
}

TEST(qelJSONFormatterParse, WritesKeysWithoutQuotesIntoAPlainFormatter) {
  qelJSONFormatter formatter;
  EXPECT_EQ(qelJSONFormatter::Parse("{\"a\":[1,true]}", formatter), 0);
  EXPECT_EQ(formatter.Result(), "{a:[1true],}");
}

#include <random>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <examples/mediaquery/Criteria.h>
#include <examples/mediaquery/Properties.h>
#include <examples/mediaquery/Text.h>

using namespace mediaquery;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

qelCString Text(const std::string& text) {
  return qelCString(text.c_str(), text.size());
}

bool IsValid(const std::string& text) {
  CriteriaParser parser(Text(text));
  return parser.Parse();
}

std::string Format(const std::string& text) {
  return FormatCriteriaFault(Text(text), FindCriteriaFault(Text(text)));
}

bool Matches(qelMediaInfo& item, const char* criteria) {
  CriteriaParser parser{qelCString(criteria)};
  EXPECT_TRUE(parser.Parse()) << criteria;
  ItemEvaluator evaluator(&item);
  return parser.Evaluate(&evaluator);
}

} // namespace

TEST(FindCriteriaFault, FindsNoneInValidCriteria) {
  for (const char* text : {
           "*",
           "  *\t",
           "dc:title = \"a\"",
           "dc:title = \"a\"  ",
           "dc:title exists true",
           "dc:title\tlike\n\"a\\\"b\"",
           "dc:title = \"a\" and dc:date < \"2005-01-01\" or res@size > \"3\"",
           "(dc:title = \"a\")",
           " ( ( dc:title = \"a\" ) and dc:creator exists false ) or dc:title = \")\"",
       }) {
    EXPECT_TRUE(IsValid(text)) << text;
    EXPECT_EQ(FindCriteriaFault(Text(text)).message, "") << text;
  }
}

TEST(FindCriteriaFault, TellsThePlaceAndWhatIsWrong) {
  const struct {
    const char* text;
    size_t offset;
    const char* message;
  } rows[] = {
      {"", 0, "a test is missing here"},
      {"   ", 3, "a test is missing here"},
      {"* x", 2, "\"*\" stands alone"},
      {"*x", 1, "\"*\" stands alone"},
      {" dc:title = \"a\"", 0, "a blank may not stand ahead of a test"},
      {"dc:titel = \"a\"", 0, "there is no such property; there are @id"},
      {"dc:title=\"a\"", 0, "an operator needs a blank on both sides"},
      {"dc:title", 8, "a blank and an operator are missing here"},
      {"dc:title)", 8, "a blank and an operator are missing here"},
      {"dc:title equals \"a\"", 9, "an operator is missing here: = != <= >="},
      {"dc:title ", 9, "an operator is missing here"},
      {"dc:title =\"a\"", 10, "a blank is missing behind the operator"},
      {"dc:title = a", 11, "a value in double quotes is missing here"},
      {"dc:title = ", 11, "a value in double quotes is missing here"},
      {"dc:title = \"abc", 11, "the quote that begins here is not closed"},
      {"dc:title = \"a\\", 11, "the quote that begins here is not closed"},
      {"dc:title exists maybe", 16, "true or false is missing here"},
      {"dc:title exists \"true\"", 16, "true or false is missing here"},
      {"dc:title exists", 15, "a blank is missing behind the operator"},
      {"dc:title exists truest", 20, "a blank or the end is missing here"},
      {"dc:title = \"a\" dc:title = \"b\"", 15, "\"and\", \"or\" or the end is missing here"},
      {"dc:title = \"a\"and dc:title = \"b\"", 14, "a blank or the end is missing here"},
      {"dc:title = \"a\" and", 18, "a blank and another test are missing here"},
      {"dc:title = \"a\" and ", 19, "a test is missing here"},
      {"dc:title = \"a\" andx", 18, "a blank and another test are missing here"},
      {"and dc:title = \"x\"", 0, "there is no such property"},
      {"dc:title = \"a\" )", 15, "this parenthesis closes nothing"},
      {"(dc:title = \"a\"", 0, "the parenthesis that begins here is not closed"},
      {"dc:title = \"a\" and (dc:title = \"a\" and", 38, "another test"},
      {"dc:title = \"a\" or ((dc:title = \"a\")", 18, "the parenthesis that begins here"},
      {"()", 1, "a test is missing here"},
      {"(dc:title = \"a\" and )", 20, "a test is missing here"},
      {"(dc:title = \"a\")and dc:title = \"b\"", 16, "a blank or the end is missing here"},
      {"dc:title exists", 15, "a blank is missing"},
  };
  for (const auto& row : rows) {
    EXPECT_FALSE(IsValid(row.text)) << row.text;
    const CriteriaFault fault = FindCriteriaFault(Text(row.text));
    EXPECT_EQ(fault.offset, row.offset) << row.text;
    EXPECT_THAT(fault.message, HasSubstr(row.message)) << row.text;
  }
}

TEST(FindCriteriaFault, KnowsHowDeepGroupsMayNest) {
  for (size_t depth : {999u, 1000u, 1001u, 1002u}) {
    const std::string text = std::string(depth, '(') + "dc:title = \"a\"" + std::string(depth, ')');
    EXPECT_EQ(FindCriteriaFault(Text(text)).message.empty(), IsValid(text)) << depth;
  }
  EXPECT_EQ(FindCriteriaFault(Text(std::string(100000, '('))).offset,
            static_cast<size_t>(qelExpressionParser::MaxGroupDepth));
}

// The parser and the search for faults are two readers of one grammar.
TEST(FindCriteriaFault, AgreesWithTheParserOnRandomTexts) {
  std::mt19937 random(11);
  const char* const tokens[] = {"dc:title", "res@size", "=",    "<=",  "contains", "exists",
                                "\"a\"",    "\"\\\"\"", "true", "and", "or",       "(",
                                ")",        "*",        "\"",   "x",   "true",     "\\"};
  const char* const spaces[] = {" ", "", "  ", "\t"};
  int valid = 0;
  for (int round = 0; round < 200000; ++round) {
    std::string text;
    if (random() % 2 == 0) { // a chain of tests, with a token replaced now and then
      const auto token = [&](const char* usual) {
        text += random() % 12 == 0 ? tokens[random() % std::size(tokens)] : usual;
        text += random() % 12 == 0 ? spaces[random() % std::size(spaces)] : " ";
      };
      for (int n = static_cast<int>(random() % 3); n >= 0; --n) {
        const bool group = random() % 3 == 0;
        if (group)
          token("(");
        token("dc:title");
        token("=");
        token("\"a\"");
        if (group)
          token(")");
        if (n != 0)
          token("and");
      }
    } else {
      for (int n = static_cast<int>(random() % 8); n >= 0; --n) {
        text += tokens[random() % std::size(tokens)];
        text += spaces[random() % std::size(spaces)];
      }
    }
    const bool isValid = IsValid(text);
    valid += isValid;
    ASSERT_EQ(FindCriteriaFault(Text(text)).message.empty(), isValid) << text;
  }
  EXPECT_GT(valid, 10000);
}

// The program's README promises these readings.
TEST(CriteriaParser, BindsAndTighterThanOrButBesideGroups) {
  const struct {
    const char* criteria; // "T" is a test that holds, "F" one that does not
    bool expected;
  } rows[] = {
      {"F and F or T", true},          {"T or F and F", true},    {"T or (F and F)", true},
      {"F and (F) or T", true},        {"T or F and (F)", false}, // (T or F) and (F)
      {"(F and F or T)", true},                                   // (F and F) or T
      {"(F and F or T) or F", false},                             // (F and (F or T)) or F
      {"((F and F) or T) or F", true},
  };
  qelMediaInfo item;
  item.title = "T";
  for (const auto& row : rows) {
    std::string criteria;
    for (const char* c = row.criteria; *c != '\0'; ++c)
      criteria +=
          *c == 'T' || *c == 'F' ? std::string("dc:title = \"") + *c + '"' : std::string(1, *c);
    EXPECT_EQ(Matches(item, criteria.c_str()), row.expected) << row.criteria;
  }
}

TEST(CriteriaParser, TakesEscapesInValues) {
  qelMediaInfo item;
  item.title = "a \"b\" \\ c";
  EXPECT_TRUE(Matches(item, "dc:title = \"a \\\"b\\\" \\\\ c\""));
}

TEST(FormatCriteriaFault, PutsACaretBelowThePlace) {
  EXPECT_EQ(Format("dc:title exists maybe"), "at character 17: true or false is missing here\n"
                                             "  dc:title exists maybe\n"
                                             "                  ^");
}

TEST(FormatCriteriaFault, PutsTheCaretBehindTheTextAtItsEnd) {
  EXPECT_EQ(Format("dc:title"), "at character 9: a blank and an operator are missing here\n"
                                "  dc:title\n"
                                "          ^");
}

TEST(FormatCriteriaFault, CountsCharactersNotBytes) {
  EXPECT_EQ(Format("dc:title = \"\xC3\xA9\xE2\x82\xAC\" x"),
            "at character 17: \"and\", \"or\" or the end is missing here\n"
            "  dc:title = \"\xC3\xA9\xE2\x82\xAC\" x\n"
            "                  ^");
}

TEST(FormatCriteriaFault, ShowsControlCharactersAndBadBytesInOneColumnEach) {
  EXPECT_EQ(Format("dc:title\n=\t\"\xFF\x1B\" x"), "at character 17: \"and\", \"or\" or the end is "
                                                   "missing here\n"
                                                   "  dc:title = \"? \" x\n"
                                                   "                  ^");
}

TEST(FormatCriteriaFault, CutsALongTextAroundThePlace) {
  const std::string a(200, 'a');
  EXPECT_EQ(Format("dc:title = \"" + a + "\" x dc:title = \"" + a + "\""),
            "at character 215: \"and\", \"or\" or the end is missing here\n"
            "  ..." +
                std::string(38, 'a') + "\" x dc:title = \"" + std::string(17, 'a') + "...\n" +
                std::string(45, ' ') + "^");
}

TEST(ItemEvaluator, ComparesTextsByTheStringTests) {
  qelMediaInfo item;
  item.title = "The Sea";
  item.Set("cn", "object.item.imageItem.photo", true);
  EXPECT_TRUE(Matches(item, "dc:title = \"the sea\""));
  EXPECT_TRUE(Matches(item, "dc:title contains \"SEA\""));
  EXPECT_TRUE(Matches(item, "dc:title doesNotContain \"lake\""));
  EXPECT_TRUE(Matches(item, "dc:title like \"The*\""));
  EXPECT_FALSE(Matches(item, "dc:title like \"the*\""));
  EXPECT_TRUE(Matches(item, "upnp:class derivedfrom \"object.item.imageItem\""));
  EXPECT_FALSE(Matches(item, "dc:title > \"A\""));
}

TEST(ItemEvaluator, TellsWhichPropertiesAreThere) {
  qelMediaInfo item;
  item.title = "t";
  EXPECT_TRUE(Matches(item, "dc:title exists true"));
  EXPECT_FALSE(Matches(item, "dc:title exists false"));
  for (const char* absent : {"dc:creator", "upnp:genre", "@refID", "res@size", "res@resolution",
                             "res@duration", "res@nrAudioChannels", "dc:date"}) {
    EXPECT_TRUE(Matches(item, (absent + std::string(" exists false")).c_str())) << absent;
    EXPECT_FALSE(Matches(item, (absent + std::string(" exists true")).c_str())) << absent;
  }
}

TEST(ItemEvaluator, TakesAnAbsentTextAsEmptyAndAnAbsentNumberAsNoMatch) {
  qelMediaInfo item;
  EXPECT_TRUE(Matches(item, "upnp:genre != \"Rock\""));
  EXPECT_TRUE(Matches(item, "upnp:genre doesNotContain \"Rock\""));
  for (const char* op : {"=", "!=", "<", "<=", ">", ">="})
    EXPECT_FALSE(Matches(item, (std::string("res@size ") + op + " \"5\"").c_str())) << op;
}

TEST(ItemEvaluator, ComparesNumbersByTheirValue) {
  // size, value of the criteria, and whether = != < <= > >= hold
  const struct {
    uint64_t size;
    const char* value;
    const char* expected;
  } rows[] = {
      {10, "10", "100101"},
      {9, "10", "011100"},
      {11, "10", "010011"},
      {10, "10.5", "011100"},
      {11, "10.5", "010011"},
      {10, "010", "100101"},
      {10, "-1", "010011"},
      {10, "ten", "000000"},
      {2147483647, "2147483647", "100101"},
      {2147483648u, "2147483647", "010011"},
      {5000000000u, "10", "010011"},
      {5000000000u, "5000000000", "100101"},
      {5000000000u, "6000000000", "011100"},
      {10, "6000000000", "011100"},
  };
  const char* const operators[] = {"=", "!=", "<", "<=", ">", ">="};
  for (const auto& row : rows) {
    qelMediaInfo item;
    item.Set("si", row.size, true);
    std::string result;
    for (const char* op : operators)
      result += Matches(item, (std::string("res@size ") + op + " \"" + row.value + "\"").c_str())
                    ? '1'
                    : '0';
    EXPECT_EQ(result, row.expected) << row.size << " and " << row.value;
  }
}

TEST(ItemEvaluator, TakesANumberAsTextWhereTheOperatorAsksForText) {
  qelMediaInfo item;
  item.Set("si", 12345, true);
  EXPECT_TRUE(Matches(item, "res@size contains \"234\""));
  EXPECT_TRUE(Matches(item, "res@size like \"1*\""));
}

TEST(ItemEvaluator, ComparesDates) {
  qelMediaInfo item;
  item.date = qelDateTime(15, qelDateTime::Month(5), 2015, 12, 0, 0, 0);
  EXPECT_TRUE(Matches(item, "dc:date > \"2015-06-15\""));
  EXPECT_TRUE(Matches(item, "dc:date < \"2015-06-16\""));
  EXPECT_TRUE(Matches(item, "dc:date = \"2015-06-15T12:00:00\""));
  EXPECT_FALSE(Matches(item, "dc:date = \"2015-06-15\""));
  EXPECT_TRUE(Matches(item, "dc:date contains \"2015-06-15T12\""));
  for (const char* value : {"2014", "then", ""})
    EXPECT_FALSE(Matches(item, ("dc:date > \"" + std::string(value) + "\"").c_str())) << value;
}

TEST(ItemEvaluator, MakesTextOfPictureSizeAndDuration) {
  qelMediaInfo item;
  item.Set("wi", 640, true);
  item.Set("he", 480, true);
  item.Set("du", 3723045, true);
  EXPECT_TRUE(Matches(item, "res@resolution = \"640x480\""));
  EXPECT_TRUE(Matches(item, "res@duration = \"1:02:03.045\""));
}

TEST(FindProperty, RegardsCaseAndTakesWholeNamesOnly) {
  for (size_t i = 0; i < GetPropertyCount(); ++i)
    EXPECT_EQ(FindProperty(GetProperty(i).name), static_cast<int>(i));
  for (const char* name : {"", "DC:title", "dc:titl", "dc:title ", "dc:titles"})
    EXPECT_EQ(FindProperty(name), -1) << name;
}

TEST(ToValidUTF8, ReplacesEachByteThatIsNone) {
  const struct {
    std::string text;
    std::string expected;
  } rows[] = {
      {"plain", "plain"},
      {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
      {"a\xE9z", "a\xEF\xBF\xBDz"},
      {"\xC0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD"},
      {"\xE2\x82", "\xEF\xBF\xBD\xEF\xBF\xBD"},
      {"\xED\xA0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
      {"\xF4\x90\x80\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
      {"\xE0\x9F\xBF", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
      {"\xF0\x8F\xBF\xBF", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
      {"\xF5", "\xEF\xBF\xBD"},
      {"\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF", "\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF"},
  };
  for (const auto& row : rows)
    EXPECT_STREQ(ToValidUTF8(Text(row.text)).c_str(), row.expected.c_str());
}

TEST(MakeFileURI, EscapesWhatMayNotStandInOne) {
  const struct {
    const char* path;
    const char* expected;
  } rows[] = {
      {"/a/b.png", "file:///a/b.png"},
      {"/a b/\xE9%#?.png", "file:///a%20b/%E9%25%23%3F.png"},
      {"/-._~!$&'()*+,;=:@", "file:///-._~!$&'()*+,;=:@"},
      {"C:/a/b.png", "file:///C:/a/b.png"},
      {"\\\\srv/share/b.png", "file://srv/share/b.png"},
  };
  for (const auto& row : rows)
    EXPECT_STREQ(MakeFileURI(row.path).c_str(), row.expected);
}

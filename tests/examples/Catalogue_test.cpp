#include <string>

#include <gtest/gtest.h>

#include <companions/plugins/qelixPlugins.h>
#include <examples/mediaquery/Catalogue.h>

using namespace mediaquery;

namespace {

const std::string kRest = "\"cn\":\"c\",\"mt\":\"m\",\"fp\":\"/a\",";

bool Parses(const std::string& line) {
  qelMediaInfo item;
  std::string fault;
  const bool parsed = ParseCatalogueLine(line, &item, &fault);
  EXPECT_EQ(fault.empty(), parsed) << line;
  return parsed;
}

} // namespace

TEST(CatalogueLine, HoldsTheItemInOneLine) {
  qelMediaInfo item;
  item.title = "a\n%\xFF\xC3\xA9\"";
  item.path = "/a";
  item.Set("id", "a", true);
  item.Set("cn", "c", true);
  item.Set("mt", "m", true);
  item.Set("si", 18446744073709551615ull, true);
  item.date = qelDateTime(qeltimeval{1717259400, 123});
  EXPECT_EQ(FormatCatalogueLine(item),
            "{\"id\":\"a\",\"ti\":\"a%0A%25%FF\xC3\xA9\\\"\",\"da\":\"1717259400.000123\","
            "\"cn\":\"c\",\"mt\":\"m\",\"fp\":\"\\/a\",\"si\":\"18446744073709551615\",}");
}

TEST(CatalogueLine, ComesBackAsItWas) {
  for (int byte = 1; byte < 256; ++byte) {
    qelMediaInfo item;
    item.title = std::string(1, static_cast<char>(byte)).c_str();
    item.path = ("/" + std::string(2, static_cast<char>(byte))).c_str();
    item.Set("id", item.path, true);
    item.Set("cn", "c", true);
    item.Set("mt", "m", true);
    item.Set("si", 5000000000ull, true);
    item.date = qelDateTime(qeltimeval{byte - 5, byte == 255 ? 999999 : byte * 1000 + byte});
    qelMediaInfo read;
    std::string fault;
    ASSERT_TRUE(ParseCatalogueLine(FormatCatalogueLine(item), &read, &fault)) << byte << fault;
    EXPECT_STREQ(read.title.c_str(), item.title.c_str());
    EXPECT_STREQ(read.path.c_str(), item.path.c_str());
    EXPECT_STREQ(read.GetCString("si", "").c_str(), "5000000000");
    EXPECT_TRUE(read.date == item.date) << byte;
    EXPECT_EQ(FormatCatalogueLine(read), FormatCatalogueLine(item));
  }
  EXPECT_EQ(qelPlugins_CountLists(), 0u);
  EXPECT_EQ(qelPlugins_CountProperties(), 0u);
}

TEST(CatalogueLine, TakesJSONOfOtherWriters) {
  for (const std::string& line :
       {"{" + kRest + "\"id\":\"a\"}", " { " + kRest + " 'id' : \"a\" , } \r",
        "{\"id\":\"\\u0061\"," + kRest + "\"new\":[1,2],\"md\":\"\",}",
        "{\"md\":\"%FF%FF%00%7F lying\",\"rd\":\"%1\"," + kRest + "\"id\":\"a\",}"})
    EXPECT_TRUE(Parses(line)) << line;
}

TEST(CatalogueLine, RefusesWhatIsMalformed) {
  const std::string good = "{" + kRest + "\"id\":\"a\",}";
  ASSERT_TRUE(Parses(good));
  const std::string bad[] = {"",
                             " ",
                             "null",
                             "5",
                             "[]",
                             "{}",
                             "{,}",
                             "x",
                             good + "x",
                             good + good,
                             good + "," + good,
                             good + "]",
                             good + ",null",
                             "[" + good + "]",
                             good + "/*",
                             good + std::string(1, '\0'),
                             "{\"id\":\"\"," + kRest + "}",
                             "{" + kRest + "}",
                             "{\"id\":5," + kRest + "}",
                             "{\"id\":null," + kRest + "}",
                             "{\"id\":[\"a\",\"b\"]," + kRest + "}",
                             "{\"id\":{\"pa\":\"a\"}," + kRest + "}",
                             "{\"x\":{}," + kRest + "\"id\":\"a\"}",
                             "{\"id\":\"a\",\"id\":\"b\"," + kRest + "}",
                             "{\"id\":\"%\"," + kRest + "}",
                             "{\"id\":\"%4\"," + kRest + "}",
                             "{\"id\":\"%ff\"," + kRest + "}",
                             "{\"id\":\"%00\"," + kRest + "}",
                             "{\"id\":\"\\x\"," + kRest + "}",
                             "{\"id\":\"\\u00\"," + kRest + "}"};
  for (const std::string& line : bad)
    EXPECT_FALSE(Parses(line)) << line;
  for (size_t length = 0; length < good.size(); ++length)
    EXPECT_FALSE(Parses(good.substr(0, length))) << length;
  EXPECT_EQ(qelPlugins_CountLists(), 0u);
}

TEST(CatalogueLine, RefusesNumbersAndDatesThatAreNone) {
  for (const char* value : {"", "x", "-1", "01", "1.5", "18446744073709551616", "1e3"})
    EXPECT_FALSE(Parses("{\"si\":\"" + std::string(value) + "\"," + kRest + "\"id\":\"a\"}"))
        << value;
  for (const char* value : {"", "1", "1.5", ".000000", "-.000000", "1.-00001", "2147483648.000000",
                            "99999999999999999999.000000", "x.000000"})
    EXPECT_FALSE(Parses("{\"da\":\"" + std::string(value) + "\"," + kRest + "\"id\":\"a\"}"))
        << value;
}

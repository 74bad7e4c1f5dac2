#include <qel/serialize/JSONFormatter.h>

#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <trio.h>

namespace {

// Opens what a subclass sees.
class Formatter : public qelJSONFormatter {
public:
  using qelJSONFormatter::Escape;
  using qelJSONFormatter::NewLine;

  std::string Text() const { return Result().c_str(); }
};

std::string Escaped(const char* text, bool strict = true) {
  Formatter formatter;
  formatter.SetStrictMode(strict);
  qelCString out;
  formatter.Escape(text, out);
  return out.c_str();
}

std::string WrittenFloat(double value) {
  Formatter formatter;
  formatter.Float(value);
  return formatter.Text();
}

} // namespace

// Compact documents ------------------------------------------------------------------

TEST(qelJSONFormatter, StartsEmptyStrictAndCompact) {
  Formatter formatter;
  EXPECT_EQ(formatter.Text(), "");
  formatter.MapBegin();
  formatter.MapKey("a/b", false);
  EXPECT_EQ(formatter.Text(), "{\"a\\/b\":");
}

TEST(qelJSONFormatter, WritesAMapWithOneMember) {
  Formatter formatter;
  EXPECT_EQ(formatter.MapBegin(), 0);
  EXPECT_EQ(formatter.MapKey("a", false), 0);
  EXPECT_EQ(formatter.U32(1), 0);
  EXPECT_EQ(formatter.MapEnd(), 0);
  EXPECT_EQ(formatter.Text(), "{\"a\":1,}");
}

TEST(qelJSONFormatter, PutsACommaAheadOfEachFurtherKey) {
  Formatter formatter;
  formatter.MapBegin();
  formatter.MapKey("a", false);
  formatter.U32(1);
  formatter.MapKey("b", false);
  formatter.U32(2);
  formatter.MapEnd();
  EXPECT_EQ(formatter.Text(), "{\"a\":1,\"b\":2,}");
}

TEST(qelJSONFormatterMapEnd, AlwaysWritesAComma) {
  Formatter formatter;
  formatter.MapBegin();
  formatter.MapEnd();
  EXPECT_EQ(formatter.Text(), "{,}");
}

TEST(qelJSONFormatter, WritesMapsInMaps) {
  Formatter formatter;
  formatter.MapBegin();
  formatter.MapKey("a", false);
  formatter.MapBegin();
  formatter.MapEnd();
  formatter.MapKey("b", false);
  formatter.Null();
  formatter.MapEnd();
  EXPECT_EQ(formatter.Text(), "{\"a\":{,},\"b\":null,}");
}

TEST(qelJSONFormatter, WritesArrays) {
  Formatter formatter;
  EXPECT_EQ(formatter.ArrayBegin(), 0);
  formatter.Boolean(true);
  EXPECT_EQ(formatter.ArrayItemSeparator(), 0);
  formatter.Boolean(false);
  formatter.ArrayItemSeparator();
  formatter.Null();
  EXPECT_EQ(formatter.ArrayEnd(), 0);
  EXPECT_EQ(formatter.Text(), "[true,false,null]");
}

TEST(qelJSONFormatterMapKey, LeavesTheQuotesOutButEscapesARawKey) {
  Formatter formatter;
  formatter.MapBegin();
  formatter.MapKey("a\"b/c", true);
  EXPECT_EQ(formatter.Text(), "{a\\\"b\\/c:");
}

TEST(qelJSONFormatterMapKey, WritesACommaOutsideOfAnyMap) {
  Formatter formatter;
  formatter.MapKey("a", false);
  EXPECT_EQ(formatter.Text(), ",\"a\":");
}

// Texts ------------------------------------------------------------------------------

TEST(qelJSONFormatterString, QuotesUnlessRaw) {
  Formatter formatter;
  EXPECT_EQ(formatter.String("text", false), 0);
  EXPECT_EQ(formatter.String(" ra\tw", true), 0);
  EXPECT_EQ(formatter.Text(), "\"text\" ra\\tw");
}

TEST(qelJSONFormatterString, EscapesTheSlashInStrictModeOnly) {
  Formatter formatter;
  formatter.String("a/b", false);
  formatter.SetStrictMode(false);
  formatter.String("a/b", false);
  EXPECT_EQ(formatter.Text(), "\"a\\/b\"\"a/b\"");
}

TEST(qelJSONFormatterString, TakesNullAsTheEmptyText) {
  Formatter formatter;
  formatter.String(static_cast<const char*>(nullptr), false);
  formatter.String(static_cast<const qelWChar*>(nullptr), false);
  formatter.MapKey(nullptr, false);
  EXPECT_EQ(formatter.Text(), "\"\"\"\",\"\":");
}

TEST(qelJSONFormatterString, TakesTheFormattersOwnText) {
  Formatter formatter;
  formatter.String("a\"", false);
  const std::string once = formatter.Text();
  formatter.String(formatter.Result().c_str(), false);
  const std::string twice = formatter.Text();
  EXPECT_EQ(twice, once + '"' + Escaped(once.c_str()) + '"');
  formatter.MapKey(formatter.Result().c_str(), true);
  EXPECT_EQ(formatter.Text(), twice + ',' + Escaped(twice.c_str()) + ':');
}

TEST(qelJSONFormatterString, ConvertsWideText) {
  Formatter formatter;
  const qelWChar smile[] = {0xD83D, 0xDE00, 0};
  EXPECT_EQ(formatter.String(QEL_W("\x20AC\t\"/"), false), 0);
  formatter.String(smile, true);
  EXPECT_EQ(formatter.Text(), "\"\xE2\x82\xAC\\t\\\"\\/\"\xF0\x9F\x98\x80");
}

TEST(qelJSONFormatterString, HandsConvertedWideTextToTheNarrowForm) {
  class Narrow : public qelJSONFormatter {
  public:
    using qelJSONFormatter::String;
    int String(const char* value, bool raw) override {
      seen = value;
      seenRaw = raw;
      return 7;
    }
    std::string seen;
    bool seenRaw = false;
  };
  Narrow narrow;
  EXPECT_EQ(narrow.String(QEL_W("\xE9"), true), 7);
  EXPECT_EQ(narrow.seen, "\xC3\xA9");
  EXPECT_TRUE(narrow.seenRaw);
}

TEST(qelJSONFormatterIdentifier, IsAQuotedString) {
  Formatter formatter;
  formatter.Identifier("name");
  EXPECT_EQ(formatter.Text(), "\"name\"");
}

TEST(qelJSONFormatterEscape, WritesEachByteByItsRow) {
  for (int byte = 1; byte != 256; ++byte) {
    const char text[] = {static_cast<char>(byte), '\0'};
    static const char* const kShort[] = {"\bb", "\tt", "\nn", "\ff", "\rr", "\"\"", "\\\\", "//"};
    std::string expected = text;
    for (const char* pair : kShort)
      if (text[0] == pair[0])
        expected = std::string("\\") + pair[1];
    if (byte < 0x20 && expected.size() == 1) {
      char hex[8];
      snprintf(hex, sizeof hex, "\\u%04x", static_cast<unsigned>(byte));
      expected = hex;
    }
    EXPECT_EQ(Escaped(text), expected) << byte;
    EXPECT_EQ(Escaped(text, /*strict=*/false), byte == '/' ? "/" : expected) << byte;
  }
}

TEST(qelJSONFormatterEscape, WritesLowerCaseHexadecimalDigits) {
  EXPECT_EQ(Escaped("\x01"), "\\u0001");
  EXPECT_EQ(Escaped("\x0B"), "\\u000b");
  EXPECT_EQ(Escaped("\x1F"), "\\u001f");
}

TEST(qelJSONFormatterEscape, PassesDeleteAndUTF8AsTheyStand) {
  EXPECT_EQ(Escaped("\x7F\xC3\xA9\xFF\x80"), "\x7F\xC3\xA9\xFF\x80");
}

TEST(qelJSONFormatterEscape, AppendsAndTellsWhetherAnythingNeededIt) {
  Formatter formatter;
  qelCString out("before ");
  EXPECT_FALSE(formatter.Escape("plain", out));
  EXPECT_TRUE(formatter.Escape("\n", out));
  EXPECT_TRUE(formatter.Escape("a/b", out));
  EXPECT_FALSE(formatter.Escape("", out));
  EXPECT_STREQ(out.c_str(), "before plain\\na\\/b");
  formatter.SetStrictMode(false);
  EXPECT_FALSE(formatter.Escape("/", out));
}

TEST(qelJSONFormatterEscape, KeepsRunsBetweenEscapes) {
  EXPECT_EQ(Escaped("\t\tab\"cd\\\\e\n"), "\\t\\tab\\\"cd\\\\\\\\e\\n");
  const std::string longRun(100000, 'x');
  EXPECT_EQ(Escaped((longRun + "\n" + longRun).c_str()), longRun + "\\n" + longRun);
}

// Numbers ----------------------------------------------------------------------------

TEST(qelJSONFormatterNumbers, AreWrittenInFull) {
  Formatter formatter;
  EXPECT_EQ(formatter.U32(4294967295u), 0);
  formatter.ArrayItemSeparator();
  EXPECT_EQ(formatter.S32(-1), 0);
  formatter.ArrayItemSeparator();
  formatter.S32(std::numeric_limits<qelLong>::min());
  formatter.ArrayItemSeparator();
  EXPECT_EQ(formatter.U64(18446744073709551615ull), 0);
  formatter.ArrayItemSeparator();
  EXPECT_EQ(formatter.S64(std::numeric_limits<long long>::min()), 0);
  EXPECT_EQ(formatter.Text(),
            "4294967295,-1,-2147483648,18446744073709551615,-9223372036854775808");
}

TEST(qelJSONFormatterFloat, HasSixDigitsBehindThePoint) {
  EXPECT_EQ(WrittenFloat(1.5), "1.500000");
  EXPECT_EQ(WrittenFloat(-0.25), "-0.250000");
  EXPECT_EQ(WrittenFloat(0), "0.000000");
  EXPECT_EQ(WrittenFloat(1234567.891), "1234567.891000");
  EXPECT_EQ(WrittenFloat(1e22), "10000000000000000000000.000000");
}

TEST(qelJSONFormatterFloat, WritesTheLargestNumbersInFull) {
  for (double value : {std::numeric_limits<double>::max(), -std::numeric_limits<double>::max()}) {
    const std::string written = WrittenFloat(value);
    EXPECT_EQ(written.size(), (value < 0 ? 1u : 0u) + 309 + 1 + 6);
    EXPECT_EQ(written.substr(written.size() - 7), ".000000");
    EXPECT_NEAR(strtod(written.c_str(), nullptr) / value, 1, 1e-12);
  }
}

TEST(qelJSONFormatterFloat, LeavesWordsForWhatIsNoNumber) {
  EXPECT_EQ(WrittenFloat(std::numeric_limits<double>::infinity()), "inf");
  EXPECT_EQ(WrittenFloat(-std::numeric_limits<double>::infinity()), "-inf");
  EXPECT_EQ(WrittenFloat(std::numeric_limits<double>::quiet_NaN()), "nan");
}

TEST(qelJSONFormatterFloat, WritesThePointWhateverThePrintfWasToldToWrite) {
  for (const char* point : {",", "\xD9\xAB", "::"}) {
    std::string changeable = point;
    trio_locale_set_decimal_point(&changeable[0]);
    char plain[32];
    trio_snprintf(plain, sizeof plain, "%lf", 1.5);
    const std::string written = WrittenFloat(-1234.5);
    const std::string word = WrittenFloat(-std::numeric_limits<double>::infinity());
    char dot[] = ".";
    trio_locale_set_decimal_point(dot);
    EXPECT_EQ(std::string(plain), std::string("1") + point + "500000"); // the seam holds
    EXPECT_EQ(written, "-1234.500000");
    EXPECT_EQ(word, "-inf");
  }
}

TEST(qelJSONFormatterFloat, WritesThePointInALocaleWithADecimalComma) {
  const std::string before = setlocale(LC_ALL, nullptr);
  bool found = false;
  for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "de_DE", "fr_FR.UTF-8",
                           "German_Germany.1252", "de-DE", "German"}) {
    if (setlocale(LC_ALL, name) != nullptr && localeconv()->decimal_point[0] == ',') {
      found = true;
      break;
    }
  }
  const std::string written = WrittenFloat(1234.5);
  setlocale(LC_ALL, before.c_str());
  EXPECT_EQ(written, "1234.500000");
  if (!found)
    GTEST_SKIP() << "no locale with a decimal comma on this machine";
}

// Human mode ---------------------------------------------------------------------------

TEST(qelJSONFormatterHumanMode, BeginsWithALineFeedAndIndents) {
  Formatter formatter;
  formatter.SetHumanMode(true, nullptr);
  formatter.MapBegin();
  formatter.MapKey("a", false);
  formatter.U32(1);
  formatter.MapEnd();
  EXPECT_EQ(formatter.Text(), "\n{\n    \"a\": 1,\n}");
}

TEST(qelJSONFormatterHumanMode, IndentsMapsOnly) {
  Formatter formatter;
  formatter.SetHumanMode(true, "\t");
  formatter.MapBegin();
  formatter.MapKey("a", false);
  formatter.ArrayBegin();
  formatter.U32(1);
  formatter.ArrayItemSeparator();
  formatter.U32(2);
  formatter.ArrayItemSeparator();
  formatter.MapBegin();
  formatter.MapKey("b", true);
  formatter.Null();
  formatter.MapEnd();
  formatter.ArrayEnd();
  formatter.MapKey("c", false);
  formatter.MapBegin();
  formatter.MapEnd();
  formatter.MapEnd();
  EXPECT_EQ(formatter.Text(),
            "\n{\n\t\"a\": [1, 2, \n\t{\n\t\tb: null,\n\t}],\n\t\"c\": \n\t{,\n\t}"
            ",\n}");
}

TEST(qelJSONFormatterHumanMode, FallsBackToFourBlanksForANullIndent) {
  Formatter formatter;
  formatter.SetHumanMode(true, "--");
  formatter.SetHumanMode(true, nullptr);
  formatter.MapBegin();
  formatter.MapKey("a", false);
  EXPECT_EQ(formatter.Text(), "\n{\n    \"a\": ");
}

TEST(qelJSONFormatterNewLine, WritesNothingInCompactMode) {
  Formatter formatter;
  formatter.MapBegin();
  formatter.NewLine();
  EXPECT_EQ(formatter.Text(), "{");
  formatter.SetHumanMode(true, "..");
  formatter.NewLine();
  EXPECT_EQ(formatter.Text(), "{\n..");
}

TEST(qelJSONFormatterMapEnd, LowersTheIndentationBelowZeroUnchecked) {
  Formatter formatter;
  formatter.SetHumanMode(true, "..");
  formatter.MapEnd();
  formatter.MapEnd();
  formatter.MapBegin();
  formatter.MapKey("a", false);
  EXPECT_EQ(formatter.Text(), ",\n},\n}\n{\n\"a\": ");
  formatter.MapBegin();
  formatter.MapBegin();
  formatter.MapKey("b", false);
  EXPECT_EQ(formatter.Text(), ",\n},\n}\n{\n\"a\": \n{\n{\n..\"b\": ");
}

// One document after the other ---------------------------------------------------------------

TEST(qelJSONFormatterResult, IsACopyInTheMiddleOfADocument) {
  Formatter formatter;
  formatter.ArrayBegin();
  const qelCString middle = formatter.Result();
  formatter.U32(1);
  formatter.ArrayEnd();
  EXPECT_STREQ(middle.c_str(), "[");
  EXPECT_EQ(formatter.Text(), "[1]");
}

TEST(qelJSONFormatterReset, StartsAgainAndKeepsTheModes) {
  Formatter formatter;
  formatter.SetHumanMode(true, "..");
  formatter.SetStrictMode(false);
  formatter.MapBegin();
  formatter.MapBegin();
  formatter.Reset();
  EXPECT_EQ(formatter.Text(), "");
  formatter.MapKey("/", false);
  EXPECT_EQ(formatter.Text(), ",\n\"/\": "); // no level, and not the first key of a map
}

TEST(qelJSONFormatterCopy, TakesTextAndModesAndGoesItsOwnWay) {
  Formatter formatter;
  formatter.SetHumanMode(true, "..");
  formatter.MapBegin();
  Formatter copy(formatter);
  copy.MapKey("a", false);
  EXPECT_EQ(copy.Text(), "\n{\n..\"a\": ");
  EXPECT_EQ(formatter.Text(), "\n{");
  formatter = copy;
  EXPECT_EQ(formatter.Text(), "\n{\n..\"a\": ");
}

// Whole documents, read back -----------------------------------------------------------------

namespace {

// A value, as sent and as read.
struct Value {
  char kind = 'n'; // n null, b boolean, # number, s string, a array, m map
  bool boolean = false;
  std::string text; // of a number as it is written, of a string without escapes
  std::vector<Value> items;
  std::vector<std::pair<std::string, Value>> members;

  bool operator==(const Value& other) const {
    return kind == other.kind && boolean == other.boolean && text == other.text &&
           items == other.items && members == other.members;
  }
};

// Reads JSON as its standard has it, with the one licence of a comma ahead of "}".
class Reader {
public:
  explicit Reader(const std::string& text) : m_text(text) {}

  bool ReadDocument(Value& value) { return ReadValue(value) && (Skip(), m_at == m_text.size()); }

private:
  char Peek() const { return m_at < m_text.size() ? m_text[m_at] : '\0'; }
  void Skip() {
    while (Peek() == ' ' || Peek() == '\n' || Peek() == '\t' || Peek() == '\r')
      ++m_at;
  }
  bool Take(char c) {
    Skip();
    if (Peek() != c)
      return false;
    ++m_at;
    return true;
  }
  bool TakeWord(const char* word) {
    const std::string expected = word;
    if (m_text.compare(m_at, expected.size(), expected) != 0)
      return false;
    m_at += expected.size();
    return true;
  }

  bool ReadValue(Value& value) {
    Skip();
    switch (Peek()) {
    case '{':
      return ReadMap(value);
    case '[':
      return ReadArray(value);
    case '"':
      value.kind = 's';
      return ReadString(value.text);
    case 't':
    case 'f':
      value.kind = 'b';
      value.boolean = Peek() == 't';
      return TakeWord(value.boolean ? "true" : "false");
    case 'n':
      return TakeWord("null");
    default:
      value.kind = '#';
      return ReadNumber(value.text);
    }
  }

  size_t TakeDigits() {
    const size_t start = m_at;
    while (Peek() >= '0' && Peek() <= '9')
      ++m_at;
    return m_at - start;
  }

  bool ReadNumber(std::string& number) {
    const size_t start = m_at;
    if (Peek() == '-')
      ++m_at;
    const bool zero = Peek() == '0';
    const size_t whole = TakeDigits();
    if (whole == 0 || (zero && whole != 1))
      return false;
    if (Peek() == '.') {
      ++m_at;
      if (TakeDigits() == 0)
        return false;
    }
    number = m_text.substr(start, m_at - start);
    return true;
  }

  bool ReadEscape(std::string& text) {
    static const std::string kLetters = "\"\\/bfnrt";
    static const std::string kBytes = "\"\\/\b\f\n\r\t";
    const char letter = Peek();
    ++m_at;
    if (letter != 'u') {
      const size_t index = kLetters.find(letter);
      if (letter == '\0' || index == std::string::npos)
        return false;
      text += kBytes[index];
      return true;
    }
    const std::string digits = m_text.substr(m_at, 4);
    if (digits.find_first_not_of("0123456789abcdef") != std::string::npos || digits.size() != 4)
      return false;
    m_at += 4;
    const unsigned long unit = strtoul(digits.c_str(), nullptr, 16);
    text += static_cast<char>(unit);
    return unit < 0x80;
  }

  bool ReadString(std::string& text) {
    if (!Take('"'))
      return false;
    while (Peek() != '"') {
      if (static_cast<unsigned char>(Peek()) < 0x20)
        return false;
      if (Peek() == '\\') {
        ++m_at;
        if (!ReadEscape(text))
          return false;
      } else {
        text += m_text[m_at++];
      }
    }
    ++m_at;
    return true;
  }

  bool ReadArray(Value& value) {
    value.kind = 'a';
    Take('[');
    if (Take(']'))
      return true;
    do {
      value.items.emplace_back();
      if (!ReadValue(value.items.back()))
        return false;
    } while (Take(','));
    return Take(']');
  }

  bool ReadMap(Value& value) {
    value.kind = 'm';
    Take('{');
    if (Take(','))
      return Take('}');
    for (;;) {
      value.members.emplace_back();
      Skip();
      if (!ReadString(value.members.back().first) || !Take(':') ||
          !ReadValue(value.members.back().second) || !Take(','))
        return false;
      if (Take('}'))
        return true;
    }
  }

  const std::string& m_text;
  size_t m_at = 0;
};

// Sends random values and keeps what has been sent.
class Sender {
public:
  Sender(uint32_t seed, qelISerialize& target) : m_random(seed), m_target(target) {}

  Value Send(int depth) {
    Value value;
    switch (m_random() % (depth > 0 ? 10u : 8u)) {
    case 0:
      m_target.Null();
      break;
    case 1:
      value.kind = 'b';
      value.boolean = m_random() % 2 != 0;
      m_target.Boolean(value.boolean);
      break;
    case 2:
    case 3:
      value.kind = '#';
      value.text = SendNumber();
      break;
    case 4:
    case 5:
    case 6:
      value.kind = 's';
      value.text = RandomText();
      m_target.String(value.text.c_str(), false);
      break;
    case 7:
      value.kind = 's';
      value.text = SendWide();
      break;
    case 8:
      SendArray(value, depth);
      break;
    default:
      SendMap(value, depth);
    }
    return value;
  }

private:
  std::string RandomText() {
    std::string text(m_random() % 12, ' ');
    for (char& c : text)
      c = static_cast<char>(m_random() % 3 == 0 ? m_random() % 0x30 + 1 : m_random() % 255 + 1);
    return text;
  }

  std::string SendNumber() {
    const uint64_t bits = static_cast<uint64_t>(m_random()) << 32 | m_random();
    switch (m_random() % 5) {
    case 0:
      m_target.U32(static_cast<qelULong>(bits));
      return std::to_string(static_cast<uint32_t>(bits));
    case 1:
      m_target.S32(static_cast<qelLong>(bits));
      return std::to_string(static_cast<int32_t>(bits));
    case 2:
      m_target.U64(bits);
      return std::to_string(bits);
    case 3:
      m_target.S64(static_cast<int64_t>(bits));
      return std::to_string(static_cast<int64_t>(bits));
    default: {
      const int32_t eighths = static_cast<int32_t>(bits);
      m_target.Float(eighths / 8.0); // exact with six digits
      return std::to_string(eighths / 8.0);
    }
    }
  }

  // Wide text of letters whose UTF-8 is worked out here.
  std::string SendWide() {
    std::string narrow;
    std::vector<qelWChar> wide;
    for (size_t n = m_random() % 8; n != 0; --n) {
      const bool ascii = m_random() % 2 != 0;
      const auto unit =
          static_cast<uint32_t>(ascii ? 0x20 + m_random() % 0x5F : 0x80 + m_random() % 0x780);
      wide.push_back(static_cast<qelWChar>(unit));
      if (ascii) {
        narrow += static_cast<char>(unit);
      } else {
        narrow += static_cast<char>(0xC0 | unit >> 6);
        narrow += static_cast<char>(0x80 | (unit & 0x3F));
      }
    }
    wide.push_back(0);
    m_target.String(wide.data(), false);
    return narrow;
  }

  void SendArray(Value& value, int depth) {
    value.kind = 'a';
    m_target.ArrayBegin();
    for (size_t n = m_random() % 5; n != 0; --n) {
      if (!value.items.empty())
        m_target.ArrayItemSeparator();
      value.items.push_back(Send(depth - 1));
    }
    m_target.ArrayEnd();
  }

  void SendMap(Value& value, int depth) {
    value.kind = 'm';
    m_target.MapBegin();
    for (size_t n = m_random() % 5; n != 0; --n) {
      const std::string key = RandomText();
      m_target.MapKey(key.c_str(), false);
      value.members.emplace_back(key, Send(depth - 1));
    }
    m_target.MapEnd();
  }

  std::mt19937 m_random;
  qelISerialize& m_target;
};

} // namespace

TEST(qelJSONFormatterDocument, IsReadBackByAnIndependentReader) {
  for (uint32_t seed = 0; seed != 2000; ++seed) {
    Formatter formatter;
    formatter.SetHumanMode(seed % 2 != 0, seed % 3 != 0 ? "\t " : nullptr);
    formatter.SetStrictMode(seed % 5 < 3);
    Sender sender(seed, formatter);
    const Value sent = sender.Send(/*depth=*/6);
    const std::string text = formatter.Text();
    Value read;
    ASSERT_TRUE(Reader(text).ReadDocument(read)) << "seed " << seed << ": " << text;
    ASSERT_TRUE(read == sent) << "seed " << seed << ": " << text;
  }
}

TEST(qelJSONFormatterDocument, KeepsDeepNesting) {
  Formatter formatter;
  const int depth = 2000;
  for (int i = 0; i != depth; ++i)
    formatter.ArrayBegin();
  for (int i = 0; i != depth; ++i)
    formatter.ArrayEnd();
  EXPECT_EQ(formatter.Text(), std::string(depth, '[') + std::string(depth, ']'));
}

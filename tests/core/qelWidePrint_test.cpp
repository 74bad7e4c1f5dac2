#include <qel/core/qelWidePrint.h>

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <trio.h>

typedef std::basic_string<qelWChar> Wide;

struct Printed {
  int result;
  Wide text;
};

static bool operator==(const Printed& a, const Printed& b) {
  return a.result == b.result && a.text == b.text;
}
static void PrintTo(const Printed& printed, std::ostream* out) {
  *out << printed.result << " '";
  for (qelWChar unit : printed.text)
    *out << (unit < 0x80 ? static_cast<char>(unit) : '?');
  *out << "'";
}

static Wide Widened(const std::string& ascii) {
  return Wide(ascii.begin(), ascii.end());
}

// Prints into `size` units, and watches the one behind them.
static Printed PrintTo(size_t size, const qelWChar* format, ...) {
  std::vector<qelWChar> buffer(size + 1, qelWChar(0x5A5A));
  va_list args;
  va_start(args, format);
  const int result = qelWidePrint_VSNPrintf(buffer.data(), size, format, args);
  va_end(args);
  EXPECT_EQ(0x5A5A, buffer[size]);
  if (size == 0)
    return {result, Wide()};
  Wide text;
  for (size_t i = 0; i < size && buffer[i] != 0; ++i)
    text += buffer[i];
  return {result, text};
}

#define PRINT(...) PrintTo(4000, __VA_ARGS__)

// What is well printed: the length goes with the text.
static Printed Whole(const Wide& text) {
  return {static_cast<int>(text.size()), text};
}
// What an error leaves.
static Printed Faulty(const Wide& text) {
  return {-1, text};
}

TEST(WidePrint, CopiesWhatIsNoDirective) {
  EXPECT_EQ(Whole(QEL_W("")), PRINT(QEL_W("")));
  EXPECT_EQ(Whole(QEL_W("a\x00e9\x4e2d"
                        "b")),
            PRINT(QEL_W("a\x00e9\x4e2d"
                        "b")));
  EXPECT_EQ(Whole(QEL_W("100%")), PRINT(QEL_W("100%%")));
  EXPECT_EQ(Whole(QEL_W("%a%")), PRINT(QEL_W("%%a%%")));
}

// Each number the wide and the narrow print show alike.
#define EXPECT_LIKE_TRIO(format, ...)                                                              \
  do {                                                                                             \
    char likeTrio[2000];                                                                           \
    trio_snprintf(likeTrio, sizeof likeTrio, format, __VA_ARGS__);                                 \
    EXPECT_EQ(Whole(Widened(likeTrio)), PRINT(QEL_W(format), __VA_ARGS__)) << format;              \
  } while (0)

TEST(WidePrint, ShowsIntegersAsTrioDoes) {
  for (int value : {0, 1, -1, 42, 123456, INT_MAX, INT_MIN}) {
    EXPECT_LIKE_TRIO("%d", value);
    EXPECT_LIKE_TRIO("[%i]", value);
    EXPECT_LIKE_TRIO("%u %x %X %o", value, value, value, value);
    EXPECT_LIKE_TRIO("%#x %#X %#o", value, value, value);
    EXPECT_LIKE_TRIO("%10d|%-10d|%010d", value, value, value);
    EXPECT_LIKE_TRIO("%+d|% d|%+ d", value, value, value);
    EXPECT_LIKE_TRIO("%.5d|%10.5d|%-10.5d|%.0d", value, value, value, value);
    EXPECT_LIKE_TRIO("%hd %hhd %hu %hx", value, value, value, value);
    EXPECT_LIKE_TRIO("%b %#b %B", value, value, value);
    EXPECT_LIKE_TRIO("%I32d|%I16x|%I8u", value, value, value);
    EXPECT_LIKE_TRIO("%---5d|%00#+5d", value, value);
    EXPECT_LIKE_TRIO("%'d", value);
  }
  EXPECT_EQ(Whole(QEL_W("1099511627776")), PRINT(QEL_W("%Zu"), size_t(1) << 40));
  for (long value : {0l, -1l, LONG_MAX, LONG_MIN})
    EXPECT_LIKE_TRIO("%ld %lu %lx %20li", value, value, value, value);
  for (long long value : {0ll, -1ll, 1ll << 40, LLONG_MAX, LLONG_MIN}) {
    EXPECT_LIKE_TRIO("%lld %llu %llx %qd", value, value, value, value);
    EXPECT_LIKE_TRIO("%I64d %I64x", value, value);
    EXPECT_LIKE_TRIO("%jd %zu %td %zx", static_cast<intmax_t>(value), static_cast<size_t>(value),
                     static_cast<ptrdiff_t>(value), static_cast<size_t>(value));
  }
}

TEST(WidePrint, ShowsFloatingNumbersAsTrioDoes) {
  for (double value : {0.0, 1.5, -2.25, 3.14159265358979, 1e20, 1e-20, 1e300}) {
    EXPECT_LIKE_TRIO("%f %F", value, value);
    EXPECT_LIKE_TRIO("%e %E %g %G", value, value, value, value);
    EXPECT_LIKE_TRIO("%a %A", value, value);
    EXPECT_LIKE_TRIO("%.0f|%.10f|%20.3f|%-20.3f|%020.3f|%+f", value, value, value, value, value,
                     value);
    EXPECT_LIKE_TRIO("%lf", value);
    EXPECT_LIKE_TRIO("%Lf %Lg", static_cast<long double>(value), static_cast<long double>(value));
  }
}

TEST(WidePrint, ShowsPointersAsTrioDoes) {
  EXPECT_EQ(Whole(QEL_W("0x0000000000001234")),
            PRINT(QEL_W("%p"), reinterpret_cast<void*>(0x1234)));
  EXPECT_EQ(Whole(QEL_W("(nil)")), PRINT(QEL_W("%p"), nullptr));
}

TEST(WidePrint, ShowsTheTextOfTheErrorNumber) {
  char narrow[500];
  errno = ENOENT;
  trio_snprintf(narrow, sizeof narrow, "%m");
  errno = ENOENT;
  EXPECT_EQ(Whole(Widened(narrow)), PRINT(QEL_W("%m")));
}

TEST(WidePrint, TakesWidthAndPrecisionFromTheArguments) {
  EXPECT_EQ(Whole(QEL_W("    7|")), PRINT(QEL_W("%*d|"), 5, 7));
  EXPECT_EQ(Whole(QEL_W("7    |")), PRINT(QEL_W("%*d|"), -5, 7));
  EXPECT_EQ(Whole(QEL_W("007|")), PRINT(QEL_W("%.*d|"), 3, 7));
  EXPECT_EQ(Whole(QEL_W("7|")), PRINT(QEL_W("%.*d|"), -3, 7));
  EXPECT_EQ(Whole(QEL_W("    3.14|")), PRINT(QEL_W("%*.*f|"), 8, 2, 3.14159));
  EXPECT_EQ(Whole(QEL_W("   ab|")), PRINT(QEL_W("%*.*s|"), 5, 2, "abc"));
  EXPECT_EQ(Whole(QEL_W("ab   |")), PRINT(QEL_W("%*.*ls|"), -5, 2, QEL_W("abc")));
  EXPECT_EQ(Whole(QEL_W("abc|")), PRINT(QEL_W("%.*s|"), -1, "abc"));
}

TEST(WidePrint, TakesEachArgumentInItsSize) {
  EXPECT_EQ(Whole(QEL_W("1 2 3 4 5.5 x w 6")),
            PRINT(QEL_W("%d %lld %ld %c%c%.1f %s %ls %zu"), 1, 2ll, 3l, '4', ' ', 5.5, "x",
                  QEL_W("w"), size_t(6)));
}

TEST(WidePrint, WidensNarrowText) {
  EXPECT_EQ(Whole(QEL_W("abc")), PRINT(QEL_W("%s"), "abc"));
  EXPECT_EQ(Whole(QEL_W("")), PRINT(QEL_W("%s"), ""));
  EXPECT_EQ(Whole(QEL_W("\x00e9\x4e2d")), PRINT(QEL_W("%s"), "\xc3\xa9\xe4\xb8\xad"));
  EXPECT_EQ(Whole(Wide({0xD83D, 0xDE00})), PRINT(QEL_W("%s"), "\xf0\x9f\x98\x80"));
  EXPECT_EQ(Whole(QEL_W("abc")), PRINT(QEL_W("%hs"), "abc"));
}

TEST(WidePrint, TakesWideText) {
  const qelWChar lone[] = {'a', 0xDC00, 0xE9, 0};
  EXPECT_EQ(Whole(lone), PRINT(QEL_W("%ls"), lone));
  EXPECT_EQ(Whole(lone), PRINT(QEL_W("%S"), lone));
  EXPECT_EQ(Whole(QEL_W("[]")), PRINT(QEL_W("[%ls]"), QEL_W("")));
}

TEST(WidePrint, ShowsANullTextAsTrioDoes) {
  const char* narrow = nullptr;
  const qelWChar* wide = nullptr;
  EXPECT_LIKE_TRIO("%s", narrow);
  EXPECT_LIKE_TRIO("%10s|", narrow);
  EXPECT_LIKE_TRIO("%.2s|", narrow);
  EXPECT_EQ(Whole(QEL_W("(nil)")), PRINT(QEL_W("%ls"), wide));
  EXPECT_EQ(Whole(QEL_W("(nil)")), PRINT(QEL_W("%S"), wide));
}

TEST(WidePrint, WidthAndPrecisionCountUnits) {
  static const struct {
    const qelWChar* format;
    const char* text;
    Wide shown;
  } kRows[] = {
      {QEL_W("%5s|"), "\xc3\xa9", QEL_W("    \x00e9|")},
      {QEL_W("%-5s|"), "\xc3\xa9", QEL_W("\x00e9    |")},
      {QEL_W("%05s|"), "ab", QEL_W("   ab|")},
      {QEL_W("%1s|"), "ab", QEL_W("ab|")},
      {QEL_W("%.1s|"), "\xc3\xa9\xc3\xa9", QEL_W("\x00e9|")},
      {QEL_W("%.0s|"), "abc", QEL_W("|")},
      {QEL_W("%.s|"), "abc", QEL_W("|")},
      {QEL_W("%.9s|"), "abc", QEL_W("abc|")},
      {QEL_W("%3s|"), "\xf0\x9f\x98\x80", Wide({' ', 0xD83D, 0xDE00, '|'})},
      {QEL_W("%.1s|"), "\xf0\x9f\x98\x80", Wide({0xD83D, '|'})},
      {QEL_W("%4.2s|"), "abc", QEL_W("  ab|")},
  };
  for (const auto& row : kRows)
    EXPECT_EQ(Whole(row.shown), PRINT(row.format, row.text));
  EXPECT_EQ(Whole(QEL_W("   \x4e2d\x4e2d|")), PRINT(QEL_W("%5ls|"), QEL_W("\x4e2d\x4e2d")));
  EXPECT_EQ(Whole(QEL_W("ab|")), PRINT(QEL_W("%.2ls|"), QEL_W("abc")));
}

TEST(WidePrint, APrecisionBoundsWhatIsRead) {
  const char narrow[] = {'a', 'b', 'c'}; // no terminator
  const char cut[] = {'a', '\xc3', '\xa9'};
  const qelWChar wide[] = {'a', 'b', 'c'};
  EXPECT_EQ(Whole(QEL_W("abc")), PRINT(QEL_W("%.3s"), narrow));
  EXPECT_EQ(Whole(QEL_W("a\x00e9")), PRINT(QEL_W("%.2s"), cut));
  EXPECT_EQ(Whole(QEL_W("abc")), PRINT(QEL_W("%.3ls"), wide));
  EXPECT_EQ(Whole(QEL_W("a")), PRINT(QEL_W("%.1s"), "a\xff"));
}

TEST(WidePrint, TakesCharactersOfBothWidths) {
  EXPECT_EQ(Whole(QEL_W("x|")), PRINT(QEL_W("%c|"), 'x'));
  EXPECT_EQ(Whole(QEL_W("  x|x  |")), PRINT(QEL_W("%3c|%-3c|"), 'x', 'x'));
  EXPECT_EQ(Whole(Wide({0xD800, 0x4E2D})), PRINT(QEL_W("%lc%C"), 0xD800, 0x4E2D));
  EXPECT_EQ(Whole(QEL_W("  \x4e2d|")), PRINT(QEL_W("%3lc|"), 0x4E2D));
  const Printed zero = PRINT(QEL_W("a%cb"), 0);
  EXPECT_EQ(3, zero.result);
  EXPECT_EQ(QEL_W("a"), zero.text);
}

TEST(WidePrint, AFaultyDirectiveEndsThePrintAndLeavesWhatWasWritten) {
  static const qelWChar* const kFormats[] = {
      QEL_W("ab%n"),
      QEL_W("ab%1$d"),
      QEL_W("ab%y"),
      QEL_W("ab%"),
      QEL_W("ab%5"),
      QEL_W("ab%l"),
      QEL_W("ab%."),
      QEL_W("ab%5%"),
      QEL_W("ab%-%"),
      QEL_W("ab%\x4e2d"),
      QEL_W("ab%\x0164"),
      QEL_W("ab%.-3d"),
      QEL_W("ab%..3d"),
      QEL_W("ab%Ld"),
      QEL_W("ab%*1$d"),
      QEL_W("ab%hn"),
      QEL_W("ab%99999999999d"),
      QEL_W("ab%.99999999999d"),
  };
  for (const qelWChar* format : kFormats)
    EXPECT_EQ(Faulty(QEL_W("ab")), PRINT(format, 1, 1, 1)) << Printed{0, format}.text.size();
  EXPECT_EQ(Faulty(QEL_W("ab7 ")), PRINT(QEL_W("ab%d %n %d"), 7, nullptr, 8));
  EXPECT_EQ(Faulty(QEL_W("")), PRINT(QEL_W("%*d"), INT_MIN, 8));
}

TEST(WidePrint, MalformedNarrowTextEndsThePrint) {
  static const char* const kTexts[] = {
      "\xff",
      "\x80",
      "a\xc3",
      "a\xc3z",
      "\xc0\x80",
      "\xe0\x80\x80",
      "\xf4\x90\x80\x80",
      "\xe4\xb8",
      "\xf0\x9f\x98",
      "\xf8\x88\x80\x80\x80",
      "\xfe\x80\x80\x80\x80\x80\x80",
      "\xff\x80\x80\x80\x80\x80\x80\x80",
  };
  for (const char* text : kTexts)
    EXPECT_EQ(Faulty(QEL_W("x")), PRINT(QEL_W("x%s!"), text)) << text;
  EXPECT_EQ(Faulty(QEL_W("x")), PRINT(QEL_W("x%c!"), 0xE9));
  EXPECT_EQ(Faulty(QEL_W("x")), PRINT(QEL_W("x%c!"), -1));
}

TEST(WidePrint, NarrowSurrogatesPassAsUnits) {
  EXPECT_EQ(Whole(Wide({0xD800})), PRINT(QEL_W("%s"), "\xed\xa0\x80"));
}

TEST(WidePrint, CutsTheTextAndGivesItsWholeLength) {
  EXPECT_EQ((Printed{6, QEL_W("abc")}), PrintTo(4, QEL_W("abc%d"), 123));
  EXPECT_EQ((Printed{6, QEL_W("abc12")}), PrintTo(6, QEL_W("abc%d"), 123));
  EXPECT_EQ((Printed{6, QEL_W("abc123")}), PrintTo(7, QEL_W("abc%d"), 123));
  EXPECT_EQ((Printed{6, QEL_W("")}), PrintTo(1, QEL_W("abc%d"), 123));
  EXPECT_EQ((Printed{6, QEL_W("")}), PrintTo(0, QEL_W("abc%d"), 123));
  EXPECT_EQ((Printed{10, QEL_W("   ")}), PrintTo(4, QEL_W("%10s"), "abc"));
  EXPECT_EQ((Printed{-1, QEL_W("abc")}), PrintTo(4, QEL_W("abcdef%n"), nullptr));
}

TEST(WidePrint, ShowsNumbersLongerThanItsOwnBuffer) {
  const Printed wide = PRINT(QEL_W("%.600f"), 1.5);
  EXPECT_EQ(602, wide.result);
  EXPECT_EQ(QEL_W("1.5") + Wide(599, '0'), wide.text);
  EXPECT_EQ(Whole(Wide(2999, ' ') + QEL_W("7")), PRINT(QEL_W("%3000d"), 7));
  EXPECT_EQ(Whole(Wide(510, ' ') + QEL_W("7")), PRINT(QEL_W("%511d"), 7));
  EXPECT_EQ(Whole(Wide(511, ' ') + QEL_W("7")), PRINT(QEL_W("%512d"), 7));
}

TEST(WidePrint, ATextBeyond31BitsIsAnError) {
  EXPECT_EQ(-1, PrintTo(4, QEL_W("%2147483647s%s"), "", "x").result);
  EXPECT_EQ(INT_MAX, PrintTo(4, QEL_W("%2147483647s"), "").result);
}

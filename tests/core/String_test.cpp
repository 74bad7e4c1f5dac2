#include <qel/core/String.h>

#include <algorithm>
#include <clocale>
#include <cstdarg>
#include <type_traits>

#include <gtest/gtest.h>

#include <qel/core/CString.h>
#include <qel/core/CharBuffer.h>

#include <tests/support/Fatal.h>

typedef qelString Text;
typedef qelWChar Char;
typedef qelStringData Data;
typedef qelStringBuffer TextBuffer;
typedef qelWCharBuffer TextOwner;
#define TXT(literal) QEL_W(literal)
#define kEmpty qelEmptyString
#define STRING_TEST(suite, name) TEST(String##suite, name)

#include "StringContract.h"
#include "StringModel.h"

// What compiles ----------------------------------------------------------------

static_assert(sizeof(qelString) == sizeof(void*), "one pointer");
static_assert(sizeof(qelStringData) == 24, "three fields");
static_assert(std::is_same<decltype(qelEmptyString), const qelWChar* const>::value, "a text");
static_assert(std::is_same<decltype(qelString::npos), const size_t>::value, "a size");
static_assert(!std::is_polymorphic<qelString>::value, "nothing virtual");
static_assert(std::is_convertible<qelString, const qelWChar*>::value, "passes as a text");
static_assert(std::is_convertible<const qelWChar*, qelString>::value, "made from a text");

TEST(StringBlocks, HasAnEmptyBlockOfItsOwn) {
  EXPECT_NE(static_cast<const void*>(qelEmptyString), static_cast<const void*>(qelEmptyCString));
}

// Order and case -----------------------------------------------------------------

TEST(StringCompare, GivesTheDifferenceOfTheFirstUnequalUnits) {
  EXPECT_EQ(0xE9 - 'a', qelString(QEL_W("x\x00e9")).Compare(QEL_W("xa")));
  EXPECT_GT(qelString(QEL_W("\xff00")).Compare(QEL_W("\xd800")), 0);
  EXPECT_GT(qelString(QEL_W("\x0100")).Compare(QEL_W("\x00ff")), 0); // not byte by byte
}

TEST(StringCompareNoCase, TakesUnitsAsUnsigned) {
  EXPECT_EQ(1, qelString(QEL_W("\xff01")).CompareNoCase(QEL_W("a")));
  EXPECT_EQ(-1, qelString(QEL_W("a")).CompareNoCase(QEL_W("\x0080")));
}

TEST(StringCase, LeavesSurrogatesAlone) {
  // U+10400 has a lower case in another pair, which no single unit shows.
  const qelWChar deseret[] = {'a', 0xD801, 0xDC00, 'b', 0};
  EXPECT_EQ(Plain({'A', 0xD801, 0xDC00, 'B'}), Str(qelString(deseret).Upper()));
  EXPECT_EQ(Plain({'a', 0xD801, 0xDC00, 'b'}), Str(qelString(deseret).Lower()));
}

TEST(StringTrim, OnlyTheSixASCIIValuesAreWhitespace) {
  for (unsigned c : {0x85u, 0xA0u, 0x2003u, 0x2028u, 0x3000u, 0xFEFFu}) {
    const qelWChar unit[] = {static_cast<qelWChar>(c), 0};
    qelString a(unit);
    a.TrimLeftRight();
    EXPECT_EQ(1u, a.length()) << c;
    EXPECT_EQ(Plain(unit), Str(a.TrimTo1Space()));
  }
  // A unit whose low byte is a blank is none.
  qelString b(QEL_W("\x0120\x2020"));
  b.TrimLeftRight();
  EXPECT_EQ(2u, b.length());
}

TEST(StringReading, DigitsOfOtherScriptsAreNoNumbers) {
  EXPECT_FALSE(qelString(QEL_W("\x0661")).HasOnlyNumbers());
  EXPECT_FALSE(qelString(QEL_W("\x0131")).HasOnlyNumbers()); // low byte of "1"
}

// Formatted print ----------------------------------------------------------------

TEST(StringPrintf, LengthRules) {
  static const struct {
    int length, result;
    size_t capacity; // of a string that was empty
  } kRows[] = {
      {0, 0, 1043},       {1023, 1023, 1043},  {1024, 1023, 1043}, {1025, 1025, 2067},
      {1030, 1030, 2067}, {2049, 2049, 2067},  {2050, 2049, 2067}, {2051, 2051, 4115},
      {3000, 3000, 4115}, {4101, 4101, 4115},  {4102, 4101, 4115}, {4103, 4103, 8211},
      {8206, 8205, 8211}, {8207, 8207, 16419},
  };
  for (const auto& row : kRows) {
    const std::string narrow(static_cast<size_t>(row.length), 'x');
    qelString a;
    EXPECT_EQ(row.result, a.Printf(QEL_W("%s"), narrow.c_str()));
    EXPECT_EQ(Repeated(static_cast<size_t>(row.result), 'x'), Str(a));
    EXPECT_EQ(row.capacity, HeaderOf(a)->capacity) << row.length;
    EXPECT_EQ(1, HeaderOf(a)->refCount);
  }
}

TEST(StringPrintf, AnErrorLeavesWhatWasWritten) {
  qelString a(QEL_W("old"));
  EXPECT_EQ(3, a.Printf(QEL_W("abc%n"), nullptr));
  EXPECT_EQ(Plain(QEL_W("abc")), Str(a));
  EXPECT_EQ(0, a.Printf(QEL_W("%1$d"), 1));
  EXPECT_EQ(0u, a.length());
  EXPECT_EQ(1, HeaderOf(a)->refCount);
}

static int PrintV(qelString* out, const qelWChar* format, ...) {
  va_list args;
  va_start(args, format);
  const int result = out->PrintfV(format, args);
  va_end(args);
  return result;
}

TEST(StringPrintf, ReadsTheArgumentsFreshInEachRound) {
  const std::string narrow(3000, 'x');
  qelString a;
  EXPECT_EQ(3004, PrintV(&a, QEL_W("%d%s%d%d"), 1, narrow.c_str(), 2, 34));
  EXPECT_EQ(QEL_W("1") + Repeated(3000, 'x') + QEL_W("234"), Str(a));
}

// With what other classes give ---------------------------------------------------

TEST(StringBuffers, TakesTheTextOfAWCharBuffer) {
  const qelWCharBuffer buffer(QEL_W("abc"), true);
  EXPECT_EQ(Plain(QEL_W("abc")), Str(qelString(buffer)));
  EXPECT_TRUE(PointsAtTheEmptyBlock(qelString(qelWCharBuffer(nullptr, true))));
  qelString a(QEL_W("x"));
  a = buffer;
  EXPECT_EQ(Plain(QEL_W("abc")), Str(a));
  EXPECT_NE(nullptr, buffer.data());
  a = qelWCharBuffer(nullptr, true);
  EXPECT_EQ(0u, a.length());
}

TEST(StringBuffers, ToAsciiReplacesUnitsAbove127) {
  EXPECT_STREQ("a_b", qelString(QEL_W("a\x00e9"
                                      "b"))
                          .ToAscii()
                          .data());
  EXPECT_STREQ("", qelString().ToAscii().data());
}

TEST(StringNumbers, TakesThePointersOfEveryNativeType) {
  const qelString a(QEL_W("-12")), b(QEL_W("12"));
  int i = 0;
  long l = 0;
  unsigned u = 0;
  unsigned long ul = 0;
  double d = 0;
  EXPECT_TRUE(a.ToInt32(&i) && a.ToInt32(&l) && a.ToLong(&i, 10) && a.ToLong(&l));
  EXPECT_TRUE(b.ToUInt32(&u) && b.ToUInt32(&ul) && b.ToULong(&u) && b.ToULong(&ul, 10));
  EXPECT_TRUE(b.ToDouble(&d));
  EXPECT_EQ(-12, i);
  EXPECT_EQ(-12, l);
  EXPECT_EQ(12u, u);
  EXPECT_EQ(12u, ul);
  EXPECT_EQ(12.0, d);
}

// Exhaustion ---------------------------------------------------------------------

extern "C" const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}
extern "C" const char* __tsan_default_options() {
  return "allocator_may_return_null=1";
}

TEST(StringExhaustion, ASizeThatNoBlockHasIsFatal) {
  EXPECT_FATAL(qelString().GetWriteBuf(qelString::npos / 2), "memory:malloc");
  EXPECT_FATAL(qelString().GetWriteBuf(qelString::npos), "memory:malloc");
  EXPECT_FATAL(qelString(QEL_W("abc")).GetWriteBuf(qelString::npos / 2), "memory:realloc");
}

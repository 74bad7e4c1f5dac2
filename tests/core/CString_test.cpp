#include <qel/core/CString.h>

#include <algorithm>
#include <clocale>
#include <cstdarg>
#include <type_traits>

#include <gtest/gtest.h>

#include <qel/core/CharBuffer.h>

#include <tests/support/Fatal.h>

typedef qelCString Text;
typedef char Char;
typedef qelCStringData Data;
typedef qelCStringBuffer TextBuffer;
typedef qelCharBuffer TextOwner;
#define TXT(literal) literal
#define kEmpty qelEmptyCString
#define STRING_TEST(suite, name) TEST(CString##suite, name)

#include "StringContract.h"
#include "StringModel.h"

// What compiles ----------------------------------------------------------------

static_assert(sizeof(qelCString) == sizeof(void*), "one pointer");
static_assert(sizeof(qelCStringData) == 24, "three fields");
static_assert(std::is_same<decltype(qelEmptyCString), const char* const>::value, "a text");
static_assert(std::is_same<decltype(qelCString::npos), const size_t>::value, "a size");
static_assert(sizeof(qelCString::npos) == 8, "64 bits");
static_assert(!std::is_polymorphic<qelCString>::value, "nothing virtual");
static_assert(std::is_convertible<qelCString, const char*>::value, "passes as a text");
static_assert(std::is_convertible<const qelCString&, char*>::value, "and as a writable one");
static_assert(std::is_convertible<const char*, qelCString>::value, "made from a text");

TEST(CStringConstruction, TakesAnyIntegerForNoString) {
  EXPECT_TRUE(PointsAtTheEmptyBlock(qelCString(0)));
  EXPECT_TRUE(PointsAtTheEmptyBlock(qelCString(65)));
  EXPECT_TRUE(PointsAtTheEmptyBlock(qelCString(65u)));
  EXPECT_TRUE(PointsAtTheEmptyBlock(qelCString(65l)));
  EXPECT_TRUE(PointsAtTheEmptyBlock(qelCString(65ul)));
  EXPECT_TRUE(PointsAtTheEmptyBlock(qelCString(65ll)));
  EXPECT_TRUE(PointsAtTheEmptyBlock(qelCString(65ull)));
  EXPECT_TRUE(PointsAtTheEmptyBlock(qelCString(short(65))));
  EXPECT_TRUE(PointsAtTheEmptyBlock(qelCString(uint8_t(65))));
  EXPECT_TRUE(PointsAtTheEmptyBlock(qelCString(size_t(65))));
  EXPECT_TRUE(PointsAtTheEmptyBlock(qelCString(qelLong(65))));
  EXPECT_TRUE(PointsAtTheEmptyBlock(qelCString(qelULong(65))));
  EXPECT_TRUE(PointsAtTheEmptyBlock(qelCString(false)));
  EXPECT_TRUE(PointsAtTheEmptyBlock(qelCString(nullptr)));
  EXPECT_EQ(Plain("A"), Str(qelCString('A')));
}

static size_t LengthOfText(const char* text) {
  return strlen(text);
}

TEST(CStringReading, PassesAsAText) {
  const qelCString a("abc");
  EXPECT_EQ(3u, LengthOfText(a));
}

// Order ------------------------------------------------------------------------

TEST(CStringCompare, TakesBytesAsUnsigned) {
  EXPECT_GT(qelCString("\x80").Compare("z"), 0);
  EXPECT_TRUE(qelCString("z") < "\x80");
}

TEST(CStringCompareNoCase, TakesBytesAsSigned) {
  EXPECT_EQ(-1, qelCString("\x80").CompareNoCase("a"));
  EXPECT_EQ(-1, qelCString("\xff").CompareNoCase("\x01"));
  EXPECT_EQ(-1, qelCString("\x80").CompareNoCase("\x81"));
  EXPECT_EQ(1, qelCString("a").CompareNoCase("\xc3\xa9"));
  EXPECT_EQ(0, qelCString("\xc3\xa9").CompareNoCase("\xc3\xa9"));
}

TEST(CStringCase, LeavesUTF8Alone) {
  EXPECT_EQ(Plain("A\xc3\xa9Z"), Str(qelCString("a\xc3\xa9z").Upper()));
}

TEST(CStringTrim, BytesFrom128UpAreNoWhitespace) {
  for (int c = 128; c < 256; ++c) {
    const char byte[] = {static_cast<char>(c), '\0'};
    qelCString a(byte);
    a.TrimLeftRight();
    EXPECT_EQ(1u, a.length()) << c;
    EXPECT_EQ(Plain(byte), Str(a.TrimTo1Space()));
  }
}

// Formatted print --------------------------------------------------------------

TEST(CStringPrintf, LengthRules) {
  static const struct {
    int length, result;
    size_t capacity; // of a string that was empty
  } kRows[] = {
      {0, 0, 1043},       {1, 1, 1043},       {1022, 1022, 1043}, {1023, 1023, 1043},
      {1024, 1023, 1043}, {1025, 1024, 1043}, {1030, 1029, 1043}, {1042, 1041, 1043},
      {1043, 1042, 1059}, {1055, 1054, 1059}, {1056, 1055, 1059}, {1058, 1057, 1059},
      {1059, 1058, 1075}, {2048, 2047, 2051}, {5000, 4999, 5011}, {100000, 99999, 100003},
  };
  for (const auto& row : kRows) {
    const Plain text(static_cast<size_t>(row.length), 'x');
    qelCString a;
    EXPECT_EQ(row.result, a.Printf("%s", text.c_str()));
    EXPECT_EQ(text.substr(0, static_cast<size_t>(row.result)), Str(a));
    EXPECT_EQ(row.capacity, HeaderOf(a)->capacity) << row.length;
    EXPECT_EQ(1, HeaderOf(a)->refCount);
  }
}

// What a limit that grows by one a round comes to, done so.
static size_t CapacityOfStepwiseGrowth(size_t capacity, size_t length) {
  for (size_t size = 1024;; ++size) {
    if (size + 1 > capacity)
      capacity = Rounded(size + 1);
    if (length <= size)
      return capacity;
  }
}

TEST(CStringPrintf, LeavesTheCapacityOfStepwiseGrowth) {
  for (size_t old : {0, 500, 1030, 1043, 1050, 1060, 3000})
    for (size_t length = 1000; length < 1200; ++length) {
      const Plain text(length, 'x');
      qelCString a(Plain(old, 'o').c_str());
      const size_t before = HeaderOf(a)->capacity;
      a.Printf("%s", text.c_str());
      ASSERT_EQ(CapacityOfStepwiseGrowth(before, length), HeaderOf(a)->capacity) << old << length;
      ASSERT_EQ(length < 1024 ? length : length - 1, a.length());
    }
}

TEST(CStringPrintf, LosesTheLastByteOfTheWholeTextNotOfADirective) {
  Plain filler(1020, '.');
  qelCString a;
  a.Printf("%s%d", filler.c_str(), 12345); // 1025
  EXPECT_EQ(filler + "1234", Str(a));
}

TEST(CStringPrintf, PrintsThroughTrio) {
  EXPECT_EQ(Plain("(nil)"), Str(qelCString::Format("%p", static_cast<void*>(nullptr))));
  EXPECT_EQ(Plain("0x0000000000001234"),
            Str(qelCString::Format("%p", reinterpret_cast<void*>(0x1234))));
  EXPECT_EQ(Plain("-5 4294967295 1099511627776 1.500 abc c"),
            Str(qelCString::Format("%ld %lu %lld %.3f %s %c", -5l, 4294967295ul, 1ll << 40, 1.5,
                                   "abc", 'c')));
}

static int PrintV(qelCString* out, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int result = out->PrintfV(format, args);
  va_end(args);
  return result;
}

TEST(CStringPrintf, AFaultyFormatGivesTheEmptyText) {
  qelCString a("old");
  EXPECT_EQ(0, PrintV(&a, "abc%y"));
  EXPECT_EQ(0u, a.length());
  EXPECT_EQ(0, *a.c_str());
  EXPECT_EQ(1, HeaderOf(a)->refCount);
}

TEST(CStringPrintf, ReadsTheArgumentsFreshInEachRound) {
  const Plain text(3000, 'x');
  qelCString a;
  EXPECT_EQ(3003, PrintV(&a, "%d%s%d%d", 1, text.c_str(), 2, 34));
  EXPECT_EQ("1" + text + "23", Str(a));
}

// With what other classes give --------------------------------------------------

TEST(CStringBuffers, TakesTheTextOfACharBuffer) {
  const qelCharBuffer buffer("abc", true);
  EXPECT_EQ(Plain("abc"), Str(qelCString(buffer)));
  EXPECT_TRUE(PointsAtTheEmptyBlock(qelCString(qelCharBuffer(nullptr, true))));
  qelCString a("x");
  a = buffer;
  EXPECT_EQ(Plain("abc"), Str(a));
  EXPECT_STREQ("abc", buffer.data());
  a = qelCharBuffer(nullptr, true);
  EXPECT_TRUE(PointsAtTheEmptyBlock(a));
}

TEST(CStringNumbers, TakesThePointersOfEveryNativeType) {
  const qelCString a("-12"), b("12");
  int i = 0;
  long l = 0;
  unsigned u = 0;
  unsigned long ul = 0;
  qelLong ql = 0;
  qelULong qul = 0;
  double d = 0;
  EXPECT_TRUE(a.ToInt32(&i) && a.ToInt32(&l) && a.ToLong(&i, 10) && a.ToLong(&l) && a.ToInt32(&ql));
  EXPECT_TRUE(b.ToUInt32(&u) && b.ToUInt32(&ul) && b.ToULong(&u) && b.ToULong(&ul, 10) &&
              b.ToULong(&qul));
  EXPECT_TRUE(b.ToDouble(&d));
  EXPECT_EQ(-12, i);
  EXPECT_EQ(-12, l);
  EXPECT_EQ(-12, ql);
  EXPECT_EQ(12u, u);
  EXPECT_EQ(12u, ul);
  EXPECT_EQ(12u, qul);
  EXPECT_EQ(12.0, d);
}

// Exhaustion ---------------------------------------------------------------------

extern "C" const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}
extern "C" const char* __tsan_default_options() {
  return "allocator_may_return_null=1";
}

TEST(CStringExhaustion, ASizeThatNoBlockHasIsFatal) {
  EXPECT_FATAL(qelCString().GetWriteBuf(qelCString::npos - 5), "memory:malloc");
  EXPECT_FATAL(qelCString("abc").GetWriteBuf(qelCString::npos - 5), "memory:realloc");
  EXPECT_FATAL(qelCString().GetWriteBuf(qelCString::npos), "memory:malloc");
}

#include <qel/core/UInt64.h>

#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include <qel/core/CString.h>
#include <qel/core/String.h>

static const uint64_t kTop = uint64_t(1) << 63;
static const uint64_t kAll = ~uint64_t(0);

// A client's globals may run before any other initialisation.
static_assert(qeluint64(7).GetValue() == 7, "constructors are constant expressions");
static const qeluint64 s_early = qeluint64::kqeluint64_Max;

TEST(UInt64Constants, AreThereBeforeAnyClientRuns) {
  EXPECT_EQ(s_early.GetValue(), kAll);
  EXPECT_EQ(qeluint64::kqeluint64_Max.GetValue(), kAll);
  EXPECT_EQ(qeluint64::kqeluint64_0.GetValue(), 0u);
}

TEST(UInt64Constructor, GivesZeroFromNothing) {
  EXPECT_EQ(qeluint64().GetValue(), 0u);
}

TEST(UInt64Constructor, ExtendsTheSignOfSignedValuesOnly) {
  EXPECT_EQ(qeluint64(short(-1)).GetValue(), kAll);
  EXPECT_EQ(qeluint64(static_cast<unsigned short>(0xFFFF)).GetValue(), 0xFFFFu);
  EXPECT_EQ(qeluint64(-1).GetValue(), kAll);
  EXPECT_EQ(qeluint64(0xFFFFFFFFu).GetValue(), 0xFFFFFFFFu);
  EXPECT_EQ(qeluint64(-1L).GetValue(), kAll);
  EXPECT_EQ(qeluint64(0xFFFFFFFFuL).GetValue(), 0xFFFFFFFFu);
  EXPECT_EQ(qeluint64(-1LL).GetValue(), kAll);
  EXPECT_EQ(qeluint64(0xFFFFFFFFFFFFFFFEuLL).GetValue(), kAll - 1);
}

TEST(UInt64Constructor, PutsTheHighHalfFirst) {
  EXPECT_EQ(qeluint64(qelULong(1), qelULong(2)).GetValue(), 0x100000002u);
  EXPECT_EQ(qeluint64(0xFFFFFFFFu, 0xFFFFFFFEu).GetValue(), kAll - 1);
}

TEST(UInt64Constructor, TakesRecords) {
  const qelULongLong record = {2, 1};
  EXPECT_EQ(qeluint64(record).GetValue(), 0x100000002u);
  EXPECT_EQ(qeluint64(&record).GetValue(), 0x100000002u);
  const qeluint64 copy(qeluint64(5));
  EXPECT_EQ(copy.GetValue(), 5u);
}

TEST(UInt64Constructor, TruncatesADouble) {
  const std::pair<double, uint64_t> cases[] = {{0.0, 0},
                                               {1.9, 1},
                                               {-0.9, 0},
                                               {-1.0, kAll},
                                               {9223372036854774784.0, 9223372036854774784u},
                                               {9223372036854775808.0, kTop},
                                               {9223372036854777856.0, kTop + 2048},
                                               {18446744073709549568.0, kAll - 2047},
                                               {18446744073709551616.0, kTop},
                                               {-1e300, kTop},
                                               {std::nan(""), kTop}};
  for (const auto& c : cases)
    EXPECT_EQ(qeluint64(c.first).GetValue(), c.second) << c.first;
  EXPECT_EQ(qeluint64(2.5f).GetValue(), 2u);
}

// Every operation with an integer of type T. That this compiles is half of the test.
template <class T>
static void TakesEveryOperation() {
  const T three = static_cast<T>(3);
  qeluint64 x(three);
  EXPECT_EQ(x.GetValue(), 3u);
  const qeluint64 implicit = three;
  EXPECT_TRUE(implicit == three);
  EXPECT_FALSE(implicit != three);
  x = 10;
  EXPECT_EQ((x + three).GetValue(), 13u);
  EXPECT_EQ((x - three).GetValue(), 7u);
  EXPECT_EQ((x * three).GetValue(), 30u);
  EXPECT_EQ((x / three).GetValue(), 3u);
  EXPECT_EQ((x % three).GetValue(), 1u);
  x += three;
  EXPECT_EQ(x.GetValue(), 13u);
  x -= three;
  EXPECT_EQ(x.GetValue(), 10u);
  EXPECT_FALSE(x < three);
  EXPECT_FALSE(x <= three);
  EXPECT_TRUE(x > three);
  EXPECT_TRUE(x >= three);
  x = three;
  EXPECT_EQ(x.GetValue(), 3u);
  if constexpr (std::is_signed_v<T>) {
    EXPECT_EQ((x + static_cast<T>(-1)).GetValue(), 2u);
    EXPECT_EQ((x - static_cast<T>(-1)).GetValue(), 4u);
    EXPECT_TRUE(qeluint64::kqeluint64_Max == static_cast<T>(-1));
  } else {
    const T most = std::numeric_limits<T>::max();
    EXPECT_EQ((x + most).GetValue(), uint64_t(3) + most);
    EXPECT_TRUE(qeluint64(static_cast<uint64_t>(most)) == most);
  }
}

TEST(UInt64Operators, TakeEveryNativeIntegerTypeByValue) {
  TakesEveryOperation<signed char>();
  TakesEveryOperation<unsigned char>();
  TakesEveryOperation<short>();
  TakesEveryOperation<unsigned short>();
  TakesEveryOperation<int>();
  TakesEveryOperation<unsigned int>();
  TakesEveryOperation<long>();
  TakesEveryOperation<unsigned long>();
  TakesEveryOperation<long long>();
  TakesEveryOperation<unsigned long long>();
  TakesEveryOperation<size_t>();
  TakesEveryOperation<ptrdiff_t>();
  TakesEveryOperation<qelLong>();
  TakesEveryOperation<qelULong>();
  TakesEveryOperation<int64_t>();
  TakesEveryOperation<uint64_t>();
  TakesEveryOperation<wchar_t>();
  TakesEveryOperation<char16_t>();
  TakesEveryOperation<char32_t>();
}

TEST(UInt64Operators, TakeBoolsCharactersAndEnumerators) {
  enum Kind { Kind_Seven = 7 };
  EXPECT_EQ((qeluint64(true) + true).GetValue(), 2u);
  EXPECT_EQ((qeluint64('a') - 'a').GetValue(), 0u);
  EXPECT_EQ((qeluint64(Kind_Seven) * Kind_Seven).GetValue(), 49u);
}

TEST(UInt64Operators, TakeEachOther) {
  const qeluint64 a(17);
  const qeluint64 b(5);
  EXPECT_EQ((a + b).GetValue(), 22u);
  EXPECT_EQ((a - b).GetValue(), 12u);
  EXPECT_EQ((a * b).GetValue(), 85u);
  EXPECT_EQ((a / b).GetValue(), 3u);
  EXPECT_EQ((a % b).GetValue(), 2u);
  EXPECT_TRUE(b < a && b <= a && a > b && a >= b && a != b && a == qeluint64(17));
}

TEST(UInt64Operators, WrapAround) {
  EXPECT_EQ((qeluint64::kqeluint64_Max + 1).GetValue(), 0u);
  EXPECT_EQ((qeluint64(5) - qeluint64(7)).GetValue(), kAll - 1);
  EXPECT_EQ((qeluint64(kTop) * 2).GetValue(), 0u);
}

TEST(UInt64Operators, CompareUnsigned) {
  EXPECT_TRUE(qeluint64(1) < qeluint64(-1));
  EXPECT_TRUE(qeluint64(kTop) > 1);
}

TEST(UInt64Shift, TakesTheCountModulo64) {
  EXPECT_EQ((qeluint64(1) << 63).GetValue(), kTop);
  EXPECT_EQ((qeluint64(1) << 64).GetValue(), 1u);
  EXPECT_EQ((qeluint64(1) << 65).GetValue(), 2u);
  EXPECT_EQ((qeluint64(kTop) >> 63).GetValue(), 1u);
  EXPECT_EQ((qeluint64(kTop) >> 64).GetValue(), kTop);
  EXPECT_EQ((qeluint64(1) << -1).GetValue(), kTop);
}

TEST(UInt64Assignment, ReturnsACopy) {
  qeluint64 a(1);
  (a = qeluint64(5)) += 2;
  EXPECT_EQ(a.GetValue(), 5u);
  static_assert(std::is_same_v<decltype(a = 3), qeluint64>, "not a reference");
}

TEST(UInt64Assignment, TakesARecord) {
  const qelULongLong record = {2, 1};
  qeluint64 a;
  a = record;
  EXPECT_EQ(a.GetValue(), 0x100000002u);
}

TEST(UInt64Shape, IsOneValueWithoutVirtualOperations) {
  EXPECT_EQ(sizeof(qeluint64), 8u);
  EXPECT_FALSE(std::is_polymorphic_v<qeluint64>);
}

TEST(UInt64ToUInt32, GivesTheLowHalf) {
  EXPECT_EQ(qeluint64(0x100000002u).ToUInt32(), 2u);
}

TEST(UInt64ToFileOffset, StopsAtTheLargestOffset) {
  EXPECT_EQ(qeluint64::kqeluint64_Max.ToFileOffset(), 0x7FFFFFFFFFFFFFFF);
  EXPECT_EQ(qeluint64(kTop).ToFileOffset(), 0x7FFFFFFFFFFFFFFF);
  EXPECT_EQ(qeluint64(kTop - 1).ToFileOffset(), INT64_MAX);
  EXPECT_EQ(qeluint64(12).ToFileOffset(), 12);
}

TEST(UInt64ToULongLong, GivesTheHalves) {
  const qelULongLong record = qeluint64(0x100000002u).ToULongLong();
  EXPECT_EQ(record.high, 1u);
  EXPECT_EQ(record.low, 2u);
}

TEST(UInt64ToCString, WritesDecimal) {
  EXPECT_STREQ(qeluint64().ToCString().c_str(), "0");
  EXPECT_STREQ(qeluint64::kqeluint64_Max.ToCString().c_str(), "18446744073709551615");
  EXPECT_STREQ(qeluint64(1000).ToCString().c_str(), "1000");
}

TEST(UInt64ToString, WritesDecimalWide) {
  EXPECT_EQ(qeluint64().ToString().Compare(QEL_W("0")), 0);
  EXPECT_EQ(qeluint64::kqeluint64_Max.ToString().Compare(QEL_W("18446744073709551615")), 0);
}

struct TextCase {
  const char* text;
  uint64_t value; // with a fallback of 77
};

TEST(UInt64FromString, ReadsANumberOrGivesTheFallback) {
  const TextCase cases[] = {{"12", 12},
                            {"1 2", 1},
                            {"12abc", 12},
                            {" +5", 5},
                            {"18446744073709551615", kAll},
                            {"18446744073709551616", 77},
                            {"", 77},
                            {"z", 77},
                            {"-1", 77},
                            {nullptr, 77}};
  for (const TextCase& c : cases)
    EXPECT_EQ(qeluint64::FromString(c.text, qeluint64(77)).GetValue(), c.value)
        << (c.text ? c.text : "null");
}

TEST(UInt64FromString, ReadsCountedText) {
  EXPECT_EQ(qeluint64::FromString(qelCString("12"), 77).GetValue(), 12u);
  EXPECT_EQ(qeluint64::FromString(qelCString(), 77).GetValue(), 77u);
}

TEST(UInt64FromString, ReadsWideText) {
  EXPECT_EQ(qeluint64::FromString(qelString(QEL_W("12")), 77).GetValue(), 12u);
  EXPECT_EQ(qeluint64::FromString(qelString(QEL_W("1 2")), 77).GetValue(), 1u);
  EXPECT_EQ(qeluint64::FromString(qelString(), 77).GetValue(), 77u);
  EXPECT_EQ(qeluint64::FromString(qelString(QEL_W("z")), 77).GetValue(), 77u);
}

TEST(UInt64FromString, ReadsBackWhatItWrites) {
  for (uint64_t value : {uint64_t(0), uint64_t(9), uint64_t(10), kTop, kAll}) {
    const qeluint64 number(value);
    EXPECT_EQ(qeluint64::FromString(number.ToCString().c_str(), 77).GetValue(), value);
    EXPECT_EQ(qeluint64::FromString(number.ToString(), 77).GetValue(), value);
  }
}

class OpenUInt64 : public qeluint64 {
public:
  using qeluint64::Init;
};

TEST(UInt64Init, SetsFromARecordOrFromHalves) {
  OpenUInt64 value;
  value.Init(qelULongLong{2, 1});
  EXPECT_EQ(value.GetValue(), 0x100000002u);
  value.Init(qelULong(3), qelULong(4));
  EXPECT_EQ(value.GetValue(), 0x300000004u);
}

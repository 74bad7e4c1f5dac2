#include <qel/core/qelULongLong.h>

#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

// The models compute with twice the width.
__extension__ typedef __int128 Wide;
__extension__ typedef unsigned __int128 UWide;

static const int kRounds = 20000;
static const uint64_t kTop = uint64_t(1) << 63;
static const uint64_t kAll = ~uint64_t(0);

static qelULongLong U(uint64_t native) {
  qelULongLong value;
  qelULongLong_FromU64(&value, native);
  return value;
}

static uint64_t N(const qelULongLong& value) {
  return static_cast<uint64_t>(value.high) << 32 | value.low;
}

static qelint64 S(int64_t native) {
  qelint64 value;
  qelint64_FromNative(&value, native);
  return value;
}

static int64_t N(const qelint64& value) {
  const uint64_t high = static_cast<uint32_t>(value.high);
  return static_cast<int64_t>(high << 32 | value.low);
}

static int Width(uint64_t value) {
  int width = 0;
  for (; value != 0; value >>= 1)
    ++width;
  return width;
}

static std::string Taken(char* text) {
  const std::string copy(text);
  free(text);
  return copy;
}

// Values of every width, and those around which carries and signs change.
class Values {
public:
  uint64_t operator()() {
    static const uint64_t kEdges[] = {0,
                                      1,
                                      2,
                                      3,
                                      10,
                                      0x7FFFFFFF,
                                      0x80000000,
                                      0xFFFFFFFF,
                                      0x100000000,
                                      0x7FFFFFFF00000000,
                                      0x7FFFFFFFFFFFFFFE,
                                      0x7FFFFFFFFFFFFFFF,
                                      0x8000000000000000,
                                      0x8000000000000001,
                                      0x80000000FFFFFFFF,
                                      0xFFFFFFFF00000000,
                                      0xFFFFFFFF00000001,
                                      0xFFFFFFFFFFFFFFFE,
                                      0xFFFFFFFFFFFFFFFF};
    if (m_random() % 4 == 0)
      return kEdges[m_random() % (sizeof kEdges / sizeof kEdges[0])];
    const uint64_t magnitude = m_random() >> (m_random() % 64);
    return m_random() % 2 == 0 ? magnitude : 0 - magnitude;
  }

private:
  std::mt19937_64 m_random{20210203};
};

// Records ------------------------------------------------------------------------

TEST(ULongLongRecord, HasTheLowHalfFirst) {
  EXPECT_EQ(offsetof(qelULongLong, low), 0u);
  EXPECT_EQ(offsetof(qelULongLong, high), 4u);
  EXPECT_EQ(offsetof(qelint64, low), 0u);
  EXPECT_EQ(offsetof(qelint64, high), 4u);
  EXPECT_EQ(sizeof(qelULongLong), 8u);
  EXPECT_EQ(sizeof(qelint64), 8u);
}

TEST(ULongLongRecord, HasTheLayoutOfANativeValueOnALittleEndianMachine) {
  const uint64_t native = 0x0123456789ABCDEF;
  const qelULongLong value = U(native);
  EXPECT_EQ(memcmp(&value, &native, sizeof native), 0);
  const int64_t negative = -2;
  const qelint64 record = S(negative);
  EXPECT_EQ(memcmp(&record, &negative, sizeof negative), 0);
}

TEST(ULongLongSet, TakesTheHighHalfFirst) {
  qelULongLong value;
  qelULongLong_Set(&value, 1, 2);
  EXPECT_EQ(N(value), 0x100000002u);
  qelint64 record;
  qelint64_Set(&record, -1, 2);
  EXPECT_EQ(N(record), static_cast<int64_t>(0xFFFFFFFF00000002u));
}

TEST(Int64FromS32, ExtendsTheSign) {
  qelint64 value;
  qelint64_FromS32(&value, -5);
  EXPECT_EQ(N(value), -5);
  qelint64_FromS32(&value, INT32_MAX);
  EXPECT_EQ(N(value), INT32_MAX);
}

// Unsigned -----------------------------------------------------------------------

TEST(ULongLongAdd, WrapsAllOnesPlusOneToZeroWithTheFlag) {
  qelULongLong value = U(kAll);
  const qelULongLong one = U(1);
  EXPECT_EQ(qelULongLong_Add(&value, &one), 1);
  EXPECT_EQ(N(value), 0u);
}

TEST(ULongLongAdd, CarriesIntoTheHighHalfWithoutAFlag) {
  qelULongLong value = U(0xFFFFFFFF);
  EXPECT_EQ(qelULongLong_AddU32(&value, 1), 0);
  EXPECT_EQ(N(value), 0x100000000u);
}

TEST(ULongLongAdd, FlagsACarryOutOfTheHighHalf) {
  qelULongLong value = U(0xFFFFFFFFFFFFFFFF);
  EXPECT_EQ(qelULongLong_AddU32(&value, 2), 1);
  EXPECT_EQ(N(value), 1u);
}

TEST(ULongLongAdd, AcceptsTheRecordItself) {
  qelULongLong value = U(kTop);
  EXPECT_EQ(qelULongLong_Add(&value, &value), 1);
  EXPECT_EQ(N(value), 0u);
}

TEST(ULongLongModel, AddsAndSubtractsAsTwiceTheWidthDoes) {
  Values values;
  for (int i = 0; i < kRounds; ++i) {
    const uint64_t a = values();
    const uint64_t b = values();
    const qelULongLong other = U(b);
    qelULongLong sum = U(a);
    qelULongLong difference = U(a);
    ASSERT_EQ(qelULongLong_Add(&sum, &other), static_cast<int>((UWide(a) + b) >> 64));
    ASSERT_EQ(N(sum), static_cast<uint64_t>(UWide(a) + b));
    qelULongLong_Sub(&difference, &other);
    ASSERT_EQ(N(difference), static_cast<uint64_t>(UWide(a) - b));
    const uint32_t small = static_cast<uint32_t>(b);
    sum = U(a);
    difference = U(a);
    ASSERT_EQ(qelULongLong_AddU32(&sum, small), static_cast<int>((UWide(a) + small) >> 64));
    ASSERT_EQ(N(sum), static_cast<uint64_t>(UWide(a) + small));
    qelULongLong_SubU32(&difference, small);
    ASSERT_EQ(N(difference), static_cast<uint64_t>(UWide(a) - small));
  }
}

TEST(ULongLongSub, WrapsBelowZero) {
  qelULongLong value = U(0);
  qelULongLong_SubU32(&value, 1);
  EXPECT_EQ(N(value), kAll);
}

TEST(ULongLongShiftLeft, FlagsLostBitsBelow32) {
  for (uint32_t n = 1; n < 32; ++n) {
    qelULongLong lost = U(uint64_t(1) << (64 - n));
    EXPECT_EQ(qelULongLong_ShiftLeft(&lost, n), 1) << n;
    EXPECT_EQ(N(lost), 0u) << n;
    qelULongLong kept = U(uint64_t(1) << (63 - n));
    EXPECT_EQ(qelULongLong_ShiftLeft(&kept, n), 0) << n;
    EXPECT_EQ(N(kept), kTop) << n;
  }
}

TEST(ULongLongShiftLeft, LeavesTheValueAloneForZero) {
  qelULongLong value = U(kAll);
  EXPECT_EQ(qelULongLong_ShiftLeft(&value, 0), 0);
  EXPECT_EQ(N(value), kAll);
}

TEST(ULongLongShiftLeft, DropsTheHighHalfUntestedFrom32Up) {
  for (uint32_t n = 32; n < 64; ++n) {
    qelULongLong value = U(0xFFFFFFFF00000001);
    EXPECT_EQ(qelULongLong_ShiftLeft(&value, n), 0) << n;
    EXPECT_EQ(N(value), uint64_t(1) << n) << n;
  }
}

TEST(ULongLongShiftLeft, FlagsTheTopBitsOfTheLowHalfAbove32) {
  for (uint32_t n = 33; n < 64; ++n) {
    qelULongLong value = U(uint64_t(1) << (64 - n));
    EXPECT_EQ(qelULongLong_ShiftLeft(&value, n), 1) << n;
    EXPECT_EQ(N(value), 0u) << n;
  }
}

TEST(ULongLongShiftLeft, TestsNothingForExactly32) {
  qelULongLong value = U(kAll);
  EXPECT_EQ(qelULongLong_ShiftLeft(&value, 32), 0);
  EXPECT_EQ(N(value), 0xFFFFFFFF00000000u);
}

TEST(ULongLongShift, GivesZeroFrom64Up) {
  for (uint32_t n : {64u, 65u, 96u, 128u, 0xFFFFFFFFu}) {
    qelULongLong left = U(kAll);
    qelULongLong right = U(kAll);
    qelULongLong_ShiftLeft(&left, n);
    qelULongLong_ShiftRight(&right, n);
    EXPECT_EQ(N(left), 0u) << n;
    EXPECT_EQ(N(right), 0u) << n;
  }
}

TEST(ULongLongShiftLeft, FlagsALowHalfThatIsLostWholeFrom64Up) {
  for (uint32_t n : {64u, 65u, 96u, 0xFFFFFFFFu}) {
    qelULongLong low = U(1);
    qelULongLong high = U(0xFFFFFFFF00000000);
    EXPECT_EQ(qelULongLong_ShiftLeft(&low, n), 1) << n;
    EXPECT_EQ(qelULongLong_ShiftLeft(&high, n), 0) << n;
  }
}

TEST(ULongLongShiftRight, BringsZerosIn) {
  for (uint32_t n = 0; n < 64; ++n) {
    qelULongLong value = U(kAll);
    qelULongLong_ShiftRight(&value, n);
    EXPECT_EQ(N(value), kAll >> n) << n;
  }
}

TEST(ULongLongCompare, OrdersByTheWholeValueUnsigned) {
  Values values;
  for (int i = 0; i < kRounds; ++i) {
    const uint64_t a = values();
    const uint64_t b = i % 8 == 0 ? a : values();
    const qelULongLong x = U(a);
    const qelULongLong y = U(b);
    ASSERT_EQ(qelULongLong_Less(&x, &y), a < b);
    ASSERT_EQ(qelULongLong_LessOrEqual(&x, &y), a <= b);
    ASSERT_EQ(qelULongLong_Equal(&x, &y), a == b);
  }
}

TEST(ULongLongMul, FlagsTheLastDoublingThoughTheProductFits) {
  qelULongLong value = U(uint64_t(1) << 62);
  const qelULongLong two = U(2);
  EXPECT_EQ(qelULongLong_Mul(&value, &two), 1);
  EXPECT_EQ(N(value), kTop);
  qelULongLong top = U(kTop);
  const qelULongLong one = U(1);
  EXPECT_EQ(qelULongLong_Mul(&top, &one), 1);
  EXPECT_EQ(N(top), kTop);
}

TEST(ULongLongMul, GivesZeroWithoutAFlagForAZeroFactor) {
  qelULongLong value = U(kAll);
  const qelULongLong zero = U(0);
  EXPECT_EQ(qelULongLong_Mul(&value, &zero), 0);
  EXPECT_EQ(N(value), 0u);
  qelULongLong none = U(0);
  const qelULongLong all = U(kAll);
  EXPECT_EQ(qelULongLong_Mul(&none, &all), 0);
  EXPECT_EQ(N(none), 0u);
}

TEST(ULongLongMul, AcceptsTheRecordItself) {
  qelULongLong value = U(100000);
  EXPECT_EQ(qelULongLong_Mul(&value, &value), 0);
  EXPECT_EQ(N(value), 10000000000u);
}

// A doubling per bit of the multiplier loses a bit exactly when both widths together pass 64.
TEST(ULongLongModel, MultipliesAsTwiceTheWidthDoesAndFlagsByTheWidths) {
  Values values;
  for (int i = 0; i < kRounds; ++i) {
    const uint64_t a = values();
    const uint64_t b = values();
    qelULongLong value = U(a);
    const qelULongLong other = U(b);
    const int flag = qelULongLong_Mul(&value, &other);
    ASSERT_EQ(N(value), static_cast<uint64_t>(UWide(a) * b));
    ASSERT_EQ(flag, a != 0 && b != 0 && Width(a) + Width(b) > 64) << a << " * " << b;
    ASSERT_TRUE(flag == 1 || (UWide(a) * b) >> 64 == 0);
  }
}

TEST(ULongLongModel, DividesAsTheMachineDoes) {
  Values values;
  for (int i = 0; i < kRounds; ++i) {
    const uint64_t a = values();
    const uint64_t b = values();
    if (b == 0)
      continue;
    const qelULongLong x = U(a);
    const qelULongLong y = U(b);
    qelULongLong quotient;
    qelULongLong remainder;
    qelULongLong_DivMod(&x, &y, &quotient, &remainder);
    ASSERT_EQ(N(quotient), a / b);
    ASSERT_EQ(N(remainder), a % b);
    qelULongLong divided = x;
    qelULongLong_Div(&divided, &y);
    ASSERT_EQ(N(divided), a / b);
    qelULongLong rest = x;
    qelULongLong_Mod(&rest, &y);
    ASSERT_EQ(N(rest), a % b);
    const uint32_t small = static_cast<uint32_t>(b) | 1;
    rest = x;
    qelULongLong_ModU32(&rest, small);
    ASSERT_EQ(N(rest), a % small);
  }
}

TEST(ULongLongDivMod, GivesZeroForAZeroDivisor) {
  const qelULongLong zero = U(0);
  for (uint64_t a : {uint64_t(0), uint64_t(7), kAll}) {
    const qelULongLong x = U(a);
    qelULongLong quotient = U(99);
    qelULongLong remainder = U(99);
    qelULongLong_DivMod(&x, &zero, &quotient, &remainder);
    EXPECT_EQ(N(quotient), 0u);
    EXPECT_EQ(N(remainder), 0u);
  }
  qelULongLong value = U(7);
  qelULongLong_ModU32(&value, 0);
  EXPECT_EQ(N(value), 0u);
}

TEST(ULongLongDivMod, AcceptsResultsInPlaceOfTheOperands) {
  qelULongLong a = U(17);
  qelULongLong b = U(5);
  qelULongLong_DivMod(&a, &b, &a, &b);
  EXPECT_EQ(N(a), 3u);
  EXPECT_EQ(N(b), 2u);
}

TEST(ULongLongToDecimal, WritesWhatTheStandardLibraryWrites) {
  EXPECT_EQ(Taken([] {
              const qelULongLong zero = U(0);
              return qelULongLong_ToDecimal(&zero);
            }()),
            "0");
  Values values;
  for (int i = 0; i < 2000; ++i) {
    const uint64_t a = values();
    const qelULongLong value = U(a);
    ASSERT_EQ(Taken(qelULongLong_ToDecimal(&value)), std::to_string(a));
  }
  const qelULongLong all = U(kAll);
  EXPECT_EQ(Taken(qelULongLong_ToDecimal(&all)), "18446744073709551615");
}

struct TextCase {
  const char* text;
  int result;
  uint64_t value;
};

TEST(ULongLongFromString, ReadsDigitsAndIgnoresWhatStandsBehind) {
  const TextCase cases[] = {
      {"12", 1, 12},
      {"1 2", 1, 1},
      {"  +7x", 1, 7},
      {"18446744073709551615", 1, kAll},
      {"0x10", 1, 0}, // decimal: the digit 0, and text
      {"18446744073709551616", 0, 0},
      {"99999999999999999999999", 0, 0},
      {"", 0, 0},
      {"z", 0, 0},
      {"-1", 0, 0},
      {nullptr, 0, 0},
  };
  for (const TextCase& c : cases) {
    qelULongLong value = U(99);
    EXPECT_EQ(qelULongLong_FromString(&value, c.text), c.result) << (c.text ? c.text : "null");
    EXPECT_EQ(N(value), c.value) << (c.text ? c.text : "null");
  }
}

TEST(ULongLongFromStringN, ReadsTheSpanAlone) {
  qelULongLong value = U(99);
  EXPECT_EQ(qelULongLong_FromStringN(&value, "12345", 3), 1);
  EXPECT_EQ(N(value), 123u);
  EXPECT_EQ(qelULongLong_FromStringN(&value, "12345", 0), 0);
  EXPECT_EQ(N(value), 0u);
  value = U(99);
  EXPECT_EQ(qelULongLong_FromStringN(&value, nullptr, 3), 0);
  EXPECT_EQ(N(value), 0u);
  value = U(99);
  EXPECT_EQ(qelULongLong_FromStringN(&value, "x12", 3), 0);
  EXPECT_EQ(N(value), 0u);
}

// Signed -------------------------------------------------------------------------

// The high halves decide, and the carry counts only on the positive side.
static int SignedAddFlag(int64_t a, int64_t b) {
  const Wide sum = Wide(a) + b;
  const Wide highs = Wide(a >> 32) + (b >> 32);
  return sum > INT64_MAX || sum < INT64_MIN || highs < INT32_MIN;
}

TEST(Int64Add, FlagsTwoNegativeHighHalvesBeforeTheCarry) {
  qelint64 value = S(INT64_MIN + 0xFFFFFFFF);
  const qelint64 other =
      S(-int64_t(0xFFFFFFFF)); // the carry brings the sum back to the smallest value
  EXPECT_EQ(qelint64_Add(&value, &other), 1);
  EXPECT_EQ(N(value), INT64_MIN);
  value = S(INT64_MIN + 100);
  EXPECT_EQ(qelint64_AddS32(&value, -1), 1);
  EXPECT_EQ(N(value), INT64_MIN + 99);
  value = S(INT64_MIN + 100);
  EXPECT_EQ(qelint64_SubS32(&value, 1), 0); // which looks at the difference itself
  EXPECT_EQ(N(value), INT64_MIN + 99);
}

TEST(Int64Add, FlagsACarryIntoTheLargestHighHalf) {
  qelint64 value = S(INT64_MAX);
  EXPECT_EQ(qelint64_AddU32(&value, 1), 1);
  EXPECT_EQ(N(value), INT64_MIN);
  value = S(INT64_MAX);
  EXPECT_EQ(qelint64_AddS32(&value, -1), 0);
  EXPECT_EQ(N(value), INT64_MAX - 1);
}

TEST(Int64Model, AddsAndSubtractsAsTwiceTheWidthDoes) {
  Values values;
  for (int i = 0; i < kRounds; ++i) {
    const int64_t a = static_cast<int64_t>(values());
    const int64_t b = static_cast<int64_t>(values());
    const int32_t s32 = static_cast<int32_t>(b);
    const uint32_t u32 = static_cast<uint32_t>(b);
    const qelint64 other = S(b);
    const auto fits = [](Wide value) { return value >= INT64_MIN && value <= INT64_MAX; };
    qelint64 value = S(a);
    ASSERT_EQ(qelint64_Add(&value, &other), SignedAddFlag(a, b)) << a << " + " << b;
    ASSERT_EQ(N(value), static_cast<int64_t>(Wide(a) + b));
    value = S(a);
    ASSERT_EQ(qelint64_AddS32(&value, s32), SignedAddFlag(a, s32));
    ASSERT_EQ(N(value), static_cast<int64_t>(Wide(a) + s32));
    value = S(a);
    ASSERT_EQ(qelint64_AddU32(&value, u32), SignedAddFlag(a, u32));
    ASSERT_EQ(N(value), static_cast<int64_t>(Wide(a) + u32));
    value = S(a);
    ASSERT_EQ(qelint64_Sub(&value, &other), !fits(Wide(a) - b)) << a << " - " << b;
    ASSERT_EQ(N(value), static_cast<int64_t>(Wide(a) - b));
    value = S(a);
    ASSERT_EQ(qelint64_SubS32(&value, s32), !fits(Wide(a) - s32));
    ASSERT_EQ(N(value), static_cast<int64_t>(Wide(a) - s32));
    value = S(a);
    ASSERT_EQ(qelint64_SubU32(&value, u32), !fits(Wide(a) - u32));
    ASSERT_EQ(N(value), static_cast<int64_t>(Wide(a) - u32));
  }
}

TEST(Int64ShiftLeft, FlagsAsTheUnsignedFormDoes) {
  Values values;
  for (int i = 0; i < kRounds; ++i) {
    const uint64_t bits = values();
    const uint32_t n = static_cast<uint32_t>(i % 70);
    qelULongLong plain = U(bits);
    qelint64 record = S(static_cast<int64_t>(bits));
    ASSERT_EQ(qelint64_ShiftLeft(&record, n), qelULongLong_ShiftLeft(&plain, n));
    ASSERT_EQ(static_cast<uint64_t>(N(record)), N(plain));
  }
}

TEST(Int64ShiftRight, KeepsTheSignAndGivesZeroFrom64Up) {
  Values values;
  for (int i = 0; i < kRounds; ++i) {
    const int64_t a = static_cast<int64_t>(values());
    const uint32_t n = static_cast<uint32_t>(i % 64);
    qelint64 value = S(a);
    qelint64_ShiftRight(&value, n);
    ASSERT_EQ(N(value), a >> n);
  }
  qelint64 value = S(-1);
  qelint64_ShiftRight(&value, 64);
  EXPECT_EQ(N(value), 0);
}

TEST(Int64Compare, OrdersBySign) {
  Values values;
  for (int i = 0; i < kRounds; ++i) {
    const int64_t a = static_cast<int64_t>(values());
    const int64_t b = i % 8 == 0 ? a : static_cast<int64_t>(values());
    const qelint64 x = S(a);
    const qelint64 y = S(b);
    ASSERT_EQ(qelint64_Less(&x, &y), a < b);
    ASSERT_EQ(qelint64_Equal(&x, &y), a == b);
  }
}

static int MulFlag(int64_t a, int64_t b, int64_t* product) {
  qelint64 value = S(a);
  const qelint64 other = S(b);
  const int flag = qelint64_Mul(&value, &other);
  *product = N(value);
  return flag;
}

TEST(Int64Mul, CollectsTheFlagsOfTheAddsOnly) {
  int64_t product = 0;
  EXPECT_EQ(MulFlag(int64_t(1) << 62, 4, &product), 0); // the doublings run over
  EXPECT_EQ(product, 0);
  EXPECT_EQ(MulFlag(5, -1, &product), 1); // the partial sums run over
  EXPECT_EQ(product, -5);
  EXPECT_EQ(MulFlag(-1, 5, &product), 0);
  EXPECT_EQ(product, -5);
  EXPECT_EQ(MulFlag(INT64_MAX, 3, &product), 0); // max + (-2)
  EXPECT_EQ(product, INT64_MAX - 2);
  EXPECT_EQ(MulFlag(int64_t(3) << 60, 3, &product), 1); // 3 * 2^60 and 6 * 2^60
}

TEST(Int64Model, MultipliesModulo2To64AndFlagsThePartialSums) {
  Values values;
  for (int i = 0; i < kRounds; ++i) {
    const int64_t a = static_cast<int64_t>(values());
    const int64_t b = static_cast<int64_t>(values());
    int expected = 0;
    int64_t sum = 0;
    for (int bit = 0; bit < 64; ++bit) {
      const int64_t term = static_cast<int64_t>(static_cast<uint64_t>(a) << bit);
      if ((static_cast<uint64_t>(b) >> bit & 1) == 0)
        continue;
      expected |= SignedAddFlag(sum, term);
      sum = static_cast<int64_t>(Wide(sum) + term);
    }
    int64_t product = 0;
    ASSERT_EQ(MulFlag(a, b, &product), expected) << a << " * " << b;
    ASSERT_EQ(product, static_cast<int64_t>(static_cast<uint64_t>(a) * static_cast<uint64_t>(b)));
  }
}

TEST(Int64Mul, HasNoFlagForSmallFactorsWithAPositiveMultiplier) {
  std::mt19937 random(1);
  for (int i = 0; i < kRounds; ++i) {
    const int64_t a = static_cast<int32_t>(random());
    const int64_t b = static_cast<int32_t>(random() >> 2);
    int64_t product = 0;
    ASSERT_EQ(MulFlag(a, b, &product), 0) << a << " * " << b;
    ASSERT_EQ(product, a * b);
  }
}

struct Division {
  int64_t a;
  int64_t b;
  int64_t quotient;
  int64_t remainder;
  int flag;
};

static void CheckDivisions(const std::vector<Division>& divisions) {
  for (const Division& d : divisions) {
    const qelint64 a = S(d.a);
    const qelint64 b = S(d.b);
    qelint64 quotient = S(99);
    qelint64 remainder = S(99);
    EXPECT_EQ(qelint64_DivMod(&a, &b, &quotient, &remainder), d.flag) << d.a << " / " << d.b;
    EXPECT_EQ(N(quotient), d.quotient) << d.a << " / " << d.b;
    EXPECT_EQ(N(remainder), d.remainder) << d.a << " / " << d.b;
  }
}

TEST(Int64DivMod, TruncatesTowardZeroWithTheDividendsSignInTheRemainder) {
  CheckDivisions({{-7, 2, -3, -1, 0},
                  {7, -2, -3, 1, 0},
                  {-7, -2, 3, -1, 0},
                  {7, 2, 3, 1, 0},
                  {-7, 1, -7, 0, 0},
                  {0, -3, 0, 0, 0},
                  {-3, -3, 1, 0, 0},
                  {-3, 3, -1, 0, 0},
                  {5, -1, -5, 0, 0}});
}

TEST(Int64DivMod, GivesZeroForAZeroDivisor) {
  CheckDivisions({{7, 0, 0, 0, 0}, {0, 0, 0, 0, 0}, {INT64_MIN, 0, 0, 0, 0}});
}

TEST(Int64DivMod, GivesTheMagnitudeForTheDivisorWithLowHalfZeroAndHighHalfAllOnes) {
  const int64_t divisor = static_cast<int64_t>(0xFFFFFFFF00000000u);
  CheckDivisions({{-12, divisor, 12, 0, 0},
                  {12, divisor, 12, 0, 0},
                  {divisor, divisor, -divisor, 0, 0},
                  {INT64_MIN, divisor, INT64_MIN, 0, 1}});
}

TEST(Int64DivMod, DividesTheSmallestValueAsTheOneAboveIt) {
  CheckDivisions({{INT64_MIN, 2, -((int64_t(1) << 62) - 1), -2, 0},
                  {INT64_MIN, 1, INT64_MIN, 0, 0},
                  {INT64_MIN, INT64_MIN, 1, 0, 0},
                  {INT64_MIN, -1, INT64_MAX, -1, 0},
                  {INT64_MIN, INT64_MAX, -1, -1, 0},
                  {INT64_MIN, 10, -922337203685477580, -8, 0}});
}

TEST(Int64DivMod, KnowsTheSmallestValueAsADivisor) {
  CheckDivisions({{5, INT64_MIN, 0, 5, 0},
                  {-5, INT64_MIN, 0, -5, 0},
                  {INT64_MAX, INT64_MIN, 0, INT64_MAX, 0}});
}

TEST(Int64DivMod, AcceptsResultsInPlaceOfTheOperands) {
  qelint64 a = S(-17);
  qelint64 b = S(5);
  qelint64_DivMod(&a, &b, &b, &a);
  EXPECT_EQ(N(b), -3);
  EXPECT_EQ(N(a), -2);
}

TEST(Int64Model, DividesAsTheMachineDoesBesideTheToldExceptions) {
  Values values;
  for (int i = 0; i < kRounds; ++i) {
    const int64_t a = static_cast<int64_t>(values());
    const int64_t b = static_cast<int64_t>(values());
    if (b == 0 || a == INT64_MIN || b == static_cast<int64_t>(0xFFFFFFFF00000000u))
      continue;
    const qelint64 other = S(b);
    qelint64 quotient;
    qelint64 remainder;
    const qelint64 x = S(a);
    ASSERT_EQ(qelint64_DivMod(&x, &other, &quotient, &remainder), 0);
    ASSERT_EQ(N(quotient), a / b) << a << " / " << b;
    ASSERT_EQ(N(remainder), a % b) << a << " / " << b;
    qelint64 value = x;
    ASSERT_EQ(qelint64_Div(&value, &other), 0);
    ASSERT_EQ(N(value), a / b);
    value = x;
    ASSERT_EQ(qelint64_Mod(&value, &other), 0);
    ASSERT_EQ(N(value), a % b);
    const uint32_t small = static_cast<uint32_t>(b) | 1;
    value = x;
    ASSERT_EQ(qelint64_ModU32(&value, small), 0);
    ASSERT_EQ(N(value), a % small);
  }
}

TEST(Int64Negate, FlagsTheSmallestValueAndKeepsIt) {
  qelint64 value = S(INT64_MIN);
  EXPECT_EQ(qelint64_Negate(&value), 1);
  EXPECT_EQ(N(value), INT64_MIN);
  EXPECT_EQ(qelint64_Abs(&value), 1);
  EXPECT_EQ(N(value), INT64_MIN);
}

TEST(Int64Negate, TurnsTheSignOfAllOthers) {
  for (int64_t a : {int64_t(0), int64_t(1), int64_t(-1), INT64_MAX, INT64_MIN + 1}) {
    qelint64 value = S(a);
    EXPECT_EQ(qelint64_Negate(&value), 0) << a;
    EXPECT_EQ(N(value), -a) << a;
    EXPECT_EQ(qelint64_Abs(&value), 0) << a;
    EXPECT_EQ(N(value), a < 0 ? -a : a) << a;
  }
}

TEST(Int64ToDecimal, WritesEveryValueWithItsSign) {
  const std::pair<int64_t, const char*> cases[] = {{0, "0"},
                                                   {-1, "-1"},
                                                   {-10, "-10"},
                                                   {INT64_MAX, "9223372036854775807"},
                                                   {INT64_MIN, "-9223372036854775808"}};
  for (const auto& c : cases) {
    const qelint64 value = S(c.first);
    EXPECT_EQ(Taken(qelint64_ToDecimal(&value)), c.second);
  }
  Values values;
  for (int i = 0; i < 2000; ++i) {
    const int64_t a = static_cast<int64_t>(values());
    const qelint64 value = S(a);
    ASSERT_EQ(Taken(qelint64_ToDecimal(&value)), std::to_string(a));
  }
}

TEST(Int64ToDouble, RoundsAsTheMachineDoes) {
  Values values;
  for (int i = 0; i < kRounds; ++i) {
    const int64_t a = static_cast<int64_t>(values());
    const qelint64 value = S(a);
    ASSERT_EQ(qelint64_ToDouble(&value), static_cast<double>(a)) << a;
  }
  const qelint64 smallest = S(INT64_MIN);
  EXPECT_EQ(qelint64_ToDouble(&smallest), -9223372036854775808.0);
}

TEST(Int64FromDouble, TruncatesTowardZero) {
  const std::pair<double, int64_t> cases[] = {{0.0, 0},
                                              {-0.9, 0},
                                              {1.9, 1},
                                              {-1.9, -1},
                                              {4294967295.5, 4294967295},
                                              {4294967296.0, 4294967296},
                                              {-4294967297.5, -4294967297},
                                              {9223372036854774784.0, 9223372036854774784},
                                              {-9223372036854774784.0, -9223372036854774784}};
  for (const auto& c : cases) {
    qelint64 value;
    qelint64_FromDouble(&value, c.first);
    EXPECT_EQ(N(value), c.second) << c.first;
  }
}

TEST(Int64FromDouble, StopsAtTheBoundsAndGivesZeroForNoNumber) {
  const double infinity = std::numeric_limits<double>::infinity();
  const std::pair<double, int64_t> cases[] = {{9223372036854775808.0, INT64_MAX},
                                              {-9223372036854775808.0, INT64_MIN},
                                              {-1e300, INT64_MIN},
                                              {infinity, INT64_MAX},
                                              {-infinity, INT64_MIN},
                                              {std::nan(""), 0}};
  for (const auto& c : cases) {
    qelint64 value;
    qelint64_FromDouble(&value, c.first);
    EXPECT_EQ(N(value), c.second) << c.first;
  }
}

TEST(Int64FromDouble, ReadsBackWhatADoubleHolds) {
  std::mt19937_64 random(7);
  for (int i = 0; i < kRounds; ++i) {
    const int64_t a = static_cast<int64_t>(random()) >> (11 + random() % 50); // 53 bits at most
    const qelint64 value = S(a);
    qelint64 back;
    qelint64_FromDouble(&back, qelint64_ToDouble(&value));
    ASSERT_EQ(N(back), a);
  }
}

TEST(Int64FromString, ReadsASignedDecimalNumber) {
  const struct {
    const char* text;
    int result;
    int64_t value;
  } cases[] = {
      {"12", 1, 12},
      {"-12", 1, -12},
      {"-12 x", 1, -12},
      {"+3", 1, 3},
      {"9223372036854775807", 1, INT64_MAX},
      {"-9223372036854775808", 1, INT64_MIN},
      {"9223372036854775808", 0, 0},
      {"-9223372036854775809", 0, 0},
      {"-", 0, 0},
      {"", 0, 0},
      {"x", 0, 0},
      {nullptr, 0, 0},
  };
  for (const auto& c : cases) {
    qelint64 value = S(99);
    EXPECT_EQ(qelint64_FromString(&value, c.text), c.result) << (c.text ? c.text : "null");
    EXPECT_EQ(N(value), c.value) << (c.text ? c.text : "null");
  }
}

// Range-checked conversions ------------------------------------------------------

TEST(SaturateU64ToU32, GivesZeroWithTheTopBitSet) {
  uint32_t out = 7;
  EXPECT_EQ(qelSaturate_U64ToU32(kTop, &out), 0);
  EXPECT_EQ(out, 0u);
  EXPECT_EQ(qelSaturate_U64ToU32(kAll, &out), 0);
  EXPECT_EQ(out, 0u);
}

TEST(SaturateU64ToU32, GivesTheLargestValueOtherwise) {
  uint32_t out = 7;
  EXPECT_EQ(qelSaturate_U64ToU32(0x100000000, &out), 0);
  EXPECT_EQ(out, 0xFFFFFFFFu);
  EXPECT_EQ(qelSaturate_U64ToU32(kTop - 1, &out), 0);
  EXPECT_EQ(out, 0xFFFFFFFFu);
  EXPECT_EQ(qelSaturate_U64ToU32(0xFFFFFFFF, &out), 1);
  EXPECT_EQ(out, 0xFFFFFFFFu);
  EXPECT_EQ(qelSaturate_U64ToU32(0, &out), 1);
  EXPECT_EQ(out, 0u);
}

TEST(SaturateS64ToS32, GivesTheBoundOfTheValuesSide) {
  int32_t out = 7;
  EXPECT_EQ(qelSaturate_S64ToS32(int64_t(INT32_MAX) + 1, &out), 0);
  EXPECT_EQ(out, INT32_MAX);
  EXPECT_EQ(qelSaturate_S64ToS32(int64_t(INT32_MIN) - 1, &out), 0);
  EXPECT_EQ(out, INT32_MIN);
  EXPECT_EQ(qelSaturate_S64ToS32(INT32_MAX, &out), 1);
  EXPECT_EQ(out, INT32_MAX);
  EXPECT_EQ(qelSaturate_S64ToS32(INT32_MIN, &out), 1);
  EXPECT_EQ(out, INT32_MIN);
}

TEST(SaturateS64ToU64, GivesZeroForANegativeValue) {
  uint64_t out = 7;
  EXPECT_EQ(qelSaturate_S64ToU64(-1, &out), 0);
  EXPECT_EQ(out, 0u);
  EXPECT_EQ(qelSaturate_S64ToU64(INT64_MIN, &out), 0);
  EXPECT_EQ(out, 0u);
  EXPECT_EQ(qelSaturate_S64ToU64(INT64_MAX, &out), 1);
  EXPECT_EQ(out, static_cast<uint64_t>(INT64_MAX));
}

TEST(SaturateU64ToS64, GivesMinusOneFrom2To63Up) {
  int64_t out = 7;
  EXPECT_EQ(qelSaturate_U64ToS64(kTop, &out), 0);
  EXPECT_EQ(out, -1);
  EXPECT_EQ(qelSaturate_U64ToS64(kAll, &out), 0);
  EXPECT_EQ(out, -1);
  EXPECT_EQ(qelSaturate_U64ToS64(kTop - 1, &out), 1);
  EXPECT_EQ(out, INT64_MAX);
}

#include <qel/core/qelNum.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>

#include <gtest/gtest.h>

// Fractions --------------------------------------------------------------------

TEST(NumParseFraction, ReadsItsThreeForms) {
  const struct {
    const char* text;
    double out;
  } kRows[] = {
      {"1.5", 1.5},
      {" 1.5", 1.5},
      {"-1.5", -1.5},
      {"3/4", 0.75},
      {"-3/4", -0.75},
      {"1 3/4", 1.75},
      {"1-3/4", 1.75},
      {"-1 1/2", -1.5},
      {"-1-1/2", -1.5},
      {"-0 1/2", -0.5},
      {" -1 1/2", -1.5},
      {"3.0/4", 0.75},
      {"1 0/4", 1.0},
      {"3/ 4", 0.75},
      {"3/4 ", 0.75},
      {"1 3 /4", 1.75},
      {"1e1", 10.0},
      {"5/2", 2.5},
      {"1 3/2147483647", 1.0 + 3.0 / 2147483647.0},
      {"1/99999999999999999999", 1.0 / 2147483647.0}, // a 32-bit number
      {"1/4294967297", 1.0 / 2147483647.0},
      {"1 3/99999999999", 1.0 + 3.0 / 2147483647.0},
  };
  for (const auto& row : kRows) {
    double out = 7;
    EXPECT_EQ(qelNum_ParseFractionZ(row.text, &out), 0) << row.text;
    EXPECT_DOUBLE_EQ(out, row.out) << row.text;
  }
}

TEST(NumParseFraction, LeavesTheOutputAloneForAnythingElse) {
  for (const char* text :
       {"",       " ",      "x",       "1.5x",
        "1.5 ",   "1.5/2",  "3/0",     "3/-4",
        "3/",     "/4",     "3 /4",    "1 3/3",
        "1 4/3",  "1 -1/2", "1.5 1/2", "1:3/4",
        "1 3:4",  "1 3/4x", "3/4x",    "1+3/4",
        "1\t3/4", "inf/2",  "1 3",     "1 3000000000/4000000000"}) { // the same 32-bit number twice
    double out = 7;
    EXPECT_EQ(qelNum_ParseFractionZ(text, &out), 1) << text;
    EXPECT_EQ(out, 7.0) << text;
  }
  double out = 7;
  EXPECT_EQ(qelNum_ParseFractionZ(nullptr, &out), 1);
  EXPECT_EQ(qelNum_ParseFraction(nullptr, 3, &out), 1);
  EXPECT_EQ(out, 7.0);
}

TEST(NumParseFraction, ReadsNothingBehindTheLength) {
  double out = 7;
  EXPECT_EQ(qelNum_ParseFraction("3/45", 3, &out), 0);
  EXPECT_EQ(out, 0.75);
  EXPECT_EQ(qelNum_ParseFraction("12", 1, &out), 0);
  EXPECT_EQ(out, 1.0);
  EXPECT_EQ(qelNum_ParseFraction("12", 0, &out), 1);
  EXPECT_EQ(qelNum_ParseFraction("1\0002", 3, &out), 1); // a zero byte inside
}

TEST(NumParseMixed, ReadsItsThreeForms) {
  const struct {
    const char* text;
    double out;
  } kRows[] = {
      {"1.5", 1.5},
      {"  1.5", 1.5},
      {"3/4", 0.75},
      {" 3/4", 0.75},
      {"1 3/4", 1.75},
      {"-1 1/2", -1.5},
      {"-3/4", -0.75},
      {"3/-4", -0.75},
      {"1  3/4", 1.75},
      {"1 5/4", 2.25},
      {"3/ 4", 0.75},
      {"+1 +3/+4", 1.75},
      {"-0 1/2", 0.5}, // a whole part of "-0" is not negative
      {"9007199254740993/9007199254740993", 1.0},
  };
  for (const auto& row : kRows) {
    double out = 7;
    EXPECT_EQ(qelNum_ParseMixed(row.text, &out), 0) << row.text;
    EXPECT_DOUBLE_EQ(out, row.out) << row.text;
  }
}

TEST(NumParseMixed, ClearsTheOutputForAnyOtherResult) {
  const struct {
    const char* text;
    int result;
  } kRows[] = {
      {nullptr, -3},
      {"", -3},
      {"  ", -3},
      {"x", -3},
      {"1.5x", 3},
      {" 1.5x", 4},
      {"1e2000", -1},
      {"3/", -3},
      {"3/x", -3},
      {"/4", -3},
      {"3 /4", -3},
      {"x 3/4", -3},
      {"3/4x", 3},
      {" 3/4x", 4},
      {"3x/4", 1},
      {"1 3x/4", 3},
      {"1x 3/4", 1},
      {"1 3 /4", 3},
      {"1.5/2", 1},
      {"3/4/5", 3},
      {"3/99999999999999999999", -1},
      {"3/-99999999999999999999", -2},
      {"99999999999999999999/3", -1},
      {"-99999999999999999999 1/3", -2},
  };
  for (const auto& row : kRows) {
    double out = 7;
    EXPECT_EQ(qelNum_ParseMixed(row.text, &out), row.result) << row.text;
    EXPECT_EQ(out, 0.0) << row.text;
  }
}

TEST(NumParseMixed, LeavesTheOutputAsItWasForADenominatorOfZero) {
  for (const char* text : {"3/0", "1 3/0", "x/0"}) {
    double out = 7;
    EXPECT_EQ(qelNum_ParseMixed(text, &out), 0) << text;
    EXPECT_EQ(out, 7.0) << text;
  }
}

// Fractions as text ------------------------------------------------------------

static std::string FractionText(double value, qelLong maxDenominator, double tolerance) {
  char unset = 'x';
  char* text = &unset;
  const int result = qelNum_FractionToText(value, maxDenominator, tolerance, &text);
  EXPECT_EQ(result, text != nullptr ? 0 : -3);
  const std::string copy = text != nullptr ? text : "none";
  free(text);
  return copy;
}

TEST(NumFractionToText, WritesAWholePartAndAFraction) {
  EXPECT_EQ(FractionText(1.75, 100, 1e-9), "1 3/4");
  EXPECT_EQ(FractionText(0.75, 100, 1e-9), "3/4");
  EXPECT_EQ(FractionText(2.0, 100, 1e-9), "2");
  EXPECT_EQ(FractionText(1.0 / 3.0, 100, 1e-9), "1/3");
  EXPECT_EQ(FractionText(0.1, 100, 1e-9), "1/10");
  EXPECT_EQ(FractionText(29.97, 1001, 1e-9), "29 97/100");
}

TEST(NumFractionToText, WritesTheSignOnceAheadOfTheFirstPart) {
  EXPECT_EQ(FractionText(-1.75, 100, 1e-9), "-1 3/4");
  EXPECT_EQ(FractionText(-0.75, 100, 1e-9), "-3/4");
  EXPECT_EQ(FractionText(-2.0, 100, 1e-9), "-2");
  EXPECT_EQ(FractionText(-0.001, 100, 0.01), "-0"); // the whole part is what is written
}

TEST(NumFractionToText, WritesZeroAsAWholeNumber) {
  EXPECT_EQ(FractionText(0.0, 100, 1e-9), "0");
  EXPECT_EQ(FractionText(-0.0, 100, 1e-9), "0");
  EXPECT_EQ(FractionText(0.001, 100, 0.01), "0");
}

TEST(NumFractionToText, StopsAtTheToleranceOrTheDenominator) {
  const double pi = 3.14159265358979323846;
  EXPECT_EQ(FractionText(pi, 1000000, 0.2), "3");
  EXPECT_EQ(FractionText(pi, 1000000, 0.01), "3 1/7");
  EXPECT_EQ(FractionText(pi, 1000000, 0.0001), "3 15/106");
  EXPECT_EQ(FractionText(pi, 7, 0.0), "3 1/7");
  EXPECT_EQ(FractionText(pi, 112, 0.0), "3 15/106");
  EXPECT_EQ(FractionText(pi, 113, 0.0), "3 16/113");
  EXPECT_EQ(FractionText(pi, 1, 0.0), "3");
  EXPECT_EQ(FractionText(pi, 0, 0.0), "3");
  EXPECT_EQ(FractionText(pi, -5, 0.0), "3");
}

TEST(NumFractionToText, CarriesIntoTheWholePart) {
  EXPECT_EQ(FractionText(0.9999999, 100, 1e-3), "1");
  EXPECT_EQ(FractionText(1.9999999, 100, 1e-3), "2");
  EXPECT_EQ(FractionText(-1.9999999, 100, 1e-3), "-2");
}

TEST(NumFractionToText, GivesNoTextBeyondItsRange) {
  EXPECT_EQ(FractionText(18446744073709549568.0, 100, 1e-9), "18446744073709549568");
  EXPECT_EQ(FractionText(18446744073709551616.0, 100, 1e-9), "none");
  EXPECT_EQ(FractionText(-1e300, 100, 1e-9), "none");
  EXPECT_EQ(FractionText(HUGE_VAL, 100, 1e-9), "none");
  EXPECT_EQ(FractionText(-HUGE_VAL, 100, 1e-9), "none");
  EXPECT_EQ(FractionText(std::nan(""), 100, 1e-9), "none");
}

TEST(NumFractionToText, EndsForAnyTolerance) {
  EXPECT_EQ(FractionText(0.1, 1000, -1.0), "1/10");
  EXPECT_EQ(FractionText(0.1, 1000, std::nan("")), "1/10");
  EXPECT_EQ(FractionText(std::numeric_limits<double>::denorm_min(), INT32_MAX, 0.0), "0");
}

TEST(NumFractionToText, IsReadBackByParseMixed) {
  std::mt19937 random(70);
  for (int round = 0; round < 20000; ++round) {
    const double denominator = static_cast<double>(1 + random() % 1000);
    const double value = (static_cast<double>(random() % 2000000) - 1e6) / denominator;
    const std::string text = FractionText(value, 1000, 1e-10);
    double out = 7;
    ASSERT_EQ(qelNum_ParseMixed(text.c_str(), &out), 0) << text;
    ASSERT_NEAR(out, value, 1e-7) << text;
  }
}

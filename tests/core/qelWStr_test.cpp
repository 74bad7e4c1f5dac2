#include <qel/core/qelWStr.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

static const qelWStrHeader& Header(const qelWChar* text) {
  return *(reinterpret_cast<const qelWStrHeader*>(text) - 1);
}

static std::u16string Units(const qelWChar* text) {
  const size_t n = qelWStr_GetLength(text);
  EXPECT_EQ(text[n], 0);
  return std::u16string(text, text + n);
}

TEST(WStrNew, IsABlockOfTheExactSize) {
  qelWStr text = qelWStr_New(QEL_W("abc"));
  EXPECT_EQ(Units(text), u"abc");
  EXPECT_EQ(Header(text).capacity, 3u);
  EXPECT_EQ(Header(text).length, 3u);
  qelWStr_Free(text);
}

TEST(WStrFree, AllowsNull) {
  qelWStr_Free(nullptr);
}

TEST(WStrResize, MakesAnEmptyBlockOfNull) {
  qelWStr text = qelWStr_Resize(nullptr, 5);
  EXPECT_EQ(Units(text), u"");
  EXPECT_EQ(Header(text).capacity, 5u);
  qelWStr_Free(text);
}

TEST(WStrResize, KeepsLengthAndText) {
  qelWStr text = qelWStr_Resize(qelWStr_New(QEL_W("abc")), 100);
  EXPECT_EQ(Units(text), u"abc");
  EXPECT_EQ(Header(text).capacity, 100u);
  text = qelWStr_Resize(text, 2);
  EXPECT_EQ(Header(text).capacity, 2u);
  EXPECT_EQ(qelWStr_GetLength(text), 3u); // left as it was
  EXPECT_EQ(text[1], 'b');
  qelWStr_Free(text);
}

TEST(WStrSetLength, WritesTheTerminator) {
  qelWStr text = qelWStr_New(QEL_W("abc"));
  qelWStr_SetLength(text, 1);
  EXPECT_EQ(Units(text), u"a");
  EXPECT_EQ(Header(text).capacity, 3u);
  qelWStr_Free(text);
}

TEST(WStrAppend, LeavesTheTextForAnEmptyTail) {
  qelWStr text = qelWStr_New(QEL_W("abc"));
  EXPECT_EQ(qelWStr_Append(text, QEL_W("")), text);
  EXPECT_EQ(Units(text), u"abc");
  qelWStr_Free(text);
}

TEST(WStrAppend, GrowsToTheSumOfBothLengths) {
  qelWStr text = qelWStr_Append(qelWStr_New(QEL_W("abc")), QEL_W("de"));
  EXPECT_EQ(Units(text), u"abcde");
  EXPECT_EQ(Header(text).capacity, 5u);
  qelWStr_Free(text);
}

TEST(WStrAppend, KeepsABlockWithRoom) {
  qelWStr text = qelWStr_New(QEL_W("abcdef"));
  qelWStr_SetLength(text, 2);
  EXPECT_EQ(qelWStr_Append(text, QEL_W("wxyz")), text);
  EXPECT_EQ(Units(text), u"abwxyz");
  EXPECT_EQ(Header(text).capacity, 6u);
  qelWStr_Free(text);
}

TEST(WStrPrepend, LeavesTheTextForAnEmptyHead) {
  qelWStr text = qelWStr_New(QEL_W("abc"));
  EXPECT_EQ(qelWStr_Prepend(text, QEL_W("")), text);
  qelWStr_Free(text);
}

TEST(WStrPrepend, GivesANewBlockOfTheExactSum) {
  qelWStr text = qelWStr_Resize(qelWStr_New(QEL_W("abc")), 50);
  text = qelWStr_Prepend(text, QEL_W("\\\\?\\"));
  EXPECT_EQ(Units(text), u"\\\\?\\abc");
  EXPECT_EQ(Header(text).capacity, 7u);
  qelWStr_Free(text);
}

TEST(WStrIsEmpty, AnswersFalseForATextSetEmptyThatKeepsItsBlock) {
  qelWStr text = qelWStr_New(QEL_W("abc"));
  EXPECT_FALSE(qelWStr_IsEmpty(text));
  qelWStr_SetLength(text, 0);
  EXPECT_FALSE(qelWStr_IsEmpty(text));
  qelWStr_Free(text);
}

TEST(WStrIsEmpty, AnswersTrueForABlockWithoutRoom) {
  qelWStr text = qelWStr_New(QEL_W(""));
  EXPECT_TRUE(qelWStr_IsEmpty(text));
  qelWStr_Free(text);
}

TEST(WStrCompare, LooksAtNUnitsAtMost) {
  EXPECT_EQ(qelWStr_Compare(QEL_W("abc"), QEL_W("abd"), 2), 0);
  EXPECT_LT(qelWStr_Compare(QEL_W("abc"), QEL_W("abd"), 3), 0);
  EXPECT_GT(qelWStr_Compare(QEL_W("abd"), QEL_W("abc"), 3), 0);
  EXPECT_GT(qelWStr_Compare(QEL_W("abc"), QEL_W("ab"), 9), 0);
  EXPECT_EQ(qelWStr_Compare(QEL_W("ab"), QEL_W("ab"), 9), 0);
  EXPECT_EQ(qelWStr_Compare(QEL_W("a"), QEL_W("b"), 0), 0);
  EXPECT_LT(qelWStr_Compare(QEL_W("a"), QEL_W("\xFFFF"), 1), 0); // units are unsigned
}

TEST(WStrContainsAfter, LooksOneUnitFurtherBackThanThePart) {
  const struct {
    const qelWChar* text;
    int expected;
  } kRows[] = {
      {QEL_W("ab_."), 1},  // "ab" at 0, the unit at 3
      {QEL_W("ab."), 0},   // the part ends directly ahead of the unit
      {QEL_W("ab__."), 0}, // and two units ahead of it
      {QEL_W("xab_."), 1}, {QEL_W("ab_.ab."), 1}, {QEL_W("..ab_."), 1},
      {QEL_W("ab_"), 0},   {QEL_W("."), 0},       {QEL_W(""), 0},
  };
  for (const auto& row : kRows) {
    qelWStr text = qelWStr_New(row.text);
    EXPECT_EQ(qelWStr_ContainsAfter(text, '.', QEL_W("ab")), row.expected);
    qelWStr_Free(text);
  }
}

TEST(WStrContainsAfter, LooksOnlyAtTheLowByte) {
  qelWStr text = qelWStr_New(QEL_W("ab_\x012E")); // 0x2E is "."
  EXPECT_EQ(qelWStr_ContainsAfter(text, '.', QEL_W("ab")), 1);
  EXPECT_EQ(qelWStr_ContainsAfter(text, '.', QEL_W("\x0161\x0162")), 0); // the part compares whole
  qelWStr_Free(text);
}

TEST(WStrContainsAfter, FindsAnEmptyPartAtAnyPosition) {
  qelWStr text = qelWStr_New(QEL_W(".abc"));
  EXPECT_EQ(qelWStr_ContainsAfter(text, '.', QEL_W("")), 1);
  EXPECT_EQ(qelWStr_ContainsAfter(text, 'x', QEL_W("")), 0);
  qelWStr_Free(text);
}

TEST(WStrToLatin1, GivesADotForUnitsAbove255) {
  qelWStr text = qelWStr_New(QEL_W("a\x00E4\x00FF\x0100\x20AC"));
  char* narrow = qelWStr_ToLatin1(text);
  EXPECT_STREQ(narrow, "a\xE4\xFF..");
  free(narrow);
  qelWStr_Free(text);
}

TEST(WStr, FollowsAModelThroughRandomOperations) {
  std::mt19937 random(30);
  qelWStr text = qelWStr_New(QEL_W(""));
  std::u16string model;
  for (int round = 0; round < 20000; ++round) {
    std::vector<qelWChar> piece(random() % 5);
    for (qelWChar& unit : piece)
      unit = static_cast<qelWChar>(1 + random() % 0xFFFF);
    const std::u16string pieceModel(piece.begin(), piece.end());
    piece.push_back(0);
    switch (random() % 4) {
    case 0:
      text = qelWStr_Append(text, piece.data());
      model += pieceModel;
      break;
    case 1:
      text = qelWStr_Prepend(text, piece.data());
      model = pieceModel + model;
      break;
    case 2: {
      const size_t n = random() % (model.size() + 1);
      qelWStr_SetLength(text, n);
      model.resize(n);
      break;
    }
    default:
      text = qelWStr_Resize(text, model.size() + random() % 10);
      break;
    }
    ASSERT_EQ(Units(text), model);
    ASSERT_GE(Header(text).capacity, model.size());
  }
  qelWStr_Free(text);
}

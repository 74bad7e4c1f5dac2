#include <qel/geometry/Rect.h>

#include <climits>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/geometry/Areas.h>
#include <tests/support/LogCapture.h>

static_assert(sizeof(qelRect) == 4 * sizeof(int), "four fields without more");
static_assert(std::is_trivially_copyable<qelRect>::value, "a plain value");

static Fields Of(int left, int top, int right, int bottom) {
  return {left, top, right, bottom};
}

TEST(RectMake, IsAllZeroByDefault) {
  EXPECT_EQ(Of(0, 0, 0, 0), FieldsOf(qelRect()));
}

TEST(RectMake, TakesTheFieldsInOrder) {
  const qelRect rect(1, 2, 3, 4);
  EXPECT_EQ(1, rect.left);
  EXPECT_EQ(2, rect.top);
  EXPECT_EQ(3, rect.right);
  EXPECT_EQ(4, rect.bottom);
  EXPECT_EQ(2, reinterpret_cast<const int*>(&rect)[1]);
}

TEST(RectMake, TakesTwoCorners) {
  EXPECT_EQ(Of(1, 2, 3, 4), FieldsOf(qelRect(qelPoint(1, 2), qelPoint(3, 4))));
}

TEST(RectAssign, CopiesAllFields) {
  qelRect rect;
  const qelRect other(1, 2, 3, 4);
  EXPECT_EQ(&rect, &(rect = other));
  EXPECT_EQ(Of(1, 2, 3, 4), FieldsOf(rect));
}

TEST(RectFields, HaveTwoSetsOfNames) {
  const qelRect rect(1, 2, 11, 22);
  EXPECT_EQ(1, rect.Left());
  EXPECT_EQ(1, rect.GetLeft());
  EXPECT_EQ(2, rect.Top());
  EXPECT_EQ(2, rect.GetTop());
  EXPECT_EQ(11, rect.Right());
  EXPECT_EQ(11, rect.GetRight());
  EXPECT_EQ(22, rect.Bottom());
  EXPECT_EQ(22, rect.GetBottom());
  EXPECT_EQ(10, rect.Width());
  EXPECT_EQ(10, rect.GetWidth());
  EXPECT_EQ(20, rect.Height());
  EXPECT_EQ(20, rect.GetHeight());
  EXPECT_TRUE(rect.UpperLeft() == qelPoint(1, 2));
  EXPECT_TRUE(rect.LowerRight() == qelPoint(11, 22));
}

TEST(RectFields, GiveNegativeSizesWhenTheCornersAreSwapped) {
  const qelRect rect(10, 10, 4, 3);
  EXPECT_EQ(-6, rect.Width());
  EXPECT_EQ(-7, rect.Height());
}

TEST(RectFields, GiveSizesThatWrapAroundForTheWholePlane) {
  const qelRect rect(INT_MIN, INT_MIN, INT_MAX, 0);
  EXPECT_EQ(-1, rect.Width());
  EXPECT_EQ(-1, rect.GetWidth());
  EXPECT_EQ(INT_MIN, rect.Height());
  EXPECT_EQ(INT_MIN, rect.GetHeight());
}

TEST(RectIsEmpty, IsFalseForALine) {
  EXPECT_FALSE(qelRect(0, 0, 0, 5).IsEmpty());
  EXPECT_FALSE(qelRect(0, 0, 5, 0).IsEmpty());
}

TEST(RectIsEmpty, IsTrueWithoutWidthAndHeight) {
  EXPECT_TRUE(qelRect().IsEmpty());
  EXPECT_TRUE(qelRect(3, 3, 3, 3).IsEmpty());
  EXPECT_TRUE(qelRect(-1, 7, -1, 7).IsEmpty());
}

TEST(RectIsEmpty, IsFalseForSwappedCorners) {
  EXPECT_FALSE(qelRect(5, 5, 1, 1).IsEmpty());
}

TEST(RectEmpty, ZeroesAllFields) {
  qelRect rect(1, 2, 3, 4);
  rect.Empty();
  EXPECT_EQ(Of(0, 0, 0, 0), FieldsOf(rect));
}

TEST(RectContains, IsHalfOpen) {
  const qelRect rect(2, 3, 5, 7);
  EXPECT_TRUE(rect.Contains(qelPoint(2, 3)));
  EXPECT_TRUE(rect.Contains(qelPoint(4, 6)));
  EXPECT_FALSE(rect.Contains(qelPoint(5, 7)));
  EXPECT_FALSE(rect.Contains(qelPoint(5, 6)));
  EXPECT_FALSE(rect.Contains(qelPoint(4, 7)));
  EXPECT_FALSE(rect.Contains(qelPoint(1, 3)));
  EXPECT_FALSE(rect.Contains(qelPoint(2, 2)));
  EXPECT_FALSE(qelRect(3, 3, 3, 3).Contains(qelPoint(3, 3)));
}

TEST(RectIntersect, KeepsWhatIsCommon) {
  qelRect rect(0, 0, 10, 10);
  EXPECT_TRUE(rect.Intersect(qelRect(4, -5, 20, 6)));
  EXPECT_EQ(Of(4, 0, 10, 6), FieldsOf(rect));
  EXPECT_TRUE(rect.Intersect(rect));
  EXPECT_EQ(Of(4, 0, 10, 6), FieldsOf(rect));
}

TEST(RectIntersect, IsFalseAndZeroForRectanglesThatTouch) {
  const qelRect others[] = {{10, 0, 20, 10}, {0, 10, 10, 20}, {-5, 0, 0, 10}, {10, 10, 20, 20}};
  for (const qelRect& other : others) {
    qelRect rect(0, 0, 10, 10);
    EXPECT_FALSE(rect.Intersect(other));
    EXPECT_EQ(Of(0, 0, 0, 0), FieldsOf(rect));
  }
}

TEST(RectIntersect, IsFalseForALine) {
  qelRect rect(5, 0, 5, 10);
  EXPECT_FALSE(rect.Intersect(qelRect(0, 0, 10, 10)));
  EXPECT_EQ(Of(0, 0, 0, 0), FieldsOf(rect));
}

TEST(RectUnion, IsTheBoundingBox) {
  qelRect rect(0, 0, 10, 10);
  rect.Union(qelRect(20, -5, 30, 4));
  EXPECT_EQ(Of(0, -5, 30, 10), FieldsOf(rect));
}

TEST(RectUnion, StretchesToTheOriginForAnEmptyOther) {
  qelRect rect(5, 5, 10, 10);
  rect.Union(qelRect());
  EXPECT_EQ(Of(0, 0, 10, 10), FieldsOf(rect));
}

TEST(RectUnion, BecomesTheOtherWhenEmpty) {
  qelRect rect;
  rect.Union(qelRect(5, 6, 7, 8));
  EXPECT_EQ(Of(5, 6, 7, 8), FieldsOf(rect));
  qelRect nowhere(3, 3, 3, 3);
  nowhere.Union(qelRect(5, 6, 7, 8));
  EXPECT_EQ(Of(5, 6, 7, 8), FieldsOf(nowhere));
}

TEST(RectUnion, KeepsALine) {
  qelRect line(3, 0, 3, 5);
  line.Union(qelRect(6, 6, 7, 7));
  EXPECT_EQ(Of(3, 0, 7, 7), FieldsOf(line));
}

TEST(RectSubtract, CutsWhereTheOtherSpansASide) {
  struct Row {
    const char* what;
    qelRect other;
    Fields left; // of (0, 0, 10, 10)
  };
  const Row rows[] = {
      {"off the top", {0, 0, 10, 4}, {0, 4, 10, 10}},
      {"off the top, beyond it", {-1, -5, 11, 4}, {0, 4, 10, 10}},
      {"off the bottom", {0, 6, 10, 10}, {0, 0, 10, 6}},
      {"off the bottom, beyond it", {-1, 6, 11, 15}, {0, 0, 10, 6}},
      {"across the middle: the upper part stays", {0, 4, 10, 6}, {0, 0, 10, 4}},
      {"off the left", {0, 0, 4, 10}, {4, 0, 10, 10}},
      {"off the left, beyond it", {-5, -1, 4, 11}, {4, 0, 10, 10}},
      {"off the right", {6, 0, 10, 10}, {0, 0, 6, 10}},
      {"off the right, beyond it", {6, -1, 15, 11}, {0, 0, 6, 10}},
      {"down the middle: the left part stays", {4, 0, 6, 10}, {0, 0, 4, 10}},
      {"a hole", {2, 2, 4, 4}, {0, 0, 10, 10}},
      {"a corner", {-2, -2, 4, 4}, {0, 0, 10, 10}},
      {"a notch at the left", {0, 2, 4, 4}, {0, 0, 10, 10}},
      {"a notch at the top", {2, 0, 4, 4}, {0, 0, 10, 10}},
      {"above", {0, -10, 10, -5}, {0, 0, 10, 10}},
      {"touching from above", {0, -10, 10, 0}, {0, 0, 10, 10}},
      {"touching from below", {0, 10, 10, 20}, {0, 0, 10, 10}},
      {"touching from the left", {-10, 0, 0, 10}, {0, 0, 10, 10}},
      {"touching from the right", {10, 0, 20, 10}, {0, 0, 10, 10}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    qelRect rect(0, 0, 10, 10);
    rect.Subtract(row.other);
    EXPECT_EQ(row.left, FieldsOf(rect));
  }
}

TEST(RectSubtract, LeavesNoSizeButFieldsWhenCoveredEdgeToEdge) {
  qelRect same(1, 2, 10, 12);
  same.Subtract(qelRect(1, 2, 10, 12));
  EXPECT_EQ(Of(1, 2, 10, 2), FieldsOf(same));
  qelRect itself(1, 2, 10, 12);
  itself.Subtract(itself);
  EXPECT_EQ(Of(1, 2, 10, 2), FieldsOf(itself));
  qelRect overhungBelow(1, 2, 10, 12);
  overhungBelow.Subtract(qelRect(0, 2, 11, 20));
  EXPECT_EQ(Of(1, 2, 10, 2), FieldsOf(overhungBelow));
  qelRect overhungAbove(1, 2, 10, 12);
  overhungAbove.Subtract(qelRect(0, -2, 11, 12));
  EXPECT_EQ(Of(1, 12, 10, 12), FieldsOf(overhungAbove));
}

TEST(RectSubtract, ChangesNothingWhenTheOtherOverhangsBothEnds) {
  qelRect rect(0, 0, 10, 10);
  rect.Subtract(qelRect(-1, -1, 11, 11));
  EXPECT_EQ(Of(0, 0, 10, 10), FieldsOf(rect));
}

TEST(RectSubtract, TriesTheWidthAloneWhenBothSidesAreSpanned) {
  qelRect rect(0, 0, 10, 10);
  rect.Subtract(qelRect(0, -1, 10, 11));
  EXPECT_EQ(Of(0, 0, 10, 10), FieldsOf(rect));
}

TEST(RectSubtract, CutsBothWaysInAnEmptyOverlap) {
  // No rows lie between 5 and 5: the part above stays, and the second test finds 5 at its very end.
  qelRect rect(0, 0, 10, 10);
  rect.Subtract(qelRect(0, 5, 10, 5));
  EXPECT_EQ(Of(0, 5, 10, 5), FieldsOf(rect));
}

//===-- Every pair on a small grid, swapped corners included ---------------===//

namespace {

void IntersectByTheSteps(qelRect* rect, const qelRect& r, bool* result) {
  rect->left = rect->left > r.left ? rect->left : r.left;
  rect->top = rect->top > r.top ? rect->top : r.top;
  rect->right = rect->right < r.right ? rect->right : r.right;
  rect->bottom = rect->bottom < r.bottom ? rect->bottom : r.bottom;
  *result = rect->left < rect->right && rect->top < rect->bottom;
  if (!*result)
    rect->left = rect->top = rect->right = rect->bottom = 0;
}

void UnionByTheSteps(qelRect* rect, const qelRect& r) {
  if (rect->left == rect->right && rect->top == rect->bottom) {
    *rect = r;
    return;
  }
  rect->left = rect->left < r.left ? rect->left : r.left;
  rect->top = rect->top < r.top ? rect->top : r.top;
  rect->right = rect->right > r.right ? rect->right : r.right;
  rect->bottom = rect->bottom > r.bottom ? rect->bottom : r.bottom;
}

void SubtractByTheSteps(qelRect* rect, const qelRect& r) {
  if (r.left <= rect->left && r.right >= rect->right) {
    const bool cutsTheTopOff =
        r.top == rect->top && r.bottom > rect->top && r.bottom < rect->bottom;
    if (r.top >= rect->top && r.top <= rect->bottom && !cutsTheTopOff)
      rect->bottom = r.top;
    if (r.bottom >= rect->top && r.bottom <= rect->bottom)
      rect->top = r.bottom;
    return;
  }
  if (r.top > rect->top || r.bottom < rect->bottom)
    return;
  const bool cutsTheLeftOff = r.left == rect->left && r.right > rect->left && r.right < rect->right;
  if (r.left >= rect->left && r.left <= rect->right && !cutsTheLeftOff)
    rect->right = r.left;
  if (r.right >= rect->left && r.right <= rect->right)
    rect->left = r.right;
}

qelRect NthOnAGrid(int n) {
  return qelRect(n % 4, n / 4 % 4, n / 16 % 4, n / 64 % 4);
}

} // namespace

TEST(RectAlgebra, FollowsTheStepsForEveryPairOnASmallGrid) {
  for (int i = 0; i != 256 * 256; ++i) {
    const qelRect rect = NthOnAGrid(i / 256), other = NthOnAGrid(i % 256);
    qelRect cut(rect), box(rect), rest(rect), expectedCut(rect), expectedBox(rect),
        expectedRest(rect);
    bool isLeft = false;
    IntersectByTheSteps(&expectedCut, other, &isLeft);
    UnionByTheSteps(&expectedBox, other);
    SubtractByTheSteps(&expectedRest, other);
    const bool result = cut.Intersect(other);
    box.Union(other);
    rest.Subtract(other);
    if (result != isLeft || FieldsOf(cut) != FieldsOf(expectedCut) ||
        FieldsOf(box) != FieldsOf(expectedBox) || FieldsOf(rest) != FieldsOf(expectedRest))
      FAIL() << testing::PrintToString(FieldsOf(rect)) << " and "
             << testing::PrintToString(FieldsOf(other));
  }
}

TEST(RectMove, MovesBothCorners) {
  qelRect rect(1, 2, 3, 4);
  EXPECT_EQ(&rect, &(rect += qelPoint(10, 20)));
  EXPECT_EQ(Of(11, 22, 13, 24), FieldsOf(rect));
  EXPECT_EQ(&rect, &(rect -= qelPoint(11, 22)));
  EXPECT_EQ(Of(0, 0, 2, 2), FieldsOf(rect));
  EXPECT_EQ(Of(11, 22, 13, 24), FieldsOf(qelRect(1, 2, 3, 4) + qelPoint(10, 20)));
  EXPECT_EQ(Of(11, 22, 13, 24), FieldsOf(qelPoint(10, 20) + qelRect(1, 2, 3, 4)));
}

TEST(RectMove, SubtractsThePointInEitherOrder) {
  EXPECT_EQ(Of(9, 8, 19, 18), FieldsOf(qelRect(10, 10, 20, 20) - qelPoint(1, 2)));
  EXPECT_EQ(Of(9, 8, 19, 18), FieldsOf(qelPoint(1, 2) - qelRect(10, 10, 20, 20)));
}

TEST(RectScale, TakesAllFourFields) {
  qelRect rect(1, -2, 3, 4);
  EXPECT_EQ(&rect, &(rect *= 5));
  EXPECT_EQ(Of(5, -10, 15, 20), FieldsOf(rect));
  EXPECT_EQ(&rect, &(rect /= 3));
  EXPECT_EQ(Of(1, -3, 5, 6), FieldsOf(rect));
}

TEST(RectEquality, SkipsTop) {
  EXPECT_TRUE(qelRect(0, 1, 5, 5) == qelRect(0, 2, 5, 5));
  EXPECT_FALSE(qelRect(0, 1, 5, 5) != qelRect(0, 2, 5, 5));
}

TEST(RectEquality, ComparesTheOtherFields) {
  const qelRect rect(1, 2, 3, 4);
  EXPECT_TRUE(rect == rect);
  for (const qelRect& other : {qelRect(0, 2, 3, 4), qelRect(1, 2, 0, 4), qelRect(1, 2, 3, 0)}) {
    EXPECT_FALSE(rect == other);
    EXPECT_TRUE(rect != other);
  }
}

TEST(RectLogAppend, WritesFieldsAndSizes) {
  LogCapture capture;
  qelLogRecord* record = qelLog_Begin(1, 0);
  ASSERT_NE(nullptr, record);
  record->file = "here";
  record->line = 1;
  qelRect(1, -2, 11, 18).qelLog_Append();
  qelLog_End(record);
  EXPECT_THAT(capture.Texts(),
              testing::ElementsAre(testing::StartsWith("Rect((1, -2), (11, 18)), W: 10, H; 20")));
}

TEST(RectLogAppend, WritesNothingWithoutAnOpenLine) {
  LogCapture capture;
  qelRect(1, 2, 3, 4).qelLog_Append();
  EXPECT_THAT(capture.Texts(), testing::IsEmpty());
}

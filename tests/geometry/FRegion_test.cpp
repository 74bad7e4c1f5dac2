#include <qel/geometry/FRegion.h>

#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/geometry/Areas.h>

using testing::ElementsAre;
using testing::IsEmpty;

static Fields Of(int left, int top, int right, int bottom) {
  return {left, top, right, bottom};
}

static qelFRegion Union(const qelRect& a, const qelRect& b) {
  qelFRegion region(a);
  region.Union(b);
  return region;
}

TEST(FRegionMake, StartsEmptyWithAnArrayOfOne) {
  const qelFRegion region;
  EXPECT_EQ(0, region.count);
  EXPECT_EQ(1, region.capacity);
  EXPECT_NE(nullptr, region.rects);
  EXPECT_TRUE(region.IsEmpty());
  EXPECT_EQ(Of(0, 0, 0, 0), FieldsOf(region.Extents()));
}

TEST(FRegionMake, TakesARectangle) {
  const qelFRegion region(qelRect(1, 2, 3, 4));
  EXPECT_THAT(RectsOf(region), ElementsAre(Of(1, 2, 3, 4)));
  EXPECT_EQ(Of(1, 2, 3, 4), FieldsOf(region.Extents()));
  EXPECT_EQ(1, region.capacity);
  EXPECT_FALSE(region.IsEmpty());
}

TEST(FRegionMake, KeepsARectangleWithoutArea) {
  const qelFRegion region(qelRect(3, 3, 3, 3));
  EXPECT_THAT(RectsOf(region), ElementsAre(Of(3, 3, 3, 3)));
  EXPECT_EQ(Of(3, 3, 3, 3), FieldsOf(region.Extents()));
  EXPECT_TRUE(region.IsEmpty());
}

TEST(FRegionCopy, IsDeepAndExact) {
  auto source = std::make_unique<qelFRegion>(qelRect(0, 0, 10, 10));
  source->Union(qelRect(5, 5, 15, 15));
  ASSERT_LT(source->count, source->capacity);
  const qelFRegion copy(*source);
  EXPECT_NE(source->rects, copy.rects);
  EXPECT_EQ(3, copy.capacity);
  source.reset();
  EXPECT_THAT(RectsOf(copy), ElementsAre(Of(0, 0, 10, 5), Of(0, 5, 15, 10), Of(5, 10, 15, 15)));
  EXPECT_EQ(Of(0, 0, 15, 15), FieldsOf(copy.Extents()));
}

TEST(FRegionCopy, IsFreshAndEmptyForAnEmptySource) {
  const qelFRegion nothing;
  const qelFRegion point(qelRect(3, 3, 3, 3));
  for (const qelFRegion* source : {&nothing, &point}) {
    const qelFRegion copy(*source);
    EXPECT_EQ(0, copy.count);
    EXPECT_EQ(1, copy.capacity);
    EXPECT_NE(nullptr, copy.rects);
    EXPECT_EQ(Of(0, 0, 0, 0), FieldsOf(copy.Extents()));
  }
}

TEST(FRegionCopy, KeepsALine) {
  const qelFRegion line(qelRect(3, 0, 3, 5));
  EXPECT_THAT(RectsOf(qelFRegion(line)), ElementsAre(Of(3, 0, 3, 5)));
}

TEST(FRegionAssign, TakesTheOtherArea) {
  qelFRegion region = Union({0, 0, 1, 1}, {5, 5, 6, 6});
  const qelFRegion other(qelRect(1, 2, 3, 4));
  EXPECT_EQ(&region, &(region = other));
  EXPECT_THAT(RectsOf(region), ElementsAre(Of(1, 2, 3, 4)));
  EXPECT_EQ(Of(1, 2, 3, 4), FieldsOf(region.Extents()));
  EXPECT_NE(other.rects, region.rects);
  EXPECT_EQ(&region, &(region = qelFRegion()));
  EXPECT_EQ("", Fault(region));
  EXPECT_TRUE(region.IsEmpty());
}

TEST(FRegionAssign, KeepsALargerArray) {
  qelFRegion region = Union({0, 0, 10, 10}, {5, 5, 15, 15});
  const int capacity = region.capacity;
  region = qelFRegion(qelRect(1, 2, 3, 4));
  EXPECT_EQ(capacity, region.capacity);
}

TEST(FRegionAssign, TakesARectangle) {
  qelFRegion region = Union({0, 0, 1, 1}, {5, 5, 6, 6});
  EXPECT_EQ(&region, &(region = qelRect(1, 2, 3, 4)));
  EXPECT_THAT(RectsOf(region), ElementsAre(Of(1, 2, 3, 4)));
}

TEST(FRegionAssign, CountsARectangleWithoutArea) {
  qelFRegion region(qelRect(1, 2, 3, 4));
  region = qelRect(3, 3, 3, 3);
  EXPECT_THAT(RectsOf(region), ElementsAre(Of(3, 3, 3, 3)));
  EXPECT_TRUE(region.IsEmpty());
  region = qelFRegion(qelRect(3, 3, 3, 3)); // unlike a copy
  EXPECT_EQ(1, region.count);
}

TEST(FRegionAssign, TakesARectangleOfItsOwn) {
  qelFRegion region = Union({0, 0, 1, 1}, {5, 5, 6, 6});
  region = region.Extents();
  EXPECT_THAT(RectsOf(region), ElementsAre(Of(0, 0, 6, 6)));
  region = region.rects[0];
  EXPECT_THAT(RectsOf(region), ElementsAre(Of(0, 0, 6, 6)));
}

TEST(FRegionAssign, EmptiesOnSelfAssignment) {
  qelFRegion region(qelRect(1, 2, 3, 4));
  const qelFRegion& same = region;
  region = same;
  EXPECT_EQ(0, region.count);
  EXPECT_EQ(Of(0, 0, 0, 0), FieldsOf(region.Extents()));
}

TEST(FRegionUnion, FusesWhatTouchesInABand) {
  const qelFRegion region = Union({0, 0, 10, 10}, {10, 0, 20, 10});
  EXPECT_THAT(RectsOf(region), ElementsAre(Of(0, 0, 20, 10)));
  EXPECT_THAT(RectsOf(Union({10, 0, 20, 10}, {0, 0, 10, 10})), ElementsAre(Of(0, 0, 20, 10)));
}

TEST(FRegionUnion, MergesBandsOfTheSameColumns) {
  const qelFRegion region = Union({0, 0, 10, 10}, {0, 10, 10, 20});
  EXPECT_THAT(RectsOf(region), ElementsAre(Of(0, 0, 10, 20)));
  EXPECT_THAT(RectsOf(Union({0, 10, 10, 20}, {0, 0, 10, 10})), ElementsAre(Of(0, 0, 10, 20)));
}

TEST(FRegionUnion, CutsAnOverlapIntoThreeBands) {
  const qelFRegion region = Union({0, 0, 10, 10}, {5, 5, 15, 15});
  EXPECT_THAT(RectsOf(region), ElementsAre(Of(0, 0, 10, 5), Of(0, 5, 15, 10), Of(5, 10, 15, 15)));
  EXPECT_EQ(Of(0, 0, 15, 15), FieldsOf(region.Extents()));
}

TEST(FRegionUnion, KeepsAGapInABand) {
  EXPECT_THAT(RectsOf(Union({0, 0, 10, 10}, {11, 0, 20, 10})),
              ElementsAre(Of(0, 0, 10, 10), Of(11, 0, 20, 10)));
}

TEST(FRegionUnion, KeepsBandsApartThatDoNotTouch) {
  EXPECT_THAT(RectsOf(Union({0, 0, 10, 10}, {0, 11, 10, 20})),
              ElementsAre(Of(0, 0, 10, 10), Of(0, 11, 10, 20)));
}

TEST(FRegionUnion, BridgesAGap) {
  qelFRegion region = Union({0, 0, 10, 10}, {20, 0, 30, 10});
  region.Union(qelRect(10, 0, 20, 10));
  EXPECT_THAT(RectsOf(region), ElementsAre(Of(0, 0, 30, 10)));
}

TEST(FRegionUnion, WithItselfChangesNothing) {
  qelFRegion region = Union({0, 0, 10, 10}, {5, 5, 15, 15});
  const qelRect* rects = region.rects;
  region.Union(region);
  EXPECT_EQ(rects, region.rects);
  EXPECT_EQ(3, region.count);
}

TEST(FRegionUnion, CopiesIntoAnEmptyRegion) {
  qelFRegion region;
  const qelFRegion other = Union({0, 0, 10, 10}, {5, 5, 15, 15});
  region.Union(other);
  EXPECT_THAT(RectsOf(region), ElementsAre(Of(0, 0, 10, 5), Of(0, 5, 15, 10), Of(5, 10, 15, 15)));
  EXPECT_EQ(3, region.capacity);
  EXPECT_NE(other.rects, region.rects);
}

TEST(FRegionUnion, WithAnEmptyRegionChangesNothing) {
  qelFRegion region(qelRect(5, 5, 10, 10));
  region.Union(qelFRegion());
  EXPECT_THAT(RectsOf(region), ElementsAre(Of(5, 5, 10, 10)));
  EXPECT_EQ(Of(5, 5, 10, 10), FieldsOf(region.Extents()));
}

TEST(FRegionUnion, IgnoresWhatOneRectangleCovers) {
  qelFRegion region(qelRect(0, 0, 15, 15));
  const qelRect* rects = region.rects;
  region.Union(Union({0, 0, 10, 10}, {5, 5, 15, 15}));
  EXPECT_EQ(rects, region.rects);
  EXPECT_THAT(RectsOf(region), ElementsAre(Of(0, 0, 15, 15)));
}

TEST(FRegionUnion, BecomesOneRectangleThatCoversIt) {
  qelFRegion region = Union({0, 0, 10, 10}, {5, 5, 15, 15});
  const int capacity = region.capacity;
  region.Union(qelRect(0, 0, 15, 15));
  EXPECT_THAT(RectsOf(region), ElementsAre(Of(0, 0, 15, 15)));
  EXPECT_EQ(capacity, region.capacity);
}

TEST(FRegionUnion, TakesARectangleOfItsOwn) {
  qelFRegion region = Union({0, 0, 10, 10}, {5, 5, 15, 15});
  region.Union(region.rects[1]);
  EXPECT_EQ(3, region.count);
  region.Union(region.Extents());
  EXPECT_THAT(RectsOf(region), ElementsAre(Of(0, 0, 15, 15)));
}

TEST(FRegionUnion, StretchesTheExtentsByARectangleWithoutArea) {
  qelFRegion region(qelRect(0, 0, 10, 10));
  region.Union(qelRect(20, 20, 20, 20));
  EXPECT_EQ(Of(0, 0, 20, 20), FieldsOf(region.Extents()));
}

TEST(FRegionIntersect, KeepsWhatIsCommon) {
  qelFRegion region = Union({0, 0, 10, 10}, {20, 0, 30, 10});
  EXPECT_TRUE(region.Intersect(qelRect(5, 5, 25, 20)));
  EXPECT_THAT(RectsOf(region), ElementsAre(Of(5, 5, 10, 10), Of(20, 5, 25, 10)));
  EXPECT_EQ(Of(5, 5, 25, 10), FieldsOf(region.Extents()));
}

TEST(FRegionIntersect, IsFalseForRegionsThatTouch) {
  for (const qelRect& other : {qelRect(10, 0, 20, 10), qelRect(-9, 0, 0, 10),
                               qelRect(0, 10, 10, 20), qelRect(0, -9, 10, 0)}) {
    qelFRegion region(qelRect(0, 0, 10, 10));
    EXPECT_FALSE(region.Intersect(other));
    EXPECT_EQ(0, region.count);
    EXPECT_EQ(Of(0, 0, 0, 0), FieldsOf(region.Extents()));
  }
}

TEST(FRegionIntersect, IsFalseWhenOnlyTheExtentsMeet) {
  qelFRegion region = Union({0, 0, 10, 10}, {20, 20, 30, 30});
  EXPECT_FALSE(region.Intersect(qelRect(12, 12, 18, 18)));
  EXPECT_EQ("", Fault(region));
  EXPECT_EQ(0, region.count);
  EXPECT_EQ(1, region.capacity);
  EXPECT_EQ(Of(0, 0, 0, 0), FieldsOf(region.Extents()));
}

TEST(FRegionIntersect, IsFalseWithAnEmptyRegion) {
  qelFRegion region(qelRect(0, 0, 10, 10));
  EXPECT_FALSE(region.Intersect(qelFRegion()));
  EXPECT_EQ(Of(0, 0, 0, 0), FieldsOf(region.Extents()));
  EXPECT_FALSE(region.Intersect(qelRect(0, 0, 10, 10)));
}

TEST(FRegionIntersect, WithItselfKeepsTheArea) {
  qelFRegion region = Union({0, 0, 10, 10}, {5, 5, 15, 15});
  EXPECT_TRUE(region.Intersect(region));
  EXPECT_THAT(RectsOf(region), ElementsAre(Of(0, 0, 10, 5), Of(0, 5, 15, 10), Of(5, 10, 15, 15)));
}

TEST(FRegionSubtract, LeavesFourRectanglesAroundAHole) {
  qelFRegion region(qelRect(0, 0, 10, 10));
  region.Subtract(qelRect(4, 4, 6, 6));
  EXPECT_THAT(RectsOf(region),
              ElementsAre(Of(0, 0, 10, 4), Of(0, 4, 4, 6), Of(6, 4, 10, 6), Of(0, 6, 10, 10)));
  EXPECT_EQ(Of(0, 0, 10, 10), FieldsOf(region.Extents()));
}

TEST(FRegionSubtract, FromItselfLeavesNothing) {
  qelFRegion region = Union({0, 0, 10, 10}, {5, 5, 15, 15});
  region.Subtract(region);
  EXPECT_EQ(0, region.count);
  EXPECT_EQ(1, region.capacity);
  EXPECT_EQ(Of(0, 0, 0, 0), FieldsOf(region.Extents()));
}

TEST(FRegionSubtract, OfAnEmptyRegionChangesNothing) {
  qelFRegion region = Union({0, 0, 10, 10}, {5, 5, 15, 15});
  region.Subtract(qelFRegion());
  EXPECT_EQ(3, region.count);
  EXPECT_EQ(Of(0, 0, 15, 15), FieldsOf(region.Extents()));
  qelFRegion empty;
  empty.Subtract(region);
  EXPECT_THAT(RectsOf(empty), IsEmpty());
}

TEST(FRegionSubtract, OfATouchingRegionChangesNothing) {
  qelFRegion region(qelRect(0, 0, 10, 10));
  region.Subtract(qelRect(10, 0, 20, 10));
  EXPECT_THAT(RectsOf(region), ElementsAre(Of(0, 0, 10, 10)));
}

TEST(FRegionSubtract, ShrinksTheExtents) {
  qelFRegion region = Union({0, 0, 10, 10}, {20, 20, 30, 30});
  region.Subtract(qelRect(20, 20, 30, 30));
  EXPECT_THAT(RectsOf(region), ElementsAre(Of(0, 0, 10, 10)));
  EXPECT_EQ(Of(0, 0, 10, 10), FieldsOf(region.Extents()));
}

TEST(FRegionSubtract, CutsSeveralPiecesOutOfOneBand) {
  qelFRegion comb(qelRect(2, 0, 4, 5));
  comb.Union(qelRect(6, 0, 8, 5));
  comb.Union(qelRect(10, 0, 30, 5));
  qelFRegion region = Union({0, 0, 12, 10}, {14, 0, 40, 10});
  region.Subtract(comb);
  EXPECT_THAT(RectsOf(region), ElementsAre(Of(0, 0, 2, 5), Of(4, 0, 6, 5), Of(8, 0, 10, 5),
                                           Of(30, 0, 40, 5), Of(0, 5, 12, 10), Of(14, 5, 40, 10)));
}

// The array starts at twice the larger operand, doubles when one slot is left, and is cut to size when
// less than half is used.
TEST(FRegionCapacity, FollowsTheUse) {
  EXPECT_EQ(2, Union({0, 0, 10, 10}, {10, 0, 20, 10}).capacity);
  EXPECT_EQ(1, Union({0, 0, 10, 10}, {0, 10, 10, 20}).capacity);
  EXPECT_EQ(4, Union({0, 0, 10, 10}, {5, 5, 15, 15}).capacity);
  qelFRegion holed(qelRect(0, 0, 10, 10));
  holed.Subtract(qelRect(4, 4, 6, 6));
  EXPECT_EQ(8, holed.capacity);
  holed.Intersect(qelRect(0, 0, 10, 1));
  EXPECT_THAT(RectsOf(holed), ElementsAre(Of(0, 0, 10, 1)));
  EXPECT_EQ(1, holed.capacity);
}

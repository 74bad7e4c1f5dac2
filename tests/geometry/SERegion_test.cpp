#include <qel/geometry/SERegion.h>

#include <memory>

#include <gtest/gtest.h>

#include <tests/geometry/Areas.h>

static Fields Of(int left, int top, int right, int bottom) {
  return {left, top, right, bottom};
}

static qelFRegion TwoSeparate() {
  qelFRegion region(qelRect(0, 0, 2, 10));
  region.Union(qelRect(8, 0, 10, 10));
  return region;
}

TEST(SERegionMake, StartsEmptyOnItsOwnExtents) {
  const qelSERegion region;
  EXPECT_EQ(&region.extents, region.rects);
  EXPECT_EQ(0, region.count);
  EXPECT_TRUE(region.IsEmpty());
}

TEST(SERegionMake, TakesARectangle) {
  const qelSERegion region(qelRect(1, 2, 3, 4));
  EXPECT_EQ(&region.extents, region.rects);
  EXPECT_EQ(1, region.count);
  EXPECT_EQ(Of(1, 2, 3, 4), FieldsOf(region.Extents()));
}

TEST(SERegionMake, TakesTheExtentsOfARegion) {
  const qelSERegion region(TwoSeparate());
  EXPECT_EQ(1, region.count);
  EXPECT_EQ(Of(0, 0, 10, 10), FieldsOf(region.Extents()));
  EXPECT_EQ(&region.extents, region.rects);
}

TEST(SERegionMake, CountsOneForAnEmptySource) {
  const qelFRegion empty;
  const qelSERegion fromRegion(empty);
  EXPECT_EQ(1, fromRegion.count);
  EXPECT_TRUE(fromRegion.IsEmpty());
  const qelSERegion fromRect(qelRect(3, 3, 3, 3));
  EXPECT_EQ(1, fromRect.count);
  EXPECT_TRUE(fromRect.IsEmpty());
}

TEST(SERegionCopy, PointsAtItsOwnExtents) {
  auto source = std::make_unique<qelSERegion>(qelRect(1, 2, 3, 4));
  qelSERegion copy(*source);
  qelSERegion assigned;
  assigned = *source;
  source.reset();
  EXPECT_EQ(&copy.extents, copy.rects);
  EXPECT_EQ(Of(1, 2, 3, 4), FieldsOf(copy.rects[0]));
  EXPECT_EQ(1, copy.count);
  EXPECT_EQ(&assigned.extents, assigned.rects);
  EXPECT_EQ(Of(1, 2, 3, 4), FieldsOf(assigned.rects[0]));
  EXPECT_EQ(1, assigned.count);
}

TEST(SERegionCopy, TakesTheCountAsItIs) {
  const qelSERegion source(qelRect(3, 3, 3, 3));
  qelSERegion assigned;
  assigned = source;
  EXPECT_EQ(1, assigned.count);
  EXPECT_EQ(1, qelSERegion(source).count);
}

TEST(SERegionCopy, KeepsItselfOnSelfAssignment) {
  qelSERegion region(qelRect(1, 2, 3, 4));
  const qelSERegion& same = region;
  region = same;
  EXPECT_EQ(Of(1, 2, 3, 4), FieldsOf(region.Extents()));
  EXPECT_EQ(1, region.count);
}

TEST(SERegionAssign, CountsByTheExtents) {
  qelSERegion region;
  EXPECT_EQ(&region, &(region = qelRect(1, 2, 3, 4)));
  EXPECT_EQ(1, region.count);
  EXPECT_EQ(Of(1, 2, 3, 4), FieldsOf(region.Extents()));
  region = qelRect(3, 3, 3, 3);
  EXPECT_EQ(0, region.count);
  EXPECT_EQ(Of(3, 3, 3, 3), FieldsOf(region.Extents()));
  EXPECT_EQ(&region, &(region = TwoSeparate()));
  EXPECT_EQ(1, region.count);
  EXPECT_EQ(Of(0, 0, 10, 10), FieldsOf(region.Extents()));
  region = qelFRegion();
  EXPECT_EQ(0, region.count);
  EXPECT_EQ(&region.extents, region.rects);
}

TEST(SERegionUnion, IsTheBoundingBox) {
  qelSERegion region(qelRect(0, 0, 1, 1));
  region.Union(qelRect(9, 9, 10, 10));
  EXPECT_EQ(Of(0, 0, 10, 10), FieldsOf(region.Extents()));
  EXPECT_EQ(1, region.count);
}

TEST(SERegionUnion, CountsOneFromEmpty) {
  qelSERegion region;
  region.Union(qelRect(1, 2, 3, 4));
  EXPECT_EQ(Of(1, 2, 3, 4), FieldsOf(region.Extents()));
  EXPECT_EQ(1, region.count);
}

TEST(SERegionIntersect, CutsTheExtents) {
  qelSERegion region(qelRect(0, 0, 10, 10));
  EXPECT_TRUE(region.Intersect(qelRect(5, 5, 15, 15)));
  EXPECT_EQ(Of(5, 5, 10, 10), FieldsOf(region.Extents()));
}

TEST(SERegionIntersect, LeavesTheCount) {
  qelSERegion region(qelRect(0, 0, 10, 10));
  EXPECT_FALSE(region.Intersect(qelRect(10, 0, 20, 10)));
  EXPECT_EQ(Of(0, 0, 0, 0), FieldsOf(region.Extents()));
  EXPECT_EQ(1, region.count);
  EXPECT_TRUE(region.IsEmpty());
  region = qelRect(0, 0, 10, 10);
  region.Subtract(qelRect(0, 0, 10, 10));
  EXPECT_EQ(1, region.count);
  EXPECT_EQ(Of(0, 0, 10, 0), FieldsOf(region.Extents()));
}

TEST(SERegionIntersect, IsFalseForTwoSeparateRectangles) {
  qelSERegion region(qelRect(0, 0, 10, 10));
  EXPECT_FALSE(region.Intersect(TwoSeparate()));
  EXPECT_EQ(Of(0, 0, 0, 0), FieldsOf(region.Extents()));
  EXPECT_EQ(1, region.count);
}

TEST(SERegionIntersect, StopsAtTheFirstRectangleThatLeavesNothing) {
  // The count of 0 leaves nothing at once: the second rectangle would zero the extents.
  qelSERegion region;
  region.extents = qelRect(0, 0, 5, 10);
  EXPECT_FALSE(region.Intersect(TwoSeparate()));
  EXPECT_EQ(Of(0, 0, 2, 10), FieldsOf(region.Extents()));
}

TEST(SERegionIntersect, CutsByOverlappingRectanglesInTurn) {
  // A region as users can't make one shows that every rectangle cuts, not the first alone.
  qelFRegion other(qelRect(0, 0, 6, 6));
  other.Union(qelRect(20, 20, 21, 21));
  other.rects[1] = qelRect(4, 4, 10, 10);
  qelSERegion region(qelRect(0, 0, 10, 10));
  EXPECT_TRUE(region.Intersect(other));
  EXPECT_EQ(Of(4, 4, 6, 6), FieldsOf(region.Extents()));
}

TEST(SERegionIntersect, WorksWithItself) {
  qelSERegion region(qelRect(1, 2, 3, 4));
  EXPECT_TRUE(region.Intersect(static_cast<const qelRegion&>(region)));
  EXPECT_EQ(Of(1, 2, 3, 4), FieldsOf(region.Extents()));
  region.Subtract(static_cast<const qelRegion&>(region));
  EXPECT_EQ(Of(1, 2, 3, 2), FieldsOf(region.Extents()));
}

TEST(SERegionIntersect, IsTrueForARegionOfOneRectangle) {
  qelSERegion region(qelRect(0, 0, 10, 10));
  EXPECT_TRUE(region.Intersect(qelFRegion(qelRect(2, 2, 20, 4))));
  EXPECT_EQ(Of(2, 2, 10, 4), FieldsOf(region.Extents()));
  const qelSERegion simple(qelRect(3, 0, 20, 20));
  EXPECT_TRUE(region.Intersect(static_cast<const qelRegion&>(simple)));
  EXPECT_EQ(Of(3, 2, 10, 4), FieldsOf(region.Extents()));
}

TEST(SERegionIntersect, IgnoresAnEmptyRegion) {
  qelSERegion region(qelRect(0, 0, 10, 10));
  EXPECT_TRUE(region.Intersect(qelFRegion()));
  EXPECT_EQ(Of(0, 0, 10, 10), FieldsOf(region.Extents()));
  qelSERegion empty;
  EXPECT_FALSE(empty.Intersect(qelFRegion()));
}

TEST(SERegionIntersect, IsFalseForACountOfZero) {
  qelSERegion region;
  region.extents = qelRect(0, 0, 10, 10);
  EXPECT_FALSE(region.Intersect(qelFRegion(qelRect(0, 0, 5, 5))));
}

TEST(SERegionSubtract, CutsWhereARectangleIsLeft) {
  qelSERegion region(qelRect(0, 0, 10, 10));
  region.Subtract(qelRect(0, 0, 10, 4));
  EXPECT_EQ(Of(0, 4, 10, 10), FieldsOf(region.Extents()));
  region.Subtract(qelRect(2, 5, 4, 6));
  EXPECT_EQ(Of(0, 4, 10, 10), FieldsOf(region.Extents()));
  EXPECT_EQ(1, region.count);
}

TEST(SERegionSubtract, CutsByEachRectangleInTurn) {
  qelSERegion region(qelRect(0, 0, 10, 10));
  region.Subtract(TwoSeparate());
  EXPECT_EQ(Of(2, 0, 8, 10), FieldsOf(region.Extents()));
}

TEST(SERegionSubtract, StopsWhenNothingIsLeft) {
  // Subtracting any more would move the corner of the empty extents.
  qelSERegion region(qelRect(3, 3, 3, 3));
  region.Subtract(qelFRegion(qelRect(3, 3, 3, 9)));
  EXPECT_EQ(Of(3, 3, 3, 3), FieldsOf(region.Extents()));
  qelSERegion uncounted;
  uncounted.extents = qelRect(0, 0, 10, 10);
  uncounted.Subtract(TwoSeparate());
  EXPECT_EQ(Of(0, 0, 10, 10), FieldsOf(uncounted.Extents()));
}

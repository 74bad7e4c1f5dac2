#include <qel/geometry/Region.h>

#include <string>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/geometry/SERegion.h>
#include <tests/geometry/Areas.h>
#include <tests/support/LogCapture.h>

namespace {

class PlainRegion : public qelRegion {
public:
  PlainRegion() = default;
  PlainRegion(qelRect* array, int n) : qelRegion(array, n) {}
};

std::string DumpOf(const qelRegion& region) {
  LogCapture capture;
  qelLogRecord* record = qelLog_Begin(1, 0);
  record->file = "here";
  record->line = 1;
  region.qelLog_Append();
  qelLog_Append_F("|\n");
  qelLog_End(record);
  return capture.All();
}

} // namespace

static_assert(!std::is_default_constructible<qelRegion>::value, "made by its kinds alone");
static_assert(!std::is_destructible<qelRegion>::value, "destroyed by its kinds alone");
static_assert(std::has_virtual_destructor<PlainRegion>::value, "destroyed as what it is");
static_assert(std::has_virtual_destructor<qelFRegion>::value, "destroyed as what it is");
static_assert(std::has_virtual_destructor<qelSERegion>::value, "destroyed as what it is");

TEST(RegionMake, KeepsItsFieldsInOrder) {
  const PlainRegion region;
  const void* const extents = &region.extents;
  const void* const rects = &region.rects;
  const void* const count = &region.count;
  EXPECT_LT(extents, rects);
  EXPECT_LT(rects, count);
}

TEST(RegionMake, IsEmptyWithoutAnArray) {
  const PlainRegion region;
  EXPECT_EQ(nullptr, region.rects);
  EXPECT_EQ(0, region.count);
  EXPECT_EQ((Fields{0, 0, 0, 0}), FieldsOf(region.Extents()));
  EXPECT_TRUE(region.IsEmpty());
}

TEST(RegionMake, TakesAnArrayWithoutACopyAndWithEmptyExtents) {
  qelRect rects[2] = {{0, 0, 1, 1}, {2, 0, 3, 1}};
  const PlainRegion region(rects, 2);
  EXPECT_EQ(rects, region.rects);
  EXPECT_EQ(2, region.count);
  EXPECT_EQ((Fields{0, 0, 0, 0}), FieldsOf(region.Extents()));
}

TEST(RegionCopy, SharesTheArray) {
  qelRect rects[1] = {{0, 0, 1, 1}};
  PlainRegion region(rects, 1);
  region.extents = rects[0];
  const PlainRegion copy(region);
  EXPECT_EQ(rects, copy.rects);
  PlainRegion assigned;
  assigned = region;
  EXPECT_EQ(rects, assigned.rects);
  EXPECT_EQ(1, assigned.count);
  EXPECT_EQ((Fields{0, 0, 1, 1}), FieldsOf(assigned.extents));
}

TEST(RegionEmpty, KeepsTheArray) {
  qelRect rects[1] = {{0, 0, 1, 1}};
  PlainRegion region(rects, 1);
  region.extents = rects[0];
  region.Empty();
  EXPECT_EQ(rects, region.rects);
  EXPECT_EQ(0, region.count);
  EXPECT_EQ((Fields{0, 0, 0, 0}), FieldsOf(region.extents));
}

TEST(RegionIsEmpty, LooksAtTheCountAndTheExtents) {
  qelRect rects[1] = {{0, 0, 1, 1}};
  PlainRegion region(rects, 1);
  EXPECT_TRUE(region.IsEmpty());
  region.extents = qelRect(0, 0, 0, 5);
  EXPECT_FALSE(region.IsEmpty());
  region.count = 0;
  EXPECT_TRUE(region.IsEmpty());
}

TEST(RegionLogAppend, NamesAnEmptyRegion) {
  EXPECT_EQ("Region(Empty)|\n", DumpOf(qelFRegion()));
}

TEST(RegionLogAppend, WritesOneRectangleInline) {
  EXPECT_EQ("Region(Rect((1, 2), (11, 22)), W: 10, H; 20)|\n",
            DumpOf(qelFRegion(qelRect(1, 2, 11, 22))));
  EXPECT_EQ("Region(Rect((1, 2), (11, 22)), W: 10, H; 20)|\n",
            DumpOf(qelSERegion(qelRect(1, 2, 11, 22))));
}

TEST(RegionLogAppend, DumpsSeveralRectanglesByLine) {
  qelFRegion region(qelRect(0, 0, 1, 1));
  region.Union(qelRect(8, 8, 10, 10));
  EXPECT_EQ("Begin region dump, extents: Rect((0, 0), (10, 10)), W: 10, H; 10\n"
            "      Rect((0, 0), (1, 1)), W: 1, H; 1\n"
            "      Rect((8, 8), (10, 10)), W: 2, H; 2\n"
            "End region dump.\n|\n",
            DumpOf(region));
}

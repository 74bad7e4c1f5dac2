#include <qel/geometry/qelFRegion.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/core/qelMem.h>
#include <tests/geometry/Areas.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

Fields Of(int left, int top, int right, int bottom) {
  return {left, top, right, bottom};
}

// Gives the region these rectangles as they are, without any order.
void SetRects(qelFRegion* region, const std::vector<qelRect>& rects) {
  region->count = static_cast<int>(rects.size());
  region->capacity = region->count + 1;
  region->rects = static_cast<qelRect*>(
      qelMem_Realloc(region->rects, static_cast<size_t>(region->capacity) * sizeof(qelRect)));
  std::copy(rects.begin(), rects.end(), region->rects);
  qelFRegion_SetExtents(region);
}

qelFRegion RandomRegion(Series* series, int n, int side, int most) {
  qelFRegion region;
  for (int i = 0; i != n; ++i)
    region.Union(series->Rect(side, most));
  return region;
}

bool IsSame(const qelFRegion& a, const qelFRegion& b) {
  return RectsOf(a) == RectsOf(b) && FieldsOf(a.extents) == FieldsOf(b.extents);
}

// Counts the allocations of the sweep and makes one of them fail.
class Allocations {
public:
  explicit Allocations(int failing = -1) {
    s_calls = 0;
    s_failing = failing;
    qelFRegion_SetReallocForTest(&Reallocate);
  }
  ~Allocations() { qelFRegion_SetReallocForTest(nullptr); }
  int Calls() const { return s_calls; }
  bool HasFailed() const { return s_failing >= 0 && s_calls > s_failing; }

private:
  static void* Reallocate(void* block, size_t size) {
    return s_calls++ == s_failing ? nullptr : realloc(block, size);
  }
  static int s_calls;
  static int s_failing; // -1: none
};

int Allocations::s_calls = 0;
int Allocations::s_failing = -1;

} // namespace

TEST(RectView, ShowsARectangleInPlace) {
  const qelFRegionRectView view(qelRect(1, 2, 3, 4));
  const qelFRegion& region = view.Region();
  EXPECT_EQ(&region.extents, region.rects);
  EXPECT_EQ(1, region.count);
  EXPECT_EQ(Of(1, 2, 3, 4), FieldsOf(region.rects[0]));
}

//===-- The sweep ---------------------------------------------------------===//

namespace {

struct Call {
  char who; // 'a', 'b': only that operand has a band; '2': both have
  int n;    // rectangles in the band or bands
  int top, bottom;
  bool operator==(const Call& other) const {
    return who == other.who && n == other.n && top == other.top && bottom == other.bottom;
  }
};

void PrintTo(const Call& call, std::ostream* out) {
  *out << call.who << call.n << ": " << call.top << ".." << call.bottom;
}

std::vector<Call> g_calls;

int NoteA(qelFRegion*, const qelRect* first, const qelRect* end, int top, int bottom) {
  g_calls.push_back({'a', static_cast<int>(end - first), top, bottom});
  return 0;
}

int NoteB(qelFRegion*, const qelRect* first, const qelRect* end, int top, int bottom) {
  g_calls.push_back({'b', static_cast<int>(end - first), top, bottom});
  return 0;
}

int NoteBoth(qelFRegion*, const qelRect* a, const qelRect* aEnd, const qelRect* b,
             const qelRect* bEnd, int top, int bottom) {
  g_calls.push_back({'2', static_cast<int>(aEnd - a + (bEnd - b)), top, bottom});
  return 0;
}

std::vector<Call> CallsOf(const qelFRegion& a, const qelFRegion& b, qelFRegion_NonOverlap onlyA,
                          qelFRegion_NonOverlap onlyB) {
  g_calls.clear();
  qelFRegion result;
  qelFRegion_Op(&result, &a, &b, &NoteBoth, onlyA, onlyB);
  EXPECT_EQ(0, result.count);
  EXPECT_EQ(1, result.capacity);
  EXPECT_NE(nullptr, result.rects);
  return g_calls;
}

} // namespace

TEST(FRegionOp, CallsByRangesOfRows) {
  qelFRegion a, b;
  SetRects(&a, {{0, 0, 1, 10}, {2, 0, 3, 10}, {0, 20, 1, 30}, {0, 40, 1, 50}, {0, 60, 1, 70}});
  SetRects(&b, {{0, 5, 1, 25}, {0, 30, 1, 35}, {0, 45, 1, 48}});
  EXPECT_THAT(CallsOf(a, b, &NoteA, &NoteB),
              ElementsAre(Call{'a', 2, 0, 5}, Call{'2', 3, 5, 10}, Call{'b', 1, 10, 20},
                          Call{'2', 2, 20, 25}, Call{'a', 1, 25, 30}, Call{'b', 1, 30, 35},
                          Call{'a', 1, 40, 45}, Call{'2', 2, 45, 48}, Call{'a', 1, 48, 50},
                          Call{'a', 1, 60, 70}));
  EXPECT_THAT(CallsOf(a, b, nullptr, &NoteB),
              ElementsAre(Call{'2', 3, 5, 10}, Call{'b', 1, 10, 20}, Call{'2', 2, 20, 25},
                          Call{'b', 1, 30, 35}, Call{'2', 2, 45, 48}));
  EXPECT_THAT(CallsOf(b, a, &NoteA, nullptr),
              ElementsAre(Call{'2', 3, 5, 10}, Call{'a', 1, 10, 20}, Call{'2', 2, 20, 25},
                          Call{'a', 1, 30, 35}, Call{'2', 2, 45, 48}));
}

TEST(FRegionOp, CallsOnlyTheOneThatIsLeftOverAnEmptyOperand) {
  qelFRegion a, b;
  SetRects(&b, {{0, 5, 1, 25}, {0, 30, 1, 35}});
  b.extents.top = 5;
  EXPECT_THAT(CallsOf(a, b, &NoteA, &NoteB),
              ElementsAre(Call{'b', 1, 5, 25}, Call{'b', 1, 30, 35}));
  EXPECT_THAT(CallsOf(a, b, &NoteA, nullptr), IsEmpty());
}

//===-- Coalescing --------------------------------------------------------===//

TEST(FRegionCoalesce, MergesTheLastBand) {
  qelFRegion region;
  SetRects(&region, {{9, 0, 10, 1}, {0, 1, 2, 4}, {5, 1, 7, 4}, {0, 4, 2, 6}, {5, 4, 7, 6}});
  EXPECT_EQ(1, qelFRegion_Coalesce(&region, 1, 3));
  EXPECT_THAT(RectsOf(region), ElementsAre(Of(9, 0, 10, 1), Of(0, 1, 2, 6), Of(5, 1, 7, 6)));
}

TEST(FRegionCoalesce, MovesTheBandsBehindDown) {
  qelFRegion region;
  SetRects(&region, {{0, 0, 2, 4}, {0, 4, 2, 6}, {0, 7, 2, 8}, {0, 9, 2, 10}, {4, 9, 5, 10}});
  EXPECT_EQ(3, qelFRegion_Coalesce(&region, 0, 1)); // where the last band was
  EXPECT_THAT(RectsOf(region),
              ElementsAre(Of(0, 0, 2, 6), Of(0, 7, 2, 8), Of(0, 9, 2, 10), Of(4, 9, 5, 10)));
}

TEST(FRegionCoalesce, KeepsBandsThatDiffer) {
  struct Row {
    const char* what;
    std::vector<qelRect> rects;
    int prevStart, curStart, result;
  };
  const Row rows[] = {
      {"other right", {{0, 0, 2, 4}, {0, 4, 3, 6}}, 0, 1, 1},
      {"other left", {{0, 0, 2, 4}, {1, 4, 2, 6}}, 0, 1, 1},
      {"a gap between", {{0, 0, 2, 4}, {0, 5, 2, 6}}, 0, 1, 1},
      {"more rectangles", {{0, 0, 2, 4}, {0, 4, 2, 6}, {4, 4, 5, 6}}, 0, 1, 1},
      {"fewer rectangles", {{0, 0, 2, 4}, {4, 0, 5, 4}, {0, 4, 2, 6}}, 0, 2, 2},
      {"the first band", {{0, 0, 2, 4}}, 0, 0, 0},
      {"no band", {{0, 0, 2, 4}}, 0, 1, 1},
      {"others behind", {{0, 0, 2, 4}, {0, 5, 2, 6}, {0, 8, 1, 9}, {3, 8, 4, 9}}, 0, 1, 2},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    qelFRegion region;
    SetRects(&region, row.rects);
    const std::vector<Fields> before = RectsOf(region);
    EXPECT_EQ(row.result, qelFRegion_Coalesce(&region, row.prevStart, row.curStart));
    EXPECT_EQ(before, RectsOf(region));
  }
}

//===-- The functions of the sweep ----------------------------------------===//

TEST(FRegionUnionNonOverlap, AddsTheBandWithTheGivenRows) {
  const qelRect band[] = {{0, 0, 1, 9}, {3, 0, 5, 9}};
  for (auto add : {&qelFRegion_UnionNonOverlap, &qelFRegion_SubtractNonOverlap}) {
    qelFRegion region;
    EXPECT_EQ(0, add(&region, band, band + 2, 4, 6));
    EXPECT_THAT(RectsOf(region), ElementsAre(Of(0, 4, 1, 6), Of(3, 4, 5, 6)));
  }
}

TEST(FRegionUnionNonOverlap, GrowsAsIfRectangleByRectangle) {
  const std::vector<qelRect> band(40);
  for (int n = 0; n <= 40; ++n) {
    qelFRegion region;
    int capacity = 1;
    for (int count = 0; count != n; ++count) {
      if (count >= capacity - 1)
        capacity *= 2;
    }
    EXPECT_EQ(0, qelFRegion_UnionNonOverlap(&region, band.data(), band.data() + n, 0, 1));
    EXPECT_EQ(capacity, region.capacity) << n;
    EXPECT_EQ(n, region.count);
  }
}

TEST(FRegionUnionOverlap, MergesInOrderOfLeft) {
  const qelRect a[] = {{0, 0, 2, 9}, {10, 0, 12, 9}, {20, 0, 30, 9}};
  const qelRect b[] = {{2, 0, 3, 9}, {5, 0, 11, 9}, {21, 0, 22, 9}, {40, 0, 41, 9}};
  qelFRegion region;
  EXPECT_EQ(0, qelFRegion_UnionOverlap(&region, a, a + 3, b, b + 4, 1, 2));
  EXPECT_THAT(RectsOf(region),
              ElementsAre(Of(0, 1, 3, 2), Of(5, 1, 12, 2), Of(20, 1, 30, 2), Of(40, 1, 41, 2)));
}

TEST(FRegionUnionOverlap, FusesOnlyWithinItsRows) {
  qelFRegion region;
  SetRects(&region, {{0, 0, 9, 1}});
  const qelRect a[] = {{0, 0, 2, 9}};
  EXPECT_EQ(0, qelFRegion_UnionOverlap(&region, a, a + 1, a, a + 1, 1, 2));
  EXPECT_EQ(0, qelFRegion_UnionOverlap(&region, a, a + 1, a, a + 1, 1, 3)); // the same top alone
  EXPECT_THAT(RectsOf(region), ElementsAre(Of(0, 0, 9, 1), Of(0, 1, 2, 2), Of(0, 1, 2, 3)));
}

TEST(FRegionIntersectOverlap, StepsTheOneThatEndsFirst) {
  const qelRect a[] = {{0, 0, 10, 9}, {20, 0, 30, 9}, {40, 0, 50, 9}};
  const qelRect b[] = {{2, 0, 3, 9}, {5, 0, 22, 9}, {25, 0, 30, 9}, {30, 0, 40, 9}};
  qelFRegion region;
  EXPECT_EQ(0, qelFRegion_IntersectOverlap(&region, a, a + 3, b, b + 4, 1, 2));
  EXPECT_THAT(RectsOf(region),
              ElementsAre(Of(2, 1, 3, 2), Of(5, 1, 10, 2), Of(20, 1, 22, 2), Of(25, 1, 30, 2)));
}

TEST(FRegionSubtractOverlap, CutsByTheBand) {
  struct Row {
    const char* what;
    std::vector<qelRect> a, b;
    std::vector<Fields> left;
  };
  const Row rows[] = {
      {"before", {{5, 0, 9, 9}}, {{0, 0, 5, 9}}, {{5, 1, 9, 2}}},
      {"behind", {{5, 0, 9, 9}}, {{9, 0, 12, 9}}, {{5, 1, 9, 2}}},
      {"the left end", {{5, 0, 9, 9}}, {{0, 0, 6, 9}}, {{6, 1, 9, 2}}},
      {"the right end", {{5, 0, 9, 9}}, {{8, 0, 12, 9}}, {{5, 1, 8, 2}}},
      {"the middle", {{5, 0, 9, 9}}, {{6, 0, 8, 9}}, {{5, 1, 6, 2}, {8, 1, 9, 2}}},
      {"all", {{5, 0, 9, 9}}, {{5, 0, 9, 9}}, {}},
      {"more than all", {{5, 0, 9, 9}}, {{0, 0, 12, 9}}, {}},
      {"several at once",
       {{0, 0, 3, 9}, {5, 0, 8, 9}, {9, 0, 12, 9}},
       {{2, 0, 10, 9}},
       {{0, 1, 2, 2}, {10, 1, 12, 2}}},
      {"one by several",
       {{0, 0, 12, 9}},
       {{0, 0, 1, 9}, {4, 0, 5, 9}, {11, 0, 13, 9}},
       {{1, 1, 4, 2}, {5, 1, 11, 2}}},
      {"the rest whole",
       {{0, 0, 3, 9}, {5, 0, 8, 9}, {9, 0, 12, 9}},
       {{1, 0, 2, 9}},
       {{0, 1, 1, 2}, {2, 1, 3, 2}, {5, 1, 8, 2}, {9, 1, 12, 2}}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    qelFRegion region;
    EXPECT_EQ(0, qelFRegion_SubtractOverlap(&region, row.a.data(), row.a.data() + row.a.size(),
                                            row.b.data(), row.b.data() + row.b.size(), 1, 2));
    EXPECT_EQ(row.left, RectsOf(region));
  }
}

TEST(FRegionSetExtents, FindsTheBoundingBox) {
  qelFRegion region;
  region.extents = qelRect(1, 1, 1, 1);
  qelFRegion_SetExtents(&region);
  EXPECT_EQ(Of(0, 0, 0, 0), FieldsOf(region.extents));
  SetRects(&region, {{5, -3, 6, 0}, {2, 0, 3, 4}, {8, 0, 20, 4}, {4, 4, 5, 9}});
  EXPECT_EQ(Of(2, -3, 20, 9), FieldsOf(region.extents));
}

TEST(FRegionCopyInto, GrowsToExactlyTheSource) {
  qelFRegion source, destination;
  SetRects(&source, {{0, 0, 1, 1}, {2, 0, 3, 1}, {4, 0, 5, 1}});
  qelFRegion_Copy(&destination, &source);
  EXPECT_EQ(3, destination.capacity);
  EXPECT_TRUE(IsSame(source, destination));
  source.Empty();
  qelFRegion_Copy(&destination, &source);
  EXPECT_EQ(0, destination.count);
  EXPECT_EQ(3, destination.capacity);
  qelFRegion_Copy(&source, &source);
  EXPECT_EQ(4, source.capacity);
}

//===-- Against painted areas ---------------------------------------------===//

TEST(FRegionModel, AgreesWithAPaintedGridStepByStep) {
  Series series(20);
  for (int round = 0; round != 60; ++round) {
    qelFRegion region;
    Grid::Cells cells;
    for (int step = 0; step != 60; ++step) {
      const int kind = series.Below(8);
      const qelFRegion other = RandomRegion(&series, 1 + series.Below(6), Grid::kSide, 12);
      const Grid::Cells otherCells = Grid::Paint(other);
      if (kind < 4) {
        region.Union(other);
        cells |= otherCells;
      } else if (kind < 7) {
        region.Subtract(other);
        cells &= ~otherCells;
      } else {
        cells &= otherCells;
        EXPECT_EQ(cells.any(), region.Intersect(other));
      }
      ASSERT_EQ("", Fault(region)) << "round " << round << ", step " << step;
      ASSERT_EQ(cells, Grid::Paint(region)) << "round " << round << ", step " << step;
    }
  }
}

TEST(FRegionModel, GivesOneFormForOneArea) {
  Series series(21);
  for (int round = 0; round != 300; ++round) {
    std::vector<qelRect> rects;
    for (int i = 0; i != 12; ++i)
      rects.push_back(series.Rect(Grid::kSide, 9));
    qelFRegion forth, back;
    for (size_t i = 0; i != rects.size(); ++i) {
      forth.Union(rects[i]);
      back.Union(rects[rects.size() - 1 - i]);
    }
    ASSERT_TRUE(IsSame(forth, back)) << round;
  }
}

namespace {

typedef std::function<void(const qelFRegion*, const qelFRegion*, qelFRegion*)> Into;

struct Operation {
  const char* name;
  Into run;
  std::function<Grid::Cells(const Grid::Cells&, const Grid::Cells&)> model;
};

const Operation kOperations[] = {
    {"union", &qelFRegion_UnionInto,
     [](const Grid::Cells& a, const Grid::Cells& b) { return a | b; }},
    {"intersection",
     [](const qelFRegion* a, const qelFRegion* b, qelFRegion* result) {
       const bool isLeft = qelFRegion_IntersectInto(a, b, result);
       EXPECT_EQ(result->capacity != 0 && result->count != 0, isLeft);
     },
     [](const Grid::Cells& a, const Grid::Cells& b) { return a & b; }},
    {"subtraction", &qelFRegion_SubtractInto,
     [](const Grid::Cells& a, const Grid::Cells& b) { return a & ~b; }},
};

} // namespace

TEST(FRegionModel, AgreesForSeparateResultsAndForResultsThatAreOperands) {
  Series series(22);
  for (int round = 0; round != 500; ++round) {
    const qelFRegion a = RandomRegion(&series, series.Below(8), Grid::kSide, 16);
    const qelFRegion b = RandomRegion(&series, series.Below(8), Grid::kSide, 16);
    const Grid::Cells cellsA = Grid::Paint(a), cellsB = Grid::Paint(b);
    for (const Operation& operation : kOperations) {
      SCOPED_TRACE(testing::Message() << operation.name << ", round " << round);
      qelFRegion result = RandomRegion(&series, series.Below(5), Grid::kSide, 16);
      operation.run(&a, &b, &result);
      ASSERT_EQ("", Fault(result));
      ASSERT_EQ(operation.model(cellsA, cellsB), Grid::Paint(result));
      ASSERT_EQ(cellsA, Grid::Paint(a));
      ASSERT_EQ(cellsB, Grid::Paint(b));

      qelFRegion inA(a), inB(b), both(a);
      operation.run(&inA, &b, &inA);
      ASSERT_TRUE(IsSame(result, inA));
      operation.run(&a, &inB, &inB);
      ASSERT_TRUE(IsSame(result, inB));
      operation.run(&both, &both, &both);
      ASSERT_EQ("", Fault(both));
      ASSERT_EQ(operation.model(cellsA, cellsA), Grid::Paint(both));
    }
  }
}

namespace {

// A larger grid, for many rectangles.
class Field {
public:
  static constexpr int kSide = 256;
  void Set(const qelRect& rect, bool value) {
    for (int y = rect.top; y != rect.bottom; ++y)
      std::memset(&m_cells[static_cast<size_t>(y * kSide + rect.left)], value,
                  static_cast<size_t>(rect.Width()));
  }
  bool IsExactly(const qelFRegion& region) const {
    Field other;
    for (int i = 0; i != region.count; ++i)
      other.Set(region.rects[i], true);
    return m_cells == other.m_cells;
  }

private:
  std::vector<char> m_cells = std::vector<char>(kSide * kSide, 0);
};

} // namespace

TEST(FRegionModel, HoldsTenThousandRectangles) {
  Series series(23);
  qelFRegion region;
  Field field;
  for (int i = 0; i != 10000; ++i) {
    const int cell = i * 7919 % 10000; // each of 100 by 100 cells once, without order
    const int x = cell % 100 * 2, y = cell / 100 * 2;
    const qelRect rect(x, y, x + 1, y + 1);
    region.Union(rect);
    field.Set(rect, true);
    if (i % 500 == 499) {
      ASSERT_EQ("", Fault(region)) << i;
      ASSERT_TRUE(field.IsExactly(region)) << i;
      ASSERT_EQ(i + 1, region.count);
    }
  }
  ASSERT_EQ(10000, region.count);
  for (int i = 0; i != 2000; ++i) {
    const qelRect rect = series.Rect(Field::kSide, 12);
    if (i % 2 == 0)
      region.Union(rect);
    else
      region.Subtract(rect);
    field.Set(rect, i % 2 == 0);
    if (i % 100 == 99) {
      ASSERT_EQ("", Fault(region)) << i;
      ASSERT_TRUE(field.IsExactly(region)) << i;
    }
  }
  qelFRegion all(qelRect(0, 0, Field::kSide, Field::kSide));
  all.Subtract(region);
  EXPECT_EQ("", Fault(all));
  qelFRegion common(all);
  EXPECT_FALSE(common.Intersect(region));
  all.Union(region);
  EXPECT_THAT(RectsOf(all), ElementsAre(Of(0, 0, Field::kSide, Field::kSide)));
}

TEST(FRegionModel, SurvivesRectanglesWithoutAreaAndSwappedCorners) {
  Series series(24);
  const int extreme[] = {INT_MIN, -1, 0, 1, 2, 3, 4, INT_MAX};
  for (int round = 0; round != 400; ++round) {
    qelFRegion region;
    for (int step = 0; step != 30; ++step) {
      const qelRect rect(extreme[series.Below(8)], extreme[series.Below(8)],
                         extreme[series.Below(8)], extreme[series.Below(8)]);
      switch (series.Below(5)) {
      case 0:
        region.Subtract(rect);
        break;
      case 1:
        region.Intersect(rect);
        break;
      default:
        region.Union(rect);
        break;
      }
      ASSERT_GE(region.count, 0);
      ASSERT_GE(region.capacity, std::max(region.count, 1));
      ASSERT_NE(nullptr, region.rects);
    }
  }
}

//===-- Cost and failed allocations ---------------------------------------===//

TEST(FRegionAllocations, AreNotNeededForTheShortWays) {
  qelFRegion region(qelRect(0, 0, 10, 10));
  const qelFRegion same(region), far(qelRect(10, 0, 20, 10)), empty;
  Allocations allocations;
  region.Union(region);
  region.Union(same);
  region.Union(empty);
  region.Union(qelRect(2, 2, 4, 4));
  region.Union(qelRect(-1, -1, 11, 11));
  region.Subtract(qelRect(11, -1, 20, 10));
  region.Subtract(empty);
  EXPECT_THAT(RectsOf(region), ElementsAre(Of(-1, -1, 11, 11)));
  region.Intersect(qelRect(11, -1, 20, 10));
  region.Union(far);
  EXPECT_EQ(0, allocations.Calls());
}

namespace {

// Neither operand covers the other; the results take many doublings.
void MakeOperands(qelFRegion* a, qelFRegion* b) {
  for (int i = 0; i != 8; ++i) {
    a->Union(qelRect(i * 4, 0, i * 4 + 2, 40));
    b->Union(qelRect(1, i * 4 + 1, 50, i * 4 + 3));
  }
}

// True when nothing is held, as memory that ran out leaves a region.
bool HasGivenUp(const qelFRegion& region) {
  return region.count == 0 && region.capacity == 0 && region.rects == nullptr &&
         FieldsOf(region.extents) == Fields{0, 0, 0, 0};
}

} // namespace

TEST(FRegionAllocations, LeaveAnEmptyUsableResultWhenOneFails) {
  qelFRegion a, b;
  MakeOperands(&a, &b);
  for (const Operation& operation : kOperations) {
    qelFRegion expected;
    operation.run(&a, &b, &expected);
    for (int form = 0; form != 3; ++form) { // a result of its own, a, or b
      int givenUp = 0;
      for (int failing = 0;; ++failing) {
        SCOPED_TRACE(testing::Message() << operation.name << ", form " << form << ", " << failing);
        qelFRegion mineA(a), mineB(b), mine(qelRect(7, 7, 8, 8));
        qelFRegion* result = form == 0 ? &mine : form == 1 ? &mineA : &mineB;
        bool hasFailed;
        {
          Allocations allocations(failing);
          operation.run(&mineA, &mineB, result);
          hasFailed = allocations.HasFailed();
        }
        if (HasGivenUp(*result))
          ++givenUp;
        else
          ASSERT_TRUE(IsSame(expected, *result)); // only the array was to be cut to size
        ASSERT_TRUE(form == 1 || IsSame(a, mineA));
        ASSERT_TRUE(form == 2 || IsSame(b, mineB));
        operation.run(&a, &b, result);
        ASSERT_TRUE(IsSame(expected, *result));
        ASSERT_EQ("", Fault(*result));
        if (!hasFailed)
          break;
      }
      EXPECT_GE(givenUp, 3);
    }
  }
}

TEST(FRegionAllocations, LeaveEachClassOperationEmptyWhenOneFails) {
  qelFRegion a, b;
  MakeOperands(&a, &b);
  const std::function<void(qelFRegion*)> operations[] = {
      [&](qelFRegion* region) { region->Union(b); },
      [&](qelFRegion* region) { EXPECT_FALSE(region->Intersect(b)); },
      [&](qelFRegion* region) { region->Subtract(b); },
      [&](qelFRegion* region) { region->Union(qelRect(-5, 5, 3, 7)); },
      [&](qelFRegion* region) { region->Subtract(*region); },
  };
  for (const auto& operation : operations) {
    qelFRegion region(a);
    {
      const Allocations allocations(0);
      operation(&region);
    }
    EXPECT_TRUE(HasGivenUp(region));
    EXPECT_TRUE(region.IsEmpty());
    EXPECT_TRUE(qelFRegion(region).IsEmpty());
    region.Subtract(b);
    EXPECT_FALSE(region.Intersect(b));
    region.Union(b);
    EXPECT_TRUE(IsSame(b, region));
  }
}

TEST(FRegionAllocations, KeepTheLargerArrayWhenItCannotBeCut) {
  qelFRegion region(qelRect(0, 0, 10, 10));
  {
    const Allocations allocations(2); // the array, its doubling, the cut
    region.Union(qelRect(0, 10, 10, 20));
    EXPECT_TRUE(allocations.HasFailed());
  }
  EXPECT_THAT(RectsOf(region), ElementsAre(Of(0, 0, 10, 20)));
  EXPECT_EQ(4, region.capacity);
  EXPECT_EQ("", Fault(region));
}

TEST(FRegionAllocations, LeaveACopyEmptyWhenOneFails) {
  qelFRegion source, destination(qelRect(0, 0, 1, 1));
  SetRects(&source, {{0, 0, 1, 1}, {2, 0, 3, 1}});
  {
    const Allocations allocations(0);
    qelFRegion_Copy(&destination, &source);
  }
  EXPECT_TRUE(HasGivenUp(destination));
  destination = source;
  EXPECT_TRUE(IsSame(source, destination));
}

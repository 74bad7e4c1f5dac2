#include <qel/geometry/Point.h>

#include <climits>
#include <type_traits>

#include <gtest/gtest.h>

static_assert(std::is_trivially_copyable<qelPoint>::value, "a plain value");

#define EXPECT_POINT(point, column, row)                                                           \
  do {                                                                                             \
    const qelPoint point_ = (point);                                                               \
    EXPECT_EQ(column, point_.x);                                                                   \
    EXPECT_EQ(row, point_.y);                                                                      \
  } while (0)

TEST(PointMake, StartsAtTheOrigin) {
  EXPECT_POINT(qelPoint(), 0, 0);
}

TEST(PointMake, TakesTheColumnFirst) {
  EXPECT_POINT(qelPoint(3, -4), 3, -4);
}

TEST(PointMake, IsTwoIntsWithoutMore) {
  EXPECT_EQ(2 * sizeof(int), sizeof(qelPoint));
  const qelPoint point(7, 9);
  EXPECT_EQ(7, reinterpret_cast<const int*>(&point)[0]);
}

TEST(PointAssign, Copies) {
  qelPoint point(1, 1);
  const qelPoint other(5, 6);
  EXPECT_EQ(&point, &(point = other));
  EXPECT_POINT(point, 5, 6);
}

TEST(PointArithmetic, AddsAndSubtractsByComponent) {
  qelPoint point(1, 2);
  EXPECT_EQ(&point, &(point += qelPoint(10, 20)));
  EXPECT_POINT(point, 11, 22);
  EXPECT_EQ(&point, &(point -= qelPoint(1, 30)));
  EXPECT_POINT(point, 10, -8);
  EXPECT_POINT(qelPoint(1, 2) + qelPoint(3, -5), 4, -3);
  EXPECT_POINT(qelPoint(1, 2) - qelPoint(3, -5), -2, 7);
}

TEST(PointArithmetic, AddsAPointToItself) {
  qelPoint point(3, 4);
  point += point;
  EXPECT_POINT(point, 6, 8);
  point -= point;
  EXPECT_POINT(point, 0, 0);
}

TEST(PointArithmetic, MultipliesBothComponents) {
  qelPoint point(2, -3);
  EXPECT_EQ(&point, &(point *= 4));
  EXPECT_POINT(point, 8, -12);
  EXPECT_POINT(qelPoint(2, -3) * -1, -2, 3);
}

TEST(PointArithmetic, DividesTowardZero) {
  qelPoint point(7, -7);
  EXPECT_EQ(&point, &(point /= 2));
  EXPECT_POINT(point, 3, -3);
  EXPECT_POINT(qelPoint(7, -7) / -2, -3, 3);
  EXPECT_POINT(qelPoint(1, -1) / 2, 0, 0);
}

TEST(PointArithmetic, NegatesBothComponents) {
  EXPECT_POINT(-qelPoint(2, -3), -2, 3);
  EXPECT_POINT(-qelPoint(INT_MAX, 0), -INT_MAX, 0);
}

TEST(PointEquality, NeedsBothComponents) {
  EXPECT_TRUE(qelPoint(1, 2) == qelPoint(1, 2));
  EXPECT_FALSE(qelPoint(1, 2) == qelPoint(1, 3));
  EXPECT_FALSE(qelPoint(1, 2) == qelPoint(0, 2));
  EXPECT_FALSE(qelPoint(1, 2) != qelPoint(1, 2));
  EXPECT_TRUE(qelPoint(1, 2) != qelPoint(1, 3));
  EXPECT_TRUE(qelPoint(1, 2) != qelPoint(0, 2));
}

TEST(PointOrder, IsPartial) {
  struct Row {
    qelPoint a, b;
    bool less, greater, atMost, atLeast;
  };
  const Row rows[] = {
      {{1, 2}, {2, 3}, true, false, true, false},   {{2, 3}, {1, 2}, false, true, false, true},
      {{1, 5}, {2, 3}, false, false, false, false}, {{2, 3}, {1, 5}, false, false, false, false},
      {{1, 2}, {1, 3}, false, false, true, false},  {{1, 2}, {2, 2}, false, false, true, false},
      {{1, 3}, {1, 2}, false, false, false, true},  {{1, 2}, {1, 2}, false, false, true, true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "(" << row.a.x << ", " << row.a.y << ") and (" << row.b.x
                                    << ", " << row.b.y << ")");
    EXPECT_EQ(row.less, row.a < row.b);
    EXPECT_EQ(row.greater, row.a > row.b);
    EXPECT_EQ(row.atMost, row.a <= row.b);
    EXPECT_EQ(row.atLeast, row.a >= row.b);
  }
}

TEST(PointLess, IsLexicographic) {
  EXPECT_TRUE(qelPoint(1, 5).Less(qelPoint(2, 3)));
  EXPECT_FALSE(qelPoint(2, 3).Less(qelPoint(1, 5)));
  EXPECT_TRUE(qelPoint(1, 2).Less(qelPoint(1, 3)));
  EXPECT_FALSE(qelPoint(1, 3).Less(qelPoint(1, 2)));
  EXPECT_FALSE(qelPoint(1, 2).Less(qelPoint(1, 2)));
  EXPECT_TRUE(qelPoint(INT_MIN, 0).Less(qelPoint(INT_MAX, 0)));
}

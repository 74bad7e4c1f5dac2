#ifndef QEL_GEOMETRY_POINT_H
#define QEL_GEOMETRY_POINT_H
//===----------------------------------------------------------------------===//
// qelPoint, a pair of whole numbers in the plane.
//
// The operators <, >, <= and >= are a partial order: both components must
// compare so. Sort with Less, which is lexicographic.
//
// ERRORS: none. REQUIRES: a result fits in an int, and no divisor is 0.
// THREADS: a plain value.
//===----------------------------------------------------------------------===//

#include <qel/core/Export.h>

struct QEL_EXPORT qelPoint {
  int x; // column
  int y; // row

  constexpr qelPoint() : x(0), y(0) {}
  constexpr qelPoint(int column, int row) : x(column), y(row) {}
  constexpr qelPoint(const qelPoint&) = default;
  qelPoint& operator=(const qelPoint&) = default;

  // Component by component.
  qelPoint& operator+=(const qelPoint& other);
  qelPoint& operator-=(const qelPoint& other);

  // Each component; a division truncates toward zero.
  qelPoint& operator*=(int factor);
  qelPoint& operator/=(int divisor);
  qelPoint operator*(int factor) const;
  qelPoint operator/(int divisor) const;

  // Both components negated.
  qelPoint operator-() const;

  // A total order: x decides, and y among points of the same x.
  bool Less(const qelPoint& other) const;
};

constexpr qelPoint operator+(const qelPoint& a, const qelPoint& b) {
  return qelPoint(a.x + b.x, a.y + b.y);
}
constexpr qelPoint operator-(const qelPoint& a, const qelPoint& b) {
  return qelPoint(a.x - b.x, a.y - b.y);
}

constexpr bool operator==(const qelPoint& a, const qelPoint& b) {
  return a.x == b.x && a.y == b.y;
}
constexpr bool operator!=(const qelPoint& a, const qelPoint& b) {
  return !(a == b);
}

// INTENDED: two points may be neither less, greater nor equal, as (1, 5) and (2, 3) are: "less" means
// above and to the left. Pinned by PointOrder.IsPartial.
constexpr bool operator<(const qelPoint& a, const qelPoint& b) {
  return a.x < b.x && a.y < b.y;
}
constexpr bool operator>(const qelPoint& a, const qelPoint& b) {
  return a.x > b.x && a.y > b.y;
}
constexpr bool operator<=(const qelPoint& a, const qelPoint& b) {
  return a.x <= b.x && a.y <= b.y;
}
constexpr bool operator>=(const qelPoint& a, const qelPoint& b) {
  return a.x >= b.x && a.y >= b.y;
}

#endif

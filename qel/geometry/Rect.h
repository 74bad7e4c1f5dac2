#ifndef QEL_GEOMETRY_RECT_H
#define QEL_GEOMETRY_RECT_H
//===----------------------------------------------------------------------===//
// qelRect, a rectangle of whole numbers: two corners.
//
//   (left, top) ------+      left and top lie inside, right and bottom are one
//        |            |      past the last column and row. Nothing requires that
//        +---- (right, bottom)     left does not exceed right, or top bottom.
//
// Several operations differ from what their names suggest (IsEmpty, Union,
// Subtract, ==); each tells how. For exact areas there is qelFRegion.
//
// ERRORS: none. REQUIRES: a coordinate that is computed fits in an int, and no
// divisor is 0.
// THREADS: a plain value.
//===----------------------------------------------------------------------===//

#include <qel/core/Export.h>
#include <qel/geometry/Point.h>

struct QEL_EXPORT qelRect {
  int left;   // first column
  int top;    // first row
  int right;  // one past the last column
  int bottom; // one past the last row

  constexpr qelRect() : left(0), top(0), right(0), bottom(0) {}
  constexpr qelRect(int fromLeft, int fromTop, int toRight, int toBottom)
      : left(fromLeft), top(fromTop), right(toRight), bottom(toBottom) {}
  constexpr qelRect(const qelPoint& upperLeft, const qelPoint& lowerRight)
      : left(upperLeft.x), top(upperLeft.y), right(lowerRight.x), bottom(lowerRight.y) {}
  constexpr qelRect(const qelRect&) = default;
  qelRect& operator=(const qelRect&) = default;

  // The fields, under two sets of names.
  constexpr int Left() const { return left; }
  constexpr int Top() const { return top; }
  constexpr int Right() const { return right; }
  constexpr int Bottom() const { return bottom; }
  constexpr int GetLeft() const { return left; }
  constexpr int GetTop() const { return top; }
  constexpr int GetRight() const { return right; }
  constexpr int GetBottom() const { return bottom; }

  // Right minus left, bottom minus top. A size beyond an int wraps around, so that a rectangle over the
  // whole plane can be logged.
  constexpr int Width() const { return Distance(left, right); }
  constexpr int GetWidth() const { return Width(); }
  constexpr int Height() const { return Distance(top, bottom); }
  constexpr int GetHeight() const { return Height(); }

  constexpr qelPoint UpperLeft() const { return qelPoint(left, top); }
  constexpr qelPoint LowerRight() const { return qelPoint(right, bottom); }

  // True only when both the width and the height are 0.
  // INTENDED: a line, without width but of some height, is not empty. Pinned by
  // RectIsEmpty.IsFalseForALine.
  constexpr bool IsEmpty() const { return left == right && top == bottom; }

  // Sets all four fields to 0.
  void Empty();

  constexpr bool Contains(const qelPoint& point) const {
    return left <= point.x && point.x < right && top <= point.y && point.y < bottom;
  }

  // Cuts this rectangle down to what it has in common with the other one. False when that is nothing,
  // as for two that merely touch; all fields are 0 then.
  bool Intersect(const qelRect& other);

  // Becomes the bounding box of both; an empty one (IsEmpty) becomes the other.
  // INTENDED: the other is not tested, so the union with an empty qelRect() stretches this one to the
  // origin. Pinned by RectUnion.StretchesToTheOriginForAnEmptyOther.
  void Union(const qelRect& other);

  // Cuts the other rectangle off where it spans this one's whole width, else where it spans the whole
  // height; does nothing elsewhere. What is cut in the middle keeps the part before the cut. What is
  // covered edge to edge ends without width or height, but with other fields than 0.
  // INTENDED: another that reaches beyond both ends of the side to be cut changes nothing, though it
  // covers all. Pinned by RectSubtract.ChangesNothingWhenTheOtherOverhangsBothEnds.
  void Subtract(const qelRect& other);

  // Moves both corners.
  qelRect& operator+=(const qelPoint& distance);
  qelRect& operator-=(const qelPoint& distance);

  // All four fields; a division truncates toward zero.
  qelRect& operator*=(int factor);
  qelRect& operator/=(int divisor);

  // Appends "Rect((left, top), (right, bottom)), W: width, H; height" to the log line that this thread
  // has opened; nothing without one.
  void qelLog_Append() const;

private:
  static constexpr int Distance(int from, int to) {
    return static_cast<int>(static_cast<unsigned>(to) - static_cast<unsigned>(from));
  }
};

constexpr qelRect operator+(const qelRect& rect, const qelPoint& distance) {
  return qelRect(rect.UpperLeft() + distance, rect.LowerRight() + distance);
}
constexpr qelRect operator+(const qelPoint& distance, const qelRect& rect) {
  return rect + distance;
}
constexpr qelRect operator-(const qelRect& rect, const qelPoint& distance) {
  return qelRect(rect.UpperLeft() - distance, rect.LowerRight() - distance);
}

// INTENDED: the rectangle minus the point here too, whatever their order. Pinned by
// RectMove.SubtractsThePointInEitherOrder.
constexpr qelRect operator-(const qelPoint& distance, const qelRect& rect) {
  return rect - distance;
}

// INTENDED: top takes no part, so rectangles that differ only there are equal. Pinned by
// RectEquality.SkipsTop.
constexpr bool operator==(const qelRect& a, const qelRect& b) {
  return a.left == b.left && a.right == b.right && a.bottom == b.bottom;
}
constexpr bool operator!=(const qelRect& a, const qelRect& b) {
  return !(a == b);
}

#endif

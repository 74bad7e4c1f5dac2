#ifndef QEL_TESTS_GEOMETRY_AREAS_H
#define QEL_TESTS_GEOMETRY_AREAS_H
//===----------------------------------------------------------------------===//
// What the tests of regions share: rectangles compared field by field, the
// invariants of the bands, and areas painted on a small grid.
//===----------------------------------------------------------------------===//

#include <algorithm>
#include <array>
#include <bitset>
#include <ostream>
#include <string>
#include <vector>

#include <qel/geometry/FRegion.h>

// A rectangle with an == that compares all fields; qelRect's own skips the top.
using Fields = std::array<int, 4>;

inline Fields FieldsOf(const qelRect& rect) {
  return {rect.left, rect.top, rect.right, rect.bottom};
}

inline std::vector<Fields> RectsOf(const qelRegion& region) {
  std::vector<Fields> all;
  for (int i = 0; i < region.count; ++i)
    all.push_back(FieldsOf(region.rects[i]));
  return all;
}

inline Fields BoxOf(const std::vector<Fields>& rects) {
  if (rects.empty())
    return {0, 0, 0, 0};
  Fields box = rects[0];
  for (const Fields& rect : rects) {
    box[0] = std::min(box[0], rect[0]);
    box[1] = std::min(box[1], rect[1]);
    box[2] = std::max(box[2], rect[2]);
    box[3] = std::max(box[3], rect[3]);
  }
  return box;
}

// The half-open ranges of a band's columns, one behind the other.
inline std::vector<int> ColumnsOf(const std::vector<Fields>& rects, size_t first, size_t end) {
  std::vector<int> columns;
  for (; first != end; ++first)
    columns.insert(columns.end(), {rects[first][0], rects[first][2]});
  return columns;
}

// What breaks the invariants of a region that is made of rectangles with area; "" for nothing.
inline std::string Fault(const qelFRegion& region) {
  const std::vector<Fields> rects = RectsOf(region);
  if (region.capacity < 1 || region.capacity < region.count || region.rects == nullptr)
    return "the array is too small";
  if (FieldsOf(region.extents) != BoxOf(rects))
    return "the extents are not the bounding box";
  std::vector<int> above; // the columns of the band above
  int aboveBottom = 0;
  for (size_t first = 0; first != rects.size();) {
    size_t end = first;
    while (end != rects.size() && rects[end][1] == rects[first][1])
      ++end;
    for (size_t i = first; i != end; ++i) {
      if (rects[i][0] >= rects[i][2] || rects[i][1] >= rects[i][3])
        return "a rectangle has no area";
      if (rects[i][3] != rects[first][3])
        return "a band has two bottoms";
      if (i != first && rects[i - 1][2] >= rects[i][0])
        return "a band has no gap";
    }
    const std::vector<int> columns = ColumnsOf(rects, first, end);
    if (first != 0 && rects[first][1] < aboveBottom)
      return "two bands overlap";
    if (first != 0 && rects[first][1] == aboveBottom && columns == above)
      return "two bands were not merged";
    above = columns;
    aboveBottom = rects[first][3];
    first = end;
  }
  return "";
}

// An area on a grid of 32 by 32 cells.
class Grid {
public:
  static constexpr int kSide = 32;
  using Cells = std::bitset<kSide * kSide>;

  static Cells Paint(const qelRect& rect) {
    Cells cells;
    PaintOn(&cells, rect);
    return cells;
  }
  static Cells Paint(const qelRegion& region) {
    Cells cells;
    for (int i = 0; i < region.count; ++i)
      PaintOn(&cells, region.rects[i]);
    return cells;
  }

private:
  static void PaintOn(Cells* cells, const qelRect& rect) {
    for (int y = rect.top; y < rect.bottom; ++y) {
      for (int x = rect.left; x < rect.right; ++x)
        cells->set(static_cast<size_t>(y * kSide + x));
    }
  }
};

// A series of numbers that is the same on every system.
class Series {
public:
  explicit Series(uint64_t seed) : m_state(seed) {}
  int Below(int limit) {
    m_state = m_state * 6364136223846793005u + 1442695040888963407u;
    return static_cast<int>((m_state >> 33) % static_cast<uint64_t>(limit));
  }
  // A rectangle with an area within side by side, at most `most` wide and high.
  qelRect Rect(int side, int most) {
    const int left = Below(side);
    const int top = Below(side);
    return qelRect(left, top, std::min(left + 1 + Below(most), side),
                   std::min(top + 1 + Below(most), side));
  }

private:
  uint64_t m_state;
};

#endif

#ifndef QEL_GEOMETRY_SEREGION_H
#define QEL_GEOMETRY_SEREGION_H
//===----------------------------------------------------------------------===//
// qelSERegion, the simple region: one rectangle, its extents, that stands for an
// area at no cost in memory. Its operations approximate those of qelFRegion: a
// union is a bounding box, a subtraction happens where the rest is a rectangle.
//
// rects points at the object's own extents, count is 0 or 1. The extents are the
// region; the count is not always kept up, as told below.
//
// OWNERSHIP: owns nothing. A copy points at its own extents.
// ERRORS: none.
// THREADS: one at a time.
//===----------------------------------------------------------------------===//

#include <qel/core/Export.h>
#include <qel/geometry/Region.h>

class QEL_EXPORT qelSERegion : public qelRegion {
public:
  // Empty.
  qelSERegion();

  // The rectangle, or the other region's extents.
  // INTENDED: the count is 1 even for an empty source; IsEmpty still tells. Pinned by
  // SERegionMake.CountsOneForAnEmptySource.
  qelSERegion(const qelRect& rect);
  qelSERegion(const qelRegion& other);

  qelSERegion(const qelSERegion& other);
  qelSERegion& operator=(const qelSERegion& other);

  // The extents become the rectangle, or the other's extents; the count is 0 when they are empty
  // (qelRect::IsEmpty), else 1.
  qelSERegion& operator=(const qelRect& rect);
  qelSERegion& operator=(const qelRegion& other);

  ~qelSERegion() override;

  // qelRect::Union: the bounding box.
  void Union(const qelRect& rect);

  // qelRect::Intersect and its result.
  // INTENDED: the count stays as it is, here and in Subtract. Pinned by
  // SERegionIntersect.LeavesTheCount.
  bool Intersect(const qelRect& rect);

  // qelRect::Subtract.
  void Subtract(const qelRect& rect);

  // Cuts the extents down by each rectangle of the other in turn. False as soon as nothing is left.
  // INTENDED: two rectangles apart from each other leave nothing, though the region meets both; a
  // region without rectangles cuts nothing. Pinned by
  // SERegionIntersect.IsFalseForTwoSeparateRectangles and SERegionIntersect.IgnoresAnEmptyRegion.
  bool Intersect(const qelRegion& other);

  // qelRect::Subtract with each rectangle of the other in turn, while anything is left.
  void Subtract(const qelRegion& other);
};

#endif

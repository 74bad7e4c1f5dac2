#ifndef QEL_GEOMETRY_FREGION_H
#define QEL_GEOMETRY_FREGION_H
//===----------------------------------------------------------------------===//
// qelFRegion, the full region: any area, exactly, as a list of rectangles in
// bands, with exact union, intersection and subtraction.
//
//   +------+                   rects[0]            first band
//   +--+---+----+   +-----+    rects[1], rects[2]  second band
//      +--------+   +-----+
//   +--+                       rects[3]            third band
//
// INVARIANTS, for rectangles with area: rects is sorted by top, then by left.
// Rectangles of the same top are a band and have the same bottom; there is a gap
// between any two of them. Bands do not overlap. Two bands that touch differ in
// their columns. The extents are the exact bounding box, all zero when the count
// is 0. So each area has one form.
//
// COST: linear in the rectangles of both operands; regions far apart, or one
// rectangle around the other region, cost no more than a copy.
// OWNERSHIP: a region owns its array; a copy has its own.
// INVALIDATES: every operation may move the array.
// ERRORS: none is reported. When an operation cannot get memory, the region is
// empty afterwards, with capacity 0, and can be used on. A constructor that gets
// none ends the process ("memory:malloc").
// THREADS: one at a time.
//===----------------------------------------------------------------------===//

#include <qel/core/Export.h>
#include <qel/geometry/Region.h>

class QEL_EXPORT qelFRegion : public qelRegion {
public:
  int capacity; // rectangles allocated in rects; 0: memory ran out

  // Empty.
  qelFRegion();

  // The one rectangle, whether it has an area or not.
  qelFRegion(const qelRect& rect);

  // A deep copy; of an empty region (IsEmpty) a fresh empty one.
  qelFRegion(const qelFRegion& other);

  // INTENDED: these empty the region, then unite it with the other, so that assigning a region to
  // itself empties it. Pinned by FRegionAssign.EmptiesOnSelfAssignment.
  qelFRegion& operator=(const qelFRegion& other);
  qelFRegion& operator=(const qelRect& rect);

  ~qelFRegion() override;

  // Adds the other area to this one.
  void Union(const qelFRegion& other);
  void Union(const qelRect& rect);

  // Keeps what lies in both. True when an area is left.
  bool Intersect(const qelFRegion& other);

  // Takes the other area away from this one.
  void Subtract(const qelFRegion& other);

protected:
  // Adopts the array and sets no capacity. REQUIRES: the object never grows, and gives the array back
  // (rects null) before it ends, unless the array may be released with free.
  qelFRegion(qelRect* array, int n);
  friend class qelFRegionRectView; // shows one rectangle as a region
};

#endif

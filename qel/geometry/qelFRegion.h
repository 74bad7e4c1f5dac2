#ifndef QEL_GEOMETRY_QELFREGION_H
#define QEL_GEOMETRY_QELFREGION_H
//===----------------------------------------------------------------------===//
// The operations behind qelFRegion: a sweep over the bands of two regions from
// top to bottom, with one function for rows where both have a band and one for
// rows where only one has.
//
// A result may be the same object as an operand.
//
// ERRORS: none is reported. Whatever cannot get memory leaves its result empty,
// with a null array and capacity 0; a function of the sweep returns 1 then, and
// 0 otherwise.
// THREADS: one at a time for each region.
//===----------------------------------------------------------------------===//

#include <cstddef>

#include <qel/geometry/FRegion.h>

// One rectangle seen as a region, without an allocation: its extents are its array. It holds the region
// and does not derive from it: a DLL exports the type information of what derives from its classes.
class qelFRegionRectView {
public:
  explicit qelFRegionRectView(const qelRect& rect) : m_region(nullptr, 1) {
    m_region.extents = rect;
    m_region.rects = &m_region.extents;
  }
  ~qelFRegionRectView() { m_region.rects = nullptr; } // not the region's to release

  qelFRegionRectView(const qelFRegionRectView&) = delete;
  qelFRegionRectView& operator=(const qelFRegionRectView&) = delete;

  const qelFRegion& Region() const { return m_region; }

private:
  qelFRegion m_region;
};

// Adds to the result what becomes of the rows top..bottom-1, where a has the band a..aEnd-1 and b the
// band b..bEnd-1.
typedef int (*qelFRegion_Overlap)(qelFRegion* result, const qelRect* a, const qelRect* aEnd,
                                  const qelRect* b, const qelRect* bEnd, int top, int bottom);

// The same for rows where only one operand has a band, first..end-1.
typedef int (*qelFRegion_NonOverlap)(qelFRegion* result, const qelRect* first, const qelRect* end,
                                     int top, int bottom);

// The sweep. Replaces the result's array, makes the bands by the three functions, the two last of
// which may be null, and merges bands that are the same in their columns. Leaves the result's extents
// to the caller. REQUIRES: one of the operands has a rectangle.
void qelFRegion_Op(qelFRegion* result, const qelFRegion* a, const qelFRegion* b,
                   qelFRegion_Overlap overlap, qelFRegion_NonOverlap nonOverlapA,
                   qelFRegion_NonOverlap nonOverlapB);

// Merges the band at curStart into the one at prevStart if they touch and have the same columns.
// Returns where the last band starts: prevStart when that is the merged one. When bands follow the one
// at curStart, the index is that from before they moved down.
int qelFRegion_Coalesce(qelFRegion* region, int prevStart, int curStart);

// The whole operations, on operands of any kind. IntersectInto returns true when an area is left.
void qelFRegion_UnionInto(const qelFRegion* a, const qelFRegion* b, qelFRegion* result);
bool qelFRegion_IntersectInto(const qelFRegion* a, const qelFRegion* b, qelFRegion* result);
void qelFRegion_SubtractInto(const qelFRegion* a, const qelFRegion* b, qelFRegion* result);

// The functions of the sweep for the three operations.
int qelFRegion_UnionNonOverlap(qelFRegion* result, const qelRect* first, const qelRect* end,
                               int top, int bottom);
int qelFRegion_UnionOverlap(qelFRegion* result, const qelRect* a, const qelRect* aEnd,
                            const qelRect* b, const qelRect* bEnd, int top, int bottom);
int qelFRegion_IntersectOverlap(qelFRegion* result, const qelRect* a, const qelRect* aEnd,
                                const qelRect* b, const qelRect* bEnd, int top, int bottom);
int qelFRegion_SubtractNonOverlap(qelFRegion* result, const qelRect* first, const qelRect* end,
                                  int top, int bottom);
int qelFRegion_SubtractOverlap(qelFRegion* result, const qelRect* a, const qelRect* aEnd,
                               const qelRect* b, const qelRect* bEnd, int top, int bottom);

// Finds the extents from the rectangles; all zero without one.
void qelFRegion_SetExtents(qelFRegion* region);

// Makes the destination a deep copy of the source; nothing for the same object.
void qelFRegion_Copy(qelFRegion* destination, const qelFRegion* source);

// Replaces the function that every allocation of this module goes through; null brings realloc back.
// For tests alone, while no other thread works on a region.
void qelFRegion_SetReallocForTest(void* (*reallocate)(void* block, size_t size));

#endif

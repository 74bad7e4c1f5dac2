#ifndef QEL_GEOMETRY_REGION_H
#define QEL_GEOMETRY_REGION_H
//===----------------------------------------------------------------------===//
// qelRegion, what both kinds of region have in common: an area of the plane made
// of rectangles. qelFRegion holds any area exactly, qelSERegion one rectangle.
//
// The fields are there to be read: the area is rects[0..count-1]. Only the
// operations of the two kinds change them.
//
// OWNERSHIP: a qelRegion owns nothing. Copying one shares the array, so a copy or
// an assignment by way of this class is the caller's risk.
// THREADS: one at a time.
//===----------------------------------------------------------------------===//

#include <qel/core/Export.h>
#include <qel/geometry/Rect.h>

class QEL_EXPORT qelRegion {
public:
  qelRect extents; // the bounding box of the area
  qelRect* rects;  // the rectangles; null: none
  int count;       // how many of them; 0: the region is empty

  qelRegion(const qelRegion&) = default;
  qelRegion& operator=(const qelRegion&) = default;

  // Empties the extents and sets the count to 0; the array stays allocated.
  void Empty();

  // True when the count is 0 or the extents are empty (qelRect::IsEmpty).
  bool IsEmpty() const;

  const qelRect& Extents() const;

  // Appends a dump to the log line that this thread has opened: "Region(Empty)", "Region(" with the
  // one rectangle and ")", or several lines with the extents and each rectangle.
  void qelLog_Append() const;

protected:
  // Empty, without an array.
  qelRegion();

  // Takes the array as it is, with empty extents and without a copy.
  qelRegion(qelRect* array, int n);

  virtual ~qelRegion();
};

#endif

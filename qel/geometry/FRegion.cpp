#include <qel/geometry/FRegion.h>

#include <algorithm>
#include <cstdlib>

#include <qel/core/qelMem.h>
#include <qel/geometry/qelFRegion.h>

static qelRect* NewRects(int n) {
  return static_cast<qelRect*>(qelMem_Alloc(static_cast<size_t>(n) * sizeof(qelRect)));
}

qelFRegion::qelFRegion() : qelRegion(NewRects(1), 0), capacity(1) {}

qelFRegion::qelFRegion(const qelRect& rect) : qelRegion(NewRects(1), 1), capacity(1) {
  extents = rect;
  rects[0] = rect;
}

qelFRegion::qelFRegion(const qelFRegion& other) : qelRegion(), capacity(1) {
  if (other.IsEmpty()) {
    rects = NewRects(1);
    return;
  }
  rects = NewRects(other.count);
  capacity = other.count;
  count = other.count;
  extents = other.extents;
  std::copy(other.rects, other.rects + other.count, rects);
}

qelFRegion& qelFRegion::operator=(const qelFRegion& other) {
  Empty();
  Union(other);
  return *this;
}

qelFRegion& qelFRegion::operator=(const qelRect& rect) {
  const qelFRegionRectView view(rect); // holds the rectangle, which may be one of this region
  Empty();
  Union(view.Region());
  return *this;
}

qelFRegion::~qelFRegion() {
  free(rects);
}

void qelFRegion::Union(const qelFRegion& other) {
  qelFRegion_UnionInto(this, &other, this);
}

void qelFRegion::Union(const qelRect& rect) {
  Union(qelFRegionRectView(rect).Region());
}

bool qelFRegion::Intersect(const qelFRegion& other) {
  return qelFRegion_IntersectInto(this, &other, this);
}

void qelFRegion::Subtract(const qelFRegion& other) {
  qelFRegion_SubtractInto(this, &other, this);
}

qelFRegion::qelFRegion(qelRect* array, int n) : qelRegion(array, n) {}

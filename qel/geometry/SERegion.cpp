#include <qel/geometry/SERegion.h>

qelSERegion::qelSERegion() : qelRegion(nullptr, 0) {
  rects = &extents;
}

qelSERegion::qelSERegion(const qelRect& rect) : qelSERegion() {
  Union(rect);
}

qelSERegion::qelSERegion(const qelRegion& other) : qelSERegion() {
  Union(other.extents);
}

// The other's array is its own extents, which may go before this object does.
qelSERegion::qelSERegion(const qelSERegion& other) : qelRegion(other) {
  rects = &extents;
}

qelSERegion& qelSERegion::operator=(const qelSERegion& other) {
  qelRegion::operator=(other);
  rects = &extents;
  return *this;
}

qelSERegion& qelSERegion::operator=(const qelRect& rect) {
  extents = rect;
  count = extents.IsEmpty() ? 0 : 1;
  return *this;
}

qelSERegion& qelSERegion::operator=(const qelRegion& other) {
  return *this = other.extents;
}

qelSERegion::~qelSERegion() = default;

void qelSERegion::Union(const qelRect& rect) {
  extents.Union(rect);
  count = 1;
}

bool qelSERegion::Intersect(const qelRect& rect) {
  return extents.Intersect(rect);
}

void qelSERegion::Subtract(const qelRect& rect) {
  extents.Subtract(rect);
}

bool qelSERegion::Intersect(const qelRegion& other) {
  for (int i = 0; i < other.count; ++i) {
    extents.Intersect(other.rects[i]);
    if (IsEmpty())
      return false;
  }
  return !IsEmpty();
}

void qelSERegion::Subtract(const qelRegion& other) {
  for (int i = 0; i < other.count && !IsEmpty(); ++i)
    extents.Subtract(other.rects[i]);
}

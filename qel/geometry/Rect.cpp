#include <qel/geometry/Rect.h>

#include <algorithm>

#include <qel/core/Log.h>

namespace {

bool IsWithin(int value, int low, int high) {
  return low <= value && value <= high;
}

// Takes cutLow..cutHigh off the side *low..*high, which it may only shorten at one end.
void CutSide(int* low, int* high, int cutLow, int cutHigh) {
  // A cut that begins at the very start and ends inside takes the front off. As a cut at the back,
  // which comes first otherwise, it would leave nothing.
  const bool takesFront = cutLow == *low && *low < cutHigh && cutHigh < *high;
  if (!takesFront && IsWithin(cutLow, *low, *high))
    *high = cutLow;
  if (IsWithin(cutHigh, *low, *high))
    *low = cutHigh;
}

} // namespace

void qelRect::Empty() {
  *this = qelRect();
}

bool qelRect::Intersect(const qelRect& other) {
  left = std::max(left, other.left);
  top = std::max(top, other.top);
  right = std::min(right, other.right);
  bottom = std::min(bottom, other.bottom);
  if (left < right && top < bottom)
    return true;
  Empty();
  return false;
}

void qelRect::Union(const qelRect& other) {
  if (IsEmpty()) {
    *this = other;
    return;
  }
  left = std::min(left, other.left);
  top = std::min(top, other.top);
  right = std::max(right, other.right);
  bottom = std::max(bottom, other.bottom);
}

void qelRect::Subtract(const qelRect& other) {
  const qelRect r = other; // may be this one
  if (r.left <= left && r.right >= right)
    CutSide(&top, &bottom, r.top, r.bottom);
  else if (r.top <= top && r.bottom >= bottom)
    CutSide(&left, &right, r.left, r.right);
}

qelRect& qelRect::operator+=(const qelPoint& distance) {
  return *this = *this + distance;
}

qelRect& qelRect::operator-=(const qelPoint& distance) {
  return *this = *this - distance;
}

qelRect& qelRect::operator*=(int factor) {
  return *this = qelRect(left * factor, top * factor, right * factor, bottom * factor);
}

qelRect& qelRect::operator/=(int divisor) {
  return *this = qelRect(left / divisor, top / divisor, right / divisor, bottom / divisor);
}

void qelRect::qelLog_Append() const {
  // INTENDED: a semicolon follows the H. Readers of old logs know the text so. Pinned by
  // RectLogAppend.WritesFieldsAndSizes.
  qelLog_Append_F("Rect((%d, %d), (%d, %d)), W: %d, H; %d", left, top, right, bottom, Width(),
                  Height());
}

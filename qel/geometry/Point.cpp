#include <qel/geometry/Point.h>

qelPoint& qelPoint::operator+=(const qelPoint& other) {
  return *this = *this + other;
}

qelPoint& qelPoint::operator-=(const qelPoint& other) {
  return *this = *this - other;
}

qelPoint& qelPoint::operator*=(int factor) {
  return *this = *this * factor;
}

qelPoint& qelPoint::operator/=(int divisor) {
  return *this = *this / divisor;
}

qelPoint qelPoint::operator*(int factor) const {
  return qelPoint(x * factor, y * factor);
}

qelPoint qelPoint::operator/(int divisor) const {
  return qelPoint(x / divisor, y / divisor);
}

qelPoint qelPoint::operator-() const {
  return qelPoint(-x, -y);
}

bool qelPoint::Less(const qelPoint& other) const {
  return x < other.x || (x == other.x && y < other.y);
}

#include <qel/geometry/Region.h>

#include <qel/core/Log.h>

void qelRegion::Empty() {
  extents.Empty();
  count = 0;
}

bool qelRegion::IsEmpty() const {
  return count == 0 || extents.IsEmpty();
}

const qelRect& qelRegion::Extents() const {
  return extents;
}

void qelRegion::qelLog_Append() const {
  if (count == 0) {
    qelLog_Append_F("Region(Empty)");
    return;
  }
  if (count == 1) {
    qelLog_Append_F("Region(");
    rects[0].qelLog_Append();
    qelLog_Append_F(")");
    return;
  }
  qelLog_Append_F("Begin region dump, extents: ");
  extents.qelLog_Append();
  qelLog_Append_F("\n");
  for (int i = 0; i != count; ++i) {
    qelLog_Append_F("      ");
    rects[i].qelLog_Append();
    qelLog_Append_F("\n");
  }
  qelLog_Append_F("End region dump.\n");
}

qelRegion::qelRegion() : rects(nullptr), count(0) {}

qelRegion::qelRegion(qelRect* array, int n) : rects(array), count(n) {}

qelRegion::~qelRegion() = default;

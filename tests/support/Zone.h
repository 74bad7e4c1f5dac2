#ifndef QEL_TESTS_SUPPORT_ZONE_H
#define QEL_TESTS_SUPPORT_ZONE_H
//===----------------------------------------------------------------------===//
// The time zone of the process for the life of an object. Before and afterwards
// it is UTC.
// Names such as "EST5EDT", "CET-1CEST" and "IST-5:30" mean the same on every
// system: the offset, and, with a second name, daylight saving as in the United
// States.
//===----------------------------------------------------------------------===//

// Sets TZ and has the runtime library read it.
void SetZoneForTest(const char* zone);

class ScopedZone {
public:
  explicit ScopedZone(const char* zone) { SetZoneForTest(zone); }
  ~ScopedZone() { SetZoneForTest("UTC0"); }
  ScopedZone(const ScopedZone&) = delete;
  ScopedZone& operator=(const ScopedZone&) = delete;
};

#endif

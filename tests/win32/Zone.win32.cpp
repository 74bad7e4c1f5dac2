#include <tests/support/Zone.h>

#include <cstdlib>
#include <ctime>

void SetZoneForTest(const char* zone) {
  ::_putenv_s("TZ", zone);
  ::_tzset();
}

// Ahead of everything: Wine's runtime library knows no daylight saving of a later zone once it has
// shown a local time without TZ.
static const int s_beginInUTC = (SetZoneForTest("UTC0"), 0);

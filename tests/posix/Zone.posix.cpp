#include <tests/support/Zone.h>

#include <cstdlib>
#include <ctime>

void SetZoneForTest(const char* zone) {
  ::setenv("TZ", zone, /*overwrite=*/1);
  ::tzset();
}

// Ahead of everything, as on the other system.
static const int s_beginInUTC = (SetZoneForTest("UTC0"), 0);

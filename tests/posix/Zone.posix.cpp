#include <tests/support/Zone.h>

#include <cstdlib>
#include <ctime>

void SetZoneForTest(const char* zone) {
  ::setenv("TZ", zone, /*overwrite=*/1);
  ::tzset();
}

#include <tests/support/Zone.h>

#include <cstdlib>
#include <ctime>

void SetZoneForTest(const char* zone) {
  ::_putenv_s("TZ", zone);
  ::_tzset();
}

#include <qel/multiplatform/qelPlatform.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <signal.h>
#include <unistd.h>

// Environment ------------------------------------------------------------------

size_t qelPlatform_GetEnvironment(const char* name, char* buffer, size_t size) {
  const char* value = ::secure_getenv(name);
  const size_t length = value != nullptr ? strlen(value) : 0;
  if (length == 0 || length >= size)
    return 0;
  memcpy(buffer, value, length + 1);
  return length;
}

int qelPlatform_SetEnvironment(const char* name, const char* value) {
  return ::setenv(name, value, /*overwrite=*/1) == 0 ? 0 : 1;
}

// Fatal path -------------------------------------------------------------------

void qelFatalError_PlatformHook(int) {
  fflush(stdout);
}

// Debugger ---------------------------------------------------------------------

// A tracer's process number stands in the status file of the process; 0 means none.
static bool IsTraced() {
  FILE* status = fopen("/proc/self/status", "re");
  if (status == nullptr)
    return false;
  char line[256];
  long tracer = 0;
  while (fgets(line, sizeof line, status) != nullptr)
    if (sscanf(line, "TracerPid: %ld", &tracer) == 1)
      break;
  fclose(status);
  return tracer != 0;
}

void qelDebug_Break(const char* text) {
  fprintf(stderr, "%.254s\n", text);
  if (IsTraced())
    ::raise(SIGTRAP);
}

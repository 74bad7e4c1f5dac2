#include <qel/multiplatform/qelPlatform.h>

#include <windows.h>

// Environment ------------------------------------------------------------------

size_t qelPlatform_GetEnvironment(const char* name, char* buffer, size_t size) {
  const DWORD length = ::GetEnvironmentVariableA(name, buffer, static_cast<DWORD>(size));
  return length < size ? length : 0;
}

int qelPlatform_SetEnvironment(const char* name, const char* value) {
  return ::SetEnvironmentVariableA(name, value) ? 0 : 1;
}

// Fatal path -------------------------------------------------------------------

void qelFatalError_PlatformHook(int) {}

// Debugger ---------------------------------------------------------------------

void qelDebug_Break(const char* text) {
  WCHAR wide[256];
  size_t length = 0;
  for (; length < 254 && text[length] != '\0'; ++length)
    wide[length] = static_cast<unsigned char>(text[length]);
  wide[length] = L'\n';
  wide[length + 1] = L'\0';
  ::OutputDebugStringW(wide);
  if (::IsDebuggerPresent())
    ::DebugBreak();
}

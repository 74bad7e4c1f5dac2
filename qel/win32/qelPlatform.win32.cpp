#include <qel/multiplatform/qelPlatform.h>

#include <memory>

#include <qel/core/qelUTF8.h>
#include <qel/multiplatform/qelFilePrivate.h>
#include <qel/multiplatform/qelPlatformBackend.h>

#include <stdlib.h>
#include <windows.h>

typedef std::unique_ptr<qelWChar, qelFreeText> OwnedWide;

const char* const qelPlatform_LogFile = "..\\..\\win32\\qelPlatform.win32";

// Environment ------------------------------------------------------------------

size_t qelPlatform_GetEnvironment(const char* name, char* buffer, size_t size) {
  const DWORD length = ::GetEnvironmentVariableA(name, buffer, static_cast<DWORD>(size));
  return length < size ? length : 0;
}

int qelPlatform_SetEnvironment(const char* name, const char* value) {
  return ::SetEnvironmentVariableA(name, value) ? 0 : 1;
}

char* qelGetEnvironmentVariable(const char* name) {
  const OwnedWide wideName(qelUTF8_ToWide(name));
  const wchar_t* value = wideName != nullptr ? ::_wgetenv(wideName.get()) : nullptr;
  return value != nullptr ? qelUTF8_FromWide(value) : nullptr;
}

int qelPlatform_PutEnvironment(const char* text) {
  const OwnedWide wideText(qelUTF8_ToWide(text));
  return wideText != nullptr ? ::_wputenv(wideText.get()) : -1;
}

// Launching --------------------------------------------------------------------

qelLaunch qelPlatform_Launch(const char* program, const char*, const char* commandLine, int limit) {
  qelLaunch launch = {};
  // The system takes the program's name from the command line, and may write to that.
  const OwnedWide text(qelUTF8_ToWide(commandLine != nullptr ? commandLine : program));
  if (text == nullptr) {
    launch.startError = ERROR_NO_UNICODE_TRANSLATION;
    return launch;
  }
  WCHAR* name = commandLine != nullptr ? nullptr : text.get();
  WCHAR* line = commandLine != nullptr ? text.get() : nullptr;
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process = {};
  if (!::CreateProcessW(name, line, nullptr, nullptr, /*bInheritHandles=*/FALSE, 0, nullptr,
                        nullptr, &startup, &process)) {
    launch.startError = static_cast<int>(::GetLastError());
    return launch;
  }
  launch.waitResult =
      static_cast<int>(::WaitForInputIdle(process.hProcess, static_cast<DWORD>(limit)));
  launch.waitError = static_cast<int>(::GetLastError());
  ::CloseHandle(process.hThread);
  ::CloseHandle(process.hProcess);
  return launch;
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

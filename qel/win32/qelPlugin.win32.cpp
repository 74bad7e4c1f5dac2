#define QEL_LOG_MODULE 29
#define QEL_LOG_FILE "..\\..\\win32\\qelPlugin.win32"

#include <qel/multiplatform/qelPlugin.h>

#include <memory>

#include <qel/core/Log.h>
#include <qel/core/qelUTF8.h>
#include <qel/multiplatform/qelFilePrivate.h>
#include <qel/multiplatform/qelPluginBackend.h>

#include <windows.h>

const char* const qelPlugin_LogFile = QEL_LOG_FILE;

static long LastError() {
  return static_cast<long>(::GetLastError());
}

// Loads without asking the user about a file that is no module. Null: *error is the system's.
static HMODULE LoadQuietly(const WCHAR* name, long* error) {
  DWORD mode = 0;
  ::SetThreadErrorMode(::GetThreadErrorMode() | SEM_FAILCRITICALERRORS, &mode);
  const HMODULE module = ::LoadLibraryW(name);
  *error = LastError();
  ::SetThreadErrorMode(mode, nullptr);
  return module;
}

const char* qelPlugin_GetFileExtension() {
  return ".dll";
}

void* qelPlugin_Load(const char* file) {
  const qelOwnedText name(qelPlugin_NativeName(file));
  const std::unique_ptr<qelWChar, qelFreeText> wideName(qelUTF8_ToWide(name.get()));
  long error = ERROR_INVALID_NAME;
  const HMODULE module = wideName != nullptr ? LoadQuietly(wideName.get(), &error) : nullptr;
  if (module == nullptr)
    QEL_LOG(1, "qelPlugin: Failed loading '%s' (error = %ld)\n", qelFile_ShownName(file), error);
  return module;
}

void qelPlugin_Unload(void* module) {
  if (::FreeLibrary(static_cast<HMODULE>(module)))
    return;
  const long error = LastError();
  if (error != 0)
    QEL_LOG(1, "qelPlugin: Unload failed: error = %ld\n", error);
}

void* qelPlugin_GetSymbol(void* module, const char* name) {
  const FARPROC address = ::GetProcAddress(static_cast<HMODULE>(module), name);
  if (address == nullptr) {
    const long error = LastError();
    QEL_LOG(1, "qelPlugin: GetSymbol failed for symbol '%s', error = %ld\n", name, error);
  }
  return reinterpret_cast<void*>(address);
}

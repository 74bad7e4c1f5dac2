#define QEL_LOG_MODULE 29
#define QEL_LOG_FILE "..\\..\\posix\\qelPlugin.posix"

#include <qel/multiplatform/qelPlugin.h>

#include <qel/core/Log.h>
#include <qel/multiplatform/qelFilePrivate.h>
#include <qel/multiplatform/qelPluginBackend.h>

#include <dlfcn.h>

const char* const qelPlugin_LogFile = QEL_LOG_FILE;

// All that there is instead of an error number.
static const long kNoNumber = 0;

// The line behind one that has no error number.
static void LogText(const char* text) {
  if (text != nullptr)
    QEL_LOG(1, "qelPlugin: %s\n", text);
}

const char* qelPlugin_GetFileExtension() {
  return ".so";
}

void* qelPlugin_Load(const char* file) {
  const qelOwnedText name(qelPlugin_NativeName(file)); // the system takes none for the program
  void* module = name != nullptr ? ::dlopen(name.get(), RTLD_NOW | RTLD_LOCAL) : nullptr;
  if (module == nullptr) {
    const char* text = name != nullptr ? ::dlerror() : nullptr;
    QEL_LOG(1, "qelPlugin: Failed loading '%s' (error = %ld)\n", qelFile_ShownName(file),
            kNoNumber);
    LogText(text);
  }
  return module;
}

void qelPlugin_Unload(void* module) {
  if (::dlclose(module) == 0)
    return;
  const char* text = ::dlerror();
  QEL_LOG(1, "qelPlugin: Unload failed: error = %ld\n", kNoNumber);
  LogText(text);
}

void* qelPlugin_GetSymbol(void* module, const char* name) {
  void* address = ::dlsym(module, name);
  if (address == nullptr) {
    const char* text = ::dlerror();
    QEL_LOG(1, "qelPlugin: GetSymbol failed for symbol '%s', error = %ld\n", name, kNoNumber);
    LogText(text);
  }
  return address;
}

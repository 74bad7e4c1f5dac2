#define QEL_LOG_MODULE 29
#define QEL_LOG_FILE qelPlugin_LogFile

#include <qel/multiplatform/qelPlugin.h>

#include <cstring>

#include <qel/core/Log.h>
#include <qel/core/qelMem.h>
#include <qel/multiplatform/qelPath.h>
#include <qel/multiplatform/qelPluginBackend.h>

const char* qelPlugin_GetFilePrefix() {
  return "";
}

char* qelPlugin_GetDefaultPath() {
  char* path = qelPath_GetApplicationDirectory();
  if (path == nullptr) {
    QEL_LOG(1, "qelPlugin: GetDefaultPath: Cannot get module file name\n");
    return nullptr;
  }
  return qelMem_AppendStr(&path, "Plugins");
}

char* qelPlugin_NativeName(const char* file) {
  if (file == nullptr || file[0] == '\0')
    return nullptr;
  if (strpbrk(file, "/\\<") == nullptr)
    return qelMem_StrDup(file);
  return qelPath_Normalize(file, /*stripTrailing=*/0, qelPathFlagNative, /*anchor=*/nullptr);
}

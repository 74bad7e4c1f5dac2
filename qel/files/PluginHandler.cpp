#define QEL_LOG_MODULE 29
#define QEL_LOG_FILE "..\\..\\PluginHandler"

#include <qel/files/PluginHandler.h>

#include <algorithm>
#include <cstdlib>

#include <qel/core/Log.h>
#include <qel/core/qelMem.h>
#include <qel/files/PathName.h>
#include <qel/multiplatform/qelPlugin.h>

typedef void (*Function)(void);

qelPluginHandler::qelPluginHandler(const char** symbolNames, size_t count)
    : m_symbolNames(symbolNames),
      m_functions(static_cast<Function*>(qelMem_AllocZero(count * sizeof(Function)))),
      m_module(nullptr), m_symbolCount(count), m_isStatic(false), m_isLoaded(false) {}

qelPluginHandler::~qelPluginHandler() {
  if (m_module != nullptr)
    Unload();
  free(m_functions);
}

bool qelPluginHandler::Load(const qelCString& path) {
  m_isStatic = false;
  m_isLoaded = false;
  m_fullPath = path;
  m_fileName = qelPathName::MakeFilePath(path.c_str()).GetFileName();
  m_module = qelPlugin_Load(m_fullPath.c_str());
  if (m_module == nullptr)
    return false;
  bool isComplete = true;
  for (size_t i = 0; i < m_symbolCount; ++i) {
    m_functions[i] = reinterpret_cast<Function>(qelPlugin_GetSymbol(m_module, m_symbolNames[i]));
    if (m_functions[i] != nullptr)
      continue;
    QEL_LOG(1, "Cannot load function '%s'\n", m_symbolNames[i]);
    isComplete = false;
  }
  if (!isComplete)
    Unload();
  m_isLoaded = m_module != nullptr;
  return m_isLoaded;
}

bool qelPluginHandler::Load(void (**functions)(void), const char* name) {
  m_isStatic = true;
  m_isLoaded = true;
  std::copy_n(functions, m_symbolCount, m_functions);
  m_fileName = name;
  m_fullPath.Empty();
  return true;
}

void qelPluginHandler::Unload() {
  Finalize();
  if (!m_isStatic && m_module != nullptr)
    qelPlugin_Unload(m_module);
  m_isLoaded = false;
  m_module = nullptr;
}

void qelPluginHandler::Finalize() {}

qelCString qelPluginHandler::GetFileName() const {
  return m_fileName;
}

qelCString qelPluginHandler::GetFullPath() const {
  return m_fullPath;
}

#ifndef QEL_TESTS_SUPPORT_PLUGINS_H
#define QEL_TESTS_SUPPORT_PLUGINS_H
//===----------------------------------------------------------------------===//
// A handler for the modules of tests/files/plugins, and directories of them. Link
// qel_test_plugins.
//===----------------------------------------------------------------------===//

#include <filesystem>
#include <string>
#include <vector>

#include <qel/files/PluginHandler.h>
#include <qel/multiplatform/qelPlugin.h>
#include <tests/support/LogCapture.h>
#include <tests/support/TempDir.h>

inline const char* g_pluginNames[] = {"PluginAdd", "PluginCount", "PluginName"};

class TestHandler : public qelPluginHandler {
public:
  // Each Finalize adds the handler's name to *finalized, with "!" if the module's code is not there.
  explicit TestHandler(std::vector<std::string>* finalized, size_t count = 3)
      : qelPluginHandler(g_pluginNames, count), m_finalized(finalized) {}
  void Finalize() override {
    const std::string name = GetFileName().c_str();
    m_finalized->push_back(m_module != nullptr || m_isStatic ? name : name + "!");
  }

  int Add(int a, int b) { return reinterpret_cast<int (*)(int, int)>(m_functions[0])(a, b); }
  int Count() { return reinterpret_cast<int (*)()>(m_functions[1])(); }
  std::string Name() { return reinterpret_cast<const char* (*)()>(m_functions[2])(); }

  using qelPluginHandler::m_functions;
  using qelPluginHandler::m_isLoaded;
  using qelPluginHandler::m_isStatic;
  using qelPluginHandler::m_module;

private:
  std::vector<std::string>* m_finalized;
};

// The modules as absolute names, with "/".
inline std::string GoodModule() {
  return std::filesystem::absolute(TempDir::Native(GOOD_PLUGIN)).generic_u8string();
}
inline std::string LackingModule() {
  return std::filesystem::absolute(TempDir::Native(LACKING_PLUGIN)).generic_u8string();
}

// A module's name with the system's ending.
inline std::string ModuleName(const std::string& name) {
  return name + qelPlugin_GetFileExtension();
}

// Copies a module; returns its path.
inline std::string CopyModule(const TempDir& dir, const std::string& from,
                              const std::string& name) {
  const std::string path = dir.Path(ModuleName(name));
  std::filesystem::copy_file(TempDir::Native(from), TempDir::Native(path));
  return path;
}

// The captured texts without error numbers, and without the lines that only some systems add.
inline std::vector<std::string> PluginTexts(const LogCapture& log) {
  std::vector<std::string> texts;
  for (std::string text : log.Texts()) {
    const size_t number = text.find("error = ");
    if (number != std::string::npos)
      text.replace(number + 8, text.find_first_not_of("0123456789", number + 8) - number - 8, "#");
    else if (text.find("qelPlugin: ") == 0)
      continue;
    texts.push_back(text);
  }
  return texts;
}

#endif

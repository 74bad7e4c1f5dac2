#include <qel/multiplatform/qelPlugin.h>

#include <cerrno>
#include <string>

#include <dlfcn.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/files/PluginLoader.h>
#include <tests/support/LogCapture.h>
#include <tests/support/Plugins.h>

using ::testing::ElementsAre;
using ::testing::StartsWith;

// What the system is to refuse.
static bool g_hasNoName = false;
static bool g_closeFails = false;

extern "C" ssize_t __real_readlink(const char* name, char* buffer, size_t size);
extern "C" ssize_t __wrap_readlink(const char* name, char* buffer, size_t size) {
  if (!g_hasNoName)
    return __real_readlink(name, buffer, size);
  errno = ENOENT;
  return -1;
}

extern "C" int __real_dlclose(void* module);
extern "C" int __wrap_dlclose(void* module) {
  if (!g_closeFails)
    return __real_dlclose(module);
  ::dlopen("/no/such/module", RTLD_NOW); // leaves a text
  return -1;
}

TEST(PluginDefaultPathPosix, IsNullWithoutTheProgramsName) {
  LogCapture log;
  g_hasNoName = true;
  EXPECT_EQ(nullptr, qelPlugin_GetDefaultPath());
  g_hasNoName = false;
  EXPECT_THAT(log.Texts(),
              ElementsAre("qelPath: Cannot get application file name (buffer too small)\n",
                          "qelPlugin: GetDefaultPath: Cannot get module file name\n"));
  EXPECT_EQ(29u, log.Lines()[1].module);
}

TEST(PluginLoaderPosix, LooksNowhereWithoutTheProgramsName) {
  class Loader : public qelPluginLoader {
  public:
    bool IsPluginActive(const qelCString&) override {
      ++asked;
      return false;
    }
    qelPluginHandler* CreateHandler() override { return nullptr; }
    int asked = 0;
  };
  Loader loader;
  LogCapture log;
  g_hasNoName = true;
  EXPECT_FALSE(loader.LoadPlugins("", false));
  EXPECT_FALSE(loader.LoadPlugins("*", false));
  g_hasNoName = false;
  EXPECT_EQ(0, loader.asked);
  EXPECT_EQ(6u, log.Texts().size()) << log.All(); // no name, no path, and nothing to enumerate
}

TEST(PluginLoadPosix, KeepsTheSystemsTextInASecondLine) {
  LogCapture log;
  EXPECT_EQ(nullptr, qelPlugin_Load("/no/such/module"));
  EXPECT_THAT(log.Texts(), ElementsAre("qelPlugin: Failed loading '/no/such/module' (error = 0)\n",
                                       StartsWith("qelPlugin: /no/such/module: ")));
}

TEST(PluginLoadPosix, LooksForANameWithoutASeparatorWhereTheSystemDoes) {
  void* module = qelPlugin_Load("libc.so.6");
  ASSERT_NE(nullptr, module);
  EXPECT_NE(nullptr, qelPlugin_GetSymbol(module, "malloc"));
  qelPlugin_Unload(module);
}

TEST(PluginUnloadPosix, LogsAFailure) {
  void* module = qelPlugin_Load(GoodModule().c_str());
  ASSERT_NE(nullptr, module);
  LogCapture log;
  g_closeFails = true;
  qelPlugin_Unload(module);
  g_closeFails = false;
  EXPECT_THAT(log.Texts(), ElementsAre("qelPlugin: Unload failed: error = 0\n",
                                       StartsWith("qelPlugin: /no/such/module: ")));
  EXPECT_EQ(29u, log.Lines()[0].module);
  qelPlugin_Unload(module);
}

TEST(PluginGetSymbolPosix, KeepsTheSystemsTextInASecondLine) {
  void* module = qelPlugin_Load(GoodModule().c_str());
  ASSERT_NE(nullptr, module);
  LogCapture log;
  EXPECT_EQ(nullptr, qelPlugin_GetSymbol(module, "PluginMissing"));
  ASSERT_EQ(2u, log.Texts().size());
  EXPECT_EQ("qelPlugin: GetSymbol failed for symbol 'PluginMissing', error = 0\n", log.Texts()[0]);
  EXPECT_NE(std::string::npos, log.Texts()[1].find("PluginMissing"));
  qelPlugin_Unload(module);
}

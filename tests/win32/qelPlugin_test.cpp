#include <qel/multiplatform/qelPlugin.h>

#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/support/LogCapture.h>
#include <tests/support/Plugins.h>

using ::testing::ElementsAre;

TEST(PluginLoadWindows, LooksForANameWithoutASeparatorWhereTheSystemDoes) {
  void* module = qelPlugin_Load("kernel32.dll");
  ASSERT_NE(nullptr, module);
  EXPECT_NE(nullptr, qelPlugin_GetSymbol(module, "Sleep"));
  qelPlugin_Unload(module);
}

TEST(PluginLoadWindows, LogsTheSystemsNumber) {
  LogCapture log;
  EXPECT_EQ(nullptr, qelPlugin_Load("C:/no such module.dll"));
  EXPECT_EQ(nullptr, qelPlugin_Load("C:/\xFF.dll"));
  EXPECT_THAT(log.Texts(),
              ElementsAre("qelPlugin: Failed loading 'C:/no such module.dll' (error = 126)\n",
                          "qelPlugin: Failed loading 'C:/\xFF.dll' (error = 123)\n"));
}

TEST(PluginUnloadWindows, LogsAFailure) {
  void* module = qelPlugin_Load(GoodModule().c_str());
  ASSERT_NE(nullptr, module);
  qelPlugin_Unload(module);
  LogCapture log;
  qelPlugin_Unload(module);
  EXPECT_THAT(PluginTexts(log), ElementsAre("qelPlugin: Unload failed: error = #\n"));
  EXPECT_EQ(29u, log.Lines()[0].module);
}

#include <qel/multiplatform/qelPlugin.h>

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/multiplatform/qelFilePrivate.h>
#include <qel/multiplatform/qelPath.h>
#include <tests/support/LogCapture.h>
#include <tests/support/Plugins.h>
#include <tests/support/TempDir.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

static int Count(void* module) {
  return reinterpret_cast<int (*)()>(qelPlugin_GetSymbol(module, "PluginCount"))();
}

TEST(PluginNames, HaveAnEndingAndNoPrefix) {
  EXPECT_STREQ("", qelPlugin_GetFilePrefix());
  EXPECT_EQ(std::filesystem::path(GoodModule()).extension().string(), qelPlugin_GetFileExtension());
}

TEST(PluginDefaultPath, IsBesideTheProgram) {
  const qelOwnedText directory(qelPath_GetApplicationDirectory());
  const qelOwnedText path(qelPlugin_GetDefaultPath());
  EXPECT_EQ(std::string(directory.get()) + "Plugins", path.get());
}

TEST(PluginLoad, GivesAModuleAndItsSymbols) {
  LogCapture log;
  void* module = qelPlugin_Load(GoodModule().c_str());
  ASSERT_NE(nullptr, module);
  const auto add = reinterpret_cast<int (*)(int, int)>(qelPlugin_GetSymbol(module, "PluginAdd"));
  ASSERT_NE(nullptr, add);
  EXPECT_EQ(5, add(2, 3));
  qelPlugin_Unload(module);
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST(PluginLoad, StartsAfreshAfterAnUnload) {
  void* module = qelPlugin_Load(GoodModule().c_str());
  ASSERT_NE(nullptr, module);
  EXPECT_EQ(1, Count(module));
  EXPECT_EQ(2, Count(module));
  qelPlugin_Unload(module);
  module = qelPlugin_Load(GoodModule().c_str());
  ASSERT_NE(nullptr, module);
  EXPECT_EQ(1, Count(module));
  qelPlugin_Unload(module);
}

TEST(PluginLoad, GivesTheSameModuleTwice) {
  void* first = qelPlugin_Load(GoodModule().c_str());
  void* second = qelPlugin_Load(GoodModule().c_str());
  ASSERT_NE(nullptr, second);
  EXPECT_EQ(first, second);
  EXPECT_EQ(1, Count(first));
  qelPlugin_Unload(first);
  EXPECT_EQ(2, Count(second));
  qelPlugin_Unload(second);
}

TEST(PluginLoad, TakesAnyNameOfUTF8) {
  const TempDir dir;
  const std::string path = CopyModule(dir, GoodModule(), "\xC3\xA9 \xF0\x9F\x8E\xB5");
  void* module = qelPlugin_Load(path.c_str());
  ASSERT_NE(nullptr, module);
  EXPECT_EQ(1, Count(module));
  qelPlugin_Unload(module);
}

TEST(PluginLoad, AnchorsARelativeNameWithASeparator) {
  const qelOwnedText program(qelPath_GetApplicationDirectory());
  const std::string name = ModuleName("qel-test-relative");
  const std::string path = program.get() + name;
  std::filesystem::copy_file(TempDir::Native(GoodModule()), TempDir::Native(path),
                             std::filesystem::copy_options::overwrite_existing);
  void* module = qelPlugin_Load(("./" + name).c_str());
  EXPECT_NE(nullptr, module);
  if (module != nullptr)
    qelPlugin_Unload(module);
  std::filesystem::remove(TempDir::Native(path));
}

TEST(PluginLoad, IsNullWithALogLineForWhatIsNoModule) {
  const TempDir dir;
  const std::string missing = dir.Path(ModuleName("missing"));
  const std::string broken = dir.Write(ModuleName("broken"), "no module at all");
  const std::string empty = dir.Write(ModuleName("empty"));
  const std::string directory = dir.MakeDir(ModuleName("directory"));
  LogCapture log;
  for (const std::string& path : {missing, broken, empty, directory, directory + "/"}) {
    EXPECT_EQ(nullptr, qelPlugin_Load(path.c_str()));
    EXPECT_THAT(PluginTexts(log),
                ElementsAre("qelPlugin: Failed loading '" + path + "' (error = #)\n"));
    EXPECT_EQ(1u, log.Lines()[0].level);
    EXPECT_EQ(29u, log.Lines()[0].module);
    EXPECT_THAT(log.Lines()[0].file, MatchesRegex(".*qelPlugin.*"));
    log.Clear();
  }
}

TEST(PluginLoad, RefusesNamesThatAreNone) {
  LogCapture log;
  EXPECT_EQ(nullptr, qelPlugin_Load(""));
  EXPECT_EQ(nullptr, qelPlugin_Load(nullptr));
  EXPECT_EQ(nullptr, qelPlugin_Load("<NoSuchFolder>/x"));
  EXPECT_THAT(PluginTexts(log),
              ElementsAre("qelPlugin: Failed loading '' (error = #)\n",
                          "qelPlugin: Failed loading '(null)' (error = #)\n",
                          "qelPlugin: Failed loading '<NoSuchFolder>/x' (error = #)\n"));
}

TEST(PluginGetSymbol, IsNullWithALogLineForAMissingSymbol) {
  void* module = qelPlugin_Load(GoodModule().c_str());
  ASSERT_NE(nullptr, module);
  LogCapture log;
  EXPECT_EQ(nullptr, qelPlugin_GetSymbol(module, "PluginMissing"));
  EXPECT_THAT(PluginTexts(log),
              ElementsAre("qelPlugin: GetSymbol failed for symbol 'PluginMissing', error = #\n"));
  EXPECT_EQ(29u, log.Lines()[0].module);
  qelPlugin_Unload(module);
}

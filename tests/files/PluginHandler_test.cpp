#include <qel/files/PluginHandler.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/support/LogCapture.h>
#include <tests/support/Plugins.h>
#include <tests/support/TempDir.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

static int Seven() {
  return 7;
}

typedef void (*Function)(void);
typedef std::vector<std::string> Names;

TEST(PluginHandler, StartsWithNothing) {
  Names finalized;
  {
    const TestHandler handler(&finalized);
    for (size_t i = 0; i < 3; ++i)
      EXPECT_EQ(nullptr, handler.m_functions[i]);
    EXPECT_EQ(nullptr, handler.m_module);
    EXPECT_FALSE(handler.m_isLoaded);
    EXPECT_FALSE(handler.m_isStatic);
    EXPECT_STREQ("", handler.GetFileName().c_str());
    EXPECT_STREQ("", handler.GetFullPath().c_str());
  }
  EXPECT_THAT(finalized, IsEmpty());
}

TEST(PluginHandlerLoad, FindsTheFunctionsOfAModule) {
  const TempDir dir;
  const std::string path = CopyModule(dir, GoodModule(), "the.module");
  Names finalized;
  LogCapture log;
  TestHandler handler(&finalized);
  ASSERT_TRUE(handler.Load(path.c_str()));
  EXPECT_TRUE(handler.m_isLoaded);
  EXPECT_EQ("the.module", std::string(handler.GetFileName().c_str()));
  EXPECT_EQ(path, handler.GetFullPath().c_str());
  EXPECT_EQ(5, handler.Add(2, 3));
  EXPECT_EQ("good", handler.Name());
  handler.Unload();
  EXPECT_THAT(finalized, ElementsAre("the.module"));
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST(PluginHandlerLoad, WorksAgainAfterAnUnload) {
  Names finalized;
  TestHandler handler(&finalized);
  for (int round = 0; round < 3; ++round) {
    ASSERT_TRUE(handler.Load(GoodModule().c_str()));
    EXPECT_EQ(1, handler.Count());
    EXPECT_EQ(2, handler.Count());
    handler.Unload();
    EXPECT_FALSE(handler.m_isLoaded);
    EXPECT_EQ(nullptr, handler.m_module);
  }
  EXPECT_THAT(finalized, ElementsAre("Good", "Good", "Good"));
}

TEST(PluginHandlerLoad, IsFalseForAModuleWithoutARequiredFunction) {
  Names finalized;
  TestHandler handler(&finalized);
  LogCapture log;
  EXPECT_FALSE(handler.Load(LackingModule().c_str()));
  EXPECT_FALSE(handler.m_isLoaded);
  EXPECT_EQ(nullptr, handler.m_module);
  EXPECT_THAT(finalized, ElementsAre("Lacking"));
  EXPECT_EQ(nullptr, handler.m_functions[0]);
  EXPECT_NE(nullptr, handler.m_functions[1]);
  EXPECT_EQ(nullptr, handler.m_functions[2]);
  EXPECT_THAT(PluginTexts(log),
              ElementsAre("qelPlugin: GetSymbol failed for symbol 'PluginAdd', error = #\n",
                          "Cannot load function 'PluginAdd'\n",
                          "qelPlugin: GetSymbol failed for symbol 'PluginName', error = #\n",
                          "Cannot load function 'PluginName'\n"));
  for (const CapturedLine& line : log.Lines())
    EXPECT_EQ(29u, line.module);
  EXPECT_EQ("..\\..\\PluginHandler", log.Lines().back().file);
}

TEST(PluginHandlerLoad, IsFalseForWhatIsNoModule) {
  const TempDir dir;
  const std::string path = dir.Write(ModuleName("broken"), "no module at all");
  Names finalized;
  TestHandler handler(&finalized);
  LogCapture log;
  EXPECT_FALSE(handler.Load(path.c_str()));
  EXPECT_FALSE(handler.m_isLoaded);
  EXPECT_EQ("broken", std::string(handler.GetFileName().c_str()));
  EXPECT_EQ(path, handler.GetFullPath().c_str());
  EXPECT_THAT(finalized, IsEmpty());
  EXPECT_THAT(PluginTexts(log),
              ElementsAre("qelPlugin: Failed loading '" + path + "' (error = #)\n"));
  ASSERT_TRUE(handler.Load(GoodModule().c_str())); // the handler is as good as new
  EXPECT_EQ(3, handler.Add(1, 2));
  handler.Unload();
}

TEST(PluginHandlerLoad, TakesAnyModuleWithoutNames) {
  Names finalized;
  TestHandler handler(&finalized, 0);
  EXPECT_TRUE(handler.Load(LackingModule().c_str()));
  EXPECT_TRUE(handler.m_isLoaded);
  handler.Unload();
}

TEST(PluginHandlerLoadStatic, CopiesTheTable) {
  Function functions[] = {nullptr, reinterpret_cast<Function>(&Seven), nullptr};
  Names finalized;
  LogCapture log;
  TestHandler handler(&finalized);
  EXPECT_TRUE(handler.Load(functions, "x"));
  functions[1] = nullptr;
  EXPECT_EQ(7, handler.Count());
  EXPECT_TRUE(handler.m_isStatic);
  EXPECT_TRUE(handler.m_isLoaded);
  EXPECT_EQ(nullptr, handler.m_module);
  EXPECT_STREQ("x", handler.GetFileName().c_str());
  EXPECT_STREQ("", handler.GetFullPath().c_str());
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST(PluginHandlerLoadStatic, LeavesTheSystemOutOfUnload) {
  Function functions[] = {nullptr, reinterpret_cast<Function>(&Seven), nullptr};
  Names finalized;
  LogCapture log;
  TestHandler handler(&finalized);
  handler.Load(functions, "x");
  int none = 0;
  handler.m_module = &none; // what the system would refuse, or worse
  handler.Unload();
  EXPECT_EQ(nullptr, handler.m_module);
  EXPECT_FALSE(handler.m_isLoaded);
  EXPECT_THAT(finalized, ElementsAre("x"));
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST(PluginHandlerLoadStatic, IsFollowedByAFileThatIsNoTable) {
  Function functions[] = {nullptr, nullptr, nullptr};
  Names finalized;
  TestHandler handler(&finalized);
  handler.Load(functions, "x");
  handler.Unload();
  ASSERT_TRUE(handler.Load(GoodModule().c_str()));
  EXPECT_FALSE(handler.m_isStatic);
  EXPECT_EQ(3, handler.Add(1, 2));
  handler.Unload();
  handler.Load(functions, "y");
  EXPECT_STREQ("", handler.GetFullPath().c_str());
}

TEST(PluginHandlerUnload, CallsFinalizeWithNothingLoaded) {
  Names finalized;
  LogCapture log;
  TestHandler handler(&finalized);
  handler.Unload();
  EXPECT_THAT(finalized, ElementsAre("!"));
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST(PluginHandlerDestructor, RunsOnlyTheFinalizeOfTheBase) {
  Names finalized;
  LogCapture log;
  int (*count)() = nullptr;
  {
    TestHandler handler(&finalized);
    ASSERT_TRUE(handler.Load(GoodModule().c_str()));
    count = reinterpret_cast<int (*)()>(handler.m_functions[1]);
    EXPECT_EQ(1, count());
  }
  EXPECT_THAT(finalized, IsEmpty());
  EXPECT_THAT(log.Texts(), IsEmpty());
  TestHandler again(&finalized);
  ASSERT_TRUE(again.Load(GoodModule().c_str()));
  EXPECT_EQ(1, again.Count()); // the module was unloaded
  again.Unload();
}

TEST(PluginHandlerCopy, SharesTableAndModule) {
  Names finalized;
  TestHandler handler(&finalized);
  ASSERT_TRUE(handler.Load(GoodModule().c_str()));
  TestHandler copy(handler);
  EXPECT_EQ(handler.m_functions, copy.m_functions);
  EXPECT_EQ(handler.m_module, copy.m_module);
  EXPECT_TRUE(copy.m_isLoaded);
  EXPECT_STREQ("Good", copy.GetFileName().c_str());
  EXPECT_STREQ(handler.GetFullPath().c_str(), copy.GetFullPath().c_str());
  EXPECT_EQ(5, copy.Add(2, 3));
  copy.m_functions = nullptr; // only one of the two may give them back
  copy.m_module = nullptr;
  TestHandler assigned(&finalized, 0);
  free(assigned.m_functions); // which the assignment loses
  assigned = handler;
  EXPECT_EQ(handler.m_functions, assigned.m_functions);
  EXPECT_EQ(handler.m_module, assigned.m_module);
  EXPECT_STREQ("Good", assigned.GetFileName().c_str());
  assigned.m_functions = nullptr;
  assigned.m_module = nullptr;
  handler.Unload();
}

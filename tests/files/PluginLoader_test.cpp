#include <qel/files/PluginLoader.h>

#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qel/multiplatform/qelFilePrivate.h>
#include <tests/support/LogCapture.h>
#include <tests/support/Plugins.h>
#include <tests/support/TempDir.h>

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

typedef std::vector<std::string> Names;

namespace {

class TestLoader : public qelPluginLoader {
public:
  TestLoader(const std::string& path, Names* finalized) : m_path(path), m_finalized(finalized) {}

  qelCString GetPluginsPath() override { return m_path.c_str(); }
  bool IsPluginActive(const qelCString& name) override {
    asked.push_back(name.c_str());
    return !areInactive;
  }
  qelPluginHandler* CreateHandler() override {
    ++created;
    return new TestHandler(m_finalized);
  }

  // The handlers' module names, in list order.
  Names Loaded() const {
    Names names;
    for (const qelPtrListNode* node = m_handlers->head; node != nullptr; node = node->next)
      names.push_back(static_cast<TestHandler*>(node->item)->GetFileName().c_str());
    return names;
  }
  TestHandler* Handler(size_t index) const {
    return static_cast<TestHandler*>(qelPtrList_GetAt(m_handlers, index)->item);
  }

  Names asked;
  bool areInactive = false;
  int created = 0;

private:
  std::string m_path;
  Names* m_finalized;
};

// A loader with the base's answers.
class PlainLoader : public qelPluginLoader {
public:
  qelPluginHandler* CreateHandler() override { return nullptr; }
  using qelPluginLoader::m_handlers;
};

class PluginLoaderTest : public ::testing::Test {
protected:
  TempDir m_dir;
  Names m_finalized;
};

} // namespace

TEST(PluginLoaderBase, AnswersForALoaderThatChangesNothing) {
  PlainLoader loader;
  const qelOwnedText path(qelPlugin_GetDefaultPath());
  EXPECT_STREQ(path.get(), loader.GetPluginsPath().c_str());
  EXPECT_FALSE(loader.LoadPluginsStatic("*", false));
  EXPECT_TRUE(loader.IsPluginActive("x"));
  loader.UnloadPlugins();
  EXPECT_EQ(0u, qelPtrList_GetCount(loader.m_handlers));
}

using PluginLoader = PluginLoaderTest;

TEST_F(PluginLoader, LoadsAllThatAreModulesAndLogsTheOthers) {
  CopyModule(m_dir, GoodModule(), "a");
  CopyModule(m_dir, GoodModule(), "b");
  CopyModule(m_dir, GoodModule(), ".hidden");
  const std::string lacking = CopyModule(m_dir, LackingModule(), "c");
  const std::string broken = m_dir.Write(ModuleName("d"), "no module at all");
  const std::string directory = m_dir.MakeDir(ModuleName("e"));
  m_dir.Write("f.txt", "other");
  LogCapture log;
  {
    TestLoader loader(m_dir.Path(), &m_finalized);
    EXPECT_TRUE(loader.LoadPlugins("*", false));
    EXPECT_THAT(loader.Loaded(), UnorderedElementsAre("a", "b", ".hidden"));
    EXPECT_EQ(6, loader.created);
    EXPECT_THAT(loader.asked,
                UnorderedElementsAre(ModuleName("a"), ModuleName("b"), ModuleName(".hidden"),
                                     ModuleName("c"), ModuleName("d"), ""));
    for (size_t i = 0; i < 3; ++i)
      EXPECT_EQ(5, loader.Handler(i)->Add(2, 3));
    EXPECT_EQ(1, loader.Handler(0)->Count());
    EXPECT_EQ(1, loader.Handler(1)->Count()); // another file is another module
    EXPECT_THAT(m_finalized, ElementsAre("c"));
  }
  const Names texts = PluginTexts(log);
  for (const std::string& path : {lacking, broken, directory + "/"})
    EXPECT_THAT(texts, Contains("Failed to load '" + path + "'\n"));
  EXPECT_EQ(9u, texts.size()); // two missing names are two lines each
  for (const CapturedLine& line : log.Lines()) {
    EXPECT_EQ(29u, line.module);
    const bool isOfLoader = line.text.find("Failed to load") == 0;
    EXPECT_EQ(isOfLoader, line.file == "..\\..\\PluginLoader") << line.text;
  }
}

TEST_F(PluginLoader, IsFalseWithoutADirectory) {
  LogCapture log;
  TestLoader loader(m_dir.Path("Plugins"), &m_finalized);
  EXPECT_FALSE(loader.LoadPlugins("*", false));
  ASSERT_EQ(1u, log.Lines().size());
  EXPECT_EQ(43u, log.Lines()[0].module);
  EXPECT_EQ(0, loader.created);
}

TEST_F(PluginLoader, IsFalseAndSilentInAnEmptyDirectory) {
  LogCapture log;
  TestLoader loader(m_dir.Path(), &m_finalized);
  EXPECT_FALSE(loader.LoadPlugins("*", false));
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(PluginLoader, StopsAtTheFirstThatLoads) {
  m_dir.Write(ModuleName("broken"), "no module at all");
  CopyModule(m_dir, GoodModule(), "a");
  CopyModule(m_dir, GoodModule(), "b");
  LogCapture log;
  TestLoader loader(m_dir.Path(), &m_finalized);
  EXPECT_TRUE(loader.LoadPlugins("*", true));
  EXPECT_EQ(1u, loader.Loaded().size());
}

TEST_F(PluginLoader, AddsTheSystemsEndingToThePattern) {
  CopyModule(m_dir, GoodModule(), "one");
  CopyModule(m_dir, GoodModule(), "two");
  CopyModule(m_dir, GoodModule(), "twofold");
  TestLoader loader(m_dir.Path(), &m_finalized);
  EXPECT_TRUE(loader.LoadPlugins("two", false));
  EXPECT_THAT(loader.Loaded(), ElementsAre("two"));
  EXPECT_FALSE(loader.LoadPlugins(ModuleName("one").c_str(), false));
  EXPECT_TRUE(loader.LoadPlugins("t*", false));
  EXPECT_THAT(loader.asked,
              UnorderedElementsAre(ModuleName("two"), ModuleName("two"), ModuleName("twofold")));
}

TEST_F(PluginLoader, TouchesNoModuleThatIsNotActive) {
  CopyModule(m_dir, GoodModule(), "a");
  m_dir.Write(ModuleName("b"), "no module at all");
  LogCapture log;
  TestLoader loader(m_dir.Path(), &m_finalized);
  loader.areInactive = true;
  EXPECT_FALSE(loader.LoadPlugins("*", false));
  EXPECT_EQ(0, loader.created);
  EXPECT_THAT(loader.asked, UnorderedElementsAre(ModuleName("a"), ModuleName("b")));
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(PluginLoader, AddsTheSameModulesAtASecondCall) {
  CopyModule(m_dir, GoodModule(), "a");
  TestLoader loader(m_dir.Path(), &m_finalized);
  EXPECT_TRUE(loader.LoadPlugins("*", false));
  EXPECT_TRUE(loader.LoadPlugins("*", false));
  EXPECT_THAT(loader.Loaded(), ElementsAre("a", "a"));
  EXPECT_EQ(1, loader.Handler(0)->Count());
  EXPECT_EQ(2, loader.Handler(1)->Count());
}

TEST_F(PluginLoader, UnloadsInOrderAndKeepsTheHandlers) {
  for (const char* name : {"a", "b", "c"})
    CopyModule(m_dir, GoodModule(), name);
  {
    TestLoader loader(m_dir.Path(), &m_finalized);
    EXPECT_TRUE(loader.LoadPlugins("*", false));
    const Names names = loader.Loaded();
    loader.UnloadPlugins();
    EXPECT_THAT(m_finalized, ElementsAreArray(names));
    EXPECT_EQ(names, loader.Loaded());
    EXPECT_FALSE(loader.Handler(0)->m_isLoaded);
    ASSERT_TRUE(loader.Handler(0)->Load(loader.Handler(0)->GetFullPath()));
    EXPECT_EQ(1, loader.Handler(0)->Count());
    m_finalized.clear();
  }
  EXPECT_EQ(3u, m_finalized.size()); // the loader's end unloads each once more
}

TEST_F(PluginLoader, CopiesShareTheHandlers) {
  PlainLoader loader;
  // Not destroyed, as only one of the two may be.
  auto* copy = static_cast<PlainLoader*>(::operator new(sizeof(PlainLoader)));
  new (copy) PlainLoader(loader);
  EXPECT_EQ(loader.m_handlers, copy->m_handlers);
  copy->m_handlers = nullptr;
  *copy = loader;
  EXPECT_EQ(loader.m_handlers, copy->m_handlers);
  ::operator delete(static_cast<void*>(copy));
}

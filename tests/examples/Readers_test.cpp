#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <examples/mediaquery/MediaItem.h>
#include <examples/mediaquery/Readers.h>
#include <tests/support/LogCapture.h>
#include <tests/support/MediaFiles.h>
#include <tests/support/Plugins.h>
#include <tests/support/TempDir.h>

using namespace mediaquery;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class ReadersTest : public testing::Test {
protected:
  ~ReadersTest() override { ResetMediaTypes(); }

  void Copy(const char* module, const std::string& name) {
    CopyModule(dir, std::filesystem::absolute(TempDir::Native(module)).generic_u8string(), name);
  }
  size_t Load() { return readers.Load(dir.Path(), &complaints); }

  TempDir dir;
  std::vector<std::string> complaints;
  Readers readers;
};

} // namespace

TEST_F(ReadersTest, AddAKindOfFile) {
  Copy(MINE_READER, "Mine");
  EXPECT_EQ(Load(), 1u);
  EXPECT_EQ(complaints, std::vector<std::string>());
  const MediaType* type = FindMediaType("MINE");
  ASSERT_NE(type, nullptr);
  EXPECT_EQ(type->className, "object.item.imageItem.photo");
  EXPECT_EQ(type->mime, "image/x-test");
  dir.Write("a.mine", "some bytes \x05\x07");
  qelMediaInfo item;
  ASSERT_TRUE(DescribeFile(qelPathName::MakeFilePath(dir.Path("a.mine").c_str()),
                           qelPathName::MakeDirPath(dir.Path().c_str()), *type, &item));
  EXPECT_STREQ(item.GetCString("wi", "").c_str(), "5");
  EXPECT_STREQ(item.GetCString("he", "").c_str(), "7");
  EXPECT_STREQ(item.GetCString("mt", "").c_str(), "image/x-test");
}

TEST_F(ReadersTest, TakeThePlaceOfTheProgramsOwn) {
  Copy(MINE_READER, "Mine");
  Load();
  EXPECT_EQ(FindMediaType("png")->mime, "image/x-test");
  EXPECT_EQ(FindMediaType("gif")->mime, "image/gif");
}

TEST_F(ReadersTest, PassByAFileThatTellsNothing) {
  Copy(MINE_READER, "Mine");
  Load();
  dir.Write("empty.mine");
  qelMediaInfo item;
  ASSERT_TRUE(DescribeFile(qelPathName::MakeFilePath(dir.Path("empty.mine").c_str()),
                           qelPathName::MakeDirPath(dir.Path().c_str()), *FindMediaType("mine"),
                           &item));
  EXPECT_STREQ(item.GetCString("wi", "none").c_str(), "none");
}

TEST_F(ReadersTest, PassByAModuleOfAnotherVersion) {
  Copy(NEWER_READER, "Newer");
  EXPECT_EQ(Load(), 0u);
  EXPECT_THAT(complaints,
              ElementsAre(dir.Path(ModuleName("Newer")) +
                          ": it is a reader of version 2, and only version 1 can be used"));
  EXPECT_EQ(FindMediaType("newer"), nullptr);
}

TEST_F(ReadersTest, PassByAModuleThatDoesNotTellItsExtensions) {
  Copy(SILENT_READER, "Silent");
  EXPECT_EQ(Load(), 0u);
  EXPECT_THAT(complaints, ElementsAre(dir.Path(ModuleName("Silent")) +
                                      ": it does not tell extensions, class and MIME type"));
}

TEST_F(ReadersTest, GoOnBehindModulesThatDoNotLoad) {
  LogCapture log;
  dir.Write(ModuleName("Broken"), "this is no module");
  Copy(GOOD_PLUGIN, "Lacking");
  Copy(MINE_READER, "Mine");
  Copy(NEWER_READER, "Newer");
  dir.MakeDir(ModuleName("Folder"));
  EXPECT_EQ(Load(), 1u);
  EXPECT_NE(FindMediaType("mine"), nullptr);
  EXPECT_EQ(complaints.size(), 1u);
  EXPECT_THAT(log.All(), HasSubstr("Failed to load '" + dir.Path(ModuleName("Broken")) + "'"));
  EXPECT_THAT(log.All(), HasSubstr("Cannot load function 'MediaReader_Version'"));
  EXPECT_THAT(log.All(), HasSubstr("Failed to load '" + dir.Path(ModuleName("Lacking")) + "'"));
  EXPECT_THAT(log.All(), testing::Not(HasSubstr("Folder")));
}

TEST_F(ReadersTest, ComplainOfAMissingFolder) {
  LogCapture log;
  EXPECT_EQ(readers.Load(dir.Path("nowhere"), &complaints), 0u);
  EXPECT_THAT(complaints,
              ElementsAre(dir.Path("nowhere") + ": there is no such folder of plug-ins"));
  EXPECT_EQ(log.All(), "");
}

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <examples/mediaquery/Watch.h>
#include <tests/support/MediaFiles.h>
#include <tests/support/TempDir.h>

using namespace mediaquery;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

// Looks at a folder of its own.
class WatchListTest : public testing::Test {
protected:
  // What a look prints, in lines.
  std::vector<std::string> Look(const char* text = "*") {
    if (list == nullptr)
      list = std::make_unique<WatchList>(options, &interrupt);
    if (options.folders.empty())
      options.folders = {dir.Path()};
    Options looking = options;
    looking.limit = 0;
    CriteriaParser criteria(text);
    EXPECT_TRUE(criteria.Parse());
    testing::internal::CaptureStdout();
    Search search(looking, &criteria, list.get(), &interrupt);
    std::string fault;
    EXPECT_TRUE(search.Run(&fault)) << fault;
    if (!list->IsFull())
      list->EndLook(&fault);
    EXPECT_EQ(fault, "");
    return Lines(testing::internal::GetCapturedStdout());
  }
  static std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    size_t start = 0;
    for (size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', start)) {
      lines.push_back(text.substr(start, end - start));
      start = end + 1;
    }
    EXPECT_EQ(start, text.size()) << "the last line has no end";
    return lines;
  }
  void SetDate(const std::string& name, int seconds) const {
    const std::filesystem::path path = TempDir::Native(dir.Path(name));
    std::filesystem::last_write_time(path, std::filesystem::last_write_time(path) +
                                               std::chrono::seconds(seconds));
  }

  TempDir dir;
  Options options;
  Interrupt interrupt; // not started: there is none
  std::unique_ptr<WatchList> list;
};

typedef WatchListTest WatchListLook;

std::string Change(const std::string& change, const std::string& id) {
  return "{\"change\":\"" + change + "\",\"@id\":\"" + id + "\",\"@parentID\":\"";
}

} // namespace

TEST_F(WatchListLook, TellsEveryHitAsAddedAtFirst) {
  dir.MakeDir("In");
  dir.Write("In/a.png", MakePNG(2, 3));
  EXPECT_THAT(Look(), ElementsAre(AllOf(StartsWith(Change("added", "In/a.png")),
                                        HasSubstr("\"res@resolution\":\"2x3\""), EndsWith("}"))));
}

TEST_F(WatchListLook, TellsNothingWhenNothingChanged) {
  dir.Write("a.png", MakePNG(2, 3));
  EXPECT_EQ(Look().size(), 1u);
  EXPECT_THAT(Look(), IsEmpty());
  EXPECT_THAT(Look(), IsEmpty());
}

TEST_F(WatchListLook, TellsANewFile) {
  dir.Write("a.png", MakePNG(2, 3));
  Look();
  dir.Write("b.png", MakePNG(2, 3));
  EXPECT_THAT(Look(), ElementsAre(StartsWith(Change("added", "b.png"))));
  EXPECT_THAT(Look(), IsEmpty());
}

TEST_F(WatchListLook, TellsAnotherSize) {
  dir.Write("a.png", MakePNG(2, 3));
  Look();
  dir.Write("a.png", MakePNG(4, 5) + "more");
  EXPECT_THAT(Look(), ElementsAre(AllOf(StartsWith(Change("changed", "a.png")),
                                        HasSubstr("\"res@resolution\":\"4x5\""))));
  EXPECT_THAT(Look(), IsEmpty());
}

TEST_F(WatchListLook, TellsAnotherDate) {
  dir.Write("a.png", MakePNG(2, 3));
  Look();
  SetDate("a.png", -10);
  EXPECT_THAT(Look(), ElementsAre(StartsWith(Change("changed", "a.png"))));
  EXPECT_THAT(Look(), IsEmpty());
}

TEST_F(WatchListLook, TellsAFileThatIsGoneByItsNameSizeAndDate) {
  dir.MakeDir("In");
  dir.Write("In/a.png", std::string(77, 'x'));
  const std::vector<std::string> added = Look();
  ASSERT_EQ(added.size(), 1u);
  std::filesystem::remove(TempDir::Native(dir.Path("In/a.png")));
  // A file without a header to read: all that was told of it is known from the name and the record.
  EXPECT_THAT(Look(), ElementsAre("{\"change\":\"removed\"" +
                                  added[0].substr(std::string("{\"change\":\"added\"").size())));
  EXPECT_THAT(Look(), IsEmpty());
}

TEST_F(WatchListLook, TellsRemovedFilesInTheOrderOfTheirNames) {
  for (const char* name : {"c.png", "a.png", "b.png", "kept.png"})
    dir.Write(name, MakePNG(1, 1));
  EXPECT_EQ(Look().size(), 4u);
  for (const char* name : {"b.png", "c.png", "a.png"})
    std::filesystem::remove(TempDir::Native(dir.Path(name)));
  EXPECT_THAT(Look(), ElementsAre(StartsWith(Change("removed", "a.png")),
                                  StartsWith(Change("removed", "b.png")),
                                  StartsWith(Change("removed", "c.png"))));
}

TEST_F(WatchListLook, TellsAHitThatIsNoneAnyMoreAsRemoved) {
  const char* criteria = "res@resolution = \"2x3\"";
  dir.Write("a.png", MakePNG(2, 3));
  EXPECT_EQ(Look(criteria).size(), 1u);
  dir.Write("a.png", MakePNG(4, 5));
  EXPECT_THAT(Look(criteria), ElementsAre(StartsWith(Change("removed", "a.png"))));
  EXPECT_THAT(Look(criteria), IsEmpty());
}

TEST_F(WatchListLook, TellsAFileThatCameBackAsAdded) {
  dir.Write("a.png", MakePNG(2, 3));
  Look();
  std::filesystem::remove(TempDir::Native(dir.Path("a.png")));
  Look();
  dir.Write("a.png", MakePNG(2, 3));
  EXPECT_THAT(Look(), ElementsAre(StartsWith(Change("added", "a.png"))));
}

TEST_F(WatchListLook, TellsFilesOfTwoFoldersApart) {
  for (const char* folder : {"x", "y"}) {
    options.folders.push_back(dir.MakeDir(folder));
    dir.Write(std::string(folder) + "/a.png", MakePNG(1, 1));
  }
  EXPECT_THAT(Look(),
              ElementsAre(AllOf(StartsWith(Change("added", "a.png")), HasSubstr("/x/a.png\"")),
                          AllOf(StartsWith(Change("added", "a.png")), HasSubstr("/y/a.png\""))));
  std::filesystem::remove(TempDir::Native(dir.Path("y/a.png")));
  EXPECT_THAT(Look(),
              ElementsAre(AllOf(StartsWith(Change("removed", "a.png")), HasSubstr("/y/a.png\""))));
}

TEST_F(WatchListLook, EndsAtTheLimitOfLinesOverAllLooks) {
  options.limit = 3;
  for (const char* name : {"a.png", "b.png"})
    dir.Write(name, MakePNG(1, 1));
  EXPECT_EQ(Look().size(), 2u);
  EXPECT_FALSE(list->IsFull());
  for (const char* name : {"c.png", "d.png"})
    dir.Write(name, MakePNG(1, 1));
  EXPECT_EQ(Look().size(), 1u);
  EXPECT_TRUE(list->IsFull());
}

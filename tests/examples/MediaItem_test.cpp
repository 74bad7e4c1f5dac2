#include <cstdio>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include <examples/mediaquery/MediaItem.h>
#include <tests/support/LogCapture.h>
#include <tests/support/MediaFiles.h>
#include <tests/support/TempDir.h>

using namespace mediaquery;

namespace {

class MediaItem : public testing::Test {
protected:
  bool Describe(const std::string& name) {
    const qelPathName file = qelPathName::MakeFilePath(dir.Path(name).c_str());
    const MediaType* type = FindMediaType(file.GetExtension().c_str());
    return type != nullptr &&
           DescribeFile(file, qelPathName::MakeDirPath(dir.Path().c_str()), *type, &item);
  }
  std::string Get(const char* key) { return item.GetCString(key, "(none)").c_str(); }

  TempDir dir;
  qelMediaInfo item;
};

} // namespace

TEST_F(MediaItem, DescribesAPicture) {
  dir.MakeDir("Holiday");
  dir.Write("Holiday/The Sea.png", MakePNG(640, 480));
  ASSERT_TRUE(Describe("Holiday/The Sea.png"));
  EXPECT_STREQ(item.title.c_str(), "The Sea");
  EXPECT_STREQ(item.album.c_str(), "Holiday");
  EXPECT_EQ(Get("cn"), "object.item.imageItem.photo");
  EXPECT_EQ(Get("mt"), "image/png");
  EXPECT_EQ(Get("si"), std::to_string(MakePNG(640, 480).size()));
  EXPECT_EQ(Get("wi"), "640");
  EXPECT_EQ(Get("he"), "480");
  EXPECT_EQ(Get("du"), "(none)");
  EXPECT_EQ(Get("id"), "Holiday/The Sea.png");
  EXPECT_EQ(Get("pa"), "Holiday");
  EXPECT_TRUE(item.date.IsValid());
  EXPECT_TRUE(item.Validate());
}

TEST_F(MediaItem, DescribesASound) {
  dir.Write("tone.wav", MakeWAV(2, 8000, 16, 20000));
  ASSERT_TRUE(Describe("tone.wav"));
  EXPECT_EQ(Get("cn"), "object.item.audioItem.musicTrack");
  EXPECT_EQ(Get("mt"), "audio/wav");
  EXPECT_EQ(Get("du"), "2500");
  EXPECT_EQ(Get("ch"), "2");
  EXPECT_EQ(Get("sr"), "8000");
  EXPECT_EQ(Get("bs"), "16");
  EXPECT_EQ(Get("wi"), "(none)");
  EXPECT_STREQ(item.album.c_str(), "");
  EXPECT_EQ(Get("pa"), "0");
}

TEST_F(MediaItem, DescribesAFileWhoseHeaderIsCut) {
  dir.Write("cut.png", MakePNG(640, 480).substr(0, 20));
  ASSERT_TRUE(Describe("cut.png"));
  EXPECT_EQ(Get("wi"), "(none)");
  EXPECT_EQ(Get("si"), "20");
}

TEST_F(MediaItem, DescribesAnEmptyFile) {
  dir.Write("empty.wav");
  ASSERT_TRUE(Describe("empty.wav"));
  EXPECT_EQ(Get("si"), "0");
  EXPECT_EQ(Get("ch"), "(none)");
}

TEST_F(MediaItem, ReadsAHeaderThatLiesFarFromTheStart) {
  dir.Write("far.jpg", "\xFF\xD8" + MakeSegment(0xE1, std::string(65000, 'x')) +
                           MakeSegment(0xE1, std::string(65000, 'x')) + MakeFrame(0xC2, 64, 48));
  ASSERT_TRUE(Describe("far.jpg"));
  EXPECT_EQ(Get("wi"), "64");
  EXPECT_EQ(Get("he"), "48");
}

TEST_F(MediaItem, GivesAReaderAllTheBytesThatItAsksFor) {
  std::string content;
  for (int i = 0; i < 2000; ++i)
    content += static_cast<char>(i * i >> 3);
  dir.Write("large.any", content);
  const auto read = [](ByteSource& source, uint64_t offset, size_t n) {
    std::string bytes(n, '?');
    bytes.resize(source.Read(offset, &bytes[0], n));
    return bytes;
  };
  const auto check = [&](ByteSource& source, MediaFacts*) {
    for (const size_t offset : {0, 1, 500, 511, 512, 513, 1990, 1999})
      for (const size_t n : {0, 1, 12, 511, 512, 513, 1500, 2000, 5000})
        EXPECT_EQ(read(source, offset, n), content.substr(offset, n)) << offset << " " << n;
    EXPECT_EQ(read(source, 2000, 1), "");
    EXPECT_EQ(read(source, ~uint64_t{0}, 2), "");
    EXPECT_EQ(read(source, 1998, 2), content.substr(1998));
    return false;
  };
  EXPECT_TRUE(DescribeFile(qelPathName::MakeFilePath(dir.Path("large.any").c_str()),
                           qelPathName::MakeDirPath(dir.Path().c_str()),
                           {kPhotoClass, "image/any", check}, &item));
}

TEST_F(MediaItem, RefusesAFileThatIsGone) {
  LogCapture log;
  dir.Write("gone.png", MakePNG(1, 1));
  std::remove(dir.Path("gone.png").c_str());
  EXPECT_FALSE(Describe("gone.png"));
  EXPECT_EQ(log.All(), "");
}

TEST_F(MediaItem, RefusesAFolder) {
  dir.MakeDir("folder.png");
  EXPECT_FALSE(Describe("folder.png"));
}

TEST(FindMediaType, KnowsExtensionsInAnyCase) {
  EXPECT_EQ(FindMediaType("PNG")->mime, "image/png");
  EXPECT_EQ(FindMediaType("Jpeg")->mime, "image/jpeg");
  EXPECT_EQ(FindMediaType("mp4")->className, "object.item.videoItem.movie");
}

TEST(FindMediaType, KnowsNoOtherExtensions) {
  for (const char* extension : {"", "txt", "pn", "pngs", "html"})
    EXPECT_EQ(FindMediaType(extension), nullptr) << extension;
}

TEST(SetMediaType, AddsAndReplacesRowsInAnyCase) {
  SetMediaType("HEIC", {kPhotoClass, "image/heic", nullptr});
  SetMediaType("png", {kPhotoClass, "image/x-png", nullptr});
  EXPECT_EQ(FindMediaType("heic")->mime, "image/heic");
  EXPECT_EQ(FindMediaType("PNG")->mime, "image/x-png");
  EXPECT_FALSE(FindMediaType("png")->readHeader);
  ResetMediaTypes();
  EXPECT_EQ(FindMediaType("heic"), nullptr);
  EXPECT_EQ(FindMediaType("png")->mime, "image/png");
  EXPECT_TRUE(FindMediaType("png")->readHeader);
}

TEST(RemoveMediaType, TakesARowAway) {
  RemoveMediaType("SVG");
  RemoveMediaType("nothing");
  EXPECT_EQ(FindMediaType("svg"), nullptr);
  EXPECT_NE(FindMediaType("png"), nullptr);
  ResetMediaTypes();
  EXPECT_NE(FindMediaType("svg"), nullptr);
}

#include <algorithm>
#include <cstring>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include <examples/mediaquery/MediaHeader.h>
#include <tests/support/MediaFiles.h>

using namespace mediaquery;

namespace {

class TextSource : public ByteSource {
public:
  explicit TextSource(const std::string& bytes) : m_bytes(bytes) {}

  size_t Read(uint64_t offset, void* buffer, size_t n) override {
    ++reads;
    if (offset >= m_bytes.size())
      return 0;
    const size_t count = std::min(n, m_bytes.size() - static_cast<size_t>(offset));
    std::memcpy(buffer, m_bytes.data() + offset, count);
    return count;
  }
  uint64_t Size() override { return m_bytes.size(); }

  int reads = 0;

private:
  std::string m_bytes;
};

using Reader = bool (*)(ByteSource&, MediaFacts*);

bool Reads(Reader reader, const std::string& bytes, MediaFacts* facts) {
  TextSource source(bytes);
  return reader(source, facts);
}

// "WxH", or "no".
std::string Size(Reader reader, const std::string& bytes) {
  MediaFacts facts;
  if (!Reads(reader, bytes, &facts))
    return "no";
  return std::to_string(facts.width) + "x" + std::to_string(facts.height);
}

// "channels rate bits milliseconds", or "no".
std::string Sound(const std::string& bytes) {
  MediaFacts facts;
  if (!Reads(ReadWAVHeader, bytes, &facts) || !facts.hasDuration)
    return "no";
  return std::to_string(facts.channels) + " " + std::to_string(facts.sampleRate) + " " +
         std::to_string(facts.bitsPerSample) + " " + std::to_string(facts.durationMS);
}

} // namespace

TEST(ReadPNGHeader, TellsTheSize) {
  EXPECT_EQ(Size(ReadPNGHeader, MakePNG(640, 480)), "640x480");
  EXPECT_EQ(Size(ReadPNGHeader, MakePNG(1, 0x7FFFFFFF)), "1x2147483647");
}

TEST(ReadPNGHeader, RefusesASizeThatNoPictureHas) {
  EXPECT_EQ(Size(ReadPNGHeader, MakePNG(0, 480)), "no");
  EXPECT_EQ(Size(ReadPNGHeader, MakePNG(640, 0)), "no");
  EXPECT_EQ(Size(ReadPNGHeader, MakePNG(0x80000000, 480)), "no");
}

TEST(ReadPNGHeader, RefusesAnythingElse) {
  EXPECT_EQ(Size(ReadPNGHeader, MakeGIF(640, 480) + std::string(30, '\0')), "no");
  std::string other = MakePNG(640, 480);
  other[12] = 'J';
  EXPECT_EQ(Size(ReadPNGHeader, other), "no");
}

TEST(ReadGIFHeader, TellsTheSizeOfBothVersions) {
  EXPECT_EQ(Size(ReadGIFHeader, MakeGIF(640, 480, "87a")), "640x480");
  EXPECT_EQ(Size(ReadGIFHeader, MakeGIF(65535, 1, "89a")), "65535x1");
  EXPECT_EQ(Size(ReadGIFHeader, MakeGIF(640, 480, "88a")), "no");
  EXPECT_EQ(Size(ReadGIFHeader, MakeGIF(0, 480)), "no");
}

TEST(ReadJPEGHeader, TellsTheSizeFromTheFrameHeader) {
  EXPECT_EQ(Size(ReadJPEGHeader, MakeJPEG(640, 480)), "640x480");
}

TEST(ReadJPEGHeader, KnowsEveryFrameMarkerAndNoOther) {
  for (uint32_t marker = 0xC0; marker <= 0xCF; ++marker) {
    const bool isFrame = marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
    EXPECT_EQ(Size(ReadJPEGHeader, "\xFF\xD8" + MakeFrame(marker, 64, 48)),
              isFrame ? "64x48" : "no")
        << marker;
  }
}

TEST(ReadJPEGHeader, PassesOverOtherSegmentsFillBytesAndLoneMarkers) {
  EXPECT_EQ(Size(ReadJPEGHeader, "\xFF\xD8" + MakeSegment(0xE1, std::string(60000, 'x')) +
                                     "\xFF\xFF\xFF" + MakeSegment(0xFE, "") + "\xFF\x01\xFF\xD0" +
                                     MakeFrame(0xC2, 64, 48)),
            "64x48");
}

TEST(ReadJPEGHeader, StopsWhereThePictureBeginsOrEnds) {
  EXPECT_EQ(Size(ReadJPEGHeader, "\xFF\xD8" + MakeSegment(0xDA, "") + MakeFrame(0xC0, 64, 48)),
            "no");
  EXPECT_EQ(Size(ReadJPEGHeader, "\xFF\xD8\xFF\xD9" + MakeFrame(0xC0, 64, 48)), "no");
}

TEST(ReadJPEGHeader, RefusesALengthThatDoesNotCountItself) {
  EXPECT_EQ(Size(ReadJPEGHeader, "\xFF\xD8\xFF\xE0" + BigBytes(1, 2) + MakeFrame(0xC0, 64, 48)),
            "no");
}

TEST(ReadJPEGHeader, TakesABoundedNumberOfSteps) {
  std::string hostile = "\xFF\xD8";
  hostile.append(1 << 20, '\xFF');
  TextSource source(hostile);
  MediaFacts facts;
  EXPECT_FALSE(ReadJPEGHeader(source, &facts));
  EXPECT_LT(source.reads, 3000);
}

TEST(ReadWAVHeader, TellsTheFourFactsOfSound) {
  EXPECT_EQ(Sound(MakeWAV(2, 44100, 16, 44100)), "2 44100 16 1000");
  EXPECT_EQ(Sound(MakeWAV(1, 8000, 8, 20000)), "1 8000 8 2500");
}

TEST(ReadWAVHeader, PassesOverOtherChunksWithTheirPadding) {
  EXPECT_EQ(Sound(MakeRIFF(MakeChunk("LIST", "odd") + MakeWAVFormat(1, 8000, 16) +
                           MakeChunk("fact", "1234") + MakeChunk("data", std::string(16000, 'x')))),
            "1 8000 16 1000");
}

TEST(ReadWAVHeader, TakesTheDataAheadOfTheForm) {
  EXPECT_EQ(
      Sound(MakeRIFF(MakeChunk("data", std::string(16000, 'x')) + MakeWAVFormat(1, 8000, 16))),
      "1 8000 16 1000");
}

TEST(ReadWAVHeader, CountsTheBytesThatAreThereWhenTheFileClaimsMore) {
  EXPECT_EQ(Sound(MakeWAV(1, 8000, 16, 8000).substr(0, 44 + 4000)), "1 8000 16 250");
  EXPECT_EQ(Sound(MakeRIFF(MakeWAVFormat(1, 8000, 16) + "data\xFF\xFF\xFF\xFF" +
                           std::string(16000, 'x'))),
            "1 8000 16 1000");
}

TEST(ReadWAVHeader, FindsNoFormInsideOfDataThatClaimsTheGreatestLength) {
  EXPECT_EQ(Sound(MakeRIFF("data" + LittleBytes(0xFFFFFFFF, 4) + MakeWAVFormat(1, 8000, 16))),
            "no");
}

TEST(ReadWAVHeader, GivesNoDurationForEmptyData) {
  EXPECT_EQ(Sound(MakeWAV(1, 8000, 16, 0)), "1 8000 16 0");
}

TEST(ReadWAVHeader, RefusesAFileWithoutFormOrData) {
  EXPECT_EQ(Sound(MakeRIFF(MakeWAVFormat(1, 8000, 16))), "no");
  EXPECT_EQ(Sound(MakeRIFF(MakeChunk("data", "1234"))), "no");
  EXPECT_EQ(Sound(MakeRIFF(MakeChunk("fmt ", "short") + MakeChunk("data", "1234"))), "no");
}

TEST(ReadWAVHeader, RefusesAFormWithoutChannelsOrRate) {
  EXPECT_EQ(Sound(MakeWAV(0, 8000, 16, 100)), "no");
  EXPECT_EQ(Sound(MakeWAV(1, 0, 16, 100)), "no");
}

TEST(ReadWAVHeader, TakesABoundedNumberOfSteps) {
  std::string chunks;
  for (int i = 0; i < 5000; ++i)
    chunks += MakeChunk("LIST", "");
  TextSource source(MakeRIFF(chunks + MakeWAVFormat(1, 8000, 16) + MakeChunk("data", "1234")));
  MediaFacts facts;
  EXPECT_FALSE(ReadWAVHeader(source, &facts));
  EXPECT_LT(source.reads, 3000);
}

TEST(MediaHeaders, LeaveTheFactsAloneOnFailureWhereverTheFileIsCut) {
  const struct {
    Reader reader;
    std::string whole;
    size_t needed; // bytes without which the facts can't be told
  } rows[] = {
      {ReadPNGHeader, MakePNG(640, 480), 24},
      {ReadGIFHeader, MakeGIF(640, 480), 10},
      {ReadJPEGHeader, MakeJPEG(640, 480), 2 + 18 + 9},
      {ReadWAVHeader, MakeWAV(2, 8000, 16, 10), 44},
  };
  for (const auto& row : rows)
    for (size_t length = 0; length <= row.whole.size(); ++length) {
      MediaFacts facts;
      facts.width = 7;
      facts.channels = 9;
      const bool read = Reads(row.reader, row.whole.substr(0, length), &facts);
      EXPECT_EQ(read, length >= row.needed) << length << " of " << row.whole.size();
      if (!read) {
        EXPECT_EQ(facts.width, 7u);
        EXPECT_EQ(facts.channels, 9u);
        EXPECT_FALSE(facts.hasDuration);
      }
    }
}

TEST(MediaHeaders, TakeAnyBytes) {
  std::mt19937 random(5);
  const std::string seeds[] = {MakePNG(1, 1), MakeGIF(1, 1), MakeJPEG(1, 1), MakeWAV(1, 8, 8, 9)};
  for (int round = 0; round < 20000; ++round) {
    std::string bytes = seeds[random() % 4];
    for (int n = static_cast<int>(random() % 4); n >= 0; --n)
      bytes[random() % bytes.size()] = static_cast<char>(random());
    for (const Reader reader : {ReadPNGHeader, ReadGIFHeader, ReadJPEGHeader, ReadWAVHeader}) {
      MediaFacts facts;
      if (Reads(reader, bytes, &facts)) {
        EXPECT_TRUE(facts.width != 0 || facts.hasDuration);
      }
    }
  }
}

#include <cstring>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <examples/mediaquery/Reader.h>
#include <tests/support/MediaFiles.h>

namespace {

// The bytes of a file, in a room of just their size.
struct Bytes {
  explicit Bytes(const std::string& text) : size(text.size()), data(new char[size]) {
    std::memcpy(data.get(), text.data(), size);
  }

  size_t size;
  std::unique_ptr<char[]> data;
  int reads = 0;
};

size_t ReadBytes(void* context, uint64_t offset, void* buffer, size_t n) {
  Bytes* bytes = static_cast<Bytes*>(context);
  ++bytes->reads;
  if (offset >= bytes->size)
    return 0;
  const size_t left = bytes->size - static_cast<size_t>(offset);
  const size_t count = n < left ? n : left;
  std::memcpy(buffer, bytes->data.get() + offset, count);
  return count;
}

uint64_t SizeOfBytes(void* context) {
  return static_cast<Bytes*>(context)->size;
}

bool Read(const std::string& text, MediaReaderFacts* facts, int* reads = nullptr) {
  Bytes bytes(text);
  const MediaReaderSource source = {&bytes, &ReadBytes, &SizeOfBytes};
  *facts = MediaReaderFacts();
  const bool known = MediaReader_Read(&source, facts) != 0;
  if (reads != nullptr)
    *reads = bytes.reads;
  return known;
}

} // namespace

TEST(AiffReader, TellsItsKind) {
  EXPECT_EQ(MediaReader_Version(), static_cast<uint32_t>(MEDIA_READER_VERSION));
  EXPECT_STREQ(MediaReader_Extensions(), "aif aiff aifc");
  EXPECT_STREQ(MediaReader_ClassName(), "object.item.audioItem.musicTrack");
  EXPECT_STREQ(MediaReader_MIMEType(), "audio/aiff");
}

TEST(AiffReader, TellsTheFactsOfASound) {
  MediaReaderFacts facts;
  ASSERT_TRUE(Read(MakeAIFF(2, 44100, 16, 110250), &facts));
  EXPECT_EQ(facts.channels, 2u);
  EXPECT_EQ(facts.sampleRate, 44100u);
  EXPECT_EQ(facts.bitsPerSample, 16u);
  EXPECT_EQ(facts.hasDuration, 1u);
  EXPECT_EQ(facts.durationMS, 2500u);
  EXPECT_EQ(facts.width + facts.height, 0u);
}

TEST(AiffReader, ReadsRatesOverTheirWholeRange) {
  for (const uint32_t rate :
       {1u, 2u, 3u, 8000u, 11025u, 22255u, 192000u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
    MediaReaderFacts facts;
    ASSERT_TRUE(Read(MakeAIFF(1, rate, 8, 0), &facts)) << rate;
    EXPECT_EQ(facts.sampleRate, rate);
  }
}

TEST(AiffReader, CutsTheFractionOfARate) {
  // 22254.5454..., the rate of old sounds.
  const std::string common = BigBytes(1, 2) + BigBytes(0, 4) + BigBytes(8, 2) +
                             BigBytes(16383 + 14, 2) + BigBytes(0xADDD1745, 4) +
                             BigBytes(0xD1745D17, 4);
  MediaReaderFacts facts;
  ASSERT_TRUE(Read(MakeFORM("AIFF", MakeBigChunk("COMM", common)), &facts));
  EXPECT_EQ(facts.sampleRate, 22254u);
}

TEST(AiffReader, RefusesRatesBelowOneAndAboveTheField) {
  const struct {
    uint32_t exponent;
    uint32_t mantissa;
  } kRates[] = {{16382, 0x80000000},          {0, 0},        {16383 + 32, 0x80000000},
                {0x8000 | 16383, 0x80000000}, {0x7FFF, ~0u}, {16383 + 5, 0}};
  for (const auto& rate : kRates) {
    const std::string common = BigBytes(1, 2) + BigBytes(1, 4) + BigBytes(8, 2) +
                               BigBytes(rate.exponent, 2) + BigBytes(rate.mantissa, 4) +
                               BigBytes(0, 4);
    MediaReaderFacts facts;
    EXPECT_FALSE(Read(MakeFORM("AIFF", MakeBigChunk("COMM", common)), &facts)) << rate.exponent;
  }
}

TEST(AiffReader, FindsItsChunkBehindOthersOfAnySize) {
  const std::string chunks =
      MakeBigChunk("NAME", "odd") + MakeBigChunk("ANNO", "") + MakeAIFFCommon(1, 8000, 8, 0);
  MediaReaderFacts facts;
  EXPECT_TRUE(Read(MakeFORM("AIFF", chunks), &facts));
  EXPECT_EQ(facts.sampleRate, 8000u);
}

TEST(AiffReader, TellsTheLengthOfPlainSamplesOnly) {
  const struct {
    const char* compression;
    bool hasDuration;
  } kCases[] = {{"NONE", true}, {"sowt", true}, {"ima4", false}, {"fl32", false}};
  for (const auto& row : kCases) {
    MediaReaderFacts facts;
    ASSERT_TRUE(Read(MakeFORM("AIFC", MakeAIFFCommon(1, 8000, 8, 8, row.compression)), &facts));
    EXPECT_EQ(facts.hasDuration != 0, row.hasDuration) << row.compression;
  }
}

TEST(AiffReader, DoesNotBelieveALengthThatTheFileCanNotHold) {
  const std::string form = MakeAIFFCommon(1, 1000, 8, 0xFFFFFFFF);
  const std::string samples(50, '\0');
  const struct {
    std::string chunks;
    uint64_t milliseconds;
  } kCases[] = {
      {form + MakeBigChunk("SSND", std::string(8, '\0') + samples), 50},
      {form + MakeBigChunk("SSND", std::string(8, '\0') + samples) + MakeBigChunk("ANNO", samples),
       50},
      {MakeBigChunk("SSND", std::string(8, '\0') + samples) + form, 50},
      // Ten bytes are left out, all of them, and more than there are.
      {form + MakeBigChunk("SSND", BigBytes(10, 4) + BigBytes(0, 4) + samples), 40},
      {form + MakeBigChunk("SSND", BigBytes(50, 4) + BigBytes(0, 4) + samples), 0},
      {form + MakeBigChunk("SSND", BigBytes(0xFFFFFFFF, 4) + BigBytes(0, 4) + samples), 0},
      // A size that goes beyond the file.
      {form + "SSND" + BigBytes(0xFFFFFFFF, 4) + std::string(8, '\0') + samples, 50},
      {form + MakeBigChunk("SSND", "short"), 0},
      {form, 0},
  };
  for (const auto& row : kCases) {
    MediaReaderFacts facts;
    ASSERT_TRUE(Read(MakeFORM("AIFF", row.chunks), &facts));
    EXPECT_EQ(facts.hasDuration, 1u);
    EXPECT_EQ(facts.durationMS, row.milliseconds) << &row - kCases;
  }
}

TEST(AiffReader, CountsTheSamplesOfAFileThatIsCut) {
  const std::string file = MakeAIFF(2, 1000, 16, 10);
  for (size_t lost = 0; lost <= 40; ++lost) {
    MediaReaderFacts facts;
    ASSERT_TRUE(Read(file.substr(0, file.size() - lost), &facts));
    EXPECT_EQ(facts.durationMS, (40 - lost) / 4) << lost;
  }
}

TEST(AiffReader, RefusesAFileThatIsCutAnywhereAheadOfItsSamples) {
  const std::string file = MakeFORM("AIFC", MakeAIFFCommon(2, 8000, 16, 4, "NONE"));
  for (size_t length = 0; length < file.size(); ++length) {
    MediaReaderFacts facts;
    EXPECT_FALSE(Read(file.substr(0, length), &facts)) << length;
    EXPECT_EQ(facts.channels, 0u);
  }
  MediaReaderFacts facts;
  EXPECT_TRUE(Read(file, &facts));
}

TEST(AiffReader, RefusesOtherFilesAndSoundsWithoutAForm) {
  for (const std::string& file :
       {MakeWAV(1, 8000, 8, 4), MakeFORM("8SVX", MakeAIFFCommon(1, 8000, 8, 0)),
        MakeFORM("AIFF", ""), MakeFORM("AIFF", MakeBigChunk("COMM", std::string(17, '\x40'))),
        MakeFORM("AIFF", MakeAIFFCommon(0, 8000, 8, 0)),
        MakeFORM("AIFF", MakeAIFFCommon(1, 8000, 0, 0))}) {
    MediaReaderFacts facts;
    EXPECT_FALSE(Read(file, &facts));
  }
}

TEST(AiffReader, EndsItsWalkOverMoreChunksThanAFileHas) {
  std::string chunks;
  for (int i = 0; i < 5000; ++i)
    chunks += MakeBigChunk("ANNO", "");
  MediaReaderFacts facts;
  int reads = 0;
  EXPECT_FALSE(Read(MakeFORM("AIFF", chunks + MakeAIFFCommon(1, 8000, 8, 0)), &facts, &reads));
  EXPECT_LE(reads, 1025);
  EXPECT_TRUE(Read(MakeFORM("AIFF", MakeAIFFCommon(1, 8000, 8, 1) + chunks), &facts, &reads));
  EXPECT_EQ(facts.durationMS, 0u);
  EXPECT_LE(reads, 1030);
}

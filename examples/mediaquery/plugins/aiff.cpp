// A plug-in reader for sounds of the formats AIFF and AIFF-C: the sample of Reader.h. It uses nothing of
// the program or the library.
//
//   "FORM" size "AIFF" or "AIFC", then chunks: name, size, content, a byte more if that is odd
//   COMM  channels (16 bits), frames (32), bits of a sample (16), rate (80-bit floating point),
//         in AIFC then the compression (4 letters)
//   SSND  bytes to leave out (32 bits), 4 more bytes, those to leave out, then the samples
//
// All numbers are big-endian. The bytes are hostile: the walk over chunks is bounded, and nothing is
// allocated.

#include <cstring>

#include "../Reader.h"

static const int kMaxChunks = 1024; // a real file has a few

static uint32_t Big16(const uint8_t* p) {
  return static_cast<uint32_t>(p[0] << 8 | p[1]);
}

static uint32_t Big32(const uint8_t* p) {
  return Big16(p) << 16 | Big16(p + 2);
}

static bool ReadWhole(const MediaReaderSource* source, uint64_t offset, uint8_t* buffer, size_t n) {
  return source->read(source->context, offset, buffer, n) == n;
}

// The whole part of an 80-bit floating point number: sign and exponent, then the 64 bits behind the
// binary point's first place. 0: it is below 1, or does not fit.
static uint32_t WholePart(const uint8_t* p) {
  static const uint32_t kOne = 16383; // the exponent of numbers from 1 to below 2
  const uint32_t exponent = Big16(p);
  if (exponent < kOne || exponent > kOne + 31)
    return 0;
  return Big32(p + 2) >> (31 - (exponent - kOne));
}

// Where the content of the first chunk of this name begins, and the size that it claims. 0: there is none.
static uint64_t FindChunk(const MediaReaderSource* source, const char* name, uint32_t* size) {
  uint64_t offset = 12;
  for (int i = 0; i < kMaxChunks; ++i) {
    uint8_t chunk[8];
    if (!ReadWhole(source, offset, chunk, sizeof chunk))
      return 0;
    offset += 8;
    *size = Big32(chunk + 4);
    if (std::memcmp(chunk, name, 4) == 0)
      return offset;
    offset += uint64_t{*size} + *size % 2;
  }
  return 0;
}

// How many bytes of samples the file really holds.
static uint64_t SampleBytes(const MediaReaderSource* source) {
  uint8_t start[8];
  uint32_t size = 0;
  const uint64_t offset = FindChunk(source, "SSND", &size);
  if (offset == 0 || !ReadWhole(source, offset, start, sizeof start))
    return 0;
  const uint64_t fileSize = source->size(source->context);
  const uint64_t inFile = fileSize > offset ? fileSize - offset : 0;
  const uint64_t held = size < inFile ? size : inFile;
  const uint64_t ahead = 8 + uint64_t{Big32(start)};
  return held > ahead ? held - ahead : 0;
}

// Whether the samples of an AIFC stand there as they are.
static bool IsPlain(const uint8_t* compression) {
  return std::memcmp(compression, "NONE", 4) == 0 || std::memcmp(compression, "sowt", 4) == 0;
}

// The length of the sound, or of what the file really holds if it claims more.
static uint64_t Milliseconds(uint64_t frames, uint64_t sampleBytes, const MediaReaderFacts& facts) {
  const uint64_t block = uint64_t{facts.channels} * ((facts.bitsPerSample + 7) / 8);
  const uint64_t held = sampleBytes / block;
  return (frames < held ? frames : held) * 1000 / facts.sampleRate;
}

uint32_t MediaReader_Version(void) {
  return MEDIA_READER_VERSION;
}

const char* MediaReader_Extensions(void) {
  return "aif aiff aifc";
}

const char* MediaReader_ClassName(void) {
  return "object.item.audioItem.musicTrack";
}

const char* MediaReader_MIMEType(void) {
  return "audio/aiff";
}

int MediaReader_Read(const MediaReaderSource* source, MediaReaderFacts* facts) {
  uint8_t start[12];
  if (!ReadWhole(source, 0, start, sizeof start) || std::memcmp(start, "FORM", 4) != 0)
    return 0;
  const bool packed = std::memcmp(start + 8, "AIFC", 4) == 0;
  if (!packed && std::memcmp(start + 8, "AIFF", 4) != 0)
    return 0;
  uint8_t common[22];
  const uint32_t length = packed ? 22 : 18;
  uint32_t size = 0;
  const uint64_t offset = FindChunk(source, "COMM", &size);
  if (offset == 0 || size < length || !ReadWhole(source, offset, common, length))
    return 0;
  MediaReaderFacts told = {};
  told.channels = Big16(common);
  told.bitsPerSample = Big16(common + 6);
  told.sampleRate = WholePart(common + 8);
  if (told.channels == 0 || told.bitsPerSample == 0 || told.sampleRate == 0)
    return 0;
  if (!packed || IsPlain(common + 18)) {
    told.hasDuration = 1;
    told.durationMS = Milliseconds(Big32(common + 2), SampleBytes(source), told);
  }
  *facts = told;
  return 1;
}

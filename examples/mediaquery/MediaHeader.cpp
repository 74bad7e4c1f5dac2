#include "MediaHeader.h"

#include <algorithm>
#include <cstring>

namespace mediaquery {

// No file needs as many segments or chunks ahead of the one that is looked for; a hostile one has them.
static const int kMaxSteps = 1024;

static uint32_t Big16(const uint8_t* p) {
  return static_cast<uint32_t>(p[0] << 8 | p[1]);
}

static uint32_t Big32(const uint8_t* p) {
  return Big16(p) << 16 | Big16(p + 2);
}

static uint32_t Little16(const uint8_t* p) {
  return static_cast<uint32_t>(p[1] << 8 | p[0]);
}

static uint32_t Little32(const uint8_t* p) {
  return Little16(p + 2) << 16 | Little16(p);
}

static bool ReadWhole(ByteSource& source, uint64_t offset, void* buffer, size_t n) {
  return source.Read(offset, buffer, n) == n;
}

static bool SetSize(uint32_t width, uint32_t height, MediaFacts* facts) {
  if (width == 0 || height == 0)
    return false;
  facts->width = width;
  facts->height = height;
  return true;
}

// Signature, then the chunk IHDR of 13 bytes, which begins with the size.
bool ReadPNGHeader(ByteSource& source, MediaFacts* facts) {
  static const uint8_t kStart[16] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n',
                                     0,    0,   0,   13,  'I',  'H',  'D',  'R'};
  uint8_t bytes[24];
  if (!ReadWhole(source, 0, bytes, sizeof bytes) || std::memcmp(bytes, kStart, sizeof kStart) != 0)
    return false;
  const uint32_t width = Big32(bytes + 16);
  const uint32_t height = Big32(bytes + 20);
  if (width > 0x7FFFFFFF || height > 0x7FFFFFFF)
    return false;
  return SetSize(width, height, facts);
}

// Signature, then the size of the screen that the pictures are drawn on.
bool ReadGIFHeader(ByteSource& source, MediaFacts* facts) {
  uint8_t bytes[10];
  if (!ReadWhole(source, 0, bytes, sizeof bytes) ||
      (std::memcmp(bytes, "GIF87a", 6) != 0 && std::memcmp(bytes, "GIF89a", 6) != 0))
    return false;
  return SetSize(Little16(bytes + 6), Little16(bytes + 8), facts);
}

// Whether a marker begins a frame: SOF0 to SOF15 but for DHT, JPG and DAC, which share the range.
static bool IsFrameMarker(uint8_t marker) {
  return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

// Markers that stand alone, with no length behind them: TEM, RST0 to RST7, SOI.
static bool IsLoneMarker(uint8_t marker) {
  return marker == 0x01 || (marker >= 0xD0 && marker <= 0xD8);
}

// Segments of a marker and a length that counts itself, up to the frame header:
//   0xFF marker length:2 precision:1 height:2 width:2
bool ReadJPEGHeader(ByteSource& source, MediaFacts* facts) {
  uint8_t bytes[9];
  if (!ReadWhole(source, 0, bytes, 2) || bytes[0] != 0xFF || bytes[1] != 0xD8)
    return false;
  uint64_t offset = 2;
  for (int step = 0; step < kMaxSteps; ++step) {
    if (!ReadWhole(source, offset, bytes, 2) || bytes[0] != 0xFF)
      return false;
    const uint8_t marker = bytes[1];
    if (marker == 0xFF) { // a fill byte ahead of the marker
      ++offset;
      continue;
    }
    if (IsLoneMarker(marker)) {
      offset += 2;
      continue;
    }
    if (IsFrameMarker(marker))
      return ReadWhole(source, offset, bytes, 9) &&
             SetSize(Big16(bytes + 7), Big16(bytes + 5), facts);
    const bool pictureBegins = marker == 0xDA; // what follows is no segment
    if (pictureBegins || marker == 0xD9 || !ReadWhole(source, offset, bytes, 4))
      return false;
    const uint32_t length = Big16(bytes + 2);
    if (length < 2)
      return false;
    offset += 2 + length;
  }
  return false;
}

// "RIFF" size "WAVE", then chunks of a name, a length and that many bytes, padded to an even number.
// "fmt " tells the form, "data" holds the samples.
bool ReadWAVHeader(ByteSource& source, MediaFacts* facts) {
  uint8_t bytes[16];
  if (!ReadWhole(source, 0, bytes, 12) || std::memcmp(bytes, "RIFF", 4) != 0 ||
      std::memcmp(bytes + 8, "WAVE", 4) != 0)
    return false;
  MediaFacts found = *facts;
  uint32_t bytesPerSecond = 0;
  uint64_t dataLength = 0;
  bool hasData = false;
  uint64_t offset = 12;
  for (int step = 0; step < kMaxSteps && (!hasData || bytesPerSecond == 0); ++step) {
    if (!ReadWhole(source, offset, bytes, 8))
      break;
    const uint32_t length = Little32(bytes + 4);
    offset += 8;
    if (std::memcmp(bytes, "fmt ", 4) == 0) {
      if (length < 16 || !ReadWhole(source, offset, bytes, 16))
        break;
      found.channels = Little16(bytes + 2);
      found.sampleRate = Little32(bytes + 4);
      bytesPerSecond = Little32(bytes + 8);
      found.bitsPerSample = Little16(bytes + 14);
    } else if (std::memcmp(bytes, "data", 4) == 0) {
      const uint64_t size = source.Size();
      dataLength = std::min<uint64_t>(length, size > offset ? size - offset : 0);
      hasData = true;
    }
    offset += uint64_t{length} + (length & 1u);
  }
  if (!hasData || bytesPerSecond == 0 || found.channels == 0)
    return false;
  found.hasDuration = true;
  found.durationMS = dataLength * 1000 / bytesPerSecond;
  *facts = found;
  return true;
}

} // namespace mediaquery

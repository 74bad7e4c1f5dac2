#ifndef QEL_TESTS_SUPPORT_MEDIAFILES_H
#define QEL_TESTS_SUPPORT_MEDIAFILES_H
//===----------------------------------------------------------------------===//
// The first bytes of pictures and sounds, for tests that need media files.
//===----------------------------------------------------------------------===//

#include <cstdint>
#include <string>

inline std::string LittleBytes(uint32_t value, int count) {
  std::string bytes;
  for (int i = 0; i < count; ++i)
    bytes += static_cast<char>(value >> 8 * i & 0xFF);
  return bytes;
}

inline std::string BigBytes(uint32_t value, int count) {
  std::string bytes;
  for (int i = count - 1; i >= 0; --i)
    bytes += static_cast<char>(value >> 8 * i & 0xFF);
  return bytes;
}

// Signature and first chunk.
inline std::string MakePNG(uint32_t width, uint32_t height) {
  return "\x89PNG\r\n\x1A\n" + BigBytes(13, 4) + "IHDR" + BigBytes(width, 4) + BigBytes(height, 4) +
         std::string("\x08\x02\0\0\0", 5) + BigBytes(0, 4);
}

inline std::string MakeGIF(uint32_t width, uint32_t height, const char* version = "89a") {
  return std::string("GIF") + version + LittleBytes(width, 2) + LittleBytes(height, 2) +
         std::string("\0\0\0", 3);
}

// One segment: its marker, a length and the content.
inline std::string MakeSegment(uint32_t marker, const std::string& content) {
  return BigBytes(0xFF00 | marker, 2) + BigBytes(static_cast<uint32_t>(content.size()) + 2, 2) +
         content;
}

// The frame header that tells the size.
inline std::string MakeFrame(uint32_t marker, uint32_t width, uint32_t height) {
  return MakeSegment(marker, BigBytes(8, 1) + BigBytes(height, 2) + BigBytes(width, 2) +
                                 std::string("\x01\x01\x11\x00", 4));
}

inline std::string MakeJPEG(uint32_t width, uint32_t height) {
  return "\xFF\xD8" + MakeSegment(0xE0, std::string("JFIF\0\x01\x02\0\0\x01\0\x01\0\0", 14)) +
         MakeFrame(0xC0, width, height);
}

// One chunk: its name, its length, the content, padded to an even number.
inline std::string MakeChunk(const std::string& name, const std::string& content) {
  return name + LittleBytes(static_cast<uint32_t>(content.size()), 4) + content +
         std::string(content.size() % 2, '\0');
}

// The form of whole samples.
inline std::string MakeWAVFormat(uint32_t channels, uint32_t rate, uint32_t bits) {
  const uint32_t block = channels * bits / 8;
  return MakeChunk("fmt ", LittleBytes(1, 2) + LittleBytes(channels, 2) + LittleBytes(rate, 4) +
                               LittleBytes(rate * block, 4) + LittleBytes(block, 2) +
                               LittleBytes(bits, 2));
}

inline std::string MakeRIFF(const std::string& chunks) {
  return "RIFF" + LittleBytes(static_cast<uint32_t>(chunks.size()) + 4, 4) + "WAVE" + chunks;
}

// Silence of that many samples in each channel.
inline std::string MakeWAV(uint32_t channels, uint32_t rate, uint32_t bits, uint32_t samples) {
  return MakeRIFF(MakeWAVFormat(channels, rate, bits) +
                  MakeChunk("data", std::string(size_t{samples} * channels * bits / 8, '\0')));
}

// One chunk with its numbers in the other order.
inline std::string MakeBigChunk(const std::string& name, const std::string& content) {
  return name + BigBytes(static_cast<uint32_t>(content.size()), 4) + content +
         std::string(content.size() % 2, '\0');
}

// A rate of 1 and more as an 80-bit floating point number.
inline std::string MakeExtended(uint32_t rate) {
  uint32_t exponent = 16383 + 31;
  for (; (rate & 0x80000000) == 0; rate <<= 1)
    --exponent;
  return BigBytes(exponent, 2) + BigBytes(rate, 4) + BigBytes(0, 4);
}

// The chunk COMM, with what AIFF-C adds to it.
inline std::string MakeAIFFCommon(uint32_t channels, uint32_t rate, uint32_t bits, uint32_t frames,
                                  const std::string& compression = "") {
  return MakeBigChunk("COMM", BigBytes(channels, 2) + BigBytes(frames, 4) + BigBytes(bits, 2) +
                                  MakeExtended(rate) + compression);
}

inline std::string MakeFORM(const std::string& kind, const std::string& chunks) {
  return "FORM" + BigBytes(static_cast<uint32_t>(chunks.size()) + 4, 4) + kind + chunks;
}

// Silence of that many samples in each channel.
inline std::string MakeAIFF(uint32_t channels, uint32_t rate, uint32_t bits, uint32_t frames) {
  const std::string samples(8 + size_t{frames} * channels * ((bits + 7) / 8), '\0');
  return MakeFORM("AIFF",
                  MakeAIFFCommon(channels, rate, bits, frames) + MakeBigChunk("SSND", samples));
}

#endif

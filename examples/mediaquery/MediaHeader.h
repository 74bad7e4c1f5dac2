#ifndef EXAMPLES_MEDIAQUERY_MEDIAHEADER_H
#define EXAMPLES_MEDIAQUERY_MEDIAHEADER_H
//===----------------------------------------------------------------------===//
// Reads what the first bytes of a picture or sound file say about it.
//
// The bytes are hostile: a file may be cut anywhere, lie about its sizes, or be
// something else altogether. A reader takes a bounded number of steps, reads no
// more than a few bytes in each, and allocates nothing.
//
// ERRORS: false, with the facts untouched, if the file is not of that kind or
// does not tell.
//===----------------------------------------------------------------------===//

#include <cstddef>
#include <cstdint>

namespace mediaquery {

// Random access to the bytes of a file.
class ByteSource {
public:
  virtual ~ByteSource() = default;

  // Copies bytes from `offset` on into buffer[0..n-1]. Returns how many there were; fewer than n at the
  // end of the file, or when it can't be read.
  virtual size_t Read(uint64_t offset, void* buffer, size_t n) = 0;

  // The number of bytes in the file.
  virtual uint64_t Size() = 0;
};

struct MediaFacts {
  uint32_t width = 0;         // pixels; 0: not known
  uint32_t height = 0;        // pixels; 0: not known
  uint32_t channels = 0;      // of sound; 0: not known
  uint32_t sampleRate = 0;    // samples a second and channel; 0: not known
  uint32_t bitsPerSample = 0; // 0: not known
  bool hasDuration = false;   // whether the next field means something
  uint64_t durationMS = 0;    // milliseconds
};

// Each fills in width and height.
bool ReadPNGHeader(ByteSource& source, MediaFacts* facts);
bool ReadGIFHeader(ByteSource& source, MediaFacts* facts);
bool ReadJPEGHeader(ByteSource& source, MediaFacts* facts);

// Fills in the four facts of sound. The data's length is what the file really holds, if it claims more.
bool ReadWAVHeader(ByteSource& source, MediaFacts* facts);

} // namespace mediaquery

#endif

// The readers of picture and sound headers take any bytes.

#include <cstring>

#include <fuzz/FuzzInput.h>

#include <examples/mediaquery/MediaHeader.h>

using namespace mediaquery;

namespace {

class InputSource : public ByteSource {
public:
  InputSource(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}

  size_t Read(uint64_t offset, void* buffer, size_t n) override {
    FUZZ_CHECK(++m_reads <= 4096);
    if (offset >= m_size)
      return 0;
    const size_t left = m_size - static_cast<size_t>(offset);
    const size_t count = n < left ? n : left;
    memcpy(buffer, m_data + offset, count);
    return count;
  }
  uint64_t Size() override { return m_size; }

private:
  const uint8_t* m_data;
  size_t m_size;
  int m_reads = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  for (const auto reader : {ReadPNGHeader, ReadGIFHeader, ReadJPEGHeader}) {
    InputSource source(data, size);
    MediaFacts facts;
    const bool read = reader(source, &facts);
    FUZZ_CHECK(read == (facts.width != 0) && read == (facts.height != 0));
    FUZZ_CHECK(!facts.hasDuration && facts.channels == 0);
  }
  InputSource source(data, size);
  MediaFacts facts;
  const bool read = ReadWAVHeader(source, &facts);
  FUZZ_CHECK(read == facts.hasDuration && read == (facts.channels != 0));
  FUZZ_CHECK(facts.durationMS <= size * 1000);
  return 0;
}

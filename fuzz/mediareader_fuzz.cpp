// The sample plug-in of mediaquery takes any bytes.

#include <cstring>

#include <fuzz/FuzzInput.h>

#include <examples/mediaquery/Reader.h>

namespace {

struct Input {
  const uint8_t* data;
  size_t size;
  int reads;
};

size_t ReadInput(void* context, uint64_t offset, void* buffer, size_t n) {
  Input* input = static_cast<Input*>(context);
  FUZZ_CHECK(++input->reads <= 4096);
  if (offset >= input->size)
    return 0;
  const size_t left = input->size - static_cast<size_t>(offset);
  const size_t count = n < left ? n : left;
  memcpy(buffer, input->data + offset, count);
  return count;
}

uint64_t SizeOfInput(void* context) {
  return static_cast<Input*>(context)->size;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input = {data, size, 0};
  const MediaReaderSource source = {&input, &ReadInput, &SizeOfInput};
  MediaReaderFacts facts = {};
  const bool known = MediaReader_Read(&source, &facts) != 0;
  FUZZ_CHECK(known == (facts.channels != 0) && known == (facts.sampleRate != 0));
  FUZZ_CHECK(known == (facts.bitsPerSample != 0));
  FUZZ_CHECK(facts.durationMS <= size * 1000);
  FUZZ_CHECK(facts.width == 0 && facts.height == 0);
  return 0;
}

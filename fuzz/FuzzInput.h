#ifndef QEL_FUZZ_FUZZINPUT_H
#define QEL_FUZZ_FUZZINPUT_H
//===----------------------------------------------------------------------===//
// What the fuzz targets share: a property check and a reader of the input.
//
// A target takes its choices from the front of the input and its text from the
// rest. Texts lie in heap blocks of their exact size, so that AddressSanitizer
// sees any step beyond them.
//===----------------------------------------------------------------------===//

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

// Ends the program if the property does not hold, in every kind of build.
#define FUZZ_CHECK(condition)                                                                      \
  do {                                                                                             \
    if (!(condition)) {                                                                            \
      fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition);               \
      abort();                                                                                     \
    }                                                                                              \
  } while (0)

class FuzzInput {
public:
  FuzzInput(const uint8_t* data, size_t size) : m_at(data), m_left(size) {}

  size_t Left() const { return m_left; }

  // The next byte, 0 when the input is used up.
  uint8_t TakeByte() {
    if (m_left == 0)
      return 0;
    --m_left;
    return *m_at++;
  }

  // Up to n of the next bytes.
  std::vector<char> TakeBytes(size_t n) {
    const size_t taken = n < m_left ? n : m_left;
    std::vector<char> bytes(m_at, m_at + taken);
    m_at += taken;
    m_left -= taken;
    return bytes;
  }

  // Up to n of the next bytes and a terminator; bytes of 0 may stand among them.
  std::vector<char> TakeText(size_t n = SIZE_MAX) {
    std::vector<char> text = TakeBytes(n);
    text.push_back('\0');
    text.shrink_to_fit();
    return text;
  }

private:
  const uint8_t* m_at;
  size_t m_left;
};

#endif

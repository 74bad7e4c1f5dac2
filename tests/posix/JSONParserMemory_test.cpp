#include <qel/serialize/JSONFormatter.h>

#include <cstring>
#include <vector>

#include <sys/resource.h>

#include <gtest/gtest.h>

#include <qel/serialize/EmptySerialize.h>

namespace {

const size_t kSize = 30 * 1000 * 1000;

// The most memory that the process has had so far, in bytes.
long PeakMemory() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss * 1024;
}

// Makes buffer head, repetitions of piece and tail.
void Fill(std::vector<char>& buffer, const char* head, const char* piece, const char* tail) {
  const size_t n = strlen(piece);
  size_t at = strlen(head);
  memcpy(buffer.data(), head, at);
  for (; at + n <= kSize; at += n)
    memcpy(buffer.data() + at, piece, n);
  memcpy(buffer.data() + at, tail, strlen(tail) + 1);
}

} // namespace

TEST(qelJSONFormatterParse, NeedsNoMoreMemoryForALongerText) {
  static const struct {
    const char* head;
    const char* piece;
    const char* tail;
    int code;
  } kTexts[] = {
      {"", "[", "", 2},
      {"", "{'a':", "", 2},
      {"", "\"", "", 0},
      {"", "7", " ", 0},
      {"1.", "7", " ", 0},
      {"1e", "7", " ", 0},
      {"", " ", "", 1},
      {"", "*/", "", 4},
      {"/*", "*", "", 1},
      {"", "/**/", "[]", 0},
      {"[", "[[],1,'a',null],", "]", 0},
      {"\"", "a", "", 1},
      {"{", "'key':{},", "}", 0},
  };
  std::vector<char> buffer(kSize + 16, 'x');
  const long before = PeakMemory();
  for (const auto& text : kTexts) {
    Fill(buffer, text.head, text.piece, text.tail);
    qelEmptySerialize target;
    EXPECT_EQ(qelJSONFormatter::Parse(buffer.data(), target), text.code)
        << text.head << text.piece << text.tail;
  }
  EXPECT_LT(PeakMemory() - before, 4L << 20);
}

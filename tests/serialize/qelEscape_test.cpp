#include <qel/serialize/qelEscape.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/Fatal.h>

// So that an impossible size comes back to the library under a sanitizer too.
extern "C" const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}
extern "C" const char* __tsan_default_options() {
  return "allocator_may_return_null=1";
}

namespace {

// Letters, digits and the blank pass.
struct SafeTable {
  unsigned char flags[128];
  SafeTable() {
    for (int c = 0; c != 128; ++c)
      flags[c] =
          (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == ' ';
  }
};
const SafeTable kSafe;

std::string Take(char* block, size_t size) {
  const std::string text(block, size);
  free(block);
  return text;
}

std::string Escape(const std::string& bytes, int high, int terminator = 0, char escape = '%') {
  const std::vector<char> exact(bytes.begin(), bytes.end());
  size_t size = 99;
  char* text =
      qelEscape_Bytes(exact.data(), exact.size(), terminator, kSafe.flags, escape, high, &size);
  return Take(text, size);
}

std::string Unescape(const std::string& text, int terminator = 0, char escape = '%') {
  const std::vector<char> exact(text.begin(), text.end());
  size_t size = 99;
  char* bytes = qelUnescape_Bytes(exact.data(), exact.size(), terminator, escape, &size);
  return Take(bytes, size);
}

TEST(qelEscapeBytes, EscapesWhatTheTableDoesNotList) {
  EXPECT_EQ(Escape("a%b", 0), "a%25b");
  EXPECT_EQ(Escape("", 0), "");
  EXPECT_EQ(Escape(std::string("a\0\x7F/", 4), 0), "a%00%7F%2F");
  EXPECT_EQ(Escape("/", 0, 0, '_'), "_2F");
}

TEST(qelEscapeBytes, CopiesHighBytesUnlessAsked) {
  EXPECT_EQ(Escape("\xE9", 0), "\xE9");
  EXPECT_EQ(Escape("\xE9", 1), "%E9");
  EXPECT_EQ(Escape("\x80\xFF", -1), "%80%FF");
}

TEST(qelEscapeBytes, TakesAnyFlagButZeroForSafe) {
  unsigned char table[128] = {};
  table['x'] = 0x80;
  size_t size = 0;
  EXPECT_EQ(Take(qelEscape_Bytes("xy", 2, 0, table, '%', 0, &size), 4), "x%79");
  EXPECT_EQ(size, 4u);
}

TEST(qelEscapeBytes, CountsTheTerminator) {
  EXPECT_EQ(Escape("a%", 0, 1), std::string("a%25\0", 5));
  EXPECT_EQ(Escape("", 0, 1), std::string("\0", 1));
  char* text = qelEscape_Bytes("%", 1, 1, kSafe.flags, '%', 0, nullptr);
  EXPECT_STREQ(text, "%25");
  free(text);
}

TEST(qelEscapeBytes, IsFatalForMoreBytesThanMemoryHas) {
  for (const size_t size : {SIZE_MAX / 3, SIZE_MAX / 3 + 1, SIZE_MAX / 2, SIZE_MAX - 1}) {
    for (const int terminator : {0, 1})
      EXPECT_FATAL(qelEscape_Bytes("", size, terminator, kSafe.flags, '%', 0, nullptr),
                   "memory:malloc");
  }
}

TEST(qelUnescapeBytes, ReadsDigitsOfBothCases) {
  EXPECT_EQ(Unescape("a%25b"), "a%b");
  EXPECT_EQ(Unescape("%e9%E9%Fa"), "\xE9\xE9\xFA");
  EXPECT_EQ(Unescape("%00%7f"), std::string("\0\x7F", 2));
  EXPECT_EQ(Unescape("\xE9 %"), "\xE9 ");
  EXPECT_EQ(Unescape("_2F%2F", 0, '_'), "/%2F");
  EXPECT_EQ(Unescape(""), "");
}

TEST(qelUnescapeBytes, DropsMalformedEscapes) {
  const struct {
    const char* text;
    const char* data;
  } kCases[] = {
      {"a%2", "a"},         // too short at the end: dropped with what is left
      {"a%", "a"},          //
      {"%4", ""},           //
      {"a%GGb", "ab"},      // no digits: all three go
      {"a%4Gb", "ab"},      //
      {"a%G4b", "ab"},      //
      {"%%41", "1"},        // an escape is no digit, and is not looked at again
      {"%%%41", "41"},      //
      {"a% 1b%41%", "abA"}, //
      {"%41%4", "A"},       //
  };
  for (const auto& row : kCases)
    EXPECT_EQ(Unescape(row.text), row.data) << row.text;
}

TEST(qelUnescapeBytes, CountsTheTerminator) {
  EXPECT_EQ(Unescape("%41", 1), std::string("A\0", 2));
  EXPECT_EQ(Unescape("", 1), std::string("\0", 1));
  EXPECT_EQ(Unescape("%4", 1), std::string("\0", 1));
  char* data = qelUnescape_Bytes("%41", 3, 1, '%', nullptr);
  EXPECT_STREQ(data, "A");
  free(data);
}

TEST(qelUnescapeBytes, GivesBackRandomBytes) {
  std::mt19937 random(18);
  for (int round = 0; round != 500; ++round) {
    std::string bytes(random() % 200, '\0');
    for (char& byte : bytes)
      byte = static_cast<char>(random());
    for (const int high : {0, 1})
      EXPECT_EQ(Unescape(Escape(bytes, high)), bytes);
  }
}

TEST(qelEscapeString, TakesTheWholeTextWithItsTerminator) {
  char* text = qelEscape_String("50% \xE9", kSafe.flags, '%', 1);
  EXPECT_STREQ(text, "50%25 %E9");
  char* back = qelUnescape_String(text, '%');
  EXPECT_STREQ(back, "50% \xE9");
  free(text);
  free(back);
}

} // namespace

// The first program that a newcomer sees: the one in the README.

#include <fstream>
#include <iterator>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/support/RunProgram.h>

using testing::HasSubstr;

namespace {

// A file's text with line ends of "\n".
std::string ReadText(const char* name) {
  std::ifstream file(name, std::ios::binary);
  std::string text;
  for (std::istreambuf_iterator<char> at(file), end; at != end; ++at)
    if (*at != '\r')
      text += *at;
  EXPECT_NE(text, "") << name;
  return text;
}

} // namespace

TEST(FirstProgram, StandsInTheReadmeAsItIs) {
  EXPECT_THAT(ReadText(README), HasSubstr("\n```cpp\n" + ReadText(FIRST_SOURCE) + "```\n"));
}

TEST(FirstProgram, PrintsWhatTheReadmeShows) {
  const ProgramResult result = RunProgram(FIRST_PROGRAM, {});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  std::string out;
  for (const char c : result.out)
    if (c != '\r')
      out += c;
  EXPECT_EQ(out, "\"The harbour\" of the album \"Lisbon\"\nfound\n");
  EXPECT_THAT(ReadText(README), HasSubstr("\n```\n" + out + "```\n"));
}

#include <qel/files/TextFile.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/support/LogCapture.h>
#include <tests/support/TempDir.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

typedef std::vector<std::string> Lines;

static std::string Text(const qelCString& line) {
  return std::string(line.c_str(), line.length());
}

static Lines ReadAll(qelTextFile& file) {
  Lines lines;
  for (qelCString line; file.NextLine(line);)
    lines.push_back(Text(line));
  return lines;
}

// The lines that a text has, each cut to the limit. An ending closes a line; what stands behind the last
// one is a line unless it is empty.
static Lines Model(const std::string& text, size_t limit) {
  Lines lines;
  std::string line;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\r' && text[i] != '\n') {
      line += text[i];
      continue;
    }
    lines.push_back(line.substr(0, limit));
    line.clear();
    if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n')
      ++i;
  }
  if (!line.empty())
    lines.push_back(line.substr(0, limit));
  return lines;
}

namespace {

class TextFileTest : public ::testing::Test {
protected:
  std::string Write(const std::string& text) const { return m_dir.Write("text", text); }

  Lines Read(const std::string& text, size_t bufferSize) const {
    qelTextFile file(Write(text).c_str(), bufferSize);
    return ReadAll(file);
  }

  void ExpectModel(const std::string& text, size_t bufferSize) const {
    EXPECT_EQ(Model(text, bufferSize), Read(text, bufferSize))
        << ::testing::PrintToString(text) << " by " << bufferSize;
  }

  TempDir m_dir;
};

} // namespace

using TextFile = TextFileTest;

TEST_F(TextFile, IsNotOpenWithoutAFile) {
  LogCapture log;
  qelTextFile file(m_dir.Path("missing").c_str(), 100);
  EXPECT_FALSE(file.IsOpened());
  qelCString line("before");
  EXPECT_FALSE(file.NextLine(line));
  EXPECT_STREQ("before", line.c_str());
  EXPECT_EQ(2u, log.Texts().size()); // the open's two lines, none of the reading
}

TEST_F(TextFile, HasNoLinesWhenEmpty) {
  LogCapture log;
  qelTextFile file(Write("").c_str(), 100);
  EXPECT_TRUE(file.IsOpened());
  qelCString line("before");
  EXPECT_FALSE(file.NextLine(line));
  EXPECT_STREQ("before", line.c_str());
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(TextFile, GivesALastLineWithoutEndingAndThenNothing) {
  qelTextFile file(Write("a\nb").c_str(), 100);
  qelCString line;
  EXPECT_TRUE(file.NextLine(line));
  EXPECT_STREQ("a", line.c_str());
  EXPECT_TRUE(file.NextLine(line));
  EXPECT_STREQ("b", line.c_str());
  EXPECT_FALSE(file.NextLine(line));
  EXPECT_FALSE(file.NextLine(line));
  EXPECT_STREQ("b", line.c_str());
}

TEST_F(TextFile, KnowsThreeEndings) {
  EXPECT_THAT(Read("a\r\nb\rc\n", 100), ElementsAre("a", "b", "c"));
}

TEST_F(TextFile, GivesEmptyLines) {
  EXPECT_THAT(Read("a\n\nb", 100), ElementsAre("a", "", "b"));
  EXPECT_THAT(Read("\n", 100), ElementsAre(""));
  EXPECT_THAT(Read("\r\r", 100), ElementsAre("", ""));
  EXPECT_THAT(Read("\n\r", 100), ElementsAre("", ""));
  EXPECT_THAT(Read("\r\n\r\n", 100), ElementsAre("", ""));
}

TEST_F(TextFile, CutsALongLineAndDropsItsRest) {
  EXPECT_THAT(Read("abcdefgh\nx", 4), ElementsAre("abcd", "x"));
  EXPECT_THAT(Read("abcdefghi\r\nx", 4), ElementsAre("abcd", "x"));
  EXPECT_THAT(Read("abcdefg\r\nx", 4), ElementsAre("abcd", "x"));
  EXPECT_THAT(Read("abcdefgh", 4), ElementsAre("abcd"));
}

TEST_F(TextFile, TakesALineOfTheBuffersSizeWhole) {
  EXPECT_THAT(Read("abcd\nx", 4), ElementsAre("abcd", "x"));
  EXPECT_THAT(Read("abcd\r\nx", 4), ElementsAre("abcd", "x"));
  EXPECT_THAT(Read("abcd", 4), ElementsAre("abcd"));
}

TEST_F(TextFile, TakesAnEndingThatTwoFillsShareForOne) {
  EXPECT_THAT(Read("a\r\nb", 2), ElementsAre("a", "b"));
  EXPECT_THAT(Read("a\r\rb", 2), ElementsAre("a", "", "b"));
}

TEST_F(TextFile, GivesBytesAsTheyStand) {
  const std::string bytes("\0\x01\xFF\xC3 \t\x1A\x0B", 8);
  EXPECT_THAT(Read(bytes + "\n" + bytes, 100), ElementsAre(bytes, bytes));
}

TEST_F(TextFile, HasNoLinesWithABufferOfNothing) {
  EXPECT_THAT(Read("a\nb", 0), IsEmpty());
}

TEST_F(TextFile, ReadsByteByByte) {
  EXPECT_THAT(Read("ab\r\n\ncd\re", 1), ElementsAre("a", "", "c", "e"));
}

TEST_F(TextFile, RewindsFromAnyState) {
  const std::string text = "abcdefgh\r\nx\ry\n";
  const Lines expected = {"abcd", "x", "y"};
  for (size_t taken = 0; taken <= 4; ++taken) {
    qelTextFile file(Write(text).c_str(), 4);
    qelCString line;
    for (size_t i = 0; i < taken; ++i)
      file.NextLine(line);
    file.Rewind();
    EXPECT_EQ(expected, ReadAll(file)) << taken;
  }
  qelTextFile file(Write("a\r\nb").c_str(), 2); // with an LF expected
  qelCString line;
  file.NextLine(line);
  std::ofstream(TempDir::Native(m_dir.Path("text")), std::ios::binary) << "\nb";
  file.Rewind();
  EXPECT_THAT(ReadAll(file), ElementsAre("", "b"));
}

TEST_F(TextFile, CopiesShareFileAndBuffer) {
  auto* file = static_cast<qelTextFile*>(::operator new(sizeof(qelTextFile)));
  qelTextFile source(Write("a\nb\nc").c_str(), 4);
  new (file) qelTextFile(source);
  qelCString line;
  EXPECT_TRUE(file->NextLine(line));
  EXPECT_STREQ("a", line.c_str());
  EXPECT_TRUE(file->IsOpened());
  source = *file; // takes over what has been read ahead, too
  EXPECT_THAT(ReadAll(source), ElementsAre("b", "c"));
  ::operator delete(static_cast<void*>(file)); // not destroyed, as only one of the two may be
}

// All texts of up to six of these bytes, by all sizes of the buffer up to one more.
TEST_F(TextFile, MatchesTheModelForEveryShortText) {
  static const char alphabet[] = {'a', '\r', '\n'};
  for (size_t length = 0; length <= 6; ++length) {
    size_t count = 1;
    for (size_t i = 0; i < length; ++i)
      count *= 3;
    for (size_t number = 0; number < count; ++number) {
      std::string text;
      for (size_t i = 0, rest = number; i < length; ++i, rest /= 3)
        text += alphabet[rest % 3];
      const std::string name = Write(text);
      for (size_t size = 1; size <= length + 1; ++size) {
        qelTextFile file(name.c_str(), size);
        ASSERT_EQ(Model(text, size), ReadAll(file))
            << ::testing::PrintToString(text) << " by " << size;
      }
    }
  }
}

TEST_F(TextFile, MatchesTheModelForLinesOfEveryLengthAroundTheBuffers) {
  const size_t size = 16;
  for (const char* ending : {"\n", "\r", "\r\n"})
    for (size_t ahead = 0; ahead <= size; ++ahead)
      for (size_t length = 0; length <= 3 * size + 2; ++length)
        ExpectModel(std::string(ahead, 'x') + "\n" + std::string(length, 'y') + ending + "z" +
                        ending + ending + std::string(length, 'w'),
                    size);
}

TEST_F(TextFile, MatchesTheModelForEndingsAtEveryPositionOfALargeBuffer) {
  const size_t size = 4096;
  std::string text;
  for (size_t length = size - 4; length <= size + 4; ++length)
    for (const char* ending : {"\n", "\r", "\r\n"})
      text += std::string(length, 'y') + ending + "z" + ending;
  ExpectModel(text, size);
  ExpectModel(text, size - 1);
  ExpectModel(text, size + 1);
}

TEST_F(TextFile, MatchesTheModelForRandomTexts) {
  std::mt19937 random(20241);
  for (int round = 0; round < 300; ++round) {
    std::string text;
    const size_t length = random() % 400;
    const size_t endings = 2 + random() % 30; // one byte of so many is an ending
    while (text.size() < length) {
      static const char* const kinds[] = {"\n", "\r", "\r\n"};
      text += random() % endings == 0 ? std::string(kinds[random() % 3])
                                      : std::string(1, static_cast<char>('a' + random() % 26));
    }
    ExpectModel(text, 1 + random() % 64);
  }
}

// Endings of all three kinds, and lines of any length up to twice the smaller buffer. With the larger
// one, moving the rest for each line would take hours.
TEST_F(TextFile, ReadsFiftyMegabytesAtTheCostOfTheirSize) {
  const size_t small = 64 * 1024;
  const size_t total = 50u << 20;
  std::string text;
  text.reserve(total + 2 * small);
  std::mt19937 random(7);
  size_t count = 0;
  uint64_t bytes = 0; // in lines as the smaller buffer delivers them
  uint64_t allBytes = 0;
  while (text.size() < total) {
    const size_t length = random() % 1000 == 0 ? random() % (2 * small) : random() % 120;
    text.append(length, static_cast<char>('a' + count % 26));
    static const char* const kinds[] = {"\n", "\r", "\r\n"};
    text += kinds[length == 0 ? 2 : random() % 3]; // a CR ahead must not take an LF alone
    ++count;
    bytes += std::min(length, small);
    allBytes += length;
  }
  const std::string name = Write(text);
  for (const size_t size : {small, total}) {
    qelTextFile file(name.c_str(), size);
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    size_t seen = 0;
    uint64_t seenBytes = 0;
    for (qelCString line; file.NextLine(line); ++seen) {
      seenBytes += line.length();
      ASSERT_TRUE(seen % 1024 != 0 || std::chrono::steady_clock::now() < limit) << seen;
    }
    EXPECT_EQ(count, seen);
    EXPECT_EQ(size == small ? bytes : allBytes, seenBytes);
  }
}

#include <qel/serialize/qelHex.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Bytes = std::vector<unsigned char>;

struct Encoded {
  int status;
  bool isNull;
  std::string text;
};

Encoded Encode(const Bytes& bytes, size_t wordSize, int order) {
  char* out = reinterpret_cast<char*>(1);
  const int status = qelHex_Encode(bytes.data(), bytes.size(), wordSize, order, &out);
  const Encoded result = {status, out == nullptr, out != nullptr ? out : ""};
  free(out);
  return result;
}

struct Decoded {
  int status;
  bool isNull;
  Bytes bytes;
};

Decoded DecodeText(const char* text, size_t length, size_t wordSize, int order) {
  void* out = reinterpret_cast<void*>(1);
  size_t size = 99;
  const int status = qelHex_Decode(text, length, wordSize, order, &out, &size);
  Decoded result = {status, out == nullptr, {}};
  result.bytes.assign(static_cast<unsigned char*>(out), static_cast<unsigned char*>(out) + size);
  free(out);
  return result;
}

Decoded Decode(const std::string& text, size_t wordSize, int order) {
  // A block of exactly the text, so that a step beyond it shows.
  const std::vector<char> exact(text.begin(), text.end());
  return DecodeText(exact.data() != nullptr ? exact.data() : "", exact.size(), wordSize, order);
}

TEST(qelHexEncode, WritesWordsInTheOrderAsked) {
  const Bytes bytes = {0x01, 0x02, 0x03, 0x04, 0xAB, 0xCD, 0xEF, 0x00};
  const struct {
    size_t wordSize;
    int order;
    const char* text;
  } kCases[] = {{1, 0, "01020304abcdef00"}, {1, 1, "01020304abcdef00"}, {1, 2, "01020304abcdef00"},
                {2, 0, "01020304abcdef00"}, {2, 1, "02010403cdab00ef"}, {2, 2, "02010403cdab00ef"},
                {4, 0, "01020304abcdef00"}, {4, 1, "0403020100efcdab"}, {4, 2, "0403020100efcdab"},
                {4, 3, "01020304abcdef00"}, {2, -1, "01020304abcdef00"}};
  for (const auto& row : kCases) {
    const Encoded got = Encode(bytes, row.wordSize, row.order);
    EXPECT_EQ(got.status, 0);
    EXPECT_EQ(got.text, row.text) << row.wordSize << " " << row.order;
  }
}

TEST(qelHexEncode, RefusesHalfAWord) {
  for (const size_t wordSize : {2u, 4u}) {
    const Encoded got = Encode({1, 2, 3}, wordSize, 0);
    EXPECT_EQ(got.status, -3);
    EXPECT_TRUE(got.isNull);
  }
}

TEST(qelHexEncode, WritesNothingForOtherWordSizes) {
  for (const size_t wordSize : {0u, 3u, 6u}) {
    const Encoded got = Encode({1, 2, 3, 4, 5, 6}, wordSize, 1);
    EXPECT_EQ(got.status, 0) << wordSize;
    EXPECT_FALSE(got.isNull) << wordSize;
    EXPECT_EQ(got.text, "") << wordSize;
  }
  EXPECT_EQ(Encode({1, 2, 3, 4}, 3, 0).status, -3);
}

TEST(qelHexEncode, WritesNoBytesAsTheEmptyText) {
  const Encoded got = Encode({}, 4, 1);
  EXPECT_EQ(got.status, 0);
  EXPECT_FALSE(got.isNull);
  EXPECT_EQ(got.text, "");
}

TEST(qelHexDecode, ReadsWordsInTheOrderAsked) {
  const struct {
    const char* text;
    size_t wordSize;
    int order;
    Bytes bytes;
  } kCases[] = {{"0x0A0b", 1, 0, {0x0A, 0x0B}},
                {"0X0a0B", 1, 1, {0x0A, 0x0B}},
                {"01020304", 2, 0, {1, 2, 3, 4}},
                {"01020304", 2, 1, {2, 1, 4, 3}},
                {"01020304", 4, 0, {1, 2, 3, 4}},
                {"01020304", 4, 1, {4, 3, 2, 1}},
                {"01020304", 4, 2, {4, 3, 2, 1}},
                {"01020304", 4, 3, {4, 3, 2, 1}},
                {"01020304", 4, -1, {4, 3, 2, 1}},
                {"aAbBcCdDeEfF", 1, 0, {0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}},
                {"", 4, 0, {}},
                {"0x", 1, 0, {}}};
  for (const auto& row : kCases) {
    const Decoded got = Decode(row.text, row.wordSize, row.order);
    EXPECT_EQ(got.status, 0) << row.text;
    EXPECT_FALSE(got.isNull) << row.text;
    EXPECT_EQ(got.bytes, row.bytes) << row.text << " " << row.wordSize << " " << row.order;
  }
}

TEST(qelHexDecode, LeavesOutHalfAWord) {
  EXPECT_EQ(Decode("0102030405ff", 4, 0).bytes, (Bytes{1, 2, 3, 4, 0, 0}));
  EXPECT_EQ(Decode("0102030405ff", 4, 1).bytes, (Bytes{4, 3, 2, 1, 0, 0}));
  EXPECT_EQ(Decode("0102", 4, 0).bytes, (Bytes{0, 0}));
  EXPECT_EQ(Decode("010203", 2, 1).bytes, (Bytes{2, 1, 0}));
  EXPECT_EQ(Decode("0102030405fg", 4, 0).status, -3) << "the half is read all the same";
}

TEST(qelHexDecode, StoresNothingForOtherWordSizes) {
  EXPECT_EQ(Decode("010203", 3, 0).bytes, (Bytes{0, 0, 0}));
  EXPECT_EQ(Decode("010203", 0, 0).bytes, (Bytes{0, 0, 0}));
  EXPECT_EQ(Decode("0102", 3, 0).status, -3);
  EXPECT_EQ(Decode("0102zz", 0, 0).status, -3);
}

TEST(qelHexDecode, RefusesMalformedText) {
  const struct {
    const char* text;
    size_t wordSize;
  } kCases[] = {{"0G", 1},   {"ABC", 1},    {"g0", 1},  {"0", 1},      {"0x0", 1},  {"0x0x", 1},
                {"0102", 8}, {"010203", 4}, {" 00", 1}, {"00\xC3", 1}, {"x000", 1}, {"-100", 1}};
  for (const auto& row : kCases) {
    const Decoded got = Decode(row.text, row.wordSize, 0);
    EXPECT_EQ(got.status, -3) << row.text;
    EXPECT_TRUE(got.isNull) << row.text;
    EXPECT_TRUE(got.bytes.empty()) << row.text;
  }
  EXPECT_EQ(Decode(std::string("00\0"
                               "0",
                               4),
                   1, 0)
                .status,
            -3)
      << "a zero byte is no digit";
}

TEST(qelHexDecode, TakesANullTextForNothing) {
  const Decoded got = DecodeText(nullptr, 7, 1, 0);
  EXPECT_EQ(got.status, 0);
  EXPECT_TRUE(got.isNull);
  EXPECT_TRUE(got.bytes.empty());
}

TEST(qelHexDecode, GivesBackRandomBytes) {
  std::mt19937 random(18);
  for (int round = 0; round != 500; ++round) {
    const size_t wordSize = size_t{1} << random() % 3;
    // An even number of words, so that the digits are a multiple whatever is counted.
    Bytes bytes(wordSize * (random() % 20));
    for (unsigned char& byte : bytes)
      byte = static_cast<unsigned char>(random());
    const int order = static_cast<int>(random() % 3);
    const Encoded text = Encode(bytes, wordSize, order);
    EXPECT_EQ(Decode(text.text, wordSize, order).bytes, bytes) << wordSize << " " << order;
  }
}

TEST(qelHexDigitValue, KnowsTheDigitsOfBothCasesOnly) {
  const std::string digits = "0123456789abcdef";
  const std::string upper = "0123456789ABCDEF";
  for (int c = -128; c != 128; ++c) {
    const char digit = static_cast<char>(c);
    size_t expected = digits.find(digit);
    if (expected == std::string::npos)
      expected = upper.find(digit);
    unsigned char value = 77;
    const int known = qelHex_DigitValue(digit, &value);
    EXPECT_EQ(known, expected != std::string::npos ? 1 : 0) << c;
    EXPECT_EQ(value, known ? expected : 77u) << c;
  }
}

} // namespace

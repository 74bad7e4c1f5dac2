// The program is linked so that every malloc of the library comes through here.

#include <qel/serialize/qelBase64.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

// Which malloc of this thread fails, from 1; 0 for none.
static thread_local int failing = 0;

extern "C" void* __real_malloc(size_t size);
extern "C" void* __wrap_malloc(size_t size) {
  if (failing != 0 && --failing == 0)
    return nullptr;
  return __real_malloc(size);
}

namespace {

std::string Encode(const std::string& bytes) {
  char* out = reinterpret_cast<char*>(1);
  const std::vector<char> exact(bytes.begin(), bytes.end());
  qelBase64_Encode(exact.empty() ? "" : exact.data(), exact.size(), &out);
  const std::string text = out;
  free(out);
  return text;
}

struct Decoded {
  int64_t length;
  std::string bytes; // with the zero byte behind them
};

// Into a block of exactly the size that is asked for, filled with '#'.
Decoded Decode(const std::string& text) {
  std::vector<char> out(text.size() / 4 * 3 + 1, '#');
  Decoded result = {qelBase64_Decode(text.c_str(), out.data()), ""};
  if (result.length >= 0)
    result.bytes.assign(out.data(), static_cast<size_t>(result.length) + 1);
  else
    result.bytes.assign(out.begin(), out.end());
  return result;
}

std::string WithZero(const std::string& bytes) {
  return bytes + '\0';
}

const struct {
  const char* bytes;
  const char* text;
} kVectors[] = {
    // RFC 4648, section 10
    {"", ""},
    {"f", "Zg=="},
    {"fo", "Zm8="},
    {"foo", "Zm9v"},
    {"foob", "Zm9vYg=="},
    {"fooba", "Zm9vYmE="},
    {"foobar", "Zm9vYmFy"},
    // and further ones
    {"Ma", "TWE="},
    {"M", "TQ=="},
    {"Man", "TWFu"},
    {"\xFB\xEF\xBE", "++++"},
    {"\xFF\xFF\xFF", "////"},
};

TEST(qelBase64Encode, WritesThePublishedVectors) {
  for (const auto& row : kVectors)
    EXPECT_EQ(Encode(row.bytes), row.text);
}

TEST(qelBase64Encode, MeasuresATextForLengthZero) {
  char* out = nullptr;
  qelBase64_Encode("foobar", 0, &out);
  EXPECT_STREQ(out, "Zm9vYmFy");
  free(out);
}

TEST(qelBase64Encode, GivesNullWithoutMemory) {
  char* out = reinterpret_cast<char*>(1);
  failing = 1;
  qelBase64_Encode("foobar", 6, &out);
  EXPECT_EQ(failing, 0);
  EXPECT_EQ(out, nullptr);
}

TEST(qelBase64Decode, ReadsThePublishedVectors) {
  for (const auto& row : kVectors) {
    const Decoded got = Decode(row.text);
    EXPECT_EQ(got.length, static_cast<int64_t>(strlen(row.bytes))) << row.text;
    EXPECT_EQ(got.bytes, WithZero(row.bytes)) << row.text;
  }
}

TEST(qelBase64Decode, RefusesAWrongNumberOfCharacters) {
  for (const char* text : {"TWE", "T", "TW", "TWFuT", "TWFu=", "TWE==", "=", "==", "===", "====",
                           "TWFu====", "TWE=====", "TWFuTWE=====", "=TWE", "TWE\n"}) {
    const Decoded got = Decode(text);
    if (strcmp(text, "TWE\n") == 0) {
      EXPECT_NE(got.length, -1) << "a line feed counts as a character";
      continue;
    }
    EXPECT_EQ(got.length, -1) << text;
    EXPECT_EQ(got.bytes.find_first_not_of('#'), std::string::npos) << text;
  }
}

TEST(qelBase64Decode, IgnoresWhatFollowsThePadding) {
  EXPECT_EQ(Decode("TWE=TWFu").bytes, WithZero("Ma"));
  EXPECT_EQ(Decode("TQ==!").bytes, WithZero("M"));
  EXPECT_EQ(Decode("TWFuTQ==x=").bytes, WithZero("ManM"));
}

TEST(qelBase64Decode, GivesNothingForThreePaddings) {
  EXPECT_EQ(Decode("T===").length, 0);
  EXPECT_EQ(Decode("T===").bytes, WithZero(""));
  EXPECT_EQ(Decode("TWFuT===").bytes, WithZero("Man"));
}

TEST(qelBase64Decode, DoesNotMindBitsUnderThePadding) {
  EXPECT_EQ(Decode("TR==").bytes, WithZero("M"));
  EXPECT_EQ(Decode("TWF=").bytes, WithZero("Ma"));
}

TEST(qelBase64Decode, DoesNotMindForeignCharacters) {
  EXPECT_EQ(Decode("T-Fu").length, 3);
  EXPECT_EQ(Decode("....").bytes, std::string(4, '\0'));
}

TEST(qelBase64Decode, GivesBackRandomBytes) {
  std::mt19937 random(18);
  for (int round = 0; round != 500; ++round) {
    std::string bytes(1 + random() % 200, '\0');
    for (char& byte : bytes)
      byte = static_cast<char>(random());
    const std::string text = Encode(bytes);
    EXPECT_EQ(text.size(), (bytes.size() + 2) / 3 * 4);
    const Decoded got = Decode(text);
    EXPECT_EQ(got.length, static_cast<int64_t>(bytes.size()));
    EXPECT_EQ(got.bytes, WithZero(bytes));
  }
}

std::string Quad(const char* in) {
  unsigned char out[3] = {'#', '#', '#'};
  qelBase64_DecodeQuad(out, in);
  return std::string(out, out + 3);
}

TEST(qelBase64DecodeQuad, KnowsEveryCharacterOfTheAlphabet) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (int c = 0; c != 256; ++c) {
    const char in[4] = {'A', 'A', 'B', static_cast<char>(c)};
    const size_t value = alphabet.find(static_cast<char>(c));
    unsigned bits = 1; // of the "B": not shifted for a foreign character
    if (c == '=')
      bits = 1 << 6;
    if (value != std::string::npos)
      bits = 1 << 6 | static_cast<unsigned>(value);
    const std::string got = Quad(in);
    EXPECT_EQ(static_cast<unsigned char>(got[1]) << 8 | static_cast<unsigned char>(got[2]),
              static_cast<int>(bits))
        << c;
  }
}

TEST(qelBase64DecodeQuad, DoesNotShiftForAForeignCharacter) {
  EXPECT_EQ(Quad("TWFu"), "Man");
  EXPECT_EQ(Quad("TWE="), std::string("Ma\0", 3));
  EXPECT_EQ(Quad("-///"), std::string("\x03\xFF\xFF", 3));
  EXPECT_EQ(Quad("///-"), std::string("\x03\xFF\xFF", 3));
  EXPECT_EQ(Quad("=///"), std::string("\x03\xFF\xFF", 3));
  EXPECT_EQ(Quad("///="), std::string("\xFF\xFF\xC0", 3));
}

} // namespace

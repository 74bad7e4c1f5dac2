// The program is linked so that every malloc of the library comes through here.

#include <qel/serialize/Obfuscate.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <qel/serialize/qelBase64.h>
#include <qel/serialize/qelRC4.h>
#include <tests/support/Fatal.h>

// Which malloc of this thread fails, from 1; 0 for none.
static thread_local int failing = 0;

extern "C" void* __real_malloc(size_t size);
extern "C" void* __wrap_malloc(size_t size) {
  if (failing != 0 && --failing == 0)
    return nullptr;
  return __real_malloc(size);
}

namespace {

// The bytes that are exclusive-ored onto a text.
std::string Stream(const std::string& key, size_t length) {
  std::string stream(length, '\0');
  qelRC4_t state;
  qelRC4_Init(key.data(), key.size(), &state);
  qelRC4_Crypt(&stream[0], stream.size(), &state);
  return stream;
}

std::string Base64(const std::string& bytes) {
  char* out = nullptr;
  qelBase64_Encode(bytes.data(), bytes.size(), &out);
  const std::string text = out;
  free(out);
  return text;
}

// A text of no zero bytes that encrypts to 0 at that place and nowhere ahead.
std::string TextWithZeroCipherAt(size_t at, const std::string& key) {
  const std::string stream = Stream(key, at + 4);
  std::string text;
  for (size_t i = 0; i != at + 4; ++i)
    text += stream[i] == 'a' ? 'b' : 'a';
  text[at] = stream[at];
  return text;
}

TEST(qelObfuscateTo, WritesTheCipherAsBase64) {
  EXPECT_STREQ(qelObfuscate::To_B64RC4("Plaintext", "Key").c_str(), "u/MW6NlArwrT");
  EXPECT_STREQ(qelObfuscate::To_B64RC4("", "Key").c_str(), "");
}

TEST(qelObfuscateTo, LosesTheTextFromAZeroCipherByteOn) {
  const std::string key = "Key";
  for (const size_t at : {0u, 1u, 5u}) {
    const std::string text = TextWithZeroCipherAt(at, key);
    ASSERT_EQ(text.find('\0'), std::string::npos);
    const qelCString secret = qelObfuscate::To_B64RC4(text.c_str(), key.c_str());
    const qelCString back = qelObfuscate::From_B64RC4(secret, key.c_str());
    EXPECT_EQ(std::string(back.c_str()), text.substr(0, at));
    EXPECT_EQ(secret.IsEmpty(), at == 0);
  }
}

TEST(qelObfuscateTo, EndsTheTextAtItsOwnZeroByte) {
  const qelCString secret = qelObfuscate::To_B64RC4(qelCString("ab\0cd", size_t{5}), "Key");
  EXPECT_STREQ(secret.c_str(), qelObfuscate::To_B64RC4("ab", "Key").c_str());
}

TEST(qelObfuscateTo, LeavesTheTextAlone) {
  const qelCString text("Plaintext");
  const qelCString copy(text);
  qelObfuscate::To_B64RC4(text, "Key");
  EXPECT_STREQ(copy.c_str(), "Plaintext");
}

TEST(qelObfuscateTo, GivesNothingForAnEmptyKey) {
  EXPECT_TRUE(qelObfuscate::To_B64RC4("Plaintext", "").IsEmpty());
  EXPECT_TRUE(qelObfuscate::To_B64RC4("Plaintext", nullptr).IsEmpty());
}

// The first allocation is the copy's, the second the text's.
TEST(qelObfuscateTo, IsFatalWithoutMemoryForTheText) {
  const qelCString text("Plaintext");
  EXPECT_FATAL((failing = 2, qelObfuscate::To_B64RC4(text, "Key")), "memory:malloc");
}

TEST(qelObfuscateFrom, GivesBackTheTextOrItsFrontPart) {
  for (int i = 1; i != 200; ++i) {
    const std::string key = "key" + std::to_string(i);
    std::string text;
    for (int n = 0; n != i; ++n)
      text += static_cast<char>(1 + (n * 37 + i) % 255);
    const std::string stream = Stream(key, text.size());
    size_t kept = 0;
    while (kept != text.size() && stream[kept] != text[kept])
      ++kept;
    const qelCString back =
        qelObfuscate::From_B64RC4(qelObfuscate::To_B64RC4(text.c_str(), key.c_str()), key.c_str());
    EXPECT_EQ(std::string(back.c_str(), back.length()), text.substr(0, kept)) << key;
  }
}

TEST(qelObfuscateFrom, GivesNothingForTextThatIsNotBase64) {
  EXPECT_TRUE(qelObfuscate::From_B64RC4("u/MW6NlArwr", "Key").IsEmpty());
  EXPECT_TRUE(qelObfuscate::From_B64RC4("u/MW====", "Key").IsEmpty());
  EXPECT_TRUE(qelObfuscate::From_B64RC4("", "Key").IsEmpty());
}

TEST(qelObfuscateFrom, StopsAtADecodedZeroByte) {
  std::string cipher = Stream("Key", 6);
  for (char& byte : cipher)
    byte = static_cast<char>(byte ^ 'x');
  cipher[3] = '\0';
  EXPECT_STREQ(qelObfuscate::From_B64RC4(Base64(cipher).c_str(), "Key").c_str(), "xxx");
}

TEST(qelObfuscateFrom, EndsTheTextAtADecryptedZeroByte) {
  std::string cipher = Stream("Key", 6);
  for (char& byte : cipher)
    byte = static_cast<char>(byte ^ 'x');
  cipher[2] = static_cast<char>(cipher[2] ^ 'x');
  EXPECT_EQ(qelObfuscate::From_B64RC4(Base64(cipher).c_str(), "Key").length(), 2u);
}

TEST(qelObfuscateFrom, GivesNothingForAnEmptyKey) {
  EXPECT_TRUE(qelObfuscate::From_B64RC4("u/MW6NlArwrT", "").IsEmpty());
  EXPECT_TRUE(qelObfuscate::From_B64RC4("u/MW6NlArwrT", nullptr).IsEmpty());
}

} // namespace

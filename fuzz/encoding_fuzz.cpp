// The byte codecs: what they write they read back, and whatever they read is bounded.

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <fuzz/FuzzInput.h>
#include <qel/serialize/Obfuscate.h>
#include <qel/serialize/qelBase64.h>
#include <qel/serialize/qelEscape.h>
#include <qel/serialize/qelHex.h>
#include <qel/serialize/qelRC4.h>

static void CheckHex(const std::vector<char>& bytes, size_t wordSize, int order) {
  char* text = nullptr;
  const int status = qelHex_Encode(bytes.data(), bytes.size(), wordSize, order, &text);
  const bool fits = wordSize == 0 || bytes.size() % wordSize == 0;
  FUZZ_CHECK(status == (fits ? 0 : -3) && (text != nullptr) == fits);
  const bool isKnown = wordSize == 1 || wordSize == 2 || wordSize == 4;
  if (fits && isKnown && order >= 0 && order <= 2) {
    void* back = nullptr;
    size_t size = 0;
    FUZZ_CHECK(qelHex_Decode(text, strlen(text), wordSize, order, &back, &size) == 0);
    FUZZ_CHECK(size == bytes.size() && (size == 0 || memcmp(back, bytes.data(), size) == 0));
    free(back);
  }
  free(text);

  void* data = nullptr;
  size_t size = 7;
  const int read = qelHex_Decode(bytes.data(), bytes.size(), wordSize, order, &data, &size);
  FUZZ_CHECK(read == 0 || (read == -3 && data == nullptr && size == 0));
  FUZZ_CHECK(size <= bytes.size() / 2);
  free(data);
}

static void CheckEscape(const std::vector<char>& bytes, char escape, int high) {
  unsigned char table[128];
  for (int c = 0; c != 128; ++c)
    table[c] = c % 3 == 0 && c != static_cast<unsigned char>(escape);
  size_t size = 0;
  char* text = qelEscape_Bytes(bytes.data(), bytes.size(), 0, table, escape, high, &size);
  FUZZ_CHECK(size <= bytes.size() * 3);
  // A high escape character passes unescaped unless the high bytes are escaped too.
  if (high != 0 || static_cast<unsigned char>(escape) < 128) {
    size_t backSize = 0;
    char* back = qelUnescape_Bytes(text, size, 0, escape, &backSize);
    FUZZ_CHECK(backSize == bytes.size());
    FUZZ_CHECK(backSize == 0 || memcmp(back, bytes.data(), backSize) == 0);
    free(back);
  }
  free(text);

  char* data = qelUnescape_Bytes(bytes.data(), bytes.size(), 1, escape, &size);
  FUZZ_CHECK(size <= bytes.size() + 1 && data[size - 1] == '\0');
  free(data);
}

static void CheckBase64(const std::vector<char>& bytes) {
  if (!bytes.empty()) {
    char* text = nullptr;
    qelBase64_Encode(bytes.data(), bytes.size(), &text);
    std::vector<char> back(bytes.size() + 4);
    FUZZ_CHECK(qelBase64_Decode(text, back.data()) == static_cast<int64_t>(bytes.size()));
    FUZZ_CHECK(memcmp(back.data(), bytes.data(), bytes.size()) == 0);
    free(text);
  }
  std::vector<char> text(bytes);
  text.push_back('\0');
  std::vector<char> out(strlen(text.data()) / 4 * 3 + 1);
  out.shrink_to_fit();
  const int64_t length = qelBase64_Decode(text.data(), out.data());
  FUZZ_CHECK(length >= -1 && length < static_cast<int64_t>(out.size()));
  FUZZ_CHECK(length < 0 || out[static_cast<size_t>(length)] == '\0');
}

static void CheckCipher(const std::vector<char>& bytes, const std::vector<char>& key) {
  qelRC4_t state;
  std::vector<char> data(bytes);
  for (int pass = 0; pass != 2; ++pass) {
    qelRC4_Init(key.data(), key.size(), &state);
    qelRC4_Crypt(data.data(), data.size(), &state);
  }
  FUZZ_CHECK(data == bytes);

  std::vector<char> keyText(key);
  keyText.back() = '\0';
  const std::string text(bytes.begin(), bytes.end());
  const qelCString whole(text.c_str());
  const qelCString secret = qelObfuscate::To_B64RC4(whole, keyText.data());
  const qelCString back = qelObfuscate::From_B64RC4(secret, keyText.data());
  FUZZ_CHECK(back.length() <= whole.length());
  FUZZ_CHECK(memcmp(back.c_str(), whole.c_str(), back.length()) == 0);
  qelObfuscate::From_B64RC4(whole, keyText.data());
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  const size_t wordSize = input.TakeByte() % 6;
  const int order = input.TakeByte() % 5 - 1;
  const char escape = static_cast<char>(input.TakeByte());
  std::vector<char> key = input.TakeBytes(input.TakeByte() % 16);
  key.push_back('k');
  const std::vector<char> bytes = input.TakeBytes(input.Left());
  CheckHex(bytes, wordSize, order);
  const unsigned char lower = static_cast<unsigned char>(escape | 0x20);
  const bool isDigit = (lower >= 'a' && lower <= 'f') || (escape >= '0' && escape <= '9') ||
                       (escape >= 0x10 && escape <= 0x19);
  for (int high = 0; high != 2 && !isDigit; ++high)
    CheckEscape(bytes, escape, high);
  CheckBase64(bytes);
  CheckCipher(bytes, key);
  return 0;
}

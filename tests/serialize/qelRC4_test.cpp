#include <qel/serialize/qelRC4.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

std::string Hex(const std::string& bytes) {
  static const char digits[] = "0123456789abcdef";
  std::string text;
  for (const char byte : bytes) {
    text += digits[static_cast<unsigned char>(byte) >> 4];
    text += digits[byte & 15];
  }
  return text;
}

std::string FromHex(const std::string& text) {
  std::string bytes;
  for (size_t i = 0; i != text.size(); i += 2)
    bytes += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
  return bytes;
}

std::string Crypt(const std::string& key, std::string data) {
  qelRC4_t state;
  qelRC4_Init(key.data(), key.size(), &state);
  qelRC4_Crypt(&data[0], data.size(), &state);
  return data;
}

std::string KeyOfLength(size_t length) {
  std::string key;
  for (size_t i = 0; i != length; ++i)
    key += static_cast<char>(i * 7 + i / 256 + 1);
  return key;
}

// RFC 6229: the stream of some keys, 16 bytes from some offsets on.
const struct {
  const char* key;
  size_t offset;
  const char* stream;
} kStreams[] = {
    // clang-format off
    {"0102030405", 0, "b2396305f03dc027ccc3524a0a1118a8"},
    {"0102030405", 16, "6982944f18fc82d589c403a47a0d0919"},
    {"0102030405", 240, "28cb1132c96ce286421dcaadb8b69eae"},
    {"0102030405", 256, "1cfcf62b03eddb641d77dfcf7f8d8c93"},
    {"0102030405", 1536, "d8729db41882259bee4f825325f5a130"},
    {"0102030405", 4080, "068326a2118416d21f9d04b2cd1ca050"},
    {"0102030405", 4096, "ff25b58995996707e51fbdf08b34d875"},
    {"01020304050607", 0, "293f02d47f37c9b633f2af5285feb46b"},
    {"01020304050607", 16, "e620f1390d19bd84e2e0fd752031afc1"},
    {"01020304050607", 240, "914f02531c9218810df60f67e338154c"},
    {"01020304050607", 256, "d0fdb583073ce85ab83917740ec011d5"},
    {"01020304050607", 1536, "78b272c96e42eab4c60bd914e39d06e3"},
    {"01020304050607", 4080, "f3172ceffc3b3d997c85ccd5af1a950c"},
    {"01020304050607", 4096, "e74b0b9731227fd37c0ec08a47ddd8b8"},
    {"0102030405060708", 0, "97ab8a1bf0afb96132f2f67258da15a8"},
    {"0102030405060708", 16, "8263efdb45c4a18684ef87e6b19e5b09"},
    {"0102030405060708", 240, "9636ebc9841926f4f7d1f362bddf6e18"},
    {"0102030405060708", 256, "d0a990ff2c05fef5b90373c9ff4b870a"},
    {"0102030405060708", 1536, "8369e1a965610be887fbd0c79162aafb"},
    {"0102030405060708", 4080, "d5fa5a3469d29aaaf83d23589db8c85b"},
    {"0102030405060708", 4096, "3fb46e2c8f0f068edce8cdcd7dfc5862"},
    {"0102030405060708090a", 0, "ede3b04643e586cc907dc21851709902"},
    {"0102030405060708090a", 16, "03516ba78f413beb223aa5d4d2df6711"},
    {"0102030405060708090a", 240, "3cfd6cb58ee0fdde640176ad0000044d"},
    {"0102030405060708090a", 256, "48532b21fb6079c9114c0ffd9c04a1ad"},
    {"0102030405060708090a", 1536, "8a0feddbac865a09bcd127fb562ed60a"},
    {"0102030405060708090a", 4080, "1f135ed14ce60a91369d2322bef25e3c"},
    {"0102030405060708090a", 4096, "08b6be45124a43e2eb77953f84dc8553"},
    {"0102030405060708090a0b0c0d0e0f10", 0, "9ac7cc9a609d1ef7b2932899cde41b97"},
    {"0102030405060708090a0b0c0d0e0f10", 16, "5248c4959014126a6e8a84f11d1a9e1c"},
    {"0102030405060708090a0b0c0d0e0f10", 240, "065902e4b620f6cc36c8589f66432f2b"},
    {"0102030405060708090a0b0c0d0e0f10", 256, "d39d566bc6bce3010768151549f3873f"},
    {"0102030405060708090a0b0c0d0e0f10", 1536, "ffa0b514647ec04f6306b892ae661181"},
    {"0102030405060708090a0b0c0d0e0f10", 4080, "ff38265c1642c1abe8d3c2fe5e572bf8"},
    {"0102030405060708090a0b0c0d0e0f10", 4096, "a36a4c301ae8ac13610ccbc12256cacc"},
    {"0102030405060708090a0b0c0d0e0f101112131415161718", 0, "0595e57fe5f0bb3c706edac8a4b2db11"},
    {"0102030405060708090a0b0c0d0e0f101112131415161718", 16, "dfde31344a1af769c74f070aee9e2326"},
    {"0102030405060708090a0b0c0d0e0f101112131415161718", 240, "b06b9b1e195d13d8f4a7995c4553ac05"},
    {"0102030405060708090a0b0c0d0e0f101112131415161718", 256, "6bd2378ec341c9a42f37ba79f88a32ff"},
    {"0102030405060708090a0b0c0d0e0f101112131415161718", 1536, "0e317b3d1c73b9e9a4688f296d133a19"},
    {"0102030405060708090a0b0c0d0e0f101112131415161718", 4080, "29a0b8aed54a132324c62e423f54b4c8"},
    {"0102030405060708090a0b0c0d0e0f101112131415161718", 4096, "3cb0f3b5020a98b82af9fe154484a168"},
    {"0102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f20", 0, "eaa6bd25880bf93d3f5d1e4ca2611d91"},
    {"0102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f20", 16, "cfa45c9f7e714b54bdfa80027cb14380"},
    {"0102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f20", 240, "114ae344ded71b35f2e60febad727fd8"},
    {"0102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f20", 256, "02e1e7056b0f623900496422943e97b6"},
    {"0102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f20", 1536, "3e34135c79db010200767651cf263073"},
    {"0102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f20", 4080, "a13a7c79c7e119b5ab0296ab28c300b9"},
    {"0102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f20", 4096, "f3e4c0a2e02d1d01f7f0a74618af2b48"},
    {"833222772a", 0, "80ad97bdc973df8a2e879e92a497efda"},
    {"833222772a", 4096, "bf42c3018c2f7c66bfde524975768115"},
    {"ebb46227c6cc8b37641910833222772a", 0, "720c94b63edf44e131d950ca211a5a30"},
    {"ebb46227c6cc8b37641910833222772a", 4096, "5bbeb4787d59e5373fdbea6c6f75c29b"},
    {"1ada31d5cf688221c109163908ebe51debb46227c6cc8b37641910833222772a", 0, "dd5bcb0018e922d494759d7c395d02d3"},
    {"1ada31d5cf688221c109163908ebe51debb46227c6cc8b37641910833222772a", 4096, "370b1c1fe655916d97fd0d47ca1d72b8"},
    // clang-format on
};

TEST(qelRC4State, Takes258Bytes) {
  EXPECT_EQ(sizeof(qelRC4_t), 258u);
}

TEST(qelRC4Init, PermutesAllBytes) {
  qelRC4_t state;
  memset(&state, 0x55, sizeof(state));
  qelRC4_Init("Key", 3, &state);
  EXPECT_EQ(state.i, 0);
  EXPECT_EQ(state.j, 0);
  bool seen[256] = {};
  for (const unsigned char byte : state.permutation)
    seen[byte] = true;
  for (const bool one : seen)
    EXPECT_TRUE(one);
}

TEST(qelRC4Init, TakesTheFirst256BytesOfAKey) {
  const std::string data(1000, '\0');
  const std::string whole = Crypt(KeyOfLength(256), data);
  EXPECT_EQ(Crypt(KeyOfLength(257), data), whole);
  EXPECT_EQ(Crypt(KeyOfLength(300), data), whole);
  EXPECT_EQ(Crypt(KeyOfLength(1000), data), whole);
  EXPECT_NE(Crypt(KeyOfLength(255), data), whole);
}

TEST(qelRC4Crypt, WritesThePublishedStreams) {
  for (const auto& row : kStreams) {
    const std::string stream = Crypt(FromHex(row.key), std::string(row.offset + 16, '\0'));
    EXPECT_EQ(Hex(stream.substr(row.offset)), row.stream) << row.key << " at " << row.offset;
  }
}

TEST(qelRC4Crypt, EncryptsThePublishedTexts) {
  EXPECT_EQ(Hex(Crypt("Key", "Plaintext")), "bbf316e8d940af0ad3");
  EXPECT_EQ(Hex(Crypt("Wiki", "pedia")), "1021bf0420");
  EXPECT_EQ(Hex(Crypt("Secret", "Attack at dawn")), "45a01f645fc35b383552544b9bf5");
}

TEST(qelRC4Crypt, GoesOnInTheStream) {
  const std::string whole = Crypt("Key", std::string(1000, '\0'));
  std::string pieces(1000, '\0');
  qelRC4_t state;
  qelRC4_Init("Key", 3, &state);
  std::mt19937 random(18);
  for (size_t at = 0; at != pieces.size();) {
    const size_t n = std::min<size_t>(random() % 40, pieces.size() - at);
    qelRC4_Crypt(&pieces[at], n, &state);
    at += n;
  }
  EXPECT_EQ(pieces, whole);
}

TEST(qelRC4Crypt, DecryptsWhatItEncrypted) {
  std::mt19937 random(18);
  for (int round = 0; round != 300; ++round) {
    std::string data(random() % 500, '\0');
    std::string key(1 + random() % 300, '\0');
    for (char& byte : data)
      byte = static_cast<char>(random());
    for (char& byte : key)
      byte = static_cast<char>(random());
    EXPECT_EQ(Crypt(key, Crypt(key, data)), data);
  }
}

TEST(qelRC4SwapBytes, ExchangesTwoBytesAndMindsNotOne) {
  unsigned char a = 1;
  unsigned char b = 2;
  qelRC4_SwapBytes(&a, &b);
  EXPECT_EQ(a, 2);
  EXPECT_EQ(b, 1);
  qelRC4_SwapBytes(&a, &a);
  EXPECT_EQ(a, 2);
}

} // namespace

// The byte codecs over a megabyte of random bytes or of text, with OpenSSL's beside them where it is
// there.

#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <qel/serialize/qelBase64.h>
#include <qel/serialize/qelEscape.h>
#include <qel/serialize/qelHex.h>
#include <qel/serialize/qelRC4.h>

#ifdef QEL_BENCH_OPENSSL
#include <openssl/evp.h>
#include <openssl/provider.h>
#endif

namespace {

const size_t kSize = 1 << 20;

const std::string& Bytes() {
  static const std::string bytes = [] {
    std::mt19937 random(18);
    std::string made(kSize, '\0');
    for (char& byte : made)
      byte = static_cast<char>(random());
    return made;
  }();
  return bytes;
}

// Every n-th byte is none that passes.
std::string Text(size_t n) {
  std::string text(kSize, 'a');
  for (size_t i = 0; i < text.size(); i += n)
    text[i] = '\0';
  return text;
}

const unsigned char* SafeTable() {
  static unsigned char table[128];
  for (int c = 0x20; c != 0x7F; ++c)
    table[c] = c != '"' && c != '%' && c != '\\';
  return table;
}

// MB/s count the bytes, not the text.
void CountBytes(benchmark::State& state) {
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kSize));
}

void HexEncode(benchmark::State& state) {
  for (auto _ : state) {
    char* text = nullptr;
    qelHex_Encode(Bytes().data(), kSize, static_cast<size_t>(state.range(0)), 1, &text);
    benchmark::DoNotOptimize(text);
    free(text);
  }
  CountBytes(state);
}
BENCHMARK(HexEncode)->Arg(1)->Arg(4);

void HexDecode(benchmark::State& state) {
  char* text = nullptr;
  qelHex_Encode(Bytes().data(), kSize, 1, 0, &text);
  for (auto _ : state) {
    void* data = nullptr;
    size_t size = 0;
    qelHex_Decode(text, 2 * kSize, static_cast<size_t>(state.range(0)), 1, &data, &size);
    benchmark::DoNotOptimize(data);
    free(data);
  }
  free(text);
  CountBytes(state);
}
BENCHMARK(HexDecode)->Arg(1)->Arg(4);

void Escape(benchmark::State& state) {
  const std::string text = Text(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    char* escaped = qelEscape_Bytes(text.data(), kSize, 1, SafeTable(), '%', 0, nullptr);
    benchmark::DoNotOptimize(escaped);
    free(escaped);
  }
  CountBytes(state);
}
BENCHMARK(Escape)->Arg(2)->Arg(10)->Arg(1000);

void Unescape(benchmark::State& state) {
  const std::string text = Text(static_cast<size_t>(state.range(0)));
  size_t length = 0;
  char* escaped = qelEscape_Bytes(text.data(), kSize, 0, SafeTable(), '%', 0, &length);
  for (auto _ : state) {
    char* data = qelUnescape_Bytes(escaped, length, 0, '%', nullptr);
    benchmark::DoNotOptimize(data);
    free(data);
  }
  free(escaped);
  CountBytes(state);
}
BENCHMARK(Unescape)->Arg(2)->Arg(10)->Arg(1000);

void Base64Encode(benchmark::State& state) {
  for (auto _ : state) {
    char* text = nullptr;
    qelBase64_Encode(Bytes().data(), kSize, &text);
    benchmark::DoNotOptimize(text);
    free(text);
  }
  CountBytes(state);
}
BENCHMARK(Base64Encode);

void Base64Decode(benchmark::State& state) {
  char* text = nullptr;
  qelBase64_Encode(Bytes().data(), kSize, &text);
  std::vector<char> out(kSize + 4);
  for (auto _ : state)
    benchmark::DoNotOptimize(qelBase64_Decode(text, out.data()));
  free(text);
  CountBytes(state);
}
BENCHMARK(Base64Decode);

void RC4(benchmark::State& state) {
  std::string data = Bytes();
  qelRC4_t cipher;
  qelRC4_Init("benchmark", 9, &cipher);
  for (auto _ : state)
    qelRC4_Crypt(&data[0], data.size(), &cipher);
  CountBytes(state);
}
BENCHMARK(RC4);

#ifdef QEL_BENCH_OPENSSL

void Base64EncodeOpenSSL(benchmark::State& state) {
  std::vector<unsigned char> text(kSize * 4 / 3 + 8);
  const auto* bytes = reinterpret_cast<const unsigned char*>(Bytes().data());
  for (auto _ : state)
    benchmark::DoNotOptimize(EVP_EncodeBlock(text.data(), bytes, static_cast<int>(kSize)));
  CountBytes(state);
}
BENCHMARK(Base64EncodeOpenSSL);

void Base64DecodeOpenSSL(benchmark::State& state) {
  std::vector<unsigned char> text(kSize * 4 / 3 + 8);
  const auto* bytes = reinterpret_cast<const unsigned char*>(Bytes().data());
  const int length = EVP_EncodeBlock(text.data(), bytes, static_cast<int>(kSize));
  std::vector<unsigned char> out(kSize + 4);
  for (auto _ : state)
    benchmark::DoNotOptimize(EVP_DecodeBlock(out.data(), text.data(), length));
  CountBytes(state);
}
BENCHMARK(Base64DecodeOpenSSL);

void RC4OpenSSL(benchmark::State& state) {
  OSSL_PROVIDER* legacy = OSSL_PROVIDER_load(nullptr, "legacy");
  EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
  const unsigned char key[17] = "sixteen bytes ok";
  std::vector<unsigned char> data(Bytes().begin(), Bytes().end());
  if (EVP_EncryptInit_ex(context, EVP_rc4(), nullptr, key, nullptr) == 1) {
    int written = 0;
    for (auto _ : state)
      EVP_EncryptUpdate(context, data.data(), &written, data.data(), static_cast<int>(kSize));
    CountBytes(state);
  } else {
    state.SkipWithError("this OpenSSL has no RC4");
  }
  EVP_CIPHER_CTX_free(context);
  if (legacy != nullptr)
    OSSL_PROVIDER_unload(legacy);
}
BENCHMARK(RC4OpenSSL);

#endif

} // namespace

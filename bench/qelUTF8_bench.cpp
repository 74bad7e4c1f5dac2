// UTF-8 to UTF-16 and back, by kind of text and by size.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <qel/core/Convert.h>
#include <qel/core/qelUTF8.h>

namespace {

enum Kind { kASCII, kLatin, kHan, kEmoji };
const char* const kKindNames[] = {"ASCII", "Latin", "Han", "emoji"};

// Text of about `bytes` bytes: one character of the kind, over and over; Latin text has an accent
// on each fifth letter.
std::string Text(Kind kind, size_t bytes) {
  static const char* const kPieces[] = {"title of a song ", "caf\xC3\xA9 no\xC3\xABl ",
                                        "\xE6\xBC\xA2\xE5\xAD\x97", "\xF0\x9F\x98\x80"};
  std::string text;
  while (text.size() < bytes)
    text += kPieces[kind];
  return text;
}

void Arguments(benchmark::internal::Benchmark* b) {
  b->ArgNames({"kind", "bytes"});
  for (int64_t kind : {kASCII, kLatin, kHan, kEmoji})
    for (int64_t bytes : {32, 1024, 1 << 20})
      b->Args({kind, bytes});
}

void Tell(benchmark::State& state, size_t bytes) {
  state.SetLabel(kKindNames[state.range(0)]);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
}

// Into a buffer that is there: the codec alone.
void Decode(benchmark::State& state) {
  const std::string text = Text(static_cast<Kind>(state.range(0)), state.range(1));
  std::vector<qelWChar> out(text.size() + 1);
  for (auto _ : state)
    benchmark::DoNotOptimize(qelUTF8_Decode(out.data(), text.c_str(), out.size()));
  Tell(state, text.size());
}
BENCHMARK(Decode)->Apply(Arguments);

void Encode(benchmark::State& state) {
  const std::string text = Text(static_cast<Kind>(state.range(0)), state.range(1));
  qelWChar* wide = qelUTF8_ToWide(text.c_str());
  std::vector<char> out(text.size() + 1);
  for (auto _ : state)
    benchmark::DoNotOptimize(qelUTF8_Encode(out.data(), wide, out.size()));
  free(wide);
  Tell(state, text.size());
}
BENCHMARK(Encode)->Apply(Arguments);

// As clients convert: count, allocate, convert.
void ToString(benchmark::State& state) {
  const std::string text = Text(static_cast<Kind>(state.range(0)), state.range(1));
  for (auto _ : state)
    benchmark::DoNotOptimize(qelConvUTF8.ToString(text.c_str()).data());
  Tell(state, text.size());
}
BENCHMARK(ToString)->Apply(Arguments);

void ToUTF8(benchmark::State& state) {
  const std::string text = Text(static_cast<Kind>(state.range(0)), state.range(1));
  qelWChar* wide = qelUTF8_ToWide(text.c_str());
  for (auto _ : state)
    benchmark::DoNotOptimize(qelConvUTF8.ToUTF8(wide).data());
  free(wide);
  Tell(state, text.size());
}
BENCHMARK(ToUTF8)->Apply(Arguments);

} // namespace

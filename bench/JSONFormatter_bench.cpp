// Writing JSON: documents of many members, and the escapes of one long text.

#include <cstdint>
#include <string>

#include <benchmark/benchmark.h>

#include <qel/serialize/JSONFormatter.h>

namespace {

// An array of maps like those of a media search.
void Document(benchmark::State& state) {
  int64_t bytes = 0;
  for (auto _ : state) {
    qelJSONFormatter formatter;
    formatter.ArrayBegin();
    for (int64_t i = 0; i != state.range(0); ++i) {
      formatter.MapBegin();
      formatter.MapKey("title", false);
      formatter.String("A title with \"quotes\" in it", false);
      formatter.MapKey("path", false);
      formatter.String("/music/artist/album/01 title.flac", false);
      formatter.MapKey("size", false);
      formatter.U64(static_cast<unsigned long long>(i) * 1000003);
      formatter.MapKey("duration", false);
      formatter.Float(static_cast<double>(i) / 8);
      formatter.MapEnd();
      formatter.ArrayItemSeparator();
    }
    formatter.ArrayEnd();
    bytes = static_cast<int64_t>(formatter.Result().length());
  }
  state.SetBytesProcessed(state.iterations() * bytes);
  state.SetComplexityN(state.range(0));
}
BENCHMARK(Document)->RangeMultiplier(10)->Range(1, 100000)->Complexity();

// One text in which each n-th byte needs an escape; 0: none does.
void EscapeText(benchmark::State& state) {
  std::string text(1 << 20, 'x');
  for (size_t i = 0; state.range(0) != 0 && i < text.size(); i += state.range(0))
    text[i] = '"';
  qelJSONFormatter formatter;
  for (auto _ : state) {
    formatter.Reset();
    formatter.String(text.c_str(), false);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}
BENCHMARK(EscapeText)->ArgName("each")->Arg(0)->Arg(100)->Arg(10)->Arg(1);

} // namespace

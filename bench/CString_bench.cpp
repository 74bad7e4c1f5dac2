// Copies, appends and searches of qelCString, each beside std::string doing the same.

#include <cstdint>
#include <string>

#include <benchmark/benchmark.h>

#include <qel/core/CString.h>

namespace {

size_t Find(const qelCString& text, const qelCString& needle) {
  return text.Find(needle, 0);
}
size_t Find(const std::string& text, const std::string& needle) {
  return text.find(needle);
}

template <class S>
void CopyConstruct(benchmark::State& state) {
  const S text(std::string(state.range(0), 'x').c_str());
  for (auto _ : state) {
    S copy(text);
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK_TEMPLATE(CopyConstruct, qelCString)->Arg(8)->Arg(64)->Arg(4096);
BENCHMARK_TEMPLATE(CopyConstruct, std::string)->Arg(8)->Arg(64)->Arg(4096);

template <class S>
void Assign(benchmark::State& state) {
  const S text(std::string(state.range(0), 'x').c_str());
  S target;
  for (auto _ : state) {
    target = text;
    benchmark::DoNotOptimize(target);
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK_TEMPLATE(Assign, qelCString)->Arg(8)->Arg(64)->Arg(4096);
BENCHMARK_TEMPLATE(Assign, std::string)->Arg(8)->Arg(64)->Arg(4096);

// A text of so many bytes out of pieces of eight. A qelCString grows by 16 bytes at a time; that
// this stays linear is the allocator's doing.
template <class S>
void Append(benchmark::State& state) {
  for (auto _ : state) {
    S text;
    for (int64_t n = 0; n < state.range(0); n += 8)
      text += "12345678";
    benchmark::DoNotOptimize(text);
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
  state.SetComplexityN(state.range(0));
}
BENCHMARK_TEMPLATE(Append, qelCString)->RangeMultiplier(16)->Range(64, 1 << 22)->Complexity();
BENCHMARK_TEMPLATE(Append, std::string)->RangeMultiplier(16)->Range(64, 1 << 22)->Complexity();

// A word at the very end of prose.
template <class S>
void FindWord(benchmark::State& state) {
  std::string prose;
  while (prose.size() < static_cast<size_t>(state.range(0)))
    prose += "the quick brown fox jumps over the lazy dog ";
  const S text((prose + "needle").c_str());
  const S needle("needle");
  for (auto _ : state)
    benchmark::DoNotOptimize(Find(text, needle));
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(prose.size()));
}
BENCHMARK_TEMPLATE(FindWord, qelCString)->Arg(64)->Arg(4096)->Arg(1 << 20);
BENCHMARK_TEMPLATE(FindWord, std::string)->Arg(64)->Arg(4096)->Arg(1 << 20);

// A byte that stands at every place and leads to nothing.
template <class S>
void FindAmongCandidates(benchmark::State& state) {
  const S text(std::string(state.range(0), 'a').c_str());
  const S needle("aaaaaaab");
  for (auto _ : state)
    benchmark::DoNotOptimize(Find(text, needle));
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK_TEMPLATE(FindAmongCandidates, qelCString)->Arg(64)->Arg(4096)->Arg(1 << 20);
BENCHMARK_TEMPLATE(FindAmongCandidates, std::string)->Arg(64)->Arg(4096)->Arg(1 << 20);

// A formatted text of more than 1024 bytes takes as many rounds in its description; it is to take
// one or two passes.
void PrintfLong(benchmark::State& state) {
  const std::string argument(state.range(0), 'x');
  qelCString text;
  for (auto _ : state)
    benchmark::DoNotOptimize(text.Printf("%s", argument.c_str()));
  state.SetBytesProcessed(state.iterations() * state.range(0));
  state.SetComplexityN(state.range(0));
}
BENCHMARK(PrintfLong)->RangeMultiplier(16)->Range(64, 1 << 20)->Complexity();

} // namespace

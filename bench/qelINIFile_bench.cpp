// INI tables of tens to tens of thousands of keys. A look-up walks the table, so that loading is
// quadratic and an answer grows with the table; settings of a program are hundreds of keys.

#include <cstdint>
#include <string>

#include <benchmark/benchmark.h>

#include <qel/config/qelINIFile.h>
#include <qel/multiplatform/qelFile.h>

namespace {

constexpr int64_t kKeysOfASection = 100;

std::string Section(int64_t i) {
  return "section" + std::to_string(i / kKeysOfASection);
}

std::string Key(int64_t i) {
  return "key" + std::to_string(i);
}

std::string Text(int64_t count) {
  std::string text;
  for (int64_t i = 0; i != count; ++i) {
    if (i % kKeysOfASection == 0)
      text += "[" + Section(i) + "]\r\n";
    text += Key(i) + "=value " + std::to_string(i) + "\r\n";
  }
  return text;
}

// A loaded table.
class Table {
public:
  explicit Table(const std::string& text) {
    qelINIFile_LoadBuffer(text.data(), text.size(), table);
  }
  ~Table() { qelINIFile_Delete(table); }
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  qelINIFile* const table = qelINIFile_New(0);
};

void CountKeys(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void Load(benchmark::State& state) {
  const std::string text = Text(state.range(0));
  for (auto _ : state) {
    const Table table(text);
    benchmark::DoNotOptimize(table.table->count);
  }
  CountKeys(state);
}
BENCHMARK(Load)->Arg(20)->Arg(200)->Arg(2000)->Arg(20000)->Unit(benchmark::kMicrosecond);

// One read of a key in the middle of the table. A key that is missing costs the whole walk.
void Answer(benchmark::State& state) {
  const Table table(Text(state.range(0)));
  const std::string section = Section(state.range(0) / 2);
  const std::string key = Key(state.range(0) / 2);
  int found = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(
        qelINIFile_GetValue(table.table, section.c_str(), key.c_str(), nullptr, &found));
  if (found != 1)
    state.SkipWithError("the key is missing");
}
BENCHMARK(Answer)->Arg(20)->Arg(200)->Arg(2000)->Arg(20000);

void AnswerForAMissingKey(benchmark::State& state) {
  const Table table(Text(state.range(0)));
  const std::string section = Section(state.range(0) / 2);
  int found = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(
        qelINIFile_GetValue(table.table, section.c_str(), "missing", nullptr, &found));
}
BENCHMARK(AnswerForAMissingKey)->Arg(20)->Arg(200)->Arg(2000)->Arg(20000);

// To a file beside the program.
void Save(benchmark::State& state) {
  const Table table(Text(state.range(0)));
  const char* name = "qelINIFile_bench.ini";
  for (auto _ : state)
    if (!qelINIFile_SaveWhole(name, table.table))
      state.SkipWithError("the file can't be written");
  qelFile_Remove(name);
  CountKeys(state);
}
BENCHMARK(Save)->Arg(20)->Arg(200)->Arg(2000)->Arg(20000)->Unit(benchmark::kMicrosecond);

} // namespace

// The hash table with text keys. It has eleven buckets whatever it holds, so the time of a look-up
// grows with the count; it is made for tens of keys. std::unordered_map stands beside it.

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include <benchmark/benchmark.h>

#include <qel/containers/qelCustomHashTable.h>

namespace {

std::vector<std::string> Keys(int64_t count) {
  std::vector<std::string> keys;
  for (int64_t i = 0; i != count; ++i)
    keys.push_back("property" + std::to_string(i));
  return keys;
}

void CountKeys(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

// Every key once into an empty table, text values copied as in a media description.
void TableFill(benchmark::State& state) {
  const auto keys = Keys(state.range(0));
  for (auto _ : state) {
    qelCustomHashTable_t* table = qelCustomHashTable_NewStringString();
    for (const std::string& key : keys)
      qelCustomHashTable_Add(table, key.c_str(), "value");
    benchmark::DoNotOptimize(table->count);
    qelCustomHashTable_Delete(table);
  }
  CountKeys(state);
}
BENCHMARK(TableFill)->Arg(8)->Arg(32)->Arg(128)->Arg(1024);

void UnorderedMapFill(benchmark::State& state) {
  const auto keys = Keys(state.range(0));
  for (auto _ : state) {
    std::unordered_map<std::string, std::string> map;
    for (const std::string& key : keys)
      map[key.c_str()] = "value";
    benchmark::DoNotOptimize(map.size());
  }
  CountKeys(state);
}
BENCHMARK(UnorderedMapFill)->Arg(8)->Arg(32)->Arg(128)->Arg(1024);

void TableFind(benchmark::State& state) {
  const auto keys = Keys(state.range(0));
  qelCustomHashTable_t* table = qelCustomHashTable_NewStringPlain();
  for (const std::string& key : keys)
    qelCustomHashTable_Add(table, key.c_str(), nullptr);
  for (auto _ : state)
    for (const std::string& key : keys)
      benchmark::DoNotOptimize(qelCustomHashTable_Contains(table, key.c_str()));
  qelCustomHashTable_Delete(table);
  CountKeys(state);
}
BENCHMARK(TableFind)->Arg(8)->Arg(32)->Arg(128)->Arg(1024);

void UnorderedMapFind(benchmark::State& state) {
  const auto keys = Keys(state.range(0));
  std::unordered_map<std::string, void*> map;
  for (const std::string& key : keys)
    map[key] = nullptr;
  for (auto _ : state)
    for (const std::string& key : keys)
      benchmark::DoNotOptimize(map.count(key));
  CountKeys(state);
}
BENCHMARK(UnorderedMapFind)->Arg(8)->Arg(32)->Arg(128)->Arg(1024);

void TableWalk(benchmark::State& state) {
  qelCustomHashTable_t* table = qelCustomHashTable_NewStringPlain();
  for (const std::string& key : Keys(state.range(0)))
    qelCustomHashTable_Add(table, key.c_str(), nullptr);
  for (auto _ : state) {
    size_t seen = 0;
    qelCustomHashTable_ForEach(
        table, [](const void*, const void*, void* count) { ++*static_cast<size_t*>(count); },
        &seen);
    benchmark::DoNotOptimize(seen);
  }
  qelCustomHashTable_Delete(table);
  CountKeys(state);
}
BENCHMARK(TableWalk)->Arg(8)->Arg(32)->Arg(128)->Arg(1024);

void TableDuplicate(benchmark::State& state) {
  qelCustomHashTable_t* table = qelCustomHashTable_NewStringString();
  for (const std::string& key : Keys(state.range(0)))
    qelCustomHashTable_Add(table, key.c_str(), "value");
  for (auto _ : state)
    qelCustomHashTable_Delete(qelCustomHashTable_Duplicate(table));
  qelCustomHashTable_Delete(table);
  CountKeys(state);
}
BENCHMARK(TableDuplicate)->Arg(8)->Arg(32)->Arg(128);

} // namespace

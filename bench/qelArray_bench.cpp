// The growable array, with std::vector beside it where that does the same.

#include <cstdint>
#include <cstdlib>
#include <vector>

#include <benchmark/benchmark.h>

#include <qel/containers/qelArray.h>

namespace {

void* Item(uint64_t value) {
  return reinterpret_cast<void*>(static_cast<uintptr_t>(value));
}

// A fixed series of numbers without order.
uint64_t Scrambled(uint64_t n) {
  return n * 0x9E3779B97F4A7C15u >> 16;
}

int CompareItems(const void* a, const void* b) {
  return a < b ? -1 : a > b;
}

int CompareSlots(const void* a, const void* b) {
  return CompareItems(*static_cast<void* const*>(a), *static_cast<void* const*>(b));
}

void CountItems(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetComplexityN(state.range(0));
}

void ArrayAppend(benchmark::State& state) {
  for (auto _ : state) {
    qelArray_t* array = qelArray_New();
    for (int64_t i = 0; i != state.range(0); ++i)
      qelArray_Append(array, Item(static_cast<uint64_t>(i)));
    benchmark::DoNotOptimize(array->items);
    qelArray_Delete(array);
  }
  CountItems(state);
}
BENCHMARK(ArrayAppend)->RangeMultiplier(16)->Range(16, 1 << 20)->Complexity();

void VectorAppend(benchmark::State& state) {
  for (auto _ : state) {
    std::vector<void*> vector;
    for (int64_t i = 0; i != state.range(0); ++i)
      vector.push_back(Item(static_cast<uint64_t>(i)));
    benchmark::DoNotOptimize(vector.data());
  }
  CountItems(state);
}
BENCHMARK(VectorAppend)->RangeMultiplier(16)->Range(16, 1 << 20)->Complexity();

// A binary search, then all later slots move up: quadratic in all, with a small factor.
void ArraySortedInsert(benchmark::State& state) {
  for (auto _ : state) {
    qelArray_t* array = qelArray_New();
    qelArray_SetCompare(array, CompareItems, /*sorted=*/1);
    for (int64_t i = 0; i != state.range(0); ++i)
      qelArray_SortedInsert(array, Item(Scrambled(static_cast<uint64_t>(i))));
    benchmark::DoNotOptimize(array->items);
    qelArray_Delete(array);
  }
  CountItems(state);
}
BENCHMARK(ArraySortedInsert)->RangeMultiplier(16)->Range(16, 1 << 16);

void ArraySort(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    qelArray_t* array = qelArray_New();
    for (int64_t i = 0; i != state.range(0); ++i)
      qelArray_Append(array, Item(Scrambled(static_cast<uint64_t>(i))));
    state.ResumeTiming();
    qelArray_SetCompare(array, CompareSlots, /*sorted=*/0);
    state.PauseTiming();
    qelArray_Delete(array);
    state.ResumeTiming();
  }
  CountItems(state);
}
BENCHMARK(ArraySort)->RangeMultiplier(16)->Range(1024, 1 << 18);

void ArrayIndexOf(benchmark::State& state) {
  qelArray_t* array = qelArray_New();
  for (int64_t i = 0; i != state.range(0); ++i)
    qelArray_Append(array, Item(static_cast<uint64_t>(i)));
  for (auto _ : state)
    benchmark::DoNotOptimize(qelArray_IndexOf(array, Item(static_cast<uint64_t>(-1))));
  qelArray_Delete(array);
  CountItems(state);
}
BENCHMARK(ArrayIndexOf)->Arg(16)->Arg(1 << 16);

void ArraySerializeStrings(benchmark::State& state) {
  char text[] = "a text of thirty bytes or more";
  qelArray_t* array = qelArray_New();
  for (int64_t i = 0; i != state.range(0); ++i)
    qelArray_Append(array, text);
  for (auto _ : state) {
    size_t size = 0;
    char* block = qelArray_Serialize(array, &size, qelArray_SerializeString);
    benchmark::DoNotOptimize(block);
    free(block);
  }
  qelArray_Delete(array);
  CountItems(state);
}
BENCHMARK(ArraySerializeStrings)->RangeMultiplier(16)->Range(16, 1 << 16)->Complexity();

} // namespace

// Packed blocks: building, look-up, the check of a whole block, insertion ahead of others.

#include <cstdint>
#include <cstdlib>
#include <string>

#include <benchmark/benchmark.h>

#include <qel/serialize/qelPackedData.h>

namespace {

const uint16_t kChunks = 8; // in each slot

qelPackedData_t* Build(uint32_t slotCount) {
  const std::string payload(20, 'x');
  qelPackedData_t* data = qelPackedData_New(slotCount);
  for (uint32_t slot = 0; slot != slotCount; ++slot) {
    qelPackedData_BeginSlot(data);
    for (uint16_t id = 0; id != kChunks; ++id)
      qelPackedData_AddChunk(data, id, payload.data(), payload.size());
  }
  return data;
}

void BuildBlock(benchmark::State& state) {
  const uint32_t slotCount = static_cast<uint32_t>(state.range(0));
  for (auto _ : state) {
    qelPackedData_t* data = Build(slotCount);
    free(qelPackedData_Detach(data));
    qelPackedData_Delete(data);
  }
  state.SetItemsProcessed(state.iterations() * slotCount * kChunks);
  state.SetComplexityN(state.range(0));
}
BENCHMARK(BuildBlock)->RangeMultiplier(10)->Range(1, 100000)->Complexity();

// One slot that takes all, of which nothing could be forecast.
void BuildOneSlot(benchmark::State& state) {
  const std::string payload(20, 'x');
  for (auto _ : state) {
    qelPackedData_t* data = qelPackedData_New(1);
    qelPackedData_BeginSlot(data);
    for (int64_t i = 0; i != state.range(0); ++i)
      qelPackedData_AddChunk(data, static_cast<uint16_t>(i), payload.data(), payload.size());
    qelPackedData_Delete(data);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetComplexityN(state.range(0));
}
BENCHMARK(BuildOneSlot)->RangeMultiplier(10)->Range(10, 10000)->Complexity();

// One look-up of the chunk at that place in its slot.
void FindChunk(benchmark::State& state) {
  const uint32_t slotCount = 10000;
  qelPackedData_t* data = Build(slotCount);
  uint32_t slot = 0;
  for (auto _ : state) {
    size_t size = 0;
    benchmark::DoNotOptimize(
        qelPackedData_FindChunk(data, slot, static_cast<uint16_t>(state.range(0)), &size));
    slot = (slot + 7919) % slotCount;
  }
  qelPackedData_Delete(data);
}
BENCHMARK(FindChunk)->Arg(0)->Arg(3)->Arg(7);

void CheckBlock(benchmark::State& state) {
  qelPackedData_t* data = Build(static_cast<uint32_t>(state.range(0)));
  size_t size = 0;
  const char* block = qelPackedData_GetData(data, &size);
  for (auto _ : state)
    benchmark::DoNotOptimize(qelPackedData_IsValidBlock(block, size));
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(size));
  qelPackedData_Delete(data);
}
BENCHMARK(CheckBlock)->Arg(10)->Arg(10000);

// An update in the first slot that grows and shrinks by 20 bytes and moves all behind it.
void UpdateFirstSlot(benchmark::State& state) {
  qelPackedData_t* data = Build(static_cast<uint32_t>(state.range(0)));
  const std::string payload(40, 'y');
  bool larger = false;
  for (auto _ : state) {
    larger = !larger;
    qelPackedData_UpdateChunk(data, 0, 0, payload.data(), larger ? 40 : 20, /*create=*/0);
  }
  state.SetComplexityN(state.range(0));
  qelPackedData_Delete(data);
}
BENCHMARK(UpdateFirstSlot)->RangeMultiplier(10)->Range(10, 10000)->Complexity();

} // namespace

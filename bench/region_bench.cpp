// Unions of many rectangles, one by one, in full regions; pixman's regions beside them where it is
// installed.

#include <algorithm>
#include <cstdint>
#include <vector>

#include <benchmark/benchmark.h>

#ifdef QEL_BENCH_PIXMAN
#include <pixman.h>
#endif

#include <qel/geometry/FRegion.h>

namespace {

constexpr int kSide = 2000; // of the plane the rectangles lie in

// The same rectangles on every run, at most 40 wide and high.
std::vector<qelRect> Rects(int64_t n) {
  std::vector<qelRect> rects;
  uint64_t state = 1;
  const auto below = [&state](int limit) {
    state = state * 6364136223846793005u + 1442695040888963407u;
    return static_cast<int>((state >> 33) % static_cast<uint64_t>(limit));
  };
  while (n-- != 0) {
    const int left = below(kSide), top = below(kSide);
    const int width = 1 + below(40), height = 1 + below(40);
    rects.push_back(qelRect(left, top, left + width, top + height));
  }
  return rects;
}

void UnionAll(qelFRegion* region, const std::vector<qelRect>& rects) {
  for (const qelRect& rect : rects)
    region->Union(rect);
}

void Sizes(benchmark::internal::Benchmark* family) {
  for (int n : {10, 100, 1000, 5000})
    family->Arg(n);
  family->Unit(benchmark::kMicrosecond);
}

void RegionUnion(benchmark::State& state) {
  const std::vector<qelRect> rects = Rects(state.range(0));
  int count = 0;
  for (auto _ : state) {
    qelFRegion region;
    UnionAll(&region, rects);
    count = region.count;
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.counters["rectangles"] = count;
}
BENCHMARK(RegionUnion)->Apply(Sizes);

// Two regions of n rectangles each, the second one moved against the first.
void RegionSubtract(benchmark::State& state) {
  std::vector<qelRect> rects = Rects(state.range(0));
  qelFRegion a, b;
  UnionAll(&a, rects);
  for (qelRect& rect : rects)
    rect += qelPoint(7, 5);
  UnionAll(&b, rects);
  for (auto _ : state) {
    qelFRegion rest(a);
    rest.Subtract(b);
    benchmark::DoNotOptimize(rest.rects);
  }
  state.SetItemsProcessed(state.iterations() * (a.count + b.count));
}
BENCHMARK(RegionSubtract)->Apply(Sizes);

#ifdef QEL_BENCH_PIXMAN

void UnionAll(pixman_region32_t* region, const std::vector<qelRect>& rects) {
  for (const qelRect& rect : rects)
    pixman_region32_union_rect(region, region, rect.left, rect.top,
                               static_cast<unsigned>(rect.Width()),
                               static_cast<unsigned>(rect.Height()));
}

void PixmanUnion(benchmark::State& state) {
  const std::vector<qelRect> rects = Rects(state.range(0));
  int count = 0;
  for (auto _ : state) {
    pixman_region32_t region;
    pixman_region32_init(&region);
    UnionAll(&region, rects);
    count = pixman_region32_n_rects(&region);
    pixman_region32_fini(&region);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.counters["rectangles"] = count;
}
BENCHMARK(PixmanUnion)->Apply(Sizes);

void PixmanSubtract(benchmark::State& state) {
  const std::vector<qelRect> rects = Rects(state.range(0));
  pixman_region32_t a, b;
  pixman_region32_init(&a);
  pixman_region32_init(&b);
  UnionAll(&a, rects);
  pixman_region32_copy(&b, &a);
  pixman_region32_translate(&b, 7, 5);
  const int count = pixman_region32_n_rects(&a) + pixman_region32_n_rects(&b);
  for (auto _ : state) {
    pixman_region32_t rest;
    pixman_region32_init(&rest);
    pixman_region32_subtract(&rest, &a, &b);
    benchmark::DoNotOptimize(pixman_region32_n_rects(&rest));
    pixman_region32_fini(&rest);
  }
  pixman_region32_fini(&a);
  pixman_region32_fini(&b);
  state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(PixmanSubtract)->Apply(Sizes);

#endif

} // namespace

// A whole search of mediaquery, without its output: walk, description of each file, evaluation. Over the
// number of files, of which each has a header to read.

#include <string>

#include <benchmark/benchmark.h>

#include <examples/mediaquery/Criteria.h>
#include <examples/mediaquery/FolderWalk.h>
#include <examples/mediaquery/MediaItem.h>
#include <examples/mediaquery/Properties.h>
#include <tests/support/MediaFiles.h>
#include <tests/support/TempDir.h>

using namespace mediaquery;

// Folders of a hundred pictures each.
static void FillFolder(const TempDir& dir, int64_t files) {
  for (int64_t i = 0; i < files; ++i) {
    const std::string folder = std::to_string(i / 100);
    if (i % 100 == 0)
      dir.MakeDir(folder);
    dir.Write(folder + "/" + std::to_string(i) + ".png", MakePNG(640, 480));
  }
}

static int64_t CountHits(const qelPathName& root, CriteriaParser* criteria) {
  int64_t hits = 0;
  FolderWalk walk([&](const qelPathName& file) {
    const MediaType* type = FindMediaType(file.GetExtension().c_str());
    qelMediaInfo item;
    if (type != nullptr && DescribeFile(file, root, *type, &item)) {
      ItemEvaluator evaluator(&item);
      hits += criteria->Evaluate(&evaluator) ? 1 : 0;
    }
    return true;
  });
  walk.Run(root);
  return hits;
}

static void Mediaquery(benchmark::State& state) {
  const TempDir dir;
  FillFolder(dir, state.range(0));
  const qelPathName root = qelPathName::MakeDirPath(dir.Path().c_str());
  CriteriaParser criteria(
      "upnp:class derivedfrom \"object.item.imageItem\" and res@resolution = \"640x480\"");
  if (!criteria.Parse()) {
    state.SkipWithError("the criteria do not parse");
    return;
  }
  for (auto _ : state)
    if (CountHits(root, &criteria) != state.range(0))
      state.SkipWithError("files are missing");
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Mediaquery)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

// How long loading the whole tag catalogue takes, against parsing its JSON files alone, and
// the memory it holds.

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>

#include "bench_support.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/support/files.h"
#include "orvelin/support/resources.h"
#include "orvelin/support/parallel.h"

namespace {

using namespace orvelin;

// The reference: read and parse every ".tags" file, in parallel, building nothing.
void parseOnly() {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(ORVResourcesDirectory() / "Tags"))
    if (entry.path().extension() == ".tags") files.push_back(entry.path());
  const auto sizes = pMap(files, [](const std::filesystem::path& file) {
    return nlohmann::json::parse(readFileContents(file).value_or("[]")).size();
  });
  benchmark::DoNotOptimize(sizes);
}

void BM_ParseCatalogueFilesOnly(benchmark::State& state) {
  for (auto _ : state) parseOnly();
}
BENCHMARK(BM_ParseCatalogueFilesOnly)->Unit(benchmark::kMillisecond);

void BM_TagsResourcesReload(benchmark::State& state) {
  TagsResources resources;
  for (auto _ : state) resources.reload();
}
BENCHMARK(BM_TagsResourcesReload)->Unit(benchmark::kMillisecond);

void summary() {
  const long before = bench::residentKilobytes();
  TagsResources resources;
  const double reload = bench::secondsOf([&] { resources.reload(); });
  const long after = bench::residentKilobytes();
  double reference = 0;
  for (int i = 0; i < 3; ++i) reference += bench::secondsOf(parseOnly);
  reference /= 3;
  std::size_t tags = 0;
  for (const auto& [stream, items] : resources.catalogue()->cachedTags) tags += items.size();
  std::printf("\ncatalogue: %zu streams, %zu tags\n", resources.catalogue()->cachedStreams.size(), tags);
  std::printf("reload: %.1f ms; JSON parse alone: %.1f ms; ratio %.2f\n", reload * 1e3, reference * 1e3,
              reload / reference);
  std::printf("resident memory held by the catalogue: %.1f MB (%.0f bytes per tag)\n", (after - before) / 1024.0,
              tags ? (after - before) * 1024.0 / static_cast<double>(tags) : 0.0);
}

}  // namespace

int main(int argc, char** argv) {
  summary();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}

// How long loading the whole tag catalogue takes, against parsing its JSON files alone, and
// the memory it holds.

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>

#include "bench_support.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/values/value.h"
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

void summary(std::chrono::steady_clock::time_point start) {
  const long before = bench::residentKilobytes();
  auto& resources = TagsResources::shared();
  const double reload = bench::secondsOf([&] { resources.reload(); });
  const auto first = TagsUtil::parseNV("EXIF:DateTimeOriginal", Value(std::string("2003:12:04 06:46:52")));
  const double firstValue = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (!first) std::printf("the catalogue converted no value\n");
  const long after = bench::residentKilobytes();
  double reference = 0;
  for (int i = 0; i < 3; ++i) reference += bench::secondsOf(parseOnly);
  reference /= 3;
  std::size_t tags = 0;
  for (const auto& [stream, items] : resources.catalogue()->cachedTags) tags += items.size();
  const double megabytes = (after - before) / 1024.0;
  char human[300];
  std::snprintf(human, sizeof human,
                "%zu streams, %zu tags: reload %.1f ms (%.2fx parsing its JSON alone); first converted value %.1f ms "
                "after start; %.1f MB resident",
                resources.catalogue()->cachedStreams.size(), tags, reload * 1e3, reload / reference, firstValue * 1e3,
                megabytes);
  bench::report("catalogue", human,
                {{"reload_ms", reload * 1e3},
                 {"reload_over_json_parse", reload / reference},
                 {"first_value_ms", firstValue * 1e3},
                 {"resident_mb", megabytes}});
}

}  // namespace

int main(int argc, char** argv) {
  const auto start = std::chrono::steady_clock::now();
  summary(start);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}

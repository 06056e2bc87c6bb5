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
  const long afterFirst = bench::residentKilobytes();
  // Then every stream, as a host that shows the whole catalogue needs it.
  const auto catalogue = resources.catalogue();
  std::size_t tags = 0;
  const double whole = bench::secondsOf([&] {
    for (const auto& stream : catalogue->streams()) tags += catalogue->stream(stream)->items.size();
  });
  const long afterWhole = bench::residentKilobytes();
  double reference = 0;
  for (int i = 0; i < 3; ++i) reference += bench::secondsOf(parseOnly);
  reference /= 3;
  const double firstMegabytes = (afterFirst - before) / 1024.0, wholeMegabytes = (afterWhole - before) / 1024.0;
  char human[400];
  std::snprintf(human, sizeof human,
                "%zu streams, %zu tags: first converted value %.1f ms after start (reload %.1f ms), %.1f MB resident; "
                "every stream read in %.1f ms (%.2fx parsing its JSON alone), %.1f MB resident",
                catalogue->streams().size(), tags, firstValue * 1e3, reload * 1e3, firstMegabytes, whole * 1e3,
                whole / reference, wholeMegabytes);
  bench::report("catalogue", human,
                {{"first_value_ms", firstValue * 1e3},
                 {"reload_ms", reload * 1e3},
                 {"first_use_resident_mb", firstMegabytes},
                 {"whole_ms", whole * 1e3},
                 {"whole_over_json_parse", whole / reference},
                 {"resident_mb", wholeMegabytes}});
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

// Importing a batch of 500 files through import tasks, in files per second, with one exiftool
// process per file and with the persistent exiftool pool, against exiftool's own
// single-process read of the same files in the same run. The batch cycles through every sample
// file whose format the import takes.

#include <benchmark/benchmark.h>  // DoNotOptimize

#include <algorithm>
#include <cstdio>
#include <set>

#include "bench_support.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/support/files.h"
#include "orvelin/support/main_queue.h"
#include "orvelin/support/notification_center.h"
#include "orvelin/tasks/image_tasks.h"

namespace {

using namespace orvelin;
namespace fs = std::filesystem;

constexpr std::size_t kBatch = 500;
std::vector<fs::path> batch;

// The sample files of every format the import takes (files only: a name without extension
// would be imported as a folder), in a stable order.
std::vector<fs::path> importableSamples() {
  std::vector<fs::path> samples;
  for (const auto* folder : {ORVELIN_TEST_DATA_DIR, ORVELIN_SOURCE_DIR "/../shared/corpus/formats",
                             ORVELIN_SOURCE_DIR "/../shared/corpus/camera"}) {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
      const auto& path = entry.path();
      if (entry.is_regular_file(error) && path.has_extension() && ImportImageTaskItem::canImportImage(path))
        samples.push_back(path);
    }
  }
  std::sort(samples.begin(), samples.end());
  return samples;
}

// Copies the samples round-robin into a folder until there are kBatch files.
std::vector<fs::path> makeBatch(const std::vector<fs::path>& samples, const fs::path& folder) {
  std::vector<fs::path> files;
  for (std::size_t i = 0; i < kBatch; ++i) {
    const auto& sample = samples[i % samples.size()];
    auto target = folder / (std::to_string(i) + sample.extension().string());
    fs::copy_file(sample, target, fs::copy_options::overwrite_existing);
    files.push_back(target);
  }
  return files;
}

// Imports the batch as one group and returns the number of tasks that failed.
std::size_t importAll() { return bench::runGroup(ImportImageTasksGenerator(batch, std::nullopt)); }

// The same files read by one exiftool process, with the reader's arguments.
void exifToolBatch() {
  ExifToolCLI cli;
  cli.enableRawValues = cli.enableShortTags = cli.disableComposite = true;
  std::vector<std::string> arguments{"-g0:1", "-m", "-j"};
  for (const auto& file : batch) arguments.push_back(file.string());
  cli.run(arguments);
  benchmark::DoNotOptimize(cli.stdOutData());
}

// Files per second, or 0 when the time measured is none.
double rate(double seconds) { return seconds > 0 ? static_cast<double>(kBatch) / seconds : 0; }

}  // namespace

int main() {
  const auto samples = importableSamples();
  if (samples.empty()) {
    std::printf("No sample file that the import takes was found under %s or the shared corpus: nothing to measure.\n",
                ORVELIN_TEST_DATA_DIR);
    return 0;
  }
  std::set<std::string> formats;
  for (const auto& sample : samples) formats.insert(sample.extension().string());
  std::printf("%zu sample files, formats:", samples.size());
  for (const auto& format : formats) std::printf(" %s", format.c_str());
  std::printf("\n");

  MainQueue::shared().startOnOwnThread();
  TagsResources::shared().reload();
  const auto folder = ORVTemporaryDirectory() / ("orvelin-bench-" + ORVMakeUUIDString());
  fs::create_directories(folder);
  batch = makeBatch(samples, folder);
  exifToolBatch();  // warm the page cache

  std::size_t failed = 0;
  ORVSetPersistentExifTool(false);
  const double spawned = bench::secondsOf([&] { failed += importAll(); });
  ORVSetPersistentExifTool(true);
  const double pooled = bench::secondsOf([&] { failed += importAll(); });
  const double reference = bench::secondsOf(exifToolBatch);
  char human[400];
  std::snprintf(human, sizeof human,
                "%zu files (%zu failed): spawn %.1f files/s, pool %.1f files/s, exiftool single process %.1f "
                "files/s; pool/spawn %.2fx, pool/exiftool %.2fx",
                kBatch, failed, rate(spawned), rate(pooled), rate(reference), spawned / pooled, reference / pooled);
  bench::report("import", human,
                {{"spawn_files_per_s", rate(spawned)},
                 {"pool_files_per_s", rate(pooled)},
                 {"exiftool_files_per_s", rate(reference)},
                 {"pool_over_spawn", spawned / pooled},
                 {"pool_over_exiftool", reference / pooled}});

  std::error_code ignored;
  fs::remove_all(folder, ignored);
  return 0;
}

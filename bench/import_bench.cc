// Importing a batch of 500 files through import tasks (eight exiftool processes at a time),
// in files per second, against exiftool's own single-process read of the same files in the
// same run. The batch cycles through every sample file whose format the import takes.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <mutex>
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
std::size_t importAll() {
  TasksManager manager;
  std::mutex mutex;
  std::condition_variable changed;
  bool removed = false;
  std::size_t failed = 0;
  auto token = NotificationCenter::defaultCenter().addObserver(
      TasksManager::didRemoveGroupNotification, &manager, nullptr, [&](const Notification& note) {
        const auto group = note.userInfoValue<std::shared_ptr<TasksGroup>>(TasksManager::groupKey);
        std::lock_guard lock(mutex);
        failed = group ? (*group)->tasksCount(TaskStatus::failed) : 0;
        removed = true;
        changed.notify_all();
      });
  ImportImageTasksGenerator generator(batch, std::nullopt);
  const auto group = generator.addGeneratedGroupToPendingList(manager);
  if (!group->tasks.empty()) {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return removed; });
  }
  manager.waitAllGroups();
  NotificationCenter::defaultCenter().removeObserver(token);
  return failed;
}

// The same files read by one exiftool process, with the reader's arguments.
void exifToolBatch() {
  ExifToolCLI cli;
  cli.enableRawValues = cli.enableShortTags = cli.disableComposite = true;
  std::vector<std::string> arguments{"-g0:1", "-m", "-j"};
  for (const auto& file : batch) arguments.push_back(file.string());
  cli.run(arguments);
  benchmark::DoNotOptimize(cli.stdOutData());
}

void BM_ImportTasks500(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(importAll());
  state.counters["files/s"] = benchmark::Counter(static_cast<double>(kBatch), benchmark::Counter::kIsIterationInvariantRate);
}

void BM_ExifToolSingleProcess500(benchmark::State& state) {
  for (auto _ : state) exifToolBatch();
  state.counters["files/s"] = benchmark::Counter(static_cast<double>(kBatch), benchmark::Counter::kIsIterationInvariantRate);
}

// Files per second, or 0 when the time measured is none.
double rate(double seconds) { return seconds > 0 ? static_cast<double>(kBatch) / seconds : 0; }

}  // namespace

int main(int argc, char** argv) {
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
  const double tasks = bench::secondsOf([&] { failed = importAll(); });
  const double reference = bench::secondsOf(exifToolBatch);
  std::printf("\n%zu files (%zu failed to import): import tasks %.1f files/s; exiftool single process %.1f files/s",
              kBatch, failed, rate(tasks), rate(reference));
  if (tasks > 0 && reference > 0) std::printf("; import speed / exiftool speed %.2f", reference / tasks);
  std::printf("\n");

  // Wall-clock time: the work is in child processes, which the CPU time of this one misses.
  benchmark::RegisterBenchmark("BM_ImportTasks500", BM_ImportTasks500)
      ->Unit(benchmark::kMillisecond)
      ->Iterations(1)
      ->UseRealTime();
  benchmark::RegisterBenchmark("BM_ExifToolSingleProcess500", BM_ExifToolSingleProcess500)
      ->Unit(benchmark::kMillisecond)
      ->Iterations(1)
      ->UseRealTime();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::error_code ignored;
  fs::remove_all(folder, ignored);
  return 0;
}

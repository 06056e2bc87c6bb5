// Importing a batch of 500 files through import tasks (eight exiftool processes at a time),
// in files per second, against exiftool's own single-process read of the same files.

#include <benchmark/benchmark.h>

#include <condition_variable>
#include <mutex>

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

// Copies the samples round-robin into a folder until there are kBatch files.
std::vector<fs::path> makeBatch(const fs::path& folder) {
  const auto samples = bench::sampleImages();
  std::vector<fs::path> files;
  for (std::size_t i = 0; i < kBatch; ++i) {
    const auto& sample = samples[i % samples.size()];
    auto target = folder / (std::to_string(i) + sample.extension().string());
    fs::copy_file(sample, target, fs::copy_options::overwrite_existing);
    files.push_back(target);
  }
  return files;
}

void importAll() {
  TasksManager manager;
  std::mutex mutex;
  std::condition_variable changed;
  bool removed = false;
  auto token = NotificationCenter::defaultCenter().addObserver(TasksManager::didRemoveGroupNotification, &manager,
                                                              nullptr, [&](const Notification&) {
                                                                std::lock_guard lock(mutex);
                                                                removed = true;
                                                                changed.notify_all();
                                                              });
  ImportImageTasksGenerator generator(batch, std::nullopt);
  generator.addGeneratedGroupToPendingList(manager);
  {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return removed; });
  }
  manager.waitAllGroups();
  NotificationCenter::defaultCenter().removeObserver(token);
}

void exifToolBatch() {
  ExifToolCLI cli;
  cli.enableRawValues = cli.enableShortTags = cli.disableComposite = true;
  std::vector<std::string> arguments{"-g0:1", "-m", "-j"};
  for (const auto& file : batch) arguments.push_back(file.string());
  cli.run(arguments);
  benchmark::DoNotOptimize(cli.stdOutData());
}

void BM_ImportTasks500(benchmark::State& state) {
  for (auto _ : state) importAll();
  state.counters["files/s"] = benchmark::Counter(static_cast<double>(kBatch), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_ImportTasks500)->Unit(benchmark::kMillisecond)->Iterations(1);

void BM_ExifToolSingleProcess500(benchmark::State& state) {
  for (auto _ : state) exifToolBatch();
  state.counters["files/s"] = benchmark::Counter(static_cast<double>(kBatch), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_ExifToolSingleProcess500)->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace

int main(int argc, char** argv) {
  MainQueue::shared().startOnOwnThread();
  TagsResources::shared().reload();
  const auto folder = ORVTemporaryDirectory() / ("orvelin-bench-" + ORVMakeUUIDString());
  fs::create_directories(folder);
  batch = makeBatch(folder);
  exifToolBatch();  // warm the page cache
  const double tasks = bench::secondsOf(importAll);
  const double reference = bench::secondsOf(exifToolBatch);
  std::printf("\n%zu files: import tasks %.1f files/s; exiftool single process %.1f files/s; ratio %.2f\n", kBatch,
              kBatch / tasks, kBatch / reference, reference / tasks);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::error_code ignored;
  fs::remove_all(folder, ignored);
  return 0;
}

// Reading files through the library (one exiftool process per file) against exiftool's own
// single-process read of the same files, and the split of one read between the child process
// and the library's own work (JSON parse, catalogue filter, conversion).

#include <benchmark/benchmark.h>

#include "bench_support.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/storage/metadata_et_reader.h"

namespace {

using namespace orvelin;

std::vector<std::filesystem::path> files;

MetadataETReader editorReader() {
  MetadataETReader reader;
  reader.setupDefaultForEditorReading();
  return reader;
}

// exiftool's own batch: one process over all files.
void exifToolBatch() {
  ExifToolCLI cli;
  cli.enableRawValues = true;
  cli.enableShortTags = true;
  cli.disableComposite = true;
  std::vector<std::string> arguments{"-g0:1", "-m", "-j"};
  for (const auto& file : files) arguments.push_back(file.string());
  cli.run(arguments);
  benchmark::DoNotOptimize(cli.stdOutData());
}

void BM_ExifToolSingleProcessBatch(benchmark::State& state) {
  for (auto _ : state) exifToolBatch();
  state.counters["files"] = static_cast<double>(files.size());
}
BENCHMARK(BM_ExifToolSingleProcessBatch)->Unit(benchmark::kMillisecond);

void BM_LibraryReadPerFile(benchmark::State& state) {
  const auto reader = editorReader();
  for (auto _ : state)
    for (const auto& file : files) benchmark::DoNotOptimize(reader.readReadWriteStorage(file));
  state.counters["files"] = static_cast<double>(files.size());
}
BENCHMARK(BM_LibraryReadPerFile)->Unit(benchmark::kMillisecond);

void summary() {
  const auto reader = editorReader();
  // Warm the page cache and perl's modules once.
  exifToolBatch();
  double child = 0, own = 0, whole = 0;
  std::size_t values = 0;
  for (const auto& file : files) {
    ExifToolCLI cli;
    cli.enableRawValues = cli.enableShortTags = cli.disableComposite = true;
    child += bench::secondsOf([&] { cli.run({"-g0:1", "-m", "-j", file.string()}); });
    own += bench::secondsOf([&] {
      ReadWriteStorage storage(file);
      reader.fillStorage(storage, *cli.stdOutData());
      values += storage.originalValuesDict().size();
    });
    whole += bench::secondsOf([&] { benchmark::DoNotOptimize(reader.readReadWriteStorage(file)); });
  }
  const double batch = bench::secondsOf(exifToolBatch);
  const double n = static_cast<double>(files.size());
  std::printf("\n%zu files, %zu values kept\n", files.size(), values);
  std::printf("library read, per file: %.1f ms; exiftool's single-process batch, per file: %.1f ms; ratio %.2f\n",
              whole / n * 1e3, batch / n * 1e3, whole / batch);
  std::printf("split of a read: child process %.1f ms, library's own work %.2f ms per file: %.1f%% of the child's time\n",
              child / n * 1e3, own / n * 1e3, 100.0 * own / child);
}

}  // namespace

int main(int argc, char** argv) {
  TagsResources::shared().reload();
  files = bench::sampleImages();
  summary();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}

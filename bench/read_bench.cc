// Reading files through the library (one exiftool process per file) against exiftool's own
// single-process read of the same files, and the split of one read between the child process
// and the library's own work (JSON parse, catalogue filter, conversion).
//
// The samples are every file of tests/data and of the shared corpus whose type exiftool reads
// (as `exiftool -listr` lists them): JPEG, TIFF, PNG, raw files, HEIC, WebP, PSD, GIF, MOV,
// MP3, PDF, XMP sidecars, ICC profiles...

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <map>
#include <set>
#include <sstream>

#include "bench_support.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/storage/metadata_et_reader.h"

namespace {

using namespace orvelin;
namespace fs = std::filesystem;

std::vector<fs::path> files;

// The extensions, in upper case, that exiftool recognises; empty when it cannot be run.
std::set<std::string> readableExtensions() {
  ExifToolCLI cli;
  cli.run({"-listr"});
  std::set<std::string> extensions;
  const auto output = cli.buildStdOutString();
  if (!output) return extensions;
  std::istringstream words(*output);
  std::string word;
  while (words >> word)
    if (std::all_of(word.begin(), word.end(), [](unsigned char c) { return std::isupper(c) || std::isdigit(c) || c == '-'; }))
      extensions.insert(word);
  return extensions;
}

std::string upperExtension(const fs::path& file) {
  auto extension = file.extension().string();
  if (!extension.empty()) extension.erase(0, 1);
  std::transform(extension.begin(), extension.end(), extension.begin(), [](unsigned char c) { return std::toupper(c); });
  return extension;
}

// Each sample once (tests/data holds copies of corpus files), in a stable order.
std::vector<fs::path> readableSamples() {
  const auto readable = readableExtensions();
  std::map<std::string, fs::path> byName;
  for (const auto* folder : {ORVELIN_TEST_DATA_DIR, ORVELIN_SOURCE_DIR "/../shared/corpus/formats",
                             ORVELIN_SOURCE_DIR "/../shared/corpus/camera"}) {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error))
      if (entry.is_regular_file(error) && readable.contains(upperExtension(entry.path())))
        byName.emplace(entry.path().filename().string(), entry.path());
  }
  std::vector<fs::path> samples;
  for (auto& [name, path] : byName) samples.push_back(std::move(path));
  return samples;
}

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

void BM_LibraryReadPerFile(benchmark::State& state) {
  const auto reader = editorReader();
  for (auto _ : state)
    for (const auto& file : files) {
      try {
        benchmark::DoNotOptimize(reader.readReadWriteStorage(file));
      } catch (const ETMetadataReaderError&) {
        // A file exiftool prints nothing for costs its process all the same.
      }
    }
  state.counters["files"] = static_cast<double>(files.size());
}

// The library's own work on one read of a camera JPEG: exiftool's output, read into a storage.
void BM_OwnWorkCameraJPEG(benchmark::State& state) {
  const auto reader = editorReader();
  const std::filesystem::path file = ORVELIN_TEST_DATA_DIR "/Canon.jpg";
  ExifToolCLI cli;
  cli.enableRawValues = cli.enableShortTags = cli.disableComposite = true;
  cli.run({"-g0:1", "-m", "-j", file.string()});
  const auto output = cli.stdOutData().value_or("");
  for (auto _ : state) {
    ReadWriteStorage storage(file);
    reader.fillStorage(storage, output);
    benchmark::DoNotOptimize(storage);
  }
}

// `part` as a share of `whole`, or "n/a" when the whole took no measurable time.
std::string ratioText(double part, double whole, const char* format) {
  if (whole <= 0) return "n/a";
  char text[32];
  std::snprintf(text, sizeof text, format, part / whole);
  return text;
}

void summary() {
  std::map<std::string, int> formats;
  for (const auto& file : files) ++formats[upperExtension(file)];
  std::printf("%zu files:", files.size());
  for (const auto& [extension, count] : formats) std::printf(" %s %d", extension.c_str(), count);
  std::printf("\n");

  const auto reader = editorReader();
  // Warm the page cache and perl's modules once.
  exifToolBatch();
  double child = 0, own = 0, whole = 0;
  std::size_t values = 0, failures = 0;
  for (const auto& file : files) {
    ExifToolCLI cli;
    cli.enableRawValues = cli.enableShortTags = cli.disableComposite = true;
    child += bench::secondsOf([&] { cli.run({"-g0:1", "-m", "-j", file.string()}); });
    own += bench::secondsOf([&] {
      ReadWriteStorage storage(file);
      try {
        reader.fillStorage(storage, cli.stdOutData().value_or(""));
        values += storage.originalValuesDict().size();
      } catch (const ETMetadataReaderError&) {
        ++failures;
      }
    });
    whole += bench::secondsOf([&] {
      try {
        benchmark::DoNotOptimize(reader.readReadWriteStorage(file));
      } catch (const ETMetadataReaderError&) {
      }
    });
  }
  const double batch = bench::secondsOf(exifToolBatch);
  const double n = static_cast<double>(files.size());
  std::printf("%zu values kept, %zu files without output\n", values, failures);
  std::printf("library read, per file: %.1f ms; exiftool's single-process batch, per file: %.1f ms; ratio %s\n",
              whole / n * 1e3, batch / n * 1e3, ratioText(whole, batch, "%.2f").c_str());
  std::printf("split of a read: child process %.1f ms, library's own work %.2f ms per file: %s of the child's time\n",
              child / n * 1e3, own / n * 1e3, ratioText(100.0 * own, child, "%.1f%%").c_str());
}

}  // namespace

int main(int argc, char** argv) {
  TagsResources::shared().reload();
  files = readableSamples();
  if (files.empty()) {
    std::fprintf(stderr, "read_bench: no sample file that exiftool reads was found (is exiftool installed?)\n");
    return 1;
  }
  summary();
  benchmark::RegisterBenchmark("BM_ExifToolSingleProcessBatch", BM_ExifToolSingleProcessBatch)
      ->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark("BM_LibraryReadPerFile", BM_LibraryReadPerFile)->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark("BM_OwnWorkCameraJPEG", BM_OwnWorkCameraJPEG)->Unit(benchmark::kMicrosecond);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}

// 10,000 editors of a camera JPEG: the memory each holds (against the size of exiftool's JSON of
// the file), one tag edited on all of them in one session and the read family over them
// (against the same number of look-ups in a plain hash map).

#include <benchmark/benchmark.h>  // DoNotOptimize

#include <cstdio>
#include <unordered_map>

#include "bench_support.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/editions/editions_manager.h"
#include "orvelin/editor/et_editors.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/support/main_queue.h"

namespace {

using namespace orvelin;

constexpr std::size_t kEditors = 10000;

}  // namespace

int main() {
  MainQueue::shared().startOnOwnThread();
  TagsResources::shared().reload();
  const std::filesystem::path file = ORVELIN_TEST_DATA_DIR "/Canon.jpg";
  MetadataETReader reader;
  reader.setupDefaultForEditorReading();
  const auto storage = readImageFile(reader, file)->storage();
  ExifToolCLI json;
  json.enableRawValues = json.enableShortTags = json.disableComposite = true;
  json.run({"-g0:1", "-m", "-j", file.string()});
  const double jsonBytes = static_cast<double>(json.stdOutData().value_or("").size());

  const long before = bench::residentKilobytes();
  std::vector<std::shared_ptr<MetadataEditor>> editors;
  editors.reserve(kEditors);
  for (std::size_t i = 0; i < kEditors; ++i) editors.push_back(MetadataEditor::create<ETImageMetadataEditor>(storage));
  const double bytesPerEditor = (bench::residentKilobytes() - before) * 1024.0 / kEditors;

  const TagName artist("EXIF", "Artist");
  const double edit = bench::secondsOf([&] {
    EditionsManager::shared().session([&] {
      for (const auto& editor : editors) editor->setValue("Orvelin", artist);
    });
  });
  const double reads = bench::secondsOf([&] {
    for (const auto& editor : editors) {
      benchmark::DoNotOptimize(editor->currentValue(artist));
      benchmark::DoNotOptimize(editor->originalValue(artist));
      benchmark::DoNotOptimize(editor->isValueEdited(artist));
      benchmark::DoNotOptimize(editor->canEditValue(artist));
    }
  });
  std::unordered_map<std::string, std::string> plain;
  for (std::size_t i = 0; i < kEditors; ++i) plain.emplace(std::to_string(i), "Orvelin");
  const double reference = bench::secondsOf([&] {
    for (std::size_t i = 0; i < kEditors; ++i)
      for (int read = 0; read < 4; ++read) benchmark::DoNotOptimize(plain.find(std::to_string(i)));
  });

  char human[400];
  std::snprintf(human, sizeof human,
                "%zu editors: %.1f KB each (%.1fx exiftool's JSON of the file); session edit %.0f ms; read family "
                "%.2f us per editor (%.1fx a hash map look-up)",
                kEditors, bytesPerEditor / 1024, bytesPerEditor / jsonBytes, edit * 1e3, reads / kEditors * 1e6,
                reads / reference);
  bench::report("editors", human,
                {{"editor_kb", bytesPerEditor / 1024},
                 {"editor_over_json", bytesPerEditor / jsonBytes},
                 {"session_edit_ms", edit * 1e3},
                 {"read_family_us", reads / kEditors * 1e6},
                 {"read_family_over_hash_map", reads / reference}});
  return 0;
}

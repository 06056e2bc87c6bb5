// Saving one edited tag on 200 camera JPEGs through save tasks: one exiftool process per save
// against the persistent exiftool pool, in the same run.

#include <cstdio>

#include "bench_support.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/editor/et_editors.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/support/files.h"
#include "orvelin/support/main_queue.h"
#include "orvelin/tasks/image_tasks.h"

namespace {

using namespace orvelin;
namespace fs = std::filesystem;

constexpr std::size_t kFiles = 200;

// Reads kFiles copies of the camera sample and edits one tag on each.
std::vector<std::shared_ptr<MetadataEditor>> editedCopies(const fs::path& folder, const std::string& value) {
  MetadataETReader reader;
  reader.setupDefaultForEditorReading();
  std::vector<std::shared_ptr<MetadataEditor>> editors;
  for (std::size_t i = 0; i < kFiles; ++i) {
    const auto file = folder / (std::to_string(i) + ".jpg");
    fs::copy_file(ORVELIN_TEST_DATA_DIR "/Canon.jpg", file, fs::copy_options::overwrite_existing);
    auto editor = readImageFile(reader, file);
    editor->setValue(value, TagName("EXIF", "Artist"));
    editors.push_back(std::move(editor));
  }
  return editors;
}

// Seconds to save every editor, and the number of saves that failed.
std::pair<double, std::size_t> saveAll(const fs::path& folder, bool persistent, const std::string& value) {
  ORVSetPersistentExifTool(true);  // the reads are not measured
  auto editors = editedCopies(folder, value);
  ORVSetPersistentExifTool(persistent);
  std::size_t failed = 0;
  const double seconds = bench::secondsOf([&] { failed = bench::runGroup(SaveImageEditionsTasksGenerator(editors)); });
  return {seconds, failed};
}

}  // namespace

int main() {
  MainQueue::shared().startOnOwnThread();
  TagsResources::shared().reload();
  const auto folder = ORVTemporaryDirectory() / ("orvelin-bench-" + ORVMakeUUIDString());
  fs::create_directories(folder);
  const auto [spawned, spawnFailures] = saveAll(folder, false, "spawned");
  const auto [pooled, poolFailures] = saveAll(folder, true, "pooled");
  ORVSetPersistentExifTool(false);
  char human[300];
  std::snprintf(human, sizeof human, "%zu saves (%zu failed): spawn %.1f saves/s, pool %.1f saves/s; pool/spawn %.2fx",
                kFiles, spawnFailures + poolFailures, kFiles / spawned, kFiles / pooled, spawned / pooled);
  bench::report("save", human,
                {{"spawn_saves_per_s", kFiles / spawned}, {"pool_saves_per_s", kFiles / pooled},
                 {"pool_over_spawn", spawned / pooled}});
  std::error_code ignored;
  fs::remove_all(folder, ignored);
  return 0;
}

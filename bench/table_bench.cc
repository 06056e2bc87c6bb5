// A metadata table over the default tag set with 1,000 and 10,000 editors of a camera JPEG:
// building the rows (which must not touch the editors, so that its time does not grow with their
// number) and fetching every row's cache (which reads every editor, so that its time grows
// linearly). Each figure is the ratio of the 10,000 run to the 1,000 run; the fetch is also
// measured with 3,000 editors, where the editors no longer fit in the processor's caches.

#include <algorithm>
#include <cstdio>
#include <limits>
#include <latch>

#include "bench_support.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/editor/et_editors.h"
#include "orvelin/support/files.h"
#include "orvelin/support/main_queue.h"
#include "orvelin/support/user_defaults.h"
#include "orvelin/tables/metadata_table.h"

namespace {

using namespace orvelin;

struct Timing {
  double build = 0;  // seconds to rebuild the rows
  double fetch = 0;  // seconds to fetch every row's cache
  std::size_t rows = 0;
};

Timing measure(const ReadWriteStorage& storage, std::size_t count) {
  MetadataEditors editors;
  editors.reserve(count);
  for (std::size_t i = 0; i < count; ++i) editors.push_back(MetadataEditor::create<ETImageMetadataEditor>(storage));
  Timing timing;
  std::vector<std::shared_ptr<MetadataRowValue>> rows;
  auto& main = MainQueue::shared();
  std::shared_ptr<MetadataTable> table;
  main.sync([&] {
    const auto tagsSet = TagsSet::shared(TagsSetDomain::application);
    table = MetadataTable::make(tagsSet);
    for (const auto& stream : tagsSet->streams()) table->displayedStreams.insert(stream);
    table->setEditors(std::move(editors));
    table->reloadCache();  // the tags' records and names are read once, at the first build
    constexpr int kBuilds = 20;
    timing.build = bench::secondsOf([&] {
                     for (int k = 0; k < kBuilds; ++k) table->reloadCache();
                   }) /
                   kBuilds;
    for (std::size_t index = 0; index < table->numberOfRows(); ++index)
      if (const auto* value = table->entry(index).asValue()) rows.push_back(*value);
  });
  timing.rows = rows.size();
  // The best of three fetches from empty caches, so that one run disturbed by the machine does
  // not count.
  timing.fetch = std::numeric_limits<double>::max();
  for (int k = 0; k < 3; ++k)
    timing.fetch = std::min(timing.fetch, bench::secondsOf([&] {
      for (const auto& row : rows) row->setCache(std::nullopt);
      std::latch fetched(static_cast<std::ptrdiff_t>(rows.size()));
      for (const auto& row : rows) row->fetchRowCache([&fetched](const MetadataRowCache&) { fetched.count_down(); });
      fetched.wait();
    }));
  main.sync([&] { table.reset(); });
  return timing;
}

}  // namespace

int main() {
  MainQueue::shared().startOnOwnThread();
  // The default tag set, whatever the user defaults of the machine hold.
  ORVSetUserDefaults(std::make_shared<UserDefaults>(ORVTemporaryDirectory() / "orvelin-table-bench-defaults.json"));
  TagsResources::shared().reload();
  MetadataETReader reader;
  reader.setupDefaultForEditorReading();
  const auto storage = readImageFile(reader, ORVELIN_TEST_DATA_DIR "/Canon.jpg")->storage();

  const auto small = measure(storage, 1000);
  const auto middle = measure(storage, 3000);
  const auto large = measure(storage, 10000);
  char human[400];
  std::snprintf(human, sizeof human,
                "%zu rows: build %.2f ms with 1,000 editors, %.2f ms with 10,000 (%.2fx); fetch of every row "
                "%.0f ms, %.0f ms and %.0f ms with 1,000, 3,000 and 10,000 (%.1fx for 10x the editors, %.1fx for "
                "3.3x from 3,000)",
                small.rows, small.build * 1e3, large.build * 1e3, large.build / small.build, small.fetch * 1e3,
                middle.fetch * 1e3, large.fetch * 1e3, large.fetch / small.fetch, large.fetch / middle.fetch);
  bench::report("table", human,
                {{"build_10k_over_1k", large.build / small.build},
                 {"fetch_10k_over_1k", large.fetch / small.fetch},
                 {"fetch_10k_over_3k", large.fetch / middle.fetch}});
  return 0;
}

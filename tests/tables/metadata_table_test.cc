#include "orvelin/tables/metadata_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/editors.h"
#include "common/event_log.h"
#include "common/test_support.h"
#include "orvelin/support/main_queue.h"
#include "orvelin/tagsets/tags_set_editor.h"

namespace orvelin {
namespace {

using ::testing::ElementsAre;
using testing::tag;
using Rows = std::vector<std::string>;

const TagStream exif("EXIF"), iptc("IPTC"), xmp("XMP");

// The table's notifications, in order, by the last word of their names.
class TableEvents {
 public:
  explicit TableEvents(const MetadataTable& table)
      : observation_(std::nullopt, &table, [this](const Notification& note) {
          events.push_back(note.name.substr(std::string("MetadataTable").size()));
          if (auto indexes = note.userInfoValue<std::set<std::size_t>>(MetadataTable::reloadedEntriesIndexes))
            reloaded.push_back(*indexes);
        }) {}

  std::vector<std::string> events;
  std::vector<std::set<std::size_t>> reloaded;

 private:
  testing::Observation observation_;
};

class MetadataTableTest : public ::testing::Test {
 protected:
  MetadataTableTest() {
    testing::writeFile(folder / "set.json", R"({
      "EXIF": [{"type": "sec", "value": "Camera"}, {"type": "key", "value": "Make"},
               {"type": "key", "value": "NoSuchKey"}, {"type": "sec", "value": "Rights"},
               {"type": "key", "value": "Artist"}],
      "IPTC": [{"type": "key", "value": "City"}],
      "XMP": [{"type": "sec", "value": "Place"}, {"type": "key", "value": "City"}]})");
    tagsSet->importFromFile(folder / "set.json");
    table->setEditors({testing::editorOfUntyped({{"EXIF:Make", "Canon"}, {"EXIF:Artist", "A"}, {"IPTC:City", "Paris"}}),
                       testing::editorOfUntyped({{"EXIF:Make", "Nikon"}, {"EXIF:Artist", "A"}})});
    table->displayedStreams = {exif, iptc, xmp};
    MainQueue::shared().drain();  // the reload that the import asked for
  }

  // Each row as "[STREAM]", "-SECTION" or the tag's name.
  Rows rows() const {
    Rows rows;
    for (std::size_t index = 0; index < table->numberOfRows(); ++index) {
      const auto& entry = table->entry(index);
      if (const auto* stream = entry.asStream()) rows.push_back("[" + stream->rawValue() + "]");
      if (const auto* section = entry.asSection()) rows.push_back("-" + section->rawValue);
      if (const auto* value = entry.asValue()) rows.push_back((*value)->tagItem()->name.rawValue());
    }
    return rows;
  }

  // The cache of the value row at `index`, fetched as a host does and delivered on the main queue.
  MetadataRowCache fetch(std::size_t index) {
    std::optional<MetadataRowCache> fetched;
    (*table->entry(index).asValue())->fetchRowCache([&](const MetadataRowCache& cache) {
      EXPECT_TRUE(MainQueue::shared().isMainThread());
      fetched = cache;
    });
    EXPECT_TRUE(MainQueue::shared().runUntil([&] { return fetched.has_value(); }, std::chrono::seconds(30)));
    return *fetched;
  }

  testing::ScratchFolder folder;
  std::shared_ptr<TagsSet> tagsSet = TagsSet::make(TagsSetDomain::application);
  std::shared_ptr<MetadataTable> table = MetadataTable::make(tagsSet);
};

TEST_F(MetadataTableTest, RowsFollowTheStreamsSectionsAndSearch) {
  const struct {
    const char* name;
    std::function<void(MetadataTable&)> set;
    Rows rows;
  } cases[] = {
      {"sections only", [](MetadataTable&) {},
       {"-Camera", "EXIF:Make", "-Rights", "EXIF:Artist", "IPTC:City", "-Place", "XMP:City"}},
      {"streams and sections", [](MetadataTable& t) { t.shouldDisplayStreams = true; },
       {"[EXIF]", "-Camera", "EXIF:Make", "-Rights", "EXIF:Artist", "[IPTC]", "IPTC:City", "[XMP]", "-Place",
        "XMP:City"}},
      {"streams only",
       [](MetadataTable& t) {
         t.shouldDisplayStreams = true;
         t.shouldDisplaySections = false;
       },
       {"[EXIF]", "EXIF:Make", "EXIF:Artist", "[IPTC]", "IPTC:City", "[XMP]", "XMP:City"}},
      // The last section of a stream whose rows were all filtered out comes out under the next one.
      {"leftover section",
       [](MetadataTable& t) {
         t.shouldDisplayStreams = true;
         t.searchString = "CITY";
       },
       {"[IPTC]", "-Rights", "IPTC:City", "[XMP]", "-Place", "XMP:City"}},
      {"search without accents", [](MetadataTable& t) { t.searchString = "ártíst"; }, {"-Rights", "EXIF:Artist"}},
      {"one stream", [](MetadataTable& t) { t.displayedStreams = {iptc}; }, {"IPTC:City"}},
      {"no stream", [](MetadataTable& t) { t.displayedStreams = {}; }, {}},
      {"no editor", [](MetadataTable& t) { t.setEditors({}); }, {}},
  };
  for (const auto& c : cases) {
    const auto editors = table->editors();
    c.set(*table);
    TableEvents events(*table);
    table->reloadCache();
    EXPECT_EQ(rows(), c.rows) << c.name;
    EXPECT_THAT(events.events, ElementsAre("WillReloadCacheNotification", "DidReloadCacheNotification")) << c.name;
    table->shouldDisplayStreams = false;
    table->shouldDisplaySections = true;
    table->searchString.reset();
    table->displayedStreams = {exif, iptc, xmp};
    table->setEditors(editors);
  }

  table->shouldDisplayStreams = true;
  table->reloadCache();
  EXPECT_EQ(table->sections(), (std::vector<TagsSetSection>{{"Camera"}, {"Rights"}, {"Place"}}));
  EXPECT_EQ(table->indexesOfSection("Rights"), (std::set<std::size_t>{4, 5, 6, 7}));
  EXPECT_THAT(table->tagNames(table->indexesOfSection("Rights")), ElementsAre(tag("EXIF:Artist"), tag("IPTC:City")));
  EXPECT_TRUE(table->indexesOfSection("Nowhere").empty());
  EXPECT_EQ(MetadataTable::rangeOf("ETE", "un été"), (TextRange{3, 5}));

  // A change of the tag set reloads the table, on the main queue.
  tagsSet->editor(iptc)->removeEntry({0});
  MainQueue::shared().drain();
  EXPECT_THAT(table->displayedTagNames(), ElementsAre(tag("EXIF:Make"), tag("EXIF:Artist"), tag("XMP:City")));
}

TEST_F(MetadataTableTest, RowCachesFoldTheEditorsValues) {
  EXPECT_EQ(MultiValuedString({"", "a"}), MultiValuedString::multiple({"", "a"}));
  EXPECT_EQ(MultiValuedString({""}), MultiValuedString::none());
  EXPECT_EQ(MultiValuedString({"a"}), MultiValuedString::single("a"));
  table->reloadCache();
  const auto make = fetch(1), artist = fetch(3), city = fetch(4), xmpCity = fetch(6);
  EXPECT_EQ(make.string, MultiValuedString::multiple({"Canon", "Nikon"}));
  EXPECT_TRUE(make.isWritable);
  EXPECT_EQ(artist.string, MultiValuedString::single("A"));
  EXPECT_EQ(city.string, MultiValuedString::multiple({"", "Paris"}));
  EXPECT_TRUE(xmpCity.isNone());
  EXPECT_FALSE(xmpCity.canBeEdited);  // neither file has the stream
  EXPECT_EQ((*table->entry(1).asValue())->cache()->string, make.string);

  // Rows made while writing is off are not writable, though the editors could edit.
  table->allowsTagsWriting = false;
  table->reloadCache();
  const auto locked = fetch(1);
  EXPECT_TRUE(locked.canBeEdited);
  EXPECT_FALSE(locked.isWritable);
}

TEST_F(MetadataTableTest, AnEditRenewsOnlyTheRowsItTouched) {
  MetadataEditors editors;
  for (int i = 0; i < 1000; ++i) editors.push_back(testing::editorOf({{"EXIF:Make", "Canon"}, {"EXIF:Artist", "A"}}));
  table->setEditors(editors);
  table->reloadCache();
  const auto row = *table->entry(1).asValue();
  fetch(1);
  TableEvents events(*table);
  testing::EventRecorder sessions;
  row->setValue("Nikon");
  MainQueue::shared().drain();
  EXPECT_EQ(sessions.sets().size(), 1u);
  EXPECT_THAT(events.events, ElementsAre("DidReloadEntriesNotification"));
  EXPECT_THAT(events.reloaded, ElementsAre(std::set<std::size_t>{1}));
  const auto renewed = *table->entry(1).asValue();
  EXPECT_NE(renewed, row);
  EXPECT_FALSE(renewed->cache());
  EXPECT_EQ(fetch(1).string, MultiValuedString::single("Nikon"));

  // A session that touched none of the table's editors posts nothing.
  testing::editorOf({{"EXIF:Make", "Canon"}})->setValue("Sony", tag("EXIF:Make"));
  MainQueue::shared().drain();
  EXPECT_EQ(events.events.size(), 1u);
}

}  // namespace
}  // namespace orvelin

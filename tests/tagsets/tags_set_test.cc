#include "orvelin/tagsets/tags_set.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/event_log.h"
#include "common/test_support.h"
#include "orvelin/support/user_defaults.h"
#include "orvelin/tagsets/tags_set_editor.h"

namespace orvelin {
namespace {

using ::testing::ElementsAre;
using Entries = std::vector<TagsSetEntry>;

const TagStream exif("EXIF"), iptc("IPTC"), xmp("XMP"), gps("GPS");

TagsSetEntry sec(const char* name) { return TagsSetEntry::section({name}); }
TagsSetEntry key(const char* name) { return TagsSetEntry::key(TagKey(name)); }

class TagsSetTest : public ::testing::Test {
 protected:
  TagsSetTest() {
    ORVGetUserDefaults()->remove(userDefaultsKey(TagsSetDomain::application));
    tagsSet = TagsSet::make(TagsSetDomain::application);
  }

  // Imports `json` as a file; the will and did notifications posted meanwhile go to `events`.
  void import(const std::string& json) {
    testing::writeFile(folder / "set.json", json);
    testing::Observation observation(std::nullopt, tagsSet.get(), [&](const Notification& note) {
      events.push_back(note.name == TagsSet::willUpdateEntriesNotification ? "will" : "did");
    });
    tagsSet->importFromFile(folder / "set.json");
  }

  testing::ScratchFolder folder;
  std::shared_ptr<TagsSet> tagsSet;
  std::vector<std::string> events;
};

TEST_F(TagsSetTest, AnImportReplacesTheListsAndListsTheCatalogueStreamsInCatalogueOrder) {
  // Without defaults the default file is loaded.
  EXPECT_THAT(tagsSet->streams(), ElementsAre(exif, iptc, xmp));
  EXPECT_EQ(tagsSet->entries(exif).front(), sec("Camera"));
  import(R"({"XMP": [{"type": "key", "value": "City"}], "IPTC": [], "Unknown": [{"type": "sec", "value": "S"}],
             "EXIF": [{"type": "sec", "value": "Camera"}, {"type": "key", "value": "Make"}]})");
  EXPECT_THAT(events, ElementsAre("will", "did"));
  EXPECT_THAT(tagsSet->streams(), ElementsAre(exif, xmp));
  EXPECT_EQ(tagsSet->entries(exif), (Entries{sec("Camera"), key("Make")}));
  EXPECT_EQ(tagsSet->entries(TagStream("Unknown")), Entries{sec("S")});
  EXPECT_FALSE(tagsSet->cachedEntries().contains(iptc));
  EXPECT_TRUE(tagsSet->entries(gps).empty());

  // A failed import changes nothing and posts nothing.
  const auto before = tagsSet->cachedEntries();
  events.clear();
  try {
    import(R"({"EXIF": [{"type": "key", "value": "Make"}, {"type": "tag", "value": "Model"}]})");
    ADD_FAILURE() << "no error";
  } catch (const TagsSetEntry::CodingError& error) {
    EXPECT_EQ(error.detail(), "tag");
  }
  EXPECT_THROW(tagsSet->importFromFile(folder / "missing.json"), std::filesystem::filesystem_error);
  EXPECT_TRUE(events.empty());
  EXPECT_EQ(tagsSet->cachedEntries(), before);

  // Export and import give the lists back; neither touches the defaults.
  tagsSet->exportToFile(folder / "export.json");
  tagsSet->restoreToDefault();
  EXPECT_EQ(tagsSet->streams().size(), 3u);
  tagsSet->importFromFile(folder / "export.json");
  EXPECT_EQ(tagsSet->cachedEntries(), before);
  EXPECT_FALSE(ORVGetUserDefaults()->object(userDefaultsKey(TagsSetDomain::application)));
}

TEST_F(TagsSetTest, TheUserDefaultsKeepTheListsAndBadDataFallsBackOnTheDefault) {
  import(R"({"IPTC": [{"type": "key", "value": "City"}]})");
  ASSERT_TRUE(tagsSet->saveToUserDefaults());
  EXPECT_EQ(TagsSet::make(TagsSetDomain::application)->cachedEntries(), tagsSet->cachedEntries());
  EXPECT_EQ(TagsSet::make(TagsSetDomain::photosExtension)->streams().size(), 3u);

  const auto bad = nlohmann::json::parse(R"({"IPTC": [{"type": 1}]})");
  ORVGetUserDefaults()->set(userDefaultsKey(TagsSetDomain::application), bad);
  testing::DebugLogCapture log;
  EXPECT_EQ(TagsSet::make(TagsSetDomain::application)->streams().size(), 3u);
  EXPECT_THAT(log.text(), ::testing::HasSubstr("Data decoding of application did failed\n"));
}

TEST_F(TagsSetTest, TheEditorKeepsItsIndexRulesAndNotifiesAroundEachChange) {
  import(R"({"EXIF": [{"type": "sec", "value": "A"}, {"type": "key", "value": "Make"},
                      {"type": "key", "value": "Model"}]})");
  const auto editor = tagsSet->editor(exif);
  const auto iptcEditor = tagsSet->editor(iptc);
  testing::Observation observation(TagsSet::didUpdateEntriesNotification, tagsSet.get(),
                                   [&](const Notification&) { events.push_back("did"); });
  const struct {
    const char* name;
    std::function<void()> change;
    Entries exifAfter;
    bool notifies;
  } cases[] = {
      {"move the last down", [&] { editor->moveDownEntry(2); }, {sec("A"), key("Make"), key("Model")}, true},
      {"move the first up", [&] { editor->moveUpEntry(0); }, {sec("A"), key("Make"), key("Model")}, true},
      {"move down", [&] { editor->moveDownEntry(0); }, {key("Make"), sec("A"), key("Model")}, true},
      {"move up", [&] { editor->moveUpEntry(1); }, {sec("A"), key("Make"), key("Model")}, true},
      {"rename a key", [&] { editor->renameSection(1, "B"); }, {sec("A"), key("Make"), key("Model")}, false},
      {"rename past the end", [&] { editor->renameSection(3, "B"); }, {sec("A"), key("Make"), key("Model")}, false},
      {"rename", [&] { editor->renameSection(0, "B"); }, {sec("B"), key("Make"), key("Model")}, true},
      {"replace", [&] { editor->replaceEntry(key("ISO"), 1); }, {sec("B"), key("ISO"), key("Model")}, true},
      {"insert", [&] { editor->insertEntries({key("Flash"), sec("C")}, 3); },
       {sec("B"), key("ISO"), key("Model"), key("Flash"), sec("C")}, true},
      {"move several", [&] { editor->moveEntries({3, 4}, 1); },
       {sec("B"), key("Flash"), sec("C"), key("ISO"), key("Model")}, true},
      {"remove", [&] { editor->removeEntry({0, 2, 9}); }, {key("Flash"), key("ISO"), key("Model")}, true},
      {"remove on a stream without list", [&] { iptcEditor->removeEntry({0}); },
       {key("Flash"), key("ISO"), key("Model")}, true},
  };
  for (const auto& c : cases) {
    events.clear();
    c.change();
    EXPECT_EQ(tagsSet->entries(exif), c.exifAfter) << c.name;
    EXPECT_EQ(events.size(), c.notifies ? 1u : 0u) << c.name;
  }
  // An empty insert stores an empty list, which is not shown; the first entry shows the stream
  // in its catalogue place.
  iptcEditor->insertEntries({}, 0);
  EXPECT_TRUE(tagsSet->cachedEntries().contains(iptc));
  EXPECT_THAT(tagsSet->streams(), ElementsAre(exif));
  iptcEditor->insertEntries({key("City")}, 0);
  EXPECT_THAT(tagsSet->streams(), ElementsAre(exif, iptc));
  // Removing the last entry removes the stream.
  editor->removeEntry({0, 1, 2});
  EXPECT_THAT(tagsSet->streams(), ElementsAre(iptc));
  EXPECT_FALSE(tagsSet->cachedEntries().contains(exif));
  EXPECT_FALSE(ORVGetUserDefaults()->object(userDefaultsKey(TagsSetDomain::application)));
  ASSERT_TRUE(editor->saveChangesToUserDefaults());
  EXPECT_EQ(TagsSet::make(TagsSetDomain::application)->cachedEntries(), tagsSet->cachedEntries());
}

TEST(TagsSetEditorDeathTest, IndexesOutOfRangeStopTheProcess) {
  const auto editor = TagsSet::make(TagsSetDomain::application)->editor(TagStream("EXIF"));
  EXPECT_DEATH(editor->insertEntries({}, 1000), "index out of range");
  EXPECT_DEATH(editor->replaceEntry(key("Make"), 1000), "index out of range");
  EXPECT_DEATH(editor->renameSection(-1, "B"), "index out of range");
}

}  // namespace
}  // namespace orvelin

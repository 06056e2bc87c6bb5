#include "orvelin/presets/preset.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <vector>

#include "common/event_log.h"
#include "common/test_support.h"
#include "orvelin/values/date_time_value_converter.h"

namespace orvelin {
namespace {

using testing::ScratchFolder;

const TagName make("EXIF", "Make");
const TagName city("IPTC", "City");

TEST(Preset, EveryChangeNotifiesEvenWhenNothingChanges) {
  Preset preset;
  std::vector<Notification> notes;
  testing::Observation observation(std::nullopt, &preset, [&](const Notification& note) { notes.push_back(note); });
  preset.setName(preset.name());
  preset.setDetail("");
  preset.setEntry(std::nullopt, city);  // no such entry: still notified
  preset.setEntry(PresetEntry::remove(), make);
  preset.setEntry(PresetEntry::remove(), make);
  ASSERT_EQ(notes.size(), 5u);
  EXPECT_EQ(notes[0].name, "PresetDidChangeNameNotification");
  EXPECT_EQ(notes[1].name, "PresetDidChangeDetailNotification");
  for (std::size_t i = 2; i < 5; ++i) EXPECT_EQ(notes[i].name, "PresetDidChangeEntriesNotification");
  EXPECT_EQ(Preset::updatedEntries(notes[2]), std::set<TagName>{city});
  EXPECT_EQ(Preset::updatedEntries(notes[4]), std::set<TagName>{make});
  EXPECT_EQ(Preset::updatedEntries(notes[0]), std::nullopt);
  EXPECT_EQ(preset.entries().size(), 1u);
}

TEST(Preset, ValueEntriesAndTypedViews) {
  Preset preset;
  preset.setEntry(PresetEntry::copy("IPTC:City"), make);
  EXPECT_EQ(preset.valueEntry(make), std::nullopt);
  EXPECT_EQ(preset.itpcHeadlineValue(), std::nullopt);

  preset.setEntry(PresetEntry::value("Sunset"), TagName::iptcHeadline);
  preset.setEntry(PresetEntry::value("On the beach"), TagName::exifImageDescription);
  preset.setEntry(PresetEntry::value(" sea , sun,,sand "), TagName::iptcKeywords);
  EXPECT_EQ(preset.itpcHeadlineValue(), "Sunset");
  EXPECT_EQ(preset.exifImageDescriptionValue(), "On the beach");
  EXPECT_EQ(preset.iptcKeywordsValue(), (std::vector<std::string>{"sea", "sun", "", "sand"}));
  preset.setEntry(PresetEntry::merge("sea"), TagName::iptcKeywords);
  EXPECT_EQ(preset.iptcKeywordsValue(), std::nullopt);

  preset.setEntry(PresetEntry::value("SELECT(YY: 2020, MM: 1, DD: 2)"), TagName::iptcDateCreated);
  EXPECT_EQ(DateTimeValueConverter().stringValueFromTypedValue(preset.iptcDateCreatedValueDate()), "2020:01:02 00:00:00");
  preset.setEntry(PresetEntry::value("SHIFT(DD: -1)"), TagName::iptcDateCreated);
  const auto before = std::chrono::system_clock::now();
  const auto shifted = preset.iptcDateCreatedValueDate();
  ASSERT_TRUE(shifted);
  const auto hours = std::chrono::duration_cast<std::chrono::hours>(before - *shifted).count();
  EXPECT_TRUE(hours >= 22 && hours <= 25) << hours;  // a day, give or take a change of time
  for (const char* text : {"UPDATE(YY: 2000)", "RESTORE()", "2020:01:02"}) {
    preset.setEntry(PresetEntry::value(text), TagName::iptcDateCreated);
    EXPECT_EQ(preset.iptcDateCreatedValueDate(), std::nullopt) << text;
  }
}

TEST(Preset, GPSCoordinateTakesItsSignsFromTheReferenceEntries) {
  Preset preset;
  preset.setEntry(PresetEntry::value("12,5"), TagName::exifGPSLatitude);
  EXPECT_EQ(preset.exifGPSLatitudeValueCoordinate(), std::nullopt);  // no longitude
  preset.setEntry(PresetEntry::value("-3.25"), TagName::exifGPSLongitude);
  auto coordinate = preset.exifGPSLatitudeValueCoordinate();
  ASSERT_TRUE(coordinate);
  EXPECT_DOUBLE_EQ(coordinate->latitude.value, 12.5);
  EXPECT_DOUBLE_EQ(coordinate->longitude.value, -3.25);  // no reference: the number's sign
  preset.setEntry(PresetEntry::value("S"), TagName::exifGPSLatitudeRef);
  preset.setEntry(PresetEntry::value("E"), TagName::exifGPSLongitudeRef);
  coordinate = preset.exifGPSLatitudeValueCoordinate();
  ASSERT_TRUE(coordinate);
  EXPECT_DOUBLE_EQ(coordinate->latitude.value, -12.5);
  EXPECT_DOUBLE_EQ(coordinate->longitude.value, 3.25);
  preset.setEntry(PresetEntry::copy("EXIF:GPSLatitude"), TagName::exifGPSLatitude);
  EXPECT_EQ(preset.exifGPSLatitudeValueCoordinate(), std::nullopt);
}

TEST(Preset, JSONFormHasEntriesAsOneAlternatingArray) {
  auto preset = std::make_shared<Preset>();
  preset->setName("Recipe");
  preset->setDetail("Four kinds");
  preset->setEntry(PresetEntry::value("Paris"), city);
  preset->setEntry(PresetEntry::none(), make);
  EXPECT_EQ(preset->encode(), nlohmann::json::parse(R"({
    "name": "Recipe", "detail": "Four kinds",
    "entries": ["EXIF:Make", {"type": "none", "value": ""}, "IPTC:City", {"type": "value", "value": "Paris"}]})"));

  const auto data = Preset::saveToData({preset, std::make_shared<Preset>()});
  EXPECT_NE(data.find("\n  {"), std::string::npos);  // pretty-printed
  const auto loaded = Preset::loadFromData(data);
  ASSERT_EQ(loaded.size(), 2u);
  EXPECT_EQ(loaded[0]->entries(), preset->entries());
  EXPECT_EQ(loaded[1]->name(), "New preset");
}

TEST(Preset, DecodingRefusesOtherForms) {
  const char* bad[] = {
      R"([{"name": "x", "detail": ""}])",                                               // no entries
      R"([{"detail": "", "entries": []}])",                                             // no name
      R"([{"name": "x", "entries": []}])",                                              // no detail
      R"([{"name": "x", "detail": "", "entries": {"EXIF:Make": {"type": "none", "value": ""}}}])",  // an object
      R"([{"name": "x", "detail": "", "entries": ["EXIF:Make"]}])",                     // odd count
      R"([{"name": "x", "detail": "", "entries": [{"type": "none", "value": ""}, "EXIF:Make"]}])",  // swapped
      R"([{"name": 3, "detail": "", "entries": []}])",
      R"({"name": "x", "detail": "", "entries": []})",  // no array
      R"([{"name": "x", "detail": "", "entries": [)",   // truncated
  };
  for (const char* text : bad) EXPECT_THROW(Preset::loadFromData(text), nlohmann::json::exception) << text;
  EXPECT_THROW(Preset::loadFromData(R"([{"name": "x", "detail": "", "entries": ["Make", {"type": "none", "value": ""}]}])"),
               TagName::ParsingError);
  EXPECT_THROW(
      Preset::loadFromData(R"([{"name": "x", "detail": "", "entries": ["EXIF:Make", {"type": "erase", "value": ""}]}])"),
      PresetEntry::CodingError);
}

// (A file that round-trips is read by `orvelin set --preset`.)
TEST(Preset, FilesThatCannotBeReadOrWritten) {
  ScratchFolder folder;
  auto preset = std::make_shared<Preset>();
  EXPECT_THROW(Preset::importFromFile(folder / "missing.json"), std::filesystem::filesystem_error);
  testing::writeFile(folder / "file", "");
  EXPECT_THROW(Preset::exportToFile({preset}, folder / "file" / "under-a-file.json"), std::filesystem::filesystem_error);
  preset->setName("\xff");  // no UTF-8
  EXPECT_THROW(Preset::saveToData({preset}), nlohmann::json::exception);
}

}  // namespace
}  // namespace orvelin

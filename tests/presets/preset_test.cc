#include "orvelin/presets/preset.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <vector>

#include "common/event_log.h"
#include "common/test_support.h"
#include "orvelin/values/date_time_value_converter.h"

namespace orvelin {
namespace {

using ::testing::ElementsAre;
using ::testing::Optional;
using ::testing::StrEq;
using ::testing::ThrowsMessage;

const TagName make("EXIF", "Make");
const TagName city("IPTC", "City");

TEST(PresetEntry, EveryCaseRoundTripsThroughItsJSONObjectAndNothingElse) {
  const std::vector<std::pair<PresetEntry, const char*>> cases = {
      {PresetEntry::value("Paris"), R"({"type":"value","value":"Paris"})"},
      {PresetEntry::copy("EXIF:CreateDate"), R"({"type":"copy","value":"EXIF:CreateDate"})"},
      {PresetEntry::merge("more"), R"({"type":"merge","value":"more"})"},
      {PresetEntry::clone("EXIF:Orientation"), R"({"type":"clone","value":"EXIF:Orientation"})"},
      {PresetEntry::none(), R"({"type":"none","value":""})"},
      {PresetEntry::remove(), R"({"type":"remove","value":""})"},
      {PresetEntry::restore(), R"({"type":"restore","value":""})"},
      {PresetEntry::value(""), R"({"type":"value","value":""})"},
  };
  for (const auto& [entry, text] : cases) {
    EXPECT_EQ(nlohmann::json(entry).dump(), text);
    EXPECT_EQ(nlohmann::json::parse(text).get<PresetEntry>(), entry) << text;
  }
  // Decoding needs both text members, "value" even in the cases that ignore it, and a known type.
  for (const char* text : {R"({"type":"remove"})", R"({"type":"value"})", R"({"value":"x"})",
                           R"({"type":"value","value":3})", R"({"type":1,"value":""})", R"(["value","x"])"})
    EXPECT_THROW(nlohmann::json::parse(text).get<PresetEntry>(), nlohmann::json::exception) << text;
  // A payload given to a case without one is dropped.
  EXPECT_EQ(nlohmann::json::parse(R"({"type":"restore","value":"ignored"})").get<PresetEntry>(), PresetEntry::restore());
  for (const char* text : {R"({"type":"Value","value":"x"})", R"({"type":"delete","value":""})"})
    EXPECT_THAT([&] { nlohmann::json::parse(text).get<PresetEntry>(); },
                ThrowsMessage<PresetEntry::CodingError>(StrEq("Unknown type"))) << text;
}

TEST(Preset, NotificationsValueEntriesAndTypedViews) {
  Preset preset;
  std::vector<std::string> names;
  std::vector<std::optional<std::set<TagName>>> updated;
  testing::Observation observation(std::nullopt, &preset, [&](const Notification& note) {
    names.push_back(note.name);
    updated.push_back(Preset::updatedEntries(note));
  });
  preset.setName(preset.name());
  preset.setDetail("");
  preset.setEntry(std::nullopt, city);  // no such entry: still notified
  preset.setEntry(PresetEntry::remove(), make);
  preset.setEntry(PresetEntry::remove(), make);
  const auto& entries = Preset::didChangeEntriesNotification;
  EXPECT_THAT(names, ElementsAre(Preset::didChangeNameNotification, Preset::didChangeDetailNotification, entries,
                                 entries, entries));
  EXPECT_THAT(updated, ElementsAre(std::nullopt, std::nullopt, Optional(ElementsAre(city)),
                                   Optional(ElementsAre(make)), Optional(ElementsAre(make))));
  EXPECT_EQ(preset.entries().size(), 1u);

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
  // A day back, give or take a change of time.
  const auto back = std::chrono::system_clock::now() - preset.iptcDateCreatedValueDate().value();
  EXPECT_TRUE(back >= std::chrono::hours(22) && back < std::chrono::hours(26));
  for (const char* text : {"UPDATE(YY: 2000)", "RESTORE()", "2020:01:02"}) {
    preset.setEntry(PresetEntry::value(text), TagName::iptcDateCreated);
    EXPECT_EQ(preset.iptcDateCreatedValueDate(), std::nullopt) << text;
  }

  // The coordinate takes its signs from the reference entries, when there are some.
  preset.setEntry(PresetEntry::value("12,5"), TagName::exifGPSLatitude);
  EXPECT_EQ(preset.exifGPSLatitudeValueCoordinate(), std::nullopt);  // no longitude
  preset.setEntry(PresetEntry::value("-3.25"), TagName::exifGPSLongitude);
  EXPECT_EQ(preset.exifGPSLatitudeValueCoordinate(), Coordinate(Latitude(12.5), Longitude(-3.25)));
  preset.setEntry(PresetEntry::value("S"), TagName::exifGPSLatitudeRef);
  preset.setEntry(PresetEntry::value("E"), TagName::exifGPSLongitudeRef);
  EXPECT_EQ(preset.exifGPSLatitudeValueCoordinate(), Coordinate(Latitude(-12.5), Longitude(3.25)));
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

  // Any other form is refused.
  // No entries, no name; no detail, a number for a name; entries as an object, of odd count, swapped;
  // no array, truncated.
  const char* const bad[] = {
      R"([{"name": "x", "detail": ""}])", R"([{"detail": "", "entries": []}])",
      R"([{"name": "x", "entries": []}])", R"([{"name": 3, "detail": "", "entries": []}])",
      R"([{"name": "x", "detail": "", "entries": {"EXIF:Make": {"type": "none", "value": ""}}}])",
      R"([{"name": "x", "detail": "", "entries": ["EXIF:Make"]}])",
      R"([{"name": "x", "detail": "", "entries": [{"type": "none", "value": ""}, "EXIF:Make"]}])",
      R"({"name": "x", "detail": "", "entries": []})", R"([{"name": "x", "detail": "", "entries": [)"};
  for (const char* text : bad) EXPECT_THROW(Preset::loadFromData(text), nlohmann::json::exception) << text;
  EXPECT_THROW(Preset::loadFromData(R"([{"name": "x", "detail": "", "entries": ["Make", {"type": "none", "value": ""}]}])"),
               TagName::ParsingError);

  // Files that cannot be read or written (one that round-trips is read by `orvelin set --preset`).
  testing::ScratchFolder folder;
  EXPECT_THROW(Preset::importFromFile(folder / "missing.json"), std::filesystem::filesystem_error);
  testing::writeFile(folder / "file", "");
  EXPECT_THROW(Preset::exportToFile({preset}, folder / "file" / "under-a-file.json"), std::filesystem::filesystem_error);
  preset->setName("\xff");  // no UTF-8
  EXPECT_THROW(Preset::saveToData({preset}), nlohmann::json::exception);
}

}  // namespace
}  // namespace orvelin

#include "orvelin/presets/preset_entry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <vector>

namespace orvelin {
namespace {

using ::testing::StrEq;
using ::testing::ThrowsMessage;

TEST(PresetEntry, EveryCaseRoundTripsThroughItsJSONObject) {
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
}

TEST(PresetEntry, DecodingNeedsBothTextMembersAndAKnownType) {
  // "value" is required even by the cases that ignore it.
  for (const char* text : {R"({"type":"remove"})", R"({"type":"value"})", R"({"value":"x"})",
                           R"({"type":"value","value":3})", R"({"type":1,"value":""})", R"(["value","x"])"})
    EXPECT_THROW(nlohmann::json::parse(text).get<PresetEntry>(), nlohmann::json::exception) << text;
  // A payload given to a case without one is dropped.
  EXPECT_EQ(nlohmann::json::parse(R"({"type":"restore","value":"ignored"})").get<PresetEntry>(), PresetEntry::restore());
  for (const char* text : {R"({"type":"Value","value":"x"})", R"({"type":"delete","value":""})"}) {
    EXPECT_THAT([&] { nlohmann::json::parse(text).get<PresetEntry>(); },
                ThrowsMessage<PresetEntry::CodingError>(StrEq("Unknown type")))
        << text;
  }
}

}  // namespace
}  // namespace orvelin

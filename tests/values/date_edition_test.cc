#include "orvelin/values/date_edition.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <unicode/timezone.h>

#include <chrono>
#include <memory>

#include "common/test_support.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/values/date_time_value_converter.h"

namespace orvelin {
namespace {

DateValues yearAndHour(std::int64_t year, std::int64_t hour) {
  DateValues values;
  values.year = year;
  values.hour = hour;
  return values;
}

// The description is read back to the same edition; the localised one keeps the values
// unlocalised.
TEST(DateEdition, DescriptionsRoundTrip) {
  const struct {
    DateEdition edition;
    const char* description;
    const char* localized;
  } cases[] = {
      {DateEdition::select(yearAndHour(2021, 6)), "SELECT(YY: 2021, hh: 6)", "Select(YY: 2021, hh: 6)"},
      {DateEdition::update(yearAndHour(2000, 0)), "UPDATE(YY: 2000, hh: 0)", "Update(YY: 2000, hh: 0)"},
      {DateEdition::shift(yearAndHour(-1, 25)), "SHIFT(YY: -1, hh: 25)", "Shift(YY: -1, hh: 25)"},
      {DateEdition::select(DateValues()), "SELECT()", "Select()"},
      {DateEdition::shift(DateValues()), "SHIFT()", "Shift()"},
      {DateEdition::restore(), "RESTORE()", "Restore"},
      {DateEdition::remove(), "REMOVE()", "Remove"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.edition.description(), c.description);
    EXPECT_EQ(c.edition.localizedDescription(), c.localized);
    EXPECT_EQ(DateEdition::fromDescription(c.description), c.edition) << c.description;
  }
  EXPECT_NE(DateEdition::select(DateValues()), DateEdition::update(DateValues()));
}

TEST(DateEdition, ParsingNormalisesAndFails) {
  EXPECT_EQ(DateEdition::fromDescription("UPDATE(MM: 2, YY: 2000)")->description(), "UPDATE(YY: 2000, MM: 2)");
  const auto select = DateEdition::fromDescription("SELECT()");
  ASSERT_TRUE(select);
  EXPECT_EQ(select->kind(), DateEdition::Case::select);
  EXPECT_TRUE(select->values().isEmpty());
  EXPECT_EQ(DateEdition::fromDescription("RESTORE(YY: 1)"), DateEdition::restore());  // payload ignored
  EXPECT_EQ(DateEdition::fromDescription("REMOVE(whatever (it) is)"), DateEdition::remove());
  EXPECT_EQ(DateEdition::fromDescription("SHIFT(nonsense)"), DateEdition::shift(DateValues()));
  for (const char* text : {"select(YY: 1)", "SHIFT(YY: 1", "SHIFT", "", "(YY: 1)", "MOVE(YY: 1)", " SHIFT(YY: 1)",
                           "SHIFT (YY: 1)", "SHIFT(YY: 1)x", "SHIFT(YY:\n1)"})
    EXPECT_EQ(DateEdition::fromDescription(text), std::nullopt) << '"' << text << '"';
  EXPECT_EQ(DateEdition::fromDescription(std::nullopt), std::nullopt);
}

TEST(DateEdition, CodedInJSONAsOneString) {
  const auto edition = DateEdition::shift(yearAndHour(1, -2));
  const nlohmann::json json = edition;
  EXPECT_EQ(json, "SHIFT(YY: 1, hh: -2)");
  EXPECT_EQ(json.get<DateEdition>(), edition);
  const auto list = nlohmann::json::parse(R"json(["RESTORE()", "SELECT(DD: 1)"])json").get<std::vector<DateEdition>>();
  EXPECT_EQ(list.size(), 2u);
  EXPECT_THROW(nlohmann::json("select()").get<DateEdition>(), DateEdition::DecodingError);
  EXPECT_THROW(nlohmann::json(3).get<DateEdition>(), DateEdition::DecodingError);
  try {
    nlohmann::json("?").get<DateEdition>();
    ADD_FAILURE() << "\"?\" decoded";
  } catch (const DateEdition::DecodingError& error) {
    EXPECT_EQ(error.code(), DateEdition::DecodingError::Code::notParsableInput);
    EXPECT_EQ(error.localizedDescription(), "Not parsable input");
  }
}

TEST(DateEdition, ApplyByCase) {
  const DateTimeValueConverter converter;
  const auto date = converter.typedValueFromStringValue("2021:01:31 10:00:00");
  ASSERT_TRUE(date);
  DateValues february;
  february.month = 2;
  EXPECT_EQ(converter.stringValueFromTypedValue(DateEdition::update(february).apply(date)), "2021:03:03 10:00:00");
  EXPECT_EQ(converter.stringValueFromTypedValue(DateEdition::shift(february).apply(date)), "2021:03:31 10:00:00");
  // A year-less selection falls in 2000, the year of every date that lacks one.
  EXPECT_EQ(converter.stringValueFromTypedValue(DateEdition::select(february).apply(date)), "2000:02:01 00:00:00");
  EXPECT_EQ(converter.stringValueFromTypedValue(DateEdition::select(february).apply(std::nullopt)), "2000:02:01 00:00:00");
  EXPECT_EQ(DateEdition::restore().apply(date), date);
  EXPECT_EQ(DateEdition::remove().apply(date), std::nullopt);
  EXPECT_EQ(DateEdition::update(february).apply(std::nullopt), std::nullopt);
  EXPECT_EQ(DateEdition::shift(february).apply(std::nullopt), std::nullopt);
  EXPECT_EQ(DateEdition::restore().apply(std::nullopt), std::nullopt);
  EXPECT_EQ(DateEdition::remove().apply(std::nullopt), std::nullopt);
}

// The converter reads the dates of real files as exiftool itself reads them: exiftool's own
// epoch seconds ("-d %s") in the same time zone.
TEST(DateTimeValueConverterWithExifTool, AgreesWithExifToolsEpochSeconds) {
  std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createDefault());
  icu::UnicodeString zoneID;
  zone->getID(zoneID);
  std::string zoneName;
  zoneID.toUTF8String(zoneName);

  const auto files = {testing::dataDirectory() / "GPS.jpg", testing::dataDirectory() / "Canon.jpg"};
  ExifToolCLI plain;
  std::vector<std::string> arguments = {"-j", "-DateTimeOriginal"};
  for (const auto& file : files) arguments.push_back(file.string());
  plain.run(arguments);
  ExifToolCLI epoch;
  arguments.insert(arguments.begin(), {"-api", "TimeZone=" + zoneName, "-d", "%s"});
  epoch.run(arguments);
  ASSERT_TRUE(plain.buildStdOutString() && epoch.buildStdOutString());
  const auto texts = nlohmann::json::parse(*plain.buildStdOutString());
  const auto seconds = nlohmann::json::parse(*epoch.buildStdOutString());
  ASSERT_EQ(texts.size(), 2u);
  ASSERT_EQ(seconds.size(), 2u);

  const DateTimeValueConverter converter;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const auto date = converter.typedValueFromRawValue(Value::fromJSON(texts[i]["DateTimeOriginal"]));
    ASSERT_TRUE(date) << texts[i];
    const Date expected(std::chrono::seconds(seconds[i]["DateTimeOriginal"].get<std::time_t>()));
    EXPECT_EQ(*date, expected) << texts[i]["DateTimeOriginal"];
    EXPECT_EQ(converter.stringValueFromTypedValue(date), texts[i]["DateTimeOriginal"].get<std::string>());
  }
}

}  // namespace
}  // namespace orvelin

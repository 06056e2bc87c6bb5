#include "orvelin/values/value.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <unicode/uloc.h>

#include <cmath>
#include <map>
#include <set>
#include <string>
#include <utility>

namespace orvelin {
namespace {

// The shapes of exiftool's JSON output, and what they become.
TEST(Value, ReadsAndWritesJSON) {
  const auto json = nlohmann::json::parse(R"json({
    "ISO": 400, "ExposureCompensation": -0.7, "Big": 18446744073709551615, "Negative": -12,
    "Make": "Canon", "Flag": true, "Missing": null, "Keywords": ["a", 1, [2.5, false]],
    "Struct": {"a": 1}
  })json");
  // A JSON integer within range has no sign kind.
  EXPECT_EQ(Value::fromJSON(json["ISO"]).kind(), Value::Kind::signedInteger);
  EXPECT_EQ(Value::fromJSON(json["Big"]).kind(), Value::Kind::unsignedInteger);
  for (const auto& [key, expected] : std::initializer_list<std::pair<const char*, Value>>{
           {"Negative", Value(-12)}, {"ExposureCompensation", Value(-0.7)}, {"Make", Value("Canon")},
           {"Flag", Value(true)},
           {"Keywords", Value(Value::Array{Value("a"), Value(1), Value(Value::Array{Value(2.5), Value(false)})})}})
    EXPECT_EQ(Value::fromJSON(json[key]), expected) << key;
  EXPECT_TRUE(Value::fromJSON(json["Missing"]).isNull());
  EXPECT_TRUE(Value::fromJSON(json["Struct"]).isNull());  // objects have no counterpart

  for (const auto* key : {"ISO", "ExposureCompensation", "Big", "Negative", "Make", "Flag", "Missing", "Keywords"})
    EXPECT_EQ(Value::fromJSON(json[key]).toJSON(), json[key]) << key;
  EXPECT_EQ((json.get<std::map<std::string, Value>>().at("ISO")), Value(400));
  EXPECT_EQ(nlohmann::json(Value(Value::Array{Value(1), Value("x")})).dump(), R"([1,"x"])");

  // Kinds without a JSON counterpart write text.
  const Date date = std::chrono::sys_days(std::chrono::year(2021) / 3 / 4) + std::chrono::hours(10) +
                    std::chrono::minutes(11) + std::chrono::seconds(12) + std::chrono::milliseconds(345);
  EXPECT_EQ(Value(date).toJSON(), "2021-03-04T10:11:12.345Z");
  EXPECT_EQ(Value(Date{} - std::chrono::hours(36)).toJSON(), "1969-12-30T12:00:00.000Z");
  EXPECT_EQ(Value(PartialDate(2021, 3, 4)).toJSON(), "2021:03:04");
  EXPECT_EQ(Value(PartialTime(9, 8, 7)).toJSON(), "09:08:07");
  EXPECT_EQ(Value(Country3166a3::france).toJSON(), "FRA");
}

TEST(Value, NumbersCompareByValueAcrossKinds) {
  EXPECT_EQ(Value(3), Value(3u));
  EXPECT_EQ(Value(3), Value(3.0));
  EXPECT_EQ(Value(std::uint64_t{1} << 63), Value(9223372036854775808.0));
  EXPECT_NE(Value(std::uint64_t{18446744073709551615u}), Value(18446744073709551615.0));  // that double is 2^64
  EXPECT_NE(Value(-1), Value(std::uint64_t{18446744073709551615u}));
  EXPECT_NE(Value(std::int64_t{9007199254740993}), Value(9007199254740992.0));  // no rounding through double
  EXPECT_NE(Value(true), Value(1));
  EXPECT_NE(Value("3"), Value(3));
  EXPECT_NE(Value(std::nan("")), Value(std::nan("")));
  EXPECT_NE(Value(), Value(0));
  EXPECT_EQ(Value(), Value(nullptr));
  EXPECT_EQ(Value(Value::Array{Value(1), Value(2.0)}), Value(Value::Array{Value(1.0), Value(2u)}));
  EXPECT_NE(Value(Value::Array{Value(1)}), Value(Value::Array{Value(1), Value(1)}));
  EXPECT_EQ(Value(Country3166a3::japan), Value(*Country3166a3::fromRawValue("JPN")));
  EXPECT_NE(Value(PartialDate(2021, 1, 1)), Value(PartialDate(2021, 1, 2)));
}

// Every code is a real ISO 3166-1 alpha-3 code (as ICU's region data knows them), each is
// used once, and each reads back to its case.
TEST(Country3166a3, CodesAreTheStandardsAndReadBackNamesComeFromTheTable) {
  std::set<std::string> standard;
  for (const char* const* region = uloc_getISOCountries(); *region; ++region)
    standard.insert(uloc_getISO3Country((std::string("und_") + *region).c_str()));
  std::set<std::string_view> seen;
  for (std::size_t i = 0; i < Country3166a3::caseCount; ++i) {
    const Country3166a3 country = static_cast<Country3166a3::Value>(i);
    EXPECT_TRUE(standard.contains(std::string(country.code()))) << country.code();
    EXPECT_TRUE(seen.insert(country.code()).second) << country.code();
    EXPECT_EQ(Country3166a3::fromRawValue(country.code()), country) << country.code();
  }
  for (const char* text : {"", "fra", "FR", "FRAN", " FRA", "ZZZ"})
    EXPECT_EQ(Country3166a3::fromRawValue(text), std::nullopt) << text;

  // Names come from the country table, in English.
  EXPECT_EQ(Country3166a3(Country3166a3::france).localizedName(), "France");
  EXPECT_EQ(Country3166a3(Country3166a3::alandIslands).localizedName(), "Åland Islands");
  EXPECT_EQ(Country3166a3(Country3166a3::coteDIvoire).localizedDescription(), "CIV - Côte d'Ivoire");
  for (const auto country : Country3166a3::all())
    EXPECT_NE(country.localizedName(), "Country3166a3:" + std::string(country.code())) << "no English name for " << country.code();
}

}  // namespace
}  // namespace orvelin

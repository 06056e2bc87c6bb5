#include "orvelin/values/country3166a3.h"

#include <gtest/gtest.h>
#include <unicode/uloc.h>

#include <algorithm>
#include <set>
#include <string>

namespace orvelin {
namespace {

// Every code is a real ISO 3166-1 alpha-3 code (as ICU's region data knows them), each is
// used once, and each reads back to its case.
TEST(Country3166a3, CodesAreTheStandardsAndReadBack) {
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
  EXPECT_EQ(Country3166a3(Country3166a3::unitedKingdomAndNorthernIreland).code(), "GBR");
  for (const char* text : {"", "fra", "FR", "FRAN", " FRA", "ZZZ"}) EXPECT_EQ(Country3166a3::fromRawValue(text), std::nullopt) << text;
}

TEST(Country3166a3, NamesComeFromTheCountryTable) {
  EXPECT_EQ(Country3166a3(Country3166a3::france).localizedName(), "France");
  EXPECT_EQ(Country3166a3(Country3166a3::alandIslands).localizedName(), "Åland Islands");
  EXPECT_EQ(Country3166a3(Country3166a3::coteDIvoire).localizedDescription(), "CIV - Côte d'Ivoire");
  for (const auto country : Country3166a3::all())
    EXPECT_NE(country.localizedName(), "Country3166a3:" + std::string(country.code())) << "no English name for " << country.code();
}

}  // namespace
}  // namespace orvelin

#include "orvelin/values/country3166a3.h"

#include <algorithm>
#include <array>
#include <utility>

#include "orvelin/support/localization.h"

namespace orvelin {

namespace {

// The code of each case, by position.
constexpr std::array<std::string_view, Country3166a3::caseCount> kCodes = {
    "AFG", "ALA", "ALB", "DZA", "ASM", "AND", "AGO", "AIA", "ATA", "ATG",  // 0: afghanistan
    "ARG", "ARM", "ABW", "AUS", "AUT", "AZE", "BHS", "BHR", "BGD", "BRB",  // 10: argentina
    "BLR", "BEL", "BLZ", "BEN", "BMU", "BTN", "BOL", "BES", "BIH", "BWA",  // 20: belarus
    "BVT", "BRA", "IOT", "BRN", "BGR", "BFA", "BDI", "CPV", "KHM", "CMR",  // 30: bouvetIsland
    "CAN", "CYM", "CAF", "TCD", "CHL", "CHN", "CXR", "CCK", "COL", "COM",  // 40: canada
    "COG", "COD", "COK", "CRI", "CIV", "HRV", "CUB", "CUW", "CYP", "CZE",  // 50: republicOfTheCongo
    "DNK", "DJI", "DMA", "DOM", "ECU", "EGY", "SLV", "GNQ", "ERI", "EST",  // 60: denmark
    "SWZ", "ETH", "FLK", "FRO", "FJI", "FIN", "FRA", "GUF", "PYF", "ATF",  // 70: eswatini
    "GAB", "GMB", "GEO", "DEU", "GHA", "GIB", "GRC", "GRL", "GRD", "GLP",  // 80: gabon
    "GUM", "GTM", "GGY", "GIN", "GNB", "GUY", "HTI", "HMD", "VAT", "HND",  // 90: guam
    "HKG", "HUN", "ISL", "IND", "IDN", "IRN", "IRQ", "IRL", "IMN", "ISR",  // 100: hongKong
    "ITA", "JAM", "JPN", "JEY", "JOR", "KAZ", "KEN", "KIR", "PRK", "KOR",  // 110: italy
    "KWT", "KGZ", "LAO", "LVA", "LBN", "LSO", "LBR", "LBY", "LIE", "LTU",  // 120: kuwait
    "LUX", "MAC", "MKD", "MDG", "MWI", "MYS", "MDV", "MLI", "MLT", "MHL",  // 130: luxembourg
    "MTQ", "MRT", "MUS", "MYT", "MEX", "FSM", "MDA", "MCO", "MNG", "MNE",  // 140: martinique
    "MSR", "MAR", "MOZ", "MMR", "NAM", "NRU", "NPL", "NLD", "NCL", "NZL",  // 150: montserrat
    "NIC", "NER", "NGA", "NIU", "NFK", "MNP", "NOR", "OMN", "PAK", "PLW",  // 160: nicaragua
    "PSE", "PAN", "PNG", "PRY", "PER", "PHL", "PCN", "POL", "PRT", "PRI",  // 170: palestine
    "QAT", "REU", "ROU", "RUS", "RWA", "BLM", "SHN", "KNA", "LCA", "MAF",  // 180: qatar
    "SPM", "VCT", "WSM", "SMR", "STP", "SAU", "SEN", "SRB", "SYC", "SLE",  // 190: saintPierreAndMiquelon
    "SGP", "SXM", "SVK", "SVN", "SLB", "SOM", "ZAF", "SGS", "SSD", "ESP",  // 200: singapore
    "LKA", "SDN", "SUR", "SJM", "SWE", "CHE", "SYR", "TWN", "TJK", "TZA",  // 210: sriLanka
    "THA", "TLS", "TGO", "TKL", "TON", "TTO", "TUN", "TUR", "TKM", "TCA",  // 220: thailand
    "TUV", "UGA", "UKR", "ARE", "GBR", "USA", "UMI", "URY", "UZB", "VUT",  // 230: tuvalu
    "VEN", "VNM", "VGB", "VIR", "WLF", "ESH", "YEM", "ZMB", "ZWE",  // 240: venezuela
};

// The positions ordered by code, for the look-up of a code.
const std::array<std::uint8_t, Country3166a3::caseCount>& positionsByCode() {
  static const auto positions = [] {
    std::array<std::uint8_t, Country3166a3::caseCount> sorted{};
    for (std::size_t i = 0; i < sorted.size(); ++i) sorted[i] = static_cast<std::uint8_t>(i);
    std::sort(sorted.begin(), sorted.end(), [](std::uint8_t lhs, std::uint8_t rhs) { return kCodes[lhs] < kCodes[rhs]; });
    return sorted;
  }();
  return positions;
}

}  // namespace

std::optional<Country3166a3> Country3166a3::fromRawValue(std::string_view rawValue) {
  const auto& positions = positionsByCode();
  const auto found = std::lower_bound(positions.begin(), positions.end(), rawValue,
                                      [](std::uint8_t position, std::string_view code) { return kCodes[position] < code; });
  if (found == positions.end() || kCodes[*found] != rawValue) return std::nullopt;
  return Country3166a3(static_cast<Value>(*found));
}

std::string_view Country3166a3::rawValue() const { return kCodes[static_cast<std::size_t>(value_)]; }

std::string Country3166a3::localizedName() const {
  std::string key = "Country3166a3:";
  key += rawValue();
  return ORVTL(std::optional<std::string_view>("Country3166a3"), key);
}

std::string Country3166a3::localizedDescription() const {
  std::string text(rawValue());
  text += " - ";
  text += localizedName();
  return text;
}

const std::vector<Country3166a3>& Country3166a3::all() {
  static const std::vector<Country3166a3> cases = [] {
    std::vector<Country3166a3> result;
    result.reserve(caseCount - 1);
    for (std::size_t i = alandIslands; i < caseCount; ++i) result.emplace_back(static_cast<Value>(i));
    return result;
  }();
  return cases;
}

}  // namespace orvelin

#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvelin {

// A country of ISO 3166-1, named by its alpha-3 code ("FRA"): the value of the country tags.
// A value type like Language: the enumerators convert implicitly, so
// `Country3166a3 country = Country3166a3::france;` and `switch (country)` work. Immutable;
// safe to share between threads.
//
// Two names carry codes that their spelling does not suggest: `congo` is "COD" (the Democratic
// Republic) and `republicOfTheCongo` is "COG"; `bonaire` is "BES".
class Country3166a3 {
 public:
  // In this order: the order fixes each case's position, 0 to 248.
  enum Value : std::uint8_t {
    afghanistan, alandIslands, albania, algeria, americanSamoa, andorra, angola, anguilla, antarctica,
    antiguaAndBarbuda, argentina, armenia, aruba, australia, austria, azerbaijan, bahamas, bahrain,
    bangladesh, barbados, belarus, belgium, belize, benin, bermuda, bhutan, bolivia, bonaire,
    bosniaAndHerzegovina, botswana, bouvetIsland, brazil, britishIndianOceanTerritory, bruneiDarussalam,
    bulgaria, burkinaFaso, burundi, caboVerde, cambodia, cameroon, canada, caymanIslands,
    centralAfricanRepublic, chad, chile, china, christmasIsland, cocosIslands, colombia, comoros,
    republicOfTheCongo, congo, cookIslands, costaRica, coteDIvoire, croatia, cuba, curacao, cyprus, czechia,
    denmark, djibouti, dominica, dominicanRepublic, ecuador, egypt, elSalvador, equatorialGuinea, eritrea,
    estonia, eswatini, ethiopia, falklandIslands, faroeIslands, fiji, finland, france, frenchGuiana,
    frenchPolynesia, frenchSouthernTerritories, gabon, gambia, georgia, germany, ghana, gibraltar, greece,
    greenland, grenada, guadeloupe, guam, guatemala, guernsey, guinea, guineaBissau, guyana, haiti,
    heardIslandAndMcDonaldIslands, holySee, honduras, hongKong, hungary, iceland, india, indonesia, iran,
    iraq, ireland, isleOfMan, israel, italy, jamaica, japan, jersey, jordan, kazakhstan, kenya, kiribati,
    northKorea, southKorea, kuwait, kyrgyzstan, laos, latvia, lebanon, lesotho, liberia, libya,
    liechtenstein, lithuania, luxembourg, macau, macedonia, madagascar, malawi, malaysia, maldives, mali,
    malta, marshallIslands, martinique, mauritania, mauritius, mayotte, mexico, micronesia, moldova, monaco,
    mongolia, montenegro, montserrat, morocco, mozambique, myanmar, namibia, nauru, nepal, netherlands,
    newCaledonia, newZealand, nicaragua, niger, nigeria, niue, norfolkIsland, northernMarianaIslands, norway,
    oman, pakistan, palau, palestine, panama, papuaNewGuinea, paraguay, peru, philippines, pitcairnIslands,
    poland, portugal, puertoRico, qatar, reunion, romania, russianFederation, rwanda, saintBarthelemy,
    saintHelena, saintKittsAndNevis, saintLucia, saintMartinFrenchPart, saintPierreAndMiquelon,
    saintVincentAndTheGrenadines, samoa, sanMarino, saoTomeAndPrincipe, saudiArabia, senegal, serbia,
    seychelles, sierraLeone, singapore, sintMaartenDutchPart, slovakia, slovenia, solomonIslands, somalia,
    southAfrica, southGeorgiaAndSouthSandwichIslands, southSudan, spain, sriLanka, sudan, suriname,
    svalbardAndJanMayen, sweden, switzerland, syrianArabRepublic, taiwan, tajikistan, tanzania, thailand,
    timorLeste, togo, tokelau, tonga, trinidadAndTobago, tunisia, turkey, turkmenistan,
    turksAndCaicosIslands, tuvalu, uganda, ukraine, unitedArabEmirates, unitedKingdomAndNorthernIreland,
    unitedStatesOfAmerica, unitedStatesMinorOutlyingIslands, uruguay, uzbekistan, vanuatu, venezuela,
    vietNam, virginIslandsBritish, virginIslandsUS, wallisAndFutuna, westernSahara, yemen, zambia, zimbabwe,
  };
  static constexpr std::size_t caseCount = 249;

  constexpr Country3166a3(Value value) : value_(value) {}  // NOLINT: implicit by design
  constexpr operator Value() const { return value_; }  // NOLINT

  // Exact, case-sensitive match on the code: "FRA" is France, "fra" and "FR" are absent.
  static std::optional<Country3166a3> fromRawValue(std::string_view rawValue);
  // The three-letter code.
  std::string_view rawValue() const;
  std::string_view code() const { return rawValue(); }

  // The country's name in the current localisation: the table "Country3166a3" under
  // "Country3166a3:" and the code ("Country3166a3:FRA").
  std::string localizedName() const;
  // The code, " - ", then localizedName(): "FRA - France".
  std::string localizedDescription() const;

  // The 248 cases from alandIslands to zimbabwe, in declaration order. afghanistan is left out
  // on purpose, though it exists and parses: callers rely on exactly these 248 entries.
  static const std::vector<Country3166a3>& all();

 private:
  Value value_;
};

}  // namespace orvelin

template <>
struct std::hash<orvelin::Country3166a3> {
  std::size_t operator()(orvelin::Country3166a3 country) const noexcept {
    return static_cast<std::size_t>(static_cast<orvelin::Country3166a3::Value>(country));
  }
};

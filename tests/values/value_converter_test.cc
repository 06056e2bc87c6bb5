#include "orvelin/values/value_converter.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <unicode/uloc.h>
#include <unistd.h>

#include <clocale>
#include <cmath>
#include <filesystem>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <system_error>
#include <tuple>
#include <unordered_set>
#include <utility>

#include "common/test_support.h"
#include "orvelin/support/process_runner.h"
#include "orvelin/values/coordinate.h"
#include "orvelin/values/coordinate_parser.h"
#include "orvelin/values/coordinate_writer.h"
#include "orvelin/values/date_time_value_converter.h"

namespace orvelin {
namespace {

// A decimal comma in LC_NUMERIC for its scope, then "C" again: an installed German or French locale,
// else de_DE compiled by localedef into "test-locales" beside the test program, with LOCPATH there.
class CommaLocale {
 public:
  CommaLocale() {
    for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "fr_FR.utf8"})
      if (switchTo(name)) return;
    const auto folder = compiledLocalesFolder();
    if (!folder) return;
    localePath_.set("LOCPATH", folder->string());
    switchTo("de_DE.UTF-8");
  }
  ~CommaLocale() { std::setlocale(LC_NUMERIC, "C"); }

  bool active() const { return active_; }

 private:
  // Whether `name` exists and really has a decimal comma.
  bool switchTo(const char* name) {
    if (!std::setlocale(LC_NUMERIC, name)) return false;
    active_ = std::string(std::localeconv()->decimal_point) == ",";
    if (!active_) std::setlocale(LC_NUMERIC, "C");
    return active_;
  }

  // The folder that holds de_DE.UTF-8, compiled now unless an earlier run left it there.
  static std::optional<std::filesystem::path> compiledLocalesFolder() {
    namespace fs = std::filesystem;
    std::error_code error;
    const auto folder = fs::read_symlink("/proc/self/exe", error).parent_path() / "test-locales";
    if (error) return std::nullopt;
    const auto locale = folder / "de_DE.UTF-8";
    if (fs::exists(locale / "LC_NUMERIC", error)) return folder;
    // Compiled aside and moved into place whole: programs running at once never see half a locale.
    const auto staging = folder / (".staging-" + std::to_string(::getpid()));
    fs::create_directories(staging, error);
    if (error) return std::nullopt;
    const auto result = ProcessRunner::Default()->run(
        {"/usr/bin/env", {"localedef", "-i", "de_DE", "-f", "UTF-8", (staging / "de_DE.UTF-8").string()},
         {"PATH=/usr/bin:/usr/sbin:/bin"}});
    if (result.launched && fs::exists(staging / "de_DE.UTF-8" / "LC_NUMERIC", error))
      fs::rename(staging / "de_DE.UTF-8", locale, error);
    fs::remove_all(staging, error);
    return fs::exists(locale / "LC_NUMERIC", error) ? std::optional(folder) : std::nullopt;
  }

  bool active_ = false;
  testing::EnvironmentScope localePath_;
};

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kDMS = 1e-9;
const Coordinate kParis(48.8566, 2.3522);

double dms(double degrees, double minutes, double seconds) { return (seconds / 60.0 + minutes) * 60.0 / 3600.0 + degrees; }

Value array(std::initializer_list<Value> elements) { return Value(Value::Array(elements)); }

// What typedValueFromRawValue and typedValueFromStringValue answer, a pair a case.
template <typename Converter, typename Input>
using Cases = std::initializer_list<std::pair<Input, std::optional<typename Converter::Typed>>>;

template <typename Converter>
void expectTypedFromRaw(const Converter& converter, Cases<Converter, Value> cases) {
  for (const auto& [raw, expected] : cases) EXPECT_EQ(converter.typedValueFromRawValue(raw), expected) << raw;
}

template <typename Converter>
void expectTypedFromText(const Converter& converter, Cases<Converter, const char*> cases) {
  for (const auto& [text, expected] : cases)
    EXPECT_EQ(converter.typedValueFromStringValue(text), expected) << '"' << text << '"';
}

TEST(BoolValueConverter, ReadsTheTwoTextSetsAndZeroOrOne) {
  const BoolValueConverter converter;
  for (const char* text : {"True", "true", "1", "Yes", "yes", "Y", "y"})
    EXPECT_EQ(converter.stringValueFromStringValue(text), "true") << text;
  for (const char* text : {"False", "false", "0", "No", "no", "N", "n"})
    EXPECT_EQ(converter.stringValueFromStringValue(text), "false") << text;
  for (const char* text : {"TRUE", " yes", "yes ", "2", "", "on", "1.0"})
    EXPECT_EQ(converter.typedValueFromStringValue(text), std::nullopt) << '"' << text << '"';
  EXPECT_EQ(converter.typedValueFromStringValue(std::nullopt), std::nullopt);
  EXPECT_EQ(converter.formattedValueFromStringValue("Y"), "true");
  EXPECT_EQ(converter.formattedValueFromStringValue(""), std::nullopt);
  EXPECT_EQ(converter.objectValueFromStringValue("no"), Value(false));
  EXPECT_EQ(converter.rawValueFromStringValue("yes"), Value(true));
  // Raw numbers only as zero or one.
  expectTypedFromRaw(converter, {{Value(true), true}, {Value(1), true}, {Value(0u), false}, {Value(2), std::nullopt},
                                 {Value(-1), std::nullopt}, {Value(1.0), true}, {Value(0.5), std::nullopt},
                                 {Value(std::nan("")), std::nullopt}, {Value("n"), false}, {Value(), std::nullopt},
                                 {Value(Country3166a3::france), std::nullopt}});
  EXPECT_EQ(BoolValueConverter::typedValueFromIntegerValue(std::nullopt), std::nullopt);
  EXPECT_EQ(BoolValueConverter::typedValueFromDoubleValue(-0.0), false);
  EXPECT_EQ(converter.jsonValueFromRawValue(Value(1)), Value(true));
  EXPECT_EQ(converter.jsonValueFromRawValue(Value("maybe")), std::nullopt);
}

TEST(DoubleValueConverters, ReadBlanksDecimalCommasRawNumbersAndMagnitudesOutOfRange) {
  const SDoubleValueConverter converter;
  expectTypedFromText(converter, {{"1,5", 1.5}, {"\t12 ", 12.0}, {"1 234,5", 1234.5}, {"- 2", -2.0}, {"1e3", 1000.0},
                                  {"0x10", 16.0}, {"-inf", -kInfinity}});
  EXPECT_TRUE(std::isnan(*converter.typedValueFromStringValue("nan")));
  for (const char* text : {"", "abc", "1,2,3", "1,234.5", "12abc", "\n1", "1\n", "--1", "1e", "e5"})
    EXPECT_EQ(converter.typedValueFromStringValue(text), std::nullopt) << '"' << text << '"';
  EXPECT_EQ(converter.typedValueFromStringValue(std::string("1\0", 2)), std::nullopt);
  EXPECT_DOUBLE_EQ(converter.typedValueFromStringValue(std::string(100, '1') + ".5").value_or(0), 1.1111111111111111e99);
  EXPECT_EQ(converter.stringValueFromStringValue("1,5"), "1.50000000");
  EXPECT_EQ(converter.formattedValueFromStringValue("-0,25"), "-0.25000000");
  EXPECT_EQ(converter.objectValueFromStringValue("2,5"), Value(2.5));

  expectTypedFromRaw(converter, {{Value(2.25), 2.25}, {Value(-7), -7.0}, {Value(std::uint64_t{1} << 63), 0x1p63},
                                 {Value(true), 1.0}, {Value("3,5"), 3.5}, {Value(PartialTime(1, 2, 3)), std::nullopt},
                                 {array({Value(1.0)}), std::nullopt}});
  EXPECT_EQ(converter.stringValueFromRawValue(Value(1.5)), "1.50000000");
  EXPECT_EQ(converter.stringValueFromRawValue(Value(-1e-9)), "-0.00000000");
  EXPECT_EQ(converter.jsonValueFromRawValue(Value("0,5")), Value(0.5));
  EXPECT_EQ(converter.rawValueFromStringValue("x"), std::nullopt);

  // Out of range is no failure: the parse rounds to an infinity or to zero, as the C library does.
  expectTypedFromText(converter, {{"1e999", kInfinity}, {"-1e999", -kInfinity}, {"1e-999", 0.0}});
  EXPECT_GT(converter.typedValueFromStringValue("4e-320").value_or(0), 0.0);  // a denormal
  EXPECT_EQ(converter.stringValueFromStringValue("1e999"), "inf");
  EXPECT_EQ(converter.typedValueFromRawValue(Value("-1e999")), -kInfinity);

  // The unsigned one refuses negatives and not-a-number; negative zero passes.
  const UDoubleValueConverter unsignedConverter;
  expectTypedFromText(unsignedConverter, {{"1e999", kInfinity}, {"-1e999", std::nullopt}, {"-1e-999", 0.0},
                                          {"-0.1", std::nullopt}, {"0", 0.0}, {"-0", 0.0}, {"nan", std::nullopt}});
  EXPECT_EQ(unsignedConverter.formattedValueFromStringValue("1e999"), "inf");
  expectTypedFromRaw(unsignedConverter, {{Value(-1), std::nullopt}, {Value(std::nan("")), std::nullopt}});
  EXPECT_EQ(unsignedConverter.objectValueFromStringValue("-3"), std::nullopt);
  EXPECT_EQ(unsignedConverter.formattedValueFromStringValue("-3"), std::nullopt);
  EXPECT_EQ(unsignedConverter.jsonValueFromRawValue(Value(-3.0)), std::nullopt);
  EXPECT_EQ(unsignedConverter.stringValueFromRawValue(Value("4,5")), "4.50000000");
  EXPECT_EQ(unsignedConverter.jsonValueFromRawValue(Value(4)), Value(4.0));

  // An integer reads the shortest text of the double: "inf" has no digits, so 0.
  expectTypedFromText(SIntValueConverter(), {{"1e999", 0}, {"-1e999", 0}, {"1e-999", 0}});
  EXPECT_EQ(UIntValueConverter().typedValueFromStringValue("-1e999"), 0);
  EXPECT_EQ(UIntValueConverter().stringValueFromStringValue("1e999"), "0");
}

// Numbers and coordinates are read and printed with a point, not with the host's separator.
TEST(SDoubleValueConverter, ReadsAndPrintsAPointWhateverTheLocale) {
  const CommaLocale locale;
  if (!locale.active()) GTEST_SKIP() << "no locale with a decimal comma, and localedef cannot make one";
  const SDoubleValueConverter converter;
  EXPECT_EQ(converter.stringValueFromRawValue(Value(1.5)), "1.50000000");
  EXPECT_EQ(converter.typedValueFromStringValue("1 234,5"), 1234.5);
  EXPECT_EQ(UDoubleValueConverter().formattedValueFromStringValue("2,25"), "2.25000000");
  EXPECT_EQ(StringValueConverter().stringValueFromRawValue(Value(5.6)), "5.6");

  EXPECT_EQ(CoordinateWriter().DDMMmmm(kParis), "N 48° 51.396'; E 02° 21.132'");
  EXPECT_EQ(CoordinateParser().coordinate("48.8566, 2.3522"), kParis);
}

TEST(IntValueConverters, ReadWholeNumbersThroughTheShortestText) {
  const SIntValueConverter converter;
  expectTypedFromText(converter, {{"-3", -3}, {"3.0", 3}, {"3,0", 3}, {"1e3", 1000}, {"1 000", 1000}});
  for (const char* text : {"3.5", "", "abc", "nan", "0.1", "1,2,3"})
    EXPECT_EQ(converter.typedValueFromStringValue(text), std::nullopt) << '"' << text << '"';
  EXPECT_EQ(converter.stringValueFromStringValue("+42"), "42");
  EXPECT_EQ(converter.formattedValueFromStringValue("7,0"), "7");
  EXPECT_EQ(converter.objectValueFromStringValue("-12"), Value(-12));
  // Only the digits before the exponent of the shortest text count: 1e-5 is "1e-05", 0.0001 "0.0001".
  expectTypedFromText(converter, {{"1e20", 1}, {"-3e20", -3}, {"1e16", 10000000000000000}, {"2e16", 2}, {"inf", 0},
                                  {"18014398509481984", 18014398509481984} /* 2^54 */});
  expectTypedFromRaw(converter, {{Value(1e-5), 1}, {Value(0.0001), 0}});
  // Raw doubles are truncated, raw texts are not.
  expectTypedFromRaw(converter, {{Value(3.7), 3}, {Value(-3.7), -3}, {Value("3.7"), std::nullopt},
                                 {Value(std::int64_t{-5}), -5}, {Value(true), 1},
                                 {Value(std::uint64_t{9223372036854775807u}), 9223372036854775807},
                                 {Value(std::uint64_t{9223372036854775808u}), std::nullopt},
                                 {Value(Country3166a3::france), std::nullopt}});
  EXPECT_EQ(converter.stringValueFromRawValue(Value(12.9)), "12");
  EXPECT_EQ(converter.jsonValueFromRawValue(Value("12")), Value(12));

  // The unsigned one refuses negatives; a raw -0.5 gives 0, which is no negative.
  const UIntValueConverter unsignedConverter;
  expectTypedFromText(unsignedConverter, {{"-3", std::nullopt}, {"-0", 0}, {"400", 400}});
  expectTypedFromRaw(unsignedConverter, {{Value(-1), std::nullopt}, {Value(-0.5), 0}});
  EXPECT_EQ(unsignedConverter.stringValueFromRawValue(Value(400u)), "400");
  EXPECT_EQ(unsignedConverter.jsonValueFromRawValue(Value("-1")), std::nullopt);
  EXPECT_EQ(unsignedConverter.objectValueFromStringValue("-1"), std::nullopt);
  EXPECT_EQ(unsignedConverter.formattedValueFromStringValue("5"), "5");
}

TEST(StringValueConverter, KeepsTextsAndDescribesNumbers) {
  const StringValueConverter converter;
  const std::pair<Value, std::optional<std::string>> cases[] = {
      {Value(" a b "), " a b "}, {Value(400), "400"}, {Value(5.6), "5.6"}, {Value(3.0), "3"}, {Value(0.1 + 0.2), "0.3"},
      // A boolean is a boxed number, and describes itself as one.
      {Value(false), "0"}, {Value(true), "1"},
      {array({Value("a"), Value("b")}), "a, b"}, {array({}), ""}, {array({Value("a"), Value(1)}), std::nullopt},
      {Value(Date{}), std::nullopt}, {Value(), std::nullopt}, {Value(1e20), "1e+20"},
  };
  for (const auto& [raw, expected] : cases) EXPECT_EQ(converter.stringValueFromRawValue(raw), expected) << raw;
  EXPECT_EQ(converter.jsonValueFromRawValue(Value(true)), Value("1"));  // as the text
  EXPECT_EQ(converter.jsonValueFromRawValue(Value(2)), Value("2"));
  EXPECT_EQ(converter.stringValueFromStringValue(" x "), " x ");
  EXPECT_EQ(converter.stringValueFromStringValue(""), "");
  EXPECT_EQ(converter.stringValueFromStringValue(std::nullopt), std::nullopt);
  EXPECT_EQ(converter.objectValueFromStringValue("x"), Value("x"));
}

TEST(NoneValueConverter, AnswersAbsentToEverything) {
  const NoneValueConverter converter;
  const Value raw("x");
  EXPECT_EQ(converter.typedValueFromRawValue(raw), std::nullopt);
  EXPECT_EQ(converter.typedValueFromStringValue("x"), std::nullopt);
  EXPECT_EQ(converter.stringValueFromTypedValue(std::string("x")), std::nullopt);
  EXPECT_EQ(converter.rawValueFromStringValue("x"), std::nullopt);
  EXPECT_EQ(converter.objectValueFromStringValue("x"), std::nullopt);
  EXPECT_EQ(converter.stringValueFromRawValue(raw), std::nullopt);
  EXPECT_EQ(converter.stringValueFromStringValue("x"), std::nullopt);
  EXPECT_EQ(converter.formattedValueFromStringValue("x"), std::nullopt);
  EXPECT_EQ(converter.csvValueFromRawValue(raw), std::nullopt);
  EXPECT_EQ(converter.jsonValueFromRawValue(raw), std::nullopt);
}

TEST(Country3166a3, CodesAreTheStandardsExactAndDisplayedWithTheirNames) {
  const C3166a3ValueConverter converter;
  expectTypedFromText(converter, {{"fra", std::nullopt}, {"FR", std::nullopt}, {" FRA", std::nullopt},
                                  {"AFG", Country3166a3::afghanistan}, {"COD", Country3166a3::congo},
                                  {"COG", Country3166a3::republicOfTheCongo}, {"BES", Country3166a3::bonaire}});
  expectTypedFromRaw(converter, {{Value(Country3166a3::japan), Country3166a3::japan},
                                 {Value("JPN"), Country3166a3::japan}, {Value(392), std::nullopt}});
  EXPECT_EQ(converter.formattedValueFromStringValue("FRA"), "FRA - France");
  EXPECT_EQ(converter.formattedValueFromStringValue("XXX"), std::nullopt);
  EXPECT_EQ(converter.objectValueFromStringValue("FRA"), Value("FRA"));
  EXPECT_EQ(converter.rawValueFromStringValue("FRA"), Value(Country3166a3::france));
  EXPECT_EQ(converter.csvValueFromRawValue(Value(Country3166a3::germany)), "DEU");
  EXPECT_EQ(converter.jsonValueFromRawValue(Value("DEU")), Value("DEU"));

  // Every code is a real ISO 3166-1 alpha-3 code (as ICU's region data knows them), each is
  // used once, and each reads back to its case.
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
  EXPECT_EQ(Country3166a3(Country3166a3::alandIslands).localizedName(), "Åland Islands");
  EXPECT_EQ(Country3166a3(Country3166a3::coteDIvoire).localizedDescription(), "CIV - Côte d'Ivoire");
  for (const auto country : Country3166a3::all())
    EXPECT_NE(country.localizedName(), "Country3166a3:" + std::string(country.code())) << "no English name for " << country.code();
}

TEST(ArrayValueConverter, SplitsOnTheWholeSeparatorTrimsEachPieceAndJoins) {
  const ArrayValueConverter converter(std::make_shared<StringValueConverter>(), ", ");
  EXPECT_EQ(converter.rawValueFromStringValue("a,b"), array({Value("a,b")}));
  EXPECT_EQ(converter.rawValueFromStringValue("a, b"), array({Value("a"), Value("b")}));
  EXPECT_EQ(converter.rawValueFromStringValue(" a ,  b\t"), array({Value("a"), Value("b")}));
  EXPECT_EQ(converter.rawValueFromStringValue("a, , b, "), array({Value("a"), Value(""), Value("b"), Value("")}));
  EXPECT_EQ(converter.rawValueFromStringValue(""), std::nullopt);
  EXPECT_EQ(converter.rawValueFromStringValue(std::nullopt), std::nullopt);
  EXPECT_EQ(converter.objectValueFromStringValue("a, b"), array({Value("a"), Value("b")}));

  const ArrayValueConverter numbers(std::make_shared<UIntValueConverter>(), ",");
  EXPECT_EQ(numbers.rawValueFromStringValue("1, x, -2, 3"), array({Value(1), Value(3)}));
  EXPECT_EQ(numbers.rawValueFromStringValue("x"), array({}));
  EXPECT_EQ(numbers.jsonValueFromRawValue(Value("1 , 2")), array({Value(1), Value(2)}));

  // An element whose converter answers absent leaves no trace.
  EXPECT_EQ(converter.stringValueFromRawValue(array({Value(" a "), Value(Date{}), Value(2)})), "a, 2");
  EXPECT_EQ(converter.stringValueFromRawValue(array({Value(Date{})})), "");
  EXPECT_EQ(converter.stringValueFromRawValue(Value(" a,b ")), " a,b ");  // a text is not split
  EXPECT_EQ(converter.stringValueFromRawValue(Value(4)), "4");             // anything else: the element's way
  EXPECT_EQ(converter.stringValueFromRawValue(Value()), std::nullopt);
  EXPECT_EQ(converter.stringValueFromStringValue("a ,b,  c"), "a ,b, c");
  EXPECT_EQ(converter.stringValueFromStringValue("a , b,  c"), "a, b, c");
  EXPECT_EQ(converter.stringValueFromStringValue(""), std::nullopt);
  EXPECT_EQ(converter.formattedValueFromStringValue(" a , b "), " a , b ");
  EXPECT_EQ(converter.csvValueFromRawValue(array({Value("x"), Value("y")})), "x, y");

  const ArrayValueConverter spaced(std::make_shared<UIntValueConverter>(), " ");
  EXPECT_EQ(spaced.stringValueFromRawValue(array({Value(1), Value(-2), Value(3.0)})), "1 3");
  EXPECT_EQ(spaced.stringValueFromStringValue("1 2  3"), "1 2 3");
  EXPECT_EQ(spaced.jsonValueFromRawValue(array({Value("4"), Value("5")})), array({Value(4), Value(5)}));

  const ArrayValueConverter dates(std::make_shared<DateTimeValueConverter>("yyyy:MM:dd"), ",");
  const auto elements = dates.rawValueFromStringValue("2021:03:04, 20210305,never");
  ASSERT_TRUE(elements);
  ASSERT_EQ(elements->getIf<Value::Array>()->size(), 2u);
  EXPECT_EQ(dates.stringValueFromRawValue(*elements), "2021:03:04,2021:03:05");
}

// The shapes of exiftool's JSON output, and what they become.
TEST(Value, ReadsAndWritesJSONAndComparesNumbersByValue) {
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
           {"Flag", Value(true)}, {"Missing", Value()}, {"Struct", Value()} /* objects have no counterpart */,
           {"Keywords", array({Value("a"), Value(1), array({Value(2.5), Value(false)})})}})
    EXPECT_EQ(Value::fromJSON(json[key]), expected) << key;

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

  // Numbers compare by value across kinds.
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
  EXPECT_EQ(array({Value(1), Value(2.0)}), array({Value(1.0), Value(2u)}));
  EXPECT_NE(array({Value(1)}), array({Value(1), Value(1)}));
  EXPECT_EQ(Value(Country3166a3::japan), Value(*Country3166a3::fromRawValue("JPN")));
  EXPECT_NE(Value(PartialDate(2021, 1, 1)), Value(PartialDate(2021, 1, 2)));
}

TEST(Coordinate, ValueConstructorFillsEveryPartAndValuesAloneCompare) {
  const Latitude south(-33.5);
  EXPECT_EQ(std::tie(south.degrees, south.minutes, south.seconds, south.reference),
            std::make_tuple(33.5, 30.0, 0.0, Latitude::Reference::south));  // the degrees keep their fraction

  const Longitude east(2.3522);
  EXPECT_DOUBLE_EQ(east.degrees, 2.3522);
  EXPECT_NEAR(east.minutes, 21.132, 1e-9);
  EXPECT_NEAR(east.seconds, 7.92, 1e-9);
  EXPECT_EQ(east.reference, Longitude::Reference::east);

  EXPECT_EQ(Latitude(-0.0).reference, Latitude::Reference::north);
  EXPECT_EQ(Longitude(std::nan("")).reference, Longitude::Reference::west);
  EXPECT_EQ(Latitude(-1e-9).reference, Latitude::Reference::south);

  // Equality and hashing look at the values alone.
  Latitude edited(48.5);
  edited.minutes = 12.0;
  edited.reference = Latitude::Reference::south;
  EXPECT_EQ(edited, Latitude(48.5));
  EXPECT_EQ(std::hash<Latitude>()(edited), std::hash<Latitude>()(Latitude(48.5)));
  EXPECT_NE(Latitude(48.5), Latitude(-48.5));

  Coordinate a(48.5, 2.5), b = a;
  b.longitude.minutes = 59.0;
  EXPECT_EQ(a, b);
  EXPECT_NE(a, Coordinate(48.5, 2.25));
  std::unordered_set<Coordinate> set = {a, b, Coordinate(0.0, 0.0), Coordinate(-0.0, 0.0)};
  EXPECT_EQ(set.size(), 2u);
}

// What coordinate() reads from a whole text, the first of its four forms that reads it winning.
TEST(CoordinateParser, PairsInTheFourFormsSingleValuesTheirPartsAndPathologicalTexts) {
  const CoordinateParser parser;
  const Coordinate parisDMS(dms(48, 51, 23.8), dms(2, 21, 7.9));
  const std::pair<const char*, Coordinate> cases[] = {
      {"48.8566, 2.3522", kParis},    {"48,8566 2,3522", kParis},    {" 48.85660°; 2.35220° ", kParis},
      {"-48.5, -2.5", Coordinate(-48.5, -2.5)},    {"- 12.5|+3", Coordinate(-12.5, 3.0)},
      {"-33.868820000000001, 151.209295000000000", Coordinate(-33.86882, 151.209295)},
      // Nothing between the numbers: backtracking gives the longitude the last digit.
      {"12.34", Coordinate(12.3, 4.0)},    {"48.8566°", Coordinate(48.856, 6.0)},
      {"N 48 51.396 E 2 21.132", kParis},    {"S 48 51.396; W 2 21.132", Coordinate(-48.8566, -2.3522)},
      {"s 48° 51,396' w 2° 21,132'", Coordinate(-48.8566, -2.3522)},
      {"120, 400", Coordinate(120.0, 400.0)},  // no range check
      {"N 48° 51' 23.8\"; E 02° 21' 7.9\"", parisDMS},    {"48 51 23.8 N, 2 21 7.9 E", parisDMS},
      {"48 51 23.8 s 2 21 7.9 w", Coordinate(-parisDMS.latitude.value, -parisDMS.longitude.value)},
      // GPS.jpg's position as exiftool prints it with -n, and with -c "%d %d %.6f".
      {"54.9896666666667 -1.91416666666667", Coordinate(54.9896666666667, -1.91416666666667)},
      {"54 59 22.800000 N, 1 54 51.000000 W", Coordinate(dms(54, 59, 22.8), -dms(1, 54, 51.0))},
  };
  for (const auto& [text, expected] : cases) {
    const auto read = parser.coordinate(text);
    ASSERT_TRUE(read) << text;
    EXPECT_NEAR(read->latitude.value, expected.latitude.value, kDMS) << text;
    EXPECT_NEAR(read->longitude.value, expected.longitude.value, kDMS) << text;
  }
  // The sign in front of the degrees only passes as "+" without a blank ("-48 30.0, 2 0").
  for (const char* text : {"7", "-48 30.0, 2 0", "", "abc", "48.8566, 2.3522 x", "N48 E2 junk", "48..8, 2", "1e5, 2",
                           "48.8566;; 2.3522;"})
    EXPECT_EQ(parser.coordinate(text), std::nullopt) << '"' << text << '"';

  EXPECT_EQ(parser.latitudeValue("48.8566°"), 48.8566);
  EXPECT_EQ(parser.longitudeValue("48.8566°"), 48.8566);
  EXPECT_NEAR(parser.latitudeValue("48 51 23.8").value_or(0), dms(48, 51, 23.8), kDMS);  // every sign is optional
  EXPECT_EQ(parser.latitude("33 52 7.75 S"), Latitude(-dms(33, 52, 7.75)));
  EXPECT_NEAR(parser.longitude("151° 12' 33.46\" E")->value, dms(151, 12, 33.46), kDMS);
  EXPECT_EQ(parser.latitudeValue("120"), 120.0);
  EXPECT_EQ(parser.latitude("north"), std::nullopt);
  EXPECT_EQ(parser.latitudeValue(std::string(400, '9')), std::numeric_limits<double>::infinity());
  EXPECT_EQ(parser.longitude(""), std::nullopt);

  // The match readers need their exact groups.
  EXPECT_EQ(parser.latitudeFromDDdddddMatches({"- 1 2,5"}), -12.5);
  EXPECT_EQ(parser.latitudeFromDDdddddMatches({"1", "2"}), std::nullopt);
  EXPECT_EQ(parser.longitudeFromDDMMmmmMatches({"S", "10", "30"}), 10.5);  // "S" is no longitude letter
  EXPECT_EQ(parser.latitudeFromDDMMmmmMatches({"", "10"}), std::nullopt);
  EXPECT_EQ(parser.latitudeFromDDMMmmmMatches({"", "-10", "30"}), std::nullopt);
  EXPECT_EQ(parser.latitudeFromDDMMmmmMatches({"", "10", " 30"}), std::nullopt);
  EXPECT_EQ(parser.longitudeFromPostDDMMSSsMatches({"1", "30", "x", "W"}), std::nullopt);
  EXPECT_EQ(parser.longitudeFromPreDDMMSSsMatches({"E", "1", "30"}), std::nullopt);

  // Runs of digits or blanks that the optional groups could share make the patterns backtrack for
  // ages: such texts are refused after a bounded amount of work. Without the bound this test never ends.
  for (const std::string& text : {std::string(400, '1') + "x", std::string(2000, ' ') + "x",
                                  "N" + std::string(300, '7') + "N", "1 " + std::string(300, '2') + " 3 x"}) {
    EXPECT_EQ(parser.coordinate(text), std::nullopt) << text.size();
    EXPECT_EQ(parser.latitude(text), std::nullopt) << text.size();
    EXPECT_EQ(parser.longitudeValue(text), std::nullopt) << text.size();
  }
  // A long but plain number is no such case and reads at once.
  EXPECT_EQ(parser.latitudeValue("48." + std::string(300, '5')), 48.55555555555556);
}

// (The four notations of a position with the default settings show in `orvelin gps`'s test.)
TEST(CoordinateWriter, WritesTheFieldsAsTheSettingsSay) {
  CoordinateWriter writer;
  const Coordinate sydney(-33.8688, -151.2093);
  EXPECT_EQ(writer.DDddddd(sydney), "-33.86880°; -151.20930°");
  EXPECT_EQ(writer.DDMMmmm(sydney), "S 33° 52.128'; W 151° 12.558'");
  EXPECT_EQ(writer.preDDMMSSs(sydney), "S 33° 52' 7.7\"; W 151° 12' 33.5\"");
  EXPECT_EQ(writer.DDMMmmm(Latitude(0.0)), "N 00° 0.000'");
  // The fields are used as they stand: degrees that were edited are truncated, not recomputed.
  Latitude edited(10.0);
  edited.degrees = 7.9;
  edited.minutes = 59.9999;
  EXPECT_EQ(writer.preDDMMSSs(edited), "N 07° 59' 0.0\"");
  // Seconds round in the text alone: no carry into the minutes.
  const Latitude latitude(10.0 + 59.0 / 60.0 + 59.96 / 3600.0);
  EXPECT_EQ(writer.preDDMMSSs(latitude), "N 10° 59' 60.0\"");
  EXPECT_EQ(writer.postDDMMSSs(latitude), "10° 59' 60.0\" N");

  writer.displaySpaces = false;
  EXPECT_EQ(writer.preDDMMSSs(kParis), "N48°51'23.8\"; E02°21'7.9\"");
  writer.displaysUnits = false;
  writer.defaultSeparator = ", ";
  EXPECT_EQ(writer.DDddddd(kParis), "48.85660, 2.35220");
  EXPECT_EQ(writer.DDMMmmm(kParis), "N4851.396, E0221.132");
  writer.displaySpaces = true;
  EXPECT_EQ(writer.postDDMMSSs(kParis), "48 51 23.8 N, 02 21 7.9 E");
}

}  // namespace
}  // namespace orvelin

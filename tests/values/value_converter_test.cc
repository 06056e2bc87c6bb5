#include "orvelin/values/value_converter.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <clocale>
#include <cmath>
#include <filesystem>
#include <limits>
#include <memory>
#include <string>
#include <system_error>
#include <utility>

#include "common/test_support.h"
#include "orvelin/support/process_runner.h"
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

  const Coordinate paris(48.8566, 2.3522);
  EXPECT_EQ(CoordinateWriter().DDMMmmm(paris), "N 48° 51.396'; E 02° 21.132'");
  EXPECT_EQ(CoordinateParser().coordinate("48.8566, 2.3522"), paris);
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

TEST(C3166a3ValueConverter, CodesAreExactAndDisplayedWithTheirNames) {
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

}  // namespace
}  // namespace orvelin

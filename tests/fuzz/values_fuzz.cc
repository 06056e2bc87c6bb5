// Arbitrary bytes into every text entry point of the value types. The first byte picks the
// family (its value modulo 7); the second picks, where a family has several, the converter,
// date format or list separator, so that one run does one thing and the fuzzer explores the
// choices itself; the rest is the text. Besides surviving (no crash, no sanitizer report, no
// hang), the harness checks the properties that the value types guarantee for any input:
//   - a normalised text normalises to itself; for a list only when it is not empty, since a
//     list without a readable element normalises to "", and "" reads as no list at all;
//   - DateValues and DateEdition descriptions read back to the same value;
//   - a parsed coordinate of finite values, written in decimal degrees, reads back to nearly
//     the same numbers.

#include <nlohmann/json.hpp>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "orvelin/values/coordinate_parser.h"
#include "orvelin/values/coordinate_writer.h"
#include "orvelin/values/date_edition.h"
#include "orvelin/values/date_time_value_converter.h"
#include "orvelin/values/value.h"
#include "orvelin/values/value_converter.h"

using namespace orvelin;

namespace {

void require(bool condition, const char* what, std::string_view text) {
  if (condition) return;
  std::fprintf(stderr, "property violated: %s\ninput: \"%.*s\"\n", what, static_cast<int>(text.size()), text.data());
  std::abort();
}

using Converters = std::vector<std::shared_ptr<const ValueConverter>>;

// The converters without a date: cheap enough to run all of them on every input.
const Converters& scalarConverters() {
  static const Converters converters = {
      std::make_shared<NoneValueConverter>(),    std::make_shared<StringValueConverter>(),
      std::make_shared<BoolValueConverter>(),    std::make_shared<UIntValueConverter>(),
      std::make_shared<SIntValueConverter>(),    std::make_shared<UDoubleValueConverter>(),
      std::make_shared<SDoubleValueConverter>(), std::make_shared<C3166a3ValueConverter>(),
  };
  return converters;
}

// The date converters differ in the format they write; each reads every format of the list, so
// one of them, picked by the input, is enough for a run.
const Converters& dateConverters() {
  static const Converters converters = {
      std::make_shared<DateTimeValueConverter>(),           std::make_shared<DateTimeValueConverter>("yyyy:MM:dd"),
      std::make_shared<DateTimeValueConverter>("HH:mm:ss"), std::make_shared<DateTimeValueConverter>("HHmmss"),
      std::make_shared<DateTimeValueConverter>("yyyyMMdd"),
  };
  return converters;
}

// What a second pass of stringValueFromStringValue is known to give.
enum class NormalForm {
  stable,          // the normal form again
  stableUnlessEmpty,  // the same, except that "" reads as absent (lists)
  unchecked,       // nothing: a list of dates separated by blanks splits each date anew
};

struct ListConverter {
  std::shared_ptr<const ValueConverter> converter;
  NormalForm normalForm;
};

// Every element converter with every separator the catalogue uses.
const std::vector<ListConverter>& listConverters() {
  static const auto converters = [] {
    std::vector<ListConverter> result;
    for (const auto* family : {&scalarConverters(), &dateConverters()})
      for (const auto& element : *family)
        for (const std::string_view separator : {",", " ", ", "}) {
          const bool splitsElements = family == &dateConverters() && separator == " ";
          result.push_back({std::make_shared<ArrayValueConverter>(element, std::string(separator)),
                            splitsElements ? NormalForm::unchecked : NormalForm::stableUnlessEmpty});
        }
    return result;
  }();
  return converters;
}

void stringEntryPoints(const ValueConverter& converter, std::string_view text, NormalForm normalForm) {
  (void)converter.rawValueFromStringValue(text);
  (void)converter.objectValueFromStringValue(text);
  (void)converter.formattedValueFromStringValue(text);
  (void)converter.stringValueFromRawValue(Value(text));
  const auto normalised = converter.stringValueFromStringValue(text);
  if (!normalised || normalForm == NormalForm::unchecked) return;
  if (normalised->empty() && normalForm == NormalForm::stableUnlessEmpty) return;
  require(converter.stringValueFromStringValue(*normalised) == normalised, "idempotent normal form", text);
}

void rawEntryPoints(const ValueConverter& converter, const Value& raw) {
  (void)converter.stringValueFromRawValue(raw);
  (void)converter.csvValueFromRawValue(raw);
  if (const auto json = converter.jsonValueFromRawValue(raw)) (void)json->toJSON().dump();
}

void coordinates(std::string_view text) {
  const CoordinateParser parser;
  (void)parser.latitude(text);
  (void)parser.longitude(text);
  const auto coordinate = parser.coordinate(text);
  if (!coordinate) return;
  const double latitude = coordinate->latitude.value;
  const double longitude = coordinate->longitude.value;
  // More than 308 digits read as an infinity, which the writer refuses to cut into degrees
  // and minutes (by stopping the process): nothing more to check.
  if (!(std::fabs(latitude) <= 1e9 && std::fabs(longitude) <= 1e9)) return;
  const CoordinateWriter writer;
  (void)writer.DDMMmmm(*coordinate);
  (void)writer.preDDMMSSs(*coordinate);
  (void)writer.postDDMMSSs(*coordinate);
  const auto again = parser.coordinate(writer.DDddddd(*coordinate));
  require(again.has_value(), "decimal degrees read back", text);
  require(std::fabs(again->latitude.value - latitude) <= 1e-5 && std::fabs(again->longitude.value - longitude) <= 1e-5,
          "decimal degrees keep their value", text);
}

void dateEditions(std::string_view text) {
  const auto edition = DateEdition::fromDescription(text);
  if (!edition) return;
  require(DateEdition::fromDescription(edition->description()) == edition, "edition description round trip", text);
  (void)edition->localizedDescription();
  (void)edition->apply(Date(std::chrono::seconds(1614852672)));
  (void)edition->apply(std::nullopt);
}

void dateValues(std::string_view text) {
  const auto values = DateValues::fromDescription(text);
  require(DateValues::fromDescription(values.description()) == values, "values description round trip", text);
  (void)values.date();
  (void)values.updateDate(Date(std::chrono::seconds(1614852672)));
  (void)values.shiftDate(Date(std::chrono::seconds(1614852672)));
}

void rawValue(const Value& value, std::uint8_t choice) {
  (void)value.toJSON().dump();
  (void)value.description();
  for (const auto& converter : scalarConverters()) rawEntryPoints(*converter, value);
  rawEntryPoints(*dateConverters()[choice % dateConverters().size()], value);
  rawEntryPoints(*listConverters()[choice % listConverters().size()].converter, value);
}

// A JSON text as a raw value; an object, which has no raw counterpart, member by member, as
// exiftool's output comes.
void json(std::string_view text, std::uint8_t choice) {
  const auto parsed = nlohmann::json::parse(text, nullptr, false);
  if (parsed.is_discarded()) return;
  rawValue(Value::fromJSON(parsed), choice);
  if (parsed.is_object())
    for (const auto& member : parsed) rawValue(Value::fromJSON(member), choice);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::uint8_t choice = data[1];
  const std::string_view text(reinterpret_cast<const char*>(data + 2), size - 2);
  switch (data[0] % 7) {
    case 0: coordinates(text); break;
    case 1: dateEditions(text); break;
    case 2: dateValues(text); break;
    case 3:
      for (const auto& converter : scalarConverters()) stringEntryPoints(*converter, text, NormalForm::stable);
      break;
    case 4: stringEntryPoints(*dateConverters()[choice % dateConverters().size()], text, NormalForm::stable); break;
    case 5: {
      const auto& list = listConverters()[choice % listConverters().size()];
      stringEntryPoints(*list.converter, text, list.normalForm);
      break;
    }
    case 6: json(text, choice); break;
  }
  return 0;
}

// Arbitrary bytes into every text entry point of the value types: byte 0 picks the family (modulo 7),
// byte 1 the converter, date format or list separator; the rest is the text. Checked besides surviving:
// normal forms and descriptions read back to themselves, a finite coordinate keeps its decimal degrees.

#include <nlohmann/json.hpp>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fuzz_support.h"
#include "orvelin/values/coordinate_parser.h"
#include "orvelin/values/coordinate_writer.h"
#include "orvelin/values/date_edition.h"
#include "orvelin/values/date_time_value_converter.h"
#include "orvelin/values/value.h"
#include "orvelin/values/value_converter.h"

using namespace orvelin;
using fuzz::require;

namespace {

// The converters without a date: cheap enough to run all of them on every input.
const std::vector<std::shared_ptr<const ValueConverter>> kScalarConverters = {
    std::make_shared<NoneValueConverter>(),    std::make_shared<StringValueConverter>(),
    std::make_shared<BoolValueConverter>(),    std::make_shared<UIntValueConverter>(),
    std::make_shared<SIntValueConverter>(),    std::make_shared<UDoubleValueConverter>(),
    std::make_shared<SDoubleValueConverter>(), std::make_shared<C3166a3ValueConverter>(),
};

// Each date converter reads every format of the list, so one of them is enough for a run.
const decltype(kScalarConverters) kDateConverters = {
    std::make_shared<DateTimeValueConverter>(),           std::make_shared<DateTimeValueConverter>("yyyy:MM:dd"),
    std::make_shared<DateTimeValueConverter>("HH:mm:ss"), std::make_shared<DateTimeValueConverter>("HHmmss"),
    std::make_shared<DateTimeValueConverter>("yyyyMMdd"),
};

// Every element converter with every catalogue separator; a date list split by blanks has no normal form.
const auto kListConverters = [] {
  std::vector<std::pair<std::shared_ptr<const ValueConverter>, bool>> result;
  for (const auto* family : {&kScalarConverters, &kDateConverters})
    for (const auto& element : *family)
      for (const std::string_view separator : {",", " ", ", "})
        result.emplace_back(std::make_shared<ArrayValueConverter>(element, std::string(separator)),
                            family != &kDateConverters || separator != " ");
  return result;
}();

const Date kMoment(std::chrono::seconds(1614852672));

// "" as a normal form is not read again: a list of no readable element gives it, and reads it as no list.
void stringEntryPoints(const ValueConverter& converter, std::string_view text, bool checked = true) {
  (void)converter.rawValueFromStringValue(text);
  (void)converter.objectValueFromStringValue(text);
  (void)converter.formattedValueFromStringValue(text);
  (void)converter.stringValueFromRawValue(Value(text));
  const auto normalised = converter.stringValueFromStringValue(text);
  if (!checked || !normalised || normalised->empty()) return;
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
  const double latitude = coordinate->latitude.value, longitude = coordinate->longitude.value;
  // More than 308 digits read as an infinity, which the writer refuses by stopping the process.
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
  (void)edition->apply(kMoment);
}

void dateValues(std::string_view text) {
  const auto values = DateValues::fromDescription(text);
  require(DateValues::fromDescription(values.description()) == values, "values description round trip", text);
  (void)values.date();
  (void)values.updateDate(kMoment);
  (void)values.shiftDate(kMoment);
}

// A JSON text as a raw value, and an object's members one by one (as exiftool's output comes).
void json(std::string_view text, std::uint8_t choice) {
  const auto parsed = nlohmann::json::parse(text, nullptr, false);
  if (parsed.is_discarded()) return;
  std::vector<Value> values = {Value::fromJSON(parsed)};
  if (parsed.is_object())
    for (const auto& member : parsed) values.push_back(Value::fromJSON(member));
  for (const auto& value : values) {
    (void)value.toJSON().dump();
    (void)value.description();
    for (const auto& converter : kScalarConverters) rawEntryPoints(*converter, value);
    rawEntryPoints(*kDateConverters[choice % kDateConverters.size()], value);
    rawEntryPoints(*kListConverters[choice % kListConverters.size()].first, value);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::uint8_t choice = data[1];
  const std::string_view text(reinterpret_cast<const char*>(data + 2), size - 2);
  const auto& [list, listChecked] = kListConverters[choice % kListConverters.size()];
  switch (data[0] % 7) {
    case 0: coordinates(text); break;
    case 1: dateEditions(text); break;
    case 2: dateValues(text); break;
    case 3:
      for (const auto& converter : kScalarConverters) stringEntryPoints(*converter, text);
      break;
    case 4: stringEntryPoints(*kDateConverters[choice % kDateConverters.size()], text); break;
    case 5: stringEntryPoints(*list, text, listChecked); break;
    case 6: json(text, choice); break;
  }
  return 0;
}

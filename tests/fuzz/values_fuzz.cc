// Arbitrary bytes into every text entry point of the value types. The first byte picks the
// family, the rest is the text. Besides surviving (no crash, no sanitizer report, no hang),
// the harness checks the properties that hold for any input:
//   - a normalised text normalises to itself (stringValueFromStringValue is idempotent);
//   - DateValues and DateEdition descriptions read back to the same value;
//   - a parsed coordinate, written in decimal degrees, reads back to nearly the same numbers.

#include <nlohmann/json.hpp>

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

const std::vector<std::shared_ptr<const ValueConverter>>& scalarConverters() {
  static const std::vector<std::shared_ptr<const ValueConverter>> converters = {
      std::make_shared<NoneValueConverter>(),    std::make_shared<StringValueConverter>(),
      std::make_shared<BoolValueConverter>(),    std::make_shared<UIntValueConverter>(),
      std::make_shared<SIntValueConverter>(),    std::make_shared<UDoubleValueConverter>(),
      std::make_shared<SDoubleValueConverter>(), std::make_shared<C3166a3ValueConverter>(),
  };
  return converters;
}

const std::vector<std::shared_ptr<const ValueConverter>>& dateConverters() {
  static const std::vector<std::shared_ptr<const ValueConverter>> converters = {
      std::make_shared<DateTimeValueConverter>(),           std::make_shared<DateTimeValueConverter>("yyyy:MM:dd"),
      std::make_shared<DateTimeValueConverter>("HH:mm:ss"), std::make_shared<DateTimeValueConverter>("HHmmss"),
      std::make_shared<DateTimeValueConverter>("yyyyMMdd"),
  };
  return converters;
}

struct ArrayConverter {
  std::shared_ptr<const ValueConverter> converter;
  // False when the element's own text may hold the separator (a date and its time are
  // separated by a blank), so that a second pass splits it anew.
  bool idempotent;
};

const std::vector<ArrayConverter>& arrayConverters() {
  static const auto converters = [] {
    std::vector<ArrayConverter> result;
    for (const auto* family : {&scalarConverters(), &dateConverters()})
      for (const auto& element : *family)
        for (const char* separator : {",", " ", ", "})
          result.push_back({std::make_shared<ArrayValueConverter>(element, separator),
                            !(family == &dateConverters() && std::string_view(separator) == " ")});
    return result;
  }();
  return converters;
}

void stringEntryPoints(const ValueConverter& converter, std::string_view text, bool idempotent = true) {
  (void)converter.rawValueFromStringValue(text);
  (void)converter.objectValueFromStringValue(text);
  (void)converter.formattedValueFromStringValue(text);
  (void)converter.stringValueFromRawValue(Value(text));
  const auto normalised = converter.stringValueFromStringValue(text);
  if (normalised && idempotent)
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
  require(std::isfinite(latitude) && std::isfinite(longitude), "finite coordinate", text);
  if (std::fabs(latitude) > 1e9 || std::fabs(longitude) > 1e9) return;
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
  (void)edition->apply(std::chrono::system_clock::from_time_t(1614852672));
  (void)edition->apply(std::nullopt);
}

void dateValues(std::string_view text) {
  const auto values = DateValues::fromDescription(text);
  require(DateValues::fromDescription(values.description()) == values, "values description round trip", text);
  (void)values.date();
  (void)values.updateDate(std::chrono::system_clock::from_time_t(1614852672));
  (void)values.shiftDate(std::chrono::system_clock::from_time_t(1614852672));
}

void json(std::string_view text) {
  const auto parsed = nlohmann::json::parse(text, nullptr, false);
  if (parsed.is_discarded()) return;
  const auto value = Value::fromJSON(parsed);
  (void)value.toJSON().dump();
  (void)value.description();
  for (const auto* family : {&scalarConverters(), &dateConverters()})
    for (const auto& converter : *family) rawEntryPoints(*converter, value);
  for (const auto& array : arrayConverters()) rawEntryPoints(*array.converter, value);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
  switch (data[0] % 7) {
    case 0: coordinates(text); break;
    case 1: dateEditions(text); break;
    case 2: dateValues(text); break;
    case 3:
      for (const auto& converter : scalarConverters()) stringEntryPoints(*converter, text);
      break;
    case 4:
      for (const auto& converter : dateConverters()) stringEntryPoints(*converter, text);
      break;
    case 5:
      for (const auto& array : arrayConverters()) stringEntryPoints(*array.converter, text, array.idempotent);
      break;
    case 6: json(text); break;
  }
  return 0;
}

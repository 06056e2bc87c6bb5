#include "orvelin/values/value_converter.h"

#include <cmath>
#include <limits>

#include "orvelin/support/string_extensions.h"
#include "values/number_text.h"

namespace orvelin {

namespace {

// The text of a number for reading: tabs and blanks deleted, "," made ".".
std::optional<double> doubleFromText(std::string_view text) {
  char small[64];
  std::string large;
  char* out = small;
  if (text.size() >= sizeof small) {
    large.resize(text.size());
    out = large.data();
  }
  std::size_t length = 0;
  for (const char c : text) {
    if (c == '\t' || c == ' ') continue;
    out[length++] = c == ',' ? '.' : c;
  }
  return detail::parseCDouble(std::string_view(out, length));
}

std::optional<double> doubleFromString(OptionalText string) {
  if (!string || string->empty()) return std::nullopt;
  return doubleFromText(*string);
}

// An integer through the double's shortest round-trip text and its leading digits: 1e20 is
// "1e+20", so 1.
std::int64_t integerThroughText(double value) {
  return detail::leadingIntegerValue(detail::shortestRoundTripText(value));
}

std::optional<std::int64_t> integerFromString(OptionalText string) {
  const auto value = doubleFromString(string);
  if (!value) return std::nullopt;
  if (std::floor(*value) != *value) return std::nullopt;  // a fraction, or not a number
  return integerThroughText(*value);
}

std::optional<std::int64_t> integerFromRaw(const Value& raw) {
  switch (raw.kind()) {
    case Value::Kind::real: return integerThroughText(*raw.getIf<double>());
    case Value::Kind::boolean: return *raw.getIf<bool>() ? 1 : 0;
    case Value::Kind::signedInteger: return *raw.getIf<std::int64_t>();
    case Value::Kind::unsignedInteger: {
      const auto value = *raw.getIf<std::uint64_t>();
      // Beyond the signed range there is no such integer: absent rather than a wrapped value.
      if (value > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) return std::nullopt;
      return static_cast<std::int64_t>(value);
    }
    case Value::Kind::string: return integerFromString(*raw.getIf<std::string>());
    default: return std::nullopt;
  }
}

std::optional<double> doubleFromRaw(const Value& raw) {
  switch (raw.kind()) {
    case Value::Kind::real: return *raw.getIf<double>();
    case Value::Kind::boolean: return *raw.getIf<bool>() ? 1.0 : 0.0;
    case Value::Kind::signedInteger: return static_cast<double>(*raw.getIf<std::int64_t>());
    case Value::Kind::unsignedInteger: return static_cast<double>(*raw.getIf<std::uint64_t>());
    case Value::Kind::string: return doubleFromString(*raw.getIf<std::string>());
    default: return std::nullopt;
  }
}

std::optional<double> nonNegative(std::optional<double> value) {
  if (!value || *value < 0.0 || std::isnan(*value)) return std::nullopt;
  return value;
}

std::optional<std::int64_t> nonNegative(std::optional<std::int64_t> value) {
  if (!value || *value < 0) return std::nullopt;
  return value;
}

std::optional<std::string> doubleText(const std::optional<double>& value) {
  if (!value) return std::nullopt;
  return detail::fixedText(*value, 8);
}

std::optional<std::string> integerText(const std::optional<std::int64_t>& value) {
  if (!value) return std::nullopt;
  return std::to_string(*value);
}

template <typename T>
std::optional<Value> box(std::optional<T> value) {
  if (!value) return std::nullopt;
  return std::optional<Value>(std::in_place, std::move(*value));
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// NoneValueConverter

std::optional<std::string> NoneValueConverter::typedValueFromRawValue(const Value&) const { return std::nullopt; }
std::optional<std::string> NoneValueConverter::typedValueFromStringValue(OptionalText) const { return std::nullopt; }
std::optional<std::string> NoneValueConverter::stringValueFromTypedValue(const std::optional<std::string>&) const {
  return std::nullopt;
}
std::optional<Value> NoneValueConverter::rawValueFromStringValue(OptionalText) const { return std::nullopt; }
std::optional<Value> NoneValueConverter::objectValueFromStringValue(OptionalText) const { return std::nullopt; }
std::optional<std::string> NoneValueConverter::stringValueFromRawValue(const Value&) const { return std::nullopt; }
std::optional<std::string> NoneValueConverter::stringValueFromStringValue(OptionalText) const { return std::nullopt; }
std::optional<std::string> NoneValueConverter::formattedValueFromStringValue(OptionalText) const {
  return std::nullopt;
}
std::optional<std::string> NoneValueConverter::csvValueFromRawValue(const Value&) const { return std::nullopt; }
std::optional<Value> NoneValueConverter::jsonValueFromRawValue(const Value&) const { return std::nullopt; }

// ---------------------------------------------------------------------------------------------
// StringValueConverter

std::optional<std::string> StringValueConverter::typedValueFromRawValue(const Value& raw) const {
  switch (raw.kind()) {
    case Value::Kind::boolean:
    case Value::Kind::signedInteger:
    case Value::Kind::unsignedInteger:
    case Value::Kind::real: return raw.description();
    case Value::Kind::string: return *raw.getIf<std::string>();
    case Value::Kind::array: {
      std::string joined;
      bool first = true;
      for (const auto& element : *raw.getIf<Value::Array>()) {
        const auto* text = element.getIf<std::string>();
        if (!text) return std::nullopt;  // only a list made of texts joins
        if (!first) joined += ", ";
        joined += *text;
        first = false;
      }
      return joined;
    }
    default: return std::nullopt;
  }
}

std::optional<std::string> StringValueConverter::typedValueFromStringValue(OptionalText string) const {
  if (!string) return std::nullopt;
  return std::string(*string);
}

std::optional<std::string> StringValueConverter::stringValueFromTypedValue(const std::optional<std::string>& value) const {
  return value;
}

std::optional<Value> StringValueConverter::rawValueFromStringValue(OptionalText string) const {
  if (!string) return std::nullopt;
  return std::optional<Value>(std::in_place, *string);
}

std::optional<std::string> StringValueConverter::stringValueFromStringValue(OptionalText string) const {
  return typedValueFromStringValue(string);
}

std::optional<Value> StringValueConverter::objectValueFromStringValue(OptionalText string) const {
  return rawValueFromStringValue(string);
}

std::optional<std::string> StringValueConverter::formattedValueFromStringValue(OptionalText string) const {
  return typedValueFromStringValue(string);  // the raw path of a text: the text unchanged
}

// ---------------------------------------------------------------------------------------------
// BoolValueConverter

const std::set<std::string, std::less<>>& BoolValueConverter::trueStringValues() {
  static const std::set<std::string, std::less<>> values = {"True", "true", "1", "Yes", "yes", "Y", "y"};
  return values;
}

const std::set<std::string, std::less<>>& BoolValueConverter::falseStringValues() {
  static const std::set<std::string, std::less<>> values = {"False", "false", "0", "No", "no", "N", "n"};
  return values;
}

std::optional<bool> BoolValueConverter::typedValueFromIntegerValue(std::optional<std::int64_t> value) {
  if (value == 0) return false;
  if (value == 1) return true;
  return std::nullopt;
}

std::optional<bool> BoolValueConverter::typedValueFromDoubleValue(std::optional<double> value) {
  if (value == 0.0) return false;
  if (value == 1.0) return true;
  return std::nullopt;
}

std::optional<bool> BoolValueConverter::typedValueFromRawValue(const Value& raw) const {
  switch (raw.kind()) {
    case Value::Kind::boolean: return *raw.getIf<bool>();
    case Value::Kind::signedInteger: return typedValueFromIntegerValue(*raw.getIf<std::int64_t>());
    case Value::Kind::unsignedInteger: {
      const auto value = *raw.getIf<std::uint64_t>();
      return value <= 1 ? typedValueFromIntegerValue(static_cast<std::int64_t>(value)) : std::nullopt;
    }
    case Value::Kind::real: return typedValueFromDoubleValue(*raw.getIf<double>());
    case Value::Kind::string: return typedValueFromStringValue(*raw.getIf<std::string>());
    default: return std::nullopt;
  }
}

std::optional<bool> BoolValueConverter::typedValueFromStringValue(OptionalText string) const {
  if (!string || string->empty()) return std::nullopt;
  if (trueStringValues().contains(*string)) return true;
  if (falseStringValues().contains(*string)) return false;
  return std::nullopt;
}

std::optional<std::string> BoolValueConverter::stringValueFromTypedValue(const std::optional<bool>& value) const {
  if (!value) return std::nullopt;
  return *value ? "true" : "false";
}

std::optional<Value> BoolValueConverter::objectValueFromStringValue(OptionalText string) const {
  return box(typedValueFromStringValue(string));
}

std::optional<std::string> BoolValueConverter::formattedValueFromStringValue(OptionalText string) const {
  // The raw path of a text reads it by the same sets as the text path.
  return stringValueFromTypedValue(typedValueFromStringValue(string));
}

std::optional<Value> BoolValueConverter::jsonValueFromRawValue(const Value& raw) const {
  return box(typedValueFromRawValue(raw));
}

// ---------------------------------------------------------------------------------------------
// SDoubleValueConverter, UDoubleValueConverter

std::optional<double> SDoubleValueConverter::typedValueFromRawValue(const Value& raw) const { return doubleFromRaw(raw); }

std::optional<double> SDoubleValueConverter::typedValueFromStringValue(OptionalText string) const {
  return doubleFromString(string);
}

std::optional<std::string> SDoubleValueConverter::stringValueFromTypedValue(const std::optional<double>& value) const {
  return doubleText(value);
}

std::optional<Value> SDoubleValueConverter::objectValueFromStringValue(OptionalText string) const {
  return box(typedValueFromStringValue(string));
}

std::optional<std::string> SDoubleValueConverter::formattedValueFromStringValue(OptionalText string) const {
  return doubleText(typedValueFromStringValue(string));
}

std::optional<Value> SDoubleValueConverter::jsonValueFromRawValue(const Value& raw) const {
  return box(typedValueFromRawValue(raw));
}

std::optional<double> UDoubleValueConverter::typedValueFromRawValue(const Value& raw) const {
  return nonNegative(doubleFromRaw(raw));
}

std::optional<double> UDoubleValueConverter::typedValueFromStringValue(OptionalText string) const {
  return nonNegative(doubleFromString(string));
}

std::optional<std::string> UDoubleValueConverter::stringValueFromTypedValue(const std::optional<double>& value) const {
  return doubleText(value);
}

std::optional<Value> UDoubleValueConverter::objectValueFromStringValue(OptionalText string) const {
  return box(typedValueFromStringValue(string));
}

std::optional<std::string> UDoubleValueConverter::formattedValueFromStringValue(OptionalText string) const {
  return doubleText(typedValueFromStringValue(string));
}

std::optional<Value> UDoubleValueConverter::jsonValueFromRawValue(const Value& raw) const {
  return box(typedValueFromRawValue(raw));
}

// ---------------------------------------------------------------------------------------------
// SIntValueConverter, UIntValueConverter

std::optional<std::int64_t> SIntValueConverter::typedValueFromRawValue(const Value& raw) const {
  return integerFromRaw(raw);
}

std::optional<std::int64_t> SIntValueConverter::typedValueFromStringValue(OptionalText string) const {
  return integerFromString(string);
}

std::optional<std::string> SIntValueConverter::stringValueFromTypedValue(const std::optional<std::int64_t>& value) const {
  return integerText(value);
}

std::optional<Value> SIntValueConverter::objectValueFromStringValue(OptionalText string) const {
  return box(typedValueFromStringValue(string));
}

std::optional<std::string> SIntValueConverter::formattedValueFromStringValue(OptionalText string) const {
  return integerText(typedValueFromStringValue(string));
}

std::optional<Value> SIntValueConverter::jsonValueFromRawValue(const Value& raw) const {
  return box(typedValueFromRawValue(raw));
}

std::optional<std::int64_t> UIntValueConverter::typedValueFromRawValue(const Value& raw) const {
  return nonNegative(integerFromRaw(raw));
}

std::optional<std::int64_t> UIntValueConverter::typedValueFromStringValue(OptionalText string) const {
  return nonNegative(integerFromString(string));
}

std::optional<std::string> UIntValueConverter::stringValueFromTypedValue(const std::optional<std::int64_t>& value) const {
  return integerText(value);
}

std::optional<Value> UIntValueConverter::objectValueFromStringValue(OptionalText string) const {
  return box(typedValueFromStringValue(string));
}

std::optional<std::string> UIntValueConverter::formattedValueFromStringValue(OptionalText string) const {
  return integerText(typedValueFromStringValue(string));
}

std::optional<Value> UIntValueConverter::jsonValueFromRawValue(const Value& raw) const {
  return box(typedValueFromRawValue(raw));
}

// ---------------------------------------------------------------------------------------------
// C3166a3ValueConverter

std::optional<Country3166a3> C3166a3ValueConverter::typedValueFromRawValue(const Value& raw) const {
  if (const auto* text = raw.getIf<std::string>()) return Country3166a3::fromRawValue(*text);
  if (const auto* country = raw.getIf<Country3166a3>()) return *country;
  return std::nullopt;
}

std::optional<Country3166a3> C3166a3ValueConverter::typedValueFromStringValue(OptionalText string) const {
  if (!string) return std::nullopt;
  return Country3166a3::fromRawValue(*string);
}

std::optional<std::string> C3166a3ValueConverter::stringValueFromTypedValue(
    const std::optional<Country3166a3>& value) const {
  if (!value) return std::nullopt;
  return std::string(value->code());
}

std::optional<Value> C3166a3ValueConverter::objectValueFromStringValue(OptionalText string) const {
  return box(stringValueFromTypedValue(typedValueFromStringValue(string)));
}

std::optional<std::string> C3166a3ValueConverter::formattedValueFromStringValue(OptionalText string) const {
  const auto country = typedValueFromStringValue(string);
  if (!country) return std::nullopt;
  return country->localizedDescription();
}

// ---------------------------------------------------------------------------------------------
// ArrayValueConverter

std::optional<Value> ArrayValueConverter::rawValueFromStringValue(OptionalText string) const {
  if (!string || string->empty()) return std::nullopt;
  Value::Array elements;
  std::string_view rest = *string;
  while (true) {
    const auto end = separator.empty() ? std::string_view::npos : rest.find(separator);
    if (auto element = valueConverter->rawValueFromStringValue(trimWhitespaces(rest.substr(0, end))))
      elements.push_back(std::move(*element));
    if (end == std::string_view::npos) break;
    rest.remove_prefix(end + separator.size());
  }
  return std::optional<Value>(std::in_place, std::move(elements));
}

std::optional<Value> ArrayValueConverter::objectValueFromStringValue(OptionalText string) const {
  return rawValueFromStringValue(string);
}

std::optional<std::string> ArrayValueConverter::stringValueFromRawValue(const Value& raw) const {
  if (const auto* text = raw.getIf<std::string>()) return *text;
  const auto* elements = raw.getIf<Value::Array>();
  if (!elements) return valueConverter->stringValueFromRawValue(raw);
  std::string joined;
  bool first = true;
  for (const auto& element : *elements) {
    const auto text = valueConverter->stringValueFromRawValue(element);
    if (!text) continue;
    if (!first) joined += separator;
    joined += trimWhitespaces(*text);
    first = false;
  }
  return joined;
}

std::optional<std::string> ArrayValueConverter::stringValueFromStringValue(OptionalText string) const {
  const auto elements = rawValueFromStringValue(string);
  return stringValueFromRawValue(elements ? *elements : Value());
}

std::optional<std::string> ArrayValueConverter::formattedValueFromStringValue(OptionalText string) const {
  if (!string) return valueConverter->stringValueFromRawValue(Value());
  return std::string(*string);  // a text is returned as it stands
}

std::optional<std::string> ArrayValueConverter::csvValueFromRawValue(const Value& raw) const {
  return stringValueFromRawValue(raw);
}

std::optional<Value> ArrayValueConverter::jsonValueFromRawValue(const Value& raw) const {
  const auto text = stringValueFromRawValue(raw);
  if (!text) return std::nullopt;
  return rawValueFromStringValue(*text);
}

// ---------------------------------------------------------------------------------------------
// Numbers that are not finite

bool isNonFiniteNumber(const ValueConverter& converter, OptionalText string) {
  if (!string) return false;
  if (const auto* list = dynamic_cast<const ArrayValueConverter*>(&converter)) {
    // The pieces that rawValueFromStringValue hands to the element converter.
    if (list->separator.empty()) return isNonFiniteNumber(*list->valueConverter, trimWhitespaces(*string));
    std::string_view rest = *string;
    while (true) {
      const auto end = rest.find(list->separator);
      if (isNonFiniteNumber(*list->valueConverter, trimWhitespaces(rest.substr(0, end)))) return true;
      if (end == std::string_view::npos) return false;
      rest.remove_prefix(end + list->separator.size());
    }
  }
  if (!dynamic_cast<const SDoubleValueConverter*>(&converter) && !dynamic_cast<const UDoubleValueConverter*>(&converter) &&
      !dynamic_cast<const SIntValueConverter*>(&converter) && !dynamic_cast<const UIntValueConverter*>(&converter))
    return false;
  const auto number = doubleFromString(string);
  return number && !std::isfinite(*number);
}

}  // namespace orvelin

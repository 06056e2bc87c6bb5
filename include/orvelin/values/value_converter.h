#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "orvelin/values/country3166a3.h"
#include "orvelin/values/value.h"

namespace orvelin {

// A text that may be absent. Any std::string, std::string_view, text literal or
// std::optional<std::string> converts to it; the text must outlive the call.
using OptionalText = std::optional<std::string_view>;

// Moves the values of one tag type between four forms: the raw value (as exiftool's JSON or a
// host gives it), the canonical text that the storages hold, a boxed object for a host's
// controls, and the text shown to a user; and gives the forms for CSV and JSON files.
//
// Conversion never throws and never fails loudly: whatever does not fit gives absent. A null
// raw value counts as absent. Results are never null Values.
//
// Converters are small immutable objects without shared state: safe for concurrent use by
// multiple threads. TagType::converter() and TagItem::converter() hand out shared instances.
class ValueConverter {
 public:
  virtual ~ValueConverter() = default;

  // The operations, in their slot order.
  virtual std::optional<Value> rawValueFromStringValue(OptionalText string) const = 0;
  virtual std::optional<Value> objectValueFromStringValue(OptionalText string) const = 0;
  virtual std::optional<std::string> stringValueFromRawValue(const Value& raw) const = 0;
  virtual std::optional<std::string> stringValueFromStringValue(OptionalText string) const = 0;
  virtual std::optional<std::string> formattedValueFromStringValue(OptionalText string) const = 0;
  virtual std::optional<std::string> csvValueFromRawValue(const Value& raw) const = 0;
  virtual std::optional<Value> jsonValueFromRawValue(const Value& raw) const = 0;
};

// A converter with a typed value in the middle: RawType is what the three typed operations
// read and write, and five of the operations above are made of them:
//
//   stringValueFromRawValue(raw)       stringValueFromTypedValue(typedValueFromRawValue(raw))
//   stringValueFromStringValue(s)      stringValueFromTypedValue(typedValueFromStringValue(s))
//   rawValueFromStringValue(s)         typedValueFromStringValue(s), boxed
//   csvValueFromRawValue(raw)          stringValueFromRawValue(raw)
//   jsonValueFromRawValue(raw)         stringValueFromRawValue(raw), boxed as a text
//
// objectValueFromStringValue and formattedValueFromStringValue are each converter's own.
template <typename RawType>
class TypedValueConverter : public ValueConverter {
 public:
  using Typed = RawType;

  virtual std::optional<RawType> typedValueFromRawValue(const Value& raw) const = 0;
  virtual std::optional<RawType> typedValueFromStringValue(OptionalText string) const = 0;
  virtual std::optional<std::string> stringValueFromTypedValue(const std::optional<RawType>& value) const = 0;

  std::optional<std::string> stringValueFromRawValue(const Value& raw) const override {
    return stringValueFromTypedValue(typedValueFromRawValue(raw));
  }
  std::optional<std::string> stringValueFromStringValue(OptionalText string) const override {
    return stringValueFromTypedValue(typedValueFromStringValue(string));
  }
  std::optional<Value> rawValueFromStringValue(OptionalText string) const override {
    return boxed(typedValueFromStringValue(string));
  }
  std::optional<std::string> csvValueFromRawValue(const Value& raw) const override {
    return stringValueFromRawValue(raw);
  }
  std::optional<Value> jsonValueFromRawValue(const Value& raw) const override {
    return boxed(stringValueFromRawValue(raw));
  }

 protected:
  template <typename T>
  static std::optional<Value> boxed(std::optional<T>&& value) {
    if (!value) return std::nullopt;
    return std::optional<Value>(std::in_place, std::move(*value));
  }
};

// For tags without a value to show: every operation answers absent.
class NoneValueConverter : public TypedValueConverter<std::string> {
 public:
  std::optional<std::string> typedValueFromRawValue(const Value& raw) const override;
  std::optional<std::string> typedValueFromStringValue(OptionalText string) const override;
  std::optional<std::string> stringValueFromTypedValue(const std::optional<std::string>& value) const override;

  std::optional<Value> rawValueFromStringValue(OptionalText string) const override;
  std::optional<Value> objectValueFromStringValue(OptionalText string) const override;
  std::optional<std::string> stringValueFromRawValue(const Value& raw) const override;
  std::optional<std::string> stringValueFromStringValue(OptionalText string) const override;
  std::optional<std::string> formattedValueFromStringValue(OptionalText string) const override;
  std::optional<std::string> csvValueFromRawValue(const Value& raw) const override;
  std::optional<Value> jsonValueFromRawValue(const Value& raw) const override;
};

// Texts, kept as they are (no trimming). From a raw value: a text unchanged; a number its
// description as a boxed number ("5.6", "400"; a boolean, which is a boxed number, "1" or
// "0"); an array made only of texts, joined by ", "; anything else absent.
class StringValueConverter : public TypedValueConverter<std::string> {
 public:
  std::optional<std::string> typedValueFromRawValue(const Value& raw) const override;
  std::optional<std::string> typedValueFromStringValue(OptionalText string) const override;
  std::optional<std::string> stringValueFromTypedValue(const std::optional<std::string>& value) const override;

  std::optional<Value> rawValueFromStringValue(OptionalText string) const override;
  std::optional<std::string> stringValueFromStringValue(OptionalText string) const override;
  std::optional<Value> objectValueFromStringValue(OptionalText string) const override;
  std::optional<std::string> formattedValueFromStringValue(OptionalText string) const override;
};

// Booleans. Texts are read by two fixed sets, with no case folding and no trimming: "True",
// "true", "1", "Yes", "yes", "Y", "y" are true; "False", "false", "0", "No", "no", "N", "n"
// false; anything else (the empty text, "TRUE", " yes") absent. Written as "true" or
// "false". Raw values: a boolean as it is; an integer 0 or 1 and a double 0.0 or 1.0; a text
// by the sets; anything else absent.
class BoolValueConverter : public TypedValueConverter<bool> {
 public:
  static const std::set<std::string, std::less<>>& trueStringValues();
  static const std::set<std::string, std::less<>>& falseStringValues();

  // 0 false, 1 true, anything else (and absent) absent.
  static std::optional<bool> typedValueFromIntegerValue(std::optional<std::int64_t> value);
  // 0.0 false, 1.0 true, anything else (not-a-number and absent included) absent.
  static std::optional<bool> typedValueFromDoubleValue(std::optional<double> value);

  std::optional<bool> typedValueFromRawValue(const Value& raw) const override;
  std::optional<bool> typedValueFromStringValue(OptionalText string) const override;
  std::optional<std::string> stringValueFromTypedValue(const std::optional<bool>& value) const override;

  std::optional<Value> objectValueFromStringValue(OptionalText string) const override;
  std::optional<std::string> formattedValueFromStringValue(OptionalText string) const override;
  std::optional<Value> jsonValueFromRawValue(const Value& raw) const override;
};

// Signed doubles: the root of all number reading. A text loses its tabs and blanks, its ","
// become ".", and the rest must be one C-locale double as a whole ("1 234,5" is 1234.5,
// "1,234.5" and "1,2,3" are absent; "inf" and "nan" are numbers). A magnitude out of range
// rounds as the C library rounds it: "1e999" is an infinity, "1e-999" zero. Raw values:
// doubles, integers and booleans as numbers, texts as above. Written as "%.8f"
// ("1.50000000", "inf"), whatever the process locale.
class SDoubleValueConverter : public TypedValueConverter<double> {
 public:
  std::optional<double> typedValueFromRawValue(const Value& raw) const override;
  std::optional<double> typedValueFromStringValue(OptionalText string) const override;
  std::optional<std::string> stringValueFromTypedValue(const std::optional<double>& value) const override;

  std::optional<Value> objectValueFromStringValue(OptionalText string) const override;
  std::optional<std::string> formattedValueFromStringValue(OptionalText string) const override;
  std::optional<Value> jsonValueFromRawValue(const Value& raw) const override;
};

// SDoubleValueConverter with negative numbers and not-a-number made absent (0.0, -0.0 and
// the positive infinity pass).
class UDoubleValueConverter : public TypedValueConverter<double> {
 public:
  std::optional<double> typedValueFromRawValue(const Value& raw) const override;
  std::optional<double> typedValueFromStringValue(OptionalText string) const override;
  std::optional<std::string> stringValueFromTypedValue(const std::optional<double>& value) const override;

  std::optional<Value> objectValueFromStringValue(OptionalText string) const override;
  std::optional<std::string> formattedValueFromStringValue(OptionalText string) const override;
  std::optional<Value> jsonValueFromRawValue(const Value& raw) const override;
};

// Signed 64-bit integers. A text is read as a double (see SDoubleValueConverter); one with a
// fractional part is absent ("3.5"), else the double's shortest round-trip text gives its
// leading integer digits: "3,0" is 3, "1e3" 1000, "1e20", whose text is "1e+20", is 1, and
// "1e999", an infinity whose text is "inf", is 0. A raw double takes the same text without the
// fraction test, so the raw 3.7 is 3 while the text "3.7" is absent. An unsigned raw integer
// above the signed range is absent. Written in plain decimal digits.
class SIntValueConverter : public TypedValueConverter<std::int64_t> {
 public:
  std::optional<std::int64_t> typedValueFromRawValue(const Value& raw) const override;
  std::optional<std::int64_t> typedValueFromStringValue(OptionalText string) const override;
  std::optional<std::string> stringValueFromTypedValue(const std::optional<std::int64_t>& value) const override;

  std::optional<Value> objectValueFromStringValue(OptionalText string) const override;
  std::optional<std::string> formattedValueFromStringValue(OptionalText string) const override;
  std::optional<Value> jsonValueFromRawValue(const Value& raw) const override;
};

// SIntValueConverter with negative results made absent. The typed value stays a signed
// 64-bit integer, never negative.
class UIntValueConverter : public TypedValueConverter<std::int64_t> {
 public:
  std::optional<std::int64_t> typedValueFromRawValue(const Value& raw) const override;
  std::optional<std::int64_t> typedValueFromStringValue(OptionalText string) const override;
  std::optional<std::string> stringValueFromTypedValue(const std::optional<std::int64_t>& value) const override;

  std::optional<Value> objectValueFromStringValue(OptionalText string) const override;
  std::optional<std::string> formattedValueFromStringValue(OptionalText string) const override;
  std::optional<Value> jsonValueFromRawValue(const Value& raw) const override;
};

// Countries by their ISO 3166-1 alpha-3 code, exact and case-sensitive. Displayed as
// "FRA - France" (the localised name of the table "Country3166a3").
class C3166a3ValueConverter : public TypedValueConverter<Country3166a3> {
 public:
  std::optional<Country3166a3> typedValueFromRawValue(const Value& raw) const override;
  std::optional<Country3166a3> typedValueFromStringValue(OptionalText string) const override;
  std::optional<std::string> stringValueFromTypedValue(const std::optional<Country3166a3>& value) const override;

  std::optional<Value> objectValueFromStringValue(OptionalText string) const override;
  std::optional<std::string> formattedValueFromStringValue(OptionalText string) const override;
};

// Lists: the elements go through `valueConverter` and are joined by `separator`.
//
//   stringValueFromRawValue(raw): an array gives its elements' texts, trimmed of blanks and
//     tabs, joined by the separator (elements whose text is absent are dropped; none left is
//     the empty text); a text is returned as it stands, not split; null and anything else go
//     to the element converter whole.
//   rawValueFromStringValue(s): absent for an absent or empty text; else the text split at
//     every separator (empty pieces kept), each piece trimmed and read by the element
//     converter, the readable ones in order, as an array (possibly empty).
//   objectValueFromStringValue is rawValueFromStringValue; stringValueFromStringValue the
//   two in a row, which normalises the spacing round the separator; formattedValue the text
//   unchanged; csvValue stringValueFromRawValue; jsonValue the elements as an array.
class ArrayValueConverter : public ValueConverter {
 public:
  // REQUIRES: `valueConverter` is not null.
  ArrayValueConverter(std::shared_ptr<const ValueConverter> valueConverter, std::string separator)
      : valueConverter(std::move(valueConverter)), separator(std::move(separator)) {}

  std::shared_ptr<const ValueConverter> valueConverter;
  std::string separator;

  std::optional<Value> rawValueFromStringValue(OptionalText string) const override;
  std::optional<Value> objectValueFromStringValue(OptionalText string) const override;
  std::optional<std::string> stringValueFromRawValue(const Value& raw) const override;
  std::optional<std::string> stringValueFromStringValue(OptionalText string) const override;
  std::optional<std::string> formattedValueFromStringValue(OptionalText string) const override;
  std::optional<std::string> csvValueFromRawValue(const Value& raw) const override;
  std::optional<Value> jsonValueFromRawValue(const Value& raw) const override;
};

// True when `string`, read by `converter`, is a number that is not finite ("inf", "nan",
// "1e999", "-1e999"): the text of one of the four number converters, or an element of a list
// over one. The converters read such texts (and an integer one makes 0 of an infinity), but
// JSON has no form for them, so that a number tag refuses them (MetadataEditor::setValue).
// False for every other converter and for an absent text.
bool isNonFiniteNumber(const ValueConverter& converter, OptionalText string);

}  // namespace orvelin

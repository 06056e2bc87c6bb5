#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

namespace orvelin {

class ValueConverter;
class Value;

// The value type of a tag, from the type attribute of exiftool's tag list and the library's
// own additions. Chooses the converter of the tag's values. A value type like Language; coded in
// JSON as its raw value.
//
// The raw values of `date` and `dateTime` cross on purpose: `date` is "datetime" and
// `dateTime` is "date". Everything else goes by raw values and predicates, where both behave
// alike.
class TagType {
 public:
  enum Value : std::uint8_t {
    string,
    longString,
    note,
    date,
    dateTime,
    imageData,
    unknown,
    int8u,
    int16u,
    int32u,
    int32s,
    integer,
    real,
    rational,
    rational64u,
    rational64s,
    speed,
    digits,
    boolean,
    langAlt,
    undef,
    country3166a3,
    partialDate,
    partialTime,
    digitsTime,
    digitsDate,
  };
  static constexpr std::size_t caseCount = 26;

  constexpr TagType() : value_(string) {}
  constexpr TagType(Value value) : value_(value) {}  // NOLINT: implicit by design
  constexpr operator Value() const { return value_; }  // NOLINT

  // Matched in declaration order; absent for an unknown text (case counts: "Date" is none).
  static std::optional<TagType> fromRawValue(std::string_view rawValue);
  std::string_view rawValue() const;

  bool isShortString() const { return value_ == string || value_ == digits || value_ == langAlt; }
  bool isLongString() const { return value_ == longString; }
  bool isString() const { return isShortString() || isLongString(); }
  bool ignoreCount() const { return isString() || value_ == country3166a3; }
  bool isInteger() const { return value_ >= int8u && value_ <= integer; }
  bool isFloat() const { return value_ >= real && value_ <= speed; }
  bool isNumber() const { return isInteger() || isFloat(); }
  // "speed" counts as rational, "real" does not.
  bool isRational() const { return value_ >= rational && value_ <= speed; }
  // A "rational" is signed in this vocabulary.
  bool isSigned() const {
    return value_ == int32s || value_ == integer || value_ == real || value_ == rational || value_ == rational64s;
  }
  bool isDateTime() const { return value_ == date || value_ == dateTime; }
  bool isDate() const { return value_ == partialDate || value_ == digitsDate; }
  bool isTime() const { return value_ == partialTime || value_ == digitsTime; }
  bool isDateConvertible() const { return isDateTime() || isDate() || isTime(); }
  bool isSupported() const { return value_ != unknown && value_ != undef && value_ != note && value_ != imageData; }
  // False for the integers alone; true for every other type, strings included.
  bool allowsFloats() const { return !isInteger(); }

  // The bounds of the number types (int8u to speed); absent for the others.
  std::optional<orvelin::Value> minimumNumberValue() const;
  std::optional<orvelin::Value> maximumNumberValue() const;

  // The converter of a single value of this type. Converters are immutable and shared.
  std::shared_ptr<const ValueConverter> converter() const;

 private:
  Value value_;
};

void to_json(nlohmann::json& json, const TagType& type);
void from_json(const nlohmann::json& json, TagType& type);

}  // namespace orvelin

template <>
struct std::hash<orvelin::TagType> {
  std::size_t operator()(orvelin::TagType type) const noexcept {
    return static_cast<std::size_t>(static_cast<orvelin::TagType::Value>(type));
  }
};

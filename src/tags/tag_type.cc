#include "orvelin/tags/tag_type.h"

#include <limits>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "orvelin/values/date_time_value_converter.h"
#include "orvelin/values/value.h"
#include "orvelin/values/value_converter.h"

namespace orvelin {

namespace {

constexpr std::string_view kRawValues[TagType::caseCount] = {
    "string",      "longstring",  "note",   "datetime", "date",    "imagedata",     "unknown",
    "int8u",       "int16u",      "int32u", "int32s",   "integer", "real",          "rational",
    "rational64u", "rational64s", "speed",  "digits",   "boolean", "lang-alt",      "undef",
    "country3166a3", "partialdate", "partialtime", "digitstime", "digitsdate",
};

// One shared converter per type: converters are immutable.
template <typename Converter, typename... Args>
const std::shared_ptr<const ValueConverter>& sharedConverter(Args... args) {
  static const std::shared_ptr<const ValueConverter> converter = std::make_shared<const Converter>(args...);
  return converter;
}

}  // namespace

std::optional<TagType> TagType::fromRawValue(std::string_view rawValue) {
  for (std::size_t i = 0; i < caseCount; ++i)
    if (kRawValues[i] == rawValue) return TagType(static_cast<Value>(i));
  return std::nullopt;
}

std::string_view TagType::rawValue() const { return kRawValues[static_cast<std::size_t>(value_)]; }

std::optional<orvelin::Value> TagType::minimumNumberValue() const {
  switch (value_) {
    case int8u:
    case int16u:
    case int32u: return orvelin::Value(std::uint64_t{0});
    case int32s:
    case integer: return orvelin::Value(std::int64_t{std::numeric_limits<std::int32_t>::min()});
    case real:
    case rational: return orvelin::Value(-static_cast<double>(std::numeric_limits<float>::max()));
    case rational64u:
    case speed: return orvelin::Value(0.0);
    case rational64s: return orvelin::Value(-std::numeric_limits<double>::max());
    default: return std::nullopt;
  }
}

std::optional<orvelin::Value> TagType::maximumNumberValue() const {
  switch (value_) {
    case int8u: return orvelin::Value(std::uint64_t{std::numeric_limits<std::uint8_t>::max()});
    case int16u: return orvelin::Value(std::uint64_t{std::numeric_limits<std::uint16_t>::max()});
    case int32u: return orvelin::Value(std::uint64_t{std::numeric_limits<std::uint32_t>::max()});
    case int32s:
    case integer: return orvelin::Value(std::int64_t{std::numeric_limits<std::int32_t>::max()});
    case real:
    case rational: return orvelin::Value(static_cast<double>(std::numeric_limits<float>::max()));
    case rational64u:
    case speed:
    case rational64s: return orvelin::Value(std::numeric_limits<double>::max());
    default: return std::nullopt;
  }
}

std::shared_ptr<const ValueConverter> TagType::converter() const {
  if (isShortString() || value_ == longString) return sharedConverter<StringValueConverter>();
  if (isFloat() && isSigned()) return sharedConverter<SDoubleValueConverter>();
  if (isFloat()) return sharedConverter<UDoubleValueConverter>();
  if (isInteger() && isSigned()) return sharedConverter<SIntValueConverter>();
  if (isInteger()) return sharedConverter<UIntValueConverter>();
  switch (value_) {
    case date:
    case dateTime: {
      static const std::shared_ptr<const ValueConverter> converter =
          std::make_shared<const DateTimeValueConverter>("yyyy:MM:dd HH:mm:ss");
      return converter;
    }
    case partialDate: {
      static const std::shared_ptr<const ValueConverter> converter =
          std::make_shared<const DateTimeValueConverter>("yyyy:MM:dd");
      return converter;
    }
    case partialTime: {
      static const std::shared_ptr<const ValueConverter> converter =
          std::make_shared<const DateTimeValueConverter>("HH:mm:ss");
      return converter;
    }
    case digitsTime: {
      static const std::shared_ptr<const ValueConverter> converter =
          std::make_shared<const DateTimeValueConverter>("HHmmss");
      return converter;
    }
    case digitsDate: {
      static const std::shared_ptr<const ValueConverter> converter =
          std::make_shared<const DateTimeValueConverter>("yyyyMMdd");
      return converter;
    }
    case boolean: return sharedConverter<BoolValueConverter>();
    case country3166a3: return sharedConverter<C3166a3ValueConverter>();
    default: return sharedConverter<NoneValueConverter>();
  }
}

void to_json(nlohmann::json& json, const TagType& type) { json = std::string(type.rawValue()); }

void from_json(const nlohmann::json& json, TagType& type) {
  auto parsed = TagType::fromRawValue(json.get<std::string>());
  if (!parsed) throw std::invalid_argument("not a tag type: " + json.get<std::string>());
  type = *parsed;
}

}  // namespace orvelin

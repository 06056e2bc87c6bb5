#include "orvelin/values/value.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <limits>
#include <ostream>

#include "values/number_text.h"

namespace orvelin {

namespace {

// At least `width` digits, zeros in front; the sign ahead of them.
std::string padded(std::int64_t value, int width) {
  std::string digits = std::to_string(value < 0 ? -(value + 1) + std::uint64_t{1} : static_cast<std::uint64_t>(value));
  if (digits.size() < static_cast<std::size_t>(width)) digits.insert(0, width - digits.size(), '0');
  return value < 0 ? "-" + digits : digits;
}

std::string isoText(Date date) {
  using namespace std::chrono;
  const auto milliseconds = floor<std::chrono::milliseconds>(date);
  const auto day = floor<days>(milliseconds);
  const year_month_day ymd(day);
  const hh_mm_ss<std::chrono::milliseconds> time(milliseconds - day);
  return padded(static_cast<int>(ymd.year()), 4) + "-" + padded(static_cast<unsigned>(ymd.month()), 2) + "-" +
         padded(static_cast<unsigned>(ymd.day()), 2) + "T" + padded(time.hours().count(), 2) + ":" +
         padded(time.minutes().count(), 2) + ":" + padded(time.seconds().count(), 2) + "." +
         padded(time.subseconds().count(), 3) + "Z";
}

// The number as an exact long double (64 bits of mantissa hold every 64-bit integer).
std::optional<long double> numericValue(const Value::Storage& storage) {
  if (const auto* integer = std::get_if<std::int64_t>(&storage)) return static_cast<long double>(*integer);
  if (const auto* natural = std::get_if<std::uint64_t>(&storage)) return static_cast<long double>(*natural);
  if (const auto* real = std::get_if<double>(&storage)) return static_cast<long double>(*real);
  return std::nullopt;
}

}  // namespace

bool Value::isNumber() const {
  switch (kind()) {
    case Kind::boolean:
    case Kind::signedInteger:
    case Kind::unsignedInteger:
    case Kind::real: return true;
    default: return false;
  }
}

std::string Value::description() const {
  switch (kind()) {
    case Kind::null: return "null";
    case Kind::boolean: return std::get<bool>(storage_) ? "1" : "0";
    case Kind::signedInteger: return std::to_string(std::get<std::int64_t>(storage_));
    case Kind::unsignedInteger: return std::to_string(std::get<std::uint64_t>(storage_));
    case Kind::real: return detail::numberDescription(std::get<double>(storage_));
    case Kind::string: return std::get<std::string>(storage_);
    case Kind::date: return isoText(std::get<Date>(storage_));
    case Kind::partialDate: {
      const auto& date = std::get<PartialDate>(storage_);
      return padded(date.year, 4) + ":" + padded(date.month, 2) + ":" + padded(date.day, 2);
    }
    case Kind::partialTime: {
      const auto& time = std::get<PartialTime>(storage_);
      return padded(time.hour, 2) + ":" + padded(time.minute, 2) + ":" + padded(time.second, 2);
    }
    case Kind::country: return std::string(std::get<Country3166a3>(storage_).code());
    case Kind::array: {
      std::string text = "[";
      for (const auto& element : std::get<Array>(storage_)) {
        if (text.size() > 1) text += ", ";
        text += element.description();
      }
      return text + "]";
    }
  }
  return {};
}

nlohmann::json Value::toJSON() const {
  switch (kind()) {
    case Kind::null: return nullptr;
    case Kind::boolean: return std::get<bool>(storage_);
    case Kind::signedInteger: return std::get<std::int64_t>(storage_);
    case Kind::unsignedInteger: return std::get<std::uint64_t>(storage_);
    case Kind::real: return std::get<double>(storage_);
    case Kind::string: return std::get<std::string>(storage_);
    case Kind::array: {
      auto array = nlohmann::json::array();
      for (const auto& element : std::get<Array>(storage_)) array.push_back(element.toJSON());
      return array;
    }
    case Kind::date:
    case Kind::partialDate:
    case Kind::partialTime:
    case Kind::country: return description();
  }
  return nullptr;
}

Value Value::fromJSON(const nlohmann::json& json) {
  switch (json.type()) {
    case nlohmann::json::value_t::boolean: return Value(json.get<bool>());
    case nlohmann::json::value_t::number_integer: return Value(json.get<std::int64_t>());
    case nlohmann::json::value_t::number_unsigned: {
      const auto value = json.get<std::uint64_t>();
      if (value <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
        return Value(static_cast<std::int64_t>(value));
      return Value(value);
    }
    case nlohmann::json::value_t::number_float: return Value(json.get<double>());
    case nlohmann::json::value_t::string: return Value(json.get<std::string>());
    case nlohmann::json::value_t::array: {
      Array array;
      array.reserve(json.size());
      for (const auto& element : json) array.push_back(fromJSON(element));
      return Value(std::move(array));
    }
    default: return Value();
  }
}

bool Value::equal(const Value& lhs, const Value& rhs) {
  if (lhs.kind() == rhs.kind()) return lhs.storage_ == rhs.storage_;
  const auto left = numericValue(lhs.storage_);
  const auto right = numericValue(rhs.storage_);
  return left && right && *left == *right;
}

std::ostream& operator<<(std::ostream& out, const Value& value) {
  if (const auto* text = value.getIf<std::string>()) return out << '"' << *text << '"';
  return out << value.description();
}

void to_json(nlohmann::json& json, const Value& value) { json = value.toJSON(); }

void from_json(const nlohmann::json& json, Value& value) { value = Value::fromJSON(json); }

bool containsNonFiniteNumber(const nlohmann::json& json) {
  if (json.is_number_float()) return !std::isfinite(json.get<double>());
  if (json.is_structured())
    for (const auto& element : json)
      if (containsNonFiniteNumber(element)) return true;
  return false;
}

}  // namespace orvelin

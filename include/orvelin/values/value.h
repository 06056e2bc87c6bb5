#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "orvelin/values/country3166a3.h"
#include "orvelin/values/date_values.h"

namespace orvelin {

// The library's one dynamic value: a raw value as exiftool's JSON or a host hands it over, and
// the boxed object of a converter. Null, a boolean, a signed or unsigned 64-bit integer, a
// double, a text, a date, a partial date or time, a country, or an array of values.
//
// A value type over std::variant: cheap to move, copied deeply. Null stands for "no value":
// the converters treat a null raw value as absent. Immutable once made; safe to share
// between threads.
//
//   Value count(std::int64_t{3});
//   if (const auto* text = value.getIf<std::string>()) ...
//   switch (value.kind()) { case Value::Kind::array: ... }
class Value {
 public:
  using Array = std::vector<Value>;
  using Storage = std::variant<std::nullptr_t, bool, std::int64_t, std::uint64_t, double, std::string, Date,
                               PartialDate, PartialTime, Country3166a3, Array>;
  // The alternatives, in the order of Storage.
  enum class Kind : std::uint8_t {
    null,
    boolean,
    signedInteger,
    unsignedInteger,
    real,
    string,
    date,
    partialDate,
    partialTime,
    country,
    array,
  };

  Value() noexcept : storage_(nullptr) {}
  Value(std::nullptr_t) noexcept : storage_(nullptr) {}  // NOLINT: implicit by design
  Value(bool value) noexcept : storage_(value) {}        // NOLINT
  // Every integer type but bool and the character types: signed ones as std::int64_t,
  // unsigned ones as std::uint64_t.
  template <std::integral Integer>
    requires(!std::same_as<Integer, bool> && !std::same_as<Integer, char> && !std::same_as<Integer, char8_t> &&
             !std::same_as<Integer, char16_t> && !std::same_as<Integer, char32_t> && !std::same_as<Integer, wchar_t>)
  Value(Integer value) noexcept  // NOLINT
      : storage_(std::conditional_t<std::is_signed_v<Integer>, std::int64_t, std::uint64_t>(value)) {}
  Value(double value) noexcept : storage_(value) {}                    // NOLINT
  Value(float value) noexcept : storage_(static_cast<double>(value)) {}  // NOLINT
  Value(std::string value) noexcept : storage_(std::move(value)) {}    // NOLINT
  Value(std::string_view value) : storage_(std::string(value)) {}      // NOLINT
  // A null pointer is no text: it gives the null value.
  Value(const char* value) : storage_(value ? Storage(std::string(value)) : Storage(nullptr)) {}  // NOLINT
  Value(Date value) noexcept : storage_(value) {}                      // NOLINT
  Value(PartialDate value) noexcept : storage_(value) {}               // NOLINT
  Value(PartialTime value) noexcept : storage_(value) {}               // NOLINT
  Value(Country3166a3 value) noexcept : storage_(value) {}             // NOLINT
  Value(Country3166a3::Value value) noexcept : storage_(Country3166a3(value)) {}  // NOLINT
  Value(Array value) noexcept : storage_(std::move(value)) {}          // NOLINT

  Kind kind() const { return static_cast<Kind>(storage_.index()); }
  bool isNull() const { return kind() == Kind::null; }
  // True for the booleans, integers and doubles.
  bool isNumber() const;

  // The alternative T (one of Storage's types), or null / false when the value holds another.
  template <typename T>
  bool is() const {
    return std::holds_alternative<T>(storage_);
  }
  template <typename T>
  const T* getIf() const {
    return std::get_if<T>(&storage_);
  }
  template <typename T>
  T* getIf() {
    return std::get_if<T>(&storage_);
  }

  // For std::visit.
  const Storage& storage() const { return storage_; }

  // The text a boxed object prints of itself: booleans, which are boxed numbers, "1" or "0";
  // integers in decimal; doubles as "%0.16g" in the C locale ("5.6", "3", "1e+20"); texts as
  // they are; dates as UTC in ISO 8601 with milliseconds ("2021-03-04T10:11:12.000Z"); partial
  // dates "yyyy:MM:dd"; partial times "HH:mm:ss"; countries their code; arrays their
  // elements' descriptions in "[" "]" joined by ", "; null "null".
  std::string description() const;

  // JSON: null, booleans, integers, doubles, texts and arrays map to their JSON kinds; dates,
  // partial dates and times, and countries to their description() text. A double that is not
  // finite stays such a JSON number, which JSON text cannot hold (nlohmann's dump writes
  // null): whoever encodes it decides (containsNonFiniteNumber), and the exiftool writer
  // refuses it. Reading JSON, a non-negative integer within the signed range becomes a signed
  // integer, as JSON numbers have no sign kind; an object, which has no counterpart, becomes
  // null.
  nlohmann::json toJSON() const;
  static Value fromJSON(const nlohmann::json& json);

  // Equal kinds compare their contents; numbers (integers and doubles, not booleans) compare
  // by numeric value across kinds: Value(3) == Value(3u) == Value(3.0).
  friend bool operator==(const Value& lhs, const Value& rhs) { return equal(lhs, rhs); }

 private:
  static bool equal(const Value& lhs, const Value& rhs);

  Storage storage_;
};

// Prints description(), with texts in double quotes.
std::ostream& operator<<(std::ostream& out, const Value& value);

void to_json(nlohmann::json& json, const Value& value);
void from_json(const nlohmann::json& json, Value& value);

// True when `json` holds, at any depth, a number that is not finite: one that JSON text cannot
// carry (see Value::toJSON).
bool containsNonFiniteNumber(const nlohmann::json& json);

}  // namespace orvelin

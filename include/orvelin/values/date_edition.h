#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

#include "orvelin/support/coded_error.h"
#include "orvelin/values/date_values.h"

namespace orvelin {

// The codes of DateEdition::DecodingError.
enum class DateEditionDecodingErrorCode { notParsableInput };

// One operation on a date: select a fixed date, update some fields, shift by some amounts,
// restore the original, or remove the date. How an edition reaches the date tags of a file is
// the editor's business; this type reads, prints and applies it.
//
// A value type, equal when the case and the payload are equal. Coded in JSON as one string,
// its description(). Immutable; safe to share between threads.
class DateEdition {
 public:
  enum class Case : std::uint8_t { select, update, shift, restore, remove };

  // The decoding failure: the JSON value is no string, or its text is no edition. Its one
  // code's text is "Not parsable input".
  class DecodingError : public CodedError<DecodingError, DateEditionDecodingErrorCode> {
   public:
    using CodedError::CodedError;
    DecodingError() : CodedError(Code::notParsableInput) {}
    static const char* text(Code code);
  };

  static DateEdition select(DateValues values) { return DateEdition(Case::select, std::move(values)); }
  static DateEdition update(DateValues values) { return DateEdition(Case::update, std::move(values)); }
  static DateEdition shift(DateValues values) { return DateEdition(Case::shift, std::move(values)); }
  static DateEdition restore() { return DateEdition(Case::restore, {}); }
  static DateEdition remove() { return DateEdition(Case::remove, {}); }

  // Reads the form that description() writes: a word and a parenthesised payload, the whole
  // text matching "^(\w+)\((.*)\)$". "SELECT", "UPDATE" and "SHIFT" take the payload as
  // DateValues::fromDescription() reads it (an empty payload gives empty values);
  // "RESTORE" and "REMOVE" ignore it. Absent for an absent text, a text of another shape, or
  // another word (case counts: "select(YY: 1)" is absent).
  static std::optional<DateEdition> fromDescription(std::optional<std::string_view> description);

  Case kind() const { return case_; }
  // The payload of select, update and shift; empty values for restore and remove.
  const DateValues& values() const { return values_; }

  // "SELECT(YY: 2021, hh: 6)", "UPDATE(...)", "SHIFT(...)", "RESTORE()", "REMOVE()".
  std::string description() const;
  // The localised title ("DateEditionSelectTitle"... in the default table), followed for the
  // cases with payload by "(", the values' description (never localised) and ")".
  std::string localizedDescription() const;

  // select: the values' date, whatever `date` is; update and shift: the values applied to
  // `date` (absent for an absent date); restore: `date` unchanged; remove: absent.
  std::optional<Date> apply(std::optional<Date> date) const;

  friend bool operator==(const DateEdition&, const DateEdition&) = default;

 private:
  DateEdition(Case kind, DateValues values) : case_(kind), values_(std::move(values)) {}

  Case case_;
  DateValues values_;
};

std::ostream& operator<<(std::ostream& out, const DateEdition& edition);

}  // namespace orvelin

namespace nlohmann {
// A DateEdition is coded as its description; decoding throws DateEdition::DecodingError.
template <>
struct adl_serializer<orvelin::DateEdition> {
  static void to_json(json& json, const orvelin::DateEdition& edition);
  static orvelin::DateEdition from_json(const json& json);
};
}  // namespace nlohmann

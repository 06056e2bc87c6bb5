#include "orvelin/values/date_edition.h"

#include <nlohmann/json.hpp>

#include <ostream>

#include "orvelin/support/localization.h"
#include "orvelin/support/string_extensions.h"

namespace orvelin {

const char* DateEdition::DecodingError::text(Code code) {
  switch (code) {
    case Code::notParsableInput: return "Not parsable input";
  }
  return "Not parsable input";
}

std::optional<DateEdition> DateEdition::fromDescription(std::optional<std::string_view> description) {
  if (!description) return std::nullopt;
  const auto matches = captureMatches(*description, R"(^(\w+)\((.*)\)$)");
  if (matches.empty() || matches.front().size() != 2) return std::nullopt;
  const auto& word = matches.front()[0];
  const auto& payload = matches.front()[1];
  if (word == "RESTORE") return restore();
  if (word == "REMOVE") return remove();
  if (word == "SELECT") return select(DateValues::fromDescription(payload));
  if (word == "UPDATE") return update(DateValues::fromDescription(payload));
  if (word == "SHIFT") return shift(DateValues::fromDescription(payload));
  return std::nullopt;
}

std::string DateEdition::description() const {
  switch (case_) {
    case Case::select: return "SELECT(" + values_.description() + ")";
    case Case::update: return "UPDATE(" + values_.description() + ")";
    case Case::shift: return "SHIFT(" + values_.description() + ")";
    case Case::restore: return "RESTORE()";
    case Case::remove: return "REMOVE()";
  }
  return {};
}

std::string DateEdition::localizedDescription() const {
  switch (case_) {
    case Case::select: return ORVTL("DateEditionSelectTitle") + "(" + values_.description() + ")";
    case Case::update: return ORVTL("DateEditionUpdateTitle") + "(" + values_.description() + ")";
    case Case::shift: return ORVTL("DateEditionShiftTitle") + "(" + values_.description() + ")";
    case Case::restore: return ORVTL("DateEditionRestoreTitle");
    case Case::remove: return ORVTL("DateEditionRemoveTitle");
  }
  return {};
}

std::optional<Date> DateEdition::apply(std::optional<Date> date) const {
  switch (case_) {
    case Case::select: return values_.date();
    case Case::update: return values_.updateDate(date);
    case Case::shift: return values_.shiftDate(date);
    case Case::restore: return date;
    case Case::remove: return std::nullopt;
  }
  return std::nullopt;
}

std::ostream& operator<<(std::ostream& out, const DateEdition& edition) { return out << edition.description(); }

}  // namespace orvelin

namespace nlohmann {

void adl_serializer<orvelin::DateEdition>::to_json(json& json, const orvelin::DateEdition& edition) {
  json = edition.description();
}

orvelin::DateEdition adl_serializer<orvelin::DateEdition>::from_json(const json& json) {
  if (!json.is_string()) throw orvelin::DateEdition::DecodingError();
  auto edition = orvelin::DateEdition::fromDescription(json.get_ref<const std::string&>());
  if (!edition) throw orvelin::DateEdition::DecodingError();
  return std::move(*edition);
}

}  // namespace nlohmann

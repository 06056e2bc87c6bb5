#include "orvelin/presets/preset_entry.h"

#include <array>
#include <ostream>
#include <string_view>

#include <nlohmann/json.hpp>

namespace orvelin {

namespace {

constexpr std::array<std::string_view, 7> typeNames = {"value", "copy", "merge", "clone", "none", "remove", "restore"};

}  // namespace

const char* PresetEntry::CodingError::text(Code code) {
  switch (code) {
    case Code::unknownType: return "Unknown type";
  }
  return "Unknown type";
}

const char* PresetEntry::typeName(Case kind) { return typeNames[static_cast<std::size_t>(kind)].data(); }

PresetEntry::Case PresetEntry::caseFromTypeName(const std::string& type) {
  for (std::size_t i = 0; i < typeNames.size(); ++i)
    if (typeNames[i] == type) return static_cast<Case>(i);
  throw CodingError(CodingError::Code::unknownType);
}

std::ostream& operator<<(std::ostream& out, const PresetEntry& entry) {
  out << PresetEntry::typeName(entry.kind());
  switch (entry.kind()) {
    case PresetEntry::Case::value:
    case PresetEntry::Case::copy:
    case PresetEntry::Case::merge:
    case PresetEntry::Case::clone: return out << "(\"" << entry.payload() << "\")";
    default: return out;
  }
}

}  // namespace orvelin

namespace nlohmann {

void adl_serializer<orvelin::PresetEntry>::to_json(json& json, const orvelin::PresetEntry& entry) {
  json = json::object();
  json["type"] = orvelin::PresetEntry::typeName(entry.kind());
  json["value"] = entry.payload();
}

orvelin::PresetEntry adl_serializer<orvelin::PresetEntry>::from_json(const json& json) {
  using orvelin::PresetEntry;
  // Both members must be there and be texts, whatever the case.
  const auto type = json.at("type").get<std::string>();
  auto value = json.at("value").get<std::string>();
  switch (PresetEntry::caseFromTypeName(type)) {
    case PresetEntry::Case::value: return PresetEntry::value(std::move(value));
    case PresetEntry::Case::copy: return PresetEntry::copy(std::move(value));
    case PresetEntry::Case::merge: return PresetEntry::merge(std::move(value));
    case PresetEntry::Case::clone: return PresetEntry::clone(std::move(value));
    case PresetEntry::Case::none: return PresetEntry::none();
    case PresetEntry::Case::remove: return PresetEntry::remove();
    case PresetEntry::Case::restore: return PresetEntry::restore();
  }
  throw PresetEntry::CodingError(PresetEntry::CodingError::Code::unknownType);
}

}  // namespace nlohmann

#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

#include <nlohmann/json_fwd.hpp>

#include "orvelin/support/coded_error.h"

namespace orvelin {

// The code of PresetEntry::CodingError.
enum class PresetEntryCodingErrorCode { unknownType };

// What a preset does with one tag when it is applied to an editor (MetadataEditor::apply()):
//
//   value(text)   set the tag to the text; for a date tag the text is a DateEdition's
//                 description ("SHIFT(hh: 1)")
//   copy(name)    copy the value of the tag named "stream:key"
//   merge(text)   add the text to the tag's value
//   clone(name)   clone the value of the tag named "stream:key", as a reader sees it
//   none          leave the tag alone
//   remove        clear the tag (delete it at the next save)
//   restore       withdraw any pending edit of the tag
//
// A value type, equal when the case and the payload are equal. Coded in JSON as an object
// with two text members, "type" ("value", "copy", "merge", "clone", "none", "remove",
// "restore") and "value" (the payload; "" for the cases without one). Both members are
// required when decoding, "value" also for the cases that ignore it. Immutable; safe to share
// between threads.
class PresetEntry {
 public:
  enum class Case : std::uint8_t { value, copy, merge, clone, none, remove, restore };

  // The decoding failure of the program's own: a "type" that names no case ("Unknown type").
  // Other malformed JSON throws nlohmann::json's exceptions.
  class CodingError : public CodedError<CodingError, PresetEntryCodingErrorCode> {
   public:
    using CodedError::CodedError;
    static const char* text(Code code);
  };

  static PresetEntry value(std::string text) { return PresetEntry(Case::value, std::move(text)); }
  static PresetEntry copy(std::string tagName) { return PresetEntry(Case::copy, std::move(tagName)); }
  static PresetEntry merge(std::string text) { return PresetEntry(Case::merge, std::move(text)); }
  static PresetEntry clone(std::string tagName) { return PresetEntry(Case::clone, std::move(tagName)); }
  static PresetEntry none() { return PresetEntry(Case::none, {}); }
  static PresetEntry remove() { return PresetEntry(Case::remove, {}); }
  static PresetEntry restore() { return PresetEntry(Case::restore, {}); }

  Case kind() const { return case_; }
  // The text of value, copy, merge and clone; empty for the others.
  const std::string& payload() const { return payload_; }

  // The JSON "type" of a case, and the case of a "type" (CodingError for an unknown one).
  static const char* typeName(Case kind);
  static Case caseFromTypeName(const std::string& type);

  friend bool operator==(const PresetEntry&, const PresetEntry&) = default;

 private:
  PresetEntry(Case kind, std::string payload) : case_(kind), payload_(std::move(payload)) {}

  Case case_;
  std::string payload_;
};

// Prints the case and, for those with one, the payload in quotes: value("x"), remove.
std::ostream& operator<<(std::ostream& out, const PresetEntry& entry);

}  // namespace orvelin

namespace nlohmann {
// {"type": ..., "value": ...}. Decoding throws PresetEntry::CodingError for an unknown type and
// nlohmann::json's exceptions for a missing member or one that is no text.
template <>
struct adl_serializer<orvelin::PresetEntry> {
  static void to_json(json& json, const orvelin::PresetEntry& entry);
  static orvelin::PresetEntry from_json(const json& json);
};
}  // namespace nlohmann

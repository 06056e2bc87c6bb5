#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

#include "orvelin/tags/tag_name.h"

namespace orvelin {

// How far a stream can be read and written in a file type: "N" (not at all), "R" (read),
// "RW" (read and edit what is there), "RWC" (read, edit and create). A value type like
// Language; coded in JSON as its raw value.
class TagAccess {
 public:
  enum Value : std::uint8_t { n, r, rw, rwc };

  constexpr TagAccess() : value_(n) {}
  constexpr TagAccess(Value value) : value_(value) {}  // NOLINT: implicit by design
  constexpr operator Value() const { return value_; }  // NOLINT

  // "N", "R", "RW", "RWC" exactly; absent for any other text (case counts).
  static std::optional<TagAccess> fromRawValue(std::string_view rawValue);
  std::string_view rawValue() const;

  bool canBeRead() const { return value_ != n; }
  bool canBeEdited() const { return value_ == rw || value_ == rwc; }

  // The access of `stream` in `fileType` (upper-cased for the look-up); absent when the table
  // lacks the file type or the stream.
  static std::optional<TagAccess> access(std::string_view fileType, const TagStream& stream);

  // File type (upper case) -> stream raw value -> access, read once from the resource
  // "TagsAccessByFileTypes.json" at first use; empty when the resource is missing or broken.
  // Read-only after that; safe for concurrent use.
  using AccessTable = std::map<std::string, std::map<std::string, TagAccess, std::less<>>, std::less<>>;
  static const AccessTable& accessByFileTypes();

  // Reads the table from the file at `url` (absent: the resource is missing). A failure prints
  // on the library's console, and writes to the debug file, "URL of TagsAccessByFileTypes is
  // nil" (no URL), "Data of TagsAccessByFileTypes is nil" (unreadable) or "Data of
  // TagsAccessByFileTypes cannot be decoded", and gives an empty table.
  static AccessTable readTagsAccess(const std::optional<std::filesystem::path>& url);

  // Decodes a table of that form as a whole: an object of file types, each an object of
  // streams, each one of the four access texts. Anything else (an array or a text where an
  // object belongs, an unknown access) throws: std::invalid_argument, or a nlohmann::json
  // exception for text that is no JSON.
  static AccessTable decodeAccessTable(const nlohmann::json& json);

 private:
  Value value_;
};

void to_json(nlohmann::json& json, const TagAccess& access);
void from_json(const nlohmann::json& json, TagAccess& access);

}  // namespace orvelin

template <>
struct std::hash<orvelin::TagAccess> {
  std::size_t operator()(orvelin::TagAccess access) const noexcept {
    return static_cast<std::size_t>(static_cast<orvelin::TagAccess::Value>(access));
  }
};

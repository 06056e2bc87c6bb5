#include "orvelin/tags/tag_access.h"

#include <stdexcept>

#include <nlohmann/json.hpp>

#include "orvelin/support/debug_log.h"
#include "orvelin/support/files.h"
#include "orvelin/support/resources.h"
#include "orvelin/support/string_extensions.h"

namespace orvelin {

namespace {

constexpr std::string_view kRawValues[] = {"N", "R", "RW", "RWC"};

// Reports a problem with the access resource on the library's console and in the debug file.
void reportResourceFailure(std::string_view text) {
  ORVPrint(text);
  ORVAppendDebugFile(text);
}

}  // namespace

std::optional<TagAccess> TagAccess::fromRawValue(std::string_view rawValue) {
  for (std::size_t i = 0; i < std::size(kRawValues); ++i)
    if (kRawValues[i] == rawValue) return TagAccess(static_cast<Value>(i));
  return std::nullopt;
}

std::string_view TagAccess::rawValue() const { return kRawValues[static_cast<std::size_t>(value_)]; }

TagAccess::AccessTable TagAccess::decodeAccessTable(const nlohmann::json& json) {
  if (!json.is_object()) throw std::invalid_argument("not an object of file types: " + json.dump());
  AccessTable table;
  for (const auto& [fileType, streams] : json.items()) {
    if (!streams.is_object()) throw std::invalid_argument("not an object of streams for " + fileType);
    auto& inner = table[fileType];
    for (const auto& [stream, access] : streams.items()) {
      const auto parsed = access.is_string() ? fromRawValue(access.get<std::string>()) : std::nullopt;
      if (!parsed) throw std::invalid_argument("not an access: " + access.dump());
      inner.emplace(stream, *parsed);
    }
  }
  return table;
}

TagAccess::AccessTable TagAccess::readTagsAccess(const std::optional<std::filesystem::path>& url) {
  if (!url) {
    reportResourceFailure("URL of TagsAccessByFileTypes is nil");
    return {};
  }
  const auto data = readFileContents(*url);
  if (!data) {
    reportResourceFailure("Data of TagsAccessByFileTypes is nil");
    return {};
  }
  try {
    return decodeAccessTable(nlohmann::json::parse(*data));
  } catch (const std::exception&) {
    reportResourceFailure("Data of TagsAccessByFileTypes cannot be decoded");
    return {};
  }
}

const TagAccess::AccessTable& TagAccess::accessByFileTypes() {
  static const AccessTable table = readTagsAccess(ORVResourceURL("TagsAccessByFileTypes.json"));
  return table;
}

std::optional<TagAccess> TagAccess::access(std::string_view fileType, const TagStream& stream) {
  const auto& table = accessByFileTypes();
  const auto type = table.find(asciiUppercased(fileType));
  if (type == table.end()) return std::nullopt;
  const auto found = type->second.find(stream.rawValue());
  if (found == type->second.end()) return std::nullopt;
  return found->second;
}

TagAccess TagStream::access(std::string_view fileType) const {
  return TagAccess::access(fileType, *this).value_or(TagAccess::n);
}

void to_json(nlohmann::json& json, const TagAccess& access) { json = std::string(access.rawValue()); }

void from_json(const nlohmann::json& json, TagAccess& access) {
  auto parsed = TagAccess::fromRawValue(json.get<std::string>());
  if (!parsed) throw std::invalid_argument("not an access: " + json.get<std::string>());
  access = *parsed;
}

}  // namespace orvelin

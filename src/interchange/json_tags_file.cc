#include "orvelin/interchange/json_tags_file.h"

#include <nlohmann/json.hpp>

#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/support/files.h"
#include "orvelin/values/value.h"
#include "orvelin/values/value_converter.h"

namespace orvelin {

void JSONTagsExporter::generateJSON(const MetadataEditor& editor) {
  const auto catalogue = TagsResources::shared().catalogue();
  // Ordered, so that streams and keys keep the editor's order.
  nlohmann::ordered_json data = nlohmann::ordered_json::object();
  for (const auto& name : editor.currentTagNames()) {
    const auto value = editor.currentValue(name);
    const auto item = catalogue->tag(name);
    if (!item) continue;
    const auto json = value ? item->converter()->jsonValueFromRawValue(Value(*value)) : std::nullopt;
    data[name.stream().rawValue()][name.key().rawValue()] = json ? nlohmann::ordered_json(json->toJSON()) : nullptr;
  }
  try {
    jsonData_ = data.dump(2);
  } catch (const nlohmann::json::exception&) {
    jsonData_.reset();
  }
}

void JSONTagsImporter::importTags(std::string_view data) {
  const auto json = nlohmann::json::parse(data, nullptr, false);
  if (!json.is_object()) return;
  for (const auto& [stream, tags] : json.items())
    if (!tags.is_object()) return;
  for (const auto& [stream, tags] : json.items())
    for (const auto& [key, value] : tags.items())
      if (auto pair = TagsUtil::parseNV(stream + ":" + key, Value::fromJSON(value)))
        values_.insert_or_assign(pair->first, pair->second);
}

void JSONTagsImporter::importTagsAt(const std::filesystem::path& url) {
  if (const auto bytes = readFileContents(url)) importTags(*bytes);
}

}  // namespace orvelin

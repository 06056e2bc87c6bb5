#include "orvelin/editor/editor_finder_tags.h"

#include <memory>
#include <optional>

#include "orvelin/values/value_converter.h"

namespace orvelin {

namespace {

// Keywords as one text: the tags joined by ",", or the text split at ",".
ArrayValueConverter keywordsConverter() { return ArrayValueConverter(std::make_shared<StringValueConverter>(), ","); }

}  // namespace

std::vector<std::string> currentFinderTags(const MetadataEditor& editor) {
  if (auto written = editor.writtenFinderTags()) return std::move(*written);
  return editor.originalFinderTags();
}

bool areOriginalFinderTags(const MetadataEditor& editor) { return !editor.writtenFinderTags().has_value(); }

void restoreFinderTags(MetadataEditor& editor) { editor.setFinderTags(std::nullopt); }

void copyFinderTagsToIPTCKeywords(MetadataEditor& editor) {
  Value::Array tags;
  for (auto& tag : currentFinderTags(editor)) tags.emplace_back(std::move(tag));
  editor.setValue(keywordsConverter().stringValueFromRawValue(Value(std::move(tags))), TagName::iptcKeywords);
}

void copyIPTCKeywordsToFinderTags(MetadataEditor& editor) {
  const auto raw = keywordsConverter().rawValueFromStringValue(editor.currentValue(TagName::iptcKeywords));
  std::optional<std::vector<std::string>> tags;
  if (raw) {
    if (const auto* elements = raw->getIf<Value::Array>()) {
      tags.emplace();
      for (const auto& element : *elements)
        if (const auto* tag = element.getIf<std::string>()) tags->push_back(*tag);
    }
  }
  editor.setFinderTags(tags);
}

}  // namespace orvelin

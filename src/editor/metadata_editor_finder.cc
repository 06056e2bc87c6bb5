// Finder tags, and their copies to and from the IPTC keywords, built on the editor's slots.

#include <memory>

#include "orvelin/editor/metadata_editor.h"
#include "orvelin/values/value_converter.h"

namespace orvelin {

namespace {

// Keywords as one text: the tags joined by ",", or the text split at ",".
ArrayValueConverter keywordsConverter() { return ArrayValueConverter(std::make_shared<StringValueConverter>(), ","); }

}  // namespace

std::vector<std::string> MetadataEditor::currentFinderTags() const {
  if (auto written = writtenFinderTags()) return std::move(*written);
  return originalFinderTags();
}

bool MetadataEditor::areOriginalFinderTags() const { return !writtenFinderTags().has_value(); }

void MetadataEditor::restoreFinderTags() { setFinderTags(std::nullopt); }

void MetadataEditor::copyFinderTagsToIPTCKeywords() {
  Value::Array tags;
  for (auto& tag : currentFinderTags()) tags.emplace_back(std::move(tag));
  setValue(keywordsConverter().stringValueFromRawValue(Value(std::move(tags))), TagName::iptcKeywords);
}

void MetadataEditor::copyIPTCKeywordsToFinderTags() {
  const auto raw = keywordsConverter().rawValueFromStringValue(currentValue(TagName::iptcKeywords));
  std::optional<std::vector<std::string>> tags;
  if (raw) {
    if (const auto* elements = raw->getIf<Value::Array>()) {
      tags.emplace();
      for (const auto& element : *elements)
        if (const auto* tag = element.getIf<std::string>()) tags->push_back(*tag);
    }
  }
  setFinderTags(tags);
}

}  // namespace orvelin

#include "orvelin/editor/editor_values.h"

#include "orvelin/values/value_converter.h"

namespace orvelin {

void restoreValue(MetadataEditor& editor, const TagName& name) { editor.setValue(std::nullopt, name); }

void restoreValues(MetadataEditor& editor, const std::vector<TagName>& names) { editor.setValue(std::nullopt, names); }

void clearValue(MetadataEditor& editor, const TagName& name) { editor.setValue(std::string(), name); }

void clearValues(MetadataEditor& editor, const std::vector<TagName>& names) { editor.setValue(std::string(), names); }

std::optional<std::string> currentValue(const MetadataEditor& editor, const TagItem& tag) {
  return editor.currentValue(tag.name);
}

void setValue(MetadataEditor& editor, const std::optional<std::string>& value, const TagItem& tag) {
  editor.setValue(value, tag.name);
}

std::optional<Value> currentRawValue(const MetadataEditor& editor, const TagItem& tag) {
  return tag.converter()->rawValueFromStringValue(editor.currentValue(tag.name));
}

void setRawValue(MetadataEditor& editor, const std::optional<Value>& value, const TagItem& tag) {
  editor.setValue(tag.converter()->stringValueFromRawValue(value ? *value : Value()), tag.name);
}

}  // namespace orvelin

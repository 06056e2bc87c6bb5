// Values by name and by catalogue record, built on the editor's slots.

#include "orvelin/editor/metadata_editor.h"
#include "orvelin/values/value_converter.h"

namespace orvelin {

void MetadataEditor::restoreValue(const TagName& name) { setValue(std::nullopt, name); }

void MetadataEditor::restoreValues(const std::vector<TagName>& names) { setValue(std::nullopt, names); }

void MetadataEditor::clearValue(const TagName& name) { setValue(std::string(), name); }

void MetadataEditor::clearValues(const std::vector<TagName>& names) { setValue(std::string(), names); }

std::optional<std::string> MetadataEditor::currentValue(const TagItem& tag) const { return currentValue(tag.name); }

void MetadataEditor::setValue(const std::optional<std::string>& value, const TagItem& tag) { setValue(value, tag.name); }

std::optional<Value> MetadataEditor::currentRawValue(const TagItem& tag) const {
  return tag.converter()->rawValueFromStringValue(currentValue(tag.name));
}

void MetadataEditor::setRawValue(const std::optional<Value>& value, const TagItem& tag) {
  setValue(tag.converter()->stringValueFromRawValue(value ? *value : Value()), tag.name);
}

}  // namespace orvelin

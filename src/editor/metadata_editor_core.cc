#include "editor/metadata_editor_core.h"

#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/values/value_converter.h"

namespace orvelin {

TagAccess MetadataEditorCore::access(const TagName& name) const {
  if (storage.isFolder()) return TagAccess::rwc;
  if (auto byType = TagAccess::access(storage.fileType(), name.stream()); byType && *byType != TagAccess::n)
    return *byType;
  if (!storage.g0OriginalStreams().contains(name.stream()) && !storage.g1OriginalStreams().contains(name.stream()))
    return TagAccess::n;
  return storage.hasValue(name) ? TagAccess::rw : TagAccess::r;
}

bool MetadataEditorCore::canEditValue(const TagName& name) const {
  const auto& type = storage.fileType();
  if ((type == "icc" || type == "icm") && name.stream() == TagStream::icc) return true;
  const auto item = TagsResources::shared().tag(name);
  if (!item || !item->isWritable) return false;
  return access(name).canBeEdited();
}

std::optional<std::string> MetadataEditorCore::originalValue(const TagName& name) const {
  if (access(name) == TagAccess::n) return std::nullopt;
  return storage.originalValue(name);
}

std::optional<std::string> MetadataEditorCore::currentValue(const TagName& name) const {
  if (const auto* written = storage.writtenValuePointer(name)) return *written;
  return originalValue(name);
}

void MetadataEditorCore::setValue(const std::optional<std::string>& value, const TagName& name) {
  if (!canEditValue(name)) return;
  if (lockCounter > 0) return;
  if (value == currentValue(name)) return;
  // A number that is not finite has no JSON form: the save could never send it to exiftool.
  if (value && !value->empty()) {
    const auto item = TagsResources::shared().tag(name);
    if (item && isNonFiniteNumber(*item->converter(), *value)) return;
  }
  storage.setValue(value, name);
  registerEdition(name);
}

void MetadataEditorCore::unsafeSetValue(const std::optional<std::string>& value, const TagName& name) {
  if (lockCounter > 0) return;
  storage.setWrittenValueDirectly(value, name);
  registerEdition(name);
}

void MetadataEditorCore::forceValue(const TagName& name) {
  if (!canEditValue(name) || lockCounter > 0) return;
  storage.forceTagName(name);
  registerEdition(name);
}

void MetadataEditorCore::setFinderTags(const std::optional<std::vector<std::string>>& tags) {
  // A folder has no original tags to compare with.
  const bool shouldOptimizedFinderTags = !storage.isFolder();
  if (shouldOptimizedFinderTags && (!tags || *tags == storage.originalFinderTags()))
    storage.setFinderTags(std::nullopt);
  else
    storage.setFinderTags(tags);
  registerEdition(TagName::orvfinderTags);
}

void MetadataEditorCore::lockEditor() {
  if (++lockCounter == 1) postDidChangeLockState();
}

void MetadataEditorCore::unlockEditor() {
  if (lockCounter-- == 1) postDidChangeLockState();
}

std::string MetadataEditorCore::debugDescription() const {
  std::string text;
  for (const auto& name : storage.currentValuesTagNames()) {
    text.append(name.stream().rawValue()).append(":").append(name.key().rawValue()).append(":");
    if (const auto value = currentValue(name)) text.append(*value);
    text.push_back('\n');
  }
  return text;
}

}  // namespace orvelin

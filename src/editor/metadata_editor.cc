#include "orvelin/editor/metadata_editor.h"

#include <iostream>

#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/editions/editions_manager.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/support/debug_log.h"
#include "orvelin/support/fatal.h"
#include "orvelin/support/notification_center.h"
#include "orvelin/support/string_extensions.h"
#include "orvelin/values/value_converter.h"

namespace orvelin {

const std::string MetadataEditor::didChangeLockStateNotification = "MetadataEditorDidChangeLockStateNotification";

// ---------------------------------------------------------------------------------------------
// Core

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
  storage.setWrittenValueDirectly(currentValue(name).value_or(std::string()), name);
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

// ---------------------------------------------------------------------------------------------
// Editor

MetadataEditor::MetadataEditor(ReadWriteStorage storage, std::optional<std::string> password)
    : hashURL_(storage.sourceFileURL()), core_(std::move(storage), std::move(password)) {}

void MetadataEditor::announce(const std::vector<MetadataEditorCore::Announcement>& announcements) {
  if (announcements.empty()) return;
  const auto owner = weak_from_this().lock();
  if (!owner) return;  // an editor still being made, or one going away, announces nothing
  for (const auto& announcement : announcements) {
    if (announcement.edition)
      EditionsManager::shared().registerEdition(owner, *announcement.edition);
    else
      postDidChangeLockState();
  }
}

void MetadataEditor::adopt() {
  write([this](MetadataEditorCore& core) {
    core.storage.owner = shared_from_this();
    core.editor = shared_from_this();
  });
}

std::filesystem::path MetadataEditor::url() const {
  return read([](const MetadataEditorCore& core) { return core.storage.sourceFileURL(); });
}

std::string MetadataEditor::filename() const {
  auto path = url();
  if (!path.has_filename()) path = path.parent_path();  // a folder given with a final slash
  return path.stem().string();
}

std::string MetadataEditor::fileType() const {
  return read([](const MetadataEditorCore& core) { return core.storage.fileType(); });
}

std::optional<std::string> MetadataEditor::password() const {
  return read([](const MetadataEditorCore& core) { return core.filePassword; });
}

ReadWriteStorage MetadataEditor::storage() const {
  return read([](const MetadataEditorCore& core) { return core.storage; });
}

bool MetadataEditor::isFolder() const {
  return read([](const MetadataEditorCore& core) { return core.storage.isFolder(); });
}

bool MetadataEditor::isEdited() const {
  return read([](const MetadataEditorCore& core) {
    return core.storage.hasWrittenValues() || core.storage.writtenFinderTags().has_value();
  });
}

std::set<TagStream> MetadataEditor::g0OriginalStreams() const {
  return read([](const MetadataEditorCore& core) { return core.storage.g0OriginalStreams(); });
}

std::set<TagStream> MetadataEditor::g1OriginalStreams() const {
  return read([](const MetadataEditorCore& core) { return core.storage.g1OriginalStreams(); });
}

std::vector<TagName> MetadataEditor::originalTagNames() const {
  return read([](const MetadataEditorCore& core) { return core.storage.originalValuesTagNames(); });
}

std::vector<TagName> MetadataEditor::writtenTagNames() const {
  return read([](const MetadataEditorCore& core) { return core.storage.writtenValuesTagNames(); });
}

std::vector<TagName> MetadataEditor::currentTagNames() const {
  return read([](const MetadataEditorCore& core) { return core.storage.currentValuesTagNames(); });
}

bool MetadataEditor::canEditFinderTags() const { return true; }

std::vector<std::string> MetadataEditor::originalFinderTags() const {
  return read([](const MetadataEditorCore& core) { return core.storage.originalFinderTags(); });
}

std::optional<std::vector<std::string>> MetadataEditor::writtenFinderTags() const {
  return read([](const MetadataEditorCore& core) { return core.storage.writtenFinderTags(); });
}

void MetadataEditor::setFinderTags(const std::optional<std::vector<std::string>>& tags) {
  write([&](MetadataEditorCore& core) { core.setFinderTags(tags); });
}

bool MetadataEditor::isLocked() const {
  return read([](const MetadataEditorCore& core) { return core.isLocked(); });
}

void MetadataEditor::lockEditor() {
  write([](MetadataEditorCore& core) { core.lockEditor(); });
}

void MetadataEditor::unlockEditor() {
  write([](MetadataEditorCore& core) { core.unlockEditor(); });
}

TagAccess MetadataEditor::access(const TagName& name) const {
  return read([&](const MetadataEditorCore& core) { return core.access(name); });
}

bool MetadataEditor::canReadValue(const TagName& name) const {
  return read([&](const MetadataEditorCore& core) { return core.canReadValue(name); });
}

bool MetadataEditor::canEditValue(const TagName& name) const {
  return read([&](const MetadataEditorCore& core) { return core.canEditValue(name); });
}

bool MetadataEditor::isValueEdited(const TagName& name) const {
  return read([&](const MetadataEditorCore& core) { return core.isValueEdited(name); });
}

std::optional<std::string> MetadataEditor::originalValue(const TagName& name) const {
  return read([&](const MetadataEditorCore& core) { return core.originalValue(name); });
}

std::optional<std::string> MetadataEditor::writtenValue(const TagName& name) const {
  return read([&](const MetadataEditorCore& core) { return core.writtenValue(name); });
}

std::optional<std::string> MetadataEditor::currentValue(const TagName& name) const {
  return read([&](const MetadataEditorCore& core) { return core.currentValue(name); });
}

std::optional<std::string> MetadataEditor::unsafeGetValue(const TagName& name) const {
  return read([&](const MetadataEditorCore& core) { return core.unsafeGetValue(name); });
}

void MetadataEditor::setValue(const std::optional<std::string>& value, const TagName& name) {
  write([&](MetadataEditorCore& core) { core.setValue(value, name); });
}

void MetadataEditor::setValue(const std::optional<std::string>& value, const std::vector<TagName>& names) {
  write([&](MetadataEditorCore& core) {
    for (const auto& name : names) core.setValue(value, name);
  });
}

void MetadataEditor::setValues(const std::vector<std::pair<TagName, std::optional<std::string>>>& values) {
  write([&](MetadataEditorCore& core) {
    for (const auto& [name, value] : values) core.setValue(value, name);
  });
}

void MetadataEditor::setValues(const std::map<TagName, std::string>& values) {
  write([&](MetadataEditorCore& core) {
    for (const auto& [name, value] : values) core.setValue(value, name);
  });
}

void MetadataEditor::unsafeSetValue(const std::optional<std::string>& value, const TagName& name) {
  write([&](MetadataEditorCore& core) { core.unsafeSetValue(value, name); });
}

void MetadataEditor::forceValue(const TagName& name) {
  write([&](MetadataEditorCore& core) { core.forceValue(name); });
}

std::string MetadataEditor::debugDescription() const {
  return read([](const MetadataEditorCore& core) { return core.debugDescription(); });
}

void MetadataEditor::debugPrint() const { std::cout << debugDescription() << std::flush; }

std::optional<Image> MetadataEditor::extractFileIcon() const { return std::nullopt; }

std::optional<Image> MetadataEditor::extractThumbnail() const {
  ORVFatal("SHOULD BE IMPLEMENTED BY SUBCLASS extractThumbnail()");
}

void MetadataEditor::postDidChangeLockState() const {
  NotificationCenter::defaultCenter().post(didChangeLockStateNotification, this);
}

// The session of a save is opened and closed, and its names registered, with the editor's lock
// released: its notifications reach observers that read this editor.
void MetadataEditor::prepareInternalSaveChanges(ReadWriteStorage&) {
  const auto names = write([](MetadataEditorCore& core) {
    core.lockEditor();
    return core.storage.writtenValuesTagNames();
  });
  EditionsManager::shared().beginSession();
  if (const auto owner = weak_from_this().lock())
    for (const auto& name : names) EditionsManager::shared().registerEdition(owner, name);
}

void MetadataEditor::performInternalFlushChanges(ReadWriteStorage& written) {
  write([&](MetadataEditorCore& core) {
    if (core.lockCounter < 1) ORVPrint("Flushing changes while storage is not locked.");
    // A value the writer could not write is no longer pending: the file keeps what it had.
    for (const auto& name : core.storage.writtenValuesTagNames())
      if (!written.writtenValuePointer(name)) core.storage.setWrittenValueDirectly(std::nullopt, name);
    core.storage.flushNewToOriginalValues();
  });
}

void MetadataEditor::concludeInternalSaveChanges(ReadWriteStorage&) {
  EditionsManager::shared().endSession();
  write([](MetadataEditorCore& core) { core.unlockEditor(); });
}

const std::set<std::string, std::less<>>& MetadataEditor::supportedImages() {
  static const std::set<std::string, std::less<>> images = [] {
    const auto& arranged = ExifToolCLI::arrangedTypes();
    const auto found = arranged.find(MediaKind::image);
    return found == arranged.end() ? std::set<std::string, std::less<>>{} : found->second;
  }();
  return images;
}

const std::vector<std::string>& MetadataEditor::supportedImagesList() {
  static const std::vector<std::string> list(supportedImages().begin(), supportedImages().end());
  return list;
}

}  // namespace orvelin

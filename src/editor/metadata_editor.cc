#include "orvelin/editor/metadata_editor.h"

#include <iostream>
#include <mutex>
#include <type_traits>
#include <utility>

#include "editor/metadata_editor_core.h"
#include "orvelin/editions/editions_manager.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/support/debug_log.h"
#include "orvelin/support/fatal.h"
#include "orvelin/support/notification_center.h"

namespace orvelin {

const std::string MetadataEditor::didChangeLockStateNotification = "MetadataEditorDidChangeLockStateNotification";

namespace {

// Sends what the edits left to announce: each name to the editions manager, each change of
// the lock state as its notification.
void announce(MetadataEditor& editor, const std::vector<MetadataEditorCore::Announcement>& announcements) {
  if (announcements.empty()) return;
  const auto owner = editor.weak_from_this().lock();
  if (!owner) return;  // an editor still being made, or one going away, announces nothing
  for (const auto& announcement : announcements) {
    if (announcement.edition)
      EditionsManager::shared().registerEdition(owner, *announcement.edition);
    else
      owner->postDidChangeLockState();
  }
}

}  // namespace

template <typename Block>
auto MetadataEditor::read(Block&& block) const {
  std::shared_lock lock(coreLock_);
  return block(std::as_const(*core_));
}

template <typename Block>
auto MetadataEditor::write(Block&& block) {
  std::vector<MetadataEditorCore::Announcement> announcements;
  std::unique_lock lock(coreLock_);
  struct Collect {  // takes the announcements out of the core on every way out, lock held
    MetadataEditorCore& core;
    std::vector<MetadataEditorCore::Announcement>& into;
    ~Collect() { into.swap(core.announcements); }
  };
  if constexpr (std::is_void_v<std::invoke_result_t<Block, MetadataEditorCore&>>) {
    { Collect collect{*core_, announcements}; block(*core_); }
    lock.unlock();
    announce(*this, announcements);
  } else {
    auto result = [&] { Collect collect{*core_, announcements}; return block(*core_); }();
    lock.unlock();
    announce(*this, announcements);
    return result;
  }
}

MetadataEditor::MetadataEditor(ReadWriteStorage storage, std::optional<std::string> password)
    : hashURL_(storage.sourceFileURL()),
      core_(std::make_unique<MetadataEditorCore>(std::move(storage), std::move(password))) {}

MetadataEditor::~MetadataEditor() = default;

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

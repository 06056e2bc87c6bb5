#include "orvelin/editor/editor_editions.h"

#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/editions/editions_manager.h"
#include "orvelin/editor/editor_dates.h"
#include "orvelin/support/string_extensions.h"
#include "orvelin/values/date_edition.h"
#include "orvelin/values/value_converter.h"

namespace orvelin {

namespace {

bool inStream(const std::optional<TagStream>& stream, const TagName& name) { return !stream || *stream == name.stream(); }

// The source tag named by a copy or clone entry: "stream:key", split at the first ":".
std::optional<TagName> sourceName(const std::string& text) {
  auto parts = separate(text, ":");
  if (!parts) return std::nullopt;
  return TagName(parts->first, parts->second);
}

}  // namespace

void clearAll(MetadataEditor& editor, const std::optional<TagStream>& stream) {
  EditionsManager::shared().session([&] {
    if (!editor.isFolder()) {
      for (const auto& name : editor.currentTagNames())
        if (inStream(stream, name)) editor.setValue(std::string(), name);
      return;
    }
    // A folder has no list of its tags: the catalogue stands in for it.
    const auto catalogue = TagsResources::shared().catalogue();
    const std::vector<TagStream> streams = stream ? std::vector<TagStream>{*stream} : catalogue->streams();
    for (const auto& each : streams) {
      const auto* tags = catalogue->stream(each);
      if (!tags) continue;
      for (const auto& key : tags->keys) editor.setValue(std::string(), TagName(each, key));
    }
  });
}

void restoreAll(MetadataEditor& editor, const std::optional<TagStream>& stream) {
  EditionsManager::shared().session([&] {
    for (const auto& name : editor.writtenTagNames())
      if (inStream(stream, name)) editor.setValue(std::nullopt, name);
  });
}

void mergeValue(MetadataEditor& editor, const std::string& text, const TagName& name) {
  const auto item = TagsResources::shared().tag(name);
  if (!item) return;
  auto value = editor.currentValue(name).value_or(std::string());
  if (!value.empty() && value.back() != ' ') value += item->isInArray() ? ", " : " ";
  // Only text can take more text.
  if (!item->type.isShortString() && item->type.rawValue() != "longstring") return;
  value += text;
  editor.setValue(value, name);
}

void copy(MetadataEditor& editor, const TagName& source, const TagName& destination) {
  const auto catalogue = TagsResources::shared().catalogue();
  const auto sourceItem = catalogue->tag(source);
  const auto destinationItem = catalogue->tag(destination);
  if (!sourceItem || !destinationItem) return;
  const auto raw = sourceItem->converter()->rawValueFromStringValue(editor.currentValue(source));
  editor.setValue(destinationItem->converter()->stringValueFromRawValue(raw ? *raw : Value()), destination);
}

void clone(MetadataEditor& editor, const TagName& source, const TagName& destination) {
  const auto catalogue = TagsResources::shared().catalogue();
  const auto sourceItem = catalogue->tag(source);
  const auto destinationItem = catalogue->tag(destination);
  if (!sourceItem || !destinationItem) return;
  const auto value = editor.currentValue(source);
  // A choice from a list moves as the text a reader sees for it.
  if (!sourceItem->values.empty() && !sourceItem->isInArray() && value) {
    if (const auto index = sourceItem->indexOf(*value)) {
      const auto& localized = sourceItem->localizedValues().at(*index);
      editor.setValue(destinationItem->converter()->stringValueFromStringValue(localized), destination);
      return;
    }
  }
  const auto formatted = sourceItem->converter()->formattedValueFromStringValue(value);
  editor.setValue(formatted ? destinationItem->converter()->stringValueFromRawValue(Value(*formatted)) : std::nullopt,
                  destination);
}

void apply(MetadataEditor& editor, const PresetEntry& entry, const TagName& name) {
  const auto item = TagsResources::shared().tag(name);
  if (!item) return;
  const bool dated = item->type.isDateConvertible();
  switch (entry.kind()) {
    case PresetEntry::Case::value:
      if (!dated) {
        editor.setValue(entry.payload(), name);
      } else if (const auto edition = DateEdition::fromDescription(entry.payload())) {
        apply(editor, *edition, name);
      }
      return;
    case PresetEntry::Case::copy:
      if (const auto source = sourceName(entry.payload())) {
        if (dated)
          copyDate(editor, *source, name);
        else
          copy(editor, *source, name);
      }
      return;
    case PresetEntry::Case::merge: mergeValue(editor, entry.payload(), name); return;
    case PresetEntry::Case::clone:
      if (const auto source = sourceName(entry.payload())) clone(editor, *source, name);
      return;
    case PresetEntry::Case::none: return;
    case PresetEntry::Case::remove: editor.setValue(std::string(), name); return;
    case PresetEntry::Case::restore: editor.setValue(std::nullopt, name); return;
  }
}

void apply(MetadataEditor& editor, const std::map<TagName, PresetEntry>& entries) {
  EditionsManager::shared().session([&] {
    for (const auto& [name, entry] : entries) apply(editor, entry, name);
  });
}

}  // namespace orvelin

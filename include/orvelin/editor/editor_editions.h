#pragma once

#include <concepts>
#include <map>
#include <optional>
#include <string>
#include <type_traits>

#include "orvelin/editor/metadata_editor.h"
#include "orvelin/presets/preset_entry.h"
#include "orvelin/tags/tag_name.h"

// Edits with intent: clear and restore of whole streams, merge, copy, clone and presets, built
// on the slots of MetadataEditor, with the rules, vocabulary and thread-safety told in
// editor_values.h. Copies between date tags and date editions are in editor_dates.h.

namespace orvelin {

// Clears every tag of `stream` (absent: of every stream), in a session. A file clears the
// tags it has; a folder, which has no list of tags, every key the catalogue knows for the
// stream(s), those that cannot be edited being refused one by one. Finder tags stay.
void clearAll(MetadataEditor& editor, const std::optional<TagStream>& stream = std::nullopt);
// Restores every pending value of `stream` (absent: of every stream), in a session. Finder
// tags stay.
void restoreAll(MetadataEditor& editor, const std::optional<TagStream>& stream = std::nullopt);
// Appends `text` to the current value, after ", " for a list tag and " " for another one,
// unless the value is empty or ends in a blank. Only text tags take it: on any other type,
// and for a tag the catalogue does not know, nothing happens.
void mergeValue(MetadataEditor& editor, const std::string& text, const TagName& name);
// Sets `destination` to the value of `source` read by the source's converter and written by
// the destination's, so that numbers and dates take the destination's form. A source without
// value normally restores the destination. Both tags must be in the catalogue, else nothing
// happens.
void copy(MetadataEditor& editor, const TagName& source, const TagName& destination);
// Sets `destination` to the value of `source` as a reader sees it: the localised text of a
// choice from the source's list, else the source's formatted text, each read by the
// destination's converter.
void clone(MetadataEditor& editor, const TagName& source, const TagName& destination);
// A preset entry on one tag: a value entry on a date tag is a date edition's text (nothing
// happens when it is none), on another tag a text to set; copy and clone name their source
// "stream:key" (copy between date tags is copyDate()); merge, remove, restore and none as
// their names say. Nothing happens for a tag the catalogue does not know.
void apply(MetadataEditor& editor, const PresetEntry& entry, const TagName& name);
// Every entry in the map's order, in a session. One entry must not rely on another's result.
void apply(MetadataEditor& editor, const std::map<TagName, PresetEntry>& entries);

// The same, for an editor of a derived class or a map that is not const. std is an associated
// namespace of every editor (through std::enable_shared_from_this), and std::apply would
// otherwise be the better match for an unqualified call and fail to compile.
template <typename Editor, typename Entries>
  requires std::derived_from<std::remove_reference_t<Editor>, MetadataEditor> &&
           std::same_as<std::remove_cvref_t<Entries>, std::map<TagName, PresetEntry>>
void apply(Editor&& editor, Entries&& entries) {
  apply(static_cast<MetadataEditor&>(editor), static_cast<const std::map<TagName, PresetEntry>&>(entries));
}

}  // namespace orvelin

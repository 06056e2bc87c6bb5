#pragma once

#include <concepts>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "orvelin/editor/metadata_editor.h"
#include "orvelin/presets/preset_entry.h"
#include "orvelin/values/coordinate.h"
#include "orvelin/values/date_edition.h"
#include "orvelin/values/date_values.h"
#include "orvelin/values/location.h"

// Batch operations: the operations of one editor over an array of editors (the files a host
// has selected), so that an inspector edits them all at once and shows one value for all.
//
// Writes reach every editor, in parallel over the editors (concurrentPerform) and in order
// within each, inside one session of EditionsManager::shared(): observers hear of the whole
// batch once, even of an empty array (an empty session). Each editor applies its own rules, so
// a write may reach only the editors that can take it. The calls return when every editor is
// done. Reads ask every editor in parallel and reduce the answers: a set of one member means
// that the editors agree, a set of more that the value is mixed. An empty array reads as an
// empty set, false, or absent.
//
// Safe for concurrent use with any other use of the editors; blocks given to
// performConcurrently() run on worker threads and must be safe there. Like the single-editor
// operations, none may be called from an observer of the editors' or the manager's
// notifications without changing thread first.

namespace orvelin {

// A view of an array of editors of any kind (a std::vector of std::shared_ptr to
// MetadataEditor or to one of its subclasses), so that one set of operations serves them all.
// It holds no editor: REQUIRES the viewed vector outlives the view and is not changed while a
// call uses it, and holds no null editor.
class EditorArray {
 public:
  EditorArray() = default;
  template <typename E>
    requires std::derived_from<E, MetadataEditor>
  EditorArray(const std::vector<std::shared_ptr<E>>& editors)  // NOLINT: a view converts implicitly
      : data_(editors.data()), size_(editors.size()), at_(&element<E>) {}

  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  MetadataEditor& operator[](std::size_t index) const { return at_(data_, index); }

 private:
  template <typename E>
  static MetadataEditor& element(const void* data, std::size_t index) {
    return *static_cast<const std::shared_ptr<E>*>(data)[index];
  }

  const void* data_ = nullptr;
  std::size_t size_ = 0;
  MetadataEditor& (*at_)(const void*, std::size_t) = nullptr;
};

// Calls `block` once for each editor, on several threads at once and in no fixed order, and
// returns when all calls are done. The first exception of a block reaches the caller.
void performConcurrently(EditorArray editors, const std::function<void(MetadataEditor&)>& block);

// Write family: each in one session, the single-editor operation on every editor.
void setValue(EditorArray editors, const std::optional<std::string>& value, const TagName& name);
void setValues(EditorArray editors, const std::vector<std::pair<TagName, std::optional<std::string>>>& values);
void setValues(EditorArray editors, const std::map<TagName, std::string>& values);
void forceValue(EditorArray editors, const TagName& name);
void clearValue(EditorArray editors, const TagName& name);
void clearValues(EditorArray editors, const std::vector<TagName>& names);
void restoreValue(EditorArray editors, const TagName& name);
void restoreValues(EditorArray editors, const std::vector<TagName>& names);
// clearAll() and restoreAll() of editor_editions.h; absent: every stream.
void clearStream(EditorArray editors, const std::optional<TagStream>& stream);
void restoreStream(EditorArray editors, const std::optional<TagStream>& stream);
void applyDateEdition(EditorArray editors, const DateEdition& edition, const TagName& name);
// Each entry applied on its own, in the map's order, on every editor.
void applyPresetEntries(EditorArray editors, const std::map<TagName, PresetEntry>& entries);
void setEXIFGPSLatitude(EditorArray editors, const std::optional<double>& latitude);
void setEXIFGPSLongitude(EditorArray editors, const std::optional<double>& longitude);
void setEXIFGPSDateTime(EditorArray editors, const std::optional<Date>& date);
void setEXIFGPSCoordinate(EditorArray editors, const std::optional<Coordinate>& coordinate);
void setEXIFGPSCoordinate2D(EditorArray editors, const std::optional<LocationCoordinate2D>& coordinate);
void setEXIFGPSLocation(EditorArray editors, const Location& location, bool keepDate);
void eraseExifGPSLocation(EditorArray editors);
void restoreExifGPSLocation(EditorArray editors);

// Read family. True when any editor says true.
bool isValueEdited(EditorArray editors, const TagName& name);
bool canEditValue(EditorArray editors, const TagName& name);
// The distinct answers of the single-editor read, absent included; the "OrEmpty" forms turn
// absent into the empty text.
std::unordered_set<std::optional<std::string>> originalValues(EditorArray editors, const TagName& name);
std::unordered_set<std::string> originalOrEmptyValues(EditorArray editors, const TagName& name);
std::unordered_set<std::optional<std::string>> writtenValues(EditorArray editors, const TagName& name);
std::unordered_set<std::string> writtenOrEmptyValues(EditorArray editors, const TagName& name);
std::unordered_set<std::optional<std::string>> currentValues(EditorArray editors, const TagName& name);
std::unordered_set<std::string> currentOrEmptyValues(EditorArray editors, const TagName& name);
// currentOrEmptyValues(), isValueEdited() and canEditValue() of one tag together, in one pass
// over the editors: each editor's values are read once, while they are in the processor's
// cache, rather than once per question (what an inspector's row shows, for many editors).
struct TagSummary {
  std::unordered_set<std::string> currentOrEmptyValues;
  bool isValueEdited = false;
  bool canEditValue = false;
};
TagSummary summary(EditorArray editors, const TagName& name);

// The one answer all editors give; absent when they disagree (or the array is empty).
std::optional<double> exifGPSLatitude(EditorArray editors);
std::optional<double> exifGPSLongitude(EditorArray editors);
std::optional<Date> exifGPSDateTime(EditorArray editors);
std::optional<Coordinate> exifGPSCoordinate(EditorArray editors);
// The one answer all editors give; empty when they disagree.
std::string iptcLocationDescription(EditorArray editors);

}  // namespace orvelin

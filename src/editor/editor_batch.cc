#include "orvelin/editor/editor_batch.h"

#include <algorithm>
#include <atomic>
#include <mutex>

#include "orvelin/editions/editions_manager.h"
#include "orvelin/editor/editor_dates.h"
#include "orvelin/editor/editor_editions.h"
#include "orvelin/editor/editor_gps.h"
#include "orvelin/editor/editor_values.h"
#include "orvelin/support/parallel.h"

namespace orvelin {

namespace {

// The write pattern: one session around the block run on every editor.
void inSession(EditorArray editors, const std::function<void(MetadataEditor&)>& block) {
  EditionsManager::shared().session([&] { performConcurrently(editors, block); });
}

// Runs `body(begin, end)` over consecutive slices of the editors, a few per worker, in parallel:
// reads gather per slice and merge once per slice, rather than contend for a lock per editor.
void perSlice(EditorArray editors, const std::function<void(std::size_t, std::size_t)>& body) {
  const std::size_t slices = std::min(editors.size(), WorkerPool::shared().width() * 4);
  concurrentPerform(slices, [&](std::size_t slice) {
    body(editors.size() * slice / slices, editors.size() * (slice + 1) / slices);
  });
}

// True when `read` is true for any editor; stops asking once one said so.
bool any(EditorArray editors, const std::function<bool(const MetadataEditor&)>& read) {
  std::atomic<bool> found{false};
  perSlice(editors, [&](std::size_t begin, std::size_t end) {
    for (std::size_t index = begin; index < end && !found.load(std::memory_order_relaxed); ++index)
      if (read(editors[index])) found.store(true, std::memory_order_relaxed);
  });
  return found.load();
}

// The distinct answers of `read`.
template <typename Result, typename Read>
std::unordered_set<Result> distinct(EditorArray editors, Read&& read) {
  std::unordered_set<Result> results;
  std::mutex resultsMutex;
  perSlice(editors, [&](std::size_t begin, std::size_t end) {
    std::unordered_set<Result> slice;
    for (std::size_t index = begin; index < end; ++index) slice.insert(read(editors[index]));
    std::lock_guard lock(resultsMutex);
    results.merge(slice);
  });
  return results;
}

using ValueRead = std::optional<std::string> (MetadataEditor::*)(const TagName&) const;

std::unordered_set<std::optional<std::string>> values(EditorArray editors, const TagName& name, ValueRead read) {
  return distinct<std::optional<std::string>>(editors,
                                              [&](const MetadataEditor& editor) { return (editor.*read)(name); });
}

std::unordered_set<std::string> valuesOrEmpty(EditorArray editors, const TagName& name, ValueRead read) {
  return distinct<std::string>(editors,
                               [&](const MetadataEditor& editor) { return (editor.*read)(name).value_or(""); });
}

// The answer every editor gives, or `disagreement` (also for an empty array).
template <typename Result, typename Read>
Result common(EditorArray editors, Read&& read, const Result& disagreement) {
  std::vector<std::optional<Result>> answers(editors.size());
  concurrentPerform(editors.size(), [&](std::size_t index) { answers[index] = read(editors[index]); });
  if (answers.empty()) return disagreement;
  for (const auto& answer : answers)
    if (*answer != *answers.front()) return disagreement;
  return *answers.front();
}

template <typename T>
std::optional<T> commonOptional(EditorArray editors, std::optional<T> (*read)(const MetadataEditor&)) {
  return common<std::optional<T>>(editors, read, std::nullopt);
}

}  // namespace

void performConcurrently(EditorArray editors, const std::function<void(MetadataEditor&)>& block) {
  concurrentPerform(editors.size(), [&](std::size_t index) { block(editors[index]); });
}

void setValue(EditorArray editors, const std::optional<std::string>& value, const TagName& name) {
  inSession(editors, [&](MetadataEditor& editor) { editor.setValue(value, name); });
}

void setValues(EditorArray editors, const std::vector<std::pair<TagName, std::optional<std::string>>>& values) {
  inSession(editors, [&](MetadataEditor& editor) { editor.setValues(values); });
}

void setValues(EditorArray editors, const std::map<TagName, std::string>& values) {
  inSession(editors, [&](MetadataEditor& editor) { editor.setValues(values); });
}

void forceValue(EditorArray editors, const TagName& name) {
  inSession(editors, [&](MetadataEditor& editor) { editor.forceValue(name); });
}

void clearValue(EditorArray editors, const TagName& name) { setValue(editors, std::string(), name); }

void clearValues(EditorArray editors, const std::vector<TagName>& names) {
  inSession(editors, [&](MetadataEditor& editor) { editor.setValue(std::string(), names); });
}

void restoreValue(EditorArray editors, const TagName& name) { setValue(editors, std::nullopt, name); }

void restoreValues(EditorArray editors, const std::vector<TagName>& names) {
  inSession(editors, [&](MetadataEditor& editor) { editor.setValue(std::nullopt, names); });
}

void clearStream(EditorArray editors, const std::optional<TagStream>& stream) {
  inSession(editors, [&](MetadataEditor& editor) { clearAll(editor, stream); });
}

void restoreStream(EditorArray editors, const std::optional<TagStream>& stream) {
  inSession(editors, [&](MetadataEditor& editor) { restoreAll(editor, stream); });
}

void applyDateEdition(EditorArray editors, const DateEdition& edition, const TagName& name) {
  inSession(editors, [&](MetadataEditor& editor) { apply(editor, edition, name); });
}

void applyPresetEntries(EditorArray editors, const std::map<TagName, PresetEntry>& entries) {
  inSession(editors, [&](MetadataEditor& editor) {
    for (const auto& [name, entry] : entries) apply(editor, entry, name);
  });
}

void setEXIFGPSLatitude(EditorArray editors, const std::optional<double>& latitude) {
  inSession(editors, [&](MetadataEditor& editor) { setEXIFGPSLatitude(editor, latitude); });
}

void setEXIFGPSLongitude(EditorArray editors, const std::optional<double>& longitude) {
  inSession(editors, [&](MetadataEditor& editor) { setEXIFGPSLongitude(editor, longitude); });
}

void setEXIFGPSDateTime(EditorArray editors, const std::optional<Date>& date) {
  inSession(editors, [&](MetadataEditor& editor) { setEXIFGPSDateTime(editor, date); });
}

void setEXIFGPSCoordinate(EditorArray editors, const std::optional<Coordinate>& coordinate) {
  inSession(editors, [&](MetadataEditor& editor) { setEXIFGPSCoordinate(editor, coordinate); });
}

void setEXIFGPSCoordinate2D(EditorArray editors, const std::optional<LocationCoordinate2D>& coordinate) {
  inSession(editors, [&](MetadataEditor& editor) { setEXIFGPSCoordinate2D(editor, coordinate); });
}

void setEXIFGPSLocation(EditorArray editors, const Location& location, bool keepDate) {
  inSession(editors, [&](MetadataEditor& editor) { setEXIFGPSLocation(editor, location, keepDate); });
}

void eraseExifGPSLocation(EditorArray editors) {
  inSession(editors, [](MetadataEditor& editor) { eraseEXIFGPSLocation(editor); });
}

void restoreExifGPSLocation(EditorArray editors) {
  inSession(editors, [](MetadataEditor& editor) { restoreEXIFGPSLocation(editor); });
}

bool isValueEdited(EditorArray editors, const TagName& name) {
  return any(editors, [&](const MetadataEditor& editor) { return editor.isValueEdited(name); });
}

bool canEditValue(EditorArray editors, const TagName& name) {
  return any(editors, [&](const MetadataEditor& editor) { return editor.canEditValue(name); });
}

std::unordered_set<std::optional<std::string>> originalValues(EditorArray editors, const TagName& name) {
  return values(editors, name, &MetadataEditor::originalValue);
}

std::unordered_set<std::string> originalOrEmptyValues(EditorArray editors, const TagName& name) {
  return valuesOrEmpty(editors, name, &MetadataEditor::originalValue);
}

std::unordered_set<std::optional<std::string>> writtenValues(EditorArray editors, const TagName& name) {
  return values(editors, name, &MetadataEditor::writtenValue);
}

std::unordered_set<std::string> writtenOrEmptyValues(EditorArray editors, const TagName& name) {
  return valuesOrEmpty(editors, name, &MetadataEditor::writtenValue);
}

std::unordered_set<std::optional<std::string>> currentValues(EditorArray editors, const TagName& name) {
  return values(editors, name, &MetadataEditor::currentValue);
}

std::unordered_set<std::string> currentOrEmptyValues(EditorArray editors, const TagName& name) {
  return valuesOrEmpty(editors, name, &MetadataEditor::currentValue);
}

TagSummary summary(EditorArray editors, const TagName& name) {
  TagSummary summary;
  std::mutex summaryMutex;
  perSlice(editors, [&](std::size_t begin, std::size_t end) {
    TagSummary slice;
    for (std::size_t index = begin; index < end; ++index) {
      const auto& editor = editors[index];
      slice.currentOrEmptyValues.insert(editor.currentValue(name).value_or(""));
      slice.isValueEdited = slice.isValueEdited || editor.isValueEdited(name);
      slice.canEditValue = slice.canEditValue || editor.canEditValue(name);
    }
    std::lock_guard lock(summaryMutex);
    summary.currentOrEmptyValues.merge(slice.currentOrEmptyValues);
    summary.isValueEdited = summary.isValueEdited || slice.isValueEdited;
    summary.canEditValue = summary.canEditValue || slice.canEditValue;
  });
  return summary;
}

std::optional<double> exifGPSLatitude(EditorArray editors) { return commonOptional<double>(editors, &exifGPSLatitude); }

std::optional<double> exifGPSLongitude(EditorArray editors) {
  return commonOptional<double>(editors, &exifGPSLongitude);
}

std::optional<Date> exifGPSDateTime(EditorArray editors) { return commonOptional<Date>(editors, &exifGPSDateTime); }

std::optional<Coordinate> exifGPSCoordinate(EditorArray editors) {
  return commonOptional<Coordinate>(editors, &exifGPSCoordinate);
}

std::string iptcLocationDescription(EditorArray editors) {
  return common<std::string>(
      editors, [](const MetadataEditor& editor) { return iptcLocationDescription(editor); }, std::string());
}

}  // namespace orvelin

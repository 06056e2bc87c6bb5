#include "orvelin/interchange/tags_pboard_manager.h"

#include <set>

#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/editions/editions_manager.h"
#include "orvelin/editor/editor_editions.h"
#include "orvelin/support/main_queue.h"
#include "orvelin/support/pasteboard.h"
#include "orvelin/support/string_extensions.h"
#include "orvelin/values/coordinate_parser.h"
#include "orvelin/values/coordinate_writer.h"
#include "orvelin/values/value.h"
#include "orvelin/values/value_converter.h"

namespace orvelin {

namespace {

// One line per tag: name, ": " and the value in double quotes.
constexpr std::string_view kMultipleValuesPattern = R"re(\s*(.*)\s*:\s*"(.*)"\s*)re";

std::string coordinateText(const Coordinate& coordinate) {
  const CoordinateWriter writer;
  return writer.preDDMMSSs(coordinate.latitude) + writer.defaultSeparator + writer.preDDMMSSs(coordinate.longitude);
}

}  // namespace

TagsPBoardManager& TagsPBoardManager::shared() {
  static TagsPBoardManager* const manager = new TagsPBoardManager();
  return *manager;
}

std::optional<std::string> TagsPBoardManager::readStringValueFromPasteboard() {
  std::optional<std::string> text;
  MainQueue::shared().sync([&] { text = ORVGetPasteboard()->readString(); });
  return text;
}

void TagsPBoardManager::writeStringValueToPasteboard(const std::string& text) {
  MainQueue::shared().sync([&] { ORVGetPasteboard()->writeString(text); });
}

std::optional<Coordinate> TagsPBoardManager::readGPSCoordinate() {
  const auto text = readStringValueFromPasteboard();
  if (!text) return std::nullopt;
  return CoordinateParser().coordinate(*text);
}

void TagsPBoardManager::writeGPSCoordinate(const Coordinate& coordinate) {
  writeStringValueToPasteboard(coordinateText(coordinate));
}

bool TagsPBoardManager::hasSingleValue(const TagType& type) { return readSingleRawValue(type).has_value(); }

std::optional<std::string> TagsPBoardManager::readSingleRawValue(const TagType& type) {
  const auto text = readStringValueFromPasteboard();
  if (!text) return std::nullopt;
  return type.converter()->stringValueFromStringValue(*text);
}

void TagsPBoardManager::writeSingleRawValue(const std::string& text) { writeStringValueToPasteboard(text); }

bool TagsPBoardManager::hasMultipleValues() { return !readMultipleValues().empty(); }

void TagsPBoardManager::writeMultipleValues(const std::vector<std::pair<TagName, std::string>>& values) {
  std::string text;
  for (const auto& [name, value] : values) text += name.rawValue() + ": \"" + value + "\"\n";
  writeStringValueToPasteboard(text);
}

std::vector<std::pair<TagName, std::string>> TagsPBoardManager::readMultipleValues() {
  std::vector<std::pair<TagName, std::string>> values;
  const auto text = readStringValueFromPasteboard();
  if (!text) return values;
  for (const auto& groups : captureMatches(*text, kMultipleValuesPattern)) {
    if (groups.size() != 2) continue;
    if (auto pair = TagsUtil::parseNV(groups[0], Value(groups[1]))) values.push_back(std::move(*pair));
  }
  return values;
}

void copyTags(EditorArray editors, const std::vector<TagName>& names) {
  std::vector<std::pair<TagName, std::string>> pairs;
  for (const auto& name : names) {
    auto values = currentOrEmptyValues(editors, name);
    if (values.size() == 1) pairs.emplace_back(name, std::move(values.extract(values.begin()).value()));
  }
  TagsPBoardManager::shared().writeMultipleValues(pairs);
}

void copyStream(EditorArray editors, const TagStream& stream) {
  const auto keys = TagsResources::shared().keys(stream);
  if (keys.empty()) return;
  std::vector<std::pair<TagName, std::string>> pairs;
  for (const auto& key : keys) {
    TagName name(stream, key);
    const auto values = currentValues(editors, name);
    if (values.size() == 1 && *values.begin()) pairs.emplace_back(std::move(name), **values.begin());
  }
  TagsPBoardManager::shared().writeMultipleValues(pairs);
}

void pasteTags(EditorArray editors, bool eraseOther) {
  const auto pairs = TagsPBoardManager::shared().readMultipleValues();
  if (pairs.empty()) return;
  std::set<TagStream> streams;
  for (const auto& pair : pairs) streams.insert(pair.first.stream());
  EditionsManager::shared().session([&] {
    performConcurrently(editors, [&](MetadataEditor& editor) {
      if (eraseOther)
        for (const auto& stream : streams) clearAll(editor, stream);
      for (const auto& [name, value] : pairs) editor.setValue(value, name);
    });
  });
}

void copyEXIFGPSCoordinate(EditorArray editors) {
  if (const auto coordinate = exifGPSCoordinate(editors))
    TagsPBoardManager::shared().writeStringValueToPasteboard(coordinateText(*coordinate));
}

void pasteEXIFGPSCoordinate(EditorArray editors) {
  if (const auto coordinate = TagsPBoardManager::shared().readGPSCoordinate()) setEXIFGPSCoordinate(editors, coordinate);
}

}  // namespace orvelin

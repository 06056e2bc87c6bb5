// The edits of `orvelin set`.

#include "set_edits.h"

#include <cmath>
#include <cstdio>
#include <unordered_map>

#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/editions/editions_manager.h"
#include "orvelin/editor/editor_batch.h"
#include "orvelin/editor/editor_dates.h"
#include "orvelin/editor/editor_editions.h"
#include "orvelin/editor/editor_finder_tags.h"
#include "orvelin/editor/editor_gps.h"
#include "orvelin/editor/editor_image_facts.h"
#include "orvelin/support/string_extensions.h"
#include "orvelin/values/coordinate_parser.h"
#include "orvelin/values/value_converter.h"

namespace orvelin::tool {

namespace {

std::optional<TagName> parseTagName(const std::string& text) {
  auto name = TagName::fromRawValue(text);
  if (!name || name->stream().rawValue().empty() || name->key().rawValue().empty()) {
    std::fprintf(stderr, "orvelin: %s is no tag name (STREAM:KEY)\n", text.c_str());
    return std::nullopt;
  }
  return name;
}

// "LEFT=RIGHT", split at the first "=".
std::optional<std::pair<std::string, std::string>> splitAssignment(const std::string& option, const std::string& text,
                                                                   const char* form) {
  const auto equals = text.find('=');
  if (equals == std::string::npos) {
    std::fprintf(stderr, "orvelin: %s %s: expected %s\n", option.c_str(), text.c_str(), form);
    return std::nullopt;
  }
  return std::make_pair(text.substr(0, equals), text.substr(equals + 1));
}

}  // namespace

std::optional<std::vector<Edit>> parseEdits(const SetOptions& options) {
  std::vector<Edit> edits;
  for (const auto& text : options.clears) {
    auto name = parseTagName(text);
    if (!name) return std::nullopt;
    edits.push_back({Edit::Kind::clear, *name, ""});
  }
  for (const auto& text : options.values) {
    const auto parts = splitAssignment("-t", text, "STREAM:KEY=VALUE");
    if (!parts) return std::nullopt;
    auto name = parseTagName(parts->first);
    if (!name) return std::nullopt;
    edits.push_back({Edit::Kind::value, *name, parts->second});
  }
  for (const auto& text : options.forces) {
    auto name = parseTagName(text);
    if (!name) return std::nullopt;
    edits.push_back({Edit::Kind::force, *name, ""});
  }
  return edits;
}

std::optional<IntentEdits> parseIntentEdits(const SetOptions& options) {
  IntentEdits edits;
  if (options.gps) {
    edits.position = CoordinateParser().coordinate(*options.gps);
    if (!edits.position) {
      std::fprintf(stderr, "orvelin: --gps %s: no position in any of the notations\n", options.gps->c_str());
      return std::nullopt;
    }
  }
  if (options.gpsAltitude) {
    edits.altitude = SDoubleValueConverter().typedValueFromStringValue(*options.gpsAltitude);
    if (!edits.altitude || !std::isfinite(*edits.altitude)) {
      std::fprintf(stderr, "orvelin: --gps-altitude %s: no number of metres\n", options.gpsAltitude->c_str());
      return std::nullopt;
    }
  }
  for (const auto& text : options.dates) {
    const auto parts = splitAssignment("--date", text, "STREAM:KEY=EDITION");
    if (!parts) return std::nullopt;
    const auto name = parseTagName(parts->first);
    if (!name) return std::nullopt;
    const auto edition = DateEdition::fromDescription(parts->second);
    if (!edition) {
      std::fprintf(stderr, "orvelin: --date %s: \"%s\" is no date edition (such as SHIFT(hh: 1))\n", text.c_str(),
                   parts->second.c_str());
      return std::nullopt;
    }
    edits.dates.emplace_back(*name, *edition);
  }
  const std::pair<const char*, std::pair<const std::vector<std::string>*, std::vector<std::pair<TagName, TagName>>*>>
      pairs[] = {{"--copy", {&options.copies, &edits.copies}},
                 {"--copy-date", {&options.copyDates, &edits.copyDates}},
                 {"--clone", {&options.clones, &edits.clones}}};
  for (const auto& [option, lists] : pairs) {
    for (const auto& text : *lists.first) {
      const auto parts = splitAssignment(option, text, "SRC=DST");
      if (!parts) return std::nullopt;
      const auto source = parseTagName(parts->first);
      const auto destination = source ? parseTagName(parts->second) : std::nullopt;
      if (!destination) return std::nullopt;
      lists.second->emplace_back(*source, *destination);
    }
  }
  for (const auto& text : options.merges) {
    const auto parts = splitAssignment("--merge", text, "STREAM:KEY=TEXT");
    if (!parts) return std::nullopt;
    const auto name = parseTagName(parts->first);
    if (!name) return std::nullopt;
    edits.merges.emplace_back(*name, parts->second);
  }
  if (options.presetName && !options.presetFile) {
    std::fprintf(stderr, "orvelin: --preset-name needs --preset FILE\n");
    return std::nullopt;
  }
  if (options.presetFile) {
    Preset::Presets presets;
    try {
      presets = Preset::importFromFile(*options.presetFile);
    } catch (const std::exception& failure) {
      std::fprintf(stderr, "%s: %s\n", options.presetFile->c_str(), failure.what());
      return std::nullopt;
    }
    for (const auto& preset : presets)
      if (!options.presetName || preset->name() == *options.presetName) {
        edits.preset = preset;
        break;
      }
    if (!edits.preset) {
      if (options.presetName)
        std::fprintf(stderr, "%s: no preset named \"%s\"\n", options.presetFile->c_str(), options.presetName->c_str());
      else
        std::fprintf(stderr, "%s: no preset\n", options.presetFile->c_str());
      return std::nullopt;
    }
  }
  return edits;
}

namespace {

// The edits one file refuses, as lines "path: NAME refused (why)" kept for standard error, since
// the editor itself refuses silently. Each check looks the tag up in one catalogue snapshot.
class Refusals {
 public:
  Refusals(const MetadataEditor& editor, const std::string& path)
      : editor_(editor), path_(path), catalogue_(TagsResources::shared().catalogue()) {}

  // The catalogue's record of `name`; null, reported, when the catalogue does not know it.
  std::shared_ptr<const TagItem> known(const TagName& name) {
    auto item = catalogue_->tag(name);
    if (!item) refuse(name, "not in the catalogue");
    return item;
  }
  // As known(), and null, reported, when the editor cannot edit the tag.
  std::shared_ptr<const TagItem> editable(const TagName& name) {
    auto item = known(name);
    if (item && !editor_.canEditValue(name)) {
      refuse(name, "not editable in this file");
      return nullptr;
    }
    return item;
  }
  void refuse(const TagName& name, const std::string& why) {
    lines_ += path_ + ": " + name.rawValue() + " refused (" + why + ")\n";
  }
  const std::string& lines() const { return lines_; }

 private:
  const MetadataEditor& editor_;
  const std::string& path_;
  const std::shared_ptr<const TagsCatalogue> catalogue_;
  std::string lines_;
};

// Merges `text` into the tag, reporting the refusal of a tag that takes no text. Whether a tag
// takes text is the editor's own rule, not repeated here: a merge of some text that leaves the
// value as it was, on a tag the editor can edit, was refused.
void merge(MetadataEditor& editor, const TagName& name, const std::string& text, Refusals& refusals) {
  const auto item = refusals.editable(name);
  if (!item) return;
  const auto before = editor.currentValue(name);
  mergeValue(editor, text, name);
  if (!text.empty() && editor.currentValue(name) == before)
    refusals.refuse(name, "a " + std::string(item->type.rawValue()) + " tag takes no text");
}

// Applies the edits with intent to one editor, after the plain ones.
void applyIntentEdits(MetadataEditor& editor, const IntentEdits& edits, const SetOptions& options,
                      Refusals& refusals) {
  if (options.eraseGPS) eraseEXIFGPSLocation(editor);
  if (edits.position && refusals.editable(TagName::exifGPSLatitude) && refusals.editable(TagName::exifGPSLongitude))
    setEXIFGPSCoordinate(editor, *edits.position);
  if (edits.altitude && refusals.editable(TagName::exifGPSAltitude)) setEXIFGPSAltitude(editor, *edits.altitude);
  for (const auto& [name, edition] : edits.dates)
    if (refusals.editable(name)) apply(editor, edition, name);
  for (const auto& [source, destination] : edits.copies)
    if (refusals.known(source) && refusals.editable(destination)) copy(editor, source, destination);
  for (const auto& [source, destination] : edits.copyDates)
    if (refusals.known(source) && refusals.editable(destination)) copyDate(editor, source, destination);
  for (const auto& [source, destination] : edits.clones)
    if (refusals.known(source) && refusals.editable(destination)) clone(editor, source, destination);
  for (const auto& [name, text] : edits.merges) merge(editor, name, text, refusals);
  if (edits.preset) apply(editor, edits.preset->entries());
  if (options.removeThumbnail) removeThumbnail(editor);
  if (options.keywordsFromFinderTags && refusals.editable(TagName::iptcKeywords)) copyFinderTagsToIPTCKeywords(editor);
  if (options.finderTagsFromKeywords) copyIPTCKeywordsToFinderTags(editor);
}

// The value an edit sets, in the tag's canonical form as the storages hold it; absent, each
// editing file told, when the text is no value of the tag's type.
std::optional<std::string> valueToSet(const Edit& edit, const TagItem& item, const std::vector<Refusals*>& editing) {
  if (edit.kind != Edit::Kind::value || edit.value.empty()) return std::string();
  auto canonical = item.converter()->stringValueFromStringValue(edit.value);
  if (!canonical)
    for (auto* file : editing)
      file->refuse(edit.name, "\"" + edit.value + "\" is no " + std::string(item.type.rawValue()) + " value");
  return canonical;
}

// Applies the plain edits to all editors, each through one batch operation, after telling
// the files that refuse it.
void applyPlainEdits(const std::vector<std::shared_ptr<MetadataEditor>>& editors, const std::vector<Edit>& edits,
                     std::vector<Refusals>& refusals) {
  for (const auto& edit : edits) {
    std::vector<Refusals*> editing;
    for (auto& file : refusals)
      if (file.editable(edit.name)) editing.push_back(&file);
    const auto item = TagsResources::shared().tag(edit.name);
    if (!item || editing.empty()) continue;
    const auto value = valueToSet(edit, *item, editing);
    if (!value) continue;
    if (edit.kind == Edit::Kind::force)
      forceValue(editors, edit.name);
    else
      setValue(editors, *value, edit.name);
  }
}

}  // namespace

std::vector<std::string> applyEdits(const std::vector<std::shared_ptr<MetadataEditor>>& editors,
                                    const std::vector<std::string>& paths, const std::vector<Edit>& edits,
                                    const IntentEdits& intentEdits, const SetOptions& options) {
  std::vector<Refusals> refusals;
  refusals.reserve(editors.size());
  std::unordered_map<const MetadataEditor*, Refusals*> refusalsOf;
  for (std::size_t i = 0; i < editors.size(); ++i)
    refusalsOf[editors[i].get()] = &refusals.emplace_back(*editors[i], paths[i]);
  EditionsManager::shared().session([&] {
    applyPlainEdits(editors, edits, refusals);
    const auto finderTags = options.finderTags ? std::optional(splitTags(*options.finderTags)) : std::nullopt;
    performConcurrently(editors, [&](MetadataEditor& editor) {
      if (finderTags) editor.setFinderTags(*finderTags);
      applyIntentEdits(editor, intentEdits, options, *refusalsOf.at(&editor));
    });
  });
  std::vector<std::string> lines;
  for (const auto& file : refusals) lines.push_back(file.lines());
  return lines;
}

std::vector<std::string> splitTags(const std::string& text) {
  std::vector<std::string> tags;
  std::size_t start = 0;
  while (start <= text.size()) {
    const auto comma = std::min(text.find(',', start), text.size());
    const auto tag = trimWhitespaces(std::string_view(text).substr(start, comma - start));
    if (!tag.empty()) tags.emplace_back(tag);
    start = comma + 1;
  }
  return tags;
}

}  // namespace orvelin::tool

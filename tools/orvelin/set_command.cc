// `orvelin set`: edits files and saves them.

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <mutex>

#include "commands.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/editions/editions_manager.h"
#include "orvelin/editor/et_editors.h"
#include "orvelin/storage/metadata_et_reader.h"
#include "orvelin/storage/metadata_et_writer.h"
#include "orvelin/presets/preset.h"
#include "orvelin/support/string_extensions.h"
#include "orvelin/values/coordinate_parser.h"
#include "orvelin/values/date_edition.h"
#include "orvelin/values/value_converter.h"

namespace orvelin::tool {

namespace fs = std::filesystem;

namespace {

struct SetOptions {
  std::vector<std::string> files;
  std::vector<std::string> values;  // STREAM:KEY=VALUE
  std::vector<std::string> clears;  // STREAM:KEY
  std::vector<std::string> forces;  // STREAM:KEY
  std::optional<std::string> finderTags;
  bool updateModifyDate = false;
  // Edits with intent, applied after the plain ones, in the order of the fields.
  bool eraseGPS = false;
  std::optional<std::string> gps;          // a position in any of the four notations
  std::optional<std::string> gpsAltitude;  // metres, signed
  std::vector<std::string> dates;          // STREAM:KEY=EDITION
  std::vector<std::string> copies;         // SRC=DST
  std::vector<std::string> copyDates;      // SRC=DST
  std::vector<std::string> clones;         // SRC=DST
  std::vector<std::string> merges;         // STREAM:KEY=TEXT
  std::optional<std::string> presetFile;
  std::optional<std::string> presetName;
  bool removeThumbnail = false;
  bool keywordsFromFinderTags = false;
  bool finderTagsFromKeywords = false;
};

// The edits with intent, parsed and checked before any file is read.
struct IntentEdits {
  std::optional<Coordinate> position;
  std::optional<double> altitude;
  std::vector<std::pair<TagName, DateEdition>> dates;
  std::vector<std::pair<TagName, TagName>> copies, copyDates, clones;
  std::vector<std::pair<TagName, std::string>> merges;
  std::shared_ptr<Preset> preset;
};

// One edit asked for on the command line.
struct Edit {
  enum class Kind { value, clear, force } kind;
  TagName name;
  std::string value;
};

std::optional<std::vector<Edit>> parseEdits(const SetOptions& options) {
  std::vector<Edit> edits;
  auto parseName = [](const std::string& text) -> std::optional<TagName> {
    auto name = TagName::fromRawValue(text);
    if (!name || name->stream().rawValue().empty() || name->key().rawValue().empty()) {
      std::fprintf(stderr, "orvelin: %s is no tag name (STREAM:KEY)\n", text.c_str());
      return std::nullopt;
    }
    return name;
  };
  for (const auto& text : options.clears) {
    auto name = parseName(text);
    if (!name) return std::nullopt;
    edits.push_back({Edit::Kind::clear, *name, ""});
  }
  for (const auto& text : options.values) {
    const auto equals = text.find('=');
    if (equals == std::string::npos) {
      std::fprintf(stderr, "orvelin: -t %s: expected STREAM:KEY=VALUE\n", text.c_str());
      return std::nullopt;
    }
    auto name = parseName(text.substr(0, equals));
    if (!name) return std::nullopt;
    edits.push_back({Edit::Kind::value, *name, text.substr(equals + 1)});
  }
  for (const auto& text : options.forces) {
    auto name = parseName(text);
    if (!name) return std::nullopt;
    edits.push_back({Edit::Kind::force, *name, ""});
  }
  return edits;
}

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

// Applies the edits with intent to one editor; reports the tags it cannot take. Returns false
// when one was refused.
bool applyIntentEdits(MetadataEditor& editor, const std::string& path, const IntentEdits& edits,
                      const SetOptions& options) {
  bool allApplied = true;
  const auto catalogue = TagsResources::shared().catalogue();
  auto editable = [&](const TagName& name) {
    const char* why = !catalogue->tag(name) ? "not in the catalogue"
                      : !editor.canEditValue(name) ? "not editable in this file"
                                                   : nullptr;
    if (why) {
      std::fprintf(stderr, "%s: %s refused (%s)\n", path.c_str(), name.rawValue().c_str(), why);
      allApplied = false;
    }
    return why == nullptr;
  };
  auto known = [&](const TagName& name) {
    if (catalogue->tag(name)) return true;
    std::fprintf(stderr, "%s: %s refused (not in the catalogue)\n", path.c_str(), name.rawValue().c_str());
    allApplied = false;
    return false;
  };

  if (options.eraseGPS) editor.eraseEXIFGPSLocation();
  if (edits.position && editable(TagName::exifGPSLatitude) && editable(TagName::exifGPSLongitude))
    editor.setEXIFGPSCoordinate(*edits.position);
  if (edits.altitude && editable(TagName::exifGPSAltitude)) editor.setEXIFGPSAltitude(*edits.altitude);
  for (const auto& [name, edition] : edits.dates)
    if (editable(name)) editor.apply(edition, name);
  for (const auto& [source, destination] : edits.copies)
    if (known(source) && editable(destination)) editor.copy(source, destination);
  for (const auto& [source, destination] : edits.copyDates)
    if (known(source) && editable(destination)) editor.copyDate(source, destination);
  for (const auto& [source, destination] : edits.clones)
    if (known(source) && editable(destination)) editor.clone(source, destination);
  for (const auto& [name, text] : edits.merges) {
    if (!editable(name)) continue;
    if (const auto type = catalogue->tag(name)->type; !type.isString()) {
      std::fprintf(stderr, "%s: %s refused (a %s tag takes no text)\n", path.c_str(), name.rawValue().c_str(),
                   std::string(type.rawValue()).c_str());
      allApplied = false;
      continue;
    }
    editor.mergeValue(text, name);
  }
  if (edits.preset) editor.apply(edits.preset->entries());
  if (options.removeThumbnail) editor.removeThumbnail();
  if (options.keywordsFromFinderTags && editable(TagName::iptcKeywords)) editor.copyFinderTagsToIPTCKeywords();
  if (options.finderTagsFromKeywords) editor.copyIPTCKeywordsToFinderTags();
  return allApplied;
}

// Applies the edits to one editor; reports refusals. Returns false when one was refused.
bool applyEdits(MetadataEditor& editor, const std::string& path, const std::vector<Edit>& edits,
                const SetOptions& options) {
  bool allApplied = true;
  auto refuse = [&](const Edit& edit, const char* why) {
    std::fprintf(stderr, "%s: %s refused (%s)\n", path.c_str(), edit.name.rawValue().c_str(), why);
    allApplied = false;
  };
  const auto catalogue = TagsResources::shared().catalogue();
  for (const auto& edit : edits) {
    const auto item = catalogue->tag(edit.name);
    if (!item) {
      refuse(edit, "not in the catalogue");
      continue;
    }
    if (!editor.canEditValue(edit.name)) {
      refuse(edit, "not editable in this file");
      continue;
    }
    switch (edit.kind) {
      case Edit::Kind::clear: editor.setValue(std::string(), edit.name); break;
      case Edit::Kind::force: editor.forceValue(edit.name); break;
      case Edit::Kind::value: {
        if (edit.value.empty()) {
          editor.setValue(std::string(), edit.name);
          break;
        }
        // The value in the tag's canonical form, as the storages hold it.
        const auto canonical = item->converter()->stringValueFromStringValue(edit.value);
        if (!canonical) {
          refuse(edit, ("\"" + edit.value + "\" is no " + std::string(item->type.rawValue()) + " value").c_str());
          continue;
        }
        editor.setValue(*canonical, edit.name);
        break;
      }
    }
  }
  if (options.finderTags) editor.setFinderTags(splitTags(*options.finderTags));
  return allApplied;
}

int setFiles(const SetOptions& options) {
  const auto edits = parseEdits(options);
  if (!edits) return 2;
  // The catalogue first: a preset file names tags.
  TagsResources::shared().reload();
  const auto intentEdits = parseIntentEdits(options);
  if (!intentEdits) return 2;

  int status = 0;
  MetadataETReader reader;
  reader.setupDefaultForEditorReading();
  std::vector<std::pair<std::string, std::shared_ptr<MetadataEditor>>> editors;
  for (const auto& file : options.files) {
    const auto url = fs::absolute(file);
    std::error_code error;
    const bool isFolder = !url.has_extension();
    if (!fs::exists(url, error) || (isFolder && !fs::is_directory(url, error))) {
      std::fprintf(stderr, "%s: No such file or folder\n", file.c_str());
      status = 1;
      continue;
    }
    try {
      std::shared_ptr<MetadataEditor> editor;
      if (isFolder)
        editor = reader.readImageFolder(url);
      else
        editor = reader.readImageFile(url);
      editors.emplace_back(file, std::move(editor));
    } catch (const std::exception& failure) {
      std::fprintf(stderr, "%s: %s\n", file.c_str(), failure.what());
      status = 1;
    }
  }

  // All edits in one session; its set tells what each file is to get.
  auto& manager = EditionsManager::shared();
  std::mutex setMutex;
  EditionsSet edited;
  auto observer = NotificationCenter::defaultCenter().addObserver(
      EditionsManager::didEndSessionNotification, &manager, nullptr, [&](const Notification& note) {
        if (auto set = EditionsManager::editionsSet(note)) {
          std::lock_guard lock(setMutex);
          edited = std::move(*set);
        }
      });
  manager.session([&] {
    for (auto& [path, editor] : editors) {
      if (!applyEdits(*editor, path, *edits, options)) status = 1;
      if (!applyIntentEdits(*editor, path, *intentEdits, options)) status = 1;
    }
  });
  NotificationCenter::defaultCenter().removeObserver(observer);

  for (auto& [path, editor] : editors) {
    const auto found = edited.values.find(editor);
    std::string names;
    if (found != edited.values.end())
      for (const auto& name : found->second) names += (names.empty() ? "" : " ") + name.rawValue();
    if (!editor->isEdited()) {
      std::printf("%s: nothing to write%s%s\n", path.c_str(), names.empty() ? "" : "; unchanged: ", names.c_str());
      continue;
    }
    MetadataETWriter writer;
    writer.shouldUpdateSourceSystemModifyDate = options.updateModifyDate;
    writer.shouldUpdateSourceFinderTags = true;
    editor->lockEditor();
    try {
      if (auto* folder = dynamic_cast<ETFolderMetadataEditor*>(editor.get()))
        writer.writeImageFolderEditor(*folder);
      else
        writer.writeImageFileEditor(dynamic_cast<ETImageMetadataEditor&>(*editor));
      std::printf("%s: %s\n", path.c_str(), names.c_str());
    } catch (const std::exception& failure) {
      std::fprintf(stderr, "%s: %s\n", path.c_str(), failure.what());
      status = 1;
    }
    editor->unlockEditor();
  }
  std::fflush(stdout);
  return status;
}

}  // namespace

void addSetCommand(CLI::App& app, Outcome& outcome) {
  auto options = std::make_shared<SetOptions>();
  auto* set = app.add_subcommand("set", "Edit the metadata of files and folders, and save them");
  set->add_option("FILE", options->files, "Files, or folders (a path without extension)")->required();
  set->add_option("-t,--tag", options->values, "STREAM:KEY=VALUE: set a value (an empty VALUE clears the tag)");
  set->add_option("--clear", options->clears, "STREAM:KEY: clear a tag");
  set->add_option("--force", options->forces, "STREAM:KEY: write the tag's current value again");
  set->add_option("--finder-tags", options->finderTags, "a,b,...: set the Finder tags (empty: none)");
  set->add_flag("--update-modify-date", options->updateModifyDate,
                "Set the file's modification date from EXIF:ModifyDate after the save");
  // Edits with intent, applied after the ones above, in this order.
  set->add_flag("--erase-gps", options->eraseGPS,
                "Delete the GPS position, altitude and time stamps (EXIF) at the save");
  set->add_option("--gps", options->gps,
                  "TEXT: set the GPS position, as \"48.8566, 2.3522\", \"N 48 51.396 E 2 21.132\", "
                  "\"N 48° 51' 23.8\\\" E 2° 21' 7.9\\\"\" or \"48 51 23.8 N, 2 21 7.9 E\"");
  set->add_option("--gps-altitude", options->gpsAltitude, "METRES: set the GPS altitude (below 0: below sea level)");
  set->add_option("--date", options->dates,
                  "STREAM:KEY=EDITION: change a date, as SHIFT(hh: 1), UPDATE(DD: 1), "
                  "SELECT(YY: 2020, MM: 1, DD: 2), RESTORE() or REMOVE()");
  set->add_option("--copy", options->copies, "SRC=DST: copy the value of tag SRC into tag DST");
  set->add_option("--copy-date", options->copyDates,
                  "SRC=DST: copy a date; a date-only or time-only SRC sets only that part of DST");
  set->add_option("--clone", options->clones, "SRC=DST: copy the value of SRC as it is displayed into DST");
  set->add_option("--merge", options->merges, "STREAM:KEY=TEXT: add TEXT to the value of a text tag");
  set->add_option("--preset", options->presetFile, "FILE: apply a preset of a presets file (the first one)");
  set->add_option("--preset-name", options->presetName, "NAME: the preset of the --preset file to apply");
  set->add_flag("--remove-thumbnail", options->removeThumbnail, "Delete the embedded thumbnail and preview image");
  set->add_flag("--keywords-from-finder-tags", options->keywordsFromFinderTags,
                "Set IPTC:Keywords to the Finder tags");
  set->add_flag("--finder-tags-from-keywords", options->finderTagsFromKeywords,
                "Set the Finder tags to IPTC:Keywords");
  set->callback([&outcome, options] { outcome.run = [options] { return setFiles(*options); }; });
}

}  // namespace orvelin::tool

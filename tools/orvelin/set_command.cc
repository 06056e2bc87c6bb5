// `orvelin set`: edits files and saves them.

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <mutex>

#include <set>
#include <unordered_map>

#include "batch.h"
#include "commands.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/editions/editions_manager.h"
#include "orvelin/editor/editor_dates.h"
#include "orvelin/editor/editor_editions.h"
#include "orvelin/editor/editor_finder_tags.h"
#include "orvelin/editor/editor_gps.h"
#include "orvelin/editor/editor_image_facts.h"
#include "orvelin/editor/metadata_editor.h"
#include "orvelin/presets/preset.h"
#include "orvelin/tasks/image_tasks.h"
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
  bool quiet = false;
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

// The edits one file refuses, told on standard error as "path: NAME refused (why)", since the
// editor itself refuses silently. Each check looks the tag up in one catalogue snapshot.
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
    std::fprintf(stderr, "%s: %s refused (%s)\n", path_.c_str(), name.rawValue().c_str(), why.c_str());
    any_ = true;
  }
  bool any() const { return any_; }

 private:
  const MetadataEditor& editor_;
  const std::string& path_;
  const std::shared_ptr<const TagsCatalogue> catalogue_;
  bool any_ = false;
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

// Applies the plain edits to one editor.
void applyEdits(MetadataEditor& editor, const std::vector<Edit>& edits, const SetOptions& options,
                Refusals& refusals) {
  for (const auto& edit : edits) {
    const auto item = refusals.editable(edit.name);
    if (!item) continue;
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
          refusals.refuse(edit.name, "\"" + edit.value + "\" is no " + std::string(item->type.rawValue()) + " value");
          continue;
        }
        editor.setValue(*canonical, edit.name);
        break;
      }
    }
  }
  if (options.finderTags) editor.setFinderTags(splitTags(*options.finderTags));
}

// Collects, per editor, the names of every did-end notification of EditionsManager::shared()
// for as long as it lives. Concurrent saves may share one session, whose set then holds several
// editors. The observer runs inside the manager's lock and takes only this object's own lock.
class SessionNames {
 public:
  SessionNames()
      : observer_(NotificationCenter::defaultCenter().addObserver(
            EditionsManager::didEndSessionNotification, &EditionsManager::shared(), nullptr,
            [this](const Notification& note) { collect(note); })) {}
  SessionNames(const SessionNames&) = delete;
  SessionNames& operator=(const SessionNames&) = delete;
  ~SessionNames() { NotificationCenter::defaultCenter().removeObserver(observer_); }

  // The names registered for `editor` so far.
  std::set<TagName> names(const MetadataEditor& editor) const {
    std::lock_guard lock(mutex_);
    const auto found = names_.find(&editor);
    return found == names_.end() ? std::set<TagName>() : found->second;
  }

 private:
  void collect(const Notification& note) {
    const auto set = EditionsManager::editionsSet(note);
    if (!set) return;
    std::lock_guard lock(mutex_);
    for (const auto& [editor, names] : set->values) names_[editor.get()].insert(names.begin(), names.end());
  }

  mutable std::mutex mutex_;  // guards names_
  std::unordered_map<const MetadataEditor*, std::set<TagName>> names_;
  const NotificationObserverToken observer_;
};

// The names sorted, separated by blanks.
std::string joined(const std::set<TagName>& names) {
  std::string text;
  for (const auto& name : names) text += (text.empty() ? "" : " ") + name.rawValue();
  return text;
}

// One file of the command line on its way through import, edits and save.
struct Target {
  std::string path;
  std::shared_ptr<MetadataEditor> editor;  // null when the import failed
  std::string error;                       // why the import or the save failed
  bool edited = false;                     // a save task is due
  std::string unchanged;                   // the names the edits touched, when there is nothing to write
  bool sendsFinderTags = false;
};

int setFiles(const SetOptions& options) {
  const auto edits = parseEdits(options);
  if (!edits) return 2;
  // The catalogue first: a preset file names tags.
  if (!loadCatalogue()) return 1;
  const auto intentEdits = parseIntentEdits(options);
  if (!intentEdits) return 2;

  std::vector<Target> targets;
  {
    std::vector<fs::path> urls;
    for (const auto& file : options.files) urls.push_back(fs::absolute(file));
    auto imported = importEditors(urls, options.quiet);
    targets.resize(urls.size());
    for (std::size_t i = 0; i < urls.size(); ++i) {
      targets[i].path = options.files[i];
      targets[i].editor = std::move(imported[i].editor);
      targets[i].error = std::move(imported[i].error);
    }
  }

  // All edits in one session.
  int status = 0;
  std::vector<std::shared_ptr<MetadataEditor>> editors;
  {
    SessionNames touched;
    EditionsManager::shared().session([&] {
      for (auto& target : targets) {
        if (!target.editor) continue;
        Refusals refusals(*target.editor, target.path);
        applyEdits(*target.editor, *edits, options, refusals);
        applyIntentEdits(*target.editor, *intentEdits, options, refusals);
        if (refusals.any()) status = 1;
      }
    });
    for (auto& target : targets) {
      if (!target.editor) continue;
      target.edited = target.editor->isEdited();
      if (!target.edited) {
        target.unchanged = joined(touched.names(*target.editor));
        continue;
      }
      target.sendsFinderTags = target.editor->writtenFinderTags().has_value();
      editors.push_back(target.editor);
    }
  }

  // The saves, each with the writer options of its editor's kind. What a save sent is what it
  // registered in the saves' sessions, not what the edits registered (a clear of a tag that the
  // file lacks is registered, and not written).
  SessionNames saved;
  SaveImageEditionsTasksGenerator generator;
  generator.editors = std::move(editors);
  generator.updateSystemModifyDate = options.updateModifyDate;
  struct Outcome {
    std::string error;  // "" when saved
    std::vector<RefusedValue> refused;
  };
  std::unordered_map<const MetadataEditor*, Outcome> outcomes;
  runTasks<SaveImageEditionsTaskItem>(
      generator, options.quiet, [&](std::size_t, const SaveImageEditionsTaskItem& task) {
        const auto input = task.input();
        if (input && input->editor)
          outcomes[input->editor.get()] = {task.status() == TaskStatus::completed ? std::string() : failureText(task),
                                           task.refusedValues()};
      });

  for (auto& target : targets) {
    if (target.editor && !target.edited) {
      std::printf("%s: nothing to write%s%s\n", target.path.c_str(), target.unchanged.empty() ? "" : "; unchanged: ",
                  target.unchanged.c_str());
      continue;
    }
    std::vector<RefusedValue> refused;
    if (target.editor) {
      const auto outcome = outcomes.find(target.editor.get());
      target.error = outcome == outcomes.end() ? "not saved: the editor is locked" : outcome->second.error;
      if (outcome != outcomes.end()) refused = outcome->second.refused;
    }
    // What exiftool did not take, in its words.
    for (const auto& refusal : refused)
      std::fprintf(stderr, "%s: %s: %s\n", target.path.c_str(), refusal.name.rawValue().c_str(), refusal.reason.c_str());
    if (!refused.empty()) status = 1;
    if (!target.error.empty()) {
      reportFailure(target.path, target.error);
      status = 1;
      continue;
    }
    // The Finder tags are no value of the storage: the save sets them beside exiftool's run.
    auto names = saved.names(*target.editor);
    for (const auto& refusal : refused) names.erase(refusal.name);
    if (target.sendsFinderTags) names.insert(TagName::orvfinderTags);
    std::printf("%s: %s\n", target.path.c_str(), joined(names).c_str());
  }
  std::fflush(stdout);
  return status;
}

}  // namespace

void addSetCommand(CLI::App& app, Outcome& outcome) {
  auto options = std::make_shared<SetOptions>();
  auto* set = app.add_subcommand("set", "Edit the metadata of files and folders, and save them");
  set->add_option("FILE", options->files, "Files, or folders (a path without extension)")->required();
  set->footer(
      "Each file prints the tags its save wrote, sorted (ORVFinder:Tags for its file tags). A value exiftool "
      "refuses is printed on standard error as PATH: STREAM:KEY: REASON, and the exit status is then 1.");
  set->add_flag("--quiet", options->quiet, "Show no progress line, only the results and errors");
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

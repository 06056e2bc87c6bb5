// `orvelin set`: edits files and saves them.

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
#include "orvelin/support/string_extensions.h"
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
  TagsResources::shared().reload();

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
    for (auto& [path, editor] : editors)
      if (!applyEdits(*editor, path, *edits, options)) status = 1;
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
  set->callback([&outcome, options] { outcome.run = [options] { return setFiles(*options); }; });
}

}  // namespace orvelin::tool

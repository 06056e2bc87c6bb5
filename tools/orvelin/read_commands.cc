// `orvelin read`, `orvelin clean`, `orvelin thumbnail` and `orvelin preview`.

#include <cstdio>
#include <filesystem>
#include <iostream>

#include <nlohmann/json.hpp>

#include "batch.h"
#include "commands.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/editor/metadata_editor.h"
#include "orvelin/exiftool/one_command_jobs.h"
#include "orvelin/storage/metadata_et_reader.h"
#include "orvelin/tasks/image_tasks.h"
#include "read_file_task.h"

namespace orvelin::tool {

namespace fs = std::filesystem;

namespace {

nlohmann::json streamNames(const std::set<TagStream>& streams) {
  nlohmann::json names = nlohmann::json::array();
  for (const auto& stream : streams) names.push_back(stream.rawValue());
  return names;
}

struct ReadOptions {
  std::vector<std::string> files;
  bool json = false;
  std::string language;
  bool rawProfile = false;
  bool quiet = false;
};

// What was read of one file, or why it could not be.
struct ReadResult {
  std::optional<ReadWriteStorage> storage;
  std::string error;
};

// Reads every file through task groups, as a host does. Images (and folders) read in the
// editors' profile are imported as editors by import tasks; the rest (files that are no
// images, another language, the plain reader's profile) are read by the tool's own read
// tasks. One result per URL, in their order.
std::vector<ReadResult> readAll(const ReadOptions& options, const std::vector<fs::path>& urls) {
  MetadataETReader reader;
  if (!options.rawProfile) reader.setupDefaultForEditorReading();
  if (!options.language.empty()) reader.language = parseLanguage(options.language);
  const bool editorsProfile = !options.rawProfile && !reader.language;

  std::vector<ReadResult> results(urls.size());
  std::vector<std::size_t> imported, read;
  for (std::size_t i = 0; i < urls.size(); ++i)
    (editorsProfile && ImportImageTaskItem::canImportImage(urls[i]) ? imported : read).push_back(i);

  std::vector<fs::path> importedURLs;
  for (auto i : imported) importedURLs.push_back(urls[i]);
  const auto editors = importEditors(importedURLs, options.quiet);
  for (std::size_t k = 0; k < imported.size(); ++k) {
    auto& result = results[imported[k]];
    if (editors[k].editor)
      result.storage = editors[k].editor->storage();
    else
      result.error = editors[k].error;
  }

  ReadFileTasksGenerator generator;
  generator.reader = reader;
  for (auto i : read) generator.urls.push_back(urls[i]);
  runTasks<ReadFileTaskItem>(generator, options.quiet, [&](std::size_t k, const ReadFileTaskItem& task) {
    auto& result = results[read.at(k)];
    result.storage = task.storage();
    if (!result.storage) result.error = failureText(task);
  });
  return results;
}

// A value on one line: a line feed as "\n", a carriage return as "\r", a backslash as "\\".
std::string escaped(std::string_view text) {
  std::string line;
  line.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '\n': line += "\\n"; break;
      case '\r': line += "\\r"; break;
      case '\\': line += "\\\\"; break;
      default: line += c;
    }
  }
  return line;
}

// One STREAM:KEY=VALUE line per value, sorted by name, the Finder tags among them as one
// ORVFinder:Tags line of the tags joined by "," (as the file keeps them: no tag holds a ",").
void printText(const ReadWriteStorage& storage) {
  const auto& finderTags = storage.originalFinderTags();
  bool finderTagsDone = finderTags.empty();
  auto printFinderTags = [&] {
    std::string joined;
    for (const auto& tag : finderTags) joined += (joined.empty() ? "" : ",") + escaped(tag);
    std::cout << TagName::orvfinderTags.rawValue() << "=" << joined << "\n";
    finderTagsDone = true;
  };
  for (const auto* entry : storage.originalValuesDict().sorted()) {
    const auto& [name, value] = *entry;
    if (!finderTagsDone && TagName::orvfinderTags < name) printFinderTags();
    std::cout << name.rawValue() << "=" << escaped(value) << "\n";
  }
  if (!finderTagsDone) printFinderTags();
}

int readFiles(const ReadOptions& options) {
  if (!options.language.empty() && !parseLanguage(options.language)) {
    std::fprintf(stderr, "orvelin: unknown language %s\n", options.language.c_str());
    return 2;
  }
  if (!loadCatalogue()) return 1;

  std::vector<fs::path> urls;
  for (const auto& file : options.files) urls.push_back(fs::absolute(file));
  const auto results = readAll(options, urls);

  int status = 0;
  nlohmann::json all = nlohmann::json::array();
  bool first = true;
  for (std::size_t i = 0; i < results.size(); ++i) {
    const auto& result = results[i];
    if (!result.storage) {
      reportFailure(options.files[i], result.error);
      status = 1;
      continue;
    }
    const auto& storage = *result.storage;
    if (options.json) {
      nlohmann::json values = nlohmann::json::object();
      for (const auto& [name, value] : storage.originalValuesDict()) values[name.rawValue()] = value;
      all.push_back({{"SourceFile", options.files[i]},
                     {"values", std::move(values)},
                     {"finderTags", storage.originalFinderTags()},
                     {"g0Streams", streamNames(storage.g0OriginalStreams())},
                     {"g1Streams", streamNames(storage.g1OriginalStreams())}});
    } else {
      if (!first) std::cout << "\n";
      first = false;
      printText(storage);
    }
  }
  if (options.json) std::cout << all.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
  std::cout.flush();
  return status;
}

int cleanFiles(const std::vector<std::string>& files) {
  int status = 0;
  MetadataETCleaner cleaner;
  for (const auto& file : files) {
    std::error_code error;
    if (!fs::is_regular_file(file, error)) {
      reportFailure(file, "No such file");
      status = 1;
      continue;
    }
    cleaner.clean(fs::absolute(file));
  }
  return status;
}

int extractImage(const std::string& file, const std::string& output, bool preview) {
  std::error_code error;
  if (!fs::is_regular_file(file, error)) {
    reportFailure(file, "No such file");
    return 1;
  }
  const auto url = fs::absolute(file);
  std::optional<Image> image;
  if (preview) {
    image = JPGFromRawReader().read(url);
    if (!image) image = PreviewImageReader().read(url);
  } else {
    image = ThumbnailReader().read(url);
  }
  if (!image) {
    reportFailure(file, preview ? "no embedded preview" : "no embedded thumbnail");
    return 1;
  }
  if (!image->writeAsJPEG(output)) {
    reportFailure(output, "cannot be written");
    return 1;
  }
  std::printf("%s: %dx%d\n", output.c_str(), image->width(), image->height());
  return 0;
}

}  // namespace

void addReadCommands(CLI::App& app, Outcome& outcome) {
  auto options = std::make_shared<ReadOptions>();
  auto* read = app.add_subcommand("read", "Print the metadata of files as the library reads it");
  read->add_option("FILE", options->files,
                   "Files, or folders (a path without extension), which have no values of their own")
      ->required();
  read->add_flag("--json", options->json, "Print one JSON array with one object per file");
  read->add_option("--lang", options->language,
                   "Language of exiftool's output (a name such as German, its own name such as Deutsch, or a code "
                   "such as de)");
  read->add_flag("--raw-profile", options->rawProfile,
                 "Read with a plain reader's profile instead of the editors': values as exiftool prints "
                 "them for people (not its raw numbers), composite tags still left out; a printed value "
                 "that the tag's type cannot read is left out");
  read->add_flag("--quiet", options->quiet, "Show no progress line, only the values and errors");
  read->callback([&outcome, options] { outcome.run = [options] { return readFiles(*options); }; });

  auto cleanFilesList = std::make_shared<std::vector<std::string>>();
  auto* clean = app.add_subcommand("clean", "Remove all metadata of files");
  clean->add_option("FILE", *cleanFilesList, "Files to clean")->required();
  clean->callback([&outcome, cleanFilesList] { outcome.run = [cleanFilesList] { return cleanFiles(*cleanFilesList); }; });

  for (const bool preview : {false, true}) {
    auto paths = std::make_shared<std::pair<std::string, std::string>>();
    auto* command = app.add_subcommand(preview ? "preview" : "thumbnail",
                                       preview ? "Write the large JPEG of a raw file, else the preview image"
                                               : "Write the embedded thumbnail");
    command->add_option("FILE", paths->first, "The file")->required();
    command->add_option("OUT", paths->second, "The JPEG file to write")->required();
    command->callback([&outcome, paths, preview] {
      outcome.run = [paths, preview] { return extractImage(paths->first, paths->second, preview); };
    });
  }
}

}  // namespace orvelin::tool

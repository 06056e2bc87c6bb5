// `orvelin read`, `orvelin clean`, `orvelin thumbnail` and `orvelin preview`.

#include <cstdio>
#include <filesystem>
#include <iostream>

#include <nlohmann/json.hpp>

#include "commands.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/exiftool/one_command_jobs.h"
#include "orvelin/storage/metadata_et_reader.h"
#include "orvelin/editor/metadata_editor.h"
#include "orvelin/support/parallel.h"
#include "orvelin/tasks/image_tasks.h"
#include "batch.h"

namespace orvelin::tool {

namespace fs = std::filesystem;

namespace {

void reportFailure(const std::string& path, const std::string& text) {
  std::fprintf(stderr, "%s: %s\n", path.c_str(), text.c_str());
}

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
  bool printValues = false;
  bool quiet = false;
};

// What was read of one file, or why it could not be.
struct ReadResult {
  std::optional<ReadWriteStorage> storage;
  std::string error;
};

std::string errorText(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& exception) {
    return exception.what();
  } catch (...) {
    return "Unknown error";
  }
}

// Reads a file outside the import tasks: files of other kinds than images, and reads in
// another language or profile than the editors'.
ReadResult readDirectly(const MetadataETReader& reader, const fs::path& url) {
  ReadResult result;
  try {
    auto storage = reader.readReadWriteStorage(url);
    storage.readFinderTags();
    result.storage = std::move(storage);
  } catch (...) {
    result.error = errorText(std::current_exception());
  }
  return result;
}

std::vector<ReadResult> readAll(const ReadOptions& options, const std::vector<fs::path>& urls) {
  MetadataETReader reader;
  if (!options.printValues) reader.setupDefaultForEditorReading();
  if (!options.language.empty()) reader.language = parseLanguage(options.language);
  const bool editorsProfile = !options.printValues && !reader.language;

  std::vector<ReadResult> results(urls.size());
  // Images (and folders) are imported as editors, by import tasks, as a host does.
  std::vector<std::size_t> imported, direct;
  for (std::size_t i = 0; i < urls.size(); ++i)
    (editorsProfile && ImportImageTaskItem::canImportImage(urls[i]) ? imported : direct).push_back(i);
  if (!imported.empty()) {
    ImportImageTasksGenerator generator;
    for (auto i : imported) generator.urls.push_back(urls[i]);
    auto group = generator.generateGroup();
    runGroup(group, options.quiet, [&] {
      for (std::size_t k = 0; k < imported.size(); ++k) {
        const auto& task = dynamic_cast<const ImportImageTaskItem&>(*group->tasks[k]);
        auto& result = results[imported[k]];
        if (auto editor = task.editor())
          result.storage = editor->storage();
        else
          result.error = task.errorDescription();
      }
    });
  }
  const auto others = pMap(direct, [&](std::size_t i) { return readDirectly(reader, urls[i]); });
  for (std::size_t k = 0; k < direct.size(); ++k) results[direct[k]] = others[k];
  return results;
}

int readFiles(const ReadOptions& options) {
  if (!options.language.empty() && !parseLanguage(options.language)) {
    std::fprintf(stderr, "orvelin: unknown language %s\n", options.language.c_str());
    return 2;
  }
  TagsResources::shared().reload();

  int status = 0;
  std::vector<fs::path> urls;
  std::vector<std::string> names;
  for (const auto& file : options.files) {
    std::error_code missing;
    if (!fs::exists(file, missing)) {
      reportFailure(file, "No such file or folder");
      status = 1;
      continue;
    }
    urls.push_back(fs::absolute(file));
    names.push_back(file);
  }
  const auto results = readAll(options, urls);

  nlohmann::json all = nlohmann::json::array();
  bool first = true;
  for (std::size_t i = 0; i < results.size(); ++i) {
    const auto& result = results[i];
    if (!result.storage) {
      reportFailure(names[i], result.error);
      status = 1;
      continue;
    }
    const auto& storage = *result.storage;
    if (options.json) {
      nlohmann::json values = nlohmann::json::object();
      for (const auto& [name, value] : storage.originalValuesDict()) values[name.rawValue()] = value;
      all.push_back({{"SourceFile", urls[i].string()},
                     {"values", std::move(values)},
                     {"finderTags", storage.originalFinderTags()},
                     {"g0Streams", streamNames(storage.g0OriginalStreams())},
                     {"g1Streams", streamNames(storage.g1OriginalStreams())}});
    } else {
      if (!first) std::cout << "\n";
      first = false;
      for (const auto& [name, value] : storage.originalValuesDict()) std::cout << name.rawValue() << "=" << value << "\n";
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
  read->add_option("FILE", options->files, "Files or folders to read")->required();
  read->add_flag("--json", options->json, "Print one JSON array with one object per file");
  read->add_option("--lang", options->language, "Language of exiftool's output");
  read->add_flag("--raw-profile", options->rawProfile,
                 "Read with the editors' profile: raw values, short names, no composite tags (the default)");
  read->add_flag("--print-values", options->printValues,
                 "Read values as exiftool prints them for people instead of the editors' raw profile");
  read->add_flag("--quiet", options->quiet, "Print nothing but the values and errors");
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

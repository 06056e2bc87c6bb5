// `orvelin read`, `orvelin clean`, `orvelin thumbnail` and `orvelin preview`.

#include <cstdio>
#include <filesystem>
#include <iostream>

#include <nlohmann/json.hpp>

#include "commands.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/exiftool/one_command_jobs.h"
#include "orvelin/storage/metadata_et_reader.h"

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
};

int readFiles(const ReadOptions& options) {
  MetadataETReader reader;
  if (!options.printValues) reader.setupDefaultForEditorReading();
  if (!options.language.empty()) {
    reader.language = parseLanguage(options.language);
    if (!reader.language) {
      std::fprintf(stderr, "orvelin: unknown language %s\n", options.language.c_str());
      return 2;
    }
  }
  TagsResources::shared().reload();

  int status = 0;
  nlohmann::json all = nlohmann::json::array();
  bool first = true;
  for (const auto& file : options.files) {
    const fs::path url = fs::absolute(file);
    std::error_code missing;
    if (!fs::exists(url, missing)) {
      reportFailure(file, "No such file or folder");
      status = 1;
      continue;
    }
    ReadWriteStorage storage(url);
    try {
      storage = reader.readReadWriteStorage(url);
      storage.readFinderTags();
    } catch (const std::exception& error) {
      reportFailure(file, error.what());
      status = 1;
      continue;
    }
    if (options.json) {
      nlohmann::json values = nlohmann::json::object();
      for (const auto& [name, value] : storage.originalValuesDict()) values[name.rawValue()] = value;
      all.push_back({{"SourceFile", url.string()},
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

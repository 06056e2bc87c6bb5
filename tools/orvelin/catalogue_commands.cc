// `orvelin catalogue generate|info` and `orvelin tag`.

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <future>
#include <iostream>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "commands.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/catalogue/tags_resources_writer.h"
#include "orvelin/support/files.h"
#include "orvelin/support/resources.h"
#include "orvelin/support/user_defaults.h"
#include "orvelin/values/date_time_value_converter.h"
#include "orvelin/values/value_converter.h"

namespace orvelin::tool {

namespace {

namespace fs = std::filesystem;

// Prints a line per stream as the writer ends it, and tells when the run is done. Its
// callbacks run on the main queue, one at a time.
class GenerationProgress final : public TagsResourcesWriterDelegate {
 public:
  GenerationProgress(bool quiet, std::size_t streams) : quiet_(quiet), streams_(streams) {}
  void writerWillStart(TagsResourcesWriter&) override {}
  void writerDidProgress(TagsResourcesWriter& writer) override { printNewStreams(writer); }
  void writerDidFinish(TagsResourcesWriter& writer) override {
    printNewStreams(writer);
    finished_.set_value();
  }
  void waitFinished() { finished_.get_future().wait(); }

 private:
  // A callback may come after several streams ended: it names each of them once.
  void printNewStreams(TagsResourcesWriter& writer) {
    const auto done = writer.completedStreams();
    for (; printed_ < done.size(); ++printed_) {
      if (!quiet_)
        std::fprintf(stderr, "catalogue: %s (%zu/%zu)\n", done[printed_].rawValue().c_str(), printed_ + 1, streams_);
    }
  }

  bool quiet_;
  std::size_t streams_;
  std::size_t printed_ = 0;
  std::promise<void> finished_;
};

// A folder removed with everything in it when this goes out of scope, unless kept.
class FolderRemover {
 public:
  explicit FolderRemover(fs::path path) : path_(std::move(path)) {}
  FolderRemover(const FolderRemover&) = delete;
  FolderRemover& operator=(const FolderRemover&) = delete;
  ~FolderRemover() {
    std::error_code ignored;
    if (!kept_) fs::remove_all(path_, ignored);
  }
  const fs::path& path() const { return path_; }
  void keep() { kept_ = true; }

 private:
  fs::path path_;
  bool kept_ = false;
};

// What a run should have written into `folder` and did not: the stream list, a ".tags" file
// per stream, and a ".strings" file per stream in each language folder.
std::vector<std::string> missingOutput(const fs::path& folder, const std::vector<TagStream>& streams) {
  std::vector<std::string> missing;
  const auto expect = [&](const fs::path& relative) {
    std::error_code error;
    if (!fs::is_regular_file(folder / relative, error)) missing.push_back(relative.string() + " was not written");
  };
  expect(fs::path("Tags") / "streams.json");
  std::vector<fs::path> languages;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(folder / "Localized tags", error))
    languages.push_back(fs::path("Localized tags") / entry.path().filename());
  if (!streams.empty() && languages.size() != Language::allBasic().size())
    missing.push_back("Localized tags holds " + std::to_string(languages.size()) + " languages instead of " +
                      std::to_string(Language::allBasic().size()));
  for (const auto& stream : streams) {
    expect(fs::path("Tags") / (stream.rawValue() + ".tags"));
    for (const auto& language : languages) expect(language / (stream.rawValue() + ".strings"));
  }
  return missing;
}

int generateCatalogue(const std::string& directory, std::vector<std::string> streamNames, bool quiet) {
  const auto start = std::chrono::steady_clock::now();
  std::vector<TagStream> streams;
  if (streamNames.empty()) {
    // exiftool's own spelling of each stream, so that the catalogue matches what it reads.
    streams = TagsResourcesWriter::streamsKnownToExifTool();
    if (streams.empty()) {
      std::fprintf(stderr, "orvelin: exiftool lists no group; is it installed (Debian: libimage-exiftool-perl)?\n");
      return 1;
    }
  } else {
    for (auto& name : streamNames) streams.emplace_back(std::move(name));
  }
  const auto target = fs::absolute(directory);
  std::error_code error;
  fs::create_directories(target, error);
  if (error) {
    std::fprintf(stderr, "%s: %s\n", directory.c_str(), error.message().c_str());
    return 1;
  }
  // Generated into a fresh folder, which replaces the catalogue only when every stream was
  // written: no file of a stream that is no longer generated stays behind, and a failed run
  // leaves the former catalogue as it was.
  FolderRemover fresh(target / (".catalogue-" + ORVMakeUUIDString()));
  auto writer = TagsResourcesWriter::make(fresh.path());
  writer->streams = streams;
  auto progress = std::make_shared<GenerationProgress>(quiet, streams.size());
  writer->delegate = progress;
  writer->writeResources();
  writer->waitResourcesGeneration();
  progress->waitFinished();

  auto failures = missingOutput(fresh.path(), streams);
  if (failures.empty()) {
    if (auto failure = TagsResourcesWriter::replaceCatalogue(fresh.path(), target)) {
      failures.push_back(std::move(*failure));
      // A former folder that could not be put back lies in the fresh one, which must stay.
      std::error_code ignored;
      for (const char* name : {"former Tags", "former Localized tags"})
        if (fs::exists(fresh.path() / name, ignored)) fresh.keep();
    }
  }
  for (const auto& failure : failures) std::fprintf(stderr, "%s: %s\n", directory.c_str(), failure.c_str());
  if (!failures.empty()) return 1;

  if (!quiet) {
    // Count what was written, from the files themselves.
    auto reader = TagsResourcesReader::make(target);
    reader->readResources();
    reader->waitResourcesParsing();
    std::size_t tags = 0;
    for (const auto& [stream, items] : reader->tagItems()) tags += items.size();
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    std::fprintf(stderr, "catalogue: %zu streams, %zu tags in %s (%.1f s)\n", streams.size(), tags, directory.c_str(),
                 elapsed.count());
  }
  return 0;
}

int catalogueInfo(bool json) {
  if (!loadCatalogue()) return 1;
  auto& resources = TagsResources::shared();
  const auto catalogue = resources.catalogue();
  std::size_t tags = 0, writable = 0;
  for (const auto& stream : catalogue->streams()) {
    const auto& items = catalogue->stream(stream)->items;
    tags += items.size();
    for (const auto& [key, item] : items) writable += item->isWritable ? 1 : 0;
  }
  std::vector<std::string> languages;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(ORVResourcesDirectory() / "Localized tags", error)) {
    const auto name = entry.path().filename().string();
    if (name.size() > 6 && name.ends_with(".lproj")) languages.push_back(name.substr(0, name.size() - 6));
  }
  std::sort(languages.begin(), languages.end());
  if (json) {
    nlohmann::json out = {{"resources", ORVResourcesDirectory().string()},
                          {"streams", catalogue->streams()},
                          {"tags", tags},
                          {"writable", writable},
                          {"languages", languages}};
    std::cout << out.dump(2) << "\n";
  } else {
    std::cout << "resources: " << ORVResourcesDirectory().string() << "\n";
    std::cout << "streams: " << catalogue->streams().size() << "\n";
    std::cout << "tags: " << tags << "\n";
    std::cout << "writable: " << writable << "\n";
    std::cout << "languages: " << languages.size();
    for (const auto& language : languages) std::cout << (language == languages.front() ? " (" : ", ") << language;
    std::cout << (languages.empty() ? "\n" : ")\n");
  }
  return tags == 0 ? 1 : 0;
}

// The name of a converter's class, for people.
std::string converterKind(const ValueConverter& converter) {
  if (const auto* array = dynamic_cast<const ArrayValueConverter*>(&converter))
    return "ArrayValueConverter(" + converterKind(*array->valueConverter) + ", \"" + array->separator + "\")";
  if (const auto* date = dynamic_cast<const DateTimeValueConverter*>(&converter))
    return "DateTimeValueConverter(\"" + date->dateFormat + "\")";
  if (dynamic_cast<const StringValueConverter*>(&converter)) return "StringValueConverter";
  if (dynamic_cast<const BoolValueConverter*>(&converter)) return "BoolValueConverter";
  if (dynamic_cast<const UIntValueConverter*>(&converter)) return "UIntValueConverter";
  if (dynamic_cast<const SIntValueConverter*>(&converter)) return "SIntValueConverter";
  if (dynamic_cast<const UDoubleValueConverter*>(&converter)) return "UDoubleValueConverter";
  if (dynamic_cast<const SDoubleValueConverter*>(&converter)) return "SDoubleValueConverter";
  if (dynamic_cast<const C3166a3ValueConverter*>(&converter)) return "C3166a3ValueConverter";
  return "NoneValueConverter";
}

int showTag(const std::string& rawName, const std::string& languageName) {
  if (!chooseLanguageForThisRun(languageName)) return 2;
  if (!TagName::fromRawValue(rawName)) {
    std::fprintf(stderr, "orvelin: %s is no tag name (STREAM:KEY)\n", rawName.c_str());
    return 2;
  }
  if (!loadCatalogue()) return 1;
  const auto item = TagsResources::shared().tagForRawName(rawName);
  if (!item) {
    std::fprintf(stderr, "%s: not in the catalogue\n", rawName.c_str());
    return 1;
  }
  nlohmann::ordered_json out = item->data();
  out["converter"] = converterKind(*item->converter());
  out["localizedName"] = item->localizedName();
  out["localizedValues"] = item->localizedValues();
  out["isInArray"] = item->isInArray();
  std::cout << out.dump(2) << "\n";
  return 0;
}

}  // namespace

bool chooseLanguageForThisRun(const std::string& languageName) {
  if (languageName.empty()) return true;
  const auto language = parseLanguage(languageName);
  if (!language) {
    std::fprintf(stderr, "orvelin: unknown language %s\n", languageName.c_str());
    return false;
  }
  // In the defaults' memory alone: the commands that take a language never synchronise them.
  ORVGetUserDefaults()->set(Language::userLanguageKey(), std::string(language->rawValue()));
  return true;
}

bool loadCatalogue() {
  auto& resources = TagsResources::shared();
  resources.reload();
  const auto missing = resources.missingCatalogueFolder();
  if (!missing) return true;
  std::fprintf(stderr, "tag catalogue not found at %s; set ORVELIN_RESOURCES or reinstall\n", missing->c_str());
  return false;
}

void addCatalogueCommands(CLI::App& app, Outcome& outcome) {
  auto* catalogue = app.add_subcommand("catalogue", "Generate or describe the tag catalogue");
  catalogue->require_subcommand(1);

  struct GenerateOptions {
    std::string directory;
    std::vector<std::string> streams;
    bool quiet = false;
  };
  auto generate = std::make_shared<GenerateOptions>();
  auto* generateCommand = catalogue->add_subcommand("generate", "Generate the catalogue from exiftool into DIR");
  generateCommand->add_option("DIR", generate->directory, "Folder that receives Tags/ and Localized tags/")->required();
  generateCommand->add_option("--stream", generate->streams, "Generate only these streams (repeatable)");
  generateCommand->add_flag("--quiet", generate->quiet, "Print nothing but errors");
  generateCommand->callback([&outcome, generate] {
    outcome.run = [generate] { return generateCatalogue(generate->directory, generate->streams, generate->quiet); };
  });

  auto json = std::make_shared<bool>(false);
  auto* info = catalogue->add_subcommand("info", "Streams, tags, writable tags and languages of the catalogue");
  info->add_flag("--json", *json, "Print JSON");
  info->callback([&outcome, json] { outcome.run = [json] { return catalogueInfo(*json); }; });

  struct TagOptions {
    std::string name;
    std::string language;
  };
  auto tag = std::make_shared<TagOptions>();
  auto* tagCommand = app.add_subcommand("tag", "Show the catalogue record of a tag");
  tagCommand->add_option("STREAM:KEY", tag->name, "The tag, such as EXIF:Make")->required();
  tagCommand->add_option("--lang", tag->language, "Language of the localised texts");
  tagCommand->callback([&outcome, tag] { outcome.run = [tag] { return showTag(tag->name, tag->language); }; });
}

}  // namespace orvelin::tool

// `orvelin table` and `orvelin tagset`.

#include <cstdio>
#include <filesystem>
#include <future>
#include <iostream>
#include <latch>

#include <nlohmann/json.hpp>

#include "batch.h"
#include "commands.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/support/main_queue.h"
#include "orvelin/support/user_defaults.h"
#include "orvelin/tables/metadata_table.h"
#include "orvelin/tagsets/tags_set.h"

namespace orvelin::tool {

namespace fs = std::filesystem;

namespace {

struct TableOptions {
  std::vector<std::string> files;
  std::vector<std::string> streams;
  std::optional<std::string> search;
  bool noSections = false;
  bool showStreams = false;
  bool json = false;
  std::string language;
  bool quiet = false;
};

const char* caseName(MultiValuedString::Case kind) {
  switch (kind) {
    case MultiValuedString::Case::single: return "single";
    case MultiValuedString::Case::multiple: return "multiple";
    case MultiValuedString::Case::none: break;
  }
  return "none";
}

// A value row as a line: the tag's name, its values, and its state.
std::string valueLine(const MetadataRowValue& row, const MetadataRowCache& cache) {
  std::string line = "  " + row.tagItem()->localizedDescription() + " = ";
  if (cache.isNone()) line += "<none>";
  if (cache.isMultiple()) line += "<multiple> ";
  for (std::size_t k = 0; k < cache.string.values().size(); ++k)
    line += (k ? ", \"" : "\"") + cache.string.values()[k] + "\"";
  if (cache.isEdited) line += " [edited]";
  line += cache.isWritable ? " [writable]" : " [read-only]";
  return line;
}

nlohmann::ordered_json valueObject(const MetadataRowValue& row, const MetadataRowCache& cache) {
  nlohmann::ordered_json object;
  object["row"] = "value";
  object["tag"] = row.tagItem()->name.rawValue();
  object["name"] = row.tagItem()->localizedName();
  object["kind"] = caseName(cache.string.kind());
  object["values"] = cache.string.values();
  object["edited"] = cache.isEdited;
  object["writable"] = cache.isWritable;
  return object;
}

// Builds the table on the main queue, fetches every row's cache, and prints the rows.
int showTable(const TableOptions& options) {
  if (!chooseLanguageForThisRun(options.language)) return 2;
  if (!loadCatalogue()) return 1;
  std::vector<fs::path> urls;
  for (const auto& file : options.files) urls.push_back(fs::absolute(file));
  auto imported = importEditors(urls, options.quiet);
  int status = 0;
  MetadataEditors editors;
  for (std::size_t i = 0; i < imported.size(); ++i) {
    if (imported[i].editor)
      editors.push_back(std::move(imported[i].editor));
    else {
      reportFailure(options.files[i], imported[i].error);
      status = 1;
    }
  }

  std::shared_ptr<MetadataTable> table;
  std::vector<std::shared_ptr<MetadataRowValue>> rows;
  auto& main = MainQueue::shared();
  main.sync([&] {
    table = MetadataTable::make(TagsSetDomain::application);
    table->setEditors(std::move(editors));
    table->shouldDisplayStreams = options.showStreams;
    table->shouldDisplaySections = !options.noSections;
    table->searchString = options.search;
    if (options.streams.empty())
      table->displayedStreams.insert(table->tagsSet()->streams().begin(), table->tagsSet()->streams().end());
    for (const auto& stream : options.streams) table->displayedStreams.emplace(stream);
    table->reloadCache();
    for (std::size_t index = 0; index < table->numberOfRows(); ++index)
      if (const auto* value = table->entry(index).asValue()) rows.push_back(*value);
  });
  std::latch fetched(static_cast<std::ptrdiff_t>(rows.size()));
  for (const auto& row : rows) row->fetchRowCache([&fetched](const MetadataRowCache&) { fetched.count_down(); });
  fetched.wait();

  main.sync([&] {
    nlohmann::ordered_json out = nlohmann::ordered_json::array();
    for (std::size_t index = 0; index < table->numberOfRows(); ++index) {
      const auto& entry = table->entry(index);
      if (const auto* stream = entry.asStream()) {
        if (options.json)
          out.push_back({{"row", "stream"}, {"stream", stream->rawValue()}});
        else
          std::printf("[%s]\n", stream->rawValue().c_str());
      } else if (const auto* section = entry.asSection()) {
        if (options.json)
          out.push_back({{"row", "section"}, {"section", section->rawValue}, {"name", section->localizedName()}});
        else
          std::printf("%s:\n", section->localizedName().c_str());
      } else {
        const auto& row = **entry.asValue();
        const auto cache = row.cache();
        if (options.json)
          out.push_back(valueObject(row, *cache));
        else
          std::printf("%s\n", valueLine(row, *cache).c_str());
      }
    }
    if (options.json) std::cout << out.dump(2) << "\n";
    table.reset();
  });
  return status;
}

enum class TagsSetAction { exportFile, importFile, restore };

int changeTagsSet(TagsSetAction action, const std::string& file) {
  if (!loadCatalogue()) return 1;
  int status = 0;
  MainQueue::shared().sync([&] {
    const auto tagsSet = TagsSet::shared(TagsSetDomain::application);
    try {
      switch (action) {
        case TagsSetAction::exportFile:
          tagsSet->exportToFile(fs::absolute(file));
          return;
        case TagsSetAction::importFile: tagsSet->importFromFile(fs::absolute(file)); break;
        case TagsSetAction::restore: {
          const auto url = defaultTagsSetFileURL(TagsSetDomain::application);
          if (!url) throw std::runtime_error("the default tag set is missing from the resources");
          tagsSet->importFromFile(*url);
          break;
        }
      }
    } catch (const std::exception& error) {
      reportFailure(action == TagsSetAction::restore ? "tagset" : file, error.what());
      status = 1;
      return;
    }
    if (!tagsSet->saveToUserDefaults()) {
      reportFailure(ORVGetUserDefaults()->path().string(), "the user defaults cannot be written");
      status = 1;
    }
  });
  return status;
}

}  // namespace

void addTableCommands(CLI::App& app, Outcome& outcome) {
  auto options = std::make_shared<TableOptions>();
  auto* table = app.add_subcommand("table", "Show the tag set's rows over files, one value per tag for all of them");
  table->add_option("FILE", options->files, "Files, or folders (a path without extension)")->required();
  table->add_option("--streams", options->streams, "STREAM,...: the streams to show (default: the tag set's)")
      ->delimiter(',');
  table->add_option("--search", options->search, "TEXT: only the tags whose name holds TEXT (any case and accents)");
  table->add_flag("--no-sections", options->noSections, "Show no section headers");
  table->add_flag("--show-streams", options->showStreams, "Show a header above each stream's rows");
  table->add_flag("--json", options->json, "Print JSON");
  table->add_option("--lang", options->language, "Language of the tags' names and the sections");
  table->add_flag("--quiet", options->quiet, "Show no progress line");
  table->footer(
      "Each value row shows the tag's name, its value (\"<multiple>\" and the distinct values when the files "
      "differ, \"<none>\" when none has one), and whether it is edited and writable.");
  table->callback([&outcome, options] { outcome.run = [options] { return showTable(*options); }; });

  auto* tagset = app.add_subcommand("tagset", "Export, import or restore the application's tag set");
  tagset->require_subcommand(1);
  auto file = std::make_shared<std::string>();
  auto* exportCommand = tagset->add_subcommand("export", "Write the tag set to FILE (JSON)");
  exportCommand->add_option("FILE", *file, "The file to write")->required();
  exportCommand->callback([&outcome, file] {
    outcome.run = [file] { return changeTagsSet(TagsSetAction::exportFile, *file); };
  });
  auto* importCommand = tagset->add_subcommand("import", "Replace the tag set by the one of FILE, and keep it");
  importCommand->add_option("FILE", *file, "The file to read")->required();
  importCommand->callback([&outcome, file] {
    outcome.run = [file] { return changeTagsSet(TagsSetAction::importFile, *file); };
  });
  auto* restore = tagset->add_subcommand("restore", "Restore the default tag set, and keep it");
  restore->callback([&outcome] { outcome.run = [] { return changeTagsSet(TagsSetAction::restore, {}); }; });
}

}  // namespace orvelin::tool

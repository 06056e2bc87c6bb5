// `orvelin gps` and `orvelin size`: the position and the pixel size of files, as the editor
// reads them.

#include <cstdio>
#include <filesystem>
#include <iostream>

#include <nlohmann/json.hpp>

#include "batch.h"
#include "commands.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/editor/editor_gps.h"
#include "orvelin/editor/editor_image_facts.h"
#include "orvelin/editor/metadata_editor.h"
#include "orvelin/support/format.h"
#include "orvelin/values/coordinate_writer.h"
#include "orvelin/values/date_time_value_converter.h"

namespace orvelin::tool {

namespace fs = std::filesystem;

namespace {

struct FactsOptions {
  std::vector<std::string> files;
  bool json = false;
  bool quiet = false;
};

// The editors of the files, imported through import tasks; the failures are printed, and
// `status` becomes 1 when there is one. A null editor for each file that failed.
std::vector<std::shared_ptr<MetadataEditor>> readEditors(const FactsOptions& options, int& status) {
  std::vector<fs::path> urls;
  for (const auto& file : options.files) urls.push_back(fs::absolute(file));
  auto imported = importEditors(urls, options.quiet);
  std::vector<std::shared_ptr<MetadataEditor>> editors;
  for (std::size_t i = 0; i < imported.size(); ++i) {
    if (!imported[i].editor) {
      reportFailure(options.files[i], imported[i].error);
      status = 1;
    }
    editors.push_back(std::move(imported[i].editor));
  }
  return editors;
}

std::string numberText(double value) { return ORVFormat("%@", {value}); }

int printPositions(const FactsOptions& options) {
  if (!loadCatalogue()) return 1;
  int status = 0;
  const auto editors = readEditors(options, status);
  const CoordinateWriter writer;
  const DateTimeValueConverter moments;
  nlohmann::json all = nlohmann::json::array();
  for (std::size_t i = 0; i < editors.size(); ++i) {
    const auto& editor = editors[i];
    if (!editor) continue;
    const auto& file = options.files[i];
    const auto coordinate = exifGPSCoordinate(*editor);
    const auto altitude = exifGPSAltitude(*editor);
    const auto moment = moments.stringValueFromTypedValue(exifGPSDateTime(*editor));
    if (options.json) {
      nlohmann::json entry = {{"SourceFile", file}};
      entry["latitude"] = coordinate ? nlohmann::json(coordinate->latitude.value) : nlohmann::json();
      entry["longitude"] = coordinate ? nlohmann::json(coordinate->longitude.value) : nlohmann::json();
      entry["DDddddd"] = coordinate ? nlohmann::json(writer.DDddddd(*coordinate)) : nlohmann::json();
      entry["DDMMmmm"] = coordinate ? nlohmann::json(writer.DDMMmmm(*coordinate)) : nlohmann::json();
      entry["PreDDMMSSs"] = coordinate ? nlohmann::json(writer.preDDMMSSs(*coordinate)) : nlohmann::json();
      entry["PostDDMMSSs"] = coordinate ? nlohmann::json(writer.postDDMMSSs(*coordinate)) : nlohmann::json();
      entry["altitude"] = altitude ? nlohmann::json(*altitude) : nlohmann::json();
      entry["moment"] = moment ? nlohmann::json(*moment) : nlohmann::json();
      all.push_back(std::move(entry));
      continue;
    }
    std::cout << file << "\n";
    if (coordinate) {
      std::cout << "  DDddddd:     " << writer.DDddddd(*coordinate) << "\n"
                << "  DDMMmmm:     " << writer.DDMMmmm(*coordinate) << "\n"
                << "  PreDDMMSSs:  " << writer.preDDMMSSs(*coordinate) << "\n"
                << "  PostDDMMSSs: " << writer.postDDMMSSs(*coordinate) << "\n";
    } else {
      std::cout << "  position:    none\n";
    }
    std::cout << "  altitude:    " << (altitude ? numberText(*altitude) + " m" : "none") << "\n"
              << "  moment:      " << moment.value_or("none") << "\n";
  }
  if (options.json) std::cout << all.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
  std::cout.flush();
  return status;
}

int printSizes(const FactsOptions& options) {
  if (!loadCatalogue()) return 1;
  int status = 0;
  const auto editors = readEditors(options, status);
  nlohmann::json all = nlohmann::json::array();
  for (std::size_t i = 0; i < editors.size(); ++i) {
    const auto& editor = editors[i];
    if (!editor) continue;
    const auto& file = options.files[i];
    const auto size = imageSize(*editor);
    if (options.json) {
      all.push_back({{"SourceFile", file},
                     {"width", size ? nlohmann::json(size->width) : nlohmann::json()},
                     {"height", size ? nlohmann::json(size->height) : nlohmann::json()}});
      continue;
    }
    std::cout << file << ": " << (size ? numberText(size->width) + " x " + numberText(size->height) : "no size")
              << "\n";
  }
  if (options.json) std::cout << all.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
  std::cout.flush();
  return status;
}

}  // namespace

void addGPSCommands(CLI::App& app, Outcome& outcome) {
  auto gpsOptions = std::make_shared<FactsOptions>();
  auto* gps = app.add_subcommand("gps", "Print the GPS position of files in the four notations, with altitude and moment");
  gps->add_option("FILE", gpsOptions->files, "Files to read")->required();
  gps->add_flag("--json", gpsOptions->json, "Print one JSON array with one object per file");
  gps->add_flag("--quiet", gpsOptions->quiet, "Show no progress line");
  gps->callback([&outcome, gpsOptions] { outcome.run = [gpsOptions] { return printPositions(*gpsOptions); }; });

  auto sizeOptions = std::make_shared<FactsOptions>();
  auto* size = app.add_subcommand("size", "Print the pixel size of files (width x height)");
  size->add_option("FILE", sizeOptions->files, "Files to read")->required();
  size->add_flag("--json", sizeOptions->json, "Print one JSON array with one object per file");
  size->add_flag("--quiet", sizeOptions->quiet, "Show no progress line");
  size->callback([&outcome, sizeOptions] { outcome.run = [sizeOptions] { return printSizes(*sizeOptions); }; });
}

}  // namespace orvelin::tool

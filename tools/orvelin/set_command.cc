// `orvelin set`: edits files and saves them.

#include <algorithm>
#include <cstdio>

#include "commands.h"
#include "save_targets.h"
#include "set_edits.h"

namespace orvelin::tool {

namespace {

int setFiles(const SetOptions& options) {
  const auto edits = parseEdits(options);
  if (!edits) return 2;
  // The catalogue first: a preset file names tags.
  if (!loadCatalogue()) return 1;
  const auto intentEdits = parseIntentEdits(options);
  if (!intentEdits) return 2;

  auto targets = importTargets(options.files, options.quiet);

  // All edits in one session, through the batch operations.
  int status = 0;
  {
    std::vector<std::shared_ptr<MetadataEditor>> imported;
    std::vector<std::string> paths;
    for (const auto& target : targets)
      if (target.editor) {
        imported.push_back(target.editor);
        paths.push_back(target.path);
      }
    SessionNames touched;
    for (const auto& refused : applyEdits(imported, paths, *edits, *intentEdits, options)) {
      std::fputs(refused.c_str(), stderr);
      if (!refused.empty()) status = 1;
    }
    status = std::max(status, saveTargets(targets, touched, options.updateModifyDate, options.quiet));
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

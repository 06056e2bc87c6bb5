#pragma once

// The sub-commands of the orvelin tool. Each registers itself on the application and
// returns the exit status through the shared `Outcome` once parsing is done:
// 0 when everything worked, 1 when some file failed, 2 for a usage error.

#include <CLI/CLI.hpp>

#include <functional>
#include <optional>
#include <string>

#include "orvelin/exiftool/language.h"

namespace orvelin::tool {

// What the chosen sub-command runs once the command line is parsed.
struct Outcome {
  std::function<int()> run;
};

void addVersionCommand(CLI::App& app, Outcome& outcome);
void addExifToolCommand(CLI::App& app, Outcome& outcome);
void addCatalogueCommands(CLI::App& app, Outcome& outcome);
void addReadCommands(CLI::App& app, Outcome& outcome);
void addSetCommand(CLI::App& app, Outcome& outcome);
// `orvelin gps` and `orvelin size`.
void addGPSCommands(CLI::App& app, Outcome& outcome);
// `orvelin table` and `orvelin tagset`.
void addTableCommands(CLI::App& app, Outcome& outcome);
// `orvelin export`, `orvelin export-jpeg`, `orvelin export-thumbnail`, `orvelin import-sidecar`.
void addExportCommands(CLI::App& app, Outcome& outcome);
// `orvelin geotag`, `track`, `locations`, `file-tags`, `photos-script`.
void addFolderCommands(CLI::App& app, Outcome& outcome);

// Loads the library's tag catalogue (TagsResources::shared().reload()). When its folder is
// missing, prints "tag catalogue not found at PATH; set ORVELIN_RESOURCES or reinstall" on
// standard error and returns false: the command then exits with 1, as every read would drop
// every tag.
bool loadCatalogue();

// Makes the texts of this run follow the language named (as parseLanguage() reads it), without
// saving the choice; an empty name keeps the user's. False, after "orvelin: unknown language
// NAME" on standard error, when the name is none.
bool chooseLanguageForThisRun(const std::string& languageName);

// Parses a language given as its name ("German"), or its exiftool code ("de"). Absent when
// the text names no language.
std::optional<Language> parseLanguage(const std::string& text);

}  // namespace orvelin::tool

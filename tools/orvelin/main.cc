// orvelin: the command-line host of the library.

#include <signal.h>
#include <unistd.h>

#include <cstdio>

#include "commands.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/support/debug_log.h"
#include "orvelin/support/main_queue.h"
#include "orvelin/version.h"

namespace {

// Each occurrence of a repeatable option takes one value (`-t A=1 -t B=2`), so that options and
// files mix in any order, as with exiftool and git; `--` ends the options.
void takeOneValuePerOccurrence(CLI::App& app) {
  for (auto* option : app.get_options())
    if (!option->get_positional() && option->get_items_expected_max() > 1) option->allow_extra_args(false);
  for (auto* command : app.get_subcommands({})) takeOneValuePerOccurrence(*command);
}

// An interrupted run takes its exiftool processes with it, then ends as the signal says.
void endOnSignal(int signalNumber) {
  orvelin::ORVKillPersistentExifToolsFromSignalHandler();
  ::signal(signalNumber, SIG_DFL);
  ::raise(signalNumber);
}

}  // namespace

int main(int argc, char** argv) {
  using namespace orvelin;
  // Standard output is for results (JSON among them): the library's own messages go to
  // standard error.
  ORVSetConsole(STDERR_FILENO);
  ORVSetApplicationInfo({{"CFBundleName", "orvelin"},
                         {"CFBundleExecutable", "orvelin"},
                         {"CFBundleVersion", ORVELIN_VERSION}});
  // A command-line host has no main loop of its own: the main queue gets a thread.
  MainQueue::shared().startOnOwnThread();

  CLI::App app{"orvelin: read, edit and write the metadata of image files through exiftool"};
  app.require_subcommand(1);
  tool::Outcome outcome;
  tool::addVersionCommand(app, outcome);
  tool::addExifToolCommand(app, outcome);
  tool::addCatalogueCommands(app, outcome);
  tool::addReadCommands(app, outcome);
  tool::addSetCommand(app, outcome);
  tool::addGPSCommands(app, outcome);
  tool::addTableCommands(app, outcome);
  tool::addExportCommands(app, outcome);
  tool::addFolderCommands(app, outcome);
  bool spawn = false;
  app.add_flag("--spawn", spawn,
               "Run each exiftool command as a process of its own instead of keeping exiftool running");
  app.fallthrough();
  takeOneValuePerOccurrence(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    const int status = app.exit(error);
    return status == 0 ? 0 : 2;
  }
  ORVSetPersistentExifTool(!spawn);
  for (const int signalNumber : {SIGINT, SIGTERM, SIGHUP}) ::signal(signalNumber, endOnSignal);
  const int status = outcome.run ? outcome.run() : 2;
  std::fflush(stdout);
  ORVSetPersistentExifTool(false);
  return status;
}

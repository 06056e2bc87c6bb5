// `orvelin export`, `orvelin export-jpeg`, `orvelin export-thumbnail` and
// `orvelin import-sidecar`: files beside the pictures, through the export and sidecar tasks.

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "batch.h"
#include "commands.h"
#include "orvelin/support/file_system.h"
#include "orvelin/support/string_extensions.h"
#include "orvelin/interchange/export_tasks.h"
#include "save_targets.h"

namespace orvelin::tool {

namespace fs = std::filesystem;

namespace {

struct ExportOptions {
  std::vector<std::string> files;
  std::string folder;  // --to
  std::string type;    // --type, for the sidecar export
  bool overwrite = false;
  bool quiet = false;
};

// Runs one export task per imported target with `generator`, then prints "PATH: OUTPUT" for
// each file written and "PATH: ERROR" on standard error for each failure, in the order of the
// command line. 1 when a file failed.
template <typename Task, typename Generator>
int exportFiles(const ExportOptions& options, Generator generator) {
  if (!loadCatalogue()) return 1;
  const auto folder = fs::absolute(options.folder);
  std::error_code error;
  ORVGetFileSystem()->createDirectories(folder, error);
  if (error) {
    std::fprintf(stderr, "orvelin: cannot make the folder %s: %s\n", options.folder.c_str(), error.message().c_str());
    return 1;
  }
  auto targets = importTargets(options.files, options.quiet);
  generator.destinationURL = folder;
  generator.shouldOverride = options.overwrite;
  return runPerTarget<Task>(targets, std::move(generator), options.quiet,
                            [](const Task& task) -> std::optional<std::string> {
                              const auto output = task.outputURL();
                              return output ? std::optional<std::string>(output->string()) : std::nullopt;
                            });
}

int exportSidecars(const ExportOptions& options) {
  if (!ExportSidecarFileTaskItem::supportedSidecarTypes().contains(asciiLowercased(options.type))) {
    std::string known;
    for (const auto& type : ExportSidecarFileTaskItem::supportedSidecarTypesList()) known += (known.empty() ? "" : ", ") + type;
    std::fprintf(stderr, "orvelin: unknown sidecar type %s (known: %s)\n", options.type.c_str(), known.c_str());
    return 2;
  }
  ExportSidecarFileTasksGenerator generator;
  generator.fileType = options.type;
  return exportFiles<ExportSidecarFileTaskItem>(options, std::move(generator));
}

struct ImportSidecarOptions {
  std::string sidecar;
  std::vector<std::string> files;
  bool updateModifyDate = false;
  bool quiet = false;
};

// The sidecar's values set on each file (one task per file, so that each file takes them once),
// then the saves, reported as `orvelin set` reports them.
int importSidecar(const ImportSidecarOptions& options) {
  if (!loadCatalogue()) return 1;
  auto targets = importTargets(options.files, options.quiet);
  const auto sidecar = fs::absolute(options.sidecar);
  std::vector<std::shared_ptr<TaskItem>> tasks;
  std::vector<std::size_t> taken;
  for (std::size_t i = 0; i < targets.size(); ++i)
    if (targets[i].editor) {
      taken.push_back(i);
      tasks.push_back(std::make_shared<ImportSidecarFileTaskItem>(ImportSidecarFileTaskInput{{targets[i].editor}, sidecar}));
    }
  const auto group = std::make_shared<TasksGroup>(ImportSidecarFileTasksGenerator().defaultGroupLabel(), std::move(tasks));
  SessionNames touched;
  runGroup(group, options.quiet, [&] {
    for (std::size_t k = 0; k < group->tasks.size(); ++k) {
      const auto& task = *group->tasks[k];
      if (task.status() == TaskStatus::completed) continue;
      auto& target = targets[taken[k]];
      target.error = failureText(task);
      target.editor.reset();  // nothing of a failed import is saved
    }
  });
  return saveTargets(targets, touched, options.updateModifyDate, options.quiet);
}

// The options every export command has.
void addExportOptions(CLI::App& command, ExportOptions& options) {
  command.add_option("FILE", options.files, "Files, or folders (a path without extension)")->required();
  command.add_option("--to", options.folder, "DIR: the folder to write into (made when missing)")->required();
  command.add_flag("--overwrite", options.overwrite,
                   "Replace a file of the same name; without it a free name is taken (\"NAME (0).EXT\", ...)");
  command.add_flag("--quiet", options.quiet, "Show no progress line, only the results and errors");
  command.footer("Each file prints PATH: OUTPUT, the file written; a failure prints PATH: ERROR on standard error.");
}

}  // namespace

void addExportCommands(CLI::App& app, Outcome& outcome) {
  auto sidecar = std::make_shared<ExportOptions>();
  auto* exportCommand = app.add_subcommand("export", "Write the metadata of files as sidecar files");
  addExportOptions(*exportCommand, *sidecar);
  exportCommand
      ->add_option("--type", sidecar->type,
                   "csv|json: the library's tag files (current values, pending edits included); "
                   "xmp|exif|mie|exv|icc|vrd: exiftool's sidecars of the file's metadata")
      ->required();
  exportCommand->callback([&outcome, sidecar] { outcome.run = [sidecar] { return exportSidecars(*sidecar); }; });

  auto jpeg = std::make_shared<ExportOptions>();
  auto* jpegCommand =
      app.add_subcommand("export-jpeg", "Extract the large JPEG of raw files (else their preview image)");
  addExportOptions(*jpegCommand, *jpeg);
  jpegCommand->callback([&outcome, jpeg] {
    outcome.run = [jpeg] { return exportFiles<ExportJPEGImageTaskItem>(*jpeg, ExportJPEGImageTasksGenerator()); };
  });

  auto thumbnail = std::make_shared<ExportOptions>();
  auto* thumbnailCommand = app.add_subcommand("export-thumbnail", "Extract the EXIF thumbnail of files");
  addExportOptions(*thumbnailCommand, *thumbnail);
  thumbnailCommand->callback([&outcome, thumbnail] {
    outcome.run = [thumbnail] {
      return exportFiles<ExportThumbnailTaskItem>(*thumbnail, ExportThumbnailTasksGenerator());
    };
  });

  auto import = std::make_shared<ImportSidecarOptions>();
  auto* importCommand = app.add_subcommand(
      "import-sidecar", "Set the values of a sidecar (csv, json, or any file exiftool reads) on files, and save them");
  importCommand->add_option("SIDECAR", import->sidecar, "The sidecar file")->required();
  importCommand->add_option("FILE", import->files, "Files, or folders (a path without extension)")->required();
  importCommand->add_flag("--update-modify-date", import->updateModifyDate,
                          "Set the file's modification date from EXIF:ModifyDate after the save");
  importCommand->add_flag("--quiet", import->quiet, "Show no progress line, only the results and errors");
  importCommand->footer(
      "Each file prints the tags its save wrote, as `orvelin set` does; a value exiftool refuses is printed on "
      "standard error as PATH: STREAM:KEY: REASON, and the exit status is then 1.");
  importCommand->callback([&outcome, import] { outcome.run = [import] { return importSidecar(*import); }; });
}

}  // namespace orvelin::tool

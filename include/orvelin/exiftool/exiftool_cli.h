#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "orvelin/exiftool/language.h"

namespace orvelin {

// Runs one exiftool command and keeps what it printed.
//
// Create one instance per command, set its options, call run() with the command's arguments,
// then read the two output fields. By default each command is one short-lived process, started
// and awaited on the calling thread, with no time-out. With ORVSetPersistentExifTool(true), it
// goes to a pool of long-lived exiftool processes instead, with the same arguments and the same
// results (see there). An instance must not be shared between threads; any number of instances
// may run at once on different threads.
class ExifToolCLI {
 public:
  explicit ExifToolCLI(std::optional<Language> language = std::nullopt) : language(language) {}

  // Options, in the order their arguments are added.
  std::optional<Language> language;          // "-lang <code>"
  std::optional<std::string> password;       // "-password <p>"
  bool recurseSubfolders = false;            // "-r"
  std::optional<std::string> filterPathExtension;  // "-ext <ext>"
  bool enableShortTags = false;              // "-s"
  bool enableRawValues = false;              // "-n"
  bool disableComposite = false;             // "-e"
  bool enableCorrection = false;             // "-F"
  bool overwriteInPlace = false;             // "-overwrite_original_in_place"
  bool forceRawLocation = false;             // "-c %.6f"

  // Runs the tool with `args` behind the options. Never throws: success or failure shows only
  // in the output fields, which this call replaces. When the launcher is missing, standard
  // output is empty and standard error is exactly "exiftool launcher not found at <launcher's
  // path>; install exiftool (Debian: libimage-exiftool-perl)"; a launcher that exists but
  // cannot be started gives "exiftool launcher at <path> cannot be run (<cause>)". A missing
  // tool script is reported by the launcher itself on standard error.
  void run(const std::vector<std::string>& args);

  // The bytes of the last run's output streams; absent before the first run.
  const std::optional<std::string>& stdErrData() const { return stdErrData_; }
  const std::optional<std::string>& stdOutData() const { return stdOutData_; }
  // The last run's exit status (128 + the signal's number for a child killed by a signal);
  // absent before the first run and when the launcher could not be started.
  std::optional<int> exitStatus() const { return exitStatus_; }

  // The output as text: UTF-8, else Mac OS Roman. Absent before the first run, or when
  // neither decoding works.
  std::optional<std::string> buildStdErrString() const;
  std::optional<std::string> buildStdOutString() const;

  // Where the tool lies: <resources>/ExifTool, its exiftool script and its launcher.
  static const std::filesystem::path& exifToolDirectoryURL();
  static const std::filesystem::path& exiftoolExecutableURL();
  static const std::filesystem::path& orvPerlExecutableURL();

  // The lower-case file extensions of each media kind, and their union.
  static const std::unordered_map<MediaKind, std::set<std::string, std::less<>>>& arrangedTypes();
  static const std::set<std::string, std::less<>>& supportedTypes();

 private:
  std::vector<std::string> buildArguments(const std::vector<std::string>& args) const;

  std::optional<std::string> stdErrData_;
  std::optional<std::string> stdOutData_;
  std::optional<int> exitStatus_;
};

// Arguments added to every command, directly behind "-charset filename=UTF8". Guarded by the
// library's extra-arguments lock; set at start-up or between commands.
std::vector<std::string> ORVGetExtraArguments();
void ORVSetExtraArguments(std::vector<std::string> arguments);

// The persistent transport. When on, commands go to a pool of long-lived
// "exiftool -stay_open True -@ -" processes (as many as the cores, at most 8; started when
// first needed, then reused), one command per process at a time, with the arguments and
// environment a spawned process would get; each command's options end with it. The answer is
// what a spawned process gives: both output streams, apart and complete, and the exit status.
// A command whose arguments cannot travel through exiftool's argument file (a line break
// together with '$' or '@', or an option that steers the argument file) is spawned. A process
// that dies, or does not answer within the time limit (default 5 minutes), is replaced and the
// command retried once on a fresh one, then spawned. Off by default. Turning it off stops the
// idle processes at once and the busy ones when their command ends; the processes are stopped
// when the program exits. Guarded by the pool's lock: may be changed at any time.
bool ORVGetPersistentExifTool();
void ORVSetPersistentExifTool(bool persistent);
void ORVSetPersistentExifToolTimeLimit(std::chrono::milliseconds limit);
// The process ids of the pool's processes, busy or idle.
std::vector<int> ORVPersistentExifToolProcessIDs();
// Kills every pooled process at once (SIGKILL). Async-signal-safe: for a host's handlers of
// SIGINT or SIGTERM, which then let the signal end the program.
void ORVKillPersistentExifToolsFromSignalHandler();

// Forces the in-process image service path instead of exiftool where both exist.
bool ORVGetForceUseCoreImage();
void ORVSetForceUseCoreImage(bool force);

}  // namespace orvelin

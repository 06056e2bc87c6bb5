#pragma once

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "orvelin/exiftool/language.h"

namespace orvelin {

// Runs one exiftool command as a child process and keeps what it printed.
//
// Create one instance per command, set its options, call run() with the command's arguments,
// then read the two output fields. Each command is one short-lived process, started and
// awaited on the calling thread, with no time-out. An instance must not be shared between
// threads; any number of instances may run at once on different threads.
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

// Forces the in-process image service path instead of exiftool where both exist.
bool ORVGetForceUseCoreImage();
void ORVSetForceUseCoreImage(bool force);

}  // namespace orvelin

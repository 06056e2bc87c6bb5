#include "orvelin/storage/metadata_et_writer.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <memory>
#include <mutex>
#include <set>
#include <sstream>

#include "orvelin/editor/et_editors.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/support/debug_log.h"
#include "orvelin/support/file_system.h"
#include "orvelin/support/files.h"
#include "orvelin/support/string_extensions.h"
#include "orvelin/support/text_encoding.h"
#include "orvelin/support/user_defaults.h"
#include "orvelin/values/date_time_value_converter.h"
#include "orvelin/values/value.h"

namespace orvelin {

namespace fs = std::filesystem;

// ---------------------------------------------------------------------------------------------
// Shared writer logic

namespace {

std::optional<Date> dateOf(const ReadWriteStorage& storage, const TagName& name) {
  const std::string* text = storage.writtenValuePointer(name);
  if (!text) text = storage.originalValuePointer(name);
  if (!text) return std::nullopt;
  return DateTimeValueConverter().typedValueFromStringValue(*text);
}

// JSON text has no form for a number that is not finite: nlohmann's dump would write null,
// which exiftool takes for no value at all, and the edit would be lost without a word.
void requireFiniteNumbers(const nlohmann::json& values) {
  if (!containsNonFiniteNumber(values)) return;
  ORVDebugLog("JSON encoding failed: a number is not finite");
  throw MetadataETWriterError(MetadataETWriterError::Code::jsonEncodingFailed);
}

}  // namespace

namespace metadata_writer_detail {

FileAttributes fileAttributes(const ReadWriteStorage& storage, bool createDate, bool modifyDate) {
  FileAttributes attributes;
  if (createDate) attributes.creationDate = dateOf(storage, TagName::exifCreateDate);
  if (modifyDate) attributes.modificationDate = dateOf(storage, TagName::exifModifyDate);
  return attributes;
}

URLAttributes urlAttributes(const ReadWriteStorage& storage, bool finderTags) {
  URLAttributes attributes;
  if (finderTags && storage.writtenFinderTags()) attributes.tagNames = *storage.writtenFinderTags();
  return attributes;
}

void writeFileAttributes(const fs::path& url, const FileAttributes& attributes) {
  if (attributes.empty()) return;
  if (attributes.creationDate) ORVDebugLog("File creation date of " + url.string() + " cannot be set on this system");
  if (!attributes.modificationDate) return;
  const auto since = attributes.modificationDate->time_since_epoch();
  const auto seconds = std::chrono::floor<std::chrono::seconds>(since);
  const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(since - seconds);
  const timespec times[2] = {{0, UTIME_OMIT}, {static_cast<time_t>(seconds.count()), static_cast<long>(nanoseconds.count())}};
  if (::utimensat(AT_FDCWD, url.c_str(), times, 0) != 0)
    throw fs::filesystem_error("cannot set the modification date", url, std::error_code(errno, std::generic_category()));
}

void writeURLAttributes(const fs::path& url, const URLAttributes& attributes) {
  if (attributes.empty()) return;
  std::error_code error;
  writeFinderTags(url, *attributes.tagNames, error);
  if (error) throw fs::filesystem_error("cannot set the Finder tags", url, error);
}

}  // namespace metadata_writer_detail

// ---------------------------------------------------------------------------------------------
// Errors

const char* MetadataETWriterError::text(Code code) {
  switch (code) {
    case Code::copySourceImageFailed: return "Copy of source failed";
    case Code::jsonEncodingFailed: return "JSON encoding failed";
    case Code::jsonFileCreationFailed: return "JSON file creation failed";
    case Code::outputIsMissing: return "Output is missing";
  }
  return "";
}

// ---------------------------------------------------------------------------------------------
// The exiftool writer

namespace {

// The extensions (upper case) of the file types that exiftool writes, as `exiftool -listwf`
// prints them. Asked once per process and again while the answer is empty; the process runs
// outside the lock, which guards only the published answer, so two first callers at the same
// time may both ask, and the first answer published is the one kept.
std::shared_ptr<const std::set<std::string>> writableExtensions() {
  static std::mutex mutex;
  static std::shared_ptr<const std::set<std::string>> published;  // guarded by mutex
  {
    std::lock_guard lock(mutex);
    if (published) return published;
  }
  ExifToolCLI cli;
  cli.run({"-listwf"});
  auto extensions = std::make_shared<std::set<std::string>>();
  std::istringstream lines(cli.buildStdOutString().value_or(""));
  std::string line;
  std::getline(lines, line);  // "Writable file extensions:"
  for (std::string word; lines >> word;) extensions->insert(asciiUppercased(word));
  if (extensions->empty()) return extensions;
  std::lock_guard lock(mutex);
  if (!published) published = std::move(extensions);
  return published;
}

// The extension of a file name as exiftool sees it: what follows the last dot, upper-cased.
std::string exifToolExtension(const std::string& filename) {
  const auto dot = filename.rfind('.');
  return dot == std::string::npos || dot + 1 == filename.size() ? std::string() : asciiUppercased(filename.substr(dot + 1));
}

// The files that exiftool writes when it is given `folder`: its files of a writable type, or
// with -ext those of that extension; with -r also those of its subfolders whose names do not
// begin with a dot. A symbolic link to a folder is not followed (a link back to a parent would
// never end); the files beneath it keep their Finder tags.
void collectWrittenFiles(const fs::path& folder, bool recurse, const std::optional<std::string>& filter,
                         const std::set<std::string>& writable, std::vector<fs::path>& files) {
  std::error_code error;
  for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
    const auto name = it->path().filename().string();
    std::error_code statusError;
    const auto status = it->symlink_status(statusError);
    if (fs::is_directory(status)) {
      if (recurse && name.front() != '.') collectWrittenFiles(it->path(), recurse, filter, writable, files);
      continue;
    }
    if (fs::is_symlink(status) && fs::is_directory(it->path(), statusError)) continue;
    const auto extension = exifToolExtension(name);
    if (filter ? (*filter == "*" || extension == *filter) : writable.contains(extension)) files.push_back(it->path());
  }
}

// Sets the Finder tags that exiftool would have set with "macOS:MDItemUserTags": on the file
// written, or on each file of a written folder. As for exiftool's own warnings, a failure is
// written to the debug log and does not fail the save.
void writeImagesFinderTags(const fs::path& url, const std::vector<std::string>& tags, bool recurse,
                           const std::optional<std::string>& filterPathExtension) {
  std::vector<fs::path> files;
  std::error_code error;
  if (fs::is_directory(url, error)) {
    std::optional<std::string> filter;
    if (filterPathExtension) {
      auto extension = *filterPathExtension;
      if (!extension.empty() && extension.front() == '.') extension.erase(0, 1);
      filter = asciiUppercased(extension);
    }
    const auto writable = filter ? std::make_shared<const std::set<std::string>>() : writableExtensions();
    collectWrittenFiles(url, recurse, filter, *writable, files);
  } else {
    files.push_back(url);
  }
  for (const auto& file : files) {
    writeFinderTags(file, tags, error);
    if (error) ORVDebugLog("Finder tags of " + file.string() + " cannot be set: " + error.message());
  }
}

void logOutput(const ExifToolCLI& cli) {
  ORVDebugLog([&] {
    const auto& error = cli.stdErrData();
    return error && !error->empty() ? decodeUTF8OrMacRoman(*error).value_or("") : std::string("NO STD ERR");
  }());
  ORVDebugLog([&] {
    const auto& output = cli.stdOutData();
    return output && !output->empty() ? decodeUTF8OrMacRoman(*output).value_or("") : std::string("NO STD OUT");
  }());
}

}  // namespace

std::vector<std::string> MetadataETWriter::buildArguments(const fs::path& jsonURL) const {
  std::vector<std::string> arguments{"-G", "-s", "-n", "-f"};
  if (forceIPTCUTF8) arguments.push_back("-IPTC:CodedCharacterSet=UTF8");
  if (shouldUpdateImagesFinderTags) {
    arguments.push_back("-use");
    arguments.push_back("MWG");
  }
  arguments.push_back("-json=" + jsonURL.string());
  return arguments;
}

nlohmann::json MetadataETWriter::jsonValues(const ReadWriteStorage& storage) const {
  auto values = storage.buildETValues();
  auto dateEntry = [&](bool wanted, const TagName& name, const char* key) {
    if (!wanted) return;
    const std::string* text = storage.writtenValuePointer(name);
    if (!text) text = storage.originalValuePointer(name);
    if (text)
      values[key] = *text;
    else
      values.erase(key);
  };
  // Linux keeps no birth time that a program could set: with this option the key is never
  // sent, whatever the written values hold.
  if (shouldUpdateImagesSystemCreateDate) {
    values.erase("File:FileCreateDate");
    ORVDebugLog("File:FileCreateDate cannot be set on this system");
  }
  dateEntry(shouldUpdateImagesSystemModifyDate, TagName::exifModifyDate, "File:FileModifyDate");
  // exiftool has no Finder tags here: they are set on the written files after the run.
  return values;
}

fs::path MetadataETWriter::createJSONFile(const nlohmann::json& values) const {
  requireFiniteNumbers(values);
  const auto url = temporaryURL("json", ORVTemporaryDirectory());
  ORVDebugLog("Creation of JSON at: " + url.string());
  ORVDebugLog("JSON Content:\n" + values.dump(2, ' ', false, nlohmann::json::error_handler_t::replace));
  std::string text;
  try {
    text = values.dump(2);
  } catch (const nlohmann::json::exception&) {
    ORVDebugLog("JSON encoding failed");
    throw MetadataETWriterError(MetadataETWriterError::Code::jsonEncodingFailed);
  }
  if (!writeFileAtomically(url, text)) {
    ORVDebugLog("JSON file creation failed");
    throw MetadataETWriterError(MetadataETWriterError::Code::jsonFileCreationFailed);
  }
  return url;
}

void MetadataETWriter::writeMetadataValue(const ReadWriteStorage& storage) {
  const auto values = jsonValues(storage);
  if (values.empty()) return;
  const auto jsonURL = createJSONFile(values);
  ScopedFileRemover jsonRemover(jsonURL, ORVGetFileSystem());
  auto* fileSystem = ORVGetFileSystem();

  const auto& source = storage.sourceFileURL();
  auto work = source;
  if (shouldMoveSource) {
    const auto backup = ORVGetBackupFolderURL();
    std::error_code error;
    fileSystem->createDirectories(backup, error);
    if (error) throw fs::filesystem_error("cannot make the backup folder", backup, error);
    auto extension = source.extension().string();
    if (!extension.empty()) extension.erase(0, 1);
    work = temporaryURL(extension, backup);
    fileSystem->moveItem(source, work, error);
    if (error) throw fs::filesystem_error("cannot move the file to the backup folder", source, work, error);
  }

  auto arguments = buildArguments(jsonURL);
  arguments.push_back(work.string());
  ExifToolCLI cli;
  cli.password = password;
  cli.enableCorrection = enableCorrection;
  cli.recurseSubfolders = recurseSubfolders;
  cli.filterPathExtension = filterPathExtension;
  cli.overwriteInPlace = true;
  cli.run(arguments);
  logOutput(cli);
  ORVDebugLog("Saving changes");

  if (!waitFileExists(work, 3.0)) {
    ORVDebugLog("No output file at " + work.string());
    throw MetadataETWriterError(MetadataETWriterError::Code::outputIsMissing);
  }
  if (work != source) {
    std::error_code error;
    fileSystem->moveItem(work, source, error);
    if (error) throw fs::filesystem_error("cannot move the file back from the backup folder", work, source, error);
  }
  if (shouldUpdateImagesFinderTags && storage.writtenFinderTags())
    writeImagesFinderTags(source, *storage.writtenFinderTags(), recurseSubfolders, filterPathExtension);
}

void MetadataETWriter::writeStorage(const ReadWriteStorage& storage) {
  ORVDebugLog("Start writing source at " + storage.sourceFileURL().string());
  auto owner = storage.owner.lock();
  // The owner is told with the storage it owns; the writer works on a copy.
  ReadWriteStorage ownerStorage = storage;
  if (owner) owner->prepareInternalSaveChanges(ownerStorage);
  try {
    writeMetadataValue(storage);
    writeFileAttributes(storage);
    writeURLAttributes(storage);
  } catch (...) {
    if (owner) owner->concludeInternalSaveChanges(ownerStorage);
    throw;
  }
  if (owner) owner->performInternalFlushChanges(ownerStorage);
  ORVDebugLog("End writing source at " + storage.sourceFileURL().string());
  if (owner) owner->concludeInternalSaveChanges(ownerStorage);
}

void MetadataETWriter::writeImageFileEditor(const ETImageMetadataEditor& editor) {
  password = editor.password();
  const auto storage = editor.storage();
  overwriteInPlace = true;
  recurseSubfolders = false;
  filterPathExtension = std::nullopt;
  shouldMoveSource = true;
  writeStorage(storage);
}

void MetadataETWriter::writeImageFolderEditor(const ETFolderMetadataEditor& editor) {
  password = editor.password();
  const auto storage = editor.storage();
  overwriteInPlace = !editor.createBackupFiles;
  recurseSubfolders = editor.recurseSubfolders;
  filterPathExtension = editor.filterPathExtension;
  shouldMoveSource = false;
  writeStorage(storage);
}

void MetadataETWriter::exportSidecar(const ReadWriteStorage& storage, const fs::path& url) {
  const auto values = jsonValues(storage);
  if (values.empty()) return;
  const auto jsonURL = createJSONFile(values);
  ScopedFileRemover jsonRemover(jsonURL, ORVGetFileSystem());
  auto arguments = buildArguments(jsonURL);
  if (!storage.isFolder()) arguments.insert(arguments.begin(), {"-tagsfromfile", storage.sourceFileURL().string()});
  arguments.push_back(url.string());
  ExifToolCLI cli;
  cli.password = password;
  cli.enableCorrection = enableCorrection;
  cli.overwriteInPlace = true;
  cli.run(arguments);
  logOutput(cli);
  std::error_code error;
  if (shouldUpdateImagesFinderTags && storage.writtenFinderTags() && fs::exists(url, error))
    writeImagesFinderTags(url, *storage.writtenFinderTags(), false, std::nullopt);
}

}  // namespace orvelin

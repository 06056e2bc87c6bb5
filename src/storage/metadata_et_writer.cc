#include "orvelin/storage/metadata_et_writer.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <set>

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
  std::error_code error;
  ORVGetFileSystem()->setModificationDate(url, *attributes.modificationDate, error);
  if (error) throw fs::filesystem_error("cannot set the modification date", url, error);
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
    case Code::exifToolRefused: return "exiftool refused the write";
  }
  return "";
}

// ---------------------------------------------------------------------------------------------
// The exiftool writer

namespace {

// Sets the Finder tags that exiftool would have set with "macOS:MDItemUserTags" on each file it
// wrote. A file's tags that cannot be set fail its save, as its dates do; among the files of a
// folder, as for exiftool's own warnings, a failure is written to the debug log.
void writeImagesFinderTags(const std::vector<fs::path>& files, const std::vector<std::string>& tags, bool strict) {
  for (const auto& file : files) {
    std::error_code error;
    writeFinderTags(file, tags, error);
    if (error && strict) throw fs::filesystem_error("cannot set the file tags", file, error);
    if (error) ORVDebugLog("Finder tags of " + file.string() + " cannot be set: " + error.message());
  }
}

// The names of the values a JSON record sends, by the record's keys ("MakerNotes:OwnerName"
// names Canon:OwnerName for a Canon file): the storage's written names, and the file date.
std::multimap<std::string, TagName> sentNames(const ReadWriteStorage& storage, const nlohmann::json& values) {
  std::multimap<std::string, TagName> sent;
  for (const auto* entry : storage.writtenValuesDict().sorted()) {
    const auto& name = entry->first;
    const auto& key = name.key().rawValue();
    const auto member = (TagsFamily::isStreamInG0Family(name.stream()) ? name.stream().rawValue()
                                                                       : TagStream::makerNotes.rawValue()) +
                        ":" + key;
    if (values.contains(member)) sent.emplace(key, name);
  }
  for (const auto& [member, value] : values.items())
    if (member.starts_with("File:")) sent.emplace(member.substr(5), TagName(TagStream("File"), TagKey(member.substr(5))));
  return sent;
}

// Whether exiftool's group `group` (of any family, as it names groups in its messages: "IFD0",
// "XMP-xmp", "EXIF", "Canon") belongs to the stream `stream`.
bool groupBelongsTo(std::string_view group, const TagStream& stream) {
  const auto& name = stream.rawValue();
  if (group == name) return true;
  if (group.starts_with(name) && group.size() > name.size() && group[name.size()] == '-') return true;  // XMP-dc
  if (name != "EXIF") return false;
  static constexpr std::string_view exifGroups[] = {"IFD0", "IFD1", "IFD2", "ExifIFD", "GPS", "InteropIFD",
                                                    "SubIFD", "SubIFD1", "SubIFD2", "GlobParamIFD"};
  return std::find(std::begin(exifGroups), std::end(exifGroups), group) != std::end(exifGroups);
}

// The values a line of exiftool's names: the last "GROUP:TAG" of the line whose tag was sent
// ("Value above int16u maximum for IFD0:ISO", "Tag 'EXIF:Foo' is not defined"). Of several
// values sent under that tag, those of the group; all of them when the group tells none apart.
// None for a line about a tag written along with another ("(WriteAlso)").
std::vector<TagName> namesOfRefusal(std::string_view line, const std::multimap<std::string, TagName>& sent) {
  if (line.ends_with("(WriteAlso)")) return {};
  auto isNameCharacter = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '-'; };
  for (auto colon = line.rfind(':'); colon != std::string_view::npos && colon > 0;
       colon = line.rfind(':', colon - 1)) {
    auto keyEnd = colon + 1;
    while (keyEnd < line.size() && isNameCharacter(line[keyEnd])) ++keyEnd;
    auto groupStart = colon;
    while (groupStart > 0 && isNameCharacter(line[groupStart - 1])) --groupStart;
    const auto group = line.substr(groupStart, colon - groupStart);
    const auto [first, last] = sent.equal_range(std::string(line.substr(colon + 1, keyEnd - colon - 1)));
    if (group.empty() || first == last) continue;
    std::vector<TagName> all, ofGroup;
    for (auto it = first; it != last; ++it) {
      all.push_back(it->second);
      if (groupBelongsTo(group, it->second.stream())) ofGroup.push_back(it->second);
    }
    return ofGroup.empty() ? all : ofGroup;
  }
  return {};
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
  // "-v" makes exiftool tell why it refused a value, and which files it rewrote.
  std::vector<std::string> arguments{"-G", "-s", "-n", "-f", "-v"};
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

ExifToolCLI MetadataETWriter::makeCLI(bool overwriteInPlace) const {
  ExifToolCLI cli;
  cli.password = password;
  cli.enableCorrection = enableCorrection;
  cli.recurseSubfolders = recurseSubfolders;
  cli.filterPathExtension = filterPathExtension;
  cli.overwriteInPlace = overwriteInPlace;
  return cli;
}

ExifToolWriteReport MetadataETWriter::checkRun(const ExifToolCLI& cli, const ReadWriteStorage& storage,
                                               const nlohmann::json& values) {
  logOutput(cli);
  const auto report = ExifToolWriteReport::parse(cli.buildStdOutString().value_or(""),
                                                 cli.buildStdErrString().value_or(""));
  for (const auto& warning : report.warnings) ORVDebugLog(warning);

  const auto sent = sentNames(storage, values);
  std::set<TagName> refused;
  std::string reasons;
  for (const auto& line : report.refusals) {
    const auto names = namesOfRefusal(line, sent);
    if (names.empty()) {
      ORVDebugLog("exiftool: " + line);
      continue;
    }
    bool any = false;
    for (const auto& name : names) {
      // The lengths of an embedded image go with the image: exiftool will not delete them on
      // their own, and drops them when it deletes the image.
      if (name.isRelativeToThumbnail() && storage.writtenValuePointer(name) &&
          storage.writtenValuePointer(name)->empty() && line.find("protected") != std::string::npos) {
        ORVDebugLog("exiftool: " + line);
        continue;
      }
      refusedValues_.push_back({name, line});
      refused.insert(name);
      any = true;
    }
    if (any) reasons += (reasons.empty() ? "" : "; ") + line;
  }

  auto fail = [](const std::string& detail) {
    ORVDebugLog("exiftool refused the write: " + detail);
    throw MetadataETWriterError(MetadataETWriterError::Code::exifToolRefused, detail);
  };
  if (!cli.exitStatus()) fail(cli.buildStdErrString().value_or("exiftool could not be started"));
  if (!report.errors.empty()) fail(report.errors.front());
  if (report.failed > 0) fail(report.summary());
  if (*cli.exitStatus() != 0 && report.written == 0)
    fail(report.summary().empty() ? "exit status " + std::to_string(*cli.exitStatus()) : report.summary());
  std::set<TagName> sentSet;
  for (const auto& [key, name] : sent) sentSet.insert(name);
  if (!sentSet.empty() && refused.size() >= sentSet.size()) fail(reasons);
  // A deletion of what the file lacks leaves nothing to write; a value does.
  const bool setsValues = std::any_of(values.items().begin(), values.items().end(), [](const auto& member) {
    return member.key() != "SourceFile" && member.value() != "-";
  });
  if (setsValues && report.written == 0) fail(report.summary().empty() ? "no file written" : report.summary());
  return report;
}

void MetadataETWriter::writeMovedFile(const ReadWriteStorage& storage, const nlohmann::json& values,
                                      const fs::path& jsonURL) {
  auto* fileSystem = ORVGetFileSystem();
  const auto& source = storage.sourceFileURL();
  const auto backup = ORVGetBackupFolderURL();
  std::error_code error;
  fileSystem->createDirectories(backup, error);
  if (error) throw fs::filesystem_error("cannot make the backup folder", backup, error);
  auto extension = source.extension().string();
  if (!extension.empty()) extension.erase(0, 1);
  const auto work = temporaryURL(extension, backup);
  fileSystem->moveItem(source, work, error);
  if (error) throw fs::filesystem_error("cannot move the file to the backup folder", source, work, error);

  // From here the file goes back under its own name on every way out: rewritten, or as it was.
  const auto output = temporaryURL(extension, backup);
  ScopedFileRemover outputRemover(output, fileSystem);
  bool replaced = false;
  try {
    auto arguments = buildArguments(jsonURL);
    arguments.insert(arguments.end(), {"-o", output.string(), work.string()});
    auto cli = makeCLI(false);
    cli.run(arguments);
    ORVDebugLog("Saving changes");
    const auto report = checkRun(cli, storage, values);
    if (report.written > 0) {
      if (!waitFileExists(output, 3.0)) {
        ORVDebugLog("No output file at " + output.string());
        throw MetadataETWriterError(MetadataETWriterError::Code::outputIsMissing);
      }
      fileSystem->copyAttributes(work, output, error);
      if (error) throw fs::filesystem_error("cannot give the written file the attributes of the former one", work, output, error);
      fileSystem->moveItem(output, source, error);
      if (error) throw fs::filesystem_error("cannot move the written file in place", output, source, error);
      outputRemover.dismiss();
      replaced = true;
    }
  } catch (...) {
    fileSystem->moveItem(work, source, error);
    if (error) throw fs::filesystem_error("cannot move the file back from the backup folder", work, source, error);
    throw;
  }
  if (replaced) {
    fileSystem->removeItem(work, error);
    if (error) ORVDebugLog("The former file stays at " + work.string() + ": " + error.message());
  } else {
    // exiftool had nothing to change: the file returns untouched.
    fileSystem->moveItem(work, source, error);
    if (error) throw fs::filesystem_error("cannot move the file back from the backup folder", work, source, error);
  }
}

std::vector<fs::path> MetadataETWriter::writeInPlace(const ReadWriteStorage& storage, const nlohmann::json& values,
                                                     const fs::path& jsonURL) {
  const auto& source = storage.sourceFileURL();
  auto arguments = buildArguments(jsonURL);
  arguments.push_back(source.string());
  auto cli = makeCLI(true);
  cli.run(arguments);
  ORVDebugLog("Saving changes");
  const auto report = checkRun(cli, storage, values);
  if (!storage.isFolder() && !waitFileExists(source, 3.0)) {
    ORVDebugLog("No output file at " + source.string());
    throw MetadataETWriterError(MetadataETWriterError::Code::outputIsMissing);
  }
  return report.rewrittenFiles;
}

void MetadataETWriter::writeMetadataValue(const ReadWriteStorage& storage) {
  const auto values = jsonValues(storage);
  if (values.empty()) return;
  const auto jsonURL = createJSONFile(values);
  ScopedFileRemover jsonRemover(jsonURL, ORVGetFileSystem());
  std::vector<fs::path> written{storage.sourceFileURL()};
  if (shouldMoveSource)
    writeMovedFile(storage, values, jsonURL);
  else
    written = writeInPlace(storage, values, jsonURL);
  // The file tags go on the files that exiftool wrote, once it wrote them.
  if (shouldUpdateImagesFinderTags && storage.writtenFinderTags())
    writeImagesFinderTags(storage.isFolder() ? written : std::vector<fs::path>{storage.sourceFileURL()},
                          *storage.writtenFinderTags(), !storage.isFolder());
}

void MetadataETWriter::writeStorage(const ReadWriteStorage& storage) {
  ORVDebugLog("Start writing source at " + storage.sourceFileURL().string());
  refusedValues_.clear();
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
  // What exiftool refused is not flushed as written.
  for (const auto& refusal : refusedValues_) ownerStorage.setWrittenValueDirectly(std::nullopt, refusal.name);
  if (owner) owner->performInternalFlushChanges(ownerStorage);
  ORVDebugLog("End writing source at " + storage.sourceFileURL().string());
  if (owner) owner->concludeInternalSaveChanges(ownerStorage);
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
    writeImagesFinderTags({url}, *storage.writtenFinderTags(), false);
}

}  // namespace orvelin

#include "orvelin/interchange/finder_tags_syncer.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

#include <pugixml.hpp>

#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/support/debug_log.h"
#include "orvelin/support/file_system.h"
#include "orvelin/support/files.h"
#include "orvelin/support/string_extensions.h"

namespace orvelin {

namespace fs = std::filesystem;

namespace {

// exiftool reads an argument file line by line and drops the line breaks at the end.
bool fitsOnALine(std::string_view text) { return text.find_first_of("\r\n") == std::string_view::npos; }

// What -ext would take: the filter's extension, case and a leading "." ignored ("*": any).
bool extensionMatches(const fs::path& file, std::string_view filter) {
  if (!filter.empty() && filter.front() == '.') filter.remove_prefix(1);
  if (filter == "*") return true;
  const auto extension = file.extension().string();
  return !extension.empty() && asciiLowercased(extension.substr(1)) == asciiLowercased(filter);
}

bool isSupportedType(const fs::path& file) {
  const auto extension = file.extension().string();
  return !extension.empty() && ExifToolCLI::supportedTypes().count(asciiLowercased(extension.substr(1))) > 0;
}

// The files the syncer works on, as exiftool would take them from `urls` (see the header), in
// order: folders' files sorted by path. Each path is absolute, so that none starts with "-".
std::vector<fs::path> collectFiles(const std::vector<fs::path>& urls, bool recurse,
                                   const std::optional<std::string>& filter) {
  std::vector<fs::path> files;
  auto accepted = [&](const fs::path& file, bool named) {
    if (filter) return extensionMatches(file, *filter);
    return named || isSupportedType(file);
  };
  for (const auto& url : urls) {
    std::error_code error;
    const auto path = fs::absolute(url, error);
    if (error || !fs::exists(path, error)) {
      ORVDebugLog(url.string() + ": no such file");
      continue;
    }
    if (!fs::is_directory(path, error)) {
      if (accepted(path, true)) files.push_back(path);
      continue;
    }
    std::vector<fs::path> found;
    fs::recursive_directory_iterator it(path, fs::directory_options::skip_permission_denied, error), end;
    if (error) ORVDebugLog(url.string() + ": the folder cannot be read (" + error.message() + ")");
    for (; !error && it != end; it.increment(error)) {
      const auto& entry = *it;
      std::error_code typeError;
      if (entry.is_directory(typeError) && !entry.is_symlink(typeError)) {
        if (!recurse || entry.path().filename().string().front() == '.') it.disable_recursion_pending();
        continue;
      }
      if (entry.is_regular_file(typeError) && accepted(entry.path(), false)) found.push_back(entry.path());
    }
    std::sort(found.begin(), found.end());
    files.insert(files.end(), found.begin(), found.end());
  }
  return files;
}

// Writes `contents` as a fresh argument file in the temporary folder; absent when it fails.
std::optional<fs::path> writeArgumentFile(const std::string& contents) {
  const auto url = temporaryURL("args", ORVTemporaryDirectory());
  std::error_code error;
  ORVGetFileSystem()->writeFile(url, contents, false, error);
  if (!error) return url;
  ORVDebugLog(url.string() + ": the argument file cannot be written (" + error.message() + ")");
  return std::nullopt;
}

void logErrors(const ExifToolCLI& cli) {
  ORVDebugLog([&] {
    const auto text = cli.buildStdErrString();
    return text && !text->empty() ? *text : std::string("NO STD ERR");
  }());
}

void logSkipped(const fs::path& file, std::string_view what) {
  ORVDebugLog(file.string() + ": " + std::string(what));
}

// The IPTC keywords of each file that has some, by the path that exiftool printed, from the
// RDF/XML of "-X": a list, or a lone keyword.
std::unordered_map<std::string, std::vector<std::string>> parseKeywords(const std::string& output) {
  std::unordered_map<std::string, std::vector<std::string>> keywords;
  pugi::xml_document document;
  if (!document.load_buffer(output.data(), output.size())) return keywords;
  for (const auto& description : document.child("rdf:RDF").children("rdf:Description")) {
    const auto element = description.child("IPTC:Keywords");
    if (!element) continue;
    std::vector<std::string> list;
    if (const auto bag = element.child("rdf:Bag"))
      for (const auto& item : bag.children("rdf:li")) list.emplace_back(item.text().get());
    else
      list.emplace_back(element.text().get());
    keywords[description.attribute("rdf:about").value()] = std::move(list);
  }
  return keywords;
}

// One section of the argument file per file that has tags (see the header), separated by
// "-execute"; the files and their tags go to `tagged`.
std::string keywordsSections(const std::vector<fs::path>& files,
                             std::vector<std::pair<fs::path, std::vector<std::string>>>& tagged) {
  std::string arguments;
  for (const auto& file : files) {
    std::error_code error;
    const auto tags = readFinderTags(file, error);
    if (error) {
      logSkipped(file, "the file tags cannot be read (" + error.message() + ")");
      continue;
    }
    std::string section;
    for (const auto& tag : tags) {
      if (!fitsOnALine(tag)) {
        logSkipped(file, "a tag with a line break is left out");
        continue;
      }
      // exiftool drops the one blank behind "=": the tag keeps its own.
      section += "-IPTC:Keywords-= " + tag + "\n-IPTC:Keywords+= " + tag + "\n";
    }
    if (section.empty()) continue;
    if (!arguments.empty()) arguments += "-execute\n";
    arguments += section + file.string() + "\n";
    tagged.emplace_back(file, tags);
  }
  return arguments;
}

// Adds the keywords of each file to its tags, from the output of "-X -IPTC:Keywords".
void addKeywordsToTags(const std::vector<fs::path>& files, const std::string& output) {
  const auto keywords = parseKeywords(output);
  for (const auto& file : files) {
    const auto found = keywords.find(file.string());
    if (found == keywords.end()) continue;
    std::error_code error;
    auto tags = readFinderTags(file, error);
    if (error) {
      logSkipped(file, "the file tags cannot be read (" + error.message() + ")");
      continue;
    }
    const auto before = tags.size();
    for (const auto& keyword : found->second) {
      if (keyword.find(',') != std::string::npos) {
        logSkipped(file, "the keyword \"" + keyword + "\" holds a comma and cannot be a file tag");
        continue;
      }
      if (!keyword.empty() && std::find(tags.begin(), tags.end(), keyword) == tags.end()) tags.push_back(keyword);
    }
    if (tags.size() == before) continue;
    writeFinderTags(file, tags, error);
    if (error) logSkipped(file, "the file tags cannot be written (" + error.message() + ")");
  }
}

}  // namespace

const char* FinderTagsSyncerError::text(Code code) {
  switch (code) {
    case Code::unknownAction:
      return "Unknown action";
  }
  return "Unknown action";
}

void FinderTagsSyncer::sync(const fs::path& url) { sync(std::vector<fs::path>{url}); }

void FinderTagsSyncer::sync(const std::vector<fs::path>& urls) {
  std::vector<fs::path> files;
  for (auto& file : collectFiles(urls, recurseSubfolders, filterPathExtension)) {
    if (fitsOnALine(file.string()))
      files.push_back(std::move(file));
    else
      logSkipped(file, "a path with a line break cannot be synced");
  }
  const bool toKeywords = action == Action::copyFinderTagsToIPTCKeywords;
  std::vector<std::pair<fs::path, std::vector<std::string>>> tagged;  // the files to write, with their tags
  std::string arguments;
  if (toKeywords)
    arguments = keywordsSections(files, tagged);
  else
    for (const auto& file : files) arguments += file.string() + "\n";
  if (arguments.empty()) return;

  const auto argumentFile = writeArgumentFile(arguments);
  if (!argumentFile) return;
  ScopedFileRemover remover(*argumentFile, ORVGetFileSystem());

  ExifToolCLI cli;
  if (!toKeywords) {
    cli.password = password;
    cli.run({"-X", "-IPTC:Keywords", "-@", argumentFile->string()});
    logErrors(cli);
    if (const auto& output = cli.stdOutData()) addKeywordsToTags(files, *output);
    return;
  }

  // The options before "-@" end with the first section: those that every section needs come
  // again behind "-common_args".
  std::vector<std::string> command{"-@", argumentFile->string(), "-common_args", "-charset", "filename=UTF8"};
  const auto extra = ORVGetExtraArguments();
  command.insert(command.end(), extra.begin(), extra.end());
  if (password) command.insert(command.end(), {"-password", *password});
  if (overwriteInPlace) command.push_back("-overwrite_original_in_place");
  command.push_back("-IPTC:CodedCharacterSet=UTF8");
  cli.run(command);
  logErrors(cli);
  if (overwriteInPlace) return;
  // Unless in place, exiftool writes a new file and keeps the former one aside
  // ("<name>_original") with the tags: the new file gets them again.
  for (const auto& [file, tags] : tagged) {
    std::error_code error;
    if (readFinderTags(file, error) != tags || error) writeFinderTags(file, tags, error);
    if (error) logSkipped(file, "the file tags cannot be set again (" + error.message() + ")");
  }
}

}  // namespace orvelin

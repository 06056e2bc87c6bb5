#include "orvelin/catalogue/tags_resources_writer.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>
#include <pugixml.hpp>

#include "catalogue/catalogue_failure.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/support/debug_log.h"
#include "orvelin/support/file_system.h"
#include "orvelin/support/files.h"
#include "orvelin/support/localization.h"
#include "orvelin/support/main_queue.h"
#include "orvelin/support/string_extensions.h"
#include "support/xml.h"

namespace orvelin {

namespace fs = std::filesystem;

namespace {

// Reads one override resource into `target`; prints and leaves it empty on failure.
template <typename Map>
void loadOverrides(const char* resource, const char* missingText, Map& target) {
  const auto url = ORVResourceURL(resource);
  if (!url) {
    ORVPrint(missingText);
    return;
  }
  try {
    const auto data = readFileContents(*url);
    if (!data) throw std::runtime_error("The file cannot be read.");
    target = nlohmann::json::parse(*data).get<Map>();
  } catch (const std::exception& error) {
    ORVPrint("Data restoring at " + url->string() + " did failed\n" + error.what());
    target.clear();
  }
}

// Replaces the file at `url` by `text`: the old file is removed, the folder made with its
// parents, the new file written whole. False on failure, leaving no partial file behind. A
// plain write: the catalogue is build output, generated again rather than recovered.
bool replaceFile(const fs::path& url, std::string_view text) {
  std::error_code ignored;
  fs::remove(url, ignored);
  fs::create_directories(url.parent_path(), ignored);
  std::ofstream out(url, std::ios::binary | std::ios::trunc);
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
  out.close();
  if (out) return true;
  fs::remove(url, ignored);
  return false;
}

// Writes `json` pretty-printed to `url`, replacing the old file.
template <typename Json>
void writeJSONFile(const fs::path& url, const Json& json) {
  try {
    const auto text = json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
    if (!replaceFile(url, text)) throw fs::filesystem_error("cannot write", url, std::make_error_code(std::errc::io_error));
  } catch (const std::exception& error) {
    reportCatalogueFailure(std::string("Tags exportation did failed ") + error.what());
  }
}

std::optional<std::int64_t> parseInteger(const char* text) {
  if (!text || !*text) return std::nullopt;
  char* end = nullptr;
  errno = 0;
  const long long value = std::strtoll(text, &end, 10);
  if (errno != 0 || *end != '\0') return std::nullopt;
  return value;
}

// A key or a text between the double quotes of a strings file: every double quote and every
// backslash gets a backslash before it, so that the strings parser reads back exactly `text`.
// Everything else, line feeds included, is written as it is.
void appendEscapedForStrings(std::string& out, std::string_view text) {
  for (char c : text) {
    if (c == '"' || c == '\\') out.push_back('\\');
    out.push_back(c);
  }
}

const char* const kStringsHeader =
    "/*\n"
    "  Localization.strings\n"
    "  Orvelin\n"
    "*/\n"
    "\n";

}  // namespace

std::shared_ptr<TagsResourcesWriter> TagsResourcesWriter::make(fs::path directoryURL) {
  return std::shared_ptr<TagsResourcesWriter>(new TagsResourcesWriter(std::move(directoryURL)));
}

std::vector<TagStream> TagsResourcesWriter::streamsKnownToExifTool() {
  // Group names in lower case -> exiftool's spelling.
  std::unordered_map<std::string, std::string> groups;
  for (const char* option : {"-listg0", "-listg1"}) {
    ExifToolCLI cli;
    cli.run({option});
    // "Groups in family 0:", then indented lines of names separated by blanks.
    std::istringstream lines(cli.buildStdOutString().value_or(""));
    std::string line;
    while (std::getline(lines, line)) {
      if (line.empty() || line.front() != ' ') continue;
      std::istringstream words(line);
      std::string word;
      while (words >> word) groups.emplace(asciiLowercased(word), word);
    }
  }
  std::vector<TagStream> streams;
  for (const auto& stream : TagStream::constants()) {
    if (stream == TagStream::orvfinder) continue;
    if (auto found = groups.find(asciiLowercased(stream.rawValue())); found != groups.end())
      streams.emplace_back(found->second);
  }
  return streams;
}

std::optional<std::string> TagsResourcesWriter::replaceCatalogue(const fs::path& fresh, const fs::path& directory) {
  auto* fileSystem = ORVGetFileSystem();
  struct Move {
    fs::path from, to;
  };
  std::vector<Move> done;
  // Undoes the moves made, the last first; the text of what could not be undone.
  const auto undo = [&] {
    std::string failures;
    for (auto move = done.rbegin(); move != done.rend(); ++move) {
      std::error_code error;
      fileSystem->moveItem(move->to, move->from, error);
      if (error)
        failures += "; " + move->from.filename().string() + " cannot be put back, it stays at " + move->to.string() +
                    ": " + error.message();
    }
    return failures;
  };
  for (const char* name : {"Tags", "Localized tags"}) {
    std::vector<Move> moves;
    std::error_code error;
    if (fs::exists(directory / name, error)) moves.push_back({directory / name, fresh / (std::string("former ") + name)});
    moves.push_back({fresh / name, directory / name});
    for (const auto& move : moves) {
      fileSystem->moveItem(move.from, move.to, error);
      if (error) return std::string(name) + " cannot be replaced: " + error.message() + undo();
      done.push_back(move);
    }
  }
  return std::nullopt;
}

TagsResourcesWriter::TagsResourcesWriter(fs::path directoryURL)
    : directoryURL(std::move(directoryURL)),
      delegationQueue(&MainQueue::shared()),
      operationQueue_(8, ORVBundleLabel("TagsResourcesWriter", "operationQueue")) {
  loadOverrides("TagsOverriddenTypes.json", "Default tags set file URL is nil", overriddenTypes);
  loadOverrides("TagsOverriddenAccess.json", "Default tags set file URL is nil", overriddenAccess);
  loadOverrides("TagsOverriddenCounts.json", "Default counts file URL is nil", overriddenCounts);
}

TagsResourcesWriter::~TagsResourcesWriter() {
  operationQueue_.cancelAllOperations();
  operationQueue_.waitUntilAllOperationsAreFinished();
}

void TagsResourcesWriter::writeResources() {
  if (!run_.begin()) return;
  run_.setTotal(static_cast<std::int64_t>(streams.size()) + 1);
  notifyCatalogueDelegate(*this, &TagsResourcesWriterDelegate::writerWillStart);
  // Each operation ends before the writer is destroyed (the destructor waits for them).
  operationQueue_.addOperation([this] {
    exportStreams();
    unitDone({});
  });
  for (const auto& stream : streams) {
    operationQueue_.addOperation([this, stream] {
      generateTags(stream);
      unitDone(stream.rawValue());
    });
  }
}

void TagsResourcesWriter::waitResourcesGeneration() { operationQueue_.waitUntilAllOperationsAreFinished(); }

void TagsResourcesWriter::unitDone(std::string_view stream) {
  completeCatalogueUnit(*this, run_, stream, &TagsResourcesWriterDelegate::writerDidProgress,
                        &TagsResourcesWriterDelegate::writerDidFinish);
}

bool TagsResourcesWriter::isWriting() const { return run_.isRunning(); }

std::int64_t TagsResourcesWriter::completedUnit() const { return run_.completedUnit(); }

std::int64_t TagsResourcesWriter::totalUnit() const { return run_.totalUnit(); }

double TagsResourcesWriter::progress() const { return run_.progress(); }

std::vector<TagStream> TagsResourcesWriter::completedStreams() const {
  const auto names = run_.completedNames();
  return std::vector<TagStream>(names.begin(), names.end());
}

void TagsResourcesWriter::exportStreams() const {
  writeJSONFile(directoryURL / "Tags" / "streams.json", nlohmann::json(streams));
}

void TagsResourcesWriter::generateTags(const TagStream& stream) const {
  ExifToolCLI cli;
  cli.run({"-X", "-f", "-listx", "-" + stream.rawValue() + ":all"});
  const auto& output = cli.stdOutData();
  if (!output || output->empty()) {
    reportCatalogueFailure("Empty output data for " + stream.rawValue());
    return;
  }
  const auto result = parse(*output, stream);
  if (!result) {
    reportCatalogueFailure("Tags " + stream.rawValue() + " cannot be parsed");
    return;
  }
  exportStrings(*result, stream);
  exportTags(result->records, stream);
}

void TagsResourcesWriter::fixTagItemData(TagItemData& record) const {
  if (!record.stream || !record.key) return;
  const auto& stream = *record.stream;
  const auto& key = *record.key;
  if (auto types = overriddenTypes.find(stream); types != overriddenTypes.end()) {
    if (auto type = types->second.find(key); type != types->second.end()) record.type = type->second;
  }
  if (record.type == "?" && stream == "ICC_Profile") record.type = "string";
  if (auto access = overriddenAccess.find(stream); access != overriddenAccess.end()) {
    if (auto entry = access->second.find(key); entry != access->second.end()) record.isWritable = entry->second == "write";
  }
  if (auto counts = overriddenCounts.find(stream); counts != overriddenCounts.end()) {
    if (auto count = counts->second.find(key); count != counts->second.end()) record.count = count->second;
  }
  if (!record.type) ORVPrint("Unknow type " + stream + ":" + key);
}

std::optional<TagsParseResult> TagsResourcesWriter::parse(std::string_view xml, const TagStream& stream) const {
  // Everything is kept, whitespace-only texts included: a text made of blanks is a text.
  pugi::xml_document document;
  if (!document.load_buffer(xml.data(), xml.size(), pugi::parse_full | pugi::parse_ws_pcdata, pugi::encoding_utf8))
    return std::nullopt;
  TagsParseResult result;
  for (Language language : Language::allBasic()) result.strings[language];

  std::unordered_map<std::string, TagItemData> records;
  auto storeText = [&result](const pugi::xml_node& element, const std::string& stringsKey) {
    const auto language = Language::fromExifToolValue(element.attribute("lang").value());
    if (!language) return;
    auto table = result.strings.find(*language);
    if (table == result.strings.end()) return;
    const auto text = element.child_value();
    if (text && *text)
      table->second.insert_or_assign(stringsKey, text);
    else
      table->second.erase(stringsKey);
  };

  for (const auto& tag : elements(document, "*/*/tag")) {
    TagItemData record;
    record.index = static_cast<std::int64_t>(records.size());
    record.stream = stream.rawValue();
    if (auto name = tag.attribute("name")) record.key = name.value();
    if (auto type = tag.attribute("type")) record.type = type.value();
    record.isWritable = boolean(tag, "writable").value_or(false);
    record.count = parseInteger(tag.attribute("count").as_string(nullptr)).value_or(0);
    fixTagItemData(record);
    const std::string_view flags = tag.attribute("flags").value();
    record.isFlatten = flags.find("Flattened") != std::string_view::npos;
    record.isList = flags.find("List") != std::string_view::npos;
    record.isBinary = flags.find("Binary") != std::string_view::npos;
    record.isUnsafe = flags.find("Unsafe") != std::string_view::npos;

    if (!record.isWritable && onlyKeepWritable) continue;
    if (!record.key) continue;
    if (records.contains(*record.key)) continue;  // the first occurrence wins

    const std::string stringsKey = stream.rawValue() + ":" + *record.key;
    for (const auto& desc : tag.children("desc")) storeText(desc, stringsKey);
    for (const auto& value : elements(tag, "values/*")) {
      const std::string id = value.attribute("id").value();
      record.values.push_back(id);
      const std::string valueKey = stringsKey + ":" + id;
      for (const auto& text : value.children()) {
        if (text.type() == pugi::node_element) storeText(text, valueKey);
      }
    }
    records.emplace(*record.key, std::move(record));
  }

  result.records.reserve(records.size());
  for (auto& [key, record] : records) result.records.push_back(std::move(record));
  std::sort(result.records.begin(), result.records.end(),
            [](const TagItemData& a, const TagItemData& b) { return a.index.value_or(0) < b.index.value_or(0); });
  return result;
}

void TagsResourcesWriter::exportTags(const std::vector<TagItemData>& records, const TagStream& stream) const {
  writeJSONFile(directoryURL / "Tags" / (stream.rawValue() + ".tags"), nlohmann::ordered_json(records));
}

void TagsResourcesWriter::exportStrings(const TagsParseResult& result, const TagStream& stream) const {
  static const std::map<std::string, std::string> none;
  const auto englishTable = result.strings.find(Language::english);
  const auto& base = englishTable == result.strings.end() ? none : englishTable->second;
  for (Language language : Language::allBasic()) {
    const auto* names = Language::equivalentNames(language.equivalentLanguage());
    if (!names) continue;
    const auto url = directoryURL / "Localized tags" / ((*names)[0] + ".lproj") / (stream.rawValue() + ".strings");
    const auto table = result.strings.find(language);
    std::string text = kStringsHeader;
    for (const auto& [key, english] : base) {
      const std::string* localized = &english;
      if (table != result.strings.end()) {
        if (auto found = table->second.find(key); found != table->second.end()) localized = &found->second;
      }
      text.push_back('"');
      appendEscapedForStrings(text, key);
      text.append("\" = \"");
      appendEscapedForStrings(text, *localized);
      text.append("\";\n");
    }
    if (!replaceFile(url, text)) reportCatalogueFailure("fileHandle at " + url.string() + " cannot be created");
  }
}

}  // namespace orvelin

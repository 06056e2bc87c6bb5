#include "orvelin/catalogue/tags_resources_writer.h"

#include <cstdio>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>
#include <pugixml.hpp>

#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/support/debug_log.h"
#include "orvelin/support/files.h"
#include "orvelin/support/localization.h"
#include "orvelin/support/main_queue.h"
#include "orvelin/support/string_extensions.h"
#include "support/xml.h"

namespace orvelin {

namespace fs = std::filesystem;

namespace {

// Prints a failure, and writes it to the debug log when that is on.
void report(const std::string& text) {
  std::printf("%s\n", text.c_str());
  std::fflush(stdout);
  ORVDebugLog(text);
}

// Reads one override resource into `target`; prints and leaves it empty on failure.
template <typename Map>
void loadOverrides(const char* resource, const char* missingText, Map& target) {
  const auto url = ORVResourceURL(resource);
  if (!url) {
    std::printf("%s\n", missingText);
    return;
  }
  try {
    const auto data = readFileContents(*url);
    if (!data) throw std::runtime_error("The file cannot be read.");
    target = nlohmann::json::parse(*data).get<Map>();
  } catch (const std::exception& error) {
    std::printf("Data restoring at %s did failed\n%s\n", url->c_str(), error.what());
    target.clear();
  }
}

// Writes `json` pretty-printed to `url`, replacing the old file and making "Tags" first.
void writeJSONFile(const fs::path& url, const nlohmann::json& json) {
  std::error_code ignored;
  fs::remove(url, ignored);
  fs::create_directories(url.parent_path(), ignored);
  try {
    const auto text = json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
    if (!writeFileAtomically(url, text)) throw fs::filesystem_error("cannot write", url, std::make_error_code(std::errc::io_error));
  } catch (const std::exception& error) {
    report(std::string("Tags exportation did failed ") + error.what());
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

// The strings file text: a double quote in the text is escaped, nothing else.
std::string escapedForStrings(const std::string& text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (char c : text) {
    if (c == '"') escaped.push_back('\\');
    escaped.push_back(c);
  }
  return escaped;
}

// exiftool's storage formats that the vocabulary has no case for, and the case whose values
// behave the same; a tag of such a format would otherwise be dropped when the catalogue loads.
const std::unordered_map<std::string_view, std::string_view>& typeAliases() {
  static const std::unordered_map<std::string_view, std::string_view> aliases = {
      {"int8s", "integer"},     {"int16s", "integer"},      {"int64s", "integer"},    {"signed", "integer"},
      {"int64u", "int32u"},     {"unsigned", "int32u"},     {"int16uRev", "int16u"},  {"int32uRev", "int32u"},
      {"float", "real"},        {"double", "rational64s"},  {"extended", "rational64s"},
      {"fixed16s", "rational"}, {"fixed32s", "rational"},   {"rational32s", "rational"},
      {"fixed32u", "rational64u"}, {"rational32u", "rational64u"},
      {"utf8", "string"},       {"Unicode", "string"},      {"var_string", "string"}, {"pstring", "string"},
      {"var_pstr32", "string"},
  };
  return aliases;
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
  {
    std::lock_guard lock(processQueue_);
    if (isWriting_) return;
    isWriting_ = true;
    completedUnit_ = 0;
    totalUnit_ = static_cast<std::int64_t>(streams.size()) + 1;
  }
  notify(&TagsResourcesWriterDelegate::writerWillStart);
  // Each operation ends before the writer is destroyed (the destructor waits for them).
  operationQueue_.addOperation([this] {
    exportStreams();
    countUnit();
  });
  for (const auto& stream : streams) {
    operationQueue_.addOperation([this, stream] {
      generateTags(stream);
      countUnit();
    });
  }
}

void TagsResourcesWriter::waitResourcesGeneration() { operationQueue_.waitUntilAllOperationsAreFinished(); }

void TagsResourcesWriter::countUnit() {
  bool finished = false;
  {
    std::lock_guard lock(processQueue_);
    ++completedUnit_;
  }
  notify(&TagsResourcesWriterDelegate::writerDidProgress);
  {
    std::lock_guard lock(processQueue_);
    if (isWriting_ && (totalUnit_ == 0 || completedUnit_ >= totalUnit_)) {
      isWriting_ = false;
      completedUnit_ = 0;
      totalUnit_ = 0;
      finished = true;
    }
  }
  if (finished) notify(&TagsResourcesWriterDelegate::writerDidFinish);
}

void TagsResourcesWriter::notify(void (TagsResourcesWriterDelegate::*callback)(TagsResourcesWriter&)) {
  auto target = delegate.lock();
  if (!target) return;
  delegationQueue->async([self = shared_from_this(), target, callback] { ((*target).*callback)(*self); });
}

bool TagsResourcesWriter::isWriting() const {
  std::lock_guard lock(processQueue_);
  return isWriting_;
}

std::int64_t TagsResourcesWriter::completedUnit() const {
  std::lock_guard lock(processQueue_);
  return completedUnit_;
}

std::int64_t TagsResourcesWriter::totalUnit() const {
  std::lock_guard lock(processQueue_);
  return totalUnit_;
}

double TagsResourcesWriter::progress() const {
  std::lock_guard lock(processQueue_);
  if (totalUnit_ == 0) return 1.0;
  return static_cast<double>(completedUnit_) / static_cast<double>(totalUnit_);
}

void TagsResourcesWriter::exportStreams() const {
  writeJSONFile(directoryURL / "Tags" / "streams.json", nlohmann::json(streams));
}

void TagsResourcesWriter::generateTags(const TagStream& stream) const {
  ExifToolCLI cli;
  cli.run({"-X", "-f", "-listx", "-" + stream.rawValue() + ":all"});
  const auto& output = cli.stdOutData();
  if (!output || output->empty()) {
    report("Empty output data for " + stream.rawValue());
    return;
  }
  const auto result = parse(*output, stream);
  if (!result) {
    report("Tags " + stream.rawValue() + " cannot be parsed");
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
  if (record.type) {
    if (auto alias = typeAliases().find(*record.type); alias != typeAliases().end()) record.type = std::string(alias->second);
  }
  if (auto access = overriddenAccess.find(stream); access != overriddenAccess.end()) {
    if (auto entry = access->second.find(key); entry != access->second.end()) record.isWritable = entry->second == "write";
  }
  if (auto counts = overriddenCounts.find(stream); counts != overriddenCounts.end()) {
    if (auto count = counts->second.find(key); count != counts->second.end()) record.count = count->second;
  }
  if (!record.type) std::printf("Unknow type %s:%s\n", stream.c_str(), key.c_str());
}

std::optional<TagsParseResult> TagsResourcesWriter::parse(std::string_view xml, const TagStream& stream) const {
  pugi::xml_document document;
  if (!document.load_buffer(xml.data(), xml.size(), pugi::parse_default, pugi::encoding_utf8)) return std::nullopt;
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
  writeJSONFile(directoryURL / "Tags" / (stream.rawValue() + ".tags"), nlohmann::json(records));
}

void TagsResourcesWriter::exportStrings(const TagsParseResult& result, const TagStream& stream) const {
  static const std::map<std::string, std::string> none;
  const auto englishTable = result.strings.find(Language::english);
  const auto& base = englishTable == result.strings.end() ? none : englishTable->second;
  for (Language language : Language::allBasic()) {
    const auto* names = Language::equivalentNames(language.equivalentLanguage());
    if (!names) continue;
    const auto url = directoryURL / "Localized tags" / ((*names)[0] + ".lproj") / (stream.rawValue() + ".strings");
    std::error_code ignored;
    fs::remove(url, ignored);
    fs::create_directories(url.parent_path(), ignored);
    const auto table = result.strings.find(language);
    std::string text = kStringsHeader;
    for (const auto& [key, english] : base) {
      const std::string* localized = &english;
      if (table != result.strings.end()) {
        if (auto found = table->second.find(key); found != table->second.end()) localized = &found->second;
      }
      text.append("\"").append(key).append("\" = \"").append(escapedForStrings(*localized)).append("\";\n");
    }
    if (!writeFileAtomically(url, text)) report("fileHandle at " + url.string() + " cannot be created");
  }
}

}  // namespace orvelin

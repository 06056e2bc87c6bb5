#include "orvelin/catalogue/tags_resources_writer.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <deque>
#include <fstream>
#include <list>
#include <memory>
#include <set>
#include <sstream>
#include <thread>
#include <unordered_map>

#include <nlohmann/json.hpp>
#include <pugixml.hpp>

#include "catalogue/catalogue_failure.h"
#include "catalogue/exiftool_listings.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/support/debug_log.h"
#include "orvelin/support/file_system.h"
#include "orvelin/support/files.h"
#include "orvelin/support/resources.h"
#include "orvelin/support/main_queue.h"
#include "orvelin/support/string_extensions.h"
#include "support/xml.h"

namespace orvelin {

namespace fs = std::filesystem;
using namespace catalogue_detail;

namespace {

// Replaces the file at `url` by `text`: the old file is removed, the folder made with its
// parents, the new file written whole. False on failure, leaving no partial file behind. Not
// synced: the catalogue is build output, generated again rather than recovered.
bool replaceFile(const fs::path& url, std::string_view text) {
  auto* fileSystem = ORVGetFileSystem();
  std::error_code error;
  fileSystem->removeItem(url, error);
  fileSystem->createDirectories(url.parent_path(), error);
  fileSystem->writeFile(url, text, false, error);
  return !error;
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

// The entry of `overrides` (group -> tag -> correction) for `key` in `group`; null when none.
template <typename Map>
const typename Map::mapped_type::mapped_type* overrideOf(const Map& overrides, std::string_view group,
                                                         std::string_view key) {
  const auto entries = overrides.find(group);
  if (entries == overrides.end()) return nullptr;
  const auto entry = entries->second.find(key);
  return entry == entries->second.end() ? nullptr : &entry->second;
}

// The XML documents of one exiftool run with several "-listx -GROUP:all", one per listing, in
// the order asked: each begins with its XML declaration.
std::vector<std::string_view> splitDocuments(std::string_view output) {
  static constexpr std::string_view declaration = "<?xml";
  std::vector<std::string_view> documents;
  auto start = output.find(declaration);
  while (start != std::string_view::npos) {
    const auto next = output.find(declaration, start + declaration.size());
    documents.push_back(output.substr(start, next == std::string_view::npos ? std::string_view::npos : next - start));
    start = next;
  }
  return documents;
}

// Loads one listing of exiftool. Everything is kept, whitespace-only texts included: a text
// made of blanks is a text.
bool load(pugi::xml_document& document, std::string_view xml) {
  return static_cast<bool>(
      document.load_buffer(xml.data(), xml.size(), pugi::parse_full | pugi::parse_ws_pcdata, pugi::encoding_utf8));
}

// A table of exiftool's listing of `group`.
struct ListedTable {
  pugi::xml_node table;
  std::string group;
};

// The records and strings of `stream` from the tag elements of `tables`, in document order,
// each corrected by the writer's overrides of the group whose listing it comes from.
TagsParseResult parseTables(const TagsResourcesWriter& writer, const std::vector<ListedTable>& tables,
                            const TagStream& stream) {
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

  for (const auto& [table, group] : tables) {
    for (const auto& tag : table.children("tag")) {
      TagItemData record;
      record.index = static_cast<std::int64_t>(records.size());
      record.stream = group;
      if (auto name = tag.attribute("name")) record.key = name.value();
      if (auto type = tag.attribute("type")) record.type = type.value();
      record.isWritable = boolean(tag, "writable").value_or(false);
      record.count = parseInteger(tag.attribute("count").as_string(nullptr)).value_or(0);
      writer.fixTagItemData(record);
      // exiftool writes a tag of the source group, not of the stream it reads it under.
      if (group != stream.rawValue()) record.isWritable = false;
      record.stream = stream.rawValue();
      const std::string_view flags = tag.attribute("flags").value();
      record.isFlatten = flags.find("Flattened") != std::string_view::npos;
      record.isList = flags.find("List") != std::string_view::npos;
      record.isBinary = flags.find("Binary") != std::string_view::npos;
      record.isUnsafe = flags.find("Unsafe") != std::string_view::npos;

      if (!record.isWritable && writer.onlyKeepWritable) continue;
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
  }

  result.records.reserve(records.size());
  for (auto& [key, record] : records) result.records.push_back(std::move(record));
  std::sort(result.records.begin(), result.records.end(),
            [](const TagItemData& a, const TagItemData& b) { return a.index.value_or(0) < b.index.value_or(0); });
  return result;
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

TagsResourcesWriter::TagsResourcesWriter(fs::path directoryURL)
    : directoryURL(std::move(directoryURL)),
      delegationQueue(&MainQueue::shared()),
      operationQueue_(8, ORVBundleLabel("TagsResourcesWriter", "operationQueue")) {
  loadOverrides("TagsOverriddenTypes.json", "Default tags set file URL is nil", overriddenTypes);
  loadOverrides("TagsOverriddenAccess.json", "Default tags set file URL is nil", overriddenAccess);
  loadOverrides("TagsOverriddenCounts.json", "Default counts file URL is nil", overriddenCounts);
  loadOverrides("TagsOverriddenSources.json", "Default sources file URL is nil", overriddenSources);
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
  for (auto& batch : batches()) operationQueue_.addOperation([this, batch = std::move(batch)] { generateTags(batch); });
}

std::vector<std::vector<TagStream>> TagsResourcesWriter::batches() const {
  // A stream that needs exiftool's whole listing goes with the others that do, so that the
  // listing is made once.
  std::vector<TagStream> named, whole;
  for (const auto& stream : streams) {
    const auto groups = sources(stream);
    const bool needsWhole = std::any_of(groups.begin(), groups.end(), [](const auto& group) { return !isListedByName(group); });
    (needsWhole ? whole : named).push_back(stream);
  }
  std::vector<std::vector<TagStream>> batches;
  if (!whole.empty()) batches.push_back(std::move(whole));
  const std::size_t runs = std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, kMaximumRuns);
  const std::size_t size = (named.size() + runs - 1) / runs;
  for (std::size_t at = 0; at < named.size(); at += size)
    batches.emplace_back(named.begin() + static_cast<std::ptrdiff_t>(at),
                         named.begin() + static_cast<std::ptrdiff_t>(std::min(at + size, named.size())));
  return batches;
}

std::vector<std::string> TagsResourcesWriter::sources(const TagStream& stream) const {
  if (auto found = overriddenSources.find(stream.rawValue()); found != overriddenSources.end()) return found->second;
  return {stream.rawValue()};
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

void TagsResourcesWriter::generateTags(const std::vector<TagStream>& batch) {
  // The listings of the batch's groups, asked of one exiftool run: "-listx -GROUP:all" once for
  // each group, which prints one document per group, exactly as a run of its own would.
  std::vector<std::string> named;
  for (const auto& stream : batch)
    for (auto& group : sources(stream))
      if (isListedByName(group) && std::find(named.begin(), named.end(), group) == named.end())
        named.push_back(std::move(group));
  std::list<std::string> outputs;  // the texts the listings below point into
  std::unordered_map<std::string, std::string_view> listings;
  const auto run = [&outputs](const std::vector<std::string>& arguments) -> std::string_view {
    ExifToolCLI cli;
    cli.run(arguments);
    return outputs.emplace_back(cli.stdOutData().value_or(""));
  };
  if (!named.empty()) {
    std::vector<std::string> arguments = {"-X", "-f"};
    for (const auto& group : named) {
      arguments.push_back("-listx");
      arguments.push_back("-" + group + ":all");
    }
    const auto documents = splitDocuments(run(arguments));
    // Should exiftool have skipped a group, no document can be told whose: each group is then
    // listed by a run of its own.
    for (std::size_t i = 0; i < named.size(); ++i) {
      listings[named[i]] =
          documents.size() == named.size() ? documents[i] : run({"-X", "-f", "-listx", "-" + named[i] + ":all"});
    }
  }
  // exiftool's whole listing, for the groups that it will not list by name; made at first need.
  std::unique_ptr<pugi::xml_document> whole;
  std::string_view wholeText;
  bool wholeLoaded = false;

  for (const auto& stream : batch) {
    std::deque<pugi::xml_document> documents;
    std::vector<ListedTable> tables;
    std::optional<std::string> failure;
    for (const auto& group : sources(stream)) {
      const bool byName = isListedByName(group);
      if (!byName && !whole) {
        whole = std::make_unique<pugi::xml_document>();
        wholeText = run({"-X", "-f", "-listx"});
        wholeLoaded = !wholeText.empty() && load(*whole, wholeText);
      }
      const auto text = byName ? listings[group] : wholeText;
      if (text.empty()) {
        failure = "Empty output data for " + stream.rawValue();
        break;
      }
      if (!(byName ? load(documents.emplace_back(), text) : wholeLoaded)) {
        failure = "Tags " + stream.rawValue() + " cannot be parsed";
        break;
      }
      // A listing by name holds the group's tables alone; the whole listing, every table, of
      // which those whose family-1 group it is make the group.
      const auto lower = asciiLowercased(group);
      for (const auto& table : elements(byName ? documents.back() : *whole, "*/*"))
        if (byName || asciiLowercased(table.attribute("g1").value()) == lower) tables.push_back({table, group});
    }
    if (failure) {
      reportCatalogueFailure(*failure);
    } else {
      const auto result = parseTables(*this, tables, stream);
      exportStrings(result, stream);
      exportTags(result.records, stream);
    }
    unitDone(stream.rawValue());
  }
}

void TagsResourcesWriter::fixTagItemData(TagItemData& record) const {
  if (!record.stream || !record.key) return;
  const auto& stream = *record.stream;
  const auto& key = *record.key;
  const auto correction = [&](const auto& overrides) { return overrideOf(overrides, stream, key); };
  if (const auto* type = correction(overriddenTypes)) record.type = *type;
  if (record.type == "?" && stream == "ICC_Profile") record.type = "string";
  if (const auto* access = correction(overriddenAccess)) record.isWritable = *access == "write";
  if (const auto* count = correction(overriddenCounts)) record.count = *count;
  if (!record.type) ORVPrint("Unknow type " + stream + ":" + key);
}

std::optional<TagsParseResult> TagsResourcesWriter::parse(std::string_view xml, const TagStream& stream) const {
  pugi::xml_document document;
  if (!load(document, xml)) return std::nullopt;
  std::vector<ListedTable> tables;
  for (const auto& table : elements(document, "*/*")) tables.push_back({table, stream.rawValue()});
  return parseTables(*this, tables, stream);
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

#include "orvelin/storage/metadata_et_reader.h"

#include <nlohmann/json.hpp>

#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/support/debug_log.h"
#include "orvelin/support/string_extensions.h"
#include "orvelin/support/text_encoding.h"
#include "orvelin/values/value.h"
#include "orvelin/values/value_converter.h"

namespace orvelin {

const char* ETMetadataReaderError::text(Code code) {
  switch (code) {
    case Code::readerOutputIsEmpty: return "Reader output is empty";
    case Code::dataDecodingFailed: return "Data decoding failed";
  }
  return "";
}

void MetadataETReader::setupDefaultBannedValues() {
  bannedValues = {"-b option to extract"};
  bannedStreams = {"ExifTool"};
}

void MetadataETReader::setupDefaultForEditorReading() {
  enableRawValues = true;
  enableShortTags = true;
  disableComposite = true;
}

ReadOnlyStorage MetadataETReader::readReadOnlyStorage(const std::filesystem::path& url) const {
  ReadOnlyStorage storage(url);
  fillStorage(storage);
  return storage;
}

ReadWriteStorage MetadataETReader::readReadWriteStorage(const std::filesystem::path& url) const {
  ReadWriteStorage storage(url);
  fillStorage(storage);
  return storage;
}

void MetadataETReader::fillStorage(GenericStorage& storage) const {
  ExifToolCLI cli;
  cli.language = language;
  cli.password = password;
  cli.enableShortTags = enableShortTags;
  cli.enableRawValues = enableRawValues;
  cli.disableComposite = disableComposite;
  cli.forceRawLocation = forceRawLocation;
  cli.run({"-g0:1", "-m", "-j", storage.sourceFileURL().string()});

  const auto& output = cli.stdOutData();
  ORVDebugLog(output && !output->empty() ? decodeUTF8OrMacRoman(*output).value_or("") : "Empty STD Out");
  if (!output || output->empty()) {
    const auto& error = cli.stdErrData();
    ORVDebugLog(error && !error->empty() ? decodeUTF8OrMacRoman(*error).value_or("") : "Empty STD Err");
    throw ETMetadataReaderError(ETMetadataReaderError::Code::readerOutputIsEmpty);
  }
  fillStorage(storage, *output);
}

namespace {

// Whether `text` contains one of `needles`. An empty needle is contained in no text, as a
// substring search for nothing finds nothing.
bool containsAny(std::string_view text, const std::vector<std::string>& needles) {
  for (const auto& needle : needles)
    if (!needle.empty() && text.find(needle) != std::string_view::npos) return true;
  return false;
}

// The text of a tag outside the catalogue, as exiftool printed it: a text as it is, a number
// in its JSON spelling ("1.0" stays "1.0"), a list of those joined with ","; a structure has
// none.
std::optional<std::string> printedText(const nlohmann::json& raw) {
  if (raw.is_string()) return raw.get<std::string>();
  if (raw.is_number() || raw.is_boolean()) return raw.dump();
  if (!raw.is_array()) return std::nullopt;
  std::string joined;
  for (const auto& element : raw) {
    const auto text = printedText(element);
    if (!text) return std::nullopt;
    if (&element != &raw.front()) joined += ',';
    joined += *text;
  }
  return joined;
}

}  // namespace

void MetadataETReader::fillStorage(GenericStorage& storage, std::string_view output) const {
  nlohmann::json json;
  try {
    json = nlohmann::json::parse(output);
  } catch (const nlohmann::json::exception&) {
    throw ETMetadataReaderError(ETMetadataReaderError::Code::dataDecodingFailed);
  }
  if (!json.is_array()) throw ETMetadataReaderError(ETMetadataReaderError::Code::dataDecodingFailed);
  for (const auto& element : json)
    if (!element.is_object()) throw ETMetadataReaderError(ETMetadataReaderError::Code::dataDecodingFailed);
  if (json.empty()) return;

  const auto catalogue = TagsResources::shared().catalogue();
  for (const auto& [member, content] : json.front().items()) {
    std::string g0 = member, g1 = member;
    if (auto parts = separate(member, ":")) {
      g0 = std::move(parts->first);
      g1 = std::move(parts->second);
    }
    if (!g0.empty() && containsAny(g0, bannedStreams)) continue;
    if (!g1.empty() && containsAny(g1, bannedStreams)) continue;
    storage.store(TagStream(g0), TagStream(g1));
    if (!content.is_object()) continue;

    const TagStream stream(g0 == "MakerNotes" ? g1 : g0);
    const auto* streamTags = catalogue->stream(stream);
    const bool keepsExisting = TagStream(g1).isAdditional();
    for (const auto& [key, raw] : content.items()) {
      TagKey tagKey(key);
      // The item's converter: lists and variable counts join with ",", fixed counts of
      // non-text types with " ". A tag the catalogue lacks (exiftool makes up names while it
      // reads: XML read as XMP, APP12 picture info, language variants) is kept as exiftool
      // prints it; without a record it can never be edited.
      const TagItem* item = nullptr;
      if (streamTags) {
        if (const auto found = streamTags->items.find(tagKey); found != streamTags->items.end())
          item = found->second.get();
      }
      auto text = item ? item->converter()->stringValueFromRawValue(Value::fromJSON(raw)) : printedText(raw);
      if (!text) continue;
      if (containsAny(*text, bannedValues)) continue;
      TagName name(stream, std::move(tagKey));
      if (storage.hasValue(name) && keepsExisting) continue;
      storage.store(*text, name);
    }
  }
}

}  // namespace orvelin

#include "orvelin/tagsets/tags_set.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <mutex>
#include <system_error>

#include <nlohmann/json.hpp>

#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/support/debug_log.h"
#include "orvelin/support/file_system.h"
#include "orvelin/support/files.h"
#include "orvelin/support/localization.h"
#include "orvelin/support/notification_center.h"
#include "orvelin/support/resources.h"
#include "orvelin/support/user_defaults.h"
#include "orvelin/tagsets/tags_set_editor.h"

namespace orvelin {

namespace fs = std::filesystem;

const std::string TagsSet::willUpdateEntriesNotification = "TagsSetWillUpdateEntriesNotification";
const std::string TagsSet::didUpdateEntriesNotification = "TagsSetDidUpdateEntriesNotification";

const std::vector<TagsSetDomain>& allTagsSetDomains() {
  static const std::vector<TagsSetDomain> domains{TagsSetDomain::application, TagsSetDomain::photosExtension};
  return domains;
}

std::string_view label(TagsSetDomain domain) {
  return domain == TagsSetDomain::application ? "Application" : "PhotosExtension";
}

std::string_view caseName(TagsSetDomain domain) {
  return domain == TagsSetDomain::application ? "application" : "photosExtension";
}

std::string_view userDefaultsKey(TagsSetDomain domain) {
  return domain == TagsSetDomain::application ? "ORVTagsSetApplication" : "ORVTagsSetPhotosExtension";
}

std::optional<fs::path> defaultTagsSetFileURL(TagsSetDomain) { return ORVResourceURL("DefaultWritingTagsSet.json"); }

std::string TagsSetSection::localizedName() const { return ORVTL(std::string_view("Sections"), rawValue); }

const char* TagsSetEntry::CodingError::text(Code) { return "Unknown tags set entry type"; }

namespace {

// The tag sets made by shared(), one per domain.
std::map<TagsSetDomain, std::shared_ptr<TagsSet>>& sharedTagsSets() {
  static auto* const sets = new std::map<TagsSetDomain, std::shared_ptr<TagsSet>>();
  return *sets;
}

// The lists of decoded data: {stream: [entry, ...]}, the streams with an empty list dropped.
// Throws what decoding throws.
TagsSet::Entries decodeEntries(const nlohmann::json& data) {
  TagsSet::Entries entries;
  for (const auto& [stream, list] : data.get<std::map<std::string, std::vector<TagsSetEntry>>>())
    if (!list.empty()) entries.emplace(TagStream(stream), list);
  return entries;
}

}  // namespace

std::shared_ptr<TagsSet> TagsSet::make(TagsSetDomain domain) {
  std::shared_ptr<TagsSet> tagsSet(new TagsSet(domain));
  tagsSet->loadFromUserDefaults();
  return tagsSet;
}

std::shared_ptr<TagsSet> TagsSet::shared(TagsSetDomain domain) {
  auto& sets = sharedTagsSets();
  auto found = sets.find(domain);
  if (found == sets.end()) found = sets.emplace(domain, make(domain)).first;
  return found->second;
}

void TagsSet::preload(TagsSetDomain domain) { shared(domain); }

const std::vector<TagsSetEntry>& TagsSet::entries(const TagStream& stream) const {
  static const std::vector<TagsSetEntry> none;
  const auto found = cachedEntries_.find(stream);
  return found == cachedEntries_.end() ? none : found->second;
}

std::shared_ptr<TagsSetEditor> TagsSet::editor(const TagStream& stream) {
  return std::make_shared<TagsSetEditor>(shared_from_this(), stream);
}

void TagsSet::reloadStreamsCache() {
  cachedStreams_.clear();
  for (const auto& stream : TagsResources::shared().streams())
    if (!entries(stream).empty()) cachedStreams_.push_back(stream);
}

void TagsSet::updateEntries(const std::function<void(Entries&)>& body) {
  auto& center = NotificationCenter::defaultCenter();
  center.post(willUpdateEntriesNotification, this);
  body(cachedEntries_);
  reloadStreamsCache();
  center.post(didUpdateEntriesNotification, this);
}

void TagsSet::apply(const nlohmann::json& data) {
  auto entries = decodeEntries(data);
  updateEntries([&](Entries& cached) { cached = std::move(entries); });
}

void TagsSet::importFromFile(const fs::path& url) {
  errno = 0;
  const auto contents = readFileContents(url);
  if (!contents)
    throw fs::filesystem_error("The file cannot be read", url, std::error_code(errno ? errno : EIO, std::generic_category()));
  apply(nlohmann::json::parse(*contents));
}

void TagsSet::exportToFile(const fs::path& url) const {
  nlohmann::ordered_json data = nlohmann::ordered_json::object();
  for (const auto& stream : cachedStreams_) data[stream.rawValue()] = entries(stream);
  std::map<std::string, const std::vector<TagsSetEntry>*> others;
  for (const auto& [stream, list] : cachedEntries_)
    if (!data.contains(stream.rawValue())) others.emplace(stream.rawValue(), &list);
  for (const auto& [stream, list] : others) data[stream] = *list;
  std::error_code error;
  ORVGetFileSystem()->writeFile(url, data.dump(2), false, error);
  if (error) throw fs::filesystem_error("The tags set cannot be written", url, error);
}

void TagsSet::restoreToDefault() {
  const auto url = defaultTagsSetFileURL(domain_);
  if (!url) {
    ORVDebugLogWrite("Default tags set file URL is nil");
    return;
  }
  try {
    importFromFile(*url);
  } catch (const std::exception& error) {
    ORVDebugLogWrite("Data restoring at " + url->string() + " did failed");
    ORVDebugLogWrite(error.what());
  }
}

void TagsSet::loadFromUserDefaults() {
  const auto data = ORVGetUserDefaults()->object(userDefaultsKey(domain_));
  if (!data) {
    restoreToDefault();
    return;
  }
  try {
    apply(*data);
  } catch (const std::exception& error) {
    ORVDebugLogWrite("Data decoding of " + std::string(caseName(domain_)) + " did failed");
    ORVDebugLogWrite(error.what());
    restoreToDefault();
  }
}

bool TagsSet::saveToUserDefaults() {
  nlohmann::json data = nlohmann::json::object();
  for (const auto& [stream, list] : cachedEntries_) data[stream.rawValue()] = list;
  const auto defaults = ORVGetUserDefaults();
  defaults->set(userDefaultsKey(domain_), std::move(data));
  return defaults->synchronize();
}

}  // namespace orvelin

namespace nlohmann {

orvelin::TagsSetEntry adl_serializer<orvelin::TagsSetEntry>::from_json(const json& json) {
  using orvelin::TagsSetEntry;
  const auto type = json.at("type").get<std::string>();
  if (type == "sec") return TagsSetEntry::section({json.at("value").get<std::string>()});
  if (type == "key") return TagsSetEntry::key(orvelin::TagKey(json.at("value").get<std::string>()));
  throw TagsSetEntry::CodingError(TagsSetEntry::CodingError::Code::decoding, type);
}

}  // namespace nlohmann

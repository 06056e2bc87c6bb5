#pragma once

// What the catalogue's generator asks of exiftool beside the tag listings, and the resources it
// corrects them with. Private to the catalogue subsystem.

#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <nlohmann/json.hpp>

#include "orvelin/support/debug_log.h"
#include "orvelin/support/files.h"
#include "orvelin/support/resources.h"

namespace orvelin::catalogue_detail {

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

// exiftool refuses to list the tags of a group whose name holds "IFD" ("Can't list tags for
// specific IFD"), whatever the case.
bool isListedByName(std::string_view group);

// The "Groups in family N:" sections of `exiftool -listg0 -listg1`: for each family, its
// group names in exiftool's order and spelling.
std::map<int, std::vector<std::string>> groupsByFamily(const std::string& text);

// The family-1 groups of exiftool's tables of maker notes, from its listing of the group
// "MakerNotes": each tag whose family-0 group is MakerNotes gives its table's family-1 group
// and its own, where it names one. Lower case -> the table's or tag's spelling. `tableGroups`
// receives the names that a table bears (not a tag alone).
std::unordered_map<std::string, std::string> makerNoteGroups(std::string_view xml, std::set<std::string>& tableGroups);

}  // namespace orvelin::catalogue_detail

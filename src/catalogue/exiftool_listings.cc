#include "catalogue/exiftool_listings.h"

#include <cstdlib>
#include <sstream>

#include <pugixml.hpp>

#include "orvelin/catalogue/tags_resources_writer.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/support/string_extensions.h"
#include "support/xml.h"

namespace orvelin {

namespace catalogue_detail {

bool isListedByName(std::string_view group) { return asciiLowercased(group).find("ifd") == std::string::npos; }

std::map<int, std::vector<std::string>> groupsByFamily(const std::string& text) {
  std::map<int, std::vector<std::string>> groups;
  std::vector<std::string>* current = nullptr;
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    if (line.starts_with("Groups in family ")) {
      current = &groups[std::atoi(line.c_str() + 17)];
      continue;
    }
    if (!current || line.empty() || line.front() != ' ') continue;
    std::istringstream words(line);
    std::string word;
    while (words >> word) current->push_back(word);
  }
  return groups;
}

std::unordered_map<std::string, std::string> makerNoteGroups(std::string_view xml, std::set<std::string>& tableGroups) {
  std::unordered_map<std::string, std::string> groups;
  pugi::xml_document document;
  if (!document.load_buffer(xml.data(), xml.size(), pugi::parse_default, pugi::encoding_utf8)) return groups;
  for (const auto& table : elements(document, "*/table")) {
    const std::string_view tableG0 = table.attribute("g0").value();
    const std::string tableG1 = table.attribute("g1").value();
    for (const auto& tag : table.children("tag")) {
      const auto g0 = tag.attribute("g0");
      if ((g0 ? std::string_view(g0.value()) : tableG0) != "MakerNotes") continue;
      if (!tableG1.empty()) {
        groups.emplace(asciiLowercased(tableG1), tableG1);
        tableGroups.insert(asciiLowercased(tableG1));
      }
      if (const std::string g1 = tag.attribute("g1").value(); !g1.empty()) groups.emplace(asciiLowercased(g1), g1);
    }
  }
  return groups;
}

}  // namespace catalogue_detail

using namespace catalogue_detail;

std::vector<TagStream> TagsResourcesWriter::streamsKnownToExifTool() {
  ExifToolCLI lists;
  lists.run({"-listg0", "-listg1"});
  auto families = groupsByFamily(lists.buildStdOutString().value_or(""));
  ExifToolCLI makerNotes;
  makerNotes.run({"-s", "-listx", "-MakerNotes:all"});
  std::set<std::string> tableGroups;
  const auto makers = makerNoteGroups(makerNotes.stdOutData().value_or(""), tableGroups);
  SourceMap sources;
  loadOverrides("TagsOverriddenSources.json", "Default sources file URL is nil", sources);

  std::vector<TagStream> streams;
  std::set<std::string> taken;  // lower case: one stream per name, whatever its case
  for (const auto& group : families[0]) {
    if (group != "MakerNotes" && taken.insert(asciiLowercased(group)).second) streams.emplace_back(group);
  }
  // A group that exiftool will not list by name comes from the tables that bear it, so it
  // counts only when a table does.
  for (const auto& group : families[1]) {
    const auto lower = asciiLowercased(group);
    if (lower == "makernotes" || taken.contains(lower)) continue;
    const bool makerNote = makers.contains(lower) && (isListedByName(group) || tableGroups.contains(lower));
    if (!makerNote && !sources.contains(group)) continue;
    taken.insert(lower);
    streams.emplace_back(group);
  }
  return streams;
}

}  // namespace orvelin

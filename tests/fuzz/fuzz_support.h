#pragma once

// What the harnesses share: the check of a property, and for the tag file harnesses the
// catalogue of the build tree and the round trip of imported values through an exporter.

#include <cstdio>
#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/editor/metadata_editor.h"
#include "orvelin/storage/read_write_storage.h"

namespace orvelin::fuzz {

// Stops the run, printing the property and the input, unless `condition` holds.
inline void require(bool condition, const char* what, std::string_view text) {
  if (condition) return;
  std::fprintf(stderr, "property violated: %s\ninput: \"%.*s\"\n", what, static_cast<int>(text.size()), text.data());
  std::abort();
}

// Loads the build tree's catalogue, without which no tag would land: a run without it stops.
inline void loadCatalogue() {
  TagsResources::shared().reload();
  if (!TagsResources::shared().missingCatalogueFolder()) return;
  std::fprintf(stderr, "no tag catalogue: build the orvelin_catalogue target\n");
  std::abort();
}

// Imports `input` with an Importer and requires every name that lands to be one the catalogue
// knows. Then gives the values that `keep(item, value)` accepts to an editor of a file of no
// known type (which reads the tags it was given), exports them with `exportText(editor)`, and
// requires a fresh Importer to read the export back to those values.
template <typename Importer, typename Keep, typename Export>
void requireReadBack(std::string_view input, Keep&& keep, Export&& exportText) {
  Importer importer;
  importer.importTags(input);
  ReadWriteStorage storage{"/fuzz/tags.xyz"};
  std::map<TagName, std::string> kept;
  for (const auto& [name, value] : importer.values()) {
    const auto item = TagsResources::shared().tag(name);
    require(item != nullptr, "a name the catalogue knows", input);
    if (!keep(*item, value)) continue;
    storage.store(value, name);
    storage.store(name.stream(), name.stream());
    kept.emplace(name, value);
  }
  const std::optional<std::string> text = exportText(*MetadataEditor::create(std::move(storage)));
  require(text.has_value(), "an export", input);
  Importer again;
  again.importTags(*text);
  require(again.values() == kept, "exported values read back", input);
}

}  // namespace orvelin::fuzz

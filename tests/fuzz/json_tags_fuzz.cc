// Arbitrary bytes into the JSON tag importer. Checked besides surviving: every name that lands is
// one the catalogue knows, and the values that land are written by the JSON exporter (their
// texts came from valid JSON, so the export cannot fail) and read back to themselves when they
// are in their tag's normal form. The others are left out of the read-back (a list element that
// holds the separator comes back as two elements, an emptied list as null), and so are numbers
// that are not finite, which JSON cannot hold.

#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz_support.h"
#include "orvelin/interchange/json_tags_file.h"
#include "orvelin/values/value_converter.h"

using namespace orvelin;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz::loadCatalogue();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::requireReadBack<JSONTagsImporter>(
      std::string_view(reinterpret_cast<const char*>(data), size),
      [](const TagItem& item, const std::string& value) {
        const auto& converter = *item.converter();
        return converter.stringValueFromStringValue(value) == value && !isNonFiniteNumber(converter, value);
      },
      [](const MetadataEditor& editor) {
        JSONTagsExporter exporter;
        exporter.generateJSON(editor);
        return exporter.jsonData();
      });
  return 0;
}

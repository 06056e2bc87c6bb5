// Arbitrary bytes into the CSV tag importer. Checked besides surviving: every name that lands is
// one the catalogue knows, and every value that lands, written by the CSV exporter, reads back
// to itself. Values with a line feed or a double quote are left out of the read-back: the
// export changes them on purpose.

#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz_support.h"
#include "orvelin/interchange/csv_tags_file.h"

using namespace orvelin;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz::loadCatalogue();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::requireReadBack<CSVTagsImporter>(
      std::string_view(reinterpret_cast<const char*>(data), size),
      [](const TagItem&, const std::string& value) { return value.find_first_of("\n\"") == std::string::npos; },
      [](const MetadataEditor& editor) {
        CSVTagsExporter exporter;
        exporter.generateCSV(editor);
        return exporter.csvData();
      });
  return 0;
}

#include "orvelin/interchange/csv_tags_file.h"
#include "orvelin/interchange/json_tags_file.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "common/editors.h"
#include "common/test_support.h"
#include "orvelin/catalogue/tags_resources.h"

namespace orvelin {
namespace {

using testing::tag;
using Values = std::map<TagName, std::string>;

struct ImportCase {
  const char* name;
  std::string text;
  Values values;
};

TEST(CSVTagsImporter, ReadsTheQuotingOfSpreadsheets) {
  const ImportCase cases[] = {
      {"comma in quotes", "EXIF:Make, \"Canon, Inc.\"", {{tag("EXIF:Make"), "Canon, Inc."}}},
      {"no comma", "EXIF:Make", {}},
      {"unknown tag", "Nothing:Such, \"x\"", {}},
      {"doubled quotes", "EXIF:Artist, \"say \"\"hi\"\"\"", {{tag("EXIF:Artist"), "say \"hi\""}}},
      {"line feed in quotes", "EXIF:Artist, \"a\nEXIF:Make, b\"\nEXIF:Model, \"EOS\"",
       {{tag("EXIF:Artist"), "a\nEXIF:Make, b"}, {tag("EXIF:Model"), "EOS"}}},
      {"unquoted, later commas stay", "EXIF:FNumber,\t5,6 \n", {{tag("EXIF:FNumber"), "5.60000000"}}},
      {"after the closing quote", "EXIF:Make, \"Canon\" x, \"y\nEXIF:ISO, 400", {{tag("EXIF:Make"), "Canon"}, {tag("EXIF:ISO"), "400"}}},
      {"every field quoted", "\"EXIF:Make, x\",\"Canon\"\n\"EXIF:Model\",\"EOS\"", {{tag("EXIF:Model"), "EOS"}}},
      {"CR LF, empty records", "\r\n\nEXIF:Make, Canon\r\nEXIF:Model, \"EOS\"\r\n\r\n",
       {{tag("EXIF:Make"), "Canon"}, {tag("EXIF:Model"), "EOS"}}},
      {"later line wins", "EXIF:Make, \"A\"\nEXIF:Make, \"B\"", {{tag("EXIF:Make"), "B"}}},
      {"byte order mark", "\xEF\xBB\xBF" "EXIF:Make, \"Canon\"", {{tag("EXIF:Make"), "Canon"}}},
      {"unterminated quote", "EXIF:Model, \"EOS\nEXIF:Make, Canon", {{tag("EXIF:Model"), "EOS\nEXIF:Make, Canon"}}},
      {"lone quotes", "EXIF:Make, Ca\"non\"\nEXIF:Model, \"", {{tag("EXIF:Make"), "Ca\"non"}, {tag("EXIF:Model"), ""}}},
      {"only commas", ",,,\n,\n", {}},
      {"empty", "", {}},
  };
  for (const auto& c : cases) {
    CSVTagsImporter importer;
    importer.importTags(c.text);
    EXPECT_EQ(importer.values(), c.values) << c.name;
  }
}

TEST(JSONTagsImporter, TakesOnlyAnObjectOfObjects) {
  const ImportCase cases[] = {
      {"streams of tags", R"({"EXIF": {"Make": "Canon", "ISO": 400, "Nothing": 1, "FNumber": "wide"}, "IPTC": {}})",
       {{tag("EXIF:Make"), "Canon"}, {tag("EXIF:ISO"), "400"}}},
      {"a list", R"({"IPTC": {"Keywords": ["a", " b"]}})", {{tag("IPTC:Keywords"), "a,b"}}},
      {"a stream that is no object", R"({"EXIF": "x"})", {}},
      {"one of them", R"({"EXIF": {"Make": "Canon"}, "X": 1})", {}},
      {"an array", R"([{"EXIF": {"Make": "Canon"}}])", {}},
      {"not JSON", R"({"EXIF": {"Make": "Canon")", {}},
  };
  for (const auto& c : cases) {
    JSONTagsImporter importer;
    importer.importTags(c.text);
    EXPECT_EQ(importer.values(), c.values) << c.name;
  }
}

TEST(TagFiles, ImportsAddUpUntilCleared) {
  const auto check = [](auto importer, const char* first, const char* second) {
    importer.importTags(first);
    importer.importTags(second);
    EXPECT_EQ(importer.values(), (Values{{tag("EXIF:Make"), "Canon"}, {tag("EXIF:Model"), "EOS"}})) << first;
    importer.clearValuesCache();
    EXPECT_TRUE(importer.values().empty()) << first;
  };
  check(CSVTagsImporter(), "EXIF:Make, Canon", "EXIF:Model, EOS");
  check(JSONTagsImporter(), R"({"EXIF": {"Make": "Canon"}})", R"({"EXIF": {"Model": "EOS"}})");
}

TEST(TagFiles, ExportsOfAFileReadBackToItsValues) {
  const auto editor = testing::readEditor(testing::dataDirectory() / "Canon.jpg");
  Values expected;
  for (const auto& name : editor->currentTagNames())
    if (TagsResources::shared().tag(name)) expected[name] = *editor->currentValue(name);
  ASSERT_GT(expected.size(), 100u);

  const auto readBack = [&](const std::optional<std::string>& text, auto importer) {
    ASSERT_TRUE(text);
    importer.importTags(*text);
    EXPECT_EQ(importer.values(), expected);
  };
  CSVTagsExporter csv;
  csv.generateCSV(*editor);
  readBack(csv.csvData(), CSVTagsImporter());
  JSONTagsExporter json;
  json.generateJSON(*editor);
  readBack(json.jsonData(), JSONTagsImporter());
}

TEST(TagFiles, ExportsCleanedValues) {
  const auto editor = testing::editorOf({{"EXIF:Model", "EOS"}, {"EXIF:ISO", "400"}, {"EXIF:FNumber", "wide"}});
  editor->setValue("a\"b\nc", tag("EXIF:Model"));
  CSVTagsExporter csv;
  csv.generateCSV(*editor);
  EXPECT_EQ(csv.csvData(), "EXIF:ISO, \"400\"\nEXIF:Model, \"a'b c\"\n");
  JSONTagsExporter json;
  json.generateJSON(*editor);
  ASSERT_TRUE(json.jsonData());
  EXPECT_EQ(nlohmann::json::parse(*json.jsonData()), nlohmann::json::parse(R"({"EXIF": {"Model": "a\"b\nc", "ISO": 400, "FNumber": null}})"));

  const auto empty = testing::editorOf({});
  csv.generateCSV(*empty);
  EXPECT_EQ(csv.csvData(), "");
  json.generateJSON(*empty);
  EXPECT_EQ(json.jsonData(), "{}");
  json.generateJSON(*testing::editorOf({{"EXIF:Make", "\xFF"}}));  // not UTF-8
  EXPECT_EQ(json.jsonData(), std::nullopt);
}

TEST(TagFiles, FilesAreReadWhenTheyCanBe) {
  testing::ScratchFolder folder;
  testing::writeFile(folder / "tags.csv", "EXIF:Artist, \"Caf\x8E\"\n");  // Mac OS Roman
  testing::writeFile(folder / "tags.json", R"({"EXIF": {"Make": "Canon"}})");
  CSVTagsImporter csv;
  JSONTagsImporter json;
  for (const auto& unreadable : {folder / "missing", folder.path()}) {
    csv.importTagsAt(folder / "tags.csv");
    json.importTagsAt(folder / "tags.json");
    csv.importTagsAt(unreadable);
    json.importTagsAt(unreadable);
    EXPECT_EQ(csv.values(), (Values{{tag("EXIF:Artist"), "Café"}})) << unreadable;
    EXPECT_EQ(json.values(), (Values{{tag("EXIF:Make"), "Canon"}})) << unreadable;
  }
}

}  // namespace
}  // namespace orvelin

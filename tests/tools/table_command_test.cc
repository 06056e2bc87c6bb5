// `orvelin table` and `orvelin tagset`, run as a user runs them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "common/test_support.h"
#include "tools/tool_support.h"

namespace orvelin {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

// The JSON row of `tag` among the rows printed.
nlohmann::json rowOf(const nlohmann::json& rows, const std::string& tag) {
  for (const auto& row : rows)
    if (row.value("tag", "") == tag) return row;
  return nullptr;
}

TEST(TableCommand, ShowsMixedAndSharedValuesAndFindsNamesInAnyCaseAndAccents) {
  testing::ScratchFolder folder;
  const auto canon = (testing::dataDirectory() / "Canon.jpg").string();
  const auto nikon = (testing::dataDirectory() / "Nikon.nef").string();
  auto run = testing::runTool({"table", canon, nikon, "--json", "--show-streams"}, folder.path());
  ASSERT_EQ(run.status, 0) << run.errors;
  const auto rows = nlohmann::json::parse(run.output);
  EXPECT_EQ(rows.front(), (nlohmann::json{{"row", "stream"}, {"stream", "EXIF"}}));
  EXPECT_EQ(rowOf(rows, "EXIF:Make")["values"], (nlohmann::json{"Canon", "NIKON CORPORATION"}));
  EXPECT_EQ(rowOf(rows, "EXIF:Make")["kind"], "multiple");
  EXPECT_EQ(rowOf(rows, "EXIF:ExposureCompensation")["kind"], "single");
  EXPECT_EQ(rowOf(rows, "EXIF:ExposureCompensation")["writable"], true);

  // "Modèle de l'appareil photo" in French, found without its accent and in capitals.
  run = testing::runTool({"table", canon, nikon, "--lang", "French", "--search", "MODELE", "--streams", "EXIF"},
                         folder.path());
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_THAT(run.output, HasSubstr("Appareil:\n  Modèle de l'appareil photo (EXIF:Model) = <multiple> "
                                    "\"Canon EOS DIGITAL REBEL\", \"NIKON D70\" [writable]\n"));
  EXPECT_THAT(run.output, Not(HasSubstr("EXIF:Make")));

  run = testing::runTool({"table", canon, (folder / "missing.jpg").string()}, folder.path());
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.errors, HasSubstr("missing.jpg: "));
}

TEST(TagsetCommand, ImportsKeepsExportsAndRestoresTheTagSet) {
  testing::ScratchFolder folder;
  const auto canon = (testing::dataDirectory() / "Canon.jpg").string();
  testing::writeFile(folder / "mine.json", R"({"EXIF": [{"type": "key", "value": "Model"}]})");
  testing::writeFile(folder / "bad.json", R"({"EXIF": [{"type": "tag", "value": "Model"}]})");
  EXPECT_EQ(testing::runTool({"tagset", "import", (folder / "mine.json").string()}, folder.path()).status, 0);
  EXPECT_EQ(testing::runTool({"table", canon}, folder.path()).output,
            "  Camera Model Name (EXIF:Model) = \"Canon EOS DIGITAL REBEL\" [writable]\n");
  const auto bad = testing::runTool({"tagset", "import", (folder / "bad.json").string()}, folder.path());
  EXPECT_EQ(bad.status, 1);
  EXPECT_THAT(bad.errors, HasSubstr("bad.json: Unknown tags set entry type: tag"));
  EXPECT_EQ(testing::runTool({"tagset", "export", (folder / "out.json").string()}, folder.path()).status, 0);
  EXPECT_EQ(nlohmann::json::parse(testing::readFile(folder / "out.json")),
            nlohmann::json::parse(testing::readFile(folder / "mine.json")));
  EXPECT_EQ(testing::runTool({"tagset", "restore"}, folder.path()).status, 0);
  EXPECT_THAT(testing::runTool({"table", canon}, folder.path()).output, HasSubstr("Camera:\n  Make (EXIF:Make)"));
}

}  // namespace
}  // namespace orvelin

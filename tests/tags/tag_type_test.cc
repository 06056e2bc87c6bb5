#include "orvelin/tags/tag_type.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "common/test_support.h"
#include "orvelin/support/debug_log.h"
#include "orvelin/tags/tag_access.h"
#include "orvelin/values/date_time_value_converter.h"
#include "orvelin/values/value.h"
#include "orvelin/values/value_converter.h"

namespace orvelin {
namespace {

TEST(TagType, RawValuesCrossForTheTwoDateCases) {
  EXPECT_EQ(TagType::fromRawValue("date"), TagType::dateTime);
  EXPECT_EQ(TagType::fromRawValue("datetime"), TagType::date);
  EXPECT_EQ(TagType::fromRawValue("Date"), std::nullopt);
  EXPECT_EQ(TagType::fromRawValue("?"), std::nullopt);
  EXPECT_EQ(TagType(TagType::langAlt).rawValue(), "lang-alt");
  EXPECT_EQ(nlohmann::json(TagType(TagType::date)).dump(), "\"datetime\"");
  EXPECT_EQ(nlohmann::json::parse("\"date\"").get<TagType>(), TagType::dateTime);
  EXPECT_THROW(nlohmann::json::parse("\"Date\"").get<TagType>(), std::exception);
  for (std::size_t i = 0; i < TagType::caseCount; ++i) {
    const TagType type = static_cast<TagType::Value>(i);
    EXPECT_EQ(TagType::fromRawValue(type.rawValue()), type) << type.rawValue();
  }
}

// Each type's converter takes what the type can hold and refuses the rest.
TEST(TagType, ConvertersTakeWhatTheTypeHolds) {
  const struct {
    TagType::Value type;
    const char* text;
    std::optional<std::string> expected;
  } cases[] = {
      {TagType::string, "x", "x"},          {TagType::int8u, "-1", std::nullopt},
      {TagType::integer, "-1", "-1"},       {TagType::int32u, "1.5", std::nullopt},
      {TagType::rational64u, "-0.5", std::nullopt}, {TagType::rational64s, "-0.5", "-0.50000000"},
      {TagType::real, "-1.5", "-1.50000000"},       {TagType::speed, "-1", std::nullopt},
      {TagType::boolean, "yes", "true"},    {TagType::country3166a3, "FRA", "FRA"},
      {TagType::undef, "x", std::nullopt},  {TagType::dateTime, "2024:01:31", "2024:01:31 00:00:00"},
      {TagType::partialDate, "2024:01:31 10:11:12", "2024:01:31"},
      {TagType::partialTime, "2024:01:31 10:11:12", "10:11:12"},
      // The all-digit formats write their digits; six digits alone are a time.
      {TagType::digitsDate, "2024:01:31", "20240131"},  {TagType::digitsTime, "10:11:12", "101112"},
      {TagType::digitsTime, "101112", "101112"},        {TagType::partialDate, "20240131", "2024:01:31"},
  };
  for (const auto& c : cases) {
    const TagType type = c.type;
    EXPECT_EQ(type.converter()->stringValueFromStringValue(c.text), c.expected) << type.rawValue() << " " << c.text;
    EXPECT_EQ(type.converter(), type.converter()) << "one converter per type";
  }
}

TEST(TagAccess, DecodingFailsAsAWhole) {
  for (const char* text : {
           R"({"JPEG":{"EXIF":"W"}})",                    // an unknown access
           R"({"JPEG":{"EXIF":"rw"}})",                   // case counts
           R"({"JPEG":{"EXIF":1}})",                      // not a text
           R"({"JPEG":"RW"})",                            // an access where the streams belong
           R"({"JPEG":["RW"]})",                          // an array where the streams belong
           R"({"PNG":{"XMP":"RW"},"JPEG":{"EXIF":null}})",  // one bad entry spoils the table
           R"([{"EXIF":"RW"}])",                          // an array of file types
           R"("RW")",
       })
    EXPECT_THROW(TagAccess::decodeAccessTable(nlohmann::json::parse(text)), std::exception) << text;
}

// Catches what the library prints on its console and writes to the debug file.
struct PrintedText {
  testing::ScratchFolder folder;
  testing::DebugLogCapture debugLog;
  testing::ConsoleCapture console;
};

TEST(TagAccess, ReadingTheTableReportsEachFailureAndGivesNothing) {
  using ::testing::HasSubstr;
  struct Case {
    std::optional<std::string> file;  // the resource's text; absent: no file at the URL
    bool hasURL;
    const char* text;
  };
  for (const auto& [file, hasURL, text] : {
           Case{std::nullopt, false, "URL of TagsAccessByFileTypes is nil"},
           Case{std::nullopt, true, "Data of TagsAccessByFileTypes is nil"},
           Case{std::string(R"({"JPEG":"RW"})"), true, "Data of TagsAccessByFileTypes cannot be decoded"},
           Case{std::string("{not json"), true, "Data of TagsAccessByFileTypes cannot be decoded"},
       }) {
    PrintedText printed;
    const auto url = printed.folder / "TagsAccessByFileTypes.json";
    if (file) testing::writeFile(url, *file);
    EXPECT_TRUE(TagAccess::readTagsAccess(hasURL ? std::optional(url) : std::nullopt).empty()) << text;
    EXPECT_EQ(printed.console.text(), std::string(text) + "\n");
    EXPECT_THAT(printed.debugLog.text(), HasSubstr(std::string(text) + "\n"));
  }
  PrintedText printed;
  const auto url = printed.folder / "TagsAccessByFileTypes.json";
  testing::writeFile(url, R"({"JPEG":{"EXIF":"RWC"}})");
  EXPECT_EQ(TagAccess::readTagsAccess(url).at("JPEG").at("EXIF"), TagAccess::rwc);
  EXPECT_EQ(printed.console.text(), "");
}

TEST(TagAccess, LooksUpTheUpperCasedFileType) {
  // The table shipped with the library.
  EXPECT_EQ(TagStream::exif.access("nosuchtype"), TagAccess::n);
  // Types that exiftool only reads have rows too, so that nothing found in them looks editable.
  EXPECT_EQ(TagStream::xmp.access("svg"), TagAccess::r);
  EXPECT_EQ(TagStream::xmp.access("jxl"), TagAccess::rwc);
  EXPECT_EQ(TagAccess::access("nosuchtype", TagStream::exif), std::nullopt);
  // The stream is looked up as it stands.
  EXPECT_EQ(TagStream("exif").access("JPEG"), TagAccess::n);
  EXPECT_EQ(TagAccess::access("JPEG", TagStream("NoSuchStream")), std::nullopt);
}

}  // namespace
}  // namespace orvelin

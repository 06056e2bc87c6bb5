#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <sstream>
#include <unordered_set>

#include "common/test_support.h"
#include "orvelin/tags/tag_access.h"
#include "orvelin/tags/tag_item.h"
#include "orvelin/tags/tag_name.h"
#include "orvelin/tags/tag_type.h"
#include "orvelin/values/value.h"
#include "orvelin/values/value_converter.h"

namespace orvelin {
namespace {

TEST(TagNameText, ParsesAtTheFirstColonAndTrims) {
  struct Case {
    const char* text;
    const char* stream;
    const char* key;
  };
  const Case cases[] = {
      {"EXIF:Make", "EXIF", "Make"},   {"XMP:dc:title", "XMP", "dc:title"}, {" EXIF : Make ", "EXIF", "Make"},
      {"\tIPTC\t:Keywords", "IPTC", "Keywords"}, {":Make", "", "Make"}, {"EXIF:", "EXIF", ""},
      {"EXIF\n:Make", "EXIF\n", "Make"}, {"Make", nullptr, nullptr}, {"", nullptr, nullptr},
  };
  for (const auto& c : cases) {
    auto name = TagName::fromRawValue(c.text);
    ASSERT_EQ(name.has_value(), c.stream != nullptr) << c.text;
    if (!name) continue;
    EXPECT_EQ(name->stream().rawValue(), c.stream) << c.text;
    EXPECT_EQ(name->key().rawValue(), c.key) << c.text;
    EXPECT_EQ(name->rawValue(), std::string(c.stream) + ":" + c.key) << c.text;
  }
}

TEST(TagNameText, PrintsAndEncodesStreamColonKey) {
  const TagName name(TagStream::icc, TagKey("ProfileVersion"));
  EXPECT_EQ(name.rawValue(), "ICC_Profile:ProfileVersion");
  EXPECT_EQ(name.stream().displayName(), "ICC");
  std::ostringstream out;
  out << name << ' ' << TagStream::xmp << ' ' << TagKey::make;
  EXPECT_EQ(out.str(), "ICC_Profile:ProfileVersion XMP Make");
  // Names go into JSON as "STREAM:KEY" texts (the presets' tests read and write them); a stream
  // is its bare text, and a text without ":" is no name.
  EXPECT_EQ(nlohmann::json(TagStream::exif).dump(), "\"EXIF\"");
  try {
    (void)nlohmann::json::parse("\"Make\"").get<TagName>();
    ADD_FAILURE() << "a name without \":\" decoded";
  } catch (const TagName::ParsingError& error) {
    EXPECT_EQ(error.code(), TagName::ParsingError::Code::notParsableRawValue);
  }
}

// Names order by stream, then key; canonically equivalent texts are the same name.
TEST(TagNameOrder, StreamFirstThenKeyAndCanonicalEquivalence) {
  const TagName ab("a", "b"), ac("a", "c"), ba("b", "a");
  EXPECT_FALSE(ab < ab);
  std::vector<TagName> names{ba, ac, ab, TagName("A", "z")};
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<TagName>{TagName("A", "z"), ab, ac, ba}));

  // "é" precomposed and as "e" + combining acute accent.
  const TagName composed("XMP", "Caf\xC3\xA9");
  const TagName decomposed("XMP", "Cafe\xCC\x81");
  EXPECT_EQ(composed, decomposed);
  EXPECT_FALSE(composed < decomposed);
  EXPECT_FALSE(decomposed < composed);
  EXPECT_EQ(std::hash<TagName>{}(composed), std::hash<TagName>{}(decomposed));
  EXPECT_EQ(decomposed.key().rawValue(), "Cafe\xCC\x81");  // the raw text stays as given
  std::unordered_set<TagName> set{composed};
  EXPECT_TRUE(set.contains(decomposed));
  EXPECT_NE(TagName("EXIF", "Make"), TagName("exif", "Make"));
  // The split point matters: "ab:c" and "a:bc" are different names.
  EXPECT_NE(TagName("ab", "c"), TagName("a", "bc"));
}

TEST(TagsFamily, GroupZeroAndMakerStreams) {
  for (const char* stream : {"EXIF", "exif", "CanonVRD", "PanasonicRaw", "SigmaRaw", "ICC_Profile", "MakerNotes"})
    EXPECT_TRUE(TagsFamily::isStreamInG0Family(TagStream(stream))) << stream;
  for (const char* stream : {"Canon", "Nikon", "Sony", "Apple", "Panasonic", "GoPro", "IDF1"})
    EXPECT_FALSE(TagsFamily::isStreamInG0Family(TagStream(stream))) << stream;
  for (const auto& [stream, fixed] :
       {std::pair{"Canon", "MakerNotes"}, {"GoPro", "MakerNotes"}, {"EXIF", "EXIF"}, {"exif", "exif"}})
    EXPECT_EQ(TagsFamily::fixMakerNotes(TagName(stream, "Thing")), TagName(fixed, "Thing")) << stream;
  EXPECT_TRUE(TagsFamily::isNameInG0Family(TagName::iptcKeywords));

  // The whole text is lower-cased, not its ASCII letters alone: the Kelvin sign (U+212A)
  // lower-cases to "k", so this spelling names the group-0 stream "makernotes".
  const TagStream kelvin("MA\u212AERNOTES");
  EXPECT_TRUE(TagsFamily::isStreamInG0Family(kelvin));
  EXPECT_EQ(TagsFamily::fixMakerNotes(TagName(kelvin, TagKey("Thing"))).stream().rawValue(), "MA\u212AERNOTES");
  EXPECT_FALSE(TagsFamily::isStreamInG0Family(TagStream("\u00C9XIF")));  // "éxif" is not "exif"
}

TEST(TagType, RawValuesCrossForTheTwoDateCases) {
  for (const auto& [text, type] : {std::pair<const char*, std::optional<TagType>>{"date", TagType::dateTime},
                                   {"datetime", TagType::date}, {"Date", std::nullopt}, {"?", std::nullopt}})
    EXPECT_EQ(TagType::fromRawValue(text), type) << text;
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

// Catches what the library prints on its console and writes to the debug file.
struct PrintedText {
  testing::ScratchFolder folder;
  testing::DebugLogCapture debugLog;
  testing::ConsoleCapture console;
};

TEST(TagAccess, ReadingTheTableReportsEachFailureAndGivesNothing) {
  struct Case {
    std::optional<std::string> file;  // the resource's text; absent: no file at the URL
    bool hasURL;
    std::string text;
  };
  std::vector<Case> cases = {{std::nullopt, false, "URL of TagsAccessByFileTypes is nil"},
                             {std::nullopt, true, "Data of TagsAccessByFileTypes is nil"}};
  // The decoding fails as a whole.
  for (const char* file : {
           "{not json",
           R"({"JPEG":{"EXIF":"W"}})",                      // an unknown access
           R"({"JPEG":{"EXIF":"rw"}})",                     // case counts
           R"({"JPEG":{"EXIF":1}})",                        // not a text
           R"({"JPEG":"RW"})",                              // an access where the streams belong
           R"({"JPEG":["RW"]})",                            // an array where the streams belong
           R"({"PNG":{"XMP":"RW"},"JPEG":{"EXIF":null}})",  // one bad entry spoils the table
           R"([{"EXIF":"RW"}])",                            // an array of file types
           R"("RW")",
       })
    cases.push_back({file, true, "Data of TagsAccessByFileTypes cannot be decoded"});
  for (const auto& [file, hasURL, text] : cases) {
    PrintedText printed;
    const auto url = printed.folder / "TagsAccessByFileTypes.json";
    if (file) testing::writeFile(url, *file);
    const auto table = TagAccess::readTagsAccess(hasURL ? std::optional(url) : std::nullopt);
    EXPECT_TRUE(table.empty()) << file.value_or("no file");
    EXPECT_EQ(printed.console.text(), text + "\n") << file.value_or("no file");
    EXPECT_THAT(printed.debugLog.text(), ::testing::HasSubstr(text + "\n"));
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

std::shared_ptr<const TagItem> makeItem(const char* type, std::int64_t count, bool isList,
                                        std::vector<std::string> values = {}, std::int64_t index = 0) {
  TagItemData data;
  data.index = index;
  data.stream = "EXIF";
  data.key = "Test";
  data.type = type;
  data.count = count;
  data.isList = isList;
  data.values = std::move(values);
  return TagItem::make(data);
}

TEST(TagItemArrays, ClassificationByTypeCountAndList) {
  struct Case {
    const char* type;
    std::int64_t count;
    bool isList;
    bool array, dynamic, fixed;
  };
  const Case cases[] = {
      {"string", 5, false, false, false, false},  {"string", 1, true, true, true, false},
      {"int16u", 3, false, true, false, true},    {"int16u", -1, false, true, true, false},
      {"int16u", 1, false, false, false, false},  {"int16u", 0, false, false, false, false},
      {"int16u", 2, true, true, true, false},     {"country3166a3", 3, false, false, false, false},
      {"rational64u", 3, false, true, false, true}, {"digits", -1, false, false, false, false},
      // Types that are not supported read as text: the count does not matter, the list flag does.
      {"undef", 4, false, false, false, false},   {"?", -1, true, true, true, false},
  };
  for (const auto& c : cases) {
    const auto item = makeItem(c.type, c.count, c.isList);
    ASSERT_TRUE(item);
    SCOPED_TRACE(std::string(c.type) + " count " + std::to_string(c.count) + (c.isList ? " list" : ""));
    EXPECT_EQ(item->isInArray(), c.array);
    EXPECT_EQ(item->isInDynamicArray(), c.dynamic);
    EXPECT_EQ(item->isInStaticArray(), c.fixed);
  }
}

// (The separators of lists and of fixed arrays show in the storage tests that read them.)
TEST(TagItemArrays, ConverterIsMadeOnceAndReadsUnsupportedTypesAsText) {
  const auto plain = makeItem("string", 5, false);
  EXPECT_EQ(plain->converter()->stringValueFromRawValue(Value("a b")), "a b");
  EXPECT_EQ(plain->converter(), plain->converter());  // made once
  // Types that are not supported read as exiftool prints them.
  EXPECT_EQ(makeItem("undef", 4, false)->converter()->stringValueFromRawValue(Value("0220")), "0220");
  EXPECT_EQ(makeItem("?", 0, false)->converter()->stringValueFromRawValue(Value(12.5)), "12.5");
}

TEST(TagItemVocabulary, IndexOfFallsBackToLeadingPartsAndLocalisedKeys) {
  const auto models = makeItem("string", 0, false, {"Canon EOS", "Canon EOS 5D", "2.2", "a,b", ""});
  EXPECT_EQ(models->indexOf("Canon EOS 5D"), 1u);
  EXPECT_EQ(models->indexOf("Canon EOS 5D Mark IV"), 1u);
  EXPECT_EQ(models->indexOf("Canon EOS 7D"), 0u);
  EXPECT_EQ(models->indexOf("2.2.0.0"), 2u);
  EXPECT_EQ(models->indexOf("a,b,c"), 3u);
  EXPECT_EQ(models->indexOf("Nikon D70"), std::nullopt);
  EXPECT_EQ(models->indexOf(""), 4u);
  const auto noEmpty = makeItem("string", 0, false, {"x"});
  EXPECT_EQ(noEmpty->indexOf(""), std::nullopt);
  // A blank that occurs but finds nothing lets the point try.
  const auto versions = makeItem("string", 0, false, {"1"});
  EXPECT_EQ(versions->indexOf("1.5 beta"), 0u);

  // Without an entry in the catalogue, the keys themselves come back (stream, key and value).
  const auto item = makeItem("int8u", 0, false, {"1", "2"});
  EXPECT_EQ(item->localizedName(), "EXIF:Test");
  EXPECT_EQ(item->localizedDescription(), "EXIF:Test (EXIF:Test)");
  EXPECT_EQ(item->localizedValues(), (std::vector<std::string>{"EXIF:Test:1", "EXIF:Test:2"}));
}

TEST(TagItemIdentity, OrderByIndexEqualityByIdentity) {
  auto a = makeItem("string", 0, false, {}, 5);
  auto b = makeItem("string", 0, false, {}, 2);
  auto c = makeItem("string", 0, false, {}, 5);
  std::vector<std::shared_ptr<const TagItem>> items{a, b, c};
  std::stable_sort(items.begin(), items.end(), [](const auto& lhs, const auto& rhs) { return *lhs < *rhs; });
  EXPECT_EQ(items, (std::vector<std::shared_ptr<const TagItem>>{b, a, c}));
  // Same record, different items: neither equal nor ordered, and hashed alike (stream and key).
  EXPECT_FALSE(*a == *c);
  EXPECT_TRUE(*a == *a);
  EXPECT_FALSE(*a < *c || *c < *a);
  EXPECT_EQ(std::hash<TagItem>{}(*a), std::hash<TagItem>{}(*c));
  TagItemData other = a->data();
  other.key = "Other";
  EXPECT_NE(std::hash<TagItem>{}(*a), std::hash<TagItem>{}(*TagItem::make(other)));
}

TEST(TagItemData, OptionalAndRequiredKeys) {
  const auto json = nlohmann::json::parse(
      R"({"index":1,"key":"Make","type":"string","values":[],"count":1,"isWritable":true,"isFlatten":false,"isList":false,"isBinary":false,"isUnsafe":false})");
  const auto data = json.get<TagItemData>();
  EXPECT_FALSE(data.stream);
  EXPECT_EQ(data.key, "Make");
  EXPECT_FALSE(TagItem::make(data));  // decodes, but makes no item
  auto missing = json;
  missing.erase("isUnsafe");
  EXPECT_THROW(missing.get<TagItemData>(), nlohmann::json::exception);
  // A count or an index must be a whole number of 64 bits.
  for (const char* key : {"count", "index"}) {
    for (const auto& wrong : {nlohmann::json("one"), nlohmann::json(1.7), nlohmann::json(true),
                              nlohmann::json(std::uint64_t{1} << 63), nlohmann::json(1e19)}) {
      auto wrongKind = json;
      wrongKind[key] = wrong;
      EXPECT_THROW(wrongKind.get<TagItemData>(), nlohmann::json::exception) << key << " " << wrong.dump();
    }
  }
  auto negative = json;
  negative["count"] = -1;
  EXPECT_EQ(negative.get<TagItemData>().count, -1);
  auto whole = json;
  whole["index"] = 7.0;
  EXPECT_EQ(whole.get<TagItemData>().index, 7);
  // A type that is no TagType (exiftool's "?", a storage format) is kept as unknown, never
  // writable whatever the record says.
  auto badType = json;
  badType["stream"] = "EXIF";
  badType["type"] = "Date";
  const auto unknown = TagItem::make(badType.get<TagItemData>());
  ASSERT_TRUE(unknown);
  EXPECT_EQ(unknown->type, TagType::unknown);
  EXPECT_FALSE(unknown->isWritable);

  // The optional keys are written only when present, the others always.
  TagItemData bare;
  EXPECT_EQ(nlohmann::ordered_json(bare).dump(),
            R"({"values":[],"count":0,"isWritable":false,"isFlatten":false,"isList":false,"isBinary":false,"isUnsafe":false})");
  const auto full = makeItem("int16u", 3, true, {"1"}, 7)->data();
  EXPECT_EQ(nlohmann::json(full).get<TagItemData>(), full);
  EXPECT_EQ(nlohmann::json::parse(nlohmann::ordered_json(full).dump()).get<TagItemData>(), full);
}

}  // namespace
}  // namespace orvelin
